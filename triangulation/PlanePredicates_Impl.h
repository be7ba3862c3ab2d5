// Sides, areas and circles of points in the plane, as the triangulations ask for them.
#pragma once

#include "mathbase/ErrorFree_Impl.h"
#include "mathbase/TurnSign_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Twice the signed area of a, b, c, in plain `double`.
inline double DoubleArea(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    return (a - c) ^ (b - c);
}

/// The same in twice the precision, from exact differences: a needle that reaches out to a far
/// corner has an area that plain products can't tell from their rounding.
inline double AccurateDoubleArea(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    using Velk::Math::Impl::TwoSum;
    const auto product = TwoSum(a.x(), -c.x()) * TwoSum(b.y(), -c.y());
    const auto back = TwoSum(a.y(), -c.y()) * TwoSum(b.x(), -c.x());
    return (product - back).high;
}

/// Exact side of `p` beside the line from `a` to `b`: 1 on the left, -1 on the right, 0 on it.
inline int Side(const Vec2d& a, const Vec2d& b, const Vec2d& p)
{
    // Error bound of the three roundings: J. R. Shewchuk, 1997, (3 + 16 eps) eps.
    constexpr double kBound = 3.3306690738754716e-16;
    const double forth = (a.x() - p.x()) * (b.y() - p.y());
    const double back = (a.y() - p.y()) * (b.x() - p.x());
    const double area = forth - back;
    const double bound = kBound * (std::fabs(forth) + std::fabs(back));
    if (area > bound) {
        return 1;
    }
    if (area < -bound) {
        return -1;
    }
    return Vector::Impl::TurnSign(p, a, b);
}

/// Sign of the sine of the sum of the angles at `c` and `d` opposite the edge a-b: 1 when `d` lies
/// outside the circle of the counter-clockwise triangle a, b, c, -1 when inside, 0 when the sum is
/// too near to pi for plain products. The angles have no sign: where both corners lie on one side
/// of the edge, it is still their sum.
[[gnu::always_inline]] inline int SideOfCircle(const Vec2d& a, const Vec2d& b, const Vec2d& c,
                                               const Vec2d& d)
{
    constexpr double kSmallestSine = 1e-14;
    const Vec2d ca = a - c;
    const Vec2d cb = b - c;
    const Vec2d da = a - d;
    const Vec2d db = b - d;
    const double sine = std::fabs(ca ^ cb) * (da * db) + (ca * cb) * std::fabs(db ^ da);
    const double scale = (ca * ca) * (cb * cb) * (da * da) * (db * db);
    if (!(sine * sine > kSmallestSine * kSmallestSine * scale)) {
        return 0;
    }
    return sine > 0 ? 1 : -1;
}

/// Is the quad of the triangles a, b, c and b, a, d strictly convex at `a` and `b`? Strictly: by
/// more than a share of its area that stands for rounding.
[[gnu::always_inline]] inline bool IsConvexQuad(const Vec2d& a, const Vec2d& b, const Vec2d& c,
                                                const Vec2d& d)
{
    constexpr double kConvexShare = 1e-12;
    const double area = ((a - c) ^ (b - c)) + ((b - d) ^ (a - d));
    const double least = std::fabs(area) * kConvexShare;
    return ((d - c) ^ (b - c)) > least && ((c - d) ^ (a - d)) > least;
}

/// Squared distance of `p` to the segment a-b. A segment not longer than `floor` is its start.
inline double SquaredDistanceToSegment(const Vec2d& a, const Vec2d& b, const Vec2d& p, double floor)
{
    const Vec2d d = b - a;
    const double squared = d * d;
    const double t = squared <= floor * floor ? 0.0 : ((p - a) * d) / squared;
    return SquaredLength(p - (a + std::clamp(t, 0.0, 1.0) * d));
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
