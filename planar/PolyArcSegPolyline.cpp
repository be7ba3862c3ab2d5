// Chains flattened to points.

#include <Sorvane/PolyArcSeg_E.h>
#include <Velk/Math/Tolerances_E.h>

namespace Velk::Math::Sorvane::Planar {

namespace {

template <class T>
void AppendUnlessRepeated(const VecBase<2, T>& point, std::vector<VecBase<2, T>>& points)
{
    if (points.empty() || !Matches(points.back(), point, kLengthFloor<T>)) {
        points.push_back(point);
    }
}

template <class T>
void AppendElement(const Geometry::SegBase<T>& segment, T, std::vector<VecBase<2, T>>& points)
{
    AppendUnlessRepeated(segment.start, points);
    AppendUnlessRepeated(segment.end, points);
}

template <class T>
void AppendElement(const Geometry::ArcBase<T>& arc, T tol, std::vector<VecBase<2, T>>& points)
{
    for (const VecBase<2, T>& point : Geometry::Tessellate(arc, tol)) {
        AppendUnlessRepeated(point, points);
    }
}

} // namespace

template <class T>
PolylineDataBase<T> ToPolyline(const PolyArcSegBase<T>& chain, T tol)
{
    PolylineDataBase<T> polyline;
    polyline.spans.reserve(chain.elements.size());
    unsigned int first = 0;
    for (const ArcSegBase<T>& element : chain.elements) {
        element.Visit([&](const auto& e) { AppendElement(e, tol, polyline.points); });
        const auto last = static_cast<unsigned int>(polyline.points.size());
        polyline.spans.emplace_back(first, last);
        first = last;
    }
    return polyline;
}

template <class T>
std::vector<VecBase<2, T>> Tessellate(const PolyArcSegBase<T>& chain, T tol)
{
    return ToPolyline(chain, tol).points;
}

#define SORVANE_INSTANTIATE(T)                                            \
    template PolylineDataBase<T> ToPolyline(const PolyArcSegBase<T>&, T); \
    template std::vector<VecBase<2, T>> Tessellate(const PolyArcSegBase<T>&, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
