// Tree over the elements of a chain of segments and arcs.

#include "trees/ArcSegTree_Impl.h"

#include <Sorvane/AssertSites_E.h>
#include <Velk/Math/Intersect_E.h>

#include "trees/SegmentTree_Impl.h"

namespace Velk::Math::Sorvane::Tree::Quadtree {

namespace {

template <class T>
Bounding::AxisAlignedBoundingBox<2, T> BoxOfElement(const Geometry::SegBase<T>& segment)
{
    return Tree::Impl::MarginBox({segment.start, segment.end});
}

/// The fields are looked at too, since the extremes alone hide what isn't finite: that of an arc
/// round an infinite center would be its start.
template <class T>
Bounding::AxisAlignedBoundingBox<2, T> BoxOfElement(const Geometry::ArcBase<T>& arc)
{
    if (!std::isfinite(arc.length) || !Tree::Impl::IsIndexable<2, T>({arc.center, arc.center}) ||
        Tree::Impl::HasNaN(arc.start)) {
        const T nan = std::numeric_limits<T>::quiet_NaN();
        return {{nan, nan}, {nan, nan}};
    }
    const auto [low, high] = arc.Bounds();
    return Tree::Impl::MarginBox({low, high});
}

} // namespace

template <class T>
void ArcSegTree<T>::AddElement(const Element& element, int id)
{
    ArcSegWrap wrap;
    wrap.id = id;
    wrap.element = element;
    Tree::Impl::Store(storage_, wrap,
                      element.Visit([](const auto& shape) { return BoxOfElement(shape); }));
}

template <class T>
ArcSegTree<T>::ArcSegTree(const Planar::PolyArcSegBase<T>& chain)
{
    Tree::Impl::ReserveOneBlock(storage_, chain.elements.size());
    for (std::size_t i = 0; i < chain.elements.size(); ++i) {
        AddElement(chain.elements[i], static_cast<int>(i));
    }
    if (storage_.ItemCount() > 0) {
        Base::PrepareRoot(storage_);
    }
}

template <class T>
VecBase<2, T> ArcSegTree<T>::ClosestPointOnContent(const Element& element,
                                                   const VecBase<2, T>& point)
{
    return ClosestPointOnContent(element.AsSegment(), element.AsArc(), point);
}

template <class T>
VecBase<2, T> ArcSegTree<T>::ClosestPointOnContent(const Geometry::SegBase<T>* segment,
                                                   const Geometry::ArcBase<T>* arc,
                                                   const VecBase<2, T>& point)
{
    if (segment != nullptr) {
        return Tree::Impl::NearestOnSegment(*segment, point);
    }
    if (arc != nullptr) {
        T fraction{0};
        return Intersect::ClosestPointOnArc(arc->center, arc->start, arc->length, point, fraction,
                                            false);
    }
    AssertSites::Report(AssertSites::kClosestPointOnContent<T>);
    return Bounding::Impl::Uniform<2, T>(std::numeric_limits<T>::max());
}

template <class T>
std::vector<int> ArcSegTree<T>::ItemsWithin(const VecBase<2, T>& point, T radius) const
{
    std::vector<int> ids;
    Base::VisitBallCollisions({point, radius}, [&](const Content* content) {
        const auto& wrap = static_cast<const ArcSegWrap&>(*content);
        const VecBase<2, T> nearest = ClosestPointOnContent(wrap.element, point);
        if (radius * radius > SquaredLength(nearest - point)) {
            ids.push_back(wrap.id);
        }
    });
    return ids;
}

template class ArcSegTree<float>;
template class ArcSegTree<double>;

} // namespace Velk::Math::Sorvane::Tree::Quadtree
