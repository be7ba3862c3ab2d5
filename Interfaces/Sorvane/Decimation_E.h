// Decimation: fewer triangles for the same surface, within a tolerance.
//
//     IndexedPointsBase<3, double> coarse;
//     DecimationReport report;
//     DecimateInBatches(part, coarse, 40.0, 10.0, 0.01, report); // creases from 40 degrees on, to
//                                                                // 10 percent, within 0.01
//     // report.stop tells why there are not fewer
//
// Two operations. `DecimateInBatches` takes a distance as its tolerance and is the one to call.
// `DecimateMesh` collapses one edge at a time, the cheapest first, by an error that grows with the
// size of the triangles, keeps away from boundaries and creases, and does not collapse long edges.
#pragma once

#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// Why a decimation ended.
enum class DecimationStop : int {
    Target,    ///< as few triangles as were asked for
    Tolerance, ///< most of the edges that are left would exceed the tolerance
    Locked,    ///< most lie on or beside features that are kept
    TooLong,   ///< most are longer than `DecimateMesh` collapses
    Folds,     ///< most would turn a triangle over or tie the surface to itself
    Empty      ///< there were no triangles, or no target to work for
};

/// What a decimation did. The edges that are left are counted by the first reason, in the order of
/// the fields, for which they were not collapsed; not when the target was reached.
struct DecimationReport {
    int initialTriangles = 0;   ///< those of the input that are triangles
    int triangles = 0;          ///< those that are left
    double percentLeft = 0.0;   ///< 100 triangles / initialTriangles; NaN without any
    double greatestError = 0.0; ///< greatest error accepted, in the operation's own measure
    double deviation = 0.0;     ///< as measured on the result, where it was measured; else NaN
    DecimationStop stop = DecimationStop::Empty; ///< why it ended
    int lockedEdges = 0;    ///< on or beside a feature
    int longEdges = 0;      ///< longer than the limit
    int deviatingEdges = 0; ///< beyond the tolerance
    int foldingEdges = 0;   ///< all others

    friend bool operator==(const DecimationReport&, const DecimationReport&) = default;
};

/// Collapses edges of a surface, the one of least error first, until `keepPercent` percent of the
/// triangles are left or nothing within the tolerance is; the percentage that is left.
///
/// The error is not a distance. Each triangle contributes its plane with a normal twice its area
/// long, so that the square root of an error is a distance times an area: `tolerance` scales with
/// the cube of the length, and of two meshes of one surface the finer drifts farther for the same
/// number. An edge goes when its error is below tolerance^2 / 4. For triangles of edge length l and
/// a distance h a tolerance near h l^2 is the one to begin with. Scaling a mesh by 2 and its
/// tolerance by 8 gives the same triangles.
///
/// Creases, edges whose normals differ by `featureAngle` degrees or more, are kept, and so are the
/// edges between different tags: `tags` has one for each triangle, what is missing counts as 0;
/// `outTags` one for each triangle of the result. Nodes on a crease move along it only where two
/// crease edges meet. Within one triangle of a crease nothing else moves, and edges next to a tag
/// boundary don't either; a node of such a boundary may move, together with an interior edge that
/// it ends. Boundaries stay whatever `keepBoundary` says, with the triangles that touch them: it
/// has no effect. Edges longer than a tenth of the diagonal of the points' box never go, so that
/// meshes of few triangles stay as they are. Neither does an edge whose collapse would leave a
/// triangle of an area below 5e-10, absolute, or turn one by more than 80 degrees.
///
/// At the end stars of three triangles whose node lies near the plane of the others become one
/// triangle, and edges are flipped toward Delaunay triangles as long as the error stays below the
/// limit and no edge is made a second time. Points are welded within 1e-12, absolute, and come in
/// the order of `Vector::FilterForUniqueness`.
///
/// With a target of 100 percent or more, and with a tolerance of 0, no edge collapses. A NaN target
/// or tolerance counts as those, an infinite tolerance as no limit. An empty mesh gives NaN.
/// Bodies that touch along an edge, with four triangles or more at it, are decimated each by itself
/// there. Other triples that run an edge as another one does, and those with equal or invalid
/// subscripts, are left out and don't count. Nothing moves beside a point that is not finite. A node
/// where several fans of triangles meet neither moves nor goes. A closed surface stays closed and no
/// edge gets a third triangle, unless by the weld. A mesh may be its own output.
///
/// Serial, expected O(n log n) where no node has very many triangles; the same bits everywhere.
/// Equal errors go by the number of the edge.
SORVANE_API double DecimateMesh(const IndexedPointsBase<3, double>& mesh,
                                const std::vector<unsigned char>& tags,
                                IndexedPointsBase<3, double>& out,
                                std::vector<unsigned char>& outTags, double featureAngle,
                                double keepPercent, double tolerance, bool keepBoundary);

