// The mesh on which curves are imprinted: building, locating, cutting, walking and collapsing.

#include "imprint/ImprintableMesh_Impl.h"

#include "mathbase/SegmentPoint_Impl.h"

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <queue>
#include <unordered_set>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {

namespace {

using Vector::Normalized;
using Velk::Math::Impl::NearestOnSegment;
using Velk::Math::Impl::SquaredDistanceToSegment;

/// A segment shorter than this is its start.
constexpr auto kShort = Velk::Math::Impl::kShortByFloor<double>;
/// Margin of the query for facets whose boxes hold a point.
constexpr double kQueryMargin = 1e-12;
/// A crossing as near to an end of its edge, as a fraction of the edge, is the node there: no
/// sliver is made.
constexpr double kNodeFraction = 0.005;
/// Passes of a walk from one path point to the next.
constexpr int kMostPasses = 1024;
/// Places reserved for each step of a path.
constexpr std::size_t kPlacesPerStep = 20;
/// Growth for which the mesh has room from the beginning.
constexpr double kGrowth = 1.7;
/// Part of the tolerance within which nodes are one.
constexpr double kCollapseFraction = 0.5;
/// How far a point may have come off a piece of its edge by rounding, as a fraction of the
/// coordinates.
constexpr double kRoundingFraction = 1e-12;

/// Of a pair of twins the half-edge that stands for both.
int PairOf(int halfEdge) { return halfEdge & ~1; }

/// Distance up to which a point counts as on a plane: the length floor, and far from the origin a
/// few units in the last place of the coordinates.
double PlaneFloor(const MeshLocation& a, const MeshLocation& b)
{
    constexpr double kUnits = 8 * std::numeric_limits<double>::epsilon();
    const double largest = std::max(Velk::Math::Impl::LargestMagnitude(a.point),
                                    Velk::Math::Impl::LargestMagnitude(b.point));
    return std::max(kLengthFloor<double>, kUnits * largest);
}

/// Does the vector grow where it is pushed to? Doubles the room, so that many single entries cost
/// no more than their number.
template <class List>
void MakeRoom(List& list, std::size_t more)
{
    if (list.capacity() - list.size() < more) {
        list.reserve(std::max(list.size() + more, 2 * list.capacity()));
    }
}

} // namespace

// --- building -----------------------------------------------------------------------------------

template <class Tag>
ImprintableMesh<Tag>::ImprintableMesh(const std::vector<Vec3d>& points,
                                      const std::vector<int>& indices, const std::vector<Tag>& tags,
                                      double tolerance)
    : tolerance_(tolerance)
{
    const auto nodeRoom = static_cast<std::size_t>(kGrowth * static_cast<double>(points.size()));
    // A closed mesh has about as many half-edges as indices; paths add to them as to the nodes.
    const auto edgeRoom = static_cast<std::size_t>(kGrowth * static_cast<double>(indices.size()));
    this->Reserve(nodeRoom, std::max(2 * nodeRoom, edgeRoom), indices.size());
    for (const Vec3d& point : points) {
        this->AddNode(ImprintNode(point));
    }
    AddTriples(indices, tags);
    if (!this->LinkBoundaryEdges()) {
        LinkFansWithThemselves();
    }
    RememberPinchFans();
    NodeReplacements replaced;
    CollapseShortEdges(tolerance * kCollapseFraction, replaced);
    BuildSearchTree();
}

template <class Tag>
ImprintableMesh<Tag>::~ImprintableMesh() = default;

template <class Tag>
void ImprintableMesh<Tag>::AddTriples(const std::vector<int>& indices, const std::vector<Tag>& tags)
{
    std::vector<int> corners(3);
    for (std::size_t t = 0; t < indices.size() / 3; ++t) {
        std::copy_n(indices.begin() + static_cast<std::ptrdiff_t>(3 * t), 3, corners.begin());
        const int facet = AddTriple(corners);
        if (facet < 0) {
            AssertSites::Report(AssertSites::kTripleIsNotAdded<Tag>);
            continue;
        }
        const Tag tag = t < tags.size() ? tags[t] : Tag{0};
        SetWords(facet, {tag != 0 ? 2 : 0, false, tag, -1});
    }
}

