// How far points, polylines and whole surfaces lie from a triangle mesh.
//
//     const auto off = MeshUtils::CloudDistancesToMesh(part.points, part.indices, probed, false);
//     const auto bounds = MeshUtils::HausdorffBounds(part, scan, 0.001);   // of the surfaces
//
// Every function that isn't given a tree of the mesh makes one, O(n log n), and asks it side by side for
// all points; a point costs O(log n) as a rule. Triangles with a subscript out of range, a coordinate that is not
// finite or beyond 1e150 are passed over, and so is a mesh that `Mesh::IsEmpty`. Results are the same
// bits for any number of threads. Of triangles at the same distance the one with the lowest number
// answers. Lengths have the unit of the points. Distances of parts and coordinates beyond 1e75, or of
// triangles below 1e-75, whose squared areas are no numbers, are those from the triangles' edges alone,
// with and without bounds.
#pragma once

#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <vector>

/// @cond
namespace Velk::Math::Sorvane::Tree {
template <int D, class T>
class QOFTriangleTree; // TriangleTree_E.h
template <>
class QOFTriangleTree<3, double>;
} // namespace Velk::Math::Sorvane::Tree
/// @endcond

namespace Velk::Math::Sorvane::MeshUtils {

// --- points and a mesh ----------------------------------------------------------------------------

/// Distance of each point of `cloud` from the mesh, however far away it is.
///
/// With `squared` it is the squared distance. Without, it has a sign, that of the side of the surface
/// on which the point lies: negative behind it, where its corners run clockwise, so within a
/// closed part of outward orientation; positive in front of it. A point whose direction from the
/// triangle has a sine of at most 1e-12 to the triangle's plane, or which is at most 1e-12 away, counts
/// as in front.
///
/// Where an edge or a corner is nearest and its triangles disagree, as beside the edge of a blade, where
/// a point is in front of one face and behind the plane of the other, the mean of their normals decides,
/// weighted by their angles there: on a closed surface the sign is right everywhere. At places where
/// triangles cancel each other, as on a sheet folded onto itself, it is that of the nearest triangle
/// with the lowest number. A triangle without area has no sides, and the nearest triangle with area
/// decides, if it is as near within rounding; otherwise the sign is positive. A small triangle decides
/// like a large one, whatever the unit.
///
/// Zeros for a mesh without triangles. NaN for a point that has a coordinate that is not finite or
/// beyond 1e150, and for that point only.
SORVANE_API std::vector<double> CloudDistancesToMesh(const std::vector<Vec3d>& points,
                                                     const std::vector<int>& indices,
                                                     const std::vector<Vec3d>& cloud, bool squared);

/// The distances with signs of `CloudDistancesToMesh`, to the bit, by a tree that the host has already:
/// that of these points and indices, by which its triangles are numbered. For clouds that come one
/// after the other.
SORVANE_API std::vector<double> SignedDistancesToMesh(const Tree::QOFTriangleTree<3, double>& tree,
                                                      const std::vector<Vec3d>& points,
                                                      const std::vector<int>& indices,
                                                      const std::vector<Vec3d>& cloud);

/// Each point of `cloud` moved onto the mesh: to the nearest point of it with `closest`, otherwise
/// along Z to the highest place of the mesh on the point's vertical, whether it lies below the point
/// or above.
///
/// A vertical triangle is seen edge-on and not hit. A point that meets nothing keeps x and y and gets
/// z = -DBL_MAX: beside the mesh, or without usable coordinates. Empty when the mesh is, or the cloud.
SORVANE_API std::vector<Vec3d> ProjectCloudOnMesh(const std::vector<Vec3d>& points,
                                                  const std::vector<int>& indices,
                                                  const std::vector<Vec3d>& cloud, bool closest);

// --- polylines and a mesh -------------------------------------------------------------------------

/// Where a polyline meets a mesh.
struct PointStreamClip {
    Vec3d point;            ///< on the polyline and on the mesh
    double parameter = 0.0; ///< arc length along the polyline from its beginning
    int facet = -1;         ///< number of the triangle

