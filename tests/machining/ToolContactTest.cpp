// One tool over a few triangles, where the first touch is known by hand.

#include "tests/support/ContactOracle.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/ToolContact_E.h>

#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::ConvexToolContact;
using Report = ConvexToolContact::ContactReport;
using Support::BallTool;
using Support::ConeTool;
using Support::FlatTool;
using Soup = std::vector<Vec3d>;

constexpr double kMost = std::numeric_limits<double>::max();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const Vec2d kOrigin{0, 0};
const double kRoot2 = std::sqrt(2.0);

/// What a host's own tool sees.
class Exposed : public ConvexToolContact {
public:
    using ConvexToolContact::ConvexToolContact;
    using ConvexToolContact::DropOnHyperbola;
    using ConvexToolContact::DropOnSeg;
    using ConvexToolContact::DropToHeight;
    using ConvexToolContact::profile_;
    using ConvexToolContact::ranges_;
    using ConvexToolContact::UpdateContact;
};

Exposed Tool(const Support::ShapedTool& tool) { return Exposed(tool.record); }

/// The two triangles of a quadrilateral.
Soup Quad(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d)
{
    return {a, b, c, a, c, d};
}

/// z = height + slope x, as far as it matters.
Soup Plane(double height, double slope)
{
    const auto at = [&](double x, double y) { return Vec3d{x, y, height + slope * x}; };
    return Quad(at(-50, -50), at(50, -50), at(50, 50), at(-50, 50));
}

// --- the record
// -----------------------------------------------------------------------------------

TEST(ToolContact, KeepsRangesOfItsElements)
{
    const Exposed bull = Tool(Support::BullTool(3, 2));
    ASSERT_EQ(bull.ranges_.size(), 3U);
    EXPECT_EQ(bull.ranges_[0], (Vec2d{0, 3}));
    EXPECT_EQ(bull.ranges_[1][0], 3.0);
    EXPECT_NEAR(bull.ranges_[1][1], 5.0, 1e-15);
    EXPECT_EQ(bull.ranges_[2], (Vec2d{bull.ranges_[1][1], bull.ranges_[1][1]}));
    EXPECT_EQ(bull.Radius(), bull.ranges_[2][1]);
    EXPECT_EQ(bull.Profile(), bull.profile_);
    EXPECT_EQ(bull.Tool().tipRadius, 3.0);
}

TEST(ToolContact, AnEmptyToolTouchesNothing)
{
    const ConvexToolContact empty({});
    EXPECT_EQ(empty.Radius(), 0.0);
    EXPECT_EQ(empty.DropAt(kOrigin, Plane(0, 0)).triangle, -1);
    EXPECT_TRUE(empty.DropTo({0, 0, -100}, Plane(0, 0)));
    EXPECT_EQ(ConvexToolContact({.tipRadius = kNaN}).DropAt(kOrigin, Plane(0, 0)).triangle, -1);
}

TEST(ToolContact, CopiesAreDeepAndDestructionIsVirtual)
{
    static_assert(std::has_virtual_destructor_v<ConvexToolContact>);
    static_assert(std::is_nothrow_move_constructible_v<ConvexToolContact>);
    auto ball = std::make_unique<ConvexToolContact>(BallTool(5).record);
    const ConvexToolContact copy = *ball;
    ball.reset();
    EXPECT_EQ(copy.DropAt(kOrigin, Plane(3, 0)).height, 3.0);
}

TEST(ToolContact, ANeedleTouchesWhatItsAxisPierces)
{
    const ConvexToolContact needle({.shankLength = 10});
    EXPECT_EQ(needle.Radius(), 0.0);
    const Report report = needle.DropAt({1, 2}, Plane(3, 0.5));
    EXPECT_NEAR(report.height, 3.5, 1e-15);
    EXPECT_EQ(report.element, 0);
}

// --- facets
// ---------------------------------------------------------------------------------------

TEST(ToolContact, ABallOnALevelPlaneStandsOnItsTip)
{
    const Report report = Tool(BallTool(5)).DropAt({1, 2}, Plane(0, 0));
    EXPECT_EQ(report.position, (Vec2d{1, 2}));
    EXPECT_EQ(report.height, 0.0);
    EXPECT_EQ(report.contact, (Vec2d{0, 0}));
    EXPECT_EQ(report.element, 0);
    EXPECT_EQ(report.triangle, 1) << "of the two the one with y > x";
}

TEST(ToolContact, ABallInTheMiddleOfALargeLevelTriangle)
{
    // All edges are out of reach.
    const Report report =
        Tool(BallTool(5)).DropAt({0, 0}, {{-100, -100, 7}, {100, -100, 7}, {0, 100, 7}});
    EXPECT_EQ(report.height, 7.0);
    EXPECT_EQ(report.contact, (Vec2d{0, 7}));
}

