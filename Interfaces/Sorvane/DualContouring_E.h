// The cells of an octree for dual contouring: which side of a surface their corners lie on, which of
// their edges the surface crosses, when eight cells may become one, and which cells lie around an edge.
//
// The method is that of T. Ju, F. Losasso, S. Schaefer and J. Warren, "Dual contouring of Hermite data",
// 2002. A host samples its volume, puts a vertex into each cell that the surface passes through
// (`QuadricErrorFunction_E.h`) and joins the vertices of the cells around each crossing edge;
// `examples/contour_solid.cpp` is such a host.
#pragma once

#include <Sorvane/ContentNode_E.h>
#include <Sorvane/Export_E.h>
#include <Velk/Math/Matrix_E.h>

#include <array>
#include <memory>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::IsoSurface {

/// A cell with samples at its corners: a node of an octree.
///
/// Corner k lies on the upper side of the center on the axes whose bit is set in k (bit 0 is x, bit 1 y,
/// bit 2 z), as child k does. A node begins as a leaf without samples. Those are made and dropped by the
/// two calls below, whatever becomes of the children, and they stay behind when `TransferTo` hands the
/// children over.
///
/// A node asks an owner, or else the tree that it belongs to, for its face neighbors when it is
/// split: see `Tree::QOFAddressableNode`. Reading is safe from many threads while nobody changes the
/// tree; `TakeSamplesFromChildren` changes its own node only.
class SORVANE_API DCNode : public Tree::QOFAddressableNode<3, double, 1> {
public:
    /// What a host knows of the corners of a cell.
    struct SORVANE_API SampleData {
        static constexpr int kNoVertex = -2; ///< of `meshVertex` at first
        static constexpr int kNoSample = -1; ///< of `sampleIndex` at first
        static constexpr int kUnset = -3;    ///< of `sampleValue` at first: on no side of the surface

        int meshVertex = kNoVertex; ///< for the host's mesher; never read or written here
        /// Numbers of the host's samples behind the corners.
        std::array<int, 8> sampleIndex{kNoSample, kNoSample, kNoSample, kNoSample,
                                       kNoSample, kNoSample, kNoSample, kNoSample};
        /// Which side of the surface the corners lie on: negative or not, and `kUnset` for neither. Use 0
        /// and -1: `TakeSamplesFromChildren` compares the numbers and not their signs.
        std::array<int, 8> sampleValue{kUnset, kUnset, kUnset, kUnset, kUnset, kUnset, kUnset, kUnset};

        friend bool operator==(const SampleData&, const SampleData&) = default;
    };

    /// One of the twelve edges of a cell; of no cell at first.
    struct SORVANE_API OctantEdge {
        const DCNode* node = nullptr; ///< the cell
        int edge = -1;                ///< row of `s_EdgeNodeIdx`

        friend bool operator==(const OctantEdge&, const OctantEdge&) = default;
    };

    /// The two corners of each edge of a cell, the lower one first. Edges 0, 5, 8, 11 run along x,
    /// 1, 3, 9, 10 along y and 2, 4, 6, 7 along z. Known before any code runs.
    static const MatBase<12, 2, int> s_EdgeNodeIdx;

    std::shared_ptr<SampleData> sampleData; ///< none at first, and where the surface does not pass

    DCNode() = default;
    /// Child `index` of `parentNode`, with the address that belongs to it; a root when there is no parent.
    /// The child of a node at level 21 has level 0, since no address is deeper.
    DCNode(DCNode* parentNode, const Cell& cell, unsigned int index);
    ~DCNode() override;

    /// The child; null in a leaf, for an index that is negative or above 7, and for a child that is not
    /// a `DCNode`.
    DCNode* GetChild(int index) const override;
    /// Makes a child in place of an earlier one; none for an index above 7.
    void AllocateChild(unsigned int index, const Cell& cell) override;
    /// The child, for which a leaf is split first, whatever the index. Null for an index that is negative
    /// or above 7, and when the node can't be split: `flag` is the capacity of `Split`, which counts only
    /// for nodes that hold contents.
    DCNode* EnsureChild(int index, unsigned int flag) override;

