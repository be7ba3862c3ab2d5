// Convex hulls of points in the plane and in space.
#pragma once

#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Bounding {

/// Convex hull in the plane: its vertices, counter-clockwise from the lexicographically least one.
///
/// `sortedUnique`: the caller vouches that `points` has gone through `Vector::FilterForUniqueness`
/// (lexicographic order, no repeats); the result has no meaning otherwise. When false, points within
/// 1e-12 (`float` 1e-8) of each other count as one.
///
/// Points on the hull's edges are left out. One or two distinct points come back as they are, in their
/// order. Three of which one lies within 1e-12 (`float` 1e-8) of the line through the others become the
/// two farthest apart, ascending, if the doubled area is no more than that as well, an area: a triangle
/// of a tenth of a micrometer in meters keeps its three corners. Of more than three on a line the two
/// ends are left.
///
/// The monotone chain of A. M. Andrew ("Another efficient algorithm for convex hulls in two dimensions",
/// 1979) in plain floating point. Where rounding has left a dent in the hull, its vertices are turned by
/// 0.1234 radians, hulled again and turned back, at most 16 times over, so that the list may begin
/// elsewhere. The vertices are input points, bit for bit; input points lie outside the hull by some
/// roundings of the coordinates at most. Points that are not finite give a meaningless result.
///
/// O(n log n); O(n) where most of the points lie well inside the hull.
template <class T>
std::vector<VecBase<2, T>> ConvexHull(const std::vector<VecBase<2, T>>& points, bool sortedUnique);

/// Convex hull in space as outward triangles; false, with empty outputs, when the points span no solid.
///
/// `hullPoints` receives the hull's vertices and `indices` three subscripts of it for each triangle,
/// counter-clockwise seen from outside. `sortedUnique` as in the plane. With `sortedUnique` and
/// `indicesOnly` the subscripts mean `points` and `hullPoints` stays empty; `indicesOnly` without
/// `sortedUnique` makes no difference. `hullPoints` may be `points` itself.
///
/// Closed and, in exact arithmetic, convex; vertices are input points bit for bit, in their order once
/// filtered. No point lies farther outside than 1e-11 (`float` 1e-7) times the longest edge of the first
/// simplex, which is about as long as the set is wide; a set that is no thicker than that has no hull.
/// Points in the interior of a face or edge of the hull are left out where they lie on it exactly, and may
/// stay vertices where they do so only up to rounding. Points that are not finite are left out. Quickhull of C. B. Barber, D. P.
/// Dobkin and H. Huhdanpaa (1996), O(n log n) but for contrived sets; O(n) where most of the points
/// lie well inside.
template <class T>
bool ConvexHull(const std::vector<VecBase<3, T>>& points, std::vector<VecBase<3, T>>& hullPoints,
                std::vector<int>& indices, bool sortedUnique, bool indicesOnly);

/// Hull of two hulls in the plane, each convex and counter-clockwise, as `ConvexHull` leaves them; they
/// may lie apart, overlap or hold each other.
///
/// The `ConvexHull` of the vertices of both. It begins with the first vertex of `a`, or of `b` when the
/// first vertex of `a` has the greater x, if that vertex is on the hull, and otherwise where `ConvexHull`
/// begins. When one argument is empty the other comes back as it is. O(n log n) for n vertices in all.
template <class T>
std::vector<VecBase<2, T>> MergeConvexHulls(const std::vector<VecBase<2, T>>& a,
                                            const std::vector<VecBase<2, T>>& b);

// clang-format off
extern template SORVANE_API std::vector<VecBase<2, float>>  ConvexHull(const std::vector<VecBase<2, float>>&,  bool);
extern template SORVANE_API std::vector<VecBase<2, double>> ConvexHull(const std::vector<VecBase<2, double>>&, bool);
extern template SORVANE_API bool ConvexHull(const std::vector<VecBase<3, float>>&,  std::vector<VecBase<3, float>>&,  std::vector<int>&, bool, bool);
extern template SORVANE_API bool ConvexHull(const std::vector<VecBase<3, double>>&, std::vector<VecBase<3, double>>&, std::vector<int>&, bool, bool);
extern template SORVANE_API std::vector<VecBase<2, float>>  MergeConvexHulls(const std::vector<VecBase<2, float>>&,  const std::vector<VecBase<2, float>>&);
extern template SORVANE_API std::vector<VecBase<2, double>> MergeConvexHulls(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Bounding

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Bounding {
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> ConvexHull(const std::vector<VecBase<2, T>>&, bool) = delete;
template <class T> requires(!SupportedReal<T>) bool ConvexHull(const std::vector<VecBase<3, T>>&, std::vector<VecBase<3, T>>&, std::vector<int>&, bool, bool) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> MergeConvexHulls(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&) = delete;
} // namespace Velk::Math::Sorvane::Bounding
// clang-format on
/// @endcond
