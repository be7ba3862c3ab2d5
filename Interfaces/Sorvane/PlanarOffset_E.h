// Offsets of chains of segments and arcs: where the center of a round tool runs whose edge follows a
// profile.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Supported_E.h>

#include <set>
#include <vector>

namespace Velk::Math::Sorvane::Planar {

/// The curves that lie at `distance` from a chain and no nearer to any part of it.
///
/// A positive distance lies to the right of travel, (d.y, -d.x): a counter-clockwise outline grows. A
/// negative one lies to the left, and its curves run against the chain. Corners on the outside are rounded
/// by arcs about them; the ends of an open chain get no caps. Elements may lie apart, which makes ends
/// without corners: so several walls in one chain are offset together and trimmed by each other. The
/// profile may fall apart into several curves, or into none.
///
/// What is smaller than `tol` makes no difference: elements are linked where their ends match within a
/// tenth of it, or within the gaps of the chain's own joints and the rounding of coordinates where those
/// are wider, and that is the tolerance of the result. Where an element between two others is no longer
/// than that itself, they may lie up to four times as far apart, and the tolerance may be as wide.
///
/// A distance not above `tol` in magnitude, and an empty chain, give one curve, a copy of the chain, in its
/// own direction also for a negative distance. A distance that is not finite gives none. `tol` counts as 0
/// when it is negative or NaN. Elements that are not finite or
/// no longer than 1e-12 count as not there. An arc whose radius would not be positive has no parallel, but
/// the corners at its ends are rounded all the same, so that the curve is bridged there.
///
/// Curves run as the chain does, or against it for a negative distance, whatever they are made of;
/// only where pieces meet head to head, as beside a chain that crosses itself, is one turned round.
/// Curves that touch in a point are two: where the room beside them narrows to that point, and about two
/// posts whose gap is twice the distance. A slot of exactly the width of the tool, to within the linking,
/// leaves its center line as an open curve of its own beside the closed ones.
///
/// Where two elements of the offset of a chain of one or two connect the same two points, or one closes on
/// itself, the linking is that of `CombineArcsSegs`, which loses elements between whose ends another one
/// runs, and so a full circle has no offset, two half circles give one half circle, and of a D the inner
/// offset is its chord alone. `WallOffset` gives such offsets whole. A
/// corner turned by less than some 1e-6 radians may keep a loop of three tiny elements on its inner side;
/// a wider `tol` takes it away.
///
/// `float` chains are calculated in `double`. Expected O((n + k) log n), with k for the crossings of the
/// parallel elements that are left when those near the chain's own neighborhood are dropped; parallel,
/// with the same result for any number of threads.
template <class T>
std::vector<PolyArcSegBase<T>> PlanarOffset(const PolyArcSegBase<T>& chain, T distance, T tol);

/// The same for each of a set of distances, which are worked on side by side; entry i has the curves of the
/// i-th smallest. A negative distance not below -`tol` gives a copy of the reversed chain, one from 0 to
/// `tol` a copy of the chain as it is.
template <class T>
std::vector<std::vector<PolyArcSegBase<T>>> PlanarOffsets(const PolyArcSegBase<T>& chain,
                                                          std::set<T> distances, T tol);

/// The curves at `distance` from several chains together, nearer to none of them, and whole.
///
/// Beside and about each chain as with `PlanarOffset`: a positive distance lies to the right of the
/// travel of every wall, the curves of a negative one run against them. What they do differently:
///
/// - Several walls are trimmed by each other, so that the offsets of two of them may become one curve.
/// Give a pocket's outline counter-clockwise and its islands clockwise: it lies to the left of all.
/// - All elements that differ are linked, also where two of them connect the same two points or one of
/// them closes on itself. A circle of radius r has the circle of radius r + d, and nothing inside when d is
/// not below r; two half circles have two, a lens and a D keep both their edges. Where an exact fit leaves a
/// line there and back, which are the same points, it comes once and is open.
/// - A distance within `tol` gives copies of the walls in their own direction. Walls without elements count
/// as not there.
///
/// For a single chain whose offset has no two elements between the same points the result is that of
/// `PlanarOffset`, bit for bit. Cost, threads and bad input as there.
template <class T>
std::vector<PolyArcSegBase<T>> WallOffset(const std::vector<PolyArcSegBase<T>>& walls, T distance, T tol);

/// The same for each of a set of distances, which are worked on side by side; entry i has the curves of the
/// i-th smallest.
template <class T>
std::vector<std::vector<PolyArcSegBase<T>>> WallOffsets(const std::vector<PolyArcSegBase<T>>& walls,
                                                        std::set<T> distances, T tol);

/// How `PocketRings` steps through a pocket.
template <class T> struct SORVANE_API PocketSteps {
    T first = T{0};        ///< from the walls to the first ring: the radius of the tool, and what is left on for finishing
    T step = T{0};         ///< from each ring to the next
    int mostRings = 10000; ///< stop there
};

/// Why a pocket has no more rings.
enum class PocketEnd : int {
    Stopped,  ///< the host's progress scope stopped it: no rings
    Cleared,  ///< nothing is left behind the last ring; without rings, the tool does not fit in
    MostRings, ///< there are as many as were asked for, and there may be more
    OpenWall, ///< the outline or an island is not closed, or empty: no rings
    BadSteps  ///< `first` is not above the tolerance, `step` not above the rounding of coordinates: no rings
};

/// The curves at one distance from the walls of a pocket.
template <class T> struct SORVANE_API PocketRing {
    T distance = T{0};                     ///< from the walls
    std::vector<PolyArcSegBase<T>> curves; ///< all closed but for center lines of exact fits

    friend bool operator==(const PocketRing&, const PocketRing&) = default;
};

/// The rings that clear a pocket, from the walls inward.
template <class T> struct SORVANE_API PocketPlan {
    PocketEnd end = PocketEnd::Stopped; ///< why there is no further ring
    std::vector<PocketRing<T>> rings;   ///< from the walls inward

    friend bool operator==(const PocketPlan&, const PocketPlan&) = default;
};

/// Rings inside of an outline and outside of its islands, at the distances first, first + step,
/// first + 2 step and so on, until one is empty.
///
/// Walls are closed, and run either way; islands may overlap each other and the outline, and what an island
/// covers is no pocket. One that runs there and back, as a fence does, covers nothing and leaves room on
/// either side of it. Of an outline that crosses itself, the pocket is what it runs round in the direction
/// in which it encloses more. Every ring has all curves of its distance, of which there may be several; they run
/// against the walls: clockwise along the outline, counter-clockwise about islands, so that the wall lies to
/// the left of travel. `tol` and the curves are those of `WallOffsets`. A step above the radius
/// of the tool leaves material between the rings.
///
/// It ends for any input: behind half the lesser extent of the outline there is no ring, `mostRings` bounds the
/// rest (none for 0 and less), and a step that is lost in the rounding of the outline's coordinates is refused,
/// as is one that is not finite or not positive. Time: that of the offsets, eight of which are worked on side
/// by side; the same result for any number of threads.
template <class T>
PocketPlan<T> PocketRings(const PolyArcSegBase<T>& outline, const std::vector<PolyArcSegBase<T>>& islands,
                          const PocketSteps<T>& steps, T tol);

// clang-format off
extern template SORVANE_API std::vector<PolyArcSegBase<float>>  PlanarOffset(const PolyArcSegBase<float>&,  float,  float);
extern template SORVANE_API std::vector<PolyArcSegBase<double>> PlanarOffset(const PolyArcSegBase<double>&, double, double);
extern template SORVANE_API std::vector<std::vector<PolyArcSegBase<float>>>  PlanarOffsets(const PolyArcSegBase<float>&,  std::set<float>,  float);
extern template SORVANE_API std::vector<std::vector<PolyArcSegBase<double>>> PlanarOffsets(const PolyArcSegBase<double>&, std::set<double>, double);
extern template SORVANE_API std::vector<PolyArcSegBase<float>>  WallOffset(const std::vector<PolyArcSegBase<float>>&,  float,  float);
extern template SORVANE_API std::vector<PolyArcSegBase<double>> WallOffset(const std::vector<PolyArcSegBase<double>>&, double, double);
extern template SORVANE_API std::vector<std::vector<PolyArcSegBase<float>>>  WallOffsets(const std::vector<PolyArcSegBase<float>>&,  std::set<float>,  float);
extern template SORVANE_API std::vector<std::vector<PolyArcSegBase<double>>> WallOffsets(const std::vector<PolyArcSegBase<double>>&, std::set<double>, double);
extern template SORVANE_API PocketPlan<float>  PocketRings(const PolyArcSegBase<float>&,  const std::vector<PolyArcSegBase<float>>&,  const PocketSteps<float>&,  float);
extern template SORVANE_API PocketPlan<double> PocketRings(const PolyArcSegBase<double>&, const std::vector<PolyArcSegBase<double>>&, const PocketSteps<double>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<PolyArcSegBase<T>> PlanarOffset(const PolyArcSegBase<T>&, T, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<PolyArcSegBase<T>>> PlanarOffsets(const PolyArcSegBase<T>&, std::set<T>, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<PolyArcSegBase<T>> WallOffset(const std::vector<PolyArcSegBase<T>>&, T, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<PolyArcSegBase<T>>> WallOffsets(const std::vector<PolyArcSegBase<T>>&, std::set<T>, T) = delete;
template <class T> requires(!SupportedReal<T>) PocketPlan<T> PocketRings(const PolyArcSegBase<T>&, const std::vector<PolyArcSegBase<T>>&, const PocketSteps<T>&, T) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
