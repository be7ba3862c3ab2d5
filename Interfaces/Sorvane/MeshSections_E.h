// Plane sections of a mesh: one plane, or a whole stack of parallel ones, as linked outlines.
//
//     std::vector<double> heights{0.1, 0.3, 0.5};
//     for (const Mesh::MeshSection& section : Mesh::MeshSections(part, {0, 0, 1}, heights, {})) {
//         // section.loops, section.area, section.length; section.chains where the mesh is open
//     }
//
// The planes have one normal and differ by their height, the distance from the origin of space
// along the unit normal. A host that comes back to the same mesh, because the next height depends
// on the last section, prepares it once: `PlaneSlicer`.
#pragma once

#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/VecBase_E.h>

#include <array>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// What the section is where faces, edges or corners lie in its plane: the limit of the sections on
/// one of the two sides.
///
/// A plane through a level face has two sections, that of the material on top of the face and that
/// of the material under it, and the face belongs to one of them. No mean of the two bounds a body.
/// With `Above` the bottom face of a box is its section at that height, and at its top there is
/// nothing: heights count from the lowest, included, to the highest, excluded, so that boxes on top
/// of each other share no height. With `Below` it is the other way round.
enum class SectionSide : int {
    Above, ///< what lies just above the plane, on the side to which the normal points
    Below  ///< what lies just below it
};

/// How a plane is taken.
struct SectionOptions {
    SectionSide side = SectionSide::Above; ///< whose limit counts in planes through corners
    double tolerance = 0; ///< corners within this of the plane, inclusive, count as lying in it

    friend bool operator==(const SectionOptions&, const SectionOptions&) = default;
};

/// Where one plane cuts a mesh, in the plane's own coordinates.
///
/// Seen against the normal, material lies to the left of every line: outer loops run
/// counter-clockwise and holes clockwise, as long as the triangles' normals point outward.
struct SORVANE_API MeshSection {
    double height = 0; ///< of the plane, as asked for

    /// From the plane to space: (x, y, 0) becomes the point of the section, with the frame of
    /// `Transform::BuildTransformAxisOrigin` for the normal. For the normal (0, 0, 1) plane
    /// coordinates are those of space.
    TransformBase<3> toSpace;

    /// Closed, three points or more; the first is not repeated.
    std::vector<std::vector<Vec2d>> loops;
    std::vector<std::vector<Vec2d>> chains; ///< open at both ends, two points or more
    double area = 0;       ///< sum of the signed areas of the loops: that of the material
    double length = 0;     ///< of all loops
    double openLength = 0; ///< of all chains; 0 tells that the section is closed

    friend bool operator==(const MeshSection&, const MeshSection&) = default;
};

/// The sections of a mesh with the planes of one normal at the given heights, one for each height
/// in the order of `heights`, which may ascend, descend or repeat.
///
/// Each section has one point for each edge that the plane cuts, calculated once from the lower end
/// of the edge to the upper, and one for each corner in the plane; points equal to the one before
/// are left out. Lines are linked through the edges of the mesh, never by the distance of points:
/// coincident points with different numbers make a seam, so a soup has to be welded first
/// (`FilterForUniqueness`). Loops begin at the triangle of the lowest number and come in that
/// order, chains in the order of the lower of their end triangles.
///
/// Planes through corners: corners in the plane count as lying on the side away from `side`, and a
/// triangle that lies in the plane has no part in the section. An edge in the plane on which two
/// triangles of opposite sense stand would be run out and back: the two stretches cancel, and the
/// lines go on without them. So do a triangle and its mirror image on the same three corners. For
/// faces that lie in a plane only up to the rounding of coordinates, as all oblique ones and those
/// far from the origin do, `tolerance` takes their corners into it: 1e-12 times the largest
/// coordinate is ample for what was calculated in `double`, 1e-6 times for what came from a file of
/// `float`. It moves corners onto the plane, hence less than the smallest step that is to be seen.
/// Negative and NaN count as 0.
///
/// Defects: a turned triangle is linked as its neighbors ask for, and the line runs as the greater
/// part of its length tells. At an edge of more than two triangles lines are paired around the
/// edge, in wedges of material, so that they touch there and don't cross; two walls that lie on
/// each other, up to rounding of their corners to `float`, have no material between them, and each
/// body keeps its outline. Where the senses don't balance, what is left over is paired in twos, and
/// an odd one ends there. A triangle given twice adds a chain beside the loop. Triples that name a
/// point twice or a point that there is not, and those with a coordinate not finite or beyond
/// 1e150, are left out. Loops that overlap because the mesh cuts itself, or because bodies overlap,
/// stay as they are, and `area` counts what they share twice.
///
/// A plane that meets nothing gives a section without lines, and so does a mesh that `IsEmpty`. A
/// height that is not finite, and a normal that is zero or not finite, do too, with `toSpace` the
/// identity. The normal need not be of unit length. For a `float` mesh everything is calculated in
/// `double`.
///
/// O(n + k + m log m) expected for n triangles, m heights and k cuts of a triangle by a plane, with
/// heights at even distances, and O(n log m + k + m log m) with any: every triangle is dealt once
/// to the planes that cut it. Parallel, with the same bits for any number of threads, and for a
/// plane alone, in a stack, or by a `PlaneSlicer`.
SORVANE_API std::vector<MeshSection> MeshSections(const IndexedPointsBase<3, double>& mesh,
                                                  const Vec3d& normal,
                                                  const std::vector<double>& heights,
                                                  const SectionOptions& options);
