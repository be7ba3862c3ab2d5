// The way of a planar figure in space into its plane and back.
#pragma once

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// A plane of points in space with its two transforms; `IsValid` is false when there is none.
class PlaneMap {
public:
    template <class T>
    static PlaneMap OfPolygon(const std::vector<VecBase<3, T>>& loop)
    {
        VecBase<3, T> origin;
        VecBase<3, T> normal;
        Transform::PlaneOfPolygon(loop, origin, normal);
        return PlaneMap(Vec3d(origin.x(), origin.y(), origin.z()),
                        Vec3d(normal.x(), normal.y(), normal.z()));
    }

    template <class T>
    static PlaneMap OfPoints(const std::vector<VecBase<3, T>>& points)
    {
        VecBase<3, T> origin;
        VecBase<3, T> normal;
        Transform::PlaneOfPoints(points, origin, normal);
        return PlaneMap(Vec3d(origin.x(), origin.y(), origin.z()),
                        Vec3d(normal.x(), normal.y(), normal.z()));
    }

    bool IsValid() const { return isValid_; }

    /// z is the height over the plane.
    template <class T>
    VecBase<3, T> ToPlane(const VecBase<3, T>& point) const
    {
        return toPlane_ * point;
    }
    template <class T>
    VecBase<3, T> ToSpace(const VecBase<2, T>& point, T height) const
    {
        return toSpace_ * VecBase<3, T>(point.x(), point.y(), height);
    }

private:
    PlaneMap(const Vec3d& origin, const Vec3d& normal)
        : toSpace_(Transform::BuildTransformAxisOrigin(normal, origin)), toPlane_(toSpace_)
    {
        isValid_ = SquaredLength(normal) > 0 && Matrix::Invert(toPlane_.matrix, kInversionFloor);
    }

    TransformBase<3> toSpace_;
    TransformBase<3> toPlane_;
    bool isValid_ = false;
};

} // namespace Velk::Math::Sorvane::Mesh::Impl
