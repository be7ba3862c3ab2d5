// Cuts edges on an integer grid so that they meet at their ends only.
#pragma once

#include "planar/GridSweep_Impl.h"

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// Edges that lie on one line become edges that overlap nowhere: what they run is added up. Edges
/// of no length and those that are run as often forth as back, by both sets, vanish, and neighbors
/// on a line that are run alike become one edge. O(n log n).
void ResolveOverlaps(std::vector<GridEdge>& edges);

/// Cuts edges where they cross, at the grid point nearest to the crossing, and where the end of one
/// lies on another. Coordinates are from 0 to `kLargestGridSpan`. Expected O((n + k) log n) for k
/// crossings.
///
/// A cut bends an edge by less than a cell, and that may make new crossings: `SweepGraph` finds
/// them.
GridGraph CutAtCrossings(const std::vector<GridEdge>& edges);

/// Cuts edges at all points whose cell they pass, a square of one unit about the point. With the
/// points of `CutAtCrossings` no two edges cross afterwards. O(sqrt(n)) for each edge and point
/// that it passes.
GridGraph CutAtCells(const std::vector<GridEdge>& edges, const std::vector<std::uint64_t>& points);

} // namespace Velk::Math::Sorvane::Planar::Impl
