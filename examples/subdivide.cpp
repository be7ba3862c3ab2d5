// Makes a part finer: smoothed with its creases kept, or without moving anything; tells what that
// did to it, and writes it.
//
//   subdivide PART OUT.stl [--method loop|sqrt3|midpoints|centroid|six|split] [--iterations N]
//             [--angle DEGREES] [--length LENGTH] [--drift PERCENT] [--svg PICTURE.svg]
//
// loop, the default, and sqrt3 smooth (`Mesh::SubdivideMesh`), with creases from DEGREES on, 30 by
// default. midpoints, centroid and six cut every triangle in 4, 3 or 6 (`Mesh::SimpleRefine`).
// split cuts edges longer than LENGTH (`Mesh::SplitLongMeshEdges`). N is 1 by default, and 50
// passes at most for split. The picture shows the part before and after, side by side.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 the volume has drifted by
// more than PERCENT (5 by default) or a closed part is open now. The result is written in that case
// too.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "PartMeasures.h"

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Subdivision_E.h>
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

constexpr std::array<std::string_view, 6> kMethods{"loop",     "sqrt3", "midpoints",
                                                   "centroid", "six",   "split"};

struct Options {
    std::filesystem::path input;
    std::filesystem::path output;
    std::filesystem::path picture;
    std::string_view method = kMethods[0];
    std::optional<unsigned> iterations;
    double angle = 30.0;
    double length = 1.0;
    double driftPercent = 5.0;
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
        const std::string_view value = argv[i];
        const std::optional<double> number = NumberOf(value);
        if (name == "--svg") {
            options.picture = value;
        } else if (name == "--method" &&
                   std::find(kMethods.begin(), kMethods.end(), value) != kMethods.end()) {
            options.method = value;
        } else if (name == "--iterations" && number && *number >= 0 && *number <= 50) {
            options.iterations = static_cast<unsigned>(*number);
        } else if (name == "--angle" && number) {
            options.angle = *number;
        } else if (name == "--length" && number && *number > 0) {
            options.length = *number;
        } else if (name == "--drift" && number && *number >= 0) {
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

Part Finer(const Part& part, const Options& options)
{
    Part finer;
    const unsigned iterations = options.iterations.value_or(options.method == "split" ? 50 : 1);
    if (options.method == "split") {
        Mesh::SplitLongMeshEdges(part, finer, options.length, true, iterations);
    } else if (options.method == "loop" || options.method == "sqrt3") {
        Mesh::SubdivideMesh(part, finer, options.angle, iterations,
                            options.method == "loop" ? Mesh::SubdivisionMethod::Loop
                                                     : Mesh::SubdivisionMethod::Sqrt3);
    } else {
        Mesh::SimpleRefine(part, finer,
                           options.method == "midpoints" ? Mesh::SimpleRefineMethod::Midpoints
                           : options.method == "centroid"
                               ? Mesh::SimpleRefineMethod::Centroid
                               : Mesh::SimpleRefineMethod::CentroidAndMidpoints,
                           iterations);
    }
    return finer;
}

void Tell(const char* when, const Part& part)
{
    double area = 0;
    for (const double a : Mesh::Areas(part)) {
        area += a;
    }
    double longest = 0;
    for (std::size_t i = 0; i < part.indices.size(); ++i) {
        longest =
            std::max(longest, Length(CornerOf(part, i / 3 * 3 + (i + 1) % 3) - CornerOf(part, i)));
    }
    std::printf("%-7s %zu points, %zu triangles, %zu open edges, area %.9g, volume %.9g, longest "
                "edge %.6g\n",
                when, part.points.size(), part.indices.size() / 3, Mesh::BoundaryEdges(part).size(),
                area, VolumeOf(part), longest);
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(
            stderr,
            "usage: subdivide PART OUT.stl [--method loop|sqrt3|midpoints|centroid|six|split]\n"
            "                 [--iterations N] [--angle DEGREES] [--length LENGTH]\n"
            "                 [--drift PERCENT] [--svg PICTURE.svg]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, options->input, 1e-12)) {
        return 1;
    }
    const Part finer = Finer(part, *options);
    Tell("before", part);
    Tell("after", finer);
    if (finer.indices.empty()) {
        std::fprintf(stderr, "%s: nothing is left of the part\n", options->input.string().c_str());
        return 3;
    }
    if (!Tell(MeshUtils::WriteMesh(finer, options->output, MeshUtils::MeshFileForm::BinaryStl),
              options->output)) {
        return 1;
    }
    if (!options->picture.empty() && !WriteComparison(part, finer, options->picture.string())) {
        return 1;
    }
    if (!Mesh::BoundaryEdges(part).empty() || part.indices.empty()) {
        std::printf("        the part is open: its volume says nothing\n");
        return 0;
    }
    const double drift = 100 * (VolumeOf(finer) / VolumeOf(part) - 1);
    std::printf("        the volume has drifted by %.4f %%\n", drift);
    if (!Mesh::BoundaryEdges(finer).empty()) {
        std::fprintf(stderr, "%s: the part was closed, the result is open\n",
                     options->output.string().c_str());
        return 3;
    }
    if (!(std::fabs(drift) <= options->driftPercent)) {
        std::fprintf(stderr,
                     "%s: the volume has drifted by %.4f %%: is the part tessellated too coarsely, "
                     "or the angle "
                     "above that of its creases?\n",
                     options->output.string().c_str(), drift);
        return 3;
    }
    return 0;
}
