// Where chains meet, and chains broken and split there.

#include <Sorvane/ChainBreaking_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Rounds.h"
#include "tests/support/ThreadLimit.h"

#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class ChainIntersections : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ChainIntersections, Coordinates);

/// Expects exactly these points, in any order.
template <class T>
void ExpectPoints(const std::vector<VecBase<2, T>>& points, const std::vector<Vec2d>& expected,
                  double near = 10 * kNear<T>)
{
    EXPECT_EQ(points.size(), expected.size());
    std::vector<Vec2d> wide;
    for (const auto& point : points) {
        wide.emplace_back(point[0], point[1]);
    }
    for (const Vec2d& point : expected) {
        EXPECT_LT(DistanceToPoints(point, wide), near) << point[0] << ", " << point[1];
    }
}

template <class T>
PolyArcSegBase<T> ArcChain(const VecBase<2, T>& center, const VecBase<2, T>& start, double length)
{
    PolyArcSegBase<T> chain;
    chain.tolerance = T(1e-5);
    chain.AppendArc(center, start, static_cast<T>(length));
    return chain;
}

TYPED_TEST(ChainIntersections, CrossingsOfSegmentsAndArcs)
{
    using T = TypeParam;
    const T tol = T(1e-5);
    ExpectPoints(IntersectionPoints(Lines<T>({{0, 0}, {4, 4}}), Lines<T>({{0, 4}, {4, 0}}), tol),
                 {{2, 2}});
    const auto circle = Circle<T>(5, 1);
    ExpectPoints(IntersectionPoints(circle, Lines<T>({{-9, 3}, {9, 3}}), tol), {{-4, 3}, {4, 3}});
    ExpectPoints(IntersectionPoints(circle, ArcChain<T>({6, 0}, {11, 0}, 10 * kHalfTurn), tol),
                 {{3, 4}, {3, -4}});
    ExpectPoints(IntersectionPoints(circle, Lines<T>({{-9, 5}, {9, 5}}), tol), {{0, 5}});
    ExpectPoints(IntersectionPoints(circle, Lines<T>({{7, 0}, {9, 3}}), tol), {});
}

TYPED_TEST(ChainIntersections, SharedEndsAndTouches)
{
    using T = TypeParam;
    const T tol = T(1e-5);
    ExpectPoints(IntersectionPoints(Lines<T>({{0, 0}, {4, 0}}), Lines<T>({{4, 0}, {5, 3}}), tol),
                 {{4, 0}});
    ExpectPoints(IntersectionPoints(Lines<T>({{0, 0}, {4, 0}}), Lines<T>({{1, 0}, {1, 3}}), tol),
                 {{1, 0}});
}

TYPED_TEST(ChainIntersections, EndsOfOverlaps)
{
    using T = TypeParam;
    const T tol = T(1e-5);
    ExpectPoints(IntersectionPoints(Lines<T>({{0, 0}, {4, 0}}), Lines<T>({{6, 0}, {1, 0}}), tol),
                 {{4, 0}, {1, 0}});
    const double quarter = 2.5 * kHalfTurn;
    ExpectPoints(IntersectionPoints(ArcChain<T>({0, 0}, {5, 0}, 2 * quarter),
                                    ArcChain<T>({0, 0}, {-3, 4}, 2 * quarter), tol),
                 {{-3, 4}, {-5, 0}});
    ExpectPoints(IntersectionPoints(ArcChain<T>({0, 0}, {5, 0}, 2 * quarter),
                                    ArcChain<T>({0, 0}, {-3, 4}, -quarter / 2), tol),
                 {{-3, 4},
                  {5 * std::cos(std::atan2(4, -3) - kHalfTurn / 4),
                   5 * std::sin(std::atan2(4, -3) - kHalfTurn / 4)}});
    // One within the other, and equal ones.
    ExpectPoints(IntersectionPoints(Lines<T>({{0, 0}, {9, 0}}), Lines<T>({{2, 0}, {3, 0}}), tol),
                 {{2, 0}, {3, 0}});
    ExpectPoints(IntersectionPoints(Lines<T>({{0, 0}, {9, 0}}), Lines<T>({{9, 0}, {0, 0}}), tol),
                 {{0, 0}, {9, 0}});
}

