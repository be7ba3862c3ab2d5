// The order in which a batch of points is answered: neighbors in space one after the other, so that
// each finds in the caches, and may begin with, what the one before it ended with.
#pragma once

#include "mathbase/BitSpread_Impl.h"
#include "mathbase/RadixSort_Impl.h"
#include "mathbase/Values_Impl.h"
#include "trees/BoundTests_Impl.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::Tree::Impl {

/// A point of a batch, and its place in a curve through their cells.
struct BatchPoint {
    std::uint32_t code;
    std::int32_t number;
};

/// The points in the order of a Z-curve (G. M. Morton, 1966) through 1024 cells an axis in space,
/// 65536 in the plane. Points that are not finite come somewhere.
template <int D>
std::vector<BatchPoint> AlongTheCurve(const std::vector<VecBase<D, double>>& points)
{
    constexpr double kCells = 1U << (32U / static_cast<unsigned>(D));
    BoxOf<D, double> box;
    for (const VecBase<D, double>& point : points) {
        if (Math::Impl::IsUsable(point)) {
            box.Grow(point);
        }
    }
    std::vector<BatchPoint> batch;
    batch.reserve(points.size());
    for (const VecBase<D, double>& point : points) {
        std::uint64_t code = 0;
        for (int axis = 0; axis < D; ++axis) {
            const double cell =
                (point[axis] - box.min[axis]) / (box.max[axis] - box.min[axis]) * kCells;
            // In this form also for what is no number.
            const double inside = cell > 0 ? std::min(cell, kCells - 1) : 0.0;
            code |= Velk::Math::Impl::SpreadBits<D>(static_cast<std::uint32_t>(inside)) << axis;
        }
        batch.push_back(
            {static_cast<std::uint32_t>(code), static_cast<std::int32_t>(batch.size())});
    }
    Velk::Math::Impl::StableSortByKey(batch, [](const BatchPoint& p) { return p.code; });
    return batch;
}

} // namespace Velk::Math::Sorvane::Tree::Impl
