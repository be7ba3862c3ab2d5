// Tools, contact with parts, shadows and turning of the C interface.

#include "Planar.h"
#include "sorvane_c/machining.h"

#include <Sorvane/ContactSurface_E.h>
#include <Sorvane/Lathe_E.h>
#include <Sorvane/Minkowski_E.h>
#include <Sorvane/Silhouette_E.h>
#include <Sorvane/ToolContact_E.h>
#include <Sorvane/ToolOffset_E.h>
#include <Sorvane/Tools_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

using namespace SorvaneC;
namespace Lathe = Velk::Math::Sorvane::Lathe;
namespace Mill = Velk::Math::Sorvane::Mill;
namespace Planar = Velk::Math::Sorvane::Planar;
namespace Vector = Velk::Math::Vector;
using Velk::Math::Vec3d;
using Shape = Mill::ConvexStandardToolBase<double>;

struct sorvane_tool {
    std::vector<Mill::ToolPart> parts; // the first is the cutter
    Mill::ConvexToolContact contact;
    Mill::ConvexToolOffset offset;
    std::unique_ptr<const sorvane_chain> profile;
    std::vector<double> values; // what the accessor shows of the parts
};

struct sorvane_surface {
    Mill::ContactSurface surface;
};

struct sorvane_lathe_sweep {
    Polyline target;
    std::vector<Lathe::BAngleReport> reports;
    std::vector<int> failed;
    sorvane_line_groups reachable;
    sorvane_line_groups toolRegions;
    sorvane_line_groups holderRegions;
};

struct sorvane_lathe_sequence {
    std::vector<double> parameters;
    std::vector<int> valid;
};

namespace SorvaneC {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kNowhere = -std::numeric_limits<double>::infinity();

// --- tools ----------------------------------------------------------------------------------------------------

Shape ShapeOf(const sorvane_tool_shape* given)
{
    Required(given, "shape");
    const sorvane_tool_shape shape = OptionsOf<sorvane_tool_shape>(given, sorvane_tool_shape_init);
    const Shape result{shape.tip_radius,  shape.lower_corner_radius, shape.lower_corner_angle, shape.taper_height,
                       shape.taper_angle, shape.upper_corner_radius, shape.shank_length};
    const double fields[] = {result.tipRadius,  result.lowerCornerRadius, result.lowerCornerAngle, result.taperHeight,
                             result.taperAngle, result.upperCornerRadius, result.shankLength};
    CheckFinite(fields, std::size(fields), std::size(fields), "shape");
    return result;
}

std::unique_ptr<sorvane_tool> NewTool(std::vector<Mill::ToolPart> parts)
{
    const Shape& cutter = parts.front().shape;
    auto tool = std::unique_ptr<sorvane_tool>(
        new sorvane_tool{{}, Mill::ConvexToolContact(cutter), Mill::ConvexToolOffset(cutter), nullptr, {}});
    if (tool->contact.Profile().elements.empty() || !(tool->contact.Radius() > 0)) {
        BadArgument("the shape of the cutter has no radius");
    }
    tool->profile = NewChain(tool->contact.Profile());
    for (const Mill::ToolPart& part : parts) {
        const Shape& s = part.shape;
        tool->values.insert(tool->values.end(),
                            {s.tipRadius, s.lowerCornerRadius, s.lowerCornerAngle, s.taperHeight, s.taperAngle,
                             s.upperCornerRadius, s.shankLength, part.height});
    }
    tool->parts = std::move(parts);
    return tool;
}

std::unique_ptr<sorvane_tool> NewTool(const Shape& cutter) { return NewTool({{cutter, 0.0}}); }

/// What a length leaves above `height`.
double ShankOf(double length, double height)
{
    CheckPositive(length, "length");
    if (length < height) {
        BadArgument("length is " + Text(length) + "; the cutting part alone is " + Text(height) +
                    " high");
    }
    return length - height;
}

template <class Report>
void CheckFit(const Report& report, const Shape& shape)
{
    if (!IsStopped() && (shape == Shape() || report.pointDeviation == std::numeric_limits<double>::max())) {
        Failed("there is no tool in the points");
    }
}

template <class Report>
void TellFit(const Report& report, sorvane_tool_fit* fit)
{
    if (fit != nullptr) {
        *fit = {report.pointDeviation, report.hullDeviation, report.meanDeviation};
    }
}

// --- frames ---------------------------------------------------------------------------------------------------

/// A right-handed frame whose last axis is a direction.
struct Frame {
    Vec3d first{1, 0, 0};
    Vec3d second{0, 1, 0};
    Vec3d third{0, 0, 1};

