#include "triangulation/CurveOrder_Impl.h"

#include "mathbase/BitSpread_Impl.h"
#include "mathbase/RadixSort_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

template <class Code, class T>
std::vector<CurvePlace<Code>> PlacesAlongCurve(const std::vector<VecBase<2, T>>& points)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr unsigned kBitsPerAxis = std::numeric_limits<Code>::digits / 2;
    constexpr auto kLastCell = static_cast<double>((std::uint64_t{1} << kBitsPerAxis) - 1);
    Vec2d low(kInfinity, kInfinity);
    Vec2d high(-kInfinity, -kInfinity);
    for (const VecBase<2, T>& point : points) {
        const Vec2d p = Math::Impl::Widened(point);
        low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
        high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
    }
    const double extent = std::max(high.x() - low.x(), high.y() - low.y());
    // Each step from a coordinate to its cell keeps the order of coordinates, rounding included:
    // points in different cells are where the cells are.
    const double cellsPerUnit = extent > 0 ? std::min(kLastCell / extent, 1e300) : 0;
    const auto cell = [&](double coordinate, double least) {
        return static_cast<std::uint32_t>(std::min((coordinate - least) * cellsPerUnit, kLastCell));
    };
    std::vector<CurvePlace<Code>> places(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        using Math::Impl::SpreadBits;
        const Vec2d p = Math::Impl::Widened(points[i]);
        const std::uint64_t across = SpreadBits<2>(cell(p.x(), low.x()));
        const std::uint64_t upwards = SpreadBits<2>(cell(p.y(), low.y()));
        places[i] = {static_cast<Code>(across | (upwards << 1U)), static_cast<int>(i)};
    }
    Math::Impl::StableSortByKey(places, [](const CurvePlace<Code>& place) { return place.code; });
    return places;
}

template std::vector<CurvePlace<std::uint32_t>>
PlacesAlongCurve(const std::vector<VecBase<2, double>>&);
template std::vector<CurvePlace<std::uint64_t>>
PlacesAlongCurve(const std::vector<VecBase<2, double>>&);
template std::vector<CurvePlace<std::uint64_t>>
PlacesAlongCurve(const std::vector<VecBase<2, float>>&);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
