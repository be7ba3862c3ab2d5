// The public smallest enclosing circle and sphere: with the hull, without it, and the odd cases.

#include <Sorvane/BoundingVolumes_E.h>

#include "tests/bounding/BallOracle.h"
#include "tests/bounding/BoundingForms.h"
#include "tests/support/PointSets.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

template <class K>
class BoundingBallsOf : public testing::Test {
};
TYPED_TEST_SUITE(BoundingBallsOf, Support::BoundingForms);

template <int D, class T>
void ExpectSmallest(const BoundingBall<D, T>& ball, const std::vector<VecBase<D, T>>& points)
{
    for (const auto& p : points) {
        ASSERT_LE(Vector::Length(p - ball.center), ball.radius);
    }
    const long double smallest = Support::SmallestRadius(points);
    const long double accuracy = std::is_same_v<T, double> ? 1e-9L : 2e-6L;
    // The hull may leave out points by 2e-9 of the size, and the center is rounded to T.
    const long double slack = 1e-9L * smallest + 2 * kLengthFloor<T> +
                              std::numeric_limits<T>::epsilon() * Vector::Length(ball.center);
    ASSERT_LE(static_cast<long double>(ball.radius), smallest * (1 + accuracy) + slack);
}

TYPED_TEST(BoundingBallsOf, NoneOneAndTwoPoints)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using V = VecBase<D, T>;
    V a;
    a[0] = T(3);
    V b = a;
    b[1] = T(4);
    V middle = a;
    middle[1] = T(2);
    for (const bool skipHull : {false, true}) {
        EXPECT_EQ(Support::BallOf(std::vector<V>{}, skipHull), (BoundingBall<D, T>{}));
        EXPECT_EQ(Support::BallOf(std::vector<V>{a}, skipHull), (BoundingBall<D, T>{a, T(0)}));
        EXPECT_EQ(Support::BallOf(std::vector<V>{a, b}, skipHull),
                  (BoundingBall<D, T>{middle, T(2)}));
        // Two coincident points stay at the origin, and the ball does not hold them.
        EXPECT_EQ(Support::BallOf(std::vector<V>{a, a}, skipHull), (BoundingBall<D, T>{}));
    }
}

TYPED_TEST(BoundingBallsOf, TheHullComesInAboveTenPoints)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using V = VecBase<D, T>;
    // Coincident points tell: the hull in the plane makes one point of them; without a hull they
    // have a ball about the origin. In space they have no hull.
    V a;
    a[0] = T(3);
    a[1] = T(4);
    const BoundingBall<D, T> aboutOrigin{{}, T(5)};
    const BoundingBall<D, T> onePoint{a, T(0)};
    for (const std::size_t count : {3U, 10U, 11U, 5000U}) {
        const std::vector<V> points(count, a);
        EXPECT_EQ(Support::BallOf(points, true), aboutOrigin);
        EXPECT_EQ(Support::BallOf(points, false), D == 2 && count > 10 ? onePoint : aboutOrigin);
    }
}

TYPED_TEST(BoundingBallsOf, CornersOfACube)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    // With the middles of edges, which are on the hull's edges: 9 and 27 points.
    const AxisAlignedBoundingBox<D, T> box{Impl::Uniform<D, T>(1), Impl::Uniform<D, T>(3)};
    std::array<unsigned int, D> counts;
    counts.fill(1);
    for (const bool skipHull : {false, true}) {
        const auto ball = Support::BallOf(GridOfPoints(box, counts), skipHull);
        EXPECT_NEAR(ball.radius, std::sqrt(T(D)), 8 * std::numeric_limits<T>::epsilon());
        for (const T x : ball.center) {
            EXPECT_NEAR(x, 2, 8 * std::numeric_limits<T>::epsilon());
        }
    }
}

