// What the operations of the slicer share.
#pragma once

#include "mathbase/Values_Impl.h"

#include <Sorvane/TriangleSlicer_E.h>

#include <algorithm>
#include <array>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

using SoupTriangle = std::array<Vec3d, 3>;

/// Only triangles of usable coordinates are cut, cut others, and count for the box.
inline bool TakesPart(const SoupTriangle& triangle)
{
    return Math::Impl::IsUsable(triangle[0]) && Math::Impl::IsUsable(triangle[1]) &&
           Math::Impl::IsUsable(triangle[2]);
}

inline bool Precedes(const Vec3d& a, const Vec3d& b)
{
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
}

/// Points of a plane in space with where they came from: brings what was triangulated in the plane
/// back to the very corners it was made of.
class FlatPoints {
public:
    void Add(const Vec2d& flat, const Vec3d& point) { points_.push_back({flat, point}); }

    /// To be called between the last `Add` and the first look.
    void Sort();

    /// The point in space that was added with these very coordinates, the first added of several;
    /// null without one.
    const Vec3d* Find(const Vec2d& flat) const;

private:
    struct Entry {
        Vec2d flat;
        Vec3d point;
    };
    std::vector<Entry> points_;
};

} // namespace Velk::Math::Sorvane::Mesh::Impl
