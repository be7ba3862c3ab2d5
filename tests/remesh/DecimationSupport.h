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
int FlippedTriangles(const IndexedMesh& mesh, const IndexedMesh& source, std::size_t samples);

/// The greatest distance of a point of the first segments from the nearest of the second, at both
/// ends and the middle of up to `samples` segments.
double FeatureDistance(const std::vector<std::array<Vec3d, 2>>& segments,
                       const std::vector<std::array<Vec3d, 2>>& others, std::size_t samples);

} // namespace Support
