// Circular arcs among the sharp edges and boundaries of a mesh.
//
// The edges are linked into chains, each chain is fitted with a circle in its own plane, and arcs
// of the same circle are added up.

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include "features/CreaseGraph_Impl.h"
#include "features/SoundTriples_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

/// A chain of so few points is no arc: any three lie on a circle.
constexpr std::size_t kFewPoints = 3;
/// Part of the radius within which two circles are one.
constexpr double kSameCircle = 0.05;

using Points = std::vector<Vec3d>;

/// Largest admissible radius: a circle that fits into the box of the mesh has no larger one.
double LargestRadius(const Points& points)
{
    Bounding::AxisAlignedBoundingBox<3, double> box;
    for (const Vec3d& point : points) {
        if (Math::Impl::IsUsable(point)) {
            box.Grow(point);
        }
    }
    return std::max({(box.max[0] - box.min[0]) / 2, (box.max[1] - box.min[1]) / 2,
                     (box.max[2] - box.min[2]) / 2});
}

/// The chain in the coordinates of its own plane, and the way back; none for points on a line.
struct PlaneChain {
    std::vector<Vec2d> points;
    TransformBase<3> toSpace;
    Vec3d normal;
};

std::optional<PlaneChain> InItsPlane(const Points& chain)
{
    Vec3d origin;
    PlaneChain plane;
    Transform::PlaneOfPolygon(chain, origin, plane.normal);
    if (plane.normal == Vec3d{}) {
        return {};
    }
    plane.toSpace = Transform::BuildTransformAxisOrigin(plane.normal, origin);
    MatBase<4, 4, double> inverse(plane.toSpace);
    if (!Matrix::Invert(inverse, kInversionFloor)) {
        return {};
    }
    const TransformBase<3> toPlane(inverse);
    plane.points.reserve(chain.size());
    for (const Vec3d& point : chain) {
        const Vec3d local = toPlane * point;
        plane.points.push_back({local.x(), local.y()});
    }
    return plane;
}

/// How much of the circle round `center` the points run over.
double SweepOf(const std::vector<Vec2d>& points, const Vec2d& center)
{
    const Vec2d first = points.front() - center;
    const auto angleTo = [&](const Vec2d& point) {
        return std::fabs(Vector::AngleBetween(first, point - center, kLengthFloor<double>));
    };
    const double toLast = angleTo(points.back());
    const double toMiddle = angleTo(points[points.size() / 2]);
    return toMiddle > toLast ? kTwoPi<double> - toLast : toLast;
}

/// The arc of a chain; radius 0 for none.
MeshArc FittedArc(const Points& chain, double tolerance, double largestRadius)
{
    const std::optional<PlaneChain> plane = InItsPlane(chain);
    if (!plane) {
        return {};
    }
    double error = 0;
    const ArcBase<double> circle = Geometry::FitCircle<0, double>(plane->points, &error, nullptr);
    const double radius = Length(circle.start - circle.center);
    // In this form, which is false for NaN.
    if (!(error <= tolerance && radius <= largestRadius)) {
        return {};
    }
    return {plane->toSpace * Vec3d(circle.center.x(), circle.center.y(), 0), plane->normal, radius,
            SweepOf(plane->points, circle.center) * radius};
}

/// By center and radius, where what is as good as equal is equal. That is no strict weak order:
/// equal to one another does not make equal to a third.
bool IsBefore(const MeshArc& a, const MeshArc& b)
{
    const double slack = kSameCircle * std::max(a.radius, b.radius);
    const double first[] = {a.center.x(), a.center.y(), a.center.z(), a.radius};
    const double second[] = {b.center.x(), b.center.y(), b.center.z(), b.radius};
    for (int i = 0; i < 4; ++i) {
        if (!(std::fabs(first[i] - second[i]) <= slack)) {
            return first[i] < second[i];
        }
    }
    return false;
}

/// Stable merge sort, which any comparison leaves in bounds; std::sort asks for a strict weak
/// order.
void SortArcs(std::vector<MeshArc>& arcs)
{
    const auto count = static_cast<std::int64_t>(arcs.size());
    std::vector<MeshArc> other(arcs.size());
    for (std::int64_t width = 1; width < count; width *= 2) {
        Parallel::Impl::MergeRuns(arcs.begin(), other.begin(), 0, count, width, IsBefore);
        arcs.swap(other);
    }
}

bool AreOnOneCircle(const MeshArc& a, const MeshArc& b)
{
    const double slack = kSameCircle * a.radius;
    return std::fabs(a.center.x() - b.center.x()) <= slack &&
           std::fabs(a.center.y() - b.center.y()) <= slack &&
           std::fabs(a.center.z() - b.center.z()) <= slack &&
           std::fabs(a.radius - b.radius) <= slack;
}

/// Neighbors in the order that are parts of one circle become one arc, the last of them; the others
/// are left with length 0.
void AddUpCircles(std::vector<MeshArc>& arcs)
{
    for (std::size_t i = 0; i + 1 < arcs.size(); ++i) {
        MeshArc& arc = arcs[i];
        MeshArc& next = arcs[i + 1];
        if (AreOnOneCircle(arc, next) && arc.length + next.length <= kTwoPi<double> * arc.radius) {
            next.length += arc.length;
            arc.length = 0;
        }
    }
}

} // namespace

std::vector<MeshArc> DetectArcs(const Mesh::IndexedPointsBase<3, double>& mesh, double creaseAngle,
                                double tolerance, double fraction)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<MeshArc> {
        if (Mesh::IsEmpty(mesh)) {
            return {};
        }
        const Impl::SoundTriples sound(mesh);
        std::vector<std::pair<int, int>> edges = DetectSharpEdges(sound.Mesh(), creaseAngle, true);
        const std::vector<std::pair<int, int>> boundary = Mesh::BoundaryEdges(sound.Mesh());
        edges.insert(edges.end(), boundary.begin(), boundary.end());

        Progress::Impl::Check(0.4);
        const std::vector<Points> chains =
            Impl::CreaseGraph(sound.Mesh(), edges).Chains(kFewPoints);
        Progress::Impl::Check(0.6);
        const double largestRadius = LargestRadius(mesh.points);
        std::vector<MeshArc> arcs(chains.size());
        Parallel::Impl::ApplyParallel(std::size_t{0}, chains.size(), [&](std::size_t i) {
            arcs[i] = FittedArc(chains[i], tolerance, largestRadius);
        });
        std::erase_if(arcs,
                      [](const MeshArc& arc) { return !(arc.radius > kLengthFloor<double>); });

        SortArcs(arcs);
        AddUpCircles(arcs);
        std::erase_if(arcs, [&](const MeshArc& arc) {
            return !(arc.length >= fraction * kTwoPi<double> * arc.radius);
        });
        return arcs;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
