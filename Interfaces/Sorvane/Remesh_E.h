// Remeshing of indexed meshes: toward one edge length, toward the longest edges that a chord error
// allows, and without stars of three triangles.
//
//     IndexedPointsBase<3, double> fine;
//     Mesh::IsotropicRemesh(part, fine, 40.0, 1.5, 10, false);   // edges near 1.5, creases from 40
//     degrees kept
#pragma once

#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// Remeshes a surface in space until its edges have about the same length; the number of iterations
/// run.
///
/// Each iteration splits edges longer than 4/3 of the length, collapses those shorter than 0.8 of
/// it, flips edges toward valence 6, and moves nodes toward the centroid of their star,
/// tangentially. The run ends with an iteration that changes nothing, which counts too, and after
/// `iterations` in any case. At the end, also of 0 iterations, every node goes to the nearest point
/// of the source surface. Points are welded within 1e-12, absolute, and come in the order of
/// `Vector::FilterForUniqueness`: compare the topology of the result with that of an input joined
/// in the same way.
///
/// `length` is absolute when positive. A negative one is that many times the mean edge length of
/// the input, and 0 that mean itself. A length far below the input's multiplies the triangles by up
/// to four in each iteration until it is reached; nothing else bounds them.
///
/// Features stay where they are: boundaries, edges whose normals differ by `maxNormalAngle`
/// (degrees) or more, and edges between different tags. They are split where they are too long
/// (boundaries only without `keepBoundary`), never collapsed, and their nodes slide along straight
/// stretches only; the ends of short feature edges stay, and keep the edges around them short. The
/// same angle bounds how far a normal may turn in one edit or move, so that a small angle leaves a
/// bent surface as it is. Above 180 nothing is a crease; at 180 only an
/// edge that is folded back on itself. A triangle without area has no normal: its edges are creases
/// where the triangles behind it, on either side, make one. In the default manner of CAD parts 30 to
/// 60 keep edges and let faces be remeshed.
///
/// Tags stay on their areas: a boundary between tags is a feature. `tags` has one for each
/// triangle; what is missing counts as 0. `outTags` has one for each triangle of the result.
///
/// Three triangles round a node within 4/3 of the length become one before the first iteration.
/// Such a star is kept where a crease or a boundary between tags meets its node, unless
/// `maxNormalAngle` is 180 or more, when the tag of the greatest area wins; and where it would
/// leave two triangles back to back.
///
/// A node that comes nearer to a facet that faces away from it than to any other goes to the
/// nearest facet within the length that does not: on sheets thinner than an edge is long the
/// nearest facet is on the far wall. On such sheets watch the volume all the same: edges as long as
/// a tube is wide flatten it, whatever facets its nodes return to. A node stays off the surface
/// where another one has taken its nearest point.
///
/// An empty mesh (`IsEmpty`) and a NaN length give 0 with empty outputs. An infinite length splits
/// nothing. Bodies that touch along an edge, with four triangles or more at it, are remeshed each by
/// itself there. Other triples that run an edge as another one does, and those with equal or invalid
/// subscripts, are left out. Nodes at a coordinate that is not finite stay, and so do their neighbors;
/// nodes where several fans of triangles meet stay as well. No edge of the result has more than two
/// triangles, unless by the weld; a closed surface stays closed and keeps its Euler characteristic.
/// A mesh may be its own output. On a surface that reaches beyond about 1e75 squared areas are no
/// longer numbers: its nodes stay where the passes have left them, off the source, some of them in
/// one place with others.
///
/// Expected O(n) for each iteration, serial but for the last step; the same bits for any number of
/// threads. A node of k triangles can cost k for each of them: up to O(n^2). Separate copies of a
/// triangle do not, corner by corner in the same places.
SORVANE_API unsigned IsotropicRemesh(const IndexedPointsBase<3, double>& mesh,
                                     const std::vector<unsigned char>& tags,
                                     IndexedPointsBase<3, double>& out,
                                     std::vector<unsigned char>& outTags, double maxNormalAngle,
                                     double length, unsigned iterations, bool keepBoundary);

/// The same for a surface without tags.
SORVANE_API unsigned IsotropicRemesh(const IndexedPointsBase<3, double>& mesh,
                                     IndexedPointsBase<3, double>& out, double maxNormalAngle,
                                     double length, unsigned iterations, bool keepBoundary);

