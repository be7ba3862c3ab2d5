// Imprint of lines and walks over a surface, of the C interface.

#include "Checks.h"

#include "sorvane_c/imprint.h"

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/MeshImprint_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <limits>
#include <mutex>

using namespace SorvaneC;
namespace Mesh = Velk::Math::Sorvane::Mesh;
namespace MeshUtils = Velk::Math::Sorvane::MeshUtils;

struct sorvane_imprint {
    sorvane_imprint(const MeshData& data, double tolerance) : imprint(data, tolerance) {}

    Mesh::MeshImprint imprint;
    sorvane_mesh mesh;
    std::vector<int> inside;
    sorvane_lines lines;
    bool hasSides = false;
};

struct sorvane_tracer {
    sorvane_tracer(const MeshData& data, double tolerance) : tracer(data, tolerance) {}

    mutable Mesh::MeshTracer tracer;
    mutable std::mutex mutex;
};

namespace {

using TriangleTree = Velk::Math::Sorvane::Tree::QOFTriangleTree<3, double>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Which of the points lie on the surface, within the tolerance.
std::vector<bool> AreNear(const MeshData& mesh, const std::vector<Vec3d>& points, double tolerance)
{
    const TriangleTree tree(mesh.points, mesh.indices);
    const auto nearest = tree.ClosestPoints(points, kInfinity, {});
    std::vector<bool> areNear(points.size(), false);
    for (std::size_t i = 0; i < nearest.size(); ++i) {
        areNear[i] = nearest[i].id >= 0 &&
                     Velk::Math::Vector::Length(nearest[i].point - points[i]) <= tolerance;
    }
    return areNear;
}

/// A line of so many steps could not be numbered.
void CheckSteps(const std::vector<std::vector<Vec3d>>& lines, double step)
{
    constexpr double kMostSteps = 1e9;
    for (std::size_t i = 0; i < lines.size() && step > 0; ++i) {
        double length = 0;
        for (std::size_t k = 1; k < lines[i].size(); ++k) {
            const double part = Velk::Math::Vector::Length(lines[i][k] - lines[i][k - 1]);
            length += part < kInfinity ? part : 0;
        }
        if (!(length / step < kMostSteps)) {
            BadArgument("step is too short for the length of line " + std::to_string(i),
                        static_cast<long long>(i));
        }
    }
}

} // namespace

// --- imprint
// --------------------------------------------------------------------------------------------------------

void sorvane_imprint_options_init(sorvane_imprint_options* options)
{
    if (options != nullptr) {
        *options = {sizeof(*options), 1e-6, 0};
    }
}

sorvane_status sorvane_mesh_imprint(const sorvane_mesh* mesh, const double* points,
                                    size_t point_count, const int* starts, size_t line_count,
                                    const int* closed, const sorvane_imprint_options* options,
                                    sorvane_imprint** imprint, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(imprint, "imprint");
        const MeshData& data = MeshOf(mesh);
        const auto how = OptionsOf(options, sorvane_imprint_options_init);
        CheckNotNegative(how.tolerance, "tolerance");
        auto lines = LinesOf(points, point_count, starts, line_count);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].size() < 3) {
                BadArgument("line " + std::to_string(i) + " has " +
                                std::to_string(lines[i].size()) + " points; three are needed",
                            static_cast<long long>(i));
            }
        }
        const std::vector<bool> areNear =
            AreNear(data, PointsOf<3>(points, point_count, "points"), how.tolerance);
        const auto far = std::find(areNear.begin(), areNear.end(), false);
        if (far != areNear.end() && how.skip_far_points == 0 && !IsStopped()) {
            Failed("point " + std::to_string(far - areNear.begin()) +
                       " lies farther from the surface than " + Text(how.tolerance),
                   far - areNear.begin());
        }
        auto handle = std::make_unique<sorvane_imprint>(data, how.tolerance);
        for (std::size_t i = 0; i < lines.size() && !IsStopped(); ++i) {
            const bool isClosed = closed == nullptr || closed[i] != 0;
            const auto from = areNear.begin() + starts[i];
            if (std::find(from, areNear.begin() + starts[i + 1], true) ==
                areNear.begin() + starts[i + 1]) {
                AddLine<3>(handle->lines, {},
                           isClosed); // the library would hand the line back as it is
                continue;
            }
            std::vector<Vec3d>& line = lines[i];
            handle->imprint.ImprintPath(line, isClosed, true);
            if (isClosed && line.size() > 1 && line.front() == line.back()) {
                line.pop_back();
            }
            AddLine(handle->lines, line, isClosed);
        }
        handle->hasSides = handle->imprint.PaintInsideOutside();
        std::vector<unsigned char> flags;
        handle->imprint.Export(handle->mesh.mesh, flags);
        handle->inside.reserve(flags.size());
        for (const unsigned char flag : flags) {
            handle->inside.push_back(flag == 0 ? 1 : 0);
        }
        return Made(imprint, std::move(handle));
    });
}

