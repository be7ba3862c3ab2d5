// The part of a chain between two points.

#include <Sorvane/ChainBreaking_E.h>

#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

template <class T>
VecBase<2, T> NearestAnywhere(const ArcSegBase<T>& element, const VecBase<2, T>& point)
{
    T fraction{0};
    const ArcBase<T>* const arc = element.AsArc();
    return arc != nullptr ? NearestOn(*arc, point, fraction)
                          : NearestOn(*element.AsSegment(), point);
}

template <class T>
bool Holds(const ArcSegBase<T>& element, const VecBase<2, T>& end, const VecBase<2, T>& point,
           T tol)
{
    return Matches(end, point, tol) || Matches(NearestAnywhere(element, point), point, tol);
}

/// Within what an end of a piece of the arc counts as a point.
template <class T>
T MatchReach(const ArcBase<T>& arc)
{
    return std::max(kLengthFloor<T>, static_cast<T>(RoundingAt<T>(SizeOf(ArcSegBase<T>(arc)))));
}

template <class T>
T FractionOn(const ArcBase<T>& arc, const VecBase<2, T>& point)
{
    T fraction{0};
    Intersect::ClosestPointOnArc(arc.center, arc.start, arc.length, point, fraction, true);
    return fraction;
}

/// Appends to the part, by the rules of the chain's own append operations. Pieces of an arc end
/// where rounding puts them, which the chain's tolerance may be below.
template <class T>
void Append(const ArcSegBase<T>& element, PolyArcSegBase<T>& part)
{
    const T tolerance = part.tolerance;
    part.tolerance = std::max(tolerance, static_cast<T>(RoundingAt<T>(SizeOf(element))));
    if (const ArcBase<T>* arc = element.AsArc()) {
        part.AppendArc(arc->center, arc->start, arc->length);
    } else {
        part.AppendSegment(element.AsSegment()->start, element.AsSegment()->end);
    }
    part.tolerance = tolerance;
}

/// The part of one arc.
template <class T>
void AppendWithin(const ArcBase<T>& arc, const VecBase<2, T>& a, const VecBase<2, T>& b,
                  PolyArcSegBase<T>& part)
{
    const std::vector<T> fractions{FractionOn(arc, a), FractionOn(arc, b)};
    for (const ArcSegBase<T>& piece : Split(ArcSegBase<T>(arc), fractions, true, kLengthFloor<T>)) {
        if (Matches(piece.StartPoint(), a, MatchReach(arc))) {
            Append(piece, part);
            return;
        }
    }
}

/// The piece of the arc that starts (or ends) at `point`, if one does.
template <class T>
void AppendPiece(const ArcBase<T>& arc, const VecBase<2, T>& point, bool fromPoint,
                 PolyArcSegBase<T>& part)
{
    for (const ArcBase<T>& piece :
         Geometry::Split(arc, FractionOn(arc, point), true, kLengthFloor<T>)) {
        const VecBase<2, T> end = fromPoint ? piece.start : Geometry::EndPoint(piece);
        if (Matches(end, point, MatchReach(arc))) {
            Append(ArcSegBase<T>(piece), part);
            return;
        }
    }
}

} // namespace

template <class T>
PolyArcSegBase<T> TrimToPoints(const PolyArcSegBase<T>& chain, const VecBase<2, T>& a,
                               const VecBase<2, T>& b, T tol)
{
    PolyArcSegBase<T> part;
    part.tolerance = chain.tolerance;
    const T reach = Reach(tol, chain.elements);
    const std::size_t count = chain.elements.size();
    std::optional<std::size_t> first;
    std::optional<std::size_t> last;
    for (std::size_t i = 0; i < count && !(first && last); ++i) {
        const ArcSegBase<T>& element = chain.elements[i];
        if (!first && Holds(element, element.StartPoint(), a, reach)) {
            first = i;
        }
        if (!last && Holds(element, element.EndPoint(), b, reach)) {
            last = i;
        }
    }
    if (!first || !last) {
        return part;
    }
    if (*first == *last) {
        const ArcSegBase<T>& element = chain.elements[*first];
        if (const ArcBase<T>* arc = element.AsArc()) {
            AppendWithin(*arc, a, b, part);
        } else {
            part.AppendSegment(a, b);
        }
        return part;
    }
    if (*last < *first) {
        if (!chain.IsClosed()) {
            return part;
        }
        *last += count;
    }
    for (std::size_t i = *first; i <= *last; ++i) {
        const ArcSegBase<T>& element = chain.elements[i % count];
        if (const SegBase<T>* segment = element.AsSegment()) {
            Append(ArcSegBase<T>(
                       SegBase<T>{i == *first ? a : segment->start, i == *last ? b : segment->end}),
                   part);
        } else if (i == *first) {
            AppendPiece(*element.AsArc(), a, true, part);
        } else if (i == *last) {
            AppendPiece(*element.AsArc(), b, false, part);
        } else {
            Append(element, part);
        }
    }
    return part;
}

// clang-format off
template PolyArcSegBase<float>  TrimToPoints(const PolyArcSegBase<float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  float);
template PolyArcSegBase<double> TrimToPoints(const PolyArcSegBase<double>&, const VecBase<2, double>&, const VecBase<2, double>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