TEST(ToolContact, AFlatEndTouchesASlopeWithItsRim)
{
    const Report report = Tool(FlatTool(5)).DropAt(kOrigin, Plane(0, 1));
    EXPECT_NEAR(report.height, 5.0, 1e-14);
    EXPECT_NEAR(report.contact[0], 5.0, 1e-14);
    EXPECT_NEAR(report.contact[1], 5.0, 1e-14);
    EXPECT_EQ(report.element, 0) << "the rim is the end of the flat, which comes first";
}

TEST(ToolContact, ABallTouchesASlopeWhereItsNormalPointsToTheCenter)
{
    // The center stands R / cos 45 above the plane below it.
    const Report report = Tool(BallTool(5)).DropAt(kOrigin, Plane(0, 1));
    EXPECT_NEAR(report.height, 5 * kRoot2 - 5, 1e-14);
    EXPECT_NEAR(report.contact[0], 5 / kRoot2, 1e-14);
}

TEST(ToolContact, AFacetBesideTheAxisCounts)
{
    // The plane z = x again, cut off before the axis: the place of touch at x = 3.54 is still
    // there. Edges alone would hold the ball at 1 - (5 - sqrt 24).
    const Report report = Tool(BallTool(5)).DropAt(kOrigin, {{1, -50, 1}, {50, 0, 50}, {1, 50, 1}});
    EXPECT_NEAR(report.height, 5 * kRoot2 - 5, 1e-13);
    EXPECT_NEAR(report.contact[0], 5 / kRoot2, 1e-13);
}

TEST(ToolContact, ASlopeThatIsCutAlongADiagonalIsThatSlope)
{
    // The axis pierces one of the triangles, the place of touch lies on the other.
    for (const Support::ShapedTool& tool : Support::ToolsOfAllKinds()) {
        const Exposed contact = Tool(tool);
        const double whole =
            contact.DropAt(kOrigin, {{-900, -900, -900}, {1800, 0, 1800}, {-900, 900, -900}})
                .height;
        const Soup cut{{1, -50, 1}, {50, 0, 50},   {1, 50, 1},
                       {1, 50, 1},  {-50, 0, -50}, {1, -50, 1}};
        EXPECT_NEAR(contact.DropAt(kOrigin, cut).height, whole, 1e-12) << tool.name;
    }
}

TEST(ToolContact, FacetsAloneCountWhereTheSteepestLineEndsOnThem)
{
    const Exposed ball = Tool(BallTool(5));
    // Uphill of the axis, level beside it, and downhill of it: the nearest place of the line.
    const double uphill =
        ball.DropFacesToHeight(kMost, kOrigin, {{1, -50, 1}, {50, 0, 50}, {1, 50, 1}}).height;
    EXPECT_NEAR(uphill, 5 * kRoot2 - 5, 1e-13);
    const Report downhill =
        ball.DropFacesToHeight(kMost, kOrigin, {{-3, -50, -3}, {-50, 0, -50}, {-3, 50, -3}});
    EXPECT_NEAR(downhill.height, -3 - (5 - 4), 1e-13);
    EXPECT_EQ(ball.DropFacesToHeight(kMost, kOrigin, Plane(2, 0)).height, 2.0);
    // The line of steepest slope through the axis, y = 0, misses this facet.
    EXPECT_EQ(ball.DropFacesToHeight(kMost, kOrigin, {{1, 1, 1}, {2, 1, 2}, {1, 2, 1}}).triangle,
              -1);
    // A facet that is upright stops a tool by its edges.
    EXPECT_EQ(ball.DropFacesToHeight(kMost, kOrigin, {{1, -1, 0}, {1, 1, 0}, {1, 0, 5}}).triangle,
              -1);
}

TEST(ToolContact, AStretchThatIsUprightBlocksWithItsHigherEnd)
{
    // A facet so steep that it is upright within the tolerance, but not exactly.
    const double lean = 1e-13;
    const Report report =
        Tool(BallTool(5))
            .DropFacesToHeight(kMost, kOrigin, {{3, -1, 0}, {3, 1, 0}, {3 + lean, 0, 5}});
    EXPECT_NEAR(report.height, 5 - (5 - 4), 1e-12);
}

// --- edges and corners
// ----------------------------------------------------------------------------

TEST(ToolContact, ABallBesideAnUprightWallRollsOnItsTopEdge)
{
    const Soup wall = Quad({2.5, -50, -10}, {2.5, 50, -10}, {2.5, 50, 0}, {2.5, -50, 0});
    const Report report = Tool(BallTool(5)).DropAt(kOrigin, wall);
    EXPECT_NEAR(report.height, -(5 - std::sqrt(25 - 6.25)), 1e-14);
    EXPECT_EQ(report.contact, (Vec2d{2.5, 0}));
}

