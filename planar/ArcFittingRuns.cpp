// Arc fitting on plain points: which of them matter, and which of those lie on one circle.

#include <Velk/Math/Geometry_E.h>

#include "planar/ArcFitting_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

using Geometry::ArcBase;

/// Part of the tolerance by which the chords of a run may leave the circle through their points and
/// the next one, so that a polyline tessellated at the tolerance is surely taken.
constexpr double kChordAllowance = 10.0 / 9.0;
/// Largest part of a curvature that rounding is believed to explain. Half of what a run's radius
/// may be off its mean radius of curvature.
constexpr double kMostRounding = 0.05;
/// Looks at doubtful points. Each leaves out every second one, and no input has 2^64 of them.
constexpr int kMostLooks = 64;

enum class Bend { Yes, No, Unclear };

Bend BendAt(const Vec2d& a, const Vec2d& b, const Vec2d& c, double curvatureTolerance,
            const PointAccuracy& accuracy)
{
    if (IsWithoutBend(a, b, c, accuracy.floor)) {
        return Bend::Unclear;
    }
    const double curvature = std::fabs(Geometry::DiscreteCurvature(a, b, c));
    if (!(curvature > curvatureTolerance)) {
        return Bend::No;
    }
    const bool isSure = curvature - accuracy.CurvatureRounding(a, b, c) > curvatureTolerance;
    return isSure ? Bend::Yes : Bend::Unclear;
}

/// The bend at each of the points; the ends count as bends.
std::vector<Bend> Bends(const std::vector<Vec2d>& points, double curvatureTolerance,
                        const PointAccuracy& accuracy)
{
    std::vector<Bend> bends(points.size(), Bend::Yes);
    for (std::size_t i = 1; i + 1 < points.size(); ++i) {
        bends[i] = BendAt(points[i - 1], points[i], points[i + 1], curvatureTolerance, accuracy);
    }
    return bends;
}

/// A point kept so far.
struct Kept {
    int number = 0;
    bool isSure = false;
};

/// The points that bend or may bend, each at a distance from the one before. Of two that are too
/// near the first is kept, but a point that surely bends takes the place of one that may not.
std::vector<Kept> Spaced(const std::vector<Vec2d>& points, const std::vector<Bend>& bends,
                         double pointTolerance)
{
    std::vector<Kept> kept;
    const auto isNear = [&](const Kept& a, std::size_t i) {
        return Matches(points[static_cast<std::size_t>(a.number)], points[i], pointTolerance);
    };
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (bends[i] == Bend::No) {
            continue;
        }
        const Kept next{static_cast<int>(i), bends[i] == Bend::Yes};
        if (kept.empty() || !isNear(kept.back(), i)) {
            kept.push_back(next);
        } else if (next.isSure && !kept.back().isSure && !isNear(kept[kept.size() - 2], i)) {
            kept.back() = next; // the first point is sure, so there is one before
        }
    }
    return kept;
}

/// Decides about the points that are not sure, with the neighbors that they have among those kept;
/// true when one was dropped. Where the rounding still hides the bend, every second point of a
/// sequence goes, so that the next look is at chords twice as long, of which rounding hides a
/// quarter of the bend. It shows before the chords leave the curve by as much as rounding does. A
/// hidden bend between two that are known is no more than rounding, and goes too.
bool DropDoubtful(const std::vector<Vec2d>& points, double curvatureTolerance,
                  const PointAccuracy& accuracy, std::vector<Kept>& kept)
{
    enum class Look { Stays, Goes, Hidden };
    const auto point = [&](std::size_t i) -> const Vec2d& {
        return points[static_cast<std::size_t>(kept[i].number)];
    };
    std::vector<Look> looks(kept.size(), Look::Stays);
    for (std::size_t i = 1; i + 1 < kept.size(); ++i) {
        const Vec2d &a = point(i - 1), &b = point(i), &c = point(i + 1);
        if (kept[i].isSure || IsWithoutBend(a, b, c, accuracy.floor)) {
            continue;
        }
        const Bend bend = BendAt(a, b, c, curvatureTolerance, accuracy);
        looks[i] = bend == Bend::No ? Look::Goes : bend == Bend::Yes ? Look::Stays : Look::Hidden;
    }
    std::vector<Kept> left;
    bool keptHidden = false; // the one before
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const bool isHidden = looks[i] == Look::Hidden;
        const bool staysHidden = isHidden && !keptHidden && looks[i + 1] == Look::Hidden;
        if (looks[i] == Look::Stays || staysHidden) {
            left.push_back(kept[i]);
        }
        keptHidden = staysHidden;
    }
    const bool isChanged = left.size() < kept.size();
    kept = std::move(left);
    return isChanged;
}

