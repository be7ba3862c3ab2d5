// What the searches for oriented boxes and prisms share: local coordinates, the smallest rectangle
// of a polygon, farthest points of a hull, and the choice among many candidates.
#pragma once

#include "mathbase/Buckets_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Transform_E.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Bounding::Impl {

/// Points relative to the first of them and scaled by a power of two, so that products of lengths
/// stay within the numbers, those of `float` too: q = (p - points[0]) scale. Sets of less than 1
/// are brought to that size, since the length floors of the hulls are meant for coordinates of
/// about that; huge ones stay large, so that those floors are less than a rounding of theirs.
template <int N>
struct LocalPoints {
    std::vector<VecBase<N, double>> points;
    double scale = 1.0;

    /// A length back in the caller's unit; division by a power of two rounds nothing.
    template <class Value>
    Value Unscaled(const Value& value) const
    {
        return value / scale;
    }
};

template <int N, class T>
LocalPoints<N> Localized(const std::vector<VecBase<N, T>>& points)
{
    double largest = 0.0;
    for (const auto& p : points) {
        largest = std::max(largest, Math::Impl::LargestMagnitude(Math::Impl::Widened(p)));
    }
    LocalPoints<N> local;
    local.scale = largest > Math::Impl::kLargestCoordinate ? Math::Impl::ScaleToOne(largest) : 1.0;
    local.points.reserve(points.size());
    double size = 0.0;
    for (const auto& p : points) {
        local.points.push_back(Math::Impl::Widened(p) * local.scale -
                               Math::Impl::Widened(points.front()) * local.scale);
        size = std::max(size, Math::Impl::LargestMagnitude(local.points.back()));
    }
    constexpr double kLargest = 0x1p40;
    if ((size < 1.0 && size > 0.0) || size > kLargest) {
        const double change = Math::Impl::ScaleToOne(size) * (size < 1.0 ? 1.0 : 0.5 * kLargest);
        local.scale *= change;
        for (auto& q : local.points) {
            q *= change;
        }
    }
    return local;
}

template <int N, class T>
bool AreFinite(const std::vector<VecBase<N, T>>& points)
{
    return std::all_of(points.begin(), points.end(),
                       [](const auto& p) { return Math::Impl::IsFinite(p); });
}

// --- the plane ----------------------------------------------------------------------------------

/// Rectangle about a polygon: x = origin + a along + b left, with a and b from zero to the size.
struct Rectangle {
    Vec2d origin;
    Vec2d along; // unit
    Vec2d size;
};

/// Rectangle of least area with an edge along one of the polygon's, by rotating calipers; nothing
/// when all vertices coincide. `polygon` may be any list: if it isn't strictly convex and
/// counter-clockwise, the edges are those of its hull.
std::optional<Rectangle> SmallestRectangle(const std::vector<Vec2d>& polygon);

/// Hull of points of the plane for measuring it: sorts them in place. Free of the length floors of
/// the public hull; it may have dents of the size of rounding.
std::vector<Vec2d> PlainHull(std::vector<Vec2d>& points);

/// Area of a polygon, positive when it runs counter-clockwise, about its first vertex.
double PolygonArea(const std::vector<Vec2d>& polygon);

// --- frames -------------------------------------------------------------------------------------

/// The columns of a rotation.
struct Frame {
    Vec3d x;
    Vec3d y;
    Vec3d z;
};

template <int N>
Frame FrameOf(const MatBase<N, N, double>& m)
{
    return {{m(0, 0), m(1, 0), m(2, 0)}, {m(0, 1), m(1, 1), m(2, 1)}, {m(0, 2), m(1, 2), m(2, 2)}};
}

/// Box in local coordinates: from `low` to `high` along the axes of `frame`, through their origin.
struct FramedBox {
    Frame frame;
    Vec3d low;
    Vec3d high;

    Vec3d Size() const { return high - low; }
};

/// Least box along the axes of `frame` that holds the points, of which there is at least one.
FramedBox BoxAlong(const Frame& frame, const std::vector<Vec3d>& points);

/// Volume, and surface for boxes of equal volume.
using Merit = std::pair<double, double>;
inline Merit MeritOf(const Vec3d& size)
{
    return {size.x() * size.y() * size.z(),
            size.x() * size.y() + size.y() * size.z() + size.z() * size.x()};
}

