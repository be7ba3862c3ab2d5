// Seeded sets of points of many kinds for the tests of hulls and balls.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include "tests/support/TestSupport.h"

#include <cmath>
#include <string>
#include <vector>

namespace Test {

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

} // namespace Test
