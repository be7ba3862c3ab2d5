// Decimation by quadric errors, one edge at a time: the collapses, the stars and flips that clean
// up after them, and the exported operation.

#include "remesh/Decimation_Impl.h"

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Transform_E.h>

#include "halfedge/QuadricErrorFunction_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "remesh/FeatureMarks_Impl.h"
#include "remesh/TaggedMesh_Impl.h"
#include "remesh/TriangleStar_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace Velk::Math::Sorvane::HalfEdge::Impl {
namespace {

namespace Quadrics = Decorations::Impl;

/// Share of the greatest singular value up to which one counts as zero, in a collapse and in a
/// flip.
constexpr double kCollapseRankTolerance = 0.005;
constexpr double kFlipRankTolerance = 0.1;
/// Least area that a collapse leaves a triangle, and a flip.
constexpr double kLeastArea = 5e-10;
constexpr double kLeastFlippedArea = 1e-9;
/// How far a triangle may turn in one collapse: 80 degrees.
constexpr double kGreatestTurn = 1.3962634015954636;
/// How far the triangles of a flip between two creases may be out of one plane: 2.5 degrees.
constexpr double kFlatAngle = 0.04363323129985824;
constexpr int kStarPasses = 5;
/// In the notes of an upcoming collapse: there is no more to fetch.
constexpr int kNothingMore = -4;
/// Flips at most, for each half-edge: four points of a circle could flip for ever.
constexpr double kFlipsPerHalfEdge = 10.0;

} // namespace

QEFDecimator::QEFDecimator(const std::vector<Vec3d>& sourcePoints,
                           const std::vector<int>& sourceIndices,
                           const std::vector<unsigned char>& tags, bool keepsBoundary)
    : points(sourcePoints), indices(sourceIndices), keepBoundary(keepsBoundary),
      turn_(kGreatestTurn)
{
    struct Source {
        const std::vector<Vec3d>& points;
        const std::vector<int>& indices;
    };
    LoadTagged(*this, Source{points, indices}, tags);
    initialFaces = CountFaces();
    for (const Vec3d& p : points) {
        box.Grow(p);
    }
    middle_ = box.min + (box.max - box.min) / 2.0;
    if (!IsFinitePoint(middle_)) {
        middle_ = {};
    }
    squaredLengthLimit_ = std::pow(Length(box.max - box.min) / 10.0, 2.0);
    isBoundaryNode_.assign(static_cast<std::size_t>(NodeCount()), 0);
    for (int e = 0; e < EdgeCount(); ++e) {
        if (IsValidEdge(e) && EdgeAt(e).face < 0) {
            for (const int node : {EdgeAt(e).node, EdgeAt(Twin(e)).node}) {
                isBoundaryNode_[static_cast<std::size_t>(node)] = 1;
            }
        }
    }
}

bool QEFDecimator::IsFaceLocked(int face) const
{
    const std::array<int, 3> corners = Corners(face);
    return std::any_of(corners.begin(), corners.end(), [&](int n) { return IsNodeLocked(n); });
}

bool QEFDecimator::IsBoundaryNode(int node) const
{
    return IsValidNode(node) && static_cast<std::size_t>(node) < isBoundaryNode_.size() &&
           isBoundaryNode_[static_cast<std::size_t>(node)] != 0;
}

void QEFDecimator::DetectFeatures(double angle)
{
    featureAngle = angle * kRadiansPerDegree;
    VisitFeatures<3>(*this, featureAngle, [&](int e, FeatureKind kind) {
        EdgeAt(e).feature = true;
        EdgeAt(Twin(e)).feature = true;
        if (kind == FeatureKind::Crease) {
            NodeAt(EdgeAt(e).node).feature = true;
            NodeAt(EdgeAt(Twin(e)).node).feature = true;
        }
    });
}

int QEFDecimator::CountFaces() const
{
    int count = 0;
    for (int f = 0; f < FaceCount(); ++f) {
        count += IsValidFace(f) ? 1 : 0;
    }
    return count;
}

