// Discrete curvature of a triangle mesh at its nodes, and the share of the surface that belongs to a node.
//
// The ring of a node is the list of its neighbors in order. With x the node and q, r two ring points in a
// row, x q r is a triangle of the surface, and the mesh's normals are on the side from which the ring runs
// counter-clockwise. Coordinates are in the caller's length unit, curvatures in its reciprocal, areas in its
// square. M. Meyer, M. Desbrun, P. Schroeder and A. H. Barr, "Discrete differential-geometry operators for
// triangulated 2-manifolds", 2003.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>

#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

/// Shape of the surface at a node. All zero where the surface has no area there.
struct SORVANE_API DiscreteCurvatures {
    /// The principal curvatures H + sqrt(H^2 - K) and H - sqrt(H^2 - K), with H the mean and K the Gaussian
    /// curvature; both H where that root has no positive argument. H is a length and so never negative:
    /// the wall of a round hole and that of a peg both have the curvatures 1 / radius and 0.
    double maxCurvature = 0;
    double minCurvature = 0;
    /// Unit direction in which the surface bends away from its neighbors, turned to the side of `normal`;
    /// zero for a flat surface (a curvature of at most 1e-12) and where it is square to `normal`.
    VecBase<3, double> meanCurvatureNormal;
    /// Unit normal: those of the triangles round the node, each weighted with its share of `area`.
    VecBase<3, double> normal;
    /// Mixed area of the node, the sum of `MixedAreas`.
    double area = 0;

    friend bool operator==(const DiscreteCurvatures&, const DiscreteCurvatures&) = default;
};

/// Curvatures at a node inside a surface. The ring is closed: its last and its first point make a triangle
/// too; the first point is not repeated.
///
/// All zero where the mixed area is at most `tolerance` in magnitude, and for an empty ring. The tolerance
/// also guards the cotangents: a triangle whose doubled area is not greater than it adds nothing to the
/// mean curvature. A triangle whose doubled area is not greater than 1e-12 adds nothing to the normal. Two ring
/// points in a row at one place make a triangle that adds nothing at all, as if there were one of them. A
/// coordinate that is not finite gives curvatures that are NaN. Only differences from `node` are used, so
/// that a part far from the origin loses no more than its coordinates have lost. O(ring).
SORVANE_API DiscreteCurvatures
DiscreteCurvaturesAtNode(const VecBase<3, double>& node, const std::vector<VecBase<3, double>>& ring,
                         double tolerance);

/// The same at a node of the boundary: the ring is open, from the neighbor at one end of the boundary to
/// the one at the other, and K is measured against a straight boundary (angles that sum to pi).
///
/// The mean curvature does not know of the boundary: the terms of the missing triangles are left out.
/// A node on the straight edge of a flat sheet therefore has K = 0 but not H = 0; of the points (1, 0, 0),
/// (0, 1, 0), (-1, 0, 0) round the origin `maxCurvature` is 2 and `meanCurvatureNormal` zero.
SORVANE_API DiscreteCurvatures
DiscreteCurvaturesAtBoundaryNode(const VecBase<3, double>& node,
                                 const std::vector<VecBase<3, double>>& ring, double tolerance);

/// Curvatures at every point of a mesh, in their order.
///
/// On a boundary it is the boundary form, with the ring from one end of the boundary to the other. All zero
/// for a point of fewer than three neighbors, as the corner of a sheet that one triangle ends in, and for a
/// point of no triangle. A triple that a half-edge mesh can't take is left out as if it were not there:
/// equal or invalid indices, or a directed edge that is taken. Where several fans of triangles meet in one
/// point the result is that of one of them. Empty for a mesh that `IsEmpty`. Expected O(n); the
/// measuring is parallel, with the same bits for any number of threads.
SORVANE_API std::vector<DiscreteCurvatures>
DiscreteCurvaturesAtNodes(const Mesh::IndexedPointsBase<3, double>& mesh, double tolerance);

/// The share of each triangle round a node that belongs to the node: one number for each point of the ring,
/// for its triangle with the next point, the last with the first.
///
/// Of a triangle with no obtuse and no right angle it is the part nearer to the node than to the other
/// corners, (cot at r |xq|^2 + cot at q |xr|^2) / 8, where a cotangent is 0 if the doubled area is not greater
/// than `tolerance`; of one with its obtuse or right angle at the node a half; otherwise a quarter. The
/// shares at its three corners sum to a triangle's area. Never negative, whichever way the ring runs, but for
/// the rounding of a cotangent near 0.
///
/// There is no form for a boundary: an open ring of three or more has one entry too many, the last. A ring
/// of two points has one entry, a ring of one point has one, which is 0, and an empty ring has none. NaN
/// where a corner is not finite. Everything in T. O(ring).
template <int N, class T>
std::vector<T> MixedAreas(const VecBase<N, T>& node, const std::vector<VecBase<N, T>>& ring, T tolerance);

/// The same into a list that keeps its room, for those who ask node by node.
template <int N, class T>
void MixedAreas(const VecBase<N, T>& node, const std::vector<VecBase<N, T>>& ring, T tolerance,
                std::vector<T>& areas);

// clang-format off
extern template SORVANE_API std::vector<float>  MixedAreas(const VecBase<2, float>&,  const std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API std::vector<double> MixedAreas(const VecBase<2, double>&, const std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API std::vector<float>  MixedAreas(const VecBase<3, float>&,  const std::vector<VecBase<3, float>>&,  float);
extern template SORVANE_API std::vector<double> MixedAreas(const VecBase<3, double>&, const std::vector<VecBase<3, double>>&, double);
extern template SORVANE_API void MixedAreas(const VecBase<2, float>&, const std::vector<VecBase<2, float>>&, float, std::vector<float>&);
extern template SORVANE_API void MixedAreas(const VecBase<2, double>&, const std::vector<VecBase<2, double>>&, double, std::vector<double>&);
extern template SORVANE_API void MixedAreas(const VecBase<3, float>&, const std::vector<VecBase<3, float>>&, float, std::vector<float>&);
extern template SORVANE_API void MixedAreas(const VecBase<3, double>&, const std::vector<VecBase<3, double>>&, double, std::vector<double>&);
// clang-format on

} // namespace Velk::Math::Sorvane::MeshUtils

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::MeshUtils {
template <int N, class T> requires(!SupportedPoint<N, T>) std::vector<T> MixedAreas(const VecBase<N, T>&, const std::vector<VecBase<N, T>>&, T) = delete;
template <int N, class T> requires(!SupportedPoint<N, T>) void MixedAreas(const VecBase<N, T>&, const std::vector<VecBase<N, T>>&, T, std::vector<T>&) = delete;
} // namespace Velk::Math::Sorvane::MeshUtils
// clang-format on
/// @endcond
