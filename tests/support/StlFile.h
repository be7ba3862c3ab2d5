// Reads binary STL files for tests and benchmarks. Kept apart from the library's own readers and filters, so
// that a test of one part does not stand or fall with another.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace Support {

/// The corners of a binary STL in the order of the file, three for each facet, with 0 for -0. Empty when
/// the file is not one or is cut short.
template <class T>
std::vector<Velk::Math::VecBase<3, T>> StlCorners(const std::filesystem::path& file)
{
    constexpr std::size_t kHeader = 84;
    constexpr std::size_t kRecord = 50;
    constexpr std::size_t kNormal = 12;
    std::vector<Velk::Math::VecBase<3, T>> corners;
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    if (bytes.size() < kHeader || (bytes.size() - kHeader) % kRecord != 0) {
        return corners;
    }
    for (std::size_t record = kHeader; record < bytes.size(); record += kRecord) {
        for (std::size_t corner = 0; corner < 3; ++corner) {
            std::array<float, 3> p{};
            std::memcpy(p.data(), bytes.data() + record + kNormal + corner * sizeof p, sizeof p);
            // Adding 0 turns -0 into 0: they are one place.
            corners.push_back({static_cast<T>(p[0] + 0.0F), static_cast<T>(p[1] + 0.0F),
                               static_cast<T>(p[2] + 0.0F)});
        }
    }
    return corners;
}

/// The mesh of a binary STL whose equal points are joined, in the order of their first use; empty when
/// the file is not one.
template <class T>
Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T> WeldedStl(const std::filesystem::path& file)
{
    Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T> mesh;
    std::map<std::array<T, 3>, int> numbers;
    for (const auto& p : StlCorners<T>(file)) {
        const auto [at, isNew] = numbers.try_emplace(std::array<T, 3>{p[0], p[1], p[2]},
                                                     static_cast<int>(mesh.points.size()));
        if (isNew) {
            mesh.points.push_back(p);
        }
        mesh.indices.push_back(at->second);
    }
    return mesh;
}

} // namespace Support
