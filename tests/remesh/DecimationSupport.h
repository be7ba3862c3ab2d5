// Meshes for the tests of decimation, and what every result must keep.
#pragma once

#include <Sorvane/MeshQueries_E.h>

#include "tests/support/MeshMeasures.h"
#include "tests/support/Random.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <set>
#include <vector>

namespace Support {

/// The cube [0, cells]^3 with cells x cells squares on each side, closed.
inline IndexedMesh FineCube(int cells)
{
    IndexedMesh mesh;
    const IndexedMesh side = Grid(cells, cells);
    const double s = cells;
    const auto add = [&](auto place) {
        IndexedMesh placed = side;
        for (Vec3d& p : placed.points) {
            p = place(p[0], p[1]);
        }
        mesh = Together(mesh, placed);
    };
    add([&](double x, double y) { return Vec3d(x, y, s); });
    add([&](double x, double y) { return Vec3d(y, x, 0); });
    add([&](double x, double y) { return Vec3d(x, 0, y); });
    add([&](double x, double y) { return Vec3d(y, s, x); });
    add([&](double x, double y) { return Vec3d(s, x, y); });
    add([&](double x, double y) { return Vec3d(0, y, x); });
    Velk::Math::Sorvane::Mesh::FilterForUniqueness(mesh, 1e-9);
    return mesh;
}

inline void Scale(IndexedMesh& mesh, double factor)
{
    for (Vec3d& p : mesh.points) {
        p = p * factor;
    }
}

/// The mesh without triples that name a point twice.
inline IndexedMesh WithoutRepeats(const IndexedMesh& mesh)
{
    std::set<int> repeats;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        if (mesh.indices[i] == mesh.indices[i / 3 * 3 + (i + 1) % 3]) {
            repeats.insert(static_cast<int>(i / 3));
        }
    }
    return Without(mesh, repeats);
}

/// Normal of a triangle, of any length.
inline Vec3d NormalOf(const IndexedMesh& mesh, std::size_t first)
{
    return (PointOf(mesh, first + 1) - PointOf(mesh, first)) ^
           (PointOf(mesh, first + 2) - PointOf(mesh, first));
}

/// Of up to `samples` triangles with an area, how many face away from the nearest triangle of the
/// source, by more than a right angle.
inline int FlippedTriangles(const IndexedMesh& mesh, const IndexedMesh& source, std::size_t samples)
{
    int flipped = 0;
    const std::size_t step = 3 * std::max<std::size_t>(1, mesh.indices.size() / 3 / samples);
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += step) {
        const Vec3d normal = NormalOf(mesh, i);
        const Vec3d center = (PointOf(mesh, i) + PointOf(mesh, i + 1) + PointOf(mesh, i + 2)) / 3.0;
        double least = std::numeric_limits<double>::infinity();
        bool faces = false;
        for (std::size_t j = 0; j < source.indices.size(); j += 3) {
            const double distance = DistanceToTriangle(
                center, PointOf(source, j), PointOf(source, j + 1), PointOf(source, j + 2));
            // Of several as near as that any one will do: the point lies on their common edge.
            if (distance <= least * (1 + 1e-9) + 1e-12) {
                const bool facesThis = NormalOf(source, j) * normal >= 0;
                faces = distance < least * (1 - 1e-9) - 1e-12 ? facesThis : faces || facesThis;
                least = std::min(least, distance);
            }
        }
        flipped += faces ? 0 : 1;
    }
    return flipped;
}

/// The greatest distance of a point of the first segments from the nearest of the second, at both
/// ends and the middle of up to `samples` segments.
inline double FeatureDistance(const std::vector<std::array<Vec3d, 2>>& segments,
                              const std::vector<std::array<Vec3d, 2>>& others, std::size_t samples)
{
    double greatest = 0;
    const std::size_t step = std::max<std::size_t>(1, segments.size() / samples);
    for (std::size_t i = 0; i < segments.size(); i += step) {
        const auto& [a, b] = segments[i];
        for (const Vec3d& p : {a, b, (a + b) * 0.5}) {
            double least = std::numeric_limits<double>::infinity();
            for (const auto& [c, d] : others) {
                const Vec3d along = d - c;
                const double squared = SquaredLength(along);
                const double t =
                    squared > 0 ? std::clamp((p - c) * along / squared, 0.0, 1.0) : 0.0;
                least = std::min(least, Length(c + along * t - p));
            }
            greatest = std::max(greatest, least);
        }
    }
    return greatest;
}

} // namespace Support
