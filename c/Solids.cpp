// Swept volumes, cells, bodies from profiles and curves, and patches, of the C interface.

#include "Checks.h"

#include "sorvane_c/solids.h"

#include <Sorvane/LevelOfDetail_E.h>
#include <Sorvane/MaterialTree_E.h>
#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SweptVolume_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cstdint>

using namespace SorvaneC;
namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;
namespace Tree = Velk::Math::Sorvane::Tree;
using Velk::Math::Vec2d;

struct sorvane_sweep {
    MeshUtils::DirtySweptVolume sweep;
};

struct sorvane_cells {
    std::vector<int> depths;
    std::vector<long long> paths;
    std::vector<int> states;
};

namespace {

/// The last level of a tree: the depth of the cells that Morton codes name.
constexpr int FullDepth(int dimension) { return dimension == 2 ? 31 : 21; }

void CheckDimension(int dimension)
{
    if (dimension != 2 && dimension != 3) {
        BadArgument("dimension is " + std::to_string(dimension) + "; it must be 2 or 3");
    }
}

void CheckPath(int dimension, int depth, long long path, std::size_t number)
{
    const int bits = dimension * depth;
    if (path < 0 || (bits < 63 && path >= 1LL << bits)) {
        BadIndex("path " + std::to_string(path) + " of cell " + std::to_string(number) +
                     " is none of depth " + std::to_string(depth),
                 static_cast<long long>(number));
    }
}

template <int D>
void PutPaths(const double* points, std::size_t count, int depth, long long* paths)
{
    const auto asked = PointsOf<D>(points, count, "points");
    for (std::size_t i = 0; i < count; ++i) {
        for (const double coordinate : asked[i]) {
            if (!std::isfinite(coordinate)) {
                BadArgument("point " + std::to_string(i) + " has a coordinate that is not finite",
                            static_cast<long long>(i));
            }
        }
        paths[i] = static_cast<long long>(Tree::QOFAddress<D>::AtPoint(asked[i]).path >>
                                          D * (FullDepth(D) - depth));
    }
}

template <int D>
void FillCells(const int* depths, const long long* paths, std::size_t count, bool leavesOnly,
               sorvane_cells& cells)
{
    std::vector<Tree::QOFAddress<D>> given(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (depths[i] < 0 || depths[i] >= FullDepth(D)) {
            BadIndex("depth " + std::to_string(depths[i]) + " of cell " + std::to_string(i) +
                         " is not between 0 and " + std::to_string(FullDepth(D) - 1),
                     static_cast<long long>(i));
        }
        CheckPath(D, depths[i], paths[i], i);
        given[i] = {static_cast<unsigned int>(depths[i]),
                    static_cast<unsigned long long>(paths[i])};
    }
    for (const auto& node : Tree::MaterialTree::SolidVoxelizationFromLeaves(given, leavesOnly)) {
        cells.depths.push_back(static_cast<int>(node.address.depth));
        cells.paths.push_back(static_cast<long long>(node.address.path));
        cells.states.push_back(static_cast<int>(node.state));
    }
}

template <int D>
void CheckFinitePoints(const double* points, std::size_t count, const char* name)
{
    CheckArray(points, count, name);
    for (std::size_t i = 0; i < D * count; ++i) {
        if (!std::isfinite(points[i])) {
            BadArgument(std::string("point ") + std::to_string(i / D) + " of " + name +
                            " has a coordinate that is not finite",
                        static_cast<long long>(i / D));
        }
    }
}

/// The points without those that repeat the one before, the last one counting as before the first.
template <int D>
std::vector<Velk::Math::VecBase<D, double>>
WithoutRepeats(std::vector<Velk::Math::VecBase<D, double>> points)
{
    points.erase(std::unique(points.begin(), points.end()), points.end());
    while (points.size() > 1 && points.front() == points.back()) {
        points.pop_back();
    }
    return points;
}

double SignedArea(const std::vector<Vec2d>& profile)
{
    double doubled = 0;
    for (std::size_t i = 2; i < profile.size(); ++i) {
        const Vec2d a = profile[i - 1] - profile[0];
        const Vec2d b = profile[i] - profile[0];
        doubled += a.x() * b.y() - a.y() * b.x();
    }
    return doubled / 2;
}

MeshData Flat(const Mesh::IndexedPointsBase<2, double>& mesh)
{
    MeshData flat;
    flat.points.reserve(mesh.points.size());
    for (const Vec2d& point : mesh.points) {
        flat.points.emplace_back(point.x(), point.y(), 0.0);
    }
    flat.indices = mesh.indices;
    return flat;
}

/// The mesh without triangles that name a point twice and without points of no triangle.
MeshData Tidied(const std::vector<Vec3d>& points, const std::vector<int>& indices)
{
    MeshData tidy;
    std::vector<int> numbers(points.size(), -1);
    for (std::size_t t = 0; t + 2 < indices.size(); t += 3) {
        if (indices[t] == indices[t + 1] || indices[t + 1] == indices[t + 2] ||
            indices[t + 2] == indices[t]) {
            continue;
        }
        for (std::size_t k = t; k < t + 3; ++k) {
            int& number = numbers[static_cast<std::size_t>(indices[k])];
            if (number < 0) {
                number = static_cast<int>(tidy.points.size());
                tidy.points.push_back(points[static_cast<std::size_t>(indices[k])]);
            }
            tidy.indices.push_back(number);
        }
    }
    return tidy;
}

} // namespace

