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
/// Sine of a triangle's least angle below which its nearest point may be far off.
constexpr double kNeedleSine = 1e-6;
/// What a distance calculated in `float` may be off by, as a fraction of the largest coordinate of
/// the point (at least 1) in the frame. By counting some 100 units of 2^-24: 7 for the coordinates,
/// 55 for a distance to a side, 20 for the decision that the point lies over the triangle.
constexpr double kFloatError = 256 * 0x1p-24;
/// What coordinates far from the origin are off by themselves, as a fraction of the largest.
constexpr double kCoordinateError = 64 * std::numeric_limits<double>::epsilon();
/// Beyond this distance in the frame `float` tells nothing.
constexpr double kFarthest = 0x1p30;
/// More than the rounding of the last few operations on a limit.
constexpr double kRoundUp = 1 + 0x1p-20;
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
    Builder(const std::vector<RankedTriangle>& triangles, std::vector<Node>& nodes,
            std::vector<Leaf>& leaves)
        : triangles_(triangles), nodes_(nodes), leaves_(leaves)
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
        nodes_.reserve(parts_.size() / 6 + 1);
        leaves_.reserve(parts_.size() / 2 + 1);
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
                nodes_[number].min[axis][slot / 2][slot % 2] =
                    range.box.min[static_cast<int>(axis)];
                nodes_[number].max[axis][slot / 2][slot % 2] =
                    range.box.max[static_cast<int>(axis)];
            }
            const bool isLeaf = range.Count() <= kLeafSize;
            const std::int32_t child = isLeaf ? ~AddLeaf(range) : MakeNode(range, depth + 1);
            nodes_[number].child[slot] = child; // only now: the array may have moved
        }
        return static_cast<std::int32_t>(number);
    }

    std::int32_t AddLeaf(const Range& range)
    {
        if (range.Count() == 0) {
            return 0; // behind an inverted box
        }
        Leaf leaf{};
        leaf.first = static_cast<std::int32_t>(range.first);
        leaf.count = static_cast<std::int32_t>(range.Count());
        leaves_.push_back(leaf);
        return static_cast<std::int32_t>(leaves_.size()) - 1;
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
    std::vector<Leaf>& leaves_;
    std::vector<Part> parts_;
};

void TriangleHierarchy::Build(std::vector<RankedTriangle> triangles)
{
    nodes_.clear();
    leaves_.clear();
    triangles_.clear();
    if (triangles.empty()) {
        return;
    }
    frame_ = FrameOf(triangles);
    triangles_ = Builder(triangles, nodes_, leaves_).Run();
    for (Leaf& leaf : leaves_) {
        FillLeaf(leaf);
    }
}

TriangleHierarchy::Frame TriangleHierarchy::FrameOf(const std::vector<RankedTriangle>& triangles)
{
    Box whole;
    for (const RankedTriangle& triangle : triangles) {
        Join(whole, BoxOfTriangle(triangle));
    }
    Frame frame;
    frame.origin = (whole.min + whole.max) * 0.5;
    double half = 0;
    for (int axis = 0; axis < 3; ++axis) {
        half = std::max(
            {half, whole.max[axis] - frame.origin[axis], frame.origin[axis] - whole.min[axis]});
        frame.largest =
            std::max({frame.largest, std::fabs(whole.min[axis]), std::fabs(whole.max[axis])});
    }
    frame.scale = half > 0 ? std::ldexp(1.0, std::min(-std::ilogb(half) - 1, 1000)) : 1.0;
    return frame;
}

void TriangleHierarchy::FillLeaf(Leaf& leaf) const
{
    for (std::int32_t lane = 0; lane < leaf.count; ++lane) {
        const auto slot = static_cast<std::size_t>(lane);
        const RankedTriangle& triangle = triangles_[static_cast<std::size_t>(leaf.first) + slot];
        std::array<Vec3d, 3> corner;
        for (std::size_t k = 0; k < 3; ++k) {
            corner[k] = frame_(triangle.corner[k]);
        }
        std::array<double, 3> squaredSides{SquaredLength(corner[1] - corner[0]),
                                           SquaredLength(corner[2] - corner[1]),
                                           SquaredLength(corner[0] - corner[2])};
        std::sort(squaredSides.begin(), squaredSides.end());
        Vec3d normal = Intersect::Impl::NormalOf(corner[1] - corner[0], corner[2] - corner[0]);
        const bool isNeedle =
            !(normal * normal > kNeedleSine * kNeedleSine * (squaredSides[1] * squaredSides[2]));
        normal = isNeedle ? Vec3d{} : normal / std::sqrt(normal * normal);
        leaf.trust[slot] = isNeedle ? 0.0F : 1.0F;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const int i = static_cast<int>(axis);
            leaf.normal[axis][slot] = static_cast<float>(normal[i]);
            for (std::size_t k = 0; k < 3; ++k) {
                leaf.corner[k][axis][slot] = static_cast<float>(corner[k][i]);
            }
        }
    }
}

