// Meetings of segments and arcs; the idea is told in the header.

#include "arrangement/ElementCrossings_Impl.h"

#include <algorithm>

namespace Velk::Math::Intersect::Impl {
namespace {

using Vector::Length;

enum class Contact { None, AtEnd, Inside };

/// Does `point` touch the element, and where? An end within `tolerance` goes before the inside.
Contact Touch(const Element& element, const Vec2d& point, double tolerance, double& place)
{
    if (Length(point - element.start) <= tolerance || Length(point - element.end) <= tolerance) {
        return Contact::AtEnd;
    }
    if (element.IsPoint()) {
        return Contact::None;
    }
    const double distance = element.isArc
                                ? std::fabs(Length(point - element.center) - element.radius)
                                : std::fabs(element.direction ^ (point - element.start));
    if (!(distance <= tolerance)) {
        return Contact::None;
    }
    place = PlaceAlong(element, point);
    return place > 0 && place < element.length ? Contact::Inside : Contact::None;
}

/// The pair under examination: what its ends touch is found first, and later what lies between.
struct Pair {
    const Element& first;
    const Element& second;
    double tolerance;
    ElementMeetings found;
    /// Ends that lie on the other element, those at an end of it included.
    std::array<Vec2d, 4> contacts{};
    int contactCount = 0;

    Pair(const Element& a, const Element& b)
        : first(a), second(b), tolerance(std::max(a.tolerance, b.tolerance))
    {
        TouchEnd(0, first.start, second);
        TouchEnd(1, first.end, second);
        TouchEnd(2, second.start, first);
        TouchEnd(3, second.end, first);
    }

    void TouchEnd(int end, const Vec2d& point, const Element& other)
    {
        double place = ElementMeeting::kNoCut;
        const Contact contact = Touch(other, point, tolerance, place);
        if (contact == Contact::None) {
            return;
        }
        contacts[static_cast<std::size_t>(contactCount++)] = point;
        if (contact == Contact::Inside) {
            ElementMeeting meeting{point, end};
            (end < 2 ? meeting.onSecond : meeting.onFirst) = place;
            found.Add(meeting);
        }
    }

    /// Is there a contact on the side of the line through `origin` along `axis` that `side` (1
    /// left, -1 right) tells? A curve pair that crosses twice has one stretch of meeting on either
    /// side.
    bool HasContactOnSide(const Vec2d& origin, const Vec2d& axis, double side) const
    {
        return std::any_of(contacts.begin(), contacts.begin() + contactCount,
                           [&](const Vec2d& c) { return (axis ^ (c - origin)) * side >= 0; });
    }