// --- swept volumes
// --------------------------------------------------------------------------------------------------

sorvane_status sorvane_sweep_new(const sorvane_mesh* body, sorvane_sweep** sweep,
                                 sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(sweep, "sweep");
        const MeshData& data = MeshOf(body, "body");
        auto handle =
            std::unique_ptr<sorvane_sweep>(new sorvane_sweep{MeshUtils::DirtySweptVolume(data)});
        // A body without an edge of two triangles leaves nothing wherever it stands.
        if (MeshUtils::DirtySweptVolume(handle->sweep)({Vec3d()}).indices.empty() && !IsStopped()) {
            Failed("the body has no edge of two triangles: weld it first");
        }
        return Made(sweep, std::move(handle));
    });
}

sorvane_status sorvane_sweep_along(const sorvane_sweep* sweep, const double* path,
                                   size_t point_count, sorvane_mesh** shell, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(shell, "shell");
        // A call changes the object, so that each has one of its own.
        MeshUtils::DirtySweptVolume body = Required(sweep, "sweep").sweep;
        return Made(shell, NewMesh(body(PointsOf<3>(path, point_count, "path"))));
    });
}

void sorvane_sweep_free(sorvane_sweep* sweep) { delete sweep; }

// --- cells
// ----------------------------------------------------------------------------------------------------------

sorvane_status sorvane_cell_paths(int dimension, const double* points, size_t point_count,
                                  int depth, long long* paths, sorvane_error* error)
{
    return Guarded(error, [&] {
        CheckDimension(dimension);
        if (depth < 0 || depth > FullDepth(dimension)) {
            BadArgument("depth is " + std::to_string(depth) + "; it must lie between 0 and " +
                        std::to_string(FullDepth(dimension)));
        }
        CheckArray(paths, point_count, "paths");
        if (dimension == 2) {
            PutPaths<2>(points, point_count, depth, paths);
        } else {
            PutPaths<3>(points, point_count, depth, paths);
        }
    });
}

sorvane_status sorvane_solid_cells(int dimension, const int* depths, const long long* paths,
                                   size_t cell_count, int leaves_only, sorvane_cells** cells,
                                   sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(cells, "cells");
        CheckDimension(dimension);
        CheckArray(depths, cell_count, "depths");
        CheckArray(paths, cell_count, "paths");
        auto handle = std::make_unique<sorvane_cells>();
        if (dimension == 2) {
            FillCells<2>(depths, paths, cell_count, leaves_only != 0, *handle);
        } else {
            FillCells<3>(depths, paths, cell_count, leaves_only != 0, *handle);
        }
        return Made(cells, std::move(handle));
    });
}

const int* sorvane_cells_depths(const sorvane_cells* cells, size_t* count)
{
    return Elements(cells->depths, count);
}

const long long* sorvane_cells_paths(const sorvane_cells* cells, size_t* count)
{
    return Elements(cells->paths, count);
}

