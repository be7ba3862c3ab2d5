// Makes a part finer: smoothed with its creases kept, and cut without moving anything.
//
//   subdivide PART SMOOTH.stl CUT.stl
//
// Exit codes: 0 done, 1 not read, not written, or without triangles, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/Subdivision_E.h>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: subdivide PART SMOOTH.stl CUT.stl\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 1e-12)) { // smoothing needs neighbors
        return 1;
    }
    constexpr double kCreaseAngle = 30; // degrees; sharper edges are creases of the smooth surface
    Part smooth;
    Mesh::SubdivideMesh(part, smooth, kCreaseAngle, 1, Mesh::SubdivisionMethod::Loop);
    Part cut;
    Mesh::SimpleRefine(part, cut, Mesh::SimpleRefineMethod::Midpoints, 1);
    std::printf("%zu triangles, smoothed %zu, cut %zu\n", TriangleCount(part),
                TriangleCount(smooth), TriangleCount(cut));
    return WritePart(smooth, argv[2]) && WritePart(cut, argv[3]) ? 0 : 1;
}
