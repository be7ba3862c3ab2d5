// The shadow of a part along z, and the outline that it sweeps when it spins about the z axis.
//
//   silhouette PART PICTURE.svg
//
// Exit codes: 0 done, 1 not read, not written, or without a shadow, 2 wrong use.

#include "PartFiles.h"
#include "PictureOutput.h"

#include <Sorvane/Silhouette_E.h>
#include <Velk/Math/Vector_E.h>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: silhouette PART PICTURE.svg\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0)) {
        return 1;
    }
    double resolution = 0; // of the grid that the union of all triangles is formed on
    const auto shadow = Planar::SilhouetteBoundaries(part, &resolution);
    if (shadow.empty()) {
        std::fprintf(stderr, "%s: has no shadow\n", argv[1]);
        return 1;
    }
    double area = 0;
    for (const auto& loop : shadow) {
        area += Vector::SignedArea(loop); // holes are negative
    }
    std::printf("shadow: %zu loops, area %.6f, exact to %.2g\n", shadow.size(), area, resolution);

    constexpr double kStep = 0.1; // distance of the samples along the axis
    const std::vector<Vec2d> spun = Planar::SpinBoundary(part, kStep); // (radius, z)
    std::printf("spun about z: an outline of %zu points\n", spun.size());

    Drawing::SvgWriter picture(640);
    picture.AddRegion(shadow, {"#1f4e79", "#c9dcef", 1.5});
    picture.AddPolyline(spun, {"#a04000", "none", 1.5});
    return SavePicture(picture, argv[2]) ? 0 : 1;
}
