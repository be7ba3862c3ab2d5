// Joints and cuts at parameters, at points and where the tangent turns past a direction.
//
// A chain is split by breaking it first. Which joint a parameter got is known from the breaking,
// and so no length has to be found again among lengths that were summed up anew: a tolerance of 0
// works.

#include "planar/ChainBreaking_Impl.h"

#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// The finite ones, ascending.
template <class T>
std::vector<T> Sorted(std::vector<T> parameters)
{
    std::erase_if(parameters, [](T parameter) { return !std::isfinite(parameter); });
    std::sort(parameters.begin(), parameters.end());
    return parameters;
}

/// The joints of a chain by their parameters, as they are before they are rounded to T.
template <class T>
class Knots {
public:
    /// `tol` not negative.
    Knots(const PolyArcSegBase<T>& chain, bool normalized, T tol)
        : places_(RunningLengths(chain)), tol_(tol), coordinateRounding_(RoundingOf(chain.elements))
    {
        if (!normalized) {
            return;
        }
        unit_ = places_.back();
        if (unit_ != 0.0) {
            for (double& place : places_) {
                place /= unit_;
            }
            coordinateRounding_ /= unit_;
        }
    }

    std::size_t Count() const { return places_.size(); }
    double operator[](std::size_t knot) const { return places_[knot]; }
    /// Length of the chain by which parameters are multiples of it, 1 for lengths.
    double Unit() const { return unit_; }
    /// What is no farther from a parameter is the same place: the tolerance or, where it is larger,
    /// the rounding.
    double Reach(double parameter) const
    {
        // What is a rounding beyond the tolerance here may be within it where an element is cut.
        constexpr double kRounding = static_cast<double>(std::numeric_limits<T>::epsilon());
        const double size = std::fabs(parameter);
        return std::max({tol_ + kRounding * size, coordinateRounding_, RoundingAt<T>(size)});
    }

    /// Number of the first knot that isn't below the parameter by more than the reach.
    std::size_t NotBefore(double parameter) const
    {
        const double reach = Reach(parameter);
        const auto knot = std::partition_point(places_.begin(), places_.end(), [&](double place) {
            return parameter - place > reach;
        });
        return static_cast<std::size_t>(knot - places_.begin());
    }

    bool IsAt(std::size_t knot, double parameter) const
    {
        return knot < Count() && std::fabs(parameter - places_[knot]) <= Reach(parameter);
    }

    /// Is the parameter on the chain, and neither at its start nor at its end?
    bool IsInside(double parameter) const
    {
        return parameter > places_.front() && parameter < places_.back() && !IsAt(0, parameter) &&
               !IsAt(Count() - 1, parameter);
    }

private:
    std::vector<double> places_;
    double unit_ = 1.0;
    double tol_;
    double coordinateRounding_;
};

/// A chain with more joints, and what became of the old ones.
template <class T>
struct BrokenChain {
    PolyArcSegBase<T> chain;
    /// For each old joint the number of the element that begins there now.
    std::vector<std::size_t> firstPiece;
    /// Parameters that are at no old joint, ascending.
    std::vector<T> fresh;
};

template <class T>
BrokenChain<T> Unbroken(const PolyArcSegBase<T>& chain)
{
    BrokenChain<T> result{chain, {}, {}};
    for (std::size_t i = 0; i <= chain.elements.size(); ++i) {
        result.firstPiece.push_back(i);
    }
    return result;
}

/// `sorted` as from `Sorted`, `tol` not negative.
template <class T>
BrokenChain<T> Break(const PolyArcSegBase<T>& chain, const Knots<T>& knots,
                     const std::vector<T>& sorted, T tol)
{
    BrokenChain<T> broken;
    broken.chain.tolerance = chain.tolerance;
    std::copy_if(sorted.begin(), sorted.end(), std::back_inserter(broken.fresh),
                 [&](T parameter) { return !knots.IsAt(knots.NotBefore(parameter), parameter); });
    if (broken.fresh.empty()) {
        return Unbroken(chain);
    }

    const std::vector<double> lengths = RunningLengths(chain);
    broken.chain.elements.reserve(chain.elements.size() + broken.fresh.size());
    broken.firstPiece.reserve(knots.Count());
    auto next = std::upper_bound(broken.fresh.begin(), broken.fresh.end(), knots[0]);
    std::vector<T> local;
    for (std::size_t i = 0; i < chain.elements.size(); ++i) {
        local.clear();
        for (; next != broken.fresh.end() && *next < knots[i + 1]; ++next) {
            local.push_back(static_cast<T>(static_cast<double>(*next) * knots.Unit() - lengths[i]));
        }
        std::vector<ArcSegBase<T>>& elements = broken.chain.elements;
        broken.firstPiece.push_back(elements.size());
        if (local.empty() || lengths[i + 1] - lengths[i] <= static_cast<double>(tol)) {
            elements.push_back(chain.elements[i]);
            continue;
        }
        const std::vector<ArcSegBase<T>> pieces = Split(chain.elements[i], local, false, tol);
        if (pieces.empty()) {
            return Unbroken(chain);
        }
        elements.insert(elements.end(), pieces.begin(), pieces.end());
    }
    broken.firstPiece.push_back(broken.chain.elements.size());
    return broken;
}

