// Cuts a part at a height and fills the section with triangles.
//
//   part_section PART HEIGHT SECTION.svg
//
// Exit codes: 0 done, 1 not read, not written, or nothing lies at that height, 2 wrong use, 3 an
// outline is open: the part is not closed there, and the section can't be trusted.

#include "Arguments.h"
#include "PartFiles.h"
#include "PictureOutput.h"

#include <Sorvane/MeshSections_E.h>
#include <Sorvane/Tessellation_E.h>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    const auto height = argc == 4 ? NumberOf(argv[2]) : std::nullopt;
    if (!height) {
        std::fprintf(stderr, "usage: part_section PART HEIGHT SECTION.svg\n");
        return 2;
    }
    constexpr double kWeld = 1e-6;
    Part part;
    if (!ReadWeldedPart(part, argv[1], kWeld)) {
        return 1;
    }
    // Where faces lie in the plane the section is that of what stands above them; corners within
    // the tolerance of the plane lie in it.
    const Mesh::MeshSection section =
        Mesh::MeshSectionAt(part, {0, 0, 1}, *height, {Mesh::SectionSide::Above, kWeld});
    if (section.loops.empty() && section.chains.empty()) {
        std::fprintf(stderr, "%s: nothing lies just above height %g\n", argv[1], *height);
        return 1;
    }
    std::printf("%zu outlines, %zu open ones, area %.9g\n", section.loops.size(),
                section.chains.size(), section.area);

    // What lies within an odd number of outlines is material.
    const auto fill = Mesh::TessellateFlatBoundaries(section.loops);
    Drawing::SvgWriter picture(640);
    picture.AddTriangles(fill, {"#79b", "#cde", 1});
    picture.AddRegion(section.loops, {"#222", "none", 2});
    for (const auto& chain : section.chains) {
        picture.AddPolyline(chain, {"#d22", "none", 2});
    }
    if (!SavePicture(picture, argv[3])) {
        return 1;
    }
    return section.chains.empty() ? 0 : 3;
}
