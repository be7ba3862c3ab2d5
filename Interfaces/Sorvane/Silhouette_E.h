// From a solid to the plane: the shadow of a mesh, the outline that it sweeps in a lathe, and one
// outline lowered onto another.
//
//     T resolution;
//     const auto shadow = Planar::SilhouetteBoundaries(mesh, &resolution); // seen along z
//     const auto turned = Planar::SpinBoundary(mesh, 0.01);                // spun about z
//     const auto height = Planar::VerticalDropOnTarget(x, tool, target);   // lowered along y
//
// All are pure functions. `float` is calculated in `double` and rounded at the end.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar {

/// The shadow of a mesh in the direction of the z axis: the union of its projected triangles, as
/// closed loops, the outer ones counter-clockwise and holes clockwise.
///
/// Any mesh will do: open ones, soups, triangles that face either way. The union is taken on a grid
/// of 2^30 cells along each axis of the box of all points, and `resolution`, which may be null,
/// receives its accuracy: sqrt(8) * (larger extent) * 2^-30, or 0 without points. Triangles that
/// are upright, on that grid, have no shadow; triangles with a point that is not finite are passed
/// over. Empty without triangles and for points without extent in x or in y. Loops that touch in a
/// point may be one loop that passes it twice. A loop of large area comes first, as `Union` has it
/// (`PlanarRegions_E.h`).
///
/// What memory there is not and what the scanline throws passes to the caller. Expected O(n) for n
/// triangles and O((e + k) log e) for the e edges of the rims and their k crossings.
template <class T>
std::vector<std::vector<VecBase<2, T>>>
SilhouetteBoundaries(const Mesh::IndexedPointsBase<3, T>& mesh, T* resolution);

/// The first of `SilhouetteBoundaries`; empty when there is none.
template <class T>
std::vector<VecBase<2, T>> SilhouetteBoundary(const Mesh::IndexedPointsBase<3, T>& mesh,
                                              T* resolution);

/// Half the outline, at (radius, z), of the body that a mesh sweeps when it spins about the z axis:
/// what it needs of room in a lathe, and the shape of a turned part.
///
/// The loop begins at (0, lowest z), runs outside up to (0, highest z) and ends where it began.
/// Edges are spun exactly, as hyperbolas. Their largest radius is taken at even distances of z of
/// no more than `step`; samples on one straight line, to a quarter degree from one to the next, are
/// left out, and then points within `step` of the chord across them. So the outline is exact at the
/// samples that it keeps, and a neck or rim narrower than `step` may be missed. Edges that are
/// alike within `step` count once when they follow each other in order of (radius and z of the
/// point nearest to the axis, of the low end, of the high end), as the first of them: by that, too,
/// the outline may fall short by up to `step`. With all of these together it may lie some two
/// steps within the body. A bore is not seen: the body is taken for solid.
///
/// An edge that passes through the axis, or lies in a plane with it, is the straight line between
/// its two ends: one that crosses the axis counts as if it did not come nearer than its ends tell.
///
/// `step` below 1e-8 counts as 1e-8. Empty without triangles, and when the mesh is no higher than
/// `step`, NaN or infinite steps included. Triangles with a point that is not finite are passed
/// over. A step too fine for memory ends with `std::bad_alloc` or `std::length_error`. O(n log n +
/// s) for n triangles and s samples, and what is left of the edges after those are told apart that
/// reach farthest.
template <class T>
std::vector<VecBase<2, T>> SpinBoundary(const Mesh::IndexedPointsBase<3, T>& mesh, T step);

/// The height at which the origin of the tool's frame comes to rest when the tool, at `x`, is
/// lowered along the y axis onto the target: the topmost crossing of x with the loop that the
/// origin can't cross
/// (`OuterOffsetLoop` of `Minkowski_E.h`). The most negative number when nothing lies under it, and
/// for outlines with a point that is not finite.
///
/// The tool is closed: when its ends match within 1e-12 per coordinate, the first takes the place
/// of the last; otherwise they are joined. The target is taken as it is, open or closed. Upright
/// stretches of the loop and its rightmost end are no support: an edge counts from its smaller x,
/// included, to its larger x, excluded.
template <class T>
T VerticalDropOnTarget(T x, const std::vector<VecBase<2, T>>& tool,
                       const std::vector<VecBase<2, T>>& target);

/// The same for bodies of revolution about the y axis, told by their right halves, with the tool
/// over the target.
///
/// The tool's half profile runs from its tip outward and **ends on the axis**: its last point is
/// not mirrored, so that a profile that ends beside the axis becomes a lopsided tool. With
/// `trimFlatTop`, the last points of the target are left out while the last two are at one height
/// within 1e-12: the flat that closes a half profile at the top would otherwise run to the axis. 0
/// for a tool of fewer than two points.
template <class T>
T DropProfileOfRevolution(const std::vector<VecBase<2, T>>& toolProfile,
                          const std::vector<VecBase<2, T>>& targetProfile, bool trimFlatTop);

// clang-format off
extern template SORVANE_API std::vector<std::vector<VecBase<2, float>>>  SilhouetteBoundaries(const Mesh::IndexedPointsBase<3, float>&,  float*);
extern template SORVANE_API std::vector<std::vector<VecBase<2, double>>> SilhouetteBoundaries(const Mesh::IndexedPointsBase<3, double>&, double*);
extern template SORVANE_API std::vector<VecBase<2, float>>  SilhouetteBoundary(const Mesh::IndexedPointsBase<3, float>&,  float*);
extern template SORVANE_API std::vector<VecBase<2, double>> SilhouetteBoundary(const Mesh::IndexedPointsBase<3, double>&, double*);
extern template SORVANE_API std::vector<VecBase<2, float>>  SpinBoundary(const Mesh::IndexedPointsBase<3, float>&,  float);
extern template SORVANE_API std::vector<VecBase<2, double>> SpinBoundary(const Mesh::IndexedPointsBase<3, double>&, double);
extern template SORVANE_API float  VerticalDropOnTarget(float,  const std::vector<VecBase<2, float>>&,  const std::vector<VecBase<2, float>>&);
extern template SORVANE_API double VerticalDropOnTarget(double, const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&);
extern template SORVANE_API float  DropProfileOfRevolution(const std::vector<VecBase<2, float>>&,  const std::vector<VecBase<2, float>>&,  bool);
extern template SORVANE_API double DropProfileOfRevolution(const std::vector<VecBase<2, double>>&, const std::vector<VecBase<2, double>>&, bool);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Planar {
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<VecBase<2, T>>> SilhouetteBoundaries(const Mesh::IndexedPointsBase<3, T>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> SilhouetteBoundary(const Mesh::IndexedPointsBase<3, T>&, T*) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<VecBase<2, T>> SpinBoundary(const Mesh::IndexedPointsBase<3, T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) T VerticalDropOnTarget(T, const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&) = delete;
template <class T> requires(!SupportedReal<T>) T DropProfileOfRevolution(const std::vector<VecBase<2, T>>&, const std::vector<VecBase<2, T>>&, bool) = delete;
} // namespace Velk::Math::Sorvane::Planar
// clang-format on
/// @endcond
