// Directed pairs of node numbers: the directed edges of triangles, what is left of them when opposite
// ones cancel, and the polylines that they chain into.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

/// The directed edges (a, b), (b, c), (c, a) of each triangle (a, b, c), in triangle order: three for
/// each triangle, degenerate ones included. O(n).
SORVANE_API std::vector<std::array<int, 2>>
OrderedPairsFromTriangles(const Mesh::TripleIndexWrapper& triangles);

/// The net directed pairs: each pair (a, b) cancels one pair (b, a), and a pair (a, a) vanishes.
///
/// What is left of two numbers all runs one way, in as many copies as it outnumbers the other way. The
/// result ascends by (smaller number, larger number), as signed numbers. The pairs of a closed and
/// consistently oriented set of triangles leave nothing, those of a patch its directed boundary edges.
/// O(n); n log n for a few.
SORVANE_API std::vector<std::array<int, 2>>
RemoveCancelledPairs(const std::vector<std::array<int, 2>>& pairs);

/// Chains directed pairs head to tail into polylines; the spelling of the name is the exported one.
///
/// Each chain starts at the smallest number that still has an outgoing pair, follows the earliest
/// unused pair out of each number and ends where there is none. It does not stop on coming back to its
/// start while a pair leads on from there: two loops that touch at the start are one chain, and a pair
/// left behind at a junction elsewhere starts a chain of its own later. A closed loop ends with its first
/// number repeated. A pair (a, a) is dropped. Node numbers are non-negative: a negative second number
/// ends its chain and is not listed, and a pair with a negative first number is dropped. Expected O(n).
SORVANE_API std::vector<std::vector<int>>
ConcatenateOderedPairs(const std::vector<std::array<int, 2>>& pairs);

} // namespace Velk::Math::Sorvane::MeshUtils
