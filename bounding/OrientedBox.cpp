// Oriented boxes: the least rectangle of a polygon, and the box on a triangle of a hull.

#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/OrientedBox_E.h>

#include "bounding/InnerPoints_Impl.h"
#include "bounding/OrientedBox_Impl.h"
#include "mathbase/Direction_Impl.h"
#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <Velk/Math/Matrix_E.h>

#include <cmath>
#include <numeric>

namespace Velk::Math::Sorvane::Bounding {

namespace {

/// |z| up to which a point lies in the plane of the others, in the caller's unit.
constexpr double kFlat = 1e-12;

Vec2d Left(const Vec2d& v) { return {-v.y(), v.x()}; }

/// Strictly convex, counter-clockwise and once around: every corner turns left, and the direction
/// of travel changes from down to up the lexicographic order a single time.
bool IsConvexLoop(const std::vector<Vec2d>& polygon)
{
    const std::size_t count = polygon.size();
    if (count < 3) {
        return false;
    }
    const auto ascends = [&](std::size_t i) {
        const Vec2d& a = polygon[i];
        const Vec2d& b = polygon[i + 1 < count ? i + 1 : 0];
        return a.x() < b.x() || (a.x() == b.x() && a.y() < b.y());
    };
    int rounds = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t next = i + 1 < count ? i + 1 : 0;
        const std::size_t third = next + 1 < count ? next + 1 : 0;
        if (Math::Impl::Orientation(polygon[i], polygon[next], polygon[third]) <= 0) {
            return false;
        }
        rounds += !ascends(i) && ascends(next) ? 1 : 0;
    }
    return rounds == 1;
}

void SortForChain(std::vector<Vec2d>& points)
{
    std::sort(points.begin(), points.end(), [](const Vec2d& a, const Vec2d& b) {
        return a.x() < b.x() || (a.x() == b.x() && a.y() < b.y());
    });
    points.erase(std::unique(points.begin(), points.end()), points.end());
}

/// The rectangle by calipers, for a strictly convex counter-clockwise polygon.
Impl::Rectangle RectangleByCalipers(const std::vector<Vec2d>& polygon)
{
    const std::size_t count = polygon.size();
    const auto at = [&](std::size_t i) -> const Vec2d& { return polygon[i % count]; };

    // Going round from an edge, edges lead forward first, then away from it, backward, and home:
    // where each of these ends stands one of the calipers. None of them ever moves back.
    std::size_t bestEdge = 0;
    Vec2d bestAlong;
    Impl::Merit best = Impl::kDropped;
    std::size_t front = 1;
    std::size_t top = 1;
    std::size_t back = 1;
    for (std::size_t i = 0; i < count; ++i) {
        const Vec2d along = Math::Impl::UnitDirection(at(i + 1) - at(i));
        const Vec2d left = Left(along);
        front = std::max(front, i + 1);
        while ((at(front + 1) - at(front)) * along > 0 && front < i + count) {
            ++front;
        }
        top = std::max(top, front);
        while ((at(top + 1) - at(top)) * left > 0 && top < i + count) {
            ++top;
        }
        back = std::max(back, top);
        while ((at(back + 1) - at(back)) * along < 0 && back < i + count) {
            ++back;
        }
        const double width = (at(front) - at(back)) * along;
        const double height = (at(top) - at(i)) * left;
        const Impl::Merit merit{width * height, width + height};
        if (merit < best) {
            best = merit;
            bestEdge = i;
            bestAlong = along;
        }
    }
    // Once more over all vertices, so that the rectangle holds them up to one rounding.
    Impl::Rectangle rectangle{{}, bestAlong, {}};
    Vec2d low;
    Vec2d high;
    for (const Vec2d& p : polygon) {
        const Vec2d q = p - polygon[bestEdge];
        const Vec2d place{q * bestAlong, q * Left(bestAlong)};
        for (int k = 0; k < 2; ++k) {
            low[k] = std::min(low[k], place[k]);
            high[k] = std::max(high[k], place[k]);
        }
    }
    rectangle.origin = polygon[bestEdge] + bestAlong * low.x() + Left(bestAlong) * low.y();
    rectangle.size = high - low;
    return rectangle;
}

} // namespace

