// Regions of the C interface.

#include "Planar.h"

#include <Sorvane/Minkowski_E.h>
#include <Sorvane/PlanarRegions_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>

using namespace SorvaneC;
namespace Planar = Velk::Math::Sorvane::Planar;
namespace Intersect = Velk::Math::Intersect;
namespace Vector = Velk::Math::Vector;

namespace SorvaneC {

std::unique_ptr<sorvane_region> NewRegion(const Polylines& loops, double resolution)
{
    auto region = std::make_unique<sorvane_region>();
    region->loops.dimension = 2;
    for (const Polyline& loop : loops) {
        AddPolyline(region->loops, loop);
    }
    region->resolution = resolution;
    region->isUnited = true;
    return region;
}

namespace {

const sorvane_region& RegionOf(const sorvane_region* region, const char* name = "region")
{
    return Required(region, name);
}

/// The loops as they are, each with its first point again at the end.
Polylines LoopsOf(const sorvane_region& region)
{
    Polylines loops(region.loops.closed.size());
    for (std::size_t i = 0; i < loops.size(); ++i) {
        loops[i] = PolylineOf(region.loops, i);
        if (!loops[i].empty()) {
            loops[i].push_back(loops[i].front());
        }
    }
    return loops;
}

/// Loops no two of which cross, outer ones counter-clockwise; `resolution` is what that cost.
Polylines UnitedLoopsOf(const sorvane_region& region, double& resolution)
{
    resolution = 0;
    return region.isUnited ? LoopsOf(region) : Planar::Union<double>(LoopsOf(region), &resolution);
}

double AreaOf(const Polylines& loops)
{
    double area = 0;
    for (const Polyline& loop : loops) {
        area += Vector::SignedArea(loop);
    }
    return area;
}

using Boolean = Polylines (*)(const Polylines& a, const Polylines& b, double* resolution);

sorvane_status Combine(Boolean operation, const sorvane_region* a, const sorvane_region* b, sorvane_region** result,
                       sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        const sorvane_region& first = RegionOf(a, "a");
        const sorvane_region& second = RegionOf(b, "b");
        double resolution = 0;
        const Polylines loops = operation(LoopsOf(first), LoopsOf(second), &resolution);
        return Made(result, NewRegion(loops, resolution));
    });
}

/// The polygon of a tool, counter-clockwise and without its first point again; two points as a way there and back.
Polyline ToolOf(const double* tool, std::size_t count, std::size_t least)
{
    Polyline polygon = FinitePoints(tool, count, "tool");
    if (polygon.size() > 1 && polygon.front() == polygon.back()) {
        polygon.pop_back();
    }
    if (polygon.size() < least) {
        BadArgument("tool has " + std::to_string(polygon.size()) + " points; it must have at least " +
                    std::to_string(least));
    }
    if (Vector::SignedArea(polygon) < 0) {
        std::reverse(polygon.begin(), polygon.end());
    }
    if (polygon.size() == 2) {
        polygon.push_back(polygon.front());
    }
    return polygon;
}

/// A regular polygon round the circle about the origin, no farther from it than `tolerance`, with edges across the axes.
Polyline DiscOf(double radius, double tolerance)
{
    constexpr double kFinest = 1e-6; // of the radius
    constexpr double kPi = 3.141592653589793;
    const double ratio = 1 / (1 + std::max(tolerance / radius, kFinest));
    const double corners = std::ceil(kPi / std::acos(ratio) / 4) * 4;
    const auto count = static_cast<std::size_t>(std::max(corners, 8.0));
    Polyline disc;
    disc.reserve(count);
    const double half = kPi / static_cast<double>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double angle = (2 * static_cast<double>(i) + 1) * half;
        disc.emplace_back(radius / std::cos(half) * std::cos(angle), radius / std::cos(half) * std::sin(angle));
    }
    return disc;
}

// --- edges of a region ----------------------------------------------------------------------------------------

struct Edge {
    Vec2d start;
    Vec2d end;
};

