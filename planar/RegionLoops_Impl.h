// What every operation does that takes loops to the grid over the box of all its points, and back.
#pragma once

#include <Velk/Math/Vector_E.h>

#include "planar/RegionGrid_Impl.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

/// The grid over points that come one by one; without extent when there are none.
class BoxOfPoints {
public:
    void Add(const Vec2d& point)
    {
        if (isEmpty_) {
            low_ = high_ = point;
            isEmpty_ = false;
        }
        for (int axis = 0; axis < 2; ++axis) {
            low_[axis] = std::min(low_[axis], point[axis]);
            high_[axis] = std::max(high_[axis], point[axis]);
        }
    }

    RegionGrid Grid() const { return {low_, high_ - low_}; }

private:
    Vec2d low_;
    Vec2d high_;
    bool isEmpty_ = true;
};

/// Can points be told apart on both axes?
inline bool HasCells(const RegionGrid& grid)
{
    return grid.extent.x() > 0 && grid.extent.y() > 0 && Math::Impl::IsFinite(grid.extent);
}

/// Two cells across the diagonal.
template <class T>
T ResolutionOf(const RegionGrid& grid)
{
    return static_cast<T>(std::sqrt(8.0) * std::max(grid.extent.x(), grid.extent.y()) /
                          RegionGrid::kCells);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>> FromGrid(const std::vector<GridLoop>& loops,
                                                 const RegionGrid& grid)
{
    std::vector<std::vector<VecBase<2, T>>> result;
    result.reserve(loops.size());
    for (const GridLoop& loop : loops) {
        auto& polyline = result.emplace_back();
        polyline.reserve(loop.size());
        for (const GridPoint& point : loop) {
            polyline.push_back(Math::Impl::Narrowed<T>(grid.PointAt(point)));
        }
    }
    return result;
}

/// Brings a large loop to the front. The area to exceed stays that of the loop that was first:
/// hosts count on this very order.
template <class T>
void PutLargeLoopFirst(std::vector<std::vector<VecBase<2, T>>>& loops)
{
    if (loops.empty()) {
        return;
    }
    const T area = Vector::SignedArea(loops.front());
    for (std::size_t i = 1; i < loops.size(); ++i) {
        if (Vector::SignedArea(loops[i]) > area) {
            std::swap(loops.front(), loops[i]);
        }
    }
}

} // namespace Velk::Math::Sorvane::Planar::Impl