// Both chains are cut together.
TYPED_TEST(ChainIntersections, CrossingsOfAChainWithItselfAreAmongThem)
{
    using T = TypeParam;
    const auto loop = Lines<T>({{0, 0}, {4, 0}, {4, 4}, {2, 4}, {2, -4}});
    ExpectPoints(IntersectionPoints(loop, Lines<T>({{50, 50}, {51, 51}}), T(1e-5)), {{2, 0}});
}

// The derived end of a full circle misses its start by rounding, which is no crossing.
TYPED_TEST(ChainIntersections, StartOfACircleIsNone)
{
    using T = TypeParam;
    for (const double tol : {1e-4, 1e-7, 0.0}) {
        ExpectPoints(
            IntersectionPoints(Circle<T>(5, 1), Lines<T>({{-9, 3}, {9, 3}}), static_cast<T>(tol)),
            {{-4, 3}, {4, 3}});
        ExpectPoints(IntersectionPoints(Circle<T>(5, -1), Lines<T>({{-9, 30}, {9, 30}}),
                                        static_cast<T>(tol)),
                     {});
    }
}

// At the start of a full circle: a line through it, a tangent, an end; the circle itself.
TYPED_TEST(ChainIntersections, AtTheSeamOfACircle)
{
    using T = TypeParam;
    const T tol = T(1e-5);
    for (const int sense : {1, -1}) {
        const auto circle = Circle<T>(5, sense);
        ExpectPoints(IntersectionPoints(circle, Lines<T>({{0, 0}, {9, 0}}), tol), {{5, 0}});
        ExpectPoints(IntersectionPoints(circle, Lines<T>({{5, -9}, {5, 9}}), tol), {{5, 0}});
        ExpectPoints(IntersectionPoints(circle, Lines<T>({{0, 0}, {5, 0}}), tol), {{5, 0}});
        ExpectPoints(IntersectionPoints(circle, Circle<T>(5, 1), tol), {{5, 0}});
        ExpectPoints(
            IntersectionPoints(circle, ArcChain<T>({0, 0}, {0, 5}, sense * 10 * kHalfTurn), tol),
            {{5, 0}, {0, 5}});
    }
}

// Short of the other by more than rounding is no touch, however wide the tolerance.
TEST(ChainIntersectionsDouble, GapsAreNotClosed)
{
    const auto line = Lines<double>({{0, 0}, {9, 0}});
    ExpectPoints(IntersectionPoints(line, Lines<double>({{4, 1e-5}, {4, 3}}), 1e-3), {});
    ExpectPoints(IntersectionPoints(line, Lines<double>({{4, 1e-14}, {4, 3}}), 1e-3), {{4, 0}});
}

// The points of a wide tolerance are no two within it, in any of the lists they come from.
TYPED_TEST(ChainIntersections, NoTwoPointsMatch)
{
    using T = TypeParam;
    Random random(52);
    for (const T tol : {T(1e-2), T(0.2)}) {
        for (int trial = 0; trial < 20; ++trial) {
            const auto points =
                IntersectionPoints(RandomChain<T>(random, 9), RandomChain<T>(random, 9), tol);
            for (std::size_t i = 0; i < points.size(); ++i) {
                for (std::size_t j = 0; j < i; ++j) {
                    EXPECT_TRUE(std::fabs(points[i][0] - points[j][0]) > tol ||
                                std::fabs(points[i][1] - points[j][1]) > tol);
                }
            }
        }
    }
}

// Where a joint overshoots, the two elements cross a hair before their common end.
TEST(ChainIntersectionsDouble, JointsThatOvershootAreNone)
{
    PolyArcSegBase<double> chain;
    chain.tolerance = 1e-6;
    chain.elements.emplace_back(SegBase<double>{{0, 0}, {4 + 1e-8, 0}});
    chain.elements.emplace_back(SegBase<double>{{4, -1e-8}, {4, 5}});
    ExpectPoints(IntersectionPoints(chain, Lines<double>({{0, 9}, {9, 9}}), 1e-6), {});
    ExpectPoints(IntersectionPoints(chain, Lines<double>({{0, 3}, {9, 3}}), 1e-6), {{4, 3}});
}