const sorvane_mesh* sorvane_imprint_mesh(const sorvane_imprint* imprint) { return &imprint->mesh; }

const int* sorvane_imprint_inside(const sorvane_imprint* imprint, size_t* count)
{
    return Elements(imprint->inside, count);
}

int sorvane_imprint_has_sides(const sorvane_imprint* imprint) { return imprint->hasSides ? 1 : 0; }

const sorvane_lines* sorvane_imprint_lines(const sorvane_imprint* imprint)
{
    return &imprint->lines;
}

sorvane_status sorvane_imprint_side(const sorvane_imprint* imprint, int inside, sorvane_mesh** mesh,
                                    sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(mesh, "mesh");
        Required(imprint, "imprint");
        MeshData side;
        imprint->imprint.Export(side, inside != 0);
        return Made(mesh, NewMesh(std::move(side)));
    });
}

void sorvane_imprint_free(sorvane_imprint* imprint) { delete imprint; }

sorvane_status sorvane_mesh_embed(const sorvane_mesh* mesh, const double* points,
                                  size_t point_count, const int* starts, size_t line_count,
                                  double repeat_tolerance, double step, sorvane_mesh** embedded,
                                  sorvane_lists** numbers, sorvane_error* error)
{
    return Guarded(error, [&] {
        if (numbers != nullptr) {
            *numbers = nullptr;
        }
        Result(embedded, "embedded");
        Result(numbers, "numbers");
        const MeshData& data = MeshOf(mesh);
        CheckNotNegative(repeat_tolerance, "repeat_tolerance");
        CheckNotNegative(step, "step");
        const auto lines = LinesOf(points, point_count, starts, line_count);
        CheckSteps(lines, step);
        RequireTriangles(data, "mesh");
        auto result = NewMesh(MeshData(data));
        auto found = MeshUtils::EmbedPolylines(result->mesh, lines, repeat_tolerance, step);
        found.resize(lines.size());
        auto lists = std::make_unique<sorvane_lists>();
        for (const std::vector<int>& list : found) {
            AddList(*lists, list);
        }
        return MadeTogether(Made(embedded, std::move(result)), Made(numbers, std::move(lists)));
    });
}

// --- walks over the surface
// -----------------------------------------------------------------------------------------

sorvane_status sorvane_tracer_new(const sorvane_mesh* mesh, double tolerance,
                                  sorvane_tracer** tracer, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tracer, "tracer");
        const MeshData& data = MeshOf(mesh);
        CheckNotNegative(tolerance, "tolerance");
        return Made(tracer, std::make_unique<sorvane_tracer>(data, tolerance));
    });
}

sorvane_status sorvane_tracer_walks(const sorvane_tracer* tracer, const double* starts,
                                    const double* directions, const double* lengths, size_t count,
                                    sorvane_lines** lines, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(lines, "lines");
        Required(tracer, "tracer");
        const std::vector<Vec3d> from = PointsOf<3>(starts, count, "starts");
        const std::vector<Vec3d> along = PointsOf<3>(directions, count, "directions");
        CheckArray(lengths, count, "lengths");
        for (std::size_t i = 0; i < count; ++i) {
            if (!(lengths[i] >= 0 && lengths[i] < kInfinity)) {
                BadArgument("length " + std::to_string(i) + " is negative or not finite",
                            static_cast<long long>(i));
            }
        }
        auto handle = std::make_unique<sorvane_lines>();
        const std::lock_guard lock(tracer->mutex);
        for (std::size_t i = 0; i < count && !IsStopped(); ++i) {
            AddLine(*handle, tracer->tracer.CollectPath(from[i], along[i], lengths[i]), false);
        }
        return Made(lines, std::move(handle));
    });
}

void sorvane_tracer_free(sorvane_tracer* tracer) { delete tracer; }
