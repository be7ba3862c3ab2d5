// Lists the holes of a part, one for each axis and mouth, with their steps from the mouth down, and
// draws them.
//
//   drill_holes PART [PICTURE.svg]
//
// For parts in millimeters whose chords are as long as is usual: edges sharper than 0.4 radians,
// circles to 0.02, walls and rims of which 0.8 are there, axes to 0.02 radians. In the picture the
// mouths are red where holes end blind and blue where they go through, and each axis is drawn as
// deep as the hole, also where the part hides it. Exit codes: 0 done, 1 a file can't be read or
// written, 2 wrong use.

#include "PartDrawing.h"
#include "PartFiles.h"

#include <Sorvane/MeshFeatures_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using namespace PartDrawing;

constexpr double kCreaseAngle = 0.4;
constexpr double kFitTolerance = 0.02;
constexpr double kFraction = 0.8;
constexpr double kAxisTolerance = 0.02;

void Print(const MeshUtils::DrillHoleStack& hole)
{
    const Vec3d& e = hole.entry;
    std::printf("hole at %.3f %.3f %.3f along %.4f %.4f %.4f%s%s:", e[0], e[1], e[2],
                hole.axis[0] + 0.0, hole.axis[1] + 0.0, hole.axis[2] + 0.0,
                hole.isCounterbored ? ", counterbored" : "",
                hole.isCountersunk ? ", countersunk" : "");
    for (const MeshUtils::HoleStep& step : hole.steps) {
        std::printf(step.isCone ? " [%.3f to %.3f," : " [%.3f,", step.diameter, step.endDiameter);
        std::printf(" %.3f to %.3f deep]", step.from, step.to);
    }
    switch (hole.end) {
    case MeshUtils::HoleEnd::Through:
        std::printf(" through\n");
        break;
    case MeshUtils::HoleEnd::Flat:
        std::printf(" flat floor\n");
        break;
    case MeshUtils::HoleEnd::Pointed:
        std::printf(" point at %.3f\n", hole.tipDepth);
        break;
    }
}

/// A circle of the hole, as the view shows it.
std::vector<Vec2d> CircleOf(const MeshUtils::DrillHoleStack& hole, double depth, double diameter)
{
    constexpr int kCorners = 36;
    const TransformBase<3> frame =
        Transform::BuildTransformAxisOrigin(hole.axis, hole.entry + depth * hole.axis);
    std::vector<Vec2d> circle;
    for (int k = 0; k < kCorners; ++k) {
        const double angle = kTwoPi<double> * k / kCorners;
        const Vec3d point =
            frame * Vec3d(diameter / 2 * std::cos(angle), diameter / 2 * std::sin(angle), 0);
        circle.push_back(SvgWriter::Projected(point, kView));
    }
    return circle;
}

bool DrawPicture(const Part& part, const std::vector<MeshUtils::DrillHoleStack>& holes,
                 const char* path)
{
    const SvgStyle through{"#06c", "none", 1.6};
    const SvgStyle blind{"#d22", "none", 1.6};
    const SvgStyle axis{"#0a0", "none", 1, true};
    SvgWriter picture(kPictureSize);
    picture.AddMesh(part, kView, FacetStyle());
    for (const MeshUtils::DrillHoleStack& hole : holes) {
        const SvgStyle& style = hole.end == MeshUtils::HoleEnd::Through ? through : blind;
        picture.AddPolyline({SvgWriter::Projected(hole.entry, kView),
                             SvgWriter::Projected(hole.entry + hole.tipDepth * hole.axis, kView)},
                            axis);
        picture.AddRegion({CircleOf(hole, 0, hole.steps.front().diameter)}, style);
        for (const MeshUtils::HoleStep& step : hole.steps) {
            picture.AddRegion({CircleOf(hole, step.to, step.endDiameter)}, style);
        }
    }
    picture.AddLegend("through", through);
    picture.AddLegend("blind", blind);
    picture.AddLegend("axis, as deep as the hole", axis);
    return SavePicture(picture, path);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: drill_holes PART [PICTURE.svg]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const auto holes =
        MeshUtils::DrillHoleStacks(part, kCreaseAngle, kFitTolerance, kFraction, kAxisTolerance);
    for (const MeshUtils::DrillHoleStack& hole : holes) {
        Print(hole);
    }
    return argc == 2 || DrawPicture(part, holes, argv[2]) ? 0 : 1;
}
