// The solver of smallest enclosing balls and its quick form for large inputs, in the plane and in
// space.

#include "bounding/SmallestBall_Impl.h"

#include "tests/bounding/BallOracle.h"
#include "tests/bounding/BoundingForms.h"
#include "tests/support/PointSets.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <span>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

template <class K>
class SmallestBallOf : public testing::Test {
};
TYPED_TEST_SUITE(SmallestBallOf, Support::BoundingForms);

/// Relative accuracy of the radius: 1e-9, or what the coordinate type can hold.
template <class T>
constexpr long double kAccuracy = std::is_same_v<T, double> ? 1e-9L : 2e-6L;

template <int D, class T>
void ExpectSmallest(const BoundingBall<D, T>& ball, const std::vector<VecBase<D, T>>& points)
{
    for (const auto& p : points) {
        ASSERT_LE(Vector::Length(p - ball.center), ball.radius);
    }
    const long double bound = Support::SmallestRadius(points);
    // The tolerance within which points count as inside is absolute, and the center is rounded to
    // T.
    const long double rounding =
        2 * kLengthFloor<T> + std::numeric_limits<T>::epsilon() * Vector::Length(ball.center);
    ASSERT_LE(static_cast<long double>(ball.radius), bound * (1 + kAccuracy<T>)+rounding);
    ASSERT_GE(static_cast<long double>(ball.radius), bound * (1 - kAccuracy<T>));
}

TYPED_TEST(SmallestBallOf, NoneOneAndTwoPoints)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using V = VecBase<D, T>;
    EXPECT_EQ(Impl::SmallestBall(std::vector<V>{}), (BoundingBall<D, T>{}));
    V a;
    a[0] = T(3);
    EXPECT_EQ(Impl::SmallestBall(std::vector<V>{a}), (BoundingBall<D, T>{a, T(0)}));
    V b = a;
    b[1] = T(4);
    V middle = a;
    middle[1] = T(2);
    EXPECT_EQ(Impl::SmallestBall(std::vector<V>{a, b}), (BoundingBall<D, T>{middle, T(2)}));
}

TYPED_TEST(SmallestBallOf, TwoCoincidentPointsGiveTheZeroBallAtTheOrigin)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> a;
    a[0] = T(3);
    EXPECT_EQ(Impl::SmallestBall(std::vector<VecBase<D, T>>{a, a}), (BoundingBall<D, T>{}));
}

TYPED_TEST(SmallestBallOf, MoreCoincidentPointsGiveABallAboutTheOrigin)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> a;
    a[0] = T(3);
    a[1] = T(-4);
    const auto ball = Impl::SmallestBall(std::vector<VecBase<D, T>>(7, a));
    EXPECT_EQ(ball, (BoundingBall<D, T>{{}, T(5)}));
}

TYPED_TEST(SmallestBallOf, TwoOfThreePointsCoincident)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> a;
    a[0] = T(3);
    VecBase<D, T> b = a;
    b[1] = T(8);
    const std::vector<VecBase<D, T>> orders[] = {{a, a, b}, {a, b, a}, {b, a, a}};
    for (const auto& points : orders) {
        ExpectSmallest(Impl::SmallestBall(points), points);
    }
}

TYPED_TEST(SmallestBallOf, RegularSimplex)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using V = VecBase<D, T>;
    // Corners of a cube that share no edge: the center is the cube's, the radius half the diagonal.
    std::vector<V> points;
    T expected;
    if constexpr (D == 3) {
        points = {V{1, 1, 1}, V{1, -1, -1}, V{-1, 1, -1}, V{-1, -1, 1}};
        expected = std::sqrt(T(3));
    } else {
        points = {V{2, 0}, V{-1, std::sqrt(T(3))}, V{-1, -std::sqrt(T(3))}};
        expected = T(2);
    }
    const auto ball = Impl::SmallestBall(points);
    EXPECT_NEAR(ball.radius, expected, 4 * std::numeric_limits<T>::epsilon());
    EXPECT_NEAR(Vector::Length(ball.center), 0, 4 * std::numeric_limits<T>::epsilon());
}

TYPED_TEST(SmallestBallOf, ObtuseTriangleHasItsLongestSideForDiameter)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> a;
    VecBase<D, T> b;
    VecBase<D, T> c;
    b[0] = T(10);
    c[0] = T(4);
    c[1] = T(1);
    const auto ball = Impl::SmallestBall(std::vector<VecBase<D, T>>{a, b, c});
    EXPECT_EQ(ball.radius, T(5));
    EXPECT_EQ(ball.center[0], T(5));
    EXPECT_EQ(ball.center[1], T(0));
}

