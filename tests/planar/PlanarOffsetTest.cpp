// Offsets of chains.

#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/PlanarOffset_E.h>

#include "tests/planar/OffsetMeasures.h"
#include "tests/planar/OffsetShapes.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/ThreadLimit.h"

#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class PlanarOffsetTest : public testing::Test {
};
TYPED_TEST_SUITE(PlanarOffsetTest, OffsetCoordinates);

// --- simple shapes ------------------------------------------------------------------------------

TYPED_TEST(PlanarOffsetTest, DistancesWithinTheToleranceCopyTheChain)
{
    using T = TypeParam;
    const auto square = Square<T>();
    for (const T distance : {T(0), T(1e-3), T(-1e-3), T(0.5), T(-0.5)}) {
        EXPECT_EQ(PlanarOffset(square, distance, T(0.5)), Chains<T>{square});
    }
    EXPECT_EQ(PlanarOffset(square, T(0), T(0)), Chains<T>{square});
    EXPECT_EQ(PlanarOffset(square, T(0), T(-1)), Chains<T>{square});
}

TYPED_TEST(PlanarOffsetTest, OneSegmentGivesOneWithoutCaps)
{
    using T = TypeParam;
    const auto line = Lines<T>({{0, 0}, {5, 0}});
    const auto right = PlanarOffset(line, T(2), kTol<T>);
    ASSERT_EQ(right.size(), 1U);
    EXPECT_EQ(right[0].elements, (Lines<T>({{0, -2}, {5, -2}}).elements));
    const auto left = PlanarOffset(line, T(-2), kTol<T>);
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0].elements, (Lines<T>({{5, 2}, {0, 2}}).elements));
}

TYPED_TEST(PlanarOffsetTest, SquareGrowsByFourSidesAndFourArcs)
{
    using T = TypeParam;
    const auto offset = PlanarOffset(Square<T>(), T(1), kTol<T>);
    ExpectClosed(offset, 1);
    ASSERT_EQ(offset[0].elements.size(), 8U);
    int arcs = 0;
    for (const auto& element : offset[0].elements) {
        if (const auto* arc = element.AsArc()) {
            ++arcs;
            EXPECT_NEAR(Geometry::Radius(*arc), 1, kNear<T>);
            EXPECT_NEAR(arc->length, kHalfTurn / 2, 10 * kNear<T>);
        }
    }
    EXPECT_EQ(arcs, 4);
    EXPECT_NEAR(AreaOf(offset[0]), 4 + 8 + kHalfTurn, 10 * kNear<T>);
    ExpectAtDistance(offset, Square<T>(), 1, kNear<T>);
}

TYPED_TEST(PlanarOffsetTest, SquareShrinksToFourSidesThatRunTheOtherWay)
{
    using T = TypeParam;
    const auto offset = PlanarOffset(Square<T>(), T(-0.5), kTol<T>);
    ExpectClosed(offset, 1);
    ASSERT_EQ(offset[0].elements.size(), 4U);
    EXPECT_NEAR(AreaOf(offset[0]), -1, kNear<T>);
    EXPECT_TRUE(PlanarOffset(Square<T>(), T(-1.5), kTol<T>).empty());
}

// The half width of a slot decides between one outline, two, and none.
TYPED_TEST(PlanarOffsetTest, NeckParts)
{
    using T = TypeParam;
    const auto bone = Bone<T>(6);
    ExpectClosed(PlanarOffset(bone, T(-0.75), kTol<T>), 1);
    const auto two = PlanarOffset(bone, T(-1.5), kTol<T>);
    ExpectClosed(two, 2);
    ExpectAtDistance(two, bone, 1.5, 10 * kNear<T>);
    EXPECT_TRUE(PlanarOffset(bone, T(-3.5), kTol<T>).empty());
}

// The tool fits exactly: in the two squares it runs round, and through the slot along its middle.
// The circuit of a square is its inner square of 4 less the two corners of the slot, whose quarter
// discs of radius 1 reach into it from a point 1 outside of its edge; they touch in the middle of
// the slot.
TYPED_TEST(PlanarOffsetTest, SlotAsWideAsTheToolIsALineBetweenClosedCurves)
{
    using T = TypeParam;
    const auto bone = Bone<T>(6);
    for (const T sense : {T(1), T(-1)}) {
        const auto source = sense < 0 ? TurnedRound(bone) : bone;
        auto offset = PlanarOffset(source, -sense, kTol<T>);
        ASSERT_EQ(offset.size(), 3U);
        ExpectAtDistance(offset, bone, 1, 10 * kNear<T>);
        const auto line = std::find_if(offset.begin(), offset.end(),
                                       [](const auto& chain) { return !chain.IsClosed(); });
        ASSERT_NE(line, offset.end());
        ASSERT_EQ(line->elements.size(), 1U);
        EXPECT_NEAR(line->elements[0].Length(), 4, 10 * kNear<T>);
        offset.erase(line);
        ExpectClosed(offset, 2);
        // Both run against the outline, and so clockwise: that of the reversed one is. The part of
        // the circuit beside the slot, from x = 5 to 6, lies between the two quarter circles about
        // the corners of the slot.
        const double area = 4 * 4 + (2 - kHalfTurn / 2);
        EXPECT_NEAR(AreaOf(offset[0]), -area, 100 * kNear<T>);
        EXPECT_NEAR(AreaOf(offset[1]), -area, 100 * kNear<T>);
    }
}

