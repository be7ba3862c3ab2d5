// The Delaunay triangulation of points alone, by divide and conquer.
#pragma once

#include "mathbase/Predicates_Impl.h"
#include "triangulation/TriangleTable_Impl.h"

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

struct PointDelaunay {
    enum class Outcome {
        Done,
        Repeats,  ///< two points are equal
        Collinear ///< fewer than three points, or all on one line: there is no triangle
    };
    Outcome outcome = Outcome::Collinear;
    TriangleTable table;  ///< of `Done`, otherwise empty
    std::size_t work = 0; ///< flips, and steps made along hulls
};

/// Answer of `IsInCircle` for four points on one circle.
bool IsInCircleByTie(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d);

/// Is `d` inside the circle of the counter-clockwise triangle a, b, c? Exact. Of four points on one
/// circle the one that comes last by x, then y, counts as lying off it, on the outside of the other
/// three: so ties have one answer that does not depend on any order of work, and answers for many
/// points on one circle agree.
inline bool IsInCircle(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    const int side = Math::Impl::InCircle(a, b, c, d);
    return side != 0 ? side > 0 : IsInCircleByTie(a, b, c, d);
}

/// The Delaunay triangulation of all points up to the edge of their convex hull, with `IsInCircle`.
///
/// The result depends on the set of points alone, but for the numbers of triangles. Finite
/// coordinates within `kLargestCoordinate`. O(n log n) whatever the arrangement, about O(n) for
/// points that are spread evenly.
PointDelaunay DelaunayOfPoints(const std::vector<Vec2d>& points);

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
