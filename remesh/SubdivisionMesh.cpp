// The steps of subdivision as edits of a half-edge mesh. Positions of a step are calculated before
// its first edit, side by side; the edits themselves run one after another.

#include <Sorvane/SubdivisionMesh_E.h>

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "remesh/FeatureMarks_Impl.h"
#include "remesh/SheetsApart_Impl.h"
#include "remesh/SubdivisionCount_Impl.h"
#include "remesh/SubdivisionMasks_Impl.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <new>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

using Parallel::Impl::ApplyParallelChunks;

/// Room for what is to come, where there is memory for it: nobody needs it before it is used.
template <class Record>
void ReserveIfPossible(std::vector<Record>& records, std::size_t count)
{
    try {
        records.reserve(count);
    } catch (const std::bad_alloc&) {
    }
}

bool HasSameBits(const Vec3d& a, const Vec3d& b)
{
    const auto isSame = [&](int k) {
        return std::bit_cast<std::uint64_t>(a[k]) == std::bit_cast<std::uint64_t>(b[k]);
    };
    return isSame(0) && isSame(1) && isSame(2);
}

/// Where on the edge from 0 to 1 the other diagonal crosses it, when the two triangles a b c and b
/// a d are unfolded; the middle where it doesn't.
double CrossingOfDiagonals(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d)
{
    constexpr double kLeast = 0.125;
    const auto flat = Mesh::FlattenTriangleNeighbors(a, b, c, d);
    Vec2d hit;
    bool overlap = false;
    // Triangles without area may have no place in the plane: what is not finite never meets.
    if (!Intersect::SegmentSegment(flat[0], flat[1], flat[2], flat[3], hit, overlap, true,
                                   kLengthFloor<double>)) {
        return 0.5;
    }
    const Vec2d along = flat[1] - flat[0];
    const double squared = along * along;
    const double t =
        squared > kSquaredLengthFloor<double> ? (hit - flat[0]) * along / squared : 0.0;
    return std::clamp(t, kLeast, 1.0 - kLeast);
}

} // namespace

SubdivisionMesh::SubdivisionMesh(const Mesh::IndexedPointsBase<3, double>& mesh)
{
    ReserveIfPossible(nodes_, 5 * mesh.points.size());
    ReserveIfPossible(edges_, 10 * mesh.indices.size());
    ReserveIfPossible(faces_, 5 * mesh.indices.size());
    Mesh::IndexedPointsBase<3, double> apart;
    const bool isApart = TakeSheetsApart(mesh.points, mesh.indices, apart);
    if (!LoadIndexedPoints(isApart ? apart : mesh)) {
        // An edge without links would refuse to be split, next to others that are.
        for (const auto& [node, copy] : SplitPinchNodes()) {
            apart_.push_back(node);
            apart_.push_back(copy);
        }
        std::sort(apart_.begin(), apart_.end());
        LinkBoundaryEdges();
        for (int n = 0; n < NodeCount(); ++n) {
            AdjustBoundaryNode(n);
        }
    }
}

SubdivisionMesh::~SubdivisionMesh() = default;

// --- locks --------------------------------------------------------------------------------------

bool SubdivisionMesh::IsNodeLocked(int node) const
{
    return IsValidNode(node) && NodeAt(node).feature;
}

bool SubdivisionMesh::IsEdgeLocked(int halfEdge) const
{
    return IsValidEdge(halfEdge) && (EdgeAt(halfEdge).feature || EdgeAt(Twin(halfEdge)).feature);
}

void SubdivisionMesh::MarkFeature(int halfEdge)
{
    if (!IsValidEdge(halfEdge)) {
        return;
    }
    for (const int e : {halfEdge, Twin(halfEdge)}) {
        EdgeAt(e).feature = true;
        if (IsValidNode(EdgeAt(e).node)) {
            NodeAt(EdgeAt(e).node).feature = true;
        }
    }
}

void SubdivisionMesh::DetectFeatures(double degrees)
{
    featureAngle = degrees * kRadiansPerDegree;
    VisitFeatures<3>(*this, featureAngle, [&](int e, FeatureKind) { MarkFeature(e); });
}

