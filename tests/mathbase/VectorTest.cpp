// Angles, polar and spherical forms, reflections, lengths, areas and barycentric weights.

#include <Velk/Math/Vector_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::Random;

template <class T>
constexpr T kEpsilon = std::numeric_limits<T>::epsilon();
template <class T>
constexpr T kInfinity = std::numeric_limits<T>::infinity();
template <class T>
constexpr T kNan = std::numeric_limits<T>::quiet_NaN();
constexpr long double kLongPi = 3.141592653589793238462643383279502884L;

static_assert(std::is_trivially_copyable_v<CheckedIdx>);
static_assert(offsetof(CheckedIdx, index) == 0 && offsetof(CheckedIdx, valid) == sizeof(int));
static_assert(!CheckedIdx{}.valid);

using Scalars = testing::Types<float, double>;
template <class T>
class VectorOf : public testing::Test {
};
TYPED_TEST_SUITE(VectorOf, Scalars);

/// Angle between the given vectors, computed in 80 bits: the expected value of accuracy tests.
template <int N, class T>
double LongAngle(const VecBase<N, T>& a, const VecBase<N, T>& b)
{
    const VecBase<N, long double> p(a);
    const VecBase<N, long double> q(b);
    if constexpr (N == 2) {
        return static_cast<double>(atan2l(p ^ q, p * q));
    } else {
        return static_cast<double>(atan2l(Vector::Length(p ^ q), p * q));
    }
}

/// A vector of random direction whose length has a random exponent.
template <int N, class T>
VecBase<N, T> RandomOfAnySize(Random& random, double lowestExponent, double highestExponent)
{
    const auto size = static_cast<T>(std::exp2(random.Between(lowestExponent, highestExponent)));
    return random.Vector<N, T>(-1, 1) * size;
}

// --- Cross --------------------------------------------------------------------------------------

TYPED_TEST(VectorOf, CrossIsTheScalarOfTheOperator)
{
    using V = VecBase<2, TypeParam>;
    EXPECT_EQ(Vector::Cross(V{2, 3}, V{5, 7}), TypeParam{-1}); // 14 - 15
    EXPECT_EQ(Vector::Cross(V{1, 0}, V{0, 1}), TypeParam{1});
    Random random(1);
    for (int i = 0; i < 1000; ++i) {
        const auto a = random.Vector<2, TypeParam>(-10, 10);
        const auto b = random.Vector<2, TypeParam>(-10, 10);
        EXPECT_EQ(Vector::Cross(a, b), a ^ b);
        EXPECT_EQ(Vector::Cross(a, b), -Vector::Cross(b, a));
    }
}

// --- AngleBetween -------------------------------------------------------------------------------

struct PlaneAngleCase {
    const char* name;
    Vec2d a, b;
    double expected;
};
void PrintTo(const PlaneAngleCase& c, std::ostream* os) { *os << c.name; }

class PlaneAngle : public testing::TestWithParam<PlaneAngleCase> {};

