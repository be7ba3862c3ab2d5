// Arc fitting: polylines thinned, and turned into chains of segments and arcs.
//
// 1. Thin the polyline: its ends and the points that bend more than an arc which leaves the
// diagonal
//    of the box by the tolerance (ArcFittingRuns.cpp, as are 2 and 3).
// 2. Runs of points where the curvature stays the same, and single steps between them.
// 3. Runs reach for the neighbors that lie on their circle: the ends of arcs.
// 4. One element for each run: the arc through its first, middle and last point, the segment when
//    that is as good, the fitted circle for a closed run.
// 5. Each element is measured against the points that it stands for. Where one lies too far off,
//    the stretch is divided: the longest part from its start that one element fits, found by
//    doubling and halving, again and again.

#include <Sorvane/ArcFitting_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"
#include "planar/ArcFitting_Impl.h"
#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;
using Geometry::ArcBase;
using Geometry::SegBase;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

/// Part of an arc's radius by which it may be off the mean radius of curvature of its points.
constexpr double kMeanShare = 0.1;
/// Part of a circle's circumference by which a closed run of points may be longer or shorter.
constexpr double kTurnShare = 0.1;
/// Part of an arc's sweep by which the points may run round its center more or less.
constexpr double kSweepShare = 0.1;
/// Between points that make an arc: any three lie on one.
constexpr int kFewestSteps = 3;
/// How often each point may be measured again, in the mean.
constexpr std::int64_t kMeasuresOfAPoint = 64;
/// Roundings of a coordinate by which a point may be off an element beyond the tolerance: the
/// element's own numbers are rounded too.
constexpr double kRoundings = 8;

template <class T>
std::vector<Vec2d> WidenedPoints(const std::vector<VecBase<2, T>>& points)
{
    std::vector<Vec2d> wide(points.size());
    std::transform(points.begin(), points.end(), wide.begin(),
                   [](const VecBase<2, T>& point) { return Widened(point); });
    return wide;
}

template <class T>
PointAccuracy AccuracyOf(const std::vector<Vec2d>& points)
{
    double largest = 0;
    for (const Vec2d& point : points) {
        largest = std::max(largest, Math::Impl::LargestMagnitude(point));
    }
    return {static_cast<double>(kLengthFloor<T>),
            static_cast<double>(std::numeric_limits<T>::epsilon()) * largest};
}

