// The library's own triangulation of points and segments: exact, without half-edge records.
#pragma once

#include "triangulation/CavityTriangles_Impl.h"
#include "triangulation/SegmentChannel_Impl.h"
#include "triangulation/TriangleTable_Impl.h"

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// The constrained Delaunay triangulation of points and segments between them, and what of it the
/// segments enclose. No point and no segment is ever refused.
class ConstrainedDelaunay {
public:
    /// Triangulates the points, which differ from each other; finite coordinates within
    /// `kLargestCoordinate`. A segment that passes a point within `floor` goes through it.
    ConstrainedDelaunay(const std::vector<Vec2d>& points, double floor);

    /// Makes the segment between two points, given by their places in the list, a chain of
    /// constrained edges. Points that the segment touches become joints.
    ///
    /// Segments should not cross. Those that do by rounding have an end next to the other segment:
    /// that end becomes a joint of the other, so that chains stay closed.
    void InsertSegment(int start, int end);
    /// All of them, in an order in which neighbors follow each other: what one looks at the next
    /// one finds in the cache. Where that turns out to be a bad order, the rest in random order:
    /// expected O(log m) for each of m segments beside the triangles that it crosses in the end.
    void InsertSegments(std::span<const std::pair<int, int>> segments);

    /// Three places in the list for each triangle that an odd number of constraints, the fewest
    /// that can be, separates from what lies outside of the hull, counter-clockwise. Without any
    /// segment all triangles. Ends the work: nothing can be inserted afterwards.
    std::vector<int> InsideTriangles() &&;
    /// The same for each triangle that any number of constraints, one or more, separates from what
    /// lies outside: an outline with whatever there is in it.
    std::vector<int> EnclosedTriangles() &&;

    /// What was done: edges, steps and triangles, for tests that hostile inputs stay cheap.
    std::size_t Work() const { return work_ + cavity_.Work(); }

private:
    using Segment = std::pair<int, int>; // nodes

    /// An edge of the boundary of a channel.
    struct BoundaryEdge {
        int half;   ///< with the channel's triangle on its left
        int beyond; ///< its twin before the channel was cleared
        int node;   ///< where it starts
        bool isConstrained;
        int partner; ///< place in the boundary of its other side, when that is there as well
    };

    /// The table as `FollowSegment` knows meshes.
    struct View {
        const TriangleTable& table;
        const Vec2d& At(int node) const { return table.Position(node); }
        bool IsOrdinary(int node) const { return !table.IsOutside(node); }
        int Origin(int half) const { return table.Origin(half); }
        int Next(int half) const { return TriangleTable::Next(half); }
        int Prev(int half) const { return TriangleTable::Prev(half); }
        int Twin(int half) const { return table.Twin(half); }
        bool HasTriangle(int half) const { return half >= 0; }
        int TriangleCount() const { return table.TriangleCount(); }
        template <class Visit>
        void VisitLeaving(int node, const Visit& visit) const
        {
            table.VisitLeaving(node, visit);
        }
    };

    void PrefetchAhead(std::span<const Segment> due) const;
    void InsertBetween(const Segment& segment);
    void InsertOpen(const Segment& segment);
    bool GiveWay(const Segment& segment);
    double SquaredDistance(const Segment& segment, int node) const;
    int NodeOf(int place) const { return nodes_[static_cast<std::size_t>(place)]; }
    void Rebuild();
    void FindHangingEdges();
    int FillSide(std::span<BoundaryEdge> boundary, int last, std::span<const int> slots);
    template <class IsWanted>
    std::vector<int> TrianglesOfLevel(const IsWanted& isWanted);

    TriangleTable table_;
    std::vector<int> nodes_; // by place in the list
    double floor_;
    bool hasSegments_ = false;
    std::vector<Segment> open_; // to be inserted, the next one last
    SegmentChannel channel_;
    CavityTriangles cavity_;
    std::vector<Vec2d> chain_;
    std::vector<int> slots_;
    std::vector<BoundaryEdge> boundary_;
    std::size_t work_ = 0;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
