// Clears a pocket by rings along its wall, a step more each, until nothing is left.
//
//   pocket CHAIN.txt RADIUS
//
// The file holds a closed chain of arcs and segments. Exit codes: 0 done, 1 the
// file holds no closed chain, 2 wrong use, 3 a tool of that radius does not fit in.

#include "Arguments.h"

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include <cstddef>
#include <cstdio>

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
    constexpr int kMostRings = 16;
    const auto plan = Planar::PocketRings<double>(wall, {}, {*radius, *radius, kMostRings}, 1e-6);
    for (std::size_t i = 0; i < plan.rings.size(); ++i) {
        double length = 0;
        for (const auto& curve : plan.rings[i].curves) {
            length += Planar::PolyArcSegParameters(curve, false).back();
        }
        std::printf("ring %zu: %zu curves, length %.6g\n", i + 1, plan.rings[i].curves.size(),
                    length);
    }
    return plan.rings.empty() ? 3 : 0;
}
