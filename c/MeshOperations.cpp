// Operations of the C interface that make one mesh of another: remeshing, decimation, subdivision,
// better triangles.

#include "Guard.h"
#include "Handles.h"

#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/Decimation_E.h>
#include <Sorvane/Remesh_E.h>
#include <Sorvane/Subdivision_E.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;

namespace SorvaneC {

namespace {

/// The library's tags have 8 bits, those of a mesh 64: the values in use are numbered, and come
/// back afterwards.
class TagNumbers {
public:
    TagNumbers(const sorvane_mesh& mesh, bool isKept)
    {
        if (!isKept || mesh.triangleTags.empty()) {
            return;
        }
        values_ = mesh.triangleTags;
        std::sort(values_.begin(), values_.end());
        values_.erase(std::unique(values_.begin(), values_.end()), values_.end());
        constexpr std::size_t kMost = 256;
        if (values_.size() > kMost) {
            BadArgument("the triangles of mesh have " + std::to_string(values_.size()) +
                        " different tags; no more than 256 can be kept");
        }
        numbers.reserve(mesh.triangleTags.size());
        for (const unsigned long long tag : mesh.triangleTags) {
            const auto place = std::lower_bound(values_.begin(), values_.end(), tag);
            numbers.push_back(static_cast<unsigned char>(place - values_.begin()));
        }
    }

    /// Gives the tags of the result back to it.
    void Restore(const std::vector<unsigned char>& result, sorvane_mesh& mesh) const
    {
        if (values_.empty()) {
            return;
        }
        mesh.triangleTags.reserve(result.size());
        for (const unsigned char number : result) {
            mesh.triangleTags.push_back(values_[number]);
        }
    }

    std::vector<unsigned char> numbers; ///< one for each triangle, or none

private:
    std::vector<unsigned long long> values_;
};

void CheckAngle(double angle, const char* name)
{
    if (!(angle >= 0)) {
        BadArgument(std::string(name) + " is " + Text(angle) +
                    "; it must not be negative");
    }
}

unsigned IterationsOf(int iterations)
{
    if (iterations < 0) {
        BadArgument("iterations is " + std::to_string(iterations) + "; it must not be negative");
    }
    return static_cast<unsigned>(iterations);
}

void CheckPositive(double value, const char* name)
{
    if (!(value > 0) || !std::isfinite(value)) {
        BadArgument(std::string(name) + " is " + Text(value) +
                    "; it must be positive and finite");
    }
}

void CheckLength(double length)
{
    if (!std::isfinite(length)) {
        BadArgument("length is " + Text(length) + "; it must be finite");
    }
}

/// A mesh that had triangles and lost them all, since none of them had a length to go by.
void CheckRemeshed(const MeshData& mesh, const MeshData& remeshed)
{
    if (!mesh.indices.empty() && remeshed.indices.empty() && !IsStopped()) {
        Failed("no triangle of the mesh has an area or a length to go by");
    }
}

} // namespace

} // namespace SorvaneC

using namespace SorvaneC;

// --- remeshing
// ----------------------------------------------------------------------------------------------------

void sorvane_remesh_options_init(sorvane_remesh_options* options)
{
    if (options != nullptr) {
        *options = {sizeof(*options), 0.0, 40.0, 10, 1, 1};
    }
}

sorvane_status sorvane_mesh_remesh(const sorvane_mesh* mesh, const sorvane_remesh_options* options,
                                   sorvane_mesh** remeshed, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(remeshed, "remeshed");
        const sorvane_mesh& given = Required(mesh, "mesh");
        const sorvane_remesh_options o = OptionsOf(options, sorvane_remesh_options_init);
        CheckLength(o.length);
        CheckAngle(o.crease_angle_degrees, "crease_angle_degrees");
        const unsigned iterations = IterationsOf(o.iterations);
        const TagNumbers tags(given, o.keep_tags != 0);
        auto handle = std::make_unique<sorvane_mesh>();
        std::vector<unsigned char> outTags;
        Mesh::IsotropicRemesh(given.mesh, tags.numbers, handle->mesh, outTags,
                              o.crease_angle_degrees, o.length, iterations, o.keep_boundary != 0);
        CheckRemeshed(given.mesh, handle->mesh);
        tags.Restore(outTags, *handle);
        return Made(remeshed, std::move(handle));
    });
}

