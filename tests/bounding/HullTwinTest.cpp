// Hulls in space beside a plain second implementation, and against the plane tolerance.

#include "bounding/QHullMesh_Impl.h"

#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/bounding/HullChecks.h"
#include "tests/bounding/HullTwin.h"
#include "tests/support/Rounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

namespace {

/// A turn by `angle` about a random axis.
class Turn {
public:
    Turn(Support::Random& random, double angle)
        : axis_(Vector::Normalized(random.Vector<3, double>(-1, 1), 0.0)), cos_(std::cos(angle)),
          sin_(std::sin(angle))
    {
    }

    Vec3d operator()(const Vec3d& p) const
    {
        return p * cos_ + (axis_ ^ p) * sin_ + axis_ * (axis_ * p * (1 - cos_));
    }

private:
    Vec3d axis_;
    double cos_;
    double sin_;
};

/// Sorted points of a small lattice, some moved out of its sides by up to three tolerances,
/// flattened along z and turned.
std::vector<Vec3d> BumpyLattice(Support::Random& random, double flatness, double angle)
{
    const Turn turn(random, angle);
    const int side = 2 + random.Below(5);
    const int count = 20 + random.Below(100);
    std::vector<Vec3d> points;
    for (int i = 0; i < count; ++i) {
        Vec3d p(random.Below(side), random.Below(side), random.Below(side));
        if (i % 3 == 0) {
            const double out = random.Between(-3e-11, 3e-11) * side;
            p[random.Below(3)] = random.Below(2) == 0 ? out : side - 1 + out;
        }
        p[2] *= flatness;
        points.push_back(turn(p));
    }
    Vector::FilterForUniqueness(points, 1e-12);
    return points;
}

/// The highest point above a face of the result, in tolerances; 0 when there is no solid.
double WorstOf(const std::vector<Vec3d>& points)
{
    Impl::QHullMesh mesh(points);
    std::vector<Vec3d> hullPoints;
    std::vector<int> indices;
    if (!mesh.Build() || !ConvexHull(points, hullPoints, indices, true, false)) {
        return 0;
    }
    EXPECT_EQ(Support::SurfaceFault(indices, hullPoints.size()), "");
    const double tolerance = mesh.tolerance / mesh.Scale();
    return Support::WorstHeight(points, hullPoints, indices, tolerance, 1'000'000) / tolerance;
}

/// How far a point is above the face that it is highest above; negative inside.
double HeightAbove(const std::vector<Vec3d>& points, const std::vector<int>& indices, int point)
{
    const auto at = [&](int i) { return points[static_cast<std::size_t>(i)]; };
    double highest = -std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        highest = std::max(highest, Support::WideDistance(at(indices[i]), at(indices[i + 1]),
                                                          at(indices[i + 2]), at(point)));
    }
    return highest;
}

/// The triangles, each beginning with its lowest number.
std::set<std::array<int, 3>> Facets(const std::vector<int>& indices)
{
    std::set<std::array<int, 3>> facets;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        std::array facet{indices[i], indices[i + 1], indices[i + 2]};
        std::rotate(facet.begin(), std::min_element(facet.begin(), facet.end()), facet.end());
        facets.insert(facet);
    }
    return facets;
}

template <class T>
class HullTwinTest : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(HullTwinTest, Coordinates);

} // namespace

