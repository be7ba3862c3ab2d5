// What tests of meshes measure: edges by the number of their triangles, volume, lengths, and the
// distance of a point from a surface by looking at all its triangles.
#pragma once

#include "tests/support/MeshGenerators.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <ostream>
#include <set>
#include <utility>
#include <vector>

namespace Support {

using Velk::Math::Vec2d;
using Velk::Math::Vec3d;
using PlaneMesh = Velk::Math::Sorvane::Mesh::IndexedPointsBase<2, double>;
using Tags = std::vector<unsigned char>;

/// How many triangles have each edge, by its two points, the lower number first.
template <class Mesh>
std::map<std::pair<int, int>, int> EdgeUses(const Mesh& mesh)
{
    std::map<std::pair<int, int>, int> uses;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        ++uses[std::minmax(mesh.indices[i], mesh.indices[i / 3 * 3 + (i + 1) % 3])];
    }
    return uses;
}

/// Edges of one triangle, and of more than two.
struct EdgeFaults {
    int open = 0;
    int overfull = 0;
    friend bool operator==(const EdgeFaults&, const EdgeFaults&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const EdgeFaults& faults)
    {
        return stream << faults.open << " open, " << faults.overfull << " of more than two";
    }
};
template <class Mesh>
EdgeFaults FaultsOf(const Mesh& mesh)
{
    EdgeFaults faults;
    for (const auto& [edge, count] : EdgeUses(mesh)) {
        faults.open += count == 1 ? 1 : 0;
        faults.overfull += count > 2 ? 1 : 0;
    }
    return faults;
}

/// Points that are used, minus edges, plus triangles.
template <class Mesh>
int EulerOf(const Mesh& mesh)
{
    const std::set<int> used(mesh.indices.begin(), mesh.indices.end());
    return static_cast<int>(used.size()) - static_cast<int>(EdgeUses(mesh).size()) +
           static_cast<int>(mesh.indices.size() / 3);
}

template <class Mesh>
auto PointOf(const Mesh& mesh, std::size_t place)
{
    return mesh.points[static_cast<std::size_t>(mesh.indices[place])];
}

inline double VolumeOf(const IndexedMesh& mesh)
{
    const Vec3d origin = mesh.points.empty() ? Vec3d{} : mesh.points.front();
    long double volume = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        volume += (PointOf(mesh, i) - origin) *
                  ((PointOf(mesh, i + 1) - origin) ^ (PointOf(mesh, i + 2) - origin));
    }
    return static_cast<double>(volume / 6);
}

/// Signed areas of the triangles of a plane mesh.
inline std::vector<double> AreasOf(const PlaneMesh& mesh)
{
    std::vector<double> areas;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        areas.push_back(((PointOf(mesh, i + 1) - PointOf(mesh, i)) ^
                         (PointOf(mesh, i + 2) - PointOf(mesh, i))) /
                        2);
    }
    return areas;
}

/// Length of each edge once.
template <class Mesh>
std::vector<double> EdgeLengths(const Mesh& mesh)
{
    std::vector<double> lengths;
    for (const auto& [edge, count] : EdgeUses(mesh)) {
        lengths.push_back(Length(mesh.points[static_cast<std::size_t>(edge.second)] -
                                 mesh.points[static_cast<std::size_t>(edge.first)]));
    }
    return lengths;
}
template <class Mesh>
double MeanEdge(const Mesh& mesh)
{
    const std::vector<double> lengths = EdgeLengths(mesh);
    double sum = 0;
    for (const double length : lengths) {
        sum += length;
    }
    return sum / static_cast<double>(lengths.size());
}
/// Share of the edges whose length is within [low, high].
template <class Mesh>
double ShareWithin(const Mesh& mesh, double low, double high)
{
    const std::vector<double> lengths = EdgeLengths(mesh);
    const auto count = std::count_if(lengths.begin(), lengths.end(),
                                     [&](double l) { return low <= l && l <= high; });
    return static_cast<double>(count) / static_cast<double>(lengths.size());
}

