// Contours a solid that is put together of simple ones, with cells that are large where it is flat,
// and writes it as a mesh.
//
//   contour_solid torus|flange OUT.stl [--level N] [--tolerance LENGTH] [--svg PICTURE.svg]
//
// The solids lie within a cube of edge 2, which is divided into 2^N cells along each axis (6, and 9
// at most). Cells are merged as long as the surface stays within LENGTH (5e-3) of the planes of the
// finest ones. The picture shows the surface before and after that.
//
// Exit codes: 0 done, 1 a file can't be written, 2 wrong use, 3 the surface is open or not a
// manifold: the cells are too large for the solid.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "PartMeasures.h"
#include "SampledSolids.h"
#include "SolidContour.h"

#include <Sorvane/MeshReport_E.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace SolidContour;

/// Greatest distance of the triangles from the surface, at corners and middles.
double GreatestError(const Part& part, const Field& field)
{
    double greatest = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const Vec3d a = CornerOf(part, i);
        const Vec3d b = CornerOf(part, i + 1);
        const Vec3d c = CornerOf(part, i + 2);
        for (const Vec3d& p : {a, (a + b) / 2.0, (b + c) / 2.0, (c + a) / 2.0, (a + b + c) / 3.0}) {
            greatest = std::max(greatest, std::fabs(field(p).distance));
        }
    }
    return greatest;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view shape = argc > 2 ? argv[1] : "";
    double level = 6;
    double tolerance = 5e-3;
    std::string picture;
    bool isRight = (shape == "torus" || shape == "flange") && argc % 2 == 1;
    for (int i = 3; i + 1 < argc; i += 2) {
        const std::string_view name = argv[i];
        const std::optional<double> number = LengthOf(argv[i + 1]);
        if (name == "--svg") {
            picture = argv[i + 1];
        } else if (name == "--level" && number && *number >= 1 && *number <= 9) {
            level = std::floor(*number);
        } else if (name == "--tolerance" && number) {
            tolerance = *number;
        } else {
            isRight = false;
        }
    }
    if (!isRight) {
        std::fprintf(stderr,
                     "usage: contour_solid torus|flange OUT.stl [--level N] [--tolerance LENGTH]\n"
                     "                     [--svg PICTURE.svg]\n");
        return 2;
    }
    const Field field = Askew(shape == "torus" ? Torus : Flange);
    Contour contour(field, {{0, 0, 0}, 1, 0}, static_cast<unsigned int>(level));
    const Part fine = contour.Surface();
    std::printf("cells   %zu, of more than one sheet %zu\n", contour.CellCount(),
                contour.CrowdedCellCount());
    contour.Merge(tolerance);
    const Part part = contour.Surface();
    std::printf("merged  %zu\n", contour.CellCount());
    std::printf("mesh    %zu triangles, %zu before merging\n", part.indices.size() / 3,
                fine.indices.size() / 3);
    std::printf("volume  %.6f, exactly %.6f\n", VolumeOf(part),
                shape == "torus" ? kTorusVolume : kFlangeVolume);
    std::printf("error   %.6f, before merging %.6f, cells of %.6f\n", GreatestError(part, field),
                GreatestError(fine, field), std::ldexp(2.0, -static_cast<int>(level)));

    if (!Tell(MeshUtils::WriteMesh(part, argv[2], MeshUtils::MeshFileForm::BinaryStl), argv[2]) ||
        (!picture.empty() && !PartDrawing::WriteComparison(fine, part, picture))) {
        return 1;
    }
    const auto report = MeshUtils::CheckMesh(Mesh::SoupFromIndexedPoints(part), 0.0);
    if (part.indices.empty() || !report.openSlots.empty() || !report.nonManifoldSlots.empty() ||
        !report.misorientedTriangles.empty()) {
        std::fprintf(stderr, "%s: open, or not a manifold: ask for a finer level\n", argv[2]);
        return 3;
    }
    return 0;
}
