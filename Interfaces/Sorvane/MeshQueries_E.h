// Adjacency and orientation of an indexed mesh, answered without building a half-edge mesh: who is next
// to whom, where the boundary is, how sharp an edge is, which way triangles face, where a level line
// crosses a triangle.
//
// Edge k of a triangle (i0, i1, i2) runs from i_k to i_(k+1), with i_3 = i_0; its place among all edges is
// the position 3t + k in the mesh's indices. Points are not welded: coincident points with different
// numbers make a seam. Indices are trusted to come in threes and to be in range;
// where they don't come in threes the incomplete last triple is left out. An empty mesh gives empty results.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <set>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

// --- neighborhood --------------------------------------------------------------------------------

/// For each point the points that share a triangle with it; empty for a point of no triangle. A triangle
/// that names a point twice makes it its own neighbor. O(n log n).
template <int D, class T>
std::vector<std::set<int>> NodeRings(const IndexedPointsBase<D, T>& mesh);

/// For each point the triangles that name it, ascending; a triangle that names it twice stands twice.
/// Runs over all indices: entry i belongs to triangle i / 3. O(n).
template <int D, class T>
std::vector<std::vector<int>> NodeFacets(const IndexedPointsBase<D, T>& mesh);

/// For each triangle its neighbors across its three edges, -1 where there is none.
///
/// The neighbor is the first other triangle, in triangle order, that has the edge, run in either
/// direction. On an edge of three or more triangles the relation is therefore not mutual: of three fins
/// 0, 1, 2 the neighbors are 1, 0, 0. Expected O(n), parallel.
template <int D, class T>
std::vector<std::array<int, 3>> NeighborFacets(const IndexedPointsBase<D, T>& mesh);

/// The edges of one triangle (a, b, c), whose number must be in range. Oriented 1: (a, b), (b, c), (c, a)
/// as they run. Oriented 0: (a, b), (b, c), (a, c), each with the smaller number first.
template <int Oriented, int D, class T>
std::array<std::pair<int, int>, 3> FaceEdges(const IndexedPointsBase<D, T>& mesh, int triangle);

// --- boundary -------------------------------------------------------------------------------------

/// Edges that triangles run exactly once, in either direction, as they run them; ascending by (first,
/// second). Empty for a closed mesh.
///
/// An edge of three or more triangles is not boundary, and neither is one that two run the same way. A
/// degenerate triangle counts like any other: (0, 0, 1) has the boundary edge (0, 0). O(n).
template <int D, class T>
std::vector<std::pair<int, int>> BoundaryEdges(const IndexedPointsBase<D, T>& mesh);

/// The two end points of each of `BoundaryEdges`.
template <int D, class T>
std::vector<std::array<VecBase<D, T>, 2>> BoundarySegments(const IndexedPointsBase<D, T>& mesh);

/// The places 3t + k of the edges without a neighbor in `NeighborFacets`, ascending. Differs from
/// `BoundaryEdges` on degenerate triangles: an edge that one triangle runs twice has no neighbor.
template <int D, class T>
std::vector<int> BoundaryEdgeIndices(const IndexedPointsBase<D, T>& mesh);

// --- angles ---------------------------------------------------------------------------------------

/// Angles at `center` between consecutive points of `ring`, radians, each in [0, pi]: one for each point
/// of a closed ring, the last from the last point back to the first, and one less for an open ring.
/// Computed from lengths (`OppositeEdgeAngle`). Empty for an empty ring.
template <class T>
std::vector<T> RingAngles(const VecBase<3, T>& center, const std::vector<VecBase<3, T>>& ring,
                          bool closed);

/// The angles times `factor`, which makes them sum to pi on a `boundary` and to 2 pi otherwise. All zero,
/// with factor 0, when their sum is not greater than 0 (a NaN among them stays NaN).
template <class T>
std::vector<T> NormalizedAngles(const std::vector<T>& angles, T& factor, bool boundary);

/// `NormalizedAngles` of `RingAngles`, both with the one flag: a `closed` ring is scaled to pi, an open one
/// to 2 pi. For a full turn over a closed ring repeat its first point at the end and pass false.
template <class T>
std::vector<T> NormalizedRingAngles(const VecBase<3, T>& center,
                                    const std::vector<VecBase<3, T>>& ring, T& factor, bool closed);

/// Angle between the normals of the two triangles at each edge, three entries for each triangle: place
/// 3t + k. Radians in [0, pi]; exactly 2 pi, also when signed, where `NeighborFacets` has no neighbor.
///
/// With `isSigned` positive for a convex edge, negative for a concave one, and 0 where the neighbor's
/// centroid lies within 1e-12 (in `float` 1e-8) of the triangle's plane, be it ahead or folded back. A
/// degenerate triangle has no normal, and its edges have the angle 0; so have all edges with a neighbor
/// of a mesh that `IsEmpty`, by an incomplete last triple for one. Parallel; O(n).
template <class T>
std::vector<T> CreaseAngles(const IndexedPointsBase<3, T>& mesh, bool isSigned);

