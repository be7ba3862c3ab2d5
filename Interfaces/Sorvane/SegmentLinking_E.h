// Linking of loose straight segments in the plane into polylines, also across gaps.
#pragma once

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Tree {

/// Links segments whose ends coincide or lie close, such as the cuts of a mesh by a plane, and reads off
/// polylines. The direction of the segments is lost.
///
/// Made for closed loops: each loop of linked segments comes out, as one polyline that repeats its first
/// point at the end. **Of open polylines parts are lost**, see below. `Vector::SegmentsToPolyPointStream`
/// loses none: it uses each segment once and links what matches within one tolerance.
///
/// Ends within 1e-12 of each other on both axes are one point. Segments between the same two points count
/// once; those within one point, or with an end that is not finite, do not count. Points are in ascending
/// order of x, then y, segments in that of their lower, then of their upper point, and ends in that of
/// their segments, the lower one first; the order of the list says nothing. Ends are linked two by two,
/// each once:
///
/// 1. The two ends at a point that has no others.
/// 2. Each free end in turn with the nearest free end of another segment (the first of several) that is no
///    farther than `tolerance`, whose sign is ignored, and no nearer to the other end of this segment. An
///    end can be taken, not take, only if the ball of radius `tolerance` around it lies in the square
///    around the center c of the drawing's box with the half edge |min - 1.1 c|, where min is the box's
///    lower corner. **That depends on where the drawing lies.** For a box from (-11, -11) to (-9, -9) the
///    half edge is 0, and this step is passed over; a tolerance of the size of the drawing fits nowhere.
/// 3. What is then free, **at any distance**: each end in turn looks at the nearest free end of another
///    segment, and links with it if it is that one's nearest too. It does not unless the *square* of the
///    distance of that one to its nearest is at most the *length* of this end's segment, so that the result
///    depends on the unit of length. Nearest means of all that came to this step: an end whose nearest has
///    been linked to another stays free. One that was turned down, because it was not the nearest of its
///    nearest, counts from then on as having its neighbor at the next greater distance as nearest.
///
/// Then the links are walked. The first polyline begins at the lower point of the first segment and runs to
/// its upper one; any other at the first end of a segment that no polyline has used and that is linked at
/// both ends, and runs to that segment's other end. A polyline ends where a link is missing, or with the
/// point at which it enters a segment that has been used. Of two ends that were linked across a gap only
/// the one that is entered is told.
///
/// So a segment with a free end begins no polyline but the first. An open polyline of one or two segments
/// is lost unless it holds the first segment; of a longer one, the part behind the segment at which its
/// walk began is lost or comes as a polyline of its own. For each segment that was not walked there is a
/// polyline of one point at the end. The first segment alone gives its lower point twice.
///
/// The same result for any order and direction of the segments, as long as points that differ do so by more
/// than 1e-12. Empty for an empty list. A NaN tolerance and an infinite one pass step 2 over. Time O(n log
/// n), memory O(n) for n segments, any number of which may share a point. Ends in step 2 that have crowds
/// within their tolerance just nearer to the other ends of their segments cost more: short strokes that
/// stand on a curve, with a tolerance that reaches over many, take about n^1.5. Fewer than 2^30 segments.
/// Beyond coordinates of 1e150 squared distances overflow and are all equal. `float` is calculated in
/// `double`; each coordinate of the result is one that was given.
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
