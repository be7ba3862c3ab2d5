// IterativeRemesher: a triangle mesh that improves itself by repeating five local passes: split
// long edges, collapse short edges, flip edges, relax nodes, project nodes onto the source surface.
// What "long" and "short" mean at an edge, and where a node is drawn, derived classes tell
// (IsotropicRemesher_E.h, AnisotropicRemesher_E.h).
//
// M. Botsch and L. Kobbelt, "A remeshing approach to multiresolution modeling", 2004: an edge is
// split above 4/3 and collapsed below 4/5 of the wanted length, since the two halves, or the merged
// edge, are then nearer to that length than the edge was. What is added here is the limit on the
// turn of normals, which every edit and every move keeps.
#pragma once

#include <Sorvane/TriangleMesh_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>
#include <Velk/ProgressChecks_E.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

/// Is the angle between two directions within a limit? The answer is that of
/// `Vector::AngleBetween`, which is asked only where the squared cosines are too near to each other
/// to tell.
class AngleLimit {
public:
    AngleLimit() : AngleLimit(0.0) {}
    explicit AngleLimit(double radians) : limit_(radians)
    {
        const double cosine = std::cos(radians);
        signedSquare_ = radians < 0.0           ? 2.0
                        : radians > kPi<double> ? -2.0
                                                : cosine * std::fabs(cosine);
    }

    /// Also false where the angle, or the limit, is NaN.
    bool Holds(const Vec3d& a, const Vec3d& b) const
    {
        const double dot = a * b;
        const double squares = (a * a) * (b * b);
        const double excess = dot * std::fabs(dot) - signedSquare_ * squares;
        // The products err by some 1e-15 of themselves; where they have left the range of numbers,
        // or there is a zero vector or a NaN, no comparison tells.
        if (squares > kSmallestProduct && squares < kLargestProduct) {
            if (excess > kMargin * squares) {
                return true;
            }
            if (excess < -kMargin * squares) {
                return false;
            }
        }
        return Vector::AngleBetween(a, b, kLengthFloor<double>) <= limit_;
    }

private:
    static constexpr double kMargin = 1e-12;
    static constexpr double kSmallestProduct = 1e-250;
    static constexpr double kLargestProduct = 1e250;

    double limit_;
    double signedSquare_ = 0.0; // of the limit's cosine, with the sign of the cosine
};

/// A point of the plane as one of space, at height 0.
inline Vec3d InSpace(const VecBase<2, double>& p) { return {p[0], p[1], 0.0}; }
inline const Vec3d& InSpace(const Vec3d& p) { return p; }

/// (b - a) ^ (c - a): along the normal of the triangle a b c, twice its area long.
template <int D>
Vec3d AreaVector(const VecBase<D, double>& a, const VecBase<D, double>& b,
                 const VecBase<D, double>& c)
{
    return InSpace(b - a) ^ InSpace(c - a);
}

/// Place of `p` on the line through a and b, 0 at a and 1 at b; 0 when the two are within the
/// length floor.
template <int D>
double PlaceOnLine(const VecBase<D, double>& p, const VecBase<D, double>& a,
                   const VecBase<D, double>& b)
{
    const VecBase<D, double> along = b - a;
    const double squaredLength = along * along;
    return squaredLength > kSquaredLengthFloor<double> ? ((p - a) * along) / squaredLength : 0.0;
}

/// Are all coordinates finite?
template <int D>
bool IsFinitePoint(const VecBase<D, double>& p)
{
    double sum = 0.0;
    for (int i = 0; i < D; ++i) {
        sum += p[i] - p[i];
    }
    return sum == 0.0;
}

