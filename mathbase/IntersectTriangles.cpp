// Triangles: nearest points, rays, segments, the vertical axis and balls against them, their
// circumscribed circle; and the nearest pair of two lines in space.
//
// Rays are sheared on to an axis, so that the three sides of a triangle become three signed areas
// in the plane (S. Woop, C. Benthin, I. Wald, "Watertight Ray/Triangle Intersection", 2013).
// Swapping the ends of a side negates its area exactly: of two triangles at a common side at least
// one sees the ray.

#include <Velk/Math/Intersect_E.h>

#include "mathbase/NearestOnTriangle_Impl.h"

#include <array>
#include <tuple>
#include <utility>

namespace Velk::Math::Intersect {
namespace {

using namespace Impl;
using Math::Impl::NearestPlace;
using Math::Impl::PointOnSegment;

/// Rounding of a signed area in the ray's plane, relative to the square of the triangle's extent.
constexpr double kAreaRounding = 8.0 * std::numeric_limits<double>::epsilon();

// --- nearest pairs -------------------------------------------------------------------------------

struct NearestPair {
    double s = 0.0;
    double t = 0.0;
    Vec3d pa;
    Vec3d pb;
};

/// Nearest pair of two segments.
///
/// Either it is that of the two lines, or one of the four ends is in it. Near-parallel lines have
/// an ill-defined nearest pair, but every pair between them is then hardly farther; one step of
/// alternate projection takes out the error along the lines.
NearestPair NearestOfSegments(const Vec3d& a0, const Vec3d& a1, const Vec3d& b0, const Vec3d& b1)
{
    const Vec3d a = a1 - a0;
    const Vec3d b = b1 - b0;
    const Vec3d normal = NormalOf(a, b);
    const double squaredNormal = normal * normal;

    std::array<NearestPair, 5> candidate;
    std::size_t count = 0;
    const auto onA = [&](const Vec3d& p) { return NearestPlace(a0, a1, p, kPointsAreShort); };
    const auto onB = [&](const Vec3d& p) { return NearestPlace(b0, b1, p, kPointsAreShort); };
    if (squaredNormal > kFlatSine * kFlatSine * ((a * a) * (b * b))) {
        const double s = (((b0 - a0) ^ b) * normal) / squaredNormal;
        const double t = (((b0 - a0) ^ a) * normal) / squaredNormal;
        if (s >= 0.0 && s <= 1.0 && t >= 0.0 && t <= 1.0) {
            const auto settled = onB(PointOnSegment(a0, a1, s));
            const auto nearest = onA(settled.point);
            candidate[count++] = {nearest.parameter, settled.parameter, nearest.point,
                                  settled.point};
        }
    }
    for (const auto& [s, end] : {std::pair{0.0, &a0}, std::pair{1.0, &a1}}) {
        const auto nearest = onB(*end);
        candidate[count++] = {s, nearest.parameter, *end, nearest.point};
    }
    for (const auto& [t, end] : {std::pair{0.0, &b0}, std::pair{1.0, &b1}}) {
        const auto nearest = onA(*end);
        candidate[count++] = {nearest.parameter, t, nearest.point, *end};
    }
    return *std::min_element(
        candidate.begin(), candidate.begin() + static_cast<std::ptrdiff_t>(count),
        [](const NearestPair& u, const NearestPair& v) {
            return Vector::SquaredLength(u.pa - u.pb) < Vector::SquaredLength(v.pa - v.pb);
        });
}

/// Nearest pair of two lines; false when they are parallel or not lines, by the floors of the
/// caller's type.
bool NearestOfLines(const Vec3d& a0, const Vec3d& a1, const Vec3d& b0, const Vec3d& b1,
                    double squaredFloor, NearestPair& pair)
{
    const Vec3d a = a1 - a0;
    const Vec3d b = b1 - b0;
    const Vec3d normal = NormalOf(a, b);
    const double squaredNormal = normal * normal;
    if (!(a * a > squaredFloor && b * b > squaredFloor &&
          squaredNormal > squaredFloor * ((a * a) * (b * b)))) {
        return false;
    }
    pair.s = (((b0 - a0) ^ b) * normal) / squaredNormal;
    pair.t = (((b0 - a0) ^ a) * normal) / squaredNormal;
    pair.pa = a0 + a * pair.s;
    pair.pb = b0 + b * pair.t;
    return IsFinite(pair.pa) && IsFinite(pair.pb);
}

// --- rays and segments --------------------------------------------------------------------------

/// Hit of a whole line with a filled triangle, weights of the corners down to -`tolerance`.
///
/// The coordinate in which the line runs steepest is interpolated in the triangle, the others
/// follow from the line: a far origin costs no accuracy, and a line along an axis keeps its other
/// two coordinates to the bit.
bool CrossLine(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& origin,
               const Vec3d& direction, double tolerance, Vec3d& hit, double& distance)
{
    const double length = Vector::Length(direction);
    if (!(length > 0.0 && length <= std::numeric_limits<double>::max())) {
        return false;
    }
    int z = std::fabs(direction[1]) > std::fabs(direction[0]) ? 1 : 0;
    z = std::fabs(direction[2]) > std::fabs(direction[z]) ? 2 : z;
    const int x = (z + 1) % 3;
    const int y = (z + 2) % 3;
    const double shearX = direction[x] / direction[z];
    const double shearY = direction[y] / direction[z];
    const auto sheared = [&](const Vec3d& p) {
        const Vec3d v = p - origin;
        return Vec2d{v[x] - shearX * v[z], v[y] - shearY * v[z]};
    };
    const Vec2d a2 = sheared(a);
    const Vec2d b2 = sheared(b);
    const Vec2d c2 = sheared(c);

    // Each exactly negated when the ends of its side are swapped.
    const double u = b2 ^ c2;
    const double v = c2 ^ a2;
    const double w = a2 ^ b2;
    const double area = u + v + w;

    // An area within its rounding: the triangle is seen edge-on, or is none.
    const double extentX =
        std::max(std::fabs(a2.x()), std::max(std::fabs(b2.x()), std::fabs(c2.x())));
    const double extentY =
        std::max(std::fabs(a2.y()), std::max(std::fabs(b2.y()), std::fabs(c2.y())));
    if (!(std::fabs(area) > kAreaRounding * extentX * extentY)) {
        return false;
    }
    const double sign = area > 0.0 ? 1.0 : -1.0;
    const double least = -tolerance * std::fabs(area);
    if (!(sign * u >= least && sign * v >= least && sign * w >= least)) {
        return false;
    }
    const double height = a[z] + (v * (b[z] - a[z]) + w * (c[z] - a[z])) / area;
    const double depth = height - origin[z];
    hit[x] = origin[x] + shearX * depth;
    hit[y] = origin[y] + shearY * depth;
    hit[z] = height;
    distance = depth / direction[z] * length;
    return IsFinite(hit);
}

bool CrossSegment(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& s0, const Vec3d& s1,
                  double tolerance, Vec3d& hit)
{
    const Vec3d normal = NormalOf(b - a, c - a);
    const double height0 = normal * (s0 - a);
    const double height1 = normal * (s1 - a);
    const double reach = AtLeastZero(tolerance);
    const double scaledReach = reach * Vector::Length(normal);
    const bool touches0 = std::fabs(height0) <= scaledReach;
    const bool touches1 = std::fabs(height1) <= scaledReach;
    if (touches0 && touches1) {
        return false; // in the plane
    }
    if (!touches0 && !touches1 && (height0 > 0.0) == (height1 > 0.0)) {
        return false;
    }
    // An end in the plane decides by its distance; at a grazing angle the line may pierce far away.
    if (touches0 || touches1) {
        const Vec3d& end = touches0 ? s0 : s1;
        if (Vector::Length(end - NearestOnTriangle({a, b, c}, end)) <= reach) {
            hit = end;
            return true;
        }
    }
    if ((height0 > 0.0) == (height1 > 0.0)) {
        return false;
    }
    // The plane lies between the ends by the signs of two heights, each of which belongs to one
    // point: of two segments that share an end in the surface at least one crosses.
    double distance = 0.0;
    Vec3d crossing;
    if (!CrossLine(a, b, c, s0, s1 - s0, reach, crossing, distance)) {
        return false;
    }
    hit = distance <= 0.0 ? s0 : distance >= Vector::Length(s1 - s0) ? s1 : crossing;
    return true;
}

// --- the vertical axis --------------------------------------------------------------------------

/// Where the line through the origin of the plane along `direction` enters and leaves the
/// triangle's outline: the first and last of its crossings with the sides, as points in space.
std::pair<Vec3d, Vec3d> ExitsAlong(const Vec2d& direction, const std::array<Vec3d, 3>& corner,
                                   const Vec3d& hit)
{
    const auto place = [&](const Vec3d& p) { return direction * Vec2d{p.x(), p.y()}; };
    // A corner on the line is one within rounding: along a side that the line runs in, noise must
    // not decide whether there are exits.
    const auto side = [&](const Vec3d& p) {
        const double left = direction[0] * p[1];
        const double right = direction[1] * p[0];
        const bool onLine =
            std::fabs(left - right) <= kAreaRounding * (std::fabs(left) + std::fabs(right));
        return onLine ? 0.0 : left - right;
    };
    std::pair<Vec3d, Vec3d> exits{hit,
                                  hit}; // the hit belongs to the triangle, whatever rounding says
    const auto extend = [&](const Vec3d& p) {
        if (place(p) < place(exits.first)) {
            exits.first = p;
        }
        if (place(p) > place(exits.second)) {
            exits.second = p;
        }
    };
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d& p = corner[i];
        const Vec3d& q = corner[(i + 1) % 3];
        const double pSide = side(p);
        const double qSide = side(q);
        if (pSide == 0.0) {
            extend(p);
        } else if ((pSide < 0.0 && qSide > 0.0) || (pSide > 0.0 && qSide < 0.0)) {
            extend(p + (q - p) * (pSide / (pSide - qSide)));
        }
    }
    return exits;
}

} // namespace

