// Coloring of a graph in smallest-last order: D. W. Matula and L. L. Beck, "Smallest-last ordering
// and clustering and graph coloring algorithms", 1983; nodes kept in buckets by remaining degree as
// in V. Batagelj and M. Zaversnik, "An O(m) algorithm for cores decomposition of networks", 2003.
//
// Nodes are taken off the graph one at a time, each with the fewest neighbors left, and colored
// in the opposite order with the lowest color free among the neighbors: no node ever sees more
// colored neighbors than the few it had left. A planar graph always has a node of degree at
// most 5.

#include <Velk/Math/MapColoring_E.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace Velk::Math {

namespace {

/// Neighbors of all nodes in one array, each edge listed once at either end.
class Graph {
public:
    explicit Graph(const std::vector<std::vector<int>>& adjacency)
    {
        const int nodes = static_cast<int>(adjacency.size());
        first_.assign(adjacency.size() + 1, 0);
        ForEachListedEdge(adjacency, [this](int a, int b) {
            ++first_[a + 1];
            ++first_[b + 1];
        });
        for (int node = 0; node < nodes; ++node) {
            first_[node + 1] += first_[node];
        }
        neighbors_.resize(first_.back());
        std::vector<std::size_t> end(first_.begin(), first_.end() - 1);
        ForEachListedEdge(adjacency, [this, &end](int a, int b) {
            neighbors_[end[a]++] = b;
            neighbors_[end[b]++] = a;
        });
        DropRepeats(nodes);
    }

    int NodeCount() const { return static_cast<int>(first_.size()) - 1; }

    std::span<const int> Neighbors(int node) const
    {
        return std::span(neighbors_).subspan(first_[node], first_[node + 1] - first_[node]);
    }

private:
    template <class Visit>
    static void ForEachListedEdge(const std::vector<std::vector<int>>& adjacency, Visit visit)
    {
        const int nodes = static_cast<int>(adjacency.size());
        for (int node = 0; node < nodes; ++node) {
            for (const int neighbor : adjacency[node]) {
                if (neighbor >= 0 && neighbor < nodes && neighbor != node) {
                    visit(node, neighbor);
                }
            }
        }
    }

    void DropRepeats(int nodes)
    {
        std::vector<int> seenBy(static_cast<std::size_t>(nodes), -1);
        std::size_t kept = 0;
        std::size_t from = 0;
        for (int node = 0; node < nodes; ++node) {
            const std::size_t to = first_[node + 1];
            for (; from < to; ++from) {
                const int neighbor = neighbors_[from];
                if (seenBy[neighbor] != node) {
                    seenBy[neighbor] = node;
                    neighbors_[kept++] = neighbor;
                }
            }
            first_[node + 1] = kept;
        }
        neighbors_.resize(kept);
    }

    std::vector<std::size_t> first_;
    std::vector<int> neighbors_;
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
    std::vector<int> bucketStart(static_cast<std::size_t>(largest) + 2, 0);
    for (const int d : degree) {
        ++bucketStart[d + 1];
    }
    for (int d = 0; d <= largest; ++d) {
        bucketStart[d + 1] += bucketStart[d];
    }
    std::vector<int> order(static_cast<std::size_t>(nodes));
    std::vector<int> place(static_cast<std::size_t>(nodes));
    std::vector<int> end(bucketStart);
    for (int node = 0; node < nodes; ++node) {
        place[node] = end[degree[node]]++;
        order[place[node]] = node;
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
