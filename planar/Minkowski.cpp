// Dilation and contraction by the convolution of edges (L. Guibas, L. Ramshaw, J. Stolfi, "A
// Kinetic Framework for Computational Geometry", 1983).
//
// While the tool moves along a path edge, it sweeps new ground on the side that it moves to: what
// bounds the sweep are its edges there, and the tracks of the vertices between front and back.
// Where the direction of the path changes, the edges that change from front to back or the other
// way bound it. Together these segments are closed curves that wind at least once about what is
// swept, and nowhere negatively; the union of regions does the rest.

#include <Sorvane/Minkowski_E.h>

#include <Sorvane/OrderedPairs_E.h>
#include <Sorvane/PlanarRegions_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Progress_Impl.h"
#include "planar/FilterData_Impl.h"
#include "planar/GridBoolean_Impl.h"
#include "planar/MinkowskiLoops_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;
using Polygon = std::vector<Vec2d>;

/// Of the frame around areas that are contracted, in their extent: a thousand cells of the grid, so
/// that the frame stays apart from them, however small the tool.
constexpr double kLeastMargin = 0x1p-20;

bool IsFiniteLoop(const Polygon& loop)
{
    return std::all_of(loop.begin(), loop.end(),
                       [](const Vec2d& point) { return Math::Impl::IsFinite(point); });
}

/// Without paths that have no point, or one that is not finite.
Loops<double> UsablePaths(Loops<double> paths)
{
    std::erase_if(paths, [](const Polygon& path) { return path.empty() || !IsFiniteLoop(path); });
    return paths;
}

/// Low and high corner of points that `each` hands to a function; of `first` alone when it hands
/// none.
template <class Each>
std::array<Vec2d, 2> BoxOf(const Vec2d& first, const Each& each)
{
    std::array<Vec2d, 2> box{first, first};
    each([&box](const Vec2d& point) {
        for (int axis = 0; axis < 2; ++axis) {
            box[0][axis] = std::min(box[0][axis], point[axis]);
            box[1][axis] = std::max(box[1][axis], point[axis]);
        }
    });
    return box;
}

std::array<Vec2d, 2> BoxOfTool(const Polygon& tool)
{
    return BoxOf(tool.front(),
                 [&](const auto& add) { std::for_each(tool.begin(), tool.end(), add); });
}

std::array<Vec2d, 2> BoxOfPaths(const Loops<double>& paths)
{
    return BoxOf(paths.front().front(), [&](const auto& add) {
        for (const Polygon& path : paths) {
            std::for_each(path.begin(), path.end(), add);
        }
    });
}

/// The grid of a sum. Tool and paths are rounded to it each by itself, and so sums of their points
/// are exact, and so is what the convolution says about windings. Sums that were rounded themselves
/// would tear open where the curve runs to and fro on one line, as it does in a hollow that fits
/// the tool: slits of a cell's width, which a contraction then widens to the size of the tool.
class SumGrid {
public:
    /// Cells along each axis of the union's grid.
    static constexpr double kCells = 0x1p30;

    SumGrid(const std::array<Vec2d, 2>& tool, const std::array<Vec2d, 2>& paths)
        : lowOfTool_(tool[0]), lowOfPaths_(paths[0]),
          extent_((tool[1] - tool[0]) + (paths[1] - paths[0]))
    {
        // Two points rounded upward stay within the last cell.
        scale_ = {(kCells - 4) / extent_.x(), (kCells - 4) / extent_.y()};
    }

    /// Can points be told apart on both axes?
    bool HasCells() const
    {
        return extent_.x() > 0 && extent_.y() > 0 && Math::Impl::IsFinite(extent_) &&
               Math::Impl::IsFinite(scale_);
    }

    /// As `Union` tells it of a box of this extent.
    double Resolution() const
    {
        return std::sqrt(8.0) * std::max(extent_.x(), extent_.y()) / kCells;
    }

    GridPoint OfTool(const Vec2d& point) const { return Rounded(point - lowOfTool_); }
    GridPoint OfPath(const Vec2d& point) const { return Rounded(point - lowOfPaths_); }

    /// Of a sum of two such points.
    Vec2d PointAt(const Vec2d& sum) const
    {
        return Vec2d(sum.x() / scale_.x(), sum.y() / scale_.y()) + (lowOfTool_ + lowOfPaths_);
    }

private:
    GridPoint Rounded(const Vec2d& fromLow) const
    {
        return {std::llround(fromLow.x() * scale_.x()), std::llround(fromLow.y() * scale_.y())};
    }

