// Bodies of the imprintable mesh: the walk along a path.
#pragma once

#include "imprint/ImprintableMesh_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_set>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {

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
    return total > 0 ? Vector::Normalized(sum / total, kLengthFloor<double>) : Vec3d{};
}

// Distance up to which a point counts as on a plane: the length floor, and far from the origin a
// few units in the last place of the coordinates.
template <class Tag>
double ImprintableMesh<Tag>::PlaneFloor(const MeshLocation& a, const MeshLocation& b)
{
    constexpr double kUnits = 8 * std::numeric_limits<double>::epsilon();
    const double largest = std::max(Velk::Math::Impl::LargestMagnitude(a.point),
                                    Velk::Math::Impl::LargestMagnitude(b.point));
    return std::max(kLengthFloor<double>, kUnits * largest);
}

template <class Tag>
ImprintPlane ImprintableMesh<Tag>::PlaneOf(const MeshLocation& from, const MeshLocation& to) const
{
    const Vec3d mean =
        Vector::Normalized(NormalAt(from.node) + NormalAt(to.node), kLengthFloor<double>);
    const Vec3d chord = Vector::Normalized(to.point - from.point, kLengthFloor<double>);
    return {(from.point + to.point) * 0.5, Vector::Normalized(chord ^ mean, kLengthFloor<double>)};
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
    constexpr double kNodeFraction = 0.005; // of an edge's length: no sliver is made there
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
    constexpr std::size_t kPlacesPerStep = 20;
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

} // namespace Velk::Math::Sorvane::Mesh::Impl
