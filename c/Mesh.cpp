// Meshes of the C interface.

#include "Guard.h"
#include "Handles.h"

#include <Sorvane/MeshFiles_E.h>

#include <utility>

namespace SorvaneC {

const MeshData& MeshOf(const sorvane_mesh* mesh, const char* name) { return Required(mesh, name).mesh; }

std::unique_ptr<sorvane_mesh> NewMesh(MeshData&& mesh)
{
    auto handle = std::make_unique<sorvane_mesh>();
    handle->mesh = std::move(mesh);
    return handle;
}

namespace {

void CheckTolerance(double tolerance)
{
    if (!(tolerance >= 0)) {
        BadArgument("tolerance is " + std::to_string(tolerance) + "; it must not be negative");
    }
}

} // namespace

} // namespace SorvaneC

using namespace SorvaneC;
namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;

sorvane_status sorvane_mesh_new(const double* points, size_t point_count, const int* triangles, size_t triangle_count,
                                sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        CheckArray(triangles, triangle_count, "triangles");
        MeshData data;
        data.points = PointsOf<3>(points, point_count, "points");
        const std::size_t indices = 3 * triangle_count;
        for (std::size_t i = 0; i < indices; ++i) {
            if (triangles[i] < 0 || static_cast<std::size_t>(triangles[i]) >= point_count) {
                BadIndex("triangle " + std::to_string(i / 3) + " names point " + std::to_string(triangles[i]) + " of " +
                             std::to_string(point_count),
                         static_cast<long long>(i / 3));
            }
        }
        if (triangle_count > 0) {
            data.indices.assign(triangles, triangles + indices);
        }
        return Made(mesh, NewMesh(std::move(data)));
    });
}

const double* sorvane_mesh_points(const sorvane_mesh* mesh, size_t* count)
{
    if (count != nullptr) {
        *count = mesh->mesh.points.size();
    }
    return mesh->mesh.points.empty() ? nullptr : mesh->mesh.points.front().data();
}

const int* sorvane_mesh_triangles(const sorvane_mesh* mesh, size_t* count)
{
    return Elements(mesh->mesh.indices, count, 3);
}

void sorvane_mesh_free(sorvane_mesh* mesh) { delete mesh; }

sorvane_status sorvane_mesh_read(const char* path, sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        auto handle = std::make_unique<sorvane_mesh>();
        const MeshUtils::MeshFileResult result = MeshUtils::ReadMesh(handle->mesh, &Required(path, "path"));
        if (!result && !IsStopped()) {
            throw Failure{SORVANE_FILE_ERROR, std::string(path) + ": " + MeshUtils::MeshFileText(result),
                          static_cast<long long>(result.place)};
        }
        return Made(mesh, std::move(handle));
    });
}

sorvane_status sorvane_mesh_weld(const sorvane_mesh* mesh, double tolerance, sorvane_mesh** welded,
                                 sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(welded, "welded");
        CheckTolerance(tolerance);
        auto handle = NewMesh(MeshData(MeshOf(mesh)));
        Mesh::FilterForUniqueness(handle->mesh, tolerance);
        return Made(welded, std::move(handle));
    });
}
