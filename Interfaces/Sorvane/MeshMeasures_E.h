// Area, volume, center of mass and box of an indexed mesh.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

namespace Velk::Math::Sorvane::Mesh {

/// What `MeasureMesh` measures, in the unit of the points.
struct SORVANE_API MeshMeasures {
    /// Area of all triangles.
    double area = 0;

    /// Signed volume between the triangles and the origin: that of the body for a closed mesh, positive
    /// when it is wound outward. The volume of an open mesh depends on where it lies.
    double volume = 0;

    /// Center of that volume, the same for a body turned inside out; NaN when `volume` is exactly 0.
    /// Where the volume is 0 but for rounding, as that of a slanted sheet, the center has no meaning.
    VecBase<3, double> centroid;

    /// Least and greatest coordinates of the points that triangles use, NaN without triangles.
    /// Coordinates that are NaN are passed over; an axis that has no others is NaN.
    VecBase<3, double> low;
    VecBase<3, double> high;

    friend bool operator==(const MeshMeasures&, const MeshMeasures&) = default;
};

/// Area, volume, center of mass and box of a mesh.
///
/// Nothing is welded and nothing checked: points may be three for each triangle, triangles may be
/// degenerate. An incomplete last triple of indices is left out; indices are trusted to be in range.
/// A coordinate that is not finite makes area, volume and center not finite.
///
/// Far from the origin a body keeps its digits: where the area vectors of all triangles add up to
/// nothing but rounding, as those of closed meshes do, the volume is the same about any point, and is
/// taken about one of the mesh's own. Sums are taken in `double` with their rounding errors carried
/// along, for `float` points too. Parallel, the same bits on any number of threads. O(n).
template <class T>
MeshMeasures MeasureMesh(const IndexedPointsBase<3, T>& mesh);

// clang-format off
extern template SORVANE_API MeshMeasures MeasureMesh(const IndexedPointsBase<3, float>&);
extern template SORVANE_API MeshMeasures MeasureMesh(const IndexedPointsBase<3, double>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Mesh {
template <class T> requires(!SupportedReal<T>) MeshMeasures MeasureMesh(const IndexedPointsBase<3, T>&) = delete;
} // namespace Velk::Math::Sorvane::Mesh
// clang-format on
/// @endcond
