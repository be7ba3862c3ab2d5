// Operations on vectors, points and streams of points: angles, polar forms, uniqueness, resampling,
// and linking of loose segments. The vector type itself stands in VecBase_E.h.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Geometry {
template <class T> struct SegBase; // Geometry_E.h
}

namespace Velk::Math::Vector {

/// Result of a search: `index` means something only when `valid` is true.
struct SORVANE_API CheckedIdx {
    int index = 0;      ///< subscript of what was found
    bool valid = false; ///< was anything found?

    friend constexpr bool operator==(const CheckedIdx&, const CheckedIdx&) = default;
};

// --- angles -------------------------------------------------------------------------------------

/// Scalar cross product a.x b.y - a.y b.x: the named form of `a ^ b` in the plane.
template <class T> T Cross(const VecBase<2, T>& a, const VecBase<2, T>& b);

/// Angle between two directions, radians.
///
/// In the plane signed, counter-clockwise positive from `a` to `b`, in (-pi, pi]; in space in
/// [0, pi]. Lengths do not matter and are not compared with `tolerance`, so that area vectors of tiny
/// triangles still have angles; with a zero vector the angle is 0, with one that is not finite NaN.
/// atan2 of |a ^ b| and a * b: accurate near 0 and pi, where an arc cosine loses half the digits.
template <int N, class T> T AngleBetween(const VecBase<N, T>& a, const VecBase<N, T>& b, T tolerance);

/// Cotangent of the angle between two edge vectors: a * b over |a ^ b|, the magnitude also in the
/// plane; 0 when |a ^ b| is not strictly greater than `tolerance` (an absolute area).
template <int N, class T> T Cotangent(const VecBase<N, T>& a, const VecBase<N, T>& b, T tolerance);

/// Polar angle of a direction, radians in [0, 2 pi); 0 for a direction no longer than `tolerance`.
///
/// Never 2 pi itself (`kTwoPi`), nor NaN: a direction so little below the positive x axis that its
/// angle rounds to the full turn has the angle 0, which is as near on the circle.
template <class T> T AngleSweep(const VecBase<2, T>& direction, T tolerance);

/// (radius, angle) of a point of the plane, angle in [0, 2 pi) as in `AngleSweep`, 0 for the zero
/// vector. The radius neither overflows nor underflows on the way.
template <class T> VecBase<2, T> CartesianToPolar(const VecBase<2, T>& v);

/// Point of the plane from (radius, angle in radians).
template <class T> VecBase<2, T> PolarToCartesian(const VecBase<2, T>& polar);

/// (radius, inclination from +Z in [0, pi], azimuth in [0, 2 pi)) of each point; all zero for the
/// zero vector, azimuth 0 on the Z axis.
SORVANE_API std::vector<VecBase<3, double>>
CartesianToSpherical(const std::vector<VecBase<3, double>>& points);

/// Inverse of `CartesianToSpherical`: (radius, inclination, azimuth) to a point, radians.
template <class T> VecBase<3, T> SphericalToCartesian(const VecBase<3, T>& spherical);
SORVANE_API std::vector<VecBase<3, double>>
SphericalToCartesian(const std::vector<VecBase<3, double>>& spherical);

/// Mirror of a direction in the line perpendicular to `axis`: the component along the axis changes
/// sign, v - 2 (v * axis) axis / (axis * axis). The axis may have any length; a zero one leaves `v`
/// as it is.
template <class T> VecBase<2, T> Reflect(const VecBase<2, T>& v, const VecBase<2, T>& axis);

// --- measures -----------------------------------------------------------------------------------

/// Sum of the distances of consecutive points; 0 for fewer than two. A closing edge is not added.
template <class T> T Length(const std::vector<VecBase<2, T>>& polyline);

/// Area inside a closed loop of the plane, positive for counter-clockwise; the closing edge is implied,
/// and a repeated first point changes nothing. 0 for fewer than three points. Shoelace formula about
/// the first point, so that a loop far from the origin loses no digits.
template <class T> T SignedArea(const std::vector<VecBase<2, T>>& loop);

/// Weights u, v, w of `a`, `b`, `c` for `p`: p = u a + v b + w c and u + v + w = 1; in space `p` is
/// taken to its foot in the triangle's plane. 2D is for `double` only.
///
/// False, with u = v = w = 0, for a degenerate triangle: |ab ^ ac| not strictly greater than
/// `tolerance` times the longest edge squared (twice the area over that square: a pure number, so that
/// small triangles are not taken for degenerate ones), or not finite. The weights are exact at `a`, `b`
/// and `c`.
template <int N, class T>
bool BarycentricCoordinates(const VecBase<N, T>& a, const VecBase<N, T>& b, const VecBase<N, T>& c,
                            const VecBase<N, T>& p, T& u, T& v, T& w, T tolerance);

// --- uniqueness ---------------------------------------------------------------------------------

/// Keeps one point of each group that lies together, in place.
///
/// Points are taken in input order; one that matches a point kept earlier (`Matches`: every coordinate
/// differs by at most `tolerance`) is dropped. What is kept, bit for bit, is then sorted
/// lexicographically: x, then y, then z, NaN after all numbers, equal points in input order. `tolerance`
/// 0 merges exact repeats (0 and -0 are equal); a negative or NaN tolerance merges nothing. A point with
/// a NaN coordinate matches nothing and survives; so does one with an infinite coordinate, unless the
/// tolerance is infinite too (the difference of two equal infinities is NaN and is within none).
///
/// Expected O(n) to find exact repeats among n points and O(d log d) for the d distinct ones, whatever
/// their arrangement; when the tolerance is about the spacing of points in space, hashed cells with some
/// ten to a hundred comparisons a point. Runs in parallel, with the same result, bit for bit, for any
/// number of threads. Fewer than 2^31 points.
template <int N, class T> void FilterForUniqueness(std::vector<VecBase<N, T>>& points, T tolerance);

/// The same, and tells for each input point the index of its survivor in the compacted vector: of a
/// point that was kept its own; of a dropped one that of the nearest survivor that matches it
/// (Euclidean), kept before or after it, the lower index when two are equally near.
template <int N, class T>
std::vector<int> FilterForUniquenessAndIndex(std::vector<VecBase<N, T>>& points, T tolerance);

/// Index of the member of `uniquePoints` that matches `point`, -1 when none does.
///
/// `uniquePoints` is sorted as `FilterForUniqueness` leaves it. Of several matching members the
/// nearest counts, then the lower index; a finite member always finds itself. Points that match nothing
/// (NaN, infinities under a finite tolerance) are not found, not even as members.
///
/// O(log n) for a point that is a member, and for others when few members, or members of few different
/// x, lie within the tolerance on x: also on grids where thousands share one x. Each further x within
/// the tolerance costs a step, so that a point off a plane of x that is only nearly constant, searched
/// with a tolerance above that noise, costs O(members of the plane).
template <int N, class T>
int IndexInUniqueVector(const std::vector<VecBase<N, T>>& uniquePoints, const VecBase<N, T>& point,
                        T tolerance);

/// `IndexInUniqueVector` with an explicit flag instead of -1 (and index 0 then).
template <int N, class T>
CheckedIdx SearchInUniqueVector(const std::vector<VecBase<N, T>>& uniquePoints,
                                const VecBase<N, T>& point, T tolerance);

// --- streams of points --------------------------------------------------------------------------

/// Drops each point whose Euclidean distance from the last one kept is below `tolerance`.
///
/// The first point stays; the last point of the stream does too, so that the ends do not move: it
/// displaces the kept points before it that lie closer than the tolerance, except the first, to which
/// it gives way. Consecutive points of the result are thus never closer than the tolerance. Points with
/// a NaN are close to nothing and stay.
SORVANE_API std::vector<VecBase<3, double>>
RemoveRepeats(const std::vector<VecBase<3, double>>& stream, double tolerance);

/// Points at arc lengths 0, step, 2 step, ... along the polyline, then its last point.
///
/// A sample closer to the end than 1e-12 of the length gives way to the end itself, so that a stream of
/// length 0 leaves one point. Vertices between samples are not kept; first and last point keep their
/// bits. A step that is not positive and finite, fewer than two points, or a length that is not finite
/// gives the input back. A length error or allocation error of the standard library passes through,
/// before any sample is taken, when the step asks for more samples than there is room for.
SORVANE_API std::vector<VecBase<3, double>>
ResampleStream(const std::vector<VecBase<3, double>>& stream, double step);

/// Running arc length at each point, 0 first, never falling; summed without loss, so that the error
/// does not grow with the number of points. With `normalize` divided by the total, and the last is then
/// exactly 1; a stream whose total is 0 or not finite is not divided.
template <int N>
std::vector<double> PointStreamParameters(const std::vector<VecBase<N, double>>& stream, bool normalize);

/// One segment for each consecutive pair of points; none for fewer than two points.
template <class T>
std::vector<Geometry::SegBase<T>> PointStreamToSegments(const std::vector<VecBase<2, T>>& points);

/// The same for each polyline in order, in one list; polylines are not joined to each other.
template <class T>
std::vector<Geometry::SegBase<T>>
PolyPointStreamToSegments(const std::vector<std::vector<VecBase<2, T>>>& polylines);

/// `PointStreamToSegments` in the two-point form.
SORVANE_API std::vector<std::array<VecBase<2, double>, 2>>
PointStreamToLineSegments(const std::vector<VecBase<2, double>>& points);

/// Links loose segments end to end into polylines; ends match per coordinate within `tolerance`.
///
/// Segments may run either way; each is used exactly once, and one whose two ends match is dropped.
/// A chain is begun at the first unused segment in list order and run in its direction, at a
/// junction on to the unused segment of lowest number. A chain that comes back to its first point
/// is closed and complete: it repeats that point (the same bits) at its end. One that cannot go on
/// is extended backward from its start in the same way. A chain's joints take the position of the
/// segment met first; what is matched next is the true end of the last segment. `tolerance` 0
/// matches exact repeats, a negative one and NaN nothing; an end that is not finite matches
/// nothing. Expected O(n).
template <class T>
std::vector<std::vector<VecBase<2, T>>>
SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<T>>& segments, T tolerance);