TEST_P(PlaneAngle, IsSignedCounterClockwise)
{
    const auto& [name, a, b, expected] = GetParam();
    EXPECT_NEAR(Vector::AngleBetween(a, b, 1e-12), expected, 1e-15);
    EXPECT_NEAR(Vector::AngleBetween(Vec2f(a), Vec2f(b), 1e-8F), expected, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(
    Directions, PlaneAngle,
    testing::Values(PlaneAngleCase{"Same", {3, 1}, {6, 2}, 0.0},
                    PlaneAngleCase{"QuarterLeft", {2, 0}, {0, 5}, kPi<double> / 2},
                    PlaneAngleCase{"QuarterRight", {0, 5}, {2, 0}, -kPi<double> / 2},
                    PlaneAngleCase{"EighthLeft", {1, 0}, {1, 1}, kPi<double> / 4},
                    PlaneAngleCase{"SixthRight", {1, 0}, {1, -std::sqrt(3.0)}, -kPi<double> / 3},
                    PlaneAngleCase{"HalfTurn", {1, 0}, {-1, 0}, kPi<double>},
                    // The cross product of these two is -0, which must not turn pi into -pi.
                    PlaneAngleCase{"HalfTurnBack", {-1, 0}, {1, 0}, kPi<double>},
                    PlaneAngleCase{"HalfTurnSlanted", {1, 2}, {-3, -6}, kPi<double>},
                    PlaneAngleCase{"ZeroFirst", {0, 0}, {-1, 0}, 0.0},
                    PlaneAngleCase{"ZeroSecond", {-1, -0.0}, {-0.0, 0}, 0.0},
                    PlaneAngleCase{"BothZero", {0, 0}, {-0.0, -0.0}, 0.0}),
    [](const auto& test) { return std::string(test.param.name); });

TYPED_TEST(VectorOf, AngleInSpaceHasNoSign)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const T accuracy = 2 * kEpsilon<T>;
    EXPECT_NEAR(Vector::AngleBetween(V{1, 0, 0}, V{0, 3, 0}, T{0}), kPi<T> / 2, accuracy);
    EXPECT_NEAR(Vector::AngleBetween(V{0, 3, 0}, V{1, 0, 0}, T{0}), kPi<T> / 2, accuracy);
    EXPECT_EQ(Vector::AngleBetween(V{0, 0, 2}, V{0, 0, -1}, T{0}), kPi<T>);
    EXPECT_EQ(Vector::AngleBetween(V{1, 2, 3}, V{2, 4, 6}, T{0}), T{0});
    // cos = 1 / (sqrt 2 sqrt 2): the edges of a regular tetrahedron inscribed in a cube
    EXPECT_NEAR(Vector::AngleBetween(V{1, 1, 0}, V{0, 1, 1}, T{0}), kPi<T> / 3, accuracy);
    EXPECT_EQ(Vector::AngleBetween(V{}, V{-1, 0, 0}, T{0}), T{0});
    EXPECT_EQ(Vector::AngleBetween(V{}, V{}, T{0}), T{0});
}

TYPED_TEST(VectorOf, AngleKeepsItsDigitsNearZeroAndPi)
{
    using T = TypeParam;
    for (int exponent = 1; exponent <= 30; ++exponent) {
        const T t = std::ldexp(T{1}, -exponent) * static_cast<T>(1.1);
        const auto expected = static_cast<T>(atanl(static_cast<long double>(t)));
        EXPECT_NEAR(Vector::AngleBetween(VecBase<2, T>{1, 0}, VecBase<2, T>{1, t}, T{0}), expected,
                    2 * kEpsilon<T> * expected);
        EXPECT_NEAR(Vector::AngleBetween(VecBase<2, T>{1, 0}, VecBase<2, T>{1, -t}, T{0}),
                    -expected, 2 * kEpsilon<T> * expected);
        EXPECT_NEAR(Vector::AngleBetween(VecBase<3, T>{0, 1, 0}, VecBase<3, T>{t, 1, 0}, T{0}),
                    expected, 2 * kEpsilon<T> * expected);
        const auto nearPi = static_cast<T>(kLongPi - atanl(static_cast<long double>(t)));
        EXPECT_NEAR(Vector::AngleBetween(VecBase<3, T>{0, -1, 0}, VecBase<3, T>{t, 1, 0}, T{0}),
                    nearPi, 2 * kEpsilon<T> * nearPi);
    }
}

TYPED_TEST(VectorOf, AngleAgreesWithLongDoubleForAllDirections)
{
    using T = TypeParam;
    Random random(2);
    for (int i = 0; i < 20'000; ++i) {
        const auto a = random.Vector<3, T>(-1, 1);
        // Every other pair is nearly parallel or nearly opposite.
        const auto b = i % 2 == 0 ? random.Vector<3, T>(-1, 1)
                                  : a * (i % 4 == 1 ? T{2} : T{-3}) +
                                        random.Vector<3, T>(-1, 1) * static_cast<T>(1e-6);
        EXPECT_NEAR(Vector::AngleBetween(a, b, T{0}), LongAngle(a, b), 4 * kEpsilon<T>);
        const VecBase<2, T> p{a.x(), a.y()};
        const VecBase<2, T> q{b.x(), b.y()};
        EXPECT_NEAR(Vector::AngleBetween(p, q, T{0}), LongAngle(p, q), 4 * kEpsilon<T>);
    }
}

TYPED_TEST(VectorOf, AngleDoesNotDependOnTheLengths)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const T smallest = std::numeric_limits<T>::min();
    const T largest = std::numeric_limits<T>::max();
    const T expected = Vector::AngleBetween(V{1, 0, 0}, V{1, 1, 0}, T{0});
    // Area vectors of triangles of any size: tolerance must not turn them into "no direction".
    for (const T size : {smallest, T(1e-30), T(1e-10), T(1e10), T(1e30), largest}) {
        for (const T other : {smallest, T{1}, largest}) {
            EXPECT_EQ(Vector::AngleBetween(V{size, 0, 0}, V{other, other, 0}, T(1e-8)), expected);
            EXPECT_EQ(
                Vector::AngleBetween(VecBase<2, T>{size, 0}, VecBase<2, T>{other, other}, T(1e-8)),
                expected);
        }
    }
}

TYPED_TEST(VectorOf, AngleOfNonFiniteVectorsIsNan)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    EXPECT_TRUE(std::isnan(Vector::AngleBetween(V{kNan<T>, 0}, V{1, 0}, T{0})));
    EXPECT_TRUE(std::isnan(Vector::AngleBetween(V{1, 0}, V{kInfinity<T>, 1}, T{0})));
}

TYPED_TEST(VectorOf, AngleTurnsWithBothVectors)
{
    using T = TypeParam;
    Random random(3);
    for (int i = 0; i < 2000; ++i) {
        const double start = random.Between(-3, 3);
        const double turn = random.Between(-3.1, 3.1);
        const auto at = [](double angle) {
            return VecBase<2, T>(Vec2d{std::cos(angle), std::sin(angle)});
        };
        EXPECT_NEAR(Vector::AngleBetween(at(start), at(start + turn), T{0}), turn, 4 * kEpsilon<T>);
    }
}

