// Splitting, parallel elements and comparison of segments and arcs.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Geometry;
using Vector::Length;

template <class T>
class ElementOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ElementOf, Scalars);

// Plain values, and the order of their fields.
static_assert(std::is_trivially_copyable_v<SegBase<float>> &&
              std::is_trivially_copyable_v<ArcBase<float>>);
static_assert(sizeof(SegBase<float>) == 4 * sizeof(float));
static_assert(sizeof(ArcBase<double>) == 5 * sizeof(double));
static_assert(offsetof(SegBase<double>, start) == 0);
static_assert(offsetof(SegBase<double>, end) == 2 * sizeof(double));
static_assert(offsetof(ArcBase<double>, center) == 0);
static_assert(offsetof(ArcBase<double>, start) == 2 * sizeof(double));
static_assert(offsetof(ArcBase<double>, length) == 4 * sizeof(double));
static_assert(SegBase<float>{} == SegBase<float>{{0, 0}, {0, 0}});
static_assert(ArcBase<double>{} == ArcBase<double>{{0, 0}, {0, 0}, 0});

template <class T>
constexpr T kEps = std::numeric_limits<T>::epsilon();
template <class T>
constexpr T kNan = std::numeric_limits<T>::quiet_NaN();
template <class T>
constexpr T kInf = std::numeric_limits<T>::infinity();

template <class T>
ArcBase<T> RandomArc(Support::Random& random)
{
    const double angle = random.Between(0, 7);
    const double radius = std::pow(10.0, random.Between(-1, 2));
    const Vec2d center = random.Vector<2, double>(-100, 100);
    const Vec2d start = center + radius * Vec2d{std::cos(angle), std::sin(angle)};
    return {VecBase<2, T>(center.x(), center.y()), VecBase<2, T>(start.x(), start.y()),
            static_cast<T>(radius * random.Between(-6.28, 6.28))};
}

/// Epsilon times the largest number that the arc's points are made of.
template <class T>
T Unit(const ArcBase<T>& arc)
{
    return kEps<T> * (std::max(std::abs(arc.center.x()), std::abs(arc.center.y())) + Radius(arc));
}

// --- Split
// ----------------------------------------------------------------------------------------

TYPED_TEST(ElementOf, SplitSegmentByLengthAndByFraction)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const SegBase<T> segment{{1, 1}, {7, 9}}; // length 10, direction (0.6, 0.8)
    for (const auto& pieces : {Split(segment, T{5}, false, kLengthFloor<T>),
                               Split(segment, T(0.5), true, kLengthFloor<T>)}) {
        ASSERT_EQ(pieces.size(), 2U);
        EXPECT_EQ(pieces[0], (SegBase<T>{{1, 1}, {4, 5}}));
        EXPECT_EQ(pieces[1], (SegBase<T>{{4, 5}, {7, 9}}));
    }
    const auto quarter = Split(segment, T(2.5), false, kLengthFloor<T>);
    EXPECT_EQ(quarter[0].end, (P{2.5, 3}));
}

TYPED_TEST(ElementOf, SplitAtAnEndWithinToleranceGivesOneElement)
{
    using T = TypeParam;
    const SegBase<T> segment{{0, 0}, {8, 0}};
    const ArcBase<T> arc{{}, {1, 0}, T{-4}};
    const T tolerance{0.25};
    for (const T place : {T{0}, T(0.25), T(-0.1)}) {
        EXPECT_EQ(Split(segment, place, false, tolerance), (std::vector{segment})) << place;
        EXPECT_EQ(Split(segment, 8 - place, false, tolerance), (std::vector{segment})) << place;
        EXPECT_EQ(Split(arc, place, false, tolerance), (std::vector{arc})) << place;
        EXPECT_EQ(Split(arc, 4 - place, false, tolerance), (std::vector{arc})) << place;
        EXPECT_EQ(Split(arc, 1 - place / 4, true, tolerance), (std::vector{arc})) << place;
    }
    // The tolerance is a length in both ways of counting.
    EXPECT_EQ(Split(segment, T(0.03125), true, tolerance).size(), 1U); // 0.25 along
    EXPECT_EQ(Split(segment, T(0.04), true, tolerance).size(), 2U);
    const T justInside = std::nextafter(tolerance, T{1});
    EXPECT_EQ(Split(segment, justInside, false, tolerance).size(), 2U);
    EXPECT_EQ(Split(arc, justInside, false, tolerance).size(), 2U);
}

