// Points and polylines against a triangle mesh: signed distances, projection, crossings, and the
// farthest points of two meshes. Each function makes a tree of the mesh and asks it side by side.

#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Intersect_Impl.h"
#include "mathbase/NearestOnTriangle_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "meshutils/MeshDistances_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <tuple>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Impl::TriangleAt;
using TriangleTree = Tree::QOFTriangleTree<3, double>;
using Closest = TriangleTree::Closest;

/// Within this a point counts as on its triangle, or level with its plane (as a sine).
constexpr double kFrontTolerance = 1e-12;
/// Widening of a triangle within which a line or a segment hits it.
constexpr double kHitTolerance = 1e-12;
/// Up to this share of half the mesh's diagonal the box of a segment is small.
constexpr double kShortSegment = 1.0 / 32;
/// By how much the boxes of a segment and of a triangle are grown on every side.
constexpr double kBoxMargin = 1e-10;
/// What the distances of one point to two triangles with a common edge may differ by in rounding,
/// as a fraction of the distance.
constexpr double kSameDistance = 1e-12;
/// The same as a fraction of the largest coordinate.
constexpr double kSamePlace = 64 * std::numeric_limits<double>::epsilon();
/// z of a point that meets nothing.
constexpr double kMissed = -std::numeric_limits<double>::max();
/// Part of the work of an operation that is done when the tree stands.
constexpr double kTreeShare = 0.35;
/// Segments whose hits are gathered by one task.
constexpr std::size_t kSegmentsPerTask = 256;

bool IsEmptyMesh(const std::vector<Vec3d>& points, const std::vector<int>& indices)
{
    return indices.empty() || indices.size() % 3 != 0 || points.size() < 3;
}

/// The tree of the mesh, the first third of an operation.
TriangleTree TreeOf(const std::vector<Vec3d>& points, const std::vector<int>& indices)
{
    const Progress::Impl::PhaseOfCall phase(0, kTreeShare);
    return TriangleTree(points, indices);
}

/// A triangle that has a side to be on: the same question as that of `NearestOnTriangle`.
bool HasPlane(const std::array<Vec3d, 3>& corner)
{
    const Vec3d ab = corner[1] - corner[0];
    const Vec3d ac = corner[2] - corner[0];
    const Vec3d normal = Intersect::Impl::NormalOf(ab, ac);
    constexpr double kFlatSine = Intersect::Impl::kFlatSine;
    return normal * normal > kFlatSine * kFlatSine * ((ab * ab) * (ac * ac));
}

/// Unit normal of a triangle, to the inside, as the way from a point outside to the surface is.
///
/// It is scaled by the longest side before it is squared, so that neither very small nor very large
/// triangles lose it.
Vec3d InwardOf(const std::array<Vec3d, 3>& corner)
{
    const double size = std::max({Math::Impl::LargestMagnitude(corner[1] - corner[0]),
                                  Math::Impl::LargestMagnitude(corner[2] - corner[0]),
                                  std::numeric_limits<double>::min()});
    return Vector::Normalized(
        Intersect::Impl::NormalOf((corner[2] - corner[0]) / size, (corner[1] - corner[0]) / size),
        0.0);
}

/// Does `way`, of length 1, come out of the triangle's back?
bool ComesFromBehind(const std::array<Vec3d, 3>& corner, const Vec3d& way)
{
    // Far from level the sign is plain beside all rounding, and no length is needed.
    constexpr double kPlain = 1e-10;
    const Vec3d ab = corner[1] - corner[0];
    const Vec3d ac = corner[2] - corner[0];
    const double along = Intersect::Impl::NormalOf(ac, ab) * way;
    return along * along > kPlain * kPlain * (ab * ab) * (ac * ac)
               ? along < 0.0
               : InwardOf(corner) * way < -kFrontTolerance;
}

/// The share of a full turn that a triangle takes at one of its places, doubled: at a corner its
/// angle, on an edge a half, inside it all.
double AngleAt(const std::array<Vec3d, 3>& corner, const Vec3d& place, double slack)
{
    for (std::size_t k = 0; k < 3; ++k) {
        if (Length(place - corner[k]) <= slack) {
            const Vec3d toNext = Vector::Normalized(corner[(k + 1) % 3] - corner[k], 0.0);
            const Vec3d toLast = Vector::Normalized(corner[(k + 2) % 3] - corner[k], 0.0);
            return std::atan2(Length(toNext ^ toLast), toNext * toLast) / kPi<double>;
        }
    }
    for (std::size_t k = 0; k < 3; ++k) {
        if (Length(place - Intersect::Impl::NearestOnSegment(corner[k], corner[(k + 1) % 3], place,
                                                             Intersect::Impl::kPointsAreShort)) <=
            slack) {
            return 1.0;
        }
    }
    return 2.0;
}