template <int N, class T>
VecBase<N, T> ClosestPointOnTriangle(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                     const VecBase<N, T>& c, const VecBase<N, T>& point)
{
    return Narrowed<T>(
        NearestOnTriangle(std::array{Widened(a), Widened(b), Widened(c)}, Widened(point)));
}

template <class T>
bool ClosestPointsOfTwoLines(const VecBase<3, T>& a0, const VecBase<3, T>& a1,
                             const VecBase<3, T>& b0, const VecBase<3, T>& b1, bool clamp, T& s,
                             T& t, VecBase<3, T>& pa, VecBase<3, T>& pb)
{
    const Vec3d a0d = Widened(a0);
    const Vec3d a1d = Widened(a1);
    const Vec3d b0d = Widened(b0);
    const Vec3d b1d = Widened(b1);
    NearestPair pair;
    if (clamp) {
        if (!IsFinite(a0d) || !IsFinite(a1d) || !IsFinite(b0d) || !IsFinite(b1d)) {
            return false;
        }
        pair = NearestOfSegments(a0d, a1d, b0d, b1d);
        if (!IsFinite(pair.pa) || !IsFinite(pair.pb)) {
            return false;
        }
    } else if (!NearestOfLines(a0d, a1d, b0d, b1d, static_cast<double>(kSquaredLengthFloor<T>),
                               pair)) {
        return false;
    }
    s = static_cast<T>(pair.s);
    t = static_cast<T>(pair.t);
    pa = Narrowed<T>(pair.pa);
    pb = Narrowed<T>(pair.pb);
    return true;
}

