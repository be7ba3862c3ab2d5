// One outline lowered onto another.

#include <Sorvane/Minkowski_E.h>
#include <Sorvane/Silhouette_E.h>

#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Velk::Math::Sorvane::Planar {

namespace {

using Math::Impl::Widened;
using Outline = std::vector<Vec2d>;

/// Within this, per coordinate, the ends of a tool match, and of the loop that it can't cross; so
/// do the heights of a flat top.
constexpr double kSamePoint = 1e-12;

template <class T>
Outline InDouble(const std::vector<VecBase<2, T>>& outline)
{
    Outline result;
    result.reserve(outline.size());
    for (const VecBase<2, T>& point : outline) {
        result.push_back(Widened(point));
    }
    return result;
}

/// What is no number a float can hold is no height either.
template <class T>
T HeightAs(double height)
{
    constexpr double kLowest = static_cast<double>(std::numeric_limits<T>::lowest());
    return height <= kLowest ? std::numeric_limits<T>::lowest() : static_cast<T>(height);
}

double Drop(double x, Outline tool, const Outline& target)
{
    double height = std::numeric_limits<double>::lowest();
    const auto isFinite = [](const Vec2d& point) { return Math::Impl::IsFinite(point); };
    if (tool.empty() || target.empty() || !std::all_of(tool.begin(), tool.end(), isFinite) ||
        !std::all_of(target.begin(), target.end(), isFinite)) {
        return height;
    }
    const Vec2d gap = tool.back() - tool.front();
    if (std::fabs(gap.x()) <= kSamePoint && std::fabs(gap.y()) <= kSamePoint) {
        tool.front() = tool.back();
    } else {
        tool.push_back(tool.front());
    }
    const Outline loop = OuterOffsetLoop(tool, target, kSamePoint);
    for (std::size_t i = 1; i < loop.size(); ++i) {
        const Vec2d& a = loop[i - 1];
        const Vec2d& b = loop[i];
        if (std::min(a.x(), b.x()) <= x && x < std::max(a.x(), b.x())) {
            const double y = a.y() + (b.y() - a.y()) * (x - a.x()) / (b.x() - a.x());
            height = std::max(height, y);
        }
    }
    return height;
}

/// `0 - x` and not `-x`, so that what is on the axis has no negative 0.
Vec2d Mirrored(const Vec2d& point) { return {0.0 - point.x(), point.y()}; }

} // namespace

template <class T>
T VerticalDropOnTarget(T x, const std::vector<VecBase<2, T>>& tool,
                       const std::vector<VecBase<2, T>>& target)
{
    return HeightAs<T>(Drop(static_cast<double>(x), InDouble(tool), InDouble(target)));
}

template <class T>
T DropProfileOfRevolution(const std::vector<VecBase<2, T>>& toolProfile,
                          const std::vector<VecBase<2, T>>& targetProfile, bool trimFlatTop)
{
    if (toolProfile.size() < 2) {
        return 0;
    }
    Outline tool = InDouble(toolProfile);
    for (std::size_t i = toolProfile.size() - 1; i-- > 0;) {
        tool.push_back(Mirrored(tool[i]));
    }

    Outline half = InDouble(targetProfile);
    while (trimFlatTop && half.size() > 2 &&
           std::fabs(half.back().y() - half[half.size() - 2].y()) <= kSamePoint) {
        half.pop_back();
    }
    Outline target;
    target.reserve(2 * half.size());
    for (std::size_t i = half.size(); i-- > 0;) {
        target.push_back(Mirrored(half[i]));
    }
    if (!half.empty()) {
        target.insert(target.end(), half.begin() + 1, half.end());
    }
    return HeightAs<T>(Drop(0.0, std::move(tool), target));
}

// clang-format off
template float  VerticalDropOnTarget(float,  const std::vector<VecBase<2, float>>&,  const std::vector<VecBase<2, float>>&);
template double VerticalDropOnTarget(double, const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&);
template float  DropProfileOfRevolution(const std::vector<VecBase<2, float>>&,  const std::vector<VecBase<2, float>>&,  bool);
template double DropProfileOfRevolution(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, bool);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
