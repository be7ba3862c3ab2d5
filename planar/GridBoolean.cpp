// Booleans on an integer grid.
//
// 1. The directed edges of all loops, each for itself. To join the loops by bridges that are run
// forth and back
//    bounds the same region; but a bridge is cut by every edge that it crosses, and each cut is
//    rounded.
// 2. Edges are cut until they meet at their ends only (GridCrossings.cpp).
// 3. Boost.Polygon's scanline adds the winding numbers up and tells the edges between inside and
// outside, with
//    the inside on their left. They are chained into loops as they come: to have polygons made of
//    them first would slit holes, and round the ends of the slits.

#include "planar/GridBoolean_Impl.h"

#include <Sorvane/OrderedPairs_E.h>

#include "planar/FilterData_Impl.h"
#include "planar/GridCrossings_Impl.h"
#include "planar/GridPolygons_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

__extension__ typedef __int128 Wide;

namespace bp = boost::polygon;
using Scanline = bp::scanline<long long, int, std::vector<int>>;
using ScanPoint = Scanline::Point;
using HalfEdge = Scanline::half_edge;
using ScanEdge = Scanline::vertex_property;

/// Low and high corner of the box round all edges.
struct GridBox {
    GridPoint low;
    GridPoint high;

    explicit GridBox(const std::vector<GridEdge>& edges)
        : low(edges.front().low), high(edges.front().high)
    {
        for (const GridEdge& edge : edges) {
            for (int axis = 0; axis < 2; ++axis) {
                low[axis] = std::min({low[axis], edge.low[axis], edge.high[axis]});
                high[axis] = std::max({high[axis], edge.low[axis], edge.high[axis]});
            }
        }
    }
};

/// Twice the signed area of closed loops, about their first point.
Wide DoubledArea(const std::vector<GridLoop>& loops)
{
    Wide area = 0;
    for (const GridLoop& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            const GridPoint a = loop[i] - loop[0];
            const GridPoint b = loop[i + 1 < loop.size() ? i + 1 : 0] - loop[0];
            area += static_cast<Wide>(a.x()) * b.y() - static_cast<Wide>(a.y()) * b.x();
        }
    }
    return area;
}

/// In the order in which the scanline takes them: by the lower end, then by slope, upright ones
/// last.
bool IsScannedBefore(const ScanEdge& a, const ScanEdge& b)
{
    const auto& [lowA, highA] = a.first;
    const auto& [lowB, highB] = b.first;
    if (lowA.x() != lowB.x()) {
        return lowA.x() < lowB.x();
    }
    if (lowA.y() != lowB.y()) {
        return lowA.y() < lowB.y();
    }
    const Wide cross = static_cast<Wide>(highA.x() - lowA.x()) * (highB.y() - lowB.y()) -
                       static_cast<Wide>(highA.y() - lowA.y()) * (highB.x() - lowB.x());
    return cross != 0 ? cross > 0 : a.second.first < b.second.first;
}

std::vector<ScanEdge> ScanEdges(const std::vector<GridEdge>& edges)
{
    std::vector<ScanEdge> result;
    result.reserve(edges.size());
    for (const GridEdge& edge : edges) {
        const HalfEdge half{{edge.low.x(), edge.low.y()}, {edge.high.x(), edge.high.y()}};
        // An upright edge counts against its direction: "above" is to the left of all others.
        const int sense = edge.low.x() == edge.high.x() ? -1 : 1;
        for (int set = 0; set < 2; ++set) {
            const int runs = edge.runs[static_cast<std::size_t>(set)];
            if (runs != 0) {
                result.push_back({half, {set, sense * runs}});
            }
        }
    }
    return result;
}

/// Takes edges from the scanline and keeps those of the boundary, directed, by numbers of their
/// ends.
class BoundaryEdges {
public:
    explicit BoundaryEdges(Keep keep) : keep_(keep) {}

