// Walks over a part: loads an STL file into a half-edge mesh and tells, for each connected piece,
// its boundary loops, Euler characteristic and genus, and for the whole part the valences of its
// nodes.
//
//   halfedge_walk part.stl [tolerance]
//
// Corners that differ by at most the tolerance (default 0: exact repeats) count as one point.

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Vector_E.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <numeric>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mesh3 =
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace>;

struct Piece {
    int nodes = 0;
    int edges = 0;
    int faces = 0;
    std::vector<int> loops; // number of edges of each boundary loop

    int Euler() const { return nodes - edges + faces; }
};

bool ReadStl(const char* path, std::vector<Vec3d>& points, std::vector<int>& indices,
             double tolerance)
{
    // An ASCII file must come to its proper end; anything else is taken for a binary one.
    if (!MeshUtils::ReadFromASCIISTL(points, indices, path) &&
        !MeshUtils::ReadFromBinarySTL(points, indices, path)) {
        return false;
    }
    indices = Vector::FilterForUniquenessAndIndex(points, tolerance);
    return true;
}

// The number of the piece that each node belongs to, -1 for a node without edges.
std::vector<int> NumberPieces(const Mesh3& mesh, int& pieceCount)
{
    std::vector<int> piece(mesh.Nodes().size(), -1);
    pieceCount = 0;
    for (int seed = 0; seed < mesh.NodeCount(); ++seed) {
        if (piece[static_cast<std::size_t>(seed)] >= 0 || mesh.Valence(seed) == 0) {
            continue;
        }
        std::vector<int> open = {seed};
        piece[static_cast<std::size_t>(seed)] = pieceCount;
        while (!open.empty()) {
            const int node = open.back();
            open.pop_back();
            mesh.VisitNodeNodes(node, [&](int neighbor) {
                if (piece[static_cast<std::size_t>(neighbor)] < 0) {
                    piece[static_cast<std::size_t>(neighbor)] = pieceCount;
                    open.push_back(neighbor);
                }
            });
        }
        ++pieceCount;
    }
    return piece;
}

std::vector<Piece> MeasurePieces(const Mesh3& mesh)
{
    int pieceCount = 0;
    const std::vector<int> pieceOfNode = NumberPieces(mesh, pieceCount);
    std::vector<Piece> pieces(static_cast<std::size_t>(pieceCount));
    const auto pieceOf = [&](int node) -> Piece& {
        return pieces[static_cast<std::size_t>(pieceOfNode[static_cast<std::size_t>(node)])];
    };
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        if (pieceOfNode[static_cast<std::size_t>(n)] >= 0) {
            ++pieceOf(n).nodes;
        }
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        const std::vector<int> corners = mesh.FaceNodes(f);
        if (!corners.empty()) {
            ++pieceOf(corners.front()).faces;
        }
    }

    std::vector<bool> isSeen(mesh.Edges().size(), false);
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        const HalfEdge::HEdge* edge = mesh.EdgeRecord(e);
        if (edge == nullptr) {
            continue;
        }
        pieceOf(edge->node).edges += e % 2 == 0 ? 1 : 0;
        if (mesh.IsBoundaryEdge(e, false) && !isSeen[static_cast<std::size_t>(e)]) {
            const std::vector<int> loop = mesh.EdgeLoop(e);
            for (const int side : loop) {
                isSeen[static_cast<std::size_t>(side)] = true;
            }
            pieceOf(edge->node).loops.push_back(static_cast<int>(loop.size()));
        }
    }
    return pieces;
}

void Print(const std::vector<Piece>& pieces)
{
    for (const Piece& piece : pieces) {
        const int loops = static_cast<int>(piece.loops.size());
        std::printf("piece: %d nodes, %d edges, %d faces, Euler characteristic %d", piece.nodes,
                    piece.edges, piece.faces, piece.Euler());
        // Closing each boundary loop by a disc gives a closed surface of characteristic 2 - 2
        // genus.
        const int twiceGenus = 2 - piece.Euler() - loops;
        if (twiceGenus >= 0 && twiceGenus % 2 == 0) {
            std::printf(", genus %d", twiceGenus / 2);
        }
        std::printf("\n  %d boundary loops", loops);
        if (loops > 0) {
            std::printf(" of %d edges in all",
                        std::accumulate(piece.loops.begin(), piece.loops.end(), 0));
        }
        std::printf("\n");
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: halfedge_walk part.stl [tolerance]\n");
        return 2;
    }
    std::vector<Vec3d> points;
    std::vector<int> indices;
    if (!ReadStl(argv[1], points, indices, argc > 2 ? std::atof(argv[2]) : 0.0)) {
        std::fprintf(stderr, "%s: not a readable STL file\n", argv[1]);
        return 1;
    }

    Mesh3 mesh;
    int added = 0;
    const bool isLinked = mesh.LoadIndexedPoints(points, indices, [&](int, int) { ++added; });
    std::printf("%zu points, %zu triangles, %d of them in the mesh%s\n", points.size(),
                indices.size() / 3, added, isLinked ? "" : "; some boundaries can't be linked");
    Print(MeasurePieces(mesh));

    std::map<int, int> nodesOfValence;
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        ++nodesOfValence[mesh.Valence(n)];
    }
    std::printf("valence: nodes\n");
    for (const auto& [valence, count] : nodesOfValence) {
        std::printf("%7d: %d\n", valence, count);
    }
    return 0;
}
