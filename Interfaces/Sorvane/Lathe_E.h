// Turning: where the reference point of a tool may go, and which tilts of a B axis reach which
// stretch of a profile.
//
//     const auto reports = Lathe::BAxisAngleSweep(angles, tool, holder, pivot, target, obstacles);
//     const auto sequence = Lathe::SequenceBAxisAngleSweepAround(target, reports, {});
//     for (const auto& step : sequence.steps) {
//         // step.valid[i]: may angles[i] be used from step.parameter on?
//     }
//
// The plane is that of the profile, x along the spindle and y across it, as a host likes. Outlines
// of tool and holder are closed polygons that repeat their first point; of both, of the target and
// of the obstacles only the lines count, so that an open target profile is a wall without
// thickness. All are pure functions in `double`.
#pragma once

#include <Sorvane/Export_E.h>
#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Lathe {

/// Parts the positions of the tool's reference point, the origin of its outline, at which tool or
/// holder touch something: `toolRegions` are the stretches where the tool touches the target and
/// everything else is clear, `holderRegions` those where something else is in touch.
///
/// With A the positions at which the tool touches the target (`OuterOffsetLoop` of
/// `Minkowski_E.h`), and L the outer boundary of all positions at which the tool touches an
/// obstacle or the holder touches target or obstacle, the outer boundary of A and L together is
/// parted by `ClipOverlappedRegions`: what is common to both belongs to `holderRegions`. Both are
/// cleared first.
///
/// L may fall into components. Those that meet A or lie around it count; obstacles whose positions
/// lie apart from it, which nothing runs into while the tool touches the target, are left out and
/// appear in neither result.
///
/// True when all boundaries close. An open one, as of a tool of one point or a holder that is a
/// line and a target that is a line, gives false, and regions not to be relied on. **With an empty
/// holder and without obstacles** there is no L: false, with all of A in `toolRegions`. For a tool
/// that has no holder call the overload without one. An empty target gives false, or the
/// positions of obstacles alone. An outline with a point that is not finite gives false and
/// nothing.
///
/// For outlines of n, m and k points nm + nk tests and the cutting of what passes, as
/// `OuterOffsetLoop` says.
SORVANE_API bool OuterOffsetRegions(const std::vector<VecBase<2, double>>& tool,
                                    const std::vector<VecBase<2, double>>& holder,
                                    const std::vector<VecBase<2, double>>& target,
                                    const std::vector<std::vector<VecBase<2, double>>>& obstacles,
                                    std::vector<std::vector<VecBase<2, double>>>& toolRegions,
                                    std::vector<std::vector<VecBase<2, double>>>& holderRegions);

/// The same for a tool without a holder: only the tool can run into something.
///
/// `obstacleRegions` are the stretches where an obstacle is touched, empty without obstacles. That
/// nothing but the target is there to be touched is no fault here: with neither holder nor
/// obstacles all of A is in `toolRegions`, and true tells that it closes. Obstacles without points
/// are none.
SORVANE_API bool OuterOffsetRegions(const std::vector<VecBase<2, double>>& tool,
                                    const std::vector<VecBase<2, double>>& target,
                                    const std::vector<std::vector<VecBase<2, double>>>& obstacles,
                                    std::vector<std::vector<VecBase<2, double>>>& toolRegions,
                                    std::vector<std::vector<VecBase<2, double>>>& obstacleRegions);

/// What tool and holder reach at one tilt.
struct SORVANE_API BAngleReport {
    double angle = 0; ///< in degrees
    /// stretches of the target that the tool can touch, those from one of `toolRegions` after
    /// those from another; where it is in touch with a corner alone there is no stretch
    std::vector<std::vector<VecBase<2, double>>> reachable;
    std::vector<std::vector<VecBase<2, double>>>
        toolRegions; ///< first result of `OuterOffsetRegions`
    std::vector<std::vector<VecBase<2, double>>> holderRegions; ///< its second result
    /// an outline was not closed, or `OuterOffsetRegions` gave false
    bool failed = false;

    friend bool operator==(const BAngleReport&, const BAngleReport&) = default;
};

/// A stretch of the target that is an arc, on which small gaps of what is reachable are bridged: a
/// facet that the tool can't touch between two that it can is a matter of the facets and not of the
/// arc.
///
/// The stretch should end on a place that is reached: when no interval contains its end or lies
/// beyond it, nothing is bridged, nor when none contains its start or lies before it.
struct SORVANE_API BAngleArcRegion {
    double start = 0;      ///< arc length along the target
    double end = 0;        ///< arc length along the target
    double largestGap = 0; ///< gaps up to this are bridged

    friend constexpr bool operator==(const BAngleArcRegion&, const BAngleArcRegion&) = default;
};

