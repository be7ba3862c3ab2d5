// Nearest points of a chain, the normals there, and the side of the chain that a point lies on.

#include <Sorvane/PolyArcSeg_E.h>

#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// The nearest point found so far and the element that gave it, null until one has.
template <class T>
struct Nearest {
    VecBase<2, T> point{-std::numeric_limits<T>::max(), -std::numeric_limits<T>::max()};
    double squaredDistance = std::numeric_limits<double>::infinity();
    const ArcSegBase<T>* element = nullptr;

    void Consider(const ArcSegBase<T>& candidate, const VecBase<2, T>& p)
    {
        candidate.Visit([&](const auto& e) {
            const double least = LeastDistance(e, p);
            if (least > 0 && least * least > squaredDistance) {
                return;
            }
            const VecBase<2, T> q = NearestOn(e, p);
            const double squared = SquaredDistance(q, p);
            if (squared < squaredDistance) {
                point = q;
                squaredDistance = squared;
                element = &candidate;
            }
        });
    }
};

template <class T>
Nearest<T> NearestOnChain(const PolyArcSegBase<T>& chain, const VecBase<2, T>& p)
{
    Nearest<T> nearest;
    for (const ArcSegBase<T>& element : chain.elements) {
        nearest.Consider(element, p);
    }
    return nearest;
}

template <class T>
Vec2d RightNormalAt(const SegBase<T>& segment, const VecBase<2, T>&)
{
    return Vector::RightNormal(Direction(segment));
}

/// A counter-clockwise arc has its center on the left, a clockwise one on the right.
template <class T>
Vec2d RightNormalAt(const ArcBase<T>& arc, const VecBase<2, T>& point)
{
    const Vec2d spoke =
        Normalized(Widened(point) - Widened(arc.center), static_cast<double>(kLengthFloor<T>));
    return arc.length < T{0} ? -spoke : spoke;
}

template <class T>
Vec2d NormalOf(const Nearest<T>& nearest, bool right)
{
    if (nearest.element == nullptr) {
        return {};
    }
    const Vec2d normal =
        nearest.element->Visit([&](const auto& e) { return RightNormalAt(e, nearest.point); });
    return right ? normal : -normal;
}

/// Normal at the point of a single element that is nearest to `p`, as if it were a chain. Of two
/// ends of an arc that are exactly as near this is the start, whichever of them the corner is.
template <class T>
Vec2d NormalAlone(const ArcSegBase<T>& element, const VecBase<2, T>& p, bool right)
{
    Nearest<T> nearest;
    nearest.Consider(element, p);
    return NormalOf(nearest, right);
}

/// Normal of the corner between two elements, as seen from `p`; zero for a cusp.
template <class T>
Vec2d CornerNormal(const ArcSegBase<T>& before, const ArcSegBase<T>& after, const VecBase<2, T>& p,
                   bool right)
{
    return Normalized(NormalAlone(before, p, right) + NormalAlone(after, p, right),
                      static_cast<double>(kLengthFloor<T>));
}

template <class T>
bool EndsAt(const ArcSegBase<T>& element, const VecBase<2, T>& q)
{
    // A point that is off the circle by this much matches nothing on it.
    constexpr double kOffCircle = 2.0 * static_cast<double>(kLengthFloor<T>);
    return element.Visit([&](const auto& e) {
        return !(LeastDistance(e, q) > kOffCircle) &&
               Matches(Geometry::EndPoint(e), q, kLengthFloor<T>);
    });
}

/// Number of the first element that ends at `q`; the number of elements when there is none.
template <class T>
std::size_t ElementEndingAt(const PolyArcSegBase<T>& chain, const VecBase<2, T>& q)
{
    std::size_t i = 0;
    while (i < chain.elements.size() && !EndsAt(chain.elements[i], q)) {
        ++i;
    }
    return i;
}

/// How far the end of an element can be from where it belongs by rounding alone: the length of an
/// arc and the coordinates of its center and start are each off by half a unit, and more than a
/// full turn adds them up.
template <class T>
double RoundingOf(const ArcSegBase<T>& element)
{
    constexpr double kRoundings = 4.0 * static_cast<double>(std::numeric_limits<T>::epsilon());
    const auto size = [](const VecBase<2, T>& v) {
        return std::fabs(static_cast<double>(v.x())) + std::fabs(static_cast<double>(v.y()));
    };
    if (const auto* arc = element.AsArc()) {
        return kRoundings * (size(arc->center) + size(arc->start) + WideLength(*arc));
    }
    return kRoundings * (size(element.AsSegment()->start) + size(element.AsSegment()->end));
}

/// How fast an element turns to the left; 0 for a segment.
template <class T>
double LeftCurvature(const ArcSegBase<T>& element)
{
    const ArcBase<T>* const arc = element.AsArc();
    const double radius = arc != nullptr ? Distance(arc->center, arc->start) : 0.0;
    return radius > 0 ? (arc->length < T{0} ? -1.0 : 1.0) / radius : 0.0;
}

/// By how much the direction of an element at its end may be off, by rounding.
template <class T>
double TurnByRounding(const ArcSegBase<T>& element)
{
    const ArcBase<T>* const arc = element.AsArc();
    return RoundingOf(element) /
           (arc != nullptr ? Distance(arc->center, arc->start) : WideLength(element));
}

