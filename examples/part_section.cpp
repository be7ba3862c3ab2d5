// Cuts a part at a height and fills the section with triangles.
//
//   part_section PART HEIGHT|SHARE% [SECTION.svg] [--weld LENGTH]
//
// The height is a coordinate, or a share of the part's height from its bottom. Corners within the
// weld length (1e-6 unless told) of each other are one, and so are corners within it of the height:
// these lie in the plane of the section. Where faces of the part lie in that plane, the section is
// that of what stands on them: what lies just above the height.
//
// What lies within an odd number of outlines is material. Exit codes:
//   0 done
//   1 a file can't be read or written, or nothing lies just above that height
//   2 wrong use
//   3 the section can't be trusted: an outline is open, or the fill has not the area that the
//   outlines
//     enclose. The mesh is not closed there, or it cuts itself.

#include "Arguments.h"
#include "PartFiles.h"
#include "PictureOutput.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshSections_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Vector_E.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;
using Section = Mesh::IndexedPointsBase<2, double>;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
constexpr int kDoubtful = 3;

struct Options {
    std::string part;
    double height = 0;
    bool isShare = false;
    std::string svg;
    double weld = 1e-6;
};

std::optional<Options> ParseOptions(int argc, char** argv)
{
    Options options;
    std::vector<std::string_view> words;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word != "--weld") {
            words.push_back(word);
            continue;
        }
        const auto weld = i + 1 < argc ? LengthOf(argv[++i]) : std::nullopt;
        if (!weld) {
            return std::nullopt;
        }
        options.weld = *weld;
    }
    if (words.size() != 2 && words.size() != 3) {
        return std::nullopt;
    }
    options.isShare = words[1].ends_with('%');
    const auto height = NumberOf(words[1].substr(0, words[1].size() - (options.isShare ? 1 : 0)));
    if (!height) {
        return std::nullopt;
    }
    options.part = words[0];
    options.height = *height;
    options.svg = words.size() == 3 ? words[2] : std::string_view();
    return options;
}

double Area(const Section& section)
{
    double doubled = 0;
    for (std::size_t i = 0; i + 2 < section.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) -> const Vec2d& {
            return section.points[static_cast<std::size_t>(section.indices[i + k])];
        };
        doubled += (corner(1) - corner(0)) ^ (corner(2) - corner(0));
    }
    return doubled / 2;
}

// Filling moves corners by rounding only, which changes the area by rounding times the length of
// the outlines. What is wrong with a section is wrong by whole triangles.
bool AreEqualAreas(double fill, const Mesh::MeshSection& section)
{
    constexpr double kRounding = 1e-9; // of the size of the section
    std::vector<Vec2d> points;
    for (const std::vector<Vec2d>& loop : section.loops) {
        points.insert(points.end(), loop.begin(), loop.end());
    }
    const auto box = Bounding::BoxOfPoints(points);
    const double size = points.empty() ? 0 : Vector::Length(box.max - box.min);
    return std::fabs(fill - section.area) <= kRounding * size * section.length;
}

bool WriteSvg(const Section& fill, const Mesh::MeshSection& section, const std::string& path)
{
    const Drawing::SvgStyle area{"#79b", "#cde", 1};
    const Drawing::SvgStyle closed{"#222", "none", 2};
    const Drawing::SvgStyle open{"#d22", "none", 2};
    Drawing::SvgWriter picture(640);
    picture.AddTriangles(fill, area);
    for (std::vector<Vec2d> loop : section.loops) {
        loop.push_back(loop.front());
        picture.AddPolyline(loop, closed);
    }
    for (const std::vector<Vec2d>& chain : section.chains) {
        picture.AddPolyline(chain, open);
    }
    if (!section.chains.empty()) {
        picture.AddLegend("outlines that do not close", open);
    }
    return SavePicture(picture, path);
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<Options> options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr,
                     "usage: part_section PART HEIGHT|SHARE%% [SECTION.svg] [--weld LENGTH]\n");
        return kWrongUse;
    }
    Part part;
    if (!ReadWeldedPart(part, options->part, options->weld)) {
        return kFailed;
    }
    double height = options->height;
    if (options->isShare) {
        const auto box = Bounding::BoxOfPoints(part.points);
        height = box.min[2] + (box.max[2] - box.min[2]) * height / 100;
    }

    const Mesh::MeshSection section =
        Mesh::MeshSectionAt(part, {0, 0, 1}, height, {Mesh::SectionSide::Above, options->weld});
    if (section.loops.empty() && section.chains.empty()) {
        std::fprintf(stderr, "%s: nothing lies just above height %.17g\n", options->part.c_str(),
                     height);
        return kFailed;
    }
    std::vector<std::vector<Vec2d>> outlines = section.loops;
    outlines.insert(outlines.end(), section.chains.begin(), section.chains.end());
    std::printf("%zu outlines at height %.9g, %zu of them open\n", outlines.size(), height,
                section.chains.size());
    const Section fill = Mesh::TessellateFlatBoundaries(outlines);
    const double area = Area(fill);
    std::printf("%zu triangles, area %.9g\n", fill.indices.size() / 3, area);
    if (!options->svg.empty() && !WriteSvg(fill, section, options->svg)) {
        return kFailed;
    }
    if (!section.chains.empty()) {
        std::fprintf(stderr, "%s: %zu outlines are open, so the section can't be trusted\n",
                     options->part.c_str(), section.chains.size());
        return kDoubtful;
    }
    if (!AreEqualAreas(area, section)) {
        std::fprintf(stderr,
                     "%s: the outlines enclose an area of %.9g and not that of the fill, so the "
                     "section can't be trusted\n",
                     options->part.c_str(), section.area);
        return kDoubtful;
    }
    return kDone;
}