void sorvane_adaptive_options_init(sorvane_adaptive_options* options)
{
    if (options != nullptr) {
        *options = {sizeof(*options), 0.01, 0.0, 1.0, 40.0, 10, 1, 1};
    }
}

sorvane_status sorvane_mesh_remesh_adaptive(const sorvane_mesh* mesh,
                                            const sorvane_adaptive_options* options,
                                            sorvane_mesh** remeshed, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(remeshed, "remeshed");
        const sorvane_mesh& given = Required(mesh, "mesh");
        const sorvane_adaptive_options o = OptionsOf(options, sorvane_adaptive_options_init);
        CheckPositive(o.chord_tolerance, "chord_tolerance");
        CheckPositive(o.curvature_exponent, "curvature_exponent");
        CheckLength(o.length);
        CheckAngle(o.crease_angle_degrees, "crease_angle_degrees");
        const unsigned iterations = IterationsOf(o.iterations);
        const TagNumbers tags(given, o.keep_tags != 0);
        auto handle = std::make_unique<sorvane_mesh>();
        std::vector<unsigned char> outTags;
        Mesh::AnisotropicRemesh(given.mesh, tags.numbers, handle->mesh, outTags,
                                o.crease_angle_degrees, o.length, o.curvature_exponent,
                                o.chord_tolerance, iterations, o.keep_boundary != 0);
        CheckRemeshed(given.mesh, handle->mesh);
        tags.Restore(outTags, *handle);
        return Made(remeshed, std::move(handle));
    });
}

sorvane_status sorvane_mesh_remove_stars(const sorvane_mesh* mesh, double max_angle_degrees,
                                         sorvane_mesh** cleared, size_t* removed,
                                         sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(cleared, "cleared");
        const MeshData& given = MeshOf(mesh);
        CheckAngle(max_angle_degrees, "max_angle_degrees");
        auto handle = std::make_unique<sorvane_mesh>();
        Mesh::RemoveTriangleStars(given, handle->mesh, max_angle_degrees);
        if (removed != nullptr) {
            // Each point that goes leaves one triangle in place of three.
            *removed = (given.indices.size() - handle->mesh.indices.size()) / 6;
        }
        return Made(cleared, std::move(handle));
    });
}

// --- decimation
// ---------------------------------------------------------------------------------------------------

void sorvane_decimate_options_init(sorvane_decimate_options* options)
{
    if (options != nullptr) {
        *options = {sizeof(*options), 0.0, 0.01, 40.0, SORVANE_DECIMATE_IN_BATCHES, 1};
    }
}

sorvane_status sorvane_mesh_decimate(const sorvane_mesh* mesh,
                                     const sorvane_decimate_options* options,
                                     sorvane_mesh** decimated, sorvane_decimation* report,
                                     sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(decimated, "decimated");
        const sorvane_mesh& given = Required(mesh, "mesh");
        const sorvane_decimate_options o = OptionsOf(options, sorvane_decimate_options_init);
        if (!(o.keep_percent >= 0 && o.keep_percent <= 100)) {
            BadArgument("keep_percent is " + Text(o.keep_percent) +
                        "; it must be in [0, 100]");
        }
        CheckTolerance(o.tolerance);
        CheckAngle(o.crease_angle_degrees, "crease_angle_degrees");
        if (o.method != SORVANE_DECIMATE_IN_BATCHES && o.method != SORVANE_DECIMATE_ONE_BY_ONE) {
            BadArgument("method is " + std::to_string(o.method) + "; there is no such method");
        }
        const TagNumbers tags(given, o.keep_tags != 0);
        auto handle = std::make_unique<sorvane_mesh>();
        std::vector<unsigned char> outTags;
        Mesh::DecimationReport done;
        if (o.method == SORVANE_DECIMATE_IN_BATCHES) {
            Mesh::DecimateInBatches(given.mesh, tags.numbers, handle->mesh, outTags,
                                    o.crease_angle_degrees, o.keep_percent, o.tolerance, done);
        } else {
            Mesh::DecimateMesh(given.mesh, tags.numbers, handle->mesh, outTags,
                               o.crease_angle_degrees, o.keep_percent, o.tolerance, true, done);
        }
        tags.Restore(outTags, *handle);
        if (report != nullptr) {
            *report = sorvane_decimation{done.initialTriangles, done.triangles,
                                         done.percentLeft,      done.greatestError,
                                         done.deviation,        static_cast<int>(done.stop),
                                         done.lockedEdges,      done.longEdges,
                                         done.deviatingEdges,   done.foldingEdges};
        }
        return Made(decimated, std::move(handle));
    });
}