TYPED_TEST(SmallestBallOf, HoldsAllPointsAndIsSmallestOnThousandsOfSets)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(11);
    for (const Support::PointSet set : Support::kPointSets) {
        for (int trial = 0; trial < Support::Rounds(250); ++trial) {
            SCOPED_TRACE(Support::NameOf(set) + " " + std::to_string(trial));
            const int count = 3 + random.Below(trial % 5 == 0 ? 60 : 9);
            const auto points = Support::MakePoints<D, T>(set, count, random);
            // All equal points are a case of their own.
            if (Support::ReachOf(points, points[0]) == 0) {
                continue;
            }
            ExpectSmallest(Impl::SmallestBall(points), points);
            if (this->HasFatalFailure()) {
                return;
            }
        }
    }
}

TYPED_TEST(SmallestBallOf, ScalesAndOffsets)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(12);
    for (const T scale : {T(1e-3), T(1), T(28848.4), T(1e6)}) {
        for (int trial = 0; trial < Support::Rounds(300); ++trial) {
            SCOPED_TRACE(trial);
            // Of a lattice many points are on one sphere, by rounding just inside or outside.
            const Support::PointSet sets[] = {Support::PointSet::Cube, Support::PointSet::Sphere,
                                              Support::PointSet::Lattice};
            auto points = Support::MakePoints<D, T>(sets[trial % 3], 3 + random.Below(60), random);
            const auto offset = random.Vector<D, T>(-10, 10);
            for (auto& p : points) {
                p = (p + offset) * scale;
            }
            ExpectSmallest(Impl::SmallestBall(points), points);
            if (this->HasFatalFailure()) {
                return;
            }
        }
    }
}

// A heap of points within the tolerance of each other and one far off, with noise far below it. The
// ball through two points of the heap and the far one may be of any size.
TYPED_TEST(SmallestBallOf, AHeapWithinTheToleranceAndAFarPoint)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(21);
    const double tolerance = static_cast<double>(kLengthFloor<T>);
    for (int trial = 0; trial < Support::Rounds(3000); ++trial) {
        SCOPED_TRACE(trial);
        const int count = 3 + random.Below(trial % 4 == 0 ? 40 : 7);
        const double size = tolerance * std::pow(10.0, -random.Between(-0.5, 25));
        const double noise = std::pow(10.0, -random.Between(30, 37));
        const int line = random.Below(3); // along the way to the far point, across it, or a cloud
        VecBase<D, T> far;
        far[0] = static_cast<T>(random.Between(0.1, 1));
        std::vector<VecBase<D, T>> points;
        for (int i = 0; i + 1 < count; ++i) {
            VecBase<D, T> p;
            for (int axis = 0; axis < D; ++axis) {
                const double reach = line == 2 || (line == 0) == (axis == 0) ? size : noise;
                p[axis] = static_cast<T>(random.Between(-reach, reach));
            }
            points.push_back(p);
        }
        points.insert(points.begin() + random.Below(count), far);
        ExpectSmallest(Impl::SmallestBall(points), points);
        if (this->HasFatalFailure()) {
            return;
        }
    }
}

TYPED_TEST(SmallestBallOf, SizesAtTheEndsOfTheNumberRange)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(22);
    const std::vector<int> exponents = std::is_same_v<T, float>
                                           ? std::vector<int>{62, 66, 100, 124}
                                           : std::vector<int>{500, 512, 700, 1020};
    for (const int exponent : exponents) {
        for (const int sign : {1, -1}) {
            for (const int count : {3, 8, 40, 300}) {
                SCOPED_TRACE(exponent * sign);
                SCOPED_TRACE(count);
                const auto points =
                    Support::MakePoints<D, T>(Support::PointSet::Cube, count, random);
                std::vector<VecBase<D, T>> scaled = points;
                for (auto& p : scaled) {
                    for (T& x : p) {
                        x = std::ldexp(x, sign * exponent);
                    }
                }
                const auto ball = Impl::SmallestBall(scaled);
                // All of it brought back to about 1, where the oracle works. Points that coincide
                // within the tolerance may have a ball a little larger than the smallest.
                const long double radius =
                    std::ldexp(static_cast<long double>(ball.radius), -sign * exponent);
                VecBase<D, T> center;
                for (int axis = 0; axis < D; ++axis) {
                    center[axis] = std::ldexp(ball.center[axis], -sign * exponent);
                }
                const long double bound = Support::SmallestRadius(points);
                EXPECT_GE(radius, Support::ReachOf(points, center) *
                                      (1 - 2 * std::numeric_limits<T>::epsilon()));
                EXPECT_LE(radius, bound * (1 + 4 * kAccuracy<T>));
            }
        }
    }
}

