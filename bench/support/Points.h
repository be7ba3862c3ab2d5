// Point sets for the benchmarks of hulls and balls, here and beside other libraries.
#pragma once

#include "tests/support/PointSets.h"

#include <cstdint>
#include <vector>

namespace Bench {

using Velk::Math::Vec3d;

/// Uniform in the unit disc or ball.
template <int D, class T>
std::vector<Velk::Math::VecBase<D, T>> PointsInBall(std::int64_t count)
{
    Support::Random random(7);
    return Support::PointsInBall<D, T>(count, random);
}

/// On the unit circle or sphere: the hull has every one of them.
template <int D, class T>
std::vector<Velk::Math::VecBase<D, T>> PointsOnSphere(std::int64_t count)
{
    Support::Random random(7);
    return Support::PointsOnSphere<D, T>(count, random);
}

inline std::vector<Vec3d> InBall(std::int64_t count) { return PointsInBall<3, double>(count); }
inline std::vector<Vec3d> OnSphere(std::int64_t count) { return PointsOnSphere<3, double>(count); }
inline std::vector<Vec3d> Lattice(std::int64_t count) { return Support::TurnedLattice(count); }

inline std::vector<Vec3d> InBox(std::int64_t count)
{
    Support::Random random(1);
    std::vector<Vec3d> points;
    for (std::int64_t i = 0; i < count; ++i) {
        const Vec3d p = random.Vector<3, double>(-1, 1);
        points.push_back({300 * p[0], 100 * p[1], 20 * p[2]});
    }
    return points;
}

} // namespace Bench