// --- Cotangent ----------------------------------------------------------------------------------

TYPED_TEST(VectorOf, CotangentClosedForms)
{
    using T = TypeParam;
    const T root3 = std::sqrt(T{3});
    const T accuracy = 4 * kEpsilon<T>;
    EXPECT_NEAR(Vector::Cotangent(VecBase<2, T>{1, 0}, VecBase<2, T>{1, root3}, T{0}), 1 / root3,
                accuracy); // 60 degrees
    EXPECT_NEAR(Vector::Cotangent(VecBase<2, T>{2, 0}, VecBase<2, T>{3, 3}, T{0}), T{1}, accuracy);
    EXPECT_EQ(Vector::Cotangent(VecBase<3, T>{2, 0, 0}, VecBase<3, T>{0, 0, 3}, T{0}), T{0});
    EXPECT_NEAR(Vector::Cotangent(VecBase<3, T>{0, 1, 0}, VecBase<3, T>{0, -1, 1}, T{0}), T{-1},
                accuracy); // 135 degrees
}

TYPED_TEST(VectorOf, CotangentInThePlaneHasTheMagnitudeOfTheCross)
{
    using T = TypeParam;
    const VecBase<2, T> a{2, 0};
    const VecBase<2, T> b{3, 3};
    EXPECT_EQ(Vector::Cotangent(a, b, T{0}), Vector::Cotangent(b, a, T{0}));
    EXPECT_GT(Vector::Cotangent(b, a, T{0}), T{0});
}

TYPED_TEST(VectorOf, CotangentIsZeroWhenTheCrossIsAtMostTheTolerance)
{
    using T = TypeParam;
    const VecBase<2, T> a{4, 0};
    const VecBase<2, T> b{1, 0.25}; // cross exactly 1
    EXPECT_EQ(Vector::Cotangent(a, b, T{1}), T{0});
    EXPECT_EQ(Vector::Cotangent(a, b, std::nextafter(T{1}, T{0})), T{4});
    EXPECT_EQ(Vector::Cotangent(a, a, T{0}), T{0});
    EXPECT_EQ(Vector::Cotangent(VecBase<3, T>{}, VecBase<3, T>{1, 0, 0}, T{0}), T{0});
    EXPECT_EQ(Vector::Cotangent(VecBase<3, T>{kNan<T>, 0, 0}, VecBase<3, T>{1, 0, 0}, T{0}), T{0});
}

TYPED_TEST(VectorOf, CotangentIsThatOfTheAngle)
{
    using T = TypeParam;
    Random random(4);
    for (int i = 0; i < 2000; ++i) {
        const auto a = random.Vector<3, T>(-1, 1);
        const auto b = random.Vector<3, T>(-1, 1);
        const double expected = 1.0 / std::tan(LongAngle(a, b));
        EXPECT_NEAR(Vector::Cotangent(a, b, T{0}), expected,
                    8 * kEpsilon<T> * (1 + expected * expected));
    }
}

// --- AngleSweep and polar form ------------------------------------------------------------------

struct SweepCase {
    const char* name;
    Vec2d direction;
    double expected;
};
void PrintTo(const SweepCase& c, std::ostream* os) { *os << c.name; }

class Sweep : public testing::TestWithParam<SweepCase> {};

TEST_P(Sweep, IsInZeroToTwoPi)
{
    const auto& [name, direction, expected] = GetParam();
    EXPECT_NEAR(Vector::AngleSweep(direction, 1e-12), expected, 1e-15);
    EXPECT_NEAR(Vector::AngleSweep(Vec2f(direction), 1e-8F), expected, 4e-7);
    EXPECT_NEAR(Vector::CartesianToPolar(direction)[1], expected, 1e-15);
    EXPECT_FALSE(std::signbit(Vector::AngleSweep(direction, 1e-12)));
}

INSTANTIATE_TEST_SUITE_P(Directions, Sweep,
                         testing::Values(SweepCase{"East", {2, 0}, 0.0},
                                         SweepCase{"EastNegativeZero", {2, -0.0}, 0.0},
                                         SweepCase{"NorthEast", {1, 1}, kPi<double> / 4},
                                         SweepCase{"North", {0, 3}, kPi<double> / 2},
                                         SweepCase{"NorthNegativeZero", {-0.0, 3}, kPi<double> / 2},
                                         SweepCase{"West", {-1, 0}, kPi<double>},
                                         SweepCase{"WestNegativeZero", {-1, -0.0}, kPi<double>},
                                         SweepCase{"SouthWest", {-2, -2}, 5 * kPi<double> / 4},
                                         SweepCase{"South", {0, -1}, 3 * kPi<double> / 2},
                                         SweepCase{"SouthEast", {1, -1}, 7 * kPi<double> / 4},
                                         SweepCase{"Zero", {0, 0}, 0.0},
                                         SweepCase{"NegativeZero", {-0.0, -0.0}, 0.0}),
                         [](const auto& test) { return std::string(test.param.name); });

