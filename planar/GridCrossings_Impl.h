// Cuts edges on an integer grid until they meet at their ends only.
#pragma once

#include "planar/GridBoolean_Impl.h"

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// Edges that lie on one line become edges that overlap nowhere: what they run is added up. Edges of no length
/// and those that are run as often forth as back, by both sets, vanish. With `mergeRuns`, neighbors on a line
/// that are run alike become one edge; without, every end stays an end. O(n log n).
void ResolveOverlaps(std::vector<GridEdge>& edges, bool mergeRuns);

/// Cuts edges where they cross, at the grid point nearest to the crossing, and where the end of one lies on
/// another. False when edges still cross after `mostRounds`. Coordinates are from 0 to `kLargestGridSpan`.
///
/// A cut bends an edge by less than a cell, and that may make new crossings: the next round finds them.
bool CutGridEdges(std::vector<GridEdge>& edges, int mostRounds);

} // namespace Velk::Math::Sorvane::Planar::Impl
