// Holes of several diameters on one axis: walls and shoulders between circles, joined to paths.
//
// 1. The circles of the mesh's sharp edges, axis by axis.
// 2. For each circle the wall on either side of it, to the nearest circle that has one with it.
// 3. Shoulders: flat rings between a wide wall on one side and a narrow one on the other.
// 4. A circle has at most one wall on each side, or one wall and one shoulder, so what they join
//    are paths. Each is followed from end to end, and its ends are looked at: mouth or floor.

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
#include <iterator>
#include <optional>
#include <tuple>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Impl::WallSurface;

/// Part of the smaller radius by which two centers may lie off a common axis.
constexpr double kOffAxis = 0.05;
/// Part of the radius at which an end is looked at, and how far beyond it a floor may lie: at this
/// place the cone of a 60 degree point is 0.35 of the radius deep.
constexpr double kFloorRadius = 0.8;
constexpr double kFloorReach = 0.5;
/// Of the 8 lines at an end so many must meet a floor.
constexpr int kFloorLines = 6;
/// A floor that is deeper on the axis by more than this part of the radius is a point.
constexpr double kPointDepth = 0.05;
/// Directions within this angle (radians) of the axis are along it, for the flat of a shoulder.
constexpr double kFlatShoulder = 0.3;

/// Cosine of 60 degrees, within which a facet of a wall faces the axis: one flat of five is turned
/// away from the round wall by 36 degrees at its edges.
constexpr double kFacesAxis = 0.5;
/// Part of the radius by which rounding may take a corner off a wall.
constexpr double kRounding = 1e-9;

/// So many circles are tried on either side of one, and at its height.
constexpr std::size_t kMostCircles = 16;

constexpr int kNone = -1;

/// What the searches share.
struct Circles {
    std::vector<MeshArc> arcs;
    double creaseAngle;
    double tolerance;
    double fraction;
    double axisTolerance;

    const MeshArc& operator[](int i) const { return arcs[static_cast<std::size_t>(i)]; }

    /// Height of the arc that a facet of a wall cuts off at most.
    double Sagitta(double radius) const
    {
        const double half = std::clamp(creaseAngle, 0.0, kPi<double> / 2) / 2;
        return radius * (1 - std::cos(half));
    }
    /// Distance between a wall and its ideal that facets and fit account for.
    double WallReach(double radius) const { return 2 * (Sagitta(radius) + tolerance); }
    /// Below this two lengths are the same.
    double Same() const { return 2 * tolerance; }
};

/// What joins a circle to others. The two sides are those of its axis.
struct Links {
    std::array<int, 2> wall{kNone, kNone};
    int shoulder = kNone;
};

bool ShareAxis(const MeshArc& a, const MeshArc& b, double axisTolerance)
{
    const double angle = Vector::AngleBetween(a.normal, b.normal, kLengthFloor<double>);
    const Vec3d between = b.center - a.center;
    const double offAxis = std::min(Length(between ^ a.normal), Length(between ^ b.normal));
    return (angle <= axisTolerance || angle >= kPi<double> - axisTolerance) &&
           offAxis <= kOffAxis * std::min(a.radius, b.radius);
}

/// The cone through two circles of one axis, as a wall is to lie on it.
class Cone {
public:
    Cone(const MeshArc& from, const MeshArc& to) : from_(&from)
    {
        // The line of the centers leans as much as the circles are off their axis, so that it is
        // no axis for two circles next to each other. The normal is, and heights go along it.
        axis_ = (to.center - from.center) * from.normal < 0 ? -from.normal : from.normal;
        const double height = (to.center - from.center) * axis_;
        const double widening = to.radius - from.radius;
        const double length = std::hypot(height, widening);
        height_ = height / length;
        widening_ = widening / length;
        drift_ = (to.center - from.center - height * axis_) / height;
    }

    /// Along the axis, toward the second circle, from the first one.
    double HeightOf(const Vec3d& point) const { return (point - from_->center) * axis_; }

    /// How far off the cone a point is.
    double DistanceTo(double height, double distanceFromAxis) const
    {
        return std::fabs((distanceFromAxis - from_->radius) * height_ - height * widening_);
    }
    double DistanceTo(const Vec3d& point) const
    {
        return DistanceTo(HeightOf(point), Length(FromAxis(point)));
    }

