// Surfaces into closed curves: laying a curve out in the plane without crossings, and filling it
// with a relaxed surface by way of that layout.

#include <Sorvane/MeshBuilders_E.h>

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/OrderedPairs_E.h>
#include <Sorvane/Remesh_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include "arrangement/CandidatePairs_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "triangulation/PlaneMap_Impl.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <span>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Intersect::Impl::CandidatePairs;
using Intersect::Impl::Element;
using Math::Impl::AreUsable;

constexpr double kTolerance = kLengthFloor<double>;

/// Fewer than three different points and the repeated one are no closed curve.
constexpr std::size_t kLeastPoints = 4;

template <int D>
bool IsClosed(const std::vector<VecBase<D, double>>& curve)
{
    return !curve.empty() && Vector::Matches(curve.front(), curve.back(), kTolerance);
}

// --- the layout in the plane ---------------------------------------------------------------------

/// Two segments of a curve that meet, by their numbers; segment s runs from point s to point s + 1.
struct Crossing {
    std::size_t first;
    std::size_t second;
    Vec2d hit;
    bool isOverlap;
};

std::vector<Element> SegmentsOf(const std::vector<Vec2d>& points)
{
    std::vector<Element> segments;
    segments.reserve(points.size());
    for (std::size_t i = 1; i < points.size(); ++i) {
        segments.push_back(Intersect::Impl::MakeElement(
            Geometry::SegBase<double>{points[i - 1], points[i]}, kTolerance));
    }
    return segments;
}

/// The first pair of segments that meet, by the lower, then by the higher number. Ends that touch
/// ends are no meeting; the candidates may leave out pairs that have such an end in common and part
/// from there, but none of which one runs back along the other.
bool FindFirstCrossing(const std::vector<Vec2d>& points, Crossing& crossing)
{
    const CandidatePairs pairs(SegmentsOf(points));
    std::vector<int> partners;
    for (std::size_t s = 0; s + 1 < points.size(); ++s) {
        pairs.Of(static_cast<int>(s), partners);
        for (const int partner : partners) {
            const auto t = static_cast<std::size_t>(partner);
            if (Intersect::SegmentSegment(points[s], points[s + 1], points[t], points[t + 1],
                                          crossing.hit, crossing.isOverlap, false, kTolerance)) {
                crossing.first = s;
                crossing.second = t;
                return true;
            }
        }
    }
    return false;
}

/// Mirrors the stretch of curve between two crossing segments in the line through the crossing
/// along `direction`.
void Mirror(std::span<Vec2d> stretch, const Vec2d& hit, const Vec2d& direction)
{
    const Vec2d start = hit - direction * 0.5;
    const Vec2d along = (hit + direction * 0.5) - start;
    const bool hasDirection = Vector::Length(along) > kTolerance;
    for (Vec2d& point : stretch) {
        const double place = hasDirection ? ((point - start) * along) / (along * along) : 0.0;
        const Vec2d foot = start + along * place;
        point += (foot - point) * 2.0;
    }
}

/// 1,001 rounds in each of which every point but the two ends goes to the middle of its neighbors.
void Smooth(std::vector<Vec2d>& span)
{
    constexpr int kRounds = 1001;
    if (span.size() < 3) {
        return;
    }
    std::vector<Vec2d> before = span;
    for (int round = 0; round < kRounds; ++round) {
        before.swap(span);
        for (std::size_t i = 1; i + 1 < span.size(); ++i) {
            span[i] = (before[i - 1] + before[i + 1]) * 0.5;
        }
    }
}

/// Smooths the curve about both ends of the stretch [i, j) that was mirrored. The two spans are
/// taken out before either is smoothed, the second one where the first has left off.
void SmoothSeams(std::vector<Vec2d>& points, std::size_t i, std::size_t j)
{
    const std::size_t n = points.size();
    const std::size_t width = n / 10;
    const std::size_t firstBegin = i - std::min(i, width);
    const std::size_t firstEnd = std::min(i + width, j - 1);
    const std::size_t secondBegin = std::max(i + width, j - std::min(j, width + 1));
    // A crossing near the end of the curve leaves nothing for the second span.
    const std::size_t secondEnd = std::max(secondBegin, std::min(j + width, n) - 1);
    const auto at = [&](std::size_t place) {
        return points.begin() + static_cast<std::ptrdiff_t>(place);
    };
    std::vector<Vec2d> first(at(firstBegin), at(firstEnd));
    std::vector<Vec2d> second;
    if (secondBegin < secondEnd) {
        second.assign(at(secondBegin), at(secondEnd));
    }
    Smooth(first);
    Smooth(second);
    std::copy(first.begin(), first.end(), at(firstBegin));
    if (!second.empty()) {
        std::copy(second.begin(), second.end(), at(secondBegin));
    }
}