// Rings lie all over the memory where the input came in no order, and each of their half-edges
// tells where the next one is. While one node is at work those after it go round theirs, a neighbor
// each at a time, and fetch what they meet. Of each of them `ahead` holds the first half-edge and
// the present one. What a link names is looked at only where it is within the arrays.
template <class Mesh>
void FetchRingsAhead(const Mesh& mesh, int node, std::span<std::array<int, 2>> ahead)
{
    const auto& nodes = mesh.Nodes();
    const auto& edges = mesh.Edges();
    const auto at = [](int subscript) { return static_cast<std::size_t>(subscript); };
    const auto fetch = [&](std::size_t edge) {
        __builtin_prefetch(&edges[edge]);
        __builtin_prefetch(&edges[edge ^ 1U]);
    };
    for (auto& [first, current] : ahead) {
        if (at(current) >= edges.size()) {
            continue;
        }
        const std::size_t far = at(edges[at(current) ^ 1U].node);
        const std::size_t before = at(edges[at(current)].prev);
        if (far >= nodes.size() || before >= edges.size() || (before ^ 1U) == at(first)) {
            current = kNotSet;
            continue;
        }
        __builtin_prefetch(&nodes[far].position);
        fetch(before);
        current = static_cast<int>(before ^ 1U);
    }
    const std::size_t later = at(node) + ahead.size();
    const int first = later < nodes.size() ? nodes[later].edge : kNotSet;
    ahead[at(node) % ahead.size()] = {first, first};
    if (at(first) < edges.size()) {
        fetch(at(first));
    }
}

// The same for the nodes of the two triangles of edges that come next.
template <class Mesh>
void FetchDiamondAhead(const Mesh& mesh, int halfEdge)
{
    constexpr int kApexes = 32;
    constexpr int kNodes = 16;
    const auto& nodes = mesh.Nodes();
    const auto& edges = mesh.Edges();
    const auto at = [](int subscript) { return static_cast<std::size_t>(subscript); };
    for (const int side : {0, 1}) {
        const std::size_t later = at(halfEdge + kApexes + side);
        if (later < edges.size() && at(edges[later].prev) < edges.size()) {
            __builtin_prefetch(&edges[at(edges[later].prev)]);
        }
        const std::size_t e = at(halfEdge + kNodes + side);
        if (e < edges.size() && at(edges[e].prev) < edges.size()) {
            for (const int node : {edges[e].node, edges[at(edges[e].prev)].node}) {
                if (at(node) < nodes.size()) {
                    __builtin_prefetch(&nodes[at(node)]);
                }
            }
        }
    }
}

} // namespace Impl

/// The passes of remeshing, on any records with positions in `double` of dimension D (2 or 3).
/// Abstract.
///
/// Derived classes tell the bounds of an edge's length, the weights round a node and what is a
/// feature, and they override the locks of `HMesh`: a locked edge is never flipped nor collapsed,
/// and its halves are features when it is split; a locked node only slides along its feature line.
/// The usual run is `targetLength = TargetLengthFor(length)`, `RunPasses`, `ProjectNodes(true)`.
///
/// In the plane every triangle counts as one of space at height 0: its normal turns by 0 or 180
/// degrees, so that any limit below 180 keeps triangles from turning over.
///
/// Nodes whose ring does not show all that is at them stay where they are: nodes that join several
/// closed fans, and nodes at a boundary that could not be linked. NaN and infinity are inert: an
/// edge whose length is not finite, or is compared with a NaN, is neither split nor collapsed, and
/// no node moves to a position that is not finite.
///
/// Passes walk the arrays by subscript, from 0 to the count at their start, and use slots again as
/// soon as they are free: the result depends on the order of the input, and on nothing else. They
/// allocate only where the mesh changes. No pass runs twice; `RunPasses` ends at the first idle
/// iteration, and at the given number of iterations in any case: features may slide to and fro
/// between two places for ever.
template <int D, class Node, class Edge, class Face>
class IterativeRemesher : public TriangleMesh<Node, Edge, Face> {
public:
    /// The mesh beneath, and the type of a position.
    using Base = TriangleMesh<Node, Edge, Face>;
    using Point = VecBase<D, double>;

    static_assert(D == 2 || D == 3, "remeshing is for the plane and for space");
    static_assert(std::is_same_v<decltype(Node::position), Point>,
                  "a node's position is in double, of the remesher's dimension");

    /// Wanted length of edges, in the caller's unit. Positive once the run starts.
    double targetLength = 1.0;
    /// Degrees by which a normal may turn in one edit or one move. With NaN nothing may turn, and
    /// with it no node moves.
    double maxNormalAngle = 10.0;
    /// Are boundary edges never split?
    bool keepBoundary = true;

    // --- virtual operations, after those of TriangleMesh and in this order
    // ------------------------

    /// Marks a node, or both halves of an edge, as feature, or takes the mark away.
    virtual void SetNodeFeature(int node, bool isFeature) = 0;
    virtual void SetEdgeFeature(int halfEdge, bool isFeature) = 0;

