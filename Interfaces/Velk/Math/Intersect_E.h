// Elementary intersections, nearest points and overlaps in the plane and in space, and the cutting
// and tracing of sets of planar segments and arcs.
#pragma once

#include <Velk/Math/Geometry_E.h>

#include <vector>

namespace Velk::Math::Intersect {

/// One polyline vertex that takes part in an intersection.
struct SORVANE_API PolyNodeDescriptor {
    int polyline = 0;
    int node = 0;

    friend constexpr bool operator==(const PolyNodeDescriptor&, const PolyNodeDescriptor&) = default;
};

// --- lines, segments and arcs in the plane ------------------------------------------------------

/// Do two segments cross or touch?
///
/// `hit` receives the point: an end point itself (its bits) where the segments meet at an end within
/// `tolerance`, otherwise the crossing of the lines. `overlap`: the segments are collinear within
/// `tolerance` and share a stretch longer than `tolerance`; `hit` is then the end of that stretch nearer
/// to `a0`. With `countCommonEnds` false, two segments that merely share an end (and no stretch) do
/// not count as meeting; an end that touches the inside of the other segment always counts. A segment
/// no longer than `tolerance` is a point. Without a meeting, or with NaN: false, `hit` zero, `overlap`
/// false.
template <class T>
bool SegmentSegment(const VecBase<2, T>& a0, const VecBase<2, T>& a1, const VecBase<2, T>& b0,
                    const VecBase<2, T>& b1, VecBase<2, T>& hit, bool& overlap,
                    bool countCommonEnds, T tolerance);

/// Crossing of two infinite lines. False, with `hit` zero, when they are parallel: the magnitude of the
/// sine between them is not strictly greater than `tolerance`, or a line has no direction.
SORVANE_API bool LineLine(const VecBase<2, double>& a0, const VecBase<2, double>& a1,
                          const VecBase<2, double>& b0, const VecBase<2, double>& b1,
                          VecBase<2, double>& hit, double tolerance);

/// Hits between an arc, given by its three fields, and the segment s0 s1: their number, 0, 1 or 2.
///
/// The hits come in order along the segment; `parameter0` and `parameter1` are their places on the arc
/// as a fraction of it, 0 at its start and 1 at its end. A line within `tolerance` of tangency gives
/// one hit. Ends of arc and segment belong to them, within `tolerance`. With `boundedSegment` false the
/// segment stands for its whole line. Unused outputs are zero.
template <class T>
int ArcSegment(const VecBase<2, T>& center, const VecBase<2, T>& start, T length,
               const VecBase<2, T>& s0, const VecBase<2, T>& s1, VecBase<2, T>& hit0,
               T& parameter0, VecBase<2, T>& hit1, T& parameter1, bool boundedSegment, T tolerance);

/// Nearest point of an arc, given by its three fields, to `point`; `parameter` receives its place as a
/// fraction of the arc, 0 at the start and 1 at the end.
///
/// Of the two ends equally near, the start. The centre is equally near to all points of the arc and
/// gives the start. An arc of radius at most the length floor, or of length 0, is its start. With
/// `snapToEnds`, a point of the arc that matches an end within the length floor becomes that end, with
/// parameter exactly 0 or 1 (the start first, where both match).
template <class T>
VecBase<2, T> ClosestPointOnArc(const VecBase<2, T>& center, const VecBase<2, T>& start, T length,
                                const VecBase<2, T>& point, T& parameter, bool snapToEnds);

// --- triangles ----------------------------------------------------------------------------------

/// Nearest point of the filled triangle, in the plane (T) or in space (`double`). By Voronoi regions of
/// the corners and sides (C. Ericson, Real-Time Collision Detection, 2005), so that a degenerate
/// triangle gives the nearest point of what remains of it.
template <int N, class T>
VecBase<N, T> ClosestPointOnTriangle(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                     const VecBase<N, T>& c, const VecBase<N, T>& point);

/// Nearest pair of two lines in space, or of two segments with `clamp`.
///
/// `s` and `t` are the parameters of `pa` = a0 + s (a1 - a0) and `pb` = b0 + t (b1 - b0). With `clamp`
/// a segment may be a point, and parallel segments give a nearest pair. Without it, false for parallel
/// lines (|sine|^2 at most the squared length floor) and for a line without direction; outputs are
/// then left as they were.
template <class T>
bool ClosestPointsOfTwoLines(const VecBase<3, T>& a0, const VecBase<3, T>& a1,
                             const VecBase<3, T>& b0, const VecBase<3, T>& b1, bool clamp, T& s,
                             T& t, VecBase<3, T>& pa, VecBase<3, T>& pb);

/// Is `point` in the plane triangle of either orientation, or no farther than `tolerance` from it?
template <class T>
bool PointInOrOnTriangle(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c,
                         const VecBase<2, T>& point, T tolerance);

/// Pierces a triangle, given relative to the point in question, with the Z axis.
///
/// `hit` is the piercing point; `first` and `second` are the points where the line of steepest slope
/// through `hit` leaves the triangle, the lower one first. On a horizontal triangle, where every line
/// is as steep, the line along X is taken, smaller x first. Sides and corners belong to the triangle.
/// False, with outputs zero, when the axis misses it or the triangle is vertical (its normal's z
/// vanishes beside its length).
SORVANE_API bool ProjectZAxisOnTriangle(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                        const VecBase<3, double>& c, VecBase<3, double>& hit,
                                        VecBase<3, double>& first, VecBase<3, double>& second);

/// Hit of a ray with a filled triangle, from either side.
///
/// `distance` is measured along the direction (of any length) in length units, negative behind the
/// origin. With `twoSided` the ray is the whole line and a hit behind the origin counts; without it
/// the distance must be at least -`tolerance`. Sides and corners belong to the triangle, with weights
/// down to -`tolerance`. `hit` and `distance` may be null. False, with outputs untouched, for a miss,
/// a ray in the triangle's plane, a degenerate triangle or a zero direction.
SORVANE_API bool RayTriangleHitPoint(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                     const VecBase<3, double>& c, const VecBase<3, double>& origin,
                                     const VecBase<3, double>& direction, VecBase<3, double>* hit,
                                     double* distance, bool twoSided, double tolerance);

/// Does the segment s0 s1, ends included within `tolerance`, cross the filled triangle's plane inside
/// it? A segment in the plane does not cross.
SORVANE_API bool SegmentTriangle(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                 const VecBase<3, double>& c, const VecBase<3, double>& s0,
                                 const VecBase<3, double>& s1, double tolerance);

/// The same, with the hit point, which lies on the segment; `hit` may be null and stays untouched when
/// the result is false.
SORVANE_API bool SegmentTriangleHitPoint(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                         const VecBase<3, double>& c, const VecBase<3, double>& s0,
                                         const VecBase<3, double>& s1, VecBase<3, double>* hit,
                                         double tolerance);

/// Does the closed ball meet the filled triangle? Touching counts.
SORVANE_API bool SphereTriangle(const VecBase<3, double>& center, double radius,
                                const VecBase<3, double>& a, const VecBase<3, double>& b,
                                const VecBase<3, double>& c);

/// Do two filled triangles meet? Touching within `tolerance` counts, coplanar overlap too.
SORVANE_API bool TriangleTriangle(const VecBase<3, double>& a0, const VecBase<3, double>& a1,
                                  const VecBase<3, double>& a2, const VecBase<3, double>& b0,
                                  const VecBase<3, double>& b1, const VecBase<3, double>& b2,
                                  double tolerance);

/// The same, with the ends `p` and `q` of the segment in which the triangles meet (one point: p = q).
/// With `coplanar` set, `p` and `q` are not to be read. Outputs are reset when the result is false.
/// T. Moeller, "A Fast Triangle-Triangle Intersection Test", 1997.
SORVANE_API bool TriangleTriangle(const VecBase<3, double>& a0, const VecBase<3, double>& a1,
                                  const VecBase<3, double>& a2, const VecBase<3, double>& b0,
                                  const VecBase<3, double>& b1, const VecBase<3, double>& b2,
                                  VecBase<3, double>& p, VecBase<3, double>& q, bool& coplanar,
                                  double tolerance);

/// Circumscribed circle in space. `radius` is squared with `squaredRadius`. False, with outputs zero,
/// for a degenerate triangle: |ab ^ ac| not strictly greater than `tolerance` times the longest edge
/// squared. J. R. Shewchuk, "Lecture Notes on Geometric Robustness", 2013, relative to the corner `a`.
template <class T>
bool FindCircumsphere(const VecBase<3, T>& a, const VecBase<3, T>& b, const VecBase<3, T>& c,
                      VecBase<3, T>& center, T& radius, bool squaredRadius, T tolerance);

// --- boxes --------------------------------------------------------------------------------------

/// Do two closed boxes overlap? Touching counts, NaN does not. The flag makes no difference: boxes that
/// only touch may hold contents that touch, so an overlap test that prunes must keep them.
SORVANE_API bool AABBAABB(const VecBase<3, double>& minA, const VecBase<3, double>& maxA,
                          const VecBase<3, double>& minB, const VecBase<3, double>& maxB, bool flag);

/// Does a filled triangle meet a closed box? Touching counts. Separating axes (T. Akenine-Moeller,
/// "Fast 3D Triangle-Box Overlap Testing", 2001).
SORVANE_API bool TriangleAABB(const VecBase<3, double>& a, const VecBase<3, double>& b,
                              const VecBase<3, double>& c, const VecBase<3, double>& min,
                              const VecBase<3, double>& max);

/// First point of a closed box on the ray, with its distance from the origin in length units; the
/// origin and 0 when that lies in the box. Slab method; a component of the direction may be 0. False,
/// with outputs zero, for a miss, a box behind the origin, an inverted box and a zero direction.
SORVANE_API bool RayAABB(const VecBase<3, double>& origin, const VecBase<3, double>& direction,
                         const VecBase<3, double>& min, const VecBase<3, double>& max,
                         VecBase<3, double>& hit, double& distance);

/// Distance of `point` to a closed box, 0 inside; squared with `squared`. NaN when a coordinate is
/// NaN, so that no comparison accepts it. An inverted box gives the distance to its farther faces.
template <int N, class T>
T DistanceToAABB(const VecBase<N, T>& min, const VecBase<N, T>& max, const VecBase<N, T>& point,
                 bool squared);

// --- sets of segments and arcs ------------------------------------------------------------------

/// Splits segments in place wherever they meet each other: at crossings, where an end touches the
/// inside of another element, and at both ends of a collinear overlap.
///
/// No element is dropped or merged; zero-length and repeated elements survive. An uncut element
/// keeps its place and its bits; a cut one is replaced by its pieces, in its direction, where it
/// stood. No cut is made within `tolerance` of an element's own ends or of another cut. True when
/// at least one element was cut; without one the lists are left untouched.
///
/// `tolerance` is a length (Euclidean, inclusive). Where it is below the rounding of the
/// coordinates (4 epsilon times the largest of an element, 8 for arcs), negative or NaN, that
/// rounding takes its place. Two elements meet once along each connected stretch on which they stay
/// within the tolerance of each other; where an end lies on such a stretch it is the meeting, so
/// that a line that runs into an arc smoothly, and one that merely shares an end, are not cut
/// beside the joint.
///
/// Elements that meet share the bits of the cut; an end that touches gives its own bits to it.
/// Meetings that an element has within the tolerance of each other, or of its own end, are one
/// point for all elements concerned, be there three or more: the end, if there is one, of lowest
/// number, otherwise the crossing found first. No cut moves by more than twice the tolerance for
/// that.
///
/// Elements with coordinates that are not finite or beyond 1e150, and an infinite tolerance, cut
/// nothing. Expected O((n + k) log n) for k cuts, whatever the mixture of lengths; only elements
/// crowded into one place (a fan about a common end) are compared all with all. Runs in parallel,
/// with the same result for any number of threads.
template <class T> bool CutAtIntersections(std::vector<Geometry::SegBase<T>>& segments, T tolerance);

/// The same for segments and arcs together: segment against segment, segment against arc, arc
/// against arc; arcs of one circle are cut at both ends of an overlap, a tangent line or circle
/// cuts once. The start of a full circle is one of its ends. Pieces of an arc keep its centre and
/// start at the cuts; their lengths add up to the arc's. An arc of more than a whole turn is cut on
/// its first turn only. Numbers (see above) run through the segments, then the arcs.
template <class T>
bool CutAtIntersections(std::vector<Geometry::SegBase<T>>& segments,
                        std::vector<Geometry::ArcBase<T>>& arcs, T tolerance);

/// Walks the outer boundary of a set of segments that meet at their ends only (as
/// `CutAtIntersections` leaves them), ends matching per coordinate within `tolerance`.
///
/// The walk begins at the lowest, then leftmost point and takes the rightmost turn at each junction
/// (exactly evaluated), so that `loop` runs counter-clockwise around everything connected to that
/// point; the direction and repetition of segments do not matter. Where the boundary touches itself
/// it passes the point and goes on, and it runs a bridge both ways; it ends when it would repeat
/// its first step. A closed loop repeats its first point, with the same bits, and the result is
/// true.
///
/// A boundary with a dead end can't close: the result is false and `loop` holds the open path
/// through the starting point, along the boundary in both directions to a dead end or to where it
/// would run a segment again. It runs as the lowest-numbered of its segments does, so that the
/// segments of one open polyline give that polyline back.
///
/// Points take the position in which they first occur in the list. Segments of matching ends, or
/// with coordinates not finite or beyond 1e150, are ignored. `loop` is cleared first; no segments:
/// false. Expected O(n log d) for at most d segments at a junction.
template <class T>
bool TraceOuterLoop(const std::vector<Geometry::SegBase<T>>& segments,
                    std::vector<VecBase<2, T>>& loop, T tolerance);

/// Groups of vertices of two lists of polylines that coincide within `tolerance` per coordinate,
/// each group one crossing with at least one vertex of each list.
///
/// Polylines are numbered through both lists: those of `second` follow those of `polylines`. Groups
/// are closed under coincidence (a chain of near vertices is one group), hold their members
/// ascending, and come in the order of their first members. A closed polyline counts with both its
/// first and its last vertex. `tolerance` 0 matches exact repeats, a negative one and NaN nothing;
/// a vertex that is not finite matches nothing. Expected O(n log n).
template <class T>
std::vector<std::vector<PolyNodeDescriptor>>
IntersectPolylines(const std::vector<std::vector<VecBase<2, T>>>& polylines,
                   const std::vector<std::vector<VecBase<2, T>>>& second, T tolerance);

// clang-format off
extern template SORVANE_API bool SegmentSegment(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  VecBase<2, float>&,  bool&, bool, float);
extern template SORVANE_API bool SegmentSegment(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, VecBase<2, double>&, bool&, bool, double);
extern template SORVANE_API int ArcSegment(const VecBase<2, float>&,  const VecBase<2, float>&,  float,  const VecBase<2, float>&,  const VecBase<2, float>&,  VecBase<2, float>&,  float&,  VecBase<2, float>&,  float&,  bool, float);
extern template SORVANE_API int ArcSegment(const VecBase<2, double>&, const VecBase<2, double>&, double, const VecBase<2, double>&, const VecBase<2, double>&, VecBase<2, double>&, double&, VecBase<2, double>&, double&, bool, double);
extern template SORVANE_API VecBase<2, float>  ClosestPointOnArc(const VecBase<2, float>&,  const VecBase<2, float>&,  float,  const VecBase<2, float>&,  float&,  bool);
extern template SORVANE_API VecBase<2, double> ClosestPointOnArc(const VecBase<2, double>&, const VecBase<2, double>&, double, const VecBase<2, double>&, double&, bool);
extern template SORVANE_API VecBase<2, float>  ClosestPointOnTriangle(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&);
extern template SORVANE_API VecBase<2, double> ClosestPointOnTriangle(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&);
extern template SORVANE_API VecBase<3, double> ClosestPointOnTriangle(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&);
extern template SORVANE_API bool ClosestPointsOfTwoLines(const VecBase<3, float>&,  const VecBase<3, float>&,  const VecBase<3, float>&,  const VecBase<3, float>&,  bool, float&,  float&,  VecBase<3, float>&,  VecBase<3, float>&);
extern template SORVANE_API bool ClosestPointsOfTwoLines(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, bool, double&, double&, VecBase<3, double>&, VecBase<3, double>&);
extern template SORVANE_API bool PointInOrOnTriangle(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  float);
extern template SORVANE_API bool PointInOrOnTriangle(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double);
extern template SORVANE_API bool FindCircumsphere(const VecBase<3, float>&,  const VecBase<3, float>&,  const VecBase<3, float>&,  VecBase<3, float>&,  float&,  bool, float);
extern template SORVANE_API bool FindCircumsphere(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, VecBase<3, double>&, double&, bool, double);
extern template SORVANE_API float  DistanceToAABB(const VecBase<2, float>&,  const VecBase<2, float>&,  const VecBase<2, float>&,  bool);
extern template SORVANE_API double DistanceToAABB(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, bool);
extern template SORVANE_API float  DistanceToAABB(const VecBase<3, float>&,  const VecBase<3, float>&,  const VecBase<3, float>&,  bool);
extern template SORVANE_API double DistanceToAABB(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, bool);
extern template SORVANE_API bool CutAtIntersections(std::vector<Geometry::SegBase<float>>&,  float);
extern template SORVANE_API bool CutAtIntersections(std::vector<Geometry::SegBase<double>>&, double);
extern template SORVANE_API bool CutAtIntersections(std::vector<Geometry::SegBase<float>>&,  std::vector<Geometry::ArcBase<float>>&,  float);
extern template SORVANE_API bool CutAtIntersections(std::vector<Geometry::SegBase<double>>&, std::vector<Geometry::ArcBase<double>>&, double);
extern template SORVANE_API bool TraceOuterLoop(const std::vector<Geometry::SegBase<float>>&,  std::vector<VecBase<2, float>>&,  float);
extern template SORVANE_API bool TraceOuterLoop(const std::vector<Geometry::SegBase<double>>&, std::vector<VecBase<2, double>>&, double);
extern template SORVANE_API std::vector<std::vector<PolyNodeDescriptor>> IntersectPolylines(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float);
extern template SORVANE_API std::vector<std::vector<PolyNodeDescriptor>> IntersectPolylines(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double);
// clang-format on

} // namespace Velk::Math::Intersect

namespace Velk::Math {
using Intersect::PolyNodeDescriptor;
} // namespace Velk::Math
