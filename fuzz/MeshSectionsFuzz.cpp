// Arbitrary triangles through plane sections: no crash, no hang, and what holds for any input
// whatever. Points are finite, none is repeated at once, measures are those of the lines, a
// prepared mesh gives the same bits, and lines are no longer than the cut triangles are wide.
//
// Layout of an input: a byte each for the three coordinates of the normal, for flags (1 the limit
// from below), the tolerance and the number of heights (3 at most), a byte for each height and one
// for the number of points; then the points (a small integer of one byte for each coordinate, of
// which 127 and -128 stand for NaN and infinity), and the rest are indices of one byte, which
// needn't be valid.

#include <Sorvane/MeshSections_E.h>
#include <Velk/Math/Vector_E.h>

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Fuzz::Input;
using Fuzz::Require;
using Lines = std::vector<std::vector<Vec2d>>;

double LengthOf(const Lines& lines, bool isClosed)
{
    double length = 0;
    for (const std::vector<Vec2d>& line : lines) {
        Require(line.size() >= (isClosed ? 3U : 2U));
        for (std::size_t i = 0; i < line.size(); ++i) {
            Require(std::isfinite(line[i].x()) && std::isfinite(line[i].y()));
            if (isClosed || i > 0) {
                const Vec2d& before = line[i > 0 ? i - 1 : line.size() - 1];
                Require(!(before == line[i]));
                length += Vector::Length(line[i] - before);
            }
        }
    }
    return length;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, std::min<std::size_t>(size, 600));
    Vec3d normal;
    for (double& x : normal) {
        x = input.Coordinate(false);
    }
    const Mesh::SectionOptions options{(input.Byte() & 1) != 0 ? Mesh::SectionSide::Below
                                                               : Mesh::SectionSide::Above,
                                       0.01 * input.Byte()};
    std::vector<double> heights(static_cast<std::size_t>(input.Byte() & 3));
    for (double& height : heights) {
        height = input.Coordinate(false);
    }
    Mesh::IndexedPointsBase<3, double> mesh;
    const int count = input.Byte() & 63;
    for (int i = 0; i < count; ++i) {
        const double x = input.Coordinate(false);
        const double y = input.Coordinate(false);
        mesh.points.push_back({x, y, input.Coordinate(false)});
    }
    while (input.Left() > 0) {
        mesh.indices.push_back(input.Byte());
    }
    mesh.indices.resize(mesh.indices.size() / 3 * 3);

    const std::vector<Mesh::MeshSection> sections =
        Mesh::MeshSections(mesh, normal, heights, options);
    Require(sections.size() == heights.size());
    const Mesh::PlaneSlicer slicer(mesh, normal);
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const Mesh::MeshSection& section = sections[i];
        const Mesh::MeshSection prepared = slicer.Section(heights[i], options);
        Require(prepared.loops == section.loops && prepared.chains == section.chains &&
                prepared.area == section.area && prepared.length == section.length &&
                prepared.openLength == section.openLength);
        const double length = LengthOf(section.loops, true);
        Require(std::fabs(length - section.length) <= 1e-9 * length);
        const double openLength = LengthOf(section.chains, false);
        Require(std::fabs(openLength - section.openLength) <= 1e-9 * openLength);
        // Every chord is within its triangle, which is within a cube of edge 64.
        Require(length + openLength <= static_cast<double>(mesh.indices.size() / 3) * 64 * 1.7321);
        double area = 0;
        for (const std::vector<Vec2d>& loop : section.loops) {
            area += Vector::SignedArea(loop);
        }
        Require(area == section.area);
    }
    return 0;
}
