// Offsets of chains, by trimming.
//
//   1. The raw parallel: every element moved, every corner filled with an arc about it.
//   2. All of it is cut wherever it meets itself.
//   3. A piece stays when it comes nowhere nearer to the chain than the distance; a piece that
//      is cut wherever that can change is judged by three of its points.
//   4. What stays is linked to chains.
//
// The chain lies about its own center meanwhile and in `double`, so that the coordinates round as
// finely for a part far from the origin as for one at the origin.

#include <Sorvane/PlanarOffset_E.h>
#include <Velk/Math/Intersect_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "planar/ChainBreaking_Impl.h"
#include "planar/ChainElement_Impl.h"
#include "planar/CutPieces_Impl.h"
#include "planar/PlanarOffsetLinks_Impl.h"
#include "planar/PlanarOffsetRaw_Impl.h"
#include "planar/PlanarOffsetSource_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <span>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// How much nearer than the distance a point may be by what nobody means: beside the rounding of
/// its coordinates and the gaps of the joints.
constexpr double kTrimFloor = 1e-12;
/// Part of the tolerance within which ends of pieces are linked.
constexpr double kLinkFraction = 0.1;
/// How far apart ends at one vertex may lie, in parts of that: each matches the vertex per
/// coordinate, and an element may be missing between them that was no longer itself.
constexpr double kLinkBridge = 4.0;

template <class T>
using Chains = std::vector<PolyArcSegBase<T>>;

Vec2d MiddleOf(const SegBase<double>& piece) { return (piece.start + piece.end) * 0.5; }

Vec2d MiddleOf(const ArcBase<double>& piece)
{
    const Vec2d spoke = piece.start - piece.center;
    const double radius = Vector::Length(spoke);
    const double angle = radius <= kLengthFloor<double> ? 0.0 : 0.5 * piece.length / radius;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return piece.center + Vec2d(c * spoke.x() - s * spoke.y(), s * spoke.x() + c * spoke.y());
}

SegBase<double> Joined(const std::vector<SegBase<double>>& pieces, std::size_t first,
                       std::size_t last)
{
    return {pieces[first].start, pieces[last].end};
}

ArcBase<double> Joined(const std::vector<ArcBase<double>>& pieces, std::size_t first,
                       std::size_t last)
{
    ArcBase<double> joined = pieces[first];
    for (std::size_t i = first + 1; i <= last; ++i) {
        joined.length += pieces[i].length;
    }
    return joined;
}

/// Tells which pieces the chain comes too near to.
class Trim {
public:
    Trim(const OffsetSource& source, double limit) : source_(source), limit_(limit) {}

    /// Appends the pieces that stay of the first `count` elements, in order. Where neighbors of one
    /// element stay both, they are one again.
    template <class Piece>
    void AppendKept(const std::vector<Piece>& elements, std::size_t count,
                    const std::vector<Piece>& pieces, KeptPieces& kept) const
    {
        std::vector<char> isKept(pieces.size(), 0);
        std::vector<Vec2d> ends(pieces.size());
        Parallel::Impl::ApplyParallelChunks(
            std::size_t{0}, pieces.size(), [&](std::size_t from, std::size_t to) {
                std::size_t hint = 0;
                for (std::size_t i = from; i < to; ++i) {
                    const Piece& piece = pieces[i];
                    ends[i] = Geometry::EndPoint(piece);
                    isKept[i] =
                        source_.IsNearerThan(limit_, piece.start, MiddleOf(piece), ends[i], hint)
                            ? 0
                            : 1;
                }
            });
        std::size_t number = 0;
        ForPiecesOf(elements, pieces, [&](const Piece& element, std::size_t from, std::size_t to) {
            if (number++ >= count) {
                return;
            }
            for (std::size_t i = from; i < to; ++i) {
                if (isKept[i] == 0) {
                    continue;
                }
                const std::size_t first = i;
                while (i + 1 < to && isKept[i + 1] != 0) {
                    ++i;
                }
                const bool isAll = first == from && i + 1 == to;
                kept.elements.emplace_back(isAll ? element : Joined(pieces, first, i));
                kept.ends.push_back(isAll ? ends[i] : kept.elements.back().EndPoint());
            }
        });
    }

private:
    const OffsetSource& source_;
    double limit_;
};

template <class T>
ArcSegBase<T> Placed(const SegBase<double>& segment, const Vec2d& origin)
{
    return SegBase<T>{Narrowed<T>(segment.start + origin), Narrowed<T>(segment.end + origin)};
}

template <class T>
ArcSegBase<T> Placed(const ArcBase<double>& arc, const Vec2d& origin)
{
    return ArcBase<T>{Narrowed<T>(arc.center + origin), Narrowed<T>(arc.start + origin),
                      static_cast<T>(arc.length)};
}

