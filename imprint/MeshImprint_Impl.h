// What the imprint and the tracer have in common: a path cut into a mesh, and the mesh handed out.
#pragma once

#include "imprint/ImprintableMesh_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "remesh/SheetsApart_Impl.h"

#include <Sorvane/IndexedMesh_E.h>

#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// The mesh, taken in by an imprint or a tracer; one without points when that is stopped. Bodies
/// that touch along edges are taken apart there.
template <class Tag>
std::unique_ptr<ImprintableMesh<Tag>> TakenIn(const IndexedPointsBase<3, double>& mesh,
                                              const std::vector<Tag>& tags, double tolerance)
{
    using Taken = ImprintableMesh<Tag>;
    return Progress::Impl::Stoppable(
        [&] {
            IndexedPointsBase<3, double> apart;
            const bool isApart = HalfEdge::Impl::TakeSheetsApart(mesh.points, mesh.indices, apart);
            const IndexedPointsBase<3, double>& taken = isApart ? apart : mesh;
            return std::make_unique<Taken>(taken.points, taken.indices, tags, tolerance);
        },
        [&] {
            return std::make_unique<Taken>(std::vector<Vec3d>(), std::vector<int>(),
                                           std::vector<Tag>(), tolerance);
        });
}

/// `MeshImprint::ImprintPath` on a mesh of either kind.
template <class Tag>
bool ImprintPath(ImprintableMesh<Tag>& mesh, std::vector<Vec3d>& path, bool closed, bool collect);

/// `MeshImprint::Export`: all live nodes in the order of their slots, all live facets, and 0 for
/// those of paint 1, otherwise 1.
template <class Tag>
void ExportFacets(const ImprintableMesh<Tag>& mesh, IndexedPointsBase<3, double>& out,
                  std::vector<Tag>& flags);

// clang-format off
extern template bool ImprintPath(ImprintableMesh<unsigned char>&, std::vector<Vec3d>&, bool, bool);
extern template bool ImprintPath(ImprintableMesh<unsigned long long>&, std::vector<Vec3d>&, bool, bool);
extern template void ExportFacets(const ImprintableMesh<unsigned char>&, IndexedPointsBase<3, double>&, std::vector<unsigned char>&);
extern template void ExportFacets(const ImprintableMesh<unsigned long long>&, IndexedPointsBase<3, double>&, std::vector<unsigned long long>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh::Impl
