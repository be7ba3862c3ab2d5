// The edges of a mesh that matter, as a graph that can be walked in chains.

#include "features/CreaseGraph_Impl.h"

#include "mathbase/DisjointSets_Impl.h"

#include <algorithm>
#include <tuple>

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

/// A triangle at a junction: the junction and the triangle's two other corners.
struct FanPart {
    int node;
    int first;
    int second;
};

/// An edge at a junction that belongs to another fan than the junction's first one.
struct FanEdge {
    int node;
    int other;
    int fanNode;

    friend bool operator<(const FanEdge& a, const FanEdge& b)
    {
        return std::tie(a.node, a.other) < std::tie(b.node, b.other);
    }
};

/// The triangles at all junctions, junction by junction, in triangle order.
std::vector<FanPart> PartsAt(const std::vector<int>& indices, const std::vector<char>& isJunction)
{
    std::vector<FanPart> parts;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const int node = indices[i + k];
            if (isJunction[static_cast<std::size_t>(node)] != 0) {
                parts.push_back({node, indices[i + (k + 1) % 3], indices[i + (k + 2) % 3]});
            }
        }
    }
    std::stable_sort(parts.begin(), parts.end(),
                     [](const FanPart& a, const FanPart& b) { return a.node < b.node; });
    return parts;
}

/// The fan of each triangle at one junction: the lowest triangle of those that hang together across
/// the junction's edges.
Math::Impl::DisjointSets FansOf(const FanPart* first, const FanPart* last)
{
    Math::Impl::DisjointSets fans(static_cast<std::size_t>(last - first));
    std::vector<std::pair<int, int>> atEdge; // the edge's other end, and the triangle
    for (const FanPart* part = first; part != last; ++part) {
        const int triangle = static_cast<int>(part - first);
        atEdge.emplace_back(part->first, triangle);
        atEdge.emplace_back(part->second, triangle);
    }
    std::sort(atEdge.begin(), atEdge.end());
    for (std::size_t i = 1; i < atEdge.size(); ++i) {
        if (atEdge[i].first == atEdge[i - 1].first) {
            fans.Join(atEdge[i - 1].second, atEdge[i].second);
        }
    }
    return fans;
}

} // namespace

CreaseGraph::CreaseGraph(const IndexedMesh& mesh, const std::vector<std::pair<int, int>>& edges)
    : mesh_(&mesh)
{
    Link(edges);
    const std::vector<char> isJunction = Junctions();
    if (!isJunction.empty()) {
        const Edges apart = WithFansApart(edges, isJunction);
        if (!fanPoints_.empty()) {
            Link(apart);
        }
    }
}

/// Makes the lists of neighbors; nodes may be the mesh's points and what follows them.
void CreaseGraph::Link(const Edges& edges)
{
    const std::size_t nodeCount = mesh_->points.size() + fanPoints_.size();
    std::vector<char> isNamed(nodeCount);
    order_.clear();
    for (const auto& [a, b] : edges) {
        for (const int node : {a, b}) {
            if (isNamed[static_cast<std::size_t>(node)] == 0) {
                isNamed[static_cast<std::size_t>(node)] = 1;
                order_.push_back(node);
            }
        }
    }
    neighbors_ = Math::Impl::Buckets<int>(nodeCount, [&](const auto& put) {
        for (const auto& [a, b] : edges) {
            put(a, b);
            put(b, a);
        }
    });
}

/// Which points have more than two different neighbors; empty when none has.
std::vector<char> CreaseGraph::Junctions() const
{
    std::vector<char> isJunction;
    for (const int node : order_) {
        const auto neighbors = neighbors_[node];
        const int first = neighbors.front();
        const auto second = std::find_if(neighbors.begin(), neighbors.end(),
                                         [&](int other) { return other != first; });
        if (std::any_of(second, neighbors.end(),
                        [&](int other) { return other != first && other != *second; })) {
            isJunction.resize(mesh_->points.size());
            isJunction[static_cast<std::size_t>(node)] = 1;
        }
    }
    return isJunction;
}

/// The edges with a node of its own for each fan beyond the first at a junction.
CreaseGraph::Edges CreaseGraph::WithFansApart(const Edges& edges,
                                              const std::vector<char>& isJunction)
{
    const std::vector<FanPart> parts = PartsAt(mesh_->indices, isJunction);
    std::vector<FanEdge> fanEdges;
    const FanPart* const end = parts.data() + parts.size();
    for (const FanPart* first = parts.data(); first != end;) {
        const FanPart* const last =
            std::find_if(first, end, [&](const FanPart& part) { return part.node != first->node; });
        Math::Impl::DisjointSets fans = FansOf(first, last);
        std::vector<int> nodeOf(fans.Size(), first->node);
        for (int i = 1; i < static_cast<int>(fans.Size()); ++i) {
            const int lowest = fans.Find(i);
            int& node = nodeOf[static_cast<std::size_t>(i)];
            if (lowest == i) {
                node = static_cast<int>(mesh_->points.size() + fanPoints_.size());
                fanPoints_.push_back(first->node);
            } else {
                node = nodeOf[static_cast<std::size_t>(lowest)];
            }
            if (node != first->node) {
                fanEdges.push_back({first->node, first[i].first, node});
                fanEdges.push_back({first->node, first[i].second, node});
            }
        }
        first = last;
    }
    std::sort(fanEdges.begin(), fanEdges.end());

    const auto nodeAt = [&](int point, int other) {
        const FanEdge wanted{point, other, point};
        const auto found = std::lower_bound(fanEdges.begin(), fanEdges.end(), wanted);
        return found != fanEdges.end() && !(wanted < *found) ? found->fanNode : point;
    };
    Edges apart;
    apart.reserve(edges.size());
    for (const auto& [a, b] : edges) {
        apart.emplace_back(nodeAt(a, b), nodeAt(b, a));
    }
    return apart;
}

const Vec3d& CreaseGraph::PointOf(int node) const
{
    const auto number = static_cast<std::size_t>(node);
    const std::size_t pointCount = mesh_->points.size();
    return mesh_
        ->points[number < pointCount ? number
                                     : static_cast<std::size_t>(fanPoints_[number - pointCount])];
}

std::vector<std::vector<Vec3d>> CreaseGraph::Chains(std::size_t fewest) const
{
    std::vector<std::vector<Vec3d>> chains;
    std::vector<char> isVisited(neighbors_.BucketCount());
    std::vector<Vec3d> chain;
    const auto visit = [&](int node) {
        isVisited[static_cast<std::size_t>(node)] = 1;
        chain.push_back(PointOf(node));
    };
    const auto isNew = [&](int node) { return isVisited[static_cast<std::size_t>(node)] == 0; };
    for (const int start : order_) {
        if (!isNew(start)) {
            continue;
        }
        chain.clear();
        visit(start);
        // From the start only its first neighbor is tried, from all others the first new one.
        int current = neighbors_[start].front();
        while (isNew(current)) {
            visit(current);
            const auto neighbors = neighbors_[current];
            const auto next = std::find_if(neighbors.begin(), neighbors.end(), isNew);
            if (next == neighbors.end()) {
                break;
            }
            current = *next;
        }
        if (chain.size() > fewest) {
            chains.push_back(chain);
        }
    }
    return chains;
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
