// Decimates a part, to a share of its triangles or within a tolerance, tells what that did to it
// and why it ended, and writes it.
//
//   decimate PART OUT.stl [--keep PERCENT] [--tolerance DISTANCE] [--angle DEGREES] [--one-by-one]
//            [--drift PERCENT] [--svg PICTURE.svg]
//
// By passes (`Mesh::DecimateInBatches`), with a tolerance that is a distance; --one-by-one takes
// `Mesh::DecimateMesh`, whose tolerance is a distance times an area. One of --keep and --tolerance
// must be there. The picture shows the part before and after, side by side.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 the volume has drifted by
// more than PERCENT (1 by default), or a closed part is open now. The result is written in that
// case too.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "PartMeasures.h"

#include <Sorvane/Decimation_E.h>
#include <Sorvane/MeshQueries_E.h>

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
    double keepPercent = 0.0;
    double tolerance = std::numeric_limits<double>::infinity();
    double angle = 40.0;
    bool oneByOne = false;
    double driftPercent = 1.0;
};

std::optional<Options> ParseOptions(int argc, char** argv)
{
    Options options;
    std::vector<std::string_view> files;
    bool isAsked = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--one-by-one") {
            options.oneByOne = true;
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
        if (name == "--keep" && *number >= 0 && *number <= 100) {
            options.keepPercent = *number;
            isAsked = true;
        } else if (name == "--tolerance" && *number >= 0) {
            options.tolerance = *number;
            isAsked = true;
        } else if (name == "--angle") {
            options.angle = *number;
        } else if (name == "--drift" && *number >= 0) {
            options.driftPercent = *number;
        } else {
            return std::nullopt;
        }
    }
    if (files.size() != 2 || !isAsked) {
        return std::nullopt;
    }
    options.input = files[0];
    options.output = files[1];
    return options;
}

void TellSize(const char* when, const Part& part)
{
    std::printf("%-7s %zu triangles, %zu open edges, volume %.9g\n", when, part.indices.size() / 3,
                Mesh::BoundaryEdges(part).size(), VolumeOf(part));
}

const char* TextOf(Mesh::DecimationStop stop)
{
    switch (stop) {
    case Mesh::DecimationStop::Target:
        return "the target is reached";
    case Mesh::DecimationStop::Tolerance:
        return "the rest would exceed the tolerance";
    case Mesh::DecimationStop::Locked:
        return "the rest is on or beside edges that are kept";
    case Mesh::DecimationStop::TooLong:
        return "the rest is longer than a tenth of the part";
    case Mesh::DecimationStop::Folds:
        return "the rest would fold";
    case Mesh::DecimationStop::Empty:
        break;
    }
    return "there was nothing to do";
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr,
                     "usage: decimate PART OUT.stl [--keep PERCENT] [--tolerance DISTANCE]\n"
                     "                [--angle DEGREES] [--one-by-one] [--drift PERCENT]\n"
                     "                [--svg PICTURE.svg]\n"
                     "with --keep or --tolerance, or both\n");
        return 2;
    }
    Part part;
    // Joined as the result is going to be, so that both have the same topology.
    if (!ReadWeldedPart(part, options->input, 1e-12)) {
        return 1;
    }
    Part result;
    Mesh::DecimationReport report;
    if (options->oneByOne) {
        std::vector<unsigned char> tags;
        Mesh::DecimateMesh(part, {}, result, tags, options->angle, options->keepPercent,
                           options->tolerance, true, report);
    } else {
        Mesh::DecimateInBatches(part, result, options->angle, options->keepPercent,
                                options->tolerance, report);
    }
    TellSize("before", part);
    TellSize("after", result);
    std::printf("        %.3f %% of the triangles are left: %s\n", report.percentLeft,
                TextOf(report.stop));
    if (report.stop != Mesh::DecimationStop::Target) {
        std::printf("        edges left: %d would exceed the tolerance, %d are kept, %d too long, "
                    "%d would fold\n",
                    report.deviatingEdges, report.lockedEdges, report.longEdges,
                    report.foldingEdges);
    }
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
            "than the tolerance?\n",
            options->output.string().c_str(), drift);
        return 3;
    }
    return 0;
}