    /// (shortest, longest): an edge below the first is to be collapsed, one above the second to be
    /// split.
    virtual void EdgeLengthBounds(VecBase<2, double>& bounds, int halfEdge) const = 0;

    /// The positions of `NodeNodes`, and a weight for each: that of the triangle of the node, this
    /// ring point and the next. A missing weight counts as 0.
    virtual void NodeStar(int node, std::vector<Point>& ring,
                          std::vector<double>& weights) const = 0;

    /// Called when a node has a new position: `onFeature` when it is the middle of an edge just
    /// split or has slid along a feature.
    virtual void NodeMoved(int node, bool onFeature) = 0;

    /// Collapses an edge if `CollapseEdge` lets it, without force. With `keepOrigin` the origin
    /// stays where it is, and the destination may be next to a boundary; otherwise the node that
    /// remains goes to the middle.
    virtual bool CollapseEdgeAt(int halfEdge, bool keepOrigin);

    /// Takes the nodes back to the source surface when `enable` is true; whether that was done.
    /// Here it never is.
    virtual bool ProjectNodes(bool enable);

    /// The passes. Each tells whether it has changed anything.
    virtual bool RelaxNodes();
    /// With `force` the valences need not improve. Boundary edges and locked ones stay, and so does
    /// an edge whose other diagonal is an edge of the mesh already: a second edge between the same
    /// two nodes would be one edge of four triangles as soon as the mesh is written.
    virtual bool FlipEdges(bool force);
    virtual bool CollapseShortEdges();
    virtual bool SplitLongEdges();

    /// Moves a locked node to the middle between its two neighbors on its feature line, or to a
    /// quarter or three quarters of the way where the middle would turn a normal too far. Only
    /// where it lies on the straight line between the two, within 1e-12 in each coordinate; corners
    /// and ends of feature lines stay.
    virtual bool RelaxFeatureNode(int node);
    /// Moves a node to the weighted centroid of its star, in space along its tangent plane.
    virtual bool RelaxNode(int node);
    /// Splits an edge, locked or not, at its middle. Decorations of the edge go to its halves,
    /// those of each face to both of its parts.
    virtual bool SplitEdgeAtMiddle(int halfEdge);
    /// Collapses an edge where no normal turns too far and no edge becomes too long: to its middle
    /// when both of its ends are locked or neither is, otherwise to the locked end.
    virtual bool TryCollapseEdge(int halfEdge);
    /// May an edge with this `EdgeDiamond` be flipped, as far as the shape goes?
    virtual bool ShouldFlip(int halfEdge, const std::vector<int>& diamond);

    // --- a run
    // --------------------------------------------------------------------------------------

    /// The target length that a caller's number stands for: a positive one for itself, a negative
    /// one for so many times the mean length of the mesh's edges, and one of magnitude up to 1e-12
    /// for that mean. Edges whose length is not finite are left out of the mean; without edges it
    /// is 0.
    double TargetLengthFor(double length) const
    {
        if (kLengthFloor<double> >= std::fabs(length)) {
            length = -1.0;
        }
        return length < 0.0 ? -length * MeanEdgeLength() : length;
    }

    /// Repeats split, collapse, flip, relax and `ProjectNodes(false)` until an iteration changes
    /// nothing, at most `iterations` times; the number of iterations, the idle one included.
    unsigned RunPasses(unsigned iterations)
    {
        unsigned count = 0;
        pinches_ = this->PinchNodes(); // no edit makes one or takes one apart
        arePinchesKnown_ = true;
        for (bool isChanging = true; isChanging && count < iterations; ++count) {
            const auto progress = [&](int pass) {
                Progress::Impl::Check((count + 0.2 * pass) / iterations);
            };
            // Every pass runs, whatever those before it have done.
            progress(0);
            const bool hasSplit = SplitLongEdges();
            progress(1);
            const bool hasCollapsed = CollapseShortEdges();
            progress(2);
            const bool hasFlipped = FlipEdges(false);
            progress(3);
            const bool hasRelaxed = RelaxNodes();
            progress(4);
            const bool hasProjected = ProjectNodes(false);
            isChanging = hasProjected || hasSplit || hasCollapsed || hasFlipped || hasRelaxed;
        }
        arePinchesKnown_ = false;
        return count;
    }

protected:
    using Base::EdgeAt;
    using Base::FaceAt;
    using Base::NodeAt;
    using Base::Twin;