/// At a cusp, where the second of two elements runs back along the tangent of the first, how far to
/// the right of the first the second one lies, as a curvature: in front of the tip is their left
/// space when it is positive. 0 when it is no cusp, and when the two can't be told apart.
///
/// The normals cancel there but for their rounding, which would tell nothing. A length t behind the
/// tip the first lies at t^2 / 2 times its curvature to the left of their tangent, the second at
/// t^2 / 2 times its own to the right.
template <class T>
double BendOfCusp(const ArcSegBase<T>& before, const ArcSegBase<T>& after, const VecBase<2, T>& p)
{
    const Vec2d first = NormalAlone(before, p, true);
    const Vec2d second = NormalAlone(after, p, true);
    const double rounding = std::max(static_cast<double>(kLengthFloor<T>),
                                     TurnByRounding(before) + TurnByRounding(after));
    if (!(first * second < 0) || !(Vector::Length(first + second) <= rounding)) {
        return 0.0;
    }
    const double own = LeftCurvature(before);
    const double other = LeftCurvature(after);
    const double bend = own + other;
    const bool isTold = std::fabs(bend) > rounding * std::max(std::fabs(own), std::fabs(other));
    return isTold ? bend : 0.0;
}

/// Do two elements meet where the first ends and the second starts: within the floor, the chain's
/// tolerance or the rounding of both, whichever is widest?
template <class T>
bool AreJoined(const PolyArcSegBase<T>& chain, std::size_t before, std::size_t after)
{
    const ArcSegBase<T>& first = chain.elements[before];
    const ArcSegBase<T>& second = chain.elements[after];
    const double reach =
        std::max({static_cast<double>(kLengthFloor<T>), static_cast<double>(chain.tolerance),
                  RoundingOf(first) + RoundingOf(second)});
    return Distance(first.EndPoint(), second.StartPoint()) <= reach;
}

/// Number of the element before the corner that `nearest` is, when no element ends within the floor
/// of it; the number of elements when it is no corner.
///
/// The ends of a joint may lie as far apart as the chain's tolerance allows, and the derived end of
/// an arc of radius 10 in `float` misses the next start by far more than the floor. A point beyond
/// a sharp tip that is nearest to the second of the two would get its side from one line alone, and
/// the wrong one however far away it is.
template <class T>
std::size_t ElementBeforeTornCorner(const PolyArcSegBase<T>& chain, const Nearest<T>& nearest)
{
    const std::size_t count = chain.elements.size();
    const auto element = static_cast<std::size_t>(nearest.element - chain.elements.data());
    const double rounding = RoundingOf(*nearest.element);
    if (Distance(nearest.element->StartPoint(), nearest.point) <= rounding) {
        const std::size_t before = element > 0 ? element - 1 : count - 1;
        return AreJoined(chain, before, element) ? before : count;
    }
    return Distance(nearest.element->EndPoint(), nearest.point) <= rounding ? element : count;
}

/// Is there a corner behind `before`? The far end of an open chain is none.
template <class T>
bool HasCornerAfter(const PolyArcSegBase<T>& chain, std::size_t before)
{
    const std::size_t count = chain.elements.size();
    return before + 1 < count ||
           (before + 1 == count && (chain.IsClosed() || AreJoined(chain, before, std::size_t{0})));
}

} // namespace

template <class T>
VecBase<2, T> ClosestPointOnPolyArcSeg(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point)
{
    return NearestOnChain(chain, point).point;
}

template <class T>
std::pair<VecBase<2, T>, VecBase<2, T>>
ClosestPointAndNormalOnPolyArcSeg(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point,
                                  bool right)
{
    const Nearest<T> nearest = NearestOnChain(chain, point);
    return {nearest.point, Narrowed<T>(NormalOf(nearest, right))};
}

template <class T>
bool PointInPolyArcSegSpace(const PolyArcSegBase<T>& chain, const VecBase<2, T>& point, bool right,
                            VecBase<2, T>* closest)
{
    const Nearest<T> nearest = NearestOnChain(chain, point);
    if (closest != nullptr) {
        *closest = nearest.point;
    }
    if (nearest.element == nullptr) {
        // Nothing bounds the space; a point that is nowhere isn't in it all the same.
        return Math::Impl::IsFinite(point);
    }

    Vec2d normal = NormalOf(nearest, right);
    const std::size_t count = chain.elements.size();
    std::size_t before = ElementEndingAt(chain, nearest.point);
    if (before == count) {
        before = ElementBeforeTornCorner(chain, nearest);
    }
    if (HasCornerAfter(chain, before)) {
        const std::size_t after = before + 1 < count ? before + 1 : 0;
        const double bend = BendOfCusp(chain.elements[before], chain.elements[after], point);
        if (bend != 0) {
            return Distance(point, nearest.point) <= static_cast<double>(kLengthFloor<T>) ||
                   (bend > 0) == right;
        }
        normal = CornerNormal(chain.elements[before], chain.elements[after], point, right);
    }

    const double side = (Widened(point) - Widened(nearest.point)) * normal;
    return std::fabs(side) <= static_cast<double>(kLengthFloor<T>) || side < 0;
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template VecBase<2, T> ClosestPointOnPolyArcSeg(const PolyArcSegBase<T>&, const VecBase<2, T>&); \
    template std::pair<VecBase<2, T>, VecBase<2, T>> ClosestPointAndNormalOnPolyArcSeg(const PolyArcSegBase<T>&, const VecBase<2, T>&, bool); \
    template bool PointInPolyArcSegSpace(const PolyArcSegBase<T>&, const VecBase<2, T>&, bool, VecBase<2, T>*);
// clang-format on
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
