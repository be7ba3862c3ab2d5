// Meshes for tests and benchmarks: sheets of any size, and small ones of known topology, closed, open,
// one-sided, pinched, non-manifold, and random garbage.
#pragma once

#include "tests/support/Random.h"

#include <Sorvane/IndexedMesh_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace Support {

using IndexedMesh = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;
using Velk::Math::Vec3d;

/// Indices of columns x rows squares of (columns + 1) (rows + 1) vertices, row by row, each square cut from
/// its lower left to its upper right corner, counter-clockwise: 2 columns rows triangles.
inline std::vector<int> GridIndices(int columns, int rows)
{
    std::vector<int> indices;
    indices.reserve(static_cast<std::size_t>(6) * static_cast<std::size_t>(columns) *
                    static_cast<std::size_t>(rows));
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
            const int a = y * (columns + 1) + x;
            const int c = a + columns + 1;
            indices.insert(indices.end(), {a, a + 1, c + 1, a, c + 1, c});
        }
    }
    return indices;
}

/// The grid with its vertex of column x and row y at `pointAt(x, y)`, a point in `double`.
template <class T, class PointAt>
Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T> GridMesh(int columns, int rows,
                                                            const PointAt& pointAt)
{
    Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T> mesh;
    for (int y = 0; y <= rows; ++y) {
        for (int x = 0; x <= columns; ++x) {
            const Vec3d p = pointAt(x, y);
            mesh.points.push_back(
                {static_cast<T>(p[0]), static_cast<T>(p[1]), static_cast<T>(p[2])});
        }
    }
    mesh.indices = GridIndices(columns, rows);
    return mesh;
}

/// Squares along each side of a square grid of at least `triangles` triangles.
inline int GridSide(std::int64_t triangles)
{
    return static_cast<int>(std::ceil(std::sqrt(static_cast<double>(triangles) / 2)));
}

/// A wavy sheet of at least `triangles` triangles, pitch 0.1.
template <class T>
Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T> WavySheet(std::int64_t triangles)
{
    const int side = GridSide(triangles);
    return GridMesh<T>(side, side, [](int x, int y) {
        return Vec3d{0.1 * x, 0.1 * y, std::sin(0.07 * x) * std::cos(0.05 * y)};
    });
}

/// columns x rows squares of edge 1 in the plane z = 0, counter-clockwise from above: one boundary loop,
/// Euler characteristic 1.
inline IndexedMesh Grid(int columns, int rows)
{
    return GridMesh<double>(columns, rows, [](int x, int y) { return Vec3d(x, y, 0); });
}

/// Normals outward: 4 points, 6 edges, 4 triangles.
inline IndexedMesh Tetrahedron()
{
    return {{{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}},
            {0, 1, 2, 0, 3, 1, 0, 2, 3, 1, 3, 2}};
}

/// Normals outward: 6 points of valence 4, 12 edges, 8 triangles.
inline IndexedMesh Octahedron()
{
    IndexedMesh mesh;
    mesh.points = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
    mesh.indices = {0, 2, 4, 2, 1, 4, 1, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 1, 5, 0, 3, 5};
    return mesh;
}

/// The cube [0, 1]^3, normals outward: 8 points, 18 edges, 12 triangles.
inline IndexedMesh Cube()
{
    IndexedMesh mesh;
    for (int i = 0; i < 8; ++i) {
        mesh.points.push_back({i & 1, (i >> 1) & 1, (i >> 2) & 1});
    }
    constexpr int kSquares[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                    {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& s : kSquares) {
        mesh.indices.insert(mesh.indices.end(), {s[0], s[1], s[2], s[0], s[2], s[3]});
    }
    return mesh;
}

/// Octahedron with every triangle cut into four `levels` times and pushed out to the unit sphere:
/// 8 * 4^levels triangles, Euler characteristic 2.
inline IndexedMesh Sphere(int levels)
{
    IndexedMesh mesh = Octahedron();
    for (int level = 0; level < levels; ++level) {
        std::map<std::pair<int, int>, int> middles;
        const auto middle = [&](int a, int b) {
            const auto [entry, isNew] =
                middles.try_emplace(std::minmax(a, b), static_cast<int>(mesh.points.size()));
            if (isNew) {
                const Vec3d sum = mesh.points[static_cast<std::size_t>(a)] +
                                  mesh.points[static_cast<std::size_t>(b)];
                mesh.points.push_back(Velk::Math::Vector::Normalized(sum, 0.0));
            }
            return entry->second;
        };
        std::vector<int> finer;
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            const int a = mesh.indices[i];
            const int b = mesh.indices[i + 1];
            const int c = mesh.indices[i + 2];
            const int ab = middle(a, b);
            const int bc = middle(b, c);
            const int ca = middle(c, a);
            finer.insert(finer.end(), {a, ab, ca, ab, b, bc, ca, bc, c, ab, bc, ca});
        }
        mesh.indices = std::move(finer);
    }
    return mesh;
}

