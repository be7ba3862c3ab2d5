// Where a tool stands that touches a surface at given points: positions along the section of a wavy
// floor, for a ball, a bull nose and a tapered tool of the same width.
//
//   tool_positions > picture.svg
//
// The surface is a cylinder over the section, so that its normals lie in the picture. Exit codes: 0
// done, 1 the picture can't be written, 2 wrong use.

#include "PictureOutput.h"

#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/ToolOffset_E.h>
#include <Sorvane/Tools_E.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Tool = Mill::ConvexStandardToolBase<double>;

constexpr double kQuarterTurn = 1.5707963267948966;
constexpr double kLength = 60;

double Height(double x) { return 3 * std::sin(x / 7); }

/// Upward unit normal of the surface.
Vec3d NormalAt(double x)
{
    const double slope = 3.0 / 7 * std::cos(x / 7);
    const double length = std::hypot(slope, 1);
    return {-slope / length, 0, 1 / length};
}

/// Outline of the tool's section, both halves, its tip at `tip`.
std::vector<Vec2d> SectionAt(const Tool& tool, const Vec3d& tip)
{
    const std::vector<Vec2d> half = Planar::ToPolyline(tool, 0.01).points;
    std::vector<Vec2d> section;
    for (auto point = half.rbegin(); point != half.rend(); ++point) {
        section.emplace_back(tip.x() - point->x(), tip.z() + point->y());
    }
    for (const Vec2d& point : half) {
        section.emplace_back(tip.x() + point.x(), tip.z() + point.y());
    }
    return section;
}

} // namespace

int main(int argc, char**)
{
    if (argc > 1) {
        std::fprintf(stderr, "usage: tool_positions > picture.svg\n");
        return 2;
    }
    struct Kind {
        Tool tool;
        const char* name;
        const char* color;
    };
    const std::array<Kind, 3> kinds{{{{0, 3, kQuarterTurn, 0, 0, 0, 4}, "ball", "#d1491b"},
                                     {{1.8, 1.2, kQuarterTurn, 0, 0, 0, 6}, "bull nose", "#1f4e79"},
                                     {{0, 1, kQuarterTurn, 6, 0.25, 0, 0}, "tapered", "#3a7d44"}}};
    Drawing::SvgWriter picture(900);
    std::vector<Vec2d> floor;
    for (int i = 0; i <= 600; ++i) {
        const double x = kLength * i / 600;
        floor.emplace_back(x, Height(x));
    }
    picture.AddPolyline(floor, {"#222222", "none", 2, false});

    std::vector<Vec2d> contacts;
    for (std::size_t k = 0; k < kinds.size(); ++k) {
        const Kind& kind = kinds[k];
        const Mill::ConvexToolOffset offset(kind.tool);
        const Drawing::SvgStyle outline{kind.color, "none", 1.5, false};
        std::vector<Vec2d> tips;
        for (int i = 0; i <= 300; ++i) {
            const double x = kLength * i / 300;
            const Vec3d tip = offset.TipFrom({x, 0, Height(x)}, NormalAt(x));
            tips.emplace_back(tip.x(), tip.z());
        }
        picture.AddPolyline(tips, {kind.color, "none", 1, true});
        for (std::size_t i = k; i < 9; i += kinds.size()) {
            const double x = 5 + 6.2 * static_cast<double>(i);
            contacts.emplace_back(x, Height(x));
            const Vec3d tip = offset.TipFrom({x, 0, Height(x)}, NormalAt(x));
            picture.AddPolyline(SectionAt(kind.tool, tip), outline);
        }
        picture.AddLegend(kind.name, outline);
    }
    const Drawing::SvgStyle contactStyle{"#222222", "#222222", 2, false};
    picture.AddPoints(contacts, contactStyle);
    picture.AddLegend("where the tools touch", contactStyle);
    return PrintPicture(picture);
}
