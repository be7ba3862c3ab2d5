// Finer meshes of indexed meshes: every triangle cut into smaller ones, smooth subdivision that
// keeps creases, and long edges split.
//
//     IndexedPointsBase<3, double> smooth;
//     Mesh::SubdivideMesh(part, smooth, 30.0, 2, Mesh::SubdivisionMethod::Loop); // creases from 30
//     degrees
#pragma once

#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

namespace Velk::Math::Sorvane::Mesh {

/// How `SimpleRefine` cuts a triangle. A host may pass the number.
enum class SimpleRefineMethod : int {
    Centroid = 0,            ///< three: from the centroid to the corners
    Midpoints = 1,           ///< four: between the middles of the edges
    CentroidAndMidpoints = 2 ///< six: from the centroid to corners and middles
};

/// The rule of `SubdivideMesh`. A host may pass the number.
enum class SubdivisionMethod : int {
    Loop = 0, ///< every triangle in four, every edge in two
    Sqrt3 = 1 ///< every triangle in three; feature edges in three in every second step
};

/// Cuts every triangle into 3, 4 or 6, `iterations` times over, and moves nothing.
///
/// The new points are middles of edges and centroids; each triangle's parts follow one another in
/// the order of `SplitTriangle`, in the place of the triangle. Points are welded within 1e-12,
/// absolute, and come in the order of `Vector::FilterForUniqueness`; triangles without area stay
/// and are cut as well. With 0 iterations it is the weld alone. With the centroid no edge is cut,
/// so that triangles become needles: two iterations at most are of use.
///
/// An empty mesh (`IsEmpty`) and a method that is none of the three, whatever the iterations, give
/// an empty result. There are 3, 4 or 6 to the power of `iterations` times as many triangles: more
/// than subscripts of type `int` can tell end at once in the standard container's length error, and
/// where memory runs out `std::bad_alloc` passes through; `out` is empty then. A mesh may be its
/// own output. O(result log result), parallel; the same bits for any number of threads.
SORVANE_API void SimpleRefine(const IndexedPointsBase<3, double>& mesh,
                              IndexedPointsBase<3, double>& out, SimpleRefineMethod method,
                              unsigned iterations);

/// Subdivides a surface `iterations` times, smoothing it; feature lines become smooth curves of
/// their own.
///
/// `Loop` (C. Loop, "Smooth subdivision surfaces based on triangles", 1987): a new node in every
/// edge, at 3/8 of its ends and 1/8 of the two apexes beside it, and every old node drawn to its
/// neighbors. The limit is a surface of continuous curvature, but for the nodes of other than six
/// neighbors, where only the tangent plane is continuous. `Sqrt3` (L. Kobbelt,
/// "sqrt(3)-subdivision", 2000): a new node at the centroid of every triangle, old edges turned,
/// old nodes drawn to their neighbors. Two of its steps cut every triangle into nine and every
/// feature edge into three. It grows slower: three times as many triangles a step instead of four.
///
/// Features are boundaries and edges whose normals differ by `featureAngle` (degrees) or more; a
/// triangle without area has no normal and hides a crease beside it. Features are found once,
/// before the first step. Along them the surface is not smoothed across: the nodes of a feature
/// line follow it as a cubic B-spline curve (with `Sqrt3` as a curve close to one), whatever the
/// faces beside it do, so that two sheets with one boundary stay together.
///
/// Where to look twice:
/// - Only nodes at which other than two feature edges meet stay where they are: the corners of a
/// cube.
///   A corner of a flat sheet has exactly two and is rounded like the rest of its boundary: of a
///   square of two triangles `Loop` leaves three quarters in the first step.
/// - `Sqrt3` bulges at corners: a new node on a feature edge beside a node where three or more
/// feature
///   edges meet takes *another* feature edge there for the continuation of its own and leaves the
///   edge by 5/81 of its length for the corner at its near end and 4/81 for that at its far end,
///   outward on a convex part. For parts with corners take `Loop`, which keeps straight edges
///   between corners straight, or split long edges first.
/// - A node of a line between a long edge and a short one slides along the long one by an eighth of
/// it,
///   which folds the surface where that is more than the short one's length: the long straight
///   edges of tessellated parts want `SplitLongMeshEdges` first.
/// - With an angle of 0 every edge is a feature, and `Loop` cuts triangles into four without moving
///   anything but boundary nodes of two neighbors. With NaN or more than 180 only boundaries are.
///
/// With 0 iterations, or a method that is neither of the two, the result is the input rebuilt: in
/// its order, without triples of equal or invalid subscripts and without those that run an edge as
/// another one does (but bodies that touch along an edge, with four triangles or more at it, keep all
/// of theirs, and are smoothed each by itself), welded within 1e-12, absolute, points in the order of
/// `Vector::FilterForUniqueness`, unused ones left out. Every result is so welded. An empty mesh
/// (`IsEmpty`) gives an empty one.
///
/// A closed surface stays closed, and every surface keeps its Euler characteristic, but for the
/// weld. Nodes where several fans of triangles meet (two solids that touch in a point) stay where
/// they are, since no ring of neighbors is theirs alone. Edges between two triangles back to back
/// are not split, and not turned where that would make a second edge of two nodes. A coordinate
/// that is not finite spreads to neighbors. A result of more edges than subscripts of type `int`
/// can tell ends at once in the standard container's length error, and where memory runs out
/// `std::bad_alloc` passes through; `out` is empty then. A mesh may be its own output.
///
/// O(result) beside the weld, which sorts; the same bits for any number of threads.
SORVANE_API void SubdivideMesh(const IndexedPointsBase<3, double>& mesh,
                               IndexedPointsBase<3, double>& out, double featureAngle,
                               unsigned iterations, SubdivisionMethod method);

/// Splits the edges longer than `length`, in passes, until none is left or `iterations` passes have
/// run. Nothing else moves, and the surface stays where it is.
///
/// Every pass splits the edges that were too long when it began; edges that it makes wait for the
/// next. `atMiddle` splits at the middle. Otherwise an edge is split where the other diagonal of
/// its two triangles, unfolded into one plane, crosses it, so that the two new edges run straight
/// across it: at 1/8 to 7/8 of the edge, at the middle where the diagonals do not meet, as on a
/// boundary. Middles make better triangles, and fewer, where edges are much longer than wide, as in
/// the tessellation of a bore: of 64 strips a hundred times as long as `length` diagonals make 3.3
/// times as many triangles, the thinnest of them 200 times thinner.
///
/// A negative length counts as its magnitude; NaN splits nothing; 0 splits every edge of any
/// length, which is at least four times as many triangles a pass. Features play no part. All else,
/// the weld and what ends in an error, is as in `SubdivideMesh`. Expected O(result) beside the
/// weld.
SORVANE_API void SplitLongMeshEdges(const IndexedPointsBase<3, double>& mesh,
                                    IndexedPointsBase<3, double>& out, double length, bool atMiddle,
                                    unsigned iterations);

} // namespace Velk::Math::Sorvane::Mesh