// --- orientation ----------------------------------------------------------------------------------

/// Makes the triangles of a connected mesh run alike, by turning those in the minority; true when any was
/// turned. A triangle is turned by exchanging its second and third index.
///
/// Walks breadth first over `NeighborFacets` from the first triangle and compares each triangle with
/// its neighbors. False, with the mesh as it was, when all agree, and without points, without indices, or
/// when the indices don't come in threes. Only the component of the first triangle is walked, but the
/// majority is taken over all triangles: those of other components count as right, and are turned with the
/// rest where more than half of all triangles are marked. On a mesh that can't be oriented the walk's order
/// decides. O(n).
///
/// A triangle that names a point twice, as every weld makes them, has no orientation. It stays as it is,
/// and the others come out as they would if it were not there: neither the first triangle, nor a neighbor,
/// nor part of the count is ever one of these.
template <int D, class T> bool MatchNormals(IndexedPointsBase<D, T>& mesh);

// --- order of the points --------------------------------------------------------------------------

/// The mesh with its points in the order of the Z-order curve through their own bounding box
/// (`Tree::MortonCurve::MapToCurve` at full depth), so that points near each other in space mostly are so in
/// memory too. Triangles keep their order and their corners.
///
/// `newToOld` receives the old number of each new point, `oldToNew` the reverse; either may be null. Points
/// of the same code keep their order. Indices must be in range. Parallel; O(n log n).
template <int D>
IndexedPointsBase<D, double> MapMeshToMortonCurve(const IndexedPointsBase<D, double>& mesh,
                                                  std::vector<int>* newToOld,
                                                  std::vector<int>* oldToNew);

// --- level lines ----------------------------------------------------------------------------------

/// The chord of the triangle p0 p1 p2 on which the field with corner values s0, s1, s2, linear between
/// them, equals `level`.
///
/// False, with `segment` left alone, when there is none: also for a level equal to the greatest value.
/// With the level equal to the smallest value both ends may be one corner. Each end is interpolated from
/// the smaller corner value to the greater, so that two triangles get the same bits on a common edge.
template <int D, class T>
bool IsoSegmentFromTriangle(const VecBase<D, T>& p0, const VecBase<D, T>& p1,
                            const VecBase<D, T>& p2, T s0, T s1, T s2, T level,
                            std::array<VecBase<D, T>, 2>& segment);

// clang-format off
#define SORVANE_EXTERN(D, T) \
    extern template SORVANE_API std::vector<std::set<int>> NodeRings(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API std::vector<std::vector<int>> NodeFacets(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API std::vector<std::array<int, 3>> NeighborFacets(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API std::array<std::pair<int, int>, 3> FaceEdges<0>(const IndexedPointsBase<D, T>&, int); \
    extern template SORVANE_API std::array<std::pair<int, int>, 3> FaceEdges<1>(const IndexedPointsBase<D, T>&, int); \
    extern template SORVANE_API std::vector<std::pair<int, int>> BoundaryEdges(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API std::vector<std::array<VecBase<D, T>, 2>> BoundarySegments(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API std::vector<int> BoundaryEdgeIndices(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API bool MatchNormals(IndexedPointsBase<D, T>&); \
    extern template SORVANE_API bool IsoSegmentFromTriangle(const VecBase<D, T>&, const VecBase<D, T>&, const VecBase<D, T>&, T, T, T, T, std::array<VecBase<D, T>, 2>&);
SORVANE_EXTERN(2, float)
SORVANE_EXTERN(2, double)
SORVANE_EXTERN(3, float)
SORVANE_EXTERN(3, double)
#undef SORVANE_EXTERN
#define SORVANE_EXTERN(T) \
    extern template SORVANE_API std::vector<T> RingAngles(const VecBase<3, T>&, const std::vector<VecBase<3, T>>&, bool); \
    extern template SORVANE_API std::vector<T> NormalizedAngles(const std::vector<T>&, T&, bool); \
    extern template SORVANE_API std::vector<T> NormalizedRingAngles(const VecBase<3, T>&, const std::vector<VecBase<3, T>>&, T&, bool); \
    extern template SORVANE_API std::vector<T> CreaseAngles(const IndexedPointsBase<3, T>&, bool);
SORVANE_EXTERN(float)
SORVANE_EXTERN(double)
#undef SORVANE_EXTERN
extern template SORVANE_API IndexedPointsBase<2, double> MapMeshToMortonCurve(const IndexedPointsBase<2, double>&, std::vector<int>*, std::vector<int>*);
extern template SORVANE_API IndexedPointsBase<3, double> MapMeshToMortonCurve(const IndexedPointsBase<3, double>&, std::vector<int>*, std::vector<int>*);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
