// Report, components and measures of meshes of the C interface.

#include "Guard.h"
#include "Handles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshMeasures_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MeshReport_E.h>
#include <Sorvane/Triangle_E.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <utility>

namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;

struct sorvane_mesh_report {
    sorvane_mesh_figures figures{};
    MeshUtils::MeshReport<double> report;
};

struct sorvane_components {
    std::vector<int> starts = {0};
    std::vector<int> triangles;
};

namespace SorvaneC {

namespace {

using Point = VecBase<3, double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::size_t TriangleCount(const MeshData& mesh) { return mesh.indices.size() / 3; }

Mesh::Triangle<3, double> CornersOf(const MeshData& mesh, std::size_t triangle)
{
    const auto corner = [&](std::size_t k) {
        return mesh.points[static_cast<std::size_t>(mesh.indices[3 * triangle + k])];
    };
    return {corner(0), corner(1), corner(2)};
}

/// What measures give for each triangle or point, into the caller's memory. The library answers for
/// a mesh that it counts as empty with nothing; `neutral` stands there.
template <class Value, class T>
void Deliver(const std::vector<Value>& values, T* out, std::size_t count, std::size_t size,
             T neutral, const char* name)
{
    CheckArray(out, count, name);
    const std::size_t found = std::min(values.size() * sizeof(Value) / sizeof(T), count * size);
    if (found > 0) {
        std::memcpy(static_cast<void*>(out), values.data(), found * sizeof(T));
    }
    std::fill(out + found, out + count * size, neutral);
}

/// The points that triangles use.
std::vector<char> UsedPoints(const MeshData& mesh)
{
    std::vector<char> isUsed(mesh.points.size(), 0);
    for (const int index : mesh.indices) {
        isUsed[static_cast<std::size_t>(index)] = 1;
    }
    return isUsed;
}

/// Number of chains that the boundary edges form: those of the open slots that are not at crowded
/// edges.
std::size_t ChainCount(const MeshData& welded, const std::vector<int>& boundarySlots)
{
    std::vector<int> above(welded.points.size(),
                           -1); // toward the chain's representative; -1: not on a boundary
    const auto top = [&](int point) {
        int& up = above[static_cast<std::size_t>(point)];
        if (up < 0) {
            up = point;
        }
        while (above[static_cast<std::size_t>(point)] != point) {
            int& next = above[static_cast<std::size_t>(point)];
            next = above[static_cast<std::size_t>(next)];
            point = next;
        }
        return point;
    };
    for (const int slot : boundarySlots) {
        const auto t = static_cast<std::size_t>(slot) / 3 * 3;
        const auto k = static_cast<std::size_t>(slot) % 3;
        const int a = top(welded.indices[t + k]);
        const int b = top(welded.indices[t + (k + 1) % 3]);
        above[static_cast<std::size_t>(a)] = b;
    }
    std::size_t count = 0;
    for (std::size_t p = 0; p < above.size(); ++p) {
        count += above[p] == static_cast<int>(p) ? 1 : 0;
    }
    return count;
}

/// The first slots of the edges of one triangle: those of the open ones that are not at crowded
/// edges.
std::vector<int> BoundarySlots(const MeshUtils::MeshReport<double>& report)
{
    std::vector<int> crowded = report.nonManifoldSlots;
    std::sort(crowded.begin(), crowded.end());
    std::vector<int> slots;
    std::set_difference(report.openSlots.begin(), report.openSlots.end(), crowded.begin(),
                        crowded.end(), std::back_inserter(slots));
    return slots;
}

sorvane_mesh_figures FiguresOf(const MeshUtils::MeshReport<double>& report, const MeshData& welded)
{
    sorvane_mesh_figures figures{};
    figures.triangles = TriangleCount(welded);
    figures.points = welded.points.size();
    figures.components = Mesh::ConnectedComponents(welded, Mesh::Connection::SharedEdge).size();
    figures.bodies = Mesh::ConnectedComponents(welded, Mesh::Connection::SharedPoint).size();
    figures.tolerance = report.tolerance;
    const auto box = Velk::Math::Sorvane::Bounding::BoxOfPoints(welded.points);
    const bool isEmpty = figures.triangles == 0;
    const MeshUtils::GapReport gaps = MeshUtils::CheckGaps(welded.points, welded.indices);
    for (int axis = 0; axis < 3; ++axis) {
        figures.low[axis] = isEmpty ? kNaN : box.min[axis];
        figures.high[axis] = isEmpty ? kNaN : box.max[axis];
        figures.centroid[axis] = report.centroid[axis];
        figures.gap_location[axis] = gaps.location[axis];
    }
    figures.area = isEmpty ? 0 : report.meanTriangleArea * static_cast<double>(figures.triangles);
    figures.mean_edge_length = report.meanEdgeLength;
    figures.mean_triangle_area = report.meanTriangleArea;
    figures.volume = report.volume;
    figures.closed = report.openSlots.empty() ? 1 : 0;
    const std::vector<int> boundary = BoundarySlots(report);
    figures.open_edges = boundary.size();
    figures.holes = ChainCount(welded, boundary);
    figures.crowded_edges = report.openSlots.size() - boundary.size();
    figures.gap = gaps.gap;
    figures.gap_invalid_mesh = gaps.invalidMesh ? 1 : 0;
    figures.sound = std::isfinite(report.meanEdgeLength) && report.openSlots.empty() &&
                            report.misorientedTriangles.empty() &&
                            report.degenerateTriangles.empty() && report.foldedTriangles.empty() &&
                            !(report.volume < 0)
                        ? 1
                        : 0;
    return figures;
}

} // namespace

} // namespace SorvaneC

