// SubdivisionMesh: the half-edge mesh that `Mesh::SubdivideMesh` and `Mesh::SplitLongMeshEdges`
// edit, one step at a time, for whoever marks features of his own or looks at the mesh between
// steps.
#pragma once

#include <Sorvane/Decorations_E.h>
#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A mesh that can be subdivided. Nodes and edges are locked where they are features.
///
/// A step throws `std::bad_alloc` where memory runs out, and the standard container's length error
/// where the half-edges could not be numbered; the mesh is sound then, and the step half done.
class SORVANE_API SubdivisionMesh
    : public TriangleMesh<Records::SubdivisionVertex, Records::SubdivisionEdge, HFace> {
public:
    /// The mesh beneath.
    using Base = TriangleMesh<Records::SubdivisionVertex, Records::SubdivisionEdge, HFace>;

    /// From which angle between the normals on an edge was made a feature, in radians; negative
    /// until `DetectFeatures` was called.
    double featureAngle = -1.0;

    /// Without nodes.
    SubdivisionMesh() = default;
    /// As `LoadIndexedPoints`, with room for two steps. Where three or more fans of triangles meet
    /// in a node, so that their boundaries can't be linked, every fan gets a node of its own
    /// (`SplitPinchNodes`).
    explicit SubdivisionMesh(const Mesh::IndexedPointsBase<3, double>& mesh);
    SubdivisionMesh(const SubdivisionMesh&) = default;
    SubdivisionMesh(SubdivisionMesh&&) = default;
    SubdivisionMesh& operator=(const SubdivisionMesh&) = default;
    SubdivisionMesh& operator=(SubdivisionMesh&&) = default;
    ~SubdivisionMesh() override;

    /// The node's feature mark; false for an invalid node.
    bool IsNodeLocked(int node) const override;
    /// The feature mark of the half-edge or of its twin; false for an invalid one.
    bool IsEdgeLocked(int halfEdge) const override;

    /// Marks an edge as a feature: both its half-edges, and its two nodes.
    void MarkFeature(int halfEdge);
    /// Marks boundaries and the edges whose normals differ by `degrees` or more; what was marked
    /// stays so.
    void DetectFeatures(double degrees);

    /// Everything that is there counts as old: the beginning of a step.
    void MarkOld();
    /// One step of Loop's rule. False when it left all as it was.
    bool LoopStep();
    /// One step of the sqrt(3) rule. Where `step` is odd feature edges are cut in three after it.
    /// False when it left all as it was.
    bool Sqrt3Step(unsigned step);
    /// Splits the edges longer than `length`, as `Mesh::SplitLongMeshEdges` does in one pass. False
    /// when there were none.
    bool SplitPass(double length, bool atMiddle);

    /// Moves every node to the position in its place. Another number of positions than of node
    /// slots is reported to the assert handler, and nothing moves.
    void UpdateNodePositions(const std::vector<Vec3d>& positions);

private:
    void RequireRoom(std::size_t moreHalfEdges) const;
    std::vector<Vec3d> SmoothedNodes(Vec3d (*smoothed)(const Vec3d&, const Vec3d&, int)) const;
    bool MoveOldNodes(std::vector<Vec3d> positions);
    bool SplitAllEdges();
    void TrisectFeatures();

    // Nodes that were one until each fan was given its own, ascending: they stay together.
    std::vector<int> apart_;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
