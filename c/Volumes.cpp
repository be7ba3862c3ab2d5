// Grids of signed distances of the C interface.

#include "Checks.h"
#include "VolumeSurface.h"

#include "sorvane_c/solids.h"

#include <Sorvane/VolumetricData_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cstdint>

using namespace SorvaneC;
namespace IsoSurface = Velk::Math::Sorvane::IsoSurface;
using Samples = IsoSurface::VolumetricData<IsoSurface::OrientedSample>;

struct sorvane_volume {
    sorvane_grid grid;
    Samples samples;
};

namespace {

static_assert(sizeof(IsoSurface::OrientedSample) == 4 * sizeof(double));

sorvane_grid GridOf(const sorvane_grid* given)
{
    Required(given, "grid");
    const sorvane_grid grid = OptionsOf(given, sorvane_grid_init);
    std::int64_t nodes = 1;
    for (int axis = 0; axis < 3; ++axis) {
        if (grid.nodes[axis] < 1) {
            BadArgument("grid has " + std::to_string(grid.nodes[axis]) +
                            " nodes on an axis; one is the least",
                        axis);
        }
        if (!std::isfinite(grid.origin[axis])) {
            BadArgument("origin of the grid is not finite", axis);
        }
        if (!(grid.spacing[axis] > 0 && std::isfinite(grid.spacing[axis]))) {
            BadArgument("spacing of the grid must be positive and finite", axis);
        }
        nodes *= grid.nodes[axis];
        if (nodes > std::numeric_limits<int>::max()) {
            BadArgument("grid has more than 2147483647 nodes");
        }
    }
    return grid;
}

std::unique_ptr<sorvane_volume> NewVolume(const sorvane_grid& grid)
{
    return std::unique_ptr<sorvane_volume>(
        new sorvane_volume{grid, Samples(static_cast<unsigned int>(grid.nodes[0]),
                                         static_cast<unsigned int>(grid.nodes[1]),
                                         static_cast<unsigned int>(grid.nodes[2]))});
}

bool IsMeasured(double value)
{
    constexpr double kNoData = 1e300; // fresh samples have the largest number there is
    return std::fabs(value) < kNoData;
}

/// Directions of the samples that have none, from the differences of values along the axes.
void AddDirections(sorvane_volume& volume)
{
    const auto samples = volume.samples.Samples();
    const auto dimensions = volume.samples.Indexer().GetDimensions();
    const auto steps = volume.samples.Indexer().GetSteps();
    const unsigned int stepOf[3] = {1, steps[0], steps[1]};
    std::size_t node = 0;
    for (unsigned int z = 0; z < dimensions[2]; ++z) {
        for (unsigned int y = 0; y < dimensions[1]; ++y) {
            for (unsigned int x = 0; x < dimensions[0]; ++x, ++node) {
                IsoSurface::OrientedSample& sample = samples[node];
                if (!(sample.direction == Vec3d{}) || !IsMeasured(sample.value)) {
                    continue;
                }
                const unsigned int place[3] = {x, y, z};
                Vec3d gradient;
                for (int axis = 0; axis < 3; ++axis) {
                    const bool hasBefore =
                        place[axis] > 0 && IsMeasured(samples[node - stepOf[axis]].value);
                    const bool hasAfter = place[axis] + 1 < dimensions[axis] &&
                                          IsMeasured(samples[node + stepOf[axis]].value);
                    if (hasBefore || hasAfter) {
                        const double before =
                            hasBefore ? samples[node - stepOf[axis]].value : sample.value;
                        const double after =
                            hasAfter ? samples[node + stepOf[axis]].value : sample.value;
                        gradient[axis] = (after - before) / (volume.grid.spacing[axis] *
                                                             (hasBefore && hasAfter ? 2 : 1));
                    }
                }
                sample.direction = Velk::Math::Vector::Normalized(gradient, 0.0);
            }
        }
    }
}

using SetOperation = Samples (*)(const Samples&, const Samples&);

sorvane_status Combine(const sorvane_volume* first, const sorvane_volume* second,
                       SetOperation operation, sorvane_volume** result, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        const sorvane_volume& a = Required(first, "first");
        const sorvane_volume& b = Required(second, "second");
        if (!std::equal(a.grid.nodes, a.grid.nodes + 3, b.grid.nodes) ||
            !std::equal(a.grid.origin, a.grid.origin + 3, b.grid.origin) ||
            !std::equal(a.grid.spacing, a.grid.spacing + 3, b.grid.spacing)) {
            BadArgument("the nodes of the two volumes don't lie at the same places");
        }
        return Made(result, std::unique_ptr<sorvane_volume>(
                                new sorvane_volume{a.grid, operation(a.samples, b.samples)}));
    });
}

} // namespace

