// Meshes for tests: triangles of a binary STL welded bit for bit, small solids, random garbage.
//
// Kept apart from the library's own readers and filters, so that a test of one part does not stand
// or fall with another.
#pragma once

#include "tests/support/TestSupport.h"

#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace Test {

/// The mesh of a binary STL whose equal points are joined (-0 equals 0); empty when the file is not
/// one. Points in the order of their first use.
template <class T>
Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T>
WeldedBinaryStl(const std::filesystem::path& file)
{
    constexpr std::size_t kHeader = 84;
    constexpr std::size_t kRecord = 50;
    constexpr std::size_t kNormal = 12;
    Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T> mesh;
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    if (bytes.size() < kHeader || (bytes.size() - kHeader) % kRecord != 0) {
        return mesh;
    }
    std::map<std::array<float, 3>, int> numbers;
    for (std::size_t record = kHeader; record < bytes.size(); record += kRecord) {
        for (std::size_t corner = 0; corner < 3; ++corner) {
            std::array<float, 3> point{};
            std::memcpy(point.data(), bytes.data() + record + kNormal + corner * sizeof point,
                        sizeof point);
            const auto [at, isNew] =
                numbers.try_emplace(point, static_cast<int>(mesh.points.size()));
            if (isNew) {
                mesh.points.push_back(
                    {static_cast<T>(point[0]), static_cast<T>(point[1]), static_cast<T>(point[2])});
            }
            mesh.indices.push_back(at->second);
        }
    }
    return mesh;
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

} // namespace Test
