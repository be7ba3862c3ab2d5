// Tree over segments in the plane.

#include <Sorvane/SegmentTree_E.h>

#include "mathbase/RoomForMore_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"
#include "trees/BoxHierarchy_Impl.h"
#include "trees/SearchTree_Impl.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::Tree {

namespace {

/// Nearest point of a segment, by the rule for short segments of its type. It lies in the box of
/// the two ends, exactly.
template <class T>
VecBase<2, T> NearestOn(const Geometry::SegBase<T>& segment, const VecBase<2, T>& point)
{
    VecBase<2, T> nearest = Velk::Math::Impl::NearestOnSegment(segment.start, segment.end, point,
                                                               Velk::Math::Impl::kShortByFloor<T>);
    for (int i = 0; i < 2; ++i) { // rounding may carry it out by a unit in the last place
        const auto [low, high] = std::minmax(segment.start[i], segment.end[i]);
        nearest[i] = nearest[i] < low ? low : (nearest[i] > high ? high : nearest[i]);
    }
    return nearest;
}

/// The box by which a segment is searched; an empty one of a segment that stays out.
template <class T>
Impl::BoxOf<2, T> SearchBox(const Geometry::SegBase<T>& segment)
{
    if (!Math::Impl::IsUsable(segment.start) || !Math::Impl::IsUsable(segment.end)) {
        return {};
    }
    return Impl::MarginBox(std::array{segment.start, segment.end});
}

} // namespace

template <class T>
struct QOFSegmentTree<2, T>::State {
    std::vector<Segment> segments;
    std::vector<int> ids;
    Impl::BoxHierarchy<2, T> boxes;
};

template <class T>
QOFSegmentTree<2, T>::QOFSegmentTree() = default;
template <class T>
QOFSegmentTree<2, T>::~QOFSegmentTree() = default;
template <class T>
QOFSegmentTree<2, T>::QOFSegmentTree(QOFSegmentTree&& other) noexcept = default;
template <class T>
QOFSegmentTree<2, T>& QOFSegmentTree<2, T>::operator=(QOFSegmentTree&& other) noexcept = default;

template <class T>
void QOFSegmentTree<2, T>::AddSegment(const Segment& segment, int id)
{
    if (!state_) {
        state_ = std::make_unique<State>();
    }
    Velk::Math::Impl::MakeRoomForOneMore(state_->segments, state_->ids);
    state_->segments.push_back(segment);
    state_->ids.push_back(id);
}

template <class T>
void QOFSegmentTree<2, T>::AddAll(const std::vector<Segment>& segments)
{
    for (std::size_t i = 0; i < segments.size(); ++i) {
        AddSegment(segments[i], static_cast<int>(i));
    }
}

template <class T>
void QOFSegmentTree<2, T>::Build()
{
    if (!state_) {
        return;
    }
    std::vector<Impl::BoxOf<2, T>> boxes;
    boxes.reserve(state_->segments.size());
    for (const Segment& segment : state_->segments) {
        boxes.push_back(SearchBox(segment));
    }
    state_->boxes = Impl::BoxHierarchy<2, T>(boxes, Impl::HierarchyCut::Area);
}

template <class T>
const std::vector<Geometry::SegBase<T>>& QOFSegmentTree<2, T>::Segments() const
{
    static const std::vector<Segment> kNone;
    return state_ ? state_->segments : kNone;
}

// The answer is the least pair (squared distance, place) over all candidates. The visit comes
// nearest box first and passes over boxes that are farther than the best so far. None of those
// holds a better one: the nearest point lies in the segment's box, and subtraction, squaring and
// the sum over the axes are monotonic also when they are rounded, so that the squared distance of
// the point is never below that of the box. Boxes as far as the best are still seen, for the sake
// of ties.
template <class T>
typename QOFSegmentTree<2, T>::Closest
QOFSegmentTree<2, T>::ClosestPoint(const VecBase<2, T>& point, T radius) const
{
    Closest closest{point, -1};
    if (!state_) {
        return closest;
    }
    const T squaredRadius = Impl::SquaredReach(radius);
    T least = std::numeric_limits<T>::infinity();
    std::int32_t best = std::numeric_limits<std::int32_t>::max();
    state_->boxes.VisitNearest(
        point,
        [&](T squaredDistance) {
            return squaredDistance < squaredRadius && squaredDistance <= least;
        },
        [&](std::int32_t place) {
            const auto i = static_cast<std::size_t>(place);
            const VecBase<2, T> nearest = NearestOn(state_->segments[i], point);
            const T squaredDistance = SquaredLength(nearest - point);
            if (squaredDistance < least || (squaredDistance == least && place < best)) {
                closest = {nearest, state_->ids[i]};
                least = squaredDistance;
                best = place;
            }
        });
    return closest;
}

template <class T>
std::vector<int>
QOFSegmentTree<2, T>::GetPossibleBallCollisions(const Bounding::BoundingBall<2, T>& ball) const
{
    std::vector<int> numbers;
    if (!state_) {
        return numbers;
    }
    state_->boxes.VisitWithin(ball.center, Impl::SquaredReach(ball.radius),
                              [&](std::int32_t place) { numbers.push_back(place); });
    std::sort(numbers.begin(), numbers.end());
    for (int& number : numbers) {
        number = state_->ids[static_cast<std::size_t>(number)];
    }
    return numbers;
}

template <class T>
Quadtree::SegmentTree<T>::SegmentTree() = default;

template <class T>
Quadtree::SegmentTree<T>::SegmentTree(const std::vector<Geometry::SegBase<T>>& segments)
{
    this->AddAll(segments);
    this->Build();
}

template class QOFSegmentTree<2, float>;
template class QOFSegmentTree<2, double>;
template class Quadtree::SegmentTree<float>;
template class Quadtree::SegmentTree<double>;

} // namespace Velk::Math::Sorvane::Tree
