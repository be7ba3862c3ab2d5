// Loop's steps on plain arrays: the triangles of `SubdivisionMesh::LoopStep`, without its edits.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// What `iterations` steps of `SubdivisionMesh` with the features of `degrees` make of a mesh: the
/// same points, bit for bit, and the same triangles in the same order, not welded yet; points that
/// no triangle uses are left out.
///
/// Only for a mesh of which every triple becomes a face, every node has one fan of faces, and no
/// two triangles have two edges in common. False for others, and `fine` is of no use then.
/// O(result).
bool LoopOnArrays(const Mesh::IndexedPointsBase<3, double>& mesh, double degrees,
                  unsigned iterations, Mesh::IndexedPointsBase<3, double>& fine);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
