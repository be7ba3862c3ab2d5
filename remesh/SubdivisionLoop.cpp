// Loop's steps on plain arrays. The half-edges, faces and rings that the edits of a step would
// leave follow from those before it by arithmetic, triangle by triangle:
//
// Edge number p, split as the p-th, gives its node the number p after the old ones, and one new
// edge for its second half, then one for the spoke into its right and one for that into its left
// triangle; each triangle beside it gets a second face, the right one first. Of a triangle A B C
// whose edge A B has the lowest number, that split's spoke runs to C, the spokes of the other two
// to the middle of A B, and the first spoke is turned at the end. So which half-edge is where
// depends on the lowest edge and on the side from which each edge sees the triangle, and on nothing
// else.

#include "remesh/SubdivisionLoop_Impl.h"

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "remesh/CreaseTest_Impl.h"
#include "remesh/SubdivisionCount_Impl.h"
#include "remesh/SubdivisionMasks_Impl.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

using Parallel::Impl::ApplyParallelChunks;

std::size_t At(int subscript) { return static_cast<std::size_t>(subscript); }

/// The places before and after a place 3f + k in its triangle.
int Before(int place) { return place % 3 == 0 ? place + 2 : place - 1; }
int After(int place) { return place % 3 == 2 ? place - 2 : place + 1; }

class LoopMesh {
public:
    /// False unless every triple becomes a face, runs its edges as no other one does, and shares no
    /// two edges with another.
    bool Load(const Mesh::IndexedPointsBase<3, double>& mesh);
    bool DetectFeatures(double angle);
    /// Does every node on a feature line have one fan only? Of the others `Refine` finds out.
    bool HasNoLockedPinch() const;
    /// A step. After the last one only points and corners are good. False when a node has a second
    /// fan, and then nothing is good.
    bool Refine(bool isLast);

    int PairCount() const { return static_cast<int>(slots_.size() / 2); }
    int FaceCount() const { return static_cast<int>(corners_.size() / 3); }
    int NodeCount() const { return static_cast<int>(points_.size()); }

    std::vector<Vec3d> points_;
    std::vector<int> corners_; // three a face, from the face's half-edge on

private:
    /// A triangle A B C turned so that A B is its edge of the lowest number, with the numbers that
    /// the step gives to what is in it.
    struct Parts {
        std::array<int, 3> corner; // A, B, C
        std::array<int, 3> side;   // A to B, B to C, C to A
        std::array<int, 3> middle; // the new nodes on them
        int atA, atB, atC, center; // the four faces
    };

    int Destination(int halfEdge) const
    {
        const int slot = slots_[At(halfEdge)];
        return slot >= 0 ? corners_[At(After(slot))] : corners_[At(slots_[At(halfEdge ^ 1)])];
    }
    int Origin(int halfEdge) const { return Destination(halfEdge ^ 1); }
    /// The next half-edge round its origin, counter-clockwise, of one that has a face.
    int Around(int halfEdge) const { return sides_[At(Before(slots_[At(halfEdge)]))] ^ 1; }
    int FanSize(int node) const;

    /// What an edge adds: the even half-edge of its second half, the spoke on a side, the face
    /// there.
    int SecondHalf(int pair) const { return 2 * (PairCount() + pair + sidesBefore_[At(pair)]); }
    int Spoke(int side) const
    {
        const bool isBehindRight = side % 2 == 0 && slots_[At(side ^ 1)] >= 0;
        return SecondHalf(side / 2) + (isBehindRight ? 4 : 2);
    }
    int NewFace(int side) const
    {
        const bool isBehindRight = side % 2 == 0 && slots_[At(side ^ 1)] >= 0;
        return FaceCount() + sidesBefore_[At(side / 2)] + (isBehindRight ? 1 : 0);
    }
    /// The two halves of a side from its origin to the middle and on, and its spoke both ways.
    int FirstPart(int side) const { return side % 2 == 0 ? side : SecondHalf(side / 2) + 1; }
    int SecondPart(int side) const { return side % 2 == 0 ? SecondHalf(side / 2) : side; }
    int SpokeOut(int side) const { return Spoke(side) + side % 2; }

