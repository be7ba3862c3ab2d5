// Breaking, splitting and trimming of chains.

#include <Sorvane/ChainBreaking_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/ThreadLimit.h"

#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class ChainBreaking : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ChainBreaking, Coordinates);

template <class T>
constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
template <class T>
constexpr T kInfinity = std::numeric_limits<T>::infinity();

/// Segments of length 10 along x, joints at 0, 10, 20, ...
template <class T>
PolyArcSegBase<T> Tens(int count)
{
    std::vector<VecBase<2, T>> corners;
    for (int i = 0; i <= count; ++i) {
        corners.push_back({static_cast<T>(10 * i), T{0}});
    }
    return Lines(corners);
}

template <class T>
std::vector<T> LengthsOf(const std::vector<PolyArcSegBase<T>>& chains)
{
    std::vector<T> lengths;
    for (const auto& chain : chains) {
        lengths.push_back(PolyArcSegParameters(chain, false).back());
    }
    return lengths;
}

template <class T>
std::size_t ElementCount(const std::vector<PolyArcSegBase<T>>& chains)
{
    std::size_t count = 0;
    for (const auto& chain : chains) {
        EXPECT_FALSE(chain.elements.empty());
        count += chain.elements.size();
    }
    return count;
}

/// Point of a chain a length from its start, by the tests' own measures.
template <class T>
Vec2d PointAt(const std::vector<ArcSegBase<T>>& elements, double length)
{
    for (const auto& element : elements) {
        if (length <= LengthOf(element)) {
            return PointOf(element, length / LengthOf(element));
        }
        length -= LengthOf(element);
    }
    return PointOf(elements.back(), 1);
}

/// Do both run along the same points? `near`: how far apart points of equal length may lie.
template <class T>
void ExpectSameCurve(const std::vector<ArcSegBase<T>>& a, const std::vector<ArcSegBase<T>>& b,
                     double near)
{
    double length = 0;
    for (const auto& element : a) {
        length += LengthOf(element);
    }
    for (int i = 0; i <= 200; ++i) {
        const Vec2d gap = PointAt(a, length * i / 200) - PointAt(b, length * i / 200);
        ASSERT_LT(std::hypot(gap[0], gap[1]), near) << "at " << i << " of 200";
    }
}

template <class T>
std::vector<ArcSegBase<T>> Together(const std::vector<PolyArcSegBase<T>>& chains)
{
    std::vector<ArcSegBase<T>> all;
    for (const auto& chain : chains) {
        all.insert(all.end(), chain.elements.begin(), chain.elements.end());
    }
    return all;
}

// --- one element --------------------------------------------------------------------------------

TYPED_TEST(ChainBreaking, ElementSplitsFromStartToEndInAnyOrderOfParameters)
{
    using T = TypeParam;
    const ArcSegBase<T> segment(SegBase<T>{{0, 0}, {8, 0}});
    const auto pieces = Split(segment, std::vector<T>{6, 1, 4}, false, T(1e-6));
    ASSERT_EQ(pieces.size(), 4U);
    const T ends[] = {0, 1, 4, 6, 8};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(pieces[i].StartPoint(), (VecBase<2, T>(ends[i], 0)));
        EXPECT_EQ(pieces[i].EndPoint(), (VecBase<2, T>(ends[i + 1], 0)));
    }
    const auto byFractions =
        Split(segment, std::vector<T>{T(0.75), T(0.125), T(0.5)}, true, T(1e-6));
    EXPECT_EQ(byFractions, pieces);
}

TYPED_TEST(ChainBreaking, ArcPiecesKeepCenterRadiusAndTheWholeLength)
{
    using T = TypeParam;
    for (const T sense : {T{1}, T{-1}}) {
        const ArcBase<T> arc{{1, 2}, {4, 6}, sense * 20};
        const auto pieces = Split(ArcSegBase<T>(arc), std::vector<T>{3, 7, 15}, false, T(1e-5));
        ASSERT_EQ(pieces.size(), 4U);
        T sum{0};
        for (std::size_t i = 0; i < 4; ++i) {
            const ArcBase<T>& piece = *pieces[i].AsArc();
            EXPECT_EQ(piece.center, arc.center);
            sum += piece.length;
            if (i > 0) {
                const VecBase<2, T> gap = piece.start - pieces[i - 1].EndPoint();
                EXPECT_LT(std::hypot(gap[0], gap[1]), kNear<T>);
            }
        }
        EXPECT_EQ(sum, arc.length);
        ExpectSameCurve<T>({ArcSegBase<T>(arc)}, pieces, kNear<T>);
    }
}

