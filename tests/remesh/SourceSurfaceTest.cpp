// The way back to a source surface: the nearest facet, or the nearest that faces the same way
// within a reach, and points that stay apart.

#include "remesh/SourceSurface_Impl.h"

#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using HalfEdge::Impl::SourceSurface;
using HalfEdge::Impl::StrayPoint;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

StrayPoint Without(const Vec3d& at) { return {at, {}, false}; }
StrayPoint With(const Vec3d& at, const Vec3d& normal) { return {at, normal, false}; }

/// Square plates around the z axis; a height, and whether the plate faces up.
SourceSurface Plates(const std::vector<std::pair<double, bool>>& plates)
{
    std::vector<Vec3d> points;
    std::vector<int> triples;
    for (const auto& [height, isUp] : plates) {
        const int n = static_cast<int>(points.size());
        for (const Vec2d& p : {Vec2d{-5, -5}, {5, -5}, {5, 5}, {-5, 5}}) {
            points.push_back({p[0], p[1], height});
        }
        const std::vector<int> up{n, n + 1, n + 2, n, n + 2, n + 3};
        const std::vector<int> down{n, n + 2, n + 1, n, n + 3, n + 2};
        const std::vector<int>& added = isUp ? up : down;
        triples.insert(triples.end(), added.begin(), added.end());
    }
    return {points, triples};
}

double HeightOf(const SourceSurface& surface, const StrayPoint& point, double reach)
{
    const std::vector<Vec3d> places = surface.Projected({point}, reach);
    EXPECT_EQ(places.size(), 1U);
    EXPECT_TRUE(Matches(Vec2d(places[0][0], places[0][1]),
                        Vec2d(point.position[0], point.position[1]), 1e-12));
    return places[0][2];
}

TEST(SourceSurface, ThousandsOfCopiesOfATriangleAreThatTriangle)
{
    // Each point against each copy would take half a minute.
    constexpr int kCopies = 40000;
    const std::vector<Vec3d> corners{{0, 0, 0}, {1, 0, 0.25}, {0, 1, 0.5}};
    std::vector<Vec3d> points;
    std::vector<int> triples;
    for (int i = 0; i < kCopies; ++i) {
        points.insert(points.end(), corners.begin(), corners.end());
        triples.insert(triples.end(), {3 * i, 3 * i + 1, 3 * i + 2});
    }
    // One that faces down, and one out of range, between them.
    const std::vector<int> down{2, 1, 0};
    triples.insert(triples.begin() + 3 * (kCopies / 2), down.begin(), down.end());
    triples.insert(triples.begin(), {0, 1, 3 * kCopies});
    std::vector<StrayPoint> strays;
    for (int i = 0; i < 200; ++i) {
        for (int k = 0; k < 200; ++k) {
            strays.push_back(With({i * 0.005, k * 0.005, 0.1}, {0, 0, k % 2 == 0 ? 1.0 : -1.0}));
        }
    }
    const SourceSurface once(corners, {0, 1, 2, 2, 1, 0});
    EXPECT_EQ(SourceSurface(points, triples).Projected(strays, 1.0), once.Projected(strays, 1.0));
}

TEST(SourceSurface, APointGoesToTheNearestFacetThatFacesItsWayWithinTheReach)
{
    // The far wall is 0.1 away and faces down, the own wall 0.4.
    const SourceSurface walls = Plates({{0, false}, {0.5, true}});
    const StrayPoint up = With({0.3, 0.2, 0.1}, {0, 0, 7});
    for (const double reach : {0.41, 1.0, 100.0, kInfinity, kNaN}) {
        EXPECT_NEAR(HeightOf(walls, up, reach), 0.5, 1e-15) << reach;
    }
    for (const double reach : {0.39, 0.2, 0.05, 0.0, -1.0}) {
        EXPECT_EQ(HeightOf(walls, up, reach), 0) << reach << ": too far, the nearest it is";
    }
    const StrayPoint down = With({0.3, 0.2, 0.1}, {0, 0, -1e-9});
    const StrayPoint sideways = With({0.3, 0.2, 0.1}, {1, 0, 0});
    const StrayPoint without = Without({0.3, 0.2, 0.1});
    for (const StrayPoint& point : {down, sideways, without}) {
        EXPECT_EQ(HeightOf(walls, point, 10), 0) << "the nearest does not face away";
    }
    // Of several that face its way the nearest, on whichever side.
    const SourceSurface more = Plates({{0, false}, {0.5, true}, {-0.2, true}, {-0.25, true}});
    EXPECT_NEAR(HeightOf(more, up, 10), -0.2, 1e-15);
    EXPECT_NEAR(HeightOf(more, up, 0.31), -0.2, 1e-15);
    EXPECT_EQ(HeightOf(more, up, 0.29), 0);
}

