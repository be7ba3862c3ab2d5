// Where two planar elements, segments or circular arcs, meet: all places at once, each with its
// position along both elements.
//
// Everything is evaluated in double, for both coordinate types. The tolerance is a length
// throughout. Two elements are followed as curves of that thickness: each connected stretch along
// which they stay within it of each other is one meeting. A stretch that reaches an end of either
// element is represented by that end, any other by its crossing or its point of tangency. That is
// what keeps a smooth joint, a line that runs into an arc tangentially, from being cut a hair's
// breadth from the joint, and it makes the two ends of an overlap come out by themselves.
#pragma once

#include "mathbase/GeometryArc_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Geometry_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Velk::Math::Intersect::Impl {

/// Rounding of a point that was computed from coordinates of a given size, in epsilons of that
/// size. A tolerance below it could not tell a point on an element from one beside it.
inline constexpr double kSegmentRounding = 4;
/// The end of an arc passes through an angle of up to 2 pi.
inline constexpr double kArcRounding = 8;

using Math::Impl::kLargestCoordinate;
using Math::Impl::LargestMagnitude;
using Math::Impl::Widened;

/// A segment or an arc, prepared for meeting others.
struct Element {
    Vec2d start;
    Vec2d end;
    /// Length along the element, not negative.
    double length = 0;
    /// The caller's tolerance, or the rounding of the coordinates where that is larger.
    double tolerance = 0;
    /// Finite, and so able to meet others. The rest is meaningless where it is not.
    bool active = false;
    bool isArc = false;

    /// Segments: unit vector of travel.
    Vec2d direction;
    /// Arcs: the circle, and the sense of travel, 1 counter-clockwise or -1.
    Vec2d center;
    double radius = 0;
    double sense = 0;

    /// No longer than its tolerance, or an arc so small that it ends where it starts whatever its
    /// length: a point that may touch others and is never cut.
    bool IsPoint() const
    {
        return !(length > tolerance) ||
               (isArc && !(radius > std::fmax(tolerance, Geometry::Impl::kRadiusFloor)));
    }
};

/// One meeting of a first and a second element.
struct ElementMeeting {
    static constexpr int kCrossing = -1;
    static constexpr double kNoCut = -1;

    Vec2d point;
    /// The end that the point is: 0 and 1 start and end of the first element, 2 and 3 those of the
    /// second; kCrossing for a point inside both.
    int end = kCrossing;
    /// Place along the element, as a length from its start; kNoCut where it is not to be cut.
    double onFirst = kNoCut;
    double onSecond = kNoCut;
};

struct ElementMeetings {
    /// Four ends and the two crossings of a circle.
    std::array<ElementMeeting, 6> items;
    int count = 0;

    void Add(const ElementMeeting& meeting) { items[static_cast<std::size_t>(count++)] = meeting; }
    const ElementMeeting* begin() const { return items.data(); }
    const ElementMeeting* end() const { return items.data() + count; }
};

/// Place of `point` along the element: of its foot on a segment's line, unclamped, or of its
/// direction from an arc's center, in [0, circumference).
inline double PlaceAlong(const Element& element, const Vec2d& point)
{
    if (!element.isArc) {
        return (point - element.start) * element.direction;
    }
    const Vec2d from = element.start - element.center;
    const Vec2d to = point - element.center;
    const double angle = std::atan2((from ^ to) * element.sense, from * to);
    return element.radius * (angle < 0 ? angle + kTwoPi<double> : angle);
}

/// The places where `first` and `second` meet and at least one of them is to be cut: no place lies
/// within the larger of the two tolerances of an end of the element that it cuts.
ElementMeetings MeetingsOf(const Element& first, const Element& second);

/// Tolerance that coordinates of the given size can bear; one that is negative or NaN counts as 0.
template <class T>
double BearableTolerance(T tolerance, double size, double rounding)
{
    const double floor = rounding * static_cast<double>(std::numeric_limits<T>::epsilon()) * size;
    return tolerance > floor ? static_cast<double>(tolerance) : floor;
}

template <class T>
Element MakeElement(const Geometry::SegBase<T>& segment, T tolerance)
{
    Element element;
    element.start = Widened(segment.start);
    element.end = Widened(segment.end);
    const Vec2d along = element.end - element.start;
    element.length = Vector::Length(along);
    element.direction = element.length > 0 ? along * (1 / element.length) : Vec2d();
    const double size = std::max(LargestMagnitude(element.start), LargestMagnitude(element.end));
    element.tolerance = BearableTolerance(tolerance, size, kSegmentRounding);
    // A NaN length reveals the NaN coordinate that the largest one passes over.
    element.active = size <= kLargestCoordinate && element.length <= 4 * kLargestCoordinate &&
                     element.tolerance <= kLargestCoordinate;
    return element;
}

template <class T>
Element MakeElement(const Geometry::ArcBase<T>& arc, T tolerance)
{
    Element element;
    element.isArc = true;
    element.start = Widened(arc.start);
    element.center = Widened(arc.center);
    const Vec2d radial = element.start - element.center;
    element.radius = Vector::Length(radial);
    element.length = std::fabs(static_cast<double>(arc.length));
    element.sense = arc.length < 0 ? -1 : 1;
    const double size = LargestMagnitude(element.center) + element.radius;
    element.tolerance = BearableTolerance(tolerance, size, kArcRounding);
    element.active = size <= kLargestCoordinate && element.length <= 4 * kLargestCoordinate &&
                     element.tolerance <= kLargestCoordinate;
    if (element.active) {
        element.end = Widened(Geometry::EndPoint(arc));
        // A float arc near the limit of its type may end beyond it.
        element.active = Math::Impl::IsUsable(element.end);
    }
    return element;
}

} // namespace Velk::Math::Intersect::Impl
