// The search of the linking: which boxes it may pass over, and how many points it looks at.

#include "trees/SegmentLinkingSearch_Impl.h"

#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <vector>

namespace {

using Velk::Math::Vec2d;
using namespace Velk::Math::Sorvane::Tree::Impl;

bool IsNoNearerToThere(const Vec2d& point, const Vec2d& here, const Vec2d& there)
{
    return SquaredLength(point - here) <= SquaredLength(point - there);
}

TEST(SegmentLinkingSearch, NoBoxWithAPointThatCountsIsPassedOver)
{
    // Points on the bisector and beside it by a few roundings, near and far, also where the segment
    // is tiny beside the box.
    Support::Random random(1);
    int counted = 0;
    for (int trial = 0; trial < 200'000; ++trial) {
        const double scale = std::pow(10.0, random.Below(30) - 10);
        const Vec2d offset = random.Below(2) == 0 ? Vec2d(0, 0) : Vec2d(1e6, -1e6);
        const Vec2d here = offset + random.Vector<2, double>(-1, 1);
        const Vec2d there =
            here + random.Vector<2, double>(-1, 1) * std::pow(10.0, -random.Below(12));
        const Vec2d along(there[1] - here[1], here[0] - there[0]);
        Vec2d point = (here + there) * 0.5 + along * (random.Unit() * scale);
        for (int axis = 0; axis < 2; ++axis) {
            for (int step = random.Below(5); step > 0; --step) {
                point[axis] = std::nextafter(point[axis], random.Below(2) == 0 ? -1e300 : 1e300);
            }
        }
        if (!IsNoNearerToThere(point, here, there)) {
            continue;
        }
        ++counted;
        BoxOf<2, double> box;
        box.Grow(point);
        ASSERT_TRUE(MayHoldNoNearerTo(there, here, box)) << trial;
        box.Grow(point + random.Vector<2, double>(-1, 1) * scale);
        ASSERT_TRUE(MayHoldNoNearerTo(there, here, box)) << trial;
    }
    EXPECT_GT(counted, 50'000);
}

TEST(SegmentLinkingSearch, OverflowRulesNothingOut)
{
    BoxOf<2, double> box;
    box.Grow({1e200, 1e200});
    EXPECT_TRUE(MayHoldNoNearerTo({1e200, 0}, {-1e200, 0}, box));
    box.Grow({1.7e308, -1.7e308});
    EXPECT_TRUE(MayHoldNoNearerTo({1.7e308, 0}, {-1.7e308, 0}, box));
}

TEST(SegmentLinkingSearch, BoxesBeyondTheBisectorArePassedOver)
{
    // A long box on the far side, close to the bisector x = 0: its nearest point is nearer to
    // `here` than its farthest is to `there`.
    BoxOf<2, double> box;
    box.Grow({0.25, -50});
    box.Grow({0.5, 50});
    EXPECT_FALSE(MayHoldNoNearerTo({1, 0}, {-1, 0}, box));
    EXPECT_TRUE(MayHoldNoNearerTo({-1, 0}, {1, 0}, box));
}

TEST(SegmentLinkingSearch, StrokesThatStandOnACurveDoNotLookAtAllOthers)
{
    // Outer ends on a circle, the inner ends so near that all other strokes lie beyond the
    // bisector, only just. None finds a partner; looked at are those of a few leaves.
    constexpr int kCount = 10'000;
    constexpr double kRadius = 1e4;
    constexpr double kStep = 6.283185307179586 / kCount;
    std::vector<Vec2d> outer;
    std::vector<Vec2d> inner;
    for (int i = 0; i < kCount; ++i) {
        const Vec2d direction(std::cos(i * kStep), std::sin(i * kStep));
        outer.push_back(direction * kRadius);
        inner.push_back(direction * (kRadius * (1 - 0.2 * kStep * kStep)));
    }
    std::vector<int> numbers(outer.size());
    std::iota(numbers.begin(), numbers.end(), 0);
    const NumberedPoints search(outer, numbers);
    std::size_t looks = 0;
    for (std::size_t i = 0; i < outer.size(); ++i) {
        const NumberedPoints::Found found = search.Nearest(
            outer[i], std::numeric_limits<double>::infinity(),
            [&](const NumberedPoints::Box& box) {
                return MayHoldNoNearerTo(inner[i], outer[i], box);
            },
            [&](const Vec2d& position, double, int number) {
                ++looks;
                return number != static_cast<int>(i) &&
                               IsNoNearerToThere(position, outer[i], inner[i])
                           ? number
                           : NumberedPoints::kNone;
            });
        ASSERT_EQ(found.number, NumberedPoints::kNone);
    }
    EXPECT_LT(looks, outer.size() * outer.size() / 20);
}

TEST(SegmentLinkingSearch, WhatHasDroppedOutIsNotLookedAtAgain)
{
    // A crowd of which all drop out but one; then that one as well.
    constexpr int kCount = 1000;
    Support::Random random(2);
    std::vector<Vec2d> points;
    for (int i = 0; i < kCount; ++i) {
        points.push_back(random.Vector<2, double>(-1, 1));
    }
    std::vector<int> numbers(points.size());
    std::iota(numbers.begin(), numbers.end(), 0);
    NumberedPoints search(points, numbers);
    std::size_t boxes = 0;
    const auto nearest = [&] {
        boxes = 0;
        return search
            .Nearest(
                {0, 0}, std::numeric_limits<double>::infinity(),
                [&](const NumberedPoints::Box&) {
                    ++boxes;
                    return true;
                },
                [](const Vec2d&, double, int number) { return number; })
            .number;
    };
    for (int i = 0; i < kCount; ++i) {
        if (i != 500) {
            search.SetNumber(i, NumberedPoints::kNone);
        }
    }
    EXPECT_EQ(nearest(), 500);
    EXPECT_LT(boxes, 20U); // one path from the root
    search.SetNumber(500, NumberedPoints::kNone);
    EXPECT_EQ(nearest(), NumberedPoints::kNone);
    EXPECT_EQ(boxes, 0U);
}

} // namespace
