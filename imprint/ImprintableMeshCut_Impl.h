// Bodies of the imprintable mesh: cuts of edges and facets, and the collapse of short edges.
#pragma once

#include "imprint/ImprintableMesh_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <limits>
#include <queue>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {

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
    constexpr auto kShort = Velk::Math::Impl::kShortByFloor<double>;
    const auto measure = [&](int piece) {
        if (!this->IsValidEdge(piece)) {
            return;
        }
        const Vec3d& start = NodeAt(EdgeAt(piece).node).position;
        const Vec3d& end = NodeAt(EdgeAt(Twin(piece)).node).position;
        const double squared =
            Velk::Math::Impl::SquaredDistanceToSegment(start, end, point, kShort);
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
    // By rounding a point may have come off its edge, the farther the larger its coordinates.
    constexpr double kRoundingFraction = 1e-12;
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
    const bool isOdd = EdgeAt(e).isOdd;

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
    EdgeAt(half).isOdd = EdgeAt(Twin(half)).isOdd = isOdd;
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
    constexpr auto kShort = Velk::Math::Impl::kShortByFloor<double>;
    const SearchTree::Corners corners = CornerPoints(facet);
    const Vec3d normal = (corners[1] - corners[0]) ^ (corners[2] - corners[0]);
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d& start = corners[i];
        const Vec3d& end = corners[(i + 1) % 3];
        const bool isInside = ((end - start) ^ (point - start)) * normal > 0;
        if (!isInside || Velk::Math::Impl::SquaredDistanceToSegment(start, end, point, kShort) <=
                             tolerance_ * tolerance_) {
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
    const bool isLeftOdd = EdgeAt(prev).isOdd;
    const bool isRightOdd = EdgeAt(twinNext).isOdd;
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
    const auto addPaths = [&](int e, bool areOdd) {
        EdgeAt(e).isOdd = EdgeAt(Twin(e)).isOdd = EdgeAt(e).isOdd != areOdd;
    };
    addPaths(next, isLeftOdd);
    addPaths(twinPrev, isRightOdd);
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
