// What the trees over segments, arcs and triangles have in common: the boxes of their items.
#pragma once

#include "trees/BoundTests_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Sorvane::Tree::Impl {

/// By how much the box of an item exceeds it on every side. In `float` it is lost at coordinates
/// above 0.002, so that boxes may be flat, and a mere point.
inline constexpr double kBoxMargin = 1e-10;

/// Box of the points with the margin. The points are usable (`IsUsable`).
template <int D, class T, std::size_t N>
BoxOf<D, T> MarginBox(const std::array<VecBase<D, T>, N>& points)
{
    constexpr T kMargin = static_cast<T>(kBoxMargin);
    BoxOf<D, T> box;
    for (int axis = 0; axis < D; ++axis) {
        T low = points[0][axis];
        T high = low;
        for (std::size_t i = 1; i < N; ++i) {
            low = std::min(low, points[i][axis]);
            high = std::max(high, points[i][axis]);
        }
        box.min[axis] = low - kMargin;
        box.max[axis] = high + kMargin;
    }
    return box;
}

} // namespace Velk::Math::Sorvane::Tree::Impl
