// Cuts a part at a height and fills the section with triangles.
//
//   part_section PART HEIGHT|SHARE% [SECTION.svg] [--weld LENGTH]
//
// The height is a coordinate, or a share of the part's height from its bottom. Corners within the
// weld length (1e-6 unless told) of each other are one, and so are corners within it of the height:
// these lie in the plane of the section. Where faces of the part lie in that plane, the section is
// that of what stands on them: what lies just above the height.
//
// Chords of the triangles at that height are linked into outlines; what lies within an odd number
// of them is material. Exit codes:
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
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;
using Section = Mesh::IndexedPointsBase<2, double>;
using Chord = Geometry::SegBase<double>;

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

// Chords of triangles whose normals point outward have the material on their left. Where a face
// lies in the plane, or two triangles stand on one edge in it, chords run along each other's in
// opposite directions: there is nothing between them, and they cancel. What remains is kept as
// often as it occurs.
class ChordSet {
public:
    void Add(const Vec2d& start, const Vec2d& end)
    {
        const std::array<double, 2> from{start[0], start[1]};
        const std::array<double, 2> to{end[0], end[1]};
        if (from < to) {
            ++balance_[{from, to}];
        } else if (to < from) {
            --balance_[{to, from}];
        }
    }

    std::vector<Chord> Remaining() const
    {
        std::vector<Chord> chords;
        for (const auto& [ends, balance] : balance_) {
            const Vec2d low(ends.first[0], ends.first[1]);
            const Vec2d high(ends.second[0], ends.second[1]);
            const Chord chord = balance > 0 ? Chord{low, high} : Chord{high, low};
            chords.insert(chords.end(), static_cast<std::size_t>(std::abs(balance)), chord);
        }
        return chords;
    }

private:
    std::map<std::pair<std::array<double, 2>, std::array<double, 2>>, int> balance_;
};

// Neighboring triangles cut their common edge in the same point, bit for bit, so chords link
// without a tolerance. A corner within `tolerance` of the height counts as lying at it, and as
// being below what lies above: a triangle with two such corners gives their edge as its chord, and
// one that lies in the plane gives none.
std::vector<Chord> ChordsAtHeight(const Part& part, double height, double tolerance)
{
    ChordSet chords;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        std::array<Vec3d, 3> corner;
        std::array<double, 3> above;
        for (std::size_t k = 0; k < 3; ++k) {
            corner[k] = part.points[static_cast<std::size_t>(part.indices[i + k])];
            above[k] = corner[k][2] - height;
            above[k] = std::fabs(above[k]) <= tolerance ? 0.0 : above[k];
        }
        std::array<Vec3d, 2> chord;
        if (Mesh::IsoSegmentFromTriangle(corner[0], corner[1], corner[2], above[0], above[1],
                                         above[2], 0.0, chord)) {
            chords.Add(Vec2d(chord[0][0], chord[0][1]), Vec2d(chord[1][0], chord[1][1]));
        }
    }
    return chords.Remaining();
}

// Do as many chords begin as end at each point? They do where all triangles run alike.
bool RunHeadToTail(const std::vector<Chord>& chords)
{
    std::map<std::pair<double, double>, int> balance;
    for (const Chord& chord : chords) {
        ++balance[{chord.start[0], chord.start[1]}];
        --balance[{chord.end[0], chord.end[1]}];
    }
    return std::all_of(balance.begin(), balance.end(),
                       [](const auto& point) { return point.second == 0; });
}

// The area on the left of the chords. Where they run head to tail they need not be linked for that;
// where some triangles are turned it is that of the outlines as they were linked. Relative to one
// of their points, so that no digits are lost far from the origin.
double EnclosedArea(const std::vector<Chord>& chords,
                    const std::vector<std::vector<Vec2d>>& outlines)
{
    const Vec2d origin = chords.front().start;
    double doubled = 0;
    if (RunHeadToTail(chords)) {
        for (const Chord& chord : chords) {
            doubled += (chord.start - origin) ^ (chord.end - origin);
        }
        return doubled / 2;
    }
    for (const std::vector<Vec2d>& outline : outlines) {
        for (std::size_t i = 1; i < outline.size(); ++i) {
            doubled += (outline[i - 1] - origin) ^ (outline[i] - origin);
        }
    }
    return std::fabs(doubled) / 2; // which way it was linked does not matter
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
bool AreEqualAreas(double fill, double enclosed, const std::vector<Chord>& chords)
{
    constexpr double kRounding = 1e-9; // of the size of the section
    double length = 0;
    Vec2d low = chords.front().start;
    Vec2d high = low;
    for (const Chord& chord : chords) {
        length += Vector::Length(chord.end - chord.start);
        for (int axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], chord.end[axis]);
            high[axis] = std::max(high[axis], chord.end[axis]);
        }
    }
    return std::fabs(fill - enclosed) <= kRounding * Vector::Length(high - low) * length;
}

bool WriteSvg(const Section& section, const std::vector<std::vector<Vec2d>>& outlines,
              const std::string& path)
{
    const Drawing::SvgStyle fill{"#79b", "#cde", 1};
    const Drawing::SvgStyle closed{"#222", "none", 2};
    const Drawing::SvgStyle open{"#d22", "none", 2};
    Drawing::SvgWriter picture(640);
    picture.AddTriangles(section, fill);
    bool areAllClosed = true;
    for (const std::vector<Vec2d>& outline : outlines) {
        const bool isClosed = outline.front() == outline.back();
        picture.AddPolyline(outline, isClosed ? closed : open);
        areAllClosed = areAllClosed && isClosed;
    }
    if (!areAllClosed) {
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

    const std::vector<Chord> chords = ChordsAtHeight(part, height, options->weld);
    if (chords.empty()) {
        std::fprintf(stderr, "%s: nothing lies just above height %.17g\n", options->part.c_str(),
                     height);
        return kFailed;
    }
    const std::vector<std::vector<Vec2d>> outlines = Vector::SegmentsToPolyPointStream(chords, 0.0);
    const std::size_t open = static_cast<std::size_t>(
        std::count_if(outlines.begin(), outlines.end(), [](const std::vector<Vec2d>& outline) {
            return !(outline.front() == outline.back());
        }));
    std::printf("%zu outlines at height %.9g, %zu of them open\n", outlines.size(), height, open);
    const Section section = Mesh::TessellateFlatBoundaries(outlines);
    const double fill = Area(section);
    const double enclosed = EnclosedArea(chords, outlines);
    std::printf("%zu triangles, area %.9g\n", section.indices.size() / 3, fill);
    if (!options->svg.empty() && !WriteSvg(section, outlines, options->svg)) {
        return kFailed;
    }
    if (open > 0) {
        std::fprintf(stderr, "%s: %zu outlines are open, so the section can't be trusted\n",
                     options->part.c_str(), open);
        return kDoubtful;
    }
    if (!AreEqualAreas(fill, enclosed, chords)) {
        std::fprintf(stderr,
                     "%s: the outlines enclose an area of %.9g and not that of the fill, so the "
                     "section can't be trusted\n",
                     options->part.c_str(), enclosed);
        return kDoubtful;
    }
    return kDone;
}