TYPED_TEST(VectorOf, SweepNeverReachesTwoPi)
{
    using T = TypeParam;
    // So little below the x axis that 2 pi minus the angle rounds to 2 pi: 0 is nearest on the
    // circle.
    for (const T y : {T(-1e-30), T(-1e-20), -kEpsilon<T> / 4, -std::numeric_limits<T>::min()}) {
        EXPECT_EQ(Vector::AngleSweep(VecBase<2, T>{1, y}, T{0}), T{0}) << y;
        EXPECT_EQ(Vector::CartesianToPolar(VecBase<2, T>{1, y})[1], T{0}) << y;
    }
    // Far enough below, it is the last angle before the full turn and stays apart from 0.
    const T below = Vector::AngleSweep(VecBase<2, T>{1, -4 * kEpsilon<T>}, T{0});
    EXPECT_LT(below, kTwoPi<T>);
    EXPECT_GE(below, kTwoPi<T> - 8 * kEpsilon<T>);

    Random random(5);
    for (int i = 0; i < 50'000; ++i) {
        const T y = -static_cast<T>(std::exp2(random.Between(-60, 0)));
        const T angle = Vector::AngleSweep(VecBase<2, T>{1, y}, T{0});
        EXPECT_GE(angle, T{0});
        EXPECT_LT(angle, kTwoPi<T>);
        EXPECT_EQ(Vector::CartesianToPolar(VecBase<2, T>{1, y})[1], angle);
    }
}

TYPED_TEST(VectorOf, SweepOfADirectionNoLongerThanTheToleranceIsZero)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    EXPECT_EQ(Vector::AngleSweep(V{0, 0.5}, T{0.5}), T{0});
    EXPECT_EQ(Vector::AngleSweep(V{-3, -4}, T{5}), T{0});
    EXPECT_NEAR(Vector::AngleSweep(V{0, 0.5}, std::nextafter(T{0.5}, T{0})), kPi<T> / 2,
                kEpsilon<T>);
    EXPECT_EQ(Vector::AngleSweep(V{-0.0, 0}, T{-1}), T{0});
    EXPECT_EQ(Vector::AngleSweep(V{kNan<T>, 1}, T{0}), T{0});
    EXPECT_EQ(Vector::AngleSweep(V{kInfinity<T>, kNan<T>}, T{0}), T{0});
    EXPECT_EQ(Vector::AngleSweep(V{0, 1}, kNan<T>), T{0});
}

TYPED_TEST(VectorOf, PolarClosedForms)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    EXPECT_EQ(Vector::CartesianToPolar(V{3, 4})[0], T{5});
    EXPECT_NEAR(Vector::CartesianToPolar(V{3, 4})[1], std::atan2(4.0, 3.0), kEpsilon<T>);
    EXPECT_EQ(Vector::CartesianToPolar(V{}), V{});
    EXPECT_EQ(Vector::PolarToCartesian(V{2, 0}), (V{2, 0}));
    const V up = Vector::PolarToCartesian(V{2, kPi<T> / 2});
    EXPECT_NEAR(up.x(), T{0}, 2 * kEpsilon<T>);
    EXPECT_EQ(up.y(), T{2});
    // A negative radius is the opposite point.
    EXPECT_NEAR(Vector::PolarToCartesian(V{-1, kPi<T>}).x(), T{1}, kEpsilon<T>);
}

TYPED_TEST(VectorOf, PolarRadiusSurvivesSquaresThatOverflowOrVanish)
{
    using T = TypeParam;
    for (const T size : {std::numeric_limits<T>::min() * 8, std::numeric_limits<T>::max() / 8}) {
        EXPECT_EQ(Vector::CartesianToPolar(VecBase<2, T>{3 * size, -4 * size})[0], 5 * size);
    }
    EXPECT_TRUE(std::isnan(Vector::CartesianToPolar(VecBase<2, T>{kNan<T>, 1})[0]));
}

TYPED_TEST(VectorOf, PolarRoundTrip)
{
    using T = TypeParam;
    Random random(6);
    for (int i = 0; i < 5000; ++i) {
        const auto v = RandomOfAnySize<2, T>(random, -40, 40);
        const auto polar = Vector::CartesianToPolar(v);
        const auto back = Vector::PolarToCartesian(polar);
        // An angle rounded to half a unit in the last place (of up to 2 pi) moves the point by
        // that.
        EXPECT_LE(Vector::Length(back - v), 6 * kEpsilon<T> * polar[0]);
    }
}

// --- spherical form -----------------------------------------------------------------------------

