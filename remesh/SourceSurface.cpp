// The surface that a mesh was before it was remeshed, and the way back to it.

#include "remesh/SourceSurface_Impl.h"

#include <Velk/Math/Vector_E.h>

#include "mathbase/NearestOnTriangle_Impl.h"
#include "mathbase/Parallel_Impl.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <unordered_set>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

namespace {

/// The first radius of a search for a triangle that faces the right way: so many times the distance
/// of the nearest triangle, and at least this share of the whole reach.
constexpr double kFirstRadius = 2.0;
constexpr double kFirstShare = 1.0 / 64.0;
/// On a surface that reaches farther than this the squared areas of triangles overflow, and with
/// them all that tells where a nearest point is.
constexpr double kGreatestReach = 1e75;

/// The triples without those whose corners are, one by one, where those of an earlier one are. Of
/// triangles at the same distance the first is the nearest, so that its copies are never found; but
/// each of them would be looked at for every point, were there thousands.
std::vector<int> WithoutCopies(const std::vector<Vec3d>& points, const std::vector<int>& triples)
{
    using Corners = std::array<Vec3d, 3>;
    const auto hash = [](const Corners& corners) {
        constexpr std::size_t kMultiplier = 0x9e3779b97f4a7c15U;
        std::size_t state = 0;
        for (const Vec3d& corner : corners) {
            state = (state ^ std::hash<Vec3d>()(corner)) * kMultiplier;
        }
        return state ^ (state >> 32U);
    };
    std::unordered_set<Corners, decltype(hash)> known(triples.size() / 3, hash);
    std::vector<int> kept;
    kept.reserve(triples.size());
    for (std::size_t i = 0; i + 2 < triples.size(); i += 3) {
        Progress::Impl::CheckStep(i / 3);
        Corners corners;
        bool isInRange = true;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto point = static_cast<std::size_t>(triples[i + k]);
            isInRange = isInRange && point < points.size();
            corners[k] = isInRange ? points[point] : Vec3d();
        }
        if (isInRange && known.insert(corners).second) {
            kept.insert(kept.end(), {triples[i], triples[i + 1], triples[i + 2]});
        }
    }
    return kept;
}

} // namespace

SourceSurface::SourceSurface(const std::vector<Vec3d>& points, const std::vector<int>& triples)
    : points_(points), triples_(WithoutCopies(points, triples)), tree_(points, triples_)
{
    // More than the diagonal of the box around all triangles.
    reach_ = 2.0 * std::sqrt(3.0) * tree_.RootHalfSize();
}

auto SourceSurface::CornersOf(int triangle) const -> Corners
{
    const auto corner = [&](std::size_t i) {
        return points_[static_cast<std::size_t>(
            triples_[3 * static_cast<std::size_t>(triangle) + i])];
    };
    return {corner(0), corner(1), corner(2)};
}

bool SourceSurface::FacesAway(int triangle, const Vec3d& normal) const
{
    const auto [a, b, c] = CornersOf(triangle);
    return ((b - a) ^ (c - a)) * normal < 0.0;
}

// The nearest point among the triangles that don't face away, within `reach`; `nearest` where there
// is none.
Vec3d SourceSurface::NearestFacing(const StrayPoint& point, const Vec3d& nearest,
                                   double reach) const
{
    const double distance = Length(nearest - point.position);
    for (double radius = std::max(kFirstRadius * distance, kFirstShare * reach); distance < reach;
         radius *= 2.0) {
        radius = std::min(radius, reach);
        double least = radius * radius;
        Vec3d best = nearest;
        bool isFound = false;
        for (const int triangle : tree_.TrianglesInBall(point.position, radius)) {
            if (!FacesAway(triangle, point.normal)) {
                const Vec3d place =
                    Intersect::Impl::NearestOnTriangle(CornersOf(triangle), point.position);
                const double squared = SquaredLength(place - point.position);
                if (squared < least) {
                    least = squared;
                    best = place;
                    isFound = true;
                }
            }
        }
        if (isFound || radius >= reach) {
            return best;
        }
    }
    return nearest;
}

std::vector<Vec3d> SourceSurface::Projected(const std::vector<StrayPoint>& points,
                                            double facingReach) const
{
    std::vector<Vec3d> positions;
    positions.reserve(points.size());
    for (const StrayPoint& point : points) {
        positions.push_back(point.position);
    }
    if (tree_.TriangleCount() == 0 || !(reach_ <= kGreatestReach)) {
        return positions;
    }
    // One search within all of the reach: of growing searches the first that finds anything finds
    // the same.
    const auto closest = tree_.ClosestPoints(positions, reach_, {});
    const double reach = std::isfinite(facingReach) ? std::min(facingReach, reach_) : reach_;
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, points.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                if (closest[i].id < 0) {
                    continue;
                }
                positions[i] = FacesAway(closest[i].id, points[i].normal)
                                   ? NearestFacing(points[i], closest[i].point, reach)
                                   : closest[i].point;
            }
        });
    KeepApart(points, positions);
    return positions;
}

void SourceSurface::KeepApart(const std::vector<StrayPoint>& points, std::vector<Vec3d>& places)
{
    std::vector<Vec3d> distinct = places;
    const std::vector<int> placeOf =
        Vector::FilterForUniquenessAndIndex(distinct, kLengthFloor<double>);
    if (distinct.size() == places.size()) {
        return;
    }
    constexpr std::size_t kNobody = std::numeric_limits<std::size_t>::max();
    std::vector<std::size_t> holder(distinct.size(), kNobody);
    for (std::size_t i = 0; i < places.size(); ++i) {
        std::size_t& held = holder[static_cast<std::size_t>(placeOf[i])];
        if (held == kNobody) {
            held = i;
        } else if (!Matches(points[i].position, points[held].position, kLengthFloor<double>)) {
            const std::size_t loser = points[i].isFixed ? held : i;
            held = points[i].isFixed ? i : held;
            places[loser] = points[loser].position;
        }
    }
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
