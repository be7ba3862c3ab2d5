// What the example programs that change a mesh tell about it: its volume, and how far it lies off
// the part that it was made of.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <vector>

/// The point at a place of the index list.
inline const Velk::Math::Vec3d&
CornerOf(const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& part, std::size_t place)
{
    return part.points[static_cast<std::size_t>(part.indices[place])];
}

inline double VolumeOf(const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& part)
{
    const Velk::Math::Vec3d origin =
        part.points.empty() ? Velk::Math::Vec3d{} : part.points.front();
    double volume = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        volume += (CornerOf(part, i) - origin) *
                  ((CornerOf(part, i + 1) - origin) ^ (CornerOf(part, i + 2) - origin)) / 6;
    }
    return volume;
}

/// The greatest and the mean distance of a mesh from a surface, at its points and at the middles of
/// its edges and triangles; it gives the greatest one.
inline double TellDeviation(const char* what,
                            const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& from,
                            const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& surface)
{
    using Velk::Math::Vec3d;
    std::vector<Vec3d> samples = from.points;
    for (std::size_t i = 0; i + 2 < from.indices.size(); i += 3) {
        const Vec3d& a = CornerOf(from, i);
        const Vec3d& b = CornerOf(from, i + 1);
        const Vec3d& c = CornerOf(from, i + 2);
        samples.insert(samples.end(),
                       {(a + b + c) / 3.0, (a + b) / 2.0, (b + c) / 2.0, (c + a) / 2.0});
    }
    const Velk::Math::Sorvane::Tree::QOFTriangleTree<3, double> tree(surface.points,
                                                                     surface.indices);
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
    return greatest;
}
