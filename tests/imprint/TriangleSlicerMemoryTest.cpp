// Slicing with every allocation refused once: the exception passes, and the next call gives what it
// always gives.

#include <Sorvane/TriangleSlicer_E.h>

#include "tests/imprint/SlicerSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/ThreadLimit.h"

#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using namespace Support;
using Mesh::TriangleSlicer;

TEST(SlicerWithoutMemory, PassesTheExceptionOn)
{
    const TriangleSlicer slicer(SoupOf(Octahedron()));
    const TriangleSlicer flat({{Vec3d(-2, -2, 0), Vec3d(2, -2, 0), Vec3d(0, 2, 0)}});
    const Soup fin{{Vec3d(0, -1, -1), Vec3d(0, -1, 1), Vec3d(0, 1, 0)}};
    WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      const auto half = slicer.SliceTriangles({1, 2, 3}, {0.1, 0, 0}, false, 1e-9);
                      return std::pair(half.triangles, PolylinesOf(half));
                  }),
                  20U);
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      const auto cut = flat.SliceTriangles(fin);
                      return std::pair(std::pair(cut.first, cut.second), cut.curves);
                  }),
                  50U);
        EXPECT_GT(FailEachAllocationOfResult([&] { return flat.SegmentsAtIntersection(fin); }), 5U);
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      return TriangleSlicer(Joined(flat.Soup(), fin)).SelfIntersections().first;
                  }),
                  50U);
    });
}

} // namespace
