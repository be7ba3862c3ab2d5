// The nearest point of a segment, against exact fractions.

#include "mathbase/SegmentPoint_Impl.h"

#include "tests/support/TestSupport.h"

#include <boost/multiprecision/cpp_int.hpp>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

using namespace Velk::Math;
using namespace Velk::Math::Impl;

namespace {

using Fraction = boost::multiprecision::cpp_rational;

/// The exact nearest point, and its squared distance from `p`, without a rule for short segments.
template <int N, class T>
struct ExactNearest {
    std::array<Fraction, static_cast<std::size_t>(N)> point;
    Fraction squaredDistance = 0;

    ExactNearest(const VecBase<N, T>& a, const VecBase<N, T>& b, const VecBase<N, T>& p)
    {
        Fraction forth = 0;
        Fraction whole = 0;
        for (int i = 0; i < N; ++i) {
            forth += (Fraction(p[i]) - Fraction(a[i])) * (Fraction(b[i]) - Fraction(a[i]));
            whole += (Fraction(b[i]) - Fraction(a[i])) * (Fraction(b[i]) - Fraction(a[i]));
        }
        const Fraction share =
            forth <= 0 ? Fraction(0) : (forth >= whole ? Fraction(1) : Fraction(forth / whole));
        for (int i = 0; i < N; ++i) {
            Fraction& x = point[static_cast<std::size_t>(i)];
            x = Fraction(a[i]) + share * (Fraction(b[i]) - Fraction(a[i]));
            squaredDistance += (Fraction(p[i]) - x) * (Fraction(p[i]) - x);
        }
    }
};

template <int N, class T>
void ExpectBits(const VecBase<N, T>& is, const VecBase<N, T>& wanted)
{
    for (int i = 0; i < N; ++i) {
        EXPECT_EQ(is[i], wanted[i]);
        EXPECT_EQ(std::signbit(is[i]), std::signbit(wanted[i]));
    }
}

template <int D, class Scalar>
struct Form {
    static constexpr int kDimension = D;
    using T = Scalar;
};

template <class F>
class SegmentPoint : public testing::Test {
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(SegmentPoint, Forms);

} // namespace

TYPED_TEST(SegmentPoint, MatchesFractions)
{
    using T = typename TypeParam::T;
    constexpr int N = TypeParam::kDimension;
    Support::Random random(1);
    for (int trial = 0; trial < 1500; ++trial) {
        const double size = trial % 3 == 0 ? 1e6 : 1;
        const auto far = random.template Vector<N, T>(-size, size);
        const auto a = far + random.template Vector<N, T>(-1, 1);
        const auto b = far + random.template Vector<N, T>(-1, 1);
        const auto p = far + random.template Vector<N, T>(-2, 2);
        const ExactNearest<N, T> exact(a, b, p);
        const VecBase<N, T> nearest = NearestOnSegment(a, b, p, kPointsAreShort);
        // The result is rounded to T where it lies, all before it to double: the product of the two
        // differences and the squared length to N + 3 roundings each, so that the way along the
        // segment is off by twice that share of the distance to its farther end, and the way and
        // its component once more.
        const auto lengthOf = [](const VecBase<N, T>& to, const VecBase<N, T>& from) {
            return Vector::Length(VecBase<N, double>(to) - VecBase<N, double>(from));
        };
        const double off =
            (2 * N + 6) * std::max(lengthOf(p, a), lengthOf(p, b)) + 2 * lengthOf(b, a);
        for (int i = 0; i < N; ++i) {
            const double rounding =
                (std::numeric_limits<T>::epsilon() * std::fabs(static_cast<double>(nearest[i])) +
                 std::numeric_limits<double>::epsilon() * off) /
                2;
            const Fraction away = Fraction(nearest[i]) - exact.point[static_cast<std::size_t>(i)];
            ASSERT_LE(std::fabs(away.template convert_to<double>()), rounding) << trial;
        }
        const double squared = SquaredDistanceToSegment(a, b, p, kPointsAreShort);
        const double wide = size * 4 * std::numeric_limits<double>::epsilon();
        const double distance = std::sqrt(exact.squaredDistance.template convert_to<double>());
        ASSERT_NEAR(std::sqrt(squared), distance, 4 * wide) << trial;
    }
}

// A negative zero keeps its sign where the start stands for a short segment, too.
TYPED_TEST(SegmentPoint, AShortSegmentHasTheBitsOfItsStart)
{
    using T = typename TypeParam::T;
    constexpr int N = TypeParam::kDimension;
    VecBase<N, T> a;
    a[0] = T{-0.0F};
    a[1] = T{-0.0F};
    VecBase<N, T> b;
    b[1] = static_cast<T>(1e-13); // below both floors
    VecBase<N, T> p;
    p[1] = T{1};
    EXPECT_EQ(NearestParameter(a, b, p, kShortByFloor<T>), 0.0);
    ExpectBits(NearestOnSegment(a, b, p, kShortByFloor<T>), a);
    p[1] = std::numeric_limits<T>::quiet_NaN();
    EXPECT_TRUE(std::isnan(NearestOnSegment(a, b, p, kShortByFloor<T>)[1]));
}

// A fraction of the length that is added to the start misses the end by rounding in most cases.
TYPED_TEST(SegmentPoint, EndsHaveTheirOwnBits)
{
    using T = typename TypeParam::T;
    constexpr int N = TypeParam::kDimension;
    Support::Random random(2);
    int missed = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        auto a = random.template Vector<N, T>(-1e5, 1e5);
        auto b = random.template Vector<N, T>(-1e5, 1e5);
        if (trial % 10 == 0) {
            a[0] = T{-0.0F};
            b[1] = T{-0.0F};
        }
        const VecBase<N, T> beyondB = b + (b - a);
        const VecBase<N, T> beforeA = a - (b - a);
        missed += a + (b - a) * T{1} == b ? 0 : 1;
        EXPECT_EQ(NearestParameter(a, b, beyondB, kShortByFloor<T>), 1.0);
        EXPECT_EQ(NearestParameter(a, b, beforeA, kShortByFloor<T>), 0.0);
        ExpectBits(NearestOnSegment(a, b, beyondB, kShortByFloor<T>), b);
        ExpectBits(NearestOnSegment(a, b, beforeA, kShortByFloor<T>), a);
        ExpectBits(NearestOnSegment(a, b, a, kShortByFloor<T>), a);
        ExpectBits(PointOnSegment(a, b, 0.0), a);
        ExpectBits(PointOnSegment(a, b, 1.0), b);
        EXPECT_EQ(SquaredDistanceToSegment(a, b, b, kPointsAreShort), 0.0);
    }
    EXPECT_GT(missed, 200);
}

