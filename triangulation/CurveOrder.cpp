#include "triangulation/CurveOrder_Impl.h"

#include "mathbase/BitSpread_Impl.h"
#include "mathbase/RadixSort_Impl.h"

#include <algorithm>
#include <limits>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

std::vector<CurvePlace> PlacesAlongCurve(const std::vector<Vec2d>& points)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kCells = 65535;
    Vec2d low(kInfinity, kInfinity);
    Vec2d high(-kInfinity, -kInfinity);
    for (const Vec2d& p : points) {
        low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
        high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
    }
    const double extent = std::max(high.x() - low.x(), high.y() - low.y());
    // Each step from a coordinate to its cell keeps the order of coordinates, rounding included:
    // points in different cells are where the cells are.
    const double cellsPerUnit = extent > 0 ? std::min(kCells / extent, 1e300) : 0;
    const auto cell = [&](double coordinate, double least) {
        return static_cast<std::uint32_t>(std::min((coordinate - least) * cellsPerUnit, kCells));
    };
    std::vector<CurvePlace> places(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        using Math::Impl::SpreadBits;
        const std::uint64_t across = SpreadBits<2>(cell(points[i].x(), low.x()));
        const std::uint64_t upwards = SpreadBits<2>(cell(points[i].y(), low.y()));
        places[i] = {static_cast<std::uint32_t>(across | (upwards << 1U)), static_cast<int>(i)};
    }
    Math::Impl::StableSortByKey(places, [](const CurvePlace& place) { return place.code; });
    return places;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
