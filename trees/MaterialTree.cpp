// Solid voxelization: the surface cells of a part completed to a tree whose other leaves are told
// apart by a flood of empty space.
//
//   1. complete the list, and note where the children of each node begin;
//   2. mark the nodes of the list;
//   3. flood from the empty leaves at the border, through faces;
//   4. the leaves that are left are the interior.

#include <Sorvane/MaterialTree_E.h>

#include "mathbase/Parallel_Impl.h"
#include "trees/TreeAddress_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

namespace Velk::Math::Sorvane::Tree::MaterialTree {
namespace {

using Tree::Impl::Code;

/// The axis of a step and whether it goes up, as -1 or 1.
struct Step {
    std::size_t axis;
    int sign;
};

/// The steps through the faces of a cell, in the order in which the flood tries them.
template <int D>
constexpr auto FloodSteps()
{
    if constexpr (D == 2) {
        return std::array<Step, 4>{{{0, 1}, {0, -1}, {1, 1}, {1, -1}}};
    } else {
        return std::array<Step, 6>{{{2, -1}, {0, 1}, {1, 1}, {1, -1}, {2, 1}, {0, -1}}};
    }
}

/// The bits of an axis in the path of a cell.
template <int D>
constexpr Code AxisBits(unsigned int depth, std::size_t axis)
{
    return MortonCurve::Impl::Spread<D>((1U << depth) - 1U) << axis;
}

/// Path of the cell of the same depth behind the face, none outside of unit space. The root has no
/// neighbors.
template <int D>
std::optional<Code> PathBehind(const QOFAddress<D>& address, const Step& step)
{
    // Counts within the bits of the axis: those between them are set for the carry to run through,
    // and clear for the borrow.
    const Code bits = AxisBits<D>(address.depth, step.axis);
    const Code one = Code{1} << step.axis;
    const Code value = address.path & bits;
    if (value == (step.sign > 0 ? bits : 0)) {
        return std::nullopt;
    }
    const Code next = (step.sign > 0 ? (value | ~bits) + one : value - one) & bits;
    return (address.path & ~bits) | next;
}

template <int D>
class Classification {
public:
    /// `leaves` ascending.
    explicit Classification(const std::vector<QOFAddress<D>>& leaves)
    {
        const std::vector<QOFAddress<D>> cells = CompleteTree(leaves, true, true);
        nodes_.resize(cells.size());
        paths_.resize(cells.size());
        ForEachNode([&](std::size_t node) {
            nodes_[node].address = cells[node];
            paths_[node] = cells[node].path;
            if (std::binary_search(leaves.begin(), leaves.end(), cells[node])) {
                nodes_[node].state = State::Surface;
            }
        });
        FindLevels();
        FindChildren();
    }

    void Flood()
    {
        std::vector<std::size_t> stack = Seeds();
        for (const std::size_t seed : stack) {
            nodes_[seed].state = State::Exterior;
        }
        while (!stack.empty()) { // a leaf joins it once, when it is no longer unclassified
            const QOFAddress<D> from = nodes_[stack.back()].address;
            stack.pop_back();
            for (const Step& step : FloodSteps<D>()) {
                // Nothing is lost at the border: what would be reached from there are seeds.
                if (const std::optional<Code> path = PathBehind(from, step)) {
                    FloodInto(NodeOrAncestor(from.depth, *path), step, stack);
                }
            }
        }
    }

    void MarkInterior()
    {
        ForEachNode([&](std::size_t node) {
            if (IsEmptyLeaf(node)) {
                nodes_[node].state = State::Interior;
            }
        });
    }

    std::vector<Node<D>> Result(bool leavesOnly) &&
    {
        if (!leavesOnly) {
            return std::move(nodes_);
        }
        std::vector<Node<D>> leaves;
        leaves.reserve(nodes_.size() - static_cast<std::size_t>(std::count_if(
                                           childCounts_.begin(), childCounts_.end(),
                                           [](std::uint8_t count) { return count > 0; })));
        for (std::size_t node = 0; node < nodes_.size(); ++node) {
            if (IsLeaf(node)) {
                leaves.push_back(nodes_[node]);
            }
        }
        return leaves;
    }

private:
    static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
    static constexpr auto kShift = static_cast<unsigned int>(D);

    /// The nodes of one depth.
    struct Level {
        std::size_t begin;
        std::size_t end;
    };

    template <class Fn>
    void ForEachNode(const Fn& fn)
    {
        Parallel::Impl::ApplyParallelChunks(std::size_t{0}, nodes_.size(),
                                            [&](std::size_t from, std::size_t to) {
                                                for (std::size_t node = from; node < to; ++node) {
                                                    fn(node);
                                                }
                                            });
    }

