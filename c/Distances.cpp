// Search trees, distances and crossings of the C interface.

#include "Checks.h"

#include "sorvane_c/distances.h"

#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <limits>

using namespace SorvaneC;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;
using TriangleTree = Velk::Math::Sorvane::Tree::QOFTriangleTree<3, double>;

struct sorvane_triangle_tree {
    MeshData mesh;
    TriangleTree tree;
};

struct sorvane_crossings {
    std::vector<double> points;
    std::vector<double> parameters;
    std::vector<int> triangles;
    std::vector<int> starts = {0};
};

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

void Put(const Vec3d& point, double* place) { std::copy(point.begin(), point.end(), place); }

void PutBound(const MeshUtils::HausdorffBound& bound, double& lower, double& upper, int& triangle,
              int& nearestTriangle, double* point, double* nearest)
{
    lower = bound.lower;
    upper = bound.upper;
    triangle = bound.triangle;
    nearestTriangle = bound.nearestTriangle;
    Put(bound.point, point);
    Put(bound.nearest, nearest);
}

} // namespace

// --- lists
// ----------------------------------------------------------------------------------------------------------

size_t sorvane_lists_count(const sorvane_lists* lists) { return lists->starts.size() - 1; }

const int* sorvane_lists_numbers(const sorvane_lists* lists, size_t* count)
{
    return Elements(lists->numbers, count);
}

const int* sorvane_lists_starts(const sorvane_lists* lists, size_t* count)
{
    return Elements(lists->starts, count);
}

void sorvane_lists_free(sorvane_lists* lists) { delete lists; }

// --- search tree
// ----------------------------------------------------------------------------------------------------

sorvane_status sorvane_triangle_tree_new(const sorvane_mesh* mesh, sorvane_triangle_tree** tree,
                                         sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tree, "tree");
        const MeshData& data = MeshOf(mesh);
        RequireTriangles(data, "mesh");
        return Made(tree, std::unique_ptr<sorvane_triangle_tree>(new sorvane_triangle_tree{
                              data, TriangleTree(data.points, data.indices)}));
    });
}

void sorvane_triangle_tree_free(sorvane_triangle_tree* tree) { delete tree; }

sorvane_status sorvane_triangle_tree_nearest(const sorvane_triangle_tree* tree,
                                             const double* points, size_t point_count,
                                             double radius, double* nearest, int* triangles,
                                             double* distances, sorvane_error* error)
{
    return Guarded(error, [&] {
        Required(tree, "tree");
        CheckNotNegative(radius, "radius");
        const std::vector<Vec3d> asked = PointsOf<3>(points, point_count, "points");
        const auto found = tree->tree.ClosestPoints(asked, radius, {});
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (nearest != nullptr) {
                Put(found[i].point, nearest + 3 * i);
            }
            if (triangles != nullptr) {
                triangles[i] = found[i].id;
            }
            if (distances != nullptr) {
                distances[i] = found[i].id < 0
                                   ? kInfinity
                                   : Velk::Math::Vector::Length(found[i].point - asked[i]);
            }
        }
    });
}

sorvane_status sorvane_triangle_tree_signed_distances(const sorvane_triangle_tree* tree,
                                                      const double* points, size_t point_count,
                                                      double* distances, sorvane_error* error)
{
    return Guarded(error, [&] {
        Required(tree, "tree");
        CheckArray(distances, point_count, "distances");
        const auto found =
            MeshUtils::SignedDistancesToMesh(tree->tree, tree->mesh.points, tree->mesh.indices,
                                             PointsOf<3>(points, point_count, "points"));
        std::copy(found.begin(), found.end(), distances);
    });
}

sorvane_status sorvane_triangle_tree_on_lines(const sorvane_triangle_tree* tree,
                                              const double* origins, const double* directions,
                                              size_t line_count, sorvane_lists** triangles,
                                              sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(triangles, "triangles");
        Required(tree, "tree");
        const std::vector<Vec3d> from = PointsOf<3>(origins, line_count, "origins");
        const std::vector<Vec3d> along = PointsOf<3>(directions, line_count, "directions");
        auto lists = std::make_unique<sorvane_lists>();
        for (std::size_t i = 0; i < line_count && !IsStopped(); ++i) {
            AddList(*lists, tree->tree.LineHits(from[i], along[i]));
        }
        return Made(triangles, std::move(lists));
    });
}