/// Number of the element of the broken chain at which the chain comes apart for `parameter`, which
/// is inside: the one after the first joint, old or new, that isn't below it by more than the
/// reach.
template <class T>
std::size_t CutOf(T parameter, const BrokenChain<T>& broken, const Knots<T>& knots)
{
    const std::size_t knot = knots.NotBefore(parameter);
    const std::size_t cut = broken.firstPiece[knot];
    const auto& fresh = broken.fresh;
    const double reach = knots.Reach(parameter);
    const auto own = std::partition_point(fresh.begin(), fresh.end(),
                                          [&](double place) { return parameter - place > reach; });
    if (own == fresh.end() || *own >= knots[knot] || knot == 0 ||
        cut == broken.firstPiece[knot - 1] + 1) {
        return cut; // an old joint, or the one that ends an element left whole
    }
    const auto first = std::upper_bound(fresh.begin(), own, knots[knot - 1]);
    return broken.firstPiece[knot - 1] + 1 + static_cast<std::size_t>(own - first);
}

/// The elements in chains that begin at the cuts (ascending, repetitions allowed) and at 0.
template <class T>
std::vector<PolyArcSegBase<T>> Parted(const PolyArcSegBase<T>& chain,
                                      const std::vector<std::size_t>& cuts)
{
    std::vector<PolyArcSegBase<T>> parts;
    auto cut = cuts.begin();
    for (std::size_t i = 0; i < chain.elements.size(); ++i) {
        bool begins = i == 0;
        for (; cut != cuts.end() && *cut <= i; ++cut) {
            begins = true;
        }
        if (begins) {
            parts.emplace_back().tolerance = chain.tolerance;
        }
        parts.back().elements.push_back(chain.elements[i]);
    }
    return parts;
}

/// Length parameters of the points that lie on the chain.
template <class T>
std::vector<T> ParametersOf(const PolyArcSegBase<T>& chain,
                            const std::vector<VecBase<2, T>>& points, T tol)
{
    std::vector<T> parameters =
        PointParametersOnPolyArcSeg(chain, points, Reach(tol, chain.elements));
    std::erase(parameters, T{-1});
    return parameters;
}

/// The same, ascending, and of those that are one place the first alone: where a chain meets
/// several others in nearly one point, one joint serves all.
template <class T>
std::vector<T> PlacesOf(const PolyArcSegBase<T>& chain, const std::vector<VecBase<2, T>>& points,
                        T tol)
{
    const Knots<T> knots(chain, false, AtLeastZero(tol));
    std::vector<T> places;
    double last = -std::numeric_limits<double>::infinity();
    for (const T place : Sorted(ParametersOf(chain, points, tol))) {
        if (knots.IsAt(knots.NotBefore(place), place)) {
            places.push_back(place);
        } else if (place - last > knots.Reach(place)) {
            places.push_back(place);
            last = place;
        }
    }
    return places;
}

/// By how much the rounding of coordinates may turn the tangents of an element, as a sine.
template <class T>
double TangentRounding(const ArcSegBase<T>& element)
{
    const ArcBase<T>* const arc = element.AsArc();
    const double extent = arc != nullptr ? Distance(arc->center, arc->start) : WideLength(element);
    return extent > 0.0 ? RoundingAt<T>(SizeOf(element)) / extent : 0.0;
}

/// On which side of a direction a tangent points: the sign of their cross product.
template <class T>
int SideOf(const VecBase<2, T>& tangent, const VecBase<2, T>& direction, double tol)
{
    const double cross = Widened(tangent) ^ Widened(direction);
    if (std::fabs(cross) <= tol) {
        return 0;
    }
    return cross > 0 ? 1 : -1;
}

/// Appends the points of an arc at which its tangent is parallel to `direction`.
template <class T>
void AppendTurns(const ArcBase<T>& arc, const VecBase<2, T>& direction, T tol,
                 std::vector<VecBase<2, T>>& points)
{
    const VecBase<2, T> across =
        VecBase<2, T>(-direction.y(), direction.x()) * (T{2} * Geometry::Radius(arc));
    VecBase<2, T> hits[2];
    T places[2];
    const int count = Intersect::ArcSegment(arc.center, arc.start, arc.length, arc.center + across,
                                            arc.center - across, hits[0], places[0], hits[1],
                                            places[1], true, tol);
    points.insert(points.end(), hits, hits + count);
}

} // namespace

