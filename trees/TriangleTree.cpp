// Tree over triangles in space.

#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/BitSpread_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/RadixSort_Impl.h"
#include "mathbase/Values_Impl.h"
#include "trees/TriangleHierarchy_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

namespace Velk::Math::Sorvane::Tree {

namespace {

using Impl::NearestTriangle;
using Impl::RankedTriangle;
using Impl::TriangleHierarchy;
using Closest = ClosestPointRecord<3, double>;

/// Smallest radius at which a search begins.
constexpr double kLeastRadius = 1e-12;
/// Widening of a triangle within which a line hits it.
constexpr double kHitTolerance = 1e-12;
/// Points of a batch between two reports: some hundredths of a second on one thread.
constexpr std::size_t kPointsPerReport = 16384;

Closest AnswerOf(const NearestTriangle& nearest, const Vec3d& point)
{
    return nearest.id >= 0 ? Closest{nearest.point, nearest.id} : Closest{point, -1};
}

/// `ClosestPoint`; `guess` is a place to begin at, and becomes that of the answer.
Closest Nearest(const TriangleHierarchy& triangles, const Vec3d& point, double radius,
                std::size_t& guess)
{
    const NearestTriangle nearest = triangles.Nearest(point, radius, guess);
    guess = nearest.place;
    return AnswerOf(nearest, point);
}

/// The radii of a series of searches.
struct RadiusRange {
    double low;
    double high;

    RadiusRange(double r0, double r1) : low(std::min(r0, r1)), high(std::max(r0, r1))
    {
        low = low <= 0 ? kLeastRadius : low;
        if (std::isnan(r0) || std::isnan(r1)) {
            high = low - 1;
        }
    }
    bool IsEmpty() const { return !(low <= high); }
};

/// `ClosestPointInRange` for a range that is not empty.
///
/// One search with the larger radius stands for all of them. Let d be the squared distance of what
/// it finds, which is the least of all triangles within that radius. A search with r * r < d finds
/// nothing. One with r * r > d finds the same: every triangle at d is among its candidates, as a
/// triangle's box is never farther than its nearest point. Only where r * r equals d may the answer
/// differ: a triangle whose box is at d itself is no candidate then, so that another of the equals
/// is found, or none. And when the larger radius finds nothing, no smaller one does.
Closest NearestInRange(const TriangleHierarchy& triangles, const Vec3d& point,
                       const RadiusRange& range, std::size_t& guess)
{
    const NearestTriangle nearest = triangles.Nearest(point, range.high, guess);
    guess = nearest.place;
    for (double radius = range.low;
         nearest.id >= 0 && radius < range.high && radius * radius <= nearest.squaredDistance;
         radius *= 2) {
        if (radius * radius == nearest.squaredDistance) {
            const NearestTriangle atRadius = triangles.Nearest(point, radius, guess);
            if (atRadius.id >= 0) {
                return AnswerOf(atRadius, point);
            }
        }
    }
    return AnswerOf(nearest, point);
}

// --- batches ------------------------------------------------------------------------------------

/// A point of a batch, and its place in a curve through their cells.
struct BatchPoint {
    std::uint32_t code;
    std::int32_t number;
};

/// The points in the order of a Z-curve (G. M. Morton, 1966) through 1024 cells an axis.
std::vector<BatchPoint> AlongTheCurve(const std::vector<Vec3d>& points)
{
    constexpr double kCells = 1024;
    Impl::BoxOf<3, double> box;
    for (const Vec3d& point : points) {
        if (Math::Impl::IsUsable(point)) {
            box.Grow(point);
        }
    }
    std::vector<BatchPoint> batch;
    batch.reserve(points.size());
    for (const Vec3d& point : points) {
        std::uint64_t code = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const double cell =
                (point[axis] - box.min[axis]) / (box.max[axis] - box.min[axis]) * kCells;
            // In this form also for what is no number.
            const double inside = cell > 0 ? std::min(cell, kCells - 1) : 0.0;
            code |= Velk::Math::Impl::SpreadBits<3>(static_cast<std::uint32_t>(inside)) << axis;
        }
        batch.push_back(
            {static_cast<std::uint32_t>(code), static_cast<std::int32_t>(batch.size())});
    }
    Velk::Math::Impl::StableSortByKey(batch, [](const BatchPoint& p) { return p.code; });
    return batch;
}

/// `answer(point, guess)` for each point; nothing when canceled.
template <class Answer>
std::vector<Closest> Batch(const std::vector<Vec3d>& points, const ProgressCallback& progress,
                           const Answer& answer)
{
    std::vector<Closest> closest(points.size());
    const std::vector<BatchPoint> batch = AlongTheCurve(points);
    for (std::size_t first = 0; first < batch.size(); first += kPointsPerReport) {
        const std::size_t last = std::min(first + kPointsPerReport, batch.size());
        Progress::Impl::Check(static_cast<double>(first) / static_cast<double>(batch.size()));
        Parallel::Impl::ApplyParallelChunks(first, last, [&](std::size_t from, std::size_t to) {
            std::size_t guess = 0;
            for (std::size_t i = from; i < to; ++i) {
                const auto number = static_cast<std::size_t>(batch[i].number);
                closest[number] = answer(points[number], guess);
            }
        });
        if (progress && !progress(static_cast<double>(last) / static_cast<double>(batch.size()))) {
            return {};
        }
    }
    return closest;
}

} // namespace