// Slots of exactly the width of the tool that end at walls: the curve round the comb is closed and
// runs as the comb does, and each slot has its center line.
TYPED_TEST(PlanarOffsetTest, SlotsAsWideAsTheToolHangOnOneClosedCurve)
{
    using T = TypeParam;
    std::vector<VecBase<2, T>> points{{0, 0}, {10, 0}};
    for (int slot = 4; slot >= 0; --slot) {
        points.emplace_back(T(2 * slot + 2), T(5));
        points.emplace_back(T(2 * slot + 1), T(5));
        points.emplace_back(T(2 * slot + 1), T(1));
        points.emplace_back(T(2 * slot), T(1));
    }
    points.emplace_back(T(0), T(0));
    const auto comb = Lines<T>(points);
    const auto offset = PlanarOffset(comb, T(0.5), kTol<T>);
    ExpectAtDistance(offset, comb, 0.5, 10 * kNear<T>);
    std::size_t closedCount = 0;
    double lines = 0;
    for (const auto& chain : offset) {
        if (chain.IsClosed()) {
            ++closedCount;
            EXPECT_GT(AreaOf(chain), 0);
        } else {
            ASSERT_EQ(chain.elements.size(), 1U);
            lines += static_cast<double>(chain.elements[0].Length());
        }
    }
    EXPECT_EQ(closedCount, 1U);
    EXPECT_NEAR(lines, 4 * 3.5, 100 * kNear<T>); // the fifth notch has no wall on its left
}

// Two arcs in three parts each: where the middle parts alone are left, both of them are.
TYPED_TEST(PlanarOffsetTest, LensOfTwoArcsKeepsBoth)
{
    using T = TypeParam;
    // About (0, -8) and (0, 8) with radius 10, through (6, 0) and (-6, 0).
    const double from = std::atan2(8.0, 6.0);
    const double third = (kHalfTurn - 2 * from) / 3;
    PolyArcSegBase<T> lens;
    lens.tolerance = T(1e-5);
    for (const double side : {-1.0, 1.0}) {
        for (int i = 0; i < 3; ++i) {
            const double angle = (side > 0 ? kHalfTurn : 0.0) + from + i * third;
            lens.AppendArc({T(0), T(8 * side)},
                           {T(10 * std::cos(angle)), T(8 * side + 10 * std::sin(angle))},
                           T(10 * third));
        }
    }
    ASSERT_TRUE(lens.IsClosed());
    // Two circles of radius 8.1 whose centers are 16 apart: twice the segment of a circle.
    const double half = std::acos(8 / 8.1);
    const double area = 8.1 * 8.1 * (2 * half - std::sin(2 * half));
    const auto offset = PlanarOffset(lens, T(-1.9), kTol<T>);
    ExpectClosed(offset, 1);
    ExpectAtDistance(offset, lens, 1.9, 10 * kNear<T>);
    EXPECT_EQ(offset[0].elements.size(), 2U);
    EXPECT_NEAR(AreaOf(offset[0]), -area, 1e3 * kNear<T>);
}

// The slot is wider than the tool by twice what counts as joined, so that the step beside its mouth
// is as long as a joint: a piece that connects its neighbors or fits at either of its ends, as
// rounding has it. It must not turn the curve round, nor open it.
TEST(PlanarOffsetDouble, PiecesAsShortAsJointsDoNotTurnTheCurve)
{
    for (const double size : {0.01, 1.0, 1000.0}) {
        for (const double part : {1.0, 1.2, 2.0}) {
            SCOPED_TRACE(testing::Message() << size << ", " << part);
            auto bone = Bone<double>(4);
            for (auto& element : bone.elements) {
                element = Geometry::SegBase<double>{element.StartPoint() * size,
                                                    element.EndPoint() * size};
            }
            const auto offset = PlanarOffset(bone, (1e-7 * part - 1) * size, 1e-6 * size);
            ExpectClosed(offset, 1);
            // Each circuit is an inner square of 2 and what lies between the quarter circles beside
            // it.
            double area = 0;
            for (const auto& chain : offset) {
                area += AreaOf(chain);
            }
            EXPECT_NEAR(area / (size * size), -2 * (2 * 2 + (2 - kHalfTurn / 2)), 2e-5);
        }
    }
}

TYPED_TEST(PlanarOffsetTest, RoundedSquareWithItsArcsGone)
{
    using T = TypeParam;
    PolyArcSegBase<T> round;
    round.tolerance = T(1e-5);
    const T quarter = static_cast<T>(kHalfTurn / 2);
    const VecBase<2, T> centers[] = {{9, 1}, {9, 9}, {1, 9}, {1, 1}};
    const VecBase<2, T> arcStarts[] = {{9, 0}, {10, 9}, {1, 10}, {0, 1}};
    const VecBase<2, T> lineStarts[] = {{1, 0}, {10, 1}, {9, 10}, {0, 9}};
    for (int i = 0; i < 4; ++i) {
        round.AppendSegment(lineStarts[i], arcStarts[i]);
        round.AppendArc(centers[i], arcStarts[i], quarter);
    }
    ASSERT_TRUE(round.IsClosed());
    const auto offset = PlanarOffset(round, T(-2), kTol<T>);
    ExpectClosed(offset, 1);
    EXPECT_EQ(offset[0].elements.size(), 4U);
    EXPECT_NEAR(AreaOf(offset[0]), -36, 1e-3);
    EXPECT_EQ(PlanarOffset(round, T(-0.5), kTol<T>)[0].elements.size(), 8U);
}

