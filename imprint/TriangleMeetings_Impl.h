// Where the triangles of two soups, or of one, cut each other.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <algorithm>
#include <array>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// Two triangles that cut each other, and the segment in which they do.
struct Meeting {
    int first;
    int second;
    std::array<Vec3d, 2> segment;
};

/// Triangles of `soup` (first) with those of `cutter` (second), ascending by both.
std::vector<Meeting> MeetingsOf(const TriangleSoup<3, double>& soup,
                                const TriangleSoup<3, double>& cutter);

/// Triangles of the soup with each other, first < second, ascending by both.
std::vector<Meeting> MeetingsWithin(const TriangleSoup<3, double>& soup);

/// `tolerance`, or what rounding does to points calculated from coordinates of that size if that is
/// more.
inline double AtLeastRounding(double tolerance, double largestCoordinate)
{
    constexpr double kRoundings = 8.0 * 0x1p-52;
    return std::max(tolerance, kRoundings * largestCoordinate);
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
