// Inputs of the measurements of the search trees, the same for the peers: a mesh and points around
// it.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

namespace Bench {

using namespace Velk::Math;
using IndexedMesh = Sorvane::Mesh::IndexedPointsBase<3, double>;

class Uniform {
public:
    double operator()(double low, double high)
    {
        return low + (high - low) * static_cast<double>(engine_() >> 11U) * 0x1p-53;
    }

private:
    std::mt19937_64 engine_{5489};
};

/// A wavy sheet of about `count` triangles over a square of edge 100.
inline IndexedMesh WavySheet(std::int64_t count)
{
    const int side = static_cast<int>(std::sqrt(static_cast<double>(count) / 2));
    IndexedMesh mesh;
    for (int j = 0; j <= side; ++j) {
        for (int i = 0; i <= side; ++i) {
            const double x = 100.0 * i / side;
            const double y = 100.0 * j / side;
            mesh.points.push_back({x, y, 10 * std::sin(0.2 * x) * std::cos(0.1 * y)});
        }
    }
    for (int j = 0; j < side; ++j) {
        for (int i = 0; i < side; ++i) {
            const int a = j * (side + 1) + i;
            const int c = a + side + 1;
            mesh.indices.insert(mesh.indices.end(), {a, a + 1, c + 1, a, c + 1, c});
        }
    }
    return mesh;
}

/// The binary STL file that SORVANE_BENCH_STL names, as one size more; otherwise nothing.
inline IndexedMesh NamedMesh()
{
    IndexedMesh mesh;
    if (const char* file = std::getenv("SORVANE_BENCH_STL")) {
        Sorvane::MeshUtils::ReadFromBinarySTL(mesh.points, mesh.indices, file);
        mesh.indices.resize(mesh.points.size());
        std::iota(mesh.indices.begin(), mesh.indices.end(), 0);
    }
    return mesh;
}

/// Points uniform in the box of the mesh.
inline std::vector<Vec3d> PointsInBox(const IndexedMesh& mesh, int count)
{
    Vec3d low = mesh.points.front();
    Vec3d high = low;
    for (const Vec3d& point : mesh.points) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    }
    Uniform random;
    std::vector<Vec3d> points(static_cast<std::size_t>(count));
    for (Vec3d& point : points) {
        for (int axis = 0; axis < 3; ++axis) {
            point[axis] = random(low[axis], high[axis]);
        }
    }
    return points;
}

} // namespace Bench