void QEFDecimator::BuildQuadrics()
{
    for (int n = 0; n < NodeCount(); ++n) {
        NodeAt(n).qef = {};
    }
    for (int f = 0; f < FaceCount(); ++f) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(f));
        const std::array<int, 3> corners = Corners(f);
        if (!IsValidFace(f) || std::any_of(corners.begin(), corners.end(),
                                           [&](int n) { return n < 0 || IsBoundaryNode(n); })) {
            continue;
        }
        const Vec3d p0 = NodeAt(corners[0]).position - middle_;
        const Vec3d p1 = NodeAt(corners[1]).position - middle_;
        const Vec3d p2 = NodeAt(corners[2]).position - middle_;
        const Vec3d normal = (p1 - p0) ^ (p2 - p0);
        const Vec3d centroid = (p0 + p1 + p2) / 3.0;
        for (const int n : corners) {
            Quadrics::AddPlane(NodeAt(n).qef, centroid, normal);
        }
    }
    for (int n = 0; n < NodeCount(); ++n) {
        if (IsBoundaryNode(n)) {
            NodeAt(n).qef = {};
        }
    }
}

bool QEFDecimator::IsTooLong(int a, int b) const
{
    return SquaredLength(NodeAt(b).position - NodeAt(a).position) > squaredLengthLimit_;
}

void QEFDecimator::PushEdge(int halfEdge)
{
    if (!IsValidEdge(halfEdge)) {
        return;
    }
    const int a = EdgeAt(halfEdge).node;
    const int b = EdgeAt(Twin(halfEdge)).node;
    if ((keepBoundary && IsBoundaryEdge(halfEdge, true)) || !IsValidNode(a) || !IsValidNode(b) ||
        !MayCollapse(halfEdge, a, b)) {
        return;
    }
    double& known = CostOf(halfEdge);
    known = std::numeric_limits<double>::quiet_NaN();
    if (IsTooLong(a, b)) {
        return; // it may still go by an entry from when it was shorter
    }
    known = std::numeric_limits<double>::max();
    Quadric sum = Quadrics::Merge(NodeAt(a).qef, NodeAt(b).qef);
    if (sum.count == 0) {
        return;
    }
    Vec3d x;
    double cost = 0.0;
    Quadrics::Solve(sum, x, cost, kCollapseRankTolerance);
    if (cost < maxError_) { // not for NaN, which has no place in an order
        known = cost;
        queue_.Push(cost, halfEdge);
    }
}

// Is a half-edge of the two triangles of an unlocked edge, or the apex of one, locked?
bool QEFDecimator::IsBesideFeature(int halfEdge) const
{
    for (const int e : {halfEdge, Twin(halfEdge)}) {
        const auto& edge = EdgeAt(e);
        if (edge.feature || edge.face < 0 || !IsValidEdge(edge.next) || !IsValidEdge(edge.prev) ||
            EdgeAt(edge.next).feature || EdgeAt(edge.prev).feature ||
            NodeAt(EdgeAt(edge.prev).node).feature) {
            return true;
        }
    }
    return false;
}

// Does a crease pass through the node? Corners have another number of locked edges.
bool QEFDecimator::IsCreaseNode(int node) const
{
    int locked = 0;
    VisitNodeEdges(node, [&](int e) { locked += e >= 0 && EdgeAt(e).feature ? 1 : 0; });
    return locked == 2;
}

void QEFDecimator::RemoveTriangles(double keepPercent, double tolerance)
{
    maxError_ = tolerance * tolerance * 0.25;
    target_ = initialFaces - std::floor(initialFaces * keepPercent / 100.0);
    removed_ = 0.0;
    queue_ = {};
    costs_.assign(static_cast<std::size_t>(EdgeCount()) / 2 + 1,
                  std::numeric_limits<double>::quiet_NaN());
    BuildQuadrics();
    if (removed_ < target_) {
        queue_.Reserve(static_cast<std::size_t>(EdgeCount()));
        for (int e = 0; e < EdgeCount(); e += 2) {
            Progress::Impl::CheckStep(static_cast<std::size_t>(e));
            PushEdge(e);
        }
    }
    CollapseQueue::Entry entry;
    const auto isGone = [&](int e) { return CostOf(e) == std::numeric_limits<double>::infinity(); };
    for (std::size_t tries = 1; removed_ < target_ && queue_.Pop(entry, isGone); ++tries) {
        FetchAhead();
        TryCollapse(entry);
        if (tries % 256 == 0) {
            Progress::Impl::Check(removed_ / target_);
        }
    }
    RemoveTriangleStars();
    FlipToDelaunay(maxError_);
    RemoveTriangleStars();
    greatestError = std::sqrt(greatestError);
}

