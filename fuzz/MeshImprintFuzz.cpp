// Arbitrary triangles under arbitrary paths: no crash, no hang, and what holds for any input: no
// edge of more than two triangles, no wrong subscript, a flag for each triangle.
//
// Layout of an input: a byte of flags (1 closed paths, 2 collect, 4 a tolerance of 1/4 instead of
// 1e-9, 8 a straightest line instead of paths), a byte for the number of points, the points (see
// `Fuzz::Input`), a byte for the number of triangles, their indices of one byte, which needn't be
// valid; then points of paths, six to a path: a byte for a triangle and two for its weights, or,
// where the first is negative, a point of its own in two more.

#include <Sorvane/MeshImprint_E.h>

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Fuzz::Input;
using Fuzz::Require;
using IndexedMesh = Mesh::IndexedPointsBase<3, double>;

Vec3d ReadPoint(Input& input)
{
    const double x = input.Coordinate(false);
    const double y = input.Coordinate(false);
    return {x, y, input.Coordinate(false)};
}

Vec3d ReadPathPoint(Input& input, const IndexedMesh& mesh)
{
    const int triangle = input.Byte();
    const double u = input.Byte() / 128.0;
    const double v = input.Byte() / 128.0;
    if (triangle < 0 || mesh.indices.size() < 3) {
        return {u, v, input.Coordinate(false)};
    }
    const std::size_t corner = 3 * (static_cast<std::size_t>(triangle) % (mesh.indices.size() / 3));
    Vec3d points[3];
    for (std::size_t k = 0; k < 3; ++k) {
        const auto index = static_cast<std::size_t>(mesh.indices[corner + k]);
        points[k] = index < mesh.points.size() ? mesh.points[index] : Vec3d();
    }
    return points[0] + (points[1] - points[0]) * u + (points[2] - points[0]) * v;
}

void RequireSound(const IndexedMesh& mesh, std::size_t flags)
{
    Require(mesh.indices.size() == 3 * flags);
    std::map<std::pair<int, int>, int> uses;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const int from = mesh.indices[i];
        Require(from >= 0 && static_cast<std::size_t>(from) < mesh.points.size());
        Require(++uses[{from, mesh.indices[i % 3 == 2 ? i - 2 : i + 1]}] == 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, std::min<std::size_t>(size, 400));
    const int kinds = input.Byte();
    IndexedMesh mesh;
    for (int left = input.Byte() & 31; left > 0; --left) {
        mesh.points.push_back(ReadPoint(input));
    }
    for (int left = 3 * (input.Byte() & 63); left > 0; --left) {
        mesh.indices.push_back(input.Byte());
    }
    const double tolerance = (kinds & 4) != 0 ? 0.25 : 1e-9;
    if ((kinds & 8) != 0) {
        Mesh::MeshTracer tracer(mesh, tolerance);
        while (input.Left() > 0) {
            const Vec3d start = ReadPathPoint(input, mesh);
            const Vec3d direction = ReadPoint(input);
            const std::vector<Vec3d> line = tracer.CollectPath(start, direction, 64.0);
            Require(!line.empty() && line.size() < 1U << 20U);
        }
        return 0;
    }
    Mesh::MeshImprint imprint(mesh, tolerance);
    while (input.Left() > 0) {
        std::vector<Vec3d> path;
        for (int i = 0; i < 6; ++i) {
            path.push_back(ReadPathPoint(input, mesh));
        }
        Require(imprint.ImprintPath(path, (kinds & 1) != 0, (kinds & 2) != 0));
    }
    (void)imprint.PaintInsideOutside();
    IndexedMesh out;
    std::vector<unsigned char> flags;
    Require(imprint.Export(out, flags));
    RequireSound(out, flags.size());
    Require(std::all_of(flags.begin(), flags.end(), [](unsigned char f) { return f <= 1; }));
    return 0;
}
