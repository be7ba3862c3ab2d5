// Gouges of a tool with shank and holder.

#include "tests/support/ContactOracle.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/ContactSurface_E.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::ContactSurface;
using Mill::GougeReport;
using Mill::ToolPart;
using Support::ShapedTool;
using Soup = std::vector<Vec3d>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A box that stands on z = bottom, closed.
Soup Block(const Vec3d& low, const Vec3d& high)
{
    Soup soup;
    const auto corner = [&](int i) {
        return Vec3d{(i & 1) != 0 ? high[0] : low[0], (i & 2) != 0 ? high[1] : low[1],
                     (i & 4) != 0 ? high[2] : low[2]};
    };
    for (const auto& [a, b, c, d] : {std::array{0, 1, 3, 2},
                                     {4, 5, 7, 6},
                                     {0, 1, 5, 4},
                                     {2, 3, 7, 6},
                                     {0, 2, 6, 4},
                                     {1, 3, 7, 5}}) {
        for (const int i : {a, b, c, a, c, d}) {
            soup.push_back(corner(i));
        }
    }
    return soup;
}

/// Cutter of radius 5 and 10 long, shank of radius 3 up to 30, holder of radius 20 from 30 on.
std::vector<ToolPart> MillWithHolder()
{
    return {{{.tipRadius = 5, .shankLength = 10}, 0},
            {{.tipRadius = 3, .shankLength = 20}, 10},
            {{.tipRadius = 20, .shankLength = 40}, 30}};
}

GougeReport At(const ContactSurface& surface, const Vec3d& tip, double allowance)
{
    const auto gouges = surface.FindGouges(MillWithHolder(), {tip}, allowance, {});
    EXPECT_EQ(gouges.size(), 1U);
    return gouges.empty() ? GougeReport{} : gouges[0];
}

TEST(FindGouges, TheCutterInTheFloor)
{
    const ContactSurface surface(Block({-50, -50, -10}, {50, 50, 0}));
    EXPECT_EQ(At(surface, {0, 0, 0}, 0.0), GougeReport{}) << "a touch";
    EXPECT_EQ(At(surface, {0, 0, 7}, 0.0), GougeReport{});
    const GougeReport gouge = At(surface, {0, 0, -0.25}, 0.0);
    EXPECT_FALSE(gouge.isClear);
    EXPECT_EQ(gouge.depth, 0.25);
    EXPECT_EQ(gouge.part, 0);
    EXPECT_TRUE(gouge.triangle == 2 || gouge.triangle == 3) << "one of the upper face";
    EXPECT_TRUE(At(surface, {0, 0, -0.25}, 0.25).isClear);
    EXPECT_FALSE(At(surface, {0, 0, -0.25}, 0.24).isClear);
}

TEST(FindGouges, TheHolderOnAWall)
{
    // The wall begins 10 beside the axis and is 33 high: out of reach of cutter and shank, 3 into
    // the holder with the tip at 0.
    const ContactSurface surface(Block({10, -50, -10}, {50, 50, 33}));
    const GougeReport gouge = At(surface, {0, 0, 0}, 0.0);
    EXPECT_FALSE(gouge.isClear);
    EXPECT_EQ(gouge.depth, 3.0);
    EXPECT_EQ(gouge.part, 2);
    EXPECT_TRUE(At(surface, {0, 0, 3}, 0.0).isClear);
    EXPECT_TRUE(At(surface, {-10.001, 0, 0}, 0.0).isClear) << "far enough away";
    EXPECT_FALSE(At(surface, {-9.999, 0, 0}, 0.0).isClear);
}

TEST(FindGouges, TheShankAgainstAnOverhang)
{
    // A cutter of radius 5 stands below a lip that comes to 4 from the axis: free of the shank of
    // radius 3.
    const Soup lip = Block({4, -50, 12}, {50, 50, 15});
    EXPECT_TRUE(At(ContactSurface(lip), {0, 0, 0}, 0.0).isClear);
    // At 2 from the axis the lip is in the shank, by all that is between the shank's tip and the
    // lip's top.
    const GougeReport gouge = At(ContactSurface(Block({2, -50, 12}, {50, 50, 15})), {0, 0, 0}, 0.0);
    EXPECT_FALSE(gouge.isClear);
    EXPECT_EQ(gouge.part, 1);
    EXPECT_EQ(gouge.depth, 5.0);
    // Lifted by 4 the cutter reaches into the first lip from below; what is above its end doesn't
    // count.
    const GougeReport below = At(ContactSurface(lip), {0, 0, 4}, 0.0);
    EXPECT_EQ(below.part, 0);
    EXPECT_EQ(below.depth, 10.0) << "the wall of the lip goes on up to the cutter's end and beyond";
}

