// Morton codes bit by bit, by the definition of the layout: bit i of axis a is bit D i + a.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Support {

inline constexpr int BitsPerAxis(int dimension) { return dimension == 2 ? 31 : 21; }

template <int D>
using Axes = std::array<unsigned int, static_cast<std::size_t>(D)>;

/// Bits of the values above the last level are not looked at.
template <int D>
unsigned long long Interleaved(const Axes<D>& values)
{
    unsigned long long code = 0;
    for (int bit = 0; bit < BitsPerAxis(D); ++bit) {
        for (int axis = 0; axis < D; ++axis) {
            const unsigned long long digit = (values[static_cast<std::size_t>(axis)] >> bit) & 1U;
            code |= digit << (D * bit + axis);
        }
    }
    return code;
}

/// Bits of the code above the last level are not looked at.
template <int D>
Axes<D> Separated(unsigned long long code)
{
    Axes<D> values{};
    for (int bit = 0; bit < BitsPerAxis(D); ++bit) {
        for (int axis = 0; axis < D; ++axis) {
            const auto digit = static_cast<unsigned int>((code >> (D * bit + axis)) & 1U);
            values[static_cast<std::size_t>(axis)] |= digit << bit;
        }
    }
    return values;
}

/// Axis value of a coordinate: scaled, truncated, modulo 2^32, then limited; all in floating point,
/// where each step is exact.
inline unsigned int AxisValueOf(double coordinate, int dimension)
{
    const double scaled = std::trunc(std::ldexp(coordinate, BitsPerAxis(dimension)));
    if (!(scaled >= -0x1p63 && scaled < 0x1p63)) {
        return 0;
    }
    double wrapped = std::fmod(scaled, 0x1p32);
    if (wrapped < 0) {
        wrapped += 0x1p32;
    }
    const double largest = std::ldexp(1.0, BitsPerAxis(dimension)) - 1;
    return static_cast<unsigned int>(std::fmin(wrapped, largest));
}

} // namespace Support
