// Measures of thinned meshes that look at all triangles for each of many points: compiled with
// optimization in every build (tests/CMakeLists.txt).

#include "tests/remesh/DecimationSupport.h"

namespace Support {

int FlippedTriangles(const IndexedMesh& mesh, const IndexedMesh& source, std::size_t samples)
{
    int flipped = 0;
    const std::size_t step = 3 * std::max<std::size_t>(1, mesh.indices.size() / 3 / samples);
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += step) {
        const Vec3d normal = NormalOf(mesh, i);
        const Vec3d center = (PointOf(mesh, i) + PointOf(mesh, i + 1) + PointOf(mesh, i + 2)) / 3.0;
        double least = std::numeric_limits<double>::infinity();
        bool faces = false;
        for (std::size_t j = 0; j < source.indices.size(); j += 3) {
            const double distance = DistanceToTriangle(
                center, PointOf(source, j), PointOf(source, j + 1), PointOf(source, j + 2));
            // Of several as near as that any one will do: the point lies on their common edge.
            if (distance <= least * (1 + 1e-9) + 1e-12) {
                const bool facesThis = NormalOf(source, j) * normal >= 0;
                faces = distance < least * (1 - 1e-9) - 1e-12 ? facesThis : faces || facesThis;
                least = std::min(least, distance);
            }
        }
        flipped += faces ? 0 : 1;
    }
    return flipped;
}

double FeatureDistance(const std::vector<std::array<Vec3d, 2>>& segments,
                       const std::vector<std::array<Vec3d, 2>>& others, std::size_t samples)
{
    double greatest = 0;
    const std::size_t step = std::max<std::size_t>(1, segments.size() / samples);
    for (std::size_t i = 0; i < segments.size(); i += step) {
        const auto& [a, b] = segments[i];
        for (const Vec3d& p : {a, b, (a + b) * 0.5}) {
            double least = std::numeric_limits<double>::infinity();
            for (const auto& [c, d] : others) {
                const Vec3d along = d - c;
                const double squared = SquaredLength(along);
                const double t =
                    squared > 0 ? std::clamp((p - c) * along / squared, 0.0, 1.0) : 0.0;
                least = std::min(least, Length(c + along * t - p));
            }
            greatest = std::max(greatest, least);
        }
    }
    return greatest;
}

} // namespace Support
