// Hulls and balls with every allocation refused once: points that become their own hull are then
// there as they were.

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/ThreadLimit.h"

#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Bounding = Sorvane::Bounding;
using Support::FailEachAllocation;
using Support::FailEachAllocationOfResult;

template <class T>
class HullsWithoutMemory : public testing::Test {
protected:
    template <int D>
    static std::vector<VecBase<D, T>> Cloud()
    {
        Support::Random random(3);
        std::vector<VecBase<D, T>> points;
        for (int i = 0; i < 120; ++i) {
            points.push_back(random.Vector<D, T>(-1, 1));
        }
        return points;
    }
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(HullsWithoutMemory, Scalars);

TYPED_TEST(HullsWithoutMemory, InSpaceLeaveTheirOutputsAsTheyWere)
{
    using T = TypeParam;
    using Points = std::vector<VecBase<3, T>>;
    struct State {
        Points points;
        std::vector<int> indices;
    };
    const Points cloud = this->template Cloud<3>();
    const std::vector<int> indices{7, 8, 9};
    Support::WithThreads(1, [&] {
        for (const bool sortedUnique : {false, true}) {
            Points points = cloud;
            if (sortedUnique) {
                Vector::FilterForUniqueness(points, T(0));
            }
            for (const bool indicesOnly : {false, true}) {
                EXPECT_GT(FailEachAllocation(
                              [&] {
                                  return State{points, indices};
                              },
                              [&](State& state) { // in place
                                  Bounding::ConvexHull(state.points, state.points, state.indices,
                                                       sortedUnique, indicesOnly);
                              },
                              [&](const State& left) {
                                  EXPECT_TRUE(left.points == points);
                                  EXPECT_EQ(left.indices, indices);
                              }),
                          10U);
            }
        }
    });
}

TYPED_TEST(HullsWithoutMemory, InThePlanePassTheExceptionOn)
{
    const auto cloud = this->template Cloud<2>();
    Support::WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([&] { return Bounding::ConvexHull(cloud, false); }),
                  2U);
    });
}

TYPED_TEST(HullsWithoutMemory, BallsPassTheExceptionOn)
{
    const auto inThePlane = this->template Cloud<2>();
    const auto inSpace = this->template Cloud<3>();
    Support::WithThreads(1, [&] {
        for (const bool skipHull : {false, true}) {
            EXPECT_GT(FailEachAllocationOfResult([&] {
                          const auto ball = Bounding::BoundingCircleOfPoints(inThePlane, skipHull);
                          return std::pair(ball.center, ball.radius);
                      }),
                      0U);
            EXPECT_GT(FailEachAllocationOfResult([&] {
                          const auto ball = Bounding::BoundingSphereOfPoints(inSpace, skipHull);
                          return std::pair(ball.center, ball.radius);
                      }),
                      0U);
        }
    });
}

} // namespace
