// Where two chains meet, and the chains broken or split there.
//
// Both chains are cut together. A meeting is a place where an element was cut, or a vertex of one
// chain that the other has too: a crossing and a touch cut an element, and each end of an overlap
// either cuts the other element or is a vertex of both.

#include <Sorvane/ChainBreaking_E.h>
#include <Velk/Math/Vector_E.h>

#include "arrangement/OverlapsOnLines_Impl.h"
#include "mathbase/VectorUniqueness_Impl.h"
#include "planar/ChainBreaking_Impl.h"
#include "planar/ChainElement_Impl.h"
#include "planar/CutPieces_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// Elements are cut as exactly as `double` can: what counts as one point is decided afterwards.
constexpr double kCutTolerance = kLengthFloor<double>;

/// The elements of both chains, and the vertices of each.
struct Meeting {
    std::vector<SegBase<double>> segments;
    std::vector<ArcBase<double>> arcs;

    /// Takes the usable elements of a chain; returns their ends.
    template <class T>
    std::vector<Vec2d> Take(const PolyArcSegBase<T>& chain)
    {
        std::vector<Vec2d> ends;
        ends.reserve(2 * chain.elements.size());
        for (const ArcSegBase<T>& element : chain.elements) {
            if (!(SizeOf(element) <= Math::Impl::kLargestCoordinate)) {
                continue;
            }
            element.Visit([&](const auto& e) {
                const auto wide = Wide(e);
                ends.push_back(wide.start);
                ends.push_back(Geometry::EndPoint(wide));
                Put(wide);
            });
        }
        return ends;
    }

private:
    void Put(const SegBase<double>& segment) { segments.push_back(segment); }
    void Put(const ArcBase<double>& arc) { arcs.push_back(arc); }
};

/// Appends the places at which an element was cut into the pieces from `first` up to `end`.
template <class Element>
void AppendCutsOf(const Element& element, const std::vector<Element>& pieces, std::size_t first,
                  std::size_t end, double tol, std::vector<Vec2d>& points)
{
    for (std::size_t piece = first + 1; piece < end; ++piece) {
        const Vec2d& cut = pieces[piece].start;
        if (!Matches(cut, element.start, tol) && !Matches(cut, Geometry::EndPoint(element), tol)) {
            points.push_back(cut);
        }
    }
}

/// Appends the places at which the elements were cut.
template <class Element>
void AppendCuts(const std::vector<Element>& elements, const std::vector<Element>& pieces,
                double tol, std::vector<Vec2d>& points)
{
    ForPiecesOf(elements, pieces, [&](const Element& element, std::size_t first, std::size_t end) {
        AppendCutsOf(element, pieces, first, end, tol, points);
    });
}

/// A cut, and the number of the segment that has it.
using CutOfSegment = std::pair<int, Vec2d>;

/// Appends, for each end within a bundle of segments on one line at which members are cut, the cut
/// of the first of them: of the first member that has the end inside it, clear of both its own.
void AppendCutsOfBundle(const Intersect::Impl::LineBundle& bundle, double tol,
                        std::vector<CutOfSegment>& cuts)
{
    const std::vector<Vec2d>& ends = bundle.ends;
    const std::size_t count = ends.size();
    // The ends that match one are those from `firstMatch` up to, without it, `nextClear`.
    std::vector<std::size_t> firstMatch(count, 0);
    std::vector<std::size_t> nextClear(count, count);
    for (std::size_t i = 0, first = 0; i < count; ++i) {
        for (; !Matches(ends[first], ends[i], tol); ++first) {
            nextClear[first] = i;
        }
        firstMatch[i] = first;
    }
    Intersect::Impl::EachOnce left(count);
    for (const auto& member : bundle.members) {
        const std::size_t before = cuts.size();
        left.Take(nextClear[static_cast<std::size_t>(member.low)],
                  firstMatch[static_cast<std::size_t>(member.high)],
                  [&](std::size_t i) { cuts.emplace_back(member.segment, ends[i]); });
        if (member.reversed) {
            std::reverse(cuts.begin() + static_cast<std::ptrdiff_t>(before), cuts.end());
        }
    }
}

/// Appends the places at which segments without arcs were cut, when they overlap in great numbers
/// on some line; otherwise false. Their order is that of the segments: which of several points that
/// match is kept depends on it.
bool AppendCutsOnLines(const std::vector<SegBase<double>>& segments, double tol,
                       std::vector<Vec2d>& points)
{
    const auto cut = Intersect::Impl::CutOverlapsOnLines(segments, kCutTolerance);
    if (!cut) {
        return false;
    }
    std::vector<CutOfSegment> cuts;
    std::size_t number = 0;
    std::vector<Vec2d> own;
    ForPiecesOf(cut->elements, cut->pieces, [&](const auto& element, auto first, auto end) {
        own.clear();
        AppendCutsOf(element, cut->pieces, first, end, tol, own);
        for (const Vec2d& point : own) {
            cuts.emplace_back(cut->segmentOf[number], point);
        }
        ++number;
    });
    for (const Intersect::Impl::LineBundle& bundle : cut->bundles) {
        AppendCutsOfBundle(bundle, tol, cuts);
    }
    std::stable_sort(cuts.begin(), cuts.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const CutOfSegment& found : cuts) {
        points.push_back(found.second);
    }
    return true;
}

