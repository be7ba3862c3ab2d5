// Draws one of each thing that a picture can hold: a chain with arcs, a region with a hole, a
// triangulation, a mesh in a view with lines on it, points, labels and a legend.
//
//   svg_sampler > drawing.svg

#include "PictureOutput.h"

#include <Sorvane/ArcSegChain_E.h>
#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgStyle;

constexpr double kHalfTurn = kPi<double>;

std::vector<Vec2d> Ring(const Vec2d& center, double radius, int corners)
{
    std::vector<Vec2d> ring;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2 * kHalfTurn * i / corners;
        ring.push_back(center + Vec2d(std::cos(angle), std::sin(angle)) * radius);
    }
    return ring;
}

/// A rounded bar with a hollow.
Planar::PolyArcSegBase<double> Chain()
{
    Planar::PolyArcSegBase<double> chain;
    chain.tolerance = 1e-9;
    chain.AppendSegment({0, 0}, {6, 0});
    chain.AppendArc({6, 1.5}, {6, 0}, 1.5 * kHalfTurn);
    chain.AppendSegment({6, 3}, {4.5, 3});
    chain.AppendArc({3, 3}, {4.5, 3}, -1.5 * kHalfTurn);
    chain.AppendSegment({1.5, 3}, {0, 3});
    chain.AppendArc({0, 1.5}, {0, 3}, 1.5 * kHalfTurn);
    return chain;
}

/// The hull of a nut: two rings of corners.
Mesh::IndexedPointsBase<3, double> Nut()
{
    std::vector<Vec3d> points;
    for (const double z : {0.0, 1.2}) {
        for (const Vec2d& p : Ring({0, 0}, 2, 6)) {
            points.push_back({p.x(), p.y(), z});
        }
        for (const Vec2d& p : Ring({0, 0}, 1.7, 24)) {
            points.push_back({p.x(), p.y(), z < 0.5 ? -0.2 : 1.4});
        }
    }
    Mesh::IndexedPointsBase<3, double> nut;
    Bounding::ConvexHull(points, nut.points, nut.indices, false, false);
    return nut;
}

} // namespace

int main()
{
    const SvgStyle outline{"#d1491b", "none", 3};
    const SvgStyle inside{"#1f4e79", "#d9e6f2", 1.5};
    const SvgStyle triangles{"#5b84ad", "none", 0.8};
    const SvgStyle points{"#222222", "#222222", 1.8};
    const SvgStyle dashed{"#2e8b57", "none", 1.5, true};
    const SvgStyle text{"#222222", "none", 1};

    Drawing::SvgWriter picture(800);
    picture.SetTitle("What a picture can hold");

    picture.AddChain(Chain(), outline);
    picture.AddLabel({0.2, 0.1}, "chain", text);

    const std::vector<Vec2d> plate{{9, 0}, {14, 0}, {14, 3}, {9, 3}};
    const std::vector<Vec2d> hole = Ring({11.5, 1.5}, 1, 24);
    picture.AddRegion({plate, hole}, inside);
    picture.AddLabel({9.1, 0.1}, "region", text);

    const std::vector<Vec2d> ring = Ring({18, 1.5}, 2, 16);
    const std::vector<std::vector<Vec2d>> rings{ring, Ring({18, 1.5}, 0.8, 9)};
    picture.AddTriangles(Mesh::TessellateFlatBoundaries(rings), triangles);
    picture.AddPoints(ring, points);
    picture.AddPolyline({{18, 1.5}, {20, 1.5}}, dashed);
    picture.AddLabel({18.9, 1.5}, "r = 2", text);

    const auto nut = Nut();
    Drawing::SvgView view{{1, -2, 1.5}, {0, 0, 1}, {23.5, 1}};
    Drawing::SvgMeshMarks marks;
    marks.styles = {{"#3b4252", "none", 1.2}};
    const std::vector<double> creases = Mesh::CreaseAngles(nut, false);
    for (std::size_t i = 0; i < creases.size(); ++i) {
        if (creases[i] > 0.2) {
            const auto corner = [&](std::size_t place) {
                return nut.points[static_cast<std::size_t>(nut.indices[place])];
            };
            marks.lines.push_back(
                {static_cast<int>(i / 3), corner(i), corner(i % 3 == 2 ? i - 2 : i + 1), 0});
        }
    }
    picture.AddMesh(nut, view, {"#e8ecf2", "#e8ecf2", 0.5}, marks);
    picture.AddLabel(Drawing::SvgWriter::Projected({0, 0, 1.4}, view), "top", text);

    picture.AddLegend("segments and arcs of a chain", outline);
    picture.AddLegend("region with a hole", inside);
    picture.AddLegend("triangulation", triangles);
    picture.AddLegend("points", points);
    picture.AddLegend("dashed line", dashed);
    return PrintPicture(picture);
}
