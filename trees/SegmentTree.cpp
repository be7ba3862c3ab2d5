// Tree over segments in the plane.

#include "trees/SegmentTree_Impl.h"

#include "planar/ChainElement_Impl.h"

#include <algorithm>

namespace Velk::Math::Sorvane::Tree {

template <class T>
VecBase<2, T> Impl::NearestOnSegment(const Geometry::SegBase<T>& segment,
                                     const VecBase<2, T>& point)
{
    VecBase<2, T> nearest = Planar::Impl::NearestOn(segment, point);
    for (int i = 0; i < 2; ++i) { // rounding may carry it out by a unit in the last place
        const auto [low, high] = std::minmax(segment.start[i], segment.end[i]);
        nearest[i] = nearest[i] < low ? low : (nearest[i] > high ? high : nearest[i]);
    }
    return nearest;
}

template <class T>
void QOFSegmentTree<2, T>::AddSegment(const Geometry::SegBase<T>& segment, int id)
{
    SegWrap wrap;
    wrap.id = id;
    wrap.segment = segment;
    wrap.place = storage_.LastIndex() + 1;
    Impl::Store(storage_, wrap, Impl::MarginBox({segment.start, segment.end}));
}

template <class T>
void QOFSegmentTree<2, T>::AddAll(const std::vector<Geometry::SegBase<T>>& segments)
{
    Impl::ReserveOneBlock(storage_, segments.size());
    for (std::size_t i = 0; i < segments.size(); ++i) {
        AddSegment(segments[i], static_cast<int>(i));
    }
}

template <class T>
void QOFSegmentTree<2, T>::Build()
{
    if (storage_.ItemCount() > 0) {
        Base::PrepareRoot(storage_);
    }
}

// The answer is the least pair (squared distance, place) over all candidates. The traversal sees
// them nearest box first and passes over boxes that are farther than the best so far. None of those
// holds a better one: the nearest point lies in the segment's box, and subtraction, squaring and
// the sum over the axes are monotonic also when they are rounded, so that the squared distance of
// the point is never below that of the box. Boxes as far as the best are still seen, for the sake
// of ties.
template <class T>
typename QOFSegmentTree<2, T>::Closest
QOFSegmentTree<2, T>::ClosestPoint(const VecBase<2, T>& point, T radius) const
{
    Closest closest{point, -1};
    T least = std::numeric_limits<T>::infinity();
    std::int32_t place = std::numeric_limits<std::int32_t>::max();
    Base::VisitNearest(point, radius * radius, [&](const Content* content) {
        const SegWrap& wrap = WrapOf(*content);
        const VecBase<2, T> nearest = Impl::NearestOnSegment(wrap.segment, point);
        const T squaredDistance = SquaredLength(nearest - point);
        if (squaredDistance < least || (squaredDistance == least && wrap.place < place)) {
            closest = {nearest, wrap.id};
            least = squaredDistance;
            place = wrap.place;
        }
        return least;
    });
    return closest;
}

template <class T>
Quadtree::SegmentTree<T>::SegmentTree(const std::vector<Geometry::SegBase<T>>& segments)
{
    this->AddAll(segments);
    this->Build();
}

#define SORVANE_INSTANTIATE(T)                                                 \
    template VecBase<2, T> Impl::NearestOnSegment(const Geometry::SegBase<T>&, \
                                                  const VecBase<2, T>&);       \
    template class QOFSegmentTree<2, T>;                                       \
    template class Quadtree::SegmentTree<T>;
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Tree
