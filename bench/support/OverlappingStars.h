// Stars that overlap: what unions of many polygons are measured with.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include "tests/support/Random.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace Support {

/// Stars of 12 corners and a radius from 0.5 to 1.5, one for each unit of area of a square.
inline std::vector<std::vector<Velk::Math::Vec2d>> OverlappingStars(int count)
{
    using namespace Velk::Math;
    Random random(1);
    const double size = std::sqrt(count);
    std::vector<std::vector<Vec2d>> loops(static_cast<std::size_t>(count));
    for (auto& loop : loops) {
        const Vec2d center(random.Between(0, size), random.Between(0, size));
        const double radius = random.Between(0.5, 1.5);
        for (int k = 0; k < 12; ++k) {
            const double angle = kTwoPi<double> * k / 12;
            const double reach = radius * (k % 2 == 0 ? 1 : 0.6);
            loop.push_back(center + Vec2d(std::cos(angle), std::sin(angle)) * reach);
        }
    }
    return loops;
}

} // namespace Support
