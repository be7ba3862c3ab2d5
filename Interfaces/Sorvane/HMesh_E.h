// HMesh: the half-edge mesh that all mesh algorithms of the library stand on. Records by value in
// three arrays, addressed by subscript; an edge is two half-edges at subscripts 2k and 2k+1.
//
// The structure is the half-edge form of the winged edge of B. G. Baumgart ("Winged edge polyhedron
// representation", 1972) as given by K. Weiler ("Edge-based data structures for solid modeling",
// 1985). Deleted records stay in their arrays, marked, until their subscript is used again, so that
// subscripts are stable while a mesh changes and an algorithm may walk the arrays while it edits.
#pragma once

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/HalfEdgeRecords_E.h>
#include <Sorvane/NodePairMap_E.h>
#include <Velk/ProgressChecks_E.h>

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

// Whoever walks rings one after another mostly goes through the half-edges in their order, too, and
// takes about two lines of them for each ring. They are fetched some rings before their turn;
// processors don't see the order by themselves, because a ring hops to and fro in it.
inline void FetchAhead(const void* halfEdge)
{
    constexpr std::uintptr_t kBytesAhead = 1536;
    constexpr std::uintptr_t kLine = 64;
    const auto address = reinterpret_cast<std::uintptr_t>(halfEdge) + kBytesAhead;
    __builtin_prefetch(reinterpret_cast<const void*>(address)); // any address will do
    __builtin_prefetch(reinterpret_cast<const void*>(address + kLine));
}

} // namespace Impl

/// How a walk round a node or a face came to its end.
enum class WalkEnd {
    Closed, ///< it came back to where it began
    Cut,    ///< a link was missing; also when there was nothing to walk
    Runaway ///< it met more records than a sound mesh can have there: the mesh is broken
};

/// Half-edge mesh of polygons with any records that derive from `HNode`, `HEdge` and `HFace`.
///
/// A subscript is valid when it lies within its array and the record there is not deleted. A query
/// on an invalid subscript gives an empty list, false, null or a negative number; it changes
/// nothing and reports nothing. Rings and loops are listed counter-clockwise as seen against the
/// faces' normals, from the record's own half-edge on. A list that grows past 1.5 times the number
/// of records of its kind (deleted ones included) can only come from a broken mesh: it is given up
/// and comes back empty.
///
/// Queries are const and safe from many threads as long as nobody edits. Edits are serial.
///
/// Where memory runs out an operation throws `std::bad_alloc` and the mesh is as it was before the
/// call, provided that records are made and copied without a throw.
///
/// Node must be default-constructible and copyable, Edge and Face too. The three validity tests go
/// to the record type itself, without a virtual call: a record stored by value is of exactly that
/// type.
///
/// What an override changes. Edits ask `IsBoundaryNode`, `IsBoundaryEdge` and the three locks;
/// `IsBoundaryNode` asks `IsBoundaryEdge`, and `IsBoundaryFace` asks `FaceNodes` or `FaceEdges` and
/// then one of the two. `CollapseEdge` removes by `RemoveNode`, `RemoveEdge` and `RemoveFace`;
/// `LoadIndexedPoints` and `TriangleMesh::AddFace` add by `AddFace` and `AddTriangle`. Nothing else
/// goes through an override: the lists, `Valence` and the visitors walk the links and not one
/// another, `AddFace` makes its face without `AddFaceFromEdges`, and edits walk the links too, so
/// that an override of `NodeEdges`, say, changes what a caller of `NodeEdges` gets and no more.
template <class Node, class Edge, class Face>
class HMesh {
    static_assert(std::derived_from<Node, HNode>, "a node record derives from HNode");
    static_assert(std::derived_from<Edge, HEdge>, "a half-edge record derives from HEdge");
    static_assert(std::derived_from<Face, HFace>, "a face record derives from HFace");

public:
    /// The record types.
    using NodeType = Node;
    using EdgeType = Edge;
    using FaceType = Face;

    HMesh() = default;
    HMesh(const HMesh&) = default;
    /// Takes over what `other` holds and leaves it empty.
    HMesh(HMesh&& other) : HMesh() { SwapContents(other); }
    /// As `Assign`: a copy, or all that `other` holds, which is empty then.
    HMesh& operator=(const HMesh& other)
    {
        HMesh::Assign(other);
        return *this;
    }
    HMesh& operator=(HMesh&& other)
    {
        HMesh::Assign(std::move(other));
        return *this;
    }

    // --- virtual operations, in this order ------------------------------------------------------

    virtual ~HMesh() = default;

    /// Adds a polygon that runs through `nodes` in order; the face's subscript, or -1.
    ///
    /// Refused, with nothing changed: a list that is empty, that names an invalid node, that names
    /// one node twice in a row (last and first count as a row), or that runs from one node to
    /// another twice. Refused as well when one of the directed edges already has a face on its
    /// left; edges made until then stay, without a face.
    ///
    /// A face that is added along a linked boundary leaves a linked boundary round itself, except
    /// at a corner that it shares with other faces and none of its edges: those half-edges stay
    /// without a link until the next `TriangleMesh::LinkBoundaryEdges`.
    virtual int AddFace(const std::vector<int>& nodes);

    /// Adds a face along half-edges that follow one another in a closed loop, none of them twice;
    /// its subscript, or -1 with nothing changed. The half-edges are taken over whatever face and
    /// links they had. A corner whose own half-edge is deleted or leaves another node gets the one
    /// of this face.
    virtual int AddFaceFromEdges(const std::vector<int>& halfEdges);

    /// The nodes at the far ends of the node's edges.
    virtual std::vector<int> NodeNodes(int node) const;
    /// The half-edges that leave the node; -2 stands for one whose twin is deleted.
    virtual std::vector<int> NodeEdges(int node) const;
    /// The faces of `NodeEdges`, those without one left out.
    virtual std::vector<int> NodeFaces(int node) const;
    /// The nodes of a face, from the origin of its half-edge on.
    virtual std::vector<int> FaceNodes(int face) const;
    virtual std::vector<int> FaceEdges(int face) const;
    /// Origin and destination; empty unless both are valid nodes.
    virtual std::vector<int> EdgeNodes(int halfEdge) const;
    /// The face on the left and the face on the right, -1 for none.
    virtual std::vector<int> EdgeFaces(int halfEdge) const;
    /// The half-edges of the same face, or of the same boundary, from `halfEdge` onward.
    virtual std::vector<int> EdgeLoop(int halfEdge) const;

