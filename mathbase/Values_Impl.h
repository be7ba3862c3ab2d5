// What every folder asks of coordinates before it works on them: are they finite, how large are
// they, are they small enough that products stay finite; and the passage between a coordinate type
// and `double`.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace Velk::Math::Impl {

/// Is the value neither infinite nor NaN? Integers always are.
template <class T>
requires std::is_arithmetic_v<T>
inline bool IsFinite(T value)
{
    if constexpr (std::is_floating_point_v<T>) {
        return value - value == T{0};
    } else {
        return true;
    }
}

/// Are all components finite? Without a branch for each of them: the difference of a value with
/// itself is NaN for infinity and NaN, and a NaN stays in the sum.
template <int N, class T>
inline bool IsFinite(const VecBase<N, T>& v)
{
    if constexpr (std::is_floating_point_v<T>) {
        T sum{0};
        for (int i = 0; i < N; ++i) {
            sum += v[i] - v[i];
        }
        return sum == T{0};
    } else {
        return true;
    }
}

/// Largest |component|, 0 for the zero vector. NaN components are passed over.
template <int N, class T>
inline T LargestMagnitude(const VecBase<N, T>& v)
{
    T largest{0};
    for (int i = 0; i < N; ++i) {
        const T magnitude = std::fabs(v[i]);
        largest = largest < magnitude ? magnitude : largest;
    }
    return largest;
}

/// Coordinates beyond this are left alone by whatever multiplies two differences of coordinates,
/// so that squares and their sums stay finite in `double`. Every finite `float` is within it.
inline constexpr double kLargestCoordinate = 1e150;

/// Are all coordinates finite and within `kLargestCoordinate`?
template <int N, class T>
inline bool IsUsable(const VecBase<N, T>& point)
{
    for (int i = 0; i < N; ++i) {
        // In this form, which is false for NaN.
        if (!(std::fabs(static_cast<double>(point[i])) <= kLargestCoordinate)) {
            return false;
        }
    }
    return true;
}

/// `IsUsable` for each of `points`.
template <int N, class T>
bool AreUsable(const std::vector<VecBase<N, T>>& points)
{
    for (const VecBase<N, T>& point : points) {
        if (!IsUsable(point)) {
            return false;
        }
    }
    return true;
}

/// The power of two that brings `size` into [1, 2), and sizes below 2^-1000 as near as 2^1000 does;
/// its reciprocal is a number too. 1 for 0 and for what is not finite. Multiplying coordinates by
/// it is exact as long as none of them is so small beside the size that it becomes denormal.
inline double ScaleToOne(double size)
{
    constexpr int kMostSteps = 1000;
    return size > 0.0 && IsFinite(size) ? std::ldexp(1.0, std::min(-std::ilogb(size), kMostSteps))
                                        : 1.0;
}

/// A vector in `double`. Constructions on `float` coordinates are evaluated there: differences and
/// products of floats are (all but) exact in double, and a tolerance of 1e-8 means what it says. In
/// float the rounding of one product on a segment of length 1 is larger than that.
template <int N, class T>
constexpr VecBase<N, double> Widened(const VecBase<N, T>& v)
{
    if constexpr (std::is_same_v<T, double>) {
        return v;
    } else {
        return VecBase<N, double>(v);
    }
}

/// Back to the caller's type, each component rounded once; exact for what was widened.
template <class T, int N>
constexpr VecBase<N, T> Narrowed(const VecBase<N, double>& v)
{
    if constexpr (std::is_same_v<T, double>) {
        return v;
    } else {
        return VecBase<N, T>(v);
    }
}

} // namespace Velk::Math::Impl
