// Indexed meshes with a tag for each triangle, into and out of half-edge meshes whose faces carry
// tags.
#pragma once

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "mathbase/Progress_Impl.h"
#include "remesh/SheetsApart_Impl.h"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// `TriangleMesh::LoadIndexedPoints`, which gives each face the tag of its triple; 0 where tags are
/// missing. Bodies in space that touch along edges are taken apart there.
template <class HalfEdgeMesh, class IndexedMesh>
bool LoadTagged(HalfEdgeMesh& mesh, const IndexedMesh& source,
                const std::vector<unsigned char>& tags)
{
    const auto tagFace = [&](int triangle, int face) {
        const auto t = static_cast<std::size_t>(triangle);
        mesh.FaceRecord(face)->tag = t < tags.size() ? tags[t] : static_cast<unsigned char>(0);
    };
    if constexpr (std::is_same_v<std::decay_t<decltype(source.points[0])>, Vec3d>) {
        Mesh::IndexedPointsBase<3, double> apart;
        if (TakeSheetsApart(source.points, source.indices, apart)) {
            return mesh.LoadIndexedPoints(apart.points, apart.indices, tagFace);
        }
    }
    return mesh.LoadIndexedPoints(source.points, source.indices, tagFace);
}

/// `TriangleMesh::ExportIndexedPoints`, welded within the length floor, with the tags of the
/// triangles.
template <class HalfEdgeMesh, class IndexedMesh>
void ExportTagged(const HalfEdgeMesh& mesh, IndexedMesh& out, std::vector<unsigned char>& outTags)
{
    mesh.ExportIndexedPoints(out, kLengthFloor<double>);
    outTags.clear();
    outTags.reserve(out.indices.size() / 3);
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(f));
        if (const auto* face = mesh.FaceRecord(f)) {
            outTags.push_back(face->tag);
        }
    }
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