TEST(Spherical, OrderIsRadiusInclinationAzimuth)
{
    const double quarter = kPi<double> / 2;
    const std::vector<Vec3d> points{{0, 0, 2},  {0, 0, -2}, {3, 0, 0}, {0, 3, 0},
                                    {-3, 0, 0}, {0, -3, 0}, {1, 1, 0}, {1, 0, 1}};
    const std::vector<Vec3d> expected{{2, 0, 0},
                                      {2, 2 * quarter, 0},
                                      {3, quarter, 0},
                                      {3, quarter, quarter},
                                      {3, quarter, 2 * quarter},
                                      {3, quarter, 3 * quarter},
                                      {std::sqrt(2.0), quarter, quarter / 2},
                                      {std::sqrt(2.0), quarter / 2, 0}};
    const auto spherical = Vector::CartesianToSpherical(points);
    ASSERT_EQ(spherical.size(), points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(spherical[i][c], expected[i][c], 1e-15) << points[i];
        }
    }
}

TEST(Spherical, ZeroVectorAndZAxisHaveNoStrayAngles)
{
    // With signs on the zeros, atan2 alone would answer pi.
    const auto spherical = Vector::CartesianToSpherical(
        {{0, 0, 0}, {-0.0, -0.0, -0.0}, {-0.0, 0.0, 5.0}, {-0.0, -0.0, 5.0}});
    EXPECT_EQ(spherical[0], Vec3d{});
    EXPECT_EQ(spherical[1], Vec3d{});
    EXPECT_EQ(spherical[2], (Vec3d{5, 0, 0}));
    EXPECT_EQ(spherical[3], (Vec3d{5, 0, 0}));
    EXPECT_TRUE(Vector::CartesianToSpherical({}).empty());
    EXPECT_TRUE(Vector::SphericalToCartesian(std::vector<Vec3d>{}).empty());
}

TEST(Spherical, RoundTrip)
{
    Random random(7);
    std::vector<Vec3d> points;
    for (int i = 0; i < 5000; ++i) {
        points.push_back(RandomOfAnySize<3, double>(random, -60, 60));
    }
    points.insert(points.end(), {{0, 0, 1}, {0, 0, -1}, {1e-9, 0, -1}, {0, -1e-20, 1}});
    const auto spherical = Vector::CartesianToSpherical(points);
    const auto back = Vector::SphericalToCartesian(spherical);
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_GE(spherical[i][1], 0.0);
        EXPECT_LE(spherical[i][1], kPi<double>);
        EXPECT_GE(spherical[i][2], 0.0);
        EXPECT_LT(spherical[i][2], kTwoPi<double>);
        EXPECT_LE(Vector::Length(back[i] - points[i]),
                  8 * kEpsilon<double> * Vector::Length(points[i]));
    }
}

TYPED_TEST(VectorOf, SphericalToCartesianOfOneVector)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    EXPECT_EQ(Vector::SphericalToCartesian(V{2, 0, 1}), (V{0, 0, 2}));
    const V v = Vector::SphericalToCartesian(V{2, kPi<T> / 2, kPi<T> / 2});
    EXPECT_NEAR(v.x(), T{0}, 2 * kEpsilon<T>);
    EXPECT_EQ(v.y(), T{2});
    EXPECT_NEAR(v.z(), T{0}, 2 * kEpsilon<T>);
    const V s{3, T(1.25), T(4.5)};
    EXPECT_NEAR(Vector::SphericalToCartesian(s).x(), 3 * std::sin(1.25) * std::cos(4.5),
                6 * kEpsilon<T>);
}

// --- Reflect ------------------------------------------------------------------------------------

TYPED_TEST(VectorOf, ReflectChangesTheSignAlongTheAxis)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    EXPECT_EQ(Vector::Reflect(V{3, 4}, V{0, 1}), (V{3, -4}));
    EXPECT_EQ(Vector::Reflect(V{3, 4}, V{1, 0}), (V{-3, 4}));
    EXPECT_EQ(Vector::Reflect(V{3, 4}, V{1, 1}), (V{-4, -3}));
    EXPECT_EQ(Vector::Reflect(V{3, 4}, V{0, -7}), (V{3, -4})); // length and sense don't matter
    EXPECT_EQ(Vector::Reflect(V{3, 4}, V{}), (V{3, 4}));
    EXPECT_EQ(Vector::Reflect(V{3, 4}, V{kNan<T>, 0}), (V{3, 4}));
    for (const T size : {std::numeric_limits<T>::min(), std::numeric_limits<T>::max()}) {
        EXPECT_EQ(Vector::Reflect(V{3, 4}, V{size, size}), (V{-4, -3}));
    }
}

TYPED_TEST(VectorOf, ReflectTwiceIsTheIdentityAndKeepsLengths)
{
    using T = TypeParam;
    Random random(8);
    for (int i = 0; i < 2000; ++i) {
        const auto v = random.Vector<2, T>(-1, 1);
        const auto axis = random.Vector<2, T>(-1, 1);
        const auto mirrored = Vector::Reflect(v, axis);
        EXPECT_NEAR(Vector::Length(mirrored), Vector::Length(v), 4 * kEpsilon<T>);
        EXPECT_LE(Vector::Length(Vector::Reflect(mirrored, axis) - v), 8 * kEpsilon<T>);
        EXPECT_NEAR(mirrored * axis, -(v * axis), 4 * kEpsilon<T>);
        EXPECT_NEAR(mirrored ^ axis, v ^ axis, 4 * kEpsilon<T>);
    }
}