void sorvane_grid_init(sorvane_grid* grid)
{
    if (grid != nullptr) {
        *grid = {sizeof(*grid), {2, 2, 2}, {0, 0, 0}, {1, 1, 1}};
    }
}

sorvane_status sorvane_volume_new(const sorvane_grid* grid, const double* values,
                                  size_t value_count, const double* directions,
                                  sorvane_volume** volume, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(volume, "volume");
        const sorvane_grid where = GridOf(grid);
        CheckArray(values, value_count, "values");
        const std::size_t nodes = static_cast<std::size_t>(where.nodes[0]) *
                                  static_cast<std::size_t>(where.nodes[1]) *
                                  static_cast<std::size_t>(where.nodes[2]);
        if (value_count != nodes) {
            BadArgument("there are " + std::to_string(value_count) + " values for the " +
                        std::to_string(nodes) + " nodes of the grid");
        }
        auto handle = NewVolume(where);
        const auto samples = handle->samples.Samples();
        for (std::size_t i = 0; i < nodes; ++i) {
            samples[i].value = values[i];
            if (directions != nullptr) {
                samples[i].direction =
                    Vec3d(directions[3 * i], directions[3 * i + 1], directions[3 * i + 2]);
            }
        }
        AddDirections(*handle);
        return Made(volume, std::move(handle));
    });
}

sorvane_status sorvane_volume_of_field(const sorvane_grid* grid, sorvane_field field, void* user,
                                       sorvane_volume** volume, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(volume, "volume");
        const sorvane_grid where = GridOf(grid);
        if (field == nullptr) {
            BadArgument("field is NULL");
        }
        auto handle = NewVolume(where);
        const auto samples = handle->samples.Samples();
        const std::size_t layer = handle->samples.Indexer().GetSteps()[1];
        std::vector<double> points(3 * layer);
        std::vector<double> values(layer);
        std::vector<double> directions(3 * layer);
        for (int z = 0; z < where.nodes[2]; ++z) {
            double* point = points.data();
            for (int y = 0; y < where.nodes[1]; ++y) {
                for (int x = 0; x < where.nodes[0]; ++x, point += 3) {
                    point[0] = where.origin[0] + x * where.spacing[0];
                    point[1] = where.origin[1] + y * where.spacing[1];
                    point[2] = where.origin[2] + z * where.spacing[2];
                }
            }
            std::fill(directions.begin(), directions.end(), 0.0);
            if (field(points.data(), layer, values.data(), directions.data(), user) == 0) {
                throw Failure{SORVANE_STOPPED, "stopped by the field"};
            }
            const std::size_t first = static_cast<std::size_t>(z) * layer;
            for (std::size_t i = 0; i < layer; ++i) {
                samples[first + i] = {values[i], Vec3d(directions[3 * i], directions[3 * i + 1],
                                                       directions[3 * i + 2])};
            }
        }
        AddDirections(*handle);
        return Made(volume, std::move(handle));
    });
}

void sorvane_volume_grid(const sorvane_volume* volume, sorvane_grid* grid)
{
    const std::size_t size = std::min(grid->size, sizeof(sorvane_grid));
    std::memcpy(grid, &volume->grid, size);
    grid->size = size;
}

const double* sorvane_volume_samples(const sorvane_volume* volume, size_t* count)
{
    const auto samples = volume->samples.Samples();
    if (count != nullptr) {
        *count = samples.size();
    }
    return &samples.front().value;
}

void sorvane_volume_free(sorvane_volume* volume) { delete volume; }

sorvane_status sorvane_volume_union(const sorvane_volume* first, const sorvane_volume* second,
                                    sorvane_volume** result, sorvane_error* error)
{
    return Combine(first, second, IsoSurface::Union, result, error);
}

sorvane_status sorvane_volume_intersection(const sorvane_volume* first,
                                           const sorvane_volume* second, sorvane_volume** result,
                                           sorvane_error* error)
{
    return Combine(first, second, IsoSurface::Intersection, result, error);
}

sorvane_status sorvane_volume_difference(const sorvane_volume* first, const sorvane_volume* second,
                                         sorvane_volume** result, sorvane_error* error)
{
    return Combine(first, second, IsoSurface::Difference, result, error);
}

sorvane_status sorvane_volume_surface(const sorvane_volume* volume, sorvane_mesh** surface,
                                      sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(surface, "surface");
        const sorvane_volume& given = Required(volume, "volume");
        return Made(
            surface,
            NewMesh(SurfaceOfVolume(
                given.samples,
                Vec3d(given.grid.origin[0], given.grid.origin[1], given.grid.origin[2]),
                Vec3d(given.grid.spacing[0], given.grid.spacing[1], given.grid.spacing[2]))));
    });
}
