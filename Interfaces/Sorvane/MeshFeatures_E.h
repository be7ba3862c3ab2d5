// What a machining host looks for on a bare triangle mesh: flat regions, straight boundaries, sharp edges,
// circular arcs among them, drilled holes, and holes that are drilled in steps.
//
// Lengths and tolerances are in the caller's unit, all angles in radians. Points are not welded: coincident
// points with different numbers make a boundary (`Mesh::FilterForUniqueness` joins them).
//
// Tessellations come with triples that name a point twice, once equal points are joined. Such a triple is
// passed over, as is one with a number that is no point's: as neighbor across an edge it would hide the
// triangle behind it, and with that a sharp edge, an arc and a hole. A point in which several fans of
// triangles meet, as where two bodies touch, counts as one point for each fan where sharp edges lead from
// it to more than two points, so that a rim on one body does not go on along a rim of the other. With two
// such edges or one there is nothing to choose: a chain that ends in the point on one body goes on along
// one that ends there on the other.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>

#include <array>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

// --- regions and boundaries -----------------------------------------------------------------------

/// Connected triangles of one direction.
struct SORVANE_API FacetCluster {
    VecBase<3, double> normal;   ///< unit, weighted by area; zero without area
    VecBase<3, double> centroid; ///< weighted by area; NaN without area
    double area = 0;             ///< sum of the triangles' areas
    std::vector<int> facets;     ///< numbers of the triangles

    friend bool operator==(const FacetCluster&, const FacetCluster&) = default;
};

/// The triangles of a soup by direction and connection, largest area first.
///
/// Triangles are of one direction when their unit normals go to the same survivor of
/// `Vector::FilterForUniquenessAndIndex` at `normalTolerance`: components of the normals within it. Of
/// each direction the components that hang together across edges, not through single points, are a
/// cluster each, with its triangles in the order of a flood from the lowest. Corners are joined within
/// 1e-12 unless `weld` is 0, where every triangle is a cluster by itself; the value of `weld` says
/// nothing more. Clusters of equal area keep the order of their directions, NaN comes last.
///
/// A triangle of which two corners are joined is in no cluster; neither is one that runs an edge in the
/// direction in which an earlier one of its own direction does. A triangle without area (at most 1e-12)
/// but with three corners has the zero vector for a direction and is clustered with others of that kind
/// only. O(n log n) for n triangles, whatever the number of directions. The same result for any number
/// of threads.
SORVANE_API std::vector<FacetCluster>
ClusterFacets(const std::vector<std::array<VecBase<3, double>, 3>>& soup, double normalTolerance,
              double weld);

/// Ends of the longest straight stretch of the boundary of a soup; both zero for a soup without one.
///
/// Corners are joined within 1e-12, or not at all with tolerance 0: every edge of a triangle is
/// boundary then. A stretch is straight when no boundary point between its ends lies farther from the
/// segment between them than 100 times `tolerance`; it is grown from one end as far as that holds, from
/// the first triangle's edge on along each boundary line. Where a line is closed, the stretches on both
/// sides of the point that it began at count as one as well if that is straight. A tolerance so large
/// that a closed line is one stretch, back to where it began, ends that stretch at its point farthest
/// from there. The first of equally long ones, in the direction in which the boundary was linked. A
/// triangle of which two corners are joined is passed over; edges at a point that is not finite belong
/// to no stretch. Both zero for a tolerance that is NaN. About O(n log n).
SORVANE_API std::array<VecBase<3, double>, 2>
LongestStraightBoundary(const std::vector<std::array<VecBase<3, double>, 3>>& soup, double tolerance);

// --- sharp edges and arcs -------------------------------------------------------------------------

/// Edges at which the surface turns by `creaseAngle` radians or more (`Mesh::CreaseAngles`), as the
/// pair of points from which to which a triangle runs it, in the order of the places 3t + k in the
/// indices.
///
/// A sharp edge inside the surface comes twice, once from each of its triangles. A boundary edge has
/// the angle 2 pi, and comes once if `withBoundary`. With an angle of 0 every edge is sharp, with one
/// above 2 pi or NaN none. Empty for a mesh that `IsEmpty`. Parallel; O(n).
SORVANE_API std::vector<std::pair<int, int>>
DetectSharpEdges(const Mesh::IndexedPointsBase<3, double>& mesh, double creaseAngle,
                 bool withBoundary);

