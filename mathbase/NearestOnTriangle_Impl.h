// Nearest point of a filled triangle, inline for the loops of searches.
//
// It is decided by the signs of p against the three sides and takes its position from the normal,
// whose digits survive on thin triangles.
#pragma once

#include "mathbase/Intersect_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace Velk::Math::Intersect::Impl {

/// Below this sine (normal over the product of two sides) a triangle is its longest side: the
/// differences that its normal comes from carry an error of the same size.
inline constexpr double kFlatSine = 4.0 * std::numeric_limits<double>::epsilon();

/// `point`, moved into the box of the corners where it lies outside. Rounding carries a nearest
/// point out of its triangle by a unit in the last place, and on a needle, whose sides are told
/// apart badly, much farther; within the box it is never nearer to anything than the box is,
/// rounded or not.
template <int N>
VecBase<N, double> KeptInBox(VecBase<N, double> point,
                             const std::array<VecBase<N, double>, 3>& corner)
{
    for (int i = 0; i < N; ++i) {
        const double low = std::min(corner[0][i], std::min(corner[1][i], corner[2][i]));
        const double high = std::max(corner[0][i], std::max(corner[1][i], corner[2][i]));
        point[i] = point[i] < low ? low : (point[i] > high ? high : point[i]);
    }
    return point;
}

/// Nearest point on the sides for which `isBeyond` holds; they are numbered from a b.
template <int N, class IsBeyond>
VecBase<N, double> NearestOnSides(const std::array<VecBase<N, double>, 3>& corner,
                                  const VecBase<N, double>& p, const IsBeyond& isBeyond)
{
    VecBase<N, double> nearest;
    double squaredDistance = std::numeric_limits<double>::infinity();
    bool any = false;
    for (std::size_t side = 0; side < 3; ++side) {
        if (!isBeyond(side)) {
            continue;
        }
        const VecBase<N, double> q = KeptInBox(
            NearestOnSegment(corner[side], corner[(side + 1) % 3], p, kPointsAreShort), corner);
        const double d = Vector::SquaredLength(p - q);
        if (!any || d < squaredDistance) {
            nearest = q;
            squaredDistance = d;
            any = true;
        }
    }
    return nearest;
}

inline Vec2d NearestOnTriangle(const std::array<Vec2d, 3>& corner, const Vec2d& p)
{
    if (IsInTriangle(corner[0], corner[1], corner[2], p)) {
        return p;
    }
    return NearestOnSides(corner, p, [](std::size_t) { return true; });
}

/// In space only sides that p lies beyond can hold its nearest point: at a corner that is nearest p
/// lies outside the corner's angle, and so beyond one of its sides.
inline Vec3d NearestOnTriangle(const std::array<Vec3d, 3>& corner, const Vec3d& p)
{
    const auto& [a, b, c] = corner;
    const Vec3d ab = b - a;
    const Vec3d ac = c - a;
    const Vec3d normal = NormalOf(ab, ac);
    const double squaredNormal = normal * normal;
    const bool hasPlane = squaredNormal > kFlatSine * kFlatSine * ((ab * ab) * (ac * ac));
    const std::array<double, 3> inward{(normal ^ ab) * (p - a), (normal ^ (c - b)) * (p - b),
                                       (normal ^ ac) * (a - p)};
    if (hasPlane && inward[0] >= 0.0 && inward[1] >= 0.0 && inward[2] >= 0.0) {
        return KeptInBox(p - normal * ((normal * (p - a)) / squaredNormal), corner);
    }
    return NearestOnSides(corner, p,
                          [&](std::size_t side) { return !hasPlane || !(inward[side] >= 0.0); });
}

} // namespace Velk::Math::Intersect::Impl