const int* sorvane_cells_states(const sorvane_cells* cells, size_t* count)
{
    return Elements(cells->states, count);
}

void sorvane_cells_free(sorvane_cells* cells) { delete cells; }

sorvane_status sorvane_cells_surface(const long long* paths, size_t cell_count, int depth,
                                     const double* scale, const double* offset,
                                     sorvane_mesh** surface, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(surface, "surface");
        CheckArray(paths, cell_count, "paths");
        if (depth < 0 || depth > FullDepth(3)) {
            BadArgument("depth is " + std::to_string(depth) + "; it must lie between 0 and 21");
        }
        const Vec3d size = FiniteOf(scale, "scale");
        const Vec3d low = FiniteOf(offset, "offset");
        // Each cell may bring eight corners, and all of them are numbered.
        if (cell_count > static_cast<std::size_t>(std::numeric_limits<int>::max()) / 8) {
            throw std::length_error("cells");
        }
        std::vector<unsigned long long> codes(cell_count);
        for (std::size_t i = 0; i < cell_count; ++i) {
            CheckPath(3, depth, paths[i], i);
            codes[i] = static_cast<unsigned long long>(paths[i]) << 3 * (FullDepth(3) - depth);
        }
        MeshData mesh;
        Tree::BuildVoxelMesh(codes, size, low, static_cast<unsigned int>(depth), mesh.points,
                             mesh.indices);
        return Made(surface, NewMesh(std::move(mesh)));
    });
}

// --- bodies from profiles and curves
// --------------------------------------------------------------------------------

sorvane_status sorvane_mesh_extrude(const double* profile, size_t point_count, double bottom,
                                    double top, int slices, sorvane_mesh** mesh,
                                    sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        CheckFinitePoints<2>(profile, point_count, "profile");
        if (!std::isfinite(bottom) || !std::isfinite(top) || bottom == top) {
            BadArgument("bottom and top must be finite and differ");
        }
        if (slices < 1) {
            BadArgument("slices is " + std::to_string(slices) + "; it must be 1 at least");
        }
        auto outline = WithoutRepeats(PointsOf<2>(profile, point_count, "profile"));
        const double area = SignedArea(outline);
        if (outline.size() < 3 || !(std::fabs(area) > 0)) {
            Failed("the profile bounds no area");
        }
        if (area < 0) {
            std::reverse(outline.begin(), outline.end());
        }
        outline.push_back(outline.front());
        const double low = std::min(bottom, top);
        const double high = std::max(bottom, top);
        MeshData body = MeshUtils::CreateExtrudedBodyFromProfile(outline, low, high,
                                                                 static_cast<unsigned int>(slices));
        // The uppermost ring of the walls may miss the height by rounding; its points are to be
        // those of the cap.
        const double rounding =
            16 * std::numeric_limits<double>::epsilon() * std::max(std::fabs(low), std::fabs(high));
        for (Vec3d& point : body.points) {
            if (std::fabs(point.z() - high) <= rounding) {
                point[2] = high;
            }
        }
        Mesh::FilterForUniqueness(body, 0.0);
        if (!IsStopped() && (body.indices.empty() || !Mesh::BoundaryEdges(body).empty())) {
            Failed("the profile crosses itself or bounds no area");
        }
        return Made(mesh, NewMesh(std::move(body)));
    });
}

