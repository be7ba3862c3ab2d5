// What an imprintable mesh is made of: its node, half-edge and facet records, and the places of its
// surface.
#pragma once

#include <Sorvane/HalfEdgeRecords_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/VecBase_E.h>

#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// A node with a state that the mesh carries along and does not read.
struct ImprintNode : HalfEdge::HVertex<3, double> {
    int state = 1; ///< 1 in a new node and in a deleted one

    using HVertex::HVertex;

    void Invalidate() override
    {
        HVertex::Invalidate();
        state = 1;
    }
};

/// A half-edge that knows whether a path runs along it.
struct ImprintEdge : HalfEdge::HEdge {
    int imprinted = 0;  ///< 1 on both half-edges of an edge that lies on an imprinted path
    bool isOdd = false; ///< on both: does an odd number of paths run along it?

    void Invalidate() override
    {
        HEdge::Invalidate();
        imprinted = 0;
        isOdd = false;
    }
};

/// A facet with the caller's word. A slot that is used again keeps all four fields of the facet
/// that went: whoever makes a facet sets them.
template <class Tag>
struct ImprintFacet : HalfEdge::HFace {
    int treeSlot = -1;   ///< handle in the search tree; -1 while the facet is in none
    int paint = 0;       ///< 0 unpainted, 1 and 2 the two sides of a flood; 2 in a tagged facet
    bool marked = false; ///< was `paint` other than 0 when the last flood began?
    Tag tag = 0;         ///< the caller's, carried onto every facet cut from this one
};

/// A place on the surface: on a node, on an edge, inside a facet, or none.
///
/// A place on a node also names an edge and a facet around it, and a place on an edge a facet
/// beside it. Records are named by number, so that a place that was found before the mesh was cut
/// may name what has been cut since: `ImprintableMesh` finds the present piece when it cuts there.
struct MeshLocation {
    static constexpr int kNoPathIndex = -1;
    static constexpr int kNoNode = HalfEdge::kNoNode;
    static constexpr int kNoEdge = HalfEdge::kNotSet;
    static constexpr int kNoFacet = HalfEdge::kNoFace;
    /// Every coordinate of a place that was not found.
    static constexpr double kNowhere = -std::numeric_limits<double>::max();

    int pathIndex = kNoPathIndex; ///< which path point it came from; negative for none
    int node = kNoNode;           ///< -3 unless the place is a node
    int edge = kNoEdge;           ///< half-edge, or -2
    int facet = kNoFacet;         ///< facet, or -1
    Vec3d point{kNowhere, kNowhere, kNowhere};

    /// Is there a point? Not when a coordinate is NaN in a place that was not found.
    bool HasPoint() const
    {
        return std::fabs(point[0] - kNowhere) > kLengthFloor<double> ||
               std::fabs(point[1] - kNowhere) > kLengthFloor<double> ||
               std::fabs(point[2] - kNowhere) > kLengthFloor<double>;
    }
    /// Which of the three it is; at most one of these holds.
    bool IsOnNode() const { return pathIndex >= 0 && node != kNoNode && HasPoint(); }
    bool IsOnEdge() const
    {
        return pathIndex >= 0 && node == kNoNode && edge != kNoEdge && HasPoint();
    }
    bool IsInFacet() const
    {
        return pathIndex >= 0 && node == kNoNode && edge == kNoEdge && facet != kNoFacet &&
               HasPoint();
    }
    /// One of the three.
    bool IsLocated() const
    {
        return pathIndex >= 0 && (node != kNoNode || edge != kNoEdge || facet != kNoFacet) &&
               HasPoint();
    }
};

/// The plane in which one step of a path runs. A normal of zero length: there is no such plane.
struct ImprintPlane {
    Vec3d point;
    Vec3d normal;
};

} // namespace Velk::Math::Sorvane::Mesh::Impl
