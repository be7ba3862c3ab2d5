#include "machining/ProfileContact_Impl.h"

#include "mathbase/SegmentPoint_Impl.h"

namespace Velk::Math::Sorvane::Mill::Impl {

namespace {

/// Rounding of a place on a circle of radius 1.
constexpr double kBend = 1e-12;
/// Squared distance from the axis up to which an edge is dropped on as if it met the axis: far
/// below any rounding, and far above where squares vanish.
constexpr double kThroughAxisSquared = 1e-60;

/// The stretch of a facet's line of steepest slope, relative to the axis that the line passes
/// below.
struct Stretch {
    Vec3d foot; // the place nearest to the axis
    Vec3d p; // where the line leaves the facet on either side; one of them the foot itself when the
             // axis
    Vec3d q; // misses the facet
};

/// A height between two others that rounding may have put beyond them.
double Between(double z, double a, double b)
{
    return std::clamp(z, std::min(a, b), std::max(a, b));
}

/// b2 of an edge that passes the axis closely, for which `SpinSegment` tells 0: counting as meeting
/// the axis it would hold a pointed tool too high, by the distance times the slope of the tip. 0
/// for an edge that meets the axis, and for one that is level or upright.
double SmallB2(const SpunHyperbola& spun)
{
    const Vec3d along = spun.highPoint - spun.lowPoint;
    const double squaredPlan = along.x() * along.x() + along.y() * along.y();
    const bool isStraight = spun.a2 <= kThroughAxisSquared || !(squaredPlan > kUprightSquared);
    return isStraight ? 0.0 : spun.a2 * (along.z() * along.z() / squaredPlan);
}

/// False for a facet that the line misses, and for an upright one, which stops a tool by its edges.
bool SteepestStretch(const std::array<Vec3d, 3>& corner, Stretch& stretch)
{
    const Vec3d normal = (corner[1] - corner[0]) ^ (corner[2] - corner[0]);
    if (normal.z() == 0.0) {
        return false;
    }
    const double steepness = std::sqrt(normal.x() * normal.x() + normal.y() * normal.y());
    // On a level facet every line is as steep: the one along X.
    const Vec2d along =
        steepness > 0.0 ? Vec2d{normal.x() / steepness, normal.y() / steepness} : Vec2d{1.0, 0.0};
    const auto besideLine = [&](const Vec3d& p) { return along[0] * p.y() - along[1] * p.x(); };
    const auto onLine = [&](const Vec3d& p) { return along[0] * p.x() + along[1] * p.y(); };

    // Place along the line, and z, of its two exits.
    Vec2d first{std::numeric_limits<double>::infinity(), 0.0};
    Vec2d last{-std::numeric_limits<double>::infinity(), 0.0};
    const auto extend = [&](double place, double z) {
        if (place < first[0]) {
            first = {place, z};
        }
        if (place > last[0]) {
            last = {place, z};
        }
    };
    const std::array<double, 3> beside{besideLine(corner[0]), besideLine(corner[1]),
                                       besideLine(corner[2])};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        if (beside[i] == 0.0) {
            extend(onLine(corner[i]), corner[i].z());
        }
        if ((beside[i] < 0.0 && beside[j] > 0.0) || (beside[i] > 0.0 && beside[j] < 0.0)) {
            const double share = beside[i] / (beside[i] - beside[j]);
            const Vec3d crossing = corner[i] + (corner[j] - corner[i]) * share;
            extend(onLine(crossing), Between(crossing.z(), corner[i].z(), corner[j].z()));
        }
    }
    if (!(first[0] <= last[0])) {
        return false;
    }
    const auto pointAt = [&](const Vec2d& exit) {
        return Vec3d{along[0] * exit[0], along[1] * exit[0], exit[1]};
    };
    stretch.p = pointAt(first);
    stretch.q = pointAt(last);
    if (first[0] >= 0.0) {
        stretch.foot = stretch.p;
    } else if (last[0] <= 0.0) {
        stretch.foot = stretch.q;
    } else {
        const double share = -first[0] / (last[0] - first[0]);
        stretch.foot = {0.0, 0.0,
                        Between(first[1] + (last[1] - first[1]) * share, first[1], last[1])};
    }
    return true;
}

} // namespace