sorvane_status sorvane_mesh_revolve(const double* profile, size_t point_count,
                                    const double* axis_point, const double* axis_direction,
                                    double tolerance, sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        CheckFinitePoints<3>(profile, point_count, "profile");
        const Vec3d origin = FiniteOf(axis_point, "axis_point");
        const Vec3d axis =
            Velk::Math::Vector::Normalized(DirectionOf(axis_direction, "axis_direction"), 0.0);
        if (!(tolerance > 0 && std::isfinite(tolerance))) {
            BadArgument("tolerance is " + Text(tolerance) +
                        "; it must be positive and finite");
        }
        // About an axis through the origin, where the rings are turned about it and nothing else.
        std::vector<Vec3d> points = PointsOf<3>(profile, point_count, "profile");
        std::vector<bool> isOnAxis;
        double extent = 0;
        for (Vec3d& point : points) {
            point = point - origin;
            extent = std::max(extent, Velk::Math::Vector::Length(point));
        }
        constexpr double kOnAxis = 2e-15; // of the extent, for what rounding leaves
        for (const Vec3d& point : points) {
            isOnAxis.push_back(Velk::Math::Vector::Length(point - axis * (point * axis)) <=
                               kOnAxis * extent);
        }
        const auto turned = Velk::Math::Sorvane::RevolvedPolylineAroundAxis<double, void>(
            Vec3d(), axis, points, {{0, static_cast<int>(point_count) - 1}}, tolerance);
        if (point_count > 0 && turned.points.empty() && !IsStopped()) {
            Failed("tolerance leaves no step to turn by");
        }
        std::vector<int> indices;
        indices.reserve(3 * turned.triangles.size());
        for (const auto& triangle : turned.triangles) {
            for (const int index : triangle.indices) {
                const std::size_t place = static_cast<std::size_t>(index) % points.size();
                indices.push_back(isOnAxis[place] ? static_cast<int>(place) : index);
            }
        }
        MeshData body = Tidied(turned.points, indices);
        for (Vec3d& point : body.points) {
            point = point + origin;
        }
        return Made(mesh, NewMesh(std::move(body)));
    });
}

sorvane_status sorvane_mesh_patch(const double* curve, size_t point_count, sorvane_mesh** mesh,
                                  sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        CheckFinitePoints<3>(curve, point_count, "curve");
        auto rim = WithoutRepeats(PointsOf<3>(curve, point_count, "curve"));
        if (rim.size() < 3) {
            Failed("the curve has fewer than three points");
        }
        rim.push_back(rim.front());
        MeshData patch = MeshUtils::TessellatePointStream(rim);
        if (patch.indices.empty() && !IsStopped()) {
            Failed("the curve cannot be laid out in a plane");
        }
        return Made(mesh, NewMesh(std::move(patch)));
    });
}

// --- patches
// --------------------------------------------------------------------------------------------------------

int sorvane_patch_node_count(int level)
{
    return level >= 0 && level < static_cast<int>(Mesh::LOD::kLevelCount)
               ? static_cast<int>(Mesh::LOD::NodeCount(static_cast<unsigned int>(level)))
               : 0;
}

sorvane_status sorvane_patch_mesh(int level, const int* inside, size_t inside_count, int style,
                                  int part, sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        using Mesh::LOD::NodeMask;
        Result(mesh, "mesh");
        CheckArray(inside, inside_count, "inside");
        const int nodes = sorvane_patch_node_count(level);
        if (nodes == 0) {
            BadArgument("level is " + std::to_string(level) + "; it must lie between 0 and 7");
        }
        if (inside_count != static_cast<std::size_t>(nodes)) {
            BadArgument("inside has " + std::to_string(inside_count) + " entries; level " +
                        std::to_string(level) + " has " + std::to_string(nodes) + " nodes");
        }
        if (style < 0 || style > SORVANE_PATCH_CENTROIDS_AND_MIDPOINTS) {
            BadArgument("style is " + std::to_string(style) + "; it must lie between 0 and 2");
        }
        std::vector<bool> mask(inside_count);
        std::transform(inside, inside + inside_count, mask.begin(),
                       [](int node) { return node != 0; });
        const NodeMask nodeMask(static_cast<unsigned int>(level), mask);
        const auto how = static_cast<NodeMask::TessellationStyle>(style);
        switch (part) {
        case SORVANE_PATCH_WHOLE:
            return Made(mesh, NewMesh(Flat(nodeMask.TessellateAll(how))));
        case SORVANE_PATCH_INSIDE:
            return Made(mesh, NewMesh(Flat(nodeMask.Tessellate(how).inside)));
        case SORVANE_PATCH_OUTSIDE:
            return Made(mesh, NewMesh(Flat(nodeMask.Tessellate(how).outside)));
        case SORVANE_PATCH_CONFLICTS:
            return Made(mesh, NewMesh(Flat(nodeMask.TessellateConflicts())));
        default:
            BadArgument("part is " + std::to_string(part) + "; it must lie between 0 and 3");
        }
    });
}
