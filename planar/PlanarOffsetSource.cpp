// The chain as offsets see it. Distances are compared by their squares; whether a point lies beside
// an arc is told from cross products with its two spokes.

#include "planar/PlanarOffsetSource_Impl.h"

#include "arrangement/ElementCrossings_Impl.h"
#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

ArcSegBase<double> Moved(const SegBase<double>& segment, const Vec2d& by)
{
    return SegBase<double>{segment.start + by, segment.end + by};
}
ArcSegBase<double> Moved(const ArcBase<double>& arc, const Vec2d& by)
{
    return ArcBase<double>{arc.center + by, arc.start + by, arc.length};
}

using Box = Bounding::AxisAlignedBoundingBox<2, double>;

bool Overlap(const Box& a, const Box& b)
{
    return a.min.x() <= b.max.x() && b.min.x() <= a.max.x() && a.min.y() <= b.max.y() &&
           b.min.y() <= a.max.y();
}

void Include(const Vec2d& point, Box& box)
{
    for (int axis = 0; axis < 2; ++axis) {
        box.min[axis] = std::min(box.min[axis], point[axis]);
        box.max[axis] = std::max(box.max[axis], point[axis]);
    }
}

/// Is the element finite, and does it lead anywhere?
template <class T>
bool IsCurve(const ArcSegBase<T>& element)
{
    // The end of an arc is no farther out than that, which decides unless T itself may overflow.
    constexpr double kFarOut = std::min(Math::Impl::kLargestCoordinate,
                                        static_cast<double>(std::numeric_limits<T>::max())) /
                               4;
    const ArcBase<T>* const arc = element.AsArc();
    const double size = SizeOf(element);
    return size <= Math::Impl::kLargestCoordinate && WideLength(element) > kLengthFloor<double> &&
           WideLength(element) <= Math::Impl::kLargestCoordinate &&
           (size <= kFarOut || Math::Impl::IsUsable(element.EndPoint())) &&
           (arc == nullptr || Distance(arc->center, arc->start) > kLengthFloor<double>);
}

/// Middle of the box round the starts of usable elements.
template <class T>
Vec2d MiddleOf(std::span<const PolyArcSegBase<T>> chains)
{
    constexpr double kFar = std::numeric_limits<double>::infinity();
    Vec2d low(kFar, kFar);
    Vec2d high(-kFar, -kFar);
    for (const PolyArcSegBase<T>& chain : chains) {
        for (const ArcSegBase<T>& element : chain.elements) {
            if (IsCurve(element)) {
                const Vec2d start = Widened(element.StartPoint());
                for (int axis = 0; axis < 2; ++axis) {
                    low[axis] = std::min(low[axis], start[axis]);
                    high[axis] = std::max(high[axis], start[axis]);
                }
            }
        }
    }
    return low.x() <= high.x() ? (low + high) * 0.5 : Vec2d();
}

} // namespace

bool OffsetSource::MeetsItself(const std::vector<Box>& boxes) const
{
    // Seen from its end, an arc strays from its tangent by half of its sweep. Neighbors that part
    // at a wider angle do not meet once more.
    constexpr double kSweeps = 1.0;
    const double leastCosine = -std::cos(0.5 * kSweeps);
    const auto sweepOf = [&](std::size_t i) {
        return shapes_[i].radius > 0 ? WideLength(elements_[i]) / shapes_[i].radius : 0.0;
    };
    const auto partForGood = [&](std::size_t before, std::size_t after) {
        return sweepOf(before) + sweepOf(after) < kSweeps &&
               TangentAt(before, shapes_[before].end) * TangentAt(after, shapes_[after].start) >
                   leastCosine;
    };
    const auto prepared = [&](std::size_t i) {
        return elements_[i].Visit(
            [](const auto& e) { return Intersect::Impl::MakeElement(e, kLengthFloor<double>); });
    };
    // Where two joints lie in one place the chain may cross itself between the elements, and no two
    // of those do.
    const double samePlace = 2 * jointGap_ + RoundingAt<double>(size_);
    const std::size_t count = elements_.size();
    const auto meet = [&](std::size_t i, std::size_t j) {
        if (Distance(shapes_[i].start, shapes_[j].start) <= samePlace) {
            return true;
        }
        const bool areNeighbors = j == i + 1 || (i == 0 && j + 1 == count);
        const bool isBehind = areNeighbors && j != i + 1;
        return !(areNeighbors && partForGood(isBehind ? j : i, isBehind ? i : j)) &&
               Intersect::Impl::MeetingsOf(prepared(i), prepared(j)).count > 0;
    };
    const Vec2d margin(samePlace, samePlace);
    const auto widened = [&](std::size_t i) {
        return Box{boxes[i].min - margin, boxes[i].max + margin};
    };
    // Neighbors have neighbors in common: one look at the hierarchy serves a run of elements.
    constexpr std::size_t kRun = 8;
    for (std::size_t first = 0; first < count; first += kRun) {
        const std::size_t last = std::min(first + kRun, count);
        Box run = widened(first);
        for (std::size_t i = first + 1; i < last; ++i) {
            const Box box = widened(i);
            Include(box.min, run);
            Include(box.max, run);
        }
        const bool hasMet = boxes_.VisitMeeting(run, [&](std::int32_t number) -> bool {
            const auto j = static_cast<std::size_t>(number);
            for (std::size_t i = first; i < std::min(last, j); ++i) {
                if (Overlap(widened(i), boxes[j]) && meet(i, j)) {
                    return true;
                }
            }
            return false;
        });
        if (hasMet) {
            return true;
        }
    }
    return false;
}

