// Triangles in a flat hierarchy of boxes: the nearest one fast, and those in a ball, in a box, on a
// line.
//
// Boxes are kept in `float`, in a frame that is scaled to the part, and rounded outwards: half the
// memory to go through, and four of them compared at once. Where that frame is too coarse for the
// triangles (a few of them far from all others) they are kept in `double`. Either way they only
// sort out: every answer is decided in the caller's own coordinates.
#pragma once

#include "mathbase/Values_Impl.h"
#include "trees/BoxHierarchy_Impl.h"
#include "trees/SearchTree_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Tree::Impl {

/// A triangle with its number, and its rank among equals.
struct RankedTriangle {
    std::array<Vec3d, 3> corner;
    int id = -1;
    int rank = std::numeric_limits<int>::max();
};

/// The nearest triangle so far: none has number -1 and lies at infinity.
struct NearestTriangle {
    Vec3d point;
    double squaredDistance = std::numeric_limits<double>::infinity();
    int id = -1;
    int rank = std::numeric_limits<int>::max();
    std::size_t place = 0; // in the order of the leaves
};

class TriangleHierarchy {
public:
    /// Without triangles.
    TriangleHierarchy() = default;
    /// Over triangles with coordinates up to 1e150, all different in rank. O(n log n).
    explicit TriangleHierarchy(const std::vector<RankedTriangle>& triangles);

    /// The triangles, leaf by leaf.
    const std::vector<RankedTriangle>& Triangles() const { return triangles_; }
    /// Around the boxes of all triangles; the default (inverted) box when there is none.
    const BoxOf<3, double>& Whole() const { return whole_; }

    /// The triangle with the least pair (squared distance, rank) of those that the closed ball
    /// meets (`Intersect::SphereTriangle`) and whose box, with its margin, is nearer than the
    /// radius, strictly. The radius counts by its magnitude.
    ///
    /// `guess` is the place of a triangle that may be near, of any if nothing is known: it makes
    /// the search shorter and never changes its answer.
    NearestTriangle Nearest(const Vec3d& point, double radius, std::size_t guess) const;

    /// Calls `sink(RankedTriangle)` for the triangles whose box, with its margin, has a squared
    /// distance below `squaredRadius` from `center`, in no particular order.
    template <class Sink>
    void VisitWithin(const Vec3d& center, double squaredRadius, const Sink& sink) const;
    /// The same for those whose box, with its margin, meets `box`.
    template <class Sink>
    void VisitMeeting(const BoxOf<3, double>& box, const Sink& sink) const;
    /// The same for those that the line may hit, with weights of the corners down to -1e-12.
    template <class Sink>
    void VisitOnLine(const Vec3d& origin, const Vec3d& direction, const Sink& sink) const;

private:
    using Float4 = LanesOf<float>::Type;

    static constexpr int kLeafSize = 4;

    /// Up to four triangles side by side, in the coordinates of `frame_`.
    struct Block {
        std::array<std::array<Float4, 3>, 3> corner; // of each corner each axis
        std::array<Float4, 3> normal;                // of length 1, or 0
        Float4 trust;                                // 1, or 0: the distance is anything from 0 on
    };

    /// Map of the whole into the cube from -1 to 1, by a power of 2. What a mapped coordinate is
    /// off by is one rounding.
    struct Frame {
        Vec3d origin;
        double scale = 1;
        double largest = 0; // coordinate of the whole

        Vec3d operator()(const Vec3d& point) const { return (point - origin) * scale; }
    };

    template <class Boxes, class Scalar>
    class Search;

    /// No mapped coordinate of a box is larger.
    static constexpr double kMostMapped = 1 + 0x1p-10;

    /// `value`, a mapped coordinate, or a little less: lower than what it may be off by, in a T.
    template <class T>
    static T RoundedDown(double value)
    {
        value = std::clamp(value, -2 * kMostMapped, 2 * kMostMapped);
        constexpr double kRounding = 2 * static_cast<double>(std::numeric_limits<T>::epsilon());
        return static_cast<T>(value - std::fabs(value) * kRounding -
                              static_cast<double>(std::numeric_limits<T>::min()));
    }

