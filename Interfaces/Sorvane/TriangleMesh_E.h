// TriangleMesh: a half-edge mesh of triangles with the four local edits that all mesh algorithms of
// the library are made of (flip, collapse, split of an edge, split of a face), and the ways from
// and to indexed meshes.
//
// The edits are those of H. Hoppe, T. DeRose, T. Duchamp, J. McDonald and W. Stuetzle, "Mesh
// optimization", 1993; the condition under which a collapse keeps the topology is the link
// condition of T. K. Dey, H. Edelsbrunner, S. Guha and D. V. Nekhayev, "Topology preserving edge
// contraction", 1999.
#pragma once

#include <Sorvane/HMesh_E.h>
#include <Velk/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Vector_E.h>
#include <Velk/ProgressChecks_E.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

/// A short list of numbers on the stack; the rare long one goes to the heap.
class ShortList {
public:
    using value_type = int; // for std::back_inserter

    ShortList() {} // leaves the numbers in place unset

    void push_back(int value)
    {
        if (size_ < kInPlace) {
            inPlace_[size_] = value;
        } else {
            if (size_ == kInPlace) {
                spilled_.assign(inPlace_, inPlace_ + kInPlace);
            }
            spilled_.push_back(value);
        }
        ++size_;
    }

    // clang-format off
    int* begin() { return size_ > kInPlace ? spilled_.data() : inPlace_; }
    int* end() { return begin() + size_; }
    const int* begin() const { return size_ > kInPlace ? spilled_.data() : inPlace_; }
    const int* end() const { return begin() + size_; }
    std::size_t size() const { return size_; }
    // clang-format on

private:
    static constexpr std::size_t kInPlace = 32;

    int inPlace_[kInPlace];
    std::size_t size_ = 0;
    std::vector<int> spilled_;
};

} // namespace Impl

/// Half-edge mesh of triangles. Everything that `HMesh` promises holds here too.
///
/// Each of the four edits makes all its tests before it changes anything: false means that the mesh
/// is as it was. `force` passes over locked records, never over topology. Costs are O(1) unless
/// told.
///
/// A node that joins several fans of faces (`IsPinchNode`) shows in its ring only the fan of its
/// own half-edge. Edits are safe there all the same: what needs all of the node is refused, which
/// is the collapse that would remove it. `SplitPinchNodes` takes such nodes apart.
template <class Node, class Edge, class Face>
class TriangleMesh : public HMesh<Node, Edge, Face> {
public:
    /// The mesh of polygons beneath.
    using Base = HMesh<Node, Edge, Face>;

    TriangleMesh() = default;
    TriangleMesh(const TriangleMesh&) = default;
    TriangleMesh(TriangleMesh&&) = default;
    TriangleMesh& operator=(const TriangleMesh&) = default;
    TriangleMesh& operator=(TriangleMesh&&) = default;

    // --- virtual operations ---------------------------------------------------------------------

    ~TriangleMesh() override = default;

    /// `AddTriangle` and `AddTriangleFromEdges`. The polygon forms are `HMesh::AddFace` and so on.
    int AddFace(const std::vector<int>& nodes) override;
    int AddFaceFromEdges(const std::vector<int>& halfEdges) override;

    /// Three entries, or none when a link of the face is missing.
    std::vector<int> FaceNodes(int face) const override;
    std::vector<int> FaceEdges(int face) const override;

    // New slots, after those of HMesh and in this order.

    using Base::Assign;
    /// As `HMesh::Assign`: becomes a copy of `other`, or takes over what it holds.
    virtual void Assign(const TriangleMesh& other);
    virtual void Assign(TriangleMesh&& other);

    /// As `HMesh::AddFace` and `HMesh::AddFaceFromEdges`, refused unless there are three different
    /// entries.
    virtual int AddTriangle(const std::vector<int>& nodes);
    virtual int AddTriangleFromEdges(const std::vector<int>& halfEdges);

    /// For each of `FaceEdges` the face across it, -1 for none; empty when a link is missing.
    virtual std::vector<int> FaceNeighbors(int face) const;

    /// Turns the edge a-b of the triangles (a, b, c) and (b, a, d) into the edge d-c.
    ///
    /// The half-edge, which ran from a to b, then runs from d to c; both faces keep their
    /// subscripts. Refused on a boundary, and where c and d are one node. Whether an edge d-c
    /// exists already is not tested (ask `FindEdge`): the new one then hides it from look-up. Not
    /// its own inverse: two flips give the diagonal back with its half-edges and faces exchanged,
    /// four give everything back.
    virtual bool FlipEdge(int halfEdge, bool force);

