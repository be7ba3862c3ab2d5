// The triangles of a soup by direction, and each direction by connection.

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "halfedge/FaceComponents_Impl.h"
#include "mathbase/Buckets_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Soup = Mesh::TriangleSoup<3, double>;
using Mesh3 =
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace>;
using Lists = std::vector<std::vector<int>>;

/// Corners within it are joined.
constexpr double kJoined = kLengthFloor<double>;

bool AreJoined(const Vec3d& a, const Vec3d& b)
{
    return std::fabs(a.x() - b.x()) <= kJoined && std::fabs(a.y() - b.y()) <= kJoined &&
           std::fabs(a.z() - b.z()) <= kJoined;
}

/// The connected components of the listed triangles, which take the numbers of the soup.
Lists ComponentsOf(const Soup& soup, std::span<const int> triangles, bool isWelded)
{
    if (triangles.size() == 1) {
        // What the general way comes to, at a fraction of its cost: soups of a million directions
        // are mostly such.
        const auto& [a, b, c] = soup[static_cast<std::size_t>(triangles.front())];
        if (isWelded && (AreJoined(a, b) || AreJoined(b, c) || AreJoined(c, a))) {
            return {};
        }
        return {{triangles.front()}};
    }
    Soup part;
    part.reserve(triangles.size());
    for (const int triangle : triangles) {
        part.push_back(soup[static_cast<std::size_t>(triangle)]);
    }
    const auto mesh = Mesh::IndexedPointsFromSoup(part, isWelded, kJoined);
    // Triples that the half-edge mesh can't take get no face, so that faces have other numbers.
    std::vector<int> triangleOfFace;
    triangleOfFace.reserve(triangles.size());
    Mesh3 halfEdges;
    halfEdges.LoadIndexedPoints(mesh.points, mesh.indices, [&](int triple, int) {
        triangleOfFace.push_back(triangles[static_cast<std::size_t>(triple)]);
    });
    Lists components = HalfEdge::Impl::FaceComponents(halfEdges);
    for (std::vector<int>& component : components) {
        for (int& face : component) {
            face = triangleOfFace[static_cast<std::size_t>(face)];
        }
    }
    return components;
}

FacetCluster Measured(const Soup& soup, std::vector<int>&& triangles)
{
    FacetCluster cluster;
    Vec3d areaNormal;
    Vec3d weighted;
    for (const int number : triangles) {
        const auto& triangle = soup[static_cast<std::size_t>(number)];
        const Vec3d own = Mesh::AreaNormal(triangle);
        const double area = Length(own);
        areaNormal += own;
        weighted += area * ((triangle[0] + triangle[1] + triangle[2]) / 3.0);
        cluster.area += area;
    }
    cluster.normal = Normalized(areaNormal, kLengthFloor<double>);
    cluster.centroid = weighted / cluster.area; // NaN for an area of 0
    cluster.facets = std::move(triangles);
    return cluster;
}

bool IsLarger(const FacetCluster& a, const FacetCluster& b)
{
    // NaN is smaller than every number: a strict weak order needs a place for it.
    return std::isnan(b.area) ? !std::isnan(a.area) : a.area > b.area;
}

} // namespace

std::vector<FacetCluster> ClusterFacets(const std::vector<std::array<VecBase<3, double>, 3>>& soup,
                                        double normalTolerance, double weld)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<FacetCluster> {
        std::vector<Vec3d> directions = Mesh::Normals(soup);
        const std::vector<int> directionOf =
            Vector::FilterForUniquenessAndIndex(directions, normalTolerance);
        const auto byDirection = Math::Impl::NumbersInBuckets(
            directions.size(), soup.size(), [&](std::size_t i) { return directionOf[i]; });

        std::vector<Lists> components(directions.size());
        Parallel::Impl::ApplyParallel(
            std::size_t{0}, directions.size(), [&](std::size_t direction) {
                components[direction] = ComponentsOf(soup, byDirection[direction], weld != 0);
            });
        std::vector<std::vector<int>*> lists;
        for (Lists& ofDirection : components) {
            for (std::vector<int>& component : ofDirection) {
                lists.push_back(&component);
            }
        }
        std::vector<FacetCluster> clusters(lists.size());
        Parallel::Impl::ApplyParallel(std::size_t{0}, lists.size(), [&](std::size_t i) {
            clusters[i] = Measured(soup, std::move(*lists[i]));
        });
        Parallel::Impl::ParallelSort(clusters.begin(), clusters.end(), IsLarger);
        return clusters;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