    /// The box in the frame, rounded outwards; what is far outside the frame is cut off.
    template <class T>
    BoxOf<3, T> MappedBox(const BoxHierarchy<3, T>&, const BoxOf<3, double>& box) const
    {
        const Vec3d min = frame_(box.min);
        const Vec3d max = frame_(box.max);
        BoxOf<3, T> mapped;
        for (int axis = 0; axis < 3; ++axis) {
            mapped.min[axis] = RoundedDown<T>(min[axis]);
            mapped.max[axis] = -RoundedDown<T>(-max[axis]);
        }
        return mapped;
    }
    template <class T>
    void BuildBoxes(const std::vector<RankedTriangle>& triangles, BoxHierarchy<3, T>& boxes);
    bool IsTooFineForFloat(const std::vector<RankedTriangle>& triangles) const;
    void FillBlocks();
    static Float4 SquaredDistances(const Block& block, const VecBase<3, float>& point);

    /// Calls `use(hierarchy)` of the kind that is there.
    template <class Use>
    decltype(auto) WithBoxes(const Use& use) const
    {
        return isFine_ ? use(fine_) : use(coarse_);
    }
    template <class Sink>
    auto TriangleSink(const Sink& sink) const
    {
        return [this, &sink](const HierarchyLeaf& leaf) {
            for (std::size_t i = 0; i < leaf.count; ++i) {
                sink(triangles_[leaf.first + i]);
            }
        };
    }

    std::vector<RankedTriangle> triangles_;
    BoxOf<3, double> whole_;
    Frame frame_;
    bool isFine_ = false;
    BoxHierarchy<3, float> coarse_; // boxes in the frame, rounded outwards; one of the two is used
    BoxHierarchy<3, double> fine_;
    std::vector<Block> blocks_; // of the leaves; none with `fine_`
};

template <class Sink>
void TriangleHierarchy::VisitWithin(const Vec3d& center, double squaredRadius,
                                    const Sink& sink) const
{
    // More than both sides are off by: the distance in the frame, and that in the caller's
    // coordinates.
    constexpr double kRoundUp = 1 + 0x1p-20;
    constexpr double kRounding = 0x1p-50;
    const Vec3d local = frame_(center);
    const double reach = std::max(1.0, Math::Impl::LargestMagnitude(local));
    const double limit = std::sqrt(squaredRadius) * frame_.scale * kRoundUp + reach * kRounding;
    const auto test = [&](const RankedTriangle& triangle) {
        if (SquaredDistance(MarginBox(triangle.corner), center) < squaredRadius) {
            sink(triangle);
        }
    };
    if (!HasNaN(center)) {
        WithBoxes([&](const auto& boxes) {
            boxes.VisitWithin(local, limit * limit * kRoundUp, TriangleSink(test));
        });
    }
}

template <class Sink>
void TriangleHierarchy::VisitMeeting(const BoxOf<3, double>& box, const Sink& sink) const
{
    const auto test = [&](const RankedTriangle& triangle) {
        if (Overlaps(MarginBox(triangle.corner), box)) {
            sink(triangle);
        }
    };
    WithBoxes(
        [&](const auto& boxes) { boxes.VisitMeeting(MappedBox(boxes, box), TriangleSink(test)); });
}

template <class Sink>
void TriangleHierarchy::VisitOnLine(const Vec3d& origin, const Vec3d& direction,
                                    const Sink& sink) const
{
    // No side is longer than four times the reach, so that a weight of -1e-12 is no farther out.
    constexpr double kShare = 2e-11;
    const Vec3d most = Bounding::Impl::Uniform<3, double>(kMostMapped);
    const Intersect::Impl::LineBoxTest<3, double> line(frame_(origin), direction, -most, most,
                                                       kShare);
    WithBoxes([&](const auto& boxes) { boxes.VisitOnLine(line, TriangleSink(sink)); });
}

} // namespace Velk::Math::Sorvane::Tree::Impl