ProfileContact::ProfileContact(const Planar::PolyArcSegBase<double>& profile,
                               const std::vector<Vec2d>& ranges)
{
    const std::size_t elementCount = std::min(profile.elements.size(), ranges.size());
    double endHeight = 0.0; // of the profile so far
    double endSlope = 0.0;
    for (std::size_t i = 0; i < elementCount && count_ < kMostElements; ++i) {
        Slot slot;
        slot.number = static_cast<int>(i);
        const Geometry::ArcBase<double>* const arc = profile.elements[i].AsArc();
        slot.isRound = arc != nullptr;
        if (slot.isRound) {
            slot.round = RoundElement(*arc, ranges[i]);
        } else {
            slot.straight = StraightElement(*profile.elements[i].AsSegment());
        }
        const RadialRange range = slot.isRound ? slot.round.Range() : slot.straight.Range();
        if (range.IsEmpty()) {
            continue;
        }
        const double bottom = slot.isRound ? slot.round.Bottom(range) : slot.straight.Bottom(range);
        bottom_ = count_ == 0 ? bottom : std::min(bottom_, bottom);
        const auto slopeAt = [&slot](double r) {
            return slot.isRound ? slot.round.SlopeAt(r) : slot.straight.Slope();
        };
        const auto heightAt = [&slot](double r) {
            return slot.isRound ? slot.round.HeightAt(r) : slot.straight.HeightAt(r);
        };
        // The slope at a joint that is smooth has the rounding of an arc's end.
        const double fall = slopeAt(range.low) >= endSlope ? 0.0 : endSlope - slopeAt(range.low);
        const bool isSteeper = fall <= kBend * std::pow(1.0 + endSlope * endSlope, 1.5);
        bend_ = std::max(bend_, fall);
        isConvex_ = isConvex_ && std::fabs(range.low - radius_) <= kMatch * (1.0 + radius_) &&
                    std::fabs(heightAt(range.low) - endHeight) <= kMatch * (1.0 + endHeight) &&
                    isSteeper;
        endHeight = heightAt(range.high);
        endSlope = slopeAt(range.high);
        radius_ = std::max(radius_, range.high);
        slots_[count_++] = slot;
    }
}

void ProfileContact::DropOnHyperbola(const SpunHyperbola& spun, int triangle,
                                     ContactReport& report) const
{
    const auto dropOnCurve = [&](const SpunHyperbola& curve) {
        const HyperbolaTarget target(curve);
        ForEach([&](const auto& element, int number) {
            TouchHyperbola(element, target, curve, triangle, number, report);
        });
    };
    if (spun.b2 > 0.0) {
        dropOnCurve(spun);
        return;
    }
    if (spun.a2 <= kMeetsAxisSquared) {
        SpunHyperbola curve = spun;
        curve.b2 = SmallB2(spun);
        if (curve.b2 > 0.0) {
            dropOnCurve(curve);
            return;
        }
    }
    const Vec3d& low = spun.lowPoint;
    const Vec3d& high = spun.highPoint;
    if (low == high) {
        DropOnStretch({spun.lowEnd, spun.highEnd}, triangle, report);
        return;
    }
    const auto place = Math::Impl::NearestPlace(Vec2d{low.x(), low.y()}, Vec2d{high.x(), high.y()},
                                                Vec2d{}, Math::Impl::ShorterThan(kMatch));
    Vec3d foot = place.parameter == 1.0 ? high : low + (high - low) * place.parameter;
    if (place.parameter > 0.0 && place.parameter < 1.0 && spun.a2 <= kThroughAxisSquared) {
        foot = {0.0, 0.0, foot.z()}; // where the place beside the axis is rounding
    }
    DropOnSeg(foot, low, high, triangle, report);
}

void ProfileContact::DropOnFacet(const std::array<Vec3d, 3>& corner, int triangle,
                                 ContactReport& report) const
{
    Stretch stretch;
    if (SteepestStretch(corner, stretch)) {
        DropOnSeg(stretch.foot, stretch.p, stretch.q, triangle, report);
    }
}

} // namespace Velk::Math::Sorvane::Mill::Impl
