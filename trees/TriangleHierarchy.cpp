// The hierarchy of boxes behind the nearest triangle: how it is cut, and how it is searched.
//
// Cut top-down where the surface areas of the two boxes, weighted with their triangles, are least,
// by bins along one axis (I. Wald, "On fast Construction of SAH-based Bounding Volume Hierarchies",
// 2007); two such cuts after each other make a node of four. Searched nearest box first.

#include "trees/TriangleHierarchy_Impl.h"

#include "mathbase/NearestOnTriangle_Impl.h"
#include "trees/SearchTree_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Tree::Impl {

namespace {

using Box = BoxOf<3, double>;

constexpr int kLeafSize = 4;
constexpr int kBinCount = 16;
/// Cuts by area end here; below it halves by number keep the depth logarithmic for any input.
constexpr int kDeepestAreaCut = 24;

/// A triangle on its way to its leaf.
struct Part {
    Box box;
    std::int32_t triangle;
};

struct Range {
    std::size_t first;
    std::size_t last;
    Box box;

    std::size_t Count() const { return last - first; }
};

struct Cut {
    int axis = 0;
    int bin = 0; // the upper side begins here; 0: there is no cut
};

Box BoxOfTriangle(const RankedTriangle& triangle)
{
    return MarginBox({triangle.corner[0], triangle.corner[1], triangle.corner[2]});
}

void Join(Box& box, const Box& other)
{
    for (int i = 0; i < 3; ++i) {
        box.min[i] = std::min(box.min[i], other.min[i]);
        box.max[i] = std::max(box.max[i], other.max[i]);
    }
}

double HalfArea(const Box& box)
{
    const Vec3d extent = box.max - box.min;
    return extent[0] * extent[1] + extent[1] * extent[2] + extent[2] * extent[0];
}

/// Twice the middle along an axis.
double DoubledMiddle(const Box& box, int axis) { return box.min[axis] + box.max[axis]; }

/// Bins of equal width between two (doubled) middles.
class BinScale {
public:
    BinScale(double low, double high) : low_(low), scale_(kBinCount / (high - low)) {}

    bool IsUsable() const { return std::isfinite(scale_) && scale_ > 0; }
    int BinOf(double middle) const
    {
        return std::min(static_cast<int>((middle - low_) * scale_), kBinCount - 1);
    }

private:
    double low_;
    double scale_;
};

} // namespace

class TriangleHierarchy::Builder {
public:
    Builder(const std::vector<RankedTriangle>& triangles, std::vector<Node>& nodes)
        : triangles_(triangles), nodes_(nodes)
    {
        parts_.reserve(triangles.size());
        for (std::size_t i = 0; i < triangles.size(); ++i) {
            parts_.push_back({BoxOfTriangle(triangles[i]), static_cast<std::int32_t>(i)});
        }
    }