// The facet, or -1. A triple that is refused may leave edges without a facet behind, on which a
// path would run through the air: they go again.
template <class Tag>
int ImprintableMesh<Tag>::AddTriple(const std::vector<int>& corners)
{
    std::array<int, 3> heldEdges;
    for (std::size_t i = 0; i < 3; ++i) {
        heldEdges[i] = this->IsValidNode(corners[i]) ? NodeAt(corners[i]).edge : HalfEdge::kNotSet;
    }
    const int facet = this->AddTriangle(corners);
    if (facet >= 0) {
        return facet;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const int origin = corners[i];
        const int destination = corners[(i + 1) % 3];
        const bool areNodes = this->IsValidNode(origin) && this->IsValidNode(destination);
        const int e = areNodes ? this->FindEdge(origin, destination) : HalfEdge::kNotSet;
        if (this->IsValidEdge(e) && EdgeAt(e).face < 0 && EdgeAt(Twin(e)).face < 0) {
            this->RemoveEdge(e);
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (this->IsValidNode(corners[i])) {
            NodeAt(corners[i]).edge = heldEdges[i];
        }
    }
    return -1;
}

// Where three or more fans of facets meet in a node the common pass leaves their boundary open.
// Each fan's goes on along itself then, so that edges there can be split, too.
template <class Tag>
void ImprintableMesh<Tag>::LinkFansWithThemselves()
{
    for (int e = 0; e < this->EdgeCount(); ++e) {
        if (!this->IsValidEdge(e) || EdgeAt(e).face >= 0 || EdgeAt(e).next >= 0) {
            continue;
        }
        // From the twin, which leaves the node where `e` ends, across the facets of the fan.
        int leaving = Twin(e);
        while (this->IsValidEdge(leaving) && EdgeAt(leaving).face >= 0) {
            leaving = Twin(EdgeAt(leaving).prev);
        }
        if (this->IsValidEdge(leaving)) {
            this->Link(e, leaving);
        }
    }
}

template <class Tag>
void ImprintableMesh<Tag>::RememberPinchFans()
{
    for (const int node : this->PinchNodes()) {
        fanStarts_[node];
    }
    if (fanStarts_.empty()) {
        return;
    }
    for (int e = 0; e < this->EdgeCount(); ++e) {
        if (this->IsValidEdge(e)) {
            KeepFan(EdgeAt(e).node, e);
        }
    }
}

// Remembers a half-edge that leaves a node of several fans.
template <class Tag>
void ImprintableMesh<Tag>::KeepFan(int node, int halfEdge)
{
    const auto found = fanStarts_.find(node);
    if (found != fanStarts_.end()) {
        found->second.push_back(halfEdge);
    }
}

// --- the search tree ----------------------------------------------------------------------------

template <class Tag>
SearchTree::Corners ImprintableMesh<Tag>::CornerPoints(int facet) const
{
    const std::array<int, 3> corners = this->Corners(facet);
    return {NodeAt(corners[0]).position, NodeAt(corners[1]).position, NodeAt(corners[2]).position};
}

template <class Tag>
void ImprintableMesh<Tag>::BuildSearchTree()
{
    if (tree_) {
        return;
    }
    std::size_t facets = 0;
    for (const auto& facet : this->Faces()) {
        facets += facet.IsInvalid() ? 0 : 1;
    }
    auto tree = std::make_unique<SearchTree>(facets);
    for (int f = 0; f < this->FaceCount(); ++f) {
        if (this->Corners(f)[0] >= 0) {
            FaceAt(f).treeSlot = tree->Add(f, CornerPoints(f));
        }
    }
    tree->Rebuild();
    tree_ = std::move(tree);
}

// Lets the tree and the split history follow an edit of the mesh. Where memory runs out both go as
// a whole: a facet that the tree doesn't know would never be found again.
template <class Tag>
template <class Update>
void ImprintableMesh<Tag>::Follow(Update update)
{
    try {
        update();
    } catch (...) {
        tree_.reset();
        splitHistory_.Clear();
        throw;
    }
}

template <class Tag>
void ImprintableMesh<Tag>::EnterTree(int facet)
{
    if (!tree_) {
        return;
    }
    const int slot = tree_->Add(facet, CornerPoints(facet));
    FaceAt(facet).treeSlot = slot;
    // A point off the surface may widen the mesh.
    if (slot >= 0 && (!tree_->Enter(slot) || tree_->IsOutgrown())) {
        tree_->Rebuild();
    }
}

template <class Tag>
void ImprintableMesh<Tag>::LeaveTree(int treeSlot)
{
    if (tree_) {
        tree_->Remove(treeSlot);
    }
}

// --- places -------------------------------------------------------------------------------------

template <class Tag>
MeshLocation ImprintableMesh<Tag>::Locate(Vec3d& point, double radius, int pathIndex) const
{
    MeshLocation location;
    if (!tree_) {
        return location;
    }
    const auto firstWithin = [&](double margin) {
        const Vec3d reach{margin, margin, margin};
        for (const int facet : tree_->FacetsInBox(point - reach, point + reach)) {
            const auto [a, b, c] = CornerPoints(facet);
            if (Intersect::SphereTriangle(point, radius, a, b, c)) {
                return facet;
            }
        }
        return MeshLocation::kNoFacet;
    };
    int facet = firstWithin(kQueryMargin);
    if (facet < 0 && radius > kQueryMargin) {
        facet = firstWithin(radius);
    }
    if (facet < 0) {
        return location;
    }

    const std::array<int, 3> nodes = this->Corners(facet);
    const std::array<int, 3> sides = this->Sides(facet);
    const SearchTree::Corners corners = CornerPoints(facet);
    location.pathIndex = pathIndex;
    location.facet = facet;
    const auto snapToCorner = [&] {
        for (std::size_t i = 0; i < 3; ++i) {
            if (Vector::Matches(point, corners[i], radius)) {
                point = corners[i];
                location.node = nodes[i];
                location.edge = sides[i];
                return true;
            }
        }
        return false;
    };
    const auto snapToSide = [&] {
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3d& start = corners[i];
            const Vec3d& end = corners[(i + 1) % 3];
            if (SquaredDistanceToSegment(start, end, point, kShort) <= radius * radius) {
                point = NearestOnSegment(start, end, point, kShort);
                location.edge = sides[i];
                return;
            }
        }
    };
    if (!snapToCorner()) {
        snapToSide();
    }
    location.point = point;
    return location;
}

