// Angles of a ring about its center and angles of creases.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"

#include <cmath>

namespace Velk::Math::Sorvane::Mesh {
namespace {

/// Sign of the crease between a triangle and its neighbor, by the side on which the neighbor's
/// centroid lies: -1 concave, 0 in the triangle's plane, 1 convex.
template <class T>
T CreaseSign(const VecBase<3, T>& corner, const VecBase<3, T>& normal,
             const VecBase<3, T>& neighborCentroid)
{
    const T height = (neighborCentroid - corner) * normal;
    if (std::abs(height) <= kLengthFloor<T>) {
        return 0;
    }
    return height > 0 ? T{-1} : T{1};
}

} // namespace

template <class T>
std::vector<T> RingAngles(const VecBase<3, T>& center, const std::vector<VecBase<3, T>>& ring,
                          bool closed)
{
    std::vector<T> angles;
    if (ring.empty()) {
        return angles;
    }
    const std::size_t count = closed ? ring.size() : ring.size() - 1;
    angles.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const VecBase<3, T>& from = ring[i];
        const VecBase<3, T>& to = ring[(i + 1) % ring.size()];
        angles.push_back(
            OppositeEdgeAngle(Length(center - from), Length(from - to), Length(to - center)));
    }
    return angles;
}

template <class T>
std::vector<T> NormalizedAngles(const std::vector<T>& angles, T& factor, bool boundary)
{
    T sum{0};
    for (const T angle : angles) {
        sum += angle;
    }
    const T scale = sum > 0 ? (boundary ? kPi<T> : kTwoPi<T>) / sum : T{0};
    std::vector<T> scaled;
    scaled.reserve(angles.size());
    for (const T angle : angles) {
        scaled.push_back(angle * scale);
    }
    factor = scale;
    return scaled;
}

template <class T>
std::vector<T> NormalizedRingAngles(const VecBase<3, T>& center,
                                    const std::vector<VecBase<3, T>>& ring, T& factor, bool closed)
{
    // The flag is handed on as it is, though it means a closed ring here and a boundary there.
    return NormalizedAngles(RingAngles(center, ring, closed), factor, closed);
}

template <class T>
std::vector<T> CreaseAngles(const IndexedPointsBase<3, T>& mesh, bool isSigned)
{
    const std::vector<std::array<int, 3>> neighbors = NeighborFacets(mesh);
    std::vector<VecBase<3, T>> normals = Normals(mesh);
    std::vector<VecBase<3, T>> centroids;
    if (isSigned) {
        centroids = Centroids(mesh);
    }
    // A mesh that is empty by rule, of two points say, has neither; its triangles are degenerate.
    normals.resize(neighbors.size());
    centroids.resize(neighbors.size());
    std::vector<T> angles(3 * neighbors.size(), kTwoPi<T>);

    const auto corner = [&](std::size_t triangle, std::size_t k) -> const VecBase<3, T>& {
        return mesh.points[static_cast<std::size_t>(mesh.indices[3 * triangle + k])];
    };
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, neighbors.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t t = from; t < to; ++t) {
                for (std::size_t k = 0; k < 3; ++k) {
                    if (neighbors[t][k] < 0) {
                        continue;
                    }
                    const auto n = static_cast<std::size_t>(neighbors[t][k]);
                    T angle = Vector::AngleBetween(normals[t], normals[n], kLengthFloor<T>);
                    if (isSigned) {
                        angle *= CreaseSign(corner(t, (k + 2) % 3), normals[t], centroids[n]);
                    }
                    angles[3 * t + k] = angle;
                }
            }
        });
    return angles;
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template std::vector<T> RingAngles(const VecBase<3, T>&, const std::vector<VecBase<3, T>>&, bool); \
    template std::vector<T> NormalizedAngles(const std::vector<T>&, T&, bool); \
    template std::vector<T> NormalizedRingAngles(const VecBase<3, T>&, const std::vector<VecBase<3, T>>&, T&, bool); \
    template std::vector<T> CreaseAngles(const IndexedPointsBase<3, T>&, bool);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
