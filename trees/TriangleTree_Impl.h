// Tree over triangles in space: the nearest triangle, and the candidates near a point, in a box, on
// a line.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include "trees/SearchTree_Impl.h"
#include "trees/TriangleHierarchy_Impl.h"

#include <vector>

namespace Velk::Math::Sorvane::Tree {

template <int D, class T>
class QOFTriangleTree;

/// Triangles with their numbers in a loose octree.
///
/// Triangles with a coordinate that is not finite, or beyond 1e150, stay out and are never found;
/// the queries of a tree without triangles find nothing. Queries may run in many threads at once,
/// and take no memory but that of their answer. "Rank" is the place of a triangle in the octree's
/// own order, which is that of `TrianglesInBall` and the same in each run.
template <>
class QOFTriangleTree<3, double> : public QOFTree<3, double, 0, QOFNode<3, double, 0>> {
public:
    using Base = QOFTree<3, double, 0, QOFNode<3, double, 0>>;
    using Closest = ClosestPointRecord<3, double>;

    struct TriWrap : QOFTreeContent<3, double, 0> {
        int id = -1;
        std::array<Vec3d, 3> points;
    };

    /// What a query's candidate wraps.
    static const TriWrap& WrapOf(const Content& content)
    {
        return static_cast<const TriWrap&>(content);
    }

    /// Without triangles: `AddTriangle` them, then `Build`.
    QOFTriangleTree() = default;
    /// Over the triangles of a mesh, numbered as there. A triple with a subscript out of range
    /// stays out.
    QOFTriangleTree(const std::vector<Vec3d>& points, const std::vector<int>& triples);

    /// Stores a triangle, which the tree holds from the next `Build` on. Numbers need not ascend.
    void AddTriangle(const Vec3d& a, const Vec3d& b, const Vec3d& c, int id);
    /// Makes the tree anew over all triangles stored. O(n log n).
    void Build();

    /// Nearest point on the triangles that the closed ball meets; {`point`, -1} when there is none.
    /// Of triangles at exactly the same distance the one of least rank.
    ///
    /// The triangle's box, 1e-10 larger on each side, must be nearer than the radius, strictly:
    /// radius 0 finds nothing, and neither do a negative one and NaN. O(log n) as a rule, whatever
    /// the radius.
    Closest ClosestPoint(const Vec3d& point, double radius) const;

    /// What the first of these searches finds: `ClosestPoint` with the smaller of the radii, with
    /// twice, four times as much and so on, and last with the larger one; {`point`, -1} when none
    /// does.
    ///
    /// A smaller radius of 0 or less counts as 1e-12. When the larger one is below it, or either is
    /// NaN, the answer is {origin, -1}. Costs as much as one search.
    Closest ClosestPointInRange(const Vec3d& point, double r0, double r1) const;

    /// Numbers of the triangles whose box is nearer to `center` than `radius`, strictly: possible
    /// ones only. A negative radius counts as positive.
    std::vector<int> TrianglesInBall(const Vec3d& center, double radius) const;

    /// Numbers of the triangles that the line through `origin` hits
    /// (`Intersect::RayTriangleHitPoint` both ways, tolerance 1e-12), by rank. None for a direction
    /// without finite positive length.
    std::vector<int> LineHits(const Vec3d& origin, const Vec3d& direction) const;

    /// Triangles whose box meets the closed box, touching included.
    using Base::GetPossibleBoxCollisions;

protected:
    void ReserveFor(std::size_t triangles) { Impl::ReserveOneBlock(storage_, triangles); }

private:
    QOFStorage<TriWrap> storage_;
    Impl::TriangleHierarchy hierarchy_;
};

namespace Octree {

template <class T>
class TriangleTree;

/// The same over a triangle soup, each triangle with its place in the list as number.
template <>
class TriangleTree<double> : public QOFTriangleTree<3, double> {
public:
    explicit TriangleTree(const Mesh::TriangleSoup<3, double>& triangles);
};

} // namespace Octree
} // namespace Velk::Math::Sorvane::Tree
