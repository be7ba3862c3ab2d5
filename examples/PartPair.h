// A part before and after: its volume, and both side by side in a picture (SVG).
#pragma once

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

using PartMesh = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;

/// The point at a place of the indices.
inline const Velk::Math::Vec3d& PartCorner(const PartMesh& part, std::size_t place)
{
    return part.points[static_cast<std::size_t>(part.indices[place])];
}

/// Of a closed part.
inline double PartVolume(const PartMesh& part)
{
    const Velk::Math::Vec3d origin =
        part.points.empty() ? Velk::Math::Vec3d{} : part.points.front();
    double volume = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        volume += (PartCorner(part, i) - origin) *
                  ((PartCorner(part, i + 1) - origin) ^ (PartCorner(part, i + 2) - origin)) / 6;
    }
    return volume;
}

/// A parallel view along (-1, -2, -1.5), fitted to a part.
struct PartView {
    static constexpr double kPictureSide = 620;
    static constexpr double kMargin = 12;

    Velk::Math::Vec3d toward = Velk::Math::Vector::Normalized(Velk::Math::Vec3d(1, 2, 1.5), 1e-12);
    Velk::Math::Vec3d right = Velk::Math::Vector::Normalized(Velk::Math::Vec3d(-2, 1, 0), 1e-12);
    Velk::Math::Vec3d up = toward ^ right;
    double left = 1e300, top = 1e300, width = 0, height = 0, scale = 1;

    explicit PartView(const PartMesh& part)
    {
        double rightmost = -1e300;
        double lowest = -1e300;
        for (const Velk::Math::Vec3d& p : part.points) {
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
inline void DrawPart(std::FILE* svg, const PartMesh& part, const PartView& view, double offset)
{
    struct Face {
        std::size_t first;
        double depth;
        double facing;
    };
    std::vector<Face> faces;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const Velk::Math::Vec3d& a = PartCorner(part, i);
        const Velk::Math::Vec3d& b = PartCorner(part, i + 1);
        const Velk::Math::Vec3d& c = PartCorner(part, i + 2);
        const double facing = Velk::Math::Vector::Normalized((b - a) ^ (c - a), 0.0) * view.toward;
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
            const Velk::Math::Vec3d& p = PartCorner(part, face.first + k);
            const std::array<long, 2> at{
                std::lround(
                    10 * (offset + PartView::kMargin + (p * view.right - view.left) * view.scale)),
                std::lround(10 * (PartView::kMargin + (-(p * view.up) - view.top) * view.scale))};
            std::fprintf(svg, "%s%ld %ld", k == 0 ? "M" : "l", at[0] - last[0], at[1] - last[1]);
            last = at;
        }
        std::fprintf(svg, "z'/>\n");
    }
}

/// The picture of a part before and after, side by side. False when the file can't be written.
inline bool WritePartPair(const PartMesh& before, const PartMesh& after,
                          const std::filesystem::path& path)
{
    TextOutput svg(path.string());
    if (!svg.IsOpen()) {
        return false;
    }
    const PartView view(before);
    std::fprintf(svg.File(),
                 "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %.0f %.0f'>\n"
                 "<rect width='100%%' height='100%%' fill='white'/>\n"
                 "<g stroke='#3b4252' stroke-width='3.5' stroke-linejoin='round'>\n",
                 20 * view.width, 10 * view.height);
    DrawPart(svg.File(), before, view, 0);
    DrawPart(svg.File(), after, view, view.width);
    std::fprintf(svg.File(), "</g>\n</svg>\n");
    return svg.Finish();
}
