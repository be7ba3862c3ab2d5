// Ordered pairs with every allocation refused once: the exception passes, and the next call gives
// what it always gives.

#include <Sorvane/OrderedPairs_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/ThreadLimit.h"

namespace {

using namespace Velk::Math::Sorvane;
using Support::FailEachAllocationOfResult;

TEST(OrderedPairsWithoutMemory, PassTheExceptionOn)
{
    const Support::IndexedMesh grid = Support::Grid(12, 9);
    const Mesh::TripleIndexWrapper triangles(grid.indices.data(), grid.indices.size());
    Support::WithThreads(1, [&] {
        const auto pairs = MeshUtils::OrderedPairsFromTriangles(triangles);
        const auto boundary = MeshUtils::RemoveCancelledPairs(pairs);
        EXPECT_EQ(boundary.size(), 2U * (12 + 9));
        EXPECT_GT(FailEachAllocationOfResult(
                      [&] { return MeshUtils::OrderedPairsFromTriangles(triangles); }),
                  0U);
        EXPECT_GT(
            FailEachAllocationOfResult([&] { return MeshUtils::RemoveCancelledPairs(pairs); }), 1U);
        EXPECT_GT(
            FailEachAllocationOfResult([&] { return MeshUtils::ConcatenateOderedPairs(boundary); }),
            2U);
    });
}

} // namespace
