// Bits spread apart and gathered again: the codes of the Z-order curve (G. M. Morton, 1966)
// interleave the bits of one whole number for each axis.
#pragma once

#include <cstdint>

namespace Velk::Math::Impl {

/// How many bits of each axis a code of 64 bits has room for: 32 in the plane, 21 in space.
template <int D>
inline constexpr unsigned kSpreadBits = 64U / static_cast<unsigned>(D);

/// Moves bit i of `value` to bit D i, for the low `kSpreadBits`; higher bits fall away. Each step
/// doubles the number of gaps between the groups of bits that are still together.
template <int D>
constexpr std::uint64_t SpreadBits(std::uint32_t value)
{
    static_assert(D == 2 || D == 3);
    std::uint64_t bits = value;
    if constexpr (D == 2) {
        bits = (bits ^ (bits << 16U)) & 0x0000FFFF0000FFFFU;
        bits = (bits ^ (bits << 8U)) & 0x00FF00FF00FF00FFU;
        bits = (bits ^ (bits << 4U)) & 0x0F0F0F0F0F0F0F0FU;
        bits = (bits ^ (bits << 2U)) & 0x3333333333333333U;
        bits = (bits ^ (bits << 1U)) & 0x5555555555555555U;
    } else {
        bits = (bits ^ (bits << 32U)) & 0x001F00000000FFFFU;
        bits = (bits ^ (bits << 16U)) & 0x001F0000FF0000FFU;
        bits = (bits ^ (bits << 8U)) & 0x100F00F00F00F00FU;
        bits = (bits ^ (bits << 4U)) & 0x10C30C30C30C30C3U;
        bits = (bits ^ (bits << 2U)) & 0x1249249249249249U;
    }
    return bits;
}

/// Inverse of `SpreadBits`: gathers the bits D i of `code`; all others are ignored.
template <int D>
constexpr std::uint32_t GatherBits(std::uint64_t code)
{
    static_assert(D == 2 || D == 3);
    std::uint64_t bits = code;
    if constexpr (D == 2) {
        bits &= 0x5555555555555555U;
        bits = (bits ^ (bits >> 1U)) & 0x3333333333333333U;
        bits = (bits ^ (bits >> 2U)) & 0x0F0F0F0F0F0F0F0FU;
        bits = (bits ^ (bits >> 4U)) & 0x00FF00FF00FF00FFU;
        bits = (bits ^ (bits >> 8U)) & 0x0000FFFF0000FFFFU;
        bits = (bits ^ (bits >> 16U)) & 0x00000000FFFFFFFFU;
    } else {
        bits &= 0x1249249249249249U;
        bits = (bits ^ (bits >> 2U)) & 0x10C30C30C30C30C3U;
        bits = (bits ^ (bits >> 4U)) & 0x100F00F00F00F00FU;
        bits = (bits ^ (bits >> 8U)) & 0x001F0000FF0000FFU;
        bits = (bits ^ (bits >> 16U)) & 0x001F00000000FFFFU;
        bits = (bits ^ (bits >> 32U)) & 0x00000000001FFFFFU;
    }
    return static_cast<std::uint32_t>(bits);
}

} // namespace Velk::Math::Impl