/// Torus of around x across squares (both at least 3): Euler characteristic 0, no boundary.
inline IndexedMesh Torus(int around, int across)
{
    IndexedMesh mesh;
    for (int u = 0; u < around; ++u) {
        for (int v = 0; v < across; ++v) {
            const double a = Velk::Math::kTwoPi<double> * u / around;
            const double b = Velk::Math::kTwoPi<double> * v / across;
            const double r = 3.0 + std::cos(b);
            mesh.points.push_back({r * std::cos(a), r * std::sin(a), std::sin(b)});
        }
    }
    const auto at = [&](int u, int v) { return u % around * across + v % across; };
    for (int u = 0; u < around; ++u) {
        for (int v = 0; v < across; ++v) {
            mesh.indices.insert(mesh.indices.end(), {at(u, v), at(u + 1, v), at(u + 1, v + 1),
                                                     at(u, v), at(u + 1, v + 1), at(u, v + 1)});
        }
    }
    return mesh;
}

/// Strip of an even number of squares in one row, counter-clockwise: every second point on one rim.
inline IndexedMesh Strip(int squares) { return Grid(squares, 1); }

/// Moebius strip of `squares` >= 3 squares. Its triangles can't all agree on an orientation: the
/// last square is glued on with a half turn, where the directed edges collide.
inline IndexedMesh MoebiusStrip(int squares)
{
    IndexedMesh mesh;
    for (int i = 0; i < squares; ++i) {
        const double a = Velk::Math::kTwoPi<double> * i / squares;
        for (const double side : {-0.5, 0.5}) {
            const double r = 2.0 + side * std::cos(a / 2);
            mesh.points.push_back({r * std::cos(a), r * std::sin(a), side * std::sin(a / 2)});
        }
    }
    for (int i = 0; i < squares; ++i) {
        const bool isLast = i + 1 == squares;
        const int a = 2 * i;
        const int b = a + 1;
        const int c = isLast ? 1 : a + 2;
        const int d = isLast ? 0 : a + 3;
        mesh.indices.insert(mesh.indices.end(), {a, c, d, a, d, b});
    }
    return mesh;
}

/// `count` triangles round point 0, which is on the boundary unless `isClosed`.
inline IndexedMesh Fan(int count, bool isClosed)
{
    IndexedMesh mesh;
    mesh.points.push_back({0, 0, 0});
    const int rim = isClosed ? count : count + 1;
    for (int i = 0; i < rim; ++i) {
        const double a = (isClosed ? 2.0 : 1.0) * Velk::Math::kPi<double> * i / count;
        mesh.points.push_back({std::cos(a), std::sin(a), 0});
    }
    for (int i = 0; i < count; ++i) {
        mesh.indices.insert(mesh.indices.end(), {0, 1 + i, 1 + (i + 1) % rim});
    }
    return mesh;
}

/// `count` triangles that have nothing in common but one point, the one with the highest number.
inline IndexedMesh TrianglesAtOnePoint(int count)
{
    IndexedMesh mesh;
    for (int i = 0; i < count; ++i) {
        const double a = Velk::Math::kTwoPi<double> * i / count;
        mesh.points.push_back({std::cos(a), std::sin(a), 0});
        mesh.points.push_back({std::cos(a + 0.1), std::sin(a + 0.1), 0});
        mesh.indices.insert(mesh.indices.end(), {2 * i, 2 * i + 1, 2 * count});
    }
    mesh.points.push_back({0, 0, 0});
    return mesh;
}