/// Is the curvature at point i that at point i + 1, and are the chords at i short enough for it?
bool GoesOnAlike(const std::vector<Vec2d>& points, const std::vector<double>& curvatures,
                 std::size_t i, double tol, const PointAccuracy& accuracy)
{
    const double here = std::fabs(curvatures[i]);
    double rounding = 0;
    const auto addRounding = [&](std::size_t k) {
        if (k >= 1 && k + 1 < points.size()) {
            rounding += accuracy.CurvatureRounding(points[k - 1], points[k], points[k + 1]);
        }
    };
    addRounding(i);
    addRounding(i + 1);
    const double allowed =
        std::max(here * std::fabs(tol), std::min(rounding, kMostRounding * here));
    if (!(allowed >= std::fabs(curvatures[i] - curvatures[i + 1]))) {
        return false;
    }
    if (i == 0) {
        return true;
    }
    return !IsWithoutBend(points[i - 1], points[i], points[i + 1], accuracy.floor) &&
           Geometry::ApparentArcTolerance(points[i - 1], points[i], points[i + 1]) <=
               tol * kChordAllowance;
}

/// For each point: does the run that it is in go on to the next?
std::vector<bool> SameArcFlags(const std::vector<Vec2d>& points,
                               const std::vector<double>& curvatures, double tol,
                               const PointAccuracy& accuracy)
{
    std::vector<bool> flags(points.size(), false);
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        flags[i] = GoesOnAlike(points, curvatures, i, tol, accuracy);
    }
    return flags;
}

/// Flags turned into runs: one for each sequence of true flags, up to the point after it, and one
/// from each false point to the next. The first is always that of the first point alone.
std::vector<Run> RunsOf(const std::vector<bool>& flags)
{
    std::vector<Run> runs;
    int start = 0;
    bool goesOn = false;
    for (std::size_t j = 0; j < flags.size(); ++j) {
        if (goesOn && flags[j]) {
            continue;
        }
        runs.push_back({start, static_cast<int>(j)});
        start = static_cast<int>(j);
        goesOn = flags[j];
    }
    return runs;
}

/// Runs that reach for the neighboring points which lie on their circle. The curvature at the ends
/// of an arc mixes it with what comes before or after, so that flags alone stop a point short.
class RunGrowth {
public:
    RunGrowth(const std::vector<Vec2d>& points, const std::vector<double>& curvatures,
              const std::vector<bool>& flags, double tol, double floor)
        : points_(points), curvatures_(curvatures), flags_(flags), tol_(tol), floor_(floor)
    {
    }

    void Grow(std::vector<Run>& runs) const
    {
        for (std::size_t i = 0; i < runs.size(); ++i) {
            Run& run = runs[i];
            if (run.first == run.last || (run.first + 1 == run.last && !Flag(run.first))) {
                continue;
            }
            if (run.first >= 1 && i > 0 && TakesBackward(run) && IsShort(run.first)) {
                --run.first;
                runs[i - 1].last = run.first;
            }
            if (run.last + 1 < static_cast<int>(points_.size()) && i + 1 < runs.size() &&
                TakesForward(run) && IsShort(run.last)) {
                ++run.last;
                runs[i + 1].first = run.last;
            }
        }
    }

private:
    const Vec2d& Point(int i) const { return points_[static_cast<std::size_t>(i)]; }
    bool Flag(int i) const { return flags_[static_cast<std::size_t>(i)]; }

