// Splitting, parallel elements and comparison of segments and arcs.

#include <Velk/Math/Geometry_E.h>

#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Geometry {

namespace {

using Math::Impl::Narrowed;
using Math::Impl::Widened;

/// Whether both pieces that a cut leaves are longer than `tolerance`; false for NaN and infinity.
bool LeavesTwoPieces(double before, double after, double tolerance)
{
    return before > tolerance && after > tolerance && before > 0 && after > 0 &&
           std::isfinite(before) && std::isfinite(after);
}

/// Distance of `point` from the segment `from`-`to`.
double DistanceToSegment(const Vec2d& point, const Vec2d& from, const Vec2d& to)
{
    const double place = Math::Impl::NearestParameter(from, to, point, Math::Impl::kPointsAreShort);
    // As seen from the segment's start, so that the distance keeps its digits far from the origin.
    return Length((point - from) - place * (to - from));
}

} // namespace

template <class T>
std::vector<SegBase<T>> Split(const SegBase<T>& segment, T parameter, bool normalized, T tolerance)
{
    const Vec2d along = Widened(segment.end) - Widened(segment.start);
    const double length = Length(along);
    const double place = normalized ? parameter * length : parameter;
    if (!LeavesTwoPieces(place, length - place, tolerance)) {
        return {segment};
    }
    const auto joint = Narrowed<T>(Widened(segment.start) + (place / length) * along);
    return {{segment.start, joint}, {joint, segment.end}};
}

template <class T>
std::vector<ArcBase<T>> Split(const ArcBase<T>& arc, T parameter, bool normalized, T tolerance)
{
    const T length = std::abs(arc.length);
    const T place = normalized ? parameter * length : parameter;
    const T after = length - place;
    // The larger piece is exact in itself, by Sterbenz; taken from the whole it makes the smaller
    // one exact too, so that the lengths sum to the arc's without rounding.
    const T before = length - after;
    if (!(LeavesTwoPieces(place, after, tolerance) && before > 0)) {
        return {arc};
    }
    const ArcBase<T> first{arc.center, arc.start, std::copysign(before, arc.length)};
    return {first, {arc.center, EndPoint(first), std::copysign(after, arc.length)}};
}

template <class T>
bool Offset(const SegBase<T>& segment, T distance, SegBase<T>& result, T tolerance)
{
    const SegBase<T> source = segment; // `result` may be the same object
    result = {};
    const Vec2d along = Widened(source.end) - Widened(source.start);
    const double length = Length(along);
    if (!(length > tolerance && length > 0 && std::isfinite(length) && std::isfinite(distance))) {
        return false;
    }
    // Divided, not multiplied by 1 / length: an axis-parallel direction is then exactly a unit
    // vector.
    const Vec2d shift = static_cast<double>(distance) * RightNormal(along / length);
    result = {Narrowed<T>(Widened(source.start) + shift), Narrowed<T>(Widened(source.end) + shift)};
    return true;
}

template <class T>
bool Offset(const ArcBase<T>& arc, T distance, ArcBase<T>& result, T tolerance)
{
    const ArcBase<T> source = arc; // `result` may be the same object
    result = {};
    const Vec2d center = Widened(source.center);
    const Vec2d radial = Widened(source.start) - center;
    const double radius = Length(radial);
    // The right of travel is away from the center on a counter-clockwise arc, toward it on a
    // clockwise one.
    const double newRadius = source.length < 0 ? radius - distance : radius + distance;
    if (!(radius > tolerance && newRadius > tolerance && radius > 0 && newRadius > 0 &&
          std::isfinite(radius) && std::isfinite(newRadius))) {
        return false;
    }
    result.center = source.center;
    result.start = Narrowed<T>(center + newRadius * (radial / radius));
    // The radius that the rounded start point has, so that the sweep stays what it was.
    const double roundedRadius = Length(Widened(result.start) - center);
    result.length = static_cast<T>(source.length / radius * roundedRadius);
    return true;
}

template <class T>
bool IsEqual(const SegBase<T>& a, const SegBase<T>& b, T tolerance)
{
    return Matches(a.start, b.start, tolerance) && Matches(a.end, b.end, tolerance);
}

template <class T>
bool IsEqual(const ArcBase<T>& a, const ArcBase<T>& b, T tolerance)
{
    return Matches(a.start, b.start, tolerance) && Matches(a.center, b.center, tolerance) &&
           std::abs(a.length - b.length) <= tolerance &&
           Matches(EndPoint(a), EndPoint(b), tolerance);
}

template <class T>
bool IsTangent(const SegBase<T>& a, const SegBase<T>& b, T tolerance)
{
    const Vec2d alongA = Widened(a.end) - Widened(a.start);
    const Vec2d alongB = Widened(b.end) - Widened(b.start);
    return Matches(a.end, b.start, tolerance) && alongA * alongB > 0 &&
           DistanceToSegment(Widened(a.end), Widened(a.start), Widened(b.end)) <=
               static_cast<double>(tolerance);
}

#define SORVANE_INSTANTIATE(T)                                             \
    template std::vector<SegBase<T>> Split(const SegBase<T>&, T, bool, T); \
    template std::vector<ArcBase<T>> Split(const ArcBase<T>&, T, bool, T); \
    template bool Offset(const SegBase<T>&, T, SegBase<T>&, T);            \
    template bool Offset(const ArcBase<T>&, T, ArcBase<T>&, T);            \
    template bool IsEqual(const SegBase<T>&, const SegBase<T>&, T);        \
    template bool IsEqual(const ArcBase<T>&, const ArcBase<T>&, T);        \
    template bool IsTangent(const SegBase<T>&, const SegBase<T>&, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Geometry