struct Box {
    Vec2d low{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
    Vec2d high{-std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};

    void Add(const Vec2d& point)
    {
        for (int axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    }
};

/// The edges of a region in a balanced hierarchy of boxes. Of its own: the C interface sees the public headers
/// alone, and the public trees tell nothing of a whole subtree, which is what keeps `Contains` short.
class EdgeTree {
public:
    explicit EdgeTree(const Polylines& loops) : isReversed_(AreaOf(loops) < 0)
    {
        for (const Polyline& loop : loops) {
            for (std::size_t i = 1; i < loop.size(); ++i) {
                edges_.push_back({loop[i - 1], loop[i]});
            }
        }
        boxes_.resize(edges_.empty() ? 1 : 4 * edges_.size());
        profiles_.resize(boxes_.size());
        if (!edges_.empty()) {
            Build(0, 0, edges_.size());
        }
        for (Profile& profile : profiles_) {
            for (std::size_t i = 1; i < profile.size(); ++i) {
                profile[i].winding += profile[i - 1].winding;
            }
        }
    }

    /// Visits the edges whose boxes may meet what `touches` says of.
    template <class Touches, class Visitor> void Visit(const Touches& touches, Visitor&& visit) const
    {
        if (!edges_.empty()) {
            const auto isTouched = [&](std::size_t node) { return touches(boxes_[node]); };
            Descend(0, 0, edges_.size(), isTouched, visit);
        }
    }

    /// By how often the loops cross the ray to the right. Where all edges of a node are right of the point,
    /// their profile tells that, so that a point costs no more for many edges beside it.
    bool Contains(const Vec2d& point) const
    {
        int winding = 0;
        const auto isRight = [&](std::size_t node) {
            const Box& box = boxes_[node];
            if (box.low.y() > point.y() || point.y() > box.high.y() || box.high.x() < point.x()) {
                return false;
            }
            if (box.low.x() > point.x()) {
                winding += WindingAt(profiles_[node], point.y());
                return false;
            }
            return true;
        };
        const auto count = [&](const Edge& edge) {
            const bool isUpward = edge.start.y() <= point.y() && point.y() < edge.end.y();
            const bool isDownward = edge.end.y() <= point.y() && point.y() < edge.start.y();
            if (isUpward && ((edge.end - edge.start) ^ (point - edge.start)) > 0) {
                ++winding;
            } else if (isDownward && ((edge.start - edge.end) ^ (point - edge.end)) > 0) {
                --winding;
            }
        };
        if (!edges_.empty()) {
            Descend(0, 0, edges_.size(), isRight, count);
        }
        return isReversed_ ? winding < 0 : winding > 0;
    }

    bool IsWithin(const Vec2d& point, double distance) const
    {
        bool isNear = false;
        const auto isClose = [&](const Box& box) {
            return !isNear && box.low.x() - distance <= point.x() && point.x() <= box.high.x() + distance &&
                   box.low.y() - distance <= point.y() && point.y() <= box.high.y() + distance;
        };
        Visit(isClose, [&](const Edge& edge) {
            Vec2d hit;
            bool overlap = false;
            isNear = isNear ||
                     Intersect::SegmentSegment(point, point, edge.start, edge.end, hit, overlap, true, distance);
        });
        return isNear;
    }

private:
    static constexpr std::size_t kLeaf = 4;

    /// From `y` upward edges are crossed this often by a ray to the right (by how much more often, until they
    /// are summed up): each edge once more from where it starts and once less from where it ends, whichever
    /// way it runs. Where one edge ends and the next one starts nothing is left of that.
    struct Step {
        double y;
        int winding;
    };
    using Profile = std::vector<Step>;

    static int WindingAt(const Profile& profile, double y)
    {
        const auto above = std::upper_bound(profile.begin(), profile.end(), y,
                                            [](double value, const Step& step) { return value < step.y; });
        return above == profile.begin() ? 0 : std::prev(above)->winding;
    }

    /// Steps of equal height, which stand side by side, become one, or none.
    static void Gather(Profile& profile)
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < profile.size();) {
            Step step = profile[i];
            for (++i; i < profile.size() && profile[i].y == step.y; ++i) {
                step.winding += profile[i].winding;
            }
            if (step.winding != 0) {
                profile[kept++] = step;
            }
        }
        profile.resize(kept);
        profile.shrink_to_fit();
    }

