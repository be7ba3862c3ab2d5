// Regions of the plane bounded by polylines: their union, difference, intersection and symmetric difference, and
// the union of a long stream of loops.
//
//     double resolution = 0;
//     const auto outline = Planar::Union(loops, &resolution);            // exact on a grid of 2^30 x 2^30
//     const auto rest = Planar::Difference(outline, holes, &resolution);
//
// A region is a list of closed polylines. Where the loops wind about a point, counted with their directions,
// more often counter-clockwise than clockwise, the point is in the region: counter-clockwise loops are outer
// loops, however they overlap, clockwise ones are holes. When the signed areas of all loops of a call add up
// to less than 0, all directions count the other way round: a single clockwise loop is an island too.
//
// Results have this form as well: each loop repeats its first point, outer loops run counter-clockwise and holes
// clockwise; loops that touch in a point may come as one loop that passes it twice. Which corner a loop starts at,
// the order of the loops, and the points on a straight stretch where another loop touched it are not promised.
//
// Points are rounded down to the grid, and crossings to its nearest points: the result differs from the exact one by no
// more than the resolution that `Union` tells.
#pragma once

#include <Sorvane/Export_E.h>
#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

#include <array>
#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Planar {

/// Union of many loops that come in batches, over a box known beforehand: at intervals what has gathered is
/// replaced by its union, so that a long stream takes little more memory than its union.
///
///     Planar::BufferredUnion swept({0, 0}, {200, 100}, 50);
///     for (const auto& loops : batches) swept.Append(loops);
///     const auto region = swept.Process();
///
/// Which loops count as holes is settled for each interval by itself, since the sign of the sum of areas (see
/// above) is that of the loops present; so a clockwise loop that is alone in its interval becomes an island. Feed
/// holes together with what they are in.
///
/// The grid has 2^30 cells along each axis of the box. Points outside it get grid numbers beyond, and that
/// works while all numbers of an axis span less than 2^32 - 1. Beyond that the next interval can't be united: the
/// object is invalid from then on, as it is after an interval for which memory did not suffice.
///
/// An object serves one thread. Copies are independent. One that was moved from reports each use to the assert
/// handler (`AssertSites_E.h`), gives the neutral result, and can be assigned to. The spelling of the name is
/// the exported one.
class SORVANE_API BufferredUnion {
public:
    /// Loops, and what they become.
    using Polylines = std::vector<std::vector<VecBase<2, double>>>;
    /// Start and end of each segment; the region is on the left.
    using DirectedSegments = std::vector<std::array<VecBase<2, double>, 2>>;

    /// Over the box from `lower` to `upper`, enlarged by 1e-12; `batchLimit` batches, at least 1, wait before
    /// one more makes them all be united.
    BufferredUnion(const VecBase<2, double>& lower, const VecBase<2, double>& upper,
                   int batchLimit);
    BufferredUnion(const BufferredUnion& other);
    BufferredUnion(BufferredUnion&& other) noexcept;
    BufferredUnion& operator=(const BufferredUnion& other);
    BufferredUnion& operator=(BufferredUnion&& other) noexcept;
    virtual ~BufferredUnion();

    /// Adds a batch of directed segments, which are linked on the grid head to tail into loops.
    ///
    /// False is advice unless `IsValid` is false: an end was not strictly inside the box, or a chain did not
    /// close and was closed by force; the segments count all the same. Segments with an end that is not finite
    /// are passed over, with false. Segments within one grid point vanish. Should memory run out outside of a
    /// union, the exception passes and the object is as it was. Expected O(n) and the union.
    bool Append(const DirectedSegments& segments);

    /// Adds a batch of loops.
    ///
    /// False is advice, as above: a point was not strictly inside the box, a loop did not end within 1e-12 of its
    /// first point, per coordinate, or had a point that is not finite and was passed over. **The first point is
    /// overwritten by the last**: what did not close loses its first corner. `Union` closes loops otherwise.
    bool Append(const Polylines& polylines);

    /// The loops that `Append` would make of the segments, on the grid, linked and closed, before any
    /// union. Nothing is added.
    Polylines GetUnfilteredPolylines(const DirectedSegments& segments) const;

    /// The union of all that was appended since the last call; empty for an invalid object. It goes on taking
    /// batches.
    Polylines Process();

    /// False once a union has failed, and for an object that was moved from.
    bool IsValid() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// Union of all loops.
///
/// The grid lies over the box of all points, with 2^30 cells along each axis. `resolution` may be null; it
/// receives the accuracy sqrt(8) * (larger extent of the box) * 2^-30, two cells across the diagonal, or 0 when
/// there is no point. Loops need not be closed: the last point is joined to the first. Loops with a point that is
/// not finite are passed over. Empty for a box without extent along an axis, or with one beyond the largest number.
///
/// Of the resulting loops one of large area is brought to the front, but not always that of the largest: with s
/// the area of the loop that is first at the beginning, each later one with an area above s changes places with
/// the one in front.
///
/// Expected O((n + k) log n) for n points and k crossings, overlaps counted once for each end in them; nested,
/// disjoint and adjoining loops cost no more than any others. Points in any order on one line cancel before crossings
/// are sought; where rounding puts them on both sides of the line, eight edges and more become one path through all of
/// them. Edges that rounding makes cross anew are cut at each of the c cells with an end or crossing that they pass,
/// O(n c): much only where hundreds of edges cross one another within few cells.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
Union(const std::vector<std::vector<VecBase<2, T>>>& polylines, T* resolution);

/// What is in one of the regions `a` and `b` or in both. Each is a region by itself as above, so that a hole of one does
/// not count against the other, and a clockwise island of one is an island. The grid lies over the box of the points of
/// both. Everything else as for the union of loops.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
Union(const std::vector<std::vector<VecBase<2, T>>>& a,
      const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution);

/// Region `a` without region `b`; each is a region by itself as above. The grid lies over the box of the points of
/// both. Everything else as for `Union`.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
Difference(const std::vector<std::vector<VecBase<2, T>>>& a,
           const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution);

/// What the regions `a` and `b` have in common. Everything else as for `Difference`. It is calculated in one pass: to
/// take away what is left of `a` without `b` would leave slivers along the edges that were rounded in between.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
Intersection(const std::vector<std::vector<VecBase<2, T>>>& a,
             const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution);

/// What is in one of the regions `a` and `b` and not in the other. Everything else as for `Difference`.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
SymmetricDifference(const std::vector<std::vector<VecBase<2, T>>>& a,
                    const std::vector<std::vector<VecBase<2, T>>>& b, T* resolution);

// clang-format off
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  Union(const std::vector<std::vector<VecBase<2, float>>>&,  float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> Union(const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  Union(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  Difference(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> Union(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> Difference(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  Intersection(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> Intersection(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  SymmetricDifference(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> SymmetricDifference(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> Union(const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> Union(const std::vector<std::vector<VecBase<2, T>>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> Difference(const std::vector<std::vector<VecBase<2, T>>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> Intersection(const std::vector<std::vector<VecBase<2, T>>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> SymmetricDifference(const std::vector<std::vector<VecBase<2, T>>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
