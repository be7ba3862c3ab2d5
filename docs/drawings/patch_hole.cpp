// Covers the holes of a part with relaxed surfaces, tells what it found, and writes the part.
//
//   patch_hole PART OUT.stl [--cut X Y Z RADIUS] [--svg PICTURE.svg]
//
// Each closed boundary line of the part gets a surface that is laid into it. `--cut` first takes
// out the triangles within RADIUS of a place: a hole to try it with. The picture shows the part
// with its holes, and beside it the covers in color.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 boundary lines are left
// that no surface could be laid into. The result is written in that case too.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/OrderedPairs_E.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace {

using namespace PartDrawing;

/// The triangles with a corner beyond `radius` from the place.
Part Without(const Part& part, const Vec3d& place, double radius)
{
    Part rest{part.points, {}};
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        bool isNear = true;
        for (std::size_t k = i; k < i + 3; ++k) {
            isNear = isNear && Length(CornerOf(part, k) - place) <= radius;
        }
        if (!isNear) {
            rest.indices.insert(rest.indices.end(), &part.indices[i], &part.indices[i] + 3);
        }
    }
    return rest;
}

/// The boundary lines as the triangles run them.
std::vector<std::vector<int>> BoundaryLines(const Part& part)
{
    std::vector<std::array<int, 2>> pairs;
    for (const auto& [from, to] : Mesh::BoundaryEdges(part)) {
        pairs.push_back({from, to});
    }
    return MeshUtils::ConcatenateOderedPairs(pairs);
}

/// A cover's own boundary has to run against that of the hole.
void TurnToFit(Part& cover, const Vec3d& from, const Vec3d& to)
{
    for (const auto& [a, b] : Mesh::BoundaryEdges(cover)) {
        if (cover.points[static_cast<std::size_t>(a)] == from &&
            cover.points[static_cast<std::size_t>(b)] == to) {
            for (std::size_t i = 0; i + 2 < cover.indices.size(); i += 3) {
                std::swap(cover.indices[i + 1], cover.indices[i + 2]);
            }
            return;
        }
    }
}

bool WritePicture(const Part& open, const Part& closed, const char* path)
{
    constexpr double kNoNeighbor = 6; // below 2 pi, the angle told for an edge that has none
    SvgMeshMarks rims;
    rims.styles = {{"#d22", "none", 2.0}};
    MarkCreases(open, kNoNeighbor, 0, rims);
    SvgMeshMarks covers;
    covers.styles = {{"#a60", "#fc6", 0.35}};
    for (std::size_t i = 0; i < closed.indices.size(); i += 3) {
        covers.triangles.push_back(i < open.indices.size() ? -1 : 0);
    }
    SvgWriter picture(2 * kPictureSize);
    picture.AddMesh(open, kView, WireStyle(), rims);
    picture.AddMesh(closed, ViewBeside(open), WireStyle(), covers);
    picture.AddLegend("boundary line", rims.styles[0]);
    picture.AddLegend("cover", covers.styles[0]);
    return SavePicture(picture, path);
}

} // namespace

int main(int argc, char** argv)
{
    std::array<double, 4> cut{};
    bool isCut = false;
    const char* picture = nullptr;
    bool isRight = argc >= 3;
    for (int i = 3; i < argc && isRight; ++i) {
        if (std::strcmp(argv[i], "--svg") == 0 && i + 1 < argc) {
            picture = argv[++i];
        } else if (std::strcmp(argv[i], "--cut") == 0 && i + 4 < argc) {
            isCut = true;
            for (double& number : cut) {
                const auto value = NumberOf(argv[++i]);
                isRight = isRight && value.has_value();
                number = value.value_or(0);
            }
        } else {
            isRight = false;
        }
    }
    if (!isRight) {
        std::fprintf(stderr, "usage: patch_hole PART OUT.stl [--cut X Y Z RADIUS]\n"
                             "                  [--svg PICTURE.svg]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], 0.0)) {
        return 1;
    }
    if (isCut) {
        part = Without(part, {cut[0], cut[1], cut[2]}, cut[3]);
    }
    Part closed = part;
    std::size_t uncovered = 0;
    for (const std::vector<int>& line : BoundaryLines(part)) {
        std::vector<Vec3d> curve;
        for (const int n : line) {
            curve.push_back(part.points[static_cast<std::size_t>(n)]);
        }
        Part cover = MeshUtils::TessellatePointStream(curve);
        std::printf("boundary line of %zu points: %zu triangles\n", line.size() - 1,
                    cover.indices.size() / 3);
        uncovered += cover.indices.empty() ? 1 : 0;
        TurnToFit(cover, curve[0], curve[1]);
        Mesh::Append(closed, cover);
    }
    const Part drawn = closed;
    Mesh::FilterForUniqueness(closed, 0.0);
    std::printf("%zu open edges before, %zu after; volume %.9g\n", Mesh::BoundaryEdges(part).size(),
                Mesh::BoundaryEdges(closed).size(), VolumeOf(closed));
    const bool isWritten =
        Tell(MeshUtils::WriteMesh(closed, argv[2], MeshUtils::MeshFileForm::BinaryStl), argv[2]) &&
        (picture == nullptr || WritePicture(part, drawn, picture));
    if (uncovered > 0) {
        std::fprintf(stderr, "%s: %zu boundary lines without a cover\n", argv[1], uncovered);
    }
    return !isWritten ? 1 : uncovered == 0 ? 0 : 3;
}