// No four points near one plane: nothing is left to tolerances.
TYPED_TEST(HullTwinTest, NodesAreTheSameInGeneralPosition)
{
    Support::Random random(1);
    for (int trial = 0; trial < Support::Rounds(60); ++trial) {
        SCOPED_TRACE(trial);
        std::vector<VecBase<3, TypeParam>> points;
        for (int i = 0; i < 120; ++i) {
            const auto p = random.Vector<3, double>(-1, 1);
            switch (trial % 4) {
            case 0:
                points.emplace_back(p * 37.0);
                break;
            case 1:
                points.emplace_back(p + Vec3d(5, 6, 7));
                break;
            case 2:
                points.emplace_back(Vector::Normalized(p, 0.0) * 123.4);
                break;
            default:
                points.emplace_back(Vec3d(50 * p[0], p[1], 3 * p[2] + p[0]));
                break;
            }
        }
        Vector::FilterForUniqueness(points, kLengthFloor<TypeParam>);
        const std::vector<Vec3d> wide(points.begin(), points.end());
        const Support::HullTwin twin(wide, static_cast<double>(kLengthFloor<TypeParam>));
        Impl::QHullMesh mesh(points);
        ASSERT_TRUE(mesh.Build());
        EXPECT_NEAR(mesh.tolerance / mesh.Scale() / twin.Tolerance(), 1, 1e-12);

        std::vector<VecBase<3, TypeParam>> none;
        std::vector<int> indices;
        ASSERT_TRUE(ConvexHull(points, none, indices, true, true));
        // A node that one of them has alone is no deeper in the other than their tolerances.
        const std::set<int> nodes(indices.begin(), indices.end());
        for (int i = 0; i < static_cast<int>(wide.size()); ++i) {
            if (nodes.contains(i) != twin.Nodes().contains(i)) {
                EXPECT_GE(HeightAbove(wide, nodes.contains(i) ? twin.Triangles() : indices, i),
                          -2 * twin.Tolerance());
            }
        }
        // Of the same nodes the solids are the same to rounding, unless four of them are in a plane
        // to the tolerance of the hull: then each may have the other diagonal, and be off by the
        // tolerance where that is.
        const auto measured = Support::MeasureHull(wide, twin.Triangles());
        const double allowed = Facets(indices) == Facets(twin.Triangles())
                                   ? 1e-12 * measured.volume
                                   : twin.Tolerance() * measured.area;
        EXPECT_NEAR(Support::MeasureHull(wide, indices).volume, measured.volume, allowed);
    }
}

// Ties decide about nodes on flat sides, but not about the solid.
TEST(HullTwinTies, VolumesAreTheSameOfFlatSides)
{
    Support::Random random(2);
    for (int trial = 0; trial < 20; ++trial) {
        SCOPED_TRACE(trial);
        const Turn turn(random, 0.1 * trial);
        std::vector<Vec3d> points;
        for (int i = 0; i < 100; ++i) {
            auto p = random.Vector<3, double>(-1, 1);
            p[i % 3] = i % 2 == 0 ? 1 : -1;
            points.push_back(turn(p));
        }
        Vector::FilterForUniqueness(points, 1e-12);
        const Support::HullTwin twin(points, 1e-12);
        std::vector<Vec3d> none;
        std::vector<int> indices;
        ASSERT_TRUE(ConvexHull(points, none, indices, true, true));
        const auto [volume, area] = Support::MeasureHull(points, twin.Triangles());
        EXPECT_NEAR(Support::MeasureHull(points, indices).volume, volume,
                    2 * twin.Tolerance() * area);
    }
}

// Planes of thin plates are uncertain by much of the tolerance: a point within that of its own face
// may be far out for another one.
TEST(HullTolerance, HoldsForPlatesOfAFewTolerances)
{
    Support::Random random(3);
    for (int trial = 0; trial < Support::Rounds(2000); ++trial) {
        const double flatness = std::pow(10.0, -random.Between(6, 10));
        const auto points = BumpyLattice(random, flatness, random.Between(0.1, 6));
        ASSERT_LE(WorstOf(points), 1.001) << trial;
    }
}

// Nodes inside flat sides are taken out afterward: that must not cost corners.
TEST(HullTolerance, HoldsWhereFlatNodesAreTakenOut)
{
    Support::Random random(4);
    for (int trial = 0; trial < Support::Rounds(2000); ++trial) {
        ASSERT_LE(WorstOf(BumpyLattice(random, 1, 0)), 1.001) << trial;
    }
}
