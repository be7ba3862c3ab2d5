// The kernel of `SpinSegment`, for loops that turn many edges.
#pragma once

#include <Sorvane/SpunHyperbola_E.h>

#include <cmath>

namespace Velk::Math::Sorvane::Mill::Impl {

/// Squared radius up to which a line counts as meeting the axis: it passes within 1e-6 of it.
inline constexpr double kMeetsAxisSquared = 1e-12;
/// Squared length in plan up to which an edge counts as upright.
inline constexpr double kUprightSquared = 1e-24;
/// Largest b2 of a curve that counts as straight.
inline constexpr double kFlatB2 = 1e-10;

/// `SpinSegment` for ends relative to the axis.
inline SpunHyperbola SpunAroundZ(const VecBase<3, double>& p, const VecBase<3, double>& q)
{
    SpunHyperbola spun;
    const bool isAscending = !(q.z() < p.z()); // on a tie the order of the arguments stands
    spun.lowPoint = isAscending ? p : q;
    spun.highPoint = isAscending ? q : p;
    const VecBase<3, double>& low = spun.lowPoint;
    const VecBase<3, double>& high = spun.highPoint;

    const double vx = high.x() - low.x();
    const double vy = high.y() - low.y();
    const double rise = high.z() - low.z();
    const double squaredPlan = vx * vx + vy * vy;
    const bool isUpright = squaredPlan <= kUprightSquared;
    const double t = isUpright ? 0.0 : -(low.x() * vx + low.y() * vy) / squaredPlan;

    const auto radius = [](double x, double y) { return std::sqrt(x * x + y * y); };
    spun.vertex = {radius(low.x() + vx * t, low.y() + vy * t), low.z() + rise * t};
    spun.lowEnd = {radius(low.x(), low.y()), low.z()};
    spun.highEnd = {radius(high.x(), high.y()), high.z()};

    // With s the distance in plan of a point from the vertex, r^2 = a2 + s^2 and z - vertex.z =
    // slope * s, so that b2 = a2 * slope^2. Formed from an end beside the vertex it would lose all
    // its digits.
    spun.a2 = spun.vertex[0] * spun.vertex[0];
    spun.b2 =
        spun.a2 <= kMeetsAxisSquared || isUpright ? 0.0 : spun.a2 * (rise * rise / squaredPlan);
    spun.flat = std::fabs(spun.b2) <= kFlatB2;
    return spun;
}

} // namespace Velk::Math::Sorvane::Mill::Impl
