// Oriented boxes and prisms with every allocation refused once: the exception passes on, and
// nothing is lost.

#include <Sorvane/OrientedBox_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/ThreadLimit.h"

#include <tuple>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Bounding = Sorvane::Bounding;
using Support::FailEachAllocationOfResult;

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

} // namespace
