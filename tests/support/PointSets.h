// Seeded sets of points of many kinds for tests and benchmarks.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include "tests/support/Random.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace Support {

enum class PointSet {
    Cube,
    Ball,
    Sphere,
    Lattice,
    Clusters,
    Line,
    NearLine,
    Duplicates,
    Antipodal
};
inline constexpr PointSet kPointSets[] = {
    PointSet::Cube,     PointSet::Ball,       PointSet::Sphere,
    PointSet::Lattice,  PointSet::Clusters,   PointSet::Line,
    PointSet::NearLine, PointSet::Duplicates, PointSet::Antipodal};

inline std::string NameOf(PointSet set)
{
    static const char* const kNames[] = {"Cube", "Ball",     "Sphere",     "Lattice",  "Clusters",
                                         "Line", "NearLine", "Duplicates", "Antipodal"};
    return kNames[static_cast<int>(set)];
}

template <int D, class T>
Velk::Math::VecBase<D, T> RandomDirection(Random& random)
{
    for (;;) {
        const auto v = random.Vector<D, double>(-1, 1);
        const double length = std::sqrt(v * v);
        if (length <= 1 && length > 0.01) {
            return Velk::Math::VecBase<D, T>(v * (1 / length));
        }
    }
}

/// `count` points about the origin, of size about 1.
template <int D, class T>
std::vector<Velk::Math::VecBase<D, T>> MakePoints(PointSet set, int count, Random& random)
{
    using V = Velk::Math::VecBase<D, T>;
    std::vector<V> points;
    const V axis = RandomDirection<D, T>(random);
    std::vector<V> centers;
    for (int i = 0; i < 4; ++i) {
        centers.push_back(random.Vector<D, T>(-1, 1));
    }
    while (static_cast<int>(points.size()) < count) {
        const V cube = random.Vector<D, T>(-1, 1);
        const V direction = RandomDirection<D, T>(random);
        const T along = static_cast<T>(random.Between(-1, 1));
        switch (set) {
        case PointSet::Cube:
            points.push_back(cube);
            break;
        case PointSet::Ball:
            if (cube * cube <= 1) {
                points.push_back(cube);
            }
            break;
        case PointSet::Sphere:
            points.push_back(direction);
            break;
        case PointSet::Lattice: {
            V node;
            for (T& component : node) {
                component = static_cast<T>(random.Below(5)) / T{4};
            }
            points.push_back(node);
            break;
        }
        case PointSet::Clusters:
            points.push_back(centers[static_cast<std::size_t>(random.Below(4))] + cube * T(1e-4));
            break;
        case PointSet::Line:
            points.push_back(axis * along);
            break;
        case PointSet::NearLine:
            points.push_back(axis * along + cube * (std::is_same_v<T, float> ? T(1e-5) : T(1e-10)));
            break;
        case PointSet::Duplicates:
            points.push_back(centers[static_cast<std::size_t>(random.Below(4))]);
            break;
        case PointSet::Antipodal:
            points.push_back(direction);
            points.push_back(-direction);
            break;
        }
    }
    return points;
}

/// Uniform in the unit disc or ball.
template <int D, class T>
std::vector<Velk::Math::VecBase<D, T>> PointsInBall(std::int64_t count, Random& random)
{
    std::vector<Velk::Math::VecBase<D, T>> points;
    while (static_cast<std::int64_t>(points.size()) < count) {
        const auto p = random.Vector<D, double>(-1, 1);
        if (p * p <= 1) {
            points.emplace_back(p);
        }
    }
    return points;
}

/// Uniform on the unit circle or sphere: the hull has every one of them.
template <int D, class T>
std::vector<Velk::Math::VecBase<D, T>> PointsOnSphere(std::int64_t count, Random& random)
{
    std::vector<Velk::Math::VecBase<D, T>> points;
    while (static_cast<std::int64_t>(points.size()) < count) {
        points.push_back(RandomDirection<D, T>(random));
    }
    return points;
}

/// A cubic lattice of about `count` points, turned so that its sides are flat up to rounding only.
inline std::vector<Velk::Math::Vec3d> TurnedLattice(std::int64_t count)
{
    const auto side = static_cast<int>(std::lround(std::cbrt(static_cast<double>(count))));
    const double c = std::cos(0.3);
    const double s = std::sin(0.3);
    std::vector<Velk::Math::Vec3d> points;
    for (int i = 0; i < side * side * side; ++i) {
        const Velk::Math::Vec3d p(i % side, i / side % side, i / side / side);
        const double y = s * p[0] + c * p[1];
        points.push_back({c * p[0] - s * p[1], c * y + s * p[2], -s * y + c * p[2]});
    }
    return points;
}

} // namespace Support
