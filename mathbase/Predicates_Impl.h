// The questions that geometry is decided by, answered without error: on which side of a line or a
// plane a point lies, and whether it lies inside a circle.
//
// Each is the sign of a determinant in differences of coordinates. A floating-point evaluation with
// its error bound, inline here, decides nearly always; then one in twice the precision; what is
// left, mostly points that do lie on one line, plane or circle, is evaluated without rounding (J.
// R. Shewchuk, "Adaptive Precision Floating-Point Arithmetic and Fast Robust Geometric Predicates",
// 1997).
//
// The answers are exact for finite coordinates whose magnitudes, zeros aside, lie within a factor
// of 1e140 of each other, whatever their size; beyond that the smallest may be lost. So answers
// never contradict each other: what is left of a line is right of its reverse, and sorting by them
// is a consistent order. A coordinate that is not finite gives 0.
#pragma once

#include "mathbase/ErrorFree_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <cmath>

namespace Velk::Math::Impl {

// --- error bounds -------------------------------------------------------------------------------
//
// A rounded operation is off by a share of at most one unit u. The bounds are shares of the sum of
// the magnitudes of a determinant's terms, and count the roundings on the way from a coordinate to
// the end, all but the last one, which can't change a sign. The terms in u u cover that roundings
// multiply, and those of the sum of magnitudes and of its product with the bound.

/// Half an epsilon.
inline constexpr double kRoundingUnit = 0x1p-53;

/// Two differences and a product.
inline constexpr double kPlaneOrientationError = (3 + 16 * kRoundingUnit) * kRoundingUnit;

/// Three differences, two products, the difference of two products and the sum of two terms.
inline constexpr double kSpaceOrientationError = (7 + 56 * kRoundingUnit) * kRoundingUnit;

/// The squared distance, two differences, a square and a sum: 4. The area, two differences, a
/// product and a difference: 4. Their product and the sum of two terms: 2.
inline constexpr double kInCircleError = (10 + 96 * kRoundingUnit) * kRoundingUnit;

/// What terms that underflow can lose beyond a share of themselves: 2^-1075 each. Within the range
/// of sizes promised above it happens only where all coordinates are below 2^6, so that the one or
/// two further factors of a term in space or for a circle leave it far below this bound.
inline constexpr double kUnderflowError = 0x1p-1022;

// --- exact stages -------------------------------------------------------------------------------

int OrientationWithoutFilter(const Vec2d& a, const Vec2d& b, const Vec2d& c);
int OrientationWithoutFilter(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d);
int InCircleWithoutFilter(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d);

// --- predicates ---------------------------------------------------------------------------------

/// Sign of (b - a) ^ (c - a), the doubled signed area of the triangle: 1 when a, b, c run
/// counter-clockwise, which is when `c` lies on the left of the line from `a` to `b`; -1 when they
/// run clockwise; 0 when the points are collinear.
template <class T>
inline int Orientation(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c)
{
    const Vec2d pa = Widened(a);
    const Vec2d pb = Widened(b);
    const Vec2d pc = Widened(c);
    const double forth = (pa.x() - pc.x()) * (pb.y() - pc.y());
    const double back = (pa.y() - pc.y()) * (pb.x() - pc.x());
    const double area = forth - back;
    const double error =
        kPlaneOrientationError * (std::fabs(forth) + std::fabs(back)) + kUnderflowError;
    if (area > error) {
        return 1;
    }
    if (-area > error) {
        return -1;
    }
    return OrientationWithoutFilter(pa, pb, pc);
}

/// Sign of ((b - a) ^ (c - a)) * (d - a): 1 when `d` lies on the side of the plane from which a, b,
/// c run counter-clockwise, -1 on the other, 0 when the four points lie in one plane.
template <class T>
inline int Orientation(const VecBase<3, T>& a, const VecBase<3, T>& b, const VecBase<3, T>& c,
                       const VecBase<3, T>& d)
{
    const Vec3d pd = Widened(d);
    const Vec3d u = Widened(a) - pd;
    const Vec3d v = Widened(b) - pd;
    const Vec3d w = Widened(c) - pd;
    const double vxwy = v.x() * w.y();
    const double wxvy = w.x() * v.y();
    const double wxuy = w.x() * u.y();
    const double uxwy = u.x() * w.y();
    const double uxvy = u.x() * v.y();
    const double vxuy = v.x() * u.y();
    // The determinant of the rows u, v, w is the negative of the value asked for.
    const double negative = u.z() * (vxwy - wxvy) + v.z() * (wxuy - uxwy) + w.z() * (uxvy - vxuy);
    const double magnitude = std::fabs(u.z()) * (std::fabs(vxwy) + std::fabs(wxvy)) +
                             std::fabs(v.z()) * (std::fabs(wxuy) + std::fabs(uxwy)) +
                             std::fabs(w.z()) * (std::fabs(uxvy) + std::fabs(vxuy));
    const double error = kSpaceOrientationError * magnitude + kUnderflowError;
    if (negative > error) {
        return -1;
    }
    if (-negative > error) {
        return 1;
    }
    return OrientationWithoutFilter(Widened(a), Widened(b), Widened(c), pd);
}

/// For a, b, c that run counter-clockwise: 1 when `d` lies inside their circle, -1 outside, 0 on
/// it. For a, b, c that run clockwise it is the negative of that. Collinear ones have no circle:
/// the answer then is 0 for `d` on their line, and otherwise tells a side of it and no more.
template <class T>
inline int InCircle(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c,
                    const VecBase<2, T>& d)
{
    const Vec2d pd = Widened(d);
    const Vec2d u = Widened(a) - pd;
    const Vec2d v = Widened(b) - pd;
    const Vec2d w = Widened(c) - pd;
    const double vxwy = v.x() * w.y();
    const double wxvy = w.x() * v.y();
    const double wxuy = w.x() * u.y();
    const double uxwy = u.x() * w.y();
    const double uxvy = u.x() * v.y();
    const double vxuy = v.x() * u.y();
    const double squaredU = u.x() * u.x() + u.y() * u.y();
    const double squaredV = v.x() * v.x() + v.y() * v.y();
    const double squaredW = w.x() * w.x() + w.y() * w.y();
    const double depth =
        squaredU * (vxwy - wxvy) + squaredV * (wxuy - uxwy) + squaredW * (uxvy - vxuy);
    const double magnitude = squaredU * (std::fabs(vxwy) + std::fabs(wxvy)) +
                             squaredV * (std::fabs(wxuy) + std::fabs(uxwy)) +
                             squaredW * (std::fabs(uxvy) + std::fabs(vxuy));
    const double error = kInCircleError * magnitude + kUnderflowError;
    if (depth > error) {
        return 1;
    }
    if (-depth > error) {
        return -1;
    }
    return InCircleWithoutFilter(Widened(a), Widened(b), Widened(c), pd);
}

// --- accurate values ----------------------------------------------------------------------------

/// Twice the signed area of a, b, c in twice the precision, from exact differences, rounded at the
/// end: a needle that reaches out to a far corner has an area that plain products can't tell from
/// their rounding.
inline double AccurateDoubleArea(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    const DoubleWord forth = TwoSum(a.x(), -c.x()) * TwoSum(b.y(), -c.y());
    const DoubleWord back = TwoSum(a.y(), -c.y()) * TwoSum(b.x(), -c.x());
    return (forth - back).high;
}

/// (b - a) ^ (c - b) in the same manner: the normal of the triangle a, b, c, as long as twice its
/// area.
inline Vec3d AccurateNormal(const Vec3d& a, const Vec3d& b, const Vec3d& c)
{
    Vec3d normal;
    for (int k = 0; k < 3; ++k) {
        const int l = k == 2 ? 0 : k + 1;
        const int m = l == 2 ? 0 : l + 1;
        const DoubleWord forth = TwoSum(b[l], -a[l]) * TwoSum(c[m], -b[m]);
        const DoubleWord back = TwoSum(b[m], -a[m]) * TwoSum(c[l], -b[l]);
        normal[k] = (forth - back).high;
    }
    return normal;
}

} // namespace Velk::Math::Impl
