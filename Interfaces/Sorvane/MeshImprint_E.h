// Curves cut into a triangle mesh, the regions between them, and straightest lines on a surface.
//
//     Mesh::MeshImprint imprint(part, 1e-6);
//     imprint.ImprintPath(loop, true, true);     // the loop runs along edges of the mesh now
//     imprint.PaintInsideOutside();
//     imprint.Export(inner, true);               // what lies inside
//
// The mesh in between is a half-edge mesh that is cut where the curves run.
#pragma once

#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

namespace Impl {
template <class Tag>
class ImprintableMesh; // imprint/ImprintableMesh_Impl.h
} // namespace Impl

/// A mesh that takes curves: `ImprintPath` cuts it so that a path runs along its edges,
/// `PaintInsideOutside` tells the regions between the paths apart, and `Export` hands the mesh out,
/// whole or one side of it. Any number of paths may be imprinted, and they may cross.
///
/// How a mesh is taken in. Each point becomes a node. A triple that names a point twice or a point
/// that is not there, or that runs an edge in the direction in which another triangle runs it
/// already, is left out and reported to the assert handler; an incomplete last triple is left out
/// silently. Edges no longer than half the tolerance are collapsed where the mesh allows it (never
/// so that its boundary moves). Bodies that touch along an edge, with four triangles or more at it,
/// are separate there: each has points of its own, behind those of the mesh. Surfaces whose points
/// are not joined are separate as well: weld first (`FilterForUniquenessAndIndex`), orient the
/// triangles alike, and check with `CheckMesh` where in doubt.
///
/// `tolerance`, in the unit of the points, is how far a path's point may lie from the surface, and
/// from a node or an edge that it snaps to. With 0 points must lie on the surface, to the last bit;
/// with a negative one or NaN none is found.
///
/// Neither copied nor moved. Calls on one object must not overlap, the const ones excepted.
///
/// Where memory runs out an operation throws `std::bad_alloc`. The object is then sound, with all
/// or part of the cuts of a path that was being imprinted; its surface is the same.
class SORVANE_API MeshImprint {
public:
    /// Takes the mesh in, with one tag for each of its triples. Triangles whose tag is not 0 count
    /// as outside, whatever `PaintInsideOutside` finds. Missing tags are 0, and spare ones are
    /// ignored.
    MeshImprint(const IndexedPointsBase<3, double>& mesh, const std::vector<unsigned char>& tags,
                double tolerance);
    /// The same with all tags 0.
    MeshImprint(const IndexedPointsBase<3, double>& mesh, double tolerance);

    MeshImprint(const MeshImprint&) = delete;
    MeshImprint(MeshImprint&&) = delete;
    MeshImprint& operator=(const MeshImprint&) = delete;
    MeshImprint& operator=(MeshImprint&&) = delete;
    virtual ~MeshImprint();

    /// Cuts the mesh along a path, whose points lie on the surface within the tolerance. False,
    /// with nothing done, for fewer than three points; otherwise true.
    ///
    /// A point within the tolerance of a node in each coordinate moves onto it, otherwise one
    /// within the tolerance of an edge onto the nearest point of the edge, and `path` is changed
    /// so; any other stays and becomes a node in its triangle. Between two points the path goes
    /// from edge to edge along the plane that holds both and the mean of the surface's normals at
    /// them; it crosses an edge where that is nearest to the straight line between the two, and
    /// where this is within 0.5 percent of the edge's length from an end it goes through the node
    /// there, so that no slivers arise. Give points on both sides of sharp edges, and a dense path
    /// on curved surfaces. `closed` leads from the last point back to the first; don't repeat the
    /// first point then.
    ///
    /// A point farther than the tolerance from the surface is skipped, with the stretches to it and
    /// from it. A stretch that finds no way, or takes more than some ten thousand crossings, is
    /// imprinted in part or not at all.
    ///
    /// With `collect` the path comes back as it stands in the mesh: the points of all its nodes,
    /// the crossings among them, in order. Consecutive ones are joined by an edge, except past
    /// points that were skipped and stretches that found no way. A closed path ends with its first
    /// point again. A later path that crosses it cuts its edges. Without `collect`, and if no point
    /// was found, `path` stays as given but for the points that have moved.
    ///
    /// An edge that the path runs twice within a few steps (64, and a third of the path at most)
    /// is not imprinted: it bounds no region. Paths with points closer together than 0.5 percent of
    /// the edges they cross come to that by themselves.
    ///
    /// Area, volume and shape stay what they were, up to rounding and to what points inside
    /// triangles lie off them. Edges no longer than half the tolerance, old or new, are collapsed
    /// where the mesh allows it, which moves the surface by no more than that. Tags stay with the
    /// pieces of their triangles. Time in proportion to the path and its crossings, with O(log n)
    /// for each point where triangles are small beside the path. Of k points in one triangle each
    /// is located among all slivers there, O(k^2), and stretches that go to and fro across them cut
    /// them: divide large flat triangles before.
    ///
    /// As a rule all points become nodes first, then the way between them is walked. Where more
    /// than 32 of them lie in one triangle, each becomes a node when the walk has come to it: a
    /// zigzag would cut the slivers between its own points in numbers that grow with their cube.
    bool ImprintPath(std::vector<VecBase<3, double>>& path, bool closed, bool collect);

