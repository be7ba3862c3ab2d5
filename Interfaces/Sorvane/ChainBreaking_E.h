// Surgery on chains of segments and arcs: extra joints, several chains out of one, one chain out of
// loose elements, the part between two points, and where two chains meet.
//
// To break a chain is to give it more joints; to split it is to make several chains of it. All are pure
// functions apart from the out-arguments of the two `...AtIntersections`. Nothing here throws but for
// memory, and nothing is reported: failure is the quiet result that each function names.
//
// Parameters are lengths from the start, or fractions of the whole with `normalized`, as in
// PolyArcSeg_E.h. A tolerance that is negative or NaN counts as 0, and where points and joints are
// compared, one below the rounding of the coordinates counts as that rounding (8 epsilon times their
// size; a few elements beyond all proportion aside): a point that was computed from a chain is on it, and
// the chain's own joints are joints of it, wherever it lies. The floor is 1e-12 for `double`, 1e-8 for
// `float`, or that rounding. Below n is the number of elements and m that of parameters, points or pieces.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Velk/Math/Supported_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar {

// --- at parameters and points -------------------------------------------------------------------

/// The pieces of one element between its parameters, from its start to its end.
///
/// Empty without parameters, and when a single one of them can't be cut at: one within `tol` of the
/// element's start or end or beyond them, one within `tol` of another, NaN. Repeated parameters are not
/// forgiven either. `tol` is a length, also with `normalized`. O(m log m).
template <class T>
std::vector<ArcSegBase<T>> Split(const ArcSegBase<T>& element, const std::vector<T>& parameters,
                                 bool normalized, T tol);

/// The chain with joints at `parameters`, and with its own tolerance.
///
/// Parameters within `tol` of a joint that exists add none, and those outside the chain or not finite
/// are ignored. With `normalized` that test compares fractions with `tol`, whereas the element that is
/// then cut takes `tol` as a length. An element no longer than `tol` stays whole. When an element can't be
/// split at all its parameters (two lie within `tol` of each other), the result is an unbroken copy of
/// the whole chain. O(n + m log m).
template <class T>
PolyArcSegBase<T> BreakAtParams(const PolyArcSegBase<T>& chain, const std::vector<T>& parameters,
                                bool normalized, T tol);

/// The chain with joints at `points`; those off the chain by more than `tol` per coordinate are ignored.
/// Where the chain passes a point more than once the first pass alone gets a joint. Otherwise like
/// `BreakAtParams`. O((n + m) log n) for the chains of ordinary parts.
template <class T>
PolyArcSegBase<T> BreakAtPoints(const PolyArcSegBase<T>& chain,
                                const std::vector<VecBase<2, T>>& points, T tol);

/// The chains between `parameters`, in order, each with the chain's tolerance. One chain, a copy, when no
/// parameter is farther than `tol` from both ends of the chain.
///
/// The chain is broken as by `BreakAtParams` and comes apart, for each parameter, at the first joint that
/// is not before it by more than `tol`: its own, or one within `tol` of it, also if another parameter made
/// that. A closed chain comes apart at its start too. When the breaking gives up, each parameter still
/// parts the chain, at the first old joint that is not before it: {3, 3} on joints at 0, 10, 20 gives the
/// chains 0 to 10 and 10 to 20. No chain of the result is empty.
template <class T>
std::vector<PolyArcSegBase<T>> Split(const PolyArcSegBase<T>& chain,
                                     const std::vector<T>& parameters, bool normalized, T tol);

/// The chains between `points`; those off the chain are ignored, as by `BreakAtPoints`.
template <class T>
std::vector<PolyArcSegBase<T>> SplitAtPoints(const PolyArcSegBase<T>& chain,
                                             const std::vector<VecBase<2, T>>& points, T tol);

