// Elementary intersections, nearest points and overlaps in the plane and in space, and the cutting
// and tracing of sets of planar segments and arcs.
#pragma once

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Supported_E.h>

#include <vector>

namespace Velk::Math::Intersect {

/// One polyline vertex that takes part in an intersection.
struct SORVANE_API PolyNodeDescriptor {
    int polyline = 0; ///< number of the polyline, through both lists
    int node = 0;     ///< number of the vertex in it

    friend constexpr bool operator==(const PolyNodeDescriptor&, const PolyNodeDescriptor&) = default;
};

// --- lines, segments and arcs in the plane ------------------------------------------------------

/// Do two segments cross or touch: is their distance at most `tolerance`?
///
/// Ends come first: where ends of either segment lie within `tolerance` (Euclidean) of the other,
/// `hit` is such an end itself (its bits), of several the one nearest to `a0`, then the first of
/// a0, a1, b0, b1. Otherwise `hit` is the crossing, with the same bits whatever the order and
/// directions of the segments; swapping them where ends touch moves it by `tolerance` at most,
/// unless they overlap.
///
/// `overlap`: two touching ends are farther apart than `tolerance`, so that the segments share the
/// stretch between them; `hit` is then its end nearer to `a0`. With `countCommonEnds` false, two
/// segments that merely share an end (and no stretch) do not count as meeting; an end that touches
/// the inside of the other segment always counts. A segment no longer than `tolerance` is a point
/// and overlaps nothing. Without a meeting, or with NaN or infinity: false, `hit` zero, `overlap`
/// false.
///
/// Here and in the elementary tests below a negative tolerance counts as 0, NaN as one that nothing
/// meets; `float` forms calculate in `double`, where differences of floats are all but exact.
template <class T>
bool SegmentSegment(const VecBase<2, T>& a0, const VecBase<2, T>& a1, const VecBase<2, T>& b0,
                    const VecBase<2, T>& b1, VecBase<2, T>& hit, bool& overlap,
                    bool countCommonEnds, T tolerance);

/// Crossing of two infinite lines. False, with `hit` zero, when they are parallel: the magnitude of
/// the sine between them is not strictly greater than `tolerance`, or a line has no direction, or
/// the crossing is too far away to be a finite point.
SORVANE_API bool LineLine(const VecBase<2, double>& a0, const VecBase<2, double>& a1,
                          const VecBase<2, double>& b0, const VecBase<2, double>& b1,
                          VecBase<2, double>& hit, double tolerance);

/// Hits between an arc, given by its three fields, and the segment s0 s1: their number, 0, 1 or 2.
///
/// The hits come in order along the segment; `parameter0` and `parameter1` are their places on the
/// arc as a fraction of it, 0 at its start and 1 at its end. A line within `tolerance` of tangency
/// gives one hit, the foot of the center or what of the segment is nearest to it.
///
/// Ends belong to arc and segment, within `tolerance` (a distance): where a crossing lies beyond an
/// end that is itself that near the other element, the end is the hit (the bits of s0, s1 or
/// `start`). With `boundedSegment` false the segment stands for its whole line. An arc whose radius
/// or length, or a bounded segment whose length, is at most `tolerance` is a point: its start, or
/// s0. An arc longer than a turn gives places of the first turn. A crossing that is no finite point,
/// as of sizes that differ by more than some 1e150, is no hit. Unused outputs are zero; with NaN or
/// infinity all are.
template <class T>
int ArcSegment(const VecBase<2, T>& center, const VecBase<2, T>& start, T length,
               const VecBase<2, T>& s0, const VecBase<2, T>& s1, VecBase<2, T>& hit0,
               T& parameter0, VecBase<2, T>& hit1, T& parameter1, bool boundedSegment, T tolerance);

/// Nearest point of an arc, given by its three fields, to `point`; `parameter` receives its place
/// as a fraction of the arc, 0 at the start and 1 at the end.
///
/// Of two ends equally near (within rounding), the start. The center is equally near to all points
/// of the arc and gives the start. An arc of radius at most the length floor, or of length 0, or
/// with NaN, is its start. Where the nearest point is an end, so are its bits (for the end: those
/// of `Geometry::EndPoint`). An arc longer than a turn gives places of the first turn. With
/// `snapToEnds`, a point of the arc that matches an end within the length floor becomes that end,
/// with parameter exactly 0 or 1 (the start first, where both match).
template <class T>
VecBase<2, T> ClosestPointOnArc(const VecBase<2, T>& center, const VecBase<2, T>& start, T length,
                                const VecBase<2, T>& point, T& parameter, bool snapToEnds);

// --- triangles ----------------------------------------------------------------------------------

/// Nearest point of the filled triangle, in the plane (T) or in space (`double`).
///
/// In the plane a point of the triangle is its own nearest point, to the bit; corners too come back
/// as they are. In any case the point lies in the box of the corners, exactly. A degenerate triangle
/// gives the nearest point of what remains of it, a segment or a point. NaN gives NaN. Found
/// from the edges that the point lies beyond, and for a point over the inside along the normal
/// (compare C. Ericson, Real-Time Collision Detection, 2005, 5.1.5, whose weights lose their digits
/// on thin triangles).
template <int N, class T>
VecBase<N, T> ClosestPointOnTriangle(const VecBase<N, T>& a, const VecBase<N, T>& b,
                                     const VecBase<N, T>& c, const VecBase<N, T>& point);

/// Nearest pair of two lines in space, or of two segments with `clamp`.
///
/// `s` and `t` are the parameters of `pa` = a0 + s (a1 - a0) and `pb` = b0 + t (b1 - b0). With
/// `clamp` a segment may be a point, and parallel segments give a nearest pair that has an end in
/// it (the first of a0, a1, b0, b1 that has one). Without it, false for parallel lines (|sine|^2 at
/// most the squared length floor) and for a line no longer than the length floor. False in either
/// form for NaN and infinity. Where the result is false, outputs are left as they were.
template <class T>
bool ClosestPointsOfTwoLines(const VecBase<3, T>& a0, const VecBase<3, T>& a1,
                             const VecBase<3, T>& b0, const VecBase<3, T>& b1, bool clamp, T& s,
                             T& t, VecBase<3, T>& pa, VecBase<3, T>& pb);

/// Is `point` in the plane triangle of either orientation, or no farther than `tolerance`
/// (Euclidean) from it? A point between two triangles that share an edge is in at least one of
/// them. A degenerate triangle is a segment or a point. False for NaN.
template <class T>
bool PointInOrOnTriangle(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c,
                         const VecBase<2, T>& point, T tolerance);

/// Pierces a triangle, given relative to the point in question, with the Z axis.
///
/// `hit` is the piercing point; `first` and `second` are the points where the line of steepest
/// slope through `hit` leaves the triangle, the lower one first. On a horizontal triangle, where
/// every line is as steep, the line along X is taken, smaller x first. Edges and corners belong to
/// the triangle. `hit` has x = y = 0 exactly. False, with outputs zero, when the axis misses it or
/// the triangle is vertical (its normal's z is at most the length floor times its length);
/// horizontal likewise.
SORVANE_API bool ProjectZAxisOnTriangle(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                        const VecBase<3, double>& c, VecBase<3, double>& hit,
                                        VecBase<3, double>& first, VecBase<3, double>& second);

/// Hit of a ray with a filled triangle, from either side.
///
/// `distance` is measured along the direction (of any length) in length units, negative behind the
/// origin. With `twoSided` the ray is the whole line and a hit behind the origin counts; without it
/// the distance must be at least -`tolerance`. Edges and corners belong to the triangle, with
/// weights down to -`tolerance`; also with tolerance 0 no ray slips between triangles that share an
/// edge, both given with the same coordinates. A ray along a coordinate axis keeps its other two
/// coordinates to the bit. `hit` and `distance` may be null. False, with outputs untouched, for a
/// miss, a triangle seen edge-on (within rounding), a degenerate one, and a direction without
/// finite positive length. S. Woop, C. Benthin, I. Wald, "Watertight Ray/Triangle Intersection",
/// 2013.
SORVANE_API bool RayTriangleHitPoint(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                     const VecBase<3, double>& c, const VecBase<3, double>& origin,
                                     const VecBase<3, double>& direction, VecBase<3, double>* hit,
                                     double* distance, bool twoSided, double tolerance);

/// Does the segment s0 s1 cross the filled triangle?
///
/// It does when its ends lie on different sides of the plane and its line hits the triangle as in
/// `RayTriangleHitPoint`, or when an end that lies within `tolerance` of the plane is no farther
/// than that from the triangle. A segment of which both ends do lies in the plane and does not
/// cross.
SORVANE_API bool SegmentTriangle(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                 const VecBase<3, double>& c, const VecBase<3, double>& s0,
                                 const VecBase<3, double>& s1, double tolerance);

/// The same, with the hit point, which lies on the segment; `hit` may be null and stays untouched
/// when the result is false.
SORVANE_API bool SegmentTriangleHitPoint(const VecBase<3, double>& a, const VecBase<3, double>& b,
                                         const VecBase<3, double>& c, const VecBase<3, double>& s0,
                                         const VecBase<3, double>& s1, VecBase<3, double>* hit,
                                         double tolerance);

/// Does the closed ball meet the filled triangle: is their distance at most `radius`? Touching
/// counts. The comparison is taken as it stands, and no distance is at most a negative radius: such
/// a ball is empty here, whereas the search trees, which compare squares, take a radius by its
/// magnitude.
SORVANE_API bool SphereTriangle(const VecBase<3, double>& center, double radius,
                                const VecBase<3, double>& a, const VecBase<3, double>& b,
                                const VecBase<3, double>& c);

/// Do two filled triangles meet: is their distance at most `tolerance`? Coplanar overlap counts,
/// and a triangle no wider than `tolerance` is a segment or a point.
///
/// The corners of triangles in a tilted plane are off it by their own rounding. Triangles that lie in
/// one plane as far as that rounding can tell are taken to lie in it, and whether they overlap there
/// is decided exactly: a tolerance below the rounding, 0 included, finds every overlap of triangles
/// with area whose coordinates were each rounded once. Corners that gathered several roundings may
/// lie farther off the plane; a triangle no wider than about a thousand times its rounding has no
/// plane of its own; and one without any area is a segment or a point. Such pairs are decided
/// exactly, as their coordinates stand. The result does not depend on the order of the triangles or
/// of their corners, nor on their common size.
SORVANE_API bool TriangleTriangle(const VecBase<3, double>& a0, const VecBase<3, double>& a1,
                                  const VecBase<3, double>& a2, const VecBase<3, double>& b0,
                                  const VecBase<3, double>& b1, const VecBase<3, double>& b2,
                                  double tolerance);

/// The same, with the ends `p` and `q` of the segment in which the triangles meet (one point: p =
/// q), each within `tolerance` of both. `coplanar`: all corners of one lie within `tolerance`, or the
/// rounding of the coordinates, of the plane of the other; `p` and `q` are not to be read then. Outputs are reset when the result
/// is false. T. Moeller, "A Fast Triangle-Triangle Intersection Test", 1997.
SORVANE_API bool TriangleTriangle(const VecBase<3, double>& a0, const VecBase<3, double>& a1,
                                  const VecBase<3, double>& a2, const VecBase<3, double>& b0,
                                  const VecBase<3, double>& b1, const VecBase<3, double>& b2,
                                  VecBase<3, double>& p, VecBase<3, double>& q, bool& coplanar,
                                  double tolerance);

/// Circumscribed circle in space. `radius` is squared with `squaredRadius`. False, with outputs
/// zero, for a degenerate triangle: |ab ^ ac| not strictly greater than `tolerance` times the
/// longest edge squared; or the center is no finite point. J. R. Shewchuk, "Lecture Notes on
/// Geometric Robustness", 2013, relative to the corner `a`.
template <class T>
bool FindCircumsphere(const VecBase<3, T>& a, const VecBase<3, T>& b, const VecBase<3, T>& c,
                      VecBase<3, T>& center, T& radius, bool squaredRadius, T tolerance);

// --- boxes --------------------------------------------------------------------------------------

/// Do two closed boxes overlap? Touching counts, NaN does not; an inverted box is taken as it
/// stands. The flag makes no difference: boxes that only touch may hold contents that touch, so an
/// overlap test that prunes must keep them.
SORVANE_API bool AABBAABB(const VecBase<3, double>& minA, const VecBase<3, double>& maxA,
                          const VecBase<3, double>& minB, const VecBase<3, double>& maxB, bool flag);

/// Does a filled triangle meet a closed box? Touching counts, and so does a gap of the size of
/// rounding (some 1e-15 of the triangle's and the box's extent): never a false "no". A box may be
/// unbounded; an inverted one and a triangle that is not finite meet nothing. Separating axes (T.
/// Akenine-Moeller, "Fast 3D Triangle-Box Overlap Testing", 2001).
SORVANE_API bool TriangleAABB(const VecBase<3, double>& a, const VecBase<3, double>& b,
                              const VecBase<3, double>& c, const VecBase<3, double>& min,
                              const VecBase<3, double>& max);

/// First point of a closed box on the ray, with its distance from the origin in length units; the
/// origin and 0 when that lies in the box. A component of the direction may be 0, a box flat or
/// unbounded. A ray that grazes the box within rounding hits it (never a false "no"), and the point
/// lies in the box in any case. False, with outputs zero, for a miss, a box behind the origin, an
/// inverted box, NaN, and a direction without finite positive length. Slab method, with the error
/// bound of T. Ize, "Robust BVH Ray Traversal", 2013.
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
/// nothing. Expected O((n + k) log n) for k meetings of two elements, whatever the mixture of
/// lengths; a further log n for elements nested in each other, long ones that converge and fans
/// about a common end. Elements that overlap on one line are each cut at every end inside them: k,
/// and the number of pieces, grows as n^2 there. Of elements that cross in one point each has one
/// cut, but k grows as n^2 too. Repetitions of an element count once. Runs in parallel, with the
/// same result for any number of threads.
template <class T> bool CutAtIntersections(std::vector<Geometry::SegBase<T>>& segments, T tolerance);

/// The same for segments and arcs together: segment against segment, segment against arc, arc
/// against arc; arcs of one circle are cut at both ends of an overlap, a tangent line or circle
/// cuts once. The start of a full circle is one of its ends. Pieces of an arc keep its center and
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
/// point; the direction and repetition of segments do not matter. Of several connected components the
/// one whose boundary encloses the largest area is walked around, of equal ones that with the lowest,
/// then leftmost point; the others are left out. Where the boundary touches itself it passes the point
/// and goes on, and it runs a bridge both ways; it ends when it would repeat its first step. A closed
/// loop repeats its first point, with the same bits, and the result is true.
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

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Intersect {
template <class T> requires(!SupportedReal<T>) bool SegmentSegment(const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, VecBase<2, T>&, bool&, bool, T) = delete;
template <class T> requires(!SupportedReal<T>) int ArcSegment(const VecBase<2, T>&, const VecBase<2, T>&, T, const VecBase<2, T>&, const VecBase<2, T>&, VecBase<2, T>&, T&, VecBase<2, T>&, T&, bool, T) = delete;
template <class T> requires(!SupportedReal<T>) VecBase<2, T> ClosestPointOnArc(const VecBase<2, T>&, const VecBase<2, T>&, T, const VecBase<2, T>&, T&, bool) = delete;
template <int N, class T> requires(!SupportedPoint<N, T> || (N == 3 && std::same_as<T, float>)) VecBase<N, T> ClosestPointOnTriangle(const VecBase<N, T>&, const VecBase<N, T>&, const VecBase<N, T>&, const VecBase<N, T>&) = delete;
template <class T> requires(!SupportedReal<T>) bool ClosestPointsOfTwoLines(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, bool, T&, T&, VecBase<3, T>&, VecBase<3, T>&) = delete;
template <class T> requires(!SupportedReal<T>) bool PointInOrOnTriangle(const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, T) = delete;
template <class T> requires(!SupportedReal<T>) bool FindCircumsphere(const VecBase<3, T>&, const VecBase<3, T>&, const VecBase<3, T>&, VecBase<3, T>&, T&, bool, T) = delete;
template <int N, class T> requires(!SupportedPoint<N, T>) T DistanceToAABB(const VecBase<N, T>&, const VecBase<N, T>&, const VecBase<N, T>&, bool) = delete;
template <class T> requires(!SupportedReal<T>) bool CutAtIntersections(std::vector<Geometry::SegBase<T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) bool CutAtIntersections(std::vector<Geometry::SegBase<T>>&, std::vector<Geometry::ArcBase<T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) bool TraceOuterLoop(const std::vector<Geometry::SegBase<T>>&, std::vector<VecBase<2, T>>&, T) = delete;
template <class T> requires(!SupportedReal<T>) std::vector<std::vector<PolyNodeDescriptor>> IntersectPolylines(const std::vector<std::vector<VecBase<2, T>>>&, const std::vector<std::vector<VecBase<2, T>>>&, T) = delete;
} // namespace Velk::Math::Intersect
// clang-format on
/// @endcond
