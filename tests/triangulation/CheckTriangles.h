// What every triangulation has to be, as checks that name the first fault; empty when there is
// none.
#pragma once

#include "tests/support/Polygons.h"

#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Support {

/// Directed sides of triangles with the number of their uses.
using SideCounts = std::map<std::pair<int, int>, int>;

inline SideCounts CountSides(const std::vector<int>& indices)
{
    SideCounts sides;
    for (std::size_t t = 0; t + 2 < indices.size(); t += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            ++sides[{indices[t + k], indices[t + (k + 1) % 3]}];
        }
    }
    return sides;
}

template <class T>
double TriangleArea(const std::vector<Velk::Math::VecBase<2, T>>& points, const int* corners)
{
    const auto point = [&](int k) {
        const auto& p = points[static_cast<std::size_t>(corners[k])];
        return Velk::Math::Vec2d(p.x(), p.y());
    };
    return 0.5 * ((point(1) - point(0)) ^ (point(2) - point(0)));
}

template <class T>
double SumOfAreas(const std::vector<Velk::Math::VecBase<2, T>>& points,
                  const std::vector<int>& indices)
{
    double sum = 0;
    for (std::size_t t = 0; t + 2 < indices.size(); t += 3) {
        sum += TriangleArea(points, &indices[t]);
    }
    return sum;
}

/// Every index is a point, no triangle is turned over (by more than `slack` of area), no directed
/// side has two users. With a sum of areas that equals the region's and an outline made of the
/// sides with one user, no triangle overlaps another.
template <class T>
std::string CheckTriangles(const std::vector<Velk::Math::VecBase<2, T>>& points,
                           const std::vector<int>& indices, double slack)
{
    std::ostringstream fault;
    if (indices.size() % 3 != 0) {
        return "the number of indices is no multiple of 3";
    }
    for (const int index : indices) {
        if (index < 0 || index >= static_cast<int>(points.size())) {
            fault << "index " << index << " is no point";
            return fault.str();
        }
    }
    for (std::size_t t = 0; t < indices.size(); t += 3) {
        const double area = TriangleArea(points, &indices[t]);
        if (!(area >= -slack)) {
            fault << "triangle " << t / 3 << " has the area " << area;
            return fault.str();
        }
    }
    for (const auto& [side, uses] : CountSides(indices)) {
        if (uses != 1) {
            fault << "side " << side.first << " - " << side.second << " is used " << uses
                  << " times";
            return fault.str();
        }
    }
    return "";
}

/// The triangles of one simple polygon: n - 2 of them, sound, their area the polygon's, their
/// boundary its sides.
template <class T>
std::string CheckPolygonTriangles(const std::vector<Velk::Math::VecBase<2, T>>& polygon,
                                  const std::vector<int>& indices)
{
    const double area = std::fabs(AreaOf(polygon));
    double extent = 0;
    for (const auto& p : polygon) {
        extent = std::max(
            {extent, std::fabs(static_cast<double>(p.x())), std::fabs(static_cast<double>(p.y()))});
    }
    const double rounding = 1e-15 * extent * extent * static_cast<double>(polygon.size());
    std::ostringstream fault;
    if (indices.size() != 3 * (polygon.size() - 2)) {
        fault << indices.size() / 3 << " triangles for " << polygon.size() << " points";
        return fault.str();
    }
    const std::string broken =
        CheckTriangles(polygon, indices, 1e-12 * extent + 1e-15 * extent * extent);
    if (!broken.empty()) {
        return broken;
    }
    const double sum = SumOfAreas(polygon, indices);
    if (!(std::fabs(sum - area) <= rounding + 1e-13 * area)) {
        fault << "area " << sum << " instead of " << area;
        return fault.str();
    }
    const SideCounts sides = CountSides(indices);
    const int count = static_cast<int>(polygon.size());
    const bool isReversed = AreaOf(polygon) < 0;
    for (int i = 0; i < count; ++i) {
        const int j = (i + 1) % count;
        const auto side = isReversed ? std::pair(j, i) : std::pair(i, j);
        const auto back = std::pair(side.second, side.first);
        if (sides.count(side) != 1 || sides.count(back) != 0) {
            fault << "outline side " << i << " is no side of the result";
            return fault.str();
        }
    }
    int inner = 0;
    for (const auto& [side, uses] : sides) {
        inner += sides.count({side.second, side.first}) != 0 ? 1 : 0;
    }
    if (inner != static_cast<int>(indices.size()) - count) {
        return "a diagonal has one triangle only";
    }
    return "";
}

} // namespace Support