/// The chains between the places at which the tangent becomes parallel to the unit vector `direction`:
/// inside arcs, and at corners that turn past it.
///
/// Told from the sign of the cross product of tangent and direction at the start and the end of each
/// element, 0 within `tol`, or within what the rounding of its coordinates may turn the element by. So an
/// arc that starts and ends on one side of the direction stays whole even if it turns past it twice, as
/// half circles do that begin and end parallel to it: begin such circles elsewhere. The corner from the
/// last element of a closed chain to the first isn't looked at. An empty chain gives one chain, a copy.
/// O((n + m) log n).
template <class T>
std::vector<PolyArcSegBase<T>> SplitAtTangent(const PolyArcSegBase<T>& chain,
                                              const VecBase<2, T>& direction, T tol);

/// The part of the chain from point `a` to point `b`, with the chain's tolerance; on a closed chain it
/// may run over the start. Empty when a point lies on no element (within `tol` per coordinate), or an open
/// chain meets `b` on an earlier element than `a`.
///
/// The first element that holds a point has it, so a joint belongs to the element that ends there; where
/// that is a segment the part begins with a segment of no length. On one segment `b` before `a` gives the
/// reversed segment, also on a closed chain. An arc on which both lie is cut at both points, strictly
/// inside it: the result is empty when one of them is its end, and with `b` before `a` it runs to the
/// arc's end. The ends of the cut arc have to match `a` and `b` within the floor, however wide `tol`; one
/// that doesn't is left out. O(n).
template <class T>
PolyArcSegBase<T> TrimToPoints(const PolyArcSegBase<T>& chain, const VecBase<2, T>& a,
                               const VecBase<2, T>& b, T tol);

// --- loose elements -----------------------------------------------------------------------------

/// Chains of tolerance `tol` out of loose elements, in whatever order and direction they come. Where
/// rounding keeps their joints farther apart the tolerance is that rounding.
///
/// Ends that match within `tol` are one vertex; vertices are numbered as they first occur. Paths begin at
/// vertices with an odd number of neighbors while there are some, then at any, the lowest number first, go
/// to the lowest neighbor each time and use every connection once. The first element of a path goes in as
/// it is; the others are turned round as needed.
///
/// Between two vertices there is one connection, and the element of lowest number makes it; the others
/// are lost. Two half circles give one of them, and the D of an arc and its chord gives whichever comes
/// first. Elements whose two ends match are lost too, full circles among them. Break one of the elements
/// in its middle (`Split`, `BreakAtParams`) to keep all: three vertices make a loop. An element that fits
/// neither end of its chain (Euclidean, `tol`) is left out, mostly with the rest of its path, and so are
/// elements that are not finite. Expected O(n).
template <class T>
std::vector<PolyArcSegBase<T>> CombineArcsSegs(const std::vector<ArcSegBase<T>>& elements, T tol);

// --- where two chains meet ----------------------------------------------------------------------

/// Where two chains meet: their crossings and touches, the ends of their overlaps, and vertices (ends of
/// elements) that they share. Sorted by x, then y; no two match within `tol`.
///
/// An element that ends short of another touches it within the floor only, be `tol` as wide as it may;
/// `tol` decides which vertices are shared and which points are one.
///
/// Both chains are cut together, so that points at which one of them crosses or touches itself are among
/// the result. A crossing within `tol` of an end of each element that it is on, as at a joint that
/// overshoots, is none of its own. `float` chains are calculated in `double`.
///
/// Expected O((n + k) log n) for n elements of both chains and k meetings of two; parallel, with the same
/// result for any number of threads. In chains without arcs, segments in great numbers that overlap exactly
/// on one line don't meet each other in this count. They do, up to n^2 / 2 times, where another segment
/// meets one of them between all their ends or passes an end at a small angle, where ends anywhere nearly
/// match, and where rounding left the segments beside the line. So do elements that cross in one point.
template <class T>
std::vector<VecBase<2, T>> IntersectionPoints(const PolyArcSegBase<T>& a,
                                              const PolyArcSegBase<T>& b, T tol);

/// Breaks both chains at `points`, which become their `IntersectionPoints`. False, and the chains are as
/// they were, when there are none.
///
/// Points that have places on a chain within `tol` of each other, as where three elements nearly meet in
/// one point, share the joint of the first: unlike `BreakAtPoints` this never gives up for them.
template <class T>
bool BreakAtIntersections(PolyArcSegBase<T>& a, PolyArcSegBase<T>& b,
                          std::vector<VecBase<2, T>>& points, T tol);

