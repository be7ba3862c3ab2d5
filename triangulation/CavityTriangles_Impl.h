// The triangles of a cavity beside a new edge.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Fills the room that a segment leaves on one of its sides when it clears the triangles that it
/// crosses.
///
/// A cavity is a chain of nodes 0 to m - 1, counter-clockwise, closed by the segment, which runs
/// from the last node to the first; all others lie strictly left of it. An edge that hung into the
/// cleared room is there twice, once for either side, and the node at its end, or where several of
/// them begin, more than once.
///
/// The triangles are the constrained Delaunay ones, with `IsInCircle` (J. R. Shewchuk and B. C.
/// Brown, "Fast segment insertion and incremental construction of constrained Delaunay
/// triangulations", 2015): nodes go in in random order, each by digging out the triangles whose
/// circles hold it. Expected O(m) for most cavities, and the same result in every run.
class CavityTriangles {
public:
    /// Half-edge 4 t + k is edge k of triangle t, from corner k to the next. The twin of one that
    /// bounds the cavity is `Boundary(i)` when it runs from node i of the chain to the one behind.
    struct Triangle {
        std::array<int, 3> nodes;
        std::array<int, 3> twins;
    };
    static int Boundary(int node) { return -2 - node; }
    static int NodeOfBoundary(int twin) { return -2 - twin; }

    /// The m - 2 triangles of a chain of at least three nodes, until the next call. Valid for the
    /// chains told of above.
    std::span<const Triangle> Fill(std::span<const Vec2d> chain);

    /// Triangles made in all calls, those dug out again included.
    std::size_t Work() const { return work_; }

private:
    struct Link {
        int before;
        int behind;
        int inner; ///< half-edge inside along the edge to the node behind
    };

    Link& At(int node) { return links_[static_cast<std::size_t>(node)]; }
    Triangle& TriangleAt(int t) { return triangles_[static_cast<std::size_t>(t)]; }
    int& TwinOf(int half);

    void ChooseOrder();
    void AddFirst(int node);
    void Insert(int node);
    bool MustDig(int node, int half);
    int NewTriangle(const std::array<int, 3>& nodes);
    void SetTwins(int half, int other);
    bool AreAllSound() const;
    void FillByApexes();
    int BestApex(int first, int last) const;
    unsigned NextRandom();

    std::span<const Vec2d> chain_;
    std::vector<Triangle> triangles_;
    std::vector<Link> links_;
    std::vector<double> heights_;
    std::vector<int> order_; // in which nodes go in
    std::vector<int> open_;  // half-edges beyond which lies what is to be tested next
    std::vector<int> freed_;
    std::uint32_t random_ = 0;
    std::size_t work_ = 0;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