    Vec2d lowOfTool_;
    Vec2d lowOfPaths_;
    Vec2d extent_;
    Vec2d scale_;
};

/// Sums the edges of one tool with paths, on a grid.
class Convolution {
public:
    Convolution(const Polygon& tool, const SumGrid& grid)
    {
        for (const Vec2d& point : tool) {
            tool_.push_back(grid.OfTool(point));
        }
        tool_.push_back(tool_.front());
        for (std::size_t e = 0; e + 1 < tool_.size(); ++e) {
            const GridPoint along = tool_[e + 1] - tool_[e];
            normals_.push_back({along.y(), -along.x()});
        }
        isFront_.resize(normals_.size());
        wasFront_.resize(normals_.size());
    }

    void Add(const GridLoop& path)
    {
        std::fill(isFront_.begin(), isFront_.end(), true);
        for (std::size_t j = 0; j + 1 < path.size(); ++j) {
            AddPathEdge(path[j], path[j + 1]);
        }
        for (std::size_t e = 0; e < normals_.size(); ++e) {
            if (isFront_[e]) {
                Emit(tool_[e] + path.back(), tool_[e + 1] + path.back());
            }
        }
    }

    std::vector<GridLoop> TakeLoops() const
    {
        std::vector<GridLoop> loops;
        for (const std::vector<int>& chain : MeshUtils::ConcatenateOderedPairs(pairs_)) {
            GridLoop& loop = loops.emplace_back();
            loop.reserve(chain.size());
            for (const int number : chain) {
                loop.push_back(points_.Points()[static_cast<std::size_t>(number)]);
            }
        }
        return loops;
    }

private:
    /// Coordinates are below 2^30, so that the products are exact.
    void AddPathEdge(const GridPoint& from, const GridPoint& to)
    {
        isFront_.swap(wasFront_);
        const GridPoint along = to - from;
        const std::size_t count = normals_.size();
        for (std::size_t e = 0; e < count; ++e) {
            isFront_[e] = along.x() * normals_[e].x() + along.y() * normals_[e].y() > 0;
        }
        for (std::size_t i = 0, before = count - 1; i < count; before = i++) {
            if (isFront_[before] != isFront_[i]) {
                EmitEitherWay(tool_[i] + from, tool_[i] + to, isFront_[i] != 0);
            }
        }
        for (std::size_t e = 0; e < count; ++e) {
            if (isFront_[e] != wasFront_[e]) {
                EmitEitherWay(tool_[e] + from, tool_[e + 1] + from, wasFront_[e] != 0);
            }
        }
    }

    void EmitEitherWay(const GridPoint& from, const GridPoint& to, bool isForward)
    {
        isForward ? Emit(from, to) : Emit(to, from);
    }

    void Emit(const GridPoint& from, const GridPoint& to)
    {
        const int first = points_.Index(from);
        pairs_.push_back({first, points_.Index(to)});
    }

    GridLoop tool_;
    std::vector<GridPoint> normals_;
    std::vector<char> isFront_;  // of each tool edge, for the path edge of the moment
    std::vector<char> wasFront_; // and for the one before
    FilterData<2, long long> points_;
    std::vector<std::array<int, 2>> pairs_;
};

/// Do the ends of the tool match within `floor`? Then the last is a repeat of the first.
bool IsClosed(const Polygon& tool, double floor)
{
    const Vec2d gap = tool.back() - tool.front();
    return std::fabs(gap.x()) <= floor && std::fabs(gap.y()) <= floor;
}

