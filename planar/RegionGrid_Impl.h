// The passage between coordinates and the integer grid that regions are calculated on.
#pragma once

#include "mathbase/Values_Impl.h"
#include "planar/GridBoolean_Impl.h"

#include <algorithm>
#include <cmath>

namespace Velk::Math::Sorvane::Planar::Impl {

/// 2^30 cells along each axis of a box.
struct RegionGrid {
    static constexpr double kCells = 1073741824.0;
    /// Grid numbers stay within this, which is far beyond `kLargestGridSpan`, and so do their
    /// differences within 64 bits.
    static constexpr double kLargestNumber = 1099511627776.0;

    Vec2d origin;
    Vec2d extent;

    /// Rounded toward zero. False for a point that is not finite, or when the grid is not.
    bool Snap(const Vec2d& point, GridPoint& result) const
    {
        if (!Math::Impl::IsFinite(point) || !Math::Impl::IsFinite(origin) ||
            !Math::Impl::IsFinite(extent)) {
            return false;
        }
        for (int axis = 0; axis < 2; ++axis) {
            // May be infinite for a point that is not: that is far outside, like many others.
            const double number = (point[axis] - origin[axis]) / extent[axis] * kCells;
            if (std::isnan(number)) {
                return false;
            }
            result[axis] =
                static_cast<long long>(std::clamp(number, -kLargestNumber, kLargestNumber));
        }
        return true;
    }

    /// The division first: it is exact, and the product stays finite for every box.
    Vec2d PointAt(const GridPoint& point) const
    {
        Vec2d result;
        for (int axis = 0; axis < 2; ++axis) {
            result[axis] = static_cast<double>(point[axis]) / kCells * extent[axis] + origin[axis];
        }
        return result;
    }
};

} // namespace Velk::Math::Sorvane::Planar::Impl