    /// Unit normal of the cone toward its axis, where it is nearest to the point; zero on the axis.
    Vec3d InwardAt(const Vec3d& point) const
    {
        const Vec3d out = Normalized(FromAxis(point), 0.0);
        return out == Vec3d{} ? out : widening_ * axis_ - height_ * out;
    }

private:
    /// From the axis to the point, square to it.
    Vec3d FromAxis(const Vec3d& point) const
    {
        const double height = HeightOf(point);
        return point - from_->center - height * axis_ - height * drift_;
    }

    const MeshArc* from_;
    Vec3d axis_;
    Vec3d drift_;   // of the center sideways, for each unit of height
    double height_; // and the widening, for each unit of a line from rim to rim
    double widening_;
};

/// Is there a wall between the circles that faces the axis, most of the way round?
///
/// A facet near the cone need not be of it: the flanks and the floor of a narrow or shallow groove
/// are near the bore that it interrupts. Those of the cone have their corners on it. Between them a
/// facet is nearer to the axis than the cone by up to its sagitta, and what begins at a rim of the
/// wall may be nearer to the point on the cone: then the point by so much inward is asked.
bool HasWall(const WallSurface& surface, const Circles& circles, const MeshArc& from,
             const MeshArc& to)
{
    const Vec3d between = to.center - from.center;
    const auto directions = Impl::CircleDirections(from.normal);
    const Cone cone(from, to);
    const double slack = circles.Same() + kRounding * std::max(from.radius, to.radius);
    const auto isOfCone = [&](const Vec3d& center, const Vec3d& spoke) {
        const Vec3d point = center + spoke;
        const double reach = circles.WallReach(Length(spoke));
        const auto nearest = surface.NearestTo(point, reach, center);
        return nearest.isFound &&
               nearest.normal * cone.InwardAt(point) >= kFacesAxis * Length(nearest.normal) &&
               std::all_of(nearest.triangle.begin(), nearest.triangle.end(),
                           [&](const Vec3d& corner) { return cone.DistanceTo(corner) <= slack; });
    };
    const double wanted = circles.fraction * (Impl::kWallCircles * Impl::kCirclePoints);
    int found = 0;
    int left = Impl::kWallCircles * Impl::kCirclePoints;
    for (int circle = 1; circle <= Impl::kWallCircles; ++circle) {
        const double part = circle / 5.0;
        const Vec3d center = from.center + part * between;
        const double radius = from.radius + part * (to.radius - from.radius);
        for (const Vec3d& direction : directions) {
            found += isOfCone(center, radius * direction) ||
                             isOfCone(center, (radius - circles.Sagitta(radius)) * direction)
                         ? 1
                         : 0;
            --left;
            if (!(found + left >= wanted)) {
                return false;
            }
        }
    }
    return true;
}

/// A circle on an axis that it shares with others.
struct OnAxis {
    int number;
    double height; // along the normal of the lowest of them
};
using Axis = std::vector<OnAxis>;

/// The circles of each axis, by height. A circle is of the axis of the lowest one that it shares an
/// axis with.
std::vector<Axis> AxesOf(const Circles& circles)
{
    const Impl::ArcAxes lines(circles.arcs);
    std::vector<bool> isTaken(circles.arcs.size());
    std::vector<Axis> axes;
    for (int i = 0; i < static_cast<int>(circles.arcs.size()); ++i) {
        if (isTaken[static_cast<std::size_t>(i)]) {
            continue;
        }
        const MeshArc& lowest = circles[i];
        Axis& axis = axes.emplace_back(Axis{{i, 0.0}});
        isTaken[static_cast<std::size_t>(i)] = true;
        for (const int j : lines.MetByAxisOf(i)) {
            if (!isTaken[static_cast<std::size_t>(j)] &&
                ShareAxis(lowest, circles[j], circles.axisTolerance)) {
                isTaken[static_cast<std::size_t>(j)] = true;
                axis.push_back({j, (circles[j].center - lowest.center) * lowest.normal});
            }
        }
        std::sort(axis.begin(), axis.end(), [](const OnAxis& a, const OnAxis& b) {
            return std::tie(a.height, a.number) < std::tie(b.height, b.number);
        });
    }
    return axes;
}

