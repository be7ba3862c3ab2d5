// Axis-aligned boxes against boxes, triangles, rays and points.
//
// These tests prune searches, so that a wrong "no" loses a result that nobody looks for again,
// while a "yes" by a rounding error costs one more exact test. Comparisons against the faces are
// exact; where products round, the rounding is given to the box.

#include <Velk/Math/Intersect_E.h>

#include "mathbase/RayBox_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Velk::Math::Intersect {
namespace {

/// Bound of the rounding of a difference and a sum of two products, relative to their magnitudes.
constexpr double kProjectionRounding = 4.0 * std::numeric_limits<double>::epsilon();

/// A box seen from a corner of the triangle. The library's box of points stands above the math
/// base, and this one may be unbounded: two vectors that travel together, and no operation.
struct RelativeBox {
    Vec3d low;
    Vec3d high;
};

/// Can `axis`, the product of a side with a coordinate axis or the normal, tell box and triangle
/// apart? `e1` and `e2` are the triangle's corners as seen from its first.
bool SeparatedAlong(const Vec3d& axis, const RelativeBox& box, const Vec3d& e1, const Vec3d& e2)
{
    double boxLow = 0.0;
    double boxHigh = 0.0;
    double rounding = 0.0;
    for (int i = 0; i < 3; ++i) {
        if (axis[i] == 0.0) {
            continue; // an unbounded box must not make 0 * infinity
        }
        const double atLow = axis[i] * box.low[i];
        const double atHigh = axis[i] * box.high[i];
        boxLow += std::min(atLow, atHigh);
        boxHigh += std::max(atLow, atHigh);
        rounding += std::max(std::fabs(atLow), std::fabs(atHigh)) +
                    std::fabs(axis[i]) * (std::fabs(e1[i]) + std::fabs(e2[i]));
    }
    rounding *= kProjectionRounding;
    const double p1 = axis * e1;
    const double p2 = axis * e2;
    const double low = std::min(0.0, std::min(p1, p2));
    const double high = std::max(0.0, std::max(p1, p2));
    return high < boxLow - rounding || low > boxHigh + rounding;
}

bool SharesRangeOnAxes(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& min,
                       const Vec3d& max)
{
    for (int i = 0; i < 3; ++i) {
        if (!std::isfinite(a[i]) || !std::isfinite(b[i]) || !std::isfinite(c[i]) ||
            !(min[i] <= max[i])) {
            return false;
        }
        if (std::max(a[i], std::max(b[i], c[i])) < min[i] ||
            std::min(a[i], std::min(b[i], c[i])) > max[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

bool AABBAABB(const VecBase<3, double>& minA, const VecBase<3, double>& maxA,
              const VecBase<3, double>& minB, const VecBase<3, double>& maxB, bool /*flag*/)
{
    return minA[0] <= maxB[0] && minB[0] <= maxA[0] && minA[1] <= maxB[1] && minB[1] <= maxA[1] &&
           minA[2] <= maxB[2] && minB[2] <= maxA[2];
}

bool TriangleAABB(const VecBase<3, double>& a, const VecBase<3, double>& b,
                  const VecBase<3, double>& c, const VecBase<3, double>& min,
                  const VecBase<3, double>& max)
{
    if (!SharesRangeOnAxes(a, b, c, min, max)) {
        return false;
    }
    const RelativeBox box{min - a, max - a};
    const Vec3d e1 = b - a;
    const Vec3d e2 = c - a;
    if (SeparatedAlong(e1 ^ e2, box, e1, e2)) {
        return false;
    }
    for (const Vec3d& side : {e1, e2, e2 - e1}) {
        // The products of the side with the three coordinate axes.
        if (SeparatedAlong({0.0, -side[2], side[1]}, box, e1, e2) ||
            SeparatedAlong({side[2], 0.0, -side[0]}, box, e1, e2) ||
            SeparatedAlong({-side[1], side[0], 0.0}, box, e1, e2)) {
            return false;
        }
    }
    return true;
}

bool RayAABB(const VecBase<3, double>& origin, const VecBase<3, double>& direction,
             const VecBase<3, double>& min, const VecBase<3, double>& max, VecBase<3, double>& hit,
             double& distance)
{
    hit = {};
    distance = 0.0;
    double enter = 0.0;
    if (!Impl::IsRayDirection(direction) ||
        !Impl::RayMeetsBox(origin, direction, min, max, enter)) {
        return false;
    }
    for (int i = 0; i < 3; ++i) {
        hit[i] = enter == 0.0
                     ? origin[i]
                     : std::min(std::max(origin[i] + direction[i] * enter, min[i]), max[i]);
    }
    distance = enter * Vector::Length(direction);
    return true;
}

template <int N, class T>
T DistanceToAABB(const VecBase<N, T>& min, const VecBase<N, T>& max, const VecBase<N, T>& point,
                 bool squared)
{
    T sum{0};
    for (int i = 0; i < N; ++i) {
        if (point[i] < min[i] || point[i] > max[i]) {
            // Of an inverted box both faces may lie outwards; the farther one counts.
            const T below = min[i] - point[i];
            const T above = point[i] - max[i];
            const T gap = below > above ? below : above;
            sum += gap * gap;
        }
        if (std::isnan(point[i]) || std::isnan(min[i]) || std::isnan(max[i])) {
            return std::numeric_limits<T>::quiet_NaN();
        }
    }
    return squared ? sum : std::sqrt(sum);
}

template float DistanceToAABB(const VecBase<2, float>&, const VecBase<2, float>&,
                              const VecBase<2, float>&, bool);
template double DistanceToAABB(const VecBase<2, double>&, const VecBase<2, double>&,
                               const VecBase<2, double>&, bool);
template float DistanceToAABB(const VecBase<3, float>&, const VecBase<3, float>&,
                              const VecBase<3, float>&, bool);
template double DistanceToAABB(const VecBase<3, double>&, const VecBase<3, double>&,
                               const VecBase<3, double>&, bool);

} // namespace Velk::Math::Intersect