/// The union of what the tool sweeps along the paths, of which there is one; and, with `areFilled`,
/// of what they enclose, moved by the tool's first point. The tool has three points or more.
Loops<double> Sum(Polygon tool, const Loops<double>& paths, bool areFilled, double floor,
                  double& resolution)
{
    const SumGrid grid(BoxOfTool(tool), BoxOfPaths(paths));
    resolution = grid.Resolution();
    if (!grid.HasCells()) {
        return {};
    }
    if (IsClosed(tool, floor)) {
        tool.pop_back();
    }
    Convolution convolution(tool, grid);
    std::vector<GridLoop> filling;
    for (const Polygon& path : paths) {
        Progress::Impl::Check();
        GridLoop onGrid;
        onGrid.reserve(path.size());
        for (const Vec2d& point : path) {
            onGrid.push_back(grid.OfPath(point));
        }
        convolution.Add(onGrid);
        if (areFilled) {
            for (GridPoint& point : onGrid) {
                point += grid.OfTool(tool.front());
            }
            filling.push_back(std::move(onGrid));
        }
    }
    std::vector<GridLoop> onGrid = convolution.TakeLoops();
    std::move(filling.begin(), filling.end(), std::back_inserter(onGrid));

    // The union over a box of 2^30 by 2^30 has these very cells. It is told by two points that
    // bound nothing.
    Loops<double> loops{{{0, 0}}, {{SumGrid::kCells, SumGrid::kCells}}};
    loops.reserve(onGrid.size() + 2);
    for (const GridLoop& loop : onGrid) {
        Polygon& centers = loops.emplace_back();
        centers.reserve(loop.size());
        for (const GridPoint& point : loop) {
            centers.push_back(
                {static_cast<double>(point.x()) + 0.5, static_cast<double>(point.y()) + 0.5});
        }
    }
    const Progress::Impl::PhaseOfCall phase(0.2, 1);
    Loops<double> result = Union<double>(loops, nullptr);
    for (Polygon& loop : result) {
        for (Vec2d& point : loop) {
            point = grid.PointAt(point);
        }
    }
    return result;
}

Loops<double> DilateAreas(const Polygon& tool, const Loops<double>& areas, double floor,
                          double& resolution)
{
    resolution = 0;
    Loops<double> usable = UsablePaths(areas);
    if (tool.empty() || !IsFiniteLoop(tool) || usable.empty()) {
        return {};
    }
    if (tool.size() >= 3) {
        return Sum(tool, usable, true, floor, resolution);
    }
    for (Polygon& area : usable) { // nothing to sweep
        for (Vec2d& point : area) {
            point += tool.front();
        }
    }
    return Union(usable, &resolution);
}

Loops<double> ContractAreas(const Polygon& tool, const Loops<double>& areas, double floor,
                            double& resolution)
{
    resolution = 0;
    Loops<double> complement = UsablePaths(areas);
    if (tool.empty() || !IsFiniteLoop(tool) || complement.empty()) {
        return {};
    }
    const auto toolBox = BoxOfTool(tool);
    auto [low, high] = BoxOfPaths(complement);
    const double margin = std::max(Vector::Length(toolBox[1] - toolBox[0]),
                                   kLeastMargin * std::max(high.x() - low.x(), high.y() - low.y()));
    low -= Vec2d(margin, margin);
    high += Vec2d(margin, margin);
    for (Polygon& area : complement) {
        std::reverse(area.begin(), area.end());
    }
    complement.insert(complement.begin(),
                      {low, {high.x(), low.y()}, high, {low.x(), high.y()}, low});

    Loops<double> result = DilateAreas(tool, complement, floor, resolution);
    // The grown frame falls away. Its corners are those of the frame moved by the tool, all others
    // those of the areas, which are farther in by the margin; halfway between lies a line that
    // parts them, for a tool anywhere in its frame. What is too small to be swept only moves by its
    // first point.
    const bool isSwept = tool.size() >= 3;
    const Vec2d least = isSwept ? toolBox[0] : tool.front();
    const Vec2d greatest = isSwept ? toolBox[1] : tool.front();
    const Vec2d inward = (Vec2d(margin, margin) + greatest - least) * 0.5;
    const Vec2d from = low + least + inward;
    const Vec2d to = high + greatest - inward;
    std::erase_if(result, [&](const Polygon& loop) {
        return loop.empty() || !(from.x() < loop[0].x() && loop[0].x() < to.x() &&
                                 from.y() < loop[0].y() && loop[0].y() < to.y());
    });
    for (Polygon& loop : result) {
        std::reverse(loop.begin(), loop.end());
    }
    return result;
}

/// Outer loop and holes, each turned to run the right way.
template <class T>
Loops<T> AreaOf(const std::vector<VecBase<2, T>>& outer, const Loops<T>& holes)
{
    Loops<T> area;
    area.reserve(holes.size() + 1);
    const auto append = [&area](const std::vector<VecBase<2, T>>& loop, bool isTurned) {
        area.push_back(loop);
        if (isTurned) {
            std::reverse(area.back().begin(), area.back().end());
        }
    };
    append(outer, Vector::SignedArea(outer) < 0);
    for (const auto& hole : holes) {
        append(hole, Vector::SignedArea(hole) > 0);
    }
    return area;
}

