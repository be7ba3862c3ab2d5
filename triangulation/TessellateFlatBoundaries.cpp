// Any number of outlines with interior points to triangles, in the plane and in space. Both
// coordinate types are calculated in `double`; the floor below which two points are one is that of
// the caller's type.

#include <Sorvane/Tessellation_E.h>

#include "mathbase/VectorUniqueness_Impl.h"
#include "triangulation/PlaneMap_Impl.h"
#include "triangulation/SegmentSnap_Impl.h"
#include "triangulation/UsablePoints_Impl.h"

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Segment = Geometry::SegBase<double>;
using Loop = std::vector<Vec2d>;
using PlaneMesh = IndexedPointsBase<2, double>;

template <int D>
using Points = std::vector<VecBase<D, double>>;

// --- in the plane -------------------------------------------------------------------------------

std::vector<Segment> SegmentsOf(const std::vector<Loop>& boundaries, double floor)
{
    std::vector<Segment> segments;
    for (const Loop& loop : boundaries) {
        for (std::size_t i = 0; i + 1 < loop.size(); ++i) {
            segments.push_back({loop[i], loop[i + 1]});
        }
        if (loop.size() > 1 && !Matches(loop.back(), loop.front(), floor)) {
            segments.push_back({loop.back(), loop.front()});
        }
    }
    return segments;
}

/// Moves the points near a segment onto it. The result: (segment, point) for each, ascending.
std::vector<std::pair<int, int>> SnapToSegments(const std::vector<Segment>& segments,
                                                Points<2>& points, double tolerance)
{
    const auto nearest = Impl::NearestOnSegments(segments, points, tolerance);
    std::vector<std::pair<int, int>> snapped;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (nearest[i].segment >= 0 && Matches(nearest[i].point, points[i], tolerance)) {
            points[i] = nearest[i].point;
            snapped.emplace_back(nearest[i].segment, static_cast<int>(i));
        }
    }
    std::sort(snapped.begin(), snapped.end());
    return snapped;
}

/// Splits the segments at the points snapped to them. The points themselves become the joints:
/// calculated anew from their parameters they would differ in the last bits. The first piece takes
/// the segment's place, the others go to the end.
void SplitAtPoints(std::vector<Segment>& segments, const std::vector<std::pair<int, int>>& snapped,
                   const Points<2>& points, double floor)
{
    std::vector<std::pair<double, Vec2d>> joints;
    for (auto first = snapped.begin(); first != snapped.end();) {
        const int number = first->first;
        const Segment whole = segments[static_cast<std::size_t>(number)];
        const Vec2d d = whole.end - whole.start;
        joints.clear();
        for (; first != snapped.end() && first->first == number; ++first) {
            const Vec2d& p = points[static_cast<std::size_t>(first->second)];
            if (!Matches(p, whole.start, floor) && !Matches(p, whole.end, floor)) {
                const double squared = SquaredLength(d);
                joints.emplace_back(
                    squared <= floor * floor ? 0.0 : ((p - whole.start) * d) / squared, p);
            }
        }
        std::stable_sort(joints.begin(), joints.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        Vec2d from = whole.start;
        for (std::size_t k = 0; k <= joints.size(); ++k) {
            const Vec2d to = k < joints.size() ? joints[k].second : whole.end;
            if (k == 0) {
                segments[static_cast<std::size_t>(number)] = {from, to};
            } else {
                segments.push_back({from, to});
            }
            from = to;
        }
    }
}

/// Corners of the triangulation, and the constraints as pairs of their numbers.
struct PlaneGraph {
    Points<2> vertices;
    std::vector<std::pair<int, int>> constraints;
};

/// Points, then ends of segments, made unique. Segments that shrink to one vertex are left out.
PlaneGraph MakeGraph(const Points<2>& points, const std::vector<Segment>& segments, double floor)
{
    PlaneGraph graph;
    graph.vertices = points;
    graph.vertices.reserve(points.size() + 2 * segments.size());
    for (const Segment& segment : segments) {
        graph.vertices.push_back(segment.start);
        graph.vertices.push_back(segment.end);
    }
    const std::vector<int> number = Vector::FilterForUniquenessAndIndex(graph.vertices, floor);
    for (std::size_t end = points.size(); end + 1 < number.size(); end += 2) {
        if (number[end] != number[end + 1]) {
            graph.constraints.emplace_back(number[end], number[end + 1]);
        }
    }
    return graph;
}

PlaneMesh Triangulated(PlaneGraph graph)
{
    using namespace HalfEdge;
    constexpr int kOuterNodes = 3;
    DelaunayMesher<DelaunayNode<double>, DelaunayEdge, DelaunayFacet> mesher;
    mesher.points = std::move(graph.vertices);
    if (mesher.Triangulate()) {
        for (const auto& [start, end] : graph.constraints) {
            if (!mesher.InsertEdge(start + kOuterNodes, end + kOuterNodes)) {
                break;
            }
            mesher.noConstraints = false;
        }
    }
    PlaneMesh mesh;
    mesher.ExtractMesh(mesh.points, mesh.indices);
    return mesh;
}

PlaneMesh Tessellated(const std::vector<Loop>& boundaries, Points<2> points, double tolerance,
                      double floor)
{
    std::vector<Segment> segments = SegmentsOf(boundaries, floor);
    if (segments.empty() && points.empty()) {
        return {};
    }
    if (!segments.empty() && !points.empty()) {
        SplitAtPoints(segments, SnapToSegments(segments, points, tolerance), points, floor);
    }
    Intersect::CutAtIntersections(segments, floor);
    return Triangulated(MakeGraph(points, segments, floor));
}

// --- in space -----------------------------------------------------------------------------------

/// Corners of boundaries in the plane with their heights over it.
struct Heights {
    Loop corners;
    std::vector<double> heights;
    bool areFlat = true;
};

Loop MapToPlane(const Impl::PlaneMap& plane, const Points<3>& points, double floor,
                Heights* heights)
{
    Loop loop;
    loop.reserve(points.size());
    for (const Vec3d& point : points) {
        const Vec3d mapped = plane.ToPlane(point);
        loop.push_back(Vec2d(mapped.x(), mapped.y()));
        if (heights != nullptr) {
            heights->corners.push_back(loop.back());
            heights->heights.push_back(mapped.z());
            heights->areFlat = heights->areFlat && std::fabs(mapped.z()) <= floor;
        }
    }
    return loop;
}

/// For each point of a mesh the height of the corner that it is, of several the lowest. False when
/// the points are not just the corners.
bool FindHeights(Heights corners, const Points<2>& points, double floor,
                 std::vector<double>& heights)
{
    const std::vector<int> survivor = Vector::FilterForUniquenessAndIndex(corners.corners, floor);
    if (corners.corners.size() != points.size()) {
        return false;
    }
    std::vector<double> lowest(points.size(), std::numeric_limits<double>::infinity());
    for (std::size_t i = 0; i < survivor.size(); ++i) {
        double& height = lowest[static_cast<std::size_t>(survivor[i])];
        height = std::min(height, corners.heights[i]);
    }
    const Vector::Impl::UniqueLookup<2, double> lookup(corners.corners, floor);
    heights.clear();
    for (const Vec2d& point : points) {
        const int corner = lookup.Index(point);
        if (corner < 0) {
            return false;
        }
        heights.push_back(lowest[static_cast<std::size_t>(corner)]);
    }
    return true;
}

IndexedPointsBase<3, double> Tessellated(const std::vector<Points<3>>& boundaries,
                                         const Points<3>& points, double tolerance, double floor)
{
    if (boundaries.empty() && points.empty()) {
        return {};
    }
    const Impl::PlaneMap plane = boundaries.empty() ? Impl::PlaneMap::OfPoints(points)
                                                    : Impl::PlaneMap::OfPolygon(boundaries.front());
    if (!plane.IsValid()) {
        return {};
    }
    Heights corners;
    std::vector<Loop> loops;
    for (const Points<3>& boundary : boundaries) {
        loops.push_back(MapToPlane(plane, boundary, floor, &corners));
    }
    PlaneMesh flat =
        Tessellated(loops, MapToPlane(plane, points, floor, nullptr), tolerance, floor);
    std::vector<double> heights(flat.points.size(), 0.0);
    if (!corners.areFlat && !FindHeights(std::move(corners), flat.points, floor, heights)) {
        return {};
    }
    IndexedPointsBase<3, double> mesh;
    mesh.indices = std::move(flat.indices);
    mesh.points.reserve(flat.points.size());
    for (std::size_t i = 0; i < flat.points.size(); ++i) {
        mesh.points.push_back(plane.ToSpace(flat.points[i], heights[i]));
    }
    return mesh;
}

// --- conversion ---------------------------------------------------------------------------------

template <class To, class From, int D>
std::vector<VecBase<D, To>> Converted(const std::vector<VecBase<D, From>>& points)
{
    std::vector<VecBase<D, To>> converted;
    converted.reserve(points.size());
    for (const VecBase<D, From>& point : points) {
        if constexpr (std::is_same_v<To, From>) {
            converted.push_back(point);
        } else {
            converted.push_back(VecBase<D, To>(point));
        }
    }
    return converted;
}

} // namespace

