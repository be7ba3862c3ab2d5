// How the example programs draw a part as an SVG: the view, and the triangles from far to near.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <numeric>
#include <vector>

inline constexpr double kPictureSize = 640;
inline constexpr double kPictureMargin = 12;

/// An orthographic view along (-1, -2, -1.5): right, down and toward the eye.
struct View {
    using Vec3d = Velk::Math::Vec3d;

    Vec3d toward = Normalized(Vec3d(1, 2, 1.5), 1e-12);
    Vec3d right = Normalized(Vec3d(-2, 1, 0), 1e-12);
    Vec3d up = toward ^ right;
    double left = 0, top = 0, scale = 1;
    double height = 0; ///< of the drawing; it is at most `kPictureSize` wide and high

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
        scale = (kPictureSize - 2 * kPictureMargin) / extent;
        height = (high[1] - low[1]) * scale + 2 * kPictureMargin;
    }
    double X(const Vec3d& point) const { return kPictureMargin + (point * right - left) * scale; }
    double Y(const Vec3d& point) const { return kPictureMargin + (-(point * up) - top) * scale; }
};

inline void DrawLine(std::FILE* svg, const View& view, const Velk::Math::Vec3d& from,
                     const Velk::Math::Vec3d& to, const char* kind)
{
    std::fprintf(svg, "<path class='%s' d='M%.1f %.1fL%.1f %.1f'/>\n", kind, view.X(from),
                 view.Y(from), view.X(to), view.Y(to));
}

/// Calls draw(triangle, its unit normal) for each triangle that faces the eye, what is nearer after
/// what is farther.
template <class Draw>
void DrawFarToNear(const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& part,
                   const View& view, const Draw& draw)
{
    const auto normals = Velk::Math::Sorvane::Mesh::Normals(part);
    const auto centroids = Velk::Math::Sorvane::Mesh::Centroids(part);
    std::vector<std::size_t> farToNear(normals.size());
    std::iota(farToNear.begin(), farToNear.end(), std::size_t{0});
    std::sort(farToNear.begin(), farToNear.end(), [&](std::size_t a, std::size_t b) {
        return centroids[a] * view.toward < centroids[b] * view.toward;
    });
    for (const std::size_t triangle : farToNear) {
        if (normals[triangle] * view.toward > 0) {
            draw(triangle, normals[triangle]);
        }
    }
}

/// The triangle, filled, lighter the more it faces the eye.
inline void DrawFilled(std::FILE* svg, const View& view,
                       const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& part,
                       std::size_t triangle, const Velk::Math::Vec3d& normal)
{
    const int shade = 110 + static_cast<int>(130 * std::max(0.0, normal * view.toward));
    std::fprintf(svg, "<path fill='#%02x%02x%02x' stroke='#%02x%02x%02x' d='M", shade, shade, shade,
                 shade, shade, shade);
    for (std::size_t k = 0; k < 3; ++k) {
        const auto& point = part.points[static_cast<std::size_t>(part.indices[3 * triangle + k])];
        std::fprintf(svg, "%.1f %.1f ", view.X(point), view.Y(point));
    }
    std::fprintf(svg, "z'/>\n");
}