// Edges come by their costs, each from another part of the surface. Of those next in turn what a
// collapse reads is fetched meanwhile, a step of each at a time, since one record tells where the
// next one is: the cost and the half-edges, the two nodes, and then round each of these one
// neighbor after the other. What has changed before their turn is fetched again then.
void QEFDecimator::FetchAhead()
{
    // How far from its turn an entry's half-edges are wanted, and its nodes.
    constexpr std::size_t kEdgesAhead = 9;
    constexpr std::size_t kNodesAhead = 7;
    constexpr int kNew = -1;
    constexpr int kHasCost = -2;
    constexpr int kHasEdges = -3;
    const std::span<CollapseQueue::Upcoming> upcoming = queue_.Next();
    for (std::size_t i = 0; i < upcoming.size(); ++i) {
        const auto& [cost, e] = upcoming[i].entry;
        std::array<int, 2>& round = upcoming[i].notes;
        if (round[0] == kNew) {
            __builtin_prefetch(&CostOf(e));
            round[0] = kHasCost;
        } else if (round[0] == kHasCost && i < kEdgesAhead) {
            const bool isStale = CostOf(e) > cost;
            if (!isStale) {
                FetchEdge(e);
            }
            round[0] = isStale ? kNothingMore : kHasEdges;
        } else if (round[0] == kHasEdges && i < kNodesAhead) {
            round = {kNothingMore, kNothingMore};
            if (IsValidEdge(e)) {
                FetchNode(EdgeAt(e).node);
                FetchNode(EdgeAt(Twin(e)).node);
                round = {Twin(e), e};
            }
        } else if (round[0] >= 0 || round[1] >= 0) {
            FetchRound(round[0], Twin(e));
            FetchRound(round[1], e);
        }
    }
}

// A step on round the node in which a half-edge ends.
void QEFDecimator::FetchRound(int& halfEdge, int start) const
{
    if (halfEdge < 0) {
        return;
    }
    const int neighbor = EdgeAt(halfEdge).node;
    const int before = EdgeAt(Twin(halfEdge)).prev;
    if (!IsValidEdge(before) || neighbor < 0) {
        halfEdge = kNothingMore;
        return;
    }
    __builtin_prefetch(&NodeAt(neighbor).position);
    FetchEdge(before);
    halfEdge = before == start ? kNothingMore : before;
}