/// The circles that may be joined to one: those at its height, of the most similar radius first,
/// and those on either side, nearest first. Side 0 is that of the normal of the axis.
struct Company {
    std::vector<int> level;
    std::array<std::vector<int>, 2> sides;
};
Company CompanyOf(const Circles& circles, const Axis& axis, std::size_t place)
{
    const double own = axis[place].height;
    const double radius = circles[axis[place].number].radius;
    const auto bySimilarity = [&](const OnAxis& a, const OnAxis& b) {
        return std::fabs(circles[a.number].radius - radius) <
               std::fabs(circles[b.number].radius - radius);
    };
    Axis level;
    std::array<Axis, 2> sides;
    for (const int step : {1, -1}) {
        Axis& side = sides[step > 0 ? 0 : 1];
        for (std::size_t at = place + static_cast<std::size_t>(step);
             at < axis.size() && side.size() < kMostCircles; // before the first is behind the last
             at += static_cast<std::size_t>(step)) {
            const bool isLevel = std::fabs(axis[at].height - own) <= circles.Same();
            (isLevel ? level : side).push_back(axis[at]);
        }
        // Circles at one height differ in it by rounding: these go by their radius.
        for (auto first = side.begin(); first != side.end();) {
            const auto last = std::find_if(first, side.end(), [&](const OnAxis& other) {
                return std::fabs(other.height - first->height) > circles.Same();
            });
            std::stable_sort(first, last, bySimilarity);
            first = last;
        }
    }
    std::stable_sort(level.begin(), level.end(), bySimilarity);
    level.resize(std::min(level.size(), kMostCircles));

    Company company;
    const auto numbers = [](const Axis& from, std::vector<int>& to) {
        std::transform(from.begin(), from.end(), std::back_inserter(to),
                       [](const OnAxis& circle) { return circle.number; });
    };
    numbers(level, company.level);
    numbers(sides[0], company.sides[0]);
    numbers(sides[1], company.sides[1]);
    return company;
}

/// Is the ring between two circles at one height flat, facing along `up`?
///
/// Between the vertices of its rim the ring is nearer to the axis than the circle, perhaps by more
/// than it is wide, so its points are counted inward from the rim itself.
bool HasShoulder(const WallSurface& surface, const Circles& circles, const MeshArc& wide,
                 const MeshArc& narrow, const Vec3d& up)
{
    int found = 0;
    for (const Vec3d& direction : Impl::CircleDirections(wide.normal)) {
        const auto rim = surface.NearestTo(wide.center + wide.radius * direction,
                                           circles.WallReach(wide.radius), wide.center);
        if (!rim.isFound) {
            continue;
        }
        const Vec3d outer = wide.center + ((rim.point - wide.center) * direction) * direction;
        const Vec3d inward =
            narrow.center - wide.center - (wide.radius - narrow.radius) * direction;
        for (const double part : {1.0 / 3, 2.0 / 3}) {
            const Vec3d point = outer + part * inward;
            const auto nearest = surface.NearestTo(point, circles.WallReach(0), point + up);
            found += nearest.isFound && Vector::AngleBetween(nearest.normal, up,
                                                             kLengthFloor<double>) < kFlatShoulder
                         ? 1
                         : 0;
        }
    }
    return found >= circles.fraction * (2 * Impl::kCirclePoints);
}

/// The walls that both of their circles choose, and the shoulders between them.
class StackLinks {
public:
    StackLinks(const Circles& circles, const WallSurface& surface)
        : circles_(&circles), surface_(&surface)
    {
        const int count = static_cast<int>(circles.arcs.size());
        const std::vector<Axis> axes = AxesOf(circles);
        std::vector<std::pair<const Axis*, std::size_t>> places(circles.arcs.size());
        for (const Axis& axis : axes) {
            for (std::size_t place = 0; place < axis.size(); ++place) {
                places[static_cast<std::size_t>(axis[place].number)] = {&axis, place};
            }
        }
        std::vector<Links> wishes(circles.arcs.size());
        std::vector<std::vector<int>> levels(circles.arcs.size());
        Parallel::Impl::ApplyParallel(0, count, [&](int i) {
            const auto& [axis, place] = places[static_cast<std::size_t>(i)];
            Company company = CompanyOf(circles, *axis, place);
            for (std::size_t side = 0; side < 2; ++side) {
                wishes[static_cast<std::size_t>(i)].wall[side] = WallTo(i, company.sides[side]);
            }
            levels[static_cast<std::size_t>(i)] = std::move(company.level);
        });
        links_.resize(circles.arcs.size());
        for (int i = 0; i < count; ++i) {
            for (std::size_t side = 0; side < 2; ++side) {
                const int other = wishes[static_cast<std::size_t>(i)].wall[side];
                if (other != kNone) {
                    const auto& back = wishes[static_cast<std::size_t>(other)].wall;
                    if (back[0] == i || back[1] == i) {
                        links_[static_cast<std::size_t>(i)].wall[side] = other;
                    }
                }
            }
        }
        for (int i = 0; i < count; ++i) {
            for (const int other : levels[static_cast<std::size_t>(i)]) {
                JoinAcrossShoulder(i, other);
            }
        }
    }