TYPED_TEST(ChainIntersections, OfNothingAndOfWhatIsNotFinite)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    EXPECT_TRUE(IntersectionPoints(PolyArcSegBase<T>(), PolyArcSegBase<T>(), T(1e-5)).empty());
    EXPECT_TRUE(IntersectionPoints(Square<T>(), PolyArcSegBase<T>(), T(1e-5)).empty());
    auto broken = Lines<T>({{-1, 1}, {3, 1}});
    broken.elements.emplace_back(SegBase<T>{{nan, 1}, {3, inf}});
    broken.elements.emplace_back(ArcBase<T>{{1, 1}, {1, 2}, nan});
    broken.elements.emplace_back(ArcBase<T>{{1, 1}, {1, 1}, 3});
    for (const T tol : {T(1e-5), T(0), T(-1), nan}) {
        EXPECT_GE(IntersectionPoints(Square<T>(), broken, tol).size(), 2U) << tol;
    }
}

// What is not finite stands before elements that are cut, and takes none of their pieces.
TYPED_TEST(ChainIntersections, WhatIsNotFiniteHidesNothingBehindIt)
{
    using T = TypeParam;
    for (const T wrong :
         {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity()}) {
        PolyArcSegBase<T> a;
        a.elements.emplace_back(ArcBase<T>{{1, 1}, {1, 2}, wrong});
        a.elements.emplace_back(SegBase<T>{{1, 1}, {1, wrong}});
        a.elements.push_back(Circle<T>(5, 1).elements[0]);
        a.elements.emplace_back(ArcBase<T>{{1, 1}, {1, 2}, -wrong});
        const auto b = ArcChain<T>({6, 0}, {11, 0}, 10 * kHalfTurn);
        ExpectPoints(IntersectionPoints(a, b, T(1e-5)), {{3, 4}, {3, -4}});
        ExpectPoints(IntersectionPoints(b, a, T(1e-5)), {{3, 4}, {3, -4}});
    }
}

// Every call comes back whatever the numbers are, with chains that hold something and, of loose
// elements, nothing that isn't finite.
TYPED_TEST(ChainIntersections, AnyNumbersAtAll)
{
    using T = TypeParam;
    using Limits = std::numeric_limits<T>;
    const T odd[] = {T(0),
                     T(1e-12),
                     T(1e-30),
                     T(1e18),
                     Limits::max(),
                     T(0.1),
                     T(-1),
                     Limits::infinity(),
                     Limits::quiet_NaN(),
                     Limits::denorm_min()};
    Random random(53);
    const auto number = [&] {
        return random.Below(3) > 0 ? static_cast<T>(random.Between(-2, 2)) : odd[random.Below(10)];
    };
    const auto point = [&] {
        const T x = number();
        return VecBase<2, T>(x, number());
    };
    const auto chain = [&] {
        PolyArcSegBase<T> result;
        result.tolerance = odd[random.Below(10)];
        for (int i = random.Below(6); i > 0; --i) {
            const auto first = point();
            const auto second = point();
            if (random.Below(2) == 0) {
                result.elements.emplace_back(SegBase<T>{first, second});
            } else {
                result.elements.emplace_back(ArcBase<T>{first, second, 3 * number()});
            }
        }
        return result;
    };
    for (int trial = 0; trial < 1500; ++trial) {
        auto a = chain();
        auto b = chain();
        const T tol = odd[random.Below(10)];
        const std::vector<T> places{number(), number()};
        const std::vector<VecBase<2, T>> points{point(), point()};
        const bool normalized = random.Below(2) == 0;
        EXPECT_GE(BreakAtParams(a, places, normalized, tol).elements.size(), a.elements.size());
        EXPECT_GE(BreakAtPoints(a, points, tol).elements.size(), a.elements.size());
        const std::size_t least = a.elements.empty() ? 0 : 1;
        for (const auto& parts : {Split(a, places, normalized, tol), SplitAtPoints(a, points, tol),
                                  SplitAtTangent(a, points[0], tol)}) {
            for (const auto& part : parts) {
                EXPECT_GE(part.elements.size(), least);
            }
        }
        const auto trimmed = TrimToPoints(a, points[0], points[1], tol);
        EXPECT_LE(trimmed.elements.size(), a.elements.size() + 1);
        for (const auto& joined : CombineArcsSegs(a.elements, tol)) {
            EXPECT_GE(joined.tolerance, T(0));
            for (const auto& element : joined.elements) {
                EXPECT_TRUE(std::isfinite(element.EndPoint()[0]) &&
                            std::isfinite(element.EndPoint()[1]));
            }
        }
        std::vector<PolyArcSegBase<T>> ofA;
        std::vector<PolyArcSegBase<T>> ofB;
        std::vector<VecBase<2, T>> meetings;
        const bool isSplit = SplitAtIntersections(a, b, ofA, ofB, tol);
        EXPECT_EQ(BreakAtIntersections(a, b, meetings, tol), isSplit);
        EXPECT_EQ(meetings.empty(), !isSplit);
        EXPECT_EQ(ofA.empty(), !isSplit);
    }
}

