// Steps of the sqrt(3) rule on plain arrays: the triangles of `SubdivisionMesh::Sqrt3Step`, without
// its edits.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// As `LoopOnArrays`, with the steps of the other rule; for at least one step.
bool Sqrt3OnArrays(const Mesh::IndexedPointsBase<3, double>& mesh, double degrees,
                   unsigned iterations, Mesh::IndexedPointsBase<3, double>& fine);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
