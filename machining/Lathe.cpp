// Where the reference point of a turning tool may go.

#include <Sorvane/Lathe_E.h>

#include <Sorvane/Minkowski_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/DisjointSets_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "planar/MinkowskiProfiles_Impl.h"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Lathe {

namespace {

using Outline = std::vector<Vec2d>;
using Outlines = std::vector<Outline>;
using Segments = std::vector<Geometry::SegBase<double>>;

/// Of cutting, tracing and matching.
constexpr double kTolerance = 1e-12;

bool IsFiniteOutline(const Outline& outline)
{
    return std::all_of(outline.begin(), outline.end(),
                       [](const Vec2d& point) { return Math::Impl::IsFinite(point); });
}

bool AreFiniteOutlines(const Outlines& outlines)
{
    return std::all_of(outlines.begin(), outlines.end(), IsFiniteOutline);
}

void Append(const Segments& more, Segments& segments)
{
    segments.insert(segments.end(), more.begin(), more.end());
}

/// Segments that meet at their ends, told apart by what hangs together.
class Components {
public:
    /// `places` are points that are asked for later.
    Components(const Segments& segments, const Outline& places, double tol)
    {
        Outline points;
        points.reserve(2 * segments.size() + places.size());
        for (const auto& segment : segments) {
            points.push_back(segment.start);
            points.push_back(segment.end);
        }
        points.insert(points.end(), places.begin(), places.end());
        const std::vector<int> numbers = Vector::FilterForUniquenessAndIndex(points, tol);
        Math::Impl::DisjointSets sets(points.size());
        for (std::size_t i = 0; i < segments.size(); ++i) {
            sets.Join(numbers[2 * i], numbers[2 * i + 1]);
        }
        components_.reserve(numbers.size());
        for (const int number : numbers) {
            components_.push_back(sets.Find(number));
        }
        segmentCount_ = segments.size();
    }

    int OfSegment(std::size_t segment) const { return components_[2 * segment]; }
    int OfPlace(std::size_t place) const { return components_[2 * segmentCount_ + place]; }

private:
    std::vector<int> components_; // of each start, end and place
    std::size_t segmentCount_ = 0;
};

/// The outer boundaries of all that `segments` bound, one for each component, in the order of their
/// first segments. False when there is none or one of them does not close.
bool OuterLoops(Segments segments, Outlines& loops)
{
    const double tol = Planar::Impl::NoLessThanRounding(kTolerance, segments);
    Intersect::CutAtIntersections(segments, tol);
    const Components components(segments, {}, tol);
    boost::unordered_flat_map<int, std::size_t> placeOf;
    std::vector<Segments> parts;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const auto [entry, isNew] = placeOf.try_emplace(components.OfSegment(i), parts.size());
        if (isNew) {
            parts.emplace_back();
        }
        parts[entry->second].push_back(segments[i]);
    }
    bool areAllClosed = true;
    for (const Segments& part : parts) {
        Outline loop;
        areAllClosed = Intersect::TraceOuterLoop(part, loop, tol) && areAllClosed;
        if (!loop.empty()) {
            loops.push_back(std::move(loop));
        }
    }
    return areAllClosed && !loops.empty();
}

/// Is the point within the loop? By the crossings of the ray to its right.
bool IsWithin(const Outline& loop, const Vec2d& point)
{
    bool isWithin = false;
    for (std::size_t i = 1; i < loop.size(); ++i) {
        const Vec2d& a = loop[i - 1];
        const Vec2d& b = loop[i];
        if ((a.y() <= point.y()) != (b.y() <= point.y())) {
            const double turn = (b - a) ^ (point - a);
            isWithin = isWithin != ((turn > 0) == (b.y() > a.y()) && turn != 0);
        }
    }
    return isWithin;
}

