// Draws a part: its triangles in shades from far to near, its creases and boundary edges, and the
// level lines of its height, as an SVG.
//
//   part_picture PART PICTURE.svg [level distance]
//
// Lines that the part hides are left out triangle by triangle: a triangle that faces away draws
// nothing, and what is nearer is painted over what is farther. Exit codes: 0 done, 1 a file can't
// be read or written, 2 wrong use.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "TextOutput.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;

constexpr double kCreaseAngle = std::numbers::pi / 6;
constexpr double kLevelDistance = 5;
constexpr int kMostLevels = 10'000;

void DrawTriangle(std::FILE* svg, const View& view, const Part& part, std::size_t triangle,
                  const Vec3d& normal, const std::vector<double>& creases, double levelDistance)
{
    std::array<Vec3d, 3> corner;
    for (std::size_t k = 0; k < 3; ++k) {
        corner[k] = part.points[static_cast<std::size_t>(part.indices[3 * triangle + k])];
    }
    DrawFilled(svg, view, part, triangle, normal);

    const auto [low, high] = std::minmax({corner[0][2], corner[1][2], corner[2][2]});
    for (double step = std::ceil(low / levelDistance); step * levelDistance < high; ++step) {
        std::array<Vec3d, 2> chord;
        if (Mesh::IsoSegmentFromTriangle(corner[0], corner[1], corner[2], corner[0][2],
                                         corner[1][2], corner[2][2], step * levelDistance, chord)) {
            DrawLine(svg, view, chord[0], chord[1], "level");
        }
    }
    for (std::size_t k = 0; k < 3; ++k) {
        const double angle = creases[3 * triangle + k];
        if (angle > kCreaseAngle) { // 2 pi where there is no neighbor
            DrawLine(svg, view, corner[k], corner[(k + 1) % 3], angle > 6 ? "open" : "crease");
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    const auto levelDistance = argc == 4 ? LengthOf(argv[3]) : std::optional(kLevelDistance);
    if (argc < 3 || argc > 4 || !levelDistance || *levelDistance == 0) {
        std::fprintf(stderr, "usage: part_picture PART PICTURE.svg [level distance]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const auto [low, high] =
        std::minmax_element(part.points.begin(), part.points.end(),
                            [](const Vec3d& p, const Vec3d& q) { return p[2] < q[2]; });
    if (((*high)[2] - (*low)[2]) / *levelDistance > kMostLevels) {
        std::fprintf(stderr, "%s: more than %d level lines of distance %g\n", argv[1], kMostLevels,
                     *levelDistance);
        return 2;
    }

    TextOutput svg(argv[2]);
    if (!svg.IsOpen()) {
        return 1;
    }
    const View view(part.points);
    const std::vector<double> creases = Mesh::CreaseAngles(part, false);

    std::fprintf(svg.File(),
                 "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g'><style>"
                 "path{stroke-width:.5;stroke-linejoin:round}"
                 ".crease{stroke:#222;stroke-width:1.2}.open{stroke:#d22;stroke-width:2.5}"
                 ".level{stroke:#27c;stroke-width:.8}</style>\n",
                 kPictureSize, kPictureSize);
    DrawFarToNear(part, view, [&](std::size_t triangle, const Vec3d& normal) {
        DrawTriangle(svg.File(), view, part, triangle, normal, creases, *levelDistance);
    });
    std::fprintf(svg.File(), "</svg>\n");
    return svg.Finish() ? 0 : 1;
}