template <class T>
void Write(T* resolution, double value)
{
    if (resolution != nullptr) {
        *resolution = static_cast<T>(value);
    }
}

} // namespace

template <class T>
std::vector<std::vector<VecBase<2, T>>> DilatePaths(const std::vector<VecBase<2, T>>& tool,
                                                    std::vector<std::vector<VecBase<2, T>>> paths,
                                                    T* resolution)
{
    return Progress::Impl::Stoppable(
        [&]() -> Loops<T> {
            const Polygon wideTool = WidenedLoop(tool);
            const Loops<double> usable = UsablePaths(WidenedLoops(paths));
            double accuracy = 0;
            Loops<double> result;
            if (wideTool.size() >= 3 && IsFiniteLoop(wideTool) && !usable.empty()) {
                result = Sum(wideTool, usable, false, kLengthFloor<T>, accuracy);
            }
            Write(resolution, accuracy);
            return NarrowedLoops<T>(result);
        },
        [&] {
            Write(resolution, 0.0);
            return Loops<T>();
        });
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
DilateMultipleAreas(const std::vector<VecBase<2, T>>& tool,
                    const std::vector<std::vector<VecBase<2, T>>>& areas, T* resolution)
{
    return Progress::Impl::Stoppable(
        [&]() -> Loops<T> {
            double accuracy = 0;
            const Loops<double> result =
                DilateAreas(WidenedLoop(tool), WidenedLoops(areas), kLengthFloor<T>, accuracy);
            Write(resolution, accuracy);
            return NarrowedLoops<T>(result);
        },
        [&] {
            Write(resolution, 0.0);
            return Loops<T>();
        });
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
DilateArea(const std::vector<VecBase<2, T>>& tool, const std::vector<VecBase<2, T>>& outer,
           const std::vector<std::vector<VecBase<2, T>>>& holes, T* resolution)
{
    return DilateMultipleAreas(tool, AreaOf(outer, holes), resolution);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
ContractMultipleAreas(const std::vector<VecBase<2, T>>& tool,
                      const std::vector<std::vector<VecBase<2, T>>>& areas, T* resolution)
{
    return Progress::Impl::Stoppable(
        [&]() -> Loops<T> {
            double accuracy = 0;
            const Loops<double> result =
                ContractAreas(WidenedLoop(tool), WidenedLoops(areas), kLengthFloor<T>, accuracy);
            Write(resolution, accuracy);
            return NarrowedLoops<T>(result);
        },
        [&] {
            Write(resolution, 0.0);
            return Loops<T>();
        });
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
ContractArea(const std::vector<VecBase<2, T>>& tool, const std::vector<VecBase<2, T>>& outer,
             const std::vector<std::vector<VecBase<2, T>>>& holes, T* resolution)
{
    return ContractMultipleAreas(tool, AreaOf(outer, holes), resolution);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
MinkowskiFilterMultipleAreas(const std::vector<VecBase<2, T>>& dilatingTool,
                             const std::vector<VecBase<2, T>>& contractingTool,
                             const std::vector<std::vector<VecBase<2, T>>>& areas, T* resolution)
{
    return Progress::Impl::Stoppable(
        [&]() -> Loops<T> {
            double ofDilation = 0;
            double ofContraction = 0;
            const Loops<double> grown = DilateAreas(WidenedLoop(dilatingTool), WidenedLoops(areas),
                                                    kLengthFloor<T>, ofDilation);
            const Loops<double> result =
                ContractAreas(WidenedLoop(contractingTool), grown, kLengthFloor<T>, ofContraction);
            Write(resolution, ofDilation + ofContraction);
            return NarrowedLoops<T>(result);
        },
        [&] {
            Write(resolution, 0.0);
            return Loops<T>();
        });
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
template std::vector<std::vector<VecBase<2, T>>> DilatePaths(const std::vector<VecBase<2, T>>&, std::vector<std::vector<VecBase<2, T>>>, T*); \
template std::vector<std::vector<VecBase<2, T>>> DilateMultipleAreas(const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*); \
template std::vector<std::vector<VecBase<2, T>>> DilateArea(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*); \
template std::vector<std::vector<VecBase<2, T>>> ContractMultipleAreas(const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*); \
template std::vector<std::vector<VecBase<2, T>>> ContractArea(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*); \
template std::vector<std::vector<VecBase<2, T>>> MinkowskiFilterMultipleAreas(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
