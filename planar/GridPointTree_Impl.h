// Points on an integer grid, searched for those near a segment.
#pragma once

#include "trees/BoxHierarchy_Impl.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// A search takes O(sqrt(n) + hits).
class GridPointTree {
public:
    /// Points are numbered by their place in the list.
    explicit GridPointTree(const std::vector<Vec2d>& points)
        : boxes_(BoxesOf(points), Tree::Impl::HierarchyCut::Area, kLeaf)
    {
    }

    /// Calls visit(number) for all points within `reach` of the segment on both axes, and for some
    /// farther off.
    template <class Visit>
    void Near(const Vec2d& start, const Vec2d& end, double reach, const Visit& visit) const
    {
        const Vec2d along = end - start;
        const auto isNear = [&](const Box& box) {
            // About the box's center, half its size and the reach on each axis; the last for
            // rounding.
            const Vec2d from = start - 0.5 * (box.min + box.max);
            const Vec2d half = 0.5 * (box.max - box.min) + Vec2d(reach + 0.01, reach + 0.01);
            for (int axis = 0; axis < 2; ++axis) {
                const double to = from[axis] + along[axis];
                if (std::min(from[axis], to) > half[axis] ||
                    std::max(from[axis], to) < -half[axis]) {
                    return false;
                }
            }
            const double across = along.x() * from.y() - along.y() * from.x();
            return std::fabs(across) <=
                   std::fabs(along.x()) * half.y() + std::fabs(along.y()) * half.x();
        };
        boxes_.Visit(isNear, visit);
    }

private:
    using Hierarchy = Tree::Impl::BoxHierarchy<2, double>;
    using Box = Hierarchy::Box;

    static constexpr int kLeaf = 8;

    static std::vector<Box> BoxesOf(const std::vector<Vec2d>& points)
    {
        std::vector<Box> boxes;
        boxes.reserve(points.size());
        for (const Vec2d& point : points) {
            boxes.push_back({point, point});
        }
        return boxes;
    }

    Hierarchy boxes_;
};

} // namespace Velk::Math::Sorvane::Planar::Impl
