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
    explicit ArcLengths(const Outline& target, double onTarget)
        : target_(target), lengths_(Vector::PointStreamParameters(target, false)),
          tree_(Vector::PointStreamToSegments(target)), onTarget_(onTarget)
    {
    }

    double Whole() const { return lengths_.back(); }

    /// False for a point that is not on the target.
    bool At(const Vec2d& point, double& length) const
    {
        const auto nearest = tree_.ClosestPoint(point, onTarget_);
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
    double onTarget_;
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

/// Of an angle that ends and begins at one place the end wins.
BAngleSequence StepsOf(const std::vector<BAngleReport>& reports,
                       const std::vector<Intervals>& intervals)
{
    BAngleSequence sequence;
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
}

// --- around a closed target ---

/// The point at half the length of a line.
Vec2d Middle(const Outline& line)
{
    const std::vector<double> lengths = Vector::PointStreamParameters(line, false);
    const double half = 0.5 * lengths.back();
    const auto end = std::lower_bound(lengths.begin(), lengths.end(), half);
    const auto i = static_cast<std::size_t>(end - lengths.begin());
    if (i == 0 || i >= line.size()) {
        return line.front();
    }
    return line[i - 1] +
           (line[i] - line[i - 1]) * ((half - lengths[i - 1]) / (lengths[i] - lengths[i - 1]));
}

/// The target as what it is: an open line, or a loop that has no first place.
class Course {
public:
    explicit Course(const Outline& target)
        : rounding_(RoundingAt(target)), lengths_(target, std::max(kOnTarget, 8 * rounding_)),
          isLoop_(Vector::Length(target.back() - target.front()) <= rounding_)
    {
    }

    /// What a report reaches, ascending; neither do two meet, nor is there one without length.
    Intervals ReachedBy(const BAngleReport& report) const
    {
        Intervals intervals;
        intervals.reserve(report.reachable.size());
        for (const Outline& stretch : report.reachable) {
            Add(stretch, intervals);
        }
        return United(std::move(intervals));
    }

    /// Closes small gaps that meet the region.
    Intervals Bridged(const BAngleArcRegion& region, Intervals intervals) const
    {
        const double whole = lengths_.Whole();
        const double end = isLoop_ && region.end < region.start ? region.end + whole : region.end;
        const auto isBridged = [&](double low, double high) {
            if (!(high - low <= region.largestGap)) {
                return false;
            }
            const auto meets = [&](double by) {
                return low + by < end - kOnTarget && high + by > region.start + kOnTarget;
            };
            return meets(0) || (isLoop_ && (meets(whole) || meets(-whole)));
        };
        const std::size_t count = intervals.size();
        for (std::size_t i = 1; i < count; ++i) {
            if (isBridged(intervals[i - 1].high, intervals[i].low)) {
                intervals.push_back({intervals[i - 1].high, intervals[i].low});
            }
        }
        if (isLoop_ && count > 0 &&
            isBridged(intervals[count - 1].high, whole + intervals[0].low)) {
            const double high = intervals[count - 1].high;
            intervals.push_back({0, intervals[0].low});
            intervals.push_back({high, whole});
        }
        return United(std::move(intervals));
    }

private:
    /// How far what is computed at these places may be off.
    static double RoundingAt(const Outline& target)
    {
        double farthest = 0;
        for (const Vec2d& point : target) {
            farthest = std::max({farthest, std::fabs(point.x()), std::fabs(point.y())});
        }
        return std::max(kTouching, kRounding * farthest);
    }

    void Add(const Outline& stretch, Intervals& intervals) const
    {
        double first = 0;
        double last = 0;
        if (stretch.empty() || !lengths_.At(stretch.front(), first) ||
            !lengths_.At(stretch.back(), last)) {
            return;
        }
        const Interval between{std::min(first, last), std::max(first, last)};
        if (isLoop_ && RunsOverStart(stretch, between)) {
            intervals.push_back({0, between.low});
            intervals.push_back({between.high, lengths_.Whole()});
        } else {
            intervals.push_back(between);
        }
    }

    /// Two places part a loop into two ways from one to the other. The middle of the stretch tells
    /// which of them it takes: it is that of one way, and half the loop from that of the other.
    bool RunsOverStart(const Outline& stretch, const Interval& between) const
    {
        double middle = 0;
        if (!lengths_.At(Middle(stretch), middle)) {
            return false;
        }
        const double away = std::fabs(middle - 0.5 * (between.low + between.high));
        return std::min(away, lengths_.Whole() - away) > 0.25 * lengths_.Whole();
    }

    Intervals United(Intervals intervals) const
    {
        SortByLow(intervals);
        Intervals united;
        for (const Interval& interval : intervals) {
            if (!united.empty() && interval.low <= united.back().high + rounding_) {
                united.back().high = std::max(united.back().high, interval.high);
            } else {
                united.push_back(interval);
            }
        }
        for (Interval& interval : united) {
            interval.low = interval.low <= rounding_ ? 0 : interval.low;
            interval.high =
                interval.high >= lengths_.Whole() - rounding_ ? lengths_.Whole() : interval.high;
        }
        std::erase_if(united, [&](const Interval& interval) {
            return interval.high - interval.low <= rounding_;
        });
        return united;
    }

    double rounding_;
    ArcLengths lengths_;
    bool isLoop_;
};

} // namespace

BAngleSequence SequenceBAxisAngleSweep(const std::vector<VecBase<2, double>>& target,
                                       const std::vector<BAngleReport>& reports,
                                       std::vector<BAngleArcRegion> arcRegions)
{
    return Progress::Impl::Stoppable([&]() -> BAngleSequence {
        if (target.size() < 2) {
            return {};
        }
        const ArcLengths lengths(target, kOnTarget);
        std::vector<Intervals> intervals(reports.size());
        Parallel::Impl::ApplyParallel(std::size_t{0}, reports.size(), [&](std::size_t i) {
            intervals[i] = IntervalsOf(reports[i], lengths);
            for (const BAngleArcRegion& region : arcRegions) {
                Bridge(region, intervals[i]);
            }
            JoinTouching(intervals[i]);
        });
        return StepsOf(reports, intervals);
    });
}

BAngleSequence SequenceBAxisAngleSweepAround(const std::vector<VecBase<2, double>>& target,
                                             const std::vector<BAngleReport>& reports,
                                             const std::vector<BAngleArcRegion>& arcRegions)
{
    return Progress::Impl::Stoppable([&]() -> BAngleSequence {
        if (target.size() < 2) {
            return {};
        }
        const Course course(target);
        std::vector<Intervals> intervals(reports.size());
        Parallel::Impl::ApplyParallel(std::size_t{0}, reports.size(), [&](std::size_t i) {
            intervals[i] = course.ReachedBy(reports[i]);
            for (const BAngleArcRegion& region : arcRegions) {
                intervals[i] = course.Bridged(region, std::move(intervals[i]));
            }
        });
        return StepsOf(reports, intervals);
    });
}

} // namespace Velk::Math::Sorvane::Lathe