/// Of loops that don't meet each other, those that meet the outline or lie around it. Of an outline
/// without points the one around the largest area.
Outlines LoopsThatLimit(const Outline& outline, const Outlines& loops)
{
    Outlines limits;
    if (outline.empty()) {
        const auto largest =
            std::max_element(loops.begin(), loops.end(), [](const Outline& a, const Outline& b) {
                return std::fabs(Vector::SignedArea(a)) < std::fabs(Vector::SignedArea(b));
            });
        if (largest != loops.end()) {
            limits.push_back(*largest);
        }
        return limits;
    }
    Segments segments = Vector::PointStreamToSegments(outline);
    Append(Vector::PolyPointStreamToSegments(loops), segments);
    const double tol = Planar::Impl::NoLessThanRounding(kTolerance, segments);
    Intersect::CutAtIntersections(segments, tol);
    Outline places{outline.front()};
    for (const Outline& loop : loops) {
        places.push_back(loop.front());
    }
    const Components components(segments, places, tol);
    for (std::size_t i = 0; i < loops.size(); ++i) {
        if (components.OfPlace(i + 1) == components.OfPlace(0) ||
            IsWithin(loops[i], outline.front())) {
            limits.push_back(loops[i]);
        }
    }
    return limits;
}

/// Is it a fault when nothing limits the tool beside the target?
enum class Limits { AreNeeded, MayLack };

bool PartedRegions(const Outline& tool, const Outline& holder, const Outline& target,
                   const Outlines& obstacles, Limits need, Outlines& toolRegions,
                   Outlines& holderRegions)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            // Into results of their own: an input may be an element of an output.
            Outlines ofTool;
            Outlines ofHolder;
            if (!AreFiniteOutlines({tool, holder, target}) || !AreFiniteOutlines(obstacles)) {
                toolRegions.clear();
                holderRegions.clear();
                return false;
            }
            const Outline touching = Planar::OuterOffsetLoop(tool, target, kTolerance);

            // What limits the tool beside the target. The loop of tool and target is not among it:
            // the outer boundary of both together is parted below.
            Segments limits;
            for (const Outline& obstacle : obstacles) {
                Append(Vector::PointStreamToSegments(
                           Planar::OuterOffsetLoop(tool, obstacle, kTolerance)),
                       limits);
            }
            Append(
                Vector::PointStreamToSegments(Planar::OuterOffsetLoop(holder, target, kTolerance)),
                limits);
            for (const Outline& obstacle : obstacles) {
                Append(Vector::PointStreamToSegments(
                           Planar::OuterOffsetLoop(holder, obstacle, kTolerance)),
                       limits);
            }
            Outlines loops;
            const bool isAlone = limits.empty() && need == Limits::MayLack;
            const bool areClosed = isAlone || OuterLoops(std::move(limits), loops);
            const bool isParted =
                Planar::Impl::ClipOverlapped(touching, LoopsThatLimit(touching, loops), ofTool,
                                             ofHolder, kTolerance, kLengthFloor<double>);
            toolRegions = std::move(ofTool);
            holderRegions = std::move(ofHolder);
            return isParted && areClosed;
        },
        [&] {
            toolRegions.clear();
            holderRegions.clear();
            return false;
        });
}

} // namespace

bool OuterOffsetRegions(const std::vector<VecBase<2, double>>& tool,
                        const std::vector<VecBase<2, double>>& holder,
                        const std::vector<VecBase<2, double>>& target,
                        const std::vector<std::vector<VecBase<2, double>>>& obstacles,
                        std::vector<std::vector<VecBase<2, double>>>& toolRegions,
                        std::vector<std::vector<VecBase<2, double>>>& holderRegions)
{
    return PartedRegions(tool, holder, target, obstacles, Limits::AreNeeded, toolRegions,
                         holderRegions);
}

bool OuterOffsetRegions(const std::vector<VecBase<2, double>>& tool,
                        const std::vector<VecBase<2, double>>& target,
                        const std::vector<std::vector<VecBase<2, double>>>& obstacles,
                        std::vector<std::vector<VecBase<2, double>>>& toolRegions,
                        std::vector<std::vector<VecBase<2, double>>>& obstacleRegions)
{
    return PartedRegions(tool, {}, target, obstacles, Limits::MayLack, toolRegions,
                         obstacleRegions);
}

} // namespace Velk::Math::Sorvane::Lathe
