// Points carried into a triangle's own frame and back: Cartesian and barycentric.

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

namespace Velk::Math::Sorvane::Mesh {

template <class T>
TransformBase<3> TriangleSpace(const Triangle<3, T>& triangle)
{
    // In double, like the matrix, so that the map of a float triangle is as rigid as any other.
    const Triangle<3, double> corners{Vec3d(triangle[0]), Vec3d(triangle[1]), Vec3d(triangle[2])};
    const auto floor = static_cast<double>(kLengthFloor<T>);
    const Vec3d normal = Normalized(AreaNormal(corners), floor);
    const Vec3d x = Normalized(corners[1] - corners[0], floor);
    const MatBase<3, 3, double> rows{x, normal ^ x, normal};
    return Transform::BuildTransform(rows, -(rows * corners[0]), 1.0);
}

template <class T>
std::vector<VecBase<2, T>> MapPointsToTriangleSpace(const Triangle<3, T>& triangle,
                                                    const std::vector<VecBase<3, T>>& points)
{
    const TransformBase<3> toTriangle = TriangleSpace(triangle);
    std::vector<VecBase<2, T>> mapped;
    mapped.reserve(points.size());
    for (const VecBase<3, T>& point : points) {
        const VecBase<3, T> local = toTriangle * point;
        mapped.push_back({local[0], local[1]});
    }
    return mapped;
}

template <class T>
std::vector<VecBase<3, T>> UnMapPointsFromTriangleSpace(const Triangle<3, T>& triangle,
                                                        const std::vector<VecBase<2, T>>& points)
{
    TransformBase<3> toWorld = TriangleSpace(triangle);
    // The map of a degenerate triangle can't be inverted and stays as it is.
    (void)Matrix::Invert(toWorld.matrix, kInversionFloor);
    std::vector<VecBase<3, T>> mapped;
    mapped.reserve(points.size());
    for (const VecBase<2, T>& point : points) {
        mapped.push_back(toWorld * VecBase<3, T>{point[0], point[1], T{0}});
    }
    return mapped;
}

template <class T>
std::vector<VecBase<2, T>> MapPointsToTriangleBarycentric(const Triangle<3, T>& triangle,
                                                          const std::vector<VecBase<3, T>>& points)
{
    std::vector<VecBase<2, T>> weights;
    weights.reserve(points.size());
    for (const VecBase<3, T>& point : points) {
        T u{0};
        T v{0};
        T w{0};
        if (!Vector::BarycentricCoordinates(triangle[0], triangle[1], triangle[2], point, u, v, w,
                                            kLengthFloor<T>)) {
            AssertSites::Report(AssertSites::kMapPointsToTriangleBarycentric);
            u = v = T{0};
        }
        weights.push_back({u, v});
    }
    return weights;
}

template <class T>
std::vector<VecBase<3, T>>
UnMapPointsFromTriangleBarycentric(const Triangle<3, T>& triangle,
                                   const std::vector<VecBase<2, T>>& points)
{
    std::vector<VecBase<3, T>> mapped;
    mapped.reserve(points.size());
    for (const VecBase<2, T>& weights : points) {
        const T u = weights[0];
        const T v = weights[1];
        mapped.push_back(u * triangle[0] + v * triangle[1] + (1 - u - v) * triangle[2]);
    }
    return mapped;
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template TransformBase<3> TriangleSpace(const Triangle<3, T>&); \
    template std::vector<VecBase<2, T>> MapPointsToTriangleSpace(const Triangle<3, T>&, const std::vector<VecBase<3, T>>&); \
    template std::vector<VecBase<3, T>> UnMapPointsFromTriangleSpace(const Triangle<3, T>&, const std::vector<VecBase<2, T>>&); \
    template std::vector<VecBase<2, T>> MapPointsToTriangleBarycentric(const Triangle<3, T>&, const std::vector<VecBase<3, T>>&); \
    template std::vector<VecBase<3, T>> UnMapPointsFromTriangleBarycentric(const Triangle<3, T>&, const std::vector<VecBase<2, T>>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
