// Hulls, boxes and balls of the C interface.

#include "sorvane_c/bounding.h"

#include "Guard.h"
#include "Handles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/OrientedBox_E.h>

#include <algorithm>
#include <utility>

namespace Bounding = Velk::Math::Sorvane::Bounding;

namespace SorvaneC {

namespace {

/// The caller's points: at least one, and all finite.
template <int D>
std::vector<VecBase<D, double>> FinitePoints(const double* points, std::size_t count)
{
    std::vector<VecBase<D, double>> result = PointsOf<D>(points, count, "points");
    if (result.empty()) {
        Failed("there are no points");
    }
    CheckFinite(result, "points");
    return result;
}

template <int D>
void Box(const double* points, std::size_t count, double* low, double* high)
{
    Required(low, "low");
    Required(high, "high");
    const auto box = Bounding::BoxOfPoints(FinitePoints<D>(points, count));
    std::copy(box.min.begin(), box.min.end(), low);
    std::copy(box.max.begin(), box.max.end(), high);
}

template <int D>
void Ball(const double* points, std::size_t count, double* center, double* radius)
{
    Required(center, "center");
    Required(radius, "radius");
    const Bounding::BoundingBall<D, double> ball = Bounding::EnclosingBall(FinitePoints<D>(points, count));
    std::copy(ball.center.begin(), ball.center.end(), center);
    *radius = ball.radius;
}

template <int D, class Record>
void Deliver(bool isFound, const Velk::Math::Transform::TransformBase<D>& transform,
             const VecBase<D, double>& extent, Record& box)
{
    if (!isFound) {
        Failed("the points lie on a line or in one place: no box is the smallest one");
    }
    for (int axis = 0; axis < D; ++axis) {
        box.origin[axis] = transform(axis, D);
        box.extent[axis] = extent[axis];
        for (int i = 0; i < D; ++i) {
            box.axes[D * axis + i] = transform(i, axis);
        }
    }
}

void Box3(const double* points, std::size_t count, bool isQuick, sorvane_oriented_box* box)
{
    sorvane_oriented_box& record = Required(box, "box");
    const std::vector<VecBase<3, double>> finite = FinitePoints<3>(points, count);
    Velk::Math::Transform::TransformBase<3> transform;
    VecBase<3, double> extent;
    const bool isFound = isQuick ? Bounding::OrientedBoundingBox(finite, transform, extent)
                                 : Bounding::MinimalOrientedBox(finite, transform, extent);
    if (!IsStopped()) {
        Deliver<3>(isFound, transform, extent, record);
    }
}

} // namespace

} // namespace SorvaneC

using namespace SorvaneC;

sorvane_status sorvane_hull_2d(const double* points, size_t count, sorvane_lines** hull,
                               sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(hull, "hull");
        auto handle = std::make_unique<sorvane_lines>();
        AddLine(*handle, Bounding::ConvexHull(FinitePoints<2>(points, count), false), true);
        return Made(hull, std::move(handle));
    });
}

sorvane_status sorvane_hull_3d(const double* points, size_t count, sorvane_mesh** hull,
                               sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(hull, "hull");
        auto handle = std::make_unique<sorvane_mesh>();
        const bool isSolid =
            Bounding::ConvexHull(FinitePoints<3>(points, count), handle->mesh.points,
                                 handle->mesh.indices, false, false);
        if (!isSolid && !IsStopped()) {
            Failed("the points span no solid: they lie in one plane, on a line or in one place");
        }
        return Made(hull, std::move(handle));
    });
}

sorvane_status sorvane_box_2d(const double* points, size_t count, double low[2], double high[2],
                              sorvane_error* error)
{
    return Guarded(error, [&] { Box<2>(points, count, low, high); });
}

sorvane_status sorvane_box_3d(const double* points, size_t count, double low[3], double high[3],
                              sorvane_error* error)
{
    return Guarded(error, [&] { Box<3>(points, count, low, high); });
}

sorvane_status sorvane_circle(const double* points, size_t count, double center[2], double* radius,
                              sorvane_error* error)
{
    return Guarded(error, [&] { Ball<2>(points, count, center, radius); });
}

sorvane_status sorvane_sphere(const double* points, size_t count, double center[3], double* radius,
                              sorvane_error* error)
{
    return Guarded(error, [&] { Ball<3>(points, count, center, radius); });
}

sorvane_status sorvane_oriented_box_2d(const double* points, size_t count,
                                       sorvane_oriented_rectangle* box, sorvane_error* error)
{
    return Guarded(error, [&] {
        sorvane_oriented_rectangle& record = Required(box, "box");
        Velk::Math::Transform::TransformBase<2> transform;
        VecBase<2, double> extent;
        const bool isFound =
            Bounding::OrientedBoundingBox(FinitePoints<2>(points, count), transform, extent);
        if (!IsStopped()) {
            Deliver<2>(isFound, transform, extent, record);
        }
    });
}

sorvane_status sorvane_oriented_box_3d(const double* points, size_t count,
                                       sorvane_oriented_box* box, sorvane_error* error)
{
    return Guarded(error, [&] { Box3(points, count, false, box); });
}

sorvane_status sorvane_oriented_box_quick(const double* points, size_t count,
                                          sorvane_oriented_box* box, sorvane_error* error)
{
    return Guarded(error, [&] { Box3(points, count, true, box); });
}

sorvane_status sorvane_prism_round(const double* points, size_t count, int by_volume,
                                   sorvane_prism* prism, sorvane_error* error)
{
    return Guarded(error, [&] {
        sorvane_prism& record = Required(prism, "prism");
        std::vector<VecBase<3, double>> finite = FinitePoints<3>(points, count);
        std::vector<VecBase<3, double>> hull;
        std::vector<int> triangles;
        if (!Bounding::ConvexHull(finite, hull, triangles, false, false)) {
            hull = std::move(finite);
            triangles.clear();
        }
        const Bounding::HullPrismReport<double> found = Bounding::MinimalHullPrism(
            hull, triangles, VecBase<3, double>(), false, by_volume != 0);
        for (int i = 0; i < 3; ++i) {
            record.axis[i] = found.transform(2, i);
        }
        record.area = found.area;
        record.volume = found.volume;
        record.low = found.low;
        record.high = found.high;
    });
}
