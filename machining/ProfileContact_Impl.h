// A tool's half profile against the curves of a triangle in the half plane (r, z): the kernel of
// every drop.
//
// A profile is convex and rises outward; a stretch of a facet along its steepest line is straight,
// the upper branch of a spun edge bends the other way. So the height of the tip, target z less
// profile z as a function of r, is concave on every overlap of an element with a target: its
// greatest value lies where their slopes agree, or else at an end of the overlap. Three places are
// looked at, and the greatest height wins.
//
// What comes out never exceeds the exact height by more than rounding: target heights are held
// between the ends of the target, profile heights at or above the lowest of the overlap. So a bound
// from the top of a triangle and the radius at which it begins holds for the computed numbers too,
// and skipping by such bounds changes no bit of a result.
#pragma once

#include "machining/SpunHyperbola_Impl.h"
#include "machining/TangentRoot_Impl.h"

#include <Sorvane/ArcSegChain_E.h>
#include <Sorvane/ToolContact_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mill::Impl {

using ContactReport = ConvexToolContact::ContactReport;

/// Profile points closer than this in r and z are the same point, and a stretch narrower is
/// upright.
inline constexpr double kMatch = 1e-12;

/// Coordinates beyond which a triangle is passed over, and so is a position: the fourth powers of
/// radii and the squares of normals stay finite below it.
inline constexpr double kLargestReach = 1e70;

/// False for NaN.
template <int N>
bool IsWithinReach(const VecBase<N, double>& p)
{
    bool isWithin = true;
    for (int axis = 0; axis < N; ++axis) {
        isWithin &= std::fabs(p[axis]) <= kLargestReach;
    }
    return isWithin;
}

/// A closed interval of r; empty when low > high.
struct RadialRange {
    double low;
    double high;

    bool IsEmpty() const { return !(low <= high); }
};

inline RadialRange Ascending(double a, double b) { return {std::min(a, b), std::max(a, b)}; }

inline RadialRange Overlap(const RadialRange& a, const RadialRange& b)
{
    return {std::max(a.low, b.low), std::min(a.high, b.high)};
}

/// Takes a place of contact into the report if it holds the tool higher than what stands there.
inline void Offer(double targetZ, double profileZ, double r, int triangle, int element,
                  ContactReport& report)
{
    // Adding 0 takes the sign of a zero away: which of two zeros came first must not show.
    const double height = targetZ - profileZ + 0.0;
    if (height > report.height) {
        report.height = height;
        report.contact = {r, targetZ};
        report.triangle = triangle;
        report.element = element;
    }
}

/// A straight stretch from a to b in the half plane.
class StraightTarget {
public:
    StraightTarget(const Vec2d& a, const Vec2d& b)
        : low_(b.x() < a.x() ? b : a), high_(b.x() < a.x() ? a : b)
    {
        isUpright_ = high_.x() - low_.x() <= kMatch;
        top_ = std::max(a.y(), b.y());
        bottom_ = std::min(a.y(), b.y());
    }

    RadialRange Range() const { return {low_.x(), high_.x()}; }
    bool IsUpright() const { return isUpright_; }
    double Top() const { return top_; }
    double Slope() const { return (high_.y() - low_.y()) / (high_.x() - low_.x()); }

    /// At an r of its range; an upright one blocks with its higher end.
    double HeightAt(double r) const
    {
        if (isUpright_) {
            return top_;
        }
        if (r <= low_.x()) {
            return low_.y();
        }
        if (r >= high_.x()) {
            return high_.y();
        }
        const double share = (r - low_.x()) / (high_.x() - low_.x());
        return std::clamp(low_.y() + (high_.y() - low_.y()) * share, bottom_, top_);
    }

private:
    Vec2d low_; // the end at the smaller r
    Vec2d high_;
    double top_;
    double bottom_;
    bool isUpright_;
};

