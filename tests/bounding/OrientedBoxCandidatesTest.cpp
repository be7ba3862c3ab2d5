// The choice among candidates by lower bounds, and the farthest points that bounds come from.

#include "bounding/OrientedBox_Impl.h"

#include <Sorvane/ConvexHull_E.h>

#include "tests/support/PointSets.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <atomic>
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

} // namespace