bool ProjectZAxisOnTriangle(const VecBase<3, double>& a, const VecBase<3, double>& b,
                            const VecBase<3, double>& c, VecBase<3, double>& hit,
                            VecBase<3, double>& first, VecBase<3, double>& second)
{
    hit = first = second = {};
    const auto doubledArea = [](const Vec3d& p, const Vec3d& q) {
        return p[0] * q[1] - p[1] * q[0];
    };
    const double u = doubledArea(b, c);
    const double v = doubledArea(c, a);
    const double w = doubledArea(a, b);
    if (!((u >= 0.0 && v >= 0.0 && w >= 0.0) || (u <= 0.0 && v <= 0.0 && w <= 0.0))) {
        return false;
    }
    const Vec3d normal = NormalOf(b - a, c - a);
    const double steepness = Vector::Length(normal);
    if (!(std::fabs(normal.z()) > kLengthFloor<double> * steepness) || u + v + w == 0.0 ||
        !IsFinite(a) || !IsFinite(b) || !IsFinite(c)) {
        return false;
    }
    hit = {0.0, 0.0, a.z() + (v * (b.z() - a.z()) + w * (c.z() - a.z())) / (u + v + w)};

    // The surface falls along the horizontal part of its upward normal.
    const Vec2d slope{normal.x(), normal.y()};
    const bool horizontal = !(Vector::Length(slope) > kLengthFloor<double> * steepness);
    const Vec2d upward = horizontal ? Vec2d{1.0, 0.0} : (normal.z() > 0.0 ? -slope : slope);
    std::tie(first, second) = ExitsAlong(upward, {a, b, c}, hit);
    if (!horizontal && first.z() > second.z()) {
        std::swap(first, second); // a fall below the rounding of z
    }
    return true;
}

