// Arbitrary triangles through remeshing: no crash, no hang, and what holds for any input whatever:
// no edge of more than two triangles, no wrong subscript, and a tag for each triangle.
//
// Layout of an input: a byte each for the angle, the length, the iterations and flags (1 by chord
// error, 2 splits boundaries, 4 stars of the indexed mesh only), a byte for the number of points;
// then the points (a small integer of one byte for each coordinate, of which 127 and -128 stand for
// NaN and infinity), and the rest are indices of one byte, which needn't be valid.

#include <Sorvane/Remesh_E.h>

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

using Fuzz::Input;
using Fuzz::Require;

void RequireSubscripts(const Mesh::IndexedPointsBase<3, double>& mesh)
{
    Require(mesh.indices.size() % 3 == 0);
    Require(std::all_of(mesh.indices.begin(), mesh.indices.end(), [&](int i) {
        return i >= 0 && static_cast<std::size_t>(i) < mesh.points.size();
    }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, std::min<std::size_t>(size, 600));
    const double angle = 2.0 * input.Byte();
    const double length =
        0.5 * input.Byte(); // not much below the coordinates: a few thousand triangles
    const unsigned iterations = static_cast<unsigned>(input.Byte()) % 4;
    const int flags = input.Byte();
    Mesh::IndexedPointsBase<3, double> mesh;
    const int count = input.Byte() & 63;
    for (int i = 0; i < count; ++i) {
        const double x = input.Coordinate(false);
        const double y = input.Coordinate(false);
        mesh.points.push_back({x, y, input.Coordinate(false)});
    }
    std::vector<unsigned char> tags;
    while (input.Left() > 0) {
        mesh.indices.push_back(input.Byte());
        tags.push_back(static_cast<unsigned char>(mesh.indices.back() & 1));
    }

    Mesh::IndexedPointsBase<3, double> out;
    if ((flags & 4) != 0) {
        if (!Mesh::RemoveTriangleStars(mesh, out, angle)) {
            Require(out.indices == mesh.indices && out.points.size() == mesh.points.size());
        }
        return 0;
    }
    std::vector<unsigned char> outTags;
    const bool keepBoundary = (flags & 2) == 0;
    const unsigned run = (flags & 1) != 0
                             ? Mesh::AnisotropicRemesh(mesh, tags, out, outTags, angle, length, 1.0,
                                                       0.125, iterations, keepBoundary)
                             : Mesh::IsotropicRemesh(mesh, tags, out, outTags, angle, length,
                                                     iterations, keepBoundary);
    Require(run <= iterations);
    Require(outTags.size() == out.indices.size() / 3);
    RequireSubscripts(out);
    return 0;
}
