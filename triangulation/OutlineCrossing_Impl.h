// Does an outline cross itself? Stops at the first crossing that it finds.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

struct OutlineCrossing {
    bool isFound = false;
    std::size_t comparisons = 0; ///< pairs of edges that were examined
};

/// Looks for two edges of a closed outline that cross clearly: the lines of both pass between the
/// ends of the other, and none of the four ends is as near to the other's line as `clearance`.
///
/// A sweep that compares neighbors (M. I. Shamos and D. Hoey, "Geometric intersection problems",
/// 1976). Where all crossings of the outline are clear, one is found if there is one. Edges that
/// touch, overlap or cross within the clearance may hide another from it. O(n log n), however often
/// the outline crosses itself. Finite coordinates; the last point need not repeat the first.
OutlineCrossing FindClearCrossing(const std::vector<Vec2d>& outline, double clearance);

} // namespace Velk::Math::Sorvane::Mesh::Impl
