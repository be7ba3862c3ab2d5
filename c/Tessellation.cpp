// Triangles of outlines and of points for the C interface.

#include "sorvane_c/tessellation.h"

#include "Guard.h"
#include "Handles.h"

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Sorvane/Tessellation_E.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace HalfEdge = Velk::Math::Sorvane::HalfEdge;

namespace SorvaneC {

namespace {

VecBase<3, double> InSpace(const VecBase<2, double>& point) { return {point[0], point[1], 0.0}; }
const VecBase<3, double>& InSpace(const VecBase<3, double>& point) { return point; }

/// The plane's mesh at z = 0; that of space as it is.
template <int D>
std::unique_ptr<sorvane_mesh> MeshInSpace(const std::vector<VecBase<D, double>>& points,
                                          std::vector<int>&& indices)
{
    MeshData mesh;
    mesh.points.reserve(points.size());
    for (const VecBase<D, double>& point : points) {
        mesh.points.push_back(InSpace(point));
    }
    mesh.indices = std::move(indices);
    return NewMesh(std::move(mesh));
}

template <int D>
std::vector<VecBase<D, double>> Finite(const double* points, std::size_t count, const char* name)
{
    std::vector<VecBase<D, double>> result = PointsOf<D>(points, count, name);
    CheckFinite(result, name);
    return result;
}

template <int D>
std::unique_ptr<sorvane_mesh> Polygon(const double* points, std::size_t count)
{
    const std::vector<VecBase<D, double>> outline = Finite<D>(points, count, "points");
    std::vector<int> triangles = Mesh::TessellateSimpleBoundary(outline);
    if (triangles.empty() && !IsStopped()) {
        Failed(count < 3 ? "an outline has three points at least"
                         : "the outline crosses or touches itself, or has no area");
    }
    return MeshInSpace(outline, std::move(triangles));
}

/// Number of points that the outlines have together.
std::size_t PointCount(const int* starts, std::size_t outlines)
{
    CheckArray(starts, outlines, "starts");
    if (starts == nullptr) {
        return 0;
    }
    if (starts[0] != 0) {
        BadIndex("starts begins with " + std::to_string(starts[0]) + " in place of 0", 0);
    }
    for (std::size_t i = 0; i < outlines; ++i) {
        if (starts[i + 1] < starts[i]) {
            BadIndex("starts falls from " + std::to_string(starts[i]) + " to " +
                         std::to_string(starts[i + 1]) + " at place " + std::to_string(i + 1),
                     static_cast<long long>(i + 1));
        }
    }
    return static_cast<std::size_t>(starts[outlines]);
}

template <int D>
std::unique_ptr<sorvane_mesh> Tessellation(const double* points, const int* starts,
                                           std::size_t outlineCount, const double* interior,
                                           std::size_t interiorCount, double tolerance)
{
    CheckTolerance(tolerance);
    const std::vector<VecBase<D, double>> all =
        Finite<D>(points, PointCount(starts, outlineCount), "points");
    const std::vector<VecBase<D, double>> inside = Finite<D>(interior, interiorCount, "interior");
    std::vector<std::vector<VecBase<D, double>>> outlines;
    for (std::size_t i = 0; i < outlineCount; ++i) {
        outlines.emplace_back(all.begin() + starts[i], all.begin() + starts[i + 1]);
    }
    Mesh::IndexedPointsBase<D, double> mesh =
        Mesh::TessellateFlatBoundaries(outlines, inside, tolerance);
    if (mesh.points.empty() && all.size() + inside.size() > 0 && !IsStopped()) {
        Failed(D == 3 ? "the points have no plane, or do not lie in that of the first outline"
                      : "the coordinates are too large, or of too different sizes");
    }
    return MeshInSpace(mesh.points, std::move(mesh.indices));
}

using Mesher = HalfEdge::DelaunayMesher<HalfEdge::DelaunayNode<double>, HalfEdge::DelaunayEdge,
                                        HalfEdge::DelaunayFacet>;

constexpr int kOuterNodes = 3; // the mesher's own, before those of the points

bool AreOnePoint(const VecBase<2, double>& a, const VecBase<2, double>& b)
{
    constexpr double kSamePlace = 1e-12; // what the mesher takes for no distance
    return std::abs(a[0] - b[0]) <= kSamePlace && std::abs(a[1] - b[1]) <= kSamePlace;
}

void Triangulate(Mesher& mesher)
{
    // Points that are all in one place have no outer triangle, and even the first one finds none.
    const auto isFirst = [&](const VecBase<2, double>& p) {
        return AreOnePoint(p, mesher.points[0]);
    };
    if (std::all_of(mesher.points.begin(), mesher.points.end(), isFirst)) {
        Failed("point 1 repeats another one", 1);
    }
    if (mesher.Triangulate() || IsStopped()) {
        return;
    }
    const long long placed = mesher.NodeCount() - kOuterNodes;
    if (placed < 0) {
        Failed("coordinates are beyond 1e150");
    }
    Failed("point " + std::to_string(placed) +
               " repeats another one, or can't be told from its neighbors",
           placed);
}

/// The points, those of a set smaller than 1 enlarged by a power of two to a size between 1 and 2.
///
/// Lengths that the mesher takes for nothing are those of sizes about 1. Multiples by a power of two
/// have the same triangles, and their bits.
std::vector<VecBase<2, double>> Enlarged(std::vector<VecBase<2, double>> points)
{
    constexpr int kMost = 400; // of the exponents of coordinates: below the mesher's limit
    double size = 0.0;
    double farthest = 0.0;
    for (int axis = 0; axis < 2; ++axis) {
        const auto [low, high] =
            std::minmax_element(points.begin(), points.end(), [axis](const auto& a, const auto& b) {
                return a[axis] < b[axis];
            });
        size = std::max(size, (*high)[axis] - (*low)[axis]);
        farthest = std::max({farthest, std::abs((*low)[axis]), std::abs((*high)[axis])});
    }
    if (!(size > 0.0 && size < 1.0)) {
        return points;
    }
    const int exponent = std::clamp(kMost - std::ilogb(farthest), 0, -std::ilogb(size));
    for (VecBase<2, double>& point : points) {
        for (int axis = 0; axis < 2; ++axis) {
            point[axis] = std::ldexp(point[axis], exponent);
        }
    }
    return points;
}

void InsertEdges(Mesher& mesher, const int* edges, std::size_t count)
{
    if (IsStopped()) {
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!mesher.InsertEdge(edges[2 * i] + kOuterNodes, edges[2 * i + 1] + kOuterNodes)) {
            Failed("edge " + std::to_string(i) + " runs through a third point",
                   static_cast<long long>(i));
        }
    }
    // An edge takes the place of one that it crosses.
    for (std::size_t i = 0; i < count; ++i) {
        if (mesher.FindEdge(edges[2 * i] + kOuterNodes, edges[2 * i + 1] + kOuterNodes) < 0) {
            Failed("edge " + std::to_string(i) + " is crossed by another edge",
                   static_cast<long long>(i));
        }
    }
}

} // namespace

} // namespace SorvaneC

