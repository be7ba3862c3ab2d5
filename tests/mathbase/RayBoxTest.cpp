// The line against boxes: nothing that the line meets is missed, however far from the origin of
// coordinates; what it clearly misses is not met; larger boxes keep what smaller ones have.

#include "mathbase/RayBox_Impl.h"

#include "tests/support/TestSupport.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using Support::Random;
using Velk::Math::Intersect::Impl::IsRayDirection;
using Velk::Math::Intersect::Impl::LineBoxTest;

template <int N, class Scalar>
struct Form {
    static constexpr int D = N;
    using T = Scalar;
};

template <class F>
class LineBoxes : public testing::Test {
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(LineBoxes, Forms);

/// Does the line come within the box, enlarged by `grown`? Slab by slab in `long double`.
template <int D, class T>
bool ComesWithin(const VecBase<D, T>& origin, const VecBase<D, T>& direction,
                 const VecBase<D, T>& min, const VecBase<D, T>& max, long double grown)
{
    long double enter = -std::numeric_limits<long double>::infinity();
    long double leave = std::numeric_limits<long double>::infinity();
    for (int i = 0; i < D; ++i) {
        const long double low = static_cast<long double>(min[i]) - grown - origin[i];
        const long double high = static_cast<long double>(max[i]) + grown - origin[i];
        if (direction[i] == 0) {
            if (low > 0 || high < 0) {
                return false;
            }
            continue;
        }
        const long double a = low / direction[i];
        const long double b = high / direction[i];
        enter = std::max(enter, std::min(a, b));
        leave = std::min(leave, std::max(a, b));
    }
    return enter <= leave;
}

/// Small boxes on a line and next to it, the whole up to 1e7 away from zero.
TYPED_TEST(LineBoxes, MeetWhatTheLineMeetsAndNotWhatIsBeside)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using Point = VecBase<D, T>;
    Random random(31);
    int met = 0;
    int missed = 0;
    for (int round = 0; round < 4000; ++round) {
        const double offset = round % 3 == 0 ? 0.0 : std::pow(10.0, random.Below(8));
        const double size = std::pow(10.0, random.Below(4) - 2);
        Point shift;
        for (int i = 0; i < D; ++i) {
            shift[i] = static_cast<T>(offset);
        }
        const Point wholeMin = shift + random.template Vector<D, T>(-size, 0);
        const Point wholeMax = wholeMin + random.template Vector<D, T>(0.1 * size, size);
        const Point origin = shift + random.template Vector<D, T>(-3 * size, 3 * size);
        Point direction;
        if (round % 4 != 0) { // to a place within the whole
            for (int i = 0; i < D; ++i) {
                const T share = static_cast<T>(random.Unit());
                direction[i] = wholeMin[i] + (wholeMax[i] - wholeMin[i]) * share - origin[i];
            }
        } else {
            direction = random.template Vector<D, T>(-1, 1);
            direction[random.Below(D)] *= static_cast<T>(std::exp2(-random.Below(40)));
            direction[random.Below(D)] *= static_cast<T>(random.Below(2));
        }
        if (!IsRayDirection(direction)) {
            continue;
        }
        const LineBoxTest<D, T> line(origin, direction, wholeMin, wholeMax, T{0});
        long double reach = 0;
        for (int i = 0; i < D; ++i) {
            reach = std::max({reach, std::fabs(static_cast<long double>(wholeMin[i]) - origin[i]),
                              std::fabs(static_cast<long double>(wholeMax[i]) - origin[i])});
        }
        // What the header tells: never missed, and met when beside by less than twice the rounding.
        const long double room = 2 * 64 * std::numeric_limits<T>::epsilon() * reach;
        Point min;
        Point max;
        for (int i = 0; i < D; ++i) {
            const double edge = std::exp2(-random.Below(30));
            const double low = random.Unit() * (1 - edge);
            min[i] = wholeMin[i] + (wholeMax[i] - wholeMin[i]) * static_cast<T>(low);
            max[i] = min[i] + (wholeMax[i] - wholeMin[i]) * static_cast<T>(edge);
            max[i] = std::min(max[i], wholeMax[i]);
        }
        if (round % 4 != 0) { // moved, so that the line goes through it, or just by it
            const Point center = min + (max - min) * T(0.5);
            const long double t =
                static_cast<long double>((center - origin) * direction) / (direction * direction);
            const T aside = static_cast<T>(random.Between(-0.7, 0.7));
            for (int i = 0; i < D; ++i) {
                const T extent = max[i] - min[i];
                const T on = static_cast<T>(origin[i] + t * direction[i]) + aside * extent;
                min[i] = std::clamp(on - extent / 2, wholeMin[i], wholeMax[i]);
                max[i] = std::clamp(on + extent / 2, wholeMin[i], wholeMax[i]);
            }
        }
        const bool isMet = line.Meets(min, max);
        if (ComesWithin(origin, direction, min, max, 0)) {
            ASSERT_TRUE(isMet) << round;
            ++met;
        } else if (!ComesWithin(origin, direction, min, max, room)) {
            ASSERT_FALSE(isMet) << round;
            ++missed;
        }
        if (isMet) {
            EXPECT_TRUE(line.Meets(min - (max - min), max));
            EXPECT_TRUE(line.Meets(min, max + (max - min)));
            EXPECT_TRUE(line.Meets(wholeMin, wholeMax));
        }
    }
    EXPECT_GT(met, 400);
    EXPECT_GT(missed, 400);
}