    /// True when an edge in the node's ring has no face on one side or on both. A ring may leave
    /// out a fan: see `IsPinchNode`.
    virtual bool IsBoundaryNode(int node) const;
    /// True when the half-edge has no face; with `bothSides` also when its twin has none.
    virtual bool IsBoundaryEdge(int halfEdge, bool bothSides) const;
    /// True when an edge of the face is boundary; with `byNodes` when a node of it is.
    virtual bool IsBoundaryFace(int face, bool byNodes) const;

    /// Turns every face over. O(records). Deleted records stay as they are.
    virtual void ReverseOrientation();

    /// Locks: an algorithm overrides them to keep edits away from records. No record is locked
    /// here.
    virtual bool IsNodeLocked(int node) const;
    virtual bool IsEdgeLocked(int halfEdge) const;
    virtual bool IsFaceLocked(int face) const;

    /// Delete one record (an edge: both half-edges) and nothing else: what refers to it is the
    /// caller's affair, before or after. `RemoveEdge` also forgets the edge's node pair.
    virtual void RemoveNode(int node);
    virtual void RemoveEdge(int halfEdge);
    virtual void RemoveFace(int face);

    /// Becomes a copy of `other`.
    virtual void Assign(const HMesh& other);
    /// Takes over what `other` holds and leaves it empty. No effect on itself.
    virtual void Assign(HMesh&& other);

    // --- building -------------------------------------------------------------------------------

    /// Adds a node and tells its subscript. A new slot takes all of `record`; a slot that is used
    /// again takes its `edge` and position only, and the rest is as `Invalidate` left it.
    int AddNode(const Node& record);

    /// The half-edge from `origin` to `destination`, made if there is none; -2 when a node is
    /// invalid or both are one. A new edge has no face and no links, and both nodes' `edge` then
    /// refers to it.
    int FindOrAddEdge(int origin, int destination);

    /// Room for so many records in all; half-edges count, not edges.
    void Reserve(std::size_t nodeCount, std::size_t halfEdgeCount, std::size_t faceCount);

    /// Deletes everything and keeps the room.
    void Clear();

    /// Gives every fan of a node beyond the first a node of its own, with all data of the old one,
    /// so that no node is a pinch any more. The fan of the node's half-edge keeps the old
    /// subscript.
    ///
    /// Each pair is an old node and a new one, in the order in which they were made. The boundaries
    /// at these nodes are linked, each fan with itself. Where the linking of a load failed for a
    /// pinch, a further `LinkBoundaryEdges` succeeds after this. Positions stay equal, so an export
    /// welds the nodes together again. O(half-edges).
    std::vector<std::pair<int, int>> SplitPinchNodes();

    /// Counts the edges at every node anew. For those who wrote origins of half-edges through
    /// records; all operations of the mesh keep the count themselves. O(half-edges).
    void RecountDegrees();

    /// Moves the node's half-edge one step on, counter-clockwise. Where that leads nowhere (an
    /// unlinked boundary) nothing changes, and where it leads to another node's half-edge the step
    /// is made; either is reported to the assert handler.
    void RotateNode(int node);

    // --- looking up -----------------------------------------------------------------------------

    /// Position of a node; an invalid subscript is reported to the assert handler and gives zero.
    auto GetVertex(int node) const requires Positioned<Node>
    {
        using Position = std::remove_cvref_t<decltype(NodeAt(node).position)>;
        if (!IsValidNode(node)) {
            AssertSites::Report(AssertSites::kGetVertex);
            return Position{};
        }
        return NodeAt(node).position;
    }

    /// The record, or null when the subscript is invalid. Valid until the next operation that adds
    /// records of its kind. Whoever writes links answers for them.
    Node* NodeRecord(int node) { return IsValidNode(node) ? &NodeAt(node) : nullptr; }
    const Node* NodeRecord(int node) const { return IsValidNode(node) ? &NodeAt(node) : nullptr; }
    Edge* EdgeRecord(int edge) { return IsValidEdge(edge) ? &EdgeAt(edge) : nullptr; }
    const Edge* EdgeRecord(int edge) const { return IsValidEdge(edge) ? &EdgeAt(edge) : nullptr; }
    Face* FaceRecord(int face) { return IsValidFace(face) ? &FaceAt(face) : nullptr; }
    const Face* FaceRecord(int face) const { return IsValidFace(face) ? &FaceAt(face) : nullptr; }

    /// True when the subscript lies within its array and the record there is not deleted.
    bool IsValidNode(int node) const
    {
        return static_cast<std::size_t>(node) < nodes_.size() && !NodeAt(node).Node::IsInvalid();
    }
    /// True when the subscript lies within its array and the half-edge there is not deleted.
    bool IsValidEdge(int halfEdge) const
    {
        return static_cast<std::size_t>(halfEdge) < edges_.size() &&
               !EdgeAt(halfEdge).Edge::IsInvalid();
    }
    /// True when the subscript lies within its array and the face there is not deleted.
    bool IsValidFace(int face) const
    {
        return static_cast<std::size_t>(face) < faces_.size() && !FaceAt(face).Face::IsInvalid();
    }

    /// The half-edge from `origin` to `destination`, or -2. O(1).
    int FindEdge(int origin, int destination) const { return nodePairs_.Find(origin, destination); }

    /// Number of entries of `NodeEdges`, without making the list.
    int Valence(int node) const;

    /// Number of edges at the node, those of every fan and those without a face; 0 for an invalid
    /// node. The mesh keeps count. O(1).
    int Degree(int node) const { return IsValidNode(node) ? NodeAt(node).degree_ : 0; }

