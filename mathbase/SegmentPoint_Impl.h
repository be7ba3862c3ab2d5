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

/// Place along the segment a b of its point nearest to `p`: 0 at `a`, 1 at `b`, and in between in
/// the open interval. Exactly 0 and 1 tell that an end is nearest.
template <int N, class T>
inline double NearestParameter(const VecBase<N, T>& a, const VecBase<N, T>& b,
                               const VecBase<N, T>& p, ShortSegments rule)
{
    const VecBase<N, double> start = Widened(a);
    const VecBase<N, double> along = Widened(b) - start;
    const double squaredLength = along * along;
    if (squaredLength <= rule.squaredLength) {
        return 0.0;
    }
    const double projected = (Widened(p) - start) * along;
    if (projected <= 0.0) {
        return 0.0;
    }
    // A quotient of two doubles with the smaller one above stays below 1 when it is rounded.
    return projected >= squaredLength ? 1.0 : projected / squaredLength;
}

/// The point at a parameter of `NearestParameter`, not yet rounded to T: the bits of an end at 0
/// and 1.
template <int N, class T>
inline VecBase<N, double> WidePointOnSegment(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                             double parameter)
{
    if (parameter == 0.0) {
        return Widened(a);
    }
    if (parameter == 1.0) {
        return Widened(b);
    }
    const VecBase<N, double> start = Widened(a);
    return start + (Widened(b) - start) * parameter;
}

/// The point at a parameter of `NearestParameter`: the bits of an end at 0 and 1.
template <int N, class T>
inline VecBase<N, T> PointOnSegment(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                    double parameter)
{
    return Narrowed<T>(WidePointOnSegment(a, b, parameter));
}

/// The point of the segment a b nearest to `p`: the bits of an end when that is nearest.
template <int N, class T>
inline VecBase<N, T> NearestOnSegment(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                      const VecBase<N, T>& p, ShortSegments rule)
{
    return PointOnSegment(a, b, NearestParameter(a, b, p, rule));
}

/// Squared distance of `p` from the segment a b, for `float` that of the point before it is
/// rounded.
template <int N, class T>
inline double SquaredDistanceToSegment(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                       const VecBase<N, T>& p, ShortSegments rule)
{
    const double parameter = NearestParameter(a, b, p, rule);
    return Vector::SquaredLength(Widened(p) - WidePointOnSegment(a, b, parameter));
}

} // namespace Velk::Math::Impl
