// Points of the plane along a space-filling curve.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A point, by its place in a list, and the code of the cell it lies in: bits of x and y by turns,
/// the lowest one of x.
template <class Code>
struct CurvePlace {
    Code code;
    int point;
};

/// Points in the order of the codes, the Z-order curve (G. M. Morton, 1966) over a square grid over
/// their box; those of a cell in the order of the list. Points in different columns or rows of
/// cells have coordinates in that order. The grid has 2^16 cells a side for codes of 32 bits, which
/// sort faster, and 2^32 for codes of 64 bits. O(n); finite coordinates.
template <class Code, class T>
std::vector<CurvePlace<Code>> PlacesAlongCurve(const std::vector<VecBase<2, T>>& points);

extern template std::vector<CurvePlace<std::uint32_t>>
PlacesAlongCurve(const std::vector<VecBase<2, double>>&);
extern template std::vector<CurvePlace<std::uint64_t>>
PlacesAlongCurve(const std::vector<VecBase<2, double>>&);
extern template std::vector<CurvePlace<std::uint64_t>>
PlacesAlongCurve(const std::vector<VecBase<2, float>>&);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
