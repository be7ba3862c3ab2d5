// Two outlines: the loop that one can't cross around the other, what they have in common, and which
// stretches of their outer boundary come from each.

#include <Sorvane/Minkowski_E.h>

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Progress_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "planar/MinkowskiLoops_Impl.h"
#include "planar/MinkowskiProfiles_Impl.h"
#include "planar/SegmentOverlapTree_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <set>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;
using Polyline = std::vector<Vec2d>;
using Segment = Geometry::SegBase<double>;
using Segments = std::vector<Segment>;

/// Distance within which the search looks for segments under a point.
constexpr double kSearchRadius = 1e-8;
/// Rounding of a cut, in epsilons of its coordinates.
constexpr double kCutRounding = 8;

bool Matches(const Vec2d& a, const Vec2d& b, double tol)
{
    return std::fabs(a.x() - b.x()) <= tol && std::fabs(a.y() - b.y()) <= tol;
}

double DistanceTo(const Segment& segment, const Vec2d& point)
{
    return std::sqrt(Math::Impl::SquaredDistanceToSegment(segment.start, segment.end, point,
                                                          Math::Impl::kPointsAreShort));
}

/// By how much a cut may be off a segment that has these coordinates.
double RoundingOn(const Segment& segment)
{
    return kCutRounding * std::numeric_limits<double>::epsilon() *
           std::max(Math::Impl::LargestMagnitude(segment.start),
                    Math::Impl::LargestMagnitude(segment.end));
}

// --- the loop around ---

/// Neighbors of each point of a polyline as vectors: one at the ends of an open one.
std::vector<Polyline> WaysToNeighbors(const Polyline& line)
{
    const bool isClosed = line.size() > 2 && line.front() == line.back();
    std::vector<Polyline> ways(line.size());
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        ways[i].push_back(line[i + 1] - line[i]);
        ways[i + 1].push_back(line[i] - line[i + 1]);
    }
    if (isClosed) {
        ways.front().push_back(ways.back()[0]);
        ways.back().push_back(ways.front()[0]);
    }
    return ways;
}

/// Can an edge along `along`, moved to a point with these neighbors, bound the sum? Not when there
/// is a neighbor to either side of it: between the two the moving edge covers both of its own
/// sides. Nor, for a point in the midst of a straight stretch along the edge, is it needed: the
/// stretch moved to the ends of the edge, and the edge moved to the ends of the stretch, cover the
/// same line. Many points on one line would each bring an edge over all the others.
bool CanBound(const Vec2d& along, const Polyline& ways)
{
    constexpr double kRounding = 1e-12;
    bool isToLeft = false;
    bool isToRight = false;
    for (const Vec2d& way : ways) {
        const double side = along ^ way;
        const double clear = kRounding * Vector::Length(along) * Vector::Length(way);
        isToLeft = isToLeft || side > clear;
        isToRight = isToRight || side < -clear;
    }
    const bool isPassedAlong = ways.size() == 2 && !isToLeft && !isToRight && ways[0] * ways[1] < 0;
    return !(isToLeft && isToRight) && !isPassedAlong;
}

/// Edges of `edges` moved to the points of `points`.
void AppendSums(const Polyline& edges, const Polyline& points, Segments& sums)
{
    const std::vector<Polyline> ways = WaysToNeighbors(points);
    const bool isClosed = points.size() > 2 && points.front() == points.back();
    const std::size_t count = points.size() - (isClosed ? 1 : 0);
    for (std::size_t p = 0; p < count; ++p) {
        for (std::size_t e = 0; e + 1 < edges.size(); ++e) {
            if (CanBound(edges[e + 1] - edges[e], ways[p])) {
                sums.push_back({points[p] + edges[e], points[p] + edges[e + 1]});
            }
        }
    }
}

