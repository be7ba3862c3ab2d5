// Where a tool's tip stands when the tool touches a surface at a given point.

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/ToolOffset_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::ConvexToolOffset;
using Chain = Planar::PolyArcSegBase<double>;
using Tool = Mill::ConvexStandardToolBase<double>;
using Support::Random;

constexpr double kHalfPi = 1.5707963267948966;
constexpr double kRadians = 0.017453292519943295;

static_assert(std::has_virtual_destructor_v<ConvexToolOffset>);
static_assert(std::is_copy_constructible_v<ConvexToolOffset> &&
              std::is_copy_assignable_v<ConvexToolOffset>);
static_assert(std::is_nothrow_move_constructible_v<ConvexToolOffset> &&
              std::is_nothrow_move_assignable_v<ConvexToolOffset>);

void ExpectPoint(const Vec3d& found, const Vec3d& expected, double within = 1e-12)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(found[i], expected[i], within) << "coordinate " << i;
    }
}

/// A unit normal by its angle from the vertical and its direction in plan.
Vec3d NormalAt(double steepness, double azimuth)
{
    return {std::sin(steepness) * std::cos(azimuth), std::sin(steepness) * std::sin(azimuth),
            std::cos(steepness)};
}

// --- known answers ------------------------------------------------------------------------------

TEST(ToolOffset, BallIsTheNormalTimesItsRadius)
{
    const ConvexToolOffset offset(Tool{0, 5, kHalfPi, 0, 0, 0, 0});
    Random random(1);
    for (int trial = 0; trial < 500; ++trial) {
        const Vec3d p = random.Vector<3, double>(-10, 10);
        const Vec3d n = NormalAt(random.Between(0, kHalfPi), random.Between(0, 7));
        ExpectPoint(offset.OffsetFrom(p, n), p + n * 5.0 - Vec3d{0, 0, 5});
    }
    ExpectPoint(offset.OffsetFrom({1, 2, 3}, {0, 0, 1}), {1, 2, 3});
}

TEST(ToolOffset, FlatEndStandsOnThePointWhateverItsRadius)
{
    for (const double radius : {0.5, 4.0, 100.0}) {
        for (const double shank : {0.0, 10.0}) {
            const ConvexToolOffset offset(Tool{radius, 0, 0, 0, 0, 0, shank});
            ASSERT_FALSE(offset.IsEmpty());
            EXPECT_EQ(offset.OffsetFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{1, 2, 3}));
        }
    }
}

// The contact lies toward the rising surface, opposite to the normal in plan, at the tip radius
// from the axis.
TEST(ToolOffset, FlatEndOnATiltedPlaneTouchesWithItsRim)
{
    for (const double shank : {0.0, 10.0}) {
        const ConvexToolOffset offset(Tool{4, 0, 0, 0, 0, 0, shank});
        ExpectPoint(offset.OffsetFrom({1, 2, 3}, NormalAt(0.01, 0)), {5, 2, 3});
        ExpectPoint(offset.OffsetFrom({1, 2, 3}, NormalAt(1e-9, kHalfPi)), {1, 6, 3});
        ExpectPoint(offset.OffsetFrom({1, 2, 3}, NormalAt(1.2, kHalfPi)), {1, 6, 3});
    }
}

Chain ChainThrough(const std::vector<Vec2d>& points)
{
    Chain chain;
    for (std::size_t i = 1; i < points.size(); ++i) {
        chain.AppendSegment(points[i - 1], points[i]);
    }
    return chain;
}

