// Where a tool's tip stands when the tool touches a surface at a given point.

#include <Sorvane/ToolOffset_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::Mill {

namespace {

using Element = Planar::ArcSegBase<double>;

/// Angles that differ by no more are equal, and a corner begins by as much beyond the element
/// before it.
constexpr double kAngleFloor = 1e-12;
/// A corner drawn as 1.5708, or with an angle kept in `float`, starts this much below the level of
/// the flat before it at most. It dips below the flat by 5e-11 of its radius, which is no other
/// tool.
constexpr double kDrawnAngle = 1e-5;
/// Length of the sliver between an arc that ends a profile and the flat over the top.
constexpr double kSliver = 2e-12;

/// Polar angle in (-pi, pi]: one routine for the profile and for queries, so that they meet bit for
/// bit.
double PolarAngle(const Vec2d& v)
{
    const double angle = std::atan2(v.y(), v.x());
    return angle <= -kPi<double> ? kPi<double> : angle;
}

/// The normal to the right of travel.
Vec2d RightNormal(const Vec2d& direction) { return {direction.y(), -direction.x()}; }

/// From the normal at the start of an element to that at its end; how far off their coordinates'
/// rounding may have put them.
struct Fan {
    double first = 0;
    double last = 0;
    double rounding = 0;
};

Fan FanOf(const Element& element)
{
    constexpr double kRoundings = 8 * std::numeric_limits<double>::epsilon();
    if (const auto* arc = element.AsArc()) {
        const double radius = Geometry::Radius(*arc);
        const double first = PolarAngle(arc->start - arc->center);
        const double size = Math::Impl::LargestMagnitude(arc->center) + radius;
        return {first, first + arc->length / radius, kRoundings * size / radius};
    }
    const Geometry::SegBase<double>& segment = *element.AsSegment();
    const double angle = PolarAngle(RightNormal(element.StartTangent()));
    const double size = std::max(Math::Impl::LargestMagnitude(segment.start),
                                 Math::Impl::LargestMagnitude(segment.end));
    return {angle, angle, kRoundings * size / element.Length()};
}

/// From the contact toward the tool's axis, seen from above; zero for a vertical normal.
Vec3d TowardAxis(const Vec3d& normal)
{
    return Normalized(Vec3d{-normal.x(), -normal.y(), 0}, kLengthFloor<double>);
}

/// Polar angle of the profile's normal that meets the plane's.
double ProfileAngle(const Vec3d& normal)
{
    const double aside = std::sqrt(normal.x() * normal.x() + normal.y() * normal.y());
    return PolarAngle(Normalized(Vec2d{aside, -normal.z()}, kLengthFloor<double>));
}

/// Does a query take the segment's end, and not its start?
bool IsSlanted(const Element& segment) { return segment.StartTangent().y() > kLengthFloor<double>; }

/// Has the element no direction?
bool IsShort(const Element& element)
{
    const auto* const arc = element.AsArc();
    return (arc != nullptr ? Geometry::Radius(*arc) : element.Length()) <= kLengthFloor<double>;
}

} // namespace

/// Makes the entries of a profile, one element after the other.
class ConvexToolOffset::Builder {
public:
    std::vector<Entry> Build(const Planar::PolyArcSegBase<double>& profile)
    {
        Planar::PolyArcSegBase<double> chain = profile;
        std::erase_if(chain.elements, IsShort);
        if (chain.elements.empty()) {
            return {};
        }
        const std::size_t capFrom = chain.elements.size();
        AppendCap(chain);
        for (std::size_t i = 0; i < chain.elements.size() && isConvex_; ++i) {
            const Element& element = chain.elements[i];
            // The sliver goes on as the arc ends; its own two points are too near to tell.
            const bool isSliver = i == capFrom && chain.elements.size() > i + 1;
            Append(element, isSliver ? Fan{last_, last_, 0} : FanOf(element));
        }
        // Flats alone have their rim.
        if (isConvex_ && endsInFlat_ && last_ < 0) {
            AddCorner(last_ + kAngleFloor, chain.elements.back().EndPoint());
        }
        return isConvex_ ? std::move(entries_) : std::vector<Entry>{};
    }

private:
    static void AppendCap(Planar::PolyArcSegBase<double>& chain)
    {
        const auto* const arc = chain.elements.back().AsArc();
        if (arc == nullptr) {
            return;
        }
        const Vec2d end = chain.elements.back().EndPoint();
        const Vec2d spoke = Normalized(end - arc->center, kLengthFloor<double>);
        const Vec2d beyond = end + Vec2d{-spoke.y(), spoke.x()} * kSliver;
        // Refused where the chain's tolerance or its coordinates' rounding is wider; the flat then
        // starts at the arc.
        chain.AppendSegment(end, beyond);
        chain.AppendSegment(beyond, {0, beyond.y()});
    }