using namespace SorvaneC;

sorvane_status sorvane_tessellate_polygon_2d(const double* points, size_t count,
                                             sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        return Made(mesh, Polygon<2>(points, count));
    });
}

sorvane_status sorvane_tessellate_polygon_3d(const double* points, size_t count,
                                             sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        return Made(mesh, Polygon<3>(points, count));
    });
}

sorvane_status sorvane_tessellate_2d(const double* points, const int* starts, size_t outline_count,
                                     const double* interior, size_t interior_count,
                                     double tolerance, sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        return Made(mesh, Tessellation<2>(points, starts, outline_count, interior, interior_count,
                                          tolerance));
    });
}

sorvane_status sorvane_tessellate_3d(const double* points, const int* starts, size_t outline_count,
                                     const double* interior, size_t interior_count,
                                     double tolerance, sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        return Made(mesh, Tessellation<3>(points, starts, outline_count, interior, interior_count,
                                          tolerance));
    });
}

sorvane_status sorvane_delaunay(const double* points, size_t count, const int* edges,
                                size_t edge_count, int inside_only, sorvane_mesh** mesh,
                                sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        CheckArray(edges, edge_count, "edges");
        std::vector<VecBase<2, double>> given = Finite<2>(points, count, "points");
        Mesher mesher;
        for (std::size_t i = 0; i < edge_count; ++i) {
            const int a = edges[2 * i];
            const int b = edges[2 * i + 1];
            if (a < 0 || b < 0 || static_cast<std::size_t>(a) >= count ||
                static_cast<std::size_t>(b) >= count || a == b) {
                BadIndex("edge " + std::to_string(i) + " runs from point " + std::to_string(a) +
                             " to " + std::to_string(b) + " of " + std::to_string(count),
                         static_cast<long long>(i));
            }
        }
        std::vector<int> triangles;
        if (count >= 3) {
            mesher.points = Enlarged(given);
            Triangulate(mesher);
            InsertEdges(mesher, edges, edge_count);
            std::vector<VecBase<2, double>> all;
            mesher.noConstraints = inside_only == 0;
            if (!IsStopped()) {
                mesher.ExtractMesh(all, triangles);
            }
        } else if (count == 2) {
            const std::vector<VecBase<2, double>> placed = Enlarged(given); // as for more of them
            if (AreOnePoint(placed[0], placed[1])) {
                Failed("point 1 repeats another one", 1);
            }
        }
        return Made(mesh, MeshInSpace(given, std::move(triangles)));
    });
}