void SubdivisionMesh::MarkOld()
{
    ApplyParallelChunks(0, NodeCount(), [&](int from, int to) {
        for (int n = from; n < to; ++n) {
            NodeAt(n).old = true;
        }
    });
    ApplyParallelChunks(0, EdgeCount(), [&](int from, int to) {
        for (int e = from; e < to; ++e) {
            EdgeAt(e).old = true;
        }
    });
}

// --- positions ----------------------------------------------------------------------------------

void SubdivisionMesh::UpdateNodePositions(const std::vector<Vec3d>& positions)
{
    if (positions.size() != Nodes().size()) {
        AssertSites::Report(AssertSites::kUpdateNodePositions);
        return;
    }
    for (int n = 0; n < NodeCount(); ++n) {
        if (IsValidNode(n)) {
            NodeAt(n).position = positions[static_cast<std::size_t>(n)];
        }
    }
}

// Where the nodes go: free ones by the given rule, those on feature lines by the curve's, and
// corners and pinches nowhere.
std::vector<Vec3d> SubdivisionMesh::SmoothedNodes(Vec3d (*smoothed)(const Vec3d&, const Vec3d&,
                                                                    int)) const
{
    std::vector<Vec3d> positions(Nodes().size());
    const auto smooth = [&](int n) -> Vec3d {
        const Vec3d& p = NodeAt(n).position;
        if (!IsValidNode(n) || std::binary_search(apart_.begin(), apart_.end(), n)) {
            return p;
        }
        Vec3d sum;
        int ringSize = 0; // a ring that doesn't show all that is at the node is that of a pinch
        if (!NodeAt(n).feature) {
            VisitNodeNodes(n, [&](int neighbor) {
                sum += NodeAt(neighbor).position;
                ++ringSize;
            });
            return ringSize == Degree(n) ? smoothed(p, sum, ringSize) : p;
        }
        int lineCount = 0;
        VisitNodeEdges(n, [&](int e) {
            if (IsEdgeLocked(e)) {
                sum += NodeAt(EdgeAt(Twin(e)).node).position;
                ++lineCount;
            }
            ++ringSize;
        });
        return lineCount == 2 && ringSize == Degree(n) ? CurveNode(p, sum) : p;
    };
    ApplyParallelChunks(0, NodeCount(), [&](int from, int to) {
        for (int n = from; n < to; ++n) {
            positions[static_cast<std::size_t>(n)] = smooth(n);
        }
    });
    return positions;
}

// The old nodes go to their places; those that this step has made stay. False when none moved.
bool SubdivisionMesh::MoveOldNodes(std::vector<Vec3d> positions)
{
    positions.resize(Nodes().size());
    bool hasMoved = false;
    for (int n = 0; n < NodeCount(); ++n) {
        Vec3d& position = positions[static_cast<std::size_t>(n)];
        if (!NodeAt(n).old) {
            position = NodeAt(n).position;
        } else if (IsValidNode(n) && !HasSameBits(position, NodeAt(n).position)) {
            hasMoved = true;
        }
    }
    UpdateNodePositions(positions);
    return hasMoved;
}

// So many half-edges more must have subscripts.
void SubdivisionMesh::RequireRoom(std::size_t moreHalfEdges) const
{
    RequireSubscripts(Edges().size() + moreHalfEdges);
}

// --- Loop ---------------------------------------------------------------------------------------

bool SubdivisionMesh::LoopStep()
{
    MarkOld();
    RequireRoom(3 * Edges().size());
    std::vector<Vec3d> positions = SmoothedNodes(LoopNode);
    const bool hasSplit = SplitAllEdges();
    // A new edge from a new node to an old one turns to join two new ones: the four parts of a
    // triangle are then its corners and its middle, whichever of its edges was split first.
    for (int e = 0; e < EdgeCount(); e += 2) {
        if (IsValidEdge(e) && !EdgeAt(e).feature && !EdgeAt(e).old &&
            NodeAt(EdgeAt(e).node).old != NodeAt(EdgeAt(Twin(e)).node).old) {
            FlipEdge(e, false);
        }
    }
    return MoveOldNodes(std::move(positions)) || hasSplit;
}