/// The part of a spun edge that can be hit from above.
class HyperbolaTarget {
public:
    /// Of the two branches that meet in the vertex, the upper one: it falls toward the axis. What
    /// is left of an edge that ends below its vertex falls away from the axis; its higher end alone
    /// can be hit.
    ///
    /// Where the vertex lies between the ends is told in plan: on an edge that all but lies level
    /// its z is rounded to that of an end, and heights would take the near stretch for no part of
    /// the edge.
    explicit HyperbolaTarget(const SpunHyperbola& spun)
        : squaredSlope_(spun.b2 / spun.a2), vertex_(spun.vertex), low_(spun.lowEnd),
          high_(spun.highEnd)
    {
        if (HasVertexInside(spun)) {
            low_ = {vertex_[0], std::clamp(vertex_[1], spun.lowEnd[1], spun.highEnd[1])};
        } else if (spun.lowEnd[1] < vertex_[1]) {
            low_ = spun.highEnd[1] > vertex_[1] ? vertex_ : spun.highEnd;
        }
        if (high_[0] < low_[0]) {
            std::swap(low_, high_); // by rounding of an edge that is short
        }
        if (high_[0] == low_[0]) {
            low_[1] = high_[1] = std::max(low_[1], high_[1]); // it blocks with its higher end
        }
        bottom_ = std::min(low_[1], high_[1]);
        top_ = std::max(low_[1], high_[1]);
    }

    RadialRange Range() const { return {low_[0], high_[0]}; }
    double Top() const { return top_; }

    /// At an r of its range, the ends' own z at the ends. (r - v) (r + v) keeps digits that r^2 -
    /// v^2 loses.
    double HeightAt(double r) const
    {
        if (r <= low_[0]) {
            return low_[1];
        }
        if (r >= high_[0]) {
            return high_[1];
        }
        const double squared = squaredSlope_ * ((r - vertex_[0]) * (r + vertex_[0]));
        return std::clamp(vertex_[1] + std::sqrt(std::max(squared, 0.0)), bottom_, top_);
    }

private:
    static bool HasVertexInside(const SpunHyperbola& spun)
    {
        const Vec3d& low = spun.lowPoint;
        const Vec3d& high = spun.highPoint;
        const double vx = high.x() - low.x();
        const double vy = high.y() - low.y();
        return spun.lowEnd[1] <= spun.highEnd[1] && low.x() * vx + low.y() * vy < 0.0 &&
               high.x() * vx + high.y() * vy > 0.0;
    }

    double squaredSlope_; // of the edge
    Vec2d vertex_;
    Vec2d low_;
    Vec2d high_;
    double bottom_;
    double top_;
};

/// A straight element of a profile.
class StraightElement {
public:
    StraightElement() = default;
    explicit StraightElement(const Geometry::SegBase<double>& segment)
        : range_(Ascending(segment.start.x(), segment.end.x()))
    {
        const bool isOutward = !(segment.end.x() < segment.start.x());
        low_ = isOutward ? segment.start : segment.end;
        high_ = isOutward ? segment.end : segment.start;
        isUpright_ = high_.x() - low_.x() <= kMatch;
        slope_ = (high_.y() - low_.y()) / (high_.x() - low_.x());
        bottom_ = std::min(low_.y(), high_.y());
    }

    RadialRange Range() const { return range_; }
    /// No lower than this anywhere in the overlap.
    double Bottom(const RadialRange& overlap) const
    {
        return slope_ >= 0.0 ? HeightAt(overlap.low) : bottom_;
    }

    /// An upright one begins with its lower end.
    double HeightAt(double r) const
    {
        if (isUpright_) {
            return bottom_;
        }
        if (r <= low_.x()) {
            return low_.y();
        }
        if (r >= high_.x()) {
            return high_.y();
        }
        return low_.y() + slope_ * (r - low_.x());
    }

    /// Infinite for an upright one.
    double Slope() const { return isUpright_ ? std::numeric_limits<double>::infinity() : slope_; }
    /// Where the straight stretch would touch within both: nowhere but at an end.
    bool TouchesInside(const StraightTarget&, double&) const { return false; }
    /// Where a hyperbola has the slope of the element.
    bool TouchesInside(const SpunHyperbola& spun, const RadialRange&, double& r) const
    {
        const double squared = spun.a2 * slope_ * slope_;
        if (isUpright_ || !(slope_ > 0.0) || !(squared > spun.b2)) {
            return false;
        }
        r = spun.a2 * slope_ / std::sqrt(squared - spun.b2);
        return true;
    }

private:
    RadialRange range_{};
    Vec2d low_;
    Vec2d high_;
    double slope_ = 0.0;
    double bottom_ = 0.0;
    bool isUpright_ = false;
};

