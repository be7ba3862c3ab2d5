#include "machining/ProfileContact_Impl.h"

#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace Velk::Math::Sorvane::Mill {

namespace {

using ContactReport = ConvexToolContact::ContactReport;
using Corners = std::array<Vec3d, 3>;

/// The corners relative to the axis; false when the triangle is to be passed over.
template <std::size_t N>
bool RelativeTo(const Vec2d& axis, const Vec3d* corner, std::array<Vec3d, N>& relative)
{
    const Vec3d origin{axis.x(), axis.y(), 0.0};
    bool isUsable = true;
    for (std::size_t i = 0; i < N; ++i) {
        relative[i] = corner[i] - origin;
        isUsable &= Impl::IsWithinReach(corner[i]);
    }
    return isUsable;
}

/// False when all of it lies beside the tool. With a margin for places between the corners, which
/// are rounded, and for radii whose squares vanish.
template <std::size_t N>
bool IsBelow(const std::array<Vec3d, N>& corner, double radius)
{
    constexpr double kMargin = 1e-12;
    Vec3d low = corner[0];
    Vec3d high = corner[0];
    for (const Vec3d& p : corner) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
    const double size = Math::Impl::LargestMagnitude(high - low);
    const double reach = radius + Impl::kMatch + kMargin * (radius + size);
    return low.x() <= reach && high.x() >= -reach && low.y() <= reach && high.y() >= -reach;
}

template <std::size_t N>
double TopOf(const std::array<Vec3d, N>& corner)
{
    double top = corner[0].z();
    for (std::size_t i = 1; i < N; ++i) {
        top = std::max(top, corner[i].z());
    }
    return top;
}

ContactReport FreshReport(const Vec2d& xy)
{
    ContactReport report;
    report.position = xy;
    return report;
}

/// Lowers the tool on items of N points in their order: drop(corners, number, report).
template <std::size_t N, class Drop>
ContactReport DropInOrder(const Impl::ProfileContact& profile, double limit, const Vec2d& xy,
                          const std::vector<Vec3d>& points, const Drop& drop)
{
    ContactReport report = FreshReport(xy);
    if (points.size() % N != 0 || !Impl::IsWithinReach(xy)) {
        return report;
    }
    std::array<Vec3d, N> corner;
    for (std::size_t first = 0; first < points.size(); first += N) {
        if (!RelativeTo(xy, &points[first], corner) || !IsBelow(corner, profile.Radius()) ||
            TopOf(corner) - profile.Bottom() < report.height) {
            continue;
        }
        drop(corner, static_cast<int>(first / N), report);
        if (report.triangle >= 0 && !(limit > report.height)) {
            break;
        }
    }
    return report;
}

} // namespace

ConvexToolContact::ConvexToolContact(const ConvexStandardToolBase<double>& tool)
    : tool_(tool), profile_(PolyArcSegFromTool(tool)), ranges_(Impl::RangesOf(profile_))
{
    for (const Vec2d& range : ranges_) {
        radius_ = std::max({radius_, range[0], range[1]});
    }
}

ConvexToolContact::~ConvexToolContact() = default;

ContactReport ConvexToolContact::DropAt(const VecBase<2, double>& xy,
                                        const std::vector<VecBase<3, double>>& soup) const
{
    return DropToHeight(std::numeric_limits<double>::max(), xy, soup);
}

bool ConvexToolContact::DropTo(const VecBase<3, double>& point,
                               const std::vector<VecBase<3, double>>& soup) const
{
    // A triangle that holds the tool at just this height answers nothing: one with a lower top may
    // hold it higher. Only a height above it ends the drop.
    const double limit = std::nextafter(point.z(), std::numeric_limits<double>::infinity());
    return point.z() >= DropToHeight(limit, {point.x(), point.y()}, soup).height;
}