/// Writes a box in local coordinates back to the frame of the caller's points.
void WriteBox(const FramedBox& box, const Vec3d& firstPoint, const LocalPoints<3>& local,
              TransformBase<3>& transform, Vec3d& size);

/// What a set of points is for a box: a flat set gets its box here, of a solid one the hull is
/// handed on, and of any other `transform` and `size` are the neutral ones and `triangles` is
/// empty. True for a flat set with a box.
bool FlatBoxOrHull(const std::vector<Vec3d>& points, TransformBase<3>& transform, Vec3d& size,
                   std::vector<Vec3d>& hullPoints, std::vector<int>& triangles);

// --- farthest points ----------------------------------------------------------------------------

/// Farthest points of a convex mesh by climbing along its edges, from where a table over directions
/// says. A corner with many triangles, the tip of a cone or one that a flat cap is fanned from,
/// isn't compared with each of its neighbors, so that climbing past it costs no more than their
/// logarithm.
class SupportGraph {
public:
    /// Every index must be that of a point. Takes over what it needs of both.
    SupportGraph(const std::vector<Vec3d>& points, const std::vector<int>& triangles);

    /// The greatest p * direction that climbing finds: for a convex mesh the greatest, for any mesh
    /// no more than that, and bit for bit the product of one of the points.
    double Reach(const Vec3d& direction) const;

private:
    /// The neighbors of a corner with many, in order around it. From a corner of a convex mesh they
    /// are seen as a convex polygon in a plane across: `slopes` are its corners, each the way to
    /// the neighbor divided by how far that goes along one common axis. So slope * direction rises
    /// and falls once around.
    struct Ring {
        int corner;
        std::vector<int> neighbors;
        std::vector<Vec3d> slopes;
    };

    void AddRings(const std::vector<int>& triangles);
    /// Nothing where the neighbors are not seen so: the mesh isn't convex there.
    std::optional<Ring> RingAround(int corner, const Vec3d& inward) const;
    static int SteepestOf(const Ring& ring, const Vec3d& direction);
    const Ring* RingOf(int corner) const;

    int Climb(const Vec3d& direction, int from) const;
    std::size_t CellOf(const Vec3d& direction) const;
    Vec3d CenterOf(std::size_t cell) const;

    std::size_t cellsPerEdge_;
    std::vector<Vec3d> points_; // those that are near each other lie near each other in memory
    Math::Impl::Buckets<int, int> neighbors_;
    std::vector<Ring> rings_; // by corner
    std::vector<int> start_;  // by cell of a cube about the origin
};

// --- choosing -----------------------------------------------------------------------------------

/// Bound of a candidate that is out of the question.
inline constexpr Merit kDropped{std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::infinity()};

/// The number of the candidate of least merit, the lower number where two are equal; -1 when all
/// are dropped or NaN.
///
/// No bound may be above its candidate's merit, in either half. Only candidates whose bound is
/// below the best merit so far are asked for theirs, side by side; the answer is that of asking for
/// all.
template <class MeritOfCandidate>
int BestCandidate(const std::vector<Merit>& bounds, const MeritOfCandidate& meritOf)
{
    std::vector<int> order;
    for (std::size_t i = 0; i < bounds.size(); ++i) {
        if (bounds[i].first < kDropped.first) {
            order.push_back(static_cast<int>(i));
        }
    }
    const auto key = [&](int i) { return std::pair(bounds[static_cast<std::size_t>(i)], i); };
    std::sort(order.begin(), order.end(), [&](int a, int b) { return key(a) < key(b); });

    std::pair<Merit, int> best{kDropped, -1};
    std::vector<Merit> merits;
    std::size_t batch = 1;
    for (std::size_t first = 0; first < order.size(); first += batch, batch *= 2) {
        if (best.second >= 0 && !(key(order[first]) < best)) {
            break;
        }
        if (first > 0) {
            batch = std::min(batch, order.size() - first);
        }
        merits.resize(batch);
        Parallel::Impl::ApplyParallel(
            std::size_t{0}, batch, [&](std::size_t k) { merits[k] = meritOf(order[first + k]); });
        for (std::size_t k = 0; k < batch; ++k) {
            if (merits[k].first < kDropped.first) { // false for NaN
                best = std::min(best, {merits[k], order[first + k]});
            }
        }
    }
    return best.second;
}

} // namespace Velk::Math::Sorvane::Bounding::Impl
