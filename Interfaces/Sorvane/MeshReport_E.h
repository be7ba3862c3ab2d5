// How healthy a mesh is: defective triangles, edges that do not join two triangles, size and center,
// and how far the open boundaries of its components lie apart.
//
// Triangles are numbered from 0. Edge k of a triangle runs from its corner k to its corner k + 1, and its
// *slot* is the number 3t + k, its place in the indices of the welded mesh. Slots between the same two
// points, whichever way they run, belong to one edge of the mesh: two on an ordinary inner edge.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

/// What `CheckMesh` finds. Numbers refer to the welded mesh, whose triangles are those of the soup in
/// the same order. All lists come in one order, whatever the number of threads.
template <class T> struct SORVANE_API MeshReport {
    /// The tolerance of the check; -1 when nothing was checked.
    T tolerance = -1;

    /// Reserved, always empty.
    std::vector<int> unassigned;

    /// The slots of each edge that has three or more of them: edge by edge in the order in which the
    /// edges first appear, and in triangle order within an edge.
    std::vector<int> nonManifoldSlots;

    /// Triangles that run an edge in the same direction as another one does, without those that have a
    /// slot in `nonManifoldSlots`. Ascending. Which of the two is wrong can't be told from the edge:
    /// both are listed, so a single turned triangle brings its neighbors with it.
    std::vector<int> misorientedTriangles;

    /// Triangles with two corners on one point, or with a height of at most twice the tolerance.
    /// Ascending.
    std::vector<int> degenerateTriangles;

    /// Triangles whose normal points against that of a neighbor, within 2.5 degrees. Ascending.
    std::vector<int> foldedTriangles;

    /// The first slot of each edge that has not exactly two. Ascending. Edges of one slot are the mesh's
    /// boundary, the others are those of `nonManifoldSlots`.
    std::vector<int> openSlots;

    /// Means over all slots (an inner edge counts twice), and over all triangles. NaN without triangles.
    T meanEdgeLength = 0;
    T meanTriangleArea = 0;

    /// Signed volume between the triangles and the origin: that of the body for a closed mesh, positive
    /// when it is wound outward. The volume of an open mesh depends on where it lies.
    T volume = 0;

    /// Center of that volume, the same for a body turned inside out; NaN when `volume` is exactly 0.
    /// Where the volume is 0 but for rounding, as that of a slanted sheet, the center has no meaning.
    VecBase<3, T> centroid;

    friend bool operator==(const MeshReport&, const MeshReport&) = default;
};

/// What `CheckGaps` finds.
struct SORVANE_API GapReport {
    /// The last boundary point of the last component. This is not where the gap is.
    VecBase<3, double> location;

    /// The greatest distance from a boundary point of one component to the boundaries of the others.
    double gap = 0;

    /// True when no half-edge mesh can be made; the other fields are zero then.
    bool invalidMesh = false;

    friend bool operator==(const GapReport&, const GapReport&) = default;
};

/// Welds a soup with `tolerance` (`Mesh::IndexedPointsFromSoup`) and examines the result.
///
/// - Slots are counted by edge. A slot from a point to itself is an edge of its own, and a triangle with
///   two corners on one point has its two other slots on one edge.
/// - A height is the distance of a corner from the opposite edge as a segment, so that none of a
///   triangle's heights exceeds its shorter edge at that corner.
/// - Normals are those of `Mesh::Normals`: a triangle of next to no area has none and is not folded.
///   Neighbors are those of `Mesh::NeighborFacets`. Two coincident triangles are folded when they are
///   wound oppositely, and misoriented when they are wound alike.
/// - With a negative or NaN tolerance nothing is welded, and only triangles that name a point twice
///   are degenerate.
/// - A corner that is not finite makes measures of the whole mesh not finite and its own triangle
///   neither degenerate (unless its two other corners are one point) nor folded. It is welded to
///   nothing, so its edges are open.
///
/// Lengths in the soup's unit. Areas are those of `Mesh::Areas`; heights, lengths and volumes are taken
/// in `double`, and all sums are `double` and rounded once. Parallel;
/// expected O(n log n) through the weld, otherwise O(n).
template <class T>
MeshReport<T> CheckMesh(const std::vector<std::array<VecBase<3, T>, 3>>& soup, T tolerance);

/// How far the open boundaries of the components of a mesh lie from each other, as a measure of how badly
/// a model that should be one closed body is broken.
///
/// A component is a set of triangles connected across edges; two that only touch in a point are two. Points
/// are not welded. Of each boundary point the distance to the nearest boundary segment of any other
/// component is taken, and `gap` is the greatest of these. So it is not the width of the crack: two unit
/// squares beside each other, 0.5 apart, have a gap of 1.5, between their far edges.
///
/// A boundary point for which there is no other component with a boundary counts with the square root of
/// the greatest finite number, 1.34e154: this is the gap of a single open component. A closed mesh and an
/// empty one have gap 0 and `location` at the origin. A boundary point that is not finite counts in the
/// same way, and a boundary segment with such an end is near no other point.
///
/// `invalidMesh` is set when the number of indices is not a multiple of 3 or the boundaries can't be
/// linked (`HalfEdge::TriangleMesh::LinkBoundaryEdges`), as where three fans of triangles meet in one
/// point. Triples that a half-edge mesh can't take are left out: equal or invalid indices, or a
/// directed edge that is taken.
///
/// One thread. About O(n log n) for n triangles; only a boundary of which many parts are equally far from
/// many points of another one costs more.
SORVANE_API GapReport CheckGaps(const std::vector<VecBase<3, double>>& points,
                                const std::vector<int>& indices);

// clang-format off
extern template SORVANE_API MeshReport<float>  CheckMesh(const std::vector<std::array<VecBase<3, float>,  3>>&, float);
extern template SORVANE_API MeshReport<double> CheckMesh(const std::vector<std::array<VecBase<3, double>, 3>>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::MeshUtils