/// Whole numbers, so that there is no rounding but that of the test: single points of the line, as
/// boxes, far from zero.
TYPED_TEST(LineBoxes, MeetEveryPointOfTheLine)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using Point = VecBase<D, T>;
    Random random(32);
    for (int round = 0; round < 5000; ++round) {
        Point origin;
        Point direction;
        for (int i = 0; i < D; ++i) {
            origin[i] = static_cast<T>(2000000 + random.Below(1000));
            direction[i] = static_cast<T>(random.Below(41) - 20);
        }
        direction[0] = direction[0] == 0 ? 1 : direction[0];
        const Point point = origin + direction * static_cast<T>(random.Below(2001) - 1000);
        const LineBoxTest<D, T> line(origin, direction, point, point, T{0});
        ASSERT_TRUE(line.Meets(point, point)) << round;
    }
}

TYPED_TEST(LineBoxes, TakeTheShareThatTheyAreTold)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> origin; // zero
    VecBase<D, T> direction;
    direction[0] = 3;
    VecBase<D, T> min;
    VecBase<D, T> max;
    min[0] = 8;
    max[0] = 10;
    min[1] = T(0.5);
    max[1] = 1;
    using Line = LineBoxTest<D, T>;
    EXPECT_FALSE(Line(origin, direction, min, max, T(0.04)).Meets(min, max)); // 0.4 of 10
    EXPECT_TRUE(Line(origin, direction, min, max, T(0.06)).Meets(min, max));
}

TYPED_TEST(LineBoxes, HostileInputMeetsNothing)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using Point = VecBase<D, T>;
    constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
    constexpr T kInfinity = std::numeric_limits<T>::infinity();
    constexpr T kMost = std::numeric_limits<T>::max();
    Point zero;
    Point one;
    Point along;
    along[1] = 1;
    for (int i = 0; i < D; ++i) {
        one[i] = 1;
    }
    using Line = LineBoxTest<D, T>;
    const Line line(zero, along, zero, one, T{0});
    EXPECT_TRUE(line.Meets(zero, one));
    EXPECT_TRUE(line.Meets(zero, zero)) << "a box may be a point";
    EXPECT_TRUE(line.Meets(one * -kInfinity, one * kInfinity));
    EXPECT_FALSE(line.Meets(one * kMost, one * -kMost)) << "the empty box";
    EXPECT_FALSE(line.Meets(one * kNaN, one));
    EXPECT_FALSE(line.Meets(zero, one * kNaN));
    for (const T bad : {kNaN, kInfinity, -kInfinity}) {
        Point origin;
        origin[0] = bad;
        EXPECT_FALSE(Line(origin, along, zero, one, T{0}).Meets(zero, one));
    }
    // A direction of the smallest numbers is one, too.
    EXPECT_TRUE(
        Line(zero, along * std::numeric_limits<T>::min(), zero, one, T{0}).Meets(zero, one));
    // Coordinates whose differences overflow.
    EXPECT_TRUE(Line(one * -kMost, one, one * -kMost, one * kMost, T{0})
                    .Meets(one * (kMost / 2), one * kMost));
}

} // namespace