/// A circular arc in space: not where it begins, but how much of the circle there is.
struct SORVANE_API MeshArc {
    VecBase<3, double> center; ///< of the circle
    VecBase<3, double> normal; ///< unit, square to the circle's plane; on either side of it
    double radius = 0;         ///< of the circle
    double length = 0;         ///< of the arc, or of all arcs that make up the circle

    friend bool operator==(const MeshArc&, const MeshArc&) = default;
};

/// Circular arcs among the sharp edges and boundaries, by center (x, then y, then z) and radius.
///
/// Chains: the edges of `DetectSharpEdges` with the boundary, and `Mesh::BoundaryEdges` after them, are
/// walked from each point not yet walked, in the order in which the edges name them, on to the first
/// neighbor and from then on to the first one not walked. A chain that cannot begin (its first neighbor
/// is walked) is a single point; where creases branch it is chance how they are cut. A closed rim is a
/// chain that ends one edge short of its beginning.
///
/// A chain is an arc when it has more than 3 points, not all on one line, its points lie within
/// `tolerance` of the circle that `Geometry::FitCircle<0>` fits in their plane (measured in that
/// plane), and the radius is at most the largest component of half the diagonal of the mesh's box: that
/// of all its points, whether a triangle uses them or not, but for those with a coordinate that is not
/// finite or beyond 1e150. Its length comes from the angle between first and last point, the long way round when the middle one is
/// farther from the first; so a whole rim of n points has (n - 1) / n of the circle's length, and an
/// arc of between 180 and 240 degrees is taken for the rest of the circle.
///
/// Arcs next to each other in the order that agree in center and radius within 0.05 of the radius count
/// as parts of one circle while their lengths add up to no more than the whole; they become one arc.
/// The order treats coordinates within 0.05 of the larger radius as equal. At last the arcs shorter
/// than `fraction` of the circle are dropped: 0.8 keeps rims of 5 points and more, 1 drops all.
///
/// Nothing for a mesh that `IsEmpty` and for a tolerance or fraction that is NaN. Points that are not
/// finite belong to no arc, and neither do those so far out that squares of their distances overflow.
/// O(n log n).
SORVANE_API std::vector<MeshArc> DetectArcs(const Mesh::IndexedPointsBase<3, double>& mesh,
                                            double creaseAngle, double tolerance, double fraction);

// --- holes ----------------------------------------------------------------------------------------

/// A round hole between two circles: a cylinder or, with different radii, a cone.
struct SORVANE_API MeshHole {
    MeshArc top;      ///< the circle whose center has the larger z
    MeshArc bottom;   ///< the other
    double depth = 0; ///< distance of the centers

    friend bool operator==(const MeshHole&, const MeshHole&) = default;
};

/// Pairs the arcs of `DetectArcs` into holes.
///
/// Of the arcs, numbered in their order, i and j > i are the two ends of a hole when
/// - the line through the center of i along its normal meets the square round j, of side twice the
///   radius;
/// - their centers are at least 0.0001 of the radius of i apart, in a direction within `axisTolerance`
///   radians of both normals, either way;
/// - 32 points on the cone between them, 8 on each of 4 circles, all have the mesh within a fifth of
///   that distance, and the nearest triangle faces the center of i. The wall of a peg faces the other
///   way.
///
/// The j are tried in ascending order: one that passes takes the place of the last one that did when
/// its distance is not greater than the square of that one's distance, and of none before it always.
/// With distances below 1 that is the nearest as a rule, with greater ones a hole in several steps may
/// be told as one from its first circle to one farther on. `DrillHoleStacks` tells the steps. Holes
/// come in the order of their lower arc; two circles at the same height have the lower arc for `top`.
/// Triangles without area (at most 1e-12) are left out of the walls: they face nowhere. Nothing for an
/// `axisTolerance` that is NaN or negative, and where `DetectArcs` gives nothing. Parallel; about
/// O(n log n) and, where m circles share an axis, one search for a nearest triangle for most of their
/// m^2 / 2 pairs.
SORVANE_API std::vector<MeshHole> DetectDrillHoles(const Mesh::IndexedPointsBase<3, double>& mesh,
                                                   double creaseAngle, double tolerance,
                                                   double fraction, double axisTolerance);

