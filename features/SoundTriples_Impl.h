// A mesh without the triples that are no triangles.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

using IndexedMesh = Mesh::IndexedPointsBase<3, double>;

/// Are they three different points of a mesh of `pointCount` points?
inline bool IsSoundTriple(const int* triple, std::size_t pointCount)
{
    const int a = triple[0];
    const int b = triple[1];
    const int c = triple[2];
    // A negative number is a huge one here.
    return a != b && b != c && c != a && static_cast<std::size_t>(a) < pointCount &&
           static_cast<std::size_t>(b) < pointCount && static_cast<std::size_t>(c) < pointCount;
}

/// The mesh itself when all its triples are sound, and a copy without the others when not. The
/// points and their numbers stay, triangles move up. Must not outlive the mesh.
class SoundTriples {
public:
    explicit SoundTriples(const IndexedMesh& mesh) : mesh_(&mesh)
    {
        const std::size_t end = mesh.indices.size() / 3 * 3;
        std::size_t sound = 0;
        for (std::size_t i = 0; i < end; i += 3) {
            sound += IsSoundTriple(&mesh.indices[i], mesh.points.size()) ? 1 : 0;
        }
        if (3 * sound == mesh.indices.size()) {
            return;
        }
        copy_.points = mesh.points;
        copy_.indices.reserve(3 * sound);
        for (std::size_t i = 0; i < end; i += 3) {
            if (IsSoundTriple(&mesh.indices[i], mesh.points.size())) {
                copy_.indices.insert(copy_.indices.end(), &mesh.indices[i], &mesh.indices[i] + 3);
            }
        }
        mesh_ = &copy_;
    }
    SoundTriples(const SoundTriples&) = delete;
    SoundTriples& operator=(const SoundTriples&) = delete;

    const IndexedMesh& Mesh() const { return *mesh_; }

private:
    const IndexedMesh* mesh_;
    IndexedMesh copy_;
};

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
