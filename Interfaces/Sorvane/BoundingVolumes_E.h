// Boxes and balls around points: the value types, the smallest enclosing circle and sphere, the map of
// a box onto the unit square or cube, and a regular grid of points in a box.
#pragma once

#include <Velk/Math/Supported_E.h>
#include <Velk/Math/Transform_E.h>

#include <array>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Bounding {

namespace Impl {
/// A point with the same value on every axis.
template <int D, class T> constexpr VecBase<D, T> Uniform(T value)
{
    VecBase<D, T> point;
    for (T& component : point) {
        component = value;
    }
    return point;
}
} // namespace Impl

/// Box with faces parallel to the axes, from its lower to its upper corner. D is 2 or 3.
///
/// Empty by default, and then inverted: `min` holds the largest finite T and `max` the most negative
/// one, so that growing it by a first point gives that point.
template <int D, class T> struct SORVANE_API AxisAlignedBoundingBox {
    /// Least coordinate on each axis.
    VecBase<D, T> min = Impl::Uniform<D, T>(std::numeric_limits<T>::max());
    /// Greatest coordinate on each axis.
    VecBase<D, T> max = Impl::Uniform<D, T>(std::numeric_limits<T>::lowest());

    /// Component-wise minimum and maximum with `point`. A NaN replaces the bounds of its axis, and the
    /// next point replaces the NaN: after a NaN the axis has forgotten what came before.
    constexpr void Grow(const VecBase<D, T>& point)
    {
        for (int i = 0; i < D; ++i) {
            min[i] = point[i] >= min[i] ? min[i] : point[i];
            max[i] = point[i] <= max[i] ? max[i] : point[i];
        }
    }

    /// True when `point` lies no farther than `tolerance` from the closed box (Euclidean, 0 inside).
    /// False for NaN and for a negative tolerance. Not for an inverted box.
    SORVANE_API bool ContainsPoint(const VecBase<D, T>& point, T tolerance) const;

    friend constexpr bool operator==(const AxisAlignedBoundingBox&,
                                     const AxisAlignedBoundingBox&) = default;
};

/// Box of the points, grown in their order; the default (inverted) box for no points. O(n).
template <int D, class T>
AxisAlignedBoundingBox<D, T> BoxOfPoints(const std::vector<VecBase<D, T>>& points);

/// Cell of a loose tree: a square or cube, and how far a loose test may reach beyond it.
template <int D, class T> struct SORVANE_API RegularBoundingBox {
    VecBase<D, T> center; ///< of the square or cube
    T halfSize{0}; ///< half the edge
    T slack{0};    ///< fraction of `halfSize` by which a loose test may exceed the box

    friend constexpr bool operator==(const RegularBoundingBox&, const RegularBoundingBox&) = default;
};

/// Circle (D = 2) or sphere (D = 3) with its inside. The zero ball stands at the origin with radius 0.
template <int D, class T> struct SORVANE_API BoundingBall {
    VecBase<D, T> center; ///< of the circle or sphere
    T radius{0}; ///< 0 for a ball that is a point

    friend constexpr bool operator==(const BoundingBall&, const BoundingBall&) = default;
};

/// Map that puts the box into the unit square or cube, centered.
///
/// `marginPercent`, cut to [-99.9, 99.9], is the share of the unit edge that stays free on the largest
/// axis; a negative one overfills the unit cube. The target size of an axis is its extent times 100 /
/// (100 - margin); without `perAxis` all axes take the largest, at least 1e-12 (`float` 1e-8), so that
/// the box keeps its proportions. The map scales by 1 / target size.
///
/// The box is only centered, not scaled, when a scale factor is at most 1e-12 (1e-8) or no number, when
/// all of them are 1, or when their product is at most 1e-15, which `Matrix::Invert` takes for singular:
/// with `perAxis` a flat box, and otherwise a target size above 1e5 in space or 3.2e7 in the plane.
/// Nothing may therefore assume that mapped points lie in [0, 1). Computed in `double`.
template <int D, class T>
TransformBase<D> UnitSpaceMapping(const AxisAlignedBoundingBox<D, T>& box, T marginPercent, bool perAxis);

/// Regular grid: counts[i] + 2 samples min + k (max - min) / (counts[i] + 1) on axis i, both faces
/// included, x varying fastest. The last sample is computed like the others and may differ from `max`
/// in the last place. An allocation error of the standard library passes through.
template <int D, class T>
std::vector<VecBase<D, T>> GridOfPoints(const AxisAlignedBoundingBox<D, T>& box,
                                        const std::array<unsigned int, static_cast<std::size_t>(D)>& counts);

/// Smallest circle around the points.
///
/// The incremental method of E. Welzl ("Smallest enclosing disks", 1991), shuffled with a fixed seed: a
/// pure function of the input order. Of more than 10 points only the vertices of the convex hull go in
/// (`skipHull`: all points), and of more than some hundred only the few that turn out to be farthest.
/// The circle holds every point, in the sense that the distance to the center as computed is at most the
/// radius; the radius is the least one up to rounding, or up to the 1e-12 (`float` 1e-8) within which
/// points count as inside. Where three vertices of the hull with next to no area have become two (see
/// `ConvexHull`), the radius grows to reach the third and is no longer the least.
///
/// No points: the zero ball. One point: that point with radius 0. Coincident points (every coordinate
/// within 1e-12, `float` 1e-8) have no circle of their own: two of them give the zero ball, and three
/// up to ten (any number with `skipHull`) a circle about the origin that reaches them, unless three of
/// them are the corners of a triangle; more than ten are one point for the hull, and the circle is that
/// point with radius 0. For points that may coincide call `EnclosingBall`. Points that aren't finite
/// give a meaningless result. O(n), with a few passes over the points.
template <class T>
BoundingBall<2, T> BoundingCircleOfPoints(const std::vector<VecBase<2, T>>& points, bool skipHull);