/// The same in space.
SORVANE_API std::vector<std::vector<VecBase<3, double>>>
LineSegmentsToPolyPointStream(const std::vector<std::array<VecBase<3, double>, 2>>& segments,
                              double tolerance);

// clang-format off
extern template SORVANE_API float  Cross(const VecBase<2, float>&,  const VecBase<2, float>&);
extern template SORVANE_API double Cross(const VecBase<2, double>&, const VecBase<2, double>&);
extern template SORVANE_API float  AngleBetween(const VecBase<2, float>&,  const VecBase<2, float>&,  float);
extern template SORVANE_API double AngleBetween(const VecBase<2, double>&, const VecBase<2, double>&, double);
extern template SORVANE_API float  AngleBetween(const VecBase<3, float>&,  const VecBase<3, float>&,  float);
extern template SORVANE_API double AngleBetween(const VecBase<3, double>&, const VecBase<3, double>&, double);
extern template SORVANE_API float  Cotangent(const VecBase<2, float>&,  const VecBase<2, float>&,  float);
extern template SORVANE_API double Cotangent(const VecBase<2, double>&, const VecBase<2, double>&, double);
extern template SORVANE_API float  Cotangent(const VecBase<3, float>&,  const VecBase<3, float>&,  float);
extern template SORVANE_API double Cotangent(const VecBase<3, double>&, const VecBase<3, double>&, double);
extern template SORVANE_API float  AngleSweep(const VecBase<2, float>&,  float);
extern template SORVANE_API double AngleSweep(const VecBase<2, double>&, double);
extern template SORVANE_API VecBase<2, float>  CartesianToPolar(const VecBase<2, float>&);
extern template SORVANE_API VecBase<2, double> CartesianToPolar(const VecBase<2, double>&);
extern template SORVANE_API VecBase<2, float>  PolarToCartesian(const VecBase<2, float>&);
extern template SORVANE_API VecBase<2, double> PolarToCartesian(const VecBase<2, double>&);
extern template SORVANE_API VecBase<3, float>  SphericalToCartesian(const VecBase<3, float>&);
extern template SORVANE_API VecBase<3, double> SphericalToCartesian(const VecBase<3, double>&);
extern template SORVANE_API VecBase<2, float>  Reflect(const VecBase<2, float>&,  const VecBase<2, float>&);
extern template SORVANE_API VecBase<2, double> Reflect(const VecBase<2, double>&, const VecBase<2, double>&);
extern template SORVANE_API float  Length(const std::vector<VecBase<2, float>>&);
extern template SORVANE_API double Length(const std::vector<VecBase<2, double>>&);
extern template SORVANE_API float  SignedArea(const std::vector<VecBase<2, float>>&);
extern template SORVANE_API double SignedArea(const std::vector<VecBase<2, double>>&);
extern template SORVANE_API bool BarycentricCoordinates(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double&, double&, double&, double);
extern template SORVANE_API bool BarycentricCoordinates(const VecBase<3, float>&,  const VecBase<3, float>&,  const VecBase<3, float>&,  const VecBase<3, float>&,  float&,  float&,  float&,  float);
extern template SORVANE_API bool BarycentricCoordinates(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, double&, double&, double&, double);
extern template SORVANE_API void FilterForUniqueness(std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API void FilterForUniqueness(std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API void FilterForUniqueness(std::vector<VecBase<3, float>>&,  float);
extern template SORVANE_API void FilterForUniqueness(std::vector<VecBase<3, double>>&, double);
extern template SORVANE_API std::vector<int> FilterForUniquenessAndIndex(std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API std::vector<int> FilterForUniquenessAndIndex(std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API std::vector<int> FilterForUniquenessAndIndex(std::vector<VecBase<3, float>>&,  float);
extern template SORVANE_API std::vector<int> FilterForUniquenessAndIndex(std::vector<VecBase<3, double>>&, double);
extern template SORVANE_API int IndexInUniqueVector(const std::vector<VecBase<2, float>>&,  const VecBase<2, float>&,  float);
extern template SORVANE_API int IndexInUniqueVector(const std::vector<VecBase<2, double>>&, const VecBase<2, double>&, double);
extern template SORVANE_API int IndexInUniqueVector(const std::vector<VecBase<3, float>>&,  const VecBase<3, float>&,  float);
extern template SORVANE_API int IndexInUniqueVector(const std::vector<VecBase<3, double>>&, const VecBase<3, double>&, double);
extern template SORVANE_API CheckedIdx SearchInUniqueVector(const std::vector<VecBase<2, float>>&,  const VecBase<2, float>&,  float);
extern template SORVANE_API CheckedIdx SearchInUniqueVector(const std::vector<VecBase<2, double>>&, const VecBase<2, double>&, double);
extern template SORVANE_API CheckedIdx SearchInUniqueVector(const std::vector<VecBase<3, double>>&, const VecBase<3, double>&, double);
extern template SORVANE_API std::vector<double> PointStreamParameters(const std::vector<VecBase<2, double>>&, bool);
extern template SORVANE_API std::vector<double> PointStreamParameters(const std::vector<VecBase<3, double>>&, bool);
extern template SORVANE_API std::vector<Geometry::SegBase<float>>  PointStreamToSegments(const std::vector<VecBase<2, float>>&);
extern template SORVANE_API std::vector<Geometry::SegBase<double>> PointStreamToSegments(const std::vector<VecBase<2, double>>&);
extern template SORVANE_API std::vector<Geometry::SegBase<float>>  PolyPointStreamToSegments(const std::vector<std::vector<VecBase<2, float>>>&);
extern template SORVANE_API std::vector<Geometry::SegBase<double>> PolyPointStreamToSegments(const std::vector<std::vector<VecBase<2, double>>>&);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<float>>&,  float);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<double>>&, double);
// clang-format on

} // namespace Velk::Math::Vector

namespace Velk::Math {
using Vector::CheckedIdx;
} // namespace Velk::Math
