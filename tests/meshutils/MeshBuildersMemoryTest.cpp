// The builders with every allocation refused once: the exception passes, and the next call gives
// what it always gives.

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/Triangle_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/ThreadLimit.h"

#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::FailEachAllocationOfResult;

TEST(MeshBuildersWithoutMemory, PassTheExceptionOn)
{
    const std::vector<Vec3d> curve{{-2, -1, 0}, {2, 1, 0.5}, {2, -1, 0}, {-2, 1, 0.5}, {-2, -1, 0}};
    const std::vector<Vec2d> profile{{0, 0}, {2, 0}, {2, 1}, {0, 0}};
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace> mesh;
    mesh.LoadIndexedPoints(Support::Octahedron());
    const auto normals = Mesh::Normals(Support::Sphere(1));
    Support::WithThreads(1, [&] {
        EXPECT_EQ(MeshUtils::Map3DClosedCurveToPlane(curve).size(), 5U);
        EXPECT_FALSE(MeshUtils::TessellatePointStream(curve).indices.empty());
        EXPECT_GT(
            FailEachAllocationOfResult([&] { return MeshUtils::Map3DClosedCurveToPlane(curve); }),
            10U);
        EXPECT_GT(
            FailEachAllocationOfResult([&] { return MeshUtils::TessellatePointStream(curve); }),
            40U);
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      return MeshUtils::CreateExtrudedBodyFromProfile(profile, 0.0, 1.0, 2U);
                  }),
                  10U);
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      unsigned count = 0;
                      return MeshUtils::ColorFacets(mesh, count);
                  }),
                  8U);
        EXPECT_GT(FailEachAllocationOfResult(
                      [&] { return MeshUtils::RepresentativeNormalGrouping(normals, 0.6); }),
                  20U);
    });
}

} // namespace
