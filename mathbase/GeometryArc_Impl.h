// Polar angles and normals of arcs, shared by everything that derives an arc or its end.
#pragma once

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <cmath>
#include <limits>

namespace Velk::Math::Geometry::Impl {

constexpr Vec2d LeftNormal(const Vec2d& d) { return {-d.y(), d.x()}; }

/// Doubled area at and below which three points count as collinear, as a fraction of the product of
/// the two longer sides: the rounding that the area's own evaluation leaves in coordinates of type
/// T.
template <class T>
inline constexpr double kFlatness = 4.0 * static_cast<double>(std::numeric_limits<T>::epsilon());

/// Radius at and below which an arc has no angle to speak of and its end stays at its start.
inline constexpr double kRadiusFloor = 1e-12;

/// Polar angle in [0, 2 pi), 0 for the zero vector.
inline double PolarAngle(const Vec2d& v)
{
    const double angle = std::atan2(v.y(), v.x());
    return angle < 0 ? angle + kTwoPi<double> : angle + 0.0; // -0 becomes 0
}

inline Vec2d UnitAt(double angle) { return {std::cos(angle), std::sin(angle)}; }

/// Whether an arc ends where it starts, to the bit: without a radius or a length to turn by.
inline bool EndsAtStart(double radius, double length)
{
    return radius <= kRadiusFloor || length == 0;
}

/// Polar angle of an arc's end about its center, given the spoke to its start.
inline double EndAngle(const Vec2d& radial, double radius, double length)
{
    const double startAngle = PolarAngle(radial);
    if (EndsAtStart(radius, length)) {
        return startAngle;
    }
    const double angle = std::fmod(length / radius + startAngle, kTwoPi<double>);
    return angle < 0 ? angle + kTwoPi<double> : angle;
}

} // namespace Velk::Math::Geometry::Impl