/// False when the curve can't be freed of its crossings.
bool Untangle(std::vector<Vec2d>& points)
{
    // Nothing proves that the number of crossings falls; curves of some points on a coarse grid are
    // done after a few dozens of mirrorings. Where a layout comes back, as with a repeated point
    // inside of another segment, which mirroring does not move, it would go on in that circle: a
    // layout from before is kept, the latest whose number is a power of two, so that any circle is
    // met. What rounding makes of a point that is mirrored there and back is far below the bound.
    const std::size_t mostMirrorings = 10'000 + 100 * points.size();
    double size = 0;
    for (const Vec2d& point : points) {
        size = std::max(size, Math::Impl::LargestMagnitude(point));
    }
    const auto isSame = [same = kTolerance * size](const Vec2d& a, const Vec2d& b) {
        return Vector::Matches(a, b, same);
    };
    std::vector<Vec2d> before = points;
    Crossing crossing{};
    for (std::size_t count = 1; FindFirstCrossing(points, crossing); ++count) {
        if (crossing.isOverlap || count > mostMirrorings) {
            return false;
        }
        // The ends of the two segments that the stretch between them begins and ends with.
        const std::size_t i = crossing.first + 1;
        const std::size_t j = crossing.second + 1;
        const Vec2d bisector = ((points[j - 1] - points[j]) + (points[i] - points[i - 1])) * 0.5;
        Mirror(std::span(points).subspan(i, j - i), crossing.hit, bisector);
        SmoothSeams(points, i, j);
        if (!AreUsable(points) ||
            std::equal(points.begin(), points.end(), before.begin(), isSame)) {
            return false;
        }
        if (std::has_single_bit(count)) {
            before = points;
        }
    }
    return true;
}

// --- the surface ---------------------------------------------------------------------------------

using SurfaceMesh =
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace>;

/// For each of `places` the point of `curve` whose number in `flatCurve` is the first that lies
/// there; false when there is none.
bool LiftPoints(const std::vector<Vec2d>& places, const std::vector<Vec2d>& flatCurve,
                const std::vector<Vec3d>& curve, std::vector<Vec3d>& points)
{
    std::vector<Vec2d> known(flatCurve.begin(), flatCurve.end() - 1);
    const std::vector<int> survivors = Vector::FilterForUniquenessAndIndex(known, kTolerance);
    std::vector<std::size_t> numberAt(known.size(), curve.size());
    for (std::size_t i = survivors.size(); i-- > 0;) {
        const auto survivor = static_cast<std::size_t>(survivors[i]);
        if (known[survivor] == flatCurve[i]) {
            numberAt[survivor] = i;
        }
    }
    points.reserve(places.size());
    for (const Vec2d& place : places) {
        const CheckedIdx found = Vector::SearchInUniqueVector(known, place, kTolerance);
        if (!found.valid) {
            return false;
        }
        points.push_back(curve[numberAt[static_cast<std::size_t>(found.index)]]);
    }
    return true;
}

/// The closing segment is left out.
double MeanSegmentLength(const std::vector<Vec3d>& curve)
{
    double sum = 0;
    for (std::size_t k = 0; k + 2 < curve.size(); ++k) {
        sum += Vector::Length(curve[k + 1] - curve[k]);
    }
    return sum / static_cast<double>(curve.size() - 2);
}

