// Sharp edges, arcs, holes, regions and curvature of the C interface.

#include "Checks.h"

#include "sorvane_c/features.h"

#include <Sorvane/Curvature_E.h>
#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshQueries_E.h>

#include <algorithm>
#include <array>

using namespace SorvaneC;
namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;

struct sorvane_edges {
    std::vector<int> points;
};

struct sorvane_arcs {
    std::vector<sorvane_arc> items;
};

struct sorvane_holes {
    std::vector<sorvane_hole> items;
    std::vector<sorvane_hole_step> steps;
};

struct sorvane_clusters {
    std::vector<sorvane_cluster> items;
    sorvane_lists triangles;
};

namespace {

template <std::size_t N>
void Put(const Vec3d& point, double (&place)[N])
{
    static_assert(N == 3);
    std::copy(point.begin(), point.end(), place);
}

std::unique_ptr<sorvane_edges> NewEdges(const std::vector<std::pair<int, int>>& edges)
{
    auto handle = std::make_unique<sorvane_edges>();
    handle->points.reserve(2 * edges.size());
    for (const auto& [from, to] : edges) {
        handle->points.push_back(from);
        handle->points.push_back(to);
    }
    return handle;
}

sorvane_hole_options HoleOptionsOf(const sorvane_hole_options* options)
{
    const auto given = OptionsOf(options, sorvane_hole_options_init);
    CheckNotNegative(given.crease_angle, "crease_angle");
    CheckNotNegative(given.tolerance, "tolerance");
    CheckNotNegative(given.fraction, "fraction");
    CheckNotNegative(given.axis_tolerance, "axis_tolerance");
    return given;
}

} // namespace

// --- edges
// ----------------------------------------------------------------------------------------------------------

const int* sorvane_edges_points(const sorvane_edges* edges, size_t* count)
{
    return Elements(edges->points, count, 2);
}

void sorvane_edges_free(sorvane_edges* edges) { delete edges; }

sorvane_status sorvane_mesh_sharp_edges(const sorvane_mesh* mesh, double crease_angle,
                                        int with_boundary, sorvane_edges** edges,
                                        sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(edges, "edges");
        const MeshData& data = MeshOf(mesh);
        CheckNotNegative(crease_angle, "crease_angle");
        return Made(edges,
                    NewEdges(MeshUtils::DetectSharpEdges(data, crease_angle, with_boundary != 0)));
    });
}

sorvane_status sorvane_mesh_boundary_edges(const sorvane_mesh* mesh, sorvane_edges** edges,
                                           sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(edges, "edges");
        return Made(edges, NewEdges(Mesh::BoundaryEdges(MeshOf(mesh))));
    });
}

sorvane_status sorvane_mesh_longest_straight_boundary(const sorvane_mesh* mesh, double tolerance,
                                                      double* ends, sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        Required(ends, "ends");
        CheckNotNegative(tolerance, "tolerance");
        const auto found =
            MeshUtils::LongestStraightBoundary(Mesh::SoupFromIndexedPoints(data), tolerance);
        if (found == std::array<Vec3d, 2>{} && !IsStopped()) {
            Failed("the mesh has no boundary");
        }
        std::copy(found[0].begin(), found[0].end(), ends);
        std::copy(found[1].begin(), found[1].end(), ends + 3);
    });
}

// --- arcs and holes
// -------------------------------------------------------------------------------------------------

void sorvane_hole_options_init(sorvane_hole_options* options)
{
    if (options != nullptr) {
        *options = {sizeof(*options), 0.4, 0.02, 0.8, 0.02};
    }
}

sorvane_status sorvane_mesh_arcs(const sorvane_mesh* mesh, const sorvane_hole_options* options,
                                 sorvane_arcs** arcs, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(arcs, "arcs");
        const MeshData& data = MeshOf(mesh);
        const sorvane_hole_options how = HoleOptionsOf(options);
        auto handle = std::make_unique<sorvane_arcs>();
        for (const auto& arc :
             MeshUtils::DetectArcs(data, how.crease_angle, how.tolerance, how.fraction)) {
            sorvane_arc& item = handle->items.emplace_back();
            Put(arc.center, item.center);
            Put(arc.normal, item.normal);
            item.radius = arc.radius;
            item.length = arc.length;
        }
        return Made(arcs, std::move(handle));
    });
}

const sorvane_arc* sorvane_arcs_items(const sorvane_arcs* arcs, size_t* count)
{
    return Elements(arcs->items, count);
}

void sorvane_arcs_free(sorvane_arcs* arcs) { delete arcs; }