bool QEFDecimator::TryCollapse(const CollapseQueue::Entry& entry)
{
    const int e = entry.edge;
    if (CostOf(e) > entry.cost || !IsValidEdge(e)) {
        return false; // it has become dearer since, and has come to wait again then
    }
    const int a = EdgeAt(e).node;
    const int b = EdgeAt(Twin(e)).node;
    if (!IsValidNode(a) || !IsValidNode(b)) {
        AssertSites::Report(AssertSites::kEndsOfEdgeAreMissing);
        return false;
    }
    // What the collapse would refuse in the end is refused before the triangles are looked at.
    const bool isCrease = NodeAt(a).feature;
    if (!MayCollapse(e, a, b) || (!isCrease && IsBesideFeature(e))) {
        return false;
    }
    Quadric sum = Quadrics::Merge(NodeAt(a).qef, NodeAt(b).qef);
    Vec3d x;
    double error = 0.0;
    Quadrics::Solve(sum, x, error, kCollapseRankTolerance);
    if (!(error < maxError_) || error > entry.cost) {
        return false;
    }
    // The optimum goes to the nearest place on the edge.
    const Vec3d pa = NodeAt(a).position;
    const Vec3d along = NodeAt(b).position - pa;
    const double squared = SquaredLength(along);
    const double place =
        squared > 0.0 ? std::clamp((x - (pa - middle_)) * along / squared, 0.0, 1.0) : 0.0;
    x = pa + along * place;
    if (Folds(a, x) || Folds(b, x)) {
        return false;
    }
    error = Quadrics::ErrorAt(sum, x - middle_);
    if (!(error < maxError_) || (isCrease && (!IsCreaseNode(a) || !IsCreaseNode(b)))) {
        return false;
    }
    const int kept = isCrease ? b : a;
    const int collapsed = isCrease ? Twin(e) : e;
    // Of the edges that fall together those at the kept node go, with their marks.
    const std::array<int, 2> lost = {EdgeAt(collapsed).prev, EdgeAt(Twin(collapsed)).next};
    const std::array<int, 2> survivors = {EdgeAt(collapsed).next, EdgeAt(Twin(collapsed)).prev};
    std::array<bool, 2> isMarked;
    for (std::size_t i = 0; i < 2; ++i) {
        isMarked[i] = IsEdgeLocked(lost[i]);
    }
    if (!CollapseEdge(collapsed, isCrease, false)) {
        return false;
    }
    for (std::size_t i = 0; i < 2; ++i) {
        if (isMarked[i]) {
            EdgeAt(survivors[i]).feature = true;
            EdgeAt(Twin(survivors[i])).feature = true;
        }
    }
    for (const int gone : {collapsed, lost[0], lost[1]}) {
        CostOf(gone) = std::numeric_limits<double>::infinity();
    }
    removed_ += 2.0;
    greatestError = std::max(greatestError, error);
    NodeAt(kept).position = x;
    NodeAt(kept).qef = sum;
    NodeAt(kept).feature = isCrease;
    ring_.clear();
    VisitNodeEdges(kept, [&](int out) {
        const auto* neighbor = reinterpret_cast<const char*>(&NodeAt(EdgeAt(Twin(out)).node).qef);
        __builtin_prefetch(neighbor);
        __builtin_prefetch(neighbor + 64);
        ring_.push_back(out);
    });
    for (const int out : ring_) {
        PushEdge(out);
    }
    return true;
}

bool QEFDecimator::Folds(int node, const Vec3d& x)
{
    ring_.clear();
    const WalkEnd end = VisitNodeNodes(node, [&](int n) { ring_.push_back(n); });
    // A ring that leaves out a fan leaves out triangles, too.
    if (end == WalkEnd::Runaway || ring_.size() < 3 ||
        static_cast<int>(ring_.size()) != Degree(node)) {
        return true;
    }
    const Vec3d p = NodeAt(node).position;
    // An edge no longer than the floor has no direction, and its triangle no normal.
    const auto normalFrom = [](const Vec3d& corner, const Vec3d& r0, const Vec3d& r1) {
        const Vec3d along = r0 - corner;
        return SquaredLength(along) > kSquaredLengthFloor<double> ? along ^ (r1 - corner) : Vec3d{};
    };
    Vec3d r0 = NodeAt(ring_.back()).position;
    for (const int next : ring_) {
        const Vec3d r1 = NodeAt(next).position;
        if (Matches(r0, r1, kLengthFloor<double>)) {
            return true;
        }
        if (!Matches(x, r0, kLengthFloor<double>) && !Matches(x, r1, kLengthFloor<double>)) {
            const Vec3d after = AreaVector(x, r0, r1);
            if (!(SquaredLength(after) > 4.0 * kLeastArea * kLeastArea) ||
                !turn_.Holds(normalFrom(x, r0, r1), normalFrom(p, r0, r1))) {
                return true;
            }
        }
        r0 = r1;
    }
    return false;
}