// --- the tree -----------------------------------------------------------------------------------

struct QOFTriangleTree<3, double>::State {
    std::vector<RankedTriangle> added; // since the last build
    int nextRank = 0;
    TriangleHierarchy triangles;
};

QOFTriangleTree<3, double>::QOFTriangleTree() = default;
QOFTriangleTree<3, double>::QOFTriangleTree(QOFTriangleTree&& other) noexcept = default;
QOFTriangleTree<3, double>&
QOFTriangleTree<3, double>::operator=(QOFTriangleTree&& other) noexcept = default;
QOFTriangleTree<3, double>::~QOFTriangleTree() = default;

QOFTriangleTree<3, double>::QOFTriangleTree(const std::vector<Vec3d>& points,
                                            const std::vector<int>& triples)
{
    Progress::Impl::Stoppable([&] { BuildOf(points, triples); }, [&] { state_.reset(); });
}

void QOFTriangleTree<3, double>::BuildOf(const std::vector<Vec3d>& points,
                                         const std::vector<int>& triples)
{
    state_ = std::make_unique<State>();
    state_->added.reserve(triples.size() / 3);
    const auto isPoint = [&](int index) {
        return index >= 0 && static_cast<std::size_t>(index) < points.size();
    };
    for (std::size_t i = 0; i + 2 < triples.size(); i += 3) {
        Progress::Impl::CheckStep(i / 3);
        const int a = triples[i];
        const int b = triples[i + 1];
        const int c = triples[i + 2];
        if (isPoint(a) && isPoint(b) && isPoint(c)) {
            AddTriangle(points[static_cast<std::size_t>(a)], points[static_cast<std::size_t>(b)],
                        points[static_cast<std::size_t>(c)], static_cast<int>(i / 3));
        }
    }
    Build();
}

void QOFTriangleTree<3, double>::AddTriangle(const Vec3d& a, const Vec3d& b, const Vec3d& c, int id)
{
    if (!state_) {
        state_ = std::make_unique<State>();
    }
    if (Math::Impl::IsUsable(a) && Math::Impl::IsUsable(b) && Math::Impl::IsUsable(c)) {
        state_->added.push_back({{a, b, c}, id, state_->nextRank});
        ++state_->nextRank;
    }
}

void QOFTriangleTree<3, double>::Build()
{
    Progress::Impl::Stoppable([&] {
        if (!state_ || state_->added.empty()) {
            return;
        }
        if (!state_->triangles.Triangles().empty()) {
            std::vector<RankedTriangle> all = state_->triangles.Triangles();
            all.insert(all.end(), state_->added.begin(), state_->added.end());
            state_->triangles = TriangleHierarchy(all);
        } else {
            state_->triangles = TriangleHierarchy(state_->added);
        }
        std::vector<RankedTriangle>().swap(state_->added); // and its memory
    });
}

std::size_t QOFTriangleTree<3, double>::TriangleCount() const
{
    return state_ ? state_->triangles.Triangles().size() : 0;
}

double QOFTriangleTree<3, double>::RootHalfSize() const
{
    if (TriangleCount() == 0) {
        return 0;
    }
    const Impl::BoxOf<3, double>& whole = state_->triangles.Whole();
    return Vector::Length(whole.min - (whole.min + whole.max) * 0.5);
}

