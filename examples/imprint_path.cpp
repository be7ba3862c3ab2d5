// Cuts out of a part all that is within a distance of a point along the surface, and writes it.
//
//   imprint_path PART OUT.stl X Y Z RADIUS [PICTURE.svg]
//
// From the point of the part nearest to X Y Z straightest lines run in all directions as far as
// RADIUS; the curve through their ends is imprinted on the part, and the region inside goes to
// OUT.stl. In the picture the region is yellow, the curve red and some of the lines blue. Exit
// codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 there is no such region: behind
// a corner of the part neighboring lines part, and the curve finds no way between their ends.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"

#include <Sorvane/MeshImprint_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>
#include <vector>

namespace {

using namespace PartDrawing;
using Path = std::vector<Vec3d>;

constexpr double kTolerance = 1e-7; // of the radius: rounding, and no more
constexpr int kLines = 360;         // of which every 24th is drawn

/// Straightest lines of one length from the point of the part nearest to `point`.
std::vector<Path> LinesAround(const Part& part, const Vec3d& point, double length, double tolerance)
{
    const Tree::QOFTriangleTree<3, double> tree(part.points, part.indices);
    const auto nearest = tree.ClosestPoint(point, 1e100);
    std::vector<Path> lines;
    if (nearest.id < 0) {
        return lines;
    }
    const auto corner = 3 * static_cast<unsigned>(nearest.id);
    const Vec3d& a = CornerOf(part, corner);
    const Vec3d& b = CornerOf(part, corner + 1);
    const Vec3d& c = CornerOf(part, corner + 2);
    const TransformBase<3> frame = Transform::BuildTransformThreePoints(a, b, c);
    // A little inside the triangle: at a corner of the part not all directions lead along it.
    const Vec3d start = nearest.point * 0.999 + (a + b + c) * (0.001 / 3);
    Mesh::MeshTracer tracer(part, tolerance);
    for (int i = 0; i < kLines; ++i) {
        const double angle = kTwoPi<double> * i / kLines;
        const Vec3d ahead = frame * Vec3d(std::cos(angle), std::sin(angle), 0);
        lines.push_back(tracer.CollectPath(start, ahead - a, length));
    }
    return lines;
}

using Place = std::array<double, 3>;
using StyleOfEdge = std::map<std::pair<Place, Place>, int>;

Place PlaceOf(const Vec3d& p) { return {p[0], p[1], p[2]}; }

void AddPath(const Path& path, int style, StyleOfEdge& styles)
{
    for (std::size_t i = 1; i < path.size(); ++i) {
        styles[std::minmax(PlaceOf(path[i - 1]), PlaceOf(path[i]))] = style;
    }
}

bool DrawPicture(Mesh::MeshImprint& imprint, const Path& curve, const std::vector<Path>& lines,
                 const char* path)
{
    // The lines are imprinted, too, after the painting: pieces keep the color of their triangle.
    std::vector<Path> drawn;
    for (std::size_t i = 0; i < lines.size(); i += 24) {
        drawn.push_back(lines[i]);
        imprint.ImprintPath(drawn.back(), false, true);
    }
    Part mesh;
    std::vector<unsigned char> flags;
    imprint.Export(mesh, flags);
    SvgMeshMarks marks;
    marks.styles = {{"#fc6", "#fc6", 0.5}, {"#d22", "none", 2}, {"#06c", "none", 1.2}};
    for (const unsigned char flag : flags) {
        marks.triangles.push_back(flag == 0 ? 0 : -1);
    }
    StyleOfEdge styles;
    for (const Path& line : drawn) {
        AddPath(line, 2, styles);
    }
    AddPath(curve, 1, styles);
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const Vec3d& from = CornerOf(mesh, i);
        const Vec3d& to = CornerOf(mesh, i % 3 == 2 ? i - 2 : i + 1);
        const auto found = styles.find(std::minmax(PlaceOf(from), PlaceOf(to)));
        if (found != styles.end()) {
            marks.lines.push_back({static_cast<int>(i / 3), from, to, found->second});
        }
    }
    SvgWriter picture(kPictureSize);
    picture.AddMesh(mesh, kView, FacetStyle(), marks);
    picture.AddLegend("imprinted curve", marks.styles[1]);
    picture.AddLegend("straightest lines", marks.styles[2]);
    return SavePicture(picture, path);
}

} // namespace

int main(int argc, char** argv)
{
    std::array<double, 4> numbers{};
    bool isUsed = argc == 7 || argc == 8;
    for (std::size_t i = 0; isUsed && i < numbers.size(); ++i) {
        const std::optional<double> number = NumberOf(argv[3 + i]);
        isUsed = number.has_value() && (i < 3 || *number > 0);
        numbers[i] = number.value_or(0);
    }
    if (!isUsed) {
        std::fprintf(stderr, "usage: imprint_path PART OUT.stl X Y Z RADIUS [PICTURE.svg]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const double tolerance = kTolerance * numbers[3];
    const std::vector<Path> lines =
        LinesAround(part, {numbers[0], numbers[1], numbers[2]}, numbers[3], tolerance);
    Path curve;
    for (const Path& line : lines) {
        curve.push_back(line.back());
    }
    Mesh::MeshImprint imprint(part, tolerance);
    const bool isRegion = imprint.ImprintPath(curve, true, true) && imprint.PaintInsideOutside();
    Part inside;
    if (!imprint.Export(inside, true) || !isRegion) {
        std::fprintf(stderr, "%s: the curve does not bound a region\n", argv[1]);
        return 3;
    }
    const auto areas = Mesh::Areas(inside);
    std::printf("curve of %zu edges, %zu triangles inside, area %.9g\n", curve.size() - 1,
                areas.size(), std::accumulate(areas.begin(), areas.end(), 0.0));
    const auto written = MeshUtils::WriteMesh(inside, argv[2], MeshUtils::MeshFileForm::BinaryStl);
    return Tell(written, argv[2]) && (argc == 7 || DrawPicture(imprint, curve, lines, argv[7])) ? 0
                                                                                                : 1;
}
