// Linking of loose straight segments in the plane into polylines, also across gaps.
#pragma once

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Tree {

/// Links segments whose ends coincide or lie close, such as the cuts of a mesh by a plane, and reads off the
/// polylines. The direction of the segments is lost.
///
/// Made for closed loops: each loop of linked segments comes out as one polyline that repeats its first
/// point at the end. **Of open polylines parts are lost**, see below; where they matter, and where ends
/// match within a tolerance everywhere, call `Vector::SegmentsToPolyPointStream`, which uses each segment
/// once.
///
/// Ends within 1e-12 on each axis are one point. Segments between the same two points count once, and
/// one within a point, or with an end that is not finite, not at all. In what follows points are in
/// ascending order of x, then y, and segments in that of their lower, then their upper point: "first"
/// and "lowest" say no more about the caller's list than that. Two ends are linked, each once:
///
/// 1. When they are the only two at their point.
/// 2. Otherwise each free end in turn takes the nearest other one (of equally near ones the lowest) that
///    is free, of another segment, within `tolerance`, and no nearer to the other end of its own
///    segment. The sign of the tolerance is ignored. An end is never taken, though it may take, when its
///    ball of radius `tolerance` does not lie in the square around the center c of the box of all
///    ends whose half edge is |min - 1.1 c|, where min is the lower corner of that box. **This depends on
///    where the drawing lies**: around the origin the square is a little more than the drawing, far to
///    its lower left and near c = 11 min / 10... it can be small or nothing. With a half edge of 0
///    this step is passed over.
/// 3. What is still free is paired once, **at any distance**: an end links with the nearest other when
///    that one's nearest is this end, provided the *square* of their distance is at most the *length* of
///    its segment. So the result depends on the unit of length. An end that is refused looks, when a later one
///    finds it, at its next farther neighbor instead.
///
/// Each segment is then walked from end to end at most once. The first polyline begins at the lower
/// point of the first segment; every other one begins at the lowest end of a segment that no polyline
/// has used and that is linked at both ends. A polyline ends where a link is missing, after the last
/// point, or where it meets a segment that has been used. At a gap that steps 2 or 3 bridged, only the
/// point at which the next segment is entered is told.
///
/// What follows from that, and is kept: a segment with a free end never begins a polyline, unless it is
/// the first of all; so an open polyline of one or two segments is lost, and of a longer one the part
/// that lies behind its first linked segment is lost or comes as a polyline of its own. The first
/// segment alone gives its lower point twice, or is told from the middle of its polyline. As many
/// further polylines of one point follow as segments were not reached. For closed loops none of this
/// occurs.
///
/// Deterministic: neither the order nor the direction of the given segments matters, unless
/// ends differ by less than 1e-12. Time O(n log n), memory O(n) for n segments, also where any number of
/// ends share a point; a bridge within `tolerance` over crowds of ends that are nearer to the other end
/// of the same segment costs more. Fewer than 2^30 segments. Coordinates beyond 1e150 have no meaningful distances.
/// `float` is widened and calculated in `double`; every coordinate of the result is one that was given.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
LinkSegments(const std::vector<Geometry::SegBase<T>>& segments, T tolerance);

// clang-format off
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  LinkSegments(const std::vector<Geometry::SegBase<float>>&,  float);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> LinkSegments(const std::vector<Geometry::SegBase<double>>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Tree

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Tree {
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> LinkSegments(const std::vector<Geometry::SegBase<T>>&, T) = delete;
} // namespace Velk::Math::Sorvane::Tree
// clang-format on
/// @endcond
