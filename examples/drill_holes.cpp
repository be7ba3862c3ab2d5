// Lists the holes of a part, one for each axis and mouth, with their steps from the mouth down.
//
//   drill_holes PART
//
// Exit codes: 0 done, 1 not read, 2 wrong use.

#include "PartFiles.h"

#include <Sorvane/MeshFeatures_E.h>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: drill_holes PART\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    constexpr double kCreaseAngle = 0.4;   // radians: sharper edges bound faces
    constexpr double kFitTolerance = 0.02; // of a point from its circle, for a part in millimeters
    constexpr double kFraction = 0.8;      // of a circle and of a wall that has to be there
    constexpr double kAxisTolerance = 0.02;
    const auto holes = MeshUtils::DrillHoleStacks(part, kCreaseAngle, kFitTolerance, kFraction,
                                                  kAxisTolerance);
    for (const MeshUtils::DrillHoleStack& hole : holes) {
        std::printf("hole at %.3f %.3f %.3f along %.4f %.4f %.4f:", hole.entry[0], hole.entry[1],
                    hole.entry[2], hole.axis[0], hole.axis[1], hole.axis[2]);
        for (const MeshUtils::HoleStep& step : hole.steps) {
            std::printf(" [diameter %.3f, %.3f to %.3f deep]", step.diameter, step.from, step.to);
        }
        std::printf(hole.end == MeshUtils::HoleEnd::Through ? " through\n" : " blind\n");
    }
    return 0;
}