bool RayTriangleHitPoint(const VecBase<3, double>& a, const VecBase<3, double>& b,
                         const VecBase<3, double>& c, const VecBase<3, double>& origin,
                         const VecBase<3, double>& direction, VecBase<3, double>* hit,
                         double* distance, bool twoSided, double tolerance)
{
    const double reach = AtLeastZero(tolerance);
    Vec3d crossing;
    double along = 0.0;
    if (!CrossLine(a, b, c, origin, direction, reach, crossing, along) ||
        !(twoSided || along >= -reach)) {
        return false;
    }
    if (hit != nullptr) {
        *hit = crossing;
    }
    if (distance != nullptr) {
        *distance = along;
    }
    return true;
}

bool SegmentTriangle(const VecBase<3, double>& a, const VecBase<3, double>& b,
                     const VecBase<3, double>& c, const VecBase<3, double>& s0,
                     const VecBase<3, double>& s1, double tolerance)
{
    Vec3d crossing;
    return CrossSegment(a, b, c, s0, s1, tolerance, crossing);
}

bool SegmentTriangleHitPoint(const VecBase<3, double>& a, const VecBase<3, double>& b,
                             const VecBase<3, double>& c, const VecBase<3, double>& s0,
                             const VecBase<3, double>& s1, VecBase<3, double>* hit,
                             double tolerance)
{
    Vec3d crossing;
    if (!CrossSegment(a, b, c, s0, s1, tolerance, crossing)) {
        return false;
    }
    if (hit != nullptr) {
        *hit = crossing;
    }
    return true;
}

bool SphereTriangle(const VecBase<3, double>& center, double radius, const VecBase<3, double>& a,
                    const VecBase<3, double>& b, const VecBase<3, double>& c)
{
    const Vec3d nearest = NearestOnTriangle(std::array{a, b, c}, center);
    return radius >= 0.0 && Vector::SquaredLength(nearest - center) <= radius * radius;
}

template <class T>
bool FindCircumsphere(const VecBase<3, T>& a, const VecBase<3, T>& b, const VecBase<3, T>& c,
                      VecBase<3, T>& center, T& radius, bool squaredRadius, T tolerance)
{
    center = {};
    radius = T{0};
    const Vec3d base = Widened(a);
    const Vec3d ab = Widened(b) - base;
    const Vec3d ac = Widened(c) - base;
    const Vec3d normal = NormalOf(ab, ac);
    const double squaredNormal = normal * normal;
    const double squaredLongest =
        std::max(ab * ab, std::max(ac * ac, Vector::SquaredLength(ac - ab)));
    if (!(std::sqrt(squaredNormal) >
          AtLeastZero(static_cast<double>(tolerance)) * squaredLongest)) {
        return false;
    }
    const Vec3d offset =
        ((normal ^ ab) * (ac * ac) + (ac ^ normal) * (ab * ab)) * (0.5 / squaredNormal);
    const Vec3d found = base + offset;
    const double squared = offset * offset;
    if (!IsFinite(found) || !std::isfinite(squared)) {
        return false;
    }
    center = Narrowed<T>(found);
    radius = static_cast<T>(squaredRadius ? squared : std::sqrt(squared));
    return true;
}

// clang-format off
template VecBase<2, float>  ClosestPointOnTriangle(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&);
template VecBase<2, double> ClosestPointOnTriangle(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&);
template VecBase<3, double> ClosestPointOnTriangle(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&);
#define SORVANE_INSTANTIATE(T) \
    template bool ClosestPointsOfTwoLines(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, bool, T&, T&, VecBase<3, T>&, VecBase<3, T>&); \
    template bool FindCircumsphere(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, VecBase<3, T>&, T&, bool, T);
// clang-format on
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Intersect
