// Draws the octree cells that the surface of a part meets.
//
//   surface_cells PART DEPTH picture.svg [CELLS.stl]
//
// DEPTH from 1 to 9. Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/MaterialTree_E.h>
#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/TreeAddress_E.h>
#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numeric>
#include <optional>
#include <vector>

namespace {

using namespace PartDrawing;

/// Descent into the cells that triangles meet.
struct SurfaceCells {
    const Part& part;
    Vec3d corner;
    double edge;
    unsigned int deepest;
    std::vector<unsigned long long> codes = {}; // at the deepest level, ascending

    void Descend(const std::array<unsigned int, 3>& cell, unsigned int depth,
                 const std::vector<std::size_t>& triangles)
    {
        const double size = std::ldexp(edge, -static_cast<int>(depth));
        const Vec3d low = corner + Vec3d(cell[0], cell[1], cell[2]) * size;
        const Vec3d high = low + Vec3d(size, size, size);
        std::vector<std::size_t> meeting;
        for (const std::size_t t : triangles) {
            if (Intersect::TriangleAABB(CornerOf(part, 3 * t), CornerOf(part, 3 * t + 1),
                                        CornerOf(part, 3 * t + 2), low, high)) {
                meeting.push_back(t);
            }
        }
        if (meeting.empty()) {
            return;
        }
        if (depth == deepest) {
            const unsigned int width = 1U << (21 - depth); // on the curve's grid of integers
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

} // namespace

int main(int argc, char** argv)
{
    const std::optional<double> depth =
        argc == 4 || argc == 5 ? NumberOf(argv[2]) : std::optional<double>();
    if (!depth || !(*depth >= 1 && *depth <= 9)) {
        std::fprintf(stderr, "usage: surface_cells PART DEPTH picture.svg [CELLS.stl]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const auto box = Bounding::BoxOfPoints(part.points);
    const Vec3d extent = box.max - box.min;
    // A little more than the part's own extent, and no round share of it, so that plane faces of
    // the part don't lie in the faces between cells.
    const double edge = 1.0371 * std::max({extent[0], extent[1], extent[2]});
    const Vec3d corner = (box.min + box.max) * 0.5 - Vec3d(edge, edge, edge) * 0.5;
    const auto levels = static_cast<unsigned int>(*depth);
    SurfaceCells cells{part, corner, edge, levels};
    std::vector<std::size_t> all(TriangleCount(part));
    std::iota(all.begin(), all.end(), std::size_t{0});
    cells.Descend({0, 0, 0}, 0, all);

    Part voxels;
    Tree::BuildVoxelMesh(cells.codes, Vec3d(edge, edge, edge), corner, levels, voxels.points,
                         voxels.indices);
    std::printf("%zu cells of edge %.6g, %zu triangles\n", cells.codes.size(),
                std::ldexp(edge, -static_cast<int>(levels)), TriangleCount(voxels));
    SvgWriter picture(kPictureSize);
    picture.AddMesh(voxels, kView, WireStyle());
    const bool isWritten = argc < 5 || WritePart(voxels, argv[4]);
    return SavePicture(picture, argv[3]) && isWritten ? 0 : 1;
}
