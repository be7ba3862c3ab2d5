// Triangles in one flat array: the mesh in which the library triangulates for itself, where the
// records of a half-edge mesh would cost more than the work on them.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A triangulation of points in the plane, closed to a sphere: beyond each edge of the hull stands
/// a triangle whose third node is `Outside()`, a node at infinity. So every half-edge has a twin
/// and every ring of triangles round a node is closed.
///
/// Half-edge 4 t + k is edge k of triangle t; it runs from corner k to the next, counter-clockwise.
/// Nodes are numbered along a space-filling curve, so that neighbors are neighbors in memory;
/// `NumberOf` tells a node's place in the list of points.
class TriangleTable {
public:
    struct Triangle {
        std::array<int, 3> nodes;
        std::uint32_t marks = 0; ///< bit k: edge k is a constraint; the twin carries it as well
        std::array<int, 3> twins;
        std::uint32_t stamp = 0; ///< for whoever walks over triangles
    };

    static int Half(int triangle, int k) { return 4 * triangle + k; }
    static int TriangleOf(int half) { return half >> 2; }
    static int PlaceOf(int half) { return half & 3; }
    static int Next(int half) { return PlaceOf(half) == 2 ? half - 2 : half + 1; }
    static int Prev(int half) { return PlaceOf(half) == 0 ? half + 2 : half - 1; }

    int Twin(int half) const { return At(TriangleOf(half)).twins[Slot(half)]; }
    int Origin(int half) const { return At(TriangleOf(half)).nodes[Slot(half)]; }
    int Destination(int half) const { return Origin(Next(half)); }
    bool HasTriangle(int half) const { return half >= 0; }

    int NodeCount() const { return static_cast<int>(numbers.size()); }
    int Outside() const { return NodeCount(); }
    bool IsOutside(int node) const { return node == Outside(); }
    const Vec2d& Position(int node) const { return positions[static_cast<std::size_t>(node)]; }
    int NumberOf(int node) const { return numbers[static_cast<std::size_t>(node)]; }
    int Leaving(int node) const { return leaving[static_cast<std::size_t>(node)]; }

    int TriangleCount() const { return static_cast<int>(triangles.size()); }
    /// Has the triangle three nodes of the list?
    bool IsReal(int triangle) const
    {
        const std::array<int, 3>& nodes = At(triangle).nodes;
        return !IsOutside(nodes[0]) && !IsOutside(nodes[1]) && !IsOutside(nodes[2]);
    }

    Triangle& At(int triangle) { return triangles[static_cast<std::size_t>(triangle)]; }
    const Triangle& At(int triangle) const { return triangles[static_cast<std::size_t>(triangle)]; }

    /// Makes two half-edges the twins of each other.
    void Join(int half, int other)
    {
        SetTwin(half, other);
        SetTwin(other, half);
    }
    void SetTwin(int half, int other) { At(TriangleOf(half)).twins[Slot(half)] = other; }

    bool IsConstrained(int half) const
    {
        return ((At(TriangleOf(half)).marks >> static_cast<unsigned>(PlaceOf(half))) & 1U) != 0;
    }
    void SetConstrained(int half, bool constrained)
    {
        for (const int side : {half, Twin(half)}) {
            std::uint32_t& marks = At(TriangleOf(side)).marks;
            const std::uint32_t bit = 1U << static_cast<unsigned>(PlaceOf(side));
            marks = constrained ? marks | bit : marks & ~bit;
        }
    }

    /// Calls visit(half) for the half-edges that leave a node, counter-clockwise, until it returns
    /// true.
    template <class Visit>
    void VisitLeaving(int node, const Visit& visit) const
    {
        const int first = Leaving(node);
        int half = first;
        do {
            if (visit(half)) {
                return;
            }
            half = Twin(Prev(half));
        } while (half != first);
    }

    std::vector<Vec2d> positions;    // by node
    std::vector<int> numbers;        // by node: place in the list of points
    std::vector<int> leaving;        // by node: a half-edge that starts there
    std::vector<Triangle> triangles; // in no order that means anything

private:
    static std::size_t Slot(int half) { return static_cast<std::size_t>(PlaceOf(half)); }
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
