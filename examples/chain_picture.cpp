// Draws a chain of segments and arcs as SVG: the chain itself, a polyline that stays within a
// tolerance of it, and a grid of points, each joined to its nearest point on the chain and colored
// by the side it lies on.
//
//   chain_picture [chain.txt [tolerance [distance ...]]] > picture.svg
//
// With distances the chain and its offsets at these instead, negative ones to the left of travel.
// Without arguments, or with - for the file, a slot with a hook, and a tolerance coarse enough to
// be seen. Exit codes: 0 done, 1 the file can't be read, holds no chain, or the picture can't be
// written, 2 wrong use.

#include "Arguments.h"
#include "TextOutput.h"

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Chain = PolyArcSegBase<double>;

constexpr double kHalfTurn = kPi<double>;

/// Closed, counter-clockwise: flat, rounded end, flat, a notch turning the other way, rounded end.
Chain Slot()
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.AppendSegment({0, 0}, {8, 0});
    chain.AppendArc({8, 2}, {8, 0}, 2 * kHalfTurn);
    chain.AppendSegment({8, 4}, {5.5, 4});
    chain.AppendArc({4, 4}, {5.5, 4}, -1.5 * kHalfTurn);
    chain.AppendSegment({2.5, 4}, {0, 4});
    chain.AppendArc({0, 2}, {0, 4}, 2 * kHalfTurn);
    return chain;
}

void DrawTo(const Geometry::SegBase<double>& segment)
{
    std::printf("L%.6g %.6g ", segment.end.x(), segment.end.y());
}

// By halves: SVG can't draw an arc whose ends are the same point.
void DrawTo(const Geometry::ArcBase<double>& arc)
{
    const double radius = Geometry::Radius(arc);
    for (const auto& half : Geometry::Split(arc, 0.5, true, 1e-12)) {
        const Vec2d end = Geometry::EndPoint(half);
        const bool isLarge = std::fabs(half.length) > kHalfTurn * radius;
        std::printf("A%.6g %.6g 0 %d %d %.6g %.6g ", radius, radius, isLarge ? 1 : 0,
                    arc.length > 0 ? 1 : 0, end.x(), end.y());
    }
}

void DrawChain(const Chain& chain, double width, const char* color)
{
    const Vec2d start = chain.elements.front().StartPoint();
    std::printf("<path fill=\"none\" stroke=\"%s\" stroke-width=\"%.6g\" d=\"M%.6g %.6g ", color,
                width, start.x(), start.y());
    for (const auto& element : chain.elements) {
        element.Visit([](const auto& e) { DrawTo(e); });
    }
    std::printf("\"/>\n");
}

void DrawPolyline(const std::vector<Vec2d>& points, double width)
{
    std::printf("<polyline fill=\"none\" stroke=\"#d1491b\" stroke-width=\"%.6g\" points=\"",
                width);
    for (const Vec2d& p : points) {
        std::printf("%.6g,%.6g ", p.x(), p.y());
    }
    std::printf("\"/>\n");
    for (const Vec2d& p : points) {
        std::printf("<circle cx=\"%.6g\" cy=\"%.6g\" r=\"%.6g\" fill=\"#d1491b\"/>\n", p.x(), p.y(),
                    1.5 * width);
    }
}

void DrawQuery(const Chain& chain, const Vec2d& p, double width)
{
    Vec2d closest;
    const bool isLeft = PointInPolyArcSegSpace(chain, p, true, &closest);
    const char* const color = isLeft ? "#2e8b57" : "#999999";
    std::printf("<path stroke=\"%s\" stroke-width=\"%.6g\" d=\"M%.6g %.6g L%.6g %.6g\"/>"
                "<circle cx=\"%.6g\" cy=\"%.6g\" r=\"%.6g\" fill=\"%s\"/>\n",
                color, 0.5 * width, p.x(), p.y(), closest.x(), closest.y(), p.x(), p.y(),
                1.8 * width, color);
}

/// Lower and upper corner of what the points reach.
struct Frame {
    Vec2d low{1e300, 1e300};
    Vec2d high{-1e300, -1e300};

    void Include(const std::vector<Vec2d>& points)
    {
        for (const Vec2d& p : points) {
            low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
            high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
        }
    }
};

/// The numbers from the third argument on; nothing when one is none.
std::optional<std::set<double>> DistancesOf(int argc, char** argv)
{
    std::set<double> distances;
    for (int i = 3; i < argc; ++i) {
        const std::optional<double> distance = NumberOf(argv[i]);
        if (!distance) {
            return std::nullopt;
        }
        distances.insert(*distance);
    }
    return distances;
}

} // namespace

int main(int argc, char** argv)
{
    const auto tolerance = argc > 2 ? LengthOf(argv[2]) : std::optional(0.1);
    const auto distances = DistancesOf(argc, argv);
    if (!tolerance || *tolerance == 0 || !distances) {
        std::fprintf(stderr, "usage: chain_picture [chain.txt [tolerance [distance ...]]] > "
                             "picture.svg\n");
        return 2;
    }
    const bool isFile = argc > 1 && std::strcmp(argv[1], "-") != 0;
    const Chain chain = isFile ? ReadPolySegArcFromFile(argv[1]) : Slot();
    if (chain.elements.empty()) {
        std::fprintf(stderr, "%s: is no file with a chain in it, or can't be read\n", argv[1]);
        return 1;
    }
    const std::vector<Vec2d> polyline = Tessellate(chain, *tolerance);

    Frame frame;
    frame.Include(polyline);
    std::vector<Chain> offsets;
    constexpr double kLinkTolerance = 1e-6; // for parts of any usual size
    for (const auto& curves : PlanarOffsets(chain, *distances, kLinkTolerance)) {
        for (const Chain& curve : curves) {
            frame.Include(Tessellate(curve, *tolerance));
            offsets.push_back(curve);
        }
    }
    Vec2d low = frame.low;
    Vec2d high = frame.high;
    const double extent = std::max(high.x() - low.x(), high.y() - low.y());
    const double width = 0.004 * extent;
    const Vec2d margin(0.1 * extent, 0.1 * extent);
    low -= margin;
    high += margin;

    // y runs upward in the plane and downward in SVG.
    const Vec2d size = high - low;
    std::printf("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"900\" viewBox=\"%.6g %.6g %.6g "
                "%.6g\">\n<g transform=\"scale(1,-1)\">\n",
                low.x(), -high.y(), size.x(), size.y());
    if (distances->empty()) {
        constexpr int kAcross = 13;
        const double spacing = size.x() / kAcross;
        const int up = static_cast<int>(size.y() / spacing) + 1;
        for (int i = 0; i < kAcross; ++i) {
            for (int j = 0; j < up; ++j) {
                DrawQuery(chain, low + Vec2d(i + 0.5, j + 0.5) * spacing, width);
            }
        }
    }
    for (const Chain& offset : offsets) {
        DrawChain(offset, width, "#2e8b57");
    }
    DrawChain(chain, 2 * width, "#1f4e79");
    if (distances->empty()) {
        DrawPolyline(polyline, width);
    }
    std::printf("</g>\n</svg>\n");
    std::fprintf(stderr, "%zu elements, length %.6g, %s; %zu points within %g\n",
                 chain.elements.size(), PolyArcSegParameters(chain, false).back(),
                 chain.IsClosed() ? "closed" : "open", polyline.size(), *tolerance);
    return FinishStandardOutput();
}