// Drawn in two, level but for the rounding of its coordinates, or falling outward as the face of a
// cutter that is ground hollow.
TEST(ToolOffset, RimOfATipThatIsNotOneLevelSegment)
{
    for (const std::vector<Vec2d>& tip :
         {std::vector<Vec2d>{{0, 0}, {2, 0}, {4, 0}}, std::vector<Vec2d>{{0, 0}, {4, -3e-12}},
          std::vector<Vec2d>{{0, 0}, {4, 3e-12}},
          std::vector<Vec2d>{{0, 0}, {1, 0}, {2, 0}, {4, 0}},
          std::vector<Vec2d>{{0, 0.25}, {4, 0}}}) {
        for (const bool hasWall : {true, false}) {
            std::vector<Vec2d> points = tip;
            if (hasWall) {
                points.push_back({4, 10});
            }
            const ConvexToolOffset offset(ChainThrough(points));
            ASSERT_FALSE(offset.IsEmpty());
            for (const double steepness : {1e-9, 0.01, 0.5, 1.5}) {
                ExpectPoint(offset.OffsetFrom({1, 2, 3}, NormalAt(steepness, 0)), {5, 2, 3}, 1e-11);
            }
        }
    }
    // The lowest points of the hollow one are on its rim.
    const ConvexToolOffset hollow(ChainThrough({{0, 0.25}, {4, 0}, {4, 10}}));
    EXPECT_EQ(hollow.OffsetFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{1, 2, 3}));
    // A level plane touches a tip in two like one in one, at its center.
    const ConvexToolOffset split(ChainThrough({{0, 0}, {2, 0}, {4, 0}, {4, 10}}));
    EXPECT_EQ(split.OffsetFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{1, 2, 3}));
}

// Center of the corner's circle at radius 3 and height 2: the tip is at p + 2 n + 3 toward the axis
// - 2 up.
TEST(ToolOffset, BullNoseTouchesWithItsCorner)
{
    const ConvexToolOffset offset(Tool{3, 2, kHalfPi, 0, 0, 0, 20});
    const Vec3d n = NormalAt(30 * kRadians, 0);
    ExpectPoint(offset.OffsetFrom({1, 1, 1}, n), {1 + 2 * 0.5 + 3, 1, 1 + 2 * std::sqrt(0.75) - 2});
}

TEST(ToolOffset, SideOfACylinderTouchesWithItsUpperEnd)
{
    const ConvexToolOffset offset(Tool{4, 0, 0, 0, 0, 0, 10});
    ExpectPoint(offset.OffsetFrom({0, 0, 0}, {1, 0, 0}), {4, 0, -10});
}

TEST(ToolOffset, AnyLengthOfANormalTellsItsDirectionDownToTheFloor)
{
    const ConvexToolOffset offset(Tool{4, 0, 0, 0, 0, 0, 10});
    for (const double length : {1e-11, 1e-6, 1.0, 1e6, 1e100}) {
        EXPECT_EQ(offset.OffsetFrom({1, 2, 3}, {0, 0, length}), (Vec3d{1, 2, 3})) << length;
        ExpectPoint(offset.OffsetFrom({1, 2, 3}, Vec3d{-0.6, 0, 0.8} * length), {1 - 4, 2, 3});
    }
    // Shorter ones touch as if at the side, which ends at its upper end, and have no direction in
    // plan.
    EXPECT_EQ(offset.OffsetFrom({1, 2, 3}, {0, 0, 1e-13}), (Vec3d{1, 2, 3 - 10}));
    EXPECT_EQ(offset.TipFrom({1, 2, 3}, {0, 0, 1e-13}), (Vec3d{1, 2, 3 - 10}));
}

// Without a flat the first element answers for steeper normals, and of a slanted one that is the
// end.
TEST(ToolOffset, ConeOnALevelPlaneIsLeftAtItsEnd)
{
    const ConvexToolOffset cone(Tool{0, 0, 0, 10, 30 * kRadians, 0, 0});
    EXPECT_EQ(cone.OffsetFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{1, 2, -7}));
    const ConvexToolOffset lens(Tool{0, 20, 0.5, 0, 0.1, 0, 0});
    ExpectPoint(lens.OffsetFrom({1, 2, 3}, {0, 0, 1}), {1, 2, 3 + 20 - 20 * std::sin(0.5)});
}

