// What surrounds a part: its box, its smallest enclosing sphere, its convex hull, and the octree
// cells that its surface meets.
//
//   mesh_bounds PART [--depth D] [--out FOLDER]
//
// D is the octree's depth, 1 to 9 (default 5): cells of 1 / 2^D of the root cube, which holds the
// part with some room. With a folder the hull and the cells are written there as STL files.
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/TreeAddress_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <string_view>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
namespace fs = std::filesystem;
using Part = Mesh::IndexedPointsBase<3, double>;

struct Options {
    fs::path input;
    fs::path outputFolder;
    unsigned int depth = 5;
};

bool ParseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--depth" && i + 1 < argc) {
            const std::string_view number = argv[++i];
            const auto [end, error] =
                std::from_chars(number.data(), number.data() + number.size(), options.depth);
            if (error != std::errc{} || end != number.data() + number.size() || options.depth < 1 ||
                options.depth > 9) {
                return false;
            }
        } else if (word == "--out" && i + 1 < argc) {
            options.outputFolder = argv[++i];
        } else if (word.starts_with("--") || !options.input.empty()) {
            return false;
        } else {
            options.input = word;
        }
    }
    return !options.input.empty();
}

// Volume by the divergence theorem, about a point of the part so that no digits are lost far from
// the origin.
double Volume(const Part& part)
{
    double sixfold = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return part.points[static_cast<std::size_t>(part.indices[i + k])] - part.points.front();
        };
        sixfold += corner(0) * (corner(1) ^ corner(2));
    }
    return sixfold / 6;
}

double Area(const Part& part)
{
    const std::vector<double> areas = Mesh::Areas(part);
    return std::accumulate(areas.begin(), areas.end(), 0.0);
}

// Octree descent: the cells of each depth that triangles meet.
struct SurfaceCells {
    const Part& part;
    Vec3d rootCorner;
    double rootEdge;
    unsigned int deepest;
    std::vector<std::size_t> countAtDepth;
    std::vector<unsigned long long> codes; // at the deepest level, ascending

    void Descend(const std::array<unsigned int, 3>& cell, unsigned int depth,
                 const std::vector<std::size_t>& triangles)
    {
        const double edge = std::ldexp(rootEdge, -static_cast<int>(depth));
        const Vec3d low = rootCorner + Vec3d(cell[0], cell[1], cell[2]) * edge;
        const Vec3d high = low + Vec3d(edge, edge, edge);
        std::vector<std::size_t> meeting;
        for (const std::size_t triangle : triangles) {
            const auto corner = [&](std::size_t k) -> const Vec3d& {
                return part.points[static_cast<std::size_t>(part.indices[3 * triangle + k])];
            };
            if (Intersect::TriangleAABB(corner(0), corner(1), corner(2), low, high)) {
                meeting.push_back(triangle);
            }
        }
        if (meeting.empty()) {
            return;
        }
        ++countAtDepth[depth];
        if (depth == deepest) {
            const unsigned int width = 1u
                                       << (21 - depth); // of the cell, on the curve's integer grid
            codes.push_back(
                Tree::MortonCurve::Encode3D(cell[0] * width, cell[1] * width, cell[2] * width));
            return;
        }
        for (unsigned int child = 0; child < 8; ++child) {
            Descend({2 * cell[0] + (child & 1), 2 * cell[1] + (child >> 1 & 1),
                     2 * cell[2] + (child >> 2 & 1)},
                    depth + 1, meeting);
        }
    }
};

SurfaceCells CellsOfSurface(const Part& part,
                            const Bounding::AxisAlignedBoundingBox<3, double>& box,
                            unsigned int depth)
{
    const Vec3d extent = box.max - box.min;
    // A little more than the part's own extent, and no round share of it, so that plane faces of
    // the part don't lie in the faces between cells.
    const double edge = 1.0371 * std::max({extent[0], extent[1], extent[2]});
    const Vec3d center = (box.min + box.max) * 0.5;
    SurfaceCells cells{part, center - Vec3d(edge, edge, edge) * 0.5, edge, depth, {}, {}};
    cells.countAtDepth.resize(depth + 1);
    std::vector<std::size_t> all(part.indices.size() / 3);
    std::iota(all.begin(), all.end(), std::size_t{0});
    cells.Descend({0, 0, 0}, 0, all);
    return cells;
}

bool Write(const Part& part, const fs::path& file)
{
    return Tell(MeshUtils::WriteMesh(part, file), file);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        std::fprintf(stderr, "usage: mesh_bounds PART [--depth 1..9] [--out FOLDER]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, options.input, 0.0)) {
        return 1;
    }
    const auto box = Bounding::BoxOfPoints(part.points);
    const Vec3d extent = box.max - box.min;
    std::printf("part: %zu triangles, volume %.6g, area %.6g\n", part.indices.size() / 3,
                Volume(part), Area(part));
    std::printf("box: %.6g x %.6g x %.6g\n", extent[0], extent[1], extent[2]);

    const auto ball = Bounding::BoundingSphereOfPoints(part.points, false);
    std::printf("sphere: radius %.6g about (%.6g, %.6g, %.6g)\n", ball.radius, ball.center[0],
                ball.center[1], ball.center[2]);

    Part hull;
    if (Bounding::ConvexHull(part.points, hull.points, hull.indices, false, false)) {
        std::printf("hull: %zu triangles on %zu points, volume %.6g, area %.6g\n",
                    hull.indices.size() / 3, hull.points.size(), Volume(hull), Area(hull));
    } else {
        std::printf("hull: none, the part is flat\n");
    }

    const SurfaceCells cells = CellsOfSurface(part, box, options.depth);
    std::printf("octree cells that meet the surface:\n");
    for (std::size_t depth = 1; depth < cells.countAtDepth.size(); ++depth) {
        std::printf("  depth %zu, edge %.5g: %zu\n", depth,
                    std::ldexp(cells.rootEdge, -static_cast<int>(depth)),
                    cells.countAtDepth[depth]);
    }
    if (options.outputFolder.empty()) {
        return 0;
    }
    Part voxels;
    Tree::BuildVoxelMesh(cells.codes, Vec3d(cells.rootEdge, cells.rootEdge, cells.rootEdge),
                         cells.rootCorner, options.depth, voxels.points, voxels.indices);
    std::error_code error;
    fs::create_directories(options.outputFolder, error);
    const bool isWritten =
        (hull.indices.empty() || Write(hull, options.outputFolder / "hull.stl")) &&
        Write(voxels, options.outputFolder / "voxels.stl");
    return isWritten ? 0 : 1;
}