    void Take(const HalfEdge& edge, const std::vector<int>& setsOnLeft,
              const std::vector<int>& setsOnRight)
    {
        const bool isKeptLeft = IsKept(setsOnLeft);
        if (isKeptLeft == IsKept(setsOnRight)) {
            return;
        }
        const int low = numbers_.Index({edge.first.x(), edge.first.y()});
        const int high = numbers_.Index({edge.second.x(), edge.second.y()});
        pairs_.push_back(isKeptLeft ? std::array{low, high} : std::array{high, low});
    }

    /// `origin` is added to all points.
    std::vector<GridLoop> Loops(const GridPoint& origin) const
    {
        const auto chains =
            MeshUtils::ConcatenateOderedPairs(MeshUtils::RemoveCancelledPairs(pairs_));
        std::vector<GridLoop> loops;
        loops.reserve(chains.size());
        for (const std::vector<int>& chain : chains) {
            GridLoop& loop = loops.emplace_back();
            loop.reserve(chain.size());
            for (const int number : chain) {
                loop.push_back(numbers_.Points()[static_cast<std::size_t>(number)] + origin);
            }
        }
        return loops;
    }

private:
    /// `sets`: those with positive winding, ascending.
    bool IsKept(const std::vector<int>& sets) const
    {
        const bool isInFirst = !sets.empty() && sets.front() == 0;
        return isInFirst && (keep_ == Keep::FirstSet || sets.size() == 1);
    }

    Keep keep_;
    FilterData<2, long long> numbers_;
    std::vector<std::array<int, 2>> pairs_;
};

} // namespace

void AppendEdge(const GridPoint& from, const GridPoint& to, int runs, int set,
                std::vector<GridEdge>& edges)
{
    if (from == to) {
        return;
    }
    const bool isUp = from.x() != to.x() ? from.x() < to.x() : from.y() < to.y();
    GridEdge& edge = edges.emplace_back(GridEdge{isUp ? from : to, isUp ? to : from, {0, 0}});
    edge.runs[static_cast<std::size_t>(set)] = isUp ? runs : -runs;
}

void AppendEdges(const std::vector<GridLoop>& loops, int set, std::vector<GridEdge>& edges)
{
    const int sense = DoubledArea(loops) < 0 ? -1 : 1;
    for (const GridLoop& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            const GridPoint& from = loop[i];
            const GridPoint& to = loop[i + 1 < loop.size() ? i + 1 : 0];
            AppendEdge(from, to, sense, set, edges);
        }
    }
}

bool GridBoolean(std::vector<GridEdge> edges, Keep keep, int mostCuttingRounds,
                 std::vector<GridLoop>& loops)
{
    loops.clear();
    if (edges.empty()) {
        return true;
    }
    const GridBox box(edges);
    if (box.high.x() - box.low.x() > kLargestGridSpan ||
        box.high.y() - box.low.y() > kLargestGridSpan) {
        return false;
    }
    for (GridEdge& edge : edges) {
        edge.low -= box.low;
        edge.high -= box.low;
    }
    ResolveOverlaps(edges, true);
    const bool isCut = CutGridEdges(edges, mostCuttingRounds);

    std::vector<ScanEdge> scanned = ScanEdges(edges);
    edges = {};
    if (!isCut && !scanned.empty()) {
        std::vector<ScanEdge> pieces;
        bp::line_intersection<long long>::validate_scan(pieces, scanned.begin(), scanned.end());
        scanned = std::move(pieces);
    }
    std::sort(scanned.begin(), scanned.end(), IsScannedBefore);
    BoundaryEdges boundary(keep);
    Scanline().scan(
        boundary,
        [](BoundaryEdges& result, const HalfEdge& edge, const std::vector<int>& left,
           const std::vector<int>& right) { result.Take(edge, left, right); },
        scanned.begin(), scanned.end());
    loops = boundary.Loops(box.low);
    return true;
}

} // namespace Velk::Math::Sorvane::Planar::Impl
