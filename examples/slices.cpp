// Slices a part into layers of one thickness: a table of what each of them is, and a picture of the
// stack.
//
//   slices PART COUNT [--axis x|y|z] [--svg PICTURE.svg] [--table TABLE.csv]
//
// Each of the COUNT layers (1 to 100000) along the axis, z unless told, is cut at its middle.
// Exit codes: 0 done, 1 a file can't be read or written, or the part has no height along the axis,
// 2 wrong use, 3 some outline is open (red in the picture), and the areas can't be trusted.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "PictureOutput.h"

#include <Sorvane/MeshSections_E.h>
#include <Sorvane/SvgWriter_E.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace PartDrawing;
using Mesh::MeshSection;

/// Corners within this of each other are one, and those as near to a plane lie in it.
constexpr double kWeld = 1e-6;

struct Options {
    int count = 0;
    int axis = 2;
    std::string picture;
    std::string table;
};

std::optional<Options> ParseOptions(int argc, char** argv)
{
    const auto count = argc > 2 ? NumberOf(argv[2]) : std::nullopt;
    if (argc % 2 == 0 || !count || *count < 1 || *count > 100'000 || *count != std::floor(*count)) {
        return std::nullopt;
    }
    Options options;
    options.count = static_cast<int>(*count);
    for (int i = 3; i < argc; i += 2) {
        const std::string_view name = argv[i];
        const std::string_view value = argv[i + 1];
        if (name == "--axis" && (value == "x" || value == "y" || value == "z")) {
            options.axis = value[0] - 'x';
        } else if (name == "--svg") {
            options.picture = value;
        } else if (name == "--table") {
            options.table = value;
        } else {
            return std::nullopt;
        }
    }
    return options;
}

/// One line for each layer: height of its middle, outlines, open ones, area, length of the
/// outlines.
bool WriteTable(const std::vector<MeshSection>& layers, const std::string& path)
{
    std::ofstream file(path);
    file << "height,loops,chains,area,length,open length\n" << std::setprecision(12);
    for (const MeshSection& layer : layers) {
        file << layer.height << ',' << layer.loops.size() << ',' << layer.chains.size() << ','
             << layer.area << ',' << layer.length << ',' << layer.openLength << '\n';
    }
    file.close();
    if (!file) {
        std::fprintf(stderr, "%s: can't be written\n", path.c_str());
    }
    return !file.fail();
}

/// The layers as sheets, seen from above: each hides what lies under it.
bool WritePicture(const std::vector<MeshSection>& layers, const std::string& path)
{
    const SvgStyle sheet{"#1f4e79", "#c9dcef", 0.6, false, 0.9};
    const SvgStyle open{"#d22", "none", 1.5};
    SvgWriter picture(kPictureSize);
    for (const MeshSection& layer : layers) {
        const auto seen = [&](std::vector<std::vector<Vec2d>> lines) {
            for (std::vector<Vec2d>& line : lines) {
                for (Vec2d& point : line) {
                    point =
                        SvgWriter::Projected(layer.toSpace * Vec3d(point.x(), point.y(), 0), kView);
                }
            }
            return lines;
        };
        picture.AddRegion(seen(layer.loops), sheet);
        for (const std::vector<Vec2d>& chain : seen(layer.chains)) {
            picture.AddPolyline(chain, open);
        }
    }
    return SavePicture(picture, path);
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<Options> options = ParseOptions(argc, argv);
    if (!options) {
        std::fputs("usage: slices PART COUNT [--axis x|y|z] [--svg PICTURE] [--table FILE]\n",
                   stderr);
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], kWeld)) {
        return 1;
    }
    Vec3d normal;
    normal[options->axis] = 1;
    const Mesh::PlaneSlicer slicer(part, normal);
    const auto [low, high] = slicer.HeightRange();
    if (!(high > low)) {
        std::fprintf(stderr, "%s: has no height along that axis\n", argv[1]);
        return 1;
    }
    const double thickness = (high - low) / options->count;
    std::vector<double> heights;
    for (int i = 0; i < options->count; ++i) {
        heights.push_back(low + (i + 0.5) * thickness);
    }
    const auto layers = slicer.Sections(heights, {Mesh::SectionSide::Above, kWeld});
    std::size_t loops = 0, chains = 0;
    double volume = 0;
    for (const MeshSection& layer : layers) {
        loops += layer.loops.size();
        chains += layer.chains.size();
        volume += layer.area * thickness;
    }
    std::printf("%zu layers of %.9g from %.9g to %.9g: %zu outlines, %zu open ones, volume %.9g\n",
                layers.size(), thickness, low, high, loops, chains, volume);
    if ((!options->table.empty() && !WriteTable(layers, options->table)) ||
        (!options->picture.empty() && !WritePicture(layers, options->picture))) {
        return 1;
    }
    if (chains > 0) {
        std::fprintf(stderr, "%s: %zu outlines are open, so the areas can't be trusted\n", argv[1],
                     chains);
        return 3;
    }
    return 0;
}
