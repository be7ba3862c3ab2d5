// What the fits of tools share: the drawn outline put where a tool stands, distances from
// polylines, and the shapes that a convex tool can be tried with. All in `double`, whatever type
// the caller's points have.
#pragma once

#include <Sorvane/SegmentTree_E.h>
#include <Sorvane/Tools_E.h>
#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Mill::Impl {

using WideTool = ConvexStandardToolBase<double>;

/// Distances of points from a polyline of one point or more: from each segment when these are few,
/// through a tree over them otherwise.
class PolylineDistance {
public:
    explicit PolylineDistance(std::vector<Vec2d> points);

    const std::vector<Vec2d>& Points() const { return points_; }
    double operator()(const Vec2d& point) const;

private:
    std::vector<Vec2d> points_;
    std::unique_ptr<const Tree::Quadtree::SegmentTree<double>> tree_;
};

/// A drawn outline with its tip at the origin.
struct Outline {
    Vec2d corner;           ///< the upper corner of its box; the lower one is the origin
    PolylineDistance input; ///< first point at the origin, last one at the corner
    /// The convex hull from the origin, along its lower right to the corner, and on to the last
    /// vertex at the corner's height; it ends at the corner, where it returns to if that vertex is
    /// another one.
    PolylineDistance hull;
    /// The hull as far as the corner: what a profile can follow.
    PolylineDistance profile;

    /// Does the hull go on over the top?
    bool IsClosedOverTop() const { return hull.Points().size() > profile.Points().size(); }
};

/// The outline that the points draw. At least one point, all of them usable, as are their
/// differences.
Outline OutlineOf(std::vector<Vec2d> points, const Vec2d& low, const Vec2d& high);

/// Largest distance between the points of one polyline and the other polyline, both ways.
double LargestDistance(const PolylineDistance& a, const PolylineDistance& b);

/// That, and the mean over the points of both.
struct Deviations {
    double largest = 0;
    double mean = 0;
};
Deviations DeviationsOf(const PolylineDistance& a, const PolylineDistance& b);

/// Margin by which a hull may leave the profile of a tool that contains it: 1e-10, or the rounding
/// of coordinates of that size where this is more. `epsilon` is that of the tool's coordinate type.
double ContainmentMargin(const Vec2d& corner, double epsilon);

/// Are all points of the hull, but the first and the last, within the tool's profile? Told from the
/// arcs themselves: chords of a flattened profile lie inside of them, and would cut off the points
/// that lie on them.
bool ContainsHull(const WideTool& tool, const std::vector<Vec2d>& hull, double margin);

/// The tool that a chain through the hull says, after as many of its elements were merged as a tool
/// can't have. False when there is no chain.
bool ToolFromChain(const std::vector<Vec2d>& profile, double diagonal, double tolerance,
                   WideTool& tool);

/// Tools tried on a hull without regard to a tolerance: each slanted edge of it as the cone, with
/// corners below and above or without, and corners that meet without a cone; then the best of them
/// with all their fields adjusted by least squares. The best first, 16 at most; none for a hull of
/// fewer than three vertices.
std::vector<WideTool> ShapesOf(const std::vector<Vec2d>& profile);

} // namespace Velk::Math::Sorvane::Mill::Impl
