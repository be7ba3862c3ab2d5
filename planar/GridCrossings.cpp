// Cutting of edges on an integer grid. Every decision is made on whole numbers of 128 bits.
//
// 1. Edges on one line are added up along it, so that no two overlap.
// 2. Pairs that may meet come from the search that serves all sets of segments. A pair that crosses
// is cut at
//    the grid point nearest to its crossing, an edge with the end of another on it at that end.
// 3. Cuts bend edges, and bent edges may cross anew. The sweep that follows finds that out. Then
// all edges are cut once
//    more, at every end and crossing whose cell they pass (J. D. Hobby, "Practical segment
//    intersection with finite precision output", 1999), which leaves none that cross. This is
//    rarely needed: edges within a cell of a point are few, except where many lie nearly on one
//    line.

#include "planar/GridCrossings_Impl.h"

#include "arrangement/CandidatePairs_Impl.h"
#include "mathbase/Buckets_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/WatchedSort_Impl.h"
#include "planar/GridPointTree_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

__extension__ typedef __int128 Wide;

Wide Cross(const GridPoint& a, const GridPoint& b)
{
    return static_cast<Wide>(a.x()) * b.y() - static_cast<Wide>(a.y()) * b.x();
}

bool IsBefore(const GridPoint& a, const GridPoint& b)
{
    return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
}

bool IsRun(const GridEdge& edge)
{
    return edge.low != edge.high && (edge.runs[0] != 0 || edge.runs[1] != 0);
}

/// An edge with the slope of its line, infinite for an upright one. Quotients are rounded
/// correctly, so that equal slopes are equal numbers.
struct SlopedEdge {
    double slope;
    int number;
};

Wide Turn(const GridEdge& a, const GridEdge& b) { return Cross(a.high - a.low, b.high - b.low); }

/// A place on a line where what is run there changes.
struct Change {
    GridPoint at;
    std::array<int, 2> runs;
};

/// Adds the changes of one line up, in their order along it.
void AppendRuns(std::vector<Change>& changes, std::vector<GridEdge>& edges)
{
    std::sort(changes.begin(), changes.end(),
              [](const Change& a, const Change& b) { return IsBefore(a.at, b.at); });
    GridEdge current{changes.front().at, changes.front().at, {0, 0}};
    for (std::size_t i = 0; i < changes.size();) {
        const GridPoint at = changes[i].at;
        std::array<int, 2> runs = current.runs;
        for (; i < changes.size() && changes[i].at == at; ++i) {
            runs[0] += changes[i].runs[0];
            runs[1] += changes[i].runs[1];
        }
        if (runs == current.runs) {
            continue;
        }
        current.high = at;
        if (IsRun(current)) {
            edges.push_back(current);
        }
        current = {at, at, runs};
    }
    changes.clear();
}

int SideOf(const GridPoint& point, const GridEdge& edge)
{
    const Wide cross = Cross(edge.high - edge.low, point - edge.low);
    return cross > 0 ? 1 : cross < 0 ? -1 : 0;
}

/// Of a point on the edge's line: is it between the ends?
bool IsInside(const GridPoint& point, const GridEdge& edge)
{
    return IsBefore(edge.low, point) && IsBefore(point, edge.high);
}

/// The whole number nearest to `numerator` / `denominator`, which is positive.
long long RoundedQuotient(Wide numerator, Wide denominator)
{
    const Wide twice = 2 * numerator + denominator;
    const Wide quotient = twice / (2 * denominator);
    const bool isTowardZero = twice < 0 && quotient * 2 * denominator != twice;
    return static_cast<long long>(isTowardZero ? quotient - 1 : quotient);
}

/// The grid point nearest to where two edges that cross do.
GridPoint CrossingOf(const GridEdge& a, const GridEdge& b)
{
    const GridPoint alongA = a.high - a.low;
    const GridPoint alongB = b.high - b.low;
    Wide denominator = Cross(alongA, alongB);
    Wide numerator = Cross(b.low - a.low, alongB);
    if (denominator < 0) {
        denominator = -denominator;
        numerator = -numerator;
    }
    return {a.low.x() + RoundedQuotient(alongA.x() * numerator, denominator),
            a.low.y() + RoundedQuotient(alongA.y() * numerator, denominator)};
}

/// Places to cut edges at: numbers of edges and of points. The ends of edge i are points 2 i and 2
/// i + 1, crossings are numbered after them.
struct Cuts {
    std::vector<std::uint64_t> points;
    std::vector<std::pair<int, int>> places;

    void Add(int edge, int point)
    {
        const std::uint64_t key = points[static_cast<std::size_t>(point)];
        const auto end = points.begin() + 2 * static_cast<std::ptrdiff_t>(edge);
        if (key != end[0] && key != end[1]) {
            places.push_back({edge, point});
        }
    }
};

