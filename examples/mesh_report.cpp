// Tells in plain words whether a part is fit to be machined from, and shows what is wrong with it.
//
//   mesh_report PART [--tolerance LENGTH] [--svg FILE] [--stl FILE]
//
// Corners within the tolerance (1e-6 unless told) of each other are joined before the check, and
// triangles no higher than twice of it count as slivers. --svg writes a picture of the part with
// its faults in colors; --stl writes the faults alone, to be laid over the part in a viewer.
//
// Exit codes: 0 the part is sound, 1 it has defects, 2 there is no report: the file can't be read,
// a picture can't be written, or the program was used wrongly. Without faults --stl writes nothing.

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshReport_E.h>
#include <Velk/Math/Vector_E.h>

#include "Arguments.h"
#include "PartFiles.h"
#include "PictureOutput.h"
#include "../cli/ReportPictures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

using namespace Velk::Math;
namespace fs = std::filesystem;
using Report = Sorvane::MeshUtils::MeshReport<double>;

namespace {

constexpr int kSound = 0;
constexpr int kDefective = 1;
constexpr int kNoReport = 2;

struct Options {
    fs::path input;
    double tolerance = 1e-6;
    fs::path svg;
    fs::path stl;
};

std::optional<Options> ParseOptions(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (!name.starts_with("--")) {
            if (!options.input.empty()) {
                return std::nullopt;
            }
            options.input = name;
            continue;
        }
        if (++i == argc) {
            return std::nullopt;
        }
        const std::string_view value = argv[i];
        if (name == "--svg") {
            options.svg = value;
        } else if (name == "--stl") {
            options.stl = value;
        } else if (name == "--tolerance") {
            const auto tolerance = LengthOf(value);
            if (!tolerance) {
                return std::nullopt;
            }
            options.tolerance = *tolerance;
        } else {
            return std::nullopt;
        }
    }
    return options.input.empty() ? std::nullopt : std::optional(options);
}

Findings FindingsOf(Sorvane::Mesh::IndexedPointsBase<3, double> mesh, const Report& report)
{
    Findings findings;
    findings.mesh = std::move(mesh);
    const auto edgeOf = [&](int slot) {
        const int* const corner = findings.Corners(slot / 3);
        return Findings::Edge(std::minmax(corner[slot % 3], corner[(slot + 1) % 3]));
    };
    findings.turned = report.misorientedTriangles;
    findings.folded = report.foldedTriangles;
    findings.slivers = report.degenerateTriangles;
    std::set<Findings::Edge> crowded;
    for (const int slot : report.nonManifoldSlots) {
        crowded.insert(edgeOf(slot));
    }
    for (const int slot : report.openSlots) {
        const Findings::Edge edge = edgeOf(slot);
        (crowded.count(edge) > 0 ? findings.crowdedEdges : findings.boundaryEdges).push_back(edge);
    }
    return findings;
}

/// Number of chains that the edges form.
std::size_t ChainCount(const std::vector<Findings::Edge>& edges)
{
    std::map<int, int> above; // toward the chain's representative
    const auto top = [&](int point) {
        int at = above.try_emplace(point, point).first->first;
        while (above[at] != at) {
            at = above[at] = above[above[at]];
        }
        return at;
    };
    for (const auto& [a, b] : edges) {
        above[top(a)] = top(b);
    }
    return static_cast<std::size_t>(std::count_if(
        above.begin(), above.end(), [](const auto& entry) { return entry.first == entry.second; }));
}

void PrintPlaces(const char* what, std::size_t count,
                 const std::function<Vec3d(std::size_t)>& place)
{
    constexpr std::size_t kMostPlaces = 4;
    for (std::size_t i = 0; i < std::min(count, kMostPlaces); ++i) {
        const Vec3d p = place(i);
        std::printf("              %s (%.6g, %.6g, %.6g)\n", what, p.x(), p.y(), p.z());
    }
    if (count > kMostPlaces) {
        std::printf("              and %zu more\n", count - kMostPlaces);
    }
}

void PrintEdges(const Findings& findings, const std::vector<Findings::Edge>& edges)
{
    PrintPlaces("edge near", edges.size(), [&](std::size_t i) {
        return (findings.Point(edges[i].first) + findings.Point(edges[i].second)) / 2;
    });
}

void PrintTriangles(const Findings& findings, const std::vector<int>& triangles)
{
    PrintPlaces("triangle near", triangles.size(), [&](std::size_t i) {
        const int* const corner = findings.Corners(triangles[i]);
        return (findings.Point(corner[0]) + findings.Point(corner[1]) + findings.Point(corner[2])) /
               3;
    });
}

const char* Plural(std::size_t count) { return count == 1 ? "" : "s"; }

void PrintMeasures(const Findings& findings, const Report& report)
{
    const std::size_t count = findings.mesh.indices.size() / 3;
    const auto [low, high] = findings.Box();
    std::printf("mesh          %zu triangles on %zu points, corners joined within %g\n", count,
                findings.mesh.points.size(), report.tolerance);
    std::printf("box           (%.6g, %.6g, %.6g) to (%.6g, %.6g, %.6g)\n", low.x(), low.y(),
                low.z(), high.x(), high.y(), high.z());
    std::printf("surface       area %.8g, mean edge %.6g\n",
                report.meanTriangleArea * static_cast<double>(count), report.meanEdgeLength);
    std::printf("volume        %.8g, center (%.6g, %.6g, %.6g)\n", report.volume,
                report.centroid.x(), report.centroid.y(), report.centroid.z());
}