/// The boundary of a mesh as the numbers of its points in the order in which triangles run it, when
/// it is one loop that passes no point twice; otherwise empty.
std::vector<int> BoundaryLoop(const Mesh::IndexedPointsBase<3, double>& mesh)
{
    std::vector<std::array<int, 2>> pairs;
    for (const auto& [from, to] : Mesh::BoundaryEdges(mesh)) {
        pairs.push_back({from, to});
    }
    std::vector<std::vector<int>> loops = ConcatenateOderedPairs(pairs);
    if (loops.size() != 1 || loops[0].front() != loops[0].back()) {
        return {};
    }
    loops[0].pop_back();
    std::vector<int> sorted = loops[0];
    std::sort(sorted.begin(), sorted.end());
    const bool isRepeated = std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end();
    return isRepeated ? std::vector<int>() : loops[0];
}

/// The points of a boundary one after the other, as a ring.
class BoundaryRing {
public:
    explicit BoundaryRing(const Mesh::IndexedPointsBase<3, double>& mesh)
        : mesh_(mesh), loop_(BoundaryLoop(mesh))
    {
    }

    std::size_t Size() const { return loop_.size(); }
    int Number(std::size_t place) const { return loop_[place % Size()]; }
    const Vec3d& Point(std::size_t place) const
    {
        return mesh_.points[static_cast<std::size_t>(Number(place))];
    }
    /// By how much the boundary turns there: 0 for straight on, 2 for back.
    double Turn(std::size_t place) const
    {
        const Vec3d before = Point(place) - Point(place + Size() - 1);
        const Vec3d behind = Point(place + 1) - Point(place);
        return 1 - Vector::Normalized(before, 0.0) * Vector::Normalized(behind, 0.0);
    }

private:
    const Mesh::IndexedPointsBase<3, double>& mesh_;
    std::vector<int> loop_;
};

/// Puts the boundary of a remeshed surface back to the points that it had.
///
/// The remesher keeps the boundary as a curve and leaves it its edges, but slides points along
/// straight stretches, and the way back to the surface costs the others their last digits. Here
/// they are to be the given points, which a neighbor shares. Corners have not slid, and there is
/// one at which to begin.
void RestoreBoundary(const Mesh::IndexedPointsBase<3, double>& source,
                     Mesh::IndexedPointsBase<3, double>& surface)
{
    constexpr double kStraight = 1e-9; // of `Turn`, some 3e-5 radians
    constexpr double kRounding = 1e-6; // of the length of an edge
    const BoundaryRing rim(source);
    const BoundaryRing ring(surface);
    const std::size_t n = rim.Size();
    if (n == 0 || ring.Size() != n) {
        return;
    }
    std::size_t corner = 0;
    for (std::size_t i = 1; i < n; ++i) {
        corner = rim.Turn(i) > rim.Turn(corner) ? i : corner;
    }
    const auto distance = [&](std::size_t place) {
        return Vector::Length(ring.Point(place) - rim.Point(corner));
    };
    std::size_t start = 0;
    for (std::size_t i = 1; i < n; ++i) {
        start = distance(i) < distance(start) ? i : start;
    }
    for (std::size_t i = 0; i < n; ++i) {
        const Vec3d& point = rim.Point(corner + i);
        const double edge = Vector::Length(rim.Point(corner + i + 1) - point);
        if (rim.Turn(corner + i) > kStraight &&
            Vector::Length(ring.Point(start + i) - point) > kRounding * edge) {
            return;
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        surface.points[static_cast<std::size_t>(ring.Number(start + i))] = rim.Point(corner + i);
    }
}

/// The nodes off the boundary with their neighbors.
struct FreeNodes {
    std::vector<int> nodes;
    std::vector<std::size_t> firstNeighbor{0}; // of each, and the end of the last
    std::vector<int> neighbors;

    explicit FreeNodes(const SurfaceMesh& mesh)
    {
        for (int node = 0; node < mesh.NodeCount(); ++node) {
            const std::vector<int> ring =
                mesh.IsBoundaryNode(node) ? std::vector<int>() : mesh.NodeNodes(node);
            if (!ring.empty()) {
                nodes.push_back(node);
                neighbors.insert(neighbors.end(), ring.begin(), ring.end());
                firstNeighbor.push_back(neighbors.size());
            }
        }
    }
};

/// Moves every node off the boundary to the mean of its neighbors until they come to rest. All read
/// the round before, so that nothing depends on their order.
void Relax(SurfaceMesh& mesh)
{
    constexpr int kMostRounds = 500;
    constexpr double kAtRest = 1e-6;
    const FreeNodes free(mesh);
    std::vector<Vec3d> positions;
    positions.reserve(static_cast<std::size_t>(mesh.NodeCount()));
    for (int node = 0; node < mesh.NodeCount(); ++node) {
        positions.push_back(mesh.NodeRecord(node)->position);
    }
    std::vector<Vec3d> next = positions;
    std::vector<double> movements(free.nodes.size(), 0.0);
    double largest = free.nodes.empty() ? 0.0 : kAtRest;
    for (int round = 0; round < kMostRounds && !(largest < kAtRest); ++round) {
        Parallel::Impl::ApplyParallelChunks(
            std::size_t{0}, free.nodes.size(), [&](std::size_t from, std::size_t to) {
                for (std::size_t i = from; i < to; ++i) {
                    Vec3d sum;
                    for (std::size_t k = free.firstNeighbor[i]; k < free.firstNeighbor[i + 1];
                         ++k) {
                        sum += positions[static_cast<std::size_t>(free.neighbors[k])];
                    }
                    const auto node = static_cast<std::size_t>(free.nodes[i]);
                    const std::size_t count = free.firstNeighbor[i + 1] - free.firstNeighbor[i];
                    next[node] = sum / static_cast<double>(count);
                    movements[i] = Vector::Length(next[node] - positions[node]);
                }
            });
        positions.swap(next);
        largest = *std::max_element(movements.begin(), movements.end());
    }
    for (const int node : free.nodes) {
        mesh.NodeRecord(node)->position = positions[static_cast<std::size_t>(node)];
    }
}

} // namespace

