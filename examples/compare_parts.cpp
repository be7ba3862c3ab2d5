// How far the surfaces of two parts are apart: bounds that hold, and where it is.
//
//   compare_parts PART REFERENCE
//
// Exit codes: 0 done, 1 not read, or one has no triangles, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/MeshDistances_E.h>

#include <algorithm>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: compare_parts PART REFERENCE\n");
        return 2;
    }
    Part part;
    Part reference;
    if (!ReadWeldedPart(part, argv[1], 0.0) || !ReadWeldedPart(reference, argv[2], 0.0)) {
        return 1;
    }
    const auto bounds = MeshUtils::HausdorffBounds(part, reference, 0.0);
    if (bounds.first.triangle < 0) {
        std::fprintf(stderr, "one of the parts has no triangles\n");
        return 1;
    }
    for (const auto& bound : {bounds.first, bounds.second}) { // there, and back
        std::printf("%.6g to %.6g, at (%.6g, %.6g, %.6g) of triangle %d\n", bound.lower,
                    bound.upper, bound.point[0], bound.point[1], bound.point[2], bound.triangle);
    }
    // Signed distances of points: negative within a closed reference.
    const auto distances = MeshUtils::CloudDistancesToMesh(reference.points, reference.indices,
                                                           part.points, false);
    const auto [least, greatest] = std::minmax_element(distances.begin(), distances.end());
    std::printf("corners lie from %.6g to %.6g outside\n", *least, *greatest);
    return 0;
}