    /// Squared distance of the ends of a half-edge that is alive.
    double SquaredEdgeLength(int halfEdge) const
    {
        return SquaredLength(NodeAt(EdgeAt(Twin(halfEdge)).node).position -
                             NodeAt(EdgeAt(halfEdge).node).position);
    }

    /// The nodes of `NodeNodes` by their positions, in a list that keeps its room.
    void RingPoints(int node, std::vector<Point>& ring) const
    {
        ring.clear();
        const WalkEnd end =
            this->VisitNodeNodes(node, [&](int n) { ring.push_back(NodeAt(n).position); });
        if (end == WalkEnd::Runaway) {
            ring.clear();
        }
    }

    /// May node `a`, at `pa`, move to `q` where it is to merge with node `b`? Its edges must not
    /// become too long nor its triangles turn too far, and fewer than three of them may die in the
    /// merger.
    ///
    /// The ring is not closed: the last ring node's edge, and the triangle from the last to the
    /// first ring node, are not looked at.
    bool CanMove(int a, int b, const Point& pa, const Point& q);

    /// Is the triangle (pa, p1, p2) much the same with its first corner at `q`: its normal turned
    /// by no more than the limit, and degenerate if and only if it was?
    bool TriangleStable(const Point& pa, const Point& p1, const Point& p2, const Point& q);

    /// Does the flip of an edge with this diamond bring valences nearer to 6, and to 4 on a
    /// boundary?
    bool ValenceImproves(const std::array<int, 4>& diamond) const;

    /// Where relaxation draws a node: in space the centroid of its triangles with the given
    /// weights, moved along the mean normal into the plane through `p`; in the plane the weighted
    /// mean of the ring. `p` itself for fewer than two ring points, and where all weights are 0.
    static Point TangentialCentroid(const Point& p, const std::vector<Point>& ring,
                                    const std::vector<double>& weights);

    /// Do the triangles of a node, at `p`, keep their normals within the limit when it moves to
    /// `t`?
    ///
    /// The ring is that of the node's `NodeNodes`, and runs round: its last point is next to its
    /// first. Where two points in a row have no triangle of the node between them (the gap of a
    /// boundary) nothing is tested.
    ///
    /// A triangle whose edge from the node is no longer than 1e-12, or whose area vector is zero,
    /// is at no angle to any other. There is no other floor: a sliver whose area is that of
    /// rounding has a normal of chance, and may hold its node where it is. False where a coordinate
    /// is not finite.
    bool NormalsStable(int node, const Point& p, const std::vector<Point>& ring, const Point& t);

private:
    // Lets a limit follow the public field without a cosine for every triangle.
    struct Limits {
        double degrees = 0.0;
        Impl::AngleLimit whole{0.0};
        Impl::AngleLimit half{0.0};
    };
    const Limits& NormalLimits()
    {
        if (limits_.degrees != maxNormalAngle) { // always true for NaN
            const double radians = maxNormalAngle * kRadiansPerDegree;
            limits_ = {maxNormalAngle, Impl::AngleLimit(radians), Impl::AngleLimit(radians / 2)};
        }
        return limits_;
    }

    double MeanEdgeLength() const;
    // Ring size over the ideal. The ring of a node without a boundary and with a single fan is all
    // that is at it: no walk then.
    int ValenceExcess(int node) const
    {
        const auto n = static_cast<std::size_t>(node);
        if (n < isOdd_.size() && !isOdd_[n]) {
            return this->Degree(node) - 6;
        }
        return this->Valence(node) - (this->IsBoundaryNode(node) ? 4 : 6);
    }
    void FindOddNodes();
    // Is there no telling, without a walk, that triangles are all round the node? While nodes are
    // relaxed the marks of `FindOddNodes` tell.
    bool MayHaveGap(int node) const
    {
        const auto n = static_cast<std::size_t>(node);
        return !areGapsKnown_ || n >= isOdd_.size() || isOdd_[n];
    }
    void SetPosition(int node, const Point& at, bool onFeature)
    {
        NodeAt(node).position = at;
        NodeMoved(node, onFeature);
    }

    // Everything of a record but its links.
    static void CopyDecorations(Edge& to, const Edge& from)
    {
        const HEdge links = to;
        to = from;
        static_cast<HEdge&>(to) = links;
    }
    static void CopyDecorations(Face& to, const Face& from)
    {
        const int edge = to.edge;
        to = from;
        to.edge = edge;
    }