// --- search -------------------------------------------------------------------------------------

namespace {

/// Vectors of four triangles.
struct Vec3x4 {
    Float4 x, y, z;

    friend Vec3x4 operator-(const Vec3x4& a, const Vec3x4& b)
    {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    friend Float4 operator*(const Vec3x4& a, const Vec3x4& b)
    {
        return a.x * b.x + a.y * b.y + a.z * b.z;
    }
    friend Vec3x4 operator^(const Vec3x4& a, const Vec3x4& b)
    {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }
};

template <class Lanes>
Lanes Lesser(Lanes a, Lanes b)
{
    return a < b ? a : b;
}

template <class Lanes>
Lanes Greater(Lanes a, Lanes b)
{
    return a > b ? a : b;
}

/// Squared distance of the origin to the segment from `a` along `ab`.
Float4 SquaredDistanceToSide(const Vec3x4& a, const Vec3x4& ab)
{
    constexpr Float4 kZero{0, 0, 0, 0};
    constexpr Float4 kOne{1, 1, 1, 1};
    constexpr Float4 kTiny{1e-30F, 1e-30F, 1e-30F, 1e-30F}; // of sides without length
    const Float4 place = -(a * ab) / Greater(ab * ab, kTiny);
    const Float4 t = Lesser(Greater(place, kZero), kOne);
    const Vec3x4 nearest{a.x + t * ab.x, a.y + t * ab.y, a.z + t * ab.z};
    return nearest * nearest;
}

} // namespace

/// Without branches. Over the triangle the distance is that to its plane, elsewhere that to the
/// nearest side. The sides alone give too much where a point over the triangle is taken for one
/// beside it; that happens only within rounding of a side, as the normal was made in `double`.
Float4 TriangleHierarchy::SquaredDistances(const Leaf& leaf, const VecBase<3, float>& point)
{
    const auto fromPoint = [&](std::size_t k) {
        const auto& [x, y, z] = leaf.corner[k];
        return Vec3x4{x - point[0], y - point[1], z - point[2]};
    };
    const Vec3x4 normal{leaf.normal[0], leaf.normal[1], leaf.normal[2]};
    const Vec3x4 a = fromPoint(0);
    const Vec3x4 b = fromPoint(1);
    const Vec3x4 c = fromPoint(2);
    const Vec3x4 ab = b - a;
    const Vec3x4 bc = c - b;
    const Vec3x4 ca = a - c;
    const Float4 sides = Lesser(SquaredDistanceToSide(a, ab),
                                Lesser(SquaredDistanceToSide(b, bc), SquaredDistanceToSide(c, ca)));
    // Of the three signed distances to the sides the outermost, times the length of that side.
    const Float4 outward =
        Greater((normal ^ ab) * a, Greater((normal ^ bc) * b, (normal ^ ca) * c));
    const Float4 height = normal * a;
    constexpr Float4 kZero{0, 0, 0, 0};
    return leaf.trust * (outward < kZero ? height * height : sides);
}

/// One search.
///
/// Nothing that could be the answer is passed over. A triangle's nearest point lies in the box of
/// its corners, that in the box with the margin, and that in the boxes of all nodes above it;
/// subtraction, squaring and the sum over the axes, in the same order everywhere, are monotonic
/// also when they are rounded. So the squared distance of the point, rounded, is never below that
/// of any of these boxes, and a box farther than the best so far holds nothing better. Boxes as far
/// as the best are still opened, so that the least rank decides between equals, in whatever order
/// they are met. In a leaf a triangle is passed over only if its distance in `float` exceeds the
/// best by more than what that distance, and the exact one, may be off by.
class TriangleHierarchy::Search {
public:
    Search(const TriangleHierarchy& hierarchy, const Vec3d& point, double squaredRadius)
        : hierarchy_(hierarchy), point_(point), squaredRadius_(squaredRadius)
    {
        const Vec3d local = hierarchy.frame_(point);
        double reach = 1;
        double largest = hierarchy.frame_.largest;
        for (int axis = 0; axis < 3; ++axis) {
            reach = std::max(reach, std::fabs(local[axis]));
            largest = std::max(largest, std::fabs(point[axis]));
        }
        isFar_ = !(reach <= kFarthest);
        local_ = isFar_ ? VecBase<3, float>() : VecBase<3, float>(local);
        error_ = reach * kFloatError + largest * hierarchy.frame_.scale * kCoordinateError;
        UpdateLimit();
    }

