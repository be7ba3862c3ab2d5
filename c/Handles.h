// What stands behind the opaque handles that several files of the C interface share.
#pragma once

#include "Guard.h"
#include "sorvane_c/core.h"
#include "sorvane_c/mesh.h"

#include <Sorvane/IndexedMesh_E.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

struct sorvane_mesh {
    // Always with subscripts in range: every operation relies on it.
    Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
    // One for each point, and one for each triangle, or none.
    std::vector<unsigned long long> pointTags;
    std::vector<unsigned long long> triangleTags;
    sorvane_file_form form = SORVANE_FORM_UNKNOWN;
};

struct sorvane_lines {
    int dimension = 3;
    std::vector<double> points;
    std::vector<int> starts = {0};
    std::vector<int> closed;
};

namespace SorvaneC {

using Velk::Math::VecBase;
using MeshData = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;

/// Copies of the caller's points. `name` is what messages call the array.
template <int D>
std::vector<VecBase<D, double>> PointsOf(const double* points, std::size_t count, const char* name);

/// `mesh`, which may not be NULL.
const MeshData& MeshOf(const sorvane_mesh* mesh, const char* name = "mesh");

std::unique_ptr<sorvane_mesh> NewMesh(MeshData&& mesh);

/// Checks that a point is finite: `number` is what the error's index becomes.
template <int D>
void CheckFinite(const VecBase<D, double>& point, std::size_t number, const char* name)
{
    for (const double coordinate : point) {
        if (!std::isfinite(coordinate)) {
            BadArgument(std::string(name) + ": point " + std::to_string(number) + " is not finite",
                        static_cast<long long>(number));
        }
    }
}

/// Checks that all points are finite.
template <int D> void CheckFinite(const std::vector<VecBase<D, double>>& points, const char* name)
{
    for (std::size_t i = 0; i < points.size(); ++i) {
        CheckFinite(points[i], i, name);
    }
}

/// `tolerance` may be anything from 0 on, infinity too.
void CheckTolerance(double tolerance);

/// Adds a line. Throws a length error beyond 2^31 - 1 points.
template <int D>
void AddLine(sorvane_lines& lines, const std::vector<VecBase<D, double>>& points, bool isClosed);

extern template std::vector<VecBase<2, double>> PointsOf(const double*, std::size_t, const char*);
extern template std::vector<VecBase<3, double>> PointsOf(const double*, std::size_t, const char*);
extern template void AddLine(sorvane_lines&, const std::vector<VecBase<2, double>>&, bool);
extern template void AddLine(sorvane_lines&, const std::vector<VecBase<3, double>>&, bool);

} // namespace SorvaneC