// --- queries ------------------------------------------------------------------------------------

Closest QOFTriangleTree<3, double>::ClosestPoint(const Vec3d& point, double radius) const
{
    std::size_t guess = 0;
    return state_ ? Nearest(state_->triangles, point, radius, guess) : Closest{point, -1};
}

Closest QOFTriangleTree<3, double>::ClosestPointInRange(const Vec3d& point, double r0,
                                                        double r1) const
{
    const RadiusRange range(r0, r1);
    if (range.IsEmpty()) {
        return {};
    }
    std::size_t guess = 0;
    return state_ ? NearestInRange(state_->triangles, point, range, guess) : Closest{point, -1};
}

std::vector<Closest>
QOFTriangleTree<3, double>::ClosestPoints(const std::vector<Vec3d>& points, double radius,
                                          const ProgressCallback& progress) const
{
    return Progress::Impl::Stoppable([&]() -> std::vector<Closest> {
        return Batch(points, progress, [&](const Vec3d& point, std::size_t& guess) {
            return state_ ? Nearest(state_->triangles, point, radius, guess) : Closest{point, -1};
        });
    });
}

std::vector<Closest>
QOFTriangleTree<3, double>::ClosestPointsInRange(const std::vector<Vec3d>& points, double r0,
                                                 double r1, const ProgressCallback& progress) const
{
    return Progress::Impl::Stoppable([&]() -> std::vector<Closest> {
        const RadiusRange range(r0, r1);
        return Batch(points, progress, [&](const Vec3d& point, std::size_t& guess) {
            if (range.IsEmpty()) {
                return Closest{};
            }
            return state_ ? NearestInRange(state_->triangles, point, range, guess)
                          : Closest{point, -1};
        });
    });
}

namespace {

/// Collects triangles in whatever order they come, and gives their numbers by rank.
class NumbersByRank {
public:
    void operator()(const RankedTriangle& triangle)
    {
        found_.push_back({triangle.rank, triangle.id});
    }
    std::vector<int> Numbers()
    {
        std::sort(found_.begin(), found_.end());
        std::vector<int> numbers;
        numbers.reserve(found_.size());
        for (const auto& [rank, id] : found_) {
            numbers.push_back(id);
        }
        return numbers;
    }

private:
    std::vector<std::pair<int, int>> found_;
};

} // namespace

std::vector<int> QOFTriangleTree<3, double>::TrianglesInBall(const Vec3d& center,
                                                             double radius) const
{
    NumbersByRank found;
    if (state_) {
        state_->triangles.VisitWithin(center, Impl::SquaredReach(radius),
                                      [&](const RankedTriangle& t) { found(t); });
    }
    return found.Numbers();
}

std::vector<int> QOFTriangleTree<3, double>::GetPossibleBoxCollisions(
    const Bounding::AxisAlignedBoundingBox<3, double>& box) const
{
    NumbersByRank found;
    if (state_) {
        state_->triangles.VisitMeeting(box, [&](const RankedTriangle& t) { found(t); });
    }
    return found.Numbers();
}

std::vector<int> QOFTriangleTree<3, double>::LineHits(const Vec3d& origin,
                                                      const Vec3d& direction) const
{
    NumbersByRank found;
    if (state_ && Intersect::Impl::IsRayDirection(direction)) {
        state_->triangles.VisitOnLine(origin, direction, [&](const RankedTriangle& triangle) {
            const auto& [a, b, c] = triangle.corner;
            if (Intersect::RayTriangleHitPoint(a, b, c, origin, direction, nullptr, nullptr, true,
                                               kHitTolerance)) {
                found(triangle);
            }
        });
    }
    return found.Numbers();
}

Octree::TriangleTree<double>::TriangleTree(const Mesh::TriangleSoup<3, double>& triangles)
{
    Progress::Impl::Stoppable(
        [&] {
            for (std::size_t i = 0; i < triangles.size(); ++i) {
                Progress::Impl::CheckStep(i);
                const auto& [a, b, c] = triangles[i];
                AddTriangle(a, b, c, static_cast<int>(i));
            }
            Build();
        },
        [&] { static_cast<QOFTriangleTree<3, double>&>(*this) = {}; });
}

} // namespace Velk::Math::Sorvane::Tree