    static bool IsBelow(const Step& a, const Step& b) { return a.y < b.y; }

    void Build(std::size_t node, std::size_t from, std::size_t to)
    {
        Box box;
        Box middles; // by which they are parted: long edges one above the other have a common one in x
        for (std::size_t i = from; i < to; ++i) {
            box.Add(edges_[i].start);
            box.Add(edges_[i].end);
            middles.Add(0.5 * edges_[i].start + 0.5 * edges_[i].end);
        }
        boxes_[node] = box;
        Profile& profile = profiles_[node];
        if (to - from <= kLeaf) {
            for (std::size_t i = from; i < to; ++i) {
                profile.push_back({edges_[i].start.y(), 1});
                profile.push_back({edges_[i].end.y(), -1});
            }
            std::sort(profile.begin(), profile.end(), IsBelow);
            Gather(profile);
            return;
        }
        const int axis = middles.high.x() - middles.low.x() >= middles.high.y() - middles.low.y() ? 0 : 1;
        const std::size_t middle = from + (to - from) / 2;
        const auto place = [this](std::size_t i) { return edges_.begin() + static_cast<std::ptrdiff_t>(i); };
        std::nth_element(place(from), place(middle), place(to), [axis](const Edge& a, const Edge& b) {
            return a.start[axis] + a.end[axis] < b.start[axis] + b.end[axis];
        });
        Build(2 * node + 1, from, middle);
        Build(2 * node + 2, middle, to);
        const Profile& first = profiles_[2 * node + 1];
        const Profile& second = profiles_[2 * node + 2];
        profile.reserve(first.size() + second.size());
        std::merge(first.begin(), first.end(), second.begin(), second.end(), std::back_inserter(profile), IsBelow);
        Gather(profile);
    }

    template <class Touches, class Visitor>
    void Descend(std::size_t node, std::size_t from, std::size_t to, const Touches& touches, Visitor& visit) const
    {
        if (!touches(node)) {
            return;
        }
        if (to - from <= kLeaf) {
            std::for_each(edges_.begin() + static_cast<std::ptrdiff_t>(from),
                          edges_.begin() + static_cast<std::ptrdiff_t>(to), visit);
            return;
        }
        const std::size_t middle = from + (to - from) / 2;
        Descend(2 * node + 1, from, middle, touches, visit);
        Descend(2 * node + 2, middle, to, touches, visit);
    }

    std::vector<Edge> edges_;
    std::vector<Box> boxes_;
    std::vector<Profile> profiles_; // of the nodes
    bool isReversed_ = false;
};

// --- clipping -------------------------------------------------------------------------------------------------

/// May a segment come within `reach` of a box?
class SegmentReach {
public:
    SegmentReach(const Vec2d& start, const Vec2d& end, double reach)
        : start_(start), along_(end - start), reach_(reach), slack_(reach * Vector::Length(end - start))
    {
        own_.Add(start);
        own_.Add(end);
    }
    bool operator()(const Box& box) const
    {
        for (int axis = 0; axis < 2; ++axis) {
            if (box.low[axis] > own_.high[axis] + reach_ || box.high[axis] < own_.low[axis] - reach_) {
                return false;
            }
        }
        const Vec2d half = 0.5 * (box.high - box.low);
        const Vec2d center = box.low + half - start_;
        const double spread = std::fabs(along_.x()) * half.y() + std::fabs(along_.y()) * half.x();
        const double offset = std::fabs(along_ ^ center);
        return offset <= (spread + slack_) + kRounding * (offset + spread);
    }

private:
    static constexpr double kRounding = 1e-12;
    Vec2d start_;
    Vec2d along_;
    double reach_;
    double slack_;
    Box own_;
};