TYPED_TEST(ChainIntersections, BreakGivesBothChainsTheJoints)
{
    using T = TypeParam;
    auto a = Circle<T>(5, 1);
    auto b = Lines<T>({{-9, 3}, {9, 3}});
    std::vector<VecBase<2, T>> points{{7, 7}};
    ASSERT_TRUE(BreakAtIntersections(a, b, points, T(1e-5)));
    EXPECT_EQ(points.size(), 2U);
    EXPECT_EQ(a.elements.size(), 3U);
    EXPECT_EQ(b.elements.size(), 3U);

    auto far = Lines<T>({{50, 50}, {51, 51}});
    const auto before = b;
    EXPECT_FALSE(BreakAtIntersections(b, far, points, T(1e-5)));
    EXPECT_TRUE(points.empty());
    EXPECT_EQ(b, before);
}

TYPED_TEST(ChainIntersections, SplitGivesThePiecesOfBoth)
{
    using T = TypeParam;
    const auto a = Circle<T>(5, 1);
    const auto b = Lines<T>({{-9, 3}, {9, 3}});
    std::vector<PolyArcSegBase<T>> ofA(4);
    std::vector<PolyArcSegBase<T>> ofB(4);
    ASSERT_TRUE(SplitAtIntersections(a, b, ofA, ofB, T(1e-5)));
    EXPECT_EQ(ofA.size(), 3U);
    EXPECT_EQ(ofB.size(), 3U);
    EXPECT_FALSE(SplitAtIntersections(a, Lines<T>({{50, 50}, {51, 51}}), ofA, ofB, T(1e-5)));
    EXPECT_TRUE(ofA.empty());
    EXPECT_TRUE(ofB.empty());
}

// Two meetings that are no one point, and still one place on a slanted line: (0, 0) on it, and one
// beside it, further off than the tolerance in y.
TYPED_TEST(ChainIntersections, MeetingsSideBySideDoNotKeepAChainWhole)
{
    using T = TypeParam;
    const T tol = T(0.01);
    const VecBase<2, T> beside(T(-0.0071), T(0.0113));
    const auto along = VecBase<2, T>(1, 1);
    auto a = Lines<T>({{-5, -5}, {5, 5}});
    auto b =
        Lines<T>({beside * T(300), beside * T(-300), beside - along * T(4), beside + along * T(4)});
    std::vector<PolyArcSegBase<T>> ofA;
    std::vector<PolyArcSegBase<T>> ofB;
    ASSERT_TRUE(SplitAtIntersections(a, b, ofA, ofB, tol));
    std::vector<VecBase<2, T>> points;
    ASSERT_TRUE(BreakAtIntersections(a, b, points, tol));
    EXPECT_EQ(points.size(), 3U); // the third where b comes back over a
    EXPECT_EQ(a.elements.size(), 3U);
    EXPECT_EQ(ofA.size(), 3U);
    EXPECT_EQ(b.elements.size(), 6U); // the second pass of `beside` gets no joint
    EXPECT_EQ(ofB.size(), 4U);
}