    /// The one or two circles next to one in its hole; none for a circle that is no hole's.
    std::vector<int> Next(int i) const
    {
        std::vector<int> next;
        const Links& links = links_[static_cast<std::size_t>(i)];
        for (const int other : {links.wall[0], links.wall[1], links.shoulder}) {
            if (other != kNone) {
                next.push_back(other);
            }
        }
        return next;
    }

    bool IsShoulder(int i, int j) const
    {
        return links_[static_cast<std::size_t>(i)].shoulder == j;
    }

private:
    /// The first of the others, nearest first, that has a wall with circle i.
    int WallTo(int i, const std::vector<int>& others) const
    {
        const auto found = std::find_if(others.begin(), others.end(), [&](int other) {
            return !IsInterrupted(i, other, others) &&
                   HasWall(*surface_, *circles_, (*circles_)[i], (*circles_)[other]);
        });
        return found != others.end() ? *found : kNone;
    }

    /// Does a nearer circle lie on the cone from i to the other? Something ends there, and the
    /// points at which a wall is looked for may all be on what comes before and behind it.
    bool IsInterrupted(int i, int other, const std::vector<int>& others) const
    {
        const Cone cone((*circles_)[i], (*circles_)[other]);
        const double height = cone.HeightOf((*circles_)[other].center);
        return std::any_of(others.begin(), others.end(), [&](int between) {
            const MeshArc& arc = (*circles_)[between];
            return cone.HeightOf(arc.center) < height - circles_->Same() &&
                   cone.DistanceTo(cone.HeightOf(arc.center), arc.radius) <= circles_->Same();
        });
    }

    /// The direction from a circle along its only wall; none for a circle of no wall, or two.
    std::optional<Vec3d> AlongWall(int i) const
    {
        const auto& wall = links_[static_cast<std::size_t>(i)].wall;
        if ((wall[0] == kNone) == (wall[1] == kNone)) {
            return {};
        }
        const MeshArc& arc = (*circles_)[i];
        const MeshArc& other = (*circles_)[wall[0] != kNone ? wall[0] : wall[1]];
        return (other.center - arc.center) * arc.normal > 0 ? arc.normal : -arc.normal;
    }

    void JoinAcrossShoulder(int wide, int narrow)
    {
        Links& wideLinks = links_[static_cast<std::size_t>(wide)];
        Links& narrowLinks = links_[static_cast<std::size_t>(narrow)];
        const auto up = AlongWall(wide);
        const auto down = AlongWall(narrow);
        if (wideLinks.shoulder == kNone && narrowLinks.shoulder == kNone && up && down &&
            *up * *down < 0 && (*circles_)[wide].radius > (*circles_)[narrow].radius &&
            HasShoulder(*surface_, *circles_, (*circles_)[wide], (*circles_)[narrow], *up)) {
            wideLinks.shoulder = narrow;
            narrowLinks.shoulder = wide;
        }
    }

    const Circles* circles_;
    const WallSurface* surface_;
    std::vector<Links> links_;
};

/// The circles of the hole that ends with circle `first`, from there on.
std::vector<int> PathFrom(const StackLinks& links, int first)
{
    std::vector<int> path{first};
    int before = kNone;
    for (int current = first;;) {
        int next = kNone;
        for (const int other : links.Next(current)) {
            next = other != before ? other : next;
        }
        if (next == kNone || next == first) {
            return path;
        }
        path.push_back(next);
        before = current;
        current = next;
    }
}

/// How deep below the circle its hole is closed on the axis; none for an open end. `outward` is the
/// direction along the axis that leaves the hole.
std::optional<double> FloorBelow(const WallSurface& surface, const Circles& circles,
                                 const MeshArc& arc, const Vec3d& outward)
{
    const auto depthAt = [&](const Vec3d& point, double reach) -> std::optional<double> {
        const auto crossings =
            surface.Crossings(point, outward, -circles.Same(), reach + circles.Same());
        const auto floor = std::find_if(crossings.begin(), crossings.end(),
                                        [](const auto& crossing) { return crossing.facesStart; });
        return floor != crossings.end() ? std::optional<double>(floor->distance) : std::nullopt;
    };
    int floors = 0;
    for (const Vec3d& direction : Impl::CircleDirections(arc.normal)) {
        const Vec3d point = arc.center + kFloorRadius * arc.radius * direction;
        floors += depthAt(point, kFloorReach * arc.radius) ? 1 : 0;
    }
    if (floors < kFloorLines) {
        return std::nullopt;
    }
    // A cone through what was found is no deeper on the axis than this.
    const double deepest = kFloorReach / (1 - kFloorRadius) * arc.radius;
    return depthAt(arc.center, deepest).value_or(0.0);
}

