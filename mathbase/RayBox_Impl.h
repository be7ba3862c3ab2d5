// The decisions whether a ray or a line meets a box, inline for the loops of searches.
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
/// such t when it is met. `direction` fulfills `IsRayDirection`. Never a false "no" by rounding,
/// and growing a box never loses a hit, also not by rounding.
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

/// The line through a point, both ways, prepared for the question which of many boxes it meets.
///
/// Everything is measured from the caller's own origin: differences of coordinates are rounded
/// once, and so a line is as exact two million units away as it is at zero. What rounding may
/// amount to is a fraction of the largest of those differences, and every box is taken for larger
/// by that much on every side. A box that the line meets is never missed therefore; one that it
/// misses by less than twice that much may be met. A larger box is met by whatever meets a smaller
/// one.
template <int N, class T>
class LineBoxTest {
public:
    /// For boxes within the box from `min` to `max`. They are taken for larger by `share` of the
    /// largest coordinate difference between the origin and that box, and by what rounding needs.
    /// `direction` fulfills `IsRayDirection`. With an origin that is not finite no box is met.
    LineBoxTest(const VecBase<N, T>& origin, const VecBase<N, T>& direction,
                const VecBase<N, T>& min, const VecBase<N, T>& max, T share)
        : origin_(origin)
    {
        T reach{0};
        T largest{0};
        for (int i = 0; i < N; ++i) {
            reach = std::max({reach, std::fabs(min[i] - origin[i]), std::fabs(max[i] - origin[i])});
            largest = std::max(largest, std::fabs(direction[i]));
        }
        slack_ = std::min(reach * (share + kRounding), std::numeric_limits<T>::max());
        for (int i = 0; i < N; ++i) {
            slack_ += origin[i] - origin[i]; // 0, or no number, which no comparison survives
        }
        for (int i = 0; i < N; ++i) {
            // A component that moves the line by less than the rounding, all the way through, is
            // none. What is left has no overflow.
            const T component = direction[i] / largest;
            inverse_[i] = std::fabs(component) > kRounding / 8 ? 1 / component : T{0};
        }
    }

    bool Meets(const VecBase<N, T>& min, const VecBase<N, T>& max) const
    {
        T enter = -std::numeric_limits<T>::infinity();
        T leave = std::numeric_limits<T>::infinity();
        bool isBeside = false;
        for (int i = 0; i < N; ++i) {
            const T low = (min[i] - origin_[i]) - slack_;
            const T high = (max[i] - origin_[i]) + slack_;
            if (inverse_[i] == 0) {
                isBeside |= !(low <= 0 && high >= 0);
                continue;
            }
            const T first = low * inverse_[i];
            const T second = high * inverse_[i];
            isBeside |= !(low <= high); // an inverted box, or NaN
            enter = std::max(enter, std::min(first, second));
            leave = std::min(leave, std::max(first, second));
        }
        return !isBeside && enter <= leave;
    }

private:
    /// Four times what the operations here, and those of an exact test on the contents from the
    /// same origin, may be off by.
    static constexpr T kRounding = 64 * std::numeric_limits<T>::epsilon();

    VecBase<N, T> origin_;
    VecBase<N, T> inverse_; // of the direction's components by the largest; 0 for none
    T slack_{0};
};

} // namespace Velk::Math::Intersect::Impl
