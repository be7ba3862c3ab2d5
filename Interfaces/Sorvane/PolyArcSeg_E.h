// Operations on chains of segments and arcs: length parameters, nearest points, the side of a chain,
// flattening to points, and the text file that stores a chain.
//
// All are pure functions, and a chain may be read from many threads at once. Below n is the number of
// elements. The floor is 1e-12 for `double`, 1e-8 for `float`; points match when each coordinate
// differs by at most the tolerance named. `float` forms calculate in `double` and round at the end.
// Nothing here fails other than by the results named; coordinates that are not finite, or so large that
// their squares overflow (1e150 in `double`), belong to no point of a chain.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Supported_E.h>

#include <string>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Planar {

// --- length along the chain ---------------------------------------------------------------------

/// Running length at each joint: n + 1 values from 0 to the chain's length. With `normalized` they are
/// divided by the length and end in exactly 1, unless the length is 0, and then they are all 0. An empty
/// chain gives the single value 0. O(n).
template <class T>
std::vector<T> PolyArcSegParameters(const PolyArcSegBase<T>& chain, bool normalized);

/// Place of `point` along the chain as a length from its start; -1 when it isn't on the chain.
///
/// The first element whose nearest point matches `point` within `tol` decides, even when a later one
/// lies nearer. So a joint has the parameter of the earlier element's end, and the common start and end
/// of a closed chain has 0. On an arc the parameter is that of the nearest point; on a segment the
/// distance from its start to `point` itself, which with a wide tolerance may exceed the segment, and is
/// positive also for a point before its start. O(n).
template <class T>
T PointParameterOnPolyArcSeg(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point, T tol);

/// The same for each of m points, to the bit. O(n + m log n) for the chains of ordinary parts, where few
/// elements' boxes hold a point; parallel, with the same result for any number of threads.
template <class T>
std::vector<T> PointParametersOnPolyArcSeg(const PolyArcSegBase<T>& chain,
                                           const std::vector<VecBase<2, T>>& points, T tol);

/// Point of the chain at a length from its start, or at a fraction of its length with `normalized`.
///
/// A joint counts to the earlier element. Within the floor of an element's start or end (a length, or a
/// fraction of that element with `normalized`) the point is the start or end itself, bit for bit. False,
/// with the origin in `point`, for an empty chain, a parameter outside the chain or NaN; also for one
/// that is farther than the floor from a joint, where the stretch between the two would nevertheless be no
/// longer than the floor or than the rounding of the running length. O(n).
template <class T>
bool PointAtParameterOnPolyArcSeg(const PolyArcSegBase<T>& chain, T parameter, bool normalized,
                                  VecBase<2, T>& point);

/// The same for each of m parameters, to the bit: `points` become theirs, and the result tells which of them are on
/// the chain. O(n + m log n).
template <class T>
std::vector<bool> PointsAtParametersOnPolyArcSeg(const PolyArcSegBase<T>& chain,
                                                 const std::vector<T>& parameters, bool normalized,
                                                 std::vector<VecBase<2, T>>& points);

// --- area ---------------------------------------------------------------------------------------

/// Signed area that a closed chain encloses, positive when it runs counter-clockwise; parts around which it
/// runs twice count twice. An open chain, and a gap of a joint, is closed by the segment across. 0 for an
/// empty chain, not a number where a coordinate is none. Far from the origin as exact as at it. O(n).
template <class T> T PolyArcSegArea(const PolyArcSegBase<T>& chain);

// --- nearest points and sides -------------------------------------------------------------------

/// Nearest point of the chain; of elements equally near the earliest gives it, and of an arc's ends
/// equally near, to the last digit, the start. (-max, -max), max being the largest finite T, for an empty
/// chain and for a point that is not finite. O(n).
template <class T>
VecBase<2, T> ClosestPointOnPolyArcSeg(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point);

