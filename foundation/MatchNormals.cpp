// Consistent orientation of a connected mesh: a breadth-first walk marks the triangles that run
// against triangle 0, then the minority is turned.

#include <Sorvane/MeshQueries_E.h>

#include "mathbase/Parallel_Impl.h"

#include <algorithm>
#include <utility>

namespace Velk::Math::Sorvane::Mesh {
namespace {

/// Marks of the walk, one for each triangle. Bytes: bits of one word could not be written side by
/// side.
using Marks = std::vector<unsigned char>;

std::pair<int, int> Side(const std::vector<int>& indices, std::size_t triangle, std::size_t k)
{
    return {indices[3 * triangle + k], indices[3 * triangle + (k + 1) % 3]};
}

/// 1 for each triangle found to run against triangle 0. First in, first out: on a mesh that can't
/// be oriented the order decides. A mark once set stays, and a triangle's own sides are compared as
/// they stand in the mesh.
Marks FlippedTriangles(const std::vector<int>& indices,
                       const std::vector<std::array<int, 3>>& neighbors)
{
    Marks flipped(neighbors.size(), 0);
    Marks pending(neighbors.size(), 0); // or visited: a triangle is entered once
    Marks visited(neighbors.size(), 0);
    std::vector<std::size_t> queue{0};
    queue.reserve(neighbors.size());
    pending[0] = 1;
    for (std::size_t head = 0; head < queue.size(); ++head) {
        const std::size_t t = queue[head];
        visited[t] = 1;
        for (std::size_t k = 0; k < 3; ++k) {
            std::pair<int, int> side = Side(indices, t, k);
            if (neighbors[t][k] < 0 || side.first == side.second) {
                continue;
            }
            const auto n = static_cast<std::size_t>(neighbors[t][k]);
            if (visited[n] != 0) {
                continue;
            }
            if (flipped[t] != 0) {
                std::swap(side.first, side.second);
            }
            for (std::size_t j = 0; j < 3; ++j) {
                // Both run the side the same way: they can't both be right.
                if (neighbors[n][j] == static_cast<int>(t) && Side(indices, n, j) == side) {
                    flipped[n] = 1;
                }
            }
            if (pending[n] == 0) {
                pending[n] = 1;
                queue.push_back(n);
            }
        }
    }
    return flipped;
}

} // namespace

template <int D, class T>
bool MatchNormals(IndexedPointsBase<D, T>& mesh)
{
    if (mesh.points.empty() || mesh.indices.empty() || mesh.indices.size() % 3 != 0) {
        return false;
    }
    const Marks flipped = FlippedTriangles(mesh.indices, NeighborFacets(mesh));
    const auto flippedCount =
        static_cast<std::size_t>(std::count(flipped.begin(), flipped.end(), 1));
    if (flippedCount == 0) {
        return false;
    }
    const unsigned char minority = flippedCount <= flipped.size() / 2 ? 1 : 0;
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, flipped.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t t = from; t < to; ++t) {
                if (flipped[t] == minority) {
                    std::swap(mesh.indices[3 * t + 1], mesh.indices[3 * t + 2]);
                }
            }
        });
    return true;
}

// clang-format off
template bool MatchNormals(IndexedPointsBase<2, float>&);
template bool MatchNormals(IndexedPointsBase<2, double>&);
template bool MatchNormals(IndexedPointsBase<3, float>&);
template bool MatchNormals(IndexedPointsBase<3, double>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