// --- behavior that is kept ----------------------------------------------------------------------

TYPED_TEST(PlanarOffsetTest, CircleIsLostAndHalfCirclesGiveOne)
{
    using T = TypeParam;
    EXPECT_TRUE(PlanarOffset(Circle<T>(5, 1), T(1), kTol<T>).empty());
    const auto halves = CircleOfArcs<T>({0, 0}, 5, 2);
    for (const T distance : {T(1), T(-1)}) {
        const auto offset = PlanarOffset(halves, distance, kTol<T>);
        ASSERT_EQ(offset.size(), 1U);
        EXPECT_EQ(offset[0].elements.size(), 1U);
        EXPECT_FALSE(offset[0].IsClosed());
    }
    // The way round it: one more joint.
    const auto thirds = BreakAtParams(halves, {T(5)}, false, kTol<T>);
    ExpectClosed(PlanarOffset(thirds, T(1), kTol<T>), 1);
}

TYPED_TEST(PlanarOffsetTest, InnerDIsItsChordUnlessItHasOneMoreJoint)
{
    using T = TypeParam;
    const auto d = HalfDisc<T>();
    const auto inner = PlanarOffset(d, T(-1), kTol<T>);
    ASSERT_EQ(inner.size(), 1U);
    ASSERT_EQ(inner[0].elements.size(), 1U);
    EXPECT_NE(inner[0].elements[0].AsSegment(), nullptr);
    const auto whole = PlanarOffset(BreakAtParams(d, {T(3)}, false, kTol<T>), T(-1), kTol<T>);
    ExpectClosed(whole, 1);
    ExpectAtDistance(whole, d, 1, 10 * kNear<T>);
}

// A corner turned by so little that its inner stubs and arc differ from the distance by less than
// the trim can see, and are longer than what the linking forgives: a wider tolerance takes them
// away.
TEST(PlanarOffsetDouble, NearlyTangentCornersNeedAWiderTolerance)
{
    const double turn = 4e-7;
    const Vec2d end(10 + 10 * std::cos(turn), 10 * std::sin(turn));
    const auto chain = Lines<double>({{0, 0}, {10, 0}, end, {20, -8}, {0, -8}, {0, 0}});
    EXPECT_GT(PlanarOffset(chain, 2.0, 1e-6)[0].elements.size(), 5U);
    EXPECT_EQ(PlanarOffset(chain, 2.0, 1e-5)[0].elements.size(), 5U);
}

// --- several distances --------------------------------------------------------------------------

TYPED_TEST(PlanarOffsetTest, SetsGiveAnEntryForEachDistanceInOrder)
{
    using T = TypeParam;
    const auto square = Square<T>();
    const auto offsets = PlanarOffsets(square, {3, 0, T(-0.5)}, kTol<T>);
    ASSERT_EQ(offsets.size(), 3U);
    EXPECT_EQ(offsets[0], PlanarOffset(square, T(-0.5), kTol<T>));
    EXPECT_EQ(offsets[1], Chains<T>{square});
    EXPECT_EQ(offsets[2], PlanarOffset(square, T(3), kTol<T>));
    EXPECT_TRUE(PlanarOffsets(square, {}, kTol<T>).empty());
}

TYPED_TEST(PlanarOffsetTest, TinyNegativeDistancesOfASetGiveTheReversedChain)
{
    using T = TypeParam;
    const auto square = Square<T>();
    const auto offsets = PlanarOffsets(square, {T(-1e-3), T(1e-3)}, T(1e-2));
    ASSERT_EQ(offsets.size(), 2U);
    EXPECT_EQ(offsets[0], Chains<T>{Lines<T>({{0, 0}, {0, 2}, {2, 2}, {2, 0}, {0, 0}})});
    EXPECT_EQ(offsets[1], Chains<T>{square});
    EXPECT_EQ(PlanarOffset(square, T(-1e-3), T(1e-2)), Chains<T>{square});
}

TEST(PlanarOffsetDouble, SameForAnyNumberOfThreads)
{
    Random random(12);
    const auto outline = RandomOutline<double>(random, 1);
    std::set<double> distances;
    for (int i = -10; i < 10; ++i) {
        distances.insert(0.11 * i);
    }
    std::vector<Chains<double>> one;
    std::vector<Chains<double>> two;
    WithThreads(1, [&] { one = PlanarOffsets(outline, distances, 1e-7); });
    WithThreads(2, [&] { two = PlanarOffsets(outline, distances, 1e-7); });
    EXPECT_EQ(one, two);
    std::size_t i = 0;
    for (const double distance : distances) {
        if (distance < -1e-7 || distance >= 0) {
            EXPECT_EQ(one[i], PlanarOffset(outline, distance, 1e-7));
        }
        ++i;
    }
}

