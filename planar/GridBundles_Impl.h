// Bundles of edges that only rounding keeps from lying on one line.
#pragma once

#include "planar/GridBoolean_Impl.h"

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// How far from the line of a bundle its points are, in cells. What is run in a bundle moves by
/// twice as much at most, and that is within the resolution which hosts are told.
inline constexpr double kBundleReach = 1.4;

/// Where eight edges and more run side by side within the rounding of their ends, as those do that
/// went to and fro along one slanted line, they become one path through all their points, with what
/// is run along each stretch added up. Of such edges every two cross, and every crossing is
/// rounded: m of them would take time with the square of m and more. Edges that do not lie in a
/// bundle stay as they are. O(n log n), and O(sqrt(n)) for each bundle. False when there are none.
bool MergeBundles(std::vector<GridEdge>& edges);

} // namespace Velk::Math::Sorvane::Planar::Impl
