// Meshes of the C interface: arrays, tags, files, welding and orientation.

#include "Guard.h"
#include "Handles.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MeshQueries_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

struct sorvane_bytes {
    std::vector<std::byte> bytes;
};

namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;

namespace SorvaneC {

const MeshData& MeshOf(const sorvane_mesh* mesh, const char* name)
{
    return Required(mesh, name).mesh;
}

std::unique_ptr<sorvane_mesh> NewMesh(MeshData&& mesh)
{
    auto handle = std::make_unique<sorvane_mesh>();
    handle->mesh = std::move(mesh);
    return handle;
}

void CheckTolerance(double tolerance)
{
    if (!(tolerance >= 0)) {
        BadArgument("tolerance is " + Text(tolerance) + "; it must not be negative");
    }
}

namespace {

using Point = VecBase<3, double>;
using Tags = std::vector<unsigned long long>;

std::size_t TriangleCount(const MeshData& mesh) { return mesh.indices.size() / 3; }

Tags TagsOf(const unsigned long long* tags, std::size_t count, std::size_t wanted, const char* name)
{
    CheckArray(tags, count, name);
    if (count != 0 && count != wanted) {
        BadArgument(std::string(name) + " has " + std::to_string(count) +
                    " elements; there must be " + std::to_string(wanted) + ", or none");
    }
    return count == 0 ? Tags() : Tags(tags, tags + count);
}

[[noreturn]] void FileFailed(const std::string& name, const MeshUtils::MeshFileResult& result)
{
    throw Failure{SORVANE_FILE_ERROR, name + ": " + MeshUtils::MeshFileText(result),
                  static_cast<long long>(result.place)};
}

/// The number of a form of files, which may be none when it is told elsewhere.
int FormOf(const sorvane_file_form& form, int least)
{
    const int number = NumberOf(form);
    if (number < least || number > SORVANE_FORM_TIPC) {
        BadArgument("form is " + std::to_string(number) + "; there is no such form");
    }
    return number;
}

/// Files of an empty name are the current folder to a path; here they are a mistake.
const char* PathOf(const char* path)
{
    if (Required(path, "path") == 0) {
        BadArgument("path is empty");
    }
    return path;
}

/// Triangles of a mesh with the points that they use, in the order of the mesh; `oldPoints` becomes
/// the numbers that those have there. `newNumber` is -1 for each point of the mesh, before and
/// after: parts one after the other cost what they have and not what the mesh has.
MeshData Part(const MeshData& mesh, const int* triangles, std::size_t count,
              std::vector<int>& newNumber, std::vector<std::size_t>& oldPoints)
{
    oldPoints.clear();
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto p = static_cast<std::size_t>(
                mesh.indices[3 * static_cast<std::size_t>(triangles[i]) + k]);
            if (newNumber[p] < 0) {
                newNumber[p] = 0;
                oldPoints.push_back(p);
            }
        }
    }
    std::sort(oldPoints.begin(), oldPoints.end());
    MeshData part;
    part.points.reserve(oldPoints.size());
    for (const std::size_t p : oldPoints) {
        newNumber[p] = static_cast<int>(part.points.size());
        part.points.push_back(mesh.points[p]);
    }
    part.indices.reserve(3 * count);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            const int old = mesh.indices[3 * static_cast<std::size_t>(triangles[i]) + k];
            part.indices.push_back(newNumber[static_cast<std::size_t>(old)]);
        }
    }
    for (const std::size_t p : oldPoints) {
        newNumber[p] = -1;
    }
    return part;
}

} // namespace

} // namespace SorvaneC

using namespace SorvaneC;

