// The mesh on which curves are imprinted: a path of points is laid on the surface, and the mesh is
// cut so that the path runs along edges of it.
//
// A path goes through four steps: its points are located on the surface, each place becomes a node,
// the surface between neighbors is walked in the plane of the chord and the mean normal, whose
// crossings with edges become nodes, too, and what came out too short is collapsed. The walk is
// that of a section through a mesh from edge to edge; what is special is that the plane is laid
// anew for each pair of path points.
#pragma once

#include "imprint/ImprintRecords_Impl.h"
#include "imprint/ImprintSearchTree_Impl.h"
#include "imprint/SplitHistory_Impl.h"

#include <Sorvane/HalfEdgeMesh_E.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// From nodes that went in a collapse to the nodes that stand for them.
using NodeReplacements = std::unordered_map<int, int>;

/// Triangle mesh that is cut along paths. Tag: the caller's word on each triangle (`unsigned char`
/// or `unsigned long long`).
///
/// The pieces of a facet carry its tag and its paint, and the halves of an imprinted edge its
/// imprint. A cut changes neither the surface nor its area where the new node lies on it: on an
/// edge it does. A point inside a facet becomes a node where the caller has it, up to the tolerance
/// off the facet; who wants the surface kept to the last digit gives points on it.
///
/// Where memory runs out an operation throws `std::bad_alloc`; the mesh is sound, cut as far as it
/// was, and the search tree either knows its facets or is gone, to be built again.
///
/// Edits are serial. Const operations are safe to call from many threads while nobody edits.
template <class Tag>
class ImprintableMesh : public HalfEdge::TriangleMesh<ImprintNode, ImprintEdge, ImprintFacet<Tag>> {
public:
    using Base = HalfEdge::TriangleMesh<ImprintNode, ImprintEdge, ImprintFacet<Tag>>;

    /// The mesh of `points` and `indices`, three a triangle; node i is point i. An incomplete last
    /// triple is ignored.
    ///
    /// A triple that can't be added is left out and reported to the assert handler, once each: one
    /// that names a point twice or a point that is not there, and one of which a directed edge has
    /// a triangle already. Tags are those of the triples, left-out ones counted; 0 where the list
    /// is too short. Edges no longer than half the tolerance are collapsed, and the search tree is
    /// built. O(n log n).
    ImprintableMesh(const std::vector<Vec3d>& points, const std::vector<int>& indices,
                    const std::vector<Tag>& tags, double tolerance);
    ~ImprintableMesh() override;

    /// Pointers lead from the tree to the facets' boxes, so the mesh stays where it is.
    ImprintableMesh(const ImprintableMesh&) = delete;
    ImprintableMesh& operator=(const ImprintableMesh&) = delete;

    /// Distance within which a point belongs to the surface, to an edge, and on each axis to a
    /// node.
    double Tolerance() const { return tolerance_; }

    // --- the search tree ------------------------------------------------------------------------

    /// Makes the tree over all facets if there is none. O(n log n) then, otherwise O(1).
    void BuildSearchTree();
    /// Lets the tree go; nothing is located until it is built again. There is no need to: it is
    /// kept in step with every cut and collapse.
    void DropSearchTree() { tree_.reset(); }
    /// The tree, or null.
    const SearchTree* FacetTree() const { return tree_.get(); }

    // --- places ---------------------------------------------------------------------------------

    /// Where on the surface a point lies; unset when no facet is as near as `radius`, or there is
    /// no tree. `point` moves onto the mesh where it snaps.
    ///
    /// The facet is the one of least number that the ball of `radius` around the point meets, among
    /// those whose boxes hold the point; if none does, among those whose boxes meet the box of the
    /// ball. The point snaps to the facet's first corner from which it differs by at most `radius`
    /// on each axis, otherwise to the first edge that is as near as `radius`; otherwise it stays
    /// inside the facet. O(log n) expected.
    MeshLocation Locate(Vec3d& point, double radius, int pathIndex) const;

    /// One place for each point, with the tolerance as radius and the position in the path as path
    /// index. Where a point snaps, `MeshLocation::point` is what it snaps to.
    std::vector<MeshLocation> LocatePath(const std::vector<Vec3d>& path) const;

    /// Makes a place on an edge, or inside a facet, a place on a node: splits the edge, or the
    /// facet, there. False, with nothing changed, for any other place and where the mesh refuses.
    ///
    /// A place that was found before the edge was split comes to the nearest of the pieces, with
    /// the help of the split history; one whose facet has been cut since is located again. A place
    /// that has become the end of a piece takes the node there.
    bool SplitAtLocation(MeshLocation& location);
    bool SplitFacetAtLocation(MeshLocation& location);

    /// Forgets which pieces edges were split into. For the end of a path: places found from then on
    /// need no history, and edges' numbers are used again.
    void ForgetSplits() { splitHistory_.Clear(); }

    /// A path has been imprinted that ran along edges of other paths only.
    void NoteRepeatedPath() { hasRepeatedPath_ = true; }
    bool HasRepeatedPath() const { return hasRepeatedPath_; }

    // --- paths ----------------------------------------------------------------------------------

    /// Walks from each place to the next across the surface, n - 1 steps, or n when `closed`, and
    /// makes nodes of the places and of the crossings; every place that was passed.
    ///
    /// For each step from A to B: A, if it is located; if B is located, too, A again, the
    /// crossings, and B, with the path index of A. Neighbors among them are one node or joined by
    /// an edge, until a later step cuts that edge.
    ///
    /// The walk runs in the plane of the chord and the mean normal at its ends. Each next place is
    /// the target when it is beside; otherwise it is on an edge around that the plane crosses, at
    /// the point nearest to the chord, and of several such places the one nearest to the target.
    /// Within 0.5 % of an edge's length from its end it is the node there. A walk that turns back,
    /// or finds no way on, gives way to the section of the surface with the plane, the shorter way
    /// round. Where that does not lead to B either, a walk that turned back leaves A alone, and one
    /// that found no way on ends with an unset place. It ends silently, too, after 1024 passes.
    /// O(length of the path in edges): the walk goes by the mesh's links alone.
    std::vector<MeshLocation> TracePath(std::vector<MeshLocation> locations, bool closed);

