// Coloring of a graph such that neighbors differ.
#pragma once

#include <Velk/Export_E.h>

#include <vector>

namespace Velk::Math {

/// One color number from 0 upward for each node, different for any two adjacent nodes.
///
/// `adjacency[n]` lists the neighbors of node n; an edge that only one end lists counts all the
/// same, repeats, self-loops and numbers out of range (-1 above all) are ignored. `colorCount` receives
/// the count of colors in use, 0 for no nodes. Greedy, in the smallest-last order of D. W. Matula and
/// L. L. Beck, 1983, the same for the same lists: at most 6 colors on a planar graph, n on n nodes all
/// adjacent, 2 on a tree. O(n + edges), in time and memory.
SORVANE_API std::vector<int> MapColoring(const std::vector<std::vector<int>>& adjacency,
                                         unsigned int& colorCount);

} // namespace Velk::Math