// --- every sample at the distance ---------------------------------------------------------------

TYPED_TEST(PlanarOffsetTest, OutlinesOfSegmentsAndArcsAreClosedAndAtTheDistance)
{
    using T = TypeParam;
    Random random(3);
    for (int trial = 0; trial < 40; ++trial) {
        auto outline = RandomOutline<T>(random, trial % 2 == 0 ? 1 : -1);
        outline.tolerance = T(1e-5);
        ASSERT_TRUE(outline.IsClosed());
        const double outer = (trial % 2 == 0 ? 1 : -1) * random.Between(0.05, 1.2);
        const auto grown = PlanarOffset(outline, static_cast<T>(outer), kTol<T>);
        ExpectClosed(grown, 1);
        ExpectAtDistance(grown, outline, std::fabs(static_cast<double>(static_cast<T>(outer))),
                         std::is_same_v<T, float> ? 2e-5 : 1e-9);
        const double near = std::is_same_v<T, float> ? 2e-2 : 1e-4;
        ExpectNothingMissing(grown, outline, static_cast<double>(static_cast<T>(outer)), near);
        EXPECT_GT(std::fabs(AreaOf(grown[0])), std::fabs(AreaOf(outline)));
        const double inner = (trial % 2 == 0 ? -1 : 1) * random.Between(0.05, 0.6);
        const auto shrunk = PlanarOffset(outline, static_cast<T>(inner), kTol<T>);
        ExpectClosed(shrunk, shrunk.size());
        ExpectAtDistance(shrunk, outline, std::fabs(static_cast<double>(static_cast<T>(inner))),
                         std::is_same_v<T, float> ? 2e-5 : 1e-9);
        ExpectNothingMissing(shrunk, outline, static_cast<double>(static_cast<T>(inner)), near);
    }
}

/// Offsets of one outline in another size and at another place: the same shape.
TEST(PlanarOffsetDouble, SameShapeInEverySizeAndPlace)
{
    for (const double size : {1e-3, 1.0, 1e3}) {
        for (const Vec2d& place : {Vec2d(0, 0), Vec2d(1e5, 1e5), Vec2d(-1e5, 3e4)}) {
            PolyArcSegBase<double> chain;
            chain.tolerance = 1e-9 * size + 1e-10;
            const auto at = [&](double x, double y) { return place + Vec2d(x, y) * size; };
            chain.AppendSegment(at(0, 0), at(6, 0));
            chain.AppendArc(at(6, 2), at(6, 0), kHalfTurn * 2 * size);
            chain.AppendSegment(chain.elements.back().EndPoint(), at(3, 4));
            chain.AppendSegment(at(3, 4), at(2, 2));
            chain.AppendSegment(at(2, 2), at(0, 4));
            chain.AppendSegment(at(0, 4), at(0, 0));
            ASSERT_TRUE(chain.IsClosed());
            const double tol = 1e-5 * size;
            const auto grown = PlanarOffset(chain, 1.5 * size, tol);
            ExpectClosed(grown, 1);
            EXPECT_EQ(grown[0].elements.size(), 9U) << size << " " << place[0];
            const auto shrunk = PlanarOffset(chain, -0.5 * size, tol);
            ExpectClosed(shrunk, 1);
            ExpectAtDistance(grown, chain, 1.5 * size, 1e-9 * size + 1e-10);
            ExpectAtDistance(shrunk, chain, 0.5 * size, 1e-9 * size + 1e-10);
        }
    }
}

// An open chain: what another part of the chain comes near to is cut off exactly there, on
// whichever side of it, and round its ends.
TEST(PlanarOffsetDouble, OpenChainsAreAtTheDistanceToo)
{
    Random random(19);
    int chainCount = 0;
    int wholeCount = 0;
    for (int trial = 0; trial < 60; ++trial) {
        auto chain = RandomChain<double>(random, 2 + random.Below(6));
        chain.tolerance = 1e-9;
        const double distance = random.Between(0.1, 1.5);
        const auto offset = PlanarOffset(chain, distance, 1e-7);
        chainCount += static_cast<int>(offset.size());
        ExpectAtDistance(offset, chain, distance, 1e-9, 23);
        // A chain of one element may have had another between its ends.
        if (std::none_of(offset.begin(), offset.end(),
                         [](const auto& curve) { return curve.elements.size() == 1; })) {
            ExpectNothingMissing(offset, chain, distance, 1e-4);
            ++wholeCount;
        }
    }
    EXPECT_GT(chainCount, 60);
    EXPECT_GT(wholeCount, 20);
}

// A closed chain that crosses itself once, and so doesn't turn once: its right side is the inside
// of one loop and the outside of the other.
TEST(PlanarOffsetDouble, FiguresOfEightAreAtTheDistanceToo)
{
    const auto eight = Lines<double>({{0, 0}, {6, 5}, {12, 0}, {12, 6}, {6, 1}, {0, 6}, {0, 0}});
    ASSERT_TRUE(eight.IsClosed());
    for (const double distance : {-2.0, -0.4, 0.4, 1.0, 2.0}) {
        const auto offset = PlanarOffset(eight, distance, 1e-7);
        EXPECT_FALSE(offset.empty());
        ExpectAtDistance(offset, eight, std::fabs(distance), 1e-9, 40);
        ExpectNothingMissing(offset, eight, distance, 1e-4);
    }
}

