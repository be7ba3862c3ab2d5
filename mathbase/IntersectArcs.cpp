// Arcs in the plane: their meetings with segments and their nearest points.
//
// A place on an arc is an angle from the spoke to its start, measured in the direction of travel by
// atan2 of cross and dot product: no polar angle of the start enters, and places near the start
// keep all their digits. The half chord that a line cuts comes from (r - d)(r + d), which cancels
// nothing when the line runs close to tangency.

#include <Velk/Math/Intersect_E.h>

#include "mathbase/Intersect_Impl.h"

#include <array>
#include <utility>

namespace Velk::Math::Intersect {
namespace {

using namespace Impl;

/// An arc with what the tests on it need; `length` is a magnitude here, the sense stands apart.
template <class T>
struct Arc {
    ArcBase<T> source;
    Vec2d center = Widened(source.center);
    Vec2d start = Widened(source.start);
    Vec2d spoke = start - center;
    double radius = Vector::Length(spoke);
    double length = std::fabs(static_cast<double>(source.length));
    double sense = source.length < T{0} ? -1.0 : 1.0; // counter-clockwise: 1
    double sweep = length / radius;

    explicit Arc(const ArcBase<T>& arc) : source(arc) {}

    /// The end as the caller's type has it, so that a point there equals it to the bit.
    Vec2d End() const { return Widened(Geometry::EndPoint(source)); }

    /// Angle from the start to the direction of `radial`, as the arc travels, in [0, 2 pi).
    double AngleTo(const Vec2d& radial) const
    {
        const double angle = std::atan2(sense * (spoke ^ radial), spoke * radial);
        if (angle >= 0.0) {
            return angle;
        }
        // A hair before the start rounds to a whole turn, which is the start.
        const double wrapped = angle + kTwoPi<double>;
        return wrapped < kTwoPi<double> ? wrapped : 0.0;
    }

    /// The sweep of a denormal length may vanish.
    double Fraction(double angle) const { return sweep > 0.0 ? std::min(angle / sweep, 1.0) : 0.0; }
};

struct ArcPlace {
    Vec2d point;
    double parameter = 0.0;
};

struct ArcHit : ArcPlace {
    double along = 0.0; // place on the segment's line, for the order of the hits
};

struct ArcHits {
    std::array<ArcHit, 2> hit;
    int count = 0;
};

/// The line of a segment as seen from a circle: the foot of the center, and places measured from
/// it.
struct Chord {
    Vec2d s0;
    Vec2d s1;
    Vec2d direction; // unit
    Vec2d foot;
    double distance; // of the line from the center
    double first;    // place of s0
    double last;     // place of s1
    bool bounded;

    Chord(const Vec2d& from, const Vec2d& to, const Vec2d& center, bool isBounded)
        : s0(from), s1(to), bounded(isBounded)
    {
        const double length = Vector::Length(s1 - s0);
        direction = (s1 - s0) / length;
        // Seen from the nearer end the differences are smallest.
        const bool fromStart =
            Vector::SquaredLength(s0 - center) <= Vector::SquaredLength(s1 - center);
        const Vec2d centerToBase = (fromStart ? s0 : s1) - center;
        const double height = direction ^ centerToBase;
        foot = center - height * Vector::RightNormal(direction);
        distance = std::fabs(height);
        const double base = centerToBase * direction;
        first = fromStart ? base : base - length;
        last = first + length;
    }

    double Clamped(double place) const { return bounded ? std::clamp(place, first, last) : place; }

    /// The point at a place, reached from whatever known point is nearest.
    Vec2d At(double place) const
    {
        if (bounded && place <= first) {
            return s0;
        }
        if (bounded && place >= last) {
            return s1;
        }
        const double fromStart = place - first;
        const double fromEnd = place - last;
        if (std::fabs(fromStart) < std::fabs(place) && std::fabs(fromStart) <= -fromEnd) {
            return s0 + direction * fromStart;
        }
        if (std::fabs(fromEnd) < std::fabs(place)) {
            return s1 + direction * fromEnd;
        }
        return foot + direction * place;
    }

    double PlaceOf(const Vec2d& p) const { return (p - foot) * direction; }