/// The same triangle with its smallest corner first.
std::array<Vec3d, 3> FromSmallest(const std::array<Vec3d, 3>& corner)
{
    const auto key = [](const Vec3d& p) { return std::tuple(p.x(), p.y(), p.z()); };
    std::size_t first = 0;
    for (std::size_t k = 1; k < 3; ++k) {
        first = key(corner[k]) < key(corner[first]) ? k : first;
    }
    return {corner[first], corner[(first + 1) % 3], corner[(first + 2) % 3]};
}

/// Does `point`, whose nearest place is `nearest` on the triangle `number`, lie behind the surface?
///
/// A triangle that is seen straight on knows. Where an edge or a corner is nearest, the triangles
/// there may disagree: of a blade, a point beside the edge is in front of one face and behind the
/// plane of the other. Then the mean of their normals decides, each weighted by the angle of its
/// triangle there, which is right on every closed surface: J. A. Baerentzen, H. Aanaes, "Signed
/// distance computation using the angle weighted pseudonormal", 2005. Triangles given twice count
/// once.
bool IsBehind(const TriangleTree& tree, const std::vector<Vec3d>& points,
              const std::vector<int>& indices, int number, const Vec3d& point, const Vec3d& nearest)
{
    constexpr double kStraightOn = 1 - 1e-12;
    const std::array<Vec3d, 3> own = TriangleAt(points, indices, number);
    const Vec3d way = Vector::Normalized(nearest - point, kFrontTolerance);
    const double cosine = InwardOf(own) * way;
    const bool isBehind = cosine < -kFrontTolerance;
    if (std::fabs(cosine) >= kStraightOn || SquaredLength(way) == 0.0) {
        return isBehind;
    }
    const auto slackOf = [&](const std::array<Vec3d, 3>& corner) {
        return kSamePlace * std::max({Math::Impl::LargestMagnitude(corner[0]),
                                      Math::Impl::LargestMagnitude(corner[1]),
                                      Math::Impl::LargestMagnitude(corner[2])});
    };
    const double reach = slackOf(own);
    const Vec3d margin{reach, reach, reach};
    const std::vector<int> candidates =
        tree.GetPossibleBoxCollisions({nearest - margin, nearest + margin});
    const auto isAround = [&](const std::array<Vec3d, 3>& corner) {
        return HasPlane(corner) && Length(Intersect::Impl::NearestOnTriangle(corner, nearest) -
                                          nearest) <= std::max(reach, slackOf(corner));
    };
    // Mostly all agree, which is cheaper to see than which of them reach the place.
    const bool areAtOne = std::none_of(candidates.begin(), candidates.end(), [&](int other) {
        const std::array<Vec3d, 3> corner = TriangleAt(points, indices, other);
        return ComesFromBehind(corner, way) != isBehind && isAround(corner);
    });
    if (areAtOne) {
        return isBehind;
    }
    std::vector<std::array<Vec3d, 3>> around;
    for (const int other : candidates) {
        const std::array<Vec3d, 3> corner = TriangleAt(points, indices, other);
        if (isAround(corner)) {
            around.push_back(FromSmallest(corner));
        }
    }
    const auto key = [](const std::array<Vec3d, 3>& corner) {
        const auto& [a, b, c] = corner;
        return std::tuple(a.x(), a.y(), a.z(), b.x(), b.y(), b.z(), c.x(), c.y(), c.z());
    };
    std::sort(around.begin(), around.end(),
              [&](const auto& a, const auto& b) { return key(a) < key(b); });
    around.erase(std::unique(around.begin(), around.end()), around.end());
    Vec3d inward;
    for (const std::array<Vec3d, 3>& corner : around) {
        inward += InwardOf(corner) * AngleAt(corner, nearest, slackOf(corner));
    }
    // Of a sheet folded onto itself they cancel each other, and the nearest triangle is as good as
    // any.
    const Vec3d mean = Vector::Normalized(inward, kFrontTolerance);
    return SquaredLength(mean) == 0.0 ? isBehind : mean * way < -kFrontTolerance;
}

