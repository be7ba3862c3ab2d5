// MonotonePartitioner: splits a simple polygon into pieces that are monotone in the sweep direction
// and fans those out into triangles.
//
// The sweep is that of M. R. Garey, D. S. Johnson, F. P. Preparata and R. E. Tarjan, "Triangulating
// a simple polygon", 1978, in the form of M. de Berg et al., "Computational Geometry", chapter 3,
// turned by 90 degrees: it runs from left to right. Here the polygon is a face of a half-edge mesh
// and a diagonal splits the face; the part that keeps its number is swept on, the other gets a
// sweep of its own. The shorter part is always the new one, which makes O(n log^2 n) of it all.
#pragma once

#include "triangulation/SweepStatus_Impl.h"

#include <Sorvane/HalfEdgeMesh_E.h>

#include <cstdint>
#include <type_traits>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// What becomes of an outline that runs clockwise.
enum class OutlineTurn { MakeCounterClockwise, TakeAsGiven };

/// What the sweep takes for equal x, where y decides.
enum class SweepOrder {
    ByFloor, ///< what lies within the length floor
    Exact    ///< the same number only
};

/// A vertex in sweep order. The node number is an integer as wide as a coordinate.
template <class T>
struct SweepEntry {
    T x;
    T y;
    std::conditional_t<sizeof(T) == sizeof(std::int32_t), std::int32_t, std::int64_t> node;
};

/// One polygon on its way to triangles: make it, then `Partition`, `TriangulateFaces`,
/// `ImproveDelaunay` any number of times, `WriteIndices`.
///
/// The outline is open (its last point is not its first), its coordinates are finite, and
/// consecutive points are apart. Sweep order: x, then y; coordinates within the length floor of
/// each other count as equal. Walls that lean by about the floor from one point to the next may lie
/// within it in one stretch and beyond it in another, and then no direction of sweep fits all of
/// the order: `TriangulateFaces` gives false, and `SweepOrder::Exact` helps. Predicates are
/// evaluated in `double` for both coordinate types. For an outline that is not simple the
/// operations end and may give false or overlapping triangles.
template <class T>
class MonotonePartitioner
    : public HalfEdge::TriangleMesh<HalfEdge::HVertex<2, T>, HalfEdge::HEdge, HalfEdge::HFace> {
public:
    using Base = HalfEdge::TriangleMesh<HalfEdge::HVertex<2, T>, HalfEdge::HEdge, HalfEdge::HFace>;

    MonotonePartitioner();
    explicit MonotonePartitioner(const std::vector<VecBase<2, T>>& outline,
                                 OutlineTurn turn = OutlineTurn::MakeCounterClockwise,
                                 SweepOrder order = SweepOrder::ByFloor);
    MonotonePartitioner(const MonotonePartitioner&) = delete;
    MonotonePartitioner& operator=(const MonotonePartitioner&) = delete;
    ~MonotonePartitioner() override;

    /// Begins anew with another outline and keeps the room.
    void Load(const std::vector<VecBase<2, T>>& outline, OutlineTurn turn,
              SweepOrder order = SweepOrder::ByFloor);

    /// Adds the diagonals that leave monotone faces only.
    void Partition();

    /// Every face to triangles. False, at the first face that can't be closed without turning a
    /// triangle over: it is not monotone, as the outline was not simple.
    bool TriangulateFaces();

    /// Flips every edge once whose far corner lies in or on the circle of the triangle across it,
    /// in edge order. No tolerance: four points of one circle flip at each call. A flip that would
    /// turn a triangle over, or make an edge that exists, is left out.
    void ImproveDelaunay();

    /// Three numbers of outline points for each triangle, counter-clockwise, replacing what
    /// `indices` held.
    void WriteIndices(std::vector<int>& indices) const;

    /// What a node is to the sweep over a face.
    Impl::SweepClass Classify(int node, int face) const;

    const std::vector<SweepEntry<T>>& SweepEntries() const { return entries_; }

private:
    using Base::EdgeAt;
    using Base::FaceAt;
    using Base::NodeAt;
    using Base::Twin;

    const Vec2d& At(int node) const { return positions_[static_cast<std::size_t>(node)]; }
    int Rank(int node) const { return ranks_[static_cast<std::size_t>(node)]; }
    int& OutOf(int node) { return outOf_[static_cast<std::size_t>(node)]; }

    bool IsReversed(const std::vector<VecBase<2, T>>& outline, OutlineTurn turn) const;
    void MakeRing();
    void SortEntries(SweepOrder order);

    bool IsLater(int node, int than) const;
    Impl::SweepClass ClassifyBetween(int before, int node, int after) const;
    void SweepFace(int face);
    void HandleVertex(int node);
    void ConnectToMerge(const Impl::SweepHelper& helper, int node);
    void HandleEdgeBelow(int node, Impl::SweepClass kind);
    void Connect(int from, int to);
    int AddDiagonal(int from, int to);
    bool IsOnFace(int node) const
    {
        return EdgeAt(outOf_[static_cast<std::size_t>(node)]).face == face_;
    }
    void EnterEdge(int halfEdge, int helper, Impl::SweepClass kind);

    bool TriangulateFace(int face);
    bool ReadChains(int face);
    bool CutEar(int node);
    bool TurnsOver(int a, int b, int c) const;
    bool IsWorthFlipping(int halfEdge) const;

    std::vector<SweepEntry<T>> entries_;
    bool reversed_ = false;
    std::vector<Vec2d> positions_; // by node
    std::vector<int> ranks_;       // by node: place in `entries_`

    // The face at hand: its nodes, and for each node the half-edge that leaves it along the face
    // and the one that arrived there when the face was taken up.
    int face_ = -1;
    std::vector<int> faceNodes_;
    std::vector<int> outOf_;
    std::vector<int> arrivedBy_;
    std::vector<int> facesToSweep_;
    std::vector<bool> isUpper_; // by place in faceNodes_: on the chain with the interior below
    std::vector<int> stack_;    // places in faceNodes_
    int nodesLeft_ = 0;
    Impl::SweepStatus status_;
};

extern template class MonotonePartitioner<float>;
extern template class MonotonePartitioner<double>;

} // namespace Velk::Math::Sorvane::Mesh