    Vec3d operator()(const Vec3d& point) const { return {point * first, point * second, point * third}; }
    bool IsGlobal() const { return third == Vec3d(0, 0, 1) && first == Vec3d(1, 0, 0); }
};

Frame FrameOf(const double* direction)
{
    if (direction == nullptr) {
        return {};
    }
    CheckFinite(direction, 3, 3, "direction");
    const double size = std::max({std::fabs(direction[0]), std::fabs(direction[1]), std::fabs(direction[2])});
    if (!(size > 0)) {
        BadArgument("direction has no length");
    }
    Frame frame;
    const Vec3d along(direction[0] / size, direction[1] / size, direction[2] / size);
    frame.third = along / Vector::Length(along);
    const Vec3d level(-frame.third.y(), frame.third.x(), 0);
    const double length = Vector::Length(level);
    if (length > 0) {
        frame.first = level / length;
    }
    frame.second = frame.third ^ frame.first;
    return frame;
}

MeshData Placed(const MeshData& mesh, const Vec3d& origin, const Frame& frame)
{
    MeshData placed = mesh;
    for (Vec3d& point : placed.points) {
        point = frame(point - origin);
    }
    return placed;
}

// --- turning --------------------------------------------------------------------------------------------------

Polyline ClosedOutline(const double* points, std::size_t count, const char* name)
{
    Polyline outline = FinitePoints(points, count, name);
    if (!outline.empty() && outline.front() != outline.back()) {
        outline.push_back(outline.front());
    }
    return outline;
}

struct Setup {
    Polyline tool;
    Polyline holder;
    Polyline target;
    Polylines obstacles;
    Vec2d pivot;
};

Setup SetupOf(const sorvane_lathe_setup* given)
{
    Required(given, "setup");
    const sorvane_lathe_setup setup = OptionsOf<sorvane_lathe_setup>(given, sorvane_lathe_setup_init);
    Setup result;
    result.tool = ClosedOutline(setup.tool, setup.tool_count, "tool");
    result.holder = ClosedOutline(setup.holder, setup.holder_count, "holder");
    result.target = FinitePoints(setup.target, setup.target_count, "target");
    if (setup.tool_count < 2 || setup.target_count < 2) {
        BadArgument("tool and target must have at least 2 points each");
    }
    result.obstacles = PolylinesOf(setup.obstacles, setup.obstacle_points, setup.obstacle_starts,
                                   setup.obstacle_count, "obstacle");
    CheckFinite(setup.pivot, 2, 2, "pivot");
    result.pivot = Vec2d(setup.pivot[0], setup.pivot[1]);
    return result;
}

void AddGroup(sorvane_line_groups& groups, const Polylines& lines)
{
    for (const Polyline& line : lines) {
        AddPolyline(groups.lines, line);
    }
    EndGroup(groups);
}

std::unique_ptr<sorvane_lines> NewLines(const Polylines& polylines)
{
    auto lines = std::make_unique<sorvane_lines>();
    lines->dimension = 2;
    for (const Polyline& polyline : polylines) {
        AddPolyline(*lines, polyline);
    }
    return lines;
}

} // namespace

} // namespace SorvaneC

// --- tools -------------------------------------------------------------------------------------------------------