TYPED_TEST(ElementOf, SplitBeyondAnEndOrNowhereGivesOneElement)
{
    using T = TypeParam;
    const SegBase<T> segment{{0, 0}, {8, 0}};
    const ArcBase<T> arc{{}, {1, 0}, T{4}};
    for (const T place : {T{-1}, T{9}, kNan<T>, kInf<T>, -kInf<T>, std::numeric_limits<T>::max()}) {
        for (const bool normalized : {false, true}) {
            EXPECT_EQ(Split(segment, place, normalized, kLengthFloor<T>).size(), 1U) << place;
            EXPECT_EQ(Split(arc, place, normalized, kLengthFloor<T>).size(), 1U) << place;
            // No negative tolerance makes room beyond the ends.
            EXPECT_EQ(Split(segment, place, normalized, T{-100}).size(), 1U) << place;
            EXPECT_EQ(Split(arc, place, normalized, T{-100}).size(), 1U) << place;
        }
    }
    EXPECT_EQ(Split(segment, T{4}, false, kNan<T>).size(), 1U);
    EXPECT_EQ(Split(arc, T{2}, false, kNan<T>).size(), 1U);
    EXPECT_EQ(Split(SegBase<T>{{1, 1}, {1, 1}}, T(0.5), true, T{0}).size(), 1U);
    EXPECT_EQ(Split(ArcBase<T>{{}, {1, 0}, T{0}}, T(0.5), true, T{0}).size(), 1U);
    EXPECT_EQ(Split(ArcBase<T>{{}, {1, 0}, kInf<T>}, T{1}, false, T{0}).size(), 1U);
    EXPECT_EQ(Split(SegBase<T>{{0, 0}, {kInf<T>, 0}}, T{1}, false, T{0}).size(), 1U);
}

TYPED_TEST(ElementOf, SplitSegmentPiecesJoinUp)
{
    using T = TypeParam;
    Support::Random random(21);
    for (int i = 0; i < 2000; ++i) {
        const double offset = i % 2 == 0 ? 1 : 1e4;
        const SegBase<T> segment{random.Vector<2, T>(-offset, offset),
                                 random.Vector<2, T>(-offset, offset)};
        const auto fraction = static_cast<T>(random.Between(0.01, 0.99));
        const auto pieces = Split(segment, fraction, true, kLengthFloor<T>);
        ASSERT_EQ(pieces.size(), 2U);
        EXPECT_EQ(pieces[0].start, segment.start);
        EXPECT_EQ(pieces[0].end, pieces[1].start);
        EXPECT_EQ(pieces[1].end, segment.end);
        const T length = Length(segment.end - segment.start);
        const T unit = kEps<T> * static_cast<T>(offset);
        EXPECT_NEAR(Length(pieces[0].end - segment.start), fraction * length, 4 * unit);
        EXPECT_NEAR(Length(segment.end - pieces[1].start), (1 - fraction) * length, 4 * unit);
    }
}

TYPED_TEST(ElementOf, SplitArcHalfTurn)
{
    using T = TypeParam;
    const ArcBase<T> arc{{1, 1}, {3, 1}, -2 * kPi<T>}; // clockwise half turn on radius 2
    const auto pieces = Split(arc, kPi<T>, false, kLengthFloor<T>);
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_EQ(pieces[0].length, -kPi<T>);
    EXPECT_EQ(pieces[1].length, -kPi<T>);
    EXPECT_EQ(pieces[1].center, arc.center);
    EXPECT_TRUE(Matches(pieces[1].start, VecBase<2, T>{1, -1}, 8 * kEps<T>)) << pieces[1].start;
}