/// Nearest point and the unit normal there of the element that gives it: to the right of travel, or to
/// the left with `right` false. The normal is zero on an element without direction (a segment no longer
/// than the floor, an arc's own center) and when there is no nearest point.
template <class T>
std::pair<VecBase<2, T>, VecBase<2, T>>
ClosestPointAndNormalOnPolyArcSeg(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point,
                                  bool right);

/// Does `point` lie to the left of the chain's travel, or with `right` false to its right? A closed
/// counter-clockwise chain holds its inside with `right` true. Points on the chain are in both spaces.
///
/// Told from the nearest point and the normal there. Where that point is a corner, the end of one
/// element and not of an open chain, the normals of the two elements that meet there are added, each at
/// that element's own point nearest to `point`. At a cusp, where they cancel, the curvatures tell the
/// side, as at the tips of a crescent; a chain that runs back along itself has none, and there the
/// answer is true. `closest`, unless null, receives the nearest point. An empty chain gives true, NaN
/// false. O(n).
///
/// The two ends of a joint may lie apart. They are one corner within the floor, the chain's tolerance or
/// the rounding of the coordinates, whichever is widest, so that a point beyond a sharp tip gets its side
/// from both elements whichever of the two ends is nearer. Ends farther apart than that are no corner.
template <class T>
bool PointInPolyArcSegSpace(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point, bool right,
                            VecBase<2, T>* closest);

// --- flattening ---------------------------------------------------------------------------------

/// The chain as a polyline, no chord farther than `tol` from it, and the points that each element gave.
///
/// Arcs are divided as by `Geometry::Tessellate`. A point that matches the one before within the floor
/// is left out, so that joints are given once; a joint with a wider gap gives both its points, and a
/// closed chain ends with its first point again.
template <class T> PolylineDataBase<T> ToPolyline(const PolyArcSegBase<T>& chain, T tol);

/// The points of `ToPolyline`.
template <class T> std::vector<VecBase<2, T>> Tessellate(const PolyArcSegBase<T>& chain, T tol);

// --- files --------------------------------------------------------------------------------------

/// Writes a chain as text, numbers with 17 significant digits in the classic locale.
///
/// An empty line; the number of elements and the tolerance; then a line for each element: L with start
/// and end, or A with start, center and signed length, separated by tabs. False when the file can't be
/// opened, or not be written completely.
SORVANE_API bool WritePolySegArcToFile(const PolyArcSegBase<double>& chain, std::string path);

/// Reads such a file; line breaks mean no more than blanks, and a missing tolerance is 1e-12.
///
/// Elements are appended one by one. An arc that does not start within the tolerance of the end before
/// it is left out, and so is a segment that `AppendSegment` refuses. Characters that begin no element
/// are skipped; reading ends at the count stated, at the end of the file, or at a number that can't be
/// read, whose element is left out. What was written comes back bit for bit, if it had an element and
/// its joints are within the tolerance.
///
/// Reported to the assert handler, source `PolyArcSeg`: line 124 when the file can't be opened, 134
/// when it counts less than 1 element (both give an empty chain), 171 when there are not as many
/// elements in the end as the file counts, and the chain is what was read.
SORVANE_API PolyArcSegBase<double> ReadPolySegArcFromFile(std::string path);

