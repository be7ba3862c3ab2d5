// Triangle soups cut by a plane, by another soup, or by themselves.
//
//     const Mesh::TriangleSlicer slicer(Mesh::SoupFromIndexedPoints(part));
//     const auto lower = slicer.SliceTriangles({0, 0, 1}, {0, 0, 12.5}, false, 1e-9);
//     const auto lid = Mesh::CapOfSections(lower); // closes what lies below
//
// Triangles take part while their coordinates are finite and within 1e150. Results are the same to
// the bit for any number of threads. Nothing is thrown except by memory running out.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// A copy of a triangle soup that is cut by planes and by triangles.
///
/// Queries change nothing and may run in many threads at once.
class SORVANE_API TriangleSlicer {
public:
    using Triangles = TriangleSoup<3, double>;          ///< a soup
    using Segments = std::vector<std::array<Vec3d, 2>>; ///< loose segments, start and end
    using Curves =
        std::vector<std::vector<Vec3d>>; ///< polylines; a closed one repeats its first point

    /// A curve in which a plane cuts the soup.
    struct SORVANE_API Section {
        /// The curve on the plane; a closed one repeats its first point. Corners of the soup that
        /// lie within the tolerance of the plane are rounded to 32-bit floats and put on the plane.
        std::vector<Vec3d> polyline;
        /// Triangles of the region that the curve bounds by itself, an open one closed by its
        /// chord: `TessellateFlatBoundary` in the plane. Curves inside of it are not taken out. The
        /// triangles turn as the curve does. Corners that the triangulation takes for one, and
        /// curves without area, have slivers behind the other triangles, so that the cap closes.
        IndexedPointsBase<3, double> cap;
        /// The same curve by the corners of `HalfspaceTriangles::triangles`, to the bit. The points
        /// of `cap` are these.
        std::vector<Vec3d> outline;
    };

    /// The part of the soup on one side of a plane.
    struct SORVANE_API HalfspaceTriangles {
        Vec3d normal;                  ///< as given
        Vec3d origin;                  ///< center of the soup's box, projected on the plane
        Triangles triangles;           ///< the part of the soup below the plane, cut along it
        std::vector<Section> sections; ///< the curves on the plane
    };

    /// A soup cut along its intersection with another one, or with itself.
    struct SORVANE_API CutTriangles {
        Triangles first;  ///< pieces of the soup's triangles that are cut, in their order
        Triangles second; ///< pieces of the cutter's triangles that are cut, in their order
        Triangles uncut;  ///< triangles of the soup that are not cut, in their order
        Curves curves;    ///< the intersection
    };

    /// Takes a copy of the soup. O(n).
    explicit TriangleSlicer(const Triangles& soup);
    /// Takes over the soup itself.
    explicit TriangleSlicer(Triangles&& soup);

    /// Box around the triangles that take part, inverted without any.
    const Bounding::AxisAlignedBoundingBox<3, double>& Box() const { return box_; }
    /// The soup, as given.
    const Triangles& Soup() const { return soup_; }

    // --- planes ---------------------------------------------------------------------------------

    /// The part of the soup below the plane through `point`, away from `normal`, and the curves in
    /// which the plane cuts the soup. With `curvesOnly` the triangles are left out.
    ///
    /// Of a soup that bounds a solid, its triangles counter-clockwise as seen from outside, the
    /// triangles kept and the caps of all sections together are closed, to the bit: outer curves
    /// run counter-clockwise and holes clockwise as seen against the normal, and the cap of a hole,
    /// which overlaps that of the curve around it, faces the other way. For a lid without overlap
    /// see `CapOfSections`.
    ///
    /// `normal` may have any length above 1e-12; with a shorter one, or one that is not finite,
    /// there is no plane and the result is empty. The height of a corner is its distance from the
    /// plane, positive on the side of the normal. A triangle
    ///   - all above 1e-10 is dropped, all below -1e-10 kept as it is, at any tolerance;
    ///   - otherwise a corner is on the plane when its height is strictly less than `tolerance` in
    ///     magnitude, and below when its height is not above `tolerance`. All corners on the plane,
    ///     none below, or a single one that is on the plane: nothing is kept. Otherwise the part
    ///     below is kept as one triangle or two; these pieces come behind the triangles kept as
    ///     they are.
    /// So a triangle that lies 5e-7 above the plane is dropped and one 5e-7 beneath it kept, at a
    /// tolerance of 1e-6 as well. A tolerance below 0 and NaN count as 0. Coordinates of 1e6 are
    /// rounded to 1e-10: choose a tolerance above that where corners are meant to lie on the plane.
    ///
    /// Triangles that share an edge cut it in the same point, to the bit. The curves consist of
    /// where the kept triangles end on the plane: a face of the solid that lies in the plane is
    /// replaced by its cap when the solid lies below it, and counts as nothing when it lies above;
    /// an edge in the plane with both triangles below is no curve. Only where no part of the soup
    /// lies below, edges in the plane with triangles above them count: a cube cut at its bottom
    /// gives its square and no triangle. Curves are joined head to tail, first at ends of equal
    /// bits, then those still open at ends within `tolerance` on each axis of the plane. One that
    /// would pass a point twice becomes several. Soups that are open or turned give open curves or
    /// such that turn either way; triangles given twice give their curves twice.
    ///
    /// O(n) for the soup, O(k log k) for k triangles that the plane meets.
    HalfspaceTriangles SliceTriangles(const Vec3d& normal, const Vec3d& point, bool curvesOnly,
                                      double tolerance) const;

