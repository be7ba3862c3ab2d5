// The choice among candidates by lower bounds, and the farthest points that bounds come from.

#include "bounding/OrientedBoxPrism_Impl.h"

#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Transform_E.h>

#include "tests/support/PointSets.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Impl = Sorvane::Bounding::Impl;
using Impl::Merit;
using Support::PointSet;

TEST(OrientedBoxCandidates, TheChoiceIsThatOfAskingAll)
{
    Support::Random random(1);
    for (int round = 0; round < 400; ++round) {
        const int count = random.Below(40);
        std::vector<Merit> bounds;
        std::vector<Merit> merits;
        std::pair<Merit, int> best{Impl::kDropped, -1};
        for (int i = 0; i < count; ++i) { // few values: many ties
            const Merit merit{random.Below(6), random.Below(3)};
            bounds.push_back({merit.first - random.Below(4), merit.second - random.Below(2)});
            merits.push_back(merit);
            if (random.Below(8) == 0) {
                bounds.back() = Impl::kDropped;
            } else {
                best = std::min(best, {merit, i});
            }
        }
        EXPECT_EQ(
            Impl::BestCandidate(bounds, [&](int i) { return merits[static_cast<std::size_t>(i)]; }),
            best.second);
    }
}

TEST(OrientedBoxCandidates, WhatCannotWinIsNotAsked)
{
    std::vector<Merit> bounds;
    for (int i = 0; i < 1000; ++i) {
        bounds.push_back({i, 0});
    }
    std::atomic<int> asked{0};
    const int best = Impl::BestCandidate(bounds, [&](int i) {
        ++asked;
        return Merit{i + 2.5, 0};
    });
    EXPECT_EQ(best, 0);
    EXPECT_LE(asked, 7) << "1, then 2, and 3, which are below 2.5 at most, in a batch of 4";
}

TEST(OrientedBoxCandidates, NotANumberNeverWins)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Impl::BestCandidate({{nan, 0}, {1, 0}, {2, 0}},
                                  [&](int i) {
                                      return i == 1 ? Merit{nan, 0} : Merit{3, 0};
                                  }),
              2);
    EXPECT_EQ(Impl::BestCandidate({{nan, 0}}, [](int) { return Merit{}; }), -1);
    EXPECT_EQ(Impl::BestCandidate({}, [](int) { return Merit{}; }), -1);
}

TEST(OrientedBoxCandidates, ClimbingReachesTheFarthestPointOfAHull)
{
    Support::Random random(2);
    for (const PointSet set : {PointSet::Cube, PointSet::Sphere, PointSet::Lattice}) {
        const auto points = Support::MakePoints<3, double>(set, 2000, random);
        std::vector<Vec3d> corners;
        std::vector<int> triangles;
        ASSERT_TRUE(Sorvane::Bounding::ConvexHull(points, corners, triangles, false, false));
        const Impl::SupportGraph graph(corners, triangles);
        for (int i = 0; i < 500; ++i) {
            Vec3d direction = Support::RandomDirection<3, double>(random);
            if (i % 5 == 0) {
                direction[i % 3] = 0; // on the edges of the table's cells
            }
            double farthest = -std::numeric_limits<double>::infinity();
            for (const Vec3d& p : corners) {
                farthest = std::max(farthest, p * direction);
            }
            EXPECT_EQ(graph.Reach(direction), farthest);
        }
    }
}

std::vector<Vec3d> OnCircle(int count, double z)
{
    std::vector<Vec3d> points;
    for (int i = 0; i < count; ++i) {
        const double angle = 2 * M_PI * i / count;
        points.push_back({3 * std::cos(angle), 2 * std::sin(angle), z});
    }
    return points;
}

double Farthest(const std::vector<Vec3d>& points, const Vec3d& direction)
{
    double farthest = -std::numeric_limits<double>::infinity();
    for (const Vec3d& p : points) {
        farthest = std::max(farthest, p * direction);
    }
    return farthest;
}

