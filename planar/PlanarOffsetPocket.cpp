// Rings of a pocket: offsets of all its walls to the inside, one step after the other.

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include "mathbase/Progress_Impl.h"
#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <set>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// Distances that are worked on side by side.
constexpr int kAtOnce = 8;
/// A pocket of less area than this part of the disc of the first distance has no ring. It has to be
/// some way below 1 because areas round; a little less saves no time.
constexpr double kDisc = 0.999;

/// The chain as it is when its area has this sign, else turned round.
template <class T>
PolyArcSegBase<T> Oriented(PolyArcSegBase<T> chain, double sign)
{
    if (static_cast<double>(PolyArcSegArea(chain)) * sign < 0) {
        std::reverse(chain.elements.begin(), chain.elements.end());
        for (ArcSegBase<T>& element : chain.elements) {
            element.Reverse();
        }
    }
    return chain;
}

/// Does every element end where the next one starts, within the tolerance or, far from the origin,
/// the rounding of coordinates, as `WallOffsets` takes them?
template <class T>
bool IsClosed(const PolyArcSegBase<T>& chain)
{
    double size = 0.0;
    for (const ArcSegBase<T>& element : chain.elements) {
        size = std::max(size, SizeOf(element));
    }
    PolyArcSegBase<T> joined = chain;
    joined.tolerance = std::max(AtLeastZero(chain.tolerance), static_cast<T>(RoundingAt<T>(size)));
    return size <= Math::Impl::kLargestCoordinate && joined.IsClosed();
}

struct Box {
    Vec2d low;
    Vec2d high;
};

template <class T>
Box BoxOf(const PolyArcSegBase<T>& chain)
{
    constexpr double kFar = std::numeric_limits<double>::infinity();
    Box box{Vec2d(kFar, kFar), Vec2d(-kFar, -kFar)};
    const auto include = [&](const VecBase<2, T>& point) {
        for (int axis = 0; axis < 2; ++axis) {
            box.low[axis] = std::min(box.low[axis], static_cast<double>(point[axis]));
            box.high[axis] = std::max(box.high[axis], static_cast<double>(point[axis]));
        }
    };
    for (const ArcSegBase<T>& element : chain.elements) {
        include(element.StartPoint());
        include(element.EndPoint());
        if (const ArcBase<T>* const arc = element.AsArc()) {
            for (const VecBase<2, T>& corner : arc->Bounds()) {
                include(corner);
            }
        }
    }
    return box;
}

/// Does the point lie to the left of the line from `start` to `end`? One on the line lies where it
/// would a little farther up or, beside a line that is not level, a little farther right.
bool IsLeftOf(const Vec2d& point, const Vec2d& start, const Vec2d& end)
{
    const double turn = (end - start) ^ (point - start);
    if (turn != 0.0) {
        return turn > 0.0;
    }
    return end.y() != start.y() ? end.y() < start.y() : end.x() > start.x();
}

/// By how often an edge crosses the ray to the right of the point, upward ones counted as 1,
/// downward ones as -1.
int CrossingsOf(const Vec2d& start, const Vec2d& end, const Vec2d& point)
{
    const bool isUpward = start.y() <= point.y() && point.y() < end.y();
    const bool isDownward = end.y() <= point.y() && point.y() < start.y();
    if (!isUpward && !isDownward) {
        return 0;
    }
    return isUpward == IsLeftOf(point, start, end) ? (isUpward ? 1 : -1) : 0;
}

/// What an arc adds to the windings about a point that lies off it: the crossings of chords of a
/// quarter turn or less, and one more turn when the point lies between such a chord and the arc.
/// That is within half a chord of its middle, and so a short chord whose direction is but rounding
/// tells of no point farther away. More than two turns count as one or two.
template <class T>
int CrossingsOf(const ArcBase<T>& arc, const Vec2d& end, const Vec2d& point)
{
    const Vec2d center = Widened(arc.center);
    const Vec2d spoke = Widened(arc.start) - center;
    const double radius = Vector::Length(spoke);
    double sweep = radius > 0 ? static_cast<double>(arc.length) / radius : 0.0;
    if (std::fabs(sweep) > 4 * kPi<double>) {
        sweep = std::fmod(sweep, 2 * kPi<double>) + std::copysign(2 * kPi<double>, sweep);
    }
    const bool isInDisc = Vector::Length(point - center) < radius;
    const double parts = std::ceil(std::fabs(sweep) / (0.5 * kPi<double>));
    int crossings = 0;
    Vec2d from = Widened(arc.start);
    for (double part = 1.0; part <= parts; ++part) {
        const double c = std::cos(sweep * part / parts);
        const double s = std::sin(sweep * part / parts);
        const Vec2d to = part < parts ? center + Vec2d(c * spoke.x() - s * spoke.y(),
                                                       s * spoke.x() + c * spoke.y())
                                      : end;
        crossings += CrossingsOf(from, to, point);
        const bool isNear = Vector::Length(point * 2.0 - from - to) <= Vector::Length(to - from);
        if (isInDisc && isNear && IsLeftOf(point, from, to) != (sweep > 0)) {
            crossings += sweep > 0 ? 1 : -1;
        }
        from = to;
    }
    return parts > 0 ? crossings : CrossingsOf(from, end, point);
}

/// How often a closed chain runs counter-clockwise about a point that lies off it. Where it runs
/// there and back nothing is left of that, and neither of its two sides counts.
template <class T>
int WindingAbout(const PolyArcSegBase<T>& chain, const Vec2d& point)
{
    int winding = 0;
    Vec2d before = Widened(chain.elements.back().EndPoint());
    for (const ArcSegBase<T>& element : chain.elements) {
        const Vec2d start = Widened(element.StartPoint());
        const Vec2d end = Widened(element.EndPoint());
        winding += CrossingsOf(before, start, point);
        const ArcBase<T>* const arc = element.AsArc();
        winding += arc != nullptr ? CrossingsOf(*arc, end, point) : CrossingsOf(start, end, point);
        before = end;
    }
    return winding;
}

