// Segments and circular arcs in the plane, and the elementary constructions on them.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Geometry {

/// A straight segment in the plane, directed from `start` to `end`.
template <class T> struct SORVANE_API SegBase {
    VecBase<2, T> start; ///< where travel begins
    VecBase<2, T> end;   ///< where it ends

    friend constexpr bool operator==(const SegBase&, const SegBase&) = default;
};

/// A circular arc in the plane: center, start point on the circle, and signed arc length.
///
/// |length| is measured along the circle; positive runs counter-clockwise, negative clockwise. The
/// radius |start - center| and the end point (`EndPoint`) are derived, never stored. A full circle has
/// |length| = 2 pi radius.
template <class T> struct SORVANE_API ArcBase {
    VecBase<2, T> center; ///< of the circle
    VecBase<2, T> start;  ///< a point on the circle, where travel begins
    T length{0};          ///< along the circle, positive counter-clockwise

    /// Lower and upper corner of the arc's own axis-aligned box: start, end and those of the four
    /// axis-extreme points of the circle that the arc runs over.
    SORVANE_API std::array<VecBase<2, T>, 2> Bounds() const;

    friend constexpr bool operator==(const ArcBase&, const ArcBase&) = default;
};

/// Distance from center to start.
template <class T> T Radius(const ArcBase<T>& arc)
{
    return Vector::Length(arc.start - arc.center);
}

/// End point of an arc.
///
/// With (r, angle) the polar form of start - center: r at most 1e-12 keeps the angle; otherwise the
/// angle becomes fmod(length / r + angle, 2 pi), plus 2 pi when negative; the end is center + polar(r,
/// angle). The same formula serves both senses. Where the angle stays as it is, also for length 0, the
/// end has the bits of the start. Evaluated in `double` for both types: off by at most 13 epsilon of
/// the radius, and one rounding of the coordinates.
template <class T> VecBase<2, T> EndPoint(const ArcBase<T>& arc);
template <class T> constexpr const VecBase<2, T>& EndPoint(const SegBase<T>& segment)
{
    return segment.end;
}

/// Arc from `first` to `last` through `middle`; the sign of its length is the sense of the triple.
///
/// Collinear points, or two that coincide, have no such arc: then center = start = `first` and length
/// = 0, so that the radius is exactly 0. Points coincide when they match within `kLengthFloor`, so that
/// a closed run of points is told from an arc; they count as collinear when their doubled area is at
/// most the rounding of its own computation (4 epsilon times the product of the two longer edges of
/// their triangle).
/// Points that are not finite, or so far apart that their doubled area overflows, count as collinear.
/// The derived end is `last` up to the rounding of `EndPoint`, the center and the length, however flat
/// the arc.
template <class T>
ArcBase<T> ArcThroughPoints(const VecBase<2, T>& first, const VecBase<2, T>& middle,
                            const VecBase<2, T>& last);

/// Least-squares circle through points of the plane. `Method` 0: algebraic (G. Taubin, 1991), without
/// iteration, half as biased as V. Pratt's fit on short arcs; 1: geometric, the least sum of squared
/// radial distances, by damped Gauss-Newton steps from method 0 (N. Chernov and C. Lesort, 2005).
/// <0, double>, <1, float> and <1, double>. O(n) a step, at most 100 steps, mostly under ten.
///
/// The arc is a whole turn, |length| = 2 pi radius, also for an open run of points; it starts on the
/// circle in the direction of the first point, and its sign is the sense in which the points run about
/// the center. `error`: largest radial deviation of a point; `secondError`: root mean square of the
/// deviations, both about the circle as returned; either may be null. Fewer than 3 points, non-finite
/// ones, points on one line up to the rounding of their coordinates, or points that a straight line
/// fits best: center = start = the first point (the origin without points), length 0, both errors the
/// largest finite T.
template <int Method, class T>
ArcBase<T> FitCircle(const std::vector<VecBase<2, T>>& points, T* error, T* secondError);

/// Fillet of `radius` between the legs a-corner and corner-b: the arc from its tangent point on the
/// first leg to that on the second.
///
/// False, with `arc` reset, when a leg is no longer than `tolerance`, the legs are parallel (|sine| of
/// the turn at most `tolerance`), the radius is not greater than `tolerance`, or a tangent point lies
/// beyond a leg's far end by more than `tolerance`.
template <class T>
bool FilletSequence(const VecBase<2, T>& a, const VecBase<2, T>& corner, const VecBase<2, T>& b,
                    T radius, ArcBase<T>& arc, T tolerance);