template <class Tag>
std::vector<MeshLocation> ImprintableMesh<Tag>::LocatePath(const std::vector<Vec3d>& path) const
{
    std::vector<MeshLocation> locations;
    locations.reserve(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        Vec3d point = path[i];
        locations.push_back(Locate(point, tolerance_, static_cast<int>(i)));
    }
    return locations;
}

// --- cutting ------------------------------------------------------------------------------------

template <class Tag>
auto ImprintableMesh<Tag>::WordsOf(int facet) const -> FacetWords
{
    if (facet < 0) {
        return {};
    }
    const auto& record = FaceAt(facet);
    return {record.paint, record.marked, record.tag, record.treeSlot};
}

template <class Tag>
void ImprintableMesh<Tag>::SetWords(int facet, const FacetWords& words)
{
    auto& record = FaceAt(facet);
    record.paint = words.paint;
    record.marked = words.marked;
    record.tag = words.tag;
    record.treeSlot = words.treeSlot;
}

// The present piece of an edge that a place was found on: of the edge and all that was split off
// it, at once or by and by, the one nearest to the point. -2 when the point is on none of them.
template <class Tag>
int ImprintableMesh<Tag>::PresentPiece(int halfEdge, const Vec3d& point) const
{
    int nearest = HalfEdge::kNotSet;
    double least = std::numeric_limits<double>::infinity();
    const auto measure = [&](int piece) {
        if (!this->IsValidEdge(piece)) {
            return;
        }
        const Vec3d& start = NodeAt(EdgeAt(piece).node).position;
        const Vec3d& end = NodeAt(EdgeAt(Twin(piece)).node).position;
        const double squared = SquaredDistanceToSegment(start, end, point, kShort);
        if (squared < least) {
            least = squared;
            nearest = piece;
        }
    };
    measure(halfEdge);
    splitHistory_.VisitNear(PairOf(halfEdge), point, [&](int piece) {
        if (piece != PairOf(halfEdge)) {
            measure(piece);
        }
    });
    const double reach = tolerance_ + kRoundingFraction * Velk::Math::Impl::LargestMagnitude(point);
    if (!(least <= reach * reach)) {
        return HalfEdge::kNotSet; // collapsed since, and what has its number now is elsewhere
    }
    return EdgeAt(nearest).face >= 0 ? nearest : Twin(nearest);
}

// Does the place coincide with an end of the half-edge? It takes the node there then.
template <class Tag>
bool ImprintableMesh<Tag>::IsEndOf(int halfEdge, MeshLocation& location) const
{
    for (const int end : {EdgeAt(halfEdge).node, EdgeAt(Twin(halfEdge)).node}) {
        if (Vector::Matches(NodeAt(end).position, location.point, kLengthFloor<double>)) {
            location.node = end;
            location.edge = halfEdge;
            location.facet = EdgeAt(halfEdge).face;
            return true;
        }
    }
    return false;
}

template <class Tag>
bool ImprintableMesh<Tag>::SplitAtLocation(MeshLocation& location)
{
    if (!location.IsOnEdge()) {
        return false;
    }
    const int piece = PresentPiece(location.edge, location.point);
    if (piece < 0) {
        return SplitWhereFoundAgain(location);
    }
    MeshLocation present = location;
    present.edge = piece;
    present.facet = EdgeAt(piece).face;
    if (!IsEndOf(piece, present) && !SplitEdgeAt(present)) {
        return false;
    }
    location = present;
    return true;
}

// For a place that has lost the edge or facet it was found on.
template <class Tag>
bool ImprintableMesh<Tag>::SplitWhereFoundAgain(MeshLocation& location)
{
    Vec3d point = location.point;
    MeshLocation found = Locate(point, tolerance_, location.pathIndex);
    if (!found.IsOnNode() && !(found.IsOnEdge() && SplitEdgeAt(found)) &&
        !(found.IsInFacet() && SplitFacetAt(found))) {
        return false;
    }
    location = found;
    return true;
}

