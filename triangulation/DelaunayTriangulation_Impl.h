// DelaunayMesher: insertion of points and the flips that follow.
#pragma once

#include "mathbase/Values_Impl.h"
#include "triangulation/DelaunayTriangulationSteps_Impl.h"
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

// --- what a host calls --------------------------------------------------------------------------

// Not in the class: compilers differ on whether an inline destructor of a template that is compiled
// elsewhere is exported.
template <class Node, class Edge, class Facet>
DelaunayMesher<Node, Edge, Facet>::~DelaunayMesher() = default;

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::Triangulate()
{
    const std::size_t count = points.size();
    const auto empty = [&] {
        this->Clear();
        hasOuterTriangle = false;
        hintFace = -1;
    };
    empty();
    try {
        // Three edges a node in the end, those of the outer triangle included.
        this->Reserve(2 * count, 6 * (count + 1), 3 * count);
        if (!Math::Impl::AreUsable(points)) {
            return false;
        }
        Impl::MesherSteps steps(*this);
        steps.MakeOuterTriangle();
        // A derived mesher may look edges up, edit the mesh in its hook, and override the edits.
        if (typeid(*this) == typeid(DelaunayMesher) && steps.TakeOverDelaunay()) {
            return true;
        }
        const bool hasHints = count >= Impl::kFewPoints;
        return steps.InsertInOrder(hasHints ? Impl::EarlierNeighbors(points)
                                            : std::vector<int>(count, -1));
    } catch (...) { // memory has run out, or a derived mesher's hook has thrown
        empty();
        throw;
    }
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::OnPointInserted(int, int)
{
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsEdgeLocked(int halfEdge) const
{
    return Impl::MesherSteps(*this).IsConstrained(halfEdge);
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsNodeLocked(int node) const
{
    bool isLocked = this->IsValidNode(node) && this->NodeAt(node).fromInput;
    this->VisitNodeEdges(node, [&](int e) { isLocked = isLocked || this->IsEdgeLocked(e); });
    return isLocked;
}

template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::InsertPoint(const Point& point)
{
    Impl::MesherSteps steps(*this);
    const DelaunayLocation location = Locate(point);
    int node = kNoNode;
    if (location.kind == DelaunayLocation::Kind::Face) {
        node = steps.InsertInFace(location.index, point);
    } else if (location.kind == DelaunayLocation::Kind::Edge) {
        node = steps.InsertOnEdge(location.index, point);
        for (const int side : {location.index, this->Twin(location.index)}) {
            if (node == kNoNode && steps.IsStrictlyInside(this->EdgeAt(side).face, point)) {
                node = steps.SplitFaceAtPoint(this->EdgeAt(side).face, point);
            }
        }
    }
    if (node == kNoNode) {
        return kNoNode;
    }
    this->NodeAt(node).fromInput = true;
    int firstFace = -1;
    this->VisitNodeEdges(node, [&](int e) {
        if (firstFace < 0 && this->IsValidEdge(e)) {
            firstFace = this->EdgeAt(e).face;
        }
    });
    hintFace = firstFace >= 0 ? firstFace : steps.PseudoRandomFace(hintFace);
    Legalize(node);
    return node;
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::Legalize(int node)
{
    Impl::MesherSteps(*this).LegalizeAround(node);
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsConvexQuad(int halfEdge) const
{
    return Impl::MesherSteps(*this).IsConvexQuad(halfEdge);
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsLocallyDelaunay(int halfEdge, T tolerance) const
{
    return Impl::MesherSteps(*this).IsLocallyDelaunay(halfEdge, tolerance);
}

namespace Impl {

// --- triangulation ------------------------------------------------------------------------------

template <class Mesher>
bool MesherSteps<Mesher>::InsertInOrder(const std::vector<int>& near)
{
    for (std::size_t i = 0; i < mesher_.points.size(); ++i) {
        if (near[i] >= 0) {
            StartFrom(near[i] + kOuterNodes);
        }
        const int node = mesher_.InsertPoint(mesher_.points[i]);
        if (node == kNoNode) {
            return false;
        }
        mesher_.OnPointInserted(static_cast<int>(i), node);
    }
    return true;
}

// Not for few points, nor with settings that refuse points, nor for points that may repeat each
// other or lie on a line.
template <class Mesher>
bool MesherSteps<Mesher>::TakeOverDelaunay()
{
    if (mesher_.points.size() < kFewPoints || mesher_.flipTolerance != 0 ||
        mesher_.minDoubleArea > kLengthFloor<T>) {
        return false;
    }
    std::vector<Vec2d> positions;
    positions.reserve(mesher_.points.size());
    for (const Point& point : mesher_.points) {
        positions.push_back(ToDouble(point));
    }
    PointDelaunay delaunay = DelaunayOfPoints(positions);
    if (delaunay.outcome != PointDelaunay::Outcome::Done ||
        HasEdgeWithin(delaunay.table, 2 * static_cast<double>(kLengthFloor<T>)) ||
        !EncloseInTriangle(delaunay.table, {At(0), At(1), At(2)})) {
        return false;
    }
    const std::vector<TriangleTable::Triangle>& triangles = delaunay.table.triangles;
    // A hull that comes near to an outer corner gives it triangles the other way round.
    for (const TriangleTable::Triangle& triangle : triangles) {
        const auto [a, b, c] = triangle.nodes;
        const auto at = [&](int node) {
            return node < kOuterNodes ? At(node)
                                      : positions[static_cast<std::size_t>(node - kOuterNodes)];
        };
        if (std::min({a, b, c}) < kOuterNodes && Orientation(at(a), at(b), at(c)) <= 0) {
            return false;
        }
    }
    for (const Point& point : mesher_.points) {
        auto& record = mesher_.nodes_.emplace_back();
        record.position = point;
        record.fromInput = true;
    }
    MakeHalfEdges(triangles);
    EnterNodePairs();
    mesher_.RecountDegrees();
    StartFrom(mesher_.NodeCount() - 1);
    return true;
}

// The half-edges of a side get their numbers where the first of them is met.
template <class Mesher>
template <class Triangles>
void MesherSteps<Mesher>::MakeHalfEdges(const Triangles& triangles)
{
    using Table = TriangleTable;
    // One by one: the table has room for all edges, and to clear it would write all of that.
    for (int e = 0; e < mesher_.EdgeCount(); e += 2) {
        mesher_.nodePairs_.Erase(EdgeAt(e).node, EdgeAt(Twin(e)).node, e);
    }
    mesher_.edges_.clear();
    mesher_.faces_.resize(triangles.size());
    std::vector<int> numbers(4 * triangles.size(), kNotSet); // of half-edges, by those of the table
    std::vector<int> boundary; // the three half-edges round the outer triangle
    for (int t = 0; t < static_cast<int>(triangles.size()); ++t) {
        const Table::Triangle& triangle = triangles[static_cast<std::size_t>(t)];
        std::array<int, 3> sides;
        for (std::size_t k = 0; k < 3; ++k) {
            int& number = numbers[4 * static_cast<std::size_t>(t) + k];
            if (number == kNotSet) {
                number = mesher_.EdgeCount();
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
                mesher_.Link(before, after);
            }
        }
    }
}

// Two half-edges between nodes, not in any face yet.
template <class Mesher>
void MesherSteps<Mesher>::AddSide(int origin, int destination)
{
    const int half = mesher_.EdgeCount();
    for (const int twin : {half + 1, half}) {
        auto& edge = mesher_.edges_.emplace_back();
        edge.node = twin > half ? origin : destination;
        edge.twin = twin;
    }
}

// The next location begins at a face of the node, if there is one.
template <class Mesher>
void MesherSteps<Mesher>::StartFrom(int node)
{
    const int edge = mesher_.IsValidNode(node) ? NodeAt(node).edge : kNotSet;
    if (mesher_.IsValidEdge(edge) && EdgeAt(edge).face >= 0) {
        mesher_.hintFace = EdgeAt(edge).face;
    }
}

// The table of node pairs anew, for all edges there are.
template <class Mesher>
void MesherSteps<Mesher>::EnterNodePairs()
{
    constexpr int kAhead = 32; // edges whose places in the table are on their way
    mesher_.nodePairs_.Clear();
    for (int e = 0; e < mesher_.EdgeCount(); e += 2) {
        if (e + kAhead < mesher_.EdgeCount()) {
            mesher_.nodePairs_.Prefetch(EdgeAt(e + kAhead).node, EdgeAt(Twin(e + kAhead)).node);
        }
        if (mesher_.IsValidEdge(e)) {
            mesher_.nodePairs_.Insert(EdgeAt(e).node, EdgeAt(Twin(e)).node, e);
        }
    }
}

// Three corners far out, none of them where an equilateral triangle has it: 15 degrees below the
// horizontal to either side, and straight up.
template <class Mesher>
void MesherSteps<Mesher>::MakeOuterTriangle()
{
    Vec2d low = mesher_.points.empty() ? Vec2d() : ToDouble(mesher_.points.front());
    Vec2d high = low;
    for (const Point& point : mesher_.points) {
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
        typename Mesher::NodeType record{};
        record.position = Point(corner.x(), corner.y());
        corners.push_back(mesher_.AddNode(record));
    }
    mesher_.hintFace = mesher_.AddFace(corners);
    mesher_.LinkBoundaryEdges(); // so that rings of the outer nodes run all the way
    mesher_.hasOuterTriangle = true;
}

// By its mark alone: a derived mesher may lock more edges than that.
template <class Mesher>
bool MesherSteps<Mesher>::IsConstrained(int halfEdge) const
{
    return mesher_.IsValidEdge(halfEdge) &&
           (EdgeAt(halfEdge).constrained || EdgeAt(Twin(halfEdge)).constrained);
}

// --- insertion ----------------------------------------------------------------------------------

template <class Mesher>
int MesherSteps<Mesher>::InsertInFace(int face, const Point& point)
{
    const std::array<int, 3> corners = mesher_.Corners(face);
    const PlaceInTriangle place = InsertionPlace({At(corners[0]), At(corners[1]), At(corners[2])},
                                                 ToDouble(point), mesher_.minDoubleArea, kFloor<T>);
    int node = kNoNode;
    if (place.kind == PlaceInTriangle::Kind::Side) {
        const int side = mesher_.Sides(face)[static_cast<std::size_t>(place.number)];
        node = InsertOnEdge(side, point);
        // The quad of the side need not hold the point: a corner of it may be as near. Then the
        // triangle takes it, however small its parts.
        if (node == kNoNode && IsStrictlyInside(face, point)) {
            node = SplitFaceAtPoint(face, point);
        }
    } else if (place.kind == PlaceInTriangle::Kind::Inside) {
        node = SplitFaceAtPoint(face, point);
    }
    return node;
}

/// Exactly, whatever the floor.
template <class Mesher>
bool MesherSteps<Mesher>::IsStrictlyInside(int face, const Point& point) const
{
    const std::array<int, 3> corners = mesher_.Corners(face);
    return corners[0] >= 0 &&
           Impl::IsStrictlyInside({At(corners[0]), At(corners[1]), At(corners[2])},
                                  ToDouble(point));
}

template <class Mesher>
int MesherSteps<Mesher>::SplitFaceAtPoint(int face, const Point& point)
{
    int node = kNoNode;
    if (!mesher_.SplitFace(face, node, true)) {
        return kNoNode;
    }
    NodeAt(node).position = point;
    const int region = FaceAt(face).region;
    mesher_.VisitNodeEdges(node, [&](int e) { FaceAt(EdgeAt(e).face).region = region; });
    return node;
}

template <class Mesher>
int MesherSteps<Mesher>::InsertOnEdge(int halfEdge, const Point& point)
{
    const auto [a, b, c, d] = mesher_.Diamond(halfEdge);
    if (std::min({a, b, c, d}) < 0) {
        if (!mesher_.IsBoundaryEdge(halfEdge, true)) {
            return kNoNode;
        }
    } else if (!FillsQuad(At(a), At(b), At(c), At(d), ToDouble(point))) {
        return kNoNode;
    }
    return SplitEdgeAtPoint(halfEdge, point);
}

template <class Mesher>
int MesherSteps<Mesher>::SplitEdgeAtPoint(int halfEdge, const Point& point)
{
    const bool isConstrained = IsConstrained(halfEdge);
    const int end = EdgeAt(Twin(halfEdge)).node;
    const auto regionOf = [&](int e) {
        return EdgeAt(e).face >= 0 ? FaceAt(EdgeAt(e).face).region : 0;
    };
    const int leftRegion = regionOf(halfEdge);
    const int rightRegion = regionOf(Twin(halfEdge));
    int node = kNoNode;
    if (!mesher_.SplitEdge(halfEdge, node, true, true)) {
        return kNoNode;
    }
    NodeAt(node).position = point;
    const int half = mesher_.FindEdge(node, end);
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

template <class Mesher>
void MesherSteps<Mesher>::SetConstrained(int halfEdge, bool constrained)
{
    EdgeAt(halfEdge).constrained = constrained;
    EdgeAt(Twin(halfEdge)).constrained = constrained;
}

// --- flips --------------------------------------------------------------------------------------

// Each flip gives the node one more edge, and it never loses one: at most as many flips as nodes.
template <class Mesher>
void MesherSteps<Mesher>::LegalizeAround(int node)
{
    mesher_.openEdges_.clear();
    mesher_.VisitNodeEdges(node, [&](int e) {
        if (mesher_.IsValidEdge(e) && EdgeAt(e).face >= 0) {
            mesher_.openEdges_.push_back(EdgeAt(e).next);
        }
    });
    FlipOpenEdges(Reopened::BeyondTheEdge, [&](int edge) { return MustFlip(edge); });
}

// The last one first. wants(half-edge) is asked of edges with faces on both sides that are not
// locked. Flips toward Delaunay end by themselves; should a derived mesher answer otherwise, the
// number of flips ends them.
template <class Mesher>
template <class Wants>
void MesherSteps<Mesher>::FlipOpenEdges(Reopened reopened, const Wants& wants)
{
    constexpr std::size_t kFlipsPerEdge = 16;
    std::vector<int>& open = mesher_.openEdges_;
    std::size_t flipsLeft = kFlipsPerEdge * mesher_.edges_.size();
    while (!open.empty() && flipsLeft > 0) {
        const int edge = open.back();
        open.pop_back();
        if (!mesher_.IsValidEdge(edge) || EdgeAt(edge).face < 0 || EdgeAt(Twin(edge)).face < 0 ||
            mesher_.IsEdgeLocked(edge) || !wants(edge)) {
            continue;
        }
        const std::array<int, 4> sides{EdgeAt(edge).next, EdgeAt(edge).prev,
                                       EdgeAt(Twin(edge)).next, EdgeAt(Twin(edge)).prev};
        if (mesher_.FlipEdge(edge, true)) {
            --flipsLeft;
            open.insert(open.end(), sides.begin() + (reopened == Reopened::AllRound ? 0 : 2),
                        sides.end());
        }
    }
}

template <class Mesher>
void MesherSteps<Mesher>::LinkTriangle(int face, int first, int second, int third)
{
    FaceAt(face).edge = first;
    auto& e1 = EdgeAt(first);
    auto& e2 = EdgeAt(second);
    auto& e3 = EdgeAt(third);
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
template <class Mesher>
std::array<int, 4> MesherSteps<Mesher>::QuadOf(int halfEdge) const
{
    const auto& edge = EdgeAt(halfEdge);
    const auto& back = EdgeAt(Twin(halfEdge));
    return {edge.node, back.node, EdgeAt(edge.prev).node, EdgeAt(back.prev).node};
}

// Of an edge with faces on both sides. An outer corner stands for one at infinity: alone on an edge
// it must give way, alone opposite an edge it demands nothing.
template <class Mesher>
bool MesherSteps<Mesher>::MustFlip(int halfEdge) const
{
    const std::array<int, 4> quad = QuadOf(halfEdge);
    const std::array<Vec2d, 4> at{At(quad[0]), At(quad[1]), At(quad[2]), At(quad[3])};
    const auto isConvex = [&] { return Impl::IsConvexQuad(at[0], at[1], at[2], at[3]); };
    if (mesher_.hasOuterTriangle && std::count_if(quad.begin(), quad.end(), IsOuter) == 1) {
        return (IsOuter(quad[0]) || IsOuter(quad[1])) && isConvex();
    }
    if (mesher_.flipTolerance != 0) {
        return !Impl::IsLocallyDelaunay(at[0], at[1], at[2], at[3], mesher_.flipTolerance) &&
               isConvex();
    }
    // A point in the circle of the triangle across the edge sees the edge between the other two.
    return Orientation(at[0], at[1], at[2]) > 0 && Orientation(at[1], at[0], at[3]) > 0 &&
           IsInCircle(at[0], at[1], at[2], at[3]);
}

template <class Mesher>
bool MesherSteps<Mesher>::IsConvexQuad(int halfEdge) const
{
    const auto [a, b, c, d] = mesher_.Diamond(halfEdge);
    return a >= 0 && b >= 0 && c >= 0 && d >= 0 && Impl::IsConvexQuad(At(a), At(b), At(c), At(d));
}

template <class Mesher>
bool MesherSteps<Mesher>::IsLocallyDelaunay(int halfEdge, T tolerance) const
{
    const auto [a, b, c, d] = mesher_.Diamond(halfEdge);
    if (a < 0 || b < 0 || c < 0 || d < 0) {
        return true;
    }
    return Impl::IsLocallyDelaunay(At(a), At(b), At(c), At(d), tolerance);
}

} // namespace Impl
} // namespace Velk::Math::Sorvane::HalfEdge
