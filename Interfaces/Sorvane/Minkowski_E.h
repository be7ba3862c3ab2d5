// Regions and paths swept by the outline of a tool: dilation, contraction, closing of gaps; the loop that one
// outline can't cross around another; and what two outlines have in common.
//
//     const auto reached = Planar::DilatePaths(tool, {path}, &resolution);       // what the tool sweeps
//     const auto grown = Planar::DilateArea(tool, outer, holes, &resolution);
//     const auto positions = Planar::ContractArea(tool, outer, holes, &resolution);
//
// The tool is a polygon in its own frame and **runs counter-clockwise**; what a clockwise one gives is no
// Minkowski sum. Its sum with a set is taken about the origin of that frame, wherever its first point is, and
// it is not reflected: the dilation of A by the tool T is the set of all a + t, and the contraction the set of
// all points that are no a + t with an a outside of A. A closed tool may repeat its first point, to 1e-12 (1e-8
// in `float`); tools and areas may touch and cross themselves as far as winding numbers bear it
// (`PlanarRegions_E.h` tells how they count).
//
// `resolution` may be null and receives the accuracy of the grid of the last union, 0 when there was none: sqrt(8)
// times the longer side of the box of tool plus paths or areas, times 2^-30. Tool and paths are rounded to that grid
// each by itself, so that their sums are exact.
// Paths and areas with a point that is not finite are passed over; a tool with one gives nothing. `float` is
// calculated in `double` and rounded at the end. All are pure functions.
#pragma once

#include <Sorvane/Export_E.h>
#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar {

/// What the tool covers when its origin follows the paths. An open path is not closed. Empty for a tool of fewer
/// than three points; a path of one point gives the tool at that place. O(n t) for n path points and t tool
/// points, and the union of what that leaves: two edges for each path edge, and the tool edges over which the
/// direction turns at each point.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
DilatePaths(const std::vector<VecBase<2, T>>& tool, std::vector<std::vector<VecBase<2, T>>> paths,
            T* resolution);

/// Minkowski sum of the tool and a region whose outer loops run counter-clockwise and whose holes run clockwise.
///
/// The loops are taken as they are: an area that is not closed is swept along its edges without the
/// closing one, and one that runs the wrong way is a hole: a clockwise square comes out *contracted*, since the
/// areas add up to less than 0. `DilateArea` turns loops. A tool of one point moves the areas; one of two
/// points does no more than move them by its first (give it as three, there and back, to sweep a line); an empty
/// one gives nothing.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
DilateMultipleAreas(const std::vector<VecBase<2, T>>& tool,
                    const std::vector<std::vector<VecBase<2, T>>>& areas, T* resolution);

/// The same for an outer loop and holes, each turned to run the right way.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
DilateArea(const std::vector<VecBase<2, T>>& tool, const std::vector<VecBase<2, T>>& outer,
           const std::vector<std::vector<VecBase<2, T>>>& holes, T* resolution);

/// The region less the Minkowski sum of the tool and everything outside it.
///
/// The tool isn't reflected: with the tool [0, 2] x [0, 2] the square [0, 12] x [0, 12] becomes [2, 12] x [2, 12].
/// So for a tool that is not symmetric about its origin this does not undo a dilation. Loops as
/// for `DilateMultipleAreas`. Empty where the tool does not fit. It may lie anywhere in its frame, far from the
/// origin too, and be as small as it likes: one of no extent moves the areas.
///
/// The grid spans a frame about the areas, wider on each side by the diagonal of the tool's box and by no less
/// than a millionth of their extent.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
ContractMultipleAreas(const std::vector<VecBase<2, T>>& tool,
                      const std::vector<std::vector<VecBase<2, T>>>& areas, T* resolution);

/// The same for an outer loop and holes, each turned to run the right way.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
ContractArea(const std::vector<VecBase<2, T>>& tool, const std::vector<VecBase<2, T>>& outer,
             const std::vector<std::vector<VecBase<2, T>>>& holes, T* resolution);

/// Dilation, then contraction: with one symmetric tool for both, or an asymmetric one and its reflection through
/// the origin, gaps and notches that the tool can't enter are closed. `resolution` receives the sum of both.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
MinkowskiFilterMultipleAreas(const std::vector<VecBase<2, T>>& dilatingTool,
                             const std::vector<VecBase<2, T>>& contractingTool,
                             const std::vector<std::vector<VecBase<2, T>>>& areas, T* resolution);

/// The loop that the origin of polyline `a` can't cross while `a` moves around polyline `b` without turning: the
/// outer boundary of the sum of b and -a. It repeats its first point; empty when either is empty. `tol` is that
/// of the cuts between the swept edges. An `a` of one point gives b moved by -a[0]. Both may be open or closed.
///
/// Of a sum that falls apart (an outline with a point that is not finite does) it is the part of largest area.
/// The loop may have vertices on straight stretches, and turns back where the sum is no wider than a line.
///
/// For n and m points nm tests and the cutting of what passes: of a convex `a` around a convex `b`
/// n + m edges, of two zigzags nearly all 2nm.
template <class T>
std::vector<VecBase<2, T>> OuterOffsetLoop(const std::vector<VecBase<2, T>>& a,
                                           const std::vector<VecBase<2, T>>& b, T tol);

