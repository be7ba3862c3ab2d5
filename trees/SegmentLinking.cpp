// Linking loose segments into polylines.
//
//   1. number the points, and the segments by their points;
//   2. link the two ends of each point that has just two;
//   3. every free end takes the nearest free one that it may have;
//   4. ends that are each other's nearest are paired;
//   5. walk along the links.
//
// Step 3 was conceived as queries of a loose tree with balls of the tolerance in it, of widening
// radius. All that shows of the tree is which ends its root refuses: whatever passes the test
// against the tolerance is found with the first radius, and an end that found nothing finds nothing
// later, because free ends only get fewer. So one search for each end does, in a tree of the points
// that forgets those without a free end. Ends of one point stand in a list there; a hub of any
// number of them is one point.

#include <Sorvane/SegmentLinking_E.h>

#include "mathbase/Buckets_Impl.h"
#include "mathbase/Values_Impl.h"
#include "trees/ContentNode_Impl.h"
#include "trees/SegmentLinkingSearch_Impl.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Tree {
namespace {

using Impl::NumberedPoints;
using Point = VecBase<2, double>;
using Polyline = std::vector<Point>;

/// Ends within this on each axis are one point.
constexpr double kWeldTolerance = 1e-12;

/// The first pass of a search over the tree reaches this part of the diagonal of the root.
constexpr double kFirstReach = 0.015625;

/// Ends of segment k are 2k and 2k + 1.
constexpr int SegmentOf(int end) { return end / 2; }
constexpr int OtherEnd(int end) { return end ^ 1; }

std::size_t At(int number) { return static_cast<std::size_t>(number); }

/// Free ends, in a list for each point, the lowest first.
class FreeEnds {
public:
    static constexpr int kNone = NumberedPoints::kNone;

    FreeEnds(std::size_t pointCount, std::size_t endCount)
        : first_(pointCount, kNone), next_(endCount, kNone), previous_(endCount, kNone)
    {
    }

    /// `ends` ascending; each end in one list at most.
    template <class Ends>
    void SetList(int point, const Ends& ends)
    {
        int last = kNone;
        for (const int end : ends) {
            previous_[At(end)] = last;
            (last == kNone ? first_[At(point)] : next_[At(last)]) = end;
            last = end;
        }
    }

    /// Of each point the lowest, `kNone` without any.
    const std::vector<int>& First() const { return first_; }

    /// The lowest in the list that `lowest` begins, but for the end of that segment: a segment has
    /// one end in a point at most.
    int LowestOfOthers(int lowest, int segment) const
    {
        return SegmentOf(lowest) == segment ? next_[At(lowest)] : lowest;
    }

    void Remove(int point, int end)
    {
        const int next = next_[At(end)];
        const int previous = previous_[At(end)];
        if (next != kNone) {
            previous_[At(next)] = previous;
        }
        (previous == kNone ? first_[At(point)] : next_[At(previous)]) = next;
    }

private:
    std::vector<int> first_;
    std::vector<int> next_;
    std::vector<int> previous_;
};

class SegmentLinker {
public:
    using Pair = std::array<int, 2>;

    explicit SegmentLinker(double tolerance) : tolerance_(std::fabs(tolerance)) {}

    /// `pairs`: the points of each segment.
    void Build(std::vector<Point> points, std::vector<Pair> pairs);

    std::vector<Polyline> Chains();

private:
    int PointOf(int end) const { return pairs_[At(SegmentOf(end))][At(end % 2)]; }
    const Point& CenterOf(int end) const { return points_[At(PointOf(end))]; }
    bool IsFree(int end) const { return link_[At(end)] < 0; }
    int EndCount() const { return static_cast<int>(link_.size()); }

    void Link(int a, int b)
    {
        link_[At(a)] = SegmentOf(b);
        link_[At(b)] = SegmentOf(a);
    }

    FreeEnds ListFreeEnds() const;
    void PlaceRoot();
    bool RootHolds(const Point& center) const;
    void LinkWithinTolerance(FreeEnds& free);
    int Partner(int end, const NumberedPoints& search, const FreeEnds& free) const;
    void PairMutually(const FreeEnds& free);
    std::vector<Polyline> Walk() const;