    /// Colors the triangles so that the color changes across each imprinted path: outside (2) and
    /// inside (1). True when it does so at each imprinted edge with two triangles.
    ///
    /// Where loops have edges in common, as two pockets with a common wall, or two outlines so near
    /// to each other that both snap to the same nodes, no colors can do that. Then what lies within
    /// an odd number of loops is inside: the color changes across edges along which an odd number
    /// of paths runs, and stays across the others; true when that is so everywhere. With a path
    /// among them that runs along edges of others only, as a loop given twice does, it is false
    /// instead.
    ///
    /// The flood begins with the triangles round the node that is smallest by x, then y, then z;
    /// they are outside, all of them, so that a path through this node gives false. Coordinates
    /// that differ by no more than 1e-12 count as equal. A component that this flood can't reach
    /// across edges has one of its own, from its own smallest node, if there is a path on it;
    /// otherwise it keeps color 0, which is exported as outside. Triangles with a tag other than 0
    /// end outside.
    ///
    /// The last edge of a path that ends freely bounds nothing, and is no longer imprinted
    /// afterwards; the edge before it still is, and colors that meet across it give false.
    ///
    /// Meant to be called once: a further call clears one more edge at each loose end, and counts
    /// every triangle that has a color as one with a tag, so that all end outside. O(n).
    bool PaintInsideOutside();

    /// The mesh as it stands, with one flag for each triangle: 0 inside, 1 for all others; before
    /// `PaintInsideOutside` all are 1. True unless a progress scope has stopped it.
    ///
    /// All nodes are written, unused ones too: the points of the input first, in their order, as
    /// long as none of them was collapsed, then those of the paths. Nothing is welded. The
    /// arguments are cleared first.
    bool Export(IndexedPointsBase<3, double>& mesh, std::vector<unsigned char>& flags) const;

    /// The triangles inside (`inner`) or all others alone, without unused points, welded and sorted
    /// by `FilterForUniqueness` with 1e-12. True when a triangle is left.
    bool Export(IndexedPointsBase<3, double>& mesh, bool inner) const;

private:
    std::unique_ptr<Impl::ImprintableMesh<unsigned char>> mesh_;
    double tolerance_ = 0;
};

/// The same mesh with a word of 64 bits on each triangle in place of the tag, and straightest lines
/// over its surface. What `MeshImprint` tells about meshes, tolerances and memory holds here too.
class SORVANE_API MeshTracer {
public:
    /// Takes the mesh in, with all words 0.
    MeshTracer(const IndexedPointsBase<3, double>& mesh, double tolerance);
    /// The same with one word for each triple; missing ones are 0, and spare ones are ignored.
    MeshTracer(const IndexedPointsBase<3, double>& mesh,
               const std::vector<unsigned long long>& tags, double tolerance);

    MeshTracer(const MeshTracer&) = delete;
    MeshTracer(MeshTracer&&) = delete;
    MeshTracer& operator=(const MeshTracer&) = delete;
    MeshTracer& operator=(MeshTracer&&) = delete;
    virtual ~MeshTracer();

    /// The straightest line on the surface from `start` in `direction`, `length` long: its points
    /// in order, one where it enters or leaves a triangle and one at its end.
    ///
    /// Within a triangle it is straight, across an edge it goes on as if both triangles lay in one
    /// plane, and at a node it leaves as much of the angle round the node on its left as on its
    /// right; so it is a shortest way as long as it passes no node of positive curvature. After K.
    /// Polthier and M. Schmies, "Straightest geodesics on polyhedral surfaces", 1998.
    ///
    /// `start` snaps to a node or an edge as a point of `ImprintPath` does. `direction` may have
    /// any length and is laid into the plane of a triangle at the start: of the one that holds the
    /// start; on an edge of the one of its two triangles whose apex lies farther ahead, if the
    /// direction leads into that, otherwise of the other; at a node of the one whose corner holds
    /// the direction and whose plane comes nearest to it, or, where the corners leave a gap between
    /// them as on a peak, of the one beside the gap that misses it least (by less than a right
    /// angle). A point where the line leaves a triangle within half the tolerance of a corner,
    /// along both axes of the triangle's own plane, moves there.
    ///
    /// The line ends early where it comes to the boundary, and where no triangle lies in its
    /// direction. Its start alone is the result for a length of 0, for a start farther than the
    /// tolerance from the surface (as given, otherwise as snapped), and for a direction whose part
    /// along the surface is no longer than 1e-12 or not finite. A length that is negative or not
    /// finite gives an empty line. The line ends, too, when it has passed as many triangles as the
    /// mesh has without getting shorter by it, as a length of 1e300 does, and in any case after
    /// 2^22 points.
    ///
    /// O(log n) for the start and O(1) for each triangle, plus the triangles at each node that it
    /// passes. The mesh is left as it is; but where memory ran out in an `ImprintPath`, the next
    /// call builds the search tree anew, O(n log n), which is why calls on one object must not
    /// overlap.
    std::vector<VecBase<3, double>> CollectPath(const VecBase<3, double>& start,
                                                const VecBase<3, double>& direction, double length);

    /// As `MeshImprint::ImprintPath`.
    bool ImprintPath(std::vector<VecBase<3, double>>& path, bool closed, bool collect);

    /// The mesh as it stands, as by `MeshImprint::Export`.
    bool Export(IndexedPointsBase<3, double>& mesh) const;

    /// The same with a flag for each triangle, which is 1: nothing here paints, and the words of
    /// the constructor stay inside. True unless a progress scope has stopped it.
    bool Export(IndexedPointsBase<3, double>& mesh, std::vector<unsigned long long>& flags) const;

private:
    std::unique_ptr<Impl::ImprintableMesh<unsigned long long>> mesh_;
    double tolerance_ = 0;
};

} // namespace Velk::Math::Sorvane::Mesh
