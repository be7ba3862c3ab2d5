// DelaunayMesher: where in the mesh a point lies.
#pragma once

#include "triangulation/DelaunayTriangulationSteps_Impl.h"
#include "triangulation/PlanePredicates_Impl.h"

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

namespace Velk::Math::Sorvane::HalfEdge {

template <class Node, class Edge, class Facet>
DelaunayLocation DelaunayMesher<Node, Edge, Facet>::Locate(const Point& point) const
{
    const Impl::MesherSteps steps(*this);
    const DelaunayLocation straight = steps.WalkStraight(Vec2d(point.x(), point.y()));
    return straight.kind != DelaunayLocation::Kind::Nowhere ? straight
                                                            : steps.WalkByClosestPoints(point);
}

namespace Impl {

// Across a side that the point lies beyond, from face to face. In a Delaunay triangulation such a
// walk can't come back to a face. The side that is tried first changes from step to step, which in
// other meshes breaks cycles of three.
template <class Mesher>
DelaunayLocation MesherSteps<Mesher>::WalkStraight(const Vec2d& p) const
{
    const std::array<int, 3> sides = mesher_.Sides(mesher_.hintFace);
    if (sides[0] < 0) {
        return {};
    }
    const auto isBeyond = [&](int side) {
        return Orientation(At(EdgeAt(side).node), At(EdgeAt(Twin(side)).node), p) < 0;
    };
    const auto leaving = std::find_if(sides.begin(), sides.end(), isBeyond);
    if (leaving == sides.end()) {
        return Classify(mesher_.hintFace, p);
    }
    int leaveBy = *leaving;
    for (int step = 0; step <= mesher_.FaceCount(); ++step) {
        const auto& entered = EdgeAt(Twin(leaveBy));
        if (entered.face < 0) {
            break;
        }
        const std::array<int, 2> others{step % 2 == 0 ? entered.next : entered.prev,
                                        step % 2 == 0 ? entered.prev : entered.next};
        if (isBeyond(others[0])) {
            leaveBy = others[0];
        } else if (isBeyond(others[1])) {
            leaveBy = others[1];
        } else {
            return Classify(entered.face, p);
        }
    }
    return {};
}

// The slow walk for where the quick one fails: by the nearest point of each face. It may meet
// anything, from faces without area to mesher_.points outside of the mesh, and ends by its count of
// steps.
template <class Mesher>
DelaunayLocation MesherSteps<Mesher>::WalkByClosestPoints(const Point& point) const
{
    const Vec2d p = ToDouble(point);
    const double floor = kLengthFloor<T>;
    const double squaredFloor = kSquaredLengthFloor<T>;
    int face = mesher_.hintFace;
    for (int step = 0; step <= mesher_.FaceCount(); ++step) {
        const std::array<int, 3> sides = mesher_.Sides(face);
        if (sides[0] < 0) {
            break;
        }
        const std::array<int, 3> corners = mesher_.Corners(face);
        const Point& a = NodeAt(corners[0]).position;
        const Point& b = NodeAt(corners[1]).position;
        const Point& c = NodeAt(corners[2]).position;
        if (Intersect::PointInOrOnTriangle(a, b, c, point, kLengthFloor<T>)) {
            return Classify(face, p);
        }
        const Vec2d nearest = ToDouble(Intersect::ClosestPointOnTriangle(a, b, c, point));
        if (Matches(nearest, p, floor)) {
            return Classify(face, nearest);
        }
        int next = -1;
        for (const int corner : corners) {
            if (next < 0 && Matches(nearest, At(corner), floor)) {
                next = PivotFace(corner, face, p);
            }
        }
        for (const int side : sides) {
            const double squared = Math::Impl::SquaredDistanceToSegment(
                At(EdgeAt(side).node), At(EdgeAt(Twin(side)).node), nearest,
                Math::Impl::kShortByFloor<T>);
            if (next < 0 && squared <= squaredFloor && EdgeAt(Twin(side)).face >= 0) {
                next = EdgeAt(Twin(side)).face;
                break;
            }
        }
        face = next >= 0 ? next : PseudoRandomFace(face);
    }
    return {};
}

// Of the other faces round a corner the first whose angle there holds the direction of the point.
template <class Mesher>
int MesherSteps<Mesher>::PivotFace(int node, int face, const Vec2d& p) const
{
    const double floor = kLengthFloor<T>;
    const Vec2d from = At(node);
    const auto sweepTo = [&](const Vec2d& to) {
        return Vector::AngleSweep(Normalized(to - from, floor), floor);
    };
    const double sought = sweepTo(p);
    int found = -1;
    mesher_.VisitNodeEdges(node, [&](int leaving) {
        if (found >= 0 || !mesher_.IsValidEdge(leaving)) {
            return;
        }
        const int other = EdgeAt(leaving).face;
        if (other < 0 || other == face || !mesher_.IsValidEdge(EdgeAt(leaving).prev)) {
            return;
        }
        const double first = sweepTo(At(EdgeAt(Twin(leaving)).node));
        const double second = sweepTo(At(EdgeAt(EdgeAt(leaving).prev).node));
        const bool holds = first <= second ? first <= sought && sought <= second
                                           : first <= sought || sought <= second;
        found = holds ? other : -1;
    });
    return found;
}

template <class Mesher>
DelaunayLocation MesherSteps<Mesher>::Classify(int face, const Vec2d& p) const
{
    using Kind = DelaunayLocation::Kind;
    using Place = PlaceInTriangle::Kind;
    const std::array<int, 3> corners = mesher_.Corners(face);
    const PlaceInTriangle place =
        Impl::Classify({At(corners[0]), At(corners[1]), At(corners[2])}, p, kFloor<T>);
    if (place.kind == Place::Inside) {
        return {Kind::Face, face};
    }
    const auto number = static_cast<std::size_t>(place.number);
    return place.kind == Place::Corner ? DelaunayLocation{Kind::Node, corners[number]}
                                       : DelaunayLocation{Kind::Edge, mesher_.Sides(face)[number]};
}

// Some other face, by a fixed hash of the current one in 32-bit arithmetic.
template <class Mesher>
int MesherSteps<Mesher>::PseudoRandomFace(int face) const
{
    if (mesher_.FaceCount() == 0) {
        return -1;
    }
    const auto h = static_cast<std::uint32_t>(face);
    const std::uint32_t hash = (h ^ 0x814CDDU) - 0x500230F9U + h * 192837465U;
    const auto magnitude = std::llabs(static_cast<std::int64_t>(static_cast<std::int32_t>(hash)));
    return static_cast<int>(magnitude % mesher_.FaceCount());
}

} // namespace Impl
} // namespace Velk::Math::Sorvane::HalfEdge
