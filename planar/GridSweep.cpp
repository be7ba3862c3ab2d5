// The sweep goes from point to point, by x and then y, over edges that meet at their ends only.
// Which edges cross the sweep line, from the bottom up, is kept in a balanced tree with the winding
// numbers above each. At a point the edges that end there give way to those that start there: they
// take their places in the tree, so that only a point where nothing ends has to be searched for.

#include "mathbase/Progress_Impl.h"
#include "planar/GridSweep_Impl.h"

#include "mathbase/RadixSort_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <set>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

__extension__ typedef __int128 Wide;

/// Positive where `a`, `b`, `c` turn left.
int TurnOf(std::uint64_t a, std::uint64_t b, std::uint64_t c)
{
    const GridPoint origin = PointOf(a);
    const GridPoint first = PointOf(b) - origin;
    const GridPoint second = PointOf(c) - origin;
    const Wide left = static_cast<Wide>(first.x()) * second.y();
    const Wide right = static_cast<Wide>(first.y()) * second.x();
    return left > right ? 1 : left < right ? -1 : 0;
}

class Sweep {
public:
    Sweep(const GridGraph& graph, Keep keep, bool isForced,
          std::vector<std::array<int, 2>>& boundary)
        : graph_(graph), keep_(keep), isForced_(isForced), boundary_(boundary),
          line_(IsLower{this}), endingAt_(graph.points.size(), line_.end())
    {
    }
    Sweep(const Sweep&) = delete;
    Sweep& operator=(const Sweep&) = delete;

    bool Run()
    {
        for (int point = 0; point < static_cast<int>(graph_.points.size()); ++point) {
            Progress::Impl::CheckStep(static_cast<std::size_t>(point), graph_.points.size());
            if (!Pass(point) && !isForced_) {
                return false;
            }
        }
        return true;
    }

private:
    using Winding = std::array<int, 2>;

    /// An edge on the sweep line. Its place among the others never changes, but the edge gives way
    /// to its successor.
    struct Place {
        mutable int edge = 0;
        mutable Winding above{};
    };

    struct IsLower {
        using is_transparent = void;
        const Sweep* sweep;

        bool operator()(const Place& a, const Place& b) const
        {
            return sweep->IsEdgeLower(sweep->EdgeAt(a), sweep->EdgeAt(b));
        }
        bool operator()(const Place& place, std::uint64_t point) const
        {
            return sweep->SideOf(point, sweep->EdgeAt(place)) > 0;
        }
        bool operator()(std::uint64_t point, const Place& place) const
        {
            return sweep->SideOf(point, sweep->EdgeAt(place)) < 0;
        }
    };
    using Line = std::multiset<Place, IsLower>;
    using Iterator = Line::iterator;

    const GridGraph::Edge& EdgeAt(const Place& place) const
    {
        return graph_.edges[static_cast<std::size_t>(place.edge)];
    }

    std::uint64_t Point(int number) const
    {
        return graph_.points[static_cast<std::size_t>(number)];
    }

    /// Positive above the edge.
    int SideOf(std::uint64_t point, const GridGraph::Edge& edge) const
    {
        return TurnOf(Point(edge.low), Point(edge.high), point);
    }

    bool IsEdgeLower(const GridGraph::Edge& a, const GridGraph::Edge& b) const
    {
        const bool aIsFirst = a.low <= b.low;
        const int side = aIsFirst ? SideOf(Point(b.low), a) : -SideOf(Point(a.low), b);
        return side != 0 ? side > 0 : TurnOf(Point(a.low), Point(a.high), Point(b.high)) > 0;
    }

    /// Of an edge and the next one above it on the sweep line: do they stay apart to their ends?
    bool AreApart(const GridGraph::Edge& lower, const GridGraph::Edge& upper) const
    {
        return lower.high == upper.high ||
               (lower.high < upper.high ? SideOf(Point(lower.high), upper) < 0
                                        : SideOf(Point(upper.high), lower) > 0);
    }

    bool IsKept(const Winding& winding) const
    {
        const bool isInFirst = winding[0] > 0;
        const bool isInSecond = winding[1] > 0;
        switch (keep_) {
        case Keep::FirstSet:
            return isInFirst;
        case Keep::FirstSetWithoutSecond:
            return isInFirst && !isInSecond;
        case Keep::EitherSet:
            return isInFirst || isInSecond;
        case Keep::BothSets:
            return isInFirst && isInSecond;
        case Keep::OneSetOnly:
            return isInFirst != isInSecond;
        }
        return false;
    }

