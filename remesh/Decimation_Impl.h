// The worker of `Mesh::DecimateMesh`: a half-edge mesh whose nodes carry quadric error functions.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/Decimation_E.h>
#include <Sorvane/Decorations_E.h>
#include <Sorvane/IterativeRemesher_E.h>

#include "remesh/CollapseQueue_Impl.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Decimates by collapsing edges in the order of their quadric errors, after M. Garland and P. S.
/// Heckbert, "Surface simplification using quadric error metrics", 1997. One object for each call.
///
/// Quadrics are gathered about the middle of the points' box, where positions have the digits that
/// squares of coordinates far from the origin lack.
class QEFDecimator
    : public TriangleMesh<Records::QuadricVertex, Records::FeatureEdge, Records::TaggedFace> {
public:
    QEFDecimator(const std::vector<Vec3d>& sourcePoints, const std::vector<int>& sourceIndices,
                 const std::vector<unsigned char>& tags, bool keepsBoundary);

    /// A node by its own mark, a half-edge by its mark, a face by its nodes.
    bool IsNodeLocked(int node) const override
    {
        return this->IsValidNode(node) && NodeAt(node).feature;
    }
    bool IsEdgeLocked(int halfEdge) const override
    {
        return this->IsValidEdge(halfEdge) && EdgeAt(halfEdge).feature;
    }
    bool IsFaceLocked(int face) const override;
    /// As it was when the mesh was built: no edit of a decimation reaches a boundary.
    bool IsBoundaryNode(int node) const override;

    /// Marks boundaries, creases of at least `angle` degrees with their nodes, and tag boundaries.
    void DetectFeatures(double angle);

    /// The whole run: collapses, stars, flips, stars.
    void RemoveTriangles(double keepPercent, double tolerance);
    /// Replaces stars whose node lies no farther from the plane of its neighbors than
    /// `greatestError`, as that stands.
    void RemoveTriangleStars();
    /// Flips edges that are not locally Delaunay, as long as errors stay below the limit.
    void FlipToDelaunay(double maxError);

    int CountFaces() const;
    /// Fills in what is left and why.
    void Report(Mesh::DecimationReport& report) const;

    Bounding::AxisAlignedBoundingBox<3, double> box;
    int initialFaces = 0;
    /// The greatest error accepted so far; its square root when `RemoveTriangles` has ended.
    double greatestError = 0.0;
    double featureAngle = 0.0; ///< radians
    std::vector<Vec3d> points;
    std::vector<int> indices;
    bool keepBoundary = true;

private:
    using Quadric = Decorations::QuadricErrorFunction;

    void BuildQuadrics();
    double& CostOf(int halfEdge) { return costs_[static_cast<std::size_t>(halfEdge) / 2]; }
    void PushEdge(int halfEdge);
    /// Is the edge one that a collapse could ever take, by the marks of its ends? These don't
    /// change as long as the edge is there, except by a collapse that pushes it anew.
    bool MayCollapse(int halfEdge, int a, int b) const
    {
        return NodeAt(a).feature ? NodeAt(b).feature && EdgeAt(halfEdge).feature
                                 : !NodeAt(b).feature;
    }
    bool IsBesideFeature(int halfEdge) const;
    bool IsTooLong(int a, int b) const;
    void FetchAhead();
    void FetchRound(int& halfEdge, int start) const;
    /// All lines of memory of a record.
    static void Fetch(const void* from, std::size_t bytes)
    {
        constexpr std::size_t kLine = 64;
        for (std::size_t i = 0; i < bytes + kLine - 1; i += kLine) {
            __builtin_prefetch(static_cast<const char*>(from) + (i < bytes ? i : bytes - 1));
        }
    }
    void FetchEdge(int halfEdge) const { Fetch(&EdgeAt(halfEdge & ~1), 2 * sizeof(EdgeType)); }
    void FetchNode(int node) const
    {
        if (static_cast<std::size_t>(node) < Nodes().size()) {
            Fetch(&NodeAt(node), sizeof(NodeType));
        }
    }
    bool TryCollapse(const CollapseQueue::Entry& entry);
    bool IsCreaseNode(int node) const;
    bool Folds(int node, const Vec3d& x);
    bool IsLocallyDelaunay(const std::array<int, 4>& diamond) const;
    bool TryFlip(int halfEdge);

    CollapseQueue queue_;
    AngleLimit turn_;
    Vec3d middle_; // of the box
    double maxError_ = 0.0;
    double squaredLengthLimit_ = 0.0;
    double target_ = 0.0;  // faces to remove
    double removed_ = 0.0; // two for each collapse
    // The present cost of each edge, by which stale entries of the queue are told without a look at
    // the mesh: infinite for edges that are gone, the greatest number for those that cost too much,
    // NaN where it is not known.
    std::vector<double> costs_;
    std::vector<unsigned char> isBoundaryNode_;
    std::vector<int> ring_;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
