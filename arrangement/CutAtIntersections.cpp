// Cutting sets of segments and arcs wherever they meet.
//
// Repeated elements (a Minkowski sum has them by the thousand) are found first and stand for each
// other: they do not cut one another, so that a stack of n equal ones costs one, not n^2 / 2 pairs.
// A segment and its reverse are repetitions too. What remains is planned in double (CutPlan.cpp)
// and carried out here.

#include "arrangement/CutAtIntersections_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace Velk::Math::Intersect {
namespace {

using Geometry::ArcBase;
using Geometry::SegBase;

/// Which of the distinct elements an element repeats, and whether it runs the other way.
struct Repetition {
    int element = 0;
    bool reversed = false;
};

template <class T>
bool Before(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
}

/// What makes two elements repetitions of each other: the ends of a segment, the smaller first.
template <class T>
std::array<VecBase<2, T>, 2> Identity(const SegBase<T>& segment)
{
    if (Before(segment.end, segment.start)) {
        return {segment.end, segment.start};
    }
    return {segment.start, segment.end};
}

template <class T>
std::array<VecBase<2, T>, 3> Identity(const ArcBase<T>& arc)
{
    return {arc.center, arc.start, VecBase<2, T>(arc.length, T{0})};
}

template <class Key>
struct HashOfPoints {
    std::size_t operator()(const Key& points) const
    {
        std::size_t state = 0;
        for (const auto& point : points) {
            state = state * 0x9e3779b97f4a7c15U + std::hash<std::decay_t<decltype(point)>>{}(point);
        }
        return state;
    }
    using is_avalanching = void;
};

template <class T>
bool RunsBackwards(const SegBase<T>& segment, const SegBase<T>& original)
{
    return !(segment.start == original.start);
}

template <class T>
bool RunsBackwards(const ArcBase<T>&, const ArcBase<T>&)
{
    return false;
}

/// Appends the distinct elements of the list to `elements` and tells for each of the list which it
/// is.
template <class Item, class T>
std::vector<Repetition> FindRepetitions(const std::vector<Item>& items, T tolerance,
                                        std::vector<Impl::Element>& elements)
{
    using Key = decltype(Identity(items.front()));
    struct Original {
        int element;
        int item;
    };
    boost::unordered_flat_map<Key, Original, HashOfPoints<Key>> originals;
    originals.reserve(items.size());
    std::vector<Repetition> repetitions(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        Progress::Impl::CheckStep(i);
        const int next = static_cast<int>(elements.size());
        const Impl::Element element = Impl::MakeElement(items[i], tolerance);
        if (element.active) { // NaN equals nothing and would not be found again
            const auto [place, isNew] =
                originals.try_emplace(Identity(items[i]), Original{next, static_cast<int>(i)});
            if (!isNew) {
                const Original& original = place->second;
                const Item& item = items[static_cast<std::size_t>(original.item)];
                repetitions[i] = {original.element, RunsBackwards(items[i], item)};
                continue;
            }
        }
        repetitions[i] = {next, false};
        elements.push_back(element);
    }
    return repetitions;
}

template <class T>
void AppendPieces(const SegBase<T>& segment, const std::vector<Impl::CutPlan::Cut>& cuts, int from,
                  int to, bool reversed, std::vector<SegBase<T>>& pieces)
{
    VecBase<2, T> start = segment.start;
    for (int i = from; i < to; ++i) {
        const int inTravel = reversed ? to - 1 - (i - from) : i;
        const VecBase<2, T> point(cuts[static_cast<std::size_t>(inTravel)].point);
        pieces.push_back({start, point});
        start = point;
    }
    pieces.push_back({start, segment.end});
}

/// The last piece takes what the others leave, so that the lengths add up to the arc's.
template <class T>
void AppendPieces(const ArcBase<T>& arc, const std::vector<Impl::CutPlan::Cut>& cuts, int from,
                  int to, bool, std::vector<ArcBase<T>>& pieces)
{
    ArcBase<T> piece = arc;
    double placeBefore = 0;
    T used{0};
    for (int i = from; i < to; ++i) {
        const auto& [point, place] = cuts[static_cast<std::size_t>(i)];
        piece.length = std::copysign(static_cast<T>(place - placeBefore), arc.length);
        used += piece.length;
        pieces.push_back(piece);
        piece.start = VecBase<2, T>(point);
        placeBefore = place;
    }
    piece.length = arc.length - used;
    pieces.push_back(piece);
}

/// The list with each element that has cuts replaced by its pieces; nothing when none has.
template <class Item>
std::optional<std::vector<Item>> Pieces(const Impl::CutPlan& plan,
                                        const std::vector<Repetition>& repetitions,
                                        const std::vector<Item>& items)
{
    const auto cutRange = [&](std::size_t item) {
        const auto element = static_cast<std::size_t>(repetitions[item].element);
        return std::pair(plan.first[element], plan.first[element + 1]);
    };
    std::size_t pieceCount = items.size();
    for (std::size_t i = 0; i < items.size(); ++i) {
        const auto [from, to] = cutRange(i);
        pieceCount += static_cast<std::size_t>(to - from);
    }
    if (pieceCount == items.size()) {
        return std::nullopt;
    }
    std::vector<Item> pieces;
    pieces.reserve(pieceCount);
    for (std::size_t i = 0; i < items.size(); ++i) {
        Progress::Impl::CheckStep(i);
        const auto [from, to] = cutRange(i);
        if (from == to) {
            pieces.push_back(items[i]);
        } else {
            AppendPieces(items[i], plan.cuts, from, to, repetitions[i].reversed, pieces);
        }
    }
    return pieces;
}

template <class T>
void NarrowTo(Vec2d& point)
{
    point = Math::Impl::Widened(Math::Impl::Narrowed<T>(point));
}

} // namespace

template <class T>
bool CutAtIntersections(std::vector<SegBase<T>>& segments, T tolerance)
{
    std::vector<ArcBase<T>> noArcs;
    return CutAtIntersections(segments, noArcs, tolerance);
}

template <class T>
bool CutAtIntersections(std::vector<SegBase<T>>& segments, std::vector<ArcBase<T>>& arcs,
                        T tolerance)
{
    std::vector<Impl::Element> elements;
    elements.reserve(segments.size() + arcs.size());
    const std::vector<Repetition> segmentRepetitions =
        FindRepetitions(segments, tolerance, elements);
    const std::vector<Repetition> arcRepetitions = FindRepetitions(arcs, tolerance, elements);
    const Impl::CutPlan plan = Impl::PlanCuts(elements, &NarrowTo<T>);
    // Both lists are complete before either changes: memory may end in the second.
    auto segmentPieces = Pieces(plan, segmentRepetitions, segments);
    auto arcPieces = Pieces(plan, arcRepetitions, arcs);
    if (segmentPieces) {
        segments = *std::move(segmentPieces);
    }
    if (arcPieces) {
        arcs = *std::move(arcPieces);
    }
    return segmentPieces.has_value() || arcPieces.has_value();
}

// clang-format off
template bool CutAtIntersections(std::vector<SegBase<float>>&,  float);
template bool CutAtIntersections(std::vector<SegBase<double>>&, double);
template bool CutAtIntersections(std::vector<SegBase<float>>&,  std::vector<ArcBase<float>>&,  float);
template bool CutAtIntersections(std::vector<SegBase<double>>&, std::vector<ArcBase<double>>&, double);
// clang-format on

} // namespace Velk::Math::Intersect
