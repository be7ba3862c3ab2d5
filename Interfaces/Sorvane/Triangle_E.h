// Measures and constructions on single triangles and on every triangle of a mesh: normals, areas,
// centroids, flattening from edge lengths, a triangle's own frame, careful angles, splitting.
//
// Corners are p0, p1, p2. Coordinates are in the caller's length unit, areas in its square, angles in
// radians. Everything of a `float` form is computed in `float`, except where a matrix takes part.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Transform_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

// --- normals, areas, centroids --------------------------------------------------------------------
//
// The forms on a mesh give nothing for a mesh that `IsEmpty`. All run in parallel and give the same
// bits for any number of threads. O(n).

/// ((p1 - p0) ^ (p2 - p0)) / 2: as long as the triangle's area, and on the side from which p0 p1 p2 runs
/// counter-clockwise. Zero for coincident and collinear corners (up to rounding).
template <class T> VecBase<3, T> AreaNormal(const Triangle<3, T>& triangle);

/// `AreaNormal` of each triangle.
template <class T>
std::vector<VecBase<3, T>> AreaNormals(const IndexedPointsBase<3, T>& mesh);
template <class T> std::vector<VecBase<3, T>> AreaNormals(const TriangleSoup<3, T>& soup);

/// Unit normal of each triangle; zero where the area (not the cross product, which is twice as much) is
/// not strictly greater than 1e-12, in `float` 1e-8, and where it is not finite.
template <class T> std::vector<VecBase<3, T>> Normals(const IndexedPointsBase<3, T>& mesh);
template <class T> std::vector<VecBase<3, T>> Normals(const TriangleSoup<3, T>& soup);

/// Unit normal of each point: the area normals of the triangles round it, summed in triangle order and
/// normalized with tolerance 1e-12, in `float` 1e-8.
///
/// Zero for a point that no triangle uses, and where the sum vanishes; so a mesh that `IsEmpty` gives
/// a zero vector for each of its points. A triangle that names a point twice counts twice there.
template <class T>
std::vector<VecBase<3, T>> AreaWeightedVertexNormals(const IndexedPointsBase<3, T>& mesh);

/// Area of each triangle, the length of its area normal: never negative, NaN where a corner is.
template <class T> std::vector<T> Areas(const IndexedPointsBase<3, T>& mesh);
template <class T> std::vector<T> Areas(const TriangleSoup<3, T>& soup);

/// (p0 + p1 + p2) / 3 of each triangle.
template <int D, class T>
std::vector<VecBase<D, T>> Centroids(const IndexedPointsBase<D, T>& mesh);
template <int D, class T> std::vector<VecBase<D, T>> Centroids(const TriangleSoup<D, T>& soup);

// --- flattening -----------------------------------------------------------------------------------

/// The triangle of edge lengths a = |p0p1|, b = |p1p2|, c = |p2p0| laid into the plane: p0 at the origin,
/// p1 at (a, 0), p2 above the X axis.
///
/// The root for p2's height is taken without a guard: lengths that break the triangle inequality give
/// NaN in y (and so may collinear corners, by rounding), a = 0 gives a non-finite x.
template <class T> std::array<VecBase<2, T>, 3> FlattenTriangle(T a, T b, T c);
template <class T>
std::array<VecBase<2, T>, 3> FlattenTriangle(const VecBase<3, T>& p0, const VecBase<3, T>& p1,
                                             const VecBase<3, T>& p2);
template <class T> std::array<VecBase<2, T>, 3> FlattenTriangle(const Triangle<3, T>& triangle);

/// A triangle of the plane brought into the position of `FlattenTriangle`, by way of its lengths: one
/// that runs clockwise comes back mirrored, with p2 above the axis all the same.
template <class T> std::array<VecBase<2, T>, 3> AlignTriangle(const Triangle<2, T>& triangle);

/// `FlattenTriangle` of a, b, c and a fourth point p3 below the X axis, at d = |p0p3| and e = |p3p1|: two
/// triangles unfolded about their common edge p0p1. Non-finite values as there.
template <class T>
std::array<VecBase<2, T>, 4> FlattenTriangleNeighbors(T a, T b, T c, T d, T e);
template <class T>
std::array<VecBase<2, T>, 4> FlattenTriangleNeighbors(const VecBase<3, T>& p0,
                                                      const VecBase<3, T>& p1,
                                                      const VecBase<3, T>& p2,
                                                      const VecBase<3, T>& p3);

/// A triangle unfolded with all three neighbors: p0, p1, p2 and p3 as above, p4 across p1p2, p5 across
/// p2p0, each on the side of its edge that faces away from the triangle.
///
/// The lengths: a, b, c, d, e as above, f = |p1p4|, g = |p4p2|, h = |p2p5|, i = |p5p0|. Non-finite values
/// as there, each outer point by itself.
template <class T>
std::array<VecBase<2, T>, 6> FlattenTriangleStar(T a, T b, T c, T d, T e, T f, T g, T h, T i);
template <class T>
std::array<VecBase<2, T>, 6>
FlattenTriangleStar(const VecBase<3, T>& p0, const VecBase<3, T>& p1, const VecBase<3, T>& p2,
                    const VecBase<3, T>& p3, const VecBase<3, T>& p4, const VecBase<3, T>& p5);