/// The stretches on which two polylines coincide, in the direction of `a`, each once. Of a polyline and itself it
/// is the polyline, with a vertex wherever it crosses itself.
///
/// Both are cut where they meet within `tol`; a piece is common when both its ends lie on one segment of
/// each within 1e-12 (1e-8 in `float`), or within the rounding of their `double` coordinates where that is more,
/// as it is beyond some 500. Lines beside each other by more are not common, whatever `tol` is. Expected
/// O((n + k) log n) for k pieces.
template <class T>
std::vector<std::vector<VecBase<2, T>>> KeepCommonRegions(const std::vector<VecBase<2, T>>& a,
                                                          const std::vector<VecBase<2, T>>& b,
                                                          T tol);

/// Parts the outer boundary of two outlines that overlap into the stretches that come from each: `aPart` and
/// `bPart`, which are cleared first. What both have is in `bPart`. True when the boundary is closed; false, with
/// nothing or the parts of an open path, otherwise.
///
/// The boundary is the one that `Intersect::TraceOuterLoop` walks, counter-clockwise: of outlines that lie
/// apart that of the larger one. A stretch ends where the two cross or touch; a vertex of one on an edge of the
/// other counts as such a place, and a single edge of `a` between two such places is a stretch of `a`. When one
/// outline is the boundary all around, its part is the whole loop. Stretches of an open boundary come in the
/// order of its path, all of it.
///
/// `tol` is a distance per coordinate within which points are the same, widened to the rounding of the
/// coordinates where it is below. Expected O((n + k) log n).
template <class T>
bool ClipOverlappedRegions(const std::vector<VecBase<2, T>>& a,
                           const std::vector<VecBase<2, T>>& b,
                           std::vector<std::vector<VecBase<2, T>>>& aPart,
                           std::vector<std::vector<VecBase<2, T>>>& bPart, T tol);

// clang-format off
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>> DilatePaths(const std::vector<VecBase<2, float>>&, std::vector<std::vector<VecBase<2, float>>>, float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> DilatePaths(const std::vector<VecBase<2, double>>&, std::vector<std::vector<VecBase<2, double>>>, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>> DilateMultipleAreas(const std::vector<VecBase<2, float>>&, const std::vector<std::vector<VecBase<2, float>>>&, float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> DilateMultipleAreas(const std::vector<VecBase<2, double>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>> DilateArea(const std::vector<VecBase<2, float>>&, const std::vector<VecBase<2, float>>&, const std::vector<std::vector<VecBase<2, float>>>&, float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> DilateArea(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>> ContractMultipleAreas(const std::vector<VecBase<2, float>>&, const std::vector<std::vector<VecBase<2, float>>>&, float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> ContractMultipleAreas(const std::vector<VecBase<2, double>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>> ContractArea(const std::vector<VecBase<2, float>>&, const std::vector<VecBase<2, float>>&, const std::vector<std::vector<VecBase<2, float>>>&, float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> ContractArea(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>> MinkowskiFilterMultipleAreas(const std::vector<VecBase<2, float>>&, const std::vector<VecBase<2, float>>&, const std::vector<std::vector<VecBase<2, float>>>&, float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> MinkowskiFilterMultipleAreas(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, const std::vector<std::vector<VecBase<2, double>>>&, double*);
extern template SORVANE_API std::vector<VecBase<2, float>> OuterOffsetLoop(const std::vector<VecBase<2, float>>&, const std::vector<VecBase<2, float>>&, float);
extern template SORVANE_API std::vector<VecBase<2, double>> OuterOffsetLoop(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>> KeepCommonRegions(const std::vector<VecBase<2, float>>&, const std::vector<VecBase<2, float>>&, float);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> KeepCommonRegions(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API bool ClipOverlappedRegions(const std::vector<VecBase<2, float>>&, const std::vector<VecBase<2, float>>&, std::vector<std::vector<VecBase<2, float>>>&, std::vector<std::vector<VecBase<2, float>>>&, float);
extern template SORVANE_API bool ClipOverlappedRegions(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, std::vector<std::vector<VecBase<2, double>>>&, std::vector<std::vector<VecBase<2, double>>>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> DilatePaths(const std::vector<VecBase<2, T>>&, std::vector<std::vector<VecBase<2, T>>>, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> DilateMultipleAreas(const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> DilateArea(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> ContractMultipleAreas(const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> ContractArea(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> MinkowskiFilterMultipleAreas(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, const std::vector<std::vector<VecBase<2, T>>>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> OuterOffsetLoop(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> KeepCommonRegions(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) bool ClipOverlappedRegions(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, std::vector<std::vector<VecBase<2, T>>>&, std::vector<std::vector<VecBase<2, T>>>&, T) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
