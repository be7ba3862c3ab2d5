// Oriented boxes and prisms with every allocation refused once: the exception passes on, and
// nothing is lost.

#include <Sorvane/OrientedBox_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/ThreadLimit.h"

#include <new>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Bounding = Sorvane::Bounding;
using Support::FailEachAllocationOfResult;

/// `FailEachAllocationOfResult` for calls with thousands of allocations: after the first dozen only
/// every so many of them. Returns how many were refused and ended the call. A stable sort does
/// without its buffer; then the result must be the same. Which allocation is that buffer's depends
/// on the threads.
template <class Call>
std::size_t FailManyAllocationsOf(const Call& call)
{
    const auto expected = call();
    std::size_t ended = 0;
    for (std::size_t k = 1;; k += 1 + k / 12) {
        SCOPED_TRACE(k);
        bool hasThrown = false;
        {
            const Support::FailingAllocation failure(k);
            try {
                EXPECT_EQ(call(), expected);
            } catch (const std::bad_alloc&) {
                hasThrown = true;
            }
            if (!failure.HasFailed()) {
                return ended;
            }
        }
        ended += hasThrown ? 1 : 0;
        EXPECT_EQ(call(), expected);
    }
}

TEST(OrientedBoxesWithoutMemory, PassTheExceptionOn)
{
    Support::Random random(3);
    std::vector<Vec3d> cloud;
    std::vector<Vec3d> sheet;
    std::vector<Vec2d> projected;
    for (int i = 0; i < 12; ++i) {
        cloud.push_back(random.Vector<3, double>(-1, 1));
        projected.push_back(random.Vector<2, double>(-1, 1));
        sheet.push_back({projected.back().x(), projected.back().y(), 0});
    }
    Support::WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      TransformBase<2> transform;
                      Vec2d size;
                      Bounding::OrientedBoundingBox(projected, transform, size);
                      return size;
                  }),
                  2U);
        for (const auto& points : {cloud, sheet}) {
            EXPECT_GT(FailEachAllocationOfResult([&] {
                          TransformBase<3> transform;
                          Vec3d size;
                          Bounding::OrientedBoundingBox(points, transform, size);
                          return size;
                      }),
                      5U);
        }
    });
}

TEST(OrientedBoxesWithoutMemory, PassTheExceptionOnFromTheLeastBoxAndPrisms)
{
    Support::Random random(5);
    std::vector<Vec3d> points;
    std::vector<Vec3f> narrow;
    for (int i = 0; i < 7; ++i) {
        points.push_back(random.Vector<3, double>(-1, 1));
        narrow.emplace_back(points.back());
    }
    Support::WithThreads(1, [&] {
        EXPECT_GT(FailManyAllocationsOf([&] {
                      TransformBase<3> transform;
                      Vec3d size;
                      Bounding::MinimalOrientedBox(points, transform, size);
                      return std::pair(transform, size);
                  }),
                  40U);
        EXPECT_GT(FailManyAllocationsOf([&] {
                      const auto report =
                          Bounding::MinimalHullPrism(points, {0, 1, 2}, Vec3d{}, true, true);
                      return std::tuple(report.transform, report.volume, report.high);
                  }),
                  20U);
        EXPECT_GT(FailManyAllocationsOf([&] {
                      const auto report =
                          Bounding::MinimalHullPrism(narrow, {0, 1, 2}, Vec3f{}, false, false);
                      return std::tuple(report.transform, report.area, report.low);
                  }),
                  20U);
    });
}

} // namespace