sorvane_status sorvane_triangle_tree_in_boxes(const sorvane_triangle_tree* tree,
                                              const double* lowest, const double* highest,
                                              size_t box_count, sorvane_lists** triangles,
                                              sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(triangles, "triangles");
        Required(tree, "tree");
        const std::vector<Vec3d> from = PointsOf<3>(lowest, box_count, "lowest");
        const std::vector<Vec3d> to = PointsOf<3>(highest, box_count, "highest");
        auto lists = std::make_unique<sorvane_lists>();
        for (std::size_t i = 0; i < box_count && !IsStopped(); ++i) {
            AddList(*lists, tree->tree.GetPossibleBoxCollisions({from[i], to[i]}));
        }
        return Made(triangles, std::move(lists));
    });
}

sorvane_status sorvane_mesh_project_vertically(const sorvane_mesh* mesh, const double* points,
                                               size_t point_count, double* projected,
                                               sorvane_error* error)
{
    return Guarded(error, [&] {
        CheckArray(projected, point_count, "projected");
        const MeshData& data = MeshOf(mesh);
        RequireTriangles(data, "mesh");
        const std::vector<Vec3d> moved = MeshUtils::ProjectCloudOnMesh(
            data.points, data.indices, PointsOf<3>(points, point_count, "points"), false);
        for (std::size_t i = 0; i < moved.size(); ++i) {
            Put(moved[i], projected + 3 * i);
            if (moved[i].z() == std::numeric_limits<double>::lowest()) {
                projected[3 * i + 2] = std::numeric_limits<double>::quiet_NaN();
            }
        }
    });
}

// --- lines and a mesh
// -----------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_crossings(const sorvane_mesh* mesh, const double* points,
                                      size_t point_count, const int* starts, size_t line_count,
                                      sorvane_crossings** crossings, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(crossings, "crossings");
        const auto found = MeshUtils::ClipPolyPointStreamAgainstMesh(
            MeshOf(mesh), LinesOf(points, point_count, starts, line_count), 0);
        auto handle = std::make_unique<sorvane_crossings>();
        for (const auto& line : found) {
            for (const MeshUtils::PointStreamClip& place : line) {
                handle->points.insert(handle->points.end(), place.point.begin(), place.point.end());
                handle->parameters.push_back(place.parameter);
                handle->triangles.push_back(place.facet);
            }
            if (handle->triangles.size() >
                static_cast<std::size_t>(std::numeric_limits<int>::max())) {
                throw std::length_error("crossings");
            }
            handle->starts.push_back(static_cast<int>(handle->triangles.size()));
        }
        return Made(crossings, std::move(handle));
    });
}

const double* sorvane_crossings_points(const sorvane_crossings* crossings, size_t* count)
{
    return Elements(crossings->points, count, 3);
}

const double* sorvane_crossings_parameters(const sorvane_crossings* crossings, size_t* count)
{
    return Elements(crossings->parameters, count);
}

const int* sorvane_crossings_triangles(const sorvane_crossings* crossings, size_t* count)
{
    return Elements(crossings->triangles, count);
}

const int* sorvane_crossings_starts(const sorvane_crossings* crossings, size_t* count)
{
    return Elements(crossings->starts, count);
}

void sorvane_crossings_free(sorvane_crossings* crossings) { delete crossings; }

// --- two meshes
// -----------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_hausdorff(const sorvane_mesh* first, const sorvane_mesh* second,
                                      sorvane_hausdorff* result, sorvane_error* error)
{
    return Guarded(error, [&] {
        Required(result, "result");
        const MeshData& a = MeshOf(first, "first");
        const MeshData& b = MeshOf(second, "second");
        RequireTriangles(a, "first");
        RequireTriangles(b, "second");
        const auto report = MeshUtils::HausdorffDistances(a.points, a.indices, b.points, b.indices);
        *result = {report.firstIndex, report.firstDistance, report.secondIndex,
                   report.secondDistance, std::max(report.firstDistance, report.secondDistance)};
    });
}

sorvane_status sorvane_mesh_hausdorff_bounds(const sorvane_mesh* first, const sorvane_mesh* second,
                                             double accuracy, sorvane_hausdorff_bounds* result,
                                             sorvane_error* error)
{
    return Guarded(error, [&] {
        sorvane_hausdorff_bounds& out = Required(result, "result");
        CheckNotNegative(accuracy, "accuracy");
        const MeshData& a = MeshOf(first, "first");
        const MeshData& b = MeshOf(second, "second");
        RequireTriangles(a, "first");
        RequireTriangles(b, "second");
        const auto bounds = MeshUtils::HausdorffBounds(a, b, accuracy);
        out.lower = bounds.lower;
        out.upper = bounds.upper;
        PutBound(bounds.first, out.first_lower, out.first_upper, out.first_triangle,
                 out.first_nearest_triangle, out.first_point, out.first_nearest);
        PutBound(bounds.second, out.second_lower, out.second_upper, out.second_triangle,
                 out.second_nearest_triangle, out.second_point, out.second_nearest);
    });
}