/// Which tilts may be used from where along the target.
struct SORVANE_API BAngleSequence {
    /// A place at which something changes.
    struct SORVANE_API Step {
        double parameter = 0;    ///< arc length along the target
        std::vector<bool> valid; ///< for each angle, from this place to the next step

        friend bool operator==(const Step&, const Step&) = default;
    };

    std::vector<double> angles; ///< of the reports, in their order
    std::vector<Step> steps; ///< parameters ascend strictly; after the last step no angle is valid

    friend bool operator==(const BAngleSequence&, const BAngleSequence&) = default;
};

/// For each angle, in degrees, counter-clockwise about `pivot`, what tool and holder reach: one
/// report per angle, in their order.
///
/// The pivot becomes the origin of the outlines: positions are those of the pivot. The holder may
/// be empty, which fails as `OuterOffsetRegions` says unless there are obstacles: the overload
/// without a holder is for tools that have none. An outline whose ends differ by more than 1e-12 in
/// a coordinate fails, and what can be told is told all the same; an empty tool outline, or one
/// that is not finite, leaves its reports empty.
///
/// What the tool sweeps along a tool region is bounded piece by piece, each piece running to one
/// side: the outer boundary of the whole sweep would miss the target where the region runs all
/// around it, and the reports would tell of nothing that can be reached.
///
/// Angles are worked on side by side; results do not depend on the number of threads. A sweep that
/// a progress scope has stopped gives no report at all.
SORVANE_API std::vector<BAngleReport>
BAxisAngleSweep(const std::vector<double>& angles, const std::vector<VecBase<2, double>>& tool,
                const std::vector<VecBase<2, double>>& holder, const VecBase<2, double>& pivot,
                const std::vector<VecBase<2, double>>& target,
                const std::vector<std::vector<VecBase<2, double>>>& obstacles);

/// The same for a tool without a holder, which does not fail for want of something else to run
/// into: `holderRegions` of the reports tell where an obstacle is touched.
SORVANE_API std::vector<BAngleReport>
BAxisAngleSweep(const std::vector<double>& angles, const std::vector<VecBase<2, double>>& tool,
                const VecBase<2, double>& pivot, const std::vector<VecBase<2, double>>& target,
                const std::vector<std::vector<VecBase<2, double>>>& obstacles);

/// The answer the other way round: along the target, the angles that are valid from each place on.
///
/// Reachable stretches become intervals of arc length, by the target's segments nearest to their
/// ends within 1e-8; a stretch that is farther away is left out. Within `arcRegions`, one after the
/// other, gaps between neighboring intervals up to the largest one are closed, also those that
/// follow up to the first interval that reaches the end of the region or lies beyond it, and
/// further ones that do. Intervals that touch within 1e-12 are joined; those that overlap stay two,
/// and the end of the first ends the angle there.
///
/// A stretch that runs over the start of a *closed* target has both its ends apart and reads as the
/// stretch between them, which is the rest of the target: let a closed target start where no tool
/// reaches, or where one must stop, or call `SequenceBAxisAngleSweepAround`.
///
/// Empty for a target of fewer than two points; no steps without reports. O(n log n) for n
/// stretches and target points.
SORVANE_API BAngleSequence SequenceBAxisAngleSweep(const std::vector<VecBase<2, double>>& target,
                                                   const std::vector<BAngleReport>& reports,
                                                   std::vector<BAngleArcRegion> arcRegions);

/// The same for a target that may be closed and may start anywhere, and with every place told for
/// what it is: an angle is valid where one of its stretches is, and nowhere else.
///
/// Of a closed target, whose last point is its first within the rounding of its coordinates, a
/// stretch that runs over the start is valid up to the whole length and from 0 on; one that runs
/// all around is valid everywhere. Stretches that overlap count as one. Steps are the places where
/// something changes, and no others; ends of stretches within rounding of the start or the end of
/// the target are there. The ends of a stretch are looked for within 1e-8, or the rounding of
/// coordinates far from the origin where that is more.
///
/// A gap between neighboring intervals is bridged when it is at most the largest one of an arc
/// region and some of it lies in the region; whether anything reaches the ends of the region does
/// not matter. On a closed target the arc region may run over the start, with its end below its
/// start, and so may gaps. Arc regions count one after the other, each on what those before it
/// left.
///
/// Empty and cost as `SequenceBAxisAngleSweep`. Where a target touches itself, a stretch that ends
/// there may be taken for one that ends at the other of the two places.
SORVANE_API BAngleSequence SequenceBAxisAngleSweepAround(
    const std::vector<VecBase<2, double>>& target, const std::vector<BAngleReport>& reports,
    const std::vector<BAngleArcRegion>& arcRegions);

} // namespace Velk::Math::Sorvane::Lathe