TYPED_TEST(SmallestBallOf, ByExchangeIsSmallestOnAllSets)
{
    constexpr int D = TypeParam::D;
    Support::Random random(23);
    for (const Support::PointSet set : Support::kPointSets) {
        for (int trial = 0; trial < Support::Rounds(40); ++trial) {
            SCOPED_TRACE(Support::NameOf(set) + " " + std::to_string(trial));
            const auto points = Support::MakePoints<D, double>(
                set, 1 + random.Below(trial % 5 == 0 ? 300 : 12), random);
            const auto ball =
                Impl::SmallestBallByExchange<D>(std::span<const VecBase<D, double>>(points));
            const long double reach = Support::ReachOf(points, ball.center);
            ASSERT_NEAR(static_cast<double>(reach), ball.radius, 1e-15 * (1 + ball.radius));
            ASSERT_LE(reach, Support::SmallestRadius(points) * (1 + 1e-12L) + 1e-300L);
        }
    }
}

TYPED_TEST(SmallestBallOf, IsAPureFunctionOfTheOrder)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(13);
    const auto points = Support::MakePoints<D, T>(Support::PointSet::Sphere, 200, random);
    const auto ball = Impl::SmallestBall(points);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Impl::SmallestBall(points), ball);
    }
}

TYPED_TEST(SmallestBallOf, PointsThatAreNotFiniteEnd)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(14);
    for (const T bad : {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity(),
                        std::numeric_limits<T>::max()}) {
        auto points = Support::MakePoints<D, T>(Support::PointSet::Ball, 50, random);
        points[7][1] = bad;
        points[30][0] = -bad;
        std::ignore = Impl::SmallestBall(points);
        auto many = Support::MakePoints<D, T>(Support::PointSet::Ball, 3000, random);
        many[1234][0] = bad;
        std::ignore = Impl::SmallestBallOfMany(many);
    }
}

TYPED_TEST(SmallestBallOf, ManyPointsAsTheSolverHasThem)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(15);
    for (const Support::PointSet set : Support::kPointSets) {
        for (const T offset : {T(0), T(100)}) {
            for (const int count : {257, 1000, 2001, Support::FullOr(20000, 4000)}) {
                SCOPED_TRACE(Support::NameOf(set) + " " + std::to_string(count));
                auto points = Support::MakePoints<D, T>(set, count, random);
                for (auto& p : points) {
                    p[0] += offset;
                }
                const auto quick = Impl::SmallestBallOfMany(points);
                ASSERT_TRUE(quick.has_value());
                ExpectSmallest(*quick, points);
                if (this->HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TYPED_TEST(SmallestBallOf, ManyCoincidentPointsAreLeftToTheSolver)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> a;
    a[0] = T(3);
    EXPECT_FALSE(Impl::SmallestBallOfMany(std::vector<VecBase<D, T>>(5000, a)).has_value());
}

TYPED_TEST(SmallestBallOf, ManyPointsWithTheFarOnesOutsideTheSample)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    // A dense heap that the sample sees and two far points that it doesn't: half their distance.
    Support::Random random(16);
    auto points = Support::MakePoints<D, T>(Support::PointSet::Ball, 100'000, random);
    points[50'001] = {};
    points[50'001][0] = T(300);
    points[77'777] = {};
    points[77'777][0] = T(-100);
    const auto ball = Impl::SmallestBallOfMany(points);
    ASSERT_TRUE(ball.has_value());
    EXPECT_NEAR(ball->radius, 200, 1e-4);
    EXPECT_NEAR(ball->center[0], 100, 1e-4);
    ExpectSmallest(*ball, points);
}

TEST(Circumcircle, RightTriangleAndTolerance)
{
    BoundingBall<2, double> circle;
    // Twice the area is 12, and a tolerance of as much refuses.
    EXPECT_TRUE(Impl::Circumcircle<double>({0, 0}, {3, 0}, {0, 4}, 11.999, circle));
    EXPECT_EQ(circle, (BoundingBall<2, double>{{1.5, 2}, 2.5}));
    const auto before = circle;
    EXPECT_FALSE(Impl::Circumcircle<double>({0, 0}, {3, 0}, {0, 4}, 12, circle));
    EXPECT_FALSE(Impl::Circumcircle<double>({0, 0}, {1, 1}, {5, 5}, 0, circle));
    EXPECT_EQ(circle, before);
}

TEST(Circumsphere, OfACornerTetrahedronAndOfAFlatOne)
{
    BoundingBall<3, double> sphere;
    // Of the corner of a 2 x 4 x 6 block: the block's own.
    EXPECT_TRUE(Impl::Circumsphere({0, 0, 0}, {2, 0, 0}, {0, 4, 0}, {0, 0, 6}, sphere));
    EXPECT_NEAR(Vector::Length(sphere.center - Vec3d{1, 2, 3}), 0, 1e-15);
    EXPECT_NEAR(sphere.radius, std::sqrt(14.0), 1e-15);
    EXPECT_FALSE(Impl::Circumsphere({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, sphere));
}

} // namespace
