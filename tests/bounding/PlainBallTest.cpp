// Smallest enclosing circles and spheres against their slow twin, which narrows nothing down.

#include <Sorvane/BoundingVolumes_E.h>

#include "tests/bounding/BoundingForms.h"
#include "tests/bounding/PlainBall.h"
#include "tests/support/PointSets.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

template <class K>
class PlainBallOf : public testing::Test {
};
TYPED_TEST_SUITE(PlainBallOf, Support::BoundingForms);

template <class Real, int D, class T>
BoundingBall<D, Real> PlainBallOfAll(const std::vector<VecBase<D, T>>& points, bool skipHull)
{
    using Plain = Support::PlainBall<D, T, Real>;
    return skipHull ? Plain::Of(points) : Plain::OfHull(points);
}

/// Against the twin computed in `Real`.
template <class Real, int D, class T>
void ExpectSame(const std::vector<VecBase<D, T>>& points, double accuracy)
{
    for (const bool skipHull : {false, true}) {
        SCOPED_TRACE(skipHull ? "all points" : "vertices of the hull");
        const auto ball = Support::BallOf(points, skipHull);
        const auto plain = PlainBallOfAll<Real>(points, skipHull);
        // The twin reaches all that it has seen, the vertices of the hull; the ball all points.
        const Real size = plain.radius;
        Real reach = size;
        for (const auto& p : points) {
            reach = std::max(reach, Vector::Length(VecBase<D, Real>(p) - plain.center));
        }
        // That adds nothing but the tolerance within which points are one. Only a tiny hull may
        // have lost a vertex more: of three with next to no area the two farthest apart are left.
        if (size * size > static_cast<Real>(kLengthFloor<T>)) {
            EXPECT_LE(reach, size * (1 + Real(1e-9)) + 2 * static_cast<Real>(kLengthFloor<T>));
        }
        // The ball's center is rounded to T, wherever it lies.
        const double allowed = accuracy * static_cast<double>(size) +
                               static_cast<double>(2 * std::numeric_limits<T>::epsilon()) *
                                   static_cast<double>(Vector::Length(plain.center));
        EXPECT_NEAR(ball.radius, reach, allowed);
        EXPECT_LE(Vector::Length(VecBase<D, Real>(ball.center) - plain.center), allowed);
    }
}

/// Down to sizes at which the tolerance within which points count as inside shows in the result.
TYPED_TEST(PlainBallOf, SetsOfManyKindsSizesAndScales)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    constexpr bool isDouble = std::is_same_v<T, double>;
    Support::Random random(51);
    for (const T scale : {T(1e-5), T(1e-3), T(1), T(1000)}) {
        for (const Support::PointSet set : Support::kPointSets) {
            for (const int count : {3, 5, 10, 11, 40, 256, 257, 400, 2000}) {
                for (int trial = 0; trial < Support::Rounds(4, 1); ++trial) {
                    SCOPED_TRACE(Support::NameOf(set) + " " + std::to_string(count) + " of size " +
                                 std::to_string(scale));
                    auto points = Support::MakePoints<D, T>(set, count, random);
                    for (auto& p : points) {
                        p = p * scale;
                    }
                    ExpectSame<double>(points, isDouble ? 1e-9 : 1e-6);
                    // In float also by float's own arithmetic, unless its rounding decides whether
                    // a point is within a tolerance that shows.
                    if (!isDouble && scale >= T(1)) {
                        ExpectSame<T>(points, 1e-5);
                    }
                }
            }
        }
    }
}

/// Sets whose points are all within the tolerance of each other: of the same result bit for bit.
TYPED_TEST(PlainBallOf, CoincidentPointsInEverySizeClass)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> a;
    a[0] = std::is_same_v<T, double> ? T(0.3) : T(0.0003);
    a[D - 1] += a[0];
    VecBase<D, T> b = a;
    b[0] += kLengthFloor<T> / 2;
    b[1] += kLengthFloor<T> / 2;
    ASSERT_NE(a[0], b[0]);
    for (const std::size_t count : {1U, 2U, 3U, 9U, 10U, 11U, 12U, 200U, 256U, 257U, 400U}) {
        for (const bool skipHull : {false, true}) {
            SCOPED_TRACE(std::to_string(count) + (skipHull ? " without hull" : ""));
            std::vector<VecBase<D, T>> points(count, a);
            EXPECT_EQ(Support::BallOf(points, skipHull), PlainBallOfAll<T>(points, skipHull));
            for (std::size_t i = 0; i < count; i += 3) {
                points[i] = b;
            }
            EXPECT_EQ(Support::BallOf(points, skipHull), PlainBallOfAll<T>(points, skipHull));
            if (count > 40) {
                continue; // O(n^4) steps of the twin in space
            }
            for (std::size_t i = 0; i < count; ++i) { // up to ten values on a line along an axis
                points[i] = a;
                points[i][1] += kLengthFloor<T> * static_cast<T>(i * 7 % 10) / 10;
            }
            EXPECT_EQ(Support::BallOf(points, skipHull), PlainBallOfAll<T>(points, skipHull));
        }
    }
}

/// The solve would take O(n^2) steps, and O(n^3) of more than one value.
TYPED_TEST(PlainBallOf, ManyCoincidentPointsTakeNoLongSolve)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    VecBase<D, T> a;
    a[0] = T(0.05);
    std::vector<VecBase<D, T>> points(Support::Rounds(1'000'000U), a);
    const BoundingBall<D, T> aboutOrigin{{}, T(0.05)};
    EXPECT_EQ(Support::BallOf(points, true), aboutOrigin);
    EXPECT_EQ(Support::BallOf(points, false), D == 2 ? (BoundingBall<D, T>{a, T(0)}) : aboutOrigin);
    for (std::size_t i = 0; i < points.size(); ++i) { // on a line along an axis
        points[i][1] = kLengthFloor<T> * static_cast<T>(i * 7 % 10) / 10;
    }
    EXPECT_EQ(Support::BallOf(points, true), aboutOrigin);
    VecBase<D, T> b = a;
    b[0] = std::nextafter(b[0], T(0));
    b[1] = kLengthFloor<T> / 2;
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = i % 2 == 0 ? a : b;
    }
    EXPECT_EQ(Support::BallOf(points, true), aboutOrigin);
}

} // namespace
