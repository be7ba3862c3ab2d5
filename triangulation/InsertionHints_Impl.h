// For each point of a list one that comes earlier and lies near: where to begin to look for it.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Of each point the number of an earlier one nearby, -1 for the first. The points are strung along
/// a space-filling curve; of the points before and behind on the curve that come earlier in the
/// list, and of the point just before in the list, the nearest is taken. O(n log n); finite points.
template <class T>
std::vector<int> EarlierNeighbors(const std::vector<VecBase<2, T>>& points);

extern template std::vector<int> EarlierNeighbors(const std::vector<VecBase<2, float>>&);
extern template std::vector<int> EarlierNeighbors(const std::vector<VecBase<2, double>>&);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
