// Compares two parts: how far their surfaces are apart at most, where that is, how the deviation is
// spread, and a picture of it.
//
//   compare_parts PART REFERENCE [--accuracy A] [--within LIMIT] [--svg PICTURE.svg]
//
// A is the accuracy of the greatest distances, the least that there is by default. The picture
// shows PART, each triangle in the color of the largest of its deviations at corners and centroid:
// red ones stand out of the reference, blue ones lie within it.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 the surfaces are, or may
// be, farther apart than LIMIT, or one of the files has no triangles.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"

#include <Sorvane/MeshDistances_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace PartDrawing;

/// From the deepest within the reference to the farthest out of it.
constexpr std::array<const char*, 7> kColors{"#2166ac", "#67a9cf", "#d1e5f0", "#eeeeee",
                                             "#fddbc7", "#ef8a62", "#b2182b"};
constexpr int kBands = static_cast<int>(kColors.size());

/// The band of a signed deviation; the middle one is that around 0.
int BandOf(double deviation, double greatest)
{
    const double place = greatest > 0 ? deviation / greatest : 0; // in [-1, 1]
    return std::clamp(static_cast<int>(std::floor((place + 1) / 2 * kBands)), 0, kBands - 1);
}

std::string BandText(int band, double greatest)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%+.3g to %+.3g", greatest * (2.0 * band / kBands - 1),
                  greatest * (2.0 * (band + 1) / kBands - 1));
    return text.data();
}

/// Of each triangle the signed deviation of the largest magnitude.
std::vector<double> DeviationsOf(const Part& part, const Part& reference)
{
    std::vector<Vec3d> samples = part.points;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        samples.push_back((CornerOf(part, i) + CornerOf(part, i + 1) + CornerOf(part, i + 2)) / 3);
    }
    const auto distances =
        MeshUtils::CloudDistancesToMesh(reference.points, reference.indices, samples, false);
    std::vector<double> deviations;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        double largest = distances[part.points.size() + i / 3];
        for (std::size_t k = i; k < i + 3; ++k) {
            const double there = distances[static_cast<std::size_t>(part.indices[k])];
            largest = std::fabs(there) > std::fabs(largest) ? there : largest;
        }
        deviations.push_back(largest);
    }
    return deviations;
}

void TellBound(const char* from, const char* to, const MeshUtils::HausdorffBound& bound)
{
    std::printf("%-9s -> %-9s  %.6g to %.6g, triangle %d at (%.6g, %.6g, %.6g)\n", from, to,
                bound.lower, bound.upper, bound.triangle, bound.point[0], bound.point[1],
                bound.point[2]);
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> files;
    std::string pictureFile;
    double accuracy = 0;
    double limit = std::numeric_limits<double>::infinity();
    bool isRight = true;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (!name.starts_with("--")) {
            files.emplace_back(name);
        } else if (name == "--svg" && i + 1 < argc) {
            pictureFile = argv[++i];
        } else {
            const auto length = i + 1 < argc ? LengthOf(argv[++i]) : std::nullopt;
            isRight = isRight && length && (name == "--accuracy" || name == "--within");
            (name == "--within" ? limit : accuracy) = length.value_or(0);
        }
    }
    if (files.size() != 2 || !isRight) {
        std::fprintf(stderr, "usage: compare_parts PART REFERENCE [--accuracy A] [--within LIMIT]\n"
                             "                     [--svg PICTURE.svg]\n");
        return 2;
    }
    Part part;
    Part reference;
    if (!ReadWeldedPart(part, files[0], 0.0) || !ReadWeldedPart(reference, files[1], 0.0)) {
        return 1;
    }
    const auto bounds = MeshUtils::HausdorffBounds(part, reference, accuracy);
    if (bounds.first.triangle < 0) {
        std::fprintf(stderr, "one of the parts has no triangles\n");
        return 3;
    }
    TellBound("part", "reference", bounds.first);
    TellBound("reference", "part", bounds.second);
    std::printf("Hausdorff distance       %.6g to %.6g\n", bounds.lower, bounds.upper);

    const std::vector<double> deviations = DeviationsOf(part, reference);
    double greatest = 0;
    for (const double deviation : deviations) {
        greatest = std::max(greatest, std::fabs(deviation));
    }
    SvgMeshMarks marks;
    std::array<std::size_t, kBands> counts{};
    for (const double deviation : deviations) {
        marks.triangles.push_back(BandOf(deviation, greatest));
        ++counts[static_cast<std::size_t>(marks.triangles.back())];
    }
    SvgWriter picture(kPictureSize);
    for (int band = 0; band < kBands; ++band) {
        const auto i = static_cast<std::size_t>(band);
        const std::string text = BandText(band, greatest);
        std::printf("%-22s %8zu triangles, %5.1f %%\n", text.c_str(), counts[i],
                    100 * static_cast<double>(counts[i]) / static_cast<double>(deviations.size()));
        marks.styles.push_back({kColors[i], kColors[i], 0.5});
        picture.AddLegend(text, {"#999", kColors[i], 0.5});
    }
    marks.styles.push_back({"#444", "none", 0.6});
    MarkCreases(part, 0.6, kBands, marks);
    picture.AddMesh(part, kView, FacetStyle(), marks);
    const bool isSaved = pictureFile.empty() || SavePicture(picture, pictureFile);
    return !isSaved ? 1 : bounds.upper > limit ? 3 : 0;
}