template <class T>
std::vector<ArcSegBase<T>> Split(const ArcSegBase<T>& element, const std::vector<T>& parameters,
                                 bool normalized, T tol)
{
    if (parameters.empty() ||
        !std::all_of(parameters.begin(), parameters.end(), [](T p) { return std::isfinite(p); })) {
        return {};
    }
    std::vector<T> falling = parameters;
    std::sort(falling.begin(), falling.end(), std::greater<>{});
    const T unit = normalized ? element.Length() : T{1};
    const T reach = AtLeastZero(tol);

    // From the far end, so that every cut is measured from the element's own start.
    return element.Visit([&](const auto& e) {
        std::vector<std::decay_t<decltype(e)>> pieces{e};
        for (const T parameter : falling) {
            const auto halves = Geometry::Split(pieces.back(), parameter * unit, false, reach);
            if (halves.size() != 2) {
                return std::vector<ArcSegBase<T>>();
            }
            pieces.back() = halves[1];
            pieces.push_back(halves[0]);
        }
        return std::vector<ArcSegBase<T>>(pieces.rbegin(), pieces.rend());
    });
}

template <class T>
PolyArcSegBase<T> BreakAtParams(const PolyArcSegBase<T>& chain, const std::vector<T>& parameters,
                                bool normalized, T tol)
{
    const T reach = AtLeastZero(tol);
    const Knots<T> knots(chain, normalized, reach);
    return Break(chain, knots, Sorted(parameters), reach).chain;
}

template <class T>
PolyArcSegBase<T> BreakAtPoints(const PolyArcSegBase<T>& chain,
                                const std::vector<VecBase<2, T>>& points, T tol)
{
    return BreakAtParams(chain, ParametersOf(chain, points, tol), false, tol);
}

template <class T>
std::vector<PolyArcSegBase<T>> Split(const PolyArcSegBase<T>& chain,
                                     const std::vector<T>& parameters, bool normalized, T tol)
{
    const T reach = AtLeastZero(tol);
    const Knots<T> knots(chain, normalized, reach);
    const std::vector<T> sorted = Sorted(parameters);
    if (std::none_of(sorted.begin(), sorted.end(), [&](T p) { return knots.IsInside(p); })) {
        return {chain};
    }
    const BrokenChain<T> broken = Break(chain, knots, sorted, reach);
    std::vector<std::size_t> cuts;
    for (const T parameter : sorted) {
        if (knots.IsInside(parameter)) {
            cuts.push_back(CutOf(parameter, broken, knots));
        }
    }
    return Parted(broken.chain, cuts);
}

template <class T>
std::vector<PolyArcSegBase<T>> SplitAtPoints(const PolyArcSegBase<T>& chain,
                                             const std::vector<VecBase<2, T>>& points, T tol)
{
    return Split(chain, ParametersOf(chain, points, tol), false, tol);
}

template <class T>
PolyArcSegBase<T> Impl::BreakAtComputedPoints(const PolyArcSegBase<T>& chain,
                                              const std::vector<VecBase<2, T>>& points, T tol)
{
    return BreakAtParams(chain, PlacesOf(chain, points, tol), false, tol);
}

template <class T>
std::vector<PolyArcSegBase<T>> Impl::SplitAtComputedPoints(const PolyArcSegBase<T>& chain,
                                                           const std::vector<VecBase<2, T>>& points,
                                                           T tol)
{
    return Split(chain, PlacesOf(chain, points, tol), false, tol);
}

template <class T>
std::vector<PolyArcSegBase<T>> SplitAtTangent(const PolyArcSegBase<T>& chain,
                                              const VecBase<2, T>& direction, T tol)
{
    if (chain.elements.empty()) {
        return {chain};
    }
    const T reach = AtLeastZero(tol);
    std::vector<VecBase<2, T>> turns;
    std::optional<int> previous; // nothing turns before the first element
    for (const ArcSegBase<T>& element : chain.elements) {
        const double within = std::max(static_cast<double>(reach), TangentRounding(element));
        const int start = SideOf(element.StartTangent(), direction, within);
        const int end = SideOf(element.EndTangent(), direction, within);
        if (previous && *previous != start) {
            turns.push_back(element.StartPoint());
        }
        if (const ArcBase<T>* arc = element.AsArc(); arc != nullptr && start != end) {
            AppendTurns(*arc, direction, reach, turns);
        }
        previous = end;
    }
    return SplitAtComputedPoints(chain, turns, reach);
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template std::vector<ArcSegBase<T>> Split(const ArcSegBase<T>&, const std::vector<T>&, bool, T); \
    template PolyArcSegBase<T> BreakAtParams(const PolyArcSegBase<T>&, const std::vector<T>&, bool, T); \
    template PolyArcSegBase<T> BreakAtPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T); \
    template std::vector<PolyArcSegBase<T>> Split(const PolyArcSegBase<T>&, const std::vector<T>&, bool, T); \
    template std::vector<PolyArcSegBase<T>> SplitAtPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T); \
    template std::vector<PolyArcSegBase<T>> SplitAtTangent(const PolyArcSegBase<T>&, const VecBase<2, T>&, T); \
    template PolyArcSegBase<T> Impl::BreakAtComputedPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T); \
    template std::vector<PolyArcSegBase<T>> Impl::SplitAtComputedPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T);
// clang-format on
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