void CutPair(const std::vector<GridEdge>& edges, int first, int second, Cuts& cuts)
{
    const GridEdge& a = edges[static_cast<std::size_t>(first)];
    const GridEdge& b = edges[static_cast<std::size_t>(second)];
    const auto areApart = [](long long lowA, long long highA, long long lowB, long long highB) {
        return highA < lowB || highB < lowA;
    };
    if (areApart(a.low.x(), a.high.x(), b.low.x(), b.high.x()) ||
        areApart(std::min(a.low.y(), a.high.y()), std::max(a.low.y(), a.high.y()),
                 std::min(b.low.y(), b.high.y()), std::max(b.low.y(), b.high.y()))) {
        return;
    }
    // Edges with a common end meet nowhere else: none overlap.
    if (a.low == b.low || a.low == b.high || a.high == b.low || a.high == b.high) {
        return;
    }
    const int lowOfB = SideOf(b.low, a);
    const int highOfB = SideOf(b.high, a);
    const int lowOfA = SideOf(a.low, b);
    const int highOfA = SideOf(a.high, b);
    if (lowOfB * highOfB < 0 && lowOfA * highOfA < 0) {
        const int point = static_cast<int>(cuts.points.size());
        cuts.points.push_back(KeyOf(CrossingOf(a, b)));
        cuts.Add(first, point);
        cuts.Add(second, point);
        return;
    }
    const auto cutWhereOn = [&cuts](int side, const GridPoint& end, int point, int number,
                                    const GridEdge& edge) {
        if (side == 0 && IsInside(end, edge)) {
            cuts.Add(number, point);
        }
    };
    cutWhereOn(lowOfB, b.low, 2 * second, first, a);
    cutWhereOn(highOfB, b.high, 2 * second + 1, first, a);
    cutWhereOn(lowOfA, a.low, 2 * first, second, b);
    cutWhereOn(highOfA, a.high, 2 * first + 1, second, b);
}

void FindCuts(const std::vector<GridEdge>& edges, Cuts& cuts)
{
    std::vector<Intersect::Impl::Element> elements;
    elements.reserve(edges.size());
    for (const GridEdge& edge : edges) {
        Progress::Impl::CheckStep(elements.size());
        // Exact: whole numbers of 33 bits.
        const Geometry::SegBase<double> segment{Vec2d(edge.low), Vec2d(edge.high)};
        elements.push_back(Intersect::Impl::MakeElement(segment, 0.0));
    }
    const Intersect::Impl::CandidatePairs pairs(elements);
    std::vector<int> candidates;
    for (int i = 0; i < static_cast<int>(edges.size()); ++i) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(i), 2 * edges.size());
        pairs.Of(i, candidates);
        for (const int j : candidates) {
            CutPair(edges, i, j, cuts);
        }
    }
}

/// Where a value that grows or falls along an edge is from -1 up to 1, as parts of the edge: whole
/// numbers for the limits' numerators, and what they are divided by.
struct Stretch {
    Wide from = 0;
    Wide to = 1;
    Wide divisor = 1;
    bool hasFrom = true; // or begins just behind `from`
    bool hasTo = true;
    bool isEmpty = false;
};

Stretch StretchOf(long long start, long long change)
{
    if (change > 0) {
        return {-1 - start, 1 - start, change, true, false, false};
    }
    if (change < 0) {
        return {start - 1, start + 1, -change, false, true, false};
    }
    Stretch all;
    all.isEmpty = start < -1 || start >= 1;
    return all;
}

/// Does an edge pass the cell about a point, half a unit to all sides? Its lower sides belong to
/// the cell. Exact.
bool PassesCell(const GridEdge& edge, const GridPoint& point)
{
    // In half units about the point.
    const GridPoint start = (edge.low - point) * 2LL;
    const GridPoint change = (edge.high - edge.low) * 2LL;
    const std::array<Stretch, 3> stretches{Stretch{}, StretchOf(start.x(), change.x()),
                                           StretchOf(start.y(), change.y())};
    for (const Stretch& a : stretches) {
        for (const Stretch& b : stretches) {
            const Wide from = a.from * b.divisor;
            const Wide to = b.to * a.divisor;
            if (a.isEmpty || from > to || (from == to && !(a.hasFrom && b.hasTo))) {
                return false;
            }
        }
    }
    return true;
}

