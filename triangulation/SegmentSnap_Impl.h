// The nearest of many segments to each of many points, for points that are to be pulled onto
// segments close by.
#pragma once

#include <Velk/Math/Geometry_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// A point on a segment and the segment's place in the list; -1 when there is none.
struct NearestOnSegment {
    Vec2d point;
    int segment = -1;
};

/// For each point the nearest point on any segment whose box, grown by 1e-10 on every side, comes
/// strictly nearer than |radius|; of segments equally near the first in the list. Without such a
/// segment the point itself and -1.
///
/// Only boxes are compared with the radius: the answer may lie farther away, and who needs to know
/// compares for himself. A segment no longer than 1e-12 is its start. Coordinates are finite. In
/// parallel; O((n + m) log m) for n points and m segments whose boxes do not all overlap.
std::vector<NearestOnSegment>
NearestOnSegments(const std::vector<Geometry::SegBase<double>>& segments,
                  const std::vector<Vec2d>& points, double radius);

} // namespace Velk::Math::Sorvane::Mesh::Impl