    /// The triangles in the order of the leaves.
    std::vector<RankedTriangle> Run()
    {
        Range whole{0, parts_.size(), {}};
        for (const Part& part : parts_) {
            Join(whole.box, part.box);
        }
        nodes_.clear();
        nodes_.reserve(parts_.size() / 6 + 1);
        MakeNode(whole, 0);

        std::vector<RankedTriangle> ordered;
        ordered.reserve(parts_.size());
        for (const Part& part : parts_) {
            ordered.push_back(triangles_[static_cast<std::size_t>(part.triangle)]);
        }
        return ordered;
    }

private:
    std::int32_t MakeNode(const Range& whole, int depth)
    {
        std::array<Range, kWidth> ranges{whole};
        std::size_t count = 1;
        while (count < kWidth) {
            // The largest of those that aren't leaves yet.
            Range* widest = nullptr;
            for (std::size_t i = 0; i < count; ++i) {
                if (ranges[i].Count() > kLeafSize &&
                    (widest == nullptr || HalfArea(ranges[i].box) > HalfArea(widest->box))) {
                    widest = &ranges[i];
                }
            }
            if (widest == nullptr) {
                break;
            }
            std::tie(*widest, ranges[count]) = Divide(*widest, depth);
            ++count;
        }

        const std::size_t number = nodes_.size();
        nodes_.emplace_back();
        for (std::size_t slot = 0; slot < kWidth; ++slot) {
            const Range range = slot < count ? ranges[slot] : Range{0, 0, Box{}};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                nodes_[number].min[axis][slot] = range.box.min[static_cast<int>(axis)];
                nodes_[number].max[axis][slot] = range.box.max[static_cast<int>(axis)];
            }
            const bool isLeaf = range.Count() <= kLeafSize;
            nodes_[number].count[slot] = isLeaf ? static_cast<std::int32_t>(range.Count()) : 0;
            const std::int32_t first =
                isLeaf ? static_cast<std::int32_t>(range.first) : MakeNode(range, depth + 1);
            nodes_[number].first[slot] = first; // only now: the array may have moved
        }
        return static_cast<std::int32_t>(number);
    }

    std::pair<Range, Range> Divide(const Range& range, int depth)
    {
        const auto begin = parts_.begin() + static_cast<std::ptrdiff_t>(range.first);
        const auto end = parts_.begin() + static_cast<std::ptrdiff_t>(range.last);
        Vec3d low = Bounding::Impl::Uniform<3, double>(std::numeric_limits<double>::max());
        Vec3d high = -low;
        for (auto part = begin; part != end; ++part) {
            for (int axis = 0; axis < 3; ++axis) {
                low[axis] = std::min(low[axis], DoubledMiddle(part->box, axis));
                high[axis] = std::max(high[axis], DoubledMiddle(part->box, axis));
            }
        }
        const Vec3d extent = high - low;
        const int axis =
            static_cast<int>(std::max_element(extent.begin(), extent.end()) - extent.begin());
        const BinScale scale(low[axis], high[axis]);
        const int bin =
            depth < kDeepestAreaCut && scale.IsUsable() ? CheapestBin(range, axis, scale) : 0;
        auto middle = begin + (end - begin) / 2;
        if (bin > 0) {
            middle = std::partition(begin, end, [&](const Part& part) {
                return scale.BinOf(DoubledMiddle(part.box, axis)) < bin;
            });
        } else {
            std::nth_element(begin, middle, end, [axis](const Part& a, const Part& b) {
                return DoubledMiddle(a.box, axis) < DoubledMiddle(b.box, axis);
            });
        }
        const auto cut = static_cast<std::size_t>(middle - parts_.begin());
        return {Boxed(range.first, cut), Boxed(cut, range.last)};
    }

    Range Boxed(std::size_t first, std::size_t last) const
    {
        Range range{first, last, {}};
        for (std::size_t i = first; i < last; ++i) {
            Join(range.box, parts_[i].box);
        }
        return range;
    }

    /// First bin of the upper side of the cheapest cut; 0 when none has a finite cost.
    int CheapestBin(const Range& range, int axis, const BinScale& scale) const
    {
        struct Bin {
            Box box;
            int count = 0;
        };
        std::array<Bin, kBinCount> bins;
        for (std::size_t i = range.first; i < range.last; ++i) {
            const Box& box = parts_[i].box;
            Bin& bin = bins[static_cast<std::size_t>(scale.BinOf(DoubledMiddle(box, axis)))];
            Join(bin.box, box);
            ++bin.count;
        }
        // Cost of everything below bin i, then with that of the bins from i on.
        std::array<double, kBinCount> cost{};
        Bin below;
        for (std::size_t i = 1; i < kBinCount; ++i) {
            Join(below.box, bins[i - 1].box);
            below.count += bins[i - 1].count;
            cost[i] = below.count == 0 ? std::numeric_limits<double>::infinity()
                                       : below.count * HalfArea(below.box);
        }
        Bin above;
        int best = 0;
        double least = std::numeric_limits<double>::infinity();
        for (std::size_t i = kBinCount - 1; i > 0; --i) {
            Join(above.box, bins[i].box);
            above.count += bins[i].count;
            const double sum = above.count == 0 ? std::numeric_limits<double>::infinity()
                                                : cost[i] + above.count * HalfArea(above.box);
            if (sum < least) {
                least = sum;
                best = static_cast<int>(i);
            }
        }
        return best;
    }

    const std::vector<RankedTriangle>& triangles_;
    std::vector<Node>& nodes_;
    std::vector<Part> parts_;
};

