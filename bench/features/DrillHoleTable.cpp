// Which holes of a part `DetectDrillHoles` finds, against the exact cylinders of the solid behind it.
//
//   drill_hole_table PART.stl PART.expected.json
//
// Prints a table of Markdown: one row for each bore, a full turn of concave cylinder faces of one radius on one axis. A
// bore that is not found comes with the reason, as far as the arcs on its axis tell it. docs/drill-holes.md
// is made of such tables.

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshFiles_E.h>

#include "tests/support/DrilledSolid.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using namespace Support;

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PART.stl PART.expected.json\n", argv[0]);
        return 2;
    }
    const std::vector<ExactBore> bores = ReadExactBores(argv[2]);
    const auto mesh = ReadPartMesh(argv[1]);
    const auto holes = FindHoles(mesh);
    std::printf("arcs %zu holes %zu bores %zu\n",MeshUtils::DetectArcs(mesh,kCreaseAngle,kFitTolerance,kFraction).size(),holes.size(),bores.size());
    for (const ExactBore& bore : bores) {
        const auto found = HolesOnBore(bore, holes);
        std::printf("| %.6g | %.1f %.1f %.1f | %.2f %.2f %.2f | %.6g |", bore.radius, bore.point[0],bore.point[1],bore.point[2],bore.axis[0],bore.axis[1],bore.axis[2],bore.length);
        for (const auto* h : found) std::printf(" (%.5g %.5g depth %.5g)", h->top.radius, h->bottom.radius, h->depth);
        std::printf(" arcs:");
        for (const auto& a : ArcsOnBore(bore, mesh)) std::printf(" (r %.4g at %.4g share %.3f)", a.radius, (a.center-bore.point)*bore.axis, a.length/(kTwoPi<double>*a.radius));
        std::printf("\n");
    }
    for (const auto& h : holes) {
        bool any=false;
        for (const ExactBore& bore : bores) any = any || IsOnBore(bore,h);
        if(!any) std::printf("other: r %.5g %.5g depth %.5g at %.3f %.3f %.3f axis %.2f %.2f %.2f\n", h.top.radius,h.bottom.radius,h.depth,h.top.center[0],h.top.center[1],h.top.center[2],h.top.normal[0],h.top.normal[1],h.top.normal[2]);
    }
    return 0;
}
