// The nearest of many segments to each of many points, for points that are to be pulled onto
// segments close by.
#pragma once

#include <Velk/Math/Geometry_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// For each point the segment with the nearest point to it, of those whose box, grown by 1e-10 on
/// every side, comes strictly nearer than |radius|; of segments equally near the first in the list,
/// -1 without any.
///
/// Only boxes are compared with the radius: the segment may lie farther away, and who needs to know
/// compares for himself. A segment no longer than 1e-12 is its start. Coordinates are finite, the
/// radius is no NaN. In parallel; O((n + m) log m) for n points and m segments whose boxes do not
/// all overlap.
std::vector<int> NearestSegments(const std::vector<Geometry::SegBase<double>>& segments,
                                 const std::vector<Vec2d>& points, double radius);

/// The point of a segment nearest to a point, as `NearestSegments` takes it; beyond an end the end
/// itself, to the bit.
Vec2d NearestOnSegment(const Geometry::SegBase<double>& segment, const Vec2d& point);

} // namespace Velk::Math::Sorvane::Mesh::Impl