    /// Pulls the destination of a half-edge into its origin, which stays where it is: two
    /// triangles, three edges and the destination go.
    ///
    /// Refused unless exactly two nodes are joined to both ends (in whatever fan: more than the
    /// rings may tell), where the destination is a pinch, whose other fans would be left behind,
    /// where a second edge joins the two nodes (it would become a loop) or the destination to an
    /// apex, and on a tetrahedron, whose triangles would fold onto each other. Not `relaxed`: both
    /// nodes, and all edges of the two triangles, must be off the boundary; `relaxed`: only the
    /// node that goes and its edges must. Not `force`: refused when either node, an edge of the two
    /// triangles, one of the two faces, or any half-edge that leaves the node that goes is locked.
    /// Of the edges that fall together those next to the node that goes survive, with their data.
    /// O(valence).
    virtual bool CollapseEdge(int halfEdge, bool force, bool relaxed);

    /// Puts a node on an edge a-b and splits the one or two triangles there. The half-edge keeps
    /// its subscript and face and then runs from a to the new node.
    ///
    /// `newNode` is the new node, at zero until the caller moves it, or -3. Refused where a link is
    /// missing, between two triangles back to back (both apexes are one node, which two edges would
    /// join to the new one), and on a boundary edge unless `allowBoundary`.
    virtual bool SplitEdge(int halfEdge, int& newNode, bool force, bool allowBoundary);

    /// Puts a node into a triangle and splits it into three. `newNode` as in `SplitEdge`. The face
    /// keeps the triangle on its own half-edge.
    virtual bool SplitFace(int face, int& newNode, bool force);

    // --- queries --------------------------------------------------------------------------------

    /// The nodes a, b, c, d of the edge a-b with the apexes c on the left and d on the right. -3
    /// stands for b or c where `next` or `prev` is missing, and for d where the twin has no face.
    /// On a boundary half-edge c is the boundary node before a. Empty for an invalid half-edge.
    std::vector<int> EdgeDiamond(int halfEdge) const;
    /// The same without allocation; four times -3 for an invalid half-edge.
    std::array<int, 4> Diamond(int halfEdge) const;

    // --- boundaries -----------------------------------------------------------------------------

    /// Links all half-edges without a face into boundary loops. To be called when the faces are in.
    ///
    /// A node where two fans of faces meet is passed crosswise, from one fan to the other, so that
    /// its ring runs through both. Where three or more meet nothing is linked and the result is
    /// false; so it is when a half-edge stays without a link. O(h log h) for h half-edges without a
    /// face.
    bool LinkBoundaryEdges();

    /// Makes the node's half-edge the first of its fan, so that the ring runs through all of it. A
    /// node whose half-edge has no face, or that is off the boundary, stays as it is. Where two
    /// fans are linked crosswise each call goes on to the first of the other fan, so that two calls
    /// are not one; elsewhere they are.
    void AdjustBoundaryNode(int node);

    // --- from and to indexed meshes -------------------------------------------------------------

    /// Becomes the mesh of `points` and `indices`, three a triangle: node i is point i, every
    /// triple goes through `AddFace` in order, boundaries are linked, and if that succeeds every
    /// node is adjusted. The result is that of `LinkBoundaryEdges`.
    ///
    /// A triple that can't be added (equal or invalid subscripts, a directed edge that has a face)
    /// is dropped, and so is an incomplete last one. faceAdded(triple number, face) is called for
    /// each face, to give it its tag. T need not be the type of the records: each coordinate is
    /// converted as by a cast. Expected O(n).
    template <int D, class T, class FaceAdded>
    bool LoadIndexedPoints(const std::vector<VecBase<D, T>>& points,
                           const std::vector<int>& indices,
                           FaceAdded faceAdded) requires Positioned<Node>;
    template <int D, class T>
    bool LoadIndexedPoints(const Mesh::IndexedPointsBase<D, T>& mesh) requires Positioned<Node>
    {
        return LoadIndexedPoints(mesh.points, mesh.indices, [](int, int) {});
    }

    /// The live triangles, in face order, as an indexed mesh without deleted and unused nodes,
    /// welded by `Vector::FilterForUniquenessAndIndex` with `tolerance`. Points stand in that
    /// filter's order. Positions are converted to T as by a cast before they are welded, so that
    /// `float` points may be equal whose `double` positions are not.
    template <int D, class T>
    void ExportIndexedPoints(Mesh::IndexedPointsBase<D, T>& mesh,
                             double tolerance) const requires Positioned<Node>;

protected:
    using Base::EdgeAt;
    using Base::FaceAt;
    using Base::NodeAt;
    using Base::Twin;

    /// What stands for the corners of a face that has lost a link.
    static constexpr std::array<int, 3> kNoCorners = {kNotSet, kNotSet, kNotSet};

    /// The half-edges `edge`, `next`, `prev` of a face, and their origins; `kNoCorners` when one is
    /// missing.
    std::array<int, 3> Sides(int face) const;
    std::array<int, 3> Corners(int face) const;

private:
    // An edge with its two triangles: (a, b, c) with the half-edges e, next, prev on the left and
    // (b, a, d) with twin, twinNext, twinPrev on the right.
    struct EdgeStar {
        int e, next, prev, twin, twinNext, twinPrev;
        int a, b, c, d;
        int left, right;