    /// A leaf with samples: a cell that the host puts a vertex into.
    bool IsMeshable() const;
    /// Makes the node a leaf.
    void DeleteChildren();
    /// Splits a leaf: `Split` with `flag` as its capacity.
    void Propagate(unsigned int flag);
    /// Splits the node and what is below it until its leaves have this level at least; never beyond
    /// level 21. When memory runs out, or the host's progress scope (Velk/Progress_E.h) is stopped, what
    /// has been split so far stays. 8^n leaves for n levels: to start from a coarse grid.
    void SubdivideToLevel(unsigned int level, int flag);
    /// Levels below the root.
    unsigned int GetLevel() const;

    /// Makes samples with the initial values; those that are there already are kept.
    void AllocateDataSpace();
    /// Drops the samples.
    void ReleaseDataSpace();

    /// Does the surface cross this edge: are both ends set, and exactly one of them negative? False
    /// without samples, and for an edge that is negative or above 11.
    bool Crossing(int edge) const;
    /// Number of edges that the surface crosses.
    int CrossingCount() const;
    /// The samples behind the two ends of an edge; (-1, -1) without samples, and for an edge that is
    /// negative or above 11.
    std::pair<int, int> GetEdgeSampleIndices(int edge) const;

    /// Takes the samples of the outer corners of eight children, and tells whether this node can stand
    /// for them: whether one vertex here and eight in the children make surfaces of the same topology.
    /// The children stay, for the caller to delete.
    ///
    /// It can when each child is there and four at least have samples; each middle of an edge has the
    /// value of an end of that edge, each middle of a face that of a corner of that face, and the center
    /// that of a corner; and the surface crosses 3 to 6 of this node's edges. Where children share a grid
    /// point the least value counts, an unset one giving way to what comes after it. A child without
    /// samples is taken to lie on one side of the surface: all its corners have the sample of this node's
    /// center, as the last child with samples tells it.
    ///
    /// On false for the number of crossings, this node has no samples, even if it had some before; on
    /// any other false they are as they were. `meshVertex` is never touched. When memory runs out, nothing
    /// has changed.
    ///
    /// What it does not look at is the host's part:
    /// - The children must be leaves: what lies below a child is not asked.
    /// - The middle of the face y = 0 is not tested; the middle of the edge from corner 0 to 1 is
    ///   tested in its place. Its value is `sampleValue[5]` of child 0.
    /// - A center that has the value of corner 7 alone is refused.
    /// - Six crossings can be those of two sheets, as when corners 0 and 7 alone are negative. Where one
    ///   vertex would join them, don't merge: the negative corners must hang together along edges, and so
    ///   must the others.
    bool TakeSamplesFromChildren();
};

/// The four cells around one of the six edges that leave a grid point, and which of their edges it is, as
/// they follow each other counter-clockwise, seen from the edge's far end.
///
/// Cell k of the eight around the point lies on its upper side on the axes whose bit is set in k. Spindles
/// are -x, +x, -y, +y, -z, +z, from 0 to 5; `direction` receives the unit vector along the spindle. For
/// any other spindle it is left alone and the four are of no cell. Cells are not looked at, and may be
/// null. A cell that is larger than the others need not have the point for a corner, and its edge is a
/// longer one then: the edge of the smallest counts.
SORVANE_API std::vector<DCNode::OctantEdge>
GetRelativeSpindleNeighbors(const DCNode* n0, const DCNode* n1, const DCNode* n2, const DCNode* n3,
                            const DCNode* n4, const DCNode* n5, const DCNode* n6, const DCNode* n7,
                            VecBase<3, double>& direction, int spindle);

} // namespace Velk::Math::Sorvane::IsoSurface