/// Tells in `double` which cells an edge passes, but for those that its line nearly touches and
/// those about its ends and beyond.
class CellFilter {
public:
    explicit CellFilter(const GridEdge& edge)
        : start_(edge.low), along_(Vec2d(edge.high) - Vec2d(edge.low)),
          reach_(0.5 * (std::fabs(along_.x()) + std::fabs(along_.y())))
    {
        for (int axis = 0; axis < 2; ++axis) {
            const auto [low, high] = std::minmax(edge.low[axis], edge.high[axis]);
            low_[axis] = static_cast<double>(low + 1);
            high_[axis] = static_cast<double>(high - 1);
        }
    }

    /// Does the line surely pass beside the cell about `point`? Differences of whole numbers of 33
    /// bits are exact; products with them are off by 2^-20 of the other factor.
    bool Misses(const Vec2d& point) const { return Across(point) > reach_ * (1 + kRounding); }
    /// Does the edge surely pass through the inside of it?
    bool Passes(const Vec2d& point) const
    {
        return Across(point) < reach_ * (1 - kRounding) && point.x() >= low_.x() &&
               point.x() <= high_.x() && point.y() >= low_.y() && point.y() <= high_.y();
    }

private:
    static constexpr double kRounding = 0x1p-16;

    double Across(const Vec2d& point) const
    {
        const Vec2d from = point - start_;
        return std::fabs(along_.x() * from.y() - along_.y() * from.x());
    }

    Vec2d start_;
    Vec2d along_;
    double reach_; // half a cell to all sides, times the length of the edge
    Vec2d low_;
    Vec2d high_;
};

/// The ends of all edges, one edge after the other.
std::vector<std::uint64_t> EndsOf(const std::vector<GridEdge>& edges)
{
    std::vector<std::uint64_t> ends;
    ends.reserve(3 * edges.size());
    for (const GridEdge& edge : edges) {
        Progress::Impl::CheckStep(ends.size());
        ends.push_back(KeyOf(edge.low));
        ends.push_back(KeyOf(edge.high));
    }
    return ends;
}

/// The pieces of edges between points that have been numbered once, by their order. Where many
/// edges run through the same points, as they do when more cross than there are cells, the pieces
/// are added up on the way: memory stays near that of the result.
class Pieces {
public:
    /// `points` are distinct and ascend.
    explicit Pieces(std::vector<std::uint64_t> points) : points_(std::move(points)) {}

    void Reserve(std::size_t count) { pieces_.reserve(std::min(count, mostPieces_)); }

    /// The edge between points `low` and `high`, cut at places in any order, which it changes.
    void Add(int low, int high, const std::array<int, 2>& runs, std::span<int> places)
    {
        // By x and y is by place along the edge, too, but where an edge falls steeply or points
        // that lie beside it are out of step: most edges need no look at places.
        std::sort(places.begin(), places.end());
        const GridPoint origin = PointAt(low);
        const GridPoint direction = PointAt(high) - origin;
        along_.clear();
        bool isInOrder = true;
        for (const int point : places) {
            const GridPoint from = PointAt(point) - origin;
            along_.push_back({static_cast<Wide>(direction.x()) * from.x() +
                                  static_cast<Wide>(direction.y()) * from.y(),
                              point});
            isInOrder =
                isInOrder && (along_.size() == 1 || !(along_.back() < along_[along_.size() - 2]));
        }
        if (!isInOrder) {
            std::sort(along_.begin(), along_.end());
        }
        int from = low;
        for (const auto& [place, point] : along_) {
            AppendNumbered(from, point, runs, pieces_);
            from = point;
        }
        AppendNumbered(from, high, runs, pieces_);
        if (pieces_.size() > mostPieces_) {
            AddUp(pieces_);
            mostPieces_ = std::max(mostPieces_, 2 * pieces_.size());
        }
    }

    GridGraph Graph() && { return GraphOf(std::move(points_), std::move(pieces_)); }

private:
    GridPoint PointAt(int number) const
    {
        return PointOf(points_[static_cast<std::size_t>(number)]);
    }

    std::vector<std::uint64_t> points_;
    std::vector<GridGraph::Edge> pieces_;
    std::size_t mostPieces_ = std::size_t{1} << 22U;
    std::vector<std::pair<Wide, int>> along_; // places on an edge, by how far they are along it
};

} // namespace

