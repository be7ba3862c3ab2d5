// A tree of boxes over the segments, halved at the median of the longer side, in one array: the
// children of node k are 2k + 1 and 2k + 2.

#include "triangulation/SegmentSnap_Impl.h"

#include "mathbase/Parallel_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <span>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

using Segment = Geometry::SegBase<double>;

constexpr double kBoxMargin = 1e-10;
constexpr double kSquaredPointLength = 1e-24;
constexpr int kLeafSize = 4;
constexpr std::size_t kMostCandidates = 32;
constexpr std::size_t kPointsPerCell = 8;

struct Box {
    Vec2d low{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
    Vec2d high{-std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};

    void Add(const Box& other)
    {
        for (int axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], other.low[axis]);
            high[axis] = std::max(high[axis], other.high[axis]);
        }
    }

    /// To another box; a box may be a point.
    double SquaredDistance(const Box& other) const
    {
        double sum = 0;
        for (int axis = 0; axis < 2; ++axis) {
            const double beyond =
                std::max(std::max(low[axis] - other.high[axis], other.low[axis] - high[axis]), 0.0);
            sum += beyond * beyond;
        }
        return sum;
    }

    double SquaredDistance(const Vec2d& p) const
    {
        double sum = 0;
        for (int axis = 0; axis < 2; ++axis) {
            const double beyond =
                std::max(std::max(low[axis] - p[axis], p[axis] - high[axis]), 0.0);
            sum += beyond * beyond;
        }
        return sum;
    }
};

Box GrownBox(const Segment& segment)
{
    Box box;
    for (int axis = 0; axis < 2; ++axis) {
        const auto [low, high] = std::minmax(segment.start[axis], segment.end[axis]);
        box.low[axis] = low - kBoxMargin;
        box.high[axis] = high + kBoxMargin;
    }
    return box;
}

Vec2d NearestPoint(const Segment& segment, const Vec2d& p)
{
    const Vec2d d = segment.end - segment.start;
    const double squared = d * d;
    const double t = squared <= kSquaredPointLength ? 0.0 : ((p - segment.start) * d) / squared;
    // start + 1 * (end - start) is not the end, by a rounding that is wider than the floor far from
    // the origin: the corner of the outline would become two.
    if (t >= 1) {
        return segment.end;
    }
    return segment.start + std::max(t, 0.0) * d;
}

class BoxTree {
public:
    explicit BoxTree(const std::vector<Segment>& segments)
        : segments_(segments), order_(segments.size()), boxes_(segments.size())
    {
        std::iota(order_.begin(), order_.end(), 0);
        std::transform(segments.begin(), segments.end(), boxes_.begin(), GrownBox);
        Build(0, 0, static_cast<int>(segments.size()));
    }

    NearestOnSegment Nearest(const Vec2d& p, double squaredRadius) const
    {
        NearestOnSegment best{p, -1};
        double least = 0;
        VisitNear({p, p}, squaredRadius, [&](int segment) {
            Consider(segment, p, squaredRadius, best, least);
            return true;
        });
        return best;
    }

    /// The segments that may be nearest to a point within `box`; false when they are too many.
    bool FindCandidates(const Box& box, double squaredRadius, std::vector<int>& candidates) const
    {
        candidates.clear();
        return VisitNear(box, squaredRadius, [&](int segment) {
            if (BoxOf(segment).SquaredDistance(box) < squaredRadius) {
                candidates.push_back(segment);
            }
            return candidates.size() < kMostCandidates;
        });
    }

    NearestOnSegment NearestAmong(const std::vector<int>& candidates, const Vec2d& p,
                                  double squaredRadius) const
    {
        NearestOnSegment best{p, -1};
        double least = 0;
        for (const int segment : candidates) {
            Consider(segment, p, squaredRadius, best, least);
        }
        return best;
    }

private:
    struct Range {
        std::size_t node;
        int first;
        int last;
        bool IsLeaf() const { return last - first <= kLeafSize; }
        int Middle() const { return first + (last - first) / 2; }
    };

    const Box& BoxOf(int segment) const { return boxes_[static_cast<std::size_t>(segment)]; }

    void Build(std::size_t node, int first, int last)
    {
        const Range range{node, first, last};
        Box box;
        for (int k = first; k < last; ++k) {
            box.Add(BoxOf(order_[static_cast<std::size_t>(k)]));
        }
        if (node >= nodes_.size()) {
            nodes_.resize(node + 1);
        }
        nodes_[node] = box;
        if (range.IsLeaf()) {
            return;
        }
        const int axis = box.high.x() - box.low.x() >= box.high.y() - box.low.y() ? 0 : 1;
        const auto at = [&](int k) { return order_.begin() + k; };
        std::nth_element(at(first), at(range.Middle()), at(last), [&](int a, int b) {
            const double centerA = BoxOf(a).low[axis] + BoxOf(a).high[axis];
            const double centerB = BoxOf(b).low[axis] + BoxOf(b).high[axis];
            return centerA != centerB ? centerA < centerB : a < b;
        });
        Build(2 * node + 1, first, range.Middle());
        Build(2 * node + 2, range.Middle(), last);
    }