using namespace SorvaneC;

// --- report
// -------------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_report_new(const sorvane_mesh* mesh, double tolerance,
                                       sorvane_mesh_report** report, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(report, "report");
        CheckTolerance(tolerance);
        const MeshData& given = MeshOf(mesh);
        auto handle = std::make_unique<sorvane_mesh_report>();
        // All triangles, also of a mesh of fewer than three points, which the library's conversion
        // takes for empty.
        Mesh::TriangleSoup<3, double> soup(TriangleCount(given));
        for (std::size_t t = 0; t < soup.size(); ++t) {
            soup[t] = CornersOf(given, t);
        }
        handle->report = MeshUtils::CheckMesh(soup, tolerance);
        if (!IsStopped()) {
            handle->figures =
                FiguresOf(handle->report, Mesh::IndexedPointsFromSoup(soup, true, tolerance));
        }
        return Made(report, std::move(handle));
    });
}

const sorvane_mesh_figures* sorvane_mesh_report_figures(const sorvane_mesh_report* report)
{
    return &report->figures;
}

const int* sorvane_mesh_report_open_slots(const sorvane_mesh_report* report, size_t* count)
{
    return Elements(report->report.openSlots, count);
}

const int* sorvane_mesh_report_non_manifold_slots(const sorvane_mesh_report* report, size_t* count)
{
    return Elements(report->report.nonManifoldSlots, count);
}

const int* sorvane_mesh_report_misoriented_triangles(const sorvane_mesh_report* report,
                                                     size_t* count)
{
    return Elements(report->report.misorientedTriangles, count);
}

const int* sorvane_mesh_report_degenerate_triangles(const sorvane_mesh_report* report,
                                                    size_t* count)
{
    return Elements(report->report.degenerateTriangles, count);
}

const int* sorvane_mesh_report_folded_triangles(const sorvane_mesh_report* report, size_t* count)
{
    return Elements(report->report.foldedTriangles, count);
}

void sorvane_mesh_report_free(sorvane_mesh_report* report) { delete report; }

// --- neighborhood and measures
// ------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_components(const sorvane_mesh* mesh, sorvane_connection connection,
                                       sorvane_components** components, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(components, "components");
        const int number = NumberOf(connection);
        if (number != SORVANE_SHARED_EDGE && number != SORVANE_SHARED_POINT) {
            BadArgument("connection is " + std::to_string(number) +
                        "; there is no such connection");
        }
        auto handle = std::make_unique<sorvane_components>();
        const Mesh::Connection kind = number == SORVANE_SHARED_EDGE ? Mesh::Connection::SharedEdge
                                                                    : Mesh::Connection::SharedPoint;
        for (const std::vector<int>& triangles : Mesh::ConnectedComponents(MeshOf(mesh), kind)) {
            handle->triangles.insert(handle->triangles.end(), triangles.begin(), triangles.end());
            handle->starts.push_back(static_cast<int>(handle->triangles.size()));
        }
        return Made(components, std::move(handle));
    });
}