    /// The place of the edge of the lowest number among the three of a face.
    int LowestPlace(int face) const
    {
        const int first = 3 * face;
        int lowest = first;
        for (const int place : {first + 1, first + 2}) {
            lowest = sides_[At(place)] < sides_[At(lowest)] ? place : lowest;
        }
        return lowest;
    }
    Parts PartsOf(int face) const;
    void CountSides();
    template <class MateOf>
    void SetSpokes(const std::vector<int>& corners, const MateOf& mateOf);
    bool SetFinerPoints(std::vector<Vec3d>& finer) const;
    std::vector<int> FinerCorners() const;
    void RefineLinks(const std::vector<int>& corners, std::size_t pointCount);

    /// A side as one of those round its origin: where it leads, and the place of the next one
    /// counter-clockwise, -1 after the last. A walk round a node meets nothing else.
    struct RingSpoke {
        int neighbor;
        int next;
    };

    std::vector<int> sides_;        // the half-edge from each corner to the next
    std::vector<RingSpoke> spokes_; // of each of these sides
    std::vector<int> slots_;        // of each half-edge: its place in corners_, -1 along a boundary
    std::vector<int> outgoing_;     // of each node: the half-edge with which its ring begins, or -1
    std::vector<int> degrees_; // of each node of the mesh as it was loaded: its edges; later empty
    std::vector<unsigned char> isLockedNode_;
    std::vector<unsigned char> isLockedPair_;
    std::vector<int> sidesBefore_; // of each edge: the sides of triangles at edges of lower number
};

bool LoopMesh::Load(const Mesh::IndexedPointsBase<3, double>& mesh)
{
    const std::vector<int>& indices = mesh.indices;
    const auto isNode = [&](int n) { return At(n) < mesh.points.size(); };
    for (std::size_t i = 0; i < indices.size(); i += 3) {
        const int a = indices[i];
        const int b = indices[i + 1];
        const int c = indices[i + 2];
        if (!isNode(a) || !isNode(b) || !isNode(c) || a == b || b == c || c == a) {
            return false;
        }
    }

    // For each side the one that runs the same edge the other way.
    std::vector<int> mates(indices.size(), -1);
    const Sorvane::Impl::EdgeUses uses(indices);
    bool isManifold = true;
    for (std::size_t bucket = 0; bucket < uses.BucketCount() && isManifold; ++bucket) {
        uses.ForEachEdge(bucket, [&](const auto* first, const auto* last) {
            if (last - first == 2 && indices[At(first->place)] != indices[At(first[1].place)]) {
                mates[At(first->place)] = first[1].place;
                mates[At(first[1].place)] = first->place;
                // The apexes: two triangles back to back have one in common.
                isManifold = isManifold && indices[At(Before(first->place))] !=
                                               indices[At(Before(first[1].place))];
            } else if (last - first != 1) {
                isManifold = false;
            }
        });
    }
    if (!isManifold) {
        return false;
    }

    // An edge gets its number from the triangle that names it first, which runs its even half-edge.
    sides_.resize(indices.size());
    slots_.reserve(indices.size() + indices.size() / 8);
    outgoing_.assign(mesh.points.size(), -1);
    degrees_.assign(mesh.points.size(), 0);
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const int place = static_cast<int>(i);
        if (mates[i] >= 0 && mates[i] < place) {
            sides_[i] = sides_[At(mates[i])] ^ 1;
            slots_[At(sides_[i])] = place;
            continue;
        }
        const int halfEdge = static_cast<int>(slots_.size());
        const std::size_t a = At(indices[i]);
        const std::size_t b = At(indices[At(After(place))]);
        sides_[i] = halfEdge;
        slots_.push_back(place);
        slots_.push_back(-1);
        outgoing_[a] = halfEdge;
        outgoing_[b] = halfEdge + 1;
        ++degrees_[a];
        ++degrees_[b];
    }
    points_ = mesh.points;
    corners_ = indices;
    SetSpokes(corners_, [&](std::size_t place) { return mates[place]; });
    return true;
}

// `mateOf` tells the place of the other side of an edge.
template <class MateOf>
void LoopMesh::SetSpokes(const std::vector<int>& corners, const MateOf& mateOf)
{
    spokes_.resize(corners.size());
    ApplyParallelChunks(std::size_t{0}, corners.size() / 3, [&](std::size_t from, std::size_t to) {
        for (std::size_t i = 3 * from; i < 3 * to; i += 3) {
            spokes_[i] = {corners[i + 1], mateOf(i + 2)};
            spokes_[i + 1] = {corners[i + 2], mateOf(i)};
            spokes_[i + 2] = {corners[i], mateOf(i + 1)};
        }
    });
}

