// Union, difference, intersection and symmetric difference of regions in one go: to the grid over the box of all points, and back.

#include <Sorvane/PlanarRegions_E.h>

#include "mathbase/Progress_Impl.h"
#include "planar/GridBoolean_Impl.h"
#include "planar/RegionLoops_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;
using Math::Impl::IsFinite;
using Math::Impl::Widened;

template <class T>
using Loops = std::vector<std::vector<VecBase<2, T>>>;

template <class T>
bool IsUsableLoop(const std::vector<VecBase<2, T>>& loop)
{
    return !loop.empty() && std::all_of(loop.begin(), loop.end(),
                                        [](const VecBase<2, T>& point) { return IsFinite(point); });
}

template <class T>
void AddUsableLoops(const Loops<T>& loops, BoxOfPoints& box)
{
    for (const auto& loop : loops) {
        if (IsUsableLoop(loop)) {
            for (const VecBase<2, T>& point : loop) {
                box.Add(Widened(point));
            }
        }
    }
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

/// What `keep` says of the regions `a` and `b`.
template <class T>
Loops<T> Boolean(const Loops<T>& a, const Loops<T>& b, Keep keep, T* resolution)
{
    return Progress::Impl::Stoppable([&]() -> Loops<T> {
        BoxOfPoints box;
        AddUsableLoops(a, box);
        AddUsableLoops(b, box);
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
    });
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
Union(const std::vector<std::vector<VecBase<2, T>>>& a,
      const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution)
{
    return Boolean(a, b, Keep::EitherSet, resolution);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>> Difference(const std::vector<std::vector<VecBase<2, T>>>& a,
                                                   const std::vector<std::vector<VecBase<2, T>>>& b,
                                                   T* resolution)
{
    return Boolean(a, b, Keep::FirstSetWithoutSecond, resolution);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
Intersection(const std::vector<std::vector<VecBase<2, T>>>& a,
             const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution)
{
    return Boolean(a, b, Keep::BothSets, resolution);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
SymmetricDifference(const std::vector<std::vector<VecBase<2, T>>>& a,
                    const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution)
{
    return Boolean(a, b, Keep::OneSetOnly, resolution);
}

// clang-format off
template std::vector<std::vector<VecBase<2, float>>>  Union(const std::vector<std::vector<VecBase<2, float>>>&,  float*);
template std::vector<std::vector<VecBase<2, double>>> Union(const std::vector<std::vector<VecBase<2, double>>>&, double*);
template std::vector<std::vector<VecBase<2, float>>>  Union(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
template std::vector<std::vector<VecBase<2, float>>>  Difference(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
template std::vector<std::vector<VecBase<2, double>>> Union(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
template std::vector<std::vector<VecBase<2, double>>> Difference(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
template std::vector<std::vector<VecBase<2, float>>>  Intersection(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
template std::vector<std::vector<VecBase<2, double>>> Intersection(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
template std::vector<std::vector<VecBase<2, float>>>  SymmetricDifference(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
template std::vector<std::vector<VecBase<2, double>>> SymmetricDifference(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