sorvane_status sorvane_mesh_drill_holes(const sorvane_mesh* mesh,
                                        const sorvane_hole_options* options, sorvane_holes** holes,
                                        sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(holes, "holes");
        const MeshData& data = MeshOf(mesh);
        const sorvane_hole_options how = HoleOptionsOf(options);
        auto handle = std::make_unique<sorvane_holes>();
        for (const auto& hole : MeshUtils::DrillHoleStacks(data, how.crease_angle, how.tolerance,
                                                           how.fraction, how.axis_tolerance)) {
            sorvane_hole& item = handle->items.emplace_back();
            Put(hole.entry, item.entry);
            Put(hole.axis, item.axis);
            item.tip_depth = hole.tipDepth;
            item.end = hole.end == MeshUtils::HoleEnd::Through ? SORVANE_HOLE_THROUGH
                       : hole.end == MeshUtils::HoleEnd::Flat  ? SORVANE_HOLE_FLAT
                                                               : SORVANE_HOLE_POINTED;
            item.is_counterbored = hole.isCounterbored ? 1 : 0;
            item.is_countersunk = hole.isCountersunk ? 1 : 0;
            item.first_step = static_cast<int>(handle->steps.size());
            item.step_count = static_cast<int>(hole.steps.size());
            for (const MeshUtils::HoleStep& step : hole.steps) {
                handle->steps.push_back(
                    {step.diameter, step.endDiameter, step.from, step.to, step.isCone ? 1 : 0});
            }
        }
        return Made(holes, std::move(handle));
    });
}

const sorvane_hole* sorvane_holes_items(const sorvane_holes* holes, size_t* count)
{
    return Elements(holes->items, count);
}

const sorvane_hole_step* sorvane_holes_steps(const sorvane_holes* holes, size_t* count)
{
    return Elements(holes->steps, count);
}

void sorvane_holes_free(sorvane_holes* holes) { delete holes; }

// --- regions
// --------------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_facet_clusters(const sorvane_mesh* mesh, double normal_tolerance,
                                           sorvane_clusters** clusters, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(clusters, "clusters");
        const MeshData& data = MeshOf(mesh);
        CheckNotNegative(normal_tolerance, "normal_tolerance");
        constexpr double kWeld = 1; // any value but 0: corners at one place are one
        auto handle = std::make_unique<sorvane_clusters>();
        for (const auto& cluster :
             MeshUtils::ClusterFacets(Mesh::SoupFromIndexedPoints(data), normal_tolerance, kWeld)) {
            sorvane_cluster& item = handle->items.emplace_back();
            Put(cluster.normal, item.normal);
            Put(cluster.centroid, item.centroid);
            item.area = cluster.area;
            AddList(handle->triangles, cluster.facets);
        }
        return Made(clusters, std::move(handle));
    });
}

const sorvane_cluster* sorvane_clusters_items(const sorvane_clusters* clusters, size_t* count)
{
    return Elements(clusters->items, count);
}

const sorvane_lists* sorvane_clusters_triangles(const sorvane_clusters* clusters)
{
    return &clusters->triangles;
}

void sorvane_clusters_free(sorvane_clusters* clusters) { delete clusters; }

sorvane_status sorvane_mesh_normal_groups(const sorvane_mesh* mesh, double resolution, int* groups,
                                          sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        const std::size_t triangles = data.indices.size() / 3;
        CheckArray(groups, triangles, "groups");
        CheckNotNegative(resolution, "resolution");
        const std::vector<int> found = MeshUtils::RepresentativeNormalGrouping(data, resolution);
        // Triangles on fewer than three points have no direction.
        std::fill(std::copy(found.begin(), found.end(), groups), groups + triangles, 0);
    });
}

// --- curvature
// ------------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_curvatures(const sorvane_mesh* mesh, double tolerance, double* greatest,
                                       double* least, double* normals, double* directions,
                                       double* areas, sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        CheckNotNegative(tolerance, "tolerance");
        auto found = MeshUtils::DiscreteCurvaturesAtNodes(data, tolerance);
        found.resize(data.points.size()); // a mesh without triangles has none
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (greatest != nullptr) {
                greatest[i] = found[i].maxCurvature;
            }
            if (least != nullptr) {
                least[i] = found[i].minCurvature;
            }
            if (normals != nullptr) {
                std::copy(found[i].normal.begin(), found[i].normal.end(), normals + 3 * i);
            }
            if (directions != nullptr) {
                std::copy(found[i].meanCurvatureNormal.begin(), found[i].meanCurvatureNormal.end(),
                          directions + 3 * i);
            }
            if (areas != nullptr) {
                areas[i] = found[i].area;
            }
        }
    });
}
