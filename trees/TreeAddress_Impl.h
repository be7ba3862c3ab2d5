// Arithmetic of tree addresses that the sweeps and the content trees share: paths to codes and
// back, family and neighbors, without making lists.
#pragma once

#include "trees/MortonBits_Impl.h"

#include <Sorvane/TreeAddress_E.h>

#include <array>
#include <cstddef>
#include <span>

namespace Velk::Math::Sorvane::Tree::Impl {

using MortonCurve::Impl::BitsBelow;
using MortonCurve::Impl::Code;
using MortonCurve::Impl::kMaxDepth;

/// The root and the null address at once.
template <int D>
constexpr bool IsNull(const QOFAddress<D>& address)
{
    return address == QOFAddress<D>{};
}

/// Depth at most `kMaxDepth`.
template <int D>
constexpr Code CodeOfPath(Code path, unsigned int depth)
{
    return path << BitsBelow<D>(depth);
}

template <int D>
constexpr Code PathOfCode(Code code, unsigned int depth)
{
    return code >> BitsBelow<D>(depth);
}

/// Null for an address of depth 0.
template <int D>
constexpr QOFAddress<D> ParentAddress(const QOFAddress<D>& address)
{
    if (address.depth == 0) {
        return {};
    }
    return {address.depth - 1, address.path >> static_cast<unsigned int>(D)};
}

/// Null for an address at full depth, which has no children. (0, 0) counts as the root here.
template <int D>
constexpr QOFAddress<D> ChildAddress(const QOFAddress<D>& address, int child)
{
    if (address.depth >= kMaxDepth<D>) {
        return {};
    }
    return {address.depth + 1,
            (address.path << static_cast<unsigned int>(D)) + static_cast<Code>(child)};
}

/// Steps along the axes, -1, 0 or 1 each, to a neighbor.
template <int D>
using Direction = std::array<signed char, static_cast<std::size_t>(D)>;

inline constexpr std::array<Direction<2>, 4> kSquareFaces{{{-1, 0}, {0, -1}, {1, 0}, {0, 1}}};
inline constexpr std::array<Direction<2>, 8> kSquareRing{
    {{-1, 0}, {-1, -1}, {0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}}};
inline constexpr std::array<Direction<3>, 6> kCubeFaces{
    {{-1, 0, 0}, {0, -1, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, -1}}};

/// The layer below, cell under cell first, the ring around the cell itself, the layer above.
inline constexpr std::array<Direction<3>, 26> kCubeSurroundings = [] {
    std::array<Direction<3>, 26> directions{};
    std::size_t count = 0;
    for (const int z : {-1, 0, 1}) {
        const auto layer = static_cast<signed char>(z);
        if (layer != 0) {
            directions[count++] = {0, 0, layer};
        }
        for (const Direction<2>& direction : kSquareRing) {
            directions[count++] = {direction[0], direction[1], layer};
        }
    }
    return directions;
}();

template <int D>
constexpr std::span<const Direction<D>> NeighborDirections(bool facesOnly)
{
    if constexpr (D == 2) {
        return facesOnly ? std::span<const Direction<2>>(kSquareFaces)
                         : std::span<const Direction<2>>(kSquareRing);
    } else {
        return facesOnly ? std::span<const Direction<3>>(kCubeFaces)
                         : std::span<const Direction<3>>(kCubeSurroundings);
    }
}

/// Calls use(path) for the path of each neighbor that lies inside unit space, in the order of
/// `NeighborAddresses`; nothing at depth 0 and beyond full depth.
///
/// A diagonal is one step for each axis in a row, so that any of them leaving unit space ends it.
template <int D, class Use>
void VisitNeighbors(Code path, unsigned int depth, bool facesOnly, Use&& use)
{
    using namespace MortonCurve::Impl;
    if (depth == 0 || depth > kMaxDepth<D>) {
        return;
    }
    // For each axis the spread bits one cell down, here, and one cell up.
    constexpr auto kAxes = static_cast<std::size_t>(D);
    const AxisValues<D> here = AllAxisValues<D>(CodeOfPath<D>(path, depth));
    std::array<std::array<Code, 3>, kAxes> bits{};
    std::array<std::array<bool, 3>, kAxes> inside{};
    for (std::size_t axis = 0; axis < kAxes; ++axis) {
        const unsigned int edge = CellEdges<D>::kInteger[depth];
        const std::array<unsigned int, 3> values{here[axis] - edge, here[axis], here[axis] + edge};
        for (std::size_t step = 0; step < values.size(); ++step) {
            bits[axis][step] = Spread<D>(values[step]) << axis;
            inside[axis][step] = values[step] <= kLargestAxisValue<D>;
        }
    }
    for (const Direction<D>& direction : NeighborDirections<D>(facesOnly)) {
        Code code = 0;
        bool isInside = true;
        for (std::size_t axis = 0; axis < kAxes; ++axis) {
            const auto step = static_cast<std::size_t>(direction[axis] + 1);
            code ^= bits[axis][step];
            isInside = isInside && inside[axis][step];
        }
        if (isInside) {
            use(PathOfCode<D>(code, depth));
        }
    }
}

} // namespace Velk::Math::Sorvane::Tree::Impl
