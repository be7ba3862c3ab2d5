// Cylindrical and conical holes: pairs of co-axial circles with a wall between them that faces the
// axis.

#include <Sorvane/MeshFeatures_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "features/HoleWalls_Impl.h"
#include "features/SoundTriples_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <array>
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

/// The walls that begin at one circle.
///
/// All points on the cone must find a wall, so the first that does not decides, whichever it is.
/// Where there is no wall to one circle there is mostly none to the next one at the same place, and
/// that is where the search begins.
class WallsFrom {
public:
    WallsFrom(const WallSurface& surface, const MeshArc& from)
        : surface_(&surface), from_(&from), directions_(Impl::CircleDirections(from.normal))
    {
    }

    /// Is there a wall on the cone to the other circle, facing the center of this one?
    bool HasWallTo(const MeshArc& to)
    {
        const Vec3d between = to.center - from_->center;
        const double reach = Length(between) / 5;
        const auto faces = [&](int place) {
            const double part = (place / Impl::kCirclePoints + 1) / 5.0;
            const Vec3d center = from_->center + part * between;
            const double radius = from_->radius + part * (to.radius - from_->radius);
            const Vec3d& direction = directions_[static_cast<std::size_t>(place) % kDirections];
            return surface_->NearestTo(center + radius * direction, reach, from_->center)
                .facesWatcher;
        };
        if (!faces(lastGap_)) {
            return false;
        }
        for (int place = 0; place < kPlaces; ++place) {
            if (place != lastGap_ && !faces(place)) {
                lastGap_ = place;
                return false;
            }
        }
        return true;
    }

private:
    static constexpr std::size_t kDirections = Impl::kCirclePoints;
    static constexpr int kPlaces = Impl::kWallCircles * Impl::kCirclePoints;

    const WallSurface* surface_;
    const MeshArc* from_;
    std::array<Vec3d, kDirections> directions_;
    int lastGap_ = 0; // place at which the last wall was not
};

/// A circle that may be the other end of a hole.
struct Candidate {
    int number;
    double distance;
    double squaredDistance;
};

/// The circles that may be the other end of the hole that begins at arc i, but for the wall;
/// ascending.
std::vector<Candidate> CandidatesFor(const Impl::ArcAxes& axes, const std::vector<MeshArc>& arcs,
                                     int i, double axisTolerance)
{
    const MeshArc& arc = arcs[static_cast<std::size_t>(i)];
    std::vector<Candidate> candidates;
    for (const int j : axes.MetByAxisOf(i)) {
        if (j <= i) {
            continue;
        }
        const MeshArc& other = arcs[static_cast<std::size_t>(j)];
        const Vec3d between = other.center - arc.center;
        const double distance = Length(between);
        if (distance >= kLeastDepth * arc.radius && IsAlong(between, arc.normal, axisTolerance) &&
            IsAlong(between, other.normal, axisTolerance)) {
            candidates.push_back({j, distance, SquaredLength(between)});
        }
    }
    return candidates;
}

/// The other end of the hole that begins at arc i, or -1.
///
/// Candidates are taken in ascending order; one with a wall takes the place of the one before if
/// its distance is not greater than `best`, the square of that one's distance (see the header). The
/// walls are what costs, and not all matter. In a run of candidates none of which is farther than
/// `best`, nor than the square of any distance before it in the run, each one with a wall is taken,
/// and the last one of them stays. So each run is searched from its end.
int PartnerOf(const Impl::ArcAxes& axes, const WallSurface& surface,
              const std::vector<MeshArc>& arcs, int i, double axisTolerance)
{
    WallsFrom walls(surface, arcs[static_cast<std::size_t>(i)]);
    const std::vector<Candidate> candidates = CandidatesFor(axes, arcs, i, axisTolerance);
    int partner = -1;
    double best = std::numeric_limits<double>::max();
    for (auto first = candidates.begin(); first != candidates.end();) {
        double farthest = best;
        auto last = first;
        for (; last != candidates.end() && last->distance <= farthest; ++last) {
            farthest = std::min(farthest, last->squaredDistance);
        }
        if (last == first) {
            ++first; // too far
            continue;
        }
        for (auto candidate = last; candidate-- != first;) {
            if (walls.HasWallTo(arcs[static_cast<std::size_t>(candidate->number)])) {
                partner = candidate->number;
                best = candidate->squaredDistance;
                break;
            }
        }
        first = last;
    }
    return partner;
}

} // namespace

std::vector<MeshHole> DetectDrillHoles(const Mesh::IndexedPointsBase<3, double>& mesh,
                                       double creaseAngle, double tolerance, double fraction,
                                       double axisTolerance)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<MeshHole> {
        const std::vector<MeshArc> arcs = [&] {
            const Progress::Impl::PhaseOfCall phase(0, 0.5);
            return DetectArcs(mesh, creaseAngle, tolerance, fraction);
        }();
        if (arcs.empty()) {
            return {};
        }
        const Impl::SoundTriples sound(mesh);
        const WallSurface surface(sound.Mesh());
        const Impl::ArcAxes axes(arcs);
        std::vector<int> partners(arcs.size(), -1);
        Progress::Impl::Check(0.7);
        const Progress::Impl::Phase phase(0.7, 1);
        Progress::Impl::Share share(arcs.size());
        Parallel::Impl::ApplyParallel(0, static_cast<int>(arcs.size()), [&](int i) {
            partners[static_cast<std::size_t>(i)] =
                PartnerOf(axes, surface, arcs, i, axisTolerance);
            share.Done();
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
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
