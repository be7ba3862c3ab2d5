// Fillets between two legs, and the fillet through a point.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Geometry;
using Vector::Length;

template <class T>
class FilletOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(FilletOf, Scalars);

template <class T>
constexpr T kEps = std::numeric_limits<T>::epsilon();
template <class T>
constexpr T kNan = std::numeric_limits<T>::quiet_NaN();
template <class T>
constexpr T kInf = std::numeric_limits<T>::infinity();

template <class T>
Vec2d Wide(const VecBase<2, T>& v)
{
    return {v.x(), v.y()};
}

/// Signed distance of `p` from the line through `from` and `to`, positive on its left.
double FromLine(const Vec2d& p, const Vec2d& from, const Vec2d& to)
{
    return ((to - from) ^ (p - from)) / Length(to - from);
}

TYPED_TEST(FilletOf, RightAngleToTheLeft)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    ArcBase<T> arc;
    ASSERT_TRUE(FilletSequence(P{0, 0}, P{10, 0}, P{10, 10}, T{2}, arc, kLengthFloor<T>));
    EXPECT_EQ(arc.center, (P{8, 2}));
    EXPECT_EQ(arc.start, (P{8, 0}));
    EXPECT_NEAR(arc.length, kPi<T>, 4 * kEps<T>); // quarter turn on radius 2
    EXPECT_TRUE(Matches(EndPoint(arc), P{10, 2}, 16 * kEps<T>));
}

TYPED_TEST(FilletOf, RightAngleToTheRight)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    ArcBase<T> arc;
    ASSERT_TRUE(FilletSequence(P{10, 10}, P{10, 0}, P{0, 0}, T{2}, arc, kLengthFloor<T>));
    EXPECT_EQ(arc.center, (P{8, 2}));
    EXPECT_EQ(arc.start, (P{10, 2}));
    EXPECT_NEAR(arc.length, -kPi<T>, 4 * kEps<T>);
}

TYPED_TEST(FilletOf, TooLargeForALeg)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    ArcBase<T> arc;
    // At a right angle the tangent points lie one radius from the corner.
    EXPECT_TRUE(FilletSequence(P{0, 0}, P{4, 0}, P{4, 10}, T{4}, arc, T(0.125)));
    EXPECT_TRUE(FilletSequence(P{0, 0}, P{4, 0}, P{4, 10}, T(4.125), arc, T(0.125)));
    arc.length = 9;
    EXPECT_FALSE(FilletSequence(P{0, 0}, P{4, 0}, P{4, 10}, T(4.25), arc, T(0.125)));
    EXPECT_EQ(arc, ArcBase<T>{});
    EXPECT_FALSE(FilletSequence(P{4, 10}, P{4, 0}, P{0, 0}, T(4.25), arc, T(0.125))); // second leg
}

TYPED_TEST(FilletOf, ParallelLegsHaveNone)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    ArcBase<T> arc;
    for (const P& b : {P{9, 0}, P{1, 0}, P{-20, 0}, P{9, 1e-9}, P{1, 1e-9}}) { // on and back
        arc.length = 9;
        EXPECT_FALSE(FilletSequence(P{0, 0}, P{4, 0}, b, T(1e-3), arc, T(1e-7))) << b;
        EXPECT_EQ(arc, ArcBase<T>{});
    }
    // Sine 4 / 5, from a 3-4-5 triangle: parallel is what does not exceed the tolerance.
    const T sine = T(0.8);
    EXPECT_FALSE(FilletSequence(P{-5, 0}, P{0, 0}, P{3, 4}, T{1}, arc, sine));
    EXPECT_TRUE(FilletSequence(P{-5, 0}, P{0, 0}, P{3, 4}, T{1}, arc, std::nextafter(sine, T{0})));
}