void QEFDecimator::RemoveTriangleStars()
{
    TriangleStar star;
    std::vector<int> corners;
    std::vector<Vec3d> loop(3);
    bool hasRemoved = true;
    for (int pass = 0; pass < kStarPasses && hasRemoved; ++pass) {
        hasRemoved = false;
        for (int n = 0; n < NodeCount(); ++n) {
            Progress::Impl::CheckStep(static_cast<std::size_t>(n));
            if (!FindStar(*this, n, star) ||
                std::any_of(star.spokes.begin(), star.spokes.end(),
                            [&](int spoke) { return IsEdgeLocked(spoke); })) {
                continue;
            }
            for (std::size_t i = 0; i < 3; ++i) {
                loop[i] = NodeAt(star.ring[i]).position;
            }
            Vec3d origin;
            Vec3d normal;
            Transform::PlaneOfPolygon(loop, origin, normal);
            // Three neighbors on a line have no plane and would leave a triangle without area.
            if (SquaredLength(normal) == 0.0 ||
                !(std::fabs(normal * (NodeAt(n).position - origin)) <= greatestError)) {
                continue;
            }
            const unsigned char tag = FaceAt(star.faces[0]).tag;
            const int face =
                ReplaceStar(*this, n, star, corners, AssertSites::kDecimatedStarIsNotRemoved,
                            AssertSites::kDecimatedStarIsNotClosed);
            if (face >= 0) {
                FaceAt(face).tag = tag;
            }
            hasRemoved = true;
        }
    }
}

bool QEFDecimator::IsLocallyDelaunay(const std::array<int, 4>& diamond) const
{
    const auto [a, b, c, d] = diamond;
    if (a < 0 || b < 0 || c < 0 || d < 0) {
        return true; // nothing to flip
    }
    const auto distance = [&](int from, int to) {
        return Length(NodeAt(to).position - NodeAt(from).position);
    };
    return Mesh::LocallyDelaunayEdge(distance(a, b), distance(b, c), distance(c, a), distance(a, d),
                                     distance(d, b), 0.0);
}

void QEFDecimator::FlipToDelaunay(double maxError)
{
    maxError_ = maxError;
    const double limit = kFlipsPerHalfEdge * EdgeCount();
    double flips = 0.0;
    std::vector<int> stack;
    const auto mayFlip = [&](int e) {
        return IsValidEdge(e) && !EdgeAt(e).feature && !IsLocallyDelaunay(Diamond(e));
    };
    for (int e = 0; e < EdgeCount(); e += 2) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(e));
        if (mayFlip(e)) {
            stack.push_back(e);
        }
        while (!stack.empty() && flips < limit) {
            const int h = stack.back();
            stack.pop_back();
            if (mayFlip(h) && TryFlip(h)) {
                flips += 1.0;
                for (const int side : {h, Twin(h)}) {
                    stack.push_back(EdgeAt(side).next);
                    stack.push_back(EdgeAt(side).prev);
                }
            }
        }
    }
}

bool QEFDecimator::TryFlip(int halfEdge)
{
    const auto [a, b, c, d] = Diamond(halfEdge);
    // A second edge between the same two nodes would have four faces as soon as the mesh is
    // written.
    if (FindEdge(c, d) >= 0) {
        return false;
    }
    const Vec3d pc = NodeAt(c).position;
    const Vec3d pd = NodeAt(d).position;
    const Vec3d first = AreaVector(NodeAt(a).position, pd, pc);
    const Vec3d second = AreaVector(NodeAt(b).position, pc, pd);
    if (!(Length(first) / 2.0 > kLeastFlippedArea) || !(Length(second) / 2.0 > kLeastFlippedArea)) {
        return false;
    }
    if (NodeAt(a).feature && NodeAt(b).feature) {
        const double cosine =
            Normalized(first, kLengthFloor<double>) * Normalized(second, kLengthFloor<double>);
        if (!(std::fabs(cosine - 1.0) <= 1.0 - std::cos(kFlatAngle))) {
            return false;
        }
    }
    if (!FlipEdge(halfEdge, true)) {
        return false;
    }
    Quadric sum = Quadrics::Merge(NodeAt(d).qef, NodeAt(c).qef);
    Vec3d x;
    double error = 0.0;
    Quadrics::Solve(sum, x, error, kFlipRankTolerance);
    if (sum.count == 0 || !(error < maxError_)) {
        FlipEdge(halfEdge, true); // back, with the faces exchanged
        return false;
    }
    greatestError = std::max(greatestError, error);
    return true;
}

