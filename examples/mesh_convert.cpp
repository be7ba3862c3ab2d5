// Reads a part, welds it, measures it, moves it, and writes it back in every format.
//
//   mesh_convert PART [--weld TOLERANCE] [--scale FACTOR] [--rotate-z DEGREES] [--move X,Y,Z]
//                [--out FOLDER]
//
// Exit codes: 0 done, 1 the file can't be read or written, 2 wrong use.

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include "Arguments.h"
#include "PartFiles.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

using namespace Velk::Math;
namespace fs = std::filesystem;
using PartMesh = Sorvane::Mesh::IndexedPointsBase<3, double>;

namespace {

struct Options {
    fs::path input;
    fs::path outputFolder = ".";
    double weldTolerance = 1e-6;
    double scale = 1.0;
    double rotateDegrees = 0.0;
    Vec3d move;
};

std::optional<Vec3d> ParseTriple(std::string_view text)
{
    Vec3d triple;
    for (int axis = 0; axis < 3; ++axis) {
        const std::size_t comma = text.find(',');
        if ((comma == std::string_view::npos) != (axis == 2)) {
            return std::nullopt;
        }
        const auto value = NumberOf(text.substr(0, comma));
        if (!value) {
            return std::nullopt;
        }
        triple[axis] = *value;
        text.remove_prefix(axis == 2 ? text.size() : comma + 1);
    }
    return triple;
}

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
        std::optional<double> number = NumberOf(value);
        if (name == "--out") {
            options.outputFolder = value;
        } else if (name == "--move") {
            const auto triple = ParseTriple(value);
            if (!triple) {
                return std::nullopt;
            }
            options.move = *triple;
        } else if (name == "--weld" && number) {
            options.weldTolerance = *number;
        } else if (name == "--scale" && number) {
            options.scale = *number;
        } else if (name == "--rotate-z" && number) {
            options.rotateDegrees = *number;
        } else {
            return std::nullopt;
        }
    }
    return options.input.empty() ? std::nullopt : std::optional(options);
}

std::optional<PartMesh> ReadAndWeld(const Options& options)
{
    PartMesh mesh;
    const auto result = Sorvane::MeshUtils::ReadMesh(mesh, options.input);
    if (!Tell(result, options.input)) {
        return std::nullopt;
    }
    const std::size_t read = mesh.points.size();
    Sorvane::Mesh::FilterForUniqueness(mesh, options.weldTolerance);
    std::printf("read      %s, %zu triangles\n", MeshFileText(result).c_str(),
                mesh.indices.size() / 3);
    std::printf("welded    %zu points to %zu, tolerance %g\n", read, mesh.points.size(),
                options.weldTolerance);
    return mesh;
}

/// Extent, area, volume, and how many edges are not run as often one way as the other.
void Measure(const char* when, const PartMesh& mesh)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    Vec3d low{kInfinity, kInfinity, kInfinity};
    Vec3d high = -low;
    for (const Vec3d& p : mesh.points) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }

    double area = 0;
    double volume = 0;
    std::map<std::pair<int, int>, int> balance;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        const int* corner = &mesh.indices[i];
        // Relative to a corner of the box, so that a part far from zero keeps its digits.
        const Vec3d a = mesh.points[static_cast<std::size_t>(corner[0])] - low;
        const Vec3d b = mesh.points[static_cast<std::size_t>(corner[1])] - low;
        const Vec3d c = mesh.points[static_cast<std::size_t>(corner[2])] - low;
        area += Vector::Length((b - a) ^ (c - a)) / 2;
        volume += (a ^ b) * c / 6;
        for (int k = 0; k < 3; ++k) {
            const int from = corner[k];
            const int to = corner[(k + 1) % 3];
            balance[std::minmax(from, to)] += from < to ? 1 : -1;
        }
    }
    const auto open = std::count_if(balance.begin(), balance.end(),
                                    [](const auto& edge) { return edge.second != 0; });

    std::printf("%-9s box (%.6g, %.6g, %.6g) to (%.6g, %.6g, %.6g)\n", when, low.x(), low.y(),
                low.z(), high.x(), high.y(), high.z());
    std::printf("          area %.9g, volume %.9g, %s\n", area, volume,
                open == 0 ? "closed" : (std::to_string(open) + " unmatched edges").c_str());
}

void Move(PartMesh& mesh, const Options& options)
{
    const auto turn = Transform::InflateDimension(
        Transform::BuildRotationFromAngle(options.rotateDegrees * kRadiansPerDegree));
    const auto transform = Transform::BuildTranslationTransform(options.move) * turn *
                           Transform::BuildScaleTransform(options.scale);
    mesh.points = transform * mesh.points;
}

bool WriteAll(const PartMesh& mesh, const Options& options)
{
    using namespace Sorvane::MeshUtils;
    std::error_code error;
    fs::create_directories(options.outputFolder, error);
    const fs::path stem = options.outputFolder / options.input.stem();
    const auto named = [&](const char* ending) { return fs::path(stem.string() + ending); };
    const auto report = [](const fs::path& path) {
        std::printf("wrote     %s, %llu bytes\n", path.string().c_str(),
                    static_cast<unsigned long long>(fs::file_size(path)));
        return true;
    };
    const auto write = [&](const char* ending, MeshFileForm form) {
        const fs::path path = named(ending);
        return Tell(WriteMesh(mesh, path, form), path) && report(path);
    };
    if (!write("_moved.stl", MeshFileForm::BinaryStl) ||
        !write("_moved_ascii.stl", MeshFileForm::AsciiStl) ||
        !write("_moved.tipc", MeshFileForm::Tipc)) {
        return false;
    }
    const fs::path points = named("_moved_points.txt");
    if (!WriteArdenwickPointsFile(mesh.points, points.string())) {
        std::fprintf(stderr, "%s: can't be written\n", points.string().c_str());
        return false;
    }
    return report(points);
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr,
                     "usage: mesh_convert PART [--weld TOLERANCE] [--scale FACTOR]\n"
                     "                    [--rotate-z DEGREES] [--move X,Y,Z] [--out FOLDER]\n");
        return 2;
    }
    std::printf("part      %s\n", options->input.string().c_str());
    auto mesh = ReadAndWeld(*options);
    if (!mesh) {
        return 1;
    }
    Measure("measured", *mesh);
    Move(*mesh, *options);
    Measure("moved", *mesh);
    return WriteAll(*mesh, *options) ? 0 : 1;
}
