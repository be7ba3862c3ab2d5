// Steps of the sqrt(3) rule on plain arrays. The half-edges, faces and rings that the edits of a
// step would leave follow from those before it by arithmetic, place by place:
//
// Face number f, split as the f-th, gives its center the number f after the old nodes and three
// edges, from its corners in order to the center, the numbers 3f, 3f + 1 and 3f + 2 after the old
// ones. The part on its first side keeps the number of the face, the other two get the numbers 2f
// and 2f + 1 after the old ones. Then each edge that is no feature turns, and joins the centers
// beside it; the part on a side is then the half toward the side's own origin. So what a part
// becomes depends on its side and on the place of the other side of the same edge, and on nothing
// else. After every second step feature edges are split twice, one after the other: these are few,
// and are split by edits of the arrays.

#include "remesh/SubdivisionSqrt3_Impl.h"

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

class Sqrt3Mesh : public LinkArrays {
public:
    /// A step. After the last one only points and corners are good. False when a node has a second
    /// fan, and then nothing is good.
    bool Refine(unsigned step, bool isLast);

private:
    /// The half-edge from the corner at a place to the center of its face.
    int Spoke(int place) const { return 2 * (Pairs() + place); }
    /// The face that the part on the side of a place becomes.
    int Part(int place) const
    {
        const int face = place / 3;
        return place == 3 * face ? face : Faces() + place - face - 1;
    }

    bool SetFinerPoints(std::vector<Vec3d>& finer) const;
    std::vector<int> FinerCorners() const;
    std::vector<int> FinerRings() const;
    void RefineLinks();
    bool HasFeatures() const
    {
        return std::find(isLockedPair_.begin(), isLockedPair_.end(), 1) != isLockedPair_.end();
    }

    void TrisectFeatures();
    void FindLinesAtCorner(int node, std::array<int, 2>& lines) const;
    int SplitFeature(int halfEdge);
    int AddPair(bool isLocked);
    int AddFace();
    void SetTriangle(int face, const std::array<int, 3>& sides, const std::array<int, 3>& corners);
};

// The points after a step. False when a ring does not show all edges of its node.
bool Sqrt3Mesh::SetFinerPoints(std::vector<Vec3d>& finer) const
{
    finer.resize(NodeCount() + FaceCount());
    if (!SmoothNodes(Sqrt3Node, finer)) {
        return false;
    }
    ApplyParallelChunks(std::size_t{0}, FaceCount(), [&](std::size_t from, std::size_t to) {
        for (std::size_t face = from; face < to; ++face) {
            Vec3d sum;
            for (std::size_t place = 3 * face; place < 3 * face + 3; ++place) {
                sum += points_[At(corners_[place])];
            }
            finer[points_.size() + face] = sum / 3.0;
        }
    });
    return true;
}

std::vector<int> Sqrt3Mesh::FinerCorners() const
{
    std::vector<int> finer(3 * corners_.size());
    ApplyParallelChunks(0, Faces(), [&](int from, int to) {
        for (int place = 3 * from; place < 3 * to; ++place) {
            const int center = Nodes() + place / 3;
            int* corner = finer.data() + 3 * At(Part(place));
            if (IsLocked(sides_[At(place)])) {
                corner[0] = corners_[At(place)];
                corner[1] = corners_[At(After(place))];
                corner[2] = center;
            } else {
                corner[0] = Nodes() + Mate(place) / 3;
                corner[1] = center;
                corner[2] = corners_[At(place)];
            }
        }
    });
    return finer;
}

// Of each node the half-edge with which its ring begins after a step: that of the last edit at it.
std::vector<int> Sqrt3Mesh::FinerRings() const
{
    std::vector<int> rings(NodeCount() + FaceCount(), -1);
    for (int place = 0; place < 3 * Faces(); ++place) {
        rings[At(corners_[At(place)])] = Spoke(place);
    }
    for (int pair = 0; pair < Pairs(); ++pair) {
        if (isLockedPair_[At(pair)] == 0) {
            const int left = slots_[At(2 * pair)];
            const int right = slots_[At(2 * pair + 1)];
            rings[At(corners_[At(left)])] = Spoke(After(right));
            rings[At(corners_[At(right)])] = Spoke(After(left));
        }
    }
    // At a center the last edge to turn is that of the highest number.
    ApplyParallelChunks(0, Faces(), [&](int from, int to) {
        for (int face = from; face < to; ++face) {
            int last = -1;
            int lastPlace = 3 * face + 2;
            for (int place = 3 * face; place < 3 * face + 3; ++place) {
                const int side = sides_[At(place)];
                if (!IsLocked(side) && side > last) {
                    last = side;
                    lastPlace = place;
                }
            }
            rings[NodeCount() + At(face)] = Spoke(lastPlace) ^ 1;
        }
    });
    return rings;
}