/// The tolerance of a placed chain: where a gap of a joint was just within it and rounding has made
/// it wider, what the joint needs.
template <class T>
T PlacedTolerance(const PolyArcSegBase<T>& chain, double tolerance, double rounding)
{
    const double usual = std::max(tolerance, rounding);
    double widest = usual;
    for (std::size_t i = 0; i < chain.elements.size(); ++i) {
        const std::size_t next = i + 1 < chain.elements.size() ? i + 1 : 0;
        const double gap =
            Distance(chain.elements[i].EndPoint(), chain.elements[next].StartPoint());
        if (gap <= usual + 2 * rounding) { // else the chain is open there
            widest = std::max(widest, gap);
        }
    }
    const T placed = static_cast<T>(usual);
    return widest > static_cast<double>(placed)
               ? std::nextafter(static_cast<T>(widest), std::numeric_limits<T>::max())
               : placed;
}

/// The elements where the caller's chain is, in T.
template <class T>
Chains<T> PlacedChains(const Chains<double>& chains, const Vec2d& origin)
{
    Chains<T> result(chains.size());
    for (std::size_t i = 0; i < chains.size(); ++i) {
        PolyArcSegBase<T>& chain = result[i];
        double size = 0.0;
        chain.elements.reserve(chains[i].elements.size());
        for (const ArcSegBase<double>& element : chains[i].elements) {
            chain.elements.push_back(
                element.Visit([&](const auto& e) { return Placed<T>(e, origin); }));
            size = std::max(size, SizeOf(chain.elements.back()));
        }
        chain.tolerance = PlacedTolerance(chain, chains[i].tolerance, RoundingAt<T>(size));
    }
    return result;
}

/// How what is left of the parallels becomes chains: in their directions in any case.
enum class Linking {
    /// But where one of a chain of one or two elements runs between the ends of another one, or
    /// closes on itself, as loose ones are combined: that keeps one between two vertices and none
    /// of a vertex with itself.
    LikeLooseElements,
    /// All of them.
    Directed
};

std::size_t CountElements(const Chains<double>& chains)
{
    std::size_t count = 0;
    for (const PolyArcSegBase<double>& chain : chains) {
        count += chain.elements.size();
    }
    return count;
}

Chains<double> Linked(const KeptPieces& kept, double link, double bridge, double tol,
                      bool isLikeLoose)
{
    Chains<double> whole = LinkedPieces(kept, link, bridge, tol);
    if (isLikeLoose) {
        Chains<double> loose = CombineWithEnds(kept.elements, kept.ends, link, bridge);
        // Loose elements have no direction, so that where none is lost they are only turned.
        if (CountElements(loose) < CountElements(whole)) {
            return loose;
        }
    }
    return whole;
}

/// The offset at `distance` > 0.
template <class T>
Chains<T> TrimmedOffset(const OffsetSource& source, double distance, double tol, Linking linking)
{
    const double rounding = RoundingAt<double>(source.Size() + distance);
    const double limit = distance - (kTrimFloor + 2 * source.JointGap() + rounding);

    RawOffset raw = BuildRawOffset(source, distance, limit);
    Intersect::CutAtIntersections(raw.segments, raw.arcs, kLengthFloor<double>);

    // The others cut what is cut already, so that a cut that changes nothing can be taken back.
    const std::size_t segmentCount = raw.segments.size();
    const std::size_t arcCount = raw.arcs.size();
    const bool hasOthers = !raw.cuttingSegments.empty() || !raw.cuttingArcs.empty();
    std::vector<SegBase<double>> segments;
    std::vector<ArcBase<double>> arcs;
    if (hasOthers) {
        raw.segments.insert(raw.segments.end(), raw.cuttingSegments.begin(),
                            raw.cuttingSegments.end());
        raw.arcs.insert(raw.arcs.end(), raw.cuttingArcs.begin(), raw.cuttingArcs.end());
        segments = raw.segments;
        arcs = raw.arcs;
        Intersect::CutAtIntersections(segments, arcs, kLengthFloor<double>);
    }

    const Trim trim(source, limit);
    KeptPieces kept;
    trim.AppendKept(raw.segments, segmentCount, hasOthers ? segments : raw.segments, kept);
    trim.AppendKept(raw.arcs, arcCount, hasOthers ? arcs : raw.arcs, kept);
    const double link = std::max({kLinkFraction * tol, 4 * source.JointGap(), rounding});
    const double bridge = kLinkBridge * link;
    const bool isLikeLoose = linking == Linking::LikeLooseElements && source.Count() < 3;
    return PlacedChains<T>(Linked(kept, link, bridge, tol, isLikeLoose), source.Center());
}

