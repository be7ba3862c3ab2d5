// What surrounds a part: its box, the smallest sphere, and its convex hull, which it writes.
//
//   mesh_bounds PART HULL.stl
//
// Exit codes: 0 done, 1 not read, not written, or flat, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: mesh_bounds PART HULL.stl\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const auto box = Bounding::BoxOfPoints(part.points);
    const Vec3d extent = box.max - box.min;
    std::printf("box: %.6g x %.6g x %.6g\n", extent[0], extent[1], extent[2]);

    const auto ball = Bounding::EnclosingBall(part.points);
    std::printf("sphere: radius %.6g about (%.6g, %.6g, %.6g)\n", ball.radius, ball.center[0],
                ball.center[1], ball.center[2]);

    Part hull;
    if (!Bounding::ConvexHull(part.points, hull.points, hull.indices, false, false)) {
        std::fprintf(stderr, "%s: is flat and has no hull\n", argv[1]);
        return 1;
    }
    std::printf("hull: %zu triangles on %zu points\n", TriangleCount(hull), hull.points.size());
    return WritePart(hull, argv[2]) ? 0 : 1;
}