template <class Tag>
bool ImprintableMesh<Tag>::SplitEdgeAt(MeshLocation& location)
{
    const int e = location.edge;
    const int twin = Twin(e);
    if (!this->IsValidEdge(e)) {
        return false;
    }
    const int start = EdgeAt(e).node;
    const int end = EdgeAt(twin).node;
    const FacetWords left = WordsOf(EdgeAt(e).face);
    const FacetWords right = WordsOf(EdgeAt(twin).face);
    const int imprinted = EdgeAt(e).imprinted;
    const int twinImprinted = EdgeAt(twin).imprinted;

    // All that needs memory, except the tree and the history.
    MakeRoom(touchedPairs_, 4);
    const auto fans = fanStarts_.find(end);
    if (fans != fanStarts_.end()) {
        MakeRoom(fans->second, 1);
    }
    int middle = HalfEdge::kNoNode;
    if (!this->SplitEdge(e, middle, true, true)) {
        return false;
    }
    NodeAt(middle).position = location.point;
    const int half = this->FindEdge(middle, end);
    KeepFan(end, Twin(half)); // the twin, which may have stood for a fan, leaves the new node now
    EdgeAt(half).imprinted = imprinted;
    EdgeAt(Twin(half)).imprinted = twinImprinted;
    TouchPairsAround(middle);

    const std::array<int, 4> halves = {e, half, twin, Twin(half)};
    for (std::size_t i = 0; i < halves.size(); ++i) {
        if (EdgeAt(halves[i]).face >= 0) {
            SetWords(EdgeAt(halves[i]).face, i < 2 ? left : right);
            FaceAt(EdgeAt(halves[i]).face).treeSlot = -1;
        }
    }
    location.node = middle;
    location.edge = half;
    location.facet = EdgeAt(half).face >= 0 ? EdgeAt(half).face : EdgeAt(twin).face;
    Follow([&] {
        splitHistory_.Record(PairOf(e), PairOf(half), NodeAt(start).position, location.point,
                             NodeAt(end).position);
        LeaveTree(left.treeSlot);
        LeaveTree(right.treeSlot);
        for (const int h : halves) {
            if (EdgeAt(h).face >= 0) {
                EnterTree(EdgeAt(h).face);
            }
        }
    });
    return true;
}

// Is the point over the inside of the facet, farther than the tolerance from each of its edges, as
// it was when it was found there?
template <class Tag>
bool ImprintableMesh<Tag>::LiesWithin(int facet, const Vec3d& point) const
{
    const SearchTree::Corners corners = CornerPoints(facet);
    const Vec3d normal = (corners[1] - corners[0]) ^ (corners[2] - corners[0]);
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d& start = corners[i];
        const Vec3d& end = corners[(i + 1) % 3];
        const bool isInside = ((end - start) ^ (point - start)) * normal > 0;
        if (!isInside ||
            SquaredDistanceToSegment(start, end, point, kShort) <= tolerance_ * tolerance_) {
            return false;
        }
    }
    return true;
}

template <class Tag>
bool ImprintableMesh<Tag>::SplitFacetAtLocation(MeshLocation& location)
{
    if (!location.IsInFacet()) {
        return false;
    }
    const bool isThere = this->Corners(location.facet)[0] >= 0;
    if (isThere && LiesWithin(location.facet, location.point)) {
        return SplitFacetAt(location);
    }
    return SplitWhereFoundAgain(location); // the facet has been cut since
}

template <class Tag>
bool ImprintableMesh<Tag>::SplitFacetAt(MeshLocation& location)
{
    const FacetWords words = WordsOf(location.facet);
    MakeRoom(touchedPairs_, 3);
    int middle = HalfEdge::kNoNode;
    if (!this->SplitFace(location.facet, middle, true)) {
        return false;
    }
    NodeAt(middle).position = location.point;
    TouchPairsAround(middle);
    std::array<int, 3> parts;
    std::size_t count = 0;
    this->VisitNodeEdges(middle, [&](int spoke) { parts[count++] = EdgeAt(spoke).face; });
    for (const int part : parts) {
        SetWords(part, words);
        FaceAt(part).treeSlot = -1;
    }
    location.node = middle;
    location.edge = NodeAt(middle).edge;
    location.facet = EdgeAt(location.edge).face;
    Follow([&] {
        LeaveTree(words.treeSlot);
        for (const int part : parts) {
            EnterTree(part);
        }
    });
    return true;
}

// The edges of a node that was just made, for which there is room on the list.
template <class Tag>
void ImprintableMesh<Tag>::TouchPairsAround(int node)
{
    this->VisitNodeEdges(node, [&](int e) { touchedPairs_.push_back(PairOf(e)); });
}

// --- walking ------------------------------------------------------------------------------------