TYPED_TEST(ChainBreaking, OneCutThatFailsEmptiesTheSplitOfAnElement)
{
    using T = TypeParam;
    const ArcSegBase<T> segment(SegBase<T>{{0, 0}, {8, 0}});
    const T tol = T(1e-3);
    const std::vector<std::vector<T>> failing = {{},     {3, 3},       {3, T(3.0005)},   {0, 3},
                                                 {3, 8}, {T(0.0005)},  {T(7.9995)},      {-1, 3},
                                                 {3, 9}, {kNaN<T>, 3}, {3, kInfinity<T>}};
    for (const auto& parameters : failing) {
        EXPECT_TRUE(Split(segment, parameters, false, tol).empty());
    }
    EXPECT_EQ(Split(segment, std::vector<T>{3, T(3.01)}, false, tol).size(), 3U);
    EXPECT_EQ(Split(segment, std::vector<T>{3}, false, T(-1)).size(), 2U);
    EXPECT_EQ(Split(segment, std::vector<T>{3}, false, kNaN<T>).size(), 2U);
    EXPECT_TRUE(Split(segment, std::vector<T>{3, 3}, false, T(-1)).empty());
    EXPECT_TRUE(Split(ArcSegBase<T>(), std::vector<T>{0}, false, tol).empty());
}

// --- joints -------------------------------------------------------------------------------------

TYPED_TEST(ChainBreaking, BrokenChainRunsAlongTheOriginal)
{
    using T = TypeParam;
    Random random(31);
    for (int trial = 0; trial < 60; ++trial) {
        auto chain = RandomChain<T>(random, 1 + random.Below(12));
        chain.tolerance = T(0.25);
        const T length = PolyArcSegParameters(chain, false).back();
        std::vector<T> lengths;
        std::vector<T> fractions;
        const int count = 1 + random.Below(8);
        for (int i = 0; i < count; ++i) {
            fractions.push_back(static_cast<T>((i + random.Between(0.1, 0.9)) / count));
            lengths.push_back(fractions.back() * length);
        }
        const T tol = T(1e-5);
        const auto broken = BreakAtParams(chain, lengths, false, tol);
        EXPECT_EQ(broken.tolerance, chain.tolerance);
        EXPECT_LE(broken.elements.size(), chain.elements.size() + lengths.size());
        EXPECT_GT(broken.elements.size() + 1, chain.elements.size() + lengths.size() / 2);
        ExpectSameCurve(chain.elements, broken.elements, 100 * kNear<T>);
        const auto byFractions = BreakAtParams(chain, fractions, true, T(1e-6));
        ExpectSameCurve(chain.elements, byFractions.elements, 100 * kNear<T>);

        const auto parts = Split(chain, lengths, false, tol);
        EXPECT_EQ(ElementCount(parts), broken.elements.size());
        EXPECT_EQ(Together(parts), broken.elements);
        EXPECT_EQ(parts.front().tolerance, chain.tolerance);
    }
}

TYPED_TEST(ChainBreaking, ParameterNearAJointAddsNone)
{
    using T = TypeParam;
    const auto chain = Tens<T>(3);
    const T tol = T(1e-3);
    for (const T near : {T(10), T(10.0005), T(9.9995), T(0), T(0.0005), T(30), T(29.9995)}) {
        EXPECT_EQ(BreakAtParams(chain, {near}, false, tol), chain) << near;
    }
    EXPECT_EQ(BreakAtParams(chain, {T(10.01)}, false, tol).elements.size(), 4U);
    EXPECT_EQ(BreakAtParams(chain, {}, false, tol), chain);
}

// A parameter comes apart at the first joint that isn't before it by more than the tolerance, also
// if that is one that another parameter made: no chain of the result is shorter than that for it.
TYPED_TEST(ChainBreaking, ParametersWithinTheToleranceOfEachOtherPartOnce)
{
    using T = TypeParam;
    const auto chain = Tens<T>(3);
    // The second is at the joint, and as near to the first.
    EXPECT_EQ(LengthsOf(Split(chain, {T(9.6875), T(9.875)}, false, T(0.25))),
              (std::vector<T>{T(9.6875), T(20.3125)}));
    // Half a percent apart, which as a length is more than the tolerance: both get a joint.
    EXPECT_EQ(BreakAtParams(chain, {T(0.5), T(0.505)}, true, T(0.01)).elements.size(), 5U);
    EXPECT_EQ(LengthsOf(Split(chain, {T(0.5), T(0.505)}, true, T(0.01))), (std::vector<T>{15, 15}));
    EXPECT_EQ(Split(chain, {T(0.5), T(0.515)}, true, T(0.01)).size(), 3U);
}

// "Within" includes the tolerance itself.
TYPED_TEST(ChainBreaking, AWholeToleranceFromAJointIsAtIt)
{
    using T = TypeParam;
    const auto chain = Tens<T>(3);
    for (const T at : {T(10.25), T(9.75), T(0.25), T(29.75)}) {
        EXPECT_EQ(BreakAtParams(chain, {at}, false, T(0.25)), chain) << at;
    }
    EXPECT_EQ(Split(chain, {T(0.25)}, false, T(0.25)).size(), 1U);
    EXPECT_EQ(Split(chain, {T(29.75)}, false, T(0.25)).size(), 1U);
    EXPECT_EQ(LengthsOf(Split(chain, {T(10.25)}, false, T(0.25))), (std::vector<T>{10, 20}));
}

// Elements at the ends that are themselves shorter than the tolerance don't come off.
TYPED_TEST(ChainBreaking, NothingComesOffWithinTheToleranceOfTheEnds)
{
    using T = TypeParam;
    const auto chain = Lines<T>({{0, 0}, {T(0.1), 0}, {10, 0}, {T(10.1), 0}});
    for (const T at : {T(0.05), T(0.1), T(10), T(10.05)}) {
        EXPECT_EQ(Split(chain, {at}, false, T(0.25)).size(), 1U) << at;
        EXPECT_EQ(LengthsOf(Split(chain, {at, T(5)}, false, T(0.25))).size(), 2U) << at;
    }
}

