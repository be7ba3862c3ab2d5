// The surface that a mesh was before it was remeshed, and the way back to it.
#pragma once

#include <Sorvane/TriangleTree_E.h>

#include "mathbase/Progress_Impl.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A point that is to go back to a surface.
struct StrayPoint {
    Vec3d position;
    /// Normal of the mesh there, of any length; zero where it has none or where it is of no
    /// account.
    Vec3d normal;
    /// Is it on the surface already? Then no other takes its place.
    bool isFixed = false;
};

/// Triangles, and the nearest points on them.
///
/// The nearest triangle may be the wrong one: on a sheet that is thinner than an edge is long,
/// nodes come nearer to the other wall than to their own, and a mesh that follows the nearest
/// triangles folds flat. A point whose normal points away from that of its nearest triangle
/// therefore goes to the nearest triangle that faces the same way, where there is one within a
/// given distance.
class SourceSurface {
public:
    /// Triples with a subscript out of range and triangles that are not finite are left out.
    SourceSurface(const std::vector<Vec3d>& points, const std::vector<int>& triples);

    /// The places of the points on the surface, in their order. A point that is not finite stays
    /// where it is, and so do all when there are no triangles, or when these reach beyond 1e75.
    /// Parallel, with the same bits for any number of threads.
    ///
    /// Points that were apart stay apart: of those that would meet in one place, as the tip of a
    /// cone is nearest to all around it, one goes there, a fixed one if there is any, and the
    /// others stay where they are. They would be welded together otherwise, and leave edges of more
    /// than two triangles.
    std::vector<Vec3d> Projected(const std::vector<StrayPoint>& points, double facingReach) const;

private:
    using Corners = std::array<Vec3d, 3>;

    Corners CornersOf(int triangle) const;
    bool FacesAway(int triangle, const Vec3d& normal) const;
    static void KeepApart(const std::vector<StrayPoint>& points, std::vector<Vec3d>& places);
    Vec3d NearestFacing(const StrayPoint& point, const Vec3d& nearest, double reach) const;

    std::vector<Vec3d> points_;
    std::vector<int> triples_;
    Tree::QOFTriangleTree<3, double> tree_;
    double reach_ = 0.0; // a radius round any point near the surface that holds all of it
};

/// Takes the nodes of a mesh in space back to the surface. Nodes without edges stay where they are,
/// and so do those with a neighbor that is not finite: their triangles are no part of the surface.
///
/// A locked node lies on a feature of the surface, where several normals meet, and comes without
/// one.
template <class Mesh>
void ProjectNodesOnto(const SourceSurface& surface, Mesh& mesh, double facingReach)
{
    std::vector<int> nodes;
    std::vector<StrayPoint> strays;
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(n));
        if (mesh.Degree(n) == 0) {
            continue;
        }
        bool isFinite = true;
        mesh.VisitNodeNodes(n, [&](int neighbor) {
            isFinite = isFinite && (!mesh.IsValidNode(neighbor) ||
                                    IsFinitePoint(mesh.NodeRecord(neighbor)->position));
        });
        if (!isFinite) {
            continue;
        }
        StrayPoint stray{mesh.NodeRecord(n)->position, {}, mesh.IsNodeLocked(n)};
        if (!stray.isFixed) {
            mesh.VisitNodeEdges(n, [&](int e) {
                const auto* edge = mesh.EdgeRecord(e);
                if (edge != nullptr && edge->face >= 0 && mesh.IsValidEdge(edge->prev)) {
                    const auto positionOf = [&](int halfEdge) {
                        return mesh.NodeRecord(mesh.EdgeRecord(halfEdge)->node)->position;
                    };
                    stray.normal += (positionOf(e ^ 1) - stray.position) ^
                                    (positionOf(edge->prev) - stray.position);
                }
            });
        }
        nodes.push_back(n);
        strays.push_back(stray);
    }
    const std::vector<Vec3d> places = surface.Projected(strays, facingReach);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        mesh.NodeRecord(nodes[i])->position = places[i];
    }
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