    /// Collapses edges no longer than `limit`, in order of their numbers; `replaced` then maps each
    /// node that went to the live node that stands for it.
    ///
    /// An edge's first node stays where it is, unless only its other node may: nodes on a boundary
    /// never go. An edge whose collapse would change the topology stays. Looks at edges that were
    /// made or moved since the last call, and at those it refused then, and at all edges when the
    /// limit has grown.
    void CollapseShortEdges(double limit, NodeReplacements& replaced);

private:
    using Base::EdgeAt;
    using Base::FaceAt;
    using Base::NodeAt;
    using Base::Twin;

    /// Passes of a walk from one place of a path to the next.
    static constexpr int kMostPasses = 1024;

    // What the pieces of a facet take over from it.
    struct FacetWords {
        int paint = 0;
        bool marked = false;
        Tag tag = 0;
        int treeSlot = -1;
    };

    // Building.
    void AddTriples(const std::vector<int>& indices, const std::vector<Tag>& tags);
    int AddTriple(const std::vector<int>& corners);
    void LinkFansWithThemselves();
    void RememberPinchFans();

    // The tree and the history.
    SearchTree::Corners CornerPoints(int facet) const;
    void EnterTree(int facet);
    void LeaveTree(int treeSlot);
    template <class Update>
    void Follow(Update update);

    // Cutting.
    // Of a pair of twins the half-edge that stands for both.
    static int PairOf(int halfEdge) { return halfEdge & ~1; }
    // Room for so many entries more, doubled where it grows, so that many single ones cost no more
    // than their number.
    static void MakeRoom(std::vector<int>& list, std::size_t more)
    {
        if (list.capacity() - list.size() < more) {
            list.reserve(std::max(list.size() + more, 2 * list.capacity()));
        }
    }
    FacetWords WordsOf(int facet) const;
    void SetWords(int facet, const FacetWords& words);
    void TouchPairsAround(int node);
    int PresentPiece(int halfEdge, const Vec3d& point) const;
    bool IsEndOf(int halfEdge, MeshLocation& location) const;
    bool LiesWithin(int facet, const Vec3d& point) const;
    bool SplitEdgeAt(MeshLocation& location);
    bool SplitFacetAt(MeshLocation& location);
    bool SplitWhereFoundAgain(MeshLocation& location);
    void KeepFan(int node, int halfEdge);

    // Walking.
    template <class Visit>
    void VisitOutgoing(int node, Visit visit) const;
    template <class Visit>
    void VisitFacets(int node, Visit visit) const;
    Vec3d NormalAt(int node) const;
    static double PlaneFloor(const MeshLocation& a, const MeshLocation& b);
    ImprintPlane PlaneOf(const MeshLocation& from, const MeshLocation& to) const;
    bool IsSamePlace(const MeshLocation& here, const MeshLocation& target) const;
    bool IsBeside(int node, const MeshLocation& target) const;
    double Height(int node, const ImprintPlane& plane, double floor) const;
    MeshLocation PlaceOnSide(int side, double parameter, const Vec3d& point, int pathIndex) const;
    MeshLocation NextPlace(const MeshLocation& here, const MeshLocation& from,
                           const MeshLocation& to, const ImprintPlane& plane) const;
    double CrossingOf(int side, const ImprintPlane& plane) const;
    Vec3d PointOn(int side, double parameter) const;
    std::vector<int> SectionBetween(int from, int to, const ImprintPlane& plane,
                                    double floor) const;
    void FollowSection(const std::vector<int>& sides, const MeshLocation& from,
                       const MeshLocation& to, const ImprintPlane& plane,
                       std::vector<MeshLocation>& passed);
    void TraceStep(const MeshLocation& from, const MeshLocation& to,
                   std::vector<MeshLocation>& passed);

    // Collapsing.
    void CollapseTouched(double limit, NodeReplacements& replaced);
    bool IsShort(int halfEdge, double limit) const;
    bool CollapseInto(int halfEdge, NodeReplacements& replaced, std::vector<int>& moved);

    std::unique_ptr<SearchTree> tree_;
    double tolerance_ = 0;
    SplitHistory splitHistory_; // of pairs by their even half-edges
    bool hasRepeatedPath_ = false;

    // A node's ring shows one of its fans of facets. Of nodes with several: half-edges that leave
    // them, at least one of each fan, among others that don't any more.
    std::unordered_map<int, std::vector<int>> fanStarts_;
    // Pairs that may be as short as `scannedLimit_`; negative before edges were first looked at.
    std::vector<int> touchedPairs_;
    double scannedLimit_ = -1;
};

} // namespace Velk::Math::Sorvane::Mesh::Impl

// clang-format off
namespace Velk::Math::Sorvane::HalfEdge {
extern template class HMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned char>>;
extern template class HMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned long long>>;
extern template class TriangleMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned char>>;
extern template class TriangleMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned long long>>;
} // namespace Velk::Math::Sorvane::HalfEdge
namespace Velk::Math::Sorvane::Mesh::Impl {
extern template class ImprintableMesh<unsigned char>;
extern template class ImprintableMesh<unsigned long long>;
} // namespace Velk::Math::Sorvane::Mesh::Impl
// clang-format on