// The half-edges that leave a node, in ring order, then those of its other fans.
template <class Tag>
template <class Visit>
void ImprintableMesh<Tag>::VisitOutgoing(int node, Visit visit) const
{
    const auto fans = fanStarts_.empty() ? fanStarts_.end() : fanStarts_.find(node);
    if (fans == fanStarts_.end()) {
        this->VisitNodeEdges(node, visit);
        return;
    }
    std::unordered_set<int> known;
    const auto visitOnce = [&](int e) {
        if (known.insert(e).second) {
            visit(e);
        }
    };
    this->VisitNodeEdges(node, visitOnce);
    for (const int e : fans->second) {
        if (this->IsValidEdge(e) && EdgeAt(e).node == node && known.count(e) == 0) {
            this->WalkFan(e, this->Degree(node), visitOnce);
        }
    }
}

template <class Tag>
template <class Visit>
void ImprintableMesh<Tag>::VisitFacets(int node, Visit visit) const
{
    VisitOutgoing(node, [&](int e) {
        if (this->IsValidEdge(e) && EdgeAt(e).face >= 0) {
            visit(EdgeAt(e).face, e);
        }
    });
}

// The mean normal of the facets around a node, weighted by their areas; zero where they cancel out.
// The areas are measured against their sum, so that it makes no difference how small the facets
// are.
template <class Tag>
Vec3d ImprintableMesh<Tag>::NormalAt(int node) const
{
    Vec3d sum;
    double total = 0.0;
    VisitFacets(node, [&](int facet, int) {
        const auto [a, b, c] = CornerPoints(facet);
        const Vec3d area = (b - a) ^ (c - a);
        sum += area;
        total += Vector::Length(area);
    });
    return total > 0 ? Normalized(sum / total, kLengthFloor<double>) : Vec3d{};
}

template <class Tag>
ImprintPlane ImprintableMesh<Tag>::PlaneOf(const MeshLocation& from, const MeshLocation& to) const
{
    const Vec3d mean = Normalized(NormalAt(from.node) + NormalAt(to.node), kLengthFloor<double>);
    const Vec3d chord = Normalized(to.point - from.point, kLengthFloor<double>);
    return {(from.point + to.point) * 0.5, Normalized(chord ^ mean, kLengthFloor<double>)};
}

// Has the walk come to its target?
template <class Tag>
bool ImprintableMesh<Tag>::IsSamePlace(const MeshLocation& here, const MeshLocation& target) const
{
    return (target.IsInFacet() && here.facet == target.facet) ||
           (target.IsOnEdge() && here.edge == target.edge) ||
           (target.IsOnNode() && here.node == target.node);
}

// Can the walk go from a node to its target within one facet?
template <class Tag>
bool ImprintableMesh<Tag>::IsBeside(int node, const MeshLocation& target) const
{
    if (target.IsOnNode()) {
        return this->FindEdge(node, target.node) >= 0;
    }
    bool isBeside = false;
    VisitFacets(node, [&](int facet, int outgoing) {
        isBeside |= target.IsOnEdge() ? PairOf(EdgeAt(outgoing).next) == PairOf(target.edge)
                                      : facet == target.facet;
    });
    return isBeside;
}

// Signed distance of a node from the plane; exactly 0 up to the floor.
template <class Tag>
double ImprintableMesh<Tag>::Height(int node, const ImprintPlane& plane, double floor) const
{
    const double height = (NodeAt(node).position - plane.point) * plane.normal;
    return std::fabs(height) <= floor ? 0.0 : height;
}

// The place at a parameter of a half-edge: the node there when it is near an end.
template <class Tag>
MeshLocation ImprintableMesh<Tag>::PlaceOnSide(int side, double parameter, const Vec3d& point,
                                               int pathIndex) const
{
    MeshLocation place = {pathIndex, MeshLocation::kNoNode, side, EdgeAt(side).face, point};
    if (std::fabs(parameter) <= kNodeFraction) {
        place.node = EdgeAt(side).node;
    } else if (std::fabs(parameter - 1) <= kNodeFraction) {
        place.node = EdgeAt(Twin(side)).node;
    }
    if (place.node != MeshLocation::kNoNode) {
        place.point = NodeAt(place.node).position;
    }
    return place;
}

