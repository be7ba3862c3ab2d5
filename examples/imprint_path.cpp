// Makes a curve an edge of a part, the ends of straightest lines of one length from a point in all
// directions, and writes what lies inside.
//
//   imprint_path PART OUT.stl X Y Z RADIUS
//
// Exit codes: 0 done, 1 not read or not written, 2 wrong use, 3 the curve bounds no region.

#include "Arguments.h"
#include "PartFiles.h"

#include <Sorvane/MeshImprint_E.h>
#include <Sorvane/TriangleTree_E.h>

#include <cmath>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    double numbers[4] = {0, 0, 0, 0};
    bool isUsed = argc == 7;
    for (int i = 0; isUsed && i < 4; ++i) {
        const auto number = NumberOf(argv[3 + i]);
        isUsed = number && (i < 3 || *number > 0);
        numbers[i] = number.value_or(0);
    }
    if (!isUsed) {
        std::fprintf(stderr, "usage: imprint_path PART OUT.stl X Y Z RADIUS\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const Tree::QOFTriangleTree<3, double> tree(part.points, part.indices);
    const Vec3d start = tree.ClosestPoint({numbers[0], numbers[1], numbers[2]}, 1e100).point;
    const double tolerance = 1e-7 * numbers[3];
    Mesh::MeshTracer tracer(part, tolerance);
    std::vector<Vec3d> curve;
    for (int i = 0; i < 360; ++i) { // directions are turned into the surface
        const double angle = kTwoPi<double> * i / 360;
        const Vec3d ahead(std::cos(angle), std::sin(angle), 0);
        curve.push_back(tracer.CollectPath(start, ahead, numbers[3]).back());
    }
    Mesh::MeshImprint imprint(part, tolerance);
    const bool isRegion = imprint.ImprintPath(curve, true, true) && imprint.PaintInsideOutside();
    Part inside;
    if (!imprint.Export(inside, true) || !isRegion) {
        std::fprintf(stderr, "%s: the curve does not bound a region\n", argv[1]);
        return 3;
    }
    std::printf("%zu triangles inside\n", TriangleCount(inside));
    return WritePart(inside, argv[2]) ? 0 : 1;
}