// --- meshes
// -------------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_new(const double* points, size_t point_count, const int* triangles,
                                size_t triangle_count, sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        CheckArray(triangles, triangle_count, "triangles");
        MeshData data;
        data.points = PointsOf<3>(points, point_count, "points");
        const std::size_t indices = 3 * triangle_count;
        for (std::size_t i = 0; i < indices; ++i) {
            if (triangles[i] < 0 || static_cast<std::size_t>(triangles[i]) >= point_count) {
                BadIndex("triangle " + std::to_string(i / 3) + " names point " +
                             std::to_string(triangles[i]) + " of " + std::to_string(point_count),
                         static_cast<long long>(i / 3));
            }
        }
        if (triangle_count > 0) {
            data.indices.assign(triangles, triangles + indices);
        }
        return Made(mesh, NewMesh(std::move(data)));
    });
}

sorvane_status sorvane_mesh_with_tags(const sorvane_mesh* mesh,
                                      const unsigned long long* point_tags, size_t point_tag_count,
                                      const unsigned long long* triangle_tags,
                                      size_t triangle_tag_count, sorvane_mesh** tagged,
                                      sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tagged, "tagged");
        const MeshData& data = MeshOf(mesh);
        auto handle = NewMesh(MeshData(data));
        handle->pointTags = TagsOf(point_tags, point_tag_count, data.points.size(), "point_tags");
        handle->triangleTags =
            TagsOf(triangle_tags, triangle_tag_count, TriangleCount(data), "triangle_tags");
        return Made(tagged, std::move(handle));
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

const unsigned long long* sorvane_mesh_point_tags(const sorvane_mesh* mesh, size_t* count)
{
    return Elements(mesh->pointTags, count);
}

const unsigned long long* sorvane_mesh_triangle_tags(const sorvane_mesh* mesh, size_t* count)
{
    return Elements(mesh->triangleTags, count);
}

void sorvane_mesh_free(sorvane_mesh* mesh) { delete mesh; }

sorvane_status sorvane_mesh_transformed(const sorvane_mesh* mesh, const double matrix[12],
                                        sorvane_mesh** transformed, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(transformed, "transformed");
        const double* const m = &Required(matrix, "matrix");
        Velk::Math::Transform::TransformBase<3> transform;
        for (int i = 0; i < 12; ++i) {
            if (!std::isfinite(m[i])) {
                BadArgument("matrix is not finite in place " + std::to_string(i), i);
            }
            transform(i / 4, i % 4) = m[i];
        }
        const sorvane_mesh& given = Required(mesh, "mesh");
        auto handle = std::make_unique<sorvane_mesh>();
        handle->mesh.points = transform * given.mesh.points;
        handle->mesh.indices = given.mesh.indices;
        handle->pointTags = given.pointTags;
        handle->triangleTags = given.triangleTags;
        const Point x(m[0], m[4], m[8]);
        const Point y(m[1], m[5], m[9]);
        const Point z(m[2], m[6], m[10]);
        if ((x ^ y) * z < 0) {
            for (std::size_t i = 0; i < handle->mesh.indices.size(); i += 3) {
                std::swap(handle->mesh.indices[i + 1], handle->mesh.indices[i + 2]);
            }
        }
        return Made(transformed, std::move(handle));
    });
}

sorvane_status sorvane_mesh_joined(const sorvane_mesh* const* meshes, size_t count,
                                   sorvane_mesh** joined, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(joined, "joined");
        CheckArray(meshes, count, "meshes");
        std::size_t points = 0;
        std::size_t indices = 0;
        bool hasPointTags = true;
        bool hasTriangleTags = true;
        for (std::size_t i = 0; i < count; ++i) {
            if (meshes[i] == nullptr) {
                BadArgument("mesh " + std::to_string(i) + " of meshes is NULL",
                            static_cast<long long>(i));
            }
            points += meshes[i]->mesh.points.size();
            indices += meshes[i]->mesh.indices.size();
            hasPointTags =
                hasPointTags && meshes[i]->pointTags.size() == meshes[i]->mesh.points.size();
            hasTriangleTags =
                hasTriangleTags && meshes[i]->triangleTags.size() == TriangleCount(meshes[i]->mesh);
        }
        constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());
        if (points > kMost || indices / 3 > kMost) {
            throw std::length_error("meshes");
        }
        auto handle = std::make_unique<sorvane_mesh>();
        MeshData& all = handle->mesh;
        all.points.reserve(points);
        all.indices.reserve(indices);
        for (std::size_t i = 0; i < count; ++i) {
            const sorvane_mesh& one = *meshes[i];
            const int first = static_cast<int>(all.points.size());
            all.points.insert(all.points.end(), one.mesh.points.begin(), one.mesh.points.end());
            for (const int index : one.mesh.indices) {
                all.indices.push_back(first + index);
            }
            if (hasPointTags) {
                handle->pointTags.insert(handle->pointTags.end(), one.pointTags.begin(),
                                         one.pointTags.end());
            }
            if (hasTriangleTags) {
                handle->triangleTags.insert(handle->triangleTags.end(), one.triangleTags.begin(),
                                            one.triangleTags.end());
            }
        }
        return Made(joined, std::move(handle));
    });
}