TYPED_TEST(ElementOf, SplitArcPiecesJoinUpAndTheirLengthsSumExactly)
{
    using T = TypeParam;
    Support::Random random(22);
    for (int i = 0; i < 5000; ++i) {
        SCOPED_TRACE(i);
        const auto arc = RandomArc<T>(random);
        const auto fraction = static_cast<T>(random.Between(0.0, 1.0));
        const bool normalized = i % 2 == 0;
        const T place = normalized ? fraction : fraction * std::abs(arc.length);
        const auto pieces = Split(arc, place, normalized, kLengthFloor<T>);
        if (pieces.size() == 1) {
            const T along = fraction * std::abs(arc.length);
            EXPECT_TRUE(along < 1e-7 || along > std::abs(arc.length) * T(0.9999));
            continue;
        }
        EXPECT_EQ(pieces[0].start, arc.start);
        EXPECT_EQ(pieces[1].start, EndPoint(pieces[0]));
        EXPECT_EQ(static_cast<long double>(pieces[0].length) + pieces[1].length,
                  static_cast<long double>(arc.length));
        EXPECT_NEAR(std::abs(pieces[0].length), fraction * std::abs(arc.length),
                    2 * kEps<T> * std::abs(arc.length));
        // The joint is rounded, and the rest of the sweep carries its offset on.
        EXPECT_TRUE(Matches(EndPoint(pieces[1]), EndPoint(arc), 10 * Unit(arc)))
            << EndPoint(pieces[1]) << EndPoint(arc);
    }
}

// --- Offset
// ---------------------------------------------------------------------------------------

TYPED_TEST(ElementOf, OffsetIsToTheRightOfTravel)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    SegBase<T> parallel;
    ASSERT_TRUE(Offset(SegBase<T>{{0, 0}, {7, 0}}, T{2}, parallel, kLengthFloor<T>));
    EXPECT_EQ(parallel, (SegBase<T>{{0, -2}, {7, -2}}));
    ASSERT_TRUE(Offset(SegBase<T>{{0, 0}, {0, -49}}, T(0.1), parallel, kLengthFloor<T>));
    EXPECT_EQ(parallel, (SegBase<T>{{-T(0.1), 0}, {-T(0.1), -49}}));
    ASSERT_TRUE(Offset(SegBase<T>{{1, 1}, {4, 5}}, T{-5}, parallel, kLengthFloor<T>));
    EXPECT_TRUE(Matches(parallel.start, P{-3, 4}, 16 * kEps<T>)) << parallel.start;
    EXPECT_TRUE(Matches(parallel.end, P{0, 8}, 16 * kEps<T>)) << parallel.end;

    // A counter-clockwise arc grows outward, a clockwise one shrinks; the sweep stays.
    ArcBase<T> arc;
    ASSERT_TRUE(Offset(ArcBase<T>{{1, 1}, {3, 1}, T{2}}, T{1}, arc, kLengthFloor<T>));
    EXPECT_EQ(arc, (ArcBase<T>{{1, 1}, {4, 1}, T{3}}));
    ASSERT_TRUE(Offset(ArcBase<T>{{1, 1}, {3, 1}, T{-2}}, T{1}, arc, kLengthFloor<T>));
    EXPECT_EQ(arc, (ArcBase<T>{{1, 1}, {2, 1}, T{-1}}));
    ASSERT_TRUE(Offset(ArcBase<T>{{1, 1}, {3, 1}, T{-2}}, T{-1}, arc, kLengthFloor<T>));
    EXPECT_EQ(arc, (ArcBase<T>{{1, 1}, {4, 1}, T{-3}}));
}

TYPED_TEST(ElementOf, OffsetOfACounterClockwiseOutlineGrows)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const P corner[] = {{0, 0}, {4, 0}, {4, 3}, {0, 3}};
    for (int i = 0; i < 4; ++i) {
        SegBase<T> side;
        ASSERT_TRUE(
            Offset(SegBase<T>{corner[i], corner[(i + 1) % 4]}, T{1}, side, kLengthFloor<T>));
        const P outward = side.start - corner[i];
        EXPECT_EQ(Length(outward), T{1});
        EXPECT_GT(outward * (corner[i] - P{2, 1.5}), T{0});
    }
}

