// Curves cut into a mesh, meshes built from curves and profiles, and facets grouped by color or by
// direction.
//
//     const auto nodes = MeshUtils::EmbedPolylines(part, curves, 1e-6, 0.5); // curves along edges
//     const auto patch = MeshUtils::TessellatePointStream(rim);             // a surface into a hole
//     const auto bar = MeshUtils::CreateExtrudedBodyFromProfile(outline, 0.0, 25.0, 1U);
//     const auto group = MeshUtils::RepresentativeNormalGrouping(part, 0.2); // directions of facets
//
// Lengths are in the unit of the points, angles in radians. A curve is closed when its first and its
// last point match within 1e-12 on every axis. No operation reports an error: what can't be done gives
// an empty result.
#pragma once

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>

#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

// --- polylines into a mesh -----------------------------------------------------------------------

/// Cuts polylines into a mesh so that they run along its edges; for each polyline the numbers of the
/// mesh's points that it runs through, in its order, its crossings with edges among them.
///
/// Each polyline loses its repeated points (`Vector::RemoveRepeats` with `repeatTolerance`), is taken at
/// points `step` apart along it (`Vector::ResampleStream`, which leaves it as it is for a step that is
/// not positive), and goes to the nearest points of the mesh as it came in (`ProjectCloudOnMesh`). From
/// one of these points to the next it is imprinted as by `Mesh::MeshImprint` with a tolerance of 5e-8,
/// absolute, which tells how far edges and nodes draw it. On curved surfaces the steps should not
/// be much longer than edges are. A closed polyline, whose last point is its first, is imprinted as a
/// loop, and its list ends with its first number.
///
/// The mesh is then welded within 1e-12: its points are sorted and numbered anew, and unused ones are
/// gone, also where no polyline met it. Its surface is what it was, up to rounding and to edges that
/// were no longer than 2.5e-8, which are collapsed. `MeshImprint` tells which triples are left out.
///
/// Consecutive points of a list share an edge as a rule. They don't where part of the polyline found no
/// way over the surface; and where a later polyline crosses this one, whose list lacks the new point
/// between them: embed the curve that counts last, or walk along the straight edges. A point that a
/// later imprint has moved by more than 1e-12 or removed drops out of its list, without a report. A
/// polyline of fewer than three points after the steps is not imprinted: its list has those of its
/// points that happen to be points of the mesh. Points that are not finite are passed over.
///
/// Without polylines nothing happens and the list is empty. It is empty, too, where the imprint leaves
/// no triangle; the mesh is then what is left of it. Where memory runs out the mesh is as it was. O((n +
/// c) log n) for each polyline, with n triangles and c points and crossings. The same bits for any
/// number of threads.
SORVANE_API std::vector<std::vector<int>>
EmbedPolylines(Mesh::IndexedPointsBase<3, double>& mesh,
               const std::vector<std::vector<VecBase<3, double>>>& polylines,
               double repeatTolerance, double step);

// --- surfaces into closed curves -----------------------------------------------------------------

/// A closed curve in space laid out in the plane without crossing itself: for each point of the curve
/// its place, in the same order, the closing point included.
///
/// The points are projected to the plane that fits them best (`Transform::PlaneOfPoints`); a flat
/// curve that does not cross itself is then done. Otherwise, for the first pair of segments in list
/// order that cross, the stretch of curve between them is mirrored in the line through the crossing
/// that halves the angle of the two, which undoes the crossing, and the curve about both segments, a
/// tenth of its points to either side, is smoothed by 1,001 rounds in which each point goes to the
/// middle of its two neighbors; and so on from the start, until nothing crosses. Smoothing levels out
/// what the curve has there: only one that crosses nothing keeps its shape. An end of a segment that
/// touches the inside of another is a crossing; two ends that touch are none, so that a curve that
/// passes one of its own points twice still does so in the plane.
///
/// Empty: fewer than four points; an open curve; points that lie on one line, are not finite or lie
/// beyond 1e150; segments that run along each other at the first crossing that is found; and a curve
/// whose mirroring comes to no end, such as one with a repeated point inside of another of its segments,
/// which no mirroring moves away: drop repeats first (`Vector::RemoveRepeats`). It is known by a layout
/// that comes back, and failing that by 10,000 mirrorings and 100 more for each point.
///
/// For n points a mirroring takes O(n) steps for the smoothing, some 200 for each point, and a search
/// for the next crossing in O(n log^2 n), whatever the arrangement; usual curves need none or a few.
SORVANE_API std::vector<VecBase<2, double>>
Map3DClosedCurveToPlane(const std::vector<VecBase<3, double>>& curve);

/// A surface whose boundary is a closed curve in space, from a layout of that curve in the plane,
/// `flatCurve[i]` being the place of `curve[i]`.
///
/// The layout is filled with triangles (`Mesh::TessellateFlatBoundary`), whose corners then take their
/// places in space; the surface is remeshed to the mean length of the curve's segments, the last one
/// left out (`Mesh::IsotropicRemesh` with 120 degrees and 10 iterations, boundary kept), and at last
/// relaxed like a soap film of springs: in each round every node off the boundary goes to the mean
/// of its neighbors of the round before, until none moves by 1e-6, absolute, or for 500 rounds. Points
/// of the boundary are those of the curve, to the bit, where it is one loop that passes no place twice;
/// otherwise remeshing may have slid them along straight stretches. Points are welded within 1e-12. The
/// triangles run counter-clockwise in the layout.
///
/// Where `flatCurve` names a place twice, the first point there is the corner in space. Empty: lists of
/// different length; one that is not closed, as an empty one; a layout without triangles; one that
/// crosses itself, since a crossing has no place in space; a point of `curve` that is not finite or
/// beyond 1e150.
///
/// The number of triangles is that of the area over the squared mean length: a curve of segments that
/// are tiny beside its extent makes a mesh to match, quadratic in the number of points. Runs in parallel;
/// the same bits for any number of threads.
SORVANE_API Mesh::IndexedPointsBase<3, double>
UnprojectFlatTessellationTo3D(const std::vector<VecBase<2, double>>& flatCurve,
                              const std::vector<VecBase<3, double>>& curve);