/// One diameter of a hole, or its way from one to another.
struct SORVANE_API HoleStep {
    double diameter = 0;    ///< at the end toward the mouth
    double endDiameter = 0; ///< at the deep end: as before for a cylinder, another one for a cone
    double from = 0;        ///< depth of the end toward the mouth, below the entry
    double to = 0;          ///< depth of the deep end
    bool isCone = false;    ///< the diameters differ by more than the circles' own uncertainty

    friend bool operator==(const HoleStep&, const HoleStep&) = default;
};

/// What is at the deep end of a hole.
enum class HoleEnd {
    Through, ///< a second mouth
    Flat,    ///< a floor
    Pointed  ///< a floor that is deeper on the axis, as a drill leaves it
};

/// All that is drilled, bored and sunk on one axis from one mouth.
struct SORVANE_API DrillHoleStack {
    VecBase<3, double> entry;    ///< center of the mouth
    VecBase<3, double> axis;     ///< unit, from the mouth into the material
    std::vector<HoleStep> steps; ///< from the mouth down, each beginning where the one before ended
    HoleEnd end = HoleEnd::Through; ///< at the last step
    double tipDepth = 0;         ///< depth of the hole on its axis, with the drill point
    bool isCounterbored = false; ///< below a cylinder there is a flat shoulder to a narrower step
    bool isCountersunk = false;  ///< the first step is a cone that narrows to where the second begins

    friend bool operator==(const DrillHoleStack&, const DrillHoleStack&) = default;
};

/// The holes of a mesh, one record for each, however many diameters it has.
///
/// Made of the circles of `DetectArcs`, not of `DetectDrillHoles`. Two circles are of one axis when
/// their normals are parallel within `axisTolerance` and either center lies within 0.05 of the smaller
/// radius of the other's axis; of several, those that share one with the first.
/// - A wall joins a circle to one of the 16 next ones along the axis, nearest first and of the most
///   similar radius, when at least `fraction` of 32 points on the cone between them have the mesh near,
///   facing the axis. Near is twice `tolerance` and twice the height of the arc that a chord may cut
///   off: its ends see each other under less than `creaseAngle`, or the wall would have sharp edges of
///   its own. The corners of what is near must lie on the cone, within twice `tolerance`, so that a
///   groove is no part of the bore that it interrupts, however narrow and shallow. A cross hole may
///   take some of the wall away. No wall goes past a third circle on its cone, which is where
///   something ends. Both circles must choose each other.
/// - A shoulder joins two circles at one height when the wall of the wider one goes to one side, that
///   of the narrower to the other, and the ring between them is flat and faces to the side of the wider
///   wall.
/// - What walls and shoulders join is a hole. Each of its two ends is closed when at least 6 of 8 lines
///   along the axis at 0.8 of the radius meet a surface that faces the hole before they are half a
///   radius beyond the last circle, and open otherwise. An open end is a mouth. Of two mouths the wider
///   is the entry, of equally wide ones (within twice `tolerance`) that of larger z, then y, then x. A
///   hollow closed at both ends has no way in and is left out.
///
/// A hole is missed where a circle is: at a mouth on a curved or slanted face, which no circle bounds,
/// at a fillet, which has no edge, and where fewer than `fraction` of a rim are left. What remains of
/// the hole below is told with its own first circle as entry. Slots and pegs are no holes. Nothing for
/// an argument that is NaN. In the order of the lowest of a hole's arcs. About O(n log n); the same result for any number of threads.
SORVANE_API std::vector<DrillHoleStack>
DrillHoleStacks(const Mesh::IndexedPointsBase<3, double>& mesh, double creaseAngle, double tolerance,
                double fraction, double axisTolerance);

} // namespace Velk::Math::Sorvane::MeshUtils