void QEFDecimator::Report(Mesh::DecimationReport& report) const
{
    report = {};
    report.initialTriangles = initialFaces;
    report.triangles = CountFaces();
    report.percentLeft = 100.0 / initialFaces * report.triangles;
    report.greatestError = greatestError;
    report.deviation = std::numeric_limits<double>::quiet_NaN();
    if (initialFaces == 0 || !(target_ > 0.0)) {
        return;
    }
    if (removed_ >= target_) {
        report.stop = Mesh::DecimationStop::Target;
        return;
    }
    for (int e = 0; e < EdgeCount(); e += 2) {
        if (!IsValidEdge(e)) {
            continue;
        }
        const int a = EdgeAt(e).node;
        const int b = EdgeAt(Twin(e)).node;
        Quadric sum = Quadrics::Merge(NodeAt(a).qef, NodeAt(b).qef);
        if (sum.count == 0 || !MayCollapse(e, a, b) ||
            (NodeAt(a).feature ? !IsCreaseNode(a) || !IsCreaseNode(b) : IsBesideFeature(e))) {
            ++report.lockedEdges;
            continue;
        }
        Vec3d x;
        double error = 0.0;
        Quadrics::Solve(sum, x, error, kCollapseRankTolerance);
        ++(IsTooLong(a, b)        ? report.longEdges
           : !(error < maxError_) ? report.deviatingEdges
                                  : report.foldingEdges);
    }
    const std::array<int, 4> counts = {report.deviatingEdges, report.lockedEdges, report.longEdges,
                                       report.foldingEdges};
    constexpr std::array<Mesh::DecimationStop, 4> kReasons = {
        Mesh::DecimationStop::Tolerance, Mesh::DecimationStop::Locked,
        Mesh::DecimationStop::TooLong, Mesh::DecimationStop::Folds};
    report.stop = kReasons[static_cast<std::size_t>(std::max_element(counts.begin(), counts.end()) -
                                                    counts.begin())];
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl

namespace Velk::Math::Sorvane::Mesh {

double DecimateMesh(const IndexedPointsBase<3, double>& mesh,
                    const std::vector<unsigned char>& tags, IndexedPointsBase<3, double>& out,
                    std::vector<unsigned char>& outTags, double featureAngle, double keepPercent,
                    double tolerance, bool keepBoundary, DecimationReport& report)
{
    return Progress::Impl::Stoppable(
        [&] {
            // An output that is an input as well is read before it is replaced.
            HalfEdge::Impl::QEFDecimator decimator(mesh.points, mesh.indices, tags, keepBoundary);
            out = {};
            outTags.clear();
            decimator.DetectFeatures(featureAngle);
            decimator.RemoveTriangles(keepPercent, tolerance);
            decimator.Report(report);
            HalfEdge::Impl::ExportTagged(decimator, out, outTags);
            return report.percentLeft;
        },
        [&] {
            out = {};
            outTags.clear();
            report = {};
            return 0.0;
        });
}

double DecimateMesh(const IndexedPointsBase<3, double>& mesh,
                    const std::vector<unsigned char>& tags, IndexedPointsBase<3, double>& out,
                    std::vector<unsigned char>& outTags, double featureAngle, double keepPercent,
                    double tolerance, bool keepBoundary)
{
    return Progress::Impl::Stoppable(
        [&] {
            HalfEdge::Impl::QEFDecimator decimator(mesh.points, mesh.indices, tags, keepBoundary);
            out = {};
            outTags.clear();
            decimator.DetectFeatures(featureAngle);
            decimator.RemoveTriangles(keepPercent, tolerance);
            const double percentLeft = 100.0 / decimator.initialFaces * decimator.CountFaces();
            HalfEdge::Impl::ExportTagged(decimator, out, outTags);
            return percentLeft;
        },
        [&] {
            out = {};
            outTags.clear();
            return 0.0;
        });
}

double DecimateMesh(const IndexedPointsBase<3, double>& mesh, IndexedPointsBase<3, double>& out,
                    double featureAngle, double keepPercent, double tolerance, bool keepBoundary)
{
    std::vector<unsigned char> outTags;
    return DecimateMesh(mesh, {}, out, outTags, featureAngle, keepPercent, tolerance, keepBoundary);
}

} // namespace Velk::Math::Sorvane::Mesh
