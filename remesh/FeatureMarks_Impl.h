// What a remesher must keep: boundaries, creases, and the lines between differently tagged faces;
// how they are found, how they are marked on nodes and half-edges, and the locks that follow from
// the marks.
//
// Written on the queries of a half-edge mesh alone, so that every algorithm with
// `Deco_bool_feature` on its records finds features in the same way.
#pragma once

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Why an edge is a feature. The first reason that holds, in this order.
enum class FeatureKind {
    None,
    Boundary,   ///< a side has no triangle
    Crease,     ///< the normals differ by the angle or more; in space only
    TagBoundary ///< the faces have different tags
};

/// The corners of the triangle on a half-edge, from where the half-edge begins.
template <class Mesh>
std::array<Vec3d, 3> CornersAt(const Mesh& mesh, int halfEdge)
{
    const auto* edge = mesh.EdgeRecord(halfEdge);
    const auto at = [&](int node) { return mesh.NodeRecord(node)->position; };
    return {at(edge->node), at(mesh.EdgeRecord(edge->next)->node),
            at(mesh.EdgeRecord(edge->prev)->node)};
}

/// Has the triangle no more area than its corners' rounding makes? `normal` is as long as twice it.
inline bool IsWithoutArea(const std::array<Vec3d, 3>& corners, const Vec3d& normal)
{
    constexpr double kRounding = 4 * std::numeric_limits<double>::epsilon();
    double extent = 0; // largest coordinate, whose rounding is a height of the triangle
    double longest = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        longest = std::max(longest, Length(corners[(k + 1) % 3] - corners[k]));
        for (int i = 0; i < 3; ++i) {
            extent = std::max(extent, std::fabs(corners[k][i]));
        }
    }
    return Length(normal) <= kRounding * extent * longest;
}

/// False only where `IsWithoutArea` is false of the triangle a b c as well, whose coordinates are
/// not greater than `extent`; without a root. An edge is no longer than 4 extents.
inline bool MayLackArea(const Vec3d& a, const Vec3d& b, const Vec3d& c, double extent)
{
    constexpr double kRounding = 16 * std::numeric_limits<double>::epsilon();
    const Vec3d normal = (b - a) ^ (c - a);
    const double bound = kRounding * extent * extent;
    return !(normal * normal > 2 * bound * bound);
}

/// Calls visit(normal) for the surface beside a half-edge: its triangle, or where that has no area,
/// and so no normal, those behind it.
///
/// The corners of such a triangle lie on a line, its longest edge on one side and the two others on
/// the other side, so that behind the longest one there are the two others, and behind those the
/// longest. An edge of no length is no way across. `steps` bounds the triangles looked at: those
/// without area may lead in a ring.
template <class Mesh, class Visit>
void VisitSurfaceBeside(const Mesh& mesh, int halfEdge, int& steps, const Visit& visit)
{
    if (--steps < 0 || mesh.EdgeRecord(halfEdge)->face < 0) {
        return;
    }
    const std::array<Vec3d, 3> corners = CornersAt(mesh, halfEdge);
    const Vec3d normal = (corners[1] - corners[0]) ^ (corners[2] - corners[0]);
    if (!IsWithoutArea(corners, normal)) {
        visit(normal);
        return;
    }
    const double own = SquaredLength(corners[1] - corners[0]);
    const double next = SquaredLength(corners[2] - corners[1]);
    const double prev = SquaredLength(corners[0] - corners[2]);
    const bool isLongest = own >= next && own >= prev;
    const auto goOn = [&](int across, double squaredLength) {
        if (squaredLength > 0) {
            VisitSurfaceBeside(mesh, mesh.EdgeRecord(across)->twin, steps, visit);
        }
    };
    if (isLongest || next > prev) {
        goOn(mesh.EdgeRecord(halfEdge)->next, next);
    }
    if (isLongest || next <= prev) {
        goOn(mesh.EdgeRecord(halfEdge)->prev, prev);
    }
}

/// By how much the surface turns at an edge one of whose triangles has no area; radians.
template <class Mesh>
double TurnAcross(const Mesh& mesh, int halfEdge)
{
    constexpr int kMostTriangles = 64;
    double turn = 0;
    int leftSteps = kMostTriangles;
    VisitSurfaceBeside(mesh, halfEdge, leftSteps, [&](const Vec3d& left) {
        int rightSteps = kMostTriangles;
        VisitSurfaceBeside(
            mesh, mesh.EdgeRecord(halfEdge)->twin, rightSteps, [&](const Vec3d& right) {
                turn = std::max(turn, Vector::AngleBetween(left, right, kLengthFloor<double>));
            });
    });
    return turn;
}

/// How far the normals of the triangles a b c and b a d turn at their edge a b, in radians.
inline double EdgeTurn(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d)
{
    const Vec3d ab = b - a;
    return Vector::AngleBetween(ab ^ (c - a), (d - a) ^ ab, kLengthFloor<double>);
}

