// Offsets of several walls together, and of outlines of one element or two.

#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/PlanarOffset_E.h>

#include "tests/planar/OffsetMeasures.h"
#include "tests/planar/OffsetShapes.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/ThreadLimit.h"

#include <limits>
#include <set>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class WallOffsetTest : public testing::Test {
};
TYPED_TEST_SUITE(WallOffsetTest, OffsetCoordinates);

/// What an offset of size 10 or so may be off by.
template <class T>
constexpr double kOff = std::is_same_v<T, float> ? 1e-4 : 1e-9;

/// A chain and its mirror image in direction, with the sign that leads outward.
template <class T>
std::vector<std::pair<PolyArcSegBase<T>, double>> BothWays(const PolyArcSegBase<T>& chain)
{
    return {{chain, 1.0}, {TurnedRound(chain), -1.0}};
}

/// One closed curve of this area, and all of the offset; or nothing for area 0.
template <class T>
void ExpectOffset(const PolyArcSegBase<T>& chain, double distance, double area, double off)
{
    SCOPED_TRACE(distance);
    const auto d = static_cast<T>(distance);
    const auto offset = WallOffset<T>({chain}, d, kTol<T>);
    if (area == 0) {
        EXPECT_TRUE(offset.empty());
        return;
    }
    ExpectClosed(offset, 1);
    EXPECT_NEAR(std::fabs(AreaOf(offset[0])), area, 50 * off);
    ExpectAtDistance(offset, chain, std::fabs(static_cast<double>(d)), off, 24);
    ExpectNothingMissing(offset, chain, static_cast<double>(d), 100 * off);
    // A positive distance keeps the direction of travel, a negative one turns it round.
    EXPECT_EQ(AreaOf(offset[0]) > 0, (AreaOf(chain) > 0) == (distance > 0));
}

template <class T>
constexpr T kCircle = static_cast<T>(2 * kHalfTurn);

// --- one element and two ------------------------------------------------------------------------

TYPED_TEST(WallOffsetTest, CircleGrowsAndShrinksToCircles)
{
    using T = TypeParam;
    for (const int sense : {1, -1}) {
        const auto circle = Circle<T>(T(5), sense);
        for (const double outward : {-4.875, -2.0, -0.25, 0.25, 3.0, 100.0}) {
            ExpectOffset(circle, sense * outward, kHalfTurn * std::pow(5 + outward, 2),
                         kOff<T> * (outward > 10 ? 20 : 1));
            const auto offset = WallOffset<T>({circle}, T(sense * outward), kTol<T>);
            // 2 pi in `float` is less than a turn: the rest is a corner.
            ASSERT_LE(offset[0].elements.size(), (std::is_same_v<T, float> ? 2U : 1U));
            ASSERT_NE(offset[0].elements[0].AsArc(), nullptr);
        }
        for (const double outward : {-5.0, -6.0, -10.0, -1000.0}) {
            ExpectOffset(circle, sense * outward, 0, kOff<T>);
        }
        EXPECT_TRUE(PlanarOffset(circle, T(1), kTol<T>).empty()); // the linking that loses it
    }
}

TYPED_TEST(WallOffsetTest, TwoHalvesOfACircleAreAsOne)
{
    using T = TypeParam;
    const auto halves = CircleOfArcs<T>({0, 0}, 5, 2);
    for (const auto& [chain, sign] : BothWays(halves)) {
        for (const double outward : {-4.875, -1.0, 1.0}) {
            ExpectOffset(chain, sign * outward, kHalfTurn * std::pow(5 + outward, 2), kOff<T>);
        }
        ExpectOffset(chain, sign * -5, 0, kOff<T>);
        ExpectOffset(chain, sign * -7, 0, kOff<T>);
    }
}

/// Area of the lens of two discs of this radius whose centers are `apart` from each other.
double LensArea(double radius, double apart)
{
    return 2 * radius * radius * std::acos(apart / (2 * radius)) -
           apart / 2 * std::sqrt(4 * radius * radius - apart * apart);
}