    bool TakesBackward(const Run& run) const
    {
        return IsOnCircle(run, run.first - 1) ||
               (run.first + 1 == run.last &&
                HasRadius({run.first - 1, run.first, run.last}, run.first));
    }
    bool TakesForward(const Run& run) const
    {
        return IsOnCircle(run, run.last + 1) ||
               (run.first + 1 == run.last &&
                HasRadius({run.first, run.last, run.last + 1}, run.last));
    }
    bool IsOnCircle(const Run& run, int i) const
    {
        const auto arc = ArcThrough(Point(run.first), Point((run.first + run.last) / 2),
                                    Point(run.last), floor_);
        return std::fabs(OffCircle(arc, Point(i))) <= tol_;
    }
    /// Two points alone have no circle yet: does the one through them and their neighbor have the
    /// radius of curvature at `at`? Of either sense: a clockwise arc has a negative curvature. A
    /// curvature within the floor has no radius.
    bool HasRadius(const std::array<int, 3>& three, int at) const
    {
        const double curvature = std::fabs(curvatures_[static_cast<std::size_t>(at)]);
        const auto arc = ArcThrough(Point(three[0]), Point(three[1]), Point(three[2]), floor_);
        return curvature > floor_ && std::fabs(Geometry::Radius(arc) - 1 / curvature) <= tol_;
    }
    /// Are both chords at point i within the tolerance of an arc?
    bool IsShort(int i) const
    {
        return !IsWithoutBend(Point(i - 1), Point(i), Point(i + 1), floor_) &&
               Geometry::ApparentArcTolerance(Point(i - 1), Point(i), Point(i + 1)) <= tol_;
    }

    const std::vector<Vec2d>& points_;
    const std::vector<double>& curvatures_;
    const std::vector<bool>& flags_;
    double tol_;
    double floor_;
};

} // namespace

double PointAccuracy::CurvatureRounding(const Vec2d& a, const Vec2d& b, const Vec2d& c) const
{
    return 4 * rounding / (Length(b - a) * Length(c - b));
}

bool IsWithoutBend(const Vec2d& a, const Vec2d& b, const Vec2d& c, double floor)
{
    return Matches(a, b, floor) || Matches(b, c, floor) || Matches(a, c, floor) ||
           (b - a) * (c - a) < 0 || (b - c) * (a - c) < 0;
}

std::vector<int> KeptPoints(const std::vector<Vec2d>& points, double curvatureTolerance,
                            double pointTolerance, const PointAccuracy& accuracy)
{
    std::vector<Kept> kept =
        Spaced(points, Bends(points, curvatureTolerance, accuracy), pointTolerance);
    for (int look = 0; look < kMostLooks; ++look) {
        if (!DropDoubtful(points, curvatureTolerance, accuracy, kept)) {
            break;
        }
    }
    std::vector<int> result;
    result.reserve(kept.size() + 1);
    for (const Kept& one : kept) {
        result.push_back(one.number);
    }
    if (!points.empty() && Matches(points.front(), points.back(), accuracy.floor)) {
        const auto place = [&](int number) { return points[static_cast<std::size_t>(number)]; };
        if (!Matches(place(result.front()), place(result.back()), accuracy.floor)) {
            result.push_back(static_cast<int>(points.size()) - 1);
        }
    }
    return result;
}

std::vector<double> Curvatures(const std::vector<Vec2d>& points)
{
    std::vector<double> curvatures(points.size(), 0.0);
    for (std::size_t i = 1; i + 1 < points.size(); ++i) {
        curvatures[i] = Geometry::DiscreteCurvature(points[i - 1], points[i], points[i + 1]);
    }
    return curvatures;
}

std::vector<Run> RunsOfOneCurvature(const std::vector<Vec2d>& points,
                                    const std::vector<double>& curvatures, double tol,
                                    const PointAccuracy& accuracy)
{
    const std::vector<bool> flags = SameArcFlags(points, curvatures, tol, accuracy);
    std::vector<Run> runs = RunsOf(flags);
    RunGrowth(points, curvatures, flags, tol, accuracy.floor).Grow(runs);
    std::erase_if(runs, [](const Run& run) { return run.last <= run.first; });
    int reached = 0;
    for (Run& run : runs) {
        run.first = std::max(run.first, reached);
        reached = std::max(reached, run.last);
    }
    // What another run took whole is empty now.
    std::erase_if(runs, [](const Run& run) { return run.last <= run.first; });
    return runs;
}

ArcBase<double> ArcThrough(const Vec2d& first, const Vec2d& middle, const Vec2d& last, double floor)
{
    if (Matches(first, middle, floor) || Matches(middle, last, floor) ||
        Matches(first, last, floor)) {
        return {first, first, 0};
    }
    return Geometry::ArcThroughPoints(first, middle, last);
}

double OffCircle(const ArcBase<double>& arc, const Vec2d& point)
{
    const Vec2d fromStart = point - arc.start;
    const Vec2d spoke = arc.start - arc.center;
    const double distances = Length(point - arc.center) + Length(spoke);
    return distances > 0 ? (fromStart * fromStart + 2 * (fromStart * spoke)) / distances : 0;
}

} // namespace Velk::Math::Sorvane::Planar::Impl