TYPED_TEST(ChainBreaking, ParametersOutsideOrNotFiniteAreIgnored)
{
    using T = TypeParam;
    const auto chain = Tens<T>(3);
    const std::vector<T> parameters{-5, 40, kNaN<T>, kInfinity<T>, -kInfinity<T>, 15};
    EXPECT_EQ(BreakAtParams(chain, parameters, false, T(1e-4)).elements.size(), 4U);
    EXPECT_EQ(LengthsOf(Split(chain, parameters, false, T(1e-4))), (std::vector<T>{15, 15}));
    EXPECT_EQ(Split(chain, {kNaN<T>}, false, T(1e-4)).size(), 1U);
    EXPECT_EQ(BreakAtParams(PolyArcSegBase<T>(), {1, 2}, true, T(0)), PolyArcSegBase<T>());
    ASSERT_EQ(Split(PolyArcSegBase<T>(), {1, 2}, true, T(0)).size(), 1U);
}

TYPED_TEST(ChainBreaking, OneElementThatCannotBeSplitLeavesTheWholeChainUnbroken)
{
    using T = TypeParam;
    const auto chain = Tens<T>(3);
    EXPECT_EQ(BreakAtParams(chain, {3, 3}, false, T(1e-4)), chain);
    EXPECT_EQ(BreakAtParams(chain, {3, 3, 15}, false, T(1e-4)), chain);
    EXPECT_EQ(BreakAtParams(chain, {3, T(3.00005), 25}, false, T(1e-4)), chain);
}

// The tolerance is compared with fractions, and is a length for the element.
TYPED_TEST(ChainBreaking, NormalizedToleranceIsAFractionThenALength)
{
    using T = TypeParam;
    const auto small = Lines<T>({{0, 0}, {T(0.01), 0}});
    EXPECT_EQ(BreakAtParams(small, {T(0.05)}, true, T(1e-3)), small);
    EXPECT_EQ(BreakAtParams(small, {T(0.5)}, true, T(1e-3)).elements.size(), 2U);
    // An element no longer than the tolerance stays whole, and the others are broken.
    const auto tiny = Lines<T>({{0, 0}, {T(0.001), 0}, {T(0.01), 0}});
    EXPECT_EQ(BreakAtParams(tiny, {T(0.05), T(0.5)}, true, T(2e-3)).elements.size(), 3U);
    // Where it stayed whole the chain comes apart at the joint behind it.
    EXPECT_EQ(Split(tiny, {T(0.05)}, true, T(2e-3)).size(), 2U);
    // There also for several parameters.
    const auto three = Lines<T>({{0, 0}, {T(0.001), 0}, {T(0.005), 0}, {T(0.01), 0}});
    EXPECT_EQ(Split(three, {T(0.05), T(0.06)}, true, T(2e-3)).size(), 2U);
}

TYPED_TEST(ChainBreaking, ElementsWithoutLengthDoNotStopTheOthers)
{
    using T = TypeParam;
    PolyArcSegBase<T> chain;
    chain.AppendSegment({0, 0}, {10, 0});
    chain.AppendArc({10, 5}, {10, 0}, 0);
    chain.AppendSegment({10, 0}, {20, 0});
    for (const T tol : {T(1e-4), T(0), T(-1), kNaN<T>}) {
        const auto broken = BreakAtParams(chain, {4, 15}, false, tol);
        EXPECT_EQ(broken.elements.size(), 5U) << tol;
        EXPECT_EQ(LengthsOf(Split(chain, {4, 15}, false, tol)), (std::vector<T>{4, 11, 5}));
    }
}

/// How far from the origin outlines of size 5 still have digits.
template <class T>
std::vector<T> Positions()
{
    return std::is_same_v<T, float> ? std::vector<T>{0, 300}
                                    : std::vector<T>{0, T(1e3), T(1e5), T(1e6)};
}

// Ends of arcs are derived, and so a joint may seem to lie a rounding before or behind itself.
TYPED_TEST(ChainBreaking, OwnJointsAddNoneWhateverTheTolerance)
{
    using T = TypeParam;
    Random random(12);
    for (const T far : Positions<T>()) {
        for (const T tol : {T(0), T(1e-12), T(1e-9), T(-1)}) {
            for (int trial = 0; trial < 30; ++trial) {
                const auto chain = Moved(RandomOutline<T>(random, 1), {far, -far});
                std::vector<VecBase<2, T>> joints;
                for (const auto& element : chain.elements) {
                    joints.push_back(element.StartPoint());
                    joints.push_back(element.EndPoint());
                }
                EXPECT_EQ(BreakAtPoints(chain, joints, tol), chain) << far << " " << tol;
                EXPECT_EQ(SplitAtPoints(chain, joints, tol).size(), chain.elements.size());
                auto lengths = PolyArcSegParameters(chain, true);
                EXPECT_EQ(BreakAtParams(chain, lengths, true, tol), chain) << far << " " << tol;
            }
        }
    }
}