void sorvane_tool_shape_init(sorvane_tool_shape* shape)
{
    if (shape != nullptr) {
        *shape = {sizeof(*shape), 0, 0, 0, 0, 0, 0, 0};
    }
}

sorvane_status sorvane_tool_new(const sorvane_tool_shape* shape, sorvane_tool** tool, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tool, "tool");
        return Made(tool, NewTool(ShapeOf(shape)));
    });
}

sorvane_status sorvane_tool_ball(double diameter, double length, sorvane_tool** tool, sorvane_error* error)
{
    return sorvane_tool_bull(diameter, diameter / 2, length, tool, error);
}

sorvane_status sorvane_tool_flat(double diameter, double length, sorvane_tool** tool, sorvane_error* error)
{
    return sorvane_tool_bull(diameter, 0, length, tool, error);
}

sorvane_status sorvane_tool_bull(double diameter, double corner_radius, double length, sorvane_tool** tool,
                                 sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tool, "tool");
        CheckPositive(diameter, "diameter");
        if (!(corner_radius >= 0 && corner_radius <= diameter / 2)) {
            BadArgument("corner_radius is " + Text(corner_radius) +
                        "; it must be between 0 and half the diameter");
        }
        Shape shape;
        shape.tipRadius = diameter / 2 - corner_radius;
        shape.lowerCornerRadius = corner_radius;
        shape.lowerCornerAngle = corner_radius > 0 ? kPi / 2 : 0;
        shape.shankLength = ShankOf(length, corner_radius);
        return Made(tool, NewTool(shape));
    });
}

sorvane_status sorvane_tool_cone(double diameter, double angle_degrees, double length, sorvane_tool** tool,
                                 sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tool, "tool");
        CheckPositive(diameter, "diameter");
        if (!(angle_degrees > 0 && angle_degrees < 180)) {
            BadArgument("angle_degrees is " + Text(angle_degrees) + "; it must be between 0 and 180");
        }
        Shape shape;
        shape.taperAngle = angle_degrees / 360 * kPi;
        shape.taperHeight = diameter / 2 / std::tan(shape.taperAngle);
        shape.shankLength = ShankOf(length, shape.taperHeight);
        return Made(tool, NewTool(shape));
    });
}

sorvane_status sorvane_tool_from_profile(const double* points, size_t point_count, double tolerance,
                                         sorvane_tool_family family, sorvane_tool** tool, sorvane_tool_fit* fit,
                                         sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tool, "tool");
        CheckLength(tolerance, "tolerance");
        const Polyline outline = FinitePoints(points, point_count, "points");
        Shape shape;
        const int number = NumberOf(family);
        if (number == SORVANE_TOOL_CYLINDRICAL) {
            const auto report = Mill::CylindricalToolFromPolyline(outline, tolerance);
            shape.tipRadius = report.tool.tipRadius;
            shape.lowerCornerRadius = report.tool.cornerRadius;
            shape.lowerCornerAngle = report.tool.cornerRadius > 0 ? kPi / 2 : 0;
            shape.shankLength = report.tool.shankLength;
            CheckFit(report, shape);
            TellFit(report, fit);
        } else if (number == SORVANE_TOOL_CONVEX) {
            const auto report = Mill::ConvexToolFromPolyline(outline, tolerance);
            shape = report.tool;
            CheckFit(report, shape);
            TellFit(report, fit);
        } else {
            BadArgument("family is " + std::to_string(number) + "; there is no such family");
        }
        return Made(tool, NewTool(shape));
    });
}

sorvane_status sorvane_tool_from_profile_best(const double* points, size_t point_count, double low, double high,
                                              sorvane_tool** tool, sorvane_tool_fit* fit, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(tool, "tool");
        CheckLength(low, "low");
        CheckLength(high, "high");
        const auto report =
            Mill::BestConvexToolFromPolyline(FinitePoints(points, point_count, "points"), low, high);
        CheckFit(report, report.tool);
        TellFit(report, fit);
        return Made(tool, NewTool(report.tool));
    });
}