TEST(SourceSurface, AgreesWithASearchOfAllFacets)
{
    Support::Random random(23);
    for (int trial = 0; trial < 20; ++trial) {
        Support::IndexedMesh soup;
        for (int t = 0; t < 60; ++t) {
            const Vec3d at = random.Vector<3, double>(-2, 2);
            for (int k = 0; k < 3; ++k) {
                soup.indices.push_back(static_cast<int>(soup.points.size()));
                soup.points.push_back(at + random.Vector<3, double>(-0.5, 0.5));
            }
        }
        const SourceSurface surface(soup.points, soup.indices);
        const double reach = random.Between(0.1, 2);
        std::vector<StrayPoint> strays;
        for (int i = 0; i < 50; ++i) {
            const Vec3d at = random.Vector<3, double>(-2, 2);
            strays.push_back(With(at, random.Vector<3, double>(-1, 1)));
        }
        for (std::size_t i = 0; i < strays.size(); ++i) {
            double nearest = kInfinity;
            double nearestFacing = kInfinity;
            bool facesAway = false;
            for (std::size_t t = 0; t < soup.indices.size(); t += 3) {
                const Vec3d a = Support::PointOf(soup, t);
                const Vec3d b = Support::PointOf(soup, t + 1);
                const Vec3d c = Support::PointOf(soup, t + 2);
                const bool isAway = ((b - a) ^ (c - a)) * strays[i].normal < 0;
                const double d = Support::DistanceToTriangle(strays[i].position, a, b, c);
                if (d < nearest) {
                    nearest = d;
                    facesAway = isAway;
                }
                nearestFacing = isAway ? nearestFacing : std::min(nearestFacing, d);
            }
            const double expected = facesAway && nearestFacing < reach ? nearestFacing : nearest;
            // Each on its own, since points that would meet at a corner keep each other off.
            const Vec3d place = surface.Projected({strays[i]}, reach)[0];
            EXPECT_NEAR(Length(place - strays[i].position), expected, 1e-12) << trial;
        }
    }
}

TEST(SourceSurface, OfPointsThatWouldMeetOneGoesThere)
{
    // A point over an edge's end is nearest to that end, and so are others around it.
    const SourceSurface plate = Plates({{0, true}});
    const StrayPoint first = Without({6, 6, 0});
    const StrayPoint second = Without({7, 6, 1});
    StrayPoint held = Without({5, 5, 0});
    held.isFixed = true;
    const std::vector<Vec3d> two = plate.Projected({first, second}, 1);
    EXPECT_EQ(two[0], Vec3d(5, 5, 0));
    EXPECT_EQ(two[1], second.position);
    for (int place = 0; place < 3; ++place) {
        std::vector<StrayPoint> all{first, second};
        all.insert(all.begin() + place, held);
        const std::vector<Vec3d> three = plate.Projected(all, 1);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(three[i], all[i].position) << place << ": the fixed one is there";
        }
    }
    // Two that were in one place stay in one.
    const std::vector<Vec3d> together = plate.Projected({first, first}, 1);
    EXPECT_EQ(together[0], Vec3d(5, 5, 0));
    EXPECT_EQ(together[1], Vec3d(5, 5, 0));
}

TEST(SourceSurface, WhatIsNotFiniteStays)
{
    const SourceSurface plate = Plates({{0, true}});
    EXPECT_TRUE(std::isinf(plate.Projected({Without({1, 1, kInfinity})}, 1)[0][2]));
    EXPECT_TRUE(std::isnan(plate.Projected({Without({1, kNaN, 1})}, 1)[0][1]));
    const SourceSurface none({{0, 0, 0}, {1, 0, 0}, {0, kNaN, 0}}, {0, 1, 2, 0, 1, 9});
    EXPECT_EQ(none.Projected({Without({1, 2, 3})}, 1), (std::vector<Vec3d>{{1, 2, 3}}));
}

} // namespace
