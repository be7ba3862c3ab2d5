// DelaunayMesher: insertion of points and the flips that follow.
#pragma once

#include "triangulation/InsertionHints_Impl.h"
#include "triangulation/OuterTriangle_Impl.h"
#include "triangulation/PlanePredicates_Impl.h"
#include "triangulation/PointDelaunay_Impl.h"

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Sorvane/Triangle_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <typeinfo>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

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
    if (!Math::Impl::AreUsable(points)) {
        return false;
    }
    MakeOuterTriangle();
    // A derived mesher may look edges up, edit the mesh in its hook, and override the edits.
    if (typeid(*this) == typeid(DelaunayMesher) && TakeOverDelaunay()) {
        return true;
    }
    const bool hasHints = count >= Impl::kFewPoints;
    return InsertInOrder(hasHints ? Impl::EarlierNeighbors(points) : std::vector<int>(count, -1));
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::InsertInOrder(const std::vector<int>& near)
{
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (near[i] >= 0) {
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

// Makes the mesh from the triangulation of all points at once. False, with nothing changed, where
// the points have to go in one by one: few of them, settings that refuse points, points that may
// repeat each other, points on a line.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::TakeOverDelaunay()
{
    if (points.size() < Impl::kFewPoints || flipTolerance != 0 || minDoubleArea > kLengthFloor<T>) {
        return false;
    }
    std::vector<Vec2d> positions;
    positions.reserve(points.size());
    for (const Point& point : points) {
        positions.push_back(ToDouble(point));
    }
    Impl::PointDelaunay delaunay = Impl::DelaunayOfPoints(positions);
    if (delaunay.outcome != Impl::PointDelaunay::Outcome::Done ||
        Impl::HasEdgeWithin(delaunay.table, 2 * static_cast<double>(kLengthFloor<T>)) ||
        !Impl::EncloseInTriangle(delaunay.table, {At(0), At(1), At(2)})) {
        return false;
    }
    const std::vector<Impl::TriangleTable::Triangle>& triangles = delaunay.table.triangles;
    // A hull that comes near to an outer corner gives it triangles the other way round.
    for (const Impl::TriangleTable::Triangle& triangle : triangles) {
        const auto [a, b, c] = triangle.nodes;
        const auto at = [&](int node) {
            return node < kOuterNodes ? At(node)
                                      : positions[static_cast<std::size_t>(node - kOuterNodes)];
        };
        if (std::min({a, b, c}) < kOuterNodes && Impl::Side(at(a), at(b), at(c)) <= 0) {
            return false;
        }
    }
    for (const Point& point : points) {
        Node record{};
        record.position = point;
        record.fromInput = true;
        this->nodes_.push_back(record);
    }
    TakeOver(triangles);
    EnterNodePairs();
    this->RecountDegrees();
    hintFace = 0;
    return true;
}

// The half-edges of a side get their numbers where the first of them is met.
template <class Node, class Edge, class Facet>
template <class Triangles>
void DelaunayMesher<Node, Edge, Facet>::TakeOver(const Triangles& triangles)
{
    using Table = Impl::TriangleTable;
    // One by one: the table has room for all edges, and to clear it would write all of that.
    for (int e = 0; e < this->EdgeCount(); e += 2) {
        this->nodePairs_.Erase(EdgeAt(e).node, EdgeAt(Twin(e)).node, e);
    }
    this->edges_.clear();
    this->faces_.resize(triangles.size());
    std::vector<int> numbers(4 * triangles.size(), kNotSet); // of half-edges, by those of the table
    std::vector<int> boundary; // the three half-edges round the outer triangle
    for (int t = 0; t < static_cast<int>(triangles.size()); ++t) {
        const Table::Triangle& triangle = triangles[static_cast<std::size_t>(t)];
        std::array<int, 3> sides;
        for (std::size_t k = 0; k < 3; ++k) {
            int& number = numbers[4 * static_cast<std::size_t>(t) + k];
            if (number == kNotSet) {
                number = this->EdgeCount();
                AddSide(triangle.nodes[k], triangle.nodes[(k + 1) % 3]);
                if (triangle.twins[k] >= 0) {
                    numbers[static_cast<std::size_t>(triangle.twins[k])] = Twin(number);
                } else {
                    boundary.push_back(Twin(number));
                }
            }
            sides[k] = number;
            NodeAt(triangle.nodes[k]).edge = number;
        }
        LinkTriangle(t, sides[0], sides[1], sides[2]);
    }
    for (const int before : boundary) {
        for (const int after : boundary) {
            if (EdgeAt(Twin(before)).node == EdgeAt(after).node) {
                this->Link(before, after);
            }
        }
    }
}

// Two half-edges between nodes, not in any face yet.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::AddSide(int origin, int destination)
{
    const int half = this->EdgeCount();
    for (const int twin : {half + 1, half}) {
        Edge& edge = this->edges_.emplace_back();
        edge.node = twin > half ? origin : destination;
        edge.twin = twin;
    }
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

// The table of node pairs anew, for all edges there are.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::EnterNodePairs()
{
    constexpr int kAhead = 32; // edges whose places in the table are on their way
    this->nodePairs_.Clear();
    for (int e = 0; e < this->EdgeCount(); e += 2) {
        if (e + kAhead < this->EdgeCount()) {
            this->nodePairs_.Prefetch(EdgeAt(e + kAhead).node, EdgeAt(Twin(e + kAhead)).node);
        }
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
        for (const int side : {location.index, Twin(location.index)}) {
            if (node == kNoNode && IsStrictlyInside(EdgeAt(side).face, point)) {
                node = SplitFaceAtPoint(EdgeAt(side).face, point);
            }
        }
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
    const std::array<int, 3> corners = this->Corners(face);
    const Impl::PlaceInTriangle place =
        Impl::InsertionPlace({At(corners[0]), At(corners[1]), At(corners[2])}, ToDouble(point),
                             minDoubleArea, Impl::kFloor<T>);
    int node = kNoNode;
    if (place.kind == Impl::PlaceInTriangle::Kind::Side) {
        const int side = this->Sides(face)[static_cast<std::size_t>(place.number)];
        node = InsertOnEdge(side, point);
        // The quad of the side need not hold the point: a corner of it may be as near. Then the
        // triangle takes it, however small its parts.
        if (node == kNoNode && IsStrictlyInside(face, point)) {
            node = SplitFaceAtPoint(face, point);
        }
    } else if (place.kind == Impl::PlaceInTriangle::Kind::Inside) {
        node = SplitFaceAtPoint(face, point);
    }
    return node;
}

/// Exactly, whatever the floor.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsStrictlyInside(int face, const Point& point) const
{
    const std::array<int, 3> corners = this->Corners(face);
    return corners[0] >= 0 &&
           Impl::IsStrictlyInside({At(corners[0]), At(corners[1]), At(corners[2])},
                                  ToDouble(point));
}

template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::SplitFaceAtPoint(int face, const Point& point)
{
    int node = kNoNode;
    if (!this->SplitFace(face, node, true)) {
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
    const auto [a, b, c, d] = this->Diamond(halfEdge);
    if (std::min({a, b, c, d}) < 0) {
        if (!this->IsBoundaryEdge(halfEdge, true)) {
            return kNoNode;
        }
    } else if (!Impl::FillsQuad(At(a), At(b), At(c), At(d), ToDouble(point))) {
        return kNoNode;
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
        if (this->FlipEdge(edge, true)) {
            edgesToCheck_.emplace_back(firstSide, EdgeAt(firstSide).face);
            edgesToCheck_.emplace_back(secondSide, EdgeAt(secondSide).face);
        }
    }
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
    if (flipTolerance != 0) {
        return !Impl::IsLocallyDelaunay(at[0], at[1], at[2], at[3], flipTolerance) && isConvex();
    }
    // A point in the circle of the triangle across the edge sees the edge between the other two.
    return Impl::Side(at[0], at[1], at[2]) > 0 && Impl::Side(at[1], at[0], at[3]) > 0 &&
           Impl::IsInCircle(at[0], at[1], at[2], at[3]);
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
    return Impl::IsLocallyDelaunay(At(a), At(b), At(c), At(d), tolerance);
}

} // namespace Velk::Math::Sorvane::HalfEdge
