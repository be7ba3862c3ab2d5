// Turns a drawn or scanned outline into a milling tool, and draws both.
//
//   fit_tool [outline.txt [tolerance]] > picture.svg
//
// The file holds two numbers to a line, radius and height, from the tip on the axis outward and
// upward. Without arguments the outline is a scan of a tapered tool with noise. The tool's fields
// and deviations are told on the error output. Exit codes: 0 done, 1 the file can't be read, holds
// no outline, or the picture can't be written, 2 wrong use.

#include "Arguments.h"
#include "PictureOutput.h"
#include "PointsFile.h"

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/Tools_E.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Points = std::vector<Vec2d>;

/// The profile of a tool, points 0.15 apart and up to 0.03 off, as a simple generator of numbers
/// has it.
Points Scan()
{
    const Mill::ConvexStandardToolBase<double> tool{2, 1.5, 1.5707963267948966, 5, 0.4, 3, 6};
    const Points profile = Planar::ToPolyline(tool, 1e-4).points;
    std::uint32_t state = 12345;
    const auto noise = [&state] {
        state = state * 1664525U + 1013904223U;
        return 0.06 * (static_cast<double>(state) / 4294967296.0 - 0.5);
    };
    Points points;
    double left = 0;
    for (std::size_t i = 1; i < profile.size(); ++i) {
        const Vec2d step = profile[i] - profile[i - 1];
        const double length = std::hypot(step.x(), step.y());
        for (; left < length; left += 0.15) {
            points.push_back(profile[i - 1] + step * (left / length) + Vec2d{noise(), noise()});
        }
        left -= length;
    }
    points.push_back(profile.back());
    return points;
}

/// Lower corner of the points' box, where the tool's tip stands.
Vec2d LowCorner(const Points& points)
{
    Vec2d low = points.front();
    for (const Vec2d& point : points) {
        low = {std::fmin(low.x(), point.x()), std::fmin(low.y(), point.y())};
    }
    return low;
}

} // namespace

int main(int argc, char** argv)
{
    const auto tolerance = argc > 2 ? LengthOf(argv[2]) : std::optional(0.05);
    if (argc > 3 || !tolerance || *tolerance == 0) {
        std::fprintf(stderr, "usage: fit_tool [outline.txt [tolerance]] > picture.svg\n");
        return 2;
    }
    Points points = argc > 1 ? PointsOfFile(argv[1]) : Scan();
    if (points.size() < 2) {
        std::fprintf(stderr, "%s: holds no outline, or can't be read\n", argv[1]);
        return 1;
    }
    const auto report = Mill::ConvexToolFromPolyline(points, *tolerance);
    const auto& tool = report.tool;
    std::fprintf(stderr,
                 "tip radius %.4f\nlower corner radius %.4f, angle %.4f\n"
                 "taper height %.4f, angle %.4f\nupper corner radius %.4f\nshank length %.4f\n"
                 "off the hull by %.4f, off the points by %.4f, %.4f on the average\n",
                 tool.tipRadius, tool.lowerCornerRadius, tool.lowerCornerAngle, tool.taperHeight,
                 tool.taperAngle, tool.upperCornerRadius, tool.shankLength, report.hullDeviation,
                 report.pointDeviation, report.meanDeviation);

    const Vec2d low = LowCorner(points);
    for (Vec2d& point : points) {
        point -= low;
    }
    const Drawing::SvgStyle arcStyle{"#d1491b", "none", 3, false};
    const Drawing::SvgStyle segmentStyle{"#1f4e79", "none", 3, false};
    const Drawing::SvgStyle pointStyle{"#888888", "#888888", 1.5, false};
    const Drawing::SvgStyle jointStyle{"#222222", "#222222", 2, false};
    Drawing::SvgWriter picture(520);
    picture.AddPoints(points, pointStyle);
    const auto profile = Mill::PolyArcSegFromTool(tool);
    for (const auto& element : profile.elements) {
        Planar::PolyArcSegBase<double> one;
        one.elements = {element};
        picture.AddChain(one, element.AsArc() != nullptr ? arcStyle : segmentStyle);
        picture.AddPoints({element.StartPoint(), element.EndPoint()}, jointStyle);
    }
    picture.AddLegend(std::to_string(points.size()) + " points in", pointStyle);
    picture.AddLegend("flat, cone and shank", segmentStyle);
    picture.AddLegend("lower and upper corner", arcStyle);
    return PrintPicture(picture);
}
