// What a tilting tool reaches of a profile, angle by angle.

#include <Sorvane/Lathe_E.h>

#include <Sorvane/Minkowski_E.h>
#include <Velk/Math/Transform_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace Velk::Math::Sorvane::Lathe {

namespace {

using Outline = std::vector<Vec2d>;
using Transform::TransformBase;

constexpr double kTolerance = 1e-12;
constexpr double kRadiansPerDegree = 0.017453292519943295;

/// The outline about its pivot, then turned. In this order nothing is lost far from the origin.
Outline Turned(const TransformBase<2>& turn, const Outline& outline, const Vec2d& pivot)
{
    Outline result;
    result.reserve(outline.size());
    for (const Vec2d& point : outline) {
        result.push_back(turn * (point - pivot));
    }
    return result;
}

bool IsClosed(const Outline& outline)
{
    const Vec2d gap = outline.back() - outline.front();
    return std::fabs(gap.x()) <= kTolerance && std::fabs(gap.y()) <= kTolerance;
}

/// Nothing can be told of an outline that is not there.
bool IsUsableTool(const Outline& tool)
{
    return !tool.empty() && std::all_of(tool.begin(), tool.end(), [](const Vec2d& point) {
        return Math::Impl::IsFinite(point);
    });
}

} // namespace

std::vector<BAngleReport>
BAxisAngleSweep(const std::vector<double>& angles, const std::vector<VecBase<2, double>>& tool,
                const std::vector<VecBase<2, double>>& holder, const VecBase<2, double>& pivot,
                const std::vector<VecBase<2, double>>& target,
                const std::vector<std::vector<VecBase<2, double>>>& obstacles)
{
    std::vector<BAngleReport> reports(angles.size());

    // Where the pivot may go.
    Parallel::Impl::ApplyParallel(std::size_t{0}, angles.size(), [&](std::size_t i) {
        BAngleReport& report = reports[i];
        report.angle = angles[i];
        const TransformBase<2> turn =
            Transform::BuildRotationFromAngle(angles[i] * kRadiansPerDegree);
        const Outline turnedTool = Turned(turn, tool, pivot);
        const Outline turnedHolder = Turned(turn, holder, pivot);
        if (!IsUsableTool(turnedTool)) {
            report.failed = true;
            return;
        }
        report.failed = !IsClosed(turnedTool) || (!turnedHolder.empty() && !IsClosed(turnedHolder));
        if (!OuterOffsetRegions(turnedTool, turnedHolder, target, obstacles, report.toolRegions,
                                report.holderRegions)) {
            report.failed = true;
        }
    });

    // What the tool touches from there. `OuterOffsetLoop` reflects what it moves; the tool is
    // reflected before, and comes out as it stands.
    const TransformBase<2> reflect = Transform::BuildMirrorAboutLine({0, 0}, {1, 0}) *
                                     Transform::BuildMirrorAboutLine({0, 0}, {0, 1});
    Parallel::Impl::ApplyParallel(std::size_t{0}, angles.size(), [&](std::size_t i) {
        BAngleReport& report = reports[i];
        const TransformBase<2> turn =
            Transform::BuildRotationFromAngle(angles[i] * kRadiansPerDegree) * reflect;
        const Outline turnedTool = Turned(turn, tool, pivot);
        for (const Outline& positions : report.toolRegions) {
            const Outline swept = Planar::OuterOffsetLoop(turnedTool, positions, kTolerance);
            auto common = Planar::KeepCommonRegions(swept, target, kTolerance);
            report.reachable.insert(report.reachable.end(), std::make_move_iterator(common.begin()),
                                    std::make_move_iterator(common.end()));
        }
    });
    return reports;
}

} // namespace Velk::Math::Sorvane::Lathe
