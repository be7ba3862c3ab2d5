// Decimation when memory runs out: the outputs are left or replaced, never half of it.

#include <Sorvane/Decimation_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <vector>

namespace {

using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;

TEST(DecimationMemory, EitherFormThrowsAndGoesOnAfterwards)
{
    const IndexedMesh sphere = Support::Sphere(1);
    Support::WithThreads(1, [&] {
        const std::size_t queue = Support::FailEachAllocationOfResult([&] {
            IndexedMesh out;
            Mesh::DecimateMesh(sphere, out, 60, 50, 1, true);
            return std::pair(out.points, out.indices);
        });
        EXPECT_GT(queue, 20U);
        const std::size_t batches = Support::FailEachAllocationOfResult([&] {
            IndexedMesh out;
            Mesh::DecimationReport report;
            Mesh::DecimateInBatches(sphere, out, 60, 50, 1e300, report);
            return std::pair(out.points, out.indices);
        });
        EXPECT_GT(batches, 10U);
    });
}

} // namespace
