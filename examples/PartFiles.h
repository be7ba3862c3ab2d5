// Reading and writing parts for the example programs: what goes wrong is said, with its reason.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>

using Part = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;

/// False, and said why, when `result` is no success.
inline bool Tell(const Velk::Math::Sorvane::MeshUtils::MeshFileResult& result,
                 const std::filesystem::path& path)
{
    if (!result) {
        std::fprintf(stderr, "%s: %s\n", path.string().c_str(), MeshFileText(result).c_str());
    }
    return static_cast<bool>(result);
}

/// A mesh file of any form as a welded mesh: corners within `tolerance` on every axis are one
/// point. False, and said why, when it can't be read.
inline bool ReadWeldedPart(Part& part, const std::filesystem::path& path, double tolerance)
{
    if (!Tell(Velk::Math::Sorvane::MeshUtils::ReadMesh(part, path), path)) {
        return false;
    }
    Velk::Math::Sorvane::Mesh::FilterForUniqueness(part, tolerance);
    return true;
}

/// Writes a part in the form of the extension. False, and said why, when it can't be written.
inline bool WritePart(const Part& part, const std::filesystem::path& path)
{
    return Tell(Velk::Math::Sorvane::MeshUtils::WriteMesh(part, path), path);
}

inline std::size_t TriangleCount(const Part& part) { return part.indices.size() / 3; }
