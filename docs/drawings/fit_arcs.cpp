// Turns a dense polyline into segments and arcs, and draws both: the points that came in, and the
// elements that came out.
//
//   fit_arcs [points.txt [tolerance]] > picture.svg
//
// The file holds two numbers to a line. Without arguments the outline of a lever. Exit codes: 0
// done, 1 the file can't be read, holds no polyline, or the picture can't be written, 2 wrong use.

#include "Arguments.h"
#include "PictureOutput.h"
#include "PointsFile.h"

#include <Sorvane/ArcFitting_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Geometry_E.h>

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Chain = Planar::PolyArcSegBase<double>;
using Points = std::vector<Vec2d>;

/// A lever of two round ends with a hollow back, as points whose chords leave its arcs by 0.02.
Points Lever()
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.AppendSegment({0, -3}, {20, -2});
    const auto append = [&](const Vec2d& through, const Vec2d& to) {
        const Vec2d from = chain.elements.back().EndPoint();
        const auto arc = Geometry::ArcThroughPoints(from, through, to);
        chain.AppendArc(arc.center, from, arc.length);
    };
    append({22, 0}, {20, 2});
    chain.AppendSegment(chain.elements.back().EndPoint(), {18, 2.1});
    append({11, 1}, {4, 2.4});
    append({0, 4.5}, {-4, 2});
    append({-4.6, 0}, {-4, -2});
    append({-2.3, -2.9}, {0, -3});
    return Planar::Tessellate(chain, 0.02);
}

} // namespace

int main(int argc, char** argv)
{
    const auto tolerance = argc > 2 ? LengthOf(argv[2]) : std::optional(0.03);
    if (argc > 3 || !tolerance || *tolerance == 0) {
        std::fprintf(stderr, "usage: fit_arcs [points.txt [tolerance]] > picture.svg\n");
        return 2;
    }
    const Points points = argc > 1 ? PointsOfFile(argv[1]) : Lever();
    if (points.size() < 2) {
        std::fprintf(stderr, "%s: holds no polyline, or can't be read\n", argv[1]);
        return 1;
    }
    const Chain chain = Planar::FilterArcsAndSegs(points, *tolerance);

    const Drawing::SvgStyle arcStyle{"#d1491b", "none", 3};
    const Drawing::SvgStyle segmentStyle{"#1f4e79", "none", 3};
    const Drawing::SvgStyle jointStyle{"#222222", "#222222", 2};
    const Drawing::SvgStyle pointStyle{"#888888", "#888888", 1.2};
    Drawing::SvgWriter picture(800);
    std::size_t arcs = 0;
    std::size_t segments = 0;
    Points joints;
    for (const auto& element : chain.elements) {
        const bool isArc = element.AsArc() != nullptr;
        Chain one;
        one.elements = {element};
        picture.AddChain(one, isArc ? arcStyle : segmentStyle);
        joints.push_back(element.StartPoint());
        joints.push_back(element.EndPoint());
        ++(isArc ? arcs : segments);
    }
    picture.AddPoints(points, pointStyle);
    picture.AddPoints(joints, jointStyle);
    picture.AddLegend(std::to_string(points.size()) + " points in", pointStyle);
    picture.AddLegend(std::to_string(segments) + " segments out", segmentStyle);
    picture.AddLegend(std::to_string(arcs) + " arcs out", arcStyle);
    std::fprintf(stderr, "%zu points, %zu segments, %zu arcs within %g\n", points.size(), segments,
                 arcs, *tolerance);
    return PrintPicture(picture);
}