// As a flat end does; one beyond the radius is passed.
TEST(ToolContact, AnEdgeExactlyAtTheRadiusOfABallIsTouched)
{
    for (const double radius : {0.5, 1.0, 5.0, 7.25}) {
        const auto wall = [](double x) {
            return Quad({x, -50, -50}, {x, 50, -50}, {x, 50, 0}, {x, -50, 0});
        };
        EXPECT_EQ(Tool(BallTool(radius)).DropAt(kOrigin, wall(radius)).height, -radius);
        EXPECT_EQ(Tool(FlatTool(radius)).DropAt(kOrigin, wall(radius)).height, 0.0);
        const double beyond = radius * (1 + 1e-9);
        EXPECT_EQ(Tool(BallTool(radius)).DropAt(kOrigin, wall(beyond)).height, -kMost);
        EXPECT_EQ(Tool(FlatTool(radius)).DropAt(kOrigin, wall(beyond)).height, -kMost);
    }
}

TEST(ToolContact, ACornerWhoseEdgesAllDescendAwayFromTheAxisCounts)
{
    // Nothing but the nearer ends of edges on the lower branch.
    const Report report = Tool(BallTool(5)).DropAt(kOrigin, {{1, 0, 1}, {3, -1, 0}, {3, 1, 0}});
    EXPECT_NEAR(report.height, 1 - (5 - std::sqrt(24.0)), 1e-14);
    EXPECT_EQ(report.contact, (Vec2d{1, 1}));
    // An upright triangle abreast of the axis, lone.
    const Report abreast = Tool(BallTool(5)).DropAt(kOrigin, {{3, 0, 6}, {4, 0, 0}, {5, 0, 0}});
    EXPECT_NEAR(abreast.height, 6 - (5 - 4), 1e-14);
}

TEST(ToolContact, AnApexBesideTheAxisCounts)
{
    const Vec3d apex{1, 0, 10};
    const Soup pyramid{{0.5, -0.5, 0}, {1.5, -0.5, 0}, apex, {1.5, -0.5, 0}, {1.5, 0.5, 0},  apex,
                       {1.5, 0.5, 0},  {0.5, 0.5, 0},  apex, {0.5, 0.5, 0},  {0.5, -0.5, 0}, apex};
    const Report report = Tool(BallTool(5)).DropAt(kOrigin, pyramid);
    EXPECT_NEAR(report.height, 10 - (5 - std::sqrt(24.0)), 1e-13);
}

TEST(ToolContact, AConeOverAnEdgeFlatterThanItselfTouchesTheNearEnd)
{
    // 30 degrees from the axis: the profile rises by sqrt 3, the edge by a quarter.
    const Soup edge{{1, 0, 0}, {3, 0, 0.5}};
    const Exposed cone = Tool(ConeTool(5, M_PI / 6));
    EXPECT_NEAR(cone.DropEdgesToHeight(kMost, kOrigin, edge).height, -std::sqrt(3.0), 1e-14);
    // Abreast of the axis, 1 away, an edge of slope a sweeps z = a s, r = sqrt(1 + s^2); a s - sqrt
    // 3 r has the greatest value -sqrt(3 - a^2), near the vertex. What of the edge begins beyond
    // touches with its nearer end.
    const Soup abreast{{1, 0, 0}, {1, 3, 0.5}};
    EXPECT_NEAR(cone.DropEdgesToHeight(kMost, kOrigin, abreast).height, -std::sqrt(3 - 1.0 / 36),
                1e-14);
    const Soup beyond{{1, 1, 0}, {1, 4, 0.5}};
    EXPECT_NEAR(cone.DropEdgesToHeight(kMost, kOrigin, beyond).height, -std::sqrt(6.0), 1e-14);
}

TEST(ToolContact, AConeTouchesASteepEdgeWhereTheHyperbolaHasItsSlope)
{
    // r = sqrt(1 + s^2), z = 4 s for s = y; the cone's slope is sqrt 3 and 4 > sqrt 3, so that z -
    // sqrt 3 r rises to the end of the edge; with slope 1 it has its greatest value where s / r = 1
    // / sqrt 3.
    const Exposed cone = Tool(ConeTool(5, M_PI / 6));
    const Report steep = cone.DropEdgesToHeight(kMost, kOrigin, {{1, 0, 0}, {1, 2, 8}});
    EXPECT_NEAR(steep.height, 8 - std::sqrt(15.0), 1e-13);
    const Report touching = cone.DropEdgesToHeight(kMost, kOrigin, {{1, 0, 0}, {1, 2, 2}});
    EXPECT_NEAR(touching.contact[0], std::sqrt(1.5), 1e-13);
    EXPECT_NEAR(touching.height, std::sqrt(0.5) - std::sqrt(4.5), 1e-13);
}

