// Splits a part by a plane into two closed halves and writes both.
//
//   split_part PART BELOW.stl ABOVE.stl NX NY NZ SHARE% [PICTURE.svg]
//
// (NX NY NZ) is the normal of the plane, which lies at a share of the part's extent along it, from
// the low end. The picture shows the halves apart, the cut in color.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 the halves are not closed,
// or their volumes don't add up to that of the part: it is open, or cuts itself. Both are written
// then as well.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"
#include "PartMeasures.h"

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/TriangleSlicer_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace {

using namespace PartDrawing;

/// Least and greatest place of a part along a direction.
std::array<double, 2> ExtentOf(const Part& part, const Vec3d& direction)
{
    std::array<double, 2> extent{std::numeric_limits<double>::max(),
                                 std::numeric_limits<double>::lowest()};
    for (const Vec3d& point : part.points) {
        extent = {std::min(extent[0], point * direction), std::max(extent[1], point * direction)};
    }
    return extent;
}

/// What the plane leaves, with its lid, whose triangles are the last ones.
struct ClosedHalf {
    Part part;
    std::size_t lid = 0;
    double volume = 0;
};

ClosedHalf HalfOf(const Mesh::TriangleSlicer& slicer, const Vec3d& normal, const Vec3d& point)
{
    constexpr double kTolerance = 1e-9;
    auto half = slicer.SliceTriangles(normal, point, false, kTolerance);
    const auto lid = Mesh::SoupFromIndexedPoints(Mesh::CapOfSections(half));
    Mesh::Append(half.triangles, lid);
    ClosedHalf closed{Mesh::IndexedPointsFromSoup(half.triangles, true, 0.0), lid.size(), 0};
    closed.volume = VolumeOf(closed.part);
    return closed;
}

/// Says what a mesh is like; the number of its open edges.
std::size_t Tell(const char* name, const Part& mesh, double volume)
{
    const std::size_t open = Mesh::BoundaryEdges(mesh).size();
    std::printf("%-6s %zu triangles, %zu open edges, volume %.9g\n", name, mesh.indices.size() / 3,
                open, volume);
    return open;
}

bool WritePicture(const ClosedHalf& below, const ClosedHalf& above, const Vec3d& gap,
                  const char* path)
{
    constexpr double kCreaseAngle = 0.3;
    const SvgStyle cut{"#d97706", "#f2b45c", 0.4};
    Part both = above.part;
    for (Vec3d& point : both.points) {
        point += gap;
    }
    Mesh::Append(both, below.part);
    SvgMeshMarks marks;
    marks.styles = {cut, {"#667", "none", 0.5}};
    for (const ClosedHalf* half : {&above, &below}) {
        marks.triangles.insert(marks.triangles.end(), half->part.indices.size() / 3 - half->lid,
                               -1);
        marks.triangles.insert(marks.triangles.end(), half->lid, 0);
    }
    MarkCreases(both, kCreaseAngle, 1, marks);
    SvgWriter picture(kPictureSize);
    picture.AddMesh(both, kView, FacetStyle(), marks);
    picture.AddLegend("the lids", cut);
    return SavePicture(picture, path);
}

} // namespace

int main(int argc, char** argv)
{
    std::array<std::optional<double>, 4> numbers; // the normal and the share
    for (std::size_t i = 0; i < 4 && argc >= 8; ++i) {
        std::string_view text = argv[4 + i];
        text.remove_suffix(i == 3 && text.ends_with('%') ? 1 : 0);
        numbers[i] = NumberOf(text);
    }
    const Vec3d normal = Vector::Normalized(
        Vec3d(numbers[0].value_or(0), numbers[1].value_or(0), numbers[2].value_or(0)), 0.0);
    if (argc < 8 || argc > 9 || !(numbers[0] && numbers[1] && numbers[2] && numbers[3]) ||
        !(SquaredLength(normal) > 0)) {
        std::fprintf(stderr, "usage: split_part PART BELOW.stl ABOVE.stl NX NY NZ SHARE%% "
                             "[PICTURE.svg]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    const Mesh::TriangleSlicer slicer(Mesh::SoupFromIndexedPoints(part));
    const auto [low, high] = ExtentOf(part, normal);
    const Vec3d point = normal * (low + (high - low) * *numbers[3] / 100);
    const ClosedHalf below = HalfOf(slicer, normal, point);
    const ClosedHalf above = HalfOf(slicer, -normal, point);

    const double whole = VolumeOf(part);
    Tell("part", part, whole);
    const std::size_t open =
        Tell("below", below.part, below.volume) + Tell("above", above.part, above.volume);
    constexpr auto kForm = MeshUtils::MeshFileForm::BinaryStl;
    constexpr double kGap = 0.6; // of the extent
    if (!Tell(MeshUtils::WriteMesh(below.part, argv[2], kForm), argv[2]) ||
        !Tell(MeshUtils::WriteMesh(above.part, argv[3], kForm), argv[3]) ||
        (argc == 9 && !WritePicture(below, above, normal * (kGap * (high - low)), argv[8]))) {
        return 1;
    }
    constexpr double kRounding = 1e-9;
    const double size = std::fabs(below.volume) + std::fabs(above.volume);
    if (open > 0 || std::fabs(below.volume + above.volume - whole) > kRounding * size) {
        std::fprintf(stderr, "%s: the halves are not closed, or don't make up the part\n", argv[1]);
        return 3;
    }
    return 0;
}