TYPED_TEST(WallOffsetTest, LensHasItsOffsetLens)
{
    using T = TypeParam;
    // Of circles of radius 5 about (-3, 0) and (3, 0), with tips at (0, -4) and (0, 4).
    const T sweep = static_cast<T>(5 * 2 * std::asin(0.8));
    const auto lens =
        ChainOf<T>({ArcBase<T>{{-3, 0}, {0, -4}, sweep}, ArcBase<T>{{3, 0}, {0, 4}, sweep}});
    for (const auto& [chain, sign] : BothWays(lens)) {
        for (const double inward : {0.25, 1.0, 1.875}) {
            ExpectOffset(chain, sign * -inward, LensArea(5 - inward, 6), kOff<T>);
        }
        ExpectOffset(chain, sign * -2.5, 0, kOff<T>);
        // Outside the lens grows by its length and, of a convex outline, a disc.
        ExpectOffset(chain, sign * 1.5,
                     LensArea(5, 6) + 1.5 * 2 * 5 * 2 * std::asin(0.8) + kHalfTurn * 1.5 * 1.5,
                     kOff<T>);
    }
}

TYPED_TEST(WallOffsetTest, InnerOfADIsAD)
{
    using T = TypeParam;
    const auto d = HalfDisc<T>();
    for (const auto& [chain, sign] : BothWays(d)) {
        for (const double inward : {0.5, 1.0, 2.0}) {
            const double r = 5 - inward; // the disc of radius r on one side of x = inward
            const double area =
                r * r * std::acos(inward / r) - inward * std::sqrt(r * r - inward * inward);
            ExpectOffset(chain, sign * -inward, area, kOff<T>);
        }
        ExpectOffset(chain, sign * -2.75, 0, kOff<T>);
    }
}

// What is left of an outline of four may be two arcs between the same two points.
TYPED_TEST(WallOffsetTest, OutlinesOfMoreElementsKeepTwo)
{
    using T = TypeParam;
    const auto slot =
        ChainOf<T>({SegBase<T>{{0, -1}, {8, -1}}, ArcBase<T>{{8, 0}, {8, -1}, kCircle<T> / 2},
                    SegBase<T>{{8, 1}, {0, 1}}, ArcBase<T>{{0, 0}, {0, 1}, kCircle<T> / 2}});
    ExpectOffset(slot, -0.5, 8 * 1 + kHalfTurn * 0.25, kOff<T>);
    const double sine = 0.65; // a lens whose tips are cut off
    const auto at = [&](double center, double sign) {
        return VecBase<2, T>(static_cast<T>(center + sign * 5 * std::cos(std::asin(sine))),
                             static_cast<T>(5 * sine));
    };
    const VecBase<2, T> right = at(-3, 1);
    const VecBase<2, T> left = at(3, -1);
    const T sweep = static_cast<T>(5 * 2 * std::asin(sine));
    const auto lens = ChainOf<T>({ArcBase<T>{{-3, 0}, {right[0], -right[1]}, sweep},
                                  SegBase<T>{right, left}, ArcBase<T>{{3, 0}, left, sweep},
                                  SegBase<T>{{left[0], -left[1]}, {right[0], -right[1]}}});
    ExpectOffset(lens, -1.75, LensArea(3.25, 6), kOff<T>);
}

TYPED_TEST(WallOffsetTest, CirclesFarFromTheOrigin)
{
    using T = TypeParam;
    const double size = std::is_same_v<T, float> ? 1e5 : 5;
    const double off = std::is_same_v<T, float> ? 2.0 : 2e-9;
    const VecBase<2, T> place(T(1e6), T(-1e6));
    const auto radius = static_cast<T>(size);
    auto circle = Moved(Circle<T>(radius, 1), place);
    circle.tolerance = static_cast<T>(off);
    auto halves = circle;
    const ArcBase<T> half{place, place + VecBase<2, T>(radius, 0), kCircle<T> / 2 * radius};
    halves.elements = {half, ArcBase<T>{place, Geometry::EndPoint(half), half.length}};
    for (const auto& chain : {circle, halves}) {
        for (const double part : {-0.5, 0.25}) {
            const auto offset = WallOffset<T>({chain}, static_cast<T>(part * size), T(off));
            ExpectClosed(offset, 1);
            EXPECT_NEAR(TotalLength(offset), 2 * kHalfTurn * (1 + part) * size, 10 * off);
            ExpectAtDistance(offset, chain, std::fabs(part) * size, off, 24);
        }
        EXPECT_TRUE(WallOffset<T>({chain}, static_cast<T>(-1.5 * size), T(off)).empty());
    }
}