// Lengths along a chain round by more than coordinates where it is much longer than wide.
TYPED_TEST(ChainBreaking, JointsOfLongChainsAddNoneByTheirParameters)
{
    using T = TypeParam;
    std::vector<VecBase<2, T>> corners;
    for (int i = 0; i <= 1000; ++i) {
        corners.push_back({static_cast<T>(i % 2 * 9.7), static_cast<T>(i % 3 * 0.7)});
    }
    const auto chain = Lines(corners);
    for (const bool normalized : {false, true}) {
        const auto joints = PolyArcSegParameters(chain, normalized);
        EXPECT_EQ(BreakAtParams(chain, joints, normalized, T(0)), chain);
        EXPECT_EQ(Split(chain, joints, normalized, T(0)).size(), 1000U);
    }
}

// Fractions of a short chain round by more than those of a long one at the same place.
TEST(ChainBreakingFar, FractionsNearAJointOfAShortChainAddNone)
{
    for (const double size : {0.01, 1.0, 1e5}) {
        std::vector<Vec2d> corners;
        for (int i = 0; i <= 5; ++i) {
            corners.push_back({1e6 + i * size, 1e6});
        }
        const auto chain = Lines(corners);
        for (const double off : {1e-9, -1e-9}) { // coordinates round by 1e-10
            const double fraction = 0.4 + off / (5 * size);
            EXPECT_EQ(BreakAtParams(chain, {fraction}, true, 0.0), chain) << size;
        }
        const double fraction = 0.4 + 1e-7 / (5 * size);
        EXPECT_EQ(BreakAtParams(chain, {fraction}, true, 0.0).elements.size(), 6U) << size;
    }
}

// Where a computed point lies is rounded; no tolerance makes it lie off the chain for that.
TYPED_TEST(ChainBreaking, ComputedPointsAreFoundWhateverTheTolerance)
{
    using T = TypeParam;
    Random random(13);
    for (const T far : Positions<T>()) {
        for (const T tol : {T(0), T(1e-12), T(-1), kNaN<T>}) {
            for (int trial = 0; trial < 30; ++trial) {
                const auto chain = Moved(RandomOutline<T>(random, -1), {far, -far});
                std::vector<VecBase<2, T>> points;
                for (const auto& element : chain.elements) {
                    points.emplace_back(PointOf(element, random.Between(0.2, 0.8)));
                }
                EXPECT_EQ(BreakAtPoints(chain, points, tol).elements.size(),
                          2 * chain.elements.size())
                    << far << " " << tol;
                EXPECT_EQ(SplitAtPoints(chain, points, tol).size(), points.size() + 1);
            }
        }
    }
}

// A parameter right at the tolerance from a joint is dropped or cut, and never stops the others.
TYPED_TEST(ChainBreaking, ParametersAtTheEdgeOfTheToleranceDoNotStopTheOthers)
{
    using T = TypeParam;
    std::vector<VecBase<2, T>> corners;
    for (int i = 0; i <= 1000; ++i) {
        corners.push_back({static_cast<T>(i * 0.7), static_cast<T>(i % 2 * 0.4)});
    }
    const auto chain = Lines(corners);
    const auto joints = PolyArcSegParameters(chain, false);
    const T tol = T(0.01);
    for (std::size_t i = 1; i < 999; i += 11) {
        for (const T side : {T{1}, T{-1}}) {
            const T edge = joints[i] + side * tol;
            for (const T p : {edge, std::nextafter(edge, T{0}), std::nextafter(edge, T(1000))}) {
                ASSERT_GE(
                    BreakAtParams(chain, {p, joints[999] + T(0.3)}, false, tol).elements.size(),
                    1001U)
                    << i;
            }
        }
    }
}

// One element out of all proportion has no part in what counts as rounding for the others.
TYPED_TEST(ChainBreaking, AStrayElementDoesNotCoarsenTheOthers)
{
    using T = TypeParam;
    auto chain = Tens<T>(4);
    chain.elements.emplace_back(SegBase<T>{{T(1e18), 0}, {T(1e18), T(1e13)}});
    const std::vector<VecBase<2, T>> points{{5, 0}, {5, T(0.5)}, {25, 0}};
    EXPECT_EQ(BreakAtPoints(chain, points, T(1e-3)).elements.size(), 7U);
    auto part = TrimToPoints<T>(chain, {5, T(0.5)}, {25, 0}, T(1e-3));
    EXPECT_TRUE(part.elements.empty());
}

TYPED_TEST(ChainBreaking, PointsGetAJointOnTheFirstPassAlone)
{
    using T = TypeParam;
    // Along x, and back across it at (5, 0).
    const auto chain = Lines<T>({{0, 0}, {10, 0}, {10, 5}, {5, 5}, {5, -5}});
    const auto broken = BreakAtPoints(chain, {{5, 0}, {3, 1}, {10, 2}}, T(1e-5));
    ASSERT_EQ(broken.elements.size(), 6U);
    EXPECT_EQ(broken.elements[0].EndPoint(), (VecBase<2, T>(5, 0)));
    EXPECT_EQ(broken.elements[5].StartPoint(), (VecBase<2, T>(5, 5)));
    EXPECT_EQ(BreakAtPoints(chain, {}, T(1e-5)), chain);
    EXPECT_EQ(BreakAtPoints(chain, {{kNaN<T>, 0}, {30, 30}}, T(1e-5)), chain);
    EXPECT_EQ(SplitAtPoints(chain, {{30, 30}}, T(1e-5)).size(), 1U);
    EXPECT_EQ(SplitAtPoints(chain, {{30, 30}, {5, 0}}, T(1e-5)),
              SplitAtPoints(chain, {{5, 0}}, T(1e-5)));
    EXPECT_EQ(LengthsOf(SplitAtPoints(chain, {{5, 0}}, T(1e-5))), (std::vector<T>{5, 25}));
}

