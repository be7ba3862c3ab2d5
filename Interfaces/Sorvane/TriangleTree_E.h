// Tree over triangles in space: the nearest triangle of one point or of many, and the triangles near a
// point, in a box, on a line.
//
//     const Tree::QOFTriangleTree<3, double> tree(mesh.points, mesh.indices);
//     const auto nearest = tree.ClosestPoint(point, 10.0);
//     if (nearest.id >= 0) { ... }                               // nearest.point lies on triangle nearest.id
#pragma once

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ClosestPoint_E.h>
#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Tree {

template <int D, class T> class QOFTriangleTree;

/// Triangles with their numbers, searched through a flat hierarchy of their boxes.
///
/// Triangles with a coordinate that is not finite, or beyond 1e150, stay out and are never found; the
/// queries of a tree without triangles find nothing. The box of a triangle is that of its corners, 1e-10
/// larger on each side. Triangles rank by the order in which they were added, and lists of numbers
/// come in that order.
///
/// A radius counts by its magnitude, as its square does: a negative one finds what the positive one
/// finds. Radius 0 and NaN find nothing, and neither does a point with a NaN.
///
/// Queries change nothing and may run in many threads at once, while nobody adds or builds. Adding and
/// building either happen or, when memory runs out, leave the tree as it was.
template <> class SORVANE_API QOFTriangleTree<3, double> {
public:
    /// What the searches for the nearest triangle answer with.
    using Closest = ClosestPointRecord<3, double>;

    /// Without triangles: `AddTriangle` them, then `Build`.
    QOFTriangleTree();
    /// Over the triangles of a mesh, numbered as there. A triple with a subscript out of range stays
    /// out. O(n log n).
    QOFTriangleTree(const std::vector<Vec3d>& points, const std::vector<int>& triples);
    QOFTriangleTree(QOFTriangleTree&& other) noexcept;
    QOFTriangleTree& operator=(QOFTriangleTree&& other) noexcept;
    QOFTriangleTree(const QOFTriangleTree&) = delete;
    QOFTriangleTree& operator=(const QOFTriangleTree&) = delete;
    ~QOFTriangleTree();

    /// Stores a triangle, which queries find from the next `Build` on. Numbers need not ascend nor
    /// differ.
    void AddTriangle(const Vec3d& a, const Vec3d& b, const Vec3d& c, int id);
    /// Makes the tree anew over all triangles stored. O(n log n).
    void Build();

    /// Triangles that queries search: those stored at the last `Build`, without those that stay out.
    std::size_t TriangleCount() const;
    /// Half the diagonal of the box around the boxes of these triangles, 0 for none: a length beyond
    /// which everything lies as soon as it is tripled. O(1).
    double RootHalfSize() const;

    /// Nearest point on the triangles that the closed ball meets; {`point`, -1} when there is none. Of
    /// triangles at exactly the same distance the one added first.
    ///
    /// The triangle's box must be nearer than the radius, strictly. O(log n) as a rule, whatever the
    /// radius.
    Closest ClosestPoint(const Vec3d& point, double radius) const;

    /// What the first of these searches finds: `ClosestPoint` with the smaller of the radii, with twice,
    /// four times as much and so on, and last with the larger one; {`point`, -1} when none does.
    ///
    /// Here a radius has its sign: a smaller one of 0 or less counts as 1e-12. When the larger one is
    /// below it, or either is NaN, the answer is {origin, -1}. Costs as much as one search.
    Closest ClosestPointInRange(const Vec3d& point, double r0, double r1) const;

    /// `ClosestPoint` of many points at once, in their order: the same answers to the bit, whatever the
    /// number of threads, several times faster. Empty when canceled. Neighbors in space are answered one
    /// after the other, and each begins with the triangle of the one before.
    std::vector<Closest> ClosestPoints(const std::vector<Vec3d>& points, double radius,
                                       const ProgressCallback& progress) const;
    /// `ClosestPointInRange` of many points at once, in the same way.
    std::vector<Closest> ClosestPointsInRange(const std::vector<Vec3d>& points, double r0, double r1,
                                              const ProgressCallback& progress) const;

    /// Numbers of the triangles whose box is nearer to `center` than `radius`, strictly: possible ones
    /// only.
    std::vector<int> TrianglesInBall(const Vec3d& center, double radius) const;

    /// Numbers of the triangles whose box meets the closed box, touching included: possible ones only.
    std::vector<int>
    GetPossibleBoxCollisions(const Bounding::AxisAlignedBoundingBox<3, double>& box) const;

    /// Numbers of the triangles that the line through `origin` hits
    /// (`Intersect::RayTriangleHitPoint` both ways, tolerance 1e-12): all of them, however far the
    /// triangles lie from zero. None for a direction without finite positive length.
    std::vector<int> LineHits(const Vec3d& origin, const Vec3d& direction) const;

private:
    struct State;
    SORVANE_LOCAL void BuildOf(const std::vector<Vec3d>& points, const std::vector<int>& triples);

    std::unique_ptr<State> state_;
};

namespace Octree {

template <class T> class TriangleTree;

/// The same over a triangle soup, each triangle with its place in the list as number.
template <> class SORVANE_API TriangleTree<double> : public QOFTriangleTree<3, double> {
public:
    /// O(n log n).
    explicit TriangleTree(const Mesh::TriangleSoup<3, double>& triangles);
};

} // namespace Octree
} // namespace Velk::Math::Sorvane::Tree