// --- as PlanarOffset wherever that loses nothing ------------------------------------------------

TYPED_TEST(WallOffsetTest, BitsOfPlanarOffsetWhereThatIsWhole)
{
    using T = TypeParam;
    Random random(31);
    int whole = 0;
    for (int trial = 0; trial < 60; ++trial) {
        const auto chain = trial % 2 == 0 ? RandomOutline<T>(random, 1)
                                          : RandomChain<T>(random, 2 + random.Below(8));
        for (const double distance : {-0.7, -0.1, 0.1, 0.9}) {
            const auto lossy = PlanarOffset(chain, static_cast<T>(distance), kTol<T>);
            const auto own = WallOffset<T>({chain}, static_cast<T>(distance), kTol<T>);
            ASSERT_GE(TotalLength(own), TotalLength(lossy) * (1 - 1e-6));
            if (TotalLength(own) <= TotalLength(lossy)) {
                EXPECT_EQ(own, lossy);
                ++whole;
            }
            // What was lost in one is there in the other.
            ExpectAtDistance(own, chain, std::fabs(distance),
                             std::is_same_v<T, float> ? 1e-4 : 1e-9);
            if (trial % 2 == 0) {
                ExpectClosed(own, own.size());
                ExpectNothingMissing(own, chain, distance, std::is_same_v<T, float> ? 2e-2 : 1e-4);
            }
        }
    }
    EXPECT_GT(whole, 150);
}

// Loose elements are linked from the first segment on, wherever it lies: an offset of few elements
// must not be turned round by that.
TYPED_TEST(WallOffsetTest, OffsetsOfTwoElementsRunAsTheirChainDoes)
{
    using T = TypeParam;
    const SegBase<T> segment{{0, 0}, {4, 0}};
    const ArcBase<T> arc{{4, 2}, {4, 0}, kCircle<T> / 4 * 2}; // on to (6, 2), without a corner
    PolyArcSegBase<T> chain;
    chain.elements = {segment, arc};
    const auto expectEnds = [](const PolyArcSegBase<T>& offset, const Vec2d& from,
                               const Vec2d& to) {
        const auto start = PointOf(offset.elements.front(), 0);
        const auto end = PointOf(offset.elements.back(), 1);
        EXPECT_LT(std::hypot(start[0] - from[0], start[1] - from[1]), kOff<T>);
        EXPECT_LT(std::hypot(end[0] - to[0], end[1] - to[1]), kOff<T>);
    };
    for (const bool isTurned : {false, true}) {
        for (const double right : {0.5, -0.5}) {
            SCOPED_TRACE(testing::Message() << isTurned << " " << right);
            const auto distance = static_cast<T>(isTurned ? -right : right);
            const auto offset =
                PlanarOffset(isTurned ? TurnedRound(chain) : chain, distance, kTol<T>);
            ASSERT_EQ(offset.size(), 1U);
            EXPECT_EQ(offset.front().elements.size(), 2U);
            // A negative distance turns the chain, and a turned chain needs one to stay there.
            if (right > 0) {
                expectEnds(offset.front(), {0, -right}, {6 + right, 2});
            } else {
                expectEnds(offset.front(), {6 + right, 2}, {0, -right});
            }
        }
    }
}

// Two walls exactly as far apart as the tool is wide: the way between them comes once, and both
// ends of the bone with it.
TEST(WallOffsetDouble, ExactFitIsALineThatComesOnce)
{
    const auto bone = Bone<double>(6);
    const auto offset = WallOffset<double>({bone}, -1.0, 1e-7);
    // Rooms of 4 by 4, whose walls have an arc about each corner of the slot, and the slot of 4.
    ExpectAtDistance(offset, bone, 1, 1e-9, 24);
    EXPECT_EQ(offset, PlanarOffset(bone, -1.0, 1e-7));
}

