// Reading an STL of either kind, for the example programs.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Vector_E.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

/// A binary STL says how long it is; anything else is taken for text.
inline bool LooksBinary(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    unsigned char header[84] = {};
    file.read(reinterpret_cast<char*>(header), sizeof header);
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    const std::uint64_t count = header[80] | header[81] << 8U | header[82] << 16U |
                                static_cast<std::uint64_t>(header[83]) << 24U;
    return file.good() && !error && size == 84 + 50 * count;
}

/// Three points for each triangle; `indices` may stay empty. False when it is no STL.
inline bool ReadStl(std::vector<Velk::Math::Vec3d>& points, std::vector<int>& indices,
                    const std::filesystem::path& path, bool isBinary)
{
    using namespace Velk::Math::Sorvane::MeshUtils;
    return isBinary ? ReadFromBinarySTL(points, indices, path)
                    : ReadFromASCIISTL(points, indices, path);
}

/// An STL of either kind as a welded mesh: corners within `tolerance` on every axis are one point.
/// False, and said so, when it can't be read or holds no triangle.
inline bool ReadWeldedStl(Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& part,
                          const std::filesystem::path& path, double tolerance)
{
    if (!ReadStl(part.points, part.indices, path, LooksBinary(path)) || part.points.empty()) {
        std::fprintf(stderr, "%s: not a readable STL file\n", path.string().c_str());
        return false;
    }
    part.indices = Velk::Math::Vector::FilterForUniquenessAndIndex(part.points, tolerance);
    return true;
}
