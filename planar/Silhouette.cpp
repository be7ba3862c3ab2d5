// The shadow of a mesh.
//
// Every triangle is turned counter-clockwise as seen from above, so that the windings of all of
// them about a point count those over it. Of the directed edges of a surface, those between two
// triangles that face the same way cancel; rims, where the surface turns away, do not: both their
// triangles are on one side. What is left is few edges, and their union is the shadow of the whole.
// Bodies apart need no union each: the windings of all of them add up, and none is negative.

#include <Sorvane/OrderedPairs_E.h>
#include <Sorvane/Silhouette_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "planar/FilterData_Impl.h"
#include "planar/GridBoolean_Impl.h"
#include "planar/RegionLoops_Impl.h"

#include <array>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;
using Math::Impl::IsFinite;
using Math::Impl::Widened;

template <class T>
using SpacePoints = std::vector<VecBase<3, T>>;

template <class T>
Vec2d Shadow(const VecBase<3, T>& point)
{
    return {static_cast<double>(point.x()), static_cast<double>(point.y())};
}

template <class T>
RegionGrid GridOverPoints(const SpacePoints<T>& points)
{
    BoxOfPoints box;
    for (const VecBase<3, T>& point : points) {
        if (IsFinite(point)) {
            box.Add(Shadow(point));
        }
    }
    return box.Grid();
}

/// Coordinates are below 2^31, so that the products of their differences are exact in 64 bits.
long long Cross(const GridPoint& a, const GridPoint& b, const GridPoint& c)
{
    return (b.x() - a.x()) * (c.y() - a.y()) - (b.y() - a.y()) * (c.x() - a.x());
}

/// What is left of the edges of all triangles, by numbers of points.
template <class T>
std::vector<std::array<int, 2>> RimPairs(const Mesh::IndexedPointsBase<3, T>& mesh,
                                         const RegionGrid& grid, FilterData<2, long long>& numbers)
{
    constexpr int kNone = -1;
    std::vector<GridPoint> snapped(mesh.points.size());
    std::vector<char> isOnGrid(mesh.points.size(), 0);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, mesh.points.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                isOnGrid[i] =
                    IsFinite(mesh.points[i]) && grid.Snap(Shadow(mesh.points[i]), snapped[i]);
            }
        });
    std::vector<int> numberOf(mesh.points.size(), kNone);
    for (std::size_t i = 0; i < snapped.size(); ++i) {
        numberOf[i] = isOnGrid[i] != 0 ? numbers.Index(snapped[i]) : kNone;
    }

    std::vector<std::array<int, 2>> pairs;
    pairs.reserve(mesh.indices.size());
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        std::array<int, 3> corners{};
        for (std::size_t k = 0; k < 3; ++k) {
            corners[k] = numberOf[static_cast<std::size_t>(mesh.indices[i + k])];
        }
        if (corners[0] == kNone || corners[1] == kNone || corners[2] == kNone) {
            continue;
        }
        const auto at = [&](std::size_t k) {
            return numbers.Points()[static_cast<std::size_t>(corners[k])];
        };
        const long long cross = Cross(at(0), at(1), at(2));
        if (cross == 0) {
            continue;
        }
        if (cross < 0) {
            std::swap(corners[1], corners[2]);
        }
        for (std::size_t k = 0; k < 3; ++k) {
            pairs.push_back({corners[k], corners[(k + 1) % 3]});
        }
    }
    return MeshUtils::RemoveCancelledPairs(pairs);
}

} // namespace

template <class T>
std::vector<std::vector<VecBase<2, T>>>
SilhouetteBoundaries(const Mesh::IndexedPointsBase<3, T>& mesh, T* resolution)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<std::vector<VecBase<2, T>>> {
        const RegionGrid grid = GridOverPoints(mesh.points);
        if (resolution != nullptr) {
            *resolution = ResolutionOf<T>(grid);
        }
        if (Mesh::IsEmpty(mesh) || !HasCells(grid)) {
            return {};
        }
        std::vector<GridEdge> edges;
        {
            FilterData<2, long long> numbers;
            const auto rims = RimPairs(mesh, grid, numbers);
            edges.reserve(rims.size());
            for (const auto& [from, to] : rims) {
                AppendEdge(numbers.Points()[static_cast<std::size_t>(from)],
                           numbers.Points()[static_cast<std::size_t>(to)], 1, 0, edges);
            }
        }
        std::vector<GridLoop> united;
        GridBoolean(std::move(edges), Keep::FirstSet, Cutting::Own, united);
        auto result = FromGrid<T>(united, grid);
        PutLargeLoopFirst(result);
        return result;
    });
}

template <class T>
std::vector<VecBase<2, T>> SilhouetteBoundary(const Mesh::IndexedPointsBase<3, T>& mesh,
                                              T* resolution)
{
    auto boundaries = SilhouetteBoundaries(mesh, resolution);
    return boundaries.empty() ? std::vector<VecBase<2, T>>{} : std::move(boundaries.front());
}

// clang-format off
template std::vector<std::vector<VecBase<2, float>>>  SilhouetteBoundaries(const Mesh::IndexedPointsBase<3, float>&,  float*);
template std::vector<std::vector<VecBase<2, double>>> SilhouetteBoundaries(const Mesh::IndexedPointsBase<3, double>&, double*);
template std::vector<VecBase<2, float>>  SilhouetteBoundary(const Mesh::IndexedPointsBase<3, float>&,  float*);
template std::vector<VecBase<2, double>> SilhouetteBoundary(const Mesh::IndexedPointsBase<3, double>&, double*);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
