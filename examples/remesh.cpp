// Remeshes a part, toward one edge length or by chord error, tells what that did to it, and writes
// it.
//
//   remesh PART OUT.stl [--length LENGTH] [--chord ERROR] [--exponent E] [--angle DEGREES]
//          [--iterations N] [--split-boundary] [--drift PERCENT] [--svg PICTURE.svg]
//
// LENGTH as `Mesh::IsotropicRemesh` takes it: 0, the default, is the mean edge length of the part.
// With
// --chord edges follow the bend of the surface instead (`Mesh::AnisotropicRemesh`). The picture
// shows the part before and after, side by side.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 the volume has drifted by
// more than PERCENT (1 by default), a closed part is open now, or nothing is left of a part without
// area. The result is written in that case too, if there is one.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "PartMeasures.h"

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Remesh_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace {

using namespace PartDrawing;

struct Options {
    std::filesystem::path input;
    std::filesystem::path output;
    std::filesystem::path picture;
    double length = 0.0;
    std::optional<double> chordError;
    double exponent = 1.0;
    double angle = 40.0;
    unsigned iterations = 10;
    bool keepBoundary = true;
    double driftPercent = 1.0;
};

std::optional<Options> ParseOptions(int argc, char** argv)
{
    Options options;
    std::vector<std::string_view> files;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--split-boundary") {
            options.keepBoundary = false;
            continue;
        }
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
        const std::optional<double> number = NumberOf(argv[i]);
        if (!number) {
            return std::nullopt;
        }
        if (name == "--length") {
            options.length = *number;
        } else if (name == "--chord" && *number > 0) {
            options.chordError = *number;
        } else if (name == "--exponent") {
            options.exponent = *number;
        } else if (name == "--angle") {
            options.angle = *number;
        } else if (name == "--iterations" && *number >= 0 && *number <= 1000) {
            options.iterations = static_cast<unsigned>(*number);
        } else if (name == "--drift" && *number >= 0) {
            options.driftPercent = *number;
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

double MeanEdge(const Part& part)
{
    double sum = 0; // every edge of a closed part counts twice, and the mean is the same
    for (std::size_t i = 0; i < part.indices.size(); ++i) {
        sum += Length(CornerOf(part, i / 3 * 3 + (i + 1) % 3) - CornerOf(part, i));
    }
    return part.indices.empty() ? 0 : sum / static_cast<double>(part.indices.size());
}

/// Triangles, volume, shapes, and edges in classes of the length that was asked for.
void TellQuality(const char* when, const Part& part, double length)
{
    const std::size_t triangles = part.indices.size() / 3;
    double worst = 1;
    double sum = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const double ratio =
            Mesh::AspectRatio(CornerOf(part, i), CornerOf(part, i + 1), CornerOf(part, i + 2));
        worst = std::min(worst, ratio);
        sum += ratio;
    }
    std::printf("%-7s %zu triangles, %zu open edges, volume %.9g\n", when, triangles,
                Mesh::BoundaryEdges(part).size(), VolumeOf(part));
    std::printf("        aspect ratio: worst %.4f, mean %.4f\n", worst,
                triangles == 0 ? 1 : sum / static_cast<double>(triangles));

    constexpr std::array<double, 6> kBounds{0.25, 0.5, 0.8, 4.0 / 3, 2.0, 4.0};
    constexpr std::array<const char*, 7> kNames{"below 1/4", "to 1/2", "to 4/5", "to 4/3",
                                                "to 2",      "to 4",   "above"};
    std::array<std::size_t, 7> counts{};
    for (std::size_t i = 0; i < part.indices.size(); ++i) {
        const double edge = Length(CornerOf(part, i / 3 * 3 + (i + 1) % 3) - CornerOf(part, i));
        const auto bound = std::upper_bound(kBounds.begin(), kBounds.end(), edge / length);
        ++counts[static_cast<std::size_t>(bound - kBounds.begin())];
    }
    std::printf("        edges by their length over %.6g:", length);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        std::printf("  %s %.1f %%", kNames[i],
                    part.indices.empty() ? 0
                                         : 100 * static_cast<double>(counts[i]) /
                                               static_cast<double>(part.indices.size()));
    }
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr,
                     "usage: remesh PART OUT.stl [--length LENGTH] [--chord ERROR] [--exponent E]\n"
                     "              [--angle DEGREES] [--iterations N] [--split-boundary]\n"
                     "              [--drift PERCENT] [--svg PICTURE.svg]\n");
        return 2;
    }
    Part part;
    // Joined as the result is going to be, so that both have the same topology.
    if (!ReadWeldedPart(part, options->input, 1e-12)) {
        return 1;
    }
    Part result;
    const unsigned iterations =
        options->chordError ? Mesh::AnisotropicRemesh(part, result, options->angle, options->length,
                                                      options->exponent, *options->chordError,
                                                      options->iterations, options->keepBoundary)
                            : Mesh::IsotropicRemesh(part, result, options->angle, options->length,
                                                    options->iterations, options->keepBoundary);
    const double length = options->length > 1e-12    ? options->length
                          : options->length < -1e-12 ? -options->length * MeanEdge(part)
                                                     : MeanEdge(part);
    TellQuality("before", part, length);
    TellQuality("after", result, length);
    std::printf("        %u iterations\n", iterations);
    TellDeviation("the result lies off the part by", result, part);
    TellDeviation("the part lies off the result by", part, result);

    if (result.indices.empty()) {
        std::fprintf(stderr, "%s: nothing is left of the part\n", options->input.string().c_str());
        return 3;
    }
    if (!Tell(MeshUtils::WriteMesh(result, options->output, MeshUtils::MeshFileForm::BinaryStl),
              options->output)) {
        return 1;
    }
    if (!options->picture.empty() && !WriteComparison(part, result, options->picture.string())) {
        return 1;
    }

    // An open part has no volume that would not depend on the place it is seen from.
    if (!Mesh::BoundaryEdges(part).empty()) {
        std::printf("        the part is open: its volume says nothing\n");
        return 0;
    }
    const double volume = VolumeOf(part);
    const double drift = volume == 0 ? 0 : 100 * (VolumeOf(result) / volume - 1);
    std::printf("        the volume has drifted by %.4f %%\n", drift);
    if (!Mesh::BoundaryEdges(result).empty()) {
        std::fprintf(stderr, "%s: the part was closed, the result is open\n",
                     options->output.string().c_str());
        return 3;
    }
    if (!(std::fabs(drift) <= options->driftPercent)) {
        std::fprintf(
            stderr,
            "%s: the volume has drifted by %.4f %%: are walls or bores of the part smaller "
            "than an edge is long?\n",
            options->output.string().c_str(), drift);
        return 3;
    }
    return 0;
}