TYPED_TEST(BoundingBallsOf, HoldsAllPointsAndIsSmallest)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(41);
    for (const Support::PointSet set : Support::kPointSets) {
        for (int trial = 0; trial < Support::Rounds(40); ++trial) {
            SCOPED_TRACE(Support::NameOf(set) + " " + std::to_string(trial));
            const auto points =
                Support::MakePoints<D, T>(set, 11 + random.Below(trial < 4 ? 2000 : 200), random);
            ExpectSmallest(Support::BallOf(points, false), points);
            ExpectSmallest(Support::BallOf(points, true), points);
            if (this->HasFatalFailure()) {
                return;
            }
        }
    }
}

TYPED_TEST(BoundingBallsOf, FlatSetsOfAllSizes)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(42);
    for (const int count : {5, 10, 11, 50, 200, 1000}) {
        auto points = Support::MakePoints<D, T>(Support::PointSet::Ball, count, random);
        for (auto& p : points) {
            p[D - 1] = T(7); // in a plane, and for D = 2 on a line
        }
        ExpectSmallest(Support::BallOf(points, false), points);
        ExpectSmallest(Support::BallOf(points, true), points);
    }
}

// Squares of such coordinates overflow, in float from 2e19 on.
TYPED_TEST(BoundingBallsOf, HugeCoordinates)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(44);
    const std::vector<int> exponents = std::is_same_v<T, float> ? std::vector<int>{64, 65, 100, 124}
                                                                : std::vector<int>{512, 700, 1020};
    for (const int exponent : exponents) {
        for (const int count : {4, 10, 11, 60, 257, 3000}) {
            SCOPED_TRACE(exponent);
            SCOPED_TRACE(count);
            const auto points = Support::MakePoints<D, T>(Support::PointSet::Ball, count, random);
            auto huge = points;
            for (auto& p : huge) {
                for (T& x : p) {
                    x = std::ldexp(x, exponent);
                }
            }
            const long double smallest = Support::SmallestRadius(points);
            for (const bool skipHull : {false, true}) {
                const auto ball = Support::BallOf(huge, skipHull);
                const long double radius =
                    std::ldexp(static_cast<long double>(ball.radius), -exponent);
                VecBase<D, T> center;
                for (int axis = 0; axis < D; ++axis) {
                    center[axis] = std::ldexp(ball.center[axis], -exponent);
                }
                EXPECT_GE(radius, Support::ReachOf(points, center) *
                                      (1 - 2 * std::numeric_limits<T>::epsilon()));
                EXPECT_LE(radius, smallest * (std::is_same_v<T, double> ? 1 + 1e-8L : 1 + 1e-5L));
            }
        }
    }
}

// Points that all coincide with the origin within the tolerance: no NaN, and all are held.
TYPED_TEST(BoundingBallsOf, PointsWhoseSquaresVanish)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(45);
    const std::vector<int> exponents = std::is_same_v<T, float>
                                           ? std::vector<int>{-64, -70, -120}
                                           : std::vector<int>{-511, -540, -1000};
    for (const int exponent : exponents) {
        for (const int count : {3, 7, 11, 20, 400}) {
            SCOPED_TRACE(exponent);
            SCOPED_TRACE(count);
            auto points = Support::MakePoints<D, T>(Support::PointSet::Cube, count, random);
            for (auto& p : points) {
                for (T& x : p) {
                    x = std::ldexp(x, exponent);
                }
            }
            const auto ball = Support::BallOf(points, true);
            EXPECT_GE(ball.radius, Support::ReachOf(points, ball.center) * (1 - 1e-6L));
            EXPECT_LE(ball.radius, std::ldexp(T(4), exponent));
        }
    }
}

TYPED_TEST(BoundingBallsOf, PointsThatAreNotFiniteEnd)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(43);
    for (const T bad : {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity(),
                        std::numeric_limits<T>::max()}) {
        for (const int count : {3, 8, 100, 3000}) {
            for (const bool skipHull : {false, true}) {
                auto points = Support::MakePoints<D, T>(Support::PointSet::Ball, count, random);
                points[1][0] = bad;
                std::ignore = Support::BallOf(points, skipHull);
            }
        }
    }
}

} // namespace
