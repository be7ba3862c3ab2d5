// Bodies turned on a lathe: round holes, pegs, counterbores and countersinks of exactly known size.
#pragma once

#include "tests/support/MeshGenerators.h"

#include <Velk/Math/Tolerances_E.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace Support {

/// A closed profile (distance from the axis, height), counter-clockwise with the distance to the
/// right and the height upward, turned about the z axis in `sides` flat sides: closed, normals
/// outward. A profile point on the axis becomes one point.
inline IndexedMesh TurnedBody(const std::vector<Velk::Math::Vec2d>& profile, int sides)
{
    using Velk::Math::Vec3d;
    IndexedMesh mesh;
    std::vector<int> firstOf; // of each profile point the number of its first vertex
    for (const auto& p : profile) {
        firstOf.push_back(static_cast<int>(mesh.points.size()));
        for (int k = 0; k < (p.x() == 0 ? 1 : sides); ++k) {
            const double angle = Velk::Math::kTwoPi<double> * k / sides;
            mesh.points.push_back({p.x() * std::cos(angle), p.x() * std::sin(angle), p.y()});
        }
    }
    for (std::size_t i = 0; i < profile.size(); ++i) {
        const std::size_t next = (i + 1) % profile.size();
        const auto vertex = [&](std::size_t point, int k) {
            return profile[point].x() == 0 ? firstOf[point] : firstOf[point] + k % sides;
        };
        for (int k = 0; k < sides; ++k) {
            const int a = vertex(i, k);
            const int b = vertex(i, k + 1);
            const int c = vertex(next, k + 1);
            const int d = vertex(next, k);
            if (a != b) {
                mesh.indices.insert(mesh.indices.end(), {a, b, d});
            }
            if (c != d) {
                mesh.indices.insert(mesh.indices.end(), {b, c, d});
            }
        }
    }
    return mesh;
}

/// Every point mapped by `map`.
template <class Map>
IndexedMesh Mapped(IndexedMesh mesh, const Map& map)
{
    for (auto& point : mesh.points) {
        point = map(point);
    }
    return mesh;
}

/// A ring of outer radius 10 and height `height` from z = 0 up, with a hole of `radius`.
inline IndexedMesh DrilledRing(double radius, double height, int sides)
{
    return TurnedBody({{radius, 0}, {10, 0}, {10, height}, {radius, height}}, sides);
}

} // namespace Support