    void Put(Iterator place, int edge, const Winding& above)
    {
        place->edge = edge;
        place->above = above;
        endingAt_[static_cast<std::size_t>(EdgeAt(*place).high)] = place;
    }

    /// Moves the sweep line past a point. False when it showed that edges meet elsewhere than at
    /// their ends.
    bool Pass(int point)
    {
        const int first = graph_.firstEdge[static_cast<std::size_t>(point)];
        const int end = graph_.firstEdge[static_cast<std::size_t>(point) + 1];
        // The places of the edges that end here, from `from` up to `upper`.
        Iterator from = endingAt_[static_cast<std::size_t>(point)];
        Iterator upper = from;
        if (from == line_.end()) {
            if (first == end) {
                return true; // an end of edges that canceled
            }
            from = upper = line_.lower_bound(Point(point));
        } else {
            const auto endsHere = [&](Iterator place) { return EdgeAt(*place).high == point; };
            while (from != line_.begin() && endsHere(std::prev(from))) {
                --from;
            }
            while (upper != line_.end() && endsHere(upper)) {
                ++upper;
            }
        }
        const bool hasLower = from != line_.begin();
        const Iterator lower = hasLower ? std::prev(from) : from;
        bool isSound =
            from != upper || upper == line_.end() || SideOf(Point(point), EdgeAt(*upper)) != 0;

        Winding winding = hasLower ? lower->above : Winding{};
        Iterator last = lower;
        for (int number = first; number < end; ++number) {
            const GridGraph::Edge& edge = graph_.edges[static_cast<std::size_t>(number)];
            const bool isKeptBelow = IsKept(winding);
            winding = {winding[0] + edge.runs[0], winding[1] + edge.runs[1]};
            if (isKeptBelow != IsKept(winding)) {
                boundary_.push_back(isKeptBelow ? std::array{edge.high, point}
                                                : std::array{point, edge.high});
            }
            last = from != upper ? from++ : line_.emplace_hint(upper, Place{number, winding});
            Put(last, number, winding);
            if (number > first) {
                const GridGraph::Edge& before = graph_.edges[static_cast<std::size_t>(number) - 1];
                isSound = isSound && SideOf(Point(edge.high), before) > 0;
            } else if (hasLower) {
                isSound = isSound && AreApart(EdgeAt(*lower), edge);
            }
        }
        line_.erase(from, upper);
        if (upper != line_.end() && (hasLower || first < end)) {
            isSound = isSound && AreApart(EdgeAt(*last), EdgeAt(*upper));
        }
        return isSound;
    }

    const GridGraph& graph_;
    Keep keep_;
    bool isForced_;
    std::vector<std::array<int, 2>>& boundary_;
    Line line_;
    std::vector<Iterator>
        endingAt_; // of each point: a place on the sweep line that ends there, or the end
};

using Edges = std::vector<GridGraph::Edge>;

/// Sorts edges by their lower points and lets merge(first, last, low) make fewer of those out of
/// each: it returns where what is left of them ends.
template <class Merge>
void AddUpByPoints(Edges& edges, const Merge& merge)
{
    Math::Impl::StableSortByKey(
        edges, [](const GridGraph::Edge& edge) { return static_cast<std::uint32_t>(edge.low); });
    Progress::Impl::Steps steps;
    auto written = edges.begin();
    for (auto from = edges.begin(); from != edges.end();) {
        steps.Next();
        const int low = from->low;
        const auto to = std::find_if(from, edges.end(),
                                     [&](const GridGraph::Edge& edge) { return edge.low != low; });
        written = std::move(from, merge(from, to, low), written);
        from = to;
    }
    edges.erase(written, edges.end());
}

/// Makes neighbors that lead to the same point one; where those that are left end.
Edges::iterator AddUpNeighbors(Edges::iterator from, Edges::iterator to)
{
    auto written = from;
    while (from != to) {
        GridGraph::Edge sum = *from;
        for (++from; from != to && from->high == sum.high; ++from) {
            sum.runs = {sum.runs[0] + from->runs[0], sum.runs[1] + from->runs[1]};
        }
        if (sum.runs[0] != 0 || sum.runs[1] != 0) {
            *written++ = sum;
        }
    }
    return written;
}