namespace Impl {

std::optional<Rectangle> SmallestRectangle(const std::vector<Vec2d>& polygon)
{
    if (IsConvexLoop(polygon)) {
        return RectangleByCalipers(polygon);
    }
    std::vector<Vec2d> sorted = polygon;
    SortForChain(sorted);
    if (sorted.size() < 2) {
        return std::nullopt;
    }
    const std::vector<Vec2d> hull = ExactChain(sorted);
    if (hull.size() > 2) {
        return RectangleByCalipers(hull);
    }
    const Vec2d edge = hull[1] - hull[0];
    const Vec2d along = Math::Impl::UnitDirection(edge);
    return Rectangle{hull[0], along, {edge * along, 0.0}};
}

std::vector<Vec2d> PlainHull(std::vector<Vec2d>& points)
{
    SortForChain(points);
    return points.size() < 3 ? points : MonotoneChain(points);
}

double PolygonArea(const std::vector<Vec2d>& polygon)
{
    double doubled = 0.0;
    for (std::size_t i = 2; i < polygon.size(); ++i) {
        doubled += (polygon[i - 1] - polygon[0]) ^ (polygon[i] - polygon[0]);
    }
    return 0.5 * doubled;
}

FramedBox BoxAlong(const Frame& frame, const std::vector<Vec3d>& points)
{
    const auto placeOf = [&](const Vec3d& p) {
        return Vec3d{p * frame.x, p * frame.y, p * frame.z};
    };
    FramedBox box{frame, placeOf(points.front()), {}};
    box.high = box.low;
    for (const Vec3d& p : points) {
        const Vec3d place = placeOf(p);
        for (int k = 0; k < 3; ++k) {
            box.low[k] = place[k] < box.low[k] ? place[k] : box.low[k];
            box.high[k] = place[k] > box.high[k] ? place[k] : box.high[k];
        }
    }
    return box;
}

void WriteBox(const FramedBox& box, const Vec3d& firstPoint, const LocalPoints<3>& local,
              TransformBase<3>& transform, Vec3d& size)
{
    const Frame& frame = box.frame;
    const Vec3d corner = frame.x * box.low.x() + frame.y * box.low.y() + frame.z * box.low.z();
    transform = Transform::BuildTransform(
        Matrix::Transposed(MatBase<3, 3, double>{frame.x, frame.y, frame.z}),
        firstPoint + local.Unscaled(corner), 1.0);
    size = local.Unscaled(box.Size());
}

namespace {

/// The least rectangle in the plane through the first point, raised into space.
bool FlatBox(const std::vector<Vec3d>& points, const LocalPoints<3>& local, const Vec3d& normal,
             TransformBase<3>& transform, Vec3d& size)
{
    const MatBase<3, 3, double> rotation = Matrix::RotationFromZ(normal);
    const Frame plane = FrameOf(rotation);
    std::vector<Vec2d> projected;
    projected.reserve(points.size());
    for (const Vec3d& q : local.points) {
        projected.push_back(local.Unscaled(Vec2d{q * plane.x, q * plane.y}));
    }
    TransformBase<2> inPlane;
    Vec2d rectangle;
    if (!OrientedBoundingBox(projected, inPlane, rectangle)) {
        return false;
    }
    transform = Transform::BuildTransform(rotation, points.front(), 1.0) *
                Transform::InflateDimension(inPlane);
    size = {rectangle.x(), rectangle.y(), 0.0};
    return true;
}

/// Normal of the best plane, zero where there is none. The squares of large coordinates would
/// overflow; shrinking them changes no digit.
Vec3d NormalOf(const std::vector<Vec3d>& points, const LocalPoints<3>& local)
{
    Vec3d origin;
    Vec3d normal;
    if (local.scale >= 0x1p-100) {
        Transform::PlaneOfPoints(points, origin, normal);
    } else {
        std::vector<Vec3d> scaled = points;
        for (Vec3d& p : scaled) {
            p *= local.scale;
        }
        Transform::PlaneOfPoints(scaled, origin, normal);
    }
    return normal;
}

} // namespace

bool FlatBoxOrHull(const std::vector<Vec3d>& points, TransformBase<3>& transform, Vec3d& size,
                   std::vector<Vec3d>& hullPoints, std::vector<int>& triangles)
{
    transform = {};
    size = {};
    hullPoints.clear();
    triangles.clear();
    std::vector<Vec3d> finite = points;
    std::erase_if(finite, [](const Vec3d& p) { return !Math::Impl::IsFinite(p); });
    if (finite.size() < 3) {
        return false;
    }
    const LocalPoints<3> local = Localized(finite);
    const Vec3d normal = NormalOf(finite, local);
    const bool hasPlane = normal != Vec3d{};
    if (hasPlane && std::all_of(local.points.begin(), local.points.end(), [&](const Vec3d& q) {
            return std::fabs(local.Unscaled(q * normal)) <= kFlat;
        })) {
        return FlatBox(finite, local, normal, transform, size);
    }
    if (ConvexHull(finite, hullPoints, triangles, false, false)) {
        return false;
    }
    // Large and slanted: rounding alone puts its points farther than that off any plane.
    return hasPlane && FlatBox(finite, local, normal, transform, size);
}

// --- farthest points ----------------------------------------------------------------------------

namespace {

/// Neighbors that are rather compared one by one.
constexpr std::size_t kManyNeighbors = 32;

} // namespace

SupportGraph::SupportGraph(const std::vector<Vec3d>& points, const std::vector<int>& triangles)
{
    // About eight points to a cell, so that what is left to climb doesn't grow with the hull.
    const double wanted = std::sqrt(static_cast<double>(points.size()) / 48.0);
    cellsPerEdge_ = static_cast<std::size_t>(std::clamp(wanted, 1.0, 128.0));
    const std::size_t cellCount = 6 * cellsPerEdge_ * cellsPerEdge_;

    // A hull comes in the order in which it was made, in which neighbors are far apart: climbing
    // large ones would be no more than waiting for memory.
    const Vec3d middle =
        std::accumulate(points.begin(), points.end(), Vec3d{}) / static_cast<double>(points.size());
    const auto byCell = Math::Impl::NumbersInBuckets(
        cellCount, points.size(), [&](std::size_t i) { return CellOf(points[i] - middle); });
    std::vector<int> places(points.size());
    points_.reserve(points.size());
    for (const int i : byCell.Items()) {
        places[static_cast<std::size_t>(i)] = static_cast<int>(points_.size());
        points_.push_back(points[static_cast<std::size_t>(i)]);
    }
    std::vector<int> corners;
    corners.reserve(triangles.size());
    for (const int i : triangles) {
        corners.push_back(places[static_cast<std::size_t>(i)]);
    }
    neighbors_ = {points.size(), [&](const auto& put) {
                      for (std::size_t i = 0; i + 2 < corners.size(); i += 3) {
                          put(corners[i], corners[i + 1]);
                          put(corners[i + 1], corners[i + 2]);
                          put(corners[i + 2], corners[i]);
                      }
                  }};
    AddRings(corners);
    start_.assign(cellCount, corners.empty() ? 0 : corners.front());
    int from = start_.front();
    for (std::size_t cell = 0; cell < cellCount; ++cell) {
        from = Climb(CenterOf(cell), from);
        start_[cell] = from;
    }
}

void SupportGraph::AddRings(const std::vector<int>& triangles)
{
    std::vector<int> corners;
    for (std::size_t i = 0; i < neighbors_.BucketCount(); ++i) {
        if (neighbors_[i].size() > kManyNeighbors) {
            corners.push_back(static_cast<int>(i));
        }
    }
    // The whole of a convex mesh lies on the inner side of every triangle, so that against the sum
    // of the normals around a corner all neighbors are on the same side of it.
    std::vector<Vec3d> normals(corners.size());
    for (std::size_t i = 0; !corners.empty() && i + 2 < triangles.size(); i += 3) {
        const auto corner = [&](std::size_t k) -> const Vec3d& {
            return points_[static_cast<std::size_t>(triangles[i + k])];
        };
        const Vec3d normal = (corner(1) - corner(0)) ^ (corner(2) - corner(0));
        for (std::size_t k = 0; k < 3; ++k) {
            const auto found = std::lower_bound(corners.begin(), corners.end(), triangles[i + k]);
            if (found != corners.end() && *found == triangles[i + k]) {
                normals[static_cast<std::size_t>(found - corners.begin())] += normal;
            }
        }
    }
    for (std::size_t i = 0; i < corners.size(); ++i) {
        if (auto ring = RingAround(corners[i], -normals[i])) {
            rings_.push_back(std::move(*ring));
        }
    }
}

std::optional<SupportGraph::Ring> SupportGraph::RingAround(int corner, const Vec3d& inward) const
{
    const Vec3d& tip = points_[static_cast<std::size_t>(corner)];
    const Frame across = FrameOf(Matrix::RotationFromZ(Math::Impl::UnitDirection(inward)));
    struct Spoke {
        double angle;
        int neighbor;
        Vec3d slope;
    };
    std::vector<Spoke> spokes;
    Vec3d middle;
    for (const int neighbor : neighbors_[corner]) {
        const Vec3d way = points_[static_cast<std::size_t>(neighbor)] - tip;
        const Vec3d slope = way / (way * across.z);
        if (!(way * across.z > 0) || !Math::Impl::IsFinite(slope)) {
            return std::nullopt;
        }
        spokes.push_back({0.0, neighbor, slope});
        middle += slope;
    }
    middle /= static_cast<double>(spokes.size());
    for (Spoke& spoke : spokes) {
        const Vec3d place = spoke.slope - middle;
        spoke.angle = std::atan2(place * across.y, place * across.x);
    }
    std::sort(spokes.begin(), spokes.end(), [](const Spoke& a, const Spoke& b) {
        return std::pair(a.angle, a.neighbor) < std::pair(b.angle, b.neighbor);
    });
    Ring ring{corner, {}, {}};
    for (const Spoke& spoke : spokes) {
        ring.neighbors.push_back(spoke.neighbor);
        ring.slopes.push_back(spoke.slope);
    }
    return ring;
}

const SupportGraph::Ring* SupportGraph::RingOf(int corner) const
{
    const auto found = std::partition_point(rings_.begin(), rings_.end(),
                                            [&](const Ring& ring) { return ring.corner < corner; });
    return found != rings_.end() && found->corner == corner ? &*found : nullptr;
}

int SupportGraph::SteepestOf(const Ring& ring, const Vec3d& direction)
{
    // The greatest of a cyclic sequence that rises and falls once is less than a step away from the
    // greatest of those that are a step apart.
    const std::size_t count = ring.slopes.size();
    std::size_t best = 0;
    double steepest = ring.slopes[0] * direction;
    const auto look = [&](std::size_t i) {
        const double slope = ring.slopes[i % count] * direction;
        if (slope > steepest) {
            steepest = slope;
            best = i % count;
        }
    };
    std::size_t step = std::max<std::size_t>(count / 8, 1);
    for (std::size_t i = step; i < count; i += step) {
        look(i);
    }
    while (step > 1) {
        step = (step + 1) / 2;
        const std::size_t middle = best;
        look(middle + step);
        look(middle + count - step);
    }
    return ring.neighbors[best];
}

double SupportGraph::Reach(const Vec3d& direction) const
{
    const int farthest = Climb(direction, start_[CellOf(direction)]);
    return points_[static_cast<std::size_t>(farthest)] * direction;
}

int SupportGraph::Climb(const Vec3d& direction, int from) const
{
    // Ends, since the height strictly grows.
    double height = points_[static_cast<std::size_t>(from)] * direction;
    for (;;) {
        int higher = from;
        const auto look = [&](int neighbor) {
            const double next = points_[static_cast<std::size_t>(neighbor)] * direction;
            if (next > height) {
                height = next;
                higher = neighbor;
            }
        };
        const auto& neighbors = neighbors_[from];
        const Ring* ring = neighbors.size() > kManyNeighbors ? RingOf(from) : nullptr;
        if (ring != nullptr) {
            look(SteepestOf(*ring, direction));
        } else {
            for (const int neighbor : neighbors) {
                look(neighbor);
            }
        }
        if (higher == from) {
            return from;
        }
        from = higher;
    }
}

std::size_t SupportGraph::CellOf(const Vec3d& direction) const
{
    int axis = 0;
    for (int k = 1; k < 3; ++k) {
        axis = std::fabs(direction[k]) > std::fabs(direction[axis]) ? k : axis;
    }
    const double size = std::fabs(direction[axis]);
    const auto place = [&](double value) {
        const double share = (0.5 + 0.5 * value / size) * static_cast<double>(cellsPerEdge_);
        return share > 0 ? std::min(static_cast<std::size_t>(share), cellsPerEdge_ - 1) : 0;
    };
    if (!(size > 0)) {
        return 0;
    }
    const auto side = static_cast<std::size_t>(2 * axis + (direction[axis] < 0 ? 1 : 0));
    return (side * cellsPerEdge_ + place(direction[(axis + 1) % 3])) * cellsPerEdge_ +
           place(direction[(axis + 2) % 3]);
}

Vec3d SupportGraph::CenterOf(std::size_t cell) const
{
    const auto place = [&](std::size_t number) {
        return 2.0 * (static_cast<double>(number) + 0.5) / static_cast<double>(cellsPerEdge_) - 1.0;
    };
    const std::size_t side = cell / (cellsPerEdge_ * cellsPerEdge_);
    const int axis = static_cast<int>(side / 2);
    Vec3d center;
    center[axis] = side % 2 == 0 ? 1.0 : -1.0;
    center[(axis + 1) % 3] = place(cell / cellsPerEdge_ % cellsPerEdge_);
    center[(axis + 2) % 3] = place(cell % cellsPerEdge_);
    return center;
}

} // namespace Impl

