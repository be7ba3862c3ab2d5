// Who is next to whom and where the boundary is.

#include <Sorvane/MeshQueries_E.h>

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/Buckets_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/RadixSort_Impl.h"

#include <algorithm>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Impl::EdgeUse;
using Impl::EdgeUses;
using Math::Impl::Buckets;

std::pair<int, int> Ascending(int a, int b) { return {std::min(a, b), std::max(a, b)}; }

/// Every corner deals its two companions to its node; what a node has got is sorted and becomes its
/// set in one go, which spares a search of the set for each companion.
std::vector<std::set<int>> Rings(const std::vector<int>& indices, std::size_t nodeCount)
{
    const std::size_t whole = indices.size() / 3 * 3;
    const Buckets<std::array<int, 2>> companions(nodeCount, [&](const auto& put) {
        for (std::size_t first = 0; first < whole; first += 3) {
            for (std::size_t k = 0; k < 3; ++k) {
                put(indices[first + k],
                    std::array{indices[first + (k + 1) % 3], indices[first + (k + 2) % 3]});
            }
        }
    });
    std::vector<std::set<int>> rings(nodeCount);
    std::vector<int> ring;
    for (std::size_t node = 0; node < nodeCount; ++node) {
        Progress::Impl::CheckStep(node);
        ring.clear();
        for (const std::array<int, 2>& pair : companions[node]) {
            ring.insert(ring.end(), pair.begin(), pair.end());
        }
        std::sort(ring.begin(), ring.end());
        rings[node] = std::set<int>(ring.begin(), std::unique(ring.begin(), ring.end()));
    }
    return rings;
}

std::vector<std::vector<int>> Facets(const std::vector<int>& indices, std::size_t nodeCount)
{
    const auto corners = Math::Impl::NumbersInBuckets(
        nodeCount, indices.size(), [&](std::size_t corner) { return indices[corner]; });
    std::vector<std::vector<int>> facets(nodeCount);
    for (std::size_t node = 0; node < nodeCount; ++node) {
        Progress::Impl::CheckStep(node);
        facets[node].reserve(corners[node].size());
        for (const int corner : corners[node]) {
            facets[node].push_back(corner / 3);
        }
    }
    return facets;
}

/// The edges of a single use. Counting uses one after another in a map from the edge as it was
/// first run gives the same: the one use is the first.
std::vector<std::pair<int, int>> EdgesUsedOnce(const std::vector<int>& indices)
{
    std::vector<std::pair<int, int>> boundary;
    const EdgeUses edges(indices);
    for (std::size_t bucket = 0; bucket < edges.BucketCount(); ++bucket) {
        edges.ForEachEdge(bucket, [&](const EdgeUse* first, const EdgeUse* last) {
            if (last - first == 1) {
                const int next = first->place % 3 == 2 ? first->place - 2 : first->place + 1;
                boundary.emplace_back(indices[static_cast<std::size_t>(first->place)],
                                      indices[static_cast<std::size_t>(next)]);
            }
        });
    }
    Math::Impl::StableSortByKey(boundary, [](const std::pair<int, int>& edge) {
        return Math::Impl::PairKey(edge.first, edge.second);
    });
    return boundary;
}

} // namespace

template <int D, class T>
std::vector<std::set<int>> NodeRings(const IndexedPointsBase<D, T>& mesh)
{
    return Rings(mesh.indices, mesh.points.size());
}

template <int D, class T>
std::vector<std::vector<int>> NodeFacets(const IndexedPointsBase<D, T>& mesh)
{
    return Facets(mesh.indices, mesh.points.size());
}

template <int D, class T>
std::vector<std::array<int, 3>> NeighborFacets(const IndexedPointsBase<D, T>& mesh)
{
    return Impl::NeighborsAcross(EdgeUses(mesh.indices), mesh.indices.size() / 3);
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
    return EdgesUsedOnce(mesh.indices);
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