// From a node toward the target: the target itself when it is beside the node, otherwise where the
// plane leaves the facets around the node, as near to the target as it does, otherwise along an
// edge in the plane. Unset when there is no way on.
template <class Tag>
MeshLocation ImprintableMesh<Tag>::NextPlace(const MeshLocation& here, const MeshLocation& from,
                                             const MeshLocation& to,
                                             const ImprintPlane& plane) const
{
    MeshLocation next;
    if (!this->IsValidNode(here.node)) {
        return next;
    }
    if (IsBeside(here.node, to)) {
        next = to;
        next.pathIndex = here.pathIndex;
        return next;
    }
    double least = std::numeric_limits<double>::infinity();
    const auto offer = [&](const MeshLocation& place) {
        const double distance = Vector::Length(to.point - place.point);
        if (distance < least) {
            least = distance;
            next = place;
        }
    };
    const double floor = PlaneFloor(from, to);
    VisitFacets(here.node, [&](int, int outgoing) {
        const int side = EdgeAt(outgoing).next;
        const int startNode = EdgeAt(side).node;
        const int endNode = EdgeAt(Twin(side)).node;
        if ((Height(startNode, plane, floor) <= 0) == (Height(endNode, plane, floor) <= 0)) {
            return;
        }
        const Vec3d& start = NodeAt(startNode).position;
        const Vec3d& end = NodeAt(endNode).position;
        double alongSide = 0;
        double alongChord = 0;
        Vec3d onSide;
        Vec3d onChord;
        if (!Intersect::ClosestPointsOfTwoLines(start, end, from.point, to.point, true, alongSide,
                                                alongChord, onSide, onChord)) {
            return;
        }
        const Vec3d along = end - start;
        const double squared = along * along;
        const double parameter =
            squared > kSquaredLengthFloor<double> ? (onSide - start) * along / squared : 0.0;
        offer(PlaceOnSide(side, parameter, onSide, here.pathIndex));
    });
    if (least < std::numeric_limits<double>::infinity()) {
        return next;
    }
    VisitOutgoing(here.node, [&](int e) {
        if (this->IsValidEdge(e)) {
            const int neighbor = EdgeAt(Twin(e)).node;
            if (Height(neighbor, plane, floor) == 0) {
                offer({here.pathIndex, neighbor, e, EdgeAt(e).face, NodeAt(neighbor).position});
            }
        }
    });
    return next;
}

// The walk of one step. In it each next place is the one nearest to the target, so that it may come
// to a node from which the nearest one is that which it came from: it would go to and fro until its
// passes are used up. Long thin facets do that, where a crossing near the end of an edge has become
// the node there, and surfaces on which the way to the target leads away from it at first. When a
// walk comes to a node again, and no cut has changed the mesh in between, or to no next place, the
// section of the surface with the plane is followed instead, if that leads to the target.
template <class Tag>
void ImprintableMesh<Tag>::TraceStep(const MeshLocation& from, const MeshLocation& to,
                                     std::vector<MeshLocation>& passed)
{
    const ImprintPlane plane = PlaneOf(from, to);
    const std::size_t begin = passed.size();
    std::unordered_set<int> sinceLastCut = {from.node};
    MeshLocation here = from; // the first pass of the walk
    passed.push_back(here);
    for (int pass = 1; pass < kMostPasses; ++pass) {
        bool hasArrived = IsSamePlace(here, to);
        if (!hasArrived) {
            here = NextPlace(here, from, to, plane);
            hasArrived = here.IsLocated() && IsSamePlace(here, to);
        }
        if (hasArrived) {
            here = to;
            here.pathIndex = from.pathIndex;
        }
        const std::size_t touched = touchedPairs_.size();
        if (!SplitAtLocation(here)) {
            SplitFacetAtLocation(here);
        }
        if (touchedPairs_.size() > touched) {
            sinceLastCut.clear();
        }
        const bool turnsBack = !hasArrived && !sinceLastCut.insert(here.node).second;
        if (turnsBack || !here.IsLocated()) {
            std::vector<int> sides =
                SectionBetween(from.node, to.node, plane, PlaneFloor(from, to));
            if (!sides.empty()) {
                passed.resize(begin + 1);
                FollowSection(sides, from, to, plane, passed);
                return;
            }
        }
        if (turnsBack) {
            passed.resize(begin + 1);
            return;
        }
        passed.push_back(here);
        if (hasArrived || !here.IsLocated()) {
            return;
        }
    }
}

// Where the plane crosses an edge that has an end on either side of it, as a fraction of the edge.
template <class Tag>
double ImprintableMesh<Tag>::CrossingOf(int side, const ImprintPlane& plane) const
{
    const Vec3d& start = NodeAt(EdgeAt(side).node).position;
    const Vec3d& end = NodeAt(EdgeAt(Twin(side)).node).position;
    const double above = (start - plane.point) * plane.normal;
    return std::clamp(above / (above - (end - plane.point) * plane.normal), 0.0, 1.0);
}

template <class Tag>
Vec3d ImprintableMesh<Tag>::PointOn(int side, double parameter) const
{
    const Vec3d& start = NodeAt(EdgeAt(side).node).position;
    return start + (NodeAt(EdgeAt(Twin(side)).node).position - start) * parameter;
}