/// `count` triangles on one edge, all running it from 0 to 1: non-manifold for more than one. Each
/// triple begins with its own point, so that it fails at its second side when the edge is taken.
inline IndexedMesh Fins(int count)
{
    IndexedMesh mesh;
    mesh.points = {{0, 0, 0}, {0, 0, 1}};
    for (int i = 0; i < count; ++i) {
        const double a = Velk::Math::kTwoPi<double> * i / count;
        mesh.points.push_back({std::cos(a), std::sin(a), 0.5});
        mesh.indices.insert(mesh.indices.end(), {2 + i, 0, 1});
    }
    return mesh;
}

/// Both meshes side by side, without a common point.
inline IndexedMesh Together(IndexedMesh a, const IndexedMesh& b)
{
    const int shift = static_cast<int>(a.points.size());
    a.points.insert(a.points.end(), b.points.begin(), b.points.end());
    for (const int i : b.indices) {
        a.indices.push_back(i + shift);
    }
    return a;
}

/// The triangles without those whose number is in `dropped`; points stay.
inline IndexedMesh Without(const IndexedMesh& mesh, const std::set<int>& dropped)
{
    IndexedMesh kept;
    kept.points = mesh.points;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        if (dropped.count(static_cast<int>(i / 3)) == 0) {
            kept.indices.push_back(mesh.indices[i]);
        }
    }
    return kept;
}

/// The same mesh with points and triangles in random order.
inline IndexedMesh Shuffled(const IndexedMesh& mesh, Random& random)
{
    const auto permutation = [&](std::size_t count) {
        std::vector<int> order(count);
        for (std::size_t i = 0; i < count; ++i) {
            order[i] = static_cast<int>(i);
            std::swap(order[i],
                      order[static_cast<std::size_t>(random.Below(static_cast<int>(i) + 1))]);
        }
        return order;
    };
    const std::vector<int> newNumber = permutation(mesh.points.size());
    IndexedMesh shuffled;
    shuffled.points.resize(mesh.points.size());
    for (std::size_t i = 0; i < mesh.points.size(); ++i) {
        shuffled.points[static_cast<std::size_t>(newNumber[i])] = mesh.points[i];
    }
    for (const int t : permutation(mesh.indices.size() / 3)) {
        for (int k = 0; k < 3; ++k) {
            const int old = mesh.indices[static_cast<std::size_t>(3 * t + k)];
            shuffled.indices.push_back(newNumber[static_cast<std::size_t>(old)]);
        }
    }
    return shuffled;
}

/// The triangles as positions, each begun at its least corner, in sorted order: equal for two
/// meshes exactly when they have the same oriented triangles, whatever their numbering.
inline std::vector<std::array<std::array<double, 3>, 3>> TriangleSet(const IndexedMesh& mesh)
{
    std::vector<std::array<std::array<double, 3>, 3>> triangles;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        std::array<std::array<double, 3>, 3> triangle;
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec3d& p = mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
            triangle[k] = {p.x(), p.y(), p.z()};
        }
        std::rotate(triangle.begin(), std::min_element(triangle.begin(), triangle.end()),
                    triangle.end());
        triangles.push_back(triangle);
    }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

/// Triangles over `nodeCount` random points whose corners are drawn at random: degenerate, repeated
/// and non-manifold as it comes, the more the fewer the points.
template <int D, class T>
Velk::Math::Sorvane::Mesh::IndexedPointsBase<D, T> GarbageMesh(Random& random, int nodeCount,
                                                               int triangleCount)
{
    Velk::Math::Sorvane::Mesh::IndexedPointsBase<D, T> mesh;
    for (int i = 0; i < nodeCount; ++i) {
        mesh.points.push_back(random.Vector<D, T>(-1, 1));
    }
    for (int i = 0; i < 3 * triangleCount; ++i) {
        mesh.indices.push_back(random.Below(nodeCount));
    }
    return mesh;
}

} // namespace Support