// False when a triangle may be without area: what turns at its edges is decided by triangles farther
// on, which takes a half-edge mesh.
bool LoopMesh::DetectFeatures(double angle)
{
    isLockedNode_.assign(points_.size(), 0);
    isLockedPair_.assign(At(PairCount()), 0);
    double extent = 0;
    for (const Vec3d& p : points_) {
        extent = std::max({extent, std::fabs(p.x()), std::fabs(p.y()), std::fabs(p.z())});
    }
    const CreaseTest isCrease(angle);
    std::atomic<bool> isThin = false;
    ApplyParallelChunks(0, PairCount(), [&](int from, int to) {
        for (int pair = from; pair < to; ++pair) {
            const int left = slots_[At(2 * pair)];
            const int right = slots_[At(2 * pair + 1)];
            const auto at = [&](int place) -> const Vec3d& {
                return points_[At(corners_[At(place)])];
            };
            if (right < 0) {
                isLockedPair_[At(pair)] = 1;
                continue;
            }
            const std::array<Vec3d, 4> d{at(left), at(right), at(Before(left)), at(Before(right))};
            if (MayLackArea(d[0], d[1], d[2], extent) || MayLackArea(d[1], d[0], d[3], extent)) {
                isThin = true;
            }
            isLockedPair_[At(pair)] = isCrease(d[0], d[1], d[2], d[3]) ? 1 : 0;
        }
    });
    if (isThin) {
        return false;
    }
    for (int pair = 0; pair < PairCount(); ++pair) {
        if (isLockedPair_[At(pair)] != 0) {
            isLockedNode_[At(Origin(2 * pair))] = 1;
            isLockedNode_[At(Destination(2 * pair))] = 1;
        }
    }
    return true;
}

// Edges in the fan of the node's half-edge: on from it, and if that ends at a boundary, back from
// it.
int LoopMesh::FanSize(int node) const
{
    const int first = outgoing_[At(node)];
    int size = 1;
    int current = first;
    for (; slots_[At(current)] >= 0; ++size) {
        current = Around(current);
        if (current == first) {
            return size;
        }
    }
    for (current = first; slots_[At(current ^ 1)] >= 0; ++size) {
        current = sides_[At(After(slots_[At(current ^ 1)]))];
    }
    return size;
}

bool LoopMesh::HasNoLockedPinch() const
{
    for (int n = 0; n < NodeCount(); ++n) {
        if (isLockedNode_[At(n)] != 0 && FanSize(n) != degrees_[At(n)]) {
            return false;
        }
    }
    return true;
}

// The points after a step. False when a ring does not show all edges of its node.
bool LoopMesh::SetFinerPoints(std::vector<Vec3d>& finer) const
{
    finer.resize(points_.size() + At(PairCount()));
    // Where feature lines run through a node: two neighbors on them at most matter.
    std::vector<Vec3d> lineSums(points_.size());
    std::vector<int> lineCounts(points_.size(), 0);
    for (int pair = 0; pair < PairCount(); ++pair) {
        if (isLockedPair_[At(pair)] != 0) {
            const std::size_t a = At(Origin(2 * pair));
            const std::size_t b = At(Destination(2 * pair));
            lineSums[a] += points_[b];
            lineSums[b] += points_[a];
            ++lineCounts[a];
            ++lineCounts[b];
        }
    }
    std::atomic<bool> hasPinch = false;
    ApplyParallelChunks(std::size_t{0}, points_.size(), [&](std::size_t from, std::size_t to) {
        for (std::size_t n = from; n < to; ++n) {
            const Vec3d& p = points_[n];
            if (outgoing_[n] < 0 || (isLockedNode_[n] != 0 && lineCounts[n] != 2)) {
                finer[n] = p;
            } else if (isLockedNode_[n] != 0) {
                finer[n] = CurveNode(p, lineSums[n]);
            } else {
                Vec3d ring;
                int count = 0;
                const int first = slots_[At(outgoing_[n])];
                int place = first;
                do {
                    const RingSpoke& spoke = spokes_[At(place)];
                    ring += points_[At(spoke.neighbor)];
                    ++count;
                    place = spoke.next;
                } while (place != first);
                finer[n] = LoopNode(p, ring, count);
                if (!degrees_.empty() && count != degrees_[n]) {
                    hasPinch = true;
                }
            }
        }
    });
    ApplyParallelChunks(0, PairCount(), [&](int from, int to) {
        for (int pair = from; pair < to; ++pair) {
            const int left = slots_[At(2 * pair)];
            const int right = slots_[At(2 * pair + 1)];
            const auto at = [&](int place) -> const Vec3d& {
                return points_[At(corners_[At(place)])];
            };
            finer[points_.size() + At(pair)] =
                isLockedPair_[At(pair)] != 0
                    ? EdgeMiddle(at(left), at(After(left)))
                    : LoopEdgePoint(at(left), at(right), at(Before(left)), at(Before(right)));
        }
    });
    return !hasPinch;
}

