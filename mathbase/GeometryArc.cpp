// Circular arcs: end point, box, the circle through three points, chord tolerances and
// tessellation.
//
// The circle through three points is built on the perpendicular bisector of the chord first-last,
// so that the arc returns to `last` however flat it is; its sagitta and its sweep come from
// inscribed angles. Tessellation turns the start point by multiples of one step: a table of the
// first multiples turns each of a sparse row of exactly computed points, which costs one sine and
// cosine in a block.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "mathbase/GeometryArc_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Velk::Math::Geometry {

namespace {

using Impl::kRadiusFloor;
using Impl::LeftNormal;
using Impl::PolarAngle;
using Impl::UnitAt;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

constexpr double kQuarterTurn = kPi<double> / 2;
/// Points that one sine and cosine serve in a tessellation.
constexpr std::size_t kBlock = 16;

/// `v` turned by the angle whose cosine and sine `turn` holds.
Vec2d Turned(const Vec2d& v, const Vec2d& turn)
{
    return {v.x() * turn.x() - v.y() * turn.y(), v.x() * turn.y() + v.y() * turn.x()};
}

/// Whether a run of angles from `low` to `high`, in quarter turns, passes quarter `quadrant` of
/// some turn.
bool PassesQuadrant(int quadrant, double low, double high)
{
    return quadrant + 4 * std::ceil((low - quadrant) / 4) <= high;
}

/// Twice the signed area of the triangle a b c, positive when counter-clockwise; exactly 0 when two
/// points coincide or all three count as collinear, and for points that are not finite.
template <class T>
double DoubledArea(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c)
{
    if (Matches(a, b, kLengthFloor<T>) || Matches(b, c, kLengthFloor<T>) ||
        Matches(a, c, kLengthFloor<T>)) {
        return 0;
    }
    const Vec2d ab = Widened(b) - Widened(a);
    const Vec2d bc = Widened(c) - Widened(b);
    const Vec2d ac = Widened(c) - Widened(a);
    const std::array<double, 3> side{Length(ab), Length(bc), Length(ac)};
    const auto longest = std::max_element(side.begin(), side.end()) - side.begin();
    // The two shorter sides give the product with the least rounding.
    const double area = longest == 2 ? ab ^ bc : longest == 1 ? ab ^ ac : ac ^ bc;
    const double shortest = *std::min_element(side.begin(), side.end());
    const double longer = side[0] * side[1] * side[2] / shortest;
    return std::abs(area) > Impl::kFlatness<T> * longer ? area : 0;
}

/// Angular step that keeps `tolerance` on a circle of `radius`; see the public form.
double StepAngle(double radius, double tolerance)
{
    if (!(radius >= 0 && tolerance > 0)) {
        return 0;
    }
    if (tolerance >= 2 * radius) {
        return kTwoPi<double>;
    }
    return std::min(4 * std::asin(std::sqrt(0.5 * (tolerance / radius))), kTwoPi<double>);
}

/// Least number of equal chords, none over a quarter turn, that stay within `tolerance` of an arc;
/// a whole number from 1 upward, held in a `double` because nothing bounds it.
double ChordCount(double radius, double sweep, double tolerance, double epsilon)
{
    if (!(radius > kRadiusFloor && std::isfinite(sweep))) {
        return 1;
    }
    double step = kQuarterTurn;
    if (tolerance > 0) {
        step = std::min(step, StepAngle(radius, tolerance));
    }
    // A length of, say, 2 pi radius is rounded, and its quarters must not become five.
    const double slack = 4 * epsilon;
    return std::max(1.0, std::ceil(std::abs(sweep) / step * (1 - slack)));
}

} // namespace

template <class T>
std::array<VecBase<2, T>, 2> ArcBase<T>::Bounds() const
{
    VecBase<2, T> low = start;
    VecBase<2, T> high = start;
    const auto include = [&low, &high](int axis, T value) {
        low[axis] = value < low[axis] ? value : low[axis];
        high[axis] = value > high[axis] ? value : high[axis];
    };
    const VecBase<2, T> end = EndPoint(*this);
    include(0, end.x());
    include(1, end.y());

    const Vec2d radial = Widened(start) - Widened(center);
    const double exactRadius = Vector::Length(radial);
    if (exactRadius > kRadiusFloor && length != 0) {
        const double from = PolarAngle(radial) / kQuarterTurn;
        const double to = from + static_cast<double>(length) / exactRadius / kQuarterTurn;
        const T radius = Radius(*this);
        for (int quadrant = 0; quadrant < 4; ++quadrant) {
            if (PassesQuadrant(quadrant, std::min(from, to), std::max(from, to))) {
                const int axis = quadrant % 2;
                include(axis, quadrant < 2 ? center[axis] + radius : center[axis] - radius);
            }
        }
    }
    return {low, high};
}

template <class T>
VecBase<2, T> EndPoint(const ArcBase<T>& arc)
{
    const Vec2d radial = Widened(arc.start) - Widened(arc.center);
    const double radius = Vector::Length(radial);
    const double length = arc.length;
    if (Impl::EndsAtStart(radius, length)) {
        return arc.start; // the angle stays: the detour through it would only round the point
    }
    const double angle = Impl::EndAngle(radial, radius, length);
    return Narrowed<T>(Widened(arc.center) + radius * UnitAt(angle));
}

