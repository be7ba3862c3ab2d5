// The triangles at each edge of a list of index triples, edge by edge.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::Impl {

/// One triangle side: the larger of its two nodes, and its place 3t + k among the indices.
struct EdgeUse {
    int larger;
    int place;

    int Triangle() const { return place / 3; }
};

/// All sides of the triangles, gathered by undirected edge.
///
/// The sides are dealt into a bucket for each smaller node, a counting sort that keeps triangle
/// order, and each bucket, of a handful of sides in a usual mesh, is sorted by the larger node.
/// That takes no memory for an edge by itself and two passes over the indices.
class EdgeUses {
public:
    explicit EdgeUses(const std::vector<int>& indices);

    std::size_t BucketCount() const { return bucketStart_.size() - 1; }

    /// Calls fn(first, last) for each edge of a bucket, with its uses in triangle order.
    template <class Fn>
    void ForEachEdge(std::size_t bucket, const Fn& fn) const
    {
        const EdgeUse* first = uses_.data() + bucketStart_[bucket];
        const EdgeUse* const end = uses_.data() + bucketStart_[bucket + 1];
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
    std::vector<std::size_t> bucketStart_;
    std::vector<EdgeUse> uses_;
};

/// For each triangle its neighbors across its three sides, -1 for none: the first triangle at the
/// edge that is another one. Parallel.
std::vector<std::array<int, 3>> NeighborsAcross(const EdgeUses& edges, std::size_t triangleCount);

} // namespace Velk::Math::Sorvane::Impl
