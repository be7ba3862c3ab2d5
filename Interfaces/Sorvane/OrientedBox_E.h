// Boxes that stand askew, and prisms: what a part fits into when it may be turned.
#pragma once

#include <Velk/Math/Supported_E.h>
#include <Velk/Math/Transform_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Bounding {

// --- oriented boxes -----------------------------------------------------------------------------
//
// A box is handed over as a rigid transform, from the box's own frame to that of the points, and a
// size: it is what `transform` makes of the box from zero to `size`, so its origin is the lower corner.
// Where there is no box the result is false, `transform` the identity and `size` zero.

/// Rectangle of least area around points of the plane, of any orientation.
///
/// One edge of it runs along an edge of the hull (H. Freeman and R. Shapira, 1975). Of equal areas, as
/// computed, the one with the shorter perimeter, then the one on the earlier edge of
/// `ConvexHull(points, false)`, whose view of coinciding points and tiny triangles this shares. X is the
/// direction of that edge itself, not that of a rounded angle of it, so that an upright rectangle comes
/// back with its own coordinates. Points that are not finite are left out. False for fewer than three points, coincident and collinear ones.
/// O(n log n).
SORVANE_API bool OrientedBoundingBox(const std::vector<VecBase<2, double>>& points,
                                     TransformBase<2>& transform, VecBase<2, double>& size);

/// The same around the vertices of a hull, counter-clockwise as `ConvexHull` leaves them.
///
/// Rotating calipers (G. Toussaint, 1983): O(n). A list that isn't a strictly convex counter-clockwise
/// polygon is hulled first, O(n log n), and the vertices of its hull are held; three or more points on a
/// line have a rectangle of width zero. False for fewer than three vertices, for coincident ones and for
/// one that is not finite.
SORVANE_API bool OrientedBoundingBoxOfHull(const std::vector<VecBase<2, double>>& hullPoints,
                                           TransformBase<2>& transform, VecBase<2, double>& size);

/// Box around points in space that stands on a triangle of their hull: as the form for a hull tells.
/// `MinimalOrientedBox` gives smaller ones.
///
/// Points in one plane have the rectangle of least area and a size of exactly 0 along the normal; in one
/// plane are those within 1e-12 of the best plane, and also larger sets that are flat up to the
/// rounding within which `ConvexHull` finds no solid. Points that are not finite are left out. False for
/// fewer than three points, coincident and collinear ones.
SORVANE_API bool OrientedBoundingBox(const std::vector<VecBase<3, double>>& points,
                                     TransformBase<3>& transform, VecBase<3, double>& size);

/// Smallest box among those that stand on a triangle of a hull with X along that triangle's first
/// edge and Z along its normal.
///
/// This is a quick guess and no minimum: of a cube whose triangles all begin with a diagonal the box has
/// twice the volume. Of equal volumes, as computed, the one with the smaller surface, then the earlier
/// triangle. Triangles without a normal are passed over. False for fewer than four indices, for one out
/// of range, for a point that is not finite, and where no triangle has a normal. Holds all points whether
/// they are a hull or not.
///
/// About O(n) for the triangles of a hull, whose extents are looked for by climbing along its edges; a
/// hull that outgrows the cache takes up to twice as long for each triangle. What climbing finds is a
/// lower bound for any triangles, and only candidates that may be the smallest are measured in full. So
/// the result is always that of measuring all of them. Where climbing goes astray, since the triangles
/// are no hull, it is done on the hull of the points: O(n log n) more. Parallel, with the same result for
/// any number of threads.
SORVANE_API bool OrientedBoundingBoxOfHull(const std::vector<VecBase<3, double>>& hullPoints,
                                           const std::vector<int>& triangles,
                                           TransformBase<3>& transform, VecBase<3, double>& size);