Polyline OuterLoop(const Polyline& a, const Polyline& b, double tol)
{
    if (a.empty() || b.empty()) {
        return {};
    }
    Polyline reflected;
    reflected.reserve(a.size());
    for (const Vec2d& point : a) {
        reflected.push_back(-point);
    }
    if (a.size() == 1) {
        Polyline moved = b;
        for (Vec2d& point : moved) {
            point += reflected[0];
        }
        return moved;
    }
    Segments sums;
    AppendSums(reflected, b, sums);
    AppendSums(b, reflected, sums);
    const double wide = NoLessThanRounding(tol, sums);
    Intersect::CutAtIntersections(sums, wide);
    Polyline loop;
    Intersect::TraceOuterLoop(sums, loop, wide);
    return loop;
}

// --- what is common ---

/// A polyline and others, whole and cut where they meet.
struct CutPair {
    Segments a;
    Segments b;
    Segments pieces; // of a, then of b
    SegmentOverlapTree<double> treeOfA;
    SegmentOverlapTree<double> treeOfB;

    CutPair(const Polyline& first, const Loops<double>& others, double tol)
        : a(Vector::PointStreamToSegments(first)), b(Vector::PolyPointStreamToSegments(others)),
          pieces(a), treeOfA(a), treeOfB(b)
    {
        pieces.insert(pieces.end(), b.begin(), b.end());
        Intersect::CutAtIntersections(pieces, tol);
    }
};

/// Does one of the tree's segments lie under both ends of `piece`?
bool Holds(const SegmentOverlapTree<double>& tree, const Segment& piece, double floor)
{
    const double radius = std::max(kSearchRadius, 2 * floor);
    const std::vector<int> atStart = tree.GetPossibleBallCollisions({piece.start, radius});
    const std::vector<int> atEnd = tree.GetPossibleBallCollisions({piece.end, radius});
    std::vector<int> atBoth;
    std::set_intersection(atStart.begin(), atStart.end(), atEnd.begin(), atEnd.end(),
                          std::back_inserter(atBoth));
    return std::any_of(atBoth.begin(), atBoth.end(), [&](int number) {
        const Segment& under = tree.Segments()[static_cast<std::size_t>(number)];
        const double bearable = std::max(floor, RoundingOn(under));
        return DistanceTo(under, piece.start) <= bearable &&
               DistanceTo(under, piece.end) <= bearable;
    });
}

/// Each piece once, whichever way it runs: a common stretch comes from both polylines.
Segments WithoutRepeats(const Segments& pieces, double floor)
{
    Polyline ends;
    for (const Segment& piece : pieces) {
        ends.push_back(piece.start);
        ends.push_back(piece.end);
    }
    const std::vector<int> numbers = Vector::FilterForUniquenessAndIndex(ends, floor);
    std::set<std::pair<int, int>> seen;
    Segments result;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (seen.insert(std::minmax({numbers[2 * i], numbers[2 * i + 1]})).second) {
            result.push_back(pieces[i]);
        }
    }
    return result;
}

/// By how much the ends of a piece may be off the segments under it: at large coordinates a cut is
/// off by more than the floor.
double BearableOn(const Segment& piece, double floor) { return std::max(floor, RoundingOn(piece)); }

/// Pieces that can be stretches, each once: `CutAtIntersections` gives the same bits to pieces that
/// lie on each other, and outlines that run to and fro a thousand times would be searched for a
/// thousand times.
Segments DistinctPieces(const Segments& pieces, double floor)
{
    std::set<std::array<double, 4>> seen;
    Segments result;
    for (const Segment& piece : pieces) {
        if (!Math::Impl::IsUsable(piece.start) || !Math::Impl::IsUsable(piece.end) ||
            !(Vector::Length(piece.end - piece.start) > BearableOn(piece, floor))) {
            continue;
        }
        const std::array<double, 2> start{piece.start.x(), piece.start.y()};
        const std::array<double, 2> end{piece.end.x(), piece.end.y()};
        const auto [low, high] = std::minmax(start, end);
        if (seen.insert({low[0], low[1], high[0], high[1]}).second) {
            result.push_back(piece);
        }
    }
    return result;
}

