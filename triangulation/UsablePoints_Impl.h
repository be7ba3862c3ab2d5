// What the triangulations ask of coordinates before they begin.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cmath>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// Largest coordinate that is taken: products of two differences stay finite.
inline constexpr double kLargestCoordinate = 1e150;

/// True when all coordinates are finite and within `kLargestCoordinate`.
template <int D, class T>
bool AreUsable(const std::vector<VecBase<D, T>>& points)
{
    for (const VecBase<D, T>& point : points) {
        for (int i = 0; i < D; ++i) {
            if (!(std::fabs(static_cast<double>(point[i])) <= kLargestCoordinate)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
