// Delaunay triangulation of points alone, in two flat arrays: what `DelaunayMesher` makes of a
// point list before it has half-edges.
#pragma once

#include "triangulation/PlanePredicates_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Triangles by their corners (J. Rossignac, "3D compression made simple", 2001). Corner 4 t + k is
/// corner k of triangle t, and each corner knows the corner that faces it across the opposite side.
///
/// Steps, decisions and numbering of nodes and triangles are those of the mesher's own insertion,
/// for the plain cases: inside a triangle, or on a side with a triangle beyond. For anything else
/// `Insert` refuses and leaves the table as it was.
class CornerTable {
public:
    static constexpr int kNone = -1;

    struct Triangle {
        std::array<int, 3> nodes;  ///< counter-clockwise
        int first;                 ///< subscript of the corner where lists of its sides begin
        std::array<int, 3> across; ///< by corner: the one beyond the opposite side, or `kNone`
        int unused = 0;            ///< a power of two makes corners cheap to take apart
    };

    struct Limits {
        Floor floor;
        double minDoubleArea;
        double flipTolerance;
    };

    /// The triangle of the first three nodes, the outer ones. Room for `nodeCount` nodes.
    CornerTable(const std::array<Vec2d, 3>& outer, const Limits& limits, std::size_t nodeCount);

    /// Adds a node at `p` and makes its surroundings Delaunay. False, with nothing changed, where
    /// the case is not plain.
    bool Insert(const Vec2d& p);

    /// The next search begins at a triangle of this node.
    void SearchFrom(int node) { hint_ = TriangleOf(Incident(node)); }
    int Hint() const { return hint_; }

    int NodeCount() const { return static_cast<int>(positions_.size()); }
    /// A corner of the node; the half-edge that leaves it along its triangle is the node's.
    int Incident(int node) const { return incident_[static_cast<std::size_t>(node)]; }
    std::vector<Triangle>& Triangles() { return triangles_; }

    static int Corner(int triangle, int k) { return 4 * triangle + k; }
    static int TriangleOf(int corner) { return corner >> 2; }
    static int PlaceOf(int corner) { return corner & 3; }
    // (k + 1) % 3 and (k + 2) % 3 from tables of two-bit numbers: a branch would be a guess.
    static int After(int k) { return (0b001001 >> (2 * k)) & 3; }
    static int Before(int k) { return (0b010010 >> (2 * k)) & 3; }

private:
    Triangle& TriangleAt(int t) { return triangles_[static_cast<std::size_t>(t)]; }
    const Triangle& TriangleAt(int t) const { return triangles_[static_cast<std::size_t>(t)]; }
    const Vec2d& At(int node) const { return positions_[static_cast<std::size_t>(node)]; }
    int NodeOf(const Triangle& triangle, int k) const
    {
        return triangle.nodes[static_cast<std::size_t>(k)];
    }
    static int Across(const Triangle& triangle, int k)
    {
        return triangle.across[static_cast<std::size_t>(k)];
    }
    std::array<Vec2d, 3> CornersFrom(const Triangle& triangle, int k) const;

    int FindTriangle(const Vec2d& p) const;
    bool IsBeyond(const Triangle& triangle, int corner, const Vec2d& p) const;
    void SplitTriangle(int t, const Vec2d& p);
    bool SplitSide(int corner, const Vec2d& p);
    int AddNode(const Vec2d& p);
    void Set(int t, const std::array<int, 3>& nodes, int first, const std::array<int, 3>& across);
    void SetAcross(int corner, int across);
    void SetIncident(int node, int corner) { incident_[static_cast<std::size_t>(node)] = corner; }

    void Legalize(const int* star, std::size_t count);
    bool MustFlip(const Triangle& triangle) const;
    bool MustFlipBesideOuter(const Triangle& triangle, int beyond) const;
    bool Flip(int t);

    Limits limits_;
    std::vector<Vec2d> positions_;
    std::vector<int> incident_;
    std::vector<Triangle> triangles_;
    std::vector<int> open_; // of `Legalize`: triangles of the new node whose far side must flip
    int hint_ = 0;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
