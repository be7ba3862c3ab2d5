// Gives a part even triangles of one edge length, creases kept, and tells how far it is.
//
//   remesh PART OUT.stl LENGTH
//
// Exit codes: 0 done, 1 not read, not written, or nothing is left, 2 wrong use.

#include "Arguments.h"
#include "PartFiles.h"

#include <Sorvane/Remesh_E.h>
#include <Velk/Progress_E.h>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    const auto length = argc == 4 ? LengthOf(argv[3]) : std::nullopt;
    if (!length || *length == 0) {
        std::fprintf(stderr, "usage: remesh PART OUT.stl LENGTH\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 1e-12)) { // remeshing needs neighbors
        return 1;
    }
    constexpr double kCreaseAngle = 40; // degrees; sharper edges stay
    constexpr unsigned kMostIterations = 10;
    // While the scope lives, long operations report; a report that returns false stops them.
    const Velk::ProgressScope scope([](double fraction) {
        std::fprintf(stderr, "\r%3.0f %%", 100 * fraction);
        return true;
    });
    Part result;
    const unsigned iterations =
        Mesh::IsotropicRemesh(part, result, kCreaseAngle, *length, kMostIterations, true);
    std::printf("%zu triangles of %zu, in %u iterations\n", TriangleCount(result),
                TriangleCount(part), iterations);
    return WritePart(result, argv[2]) ? 0 : 1;
}