/// At one of the ends of element i.
Vec2d OffsetSource::TangentAt(std::size_t i, const Vec2d& end) const
{
    const Shape& shape = shapes_[i];
    const ArcBase<double>* const arc = elements_[i].AsArc();
    if (arc == nullptr) {
        return (shape.end - shape.start) * (1 / Distance(shape.start, shape.end));
    }
    return Vector::RightNormal(end - shape.center) * ((arc->length < 0 ? 1 : -1) / shape.radius);
}

bool OffsetSource::Shape::Spans(const Vec2d& spoke) const
{
    if (isWhole) {
        return true;
    }
    const bool isAfterFrom = (fromSpoke ^ spoke) >= 0;
    const bool isBeforeTo = (spoke ^ toSpoke) >= 0;
    return isMoreThanHalf ? isAfterFrom || isBeforeTo : isAfterFrom && isBeforeTo;
}

bool OffsetSource::Shape::IsNearerThan(double distance, const Vec2d& p) const
{
    const double squared = distance * distance;
    const auto isNear = [&](const Vec2d& q) { return Vector::SquaredLength(p - q) < squared; };
    if (radius == 0.0) {
        const Vec2d along = end - start;
        const double place = (p - start) * along;
        const double squaredLength = along * along;
        if (place <= 0.0) {
            return isNear(start);
        }
        if (place >= squaredLength) {
            return isNear(end);
        }
        const double area = along ^ (p - start);
        return area * area < squared * squaredLength;
    }
    const Vec2d spoke = p - center;
    const double far = radius + distance;
    const double near = radius - distance;
    const double squaredSpoke = spoke * spoke;
    if (!(squaredSpoke < far * far) || (near > 0 && squaredSpoke <= near * near)) {
        return false; // not even the circle
    }
    return Spans(spoke) || isNear(start) || isNear(end);
}

Box OffsetSource::Shape::Bounds() const
{
    Box box{start, start};
    Include(end, box);
    for (int axis = 0; axis < 2 && radius > 0; ++axis) {
        for (const double sense : {-1.0, 1.0}) {
            Vec2d spoke;
            spoke[axis] = sense * radius;
            if (Spans(spoke)) {
                Include(center + spoke, box);
            }
        }
    }
    return box;
}

OffsetSource::Shape OffsetSource::ShapeOf(const ArcSegBase<double>& element)
{
    Shape shape;
    shape.start = element.StartPoint();
    shape.end = element.EndPoint();
    if (const ArcBase<double>* arc = element.AsArc()) {
        shape.center = arc->center;
        shape.radius = Vector::Length(arc->start - arc->center);
        const double sweep = std::fabs(arc->length) / shape.radius;
        shape.isMoreThanHalf = sweep > kPi<double>;
        shape.isWhole = sweep >= kTwoPi<double>;
        shape.fromSpoke = (arc->length < 0 ? shape.end : shape.start) - arc->center;
        shape.toSpoke = (arc->length < 0 ? shape.start : shape.end) - arc->center;
    }
    return shape;
}