// All but points and corners, which are still those before the step.
void Sqrt3Mesh::RefineLinks()
{
    std::vector<int> rings = FinerRings();
    std::vector<int> sides(3 * corners_.size());
    std::vector<int> slots(2 * (PairCount() + corners_.size()), -1);
    ApplyParallelChunks(0, Faces(), [&](int from, int to) {
        for (int place = 3 * from; place < 3 * to; ++place) {
            const int side = sides_[At(place)];
            const int fromCenter = Spoke(place) ^ 1;
            int finer = 3 * Part(place);
            const std::array<int, 3> loop =
                IsLocked(side) ? std::array{side, Spoke(After(place)), fromCenter}
                               : std::array{side, fromCenter, Spoke(After(Mate(place)))};
            for (const int halfEdge : loop) {
                sides[At(finer)] = halfEdge;
                slots[At(halfEdge)] = finer++;
            }
        }
    });
    isLockedNode_.resize(rings.size(), 0);
    isLockedPair_.resize(slots.size() / 2, 0);
    outgoing_.swap(rings);
    sides_.swap(sides);
    slots_.swap(slots);
}

bool Sqrt3Mesh::Refine(unsigned step, bool isLast)
{
    RequireSubscripts(2 * PairCount() + 6 * FaceCount());
    std::vector<Vec3d> points;
    if (!SetFinerPoints(points)) {
        return false;
    }
    degrees_.clear(); // no node has got another fan
    std::vector<int> corners = FinerCorners();
    const bool areLinesCut = step % 2 == 1 && HasFeatures();
    if (!isLast || areLinesCut) {
        RefineLinks();
    }
    points_.swap(points);
    corners_.swap(corners);
    if (areLinesCut) {
        TrisectFeatures();
    }
    if (!isLast) {
        SetSpokes(corners_, [&](std::size_t place) { return slots_[At(sides_[place] ^ 1)]; });
    }
    return true;
}

// --- feature lines ------------------------------------------------------------------------------

// Cuts every feature edge in three, as `SubdivisionMesh` does.
void Sqrt3Mesh::TrisectFeatures()
{
    struct Curve {
        int halfEdge;
        Vec3d p0, p1, p2, p3; // along the feature line, the edge from p1 to p2
    };
    // The two lines of each node, where there are more the last two in ring order.
    std::vector<std::array<int, 2>> lines(NodeCount(), {-1, -1});
    std::vector<int> lineCounts(NodeCount(), 0);
    std::size_t count = 0;
    for (int pair = 0; pair < Pairs(); ++pair) {
        if (isLockedPair_[At(pair)] == 0) {
            continue;
        }
        ++count;
        const std::array<int, 2> ends = {Origin(2 * pair), Destination(2 * pair)};
        for (std::size_t i = 0; i < 2; ++i) {
            int& known = lineCounts[At(ends[i])];
            if (known < 2) {
                lines[At(ends[i])][At(known)] = ends[1 - i];
            }
            ++known;
        }
    }
    ApplyParallelChunks(0, Nodes(), [&](int from, int to) {
        for (int n = from; n < to; ++n) {
            if (lineCounts[At(n)] > 2) {
                FindLinesAtCorner(n, lines[At(n)]);
            }
        }
    });
    const auto beyond = [&](int node, int other) {
        const std::array<int, 2>& at = lines[At(node)];
        const int far = at[0] != other ? at[0] : at[1];
        return points_[At(far >= 0 ? far : node)];
    };
    RequireSubscripts(2 * PairCount() + 12 * count);
    std::vector<Curve> curves;
    curves.reserve(count);
    for (int pair = 0; pair < Pairs(); ++pair) {
        if (isLockedPair_[At(pair)] != 0) {
            const int a = Origin(2 * pair);
            const int b = Destination(2 * pair);
            curves.push_back(
                {2 * pair, beyond(a, b), points_[At(a)], points_[At(b)], beyond(b, a)});
        }
    }
    for (const auto& [halfEdge, p0, p1, p2, p3] : curves) {
        const int nearB = SplitFeature(halfEdge);
        const int nearA = SplitFeature(halfEdge);
        points_[At(nearA)] = (-5.0 * p0 + 60.0 * p1 + 30.0 * p2 - 4.0 * p3) / 81.0;
        points_[At(nearB)] = (-4.0 * p0 + 30.0 * p1 + 60.0 * p2 - 5.0 * p3) / 81.0;
    }
}