void ResolveOverlaps(std::vector<GridEdge>& edges)
{
    std::erase_if(edges, [](const GridEdge& edge) { return !IsRun(edge); });
    std::vector<SlopedEdge> sloped;
    sloped.reserve(edges.size());
    for (const GridEdge& edge : edges) {
        Progress::Impl::CheckStep(sloped.size());
        const GridPoint along = edge.high - edge.low;
        // Upright edges run upward.
        sloped.push_back({static_cast<double>(along.y()) / static_cast<double>(along.x()),
                          static_cast<int>(sloped.size())});
    }
    const auto edgeOf = [&](const SlopedEdge& item) -> const GridEdge& {
        return edges[static_cast<std::size_t>(item.number)];
    };
    // Different slopes may be one number, too: then they are compared as fractions.
    Parallel::Impl::WatchedSort(
        sloped.begin(), sloped.end(), [&](const SlopedEdge& a, const SlopedEdge& b) {
            return a.slope != b.slope ? a.slope < b.slope : Turn(edgeOf(a), edgeOf(b)) > 0;
        });

    std::vector<GridEdge> result;
    result.reserve(edges.size());
    std::vector<std::pair<Wide, int>> parallel; // by their distance from the origin, times a length
    std::vector<Change> changes;
    Progress::Impl::Steps steps;
    for (std::size_t from = 0; from < sloped.size();) {
        steps.Next();
        const GridEdge& leader = edgeOf(sloped[from]);
        std::size_t to = from + 1;
        while (to < sloped.size() && sloped[to].slope == sloped[from].slope &&
               Turn(leader, edgeOf(sloped[to])) == 0) {
            ++to;
        }
        parallel.clear();
        for (; from < to; ++from) {
            parallel.push_back(
                {Cross(leader.high - leader.low, edgeOf(sloped[from]).low), sloped[from].number});
        }
        Parallel::Impl::WatchedSort(parallel.begin(), parallel.end(), std::less<>{});
        for (std::size_t i = 0; i < parallel.size();) {
            const std::size_t first = i;
            while (i < parallel.size() && parallel[i].first == parallel[first].first) {
                const GridEdge& edge = edges[static_cast<std::size_t>(parallel[i].second)];
                changes.push_back({edge.low, edge.runs});
                changes.push_back({edge.high, {-edge.runs[0], -edge.runs[1]}});
                ++i;
            }
            if (i == first + 1) {
                result.push_back(edges[static_cast<std::size_t>(parallel[first].second)]);
                changes.clear();
            } else {
                AppendRuns(changes, result);
            }
        }
    }
    edges = std::move(result);
}

GridGraph CutAtCrossings(const std::vector<GridEdge>& edges)
{
    Cuts cuts{EndsOf(edges), {}};
    FindCuts(edges, cuts);
    std::vector<std::uint64_t> points;
    const std::vector<int> numbers = NumberedKeys(cuts.points, points);
    cuts.points = {};
    const auto numberOf = [&](std::size_t place) { return numbers[place]; };
    Math::Impl::Buckets<int> placesOf(edges.size(), [&](const auto& put) {
        for (const auto& [edge, point] : cuts.places) {
            put(edge, numberOf(static_cast<std::size_t>(point)));
        }
    });
    Pieces pieces(std::move(points));
    pieces.Reserve(edges.size() + cuts.places.size());
    cuts.places = {};
    for (std::size_t i = 0; i < edges.size(); ++i) {
        Progress::Impl::CheckStep(edges.size() + i, 2 * edges.size());
        pieces.Add(numberOf(2 * i), numberOf(2 * i + 1), edges[i].runs, placesOf[i]);
    }
    return std::move(pieces).Graph();
}

GridGraph CutAtCells(const std::vector<GridEdge>& edges, const std::vector<std::uint64_t>& points)
{
    std::vector<Vec2d> centers;
    centers.reserve(points.size());
    for (const std::uint64_t point : points) {
        centers.emplace_back(PointOf(point));
    }
    const GridPointTree tree(centers);
    std::vector<std::uint64_t> keys = EndsOf(edges);
    const std::size_t firstPoint = keys.size();
    keys.insert(keys.end(), points.begin(), points.end());
    std::vector<std::uint64_t> distinct;
    const std::vector<int> numbers = NumberedKeys(keys, distinct);
    keys = {};
    Pieces pieces(std::move(distinct));
    std::vector<int> places;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        Progress::Impl::CheckStep(i);
        const GridEdge& edge = edges[i];
        const CellFilter filter(edge);
        places.clear();
        tree.Near(Vec2d(edge.low), Vec2d(edge.high), 0.5, [&](int number) {
            const auto place = static_cast<std::size_t>(number);
            const Vec2d& at = centers[place];
            if (filter.Misses(at)) {
                return;
            }
            const auto passes = [&](const GridPoint& point) {
                return point != edge.low && point != edge.high && PassesCell(edge, point);
            };
            if (filter.Passes(at) || passes(PointOf(points[place]))) {
                places.push_back(numbers[firstPoint + place]);
            }
        });
        pieces.Add(numbers[2 * i], numbers[2 * i + 1], edge.runs, places);
    }
    return std::move(pieces).Graph();
}

} // namespace Velk::Math::Sorvane::Planar::Impl
