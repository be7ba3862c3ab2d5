// Inline core of the Morton codes: the scalar operations that the loops of this folder run by the
// million. The exported functions of the same names call these.
#pragma once

#include "mathbase/BitSpread_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include "mathbase/BitSpread_Impl.h"

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

/// Edge of the cells of each depth, by depth. (Members of a class: a variable template of a
/// standard type would show among the library's symbols.)
template <int D>
struct CellEdges {
    static constexpr std::size_t kDepths = kMaxDepth<D> + 1;

    /// In units of the finest cells.
    static constexpr std::array<unsigned int, kDepths> kInteger = [] {
        std::array<unsigned int, kDepths> edges{};
        for (std::size_t depth = 0; depth < kDepths; ++depth) {
            edges[depth] = kAxisCells<D> >> depth;
        }
        return edges;
    }();

    /// In unit space.
    static constexpr std::array<double, kDepths> kUnit = [] {
        std::array<double, kDepths> edges{};
        double edge = 1.0;
        for (double& entry : edges) {
            entry = edge;
            edge *= 0.5;
        }
        return edges;
    }();
};

/// Moves bit i of `value` to bit D i; bits of no level fall away.
template <int D>
constexpr Code Spread(unsigned int value)
{
    return Math::Impl::SpreadBits<D>(value & kLargestAxisValue<D>);
}

/// Inverse of `Spread`: gathers the bits D i of `code`; all others are ignored.
template <int D>
constexpr unsigned int Gather(Code code)
{
    return Math::Impl::GatherBits<D>(code) & kLargestAxisValue<D>;
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
        values[axis] += static_cast<unsigned int>(steps[axis]) * CellEdges<D>::kInteger[depth];
        if (values[axis] > kLargestAxisValue<D>) {
            return false;
        }
    }
    code = EncodeClamped<D>(values);
    return true;
}

} // namespace Velk::Math::Sorvane::Tree::MortonCurve::Impl
