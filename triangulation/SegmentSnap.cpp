// Points that lie near each other ask a hierarchy of the segments' boxes together: once for the box
// around them, and then each among what that found.

#include "triangulation/SegmentSnap_Impl.h"

#include "mathbase/Buckets_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "trees/BoxHierarchy_Impl.h"
#include "triangulation/CurveOrder_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

using Segment = Geometry::SegBase<double>;
using Box = Bounding::AxisAlignedBoundingBox<2, double>;
using Hierarchy = Tree::Impl::BoxHierarchy<2, double>;

constexpr double kBoxMargin = 1e-10;
constexpr Math::Impl::ShortSegments kShort = Math::Impl::ShorterThan(1e-12);
constexpr std::size_t kMostCandidates = 32;
constexpr std::size_t kPointsPerCell = 16;

Box GrownBox(const Segment& segment)
{
    Box box;
    for (int axis = 0; axis < 2; ++axis) {
        const auto [low, high] = std::minmax(segment.start[axis], segment.end[axis]);
        box.min[axis] = low - kBoxMargin;
        box.max[axis] = high + kBoxMargin;
    }
    return box;
}

void Include(Box& box, const Vec2d& p)
{
    for (int axis = 0; axis < 2; ++axis) {
        box.min[axis] = std::min(box.min[axis], p[axis]);
        box.max[axis] = std::max(box.max[axis], p[axis]);
    }
}

/// The nearest so far of the segments whose boxes come near enough to a point.
class Nearest {
public:
    Nearest(const Vec2d& point, double squaredRadius) : point_(point), squaredRadius_(squaredRadius)
    {
    }

    void Consider(int number, const Box& box, const Segment& segment)
    {
        if (!(Tree::Impl::SquaredDistance(box, point_) < squaredRadius_)) {
            return;
        }
        const double squared =
            Math::Impl::SquaredDistanceToSegment(segment.start, segment.end, point_, kShort);
        if (best_ < 0 || squared < least_ || (squared == least_ && number < best_)) {
            best_ = number;
            least_ = squared;
        }
    }

    /// May a segment whose box is that far away be better?
    bool IsOpen(double squared) const
    {
        return squared < squaredRadius_ && (best_ < 0 || squared <= least_);
    }

    int Best() const { return best_; }

private:
    Vec2d point_;
    double squaredRadius_;
    int best_ = -1;
    double least_ = 0;
};

Box BoxAround(const std::vector<Vec2d>& points)
{
    Box box;
    for (const Vec2d& p : points) {
        Include(box, p);
    }
    return box;
}

/// Points by the cells of a square grid over their box.
Math::Impl::Buckets<int, int> PointsByCell(const std::vector<Vec2d>& points)
{
    const Box box = BoxAround(points);
    const double side = std::sqrt(static_cast<double>(points.size()) / kPointsPerCell);
    const int cellsPerAxis = static_cast<int>(side) + 1;
    const Vec2d extent = box.max - box.min;
    const Vec2d cellsPerUnit(side / extent.x(), side / extent.y());
    const auto cell = [&](const Vec2d& p, int axis) {
        const double place = (p[axis] - box.min[axis]) * cellsPerUnit[axis];
        // In this form for what is no number, too.
        return place > 0 ? static_cast<int>(std::min(place, side)) : 0;
    };
    std::vector<int> cells(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        cells[i] = cell(points[i], 1) * cellsPerAxis + cell(points[i], 0);
    }
    return Math::Impl::NumbersInBuckets(static_cast<std::size_t>(cellsPerAxis) *
                                            static_cast<std::size_t>(cellsPerAxis),
                                        points.size(), [&](std::size_t i) { return cells[i]; });
}

/// The segments' numbers along a space-filling curve through their middles: a hierarchy that halves
/// such a list is nearly as good as one that looks for the best cuts, and made in a fraction of the
/// time.
std::vector<int> OrderAlongCurve(const std::vector<Box>& boxes)
{
    std::vector<Vec2d> middles;
    middles.reserve(boxes.size());
    for (const Box& box : boxes) {
        middles.push_back(0.5 * (box.min + box.max));
    }
    std::vector<int> order;
    order.reserve(boxes.size());
    for (const auto& place : HalfEdge::Impl::PlacesAlongCurve<std::uint32_t>(middles)) {
        order.push_back(place.point);
    }
    return order;
}

} // namespace

std::vector<int> NearestSegments(const std::vector<Segment>& segments,
                                 const std::vector<Vec2d>& points, double radius)
{
    std::vector<Box> boxes(segments.size());
    std::transform(segments.begin(), segments.end(), boxes.begin(), GrownBox);
    const std::vector<int> order = OrderAlongCurve(boxes);
    std::vector<Box> ordered;
    ordered.reserve(boxes.size());
    for (const int number : order) {
        ordered.push_back(boxes[static_cast<std::size_t>(number)]);
    }
    const Hierarchy hierarchy(ordered, Tree::Impl::HierarchyCut::Order);
    const double squaredRadius = radius * radius;
    const Vec2d reach(std::fabs(radius), std::fabs(radius));
    const auto cells = PointsByCell(points);
    std::vector<int> nearest(points.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, cells.BucketCount(), [&](std::size_t from, std::size_t to) {
            std::vector<int> candidates;
            for (std::size_t cell = from; cell < to; ++cell) {
                Box around;
                for (const int i : cells[cell]) {
                    Include(around, points[static_cast<std::size_t>(i)]);
                }
                candidates.clear();
                const bool areMany = hierarchy.VisitMeeting(
                    {around.min - reach, around.max + reach}, [&](int place) {
                        candidates.push_back(order[static_cast<std::size_t>(place)]);
                        return candidates.size() > kMostCandidates;
                    });
                for (const int i : cells[cell]) {
                    const Vec2d& point = points[static_cast<std::size_t>(i)];
                    Nearest best(point, squaredRadius);
                    const auto consider = [&](int number) {
                        const auto n = static_cast<std::size_t>(number);
                        best.Consider(number, boxes[n], segments[n]);
                    };
                    if (areMany) {
                        hierarchy.VisitNearest(
                            point, [&](double squared) { return best.IsOpen(squared); },
                            [&](int place) { consider(order[static_cast<std::size_t>(place)]); });
                    } else {
                        std::for_each(candidates.begin(), candidates.end(), consider);
                    }
                    nearest[static_cast<std::size_t>(i)] = best.Best();
                }
            }
        });
    return nearest;
}

Vec2d NearestOnSegment(const Segment& segment, const Vec2d& point)
{
    return Math::Impl::NearestOnSegment(segment.start, segment.end, point, kShort);
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