sorvane_status sorvane_tool_with_part(const sorvane_tool* tool, const sorvane_tool_shape* part, double height,
                                      sorvane_tool** result, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(result, "result");
        std::vector<Mill::ToolPart> parts = Required(tool, "tool").parts;
        CheckFinite(&height, 1, 1, "height");
        const Shape shape = ShapeOf(part);
        if (Mill::PolyArcSegFromTool(shape).elements.empty()) {
            BadArgument("the shape of the part has no extent");
        }
        parts.push_back({shape, height});
        return Made(result, NewTool(std::move(parts)));
    });
}

const double* sorvane_tool_parts(const sorvane_tool* tool, size_t* count) { return Elements(tool->values, count, 8); }

double sorvane_tool_radius(const sorvane_tool* tool) { return tool->contact.Radius(); }

const sorvane_chain* sorvane_tool_profile(const sorvane_tool* tool) { return tool->profile.get(); }

sorvane_status sorvane_tool_offset(const sorvane_tool* tool, const double* points, const double* normals, size_t count,
                                   double* tips, sorvane_error* error)
{
    return Guarded(error, [&] {
        const Mill::ConvexToolOffset& offset = Required(tool, "tool").offset;
        CheckArray(points, count, "points");
        CheckArray(normals, count, "normals");
        CheckArray(tips, count, "tips");
        if (offset.IsEmpty()) {
            Failed("the cutter is not convex");
        }
        for (std::size_t i = 0; i < 3 * count; i += 3) {
            const Vec3d tip = offset.TipFrom({points[i], points[i + 1], points[i + 2]},
                                                {normals[i], normals[i + 1], normals[i + 2]});
            std::copy(tip.begin(), tip.end(), tips + i);
        }
    });
}

void sorvane_tool_free(sorvane_tool* tool) { delete tool; }

// --- a part under tools ------------------------------------------------------------------------------------------

sorvane_status sorvane_surface_new(const sorvane_mesh* mesh, sorvane_surface** surface, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(surface, "surface");
        const MeshData& data = MeshOf(mesh);
        auto made = std::make_unique<sorvane_surface>();
        made->surface = Mill::ContactSurface(data.points, data.indices);
        return Made(surface, std::move(made));
    });
}

void sorvane_surface_free(sorvane_surface* surface) { delete surface; }

namespace {

void Drop(const sorvane_surface& surface, const sorvane_tool& tool, const Polyline& positions, double* heights,
          int* triangles)
{
    const Mill::SurfaceDrops drops = surface.surface.DropAtPoints(tool.contact, positions, {});
    if (drops.heights.size() != positions.size()) {
        return; // stopped
    }
    for (std::size_t i = 0; i < positions.size(); ++i) {
        heights[i] = drops.triangles[i] >= 0 ? drops.heights[i] : kNowhere;
    }
    if (triangles != nullptr) {
        std::copy(drops.triangles.begin(), drops.triangles.end(), triangles);
    }
}

} // namespace

sorvane_status sorvane_surface_drop(const sorvane_surface* surface, const sorvane_tool* tool, const double* positions,
                                    size_t count, double* heights, int* triangles, sorvane_error* error)
{
    return Guarded(error, [&] {
        const sorvane_surface& part = Required(surface, "surface");
        const sorvane_tool& cutter = Required(tool, "tool");
        CheckArray(heights, count, "heights");
        Drop(part, cutter, PointsOf<2>(positions, count, "positions"), heights, triangles);
    });
}

sorvane_status sorvane_surface_height_map(const sorvane_surface* surface, const sorvane_tool* tool, const double* xs,
                                          size_t x_count, const double* ys, size_t y_count, double* heights,
                                          int* triangles, sorvane_error* error)
{
    return Guarded(error, [&] {
        const sorvane_surface& part = Required(surface, "surface");
        const sorvane_tool& cutter = Required(tool, "tool");
        CheckArray(xs, x_count, "xs");
        CheckArray(ys, y_count, "ys");
        const std::size_t count = x_count * y_count; // no more than 2^62
        CheckArray(heights, count, "heights");
        Polyline positions;
        positions.reserve(count);
        for (std::size_t row = 0; row < y_count; ++row) {
            for (std::size_t column = 0; column < x_count; ++column) {
                positions.emplace_back(xs[column], ys[row]);
            }
        }
        Drop(part, cutter, positions, heights, triangles);
    });
}

