// Monotone parts of segments and arcs: making them, turning them, telling their order.

#include "arrangement/MonotoneCurve_Impl.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <tuple>
#include <utility>

namespace Velk::Math::Intersect::Impl {
namespace {

constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();

Vec2d Exchanged(const Vec2d& v) { return {v.y(), v.x()}; }

/// Slope between the ends; 0 where it overflows, which takes ends so near each other that nothing
/// is ever asked between them.
double SlopeOf(const MonotoneCurve& curve)
{
    const double slope = (curve.ends[1].y() - curve.ends[0].y()) / (curve.Right() - curve.Left());
    return std::isfinite(slope) ? slope : 0.0;
}

/// Puts the end of smaller first coordinate first.
void OrderEnds(MonotoneCurve& curve)
{
    if (curve.Right() < curve.Left()) {
        std::swap(curve.ends[0], curve.ends[1]);
        std::swap(curve.joint[0], curve.joint[1]);
        std::swap(curve.isEnd[0], curve.isEnd[1]);
    }
}

/// Restricts the stretch of places that is asked about. False when nothing of it remains.
bool RestrictPlaces(MonotoneCurve& curve, double low, double high)
{
    curve.from = std::max(curve.from, low);
    curve.to = std::min(curve.to, high);
    return curve.from <= curve.to;
}

/// Where the center of a circle comes to lie when its arc is moved to be the limit of its own
/// surroundings.
double CenterOfTop(const MonotoneCurve& curve, double pad)
{
    return curve.center.x() + (curve.Rises() ? -pad : pad);
}

double CenterOfBottom(const MonotoneCurve& curve, double pad)
{
    return curve.center.x() + (curve.Rises() ? pad : -pad);
}

/// Place where two curves, their circles moved to the given places, run in parallel; NaN where they
/// nowhere do. There is one at most as long as each stays in its quadrant.
double PlaceOfEqualSlopes(const MonotoneCurve& a, double centerOfA, const MonotoneCurve& b,
                          double centerOfB)
{
    if (a.IsStraight() && b.IsStraight()) {
        return kNowhere;
    }
    if (a.IsStraight() || b.IsStraight()) {
        const MonotoneCurve& line = a.IsStraight() ? a : b;
        const MonotoneCurve& arc = a.IsStraight() ? b : a;
        const double center = a.IsStraight() ? centerOfB : centerOfA;
        return center - arc.quadrant.y() * arc.radius * (line.slope / std::hypot(1, line.slope));
    }
    return centerOfA + b.quadrant.y() * a.radius * (centerOfA - centerOfB) /
                           (a.quadrant.y() * b.radius - b.quadrant.y() * a.radius);
}

/// Operations whose rounding may add up in a height.
constexpr double kRoundings = 4;

double SizeOf(const Element& element)
{
    return element.isArc ? LargestMagnitude(element.center) + element.radius
                         : std::max(LargestMagnitude(element.start), LargestMagnitude(element.end));
}

/// A circle, perhaps but for rounding, or more.
bool IsWholeTurn(const Element& arc)
{
    return arc.length >= kTwoPi<double> * arc.radius - arc.tolerance;
}

} // namespace

MonotoneCurve MonotoneCurve::Turned() const
{
    MonotoneCurve turned = *this;
    turned.ends = {Exchanged(ends[0]), Exchanged(ends[1])};
    turned.center = Exchanged(center);
    turned.quadrant = Exchanged(quadrant);
    std::tie(turned.from, turned.to) = std::minmax({HeightFromLeft(from), HeightFromRight(to)});
    OrderEnds(turned);
    turned.slope = IsStraight() ? SlopeOf(turned) : 0;
    return turned;
}

bool MonotoneCurve::RestrictTo(const Region& region)
{
    if (!RestrictPlaces(*this, region.min.x(), region.max.x())) {
        return false;
    }
    const auto [lowest, highest] = std::minmax({HeightFromLeft(from), HeightFromRight(to)});
    if (lowest >= region.min.y() && highest <= region.max.y()) {
        return true;
    }
    MonotoneCurve turned = Turned();
    if (!RestrictPlaces(turned, region.min.y(), region.max.y())) {
        return false;
    }
    std::tie(from, to) =
        std::minmax({turned.HeightFromLeft(turned.from), turned.HeightFromRight(turned.to)});
    return true;
}

void AppendCurvesOf(const Element& element, int number, const std::array<int, 2>& joints,
                    const Region& region, int& nextJoint, std::vector<MonotoneCurve>& curves)
{
    MonotoneCurve curve;
    curve.element = number;
    curve.rounding = kRoundings * std::numeric_limits<double>::epsilon() * SizeOf(element);
    const auto append = [&](const Vec2d& from, const Vec2d& to, std::array<int, 2> jointNumbers,
                            std::array<bool, 2> areEnds) {
        curve.ends = {from, to};
        curve.joint = jointNumbers;
        curve.isEnd = areEnds;
        OrderEnds(curve);
        curve.slope = curve.IsStraight() ? SlopeOf(curve) : 0;
        curve.from = curve.Left();
        curve.to = curve.Right();
        if (curve.RestrictTo(region)) {
            curves.push_back(curve);
        }
    };
    if (!element.isArc || element.IsPoint()) {
        append(element.start, element.end, joints, {true, true});
        return;
    }

    // Angles in quarter turns, so that the quadrants are divided at whole numbers.
    constexpr double kPerRadian = 4 / kTwoPi<double>;
    curve.center = element.center;
    curve.radius = element.radius;
    const Vec2d radial = element.start - element.center;
    const double first = kPerRadian * std::atan2(radial.y(), radial.x());
    const double sweep = kPerRadian * (element.length / element.radius);
    const bool isWhole = IsWholeTurn(element);
    const double last = first + element.sense * (isWhole ? 4.0 : sweep);
    constexpr std::array<double, 4> kCosines{1, 0, -1, 0};
    Vec2d from = element.start;
    double angle = first;
    int joint = joints[0];
    bool fromIsEnd = true;
    for (;;) {
        const double next = element.sense > 0 ? std::floor(angle) + 1 : std::ceil(angle) - 1;
        const bool isLast = element.sense * next >= element.sense * last;
        const double middle = 0.5 * (angle + (isLast ? last : next));
        const auto quadrant = static_cast<unsigned>(static_cast<int>(std::floor(middle)) + 8) % 4;
        curve.quadrant = {quadrant == 0 || quadrant == 3 ? 1.0 : -1.0, quadrant < 2 ? 1.0 : -1.0};
        if (isLast) {
            append(from, isWhole ? element.start : element.end,
                   {joint, isWhole ? joints[0] : joints[1]}, {fromIsEnd, true});
            return;
        }
        const auto corner = static_cast<unsigned>(static_cast<int>(next) + 8) % 4;
        const Vec2d to =
            element.center + element.radius * Vec2d(kCosines[corner], kCosines[(corner + 3) % 4]);
        append(from, to, {joint, nextJoint}, {fromIsEnd, false});
        from = to;
        angle = next;
        joint = nextJoint++;
        fromIsEnd = false;
    }
}

bool CurveOrder::IsBelow(const MonotoneCurve& a, double padOfA, const MonotoneCurve& b,
                         double padOfB, double from, double to)
{
    const auto isApart = [&](double place) {
        return Top(a, padOfA, place) < Bottom(b, padOfB, place);
    };
    if (!isApart(from) || !isApart(to)) {
        return false;
    }
    const auto isInside = [&](double place) { return place > from && place < to; };
    // Where a limit ceases to follow its curve because the curve ends. From there on it is level.
    const double endOfTop = a.Rises() ? a.Right() - padOfA : a.Left() + padOfA;
    const double endOfBottom = b.Rises() ? b.Left() + padOfB : b.Right() - padOfB;
    if ((isInside(endOfTop) && !isApart(endOfTop)) ||
        (isInside(endOfBottom) && !isApart(endOfBottom))) {
        return false;
    }
    // Between these places the gap is least at one of them, unless it is least where the limits run
    // in parallel. A gap that bulges is greatest there.
    const bool bulges =
        (a.IsStraight() || a.quadrant.y() < 0) && (b.IsStraight() || b.quadrant.y() > 0);
    if (bulges) {
        return true;
    }
    const double narrows =
        PlaceOfEqualSlopes(a, CenterOfTop(a, padOfA), b, CenterOfBottom(b, padOfB));
    return !isInside(narrows) || isApart(narrows);
}

bool CurveOrder::IsWithin(const MonotoneCurve& inner, double innerPad, const MonotoneCurve& outer,
                          double outerPad, double from, double to)
{
    const double reach = std::max(innerPad, outerPad);
    if (from - reach < std::max(inner.Left(), outer.Left()) ||
        to + reach > std::min(inner.Right(), outer.Right())) {
        return false;
    }
    const auto topIsWithin = [&](double place) {
        return Top(inner, innerPad, place) <= Top(outer, outerPad, place);
    };
    const auto bottomIsWithin = [&](double place) {
        return Bottom(inner, innerPad, place) >= Bottom(outer, outerPad, place);
    };
    if (!topIsWithin(from) || !bottomIsWithin(from) || !topIsWithin(to) || !bottomIsWithin(to)) {
        return false;
    }
    const auto isInside = [&](double place) { return place > from && place < to; };
    const double top = PlaceOfEqualSlopes(inner, CenterOfTop(inner, innerPad), outer,
                                          CenterOfTop(outer, outerPad));
    const double bottom = PlaceOfEqualSlopes(inner, CenterOfBottom(inner, innerPad), outer,
                                             CenterOfBottom(outer, outerPad));
    return (!isInside(top) || topIsWithin(top)) && (!isInside(bottom) || bottomIsWithin(bottom));
}

bool CurveOrder::RunsBelowFromJoint(const MonotoneCurve& a, const MonotoneCurve& b, int side,
                                    double to, bool mustPart, double& dip) const
{
    const auto gap = [&](double place) {
        return b.HeightFromLeft(place) - a.HeightFromLeft(place);
    };
    const double joint = side == 0 ? std::max(a.Left(), b.Left()) : std::min(a.Right(), b.Right());
    const double last =
        side == 0 ? std::min({to, a.Right(), b.Right()}) : std::max({to, a.Left(), b.Left()});
    const double lastGap = gap(last);
    const double rounding =
        a.rounding * (1 + std::fabs(a.slope)) + b.rounding * (1 + std::fabs(b.slope));
    dip = std::max(0.0, -lastGap - rounding);
    const double turning = PlaceOfEqualSlopes(a, a.center.x(), b, b.center.x());
    if (turning > std::min(joint, last) && turning < std::max(joint, last)) {
        const double turningGap = gap(turning);
        if (turningGap > std::max(0.0, lastGap)) {
            mustPart = true; // past the widest gap they may come together again
        } else {
            dip = std::max(dip, -turningGap - rounding);
        }
    }
    if (dip > slack_ || !mustPart) {
        return dip <= slack_;
    }
    // An end within a pad of `to` may touch the other curve to either side of its place.
    const double about = side == 0 ? to - 2 * pad_ : to + 2 * pad_;
    return IsBelow(a, pad_, b, pad_, std::min(about, to), std::max(about, to));
}

} // namespace Velk::Math::Intersect::Impl
