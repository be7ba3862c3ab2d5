// Inline core of the Morton codes: spreading and gathering of bits, and the scalar operations that
// the loops of this folder run by the million. The exported functions of the same names call these.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Velk::Math::Sorvane::Tree::MortonCurve::Impl {

using Code = unsigned long long;

/// Levels below the root, which is also the number of bits for each axis.
template <int D>
inline constexpr unsigned int kMaxDepth = D == 2 ? 31 : 21;

/// Cells along an axis at full depth, and the largest axis value.
template <int D>
inline constexpr unsigned int kAxisCells = 1U << kMaxDepth<D>;
template <int D>
inline constexpr unsigned int kLargestAxisValue = kAxisCells<D> - 1;

/// Bits of a code below the top `depth` groups; depth at most `kMaxDepth`, so at most 63.
template <int D>
constexpr unsigned int BitsBelow(unsigned int depth)
{
    return static_cast<unsigned int>(D) * (kMaxDepth<D> - depth);
}

/// Edge of a cell in units of the finest cells, and in unit space, by depth.
template <int D>
inline constexpr auto kIntegerEdges = [] {
    std::array<unsigned int, kMaxDepth<D> + 1> edges{};
    for (std::size_t depth = 0; depth < edges.size(); ++depth) {
        edges[depth] = kAxisCells<D> >> depth;
    }
    return edges;
}();

template <int D>
inline constexpr auto kUnitEdges = [] {
    std::array<double, kMaxDepth<D> + 1> edges{};
    double edge = 1.0;
    for (double& entry : edges) {
        entry = edge;
        edge *= 0.5;
    }
    return edges;
}();

/// Moves bit i of `value` to bit D i; bits of no level fall away. Each step doubles the number of
/// gaps between the groups of bits that are still together.
template <int D>
constexpr Code Spread(unsigned int value)
{
    Code bits = value;
    if constexpr (D == 2) {
        bits = (bits ^ (bits << 16U)) & 0x00007FFF0000FFFFU;
        bits = (bits ^ (bits << 8U)) & 0x007F00FF00FF00FFU;
        bits = (bits ^ (bits << 4U)) & 0x070F0F0F0F0F0F0FU;
        bits = (bits ^ (bits << 2U)) & 0x1333333333333333U;
        bits = (bits ^ (bits << 1U)) & 0x1555555555555555U;
    } else {
        bits = (bits ^ (bits << 32U)) & 0x001F00000000FFFFU;
        bits = (bits ^ (bits << 16U)) & 0x001F0000FF0000FFU;
        bits = (bits ^ (bits << 8U)) & 0x100F00F00F00F00FU;
        bits = (bits ^ (bits << 4U)) & 0x10C30C30C30C30C3U;
        bits = (bits ^ (bits << 2U)) & 0x1249249249249249U;
    }
    return bits;
}

/// Inverse of `Spread`: gathers the bits D i of `code`; all others are ignored.
template <int D>
constexpr unsigned int Gather(Code code)
{
    Code bits = code;
    if constexpr (D == 2) {
        bits &= 0x1555555555555555U;
        bits = (bits ^ (bits >> 1U)) & 0x1333333333333333U;
        bits = (bits ^ (bits >> 2U)) & 0x070F0F0F0F0F0F0FU;
        bits = (bits ^ (bits >> 4U)) & 0x007F00FF00FF00FFU;
        bits = (bits ^ (bits >> 8U)) & 0x00007FFF0000FFFFU;
        bits = (bits ^ (bits >> 16U)) & 0x000000007FFFFFFFU;
    } else {
        bits &= 0x1249249249249249U;
        bits = (bits ^ (bits >> 2U)) & 0x10C30C30C30C30C3U;
        bits = (bits ^ (bits >> 4U)) & 0x100F00F00F00F00FU;
        bits = (bits ^ (bits >> 8U)) & 0x001F0000FF0000FFU;
        bits = (bits ^ (bits >> 16U)) & 0x001F00000000FFFFU;
        bits = (bits ^ (bits >> 32U)) & 0x00000000001FFFFFU;
    }
    return static_cast<unsigned int>(bits);
}

template <int D, int A>
constexpr unsigned int AxisValue(Code code)
{
    return Gather<D>(code >> static_cast<unsigned int>(A));
}

/// Values of all axes, x first.
template <int D>
using AxisValues = std::array<unsigned int, static_cast<std::size_t>(D)>;

template <int D>
constexpr AxisValues<D> AllAxisValues(Code code)
{
    AxisValues<D> values{};
    for (std::size_t axis = 0; axis < values.size(); ++axis) {
        values[axis] = Gather<D>(code >> axis);
    }
    return values;
}

/// Code of the axis values, each first limited to the largest.
template <int D>
constexpr Code EncodeClamped(const AxisValues<D>& values)
{
    Code code = 0;
    for (std::size_t axis = 0; axis < values.size(); ++axis) {
        code ^= Spread<D>(std::min(values[axis], kLargestAxisValue<D>)) << axis;
    }
    return code;
}

/// Low 32 bits of `value` truncated to a signed 64-bit integer; 0 where there is no such integer,
/// and for NaN.
///
/// Negative values wrap: the caller's clamp sends small ones to the far side.
inline unsigned int LowBitsOf(double value)
{
    constexpr double kLimit = 0x1p63;
    if (!(value >= -kLimit && value < kLimit)) {
        return 0;
    }
    return static_cast<unsigned int>(static_cast<std::int64_t>(value));
}

template <int D>
Code EncodePoint(const VecBase<D, double>& point)
{
    AxisValues<D> values{};
    for (int axis = 0; axis < D; ++axis) {
        values[static_cast<std::size_t>(axis)] =
            LowBitsOf(point[axis] * static_cast<double>(kAxisCells<D>));
    }
    return EncodeClamped<D>(values);
}

/// Lower corner of the finest cell that the code names.
template <int D>
VecBase<D, double> DecodePoint(Code code)
{
    constexpr double kScale = D == 2 ? 0x1p-31 : 0x1p-21;
    VecBase<D, double> point;
    for (int axis = 0; axis < D; ++axis) {
        point[axis] = Gather<D>(code >> static_cast<unsigned int>(axis)) * kScale;
    }
    return point;
}

/// Clears what lies below the top `depth` groups; bits above the first group stay.
template <int D>
constexpr Code Truncated(Code code, unsigned int depth)
{
    if (depth >= kMaxDepth<D>) {
        return code;
    }
    return code >> BitsBelow<D>(depth) << BitsBelow<D>(depth);
}

/// Takes each axis `steps[axis]` cells of `depth` further, in 32-bit arithmetic that may wrap.
/// False, with the code as it was, when depth has no cells or an axis ends above the largest value.
template <int D>
constexpr bool StepOver(Code& code, unsigned int depth,
                        const std::array<int, static_cast<std::size_t>(D)>& steps)
{
    if (depth > kMaxDepth<D>) {
        return false;
    }
    AxisValues<D> values = AllAxisValues<D>(code);
    for (std::size_t axis = 0; axis < values.size(); ++axis) {
        // Modulo 2^32 a negative step needs no case of its own.
        values[axis] += static_cast<unsigned int>(steps[axis]) * kIntegerEdges<D>[depth];
        if (values[axis] > kLargestAxisValue<D>) {
            return false;
        }
    }
    code = EncodeClamped<D>(values);
    return true;
}

} // namespace Velk::Math::Sorvane::Tree::MortonCurve::Impl
