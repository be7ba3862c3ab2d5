// Directed pairs of node numbers: edges of triangles, canceling, chaining. All three take time
// linear in the number of pairs.

#include <Sorvane/OrderedPairs_E.h>

#include "mathbase/RadixSort_Impl.h"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Pair = std::array<int, 2>;

std::uint64_t UnorderedKey(const Pair& pair)
{
    return Math::Impl::PairKey(std::min(pair[0], pair[1]), std::max(pair[0], pair[1]));
}

/// Unused pairs out of each node, in the order in which they were given.
class OutgoingPairs {
public:
    explicit OutgoingPairs(std::vector<Pair> pairs) : pairs_(std::move(pairs))
    {
        Math::Impl::StableSortByKey(
            pairs_, [](const Pair& pair) { return Math::Impl::PairKey(pair[0], 0); });
        const std::size_t count = pairs_.size();
        dense_ = count > 0 && static_cast<std::size_t>(pairs_.back()[0]) < 4 * count;
        if (dense_) {
            cursor_.resize(static_cast<std::size_t>(pairs_.back()[0]) + 1, count);
        } else {
            sparseCursor_.reserve(count);
        }
        for (std::size_t position = count; position-- > 0;) {
            SetCursor(pairs_[position][0], position);
        }
    }

    /// Nodes with outgoing pairs, ascending, once for each pair.
    const std::vector<Pair>& Sorted() const { return pairs_; }

    /// Takes the earliest unused pair out of `node` and gives where it leads; false when none is
    /// left.
    bool Take(int node, int& next)
    {
        std::size_t* cursor = Cursor(node);
        if (cursor == nullptr || *cursor == pairs_.size() || pairs_[*cursor][0] != node) {
            return false;
        }
        next = pairs_[*cursor][1];
        ++*cursor;
        return true;
    }

private:
    void SetCursor(int node, std::size_t position)
    {
        if (dense_) {
            cursor_[static_cast<std::size_t>(node)] = position;
        } else {
            sparseCursor_[node] = position;
        }
    }

    std::size_t* Cursor(int node)
    {
        if (dense_) {
            const auto subscript = static_cast<std::size_t>(node);
            return subscript < cursor_.size() ? &cursor_[subscript] : nullptr;
        }
        const auto found = sparseCursor_.find(node);
        return found != sparseCursor_.end() ? &found->second : nullptr;
    }

    std::vector<Pair> pairs_; // by first number
    bool dense_ = false;      // numbers small enough for a table
    std::vector<std::size_t> cursor_;
    boost::unordered_flat_map<int, std::size_t> sparseCursor_;
};

} // namespace

std::vector<Pair> OrderedPairsFromTriangles(const Mesh::TripleIndexWrapper& triangles)
{
    std::vector<Pair> pairs;
    pairs.reserve(3 * triangles.size());
    for (const auto& [a, b, c] : triangles) {
        pairs.push_back({a, b});
        pairs.push_back({b, c});
        pairs.push_back({c, a});
    }
    return pairs;
}

std::vector<Pair> RemoveCancelledPairs(const std::vector<Pair>& pairs)
{
    std::vector<Pair> sorted;
    sorted.reserve(pairs.size());
    std::copy_if(pairs.begin(), pairs.end(), std::back_inserter(sorted),
                 [](const Pair& pair) { return pair[0] != pair[1]; });
    Math::Impl::StableSortByKey(sorted, UnorderedKey);

    std::vector<Pair> net;
    for (auto run = sorted.begin(); run != sorted.end();) {
        const auto [smaller, larger] = std::minmax((*run)[0], (*run)[1]);
        const Pair up{smaller, larger};
        const Pair down{larger, smaller};
        std::ptrdiff_t excess = 0;
        for (; run != sorted.end() && (*run == up || *run == down); ++run) {
            excess += *run == up ? 1 : -1;
        }
        net.insert(net.end(), static_cast<std::size_t>(std::abs(excess)), excess > 0 ? up : down);
    }
    return net;
}

std::vector<std::vector<int>> ConcatenateOderedPairs(const std::vector<Pair>& pairs)
{
    std::vector<Pair> usable;
    usable.reserve(pairs.size());
    std::copy_if(pairs.begin(), pairs.end(), std::back_inserter(usable),
                 [](const Pair& pair) { return pair[0] != pair[1] && pair[0] >= 0; });
    OutgoingPairs outgoing(std::move(usable));

    std::vector<std::vector<int>> chains;
    for (const Pair& first : outgoing.Sorted()) {
        int node = first[0];
        int next = 0;
        if (!outgoing.Take(node, next)) {
            continue;
        }
        std::vector<int> chain{node};
        // Each round uses up a pair.
        do {
            node = next;
            if (node < 0) {
                break;
            }
            chain.push_back(node);
        } while (outgoing.Take(node, next));
        chains.push_back(std::move(chain));
    }
    return chains;
}

} // namespace Velk::Math::Sorvane::MeshUtils
