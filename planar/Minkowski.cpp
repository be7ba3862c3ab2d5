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

#include "planar/FilterData_Impl.h"
#include "planar/MinkowskiLoops_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
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

/// Sums the edges of one tool with paths.
class Convolution {
public:
    /// The tool's last point becomes its first, exactly, where they match within `floor`.
    Convolution(Polygon tool, double floor) : tool_(std::move(tool))
    {
        const Vec2d gap = tool_.back() - tool_.front();
        if (std::fabs(gap.x()) <= floor && std::fabs(gap.y()) <= floor) {
            tool_.back() = tool_.front();
        } else {
            tool_.push_back(tool_.front());
        }
        for (std::size_t e = 0; e + 1 < tool_.size(); ++e) {
            const Vec2d along = tool_[e + 1] - tool_[e];
            normals_.push_back({along.y(), -along.x()});
        }
        isFront_.resize(normals_.size());
        wasFront_.resize(normals_.size());
    }

    void Add(const Polygon& path)
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

    Loops<double> TakeLoops() const
    {
        Loops<double> loops;
        for (const std::vector<int>& chain : MeshUtils::ConcatenateOderedPairs(pairs_)) {
            Polygon& loop = loops.emplace_back();
            loop.reserve(chain.size());
            for (const int number : chain) {
                loop.push_back(points_.Points()[static_cast<std::size_t>(number)]);
            }
        }
        return loops;
    }

private:
    void AddPathEdge(const Vec2d& from, const Vec2d& to)
    {
        isFront_.swap(wasFront_);
        const Vec2d along = to - from;
        const std::size_t count = normals_.size();
        for (std::size_t e = 0; e < count; ++e) {
            isFront_[e] = along * normals_[e] > 0;
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

    void EmitEitherWay(const Vec2d& from, const Vec2d& to, bool isForward)
    {
        isForward ? Emit(from, to) : Emit(to, from);
    }

    /// Ends are told apart by their bits: they are always the same sum of the same two points.
    void Emit(const Vec2d& from, const Vec2d& to)
    {
        const int first = points_.Index(from);
        pairs_.push_back({first, points_.Index(to)});
    }

    Polygon tool_;
    std::vector<Vec2d> normals_;
    std::vector<char> isFront_;  // of each tool edge, for the path edge of the moment
    std::vector<char> wasFront_; // and for the one before
    FilterData<2, double> points_;
    std::vector<std::array<int, 2>> pairs_;
};

/// Empty for a tool of fewer than three points.
Loops<double> Convolve(const Polygon& tool, const Loops<double>& paths, double floor)
{
    if (tool.size() < 3) {
        return {};
    }
    Convolution convolution(tool, floor);
    for (const Polygon& path : paths) {
        convolution.Add(path);
    }
    return convolution.TakeLoops();
}

Loops<double> DilateAreas(const Polygon& tool, const Loops<double>& areas, double floor,
                          double& resolution)
{
    resolution = 0;
    if (tool.empty() || !IsFiniteLoop(tool)) {
        return {};
    }
    const Loops<double> usable = UsablePaths(areas);
    Loops<double> loops = Convolve(tool, usable, floor);
    // The convolution follows the boundary; a copy of the area fills what that leaves out.
    for (const Polygon& area : usable) {
        Polygon& moved = loops.emplace_back(area);
        for (Vec2d& point : moved) {
            point += tool.front();
        }
    }
    return Union(loops, &resolution);
}

/// Low and high corner.
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

Loops<double> ContractAreas(const Polygon& tool, const Loops<double>& areas, double floor,
                            double& resolution)
{
    resolution = 0;
    Loops<double> complement = UsablePaths(areas);
    if (tool.empty() || !IsFiniteLoop(tool) || complement.empty()) {
        return {};
    }
    const auto toolBox =
        BoxOf(tool.front(), [&](const auto& add) { std::for_each(tool.begin(), tool.end(), add); });
    auto [low, high] = BoxOf(complement.front().front(), [&](const auto& add) {
        for (const Polygon& area : complement) {
            std::for_each(area.begin(), area.end(), add);
        }
    });
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
    const Polygon wideTool = WidenedLoop(tool);
    double accuracy = 0;
    Loops<double> result;
    if (IsFiniteLoop(wideTool)) {
        result =
            Union(Convolve(wideTool, UsablePaths(WidenedLoops(paths)), kLengthFloor<T>), &accuracy);
    }
    Write(resolution, accuracy);
    return NarrowedLoops<T>(result);
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
DilateMultipleAreas(const std::vector<VecBase<2, T>>& tool,
                    const std::vector<std::vector<VecBase<2, T>>>& areas, T* resolution)
{
    double accuracy = 0;
    const Loops<double> result =
        DilateAreas(WidenedLoop(tool), WidenedLoops(areas), kLengthFloor<T>, accuracy);
    Write(resolution, accuracy);
    return NarrowedLoops<T>(result);
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
    double accuracy = 0;
    const Loops<double> result =
        ContractAreas(WidenedLoop(tool), WidenedLoops(areas), kLengthFloor<T>, accuracy);
    Write(resolution, accuracy);
    return NarrowedLoops<T>(result);
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
    double ofDilation = 0;
    double ofContraction = 0;
    const Loops<double> grown =
        DilateAreas(WidenedLoop(dilatingTool), WidenedLoops(areas), kLengthFloor<T>, ofDilation);
    const Loops<double> result =
        ContractAreas(WidenedLoop(contractingTool), grown, kLengthFloor<T>, ofContraction);
    Write(resolution, ofDilation + ofContraction);
    return NarrowedLoops<T>(result);
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
