// Half-edges of triangles gathered by edge.

#include "foundation/EdgeUses_Impl.h"

#include "mathbase/Parallel_Impl.h"

#include <algorithm>

namespace Velk::Math::Sorvane::Impl {
namespace {

/// Node numbers beyond this many times the number of indices are not worth a table of that size.
constexpr std::size_t kSparseFactor = 4;

bool FitsATable(const std::vector<int>& indices)
{
    const auto [least, greatest] = std::minmax_element(indices.begin(), indices.end());
    return *least >= 0 &&
           static_cast<std::size_t>(*greatest) < kSparseFactor * (indices.size() + 256);
}

/// Each index replaced by its rank among the numbers that occur: order is kept.
std::vector<int> Ranks(const std::vector<int>& indices)
{
    std::vector<int> numbers = indices;
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    std::vector<int> ranks;
    ranks.reserve(indices.size());
    for (const int index : indices) {
        ranks.push_back(static_cast<int>(std::lower_bound(numbers.begin(), numbers.end(), index) -
                                         numbers.begin()));
    }
    return ranks;
}

/// Calls fn(smaller, larger, place) for each half-edge of each triangle, in order.
template <class Fn>
void ForEachHalfEdge(const std::vector<int>& indices, const Fn& fn)
{
    const std::size_t whole = indices.size() / 3 * 3;
    for (std::size_t first = 0; first < whole; first += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const int a = indices[first + k];
            const int b = indices[first + (k + 1) % 3];
            fn(static_cast<std::size_t>(std::min(a, b)), std::max(a, b),
               static_cast<int>(first + k));
        }
    }
}

/// The neighbor of every use of one edge: the first triangle in the list that is another one.
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

} // namespace

EdgeUses::EdgeUses(const std::vector<int>& indices)
{
    if (indices.size() < 3) {
        return;
    }
    std::vector<int> ranks;
    if (!FitsATable(indices)) {
        ranks = Ranks(indices);
    }
    const std::vector<int>& nodes = ranks.empty() ? indices : ranks;

    const int greatest = *std::max_element(nodes.begin(), nodes.end());
    uses_ = {static_cast<std::size_t>(greatest) + 1, [&](const auto& put) {
                 ForEachHalfEdge(nodes, [&](std::size_t smaller, int larger, int place) {
                     put(smaller, EdgeUse{larger, place});
                 });
             }};
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, BucketCount(), [&](std::size_t from, std::size_t to) {
            for (std::size_t bucket = from; bucket < to; ++bucket) {
                const std::span<EdgeUse> uses = uses_[bucket];
                std::sort(uses.begin(), uses.end(), [](const EdgeUse& a, const EdgeUse& b) {
                    return a.larger != b.larger ? a.larger < b.larger : a.place < b.place;
                });
            }
        });
}

std::vector<std::array<int, 3>> NeighborsAcross(const EdgeUses& edges, std::size_t triangleCount)
{
    std::vector<std::array<int, 3>> neighbors(triangleCount);
    // Each half-edge belongs to one edge and each edge to one bucket: no slot is written twice.
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

} // namespace Velk::Math::Sorvane::Impl