TYPED_TEST(FilletOf, DegenerateAndHostileArguments)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const P a{0, 0};
    const P corner{4, 0};
    const P b{4, 4};
    const T tolerance{0.125};
    ArcBase<T> arc;
    EXPECT_TRUE(FilletSequence(a, corner, b, T{1}, arc, tolerance));
    EXPECT_FALSE(FilletSequence(corner, corner, b, T{1}, arc, tolerance));
    EXPECT_FALSE(FilletSequence(a, corner, corner, T{1}, arc, tolerance));
    EXPECT_FALSE(FilletSequence(P{3.875, 0}, corner, b, T{1}, arc, tolerance)); // leg = tolerance
    for (const T radius : {T{0}, T{-1}, tolerance, kNan<T>, kInf<T>}) {
        EXPECT_FALSE(FilletSequence(a, corner, b, radius, arc, tolerance)) << radius;
        EXPECT_EQ(arc, ArcBase<T>{});
    }
    EXPECT_FALSE(FilletSequence(a, corner, b, T{0}, arc, T{-1}));
    EXPECT_FALSE(FilletSequence(a, corner, b, T{1}, arc, kNan<T>));
    EXPECT_FALSE(FilletSequence(P{kNan<T>, 0}, corner, b, T{1}, arc, tolerance));
    EXPECT_FALSE(FilletSequence(a, corner, P{4, kInf<T>}, T{1}, arc, tolerance));
}

TYPED_TEST(FilletOf, TouchesBothLegs)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    Support::Random random(31);
    int found = 0;
    for (int i = 0; i < 5000; ++i) {
        SCOPED_TRACE(i);
        const double offset = i % 2 == 0 ? 0 : 1000;
        const auto shift = random.Vector<2, T>(-offset, offset);
        const P a = shift + random.Vector<2, T>(-10, 10);
        const P corner = shift + random.Vector<2, T>(-10, 10);
        const P b = shift + random.Vector<2, T>(-10, 10);
        const auto radius = static_cast<T>(random.Between(0.1, 4));
        ArcBase<T> arc;
        const bool fits = FilletSequence(a, corner, b, radius, arc, kLengthFloor<T>);

        const Vec2d in = Wide(corner) - Wide(a);
        const Vec2d out = Wide(b) - Wide(corner);
        const double turn = std::atan2(in ^ out, in * out);
        // By elementary geometry the tangent points lie radius * tan(turn / 2) from the corner.
        const double setback = radius * std::tan(std::abs(turn) / 2);
        EXPECT_EQ(fits, setback <= std::min(Length(in), Length(out)));
        if (!fits) {
            continue;
        }
        ++found;
        const double reach = 20 + offset + radius;
        // The derived end alone may be off by 13 epsilon of the radius.
        const double unit = 16 * static_cast<double>(kEps<T>) * reach;
        // The turn is known to 4 epsilon, here and there: half of one for the direction of each leg
        // and up to three for the products and the arc tangent. At sharp corners the tangent of its
        // half makes much of that.
        const double sharp = setback / radius;
        const double along = unit + 4 * kEps<double> * radius * (1 + sharp * sharp);
        const double side = turn > 0 ? 1 : -1;
        const Vec2d center = Wide(arc.center);
        const Vec2d start = Wide(arc.start);
        const Vec2d end = Wide(EndPoint(arc));
        EXPECT_EQ(arc.length > 0, turn > 0);
        EXPECT_NEAR(FromLine(center, Wide(a), Wide(corner)), side * radius, unit);
        EXPECT_NEAR(FromLine(center, Wide(corner), Wide(b)), side * radius, unit);
        EXPECT_NEAR(FromLine(start, Wide(a), Wide(corner)), 0, unit);
        EXPECT_NEAR(FromLine(end, Wide(corner), Wide(b)), 0, unit);
        EXPECT_NEAR(Length(start - Wide(corner)), setback, along);
        EXPECT_NEAR(Length(end - Wide(corner)), setback, along);
        EXPECT_NEAR(Length(start - center), radius, unit);
        EXPECT_NEAR((start - center) * in / Length(in), 0, unit); // spoke square to the leg
        EXPECT_NEAR((end - center) * out / Length(out), 0, unit);
        EXPECT_NEAR(arc.length, turn * radius, 4 * unit);
    }
    EXPECT_GT(found, 1000);
}

TYPED_TEST(FilletOf, SharpCornerNearlyBack)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    // Legs 1000 : 1, folded back; half the angle between them has the tangent s.
    const T s = T{1} / 1024;
    ArcBase<T> arc;
    ASSERT_TRUE(FilletSequence(P{1024, 1}, P{0, 0}, P{1024, -1}, T(0.5), arc, kLengthFloor<T>));
    // The tangent points lie radius / s along the legs, the center sqrt(1 + s^2) farther.
    EXPECT_NEAR(Length(arc.start) * s * 2, T{1}, 8 * kEps<T>);
    EXPECT_NEAR(arc.center.x() * s * 2, std::sqrt(1 + s * s), 8 * kEps<T>);
    EXPECT_NEAR(arc.center.y(), T{0}, 512 * kEps<T>);
}