void TriangleHierarchy::Build(std::vector<RankedTriangle> triangles)
{
    nodes_.clear();
    if (!triangles.empty()) {
        triangles = Builder(triangles, nodes_).Run();
    }
    triangles_ = std::move(triangles);
}

// Nothing that could be the answer is passed over. A triangle's nearest point lies in the box of
// its corners, that in the box with the margin, and that in the boxes of all nodes above it;
// subtraction, squaring and the sum over the axes, in the same order everywhere, are monotonic also
// when they are rounded. So the squared distance of the point, rounded, is never below that of any
// of these boxes, and a box farther than the best so far holds nothing better. Boxes as far as the
// best are still opened, so that the least rank decides between equals, in whatever order they are
// met.
NearestTriangle TriangleHierarchy::Nearest(const Vec3d& point, double radius) const
{
    NearestTriangle best;
    const double squaredRadius = radius * radius;
    if (nodes_.empty() || !(radius > 0) || HasNaN(point)) {
        return best;
    }
    const auto isOpen = [&](double squaredDistance) {
        return squaredDistance < squaredRadius && squaredDistance <= best.squaredDistance;
    };
    const auto measure = [&](const RankedTriangle& triangle) {
        if (!isOpen(SquaredDistance(BoxOfTriangle(triangle), point))) {
            return;
        }
        const Vec3d nearest = Intersect::Impl::NearestOnTriangle(triangle.corner, point);
        const double squared = SquaredLength(nearest - point);
        if (squared <= squaredRadius &&
            (squared < best.squaredDistance ||
             (squared == best.squaredDistance && triangle.rank < best.rank))) {
            best = {nearest, squared, triangle.id, triangle.rank};
        }
    };

    struct Step {
        double squaredDistance;
        std::int32_t first;
        std::int32_t count;
    };
    TraversalStack<Step> stack;
    stack.Push({0.0, 0, 0});
    while (!stack.IsEmpty()) {
        const Step step = stack.Pop();
        if (!isOpen(step.squaredDistance)) {
            continue;
        }
        if (step.count > 0) {
            for (std::int32_t i = step.first; i < step.first + step.count; ++i) {
                measure(triangles_[static_cast<std::size_t>(i)]);
            }
            continue;
        }
        const Node& node = nodes_[static_cast<std::size_t>(step.first)];
        std::array<double, kWidth> squaredDistances{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double coordinate = point[static_cast<int>(axis)];
            for (std::size_t slot = 0; slot < kWidth; ++slot) {
                const double below = node.min[axis][slot] - coordinate;
                const double above = coordinate - node.max[axis][slot];
                const double outside = below > above ? below : above;
                const double gap = outside > 0 ? outside : 0;
                squaredDistances[slot] += gap * gap;
            }
        }
        // The farthest goes to the stack first, so that the nearest is taken next.
        std::array<Step, kWidth> below;
        std::size_t count = 0;
        for (std::size_t slot = 0; slot < kWidth; ++slot) {
            if (!isOpen(squaredDistances[slot])) {
                continue;
            }
            std::size_t place = count++;
            for (; place > 0 && below[place - 1].squaredDistance < squaredDistances[slot];
                 --place) {
                below[place] = below[place - 1];
            }
            below[place] = {squaredDistances[slot], node.first[slot], node.count[slot]};
        }
        for (std::size_t i = 0; i < count; ++i) {
            stack.Push(below[i]);
        }
    }
    return best;
}

} // namespace Velk::Math::Sorvane::Tree::Impl