// --- subdivision and better triangles
// -----------------------------------------------------------------------------

sorvane_status sorvane_mesh_subdivide(const sorvane_mesh* mesh, sorvane_subdivision method,
                                      int iterations, double crease_angle_degrees,
                                      sorvane_mesh** subdivided, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(subdivided, "subdivided");
        const MeshData& given = MeshOf(mesh);
        const int number = NumberOf(method);
        if (number != SORVANE_LOOP && number != SORVANE_SQRT3) {
            BadArgument("method is " + std::to_string(number) + "; there is no such method");
        }
        CheckAngle(crease_angle_degrees, "crease_angle_degrees");
        auto handle = std::make_unique<sorvane_mesh>();
        Mesh::SubdivideMesh(given, handle->mesh, crease_angle_degrees, IterationsOf(iterations),
                            static_cast<Mesh::SubdivisionMethod>(number));
        return Made(subdivided, std::move(handle));
    });
}

sorvane_status sorvane_mesh_refine(const sorvane_mesh* mesh, sorvane_refinement method,
                                   int iterations, sorvane_mesh** refined, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(refined, "refined");
        const sorvane_mesh& given = Required(mesh, "mesh");
        const int number = NumberOf(method);
        if (number < SORVANE_CENTROID || number > SORVANE_CENTROID_AND_MIDPOINTS) {
            BadArgument("method is " + std::to_string(number) + "; there is no such method");
        }
        auto handle = std::make_unique<sorvane_mesh>();
        Mesh::SimpleRefine(given.mesh, handle->mesh, static_cast<Mesh::SimpleRefineMethod>(number),
                           IterationsOf(iterations));
        // The parts of a triangle follow one another in its place: they are as many for each.
        if (!given.triangleTags.empty()) {
            const std::size_t parts = handle->mesh.indices.size() / given.mesh.indices.size();
            handle->triangleTags.reserve(parts * given.triangleTags.size());
            for (const unsigned long long tag : given.triangleTags) {
                handle->triangleTags.insert(handle->triangleTags.end(), parts, tag);
            }
        }
        return Made(refined, std::move(handle));
    });
}

sorvane_status sorvane_mesh_split_long_edges(const sorvane_mesh* mesh, double length, int at_middle,
                                             int iterations, sorvane_mesh** split,
                                             sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(split, "split");
        const MeshData& given = MeshOf(mesh);
        if (!(length > 0)) {
            BadArgument("length is " + Text(length) + "; it must be positive");
        }
        auto handle = std::make_unique<sorvane_mesh>();
        Mesh::SplitLongMeshEdges(given, handle->mesh, length, at_middle != 0,
                                 IterationsOf(iterations));
        return Made(split, std::move(handle));
    });
}

sorvane_status sorvane_mesh_improve(const sorvane_mesh* mesh, double crease_angle_degrees,
                                    double max_drift, sorvane_mesh** improved, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(improved, "improved");
        const MeshData& given = MeshOf(mesh);
        CheckAngle(crease_angle_degrees, "crease_angle_degrees");
        CheckAngle(max_drift, "max_drift");
        auto handle =
            NewMesh(MeshUtils::MaximizeAspectRatio(given, crease_angle_degrees, max_drift));
        return Made(improved, std::move(handle));
    });
}
