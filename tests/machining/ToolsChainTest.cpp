// How tools are read from chains, and what makes one the better fit.

#include "machining/ToolsFit_Impl.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::Impl::FitMeasures;
using Mill::Impl::IsBetterFit;

TEST(ToolsFitRule, MeanMustBeLowerAndTheRestNoWorseThanItsShare)
{
    const FitMeasures best{1, 1, 1};
    constexpr double kTolerance = 0.1;
    const auto replaces = [&](double point, double hull, double mean) {
        return IsBetterFit({point, hull, mean}, best, kTolerance);
    };
    EXPECT_TRUE(replaces(1, 1, 0.999));
    EXPECT_FALSE(replaces(0.5, 0.5, 1)); // equal means: the best stays
    EXPECT_FALSE(replaces(0.5, 0.5, 1.1));
    EXPECT_TRUE(replaces(1, 1.0009, 0.9)); // a hundredth of the tolerance
    EXPECT_FALSE(replaces(1, 1.0011, 0.9));
    EXPECT_TRUE(replaces(1.049, 1, 0.9)); // half of it
    EXPECT_FALSE(replaces(1.051, 1, 0.9));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(replaces(1, 1, nan));
    EXPECT_FALSE(replaces(nan, 1, 0.9));
    EXPECT_FALSE(replaces(1, nan, 0.9));
    EXPECT_FALSE(IsBetterFit({1, 1.0009, 0.9}, best, nan));
}

std::vector<Vec2d> QuarterEllipse(int count)
{
    std::vector<Vec2d> points{{0, 0}};
    for (int i = 1; i <= count; ++i) {
        const double angle = 1.5707963267948966 * i / count;
        points.push_back({10 * std::sin(angle), 6 * (1 - std::cos(angle))});
    }
    return points;
}

// Its chain has some twenty arcs that turn by less than a tenth of a radian each. A tool has two,
// which do not fit each other here, so that the reading ends after the first: one that turns by
// much more, of a radius as the ellipse has there.
TEST(ToolsChain, ElementsAreMergedUntilAToolCanHaveThem)
{
    Mill::Impl::WideTool tool;
    ASSERT_TRUE(Mill::Impl::ToolFromChain(QuarterEllipse(300), std::hypot(10, 6), 0.001, tool));
    EXPECT_GT(tool.lowerCornerAngle - tool.taperAngle, 0.3);
    EXPECT_GT(tool.lowerCornerRadius, 36.0 / 10);
    EXPECT_LT(tool.lowerCornerRadius, 100.0 / 6);
}

/// Adds points of an arc to the left, from the last of the points; angles are those of its tangents
/// from the axis.
void AddArc(std::vector<Vec2d>& points, double radius, double from, double to)
{
    constexpr int kCount = 60;
    const Vec2d start = points.back();
    const Vec2d center = start + Vec2d{-std::cos(from), std::sin(from)} * radius;
    for (int i = 1; i <= kCount; ++i) {
        const double angle = from + (to - from) * i / kCount;
        points.push_back(center + Vec2d{std::cos(angle), -std::sin(angle)} * radius);
    }
}

constexpr double kHalfPi = 1.5707963267948966;

Mill::Impl::WideTool Read(const std::vector<Vec2d>& points)
{
    Mill::Impl::WideTool tool;
    EXPECT_TRUE(Mill::Impl::ToolFromChain(points, Length(points.back()), 0.01, tool));
    return tool;
}

TEST(ToolsChain, FirstSegmentIsAFlatWhenItRisesByLessThanTheTolerance)
{
    const auto flat = Read({{0, 0}, {5, 0.02}, {5, 9}}); // by 0.004 of its length
    EXPECT_NEAR(flat.tipRadius, 5, 1e-4);
    EXPECT_NEAR(flat.taperHeight, 8.98, 1e-12);
    EXPECT_NEAR(flat.taperAngle, 0, 1e-12);
    const auto cone = Read({{0, 0}, {5, 0.1}, {5, 9}}); // by 0.02
    EXPECT_EQ(cone.tipRadius, 0);
    EXPECT_NEAR(cone.taperHeight, 0.1, 1e-12);
    EXPECT_NEAR(cone.shankLength, 8.9, 1e-12);
}

// The corner ends at 45 degrees, the segment above it leans by 1 in 4: the cone at 45 degrees ends
// 3 beside it, which with the wall of 4 makes 5.
TEST(ToolsChain, WhatTheConeMissesIsCarriedToTheShank)
{
    std::vector<Vec2d> points{{0, 0}};
    AddArc(points, 10, kHalfPi, kHalfPi / 2);
    points.push_back(points.back() + Vec2d{1, 4});
    points.push_back(points.back() + Vec2d{0, 4});
    const auto tool = Read(points);
    EXPECT_NEAR(tool.lowerCornerRadius, 10, 1e-3);
    EXPECT_NEAR(tool.taperAngle, kHalfPi / 2, 1e-3);
    EXPECT_NEAR(tool.taperHeight, 4, 1e-3);
    EXPECT_NEAR(tool.shankLength, 5, 1e-2);
}

TEST(ToolsChain, SecondArcIsTangentAndEndsUprightOrIsNone)
{
    const auto upperRadius = [](double from, double to) {
        std::vector<Vec2d> points{{0, 0}};
        AddArc(points, 10, kHalfPi, 0.8);
        points.push_back(points.back() + Vec2d{std::sin(0.8), std::cos(0.8)} * 5.0);
        AddArc(points, 6, from, to);
        const auto tool = Read(points);
        EXPECT_NEAR(tool.lowerCornerRadius, 10, 1e-3);
        return tool.upperCornerRadius;
    };
    EXPECT_NEAR(upperRadius(0.8, 0), 6, 1e-3);
    EXPECT_EQ(upperRadius(0.6, 0), 0);
    EXPECT_EQ(upperRadius(0.8, 0.2), 0);
}

TEST(ToolsChain, NoChainAtANegativeTolerance)
{
    Mill::Impl::WideTool tool;
    EXPECT_FALSE(Mill::Impl::ToolFromChain(QuarterEllipse(20), 12, -1, tool));
}

} // namespace
