// The chain as offsets see it. Distances are compared by their squares; whether a point lies beside
// an arc is told from cross products with its two spokes.

#include "planar/PlanarOffsetSource_Impl.h"

#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>

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

using Box = Bounding::AxisAlignedBoundingBox<2, double>;

Box BoxOf(const SegBase<double>& segment)
{
    const Vec2d& a = segment.start;
    const Vec2d& b = segment.end;
    return {{std::min(a.x(), b.x()), std::min(a.y(), b.y())},
            {std::max(a.x(), b.x()), std::max(a.y(), b.y())}};
}
Box BoxOf(const ArcBase<double>& arc)
{
    const std::array<Vec2d, 2> corners = arc.Bounds();
    return {corners[0], corners[1]};
}

/// Is the element finite, and does it lead anywhere?
template <class T>
bool IsCurve(const ArcSegBase<T>& element)
{
    const ArcBase<T>* const arc = element.AsArc();
    return SizeOf(element) <= Math::Impl::kLargestCoordinate &&
           WideLength(element) > kLengthFloor<double> &&
           WideLength(element) <= Math::Impl::kLargestCoordinate &&
           Math::Impl::IsUsable(element.EndPoint()) &&
           (arc == nullptr || Distance(arc->center, arc->start) > kLengthFloor<double>);
}

/// Middle of the box round the starts of usable elements.
template <class T>
Vec2d MiddleOf(const std::vector<ArcSegBase<T>>& elements)
{
    constexpr double kFar = std::numeric_limits<double>::infinity();
    Vec2d low(kFar, kFar);
    Vec2d high(-kFar, -kFar);
    for (const ArcSegBase<T>& element : elements) {
        if (IsCurve(element)) {
            const Vec2d start = Widened(element.StartPoint());
            for (int axis = 0; axis < 2; ++axis) {
                low[axis] = std::min(low[axis], start[axis]);
                high[axis] = std::max(high[axis], start[axis]);
            }
        }
    }
    return low.x() <= high.x() ? (low + high) * 0.5 : Vec2d();
}

} // namespace

namespace {

/// 1 when a direction turns over the x axis on its way from `a` to `b`, counter-clockwise, -1 when
/// it does clockwise. `sense` has the sign of the turn, which is less than half a turn.
int CrossesAxis(const Vec2d& a, const Vec2d& b, double sense)
{
    const bool isBelow = a.y() < 0;
    if (isBelow == (b.y() < 0)) {
        return 0;
    }
    return isBelow ? (sense > 0 ? 1 : 0) : (sense < 0 ? -1 : 0);
}

/// Directions of travel, of any length.
Vec2d Tangent(const ArcBase<double>& arc, const Vec2d& spoke)
{
    return arc.length < 0 ? Vec2d(spoke.y(), -spoke.x()) : Vec2d(-spoke.y(), spoke.x());
}

} // namespace

/// How often the direction of travel turns counter-clockwise over the direction of the x axis.
int OffsetSource::TurnCount() const
{
    const auto startTangent = [&](std::size_t i) {
        const auto* arc = elements_[i].AsArc();
        return arc != nullptr ? Tangent(*arc, shapes_[i].start - arc->center)
                              : shapes_[i].end - shapes_[i].start;
    };
    int turns = 0;
    for (std::size_t i = 0; i < elements_.size(); ++i) {
        const Vec2d start = startTangent(i);
        Vec2d end = start;
        if (const auto* arc = elements_[i].AsArc()) {
            // In thirds of a turn at most.
            end = Tangent(*arc, shapes_[i].end - arc->center);
            const double sweep = arc->length / shapes_[i].radius;
            const int steps = static_cast<int>(std::min(std::fabs(sweep) / 2.0, 64.0)) + 1;
            Vec2d before = start;
            for (int step = 1; step <= steps; ++step) {
                Vec2d next = end;
                if (step < steps) {
                    const double angle = sweep * step / steps;
                    const double c = std::cos(angle);
                    const double s = std::sin(angle);
                    next = {c * start.x() - s * start.y(), s * start.x() + c * start.y()};
                }
                turns += CrossesAxis(before, next, sweep);
                before = next;
            }
        }
        const Vec2d after = startTangent(i + 1 < elements_.size() ? i + 1 : 0);
        turns += CrossesAxis(end, after, end ^ after);
    }
    return turns;
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
OffsetSource::OffsetSource(const PolyArcSegBase<T>& chain, bool isReversed, T tol)
    : center_(MiddleOf(chain.elements))
{
    elements_.reserve(chain.elements.size());
    double farthest = 0.0;
    for (const ArcSegBase<T>& element : chain.elements) {
        if (IsCurve(element)) {
            elements_.push_back(
                element.Visit([&](const auto& e) { return Moved(Wide(e), -center_); }));
            farthest = std::max(farthest, SizeOf(element));
        }
    }
    if (isReversed) {
        std::reverse(elements_.begin(), elements_.end());
        for (ArcSegBase<double>& element : elements_) {
            element.Reverse();
        }
    }

    std::vector<Box> boxes;
    boxes.reserve(elements_.size());
    shapes_.reserve(elements_.size());
    for (const ArcSegBase<double>& element : elements_) {
        shapes_.push_back(ShapeOf(element));
        size_ = std::max(size_, SizeOf(element));
        boxes.push_back(element.Visit([](const auto& e) { return BoxOf(e); }));
    }
    const double rounding = RoundingAt<double>(size_);
    for (Box& box : boxes) {
        box.min -= Vec2d(rounding, rounding);
        box.max += Vec2d(rounding, rounding);
    }
    boxes_ = Tree::Impl::BoxHierarchy<2, double>(boxes, Tree::Impl::HierarchyCut::Order);

    // Ends of arcs are derived in T by whoever laid the chain, where the chain itself is.
    const double closing =
        std::max(static_cast<double>(AtLeastZero(chain.tolerance)), RoundingAt<T>(farthest));
    const double reach = std::max(static_cast<double>(AtLeastZero(tol)), closing);
    isClosed_ = !elements_.empty();
    for (std::size_t i = 0; i < elements_.size(); ++i) {
        const std::size_t before = i > 0 ? i - 1 : elements_.size() - 1;
        const double gap = Distance(shapes_[before].end, shapes_[i].start);
        shapes_[i].isJoined = gap <= (i > 0 ? reach : closing);
        isClosed_ = isClosed_ && shapes_[i].isJoined;
        if (shapes_[i].isJoined) {
            jointGap_ = std::max(jointGap_, gap);
        }
    }
    turnCount_ = isClosed_ ? TurnCount() : 0;
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

template OffsetSource::OffsetSource(const PolyArcSegBase<float>&, bool, float);
template OffsetSource::OffsetSource(const PolyArcSegBase<double>&, bool, double);

} // namespace Velk::Math::Sorvane::Planar::Impl