// clang-format off
extern template SORVANE_API std::vector<float>  PolyArcSegParameters(const PolyArcSegBase<float>&,  bool);
extern template SORVANE_API std::vector<double> PolyArcSegParameters(const PolyArcSegBase<double>&, bool);
extern template SORVANE_API float  PointParameterOnPolyArcSeg(const PolyArcSegBase<float>&,  const VecBase<2, float>&,  float);
extern template SORVANE_API double PointParameterOnPolyArcSeg(const PolyArcSegBase<double>&, const VecBase<2, double>&, double);
extern template SORVANE_API std::vector<float>  PointParametersOnPolyArcSeg(const PolyArcSegBase<float>&,  const std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API std::vector<double> PointParametersOnPolyArcSeg(const PolyArcSegBase<double>&, const std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API bool PointAtParameterOnPolyArcSeg(const PolyArcSegBase<float>&,  float,  bool, VecBase<2, float>&);
extern template SORVANE_API std::vector<bool> PointsAtParametersOnPolyArcSeg(const PolyArcSegBase<float>&, const std::vector<float>&, bool, std::vector<VecBase<2, float>>&);
extern template SORVANE_API bool PointAtParameterOnPolyArcSeg(const PolyArcSegBase<double>&, double, bool, VecBase<2, double>&);
extern template SORVANE_API std::vector<bool> PointsAtParametersOnPolyArcSeg(const PolyArcSegBase<double>&, const std::vector<double>&, bool, std::vector<VecBase<2, double>>&);
extern template SORVANE_API float  PolyArcSegArea(const PolyArcSegBase<float>&);
extern template SORVANE_API double PolyArcSegArea(const PolyArcSegBase<double>&);
extern template SORVANE_API VecBase<2, float>  ClosestPointOnPolyArcSeg(const PolyArcSegBase<float>&,  const VecBase<2, float>&);
extern template SORVANE_API VecBase<2, double> ClosestPointOnPolyArcSeg(const PolyArcSegBase<double>&, const VecBase<2, double>&);
extern template SORVANE_API std::pair<VecBase<2, float>,  VecBase<2, float>>  ClosestPointAndNormalOnPolyArcSeg(const PolyArcSegBase<float>&,  const VecBase<2, float>&,  bool);
extern template SORVANE_API std::pair<VecBase<2, double>, VecBase<2, double>> ClosestPointAndNormalOnPolyArcSeg(const PolyArcSegBase<double>&, const VecBase<2, double>&, bool);
extern template SORVANE_API bool PointInPolyArcSegSpace(const PolyArcSegBase<float>&,  const VecBase<2, float>&,  bool, VecBase<2, float>*);
extern template SORVANE_API bool PointInPolyArcSegSpace(const PolyArcSegBase<double>&, const VecBase<2, double>&, bool, VecBase<2, double>*);
extern template SORVANE_API PolylineDataBase<float>  ToPolyline(const PolyArcSegBase<float>&,  float);
extern template SORVANE_API PolylineDataBase<double> ToPolyline(const PolyArcSegBase<double>&, double);
extern template SORVANE_API std::vector<VecBase<2, float>>  Tessellate(const PolyArcSegBase<float>&,  float);
extern template SORVANE_API std::vector<VecBase<2, double>> Tessellate(const PolyArcSegBase<double>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<T> PolyArcSegParameters(const PolyArcSegBase<T>&, bool) = delete;
template <class T> requires(!SupportedReal<T>) T PolyArcSegArea(const PolyArcSegBase<T>&) = delete;
template <class T> requires(!SupportedReal<T>) T PointParameterOnPolyArcSeg(const PolyArcSegBase<T>&, const VecBase<2, T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<T> PointParametersOnPolyArcSeg(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) bool PointAtParameterOnPolyArcSeg(const PolyArcSegBase<T>&, T, bool, VecBase<2, T>&) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<bool> PointsAtParametersOnPolyArcSeg(const PolyArcSegBase<T>&, const std::vector<T>&, bool, std::vector<VecBase<2, T>>&) = delete;
template <class T> requires(!SupportedReal<T>) VecBase<2, T> ClosestPointOnPolyArcSeg(const PolyArcSegBase<T>&, const VecBase<2, T>&) = delete;
template <class T> requires(!SupportedReal<T>) std::pair<VecBase<2, T>, VecBase<2, T>> ClosestPointAndNormalOnPolyArcSeg(const PolyArcSegBase<T>&, const VecBase<2, T>&, bool) = delete;
template <class T> requires(!SupportedReal<T>) bool PointInPolyArcSegSpace(const PolyArcSegBase<T>&, const VecBase<2, T>&, bool, VecBase<2, T>*) = delete;
template <class T> requires(!SupportedReal<T>) PolylineDataBase<T> ToPolyline(const PolyArcSegBase<T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> Tessellate(const PolyArcSegBase<T>&, T) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
