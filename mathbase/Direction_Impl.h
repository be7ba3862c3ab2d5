// Directions of vectors of any finite length: scaling by powers of two, which changes no digit,
// keeps the products of components away from overflow and underflow.
#pragma once

#include "mathbase/Values_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <cmath>

namespace Velk::Math::Impl {

/// Sizes whose fourth powers (a squared cross product) are far from both ends of the number range.
inline constexpr double kSmallestSafe = 0x1p-100;
inline constexpr double kLargestSafe = 0x1p100;

/// A vector of the direction of `v` whose products neither overflow nor vanish: `v` itself when its
/// size is safe, otherwise `v` times a power of two. A zero or non-finite vector comes back as it
/// is.
template <int N>
VecBase<N, double> SafelyScaled(const VecBase<N, double>& v)
{
    const double largest = LargestMagnitude(v);
    if ((largest >= kSmallestSafe && largest <= kLargestSafe) || largest == 0.0 || !IsFinite(v)) {
        return v;
    }
    const int exponent = std::ilogb(largest);
    VecBase<N, double> scaled;
    for (int i = 0; i < N; ++i) {
        scaled[i] = std::ldexp(v[i], -exponent);
    }
    return scaled;
}

/// Unit vector of the direction of `v`, whatever its length; zero for the zero vector and for one
/// that is not finite.
template <int N>
VecBase<N, double> UnitDirection(const VecBase<N, double>& v)
{
    if (v == VecBase<N, double>{} || !IsFinite(v)) {
        return {};
    }
    const VecBase<N, double> scaled = SafelyScaled(v);
    return scaled / Vector::Length(scaled);
}

} // namespace Velk::Math::Impl
