// Improves the triangles of a part by edge flips; no point moves.
//
//   aspect_ratio PART OUT.stl
//
// Exit codes: 0 done, 1 not read or not written, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/Triangle_E.h>

using namespace Velk::Math::Sorvane;

namespace {

/// From 0 for a needle to 1 for an equilateral triangle.
double MeanRatio(const Part& part)
{
    double sum = 0;
    for (std::size_t i = 0; i < part.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return part.points[static_cast<std::size_t>(part.indices[i + k])];
        };
        sum += Mesh::AspectRatio(corner(0), corner(1), corner(2));
    }
    return sum / static_cast<double>(TriangleCount(part));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: aspect_ratio PART OUT.stl\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    constexpr double kAngle = 1;    // degrees that flipped triangles may turn by
    constexpr double kDrift = 0.01; // that they may lie off the part by
    const Part better = MeshUtils::MaximizeAspectRatio(part, kAngle, kDrift);
    std::printf("mean aspect ratio %.4f before, %.4f after\n", MeanRatio(part), MeanRatio(better));
    return WritePart(better, argv[2]) ? 0 : 1;
}
