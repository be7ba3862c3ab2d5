// Lowers a ball mill on a part at each position of a raster, and checks its holder.
//
//   drop_cutter PART DIAMETER
//
// Exit codes: 0 done, 1 not read, 2 wrong use, 3 the holder gouges somewhere.

#include "Arguments.h"
#include "PartFiles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ContactSurface_E.h>

#include <algorithm>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    const double diameter = argc == 3 ? LengthOf(argv[2]).value_or(0) : 0;
    if (diameter == 0) {
        std::fprintf(stderr, "usage: drop_cutter PART DIAMETER\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const Mill::ConvexToolContact ball({.lowerCornerRadius = diameter / 2,
                                        .lowerCornerAngle = kPi<double> / 2,
                                        .shankLength = diameter});
    const auto box = Bounding::BoxOfPoints(part.points);
    Mill::DropRaster raster{{box.min[0], box.min[1]}, {}, 50, 50};
    raster.step = {(box.max[0] - box.min[0]) / 49, (box.max[1] - box.min[1]) / 49};

    const Mill::ContactSurface surface(part.points, part.indices); // prepared once
    const Mill::SurfaceDrops drops = surface.DropOnRaster(ball, raster, {});
    std::vector<Vec3d> tips;
    for (int i = 0; i < raster.rows * raster.columns; ++i) {
        if (drops.triangles[static_cast<std::size_t>(i)] >= 0) { // otherwise nothing is below
            tips.push_back({raster.origin[0] + i % raster.columns * raster.step[0],
                            raster.origin[1] + i / raster.columns * raster.step[1],
                            drops.heights[static_cast<std::size_t>(i)]});
        }
    }
    // A holder of three times the diameter, from twice the diameter above the tip on.
    const std::vector<Mill::ToolPart> holder{
        {{.tipRadius = 1.5 * diameter, .shankLength = diameter}, 2 * diameter}};
    const auto gouges = surface.FindGouges(holder, tips, 1e-9, {});
    const auto count = std::count_if(gouges.begin(), gouges.end(),
                                     [](const auto& gouge) { return !gouge.isClear; });
    std::printf("%zu positions touch, the holder gouges at %td\n", tips.size(), count);
    return count == 0 ? 0 : 3;
}
