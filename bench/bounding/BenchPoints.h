// Seeded random points for the benchmarks of this folder.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstdint>
#include <random>
#include <vector>

namespace Bench {

/// Uniform in the unit disc or ball.
template <int D, class T>
std::vector<Velk::Math::VecBase<D, T>> PointsInBall(std::int64_t count)
{
    std::mt19937_64 engine(7);
    std::uniform_real_distribution<double> unit(-1, 1);
    std::vector<Velk::Math::VecBase<D, T>> points;
    points.reserve(static_cast<std::size_t>(count));
    while (static_cast<std::int64_t>(points.size()) < count) {
        Velk::Math::VecBase<D, double> p;
        for (double& x : p) {
            x = unit(engine);
        }
        if (p * p <= 1) {
            points.emplace_back(p);
        }
    }
    return points;
}

/// On the unit circle or sphere: the hull has every one of them.
template <int D, class T>
std::vector<Velk::Math::VecBase<D, T>> PointsOnSphere(std::int64_t count)
{
    auto points = PointsInBall<D, T>(count);
    for (auto& p : points) {
        p = Velk::Math::Vector::Normalized(p, T{0});
    }
    return points;
}

} // namespace Bench