/// Splits both chains at their `IntersectionPoints`, as `BreakAtIntersections` breaks them. False, with both
/// lists empty, when there are none. A closed chain comes apart at its start too.
template <class T>
bool SplitAtIntersections(const PolyArcSegBase<T>& a, const PolyArcSegBase<T>& b,
                          std::vector<PolyArcSegBase<T>>& piecesOfA,
                          std::vector<PolyArcSegBase<T>>& piecesOfB, T tol);

// clang-format off
#define SORVANE_EXTERN(T) \
    extern template SORVANE_API std::vector<ArcSegBase<T>> Split(const ArcSegBase<T>&, const std::vector<T>&, bool, T); \
    extern template SORVANE_API PolyArcSegBase<T> BreakAtParams(const PolyArcSegBase<T>&, const std::vector<T>&, bool, T); \
    extern template SORVANE_API PolyArcSegBase<T> BreakAtPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T); \
    extern template SORVANE_API std::vector<PolyArcSegBase<T>> Split(const PolyArcSegBase<T>&, const std::vector<T>&, bool, T); \
    extern template SORVANE_API std::vector<PolyArcSegBase<T>> SplitAtPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T); \
    extern template SORVANE_API std::vector<PolyArcSegBase<T>> SplitAtTangent(const PolyArcSegBase<T>&, const VecBase<2, T>&, T); \
    extern template SORVANE_API PolyArcSegBase<T> TrimToPoints(const PolyArcSegBase<T>&, const VecBase<2, T>&, const VecBase<2, T>&, T); \
    extern template SORVANE_API std::vector<PolyArcSegBase<T>> CombineArcsSegs(const std::vector<ArcSegBase<T>>&, T); \
    extern template SORVANE_API std::vector<VecBase<2, T>> IntersectionPoints(const PolyArcSegBase<T>&, const PolyArcSegBase<T>&, T); \
    extern template SORVANE_API bool BreakAtIntersections(PolyArcSegBase<T>&, PolyArcSegBase<T>&, std::vector<VecBase<2, T>>&, T); \
    extern template SORVANE_API bool SplitAtIntersections(const PolyArcSegBase<T>&, const PolyArcSegBase<T>&, std::vector<PolyArcSegBase<T>>&, std::vector<PolyArcSegBase<T>>&, T);
SORVANE_EXTERN(float)
SORVANE_EXTERN(double)
#undef SORVANE_EXTERN
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<ArcSegBase<T>> Split(const ArcSegBase<T>&, const std::vector<T>&, bool, T) = delete;
template <class T> requires(!SupportedReal<T>) PolyArcSegBase<T> BreakAtParams(const PolyArcSegBase<T>&, const std::vector<T>&, bool, T) = delete;
template <class T> requires(!SupportedReal<T>) PolyArcSegBase<T> BreakAtPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<PolyArcSegBase<T>> Split(const PolyArcSegBase<T>&, const std::vector<T>&, bool, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<PolyArcSegBase<T>> SplitAtPoints(const PolyArcSegBase<T>&, const std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<PolyArcSegBase<T>> SplitAtTangent(const PolyArcSegBase<T>&, const VecBase<2, T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) PolyArcSegBase<T> TrimToPoints(const PolyArcSegBase<T>&, const VecBase<2, T>&, const VecBase<2, T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<PolyArcSegBase<T>> CombineArcsSegs(const std::vector<ArcSegBase<T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> IntersectionPoints(const PolyArcSegBase<T>&, const PolyArcSegBase<T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) bool BreakAtIntersections(PolyArcSegBase<T>&, PolyArcSegBase<T>&, std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) bool SplitAtIntersections(const PolyArcSegBase<T>&, const PolyArcSegBase<T>&, std::vector<PolyArcSegBase<T>>&, std::vector<PolyArcSegBase<T>>&, T) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