Loops<double> CommonStretches(const CutPair& pair, double floor)
{
    Segments common;
    double widest = floor;
    for (const Segment& piece : DistinctPieces(pair.pieces, floor)) {
        const double bearable = BearableOn(piece, floor);
        if (Holds(pair.treeOfA, piece, bearable) && Holds(pair.treeOfB, piece, bearable)) {
            common.push_back(piece);
            widest = std::max(widest, bearable);
        }
    }
    return Vector::SegmentsToPolyPointStream(WithoutRepeats(common, widest), widest);
}

// --- which stretch comes from which ---

/// Where a point of the boundary comes from.
enum Label { kOfA = 0, kOfB = 1, kTransition = 2 };

/// Points looked up within a tolerance per coordinate.
class PointSet {
public:
    PointSet(Polyline points, double tol) : points_(std::move(points)), tol_(tol)
    {
        Vector::FilterForUniqueness(points_, tol_);
    }

    const Polyline& Points() const { return points_; }

    bool Has(const Vec2d& point) const
    {
        return Vector::SearchInUniqueVector(points_, point, tol_).valid;
    }

private:
    Polyline points_;
    double tol_;
};

bool IsOn(const SegmentOverlapTree<double>& tree, const Vec2d& point, double tol)
{
    const auto nearest = tree.ClosestPoint(point, std::max(2 * tol, kSearchRadius));
    return nearest.id >= 0 && Matches(nearest.point, point, tol);
}

/// The outer boundary with the label of each point.
struct Boundary {
    Polyline points;
    std::vector<int> labels;
    std::vector<char> isStandIn; // a point that is no vertex, and not part of the result
    bool isClosed = false;

    void Append(const Vec2d& point, int label, bool standsIn)
    {
        points.push_back(point);
        labels.push_back(label);
        isStandIn.push_back(standsIn ? 1 : 0);
    }
};

/// Points at which the outlines are together: common stretches, common vertices, vertices of one on
/// the other.
Polyline CommonPoints(const Polyline& a, const Loops<double>& others, const PointSet& ofA,
                      const PointSet& ofB, const CutPair& pair, double tol, double floor)
{
    Polyline points;
    for (const Polyline& stretch : CommonStretches(pair, floor)) {
        points.insert(points.end(), stretch.begin(), stretch.end());
    }
    for (const auto& group : Intersect::IntersectPolylines<double>({a}, others, tol)) {
        for (const PolyNodeDescriptor& node : group) {
            const Polyline& line =
                node.polyline == 0 ? a : others[static_cast<std::size_t>(node.polyline - 1)];
            points.push_back(line[static_cast<std::size_t>(node.node)]);
        }
    }
    const auto appendTouching = [&](const PointSet& vertices,
                                    const SegmentOverlapTree<double>& tree) {
        std::copy_if(vertices.Points().begin(), vertices.Points().end(), std::back_inserter(points),
                     [&](const Vec2d& point) { return IsOn(tree, point, tol); });
    };
    appendTouching(ofA, pair.treeOfB);
    appendTouching(ofB, pair.treeOfA);
    return points;
}

/// Gives runs of transitions to the second outline, but for the ends of a run towards the first
/// one. In index order, on labels as they have become.
void SmoothLabels(std::vector<int>& labels, bool isClosed)
{
    const std::size_t n = labels.size();
    if (std::count(labels.begin(), labels.end(), kTransition) == static_cast<std::ptrdiff_t>(n)) {
        return; // the outlines are the same all round
    }
    const auto set = [&](std::size_t first, std::size_t end) {
        for (std::size_t k = first; k < end; ++k) {
            labels[k % n] = kOfB;
        }
    };
    for (std::size_t i = 0; i + (isClosed ? 0 : 1) < n; ++i) {
        const int before = labels[(i + n - 1) % n];
        if (labels[i] != kTransition || before == kTransition) {
            continue; // a run is dealt with at its first point
        }
        std::size_t next = i + 1;
        while (labels[next % n] == kTransition) {
            ++next;
        }
        const int behind = labels[next % n];
        const std::size_t further = next - i - 1;
        if (before == kOfA && behind == kOfB) {
            set(i + 1, next);
        } else if (before == kOfB && behind == kOfA) {
            set(i, next - 1);
        } else if (before == kOfB && behind == kOfB) {
            set(i, next);
        } else if (before == kOfA && behind == kOfA && further >= 2) {
            set(i + 1, next - 1);
        }
    }
}

