// Closed plane outlines to triangles: one simple polygon by itself, or any number of outlines with
// holes and interior points.
//
// All forms exist in the plane and in space, for `float` and `double`. Coordinates within the
// length floor of `T` on every axis are one point: 1e-12 for `double`, 1e-8 for `float`, called the
// floor below. Calculated in `double` for both. Pure functions of their arguments; nothing is
// thrown except by memory running out.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// Triangles of one simple polygon: triples of indices into `boundary`.
///
/// `boundary` runs either way and is closed by itself; a last point that repeats the first, and a
/// point that repeats the one before, get no triangle. The triangles are counter-clockwise in the
/// plane, in space as seen from the side from which the outline runs counter-clockwise. They cover
/// the outline without overlap; their edges are those of the outline and diagonals between its
/// points, improved toward Delaunay by two passes of flips.
///
/// Empty: fewer than three different points; three points of at most the floor as area; an outline
/// that crosses or touches itself between points, or crosses itself at points; in space points
/// without a plane; a coordinate that is not finite or beyond 1e150. In space the points are
/// projected to the plane of the outline (`Transform::PlaneOfPolygon`). For outlines without holes
/// this is the quick form: no points are added and none moves. O(n log^2 n), comb and spiral
/// included. Sweep of M. R. Garey et al., "Triangulating a simple polygon", 1978.
template <int D, class T>
std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<D, T>>& boundary);

/// Triangles of the region that `boundaries` bound, with `interior` points as further corners.
///
/// Boundaries run either way, nest to any depth and may touch and cross; each is closed by itself,
/// repeated last point or not, and one of fewer than two points has no part in it. The inside is
/// told from the outside by crossing boundaries, the fewest that lead in from far away: odd is
/// inside. Hence two nested outlines give a ring, an island in the hole is inside again, a stretch
/// that two outlines share counts once, and so does an outline given twice. Without boundaries the
/// region is the convex hull of the points, and the triangles are Delaunay.
///
/// 1. Each interior point whose nearest point on a boundary lies within `tolerance` on every axis
///    moves there and splits the boundary. One within the floor of a boundary splits it at any
///    tolerance, 0 included, and stays where it is unless the tolerance moves it.
/// 2. Boundaries are cut where they meet (`Intersect::CutAtIntersections`), and all corners within
///    the floor of each other become one. `float` coordinates are rounded here: what follows sees
///    the points that the caller will see.
/// 3. The points are triangulated, the boundaries inserted as edges, the outside removed.
///
/// Points of the result: all interior points and corners, sorted by x, then y, whether a triangle
/// uses them or not. Triangles are counter-clockwise in the coordinates returned, exactly, in the
/// plane; no two overlap, and every stretch of boundary is an edge of theirs. No point and no
/// boundary is refused, however near it comes to others: where rounding moved a boundary across the
/// end of another the two are joined there. Away from boundaries the triangles are Delaunay; of
/// four corners on one circle the last by x, then y, has no diagonal. No input, or coordinates not
/// finite or beyond 1e150: an empty mesh; so it is where coordinates of very different sizes, 1e140
/// and more apart, can't be told from each other.
///
/// In space all is projected to the plane of the first boundary (`Transform::PlaneOfPolygon`), or
/// of the points without one (`Transform::PlaneOfPoints`); without a plane the mesh is empty. If
/// all corners of boundaries lie within the floor of the plane, so does the result. Otherwise each
/// corner keeps its height over the plane, and there must be no corners but those of the
/// boundaries: an interior point that survives, or a cut between corners, makes the mesh empty.
/// Heights of interior points are dropped in either case.
///
/// O((n + k) log n) for n corners and k meetings of two edges, whatever the arrangement, and about
/// the number of triangles that boundaries cross on top. Edges in great numbers that overlap exactly
/// on one line, nested or shifted, don't meet each other in this count; they do, up to n^2 / 2
/// times, where another edge meets one of them between all their ends or passes an end at a small
/// angle, where corners anywhere nearly match, and where rounding left the edges beside the line.
/// So do edges that cross in one point. Snapping and cutting run in parallel, the rest on the
/// caller; the result does not depend on the number of threads.
template <int D, class T>
IndexedPointsBase<D, T>
TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>& boundaries,
                         const std::vector<VecBase<D, T>>& interior, T tolerance);

/// The same without interior points.
template <int D, class T>
IndexedPointsBase<D, T>
TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>& boundaries);

/// The same for one boundary, with and without interior points.
template <int D, class T>
IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>& boundary,
                                               const std::vector<VecBase<D, T>>& interior,
                                               T tolerance);
template <int D, class T>
IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>& boundary);

// clang-format off
#define SORVANE_EXTERN(D, T) \
    extern template SORVANE_API std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<D, T>>&); \
    extern template SORVANE_API IndexedPointsBase<D, T> TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>&, const std::vector<VecBase<D, T>>&, T); \
    extern template SORVANE_API IndexedPointsBase<D, T> TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>&); \
    extern template SORVANE_API IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>&, const std::vector<VecBase<D, T>>&, T); \
    extern template SORVANE_API IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>&);
SORVANE_EXTERN(2, float)
SORVANE_EXTERN(2, double)
SORVANE_EXTERN(3, float)
SORVANE_EXTERN(3, double)
#undef SORVANE_EXTERN
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Mesh {
template <int D, class T> requires(!SupportedPoint<D, T>) std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<D, T>>&) = delete;
template <int D, class T> requires(!SupportedPoint<D, T>) IndexedPointsBase<D, T> TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>&, const std::vector<VecBase<D, T>>&, T) = delete;
template <int D, class T> requires(!SupportedPoint<D, T>) IndexedPointsBase<D, T> TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>&) = delete;
template <int D, class T> requires(!SupportedPoint<D, T>) IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>&, const std::vector<VecBase<D, T>>&, T) = delete;
template <int D, class T> requires(!SupportedPoint<D, T>) IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>&) = delete;
} // namespace Velk::Math::Sorvane::Mesh
// clang-format on
/// @endcond