TEST(ToolOffset, TipOfAPointedToolStandsOnALevelPlane)
{
    const ConvexToolOffset cone(Tool{0, 0, 0, 10, 30 * kRadians, 0, 0});
    EXPECT_EQ(cone.TipFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{1, 2, 3}));
    // Up to where the plane lies along the cone, and on its upper end beyond.
    EXPECT_EQ(cone.TipFrom({1, 2, 3}, NormalAt(59 * kRadians, 1)), (Vec3d{1, 2, 3}));
    ExpectPoint(cone.TipFrom({1, 2, 3}, NormalAt(61 * kRadians, 0)),
                {1 + 10 * std::tan(30 * kRadians), 2, 3 - 10});
    const ConvexToolOffset lens(Tool{0, 20, 0.5, 0, 0.1, 0, 0});
    EXPECT_EQ(lens.TipFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{1, 2, 3}));
    EXPECT_EQ(ConvexToolOffset().TipFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{}));
    // A ring has its lowest place at its inner edge.
    const ConvexToolOffset ring(ChainThrough({{2, 1}, {4, 3}, {4, 10}}));
    ExpectPoint(ring.TipFrom({1, 2, 3}, NormalAt(0.1, 0)), {1 + 2, 2, 3 - 1});
    ExpectPoint(ring.TipFrom({1, 2, 3}, NormalAt(0.1, kHalfPi)), {1, 2 + 2, 3 - 1});
    ExpectPoint(ring.TipFrom({1, 2, 3}, NormalAt(0.1, -2)),
                {1 + 2 * std::cos(2), 2 - 2 * std::sin(2), 3 - 1});
    // To the last hundredth of a degree the tip, and from the first the upper end.
    EXPECT_EQ(cone.TipFrom({1, 2, 3}, NormalAt(59.99 * kRadians, 1)), (Vec3d{1, 2, 3}));
    ExpectPoint(cone.TipFrom({1, 2, 3}, NormalAt(60.01 * kRadians, kHalfPi)),
                {1, 2 + 10 * std::tan(30 * kRadians), 3 - 10});
}

// The tool stands on the plane: its lowest place above that is on the plane, and at the point.
TEST(ToolOffset, TipKeepsAnyToolOnThePlane)
{
    Random random(17);
    for (int round = 0; round < 300; ++round) {
        const bool isPointed = round % 2 == 0;
        const double taper = random.Between(0.05, 1.2);
        const double corner = isPointed ? 0.0 : random.Between(0.1, 2);
        const Tool tool{round % 3 == 0 ? 0 : random.Between(0, 2),
                        corner,
                        random.Between(taper, kHalfPi),
                        random.Between(0.5, 5),
                        taper,
                        round % 5 == 0 ? 1.0 : 0.0,
                        random.Between(1, 9)};
        const ConvexToolOffset offset(tool);
        ASSERT_FALSE(offset.IsEmpty());
        const auto profile = Planar::ToPolyline(tool, 1e-6);
        for (int i = 0; i < 20; ++i) {
            const Vec3d n = i == 0 ? Vec3d{0, 0, 1}
                                   : NormalAt(random.Between(0, 1.57), random.Between(0, 6.28));
            const Vec3d point = random.Vector<3, double>(-10, 10);
            const Vec3d tip = offset.TipFrom(point, n);
            const double aside = std::hypot(n.x(), n.y());
            double lowest = std::numeric_limits<double>::infinity(); // above the plane
            for (const Vec2d& v : profile.points) {
                // Turned about the axis, the vertex that reaches lowest is against the normal.
                lowest = std::min(lowest, (tip - point) * n - v.x() * aside + v.y() * n.z());
            }
            EXPECT_NEAR(lowest, 0, 3e-6) << round << ' ' << n.z();
        }
    }
}

TEST(ToolOffset, DownwardNormalsBelongToTheLastElement)
{
    const ConvexToolOffset offset(Tool{4, 0, 0, 0, 0, 0, 10});
    EXPECT_EQ(offset.OffsetFrom({1, 2, 3}, {0, 0, -1}), (Vec3d{1, 2, -7}));
}

