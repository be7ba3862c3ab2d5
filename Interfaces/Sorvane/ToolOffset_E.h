// Where a tool's tip stands when the tool touches a surface at a given point.
//
//     const Mill::ConvexToolOffset offset(tool);
//     const Vec3d tip = offset.TipFrom(contact, normal); // cutter contact to cutter location
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Sorvane/Export_E.h>
#include <Sorvane/Tools_E.h>
#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mill {

/// The half profile of a convex tool by the directions of its normals. The tool's axis is that of
/// z, upward.
///
/// A profile is convex, so that each normal belongs to one element of it or to one corner: a query
/// is a binary search. One object may serve many threads.
class SORVANE_API ConvexToolOffset {
public:
    /// Empty.
    ConvexToolOffset() = default;

    /// Of a profile in (radius, height), from the axis outward and upward. Empty for an empty chain
    /// and for one that turns right somewhere, by more than 1e-12 radians and the rounding of its
    /// coordinates (where an arc begins by more than 1e-5, so that a corner angle of 1.5708 or of
    /// the `float` next to pi / 2 is a quarter turn), runs an arc clockwise, goes round by more
    /// than a normal can, or has coordinates that are not finite. O(n) for n elements.
    ///
    /// A profile that ends in an arc is closed over the top, by a flat to the axis. Segments no
    /// longer than 1e-12, and arcs of such a radius, have no direction and count as not there.
    explicit ConvexToolOffset(const Planar::PolyArcSegBase<double>& profile);
    /// Of `PolyArcSegFromTool(tool)`.
    explicit ConvexToolOffset(const ConvexStandardToolBase<double>& tool);

    ConvexToolOffset(const ConvexToolOffset&) = default;
    ConvexToolOffset& operator=(const ConvexToolOffset&) = default;
    /// Leaves `other` empty.
    ConvexToolOffset(ConvexToolOffset&& other) noexcept;
    /// Leaves `other` empty.
    ConvexToolOffset& operator=(ConvexToolOffset&& other) noexcept;
    virtual ~ConvexToolOffset();

    /// Is there no profile? To be asked after construction: nothing else tells of one that is not
    /// convex.
    bool IsEmpty() const { return entries_.empty(); }

    /// Where the tip stands for the tool to touch the plane through `point` with the unit normal
    /// `normal`, away from the material, at that point. (0, 0, 0) when empty.
    ///
    /// Of flat parts of the tool a definite point touches: of a flat tip its center, of slanted and
    /// upright parts the upper end. Normals steeper than all of the profile's, at a tip without a
    /// flat, belong to the first element: of a cone that is its upper end too, of an arc its
    /// circle. Downward ones that it does not reach belong to the last. A normal of another length
    /// is taken as it is on arcs, which then are out by the radius times what it is too long. A
    /// vertical one has no direction in plan; shorter ones than 1e-12 have none at all and touch as
    /// if at the side. O(log n), without an allocation.
    Vec3d OffsetFrom(const Vec3d& point, const Vec3d& normal) const;

    /// The same for pointed tools too: normals steeper than all of the profile's touch the corner
    /// at its start. A cone on a level plane stands on its tip, where `OffsetFrom` gives a place as
    /// much lower as the cone is high.
    Vec3d TipFrom(const Vec3d& point, const Vec3d& normal) const;

private:
    /// An element, or a corner as a segment of length 0, and the polar angle of its normal where it
    /// starts, in (-pi, pi]. Ascending by the angle.
    struct Entry {
        int index = 0; ///< its position in order of creation
        double angle = 0;
        Planar::ArcSegBase<double> element;
    };
    class Builder;

    std::vector<Entry> entries_;
};

} // namespace Velk::Math::Sorvane::Mill
