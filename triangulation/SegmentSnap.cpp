// Points that lie near each other ask a hierarchy of the segments' boxes together: once for the box
// around them, and then each among what that found.

#include "triangulation/SegmentSnap_Impl.h"

#include "mathbase/Buckets_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "trees/BoxHierarchy_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

using Segment = Geometry::SegBase<double>;
using Box = Bounding::AxisAlignedBoundingBox<2, double>;
using Hierarchy = Tree::Impl::BoxHierarchy<2, double>;

constexpr double kBoxMargin = 1e-10;
constexpr Math::Impl::ShortSegments kShort = Math::Impl::ShorterThan(1e-12);
constexpr int kLeafSize = 2;
constexpr std::size_t kMostCandidates = 32;
constexpr std::size_t kPointsPerCell = 8;

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

double SquaredDistance(const Box& box, const Box& other)
{
    double sum = 0;
    for (int axis = 0; axis < 2; ++axis) {
        const double gap =
            std::max({box.min[axis] - other.max[axis], other.min[axis] - box.max[axis], 0.0});
        sum += gap * gap;
    }
    return sum;
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
    Nearest(const Vec2d& point, double squaredRadius)
        : point_(point), squaredRadius_(squaredRadius), best_{point, -1}
    {
    }

    void Consider(int number, const Box& box, const Segment& segment)
    {
        if (!(Tree::Impl::SquaredDistance(box, point_) < squaredRadius_)) {
            return;
        }
        const Vec2d on =
            Math::Impl::NearestOnSegment(segment.start, segment.end, point_, kShort);
        const double squared = SquaredLength(on - point_);
        if (best_.segment < 0 || squared < least_ ||
            (squared == least_ && number < best_.segment)) {
            best_ = {on, number};
            least_ = squared;
        }
    }

    /// May a segment whose box is that far away be better?
    bool IsOpen(double squared) const
    {
        return squared < squaredRadius_ && (best_.segment < 0 || squared <= least_);
    }

    const NearestOnSegment& Best() const { return best_; }

private:
    Vec2d point_;
    double squaredRadius_;
    NearestOnSegment best_;
    double least_ = 0;
};

/// Points by the cells of a square grid over their box.
Math::Impl::Buckets<int, int> PointsByCell(const std::vector<Vec2d>& points)
{
    Box box;
    for (const Vec2d& p : points) {
        Include(box, p);
    }
    const double side = std::sqrt(static_cast<double>(points.size()) / kPointsPerCell);
    const std::size_t cellsPerAxis = static_cast<std::size_t>(side) + 1;
    const auto cell = [&](const Vec2d& p, int axis) {
        const double share = (p[axis] - box.min[axis]) / (box.max[axis] - box.min[axis]);
        // In this form for what is no number, too.
        const double place = share > 0 ? std::min(share, 1.0) * side : 0.0;
        return std::min(static_cast<std::size_t>(place), cellsPerAxis - 1);
    };
    return Math::Impl::NumbersInBuckets(
        cellsPerAxis * cellsPerAxis, points.size(),
        [&](std::size_t i) { return cell(points[i], 1) * cellsPerAxis + cell(points[i], 0); });
}

} // namespace

std::vector<NearestOnSegment> NearestOnSegments(const std::vector<Segment>& segments,
                                                const std::vector<Vec2d>& points, double radius)
{
    std::vector<Box> boxes(segments.size());
    std::transform(segments.begin(), segments.end(), boxes.begin(), GrownBox);
    const Hierarchy hierarchy(boxes, Tree::Impl::HierarchyCut::Area, kLeafSize);
    const double squaredRadius = radius * radius;
    const auto cells = PointsByCell(points);
    std::vector<NearestOnSegment> nearest(points.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, cells.BucketCount(), [&](std::size_t from, std::size_t to) {
            std::vector<int> candidates;
            for (std::size_t cell = from; cell < to; ++cell) {
                Box around;
                for (const int i : cells[cell]) {
                    Include(around, points[static_cast<std::size_t>(i)]);
                }
                candidates.clear();
                const auto isNear = [&](const Box& box) {
                    return SquaredDistance(box, around) < squaredRadius;
                };
                const bool areMany = hierarchy.Visit(isNear, [&](int segment) {
                    candidates.push_back(segment);
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
                            point, [&](double squared) { return best.IsOpen(squared); }, consider);
                    } else {
                        std::for_each(candidates.begin(), candidates.end(), consider);
                    }
                    nearest[static_cast<std::size_t>(i)] = best.Best();
                }
            }
        });
    return nearest;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