TEST(ToolContact, UprightEdgesBlockWithTheirTop)
{
    const Exposed ball = Tool(BallTool(5));
    for (const Soup& edge : {Soup{{3, 0, -7}, {3, 0, 2}}, Soup{{3, 0, 2}, {3, 0, -7}}}) {
        const Report report = ball.DropEdgesToHeight(kMost, kOrigin, edge);
        EXPECT_NEAR(report.height, 2 - (5 - 4), 1e-14);
        EXPECT_EQ(report.contact, (Vec2d{3, 2}));
    }
    EXPECT_EQ(ball.DropEdgesToHeight(kMost, kOrigin, {{0, 0, -7}, {0, 0, 2}}).height, 2.0);
}

TEST(ToolContact, AnEdgeOfNoLengthIsAPoint)
{
    EXPECT_NEAR(Tool(BallTool(5)).DropEdgesToHeight(kMost, kOrigin, {{3, 0, 2}, {3, 0, 2}}).height,
                1.0, 1e-14);
    EXPECT_NEAR(Tool(BallTool(5)).DropAt(kOrigin, {{3, 0, 2}, {3, 0, 2}, {3, 0, 1}}).height, 1.0,
                1e-14);
    EXPECT_NEAR(Tool(BallTool(5)).DropAt(kOrigin, {{3, 0, 2}, {3, 0, 2}, {3, 0, 2}}).height, 1.0,
                1e-14);
    Report report;
    Tool(BallTool(5)).DropOnSeg({3, 0, 2}, {0, 3, 2}, {3, 0, 2}, 0, report);
    EXPECT_EQ(report.triangle, -1) << "stretches whose ends match are passed over";
}

TEST(ToolContact, ASteepEdgeThatAllButMeetsTheAxis)
{
    // It passes the axis at half a millionth, with slope 1000, and ends out of reach at r = 100.
    // Without the offset the flat end would stop where its rim meets it, at z = 1000 * 5; the
    // hyperbola lies below that by 1000 a2 / (2 * 5), nothing.
    const Soup edge{{-1, 5e-7, -1000}, {100, 5e-7, 100000}};
    EXPECT_NEAR(Tool(FlatTool(5)).DropEdgesToHeight(kMost, kOrigin, edge).height, 5000.0, 1e-8);
}

TEST(ToolContact, ABallOnAnEdgeThatPassesCloseToTheAxis)
{
    // Coordinates of single precision put edges a few millionths beside positions of double
    // precision. The center of the ball is R from the edge, whose distance from the axis is far too
    // small to matter: R sqrt(1 + s^2) above the place of the edge below it.
    for (const double radius : {0.5, 5.0, 50.0}) {
        const Exposed ball = Tool(BallTool(radius));
        for (const double beside : {1.1e-6, 2e-6, 5e-6, 2e-5}) {
            for (const double slope : {1e-4, 0.01, 0.16, 1.0}) {
                SCOPED_TRACE(testing::Message() << radius << ' ' << beside << ' ' << slope);
                const double far = 2 * radius;
                const std::vector<Vec3d> edge{{-far, beside, -slope * far},
                                              {far, beside, slope * far}};
                const double expected = radius * (std::sqrt(1 + slope * slope) - 1);
                EXPECT_NEAR(ball.DropEdgesToHeight(kInfinity, kOrigin, edge).height, expected,
                            1e-9);
            }
        }
    }
}

TEST(ToolContact, ANearlyLevelEdgeIsTheHyperbolaAllTheSame)
{
    // b2 = 0.81e-10: told as flat, but the chord from its vertex to its end lies below it by 5e-6.
    const Soup edge{{1, 0, 0}, {1, 100, 9e-4}};
    EXPECT_TRUE(Mill::SpinSegment(kOrigin, edge[0], edge[1]).flat);
    const double rim = 9e-6 * std::sqrt(24.0);
    EXPECT_NEAR(Tool(FlatTool(5)).DropEdgesToHeight(kMost, kOrigin, edge).height, rim, 1e-12);
}