std::vector<Vec2d> Map3DClosedCurveToPlane(const std::vector<Vec3d>& curve)
{
    if (curve.size() < kLeastPoints || !IsClosed(curve) || !AreUsable(curve)) {
        return {};
    }
    const auto plane = Mesh::Impl::PlaneMap::OfPoints(curve);
    if (!plane.IsValid()) {
        return {};
    }
    std::vector<Vec2d> points;
    points.reserve(curve.size());
    for (const Vec3d& point : curve) {
        const Vec3d inPlane = plane.ToPlane(point);
        points.emplace_back(inPlane.x(), inPlane.y());
    }
    if (!Untangle(points)) {
        return {};
    }
    return points;
}

Mesh::IndexedPointsBase<3, double>
UnprojectFlatTessellationTo3D(const std::vector<Vec2d>& flatCurve, const std::vector<Vec3d>& curve)
{
    return Progress::Impl::Stoppable([&]() -> Mesh::IndexedPointsBase<3, double> {
        if (flatCurve.size() != curve.size() || !IsClosed(flatCurve) || !IsClosed(curve) ||
            !AreUsable(curve)) {
            return {};
        }
        const Mesh::IndexedPointsBase<2, double> flat = Mesh::TessellateFlatBoundary(flatCurve);
        if (flat.indices.empty()) {
            return {};
        }
        Mesh::IndexedPointsBase<3, double> lifted;
        lifted.indices = flat.indices;
        if (!LiftPoints(flat.points, flatCurve, curve, lifted.points)) {
            return {};
        }

        // The remesher builds its half-edges itself, by the same rules as `LoadIndexedPoints`.
        constexpr double kNormalAngle = 120.0;
        constexpr unsigned kIterations = 10;
        Mesh::IndexedPointsBase<3, double> surface;
        Mesh::IsotropicRemesh(lifted, surface, kNormalAngle, MeanSegmentLength(curve), kIterations,
                              true);
        RestoreBoundary(lifted, surface);
        SurfaceMesh mesh;
        mesh.LoadIndexedPoints(surface);
        Relax(mesh);
        mesh.ExportIndexedPoints(surface, kTolerance);
        return surface;
    });
}

Mesh::IndexedPointsBase<3, double> TessellatePointStream(const std::vector<Vec3d>& curve)
{
    return Progress::Impl::Stoppable([&]() -> Mesh::IndexedPointsBase<3, double> {
        return UnprojectFlatTessellationTo3D(Map3DClosedCurveToPlane(curve), curve);
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