/// Smallest sphere around the points: as `BoundingCircleOfPoints`, with the hull in space. When there is
/// none (flat sets, coincident points) all points go in. The hull may leave out points by about 2e-9 of
/// its size, and the radius is then enlarged to reach them.
template <class T>
BoundingBall<3, T> BoundingSphereOfPoints(const std::vector<VecBase<3, T>>& points, bool skipHull);

/// Smallest circle (D = 2) or sphere (D = 3) around the points, also around points that coincide: those
/// that all lie in one place, two of them or any number, have their ball there, with radius 0 when they
/// are equal. Any others have that of `BoundingCircleOfPoints` or `BoundingSphereOfPoints` with the hull.
template <int D, class T>
BoundingBall<D, T> EnclosingBall(const std::vector<VecBase<D, T>>& points);

// clang-format off
extern template SORVANE_API bool AxisAlignedBoundingBox<2, float>::ContainsPoint(const VecBase<2, float>&,   float)  const;
extern template SORVANE_API bool AxisAlignedBoundingBox<2, double>::ContainsPoint(const VecBase<2, double>&, double) const;
extern template SORVANE_API bool AxisAlignedBoundingBox<3, float>::ContainsPoint(const VecBase<3, float>&,   float)  const;
extern template SORVANE_API bool AxisAlignedBoundingBox<3, double>::ContainsPoint(const VecBase<3, double>&, double) const;
extern template SORVANE_API AxisAlignedBoundingBox<2, float>  BoxOfPoints(const std::vector<VecBase<2, float>>&);
extern template SORVANE_API AxisAlignedBoundingBox<2, double> BoxOfPoints(const std::vector<VecBase<2, double>>&);
extern template SORVANE_API AxisAlignedBoundingBox<3, float>  BoxOfPoints(const std::vector<VecBase<3, float>>&);
extern template SORVANE_API AxisAlignedBoundingBox<3, double> BoxOfPoints(const std::vector<VecBase<3, double>>&);
extern template SORVANE_API TransformBase<2> UnitSpaceMapping(const AxisAlignedBoundingBox<2, float>&,  float,  bool);
extern template SORVANE_API TransformBase<2> UnitSpaceMapping(const AxisAlignedBoundingBox<2, double>&, double, bool);
extern template SORVANE_API TransformBase<3> UnitSpaceMapping(const AxisAlignedBoundingBox<3, float>&,  float,  bool);
extern template SORVANE_API TransformBase<3> UnitSpaceMapping(const AxisAlignedBoundingBox<3, double>&, double, bool);
extern template SORVANE_API std::vector<VecBase<2, float>>  GridOfPoints(const AxisAlignedBoundingBox<2, float>&,  const std::array<unsigned int, 2>&);
extern template SORVANE_API std::vector<VecBase<2, double>> GridOfPoints(const AxisAlignedBoundingBox<2, double>&, const std::array<unsigned int, 2>&);
extern template SORVANE_API std::vector<VecBase<3, float>>  GridOfPoints(const AxisAlignedBoundingBox<3, float>&,  const std::array<unsigned int, 3>&);
extern template SORVANE_API std::vector<VecBase<3, double>> GridOfPoints(const AxisAlignedBoundingBox<3, double>&, const std::array<unsigned int, 3>&);
extern template SORVANE_API BoundingBall<2, float>  BoundingCircleOfPoints(const std::vector<VecBase<2, float>>&,  bool);
extern template SORVANE_API BoundingBall<2, double> BoundingCircleOfPoints(const std::vector<VecBase<2, double>>&, bool);
extern template SORVANE_API BoundingBall<3, float>  BoundingSphereOfPoints(const std::vector<VecBase<3, float>>&,  bool);
extern template SORVANE_API BoundingBall<3, double> BoundingSphereOfPoints(const std::vector<VecBase<3, double>>&, bool);
extern template SORVANE_API BoundingBall<2, float>  EnclosingBall(const std::vector<VecBase<2, float>>&);
extern template SORVANE_API BoundingBall<2, double> EnclosingBall(const std::vector<VecBase<2, double>>&);
extern template SORVANE_API BoundingBall<3, float>  EnclosingBall(const std::vector<VecBase<3, float>>&);
extern template SORVANE_API BoundingBall<3, double> EnclosingBall(const std::vector<VecBase<3, double>>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Bounding

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Bounding {
template <int D, class T> requires(!SupportedPoint<D, T>) AxisAlignedBoundingBox<D, T> BoxOfPoints(const std::vector<VecBase<D, T>>&) = delete;
template <int D, class T> requires(!SupportedPoint<D, T>) TransformBase<D> UnitSpaceMapping(const AxisAlignedBoundingBox<D, T>&, T, bool) = delete;
template <int D, class T> requires(!SupportedPoint<D, T>) std::vector<VecBase<D, T>> GridOfPoints(const AxisAlignedBoundingBox<D, T>&, const std::array<unsigned int, static_cast<std::size_t>(D)>&) = delete;
template <class T> requires(!SupportedReal<T>) BoundingBall<2, T> BoundingCircleOfPoints(const std::vector<VecBase<2, T>>&, bool) = delete;
template <class T> requires(!SupportedReal<T>) BoundingBall<3, T> BoundingSphereOfPoints(const std::vector<VecBase<3, T>>&, bool) = delete;
template <int D, class T> requires(!SupportedPoint<D, T>) BoundingBall<D, T> EnclosingBall(const std::vector<VecBase<D, T>>&) = delete;
} // namespace Velk::Math::Sorvane::Bounding
// clang-format on
/// @endcond