    friend bool operator==(const PointStreamClip&, const PointStreamClip&) = default;
};

/// For each polyline, in order, the places where it meets the mesh.
using PolyPointStreamClips = std::vector<std::vector<PointStreamClip>>;

/// Where polylines cross a mesh or touch it (`Intersect::SegmentTriangleHitPoint`, tolerance 1e-12);
/// hits ascend by parameter, those of one parameter by triangle number.
///
/// A place on the common edge of two triangles is a hit on each, and one at a point of the polyline a
/// hit of both segments: nothing is merged. A segment within the plane of a triangle does not hit it.
/// `tolerance` is for polylines of one point alone: its nearest point on the mesh is a hit, with
/// parameter 0, if it is no farther away; 0 and NaN find nothing, and a negative one counts by its
/// magnitude. A point without usable coordinates is left out with the two segments that it ends, and
/// arc length leads from the point before it to the one behind.
SORVANE_API PolyPointStreamClips
ClipPolyPointStreamAgainstMesh(const Mesh::IndexedPointsBase<3, double>& mesh,
                               const std::vector<std::vector<Vec3d>>& streams, double tolerance);

// --- two meshes, at their points ------------------------------------------------------------------

/// How far the points of two meshes lie from the other mesh.
struct HausdorffReport {
    std::size_t firstIndex = 0;  ///< the point of the first mesh farthest from the second mesh
    double firstDistance = 0.0;  ///< its distance
    std::size_t secondIndex = 0; ///< the point of the second mesh farthest from the first mesh
    double secondDistance = 0.0; ///< its distance

    friend bool operator==(const HausdorffReport&, const HausdorffReport&) = default;
};

/// The farthest point of each of two meshes, the first of several.
///
/// All points count, also those of no triangle, and only points: what bulges between them is not seen.
/// A dome over a flat square has distance 0 from the square's corners to the dome. `HausdorffBounds`
/// measures the surfaces. Zero when one of the meshes has no triangles; points without usable
/// coordinates are passed over.
SORVANE_API HausdorffReport HausdorffDistances(const std::vector<Vec3d>& pointsA,
                                               const std::vector<int>& indicesA,
                                               const std::vector<Vec3d>& pointsB,
                                               const std::vector<int>& indicesB);

/// The greater one of the two distances of `HausdorffDistances`.
SORVANE_API double HausdorffDistance(const std::vector<Vec3d>& pointsA,
                                     const std::vector<int>& indicesA,
                                     const std::vector<Vec3d>& pointsB,
                                     const std::vector<int>& indicesB);

// --- two surfaces ---------------------------------------------------------------------------------

/// Bounds of the greatest distance of a point of one surface from another surface, and a place where
/// the lower one is reached.
struct HausdorffBound {
    double lower = 0.0;       ///< no more than the greatest distance
    double upper = 0.0;       ///< no less than it
    int triangle = -1;        ///< triangle of this surface that holds `point`; -1 without triangles
    Vec3d point;              ///< place on this surface
    int nearestTriangle = -1; ///< triangle of the other surface that holds `nearest`
    Vec3d nearest;            ///< the nearest place to it on the other surface

    friend bool operator==(const HausdorffBound&, const HausdorffBound&) = default;
};

/// Both ways, and the Hausdorff distance itself, the greater one.
struct HausdorffBoundsReport {
    HausdorffBound first;  ///< from the first surface to the second
    HausdorffBound second; ///< from the second surface to the first
    double lower = 0.0;    ///< greater one of the two lower bounds
    double upper = 0.0;    ///< greater one of the two upper bounds

    friend bool operator==(const HausdorffBoundsReport&, const HausdorffBoundsReport&) = default;
};

/// Bounds of the Hausdorff distance of two surfaces, all of their points counted, that are no farther
/// apart than `accuracy`.
///
/// The greatest distance of every surface lies within its bounds also where coordinates round: both
/// are moved apart by 256 units in the last place of the largest coordinate of the two meshes. `lower`
/// is so much less than the distance of `point` from `nearest`, and not below 0. Orientation does not
/// matter, nor does what a mesh is: soups, open ones, ones that cross themselves.
///
/// Accuracy is bought with time where a surface is nearly as far away as the farthest place on whole
/// lines between two parts of the other. One below a billionth of the diagonal of the box around both
/// meshes, or of 1,024 units in the last place of the largest coordinate, counts as that, and so does 0
/// or NaN. Where more than 2^18 divisions and four for each triangle are not enough, the search ends:
/// the bounds hold, and are farther apart. A thousandth of the distance that you expect is cheap.
///
/// Everything is zero and the triangles are -1 when one of the meshes has no triangles that count.
///
/// Points of the meshes give the lower bound; then every triangle is cut along the regions that the
/// near triangles of the other surface face, until each of its parts is certified by one of them: the
/// distance from one triangle is convex, so that the corners of a part tell its greatest. Triangles of
/// which that fails are halved, those with the greatest bound first. As a rule O(n log n), soups of
/// copies of few triangles included. Where places are equally near to very many different triangles
/// it grows toward O(n^2), as for a double cone of n triangles round two nodes.
SORVANE_API HausdorffBoundsReport HausdorffBounds(const Mesh::IndexedPointsBase<3, double>& meshA,
                                                  const Mesh::IndexedPointsBase<3, double>& meshB,
                                                  double accuracy);

} // namespace Velk::Math::Sorvane::MeshUtils
