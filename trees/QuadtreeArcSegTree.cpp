// Tree over the elements of a chain of segments and arcs.

#include "trees/QuadtreeArcSegTree_Impl.h"

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/QuadtreeArcSegTree_E.h>
#include <Velk/Math/Intersect_E.h>

#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"
#include "trees/BoxHierarchy_Impl.h"
#include "trees/SearchTree_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Velk::Math::Sorvane::Tree::Quadtree {

namespace {

/// The box by which an element is searched; an empty one of an element that stays out.
template <class T>
Tree::Impl::BoxOf<2, T> SearchBox(const Geometry::SegBase<T>& segment)
{
    if (!Math::Impl::IsUsable(segment.start) || !Math::Impl::IsUsable(segment.end)) {
        return {};
    }
    return Tree::Impl::MarginBox(std::array{segment.start, segment.end});
}

/// The fields are looked at too, since the extremes alone hide what isn't finite: that of an arc
/// round an infinite center would be its start.
template <class T>
Tree::Impl::BoxOf<2, T> SearchBox(const Geometry::ArcBase<T>& arc)
{
    if (!std::isfinite(arc.length) || !Math::Impl::IsUsable(arc.center) ||
        !Math::Impl::IsUsable(arc.start)) {
        return {};
    }
    const std::array<VecBase<2, T>, 2> corners = arc.Bounds();
    if (!Math::Impl::IsUsable(corners[0]) || !Math::Impl::IsUsable(corners[1])) {
        return {};
    }
    return Tree::Impl::MarginBox(corners);
}

} // namespace

template <class T>
VecBase<2, T> Impl::ClosestPointOnContent(const Geometry::SegBase<T>* segment,
                                          const Geometry::ArcBase<T>* arc,
                                          const VecBase<2, T>& point)
{
    if (segment != nullptr) {
        return Velk::Math::Impl::NearestOnSegment(segment->start, segment->end, point,
                                                  Velk::Math::Impl::kShortByFloor<T>);
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
struct ArcSegTree<T>::State {
    std::vector<Element> elements;
    Tree::Impl::BoxHierarchy<2, T> boxes;
};

template <class T>
ArcSegTree<T>::ArcSegTree(const Planar::PolyArcSegBase<T>& chain)
    : state_(std::make_unique<State>())
{
    state_->elements = chain.elements;
    std::vector<Tree::Impl::BoxOf<2, T>> boxes;
    boxes.reserve(chain.elements.size());
    for (const Element& element : chain.elements) {
        boxes.push_back(element.Visit([](const auto& shape) { return SearchBox(shape); }));
    }
    state_->boxes = Tree::Impl::BoxHierarchy<2, T>(boxes, Tree::Impl::HierarchyCut::Area);
}

template <class T>
ArcSegTree<T>::ArcSegTree(ArcSegTree&& other) noexcept = default;
template <class T>
ArcSegTree<T>& ArcSegTree<T>::operator=(ArcSegTree&& other) noexcept = default;
template <class T>
ArcSegTree<T>::~ArcSegTree() = default;

template <class T>
VecBase<2, T> ArcSegTree<T>::ClosestPointOnContent(const Element& element,
                                                   const VecBase<2, T>& point)
{
    return Impl::ClosestPointOnContent(element.AsSegment(), element.AsArc(), point);
}

template <class T>
std::vector<int> ArcSegTree<T>::ItemsWithin(const VecBase<2, T>& point, T radius) const
{
    std::vector<int> numbers = GetPossibleBallCollisions({point, radius});
    std::erase_if(numbers, [&](int number) {
        const Element& element = state_->elements[static_cast<std::size_t>(number)];
        const VecBase<2, T> nearest = ClosestPointOnContent(element, point);
        return !(Tree::Impl::SquaredReach(radius) > SquaredLength(nearest - point));
    });
    return numbers;
}

template <class T>
std::vector<int>
ArcSegTree<T>::GetPossibleBallCollisions(const Bounding::BoundingBall<2, T>& ball) const
{
    std::vector<int> numbers;
    if (state_) {
        state_->boxes.VisitWithin(ball.center, Tree::Impl::SquaredReach(ball.radius),
                                  [&](std::int32_t number) { numbers.push_back(number); });
        std::sort(numbers.begin(), numbers.end());
    }
    return numbers;
}

#define SORVANE_INSTANTIATE(T)                                                           \
    template VecBase<2, T> Impl::ClosestPointOnContent(                                  \
        const Geometry::SegBase<T>*, const Geometry::ArcBase<T>*, const VecBase<2, T>&); \
    template class ArcSegTree<T>;
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Tree::Quadtree
