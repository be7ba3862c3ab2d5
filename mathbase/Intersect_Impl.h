// Small steps that the intersection sources share: sides of lines and normals that keep their
// digits on thin triangles.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include "mathbase/ErrorFree_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>

namespace Velk::Math::Intersect::Impl {

using Math::Impl::DifferenceOfProducts;
using Math::Impl::IsFinite;
using Math::Impl::kPointsAreShort;
using Math::Impl::Narrowed;
using Math::Impl::NearestOnSegment;
using Math::Impl::Widened;

/// A tolerance as comparisons use it: negative ones count as 0, NaN stays and fails every
/// comparison.
inline double AtLeastZero(double tolerance) { return tolerance < 0.0 ? 0.0 : tolerance; }

/// Lexicographic order of points: x, then y.
inline bool Precedes(const Vec2d& a, const Vec2d& b)
{
    return a.x() < b.x() || (a.x() == b.x() && a.y() < b.y());
}

/// Side of the line a b on which `p` lies, as the doubled area of the triangle a b p; positive to
/// the left. Swapping a and b exactly negates it, so that the two triangles at a common side never
/// disagree about a point.
inline double SideOfLine(const Vec2d& a, const Vec2d& b, const Vec2d& p)
{
    return Precedes(b, a) ? -((a - b) ^ (p - b)) : (b - a) ^ (p - a);
}

/// Is `p` in the closed triangle of either orientation?
///
/// The box test comes first because it is cheap, and because it settles what the sides can't: on a
/// triangle without area all points of its line have three sides of 0.
inline bool IsInTriangle(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& p)
{
    for (int i = 0; i < 2; ++i) {
        const double low = std::min(a[i], std::min(b[i], c[i]));
        const double high = std::max(a[i], std::max(b[i], c[i]));
        if (!(p[i] >= low && p[i] <= high)) {
            return false;
        }
    }
    const double ab = SideOfLine(a, b, p);
    const double bc = SideOfLine(b, c, p);
    const double ca = SideOfLine(c, a, p);
    return (ab >= 0.0 && bc >= 0.0 && ca >= 0.0) || (ab <= 0.0 && bc <= 0.0 && ca <= 0.0);
}

/// u ^ v, accurate in every component also for vectors that are almost parallel, as the sides of a
/// thin triangle are: there the plain form keeps only noise of size epsilon |u| |v|.
inline Vec3d NormalOf(const Vec3d& u, const Vec3d& v)
{
    // Squared sine from which on the plain product has lost no more than two digits.
    constexpr double kWideSquaredSine = 1e-4;
    const Vec3d plain = u ^ v;
    if (!(plain * plain < kWideSquaredSine * ((u * u) * (v * v)))) {
        return plain;
    }
    return {DifferenceOfProducts(u[1], v[2], u[2], v[1]),
            DifferenceOfProducts(u[2], v[0], u[0], v[2]),
            DifferenceOfProducts(u[0], v[1], u[1], v[0])};
}

} // namespace Velk::Math::Intersect::Impl