void LoopMesh::CountSides()
{
    sidesBefore_.resize(At(PairCount()));
    int count = 0;
    for (int pair = 0; pair < PairCount(); ++pair) {
        sidesBefore_[At(pair)] = count;
        count += slots_[At(2 * pair + 1)] >= 0 ? 2 : 1;
    }
}

auto LoopMesh::PartsOf(int face) const -> Parts
{
    Parts parts;
    std::array<int, 3> newFace;
    int place = LowestPlace(face);
    for (std::size_t k = 0; k < 3; ++k) {
        parts.corner[k] = corners_[At(place)];
        parts.side[k] = sides_[At(place)];
        parts.middle[k] = NodeCount() + parts.side[k] / 2;
        newFace[k] = NewFace(parts.side[k]);
        place = After(place);
    }
    // A split leaves the old number to the part at the origin of the even half-edge, which is the
    // side's own origin where the side is the even one.
    const bool isEven[3] = {parts.side[0] % 2 == 0, parts.side[1] % 2 == 0, parts.side[2] % 2 == 0};
    const int towardA = isEven[0] ? face : newFace[0];
    const int towardB = isEven[0] ? newFace[0] : face;
    parts.atB = isEven[1] ? towardB : newFace[1];
    parts.atC = isEven[1] ? newFace[1] : towardB;
    parts.center = isEven[2] ? towardA : newFace[2];
    parts.atA = isEven[2] ? newFace[2] : towardA;
    return parts;
}

std::vector<int> LoopMesh::FinerCorners() const
{
    std::vector<int> finer(4 * corners_.size());
    ApplyParallelChunks(0, FaceCount(), [&](int from, int to) {
        for (int face = from; face < to; ++face) {
            const Parts parts = PartsOf(face);
            const auto& [a, b, c] = parts.corner;
            const auto& [ab, bc, ca] = parts.middle;
            const auto set = [&](int part, int first, int second, int third) {
                int* corner = finer.data() + 3 * At(part);
                corner[0] = first;
                corner[1] = second;
                corner[2] = third;
            };
            set(parts.atA, ca, a, ab);
            set(parts.atB, b, bc, ab);
            set(parts.atC, ca, bc, c);
            set(parts.center, bc, ca, ab);
        }
    });
    return finer;
}

bool LoopMesh::Refine(bool isLast)
{
    CountSides();
    std::vector<Vec3d> points;
    if (!SetFinerPoints(points)) {
        return false;
    }
    degrees_.clear(); // no node has got another fan
    std::vector<int> corners = FinerCorners();
    if (!isLast) {
        RefineLinks(corners, points.size());
    }
    points_.swap(points);
    corners_.swap(corners);
    return true;
}