// --- a triangle's own frame -----------------------------------------------------------------------

/// Rigid map from the world into the triangle's frame: p0 to the origin, p1 to the positive X axis, p2
/// into the upper half of the XY plane, the normal to +Z.
///
/// A degenerate triangle has a zero normal and so a singular map: its Y and Z rows, or all, are zero.
template <class T> TransformBase<3> TriangleSpace(const Triangle<3, T>& triangle);

/// (x, y) of each point in `TriangleSpace`; the height above the triangle's plane is dropped.
template <class T>
std::vector<VecBase<2, T>> MapPointsToTriangleSpace(const Triangle<3, T>& triangle,
                                                    const std::vector<VecBase<3, T>>& points);

/// Inverse of `MapPointsToTriangleSpace` for points of the triangle's plane. A degenerate triangle has
/// no inverse; its result is finite for finite input and has no meaning.
template <class T>
std::vector<VecBase<3, T>> UnMapPointsFromTriangleSpace(const Triangle<3, T>& triangle,
                                                        const std::vector<VecBase<2, T>>& points);

/// Barycentric weights (u, v) of p0 and p1 for each point's foot in the triangle's plane; p2 weighs
/// 1 - u - v.
///
/// A degenerate triangle (see `Vector::BarycentricCoordinates`, with tolerance 1e-12, in `float` 1e-8)
/// gives (0, 0) and one report to the assert handler for each point.
template <class T>
std::vector<VecBase<2, T>> MapPointsToTriangleBarycentric(const Triangle<3, T>& triangle,
                                                          const std::vector<VecBase<3, T>>& points);

/// u p0 + v p1 + (1 - u - v) p2 for each (u, v).
template <class T>
std::vector<VecBase<3, T>>
UnMapPointsFromTriangleBarycentric(const Triangle<3, T>& triangle,
                                   const std::vector<VecBase<2, T>>& points);

// --- measures from lengths ------------------------------------------------------------------------
//
// After W. Kahan, "Miscalculating Area and Angles of a Needle-like Triangle", 2014: accurate to a few
// roundings also for needles and caps, of which the textbook formulas lose everything.

/// Area of the triangle with the given edge lengths, in any order. 0 for lengths that break the triangle
/// inequality or are NaN.
template <class T> T IntrinsicArea(T a, T b, T c);

/// Shape quality of a triangle: twice the inradius over the circumradius. Dimensionless, 1 for an
/// equilateral triangle, 0.8 for 3-4-5, 0 for a flat one, for coincident corners and for NaN. The product
/// of the three lengths must neither overflow nor underflow.
template <int D, class T>
T AspectRatio(const VecBase<D, T>& p0, const VecBase<D, T>& p1, const VecBase<D, T>& p2);

/// Angle opposite the edge of length `c`, the middle argument, between those of lengths `a` and `b`, in
/// [0, pi].
///
/// A `c` too short for a triangle gives 0, one too long pi; 0 too where a length is negative or NaN.
template <class T> T OppositeEdgeAngle(T a, T c, T b);

/// The angle at `p0`, opposite the edge p1p2, from the three edge lengths.
template <int D, class T>
T OppositeEdgeAngle(const VecBase<D, T>& p0, const VecBase<D, T>& p1, const VecBase<D, T>& p2);

/// Length of the edge opposite `angle`, which lies between edges of lengths `a` and `b`, by the half-angle
/// form of the law of cosines.
template <class T> T OppositeEdgeLength(T a, T b, T angle);

/// True when the two angles opposite an edge sum to strictly less than pi + `slack` (radians): the edge
/// needs no flip.
///
/// `edge` is the edge's length, a1 and b1 are the lengths of the other two edges of one triangle on it, a2
/// and b2 those of the other. On four points of a circle the sum is pi up to rounding, which then decides: `slack`
/// makes such edges stay (positive) or go (negative).
template <class T> bool LocallyDelaunayEdge(T edge, T a1, T b1, T a2, T b2, T slack);

// --- splitting ------------------------------------------------------------------------------------
//
// The parts keep the orientation. With corners a, b, c, edge midpoints ab, bc, ca and the centroid o:

/// Splits at the centroid, at the edge midpoints, or at both:
/// - center and midpoints: (a, ab, o), (b, o, ab), (b, bc, o), (c, o, bc), (c, ca, o), (a, o, ca);
/// - center: (a, b, o), (b, c, o), (c, a, o);
/// - midpoints: (a, ab, ca), (b, bc, ab), (c, ca, bc), (ab, bc, ca);
/// - neither: the triangle itself.
template <int D, class T>
TriangleSoup<D, T> SplitTriangle(const Triangle<D, T>& triangle, bool center, bool midpoints);

