// Arbitrary triangles through the slicer: no crash, no hang, and what holds for any input whatever.
// A plane leaves no more of a soup than there is, and both sides together not less; pieces have the
// area of the triangles that were cut, and sections are finite.
//
// Layout of an input: a byte each for flags (1: the triangles are raw doubles), for the tolerance,
// for the three coordinates of the normal and of a point of the plane; then the corners of the
// triangles, small integers of one byte times 1/4, of which 127 and -128 stand for NaN and
// infinity.

#include <Sorvane/TriangleSlicer_E.h>
#include <Velk/Math/Vector_E.h>

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Fuzz::Require;
using Soup = Mesh::TriangleSlicer::Triangles;

double AreaOf(const Soup& soup)
{
    double area = 0;
    for (const auto& t : soup) {
        const double part = Vector::Length((t[1] - t[0]) ^ (t[2] - t[0])) / 2;
        area += std::isfinite(part) ? part : 0; // those that take no part stay as they are
    }
    return area;
}

Vec3d ReadPoint(Fuzz::Input& input, bool isRaw)
{
    Vec3d point;
    for (double& x : point) {
        x = input.Coordinate(isRaw);
    }
    return point;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Fuzz::Input input(data, std::min<std::size_t>(size, 1200));
    const bool isRaw = (input.Byte() & 1) != 0;
    const double tolerance = 0.001 * input.Byte();
    const Vec3d normal = ReadPoint(input, false);
    const Vec3d point = ReadPoint(input, false);
    Soup soup;
    while (input.Left() > 0 && soup.size() < 48) {
        soup.push_back({ReadPoint(input, isRaw), ReadPoint(input, isRaw), ReadPoint(input, isRaw)});
    }
    const double whole = AreaOf(soup);
    const bool hasOthers = std::any_of(soup.begin(), soup.end(), [](const auto& t) {
        return !std::isfinite(SquaredLength(t[0]) + SquaredLength(t[1]) + SquaredLength(t[2]));
    });
    const double slack = 1e-6 * whole + 1e-9;
    const Mesh::TriangleSlicer slicer(soup);
    double kept = 0;
    bool isCut = false;
    for (const Vec3d& direction : {normal, -normal}) {
        const auto half = slicer.SliceTriangles(direction, point, false, tolerance);
        isCut = isCut || !half.triangles.empty();
        for (const auto& section : half.sections) {
            Require(section.polyline.size() > 0 && section.outline.size() > 1);
            for (const Vec3d& p : section.outline) {
                Require(std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]));
            }
        }
        Mesh::CapOfSections(half);
        const double area = AreaOf(half.triangles);
        Require(isRaw || hasOthers || area <= whole + slack);
        kept += area;
    }
    (void)slicer.SegmentsAtIntersection(normal, point);
    // Without a tolerance each side has what lies in the plane.
    Require(isRaw || !isCut || tolerance > 0 || hasOthers || kept >= whole - slack);

    const auto cut = slicer.SelfIntersections();
    Soup pieces = cut.first;
    pieces.insert(pieces.end(), cut.uncut.begin(), cut.uncut.end());
    Require(isRaw || std::fabs(AreaOf(pieces) - whole) <= slack);
    const auto middle = soup.begin() + static_cast<std::ptrdiff_t>(soup.size() / 2);
    const Soup front(soup.begin(), middle);
    const Soup back(middle, soup.end());
    const auto both = Mesh::TriangleSlicer(front).SliceTriangles(back);
    pieces = both.first;
    pieces.insert(pieces.end(), both.uncut.begin(), both.uncut.end());
    Require(isRaw || std::fabs(AreaOf(pieces) - AreaOf(front)) <= slack);
    return 0;
}