size_t sorvane_components_count(const sorvane_components* components)
{
    return components->starts.size() - 1;
}

const int* sorvane_components_starts(const sorvane_components* components, size_t* count)
{
    return Elements(components->starts, count);
}

const int* sorvane_components_triangles(const sorvane_components* components, size_t* count)
{
    return Elements(components->triangles, count);
}

void sorvane_components_free(sorvane_components* components) { delete components; }

sorvane_status sorvane_mesh_neighbors(const sorvane_mesh* mesh, int* neighbors,
                                      sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        Deliver(Mesh::NeighborFacets(data), neighbors, TriangleCount(data), 3, -1, "neighbors");
    });
}

sorvane_status sorvane_mesh_crease_angles(const sorvane_mesh* mesh, double* angles,
                                          sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        Deliver(Mesh::CreaseAngles(data, true), angles, TriangleCount(data), 3, 0.0, "angles");
    });
}

sorvane_status sorvane_mesh_normals(const sorvane_mesh* mesh, double* normals, sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        Deliver(Mesh::Normals(data), normals, TriangleCount(data), 3, 0.0, "normals");
    });
}

sorvane_status sorvane_mesh_point_normals(const sorvane_mesh* mesh, double* normals,
                                          sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        Deliver(Mesh::AreaWeightedVertexNormals(data), normals, data.points.size(), 3, 0.0,
                "normals");
    });
}

sorvane_status sorvane_mesh_areas(const sorvane_mesh* mesh, double* areas, sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        Deliver(Mesh::Areas(data), areas, TriangleCount(data), 1, 0.0, "areas");
    });
}

sorvane_status sorvane_mesh_aspect_ratios(const sorvane_mesh* mesh, double* ratios,
                                          sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        CheckArray(ratios, TriangleCount(data), "ratios");
        for (std::size_t t = 0; t < TriangleCount(data); ++t) {
            const auto [a, b, c] = CornersOf(data, t);
            ratios[t] = Mesh::AspectRatio(a, b, c);
        }
    });
}

sorvane_status sorvane_mesh_measure(const sorvane_mesh* mesh, double* area, double* volume,
                                    sorvane_error* error)
{
    return Guarded(error, [&] {
        const Mesh::MeshMeasures measures = Mesh::MeasureMesh(MeshOf(mesh));
        if (area != nullptr) {
            *area = measures.area;
        }
        if (volume != nullptr) {
            *volume = measures.volume;
        }
    });
}

sorvane_status sorvane_mesh_centroid(const sorvane_mesh* mesh, double centroid[3],
                                     sorvane_error* error)
{
    return Guarded(error, [&] {
        const Mesh::MeshMeasures measures = Mesh::MeasureMesh(MeshOf(mesh));
        Required(centroid, "centroid");
        std::copy(measures.centroid.begin(), measures.centroid.end(), centroid);
    });
}

sorvane_status sorvane_mesh_box(const sorvane_mesh* mesh, double low[3], double high[3],
                                sorvane_error* error)
{
    return Guarded(error, [&] {
        const MeshData& data = MeshOf(mesh);
        Required(low, "low");
        Required(high, "high");
        if (data.indices.empty()) {
            Failed("the mesh has no triangles, and so no box");
        }
        const std::vector<char> isUsed = UsedPoints(data);
        Velk::Math::Sorvane::Bounding::AxisAlignedBoundingBox<3, double> box;
        for (std::size_t p = 0; p < data.points.size(); ++p) {
            if (isUsed[p] != 0) {
                CheckFinite(data.points[p], p, "mesh");
                box.Grow(data.points[p]);
            }
        }
        std::copy(box.min.begin(), box.min.end(), low);
        std::copy(box.max.begin(), box.max.end(), high);
    });
}
