// Decimates a part to a share of its triangles, as far as a tolerance lets it.
//
//   decimate PART OUT.stl PERCENT TOLERANCE
//
// Exit codes: 0 done, 1 not read, not written, or nothing is left, 2 wrong use.

#include "Arguments.h"
#include "PartFiles.h"

#include <Sorvane/Decimation_E.h>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    const auto percent = argc == 5 ? LengthOf(argv[3]) : std::nullopt;
    const auto tolerance = argc == 5 ? LengthOf(argv[4]) : std::nullopt;
    if (!percent || !tolerance) {
        std::fprintf(stderr, "usage: decimate PART OUT.stl PERCENT TOLERANCE\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 1e-12)) { // decimation needs neighbors
        return 1;
    }
    constexpr double kCreaseAngle = 40; // degrees; sharper edges stay
    Part result;
    Mesh::DecimationReport report;
    Mesh::DecimateInBatches(part, result, kCreaseAngle, *percent, *tolerance, report);
    std::printf("%d triangles of %d, off the part by %.3g where it was measured\n",
                report.triangles, report.initialTriangles, report.deviation);
    if (report.stop != Mesh::DecimationStop::Target) {
        std::printf("edges left: %d beyond the tolerance, %d on creases, %d that would fold\n",
                    report.deviatingEdges, report.lockedEdges, report.foldingEdges);
    }
    return WritePart(result, argv[2]) ? 0 : 1;
}
