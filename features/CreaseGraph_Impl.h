// The edges of a mesh that matter, as a graph that can be walked in chains.
#pragma once

#include "features/SoundTriples_Impl.h"
#include "mathbase/Buckets_Impl.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// Points joined by edges. A point of the mesh in which several fans of triangles meet is a node
/// for each fan, if more than two edges meet in it. Must not outlive the mesh.
class CreaseGraph {
public:
    /// Edges may come more than once and in either direction; each joins two points of one triangle
    /// at least.
    CreaseGraph(const IndexedMesh& mesh, const std::vector<std::pair<int, int>>& edges);

    /// The points of each chain of more than `fewest` points. Chains begin at the nodes in the
    /// order in which the edges name them, and end where they meet a node of any chain. O(edges).
    std::vector<std::vector<Vec3d>> Chains(std::size_t fewest) const;

private:
    using Edges = std::vector<std::pair<int, int>>;

    void Link(const Edges& edges);
    std::vector<char> Junctions() const;
    Edges WithFansApart(const Edges& edges, const std::vector<char>& isJunction);
    const Vec3d& PointOf(int node) const;

    const IndexedMesh* mesh_;
    std::vector<int> fanPoints_;         // the points of the nodes that follow the mesh's points
    std::vector<int> order_;             // the nodes as the edges name them first
    Math::Impl::Buckets<int> neighbors_; // of each node, in the order of the edges
};

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
