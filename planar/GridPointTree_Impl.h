// Points on an integer grid, searched for those near a segment.
#pragma once

#include "mathbase/Progress_Impl.h"
#include "planar/GridBoolean_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// A tree over points that halves them along the longer side of their box. A search takes O(sqrt(n)
/// + hits).
class GridPointTree {
public:
    /// Each point carries a number.
    struct Item {
        Vec2d at;
        int number = 0;
    };

    explicit GridPointTree(std::vector<Item> items) : items_(std::move(items))
    {
        Build(0, items_.size());
    }

    /// Calls visit(item) for all points within `reach` of the segment on both axes, and for some a
    /// little farther off.
    template <class Visit>
    void Near(const Vec2d& start, const Vec2d& end, double reach, const Visit& visit) const
    {
        if (!nodes_.empty()) {
            Search(0, start, end, reach, visit);
        }
    }

private:
    static constexpr std::size_t kLeaf = 8;
    static constexpr std::size_t kMany = 1024; // worth a look at the progress scope

    struct Node {
        Vec2d low;
        Vec2d high;
        int right = -1; // the left half follows its parent; -1 for a leaf
        std::size_t from = 0;
        std::size_t to = 0;
    };

    void Build(std::size_t from, std::size_t to)
    {
        if (from == to) {
            return;
        }
        if (to - from >= kMany) {
            Progress::Impl::Check();
        }
        const std::size_t number = nodes_.size();
        nodes_.emplace_back(Node{items_[from].at, items_[from].at, -1, from, to});
        Node& node = nodes_.back();
        for (std::size_t i = from; i < to; ++i) {
            for (int axis = 0; axis < 2; ++axis) {
                node.low[axis] = std::min(node.low[axis], items_[i].at[axis]);
                node.high[axis] = std::max(node.high[axis], items_[i].at[axis]);
            }
        }
        if (to - from <= kLeaf) {
            return;
        }
        const Vec2d size = node.high - node.low;
        const int axis = size.x() >= size.y() ? 0 : 1;
        const std::size_t middle = from + (to - from) / 2;
        const auto at = [this](std::size_t i) {
            return items_.begin() + static_cast<std::ptrdiff_t>(i);
        };
        std::nth_element(at(from), at(middle), at(to),
                         [axis](const Item& a, const Item& b) { return a.at[axis] < b.at[axis]; });
        Build(from, middle);
        nodes_[number].right = static_cast<int>(nodes_.size());
        Build(middle, to);
    }

    static bool IsNear(const Vec2d& low, const Vec2d& high, const Vec2d& start, const Vec2d& end,
                       double reach)
    {
        const Vec2d along = end - start;
        // About the box's center, half its size and the reach on each axis; the last for rounding.
        const Vec2d from = start - 0.5 * (low + high);
        const Vec2d half = 0.5 * (high - low) + Vec2d(reach + 0.01, reach + 0.01);
        for (int axis = 0; axis < 2; ++axis) {
            const double to = from[axis] + along[axis];
            if (std::min(from[axis], to) > half[axis] || std::max(from[axis], to) < -half[axis]) {
                return false;
            }
        }
        const double across = along.x() * from.y() - along.y() * from.x();
        return std::fabs(across) <=
               std::fabs(along.x()) * half.y() + std::fabs(along.y()) * half.x();
    }

    template <class Visit>
    void Search(std::size_t number, const Vec2d& start, const Vec2d& end, double reach,
                const Visit& visit) const
    {
        const Node& node = nodes_[number];
        if (!IsNear(node.low, node.high, start, end, reach)) {
            return;
        }
        if (node.right >= 0) {
            Search(number + 1, start, end, reach, visit);
            Search(static_cast<std::size_t>(node.right), start, end, reach, visit);
            return;
        }
        for (std::size_t i = node.from; i < node.to; ++i) {
            if (IsNear(items_[i].at, items_[i].at, start, end, reach)) {
                visit(items_[i]);
            }
        }
    }

    std::vector<Item> items_;
    std::vector<Node> nodes_;
};

} // namespace Velk::Math::Sorvane::Planar::Impl