// --- several chains -----------------------------------------------------------------------------

TYPED_TEST(ChainBreaking, ChainsComeApartAtParametersAndAtJoints)
{
    using T = TypeParam;
    const auto chain = Tens<T>(3);
    const T tol = T(1e-3);
    EXPECT_EQ(LengthsOf(Split(chain, {25, 4}, false, tol)), (std::vector<T>{4, 21, 5}));
    EXPECT_EQ(LengthsOf(Split(chain, {10}, false, tol)), (std::vector<T>{10, 20}));
    EXPECT_EQ(LengthsOf(Split(chain, {10, T(10.0005), T(9.9995)}, false, tol)),
              (std::vector<T>{10, 20}));
    EXPECT_EQ(LengthsOf(Split(chain, {T(0.5)}, true, T(1e-6))), (std::vector<T>{15, 15}));
    for (const T end : {T(0), T(0.0005), T(29.9995), T(30), T(31), T(-1)}) {
        EXPECT_EQ(Split(chain, {end}, false, tol), std::vector<PolyArcSegBase<T>>{chain});
    }
    EXPECT_EQ(Split(chain, {}, false, tol), std::vector<PolyArcSegBase<T>>{chain});
}

TYPED_TEST(ChainBreaking, AfterGivingUpTheNextOldJointParts)
{
    using T = TypeParam;
    EXPECT_EQ(LengthsOf(Split(Tens<T>(2), {3, 3}, false, T(1e-3))), (std::vector<T>{10, 10}));
    EXPECT_EQ(LengthsOf(Split(Tens<T>(1), {3, 3}, false, T(1e-3))), (std::vector<T>{10}));
    EXPECT_EQ(LengthsOf(Split(Tens<T>(3), {3, 3, 15}, false, T(1e-3))),
              (std::vector<T>{10, 10, 10}));
}

// A parameter finds the joint that it got, however its length rounds when it is summed up again.
TYPED_TEST(ChainBreaking, ZeroToleranceSplitsAtTheParameterItself)
{
    using T = TypeParam;
    Random random(5);
    for (int trial = 0; trial < 100; ++trial) {
        auto chain = RandomChain<T>(random, 20);
        const T length = PolyArcSegParameters(chain, false).back();
        const T place = static_cast<T>(random.Between(0.2, 0.8)) * length;
        const auto parts = Split(chain, {place}, false, T{0});
        ASSERT_EQ(parts.size(), 2U);
        EXPECT_NEAR(static_cast<double>(LengthsOf(parts)[0]), static_cast<double>(place),
                    20 * kNear<T>);
    }
}

TYPED_TEST(ChainBreaking, ManyParametersInOneElement)
{
    using T = TypeParam;
    const auto chain = Lines<T>({{0, 0}, {100, 0}});
    std::vector<T> parameters;
    for (int i = 1; i < 1000; ++i) {
        parameters.push_back(static_cast<T>((i * 617 % 1000) * 0.1));
    }
    EXPECT_EQ(Split(chain, parameters, false, T(1e-3)).size(), 1000U);
}

// --- tangents -----------------------------------------------------------------------------------

template <class T>
PolyArcSegBase<T> TwoHalfCircles(const VecBase<2, T>& start)
{
    PolyArcSegBase<T> circle;
    circle.tolerance = T(1e-5);
    const T half = static_cast<T>(kHalfTurn * std::hypot(start[0], start[1]));
    circle.AppendArc({0, 0}, start, half);
    circle.AppendArc({0, 0}, -start, half);
    return circle;
}

TYPED_TEST(ChainBreaking, CircleComesApartWhereItsTangentIsParallel)
{
    using T = TypeParam;
    const auto parts = SplitAtTangent(TwoHalfCircles<T>({2, 0}), {1, 0}, T(1e-6));
    ASSERT_EQ(parts.size(), 3U);
    const VecBase<2, T> top = parts[1].elements.front().StartPoint();
    const VecBase<2, T> bottom = parts[2].elements.front().StartPoint();
    EXPECT_NEAR(top[0], 0, kNear<T>);
    EXPECT_NEAR(top[1], 2, kNear<T>);
    EXPECT_NEAR(bottom[0], 0, kNear<T>);
    EXPECT_NEAR(bottom[1], -2, kNear<T>);
}

TYPED_TEST(ChainBreaking, HalfCirclesThatBeginParallelStayWhole)
{
    using T = TypeParam;
    EXPECT_EQ(SplitAtTangent(TwoHalfCircles<T>({2, 0}), {0, 1}, T(1e-5)).size(), 1U);
}

