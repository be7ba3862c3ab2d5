// Walks over a part: turns the triangles of each connected piece to run alike, loads the part into
// a half-edge mesh and tells, for each piece, its boundary loops, Euler characteristic and genus,
// and for the whole part the valences of its nodes.
//
//   halfedge_walk PART [tolerance [TURNED.stl]]
//
// Corners that differ by at most the tolerance (default 0: exact repeats) count as one point. With
// a third argument the part is written there as it is after the turning. Exit codes: 0 done, 1 a
// file can't be read or written, 2 wrong use.

#include "Arguments.h"
#include "PartFiles.h"

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
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

using IndexedPart = Mesh::IndexedPointsBase<3, double>;

// The triangles of each piece that hangs together by edges, ascending.
std::vector<std::vector<int>> TrianglesOfPieces(const IndexedPart& part)
{
    const std::vector<std::array<int, 3>> neighbors = Mesh::NeighborFacets(part);
    std::vector<bool> isSeen(neighbors.size(), false);
    std::vector<std::vector<int>> pieces;
    for (std::size_t seed = 0; seed < neighbors.size(); ++seed) {
        if (isSeen[seed]) {
            continue;
        }
        isSeen[seed] = true;
        std::vector<int>& piece = pieces.emplace_back(1, static_cast<int>(seed));
        for (std::size_t done = 0; done < piece.size(); ++done) {
            for (const int neighbor : neighbors[static_cast<std::size_t>(piece[done])]) {
                if (neighbor >= 0 && !isSeen[static_cast<std::size_t>(neighbor)]) {
                    isSeen[static_cast<std::size_t>(neighbor)] = true;
                    piece.push_back(neighbor);
                }
            }
        }
        std::sort(piece.begin(), piece.end());
    }
    return pieces;
}

// Turns the triangles that run against the majority of their piece; the number of those turned.
// MatchNormals walks from one triangle over one connected mesh, so each piece goes in by itself,
// with its points numbered from 0 again.
int TurnAlike(IndexedPart& part, const std::vector<std::vector<int>>& pieces)
{
    int turned = 0;
    std::vector<int> localOfPoint(part.points.size(), -1);
    for (const std::vector<int>& triangles : pieces) {
        IndexedPart piece;
        std::vector<int> partPoint;
        for (const int triangle : triangles) {
            for (std::size_t corner = 0; corner < 3; ++corner) {
                const int point = part.indices[static_cast<std::size_t>(triangle) * 3 + corner];
                int& local = localOfPoint[static_cast<std::size_t>(point)];
                if (local < 0) {
                    local = static_cast<int>(partPoint.size());
                    partPoint.push_back(point);
                    piece.points.push_back(part.points[static_cast<std::size_t>(point)]);
                }
                piece.indices.push_back(local);
            }
        }
        if (Mesh::MatchNormals(piece)) {
            for (std::size_t i = 0; i < triangles.size(); ++i) {
                bool isTurned = false;
                for (std::size_t corner = 0; corner < 3; ++corner) {
                    int& index = part.indices[static_cast<std::size_t>(triangles[i]) * 3 + corner];
                    const int now =
                        partPoint[static_cast<std::size_t>(piece.indices[i * 3 + corner])];
                    isTurned = isTurned || index != now;
                    index = now;
                }
                turned += isTurned ? 1 : 0;
            }
        }
        for (const int point : partPoint) {
            localOfPoint[static_cast<std::size_t>(point)] = -1;
        }
    }
    return turned;
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
    const auto tolerance = argc > 2 ? LengthOf(argv[2]) : std::optional(0.0);
    if (argc < 2 || argc > 4 || !tolerance) {
        std::fprintf(stderr, "usage: halfedge_walk PART [tolerance [TURNED.stl]]\n");
        return 2;
    }
    IndexedPart part;
    if (!ReadWeldedPart(part, argv[1], *tolerance)) {
        return 1;
    }

    const std::size_t boundary = Mesh::BoundaryEdges(part).size();
    const std::vector<std::vector<int>> components = TrianglesOfPieces(part);
    const int turned = TurnAlike(part, components);
    std::printf("%zu points, %zu triangles in %zu pieces, %zu boundary edges\n", part.points.size(),
                part.indices.size() / 3, components.size(), boundary);
    std::printf("%d triangles turned to run like the others of their piece\n", turned);
    if (argc > 3 && !Tell(MeshUtils::WriteMesh(part, argv[3]), argv[3])) {
        return 1;
    }

    Mesh3 mesh;
    int added = 0;
    const bool isLinked =
        mesh.LoadIndexedPoints(part.points, part.indices, [&](int, int) { ++added; });
    std::printf("%d triangles in the half-edge mesh%s\n", added,
                isLinked ? "" : "; some boundaries can't be linked");
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