// Where two corners narrow the room to a point there are two curves, one in each half, wherever the
// wall starts and whichever way the room lies.
TYPED_TEST(WallOffsetTest, RoomThatNarrowsToAPointHasTwoCurves)
{
    using T = TypeParam;
    using Point = VecBase<2, T>;
    for (int turn = 0; turn < 4; ++turn) {
        std::vector<Point> corners{{-10, -5}, {0, -1}, {10, -5}, {10, 5}, {0, 1}, {-10, 5}};
        for (Point& corner : corners) {
            for (int i = 0; i < turn; ++i) {
                corner = {-corner.y(), corner.x()};
            }
        }
        const int along = turn % 2;
        for (std::size_t start = 0; start < corners.size(); ++start) {
            std::rotate(corners.begin(), corners.begin() + 1, corners.end());
            auto closed = corners;
            closed.push_back(corners.front());
            const auto offset = WallOffset<T>({Lines<T>(closed)}, T{-1}, kTol<T>);
            ASSERT_EQ(offset.size(), 2U) << turn << ' ' << start;
            EXPECT_NEAR(AreaOf(offset[0]), AreaOf(offset[1]), 100 * kOff<T>);
            EXPECT_LT(AreaOf(offset[0]), 0);
            std::set<bool> halves;
            for (const auto& curve : offset) {
                EXPECT_TRUE(curve.IsClosed());
                double least = 1e9;
                double most = -1e9;
                for (const auto& element : curve.elements) {
                    least = std::min(least, static_cast<double>(element.StartPoint()[along]));
                    most = std::max(most, static_cast<double>(element.StartPoint()[along]));
                }
                EXPECT_TRUE(least > -0.01 || most < 0.01) << least << ' ' << most;
                halves.insert(most > 1);
            }
            EXPECT_EQ(halves.size(), 2U);
        }
    }
}

/// Into how many arcs circles are parted that are to touch: in `float` only quarters and halves
/// keep the radius to the last digit.
template <class T>
std::vector<int> ArcCounts()
{
    return std::is_same_v<T, float> ? std::vector<int>{1, 2, 4}
                                    : std::vector<int>{1, 2, 3, 4, 5, 7};
}

/// Turned about the origin by quarters of a turn, which is exact.
template <class T>
PolyArcSegBase<T> Quartered(PolyArcSegBase<T> chain, int quarters)
{
    const auto at = [&](VecBase<2, T> p) {
        for (int i = 0; i < quarters; ++i) {
            p = {-p.y(), p.x()};
        }
        return p;
    };
    for (auto& element : chain.elements) {
        if (const auto* segment = element.AsSegment()) {
            element = SegBase<T>{at(segment->start), at(segment->end)};
        } else {
            const auto arc = *element.AsArc();
            element = ArcBase<T>{at(arc.center), at(arc.start), arc.length};
        }
    }
    return chain;
}

// An island that the tool just passes at both its ends, in a round pocket: the curves of wall and
// island have a common tangent there and are bent the same way, one of them less. Which goes on in
// which is told close to the touch: over its whole length the longer one turns by more.
TYPED_TEST(WallOffsetTest, RoomThatNarrowsToTwoPointsHasACurveOnEitherSide)
{
    using T = TypeParam;
    const T half = kCircle<T> / 2;
    const auto island =
        ChainOf<T>({ArcBase<T>{{-5, 0}, {-5, -3}, -3 * half}, SegBase<T>{{-5, 3}, {5, 3}},
                    ArcBase<T>{{5, 0}, {5, 3}, -3 * half}, SegBase<T>{{5, -3}, {-5, -3}}});
    // Between a circle of radius 9 and an island of half circles of radius 4 and a rectangle.
    const double area = (9 * 9 * kHalfTurn - (4 * 4 * kHalfTurn + 10 * 8)) / 2;
    for (int quarters = 0; quarters < 4; ++quarters) {
        for (const int arcs : ArcCounts<T>()) {
            for (const bool isOutlineFirst : {true, false}) {
                SCOPED_TRACE(testing::Message() << quarters << ' ' << arcs);
                Chains<T> walls{CircleOfArcs<T>({0, 0}, 10, arcs), island};
                if (!isOutlineFirst) {
                    std::swap(walls[0], walls[1]);
                }
                for (auto& wall : walls) {
                    wall = Quartered(wall, quarters);
                }
                const auto offset = WallOffset<T>(walls, T{-1}, kTol<T>);
                ExpectClosed(offset, 2);
                std::set<bool> sides;
                for (const auto& curve : offset) {
                    EXPECT_NEAR(AreaOf(curve), -area, 1e3 * kOff<T>);
                    double least = 1e9;
                    double most = -1e9;
                    for (const Vec2d& p : Samples(curve, 0.5)) {
                        const double across = quarters % 2 == 0 ? p.y() : p.x();
                        least = std::min(least, across);
                        most = std::max(most, across);
                    }
                    EXPECT_TRUE(least > -0.01 || most < 0.01) << least << ' ' << most;
                    sides.insert(most > 1);
                }
                EXPECT_EQ(sides.size(), 2U);
            }
        }
    }
}

