// Cylindrical and conical holes: pairs of co-axial circles with a wall between them that faces the
// axis.

#include <Sorvane/MeshFeatures_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "features/HoleWalls_Impl.h"
#include "features/SoundTriples_Impl.h"
#include "mathbase/Parallel_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Impl::WallSurface;

/// Part of the radius at and above which two circles are the two ends of something.
constexpr double kLeastDepth = 0.0001;

bool IsAlong(const Vec3d& direction, const Vec3d& axis, double tolerance)
{
    const double angle = Vector::AngleBetween(direction, axis, kLengthFloor<double>);
    return angle <= tolerance || angle >= kPi<double> - tolerance;
}

/// Is there a wall on the cone between the two circles, facing the center of the first?
///
/// The points are tried one after the other: the first that fails decides, as it does for most
/// pairs that are no hole, and the arcs are what runs side by side.
bool HasWall(const WallSurface& surface, const MeshArc& from, const MeshArc& to)
{
    const Vec3d between = to.center - from.center;
    const double reach = Length(between) / 5;
    const auto directions = Impl::CircleDirections(from.normal);
    for (int circle = 1; circle <= Impl::kWallCircles; ++circle) {
        const double part = circle / 5.0;
        const Vec3d center = from.center + part * between;
        const double radius = from.radius + part * (to.radius - from.radius);
        for (const Vec3d& direction : directions) {
            if (!surface.NearestTo(center + radius * direction, reach, from.center).facesWatcher) {
                return false;
            }
        }
    }
    return true;
}

/// The other end of the hole that begins at arc i, or -1.
int PartnerOf(const Impl::ArcAxes& axes, const WallSurface& surface,
              const std::vector<MeshArc>& arcs, int i, double axisTolerance)
{
    const MeshArc& arc = arcs[static_cast<std::size_t>(i)];
    int partner = -1;
    double best = std::numeric_limits<double>::max();
    for (const int j : axes.MetByAxisOf(i)) {
        if (j <= i) {
            continue;
        }
        const MeshArc& other = arcs[static_cast<std::size_t>(j)];
        const Vec3d between = other.center - arc.center;
        const double distance = Length(between);
        if (distance < kLeastDepth * arc.radius || distance > best ||
            !IsAlong(between, arc.normal, axisTolerance) ||
            !IsAlong(between, other.normal, axisTolerance)) {
            continue;
        }
        if (HasWall(surface, arc, other)) {
            partner = j;
            best = SquaredLength(between); // and is compared with distances: see the header
        }
    }
    return partner;
}

} // namespace

std::vector<MeshHole> DetectDrillHoles(const Mesh::IndexedPointsBase<3, double>& mesh,
                                       double creaseAngle, double tolerance, double fraction,
                                       double axisTolerance)
{
    const std::vector<MeshArc> arcs = DetectArcs(mesh, creaseAngle, tolerance, fraction);
    if (arcs.empty()) {
        return {};
    }
    const Impl::SoundTriples sound(mesh);
    const WallSurface surface(sound.Mesh());
    const Impl::ArcAxes axes(arcs);
    std::vector<int> partners(arcs.size(), -1);
    Parallel::Impl::ApplyParallel(0, static_cast<int>(arcs.size()), [&](int i) {
        partners[static_cast<std::size_t>(i)] = PartnerOf(axes, surface, arcs, i, axisTolerance);
    });

    std::vector<MeshHole> holes;
    for (std::size_t i = 0; i < arcs.size(); ++i) {
        if (partners[i] < 0) {
            continue;
        }
        const MeshArc& first = arcs[i];
        const MeshArc& second = arcs[static_cast<std::size_t>(partners[i])];
        const bool isFirstOnTop = first.center.z() >= second.center.z();
        holes.push_back({isFirstOnTop ? first : second, isFirstOnTop ? second : first,
                         Length(first.center - second.center)});
    }
    return holes;
}

} // namespace Velk::Math::Sorvane::MeshUtils
