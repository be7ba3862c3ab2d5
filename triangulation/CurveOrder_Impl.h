// Points of the plane along a space-filling curve.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A point, by its place in a list, and the code of the cell it lies in: bits of x and y by turns,
/// the lowest one of x.
struct CurvePlace {
    std::uint32_t code;
    int point;
};

/// Points in the order of the codes, the Z-order curve (G. M. Morton, 1966) over a square grid of
/// 2^16 cells a side over their box; those of a cell in the order of the list. Points in different
/// columns or rows of cells have coordinates in that order. O(n); finite coordinates.
std::vector<CurvePlace> PlacesAlongCurve(const std::vector<Vec2d>& points);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