    /// The segments in which the plane through `point` cuts the triangles, in their order, with
    /// tolerance 1e-12; loose, as they are.
    ///
    /// Of a solid the material lies to the left as seen against the normal. Every triangle with two
    /// corners on the plane gives the edge between them, so that an edge in the plane comes twice.
    /// Corners on the plane are rounded to 32-bit floats, points where edges cross it are not.
    /// Segments without length are left out. O(n).
    Segments SegmentsAtIntersection(const Vec3d& normal, const Vec3d& point) const;

    // --- triangles ------------------------------------------------------------------------------

    /// Cuts the soup and `cutter` along their intersection.
    ///
    /// Two triangles meet in a segment (`Intersect::TriangleTriangle`, tolerance 1e-12), which cuts
    /// both. Those that lie in one plane don't cut each other, nor do those that meet in a point,
    /// or along an edge of both of them. A triangle with a doubled area of at most 2e-12 cuts
    /// nothing and is not cut. Where coordinates pass some hundreds each tolerance grows with the
    /// largest of the two triangles, to 1.8e-15 of it.
    ///
    /// A triangle that is cut becomes the constrained Delaunay triangles between its corners and
    /// the segments, turned as it is, which cover it: what a tube pierces out of a big triangle
    /// stays there as pieces of its own. Pieces share their corners on the intersection to the bit,
    /// within a triangle, between neighbors and between the two soups, but where segments cross
    /// inside a triangle. A cut that ends on an edge divides the triangle on the other side of the
    /// edge too, also where nothing meets it: the two have the same two corners there. Should the
    /// areas of the pieces not add up, the triangle stands among them uncut.
    ///
    /// `curves` are the segments, each once, joined at ends that agree within the tolerance.
    /// Expected O((n + m) log m + k log k) for soups of n and m triangles whose boxes meet in some
    /// k pairs, any number of them at a single triangle.
    CutTriangles SliceTriangles(const Triangles& cutter) const;

    /// The same for the soup against itself; `second` stays empty.
    ///
    /// Triangles with an edge in common, that is two equal corners, don't cut each other: a clean
    /// closed mesh comes back uncut. Of the pairs whose boxes meet those about a common corner of many
    /// triangles count only where they leave it in directions close to each other: a disc or a cone of
    /// n triangles about a point is O(n log n).
    CutTriangles SelfIntersections() const;

    /// The segments of `SliceTriangles`, by triangles of the soup, then of `cutter`.
    Segments SegmentsAtIntersection(const Triangles& cutter) const;

    /// The segments of `SelfIntersections`, by triangles, then by the other triangle: each one
    /// comes twice, once for either triangle.
    Segments SegmentsAtSelfIntersection() const;

private:
    Bounding::AxisAlignedBoundingBox<3, double> box_;
    Triangles soup_;
};

/// The lid of what a plane leaves of a solid: the region that all sections bound together, without
/// what lies within an even number of them.
///
/// Its triangles face along the normal, and its corners are those of the outlines to the bit, in
/// the plane's order and each once, so that it closes `half.triangles`; behind them come slivers
/// and their corners as in `Section::cap`. Outlines that cross, as those of a soup that cuts itself
/// may, are cut where they do. Empty without sections. O(n log n).
SORVANE_API IndexedPointsBase<3, double>
CapOfSections(const TriangleSlicer::HalfspaceTriangles& half);

} // namespace Velk::Math::Sorvane::Mesh