SORVANE_API std::vector<MeshSection> MeshSections(const IndexedPointsBase<3, float>& mesh,
                                                  const Vec3d& normal,
                                                  const std::vector<double>& heights,
                                                  const SectionOptions& options);

/// The section with one plane.
SORVANE_API MeshSection MeshSectionAt(const IndexedPointsBase<3, double>& mesh, const Vec3d& normal,
                                      double height, const SectionOptions& options);
SORVANE_API MeshSection MeshSectionAt(const IndexedPointsBase<3, float>& mesh, const Vec3d& normal,
                                      double height, const SectionOptions& options);

/// Lines of a section, its loops or its chains, as points of space.
SORVANE_API std::vector<std::vector<Vec3d>>
SectionInSpace(const MeshSection& section, const std::vector<std::vector<Vec2d>>& lines);

/// A mesh made ready to be cut again and again by planes of one normal: a plane then costs what it
/// cuts, not what there is.
///
/// A copy of the mesh in the frame of the planes, with its triangles in the order of their lowest
/// corners. A value; const operations may run in many threads at once.
class PlaneSlicer {
public:
    /// O(n log n), parallel.
    SORVANE_API PlaneSlicer(const IndexedPointsBase<3, double>& mesh, const Vec3d& normal);
    SORVANE_API PlaneSlicer(const IndexedPointsBase<3, float>& mesh, const Vec3d& normal);

    /// Least and greatest height of a corner of a triangle; without triangles the first is above
    /// the second.
    std::array<double, 2> HeightRange() const { return range_; }

    /// As `MeshSectionAt`, expected O(c log c + c log n) for c triangles that are cut.
    SORVANE_API MeshSection Section(double height, const SectionOptions& options) const;

    /// As `MeshSections`, each plane by itself, in parallel.
    SORVANE_API std::vector<MeshSection> Sections(const std::vector<double>& heights,
                                                  const SectionOptions& options) const;

private:
    template <class T>
    void Prepare(const IndexedPointsBase<3, T>& mesh, const Vec3d& normal);
    template <class T>
    void Sort(const std::vector<VecBase<3, T>>& points);
    std::vector<int> TrianglesAt(double height, const SectionOptions& options) const;

    Vec3d normal_;               // as given
    std::vector<Vec3d> points_;  // in the frame of the planes, z the height
    std::vector<int> indices_;   // as given
    std::vector<int> order_;     // usable triangles by their lowest corners
    std::vector<double> lowest_; // height of that corner, in that order
    // Greatest heights of the triangles in that order, then of 16 entries before each.
    std::vector<std::vector<double>> peaks_;
    std::array<double, 2> range_{};
};

} // namespace Velk::Math::Sorvane::Mesh