TEST(FindGouges, DeepInsideABodyIsNotClear)
{
    // The tool is short beside the block, and no face of the block is anywhere near it.
    const ContactSurface surface(Block({-500, -500, -500}, {500, 500, 500}));
    const GougeReport gouge = At(surface, {0, 0, 0}, 0.0);
    EXPECT_FALSE(gouge.isClear);
    EXPECT_EQ(gouge.part, 2) << "the part that goes on upward";
    EXPECT_EQ(gouge.depth, 470.0);
    EXPECT_TRUE(At(surface, {0, 0, 500}, 0.0).isClear);
}

TEST(FindGouges, ANegativeAllowanceAsksForClearance)
{
    const ContactSurface surface(Block({-50, -50, -10}, {50, 50, 0}));
    EXPECT_TRUE(At(surface, {0, 0, 2}, -2.0).isClear);
    const GougeReport close = At(surface, {0, 0, 1.5}, -2.0);
    EXPECT_FALSE(close.isClear);
    EXPECT_EQ(close.depth, -1.5);
    EXPECT_EQ(close.part, 0);
}

TEST(FindGouges, OfEqualDepthsTheFirstPartIsTold)
{
    const ContactSurface surface(Block({-50, -50, -10}, {50, 50, 0}));
    const ToolPart disk{{.tipRadius = 5, .shankLength = 10}, 0};
    const auto gouges = surface.FindGouges({disk, disk, disk}, {{0, 0, -1}}, 0.0, {});
    EXPECT_EQ(gouges.at(0).part, 0);
    EXPECT_EQ(gouges.at(0).depth, 1.0);
}

TEST(FindGouges, PartsMayStandInAnyOrder)
{
    const ContactSurface surface(Block({10, -50, -10}, {50, 50, 33}));
    std::vector<ToolPart> parts = MillWithHolder();
    std::reverse(parts.begin(), parts.end());
    const auto gouges = surface.FindGouges(parts, {{0, 0, 0}}, 0.0, {});
    EXPECT_EQ(gouges.at(0).part, 0);
    EXPECT_EQ(gouges.at(0).depth, 3.0);
}

TEST(FindGouges, WhereATouchIsFoundTheCutterIsClearAndLowerItIsNot)
{
    Support::Random random(111);
    for (const ShapedTool& tool : Support::ToolsOfAllKinds()) {
        const Soup soup = Support::RandomSoup(random, 100, 20.0);
        const ContactSurface surface(soup);
        std::vector<Vec2d> positions;
        for (int i = 0; i < 100; ++i) {
            positions.push_back(random.Vector<2, double>(-20, 20));
        }
        const auto drops =
            surface.DropAtPoints(Mill::ConvexToolContact(tool.record), positions, {});
        std::vector<Vec3d> touching;
        std::vector<Vec3d> lower;
        for (std::size_t i = 0; i < positions.size(); ++i) {
            if (drops.triangles[i] >= 0) {
                touching.push_back({positions[i].x(), positions[i].y(), drops.heights[i]});
                lower.push_back(touching.back() - Vec3d{0, 0, 0.125});
            }
        }
        ASSERT_GT(touching.size(), 50U);
        const std::vector<ToolPart> parts{{tool.record, 0}};
        for (const GougeReport& report : surface.FindGouges(parts, touching, 1e-12, {})) {
            EXPECT_TRUE(report.isClear) << tool.name;
        }
        for (const GougeReport& report : surface.FindGouges(parts, lower, 1e-12, {})) {
            EXPECT_FALSE(report.isClear) << tool.name;
            EXPECT_NEAR(report.depth, 0.125, 1e-12) << tool.name;
            EXPECT_EQ(report.part, 0);
        }
    }
}

/// What of the triangle is not above `top`, as triangles: by halving its edges, not by calculating.
std::vector<Support::TriangleCorners> NotAbove(const Support::TriangleCorners& corner, double top)
{
    const auto crossing = [&](Vec3d below, Vec3d above) {
        for (int round = 0; round < 200; ++round) {
            const Vec3d middle = (below + above) * 0.5;
            (middle.z() <= top ? below : above) = middle;
        }
        return below;
    };
    std::vector<Vec3d> kept;
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d p = corner[i];
        const Vec3d q = corner[(i + 1) % 3];
        if (p.z() <= top) {
            kept.push_back(p);
        }
        if ((p.z() <= top) != (q.z() <= top)) {
            kept.push_back(p.z() <= top ? crossing(p, q) : crossing(q, p));
        }
    }
    std::vector<Support::TriangleCorners> triangles;
    for (std::size_t i = 2; i < kept.size(); ++i) {
        triangles.push_back({kept[0], kept[i - 1], kept[i]});
    }
    return triangles;
}

