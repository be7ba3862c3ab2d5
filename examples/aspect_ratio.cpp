// Improves the triangles of a part by edge flips, tells what that did, and writes the part.
//
//   aspect_ratio PART OUT.stl [--angle DEGREES] [--drift LENGTH] [--most LENGTH] [--svg
//   PICTURE.svg]
//
// DEGREES and the bound of the drift as `MeshUtils::MaximizeAspectRatio` takes them, 1 and 0.01 by
// default. The picture shows the triangles that were changed, before and after, the worse the
// redder; the rest of the part is gray.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 the result lies off the
// part by more than the length after --most. The result is written in that case too.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "PartMeasures.h"

#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace {

using namespace PartDrawing;

struct Options {
    std::filesystem::path input;
    std::filesystem::path output;
    std::filesystem::path picture;
    double angle = 1.0;
    double drift = 0.01;
    double most = std::numeric_limits<double>::infinity();
};

std::optional<Options> ParseOptions(int argc, char** argv)
{
    Options options;
    std::vector<std::string_view> files;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (!name.starts_with("--")) {
            files.push_back(name);
            continue;
        }
        if (++i == argc) {
            return std::nullopt;
        }
        if (name == "--svg") {
            options.picture = argv[i];
            continue;
        }
        const std::optional<double> number = LengthOf(argv[i]);
        if (!number) {
            return std::nullopt;
        }
        if (name == "--angle") {
            options.angle = *number;
        } else if (name == "--drift") {
            options.drift = *number;
        } else if (name == "--most") {
            options.most = *number;
        } else {
            return std::nullopt;
        }
    }
    if (files.size() != 2) {
        return std::nullopt;
    }
    options.input = files[0];
    options.output = files[1];
    return options;
}

double RatioOf(const Part& part, std::size_t triangle)
{
    return Mesh::AspectRatio(CornerOf(part, 3 * triangle), CornerOf(part, 3 * triangle + 1),
                             CornerOf(part, 3 * triangle + 2));
}

void TellShapes(const char* when, const Part& part)
{
    constexpr std::array<double, 4> kBounds{0.01, 0.1, 0.3, 0.6};
    constexpr std::array<const char*, 5> kNames{"below 0.01", "to 0.1", "to 0.3", "to 0.6",
                                                "above"};
    const std::size_t triangles = part.indices.size() / 3;
    std::array<std::size_t, 5> counts{};
    double worst = 1;
    double sum = 0;
    for (std::size_t t = 0; t < triangles; ++t) {
        const double ratio = RatioOf(part, t);
        worst = std::min(worst, ratio);
        sum += ratio;
        const auto bound = std::upper_bound(kBounds.begin(), kBounds.end(), ratio);
        ++counts[static_cast<std::size_t>(bound - kBounds.begin())];
    }
    std::printf("%-7s %zu triangles, %zu open edges, volume %.9g\n", when, triangles,
                Mesh::BoundaryEdges(part).size(), VolumeOf(part));
    std::printf("        aspect ratio: worst %.3g, mean %.4f;", worst,
                triangles == 0 ? 1 : sum / static_cast<double>(triangles));
    for (std::size_t i = 0; i < counts.size(); ++i) {
        std::printf("  %s %zu", kNames[i], counts[i]);
    }
    std::printf("\n");
}

// --- the picture --------------------------------------------------------------------------------

constexpr int kShades = 24;

/// Yellow for a good shape, red for none.
int ShadeOf(const Part& part, std::size_t triangle)
{
    return static_cast<int>(kShades * std::pow(RatioOf(part, triangle), 0.4));
}

SvgStyle StyleOfShade(int shade)
{
    std::array<char, 8> color{};
    std::snprintf(color.data(), color.size(), "#e6%02x28",
                  static_cast<unsigned int>(230 * shade / kShades) & 0xFFU);
    return {"#222", color.data(), 0.4};
}

bool WritePicture(const Part& before, const Part& after, const std::filesystem::path& path)
{
    constexpr double kCreaseAngle = 0.3;
    SvgWriter picture(2 * kPictureSize);
    for (const Part* part : {&before, &after}) {
        SvgMeshMarks marks;
        for (int shade = 0; shade <= kShades; ++shade) {
            marks.styles.push_back(StyleOfShade(shade));
        }
        marks.styles.push_back({"#667", "none", 0.5});
        for (std::size_t first = 0; first + 2 < part->indices.size(); first += 3) {
            const bool isKept = std::equal(&before.indices[first], &before.indices[first] + 3,
                                           &after.indices[first]);
            marks.triangles.push_back(isKept ? -1 : ShadeOf(*part, first / 3));
        }
        MarkCreases(*part, kCreaseAngle, kShades + 1, marks);
        picture.AddMesh(*part, part == &before ? kView : ViewBeside(before), FacetStyle(), marks);
    }
    picture.AddLegend("changed, badly shaped", StyleOfShade(0));
    picture.AddLegend("changed, well shaped", StyleOfShade(kShades));
    return SavePicture(picture, path.string());
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr, "usage: aspect_ratio PART OUT.stl [--angle DEGREES] [--drift LENGTH]\n"
                             "                    [--most LENGTH] [--svg PICTURE.svg]\n");
        return 2;
    }
    Part input;
    if (!ReadWeldedPart(input, options->input, 0.0)) {
        return 1;
    }
    // A negative bound makes no flip, and leaves out the same triples as the flips do.
    const Part part = MeshUtils::MaximizeAspectRatio(input, 0.0, -1.0);
    const Part result = MeshUtils::MaximizeAspectRatio(part, options->angle, options->drift);
    TellShapes("before", part);
    TellShapes("after", result);
    std::size_t changed = 0;
    for (std::size_t i = 0; i < part.indices.size(); i += 3) {
        changed += std::equal(&part.indices[i], &part.indices[i] + 3, &result.indices[i]) ? 0U : 1U;
    }
    std::printf("        %zu triangles changed\n", changed);
    const double off = std::max(TellDeviation("the result lies off the part by", result, part),
                                TellDeviation("the part lies off the result by", part, result));

    if (!Tell(MeshUtils::WriteMesh(result, options->output, MeshUtils::MeshFileForm::BinaryStl),
              options->output)) {
        return 1;
    }
    if (!options->picture.empty() && !WritePicture(part, result, options->picture)) {
        return 1;
    }
    if (!(off <= options->most)) {
        std::fprintf(stderr, "%s: the result lies off the part by %.6g\n",
                     options->output.string().c_str(), off);
        return 3;
    }
    return 0;
}