/// One of the two results while the boundary is walked.
class Stretches {
public:
    Stretches(Loops<double>& lines, double tol) : lines_(lines), tol_(tol) {}

    void AppendOnce(const Vec2d& point)
    {
        Polyline& line = lines_.back();
        if (line.empty() || !Matches(line.back(), point, tol_)) {
            line.push_back(point);
        }
    }

    /// Ends the stretch of the moment at `point`, and begins another.
    void Turn(const Vec2d& point)
    {
        if (!lines_.empty() && !lines_.back().empty()) {
            lines_.back().push_back(point);
        }
        if (lines_.empty() || !lines_.back().empty()) {
            lines_.emplace_back();
        }
    }

    void DropEmptyEnd()
    {
        while (!lines_.empty() && lines_.back().empty()) {
            lines_.pop_back();
        }
    }

private:
    Loops<double>& lines_;
    double tol_;
};

/// Deals the points out, from the first transition on; an open boundary from its own beginning.
void Deal(const Boundary& boundary, double tol, Loops<double>& aPart, Loops<double>& bPart)
{
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    const std::vector<int>& labels = boundary.labels;
    const std::size_t n = labels.size();
    const auto start = boundary.isClosed
                           ? std::find(labels.begin(), labels.end(), kTransition) - labels.begin()
                           : 0;
    aPart.emplace_back();
    bPart.emplace_back();
    Stretches ofA(aPart, tol);
    Stretches ofB(bPart, tol);
    std::size_t pending = kNone;
    for (std::size_t k = 0; k < n + (boundary.isClosed ? 1 : 0); ++k) {
        const std::size_t i = (static_cast<std::size_t>(start) + k) % n;
        const Vec2d& point = boundary.points[i];
        if (labels[i] == kTransition) {
            if (pending != kNone) {
                ofB.AppendOnce(boundary.points[pending]);
            }
            pending = i;
            ofA.Turn(point);
            ofB.Turn(point);
            continue;
        }
        Stretches& part = labels[i] == kOfA ? ofA : ofB;
        if (pending != kNone) {
            part.AppendOnce(boundary.points[pending]);
            pending = kNone;
        }
        if (boundary.isStandIn[i] == 0) {
            part.AppendOnce(point);
        }
    }
    ofA.DropEmptyEnd();
    ofB.DropEmptyEnd();
}

/// Labels the points of the loop. An edge of A alone from one place where the outlines are together
/// to the next has no vertex to tell it by: its middle stands in for one.
Boundary Labeled(const Polyline& loop, bool isClosed, const Polyline& a,
                 const Loops<double>& others, const CutPair& pair, double tol, double floor)
{
    Polyline pointsOfB;
    for (const Polyline& b : others) {
        pointsOfB.insert(pointsOfB.end(), b.begin(), b.end());
    }
    const PointSet ofA(a, tol);
    const PointSet ofB(std::move(pointsOfB), tol);
    const PointSet common(CommonPoints(a, others, ofA, ofB, pair, tol, floor), tol);
    const auto labelOf = [&](const Vec2d& point) -> int {
        const bool isOfA = ofA.Has(point);
        return common.Has(point) || isOfA == ofB.Has(point) ? kTransition : isOfA ? kOfA : kOfB;
    };
    Boundary boundary;
    boundary.isClosed = isClosed;
    for (const Vec2d& point : loop) {
        const int label = labelOf(point);
        if (label == kTransition && !boundary.labels.empty() &&
            boundary.labels.back() == kTransition) {
            const Vec2d middle = (boundary.points.back() + point) * 0.5;
            if (!IsOn(pair.treeOfB, middle, tol)) {
                boundary.Append(middle, kOfA, true);
            }
        }
        boundary.Append(point, label, false);
    }
    if (isClosed) { // the repeat of the first point has done its work
        boundary.points.pop_back();
        boundary.labels.pop_back();
        boundary.isStandIn.pop_back();
    }
    return boundary;
}

} // namespace

