// Subdivision with every allocation refused once: what is written is all or nothing, and a mesh
// that was in the middle of a step is sound.

#include "tests/support/CheckTopology.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"

#include <Sorvane/SubdivisionMesh_E.h>
#include <Sorvane/Subdivision_E.h>

#include <functional>
#include <vector>

namespace {

using namespace Velk::Math::Sorvane;
using HalfEdge::Impl::SubdivisionMesh;
using Mesh::SubdivisionMethod;
using Support::IndexedMesh;

// Few enough of everything that the work stays on the calling thread.
TEST(SubdivisionMemory, TheFreeFunctionsWriteAllOrNothing)
{
    using Call = std::function<void(const IndexedMesh&, IndexedMesh&)>;
    const std::vector<Call> calls{
        [](const IndexedMesh& mesh, IndexedMesh& out) {
            Mesh::SubdivideMesh(mesh, out, 30.0, 2, SubdivisionMethod::Loop);
        },
        [](const IndexedMesh& mesh, IndexedMesh& out) {
            Mesh::SubdivideMesh(mesh, out, 30.0, 2, SubdivisionMethod::Sqrt3);
        },
        [](const IndexedMesh& mesh, IndexedMesh& out) {
            Mesh::SplitLongMeshEdges(mesh, out, 0.8, false, 2);
        },
        [](const IndexedMesh& mesh, IndexedMesh& out) {
            Mesh::SimpleRefine(mesh, out, Mesh::SimpleRefineMethod::Midpoints, 2);
        },
    };
    // Two tetrahedra on either end of an edge, which are taken apart there first.
    const IndexedMesh touching{
        {{0, 0, 0}, {0, 0, 1}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}},
        {0, 2, 1, 1, 3, 0, 0, 3, 2, 1, 2, 3, 0, 4, 1, 1, 5, 0, 0, 5, 4, 1, 4, 5}};
    for (const IndexedMesh& mesh : {Support::Cube(), Support::TrianglesAtOnePoint(3), touching}) {
        for (const Call& call : calls) {
            IndexedMesh expected;
            call(mesh, expected);
            const std::size_t failures = Support::FailEachAllocationOfEither(
                [] { return Support::Tetrahedron(); }, [&](IndexedMesh& out) { call(mesh, out); },
                [&](const IndexedMesh& out, bool hasThrown) {
                    EXPECT_TRUE(hasThrown ? out.points.empty() && out.indices.empty()
                                          : out == expected);
                });
            EXPECT_GT(failures, 8U);
        }
    }
}

TEST(SubdivisionMemory, RoomForWhatIsToComeIsNotNeeded)
{
    // Of a large mesh the room for two steps may be more than there is, and a pass that splits
    // nothing needs none of it.
    std::size_t withoutRoom = 0;
    const IndexedMesh cube = Support::Cube();
    const IndexedMesh expected = [&] {
        IndexedMesh out;
        Mesh::SplitLongMeshEdges(cube, out, 10.0, true, 1);
        return out;
    }();
    ASSERT_EQ(expected.indices.size(), cube.indices.size());
    Support::FailEachAllocationOfEither(
        [] { return IndexedMesh(); },
        [&](IndexedMesh& out) { Mesh::SplitLongMeshEdges(cube, out, 10.0, true, 1); },
        [&](const IndexedMesh& out, bool hasThrown) {
            if (!hasThrown) {
                EXPECT_TRUE(out == expected);
                ++withoutRoom;
            }
        });
    EXPECT_GE(withoutRoom, 3U) << "nodes, half-edges, faces";
}

TEST(SubdivisionMemory, AMeshIsSoundAfterAStepThatFailed)
{
    const std::vector<std::function<void(SubdivisionMesh&)>> steps{
        [](SubdivisionMesh& mesh) { mesh.LoopStep(); },
        [](SubdivisionMesh& mesh) { mesh.Sqrt3Step(1); },
        [](SubdivisionMesh& mesh) { mesh.SplitPass(0.0, false); },
    };
    for (const auto& step : steps) {
        const std::size_t failures = Support::FailEachAllocation(
            [] {
                SubdivisionMesh mesh;
                mesh.LoadIndexedPoints(Support::Cube());
                mesh.DetectFeatures(30.0);
                return mesh;
            },
            [&](SubdivisionMesh& mesh) { step(mesh); },
            [](SubdivisionMesh& mesh) { EXPECT_EQ(Support::CheckTopology(mesh), ""); });
        EXPECT_GT(failures, 4U);
    }
}

} // namespace