    /// True when the node joins several fans: faces that follow one another round the node across
    /// their edges are a fan, and an edge without any face is one by itself. Two solids that touch
    /// in a point have such a node. A ring runs through one fan only, except where
    /// `TriangleMesh::LinkBoundaryEdges` has linked two open ones, so whoever needs all that is at
    /// a node asks this first. O(edges of one fan).
    bool IsPinchNode(int node) const { return Degree(node) != FanSize(node); }
    /// All such nodes, ascending. O(half-edges).
    std::vector<int> PinchNodes() const;

    /// Calls visit(half-edge) for each entry of `NodeEdges`, visit(node) for each of `NodeNodes`,
    /// and visit(half-edge) for each of the loop that begins at a half-edge, without any
    /// allocation. The visits come before it is known whether the walk ends well: on
    /// `WalkEnd::Runaway` forget them.
    template <class Visit>
    WalkEnd VisitNodeEdges(int node, Visit visit) const
    {
        return WalkNodeEdges(node, RunawayLimit(edges_.size()), [&](int halfEdge) {
            const int twin = EdgeAt(halfEdge).twin;
            visit(IsValidEdge(twin) ? EdgeAt(twin).twin : kNotSet);
        });
    }
    template <class Visit>
    WalkEnd VisitNodeNodes(int node, Visit visit) const;
    template <class Visit>
    WalkEnd VisitEdgeLoop(int halfEdge, Visit visit) const
    {
        const int face = IsValidEdge(halfEdge) ? EdgeAt(halfEdge).face : kNoFace;
        return WalkLoop(halfEdge, RunawayLimit(edges_.size()), visit,
                        [&](int e) { return EdgeAt(e).face == face; });
    }

    /// The arrays, deleted records included, and the lists of subscripts free for use again.
    const std::vector<Node>& Nodes() const { return nodes_; }
    const std::vector<Edge>& Edges() const { return edges_; }
    const std::vector<Face>& Faces() const { return faces_; }
    const NodePairMap& NodePairs() const { return nodePairs_; }
    const std::deque<int>& FreeNodes() const { return freeNodes_; }
    const std::deque<std::pair<int, int>>& FreeEdges() const { return freeEdges_; }
    const std::deque<int>& FreeFaces() const { return freeFaces_; }

    /// Number of slots, deleted records included: the bound of a walk by subscript.
    int NodeCount() const { return static_cast<int>(nodes_.size()); }
    int EdgeCount() const { return static_cast<int>(edges_.size()); }
    int FaceCount() const { return static_cast<int>(faces_.size()); }

protected:
    // clang-format off
    /// The record without a test: the subscript must lie within its array.
    Node& NodeAt(int node) { return nodes_[static_cast<std::size_t>(node)]; }
    const Node& NodeAt(int node) const { return nodes_[static_cast<std::size_t>(node)]; }
    Edge& EdgeAt(int edge) { return edges_[static_cast<std::size_t>(edge)]; }
    const Edge& EdgeAt(int edge) const { return edges_[static_cast<std::size_t>(edge)]; }
    Face& FaceAt(int face) { return faces_[static_cast<std::size_t>(face)]; }
    const Face& FaceAt(int face) const { return faces_[static_cast<std::size_t>(face)]; }
    // clang-format on

    /// The twin by arithmetic, of a half-edge known to be alive.
    static int Twin(int halfEdge) { return halfEdge ^ 1; }

    /// Greatest length of a list of records that number `records`: 1.5 times, rounded down.
    static std::size_t RunawayLimit(std::size_t records) { return records + records / 2; }

    /// Makes room for so many nodes, edges (pairs of half-edges) and faces more, so that adding
    /// them can't fail; edges among nodes of number up to `greatestNode`, those to be added
    /// included. An operation that makes several records calls this before it changes anything.
    void PrepareFor(std::size_t nodes, std::size_t edges, std::size_t faces, int greatestNode)
    {
        GrowFor(nodes_, nodes, freeNodes_.size());
        GrowFor(edges_, 2 * edges, 2 * freeEdges_.size());
        GrowFor(faces_, faces, freeFaces_.size());
        if (edges > 0) {
            nodePairs_.PrepareInsert(greatestNode, edges);
        }
    }
    /// The greatest subscript of a node after so many new ones.
    int GreatestNodeAfter(std::size_t newNodes) const
    {
        const std::size_t appended = newNodes - std::min(newNodes, freeNodes_.size());
        return static_cast<int>(nodes_.size() + appended) - 1;
    }

    /// Exchanges all records and lists.
    void SwapContents(HMesh& other) noexcept
    {
        nodes_.swap(other.nodes_);
        edges_.swap(other.edges_);
        faces_.swap(other.faces_);
        nodePairs_.Swap(other.nodePairs_);
        freeNodes_.swap(other.freeNodes_);
        freeEdges_.swap(other.freeEdges_);
        freeFaces_.swap(other.freeFaces_);
    }

    /// Makes room on the lists of free subscripts for so many removals, so that these can't fail,
    /// and gives back what of that room was not used.
    void HoldFreeSlots(std::size_t nodes, std::size_t edges, std::size_t faces);
    void DropFreeSlots() noexcept;

    /// To be told of every half-edge whose origin becomes, or ceases to be, the node.
    void ChangeDegree(int node, int by)
    {
        if (static_cast<std::size_t>(node) < nodes_.size()) {
            NodeAt(node).degree_ += by;
        }
    }

    /// Number of edges in the fan of the node's half-edge; more than `Degree` on a broken mesh
    /// only.
    int FanSize(int node) const;

    /// Calls visit(half-edge) for each half-edge that leaves the origin of the given one in the
    /// same fan of faces: counter-clockwise from the given one on, and if the fan is open then
    /// clockwise from there. At most `limit` visits. O(edges of the fan).
    template <class Visit>
    void WalkFan(int halfEdge, int limit, Visit visit) const;

    /// Makes `after` follow `before`. Either may be a number that is no half-edge: the other then
    /// keeps the missing link.
    void Link(int before, int after)
    {
        if (IsValidEdge(before)) {
            EdgeAt(before).next = after;
        }
        if (IsValidEdge(after)) {
            EdgeAt(after).prev = before;
        }
    }

    /// A face with the given half-edge: the slot longest free, or a new one.
    int NewFace(int halfEdge);