/// A round element of a profile: the lower half of its circle.
class RoundElement {
public:
    RoundElement() = default;
    /// `range` is that of `RangeOf`. An arc that begins above its center is left out: what it
    /// covers lies above what comes before it.
    RoundElement(const Geometry::ArcBase<double>& arc, const Vec2d& range)
        : range_(arc.start.y() > arc.center.y() ? RadialRange{1.0, 0.0}
                                                : Ascending(range[0], range[1])),
          center_(arc.center), radius_(Geometry::Radius(arc))
    {
    }

    RadialRange Range() const { return range_; }
    double Bottom(const RadialRange& overlap) const
    {
        return HeightAt(std::clamp(center_.x(), overlap.low, overlap.high));
    }
    double HeightAt(double r) const
    {
        const double beside = r - center_.x();
        return center_.y() - std::sqrt(std::max((radius_ - beside) * (radius_ + beside), 0.0));
    }

    /// Infinite at the rim of the circle.
    double SlopeAt(double r) const
    {
        const double beside = r - center_.x();
        return beside / std::sqrt(std::max((radius_ - beside) * (radius_ + beside), 0.0));
    }
    /// Where the circle has the slope of the stretch.
    bool TouchesInside(const StraightTarget& target, double& r) const
    {
        if (target.IsUpright()) {
            return false;
        }
        const double slope = target.Slope();
        r = center_.x() + radius_ * (slope / std::sqrt(1.0 + slope * slope));
        return true;
    }

    /// Where circle and hyperbola have the same slope:
    ///     b2 / a2 * r / sqrt(b2 / a2 (r^2 - a2)) = (r - c) / sqrt(R^2 - (r - c)^2),
    /// squared and cleared of fractions a quartic in r. Left of the center the circle falls, so
    /// that both agree only to the right of it; there the left side is the greater one up to the
    /// root and the smaller one beyond it, and a root exists if and only if the quartic changes its
    /// sign.
    ///
    /// In units of the overlap's outer end, so that the tolerance means the same for a tool in
    /// meters.
    bool TouchesInside(const SpunHyperbola& spun, const RadialRange& overlap, double& r) const
    {
        constexpr double kRootTolerance = 1e-15;
        constexpr double kLeastLeading = 1e-24;
        const RadialRange range{std::max(overlap.low, center_.x()), overlap.high};
        if (!(range.low < range.high)) {
            return false;
        }
        int exponent = 0;
        std::frexp(range.high, &exponent);
        const double unit = std::ldexp(1.0, -exponent);
        const double c = center_.x() * unit;
        const double squaredRadius = radius_ * unit * (radius_ * unit);
        const double a2 = spun.a2 * unit * unit;
        const double b2 = spun.b2 * unit * unit;
        const double sum = a2 + b2;
        Quartic quartic{-c * c * (a2 * a2), 2.0 * c * (a2 * a2),
                        c * c * sum - a2 * a2 - b2 * squaredRadius, -2.0 * c * sum, sum};
        if (std::fabs(sum) > kLeastLeading) {
            for (double& coefficient : quartic) {
                coefficient /= sum;
            }
        }
        const std::optional<double> root =
            RootBetween(quartic, range.low * unit, range.high * unit, kRootTolerance);
        if (root) {
            r = *root / unit;
        }
        return root.has_value();
    }

private:
    RadialRange range_{};
    Vec2d center_;
    double radius_ = 0.0;
};

/// The x of an element's start and end; of an arc that goes on above its center only as far as it
/// widens the tool.
inline Vec2d RangeOf(const Planar::ArcSegBase<double>& element)
{
    const Vec2d end = element.EndPoint();
    const Geometry::ArcBase<double>* const arc = element.AsArc();
    const bool goesBack =
        arc != nullptr && end.y() > arc->center.y() && !(arc->start.y() > arc->center.y());
    return {element.StartPoint().x(),
            goesBack ? arc->center.x() + Geometry::Radius(*arc) : end.x()};
}