/// The nearest triangle with area in place of each answer that has none, where it is as near. Such
/// triangles are rare and mostly lie along the edges of others, which know their side.
void PreferTrianglesWithArea(const std::vector<Vec3d>& points, const std::vector<int>& indices,
                             const std::vector<Vec3d>& cloud, std::vector<Closest>& nearest)
{
    std::vector<std::size_t> flat;
    for (std::size_t i = 0; i < nearest.size(); ++i) {
        if (nearest[i].id >= 0 && !HasPlane(TriangleAt(points, indices, nearest[i].id))) {
            flat.push_back(i);
        }
    }
    if (flat.empty()) {
        return;
    }
    TriangleTree tree;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        const int number = static_cast<int>(i / 3);
        if (!Impl::AreSubscripts(points, indices, number)) {
            continue;
        }
        const auto corner = TriangleAt(points, indices, number);
        if (HasPlane(corner)) {
            tree.AddTriangle(corner[0], corner[1], corner[2], number);
        }
    }
    tree.Build();
    std::vector<Vec3d> asked;
    asked.reserve(flat.size());
    for (const std::size_t i : flat) {
        asked.push_back(cloud[i]);
    }
    const auto sided = tree.ClosestPoints(asked, std::numeric_limits<double>::infinity(), {});
    for (std::size_t k = 0; k < flat.size(); ++k) {
        const std::size_t i = flat[k];
        const double distance = Length(nearest[i].point - cloud[i]);
        const double largest = Math::Impl::LargestMagnitude(cloud[i]) + distance;
        if (sided[k].id >= 0 && Length(sided[k].point - cloud[i]) <=
                                    distance * (1 + kSameDistance) + largest * kSamePlace) {
            nearest[i].id = sided[k].id;
        }
    }
}

/// The points of a polyline with those that are not usable replaced by the one before, at the
/// beginning by the first one that is.
std::vector<Vec3d> UsablePoints(const std::vector<Vec3d>& stream)
{
    std::vector<Vec3d> points = stream;
    const auto first = std::find_if(points.begin(), points.end(),
                                    [](const Vec3d& p) { return Math::Impl::IsUsable(p); });
    Vec3d last = first == points.end() ? Vec3d{} : *first;
    for (Vec3d& point : points) {
        if (Math::Impl::IsUsable(point)) {
            last = point;
        } else {
            point = last;
        }
    }
    return points;
}

using Box = Bounding::AxisAlignedBoundingBox<3, double>;

/// The box of `points`, grown by the margin.
template <std::size_t N>
Box BoxAround(const std::array<Vec3d, N>& points)
{
    Box box;
    for (const Vec3d& point : points) {
        box.Grow(point);
    }
    const Vec3d margin{kBoxMargin, kBoxMargin, kBoxMargin};
    return {box.min - margin, box.max + margin};
}

bool Overlap(const Box& a, const Box& b)
{
    return Intersect::AABBAABB(a.min, a.max, b.min, b.max, true);
}