TYPED_TEST(ElementOf, OffsetThatCollapsesGivesFalseAndResets)
{
    using T = TypeParam;
    ArcBase<T> arc{{9, 9}, {9, 9}, T{9}};
    const ArcBase<T> clockwise{{}, {2, 0}, T{-1}};
    for (const T distance :
         {T{2}, T{3}, T(1.75), kNan<T>, kInf<T>}) { // new radius 0.25 = tolerance
        arc.length = 9;
        EXPECT_FALSE(Offset(clockwise, distance, arc, T(0.25))) << distance;
        EXPECT_EQ(arc, ArcBase<T>{});
    }
    EXPECT_TRUE(Offset(clockwise, T(1.5), arc, T(0.25)));
    EXPECT_FALSE(Offset(ArcBase<T>{{}, {0.25, 0}, T{1}}, T{5}, arc, T(0.25)));
    EXPECT_FALSE(Offset(ArcBase<T>{{}, {kNan<T>, 0}, T{1}}, T{5}, arc, T(0.25)));
    EXPECT_FALSE(Offset(ArcBase<T>{{}, {}, T{1}}, T{5}, arc, T{-1}));

    SegBase<T> segment{{9, 9}, {9, 9}};
    EXPECT_FALSE(Offset(SegBase<T>{{0, 0}, {0.25, 0}}, T{1}, segment, T(0.25)));
    EXPECT_EQ(segment, SegBase<T>{});
    EXPECT_TRUE(Offset(SegBase<T>{{0, 0}, {0.5, 0}}, T{1}, segment, T(0.25)));
    EXPECT_FALSE(Offset(SegBase<T>{{1, 1}, {1, 1}}, T{1}, segment, T{-1}));
    EXPECT_FALSE(Offset(SegBase<T>{{1, kNan<T>}, {1, 1}}, T{1}, segment, T{0}));
    EXPECT_FALSE(Offset(SegBase<T>{{0, 0}, {1, 1}}, kNan<T>, segment, T{0}));
    EXPECT_EQ(segment, SegBase<T>{});
}

TYPED_TEST(ElementOf, OffsetMayWriteOverItsSource)
{
    using T = TypeParam;
    SegBase<T> segment{{0, 0}, {3, 0}};
    ASSERT_TRUE(Offset(segment, T{1}, segment, kLengthFloor<T>));
    EXPECT_EQ(segment, (SegBase<T>{{0, -1}, {3, -1}}));
    ArcBase<T> arc{{}, {1, 0}, T{1}};
    ASSERT_TRUE(Offset(arc, T{1}, arc, kLengthFloor<T>));
    EXPECT_EQ(arc, (ArcBase<T>{{}, {2, 0}, T{2}}));
}

TYPED_TEST(ElementOf, OffsetOfTangentElementsStaysJoined)
{
    using T = TypeParam;
    // A segment that runs into an arc without a corner: the parallels meet again.
    Support::Random random(23);
    for (int i = 0; i < 1000; ++i) {
        SCOPED_TRACE(i);
        const auto arc = RandomArc<T>(random);
        const auto radial = arc.start - arc.center;
        const auto travel =
            arc.length < 0 ? Vector::RightNormal(radial) : -Vector::RightNormal(radial);
        const SegBase<T> segment{arc.start - travel, arc.start};
        const T distance = Radius(arc) * static_cast<T>(random.Between(-0.9, 0.9));
        SegBase<T> parallel;
        ArcBase<T> around;
        ASSERT_TRUE(Offset(segment, distance, parallel, kLengthFloor<T>));
        ASSERT_TRUE(Offset(arc, distance, around, kLengthFloor<T>));
        EXPECT_TRUE(Matches(parallel.end, around.start, 16 * Unit(arc)))
            << parallel.end << around.start;
        // The end turns with the start, and the distance between the two arcs is the offset.
        const auto end = EndPoint(arc) - arc.center;
        const auto newEnd = EndPoint(around) - arc.center;
        EXPECT_NEAR((end ^ newEnd) / (Radius(arc) * Radius(around)), 0,
                    32 * Unit(arc) / std::min(Radius(arc), Radius(around)));
        EXPECT_NEAR(std::abs(Radius(arc) - Radius(around)), std::abs(distance), 8 * Unit(arc));
    }
}

// --- IsEqual
// --------------------------------------------------------------------------------------

TYPED_TEST(ElementOf, IsEqualOfSegmentsComparesEndsPerCoordinate)
{
    using T = TypeParam;
    const SegBase<T> segment{{0, 0}, {4, 3}};
    EXPECT_TRUE(IsEqual(segment, segment, T{0}));
    EXPECT_TRUE(IsEqual(segment, SegBase<T>{{0.5, -0.5}, {4.5, 3.5}}, T(0.5)));
    EXPECT_FALSE(IsEqual(segment, SegBase<T>{{0.75, 0}, {4, 3}}, T(0.5)));
    EXPECT_FALSE(IsEqual(segment, SegBase<T>{{0, 0}, {4, 3.75}}, T(0.5)));
    EXPECT_FALSE(IsEqual(segment, SegBase<T>{{4, 3}, {0, 0}}, T(0.5))); // the other way round
    EXPECT_FALSE(IsEqual(segment, SegBase<T>{{kNan<T>, 0}, {4, 3}}, T(0.5)));
    EXPECT_FALSE(IsEqual(segment, segment, kNan<T>));
}

