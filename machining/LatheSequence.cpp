// From what each tilt reaches to the tilts that are valid along the target.

#include <Sorvane/Lathe_E.h>

#include <Sorvane/SegmentTree_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>

namespace Velk::Math::Sorvane::Lathe {

namespace {

using Outline = std::vector<Vec2d>;

/// An end of a reachable stretch is on the target within this.
constexpr double kOnTarget = 1e-8;
/// Intervals touch within this, or within the rounding of their ends where that is more.
constexpr double kTouching = 1e-12;
constexpr double kRounding = 8 * std::numeric_limits<double>::epsilon();

/// A stretch of arc length of the target.
struct Interval {
    double low;
    double high;
};
using Intervals = std::vector<Interval>;

/// Arc length along the target, by point.
class ArcLengths {
public:
    explicit ArcLengths(const Outline& target)
        : target_(target), lengths_(Vector::PointStreamParameters(target, false)),
          tree_(Vector::PointStreamToSegments(target))
    {
    }

    /// False for a point that is not on the target.
    bool At(const Vec2d& point, double& length) const
    {
        const auto nearest = tree_.ClosestPoint(point, kOnTarget);
        if (nearest.id < 0) {
            return false;
        }
        const auto i = static_cast<std::size_t>(nearest.id);
        const Vec2d along = target_[i + 1] - target_[i];
        const double square = along * along;
        const double place =
            square > kSquaredLengthFloor<double> ? ((point - target_[i]) * along) / square : 0.0;
        length = lengths_[i] + (lengths_[i + 1] - lengths_[i]) * place;
        if (lengths_[i] <= lengths_[i + 1]) {
            length = std::clamp(length, lengths_[i], lengths_[i + 1]);
        }
        return Math::Impl::IsFinite(length);
    }

private:
    const Outline& target_;
    std::vector<double> lengths_;
    Tree::Quadtree::SegmentTree<double> tree_;
};

void SortByLow(Intervals& intervals)
{
    std::stable_sort(intervals.begin(), intervals.end(),
                     [](const Interval& a, const Interval& b) { return a.low < b.low; });
}

Intervals IntervalsOf(const BAngleReport& report, const ArcLengths& lengths)
{
    Intervals intervals;
    intervals.reserve(report.reachable.size());
    for (const Outline& stretch : report.reachable) {
        double first = 0;
        double last = 0;
        if (!stretch.empty() && lengths.At(stretch.front(), first) &&
            lengths.At(stretch.back(), last)) {
            intervals.push_back({std::min(first, last), std::max(first, last)});
        }
    }
    SortByLow(intervals);
    return intervals;
}

/// Closes small gaps between the last interval that reaches the region's start, or lies before it,
/// and the last one that reaches its end or lies beyond it.
void Bridge(const BAngleArcRegion& region, Intervals& intervals)
{
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::size_t first = kNone;
    std::size_t last = kNone;
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        first = intervals[i].low <= region.start ? i : first;
        last = intervals[i].high >= region.end ? i : last;
    }
    if (first == kNone || last == kNone || first >= last) {
        return;
    }
    Intervals bridged;
    bridged.reserve(intervals.size());
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        const bool closes =
            i > first && i <= last &&
            std::fabs(intervals[i].low - intervals[i - 1].high) <= region.largestGap;
        if (closes) {
            bridged.back().high = intervals[i].high;
        } else {
            bridged.push_back(intervals[i]);
        }
    }
    intervals = std::move(bridged);
    SortByLow(intervals);
}

void JoinTouching(Intervals& intervals)
{
    Intervals joined;
    joined.reserve(intervals.size());
    for (const Interval& interval : intervals) {
        const double bearable = std::max(kTouching, kRounding * std::fabs(interval.low));
        if (!joined.empty() && std::fabs(interval.low - joined.back().high) <= bearable) {
            joined.back().high = interval.high;
        } else {
            joined.push_back(interval);
        }
    }
    intervals = std::move(joined);
}

/// What changes at a place: numbers of reports.
struct Changes {
    std::vector<std::size_t> on;
    std::vector<std::size_t> off;
};

} // namespace

BAngleSequence SequenceBAxisAngleSweep(const std::vector<VecBase<2, double>>& target,
                                       const std::vector<BAngleReport>& reports,
                                       std::vector<BAngleArcRegion> arcRegions)
{
    return Progress::Impl::Stoppable([&]() -> BAngleSequence {
        BAngleSequence sequence;
        if (target.size() < 2) {
            return sequence;
        }
        const ArcLengths lengths(target);
        std::vector<Intervals> intervals(reports.size());
        Parallel::Impl::ApplyParallel(std::size_t{0}, reports.size(), [&](std::size_t i) {
            intervals[i] = IntervalsOf(reports[i], lengths);
            for (const BAngleArcRegion& region : arcRegions) {
                Bridge(region, intervals[i]);
            }
            JoinTouching(intervals[i]);
        });

        // Of an angle that ends and begins at one place the end wins.
        std::map<double, Changes> places;
        for (std::size_t i = 0; i < reports.size(); ++i) {
            sequence.angles.push_back(reports[i].angle);
            for (const Interval& interval : intervals[i]) {
                places[interval.low].on.push_back(i);
                places[interval.high].off.push_back(i);
            }
        }
        std::vector<bool> valid(reports.size(), false);
        sequence.steps.reserve(places.size());
        for (const auto& [parameter, changes] : places) {
            for (const std::size_t i : changes.on) {
                valid[i] = true;
            }
            for (const std::size_t i : changes.off) {
                valid[i] = false;
            }
            sequence.steps.push_back({parameter, valid});
        }
        return sequence;
    });
}

} // namespace Velk::Math::Sorvane::Lathe