/// Splits the flagged edges at their midpoints:
/// - none: the triangle itself; all three: `SplitTriangle(triangle, false, true)`;
/// - ab: (a, ab, c), (ab, b, c); bc: (a, b, bc), (bc, c, a); ca: (a, b, ca), (ca, b, c);
/// - ab and bc: (a, ab, c), (ab, bc, c), (ab, b, bc);
/// - ab and ca: (a, ab, ca), (ab, b, ca), (b, c, ca);
/// - bc and ca: (a, b, bc), (a, bc, ca), (bc, c, ca).
///
/// The diagonal of the forms with two flags is fixed, not chosen by length.
template <int D, class T>
TriangleSoup<D, T> SplitTriangleEdge(const Triangle<D, T>& triangle, bool first, bool second,
                                     bool third);

// clang-format off
#define SORVANE_EXTERN(T) \
    extern template SORVANE_API VecBase<3, T> AreaNormal(const Triangle<3, T>&); \
    extern template SORVANE_API std::vector<VecBase<3, T>> AreaNormals(const IndexedPointsBase<3, T>&); \
    extern template SORVANE_API std::vector<VecBase<3, T>> AreaNormals(const TriangleSoup<3, T>&); \
    extern template SORVANE_API std::vector<VecBase<3, T>> Normals(const IndexedPointsBase<3, T>&); \
    extern template SORVANE_API std::vector<VecBase<3, T>> Normals(const TriangleSoup<3, T>&); \
    extern template SORVANE_API std::vector<VecBase<3, T>> AreaWeightedVertexNormals(const IndexedPointsBase<3, T>&); \
    extern template SORVANE_API std::vector<T> Areas(const IndexedPointsBase<3, T>&); \
    extern template SORVANE_API std::vector<T> Areas(const TriangleSoup<3, T>&); \
    extern template SORVANE_API std::array<VecBase<2, T>, 3> FlattenTriangle(T, T, T); \
    extern template SORVANE_API std::array<VecBase<2, T>, 3> FlattenTriangle(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&); \
    extern template SORVANE_API std::array<VecBase<2, T>, 3> FlattenTriangle(const Triangle<3, T>&); \
    extern template SORVANE_API std::array<VecBase<2, T>, 3> AlignTriangle(const Triangle<2, T>&); \
    extern template SORVANE_API std::array<VecBase<2, T>, 4> FlattenTriangleNeighbors(T, T, T, T, T); \
    extern template SORVANE_API std::array<VecBase<2, T>, 4> FlattenTriangleNeighbors(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&); \
    extern template SORVANE_API std::array<VecBase<2, T>, 6> FlattenTriangleStar(T, T, T, T, T, T, T, T, T); \
    extern template SORVANE_API std::array<VecBase<2, T>, 6> FlattenTriangleStar(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&); \
    extern template SORVANE_API TransformBase<3> TriangleSpace(const Triangle<3, T>&); \
    extern template SORVANE_API std::vector<VecBase<2, T>> MapPointsToTriangleSpace(const Triangle<3, T>&, const std::vector<VecBase<3, T>>&); \
    extern template SORVANE_API std::vector<VecBase<3, T>> UnMapPointsFromTriangleSpace(const Triangle<3, T>&, const std::vector<VecBase<2, T>>&); \
    extern template SORVANE_API std::vector<VecBase<2, T>> MapPointsToTriangleBarycentric(const Triangle<3, T>&, const std::vector<VecBase<3, T>>&); \
    extern template SORVANE_API std::vector<VecBase<3, T>> UnMapPointsFromTriangleBarycentric(const Triangle<3, T>&, const std::vector<VecBase<2, T>>&); \
    extern template SORVANE_API T IntrinsicArea(T, T, T); \
    extern template SORVANE_API T OppositeEdgeAngle(T, T, T); \
    extern template SORVANE_API T OppositeEdgeLength(T, T, T); \
    extern template SORVANE_API bool LocallyDelaunayEdge(T, T, T, T, T, T);
SORVANE_EXTERN(float)
SORVANE_EXTERN(double)
#undef SORVANE_EXTERN
#define SORVANE_EXTERN(D, T) \
    extern template SORVANE_API std::vector<VecBase<D, T>> Centroids(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API std::vector<VecBase<D, T>> Centroids(const TriangleSoup<D, T>&); \
    extern template SORVANE_API T AspectRatio(const VecBase<D, T>&, const VecBase<D, T>&, const VecBase<D, T>&); \
    extern template SORVANE_API T OppositeEdgeAngle(const VecBase<D, T>&, const VecBase<D, T>&, const VecBase<D, T>&); \
    extern template SORVANE_API TriangleSoup<D, T> SplitTriangle(const Triangle<D, T>&, bool, bool); \
    extern template SORVANE_API TriangleSoup<D, T> SplitTriangleEdge(const Triangle<D, T>&, bool, bool, bool);
SORVANE_EXTERN(2, float)
SORVANE_EXTERN(2, double)
SORVANE_EXTERN(3, float)
SORVANE_EXTERN(3, double)
#undef SORVANE_EXTERN
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
