// Any number of outlines with interior points to triangles, in the plane and in space. Both
// coordinate types are calculated in `double`; the floor below which two points are one is that of
// the caller's type.

#include <Sorvane/Tessellation_E.h>

#include "arrangement/OverlapsOnLines_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "mathbase/VectorUniqueness_Impl.h"
#include "triangulation/ConstrainedDelaunay_Impl.h"
#include "triangulation/PlaneMap_Impl.h"
#include "triangulation/SegmentSnap_Impl.h"

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

/// Moves the points near a segment onto it. The result: (segment, point) for each, ascending, and
/// for those within the floor of a segment, which stay where they are unless the tolerance moves
/// them.
std::vector<std::pair<int, int>> SnapToSegments(const std::vector<Segment>& segments,
                                                Points<2>& points, double tolerance, double floor)
{
    // Not the larger of the two as `std::max` has it: a tolerance may be NaN, and nothing moves.
    const double radius = std::fabs(tolerance) > floor ? tolerance : floor;
    const std::vector<int> nearest = Impl::NearestSegments(segments, points, radius);
    std::vector<std::pair<int, int>> snapped;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (nearest[i] < 0) {
            continue;
        }
        const Vec2d on =
            Impl::NearestOnSegment(segments[static_cast<std::size_t>(nearest[i])], points[i]);
        const bool moves = Matches(on, points[i], tolerance);
        if (moves || SquaredLength(on - points[i]) <= floor * floor) {
            points[i] = moves ? on : points[i];
            snapped.emplace_back(nearest[i], static_cast<int>(i));
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

/// The corners and constraints in the plane of boundaries with interior points; nothing when there
/// are neither segments nor points.
PlaneGraph GraphOf(const std::vector<Loop>& boundaries, Points<2> points, double tolerance,
                   double floor)
{
    std::vector<Segment> segments = SegmentsOf(boundaries, floor);
    if (!segments.empty() && !points.empty()) {
        SplitAtPoints(segments, SnapToSegments(segments, points, tolerance, floor), points, floor);
    }
    // Outlines in a row along one line: it matters which stretches there are, not whose.
    if (auto cut = Intersect::Impl::CutOverlapsOnLines(segments, floor)) {
        segments = std::move(cut->pieces);
    } else {
        Intersect::CutAtIntersections(segments, floor);
    }
    return MakeGraph(points, segments, floor);
}

std::vector<int> InsideTriangles(const PlaneGraph& graph, double floor)
{
    HalfEdge::Impl::ConstrainedDelaunay delaunay(graph.vertices, floor);
    delaunay.InsertSegments(graph.constraints);
    return std::move(delaunay).InsideTriangles();
}

// --- coordinates of the caller's type -----------------------------------------------------------

/// Rounds the vertices to `T` before they are triangulated: rounded afterwards, slivers would turn
/// over. `toCaller(vertex number)` is the rounded point, `toPlane` takes it back to the plane. What
/// rounding makes one vertex is one. The rounded points by vertex.
template <class Point, class ToCaller, class ToPlane>
std::vector<Point> RoundVertices(PlaneGraph& graph, double floor, const ToCaller& toCaller,
                                 const ToPlane& toPlane)
{
    std::vector<Point> rounded;
    rounded.reserve(graph.vertices.size());
    for (std::size_t i = 0; i < graph.vertices.size(); ++i) {
        rounded.push_back(toCaller(i));
    }
    Points<2> flat;
    flat.reserve(rounded.size());
    for (const Point& point : rounded) {
        flat.push_back(toPlane(point));
    }
    graph.vertices = flat;
    const std::vector<int> number = Vector::FilterForUniquenessAndIndex(graph.vertices, floor);
    std::vector<Point> ofVertex(graph.vertices.size());
    for (std::size_t i = 0; i < rounded.size(); ++i) {
        const auto vertex = static_cast<std::size_t>(number[i]);
        if (flat[i] == graph.vertices[vertex]) {
            ofVertex[vertex] = rounded[i];
        }
    }
    std::vector<std::pair<int, int>> constraints;
    for (const auto& [start, end] : graph.constraints) {
        const int from = number[static_cast<std::size_t>(start)];
        const int to = number[static_cast<std::size_t>(end)];
        if (from != to) {
            constraints.emplace_back(from, to);
        }
    }
    graph.constraints = std::move(constraints);
    return ofVertex;
}

template <class T>
IndexedPointsBase<2, T> Tessellated(const std::vector<Loop>& boundaries, const Points<2>& points,
                                    double tolerance)
{
    const double floor = kLengthFloor<T>;
    PlaneGraph graph = GraphOf(boundaries, points, tolerance, floor);
    IndexedPointsBase<2, T> mesh;
    if constexpr (std::is_same_v<T, double>) {
        mesh.indices = InsideTriangles(graph, floor);
        mesh.points = std::move(graph.vertices);
    } else {
        mesh.points = RoundVertices<VecBase<2, T>>(
            graph, floor, [&](std::size_t i) { return VecBase<2, T>(graph.vertices[i]); },
            [](const VecBase<2, T>& point) { return Vec2d(point); });
        mesh.indices = InsideTriangles(graph, floor);
    }
    return mesh;
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

template <class T>
IndexedPointsBase<3, T> Tessellated(const std::vector<Points<3>>& boundaries,
                                    const Points<3>& points, double tolerance)
{
    const double floor = kLengthFloor<T>;
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
    PlaneGraph graph = GraphOf(loops, MapToPlane(plane, points, floor, nullptr), tolerance, floor);
    std::vector<double> heights(graph.vertices.size(), 0.0);
    if (!corners.areFlat && !FindHeights(std::move(corners), graph.vertices, floor, heights)) {
        return {};
    }
    const auto toSpace = [&](std::size_t i) {
        return VecBase<3, T>(plane.ToSpace(graph.vertices[i], heights[i]));
    };
    IndexedPointsBase<3, T> mesh;
    if constexpr (std::is_same_v<T, double>) {
        mesh.indices = InsideTriangles(graph, floor);
        mesh.points.reserve(graph.vertices.size());
        for (std::size_t i = 0; i < graph.vertices.size(); ++i) {
            mesh.points.push_back(toSpace(i));
        }
    } else {
        mesh.points =
            RoundVertices<VecBase<3, T>>(graph, floor, toSpace, [&](const VecBase<3, T>& point) {
                const Vec3d mapped = plane.ToPlane(Vec3d(point));
                return Vec2d(mapped.x(), mapped.y());
            });
        mesh.indices = InsideTriangles(graph, floor);
    }
    return mesh;
}

// --- conversion ---------------------------------------------------------------------------------

template <class T, int D>
Points<D> InDoubles(const std::vector<VecBase<D, T>>& points)
{
    return Points<D>(points.begin(), points.end());
}

} // namespace

template <int D, class T>
IndexedPointsBase<D, T>
TessellateFlatBoundaries(const std::vector<std::vector<VecBase<D, T>>>& boundaries,
                         const std::vector<VecBase<D, T>>& interior, T tolerance)
{
    return Progress::Impl::Stoppable([&]() -> IndexedPointsBase<D, T> {
        const auto isUsable = [](const auto& points) { return Math::Impl::AreUsable(points); };
        if (!isUsable(interior) || !std::all_of(boundaries.begin(), boundaries.end(), isUsable)) {
            return {};
        }
        const auto wideTolerance = static_cast<double>(tolerance);
        if constexpr (std::is_same_v<T, double>) {
            return Tessellated<T>(boundaries, interior, wideTolerance);
        } else {
            std::vector<Points<D>> loops;
            loops.reserve(boundaries.size());
            for (const std::vector<VecBase<D, T>>& boundary : boundaries) {
                loops.push_back(InDoubles(boundary));
            }
            return Tessellated<T>(loops, InDoubles(interior), wideTolerance);
        }
    });
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