double DiagonalOf(const std::vector<Vec2d>& points)
{
    if (points.empty()) {
        return 0;
    }
    Vec2d low = points.front();
    Vec2d high = low;
    for (const Vec2d& point : points) {
        for (int axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    }
    return Length(high - low);
}

/// Distances of points from an arc, without an angle for each of them.
class DistanceFromArc {
public:
    explicit DistanceFromArc(const ArcBase<double>& arc)
        : arc_(arc), end_(Geometry::EndPoint(arc)), spoke_(arc.start - arc.center),
          endSpoke_(end_ - arc.center), sense_(arc.length < 0 ? -1 : 1)
    {
        const double halfTurn = kPi<double> * Length(spoke_);
        constexpr double kWhole = 1 - 16 * std::numeric_limits<double>::epsilon();
        isWhole_ = std::fabs(arc.length) >= 2 * halfTurn * kWhole;
        isOverHalf_ = std::fabs(arc.length) > halfTurn;
    }

    double operator()(const Vec2d& point) const
    {
        const double fromEnds = std::min(Length(point - arc_.start), Length(point - end_));
        return IsInSector(point) ? std::min(std::fabs(OffCircle(arc_, point)), fromEnds) : fromEnds;
    }

private:
    bool IsInSector(const Vec2d& point) const
    {
        if (isWhole_) {
            return true;
        }
        // Against the ends and not the center, which is far off for a flat arc.
        const bool isPastStart = sense_ * (spoke_ ^ (point - arc_.start)) >= 0;
        const bool isBeforeEnd = sense_ * ((point - end_) ^ endSpoke_) >= 0;
        return isOverHalf_ ? isPastStart || isBeforeEnd : isPastStart && isBeforeEnd;
    }

    ArcBase<double> arc_;
    Vec2d end_;
    Vec2d spoke_;
    Vec2d endSpoke_;
    double sense_ = 1;
    bool isWhole_ = false;
    bool isOverHalf_ = false;
};

/// The chain as it grows along the points.
template <class T>
class ChainFit {
public:
    ChainFit(const std::vector<Vec2d>& points, const std::vector<int>& kept,
             const PointAccuracy& accuracy, T tol)
        : points_(points), kept_(kept), floor_(accuracy.floor), tol_(tol),
          limit_(static_cast<double>(tol) + kRoundings * accuracy.rounding)
    {
        chain_.tolerance = tol;
        measuresLeft_ = kMeasuresOfAPoint * static_cast<std::int64_t>(points.size());
        for (const int number : kept) {
            thinned_.push_back(points[static_cast<std::size_t>(number)]);
        }
    }

    PolyArcSegBase<T> Fit(const PointAccuracy& accuracy)
    {
        if (thinned_.size() > 1) {
            const std::vector<double> curvatures = Curvatures(thinned_);
            for (const Run& run : RunsOfOneCurvature(thinned_, curvatures, tol_, accuracy)) {
                AppendRun(run, curvatures);
            }
            AppendRest();
        }
        return std::move(chain_);
    }

private:
    /// Points [first, last] of the input.
    struct Stretch {
        int first = 0;
        int last = 0;
    };

    const Vec2d& Thinned(int i) const { return thinned_[static_cast<std::size_t>(i)]; }
    const Vec2d& Point(int i) const { return points_[static_cast<std::size_t>(i)]; }
    Stretch StretchOf(const Run& run) const
    {
        return {kept_[static_cast<std::size_t>(run.first)],
                kept_[static_cast<std::size_t>(run.last)]};
    }

    void AppendRun(const Run& run, const std::vector<double>& curvatures)
    {
        // Nothing joins a chain that ends elsewhere.
        if (!chain_.elements.empty() &&
            !(Length(Thinned(run.first) - ChainEnd()) <= static_cast<double>(tol_))) {
            return;
        }
        if (run.first + 1 == run.last) {
            if (!AppendSegmentTo(Thinned(run.last), StretchOf(run))) {
                Divide(StretchOf(run));
            }
            return;
        }
        AppendCurved(run, curvatures);
    }

    /// What lies behind the last thinned point is near to it, but the chain may end before that.
    void AppendRest()
    {
        const Stretch rest{kept_.back(), static_cast<int>(points_.size()) - 1};
        if (chain_.elements.empty() ||
            !(Length(Point(rest.first) - ChainEnd()) <= static_cast<double>(tol_))) {
            return;
        }
        const ArcSegBase<T>& last = chain_.elements.back();
        const SegBase<T>* const segment = last.AsSegment();
        if (segment != nullptr ? !(DistanceFromSegment(rest, Widened(segment->start),
                                                       Widened(segment->end)) <= limit_)
                               : !IsNearArc(rest, *last.AsArc())) {
            Divide(rest);
        }
    }

    void AppendCurved(const Run& run, const std::vector<double>& curvatures)
    {
        ArcBase<double> arc = ArcThrough(Thinned(run.first), Thinned((run.first + run.last) / 2),
                                         Thinned(run.last), floor_);
        bool isTurn = false;
        if (Geometry::Radius(arc) == 0 && IsWholeLoop(run)) {
            arc = Geometry::FitCircle<0, double>(thinned_, nullptr, nullptr);
            const double turn = kTwoPi<double> * Geometry::Radius(arc);
            isTurn = kTurnShare * turn >= std::fabs(turn - Vector::Length(thinned_));
        }
        const double radius = Geometry::Radius(arc);
        const double meanRadius = std::fabs(1 / MeanCurvature(run, curvatures));
        const Stretch stretch = StretchOf(run);
        // In this form, so that NaN is off as well.
        if (!(std::fabs(radius - meanRadius) <= kMeanShare * radius)) {
            Divide(stretch); // no one arc: an ellipse, a spiral, a circle after a lead-in
            return;
        }
        const Vec2d end = Geometry::EndPoint(arc);
        const double step = Geometry::AngleStep(radius, static_cast<double>(tol_));
        if (isTurn || std::sin(step) * radius < Length(end - arc.start)) {
            if (!AppendArc(arc, stretch)) {
                Divide(stretch);
            }
            return;
        }
        // Too flat to tell from its chord, or all but closed, and then the chord won't do.
        if (!ProlongTo(arc.start, end, stretch) && !AppendSegmentTo(Thinned(run.last), stretch) &&
            !AppendArc(arc, stretch)) {
            Divide(stretch);
        }
    }

    bool IsWholeLoop(const Run& run) const
    {
        return run.first == 0 && run.last + 1 == static_cast<int>(thinned_.size()) &&
               Matches(thinned_.front(), thinned_.back(), floor_);
    }

    static double MeanCurvature(const Run& run, const std::vector<double>& curvatures)
    {
        double sum = 0;
        for (int i = run.first + 1; i < run.last; ++i) {
            sum += curvatures[static_cast<std::size_t>(i)];
        }
        return sum / (run.last - run.first - 1);
    }

    Vec2d ChainEnd() const { return Widened(chain_.elements.back().EndPoint()); }
    Vec2d ChainEndOr(const Vec2d& start) const
    {
        return chain_.elements.empty() ? start : ChainEnd();
    }

    /// Largest distance of a point of the stretch from the segment; above the limit only that it
    /// is above.
    double DistanceFromSegment(const Stretch& stretch, const Vec2d& from, const Vec2d& to) const
    {
        const double squaredLimit = limit_ * limit_;
        double largest = 0;
        for (int i = stretch.first; i <= stretch.last && largest <= squaredLimit; ++i) {
            largest = std::max(largest, Math::Impl::SquaredDistanceToSegment(
                                            from, to, Point(i), Math::Impl::kPointsAreShort));
        }
        return std::sqrt(largest);
    }
    bool FitsSegment(const Stretch& stretch, const Vec2d& from, const Vec2d& to) const
    {
        return DistanceFromSegment(stretch, from, EndOfSegmentTo(to, from)) <= limit_;
    }

    /// Where a segment from the chain's end leads: nowhere, if the chain ends there already. Points
    /// that the path passed on its way out and back are then measured from the chain's end.
    Vec2d EndOfSegmentTo(const Vec2d& to, const Vec2d& from) const
    {
        const bool isLeftOut =
            !chain_.elements.empty() &&
            !(Length(Widened(Narrowed<T>(to)) - from) > static_cast<double>(tol_));
        return isLeftOut ? from : to;
    }

    bool IsNearArc(const Stretch& stretch, const ArcBase<T>& arc) const
    {
        const DistanceFromArc distance(Wide(arc));
        for (int i = stretch.first; i <= stretch.last; ++i) {
            if (!(distance(Point(i)) <= limit_)) {
                return false;
            }
        }
        return true;
    }

    /// Is every point of the stretch within the limit of the arc, and do they run round its center
    /// as far as it does? Points can be near an arc of the wrong sense, or of a turn less.
    bool FitsArc(const Stretch& stretch, const ArcBase<T>& arc) const
    {
        if (!IsNearArc(stretch, arc)) {
            return false;
        }
        const ArcBase<double> wide = Wide(arc);
        double sweptArea = 0; // doubled
        for (int i = stretch.first + 1; i <= stretch.last; ++i) {
            sweptArea += (Point(i - 1) - wide.center) ^ (Point(i) - Point(i - 1));
        }
        const double swept = sweptArea / Geometry::Radius(wide);
        return std::fabs(swept - wide.length) <= kSweepShare * std::fabs(wide.length);
    }

    /// Appends the segment to `to`, and tells whether the points are within reach of it. When the
    /// chain ends there already nothing is appended.
    bool AppendSegmentTo(const Vec2d& to, const Stretch& stretch)
    {
        const Vec2d from = ChainEndOr(Point(stretch.first));
        const double distance = DistanceFromSegment(stretch, from, EndOfSegmentTo(to, from));
        if (!(distance <= limit_)) {
            return false;
        }
        if (chain_.AppendSegment(Narrowed<T>(from), Narrowed<T>(to))) {
            lastFirst_ = stretch.first;
            lastDistance_ = distance;
        }
        return true;
    }

    bool AppendArc(const ArcBase<double>& arc, const Stretch& stretch)
    {
        const ArcBase<T> narrow{Narrowed<T>(arc.center), Narrowed<T>(arc.start),
                                static_cast<T>(arc.length)};
        return FitsArc(stretch, narrow) &&
               chain_.AppendArc(narrow.center, narrow.start, narrow.length);
    }

    /// Moves the end of the last element to `end` when it is a segment that the chord from `start`
    /// goes on straight from. The points of the segment are then as far from it as they were, and
    /// no more than its former end is: a bound that is kept instead of measuring them again, as
    /// long as it holds.
    bool ProlongTo(const Vec2d& start, const Vec2d& end, const Stretch& stretch)
    {
        SegBase<T>* const last =
            chain_.elements.empty() ? nullptr : chain_.elements.back().AsSegment();
        if (last == nullptr ||
            !Geometry::IsTangent(*last, {Narrowed<T>(start), Narrowed<T>(end)}, tol_)) {
            return false;
        }
        const Vec2d from = Widened(last->start);
        const double moved = std::sqrt(Math::Impl::SquaredDistanceToSegment(
            from, end, Widened(last->end), Math::Impl::kPointsAreShort));
        const double distance = DistanceFromSegment(stretch, from, end);
        if (!(distance <= limit_)) {
            return false;
        }
        double former = lastDistance_ + moved;
        if (!(former <= limit_)) {
            const Stretch before{lastFirst_, stretch.first};
            if (before.last - before.first > measuresLeft_) {
                return false;
            }
            measuresLeft_ -= before.last - before.first;
            former = DistanceFromSegment(before, from, end);
            if (!(former <= limit_)) {
                return false;
            }
        }
        last->end = Narrowed<T>(end);
        lastDistance_ = std::max(former, distance);
        return true;
    }

    /// The arc through `from`, the middle and the last point of a stretch; the whole circle where
    /// the stretch comes back to where it began.
    ArcBase<double> ArcAlong(const Stretch& stretch, const Vec2d& from) const
    {
        const int count = stretch.last - stretch.first;
        if (!Matches(Point(stretch.first), Point(stretch.last), floor_)) {
            return ArcThrough(from, Point(stretch.first + count / 2), Point(stretch.last), floor_);
        }
        auto arc = ArcThrough(from, Point(stretch.first + count / 3),
                              Point(stretch.first + count / 3 * 2), floor_);
        arc.length = std::copysign(kTwoPi<double> * Geometry::Radius(arc), arc.length);
        return arc;
    }

    /// `ArcAlong`, if it fits. Between the points too: with no curvatures asked, few points on a
    /// circle are not enough.
    std::optional<ArcBase<double>> ArcOver(const Stretch& stretch, const Vec2d& from) const
    {
        if (stretch.last - stretch.first < kFewestSteps) {
            return {};
        }
        const auto arc = ArcAlong(stretch, from);
        if (Geometry::Radius(arc) == 0 ||
            !FitsArc(stretch,
                     {Narrowed<T>(arc.center), Narrowed<T>(from), static_cast<T>(arc.length)})) {
            return {};
        }
        const DistanceFromArc distance(arc);
        for (int i = stretch.first; i < stretch.last; ++i) {
            if (!(distance(0.5 * (Point(i) + Point(i + 1))) <= limit_)) {
                return {};
            }
        }
        return arc;
    }

    /// Last point of the stretch that one element reaches, of which `fits` tells for a given last
    /// point; the first one if it does not reach over the `fewest` steps. Doubling steps, then
    /// halved ones, so that the points looked at are of the order of the points reached.
    template <class Fits>
    static int FarthestReached(const Stretch& stretch, int fewest, const Fits& fits)
    {
        int reached = stretch.first;
        const auto goesOnBy = [&](int steps) {
            if (steps > stretch.last - reached || !fits(reached + steps)) {
                return false;
            }
            reached += steps;
            return true;
        };
        if (!goesOnBy(fewest)) {
            return stretch.first;
        }
        int step = 1;
        while (goesOnBy(step)) {
            step *= 2;
        }
        for (; step > 0; step /= 2) {
            goesOnBy(step);
        }
        return reached;
    }

    /// Elements over a stretch that none fits alone. Arcs are sought from their fewest points on:
    /// on the way there no element may fit.
    void Divide(const Stretch& stretch)
    {
        for (int first = stretch.first; first < stretch.last;) {
            const Vec2d from = ChainEndOr(Point(first));
            const Stretch rest{first, stretch.last};
            const int straight = FarthestReached(rest, 1, [&](int last) {
                return FitsSegment({first, last}, from, Point(last));
            });
            const int curved = FarthestReached(rest, kFewestSteps, [&](int last) {
                return ArcOver({first, last}, from).has_value();
            });
            if (curved > straight) {
                const auto arc = ArcAlong({first, curved}, from);
                chain_.AppendArc(Narrowed<T>(arc.center), Narrowed<T>(from),
                                 static_cast<T>(arc.length));
                first = curved;
                continue;
            }
            const Stretch part{first, std::max(straight, first + 1)};
            if (!AppendSegmentTo(Point(part.last), part)) {
                chain_.AppendSegment(Narrowed<T>(from), Narrowed<T>(Point(part.last)));
                lastFirst_ = part.first;
                lastDistance_ = limit_;
            }
            first = part.last;
        }
    }

    const std::vector<Vec2d>& points_;
    const std::vector<int>& kept_;
    std::vector<Vec2d> thinned_;
    double floor_;
    T tol_;
    double limit_;
    PolyArcSegBase<T> chain_;
    int lastFirst_ = 0;       // where the points of the last element, a segment, begin
    double lastDistance_ = 0; // and none of them is farther from it
    // Points that may be measured again, so that it remains a part of the work: where a segment is
    // prolonged over and over at the very limit, it ends early then.
    std::int64_t measuresLeft_ = 0;
};

/// Numbers of the points that runs are made of.
std::vector<int> ThinnedForArcs(const std::vector<Vec2d>& points, double diagonal, double tol,
                                const PointAccuracy& accuracy)
{
    const double radius = Geometry::ApparentArcRadius(diagonal, tol);
    const double straightest = std::fabs(radius) <= tol ? tol : 1 / radius;
    std::vector<int> kept = KeptPoints(points, straightest, tol, accuracy);

    // Points match per coordinate. Along a diagonal the end can be left out though it is farther
    // than the tolerance from the last point kept.
    const Vec2d& last = points[static_cast<std::size_t>(kept.back())];
    const auto isFar = [&](const Vec2d& point) { return Length(point - last) > tol; };
    if (std::any_of(points.begin() + kept.back(), points.end(), isFar)) {
        kept.push_back(static_cast<int>(points.size()) - 1);
    }
    return kept;
}

} // namespace

