// What tests of imprinting share: soundness of the mesh and its tree, its measures, plane sections.
#pragma once

#include "imprint/ImprintableMesh_Impl.h"
#include "tests/support/CheckTopology.h"
#include "tests/support/MeshMeasures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Support {

using ImprintMesh = Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<unsigned char>;
using Velk::Math::Sorvane::Mesh::Impl::MeshLocation;
using Velk::Math::Sorvane::Mesh::Impl::NodeReplacements;

/// A mesh with all words 0.
inline ImprintMesh Imprintable(const IndexedMesh& mesh, double tolerance)
{
    return ImprintMesh(mesh.points, mesh.indices, {}, tolerance);
}

inline const Vec3d& NodePoint(const ImprintMesh& mesh, int node)
{
    return mesh.Nodes()[static_cast<std::size_t>(node)].position;
}

/// The live facets' corner numbers as an indexed mesh over all nodes.
inline IndexedMesh Snapshot(const ImprintMesh& mesh)
{
    IndexedMesh shot;
    for (const auto& node : mesh.Nodes()) {
        shot.points.push_back(node.position);
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        const std::vector<int> corners = mesh.FaceNodes(f);
        shot.indices.insert(shot.indices.end(), corners.begin(), corners.end());
    }
    return shot;
}

struct SurfaceMeasures {
    long double area = 0;
    long double volume = 0;
    long double growth = 0; ///< of the area, at most, when each node moves by one
    double rounding = 0;    ///< of the largest coordinate
};
inline SurfaceMeasures MeasuresOf(const ImprintMesh& mesh)
{
    const IndexedMesh shot = Snapshot(mesh);
    SurfaceMeasures measures;
    std::vector<Wide> gradients(shot.points.size());
    for (std::size_t i = 0; i < shot.indices.size(); i += 3) {
        const Wide u = Minus(PointOf(shot, i + 1), PointOf(shot, i));
        const Wide v = Minus(PointOf(shot, i + 2), PointOf(shot, i));
        const Wide w = Minus(PointOf(shot, i), shot.points.front());
        const Wide area = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                           u[0] * v[1] - u[1] * v[0]};
        measures.area += std::sqrt(Dot(area, area)) / 2;
        measures.volume += Dot(w, area) / 6;
        // A triangle grows by half its opposite edge as a corner moves away from that, in its
        // plane.
        const long double doubled = std::sqrt(Dot(area, area));
        for (std::size_t k = 0; doubled > 0 && k < 3; ++k) {
            const Wide edge = Minus(PointOf(shot, i + (k + 2) % 3), PointOf(shot, i + (k + 1) % 3));
            Wide& gradient = gradients[static_cast<std::size_t>(shot.indices[i + k])];
            for (std::size_t a = 0; a < 3; ++a) {
                const std::size_t b = (a + 1) % 3;
                const std::size_t c = (a + 2) % 3;
                gradient[a] += (area[b] * edge[c] - area[c] * edge[b]) / (2 * doubled);
            }
        }
    }
    for (const Wide& gradient : gradients) {
        measures.growth += std::sqrt(Dot(gradient, gradient));
    }
    for (const Vec3d& point : shot.points) {
        for (int axis = 0; axis < 3; ++axis) {
            measures.rounding = std::max(measures.rounding, std::numeric_limits<double>::epsilon() *
                                                                std::fabs(point[axis]));
        }
    }
    return measures;
}

/// The surface has the area and the volume that it had, but for what the rounding of the nodes
/// makes of them.
inline void ExpectSameMeasures(const ImprintMesh& mesh, const SurfaceMeasures& before)
{
    constexpr long double kRelative = 1e-12L;
    const SurfaceMeasures now = MeasuresOf(mesh);
    EXPECT_LE(std::fabs(now.area - before.area),
              kRelative * before.area + now.rounding * now.growth);
    EXPECT_LE(std::fabs(now.volume - before.volume),
              kRelative * std::fabs(before.volume) + now.rounding * now.area);
}

