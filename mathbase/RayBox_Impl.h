// The decision whether a ray meets a box, inline for the loops of searches.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Velk::Math::Intersect::Impl {

/// Growth of the way out of a box that makes up for the rounding of three operations on either side
/// (T. Ize, "Robust BVH Ray Traversal", 2013).
template <class T>
inline constexpr T kSlabRounding = 4 * std::numeric_limits<T>::epsilon();

/// Does a direction have a finite positive length, so that a ray can be told?
template <int N, class T>
bool IsRayDirection(const VecBase<N, T>& direction)
{
    const T length = Vector::Length(direction);
    return length > 0 && length <= std::numeric_limits<T>::max();
}

/// Slab test of the ray origin + t `direction`, t >= 0, with a closed box; `enter` is the least
/// such t when it is met. `direction` fulfills `IsRayDirection`. Never a false "no" by rounding, and
/// growing a box never loses a hit, also not by rounding.
template <int N, class T>
bool RayMeetsBox(const VecBase<N, T>& origin, const VecBase<N, T>& direction,
                 const VecBase<N, T>& min, const VecBase<N, T>& max, T& enter)
{
    enter = 0;
    T leave = std::numeric_limits<T>::max();
    for (int i = 0; i < N; ++i) {
        if (!(min[i] <= max[i])) {
            return false;
        }
        if (direction[i] == 0) {
            if (!(origin[i] >= min[i] && origin[i] <= max[i])) {
                return false;
            }
            continue;
        }
        // Division, not a product with 1 / direction: that overflows for tiny components, and an
        // origin on the face then makes 0 * infinity.
        T slabEnter = (min[i] - origin[i]) / direction[i];
        T slabLeave = (max[i] - origin[i]) / direction[i];
        if (direction[i] < 0) {
            std::swap(slabEnter, slabLeave);
        }
        slabLeave += std::fabs(slabLeave) * kSlabRounding<T>;
        if (!(slabEnter <= slabLeave)) {
            return false; // NaN
        }
        enter = std::max(enter, slabEnter);
        leave = std::min(leave, slabLeave);
    }
    return enter <= leave;
}

} // namespace Velk::Math::Intersect::Impl