TYPED_TEST(SegmentPoint, ShortSegmentsAreTheirStartByTheGivenRule)
{
    using T = typename TypeParam::T;
    constexpr int N = TypeParam::kDimension;
    VecBase<N, T> a;
    VecBase<N, T> p;
    p[0] = T{1};
    p[1] = T{2};
    const auto end = [&](T length) {
        VecBase<N, T> b;
        b[0] = length;
        return b;
    };
    const T floor = kLengthFloor<T>;
    // At the floor and below it is the start, above it the end, which is nearer to p.
    ExpectBits(NearestOnSegment(a, end(floor / 2), p, kShortByFloor<T>), a);
    ExpectBits(NearestOnSegment(a, end(floor * 2), p, kShortByFloor<T>), end(floor * 2));
    ExpectBits(NearestOnSegment(a, end(floor / 2), p, kPointsAreShort), end(floor / 2));
    ExpectBits(NearestOnSegment(a, end(T{3}), p, ShorterThan(3.0)), a);
    EXPECT_EQ(NearestParameter(a, end(T{3}), p, ShorterThan(2.5)), 1.0 / 3.0);
    ExpectBits(NearestOnSegment(p, p, a, kPointsAreShort), p);
    EXPECT_EQ(SquaredDistanceToSegment(p, p, a, kPointsAreShort), 5.0);
}

TYPED_TEST(SegmentPoint, NaNStaysNaN)
{
    using T = typename TypeParam::T;
    constexpr int N = TypeParam::kDimension;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    VecBase<N, T> a;
    VecBase<N, T> b;
    VecBase<N, T> p;
    b[0] = T{1};
    for (int i = 0; i < N; ++i) {
        VecBase<N, T> bad;
        bad[i] = nan;
        EXPECT_TRUE(std::isnan(SquaredDistanceToSegment(a, b, bad, kShortByFloor<T>)));
        EXPECT_TRUE(std::isnan(SquaredDistanceToSegment(bad, b, p, kShortByFloor<T>)));
        EXPECT_TRUE(std::isnan(SquaredDistanceToSegment(a, bad, p, kShortByFloor<T>)));
    }
}

TYPED_TEST(SegmentPoint, LargestCoordinatesDoNotOverflow)
{
    using T = typename TypeParam::T;
    constexpr int N = TypeParam::kDimension;
    const T large = std::is_same_v<T, float> ? std::numeric_limits<T>::max()
                                             : static_cast<T>(kLargestCoordinate);
    VecBase<N, T> a;
    VecBase<N, T> b;
    VecBase<N, T> p;
    for (int i = 0; i < N; ++i) {
        a[i] = -large;
        b[i] = large;
    }
    EXPECT_EQ(NearestParameter(a, b, p, kShortByFloor<T>), 0.5);
    ExpectBits(NearestOnSegment(a, b, p, kShortByFloor<T>), VecBase<N, T>());
}