sorvane_status sorvane_mesh_part(const sorvane_mesh* mesh, const int* triangles, size_t count,
                                 sorvane_mesh** part, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(part, "part");
        const sorvane_mesh& given = Required(mesh, "mesh");
        CheckArray(triangles, count, "triangles");
        const std::size_t there = TriangleCount(given.mesh);
        for (std::size_t i = 0; i < count; ++i) {
            if (triangles[i] < 0 || static_cast<std::size_t>(triangles[i]) >= there) {
                BadIndex("place " + std::to_string(i) + " of triangles names triangle " +
                             std::to_string(triangles[i]) + " of " + std::to_string(there),
                         static_cast<long long>(i));
            }
        }
        std::vector<int> newNumber(given.mesh.points.size(), -1);
        std::vector<std::size_t> oldPoints;
        auto handle = NewMesh(Part(given.mesh, triangles, count, newNumber, oldPoints));
        if (!given.pointTags.empty()) {
            for (const std::size_t p : oldPoints) {
                handle->pointTags.push_back(given.pointTags[p]);
            }
        }
        if (!given.triangleTags.empty()) {
            for (std::size_t i = 0; i < count; ++i) {
                handle->triangleTags.push_back(
                    given.triangleTags[static_cast<std::size_t>(triangles[i])]);
            }
        }
        return Made(part, std::move(handle));
    });
}

// --- files
// --------------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_read(const char* path, sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        PathOf(path);
        auto handle = std::make_unique<sorvane_mesh>();
        const MeshUtils::MeshFileResult result =
            MeshUtils::ReadMesh(handle->mesh, handle->pointTags, handle->triangleTags, path);
        if (!result && !IsStopped()) {
            FileFailed(path, result);
        }
        handle->form = static_cast<sorvane_file_form>(result.form);
        return Made(mesh, std::move(handle));
    });
}

sorvane_status sorvane_mesh_read_bytes(const unsigned char* bytes, size_t count, const char* name,
                                       sorvane_mesh** mesh, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        if (bytes == nullptr && count > 0) {
            BadArgument("bytes is NULL");
        }
        auto handle = std::make_unique<sorvane_mesh>();
        const MeshUtils::MeshFileResult result =
            MeshUtils::ReadMesh(handle->mesh, handle->pointTags, handle->triangleTags,
                                std::as_bytes(std::span(bytes, count)));
        if (!result && !IsStopped()) {
            FileFailed(name != nullptr ? name : "bytes", result);
        }
        handle->form = static_cast<sorvane_file_form>(result.form);
        return Made(mesh, std::move(handle));
    });
}

sorvane_file_form sorvane_mesh_form(const sorvane_mesh* mesh) { return mesh->form; }

