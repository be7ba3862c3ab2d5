// Meshes and points in them for the benchmarks, here and beside other libraries.
#pragma once

#include "tests/support/MeshGenerators.h"
#include "tests/support/Random.h"
#include "tests/support/StlFile.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <vector>

namespace Bench {

using Support::IndexedMesh;
using Velk::Math::Vec3d;

/// Repeatable whole numbers in [0, count).
class Draw {
public:
    explicit Draw(std::uint64_t seed) : random_(seed) {}
    std::size_t operator()(std::size_t count)
    {
        return static_cast<std::size_t>(random_.Below(static_cast<int>(count)));
    }

private:
    Support::Random random_;
};

/// A square sheet of about `triangles` triangles over a wavy surface, pitch 1.
inline IndexedMesh Sheet(std::size_t triangles)
{
    const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2.0)));
    return Support::GridMesh<double>(side, side, [](int x, int y) {
        return Vec3d(x, y, std::sin(0.1 * x) * std::cos(0.07 * y));
    });
}

/// The same with points and triangles in random order: the worst a file can do to the caches.
inline IndexedMesh ShuffledSheet(std::size_t triangles)
{
    Support::Random random(1);
    return Support::Shuffled(Sheet(triangles), random);
}

/// A wavy sheet of about `count` triangles over a square of edge 100.
inline IndexedMesh WavySheet(std::int64_t count)
{
    const int side = static_cast<int>(std::sqrt(static_cast<double>(count) / 2));
    return Support::GridMesh<double>(side, side, [&](int i, int j) {
        const double x = 100.0 * i / side;
        const double y = 100.0 * j / side;
        return Vec3d(x, y, 10 * std::sin(0.2 * x) * std::cos(0.1 * y));
    });
}

/// Corners of the binary STL file that SORVANE_BENCH_STL names, three a triangle, as one size more;
/// otherwise nothing.
template <class T>
std::vector<Velk::Math::VecBase<3, T>> NamedCorners()
{
    const char* file = std::getenv("SORVANE_BENCH_STL");
    return file == nullptr ? std::vector<Velk::Math::VecBase<3, T>>{}
                           : Support::StlCorners<T>(file);
}

/// The same as a mesh whose triangles share no points.
inline IndexedMesh NamedMesh()
{
    IndexedMesh mesh;
    mesh.points = NamedCorners<double>();
    mesh.indices.resize(mesh.points.size());
    std::iota(mesh.indices.begin(), mesh.indices.end(), 0);
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
    Support::Random random(5489);
    std::vector<Vec3d> points(static_cast<std::size_t>(count));
    for (Vec3d& point : points) {
        for (int axis = 0; axis < 3; ++axis) {
            point[axis] = random.Between(low[axis], high[axis]);
        }
    }
    return points;
}

} // namespace Bench
