// Draws a sheet of triangular patches, each cut by a mask that tells which of its nodes lie inside
// a region: the three styles side by side.
//
//   node_masks > node-masks.svg

#include "PictureOutput.h"

#include <Sorvane/LevelOfDetail_E.h>
#include <Sorvane/SvgWriter_E.h>

#include <array>
#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgStyle;
using Mesh::LOD::NodeMask;
using Patch = std::array<Vec2d, 3>;

/// The region: a disc with a wavy outline.
bool IsInRegion(const Vec2d& p)
{
    const double angle = std::atan2(p.y(), p.x());
    return std::hypot(p.x(), p.y()) < 0.68 + 0.16 * std::cos(5 * angle);
}

Vec2d PointOf(const Patch& patch, const Vec2d& uv)
{
    return patch[0] * uv.x() + patch[1] * uv.y() + patch[2] * (1 - uv.x() - uv.y());
}

NodeMask MaskOf(const Patch& patch, unsigned int level)
{
    std::vector<bool> inside;
    for (const Vec2d& uv : Mesh::LOD::TriangleUVs(level)) {
        inside.push_back(IsInRegion(PointOf(patch, uv)));
    }
    return {level, inside};
}

/// Six patches around the origin.
std::vector<Patch> Hexagon()
{
    std::vector<Patch> patches;
    for (int i = 0; i < 6; ++i) {
        const double angle = i * 1.0471975511965976;
        const double next = (i + 1) * 1.0471975511965976;
        patches.push_back(
            {{{0, 0}, {std::cos(angle), std::sin(angle)}, {std::cos(next), std::sin(next)}}});
    }
    return patches;
}

Mesh::IndexedPointsBase<2, double> Placed(Mesh::IndexedPointsBase<2, double> region,
                                          const Patch& patch, const Vec2d& shift)
{
    for (Vec2d& point : region.points) {
        point = PointOf(patch, point) + shift;
    }
    return region;
}

} // namespace

int main()
{
    constexpr unsigned int kLevel = 4;
    Drawing::SvgWriter picture(960);
    Vec2d shift;
    for (const auto style :
         {NodeMask::Midpoints, NodeMask::Centroids, NodeMask::CentroidsAndMidpoints}) {
        for (const Patch& patch : Hexagon()) {
            const NodeMask::TessellationRegions regions = MaskOf(patch, kLevel).Tessellate(style);
            picture.AddTriangles(Placed(regions.outside, patch, shift),
                                 {"#c8c8c8", "#f4f4f4", 0.7});
            picture.AddTriangles(Placed(regions.inside, patch, shift), {"#1f4e79", "#b8d0e8", 0.7});
            picture.AddRegion({{patch[0] + shift, patch[1] + shift, patch[2] + shift}},
                              {"#555555", "none", 1.6});
        }
        shift = shift + Vec2d(2.2, 0);
    }
    return PrintPicture(picture);
}
