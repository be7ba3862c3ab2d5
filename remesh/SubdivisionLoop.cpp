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

#include <Velk/Math/Tolerances_E.h>

#include "mathbase/Parallel_Impl.h"
#include "remesh/LinkArrays_Impl.h"
#include "remesh/SubdivisionCount_Impl.h"
#include "remesh/SubdivisionMasks_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

using Parallel::Impl::ApplyParallelChunks;

class LoopMesh : public LinkArrays {
public:
    /// A step. After the last one only points and corners are good. False when a node has a second
    /// fan, and then nothing is good.
    bool Refine(bool isLast);

private:
    /// A triangle A B C turned so that A B is its edge of the lowest number, with the numbers that
    /// the step gives to what is in it.
    struct Parts {
        std::array<int, 3> corner; // A, B, C
        std::array<int, 3> side;   // A to B, B to C, C to A
        std::array<int, 3> middle; // the new nodes on them
        int atA, atB, atC, center; // the four faces
    };

    /// What an edge adds: the even half-edge of its second half, the spoke on a side, the face
    /// there.
    int SecondHalf(int pair) const { return 2 * (Pairs() + pair + sidesBefore_[At(pair)]); }
    int Spoke(int side) const
    {
        const bool isBehindRight = side % 2 == 0 && slots_[At(side ^ 1)] >= 0;
        return SecondHalf(side / 2) + (isBehindRight ? 4 : 2);
    }
    int NewFace(int side) const
    {
        const bool isBehindRight = side % 2 == 0 && slots_[At(side ^ 1)] >= 0;
        return Faces() + sidesBefore_[At(side / 2)] + (isBehindRight ? 1 : 0);
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
    bool SetFinerPoints(std::vector<Vec3d>& finer) const;
    std::vector<int> FinerCorners() const;
    void RefineLinks(const std::vector<int>& corners, std::size_t pointCount);

    std::vector<int> sidesBefore_; // of each edge: the sides of triangles at edges of lower number
};

// The points after a step. False when a ring does not show all edges of its node.
bool LoopMesh::SetFinerPoints(std::vector<Vec3d>& finer) const
{
    finer.resize(NodeCount() + PairCount());
    if (!SmoothNodes(LoopNode, finer)) {
        return false;
    }
    ApplyParallelChunks(0, Pairs(), [&](int from, int to) {
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
    return true;
}

void LoopMesh::CountSides()
{
    sidesBefore_.resize(PairCount());
    int count = 0;
    for (int pair = 0; pair < Pairs(); ++pair) {
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
        parts.middle[k] = Nodes() + parts.side[k] / 2;
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
    ApplyParallelChunks(0, Faces(), [&](int from, int to) {
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
    std::vector<int> slots(4 * PairCount() + 2 * corners_.size(), -1);
    std::vector<int> outgoing(pointCount, -1);
    std::copy(outgoing_.begin(), outgoing_.end(), outgoing.begin());
    std::vector<unsigned char> isLockedNode(pointCount, 0);
    std::copy(isLockedNode_.begin(), isLockedNode_.end(), isLockedNode.begin());
    std::vector<unsigned char> isLockedPair(slots.size() / 2, 0);

    // A split leaves at the far end of its even half-edge the other direction of the second half.
    for (int pair = 0; pair < Pairs(); ++pair) {
        outgoing[At(Destination(2 * pair))] = SecondHalf(pair) + 1;
        if (isLockedPair_[At(pair)] != 0) {
            isLockedPair[At(pair)] = isLockedPair[At(SecondHalf(pair) / 2)] = 1;
            isLockedNode[At(Nodes() + pair)] = 1;
        }
    }
    ApplyParallelChunks(0, Faces(), [&](int from, int to) {
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
    for (int pair = 0; pair < Pairs(); ++pair) {
        for (const int side : {2 * pair + 1, 2 * pair}) {
            const int slot = slots_[At(side)];
            if (slot < 0 || slot != LowestPlace(slot / 3)) {
                continue;
            }
            const int bc = sides_[At(After(slot))];
            const int ca = sides_[At(Before(slot))];
            outgoing[At(corners_[At(Before(slot))])] = FirstPart(ca);
            outgoing[At(Nodes() + pair)] = SpokeOut(bc) ^ 1;
            outgoing[At(Nodes() + bc / 2)] = SecondPart(bc);
            outgoing[At(Nodes() + ca / 2)] = SpokeOut(ca);
        }
    }

    sides_.swap(sides);
    slots_.swap(slots);
    SetSpokes(corners, [&](std::size_t place) { return slots_[At(sides_[place] ^ 1)]; });
    outgoing_.swap(outgoing);
    isLockedNode_.swap(isLockedNode);
    isLockedPair_.swap(isLockedPair);
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
        RequireLoopSubscripts(loop.PairCount(), loop.FaceCount(), iterations);
    }
    for (unsigned i = 0; i < iterations; ++i) {
        if (!loop.Refine(i + 1 == iterations)) {
            return false;
        }
    }
    loop.MoveUsed(fine);
    return true;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