// --- Length and SignedArea ----------------------------------------------------------------------

TYPED_TEST(VectorOf, LengthOfPolylines)
{
    using T = TypeParam;
    using Polyline = std::vector<VecBase<2, T>>;
    EXPECT_EQ(Vector::Length(Polyline{}), T{0});
    EXPECT_EQ(Vector::Length(Polyline{{7, 7}}), T{0});
    EXPECT_EQ(Vector::Length(Polyline{{0, 0}, {3, 4}}), T{5});
    EXPECT_EQ(Vector::Length(Polyline{{0, 0}, {3, 4}, {3, 4}, {3, 6}}), T{7});
    EXPECT_EQ(Vector::Length(Polyline{{0, 0}, {1, 0}, {1, 1}, {0, 1}}), T{3}); // not closed
    EXPECT_TRUE(std::isnan(Vector::Length(Polyline{{0, 0}, {kNan<T>, 0}, {1, 1}})));
    EXPECT_EQ(Vector::Length(Polyline{{0, 0}, {kInfinity<T>, 0}}), kInfinity<T>);
}

TYPED_TEST(VectorOf, LengthDoesNotLoseDigitsToTheNumberOfPoints)
{
    using T = TypeParam;
    // A million steps of the same length there and back: the sum is a product of two numbers.
    constexpr int kSteps = 1'000'000;
    const T step = static_cast<T>(0.1);
    std::vector<VecBase<2, T>> zigzag;
    for (int i = 0; i <= kSteps; ++i) {
        zigzag.push_back({T{0}, i % 2 == 0 ? T{0} : step});
    }
    const double expected = static_cast<double>(step) * kSteps;
    EXPECT_NEAR(Vector::Length(zigzag), expected, kEpsilon<T> * expected);
}

TYPED_TEST(VectorOf, SignedAreaClosedForms)
{
    using T = TypeParam;
    using Loop = std::vector<VecBase<2, T>>;
    EXPECT_EQ(Vector::SignedArea(Loop{}), T{0});
    EXPECT_EQ(Vector::SignedArea(Loop{{1, 1}}), T{0});
    EXPECT_EQ(Vector::SignedArea(Loop{{1, 1}, {2, 5}}), T{0});
    EXPECT_EQ(Vector::SignedArea(Loop{{0, 0}, {4, 0}, {0, 3}}), T{6});
    EXPECT_EQ(Vector::SignedArea(Loop{{0, 0}, {0, 3}, {4, 0}}), T{-6});
    EXPECT_EQ(Vector::SignedArea(Loop{{0, 0}, {4, 0}, {0, 3}, {0, 0}}), T{6}); // closed: the same
    EXPECT_EQ(Vector::SignedArea(Loop{{0, 0}, {2, 0}, {2, 2}, {1, 1}, {0, 2}}), T{3}); // notched
    EXPECT_EQ(Vector::SignedArea(Loop{{0, 0}, {1, 1}, {1, 0}, {0, 1}}), T{0});         // bow tie
    EXPECT_EQ(Vector::SignedArea(Loop{{0, 0}, {1, 1}, {2, 2}, {3, 3}}), T{0});
    EXPECT_TRUE(std::isnan(Vector::SignedArea(Loop{{0, 0}, {1, 0}, {kNan<T>, 1}})));
}

TEST(SignedArea, DistanceFromTheOriginCostsNothing)
{
    // Coordinates on a grid of 2^-20, so that the shifted loop is exactly the same loop.
    Random random(9);
    const auto onGrid = [](double x) { return std::round(x * 0x1p20) * 0x1p-20; };
    for (int trial = 0; trial < 100; ++trial) {
        std::vector<Vec2d> loop;
        std::vector<Vec2d> shifted;
        for (int i = 0; i < 50; ++i) {
            const double angle = kTwoPi<double> * (i + random.Unit()) / 50;
            const double radius = random.Between(0.5, 1.5);
            loop.push_back({onGrid(radius * std::cos(angle)), onGrid(radius * std::sin(angle))});
            shifted.push_back(loop.back() + Vec2d{1e6, -3e6});
        }
        EXPECT_EQ(Vector::SignedArea(shifted), Vector::SignedArea(loop));
        std::reverse(shifted.begin(), shifted.end());
        EXPECT_NEAR(Vector::SignedArea(shifted), -Vector::SignedArea(loop), 1e-15);
    }
}

TYPED_TEST(VectorOf, SignedAreaOfASmallSquareFarAway)
{
    using T = TypeParam;
    // A side of 8 last places of the coordinates. In `double`, products about the origin would be
    // 1e18, rounded to multiples of 128.
    const T x = std::is_same_v<T, float> ? T(1e6) : T(1e9);
    const T side = 8 * (std::nextafter(x, 2 * x) - x);
    const std::vector<VecBase<2, T>> square{
        {x, -x}, {x + side, -x}, {x + side, -x + side}, {x, -x + side}};
    EXPECT_EQ(Vector::SignedArea(square), side * side);
}

