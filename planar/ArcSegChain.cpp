// Elements and chains of segments and arcs: ends, tangents, reversal, appending, the closed test.

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "mathbase/GeometryArc_Impl.h"
#include "planar/ChainElement_Impl.h"

#include <cstddef>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;
using Geometry::Impl::LeftNormal;

/// Direction of travel where the unit vector from the center is `spoke`.
template <class T>
Vec2d TangentAt(const ArcBase<T>& arc, const Vec2d& spoke)
{
    return LeftNormal(arc.length < T{0} ? -spoke : spoke);
}

template <class T>
SegBase<T> Reversed(const SegBase<T>& segment)
{
    return {segment.end, segment.start};
}

template <class T>
ArcBase<T> Reversed(const ArcBase<T>& arc)
{
    return {arc.center, Geometry::EndPoint(arc), -arc.length};
}

template <class T>
Vec2d TangentAtStart(const SegBase<T>& segment)
{
    return Direction(segment);
}

template <class T>
Vec2d TangentAtStart(const ArcBase<T>& arc)
{
    return TangentAt(arc, Normalized(Widened(arc.start) - Widened(arc.center),
                                     static_cast<double>(kLengthFloor<T>)));
}

template <class T>
Vec2d TangentAtEnd(const SegBase<T>& segment)
{
    return Direction(segment);
}

template <class T>
Vec2d TangentAtEnd(const ArcBase<T>& arc)
{
    const Vec2d spoke = Widened(arc.start) - Widened(arc.center);
    const double angle =
        Geometry::Impl::EndAngle(spoke, Vector::Length(spoke), static_cast<double>(arc.length));
    return TangentAt(arc, Geometry::Impl::UnitAt(angle));
}

} // namespace

template <class T>
ArcSegBase<T>::~ArcSegBase() = default;

template <class T>
VecBase<2, T> ArcSegBase<T>::EndPoint() const
{
    return Visit([](const auto& e) -> VecBase<2, T> { return Geometry::EndPoint(e); });
}

template <class T>
T ArcSegBase<T>::Length() const
{
    return static_cast<T>(WideLength(*this));
}

template <class T>
void ArcSegBase<T>::Reverse()
{
    *this = Visit([](const auto& e) { return ArcSegBase(Reversed(e)); });
}

template <class T>
VecBase<2, T> ArcSegBase<T>::StartTangent() const
{
    return Narrowed<T>(Visit([](const auto& e) { return TangentAtStart(e); }));
}

template <class T>
VecBase<2, T> ArcSegBase<T>::EndTangent() const
{
    return Narrowed<T>(Visit([](const auto& e) { return TangentAtEnd(e); }));
}

template <class T>
PolyArcSegBase<T>::~PolyArcSegBase() = default;

template <class T>
bool PolyArcSegBase<T>::IsClosed() const
{
    const double reach = tolerance;
    const std::size_t count = elements.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t next = i + 1 < count ? i + 1 : 0;
        if (!(Distance(elements[i].EndPoint(), elements[next].StartPoint()) <= reach)) {
            return false;
        }
    }
    return count > 0;
}

// Both append tests are put so that NaN is refused: a chain that took it could never be continued.

template <class T>
bool PolyArcSegBase<T>::AppendSegment(const VecBase<2, T>& from, const VecBase<2, T>& to)
{
    if (elements.empty()) {
        elements.emplace_back(SegBase<T>{from, to});
        return true;
    }
    const double reach = tolerance;
    const VecBase<2, T> end = elements.back().EndPoint();
    if (!(Distance(from, end) <= reach && Distance(to, end) > reach)) {
        return false;
    }
    elements.emplace_back(SegBase<T>{end, to});
    return true;
}

template <class T>
bool PolyArcSegBase<T>::AppendArc(const VecBase<2, T>& center, const VecBase<2, T>& start, T length)
{
    const double reach = tolerance;
    if (!elements.empty() && !(Distance(start, elements.back().EndPoint()) <= reach)) {
        return false;
    }
    elements.emplace_back(ArcBase<T>{center, start, length});
    return true;
}

template class ArcSegBase<float>;
template class ArcSegBase<double>;
template class PolyArcSegBase<float>;
template class PolyArcSegBase<double>;

} // namespace Velk::Math::Sorvane::Planar