template <int D, class T>
IndexedPointsBase<D, T>
TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>& boundaries,
                         const std::vector<VecBase<D, T>>& interior, T tolerance)
{
    const auto isUsable = [](const auto& points) { return Impl::AreUsable(points); };
    if (!isUsable(interior) || !std::all_of(boundaries.begin(), boundaries.end(), isUsable)) {
        return {};
    }
    std::vector<Points<D>> loops;
    loops.reserve(boundaries.size());
    for (const std::vector<VecBase<D, T>>& boundary : boundaries) {
        loops.push_back(Converted<double>(boundary));
    }
    IndexedPointsBase<D, double> mesh =
        Tessellated(loops, Converted<double>(interior), static_cast<double>(tolerance),
                    static_cast<double>(kLengthFloor<T>));
    if constexpr (std::is_same_v<T, double>) {
        return mesh;
    } else {
        return {Converted<T>(mesh.points), std::move(mesh.indices)};
    }
}

template <int D, class T>
IndexedPointsBase<D, T>
TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>& boundaries)
{
    return TessellateFlatBoundaries(boundaries, std::vector<VecBase<D, T>>{},
                                    std::sqrt(kLengthFloor<T>));
}

template <int D, class T>
IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>& boundary,
                                               const std::vector<VecBase<D, T>>& interior,
                                               T tolerance)
{
    return TessellateFlatBoundaries(std::vector<std::vector<VecBase<D, T>>>(1, boundary), interior,
                                    tolerance);
}

template <int D, class T>
IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>& boundary)
{
    return TessellateFlatBoundaries(std::vector<std::vector<VecBase<D, T>>>(1, boundary));
}

// clang-format off
#define SORVANE_INSTANTIATE(D, T) \
    template IndexedPointsBase<D, T> TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>&, const std::vector<VecBase<D, T>>&, T); \
    template IndexedPointsBase<D, T> TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>&); \
    template IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>&, const std::vector<VecBase<D, T>>&, T); \
    template IndexedPointsBase<D, T> TessellateFlatBoundary(const std::vector<VecBase<D, T>>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