    /// Takes `point` as a crossing if it lies strictly inside both elements. The places are given
    /// for segments, which know them better than a projection does, and are ignored for arcs.
    void AddInside(const Vec2d& point, double onFirst, double onSecond)
    {
        ElementMeeting meeting{point, ElementMeeting::kCrossing, onFirst, onSecond};
        if (first.isArc) {
            meeting.onFirst = PlaceAlong(first, point);
        }
        if (second.isArc) {
            meeting.onSecond = PlaceAlong(second, point);
        }
        if (meeting.onFirst > 0 && meeting.onFirst < first.length && meeting.onSecond > 0 &&
            meeting.onSecond < second.length) {
            found.Add(meeting);
        }
    }
};

/// Do two numbers stand on different sides of 0?
bool Opposite(double a, double b) { return (a < 0 && b > 0) || (a > 0 && b < 0); }

/// Most pairs of neighbors: one lies wholly to one side of the other's line.
bool LiesAside(const Element& segment, const Element& other, double tolerance)
{
    const double startHeight = other.direction ^ (segment.start - other.start);
    const double endHeight = other.direction ^ (segment.end - other.start);
    return (startHeight > tolerance && endHeight > tolerance) ||
           (startHeight < -tolerance && endHeight < -tolerance);
}

/// Two segments that part at a common end, bit for bit, and come no nearer again: their free ends
/// are beyond the tolerance of each other's line, or on the far side of the common end.
bool PartForGood(const Element& a, const Element& b, double tolerance)
{
    const bool atStartOfA = a.start == b.start || a.start == b.end;
    if (!atStartOfA && !(a.end == b.start || a.end == b.end)) {
        return false;
    }
    const bool atStartOfB = b.start == (atStartOfA ? a.start : a.end);
    const double sense = atStartOfA == atStartOfB ? 1 : -1;
    const double shorter = std::min(a.length, b.length);
    return shorter > tolerance && (sense * (a.direction * b.direction) <= 0 ||
                                   std::fabs(a.direction ^ b.direction) * shorter > tolerance);
}

/// Cheap certainty that two segments do not cut each other; decides most pairs.
bool AreClear(const Element& a, const Element& b)
{
    const double tolerance = std::max(a.tolerance, b.tolerance);
    return !a.IsPoint() && !b.IsPoint() &&
           (LiesAside(a, b, tolerance) || LiesAside(b, a, tolerance) ||
            PartForGood(a, b, tolerance));
}

/// Lines come near each other along one stretch only, so that any contact stands for the crossing.
void CrossSegments(Pair& pair)
{
    const Element& a = pair.first;
    const Element& b = pair.second;
    if (pair.contactCount > 0) {
        return;
    }
    const double startHeight = b.direction ^ (a.start - b.start);
    const double endHeight = b.direction ^ (a.end - b.start);
    if (!Opposite(startHeight, endHeight)) {
        return;
    }
    const double startHeightOfB = a.direction ^ (b.start - a.start);
    const double endHeightOfB = a.direction ^ (b.end - a.start);
    if (!Opposite(startHeightOfB, endHeightOfB)) {
        return;
    }
    // On one line all heights are rounding, and the segments may lie one after the other.
    const auto [least, most] =
        std::minmax({a.direction * (b.start - a.start), a.direction * (b.end - a.start)});
    if (most < 0 || least > a.length) {
        return;
    }
    const double fraction = startHeight / (startHeight - endHeight);
    const double fractionOfB = startHeightOfB / (startHeightOfB - endHeightOfB);
    // From the nearer end, whose own bits the sum then keeps best.
    const Vec2d along = a.end - a.start;
    const Vec2d point = fraction <= 0.5 ? a.start + along * fraction
                                        : a.end - along * (endHeight / (endHeight - startHeight));
    pair.AddInside(point, fraction * a.length, fractionOfB * b.length);
}

/// `segmentFirst` tells the order of the pair.
void CrossSegmentArc(Pair& pair, bool segmentFirst)
{
    const Element& segment = segmentFirst ? pair.first : pair.second;
    const Element& arc = segmentFirst ? pair.second : pair.first;
    const Vec2d toCenter = arc.center - segment.start;
    const double footPlace = toCenter * segment.direction;
    const double distance = std::fabs(segment.direction ^ toCenter);
    const Vec2d foot = segment.start + segment.direction * footPlace;
    const auto add = [&](const Vec2d& point, double place) { pair.AddInside(point, place, place); };

    if (distance >= arc.radius - pair.tolerance) {
        // Tangent, or a chord so flat that line and arc meet in one stretch, or no meeting at all.
        if (distance <= arc.radius + pair.tolerance && pair.contactCount == 0 && distance > 0) {
            const Vec2d outward = (foot - arc.center) * (1 / distance);
            const Vec2d onCircle = arc.center + outward * arc.radius;
            add((foot + onCircle) * 0.5, footPlace);
        }
        return;
    }
    const double halfChord = std::sqrt((arc.radius - distance) * (arc.radius + distance));
    const Vec2d across = -Vector::RightNormal(segment.direction); // its left is against the travel
    for (const double side : {-1.0, 1.0}) {
        if (!pair.HasContactOnSide(foot, across, -side)) {
            add(foot + segment.direction * (side * halfChord), footPlace + side * halfChord);
        }
    }
}

/// Point halfway between the two circles on the line of centers, where they touch; `direction`
/// points from the first center to the place.
Vec2d TangentPoint(const Element& a, const Element& b, const Vec2d& direction)
{
    const Vec2d onFirst = a.center + direction * a.radius;
    const Vec2d outward = onFirst - b.center;
    const double distance = Length(outward);
    return distance > 0 ? (onFirst + b.center + outward * (b.radius / distance)) * 0.5 : onFirst;
}

void CrossArcs(Pair& pair)
{
    const Element& a = pair.first;
    const Element& b = pair.second;
    const Vec2d between = b.center - a.center;
    const double distance = Length(between);
    // How far the two points of the first circle on the line of centers are from the second circle.
    // There the stretches of meeting on either side of that line may run together.
    const bool nearFacing = std::fabs(std::fabs(distance - a.radius) - b.radius) <= pair.tolerance;
    const bool nearAway = std::fabs(distance + a.radius - b.radius) <= pair.tolerance;
    if ((nearFacing && nearAway) || !(distance > 0)) {
        return; // one and the same circle, where ends are all that counts, or concentric ones
    }
    const Vec2d axis = between * (1 / distance);
    if (nearFacing || nearAway) {
        if (pair.contactCount == 0) {
            pair.AddInside(TangentPoint(a, b, nearFacing ? axis : -axis), 0, 0);
        }
        return;
    }
    if (!(distance < a.radius + b.radius && distance > std::fabs(a.radius - b.radius))) {
        return;
    }
    // The crossings lie on the radical line, `reach` along the axis from the first center and
    // `height` to either side of it. From the center of a much larger circle they would come out
    // with the rounding of its radius, multiplied by the ratio of the two.
    constexpr double kMuchLarger = 8;
    const bool fromFirst = !(a.radius > kMuchLarger * b.radius);
    const Element& near = fromFirst ? a : b;
    const Element& far = fromFirst ? b : a;
    const double reach =
        0.5 * (distance + (near.radius - far.radius) * ((near.radius + far.radius) / distance));
    const double height = std::sqrt(std::max(0.0, (near.radius - reach) * (near.radius + reach)));
    const Vec2d middle = near.center + (fromFirst ? axis : -axis) * reach;
    const Vec2d left = -Vector::RightNormal(axis);
    for (const double side : {-1.0, 1.0}) {
        if (!pair.HasContactOnSide(a.center, axis, side)) {
            pair.AddInside(middle + left * (side * height), 0, 0);
        }
    }
}

} // namespace

ElementMeetings MeetingsOf(const Element& first, const Element& second)
{
    if (!first.isArc && !second.isArc && AreClear(first, second)) {
        return {};
    }
    Pair pair(first, second);
    if (!first.IsPoint() && !second.IsPoint()) {
        if (!first.isArc && !second.isArc) {
            CrossSegments(pair);
        } else if (first.isArc && second.isArc) {
            CrossArcs(pair);
        } else {
            CrossSegmentArc(pair, !first.isArc);
        }
    }
    return pair.found;
}

} // namespace Velk::Math::Intersect::Impl
