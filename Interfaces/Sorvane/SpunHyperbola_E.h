// The curve that a straight edge sweeps in the half plane (r, z) when it is turned around an
// upright axis.
//
// A line that is neither parallel to the axis nor meets it sweeps a hyperboloid, whose section is
// the hyperbola r^2 / a2 - (z - vertex.z)^2 / b2 = 1. Tools are dropped on edges by it, and the
// outline of a spun mesh is made of such curves.
#pragma once

#include <Sorvane/Export_E.h>
#include <Velk/Math/VecBase_E.h>

namespace Velk::Math::Sorvane::Mill {

/// An edge turned around an upright axis, as a curve of r (distance from the axis) and z.
struct SORVANE_API SpunHyperbola {
    VecBase<2, double>
        vertex; ///< (r, z) where the edge's line, extended as need be, is nearest to the axis
    VecBase<2, double> lowEnd;  ///< (r, z) of the end with the lower z
    VecBase<2, double> highEnd; ///< (r, z) of the other end
    double a2 = 1;              ///< square of the vertex's r
    double b2 = 1; ///< a2 times the squared slope of the edge; 0 where that is no hyperbola
    VecBase<3, double>
        lowPoint; ///< the lower end, relative to the axis: (x - axis.x, y - axis.y, z)
    VecBase<3, double> highPoint; ///< the other end, likewise
    /// b2 is at most 1e-10: the edge lies, all but, in a plane through the axis, or is level or
    /// upright. The curve then counts as straight from the point nearest to the axis to either end.
    bool flat = false;

    friend constexpr bool operator==(const SpunHyperbola&, const SpunHyperbola&) = default;
};

/// Turns the edge p q around the upright axis through `axis`.
///
/// Of ends at the same z, `p` counts as the lower one. The vertex lies on the line, not necessarily
/// between the ends; for an edge no longer than 1e-12 in plan it is the lower end. b2 is 0 for a
/// line that passes the axis within 1e-6 (a2 at most 1e-12), for one that is level, and for one
/// that is upright. Evaluated relative to the axis, so that nothing is lost far from the origin.
/// Coordinates that are not finite give values that are not. Pure; O(1).
SORVANE_API SpunHyperbola SpinSegment(const VecBase<2, double>& axis, const VecBase<3, double>& p,
                                      const VecBase<3, double>& q);

} // namespace Velk::Math::Sorvane::Mill