/// The reason for which an edge that is alive is a feature. `angle` is in radians and is not looked
/// at in the plane; with NaN nothing is a crease. Faces without tags are never told apart.
template <int D, class Mesh>
FeatureKind FeatureKindOf(const Mesh& mesh, int halfEdge, double angle)
{
    const std::array<int, 4> diamond = mesh.Diamond(halfEdge);
    const auto [a, b, c, d] = diamond;
    if (mesh.IsBoundaryEdge(halfEdge, true) || a < 0 || b < 0 || c < 0 || d < 0) {
        return FeatureKind::Boundary;
    }
    if constexpr (D == 3) {
        const auto at = [&](int node) { return mesh.NodeRecord(node)->position; };
        const Vec3d pa = at(a);
        const Vec3d ab = at(b) - pa;
        const Vec3d left = ab ^ (at(c) - pa);
        const Vec3d right = (at(d) - pa) ^ ab;
        const double turn =
            IsWithoutArea({pa, at(b), at(c)}, left) || IsWithoutArea({pa, at(b), at(d)}, right)
                ? TurnAcross(mesh, halfEdge)
                : EdgeTurn(pa, at(b), at(c), at(d));
        if (turn >= angle) {
            return FeatureKind::Crease;
        }
    }
    if constexpr (requires { mesh.FaceRecord(0)->tag; }) {
        const auto tagOf = [&](int e) { return mesh.FaceRecord(mesh.EdgeRecord(e)->face)->tag; };
        if (tagOf(halfEdge) != tagOf(halfEdge ^ 1)) {
            return FeatureKind::TagBoundary;
        }
    }
    return FeatureKind::None;
}

/// Calls mark(half-edge, kind) for every edge that is a feature.
template <int D, class Mesh, class Mark>
void VisitFeatures(const Mesh& mesh, double angle, Mark mark)
{
    for (int e = 0; e < mesh.EdgeCount(); e += 2) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (mesh.IsValidEdge(e)) {
            const FeatureKind kind = FeatureKindOf<D>(mesh, e, angle);
            if (kind != FeatureKind::None) {
                mark(e, kind);
            }
        }
    }
}

/// The locks of a remesher: a half-edge is locked by its mark, a node by its own or by a locked
/// half-edge that leaves it.
template <class Remesher>
class FeatureMarked : public Remesher {
public:
    void SetNodeFeature(int node, bool isFeature) override
    {
        if (this->IsValidNode(node)) {
            this->NodeAt(node).feature = isFeature;
        }
    }

    void SetEdgeFeature(int halfEdge, bool isFeature) override
    {
        if (this->IsValidEdge(halfEdge)) {
            this->EdgeAt(halfEdge).feature = isFeature;
            this->EdgeAt(this->Twin(halfEdge)).feature = isFeature;
            MarkEnd(this->EdgeAt(halfEdge).node, isFeature);
            MarkEnd(this->EdgeAt(this->Twin(halfEdge)).node, isFeature);
        }
    }

    bool IsNodeLocked(int node) const override
    {
        return this->IsValidNode(node) && (this->NodeAt(node).feature ||
                                           (static_cast<std::size_t>(node) < isFeatureEnd_.size() &&
                                            isFeatureEnd_[static_cast<std::size_t>(node)]));
    }

    bool IsEdgeLocked(int halfEdge) const override
    {
        return this->IsValidEdge(halfEdge) && this->EdgeAt(halfEdge).feature;
    }

    /// A collapse without force is refused wherever an end is locked; here before the triangles
    /// round it are measured.
    bool TryCollapseEdge(int halfEdge) override
    {
        return this->IsValidEdge(halfEdge) && !IsNodeLocked(this->EdgeAt(halfEdge).node) &&
               !IsNodeLocked(this->EdgeAt(this->Twin(halfEdge)).node) &&
               Remesher::TryCollapseEdge(halfEdge);
    }

protected:
    /// Marks the features of the mesh as it stands; `angle` in radians.
    template <int D>
    void DetectFeatures(double angle)
    {
        VisitFeatures<D>(*this, angle, [&](int e, FeatureKind) { SetEdgeFeature(e, true); });
    }

private:
    // Of one end of an edge whose mark has changed.
    void MarkEnd(int node, bool isFeature)
    {
        if (!this->IsValidNode(node)) {
            return;
        }
        if (static_cast<std::size_t>(node) >= isFeatureEnd_.size()) {
            isFeatureEnd_.resize(this->Nodes().size(), 0);
        }
        if (!isFeature) {
            this->VisitNodeEdges(
                node, [&](int e) { isFeature = isFeature || (e >= 0 && this->EdgeAt(e).feature); });
        }
        isFeatureEnd_[static_cast<std::size_t>(node)] = isFeature ? 1 : 0;
    }

    // Is a marked edge at the node? No edit takes a marked edge from a node or removes a node that
    // has one, so that only the marks themselves change it, and no pass needs to walk round a node
    // to know.
    std::vector<unsigned char> isFeatureEnd_;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
