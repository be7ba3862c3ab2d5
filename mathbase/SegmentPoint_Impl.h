// The point of a segment nearest to a given point: its place along the segment, its position and
// its squared distance, in the plane and in space.
//
// Everything is evaluated in `double`, for both coordinate types. Both ends come out with their own
// bits whenever one of them is nearest: start + 1 * (end - start) is not the end in floating point,
// and a corner that two segments share would then be two points.
//
// Coordinates are finite and within `kLargestCoordinate`, so that squares stay finite. A NaN among
// them gives NaN.
#pragma once

#include "mathbase/Values_Impl.h"

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/VecBase_E.h>

namespace Velk::Math::Impl {

/// Which segments are too short to have a direction. Such a segment counts as its start alone.
struct ShortSegments {
    /// Squared length at and below which a segment is short.
    double squaredLength;
};

/// Only a segment whose squared length is 0 is short. For callers that need the nearest point of
/// every segment as well as it can be known.
inline constexpr ShortSegments kPointsAreShort{0.0};

/// Segments no longer than the length floor of the coordinate type are short. For callers that take
/// ends within that floor for the same point.
template <class T>
inline constexpr ShortSegments kShortByFloor{static_cast<double>(kSquaredLengthFloor<T>)};

/// Segments no longer than `length` are short.
constexpr ShortSegments ShorterThan(double length) { return {length * length}; }

/// A point on a segment, before it is rounded to the coordinate type.
template <int N>
struct SegmentPlace {
    double parameter; ///< 0 at the start, 1 at the end
    VecBase<N, double> point;
};

/// The point of the segment a b nearest to `p`, and its place along the segment: exactly 0 and the
/// bits of `a`, exactly 1 and the bits of `b`, or a parameter in between.
template <int N, class T>
inline SegmentPlace<N> NearestPlace(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                    const VecBase<N, T>& p, ShortSegments rule)
{
    const VecBase<N, double> start = Widened(a);
    const VecBase<N, double> along = Widened(b) - start;
    const double squaredLength = along * along;
    const double projected = (Widened(p) - start) * along;
    if (projected <= 0.0) {
        return {0.0, start};
    }
    if (squaredLength <= rule.squaredLength) {
        // Told from `projected`, which is positive here or NaN.
        const double zeroOrNaN = projected - projected;
        return {zeroOrNaN, zeroOrNaN == 0.0 ? start : start + along * zeroOrNaN};
    }
    if (projected >= squaredLength) {
        return {1.0, Widened(b)};
    }
    // A quotient of two doubles with the smaller one above stays below 1 when it is rounded.
    const double parameter = projected / squaredLength;
    return {parameter, start + along * parameter};
}

/// `NearestPlace` without the point.
template <int N, class T>
inline double NearestParameter(const VecBase<N, T>& a, const VecBase<N, T>& b,
                               const VecBase<N, T>& p, ShortSegments rule)
{
    return NearestPlace(a, b, p, rule).parameter;
}

/// The point at a parameter of `NearestPlace`: the bits of an end at 0 and 1.
template <int N, class T>
inline VecBase<N, T> PointOnSegment(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                    double parameter)
{
    if (parameter == 0.0) {
        return a;
    }
    if (parameter == 1.0) {
        return b;
    }
    const VecBase<N, double> start = Widened(a);
    return Narrowed<T>(start + (Widened(b) - start) * parameter);
}

/// The point of the segment a b nearest to `p`: the bits of an end when that is nearest.
template <int N, class T>
inline VecBase<N, T> NearestOnSegment(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                      const VecBase<N, T>& p, ShortSegments rule)
{
    return Narrowed<T>(NearestPlace(a, b, p, rule).point);
}

/// Squared distance of `p` from the segment a b, for `float` that of the point before it is
/// rounded.
template <int N, class T>
inline double SquaredDistanceToSegment(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                       const VecBase<N, T>& p, ShortSegments rule)
{
    return Vector::SquaredLength(Widened(p) - NearestPlace(a, b, p, rule).point);
}

} // namespace Velk::Math::Impl