// A profile that ends in an arc is closed over the top.
TEST(ToolOffset, ArcAtTheEndIsCapped)
{
    const ConvexToolOffset ball(Tool{0, 5, kHalfPi, 0, 0, 0, 0});
    ExpectPoint(ball.OffsetFrom({0, 0, 0}, NormalAt(2.5, 0)), {5, 0, -5}, 1e-11);
    ExpectPoint(ball.OffsetFrom({0, 0, 0}, {0, 0, -1}), {0, 0, -5}, 1e-11);
    // Ending at 30 degrees: the rim of its top.
    const ConvexToolOffset lens(Tool{0, 4, kHalfPi, 0, 30 * kRadians, 0, 0});
    const double x = 4 * std::cos(30 * kRadians);
    ExpectPoint(lens.OffsetFrom({0, 0, 0}, NormalAt(80 * kRadians, 0)), {x, 0, -2}, 1e-11);
}

TEST(ToolOffset, CapOfAChainWithAWideTolerance)
{
    Chain chain;
    chain.tolerance = 1e-6; // no sliver of 2e-12 can be appended
    chain.AppendArc({0, 4}, {0, 0}, 4 * 60 * kRadians);
    const ConvexToolOffset offset(chain);
    ASSERT_FALSE(offset.IsEmpty());
    const double x = 4 * std::sin(60 * kRadians);
    ExpectPoint(offset.OffsetFrom({0, 0, 0}, NormalAt(85 * kRadians, 0)), {x, 0, -2}, 1e-11);
    ExpectPoint(offset.OffsetFrom({0, 0, 0}, NormalAt(120 * kRadians, 0)), {x, 0, -2}, 1e-11);
}

// The corner ends at 30 degrees from the axis and the wall is upright: normals in between touch the
// corner of both.
TEST(ToolOffset, CornerAtTheEndOfAnArcHasItsOwnNormals)
{
    const ConvexToolOffset offset(Tool{2, 4, kHalfPi, 0, 30 * kRadians, 0, 20});
    const double x = 2 + 4 * std::cos(30 * kRadians);
    for (const double degrees : {60.001, 61.0, 75.0, 89.0}) {
        ExpectPoint(offset.OffsetFrom({0, 0, 0}, NormalAt(degrees * kRadians, 0)), {x, 0, -2});
    }
}

TEST(ToolOffset, NormalsAreNotNormalizedOnArcs)
{
    const ConvexToolOffset ball(Tool{0, 5, kHalfPi, 0, 0, 0, 0});
    ExpectPoint(ball.OffsetFrom({0, 0, 0}, {0, 0, 2}), {0, 0, 5});
    const ConvexToolOffset flat(Tool{4, 0, 0, 0, 0, 0, 10});
    EXPECT_EQ(flat.OffsetFrom({0, 0, 0}, {0, 0, 2}), (Vec3d{}));
    // A zero normal has the polar angle 0, that of an upright wall.
    EXPECT_EQ(flat.OffsetFrom({0, 0, 0}, {0, 0, 0}), (Vec3d{0, 0, -10}));
}

// An outline that goes on over the top and down the axis ends with a normal of pi, not of -pi.
TEST(ToolOffset, OutlineClosedAlongTheAxisIsConvex)
{
    const ConvexToolOffset offset(ChainThrough({{0, 0}, {4, 0}, {4, 10}, {0, 10}, {0, 0}}));
    ASSERT_FALSE(offset.IsEmpty());
    ExpectPoint(offset.OffsetFrom({1, 2, 3}, NormalAt(0.3, 0)), {5, 2, 3});
    ExpectPoint(offset.OffsetFrom({1, 2, 3}, {1, 0, 0}), {5, 2, -7});
}

