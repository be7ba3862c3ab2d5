// The shell that a body sweeps when it is moved along a path without being turned.
//
//     MeshUtils::DirtySweptVolume sweep(cutter);            // once for each body
//     const auto shell = sweep(path);                       // once for each path of its origin
//
// The shell is dirty: what lies inside of the swept space is not trimmed away, and facets pass
// through each other. It is good for display, for a winding test, and as the input of what trims.
#pragma once

#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>

#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

/// A body, and the shells that it sweeps.
///
/// The body is a mesh whose facets share their points: an edge takes part where exactly two
/// triangles name its two points. Corners that coincide under different numbers are not welded, so
/// that of a soup, which has no such edge, every shell is empty: see `Mesh::FilterForUniqueness`.
/// Triangles that name a point twice, or one that is not there, are left out of the body, and of a
/// mesh that `IsEmpty` all of them. The points stay as they are.
///
/// Of a closed body whose facets face outward, two at each edge, the shell is closed, and its
/// winding number at a point tells how often the body comes over it: one more for each stretch of
/// the path along which the point is inside, so 1 at least in all of the swept space and 0 outside
/// of it. A body that is open leaves a shell with gaps along its boundary, and so does one with
/// edges of more than two triangles, even if it is closed: where bodies touch along an edge, give
/// each of them points of its own.
///
/// A copy has a body of its own. Calls change the object: one caller at a time. Takes no more than
/// 2^31 - 1 indices.
class SORVANE_API DirtySweptVolume {
public:
    /// Keeps a copy of the body and finds its edges. O(n).
    explicit DirtySweptVolume(const Mesh::IndexedPointsBase<3, double>& shape);
    /// A copy shares nothing with what it is made of. An assignment that runs out of memory changes
    /// nothing.
    DirtySweptVolume(const DirtySweptVolume& other);
    DirtySweptVolume& operator=(const DirtySweptVolume& other);
    virtual ~DirtySweptVolume();

    /// The shell that is swept while the body's origin goes along `path` from point to point.
    ///
    /// Every triangle has three points of its own, the indices are 0, 1, 2, ...; equal corners of
    /// neighbors have the same bits, so that welding within 0 closes the shell. In this order:
    /// - for each step from p to q the walls, two triangles for each edge between a triangle that
    ///   faces forward along q - p and one that faces backward, edges in the order in which the
    ///   triangles of the body first name them;
    /// - after them, for each step, the triangles at p that face another way than in the step
    ///   before, turned over if they face forward now. Before the first step all count as facing
    ///   forward, so that these are the start of the shell there;
    /// - at the end the triangles at the last point that face forward in the last step.
    ///
    /// A triangle along the step counts as facing forward, and so does every one without area;
    /// where rounding makes it face backward, what it adds encloses nothing. A path of one point
    /// gives the body there; a step of no length, along which all face forward, adds triangles that
    /// cancel each other in winding numbers and volumes. Empty for an empty path and for a body
    /// without an edge of two triangles.
    ///
    /// Lengths should stay between 1e-100 and 1e100, so that the product of three is a number and
    /// not 0, with which a triangle would count as one along the step. Where a coordinate is
    /// not finite a triangle may face either way, and comes out with what is not finite in it;
    /// others are not concerned. A result of more than 2^31 - 1 points, which indices could not
    /// number, ends in the standard container's length error.
    ///
    /// O(s (n + k)) for s steps, n triangles of the body, and k triangles that one step adds; k is
    /// in proportion to the square root of n for usual bodies. In parallel over the triangles of
    /// large bodies and, where triangles are written, over the steps; the same bits for any number
    /// of threads.
    Mesh::IndexedPointsBase<3, double> operator()(const std::vector<VecBase<3, double>>& path);

private:
    struct SORVANE_LOCAL SweepState;

    Mesh::IndexedPointsBase<3, double> shape_;
    std::unique_ptr<SweepState> state_; // none for a body without triangles
};

} // namespace Velk::Math::Sorvane::MeshUtils