TEST(OrientedBoxCandidates, ClimbingPastACornerWithManyTrianglesGoesTheRightWay)
{
    // A cone, a double cone, one cut off flat and a leaning one: tips and the corners that flat
    // caps are fanned from, which are as wide as they are flat.
    std::vector<std::vector<Vec3d>> solids;
    for (const double tip : {0.01, 5.0, 400.0}) {
        solids.push_back(OnCircle(700, 0));
        solids.back().push_back({0, 0, tip});
        solids.push_back(solids.back());
        solids.back().push_back({0.5, -0.3, -0.2});
        solids.push_back(OnCircle(300, 0));
        const std::vector<Vec3d> top = OnCircle(300, tip);
        solids.back().insert(solids.back().end(), top.begin(), top.end());
        solids.push_back(OnCircle(500, 0));
        solids.back().push_back({4, 1, tip});
    }
    Support::Random random(12);
    const auto turn = Transform::BuildRotationFromAxisAngle({1, 2, -0.7}, 0.83);
    for (const auto& solid : solids) {
        for (const bool isTurned : {false, true}) {
            const std::vector<Vec3d> points = isTurned ? turn * solid : solid;
            std::vector<Vec3d> corners;
            std::vector<int> triangles;
            ASSERT_TRUE(Sorvane::Bounding::ConvexHull(points, corners, triangles, false, false));
            const Impl::SupportGraph graph(corners, triangles);
            const auto check = [&](const Vec3d& direction) {
                const double farthest = Farthest(corners, direction);
                EXPECT_LE(graph.Reach(direction), farthest);
                EXPECT_GE(graph.Reach(direction), farthest - 1e-12);
            };
            for (int i = 0; i < 200; ++i) {
                check(Support::RandomDirection<3, double>(random));
            }
            for (std::size_t i = 0; i + 2 < triangles.size(); i += 3 * 17) {
                const auto corner = [&](std::size_t k) {
                    return corners[static_cast<std::size_t>(triangles[i + k])];
                };
                const Vec3d along = Normalized(corner(1) - corner(0), 0.0);
                const Vec3d normal = Normalized(along ^ (corner(2) - corner(0)), 0.0);
                for (const Vec3d& direction : {along, normal, normal ^ along}) {
                    check(direction);
                    check(-direction);
                }
                // Hardly off a facet: of all the neighbors of a corner one alone lies farther.
                for (std::size_t k = 0; k < 3; ++k) {
                    const Vec3d toLower = corner((k + 1) % 3) - corner(k);
                    const Vec3d toHigher = corner((k + 2) % 3) - corner(k);
                    const Vec3d way =
                        toHigher - toLower * ((toHigher * toLower) / (toLower * toLower));
                    check(normal + way * 1e-5);
                    check(normal + way * 1e-3);
                }
            }
        }
    }
}

TEST(OrientedBoxCandidates, ClimbingNeverReachesTooFarOnAnyTriangles)
{
    Support::Random random(3);
    const auto points = Support::MakePoints<3, double>(PointSet::Cube, 300, random);
    std::vector<int> triangles;
    for (int i = 0; i < 300; ++i) {
        triangles.push_back(random.Below(250));
    }
    const Impl::SupportGraph graph(points, triangles);
    for (int i = 0; i < 300; ++i) {
        const Vec3d direction = Support::RandomDirection<3, double>(random);
        const double reach = graph.Reach(direction);
        EXPECT_TRUE(std::any_of(points.begin(), points.end(),
                                [&](const Vec3d& p) { return p * direction == reach; }));
    }
    EXPECT_EQ(graph.Reach({}), 0);
}

TEST(OrientedBoxCandidates, BoundsOfPrismsAreHardlyBelowWhatIsMeasured)
{
    // What is left out because of its bound is never measured: a bound that is too high would lose
    // the least prism, and one that is too low would measure nearly all.
    Support::Random random(4);
    std::vector<std::vector<Vec3d>> solids;
    for (const PointSet set : {PointSet::Cube, PointSet::Sphere, PointSet::Lattice,
                               PointSet::Clusters, PointSet::Antipodal}) {
        for (const int count : {4, 5, 30, 600}) {
            solids.push_back(Support::MakePoints<3, double>(set, count, random));
        }
    }
    solids.push_back({{0, 0, 5}, {4, 0, 5}, {4, 3, 5}, {0, 3, 5}, {2, 1, 5}}); // flat
    solids.push_back({{0, 0, 0}, {1, 2, 3}, {2, 4, 6}});
    solids.push_back({{7, 8, 9}});
    for (const auto& points : solids) {
        const Impl::PrismBody body(points);
        for (int i = 0; i < 200; ++i) {
            const Vec3d direction = Support::RandomDirection<3, double>(random);
            const auto [boundOfArea, boundOfHeight] = body.LowerBound(direction);
            const auto [area, height] = body.Measured(direction);
            EXPECT_LE(boundOfArea, area);
            EXPECT_GE(boundOfArea, area * (1 - 1e-9) - 1e-9);
            EXPECT_LE(boundOfHeight, height);
            EXPECT_GE(boundOfHeight, height * (1 - 1e-12));
            EXPECT_NEAR(height, Farthest(points, direction) + Farthest(points, -direction), 1e-14);
        }
    }
}

TEST(OrientedBoxCandidates, BoundsOfNeedlesAllowForTheRoundingAcrossTheirLength)
{
    // The area vectors of a needle, and the outline that is measured, are known to a rounding of
    // its length squared, a millionth of what is seen of one as thin as this.
    constexpr double kRounding = std::numeric_limits<double>::epsilon() / 2;
    Support::Random random(5);
    for (const int count : {4, 5, 30, 600}) {
        for (int trial = 0; trial < 5; ++trial) {
            const auto points = Support::MakePoints<3, double>(PointSet::NearLine, count, random);
            const Impl::PrismBody body(points);
            // One that is flat to the tolerance of the hull counts as flat.
            std::vector<Vec3d> corners;
            std::vector<int> triangles;
            const bool isSolid =
                Sorvane::Bounding::ConvexHull(points, corners, triangles, false, false);
            for (int i = 0; i < 40; ++i) {
                const Vec3d direction = Support::RandomDirection<3, double>(random);
                const double bound = body.LowerBound(direction).first;
                const double area = body.Measured(direction).first;
                EXPECT_LE(bound, area);
                EXPECT_GE(bound, isSolid ? area - (count + 1) * 128 * kRounding : 0.0);
            }
        }
    }
}

} // namespace
