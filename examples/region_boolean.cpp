// Unites, subtracts and intersects two regions, and dilates the first by a disc.
//
//   region_boolean RADIUS PICTURE.svg
//
// Exit codes: 0 done, 1 not written, 2 wrong use.

#include "Arguments.h"
#include "PictureOutput.h"

#include <Sorvane/Minkowski_E.h>
#include <Sorvane/PlanarRegions_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <cmath>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Loops = std::vector<std::vector<Vec2d>>;

int main(int argc, char** argv)
{
    const auto radius = argc == 3 ? LengthOf(argv[1]) : std::nullopt;
    if (!radius || *radius == 0) {
        std::fprintf(stderr, "usage: region_boolean RADIUS PICTURE.svg\n");
        return 2;
    }
    // Loops that run against the others are holes: a plate with a window, and a bar across it.
    const Loops plate{{{0, 0}, {30, 0}, {30, 20}, {0, 20}}, {{5, 5}, {5, 15}, {15, 15}, {15, 5}}};
    const Loops bar{{{10, -5}, {20, -5}, {20, 25}, {10, 25}}};
    std::vector<Vec2d> disc;
    for (int i = 0; i < 64; ++i) {
        const double angle = kTwoPi<double> * i / 64;
        disc.push_back({*radius * std::cos(angle), *radius * std::sin(angle)});
    }
    double resolution = 0; // of the grid that crossings are rounded to
    const Loops united = Planar::Union(Loops{plate[0], plate[1], bar[0]}, &resolution);
    const Loops rest = Planar::Difference(plate, bar, &resolution);
    const Loops common = Planar::Intersection(plate, bar, &resolution);
    const Loops grown = Planar::DilateArea(disc, plate[0], {plate[1]}, &resolution);
    for (const Loops& loops : {united, rest, common, grown}) {
        double area = 0;
        for (const auto& loop : loops) {
            area += Vector::SignedArea(loop);
        }
        std::printf("%zu loops, area %.6f\n", loops.size(), area);
    }
    Drawing::SvgWriter picture(640);
    picture.AddRegion(grown, {"#1f4e79", "#e8eef4", 2});
    picture.AddRegion(plate, {"#222222", "#b9c7d6", 2});
    return SavePicture(picture, argv[2]) ? 0 : 1;
}