    /// Calls visit(segment) for those of the leaves near the box, until it says no; false then.
    template <class Visit>
    bool VisitNear(const Box& box, double squaredRadius, Visit visit) const
    {
        std::array<Range, 64> open; // the depth is the logarithm of the count
        std::size_t count = 0;
        open[count++] = {0, 0, static_cast<int>(order_.size())};
        while (count > 0) {
            const Range range = open[--count];
            if (!(nodes_[range.node].SquaredDistance(box) < squaredRadius)) {
                continue;
            }
            if (!range.IsLeaf()) {
                const int middle = range.Middle();
                open[count++] = {2 * range.node + 1, range.first, middle};
                open[count++] = {2 * range.node + 2, middle, range.last};
                continue;
            }
            for (int k = range.first; k < range.last; ++k) {
                if (!visit(order_[static_cast<std::size_t>(k)])) {
                    return false;
                }
            }
        }
        return true;
    }

    void Consider(int segment, const Vec2d& p, double squaredRadius, NearestOnSegment& best,
                  double& least) const
    {
        if (!(BoxOf(segment).SquaredDistance(p) < squaredRadius)) {
            return;
        }
        const Vec2d point = NearestPoint(segments_[static_cast<std::size_t>(segment)], p);
        const double squared = SquaredLength(point - p);
        if (best.segment < 0 || squared < least || (squared == least && segment < best.segment)) {
            best = {point, segment};
            least = squared;
        }
    }

    const std::vector<Segment>& segments_;
    std::vector<int> order_;
    std::vector<Box> boxes_; // by segment
    std::vector<Box> nodes_;
};

/// Points by the cells of a square grid over their box: neighbors ask the tree together.
class PointCells {
public:
    explicit PointCells(const std::vector<Vec2d>& points) : order_(points.size())
    {
        Box box;
        for (const Vec2d& p : points) {
            box.Add({p, p});
        }
        const double side = std::sqrt(static_cast<double>(points.size()) / kPointsPerCell);
        const auto cellsPerAxis = static_cast<std::size_t>(side) + 1;
        const auto place = [&](const Vec2d& p, int axis) {
            const double share = (p[axis] - box.low[axis]) / (box.high[axis] - box.low[axis]);
            const double cell = share * static_cast<double>(cellsPerAxis);
            // In this form for what is no number, too.
            return cell > 0
                       ? std::min(static_cast<std::size_t>(std::min(cell, side)), cellsPerAxis - 1)
                       : std::size_t{0};
        };
        std::vector<std::size_t> cellOf(points.size());
        firstOf_.assign(cellsPerAxis * cellsPerAxis + 1, 0);
        for (std::size_t i = 0; i < points.size(); ++i) {
            cellOf[i] = place(points[i], 1) * cellsPerAxis + place(points[i], 0);
            ++firstOf_[cellOf[i] + 1];
        }
        std::partial_sum(firstOf_.begin(), firstOf_.end(), firstOf_.begin());
        std::vector<std::size_t> next(firstOf_.begin(), firstOf_.end() - 1);
        for (std::size_t i = 0; i < points.size(); ++i) {
            order_[next[cellOf[i]]++] = i;
        }
    }

    std::size_t Count() const { return firstOf_.size() - 1; }
    std::span<const std::size_t> PointsOf(std::size_t cell) const
    {
        return std::span(order_).subspan(firstOf_[cell], firstOf_[cell + 1] - firstOf_[cell]);
    }

private:
    std::vector<std::size_t> firstOf_;
    std::vector<std::size_t> order_;
};

} // namespace

std::vector<NearestOnSegment> NearestOnSegments(const std::vector<Segment>& segments,
                                                const std::vector<Vec2d>& points, double radius)
{
    std::vector<NearestOnSegment> nearest(points.size());
    if (segments.empty()) {
        std::transform(points.begin(), points.end(), nearest.begin(), [](const Vec2d& p) {
            return NearestOnSegment{p, -1};
        });
        return nearest;
    }
    const BoxTree tree(segments);
    const double squaredRadius = radius * radius;
    const PointCells cells(points);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, cells.Count(), [&](std::size_t from, std::size_t to) {
            std::vector<int> candidates;
            for (std::size_t cell = from; cell < to; ++cell) {
                Box box;
                for (const std::size_t i : cells.PointsOf(cell)) {
                    box.Add({points[i], points[i]});
                }
                const bool areFew = tree.FindCandidates(box, squaredRadius, candidates);
                for (const std::size_t i : cells.PointsOf(cell)) {
                    nearest[i] = areFew ? tree.NearestAmong(candidates, points[i], squaredRadius)
                                        : tree.Nearest(points[i], squaredRadius);
                }
            }
        });
    return nearest;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