TYPED_TEST(ChainBreaking, CornersPastTheDirectionPartButTheClosingOne)
{
    using T = TypeParam;
    // Diamond: at every corner the tangent turns past x or y; the closing corner is at (2, 0).
    const auto diamond = Lines<T>({{2, 0}, {0, 2}, {-2, 0}, {0, -2}, {2, 0}});
    EXPECT_EQ(SplitAtTangent(diamond, {1, 0}, T(1e-6)).size(), 3U);
    EXPECT_EQ(SplitAtTangent(diamond, {0, 1}, T(1e-6)).size(), 2U);
    EXPECT_EQ(SplitAtTangent(diamond, {0, 0}, T(1e-6)).size(), 1U);
    EXPECT_EQ(SplitAtTangent(diamond, {kNaN<T>, 0}, T(1e-6)).size(), 1U);
    ASSERT_EQ(SplitAtTangent(PolyArcSegBase<T>(), {1, 0}, T(1e-6)).size(), 1U);
}

// Segments that run along the direction have sign 0, which differs from both others.
TYPED_TEST(ChainBreaking, AParallelElementPartsAtBothItsEnds)
{
    using T = TypeParam;
    const auto chain = Lines<T>({{0, 0}, {1, 1}, {3, 1}, {4, 0}});
    EXPECT_EQ(LengthsOf(SplitAtTangent(chain, {1, 0}, T(1e-6))).size(), 3U);
}

// Sides are told with the tolerance included: within 1 of a unit direction everything is parallel.
TYPED_TEST(ChainBreaking, ToleranceOfTangentsIsInclusive)
{
    using T = TypeParam;
    const auto chain = Lines<T>({{0, 0}, {0, 1}, {1, 1}, {1, 0}});
    EXPECT_EQ(SplitAtTangent(chain, {1, 0}, T(1)).size(), 1U);
    EXPECT_EQ(SplitAtTangent(chain, {1, 0}, T(0.999)).size(), 3U);
}

// An arc that turns past the direction once comes apart there, also if it is longer than half a
// turn; one that turns past it twice ends on the side on which it starts, and stays whole.
TYPED_TEST(ChainBreaking, ArcsOfMoreThanHalfATurn)
{
    using T = TypeParam;
    EXPECT_EQ(SplitAtTangent(Circle<T>(2, 1), {1, 0}, T(1e-5)).size(), 1U);
    const VecBase<2, T> start(static_cast<T>(std::sqrt(3.0)), T{1}); // at 30 degrees
    const double degree = 2 * kHalfTurn / 180;                       // as a length
    for (const T sense : {T{1}, T{-1}}) {
        PolyArcSegBase<T> once;
        once.AppendArc({0, 0}, start, sense * static_cast<T>(200 * degree));
        const auto parts = SplitAtTangent(once, {1, 0}, T(1e-5));
        ASSERT_EQ(parts.size(), 2U);
        EXPECT_NEAR(static_cast<double>(LengthsOf(parts)[0]), (sense > 0 ? 60 : 120) * degree,
                    1e-5);
        PolyArcSegBase<T> twice;
        twice.AppendArc({0, 0}, start, sense * static_cast<T>(330 * degree));
        EXPECT_EQ(SplitAtTangent(twice, {1, 0}, T(1e-5)).size(), 1U);
    }
}

// An arc that starts parallel and ends otherwise comes apart where it is parallel again.
TYPED_TEST(ChainBreaking, ArcThatStartsParallel)
{
    using T = TypeParam;
    for (const T sense : {T{1}, T{-1}}) {
        PolyArcSegBase<T> arc;
        arc.AppendArc({0, 0}, {0, -2}, sense * static_cast<T>(3 * kHalfTurn));
        const auto parts = SplitAtTangent(arc, {1, 0}, T(1e-5));
        ASSERT_EQ(parts.size(), 2U);
        EXPECT_NEAR(static_cast<double>(LengthsOf(parts)[0]), 2 * kHalfTurn, 1e-5);
        // A quarter has but the place at its start, which is no place to come apart.
        PolyArcSegBase<T> quarter;
        quarter.AppendArc({0, 0}, {0, -2}, sense * static_cast<T>(kHalfTurn));
        EXPECT_EQ(SplitAtTangent(quarter, {1, 0}, T(1e-5)).size(), 1U);
    }
}

// Sides along the direction, but for the rounding of their corners.
TYPED_TEST(ChainBreaking, SidesAreParallelAnywhereAtAnyTolerance)
{
    using T = TypeParam;
    for (const T far : Positions<T>()) {
        for (const double angle : {0.1, 0.7, 1.3, 2.9}) {
            const Vec2d along(std::cos(angle), std::sin(angle));
            const Vec2d across(-along.y(), along.x());
            std::vector<VecBase<2, T>> corners;
            for (const Vec2d& corner :
                 {Vec2d(0, 0), along * 3, along * 3 + across, across, Vec2d(0, 0)}) {
                corners.push_back(VecBase<2, T>(corner) + VecBase<2, T>(far, -far));
            }
            for (const T tol : {T(0), T(1e-12), kNaN<T>}) {
                // All corners but the closing one.
                EXPECT_EQ(SplitAtTangent(Lines(corners), VecBase<2, T>(along), tol).size(), 4U)
                    << far << " " << angle;
            }
        }
    }
}

