// Cutting of edges on an integer grid. Every decision is made on whole numbers of 128 bits.
//
// 1. Edges on one line are added up along it, so that no two overlap.
// 2. Pairs that may meet come from the search that serves all sets of segments. A pair that crosses is cut at
//    the grid point nearest to its crossing, an edge with the end of another on it at that end.
// 3. From the start, until there is nothing to cut: cuts bend edges. (Rounds instead of the search for all edges
//    that pass the cell of a crossing, as in J. D. Hobby, "Practical segment intersection with finite precision
//    output", 1999: the pairs that rounding makes cross are few.)

#include "planar/GridCrossings_Impl.h"

#include "arrangement/CandidatePairs_Impl.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <tuple>
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

/// An edge with the line that it lies on.
struct EdgeOnLine {
    GridPoint direction; // in lowest terms
    Wide offset = 0;     // of the line from the origin, times the length of `direction`
    GridEdge edge;
};

EdgeOnLine OnItsLine(const GridEdge& edge)
{
    GridPoint along = edge.high - edge.low;
    const long long common = along.x() == 0   ? along.y()
                             : along.y() == 0 ? along.x()
                                              : std::gcd(along.x(), along.y());
    along = {along.x() / common, along.y() / common};
    return {along, Cross(along, edge.low), edge};
}

/// A place on a line where what is run there changes.
struct Change {
    GridPoint at;
    std::array<int, 2> runs;
};

/// Adds the changes of one line up, in their order along it.
void AppendRuns(std::vector<Change>& changes, bool mergeRuns, std::vector<GridEdge>& edges)
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
        if (mergeRuns && runs == current.runs) {
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

/// Places to cut edges at.
using Cuts = std::vector<std::pair<int, GridPoint>>;

void CutAt(const GridPoint& point, int number, const GridEdge& edge, Cuts& cuts)
{
    if (point != edge.low && point != edge.high) {
        cuts.push_back({number, point});
    }
}

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
        const GridPoint crossing = CrossingOf(a, b);
        CutAt(crossing, first, a, cuts);
        CutAt(crossing, second, b, cuts);
        return;
    }
    const auto cutWhereOn = [&cuts](int side, const GridPoint& end, int number,
                                    const GridEdge& edge) {
        if (side == 0 && IsInside(end, edge)) {
            cuts.push_back({number, end});
        }
    };
    cutWhereOn(lowOfB, b.low, first, a);
    cutWhereOn(highOfB, b.high, first, a);
    cutWhereOn(lowOfA, a.low, second, b);
    cutWhereOn(highOfA, a.high, second, b);
}

/// One round: true when something was cut.
bool CutOnce(std::vector<GridEdge>& edges)
{
    std::vector<Intersect::Impl::Element> elements;
    elements.reserve(edges.size());
    for (const GridEdge& edge : edges) {
        // Exact: whole numbers of 33 bits.
        const Geometry::SegBase<double> segment{Vec2d(edge.low), Vec2d(edge.high)};
        elements.push_back(Intersect::Impl::MakeElement(segment, 0.0));
    }
    Cuts cuts;
    {
        const Intersect::Impl::CandidatePairs pairs(elements);
        std::vector<int> candidates;
        for (int i = 0; i < static_cast<int>(edges.size()); ++i) {
            pairs.Of(i, candidates);
            for (const int j : candidates) {
                CutPair(edges, i, j, cuts);
            }
        }
    }
    if (cuts.empty()) {
        return false;
    }
    std::sort(cuts.begin(), cuts.end(), [&edges](const auto& a, const auto& b) {
        if (a.first != b.first) {
            return a.first < b.first;
        }
        const GridEdge& edge = edges[static_cast<std::size_t>(a.first)];
        const GridPoint along = edge.high - edge.low;
        const auto place = [&](const GridPoint& p) {
            const GridPoint from = p - edge.low;
            return static_cast<Wide>(along.x()) * from.x() +
                   static_cast<Wide>(along.y()) * from.y();
        };
        const Wide placeA = place(a.second);
        const Wide placeB = place(b.second);
        return placeA != placeB ? placeA < placeB : IsBefore(a.second, b.second);
    });
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());

    std::vector<GridEdge> pieces;
    pieces.reserve(edges.size() + cuts.size());
    auto cut = cuts.begin();
    for (int i = 0; i < static_cast<int>(edges.size()); ++i) {
        const GridEdge& edge = edges[static_cast<std::size_t>(i)];
        GridPoint from = edge.low;
        const auto append = [&](const GridPoint& to) {
            // Rounding may turn a piece round.
            if (IsBefore(from, to)) {
                pieces.push_back({from, to, edge.runs});
            } else {
                pieces.push_back({to, from, {-edge.runs[0], -edge.runs[1]}});
            }
            from = to;
        };
        for (; cut != cuts.end() && cut->first == i; ++cut) {
            append(cut->second);
        }
        append(edge.high);
    }
    edges = std::move(pieces);
    return true;
}

} // namespace

void ResolveOverlaps(std::vector<GridEdge>& edges, bool mergeRuns)
{
    std::vector<EdgeOnLine> onLines;
    onLines.reserve(edges.size());
    for (const GridEdge& edge : edges) {
        if (IsRun(edge)) {
            onLines.push_back(OnItsLine(edge));
        }
    }
    const auto lineOf = [](const EdgeOnLine& e) {
        return std::tuple(e.direction.x(), e.direction.y(), e.offset);
    };
    std::sort(onLines.begin(), onLines.end(), [&](const EdgeOnLine& a, const EdgeOnLine& b) {
        return lineOf(a) < lineOf(b);
    });
    edges.clear();
    std::vector<Change> changes;
    for (std::size_t i = 0; i < onLines.size();) {
        const std::size_t first = i;
        while (i < onLines.size() && lineOf(onLines[i]) == lineOf(onLines[first])) {
            ++i;
        }
        if (i == first + 1) {
            edges.push_back(onLines[first].edge);
            continue;
        }
        for (std::size_t k = first; k < i; ++k) {
            const GridEdge& edge = onLines[k].edge;
            changes.push_back({edge.low, edge.runs});
            changes.push_back({edge.high, {-edge.runs[0], -edge.runs[1]}});
        }
        AppendRuns(changes, mergeRuns, edges);
    }
}

bool CutGridEdges(std::vector<GridEdge>& edges, int mostRounds)
{
    for (int round = 0; round < mostRounds; ++round) {
        if (!CutOnce(edges)) {
            return true;
        }
        ResolveOverlaps(edges, false);
    }
    return false;
}

} // namespace Velk::Math::Sorvane::Planar::Impl
