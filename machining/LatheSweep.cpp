// What a tilting tool reaches of a profile, angle by angle.

#include <Sorvane/Lathe_E.h>

#include <Sorvane/Minkowski_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "planar/MinkowskiProfiles_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace Velk::Math::Sorvane::Lathe {

namespace {

using Outline = std::vector<Vec2d>;
using Outlines = std::vector<Outline>;
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

/// The directions of a path, as long as all of them look to one side of some line.
class DirectionCone {
public:
    explicit DirectionCone(const Vec2d& way) : right_(way), left_(way) {}

    /// False, and nothing changed, when `way` would open the cone to a straight angle. Ways to and
    /// fro along one line are told apart from those to one side of it by more than their rounding.
    bool Extend(const Vec2d& way)
    {
        constexpr double kStraight = 1e-9;
        const double fromRight = right_ ^ way;
        const double toLeft = way ^ left_;
        if (fromRight >= 0 && toLeft >= 0) {
            return way * right_ > 0 || way * left_ > 0;
        }
        const double length = Vector::Length(way);
        if (fromRight > kStraight * length * Vector::Length(right_)) {
            left_ = way;
            return true;
        }
        if (toLeft > kStraight * length * Vector::Length(left_)) {
            right_ = way;
            return true;
        }
        return false;
    }

private:
    Vec2d right_;
    Vec2d left_;
};

/// Stretches of a path that run to one side each. What a convex tool sweeps along one of them has
/// no hole: across its direction the tool covers one stretch at every place.
Outlines StretchesOfOneDirection(const Outline& path)
{
    Outlines stretches{{path.front()}};
    DirectionCone cone({0, 0});
    for (std::size_t i = 1; i < path.size(); ++i) {
        const Vec2d way = path[i] - path[i - 1];
        if (stretches.back().size() == 1) {
            cone = DirectionCone(way);
        } else if (!cone.Extend(way)) {
            stretches.push_back({path[i - 1]});
            cone = DirectionCone(way);
        }
        stretches.back().push_back(path[i]);
    }
    return stretches;
}

/// What a tool touches of the target on its way along a path. All that it sweeps has one outer
/// boundary, but around the target, or where ends of the path come near each other, that is not
/// where the target is: stretch by stretch there is nothing but outer boundary.
Outlines Touched(const Outline& tool, const Outline& positions, const Outline& target)
{
    if (positions.empty()) {
        return {};
    }
    Outlines swept;
    for (const Outline& stretch : StretchesOfOneDirection(positions)) {
        swept.push_back(Planar::OuterOffsetLoop(tool, stretch, kTolerance));
    }
    return swept.size() == 1
               ? Planar::KeepCommonRegions(swept.front(), target, kTolerance)
               : Planar::Impl::CommonRegions(target, swept, kTolerance, kLengthFloor<double>);
}

/// Without `holder` there is none.
std::vector<BAngleReport> Sweep(const std::vector<double>& angles, const Outline& tool,
                                const Outline* holder, const Vec2d& pivot, const Outline& target,
                                const Outlines& obstacles)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<BAngleReport> {
        std::vector<BAngleReport> reports(angles.size());

        Progress::Impl::Share share(2 * angles.size());

        // Where the pivot may go.
        Parallel::Impl::ApplyParallel(std::size_t{0}, angles.size(), [&](std::size_t i) {
            share.Done();
            BAngleReport& report = reports[i];
            report.angle = angles[i];
            const TransformBase<2> turn =
                Transform::BuildRotationFromAngle(angles[i] * kRadiansPerDegree);
            const Outline turnedTool = Turned(turn, tool, pivot);
            const Outline turnedHolder =
                holder != nullptr ? Turned(turn, *holder, pivot) : Outline{};
            if (!IsUsableTool(turnedTool)) {
                report.failed = true;
                return;
            }
            report.failed =
                !IsClosed(turnedTool) || (!turnedHolder.empty() && !IsClosed(turnedHolder));
            const bool isBounded =
                holder != nullptr ? OuterOffsetRegions(turnedTool, turnedHolder, target, obstacles,
                                                       report.toolRegions, report.holderRegions)
                                  : OuterOffsetRegions(turnedTool, target, obstacles,
                                                       report.toolRegions, report.holderRegions);
            report.failed = report.failed || !isBounded;
        });

        // What the tool touches from there. `OuterOffsetLoop` reflects what it moves; the tool is
        // reflected before, and comes out as it stands.
        const TransformBase<2> reflect = Transform::BuildMirrorAboutLine({0, 0}, {1, 0}) *
                                         Transform::BuildMirrorAboutLine({0, 0}, {0, 1});
        Parallel::Impl::ApplyParallel(std::size_t{0}, angles.size(), [&](std::size_t i) {
            share.Done();
            BAngleReport& report = reports[i];
            const TransformBase<2> turn =
                Transform::BuildRotationFromAngle(angles[i] * kRadiansPerDegree) * reflect;
            const Outline turnedTool = Turned(turn, tool, pivot);
            for (const Outline& positions : report.toolRegions) {
                auto common = Touched(turnedTool, positions, target);
                report.reachable.insert(report.reachable.end(),
                                        std::make_move_iterator(common.begin()),
                                        std::make_move_iterator(common.end()));
            }
        });
        return reports;
    });
}

} // namespace

std::vector<BAngleReport>
BAxisAngleSweep(const std::vector<double>& angles, const std::vector<VecBase<2, double>>& tool,
                const std::vector<VecBase<2, double>>& holder, const VecBase<2, double>& pivot,
                const std::vector<VecBase<2, double>>& target,
                const std::vector<std::vector<VecBase<2, double>>>& obstacles)
{
    return Sweep(angles, tool, &holder, pivot, target, obstacles);
}

std::vector<BAngleReport>
BAxisAngleSweep(const std::vector<double>& angles, const std::vector<VecBase<2, double>>& tool,
                const VecBase<2, double>& pivot, const std::vector<VecBase<2, double>>& target,
                const std::vector<std::vector<VecBase<2, double>>>& obstacles)
{
    return Sweep(angles, tool, nullptr, pivot, target, obstacles);
}

} // namespace Velk::Math::Sorvane::Lathe