TEST(ToolContact, AnEdgeThatIsLevelButForItsLastDigitsHoldsTheToolWhereItPasses)
{
    // As turned parts have them: the z of the point nearest to the axis is rounded to that of an
    // end, far from which the edge passes below the tool.
    for (const Support::ShapedTool& shaped :
         {BallTool(2), FlatTool(2), Support::BullTool(1, 1), ConeTool(2, 0.5)}) {
        SCOPED_TRACE(shaped.name);
        const Exposed tool = Tool(shaped);
        for (const double z : {10.0, -10.0, 1e6 + 0.1}) {
            for (const double first : {-0.5, -1.9, -3.0, -40.0}) {
                for (const double second : {0.25, 1.2, 3.0, 40.0}) {
                    double raised = z;
                    for (int digits = 0; digits < 5; ++digits) {
                        const double beside = 1.5;
                        const double expected = z - shaped.profile(beside);
                        const double rounding = 8 * std::fabs(raised - z) + 1e-15 * std::fabs(z);
                        for (const bool isTurned : {false, true}) {
                            const Vec3d p{first, beside, isTurned ? raised : z};
                            const Vec3d q{second, beside, isTurned ? z : raised};
                            const double height =
                                tool.DropEdgesToHeight(kInfinity, kOrigin, {p, q}).height;
                            EXPECT_NEAR(height, expected, rounding + 1e-14)
                                << z << ' ' << first << ' ' << second << ' ' << digits;
                        }
                        raised = std::nextafter(raised, kInfinity);
                    }
                }
            }
        }
    }
}

TEST(ToolContact, AnEdgeThroughTheAxisIsTwoStretches)
{
    const Report report =
        Tool(FlatTool(5)).DropEdgesToHeight(kMost, kOrigin, {{-3, 0, 3}, {100, 0, 0}});
    EXPECT_NEAR(report.height, 3.0, 1e-14);
    EXPECT_NEAR(report.contact[0], 3.0, 1e-14);
}

// --- order, limits, numbers
// ------------------------------------------------------------------------

TEST(ToolContact, NothingInReachKeepsTheFreshReport)
{
    const Report report = Tool(BallTool(5)).DropAt({1, 2}, {{10, 0, 0}, {11, 0, 0}, {10, 1, 0}});
    EXPECT_EQ(report.height, -kMost);
    EXPECT_EQ(report.triangle, -1);
    EXPECT_EQ(report.element, -1);
    EXPECT_EQ(report.position, (Vec2d{1, 2}));
}

TEST(ToolContact, SoupsOfTheWrongSizeTouchNothing)
{
    const Exposed ball = Tool(BallTool(5));
    Soup four = Plane(0, 0);
    four.resize(4);
    for (const Report& report :
         {ball.DropAt(kOrigin, four), ball.DropFacesToHeight(kMost, kOrigin, four),
          ball.DropAt(kOrigin, {})}) {
        EXPECT_EQ(report.height, -kMost);
        EXPECT_EQ(report.triangle, -1);
    }
    EXPECT_EQ(ball.DropEdgesToHeight(kMost, kOrigin, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}).triangle,
              -1);
    EXPECT_TRUE(ball.DropTo({0, 0, -1e300}, four));
}

TEST(ToolContact, OfEqualTopsTheFirstTriangleComesFirst)
{
    // Both would stop the ball at 0, under its tip.
    const Soup soup{{-9, -9, 0}, {9, -9, 0}, {0, 9, 0}, {-9, 9, 0}, {9, 9, 0}, {0, -9, 0}};
    EXPECT_EQ(Tool(BallTool(5)).DropAt(kOrigin, soup).triangle, 0);
    const Soup turned{{-9, 9, 0}, {9, 9, 0}, {0, -9, 0}, {-9, -9, 0}, {9, -9, 0}, {0, 9, 0}};
    EXPECT_EQ(Tool(BallTool(5)).DropAt(kOrigin, turned).triangle, 0);
    // With a limit at that height the second is never asked.
    EXPECT_EQ(Tool(BallTool(5)).DropToHeight(0.0, kOrigin, soup).triangle, 0);
}

TEST(ToolContact, TheHighestTopComesFirstAndALimitEndsTheDrop)
{
    // The slope has the higher top, far away, and stops the ball at 5 sqrt 2 - 5; the level one
    // at 4.
    Soup soup = Plane(4, 0);
    const Soup slope = Plane(0, 1);
    soup.insert(soup.end(), slope.begin(), slope.end());
    const Exposed ball = Tool(BallTool(5));
    EXPECT_EQ(ball.DropAt(kOrigin, soup).height, 4.0);
    const Report ended = ball.DropToHeight(2.0, kOrigin, soup);
    EXPECT_NEAR(ended.height, 5 * kRoot2 - 5, 1e-13)
        << "the slope came first and reached the limit";
    EXPECT_EQ(ended.triangle, 2);
    // Facets and edges are taken in their order.
    EXPECT_EQ(ball.DropFacesToHeight(2.0, kOrigin, soup).height, 4.0);
    EXPECT_EQ(ball.DropFacesToHeight(kMost, kOrigin, soup).height, 4.0);
    const Soup edges{{-9, 0, 1}, {9, 0, 1}, {-9, 0, 3}, {9, 0, 3}};
    EXPECT_EQ(ball.DropEdgesToHeight(1.0, kOrigin, edges).height, 1.0);
    EXPECT_EQ(ball.DropEdgesToHeight(1.0, kOrigin, edges).triangle, 0);
    EXPECT_EQ(ball.DropEdgesToHeight(1.5, kOrigin, edges).height, 3.0);
    EXPECT_EQ(ball.DropEdgesToHeight(1.5, kOrigin, edges).triangle, 1);
}