namespace Impl {

double NoLessThanRounding(double tol, const Segments& segments)
{
    double rounding = 0;
    for (const Segment& segment : segments) {
        if (Math::Impl::IsUsable(segment.start) && Math::Impl::IsUsable(segment.end)) {
            rounding = std::max(rounding, RoundingOn(segment));
        }
    }
    return std::max(rounding, tol);
}

Loops<double> CommonRegions(const Polyline& a, const Loops<double>& others, double tol,
                            double floor)
{
    return CommonStretches(CutPair(a, others, tol), floor);
}

bool ClipOverlapped(const Polyline& a, const Loops<double>& others, Loops<double>& aPart,
                    Loops<double>& bPart, double givenTol, double floor)
{
    const CutPair pair(a, others, givenTol);
    const double tol = NoLessThanRounding(givenTol, pair.pieces);
    Polyline loop;
    const bool isClosed = Intersect::TraceOuterLoop(pair.pieces, loop, tol);
    if (loop.empty()) {
        return false;
    }
    Boundary boundary = Labeled(loop, isClosed, a, others, pair, tol, floor);
    SmoothLabels(boundary.labels, isClosed);
    const std::vector<int>& labels = boundary.labels;
    if (std::find(labels.begin(), labels.end(), kTransition) == labels.end()) {
        (labels.front() != kOfA ? bPart : aPart).push_back(loop);
    } else {
        Deal(boundary, tol, aPart, bPart);
    }
    return isClosed;
}

} // namespace Impl

template <class T>
std::vector<VecBase<2, T>> OuterOffsetLoop(const std::vector<VecBase<2, T>>& a,
                                           const std::vector<VecBase<2, T>>& b, T tol)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<VecBase<2, T>> {
        return NarrowedLoop<T>(OuterLoop(WidenedLoop(a), WidenedLoop(b), static_cast<double>(tol)));
    });
}

template <class T>
std::vector<std::vector<VecBase<2, T>>>
KeepCommonRegions(const std::vector<VecBase<2, T>>& a, const std::vector<VecBase<2, T>>& b, T tol)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<std::vector<VecBase<2, T>>> {
        if (a.empty() || b.empty()) {
            return {};
        }
        const auto tolerance = static_cast<double>(tol);
        const CutPair pair(WidenedLoop(a), {WidenedLoop(b)}, tolerance);
        return NarrowedLoops<T>(CommonStretches(pair, kLengthFloor<T>));
    });
}

template <class T>
bool ClipOverlappedRegions(const std::vector<VecBase<2, T>>& a, const std::vector<VecBase<2, T>>& b,
                           std::vector<std::vector<VecBase<2, T>>>& aPart,
                           std::vector<std::vector<VecBase<2, T>>>& bPart, T tol)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            // Into results of their own: an input may be an element of an output, and memory may
            // run out.
            Loops<double> ofA;
            Loops<double> ofB;
            const bool isClosed = ClipOverlapped(WidenedLoop(a), {WidenedLoop(b)}, ofA, ofB,
                                                 static_cast<double>(tol), kLengthFloor<T>);
            auto narrowedOfA = NarrowedLoops<T>(ofA);
            auto narrowedOfB = NarrowedLoops<T>(ofB);
            aPart = std::move(narrowedOfA);
            bPart = std::move(narrowedOfB);
            return isClosed;
        },
        [&] {
            aPart.clear();
            bPart.clear();
            return false;
        });
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
template std::vector<VecBase<2, T>> OuterOffsetLoop(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, T); \
template std::vector<std::vector<VecBase<2, T>>> KeepCommonRegions(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, T); \
template bool ClipOverlappedRegions(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, std::vector<std::vector<VecBase<2, T>>>&, std::vector<std::vector<VecBase<2, T>>>&, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
