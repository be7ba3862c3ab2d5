// Drawn outlines put where a tool stands, and distances between polylines.

#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "machining/ToolsFit_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::Mill::Impl {

namespace {

/// Segments up to which it is quicker to measure all of them than to search.
constexpr std::size_t kFewSegments = 24;
/// Farther than anything can be: its square is finite.
constexpr double kAnywhere = 1e152;

/// Beginning at the origin, which is its lexicographically least point and which rounding may have
/// put elsewhere in the list.
std::vector<Vec2d> HullFromOrigin(const std::vector<Vec2d>& points)
{
    std::vector<Vec2d> hull = Bounding::ConvexHull(points, false);
    const auto first =
        std::min_element(hull.begin(), hull.end(), [](const Vec2d& a, const Vec2d& b) {
            return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
        });
    std::rotate(hull.begin(), first, hull.end());
    return hull;
}

} // namespace

PolylineDistance::PolylineDistance(std::vector<Vec2d> points) : points_(std::move(points))
{
    if (points_.size() > kFewSegments + 1) {
        std::vector<Geometry::SegBase<double>> segments;
        segments.reserve(points_.size() - 1);
        for (std::size_t i = 1; i < points_.size(); ++i) {
            segments.push_back({points_[i - 1], points_[i]});
        }
        tree_ = std::make_unique<const Tree::Quadtree::SegmentTree<double>>(segments);
    }
}

double PolylineDistance::operator()(const Vec2d& point) const
{
    if (tree_ != nullptr) {
        return Length(tree_->ClosestPoint(point, kAnywhere).point - point);
    }
    double least = Vector::SquaredLength(point - points_.front());
    for (std::size_t i = 1; i < points_.size(); ++i) {
        least =
            std::min(least, Math::Impl::SquaredDistanceToSegment(points_[i - 1], points_[i], point,
                                                                 Math::Impl::kPointsAreShort));
    }
    return std::sqrt(least);
}

Outline OutlineOf(std::vector<Vec2d> points, const Vec2d& low, const Vec2d& high)
{
    points.front() = low;
    points.back() = high;
    for (Vec2d& point : points) {
        point -= low;
    }
    const Vec2d corner = points.back();
    std::vector<Vec2d> hull = HullFromOrigin(points);

    // That of the hull and not the corner's: of points within the length floor it keeps one only.
    const double top =
        std::max_element(hull.begin(), hull.end(), [](const Vec2d& a, const Vec2d& b) {
            return a.y() < b.y();
        })->y();
    const auto isAtTop = [&](const Vec2d& point) { return point.y() == top; };
    hull.erase(std::find_if(hull.rbegin(), hull.rend(), isAtTop).base(), hull.end());
    if (hull.empty() || !Matches(hull.back(), corner, kLengthFloor<double>)) {
        hull.push_back(corner);
    }
    std::vector<Vec2d> profile(hull.begin(), std::find_if(hull.begin(), hull.end(), isAtTop) + 1);
    return {corner, PolylineDistance(std::move(points)), PolylineDistance(std::move(hull)),
            PolylineDistance(std::move(profile))};
}

double LargestDistance(const PolylineDistance& a, const PolylineDistance& b)
{
    return DeviationsOf(a, b).largest;
}

Deviations DeviationsOf(const PolylineDistance& a, const PolylineDistance& b)
{
    double largest = 0;
    double sum = 0;
    const auto measure = [&](const PolylineDistance& from, const PolylineDistance& to) {
        for (const Vec2d& point : from.Points()) {
            const double distance = to(point);
            largest = std::max(largest, distance);
            sum += distance;
        }
    };
    measure(a, b);
    measure(b, a);
    return {largest, sum / static_cast<double>(a.Points().size() + b.Points().size())};
}

} // namespace Velk::Math::Sorvane::Mill::Impl
