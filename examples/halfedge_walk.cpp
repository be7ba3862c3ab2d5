// Walks over a part: turns the triangles of each connected component to run alike, loads the part
// into a half-edge mesh and tells, for each component, its boundary loops, Euler characteristic and
// genus, and for the whole part the valences of its nodes.
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

struct Component {
    int nodes = 0;
    int edges = 0;
    int faces = 0;
    std::vector<int> loops; // number of edges of each boundary loop

    int Euler() const { return nodes - edges + faces; }
};

using IndexedPart = Mesh::IndexedPointsBase<3, double>;

// The triangles of each component that hangs together by edges, ascending.
std::vector<std::vector<int>> TrianglesOfComponents(const IndexedPart& part)
{
    const std::vector<std::array<int, 3>> neighbors = Mesh::NeighborFacets(part);
    std::vector<bool> isSeen(neighbors.size(), false);
    std::vector<std::vector<int>> components;
    for (std::size_t seed = 0; seed < neighbors.size(); ++seed) {
        if (isSeen[seed]) {
            continue;
        }
        isSeen[seed] = true;
        std::vector<int>& component = components.emplace_back(1, static_cast<int>(seed));
        for (std::size_t done = 0; done < component.size(); ++done) {
            for (const int neighbor : neighbors[static_cast<std::size_t>(component[done])]) {
                if (neighbor >= 0 && !isSeen[static_cast<std::size_t>(neighbor)]) {
                    isSeen[static_cast<std::size_t>(neighbor)] = true;
                    component.push_back(neighbor);
                }
            }
        }
        std::sort(component.begin(), component.end());
    }
    return components;
}

// Turns the triangles that run against the majority of their component; the number of those turned.
// MatchNormals walks from one triangle over one connected mesh, so each component goes in by
// itself, with its points numbered from 0 again.
int TurnAlike(IndexedPart& part, const std::vector<std::vector<int>>& components)
{
    int turned = 0;
    std::vector<int> localOfPoint(part.points.size(), -1);
    for (const std::vector<int>& triangles : components) {
        IndexedPart component;
        std::vector<int> partPoint;
        for (const int triangle : triangles) {
            for (std::size_t corner = 0; corner < 3; ++corner) {
                const int point = part.indices[static_cast<std::size_t>(triangle) * 3 + corner];
                int& local = localOfPoint[static_cast<std::size_t>(point)];
                if (local < 0) {
                    local = static_cast<int>(partPoint.size());
                    partPoint.push_back(point);
                    component.points.push_back(part.points[static_cast<std::size_t>(point)]);
                }
                component.indices.push_back(local);
            }
        }
        if (Mesh::MatchNormals(component)) {
            for (std::size_t i = 0; i < triangles.size(); ++i) {
                bool isTurned = false;
                for (std::size_t corner = 0; corner < 3; ++corner) {
                    int& index = part.indices[static_cast<std::size_t>(triangles[i]) * 3 + corner];
                    const int now =
                        partPoint[static_cast<std::size_t>(component.indices[i * 3 + corner])];
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

// The number of the component that each node belongs to, -1 for a node without edges.
std::vector<int> NumberComponents(const Mesh3& mesh, int& componentCount)
{
    std::vector<int> component(mesh.Nodes().size(), -1);
    componentCount = 0;
    for (int seed = 0; seed < mesh.NodeCount(); ++seed) {
        if (component[static_cast<std::size_t>(seed)] >= 0 || mesh.Valence(seed) == 0) {
            continue;
        }
        std::vector<int> open = {seed};
        component[static_cast<std::size_t>(seed)] = componentCount;
        while (!open.empty()) {
            const int node = open.back();
            open.pop_back();
            mesh.VisitNodeNodes(node, [&](int neighbor) {
                if (component[static_cast<std::size_t>(neighbor)] < 0) {
                    component[static_cast<std::size_t>(neighbor)] = componentCount;
                    open.push_back(neighbor);
                }
            });
        }
        ++componentCount;
    }
    return component;
}

std::vector<Component> MeasureComponents(const Mesh3& mesh)
{
    int componentCount = 0;
    const std::vector<int> componentOfNode = NumberComponents(mesh, componentCount);
    std::vector<Component> components(static_cast<std::size_t>(componentCount));
    const auto componentOf = [&](int node) -> Component& {
        return components[static_cast<std::size_t>(
            componentOfNode[static_cast<std::size_t>(node)])];
    };
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        if (componentOfNode[static_cast<std::size_t>(n)] >= 0) {
            ++componentOf(n).nodes;
        }
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        const std::vector<int> corners = mesh.FaceNodes(f);
        if (!corners.empty()) {
            ++componentOf(corners.front()).faces;
        }
    }

    std::vector<bool> isSeen(mesh.Edges().size(), false);
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        const HalfEdge::HEdge* edge = mesh.EdgeRecord(e);
        if (edge == nullptr) {
            continue;
        }
        componentOf(edge->node).edges += e % 2 == 0 ? 1 : 0;
        if (mesh.IsBoundaryEdge(e, false) && !isSeen[static_cast<std::size_t>(e)]) {
            const std::vector<int> loop = mesh.EdgeLoop(e);
            for (const int halfEdge : loop) {
                isSeen[static_cast<std::size_t>(halfEdge)] = true;
            }
            componentOf(edge->node).loops.push_back(static_cast<int>(loop.size()));
        }
    }
    return components;
}

void Print(const std::vector<Component>& components)
{
    for (const Component& component : components) {
        const int loops = static_cast<int>(component.loops.size());
        std::printf("component: %d nodes, %d edges, %d faces, Euler characteristic %d",
                    component.nodes, component.edges, component.faces, component.Euler());
        // Closing each boundary loop by a disc gives a closed surface of characteristic 2 - 2
        // genus.
        const int twiceGenus = 2 - component.Euler() - loops;
        if (twiceGenus >= 0 && twiceGenus % 2 == 0) {
            std::printf(", genus %d", twiceGenus / 2);
        }
        std::printf("\n  %d boundary loops", loops);
        if (loops > 0) {
            std::printf(" of %d edges in all",
                        std::accumulate(component.loops.begin(), component.loops.end(), 0));
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
    const std::vector<std::vector<int>> components = TrianglesOfComponents(part);
    const int turned = TurnAlike(part, components);
    std::printf("%zu points, %zu triangles in %zu components, %zu boundary edges\n",
                part.points.size(), part.indices.size() / 3, components.size(), boundary);
    std::printf("%d triangles turned to run like the others of their component\n", turned);
    if (argc > 3 && !Tell(MeshUtils::WriteMesh(part, argv[3]), argv[3])) {
        return 1;
    }

    Mesh3 mesh;
    int added = 0;
    const bool isLinked =
        mesh.LoadIndexedPoints(part.points, part.indices, [&](int, int) { ++added; });
    std::printf("%d triangles in the half-edge mesh%s\n", added,
                isLinked ? "" : "; some boundaries can't be linked");
    Print(MeasureComponents(mesh));

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
