// Coloring of a graph in smallest-last order: D. W. Matula and L. L. Beck, "Smallest-last ordering
// and clustering and graph coloring algorithms", 1983; nodes kept in buckets by remaining degree as
// in V. Batagelj and M. Zaversnik, "An O(m) algorithm for cores decomposition of networks", 2003.
//
// Nodes are taken off the graph one at a time, each with the fewest neighbors left, and colored
// in the opposite order with the lowest color free among the neighbors: no node ever sees more
// colored neighbors than the few it had left. A planar graph always has a node of degree at
// most 5.

#include <Velk/Math/MapColoring_E.h>

#include "mathbase/Buckets_Impl.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

namespace Velk::Math {

namespace {

/// Neighbors of all nodes, each edge listed once at either end.
class Graph {
public:
    explicit Graph(const std::vector<std::vector<int>>& adjacency)
        : neighbors_(adjacency.size(), [&](const auto& put) {
              ForEachListedEdge(adjacency, [&](int a, int b) {
                  put(a, b);
                  put(b, a);
              });
          })
    {
        std::vector<std::size_t> seenBy(adjacency.size(), adjacency.size());
        neighbors_.KeepIf([&](std::size_t node, int neighbor) {
            return std::exchange(seenBy[static_cast<std::size_t>(neighbor)], node) != node;
        });
    }

    int NodeCount() const { return static_cast<int>(neighbors_.BucketCount()); }

    std::span<const int> Neighbors(int node) const { return neighbors_[node]; }

private:
    template <class Visit>
    static void ForEachListedEdge(const std::vector<std::vector<int>>& adjacency, Visit visit)
    {
        const int nodes = static_cast<int>(adjacency.size());
        for (int node = 0; node < nodes; ++node) {
            for (const int neighbor : adjacency[static_cast<std::size_t>(node)]) {
                if (neighbor >= 0 && neighbor < nodes && neighbor != node) {
                    visit(node, neighbor);
                }
            }
        }
    }

    Impl::Buckets<int> neighbors_;
};

/// All nodes, each the one of least remaining degree when those before it are taken off.
std::vector<int> SmallestFirstRemoval(const Graph& graph)
{
    const int nodes = graph.NodeCount();
    std::vector<int> degree(static_cast<std::size_t>(nodes));
    int largest = 0;
    for (int node = 0; node < nodes; ++node) {
        degree[node] = static_cast<int>(graph.Neighbors(node).size());
        largest = std::max(largest, degree[node]);
    }

    // `order` is sorted by remaining degree all the time; bucketStart[d] is where degree d begins.
    auto byDegree = Impl::NumbersInBuckets(static_cast<std::size_t>(largest) + 1, degree.size(),
                                           [&](std::size_t node) { return degree[node]; });
    std::vector<int> bucketStart = byDegree.Offsets();
    std::vector<int> order = std::move(byDegree.Items());
    std::vector<int> place(static_cast<std::size_t>(nodes));
    for (int i = 0; i < nodes; ++i) {
        place[order[i]] = i;
    }

    for (int taken = 0; taken < nodes; ++taken) {
        const int node = order[taken];
        bucketStart[degree[node]] = taken + 1;
        for (const int neighbor : graph.Neighbors(node)) {
            if (place[neighbor] <= taken) {
                continue; // off the graph already
            }
            // The first of the neighbor's bucket changes places with it; the bucket below then
            // ends one later. Below the taken degree the buckets are empty and start behind
            // `taken`.
            const int d = degree[neighbor]--;
            const int front = std::max(bucketStart[d], taken + 1);
            const int other = order[front];
            std::swap(order[front], order[place[neighbor]]);
            std::swap(place[other], place[neighbor]);
            bucketStart[d] = front + 1;
            bucketStart[d - 1] = std::max(bucketStart[d - 1], taken + 1);
        }
    }
    return order;
}

} // namespace

std::vector<int> MapColoring(const std::vector<std::vector<int>>& adjacency,
                             unsigned int& colorCount)
{
    const Graph graph(adjacency);
    const std::vector<int> removal = SmallestFirstRemoval(graph);

    std::vector<int> color(adjacency.size(), -1);
    std::vector<int> usedAround; // usedAround[c]: the last node that had a neighbor of color c
    for (auto node = removal.rbegin(); node != removal.rend(); ++node) {
        for (const int neighbor : graph.Neighbors(*node)) {
            if (color[neighbor] >= 0) {
                usedAround[color[neighbor]] = *node;
            }
        }
        const auto free = std::find_if(usedAround.begin(), usedAround.end(),
                                       [&node](int user) { return user != *node; });
        color[*node] = static_cast<int>(free - usedAround.begin());
        if (free == usedAround.end()) {
            usedAround.push_back(-1);
        }
    }
    colorCount = static_cast<unsigned int>(usedAround.size());
    return color;
}

} // namespace Velk::Math