/// One paragraph for each kind of defect; the number of kinds.
int PrintDefects(const Findings& findings, const Report& report)
{
    int kinds = 0;
    if (!std::isfinite(report.meanEdgeLength)) {
        ++kinds;
        std::printf("NUMBERS       some coordinates are no numbers, or far too large\n");
    }
    if (const std::size_t count = findings.boundaryEdges.size(); count > 0) {
        ++kinds;
        const std::size_t chains = ChainCount(findings.boundaryEdges);
        std::printf("OPEN          %zu edge%s only one triangle: %zu hole%s or crack%s; the "
                    "volume means nothing\n",
                    count, count == 1 ? " has" : "s have", chains, Plural(chains), Plural(chains));
        PrintEdges(findings, findings.boundaryEdges);
        const auto gaps =
            Sorvane::MeshUtils::CheckGaps(findings.mesh.points, findings.mesh.indices);
        if (!gaps.invalidMesh && gaps.gap > 0 && gaps.gap < 1e154) {
            std::printf("              the open components lie up to %.6g apart\n", gaps.gap);
        }
    }
    if (const std::size_t count = findings.crowdedEdges.size(); count > 0) {
        ++kinds;
        std::printf("CROWDED       %zu edge%s shared by three or more triangles: walls without "
                    "thickness, or bodies that touch\n",
                    count, count == 1 ? " is" : "s are");
        PrintEdges(findings, findings.crowdedEdges);
    }
    if (const std::size_t count = findings.turned.size(); count > 0) {
        ++kinds;
        std::printf(
            "TURNED        %zu triangle%s wound against a neighbor: one of each pair has its "
            "outside inside\n",
            count, count == 1 ? " is" : "s are");
        PrintTriangles(findings, findings.turned);
    }
    if (const std::size_t count = findings.slivers.size(); count > 0) {
        ++kinds;
        std::printf("SLIVERS       %zu triangle%s no higher than %g\n", count,
                    count == 1 ? " is" : "s are", 2 * report.tolerance);
        PrintTriangles(findings, findings.slivers);
    }
    if (const std::size_t count = findings.folded.size(); count > 0) {
        ++kinds;
        std::printf(
            "FOLDED        %zu triangle%s against a neighbor: folded back onto it, or turned "
            "over\n",
            count, count == 1 ? " faces" : "s face");
        PrintTriangles(findings, findings.folded);
    }
    if (report.openSlots.empty() && report.volume < 0) {
        ++kinds;
        std::printf("INSIDE OUT    the volume is negative: all triangles face into the material\n");
    }
    return kinds;
}

/// False, and said so, when something can't be written.
bool WritePictures(const Findings& findings, const Options& options)
{
    if (!options.svg.empty()) {
        if (!SavePicture(PictureOf(findings, options.input.filename().string()),
                         options.svg.string())) {
            return false;
        }
        std::printf("wrote         %s\n", options.svg.string().c_str());
    }
    if (!options.stl.empty()) {
        const auto faults = FaultMesh(findings);
        if (faults.indices.empty()) {
            std::printf("not written   %s: there is no fault to show\n",
                        options.stl.string().c_str());
            return true;
        }
        using namespace Sorvane::MeshUtils;
        if (!Tell(WriteMesh(faults, options.stl, MeshFileForm::BinaryStl), options.stl)) {
            return false;
        }
        std::printf("wrote         %s\n", options.stl.string().c_str());
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr,
                     "usage: mesh_report PART [--tolerance LENGTH] [--svg FILE] [--stl FILE]\n"
                     "exit codes: 0 sound, 1 defects, 2 no report\n");
        return kNoReport;
    }
    Sorvane::Mesh::TriangleSoup<3, double> soup;
    const auto result = Sorvane::MeshUtils::ReadMesh(soup, options->input);
    if (!Tell(result, options->input)) {
        return kNoReport;
    }

    const Report report = Sorvane::MeshUtils::CheckMesh(soup, options->tolerance);
    const Findings findings =
        FindingsOf(Sorvane::Mesh::IndexedPointsFromSoup(soup, true, options->tolerance), report);
    std::printf("part          %s, %s\n", options->input.filename().string().c_str(),
                MeshFileText(result).c_str());
    PrintMeasures(findings, report);
    const int kinds = PrintDefects(findings, report);
    if (kinds == 0) {
        std::printf("verdict       sound: closed, wound outward, no slivers, no folds\n");
    } else {
        std::printf("verdict       DEFECTIVE: %d kind%s of fault\n", kinds,
                    Plural(static_cast<std::size_t>(kinds)));
    }
    if (!WritePictures(findings, *options)) {
        return kNoReport;
    }
    return kinds == 0 ? kSound : kDefective;
}
