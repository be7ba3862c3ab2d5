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

double VolumeOf(const IndexedMesh& mesh);

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
double DistanceToTriangle(const Vec3d& p, const Vec3d& a, const Vec3d& b, const Vec3d& c);
double DistanceToMesh(const Vec3d& p, const IndexedMesh& mesh);

/// The greatest distance of up to `samples` points of a mesh, evenly chosen, from a surface.
double GreatestDistance(const IndexedMesh& mesh, const IndexedMesh& surface, std::size_t samples);

/// The segments of the edges at which the normals of the two triangles differ by so many degrees at
/// least, and of those with one triangle.
std::vector<std::array<Vec3d, 2>> FeatureSegments(const IndexedMesh& mesh, double degrees);

extern template std::map<std::pair<int, int>, int> EdgeUses(const IndexedMesh&);
extern template EdgeFaults FaultsOf(const IndexedMesh&);
extern template int EulerOf(const IndexedMesh&);
extern template std::vector<double> EdgeLengths(const IndexedMesh&);

} // namespace Support
