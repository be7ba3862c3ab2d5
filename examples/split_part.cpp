// Splits a part by a level plane into two closed halves and writes both.
//
//   split_part PART HEIGHT BELOW.stl ABOVE.stl
//
// Exit codes: 0 done, 1 not read, not written, or a half is empty, 2 wrong use, 3 a half is open.

#include "Arguments.h"
#include "PartFiles.h"

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/TriangleSlicer_E.h>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

namespace {

/// What lies against the normal of the plane, with a lid on the cut.
Part HalfOf(const Mesh::TriangleSlicer& slicer, const Vec3d& normal, const Vec3d& point)
{
    constexpr double kTolerance = 1e-9;
    auto half = slicer.SliceTriangles(normal, point, false, kTolerance);
    if (half.triangles.empty()) {
        return {}; // a face in the plane has an outline there, and nothing to close
    }
    Mesh::Append(half.triangles, Mesh::SoupFromIndexedPoints(Mesh::CapOfSections(half)));
    return Mesh::IndexedPointsFromSoup(half.triangles, true, 0.0); // they meet bit for bit
}

} // namespace

int main(int argc, char** argv)
{
    const auto height = argc == 5 ? NumberOf(argv[2]) : std::nullopt;
    if (!height) {
        std::fprintf(stderr, "usage: split_part PART HEIGHT BELOW.stl ABOVE.stl\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const Mesh::TriangleSlicer slicer(Mesh::SoupFromIndexedPoints(part));
    const Vec3d point(0, 0, *height);
    const Part below = HalfOf(slicer, {0, 0, 1}, point);
    const Part above = HalfOf(slicer, {0, 0, -1}, point);
    const std::size_t open = Mesh::BoundaryEdges(below).size() + Mesh::BoundaryEdges(above).size();
    std::printf("below %zu triangles, above %zu, %zu open edges\n", TriangleCount(below),
                TriangleCount(above), open);
    if (!WritePart(below, argv[3]) || !WritePart(above, argv[4])) {
        return 1;
    }
    return open == 0 ? 0 : 3;
}
