// Who is next to whom and where the boundary is.

#include <Sorvane/MeshQueries_E.h>

#include "foundation/EdgeUses_Impl.h"
#include "foundation/PairSort_Impl.h"
#include "mathbase/Parallel_Impl.h"

#include <algorithm>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Impl::EdgeUse;
using Impl::EdgeUses;

std::pair<int, int> Ascending(int a, int b) { return {std::min(a, b), std::max(a, b)}; }

/// The neighbour of every use of one edge: the first triangle in the list that is another one.
void LinkUses(const EdgeUse* first, const EdgeUse* last, std::vector<std::array<int, 3>>& neighbors)
{
    const int front = first->Triangle();
    const EdgeUse* const other =
        std::find_if(first + 1, last, [&](const EdgeUse& use) { return use.Triangle() != front; });
    const int second = other != last ? other->Triangle() : -1;
    for (; first != last; ++first) {
        const int triangle = first->Triangle();
        neighbors[static_cast<std::size_t>(triangle)][static_cast<std::size_t>(first->place % 3)] =
            triangle != front ? front : second;
    }
}

/// The two other corners of a triangle at each of its corners on `node`; nothing of an incomplete
/// one.
void AppendOthers(const std::vector<int>& indices, int triangle, int node, std::vector<int>& others)
{
    const std::size_t first = 3 * static_cast<std::size_t>(triangle);
    if (first + 2 >= indices.size()) {
        return;
    }
    for (std::size_t k = 0; k < 3; ++k) {
        if (indices[first + k] == node) {
            others.push_back(indices[first + (k + 1) % 3]);
            others.push_back(indices[first + (k + 2) % 3]);
        }
    }
}

} // namespace

template <int D, class T>
std::vector<std::set<int>> NodeRings(const IndexedPointsBase<D, T>& mesh)
{
    // Each ring gathered whole and sorted first: a set is built from a sorted range in linear time,
    // and its nodes come to lie together.
    const std::vector<std::vector<int>> facets = NodeFacets(mesh);
    std::vector<std::set<int>> rings(facets.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, rings.size(), [&](std::size_t from, std::size_t to) {
            std::vector<int> ring;
            for (std::size_t node = from; node < to; ++node) {
                ring.clear();
                for (const int triangle : facets[node]) {
                    AppendOthers(mesh.indices, triangle, static_cast<int>(node), ring);
                }
                std::sort(ring.begin(), ring.end());
                ring.erase(std::unique(ring.begin(), ring.end()), ring.end());
                rings[node] = std::set<int>(ring.begin(), ring.end());
            }
        });
    return rings;
}

template <int D, class T>
std::vector<std::vector<int>> NodeFacets(const IndexedPointsBase<D, T>& mesh)
{
    std::vector<int> counts(mesh.points.size());
    for (const int node : mesh.indices) {
        ++counts[static_cast<std::size_t>(node)];
    }
    std::vector<std::vector<int>> facets(mesh.points.size());
    for (std::size_t node = 0; node < facets.size(); ++node) {
        facets[node].reserve(static_cast<std::size_t>(counts[node]));
    }
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        facets[static_cast<std::size_t>(mesh.indices[i])].push_back(static_cast<int>(i / 3));
    }
    return facets;
}

template <int D, class T>
std::vector<std::array<int, 3>> NeighborFacets(const IndexedPointsBase<D, T>& mesh)
{
    std::vector<std::array<int, 3>> neighbors(mesh.indices.size() / 3);
    const EdgeUses edges(mesh.indices);
    // Each side belongs to one edge and each edge to one bucket: no slot is written twice.
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, edges.BucketCount(), [&](std::size_t from, std::size_t to) {
            for (std::size_t bucket = from; bucket < to; ++bucket) {
                edges.ForEachEdge(bucket, [&](const EdgeUse* first, const EdgeUse* last) {
                    LinkUses(first, last, neighbors);
                });
            }
        });
    return neighbors;
}

template <int Oriented, int D, class T>
std::array<std::pair<int, int>, 3> FaceEdges(const IndexedPointsBase<D, T>& mesh, int triangle)
{
    static_assert(Oriented == 0 || Oriented == 1);
    const int* const corner = mesh.indices.data() + 3 * static_cast<std::ptrdiff_t>(triangle);
    if constexpr (Oriented == 1) {
        return {{{corner[0], corner[1]}, {corner[1], corner[2]}, {corner[2], corner[0]}}};
    } else {
        return {Ascending(corner[0], corner[1]), Ascending(corner[1], corner[2]),
                Ascending(corner[0], corner[2])};
    }
}

template <int D, class T>
std::vector<std::pair<int, int>> BoundaryEdges(const IndexedPointsBase<D, T>& mesh)
{
    std::vector<std::pair<int, int>> boundary;
    const EdgeUses edges(mesh.indices);
    for (std::size_t bucket = 0; bucket < edges.BucketCount(); ++bucket) {
        edges.ForEachEdge(bucket, [&](const EdgeUse* first, const EdgeUse* last) {
            if (last - first == 1) {
                const int next = first->place % 3 == 2 ? first->place - 2 : first->place + 1;
                boundary.emplace_back(mesh.indices[static_cast<std::size_t>(first->place)],
                                      mesh.indices[static_cast<std::size_t>(next)]);
            }
        });
    }
    Impl::StableSortByKey(boundary, [](const std::pair<int, int>& edge) {
        return Impl::PairKey(edge.first, edge.second);
    });
    return boundary;
}

template <int D, class T>
std::vector<std::array<VecBase<D, T>, 2>> BoundarySegments(const IndexedPointsBase<D, T>& mesh)
{
    const std::vector<std::pair<int, int>> edges = BoundaryEdges(mesh);
    std::vector<std::array<VecBase<D, T>, 2>> segments;
    segments.reserve(edges.size());
    for (const auto& [from, to] : edges) {
        segments.push_back({mesh.points[static_cast<std::size_t>(from)],
                            mesh.points[static_cast<std::size_t>(to)]});
    }
    return segments;
}

template <int D, class T>
std::vector<int> BoundaryEdgeIndices(const IndexedPointsBase<D, T>& mesh)
{
    std::vector<int> places;
    const std::vector<std::array<int, 3>> neighbors = NeighborFacets(mesh);
    for (std::size_t t = 0; t < neighbors.size(); ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            if (neighbors[t][k] < 0) {
                places.push_back(static_cast<int>(3 * t + k));
            }
        }
    }
    return places;
}

// clang-format off
#define SORVANE_INSTANTIATE(D, T) \
    template std::vector<std::set<int>> NodeRings(const IndexedPointsBase<D, T>&); \
    template std::vector<std::vector<int>> NodeFacets(const IndexedPointsBase<D, T>&); \
    template std::vector<std::array<int, 3>> NeighborFacets(const IndexedPointsBase<D, T>&); \
    template std::array<std::pair<int, int>, 3> FaceEdges<0>(const IndexedPointsBase<D, T>&, int); \
    template std::array<std::pair<int, int>, 3> FaceEdges<1>(const IndexedPointsBase<D, T>&, int); \
    template std::vector<std::pair<int, int>> BoundaryEdges(const IndexedPointsBase<D, T>&); \
    template std::vector<std::array<VecBase<D, T>, 2>> BoundarySegments(const IndexedPointsBase<D, T>&); \
    template std::vector<int> BoundaryEdgeIndices(const IndexedPointsBase<D, T>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