sorvane_status sorvane_surface_gouges(const sorvane_surface* surface, const sorvane_tool* tool, const double* points,
                                      size_t count, double allowance, double* depths, int* triangles, int* parts,
                                      sorvane_error* error)
{
    return Guarded(error, [&] {
        const Mill::ContactSurface& part = Required(surface, "surface").surface;
        const sorvane_tool& whole = Required(tool, "tool");
        CheckFinite(&allowance, 1, 1, "allowance");
        const std::vector<Mill::GougeReport> reports =
            part.FindGouges(whole.parts, PointsOf<3>(points, count, "points"), allowance, {});
        for (std::size_t i = 0; i < reports.size(); ++i) {
            if (depths != nullptr) {
                depths[i] = reports[i].depth;
            }
            if (triangles != nullptr) {
                triangles[i] = reports[i].triangle;
            }
            if (parts != nullptr) {
                parts[i] = reports[i].part;
            }
        }
    });
}

// --- shadows -----------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_silhouette(const sorvane_mesh* mesh, const double* direction, double* axes,
                                       sorvane_region** region, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(region, "region");
        const MeshData& data = MeshOf(mesh);
        const Frame frame = FrameOf(direction);
        double resolution = 0;
        const Polylines loops =
            frame.IsGlobal() ? Planar::SilhouetteBoundaries(data, &resolution)
                             : Planar::SilhouetteBoundaries(Placed(data, Vec3d(), frame), &resolution);
        if (axes != nullptr) {
            std::copy(frame.first.begin(), frame.first.end(), axes);
            std::copy(frame.second.begin(), frame.second.end(), axes + 3);
        }
        return Made(region, NewRegion(loops, resolution));
    });
}

// --- turning -----------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_spin_outline(const sorvane_mesh* mesh, const double* origin, const double* direction,
                                         double step, sorvane_lines** outline, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(outline, "outline");
        const MeshData& data = MeshOf(mesh);
        CheckPositive(step, "step");
        const Frame frame = FrameOf(direction);
        Vec3d base;
        if (origin != nullptr) {
            CheckFinite(origin, 3, 3, "origin");
            base = Vec3d(origin[0], origin[1], origin[2]);
        }
        const Polyline points = frame.IsGlobal() && base == Vec3d()
                                    ? Planar::SpinBoundary(data, step)
                                    : Planar::SpinBoundary(Placed(data, base, frame), step);
        if (points.empty() && !IsStopped()) {
            Failed("the mesh has no triangles, or is no higher than the step");
        }
        return Made(outline, NewLines({points}));
    });
}

void sorvane_lathe_setup_init(sorvane_lathe_setup* setup)
{
    if (setup != nullptr) {
        *setup = {};
        setup->size = sizeof(*setup);
    }
}

sorvane_status sorvane_lathe_regions(const sorvane_lathe_setup* setup, sorvane_lines** tool_regions,
                                     sorvane_lines** holder_regions, sorvane_error* error)
{
    return Guarded(error, [&] {
        if (holder_regions != nullptr) {
            *holder_regions = nullptr;
        }
        Result(tool_regions, "tool_regions");
        Result(holder_regions, "holder_regions");
        const Setup given = SetupOf(setup);
        Polylines toolRegions;
        Polylines holderRegions;
        const bool isClosed =
            given.holder.empty()
                ? Lathe::OuterOffsetRegions(given.tool, given.target, given.obstacles, toolRegions, holderRegions)
                : Lathe::OuterOffsetRegions(given.tool, given.holder, given.target, given.obstacles, toolRegions,
                                            holderRegions);
        if (!isClosed && !IsStopped()) {
            Failed("a boundary does not close");
        }
        return MadeTogether(Made(tool_regions, NewLines(toolRegions)), Made(holder_regions, NewLines(holderRegions)));
    });
}