namespace {

/// Has the frame on a triangle: X along its first edge, Z along its normal. False for one without.
bool FrameOnTriangle(const std::vector<Vec3d>& points, const std::vector<int>& triangles,
                     std::size_t triangle, Impl::Frame& frame)
{
    const auto corner = [&](std::size_t k) -> const Vec3d& {
        return points[static_cast<std::size_t>(triangles[3 * triangle + k])];
    };
    frame =
        Impl::FrameOf(Transform::BuildTransformThreePoints(corner(0), corner(1), corner(2)).matrix);
    return frame.x != Vec3d{};
}

/// Extents along the axes of a frame, found by climbing.
Vec3d ReachAlong(const Impl::SupportGraph& graph, const Impl::Frame& frame)
{
    const auto extent = [&](const Vec3d& axis) { return graph.Reach(axis) + graph.Reach(-axis); };
    return {extent(frame.x), extent(frame.y), extent(frame.z)};
}

/// Does climbing find the extents of all points, as it does on a hull? Tried on a few triangles.
bool ReachesAll(const Impl::SupportGraph& graph, const std::vector<Vec3d>& points,
                const std::vector<int>& triangles)
{
    constexpr std::size_t kTried = 16;
    constexpr double kAll = 1.0 - 1e-9;
    const std::size_t count = triangles.size() / 3;
    for (std::size_t i = 0; i < count; i += count / kTried + 1) {
        Impl::Frame frame;
        if (!FrameOnTriangle(points, triangles, i, frame)) {
            continue;
        }
        const Vec3d reach = ReachAlong(graph, frame);
        const Vec3d size = Impl::BoxAlong(frame, points).Size();
        for (int k = 0; k < 3; ++k) {
            if (reach[k] < kAll * size[k]) {
                return false;
            }
        }
    }
    return true;
}

/// Products of points and triangles below which climbing has nothing to save.
constexpr std::size_t kFewProducts = 20'000;

} // namespace

