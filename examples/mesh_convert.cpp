// Reads a part, joins its corners, turns and moves it, and writes it.
//
//   mesh_convert PART OUT.stl|OUT.tipc
//
// Exit codes: 0 done, 1 not read or not written, 2 wrong use.

#include "PartFiles.h"

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>

using namespace Velk::Math;

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: mesh_convert PART OUT.stl|OUT.tipc\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 1e-6)) {
        return 1;
    }
    // A quarter turn about the z axis, then 100 along x: the transform on the right acts first.
    const auto turn = Transform::BuildRotationFromAxisAngle({0, 0, 1}, kPi<double> / 2);
    const auto move = Transform::BuildTranslationTransform({100, 0, 0});
    part.points = move * turn * part.points;
    std::printf("%zu points, %zu triangles\n", part.points.size(), TriangleCount(part));
    return WritePart(part, argv[2]) ? 0 : 1;
}
