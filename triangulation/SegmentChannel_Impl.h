// The triangles that a segment between two nodes crosses, found by a walk along it, in any mesh of
// triangles that can tell its half-edges.
#pragma once

#include "mathbase/Predicates_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// What a segment from node a to node b runs through, in order along it.
struct SegmentChannel {
    std::vector<int> crossed; ///< half-edges, from right of the segment to left, triangle behind
    std::vector<int> left;    ///< half-edges of the channel's boundary on the left, b to a
    std::vector<int> right; ///< on the right, a to b; both have their channel triangle on the left

    void Clear()
    {
        crossed.clear();
        left.clear();
        right.clear();
    }
};

/// How a walk along a segment ended.
struct ChannelEnd {
    enum class Kind {
        Crossed, ///< at b; the channel is complete
        Edge,    ///< the segment is an edge: `index` is the half-edge from a to b
        Node,    ///< the segment runs through node `index` on its way
        Lost     ///< nowhere: links are missing, or the mesh is no triangulation
    };
    Kind kind = Kind::Lost;
    int index = -1;
};

/// Follows the segment from node `a` to node `b`. `Mesh` has
///
/// - At(node), IsOrdinary(node): a position, and whether there is one;
/// - Origin, Next, Prev, Twin of a half-edge, and HasTriangle(halfEdge); a link that is missing is
///   negative, and negative half-edges have no triangle;
/// - VisitLeaving(node, visit): the half-edges that leave a node, until visit(halfEdge) is true;
/// - TriangleCount().
///
/// A node counts as on the segment when it lies on it exactly, or `touches(node)`. Sides are exact.
/// O(triangles at a + triangles crossed).
template <class Mesh, class Touches>
ChannelEnd FollowSegment(const Mesh& mesh, int a, int b, const Touches& touches,
                         SegmentChannel& channel)
{
    using Kind = ChannelEnd::Kind;
    using Math::Impl::Orientation;
    channel.Clear();
    const Vec2d from = mesh.At(a);
    const Vec2d to = mesh.At(b);
    const auto sideOf = [&](int node) { return Orientation(from, to, Vec2d(mesh.At(node))); };

    ChannelEnd end;
    int crossed = -1;
    mesh.VisitLeaving(a, [&](int leaving) {
        const int opposite = mesh.HasTriangle(leaving) ? mesh.Next(leaving) : -1;
        const int back = opposite >= 0 ? mesh.Next(opposite) : -1;
        if (back < 0) {
            return false;
        }
        const int right = mesh.Origin(opposite);
        const int left = mesh.Origin(back);
        if (right == b) {
            end = {Kind::Edge, leaving};
            return true;
        }
        if (!mesh.IsOrdinary(right)) {
            return false;
        }
        const int sideOfRight = sideOf(right);
        if (sideOfRight == 0 && (Vec2d(mesh.At(right)) - from) * (to - from) > 0) {
            end = {Kind::Node, right};
            return true;
        }
        if (sideOfRight < 0 && mesh.IsOrdinary(left) && left != b && sideOf(left) > 0) {
            crossed = opposite;
            channel.right.push_back(leaving);
            channel.left.push_back(back);
            return true;
        }
        return false;
    });
    if (end.kind != Kind::Lost || crossed < 0) {
        return end;
    }
    for (const int node : {mesh.Origin(crossed), mesh.Origin(mesh.Next(crossed))}) {
        if (touches(node)) {
            return {Kind::Node, node};
        }
    }
    for (int step = mesh.TriangleCount(); step >= 0; --step) {
        channel.crossed.push_back(crossed);
        const int entered = mesh.Twin(crossed); // from left to right
        const int onRight = mesh.HasTriangle(entered) ? mesh.Next(entered) : -1;
        const int onLeft = mesh.HasTriangle(entered) ? mesh.Prev(entered) : -1;
        if (onRight < 0 || onLeft < 0) {
            return {};
        }
        const int apex = mesh.Origin(onLeft);
        if (apex == b) {
            channel.right.push_back(onRight);
            channel.left.push_back(onLeft);
            return {Kind::Crossed, -1};
        }
        if (!mesh.IsOrdinary(apex)) {
            return {};
        }
        const int side = sideOf(apex);
        if (side == 0 || touches(apex)) {
            return {Kind::Node, apex};
        }
        if (side > 0) {
            channel.left.push_back(onLeft);
            crossed = onRight;
        } else {
            channel.right.push_back(onRight);
            crossed = onLeft;
        }
    }
    return {};
}

/// For `FollowSegment`: is a node within `floor` of the segment?
template <class Mesh>
auto WithinFloorOfSegment(const Mesh& mesh, int a, int b, double floor)
{
    return [&mesh, from = Vec2d(mesh.At(a)), to = Vec2d(mesh.At(b)), floor](int node) {
        const Vec2d p = mesh.At(node);
        const Vec2d d = to - from;
        const double area = d ^ (p - from);
        // Farther from the segment's line than twice the floor, roundings included.
        if (area * area > 4 * floor * floor * SquaredLength(d)) {
            return false;
        }
        return Math::Impl::SquaredDistanceToSegment(from, to, p, Math::Impl::ShorterThan(floor)) <=
               floor * floor;
    };
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
