// Union and difference of regions in one go: to the grid over the box of all points, and back.

#include <Sorvane/PlanarRegions_E.h>

#include <Velk/Math/Vector_E.h>

#include "planar/GridBoolean_Impl.h"
#include "planar/RegionGrid_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;
using Math::Impl::IsFinite;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

template <class T>
using Loops = std::vector<std::vector<VecBase<2, T>>>;

template <class T>
bool IsUsableLoop(const std::vector<VecBase<2, T>>& loop)
{
    return !loop.empty() && std::all_of(loop.begin(), loop.end(), [](const VecBase<2, T>& point) {
        return IsFinite(point);
    });
}

/// The grid over the box of all points of usable loops; without extent when there are none.
template <class T>
class BoxOfLoops {
public:
    void Add(const Loops<T>& loops)
    {
        for (const auto& loop : loops) {
            if (!IsUsableLoop(loop)) {
                continue;
            }
            if (isEmpty_) {
                low_ = high_ = Widened(loop.front());
                isEmpty_ = false;
            }
            for (const VecBase<2, T>& point : loop) {
                for (int axis = 0; axis < 2; ++axis) {
                    const double value = static_cast<double>(point[axis]);
                    low_[axis] = std::min(low_[axis], value);
                    high_[axis] = std::max(high_[axis], value);
                }
            }
        }
    }

    RegionGrid Grid() const { return {low_, high_ - low_}; }

private:
    Vec2d low_;
    Vec2d high_;
    bool isEmpty_ = true;
};

/// Can points be told apart on both axes?
bool HasCells(const RegionGrid& grid)
{
    return grid.extent.x() > 0 && grid.extent.y() > 0 && IsFinite(grid.extent);
}

template <class T>
T ResolutionOf(const RegionGrid& grid)
{
    return static_cast<T>(std::sqrt(8.0) * std::max(grid.extent.x(), grid.extent.y()) /
                          RegionGrid::kCells);
}

template <class T>
std::vector<GridLoop> OnGrid(const Loops<T>& loops, const RegionGrid& grid)
{
    std::vector<GridLoop> result;
    result.reserve(loops.size());
    for (const auto& loop : loops) {
        if (!IsUsableLoop(loop)) {
            continue;
        }
        GridLoop& snapped = result.emplace_back(loop.size());
        for (std::size_t i = 0; i < loop.size(); ++i) {
            grid.Snap(Widened(loop[i]), snapped[i]);
        }
    }
    return result;
}

template <class T>
Loops<T> FromGrid(const std::vector<GridLoop>& loops, const RegionGrid& grid)
{
    Loops<T> result;
    result.reserve(loops.size());
    for (const GridLoop& loop : loops) {
        auto& polyline = result.emplace_back();
        polyline.reserve(loop.size());
        for (const GridPoint& point : loop) {
            polyline.push_back(Narrowed<T>(grid.PointAt(point)));
        }
    }
    return result;
}

/// Brings a large loop to the front. The area to exceed stays that of the loop that was first: hosts count
/// on this very order.
template <class T>
void PutLargeLoopFirst(Loops<T>& loops)
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

/// What is in `a` and, with `Keep::FirstSetWithoutSecond`, not in `b`.
template <class T>
Loops<T> Boolean(const Loops<T>& a, const Loops<T>& b, Keep keep, T* resolution)
{
    BoxOfLoops<T> box;
    box.Add(a);
    box.Add(b);
    const RegionGrid grid = box.Grid();
    if (resolution != nullptr) {
        *resolution = ResolutionOf<T>(grid);
    }
    if (!HasCells(grid)) {
        return {};
    }
    std::vector<GridEdge> edges;
    AppendEdges(OnGrid(a, grid), 0, edges);
    AppendEdges(OnGrid(b, grid), 1, edges);
    std::vector<GridLoop> united;
    GridBoolean(std::move(edges), keep, Cutting::Own, united);
    Loops<T> result = FromGrid<T>(united, grid);
    PutLargeLoopFirst(result);
    return result;
}

} // namespace

template <class T>
std::vector<std::vector<VecBase<2, T>>>
Union(const std::vector<std::vector<VecBase<2, T>>>& polylines, T* resolution)
{
    return Boolean(polylines, {}, Keep::FirstSet, resolution);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
Difference(const std::vector<std::vector<VecBase<2, T>>>& a,
           const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution)
{
    return Boolean(a, b, Keep::FirstSetWithoutSecond, resolution);
}

// clang-format off
template std::vector<std::vector<VecBase<2, float>>>  Union(const std::vector<std::vector<VecBase<2, float>>>&,  float*);
template std::vector<std::vector<VecBase<2, double>>> Union(const std::vector<std::vector<VecBase<2, double>>>&, double*);
template std::vector<std::vector<VecBase<2, float>>>  Difference(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
template std::vector<std::vector<VecBase<2, double>>> Difference(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
