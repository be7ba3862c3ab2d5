// Soups for the tests of the slicer, and measures of them that share no code with it.
#pragma once

#include "tests/support/MeshGenerators.h"

#include <Sorvane/TriangleSlicer_E.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <map>
#include <utility>
#include <vector>

namespace Support {

using Soup = Velk::Math::Sorvane::Mesh::TriangleSoup<3, double>;

inline Soup SoupOf(const IndexedMesh& mesh)
{
    Soup soup;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
        };
        soup.push_back({corner(0), corner(1), corner(2)});
    }
    return soup;
}

inline Soup Joined(Soup a, const Soup& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

template <class Map>
Soup MappedSoup(Soup soup, const Map& map)
{
    for (auto& triangle : soup) {
        for (Vec3d& corner : triangle) {
            corner = map(corner);
        }
    }
    return soup;
}

/// The volume that the triangles enclose, relative to one of their corners.
inline double SoupVolume(const Soup& soup)
{
    long double sum = 0;
    for (const auto& t : soup) {
        const Vec3d& o = soup.front()[0];
        sum += (t[0] - o) * ((t[1] - o) ^ (t[2] - o));
    }
    return static_cast<double>(sum / 6);
}

inline double SoupArea(const Soup& soup)
{
    long double sum = 0;
    for (const auto& t : soup) {
        const Vec3d doubled = (t[1] - t[0]) ^ (t[2] - t[0]);
        sum += std::sqrt(static_cast<long double>(doubled * doubled));
    }
    return static_cast<double>(sum / 2);
}

/// Edges that are not run as often one way as the other, told by the bits of their ends: 0 for what
/// is closed.
inline std::size_t OpenEdges(const Soup& soup)
{
    using Key = std::array<double, 3>;
    std::map<std::pair<Key, Key>, int> balance;
    for (const auto& t : soup) {
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3d& a = t[i];
            const Vec3d& b = t[(i + 1) % 3];
            const Key from{a[0] + 0.0, a[1] + 0.0, a[2] + 0.0}; // 0 for -0
            const Key to{b[0] + 0.0, b[1] + 0.0, b[2] + 0.0};
            if (from < to) {
                ++balance[{from, to}];
            } else if (to < from) {
                --balance[{to, from}];
            }
        }
    }
    std::size_t open = 0;
    for (const auto& [edge, count] : balance) {
        open += count != 0 ? 1 : 0;
    }
    return open;
}

inline std::vector<std::vector<Vec3d>>
PolylinesOf(const Velk::Math::Sorvane::Mesh::TriangleSlicer::HalfspaceTriangles& half)
{
    std::vector<std::vector<Vec3d>> polylines;
    for (const auto& section : half.sections) {
        polylines.push_back(section.polyline);
    }
    return polylines;
}

inline bool IsClosedLine(const std::vector<Vec3d>& polyline)
{
    return polyline.size() > 2 && polyline.front() == polyline.back();
}

/// All that closes the kept triangles, by sections.
inline Soup Caps(const Velk::Math::Sorvane::Mesh::TriangleSlicer::HalfspaceTriangles& half)
{
    Soup caps;
    for (const auto& section : half.sections) {
        caps = Joined(std::move(caps), SoupOf(section.cap));
    }
    return caps;
}

/// A cylinder about the z axis from `low` to `high`, open at both ends, normals outward.
inline Soup Tube(double radius, double low, double high, int sides)
{
    Soup soup;
    const auto at = [&](int k, double z) {
        const double angle = Velk::Math::kTwoPi<double> * (k % sides) / sides;
        return Vec3d(radius * std::cos(angle), radius * std::sin(angle), z);
    };
    for (int k = 0; k < sides; ++k) {
        soup.push_back({at(k, low), at(k + 1, low), at(k + 1, high)});
        soup.push_back({at(k, low), at(k + 1, high), at(k, high)});
    }
    return soup;
}

} // namespace Support