TYPED_TEST(ElementOf, IsEqualOfArcsComparesCenterEndsAndLength)
{
    using T = TypeParam;
    const ArcBase<T> arc{{1, 1}, {5, 1}, T{6}};
    EXPECT_TRUE(IsEqual(arc, arc, T{0}));
    EXPECT_TRUE(IsEqual(arc, ArcBase<T>{{1, 1}, {5, 1}, T(6.0625)}, T(0.125)));
    EXPECT_FALSE(IsEqual(arc, ArcBase<T>{{1, 1}, {5, 1}, T(6.25)}, T(0.125)));
    EXPECT_FALSE(IsEqual(arc, ArcBase<T>{{1.5, 1}, {5, 1}, T{6}}, T(0.125)));
    EXPECT_FALSE(IsEqual(arc, ArcBase<T>{{1, 1}, {5.25, 1}, T{6}}, T(0.125)));
    EXPECT_FALSE(IsEqual(arc, ArcBase<T>{{1, 1}, {5, 1}, T{-6}}, T(0.125)));
    EXPECT_FALSE(IsEqual(arc, ArcBase<T>{{1, 1}, {5, 1}, kNan<T>}, T(0.125)));
    // Same ends, one turn apart.
    const ArcBase<T> turned{arc.center, arc.start, arc.length + 8 * kPi<T>};
    EXPECT_FALSE(IsEqual(arc, turned, T(0.125)));
    // The ends count by themselves: a smaller radius turns further over the same length.
    const ArcBase<T> tight{{0, 0}, {1, 0}, T{40}};
    EXPECT_FALSE(IsEqual(tight, ArcBase<T>{{0.0625, 0}, {1, 0}, T{40}}, T(0.125)));
}

// --- IsTangent
// ------------------------------------------------------------------------------------

TYPED_TEST(ElementOf, IsTangentNeedsJointDirectionAndFlatness)
{
    using T = TypeParam;
    const SegBase<T> a{{0, 0}, {4, 0}};
    EXPECT_TRUE(IsTangent(a, SegBase<T>{{4, 0}, {9, 0}}, T{0}));
    EXPECT_TRUE(IsTangent(a, SegBase<T>{{4.0625, -0.0625}, {9, 0}}, T(0.125))); // joint within it
    EXPECT_FALSE(IsTangent(a, SegBase<T>{{4.25, 0}, {9, 0}}, T(0.125)));        // a gap
    EXPECT_FALSE(IsTangent(SegBase<T>{{4, 0}, {9, 0}}, a, T(0.125)));           // order counts
    EXPECT_FALSE(IsTangent(a, SegBase<T>{{4, 0}, {1, 0}}, T(0.125)));           // turns back
    EXPECT_FALSE(IsTangent(a, SegBase<T>{{4, 0}, {4, 3}}, T{100}));             // a right angle
    EXPECT_FALSE(IsTangent(a, SegBase<T>{{4, 0}, {4, 0}}, T(0.125)));           // no direction
    EXPECT_FALSE(IsTangent(SegBase<T>{{4, 0}, {4, 0}}, a, T(0.125)));
    EXPECT_FALSE(IsTangent(a, SegBase<T>{{4, 0}, {kNan<T>, 0}}, T(0.125)));
    EXPECT_FALSE(IsTangent(a, SegBase<T>{{4, 0}, {9, 0}}, kNan<T>));
}

TYPED_TEST(ElementOf, IsTangentMeasuresTheJointFromTheCommonChord)
{
    using T = TypeParam;
    // Legs of 4 to either side of an apex h above the common chord.
    const T h{0.5};
    const SegBase<T> up{{-4, 0}, {0, h}};
    const SegBase<T> down{{0, h}, {4, 0}};
    EXPECT_TRUE(IsTangent(up, down, h));
    EXPECT_FALSE(IsTangent(up, down, h * T(0.99)));
}

} // namespace