        std::array<int, 6> HalfEdges() const { return {next, prev, twinNext, twinPrev, e, twin}; }
    };

    // What stands round a node: its half-edges in ring order, the nodes at their far ends, and
    // whether that is all there is at the node.
    struct Fan {
        Impl::ShortList outgoing;
        Impl::ShortList ring;
        bool isWhole = false;
    };

    // A half-edge without a face at one of its ends.
    struct BoundaryEnd {
        int node;
        int halfEdge;

        friend bool operator<(const BoundaryEnd& x, const BoundaryEnd& y)
        {
            return x.node != y.node ? x.node < y.node : x.halfEdge < y.halfEdge;
        }
    };

    bool StarOf(int halfEdge, EdgeStar& star) const;
    static bool HasTwoSides(const EdgeStar& star)
    {
        return star.left >= 0 && star.right >= 0 && star.c != star.d;
    }
    // Do the half-edges, known to be alive, bound the face, the ends of the first being alive?
    bool IsTriangle(int face, int first, int second, int third) const
    {
        return this->IsValidFace(face) && EdgeAt(second).next == third &&
               EdgeAt(third).next == first && EdgeAt(second).node == EdgeAt(Twin(first)).node &&
               this->IsValidNode(EdgeAt(third).node);
    }
    bool IsLockedFace(int face) const { return face >= 0 && this->IsFaceLocked(face); }
    void SetTriangle(int face, int first, int second, int third);

    Fan FanOf(int halfEdge) const;
    bool KeepsTopology(const EdgeStar& star, const Fan& aroundB) const;
    bool TouchesBoundary(const EdgeStar& star, bool relaxed) const;
    bool IsCollapseLocked(const EdgeStar& star, const Fan& aroundB) const;
    void WeldOver(int survivor, int lost);
    void ReplaceNodeEdge(int node, int held, int replacement)
    {
        if (NodeAt(node).edge == held) {
            NodeAt(node).edge = replacement;
        }
    }

    // A point in another coordinate type, or in a host's own type of points.
    template <class To, class From>
    static To ConvertedPosition(const From& from)
    {
        static_assert(std::is_constructible_v<To, const From&>,
                      "points and node records must have the same dimension");
        return static_cast<To>(from);
    }

    template <int D, class T>
    SORVANE_LOCAL void AddPoints(const std::vector<VecBase<D, T>>& points, std::size_t triangles);
    void AdjustBoundaryNodes();
    void LinkBoundaryAt(std::span<const BoundaryEnd> outgoing,
                        std::span<const BoundaryEnd> incoming);
    int IncomingOfFan(int outgoing) const;
};

// --- faces --------------------------------------------------------------------------------------

template <class Node, class Edge, class Face>
int TriangleMesh<Node, Edge, Face>::AddFace(const std::vector<int>& nodes)
{
    return AddTriangle(nodes);
}

template <class Node, class Edge, class Face>
int TriangleMesh<Node, Edge, Face>::AddFaceFromEdges(const std::vector<int>& halfEdges)
{
    return AddTriangleFromEdges(halfEdges);
}

template <class Node, class Edge, class Face>
int TriangleMesh<Node, Edge, Face>::AddTriangle(const std::vector<int>& nodes)
{
    std::array<int, 3> halfEdges;
    if (nodes.size() != 3 || nodes[0] == nodes[2] || !this->MayAddFace(nodes) ||
        !this->FindOrAddFreeEdges(nodes, halfEdges)) {
        return -1;
    }
    return this->LinkFace(halfEdges);
}

template <class Node, class Edge, class Face>
int TriangleMesh<Node, Edge, Face>::AddTriangleFromEdges(const std::vector<int>& halfEdges)
{
    if (halfEdges.size() != 3 || halfEdges[0] == halfEdges[1] || halfEdges[1] == halfEdges[2] ||
        halfEdges[0] == halfEdges[2]) {
        return -1;
    }
    return this->LinkFace(halfEdges);
}

template <class Node, class Edge, class Face>
std::array<int, 3> TriangleMesh<Node, Edge, Face>::Sides(int face) const
{
    const int first = this->IsValidFace(face) ? FaceAt(face).edge : kNotSet;
    if (!this->IsValidEdge(first)) {
        return kNoCorners;
    }
    const int second = EdgeAt(first).next;
    const int third = EdgeAt(first).prev;
    if (!this->IsValidEdge(second) || !this->IsValidEdge(third)) {
        return kNoCorners;
    }
    return {first, second, third};
}

template <class Node, class Edge, class Face>
std::array<int, 3> TriangleMesh<Node, Edge, Face>::Corners(int face) const
{
    const auto [first, second, third] = Sides(face);
    if (first < 0) {
        return kNoCorners;
    }
    return {EdgeAt(first).node, EdgeAt(second).node, EdgeAt(third).node};
}