// Every meeting of chains that nearly run along each other becomes a joint of both.
TYPED_TEST(ChainIntersections, NearlyEqualChainsAreBrokenWhereTheyMeet)
{
    using T = TypeParam;
    const T tol = T(1e-3);
    Random random(51);
    for (int trial = 0; trial < 60; ++trial) {
        const auto a = RandomChain<T>(random, 6);
        const auto b = Moved(a, random.Vector<2, T>(-3 * tol, 3 * tol));
        auto brokenA = a;
        auto brokenB = b;
        std::vector<VecBase<2, T>> points;
        BreakAtIntersections(brokenA, brokenB, points, tol);
        for (const auto& point : points) {
            const Vec2d wide(point[0], point[1]);
            for (const auto& [whole, broken] : {std::pair(a, brokenA), std::pair(b, brokenB)}) {
                const auto nearest = ClosestPointOnPolyArcSeg(whole, point);
                if (std::fabs(nearest[0] - point[0]) > T(0.99) * tol ||
                    std::fabs(nearest[1] - point[1]) > T(0.99) * tol) {
                    continue; // where the other chain crosses itself
                }
                std::vector<Vec2d> joints;
                for (const auto& element : broken.elements) {
                    joints.push_back(PointOf(element, 0));
                    joints.push_back(PointOf(element, 1));
                }
                EXPECT_LT(DistanceToPoints(wide, joints), 3 * static_cast<double>(tol));
            }
        }
    }
}

TYPED_TEST(ChainIntersections, AStrayElementDoesNotCoarsenTheOthers)
{
    using T = TypeParam;
    auto line = Lines<T>({{-9, 3}, {0, 3}, {9, 3}});
    line.elements.emplace_back(SegBase<T>{{T(1e18), 0}, {T(1e18), T(1e15)}});
    ExpectPoints(IntersectionPoints(Circle<T>(5, 1), line, T(1e-5)), {{-4, 3}, {4, 3}}, 1e-4);
}

/// Points in which polylines close by cross, found pair by pair.
std::vector<Vec2d> CrossingsOfPolylines(const std::vector<Vec2d>& a, const std::vector<Vec2d>& b)
{
    std::vector<Vec2d> points;
    for (std::size_t i = 1; i < a.size(); ++i) {
        for (std::size_t j = 1; j < b.size(); ++j) {
            const Vec2d p = a[i - 1];
            const Vec2d r = a[i] - p;
            const Vec2d q = b[j - 1];
            const Vec2d s = b[j] - q;
            const double cross = r ^ s;
            const double t = ((q - p) ^ s) / cross;
            const double u = ((q - p) ^ r) / cross;
            if (t >= 0 && t <= 1 && u >= 0 && u <= 1) {
                points.push_back(p + r * t);
            }
        }
    }
    return points;
}

TYPED_TEST(ChainIntersections, AreThoseOfFinePolylines)
{
    using T = TypeParam;
    Random random(41);
    for (int trial = 0; trial < Support::Rounds(12); ++trial) {
        const auto a = RandomOutline<T>(random, 1);
        const auto b = RandomOutline<T>(random, -1);
        std::vector<Vec2d> points;
        for (const auto& point : IntersectionPoints(a, b, T(1e-5))) {
            points.emplace_back(point[0], point[1]);
        }
        const auto expected = CrossingsOfPolylines(Samples(a, 0.01), Samples(b, 0.01));
        for (const Vec2d& point : expected) {
            EXPECT_LT(DistanceToPoints(point, points), 2e-2);
        }
        for (const Vec2d& point : points) {
            EXPECT_LT(DistanceToPoints(point, expected), 2e-2);
        }
        auto brokenA = a;
        auto brokenB = b;
        std::vector<VecBase<2, T>> joints;
        if (BreakAtIntersections(brokenA, brokenB, joints, T(1e-5))) {
            EXPECT_EQ(brokenA.elements.size(), a.elements.size() + joints.size());
            EXPECT_EQ(brokenB.elements.size(), b.elements.size() + joints.size());
        }
    }
}