TEST(FindGouges, RandomStacksAgainstASearchOverTheTriangles)
{
    Support::Random random(112);
    const std::vector<ShapedTool> shapes = Support::ToolsOfAllKinds();
    int clear = 0;
    int offences = 0;
    for (int trial = 0; trial < 150; ++trial) {
        SCOPED_TRACE(trial);
        const Soup soup = Support::RandomSoup(random, 8, 15.0);
        std::vector<ToolPart> parts;
        std::vector<const ShapedTool*> shapeOf;
        double height = 0;
        for (int i = 0; i < 3; ++i) {
            shapeOf.push_back(
                &shapes[static_cast<std::size_t>(random.Below(static_cast<int>(shapes.size())))]);
            parts.push_back({shapeOf.back()->record, height});
            height += random.Between(2, 12);
        }
        // The end of a shape: the bodies of the list have a shank of 10, but for the ball.
        const auto endOf = [&](std::size_t i) {
            const ShapedTool& shape = *shapeOf[i];
            return parts[i].height + shape.profile(shape.radius) + parts[i].shape.shankLength;
        };
        std::size_t uppermost = 0;
        for (std::size_t i = 1; i < 3; ++i) {
            uppermost = endOf(i) >= endOf(uppermost) - 1e-9 ? i : uppermost;
        }
        const Vec3d tip = random.Vector<3, double>(-15, 15);
        std::array<double, 3> depth{};
        for (std::size_t i = 0; i < 3; ++i) {
            depth[i] = Support::Oracle::kNothing;
            const double end = i == uppermost ? 1e9 : tip.z() + endOf(i);
            for (int triangle = 0; triangle < 8; ++triangle) {
                for (const auto& piece :
                     NotAbove(Support::RelativeCorners(soup, triangle, {tip.x(), tip.y()}), end)) {
                    depth[i] = std::max(depth[i], Support::LowestTipOver(piece, *shapeOf[i]) -
                                                      tip.z() - parts[i].height);
                }
            }
        }
        const double deepest = *std::max_element(depth.begin(), depth.end());
        const GougeReport gouge = ContactSurface(soup).FindGouges(parts, {tip}, 0.0, {}).at(0);
        if (std::fabs(deepest) < 1e-6) {
            continue; // a touch: either is right
        }
        ASSERT_EQ(gouge.isClear, deepest < 0);
        (gouge.isClear ? clear : offences) += 1;
        if (!gouge.isClear) {
            // The search comes to the greatest depth from below, within 1e-4 where the profile is
            // steep.
            EXPECT_GE(gouge.depth, deepest - 1e-9);
            EXPECT_LE(gouge.depth, deepest + 1e-4);
            EXPECT_GE(depth[static_cast<std::size_t>(gouge.part)], deepest - 1e-4);
        } else {
            EXPECT_EQ(gouge, GougeReport{});
        }
    }
    EXPECT_GT(clear, 10);
    EXPECT_GT(offences, 10);
}

TEST(FindGouges, HostileInputIsClearOrLeftOut)
{
    const ContactSurface surface(Block({-50, -50, -10}, {50, 50, 0}));
    const std::vector<ToolPart> parts = MillWithHolder();
    const auto gouges = surface.FindGouges(
        parts, {{kNaN, 0, -1}, {0, kInfinity, -1}, {0, 0, kNaN}, {0, 0, -kInfinity}, {0, 0, -1}},
        0.0, {});
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(gouges.at(i).isClear) << i;
    }
    EXPECT_EQ(gouges.at(4).depth, 1.0);
    EXPECT_TRUE(surface.FindGouges({}, {{0, 0, -1}}, 0.0, {}).at(0).isClear) << "no tool";
    EXPECT_TRUE(surface.FindGouges({{{}, 0}}, {{0, 0, -1}}, 0.0, {}).at(0).isClear) << "no profile";
    EXPECT_TRUE(surface.FindGouges(parts, {}, 0.0, {}).empty());
    std::vector<ToolPart> broken = parts;
    broken[0].height = kNaN;
    broken[2].height = kInfinity;
    EXPECT_TRUE(surface.FindGouges(broken, {{0, 0, -1}}, 0.0, {}).at(0).isClear)
        << "the shank begins at 9";
    EXPECT_EQ(surface.FindGouges(parts, {{0, 0, -1}}, kNaN, {}).at(0).depth, 1.0)
        << "NaN counts as 0";
    EXPECT_TRUE(surface.FindGouges(parts, {{0, 0, -1}}, kInfinity, {}).at(0).isClear);
    EXPECT_EQ(surface.FindGouges(parts, {{0, 0, -1}}, -kInfinity, {}).at(0).depth, 1.0);
}

} // namespace
