// The records of a half-edge mesh: node, vertex, half-edge and face, and the numbers that are no
// subscripts. Records refer to one another by subscript, never by pointer.
//
// Records are plain values. Their validity is virtual so that a derived record can clean itself
// when it is deleted; the mesh stores them by value and never destroys one through a base.
#pragma once

#include <Velk/Math/VecBase_E.h>

namespace Velk::Math::Sorvane::HalfEdge {

template <class Node, class Edge, class Face>
class HMesh;

/// What stands in a field that holds no subscript.
inline constexpr int kNoFace = -1;  ///< the half-edge runs along a boundary
inline constexpr int kNotSet = -2;  ///< not set yet, or not found
inline constexpr int kNoNode = -3;  ///< out-parameter of an edit that made no node; missing corner
inline constexpr int kDeleted = -4; ///< the record is deleted

/// A node without a position.
struct SORVANE_API HNode {
    int edge = kNotSet; ///< one of the half-edges that leave the node

    HNode() = default;
    HNode(const HNode&) = default;
    HNode& operator=(const HNode&) = default;

    /// Marks the record as deleted. A derived record resets its own data too.
    virtual void Invalidate() { edge = kDeleted; }
    /// Has the record been deleted?
    virtual bool IsInvalid() const { return edge == kDeleted; }
    virtual ~HNode() = default;

private:
    template <class Node, class Edge, class Face>
    friend class HMesh;

    // Number of edges at the node, kept by its mesh, which tells it as `Degree`. It takes the room
    // that alignment leaves behind `edge`.
    int degree_ = 0;
};

/// A node with a position.
template <int D, class T>
struct SORVANE_API HVertex : HNode {
    VecBase<D, T> position; ///< in the caller's unit of length

    HVertex() = default;
    /// A node at a position, without edges yet.
    explicit HVertex(const VecBase<D, T>& at) : position(at) {}
};

/// One of the two directions of an edge. Half-edges 2k and 2k+1 are twins of each other.
struct SORVANE_API HEdge {
    int node = kNotSet; ///< origin
    int twin = kNotSet; ///< the other direction
    int next = kNotSet; ///< follower along the face or along the boundary
    int prev = kNotSet; ///< the half-edge whose `next` this is
    int face = kNoFace; ///< face on the left

    HEdge() = default;
    HEdge(const HEdge&) = default;
    HEdge& operator=(const HEdge&) = default;

    /// Marks the record as deleted. A derived record resets its own data too.
    virtual void Invalidate() { node = twin = next = prev = face = kDeleted; }
    /// Has the record been deleted?
    virtual bool IsInvalid() const { return twin == kDeleted && node == kDeleted; }
    virtual ~HEdge() = default;
};

/// A face; its half-edges run counter-clockwise round it.
struct SORVANE_API HFace {
    int edge = kNotSet; ///< one of the half-edges of the face

    HFace() = default;
    HFace(const HFace&) = default;
    HFace& operator=(const HFace&) = default;

    /// Marks the record as deleted. A derived record resets its own data too.
    virtual void Invalidate() { edge = kDeleted; }
    /// Has the record been deleted?
    virtual bool IsInvalid() const { return edge == kDeleted; }
    virtual ~HFace() = default;
};

/// A node record that has a position, whatever else it has.
template <class Node>
concept Positioned = requires(Node& node)
{
    node.position;
};

} // namespace Velk::Math::Sorvane::HalfEdge
