// Stars: three triangles round a node of the inside that has no others. Such a node adds nothing
// but a dent, and no flip can give it more edges; one triangle takes the place of the three.
#pragma once

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/HalfEdgeMesh_E.h>

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A star, its parts in ring order: face i lies between the spokes i and i + 1 and has the outer
/// half-edge i, which runs from ring node i to the next.
struct TriangleStar {
    std::array<int, 3> spokes; ///< half-edges that leave the node
    std::array<int, 3> ring;   ///< nodes
    std::array<int, 3> faces;
    std::array<int, 3> outer; ///< half-edges
};

/// Is the node the middle of a star? Not where it is on a boundary or has other fans besides, and
/// not where the triangle that would take the star's place is there already, back to back: three
/// triangles of a tetrahedron are no star, since the rest would be two triangles without volume.
template <class Mesh>
bool FindStar(const Mesh& mesh, int node, TriangleStar& star)
{
    if (mesh.Degree(node) != 3) {
        return false;
    }
    std::size_t count = 0;
    const WalkEnd end = mesh.VisitNodeEdges(node, [&](int e) {
        if (count < 3) {
            star.spokes[count] = e;
        }
        ++count;
    });
    if (end != WalkEnd::Closed || count != 3) {
        return false;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const auto* spoke = mesh.EdgeRecord(star.spokes[i]);
        if (spoke == nullptr || mesh.IsBoundaryEdge(star.spokes[i], true) ||
            !mesh.IsValidFace(spoke->face) || !mesh.IsValidEdge(spoke->next)) {
            return false;
        }
        star.faces[i] = spoke->face;
        star.outer[i] = spoke->next;
        star.ring[i] = mesh.EdgeRecord(spoke->next)->node;
        if (!mesh.IsValidNode(star.ring[i])) {
            return false;
        }
    }
    const auto beyond = [&](std::size_t i) { return mesh.EdgeRecord(star.outer[i] ^ 1)->face; };
    return star.faces[0] != star.faces[1] && star.faces[1] != star.faces[2] &&
           star.faces[0] != star.faces[2] &&
           !(beyond(0) >= 0 && beyond(0) == beyond(1) && beyond(1) == beyond(2));
}

/// Puts one triangle in the place of a star; its face. Refusals, which never happen on a sound
/// mesh, are reported at the two sites, and the rest is done all the same.
template <class Mesh>
int ReplaceStar(Mesh& mesh, int node, const TriangleStar& star, std::vector<int>& corners,
                const AssertSites::AssertSite& removal, const AssertSites::AssertSite& closing)
{
    bool isRemoved = true;
    for (std::size_t i = 0; i < 3; ++i) {
        mesh.RemoveFace(star.faces[i]);
        isRemoved = isRemoved && !mesh.IsValidFace(star.faces[i]);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        // What the removed spoke was linked to has no face now, and is taken over below.
        mesh.RemoveEdge(star.spokes[i]);
        isRemoved = isRemoved && !mesh.IsValidEdge(star.spokes[i]);
    }
    mesh.RemoveNode(node);
    if (!isRemoved || mesh.IsValidNode(node)) {
        AssertSites::Report(removal);
    }
    // The corners whose own half-edge was a spoke get one of the new face.
    corners.assign(star.outer.begin(), star.outer.end());
    const int face = mesh.AddTriangleFromEdges(corners);
    if (face < 0) {
        AssertSites::Report(closing);
    }
    return face;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
