// Points and short strokes for the benchmarks of triangulation, here and beside other libraries.
#pragma once

#include "tests/support/Random.h"

#include <cmath>
#include <vector>

namespace Bench {

using Support::Random;

struct ConstraintSet {
    std::vector<Velk::Math::Vec2d> points;
    /// A frame round everything and strokes of two points that cross nothing.
    std::vector<std::vector<Velk::Math::Vec2d>> boundaries;
};

/// Uniform points in a square of 1000, about one stroke for ten points, each in a cell of its own.
inline ConstraintSet MakeConstraintSet(int pointCount)
{
    ConstraintSet set;
    Random random(3);
    for (int i = 0; i < pointCount; ++i) {
        const double x = random.Between(0, 1000);
        set.points.push_back({x, random.Between(0, 1000)});
    }
    set.boundaries.push_back({{-1, -1}, {1001, -1}, {1001, 1001}, {-1, 1001}});
    const int side = static_cast<int>(std::sqrt(pointCount / 10.0));
    const double cell = 1000.0 / side;
    for (int k = 0; k < side * side; ++k) {
        const auto end = [&] {
            const double x = (k % side + random.Between(0.05, 0.95)) * cell;
            return Velk::Math::Vec2d(x, (k / side + random.Between(0.05, 0.95)) * cell);
        };
        const Velk::Math::Vec2d start = end();
        set.boundaries.push_back({start, end()});
    }
    return set;
}

} // namespace Bench
