// Bodies of the measures of meshes: compiled once, and with optimization in every build
// (tests/CMakeLists.txt), since they look at all triangles for each of many points.

#include "tests/support/MeshMeasures.h"

namespace Support {

double VolumeOf(const IndexedMesh& mesh)
{
    const Vec3d origin = mesh.points.empty() ? Vec3d{} : mesh.points.front();
    long double volume = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        volume += (PointOf(mesh, i) - origin) *
                  ((PointOf(mesh, i + 1) - origin) ^ (PointOf(mesh, i + 2) - origin));
    }
    return static_cast<double>(volume / 6);
}

double DistanceToTriangle(const Vec3d& p, const Vec3d& a, const Vec3d& b, const Vec3d& c)
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

double DistanceToMesh(const Vec3d& p, const IndexedMesh& mesh)
{
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        least = std::min(least, DistanceToTriangle(p, PointOf(mesh, i), PointOf(mesh, i + 1),
                                                   PointOf(mesh, i + 2)));
    }
    return least;
}

double GreatestDistance(const IndexedMesh& mesh, const IndexedMesh& surface, std::size_t samples)
{
    const std::size_t step = std::max<std::size_t>(1, mesh.points.size() / samples);
    double greatest = 0;
    for (std::size_t i = 0; i < mesh.points.size(); i += step) {
        greatest = std::max(greatest, DistanceToMesh(mesh.points[i], surface));
    }
    return greatest;
}

std::vector<std::array<Vec3d, 2>> FeatureSegments(const IndexedMesh& mesh, double degrees)
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

template std::map<std::pair<int, int>, int> EdgeUses(const IndexedMesh&);
template EdgeFaults FaultsOf(const IndexedMesh&);
template int EulerOf(const IndexedMesh&);
template std::vector<double> EdgeLengths(const IndexedMesh&);

} // namespace Support