/// A surface whose boundary is a closed curve in space, such as the rim of a hole:
/// `UnprojectFlatTessellationTo3D` of `Map3DClosedCurveToPlane`. Empty where one of the two is.
///
/// The side that the surface faces is that of the normal of the fitted plane, whichever way the curve
/// runs: turn it over, or let `Mesh::MatchNormals` decide, where it is to close a body.
SORVANE_API Mesh::IndexedPointsBase<3, double>
TessellatePointStream(const std::vector<VecBase<3, double>>& curve);

// --- bodies from profiles ------------------------------------------------------------------------

/// The body over a plane profile, from the height `bottom` to the height `top`: side walls, then a cap
/// at the top and one at the bottom.
///
/// Each pair of consecutive points of the profile gets `slices` rectangles of two triangles, one above
/// the other, welded within 1e-12 (`float` 1e-8); 0 slices count as 1. The walls face to the right of
/// the profile's course and the top cap faces up, so that the body is turned outward for a profile that
/// runs counter-clockwise with `top` above `bottom`; for others turn over what has to be.
///
/// Four things to know. The walls of a profile whose last point does not repeat the first leave a gap
/// there; the caps close it by themselves. A clockwise profile has its walls inward and its caps as
/// before. The caps have points of their own, beside those of the walls: weld the mesh
/// (`Mesh::FilterForUniqueness`) to close it. And the height of the uppermost ring is `slices` times
/// the height of a slice plus `bottom`, which may differ from `top` in the last digit; so weld with a
/// tolerance.
///
/// The caps are those of `Mesh::TessellateFlatBoundary`: none for a profile without area. One point
/// makes nothing, two make a wall. For `float` and `double`. The standard library's length error passes
/// through where the numbers of the points would not be `int`.
template <class T>
Mesh::IndexedPointsBase<3, T>
CreateExtrudedBodyFromProfile(const std::vector<VecBase<2, T>>& profile, T bottom, T top,
                              unsigned slices);

// --- groups of facets ----------------------------------------------------------------------------

/// A color number for each facet slot of the mesh, different for facets that share an edge; `colorCount`
/// receives how many there are (`MapColoring`). Slots of deleted facets have one as well.
SORVANE_API std::vector<int>
ColorFacets(const HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge,
                                         HalfEdge::HFace>& mesh,
            unsigned& colorCount);

/// Groups normals by direction: for each normal the number of its group.
///
/// Looks for a few directions that stand for all normals. They begin as the normals rounded to a grid of
/// inclination and azimuth with a step of half the `resolution`. In each round every normal goes to the
/// direction nearest to it (greatest dot product; of equal ones the first), each direction becomes the
/// mean of its normals, and of two directions within half the resolution the later one is dropped, the
/// nearest pairs first, until more than a quarter of them are (integer division: of one to three still
/// one). Rounds end when the number of directions stays and the sum of their dot products changes by no
/// more than a millionth of itself, or after 2,000. Group numbers are those of the last round, before
/// its dropping; they ascend with the directions' x, then y, then z, from 0 without gaps.
///
/// Lengths of normals do not matter. One no longer than 1e-12, or not finite, has no direction and
/// goes with the first of the directions, group 0 as a rule; alone such normals are one group. A
/// resolution of 0, or NaN, joins only directions whose dot product rounds to 1, which are some 1e-8
/// apart, and a negative one hardly these; from 4 pi on all normals are one group. Directions far
/// apart may come out in one group, and near ones in two: the result is a compromise that depends on
/// all normals.
///
/// For n normals and k directions each round takes O((n + k) log k) in the usual case. Runs in parallel;
/// the same bits for any number of threads.
SORVANE_API std::vector<int>
RepresentativeNormalGrouping(const std::vector<VecBase<3, double>>& normals, double resolution);

/// The same for the triangles of a mesh, by `Mesh::Normals`: triangles without area have no direction.
/// Empty for a mesh that `IsEmpty`.
SORVANE_API std::vector<int>
RepresentativeNormalGrouping(const Mesh::IndexedPointsBase<3, double>& mesh, double resolution);

// clang-format off
extern template SORVANE_API Mesh::IndexedPointsBase<3, float>  CreateExtrudedBodyFromProfile(const std::vector<VecBase<2, float>>&,  float,  float,  unsigned);
extern template SORVANE_API Mesh::IndexedPointsBase<3, double> CreateExtrudedBodyFromProfile(const std::vector<VecBase<2, double>>&, double, double, unsigned);
// clang-format on

} // namespace Velk::Math::Sorvane::MeshUtils

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::MeshUtils {
template <class T> requires(!SupportedReal<T>) Mesh::IndexedPointsBase<3, T> CreateExtrudedBodyFromProfile(const std::vector<VecBase<2, T>>&, T, T, unsigned) = delete;
} // namespace Velk::Math::Sorvane::MeshUtils
// clang-format on
/// @endcond
