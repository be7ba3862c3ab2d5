// Booleans on an integer grid.
//
// 1. The directed edges of all loops, each for itself. To join the loops by bridges that are run
// forth and back
//    bounds the same region; but a bridge is cut by every edge that it crosses, and each cut is
//    rounded.
// 2. Edges are cut until they meet at their ends only (GridCrossings.cpp).
// 3. A sweep adds the winding numbers up and tells the edges between inside and outside, with the
// inside on their
//    left (GridSweep.cpp). They are chained into loops as they are: to have polygons made of them
//    first would slit holes, and round the ends of the slits.
//
// Boost.Polygon stands behind it: its own search for crossings is what tests compare with, and what
// would be used if edges still crossed.

#include "mathbase/Progress_Impl.h"
#include "planar/GridBoolean_Impl.h"

#include <Sorvane/OrderedPairs_E.h>

#include "planar/GridBundles_Impl.h"
#include "planar/GridCrossings_Impl.h"
#include "planar/GridPolygons_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

__extension__ typedef __int128 Wide;

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

/// The edges cut by the search for crossings of Boost.Polygon, which compares all side by side.
GridGraph CutByLibrary(const std::vector<GridEdge>& edges)
{
    namespace bp = boost::polygon;
    // An edge between two points with the number of another.
    using Scanline = bp::scanline<long long, int, std::vector<int>>;
    std::vector<Scanline::vertex_property> scanned;
    scanned.reserve(2 * edges.size());
    // Upright edges count against their direction there.
    const auto sense = [](const auto& low, const auto& high) {
        return low.x() == high.x() ? -1 : 1;
    };
    for (const GridEdge& edge : edges) {
        for (int set = 0; set < 2; ++set) {
            const int runs = edge.runs[static_cast<std::size_t>(set)];
            if (runs != 0) {
                scanned.push_back({{{edge.low.x(), edge.low.y()}, {edge.high.x(), edge.high.y()}},
                                   {set, sense(edge.low, edge.high) * runs}});
            }
        }
    }
    std::vector<Scanline::vertex_property> pieces;
    bp::line_intersection<long long>::validate_scan(pieces, scanned.begin(), scanned.end());
    std::vector<GridEdge> result;
    result.reserve(pieces.size());
    for (const auto& [ends, property] : pieces) {
        GridEdge edge{{ends.first.x(), ends.first.y()}, {ends.second.x(), ends.second.y()}, {0, 0}};
        edge.runs[static_cast<std::size_t>(property.first)] =
            sense(edge.low, edge.high) * property.second;
        result.push_back(edge);
    }
    return MakeGraph(result);
}

/// The edges between what is kept and what is not, as pairs of points of `graph`, which is made
/// here.
std::vector<std::array<int, 2>> BoundaryPairs(std::vector<GridEdge> edges, Keep keep,
                                              Cutting cutting, GridGraph& graph)
{
    std::vector<std::array<int, 2>> pairs;
    Progress::Impl::Check(0.05);
    ResolveOverlaps(edges);
    if (cutting == Cutting::Own) {
        if (MergeBundles(edges)) {
            ResolveOverlaps(edges);
        }
        Progress::Impl::Check(0.15);
        {
            const Progress::Impl::Phase phase(0.15, 0.6);
            graph = CutAtCrossings(edges);
        }
        const Progress::Impl::Phase phase(0.6, 0.95);
        if (SweepGraph(graph, keep, false, pairs)) {
            return pairs;
        }
        pairs.clear();
        graph = CutAtCells(edges, graph.points);
        if (SweepGraph(graph, keep, false, pairs)) {
            return pairs;
        }
        pairs.clear();
    }
    graph = CutByLibrary(edges);
    SweepGraph(graph, keep, true, pairs);
    return pairs;
}

/// Loops of directed pairs of points, with `origin` added. Points are numbered anew by those that
/// occur.
std::vector<GridLoop> LoopsOf(std::vector<std::array<int, 2>> pairs, const GridGraph& graph,
                              const GridPoint& origin)
{
    std::vector<int> numbers(graph.points.size(), 0);
    Progress::Impl::Check();
    for (const auto& [from, to] : pairs) {
        numbers[static_cast<std::size_t>(from)] = numbers[static_cast<std::size_t>(to)] = 1;
    }
    std::vector<GridPoint> points;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (numbers[i] != 0) {
            numbers[i] = static_cast<int>(points.size());
            points.push_back(PointOf(graph.points[i]) + origin);
        }
    }
    for (auto& [from, to] : pairs) {
        from = numbers[static_cast<std::size_t>(from)];
        to = numbers[static_cast<std::size_t>(to)];
    }
    const std::vector<std::vector<int>> chains =
        MeshUtils::ConcatenateOderedPairs(MeshUtils::RemoveCancelledPairs(pairs));
    std::vector<GridLoop> loops;
    loops.reserve(chains.size());
    for (const std::vector<int>& chain : chains) {
        GridLoop& loop = loops.emplace_back();
        loop.reserve(chain.size());
        for (const int number : chain) {
            loop.push_back(points[static_cast<std::size_t>(number)]);
        }
    }
    return loops;
}

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

bool GridBoolean(std::vector<GridEdge> edges, Keep keep, Cutting cutting,
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
    GridGraph graph;
    const std::vector<std::array<int, 2>> pairs =
        BoundaryPairs(std::move(edges), keep, cutting, graph);
    loops = LoopsOf(pairs, graph, box.low);
    return true;
}

} // namespace Velk::Math::Sorvane::Planar::Impl
