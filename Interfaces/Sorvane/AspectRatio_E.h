// Better shaped triangles by edge flips alone: no point is moved, added or dropped.
//
//     const auto better = MeshUtils::MaximizeAspectRatio(part, 10.0, 0.01);   // creases from 10
//     degrees stay
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>

namespace Velk::Math::Sorvane::MeshUtils {

/// Replaces the shared edge of two triangles by the other diagonal of their quadrilateral wherever
/// that raises the worse of their two aspect ratios (`Mesh::AspectRatio`), until no edge is left to
/// try.
///
/// The points of the result are those of the mesh with their numbers, used or not. Its triangles
/// are those of the mesh in order, without those that name a point twice or a point that is not
/// there, and without an incomplete last one; a flip overwrites the two that it concerns. A mesh of
/// consistent orientation keeps it, a closed one stays closed, and no edge gets a third triangle.
/// Boundary edges and edges of three or more triangles stay, and so does everything at a
/// coordinate that is not finite. The least aspect ratio of the mesh never falls.
///
/// `creaseAngle`, in degrees, counts in space only: an edge whose two triangles, as the mesh comes
/// in, have normals that differ by more is never flipped. It is compared by its cosine, so that
/// angles mean something from 0 to 180; an angle without a cosine makes nothing a crease. With 0
/// not even a flat mesh is treated throughout, since the cosine between two equal normals may round
/// to less than 1: choose some small angle. A triangle without area (at most 1e-12, in `float` as
/// well) has no normal, and counts as standing at a right angle: up to 90 degrees its edges stay,
/// above they may be flipped. Triangles that run their common edge the same way are folded back on
/// each other.
///
/// `maxDrift`, in the unit of the points, counts for each triangle number: the distances between
/// the two diagonals of all flips that a number has taken part in, added up, don't pass it. This is
/// no bound on how far the surface moves: a flip hands the place on to two numbers that may have
/// spent less before, so that a place can drift again and again (of four triangles already to 1.6
/// times the bound). With 0 most flips of a flat mesh in space are refused as well, since its
/// diagonals miss each other by rounding: choose the part's accuracy. In the plane the distances
/// are 0, and only a negative bound, which forbids every flip, has an effect. NaN is no bound.
///
/// What a flip asks of its four points: in space, that the normals of the two new triangles differ
/// by less than a right angle; how they stand to the triangles around is not looked at. In the
/// plane, that the product of the two doubled areas, with their signs, is greater than 1e-12, in
/// `float` 1e-8: that is absolute, so that quadrilaterals of edges below about a thousandth
/// (`float`: a hundredth) stay as they are, in the plane only. The lesser ratio has to gain more
/// than 1e-12, in `float` 1e-8. An edge is not flipped into one that the mesh has already; that
/// other edge is then not tried again when triangles beside it change.
///
/// Edges are tried in ascending order of their larger, then of their smaller point number; after a
/// flip the edges of its two triangles wait again, behind those that wait already. The result
/// depends on this order and is the same on every platform. It comes to an end since every flip
/// raises the lesser ratio of its pair. O(n) for n triangles and points to begin with and O(1)
/// expected for each flip; usual meshes need fewer flips than triangles. Runs on the calling
/// thread.
///
/// For D = 2 and 3 and for `float` and `double`; the `float` forms compute in `float` but for the
/// nearest points of the diagonals and the cosine of the angle, which are rounded to it.
template <int D, class T>
Mesh::IndexedPointsBase<D, T> MaximizeAspectRatio(const Mesh::IndexedPointsBase<D, T>& mesh,
                                                  T creaseAngle, T maxDrift);

// clang-format off
#define SORVANE_EXTERN(D, T) \
    extern template SORVANE_API Mesh::IndexedPointsBase<D, T> MaximizeAspectRatio(const Mesh::IndexedPointsBase<D, T>&, T, T);
SORVANE_EXTERN(2, float)
SORVANE_EXTERN(2, double)
SORVANE_EXTERN(3, float)
SORVANE_EXTERN(3, double)
#undef SORVANE_EXTERN
// clang-format on

} // namespace Velk::Math::Sorvane::MeshUtils

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::MeshUtils {
template <int D, class T> requires(!SupportedPoint<D, T>) Mesh::IndexedPointsBase<D, T> MaximizeAspectRatio(const Mesh::IndexedPointsBase<D, T>&, T, T) = delete;
} // namespace Velk::Math::Sorvane::MeshUtils
// clang-format on
/// @endcond