    Limits limits_;
    // For the flips: nodes of several fans, and these together with the nodes of boundaries.
    std::vector<int> pinches_;
    bool arePinchesKnown_ = false;
    bool areGapsKnown_ = false;
    std::vector<unsigned char> isOdd_;
    // What the passes list, kept for its room.
    std::vector<Point> ring_;
    std::vector<double> weights_;
    std::vector<int> nodes_;
    std::vector<int> outgoing_;
    std::vector<int> diamond_;
};

// --- edges --------------------------------------------------------------------------------------

template <int D, class Node, class Edge, class Face>
double IterativeRemesher<D, Node, Edge, Face>::MeanEdgeLength() const
{
    double sum = 0.0;
    std::size_t count = 0;
    for (int e = 0; e + 1 < this->EdgeCount(); e += 2) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (this->IsValidEdge(e) && this->IsValidEdge(e + 1) && this->IsValidNode(EdgeAt(e).node) &&
            this->IsValidNode(EdgeAt(e + 1).node)) {
            const double length = std::sqrt(SquaredEdgeLength(e));
            if (length <= std::numeric_limits<double>::max()) {
                sum += length;
                ++count;
            }
        }
    }
    return count == 0 ? 0.0 : sum / static_cast<double>(count);
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::SplitLongEdges()
{
    bool hasSplit = false;
    VecBase<2, double> bounds;
    // Edges that this pass makes wait for the next one.
    const int count = this->EdgeCount();
    for (int e = 0; e < count; e += 2) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (!this->IsValidEdge(e) || (keepBoundary && this->IsBoundaryEdge(e, true))) {
            continue;
        }
        EdgeLengthBounds(bounds, e);
        // A length that is not finite halves for ever.
        const double squaredLength = SquaredEdgeLength(e);
        if (squaredLength > bounds[1] * bounds[1] &&
            squaredLength <= std::numeric_limits<double>::max()) {
            hasSplit = SplitEdgeAtMiddle(e) || hasSplit;
        }
    }
    return hasSplit;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::CollapseShortEdges()
{
    bool hasCollapsed = false;
    VecBase<2, double> bounds;
    const int count = this->EdgeCount();
    for (int e = 0; e < count; e += 2) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (!this->IsValidEdge(e)) {
            continue;
        }
        EdgeLengthBounds(bounds, e);
        if (SquaredEdgeLength(e) < bounds[0] * bounds[0]) {
            hasCollapsed = TryCollapseEdge(e) || hasCollapsed;
        }
    }
    return hasCollapsed;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::SplitEdgeAtMiddle(int halfEdge)
{
    if (!this->IsValidEdge(halfEdge) || !this->IsValidEdge(Twin(halfEdge))) {
        return false;
    }
    const int twin = Twin(halfEdge);
    const Edge left = EdgeAt(halfEdge);
    const Edge right = EdgeAt(twin);
    const bool isLocked = this->IsEdgeLocked(halfEdge);
    int middle = kNoNode;
    if (!this->SplitEdge(halfEdge, middle, true, true)) {
        return false;
    }
    SetPosition(middle, (NodeAt(left.node).position + NodeAt(right.node).position) / 2.0, true);

    const int half = this->FindEdge(middle, right.node);
    if (isLocked) {
        SetNodeFeature(middle, true);
        SetEdgeFeature(half, true);
    }
    CopyDecorations(EdgeAt(halfEdge), left);
    CopyDecorations(EdgeAt(half), left);
    CopyDecorations(EdgeAt(twin), right);
    CopyDecorations(EdgeAt(Twin(half)), right);
    // Each new face has been cut from the one that keeps the old number.
    if (left.face >= 0) {
        CopyDecorations(FaceAt(EdgeAt(half).face), FaceAt(left.face));
    }
    if (right.face >= 0) {
        CopyDecorations(FaceAt(EdgeAt(Twin(half)).face), FaceAt(right.face));
    }
    return true;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::TryCollapseEdge(int halfEdge)
{
    if (!this->IsValidEdge(halfEdge) || !this->IsValidEdge(Twin(halfEdge))) {
        return false;
    }
    const int a = EdgeAt(halfEdge).node;
    const int b = EdgeAt(Twin(halfEdge)).node;
    const Point pa = NodeAt(a).position;
    const Point pb = NodeAt(b).position;
    const bool isLockedA = this->IsNodeLocked(a);
    const bool isLockedB = this->IsNodeLocked(b);
    if (isLockedA == isLockedB) {
        const Point middle = (pa + pb) / 2.0;
        return CanMove(a, b, pa, middle) && CanMove(b, a, pb, middle) &&
               CollapseEdgeAt(halfEdge, false);
    }
    if (isLockedB) {
        return CanMove(a, b, pa, pb) && CollapseEdgeAt(Twin(halfEdge), true);
    }
    return CanMove(b, a, pb, pa) && CollapseEdgeAt(halfEdge, true);
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::CollapseEdgeAt(int halfEdge, bool keepOrigin)
{
    if (keepOrigin) {
        return this->CollapseEdge(halfEdge, false, true);
    }
    if (!this->IsValidEdge(halfEdge) || !this->IsValidEdge(Twin(halfEdge))) {
        return false;
    }
    const int kept = EdgeAt(halfEdge).node;
    const Point middle =
        (NodeAt(kept).position + NodeAt(EdgeAt(Twin(halfEdge)).node).position) / 2.0;
    if (!this->CollapseEdge(halfEdge, false, false)) {
        return false;
    }
    NodeAt(kept).position = middle;
    return true;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::CanMove(int a, int b, const Point& pa, const Point& q)
{
    nodes_.clear();
    outgoing_.clear();
    const WalkEnd end = this->VisitNodeEdges(a, [&](int e) {
        outgoing_.push_back(e);
        nodes_.push_back(e >= 0 ? EdgeAt(Twin(e)).node : kNotSet);
    });
    if (end == WalkEnd::Runaway || static_cast<int>(nodes_.size()) != this->Degree(a)) {
        return false; // some of its triangles are not in this ring
    }
    for (const int n : nodes_) {
        if (n >= 0 && !Impl::IsFinitePoint(NodeAt(n).position)) {
            return false; // beside a node that is not finite nothing moves
        }
    }
    int dying = 0;
    VecBase<2, double> bounds;
    for (std::size_t i = 0; i + 1 < nodes_.size(); ++i) {
        const Point& r = NodeAt(nodes_[i]).position;
        EdgeLengthBounds(bounds, outgoing_[i]);
        if (SquaredLength(q - r) > bounds[1] * bounds[1]) {
            return false;
        }
        if (nodes_[i] == b || nodes_[i + 1] == b) {
            ++dying;
        } else if (!TriangleStable(pa, r, NodeAt(nodes_[i + 1]).position, q)) {
            return false;
        }
    }
    return dying < 3;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::TriangleStable(const Point& pa, const Point& p1,
                                                            const Point& p2, const Point& q)
{
    const Vec3d before = Impl::AreaVector(pa, p1, p2);
    const Vec3d after = Impl::AreaVector(q, p1, p2);
    if (!Impl::IsFinitePoint(before) || !Impl::IsFinitePoint(after)) {
        return false; // at a corner that is not finite nothing moves
    }
    // A vector no longer than the floor has no direction. One whose squares overflow has a length
    // of infinity here, and a direction.
    const auto hasDirection = [](const Vec3d& v) { return Length(v) > kLengthFloor<double>; };
    const bool hadNormal = hasDirection(before);
    if (hadNormal != hasDirection(after)) {
        return false;
    }
    return NormalLimits().whole.Holds(hadNormal ? before : Vec3d{}, hadNormal ? after : Vec3d{});
}

// --- flips --------------------------------------------------------------------------------------

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::FlipEdges(bool force)
{
    bool hasFlipped = false;
    FindOddNodes();
    const int count = this->EdgeCount();
    for (int e = 0; e < count; e += 2) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (!this->IsValidEdge(e) || this->IsBoundaryEdge(e, true) || this->IsEdgeLocked(e)) {
            continue;
        }
        Impl::FetchDiamondAhead(*this, e);
        const std::array<int, 4> diamond = this->Diamond(e);
        const auto [a, b, c, d] = diamond;
        if (a < 0 || b < 0 || c < 0 || d < 0 || (!force && !ValenceImproves(diamond))) {
            continue;
        }
        diamond_.assign(diamond.begin(), diamond.end());
        if (ShouldFlip(e, diamond_) && this->FindEdge(c, d) < 0) {
            hasFlipped = this->FlipEdge(e, false) || hasFlipped;
        }
    }
    return hasFlipped;
}

template <int D, class Node, class Edge, class Face>
void IterativeRemesher<D, Node, Edge, Face>::FindOddNodes()
{
    if (!arePinchesKnown_) {
        pinches_ = this->PinchNodes();
    }
    isOdd_.assign(static_cast<std::size_t>(this->NodeCount()), 0);
    const auto mark = [&](int node) {
        if (static_cast<std::size_t>(node) < isOdd_.size()) {
            isOdd_[static_cast<std::size_t>(node)] = 1;
        }
    };
    for (const int node : pinches_) {
        mark(node);
    }
    for (int e = 0; e < this->EdgeCount(); ++e) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (EdgeAt(e).face < 0 && this->IsValidEdge(e)) {
            mark(EdgeAt(e).node);
            mark(EdgeAt(Twin(e)).node);
        }
    }
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::ValenceImproves(
    const std::array<int, 4>& diamond) const
{
    constexpr int kChange[4] = {-1, -1, 1, 1};
    int before = 0;
    int after = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const int excess = ValenceExcess(diamond[i]);
        before += excess * excess;
        after += (excess + kChange[i]) * (excess + kChange[i]);
    }
    return after < before;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::ShouldFlip(int, const std::vector<int>& diamond)
{
    const Point& a = NodeAt(diamond[0]).position;
    const Point& b = NodeAt(diamond[1]).position;
    const Point& c = NodeAt(diamond[2]).position;
    const Point& d = NodeAt(diamond[3]).position;
    // Both apexes stand over the inner part of the edge: a kite that is convex with room to spare.
    for (const Point* apex : {&c, &d}) {
        const double place = Impl::PlaceOnLine(*apex, a, b);
        if (!(place > 0.01 && place < 0.99)) {
            return false;
        }
    }
    if constexpr (D == 3) {
        // The two triangles as they are and as they would be. One without area has no normal: it is
        // at no angle to any other.
        std::array<Vec3d, 4> normal{(b - a) ^ (c - a), (d - a) ^ (b - a), (a - c) ^ (d - c),
                                    (b - d) ^ (c - d)};
        std::array<double, 4> area;
        for (std::size_t i = 0; i < 4; ++i) {
            area[i] = Length(normal[i]);
            if (!(area[i] > kLengthFloor<double>)) {
                normal[i] = {};
            }
        }
        // The balance of the two areas must not become ten times worse.
        const auto balance = [&](std::size_t i, std::size_t j) {
            return std::min(area[i], area[j]) / (area[i] + area[j] + kLengthFloor<double>);
        };
        if (balance(0, 1) > 10.0 * balance(2, 3)) {
            return false;
        }
        // The pair of the second triangle before and the second after is left out.
        const Limits& limits = NormalLimits();
        return limits.whole.Holds(normal[0], normal[1]) &&
               limits.whole.Holds(normal[2], normal[3]) &&
               limits.half.Holds(normal[0], normal[2]) && limits.half.Holds(normal[0], normal[3]) &&
               limits.half.Holds(normal[1], normal[2]);
    } else {
        return true;
    }
}

// --- nodes --------------------------------------------------------------------------------------

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::ProjectNodes(bool)
{
    return false;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::RelaxNodes()
{
    bool hasMoved = false;
    FindOddNodes();
    areGapsKnown_ = true; // no move makes or closes one
    constexpr std::array<int, 2> kNoRing = {kNotSet, kNotSet};
    std::array<std::array<int, 2>, 8> ahead;
    ahead.fill(kNoRing);
    for (int n = 0; n < this->NodeCount(); ++n) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(n));
        Impl::FetchRingsAhead(*this, n, std::span(ahead));
        if (this->IsValidNode(n)) {
            hasMoved = (this->IsNodeLocked(n) ? RelaxFeatureNode(n) : RelaxNode(n)) || hasMoved;
        }
    }
    areGapsKnown_ = false;
    return hasMoved;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::RelaxNode(int node)
{
    if (!this->IsValidNode(node)) {
        return false;
    }
    const Point p = NodeAt(node).position;
    if (!Impl::IsFinitePoint(p)) {
        return false; // in the plane its ring would draw it to a number, and its neighbors after it
    }
    NodeStar(node, ring_, weights_);
    const Point target = TangentialCentroid(p, ring_, weights_);
    if (Matches(target, p, kLengthFloor<double>) || !Impl::IsFinitePoint(target) ||
        static_cast<int>(ring_.size()) != this->Degree(node) ||
        !NormalsStable(node, p, ring_, target)) {
        return false;
    }
    SetPosition(node, target, false);
    return true;
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::RelaxFeatureNode(int node)
{
    if (!this->IsValidNode(node)) {
        return false;
    }
    int found = 0;
    std::array<Point, 2> ends;
    this->VisitNodeEdges(node, [&](int e) {
        if (e >= 0 && this->IsEdgeLocked(e)) {
            if (found < 2) {
                ends[static_cast<std::size_t>(found)] = NodeAt(EdgeAt(Twin(e)).node).position;
            }
            ++found;
        }
    });
    if (found != 2) {
        return false;
    }
    const auto& [a, b] = ends;
    const Point p = NodeAt(node).position;
    const double place = Impl::PlaceOnLine(p, a, b);
    if (!Matches(a + (b - a) * place, p, kLengthFloor<double>) ||
        !(std::fabs(place - 0.5) > kLengthFloor<double>)) {
        return false;
    }
    NodeStar(node, ring_, weights_);
    if (static_cast<int>(ring_.size()) != this->Degree(node)) {
        return false;
    }
    for (const Point& candidate : {(a + b) / 2.0, a + (b - a) * 0.25, a + (b - a) * 0.75}) {
        if (Impl::IsFinitePoint(candidate) && NormalsStable(node, p, ring_, candidate)) {
            SetPosition(node, candidate, true);
            return true;
        }
    }
    return false;
}

template <int D, class Node, class Edge, class Face>
auto IterativeRemesher<D, Node, Edge, Face>::TangentialCentroid(const Point& p,
                                                                const std::vector<Point>& ring,
                                                                const std::vector<double>& weights)
    -> Point
{
    if (ring.size() < 2) {
        return p;
    }
    Point centroid;
    double sum = 0.0;
    const auto weightOf = [&](std::size_t i) { return i < weights.size() ? weights[i] : 0.0; };
    if constexpr (D == 2) {
        for (std::size_t i = 0; i < ring.size(); ++i) {
            centroid += ring[i] * weightOf(i);
            sum += weightOf(i);
        }
        return sum != 0.0 ? centroid / sum : p;
    } else {
        Point normals;
        for (std::size_t i = 0; i < ring.size(); ++i) {
            const Point& q = ring[i];
            const Point& r = ring[i + 1 < ring.size() ? i + 1 : 0];
            if (Matches(q, r, kLengthFloor<double>)) {
                continue;
            }
            normals += Normalized((q - p) ^ (r - p), kLengthFloor<double>);
            centroid += (p + q + r) * (weightOf(i) / 3.0);
            sum += weightOf(i);
        }
        if (sum == 0.0) {
            return p;
        }
        centroid /= sum;
        const Point normal = Normalized(normals, kLengthFloor<double>);
        return centroid + normal * (normal * (p - centroid));
    }
}

template <int D, class Node, class Edge, class Face>
bool IterativeRemesher<D, Node, Edge, Face>::NormalsStable(int node, const Point& p,
                                                           const std::vector<Point>& ring,
                                                           const Point& t)
{
    outgoing_.clear();
    if (MayHaveGap(node)) {
        this->VisitNodeEdges(node, [&](int e) { outgoing_.push_back(e); });
    }
    const bool isRingOfNode = outgoing_.size() == ring.size();
    const auto isGap = [&](std::size_t i) {
        return isRingOfNode && outgoing_[i] >= 0 && EdgeAt(outgoing_[i]).face < 0;
    };
    // An edge no longer than the floor has no direction, and its triangle no normal. One that is
    // not finite has a normal that is not, and is at no angle that the limit holds for.
    const auto normalFrom = [](const Point& corner, const Point& q, const Point& r) {
        const Vec3d along = Impl::InSpace(q - corner);
        return SquaredLength(along) <= kSquaredLengthFloor<double>
                   ? Vec3d{}
                   : along ^ Impl::InSpace(r - corner);
    };
    const Impl::AngleLimit& limit = NormalLimits().whole;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const Point& q = ring[i];
        const Point& r = ring[i + 1 < ring.size() ? i + 1 : 0];
        if (!isGap(i) && !limit.Holds(normalFrom(t, q, r), normalFrom(p, q, r))) {
            return false;
        }
    }
    return true;
}

} // namespace Velk::Math::Sorvane::HalfEdge