TEST(ToolContact, DropToComparesWithTheHeightFound)
{
    const Exposed ball = Tool(BallTool(5));
    const Soup slope = Plane(0, 1);
    const double height = ball.DropAt(kOrigin, slope).height;
    EXPECT_TRUE(ball.DropTo({0, 0, height}, slope));
    EXPECT_TRUE(ball.DropTo({0, 0, height + 1}, slope));
    EXPECT_FALSE(ball.DropTo({0, 0, std::nextafter(height, -1.0)}, slope));
    EXPECT_FALSE(ball.DropTo({0, 0, kNaN}, slope));
    EXPECT_FALSE(ball.DropTo({0, 0, -kInfinity}, slope));
}

TEST(ToolContact, DropToAsksOnBeyondATriangleThatHoldsTheToolAtJustThatHeight)
{
    // The top edge of the wall, at z = 10, grazes the ball's widest place and holds its tip at 5.
    // The floor below the tip has the lower top and holds it at 6.
    const Exposed ball = Tool(BallTool(5));
    const Soup wall{{5, -50, 10}, {5, 50, 10}, {5, 0, 0}};
    ASSERT_EQ(ball.DropAt(kOrigin, wall).height, 5.0);
    EXPECT_TRUE(ball.DropTo({0, 0, 5}, wall));
    Soup both = wall;
    both.insert(both.end(), {{-1, -1, 6}, {1, -1, 6}, {0, 2, 6}});
    ASSERT_EQ(ball.DropAt(kOrigin, both).height, 6.0);
    EXPECT_FALSE(ball.DropTo({0, 0, 5}, both));
    EXPECT_TRUE(ball.DropTo({0, 0, 6}, both));
}

TEST(ToolContact, ConstDropsAreDeclaredConst)
{
    const ConvexToolContact ball(BallTool(5).record);
    (void)ball.DropAt(kOrigin, {});
    (void)ball.DropFacesToHeight(0, kOrigin, {});
    (void)ball.DropEdgesToHeight(0, kOrigin, {});
    EXPECT_TRUE(ball.DropTo({0, 0, 0}, {}));
}

// --- elements one by one
// ---------------------------------------------------------------------------

TEST(ToolContact, ElementsTakeWhatHoldsThemHigherStrictly)
{
    const Exposed ball = Tool(BallTool(5));
    const Geometry::SegBase<double> flat{{0, 0}, {5, 0}};
    Report report;
    ball.UpdateContact(7, flat, Vec2d{1, 1}, Vec2d{3, 2}, 40, report);
    EXPECT_EQ(report.height, 2.0);
    EXPECT_EQ(report.contact, (Vec2d{3, 2}));
    EXPECT_EQ(report.triangle, 40);
    EXPECT_EQ(report.element, 7);
    ball.UpdateContact(8, flat, Vec2d{4, 2}, Vec2d{2, 2}, 41, report);
    EXPECT_EQ(report.triangle, 40) << "as high is not higher";
    ball.UpdateContact(8, flat, Vec2d{5.5, 9}, Vec2d{6, 9}, 42, report);
    EXPECT_EQ(report.triangle, 40) << "beside the element";
    ball.UpdateContact(8, flat, Vec2d{4, 1}, Vec2d{6, 5}, 43, report);
    EXPECT_EQ(report.height, 3.0) << "up to the element's end";
    EXPECT_EQ(report.contact, (Vec2d{5, 3}));
}

TEST(ToolContact, AnArcTouchesAStretchAtItsTangentOrAtAnEnd)
{
    const Exposed ball = Tool(BallTool(5));
    ASSERT_EQ(ball.profile_.elements.size(), 1U);
    const auto& arc = *ball.profile_.elements[0].AsArc();
    Report report;
    ball.UpdateContact(0, arc, Vec2d{0, 0}, Vec2d{5, 5}, 1, report);
    EXPECT_NEAR(report.height, 5 * kRoot2 - 5, 1e-14);
    Report cut;
    ball.UpdateContact(0, arc, Vec2d{4, 4}, Vec2d{9, 9}, 1, cut); // beyond the tangent at 3.54
    EXPECT_NEAR(cut.height, 4 - (5 - 3), 1e-14);
    Report before;
    ball.UpdateContact(0, arc, Vec2d{0, 0}, Vec2d{3, 3}, 1, before);
    EXPECT_NEAR(before.height, 3 - (5 - 4), 1e-14);
    Report falling;
    ball.UpdateContact(0, arc, Vec2d{4, 0}, Vec2d{3, 2}, 1, falling);
    EXPECT_NEAR(falling.height, 2 - (5 - 4), 1e-14);
    Report upright;
    ball.UpdateContact(0, arc, Vec2d{4, 0}, Vec2d{4, 2}, 1, upright);
    EXPECT_NEAR(upright.height, 2 - (5 - 3), 1e-14);
}