template <class Node, class Edge, class Face>
std::vector<int> TriangleMesh<Node, Edge, Face>::FaceEdges(int face) const
{
    const std::array<int, 3> sides = Sides(face);
    return sides[0] < 0 ? std::vector<int>{} : std::vector<int>(sides.begin(), sides.end());
}

template <class Node, class Edge, class Face>
std::vector<int> TriangleMesh<Node, Edge, Face>::FaceNodes(int face) const
{
    if (Sides(face)[0] < 0) {
        return {};
    }
    const std::array<int, 3> corners = Corners(face);
    return std::vector<int>(corners.begin(), corners.end());
}

template <class Node, class Edge, class Face>
std::vector<int> TriangleMesh<Node, Edge, Face>::FaceNeighbors(int face) const
{
    std::vector<int> neighbors;
    for (const int side : Sides(face)) {
        const int twin = side < 0 ? kNotSet : EdgeAt(side).twin;
        if (!this->IsValidEdge(twin)) {
            return {};
        }
        neighbors.push_back(EdgeAt(twin).face);
    }
    return neighbors;
}

template <class Node, class Edge, class Face>
std::array<int, 4> TriangleMesh<Node, Edge, Face>::Diamond(int halfEdge) const
{
    std::array<int, 4> diamond = {kNoNode, kNoNode, kNoNode, kNoNode};
    if (!this->IsValidEdge(halfEdge)) {
        return diamond;
    }
    const Edge& edge = EdgeAt(halfEdge);
    diamond[0] = edge.node;
    if (this->IsValidEdge(edge.next)) {
        diamond[1] = EdgeAt(edge.next).node;
    }
    if (this->IsValidEdge(edge.prev)) {
        diamond[2] = EdgeAt(edge.prev).node;
    }
    if (this->IsValidEdge(edge.twin)) {
        const int face = EdgeAt(edge.twin).face;
        const int prev = EdgeAt(edge.twin).prev;
        if (this->IsValidEdge(prev) && face >= 0 && EdgeAt(prev).face == face) {
            diamond[3] = EdgeAt(prev).node;
        }
    }
    return diamond;
}

template <class Node, class Edge, class Face>
std::vector<int> TriangleMesh<Node, Edge, Face>::EdgeDiamond(int halfEdge) const
{
    if (!this->IsValidEdge(halfEdge)) {
        return {};
    }
    const std::array<int, 4> diamond = Diamond(halfEdge);
    return std::vector<int>(diamond.begin(), diamond.end());
}

template <class Node, class Edge, class Face>
void TriangleMesh<Node, Edge, Face>::Assign(const TriangleMesh& other)
{
    Base::Assign(static_cast<const Base&>(other));
}

template <class Node, class Edge, class Face>
void TriangleMesh<Node, Edge, Face>::Assign(TriangleMesh&& other)
{
    Base::Assign(static_cast<Base&&>(other));
}

// --- edits --------------------------------------------------------------------------------------

// The edge with what lies on both sides; false when a record of it is missing or a face there is no
// triangle, so that an edit never meets either halfway through. An apex is -3 where there is no
// face.
template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::StarOf(int halfEdge, EdgeStar& star) const
{
    if (!this->IsValidEdge(halfEdge) || !this->IsValidEdge(Twin(halfEdge))) {
        return false;
    }
    const Edge& edge = EdgeAt(halfEdge);
    const Edge& twin = EdgeAt(Twin(halfEdge));
    for (const int link : {edge.next, edge.prev, twin.next, twin.prev}) {
        if (!this->IsValidEdge(link)) {
            return false;
        }
    }
    star = {halfEdge,
            edge.next,
            edge.prev,
            Twin(halfEdge),
            twin.next,
            twin.prev,
            edge.node,
            twin.node,
            edge.face >= 0 ? EdgeAt(edge.prev).node : kNoNode,
            twin.face >= 0 ? EdgeAt(twin.prev).node : kNoNode,
            edge.face,
            twin.face};
    return this->IsValidNode(star.a) && this->IsValidNode(star.b) &&
           (star.left < 0 || IsTriangle(star.left, star.e, star.next, star.prev)) &&
           (star.right < 0 || IsTriangle(star.right, star.twin, star.twinNext, star.twinPrev));
}

// Three live half-edges, the first of them named by the face, become its triangle.
template <class Node, class Edge, class Face>
void TriangleMesh<Node, Edge, Face>::SetTriangle(int face, int first, int second, int third)
{
    const auto set = [&](int e, int next, int prev) {
        EdgeAt(e).next = next;
        EdgeAt(e).prev = prev;
        EdgeAt(e).face = face;
    };
    FaceAt(face).edge = first;
    set(first, second, third);
    set(second, third, first);
    set(third, first, second);
}