template <class T>
PolyArcSegBase<T> Reversed(PolyArcSegBase<T> chain)
{
    std::reverse(chain.elements.begin(), chain.elements.end());
    for (ArcSegBase<T>& element : chain.elements) {
        element.Reverse();
    }
    return chain;
}

/// The offsets at each of the distances, which ascend, worked on side by side. `copyOf(isNegative)`
/// gives the curves at a distance within the tolerance.
template <class T, class CopyOf>
std::vector<Chains<T>> OffsetsAt(std::span<const PolyArcSegBase<T>> chains,
                                 const std::vector<T>& ascending, T reach, Linking linking,
                                 const CopyOf& copyOf)
{
    std::vector<Chains<T>> result(ascending.size());
    const bool hasElements = std::any_of(chains.begin(), chains.end(),
                                         [](const auto& chain) { return !chain.elements.empty(); });
    const auto isWorkedOn = [&](T distance, bool isNegative) {
        return std::isfinite(distance) && (distance < T{0}) == isNegative &&
               std::fabs(distance) > reach && hasElements;
    };
    std::unique_ptr<const OffsetSource> sources[2];
    for (const bool isNegative : {false, true}) {
        if (std::any_of(ascending.begin(), ascending.end(),
                        [&](T distance) { return isWorkedOn(distance, isNegative); })) {
            sources[isNegative ? 1 : 0] =
                std::make_unique<const OffsetSource>(chains, isNegative, reach);
        }
    }
    Progress::Impl::Share share(ascending.size());
    Parallel::Impl::ApplyParallel(std::size_t{0}, ascending.size(), [&](std::size_t i) {
        const T distance = ascending[i];
        const bool isNegative = distance < T{0};
        if (isWorkedOn(distance, isNegative)) {
            result[i] = TrimmedOffset<T>(*sources[isNegative ? 1 : 0],
                                         std::fabs(static_cast<double>(distance)),
                                         static_cast<double>(reach), linking);
        } else if (std::isfinite(distance)) {
            result[i] = copyOf(isNegative);
        }
        share.Done();
    });
    return result;
}

template <class T>
std::vector<T> Ascending(const std::set<T>& distances)
{
    return {distances.begin(), distances.end()};
}

} // namespace

template <class T>
std::vector<PolyArcSegBase<T>> PlanarOffset(const PolyArcSegBase<T>& chain, T distance, T tol)
{
    return Progress::Impl::Stoppable([&]() -> Chains<T> {
        return std::move(OffsetsAt<T>({&chain, 1}, {distance}, AtLeastZero(tol),
                                      Linking::LikeLooseElements,
                                      [&](bool) { return Chains<T>{chain}; })
                             .front());
    });
}

template <class T>
std::vector<std::vector<PolyArcSegBase<T>>> PlanarOffsets(const PolyArcSegBase<T>& chain,
                                                          std::set<T> distances, T tol)
{
    return Progress::Impl::Stoppable(
        [&] {
            return OffsetsAt<T>(
                {&chain, 1}, Ascending(distances), AtLeastZero(tol), Linking::LikeLooseElements,
                [&](bool isNegative) { return Chains<T>{isNegative ? Reversed(chain) : chain}; });
        },
        [&] { return std::vector<Chains<T>>(distances.size()); });
}

template <class T>
std::vector<PolyArcSegBase<T>> WallOffset(const std::vector<PolyArcSegBase<T>>& walls, T distance,
                                          T tol)
{
    return Progress::Impl::Stoppable(
        [&]() -> Chains<T> { return std::move(WallOffsets(walls, {distance}, tol).front()); });
}

template <class T>
std::vector<std::vector<PolyArcSegBase<T>>> WallOffsets(const std::vector<PolyArcSegBase<T>>& walls,
                                                        std::set<T> distances, T tol)
{
    return Progress::Impl::Stoppable(
        [&] {
            return OffsetsAt<T>(walls, Ascending(distances), AtLeastZero(tol), Linking::Directed,
                                [&](bool) {
                                    Chains<T> copies = walls;
                                    std::erase_if(copies, [](const PolyArcSegBase<T>& wall) {
                                        return wall.elements.empty();
                                    });
                                    return copies;
                                });
        },
        [&] { return std::vector<Chains<T>>(distances.size()); });
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template std::vector<PolyArcSegBase<T>> PlanarOffset(const PolyArcSegBase<T>&, T, T); \
    template std::vector<std::vector<PolyArcSegBase<T>>> PlanarOffsets(const PolyArcSegBase<T>&, std::set<T>, T); \
    template std::vector<PolyArcSegBase<T>> WallOffset(const std::vector<PolyArcSegBase<T>>&, T, T); \
    template std::vector<std::vector<PolyArcSegBase<T>>> WallOffsets(const std::vector<PolyArcSegBase<T>>&, std::set<T>, T);
// clang-format on
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
