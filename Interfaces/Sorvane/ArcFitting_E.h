// Arc fitting: from a dense polyline back to the straight stretches and circular arcs that it samples.
//
// Pure functions. `float` forms calculate in `double` and round the elements of the result. The floor is
// 1e-12 for `double`, 1e-8 for `float`; points match when each coordinate differs by at most the
// tolerance named. A point that is not finite or beyond 1e150, or a tolerance that is NaN, gives the
// empty result.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Supported_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar {

/// Thins a polyline: keeps its two ends and the points at which it bends, in order.
///
/// An inner point bends when the circle through it and its two neighbors has |1 / radius| greater than
/// `curvatureTolerance`. A kept point that matches the one kept before it within `pointTolerance` is left
/// out, the last point of an open polyline too. A closed polyline, whose first and last point match
/// within the floor, stays closed: its last point is appended when the result would end elsewhere.
///
/// Three kinds of points have no such circle to go by, and are asked again once the others are thinned,
/// with the neighbors that they have then: a point that matches a neighbor within the floor, so that a
/// corner drawn twice is kept once; one that lies beyond either neighbor, seen along the line through
/// both, so that the tip of a path out and back is kept; and one whose curvature exceeds the tolerance by
/// no more than the rounding of the coordinates explains. Of the last kind every second one is left out
/// until the others show whether they bend, so that a straight stretch of very many points or far from
/// the origin is thinned too. Time O(n), or O(n log n) where rounding hides the bends.
template <class T>
std::vector<VecBase<2, T>> FilterZeroCurvature(const std::vector<VecBase<2, T>>& points,
                                               T curvatureTolerance, T pointTolerance);

/// A polyline as a chain of segments and arcs that keeps within `tol` of each of its points, up to the
/// rounding of the coordinates. `tol` becomes the chain's tolerance.
///
/// The points are thinned by `FilterZeroCurvature`, with the curvature of an arc that leaves the diagonal
/// of the points' box by `tol`, and with `tol`. Runs of points of one curvature become arcs through their
/// first, middle and last point, and reach for a neighboring point that lies on their circle; a run
/// begins where the farthest one before it ends. A polyline that is one closed run becomes the circle
/// that fits best, a whole turn. What is left are segments. An arc whose chord is within `tol` of it is a
/// segment, and prolongs a tangent one before it as long as the tolerance holds for all of the segment's
/// points. Four points of an arc are the fewest that give one.
///
/// Curvatures are one as long as from point to point they change by no more than the fraction `tol`, a
/// pure number here, or than rounding explains. So a run may drift. It is divided into arcs and
/// segments, each as long as it keeps within `tol` of the points, where its radius is off its mean radius
/// of curvature by more than a tenth (ellipses, spirals), where it closes in the midst of a polyline (a
/// circle after a lead-in, which becomes a whole turn), and where its arc, or the segment in its place,
/// would leave a point by more than `tol` or run another number of turns. Curves that are sampled too
/// coarsely to be runs, and noisy points, stay segments.
///
/// Of an open polyline the chain may end within `tol` of the last point. Fewer than two points that
/// differ by more than `tol`, a negative or infinite `tol`, and bad input give the empty chain. With
/// `tol` 0, or one below the rounding of the coordinates, derived ends of arcs need not join, and *what
/// follows is left out*: a chain that does not end near the last point tells of it. Time O(n) for n
/// points, O(n log n) for what has to be divided. The runs are sought from the first point on: a reversed
/// polyline need not give the reversed chain.
template <class T>
PolyArcSegBase<T> FilterArcsAndSegs(const std::vector<VecBase<2, T>>& points, T tol);

// clang-format off
extern template SORVANE_API std::vector<VecBase<2, float>>  FilterZeroCurvature(const std::vector<VecBase<2, float>>&,  float,  float);
extern template SORVANE_API std::vector<VecBase<2, double>> FilterZeroCurvature(const std::vector<VecBase<2, double>>&, double, double);
extern template SORVANE_API PolyArcSegBase<float>  FilterArcsAndSegs(const std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API PolyArcSegBase<double> FilterArcsAndSegs(const std::vector<VecBase<2, double>>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> FilterZeroCurvature(const std::vector<VecBase<2, T>>&, T, T) = delete;
template <class T> requires(!SupportedReal<T>) PolyArcSegBase<T> FilterArcsAndSegs(const std::vector<VecBase<2, T>>&, T) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