// Chains that come back to one of their joints: through it to the other side, or from it out and
// back. No two elements cross there.
TEST(PlanarOffsetDouble, ChainsThroughOneOfTheirJointsKeepAllOfTheirOffset)
{
    const std::vector<std::vector<Vec2d>> outlines = {
        {{0, 0}, {6, 3}, {12, 0}, {12, 6}, {6, 3}, {0, 6}, {0, 0}},
        {{0, 0}, {6, 5}, {12, 8}, {14, 0}, {6, 5}, {0, 9}, {0, 0}},
        {{0, 0}, {2, 0}, {2, 2}, {2, 4}, {4, 4}, {4, 2}, {2, 2}, {0, 2}, {0, 0}},
        {{0, 0}, {4, 0}, {4, 2}, {6, 2}, {4, 2}, {4, 4}, {0, 4}, {0, 0}},
        {{0, 0}, {6, 0}, {6, 3}, {3, 3}, {6, 3}, {6, 6}, {0, 6}, {0, 0}}};
    for (std::size_t i = 0; i < outlines.size(); ++i) {
        SCOPED_TRACE(i);
        const auto chain = Lines(outlines[i]);
        ASSERT_TRUE(chain.IsClosed());
        for (const double distance : {-0.8, -0.2, 0.2, 0.8}) {
            SCOPED_TRACE(distance);
            const auto offset = PlanarOffset(chain, distance, 1e-7);
            ExpectAtDistance(offset, chain, std::fabs(distance), 1e-9, 40);
            ExpectNothingMissing(offset, chain, distance, 1e-4);
        }
    }
}

// Two neighbors, both bent little, may cross a second time when they part at a small angle: here
// between x = 5, where the upper one is below, and x = 12.
TEST(PlanarOffsetDouble, NeighborsThatCrossOnceMoreKeepAllOfTheirOffset)
{
    const auto bow = [](const Vec2d& from, const Vec2d& top, const Vec2d& to) {
        return Geometry::ArcThroughPoints(from, top, to);
    };
    const auto below = bow({12, -2}, {5, -0.4}, {0, 0});
    const auto above = bow({0, 0}, {5, -0.6}, {12, 2});
    PolyArcSegBase<double> chain;
    chain.tolerance = 1e-9;
    chain.elements.emplace_back(below);
    chain.elements.emplace_back(above);
    chain.AppendSegment({12, 2}, {14, 0});
    chain.AppendSegment({14, 0}, {12, -2});
    ASSERT_TRUE(chain.IsClosed());
    // To the left less than 0.1 would leave two arcs between two points in the lens.
    for (const double distance : {-1.0, -0.3, 0.1, 0.3, 1.0}) {
        SCOPED_TRACE(distance);
        const auto offset = PlanarOffset(chain, distance, 1e-7);
        ExpectAtDistance(offset, chain, std::fabs(distance), 1e-9, 40);
        ExpectNothingMissing(offset, chain, distance, 1e-4);
    }
}

// What is near only to the left side of a corner that turns right is cut by an arc about that
// corner.
TEST(PlanarOffsetDouble, CornersOfTheLeftSideCut)
{
    const auto chain =
        Lines<double>({{-2, -4}, {0, 0}, {2, -4}, {9, -4}, {9, 4}, {-9, 4}, {-9, 1.5}, {7, 1.5}});
    const auto offset = PlanarOffset(chain, 1.0, 1e-7);
    ExpectAtDistance(offset, chain, 1, 1e-9, 40);
    ExpectNothingMissing(offset, chain, 1, 1e-4);
}

// A neighbor that is bent by more than half a turn crosses what comes after it.
TEST(PlanarOffsetDouble, ArcsThatCrossTheirNeighborAreMeetingsToo)
{
    PolyArcSegBase<double> chain;
    chain.tolerance = 1e-9;
    chain.AppendArc({4, 1.5}, {6, 0}, 2.5 * 1.1);
    chain.AppendArc({4, 1.5}, End(chain), 2.5 * 3.7);
    chain.AppendSegment(End(chain), {6.5, -0.5});
    chain.AppendSegment({6.5, -0.5}, {6, 0});
    ASSERT_TRUE(chain.IsClosed());
    for (const double distance : {-0.7, -0.2, 0.2, 0.7}) {
        SCOPED_TRACE(distance);
        const auto offset = PlanarOffset(chain, distance, 1e-7);
        ExpectAtDistance(offset, chain, std::fabs(distance), 1e-9, 40);
        ExpectNothingMissing(offset, chain, distance, 1e-4);
    }
}

