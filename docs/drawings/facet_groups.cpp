// Groups the triangles of a part by direction, tells the largest groups, and draws them.
//
//   facet_groups PART PICTURE.svg [DEGREES]
//
// DEGREES is the resolution of `MeshUtils::RepresentativeNormalGrouping`, 20 by default. Groups
// have one color each, and the colors come again after a dozen. Exit codes: 0 done, 1 a file can't
// be read or written, 2 wrong use.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/Triangle_E.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <numbers>
#include <vector>

namespace {

using namespace PartDrawing;

constexpr std::array<const char*, 12> kColors{"#4e79a7", "#f28e2b", "#e15759", "#76b7b2",
                                              "#59a14f", "#edc948", "#b07aa1", "#ff9da7",
                                              "#9c755f", "#bab0ac", "#86bcb6", "#d37295"};

struct Group {
    Vec3d areaNormal;
    double area = 0;
};

} // namespace

int main(int argc, char** argv)
{
    constexpr double kResolution = 20;
    const auto degrees = argc == 4 ? LengthOf(argv[3]) : std::optional(kResolution);
    if (argc < 3 || argc > 4 || !degrees) {
        std::fprintf(stderr, "usage: facet_groups PART PICTURE.svg [DEGREES]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const double resolution = *degrees * std::numbers::pi / 180;
    const std::vector<int> groupOf = MeshUtils::RepresentativeNormalGrouping(part, resolution);

    const std::vector<Vec3d> areaNormals = Mesh::AreaNormals(part);
    std::vector<Group> groups;
    SvgMeshMarks marks;
    for (const char* color : kColors) {
        marks.styles.push_back({color, color, 0.5});
    }
    for (std::size_t t = 0; t < groupOf.size(); ++t) {
        const auto group = static_cast<std::size_t>(groupOf[t]);
        groups.resize(std::max(groups.size(), group + 1));
        groups[group].areaNormal += areaNormals[t];
        groups[group].area += Length(areaNormals[t]);
        marks.triangles.push_back(static_cast<int>(group % kColors.size()));
    }
    std::printf("%zu triangles in %zu groups of direction\n", groupOf.size(), groups.size());
    std::sort(groups.begin(), groups.end(),
              [](const Group& a, const Group& b) { return a.area > b.area; });
    for (std::size_t i = 0; i < std::min<std::size_t>(groups.size(), 6); ++i) {
        const Vec3d n = Vector::Normalized(groups[i].areaNormal, 0.0);
        std::printf("    area %-10.6g toward (%.3f, %.3f, %.3f)\n", groups[i].area, n[0], n[1],
                    n[2]);
    }
    SvgWriter picture(kPictureSize);
    picture.AddMesh(part, kView, FacetStyle(), marks);
    return SavePicture(picture, argv[2]) ? 0 : 1;
}
