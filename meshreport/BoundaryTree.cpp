// The nearest boundary segment that belongs to another piece.

#include "meshreport/BoundaryTree_Impl.h"

#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

using Math::Impl::IsFinite;

constexpr int kMixed = -1;
constexpr std::size_t kLeafSize = 4;

/// Halved at every step, fewer than 2^64 segments give no deeper tree; a step leaves one box
/// behind.
constexpr std::size_t kGreatestDepth = 64;

/// Share of a coordinate by which the nearest point of a segment may come out beyond the segment's
/// ends: their difference, its product with the parameter and the sum are rounded, half this in
/// all.
constexpr double kRounding = 8 * std::numeric_limits<double>::epsilon();

/// Per coordinate no more than that of any nearest point in the box, as numbers, and squared and
/// summed in the same order: what is computed for a segment in the box is never less.
double SquaredDistanceToBox(const Vec3d& point, const Vec3d& low, const Vec3d& high)
{
    Vec3d outside;
    for (int axis = 0; axis < 3; ++axis) {
        outside[axis] = std::max({low[axis] - point[axis], point[axis] - high[axis], 0.0});
    }
    return SquaredLength(outside);
}

} // namespace

BoundaryTree::BoundaryTree(std::vector<BoundarySegment> segments) : segments_(std::move(segments))
{
    std::erase_if(segments_,
                  [](const BoundarySegment& s) { return !IsFinite(s.a) || !IsFinite(s.b); });
    if (!segments_.empty()) {
        boxes_.reserve(
            segments_.size()); // two for each full leaf, and leaves are half full or more
        Build(0, segments_.size());
    }
}

BoundaryTree::Box BoundaryTree::Bound(std::size_t first, std::size_t last) const
{
    constexpr double kMax = std::numeric_limits<double>::max();
    Box box{{kMax, kMax, kMax}, {-kMax, -kMax, -kMax}, segments_[first].piece, 0, first, last};
    for (std::size_t s = first; s < last; ++s) {
        const BoundarySegment& segment = segments_[s];
        for (int axis = 0; axis < 3; ++axis) {
            const auto [low, high] = std::minmax(segment.a[axis], segment.b[axis]);
            const double slack = kRounding * std::max(std::fabs(low), std::fabs(high)) +
                                 std::numeric_limits<double>::min();
            box.low[axis] = std::min(box.low[axis], low - slack);
            box.high[axis] = std::max(box.high[axis], high + slack);
        }
        if (segment.piece != box.piece) {
            box.piece = kMixed;
        }
    }
    return box;
}

void BoundaryTree::Build(std::size_t first, std::size_t last)
{
    const std::size_t number = boxes_.size();
    const Box& box = boxes_.emplace_back(Bound(first, last));
    if (last - first <= kLeafSize) {
        return;
    }
    const Vec3d extent = box.high / 2 - box.low / 2;
    const auto axis =
        static_cast<int>(std::max_element(extent.begin(), extent.end()) - extent.begin());
    const std::size_t middle = first + (last - first) / 2;
    const auto at = [&](std::size_t s) {
        return segments_.begin() + static_cast<std::ptrdiff_t>(s);
    };
    std::nth_element(at(first), at(middle), at(last),
                     [axis](const BoundarySegment& s, const BoundarySegment& t) {
                         return s.a[axis] / 2 + s.b[axis] / 2 < t.a[axis] / 2 + t.b[axis] / 2;
                     });
    Build(first, middle);
    boxes_[number].right = static_cast<int>(boxes_.size());
    Build(middle, last);
}

double BoundaryTree::SquaredDistanceToOthers(const Vec3d& point, int piece, double enough,
                                             std::size_t& hint) const
{
    double least = std::numeric_limits<double>::max();
    if (boxes_.empty() || !IsFinite(point)) {
        return least;
    }
    const auto compare = [&](std::size_t number) {
        const BoundarySegment& segment = segments_[number];
        if (segment.piece != piece) {
            const double squared = Math::Impl::SquaredDistanceToSegment(
                segment.a, segment.b, point, Math::Impl::kShortByFloor<double>);
            if (squared < least) {
                least = squared;
                hint = number;
            }
        }
    };
    compare(hint);

    struct Pending {
        double distance;
        std::size_t box;
    };
    std::array<Pending, kGreatestDepth> pending;
    std::size_t pendingCount = 0;
    const auto postpone = [&](double distance, std::size_t number) {
        if (boxes_[number].piece != piece && distance < least) {
            pending[pendingCount++] = {distance, number};
        }
    };
    const auto distanceTo = [&](std::size_t number) {
        return SquaredDistanceToBox(point, boxes_[number].low, boxes_[number].high);
    };
    postpone(0, 0);
    while (pendingCount > 0 && least > enough) {
        const auto [distance, number] = pending[--pendingCount];
        if (distance >= least) {
            continue;
        }
        const Box& box = boxes_[number];
        if (box.right == 0) {
            for (std::size_t s = box.first; s < box.last; ++s) {
                compare(s);
            }
            continue;
        }
        std::size_t nearer = number + 1;
        auto farther = static_cast<std::size_t>(box.right);
        double nearDistance = distanceTo(nearer);
        double farDistance = distanceTo(farther);
        if (farDistance < nearDistance) {
            std::swap(nearer, farther);
            std::swap(nearDistance, farDistance);
        }
        postpone(farDistance, farther);
        postpone(nearDistance, nearer); // next to be looked at
    }
    return least;
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