    /// `AddFace` and `AddFaceFromEdges` on any run of numbers, step by step.
    bool MayAddFace(std::span<const int> nodes) const;
    static bool RunsAnEdgeTwice(std::span<const int> nodes);
    bool FindOrAddFreeEdges(std::span<const int> nodes, std::span<int> halfEdges);
    int AddEdge(int origin, int destination);
    int LinkFace(std::span<const int> halfEdges);

    /// The walks behind the visitors: round a node, and along `next` as long as
    /// continues(half-edge) holds. They end as `Runaway` after `limit` records.
    template <class Visit>
    WalkEnd WalkNodeEdges(int node, std::size_t limit, Visit visit) const;
    template <class Visit, class Continues>
    WalkEnd WalkLoop(int halfEdge, std::size_t limit, Visit visit, Continues continues) const;

    /// What the const accessors show.
    std::vector<Node> nodes_;
    std::vector<Edge> edges_;
    std::vector<Face> faces_;
    NodePairMap nodePairs_;
    std::deque<int> freeNodes_;
    std::deque<std::pair<int, int>> freeEdges_; // pairs of twins, the smaller first
    std::deque<int> freeFaces_;

private:
    static constexpr std::size_t kUsualListLength = 10;

    // The five link fields as in a new half-edge; the rest of the record is as `Invalidate` left
    // it.
    void SetUnlinked(int halfEdge, int origin, int twin)
    {
        Edge& edge = EdgeAt(halfEdge);
        edge.node = origin;
        edge.twin = twin;
        edge.next = kNotSet;
        edge.prev = kNotSet;
        edge.face = kNoFace;
    }

    // Gives a node its half-edge back if the one that it refers to is gone: the edges round a
    // removed node may have been removed with it before the hole is closed by a face.
    void AdoptIfStray(int node, int halfEdge)
    {
        if (IsValidNode(node)) {
            const int held = NodeAt(node).edge;
            if (!IsValidEdge(held) || EdgeAt(held).node != node) {
                NodeAt(node).edge = halfEdge;
            }
        }
    }

    // Entries on the lists of free subscripts that wait for a removal.
    std::size_t heldNodes_ = 0;
    std::size_t heldEdges_ = 0;
    std::size_t heldFaces_ = 0;

    template <class Record>
    static void GrowFor(std::vector<Record>& records, std::size_t more, std::size_t free)
    {
        if (more > free && records.capacity() - records.size() < more - free) {
            Progress::Impl::Check(); // a long list is about to be copied
            records.reserve(std::max(records.size() + more - free, 2 * records.capacity()));
        }
    }

    template <class Entry>
    static void Free(std::deque<Entry>& list, std::size_t& held, const Entry& entry)
    {
        if (held > 0) {
            list[list.size() - held--] = entry;
        } else {
            list.push_back(entry);
        }
    }

    // Can the records be copied into the room that is there, without a chance of failure?
    template <class Record>
    static bool HasRoomFor(const std::vector<Record>& mine, const std::vector<Record>& others)
    {
        return std::is_nothrow_copy_constructible_v<Record> &&
               std::is_nothrow_copy_assignable_v<Record> && others.size() <= mine.capacity();
    }

    int FirstOfFan(std::span<const int> outgoing) const;
    void LinkFan(std::span<const int> outgoing);
    void LinkBoundaryRound(std::span<const int> halfEdges);
    bool LinkBoundaryRoundCorner(int arriving, int leaving, std::span<const int> halfEdges);
    // Of a half-edge without a face: is a link of it missing?
    bool LeadsNowhere(int e) const
    {
        return EdgeAt(e).face == kNoFace && EdgeAt(e).next == kNotSet;
    }
    bool FollowsNothing(int e) const
    {
        return EdgeAt(e).face == kNoFace && EdgeAt(e).prev == kNotSet;
    }

    static std::vector<int> NewList()
    {
        std::vector<int> list;
        list.reserve(kUsualListLength);
        return list;
    }

    static std::vector<int> Finished(std::vector<int> list, WalkEnd end)
    {
        if (end == WalkEnd::Runaway) {
            list.clear();
        }
        return list;
    }
};

// --- walks --------------------------------------------------------------------------------------

// Round a node: the half-edge before the current one in its face ends at the node, so its twin
// leaves the node, next counter-clockwise.
template <class Node, class Edge, class Face>
template <class Visit>
WalkEnd HMesh<Node, Edge, Face>::WalkNodeEdges(int node, std::size_t limit, Visit visit) const
{
    const int first = IsValidNode(node) ? NodeAt(node).edge : kNotSet;
    if (!IsValidEdge(first)) {
        return WalkEnd::Cut;
    }
    std::size_t count = 0;
    int current = first;
    do {
        visit(current);
        if (++count > limit) {
            return WalkEnd::Runaway;
        }
        const int before = EdgeAt(current).prev;
        current = Twin(before);
        if (!IsValidEdge(before) || !IsValidEdge(current)) {
            return WalkEnd::Cut;
        }
    } while (current != first);
    return WalkEnd::Closed;
}

// The same ring by the half-edges that arrive at the node; their origins are the ring's nodes.
template <class Node, class Edge, class Face>
template <class Visit>
WalkEnd HMesh<Node, Edge, Face>::VisitNodeNodes(int node, Visit visit) const
{
    const int outgoing = IsValidNode(node) ? NodeAt(node).edge : kNotSet;
    if (!IsValidEdge(outgoing) || !IsValidEdge(Twin(outgoing))) {
        return WalkEnd::Cut;
    }
    Impl::FetchAhead(&EdgeAt(outgoing));
    // Subscripts without a sign: a negative one becomes large and fails the test of the range, and
    // the address of a record takes one instruction less.
    const auto first = static_cast<unsigned int>(Twin(outgoing));
    std::size_t left = RunawayLimit(nodes_.size());
    unsigned int current = first;
    do {
        visit(edges_[current].node);
        if (left-- == 0) {
            return WalkEnd::Runaway;
        }
        current =
            static_cast<unsigned int>(edges_[current ^ 1U].prev); // of a deleted twin: deleted
        if (current >= edges_.size() || edges_[current].Edge::IsInvalid()) {
            return WalkEnd::Cut;
        }
    } while (current != first);
    return WalkEnd::Closed;
}

