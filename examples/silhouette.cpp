// The shadow of a part along z, and the outline that it sweeps when it spins about the z axis:
// areas, sizes, and a picture of both.
//
//   silhouette PART PICTURE.svg [STEP]
//
// STEP: distance of the samples along the axis, a five-hundredth of the height unless told. Exit
// codes: 0 done, 1 a file can't be read or written, or the part has no shadow, 2 wrong use.

#include "Arguments.h"
#include "PartFiles.h"
#include "PictureOutput.h"

#include <Sorvane/Silhouette_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    const std::optional<double> step = argc == 4 ? LengthOf(argv[3]) : std::optional(0.0);
    if (argc < 3 || argc > 4 || !step) {
        std::fprintf(stderr, "usage: silhouette PART PICTURE.svg [STEP]\n");
        return 2;
    }
    Mesh::IndexedPointsBase<3, double> part;
    if (!ReadWeldedPart(part, argv[1], 0)) {
        return 1;
    }
    double resolution = 0;
    const auto shadow = Planar::SilhouetteBoundaries(part, &resolution);
    if (shadow.empty()) {
        std::fprintf(stderr, "%s: has no shadow\n", argv[1]);
        return 1;
    }
    double area = 0;
    double right = shadow[0][0].x();
    double bottom = shadow[0][0].y();
    for (const auto& loop : shadow) {
        area += Vector::SignedArea(loop);
        for (const Vec2d& p : loop) {
            right = std::max(right, p.x());
            bottom = std::min(bottom, p.y());
        }
    }
    std::printf("shadow: %zu loops, area %.6f, exact to %.2g\n", shadow.size(), area, resolution);

    double low = part.points[0].z();
    double high = low;
    for (const Vec3d& p : part.points) {
        low = std::min(low, p.z());
        high = std::max(high, p.z());
    }
    const auto outline = Planar::SpinBoundary(part, *step > 0 ? *step : (high - low) / 500);
    double radius = 0;
    for (const Vec2d& p : outline) {
        radius = std::max(radius, p.x());
    }
    std::printf("spun about z: radius %.6f, height %.6f, %zu points\n", radius, high - low,
                outline.size());

    const Drawing::SvgStyle dark{"#1f4e79", "#c9dcef", 1.5};
    const Drawing::SvgStyle turned{"#a04000", "#f6ddcc", 1.5};
    Drawing::SvgWriter picture(900);
    picture.SetTitle("Shadow and spun outline");
    picture.AddRegion(shadow, dark);
    if (!outline.empty()) {
        // Beside the shadow, about an axis of its own.
        const Vec2d axis(right + radius + 0.1 * (radius + high - low), bottom - low);
        std::vector<Vec2d> both;
        for (const Vec2d& p : outline) {
            both.push_back(axis + p);
        }
        for (std::size_t i = outline.size(); i-- > 0;) {
            both.push_back(axis + Vec2d(-outline[i].x(), outline[i].y()));
        }
        picture.AddRegion({both}, turned);
        picture.AddPolyline({axis + Vec2d(0, low), axis + Vec2d(0, high)},
                            {"#a04000", "none", 1, true});
        picture.AddLegend("spun about the z axis", turned);
    }
    picture.AddLegend("shadow along the z axis", dark);
    return SavePicture(picture, argv[2]) ? 0 : 1;
}