/// A stretch of a polyline up to `end`, all of it in the region or none.
struct Stretch {
    Vec2d end;
    bool isKept = false;
};

class Clipper {
public:
    Clipper(const EdgeTree& tree, bool outside, double tolerance)
        : tree_(tree), outside_(outside), tolerance_(tolerance)
    {
    }

    /// Adds the kept parts of a line that begins with `points[0]`; a closed one ends with that point again.
    void Clip(const Polyline& points, bool isClosed, sorvane_lines& parts) const
    {
        std::vector<Stretch> stretches;
        for (std::size_t i = 1; i < points.size(); ++i) {
            Cut(points[i - 1], points[i], stretches);
        }
        std::vector<Polyline> kept;
        Vec2d from = points.empty() ? Vec2d() : points.front();
        bool wasKept = false;
        for (const Stretch& stretch : stretches) {
            if (stretch.isKept) {
                if (!wasKept) {
                    kept.push_back({from});
                }
                kept.back().push_back(stretch.end);
            }
            wasKept = stretch.isKept;
            from = stretch.end;
        }
        const bool runsOver = isClosed && !stretches.empty() && stretches.front().isKept && stretches.back().isKept;
        if (runsOver && kept.size() == 1) {
            kept.front().pop_back();
            AddLine<2>(parts, kept.front(), true);
            return;
        }
        if (runsOver) {
            Polyline joined = std::move(kept.back());
            joined.insert(joined.end(), kept.front().begin() + 1, kept.front().end());
            kept.pop_back();
            kept.front() = std::move(joined);
        }
        for (const Polyline& part : kept) {
            if (Vector::Length(part) > tolerance_) {
                AddLine<2>(parts, part, false);
            }
        }
    }

private:
    struct Place {
        double along = 0;
        Vec2d point;
    };

    /// Adds the stretches of one segment; neighbors of one kind are one stretch.
    void Cut(const Vec2d& start, const Vec2d& end, std::vector<Stretch>& stretches) const
    {
        const Vec2d along = end - start;
        const double length = Vector::Length(along);
        if (!(length > 0)) {
            return;
        }
        std::vector<Place> places;
        const auto add = [&](const Vec2d& point) {
            const double place = ((point - start) * along) / length;
            if (place > tolerance_ && place < length - tolerance_) {
                places.push_back({place, point});
            }
        };
        tree_.Visit(SegmentReach(start, end, tolerance_), [&](const Edge& edge) {
            Vec2d hit;
            bool overlap = false;
            if (Intersect::SegmentSegment(start, end, edge.start, edge.end, hit, overlap, true, tolerance_)) {
                add(hit);
                if (overlap) {
                    add(edge.start);
                    add(edge.end);
                }
            }
        });
        std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) { return a.along < b.along; });
        places.push_back({length, end});
        Place from{0, start};
        const std::size_t first = stretches.size();
        for (const Place& to : places) {
            if (!(to.along - from.along > tolerance_) && to.along < length) {
                continue;
            }
            const bool isKept = IsIn(0.5 * (from.point + to.point)) != outside_;
            if (stretches.size() > first && stretches.back().isKept == isKept) {
                stretches.back().end = to.point;
            } else {
                stretches.push_back({to.point, isKept});
            }
            from = to;
        }
    }

    bool IsIn(const Vec2d& point) const { return tree_.IsWithin(point, tolerance_) || tree_.Contains(point); }

    const EdgeTree& tree_;
    bool outside_;
    double tolerance_;
};

} // namespace

} // namespace SorvaneC

sorvane_status sorvane_region_new(const double* points, size_t point_count, const int* starts, size_t loop_count,
                                  sorvane_region** region, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(region, "region");
        auto made = std::make_unique<sorvane_region>();
        made->loops.dimension = 2;
        for (Polyline& loop : PolylinesOf(points, point_count, starts, loop_count, "loop")) {
            if (loop.size() > 1 && loop.front() == loop.back()) {
                loop.pop_back();
            }
            AddLine<2>(made->loops, loop, true);
        }
        return Made(region, std::move(made));
    });
}

