// Surfaces that pass through each other's edges, taken apart before half-edges are made of them.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Takes bodies apart that touch along edges: a half-edge mesh has room for two triangles at an
/// edge, and would go without the others.
///
/// Where two triangles or more run an edge either way, as many each way, those with a body between
/// them are one sheet, and every sheet gets a point of its own in place of the common one; the new
/// points stand behind the others. Bodies may be wound to the outside or inside out, also next to
/// each other: which side of the triangles is inside shows on all that have edges in common. Edges
/// whose triangles don't come in such pairs, or lie on each other, stay as they are, and so does an
/// edge at both of whose ends the sheets are connected by other triangles. Triangles given twice
/// count once, triples that are no triangles not at all.
///
/// False, with `apart` as it was, where nothing is to be done. `apart` has the triangles in their
/// order. O(n log n).
bool TakeSheetsApart(const std::vector<Vec3d>& points, const std::vector<int>& indices,
                     Mesh::IndexedPointsBase<3, double>& apart);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