/// A really small box around points in space, for choosing stock: never larger than that of
/// `OrientedBoundingBox`, and in practice that of least volume.
///
/// For every facet of the hull the least box that stands on it: the rectangle of least area around what
/// is seen along its normal. Then the same for the directions between two parallel planes that run along
/// an edge each and have the hull between them: that finds boxes that stand on no facet, as around a
/// regular tetrahedron. Where the two edges are parallel, as in bodies with a center of symmetry, three
/// directions across them are taken. The best thirty are improved as long as it helps: by turning them
/// about each of their own axes to the least rectangle, and by small turns about other axes, since the
/// least box need only have edges in two of its faces (J. O'Rourke, "Finding minimal enclosing boxes",
/// 1985). Of large hulls the 4,096 largest facets and 4,096 pairs of the 1,024 longest and sharpest edges
/// are tried.
///
/// Compared with dense searches over all rotations in the tests; no proof that it is the minimum. The
/// rest as in `OrientedBoundingBox`, which also tells about flat sets; on these it is the same. The
/// cost grows with the square of the hull's vertices; the points that are not vertices cost what
/// `ConvexHull` does. Parallel, with the same result for any number of threads.
SORVANE_API bool MinimalOrientedBox(const std::vector<VecBase<3, double>>& points,
                                    TransformBase<3>& transform, VecBase<3, double>& size);

// --- prisms -------------------------------------------------------------------------------------

/// A prism around a hull: the outline of what is seen along its axis, from `low` to `high`.
template <class T> struct SORVANE_API HullPrismReport {
    /// From the frame of the points to that of the prism, whose axis is Z.
    TransformBase<3> transform;
    T area{0};   ///< of the outline
    T volume{0}; ///< area times height
    T low{0};    ///< least z of the points in that frame
    T high{0};   ///< greatest z
};

/// Prism of least area, or volume, around a hull, along a direction chosen among the normals of the
/// hull's triangles and 4,096 directions spread over the sphere on a spiral.
///
/// The frame of the prism has its origin at `origin` and its Z along the direction, without any needless
/// turn (`Matrix::RotationFromZ`, inverted). With `based` it is moved along Z so that the prism begins at
/// z = 0: `low` is 0 then and `high` the height. `byVolume` false takes the least area, of equal ones the
/// least volume; true the other way round; then the lexicographically least direction. Equal means the
/// same number in T: everything is computed in `double` and rounded once.
///
/// Points need not be vertices of their hull, and without triangles the 4,096 directions are searched.
/// Each triangle adds its normal however small it is, so that a part of micrometers given in meters
/// stands on its faces like any other: no length is taken for nothing, but directions within 1e-12 of
/// each other are one. Triangles without a normal, or with an index out of range, add none. No points, or
/// a value that is not finite: a report of zeros. One point, and points on a line: area 0, any direction.
/// A volume or an area too large for T is infinite.
///
/// Less than a microsecond a direction for a hull of some hundred triangles: areas are summed over its
/// triangles (A. Cauchy, 1841), only what may be the least is measured by the outline. So the time grows
/// with the square of a hull of more triangles than the spiral has directions. Parallel, with the same
/// result for any number of threads.
template <class T>
HullPrismReport<T> MinimalHullPrism(const std::vector<VecBase<3, T>>& hullPoints,
                                    const std::vector<int>& triangles, const VecBase<3, T>& origin,
                                    bool based, bool byVolume);

// clang-format off
extern template SORVANE_API HullPrismReport<float>  MinimalHullPrism(const std::vector<VecBase<3, float>>&,  const std::vector<int>&, const VecBase<3, float>&,  bool, bool);
extern template SORVANE_API HullPrismReport<double> MinimalHullPrism(const std::vector<VecBase<3, double>>&, const std::vector<int>&, const VecBase<3, double>&, bool, bool);
// clang-format on

} // namespace Velk::Math::Sorvane::Bounding

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Bounding {
template <class T> requires(!SupportedReal<T>) HullPrismReport<T> MinimalHullPrism(const std::vector<VecBase<3, T>>&, const std::vector<int>&, const VecBase<3, T>&, bool, bool) = delete;
} // namespace Velk::Math::Sorvane::Bounding
// clang-format on
/// @endcond