void sorvane_region_free(sorvane_region* region) { delete region; }

const sorvane_lines* sorvane_region_loops(const sorvane_region* region) { return &region->loops; }

double sorvane_region_resolution(const sorvane_region* region) { return region->resolution; }

sorvane_status sorvane_region_area(const sorvane_region* region, double* area, sorvane_error* error)
{
    return Guarded(error, [&] {
        double resolution = 0;
        const double sum = AreaOf(UnitedLoopsOf(RegionOf(region), resolution));
        Required(area, "area") = sum;
    });
}

sorvane_status sorvane_region_contains(const sorvane_region* region, const double* points, size_t count, int* inside,
                                       sorvane_error* error)
{
    return Guarded(error, [&] {
        const EdgeTree tree(LoopsOf(RegionOf(region)));
        CheckArray(inside, count, "inside");
        CheckArray(points, count, "points");
        CheckFinite(points, 2 * count, 2, "points");
        for (std::size_t i = 0; i < count; ++i) {
            inside[i] = tree.Contains({points[2 * i], points[2 * i + 1]}) ? 1 : 0;
        }
    });
}

// --- two regions -------------------------------------------------------------------------------------------------

sorvane_status sorvane_region_union(const sorvane_region* a, const sorvane_region* b, sorvane_region** result,
                                    sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        const Polylines first = LoopsOf(RegionOf(a, "a"));
        const Polylines second = b != nullptr ? LoopsOf(*b) : Polylines();
        double resolution = 0;
        const Polylines loops = Planar::Union<double>(first, second, &resolution);
        return Made(result, NewRegion(loops, resolution));
    });
}

sorvane_status sorvane_region_intersection(const sorvane_region* a, const sorvane_region* b, sorvane_region** result,
                                           sorvane_error* error)
{
    return Combine(Planar::Intersection<double>, a, b, result, error);
}

sorvane_status sorvane_region_difference(const sorvane_region* a, const sorvane_region* b, sorvane_region** result,
                                         sorvane_error* error)
{
    return Combine(Planar::Difference<double>, a, b, result, error);
}

sorvane_status sorvane_region_symmetric_difference(const sorvane_region* a, const sorvane_region* b,
                                                   sorvane_region** result, sorvane_error* error)
{
    return Combine(Planar::SymmetricDifference<double>, a, b, result, error);
}

// --- tools and distances -----------------------------------------------------------------------------------------

sorvane_status sorvane_region_dilate(const sorvane_region* region, const double* tool, size_t tool_count,
                                     sorvane_region** result, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        double united = 0;
        double resolution = 0;
        const Polylines loops = UnitedLoopsOf(RegionOf(region), united);
        const Polyline polygon = ToolOf(tool, tool_count, 1);
        return Made(result, NewRegion(Planar::DilateMultipleAreas(polygon, loops, &resolution), resolution + united));
    });
}

sorvane_status sorvane_region_contract(const sorvane_region* region, const double* tool, size_t tool_count,
                                       sorvane_region** result, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        double united = 0;
        double resolution = 0;
        const Polylines loops = UnitedLoopsOf(RegionOf(region), united);
        const Polyline polygon = ToolOf(tool, tool_count, 1);
        return Made(result,
                    NewRegion(Planar::ContractMultipleAreas(polygon, loops, &resolution), resolution + united));
    });
}

sorvane_status sorvane_region_sweep(const double* tool, size_t tool_count, const double* points, size_t point_count,
                                    const int* starts, size_t path_count, sorvane_region** result,
                                    sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        const Polyline polygon = ToolOf(tool, tool_count, 2);
        Polylines paths = PolylinesOf(points, point_count, starts, path_count, "path");
        double resolution = 0;
        const Polylines loops = Planar::DilatePaths(polygon, std::move(paths), &resolution);
        return Made(result, NewRegion(loops, resolution));
    });
}