// A corner over no angle is an arc of length 0 in the chain, and a vertex of the tool.
TEST(ToolOffset, CornersOverNoAngle)
{
    const ConvexToolOffset lower(Tool{4, 2, 0.5, 3, 0.5, 0, 0});
    const ConvexToolOffset upper(Tool{4, 0, 0, 9, 0, 2, 0});
    ASSERT_FALSE(lower.IsEmpty());
    ASSERT_FALSE(upper.IsEmpty());
    for (const double steepness : {1e-6, 0.2, 1.0}) { // the rim's as far as pi / 2 - 0.5
        ExpectPoint(lower.OffsetFrom({}, NormalAt(steepness, 0)), {4, 0, 0});
        ExpectPoint(upper.OffsetFrom({}, NormalAt(steepness, 0)), {4, 0, 0});
    }
}

// Four decimals of pi / 2, and the nearest float, are a hair more than it: the quarter turn that
// they mean. A hundredth of a degree more is meant as it is, and turns right.
TEST(ToolOffset, QuarterTurnsThatWereRoundedUp)
{
    const ConvexToolOffset exact(Tool{3, 2, kHalfPi, 0, 0, 0, 9});
    for (const double angle : {1.5708, static_cast<double>(static_cast<float>(kHalfPi))}) {
        const ConvexToolOffset rounded(Tool{3, 2, angle, 0, 0, 0, 9});
        ASSERT_FALSE(rounded.IsEmpty());
        for (const double steepness : {0.0, 1e-6, 0.01, 0.7, 1.5}) {
            ExpectPoint(rounded.OffsetFrom({1, 2, 3}, NormalAt(steepness, 0.4)),
                        exact.OffsetFrom({1, 2, 3}, NormalAt(steepness, 0.4)), 2 * 1e-5);
        }
        // No lower than the tip on a level face.
        EXPECT_GE(rounded.OffsetFrom({}, {0, 0, 1}).z(), -1e-9);
    }
    EXPECT_TRUE(ConvexToolOffset(Tool{3, 2, kHalfPi + 2e-4, 0, 0, 0, 9}).IsEmpty());
}

// --- empty ones ---------------------------------------------------------------------------------

TEST(ToolOffset, EmptyObjects)
{
    for (const ConvexToolOffset& offset :
         {ConvexToolOffset(), ConvexToolOffset(Chain()), ConvexToolOffset(Tool{})}) {
        EXPECT_TRUE(offset.IsEmpty());
        EXPECT_EQ(offset.OffsetFrom({1, 2, 3}, {0, 0, 1}), (Vec3d{}));
    }
}

TEST(ToolOffset, ProfilesThatTurnRightAreEmpty)
{
    EXPECT_TRUE(ConvexToolOffset(ChainThrough({{0, 0}, {4, 0}, {5, 6}, {6, 7}})).IsEmpty());
    EXPECT_TRUE(ConvexToolOffset(ChainThrough({{0, 0}, {4, 1}, {6, 1}})).IsEmpty());
    EXPECT_FALSE(ConvexToolOffset(ChainThrough({{0, 0}, {4, 0}, {5, 1}, {5.5, 7}})).IsEmpty());
    // At the end of an arc, though the angles where its elements start ascend: 0 to -45 degrees.
    Chain dented;
    dented.AppendArc({0, 4}, {0, 0}, 4 * kHalfPi);
    dented.AppendSegment(dented.elements[0].EndPoint(), {6, 6});
    EXPECT_TRUE(ConvexToolOffset(dented).IsEmpty());
    // A clockwise arc.
    Chain hollow;
    hollow.AppendSegment({0, 0}, {2, 0});
    hollow.AppendArc({2, 3}, {2, 0}, -1);
    EXPECT_TRUE(ConvexToolOffset(hollow).IsEmpty());
    // A taper that comes down.
    EXPECT_TRUE(ConvexToolOffset(Tool{4, 0, 0, -3, 0.5, 0, 0}).IsEmpty());
    // A whole circle.
    Chain circle;
    circle.AppendArc({0, 4}, {0, 0}, 4 * 4 * kHalfPi);
    EXPECT_TRUE(ConvexToolOffset(circle).IsEmpty());
}

