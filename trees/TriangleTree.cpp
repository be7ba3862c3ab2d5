// Tree over triangles in space.

#include "trees/TriangleTree_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <utility>

namespace Velk::Math::Sorvane::Tree {

namespace {

/// Smallest radius at which a search begins.
constexpr double kLeastRadius = 1e-12;
/// Widening of a triangle within which a line hits it.
constexpr double kHitTolerance = 1e-12;

} // namespace

QOFTriangleTree<3, double>::QOFTriangleTree(const std::vector<Vec3d>& points,
                                            const std::vector<int>& triples)
{
    ReserveFor(triples.size() / 3);
    const auto isPoint = [&](int index) {
        return index >= 0 && static_cast<std::size_t>(index) < points.size();
    };
    for (std::size_t i = 0; i + 2 < triples.size(); i += 3) {
        const int a = triples[i];
        const int b = triples[i + 1];
        const int c = triples[i + 2];
        if (isPoint(a) && isPoint(b) && isPoint(c)) {
            AddTriangle(points[static_cast<std::size_t>(a)], points[static_cast<std::size_t>(b)],
                        points[static_cast<std::size_t>(c)], static_cast<int>(i / 3));
        }
    }
    Build();
}

void QOFTriangleTree<3, double>::AddTriangle(const Vec3d& a, const Vec3d& b, const Vec3d& c, int id)
{
    TriWrap wrap;
    wrap.id = id;
    wrap.points = {a, b, c};
    Impl::Store(storage_, wrap, Impl::MarginBox({a, b, c}));
}

void QOFTriangleTree<3, double>::Build()
{
    if (storage_.ItemCount() == 0) {
        return;
    }
    PrepareRoot(storage_);
    // What the root refused is not in the octree, and so not in the hierarchy either.
    std::vector<Impl::RankedTriangle> ranked;
    ranked.reserve(storage_.ItemCount());
    const auto all = [](const Box&) { return true; };
    VisitCandidates(all, all, [&](const Content* content) {
        const TriWrap& wrap = WrapOf(*content);
        ranked.push_back({wrap.points, wrap.id, static_cast<int>(ranked.size())});
    });
    hierarchy_.Build(std::move(ranked));
}

QOFTriangleTree<3, double>::Closest QOFTriangleTree<3, double>::ClosestPoint(const Vec3d& point,
                                                                             double radius) const
{
    const Impl::NearestTriangle nearest = hierarchy_.Nearest(point, radius);
    return nearest.id >= 0 ? Closest{nearest.point, nearest.id} : Closest{point, -1};
}

// One search with the larger radius stands for all of them. Let d be the squared distance of what
// it finds, which is the least of all triangles within that radius. A search with r * r < d finds
// nothing. One with r * r > d finds the same: every triangle at d is among its candidates, as a
// triangle's box is never farther than its nearest point. Only where r * r equals d may the answer
// differ: a triangle whose box is at d itself is no candidate then, so that another of the equals
// is found, or none. And when the larger radius finds nothing, no smaller one does.
QOFTriangleTree<3, double>::Closest
QOFTriangleTree<3, double>::ClosestPointInRange(const Vec3d& point, double r0, double r1) const
{
    double low = std::min(r0, r1);
    const double high = std::max(r0, r1);
    low = low <= 0 ? kLeastRadius : low;
    if (!(low <= high) || std::isnan(r0) || std::isnan(r1)) {
        return {};
    }
    const Impl::NearestTriangle nearest = hierarchy_.Nearest(point, high);
    if (nearest.id < 0) {
        return {point, -1};
    }
    for (double radius = low; radius < high && radius * radius <= nearest.squaredDistance;
         radius *= 2) {
        if (radius * radius == nearest.squaredDistance) {
            const Closest atRadius = ClosestPoint(point, radius);
            if (atRadius.id >= 0) {
                return atRadius;
            }
        }
    }
    return {nearest.point, nearest.id};
}

std::vector<int> QOFTriangleTree<3, double>::TrianglesInBall(const Vec3d& center,
                                                             double radius) const
{
    std::vector<int> ids;
    VisitBallCollisions({center, radius},
                        [&](const Content* content) { ids.push_back(WrapOf(*content).id); });
    return ids;
}

std::vector<int> QOFTriangleTree<3, double>::LineHits(const Vec3d& origin,
                                                      const Vec3d& direction) const
{
    std::vector<int> ids;
    VisitRayCollisions(origin, direction, [&](const Content* content) {
        const TriWrap& wrap = WrapOf(*content);
        const auto& [a, b, c] = wrap.points;
        if (Intersect::RayTriangleHitPoint(a, b, c, origin, direction, nullptr, nullptr, true,
                                           kHitTolerance)) {
            ids.push_back(wrap.id);
        }
    });
    return ids;
}

Octree::TriangleTree<double>::TriangleTree(const Mesh::TriangleSoup<3, double>& triangles)
{
    ReserveFor(triangles.size());
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        const auto& [a, b, c] = triangles[i];
        AddTriangle(a, b, c, static_cast<int>(i));
    }
    Build();
}

} // namespace Velk::Math::Sorvane::Tree