// The last two of the lines at a node, the very last first, going round from where its ring begins.
void Sqrt3Mesh::FindLinesAtCorner(int node, std::array<int, 2>& lines) const
{
    const int first = outgoing_[At(node)];
    lines = {-1, -1};
    int current = first;
    do {
        if (IsLocked(current)) {
            lines = {Destination(current), lines[0]};
        }
        if (slots_[At(current)] >= 0) {
            current = Around(current);
        } else { // along the boundary to the other end of the fan
            for (current = first; slots_[At(current ^ 1)] >= 0;) {
                current = AroundBack(current);
            }
        }
    } while (current != first);
}

int Sqrt3Mesh::AddPair(bool isLocked)
{
    slots_.insert(slots_.end(), 2, -1);
    isLockedPair_.push_back(isLocked ? 1 : 0);
    return static_cast<int>(slots_.size()) - 2;
}

int Sqrt3Mesh::AddFace()
{
    const int face = Faces();
    corners_.resize(corners_.size() + 3);
    sides_.resize(corners_.size());
    return face;
}

void Sqrt3Mesh::SetTriangle(int face, const std::array<int, 3>& sides,
                            const std::array<int, 3>& corners)
{
    for (std::size_t k = 0; k < 3; ++k) {
        const int place = 3 * face + static_cast<int>(k);
        sides_[At(place)] = sides[k];
        slots_[At(sides[k])] = place;
        corners_[At(place)] = corners[k];
    }
}

// `TriangleMesh::SplitEdge` of the even half-edge of a feature, which has a face on its left: the
// numbers of what is new come in the same order, and rings begin with the same half-edges. The new
// node.
int Sqrt3Mesh::SplitFeature(int halfEdge)
{
    const int twin = halfEdge + 1;
    const int left = slots_[At(halfEdge)];
    const int right = slots_[At(twin)];
    const int a = corners_[At(left)];
    const int b = corners_[At(After(left))];
    const int c = corners_[At(Before(left))];
    const int d = right >= 0 ? corners_[At(Before(right))] : -1;
    const int middle = Nodes();
    points_.emplace_back();
    isLockedNode_.push_back(1);
    const int half = AddPair(true);
    outgoing_.push_back(half);
    outgoing_[At(b)] = half + 1;
    const int rightSpoke = right >= 0 ? AddPair(false) : -1; // d to the middle
    const int leftSpoke = AddPair(false);                    // the middle to c
    if (right >= 0) {
        outgoing_[At(d)] = rightSpoke;
        const int next = sides_[At(After(right))];
        const int prev = sides_[At(Before(right))];
        SetTriangle(AddFace(), {half + 1, rightSpoke + 1, prev}, {b, middle, d});
        SetTriangle(right / 3, {twin, next, rightSpoke}, {middle, a, d});
    }
    outgoing_[At(middle)] = leftSpoke;
    outgoing_[At(c)] = leftSpoke + 1;
    const int next = sides_[At(After(left))];
    const int prev = sides_[At(Before(left))];
    SetTriangle(AddFace(), {half, next, leftSpoke + 1}, {middle, b, c});
    SetTriangle(left / 3, {halfEdge, leftSpoke, prev}, {a, middle, c});
    return middle;
}

} // namespace

bool Sqrt3OnArrays(const Mesh::IndexedPointsBase<3, double>& mesh, double degrees,
                   unsigned iterations, Mesh::IndexedPointsBase<3, double>& fine)
{
    Sqrt3Mesh sqrt3;
    if (!sqrt3.Load(mesh) || !sqrt3.DetectFeatures(degrees * kRadiansPerDegree) ||
        !sqrt3.HasNoLockedPinch()) {
        return false;
    }
    RequireGrownSubscripts(3 * sqrt3.FaceCount(), 3, iterations);
    for (unsigned i = 0; i < iterations; ++i) {
        if (!sqrt3.Refine(i, i + 1 == iterations)) {
            return false;
        }
    }
    sqrt3.MoveUsed(fine);
    return true;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