TEST(ToolOffset, HostileChains)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, infinity, -infinity}) {
        Chain chain;
        chain.AppendSegment({0, 0}, {bad, 0});
        EXPECT_TRUE(ConvexToolOffset(chain).IsEmpty());
        Chain arc;
        arc.AppendArc({0, bad}, {0, 0}, 1);
        EXPECT_TRUE(ConvexToolOffset(arc).IsEmpty());
        Chain turn;
        turn.AppendArc({0, 1}, {0, 0}, bad);
        EXPECT_TRUE(ConvexToolOffset(turn).IsEmpty());
        // Bad normals end in some point, or NaN.
        (void)ConvexToolOffset(Tool{2, 4, kHalfPi, 3, 0.5, 2, 5})
            .OffsetFrom({bad, 0, 0}, {0, bad, 1});
    }
    // A flat that is all but missing has no direction, and does not spoil what follows.
    EXPECT_FALSE(ConvexToolOffset(Tool{1e-13, 4, kHalfPi, 0, 0, 0, 5}).IsEmpty());
    Chain point;
    point.AppendSegment({1, 1}, {1, 1});
    EXPECT_TRUE(ConvexToolOffset(point).IsEmpty());
}

// --- values -------------------------------------------------------------------------------------

TEST(ToolOffset, CopiesAnswerAlikeAndMovedFromOnesAreEmpty)
{
    const Vec3d n = NormalAt(0.5, 1);
    ConvexToolOffset first(Tool{3, 2, kHalfPi, 0, 0, 0, 20});
    const Vec3d expected = first.OffsetFrom({}, n);
    ConvexToolOffset copy(first);
    EXPECT_EQ(copy.OffsetFrom({}, n), expected);
    ConvexToolOffset assigned;
    assigned = copy;
    EXPECT_EQ(assigned.OffsetFrom({}, n), expected);
    ConvexToolOffset moved(std::move(first));
    EXPECT_EQ(moved.OffsetFrom({}, n), expected);
    EXPECT_TRUE(first.IsEmpty()); // NOLINT(bugprone-use-after-move): what is tested
    ConvexToolOffset target(Tool{1, 0, 0, 0, 0, 0, 1});
    target = std::move(copy);
    EXPECT_EQ(target.OffsetFrom({}, n), expected);
    EXPECT_TRUE(copy.IsEmpty()); // NOLINT(bugprone-use-after-move)
}

TEST(ToolOffset, LackOfMemoryPassesThroughAndQueriesNeedNone)
{
    const Tool tool{2, 4, kHalfPi, 3, 0.5, 2, 5};
    EXPECT_GT(Support::FailEachAllocationOfResult([&] {
                  return ConvexToolOffset(tool).OffsetFrom({1, 2, 3}, NormalAt(0.7, 0.2));
              }),
              0U);
    const ConvexToolOffset offset(tool);
    const std::size_t before = Support::AllocationCount();
    for (const double steepness : {0.0, 0.3, 0.9, 1.2, 1.5, 2.0}) {
        (void)offset.OffsetFrom({1, 2, 3}, NormalAt(steepness, 0.2));
    }
    EXPECT_EQ(Support::AllocationCount(), before);
}

// --- random tools -------------------------------------------------------------------------------

Tool RandomTool(Random& random)
{
    Tool tool;
    tool.tipRadius = random.Below(3) > 0 ? random.Between(0.1, 10) : 0;
    tool.lowerCornerRadius = random.Below(3) > 0 ? random.Between(0.1, 8) : 0;
    tool.taperAngle = random.Below(3) > 0 ? random.Between(0.01, 1.2) : 0;
    tool.lowerCornerAngle =
        random.Below(3) > 0 ? kHalfPi : random.Between(tool.taperAngle, kHalfPi);
    tool.taperHeight = random.Below(3) > 0 ? std::pow(10, random.Between(-6, 1.3)) : 0;
    tool.upperCornerRadius =
        tool.taperAngle > 0 && random.Below(2) > 0 ? random.Between(0.1, 8) : 0;
    tool.shankLength = random.Below(3) > 0 ? random.Between(0.2, 30) : 0;
    return tool;
}