bool SubdivisionMesh::SplitAllEdges()
{
    // The apexes that count are those before any split; a split changes none of the edges that
    // wait.
    const int pairs = EdgeCount() / 2;
    std::vector<Vec3d> points(static_cast<std::size_t>(pairs));
    // Slots that are free now may hold new edges before their turn comes.
    std::vector<unsigned char> isEdge(static_cast<std::size_t>(pairs), 0);
    ApplyParallelChunks(0, pairs, [&](int from, int to) {
        for (int pair = from; pair < to; ++pair) {
            if (!IsValidEdge(2 * pair)) {
                continue;
            }
            isEdge[static_cast<std::size_t>(pair)] = 1;
            const int c = Diamond(2 * pair)[2];
            const int d = Diamond(2 * pair)[3];
            const Vec3d& a = NodeAt(EdgeAt(2 * pair).node).position;
            const Vec3d& b = NodeAt(EdgeAt(2 * pair + 1).node).position;
            points[static_cast<std::size_t>(pair)] =
                IsEdgeLocked(2 * pair) || c < 0 || d < 0
                    ? EdgeMiddle(a, b)
                    : LoopEdgePoint(a, b, NodeAt(c).position, NodeAt(d).position);
        }
    });

    bool hasSplit = false;
    for (int e = 0; e < 2 * pairs; e += 2) {
        if (isEdge[static_cast<std::size_t>(e / 2)] == 0) {
            continue;
        }
        const int a = EdgeAt(e).node;
        const int b = EdgeAt(Twin(e)).node;
        const bool isLocked = IsEdgeLocked(e);
        int middle = kNoNode;
        if (!SplitEdge(e, middle, true, true)) {
            continue;
        }
        hasSplit = true;
        NodeAt(middle).old = false;
        NodeAt(middle).position = points[static_cast<std::size_t>(e / 2)];
        if (isLocked) {
            MarkFeature(e);
            MarkFeature(FindEdge(middle, b));
        }
        VisitNodeEdges(middle, [&](int out) {
            const int far = EdgeAt(Twin(out)).node;
            if (far != a && far != b) {
                EdgeAt(out).old = EdgeAt(Twin(out)).old = false;
            }
        });
    }
    return hasSplit;
}

// --- the square root of three ------------------------------------------------------------------

bool SubdivisionMesh::Sqrt3Step(unsigned step)
{
    MarkOld();
    RequireRoom(6 * Faces().size());
    std::vector<Vec3d> positions = SmoothedNodes(Sqrt3Node);
    // Slots that are free now are going to hold new faces.
    std::vector<int> faces;
    for (int f = 0; f < FaceCount(); ++f) {
        if (IsValidFace(f)) {
            faces.push_back(f);
        }
    }
    bool hasSplit = false;
    for (const int f : faces) {
        const std::array<int, 3> corners = Corners(f);
        int center = kNoNode;
        const auto isNode = [&](int n) { return IsValidNode(n); };
        if (!std::all_of(corners.begin(), corners.end(), isNode) || !SplitFace(f, center, true)) {
            continue;
        }
        hasSplit = true;
        Vec3d sum;
        for (const int n : corners) {
            sum += NodeAt(n).position;
        }
        NodeAt(center).old = false;
        NodeAt(center).feature = false;
        NodeAt(center).position = sum / 3.0;
        VisitNodeEdges(center, [&](int e) { EdgeAt(e).old = EdgeAt(Twin(e)).old = false; });
    }
    for (int e = 0; e < EdgeCount(); e += 2) {
        if (!IsValidEdge(e) || IsEdgeLocked(e)) {
            continue;
        }
        const auto [a, b, c, d] = Diamond(e);
        // Two triangles with two edges in common would get two edges between their centers.
        if (a >= 0 && b >= 0 && c >= 0 && d >= 0 && NodeAt(a).old && NodeAt(b).old &&
            !NodeAt(c).old && !NodeAt(d).old && FindEdge(c, d) < 0) {
            FlipEdge(e, true);
        }
    }
    const bool hasMoved = MoveOldNodes(std::move(positions));
    if (step % 2 == 1) {
        TrisectFeatures();
    }
    return hasSplit || hasMoved;
}

