// Draws a part: its triangles in shades from far to near, its creases and boundary edges, and the
// level lines of its height, as an SVG.
//
//   part_picture PART PICTURE.svg [level distance]
//
// Lines that the part hides are left out triangle by triangle: a triangle that faces away draws
// nothing, and what is nearer is painted over what is farther. Exit codes: 0 done, 1 a file can't
// be read or written, 2 wrong use.

#include "Arguments.h"
#include "PartFiles.h"
#include "TextOutput.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <numeric>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;

constexpr double kCreaseAngle = std::numbers::pi / 6;
constexpr double kPictureSize = 640;
constexpr double kMargin = 12;
constexpr double kLevelDistance = 5;
constexpr int kMostLevels = 10'000;

// An orthographic view along (-1, -2, -1.5): right, down and toward the eye.
struct View {
    Vec3d toward = Vector::Normalized(Vec3d(1, 2, 1.5), 1e-12);
    Vec3d right = Vector::Normalized(Vec3d(-2, 1, 0), 1e-12);
    Vec3d up = toward ^ right;
    double left = 0, top = 0, scale = 1;

    explicit View(const std::vector<Vec3d>& points)
    {
        double low[2] = {1e300, 1e300};
        double high[2] = {-1e300, -1e300};
        for (const Vec3d& point : points) {
            const double place[2] = {point * right, -(point * up)};
            for (int axis = 0; axis < 2; ++axis) {
                low[axis] = std::min(low[axis], place[axis]);
                high[axis] = std::max(high[axis], place[axis]);
            }
        }
        left = low[0];
        top = low[1];
        const double extent = std::max({high[0] - low[0], high[1] - low[1], 1e-300});
        scale = (kPictureSize - 2 * kMargin) / extent;
    }
    double X(const Vec3d& point) const { return kMargin + (point * right - left) * scale; }
    double Y(const Vec3d& point) const { return kMargin + (-(point * up) - top) * scale; }
};

void DrawLine(std::FILE* svg, const View& view, const Vec3d& from, const Vec3d& to,
              const char* kind)
{
    std::fprintf(svg, "<path class='%s' d='M%.1f %.1fL%.1f %.1f'/>\n", kind, view.X(from),
                 view.Y(from), view.X(to), view.Y(to));
}

void DrawTriangle(std::FILE* svg, const View& view, const Part& part, std::size_t triangle,
                  const Vec3d& normal, const std::vector<double>& creases, double levelDistance)
{
    std::array<Vec3d, 3> corner;
    for (std::size_t k = 0; k < 3; ++k) {
        corner[k] = part.points[static_cast<std::size_t>(part.indices[3 * triangle + k])];
    }
    const int shade = 110 + static_cast<int>(130 * std::max(0.0, normal * view.toward));
    std::fprintf(svg, "<path fill='#%02x%02x%02x' stroke='#%02x%02x%02x' d='M", shade, shade, shade,
                 shade, shade, shade);
    for (const Vec3d& point : corner) {
        std::fprintf(svg, "%.1f %.1f ", view.X(point), view.Y(point));
    }
    std::fprintf(svg, "z'/>\n");

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
    const std::vector<Vec3d> normals = Mesh::Normals(part);
    const std::vector<Vec3d> centroids = Mesh::Centroids(part);
    const std::vector<double> creases = Mesh::CreaseAngles(part, false);
    std::vector<std::size_t> farToNear(normals.size());
    std::iota(farToNear.begin(), farToNear.end(), std::size_t{0});
    std::sort(farToNear.begin(), farToNear.end(), [&](std::size_t a, std::size_t b) {
        return centroids[a] * view.toward < centroids[b] * view.toward;
    });

    std::fprintf(svg.File(),
                 "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g'><style>"
                 "path{stroke-width:.5;stroke-linejoin:round}"
                 ".crease{stroke:#222;stroke-width:1.2}.open{stroke:#d22;stroke-width:2.5}"
                 ".level{stroke:#27c;stroke-width:.8}</style>\n",
                 kPictureSize, kPictureSize);
    for (const std::size_t triangle : farToNear) {
        if (normals[triangle] * view.toward > 0) {
            DrawTriangle(svg.File(), view, part, triangle, normals[triangle], creases,
                         *levelDistance);
        }
    }
    std::fprintf(svg.File(), "</svg>\n");
    return svg.Finish() ? 0 : 1;
}