// --- the plane ----------------------------------------------------------------------------------

bool OrientedBoundingBoxOfHull(const std::vector<VecBase<2, double>>& hullPoints,
                               TransformBase<2>& transform, VecBase<2, double>& size)
{
    const Vec2d first = hullPoints.empty() ? Vec2d{} : hullPoints.front();
    const bool isFinite = Impl::AreFinite(hullPoints);
    const auto local =
        isFinite && hullPoints.size() >= 3 ? Impl::Localized(hullPoints) : Impl::LocalPoints<2>{};
    const auto rectangle = Impl::SmallestRectangle(local.points);
    transform = {};
    size = {};
    if (!rectangle) {
        return false;
    }
    const Vec2d& along = rectangle->along;
    const Vec2d left = Left(along);
    transform = Transform::BuildTransform2D({{along.x(), left.x()}, {along.y(), left.y()}},
                                            first + local.Unscaled(rectangle->origin), 1.0);
    size = local.Unscaled(rectangle->size);
    return true;
}

bool OrientedBoundingBox(const std::vector<VecBase<2, double>>& points, TransformBase<2>& transform,
                         VecBase<2, double>& size)
{
    if (Impl::AreFinite(points)) {
        return OrientedBoundingBoxOfHull(ConvexHull(points, false), transform, size);
    }
    std::vector<Vec2d> finite = points;
    std::erase_if(finite, [](const Vec2d& p) { return !Math::Impl::IsFinite(p); });
    return OrientedBoundingBoxOfHull(ConvexHull(finite, false), transform, size);
}