// --- through a point
// ------------------------------------------------------------------------------

TYPED_TEST(FilletOf, RadiusThroughPointInARightAngle)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    T radius{9};
    // Circle of radius r about (r, r): the near point on the diagonal is r (1 - 1 / sqrt 2).
    const T near = 1 - std::sqrt(T(0.5));
    ASSERT_TRUE(FilletRadiusThroughPoint(P{10, 0}, P{0, 0}, P{0, 10}, P{near, near}, radius));
    EXPECT_NEAR(radius, T{1}, 8 * kEps<T>);
    // (1, 2) lies on r = 1 about (1, 1) and on r = 5 about (5, 5); the larger faces the corner with
    // it.
    ASSERT_TRUE(FilletRadiusThroughPoint(P{10, 0}, P{0, 0}, P{0, 10}, P{1, 2}, radius));
    EXPECT_NEAR(radius, T{5}, 16 * kEps<T>);
    ASSERT_TRUE(FilletRadiusThroughPoint(P{0, 10}, P{0, 0}, P{10, 0}, P{1, 2}, radius));
    EXPECT_NEAR(radius, T{5}, 16 * kEps<T>);
}

TYPED_TEST(FilletOf, RadiusThroughPointOutsideTheAngle)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    for (const P& point : {P{1, 0}, P{0, 1}, P{0, 0}, P{-1, 1}, P{1, -1}, P{-1, -1}, P{20, 0},
                           P{kNan<T>, 1}, P{1, kInf<T>}}) {
        T radius{9};
        EXPECT_FALSE(FilletRadiusThroughPoint(P{10, 0}, P{0, 0}, P{0, 10}, point, radius)) << point;
        EXPECT_EQ(radius, T{0});
    }
    T radius{9};
    EXPECT_FALSE(FilletRadiusThroughPoint(P{1, 0}, P{0, 0}, P{-1, 0}, P{0, 1}, radius)); // straight
    EXPECT_FALSE(FilletRadiusThroughPoint(P{1, 0}, P{0, 0}, P{3, 0}, P{0, 1}, radius));  // folded
    EXPECT_FALSE(FilletRadiusThroughPoint(P{0, 0}, P{0, 0}, P{3, 0}, P{0, 1}, radius));
    EXPECT_FALSE(FilletRadiusThroughPoint(P{1, 0}, P{0, 0}, P{0, 0}, P{0, 1}, radius));
    EXPECT_EQ(radius, T{0});
}

TYPED_TEST(FilletOf, FilletOfTheFoundRadiusPassesThroughThePoint)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    Support::Random random(32);
    int built = 0;
    for (int i = 0; i < 3000; ++i) {
        SCOPED_TRACE(i);
        const P corner = random.Vector<2, T>(-10, 10);
        const double first = random.Between(0, 6.28);
        const double between = random.Between(0.1, 3.0) * (i % 2 == 0 ? 1 : -1);
        const auto at = [&](double angle, double reach) {
            return corner + P{reach * std::cos(angle), reach * std::sin(angle)};
        };
        const P a = at(first, 1e3);
        const P b = at(first + between, 1e3);
        const P point = at(first + between * random.Between(0.1, 0.9), random.Between(1, 20));
        T radius{0};
        ASSERT_TRUE(FilletRadiusThroughPoint(a, corner, b, point, radius));
        ArcBase<T> arc;
        if (!FilletSequence(a, corner, b, radius, arc, kLengthFloor<T>)) {
            continue; // beyond the legs
        }
        ++built;
        const double unit = 64 * static_cast<double>(kEps<T>) * (10 + 2 * radius);
        const Vec2d spoke = Wide(point) - Wide(arc.center);
        EXPECT_NEAR(Length(spoke), radius, unit);
        // On the arc that faces the corner, not on the far side of the circle.
        const Vec2d from = Wide(arc.start) - Wide(arc.center);
        const double sense = arc.length > 0 ? 1 : -1;
        const double turn = std::atan2(sense * (from ^ spoke), from * spoke);
        EXPECT_GE(turn, -1e-3);
        EXPECT_LE(turn * radius, std::abs(arc.length) + 1e-3 * radius);
    }
    EXPECT_GT(built, 1500);
}

} // namespace