// Posts whose gaps are twice the distance, in any number of arcs and in any order: a circle about
// each, and none that goes on in the next.
TYPED_TEST(WallOffsetTest, PostsWhoseOffsetsTouchHaveACurveEach)
{
    using T = TypeParam;
    // Post number 0 touches 1, that 2 and 3; the last is apart.
    const Vec2d centers[] = {{-4, 0}, {0, 0}, {4, 0}, {0, 4}, {9, 9}};
    for (const int arcs : ArcCounts<T>()) {
        for (int rotation = 0; rotation < 5; ++rotation) {
            SCOPED_TRACE(testing::Message() << arcs << ' ' << rotation);
            Chains<T> posts;
            for (const Vec2d& center : centers) {
                posts.push_back(CircleOfArcs<T>(center, 1, arcs));
            }
            std::rotate(posts.begin(), posts.begin() + rotation, posts.end());
            const auto grown = WallOffset<T>(posts, T{1}, kTol<T>);
            ExpectClosed(grown, 5);
            for (const auto& curve : grown) {
                EXPECT_NEAR(AreaOf(curve), 4 * kHalfTurn, 100 * kOff<T>);
            }
            // As islands of a pocket, with the curve along its outline.
            const auto plan =
                PocketRings<T>(CircleOfArcs<T>({0, 0}, 20, arcs), posts, {T{1}, T{1}, 1}, kTol<T>);
            ASSERT_EQ(plan.rings.size(), 1U);
            ExpectClosed(plan.rings[0].curves, 6);
            EXPECT_NEAR(TotalLength(plan.rings[0].curves), 2 * kHalfTurn * (5 * 2 + 19),
                        100 * kOff<T>);
        }
    }
}

TYPED_TEST(WallOffsetTest, CurvesThatTouchFromInsideOrALineAreTwo)
{
    using T = TypeParam;
    for (const int arcs : ArcCounts<T>()) {
        SCOPED_TRACE(arcs);
        // Between circles of radius 9 and 4 there is one room, which runs round to the touch.
        const auto post = CircleOfArcs<T>({5, 0}, 3, arcs);
        const auto nested =
            WallOffset<T>({CircleOfArcs<T>({0, 0}, 10, arcs), TurnedRound(post)}, T{-1}, kTol<T>);
        ExpectClosed(nested, 2);
        double outer = 0;
        double inner = 0;
        for (const auto& curve : nested) {
            outer = std::min(outer, AreaOf(curve));
            inner = std::max(inner, AreaOf(curve));
        }
        EXPECT_NEAR(outer, -81 * kHalfTurn, 1e3 * kOff<T>);
        EXPECT_NEAR(inner, 16 * kHalfTurn, 1e3 * kOff<T>);
        // An open wall 4 below the middle of the post: its curve stays straight.
        const auto line = Lines<T>({{15, -5}, {-15, -5}});
        for (const bool isLineFirst : {true, false}) {
            Chains<T> walls{line, post};
            if (!isLineFirst) {
                std::swap(walls[0], walls[1]);
            }
            auto beside = WallOffset<T>(walls, T{1}, kTol<T>);
            ASSERT_EQ(beside.size(), 2U);
            if (beside[0].IsClosed()) {
                std::swap(beside[0], beside[1]);
            }
            EXPECT_FALSE(beside[0].IsClosed());
            EXPECT_TRUE(beside[1].IsClosed());
            EXPECT_NEAR(AreaOf(beside[1]), 16 * kHalfTurn, 100 * kOff<T>);
            for (const Vec2d& p : Samples(beside[0], 0.5)) {
                EXPECT_NEAR(p.y(), -4, kOff<T>);
            }
        }
    }
}

// --- several walls ------------------------------------------------------------------------------

