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

template <int D, class T>
double ReachFrom(const VecBase<D, double>& center, const std::vector<VecBase<D, T>>& points)
{
    double reach = 0;
    for (const auto& p : points) {
        reach = std::max(
            reach, Support::PlainBall<D, T, double>::LengthOf(VecBase<D, double>(p) - center));
    }
    return reach;
}

/// Against the twin computed in `double`.
///
/// A ball that leaves points out by the tolerance at most is as good as the smallest one, and of
/// points that hardly pin the center down those of both may lie well apart: with the smallest
/// radius r and a reach of r + t, by sqrt(2 r t). So what counts is how far the points are from the
/// center, and no other center makes that less than the smallest radius.
template <int D, class T>
void ExpectAsSmall(const std::vector<VecBase<D, T>>& points)
{
    constexpr double kEpsilon = std::numeric_limits<T>::epsilon();
    const double tolerance = kLengthFloor<T>;
    for (const bool skipHull : {false, true}) {
        SCOPED_TRACE(skipHull ? "all points" : "vertices of the hull");
        const auto ball = Support::BallOf(points, skipHull);
        const auto plain = PlainBallOfAll<double>(points, skipHull);
        // The twin reaches all that it has seen, the vertices of the hull; the ball all points.
        const double size = plain.radius;
        const double plainReach = std::max(size, ReachFrom(plain.center, points));
        // That adds nothing but the tolerance within which points are one. Only a tiny hull may
        // have lost a vertex more: of three with next to no area the two farthest apart are left.
        if (size * size > tolerance) {
            EXPECT_LE(plainReach, size * (1 + 1e-9) + 2 * tolerance);
        }
        // The center is rounded to T on every axis, wherever it lies, and distances from there are
        // measured in T, to four roundings or two epsilons. Before that the points that pin it down
        // may do it badly: to a share of 1e-9 of the size, as the twin's.
        const double rounding = kEpsilon * (Vector::Length(plain.center) + 2 * size) + 1e-9 * size;
        const double reach = ReachFrom(VecBase<D, double>(ball.center), points);
        EXPECT_NEAR(ball.radius, reach, rounding);
        EXPECT_LE(reach, plainReach + tolerance + rounding);
        if (size > 4 * tolerance) { // else the twin may take all of them for one point
            EXPECT_LE(plainReach, reach + tolerance + rounding);
        }
    }
}

/// Down to sizes at which the tolerance within which points count as inside shows in the result.
TYPED_TEST(PlainBallOf, SetsOfManyKindsSizesAndScales)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
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
                    ExpectAsSmall(points);
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
