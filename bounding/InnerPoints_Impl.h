// Throws away points that lie well inside the convex hull, before the hull is made.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <optional>
#include <vector>

namespace Velk::Math::Sorvane::Bounding::Impl {

/// Fewer points than this are not worth the search.
inline constexpr std::size_t kWorthThinning = 2048;

/// The points without most of those well inside their convex hull, in their order; nothing when
/// there are too few points or the hull of what is left might differ, in any bit, from that of all
/// points.
/// The points may or may not go through the uniqueness filter afterward. O(n).
template <class T>
std::optional<std::vector<VecBase<2, T>>>
WithoutInnerPoints(const std::vector<VecBase<2, T>>& points);

/// Monotone chain over points in lexicographic order, without the guard against dents.
/// Counter-clockwise from the first point; repeats and points on edges are left out.
template <class T>
std::vector<VecBase<2, T>> MonotoneChain(const std::vector<VecBase<2, T>>& sorted);

/// The same with turns that are decided exactly, for coordinates of any size. Of points on a line
/// the two ends, of one point nothing.
template <class T>
std::vector<VecBase<2, T>> ExactChain(const std::vector<VecBase<2, T>>& sorted);

} // namespace Velk::Math::Sorvane::Bounding::Impl
