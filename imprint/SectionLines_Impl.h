// The lines in which one plane cuts the triangles of a mesh, linked.
#pragma once

#include <Sorvane/MeshSections_E.h>
#include <Velk/Math/VecBase_E.h>

#include <cmath>
#include <span>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// A level plane, and how corners lie to it. A corner in the plane counts as lying on the side away
/// from that whose limit is taken, so that there are two kinds of corners and no third.
struct SectionPlane {
    double height;
    double tolerance;
    bool isLimitFromBelow;

    SectionPlane(double planeHeight, const SectionOptions& options)
        : height(planeHeight), tolerance(options.tolerance > 0 ? options.tolerance : 0),
          isLimitFromBelow(options.side == SectionSide::Below)
    {
    }

    /// Never true again for a greater height once it is false: rounding a difference keeps order.
    bool IsAbove(double z) const
    {
        return isLimitFromBelow ? z - height >= -tolerance : z - height > tolerance;
    }
    bool IsOn(double z) const { return std::fabs(z - height) <= tolerance; }
};

/// Fills in lines and measures of `section`. `points` have their height as third coordinate;
/// `triangles` are the numbers, ascending, of those triples with a corner above the plane and one
/// that is not. These name three different points, all of them usable.
void LinkSection(std::span<const Vec3d> points, std::span<const int> indices,
                 std::span<const int> triangles, const SectionPlane& plane, MeshSection& section);

} // namespace Velk::Math::Sorvane::Mesh::Impl
