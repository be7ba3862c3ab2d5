// What the programs that change a part tell of it: volumes, how far the result is off, and a
// picture of before and after.
#pragma once

#include "TextOutput.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace PartComparison {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;

inline const Vec3d& Corner(const Part& part, std::size_t place)
{
    return part.points[static_cast<std::size_t>(part.indices[place])];
}

inline double Volume(const Part& part)
{
    const Vec3d origin = part.points.empty() ? Vec3d{} : part.points.front();
    double volume = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        volume += (Corner(part, i) - origin) *
                  ((Corner(part, i + 1) - origin) ^ (Corner(part, i + 2) - origin)) / 6;
    }
    return volume;
}

/// The greatest and the mean distance of a mesh from a surface, at its points and at the middles of
/// its edges and triangles.
inline void TellDeviation(const char* what, const Part& from, const Part& surface)
{
    std::vector<Vec3d> samples = from.points;
    for (std::size_t i = 0; i + 2 < from.indices.size(); i += 3) {
        const Vec3d& a = Corner(from, i);
        const Vec3d& b = Corner(from, i + 1);
        const Vec3d& c = Corner(from, i + 2);
        samples.insert(samples.end(),
                       {(a + b + c) / 3.0, (a + b) / 2.0, (b + c) / 2.0, (c + a) / 2.0});
    }
    const Tree::QOFTriangleTree<3, double> tree(surface.points, surface.indices);
    const auto nearest = tree.ClosestPoints(samples, 1e100, {});
    double greatest = 0;
    double sum = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double distance = Length(nearest[i].point - samples[i]);
        greatest = std::max(greatest, distance);
        sum += distance;
    }
    std::printf("        %s: %.6g at most, %.6g in the mean\n", what, greatest,
                samples.empty() ? 0 : sum / static_cast<double>(samples.size()));
}

inline constexpr double kPictureSide = 620;
inline constexpr double kMargin = 12;

/// A parallel view along (-1, -2, -1.5), fitted to a part.
struct View {
    Vec3d toward = Vector::Normalized(Vec3d(1, 2, 1.5), 1e-12);
    Vec3d right = Vector::Normalized(Vec3d(-2, 1, 0), 1e-12);
    Vec3d up = toward ^ right;
    double left = 1e300, top = 1e300, width = 0, height = 0, scale = 1;

    explicit View(const Part& part)
    {
        double rightmost = -1e300;
        double lowest = -1e300;
        for (const Vec3d& p : part.points) {
            left = std::min(left, p * right);
            rightmost = std::max(rightmost, p * right);
            top = std::min(top, -(p * up));
            lowest = std::max(lowest, -(p * up));
        }
        scale = (kPictureSide - 2 * kMargin) / std::max({rightmost - left, lowest - top, 1e-300});
        width = (rightmost - left) * scale + 2 * kMargin;
        height = (lowest - top) * scale + 2 * kMargin;
    }
};

/// The triangles that face the viewer, from far to near, each with its edges.
inline void Draw(std::FILE* svg, const Part& part, const View& view, double offset)
{
    struct Face {
        std::size_t first;
        double depth;
        double facing;
    };
    std::vector<Face> faces;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const Vec3d& a = Corner(part, i);
        const Vec3d& b = Corner(part, i + 1);
        const Vec3d& c = Corner(part, i + 2);
        const double facing = Vector::Normalized((b - a) ^ (c - a), 0.0) * view.toward;
        if (facing > 0) {
            faces.push_back({i, (a + b + c) * view.toward, facing});
        }
    }
    std::sort(faces.begin(), faces.end(),
              [](const Face& f, const Face& g) { return f.depth < g.depth; });
    for (const Face& face : faces) {
        const int shade = 150 + static_cast<int>(100 * face.facing);
        std::fprintf(svg, "<path fill='#%02x%02x%02x' d='", shade, shade, std::min(shade + 5, 255));
        // In tenths, the second and third corner relative to the one before: pictures stay small.
        std::array<long, 2> last{};
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec3d& p = Corner(part, face.first + k);
            const std::array<long, 2> at{
                std::lround(10 * (offset + kMargin + (p * view.right - view.left) * view.scale)),
                std::lround(10 * (kMargin + (-(p * view.up) - view.top) * view.scale))};
            std::fprintf(svg, "%s%ld %ld", k == 0 ? "M" : "l", at[0] - last[0], at[1] - last[1]);
            last = at;
        }
        std::fprintf(svg, "z'/>\n");
    }
}

inline bool WritePicture(const Part& before, const Part& after, const std::filesystem::path& path)
{
    TextOutput svg(path.string());
    if (!svg.IsOpen()) {
        return false;
    }
    const View view(before);
    std::fprintf(svg.File(),
                 "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %.0f %.0f'>\n"
                 "<rect width='100%%' height='100%%' fill='white'/>\n"
                 "<g stroke='#3b4252' stroke-width='3.5' stroke-linejoin='round'>\n",
                 20 * view.width, 10 * view.height);
    Draw(svg.File(), before, view, 0);
    Draw(svg.File(), after, view, view.width);
    std::fprintf(svg.File(), "</g>\n</svg>\n");
    return svg.Finish();
}

} // namespace PartComparison