using Wide = std::array<long double, 3>;
inline Wide Minus(const Vec3d& a, const Vec3d& b)
{
    Wide d;
    for (std::size_t i = 0; i < 3; ++i) {
        d[i] = static_cast<long double>(a[static_cast<int>(i)]) - b[static_cast<int>(i)];
    }
    return d;
}
inline long double Dot(const Wide& a, const Wide& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Distance of a point from a triangle: the foot in its plane by the normal equations of its two
/// edge vectors where the weights allow it, otherwise the nearest of three segments. Extended
/// precision.
inline double DistanceToTriangle(const Vec3d& p, const Vec3d& a, const Vec3d& b, const Vec3d& c)
{
    const auto toSegment = [&](const Vec3d& from, const Vec3d& to) {
        const Wide along = Minus(to, from);
        const Wide reach = Minus(p, from);
        const long double squared = Dot(along, along);
        const long double t =
            squared > 0 ? std::clamp(Dot(reach, along) / squared, 0.0L, 1.0L) : 0.0L;
        Wide rest;
        for (std::size_t i = 0; i < 3; ++i) {
            rest[i] = reach[i] - t * along[i];
        }
        return Dot(rest, rest);
    };
    long double least = std::min({toSegment(a, b), toSegment(b, c), toSegment(c, a)});
    const Wide u = Minus(b, a);
    const Wide v = Minus(c, a);
    const Wide w = Minus(p, a);
    const long double determinant = Dot(u, u) * Dot(v, v) - Dot(u, v) * Dot(u, v);
    if (determinant > 0) {
        const long double s = (Dot(v, v) * Dot(w, u) - Dot(u, v) * Dot(w, v)) / determinant;
        const long double t = (Dot(u, u) * Dot(w, v) - Dot(u, v) * Dot(w, u)) / determinant;
        if (s >= 0 && t >= 0 && s + t <= 1) {
            Wide rest;
            for (std::size_t i = 0; i < 3; ++i) {
                rest[i] = w[i] - s * u[i] - t * v[i];
            }
            least = std::min(least, Dot(rest, rest));
        }
    }
    return static_cast<double>(std::sqrt(least));
}
inline double DistanceToMesh(const Vec3d& p, const IndexedMesh& mesh)
{
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        least = std::min(least, DistanceToTriangle(p, PointOf(mesh, i), PointOf(mesh, i + 1),
                                                   PointOf(mesh, i + 2)));
    }
    return least;
}

/// The greatest distance of up to `samples` points of a mesh, evenly chosen, from a surface.
inline double GreatestDistance(const IndexedMesh& mesh, const IndexedMesh& surface,
                               std::size_t samples)
{
    const std::size_t step = std::max<std::size_t>(1, mesh.points.size() / samples);
    double greatest = 0;
    for (std::size_t i = 0; i < mesh.points.size(); i += step) {
        greatest = std::max(greatest, DistanceToMesh(mesh.points[i], surface));
    }
    return greatest;
}

/// The segments of the edges at which the normals of the two triangles differ by so many degrees at
/// least, and of those with one triangle.
inline std::vector<std::array<Vec3d, 2>> FeatureSegments(const IndexedMesh& mesh, double degrees)
{
    std::map<std::pair<int, int>, std::vector<Vec3d>> normals;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const std::size_t t = i / 3 * 3;
        normals[std::minmax(mesh.indices[i], mesh.indices[t + (i + 1) % 3])].push_back(
            (PointOf(mesh, t + 1) - PointOf(mesh, t)) ^ (PointOf(mesh, t + 2) - PointOf(mesh, t)));
    }
    std::vector<std::array<Vec3d, 2>> segments;
    for (const auto& [edge, sides] : normals) {
        const bool isFeature =
            sides.size() != 2 || std::atan2(Length(sides[0] ^ sides[1]), sides[0] * sides[1]) >=
                                     degrees * Velk::Math::kPi<double> / 180;
        if (isFeature) {
            segments.push_back({mesh.points[static_cast<std::size_t>(edge.first)],
                                mesh.points[static_cast<std::size_t>(edge.second)]});
        }
    }
    return segments;
}

} // namespace Support