// All but points and corners, which are still those before the step; `corners` are those after it.
void LoopMesh::RefineLinks(const std::vector<int>& corners, std::size_t pointCount)
{
    std::vector<int> sides(4 * corners_.size());
    std::vector<int> slots(4 * At(PairCount()) + 2 * corners_.size(), -1);
    std::vector<int> outgoing(pointCount, -1);
    std::copy(outgoing_.begin(), outgoing_.end(), outgoing.begin());
    std::vector<unsigned char> isLockedNode(pointCount, 0);
    std::copy(isLockedNode_.begin(), isLockedNode_.end(), isLockedNode.begin());
    std::vector<unsigned char> isLockedPair(slots.size() / 2, 0);

    // A split leaves at the far end of its even half-edge the other direction of the second half.
    for (int pair = 0; pair < PairCount(); ++pair) {
        outgoing[At(Destination(2 * pair))] = SecondHalf(pair) + 1;
        if (isLockedPair_[At(pair)] != 0) {
            isLockedPair[At(pair)] = isLockedPair[At(SecondHalf(pair) / 2)] = 1;
            isLockedNode[At(NodeCount() + pair)] = 1;
        }
    }
    ApplyParallelChunks(0, FaceCount(), [&](int from, int to) {
        for (int face = from; face < to; ++face) {
            const Parts parts = PartsOf(face);
            const auto& [ab, bc, ca] = parts.side;
            // The spokes of the second and third edge run from their middles to that of the first;
            // the first one's is turned, and then runs from the second's to the third's where it
            // ran outward.
            const int turned = SpokeOut(ab);
            const auto set = [&](int part, int first, int second, int third) {
                int place = 3 * part;
                for (const int halfEdge : {first, second, third}) {
                    sides[At(place)] = halfEdge;
                    slots[At(halfEdge)] = place++;
                }
            };
            set(parts.atA, SecondPart(ca), FirstPart(ab), SpokeOut(ca) ^ 1);
            set(parts.atB, FirstPart(bc), SpokeOut(bc), SecondPart(ab));
            set(parts.atC, turned ^ 1, SecondPart(bc), FirstPart(ca));
            set(parts.center, turned, SpokeOut(ca), SpokeOut(bc) ^ 1);
        }
    });
    // The turns come last, in the order of the edges, of the right and then the left triangle; each
    // leaves its four nodes half-edges of its own.
    for (int pair = 0; pair < PairCount(); ++pair) {
        for (const int side : {2 * pair + 1, 2 * pair}) {
            const int slot = slots_[At(side)];
            if (slot < 0 || slot != LowestPlace(slot / 3)) {
                continue;
            }
            const int bc = sides_[At(After(slot))];
            const int ca = sides_[At(Before(slot))];
            outgoing[At(corners_[At(Before(slot))])] = FirstPart(ca);
            outgoing[At(NodeCount() + pair)] = SpokeOut(bc) ^ 1;
            outgoing[At(NodeCount() + bc / 2)] = SecondPart(bc);
            outgoing[At(NodeCount() + ca / 2)] = SpokeOut(ca);
        }
    }

    sides_.swap(sides);
    slots_.swap(slots);
    SetSpokes(corners, [&](std::size_t place) { return slots_[At(sides_[place] ^ 1)]; });
    outgoing_.swap(outgoing);
    isLockedNode_.swap(isLockedNode);
    isLockedPair_.swap(isLockedPair);
}

/// Points and triangles without the points that no triangle uses.
void MoveUsed(LoopMesh& mesh, Mesh::IndexedPointsBase<3, double>& fine)
{
    fine.points.swap(mesh.points_);
    fine.indices.swap(mesh.corners_);
    std::vector<int> places(fine.points.size(), -1);
    for (const int n : fine.indices) {
        places[At(n)] = 0;
    }
    if (std::find(places.begin(), places.end(), -1) == places.end()) {
        return;
    }
    int count = 0;
    for (std::size_t n = 0; n < places.size(); ++n) {
        if (places[n] == 0) {
            fine.points[At(count)] = fine.points[n];
            places[n] = count++;
        }
    }
    fine.points.resize(At(count));
    for (int& n : fine.indices) {
        n = places[At(n)];
    }
}

} // namespace

bool LoopOnArrays(const Mesh::IndexedPointsBase<3, double>& mesh, double degrees,
                  unsigned iterations, Mesh::IndexedPointsBase<3, double>& fine)
{
    LoopMesh loop;
    if (!loop.Load(mesh)) {
        return false;
    }
    if (iterations > 0) {
        if (!loop.DetectFeatures(degrees * kRadiansPerDegree) || !loop.HasNoLockedPinch()) {
            return false;
        }
        RequireLoopSubscripts(At(loop.PairCount()), At(loop.FaceCount()), iterations);
    }
    for (unsigned i = 0; i < iterations; ++i) {
        if (!loop.Refine(i + 1 == iterations)) {
            return false;
        }
    }
    MoveUsed(loop, fine);
    return true;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