/// Makes edges out of one point one that lead to the same other point.
Edges::iterator AddUpOfPoint(Edges::iterator from, Edges::iterator to)
{
    std::sort(from, to,
              [](const GridGraph::Edge& a, const GridGraph::Edge& b) { return a.high < b.high; });
    return AddUpNeighbors(from, to);
}

} // namespace

std::vector<int> NumberedKeys(const std::vector<std::uint64_t>& keys,
                              std::vector<std::uint64_t>& points)
{
    points.clear();
    std::vector<std::pair<std::uint64_t, int>> sorted;
    sorted.reserve(keys.size());
    for (const std::uint64_t key : keys) {
        Progress::Impl::CheckStep(sorted.size());
        sorted.push_back({key, static_cast<int>(sorted.size())});
    }
    Math::Impl::StableSortByKey(sorted, [](const auto& item) { return item.first; });
    std::vector<int> numbers(keys.size());
    Progress::Impl::Steps steps;
    for (const auto& [key, subscript] : sorted) {
        steps.Next();
        if (points.empty() || points.back() != key) {
            points.push_back(key);
        }
        numbers[static_cast<std::size_t>(subscript)] = static_cast<int>(points.size()) - 1;
    }
    return numbers;
}

void AppendNumbered(int from, int to, std::array<int, 2> runs, std::vector<GridGraph::Edge>& edges)
{
    if (from < to) {
        edges.push_back({from, to, runs});
    } else if (from > to) {
        edges.push_back({to, from, {-runs[0], -runs[1]}});
    }
}

void AddUp(std::vector<GridGraph::Edge>& edges)
{
    AddUpByPoints(edges, [](Edges::iterator from, Edges::iterator to, int) {
        return AddUpOfPoint(from, to);
    });
}

GridGraph GraphOf(std::vector<std::uint64_t> points, std::vector<GridGraph::Edge> edges)
{
    // Comparing numbers before directions pays where many edges lead to few points.
    constexpr std::ptrdiff_t kMany = 8;
    GridGraph graph;
    graph.points = std::move(points);
    graph.firstEdge.assign(graph.points.size() + 1, 0);
    AddUpByPoints(edges, [&](Edges::iterator from, Edges::iterator to, int low) {
        if (to - from > kMany) {
            to = AddUpOfPoint(from, to);
        }
        const auto point = [&](int number) {
            return graph.points[static_cast<std::size_t>(number)];
        };
        std::sort(from, to, [&](const GridGraph::Edge& a, const GridGraph::Edge& b) {
            if (a.high == b.high) {
                return false;
            }
            const int turn = TurnOf(point(low), point(a.high), point(b.high));
            return turn != 0 ? turn > 0 : a.high < b.high;
        });
        to = AddUpNeighbors(from, to);
        graph.firstEdge[static_cast<std::size_t>(low) + 1] = static_cast<int>(to - from);
        return to;
    });
    graph.edges = std::move(edges);
    std::partial_sum(graph.firstEdge.begin(), graph.firstEdge.end(), graph.firstEdge.begin());
    return graph;
}

GridGraph MakeGraph(const std::vector<GridEdge>& edges)
{
    std::vector<std::uint64_t> keys;
    keys.reserve(2 * edges.size());
    for (const GridEdge& edge : edges) {
        keys.push_back(KeyOf(edge.low));
        keys.push_back(KeyOf(edge.high));
    }
    std::vector<std::uint64_t> points;
    const std::vector<int> numbers = NumberedKeys(keys, points);
    Edges numbered;
    numbered.reserve(edges.size());
    for (std::size_t i = 0; i < edges.size(); ++i) {
        AppendNumbered(numbers[2 * i], numbers[2 * i + 1], edges[i].runs, numbered);
    }
    return GraphOf(std::move(points), std::move(numbered));
}

std::vector<GridEdge> EdgesOf(const GridGraph& graph)
{
    std::vector<GridEdge> edges;
    edges.reserve(graph.edges.size());
    for (const GridGraph::Edge& edge : graph.edges) {
        edges.push_back({PointOf(graph.points[static_cast<std::size_t>(edge.low)]),
                         PointOf(graph.points[static_cast<std::size_t>(edge.high)]), edge.runs});
    }
    return edges;
}

bool SweepGraph(const GridGraph& graph, Keep keep, bool isForced,
                std::vector<std::array<int, 2>>& boundary)
{
    return Sweep(graph, keep, isForced, boundary).Run();
}

} // namespace Velk::Math::Sorvane::Planar::Impl
