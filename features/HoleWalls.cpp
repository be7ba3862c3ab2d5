// The walls of round holes: is there a surface between two circles that faces their axis?

#include "features/HoleWalls_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>

#include <algorithm>
#include <cmath>

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

/// Part of the coordinates by which a box is larger than what is looked for in it.
constexpr double kBoxMargin = 1e-9;

Mesh::Triangle<3, double> TriangleOf(const IndexedMesh& mesh, int number)
{
    const int* const triple = &mesh.indices[3 * static_cast<std::size_t>(number)];
    return {mesh.points[static_cast<std::size_t>(triple[0])],
            mesh.points[static_cast<std::size_t>(triple[1])],
            mesh.points[static_cast<std::size_t>(triple[2])]};
}

} // namespace

std::array<Vec3d, kCirclePoints> CircleDirections(const Vec3d& axis)
{
    const TransformBase<3> frame = Transform::BuildTransformAxisOrigin(axis, Vec3d{});
    std::array<Vec3d, kCirclePoints> directions;
    for (std::size_t i = 0; i < directions.size(); ++i) {
        const double angle = kTwoPi<double> * static_cast<double>(i) / kCirclePoints;
        directions[i] = frame * Vec3d(std::cos(angle), std::sin(angle), 0);
    }
    return directions;
}

WallSurface::WallSurface(const IndexedMesh& mesh) : mesh_(&mesh)
{
    const std::vector<Vec3d> normals = Mesh::Normals(mesh);
    for (std::size_t t = 0; t < normals.size(); ++t) {
        Progress::Impl::CheckStep(t);
        if (normals[t] != Vec3d{}) {
            const auto [a, b, c] = TriangleOf(mesh, static_cast<int>(t));
            tree_.AddTriangle(a, b, c, static_cast<int>(t));
        }
    }
    tree_.Build();
}

WallSurface::Nearest WallSurface::NearestTo(const Vec3d& from, double reach,
                                            const Vec3d& watcher) const
{
    const auto closest = tree_.ClosestPoint(from, reach);
    if (closest.id < 0) {
        return {};
    }
    Nearest nearest;
    nearest.isFound = true;
    nearest.point = closest.point;
    nearest.triangle = TriangleOf(*mesh_, closest.id);
    nearest.normal = Mesh::AreaNormal(nearest.triangle);
    nearest.facesWatcher = (watcher - closest.point) * nearest.normal > 0;
    nearest.distance = Length(closest.point - from);
    return nearest;
}

std::vector<WallSurface::Crossing>
WallSurface::Crossings(const Vec3d& origin, const Vec3d& direction, double from, double to) const
{
    // The stretch's own box, larger than any rounding of what lies on it: a line through all of a
    // row of plates would meet them all.
    Bounding::AxisAlignedBoundingBox<3, double> box;
    box.Grow(origin + from * direction);
    box.Grow(origin + to * direction);
    double size = to - from;
    for (int i = 0; i < 3; ++i) {
        size = std::max({size, std::fabs(box.min[i]), std::fabs(box.max[i])});
    }
    const double margin = kBoxMargin * size;
    const Vec3d corner(margin, margin, margin);
    box.Grow(box.min - corner);
    box.Grow(box.max + corner);
    std::vector<Crossing> crossings;
    for (const int number : tree_.GetPossibleBoxCollisions(box)) {
        const auto triangle = TriangleOf(*mesh_, number);
        double distance = 0;
        if (Intersect::RayTriangleHitPoint(triangle[0], triangle[1], triangle[2], origin, direction,
                                           nullptr, &distance, true, kLengthFloor<double>) &&
            distance >= from && distance <= to) {
            crossings.push_back({distance, direction * Mesh::AreaNormal(triangle) < 0});
        }
    }
    std::sort(crossings.begin(), crossings.end(),
              [](const Crossing& a, const Crossing& b) { return a.distance < b.distance; });
    return crossings;
}

ArcAxes::ArcAxes(const std::vector<MeshArc>& arcs) : arcs_(&arcs)
{
    for (std::size_t i = 0; i < arcs.size(); ++i) {
        const TransformBase<3> frame =
            Transform::BuildTransformAxisOrigin(arcs[i].normal, arcs[i].center);
        const double r = arcs[i].radius;
        const Vec3d a = frame * Vec3d(-r, -r, 0);
        const Vec3d b = frame * Vec3d(r, -r, 0);
        const Vec3d c = frame * Vec3d(r, r, 0);
        const Vec3d d = frame * Vec3d(-r, r, 0);
        squares_.AddTriangle(a, b, c, static_cast<int>(i));
        squares_.AddTriangle(a, c, d, static_cast<int>(i));
    }
    squares_.Build();
}

std::vector<int> ArcAxes::MetByAxisOf(int i) const
{
    const MeshArc& arc = (*arcs_)[static_cast<std::size_t>(i)];
    std::vector<int> numbers = squares_.LineHits(arc.center, arc.normal);
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
