// DelaunayMesher: insertion of points and the flips that follow.
#pragma once

#include "triangulation/InsertionHints_Impl.h"
#include "triangulation/PlanePredicates_Impl.h"
#include "triangulation/UsablePoints_Impl.h"

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Sorvane/Triangle_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <typeinfo>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

/// Doubled area at and below which a point counts as on the side of a face.
inline constexpr double kOnSideDoubleArea = 1e-10;
/// Share of an area by which its parts may miss it.
inline constexpr double kFacePartsSlack = 1e-10;
inline constexpr double kQuadPartsSlack = 1e-11;
/// Below this many points the walk from the point before is as short as any.
inline constexpr std::size_t kFewPoints = 64;

} // namespace Impl

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::Triangulate()
{
    const std::size_t count = points.size();
    this->Clear();
    // Three edges a node in the end, those of the outer triangle included.
    this->Reserve(2 * count, 6 * (count + 1), 3 * count);
    hasOuterTriangle = false;
    hintFace = -1;
    if (!Mesh::Impl::AreUsable(points)) {
        return false;
    }
    MakeOuterTriangle();
    // A derived mesher may look edges up, edit the mesh in its hook, and override the edits.
    pairsAreDeferred_ = typeid(*this) == typeid(DelaunayMesher);
    const bool all = InsertAll();
    if (pairsAreDeferred_) {
        pairsAreDeferred_ = false;
        EnterNodePairs();
    }
    return all;
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::InsertAll()
{
    const std::size_t count = points.size();
    const bool hasHints = count >= Impl::kFewPoints;
    const std::vector<int> near = hasHints ? Impl::EarlierNeighbors(points) : std::vector<int>{};
    for (std::size_t i = 0; i < count; ++i) {
        if (hasHints && near[i] >= 0) {
            StartFrom(near[i] + kOuterNodes);
        }
        const int node = InsertPoint(points[i]);
        if (node == kNoNode) {
            return false;
        }
        OnPointInserted(static_cast<int>(i), node);
    }
    return true;
}

// The next location begins at a face of the node, if there is one.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::StartFrom(int node)
{
    const int edge = this->IsValidNode(node) ? NodeAt(node).edge : kNotSet;
    if (this->IsValidEdge(edge) && EdgeAt(edge).face >= 0) {
        hintFace = EdgeAt(edge).face;
    }
}

// The table anew: flips did not enter theirs, which is most of the table's work. While points are
// inserted nobody asks for an edge between two old nodes.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::EnterNodePairs()
{
    this->nodePairs_.Clear();
    for (int e = 0; e < this->EdgeCount(); e += 2) {
        if (this->IsValidEdge(e)) {
            this->nodePairs_.Insert(EdgeAt(e).node, EdgeAt(Twin(e)).node, e);
        }
    }
}

// Three corners far out, none of them where an equilateral triangle has it: 15 degrees below the
// horizontal to either side, and straight up.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::MakeOuterTriangle()
{
    Vec2d low = points.empty() ? Vec2d() : ToDouble(points.front());
    Vec2d high = low;
    for (const Point& point : points) {
        for (int axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], static_cast<double>(point[axis]));
            high[axis] = std::max(high[axis], static_cast<double>(point[axis]));
        }
    }
    constexpr double kAngle = 0.2617993877991494;
    const Vec2d center = 0.5 * (low + high);
    const double r = 5 * Length(center - low);
    const std::array<Vec2d, 3> directions{Vec2d(-std::cos(kAngle), -std::sin(kAngle)),
                                          Vec2d(std::cos(kAngle), -std::sin(kAngle)), Vec2d(0, 1)};
    std::vector<int> corners;
    for (const Vec2d& direction : directions) {
        const Vec2d corner = center + r * direction;
        Node record{};
        record.position = Point(corner.x(), corner.y());
        corners.push_back(this->AddNode(record));
    }
    hintFace = this->AddFace(corners);
    this->LinkBoundaryEdges(); // so that rings of the outer nodes run all the way
    hasOuterTriangle = true;
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::OnPointInserted(int, int)
{
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsEdgeLocked(int halfEdge) const
{
    return IsConstrained(halfEdge);
}

// By its mark alone: a derived mesher may lock more edges than that.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsConstrained(int halfEdge) const
{
    return this->IsValidEdge(halfEdge) &&
           (EdgeAt(halfEdge).constrained || EdgeAt(Twin(halfEdge)).constrained);
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsNodeLocked(int node) const
{
    bool isLocked = this->IsValidNode(node) && NodeAt(node).fromInput;
    this->VisitNodeEdges(node, [&](int e) { isLocked = isLocked || this->IsEdgeLocked(e); });
    return isLocked;
}

// --- insertion ----------------------------------------------------------------------------------

template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::InsertPoint(const Point& point)
{
    const DelaunayLocation location = Locate(point);
    int node = kNoNode;
    if (location.kind == DelaunayLocation::Kind::Face) {
        node = InsertInFace(location.index, point);
    } else if (location.kind == DelaunayLocation::Kind::Edge) {
        node = InsertOnEdge(location.index, point);
    }
    if (node == kNoNode) {
        return kNoNode;
    }
    NodeAt(node).fromInput = true;
    int firstFace = -1;
    this->VisitNodeEdges(node, [&](int e) {
        if (firstFace < 0 && this->IsValidEdge(e)) {
            firstFace = EdgeAt(e).face;
        }
    });
    hintFace = firstFace >= 0 ? firstFace : PseudoRandomFace(hintFace);
    Legalize(node);
    return node;
}

template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::InsertInFace(int face, const Point& point)
{
    const std::array<int, 3> sides = this->Sides(face);
    const std::array<int, 3> corners = this->Corners(face);
    const Vec2d p = ToDouble(point);
    const std::array<Vec2d, 3> at{At(corners[0]), At(corners[1]), At(corners[2])};

    double whole = 0;
    std::array<double, 3> parts;
    const auto measure = [&](auto doubleArea) {
        whole = doubleArea(at[0], at[1], at[2]);
        for (std::size_t k = 0; k < 3; ++k) {
            parts[k] = doubleArea(p, at[k], at[(k + 1) % 3]);
        }
    };
    const auto isInside = [&] {
        return std::all_of(parts.begin(), parts.end(),
                           [](double part) { return part > Impl::kOnSideDoubleArea; });
    };
    const auto addUp = [&] {
        return std::fabs(whole - (parts[0] + parts[1] + parts[2])) <=
               std::fabs(whole * Impl::kFacePartsSlack);
    };
    measure(Impl::DoubleArea);
    if (isInside() && !addUp()) {
        measure(Impl::AccurateDoubleArea);
    }
    if (!isInside()) {
        // Too near to a side to leave a triangle there: onto the nearest side.
        int nearest = -1;
        double least = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const double squared =
                Impl::SquaredDistanceToSegment(at[k], at[(k + 1) % 3], p, kLengthFloor<T>);
            if (nearest < 0 || squared < least) {
                nearest = sides[k];
                least = squared;
            }
        }
        return InsertOnEdge(nearest, point);
    }
    int node = kNoNode;
    if (2 * minDoubleArea > whole || !addUp() ||
        !(pairsAreDeferred_ ? SplitWithoutPairs(face, node) : this->SplitFace(face, node, true))) {
        return kNoNode;
    }
    NodeAt(node).position = point;
    const int region = FaceAt(face).region;
    this->VisitNodeEdges(node, [&](int e) { FaceAt(EdgeAt(e).face).region = region; });
    return node;
}

template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::InsertOnEdge(int halfEdge, const Point& point)
{
    const std::array<int, 4> quad = this->Diamond(halfEdge);
    if (*std::min_element(quad.begin(), quad.end()) < 0) {
        if (!this->IsBoundaryEdge(halfEdge, true)) {
            return kNoNode;
        }
    } else {
        const Vec2d p = ToDouble(point);
        const Vec2d a = At(quad[0]);
        const Vec2d b = At(quad[1]);
        const Vec2d c = At(quad[2]);
        const Vec2d d = At(quad[3]);
        const auto areAround = [&](auto doubleArea) {
            const double whole = doubleArea(a, b, c) + doubleArea(b, a, d);
            const std::array<double, 4> parts{doubleArea(p, b, c), doubleArea(p, c, a),
                                              doubleArea(p, a, d), doubleArea(p, d, b)};
            const double sum = parts[0] + parts[1] + parts[2] + parts[3];
            return std::fabs(whole - sum) <= std::fabs(whole * Impl::kQuadPartsSlack) &&
                   *std::min_element(parts.begin(), parts.end()) > 0;
        };
        if (!areAround(Impl::DoubleArea) && !areAround(Impl::AccurateDoubleArea)) {
            return kNoNode;
        }
    }
    return SplitEdgeAtPoint(halfEdge, point);
}

template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::SplitEdgeAtPoint(int halfEdge, const Point& point)
{
    const bool isConstrained = IsConstrained(halfEdge);
    const int end = EdgeAt(Twin(halfEdge)).node;
    const auto regionOf = [&](int e) {
        return EdgeAt(e).face >= 0 ? FaceAt(EdgeAt(e).face).region : 0;
    };
    const int leftRegion = regionOf(halfEdge);
    const int rightRegion = regionOf(Twin(halfEdge));
    int node = kNoNode;
    if (!this->SplitEdge(halfEdge, node, true, true)) {
        return kNoNode;
    }
    NodeAt(node).position = point;
    const int half = this->FindEdge(node, end);
    SetConstrained(halfEdge, isConstrained);
    SetConstrained(half, isConstrained);
    if (EdgeAt(half).face >= 0) {
        FaceAt(EdgeAt(half).face).region = leftRegion;
    }
    if (EdgeAt(Twin(half)).face >= 0) {
        FaceAt(EdgeAt(Twin(half)).face).region = rightRegion;
    }
    return node;
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::SetConstrained(int halfEdge, bool constrained)
{
    EdgeAt(halfEdge).constrained = constrained;
    EdgeAt(Twin(halfEdge)).constrained = constrained;
}

// --- flips --------------------------------------------------------------------------------------

// Each flip gives the node one more edge, and it never loses one: at most as many flips as nodes.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::Legalize(int node)
{
    edgesToCheck_.clear();
    this->VisitNodeEdges(node, [&](int e) {
        if (this->IsValidEdge(e) && EdgeAt(e).face >= 0) {
            edgesToCheck_.emplace_back(EdgeAt(e).next, EdgeAt(e).face);
        }
    });
    while (!edgesToCheck_.empty()) {
        const auto [edge, face] = edgesToCheck_.back();
        edgesToCheck_.pop_back();
        if (edge < 0 || face < 0 || this->IsEdgeLocked(edge) || EdgeAt(Twin(edge)).face < 0 ||
            !MustFlip(edge)) {
            continue;
        }
        const int firstSide = EdgeAt(Twin(edge)).next;
        const int secondSide = EdgeAt(Twin(edge)).prev;
        if (pairsAreDeferred_ ? FlipWithoutPairs(edge) : this->FlipEdge(edge, true)) {
            edgesToCheck_.emplace_back(firstSide, EdgeAt(firstSide).face);
            edgesToCheck_.emplace_back(secondSide, EdgeAt(secondSide).face);
        }
    }
}

// `FlipEdge` for an edge known to have two triangles, without the table of node pairs.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::FlipWithoutPairs(int halfEdge)
{
    const int twin = Twin(halfEdge);
    Edge& edge = EdgeAt(halfEdge);
    Edge& back = EdgeAt(twin);
    const int next = edge.next;
    const int prev = edge.prev;
    const int backNext = back.next;
    const int backPrev = back.prev;
    NodeAt(edge.node).edge = backNext;
    NodeAt(back.node).edge = next;
    edge.node = EdgeAt(backPrev).node;
    back.node = EdgeAt(prev).node;
    NodeAt(edge.node).edge = backPrev;
    NodeAt(back.node).edge = prev;
    LinkTriangle(edge.face, halfEdge, prev, backNext);
    LinkTriangle(back.face, twin, backPrev, next);
    return true;
}

// `SplitFace` in a mesh without deleted records, without the table of node pairs.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::SplitWithoutPairs(int face, int& newNode)
{
    const std::array<int, 3> sides = this->Sides(face);
    newNode = this->AddNode(Node{});
    const int firstSpoke = this->EdgeCount();
    this->edges_.resize(this->edges_.size() + 6);
    for (int k = 0; k < 3; ++k) {
        const int spoke = firstSpoke + 2 * k; // from corner k to the new node
        const int corner = EdgeAt(sides[static_cast<std::size_t>(k)]).node;
        EdgeAt(spoke).node = corner;
        EdgeAt(spoke).twin = spoke + 1;
        EdgeAt(spoke + 1).node = newNode;
        EdgeAt(spoke + 1).twin = spoke;
        NodeAt(corner).edge = spoke;
        NodeAt(newNode).edge = spoke + 1;
    }
    for (int k = 0; k < 3; ++k) {
        const int side = sides[static_cast<std::size_t>(k)];
        LinkTriangle(k == 0 ? face : this->NewFace(side), side, firstSpoke + 2 * ((k + 1) % 3),
                     firstSpoke + 2 * k + 1);
    }
    return true;
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::LinkTriangle(int face, int first, int second, int third)
{
    FaceAt(face).edge = first;
    Edge& e1 = EdgeAt(first);
    Edge& e2 = EdgeAt(second);
    Edge& e3 = EdgeAt(third);
    e1.next = second;
    e2.next = third;
    e3.next = first;
    e1.prev = third;
    e2.prev = first;
    e3.prev = second;
    e1.face = face;
    e2.face = face;
    e3.face = face;
}

// The nodes of an edge with triangles on both sides, as `Diamond` gives them.
template <class Node, class Edge, class Facet>
std::array<int, 4> DelaunayMesher<Node, Edge, Facet>::QuadOf(int halfEdge) const
{
    const Edge& edge = EdgeAt(halfEdge);
    const Edge& back = EdgeAt(Twin(halfEdge));
    return {edge.node, back.node, EdgeAt(edge.prev).node, EdgeAt(back.prev).node};
}

// An outer corner stands for one at infinity: alone on an edge it must give way, alone opposite an
// edge it demands nothing.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::MustFlip(int halfEdge) const
{
    const std::array<int, 4> quad = QuadOf(halfEdge);
    const std::array<Vec2d, 4> at{At(quad[0]), At(quad[1]), At(quad[2]), At(quad[3])};
    const auto isConvex = [&] { return Impl::IsConvexQuad(at[0], at[1], at[2], at[3]); };
    if (hasOuterTriangle && std::count_if(quad.begin(), quad.end(), IsOuter) == 1) {
        return (IsOuter(quad[0]) || IsOuter(quad[1])) && isConvex();
    }
    // The quick answer wherever it is clear.
    const int side = flipTolerance == 0 ? Impl::SideOfCircle(at[0], at[1], at[2], at[3]) : 0;
    return side <= 0 && (side < 0 || !IsLocallyDelaunay(halfEdge, flipTolerance)) && isConvex();
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsConvexQuad(int halfEdge) const
{
    const auto [a, b, c, d] = this->Diamond(halfEdge);
    return a >= 0 && b >= 0 && c >= 0 && d >= 0 && Impl::IsConvexQuad(At(a), At(b), At(c), At(d));
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsLocallyDelaunay(int halfEdge, T tolerance) const
{
    const auto [a, b, c, d] = this->Diamond(halfEdge);
    if (a < 0 || b < 0 || c < 0 || d < 0) {
        return true;
    }
    const Vec2d pa = At(a);
    const Vec2d pb = At(b);
    const Vec2d pc = At(c);
    const Vec2d pd = At(d);
    if (tolerance == 0) {
        // The same question without roots and arc tangents, wherever the answer is clear.
        const int side = Impl::SideOfCircle(pa, pb, pc, pd);
        if (side != 0) {
            return side > 0;
        }
    }
    return Mesh::LocallyDelaunayEdge(Length(pb - pa), Length(pa - pc), Length(pb - pc),
                                     Length(pd - pb), Length(pa - pd),
                                     static_cast<double>(tolerance));
}

} // namespace Velk::Math::Sorvane::HalfEdge