    NearestTriangle Run()
    {
        TraversalStack<Step> stack;
        stack.Push({0.0, 0});
        while (!stack.IsEmpty()) {
            const Step step = stack.Pop();
            if (!IsOpen(step.squaredDistance)) {
                continue;
            }
            if (step.child < 0) {
                VisitLeaf(hierarchy_.leaves_[static_cast<std::size_t>(~step.child)]);
            } else {
                VisitNode(hierarchy_.nodes_[static_cast<std::size_t>(step.child)], stack);
            }
        }
        return best_;
    }

private:
    struct Step {
        double squaredDistance;
        std::int32_t child; // as in a node
    };

    bool IsOpen(double squaredDistance) const
    {
        return squaredDistance < squaredRadius_ && squaredDistance <= best_.squaredDistance;
    }

    void VisitNode(const Node& node, TraversalStack<Step>& stack) const
    {
        std::array<Double2, kWidth / 2> halves{};
        constexpr Double2 kZero{0, 0};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double coordinate = point_[static_cast<int>(axis)];
            for (std::size_t half = 0; half < kWidth / 2; ++half) {
                const Double2 gap = Greater(kZero, Greater(node.min[axis][half] - coordinate,
                                                           coordinate - node.max[axis][half]));
                halves[half] += gap * gap;
            }
        }
        const std::array<double, kWidth> squaredDistances{halves[0][0], halves[0][1], halves[1][0],
                                                          halves[1][1]};
        // The farthest goes to the stack first, so that the nearest is taken next.
        std::array<Step, kWidth> steps;
        std::size_t count = 0;
        for (std::size_t slot = 0; slot < kWidth; ++slot) {
            if (!IsOpen(squaredDistances[slot])) {
                continue;
            }
            std::size_t place = count++;
            for (; place > 0 && steps[place - 1].squaredDistance < squaredDistances[slot];
                 --place) {
                steps[place] = steps[place - 1];
            }
            steps[place] = {squaredDistances[slot], node.child[slot]};
        }
        for (std::size_t i = 0; i < count; ++i) {
            stack.Push(steps[i]);
        }
    }

    void VisitLeaf(const Leaf& leaf)
    {
        const Float4 squared = SquaredDistances(leaf, local_);
        for (std::int32_t lane = 0; lane < leaf.count; ++lane) {
            if (squared[lane] <= limit_) {
                Measure(hierarchy_.triangles_[static_cast<std::size_t>(leaf.first + lane)]);
            }
        }
    }

    void Measure(const RankedTriangle& triangle)
    {
        if (!IsOpen(SquaredDistance(BoxOfTriangle(triangle), point_))) {
            return;
        }
        const Vec3d nearest = Intersect::Impl::NearestOnTriangle(triangle.corner, point_);
        const double squared = SquaredLength(nearest - point_);
        if (squared <= squaredRadius_ &&
            (squared < best_.squaredDistance ||
             (squared == best_.squaredDistance && triangle.rank < best_.rank))) {
            best_ = {nearest, squared, triangle.id, triangle.rank};
            UpdateLimit();
        }
    }

    /// Squared distance in `float` beyond which a triangle is surely farther than the best.
    void UpdateLimit()
    {
        const double squared = std::min(best_.squaredDistance, squaredRadius_);
        const double limit = std::sqrt(squared) * hierarchy_.frame_.scale * kRoundUp + error_;
        const double squaredLimit = limit * limit * kRoundUp;
        limit_ = isFar_ || !(squaredLimit < kFarthest * kFarthest)
                     ? std::numeric_limits<float>::infinity()
                     : static_cast<float>(squaredLimit);
    }

    const TriangleHierarchy& hierarchy_;
    Vec3d point_;
    double squaredRadius_;
    VecBase<3, float> local_;
    bool isFar_ = false;
    double error_ = 0; // of a distance in the frame
    float limit_ = 0;
    NearestTriangle best_;
};

NearestTriangle TriangleHierarchy::Nearest(const Vec3d& point, double radius) const
{
    if (nodes_.empty() || !(radius > 0) || HasNaN(point)) {
        return {};
    }
    return Search(*this, point, radius * radius).Run();
}

} // namespace Velk::Math::Sorvane::Tree::Impl