    void Append(const Element& element, const Fan& fan)
    {
        const auto* const arc = element.AsArc();
        const double slack = kAngleFloor + fan.rounding + rounding_;
        // A turn to the left by more than half is one to the right.
        const double backward = arc != nullptr ? std::max(slack, kDrawnAngle) : slack;
        const bool turnsLeft = entries_.empty() || (fan.first >= last_ - backward &&
                                                    fan.first <= last_ + kPi<double> + slack);
        isConvex_ =
            turnsLeft && (arc == nullptr || arc->length >= 0) && fan.last <= kPi<double> + slack;
        if (!isConvex_) {
            return;
        }
        const bool isFirst = entries_.empty();
        const double start = isFirst ? fan.first : std::max(fan.first, last_);
        if (!isFirst && start > last_ + kAngleFloor) {
            AddCornerBefore(element.StartPoint());
        }
        Add(start, element);
        endsInFlat_ = arc == nullptr && !IsSlanted(element);
        endsInArc_ = arc != nullptr;
        last_ = std::max(start, fan.last);
        rounding_ = fan.rounding;
    }

    /// A slanted segment stands for the corner at its end, since it is its end that it is asked
    /// for. A flat, of which a tip may have several, and an arc don't.
    void AddCornerBefore(const Vec2d& point)
    {
        if (endsInFlat_) {
            AddCorner(last_ + kAngleFloor, point);
        } else if (endsInArc_) {
            AddCorner(last_, point);
        }
    }

    void AddCorner(double angle, const Vec2d& point)
    {
        Add(angle > kPi<double> ? angle - kTwoPi<double> : angle,
            Geometry::SegBase<double>{point, point});
    }

    void Add(double angle, const Element& element)
    {
        entries_.push_back({static_cast<int>(entries_.size()), angle, element});
    }

    std::vector<Entry> entries_;
    double last_ = 0; ///< angle of the normal where the profile ends so far
    double rounding_ = 0;
    bool endsInFlat_ = false; ///< is the last element a segment of which its start is asked for?
    bool endsInArc_ = false;  ///< is it an arc?
    bool isConvex_ = true;
};

ConvexToolOffset::ConvexToolOffset(const Planar::PolyArcSegBase<double>& profile)
    : entries_(Builder().Build(profile))
{
}

ConvexToolOffset::ConvexToolOffset(const ConvexStandardToolBase<double>& tool)
    : ConvexToolOffset(PolyArcSegFromTool(tool))
{
}

ConvexToolOffset::ConvexToolOffset(ConvexToolOffset&& other) noexcept
    : entries_(std::exchange(other.entries_, {}))
{
}

ConvexToolOffset& ConvexToolOffset::operator=(ConvexToolOffset&& other) noexcept
{
    entries_ = std::exchange(other.entries_, {});
    return *this;
}

ConvexToolOffset::~ConvexToolOffset() = default;

Vec3d ConvexToolOffset::OffsetFrom(const Vec3d& point, const Vec3d& normal) const
{
    if (entries_.empty()) {
        return {};
    }
    const Vec3d u = TowardAxis(normal);
    const double angle = ProfileAngle(normal);

    auto entry = std::lower_bound(entries_.begin(), entries_.end(), angle,
                                  [](const Entry& e, double value) { return e.angle < value; });
    if (entry == entries_.end() || (entry->angle > angle && entry != entries_.begin())) {
        --entry;
    }
    const Element& element = entry->element;
    if (const auto* const arc = element.AsArc()) {
        const Vec2d& c = arc->center;
        return point + normal * Geometry::Radius(*arc) - Vec3d{c.x() * u.x(), c.x() * u.y(), c.y()};
    }
    const Geometry::SegBase<double>& segment = *element.AsSegment();
    const Vec2d& s = IsSlanted(element) ? segment.end : segment.start;
    return point - Vec3d{s.x() * u.x(), s.x() * u.y(), s.y()};
}

Vec3d ConvexToolOffset::TipFrom(const Vec3d& point, const Vec3d& normal) const
{
    if (!entries_.empty() && ProfileAngle(normal) < entries_.front().angle) {
        const Vec3d u = TowardAxis(normal);
        const Vec2d s = entries_.front().element.StartPoint();
        return point - Vec3d{s.x() * u.x(), s.x() * u.y(), s.y()};
    }
    return OffsetFrom(point, normal);
}

} // namespace Velk::Math::Sorvane::Mill