/// Radius of the fillet between the legs a-corner and corner-b that passes through `point`: of the two
/// circles tangent to both legs' lines through the point, the larger, whose arc facing the corner holds
/// it. The legs count as rays: nothing is said of whether they are long enough. False, with `radius` 0,
/// when the legs are parallel (|sine| of the turn at most its own rounding, 4 epsilon) or vanish, the
/// point does not lie strictly inside the corner's angle, or the radius is beyond T.
template <class T>
bool FilletRadiusThroughPoint(const VecBase<2, T>& a, const VecBase<2, T>& corner,
                              const VecBase<2, T>& b, const VecBase<2, T>& point, T& radius);

/// Radius of the arc that a chord of length `chord` leaves by exactly `tolerance`: chord^2 / (8
/// tolerance) + tolerance / 2. The largest finite T for a tolerance that is not positive or a result
/// that overflows.
template <class T> T ApparentArcRadius(T chord, T tolerance);

/// Deviation from the circle through `a`, `b`, `c` of the longer of the chords ab and bc (its sagitta):
/// the tolerance at which a tessellation would have left these points. The chord's arc is the one that
/// the third point is not on, so that a spike, where that arc is over half the circle, deviates much. 0
/// for collinear or coincident points, told as by `ArcThroughPoints`.
template <class T>
T ApparentArcTolerance(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c);

/// Angle in radians whose chord leaves a circle of `radius` by `tolerance`: 2 acos(1 - tolerance /
/// radius), evaluated as 4 asin(sqrt(tolerance / (2 radius))), which keeps its digits for fine
/// tolerances. At most 2 pi, which it is for tolerance >= 2 radius and so for radius 0. 0 (no step
/// keeps the tolerance) when either is negative, NaN, or the tolerance is 0.
template <class T> T AngleStep(T radius, T tolerance);

/// Curvature at `b` of the circle through three consecutive points, 1 / radius, positive when they turn
/// counter-clockwise; 0 for points that `ArcThroughPoints` takes for collinear or coincident. Computed as
/// 4 area / (product of the three distances).
template <class T>
T DiscreteCurvature(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c);

/// Polyline of an arc, no chord farther from it than `tolerance`; the fewest equal steps that do, each
/// at most a quarter turn.
///
/// First the arc's start (the same bits), last its `EndPoint`, never fewer than these two. A tolerance
/// that is not positive keeps to the quarter turns; one below the rounding of the points' coordinates
/// (2 epsilon of the largest that the circle has) means that rounding; a non-finite arc gives its two
/// ends. An arc of more turns than memory holds ends in the standard allocation error.
template <class T> std::vector<VecBase<2, T>> Tessellate(const ArcBase<T>& arc, T tolerance);

/// Splits an element at a place measured along its length from its start, or as a fraction of the
/// length with `normalized`.
///
/// Two elements, the second starting with the bits of the first's end (`EndPoint`); or the element
/// alone when the place lies within `tolerance` (a length, also with `normalized`) of an end, beyond
/// it, or is NaN. The lengths of an arc's two pieces sum to its own exactly, for which the place moves
/// by half a rounding of the length at most.
template <class T>
std::vector<SegBase<T>> Split(const SegBase<T>& segment, T parameter, bool normalized, T tolerance);
template <class T>
std::vector<ArcBase<T>> Split(const ArcBase<T>& arc, T parameter, bool normalized, T tolerance);

/// Parallel element at a signed distance, positive to the right of travel, (d.y, -d.x): a
/// counter-clockwise outline grows with a positive distance.
///
/// False, with `result` reset, for a segment no longer than `tolerance`, for an arc whose own or whose
/// new radius is not greater than `tolerance`, and when length, radius or distance is not finite. An arc
/// keeps center and sweep. `result` may be the element itself.
template <class T>
bool Offset(const SegBase<T>& segment, T distance, SegBase<T>& result, T tolerance);
template <class T> bool Offset(const ArcBase<T>& arc, T distance, ArcBase<T>& result, T tolerance);