sorvane_status sorvane_lathe_sweep_new(const sorvane_lathe_setup* setup, const double* angles_degrees, size_t count,
                                       sorvane_lathe_sweep** sweep, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(sweep, "sweep");
        Setup given = SetupOf(setup);
        CheckArray(angles_degrees, count, "angles_degrees");
        CheckFinite(angles_degrees, count, 1, "angles_degrees");
        auto made = std::make_unique<sorvane_lathe_sweep>();
        const std::vector<double> angles(angles_degrees, angles_degrees + count);
        made->reports = given.holder.empty()
                            ? Lathe::BAxisAngleSweep(angles, given.tool, given.pivot, given.target, given.obstacles)
                            : Lathe::BAxisAngleSweep(angles, given.tool, given.holder, given.pivot, given.target,
                                                     given.obstacles);
        made->target = std::move(given.target);
        made->reachable.lines.dimension = 2;
        made->toolRegions.lines.dimension = 2;
        made->holderRegions.lines.dimension = 2;
        for (const Lathe::BAngleReport& report : made->reports) {
            made->failed.push_back(report.failed ? 1 : 0);
            AddGroup(made->reachable, report.reachable);
            AddGroup(made->toolRegions, report.toolRegions);
            AddGroup(made->holderRegions, report.holderRegions);
        }
        return Made(sweep, std::move(made));
    });
}

const int* sorvane_lathe_sweep_failed(const sorvane_lathe_sweep* sweep, size_t* count)
{
    return Elements(sweep->failed, count);
}

const sorvane_line_groups* sorvane_lathe_sweep_reachable(const sorvane_lathe_sweep* sweep) { return &sweep->reachable; }

const sorvane_line_groups* sorvane_lathe_sweep_tool_regions(const sorvane_lathe_sweep* sweep)
{
    return &sweep->toolRegions;
}

const sorvane_line_groups* sorvane_lathe_sweep_holder_regions(const sorvane_lathe_sweep* sweep)
{
    return &sweep->holderRegions;
}

void sorvane_lathe_sweep_free(sorvane_lathe_sweep* sweep) { delete sweep; }

sorvane_status sorvane_lathe_sequence_new(const sorvane_lathe_sweep* sweep, const double* arcs, size_t arc_count,
                                          sorvane_lathe_sequence** sequence, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(sequence, "sequence");
        const sorvane_lathe_sweep& source = Required(sweep, "sweep");
        CheckArray(arcs, arc_count, "arcs");
        CheckFinite(arcs, 3 * arc_count, 3, "arcs");
        std::vector<Lathe::BAngleArcRegion> regions;
        for (std::size_t i = 0; i < 3 * arc_count; i += 3) {
            regions.push_back({arcs[i], arcs[i + 1], arcs[i + 2]});
        }
        const Lathe::BAngleSequence found =
            Lathe::SequenceBAxisAngleSweepAround(source.target, source.reports, regions);
        auto made = std::make_unique<sorvane_lathe_sequence>();
        for (const Lathe::BAngleSequence::Step& step : found.steps) {
            made->parameters.push_back(step.parameter);
            made->valid.insert(made->valid.end(), step.valid.begin(), step.valid.end());
        }
        return Made(sequence, std::move(made));
    });
}

const double* sorvane_lathe_sequence_parameters(const sorvane_lathe_sequence* sequence, size_t* count)
{
    return Elements(sequence->parameters, count);
}

const int* sorvane_lathe_sequence_valid(const sorvane_lathe_sequence* sequence, size_t* count)
{
    return Elements(sequence->valid, count);
}

void sorvane_lathe_sequence_free(sorvane_lathe_sequence* sequence) { delete sequence; }