ContactReport ConvexToolContact::DropToHeight(double limit, const VecBase<2, double>& xy,
                                              const std::vector<VecBase<3, double>>& soup) const
{
    ContactReport report = FreshReport(xy);
    if (soup.size() % 3 != 0 || !Impl::IsWithinReach(xy)) {
        return report;
    }
    const Impl::ProfileContact profile(profile_, ranges_);
    // From the highest top on down, and of equal tops in the order of the soup. A heap, since the
    // drop ends at the first triangle that lies below the height found; the rest is never sorted.
    using Candidate = std::pair<double, int>;
    std::vector<Candidate> heap;
    Corners corner;
    for (std::size_t first = 0; first < soup.size(); first += 3) {
        if (RelativeTo(xy, &soup[first], corner) && IsBelow(corner, profile.Radius())) {
            heap.emplace_back(-TopOf(corner), static_cast<int>(first / 3));
        }
    }
    std::make_heap(heap.begin(), heap.end(), std::greater<>{});

    while (!heap.empty() && !(-heap.front().first - profile.Bottom() < report.height)) {
        const int triangle = heap.front().second;
        RelativeTo(xy, &soup[3 * static_cast<std::size_t>(triangle)], corner);
        profile.DropOnTriangle(corner, triangle, report);
        if (report.triangle >= 0 && !(limit > report.height)) {
            break;
        }
        std::pop_heap(heap.begin(), heap.end(), std::greater<>{});
        heap.pop_back();
    }
    return report;
}

ContactReport
ConvexToolContact::DropFacesToHeight(double limit, const VecBase<2, double>& xy,
                                     const std::vector<VecBase<3, double>>& soup) const
{
    const Impl::ProfileContact profile(profile_, ranges_);
    return DropInOrder<3>(profile, limit, xy, soup,
                          [&](const Corners& corner, int triangle, ContactReport& report) {
                              profile.DropOnFacet(corner, triangle, report);
                          });
}

ContactReport
ConvexToolContact::DropEdgesToHeight(double limit, const VecBase<2, double>& xy,
                                     const std::vector<VecBase<3, double>>& pairs) const
{
    const Impl::ProfileContact profile(profile_, ranges_);
    return DropInOrder<2>(profile, limit, xy, pairs,
                          [&](const std::array<Vec3d, 2>& end, int edge, ContactReport& report) {
                              profile.DropOnEdge(end[0], end[1], edge, report);
                          });
}

void ConvexToolContact::DropOnHyperbola(const SpunHyperbola& hyperbola, int triangle,
                                        ContactReport& report) const
{
    Impl::ProfileContact(profile_, ranges_).DropOnHyperbola(hyperbola, triangle, report);
}

void ConvexToolContact::DropOnSeg(const VecBase<3, double>& foot, const VecBase<3, double>& p,
                                  const VecBase<3, double>& q, int triangle,
                                  ContactReport& report) const
{
    Impl::ProfileContact(profile_, ranges_).DropOnSeg(foot, p, q, triangle, report);
}

void ConvexToolContact::UpdateContact(int element, const Geometry::SegBase<double>& segment,
                                      const VecBase<2, double>& a, const VecBase<2, double>& b,
                                      int triangle, ContactReport& report) const
{
    Impl::TouchStretch(Impl::StraightElement(segment), Impl::StraightTarget(a, b), triangle,
                       element, report);
}

void ConvexToolContact::UpdateContact(int element, const Geometry::ArcBase<double>& arc,
                                      const VecBase<2, double>& a, const VecBase<2, double>& b,
                                      int triangle, ContactReport& report) const
{
    Impl::TouchStretch(Impl::RoundElement(arc, Impl::RangeOf(arc)), Impl::StraightTarget(a, b),
                       triangle, element, report);
}

void ConvexToolContact::UpdateContact(int element, const Geometry::SegBase<double>& segment,
                                      const SpunHyperbola& hyperbola, int triangle,
                                      ContactReport& report) const
{
    Impl::TouchHyperbola(Impl::StraightElement(segment), Impl::HyperbolaTarget(hyperbola),
                         hyperbola, triangle, element, report);
}

void ConvexToolContact::UpdateContact(int element, const Geometry::ArcBase<double>& arc,
                                      const SpunHyperbola& hyperbola, int triangle,
                                      ContactReport& report) const
{
    Impl::TouchHyperbola(Impl::RoundElement(arc, Impl::RangeOf(arc)),
                         Impl::HyperbolaTarget(hyperbola), hyperbola, triangle, element, report);
}

} // namespace Velk::Math::Sorvane::Mill
