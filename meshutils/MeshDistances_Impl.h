// What the distances of points and of surfaces have in common: the triangles of a mesh by number.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// Are the three subscripts of triangle `number` in range?
inline bool AreSubscripts(const std::vector<Vec3d>& points, const std::vector<int>& indices,
                          int number)
{
    const auto first = 3 * static_cast<std::size_t>(number);
    for (std::size_t k = 0; k < 3; ++k) {
        const int index = indices[first + k];
        if (index < 0 || static_cast<std::size_t>(index) >= points.size()) {
            return false;
        }
    }
    return true;
}

/// The corners of triangle `number`, whose subscripts are in range.
inline std::array<Vec3d, 3> TriangleAt(const std::vector<Vec3d>& points,
                                       const std::vector<int>& indices, int number)
{
    const auto first = 3 * static_cast<std::size_t>(number);
    return {points[static_cast<std::size_t>(indices[first])],
            points[static_cast<std::size_t>(indices[first + 1])],
            points[static_cast<std::size_t>(indices[first + 2])]};
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