TEST(ToolContact, AShankIsNoTangentOfAHyperbola)
{
    const Exposed flat = Tool(FlatTool(5));
    ASSERT_EQ(flat.profile_.elements.size(), 2U);
    const auto& shank = *flat.profile_.elements[1].AsSegment();
    Report report;
    flat.UpdateContact(1, shank, Mill::SpinSegment(kOrigin, {3, 0, 0}, {3, 8, 8}), 2, report);
    EXPECT_NEAR(report.height, 4.0, 1e-14)
        << "where the edge passes r = 5, less the shank's lower end";
    EXPECT_EQ(report.contact[0], 5.0);
}

TEST(ToolContact, HyperbolasAndStretchesOfAHost)
{
    const Exposed ball = Tool(BallTool(5));
    Report report;
    ball.DropOnHyperbola(Mill::SpinSegment(kOrigin, {3, -4, 0}, {3, 4, 0}), 5, report);
    EXPECT_NEAR(report.height, -(5 - 4), 1e-14);
    EXPECT_EQ(report.triangle, 5);
    ball.DropOnSeg({0, 0, 1}, {0, 3, 4}, {0, 0, 1}, 6, report);
    EXPECT_NEAR(report.height, 4 - (5 - 4), 1e-14) << "slope 1 up to r = 3, before the tangent";
    EXPECT_EQ(report.triangle, 6);
}

// --- profiles beyond the ordinary
// ------------------------------------------------------------------

TEST(ToolContact, WhatTurnsBackTowardTheAxisIsNotTouchedFromAbove)
{
    // A sphere on a thin shank: the lower corner runs on to 45 degrees above its center.
    const double wide = 5;
    const ConvexToolContact lollipop({.lowerCornerRadius = wide,
                                      .lowerCornerAngle = M_PI / 2,
                                      .taperAngle = -M_PI / 4,
                                      .shankLength = 10});
    EXPECT_NEAR(lollipop.Radius(), wide, 1e-15);
    const Exposed ball = Tool(BallTool(wide));
    Support::Random random(91);
    for (int trial = 0; trial < 100; ++trial) {
        const Soup soup = Support::RandomSoup(random, 3, 6.0);
        EXPECT_NEAR(lollipop.DropAt(kOrigin, soup).height, ball.DropAt(kOrigin, soup).height,
                    1e-12);
    }
    // A dovetail is the flat end of its tip.
    const ConvexToolContact dovetail(
        {.tipRadius = 5, .taperHeight = 4, .taperAngle = -0.5, .shankLength = 10});
    EXPECT_EQ(dovetail.Radius(), 5.0);
    EXPECT_NEAR(dovetail.DropAt(kOrigin, Plane(0, 1)).height, 5.0, 1e-14);
    EXPECT_NEAR(dovetail.DropAt(kOrigin, Plane(0, 9)).height, 45.0, 1e-13);
}

TEST(ToolContact, ACornerThatBeginsBeyondItsLowestPoint)
{
    // Corner angle 60 degrees: the arc leaves the flat with a kink and rises from there on.
    const double angle = M_PI / 3;
    const ConvexToolContact contact(
        {.tipRadius = 2, .lowerCornerRadius = 3, .lowerCornerAngle = angle});
    const double center = 2 - 3 * std::cos(angle);
    // Slope 1 is less steep than the arc's start (30 degrees is its direction), so that the tangent
    // lies on it.
    const double r = center + 3 / kRoot2;
    const double z = 3 * std::sin(angle) - 3 / kRoot2;
    EXPECT_NEAR(contact.DropAt(kOrigin, Plane(0, 1)).height, r - z, 1e-13);
    // A gentler slope meets the kink.
    EXPECT_NEAR(contact.DropAt(kOrigin, Plane(0, 0.25)).height, 0.5, 1e-13);
}

TEST(ToolContact, ACornerThatTurnsBackFromTheTipIsNotTouchedFromAbove)
{
    // It begins above its center and goes up and inward: the flat of the tip is all there is below.
    const ConvexToolContact tool(
        {.tipRadius = 2, .lowerCornerRadius = 1, .lowerCornerAngle = -0.5, .taperAngle = -1});
    EXPECT_EQ(tool.DropAt(kOrigin, Plane(0, 0)).height, 0.0);
}

