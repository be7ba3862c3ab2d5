// Fills the outline of a machined plate with triangles and draws them: an outer contour with
// rounded corners, bolt holes, a slot with an island in it, and a coarse grid of interior points.
//
//     tessellate_plate FILE.svg
//
// Prints the triangle count and the area beside the area of the outlines.

#include "PictureOutput.h"

#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/Tessellation_E.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using Velk::Math::Vec2d;
using Loop = std::vector<Vec2d>;
namespace Mesh = Velk::Math::Sorvane::Mesh;

constexpr double kTurn = 6.283185307179586;

/// A rectangle round `center` with quarter circles of `radius` at its corners.
Loop Rounded(const Vec2d& center, double width, double height, double radius, int facets)
{
    Loop loop;
    for (int corner = 0; corner < 4; ++corner) {
        const double x = (corner == 0 || corner == 3 ? 0.5 : -0.5) * (width - 2 * radius);
        const double y = (corner < 2 ? 0.5 : -0.5) * (height - 2 * radius);
        for (int k = 0; k <= facets; ++k) {
            const double angle = kTurn * (corner + static_cast<double>(k) / facets) / 4;
            loop.push_back(center +
                           Vec2d(x + radius * std::cos(angle), y + radius * std::sin(angle)));
        }
    }
    return loop;
}

Loop Circle(const Vec2d& center, double radius, int facets)
{
    Loop loop;
    for (int k = 0; k < facets; ++k) {
        const double angle = kTurn * k / facets;
        loop.push_back(center + Vec2d(radius * std::cos(angle), radius * std::sin(angle)));
    }
    return loop;
}

double SignedArea(const Loop& loop)
{
    double sum = 0;
    for (std::size_t i = 0; i < loop.size(); ++i) {
        sum += 0.5 * (loop[i] ^ loop[(i + 1) % loop.size()]);
    }
    return sum;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: tessellate_plate FILE.svg\n");
        return 2;
    }
    std::vector<Loop> outlines{Rounded({0, 0}, 120, 80, 12, 6)};
    double area = SignedArea(outlines.front());
    for (const double x : {-46.0, 46.0}) {
        for (const double y : {-26.0, 26.0}) {
            outlines.push_back(Circle({x, y}, 5, 20));
            area -= SignedArea(outlines.back());
        }
    }
    outlines.push_back(Rounded({0, 0}, 64, 44, 10, 6)); // the slot
    area -= SignedArea(outlines.back());
    outlines.push_back(Circle({0, 0}, 14, 32)); // the island in it
    area += SignedArea(outlines.back());

    Loop interior;
    for (int x = -60; x <= 60; x += 6) {
        for (int y = -36; y <= 36; y += 6) {
            interior.push_back(Vec2d(x, y));
        }
    }
    const auto mesh = Mesh::TessellateFlatBoundaries(outlines, interior, 0.8);

    double covered = 0;
    for (std::size_t t = 0; t < mesh.indices.size(); t += 3) {
        const auto point = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[t + k])];
        };
        covered += 0.5 * ((point(1) - point(0)) ^ (point(2) - point(0)));
    }
    std::printf("%zu triangles, area %.6f, outlines %.6f\n", mesh.indices.size() / 3, covered,
                area);
    Velk::Math::Sorvane::Drawing::SvgWriter picture(720);
    picture.AddTriangles(mesh, {"#5b84ad", "#d9e6f2", 1.2});
    picture.AddRegion(outlines, {"#b03a2e", "none", 3.6});
    return SavePicture(picture, argv[1]) ? 0 : 1;
}