    double tolerance_;
    std::vector<Point> points_;
    std::vector<Pair> pairs_;
    std::vector<int> link_; // of each end the segment that it is joined to, or -1
    Bounding::RegularBoundingBox<2, double> root_;
};

void SegmentLinker::Build(std::vector<Point> points, std::vector<Pair> pairs)
{
    points_ = std::move(points);
    pairs_ = std::move(pairs);
    link_.assign(2 * pairs_.size(), -1);
    // The first two ends of each point, and how many there are.
    std::vector<Pair> firstEnds(points_.size());
    std::vector<int> counts(points_.size());
    for (int end = 0; end < EndCount(); ++end) {
        int& count = counts[At(PointOf(end))];
        if (count < 2) {
            firstEnds[At(PointOf(end))][At(count)] = end;
        }
        ++count;
    }
    for (std::size_t point = 0; point < points_.size(); ++point) {
        if (counts[point] == 2) {
            Link(firstEnds[point][0], firstEnds[point][1]);
        }
    }
    PlaceRoot();
}

/// The cell that a loose tree of the ends would have at its root. Its half size is meant to be
/// taken from a point that lies a tenth beyond the center as seen from the origin; what that does
/// to drawings at a distance is told in the header.
void SegmentLinker::PlaceRoot()
{
    Bounding::AxisAlignedBoundingBox<2, double> box;
    for (const Pair& pair : pairs_) {
        box.Grow(points_[At(pair[0])]);
        box.Grow(points_[At(pair[1])]);
    }
    root_.center = (box.min + box.max) * 0.5;
    root_.halfSize = Length(box.min - root_.center * 1.1);
    root_.slack = 0.0;
}

bool SegmentLinker::RootHolds(const Point& center) const
{
    return Impl::LiesWithin(Impl::BallOf<2, double>{center, tolerance_}, Impl::LooseBoxOf(root_));
}

FreeEnds SegmentLinker::ListFreeEnds() const
{
    const Math::Impl::Buckets<int> endsOfPoint(points_.size(), [&](const auto& put) {
        for (int end = 0; end < EndCount(); ++end) {
            if (IsFree(end)) {
                put(PointOf(end), end);
            }
        }
    });
    FreeEnds free(points_.size(), link_.size());
    for (int point = 0; point < static_cast<int>(points_.size()); ++point) {
        free.SetList(point, endsOfPoint[point]);
    }
    return free;
}

std::vector<Polyline> SegmentLinker::Chains()
{
    FreeEnds free = ListFreeEnds();
    LinkWithinTolerance(free);
    PairMutually(free);
    return Walk();
}

void SegmentLinker::LinkWithinTolerance(FreeEnds& free)
{
    const double half = root_.halfSize * (1.0 + root_.slack);
    const double reach = 2.0 * std::sqrt(half * half + half * half) * kFirstReach;
    if (!(reach * reach > 0.0)) {
        return; // no box is nearer than a ball of this size reaches
    }
    std::vector<int> lowest = free.First();
    for (std::size_t point = 0; point < lowest.size(); ++point) {
        if (lowest[point] != FreeEnds::kNone && !RootHolds(points_[point])) {
            lowest[point] = FreeEnds::kNone;
        }
    }
    NumberedPoints search(points_, lowest);
    const auto remove = [&](int end) {
        const int point = PointOf(end);
        const int first = free.First()[At(point)];
        free.Remove(point, end);
        if (first == end && lowest[At(point)] != FreeEnds::kNone) {
            search.SetNumber(point, free.First()[At(point)]);
        }
    };
    for (int end = 0; end < EndCount(); ++end) {
        if (!IsFree(end)) {
            continue;
        }
        const int partner = Partner(end, search, free);
        if (partner != FreeEnds::kNone) {
            Link(end, partner);
            remove(end);
            remove(partner);
        }
    }
}

int SegmentLinker::Partner(int end, const NumberedPoints& search, const FreeEnds& free) const
{
    const Point& here = CenterOf(end);
    const Point& there = CenterOf(OtherEnd(end));
    const auto mayHold = [&](const NumberedPoints::Box& box) {
        return Impl::MayHoldNoNearerTo(there, here, box);
    };
    return search
        .Nearest(here, tolerance_ * tolerance_, mayHold,
                 [&](const Point& position, double squaredDistance, int lowest) {
                     // What `MayHoldNoNearerTo` rules boxes out for.
                     return squaredDistance <= SquaredLength(position - there)
                                ? free.LowestOfOthers(lowest, SegmentOf(end))
                                : FreeEnds::kNone;
                 })
        .number;
}

// Conceived as one ordered table for each end, of all others by their squared distance, of which
// the lowest stands for those at the same one. Of a table no more is ever read than the nearest
// entry and, once that has been struck out, the next at a greater distance: struck out is at most
// one entry, when it is its end's turn.
void SegmentLinker::PairMutually(const FreeEnds& free)
{
    using Found = NumberedPoints::Found;
    const NumberedPoints search(points_, free.First());
    const auto nearestBeyond = [&](int end, double squaredDistance) {
        return search.Nearest(
            CenterOf(end), std::numeric_limits<double>::infinity(),
            [](const NumberedPoints::Box&) { return true; },
            [&](const Point&, double candidate, int lowest) {
                return candidate > squaredDistance ? free.LowestOfOthers(lowest, SegmentOf(end))
                                                   : FreeEnds::kNone;
            });
    };
    std::vector<Found> nearest(link_.size());
    for (int end = 0; end < EndCount(); ++end) {
        if (IsFree(end)) {
            nearest[At(end)] = nearestBeyond(end, -1.0);
        }
    }
    // Those whose nearest entry was struck out; what is linked has an empty table.
    std::vector<char> struckOut(link_.size());
    for (int end = 0; end < EndCount(); ++end) {
        const int partner = nearest[At(end)].number;
        if (!IsFree(end) || partner == FreeEnds::kNone || !IsFree(partner)) {
            continue;
        }
        Found& back = nearest[At(partner)];
        if (struckOut[At(partner)] == 1) {
            back = nearestBeyond(partner, back.squaredDistance);
            struckOut[At(partner)] = 2; // looked up
        }
        const double length = Length(CenterOf(end) - CenterOf(OtherEnd(end)));
        if (back.number == FreeEnds::kNone || back.squaredDistance > length) {
            continue;
        }
        if (back.number == end) {
            Link(end, partner);
        } else {
            struckOut[At(end)] = 1;
        }
    }
}

/// Every pass of the loop but those after the last start goes on by one segment that was not seen
/// before, or ends the polyline that the last of them belongs to. So there are as many passes as
/// segments, and each closed loop is walked: all of its ends may begin.
std::vector<Polyline> SegmentLinker::Walk() const
{
    std::vector<Polyline> chains;
    if (EndCount() < 2) {
        return chains;
    }
    Polyline chain{CenterOf(0)};
    std::vector<char> visited(pairs_.size()); // both ends of a segment together
    visited[0] = 1;
    int start = 0;
    int current = 0;
    int next = link_[1];
    // Ends are tried as starts one after the other: 1, 2, ... An end that is unfit now stays so,
    // and so do all when there is none left.
    int candidate = 1;
    for (std::size_t step = 0; step < pairs_.size(); ++step) {
        bool finished = true;
        if (next < 0) {
            chain.push_back(CenterOf(IsFree(2 * current) ? 2 * current : 2 * current + 1));
        } else {
            const int entry = link_[At(2 * next)] == current ? 2 * next : 2 * next + 1;
            chain.push_back(CenterOf(entry));
            finished = visited[At(next)] != 0;
            visited[At(next)] = 1;
            current = next;
            next = link_[At(OtherEnd(entry))];
        }
        if (!finished && current != start) {
            continue;
        }
        chains.push_back(std::exchange(chain, {}));
        const auto isStart = [&](int end) {
            return visited[At(SegmentOf(end))] == 0 && !IsFree(end) && !IsFree(OtherEnd(end));
        };
        while (candidate < EndCount() && !isStart(candidate)) {
            ++candidate;
        }
        if (candidate < EndCount()) {
            start = current = SegmentOf(candidate);
            chain.push_back(CenterOf(candidate));
            next = link_[At(OtherEnd(candidate))];
            visited[At(current)] = 1;
        }
    }
    if (!chain.empty()) {
        chains.push_back(std::move(chain));
    }
    return chains;
}

// --- from segments to points and back ------------------------------------------------------------

/// The points of the segments that are left, ascending, without repeats.
std::vector<SegmentLinker::Pair> PairsOf(const std::vector<int>& numbers,
                                         const std::vector<char>& isFinite)
{
    std::vector<std::uint64_t> keys;
    keys.reserve(numbers.size() / 2);
    for (std::size_t i = 0; i + 1 < numbers.size(); i += 2) {
        const auto [low, high] = std::minmax(numbers[i], numbers[i + 1]);
        if (isFinite[i] != 0 && isFinite[i + 1] != 0 && low != high) {
            keys.push_back(static_cast<std::uint64_t>(low) << 32U |
                           static_cast<std::uint64_t>(high));
        }
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    std::vector<SegmentLinker::Pair> pairs;
    pairs.reserve(keys.size());
    for (const std::uint64_t key : keys) {
        pairs.push_back({static_cast<int>(key >> 32U), static_cast<int>(key & 0xffffffffU)});
    }
    return pairs;
}

} // namespace

template <class T>
std::vector<std::vector<VecBase<2, T>>>
LinkSegments(const std::vector<Geometry::SegBase<T>>& segments, T tolerance)
{
    std::vector<Point> points;
    points.reserve(2 * segments.size());
    std::vector<char> isFinite;
    isFinite.reserve(2 * segments.size());
    for (const Geometry::SegBase<T>& segment : segments) {
        for (const VecBase<2, T>& end : {segment.start, segment.end}) {
            points.emplace_back(end);
            isFinite.push_back(Math::Impl::IsFinite(end) ? 1 : 0);
        }
    }
    const std::vector<int> numbers = Vector::FilterForUniquenessAndIndex(points, kWeldTolerance);
    SegmentLinker linker(static_cast<double>(tolerance));
    linker.Build(std::move(points), PairsOf(numbers, isFinite));

    std::vector<std::vector<VecBase<2, T>>> chains;
    std::vector<Polyline> polylines = linker.Chains();
    if constexpr (std::is_same_v<T, double>) {
        chains = std::move(polylines);
    } else {
        chains.reserve(polylines.size());
        for (const Polyline& polyline : polylines) {
            std::vector<VecBase<2, T>>& chain = chains.emplace_back();
            chain.reserve(polyline.size());
            for (const Point& point : polyline) {
                chain.emplace_back(point);
            }
        }
    }
    return chains;
}

// clang-format off
template std::vector<std::vector<VecBase<2, float>>>  LinkSegments(const std::vector<Geometry::SegBase<float>>&,  float);
template std::vector<std::vector<VecBase<2, double>>> LinkSegments(const std::vector<Geometry::SegBase<double>>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Tree
