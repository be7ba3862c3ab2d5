// Loads a part into a half-edge mesh and walks over it: boundary loops, Euler characteristic, and
// the number of neighbors of its nodes.
//
//   halfedge_walk PART
//
// Exit codes: 0 done, 1 not read, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/MeshQueries_E.h>

#include <map>
#include <vector>

using namespace Velk::Math::Sorvane;
using HalfEdges =
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace>;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: halfedge_walk PART\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const bool wasTurned = Mesh::MatchNormals(part);
    HalfEdges mesh;
    mesh.LoadIndexedPoints(part.points, part.indices, [](int, int) {});
    const std::size_t pinches = mesh.SplitPinchNodes().size(); // where fans of faces touch
    mesh.LinkBoundaryEdges();
    std::vector<bool> isSeen(mesh.Edges().size(), false);
    int edges = 0, loops = 0;
    for (int e = 0; e < mesh.EdgeCount(); ++e) { // e and e ^ 1 are the two halves of an edge
        edges += mesh.EdgeRecord(e) != nullptr && e % 2 == 0 ? 1 : 0;
        if (mesh.EdgeRecord(e) != nullptr && mesh.IsBoundaryEdge(e, false) &&
            !isSeen[static_cast<std::size_t>(e)]) {
            ++loops;
            for (const int halfEdge : mesh.EdgeLoop(e)) {
                isSeen[static_cast<std::size_t>(halfEdge)] = true;
            }
        }
    }
    std::map<int, int> nodesOfValence;
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        ++nodesOfValence[mesh.Valence(n)];
    }
    std::printf("%s, %zu nodes added at pinches, %d boundary loops, Euler characteristic %d\n",
                wasTurned ? "triangles turned" : "no triangle turned", pinches, loops,
                mesh.NodeCount() - edges + mesh.FaceCount());
    for (const auto& [valence, count] : nodesOfValence) {
        std::printf("%d nodes of %d neighbors\n", count, valence);
    }
    return 0;
}