// The parallel of the hollow is an arc of radius 0.5 whose ends are too near to the flat tip of the
// tooth above it, and its middle isn't: a ring of four elements 0.02 high.
TEST(PlanarOffsetDouble, MiddleOfAnArcStaysWhereBothEndsGo)
{
    PolyArcSegBase<double> chain;
    chain.tolerance = 1e-9;
    const double from = kHalfTurn * 220 / 180;
    chain.AppendArc({0, 0}, {1.5 * std::cos(from), 1.5 * std::sin(from)},
                    1.5 * kHalfTurn * 100 / 180);
    chain.AppendSegment(End(chain), {3, 1});
    chain.AppendSegment({3, 1}, {0.05, 0.52});
    chain.AppendSegment({0.05, 0.52}, {-0.05, 0.52});
    chain.AppendSegment({-0.05, 0.52}, {-3, 1});
    chain.AppendSegment({-3, 1}, chain.elements.front().StartPoint());
    ASSERT_TRUE(chain.IsClosed());
    const auto offset = PlanarOffset(chain, -1.0, 1e-7);
    ExpectAtDistance(offset, chain, 1, 1e-9, 40);
    ExpectNothingMissing(offset, chain, -1, 1e-4);
    ASSERT_FALSE(offset.empty());
    EXPECT_TRUE(std::any_of(offset.begin(), offset.end(), [](const auto& curve) {
        return curve.IsClosed() && curve.elements.size() == 4;
    }));
}

// Elements that lie apart are one chain with ends between: what comes near an end, or near a circle
// smaller than the distance, is cut there.
TEST(PlanarOffsetDouble, ElementsApartTrimEachOther)
{
    PolyArcSegBase<double> ends;
    ends.tolerance = 1e-9;
    for (const double x : {-6.0, 0.0, 6.0}) {
        ends.elements.emplace_back(SegBase<double>{{x, -3}, {x + 1, 0}});
    }
    ends.elements.emplace_back(SegBase<double>{{-12, 1.5}, {12, 1.5}});
    const auto beside = PlanarOffset(ends, 1.0, 1e-7);
    ExpectAtDistance(beside, ends, 1, 1e-9, 40);
    ExpectNothingMissing(beside, ends, 1, 1e-4);

    PolyArcSegBase<double> circle;
    circle.tolerance = 1e-9;
    circle.elements.emplace_back(SegBase<double>{{-10, 3}, {10, 3}});
    for (int third = 0; third < 3; ++third) {
        const double angle = -2 * kHalfTurn * third / 3;
        circle.elements.emplace_back(
            ArcBase<double>{{0, 0}, {std::cos(angle), std::sin(angle)}, -2 * kHalfTurn / 3});
    }
    const auto about = PlanarOffset(circle, 3.0, 1e-7);
    ExpectAtDistance(about, circle, 3, 1e-9, 40);
    // Straight below the segment, outside of a circle of radius 4.
    EXPECT_NEAR(TotalLength(about), 2 * (10 - 4), 1e-9);
}

// A chain that runs back on itself: the raw parallel goes round the tip.
TYPED_TEST(PlanarOffsetTest, HairpinGetsTheCapOfItsTip)
{
    using T = TypeParam;
    const auto chain = Lines<T>({{0, 0}, {5, 0}, {1, 0}});
    const auto offset = PlanarOffset(chain, T(1), kTol<T>);
    ASSERT_EQ(offset.size(), 1U);
    ASSERT_EQ(offset[0].elements.size(), 3U);
    EXPECT_NEAR(PointOf(offset[0].elements[1], 0.5)[0], 6, kNear<T>);
}

// A notch whose arc is too narrow for the tool has no parallel: the tool rolls over both its edges.
TYPED_TEST(PlanarOffsetTest, NotchTooNarrowForTheToolIsBridged)
{
    using T = TypeParam;
    PolyArcSegBase<T> chain;
    chain.tolerance = T(1e-5);
    chain.AppendSegment({0, 0}, {4, 0});
    chain.AppendArc({5, 0}, {4, 0}, static_cast<T>(-kHalfTurn)); // up and over to (6, 0)
    chain.AppendSegment(End(chain), {10, 0});
    const auto bridged = PlanarOffset(chain, T(2), kTol<T>);
    ASSERT_EQ(bridged.size(), 1U);
    EXPECT_EQ(bridged[0].elements.size(), 4U);
    // Two arcs of radius 2 about (4, 0) and (6, 0), from straight below to where they meet at x
    // = 5.
    EXPECT_NEAR(TotalLength(bridged), 8 + 2 * 2 * std::asin(0.5), 1e-4);
    EXPECT_EQ(PlanarOffset(chain, T(0.5), kTol<T>).size(), 1U);
}

// A segment of no length, as trimming gives one, is no corner.
TYPED_TEST(PlanarOffsetTest, ElementsOfNoLengthCountAsNotThere)
{
    using T = TypeParam;
    auto square = Square<T>();
    square.elements.insert(square.elements.begin() + 2, SegBase<T>{{2, 2}, {2, 2}});
    EXPECT_EQ(PlanarOffset(square, T(1), kTol<T>), PlanarOffset(Square<T>(), T(1), kTol<T>));
}

// --- gaps and bad input -------------------------------------------------------------------------

TEST(PlanarOffsetDouble, JointGapsOfDrawingsDoNoHarm)
{
    for (const double gap : {0.0, 4e-11, 2e-8}) {
        PolyArcSegBase<double> chain;
        chain.tolerance = 1e-7;
        chain.elements.emplace_back(SegBase<double>{{0, 0}, {10 - gap, gap}});
        chain.elements.emplace_back(ArcBase<double>{{10, 3}, {10, -gap}, kHalfTurn * 3});
        chain.elements.emplace_back(SegBase<double>{{10 + gap, 6}, {0, 6 - gap}});
        chain.elements.emplace_back(SegBase<double>{{-gap, 6}, {gap, 0}});
        ASSERT_TRUE(chain.IsClosed());
        for (const double distance : {-2.0, -0.5, 0.5, 4.0}) {
            const auto offset = PlanarOffset(chain, distance, 1e-6);
            ExpectClosed(offset, 1);
            ExpectAtDistance(offset, chain, std::fabs(distance), 1e-6);
        }
    }
}

