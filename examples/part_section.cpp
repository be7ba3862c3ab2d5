// Cuts a part at a height and fills the section with triangles.
//
//   part_section part.stl HEIGHT|SHARE% [section.svg]
//
// The height is a coordinate, or a share of the part's height from its bottom.
// Chords of the triangles at that height are linked into outlines; what lies within an odd number
// of them is material. Exit codes: 0 done, 1 a file can't be read or written, or nothing lies at
// that height, 2 wrong use.

#include "StlInput.h"
#include "TextOutput.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;
using Section = Mesh::IndexedPointsBase<2, double>;

// Neighboring triangles cut their common edge in the same point, bit for bit, so chords link
// without a tolerance; a corner that lies at the height itself gives chords of no length, which
// linking drops.
std::vector<std::vector<Vec2d>> OutlinesAtHeight(const Part& part, double height)
{
    std::vector<Geometry::SegBase<double>> chords;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        std::array<Vec3d, 3> corner;
        for (std::size_t k = 0; k < 3; ++k) {
            corner[k] = part.points[static_cast<std::size_t>(part.indices[i + k])];
        }
        std::array<Vec3d, 2> chord;
        if (Mesh::IsoSegmentFromTriangle(corner[0], corner[1], corner[2], corner[0][2],
                                         corner[1][2], corner[2][2], height, chord)) {
            chords.push_back({Vec2d(chord[0][0], chord[0][1]), Vec2d(chord[1][0], chord[1][1])});
        }
    }
    return Vector::SegmentsToPolyPointStream(chords, 0.0);
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

bool WriteSvg(const Section& section, const std::vector<std::vector<Vec2d>>& outlines,
              const char* path)
{
    const TextOutput svg = OpenTextOutput(path);
    if (!svg) {
        return false;
    }
    const auto box = Bounding::BoxOfPoints(section.points);
    const Vec2d extent = box.max - box.min;
    const double stroke = std::max(extent[0], extent[1]) / 600;
    std::fprintf(svg.get(),
                 "<svg xmlns='http://www.w3.org/2000/svg' viewBox='%g %g %g %g' stroke-width='%g' "
                 "stroke-linejoin='round'>\n<g fill='#cde' stroke='#79b'>\n",
                 box.min[0] - 4 * stroke, -box.max[1] - 4 * stroke, extent[0] + 8 * stroke,
                 extent[1] + 8 * stroke, stroke);
    for (std::size_t i = 0; i + 2 < section.indices.size(); i += 3) {
        std::fprintf(svg.get(), "<path d='M");
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec2d& corner = section.points[static_cast<std::size_t>(section.indices[i + k])];
            std::fprintf(svg.get(), "%.7g %.7g ", corner[0], -corner[1]);
        }
        std::fprintf(svg.get(), "z'/>\n");
    }
    std::fprintf(svg.get(), "</g><g fill='none' stroke='#222' stroke-width='%g'>\n", 2 * stroke);
    for (const std::vector<Vec2d>& outline : outlines) {
        std::fprintf(svg.get(), "<polyline points='");
        for (const Vec2d& point : outline) {
            std::fprintf(svg.get(), "%.7g,%.7g ", point[0], -point[1]);
        }
        std::fprintf(svg.get(), "'/>\n");
    }
    std::fprintf(svg.get(), "</g></svg>\n");
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    double height = 0;
    bool isShare = false;
    bool isNumber = false;
    if (argc == 3 || argc == 4) {
        const std::string_view word = argv[2];
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), height);
        const std::string_view rest = word.substr(static_cast<std::size_t>(end - word.data()));
        isShare = rest == "%";
        isNumber = error == std::errc{} && (rest.empty() || isShare);
    }
    if (!isNumber) {
        std::fprintf(stderr, "usage: part_section part.stl HEIGHT|SHARE%% [section.svg]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedStl(part, argv[1], 0.0)) {
        return 1;
    }

    if (isShare) {
        const auto box = Bounding::BoxOfPoints(part.points);
        height = box.min[2] + (box.max[2] - box.min[2]) * height / 100;
    }
    const std::vector<std::vector<Vec2d>> outlines = OutlinesAtHeight(part, height);
    const std::size_t open = static_cast<std::size_t>(
        std::count_if(outlines.begin(), outlines.end(), [](const std::vector<Vec2d>& outline) {
            return !(outline.front() == outline.back());
        }));
    std::printf("%zu outlines at height %g, %zu of them open\n", outlines.size(), height, open);
    const Section section = Mesh::TessellateFlatBoundaries(outlines);
    std::printf("%zu triangles, area %.6g\n", section.indices.size() / 3, Area(section));
    if (section.indices.empty()) {
        return 1;
    }
    return argc < 4 || WriteSvg(section, outlines, argv[3]) ? 0 : 1;
}
