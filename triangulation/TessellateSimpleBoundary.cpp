// One simple polygon to triangles.

#include <Sorvane/Tessellation_E.h>

#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "triangulation/MonotonePartitioner_Impl.h"
#include "triangulation/OutlineCrossing_Impl.h"
#include "triangulation/PlaneMap_Impl.h"

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane::Mesh {
namespace {

/// Numbers of the points that differ from the point before them, cyclically.
template <class T>
std::vector<int> DistinctCorners(const std::vector<VecBase<2, T>>& outline)
{
    std::vector<int> corners;
    corners.reserve(outline.size());
    const auto point = [&](int corner) { return outline[static_cast<std::size_t>(corner)]; };
    for (int i = 0; i < static_cast<int>(outline.size()); ++i) {
        if (corners.empty() || !Matches(point(i), point(corners.back()), kLengthFloor<T>)) {
            corners.push_back(i);
        }
    }
    while (corners.size() > 1 &&
           Matches(point(corners.back()), point(corners.front()), kLengthFloor<T>)) {
        corners.pop_back();
    }
    return corners;
}

template <class T>
std::vector<int> TriangleIndices(const std::vector<VecBase<2, T>>& p)
{
    const Vec2d last = Math::Impl::Widened(p[2]);
    const Vec2d a = Math::Impl::Widened(p[0]) - last;
    const Vec2d b = Math::Impl::Widened(p[1]) - last;
    const double area = 0.5 * (a ^ b);
    if (!(std::fabs(area) > kLengthFloor<T>)) {
        return {};
    }
    return area > 0 ? std::vector<int>{0, 1, 2} : std::vector<int>{0, 2, 1};
}

/// Do two sides cross at a point that rounding to `T` and the floor leave apart from all corners?
template <class T>
bool CrossesItselfClearly(const std::vector<VecBase<2, T>>& outline)
{
    std::vector<Vec2d> points;
    points.reserve(outline.size());
    double largest = 0;
    for (const VecBase<2, T>& point : outline) {
        points.push_back(Math::Impl::Widened(point));
        largest = std::max({largest, std::fabs(points.back().x()), std::fabs(points.back().y())});
    }
    constexpr double kFloors = 8; // cutting moves a point by no more than two, and rounding
    const double clearance = kFloors * (static_cast<double>(kLengthFloor<T>) +
                                        std::numeric_limits<T>::epsilon() * largest);
    return Impl::FindClearCrossing(points, clearance).isFound;
}

/// As cutting tells, which may touch every crossing of an outline that runs to and fro and of which
/// one is enough: crossings that are beyond any doubt of rounding are looked for beforehand.
template <class T>
bool MeetsItself(const std::vector<VecBase<2, T>>& outline)
{
    constexpr std::size_t kFewSides = 64; // whose crossings are few, too
    if (outline.size() > kFewSides && CrossesItselfClearly(outline)) {
        return true;
    }
    std::vector<Geometry::SegBase<T>> segments = Vector::PointStreamToSegments(outline);
    segments.push_back({outline.back(), outline.front()});
    const std::size_t sides = segments.size();
    return Intersect::CutAtIntersections(segments, kLengthFloor<T>) && segments.size() != sides;
}

/// False when the partition can't be closed.
template <class T>
bool PartitionIndices(const std::vector<VecBase<2, T>>& outline, SweepOrder order,
                      std::vector<int>& indices)
{
    MonotonePartitioner<T> partitioner(outline, OutlineTurn::MakeCounterClockwise, order);
    partitioner.Partition();
    if (!partitioner.TriangulateFaces()) {
        return false;
    }
    partitioner.ImproveDelaunay();
    partitioner.ImproveDelaunay();
    partitioner.WriteIndices(indices);
    return true;
}

template <class T>
std::vector<int> SimplePolygonIndices(const std::vector<VecBase<2, T>>& outline)
{
    if (outline.size() < 3) {
        return {};
    }
    if (outline.size() == 3) {
        return TriangleIndices(outline);
    }
    if (MeetsItself(outline)) {
        return {};
    }
    // The exact order knows no x that are nearly equal, which fits walls that lean by the floor.
    std::vector<int> indices;
    if (!PartitionIndices(outline, SweepOrder::ByFloor, indices)) {
        PartitionIndices(outline, SweepOrder::Exact, indices);
    }
    return indices;
}

template <class T>
std::vector<int> Tessellated(const std::vector<VecBase<2, T>>& boundary)
{
    if (!Math::Impl::AreUsable(boundary)) {
        return {};
    }
    const std::vector<int> corners = DistinctCorners(boundary);
    std::vector<VecBase<2, T>> outline;
    outline.reserve(corners.size());
    for (const int corner : corners) {
        outline.push_back(boundary[static_cast<std::size_t>(corner)]);
    }
    std::vector<int> indices = SimplePolygonIndices(outline);
    for (int& index : indices) {
        index = corners[static_cast<std::size_t>(index)];
    }
    return indices;
}

template <class T>
std::vector<int> Tessellated(const std::vector<VecBase<3, T>>& boundary)
{
    if (boundary.size() < 3 || !Math::Impl::AreUsable(boundary)) {
        return {};
    }
    const Impl::PlaneMap plane = Impl::PlaneMap::OfPolygon(boundary);
    if (!plane.IsValid()) {
        return {};
    }
    std::vector<VecBase<2, T>> flat;
    flat.reserve(boundary.size());
    for (const VecBase<3, T>& point : boundary) {
        const VecBase<3, T> mapped = plane.ToPlane(point);
        flat.push_back(VecBase<2, T>(mapped.x(), mapped.y()));
    }
    return Tessellated(flat);
}

} // namespace

template <int D, class T>
std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<D, T>>& boundary)
{
    return Progress::Impl::Stoppable([&] { return Tessellated(boundary); });
}

template std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<2, float>>&);
template std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<2, double>>&);
template std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<3, float>>&);
template std::vector<int> TessellateSimpleBoundary(const std::vector<VecBase<3, double>>&);

} // namespace Velk::Math::Sorvane::Mesh
