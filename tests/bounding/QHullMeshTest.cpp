// The growing hull: exact work coordinates, the plane tolerance, flat nodes.

#include "bounding/QHullMesh_Impl.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

TEST(QHullMesh, WorkCoordinatesAreExact)
{
    Support::Random random(2);
    for (const Vec3d& away : {Vec3d(0, 0, 0), Vec3d(1e6, -3, 0.1), Vec3d(1e12, 1e12, 7)}) {
        std::vector<Vec3d> points;
        for (int i = 0; i < 100; ++i) {
            points.push_back(away + random.Vector<3, double>(-0.7, 1.3));
        }
        const Impl::QHullMesh hull(points);
        for (std::size_t i = 0; i < points.size(); ++i) {
            EXPECT_EQ(hull.points[i] * (1 / hull.Scale()) + hull.Center(), points[i]);
            EXPECT_LT(Length(hull.points[i]), 8000);
        }
    }
}

TEST(QHullMesh, ToleranceIsTenFloorsOfTheLongestEdge)
{
    // The longest edge runs from (4, 0, 0) to (1, 1, 3).
    const std::vector<Vec3d> points = {{0, 0, 0}, {4, 0, 0}, {1, 2, 0}, {1, 1, 3}};
    Impl::QHullMesh hull(points);
    ASSERT_TRUE(hull.Build());
    EXPECT_DOUBLE_EQ(hull.tolerance / hull.Scale(), 1e-11 * std::sqrt(19.0));
    Impl::QHullMesh hullInFloat(std::vector<Vec3f>(points.begin(), points.end()));
    ASSERT_TRUE(hullInFloat.Build());
    EXPECT_DOUBLE_EQ(hullInFloat.tolerance / hullInFloat.Scale(), 10.0 * 1e-8F * std::sqrt(19.0));
}

TEST(QHullMesh, FarthestPointsGrowTheHullButNotThoseWithinTheTolerance)
{
    std::vector<Vec3d> points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    points.push_back({0.3, 0.3, -5e-12});
    Impl::QHullMesh hull(points);
    ASSERT_TRUE(hull.Build());
    EXPECT_EQ(hull.Triangles().size(), 12U);
    points.back()[2] = -5e-11;
    Impl::QHullMesh larger(points);
    ASSERT_TRUE(larger.Build());
    EXPECT_EQ(larger.Triangles().size(), 18U);
}

TEST(QHullMesh, FlatNodesAreThoseInsideSidesAndEdges)
{
    // The middles of a cube's sides come first and are its first extremes.
    std::vector<Vec3d> points = {{0, 1, 1}, {2, 1, 1}, {1, 0, 1}, {1, 2, 1}, {1, 1, 0}, {1, 1, 2}};
    for (int i = 0; i < 8; ++i) {
        points.push_back({2 * (i & 1), 2 * (i >> 1 & 1), 2 * (i >> 2)});
    }
    Impl::QHullMesh hull(points);
    ASSERT_TRUE(hull.Build());
    const std::vector<int> flat = hull.FlatNodes();
    EXPECT_GE(flat.size(), 2U);
    std::vector<int> nodes = hull.Triangles();
    std::sort(nodes.begin(), nodes.end());
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    std::vector<int> corners;
    std::set_difference(nodes.begin(), nodes.end(), flat.begin(), flat.end(),
                        std::back_inserter(corners));
    EXPECT_EQ(corners, (std::vector<int>{6, 7, 8, 9, 10, 11, 12, 13}));
}
