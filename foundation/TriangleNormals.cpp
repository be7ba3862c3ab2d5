// Area normals, unit normals, areas and centroids of all triangles, and normals of points.

#include <Sorvane/Triangle_E.h>

#include "mathbase/Parallel_Impl.h"

#include <cstddef>

namespace Velk::Math::Sorvane::Mesh {
namespace {

/// One result for each triangle of a mesh or soup, computed side by side, each into its own slot.
template <int D, class T, class Measure>
auto ForEachTriangle(const TriangleSoup<D, T>& soup, const Measure& measure)
{
    std::vector<decltype(measure(soup.front()))> results(soup.size());
    Parallel::Impl::ApplyParallelChunks(std::size_t{0}, soup.size(),
                                        [&](std::size_t from, std::size_t to) {
                                            for (std::size_t t = from; t < to; ++t) {
                                                results[t] = measure(soup[t]);
                                            }
                                        });
    return results;
}

template <int D, class T, class Measure>
auto ForEachTriangle(const IndexedPointsBase<D, T>& mesh, const Measure& measure)
{
    std::vector<decltype(measure(Triangle<D, T>{}))> results;
    if (IsEmpty(mesh)) {
        return results;
    }
    results.resize(mesh.indices.size() / 3);
    const VecBase<D, T>* const points = mesh.points.data();
    const int* const indices = mesh.indices.data();
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, results.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t t = from; t < to; ++t) {
                const int* const corner = indices + 3 * t;
                results[t] = measure(
                    Triangle<D, T>{points[corner[0]], points[corner[1]], points[corner[2]]});
            }
        });
    return results;
}

// The measures are function objects, which the loops above take in; a function's address they would
// call for each triangle.

/// Half the cross product. Halving is exact, so a product does for the quotient.
constexpr auto kAreaNormal = []<class T>(const Triangle<3, T>& triangle) -> VecBase<3, T> {
    return ((triangle[1] - triangle[0]) ^ (triangle[2] - triangle[0])) * T(0.5);
};

constexpr auto kUnitNormal = []<class T>(const Triangle<3, T>& triangle) -> VecBase<3, T> {
    return Normalized(kAreaNormal(triangle), kLengthFloor<T>);
};

constexpr auto kArea = []<class T>(const Triangle<3, T>& triangle) -> T {
    return Length(kAreaNormal(triangle));
};

constexpr auto kCentroid = []<int D, class T>(const Triangle<D, T>& triangle) -> VecBase<D, T> {
    return (triangle[0] + triangle[1] + triangle[2]) / T{3};
};

} // namespace

template <class T>
VecBase<3, T> AreaNormal(const Triangle<3, T>& triangle)
{
    return kAreaNormal(triangle);
}

template <class T>
std::vector<VecBase<3, T>> AreaNormals(const IndexedPointsBase<3, T>& mesh)
{
    return ForEachTriangle(mesh, kAreaNormal);
}

template <class T>
std::vector<VecBase<3, T>> AreaNormals(const TriangleSoup<3, T>& soup)
{
    return ForEachTriangle(soup, kAreaNormal);
}

template <class T>
std::vector<VecBase<3, T>> Normals(const IndexedPointsBase<3, T>& mesh)
{
    return ForEachTriangle(mesh, kUnitNormal);
}

template <class T>
std::vector<VecBase<3, T>> Normals(const TriangleSoup<3, T>& soup)
{
    return ForEachTriangle(soup, kUnitNormal);
}

template <class T>
std::vector<VecBase<3, T>> AreaWeightedVertexNormals(const IndexedPointsBase<3, T>& mesh)
{
    std::vector<VecBase<3, T>> normals(mesh.points.size());
    const std::vector<VecBase<3, T>> areaNormals = AreaNormals(mesh);
    // In triangle order and not side by side: triangles share points, and the order of a sum is
    // part of its value.
    for (std::size_t t = 0; t < areaNormals.size(); ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            normals[static_cast<std::size_t>(mesh.indices[3 * t + k])] += areaNormals[t];
        }
    }
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, normals.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t point = from; point < to; ++point) {
                normals[point] = Normalized(normals[point], kLengthFloor<T>);
            }
        });
    return normals;
}

template <class T>
std::vector<T> Areas(const IndexedPointsBase<3, T>& mesh)
{
    return ForEachTriangle(mesh, kArea);
}

template <class T>
std::vector<T> Areas(const TriangleSoup<3, T>& soup)
{
    return ForEachTriangle(soup, kArea);
}

template <int D, class T>
std::vector<VecBase<D, T>> Centroids(const IndexedPointsBase<D, T>& mesh)
{
    return ForEachTriangle(mesh, kCentroid);
}

template <int D, class T>
std::vector<VecBase<D, T>> Centroids(const TriangleSoup<D, T>& soup)
{
    return ForEachTriangle(soup, kCentroid);
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template VecBase<3, T> AreaNormal(const Triangle<3, T>&); \
    template std::vector<VecBase<3, T>> AreaNormals(const IndexedPointsBase<3, T>&); \
    template std::vector<VecBase<3, T>> AreaNormals(const TriangleSoup<3, T>&); \
    template std::vector<VecBase<3, T>> Normals(const IndexedPointsBase<3, T>&); \
    template std::vector<VecBase<3, T>> Normals(const TriangleSoup<3, T>&); \
    template std::vector<VecBase<3, T>> AreaWeightedVertexNormals(const IndexedPointsBase<3, T>&); \
    template std::vector<T> Areas(const IndexedPointsBase<3, T>&); \
    template std::vector<T> Areas(const TriangleSoup<3, T>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
#define SORVANE_INSTANTIATE(D, T) \
    template std::vector<VecBase<D, T>> Centroids(const IndexedPointsBase<D, T>&); \
    template std::vector<VecBase<D, T>> Centroids(const TriangleSoup<D, T>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
