// Draws, in the half plane of a tool (r from the axis, z), what a drop on one triangle compares:
// the profile where it comes to rest, the hyperbolas of the edges and the facet's line of steepest
// slope.
//
//   contact_picture > PICTURE.svg

#include "PictureOutput.h"

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/ToolContact_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr double kChord = 1e-3;
/// Beyond it the picture ends.
constexpr double kWidth = 9;

/// The edge from p to q around the axis, point by point.
std::vector<Vec2d> SpunEdge(const Vec3d& p, const Vec3d& q)
{
    std::vector<Vec2d> points;
    constexpr int kSteps = 200;
    for (int i = 0; i <= kSteps; ++i) {
        const Vec3d point = p + (q - p) * (static_cast<double>(i) / kSteps);
        const double r = std::hypot(point.x(), point.y());
        if (r <= kWidth) {
            points.push_back({r, point.z()});
        }
    }
    return points;
}

} // namespace

int main()
{
    const std::array<Vec3d, 3> triangle{Vec3d{1.2, -7, 0.5}, Vec3d{8, -1.5, 4.5}, Vec3d{2, 6, -1}};
    const Mill::ConvexToolContact tool({.tipRadius = 1.5,
                                        .lowerCornerRadius = 3,
                                        .lowerCornerAngle = 1.5707963267948966,
                                        .shankLength = 3});
    const auto report = tool.DropAt({0, 0}, {triangle[0], triangle[1], triangle[2]});

    const Drawing::SvgStyle axis{"#999999", "none", 1, true};
    const Drawing::SvgStyle profile{"#1f4e79", "none", 2.5, false};
    const Drawing::SvgStyle edge{"#b5651d", "none", 1.5, false};
    const Drawing::SvgStyle vertex{"none", "#b5651d", 1.25, false};
    const Drawing::SvgStyle facet{"#2e7d32", "none", 1.5, true};
    const Drawing::SvgStyle contact{"none", "#c62828", 2, false};

    Drawing::SvgWriter picture(560);
    picture.AddPolyline({{0, -2.5}, {0, 7}}, axis);
    std::vector<Vec2d> resting = Planar::Tessellate(tool.Profile(), kChord);
    for (Vec2d& point : resting) {
        point[1] += report.height;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const auto spun = Mill::SpinSegment({0, 0}, triangle[i], triangle[(i + 1) % 3]);
        picture.AddPolyline(SpunEdge(spun.lowPoint, spun.highPoint), edge);
        picture.AddPoints({spun.vertex}, vertex);
    }
    // Uphill of the axis: where a normal of the facet points to in plan.
    Vec3d normal = (triangle[1] - triangle[0]) ^ (triangle[2] - triangle[0]);
    normal = normal * (normal.z() < 0 ? -1.0 : 1.0);
    const double steepness = std::hypot(normal.x(), normal.y());
    const double below = (normal * triangle[0]) / normal.z();
    picture.AddPolyline({{0, below}, {kWidth, below + kWidth * steepness / normal.z()}}, facet);
    picture.AddPolyline(resting, profile);
    picture.AddPoints({report.contact}, contact);
    picture.AddLegend("the profile, where the tool has come to rest", profile);
    picture.AddLegend("the edges, turned around the axis, with their vertices", edge);
    picture.AddLegend("the facet's plane along its steepest line", facet);
    picture.AddLegend("the touch", contact);
    return PrintPicture(picture);
}
