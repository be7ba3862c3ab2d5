// The findings of a mesh report to look at: as a picture (SVG) and as a mesh (STL).

#include "ReportPictures.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

using namespace Velk::Math;
using Sorvane::Drawing::SvgStyle;
using Sorvane::Drawing::SvgView;
using Sorvane::Drawing::SvgWriter;

namespace {

/// Above so many triangles a picture shows the faults only.
constexpr std::size_t kMostTrianglesDrawn = 40'000;
constexpr double kPictureSize = 820;

constexpr const char* kTurnedColor = "#f28e1c";
constexpr const char* kFoldedColor = "#8e44ad";
constexpr const char* kSliverColor = "#e6007e";
constexpr const char* kBoundaryColor = "#0057d9";
constexpr const char* kCrowdedColor = "#d60000";

bool IsFinite(const Vec3d& p)
{
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

/// From the front right, 30 degrees above the horizon.
const SvgView kView{{0.43301270189221935, -0.75, 0.5}, {0, 0, 1}};

/// The part in gray, seen from behind first and darker, so that what is open can be looked into.
void AddPart(const Findings& findings, SvgWriter& picture)
{
    if (findings.mesh.indices.size() / 3 > kMostTrianglesDrawn) {
        return;
    }
    auto behind = findings.mesh;
    for (std::size_t i = 0; i + 2 < behind.indices.size(); i += 3) {
        std::swap(behind.indices[i], behind.indices[i + 1]);
    }
    picture.AddMesh(behind, kView, {"#8a8f98", "#a0a0a6", 0.4});
    picture.AddMesh(findings.mesh, kView, {"#8a8f98", "#f5f5fb", 0.4});
}

void AddTriangles(const Findings& findings, const std::vector<int>& triangles,
                  const SvgStyle& style, SvgWriter& picture)
{
    Sorvane::Mesh::IndexedPointsBase<2, double> seen;
    for (const int t : triangles) {
        for (int k = 0; k < 3; ++k) {
            seen.indices.push_back(static_cast<int>(seen.points.size()));
            seen.points.push_back(
                SvgWriter::Projected(findings.Point(findings.Corners(t)[k]), kView));
        }
    }
    picture.AddTriangles(seen, style);
}

void AddEdges(const Findings& findings, const std::vector<Findings::Edge>& edges,
              const SvgStyle& style, SvgWriter& picture)
{
    for (const auto& [a, b] : edges) {
        const Vec3d& from = findings.Point(a);
        const Vec3d& to = findings.Point(b);
        if (IsFinite(from) && IsFinite(to)) {
            picture.AddPolyline(
                {SvgWriter::Projected(from, kView), SvgWriter::Projected(to, kView)}, style);
        }
    }
}

/// Triangles by value, for a file.
struct LooseMesh : Sorvane::Mesh::IndexedPointsBase<3, double> {
    void Add(const Vec3d& a, const Vec3d& b, const Vec3d& c)
    {
        for (const Vec3d& p : {a, b, c}) {
            indices.push_back(static_cast<int>(points.size()));
            points.push_back(p);
        }
    }

    /// A prism of three faces along a-b, open at the ends.
    void AddRod(const Vec3d& a, const Vec3d& b, double radius)
    {
        const Vec3d along = Normalized(b - a, 0.0);
        const Vec3d any = std::fabs(along.x()) < 0.6 ? Vec3d(1, 0, 0) : Vec3d(0, 1, 0);
        const Vec3d across = Normalized(along ^ any, 0.0);
        const Vec3d upward = along ^ across;
        std::array<Vec3d, 3> spokes;
        for (int i = 0; i < 3; ++i) {
            const double angle = kTwoPi<double> * i / 3;
            spokes[static_cast<std::size_t>(i)] =
                radius * (std::cos(angle) * across + std::sin(angle) * upward);
        }
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3d& s = spokes[i];
            const Vec3d& t = spokes[(i + 1) % 3];
            Add(a + s, a + t, b + t);
            Add(a + s, b + t, b + s);
        }
    }
};

} // namespace

std::array<Vec3d, 2> Findings::Box() const
{
    constexpr double kMax = std::numeric_limits<double>::max();
    std::array<Vec3d, 2> box{Vec3d(kMax, kMax, kMax), Vec3d(-kMax, -kMax, -kMax)};
    for (const Vec3d& p : mesh.points) {
        for (int axis = 0; IsFinite(p) && axis < 3; ++axis) {
            box[0][axis] = std::min(box[0][axis], p[axis]);
            box[1][axis] = std::max(box[1][axis], p[axis]);
        }
    }
    return box[0].x() <= box[1].x() ? box : std::array<Vec3d, 2>{};
}

SvgWriter PictureOf(const Findings& findings, const std::string& title)
{
    const auto area = [](const char* color, double width) {
        return SvgStyle{color, color, width, false, 0.45};
    };
    const auto line = [](const char* color) { return SvgStyle{color, "none", 3.5}; };
    SvgWriter picture(kPictureSize);
    picture.SetTitle(title);
    AddPart(findings, picture);
    AddTriangles(findings, findings.turned, area(kTurnedColor, 1.2), picture);
    AddTriangles(findings, findings.folded, area(kFoldedColor, 1.2), picture);
    AddTriangles(findings, findings.slivers, area(kSliverColor, 3), picture);
    AddEdges(findings, findings.boundaryEdges, line(kBoundaryColor), picture);
    AddEdges(findings, findings.crowdedEdges, line(kCrowdedColor), picture);
    const auto tell = [&](const char* words, std::size_t count, const SvgStyle& style) {
        picture.AddLegend(words + (": " + std::to_string(count)), style);
    };
    tell("open edges", findings.boundaryEdges.size(), line(kBoundaryColor));
    tell("edges shared by three or more triangles", findings.crowdedEdges.size(),
         line(kCrowdedColor));
    tell("triangles wound against a neighbor", findings.turned.size(), area(kTurnedColor, 1.2));
    tell("slivers", findings.slivers.size(), area(kSliverColor, 3));
    tell("folded triangles", findings.folded.size(), area(kFoldedColor, 1.2));
    return picture;
}

Sorvane::Mesh::IndexedPointsBase<3, double> FaultMesh(const Findings& findings)
{
    const auto [low, high] = findings.Box();
    const double radius = 0.003 * Length(high - low);
    LooseMesh faults;
    for (const auto* list : {&findings.turned, &findings.folded}) {
        for (const int t : *list) {
            const int* const corner = findings.Corners(t);
            faults.Add(findings.Point(corner[0]), findings.Point(corner[1]),
                       findings.Point(corner[2]));
        }
    }
    for (const auto* list : {&findings.boundaryEdges, &findings.crowdedEdges}) {
        for (const auto& [a, b] : *list) {
            faults.AddRod(findings.Point(a), findings.Point(b), radius);
        }
    }
    for (const int t : findings.slivers) {
        const int* const corner = findings.Corners(t);
        for (int k = 0; k < 3; ++k) {
            faults.AddRod(findings.Point(corner[k]), findings.Point(corner[(k + 1) % 3]), radius);
        }
    }
    return faults;
}