template <class T>
PolyArcSegBase<T> Impl::FitArcsAndSegs(const std::vector<VecBase<2, T>>& points, double diagonal,
                                       T tol)
{
    PolyArcSegBase<T> none;
    none.tolerance = tol;
    if (!(tol >= T{0} && Math::Impl::IsFinite(tol)) || points.size() < 2 ||
        !Math::Impl::AreUsable(points)) {
        return none;
    }
    const std::vector<Vec2d> wide = WidenedPoints(points);
    const PointAccuracy accuracy = AccuracyOf<T>(wide);
    const std::vector<int> kept = ThinnedForArcs(wide, diagonal, tol, accuracy);
    return ChainFit<T>(wide, kept, accuracy, tol).Fit(accuracy);
}

template <class T>
std::vector<VecBase<2, T>> FilterZeroCurvature(const std::vector<VecBase<2, T>>& points,
                                               T curvatureTolerance, T pointTolerance)
{
    std::vector<VecBase<2, T>> result;
    if (std::isnan(curvatureTolerance) || std::isnan(pointTolerance) ||
        !Math::Impl::AreUsable(points)) {
        return result;
    }
    const std::vector<Vec2d> wide = WidenedPoints(points);
    for (const int number :
         KeptPoints(wide, curvatureTolerance, pointTolerance, AccuracyOf<T>(wide))) {
        result.push_back(points[static_cast<std::size_t>(number)]);
    }
    return result;
}

template <class T>
PolyArcSegBase<T> FilterArcsAndSegs(const std::vector<VecBase<2, T>>& points, T tol)
{
    return FitArcsAndSegs(points, DiagonalOf(WidenedPoints(points)), tol);
}

#define SORVANE_INSTANTIATE(T)                                                                     \
    template PolyArcSegBase<T> Impl::FitArcsAndSegs(const std::vector<VecBase<2, T>>&, double, T); \
    template std::vector<VecBase<2, T>> FilterZeroCurvature(const std::vector<VecBase<2, T>>&, T,  \
                                                            T);                                    \
    template PolyArcSegBase<T> FilterArcsAndSegs(const std::vector<VecBase<2, T>>&, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