template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::FlipEdge(int halfEdge, bool force)
{
    EdgeStar star;
    if (!StarOf(halfEdge, star) || this->IsBoundaryEdge(star.e, true) || !HasTwoSides(star)) {
        return false;
    }
    if (!force && (this->IsEdgeLocked(star.e) || this->IsEdgeLocked(star.twin) ||
                   IsLockedFace(star.left) || IsLockedFace(star.right))) {
        return false;
    }

    this->nodePairs_.PrepareInsert(std::max(star.c, star.d), 1);
    this->nodePairs_.Erase(star.a, star.b, star.e);
    EdgeAt(star.e).node = star.d;
    EdgeAt(star.twin).node = star.c;
    SetTriangle(star.left, star.e, star.prev, star.twinNext);     // d c, c a, a d
    SetTriangle(star.right, star.twin, star.twinPrev, star.next); // c d, d b, b c
    NodeAt(star.a).edge = star.twinNext;
    NodeAt(star.b).edge = star.next;
    NodeAt(star.c).edge = star.prev;
    NodeAt(star.d).edge = star.twinPrev;
    this->ChangeDegree(star.a, -1);
    this->ChangeDegree(star.b, -1);
    this->ChangeDegree(star.c, 1);
    this->ChangeDegree(star.d, 1);
    this->nodePairs_.Enter(star.d, star.c, star.e);
    return true;
}

template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::SplitFace(int face, int& newNode, bool force)
{
    newNode = kNoNode;
    const std::array<int, 3> sides = Sides(face);
    const std::array<int, 3> corners = Corners(face);
    if (!this->IsValidNode(corners[0]) || !this->IsValidNode(corners[1]) ||
        !IsTriangle(face, sides[0], sides[1], sides[2]) || (!force && this->IsFaceLocked(face))) {
        return false;
    }
    this->PrepareFor(1, 3, 2, this->GreatestNodeAfter(1));
    newNode = this->AddNode(Node{});
    std::array<int, 3> spokes;
    for (std::size_t i = 0; i < 3; ++i) {
        spokes[i] = this->AddEdge(corners[i], newNode);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const int part = i == 0 ? face : this->NewFace(sides[i]);
        SetTriangle(part, sides[i], spokes[(i + 1) % 3], Twin(spokes[i]));
    }
    return true;
}

template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::SplitEdge(int halfEdge, int& newNode, bool force,
                                               bool allowBoundary)
{
    newNode = kNoNode;
    EdgeStar star;
    if (!StarOf(halfEdge, star) || (!allowBoundary && this->IsBoundaryEdge(star.twin, true)) ||
        (star.left >= 0 && star.c == star.d)) {
        return false;
    }
    if (!force && (this->IsEdgeLocked(star.twin) || this->IsEdgeLocked(star.e) ||
                   IsLockedFace(star.left) || IsLockedFace(star.right))) {
        return false;
    }

    // The pair of the half-edge keeps the half at a; a new pair takes the half at b.
    this->PrepareFor(1, 4, 2, this->GreatestNodeAfter(1));
    Node record{};
    record.edge = star.twin;
    const int middle = newNode = this->AddNode(record);
    this->nodePairs_.Erase(star.a, star.b, star.e);
    EdgeAt(star.twin).node = middle;
    this->ChangeDegree(star.b, -1);
    this->ChangeDegree(middle, 1);
    this->nodePairs_.Enter(star.a, middle, star.e);

    // The order of these calls settles the new subscripts and where the rings begin.
    const int half = this->AddEdge(middle, star.b);
    const int rightSpoke = star.right >= 0 ? this->AddEdge(star.d, middle) : kNotSet;
    const int leftSpoke = star.left >= 0 ? this->AddEdge(middle, star.c) : kNotSet;

    // Where the boundary turns back at b its next half-edge is the twin, which begins at the new
    // node.
    const int afterHalf = star.next == star.twin ? Twin(half) : star.next;
    const int beforeTwinHalf = star.twinPrev == star.e ? half : star.twinPrev;
    if (star.right >= 0) {
        const int part = this->NewFace(Twin(half));
        SetTriangle(part, Twin(half), Twin(rightSpoke), star.twinPrev); // b m, m d, d b
        SetTriangle(star.right, star.twin, star.twinNext, rightSpoke);  // m a, a d, d m
    } else {
        this->Link(beforeTwinHalf, Twin(half));
        this->Link(Twin(half), star.twin);
    }
    if (star.left >= 0) {
        const int part = this->NewFace(half);
        SetTriangle(part, half, star.next, Twin(leftSpoke));  // m b, b c, c m
        SetTriangle(star.left, star.e, leftSpoke, star.prev); // a m, m c, c a
    } else {
        this->Link(half, afterHalf);
        this->Link(star.e, half);
    }
    return true;
}