/// Appends the points of `own` that match one of `others`, which are unique.
void AppendCommon(const std::vector<Vec2d>& own, const std::vector<Vec2d>& others, double tol,
                  std::vector<Vec2d>& points)
{
    const Vector::Impl::UniqueLookup<2, double> lookup(others, tol);
    std::copy_if(own.begin(), own.end(), std::back_inserter(points),
                 [&](const Vec2d& point) { return lookup.Index(point) >= 0; });
}

} // namespace

template <class T>
std::vector<VecBase<2, T>> IntersectionPoints(const PolyArcSegBase<T>& a,
                                              const PolyArcSegBase<T>& b, T tol)
{
    Meeting meeting;
    std::vector<Vec2d> verticesOfA = meeting.Take(a);
    std::vector<Vec2d> verticesOfB = meeting.Take(b);
    const double reach = std::max(
        {static_cast<double>(AtLeastZero(tol)), RoundingOf(a.elements), RoundingOf(b.elements)});
    Vector::FilterForUniqueness(verticesOfA, reach);
    Vector::FilterForUniqueness(verticesOfB, reach);

    std::vector<Vec2d> points;
    AppendCommon(verticesOfA, verticesOfB, reach, points);
    AppendCommon(verticesOfB, verticesOfA, reach, points);
    if (!meeting.arcs.empty() || !AppendCutsOnLines(meeting.segments, reach, points)) {
        std::vector<SegBase<double>> segments = meeting.segments;
        std::vector<ArcBase<double>> arcs = meeting.arcs;
        if (Intersect::CutAtIntersections(segments, arcs, kCutTolerance)) {
            AppendCuts(meeting.segments, segments, reach, points);
            AppendCuts(meeting.arcs, arcs, reach, points);
        }
    }
    Vector::FilterForUniqueness(points, reach);

    std::vector<VecBase<2, T>> result;
    result.reserve(points.size());
    std::transform(points.begin(), points.end(), std::back_inserter(result),
                   [](const Vec2d& point) { return Narrowed<T>(point); });
    // Rounding may have brought two of them together.
    Vector::FilterForUniqueness(result, AtLeastZero(tol));
    return result;
}

template <class T>
bool BreakAtIntersections(PolyArcSegBase<T>& a, PolyArcSegBase<T>& b,
                          std::vector<VecBase<2, T>>& points, T tol)
{
    points.clear();
    std::vector<VecBase<2, T>> found = IntersectionPoints(a, b, tol);
    if (found.empty()) {
        return false;
    }
    PolyArcSegBase<T> brokenA = BreakAtComputedPoints(a, found, tol);
    PolyArcSegBase<T> brokenB = BreakAtComputedPoints(b, found, tol);
    // Nothing changes before there is memory for everything.
    a = std::move(brokenA);
    b = std::move(brokenB);
    points = std::move(found);
    return true;
}

template <class T>
bool SplitAtIntersections(const PolyArcSegBase<T>& a, const PolyArcSegBase<T>& b,
                          std::vector<PolyArcSegBase<T>>& piecesOfA,
                          std::vector<PolyArcSegBase<T>>& piecesOfB, T tol)
{
    piecesOfA.clear();
    piecesOfB.clear();
    const std::vector<VecBase<2, T>> points = IntersectionPoints(a, b, tol);
    if (points.empty()) {
        return false;
    }
    std::vector<PolyArcSegBase<T>> partsOfB = SplitAtComputedPoints(b, points, tol);
    piecesOfA = SplitAtComputedPoints(a, points, tol);
    piecesOfB = std::move(partsOfB);
    return true;
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template std::vector<VecBase<2, T>> IntersectionPoints(const PolyArcSegBase<T>&, const PolyArcSegBase<T>&, T); \
    template bool BreakAtIntersections(PolyArcSegBase<T>&, PolyArcSegBase<T>&, std::vector<VecBase<2, T>>&, T); \
    template bool SplitAtIntersections(const PolyArcSegBase<T>&, const PolyArcSegBase<T>&, std::vector<PolyArcSegBase<T>>&, std::vector<PolyArcSegBase<T>>&, T);
// clang-format on
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
