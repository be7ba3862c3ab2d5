// Inputs of the half-edge benchmarks, shared with the comparisons in bench/peers.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Bench {

using IndexedMesh = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;

/// Repeatable whole numbers in [0, count): splitmix64.
class Draw {
public:
    explicit Draw(std::uint64_t seed) : state_(seed) {}
    std::size_t operator()(std::size_t count)
    {
        std::uint64_t z = (state_ += 0x9e3779b97f4a7c15U);
        z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
        return static_cast<std::size_t>((z ^ (z >> 31U)) % count);
    }

private:
    std::uint64_t state_;
};

/// A square sheet of about `triangles` triangles over a wavy surface.
inline IndexedMesh Sheet(std::size_t triangles)
{
    const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2.0)));
    IndexedMesh mesh;
    for (int y = 0; y <= side; ++y) {
        for (int x = 0; x <= side; ++x) {
            mesh.points.push_back({x, y, std::sin(0.1 * x) * std::cos(0.07 * y)});
        }
    }
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const int a = y * (side + 1) + x;
            const int c = a + side + 1;
            mesh.indices.insert(mesh.indices.end(), {a, a + 1, c + 1, a, c + 1, c});
        }
    }
    return mesh;
}

/// The same with points and triangles in random order: the worst a file can do to the caches.
inline IndexedMesh ShuffledSheet(std::size_t triangles)
{
    const IndexedMesh sheet = Sheet(triangles);
    Draw draw(1);
    const auto permutation = [&](std::size_t count) {
        std::vector<std::size_t> order(count);
        for (std::size_t i = 0; i < count; ++i) {
            order[i] = i;
            std::swap(order[i], order[draw(i + 1)]);
        }
        return order;
    };
    const std::vector<std::size_t> place = permutation(sheet.points.size());
    IndexedMesh mesh;
    mesh.points.resize(sheet.points.size());
    for (std::size_t i = 0; i < place.size(); ++i) {
        mesh.points[place[i]] = sheet.points[i];
    }
    for (const std::size_t t : permutation(sheet.indices.size() / 3)) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto old = static_cast<std::size_t>(sheet.indices[3 * t + k]);
            mesh.indices.push_back(static_cast<int>(place[old]));
        }
    }
    return mesh;
}

} // namespace Bench