TEST(ChainIntersectionsDouble, SameNearAndFarSmallAndLarge)
{
    for (const double far : {0.0, 1e5, 1e6}) {
        for (const double size : {1e-3, 1.0, 1e3}) {
            PolyArcSegBase<double> a;
            a.tolerance = 1e-9;
            const Vec2d o(far, far);
            a.AppendArc(o, o + Vec2d(5, 0) * size, 10 * kHalfTurn * size);
            PolyArcSegBase<double> b;
            b.AppendSegment(o + Vec2d(-9, 3) * size, o + Vec2d(9, 3) * size);
            std::vector<Vec2d> points;
            ASSERT_TRUE(BreakAtIntersections(a, b, points, 1e-12));
            EXPECT_EQ(points.size(), 2U) << far << " " << size;
            EXPECT_EQ(a.elements.size(), 3U) << far << " " << size;
            EXPECT_EQ(b.elements.size(), 3U) << far << " " << size;
        }
    }
}

// Ends that ought to be one point, computed in two ways.
TEST(ChainIntersectionsDouble, SharedEndsAnywhereAtAnyTolerance)
{
    for (const double far : {0.0, 1e5, 1e6}) {
        for (const double tol : {0.0, 1e-12, 1e-9}) {
            for (int i = 1; i < 40; ++i) {
                const double angle = 0.1 * i;
                PolyArcSegBase<double> a;
                a.AppendArc({far, -far}, {far + 3, -far}, 3 * angle);
                const Vec2d spoke(std::cos(angle), std::sin(angle));
                const auto b =
                    Lines<double>({Vec2d(far, -far) + spoke * 3, Vec2d(far, -far) + spoke * 5});
                EXPECT_EQ(IntersectionPoints(a, b, tol).size(), 1U) << far << " " << angle;
            }
        }
    }
}