template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::CollapseEdge(int halfEdge, bool force, bool relaxed)
{
    EdgeStar star;
    if (!StarOf(halfEdge, star) || !HasTwoSides(star)) {
        return false;
    }
    const Fan aroundB = FanOf(star.twin);
    if (!KeepsTopology(star, aroundB) || TouchesBoundary(star, relaxed) ||
        (!force && IsCollapseLocked(star, aroundB))) {
        return false;
    }

    this->nodePairs_.PrepareInsert(this->GreatestNodeAfter(0), aroundB.outgoing.size());
    this->HoldFreeSlots(1, 3, 2);
    for (const int out : aroundB.outgoing) {
        this->nodePairs_.Erase(star.b, EdgeAt(Twin(out)).node, out);
    }
    // Of the edges that fall together, b-c takes the place of c-a, and d-b that of a-d.
    const int lostLeft = Twin(star.prev);      // a to c
    const int lostRight = Twin(star.twinNext); // d to a
    WeldOver(star.next, lostLeft);
    WeldOver(star.twinPrev, lostRight);
    ReplaceNodeEdge(star.a, star.e, star.next);
    ReplaceNodeEdge(star.a, lostLeft, star.next);
    ReplaceNodeEdge(star.a, star.twinNext, Twin(star.twinPrev));
    ReplaceNodeEdge(star.c, star.prev, Twin(star.next));
    ReplaceNodeEdge(star.d, lostRight, star.twinPrev);

    this->RemoveNode(star.b);
    this->RemoveEdge(star.e);
    this->RemoveEdge(star.prev);
    this->RemoveEdge(star.twinNext);
    this->RemoveFace(star.left);
    this->RemoveFace(star.right);
    this->DropFreeSlots();
    // The survivors take the names of edges that went: they are entered when those are forgotten.
    this->ChangeDegree(star.a, static_cast<int>(aroundB.outgoing.size()) - 1);
    for (const int out : aroundB.outgoing) {
        if (out != star.twin) {
            EdgeAt(out).node = star.a;
            this->nodePairs_.Enter(star.a, EdgeAt(Twin(out)).node, out);
        }
    }
    return true;
}

// All that is at the origin of a half-edge, if the ring that begins there holds all of it: a ring
// that ends at an unlinked boundary doesn't, nor does that of a node of several fans.
template <class Node, class Edge, class Face>
auto TriangleMesh<Node, Edge, Face>::FanOf(int halfEdge) const -> Fan
{
    Fan fan;
    const int degree = this->Degree(EdgeAt(halfEdge).node);
    int current = halfEdge;
    for (int count = 1; count <= degree; ++count) {
        fan.outgoing.push_back(current);
        fan.ring.push_back(EdgeAt(Twin(current)).node);
        const int before = EdgeAt(current).prev;
        current = Twin(before);
        if (!this->IsValidEdge(before) || !this->IsValidEdge(current)) {
            break;
        }
        if (current == halfEdge) {
            fan.isWhole = count == degree;
            break;
        }
    }
    return fan;
}

// The link condition: the nodes joined to both ends are the two apexes and no others. The table of
// node pairs knows all edges of the first end, those of fans that its ring doesn't show among them.
template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::KeepsTopology(const EdgeStar& star, const Fan& aroundB) const
{
    if (!aroundB.isWhole) {
        return false;
    }
    // Two edges between the same nodes may come of a flip: a second edge a-b would begin and end at
    // a, and a second edge from b to an apex would make one more from a.
    for (const int n : {star.a, star.c, star.d}) {
        if (std::count(aroundB.ring.begin(), aroundB.ring.end(), n) != 1) {
            return false;
        }
    }
    for (const int n : aroundB.ring) {
        if (n != star.a && n != star.c && n != star.d && this->FindEdge(star.a, n) >= 0) {
            return false;
        }
    }
    // A tetrahedron satisfies the condition and would leave two triangles back to back: three
    // triangles at b, and three at a.
    const Edge& pastLeft = EdgeAt(Twin(star.prev)); // a to c
    return aroundB.ring.size() != 3 || EdgeAt(Twin(star.next)).face < 0 || pastLeft.face < 0 ||
           pastLeft.prev != Twin(star.twinNext);
}

template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::TouchesBoundary(const EdgeStar& star, bool relaxed) const
{
    if (relaxed) {
        return this->IsBoundaryNode(star.b) || this->IsBoundaryEdge(star.next, true) ||
               this->IsBoundaryEdge(star.twinPrev, true);
    }
    const std::array<int, 6> sides = star.HalfEdges();
    return this->IsBoundaryNode(star.a) || this->IsBoundaryNode(star.b) ||
           std::any_of(sides.begin(), sides.end(),
                       [&](int e) { return this->IsBoundaryEdge(e, true); });
}