/// Triangles that the segment may cross, each once, in any order.
///
/// Those near the box of a long segment that runs askew are very many. All that it crosses are hit
/// by its line, or touched by one of its ends, so that these are asked for.
std::vector<int> CandidatesOf(const TriangleTree& tree, const Vec3d& p, const Vec3d& q)
{
    if (Length(q - p) < tree.RootHalfSize() * kShortSegment) {
        return tree.GetPossibleBoxCollisions(BoxAround<2>({p, q}));
    }
    std::vector<int> numbers = tree.LineHits(p, q - p);
    for (const Vec3d& end : {p, q}) {
        const std::vector<int> touched = tree.TrianglesInBall(end, kBoxMargin);
        numbers.insert(numbers.end(), touched.begin(), touched.end());
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

/// The crossings of the segment from `p` to `q`, which begins at `parameter`.
void AddSegmentHits(const TriangleTree& tree, const Mesh::IndexedPointsBase<3, double>& mesh,
                    const Vec3d& p, const Vec3d& q, double parameter,
                    std::vector<PointStreamClip>& hits)
{
    if (!Math::Impl::IsUsable(p) || !Math::Impl::IsUsable(q)) {
        return;
    }
    const Box box = BoxAround<2>({p, q});
    for (const int number : CandidatesOf(tree, p, q)) {
        const std::array<Vec3d, 3> corner = TriangleAt(mesh.points, mesh.indices, number);
        Vec3d hit;
        if (Overlap(BoxAround(corner), box) &&
            Intersect::SegmentTriangleHitPoint(corner[0], corner[1], corner[2], p, q, &hit,
                                               kHitTolerance)) {
            hits.push_back({hit, parameter + Length(hit - p), number});
        }
    }
}

std::vector<PointStreamClip> ClipStream(const TriangleTree& tree,
                                        const Mesh::IndexedPointsBase<3, double>& mesh,
                                        const std::vector<Vec3d>& stream, double tolerance)
{
    std::vector<PointStreamClip> clips;
    if (stream.size() == 1) {
        const Closest nearest = tree.ClosestPoint(stream[0], tolerance);
        if (nearest.id >= 0) {
            clips.push_back({nearest.point, 0.0, nearest.id});
        }
        return clips;
    }
    if (stream.empty()) {
        return clips;
    }
    const std::vector<double> parameters = Vector::PointStreamParameters(
        Math::Impl::AreUsable(stream) ? stream : UsablePoints(stream), false);
    const std::size_t segments = stream.size() - 1;
    // Every task has a list of its own, and the lists come together in the order of the segments.
    std::vector<std::vector<PointStreamClip>> found((segments + kSegmentsPerTask - 1) /
                                                    kSegmentsPerTask);
    Parallel::Impl::ApplyParallel(std::size_t{0}, found.size(), [&](std::size_t task) {
        const std::size_t last = std::min((task + 1) * kSegmentsPerTask, segments);
        for (std::size_t i = task * kSegmentsPerTask; i < last; ++i) {
            AddSegmentHits(tree, mesh, stream[i], stream[i + 1], parameters[i], found[task]);
        }
    });
    for (const auto& hits : found) {
        clips.insert(clips.end(), hits.begin(), hits.end());
    }
    std::stable_sort(clips.begin(), clips.end(),
                     [](const PointStreamClip& a, const PointStreamClip& b) {
                         return std::tie(a.parameter, a.facet) < std::tie(b.parameter, b.facet);
                     });
    return clips;
}

/// Position of the first of the largest numbers; 0 where there is none. NaN is passed over.
std::size_t FirstLargest(const std::vector<double>& numbers)
{
    std::size_t place = 0;
    double largest = -1.0;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (numbers[i] > largest) {
            largest = numbers[i];
            place = i;
        }
    }
    return place;
}

/// A search of unbounded radius: it finds what a search that begins with a small radius and widens
/// it finds, without depending on how far away the other points of the cloud are.
std::vector<double> DistancesByTree(const TriangleTree& tree, const std::vector<Vec3d>& points,
                                    const std::vector<int>& indices,
                                    const std::vector<Vec3d>& cloud, bool squared)
{
    std::vector<double> distances(cloud.size(), 0.0);
    if (tree.TriangleCount() == 0) {
        return distances;
    }
    auto nearest = tree.ClosestPoints(cloud, std::numeric_limits<double>::infinity(), {});
    if (!squared) {
        PreferTrianglesWithArea(points, indices, cloud, nearest);
    }
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, cloud.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                const Closest& record = nearest[i];
                if (!Math::Impl::IsUsable(cloud[i]) || record.id < 0) {
                    distances[i] = std::numeric_limits<double>::quiet_NaN();
                    continue;
                }
                const double squaredDistance = SquaredLength(record.point - cloud[i]);
                const bool isNegative =
                    !squared && IsBehind(tree, points, indices, record.id, cloud[i], record.point);
                const double distance = squared ? squaredDistance : std::sqrt(squaredDistance);
                distances[i] = isNegative ? -distance : distance;
            }
        });
    return distances;
}

} // namespace

// --- points and a mesh --------------------------------------------------------------------------

std::vector<double> CloudDistancesToMesh(const std::vector<Vec3d>& points,
                                         const std::vector<int>& indices,
                                         const std::vector<Vec3d>& cloud, bool squared)
{
    const auto none = [&] { return std::vector<double>(cloud.size(), 0.0); };
    return Progress::Impl::Stoppable(
        [&] {
            if (IsEmptyMesh(points, indices)) {
                return none();
            }
            const TriangleTree tree = TreeOf(points, indices);
            const Progress::Impl::PhaseOfCall phase(kTreeShare, 1);
            return DistancesByTree(tree, points, indices, cloud, squared);
        },
        none);
}

std::vector<double> SignedDistancesToMesh(const TriangleTree& tree,
                                          const std::vector<Vec3d>& points,
                                          const std::vector<int>& indices,
                                          const std::vector<Vec3d>& cloud)
{
    return Progress::Impl::Stoppable(
        [&] {
            const Progress::Impl::PhaseOfCall phase(0, 1);
            return DistancesByTree(tree, points, indices, cloud, false);
        },
        [&] { return std::vector<double>(cloud.size(), 0.0); });
}