/// The same for a surface without tags.
SORVANE_API double DecimateMesh(const IndexedPointsBase<3, double>& mesh,
                                IndexedPointsBase<3, double>& out, double featureAngle,
                                double keepPercent, double tolerance, bool keepBoundary);

/// The same with a report. `greatestError` is the square root of the greatest error, to compare
/// with tolerance / 2; `deviation` is NaN. Costs an error for each edge that is left.
SORVANE_API double DecimateMesh(const IndexedPointsBase<3, double>& mesh,
                                const std::vector<unsigned char>& tags,
                                IndexedPointsBase<3, double>& out,
                                std::vector<unsigned char>& outTags, double featureAngle,
                                double keepPercent, double tolerance, bool keepBoundary,
                                DecimationReport& report);

/// Decimates a surface within a distance, many edges at a time, until `keepPercent` percent of the
/// triangles are left or nothing more can go; the percentage that is left.
///
/// `tolerance` is a distance, in the unit of the points. With a finite one the result is measured:
/// the points of the source against the result, and the points, edge middles and centroids of the
/// result against the source. Where one is farther off, the run is repeated with a lower limit, so
/// that what comes out has been found within the tolerance at all these places; `deviation` tells
/// how far off it is. Between them it may be off by a little more. An infinite tolerance asks for
/// the target alone, measures nothing, and takes a third of the time; single places may then be
/// far off. `greatestError` is the greatest root of the mean squared distance, by area, from the
/// planes of the source that a point stands for.
///
/// Kept are boundaries, creases of at least `featureAngle` degrees and the lines between different
/// tags: their points go along the line only, as far as it is straight within the tolerance, and
/// where three or more such lines meet, or one ends, the point stays where it is. `tags` has one
/// for each triangle, what is missing counts as 0; `outTags` one for each triangle of the result.
/// No collapse turns a triangle by more than 60 degrees. A closed surface stays closed and keeps
/// its Euler characteristic, and its volume but for what edges add up to that end on a line or at
/// a point that stays: a point that takes the place of two free ones, or of two on a crease, goes
/// to the place of least error among those that keep the volume. Where one end of an edge lies on
/// the planes round both and the other does not, as the corner of a flat sheet, it keeps its place,
/// with all its bits but where that loses volume. Points of edges that have more
/// than two triangles, or two of one direction, of several fans of triangles, and of triangles that
/// are not finite stay where they are.
///
/// Triples with equal or invalid subscripts are left out and don't count. Points keep their order;
/// those that no triangle uses are left out, and nothing is welded. A target of 100 percent or
/// more, or NaN, and a tolerance that is not above 0 leave the triangles as they are. An empty mesh
/// gives NaN. A mesh may be its own output.
///
/// Expected O(n log n); costs are found by many threads, with the same bits for any number of them.
/// Passes instead of a queue: all edges are ranked, the cheaper ones go in their order, as long as
/// no end has been part of a collapse before, and those that are left are ranked again.
SORVANE_API double DecimateInBatches(const IndexedPointsBase<3, double>& mesh,
                                     const std::vector<unsigned char>& tags,
                                     IndexedPointsBase<3, double>& out,
                                     std::vector<unsigned char>& outTags, double featureAngle,
                                     double keepPercent, double tolerance,
                                     DecimationReport& report);

/// The same for a surface without tags.
SORVANE_API double DecimateInBatches(const IndexedPointsBase<3, double>& mesh,
                                     IndexedPointsBase<3, double>& out, double featureAngle,
                                     double keepPercent, double tolerance,
                                     DecimationReport& report);

} // namespace Velk::Math::Sorvane::Mesh