    /// A completed tree has nodes on every level down to its deepest, so that depths are
    /// subscripts here: the neighbors of a cell that is not the root are never none.
    void FindLevels()
    {
        for (std::size_t begin = 0; begin < nodes_.size();) {
            std::size_t end = begin;
            while (end < nodes_.size() &&
                   nodes_[end].address.depth == nodes_[begin].address.depth) {
                ++end;
            }
            levels_.push_back({begin, end});
            begin = end;
        }
    }

    /// The children of a node that are in the tree stand next to each other.
    void FindChildren()
    {
        firstChildren_.assign(nodes_.size(), 0);
        childCounts_.assign(nodes_.size(), 0);
        ForEachNode([&](std::size_t node) {
            const std::size_t depth = std::size_t{nodes_[node].address.depth} + 1;
            if (depth >= levels_.size()) {
                return;
            }
            const Code path = paths_[node] << kShift;
            std::size_t child = LowerBound(depth, path);
            firstChildren_[node] = child;
            while (child < levels_[depth].end && paths_[child] >> kShift == paths_[node]) {
                ++child;
            }
            childCounts_[node] = static_cast<std::uint8_t>(child - firstChildren_[node]);
        });
    }

    std::size_t LowerBound(std::size_t depth, Code path) const
    {
        const auto first = paths_.begin();
        const auto at = [&](std::size_t node) { return first + static_cast<std::ptrdiff_t>(node); };
        return static_cast<std::size_t>(
            std::lower_bound(at(levels_[depth].begin), at(levels_[depth].end), path) - first);
    }

    /// The cell's node, or that of its nearest ancestor that is in the tree; sparse lists lose
    /// some.
    std::size_t NodeOrAncestor(std::size_t depth, Code path) const
    {
        for (;; --depth, path >>= kShift) {
            const std::size_t node = LowerBound(depth, path);
            if (node < levels_[depth].end && paths_[node] == path) {
                return node;
            }
            if (depth == 0) {
                return kNone;
            }
        }
    }

    bool IsLeaf(std::size_t node) const { return childCounts_[node] == 0; }

    bool IsEmptyLeaf(std::size_t node) const
    {
        return nodes_[node].state == State::Unclassified && IsLeaf(node);
    }

    bool IsAtBorder(const QOFAddress<D>& address) const
    {
        constexpr auto kSteps = FloodSteps<D>();
        return std::any_of(kSteps.begin(), kSteps.end(),
                           [&](const Step& step) { return !PathBehind(address, step); });
    }

    /// Empty leaves at the border, ascending.
    std::vector<std::size_t> Seeds()
    {
        std::vector<std::uint8_t> isSeed(nodes_.size());
        ForEachNode([&](std::size_t node) {
            isSeed[node] = IsEmptyLeaf(node) && IsAtBorder(nodes_[node].address) ? 1 : 0;
        });
        std::vector<std::size_t> seeds;
        for (std::size_t node = 0; node < isSeed.size(); ++node) {
            if (isSeed[node] != 0) {
                seeds.push_back(node);
            }
        }
        return seeds;
    }

    /// Takes what the flood wets of `node` when it comes by `step`.
    void FloodInto(std::size_t node, const Step& step, std::vector<std::size_t>& stack)
    {
        if (node == kNone || nodes_[node].state != State::Unclassified) {
            return;
        }
        if (IsLeaf(node)) {
            nodes_[node].state = State::Exterior;
            stack.push_back(node);
            return;
        }
        // A step upward enters through the lower side, where the children have the axis' bit clear.
        const Code entered = step.sign > 0 ? 0 : 1;
        for (std::size_t i = 0; i < childCounts_[node]; ++i) {
            const std::size_t child = firstChildren_[node] + i;
            if (((paths_[child] >> step.axis) & 1U) == entered && IsEmptyLeaf(child)) {
                nodes_[child].state = State::Exterior;
                stack.push_back(child);
            }
        }
    }

    std::vector<Node<D>> nodes_;
    std::vector<Code> paths_; // of the nodes: what the searches read
    std::vector<Level> levels_;
    std::vector<std::size_t> firstChildren_;
    std::vector<std::uint8_t> childCounts_;
};

} // namespace

template <int D>
std::vector<Node<D>> SolidVoxelizationFromLeaves(const std::vector<QOFAddress<D>>& leaves,
                                                 bool leavesOnly)
{
    if (!std::is_sorted(leaves.begin(), leaves.end())) {
        std::vector<QOFAddress<D>> sorted = leaves;
        std::sort(sorted.begin(), sorted.end());
        return SolidVoxelizationFromLeaves(sorted, leavesOnly);
    }
    Classification<D> classification(leaves);
    classification.Flood();
    classification.MarkInterior();
    return std::move(classification).Result(leavesOnly);
}

template struct Node<2>;
template struct Node<3>;
template std::vector<Node<2>> SolidVoxelizationFromLeaves(const std::vector<QOFAddress<2>>&, bool);
template std::vector<Node<3>> SolidVoxelizationFromLeaves(const std::vector<QOFAddress<3>>&, bool);

} // namespace Velk::Math::Sorvane::Tree::MaterialTree