inline std::vector<Vec2d> RangesOf(const Planar::PolyArcSegBase<double>& profile)
{
    std::vector<Vec2d> ranges;
    ranges.reserve(profile.elements.size());
    for (const Planar::ArcSegBase<double>& element : profile.elements) {
        ranges.push_back(RangeOf(element));
    }
    return ranges;
}

/// Contact of an element with a straight stretch.
template <class Element>
void TouchStretch(const Element& element, const StraightTarget& target, int triangle, int number,
                  ContactReport& report)
{
    const RadialRange overlap = Overlap(element.Range(), target.Range());
    if (overlap.IsEmpty() || !(target.Top() - element.Bottom(overlap) > report.height)) {
        return;
    }
    const auto offer = [&](double r) {
        Offer(target.HeightAt(r), element.HeightAt(r), r, triangle, number, report);
    };
    double r = 0.0;
    if (element.TouchesInside(target, r) && r >= overlap.low && r <= overlap.high) {
        offer(r);
        return;
    }
    offer(overlap.low);
    offer(overlap.high);
}

/// Contact of an element with a spun edge that is no straight stretch.
template <class Element>
void TouchHyperbola(const Element& element, const HyperbolaTarget& target,
                    const SpunHyperbola& spun, int triangle, int number, ContactReport& report)
{
    const RadialRange overlap = Overlap(element.Range(), target.Range());
    if (overlap.IsEmpty() || !(target.Top() - element.Bottom(overlap) > report.height)) {
        return;
    }
    const auto offer = [&](double r) {
        Offer(target.HeightAt(r), element.HeightAt(r), r, triangle, number, report);
    };
    double r = 0.0;
    if (overlap.low < overlap.high && element.TouchesInside(spun, overlap, r) && r >= overlap.low &&
        r <= overlap.high) {
        offer(r);
    }
    offer(overlap.low);
    offer(overlap.high);
}

/// The elements of a profile, prepared for a drop or for many.
class ProfileContact {
public:
    /// `ranges`: `RangeOf` each element.
    ProfileContact(const Planar::PolyArcSegBase<double>& profile, const std::vector<Vec2d>& ranges);

    bool IsEmpty() const { return count_ == 0; }
    /// Largest r of the profile, and its lowest point.
    double Radius() const { return radius_; }
    double Bottom() const { return bottom_; }

    /// The lowest point of the profile at r or farther out; infinite beyond the radius.
    double BottomBeyond(double r) const
    {
        double bottom = std::numeric_limits<double>::infinity();
        ForEach([&](const auto& element, int) {
            const RadialRange rest = Overlap(element.Range(), {r, radius_});
            if (!rest.IsEmpty()) {
                bottom = std::min(bottom, element.Bottom(rest));
            }
        });
        return bottom;
    }

    /// Is no triangle with these corners, relative to the axis, able to hold the tool above
    /// `height`? Told from a cone: the profile lies above its tangent at the middle's distance r0
    /// from the axis,
    ///     z(r) >= z(r0) + slope (r - r0),
    /// and r is no smaller than the distance along the direction of the middle. So the tip's height
    /// is below a linear function over the triangle, which has its greatest value at a corner.
    /// False is no answer. `slack` is what coordinates may be off by.
    bool IsBelowCone(const std::array<Vec3d, 3>& corner, double height, double slack) const
    {
        const double x = (corner[0].x() + corner[1].x() + corner[2].x()) / 3.0;
        const double y = (corner[0].y() + corner[1].y() + corner[2].y()) / 3.0;
        const double r0 = std::sqrt(x * x + y * y);
        double z0 = 0.0;
        double slope = -1.0;
        if (!isConvex_ || !TangentAt(r0, z0, slope) || !(slope >= 0.0)) {
            return false;
        }
        const double ux = r0 > 0.0 ? x / r0 : 0.0;
        const double uy = r0 > 0.0 ? y / r0 : 0.0;
        double bound = -std::numeric_limits<double>::infinity();
        double farthest = 0.0;
        for (const Vec3d& p : corner) {
            const double along = ux * p.x() + uy * p.y();
            bound = std::max(bound, p.z() - z0 - slope * (along - r0));
            farthest = std::max(farthest, std::fabs(along));
        }
        constexpr double kRounding = 1e-12;
        const double reach = r0 + farthest;
        const double rounding =
            slack + bend_ * reach + kRounding * (z0 + std::fabs(height) + (slope + 1.0) * reach);
        return bound + rounding < height;
    }