/// Links and twins are in order, and the tree holds each facet once, with the box that its corners
/// have now.
template <class Mesh>
void ExpectSound(const Mesh& mesh)
{
    EXPECT_EQ(CheckTopology(mesh), "");
    if (mesh.FacetTree() == nullptr) {
        return;
    }
    std::set<int> held;
    for (const auto& wrap : mesh.FacetTree()->Wraps()) {
        EXPECT_TRUE(held.insert(wrap.facet).second) << "facet " << wrap.facet << " twice";
        const std::vector<int> corners = mesh.FaceNodes(wrap.facet);
        ASSERT_EQ(corners.size(), 3U) << "facet " << wrap.facet << " is no more";
        Vec3d middle;
        for (int axis = 0; axis < 3; ++axis) {
            const auto at = [&](int i) {
                return mesh.GetVertex(corners[static_cast<std::size_t>(i)])[axis];
            };
            const double low = std::min({at(0), at(1), at(2)});
            const double high = std::max({at(0), at(1), at(2)});
            ASSERT_EQ(wrap.min[axis], low - 5e-12);
            ASSERT_EQ(wrap.max[axis], high + 5e-12);
            middle[axis] = (low + high) / 2;
        }
        const std::vector<int> found = mesh.FacetTree()->FacetsInBox(middle, middle);
        ASSERT_TRUE(std::binary_search(found.begin(), found.end(), wrap.facet));
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        EXPECT_EQ(mesh.IsValidFace(f) ? 1U : 0U, held.count(f)) << "facet " << f;
    }
}

/// The closed polylines in which a plane cuts a closed mesh: one point on each edge it crosses,
/// found by going over all triangles. A loop that ends at a boundary comes as far as it goes.
inline std::vector<std::vector<Vec3d>> PlaneLoops(const IndexedMesh& mesh, const Vec3d& origin,
                                                  const Vec3d& normal)
{
    using EdgeKey = std::pair<int, int>;
    std::map<EdgeKey, std::vector<EdgeKey>> neighbors;
    const auto height = [&](int node) {
        return (mesh.points[static_cast<std::size_t>(node)] - origin) * normal;
    };
    for (std::size_t t = 0; t < mesh.indices.size(); t += 3) {
        std::vector<EdgeKey> crossed;
        for (std::size_t i = 0; i < 3; ++i) {
            const EdgeKey edge = std::minmax(mesh.indices[t + i], mesh.indices[t + (i + 1) % 3]);
            if ((height(edge.first) < 0) != (height(edge.second) < 0)) {
                crossed.push_back(edge);
            }
        }
        if (crossed.size() == 2) {
            neighbors[crossed[0]].push_back(crossed[1]);
            neighbors[crossed[1]].push_back(crossed[0]);
        }
    }
    std::set<EdgeKey> seen;
    std::vector<std::vector<Vec3d>> loops;
    for (const auto& entry : neighbors) {
        std::vector<Vec3d> loop;
        EdgeKey edge = entry.first;
        for (bool goesOn = seen.insert(edge).second; goesOn;) {
            const Vec3d& low = mesh.points[static_cast<std::size_t>(edge.first)];
            const Vec3d& high = mesh.points[static_cast<std::size_t>(edge.second)];
            const double below = height(edge.first);
            loop.push_back(low + (high - low) * (below / (below - height(edge.second))));
            goesOn = false;
            for (const EdgeKey& next : neighbors[edge]) {
                if (!goesOn && seen.insert(next).second) {
                    edge = next;
                    goesOn = true;
                }
            }
        }
        if (!loop.empty()) {
            loops.push_back(std::move(loop));
        }
    }
    return loops;
}

/// Every `step`-th point.
inline std::vector<Vec3d> Thinned(const std::vector<Vec3d>& path, std::size_t step)
{
    std::vector<Vec3d> thin;
    for (std::size_t i = 0; i < path.size(); i += step) {
        thin.push_back(path[i]);
    }
    return thin;
}

/// How many neighbors in a traced path are two nodes without an edge between them, or no nodes.
inline int Breaks(const ImprintMesh& mesh, const std::vector<MeshLocation>& traced, bool closed)
{
    int breaks = 0;
    for (std::size_t i = 0; i + (closed ? 0 : 1) < traced.size(); ++i) {
        const MeshLocation& a = traced[i];
        const MeshLocation& b = traced[(i + 1) % traced.size()];
        const bool joined = a.IsOnNode() && b.IsOnNode() &&
                            (a.node == b.node || mesh.FindEdge(a.node, b.node) >= 0);
        breaks += joined ? 0 : 1;
    }
    return breaks;
}

} // namespace Support
