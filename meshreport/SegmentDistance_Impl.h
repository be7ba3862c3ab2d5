// The squared distance of a point from a segment in space: one formula for heights of triangles and
// for gaps, so that both agree to the last bit.
#pragma once

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/VecBase_E.h>

#include <algorithm>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// Squared distance of `point` from the segment a b. A segment no longer than the length floor
/// counts as its first end. NaN when an end of a longer segment is not finite, infinite or NaN when
/// the point isn't.
inline double SquaredSegmentDistance(const Vec3d& point, const Vec3d& a, const Vec3d& b)
{
    const Vec3d along = b - a;
    const double squaredLength = SquaredLength(along);
    const double t = squaredLength <= kSquaredLengthFloor<double>
                         ? 0.0
                         : std::clamp((point - a) * along / squaredLength, 0.0, 1.0);
    return SquaredLength(point - (a + t * along));
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