// Along `next` from a half-edge, as long as `continues` holds.
template <class Node, class Edge, class Face>
template <class Visit, class Continues>
WalkEnd HMesh<Node, Edge, Face>::WalkLoop(int halfEdge, std::size_t limit, Visit visit,
                                          Continues continues) const
{
    if (!IsValidEdge(halfEdge)) {
        return WalkEnd::Cut;
    }
    std::size_t count = 0;
    int current = halfEdge;
    do {
        visit(current);
        if (++count > limit) {
            return WalkEnd::Runaway;
        }
        current = EdgeAt(current).next;
        if (!IsValidEdge(current) || !continues(current)) {
            return WalkEnd::Cut;
        }
    } while (current != halfEdge);
    return WalkEnd::Closed;
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::NodeNodes(int node) const
{
    std::vector<int> ring = NewList();
    const WalkEnd end = VisitNodeNodes(node, [&](int n) { ring.push_back(n); });
    return Finished(std::move(ring), end);
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::NodeEdges(int node) const
{
    std::vector<int> ring = NewList();
    const WalkEnd end = VisitNodeEdges(node, [&](int e) { ring.push_back(e); });
    return Finished(std::move(ring), end);
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::NodeFaces(int node) const
{
    std::vector<int> ring = NewList();
    WalkEnd end = VisitNodeEdges(node, [&](int e) {
        if (IsValidEdge(e) && EdgeAt(e).face >= 0) {
            ring.push_back(EdgeAt(e).face);
        }
    });
    if (ring.size() > RunawayLimit(faces_.size())) {
        end = WalkEnd::Runaway;
    }
    return Finished(std::move(ring), end);
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::FaceNodes(int face) const
{
    std::vector<int> loop = NewList();
    const WalkEnd end = WalkLoop(
        IsValidFace(face) ? FaceAt(face).edge : kNotSet, RunawayLimit(nodes_.size()),
        [&](int e) { loop.push_back(EdgeAt(e).node); }, [](int) { return true; });
    return Finished(std::move(loop), end);
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::FaceEdges(int face) const
{
    std::vector<int> loop = NewList();
    const WalkEnd end = WalkLoop(
        IsValidFace(face) ? FaceAt(face).edge : kNotSet, RunawayLimit(edges_.size()),
        [&](int e) { loop.push_back(e); }, [](int) { return true; });
    return Finished(std::move(loop), end);
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::EdgeNodes(int halfEdge) const
{
    if (!IsValidEdge(halfEdge) || !IsValidEdge(EdgeAt(halfEdge).twin)) {
        return {};
    }
    const int origin = EdgeAt(halfEdge).node;
    const int destination = EdgeAt(EdgeAt(halfEdge).twin).node;
    if (!IsValidNode(origin) || !IsValidNode(destination)) {
        return {};
    }
    return {origin, destination};
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::EdgeFaces(int halfEdge) const
{
    if (!IsValidEdge(halfEdge) || !IsValidEdge(EdgeAt(halfEdge).twin)) {
        return {};
    }
    return {EdgeAt(halfEdge).face, EdgeAt(EdgeAt(halfEdge).twin).face};
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::EdgeLoop(int halfEdge) const
{
    std::vector<int> loop = NewList();
    const WalkEnd end = VisitEdgeLoop(halfEdge, [&](int e) { loop.push_back(e); });
    return Finished(std::move(loop), end);
}

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::Valence(int node) const
{
    int count = 0;
    const WalkEnd end = WalkNodeEdges(node, RunawayLimit(edges_.size()), [&](int) { ++count; });
    return end == WalkEnd::Runaway ? 0 : count;
}

template <class Node, class Edge, class Face>
template <class Visit>
void HMesh<Node, Edge, Face>::WalkFan(int halfEdge, int limit, Visit visit) const
{
    int visits = 0;
    for (int current = halfEdge; visits < limit; ++visits) {
        visit(current);
        if (EdgeAt(current).face < 0) {
            break; // the last of an open fan
        }
        current = Twin(EdgeAt(current).prev);
        if (current == halfEdge || !IsValidEdge(current)) {
            return;
        }
    }
    int current = halfEdge;
    for (++visits; visits < limit && EdgeAt(Twin(current)).face >= 0; ++visits) {
        current = EdgeAt(Twin(current)).next;
        if (!IsValidEdge(current)) {
            return;
        }
        visit(current);
    }
}

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::FanSize(int node) const
{
    int size = 0;
    const int first = IsValidNode(node) ? NodeAt(node).edge : kNotSet;
    if (IsValidEdge(first)) {
        WalkFan(first, NodeAt(node).degree_ + 1, [&](int) { ++size; });
    }
    return size;
}

template <class Node, class Edge, class Face>
std::vector<int> HMesh<Node, Edge, Face>::PinchNodes() const
{
    std::vector<int> pinches;
    for (int n = 0; n < NodeCount(); ++n) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(n));
        if (IsPinchNode(n)) {
            pinches.push_back(n);
        }
    }
    return pinches;
}

// --- boundary and locks -------------------------------------------------------------------------

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::IsBoundaryNode(int node) const
{
    // The walk runs to its end even after a find: the ring of a broken node counts as empty.
    bool found = false;
    const WalkEnd end =
        VisitNodeEdges(node, [&](int e) { found = found || IsBoundaryEdge(e, true); });
    return found && end != WalkEnd::Runaway;
}

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::IsBoundaryEdge(int halfEdge, bool bothSides) const
{
    if (!IsValidEdge(halfEdge)) {
        return false;
    }
    if (EdgeAt(halfEdge).face == kNoFace) {
        return true;
    }
    const int twin = EdgeAt(halfEdge).twin;
    return bothSides && IsValidEdge(twin) && EdgeAt(twin).face == kNoFace;
}

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::IsBoundaryFace(int face, bool byNodes) const
{
    if (byNodes) {
        const std::vector<int> corners = FaceNodes(face);
        return std::any_of(corners.begin(), corners.end(),
                           [&](int n) { return IsBoundaryNode(n); });
    }
    const std::vector<int> sides = FaceEdges(face);
    return std::any_of(sides.begin(), sides.end(), [&](int e) { return IsBoundaryEdge(e, true); });
}

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::IsNodeLocked(int) const
{
    return false;
}

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::IsEdgeLocked(int) const
{
    return false;
}

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::IsFaceLocked(int) const
{
    return false;
}

// --- building -----------------------------------------------------------------------------------

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::AddNode(const Node& record)
{
    if (freeNodes_.empty()) {
        nodes_.push_back(record);
        nodes_.back().degree_ = 0;
        return NodeCount() - 1;
    }
    const int node = freeNodes_.front();
    if constexpr (Positioned<Node>) {
        NodeAt(node).position = record.position;
    }
    NodeAt(node).edge = record.edge;
    NodeAt(node).degree_ = 0;
    freeNodes_.pop_front();
    return node;
}

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::NewFace(int halfEdge)
{
    int face = FaceCount();
    if (freeFaces_.empty()) {
        faces_.emplace_back();
    } else {
        face = freeFaces_.front();
        freeFaces_.pop_front();
    }
    FaceAt(face).edge = halfEdge;
    return face;
}

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::FindOrAddEdge(int origin, int destination)
{
    const int known = nodePairs_.Find(origin, destination);
    if (known != NodePairMap::kNone) {
        return known;
    }
    if (origin == destination || !IsValidNode(origin) || !IsValidNode(destination)) {
        return kNotSet;
    }

    PrepareFor(0, 1, 0, std::max(origin, destination));
    return AddEdge(origin, destination);
}

// An edge between two valid nodes that have none, in room that is there.
template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::AddEdge(int origin, int destination)
{
    int first = EdgeCount();
    int second = first + 1;
    if (freeEdges_.empty()) {
        edges_.resize(edges_.size() + 2);
    } else {
        std::tie(first, second) = freeEdges_.front();
        freeEdges_.pop_front();
    }
    SetUnlinked(first, origin, second);
    SetUnlinked(second, destination, first);
    NodeAt(origin).edge = first;
    NodeAt(destination).edge = second;
    ++NodeAt(origin).degree_;
    ++NodeAt(destination).degree_;
    nodePairs_.EnterAbsent(origin, destination, first);
    return first;
}

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::MayAddFace(std::span<const int> nodes) const
{
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const int following = nodes[i + 1 == nodes.size() ? 0 : i + 1];
        if (!IsValidNode(nodes[i]) || nodes[i] == following) {
            return false;
        }
    }
    return !nodes.empty();
}

template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::RunsAnEdgeTwice(std::span<const int> nodes)
{
    std::vector<std::pair<int, int>> runs;
    runs.reserve(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        runs.emplace_back(nodes[i], nodes[i + 1 == nodes.size() ? 0 : i + 1]);
    }
    std::sort(runs.begin(), runs.end());
    return std::adjacent_find(runs.begin(), runs.end()) != runs.end();
}

// Half-edges along a list of valid nodes that runs no edge twice, with room for a face besides.
// False as soon as a directed edge is taken by another face; the edges made until then stay.
template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::FindOrAddFreeEdges(std::span<const int> nodes,
                                                 std::span<int> halfEdges)
{
    const std::size_t count = nodes.size();
    const auto following = [&](std::size_t i) { return nodes[i + 1 == count ? 0 : i + 1]; };
    std::size_t missing = 0;
    std::size_t taken = 0; // the first that has a face
    for (; taken < count; ++taken) {
        halfEdges[taken] = nodePairs_.Find(nodes[taken], following(taken));
        if (halfEdges[taken] == NodePairMap::kNone) {
            ++missing;
        } else if (EdgeAt(halfEdges[taken]).face != kNoFace) {
            break;
        }
    }
    PrepareFor(0, missing, taken == count ? 1 : 0, *std::max_element(nodes.begin(), nodes.end()));
    for (std::size_t i = 0; missing > 0 && i < taken; ++i) {
        if (halfEdges[i] == NodePairMap::kNone) {
            // A polygon may run an edge there and back: the first of the two has made it then.
            const int known = count > 3 ? nodePairs_.Find(nodes[i], following(i)) : kNotSet;
            halfEdges[i] = known >= 0 ? known : AddEdge(nodes[i], following(i));
        }
    }
    return taken == count;
}

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::LinkFace(std::span<const int> halfEdges)
{
    for (const int e : halfEdges) {
        if (!IsValidEdge(e)) {
            return -1;
        }
    }
    for (std::size_t i = 0; i < halfEdges.size(); ++i) {
        const int following = halfEdges[i + 1 == halfEdges.size() ? 0 : i + 1];
        if (EdgeAt(Twin(halfEdges[i])).node != EdgeAt(following).node) {
            return -1;
        }
    }
    if (halfEdges.empty()) {
        return -1;
    }

    PrepareFor(0, 0, 1, kNotSet);
    LinkBoundaryRound(halfEdges);
    const int face = NewFace(halfEdges.front());
    int before = halfEdges.back();
    for (const int e : halfEdges) {
        EdgeAt(before).next = e;
        EdgeAt(e).prev = before;
        EdgeAt(e).face = face;
        AdoptIfStray(EdgeAt(e).node, e);
        before = e;
    }
    return face;
}

// The half-edges are about to get a face. Where they leave a linked boundary, what came before and
// after them there is linked past them.
template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::LinkBoundaryRound(std::span<const int> halfEdges)
{
    bool isLinked = false;
    int arriving = halfEdges.back();
    for (const int leaving : halfEdges) {
        isLinked |= LinkBoundaryRoundCorner(arriving, leaving, halfEdges);
        arriving = leaving;
    }
    if (!isLinked) {
        return; // as it is while a mesh is built and no boundary is linked yet
    }
    // Round a corner where there is nothing but the two sides of this face the boundary turns.
    arriving = halfEdges.back();
    for (const int leaving : halfEdges) {
        if (Degree(EdgeAt(leaving).node) == 2 && FollowsNothing(Twin(arriving)) &&
            LeadsNowhere(Twin(leaving))) {
            Link(Twin(leaving), Twin(arriving));
        }
        arriving = leaving;
    }
}

// At one corner, between two half-edges that meet there; true when there was a linked boundary.
template <class Node, class Edge, class Face>
bool HMesh<Node, Edge, Face>::LinkBoundaryRoundCorner(int arriving, int leaving,
                                                      std::span<const int> halfEdges)
{
    const int after = EdgeAt(arriving).face == kNoFace ? EdgeAt(arriving).next : kNotSet;
    const int before = EdgeAt(leaving).face == kNoFace ? EdgeAt(leaving).prev : kNotSet;
    if (after == leaving || (after < 0 && before < 0)) {
        return after == leaving;
    }
    const auto stays = [&](int e) {
        return IsValidEdge(e) &&
               std::find(halfEdges.begin(), halfEdges.end(), e) == halfEdges.end();
    };
    const bool hasAfter = stays(after) && EdgeAt(after).prev == arriving;
    const bool hasBefore = stays(before) && EdgeAt(before).next == leaving;
    if (!hasAfter && !hasBefore) {
        return false;
    }
    // A new edge continues the boundary along its other half-edge. Where that is not free one of
    // the links is missing, and the other half-edge forgets what it was linked to.
    const int leader = hasBefore ? before : LeadsNowhere(Twin(leaving)) ? Twin(leaving) : kNotSet;
    const int follower = hasAfter                         ? after
                         : FollowsNothing(Twin(arriving)) ? Twin(arriving)
                                                          : kNotSet;
    Link(leader, follower);
    return true;
}

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::AddFace(const std::vector<int>& nodes)
{
    if (!MayAddFace(nodes) || RunsAnEdgeTwice(nodes)) {
        return -1;
    }
    std::vector<int> halfEdges(nodes.size());
    if (!FindOrAddFreeEdges(nodes, halfEdges)) {
        return -1;
    }
    // Not the virtual form: a derived mesh that accepts only triangles from edges still takes
    // polygons here.
    return LinkFace(halfEdges);
}

template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::AddFaceFromEdges(const std::vector<int>& halfEdges)
{
    std::vector<int> sorted = halfEdges;
    std::sort(sorted.begin(), sorted.end());
    const bool isRepeated = std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end();
    return isRepeated ? -1 : LinkFace(halfEdges);
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::Reserve(std::size_t nodeCount, std::size_t halfEdgeCount,
                                      std::size_t faceCount)
{
    nodes_.reserve(nodeCount);
    edges_.reserve(halfEdgeCount);
    faces_.reserve(faceCount);
    nodePairs_.Reserve(nodeCount);
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::Clear()
{
    nodes_.clear();
    edges_.clear();
    faces_.clear();
    nodePairs_.Clear();
    freeNodes_.clear();
    freeEdges_.clear();
    freeFaces_.clear();
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::RecountDegrees()
{
    for (Node& node : nodes_) {
        node.degree_ = 0;
    }
    for (const Edge& edge : edges_) {
        if (!edge.Edge::IsInvalid()) {
            ChangeDegree(edge.node, 1);
        }
    }
}

template <class Node, class Edge, class Face>
std::vector<std::pair<int, int>> HMesh<Node, Edge, Face>::SplitPinchNodes()
{
    // The half-edges that leave pinches, fan by fan; the fan of the node's own half-edge is left
    // out.
    struct SecondFan {
        int node;
        std::vector<int> outgoing;
    };
    std::vector<SecondFan> fans;
    std::vector<bool> isPinch(nodes_.size(), false);
    std::vector<bool> isKnown(edges_.size(), false); // leaves a pinch and is in a fan found before
    for (const int n : PinchNodes()) {
        if (IsValidEdge(NodeAt(n).edge)) {
            isPinch[static_cast<std::size_t>(n)] = true;
            WalkFan(NodeAt(n).edge, NodeAt(n).degree_,
                    [&](int e) { isKnown[static_cast<std::size_t>(e)] = true; });
        }
    }
    for (int e = 0; e < EdgeCount(); ++e) {
        if (!IsValidEdge(e) || isKnown[static_cast<std::size_t>(e)] ||
            !IsValidNode(EdgeAt(e).node) || !isPinch[static_cast<std::size_t>(EdgeAt(e).node)]) {
            continue;
        }
        SecondFan& fan = fans.emplace_back(SecondFan{EdgeAt(e).node, {}});
        WalkFan(e, NodeAt(fan.node).degree_, [&](int out) {
            isKnown[static_cast<std::size_t>(out)] = true;
            fan.outgoing.push_back(out);
        });
    }

    std::vector<std::pair<int, int>> made;
    made.reserve(fans.size());
    std::size_t moved = 0;
    std::size_t longest = 0;
    for (const SecondFan& fan : fans) {
        moved += fan.outgoing.size();
        longest = std::max(longest, static_cast<std::size_t>(NodeAt(fan.node).degree_));
    }
    std::vector<int> outgoing;
    outgoing.reserve(longest);
    PrepareFor(fans.size(), 0, 0, kNotSet);
    if (!fans.empty()) {
        nodePairs_.PrepareInsert(GreatestNodeAfter(fans.size()), moved);
    }
    // From here on nothing can fail.
    for (const SecondFan& fan : fans) {
        const Node record = NodeAt(fan.node);
        const int node = AddNode(record);
        NodeAt(node) = record; // a slot that is used again takes all of it, too
        NodeAt(node).edge = FirstOfFan(fan.outgoing);
        NodeAt(node).degree_ = static_cast<int>(fan.outgoing.size());
        ChangeDegree(fan.node, -NodeAt(node).degree_);
        for (const int out : fan.outgoing) {
            const int far = EdgeAt(Twin(out)).node;
            nodePairs_.Erase(fan.node, far, out);
            EdgeAt(out).node = node;
            nodePairs_.Enter(node, far, out);
        }
        LinkFan(fan.outgoing);
        made.emplace_back(fan.node, node);
    }
    // What remains at the old nodes is one fan each.
    for (const SecondFan& fan : fans) {
        outgoing.clear();
        WalkFan(NodeAt(fan.node).edge, NodeAt(fan.node).degree_,
                [&](int e) { outgoing.push_back(e); });
        LinkFan(outgoing);
    }
    return made;
}

// The half-edge from which an open fan runs on counter-clockwise to its end; any of a closed one.
template <class Node, class Edge, class Face>
int HMesh<Node, Edge, Face>::FirstOfFan(std::span<const int> outgoing) const
{
    const auto first = std::find_if(outgoing.begin(), outgoing.end(),
                                    [&](int out) { return EdgeAt(Twin(out)).face < 0; });
    return first == outgoing.end() ? outgoing.front() : *first;
}

// Links the boundary of an open fan, which is all there is at its node, with itself.
template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::LinkFan(std::span<const int> outgoing)
{
    const int arriving = Twin(FirstOfFan(outgoing));
    if (EdgeAt(arriving).face >= 0) {
        return; // closed
    }
    for (const int out : outgoing) {
        if (EdgeAt(out).face < 0) {
            Link(arriving, out);
        }
    }
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::RotateNode(int node)
{
    if (!IsValidNode(node)) {
        return;
    }
    const int current = NodeAt(node).edge;
    const int before = IsValidEdge(current) ? EdgeAt(current).prev : kNotSet;
    const int turned = IsValidEdge(before) ? EdgeAt(before).twin : kNotSet;
    const bool leads = IsValidEdge(turned);
    if (!leads || EdgeAt(turned).node != node) {
        AssertSites::Report(AssertSites::kRotateNode);
    }
    if (leads) {
        NodeAt(node).edge = turned;
    }
}

// --- edits --------------------------------------------------------------------------------------

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::ReverseOrientation()
{
    for (int e = 0; e + 1 < EdgeCount(); e += 2) {
        if (!IsValidEdge(e) || !IsValidEdge(e + 1)) {
            continue;
        }
        std::swap(EdgeAt(e).node, EdgeAt(e + 1).node);
        std::swap(EdgeAt(e).next, EdgeAt(e).prev);
        std::swap(EdgeAt(e + 1).next, EdgeAt(e + 1).prev);
    }
    nodePairs_.SwapDirections();
    for (int n = 0; n < NodeCount(); ++n) {
        if (IsValidNode(n)) { // a deleted node must stay one: its slot is on the free list
            const int held = NodeAt(n).edge;
            NodeAt(n).edge = IsValidEdge(held) ? EdgeAt(held).twin : kNotSet;
        }
    }
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::RemoveNode(int node)
{
    if (IsValidNode(node)) {
        Free(freeNodes_, heldNodes_, node);
        NodeAt(node).Invalidate();
    }
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::RemoveEdge(int halfEdge)
{
    if (!IsValidEdge(halfEdge) || !IsValidEdge(Twin(halfEdge))) {
        return;
    }
    const int twin = Twin(halfEdge);
    Free(freeEdges_, heldEdges_, std::pair<int, int>(std::minmax(halfEdge, twin)));
    nodePairs_.Erase(EdgeAt(halfEdge).node, EdgeAt(twin).node, halfEdge);
    ChangeDegree(EdgeAt(halfEdge).node, -1);
    ChangeDegree(EdgeAt(twin).node, -1);
    EdgeAt(halfEdge).Invalidate();
    EdgeAt(twin).Invalidate();
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::RemoveFace(int face)
{
    if (IsValidFace(face)) {
        Free(freeFaces_, heldFaces_, face);
        FaceAt(face).Invalidate();
    }
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::HoldFreeSlots(std::size_t nodes, std::size_t edges, std::size_t faces)
{
    try {
        for (; heldNodes_ < nodes; ++heldNodes_) {
            freeNodes_.push_back(kNotSet);
        }
        for (; heldEdges_ < edges; ++heldEdges_) {
            freeEdges_.emplace_back(kNotSet, kNotSet);
        }
        for (; heldFaces_ < faces; ++heldFaces_) {
            freeFaces_.push_back(kNotSet);
        }
    } catch (...) {
        DropFreeSlots();
        throw;
    }
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::DropFreeSlots() noexcept
{
    for (; heldNodes_ > 0; --heldNodes_) {
        freeNodes_.pop_back();
    }
    for (; heldEdges_ > 0; --heldEdges_) {
        freeEdges_.pop_back();
    }
    for (; heldFaces_ > 0; --heldFaces_) {
        freeFaces_.pop_back();
    }
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::Assign(const HMesh& other)
{
    if (this == &other) {
        return;
    }
    // What this mesh has no room for is copied beside it first: that may fail.
    HMesh copy;
    const bool hasNodes = HasRoomFor(nodes_, other.nodes_);
    const bool hasEdges = HasRoomFor(edges_, other.edges_);
    const bool hasFaces = HasRoomFor(faces_, other.faces_);
    if (!hasNodes) {
        copy.nodes_ = other.nodes_;
    }
    if (!hasEdges) {
        copy.edges_ = other.edges_;
    }
    if (!hasFaces) {
        copy.faces_ = other.faces_;
    }
    copy.freeNodes_ = other.freeNodes_;
    copy.freeEdges_ = other.freeEdges_;
    copy.freeFaces_ = other.freeFaces_;
    nodePairs_ = other.nodePairs_; // either as a whole or not at all
    const auto take = [](auto& mine, auto& copied, const auto& others, bool hasRoom) {
        if (hasRoom) {
            mine = others;
        } else {
            mine.swap(copied);
        }
    };
    take(nodes_, copy.nodes_, other.nodes_, hasNodes);
    take(edges_, copy.edges_, other.edges_, hasEdges);
    take(faces_, copy.faces_, other.faces_, hasFaces);
    freeNodes_.swap(copy.freeNodes_);
    freeEdges_.swap(copy.freeEdges_);
    freeFaces_.swap(copy.freeFaces_);
}

template <class Node, class Edge, class Face>
void HMesh<Node, Edge, Face>::Assign(HMesh&& other)
{
    if (this != &other) {
        Clear();
        SwapContents(other);
    }
}

} // namespace Velk::Math::Sorvane::HalfEdge