/// Same geometry, run in the same direction: starts and ends match per coordinate within `tolerance`;
/// for arcs also the centers, and the lengths differ by at most `tolerance`.
template <class T> bool IsEqual(const SegBase<T>& a, const SegBase<T>& b, T tolerance);
template <class T> bool IsEqual(const ArcBase<T>& a, const ArcBase<T>& b, T tolerance);

/// `b` carries on where `a` ends, in its direction: a.end matches b.start per coordinate, both
/// directions agree (positive dot product), and a.end lies within `tolerance` of the segment a.start to
/// b.end, so that this one can stand for both. False when a segment has no direction.
template <class T> bool IsTangent(const SegBase<T>& a, const SegBase<T>& b, T tolerance);

// clang-format off
extern template SORVANE_API std::array<VecBase<2, float>, 2>  ArcBase<float>::Bounds() const;
extern template SORVANE_API std::array<VecBase<2, double>, 2> ArcBase<double>::Bounds() const;
extern template SORVANE_API VecBase<2, float>  EndPoint(const ArcBase<float>&);
extern template SORVANE_API VecBase<2, double> EndPoint(const ArcBase<double>&);
extern template SORVANE_API ArcBase<float>  ArcThroughPoints(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&);
extern template SORVANE_API ArcBase<double> ArcThroughPoints(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&);
extern template SORVANE_API ArcBase<double> FitCircle<0, double>(const std::vector<VecBase<2, double>>&, double*, double*);
extern template SORVANE_API ArcBase<float>  FitCircle<1, float>(const std::vector<VecBase<2, float>>&,   float*,  float*);
extern template SORVANE_API ArcBase<double> FitCircle<1, double>(const std::vector<VecBase<2, double>>&, double*, double*);
extern template SORVANE_API bool FilletSequence(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  float,  ArcBase<float>&,  float);
extern template SORVANE_API bool FilletSequence(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double, ArcBase<double>&, double);
extern template SORVANE_API bool FilletRadiusThroughPoint(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  float&);
extern template SORVANE_API bool FilletRadiusThroughPoint(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double&);
extern template SORVANE_API float  ApparentArcRadius(float,  float);
extern template SORVANE_API double ApparentArcRadius(double, double);
extern template SORVANE_API float  ApparentArcTolerance(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&);
extern template SORVANE_API double ApparentArcTolerance(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&);
extern template SORVANE_API float  AngleStep(float,  float);
extern template SORVANE_API double AngleStep(double, double);
extern template SORVANE_API float  DiscreteCurvature(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&);
extern template SORVANE_API double DiscreteCurvature(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&);
extern template SORVANE_API std::vector<VecBase<2, float>>  Tessellate(const ArcBase<float>&,  float);
extern template SORVANE_API std::vector<VecBase<2, double>> Tessellate(const ArcBase<double>&, double);
extern template SORVANE_API std::vector<SegBase<float>>  Split(const SegBase<float>&,  float,  bool, float);
extern template SORVANE_API std::vector<SegBase<double>> Split(const SegBase<double>&, double, bool, double);
extern template SORVANE_API std::vector<ArcBase<float>>  Split(const ArcBase<float>&,  float,  bool, float);
extern template SORVANE_API std::vector<ArcBase<double>> Split(const ArcBase<double>&, double, bool, double);
extern template SORVANE_API bool Offset(const SegBase<float>&,  float,  SegBase<float>&,  float);
extern template SORVANE_API bool Offset(const SegBase<double>&, double, SegBase<double>&, double);
extern template SORVANE_API bool Offset(const ArcBase<float>&,  float,  ArcBase<float>&,  float);
extern template SORVANE_API bool Offset(const ArcBase<double>&, double, ArcBase<double>&, double);
extern template SORVANE_API bool IsEqual(const SegBase<float>&,  const SegBase<float>&,  float);
extern template SORVANE_API bool IsEqual(const SegBase<double>&, const SegBase<double>&, double);
extern template SORVANE_API bool IsEqual(const ArcBase<float>&,  const ArcBase<float>&,  float);
extern template SORVANE_API bool IsEqual(const ArcBase<double>&, const ArcBase<double>&, double);
extern template SORVANE_API bool IsTangent(const SegBase<float>&,  const SegBase<float>&,  float);
extern template SORVANE_API bool IsTangent(const SegBase<double>&, const SegBase<double>&, double);
// clang-format on

} // namespace Velk::Math::Geometry

namespace Velk::Math {
using Geometry::ArcBase;
using Geometry::SegBase;
} // namespace Velk::Math
