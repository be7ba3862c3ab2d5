// Closed plane outlines to triangles: one simple polygon by itself, or any number of outlines with
// holes and interior points.
//
// All forms exist in the plane and in space, for `float` and `double`. Coordinates within the
// length floor of `T` on every axis are one point: 1e-12 for `double`, 1e-8 for `float`, called the
// floor below. Calculated in `double` for both. Pure functions of their arguments; nothing is
// thrown except by memory running out.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// Triangles of one simple polygon: triples of indices into `boundary`.
///
/// `boundary` runs either way and is closed by itself; a last point that repeats the first, and a
/// point that repeats the one before, get no triangle. The triangles are counter-clockwise in the
/// plane, in space as seen from the side from which the outline runs counter-clockwise. They cover
/// the outline without overlap; their edges are those of the outline and diagonals between its
/// points, improved towards Delaunay by two passes of flips.
///
/// Empty: fewer than three different points; three points of at most the floor as area; an outline
/// that crosses or touches itself between points; in space points without a plane; a coordinate
/// that is not finite or beyond 1e150. In space the points are projected to the plane of the
/// outline (`Transform::PlaneOfPolygon`). For outlines without holes this is the quick form: no
/// points are added and none moves. O(n log^2 n), comb and spiral included. Sweep of M. R. Garey et
/// al., "Triangulating a simple polygon", 1978.
template <int D, class T>
std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<D, T>>& boundary);

// clang-format off
extern template SORVANE_API std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<2, float>>&);
extern template SORVANE_API std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<2, double>>&);
extern template SORVANE_API std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<3, float>>&);
extern template SORVANE_API std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<3, double>>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