    /// Lowers the tool on the two stretches from `foot` to p and to q, all three relative to the
    /// axis.
    void DropOnSeg(const Vec3d& foot, const Vec3d& p, const Vec3d& q, int triangle,
                   ContactReport& report) const
    {
        const Vec2d footPoint = ProfilePoint(foot);
        for (const Vec2d& end : {ProfilePoint(p), ProfilePoint(q)}) {
            if (!Match(footPoint, end)) {
                DropOnStretch({footPoint, end}, triangle, report);
            }
        }
    }
    /// On a spun edge, which is two straight stretches where it is no hyperbola.
    void DropOnHyperbola(const SpunHyperbola& spun, int triangle, ContactReport& report) const;
    void DropOnEdge(const Vec3d& p, const Vec3d& q, int triangle, ContactReport& report) const
    {
        if (std::max(p.z(), q.z()) - bottom_ > report.height) {
            DropOnHyperbola(SpunAroundZ(p, q), triangle, report);
        }
    }
    /// On the facet's line of steepest slope that passes below the axis, or whose extension does: a
    /// tool of revolution touches the inside of a facet nowhere else.
    void DropOnFacet(const std::array<Vec3d, 3>& corner, int triangle, ContactReport& report) const;
    /// Facet and edges.
    void DropOnTriangle(const std::array<Vec3d, 3>& corner, int triangle,
                        ContactReport& report) const
    {
        DropOnFacet(corner, triangle, report);
        for (std::size_t i = 0; i < 3; ++i) {
            DropOnEdge(corner[i], corner[(i + 1) % 3], triangle, report);
        }
    }

private:
    /// As many as a tool record has.
    static constexpr std::size_t kMostElements = 5;

    struct Slot {
        bool isRound = false;
        int number = 0;
        StraightElement straight;
        RoundElement round;
    };

    /// Height and slope of the profile at r; false beyond it.
    bool TangentAt(double r, double& height, double& slope) const
    {
        for (std::size_t i = 0; i < count_; ++i) {
            const Slot& slot = slots_[i];
            const RadialRange range = slot.isRound ? slot.round.Range() : slot.straight.Range();
            if (r >= range.low && r <= range.high) {
                height = slot.isRound ? slot.round.HeightAt(r) : slot.straight.HeightAt(r);
                slope = slot.isRound ? slot.round.SlopeAt(r) : slot.straight.Slope();
                return true;
            }
        }
        return false;
    }

    static Vec2d ProfilePoint(const Vec3d& p)
    {
        return {std::sqrt(p.x() * p.x() + p.y() * p.y()), p.z()};
    }

    static bool Match(const Vec2d& a, const Vec2d& b)
    {
        return std::fabs(a.x() - b.x()) <= kMatch && std::fabs(a.y() - b.y()) <= kMatch;
    }

    void DropOnStretch(const StraightTarget& target, int triangle, ContactReport& report) const
    {
        ForEach([&](const auto& element, int number) {
            TouchStretch(element, target, triangle, number, report);
        });
    }

    /// use(element, number) for each element, in the order of the profile.
    template <class Use>
    void ForEach(const Use& use) const
    {
        for (std::size_t i = 0; i < count_; ++i) {
            const Slot& slot = slots_[i];
            if (slot.isRound) {
                use(slot.round, slot.number);
            } else {
                use(slot.straight, slot.number);
            }
        }
    }

    std::array<Slot, kMostElements> slots_;
    std::size_t count_ = 0;
    double radius_ = 0.0;
    double bottom_ = 0.0;
    bool isConvex_ = true; // its elements follow each other outward, none flatter than the last
    double bend_ = 0.0;    // by which a slope falls all the same, by rounding
};

} // namespace Velk::Math::Sorvane::Mill::Impl