// --- space --------------------------------------------------------------------------------------

bool OrientedBoundingBoxOfHull(const std::vector<VecBase<3, double>>& hullPoints,
                               const std::vector<int>& triangles, TransformBase<3>& transform,
                               VecBase<3, double>& size)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            const auto isIndex = [&](int i) {
                return i >= 0 && static_cast<std::size_t>(i) < hullPoints.size();
            };
            if (triangles.size() < 4 || !std::all_of(triangles.begin(), triangles.end(), isIndex) ||
                !Impl::AreFinite(hullPoints)) {
                transform = {};
                size = {};
                return false;
            }
            const Vec3d first = hullPoints.front();
            const auto local = Impl::Localized(hullPoints);
            const std::vector<Vec3d>& points = local.points;
            const std::size_t count = triangles.size() / 3;
            const auto meritOf = [&](std::size_t triangle) {
                Impl::Frame frame;
                return FrameOnTriangle(points, triangles, triangle, frame)
                           ? Impl::MeritOf(Impl::BoxAlong(frame, points).Size())
                           : Impl::kDropped;
            };

            std::vector<Impl::Merit> bounds(count, Impl::kDropped);
            if (points.size() * count <= kFewProducts) {
                for (std::size_t i = 0; i < count; ++i) {
                    bounds[i] = meritOf(i);
                }
            } else {
                // Climbing goes astray on what is no hull, and nearly every triangle would be
                // measured.
                std::optional<Impl::SupportGraph> graph(std::in_place, points, triangles);
                std::vector<Vec3d> corners;
                std::vector<int> facets;
                if (!ReachesAll(*graph, points, triangles) &&
                    ConvexHull(points, corners, facets, false, false)) {
                    graph.emplace(corners, facets);
                }
                Parallel::Impl::ApplyParallelChunks(std::size_t{0}, count, [&](auto from, auto to) {
                    Impl::Frame frame;
                    for (auto i = from; i < to; ++i) {
                        if (FrameOnTriangle(points, triangles, i, frame)) {
                            bounds[i] = Impl::MeritOf(ReachAlong(*graph, frame));
                        }
                    }
                });
            }
            const int best = Impl::BestCandidate(
                bounds, [&](int triangle) { return meritOf(static_cast<std::size_t>(triangle)); });
            transform = {};
            size = {};
            Impl::Frame frame;
            if (best < 0 ||
                !FrameOnTriangle(points, triangles, static_cast<std::size_t>(best), frame)) {
                return false;
            }
            Impl::WriteBox(Impl::BoxAlong(frame, points), first, local, transform, size);
            return true;
        },
        [&] {
            transform = {};
            size = {};
            return false;
        });
}

bool OrientedBoundingBox(const std::vector<VecBase<3, double>>& points, TransformBase<3>& transform,
                         VecBase<3, double>& size)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            std::vector<Vec3d> hullPoints;
            std::vector<int> triangles;
            return Impl::FlatBoxOrHull(points, transform, size, hullPoints, triangles) ||
                   (!triangles.empty() &&
                    OrientedBoundingBoxOfHull(hullPoints, triangles, transform, size));
        },
        [&] {
            transform = {};
            size = {};
            return false;
        });
}

} // namespace Velk::Math::Sorvane::Bounding
