// A picture of a part before and after, for the programs that change one.
#pragma once

#include "PartMeasures.h"
#include "TextOutput.h"

#include <Sorvane/IndexedMesh_E.h>
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
        const Vec3d& a = CornerOf(part, i);
        const Vec3d& b = CornerOf(part, i + 1);
        const Vec3d& c = CornerOf(part, i + 2);
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
            const Vec3d& p = CornerOf(part, face.first + k);
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
