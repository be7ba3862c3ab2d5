// Surface of revolution of a profile polyline: rings of points turned step by step about the axis,
// and the bands of triangles that ranges of the profile sweep from ring to ring.

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Geometry_E.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane {

using Mesh::TaggedTriangle;

namespace {

/// Greatest distance of a profile point from the axis; the lowest finite value when there is none.
/// The axis counts as a direction by the same floor as in the rotation about it; without a
/// direction the distances are those from the axis point.
template <class T>
T GreatestRadius(const VecBase<3, T>& axisPoint, const VecBase<3, T>& axisDirection,
                 const std::vector<VecBase<3, T>>& profile)
{
    const VecBase<3, T> direction(Normalized(Vec3d(axisDirection), kLengthFloor<double>));
    T greatest = std::numeric_limits<T>::lowest();
    for (const VecBase<3, T>& point : profile) {
        const VecBase<3, T> toPoint = point - axisPoint;
        const T radius = Length(toPoint - direction * (direction * toPoint));
        if (radius > greatest) {
            greatest = radius;
        }
    }
    return greatest;
}

/// Asks for room for `count` elements. A count beyond any container, or beyond `limit`, ends in the
/// container's own length error.
template <class Element>
void ReserveAtMost(std::vector<Element>& elements, double count, std::size_t limit)
{
    elements.reserve(count <= static_cast<double>(limit) ? static_cast<std::size_t>(count)
                                                         : elements.max_size() + 1);
}

/// Range of profile steps, the last point clipped to the profile.
struct ProfileRange {
    int first;
    int last;
};

std::vector<ProfileRange> ClippedRanges(const std::vector<std::pair<int, int>>& ranges,
                                        int profileSize)
{
    std::vector<ProfileRange> clipped;
    clipped.reserve(ranges.size());
    for (const auto& [first, last] : ranges) {
        clipped.push_back({first, std::min(last, profileSize - 1)});
    }
    return clipped;
}

/// Appends the ring before it, turned once, until there are `ringCount` rings. The axis point is
/// taken off twice and added once.
template <class T>
void AppendRings(const VecBase<3, T>& axisPoint, const TransformBase<3>& turn, int ringCount,
                 std::vector<VecBase<3, T>>& points)
{
    const std::size_t profileSize = points.size();
    for (int ring = 1; ring < ringCount; ++ring) {
        const std::size_t previousRing = static_cast<std::size_t>(ring - 1) * profileSize;
        for (std::size_t i = 0; i < profileSize; ++i) {
            const VecBase<3, T> previous = points[previousRing + i];
            points.push_back(turn * (previous - axisPoint - axisPoint) + axisPoint);
        }
    }
}

template <class Tag>
TaggedTriangle<Tag> MakeTriangle(int a, int b, int c, std::size_t range)
{
    if constexpr (std::is_void_v<Tag>) {
        return {{a, b, c}};
    } else {
        return {{a, b, c}, static_cast<Tag>(range)};
    }
}

/// The bands of all ranges: between each ring and the one before it, the last ring before the
/// first.
template <class Tag>
void AppendBands(const std::vector<ProfileRange>& ranges, int profileSize, int ringCount,
                 std::vector<TaggedTriangle<Tag>>& triangles)
{
    double steps = 0;
    for (const auto& [first, last] : ranges) {
        steps += std::max(0.0, static_cast<double>(last) - first);
    }
    ReserveAtMost(triangles, 2.0 * steps * ringCount, triangles.max_size());
    for (std::size_t range = 0; range < ranges.size(); ++range) {
        const auto [first, last] = ranges[range];
        if (first >= last) {
            continue;
        }
        int previousBase = (ringCount - 1) * profileSize;
        for (int ring = 0; ring < ringCount; ++ring) {
            const int base = ring * profileSize;
            for (int j = first; j < last; ++j) {
                triangles.push_back(
                    MakeTriangle<Tag>(previousBase + j, base + j, base + j + 1, range));
                triangles.push_back(
                    MakeTriangle<Tag>(previousBase + j, base + j + 1, previousBase + j + 1, range));
            }
            previousBase = base;
        }
    }
}

} // namespace

template <class T, class Tag>
Mesh::IndexedTrianglesBase<3, T, Tag>
RevolvedPolylineAroundAxis(const VecBase<3, T>& axisPoint, const VecBase<3, T>& axisDirection,
                           const std::vector<VecBase<3, T>>& profile,
                           const std::vector<std::pair<int, int>>& ranges, T tolerance)
{
    Mesh::IndexedTrianglesBase<3, T, Tag> surface;
    if (profile.empty()) {
        return surface;
    }
    const T step =
        Geometry::AngleStep(GreatestRadius(axisPoint, axisDirection, profile), tolerance);
    if (!(step > 0 && std::isfinite(step))) {
        return surface;
    }
    const double rings = std::max(1.0, static_cast<double>(std::ceil(kTwoPi<T> / step)));
    // Points are numbered by int, so that is where the length error begins.
    ReserveAtMost(surface.points, rings * static_cast<double>(profile.size()),
                  static_cast<std::size_t>(std::numeric_limits<int>::max()));
    const int ringCount = static_cast<int>(rings);
    const auto profileSize = static_cast<int>(profile.size());

    const TransformBase<3> turn =
        Transform::BuildRotationFromAxisAngle(Vec3d(axisDirection), kTwoPi<double> / ringCount);
    surface.points.assign(profile.begin(), profile.end());
    AppendRings(axisPoint, turn, ringCount, surface.points);
    AppendBands(ClippedRanges(ranges, profileSize), profileSize, ringCount, surface.triangles);
    return surface;
}

// clang-format off
#define SORVANE_INSTANTIATE(T, Tag) \
    template Mesh::IndexedTrianglesBase<3, T, Tag> RevolvedPolylineAroundAxis(const VecBase<3, T>&, const VecBase<3, T>&, const std::vector<VecBase<3, T>>&, const std::vector<std::pair<int, int>>&, T);
SORVANE_INSTANTIATE(float, void)
SORVANE_INSTANTIATE(float, int)
SORVANE_INSTANTIATE(float, unsigned long long)
SORVANE_INSTANTIATE(double, void)
SORVANE_INSTANTIATE(double, int)
SORVANE_INSTANTIATE(double, unsigned long long)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane
