// Winding numbers between edges on an integer grid that meet at their ends only, by one sweep.
#pragma once

#include "planar/GridBoolean_Impl.h"

#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// Edges between numbered points. Coordinates are from 0 to `kLargestGridSpan`.
struct GridGraph {
    struct Edge {
        int low = 0; // less than `high`
        int high = 0;
        std::array<int, 2> runs{};
    };
    std::vector<std::uint64_t> points; // see `KeyOf`: distinct, ascending by x, then y
    std::vector<Edge> edges;    // by `low`; those out of one point counter-clockwise, no two alike
    std::vector<int> firstEdge; // of each point, and one past the last
};

/// Orders points by x, then y.
inline std::uint64_t KeyOf(const GridPoint& point)
{
    return static_cast<std::uint64_t>(point.x()) << 32U | static_cast<std::uint64_t>(point.y());
}

inline GridPoint PointOf(std::uint64_t key)
{
    return {static_cast<long long>(key >> 32U), static_cast<long long>(key & 0xffffffffU)};
}

/// Numbers of the keys by their order, equal ones alike; `points` becomes the distinct keys.
std::vector<int> NumberedKeys(const std::vector<std::uint64_t>& keys,
                              std::vector<std::uint64_t>& points);

/// The edge between two points given by such numbers, whose keys ascend as they do; none when both
/// are one.
void AppendNumbered(int from, int to, std::array<int, 2> runs, std::vector<GridGraph::Edge>& edges);

/// Edges between the same points become one, and those vanish along which nothing is run in the
/// end. O(n log n).
void AddUp(std::vector<GridGraph::Edge>& edges);

/// The graph of edges between `points`, added up. O(n log n).
GridGraph GraphOf(std::vector<std::uint64_t> points, std::vector<GridGraph::Edge> edges);
GridGraph MakeGraph(const std::vector<GridEdge>& edges);
std::vector<GridEdge> EdgesOf(const GridGraph& graph);

/// Appends the edges between what is kept and what is not as pairs of points, with what is kept on
/// the left.
///
/// Every two edges that come to lie next to each other are tested, so that an edge which meets
/// another elsewhere than at a common end is found (M. I. Shamos and D. Hoey, "Geometric
/// intersection problems", 1976): false then, and what was appended means nothing. With `isForced`
/// the sweep goes on, and does what it can. O(n log n).
bool SweepGraph(const GridGraph& graph, Keep keep, bool isForced,
                std::vector<std::array<int, 2>>& boundary);

} // namespace Velk::Math::Sorvane::Planar::Impl