TEST(ChainBreakingFar, TangentsArePartedFarFromTheOriginToo)
{
    for (const double far : {0.0, 1e5, 1e6}) {
        for (const double size : {1e-3, 1.0, 1e3}) {
            PolyArcSegBase<double> circle;
            circle.tolerance = 1e-9;
            circle.AppendArc({far, far}, {far + size, far}, kHalfTurn * size);
            circle.AppendArc({far, far}, circle.elements[0].EndPoint(), kHalfTurn * size);
            EXPECT_EQ(SplitAtTangent(circle, {1, 0}, 1e-12).size(), 3U) << far << " " << size;
        }
    }
}

// --- trimming -----------------------------------------------------------------------------------

TYPED_TEST(ChainBreaking, TrimRunsOverTheJointOfAClosedChain)
{
    using T = TypeParam;
    const auto square = Square<T>();
    const auto part = TrimToPoints<T>(square, {0, 1}, {1, 0}, T(1e-5));
    EXPECT_EQ(part, Lines<T>({{0, 1}, {0, 0}, {1, 0}}));
    EXPECT_EQ(TrimToPoints<T>(square, {1, 0}, {0, 1}, T(1e-5)),
              Lines<T>({{1, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 1}}));

    auto open = square;
    open.elements.pop_back();
    EXPECT_TRUE(TrimToPoints<T>(open, {1, 2}, {1, 0}, T(1e-5)).elements.empty());
    EXPECT_TRUE(TrimToPoints<T>(open, {0, 1}, {1, 0}, T(1e-5)).elements.empty());
    EXPECT_TRUE(TrimToPoints<T>(PolyArcSegBase<T>(), {0, 1}, {1, 0}, T(1e-5)).elements.empty());
    EXPECT_TRUE(TrimToPoints<T>(square, {kNaN<T>, 1}, {1, 0}, T(1e-5)).elements.empty());
    EXPECT_EQ(TrimToPoints<T>(open, {0, 1}, {1, 0}, T(1e-5)).tolerance, open.tolerance);
}

TYPED_TEST(ChainBreaking, TrimOnOneSegmentMayRunBackwards)
{
    using T = TypeParam;
    EXPECT_EQ(TrimToPoints<T>(Square<T>(), {T(1.5), 0}, {T(0.5), 0}, T(1e-5)),
              Lines<T>({{T(1.5), 0}, {T(0.5), 0}}));
}

TYPED_TEST(ChainBreaking, TrimFromACornerBeginsWithASegmentOfNoLength)
{
    using T = TypeParam;
    const auto part = TrimToPoints<T>(Square<T>(), {2, 0}, {2, 1}, T(1e-5));
    ASSERT_EQ(part.elements.size(), 2U);
    EXPECT_EQ(part.elements[0].Length(), T{0});
    EXPECT_EQ(part.elements[1].EndPoint(), (VecBase<2, T>(2, 1)));
}

TYPED_TEST(ChainBreaking, TrimOnOneArcNeedsBothPointsInsideIt)
{
    using T = TypeParam;
    PolyArcSegBase<T> arc;
    arc.AppendArc({0, 0}, {5, 0}, static_cast<T>(5 * kHalfTurn));
    const VecBase<2, T> first(4, 3);
    const VecBase<2, T> second(-3, 4);
    const T tol = T(1e-4);
    const auto part = TrimToPoints(arc, first, second, tol);
    ASSERT_EQ(part.elements.size(), 1U);
    EXPECT_NEAR(part.elements[0].EndPoint()[0], -3, 1e-5);
    // Behind each other: to the arc's end.
    const auto toEnd = TrimToPoints(arc, second, first, tol);
    ASSERT_EQ(toEnd.elements.size(), 1U);
    EXPECT_NEAR(toEnd.elements[0].EndPoint()[0], -5, 1e-5);
    EXPECT_TRUE(TrimToPoints<T>(arc, {5, 0}, second, tol).elements.empty());
    EXPECT_TRUE(TrimToPoints<T>(arc, first, {-5, 0}, tol).elements.empty());
    // The tolerance finds the element; the piece has to match far better.
    EXPECT_TRUE(TrimToPoints<T>(arc, {T(4.00005), 3}, second, tol).elements.empty());
}

// A full circle is one arc: from point to point inside it, and to its end for points the other way
// round. Of two half circles the part may run over the seam.
TYPED_TEST(ChainBreaking, TrimOfCircles)
{
    using T = TypeParam;
    const T tol = T(1e-4);
    const auto whole = Circle<T>(5, 1);
    const auto turnOf = [](const PolyArcSegBase<T>& part) {
        return static_cast<double>(PolyArcSegParameters(part, false).back()) / (10 * kHalfTurn);
    };
    const double third = std::atan2(4, 3) / (2 * kHalfTurn);
    EXPECT_NEAR(turnOf(TrimToPoints<T>(whole, {3, 4}, {-3, -4}, tol)), 0.5, 1e-6);
    EXPECT_NEAR(turnOf(TrimToPoints<T>(whole, {-3, -4}, {3, 4}, tol)), 0.5 - third, 1e-6);
    const auto halves = TwoHalfCircles<T>({5, 0});
    EXPECT_NEAR(turnOf(TrimToPoints<T>(halves, {3, 4}, {-3, -4}, tol)), 0.5, 1e-6);
    EXPECT_NEAR(turnOf(TrimToPoints<T>(halves, {-3, -4}, {3, 4}, tol)), 0.5, 1e-6);
}

