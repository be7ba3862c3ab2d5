// Outlines of real parts: segments and arcs as a drawing lists them.
#pragma once

#include "tests/planar/ChainSupport.h"
#include "tests/support/JsonText.h"

#include <string>
#include <vector>

namespace Support {

inline Vec2d PointOf(const JsonValue& value) { return {value[0].number, value[1].number}; }

/// The elements of one entity. A bulge is the tangent of a quarter of the sweep.
inline std::vector<ArcSegBase<double>> ElementsOf(const JsonValue& entity)
{
    const std::string& kind = entity["kind"].text;
    if (kind == "segment") {
        return {Velk::Math::Geometry::SegBase<double>{PointOf(entity["start"]),
                                                      PointOf(entity["end"])}};
    }
    const Vec2d center = kind == "bulge_polyline" ? Vec2d() : PointOf(entity["center"]);
    if (kind == "arc") {
        return {Velk::Math::Geometry::ArcBase<double>{center, PointOf(entity["start"]),
                                                      entity["arc_length"].number}};
    }
    if (kind == "circle") {
        const double radius = entity["radius"].number;
        return {Velk::Math::Geometry::ArcBase<double>{center, center + Vec2d(radius, 0),
                                                      2 * kHalfTurn * radius}};
    }
    std::vector<ArcSegBase<double>> sides;
    const auto& vertices = entity["vertices"].items;
    for (std::size_t i = 0; i + 1 < vertices.size(); ++i) {
        EXPECT_EQ(vertices[i][2].number, 0.0); // no drawing here has a bulge
        sides.emplace_back(
            Velk::Math::Geometry::SegBase<double>{PointOf(vertices[i]), PointOf(vertices[i + 1])});
    }
    return sides;
}

/// All elements, in the order of the drawing.
inline std::vector<ArcSegBase<double>> ElementsOfDrawing(const JsonValue& drawing)
{
    std::vector<ArcSegBase<double>> elements;
    for (const JsonValue& entity : drawing["entities"].items) {
        const auto more = ElementsOf(entity);
        elements.insert(elements.end(), more.begin(), more.end());
    }
    return elements;
}

} // namespace Support