// A joint is what lies within the chain's tolerance, or within that of the call but for the last
// one, which the chain itself must call closed. Its curves link over the gaps whatever the
// tolerance.
TEST(PlanarOffsetDouble, GapsAreJointsWithinEitherTolerance)
{
    auto bent = Lines<double>({{0, 0}, {5, 0}, {5, 5}});
    bent.tolerance = 1e-9;
    bent.elements[1].AsSegment()->start = {5 + 1e-5, 0};
    EXPECT_EQ(PlanarOffset(bent, 1.0, 1e-3).size(), 1U);
    EXPECT_EQ(PlanarOffset(bent, 1.0, 1e-6).size(), 2U);

    auto square = Square<double>();
    square.tolerance = 1e-9;
    square.elements[3].AsSegment()->end = {0, 1e-5};
    ASSERT_FALSE(square.IsClosed());
    const auto open = PlanarOffset(square, 1.0, 1e-3);
    ASSERT_EQ(open.size(), 1U);
    EXPECT_EQ(open[0].elements.size(), 7U);
    square.elements[3].AsSegment()->end = {1e-5, 1e-5};
    square.tolerance = 1e-4;
    const auto closed = PlanarOffset(square, 1.0, 1e-9);
    ExpectClosed(closed, 1);
    EXPECT_EQ(closed[0].elements.size(), 8U);
}

// Moved by a power of two, what is given and the middle of its box stay exact: so the offset is the
// same one, moved and rounded once.
TEST(PlanarOffsetDouble, FarFromTheOriginOnlyTheLastDigitDiffers)
{
    const double far = 131072; // 2^17
    const auto at = [](double by) {
        PolyArcSegBase<double> chain;
        const auto put = [&](double x, double y) { return Vec2d(by + x, by + y); };
        chain.elements.emplace_back(SegBase<double>{put(0, 0), put(6, 0)});
        chain.elements.emplace_back(ArcBase<double>{put(6, 2), put(6, 0), kHalfTurn * 2});
        chain.elements.emplace_back(SegBase<double>{put(6, 4), put(3, 4)});
        chain.elements.emplace_back(SegBase<double>{put(3, 4), put(2.5, 1.75)});
        chain.elements.emplace_back(SegBase<double>{put(2.5, 1.75), put(0, 3.5)});
        chain.elements.emplace_back(SegBase<double>{put(0, 3.5), put(0, 0)});
        return chain;
    };
    for (const double distance : {-1.75, -0.5, 0.75}) {
        SCOPED_TRACE(distance);
        const auto here = PlanarOffset(at(0), distance, 1e-6);
        const auto there = PlanarOffset(at(far), distance, 1e-6);
        ASSERT_EQ(here.size(), there.size());
        for (std::size_t i = 0; i < here.size(); ++i) {
            EXPECT_TRUE(there[i].IsClosed());
            ASSERT_EQ(here[i].elements.size(), there[i].elements.size());
            for (std::size_t k = 0; k < here[i].elements.size(); ++k) {
                const Vec2d moved = here[i].elements[k].StartPoint() + Vec2d(far, far);
                EXPECT_EQ(there[i].elements[k].StartPoint(), moved);
            }
        }
    }
}

// Ends of arcs far out are derived with the rounding of their coordinates, which the tolerance of
// this chain does not cover.
TEST(PlanarOffsetDouble, JointsFarFromTheOriginAreJoints)
{
    const Vec2d at(1e5, 3e4);
    PolyArcSegBase<double> chain;
    chain.tolerance = 0;
    chain.elements.emplace_back(SegBase<double>{at, at + Vec2d(6, 0)});
    for (int i = 0; i < 3; ++i) {
        chain.elements.emplace_back(ArcBase<double>{at + Vec2d(6.1, 2), End(chain), 1.9});
    }
    chain.elements.emplace_back(SegBase<double>{End(chain), at});
    for (const double distance : {-0.6, 0.7}) {
        const auto offset = PlanarOffset(chain, distance, 1e-7);
        ExpectClosed(offset, 1);
        ExpectNothingMissing(offset, chain, distance, 1e-4);
    }
}