TEST(ChainIntersectionsDouble, LargeChainsOfEveryArrangement)
{
    constexpr int kCount = 20'000;
    std::vector<Vec2d> teeth;
    std::vector<Vec2d> row;
    for (int i = 0; i <= kCount; ++i) {
        teeth.push_back({i * 0.5, i % 2 == 0 ? -1.0 : 1.0});
        row.push_back({i * 0.3, 0.0});
    }
    // One crossing each 0.5 from 0.25 on, up to 6000.
    EXPECT_EQ(IntersectionPoints(Lines(teeth), Lines(row), 1e-9).size(), 12'000U);
    EXPECT_EQ(IntersectionPoints(Lines(row), Lines(row), 1e-9).size(), row.size());
    PolyArcSegBase<double> hub;
    for (int i = 0; i < kCount; ++i) {
        const double angle = kHalfTurn * i / kCount;
        hub.elements.emplace_back(SegBase<double>{{0, 0}, {std::cos(angle), std::sin(angle)}});
    }
    EXPECT_EQ(IntersectionPoints(hub, hub, 1e-9).size(), static_cast<std::size_t>(kCount + 1));
}

// Each element is the last one shifted by 1. Every end but the first and the last lies in another
// element. Cut at all of them the elements would be 400 million pieces.
TYPED_TEST(ChainIntersections, ManyElementsThatOverlapOnOneLine)
{
    using T = TypeParam;
    constexpr int kCount = 20'000;
    for (const Vec2d& along : {Vec2d(1, 0), Vec2d(0, -1), Vec2d(2, 1)}) {
        PolyArcSegBase<T> a;
        PolyArcSegBase<T> b;
        std::vector<VecBase<2, T>> expected;
        for (int i = 0; i < kCount; ++i) {
            const VecBase<2, T> first(along * i);
            const VecBase<2, T> last(along * (i + kCount));
            PolyArcSegBase<T>& chain = i % 2 == 0 ? a : b;
            chain.elements.emplace_back(i % 3 == 0 ? SegBase<T>{first, last}
                                                   : SegBase<T>{last, first});
        }
        for (int i = 1; i < 2 * kCount - 1; ++i) {
            expected.emplace_back(along * i);
        }
        Vector::FilterForUniqueness(expected, T{0}); // sorts them
        EXPECT_EQ(IntersectionPoints(a, b, T(1e-3)), expected);
    }
}

// Of points that match, which one is kept depends on their order: as if the elements were cut one
// after the other. The tolerance is wider than the ends are apart here, and a cut within it of an
// element's own end is none: the element from i to i + 40 has cuts from i + 4 to i + 36.
TEST(ChainIntersectionsDouble, NearEndsOnOneLineAreOnePoint)
{
    PolyArcSegBase<double> upward;
    PolyArcSegBase<double> downward;
    for (int i = 0; i < 40; ++i) {
        upward.elements.emplace_back(SegBase<double>{{1.0 * i, 0}, {1.0 * i + 40, 0}});
        downward.elements.emplace_back(SegBase<double>{{79.0 - i, 0}, {39.0 - i, 0}});
    }
    // Found are 4 to 36 by the first element, then 37, and so on to 75.
    std::vector<Vec2d> everyFourth;
    for (int x = 4; x <= 72; x += 4) {
        everyFourth.emplace_back(x, 0.0);
    }
    EXPECT_EQ(IntersectionPoints(upward, PolyArcSegBase<double>{}, 3.5), everyFourth);
    // Found are 75 down to 43 by the first element, then 42, and so on to 4.
    everyFourth.clear();
    for (int x = 7; x <= 75; x += 4) {
        everyFourth.emplace_back(x, 0.0);
    }
    EXPECT_EQ(IntersectionPoints(downward, PolyArcSegBase<double>{}, 3.5), everyFourth);
}

TEST(ChainIntersectionsDouble, SameForAnyNumberOfThreads)
{
    Random random(6);
    const auto a = RandomChain<double>(random, 900);
    const auto b = RandomChain<double>(random, 900);
    std::vector<Vec2d> one;
    std::vector<Vec2d> two;
    WithThreads(1, [&] { one = IntersectionPoints(a, b, 1e-9); });
    WithThreads(2, [&] { two = IntersectionPoints(a, b, 1e-9); });
    EXPECT_EQ(one, two);
}

TEST(ChainIntersectionsDouble, WithoutMemoryBothListsAreEmpty)
{
    struct Lists {
        std::vector<PolyArcSegBase<double>> a{3};
        std::vector<PolyArcSegBase<double>> b{3};
    };
    const auto circle = Circle<double>(5, 1);
    const auto line = Lines<double>({{-9, 3}, {9, 3}});
    WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfEither([] { return Lists(); },
                                             [&](Lists& lists) {
                                                 SplitAtIntersections(circle, line, lists.a,
                                                                      lists.b, 1e-9);
                                             },
                                             [](const Lists& lists, bool hasThrown) {
                                                 EXPECT_EQ(lists.a.size(), hasThrown ? 0U : 3U);
                                                 EXPECT_EQ(lists.b.size(), hasThrown ? 0U : 3U);
                                             }),
                  10U);
    });
}

TEST(ChainIntersectionsDouble, WithoutMemoryBothChainsStayAsTheyWere)
{
    struct Chains {
        PolyArcSegBase<double> a = Circle<double>(5, 1);
        PolyArcSegBase<double> b = Lines<double>({{-9, 3}, {9, 3}});
        std::vector<Vec2d> points;
    };
    const Chains before;
    WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfEither(
                      [] { return Chains(); },
                      [](Chains& c) { BreakAtIntersections(c.a, c.b, c.points, 1e-9); },
                      [&](const Chains& c, bool hasThrown) {
                          // Some allocation can be done without; then all is as ever.
                          EXPECT_EQ(c.a.elements.size(), hasThrown ? 1U : 3U);
                          EXPECT_EQ(c.b.elements.size(), hasThrown ? 1U : 3U);
                          EXPECT_EQ(hasThrown, c.a == before.a);
                      }),
                  10U);
    });
}

} // namespace