// The edges that the section of the surface with the plane crosses from one node to the other: each
// by its half-edge in the facet that the section leaves there. Of the ways that lead there the
// shortest; empty when none does within the passes of a walk. Nodes on the plane count as below it,
// so that the section enters each facet once and leaves it once.
template <class Tag>
std::vector<int> ImprintableMesh<Tag>::SectionBetween(int from, int to, const ImprintPlane& plane,
                                                      double floor) const
{
    std::vector<int> shortest;
    double least = std::numeric_limits<double>::infinity();
    if (!this->IsValidNode(from) || !this->IsValidNode(to)) {
        return shortest;
    }
    const auto isCrossed = [&](int e) {
        return (Height(EdgeAt(e).node, plane, floor) > 0) !=
               (Height(EdgeAt(Twin(e)).node, plane, floor) > 0);
    };
    VisitFacets(from, [&](int, int outgoing) {
        std::vector<int> sides;
        double length = 0;
        Vec3d last = NodeAt(from).position;
        int side = EdgeAt(outgoing).next;
        while (isCrossed(side) && sides.size() < kMostPasses) {
            const Vec3d point = PointOn(side, CrossingOf(side, plane));
            length += Vector::Length(point - last);
            last = point;
            sides.push_back(side);
            const int entry = Twin(side);
            if (EdgeAt(entry).face < 0) {
                return; // a boundary
            }
            if (EdgeAt(EdgeAt(entry).prev).node == to) {
                length += Vector::Length(NodeAt(to).position - last);
                if (length < least) {
                    least = length;
                    shortest = std::move(sides);
                }
                return;
            }
            side = isCrossed(EdgeAt(entry).next) ? EdgeAt(entry).next : EdgeAt(entry).prev;
        }
    });
    return shortest;
}

// Cuts the surface along a section; the places passed, and the target.
template <class Tag>
void ImprintableMesh<Tag>::FollowSection(const std::vector<int>& sides, const MeshLocation& from,
                                         const MeshLocation& to, const ImprintPlane& plane,
                                         std::vector<MeshLocation>& passed)
{
    for (const int side : sides) {
        const double t = CrossingOf(side, plane);
        MeshLocation place = PlaceOnSide(side, t, PointOn(side, t), from.pathIndex);
        if (place.IsOnEdge() && !SplitEdgeAt(place)) {
            place = {};
        }
        if (place.node != passed.back().node) {
            passed.push_back(place);
        }
        if (!place.IsLocated()) {
            return;
        }
    }
    passed.push_back(to);
    passed.back().pathIndex = from.pathIndex;
}

template <class Tag>
std::vector<MeshLocation> ImprintableMesh<Tag>::TracePath(std::vector<MeshLocation> locations,
                                                          bool closed)
{
    std::vector<MeshLocation> passed;
    const std::size_t count = locations.size();
    const std::size_t steps = closed || count == 0 ? count : count - 1;
    if (steps == 0) {
        return passed;
    }
    passed.reserve(steps * kPlacesPerStep);
    // A walk leads from node to node; and a place inside a facet would lose its facet to the first
    // crossing that cuts it.
    for (MeshLocation& location : locations) {
        if (!SplitAtLocation(location)) {
            SplitFacetAtLocation(location);
        }
    }
    for (std::size_t i = 0; i < steps; ++i) {
        const MeshLocation& from = locations[i];
        const MeshLocation& to = locations[i + 1 == count ? 0 : i + 1];
        if (!from.IsLocated()) {
            continue;
        }
        passed.push_back(from);
        if (to.IsLocated()) {
            TraceStep(from, to, passed);
        }
    }
    return passed;
}

// --- collapsing ---------------------------------------------------------------------------------

template <class Tag>
bool ImprintableMesh<Tag>::IsShort(int halfEdge, double limit) const
{
    if (!this->IsValidEdge(halfEdge)) {
        return false;
    }
    const int start = EdgeAt(halfEdge).node;
    const int end = EdgeAt(Twin(halfEdge)).node;
    return this->IsValidNode(start) && this->IsValidNode(end) &&
           Vector::Length(NodeAt(end).position - NodeAt(start).position) <= limit;
}