sorvane_status sorvane_region_offset(const sorvane_region* region, double distance, double tolerance,
                                     sorvane_region** result, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        CheckPositive(tolerance, "tolerance");
        CheckFinite(&distance, 1, 1, "distance");
        double united = 0;
        double resolution = 0;
        Polylines loops = UnitedLoopsOf(RegionOf(region), united);
        if (distance > 0) {
            loops = Planar::DilateMultipleAreas(DiscOf(distance, tolerance), loops, &resolution);
        } else if (distance < 0) {
            loops = Planar::ContractMultipleAreas(DiscOf(-distance, tolerance), loops, &resolution);
        }
        return Made(result, NewRegion(loops, resolution + united));
    });
}

sorvane_status sorvane_region_pocket(const sorvane_region* region, double radius, double step, double tolerance,
                                     sorvane_line_groups** passes, sorvane_error* error)
{
    return Guarded(error, [&] {
        constexpr double kMostPasses = 100000;
        Result(passes, "passes");
        const sorvane_region& pocket = RegionOf(region);
        CheckPositive(radius, "radius");
        CheckPositive(step, "step");
        CheckPositive(tolerance, "tolerance");
        if (step > radius) {
            BadArgument("step is greater than radius: material would be left between passes");
        }
        Box box;
        for (std::size_t i = 0; i + 1 < pocket.loops.points.size(); i += 2) {
            box.Add({pocket.loops.points[i], pocket.loops.points[i + 1]});
        }
        if (std::max(box.high.x() - box.low.x(), box.high.y() - box.low.y()) / (2 * step) > kMostPasses) {
            BadArgument("step is so small that there could be more than 100000 passes");
        }
        double united = 0;
        const Polylines loops = UnitedLoopsOf(pocket, united);
        auto made = std::make_unique<sorvane_line_groups>();
        made->lines.dimension = 2;
        while (!IsStopped()) {
            const double distance = radius + step * static_cast<double>(made->starts.size() - 1);
            const Polylines pass =
                Planar::ContractMultipleAreas(DiscOf(distance, tolerance), loops, static_cast<double*>(nullptr));
            if (pass.empty()) {
                break;
            }
            for (const Polyline& loop : pass) {
                AddPolyline(made->lines, loop);
            }
            EndGroup(*made);
        }
        if (made->starts.size() == 1 && !IsStopped()) {
            Failed("a tool of radius " + Text(radius) + " does not fit into the region");
        }
        return Made(passes, std::move(made));
    });
}

sorvane_status sorvane_region_clip(const sorvane_region* region, const double* points, size_t point_count,
                                   const int* starts, const int* closed, size_t line_count, int outside,
                                   double tolerance, sorvane_line_groups** parts, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(parts, "parts");
        const EdgeTree tree(LoopsOf(RegionOf(region)));
        CheckLength(tolerance, "tolerance");
        Polylines lines = PolylinesOf(points, point_count, starts, line_count, "line");
        auto made = std::make_unique<sorvane_line_groups>();
        made->lines.dimension = 2;
        const Clipper clipper(tree, outside != 0, tolerance);
        for (std::size_t i = 0; i < line_count; ++i) {
            const bool isClosed = closed != nullptr && closed[i] != 0 && !lines[i].empty();
            if (isClosed && lines[i].front() != lines[i].back()) {
                lines[i].push_back(lines[i].front());
            }
            clipper.Clip(lines[i], isClosed, made->lines);
            EndGroup(*made);
        }
        return Made(parts, std::move(made));
    });
}

// --- groups of lines ---------------------------------------------------------------------------------------------

const sorvane_lines* sorvane_line_groups_lines(const sorvane_line_groups* groups) { return &groups->lines; }

const int* sorvane_line_groups_starts(const sorvane_line_groups* groups, size_t* count)
{
    return Elements(groups->starts, count);
}

void sorvane_line_groups_free(sorvane_line_groups* groups) { delete groups; }
