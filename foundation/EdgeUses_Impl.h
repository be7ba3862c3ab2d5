// The triangles at each edge of a list of index triples, edge by edge.
#pragma once

#include "mathbase/Buckets_Impl.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace Velk::Math::Sorvane::Impl {

/// One half-edge of a triangle: the larger of its two nodes, and its place 3t + k among the indices.
struct EdgeUse {
    int larger;
    int place;

    int Triangle() const { return place / 3; }
};

/// All half-edges of the triangles, gathered by undirected edge.
///
/// The half-edges are dealt into a bucket for each smaller node, a counting sort that keeps triangle
/// order, and each bucket, of a handful of half-edges in a usual mesh, is sorted by the larger node.
/// That takes no memory for an edge by itself and two passes over the indices.
class EdgeUses {
public:
    explicit EdgeUses(const std::vector<int>& indices);

    std::size_t BucketCount() const { return uses_.BucketCount(); }

    /// Calls fn(first, last) for each edge of a bucket, with its uses in triangle order.
    template <class Fn>
    void ForEachEdge(std::size_t bucket, const Fn& fn) const
    {
        const std::span<const EdgeUse> uses = uses_[bucket];
        const EdgeUse* first = uses.data();
        const EdgeUse* const end = first + uses.size();
        while (first != end) {
            const EdgeUse* last = first + 1;
            while (last != end && last->larger == first->larger) {
                ++last;
            }
            fn(first, last);
            first = last;
        }
    }

private:
    Math::Impl::Buckets<EdgeUse> uses_;
};

/// For each triangle its neighbors across its three edges, -1 for none: the first triangle at the
/// edge that is another one. Parallel.
std::vector<std::array<int, 3>> NeighborsAcross(const EdgeUses& edges, std::size_t triangleCount);

} // namespace Velk::Math::Sorvane::Impl