TYPED_TEST(VectorOf, SignedAreaOfAFineCircle)
{
    using T = TypeParam;
    constexpr int kSides = 100'000;
    std::vector<VecBase<2, T>> circle;
    long double reference = 0; // the shoelace sum of the same points in 80 bits
    for (int i = 0; i < kSides; ++i) {
        const double angle = kTwoPi<double> * i / kSides;
        circle.push_back(VecBase<2, T>(Vec2d{100 + std::cos(angle), std::sin(angle)}));
    }
    for (std::size_t i = 0; i < circle.size(); ++i) {
        reference += VecBase<2, long double>(circle[i]) ^
                     VecBase<2, long double>(circle[(i + 1) % circle.size()]);
    }
    EXPECT_NEAR(Vector::SignedArea(circle), static_cast<double>(reference / 2), 4 * kEpsilon<T>);
}

// --- BarycentricCoordinates ---------------------------------------------------------------------

template <int N, class T>
struct Weights {
    bool valid = false;
    T u = T{7}; // not what a call leaves
    T v = T{7};
    T w = T{7};
};

template <int N, class T>
Weights<N, T> WeightsOf(const std::array<VecBase<N, T>, 3>& triangle, const VecBase<N, T>& p,
                        T tolerance)
{
    Weights<N, T> weights;
    weights.valid = Vector::BarycentricCoordinates(triangle[0], triangle[1], triangle[2], p,
                                                   weights.u, weights.v, weights.w, tolerance);
    return weights;
}

template <class Form>
class BarycentricOf : public testing::Test {
};
template <int N, class T>
struct Form {
    static constexpr int kDimension = N;
    using Scalar = T;
};
using Forms = testing::Types<Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(BarycentricOf, Forms);

/// (x, y), with z in space.
template <int N, class T>
VecBase<N, T> Point(double x, double y, double z)
{
    VecBase<N, T> p;
    p[0] = static_cast<T>(x);
    p[1] = static_cast<T>(y);
    if constexpr (N == 3) {
        p[2] = static_cast<T>(z);
    }
    return p;
}

TYPED_TEST(BarycentricOf, ClosedForms)
{
    using T = typename TypeParam::Scalar;
    constexpr int N = TypeParam::kDimension;
    const auto at = Point<N, T>;
    const std::array<VecBase<N, T>, 3> triangle{at(0, 0, 1), at(4, 0, 1), at(0, 2, 1)};
    const struct {
        VecBase<N, T> p;
        T u, v, w;
    } cases[] = {
        {at(1, 0.5, 1), T(0.5), T(0.25), T(0.25)}, {at(2, 1, 1), T(0), T(0.5), T(0.5)},
        {at(-4, 0, 1), T(2), T(-1), T(0)},         {at(4, 2, 1), T(-1), T(1), T(1)},
        {at(1, 0.5, 9), T(0.5), T(0.25), T(0.25)}, // its foot in the plane
    };
    for (const auto& c : cases) {
        const auto weights = WeightsOf(triangle, c.p, T(1e-8));
        EXPECT_TRUE(weights.valid);
        EXPECT_EQ(weights.u, c.u);
        EXPECT_EQ(weights.v, c.v);
        EXPECT_EQ(weights.w, c.w);
    }
}

TYPED_TEST(BarycentricOf, CornersAreExact)
{
    using T = typename TypeParam::Scalar;
    constexpr int N = TypeParam::kDimension;
    Random random(10);
    for (int i = 0; i < 1000; ++i) {
        const std::array<VecBase<N, T>, 3> triangle{
            random.Vector<N, T>(-1, 1), random.Vector<N, T>(9, 10), random.Vector<N, T>(-1, 10)};
        for (int corner = 0; corner < 3; ++corner) {
            const auto weights =
                WeightsOf(triangle, triangle[static_cast<std::size_t>(corner)], T(1e-8));
            EXPECT_TRUE(weights.valid);
            EXPECT_EQ(weights.u, corner == 0 ? T{1} : T{0});
            EXPECT_EQ(weights.v, corner == 1 ? T{1} : T{0});
            EXPECT_EQ(weights.w, corner == 2 ? T{1} : T{0});
        }
    }
}

