// Consistent orientation of a connected mesh: a breadth-first walk marks the triangles that run
// against the first one, then the minority is turned.

#include <Sorvane/MeshQueries_E.h>

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/Parallel_Impl.h"

#include <algorithm>
#include <utility>

namespace Velk::Math::Sorvane::Mesh {
namespace {

/// Marks of the walk, one for each triangle. Bytes: bits of one word could not be written side by
/// side.
using Marks = std::vector<unsigned char>;

std::pair<int, int> DirectedEdge(const std::vector<int>& indices, std::size_t triangle, std::size_t k)
{
    return {indices[3 * triangle + k], indices[3 * triangle + (k + 1) % 3]};
}

/// 1 for each triangle found to run against the first. First in, first out: on a mesh that can't
/// be oriented the order decides. A mark once set stays, and a triangle's own half-edges are compared as
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
            std::pair<int, int> halfEdge = DirectedEdge(indices, t, k);
            if (neighbors[t][k] < 0) {
                continue;
            }
            const auto n = static_cast<std::size_t>(neighbors[t][k]);
            if (visited[n] != 0) {
                continue;
            }
            if (flipped[t] != 0) {
                std::swap(halfEdge.first, halfEdge.second);
            }
            for (std::size_t j = 0; j < 3; ++j) {
                // Both run the edge the same way: they can't both be right.
                if (neighbors[n][j] == static_cast<int>(t) && DirectedEdge(indices, n, j) == halfEdge) {
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

/// A triangle that names a node twice has no orientation: it runs the one edge that it has both
/// ways.
bool HasOrientation(const std::vector<int>& indices, std::size_t triangle)
{
    const int a = indices[3 * triangle];
    const int b = indices[3 * triangle + 1];
    const int c = indices[3 * triangle + 2];
    return a != b && b != c && c != a;
}

/// The corners of the triangles with an orientation, and their numbers.
struct Sound {
    std::vector<int> indices;
    std::vector<std::size_t> triangles;
};

Sound TrianglesWithOrientation(const std::vector<int>& indices)
{
    Sound sound;
    for (std::size_t t = 0; t < indices.size() / 3; ++t) {
        if (HasOrientation(indices, t)) {
            sound.triangles.push_back(t);
            for (std::size_t corner = 0; corner < 3; ++corner) {
                sound.indices.push_back(indices[3 * t + corner]);
            }
        }
    }
    return sound;
}

bool AllHaveOrientation(const std::vector<int>& indices)
{
    for (std::size_t t = 0; t < indices.size() / 3; ++t) {
        if (!HasOrientation(indices, t)) {
            return false;
        }
    }
    return true;
}

/// Turns the triangles of the minority, all of which have an orientation; true when there were any.
bool TurnMinority(std::vector<int>& indices)
{
    const std::size_t triangleCount = indices.size() / 3;
    const Marks flipped =
        FlippedTriangles(indices, Impl::NeighborsAcross(Impl::EdgeUses(indices), triangleCount));
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
                    std::swap(indices[3 * t + 1], indices[3 * t + 2]);
                }
            }
        });
    return true;
}

} // namespace

template <int D, class T>
bool MatchNormals(IndexedPointsBase<D, T>& mesh)
{
    std::vector<int>& indices = mesh.indices;
    if (mesh.points.empty() || indices.empty() || indices.size() % 3 != 0) {
        return false;
    }
    if (AllHaveOrientation(indices)) {
        return TurnMinority(indices);
    }
    // The others would stand between neighbors and take part in the count, so they are left out.
    Sound sound = TrianglesWithOrientation(indices);
    if (sound.triangles.empty() || !TurnMinority(sound.indices)) {
        return false;
    }
    for (std::size_t i = 0; i < sound.triangles.size(); ++i) {
        for (std::size_t corner = 0; corner < 3; ++corner) {
            indices[3 * sound.triangles[i] + corner] = sound.indices[3 * i + corner];
        }
    }
    return true;
}

// clang-format off
template bool MatchNormals(IndexedPointsBase<2, float>&);
template bool MatchNormals(IndexedPointsBase<2, double>&);
template bool MatchNormals(IndexedPointsBase<3, float>&);
template bool MatchNormals(IndexedPointsBase<3, double>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
