// What the imprint and the tracer have in common: a path cut into a mesh, and the mesh handed out.
#pragma once

#include "imprint/ImprintableMesh_Impl.h"

#include <Sorvane/IndexedMesh_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

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
