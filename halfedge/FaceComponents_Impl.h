// The connected components of a half-edge mesh of triangles.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// The half-edges of a face of three, from the face's own on.
template <class TriangleMesh>
std::array<int, 3> FaceEdges(const TriangleMesh& mesh, int face)
{
    const int first = mesh.Faces()[static_cast<std::size_t>(face)].edge;
    const auto& edge = mesh.Edges()[static_cast<std::size_t>(first)];
    return {first, edge.next, edge.prev};
}

/// Faces that are connected across edges, not through single nodes, in lists: the components in the
/// order of their lowest face, each from that face on in the order of a flood whose latest find
/// goes on first. O(faces). The faces are sound triangles, or deleted.
template <class TriangleMesh>
std::vector<std::vector<int>> FaceComponents(const TriangleMesh& mesh)
{
    std::vector<std::vector<int>> components;
    std::vector<char> isFound(mesh.Faces().size());
    std::vector<int> pending;
    const auto find = [&](int face) {
        if (face >= 0 && isFound[static_cast<std::size_t>(face)] == 0) {
            isFound[static_cast<std::size_t>(face)] = 1;
            pending.push_back(face);
        }
    };
    for (int seed = 0; seed < mesh.FaceCount(); ++seed) {
        if (!mesh.IsValidFace(seed)) {
            continue;
        }
        find(seed);
        if (pending.empty()) {
            continue;
        }
        std::vector<int>& component = components.emplace_back();
        while (!pending.empty()) {
            const int face = pending.back();
            pending.pop_back();
            component.push_back(face);
            for (const int halfEdge : FaceEdges(mesh, face)) {
                find(mesh.Edges()[static_cast<std::size_t>(halfEdge ^ 1)].face);
            }
        }
    }
    return components;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
