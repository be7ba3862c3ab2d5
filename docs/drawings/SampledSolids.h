// Solids to contour: what each of them is at a point. Sets of points are joined and cut by taking
// the lesser or the greater distance, together with the normal of the face that it comes from.
#pragma once

#include "SolidContour.h"

#include <Velk/Math/Matrix_E.h>

#include <algorithm>

namespace SolidContour {

inline FieldSample Less(const FieldSample& a, const FieldSample& b)
{
    return a.distance < b.distance ? a : b;
}
inline FieldSample Inverse(const FieldSample& a) { return {-a.distance, -1.0 * a.normal}; }
inline FieldSample Union(const FieldSample& a, const FieldSample& b) { return Less(a, b); }
inline FieldSample Common(const FieldSample& a, const FieldSample& b)
{
    return Inverse(Less(Inverse(a), Inverse(b)));
}

/// Between two parallel planes across an axis.
inline FieldSample Slab(const Vec3d& p, int axis, double low, double high)
{
    FieldSample slab{std::max(low - p[axis], p[axis] - high), {}};
    slab.normal[axis] = low - p[axis] > p[axis] - high ? -1 : 1;
    return slab;
}

/// An endless cylinder about the axis z.
inline FieldSample Cylinder(const Vec3d& p, double radius)
{
    const Vec3d out(p.x(), p.y(), 0);
    return {Length(out) - radius, Normalized(out, 1e-12)};
}

inline constexpr double kRing = 0.55;
inline constexpr double kTube = 0.23;

inline FieldSample Torus(const Vec3d& p)
{
    const Vec3d out = Normalized(Vec3d(p.x(), p.y(), 0), 1e-12);
    // On the axis all points of the ring are equally near.
    const Vec3d onRing = kRing * (out == Vec3d() ? Vec3d(1, 0, 0) : out);
    return {Length(p - onRing) - kTube, Normalized(p - onRing, 1e-12)};
}

/// A plate of 1.1 x 0.8 x 0.3 with a boss of radius 0.3 and height 0.3 on it, and a bore of radius
/// 0.17 through both.
inline FieldSample Flange(const Vec3d& p)
{
    const FieldSample plate =
        Common(Slab(p, 0, -0.55, 0.55), Common(Slab(p, 1, -0.4, 0.4), Slab(p, 2, -0.3, 0)));
    const FieldSample boss = Common(Cylinder(p, 0.3), Slab(p, 2, -0.15, 0.3));
    return Common(Union(plate, boss), Inverse(Cylinder(p, 0.17)));
}
inline constexpr double kFlangeVolume =
    1.1 * 0.8 * 0.3 + kPi<double> * (0.3 * 0.3 * 0.3 - 0.17 * 0.17 * 0.6);
inline constexpr double kTorusVolume = 2 * kPi<double> * kPi<double> * kRing * kTube * kTube;

/// The same solid askew, so that none of its faces lies along the cells.
inline Field Askew(FieldSample (*solid)(const Vec3d&))
{
    const MatBase<3, 3, double> turn = Matrix::RotationFromZ({0.3, -0.2, 1.0});
    const Vec3d place(0.0171, -0.0113, 0.0079);
    return [=](const Vec3d& p) {
        const FieldSample sample = solid(Matrix::Transposed(turn) * (p - place));
        return FieldSample{sample.distance, turn * sample.normal};
    };
}

} // namespace SolidContour
