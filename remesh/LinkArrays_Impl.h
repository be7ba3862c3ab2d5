// Triangles and their half-edges on plain arrays: what the steps of smooth subdivision know of a
// sound surface. The numbers are those of the half-edge mesh that a load makes and that edits
// leave, so that rings begin where its rings begin and the points come out with the same bits.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include "mathbase/Parallel_Impl.h"

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

class LinkArrays {
public:
    /// False unless every triple becomes a face, runs its edges as no other one does, and shares no
    /// two edges with another.
    bool Load(const Mesh::IndexedPointsBase<3, double>& mesh);
    /// Finds boundaries and creases. False when a triangle may be without area: what turns at its
    /// edges is decided by triangles farther on, which takes a half-edge mesh.
    bool DetectFeatures(double angle);
    /// Does every node on a feature line have one fan only? Of the others the first step finds out.
    bool HasNoLockedPinch() const;

    std::size_t PairCount() const { return slots_.size() / 2; }
    std::size_t FaceCount() const { return corners_.size() / 3; }
    std::size_t NodeCount() const { return points_.size(); }

    /// Hands over points and triangles, without the points that no triangle uses.
    void MoveUsed(Mesh::IndexedPointsBase<3, double>& mesh);

protected:
    static std::size_t At(int subscript) { return static_cast<std::size_t>(subscript); }

    /// The places before and after a place 3f + k in its triangle.
    static int Before(int place) { return place % 3 == 0 ? place + 2 : place - 1; }
    static int After(int place) { return place % 3 == 2 ? place - 2 : place + 1; }

    int Pairs() const { return static_cast<int>(PairCount()); }
    int Faces() const { return static_cast<int>(FaceCount()); }
    int Nodes() const { return static_cast<int>(NodeCount()); }

    int Destination(int halfEdge) const
    {
        const int slot = slots_[At(halfEdge)];
        return slot >= 0 ? corners_[At(After(slot))] : corners_[At(slots_[At(halfEdge ^ 1)])];
    }
    int Origin(int halfEdge) const { return Destination(halfEdge ^ 1); }
    /// The next half-edge round its origin, counter-clockwise, of one that has a face.
    int Around(int halfEdge) const { return sides_[At(Before(slots_[At(halfEdge)]))] ^ 1; }
    /// The one before it, of one whose twin has a face.
    int AroundBack(int halfEdge) const { return sides_[At(After(slots_[At(halfEdge ^ 1)]))]; }
    bool IsLocked(int halfEdge) const { return isLockedPair_[At(halfEdge / 2)] != 0; }

    /// The old nodes of the next step, to the front of `finer`, which has room for them: free ones
    /// by the given rule, those on feature lines by the curve's, and corners where they are. False
    /// when a ring does not show all edges of its node.
    bool SmoothNodes(Vec3d (*smoothed)(const Vec3d&, const Vec3d&, int),
                     std::vector<Vec3d>& finer) const;

    /// `mateOf` tells the place of the other side of an edge.
    template <class MateOf>
    void SetSpokes(const std::vector<int>& corners, const MateOf& mateOf)
    {
        spokes_.resize(corners.size());
        Parallel::Impl::ApplyParallelChunks(std::size_t{0}, corners.size() / 3,
                                            [&](std::size_t from, std::size_t to) {
                                                for (std::size_t i = 3 * from; i < 3 * to; i += 3) {
                                                    spokes_[i] = {corners[i + 1], mateOf(i + 2)};
                                                    spokes_[i + 1] = {corners[i + 2], mateOf(i)};
                                                    spokes_[i + 2] = {corners[i], mateOf(i + 1)};
                                                }
                                            });
    }
    /// The place of the other side of the edge at a place, -1 for none; as `SetSpokes` was told.
    int Mate(int place) const { return spokes_[At(After(place))].next; }

    /// A side as one of those round its origin: where it leads, and the place of the next one
    /// counter-clockwise, -1 after the last. A walk round a node meets nothing else.
    struct RingSpoke {
        int neighbor;
        int next;
    };

    std::vector<Vec3d> points_;
    std::vector<int> corners_;      // three a face, from the face's half-edge on
    std::vector<int> sides_;        // the half-edge from each corner to the next
    std::vector<RingSpoke> spokes_; // of each of these sides
    std::vector<int> slots_;        // of each half-edge: its place in corners_, -1 along a boundary
    std::vector<int> outgoing_;     // of each node: the half-edge with which its ring begins, or -1
    std::vector<int> degrees_; // of each node of the mesh as it was loaded: its edges; later empty
    std::vector<unsigned char> isLockedNode_;
    std::vector<unsigned char> isLockedPair_;

private:
    int FanSize(int node) const;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
