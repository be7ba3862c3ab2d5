// The prism of least area or volume around a hull.
//
// The area of what is seen along a direction d is half the sum of |a d| over the area vectors a of
// the hull's triangles (A. Cauchy). That sum, lowered by what rounding can have added, and the
// height found by climbing are lower bounds; only directions that may be the best are measured by
// projecting the vertices, which takes a sort each.

#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/OrientedBox_E.h>

#include "bounding/OrientedBoxPrism_Impl.h"
#include "mathbase/Direction_Impl.h"
#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <Velk/Math/Matrix_E.h>
#include <Velk/Math/Vector_E.h>

#include <array>
#include <cmath>

namespace Velk::Math::Sorvane::Bounding {

namespace {

using Impl::Merit;

constexpr int kSpiralDirections = 4096;

/// Equal steps in z, turned by the golden angle each.
void AddSpiral(std::vector<Vec3d>& directions)
{
    const double turn = (std::sqrt(5.0) + 1.0) * kPi<double>;
    for (int i = 0; i < kSpiralDirections; ++i) {
        const double inclination = std::acos(1.0 - 2.0 * i * (1.0 / kSpiralDirections));
        directions.push_back(Vector::SphericalToCartesian(Vec3d{1.0, inclination, turn * i}));
    }
}

std::vector<Vec3d> Directions(const std::vector<Vec3d>& points, const std::vector<int>& triangles)
{
    std::vector<Vec3d> directions;
    directions.reserve(kSpiralDirections + triangles.size() / 3);
    AddSpiral(directions);
    const auto isIndex = [&](int i) {
        return i >= 0 && static_cast<std::size_t>(i) < points.size();
    };
    for (std::size_t i = 0; i + 2 < triangles.size(); i += 3) {
        if (!isIndex(triangles[i]) || !isIndex(triangles[i + 1]) || !isIndex(triangles[i + 2])) {
            continue;
        }
        const auto corner = [&](std::size_t k) -> const Vec3d& {
            return points[static_cast<std::size_t>(triangles[i + k])];
        };
        const Vec3d normal =
            Math::Impl::UnitDirection(Math::Impl::AccurateNormal(corner(0), corner(1), corner(2)));
        if (normal != Vec3d{}) {
            directions.push_back(normal);
        }
    }
    Vector::FilterForUniqueness(directions, kLengthFloor<double>);
    return directions;
}

/// The corners of the hull of points in one plane, up to rounding, in order around it; of points on
/// a line its ends. Found by looking along the axis that the plane is steepest to.
std::vector<Vec3d> FlatHull(std::vector<Vec3d> points)
{
    Vec3d origin;
    Vec3d normal;
    Transform::PlaneOfPoints(points, origin, normal);
    int dropped = 0;
    for (int k = 1; k < 3; ++k) {
        dropped = std::fabs(normal[k]) > std::fabs(normal[dropped]) ? k : dropped;
    }
    const int u = (dropped + 1) % 3;
    const int v = (dropped + 2) % 3;
    const auto isBefore = [&](const Vec3d& a, const Vec3d& b) {
        return std::array{a[u], a[v], a[dropped]} < std::array{b[u], b[v], b[dropped]};
    };
    std::sort(points.begin(), points.end(), isBefore);
    if (normal == Vec3d{}) {
        return {points.front(), points.back()};
    }
    std::vector<Vec2d> projected;
    for (const Vec3d& p : points) {
        projected.push_back({p[u], p[v]});
    }
    std::vector<Vec3d> corners;
    for (const Vec2d& corner : Impl::PlainHull(projected)) {
        const auto found = std::partition_point(points.begin(), points.end(), [&](const Vec3d& p) {
            return p[u] < corner.x() || (p[u] == corner.x() && p[v] < corner.y());
        });
        corners.push_back(*found);
    }
    return corners;
}

} // namespace

namespace Impl {

PrismBody::PrismBody(const std::vector<Vec3d>& points) : all_(points)
{
    if (ConvexHull(points, corners_, triangles_, false, false)) {
        for (std::size_t i = 0; i < triangles_.size(); i += 3) {
            const Vec3d& a = Corner(i);
            AddArea((Corner(i + 1) - a) ^ (Corner(i + 2) - a));
        }
        graph_.emplace(corners_, triangles_);
    } else {
        corners_ = FlatHull(points);
        Vec3d doubledArea;
        for (std::size_t i = 2; i < corners_.size(); ++i) {
            doubledArea += (corners_[i - 1] - corners_[0]) ^ (corners_[i] - corners_[0]);
        }
        AddArea(doubledArea);
        AddArea(-doubledArea);
    }
    // A rounding in each product and each sum. Of bodies that are thin beside their length both the
    // area vectors and what is measured are known far worse than that share of them. With u half an
    // epsilon, r the largest distance from the origin, which is one of the points, and n corners:
    // 5 u times the product of two edges for the normal of each of up to 2 n triangles, a quarter
    // of it counted; 4.3 u r for each projected corner along an outline of up to 2 pi r; and 4 u
    // times the product of two edges for each turn and each area that the outline is made and
    // measured by. Edges are up to 2 r long: less than 32 u r^2 for each corner and 32 u r^2
    // besides.
    double squaredReach = 0.0;
    for (const Vec3d& p : corners_) {
        squaredReach = std::max(squaredReach, Vector::SquaredLength(p));
    }
    areaError_ = std::numeric_limits<double>::epsilon() *
                 (static_cast<double>(areas_.size() + 16) * areaError_ +
                  static_cast<double>(16 * (corners_.size() + 1)) * squaredReach);
}

std::pair<double, double> PrismBody::LowerBound(const Vec3d& direction) const
{
    std::array<double, 4> sums{};
    std::size_t i = 0;
    for (; i + 4 <= areas_.size(); i += 4) {
        for (std::size_t k = 0; k < 4; ++k) {
            sums[k] += std::fabs(areas_[i + k] * direction);
        }
    }
    for (; i < areas_.size(); ++i) {
        sums[0] += std::fabs(areas_[i] * direction);
    }
    const double area = (sums[0] + sums[1]) + (sums[2] + sums[3]) - areaError_;
    const double height =
        graph_ ? graph_->Reach(direction) + graph_->Reach(-direction) : Height(direction);
    return {std::max(area, 0.0), height};
}

std::pair<double, double> PrismBody::Measured(const Vec3d& direction) const
{
    const Frame frame = FrameOf(Matrix::RotationFromZ(direction));
    std::vector<Vec2d> projected;
    projected.reserve(corners_.size());
    for (const Vec3d& p : corners_) {
        projected.push_back({p * frame.x, p * frame.y});
    }
    return {PolygonArea(PlainHull(projected)), Height(direction)};
}

/// Half of a triangle counts for each of the two ways it is seen from.
void PrismBody::AddArea(const Vec3d& doubledArea)
{
    areas_.push_back(doubledArea * 0.25);
    areaError_ += Vector::Length(areas_.back());
}

double PrismBody::Height(const Vec3d& direction) const
{
    double low = all_.front() * direction;
    double high = low;
    for (const Vec3d& p : all_) {
        const double z = p * direction;
        low = z < low ? z : low;
        high = z > high ? z : high;
    }
    return high - low;
}

} // namespace Impl

namespace {

/// What candidates are compared by: the numbers as the caller is going to see them.
template <class T>
Merit MeritOf(const std::pair<double, double>& areaAndHeight, bool byVolume)
{
    const auto [area, height] = areaAndHeight;
    const auto roundedArea = static_cast<double>(static_cast<T>(area));
    const auto roundedVolume = static_cast<double>(static_cast<T>(area * height));
    return byVolume ? Merit{roundedVolume, roundedArea} : Merit{roundedArea, roundedVolume};
}

} // namespace

template <class T>
HullPrismReport<T> MinimalHullPrism(const std::vector<VecBase<3, T>>& hullPoints,
                                    const std::vector<int>& triangles, const VecBase<3, T>& origin,
                                    bool based, bool byVolume)
{
    return Progress::Impl::Stoppable([&]() -> HullPrismReport<T> {
        HullPrismReport<T> report;
        if (hullPoints.empty() || !Impl::AreFinite(hullPoints) || !Math::Impl::IsFinite(origin)) {
            return report;
        }
        const auto local = Impl::Localized(hullPoints);
        const std::vector<Vec3d> directions = Directions(local.points, triangles);
        const Impl::PrismBody body(local.points);

        std::vector<Merit> bounds(directions.size());
        const auto measureChunk = [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                bounds[i] = MeritOf<T>(body.LowerBound(directions[i]), byVolume);
            }
        };
        Parallel::Impl::ApplyParallelChunks(std::size_t{0}, directions.size(), measureChunk);
        const int best = Impl::BestCandidate(bounds, [&](int i) {
            return MeritOf<T>(body.Measured(directions[static_cast<std::size_t>(i)]), byVolume);
        });
        if (best < 0) {
            return report;
        }

        const Vec3d& axis = directions[static_cast<std::size_t>(best)];
        const Vec3d start(origin);
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        for (const VecBase<3, T>& p : hullPoints) {
            const double z = (Vec3d(p) - start) * axis;
            low = std::min(low, z);
            high = std::max(high, z);
        }
        // Measured near the points, since far from the origin low and high are known to fewer
        // digits.
        const auto [localArea, localHeight] = body.Measured(axis);
        const double area = local.Unscaled(local.Unscaled(localArea));
        const double height = local.Unscaled(localHeight);
        report.transform =
            Transform::BuildRotationTransform(Matrix::Transposed(Matrix::RotationFromZ(axis))) *
            Transform::BuildTranslationTransform(-start);
        report.area = static_cast<T>(area);
        report.volume = static_cast<T>(area * height);
        report.low = static_cast<T>(low);
        report.high = static_cast<T>(high);
        if (based) {
            report.transform =
                Transform::BuildTranslationTransform({0.0, 0.0, -low}) * report.transform;
            report.low = 0;
            report.high = static_cast<T>(height);
        }
        return report;
    });
}

#define SORVANE_INSTANTIATE(T)                                                                  \
    template HullPrismReport<T> MinimalHullPrism(const std::vector<VecBase<3, T>>&,             \
                                                 const std::vector<int>&, const VecBase<3, T>&, \
                                                 bool, bool);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Bounding
