// Measures and nearest points of single elements, by overloads for the segment and the arc.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

using Geometry::ArcBase;
using Geometry::SegBase;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

template <class T>
double Distance(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return Vector::Length(Widened(b) - Widened(a));
}

template <class T>
SegBase<double> Wide(const SegBase<T>& segment)
{
    return {Widened(segment.start), Widened(segment.end)};
}

template <class T>
ArcBase<double> Wide(const ArcBase<T>& arc)
{
    return {Widened(arc.center), Widened(arc.start), static_cast<double>(arc.length)};
}

/// Length before it is rounded to T, so that sums of many are rounded once.
template <class T>
double WideLength(const SegBase<T>& segment)
{
    return Distance(segment.start, segment.end);
}

template <class T>
double WideLength(const ArcBase<T>& arc)
{
    return std::fabs(static_cast<double>(arc.length));
}

template <class T>
double WideLength(const ArcSegBase<T>& element)
{
    return element.Visit([](const auto& e) { return WideLength(e); });
}

/// Running lengths at the joints, unrounded.
template <class T>
std::vector<double> RunningLengths(const PolyArcSegBase<T>& chain)
{
    std::vector<double> lengths{0.0};
    lengths.reserve(chain.elements.size() + 1);
    for (const ArcSegBase<T>& element : chain.elements) {
        lengths.push_back(lengths.back() + WideLength(element));
    }
    return lengths;
}

/// Unit direction of a segment; zero when it is no longer than the floor.
template <class T>
Vec2d Direction(const SegBase<T>& segment)
{
    return Normalized(Widened(segment.end) - Widened(segment.start),
                      static_cast<double>(kLengthFloor<T>));
}

/// Nearest point of an arc; `fraction` receives its place.
template <class T>
VecBase<2, T> NearestOn(const ArcBase<T>& arc, const VecBase<2, T>& point, T& fraction)
{
    return Intersect::ClosestPointOnArc(arc.center, arc.start, arc.length, point, fraction, false);
}

template <class T>
double SquaredDistance(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return Vector::SquaredLength(Widened(b) - Widened(a));
}

/// Nearest point of an element, in the strict sense: the other end of an arc is never nearer, not
/// by the last digit. `ClosestPointOnArc` alone takes ends that differ by rounding for equally
/// near, and then an element on its own could answer with another place than the one at which its
/// neighbor in the chain is nearest.
template <class T>
VecBase<2, T> NearestOn(const ArcBase<T>& arc, const VecBase<2, T>& point)
{
    T fraction{0};
    VecBase<2, T> nearest = NearestOn(arc, point, fraction);
    double squared = SquaredDistance(nearest, point);
    const auto considerEnd = [&](const VecBase<2, T>& end) {
        const double squaredOfEnd = SquaredDistance(end, point);
        if (squaredOfEnd < squared) {
            nearest = end;
            squared = squaredOfEnd;
        }
    };
    considerEnd(arc.start);
    if (fraction < T{1}) { // else it is the end already, which is dear to derive
        considerEnd(Geometry::EndPoint(arc));
    }
    return nearest;
}

template <class T>
VecBase<2, T> NearestOn(const SegBase<T>& segment, const VecBase<2, T>& point)
{
    return Math::Impl::NearestOnSegment(segment.start, segment.end, point,
                                        Math::Impl::kShortByFloor<T>);
}

/// A distance that `point` surely has from what `NearestOn` gives on the arc: the gap between it
/// and the arc's circle, less the rounding of both. Negative or NaN when nothing can be told. Far
/// cheaper than the nearest point itself.
template <class T>
double LeastDistance(const ArcBase<T>& arc, const VecBase<2, T>& point)
{
    constexpr double kRounding = 16.0 * static_cast<double>(std::numeric_limits<T>::epsilon());
    const double radius = Distance(arc.center, arc.start);
    const double distance = Distance(arc.center, point);
    const double size = std::fabs(static_cast<double>(arc.center.x())) +
                        std::fabs(static_cast<double>(arc.center.y())) + radius + distance;
    return std::fabs(distance - radius) - kRounding * size;
}

/// Segments are as quickly measured as ruled out.
template <class T>
double LeastDistance(const SegBase<T>&, const VecBase<2, T>&)
{
    return -1.0;
}

/// How far a point that is computed from coordinates of this size may be off by their rounding. A
/// tolerance below it could not tell a point on an element from one beside it.
template <class T>
double RoundingAt(double size)
{
    constexpr double kRoundings = 8.0;
    return kRoundings * static_cast<double>(std::numeric_limits<T>::epsilon()) * size;
}

/// Largest coordinate that an element is computed with; infinite where one, or a length, is not
/// finite.
template <class T>
double SizeOf(const ArcSegBase<T>& element)
{
    const auto size = [](const VecBase<2, T>& v) {
        return Math::Impl::IsFinite(v) ? static_cast<double>(Math::Impl::LargestMagnitude(v))
                                       : std::numeric_limits<double>::infinity();
    };
    if (const ArcBase<T>* arc = element.AsArc()) {
        if (!std::isfinite(arc->length)) {
            return std::numeric_limits<double>::infinity();
        }
        return std::max(size(arc->center) + Distance(arc->center, arc->start), size(arc->start));
    }
    return std::max(size(element.AsSegment()->start), size(element.AsSegment()->end));
}

/// `RoundingAt` the coordinates of a whole set of elements, those that are not finite aside. A few
/// elements beyond all proportion to the usual ones don't make the others coarse.
template <class T>
double RoundingOf(const std::vector<ArcSegBase<T>>& elements)
{
    constexpr double kStray = sizeof(T) == sizeof(float) ? 1e2 : 1e5;
    std::vector<double> sizes;
    sizes.reserve(elements.size());
    for (const ArcSegBase<T>& element : elements) {
        const double size = SizeOf(element);
        if (size <= Math::Impl::kLargestCoordinate) {
            sizes.push_back(size);
        }
    }
    if (sizes.empty()) {
        return 0.0;
    }
    const auto usual = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
    std::nth_element(sizes.begin(), usual, sizes.end());
    const double largest = *std::max_element(usual, sizes.end());
    return RoundingAt<T>(std::min(largest, kStray * *usual));
}

/// A caller's tolerance as it is used: 0 for a negative one and NaN.
template <class T>
T AtLeastZero(T tol)
{
    return tol > T{0} ? tol : T{0};
}

/// The same, and not below the rounding of the elements' coordinates.
template <class T>
T Reach(T tol, const std::vector<ArcSegBase<T>>& elements)
{
    return std::max(AtLeastZero(tol), static_cast<T>(RoundingOf(elements)));
}

} // namespace Velk::Math::Sorvane::Planar::Impl
