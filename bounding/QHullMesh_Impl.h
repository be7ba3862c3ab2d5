// The growing hull in space: triangles with their neighbors, each with the points outside it.
//
// Quickhull (C. B. Barber, D. P. Dobkin, H. Huhdanpaa, "The Quickhull Algorithm for Convex Hulls",
// 1996) whose shape never depends on rounding: which faces a new node sees is decided exactly, so
// the surface stays closed, oriented and convex for every input, however flat or crowded. Only
// whether a point is far enough out to become a node is a matter of tolerance.
#pragma once

#include "mathbase/Progress_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <cstdint>
#include <vector>

namespace Velk::Math::Sorvane::Bounding::Impl {

/// A triangle of the hull, counter-clockwise seen from outside. A face that has been removed waits
/// in its slot for a new one.
struct QHullFace {
    VecBase<3, double> normal; ///< unit length; zero where rounding leaves no direction
    double offset = 0;         ///< signed distance of p from the plane is normal * p - offset
    double error = 0;          ///< bound of the rounding error of a signed distance
    double reach = 0;          ///< distance of the farthest point of the outside set
    int node[3] = {-1, -1, -1};
    int neighbor[3] = {-1, -1, -1}; ///< face on the other side of node[k] -> node[k + 1]
    int outside = -1;               ///< first point of the outside set, the farthest one
    int outsideCount = 0;
    bool isLive = false;
    std::int64_t visit = 0; ///< last walk that came by, and what it found
};

/// The hull of a point set while it grows, and when it is done.
///
/// A node's number is the number of its point. Every point that is outside the present hull is in
/// the outside set of one face that it sees, exactly: a point that sees no new face when its own
/// face goes is then inside for good. A point kept for a face that it does not see could be lost
/// while it is far out for another one.
class QHullMesh {
public:
    /// Points are worked on in double, scaled by a power of two so that the longest edge of their
    /// box is 512 to 1024, and moved near the origin when they lie far off: the units of the input
    /// do not matter, and no digit is lost. They must be finite. The plane tolerance is ten length
    /// floors of T times the longest edge of the first simplex.
    template <class T>
    explicit QHullMesh(const std::vector<VecBase<3, T>>& points);

    /// False, with no face, when all points lie within `tolerance` of a plane. `isExact`: points
    /// become nodes however little they are outside.
    bool Build(bool isExact = false);

    /// Three node numbers for each face, in the order of the face slots.
    std::vector<int> Triangles() const;

    /// Live nodes that are no corners of the solid: all faces round them lie in one plane or two.
    /// Ascending; exact.
    std::vector<int> FlatNodes() const;

    /// What `points` stands for in the caller's coordinates: (p - Center()) * Scale().
    const VecBase<3, double>& Center() const { return center_; }
    double Scale() const { return scale_; }

    std::vector<VecBase<3, double>> points; ///< scaled
    double tolerance = 0;                   ///< of a distance from a plane, scaled
    std::vector<QHullFace> faces;

private:
    struct HorizonEdge {
        int from; // the new face runs from -> to -> new node
        int to;
        int outer; // the face that stays
        int slot;  // which neighbor of `outer` the new face becomes
    };

    void ScaleToWorkCube();
    bool MakeSimplex(bool isExact);
    void Grow();
    void GrowAt(int face);
    bool AdoptOverlooked();

    bool AddNode(int face);
    void CollectVisible(int face, int node);
    bool LinkHorizon();
    void TakeOrphans(int node);
    int AddFace(int a, int b, int c);
    void RemoveFace(int face);
    void MakeCone(int node);
    void PlaceOrphans();

    bool Sees(const QHullFace& face, int point) const;
    /// A face whose plane is not known well enough to measure distances by the tolerance.
    bool IsSliver(const QHullFace& face) const { return face.error > 0.5 * tolerance; }
    double Reach(const QHullFace& face, int point) const;
    void Place(int point, int face, double reach);
    void DropFarthest(int face);
    void QueueIfPending(int face);

    VecBase<3, double> center_;
    double scale_ = 1;
    double lengthFloor_;
    double radius_ = 0; // largest distance of a point from the origin, scaled
    std::vector<int> nextOutside_;
    std::vector<int> pending_; // faces with a point to add; some have gone or changed since
    std::vector<int> small_;   // those with few of them
    std::vector<int> freeFaces_;
    std::int64_t walk_ = 0;

    // Of the node being added; kept for their memory.
    std::vector<int> visible_;
    std::vector<HorizonEdge> horizon_;
    std::vector<int> newFaces_;
    std::vector<int> coneAt_;      // for a node of the horizon: its edge that starts there
    std::size_t grown_ = 0;        // faces that were to get a node
    Progress::Impl::Steps placed_; // points that were to get a face
    std::vector<int> orphans_;
};

extern template QHullMesh::QHullMesh(const std::vector<VecBase<3, float>>&);
extern template QHullMesh::QHullMesh(const std::vector<VecBase<3, double>>&);

} // namespace Velk::Math::Sorvane::Bounding::Impl