    double DistanceTo(const Vec2d& p) const { return Vector::Length(p - At(Clamped(PlaceOf(p)))); }
};

/// The place of `p`, which lies on the arc's circle, on the arc; or an end of the arc that is
/// within `tolerance` of the segment instead, when `p` lies beside the arc. The nearer end is asked
/// first.
template <class T, class DistanceToSegment>
bool PlaceOnArc(const Arc<T>& arc, const Vec2d& p, double tolerance,
                const DistanceToSegment& distanceToSegment, ArcPlace& place)
{
    const double angle = arc.AngleTo(p - arc.center);
    if (angle <= arc.sweep) {
        place = {p, arc.Fraction(angle)};
        return true;
    }
    std::array<ArcPlace, 2> ends{{{arc.start, 0.0}, {arc.End(), 1.0}}};
    if (Vector::SquaredLength(p - ends[1].point) < Vector::SquaredLength(p - ends[0].point)) {
        std::swap(ends[0], ends[1]);
    }
    for (const ArcPlace& end : ends) {
        if (distanceToSegment(end.point) <= tolerance) {
            place = end;
            return true;
        }
    }
    return false;
}

/// A segment that is a point, or an arc that is one: one hit where the point lies on the other.
ArcHits PointHit(bool touches, const ArcPlace& place)
{
    ArcHits hits;
    if (touches) {
        hits.hit[0] = {place, 0.0};
        hits.count = 1;
    }
    return hits;
}

template <class T>
ArcHits HitsOfPoint(const Arc<T>& arc, const Vec2d& p, double tolerance)
{
    ArcPlace place;
    const double distance = Vector::Length(p - arc.center);
    const auto distanceToPoint = [&](const Vec2d& end) { return Vector::Length(end - p); };
    const bool touches = std::fabs(distance - arc.radius) <= tolerance &&
                         PlaceOnArc(arc, p, tolerance, distanceToPoint, place);
    return PointHit(touches, place);
}

template <class T>
ArcHits HitsOfChord(const Arc<T>& arc, const Chord& chord, double tolerance)
{
    const double depth = arc.radius - chord.distance;
    ArcHits hits;
    if (!(depth >= -tolerance)) {
        return hits;
    }
    const bool tangent = depth <= tolerance;
    const double halfChord = tangent ? 0.0 : std::sqrt(depth * (arc.radius + chord.distance));
    const std::array<double, 2> crossings{-halfChord, halfChord};

    for (int i = 0; i < (tangent ? 1 : 2); ++i) {
        const double crossing = crossings[static_cast<std::size_t>(i)];
        const double place = chord.Clamped(crossing);
        // A crossing beyond the segment still counts when the segment's end is near the circle.
        if (place != crossing || tangent) {
            const double distance = std::hypot(chord.distance, place);
            if (!(std::fabs(distance - arc.radius) <= tolerance)) {
                continue;
            }
        }
        ArcHit hit;
        const auto distanceToChord = [&](const Vec2d& end) { return chord.DistanceTo(end); };
        if (!PlaceOnArc(arc, chord.At(place), tolerance, distanceToChord, hit)) {
            continue;
        }
        hit.along = chord.PlaceOf(hit.point);
        // Both crossings may lead to the same end; two true crossings are always farther apart.
        if (hits.count == 1 && Vector::Length(hit.point - hits.hit[0].point) <= tolerance) {
            continue;
        }
        hits.hit[static_cast<std::size_t>(hits.count++)] = hit;
    }
    if (hits.count == 2 && hits.hit[1].along < hits.hit[0].along) {
        std::swap(hits.hit[0], hits.hit[1]);
    }
    return hits;
}

template <class T>
ArcHits IntersectArc(const Arc<T>& arc, const Vec2d& s0, const Vec2d& s1, bool boundedSegment,
                     double tolerance)
{
    if (!IsFinite(arc.center) || !IsFinite(arc.start) || !IsFinite(s0) || !IsFinite(s1) ||
        !std::isfinite(arc.length) || std::isnan(tolerance)) {
        return {};
    }
    const bool arcIsPoint = !(arc.radius > tolerance && arc.length > tolerance);
    const bool segmentIsPoint = !(Vector::Length(s1 - s0) > tolerance);
    if (segmentIsPoint && !boundedSegment) {
        return {}; // no line to speak of
    }
    if (arcIsPoint) {
        const Vec2d nearest = boundedSegment ? NearestOnSegment(s0, s1, arc.start, kPointsAreShort)
                                             : Chord(s0, s1, arc.start, false).foot;
        return PointHit(Vector::Length(nearest - arc.start) <= tolerance, {arc.start, 0.0});
    }
    if (segmentIsPoint) {
        return HitsOfPoint(arc, s0, tolerance);
    }
    return HitsOfChord(arc, Chord(s0, s1, arc.center, boundedSegment), tolerance);
}

/// Drops hits that are no points: where the sizes of arc and segment differ by so much that their
/// products overflow or vanish, or where the caller's type can't hold the crossing.
template <class T>
void KeepFiniteHits(ArcHits& hits)
{
    ArcHits kept;
    for (int i = 0; i < hits.count; ++i) {
        const ArcHit& hit = hits.hit[static_cast<std::size_t>(i)];
        if (IsFinite(Narrowed<T>(hit.point)) && std::isfinite(hit.parameter)) {
            kept.hit[static_cast<std::size_t>(kept.count++)] = hit;
        }
    }
    hits = kept;
}

template <class T>
ArcPlace NearestOnArc(const Arc<T>& arc, const Vec2d& p)
{
    const Vec2d radial = p - arc.center;
    const double distance = Vector::Length(radial);
    if (!(arc.radius > static_cast<double>(kLengthFloor<T>) && arc.length > 0.0 &&
          distance > 0.0)) {
        return {arc.start, 0.0};
    }
    const double angle = arc.AngleTo(radial);
    if (angle == 0.0) {
        return {arc.start, 0.0};
    }
    if (angle <= arc.sweep) {
        return {arc.center + radial * (arc.radius / distance), arc.Fraction(angle)};
    }
    const Vec2d end = arc.End();
    // Ends whose distances differ by the rounding of the caller's type are equally near.
    constexpr double rounding = static_cast<double>(std::numeric_limits<T>::epsilon());
    const bool endIsNearer = Vector::SquaredLength(p - end) <
                             Vector::SquaredLength(p - arc.start) * (1.0 - 8.0 * rounding);
    return endIsNearer ? ArcPlace{end, 1.0} : ArcPlace{arc.start, 0.0};
}

} // namespace

template <class T>
int ArcSegment(const VecBase<2, T>& center, const VecBase<2, T>& start, T length,
               const VecBase<2, T>& s0, const VecBase<2, T>& s1, VecBase<2, T>& hit0, T& parameter0,
               VecBase<2, T>& hit1, T& parameter1, bool boundedSegment, T tolerance)
{
    const Arc<T> arc(ArcBase<T>{center, start, length});
    ArcHits hits = IntersectArc(arc, Widened(s0), Widened(s1), boundedSegment,
                                AtLeastZero(static_cast<double>(tolerance)));
    KeepFiniteHits<T>(hits);
    hit0 = Narrowed<T>(hits.hit[0].point);
    parameter0 = static_cast<T>(hits.hit[0].parameter);
    hit1 = Narrowed<T>(hits.hit[1].point);
    parameter1 = static_cast<T>(hits.hit[1].parameter);
    return hits.count;
}

template <class T>
VecBase<2, T> ClosestPointOnArc(const VecBase<2, T>& center, const VecBase<2, T>& start, T length,
                                const VecBase<2, T>& point, T& parameter, bool snapToEnds)
{
    const Arc<T> arc(ArcBase<T>{center, start, length});
    const ArcPlace nearest = NearestOnArc(arc, Widened(point));
    VecBase<2, T> result = Narrowed<T>(nearest.point);
    parameter = static_cast<T>(nearest.parameter);
    if (snapToEnds && parameter > T{0} && parameter < T{1}) {
        const VecBase<2, T> end = Narrowed<T>(arc.End());
        if (Vector::Matches(result, start, kLengthFloor<T>)) {
            result = start;
            parameter = T{0};
        } else if (Vector::Matches(result, end, kLengthFloor<T>)) {
            result = end;
            parameter = T{1};
        }
    }
    return result;
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template int ArcSegment(const VecBase<2, T>&, const VecBase<2, T>&, T, const VecBase<2, T>&, const VecBase<2, T>&, VecBase<2, T>&, T&, VecBase<2, T>&, T&, bool, T); \
    template VecBase<2, T> ClosestPointOnArc(const VecBase<2, T>&, const VecBase<2, T>&, T, const VecBase<2, T>&, T&, bool);
// clang-format on
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Intersect