TYPED_TEST(ChainBreaking, TrimCutsArcsAtBothEnds)
{
    using T = TypeParam;
    PolyArcSegBase<T> chain;
    chain.tolerance = T(1e-5);
    const T quarter = static_cast<T>(2.5 * kHalfTurn);
    chain.AppendArc({0, 0}, {5, 0}, quarter);
    chain.AppendArc({0, 10}, {0, 5}, -quarter);
    chain.AppendSegment({-5, 10}, {-5, 20});
    const auto part = TrimToPoints<T>(chain, {4, 3}, {-4, 7}, T(1e-4));
    ASSERT_EQ(part.elements.size(), 2U);
    EXPECT_NEAR(part.elements[0].StartPoint()[0], 4, kNear<T>);
    EXPECT_NEAR(part.elements[0].StartPoint()[1], 3, kNear<T>);
    EXPECT_NEAR(part.elements[1].EndPoint()[0], -4, 1e-5);
    EXPECT_EQ(TrimToPoints<T>(chain, {4, 3}, {-5, 15}, T(1e-4)).elements.size(), 3U);
    EXPECT_EQ(TrimToPoints<T>(chain, {5, 0}, {-5, 15}, T(1e-4)).elements.size(), 3U);
}

TEST(ChainBreakingFar, TrimmedArcsJoinFarFromTheOriginToo)
{
    for (const double far : {1e5, 1e6}) {
        PolyArcSegBase<double> chain;
        chain.tolerance = 1e-9;
        chain.AppendArc({far, far}, {far + 5, far}, 2.5 * kHalfTurn);
        const Vec2d top = chain.elements[0].EndPoint();
        chain.AppendSegment(top, {far, far + 20});
        chain.tolerance = 1e-12;
        const auto part = TrimToPoints<double>(chain, {far + 4, far + 3}, {far, far + 10}, 1e-6);
        EXPECT_EQ(part.elements.size(), 2U) << far;
    }
}

// Points of the chain itself are on it at any tolerance, and the part between them is as long as it
// should be.
TYPED_TEST(ChainBreaking, TrimFindsComputedPointsWhateverTheTolerance)
{
    using T = TypeParam;
    const double near = std::is_same_v<T, float> ? 1e-3 : 1e-8;
    Random random(14);
    for (const T far : Positions<T>()) {
        for (const T tol : {T(0), T(1e-12), kNaN<T>}) {
            for (int trial = 0; trial < 30; ++trial) {
                const auto chain = Moved(RandomOutline<T>(random, 1), {far, -far});
                const std::size_t count = chain.elements.size();
                const auto first = static_cast<std::size_t>(random.Below(static_cast<int>(count)));
                const std::size_t last =
                    (first + 1 + static_cast<std::size_t>(random.Below(3))) % count;
                const double from = random.Between(0.1, 0.9);
                const double to = random.Between(0.1, 0.9);
                double length = (to - 1) * LengthOf(chain.elements[last]) +
                                (1 - from) * LengthOf(chain.elements[first]);
                for (std::size_t i = first; i != last;) {
                    i = (i + 1) % count;
                    length += LengthOf(chain.elements[i]);
                }
                auto closed = chain;
                closed.tolerance = std::is_same_v<T, float> ? T(1e-3) : T(1e-8);
                const auto part =
                    TrimToPoints(closed, VecBase<2, T>(PointOf(chain.elements[first], from)),
                                 VecBase<2, T>(PointOf(chain.elements[last], to)), tol);
                double trimmed = 0;
                for (const auto& element : part.elements) {
                    trimmed += LengthOf(element);
                }
                EXPECT_NEAR(trimmed, length, near) << far << " " << tol;
            }
        }
    }
}

// --- memory -------------------------------------------------------------------------------------

TEST(ChainBreakingWithoutMemory, PassesTheExceptionOn)
{
    const auto circle = TwoHalfCircles<double>({2, 0});
    Random random(8);
    const auto chain = RandomChain<double>(random, 12);
    const double length = PolyArcSegParameters(chain, false).back();
    const std::vector<double> parameters{0.3 * length, 0.31 * length, 0.7 * length};
    WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult(
                      [&] { return BreakAtParams(chain, parameters, false, 1e-9); }),
                  5U);
        EXPECT_GT(FailEachAllocationOfResult([&] { return Split(chain, parameters, false, 1e-9); }),
                  8U);
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      return SplitAtTangent<double>(circle, {1, 0}, 1e-9);
                  }),
                  8U);
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      return SplitAtPoints<double>(circle, {{0, 2}, {0, -2}}, 1e-9);
                  }),
                  8U);
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      return TrimToPoints(chain, chain.elements[2].StartPoint(),
                                          chain.elements[6].StartPoint(), 1e-9);
                  }),
                  1U);
    });
}

} // namespace