// Pulls the destination of the half-edge into its origin; false when that is refused. `moved` gets
// the edges that end elsewhere from then on.
template <class Tag>
bool ImprintableMesh<Tag>::CollapseInto(int halfEdge, NodeReplacements& replaced,
                                        std::vector<int>& moved)
{
    const int a = EdgeAt(halfEdge).node;
    const int twin = Twin(halfEdge);
    const int b = EdgeAt(twin).node;
    const int next = EdgeAt(halfEdge).next;
    const int prev = EdgeAt(halfEdge).prev;
    const int twinNext = EdgeAt(twin).next;
    const int twinPrev = EdgeAt(twin).prev;
    if (!this->IsValidEdge(next) || !this->IsValidEdge(prev) || !this->IsValidEdge(twinNext) ||
        !this->IsValidEdge(twinPrev)) {
        return false;
    }
    // The two edges that go take their imprint to those that take their places.
    const bool isLeftImprinted = EdgeAt(prev).imprinted == 1 || EdgeAt(Twin(prev)).imprinted == 1;
    const bool isRightImprinted =
        EdgeAt(twinNext).imprinted == 1 || EdgeAt(Twin(twinNext)).imprinted == 1;
    const int leftApex = EdgeAt(prev).node;
    const int rightApex = EdgeAt(twinPrev).node;
    const int leftFacet = EdgeAt(halfEdge).face;
    const int rightFacet = EdgeAt(twin).face;
    const FacetWords left = WordsOf(leftFacet);
    const FacetWords right = WordsOf(rightFacet);

    std::vector<int> around;
    std::vector<int> facets;
    this->VisitNodeEdges(b, [&](int e) {
        if (e != twin && this->IsValidEdge(e)) {
            around.push_back(PairOf(e));
            const int facet = EdgeAt(e).face;
            if (facet >= 0 && facet != leftFacet && facet != rightFacet) {
                facets.push_back(facet);
            }
        }
    });
    MakeRoom(moved, around.size());
    for (const int node : {a, leftApex, rightApex}) {
        const auto fans = fanStarts_.find(node);
        if (fans != fanStarts_.end()) {
            MakeRoom(fans->second, 1);
        }
    }
    replaced.insert_or_assign(b, a);
    if (!this->CollapseEdge(halfEdge, true, true)) {
        replaced.erase(b);
        return false;
    }
    moved.insert(moved.end(), around.begin(), around.end());
    for (const int gone : {halfEdge, prev, twinNext}) {
        splitHistory_.Forget(PairOf(gone));
    }
    KeepFan(a, next);
    KeepFan(leftApex, Twin(next));
    KeepFan(rightApex, twinPrev);
    const auto imprint = [&](int e) { EdgeAt(e).imprinted = EdgeAt(Twin(e)).imprinted = 1; };
    if (isLeftImprinted) {
        imprint(next);
    }
    if (isRightImprinted) {
        imprint(twinPrev);
    }
    Follow([&] {
        LeaveTree(left.treeSlot);
        LeaveTree(right.treeSlot);
        for (const int facet : facets) {
            LeaveTree(FaceAt(facet).treeSlot);
            EnterTree(facet);
        }
    });
    return true;
}

// Looks at the pairs in ascending order, as if it went over all of them: a pair that moves while
// the walk has not come to it yet still has its turn, one behind it has it in the next call.
template <class Tag>
void ImprintableMesh<Tag>::CollapseTouched(double limit, NodeReplacements& replaced)
{
    std::vector<int> pending = std::move(touchedPairs_);
    touchedPairs_.clear();
    std::vector<int> later;
    const bool isWhole = !(limit <= scannedLimit_);
    scannedLimit_ = -1; // until this is done
    std::vector<int> moved;
    const auto visit = [&](int pair) {
        moved.clear();
        if (!IsShort(pair, limit)) {
            return;
        }
        if (!CollapseInto(pair, replaced, moved) && !CollapseInto(Twin(pair), replaced, moved)) {
            later.push_back(pair);
        }
    };
    if (isWhole) {
        for (int pair = 0; pair < this->EdgeCount(); pair += 2) {
            visit(pair);
            std::copy_if(moved.begin(), moved.end(), std::back_inserter(later),
                         [&](int other) { return other <= pair; });
        }
    } else {
        std::priority_queue<int, std::vector<int>, std::greater<>> queue(std::greater<>{},
                                                                         std::move(pending));
        int last = -1;
        while (!queue.empty()) {
            const int pair = queue.top();
            queue.pop();
            if (pair == last) {
                continue;
            }
            last = pair;
            visit(pair);
            for (const int other : moved) {
                if (other > pair) {
                    queue.push(other);
                } else {
                    later.push_back(other);
                }
            }
        }
    }
    touchedPairs_ = std::move(later);
    scannedLimit_ = limit;
}

template <class Tag>
void ImprintableMesh<Tag>::CollapseShortEdges(double limit, NodeReplacements& replaced)
{
    replaced.clear();
    if (!(limit >= 0)) {
        return; // no edge is as short
    }
    CollapseTouched(limit, replaced);
    // A node may have gone into one that went itself: each leads to the last of its row.
    for (auto& [gone, stands] : replaced) {
        int last = stands;
        for (auto found = replaced.find(last); found != replaced.end();
             found = replaced.find(last)) {
            last = found->second;
        }
        for (int node = gone; node != last;) {
            node = std::exchange(replaced.find(node)->second, last);
        }
    }
}

} // namespace Velk::Math::Sorvane::Mesh::Impl

namespace Velk::Math::Sorvane::HalfEdge {
// clang-format off
template class HMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned char>>;
template class HMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned long long>>;
template class TriangleMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned char>>;
template class TriangleMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned long long>>;
// clang-format on
} // namespace Velk::Math::Sorvane::HalfEdge

namespace Velk::Math::Sorvane::Mesh::Impl {
template class ImprintableMesh<unsigned char>;
template class ImprintableMesh<unsigned long long>;
} // namespace Velk::Math::Sorvane::Mesh::Impl
