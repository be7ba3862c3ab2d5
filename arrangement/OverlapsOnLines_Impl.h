// Segments that overlap on one line in great numbers.
//
// Of n segments that lie on one line and overlap, nested or shifted, each is cut at every end
// inside it: n^2 pieces, though only 2 n - 1 stretches of the line differ. Whoever needs the
// stretches, not which segment has which, gets them here without the pieces.
#pragma once

#include <Velk/Math/Geometry_E.h>

#include <cstddef>
#include <numeric>
#include <optional>
#include <vector>

namespace Velk::Math::Intersect::Impl {

/// Hands out the numbers below a count by ranges, each number once.
class EachOnce {
public:
    explicit EachOnce(std::size_t count) : next_(count + 1)
    {
        std::iota(next_.begin(), next_.end(), std::size_t{0});
    }

    /// Calls visit(number) for those of the range that are left, ascending.
    template <class Visit>
    void Take(std::size_t from, std::size_t to, const Visit& visit)
    {
        for (std::size_t i = Next(from); i < to; i = Next(i)) {
            visit(i);
            next_[i] = i + 1;
        }
    }

private:
    /// The first number left from `number` on.
    std::size_t Next(std::size_t number)
    {
        while (next_[number] != number) {
            next_[number] = next_[next_[number]];
            number = next_[number];
        }
        return number;
    }

    std::vector<std::size_t> next_;
};

/// Segments exactly on one line.
struct LineBundle {
    /// Distinct ends of the segments, along the line.
    std::vector<Vec2d> ends;
    /// A segment by number, and the numbers of its ends among `ends`, the smaller first.
    struct Member {
        int segment;
        int low;
        int high;
        bool reversed;
    };
    /// Ascending by segment.
    std::vector<Member> members;
};

/// The bundles among usable segments that cutting would turn into many more pieces than segments,
/// those with ends near each other left out. Segments in few overlaps are in none.
std::vector<LineBundle> FindLineBundles(const std::vector<Geometry::SegBase<double>>& segments);

/// A set of segments with bundles, cut.
struct CutOnLines {
    std::vector<LineBundle> bundles;
    /// The segments, in order, with the members of bundles replaced by the stretches that no member
    /// before them has, in the direction of the member.
    std::vector<Geometry::SegBase<double>> elements;
    /// For each element the number of the segment that it is or that its stretch is part of.
    std::vector<int> segmentOf;
    /// The elements cut at their intersections. No stretch is cut.
    std::vector<Geometry::SegBase<double>> pieces;
};

/// Nothing where there are no bundles, and where `CutAtIntersections` for all segments could place
/// cuts otherwise: where one that crosses a bundle beside its ends cuts it, where ends of any two
/// segments nearly match, or where one passes through an end of a bundle at a small angle. In all
/// other cases the pieces are those that `CutAtIntersections` makes of all the segments, bit for
/// bit, in the order in which it first makes them, without the repetitions of stretches.
std::optional<CutOnLines> CutOverlapsOnLines(const std::vector<Geometry::SegBase<double>>& segments,
                                             double tolerance);

} // namespace Velk::Math::Intersect::Impl