/// The walls of a pocket, which lies to the left of all of them, the outline first.
template <class T>
class PocketWalls {
public:
    PocketWalls(const PolyArcSegBase<T>& outline, const std::vector<PolyArcSegBase<T>>& islands)
    {
        walls_.push_back(Oriented(outline, 1.0));
        for (const PolyArcSegBase<T>& island : islands) {
            walls_.push_back(Oriented(island, -1.0));
        }
        for (const ArcSegBase<T>& element : walls_.front().elements) {
            size_ = std::max(size_, SizeOf(element));
        }
        for (const PolyArcSegBase<T>& wall : walls_) {
            boxes_.push_back(BoxOf(wall));
        }
        // No disc inside the outline has a radius of more than half the lesser extent of its box;
        // rounding may make that wider than it is.
        const Vec2d extent = boxes_.front().high - boxes_.front().low;
        widest_ = 0.5 * std::min(extent.x(), extent.y()) + RoundingAt<T>(size_);
    }

    bool AreClosed() const { return std::all_of(walls_.begin(), walls_.end(), IsClosed<T>); }
    double Rounding() const { return RoundingAt<T>(size_); }
    /// No point of the pocket is farther from the walls.
    double WidestDistance() const { return widest_; }
    /// Has the outline less area than the disc? A line there and back has none.
    bool IsLessThanDisc(double radius) const
    {
        const auto area = static_cast<double>(PolyArcSegArea(walls_.front()));
        return !(area >= kDisc * kPi<double> * radius * radius);
    }

    /// Where islands and walls overlap, walls have offsets where there is no pocket: without those.
    /// No curve crosses a wall, so that one of its points tells for all of it.
    std::vector<std::vector<PolyArcSegBase<T>>> CurvesInPocket(const std::set<T>& distances,
                                                               T tol) const
    {
        auto offsets = WallOffsets(walls_, distances, tol);
        for (std::vector<PolyArcSegBase<T>>& curves : offsets) {
            std::erase_if(curves, [&](const PolyArcSegBase<T>& curve) {
                return !IsInPocket(Widened(curve.elements.front().StartPoint()));
            });
        }
        return offsets;
    }

private:
    /// For a point off the walls.
    bool IsInPocket(const Vec2d& point) const
    {
        if (WindingAbout(walls_.front(), point) <= 0) {
            return false;
        }
        for (std::size_t island = 1; island < walls_.size(); ++island) {
            const Box& box = boxes_[island]; // most islands are told by these
            const bool isAside = point.x() < box.low.x() || point.x() > box.high.x() ||
                                 point.y() < box.low.y() || point.y() > box.high.y();
            if (!isAside && WindingAbout(walls_[island], point) != 0) {
                return false;
            }
        }
        return true;
    }

    std::vector<PolyArcSegBase<T>> walls_;
    std::vector<Box> boxes_; // of the walls
    double size_ = 0.0;
    double widest_ = 0.0;
};

} // namespace

template <class T>
PocketPlan<T> PocketRings(const PolyArcSegBase<T>& outline,
                          const std::vector<PolyArcSegBase<T>>& islands,
                          const PocketSteps<T>& steps, T tol)
{
    return Progress::Impl::Stoppable([&]() -> PocketPlan<T> {
        const PocketWalls<T> walls(outline, islands);
        if (!walls.AreClosed()) {
            return {PocketEnd::OpenWall, {}};
        }
        const auto first = static_cast<double>(steps.first);
        const auto step = static_cast<double>(steps.step);
        const double widest = walls.WidestDistance();
        const double rounding = walls.Rounding() + RoundingAt<T>(first);
        if (!(steps.first > AtLeastZero(tol)) || !std::isfinite(first) || !(step > rounding) ||
            !std::isfinite(step)) {
            return {PocketEnd::BadSteps, {}};
        }
        PocketPlan<T> plan{PocketEnd::Cleared, {}};
        if (walls.IsLessThanDisc(first)) {
            return plan;
        }
        const auto distanceOf = [&](std::size_t ring) {
            return first + step * static_cast<double>(ring);
        };
        const auto most = static_cast<std::size_t>(std::max(steps.mostRings, 0));
        while (distanceOf(plan.rings.size()) <= widest) {
            Progress::Impl::Check(distanceOf(plan.rings.size()) / widest);
            std::set<T> distances; // to the left, so negative: the farthest comes first
            for (std::size_t ring = plan.rings.size();
                 ring < most && distances.size() < kAtOnce && distanceOf(ring) <= widest; ++ring) {
                distances.insert(-static_cast<T>(distanceOf(ring)));
            }
            if (distances.empty()) {
                plan.end = PocketEnd::MostRings;
                break;
            }
            auto offsets = walls.CurvesInPocket(distances, tol);
            auto distance = distances.rbegin();
            for (auto curves = offsets.rbegin(); curves != offsets.rend(); ++curves, ++distance) {
                if (curves->empty()) {
                    return plan;
                }
                plan.rings.push_back({-*distance, std::move(*curves)});
            }
        }
        return plan;
    });
}

// clang-format off
template PocketPlan<float>  PocketRings(const PolyArcSegBase<float>&,  const std::vector<PolyArcSegBase<float>>&,  const PocketSteps<float>&,  float);
template PocketPlan<double> PocketRings(const PolyArcSegBase<double>&, const std::vector<PolyArcSegBase<double>>&, const PocketSteps<double>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