template <class T>
ArcBase<T> ArcThroughPoints(const VecBase<2, T>& first, const VecBase<2, T>& middle,
                            const VecBase<2, T>& last)
{
    const ArcBase<T> none{first, first, T{0}};
    const double area = DoubledArea(first, middle, last);
    if (area == 0) {
        return none;
    }
    const Vec2d legIn = Widened(middle) - Widened(first);
    const Vec2d legOut = Widened(last) - Widened(middle);
    const Vec2d chord = Widened(last) - Widened(first);

    // Distance of the center to the left of the chord's midpoint, in chord lengths: half the
    // cotangent of the turn at `middle`. Whatever its error, first and last stay equally far from
    // the center.
    const double rise = (legIn * legOut) / (2 * area);
    ArcBase<T> arc;
    arc.center = Narrowed<T>(Widened(first) + (0.5 * chord + rise * LeftNormal(chord)));
    arc.start = first;

    const double sense = area > 0 ? 1 : -1;
    const double sweep = 2 * std::atan2(1.0, 2 * rise * sense);
    const double radius = Vector::Length(Widened(first) - Widened(arc.center));
    arc.length = static_cast<T>(sense * sweep * radius);
    return Math::Impl::IsFinite(arc.center) && std::isfinite(arc.length) ? arc : none;
}

template <class T>
T ApparentArcRadius(T chord, T tolerance)
{
    const T largest = std::numeric_limits<T>::max();
    if (!(tolerance > 0)) {
        return largest;
    }
    const double sagitta = tolerance;
    const double radius = (chord / sagitta) * (chord / 8.0) + sagitta / 2;
    return radius <= static_cast<double>(largest) ? static_cast<T>(radius) : largest;
}

template <class T>
T ApparentArcTolerance(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c)
{
    const double area = std::abs(DoubledArea(a, b, c));
    if (area == 0) {
        return 0;
    }
    const Vec2d ab = Widened(b) - Widened(a);
    const Vec2d bc = Widened(c) - Widened(b);
    const Vec2d ac = Widened(c) - Widened(a);
    const bool firstIsLonger = Length(ab) >= Length(bc);

    // The angle at the point opposite the chord is half the arc's sweep, and the sagitta is half
    // the chord times the tangent of a quarter of the sweep.
    const double chord = firstIsLonger ? Length(ab) : Length(bc);
    const double other = firstIsLonger ? Length(bc) : Length(ab);
    const double sides = Length(ac) * other;
    const double dot = ac * (firstIsLonger ? bc : ab);
    const double tangent = dot >= 0 ? area / (sides + dot) : (sides - dot) / area;
    return static_cast<T>(chord / 2 * tangent);
}

template <class T>
T AngleStep(T radius, T tolerance)
{
    return static_cast<T>(StepAngle(radius, tolerance));
}

template <class T>
T DiscreteCurvature(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c)
{
    const double area = DoubledArea(a, b, c);
    if (area == 0) {
        return 0;
    }
    const double ab = Length(Widened(b) - Widened(a));
    const double bc = Length(Widened(c) - Widened(b));
    const double ac = Length(Widened(c) - Widened(a));
    return static_cast<T>(2 * (area / (ab * bc)) / ac);
}

template <class T>
std::vector<VecBase<2, T>> Tessellate(const ArcBase<T>& arc, T tolerance)
{
    constexpr double epsilon = std::numeric_limits<T>::epsilon();
    const Vec2d center = Widened(arc.center);
    const Vec2d radial = Widened(arc.start) - center;
    const double radius = Vector::Length(radial);
    const double sweep = static_cast<double>(arc.length) / radius;

    // Chords cannot follow the arc closer than the rounding of their own ends.
    const double resolution = 2 * epsilon * (Math::Impl::LargestMagnitude(center) + radius);
    const double kept = tolerance > 0 ? std::max<double>(tolerance, resolution) : 0;
    const double chords = ChordCount(radius, sweep, kept, epsilon);

    std::vector<VecBase<2, T>> points;
    constexpr double kCountable = 0x1p62;
    const std::size_t count =
        chords < kCountable ? static_cast<std::size_t>(chords) : points.max_size();
    points.reserve(count + 1);
    points.push_back(arc.start);
    std::array<Vec2d, kBlock> turns;
    for (std::size_t k = 0; k < std::min(kBlock, count); ++k) {
        turns[k] = UnitAt(sweep * (static_cast<double>(k) / chords));
    }
    for (std::size_t base = 0; base < count; base += kBlock) {
        const Vec2d spoke = Turned(radial, UnitAt(sweep * (static_cast<double>(base) / chords)));
        const std::size_t size = std::min(kBlock, count - base);
        for (std::size_t k = base == 0 ? 1 : 0; k < size; ++k) {
            points.push_back(Narrowed<T>(center + Turned(spoke, turns[k])));
        }
    }
    points.push_back(EndPoint(arc));
    return points;
}

#define SORVANE_INSTANTIATE(T)                                                       \
    template std::array<VecBase<2, T>, 2> ArcBase<T>::Bounds() const;                \
    template VecBase<2, T> EndPoint(const ArcBase<T>&);                              \
    template ArcBase<T> ArcThroughPoints(const VecBase<2, T>&, const VecBase<2, T>&, \
                                         const VecBase<2, T>&);                      \
    template T ApparentArcRadius(T, T);                                              \
    template T ApparentArcTolerance(const VecBase<2, T>&, const VecBase<2, T>&,      \
                                    const VecBase<2, T>&);                           \
    template T AngleStep(T, T);                                                      \
    template T DiscreteCurvature(const VecBase<2, T>&, const VecBase<2, T>&,         \
                                 const VecBase<2, T>&);                              \
    template std::vector<VecBase<2, T>> Tessellate(const ArcBase<T>&, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Geometry
