// Filters of points, and the coloring of maps, with every allocation refused once: points that are
// filtered in place are then there as they were.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/MapColoring_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/ThreadLimit.h"

#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::FailEachAllocationOfEither;
using Support::FailEachAllocationOfResult;

template <class Point>
std::vector<Point> PointsWithRepeats(int count)
{
    Support::Random random(5);
    std::vector<Point> points;
    for (int i = 0; i < count; ++i) {
        Point point;
        for (auto& coordinate : point) {
            coordinate = static_cast<typename Point::value_type>(random.Below(7));
        }
        points.push_back(point);
        point[0] += static_cast<typename Point::value_type>(0.125 * random.Below(2));
        points.push_back(point);
    }
    return points;
}

// Fails each allocation of the two forms, and counts how often they throw. A sort that gets no
// memory for a buffer goes on without it: then the points are filtered.
template <class Point>
std::size_t FailuresOfFilters(const std::vector<Point>& points,
                              typename Point::value_type tolerance)
{
    using Points = std::vector<Point>;
    Points filtered = points;
    Vector::FilterForUniqueness(filtered, tolerance);
    const auto hasSameBits = [](const Points& a, const Points& b) {
        return a.size() == b.size() &&
               std::memcmp(a.data(), b.data(), a.size() * sizeof(Point)) == 0;
    };
    std::size_t thrown = 0;
    const auto prepare = [&] { return Points(points); };
    const auto check = [&](const Points& left, bool hasThrown) {
        EXPECT_TRUE(hasSameBits(left, hasThrown ? points : filtered));
        thrown += hasThrown ? 1U : 0U;
    };
    Support::WithThreads(1, [&] {
        FailEachAllocationOfEither(
            prepare, [&](Points& left) { Vector::FilterForUniqueness(left, tolerance); }, check);
        FailEachAllocationOfEither(
            prepare,
            [&](Points& left) { (void)Vector::FilterForUniquenessAndIndex(left, tolerance); },
            check);
    });
    return thrown;
}

template <class T>
class FiltersWithoutMemory : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(FiltersWithoutMemory, Scalars);

TYPED_TEST(FiltersWithoutMemory, LeaveThePointsAsTheyWere)
{
    using T = TypeParam;
    const auto inThePlane = PointsWithRepeats<VecBase<2, T>>(60);
    const auto inSpace = PointsWithRepeats<VecBase<3, T>>(60);
    for (const T tolerance : {T(0), T(0.25)}) {
        EXPECT_GT(FailuresOfFilters(inThePlane, tolerance), 5U);
        EXPECT_GT(FailuresOfFilters(inSpace, tolerance), 5U);
    }
    // More than one chunk of points, each chunk with a table of its own.
    EXPECT_GT(FailuresOfFilters(PointsWithRepeats<VecBase<3, T>>(6000), T(0.25)), 5U);
}

TYPED_TEST(FiltersWithoutMemory, LeaveThePointsAsTheyWereUnderAnInfiniteTolerance)
{
    using T = TypeParam;
    constexpr T kInfinity = std::numeric_limits<T>::infinity();
    auto points = PointsWithRepeats<VecBase<2, T>>(5);
    points.push_back({kInfinity, T(0)});
    points.push_back({-kInfinity, kInfinity});
    EXPECT_GT(FailuresOfFilters(points, kInfinity), 3U);
    points.push_back({std::numeric_limits<T>::quiet_NaN(), T(0)});
    EXPECT_GT(FailuresOfFilters(points, kInfinity), 3U);
}

TEST(MapColoringWithoutMemory, PassesTheExceptionOn)
{
    const std::vector<std::vector<int>> pentagon{{1, 4}, {2}, {3}, {4}, {}};
    EXPECT_GT(FailEachAllocationOfResult([&] {
                  unsigned int count = 0;
                  return std::pair(MapColoring(pentagon, count), count);
              }),
              1U);
}

TEST(PointStreamsWithoutMemory, PassTheExceptionOn)
{
    const std::vector<Geometry::SegBase<double>> segments{
        {{0, 0}, {1, 0}}, {{1, 1}, {1, 0}}, {{5, 5}, {6, 6}}, {{1, 1}, {0, 0}}};
    EXPECT_GT(FailEachAllocationOfResult(
                  [&] { return Vector::SegmentsToPolyPointStream(segments, 1e-9); }),
              3U);
    const std::vector<Vec2d> points{{0, 0}, {1, 0}, {1, 1}};
    EXPECT_GT(FailEachAllocationOfResult([&] { return Vector::PointStreamToSegments(points); }),
              0U);
}

} // namespace