std::vector<Vec3d> ProjectCloudOnMesh(const std::vector<Vec3d>& points,
                                      const std::vector<int>& indices,
                                      const std::vector<Vec3d>& cloud, bool closest)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<Vec3d> {
        if (IsEmptyMesh(points, indices) || cloud.empty()) {
            return {};
        }
        const TriangleTree tree = TreeOf(points, indices);
        const Progress::Impl::PhaseOfCall phase(kTreeShare, 1);
        std::vector<Vec3d> projected = cloud;
        if (closest) {
            const auto nearest =
                tree.ClosestPoints(cloud, std::numeric_limits<double>::infinity(), {});
            for (std::size_t i = 0; i < cloud.size(); ++i) {
                if (Math::Impl::IsUsable(cloud[i]) && nearest[i].id >= 0) {
                    projected[i] = nearest[i].point;
                } else {
                    projected[i][2] = kMissed;
                }
            }
            return projected;
        }
        const Vec3d down{0, 0, -1};
        Progress::Impl::Share share(cloud.size());
        Parallel::Impl::ApplyParallelChunks(
            std::size_t{0}, cloud.size(), [&](std::size_t from, std::size_t to) {
                share.Done(to - from);
                for (std::size_t i = from; i < to; ++i) {
                    projected[i][2] = kMissed;
                    if (!Math::Impl::IsUsable(cloud[i])) {
                        continue;
                    }
                    for (const int number : tree.LineHits(cloud[i], down)) {
                        const auto [a, b, c] = TriangleAt(points, indices, number);
                        Vec3d hit;
                        if (Intersect::RayTriangleHitPoint(a, b, c, cloud[i], down, &hit, nullptr,
                                                           true, kHitTolerance) &&
                            hit[2] > projected[i][2]) {
                            projected[i] = hit;
                        }
                    }
                }
            });
        return projected;
    });
}

// --- polylines and a mesh -----------------------------------------------------------------------

PolyPointStreamClips ClipPolyPointStreamAgainstMesh(const Mesh::IndexedPointsBase<3, double>& mesh,
                                                    const std::vector<std::vector<Vec3d>>& streams,
                                                    double tolerance)
{
    return Progress::Impl::Stoppable(
        [&]() -> PolyPointStreamClips {
            PolyPointStreamClips clips(streams.size());
            if (IsEmpty(mesh) || streams.empty()) {
                return clips;
            }
            const TriangleTree tree = TreeOf(mesh.points, mesh.indices);
            const Progress::Impl::Phase phase(kTreeShare, 1);
            Progress::Impl::Share share(streams.size());
            // Long polylines are divided within `ClipStream`, many short ones here.
            Parallel::Impl::ApplyParallel(std::size_t{0}, streams.size(), [&](std::size_t i) {
                clips[i] = ClipStream(tree, mesh, streams[i], tolerance);
                share.Done();
            });
            return clips;
        },
        [&] { return PolyPointStreamClips(streams.size()); });
}

// --- two meshes, at their points ----------------------------------------------------------------

HausdorffReport HausdorffDistances(const std::vector<Vec3d>& pointsA,
                                   const std::vector<int>& indicesA,
                                   const std::vector<Vec3d>& pointsB,
                                   const std::vector<int>& indicesB)
{
    return Progress::Impl::Stoppable([&]() -> HausdorffReport {
        HausdorffReport report;
        if (IsEmptyMesh(pointsA, indicesA) || IsEmptyMesh(pointsB, indicesB)) {
            return report;
        }
        const auto squaredDistances = [](double from, double to, const auto&... inputs) {
            const Progress::Impl::PhaseOfCall phase(from, to);
            return CloudDistancesToMesh(inputs..., true);
        };
        const auto first = squaredDistances(0, 0.5, pointsB, indicesB, pointsA);
        const auto second = squaredDistances(0.5, 1, pointsA, indicesA, pointsB);
        report.firstIndex = FirstLargest(first);
        report.secondIndex = FirstLargest(second);
        // In this form also where no distance is a number.
        const auto root = [](double squared) { return squared > 0 ? std::sqrt(squared) : 0.0; };
        report.firstDistance = root(first[report.firstIndex]);
        report.secondDistance = root(second[report.secondIndex]);
        return report;
    });
}

double HausdorffDistance(const std::vector<Vec3d>& pointsA, const std::vector<int>& indicesA,
                         const std::vector<Vec3d>& pointsB, const std::vector<int>& indicesB)
{
    const HausdorffReport report = HausdorffDistances(pointsA, indicesA, pointsB, indicesB);
    return std::max(report.firstDistance, report.secondDistance);
}

} // namespace Velk::Math::Sorvane::MeshUtils