// Four tools of ten were empty here: a cone and the corner tangent to it have the same angle up to
// rounding.
TEST(ToolOffset, EveryValidToolIsConvex)
{
    EXPECT_FALSE(ConvexToolOffset(Tool{2, 1, kHalfPi, 5, 10 * kRadians, 3, 10}).IsEmpty());
    EXPECT_FALSE(ConvexToolOffset(Tool{2, 1, kHalfPi, 5, 15 * kRadians, 3, 10}).IsEmpty());
    Random random(2);
    for (int trial = 0; trial < Support::Rounds(20000); ++trial) {
        SCOPED_TRACE(trial);
        const Tool tool = RandomTool(random);
        EXPECT_EQ(ConvexToolOffset(tool).IsEmpty(),
                  Mill::PolyArcSegFromTool(tool).elements.empty());
    }
}

/// Signed height above the plane through p with normal n of the lowest of the points that the tool
/// runs over as it spins, its tip at `tip`: a point at radius r and height y reaches down to (tip -
/// p) n + y n.z - r |n in plan|.
double LowestOverPlane(const std::vector<Vec2d>& profile, const Vec3d& tip, const Vec3d& p,
                       const Vec3d& n)
{
    const double base = (tip[0] - p[0]) * n[0] + (tip[1] - p[1]) * n[1] + (tip[2] - p[2]) * n[2];
    double least = std::numeric_limits<double>::max();
    for (const Vec2d& q : profile) {
        least = std::min(least, base + q[1] * n[2] - q[0] * std::hypot(n[0], n[1]));
    }
    return least;
}

double DistanceFromProfile(const std::vector<Vec2d>& profile, const Vec2d& q)
{
    double least = std::numeric_limits<double>::max();
    for (std::size_t i = 1; i < profile.size(); ++i) {
        const Vec2d d = profile[i] - profile[i - 1];
        const Vec2d a = q - profile[i - 1];
        const double squared = d[0] * d[0] + d[1] * d[1];
        const double t =
            squared > 0 ? std::clamp((a[0] * d[0] + a[1] * d[1]) / squared, 0.0, 1.0) : 0.0;
        least = std::min(least, std::hypot(a[0] - t * d[0], a[1] - t * d[1]));
    }
    return least;
}

TEST(ToolOffset, ToolTouchesThePlaneAtThePointAndGoesNowhereBelowIt)
{
    constexpr double kFine = 1e-5; // of the flattened profile
    for (const double far : {0.0, 1e6}) {
        Random random(7);
        for (int trial = 0; trial < Support::Rounds(300); ++trial) {
            SCOPED_TRACE(trial);
            Tool tool = RandomTool(random);
            tool.tipRadius += 0.05; // whose flat answers for level planes
            const std::vector<Vec2d> profile = Planar::ToPolyline(tool, kFine).points;
            const ConvexToolOffset offset(tool);
            ASSERT_FALSE(offset.IsEmpty());
            const double rounding = 1e-11 + far * 1e-15;
            for (int k = 0; k < 6; ++k) {
                const Vec3d p = random.Vector<3, double>(-10, 10) + Vec3d{far, -far, far};
                const Vec3d n =
                    NormalAt(random.Between(0, k < 5 ? 1.57 : 3.1), random.Between(0, 7));
                const Vec3d tip = offset.OffsetFrom(p, n);
                // Nowhere below, and the lowest point is on the plane: chords miss it by the
                // fineness.
                const double lowest = LowestOverPlane(profile, tip, p, n);
                EXPECT_GE(lowest, -rounding);
                EXPECT_LE(lowest, kFine + rounding);
                // The point is one of the tool, on the side that faces the plane. Over the top runs
                // a flat.
                std::vector<Vec2d> whole = profile;
                whole.push_back({0, profile.back()[1]});
                const Vec3d q = p - tip;
                EXPECT_LE(DistanceFromProfile(whole, {std::hypot(q[0], q[1]), q[2]}),
                          kFine + rounding);
                EXPECT_LE(q[0] * n[0] + q[1] * n[1], rounding * 10);
            }
        }
    }
}

} // namespace
