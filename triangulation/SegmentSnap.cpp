// A tree of boxes over the segments, halved at the median of the longer side, in one array: the
// children of node k are 2k + 1 and 2k + 2.

#include "triangulation/SegmentSnap_Impl.h"

#include "mathbase/Parallel_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

using Segment = Geometry::SegBase<double>;

constexpr double kBoxMargin = 1e-10;
constexpr double kSquaredPointLength = 1e-24;
constexpr int kLeafSize = 4;

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
    return segment.start + std::clamp(t, 0.0, 1.0) * d;
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
        std::array<Range, 64> open; // the depth is the logarithm of the count
        std::size_t count = 0;
        // Whether a box is near is a toss-up: it counts as taken or not, without a branch.
        const auto take = [&](const Range& range) {
            open[count] = range;
            count += nodes_[range.node].SquaredDistance(p) < squaredRadius ? 1U : 0U;
        };
        take({0, 0, static_cast<int>(order_.size())});
        while (count > 0) {
            const Range range = open[--count];
            if (range.IsLeaf()) {
                Consider(range, p, squaredRadius, best, least);
            } else {
                const int middle = range.Middle();
                take({2 * range.node + 1, range.first, middle});
                take({2 * range.node + 2, middle, range.last});
            }
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

    void Consider(const Range& range, const Vec2d& p, double squaredRadius, NearestOnSegment& best,
                  double& least) const
    {
        for (int k = range.first; k < range.last; ++k) {
            const int segment = order_[static_cast<std::size_t>(k)];
            if (!(BoxOf(segment).SquaredDistance(p) < squaredRadius)) {
                continue;
            }
            const Vec2d point = NearestPoint(segments_[static_cast<std::size_t>(segment)], p);
            const double squared = SquaredLength(point - p);
            if (best.segment < 0 || squared < least ||
                (squared == least && segment < best.segment)) {
                best = {point, segment};
                least = squared;
            }
        }
    }

    const std::vector<Segment>& segments_;
    std::vector<int> order_;
    std::vector<Box> boxes_; // by segment
    std::vector<Box> nodes_;
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
    Parallel::Impl::ApplyParallelChunks(std::size_t{0}, points.size(),
                                        [&](std::size_t from, std::size_t to) {
                                            for (std::size_t i = from; i < to; ++i) {
                                                nearest[i] = tree.Nearest(points[i], squaredRadius);
                                            }
                                        });
    return nearest;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
