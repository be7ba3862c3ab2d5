// What tests of imprinting ask of a mesh: its area, whether a path runs along its edges, on which
// side of plane curves its triangles lie; and paths over any surface.
#pragma once

#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/Random.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Support {

using Velk::Math::Vec2d;
using Path = std::vector<Vec3d>;

inline double AreaOfTriangle(const IndexedMesh& mesh, std::size_t t)
{
    const Vec3d a = PointOf(mesh, 3 * t);
    const Vec3d cross = (PointOf(mesh, 3 * t + 1) - a) ^ (PointOf(mesh, 3 * t + 2) - a);
    return std::sqrt(cross * cross) / 2;
}

/// Area of the triangles whose flag is `flag`.
template <class Flag>
double AreaOfFlag(const IndexedMesh& mesh, const std::vector<Flag>& flags, Flag flag)
{
    long double sum = 0;
    for (std::size_t t = 0; t < flags.size(); ++t) {
        sum += flags[t] == flag ? AreaOfTriangle(mesh, t) : 0.0;
    }
    return static_cast<double>(sum);
}

inline double SurfaceOf(const IndexedMesh& mesh)
{
    return AreaOfFlag(mesh, std::vector<int>(mesh.indices.size() / 3, 1), 1);
}

inline double LengthOfPath(const Path& path)
{
    double sum = 0;
    for (std::size_t i = 1; i < path.size(); ++i) {
        const Vec3d step = path[i] - path[i - 1];
        sum += std::sqrt(step * step);
    }
    return sum;
}

/// Pairs of neighbors on the path that no edge of the mesh joins, by the bits of the points.
inline int LinksWithoutEdge(const IndexedMesh& mesh, const Path& path)
{
    std::map<std::array<double, 3>, int> numbers;
    const auto key = [](const Vec3d& p) { return std::array<double, 3>{p[0], p[1], p[2]}; };
    for (std::size_t i = 0; i < mesh.points.size(); ++i) {
        numbers[key(mesh.points[i])] = static_cast<int>(i);
    }
    std::set<std::pair<int, int>> edges;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        edges.insert(std::minmax(mesh.indices[i], mesh.indices[i / 3 * 3 + (i + 1) % 3]));
    }
    int missing = 0;
    for (std::size_t i = 1; i < path.size(); ++i) {
        const auto from = numbers.find(key(path[i - 1]));
        const auto to = numbers.find(key(path[i]));
        const bool isEdge = from != numbers.end() && to != numbers.end() &&
                            edges.count(std::minmax(from->second, to->second)) == 1;
        missing += isEdge ? 0 : 1;
    }
    return missing;
}

/// A regular polygon about (center, z).
inline Path Round(const Vec2d& center, double radius, int corners, double z)
{
    Path path;
    for (int i = 0; i < corners; ++i) {
        const double a = Velk::Math::kTwoPi<double> * (i + 0.25) / corners;
        path.push_back({center.x() + radius * std::cos(a), center.y() + radius * std::sin(a), z});
    }
    return path;
}

/// Is the point inside a plane loop, by the crossings of a ray?
inline bool IsInside(const Path& loop, const Vec3d& point)
{
    bool isInside = false;
    for (std::size_t i = 0; i < loop.size(); ++i) {
        const Vec3d& a = loop[i];
        const Vec3d& b = loop[(i + 1) % loop.size()];
        if ((a.y() > point.y()) != (b.y() > point.y()) &&
            point.x() < a.x() + (b.x() - a.x()) * (point.y() - a.y()) / (b.y() - a.y())) {
            isInside = !isInside;
        }
    }
    return isInside;
}

/// Distance of a point from a loop of segments.
inline double DistanceToLoop(const Path& loop, const Vec3d& point)
{
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < loop.size(); ++i) {
        const Vec3d side = loop[(i + 1) % loop.size()] - loop[i];
        const Vec3d to = point - loop[i];
        const double t = std::clamp(to * side / (side * side), 0.0, 1.0);
        const Vec3d rest = to - side * t;
        least = std::min(least, std::sqrt(rest * rest));
    }
    return least;
}

/// A path over neighboring triangles, one point inside each; points are on the surface up to
/// rounding. Closed bodies only.
inline Path PathOverTriangles(const IndexedMesh& mesh, int steps, Random& random)
{
    std::map<std::pair<int, int>, std::vector<int>> beside;
    const auto count = static_cast<int>(mesh.indices.size() / 3);
    const auto edge = [&](int t, int k) {
        return std::pair<int, int>(
            std::minmax(mesh.indices[static_cast<std::size_t>(3 * t + k)],
                        mesh.indices[static_cast<std::size_t>(3 * t + (k + 1) % 3)]));
    };
    for (int t = 0; t < count; ++t) {
        for (int k = 0; k < 3; ++k) {
            beside[edge(t, k)].push_back(t);
        }
    }
    Path path;
    int current = random.Below(count);
    int before = -1;
    for (int i = 0; i < steps; ++i) {
        const double u = random.Between(0.2, 0.4);
        const double v = random.Between(0.2, 0.4);
        const auto at = static_cast<std::size_t>(3 * current);
        path.push_back(PointOf(mesh, at) + (PointOf(mesh, at + 1) - PointOf(mesh, at)) * u +
                       (PointOf(mesh, at + 2) - PointOf(mesh, at)) * v);
        const int first = random.Below(3);
        int next = current;
        for (int k = 0; k < 3 && (next == current || next == before); ++k) {
            for (const int t : beside[edge(current, (first + k) % 3)]) {
                next = t == current || t == before ? next : t;
            }
        }
        before = current;
        current = next;
    }
    return path;
}

} // namespace Support