// Cuts every feature edge in three: its edges keep pace with those of the faces.
void SubdivisionMesh::TrisectFeatures()
{
    struct Curve {
        int halfEdge;
        Vec3d p0, p1, p2, p3; // along the feature line, the edge from p1 to p2
    };
    std::vector<Curve> curves;
    // The continuation at an end. Where several lines meet it is the last of them in ring order,
    // other than the edge itself. A node is walked round once: at the hub of a fan every edge would
    // walk round all others.
    struct Lines {
        int last = kNoNode;
        int lastOther = kNoNode;
    };
    std::vector<Lines> lines(Nodes().size());
    ApplyParallelChunks(0, NodeCount(), [&](int from, int to) {
        for (int n = from; n < to; ++n) {
            if (!IsValidNode(n)) {
                continue;
            }
            Lines& found = lines[static_cast<std::size_t>(n)];
            VisitNodeEdges(n, [&](int e) {
                const int far = IsEdgeLocked(e) ? EdgeAt(Twin(e)).node : found.last;
                if (far != found.last) {
                    found.lastOther = found.last;
                    found.last = far;
                }
            });
        }
    });
    const auto beyond = [&](int node, int other) {
        const Lines& at = lines[static_cast<std::size_t>(node)];
        const int far = at.last != other ? at.last : at.lastOther;
        return NodeAt(far != kNoNode ? far : node).position;
    };
    for (int e = 0; e < EdgeCount(); e += 2) {
        if (IsValidEdge(e) && EdgeAt(e).feature) {
            const int a = EdgeAt(e).node;
            const int b = EdgeAt(Twin(e)).node;
            curves.push_back(
                {e, beyond(a, b), NodeAt(a).position, NodeAt(b).position, beyond(b, a)});
        }
    }
    RequireRoom(12 * curves.size());
    for (const auto& [e, p0, p1, p2, p3] : curves) {
        const int a = EdgeAt(e).node;
        const int b = EdgeAt(Twin(e)).node;
        int nearB = kNoNode;
        int nearA = kNoNode;
        if (!SplitEdge(e, nearB, true, true) || !SplitEdge(e, nearA, true, true)) {
            continue; // between triangles back to back
        }
        MarkFeature(FindEdge(a, nearA));
        MarkFeature(FindEdge(nearA, nearB));
        MarkFeature(FindEdge(nearB, b));
        NodeAt(nearA).position = (-5.0 * p0 + 60.0 * p1 + 30.0 * p2 - 4.0 * p3) / 81.0;
        NodeAt(nearB).position = (-4.0 * p0 + 30.0 * p1 + 60.0 * p2 - 5.0 * p3) / 81.0;
    }
}

// --- long edges --------------------------------------------------------------------------------

bool SubdivisionMesh::SplitPass(double length, bool atMiddle)
{
    const double limit = length * length;
    const int pairs = EdgeCount() / 2;
    std::vector<unsigned char> isLong(static_cast<std::size_t>(pairs), 0);
    ApplyParallelChunks(0, pairs, [&](int from, int to) {
        for (int pair = from; pair < to; ++pair) {
            if (IsValidEdge(2 * pair)) {
                const Vec3d along = NodeAt(EdgeAt(2 * pair + 1).node).position -
                                    NodeAt(EdgeAt(2 * pair).node).position;
                isLong[static_cast<std::size_t>(pair)] = along * along > limit ? 1 : 0;
            }
        }
    });
    RequireRoom(6 * static_cast<std::size_t>(std::count(isLong.begin(), isLong.end(), 1)));

    bool hasSplit = false;
    for (int pair = 0; pair < pairs; ++pair) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(pair));
        if (isLong[static_cast<std::size_t>(pair)] == 0) {
            continue;
        }
        const int e = 2 * pair;
        const Vec3d a = NodeAt(EdgeAt(e).node).position;
        const Vec3d b = NodeAt(EdgeAt(Twin(e)).node).position;
        double t = 0.5;
        if (!atMiddle) {
            // As it is now: an apex may be a node of this pass.
            const std::array<int, 4> diamond = Diamond(e);
            if (diamond[2] >= 0 && diamond[3] >= 0 && !IsBoundaryEdge(e, true)) {
                t = CrossingOfDiagonals(a, b, NodeAt(diamond[2]).position,
                                        NodeAt(diamond[3]).position);
            }
        }
        int middle = kNoNode;
        if (SplitEdge(e, middle, true, true)) {
            NodeAt(middle).position = a + (b - a) * t;
            hasSplit = true;
        }
    }
    return hasSplit;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