TYPED_TEST(WallOffsetTest, WallsTrimEachOther)
{
    using T = TypeParam;
    const auto outline = Circle<T>(T(20), 1);
    const auto island = Circle<T>(T(5), -1);
    // Apart from each other, and where nothing is left between them.
    const auto two = WallOffset<T>({outline, island}, T(-2), kTol<T>);
    ExpectClosed(two, 2);
    EXPECT_NEAR(TotalLength(two), 2 * kHalfTurn * (18 + 7), 1e-3);
    EXPECT_TRUE(WallOffset<T>({outline, island}, T(-8), kTol<T>).empty());
    // An island off the middle: at 4 its offset leads through the one of the outline.
    const auto aside = Moved(island, VecBase<2, T>(8, 0));
    const std::vector<PolyArcSegBase<T>> walls{outline, aside};
    const auto one = WallOffset<T>(walls, T(-4), kTol<T>);
    ExpectClosed(one, 1);
    const double area = kHalfTurn * 16 * 16 - [] {
        // Discs of radius 16 and 9, centers 8 apart.
        const double a = std::acos((64.0 + 256 - 81) / (2 * 8 * 16));
        const double b = std::acos((64.0 + 81 - 256) / (2 * 8 * 9));
        return 256 * (a - std::sin(2 * a) / 2) + 81 * (b - std::sin(2 * b) / 2);
    }();
    EXPECT_NEAR(AreaOf(one[0]), -area, 200 * kOff<T>);
    for (const auto& curve : one) {
        for (const Vec2d& p : Samples(curve, 0.1)) {
            EXPECT_NEAR(std::min(DistanceToChain(p, outline), DistanceToChain(p, aside)), 4,
                        10 * kOff<T>);
        }
    }
    // Nothing of the outside, which lies to the right of both, meets the inside.
    ExpectClosed(WallOffset<T>(walls, T(1), kTol<T>), 2);
}

// All points at the distance from random walls, open, closed and crossing each other.
TEST(WallOffsetDouble, RandomWallsKeepAllOfTheirOffset)
{
    Random random(77);
    for (int trial = 0; trial < 25; ++trial) {
        SCOPED_TRACE(trial);
        Chains<double> walls;
        PolyArcSegBase<double> all; // the same elements, as one chain for the measures
        all.tolerance = -1;
        for (int i = 0; i < 3; ++i) {
            auto wall = i == 0 ? RandomChain<double>(random, 1 + random.Below(3))
                               : RandomOutline<double>(random, random.Below(2) == 0 ? 1 : -1);
            wall.tolerance = 1e-9;
            wall = Moved(wall, random.Vector<2, double>(-3, 3));
            all.elements.insert(all.elements.end(), wall.elements.begin(), wall.elements.end());
            walls.push_back(std::move(wall));
        }
        for (const double distance : {-0.5, 0.3}) {
            const auto offset = WallOffset(walls, distance, 1e-7);
            ExpectAtDistance(offset, all, std::fabs(distance), 1e-8, 24);
            for (const auto& wall : walls) {
                for (const Vec2d& p : ExactOffsetPoints(wall, distance, 1e-7)) {
                    if (DistanceToChain(p, all) < std::fabs(distance) - 1e-7) {
                        continue;
                    }
                    double least = std::numeric_limits<double>::infinity();
                    for (const auto& curve : offset) {
                        least = std::min(least, DistanceToChain(p, curve));
                    }
                    ASSERT_LT(least, 1e-4) << p[0] << ", " << p[1];
                }
            }
        }
    }
}

TYPED_TEST(WallOffsetTest, SetsGiveAnEntryForEachDistanceInOrder)
{
    using T = TypeParam;
    const std::vector<PolyArcSegBase<T>> walls{Circle<T>(T(5), 1), PolyArcSegBase<T>(),
                                               Square<T>()};
    const std::vector<PolyArcSegBase<T>> copies{walls[0], walls[2]};
    const auto offsets = WallOffsets<T>(walls, {T(-1), T(-1e-6), T(0), T(2)}, T(1e-4));
    ASSERT_EQ(offsets.size(), 4U);
    EXPECT_EQ(offsets[0], WallOffset<T>(walls, T(-1), T(1e-4)));
    EXPECT_EQ(offsets[1], copies); // in their own direction
    EXPECT_EQ(offsets[2], copies);
    EXPECT_EQ(offsets[3], WallOffset<T>(walls, T(2), T(1e-4)));
    EXPECT_TRUE(WallOffsets<T>(walls, {}, T(1e-4)).empty());
}

