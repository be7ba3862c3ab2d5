// The triangulation of points put into a triangle round all of them.
#pragma once

#include "triangulation/TriangleTable_Impl.h"

#include <array>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Nodes 0 to 2 of a mesh in an outer triangle are its corners.
inline constexpr int kOuterNodes = 3;

/// Is any edge between two points at most that long? The shortest distance of all is that of an
/// edge.
bool HasEdgeWithin(const TriangleTable& table, double length);

/// Gives the triangles outside of the hull the corners of an outer triangle, counter-clockwise,
/// that the hull is strictly within, in place of the node at infinity, and adds the three that are
/// missing. Nodes 0 to 2 then are the outer corners and node i + 3 is point i of the list; the
/// twins along the outer triangle are -1. Positions and the like are as they were. False, with the
/// table spoiled, where the hull's sides can't be dealt to the corners.
bool EncloseInTriangle(TriangleTable& table, const std::array<Vec2d, 3>& outer);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