TEST(ToolContact, EdgesAsFarFromTheAxisAtBothEndsBlockWithTheHigherOne)
{
    // They run across the direction to the axis, so that the distance of their ends from it differs
    // by the square of their length: by no digit, or by the last one to either side.
    const Exposed flat = Tool(FlatTool(50));
    Support::Random random(92);
    for (int trial = 0; trial < 2000; ++trial) {
        SCOPED_TRACE(trial);
        const double r = random.Between(1, 40);
        const double angle = random.Between(0, 6);
        const Vec3d across{-std::sin(angle), std::cos(angle), random.Between(-1e8, 1e8)};
        const Vec3d p{r * std::cos(angle), r * std::sin(angle), 3};
        const Vec3d q = p + across * random.Between(-1e-7, 1e-7);
        EXPECT_EQ(flat.DropEdgesToHeight(kInfinity, kOrigin, {p, q}).height,
                  std::max(p.z(), q.z()));
    }
}

// --- hostile input
// ---------------------------------------------------------------------------------

TEST(ToolContact, TrianglesThatAreNotFiniteArePassedOver)
{
    const Exposed ball = Tool(BallTool(5));
    for (const double bad : {kNaN, kInfinity, -kInfinity, 1e80, -1e80, 1e300}) {
        for (int axis = 0; axis < 3; ++axis) {
            Soup soup = Plane(1, 0);
            Soup broken = Plane(9, 0);
            broken.resize(3);
            broken[1][axis] = bad;
            soup.insert(soup.begin(), broken.begin(), broken.end());
            const Report report = ball.DropAt(kOrigin, soup);
            EXPECT_EQ(report.height, 1.0) << bad << " " << axis;
            EXPECT_EQ(report.triangle, 1);
            EXPECT_EQ(ball.DropFacesToHeight(kMost, kOrigin, soup).height, 1.0);
            EXPECT_EQ(ball.DropEdgesToHeight(kMost, kOrigin, {broken[0], broken[1]}).triangle, -1);
        }
        EXPECT_EQ(ball.DropAt({bad, 0}, Plane(1, 0)).triangle, -1);
        EXPECT_EQ(ball.DropAt({0, bad}, Plane(1, 0)).triangle, -1);
    }
}

TEST(ToolContact, LargeTrianglesStayGeometry)
{
    const Exposed ball = Tool(BallTool(5));
    for (const double size : {1e6, 1e9, 1e12}) {
        EXPECT_NEAR(
            ball.DropAt(kOrigin, {{-size, -size, 2}, {size, -size, 2}, {0, size, 2}}).height, 2.0,
            1e-12);
        EXPECT_NEAR(
            ball.DropAt(kOrigin, {{-size, -size, -size}, {size, -size, size}, {0, size, 0}}).height,
            5 * kRoot2 - 5, size * 1e-15);
    }
    // Far beyond what has digits left: an answer, or none, but no fault.
    for (const double size : {1e30, 1e60, 9e69}) {
        const Report report =
            ball.DropAt(kOrigin, {{-size, -size, 2}, {size, -size, 3}, {0, size, 4}});
        EXPECT_FALSE(std::isnan(report.height));
    }
}

TEST(ToolContact, DegenerateTrianglesAreTheirEdges)
{
    const Exposed ball = Tool(BallTool(5));
    EXPECT_NEAR(ball.DropAt(kOrigin, {{3, -9, 2}, {3, 9, 2}, {3, 4, 2}}).height, 2 - (5 - 4),
                1e-14);
    EXPECT_NEAR(ball.DropAt(kOrigin, {{3, -9, 2}, {3, 9, 2}, {3, 9, 2}}).height, 2 - (5 - 4),
                1e-14);
    EXPECT_EQ(ball.DropAt(kOrigin, {{0, 0, 2}, {0, 0, 5}, {0, 0, 3}}).height, 5.0);
}

TEST(ToolContact, HostileToolsAreNoFault)
{
    Support::Random random(92);
    const Soup soup = Support::RandomSoup(random, 20, 6.0);
    for (int trial = 0; trial < 500; ++trial) {
        SCOPED_TRACE(trial);
        const auto field = [&] {
            switch (random.Below(6)) {
            case 0:
                return 0.0;
            case 1:
                return random.Between(-5, 5);
            case 2:
                return 1e-300;
            case 3:
                return 1e60;
            default:
                return random.Between(0, 5);
            }
        };
        const ConvexToolContact contact({field(), field(), random.Between(-4, 4), field(),
                                         random.Between(-4, 4), field(), field()});
        const Report report = contact.DropAt(kOrigin, soup);
        EXPECT_FALSE(std::isnan(report.height));
        EXPECT_EQ(report.triangle < 0, report.element < 0);
    }
}

} // namespace
