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

using namespace PartDrawing;

constexpr double kCreaseAngle = std::numbers::pi / 6;
constexpr double kNoNeighbor = 6; // below 2 pi, the angle told for an edge that has none
constexpr double kLevelDistance = 5;
constexpr int kMostLevels = 10'000;

/// Level lines of the height.
void MarkLevels(const Part& part, double levelDistance, int style, SvgMeshMarks& marks)
{
    for (std::size_t t = 0; t < part.indices.size() / 3; ++t) {
        const Vec3d& a = CornerOf(part, 3 * t);
        const Vec3d& b = CornerOf(part, 3 * t + 1);
        const Vec3d& c = CornerOf(part, 3 * t + 2);
        const auto [low, high] = std::minmax({a[2], b[2], c[2]});
        for (double step = std::ceil(low / levelDistance); step * levelDistance < high; ++step) {
            std::array<Vec3d, 2> chord;
            if (Mesh::IsoSegmentFromTriangle(a, b, c, a[2], b[2], c[2], step * levelDistance,
                                             chord)) {
                marks.lines.push_back({static_cast<int>(t), chord[0], chord[1], style});
            }
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

    SvgMeshMarks marks;
    marks.styles = {{"#27c", "none", 0.8}, {"#222", "none", 1.2}, {"#d22", "none", 2.5}};
    MarkLevels(part, *levelDistance, 0, marks);
    MarkCreases(part, kCreaseAngle, 1, marks);
    MarkCreases(part, kNoNeighbor, 2, marks);
    SvgWriter picture(kPictureSize);
    picture.AddMesh(part, kView, FacetStyle(), marks);
    return SavePicture(picture, argv[2]) ? 0 : 1;
}