TEST(WallOffsetDouble, SameForAnyNumberOfThreads)
{
    Random random(12);
    const std::vector<PolyArcSegBase<double>> walls{RandomOutline<double>(random, 1),
                                                    Circle<double>(0.3, -1)};
    const std::set<double> distances{-0.5, -0.4, -0.3, -0.2, -0.1, 0.1, 0.2, 0.3};
    std::vector<Chains<double>> one;
    std::vector<Chains<double>> two;
    WithThreads(1, [&] { one = WallOffsets(walls, distances, 1e-7); });
    WithThreads(2, [&] { two = WallOffsets(walls, distances, 1e-7); });
    EXPECT_EQ(one, two);
}

// --- hostile input ------------------------------------------------------------------------------

TYPED_TEST(WallOffsetTest, BadInputGivesNothing)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    const auto circle = Circle<T>(T(5), 1);
    for (const T distance : {nan, inf, -inf}) {
        EXPECT_TRUE(WallOffset<T>({circle}, distance, kTol<T>).empty());
    }
    for (const T distance : {T(0), T(1), T(-1)}) {
        EXPECT_TRUE(WallOffset<T>({}, distance, kTol<T>).empty());
        EXPECT_TRUE(WallOffset<T>({PolyArcSegBase<T>()}, distance, kTol<T>).empty());
    }
    for (const T tol : {nan, T(-1), T(0)}) {
        ExpectClosed(WallOffset<T>({circle}, T(1), tol), 1);
    }
    EXPECT_EQ(WallOffset<T>({circle}, T(1), inf), Chains<T>{circle});
    PolyArcSegBase<T> hostile;
    hostile.elements.emplace_back(ArcBase<T>{{nan, 0}, {1, 0}, 5});
    hostile.elements.emplace_back(ArcBase<T>{{0, 0}, {1, 0}, inf});
    hostile.elements.emplace_back(ArcBase<T>{{3, 0}, {3, 0}, 5});
    EXPECT_TRUE(WallOffset<T>({hostile}, T(1), kTol<T>).empty());
    EXPECT_EQ(WallOffset<T>({hostile, circle}, T(1), kTol<T>),
              WallOffset<T>({circle}, T(1), kTol<T>));
}

// A ring that the tool fits exactly has its center circle from both of its walls, which run
// opposite ways: it comes once, and runs as most of them do.
TYPED_TEST(WallOffsetTest, CenterCircleRunsAsMostOfItsWalls)
{
    using T = TypeParam;
    const auto circle = [](double radius) {
        const auto r = static_cast<T>(radius);
        return ChainOf<T>({ArcBase<T>{{0, 0}, {r, 0}, kCircle<T> * r}});
    };
    const auto inner = circle(1);
    const auto outer = TurnedRound(circle(5));
    using Walls = std::vector<PolyArcSegBase<T>>;
    const double area = 9 * kHalfTurn;
    for (const Walls& walls :
         {Walls{inner, outer, outer}, Walls{outer, inner, outer}, Walls{outer, outer, inner}}) {
        const auto offset = WallOffset<T>(walls, T{2}, kTol<T>);
        ASSERT_EQ(offset.size(), 1U);
        EXPECT_NEAR(AreaOf(offset[0]), -area, 100 * kOff<T>);
    }
    for (const Walls& walls :
         {Walls{inner, inner, outer}, Walls{inner, outer, inner}, Walls{outer, inner, inner}}) {
        const auto offset = WallOffset<T>(walls, T{2}, kTol<T>);
        ASSERT_EQ(offset.size(), 1U);
        EXPECT_NEAR(AreaOf(offset[0]), area, 100 * kOff<T>);
    }
}

TEST(WallOffsetDouble, CoincidentWallsCountOnce)
{
    const auto circle = Circle<double>(5, 1);
    EXPECT_EQ(WallOffset<double>({circle, circle, circle}, 1.0, 1e-7),
              WallOffset<double>({circle}, 1.0, 1e-7));
    EXPECT_EQ(WallOffset<double>({Square<double>(), Square<double>()}, 1.0, 1e-7),
              WallOffset<double>({Square<double>()}, 1.0, 1e-7));
}

TEST(WallOffsetDouble, PassesTheExceptionOn)
{
    WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([] {
                      return WallOffset<double>({Circle<double>(5, 1), Circle<double>(2, -1)}, -1.0,
                                                1e-7);
                  }),
                  20U);
    });
}

} // namespace
