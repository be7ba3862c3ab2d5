// DelaunayMesher: segments forced into the mesh.
#pragma once

#include "triangulation/MonotonePartitioner_Impl.h"
#include "triangulation/PlanePredicates_Impl.h"

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/DelaunayTriangulation_E.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace Velk::Math::Sorvane::HalfEdge {

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::InsertEdge(int a, int b)
{
    if (a == b || !this->IsValidNode(a) || !this->IsValidNode(b)) {
        return false;
    }
    const int existing = this->FindEdge(a, b);
    if (existing >= 0) {
        SetConstrained(existing, true);
        return true;
    }
    Channel channel;
    if (!FindChannel(a, b, channel)) {
        return false;
    }
    ClearChannel(channel);
    const int constraint = this->FindOrAddEdge(a, b);
    if (constraint < 0) {
        AssertSites::Report(AssertSites::kInsertEdge);
        return false;
    }
    SetConstrained(constraint, true);

    std::vector<int> loop{a, b};
    loop.insert(loop.end(), channel.left.rbegin(), channel.left.rend());
    FillCavity(loop);
    loop.assign({b, a});
    loop.insert(loop.end(), channel.right.begin(), channel.right.end());
    FillCavity(loop);
    Legalize(a);
    Legalize(b);
    return true;
}

// --- the channel that a segment crosses ---------------------------------------------------------

// The half-edge opposite `a` through which the segment leaves the faces round `a`: its origin lies
// strictly right of the segment, its end strictly left, `b` beyond.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::FindFirstCrossed(int a, int b, int& halfEdge) const
{
    halfEdge = kNotSet;
    const Vec2d from = At(a);
    const Vec2d to = At(b);
    this->VisitNodeEdges(a, [&](int leaving) {
        if (halfEdge >= 0 || !this->IsValidEdge(leaving) || EdgeAt(leaving).face < 0) {
            return;
        }
        const int opposite = EdgeAt(leaving).next;
        if (!this->IsValidEdge(opposite)) {
            return;
        }
        const Vec2d right = At(EdgeAt(opposite).node);
        const Vec2d left = At(EdgeAt(Twin(opposite)).node);
        if (Impl::Side(from, to, right) < 0 && Impl::Side(from, to, left) > 0 &&
            Impl::Side(right, left, to) < 0) {
            halfEdge = opposite;
        }
    });
    return halfEdge >= 0;
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::FindChannel(int a, int b, Channel& channel) const
{
    const Vec2d from = At(a);
    const Vec2d to = At(b);
    const double squaredFloor = kSquaredLengthFloor<T>;
    // A node within the floor of the segment is on it: the segment would have to end there.
    const auto touches = [&](int node) {
        return Impl::SquaredDistanceToSegment(from, to, At(node), kLengthFloor<T>) <= squaredFloor;
    };
    int crossed = kNotSet;
    if (!FindFirstCrossed(a, b, crossed)) {
        return false;
    }
    channel.faces.push_back(EdgeAt(crossed).face);
    channel.right.push_back(EdgeAt(crossed).node);
    channel.left.push_back(EdgeAt(Twin(crossed)).node);
    if (touches(channel.right.back()) || touches(channel.left.back())) {
        return false;
    }
    for (int step = 0; step <= this->FaceCount(); ++step) {
        channel.edges.push_back(crossed);
        const int entered = Twin(crossed);
        const int face = EdgeAt(entered).face;
        const int onRight = this->IsValidFace(face) ? EdgeAt(entered).next : kNotSet;
        const int onLeft = this->IsValidFace(face) ? EdgeAt(entered).prev : kNotSet;
        if (!this->IsValidEdge(onRight) || !this->IsValidEdge(onLeft)) {
            return false;
        }
        channel.faces.push_back(face);
        // `entered` runs from left to right, so its follower starts at the right node and ends at
        // the apex, and the one after that returns from the apex to the left node.
        const int apex = EdgeAt(onLeft).node;
        if (apex == b) {
            return true;
        }
        const int side = touches(apex) ? 0 : Impl::Side(from, to, At(apex));
        if (side == 0) {
            return false;
        }
        (side > 0 ? channel.left : channel.right).push_back(apex);
        crossed = side > 0 ? onRight : onLeft;
    }
    return false;
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::ClearChannel(const Channel& channel)
{
    for (const int face : channel.faces) {
        Detach(face);
    }
    for (const int edge : channel.edges) {
        this->RemoveEdge(edge);
    }
    hintFace = -1;
}

// Deletes a face; its half-edges stay, without face and without links.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::Detach(int face)
{
    for (const int side : this->Sides(face)) {
        if (side >= 0) {
            EdgeAt(side).face = kNoFace;
            EdgeAt(side).next = kNotSet;
            EdgeAt(side).prev = kNotSet;
        }
    }
    this->RemoveFace(face);
}

// --- the cavities beside it ---------------------------------------------------------------------

// `loop` runs counter-clockwise round the cavity and starts with the constraint. A node may stand
// in it twice, with an edge that hangs into the cavity.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::FillCavity(const std::vector<int>& loop)
{
    if (loop.size() == 3) {
        AddCavityTriangle(loop[0], loop[1], loop[2]);
    } else if (!(loop.size() == 4 ? FillQuad(loop) : FillByPartition(loop))) {
        FillByApexes(loop);
    }
    hintFace = EdgeAt(this->FindEdge(loop[0], loop[1])).face;
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::AddCavityTriangle(int a, int b, int c)
{
    const std::array<int, 3> corners{a, b, c};
    std::array<int, 3> sides;
    return this->FindOrAddFreeEdges(corners, sides) && this->LinkFace(sides) >= 0;
}

// What the partition with its flips makes of four nodes: the Delaunay diagonal, if both are
// diagonals.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::FillQuad(const std::vector<int>& loop)
{
    const auto isTriangle = [&](std::size_t i, std::size_t j, std::size_t k) {
        return Impl::Side(At(loop[i]), At(loop[j]), At(loop[k])) > 0;
    };
    const bool first = isTriangle(0, 1, 2) && isTriangle(0, 2, 3);
    const bool second = isTriangle(0, 1, 3) && isTriangle(1, 2, 3);
    if (!first && !second) {
        return false;
    }
    const bool takeSecond = second && (!first || Impl::SideOfCircle(At(loop[2]), At(loop[0]),
                                                                    At(loop[1]), At(loop[3])) < 0);
    if (takeSecond) {
        return AddCavityTriangle(loop[0], loop[1], loop[3]) &&
               AddCavityTriangle(loop[1], loop[2], loop[3]);
    }
    return AddCavityTriangle(loop[0], loop[1], loop[2]) &&
           AddCavityTriangle(loop[0], loop[2], loop[3]);
}

// False, with nothing added, where the loop is no simple polygon, be it by a hanging edge, and
// where the partition does not cover it with sound triangles.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::FillByPartition(const std::vector<int>& loop)
{
    std::vector<int> sorted = loop;
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
        return false;
    }
    std::vector<Point> outline;
    outline.reserve(loop.size());
    for (const int node : loop) {
        outline.push_back(NodeAt(node).position);
    }
    // As it runs: the signed area of a needle is not to be relied on.
    Mesh::MonotonePartitioner<T> partitioner(outline, Mesh::OutlineTurn::TakeAsGiven);
    partitioner.Partition();
    if (!partitioner.TriangulateFaces()) {
        return false;
    }
    partitioner.ImproveDelaunay();
    std::vector<int> corners;
    partitioner.WriteIndices(corners);
    if (corners.size() != 3 * (loop.size() - 2)) {
        return false;
    }
    for (int& corner : corners) {
        corner = loop[static_cast<std::size_t>(corner)];
    }
    for (std::size_t k = 0; k + 2 < corners.size(); k += 3) {
        if (Impl::Side(At(corners[k]), At(corners[k + 1]), At(corners[k + 2])) <= 0) {
            return false;
        }
    }
    for (std::size_t k = 0; k + 2 < corners.size(); k += 3) {
        AddCavityTriangle(corners[k], corners[k + 1], corners[k + 2]);
    }
    return true;
}

// For loops of any kind: the chain above an edge is split at the node whose circle with the edge
// holds no other of the chain, and so on above the two new edges.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::FillByApexes(const std::vector<int>& loop)
{
    std::vector<int> chain(loop.begin() + 1, loop.end());
    chain.push_back(loop.front());
    std::vector<std::pair<int, int>> open{{0, static_cast<int>(chain.size()) - 1}};
    while (!open.empty()) {
        const auto [first, last] = open.back();
        open.pop_back();
        if (last - first < 2) {
            continue;
        }
        const int apex = BestApex(chain, first, last);
        const auto node = [&](int place) { return chain[static_cast<std::size_t>(place)]; };
        AddCavityTriangle(node(last), node(first), node(apex));
        open.emplace_back(first, apex);
        open.emplace_back(apex, last);
    }
}

// Between `first` and `last`, exclusively. Where no node lies on the inner side, which rounding
// alone can bring about, the one after `first`.
template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::BestApex(const std::vector<int>& chain, int first,
                                                int last) const
{
    const auto at = [&](int place) { return At(chain[static_cast<std::size_t>(place)]); };
    const auto node = [&](int place) { return chain[static_cast<std::size_t>(place)]; };
    int best = -1;
    for (int place = first + 1; place < last; ++place) {
        if (node(place) == node(first) || node(place) == node(last) ||
            Impl::Side(at(last), at(first), at(place)) <= 0) {
            continue;
        }
        // `place` lies inside the circle when it sees the edge under a wider angle.
        const auto cross = [&](int k) { return (at(last) - at(k)) ^ (at(first) - at(k)); };
        const auto dot = [&](int k) { return (at(last) - at(k)) * (at(first) - at(k)); };
        if (best < 0 || dot(place) * cross(best) < dot(best) * cross(place)) {
            best = place;
        }
    }
    return best < 0 ? first + 1 : best;
}

} // namespace Velk::Math::Sorvane::HalfEdge