TYPED_TEST(PlanarOffsetTest, BadInputGivesNothing)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    EXPECT_TRUE(PlanarOffset(Square<T>(), nan, kTol<T>).empty());
    EXPECT_TRUE(PlanarOffset(Square<T>(), inf, kTol<T>).empty());
    EXPECT_TRUE(PlanarOffset(Square<T>(), -inf, kTol<T>).empty());
    ASSERT_EQ(PlanarOffset(PolyArcSegBase<T>(), T(1), kTol<T>).size(), 1U);
    EXPECT_EQ(PlanarOffset(Square<T>(), T(1), nan).size(), 1U);
    EXPECT_EQ(PlanarOffset(Square<T>(), T(1), T(-1)).size(), 1U);
    EXPECT_EQ(PlanarOffset(Square<T>(), T(1), T(0)).size(), 1U);
    EXPECT_EQ(PlanarOffset(Square<T>(), T(1), inf), Chains<T>{Square<T>()});
    const auto set = PlanarOffsets(Square<T>(), {-inf, T(1), inf}, kTol<T>);
    ASSERT_EQ(set.size(), 3U);
    EXPECT_TRUE(set[0].empty());
    EXPECT_EQ(set[1].size(), 1U);
    EXPECT_TRUE(set[2].empty());

    PolyArcSegBase<T> hostile;
    hostile.elements.emplace_back(SegBase<T>{{0, 0}, {0, 0}});
    EXPECT_TRUE(PlanarOffset(hostile, T(1), kTol<T>).empty());
    hostile.elements.emplace_back(SegBase<T>{{0, 0}, {nan, 0}});
    hostile.elements.emplace_back(SegBase<T>{{0, 0}, {3, 0}});
    hostile.elements.emplace_back(SegBase<T>{{3, 0}, {inf, 0}});
    hostile.elements.emplace_back(ArcBase<T>{{3, 0}, {3, 0}, 5});
    hostile.elements.emplace_back(ArcBase<T>{{3, nan}, {3, 0}, 5});
    hostile.elements.emplace_back(SegBase<T>{{0, 0}, {3, 0}});
    hostile.elements.emplace_back(SegBase<T>{{7, 7}, {9, 7}});
    const T largest = std::numeric_limits<T>::max();
    for (const T distance : {T(1), T(-1), T(1e-6), T(1e6), largest, -largest}) {
        PlanarOffset(hostile, distance, kTol<T>);
        PlanarOffset(Square<T>(), distance, kTol<T>);
    }
    hostile.elements.emplace_back(SegBase<T>{{0, 0}, {largest, -largest}});
    PlanarOffset(hostile, T(1), kTol<T>);
}

// Sides and arcs that come out shorter than what ends are linked by leave gaps a little wider than
// that. The curve goes on behind them.
TEST(PlanarOffsetDouble, NoisyOutlinesStayWhole)
{
    Random random(5);
    for (int trial = 0; trial < 12; ++trial) {
        SCOPED_TRACE(trial);
        std::vector<Vec2d> corners;
        for (int i = 0; i < 1000; ++i) {
            const double angle = 2 * kHalfTurn * i / 1000;
            const double radius = 10 + random.Between(-0.01, 0.01);
            corners.push_back({radius * std::cos(angle), radius * std::sin(angle)});
        }
        corners.push_back(corners.front());
        const auto outline = Lines(corners);
        for (const double distance : {-0.05, 0.05}) {
            SCOPED_TRACE(distance);
            const auto offset = PlanarOffset(outline, distance, 1e-3);
            ExpectClosed(offset, 1);
            EXPECT_NEAR(std::fabs(AreaOf(offset[0])), kHalfTurn * std::pow(10 + distance, 2), 0.6);
        }
    }
}

/// Closed and counter-clockwise, `count` sides of a wave round a circle of radius 100.
PolyArcSegBase<double> Wave(int count)
{
    std::vector<Vec2d> corners;
    for (int i = 0; i <= count; ++i) {
        const double angle = 2 * kHalfTurn * (i % count) / count;
        const double radius = 100 + 8 * std::sin(37 * angle);
        corners.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    return Lines(corners);
}

// Arrangements on which a step that looks at all pairs would take minutes.
TEST(PlanarOffsetDouble, LargeChainsOfEveryArrangement)
{
    // The deepest of a set of nested offsets: most parallels run through most others.
    const auto deep = PlanarOffset(Wave(20'000), -30.0, 1e-6);
    ASSERT_EQ(deep.size(), 1U);
    EXPECT_TRUE(deep[0].IsClosed());
    EXPECT_TRUE(PlanarOffset(Wave(20'000), -150.0, 1e-6).empty());
    // All on one line, there and back.
    std::vector<Vec2d> row;
    for (int i = 0; i <= 5000; ++i) {
        row.push_back({0.01 * i, 0});
    }
    EXPECT_EQ(PlanarOffset(Lines(row), 3.0, 1e-6)[0].elements.size(), 5000U);
    row.push_back({25, 0});
    EXPECT_EQ(PlanarOffset(Lines(row), 3.0, 1e-6).size(), 1U);
    // Combs: every tooth's tip is an arc, all of them the same distance up.
    std::vector<Vec2d> comb;
    for (int i = 0; i < 400; ++i) {
        comb.push_back({0.1 * i, 0.0});
        comb.push_back({0.1 * i + 0.05, 50.0});
    }
    const auto tips = PlanarOffset(Lines(comb), -1.0, 1e-6);
    ASSERT_FALSE(tips.empty());
    EXPECT_LT(tips.size(), 4U);
}

TEST(PlanarOffsetDouble, PassesTheExceptionOn)
{
    WithThreads(1, [&] {
        EXPECT_GT(
            FailEachAllocationOfResult([] { return PlanarOffset(Square<double>(), 1.0, 1e-7); }),
            20U);
    });
}

} // namespace