/// Does the hole have its mouth at a rather than at b, both being open?
bool IsRatherMouth(const MeshArc& a, const MeshArc& b, double same)
{
    if (std::fabs(a.radius - b.radius) > same) {
        return a.radius > b.radius;
    }
    return std::tuple(a.center.z(), a.center.y(), a.center.x()) >
           std::tuple(b.center.z(), b.center.y(), b.center.x());
}

/// The record of a path, or none for a hollow without a mouth.
std::optional<DrillHoleStack> StackOf(const Circles& circles, const WallSurface& surface,
                                      const StackLinks& links, std::vector<int> path)
{
    const int widest = *std::max_element(path.begin(), path.end(), [&](int a, int b) {
        return circles[a].radius < circles[b].radius;
    });
    // The widest circle knows the axis best: short holes have centers too near each other.
    Vec3d axis = circles[widest].normal;
    if (axis * (circles[path.back()].center - circles[path.front()].center) < 0) {
        axis = -axis;
    }
    std::optional<double> floor = FloorBelow(surface, circles, circles[path.back()], axis);
    const bool isMouthClosed =
        FloorBelow(surface, circles, circles[path.front()], -axis).has_value();
    if (floor && isMouthClosed) {
        return {};
    }
    if (isMouthClosed ||
        (!floor && IsRatherMouth(circles[path.back()], circles[path.front()], circles.Same()))) {
        std::reverse(path.begin(), path.end());
        axis = -axis;
        floor = FloorBelow(surface, circles, circles[path.back()], axis);
    }

    DrillHoleStack stack;
    stack.entry = circles[path.front()].center;
    stack.axis = axis;
    const auto depthOf = [&](int i) { return (circles[i].center - stack.entry) * axis; };
    for (std::size_t k = 0; k + 1 < path.size(); ++k) {
        const MeshArc& upper = circles[path[k]];
        const MeshArc& lower = circles[path[k + 1]];
        if (links.IsShoulder(path[k], path[k + 1])) {
            stack.isCounterbored =
                stack.isCounterbored ||
                (upper.radius > lower.radius && !stack.steps.empty() && !stack.steps.back().isCone);
        } else {
            const bool isCone = std::fabs(upper.radius - lower.radius) > circles.Same();
            stack.steps.push_back({2 * upper.radius, 2 * lower.radius, depthOf(path[k]),
                                   depthOf(path[k + 1]), isCone});
        }
    }
    stack.isCountersunk = stack.steps.size() > 1 && stack.steps[0].isCone &&
                          stack.steps[0].endDiameter < stack.steps[0].diameter &&
                          !links.IsShoulder(path[1], path[2]);
    stack.tipDepth = depthOf(path.back()) + floor.value_or(0.0);
    if (floor) {
        const double point = kPointDepth * circles[path.back()].radius + circles.Same();
        stack.end = *floor > point ? HoleEnd::Pointed : HoleEnd::Flat;
    }
    return stack;
}

} // namespace

std::vector<DrillHoleStack> DrillHoleStacks(const Mesh::IndexedPointsBase<3, double>& mesh,
                                            double creaseAngle, double tolerance, double fraction,
                                            double axisTolerance)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<DrillHoleStack> {
        const Circles circles{DetectArcs(mesh, creaseAngle, tolerance, fraction), creaseAngle,
                              tolerance, fraction, axisTolerance};
        if (circles.arcs.empty()) {
            return {};
        }
        const Impl::SoundTriples sound(mesh);
        const WallSurface surface(sound.Mesh());
        const StackLinks links(circles, surface);

        std::vector<DrillHoleStack> stacks;
        std::vector<bool> isDone(circles.arcs.size());
        const Progress::Impl::Phase phase(0.7, 1);
        for (int i = 0; i < static_cast<int>(circles.arcs.size()); ++i) {
            Progress::Impl::Check(static_cast<double>(i) /
                                  static_cast<double>(circles.arcs.size()));
            if (isDone[static_cast<std::size_t>(i)] || links.Next(i).empty()) {
                continue;
            }
            const std::vector<int> path = PathFrom(links, PathFrom(links, i).back());
            for (const int arc : path) {
                isDone[static_cast<std::size_t>(arc)] = true;
            }
            if (const auto stack = StackOf(circles, surface, links, path)) {
                stacks.push_back(*stack);
            }
        }
        return stacks;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
