// The nearest boundary segment that belongs to another component.

#include "meshreport/BoundaryTree_Impl.h"

#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

using Math::Impl::IsFinite;
using Box = Bounding::AxisAlignedBoundingBox<3, double>;

constexpr int kMixed = -1;
constexpr int kLeafSize = 4;

/// Share of a coordinate by which the nearest point of a segment may come out beyond the segment's
/// ends: their difference, its product with the parameter and the sum are rounded, half this in
/// all.
constexpr double kRounding = 8 * std::numeric_limits<double>::epsilon();

/// Holds the nearest point of the segment to any point, as it is computed. So each coordinate of
/// the box is, as a number, no farther than that of the nearest point, and what is computed for the
/// box by squaring and summing in the same order is never more than what is for the segment.
Box SearchBox(const BoundarySegment& segment)
{
    Box box;
    for (int axis = 0; axis < 3; ++axis) {
        const auto [low, high] = std::minmax(segment.a[axis], segment.b[axis]);
        const double slack = kRounding * std::max(std::fabs(low), std::fabs(high)) +
                             std::numeric_limits<double>::min();
        box.min[axis] = low - slack;
        box.max[axis] = high + slack;
    }
    return box;
}

} // namespace

BoundaryTree::BoundaryTree(const std::vector<BoundarySegment>& segments)
{
    std::vector<BoundarySegment> finite;
    std::vector<Box> boxes;
    finite.reserve(segments.size());
    boxes.reserve(segments.size());
    for (const BoundarySegment& segment : segments) {
        if (IsFinite(segment.a) && IsFinite(segment.b)) {
            finite.push_back(segment);
            boxes.push_back(SearchBox(segment));
        }
    }
    boxes_ = Tree::Impl::BoxHierarchy<3, double>(boxes, Tree::Impl::HierarchyCut::Area, kLeafSize);
    segments_.reserve(finite.size());
    for (const std::int32_t number : boxes_.Order()) {
        segments_.push_back(finite[static_cast<std::size_t>(number)]);
    }
    components_ = boxes_.Folded(
        kMixed,
        [&](std::int32_t number) { return finite[static_cast<std::size_t>(number)].component; },
        [](int left, int right) { return left == right ? left : kMixed; });
}

double BoundaryTree::SquaredDistanceToOthers(const Vec3d& point, int component, double enough,
                                             std::size_t& hint) const
{
    double least = std::numeric_limits<double>::max();
    if (segments_.empty() || !IsFinite(point)) {
        return least;
    }
    const auto compare = [&](std::size_t place) {
        const BoundarySegment& segment = segments_[place];
        if (segment.component != component) {
            const double squared = Math::Impl::SquaredDistanceToSegment(
                segment.a, segment.b, point, Math::Impl::kShortByFloor<double>);
            if (squared < least) {
                least = squared;
                hint = place;
            }
        }
    };
    compare(hint);
    boxes_.VisitNearest(
        point,
        [&](double squaredDistance, std::size_t subtree) {
            return squaredDistance < least && least > enough && components_[subtree] != component;
        },
        [&](const Tree::Impl::HierarchyLeaf& leaf) {
            for (std::size_t i = 0; i < leaf.count; ++i) {
                compare(leaf.first + i);
            }
        });
    return least;
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