/// The same in the plane: without an angle, and without a source surface to return to. Features are
/// boundaries and boundaries between tags; no triangle turns over; stars go as in space.
SORVANE_API unsigned IsotropicRemesh(const IndexedPointsBase<2, double>& mesh,
                                     const std::vector<unsigned char>& tags,
                                     IndexedPointsBase<2, double>& out,
                                     std::vector<unsigned char>& outTags, double length,
                                     unsigned iterations, bool keepBoundary);

/// In the plane and without tags.
SORVANE_API unsigned IsotropicRemesh(const IndexedPointsBase<2, double>& mesh,
                                     IndexedPointsBase<2, double>& out, double length,
                                     unsigned iterations, bool keepBoundary);

/// Remeshes a surface until its edges are as long as a chord error allows; the number of iterations
/// run.
///
/// At a node of curvature k (the larger principal curvature, as
/// `MeshUtils::DiscreteCurvaturesAtNode` measures it) edges are to be sqrt(6 e / k - 3 e^2) long,
/// the chord of a circle of radius 1 / k with the sagitta e, which is `chordTolerance`; but not
/// shorter than 0.25 of `length` nor longer than 5 times it. What `curvatureExponent` other than 1
/// does: with K the greatest curvature of all nodes (at most 10000), k becomes (k / K)^exponent K,
/// so that exponents above 1 spare triangles where the surface bends little. On a plane K is 0, and
/// then no edge is split or collapsed for its length.
///
/// It runs in two stages. The first is `IsotropicRemesh` with 2/3 of the length and the same
/// iterations; its result is the source surface of the second, in which curvature is measured and
/// to which nodes return. If that stage runs no iteration (`iterations` 0), the input takes its
/// place.
///
/// What the chord error promises: the result's edges are chords of the first stage's facets, whose
/// own deviation from the true surface comes on top. Choose a length no greater than the wanted
/// chord, the one that the formula gives, where the surface bends most: then the triangles of
/// spheres, cylinders, tori and freeform sheets lie off the surface by about the tolerance in the
/// mean and 2.5 times it at most, since the middle of a triangle bends away farther than that of
/// an edge, and edges may be 4/3 of their length. With three times that length it is 4 and 9 times
/// the tolerance: nodes return to the stage's facets, however short the edges become. A crease
/// near `maxNormalAngle` can be relaxed below it in the first stage and is then lost.
///
/// All else is as in `IsotropicRemesh`. Stars are taken out in the first stage only.
SORVANE_API unsigned
AnisotropicRemesh(const IndexedPointsBase<3, double>& mesh, const std::vector<unsigned char>& tags,
                  IndexedPointsBase<3, double>& out, std::vector<unsigned char>& outTags,
                  double maxNormalAngle, double length, double curvatureExponent,
                  double chordTolerance, unsigned iterations, bool keepBoundary);

/// The same for a surface without tags.
SORVANE_API unsigned AnisotropicRemesh(const IndexedPointsBase<3, double>& mesh,
                                       IndexedPointsBase<3, double>& out, double maxNormalAngle,
                                       double length, double curvatureExponent,
                                       double chordTolerance, unsigned iterations,
                                       bool keepBoundary);

/// Replaces three triangles round a point by one, wherever their normals differ by at most
/// `maxAngle` degrees from each other; whether any was replaced.
///
/// At most 10 passes over all points; stars that are left then stay. A point of three triangles
/// counts, be it inside or on a boundary: the corners other than the point, the three lowest where
/// there are more, become the new triangle. A boundary point with three triangles is therefore
/// taken out with a part of the area: a square of 2 x 2 cells cut along its diagonals loses a
/// quarter. A point whose triangles have fewer than three other corners (repeated or folded
/// triangles) stays. The new triangle faces the way the first of the three did. Where a triangle
/// with the same corners is there already, on either side, the point stays as well: a tetrahedron
/// would become two triangles back to back, a body without volume.
///
/// Where anything was replaced the mesh is welded within 1e-12 at the end, which sorts the points
/// and drops those that no triangle uses; where nothing was, `out` is a copy. Triples with a
/// subscript out of range take part in no star and make the result a copy. `out` may be `mesh`.
/// O(n) for each pass.
SORVANE_API bool RemoveTriangleStars(const IndexedPointsBase<3, double>& mesh,
                                     IndexedPointsBase<3, double>& out, double maxAngle);

} // namespace Velk::Math::Sorvane::Mesh
