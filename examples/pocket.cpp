// Clears a pocket by rings: offsets of its wall, a step more each, until nothing is left.
//
//   pocket CHAIN.txt RADIUS
//
// The file holds a closed chain of arcs and segments, counter-clockwise. Exit codes: 0 done, 1 the
// file holds no closed chain, 2 wrong use, 3 a tool of that radius does not fit in.

#include "Arguments.h"

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include <cstdio>
#include <set>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    const auto radius = argc == 3 ? LengthOf(argv[2]) : std::nullopt;
    if (!radius || *radius == 0) {
        std::fprintf(stderr, "usage: pocket CHAIN.txt RADIUS\n");
        return 2;
    }
    const Planar::PolyArcSegBase<double> wall = Planar::ReadPolySegArcFromFile(argv[1]);
    if (wall.elements.empty() || !wall.IsClosed()) {
        std::fprintf(stderr, "%s: holds no closed chain, or can't be read\n", argv[1]);
        return 1;
    }
    std::set<double> distances; // negative: to the left of travel, which is the inside
    for (int ring = 1; ring <= 16; ++ring) {
        distances.insert(-*radius * ring);
    }
    constexpr double kTolerance = 1e-6;
    const auto offsets = Planar::PlanarOffsets(wall, distances, kTolerance);
    int rings = 0;
    for (auto curves = offsets.rbegin(); curves != offsets.rend() && !curves->empty(); ++curves) {
        double length = 0;
        for (const auto& curve : *curves) {
            length += Planar::PolyArcSegParameters(curve, false).back();
        }
        std::printf("ring %d: %zu curves, length %.6g\n", ++rings, curves->size(), length);
    }
    return rings > 0 ? 0 : 3;
}