template <class T>
OffsetSource::OffsetSource(std::span<const PolyArcSegBase<T>> chains, bool isReversed, T tol)
    : center_(MiddleOf(chains))
{
    std::size_t count = 0;
    for (const PolyArcSegBase<T>& chain : chains) {
        count += chain.elements.size();
    }
    elements_.reserve(count);
    std::vector<double> closings; // of each chain, how far apart its two ends may lie
    for (const PolyArcSegBase<T>& chain : chains) {
        const std::size_t first = elements_.size();
        double farthest = 0.0;
        for (const ArcSegBase<T>& element : chain.elements) {
            if (IsCurve(element)) {
                elements_.push_back(
                    element.Visit([&](const auto& e) { return Moved(Wide(e), -center_); }));
                farthest = std::max(farthest, SizeOf(element));
            }
        }
        if (elements_.size() == first) {
            continue;
        }
        chains_.push_back({first, elements_.size()});
        // Ends of arcs are derived in T by whoever laid the chain, where the chain itself is.
        closings.push_back(
            std::max(static_cast<double>(AtLeastZero(chain.tolerance)), RoundingAt<T>(farthest)));
        if (isReversed) {
            std::reverse(elements_.begin() + static_cast<std::ptrdiff_t>(first), elements_.end());
            for (std::size_t i = first; i < elements_.size(); ++i) {
                elements_[i].Reverse();
            }
        }
    }

    std::vector<Box> boxes;
    boxes.reserve(elements_.size());
    shapes_.reserve(elements_.size());
    for (const ArcSegBase<double>& element : elements_) {
        shapes_.push_back(ShapeOf(element));
        size_ = std::max(size_, SizeOf(element));
        boxes.push_back(shapes_.back().Bounds());
    }
    const double rounding = RoundingAt<double>(size_);
    for (Box& box : boxes) {
        box.min -= Vec2d(rounding, rounding);
        box.max += Vec2d(rounding, rounding);
    }
    boxes_ = Tree::Impl::BoxHierarchy<2, double>(boxes, Tree::Impl::HierarchyCut::Order);

    isClosed_ = chains_.size() == 1;
    for (std::size_t number = 0; number < chains_.size(); ++number) {
        const auto [first, last] = chains_[number];
        const double reach = std::max(static_cast<double>(AtLeastZero(tol)), closings[number]);
        for (std::size_t i = first; i < last; ++i) {
            const std::size_t before = i > first ? i - 1 : last - 1;
            const double gap = Distance(shapes_[before].end, shapes_[i].start);
            shapes_[i].isJoined = gap <= (i > first ? reach : closings[number]);
            isClosed_ = isClosed_ && shapes_[i].isJoined;
            if (shapes_[i].isJoined) {
                jointGap_ = std::max(jointGap_, gap);
            }
        }
    }
    isSimple_ = isClosed_ && !MeetsItself(boxes);
}

bool OffsetSource::IsNearerThan(double distance, const Vec2d& start, const Vec2d& middle,
                                const Vec2d& end, std::size_t& hint) const
{
    if (!(distance > 0)) {
        return false;
    }
    if (hint < Count() && shapes_[hint].IsNearerThan(distance, middle)) {
        return true;
    }
    // One look at the hierarchy serves the three: what is near an end is not much farther from the
    // middle.
    const double half = std::sqrt(
        std::max(Vector::SquaredLength(start - middle), Vector::SquaredLength(end - middle)));
    const double reach = distance + half + RoundingAt<double>(size_ + distance);
    return boxes_.VisitWithin(middle, reach * reach, [&](std::int32_t number) -> bool {
        const auto i = static_cast<std::size_t>(number);
        const Shape& shape = shapes_[i];
        if (!shape.IsNearerThan(distance, middle) && !shape.IsNearerThan(distance, start) &&
            !shape.IsNearerThan(distance, end)) {
            return false;
        }
        hint = i;
        return true;
    });
}

template OffsetSource::OffsetSource(std::span<const PolyArcSegBase<float>>, bool, float);
template OffsetSource::OffsetSource(std::span<const PolyArcSegBase<double>>, bool, double);

} // namespace Velk::Math::Sorvane::Planar::Impl