TYPED_TEST(BarycentricOf, WeightsReproduceThePointAndSumToOne)
{
    using T = typename TypeParam::Scalar;
    constexpr int N = TypeParam::kDimension;
    Random random(11);
    for (int i = 0; i < 5000; ++i) {
        const std::array<VecBase<N, T>, 3> t{random.Vector<N, T>(-1, 1), random.Vector<N, T>(-1, 1),
                                             random.Vector<N, T>(-1, 1)};
        // Known weights, also of points outside; the point they make is rounded to T.
        const double v = random.Between(-1, 2);
        const double w = random.Between(-1, 2);
        const VecBase<N, double> a(t[0]);
        const VecBase<N, T> p(a + (VecBase<N, double>(t[1]) - a) * v +
                              (VecBase<N, double>(t[2]) - a) * w);
        const auto weights = WeightsOf(t, p, T(1e-8));
        ASSERT_TRUE(weights.valid);
        // In a triangle of height h over an edge of length 1, rounding an edge moves a weight by 1
        // / h roundings.
        const VecBase<N, double> ab = VecBase<N, double>(t[1]) - a;
        const VecBase<N, double> ac = VecBase<N, double>(t[2]) - a;
        const double longest =
            std::max({Vector::Length(ab), Vector::Length(ac), Vector::Length(ac - ab)});
        const double sine = std::sin(LongAngle(ab, ac));
        const double height = std::fabs(sine) * Vector::Length(ab) * Vector::Length(ac) / longest;
        const double accuracy = 16 * kEpsilon<T> / height;
        EXPECT_NEAR(weights.u + weights.v + weights.w, T{1}, 8 * kEpsilon<T>);
        const auto back = t[0] * weights.u + t[1] * weights.v + t[2] * weights.w;
        EXPECT_LE(Vector::Length(back - p), accuracy * longest);
        EXPECT_NEAR(weights.v, v, accuracy);
        EXPECT_NEAR(weights.w, w, accuracy);
    }
}

TYPED_TEST(BarycentricOf, DegenerateTrianglesGiveFalseAndZeros)
{
    using T = typename TypeParam::Scalar;
    constexpr int N = TypeParam::kDimension;
    const auto at = Point<N, T>;
    const std::array<VecBase<N, T>, 3> degenerate[] = {
        {at(0, 0, 0), at(1, 1, 1), at(2, 2, 2)},
        {at(1, 2, 3), at(1, 2, 3), at(4, 5, 6)},
        {at(1, 2, 3), at(4, 5, 6), at(4, 5, 6)},
        {at(1, 2, 3), at(1, 2, 3), at(1, 2, 3)},
        {at(0, 0, 0), at(kNan<double>, 1, 0), at(0, 1, 0)},
        {at(0, 0, 0), at(kInfinity<double>, 1, 0), at(0, 1, 0)},
    };
    for (const auto& triangle : degenerate) {
        for (const T tolerance : {T(1e-8), T(0), T(-1)}) {
            const auto weights = WeightsOf(triangle, at(1, 2, 3), tolerance);
            EXPECT_FALSE(weights.valid);
            EXPECT_EQ(weights.u, T{0});
            EXPECT_EQ(weights.v, T{0});
            EXPECT_EQ(weights.w, T{0});
        }
    }
}

TYPED_TEST(BarycentricOf, ToleranceIsRelativeAndStrict)
{
    using T = typename TypeParam::Scalar;
    constexpr int N = TypeParam::kDimension;
    const auto at = Point<N, T>;
    for (const double size : {0x1p-30, 1.0, 0x1p20}) {
        // Longest edge 4, height 1/4: |ab ^ ac| = 1 = 4 * 4 / 16, exact at each size.
        const std::array<VecBase<N, T>, 3> triangle{at(0, 0, 0), at(4 * size, 0, 0),
                                                    at(2 * size, size / 4, 0)};
        EXPECT_FALSE(WeightsOf(triangle, triangle[0], T(0.0625)).valid) << size;
        EXPECT_TRUE(WeightsOf(triangle, triangle[0], std::nextafter(T(0.0625), T(0))).valid)
            << size;
    }
}

TEST(Barycentric, NeedlesKeepTheirWeights)
{
    // Height 1e-7 of the base: a Gram matrix would square that and leave two digits.
    const Vec3d a{0, 0, 0};
    const Vec3d b{1, 2, 2};
    const Vec3d c = b * 0.5 + Vec3d{2, -2, 1} * 1e-7;
    const Vec3d p = a * 0.5 + b * 0.25 + c * 0.25;
    double u = 0;
    double v = 0;
    double w = 0;
    ASSERT_TRUE(Vector::BarycentricCoordinates(a, b, c, p, u, v, w, 1e-12));
    // p is rounded to 1e-16, the weights to that over the height of 3e-7.
    EXPECT_NEAR(u, 0.5, 2e-9);
    EXPECT_NEAR(v, 0.25, 2e-9);
    EXPECT_NEAR(w, 0.25, 2e-9);
}

TEST(Barycentric, OutputsMayBeCoordinatesOfTheInputs)
{
    Vec3d a{0, 0, 0};
    const Vec3d b{4, 0, 0};
    const Vec3d c{0, 2, 0};
    Vec3d p{1, 0.5, 0};
    ASSERT_TRUE(Vector::BarycentricCoordinates(a, b, c, p, p[0], p[1], a[2], 1e-12));
    EXPECT_EQ(p, (Vec3d{0.5, 0.25, 0}));
    EXPECT_EQ(a[2], 0.25);
}

} // namespace
