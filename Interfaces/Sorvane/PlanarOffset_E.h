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
/// Two that touch in a point are two. A slot of exactly the width of the tool, to within the linking,
/// leaves its center line as an open curve of its own beside the closed ones.
///
/// Of a chain of one or two elements the linking is that of `CombineArcsSegs`, which loses elements
/// between whose ends another one runs, and so a full circle has no offset, two half circles give one
/// half circle, and of a D the inner offset is its chord alone. Give such outlines one more joint
/// (`BreakAtParams`): with three elements they come out whole. A corner turned by less than some 1e-6
/// radians may keep a loop of three tiny elements on its inner side; a wider `tol` takes it away.
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

// clang-format off
extern template SORVANE_API std::vector<PolyArcSegBase<float>>  PlanarOffset(const PolyArcSegBase<float>&,  float,  float);
extern template SORVANE_API std::vector<PolyArcSegBase<double>> PlanarOffset(const PolyArcSegBase<double>&, double, double);
extern template SORVANE_API std::vector<std::vector<PolyArcSegBase<float>>>  PlanarOffsets(const PolyArcSegBase<float>&,  std::set<float>,  float);
extern template SORVANE_API std::vector<std::vector<PolyArcSegBase<double>>> PlanarOffsets(const PolyArcSegBase<double>&, std::set<double>, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<PolyArcSegBase<T>> PlanarOffset(const PolyArcSegBase<T>&, T, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<PolyArcSegBase<T>>> PlanarOffsets(const PolyArcSegBase<T>&, std::set<T>, T) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
