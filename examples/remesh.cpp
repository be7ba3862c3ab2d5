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
#include "PartFiles.h"
#include "PartMeasures.h"
#include "TextOutput.h"

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

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;

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

// --- the picture --------------------------------------------------------------------------------

constexpr double kPictureSide = 620;
constexpr double kMargin = 12;

/// A parallel view along (-1, -2, -1.5), fitted to a part.
struct View {
    Vec3d toward = Vector::Normalized(Vec3d(1, 2, 1.5), 1e-12);
    Vec3d right = Vector::Normalized(Vec3d(-2, 1, 0), 1e-12);
    Vec3d up = toward ^ right;
    double left = 1e300, top = 1e300, width = 0, height = 0, scale = 1;

    explicit View(const Part& part)
    {
        double rightmost = -1e300;
        double lowest = -1e300;
        for (const Vec3d& p : part.points) {
            left = std::min(left, p * right);
            rightmost = std::max(rightmost, p * right);
            top = std::min(top, -(p * up));
            lowest = std::max(lowest, -(p * up));
        }
        scale = (kPictureSide - 2 * kMargin) / std::max({rightmost - left, lowest - top, 1e-300});
        width = (rightmost - left) * scale + 2 * kMargin;
        height = (lowest - top) * scale + 2 * kMargin;
    }
};

/// The triangles that face the viewer, from far to near, each with its edges.
void Draw(std::FILE* svg, const Part& part, const View& view, double offset)
{
    struct Face {
        std::size_t first;
        double depth;
        double facing;
    };
    std::vector<Face> faces;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const Vec3d& a = CornerOf(part, i);
        const Vec3d& b = CornerOf(part, i + 1);
        const Vec3d& c = CornerOf(part, i + 2);
        const double facing = Vector::Normalized((b - a) ^ (c - a), 0.0) * view.toward;
        if (facing > 0) {
            faces.push_back({i, (a + b + c) * view.toward, facing});
        }
    }
    std::sort(faces.begin(), faces.end(),
              [](const Face& f, const Face& g) { return f.depth < g.depth; });
    for (const Face& face : faces) {
        const int shade = 150 + static_cast<int>(100 * face.facing);
        std::fprintf(svg, "<path fill='#%02x%02x%02x' d='", shade, shade, std::min(shade + 5, 255));
        // In tenths, the second and third corner relative to the one before: pictures stay small.
        std::array<long, 2> last{};
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec3d& p = CornerOf(part, face.first + k);
            const std::array<long, 2> at{
                std::lround(10 * (offset + kMargin + (p * view.right - view.left) * view.scale)),
                std::lround(10 * (kMargin + (-(p * view.up) - view.top) * view.scale))};
            std::fprintf(svg, "%s%ld %ld", k == 0 ? "M" : "l", at[0] - last[0], at[1] - last[1]);
            last = at;
        }
        std::fprintf(svg, "z'/>\n");
    }
}

bool WritePicture(const Part& before, const Part& after, const std::filesystem::path& path)
{
    TextOutput svg(path.string());
    if (!svg.IsOpen()) {
        return false;
    }
    const View view(before);
    std::fprintf(svg.File(),
                 "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %.0f %.0f'>\n"
                 "<rect width='100%%' height='100%%' fill='white'/>\n"
                 "<g stroke='#3b4252' stroke-width='3.5' stroke-linejoin='round'>\n",
                 20 * view.width, 10 * view.height);
    Draw(svg.File(), before, view, 0);
    Draw(svg.File(), after, view, view.width);
    std::fprintf(svg.File(), "</g>\n</svg>\n");
    return svg.Finish();
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
    if (!options->picture.empty() && !WritePicture(part, result, options->picture)) {
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