template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::IsCollapseLocked(const EdgeStar& star,
                                                      const Fan& aroundB) const
{
    const auto isLocked = [&](int e) { return this->IsEdgeLocked(e); };
    const std::array<int, 6> sides = star.HalfEdges();
    return this->IsNodeLocked(star.a) || this->IsNodeLocked(star.b) ||
           std::any_of(sides.begin(), sides.end(), isLocked) || this->IsFaceLocked(star.left) ||
           this->IsFaceLocked(star.right) ||
           std::any_of(aroundB.outgoing.begin(), aroundB.outgoing.end(), isLocked);
}

// `survivor` takes the place of `lost` in the face or boundary beyond the triangle that goes.
template <class Node, class Edge, class Face>
void TriangleMesh<Node, Edge, Face>::WeldOver(int survivor, int lost)
{
    const int face = EdgeAt(lost).face;
    const int next = EdgeAt(lost).next;
    this->Link(EdgeAt(lost).prev, survivor);
    this->Link(survivor, next);
    EdgeAt(survivor).face = face;
    if (this->IsValidFace(face) && FaceAt(face).edge == lost) {
        FaceAt(face).edge = survivor;
    }
}

// --- boundaries ---------------------------------------------------------------------------------

template <class Node, class Edge, class Face>
bool TriangleMesh<Node, Edge, Face>::LinkBoundaryEdges()
{
    std::vector<BoundaryEnd> outgoing;
    std::vector<BoundaryEnd> incoming;
    for (int e = 0; e < this->EdgeCount(); ++e) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (this->IsValidEdge(e) && EdgeAt(e).face == kNoFace) {
            outgoing.push_back({EdgeAt(e).node, e});
            incoming.push_back({EdgeAt(Twin(e)).node, e});
        }
    }
    std::sort(outgoing.begin(), outgoing.end());
    std::sort(incoming.begin(), incoming.end());

    // Both lists hold every half-edge once; where they name other nodes the counts there differ.
    std::size_t last = 0;
    for (std::size_t first = 0; first < outgoing.size(); first = last) {
        const int node = outgoing[first].node;
        for (last = first; last < outgoing.size() && outgoing[last].node == node; ++last) {
            if (incoming[last].node != node) {
                return false;
            }
        }
        if (last < incoming.size() && incoming[last].node == node) {
            return false;
        }
        LinkBoundaryAt(std::span(outgoing).subspan(first, last - first),
                       std::span(incoming).subspan(first, last - first));
    }
    return std::all_of(outgoing.begin(), outgoing.end(), [&](const BoundaryEnd& end) {
        return EdgeAt(end.halfEdge).next != kNotSet && EdgeAt(end.halfEdge).prev != kNotSet;
    });
}

template <class Node, class Edge, class Face>
void TriangleMesh<Node, Edge, Face>::LinkBoundaryAt(std::span<const BoundaryEnd> outgoing,
                                                    std::span<const BoundaryEnd> incoming)
{
    if (outgoing.size() == 1) {
        this->Link(incoming.front().halfEdge, outgoing.front().halfEdge);
        return;
    }
    // Several fans of faces meet at the node: each has one half-edge that leaves and one that
    // arrives.
    std::array<std::pair<int, int>, 2> fans;
    std::size_t fanCount = 0;
    for (const BoundaryEnd& end : outgoing) {
        const int arriving = IncomingOfFan(end.halfEdge);
        if (arriving >= 0) {
            if (fanCount == fans.size()) {
                return;
            }
            fans[fanCount++] = {end.halfEdge, arriving};
        }
    }
    if (fanCount == 2) {
        this->Link(fans[0].second, fans[1].first);
        this->Link(fans[1].second, fans[0].first);
    }
}

// From the half-edge without a face that leaves a node, across the fan of faces there, to the one
// that arrives: -2 when a link is missing. An edge without any face is a fan by itself.
template <class Node, class Edge, class Face>
int TriangleMesh<Node, Edge, Face>::IncomingOfFan(int outgoing) const
{
    int arriving = Twin(outgoing);
    for (std::size_t steps = Base::RunawayLimit(this->edges_.size()); steps > 0; --steps) {
        if (EdgeAt(arriving).face == kNoFace) {
            return arriving;
        }
        const int leaving = EdgeAt(arriving).next;
        if (!this->IsValidEdge(leaving)) {
            break;
        }
        arriving = Twin(leaving);
    }
    return kNotSet;
}

template <class Node, class Edge, class Face>
void TriangleMesh<Node, Edge, Face>::AdjustBoundaryNode(int node)
{
    const int first = this->IsValidNode(node) ? NodeAt(node).edge : kNotSet;
    if (!this->IsValidEdge(first) || EdgeAt(first).face == kNoFace || !this->IsBoundaryNode(node)) {
        return;
    }
    int current = first;
    for (std::size_t steps = Base::RunawayLimit(this->edges_.size()); steps > 0; --steps) {
        current = EdgeAt(Twin(current)).next;
        if (!this->IsValidEdge(current)) {
            return;
        }
        if (EdgeAt(Twin(current)).face == kNoFace) {
            NodeAt(node).edge = current;
            return;
        }
        if (current == first) {
            return;
        }
    }
}