sorvane_status sorvane_mesh_write(const sorvane_mesh* mesh, const char* path,
                                  sorvane_file_form form, sorvane_error* error)
{
    return Guarded(error, [&] {
        const sorvane_mesh& given = Required(mesh, "mesh");
        PathOf(path);
        const int number = FormOf(form, SORVANE_FORM_UNKNOWN);
        std::string extension = std::filesystem::path(path).extension().string();
        std::transform(extension.begin(), extension.end(), extension.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        const bool isTipc =
            number == SORVANE_FORM_TIPC || (number == SORVANE_FORM_UNKNOWN && extension == ".tipc");
        MeshUtils::MeshFileResult result;
        if (isTipc) {
            result = MeshUtils::WriteMesh(given.mesh, given.pointTags, given.triangleTags, path);
        } else if (number == SORVANE_FORM_UNKNOWN) {
            result = MeshUtils::WriteMesh(given.mesh, path);
        } else {
            result = MeshUtils::WriteMesh(given.mesh, path,
                                          static_cast<MeshUtils::MeshFileForm>(number));
        }
        if (!result && !IsStopped()) {
            FileFailed(path, result);
        }
    });
}

sorvane_status sorvane_mesh_write_bytes(const sorvane_mesh* mesh, sorvane_file_form form,
                                        sorvane_bytes** bytes, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(bytes, "bytes");
        const sorvane_mesh& given = Required(mesh, "mesh");
        const int number = FormOf(form, SORVANE_FORM_ASCII_STL);
        auto handle = std::make_unique<sorvane_bytes>();
        const MeshUtils::MeshFileResult result =
            number == SORVANE_FORM_TIPC
                ? MeshUtils::WriteMesh(given.mesh, given.pointTags, given.triangleTags,
                                       handle->bytes)
                : MeshUtils::WriteMesh(given.mesh, handle->bytes,
                                       static_cast<MeshUtils::MeshFileForm>(number));
        if (!result && !IsStopped()) {
            FileFailed("mesh", result);
        }
        return Made(bytes, std::move(handle));
    });
}

const unsigned char* sorvane_bytes_data(const sorvane_bytes* bytes, size_t* count)
{
    return reinterpret_cast<const unsigned char*>(Elements(bytes->bytes, count));
}

void sorvane_bytes_free(sorvane_bytes* bytes) { delete bytes; }

// --- welding and orientation
// --------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_weld(const sorvane_mesh* mesh, double tolerance, sorvane_mesh** welded,
                                 sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(welded, "welded");
        CheckTolerance(tolerance);
        auto handle = NewMesh(MeshData(MeshOf(mesh)));
        Mesh::FilterForUniqueness(handle->mesh, tolerance);
        if (handle->mesh.indices.size() == mesh->mesh.indices.size()) {
            handle->triangleTags = mesh->triangleTags;
        }
        return Made(welded, std::move(handle));
    });
}

sorvane_status sorvane_mesh_match_normals(const sorvane_mesh* mesh, sorvane_mesh** matched,
                                          size_t* turned, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(matched, "matched");
        const sorvane_mesh& given = Required(mesh, "mesh");
        auto handle = NewMesh(MeshData(given.mesh));
        handle->pointTags = given.pointTags;
        handle->triangleTags = given.triangleTags;
        std::vector<int>& indices = handle->mesh.indices;
        std::size_t count = 0;
        std::vector<int> newNumber(given.mesh.points.size(), -1);
        std::vector<std::size_t> oldPoints;
        // The library's operation walks one component: each is handed to it alone.
        for (const std::vector<int>& triangles :
             Mesh::ConnectedComponents(given.mesh, Mesh::Connection::SharedEdge)) {
            if (IsStopped()) {
                break;
            }
            MeshData component =
                Part(given.mesh, triangles.data(), triangles.size(), newNumber, oldPoints);
            const std::vector<int> before = component.indices;
            if (!Mesh::MatchNormals(component)) {
                continue;
            }
            for (std::size_t i = 0; i < triangles.size(); ++i) {
                if (component.indices[3 * i + 1] != before[3 * i + 1]) {
                    const std::size_t place = 3 * static_cast<std::size_t>(triangles[i]);
                    std::swap(indices[place + 1], indices[place + 2]);
                    ++count;
                }
            }
        }
        if (turned != nullptr) {
            *turned = count;
        }
        return Made(matched, std::move(handle));
    });
}
