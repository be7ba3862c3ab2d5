// The smallest block that a part fits into when it may be turned.
//
//   stock_box PART
//
// Exit codes: 0 done, 1 not read, or no more than a line, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/OrientedBox_E.h>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: stock_box PART\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const auto asItIs = Bounding::BoxOfPoints(part.points);
    const Vec3d extent = asItIs.max - asItIs.min;
    std::printf("as it stands %.6g x %.6g x %.6g, volume %.6g\n", extent[0], extent[1], extent[2],
                extent[0] * extent[1] * extent[2]);
    TransformBase<3> place; // of the box
    Vec3d size;
    if (!Bounding::MinimalOrientedBox(part.points, place, size)) {
        std::fprintf(stderr, "%s: no more than a line\n", argv[1]);
        return 1;
    }
    std::printf("turned %.6g x %.6g x %.6g, volume %.6g\n", size[0], size[1], size[2],
                size[0] * size[1] * size[2]);
    return 0;
}