// --- from and to indexed meshes -----------------------------------------------------------------

template <class Node, class Edge, class Face>
template <int D, class T, class FaceAdded>
bool TriangleMesh<Node, Edge, Face>::LoadIndexedPoints(
    const std::vector<VecBase<D, T>>& points, const std::vector<int>& indices,
    FaceAdded faceAdded) requires Positioned<Node>
{
    // What this mesh held comes back when the load fails.
    Base before;
    if (this->NodeCount() > 0) {
        this->SwapContents(before);
    }
    try {
        AddPoints(points, indices.size() / 3);
        std::vector<int> corners(3);
        for (std::size_t t = 0; t < indices.size() / 3; ++t) {
            Progress::Impl::CheckStep(t);
            std::copy_n(indices.begin() + static_cast<std::ptrdiff_t>(3 * t), 3, corners.begin());
            const int face = this->AddFace(corners);
            if (face >= 0) {
                faceAdded(static_cast<int>(t), face);
            }
        }
        if (!LinkBoundaryEdges()) {
            return false;
        }
        AdjustBoundaryNodes();
        return true;
    } catch (...) {
        this->Clear();
        this->SwapContents(before);
        throw;
    }
}

// The points as nodes of an empty mesh, with room for the edges and faces of so many triangles.
template <class Node, class Edge, class Face>
template <int D, class T>
void TriangleMesh<Node, Edge, Face>::AddPoints(const std::vector<VecBase<D, T>>& points,
                                               std::size_t triangles)
{
    // By Euler's formula a mesh has about as many edges as points and triangles together; it has a
    // few more where it has handles and holes, and never more than three to a triangle.
    constexpr std::size_t kSpareEdges = 64;
    const std::size_t edgeCount =
        std::min(3 * triangles, points.size() + triangles + triangles / 64 + kSpareEdges);
    this->Reserve(points.size(), 2 * edgeCount, triangles);
    Node record{};
    for (const VecBase<D, T>& point : points) {
        Progress::Impl::CheckStep(this->nodes_.size());
        record.position = ConvertedPosition<decltype(record.position)>(point);
        this->AddNode(record);
    }
}

// `AdjustBoundaryNode` once for each node that a half-edge without a face leaves: no other changes.
template <class Node, class Edge, class Face>
void TriangleMesh<Node, Edge, Face>::AdjustBoundaryNodes()
{
    std::vector<int> boundaryNodes;
    for (const Edge& edge : this->edges_) {
        if (!edge.Edge::IsInvalid() && edge.face == kNoFace) {
            boundaryNodes.push_back(edge.node);
        }
    }
    std::sort(boundaryNodes.begin(), boundaryNodes.end());
    const auto last = std::unique(boundaryNodes.begin(), boundaryNodes.end());
    std::for_each(boundaryNodes.begin(), last, [&](int n) { AdjustBoundaryNode(n); });
}

template <class Node, class Edge, class Face>
template <int D, class T>
void TriangleMesh<Node, Edge, Face>::ExportIndexedPoints(
    Mesh::IndexedPointsBase<D, T>& mesh, double tolerance) const requires Positioned<Node>
{
    // Beside the result, which is replaced when all is done.
    Mesh::IndexedPointsBase<D, T> live;
    live.indices.reserve(3 * this->faces_.size());
    std::vector<int> pointOfNode(this->nodes_.size(), -1);
    for (int f = 0; f < this->FaceCount(); ++f) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(f));
        const std::array<int, 3> corners = Corners(f);
        const auto isNode = [&](int n) { return static_cast<std::size_t>(n) < pointOfNode.size(); };
        if (std::all_of(corners.begin(), corners.end(), isNode)) {
            for (const int n : corners) {
                pointOfNode[static_cast<std::size_t>(n)] = 0;
                live.indices.push_back(n);
            }
        }
    }

    for (std::size_t n = 0; n < pointOfNode.size(); ++n) {
        Progress::Impl::CheckStep(n);
        if (pointOfNode[n] == 0) {
            pointOfNode[n] = static_cast<int>(live.points.size());
            const bool isAlive = this->IsValidNode(static_cast<int>(n));
            live.points.push_back(isAlive
                                      ? ConvertedPosition<VecBase<D, T>>(this->nodes_[n].position)
                                      : VecBase<D, T>{});
        }
    }
    const std::vector<int> survivor =
        Vector::FilterForUniquenessAndIndex(live.points, static_cast<T>(tolerance));
    for (int& index : live.indices) {
        const int point = pointOfNode[static_cast<std::size_t>(index)];
        index = survivor[static_cast<std::size_t>(point)];
    }
    mesh.points.swap(live.points);
    mesh.indices.swap(live.indices);
}

} // namespace Velk::Math::Sorvane::HalfEdge
