// Passage between a coordinate type and `double`, in which the constructions on segments and arcs
// are evaluated for both types: a `float` result is then rounded once, at its end.
#pragma once

#include <Velk/Math/VecBase_E.h>

namespace Velk::Math::Geometry::Impl {

template <class T>
constexpr Vec2d Wide(const VecBase<2, T>& v)
{
    return {v.x(), v.y()};
}

template <class T>
constexpr VecBase<2, T> Narrow(const Vec2d& v)
{
    return {v.x(), v.y()};
}

inline bool IsFinite(const Vec2d& v) { return std::isfinite(v.x()) && std::isfinite(v.y()); }

constexpr Vec2d LeftNormal(const Vec2d& d) { return {-d.y(), d.x()}; }

/// Doubled area at and below which three points count as collinear, as a fraction of the product of
/// the two longer sides: the rounding that the area's own evaluation leaves in coordinates of type
/// T.
template <class T>
inline constexpr double kFlatness = 4.0 * static_cast<double>(std::numeric_limits<T>::epsilon());

} // namespace Velk::Math::Geometry::Impl
