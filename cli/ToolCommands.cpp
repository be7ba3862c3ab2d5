// Milling tools over a part: `heights`, `gouges` and `tool`.

#include "Commands.h"
#include "PlaneFiles.h"
#include "Session.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ContactSurface_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/Tools_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgStyle;
using Drawing::SvgWriter;
using Tool = Mill::ConvexStandardToolBase<double>;

/// Positions that are a program's, and not an error of the units.
constexpr double kMostPositions = 1e8;
/// Dimensions of a tool whose squares and products are numbers still; surfaces end there as well.
constexpr double kMostSize = 1e70;
constexpr double kQuarterTurn = kPi<double> / 2;

// --- tools --------------------------------------------------------------------------------------

std::vector<Option> ToolOptions()
{
    return {
        Opt::Number("--ball", "DIAMETER", "a ball of this diameter").Positive(),
        Opt::Number("--flat", "DIAMETER", "a flat cutter of this diameter").Positive(),
        Opt::Numbers("--bull", "DIAMETER,RADIUS",
                     "a flat cutter with a rounded corner of this radius")
            .Exactly(2)
            .Positive(),
        Opt::Numbers("--cone", "DIAMETER,DEGREES",
                     "a pointed cutter: its diameter, and the whole angle of its tip")
            .Exactly(2)
            .Positive(),
        Opt::Numbers("--shape", "TIP,CORNER,ANGLE,HEIGHT,TAPER,UPPER,SHANK",
                     "a convex tool: radius of its flat tip, radius and angle (degrees) of the "
                     "lower corner, height and angle from the axis (degrees) of the cone, radius "
                     "of the upper corner, length of the shank")
            .Exactly(7),
        Opt::File("--tool", "FILE",
                  "a tool fitted to an outline, radius and height to a line, from the tip outward "
                  "and upward; or to a chain")
            .Read(),
        Opt::Number("--fit", "LENGTH", "how far the tool of --tool may lie off its outline")
            .Positive()
            .Default("0.01")
            .With({"--tool"}),
        Opt::Number("--length", "LENGTH",
                    "length of the cutter with its shank, up to the holder; a diameter of shank "
                    "unless told")
            .Positive(),
        Opt::Numbers("--holder", "DIAMETER,LENGTH,...",
                     "cylinders that follow on the cutter, each with its diameter and its length; "
                     "the last one goes on upward without end")
            .From(0)};
}

/// The largest radius of a tool's profile, and its height.
Vec2d ExtentOf(const Tool& tool)
{
    Vec2d extent(0, 0);
    for (const auto& element : Mill::PolyArcSegFromTool(tool).elements) {
        extent = {std::max(extent.x(), element.EndPoint().x()),
                  std::max(extent.y(), element.EndPoint().y())};
    }
    return extent;
}

/// The tool that a drawn outline describes.
Mill::GenericToolFitReport<Tool, double> FittedTool(Session& session, const std::string& input,
                                                    double tolerance, Polyline* points = nullptr)
{
    constexpr double kFlattening = 0.1; // of the tolerance
    const std::vector<Chain> chains = ReadChains(session, input, tolerance * kFlattening);
    if (chains.size() != 1) {
        throw Failure(Exit::Files, NameOf(input) + ": a tool is one outline");
    }
    const Polyline outline = Planar::Tessellate(chains.front(), tolerance * kFlattening);
    auto report = Mill::ConvexToolFromPolyline(outline, tolerance);
    Session::CheckStopped();
    if (!(ExtentOf(report.tool).x() > 0)) {
        throw Failure(Exit::Files, NameOf(input) +
                                       ": is no outline of a tool; it has to run from the tip "
                                       "outward and upward");
    }
    if (points != nullptr) {
        *points = outline;
    }
    return report;
}

Tool BaseTool(Session& session)
{
    if (session.Has("--ball")) {
        const double radius = session.Number("--ball") / 2;
        return {.lowerCornerRadius = radius, .lowerCornerAngle = kQuarterTurn};
    }
    if (session.Has("--flat")) {
        return {.tipRadius = session.Number("--flat") / 2};
    }
    if (session.Has("--bull")) {
        const std::vector<double> numbers = session.Numbers("--bull");
        if (numbers[1] > numbers[0] / 2) {
            session.RefuseUse("--bull: the corner's radius is more than half the diameter");
        }
        return {.tipRadius = numbers[0] / 2 - numbers[1],
                .lowerCornerRadius = numbers[1],
                .lowerCornerAngle = kQuarterTurn};
    }
    if (session.Has("--cone")) {
        const std::vector<double> numbers = session.Numbers("--cone");
        if (!(numbers[1] < 180)) {
            session.RefuseUse("--cone: the angle of the tip is below 180 degrees");
        }
        const double half = numbers[1] / 2 * kPi<double> / 180;
        return {.taperHeight = numbers[0] / 2 / std::tan(half), .taperAngle = half};
    }
    if (session.Has("--shape")) {
        const std::vector<double> n = session.Numbers("--shape");
        constexpr double kDegree = kPi<double> / 180;
        return {n[0], n[1], n[2] * kDegree, n[3], n[4] * kDegree, n[5], n[6]};
    }
    return FittedTool(session, session.Text("--tool"), session.Number("--fit")).tool;
}

/// The cutter as the options tell, with its shank.
Tool ToolOf(Session& session)
{
    int given = 0;
    for (const char* option : {"--ball", "--flat", "--bull", "--cone", "--shape", "--tool"}) {
        given += session.Has(option) ? 1 : 0;
    }
    if (given != 1) {
        session.RefuseUse("give one tool: --ball, --flat, --bull, --cone, --shape or --tool");
    }
    Tool tool = BaseTool(session);
    const Vec2d extent = ExtentOf(tool);
    if (!(extent.x() > 0)) {
        session.RefuseUse("the tool has no width, or one that can't be calculated with");
    }
    if (session.Has("--length")) {
        const double below = extent.y() - tool.shankLength;
        if (session.Number("--length") < below) {
            session.RefuseUse("--length: the cutter is " + NumberText(below) +
                              " long already without a shank");
        }
        tool.shankLength = session.Number("--length") - below;
    } else if (tool.shankLength == 0) {
        tool.shankLength = 2 * extent.x();
    }
    if (!(extent.x() <= kMostSize && extent.y() <= kMostSize && tool.shankLength <= kMostSize)) {
        session.RefuseUse("the tool is larger than can be calculated with");
    }
    return tool;
}

/// The cutter and what follows on it.
std::vector<Mill::ToolPart> PartsOf(const Session& session, const Tool& tool)
{
    std::vector<Mill::ToolPart> parts{{tool, 0}};
    if (!session.Has("--holder")) {
        return parts;
    }
    const std::vector<double> numbers = session.Numbers("--holder");
    if (numbers.size() % 2 != 0) {
        session.RefuseUse("--holder takes a diameter and a length for each cylinder");
    }
    double height = ExtentOf(tool).y();
    for (std::size_t i = 0; i < numbers.size(); i += 2) {
        if (!(numbers[i] > 0 && numbers[i + 1] > 0)) {
            session.RefuseUse("--holder: diameters and lengths are above 0");
        }
        if (!(numbers[i] <= kMostSize && numbers[i + 1] <= kMostSize)) {
            session.RefuseUse("--holder: is larger than can be calculated with");
        }
        parts.push_back({{.tipRadius = numbers[i] / 2, .shankLength = numbers[i + 1]}, height});
        height += numbers[i + 1];
    }
    return parts;
}

std::string PartName(int part)
{
    return part <= 0 ? "cutter" : part == 1 ? "holder" : "holder " + std::to_string(part);
}

Json ToolJson(const Tool& tool)
{
    Json json;
    json["tip_radius"] = tool.tipRadius;
    json["lower_corner_radius"] = tool.lowerCornerRadius;
    json["lower_corner_angle"] = tool.lowerCornerAngle;
    json["taper_height"] = tool.taperHeight;
    json["taper_angle"] = tool.taperAngle;
    json["upper_corner_radius"] = tool.upperCornerRadius;
    json["shank_length"] = tool.shankLength;
    return json;
}

/// The part made ready for tools. A triangle that they can't see would let them run into the part.
Mill::ContactSurface SurfaceOf(const Session& session, const Part& part)
{
    Mill::ContactSurface surface(part.points, part.indices);
    Session::CheckStopped();
    if (surface.TriangleCount() != part.indices.size() / 3) {
        throw Failure(Exit::Files, NameOf(session.Input()) +
                                       ": some triangles have coordinates that can't "
                                       "be calculated with; scale the part down");
    }
    return surface;
}

// --- gouges -------------------------------------------------------------------------------------

/// The deepest gouge is told. True when there is one.
bool TellGouges(Session& session, const std::vector<Vec3d>& tips,
                const std::vector<Mill::GougeReport>& gouges)
{
    std::size_t count = 0;
    std::size_t deepest = 0;
    for (std::size_t i = 0; i < gouges.size(); ++i) {
        count += gouges[i].isClear ? 0 : 1;
        deepest = gouges[i].depth > gouges[deepest].depth ? i : deepest;
    }
    Json& result = session.Result();
    result["gouges"] = count;
    session.Print("%zu of %zu positions gouge", count, tips.size());
    if (count > 0) {
        const Vec3d& tip = tips[deepest];
        const Mill::GougeReport& worst = gouges[deepest];
        session.Print("; the %s by %.9g with the tip at %.9g %.9g %.9g, on triangle %d",
                      PartName(worst.part).c_str(), worst.depth, tip[0], tip[1], tip[2],
                      worst.triangle);
        Json& json = result["deepest"];
        json["position"] = deepest;
        json["tip"] = tip;
        json["depth"] = worst.depth;
        json["part"] = PartName(worst.part);
        json["triangle"] = worst.triangle;
    }
    session.Print("\n");
    return count > 0;
}

void RunGouges(Session& session)
{
    const Tool tool = ToolOf(session);
    const std::vector<Mill::ToolPart> parts = PartsOf(session, tool);
    const Part part = session.ReadPart(session.Input(0));
    const std::vector<Vec3d> tips = ReadSpacePoints(session, session.Input(1));
    const double clearance = session.Number("--clearance");
    if (clearance > 0 && session.Has("--tolerance")) {
        session.RefuseUse("--tolerance lets the tool into the part, --clearance keeps it away: "
                          "give one of them");
    }
    const Mill::ContactSurface surface = SurfaceOf(session, part);
    const auto gouges =
        surface.FindGouges(parts, tips, clearance > 0 ? -clearance : session.Tolerance(), {});
    Session::CheckStopped();
    session.Result()["tool"] = ToolJson(tool);
    session.Result()["positions"] = tips.size();
    const bool isGouging = TellGouges(session, tips, gouges);
    Json list = Json::List();
    std::string table = "x,y,z,clear,depth,part,triangle\n";
    for (std::size_t i = 0; i < gouges.size(); ++i) {
        const Mill::GougeReport& gouge = gouges[i];
        table += NumberText(tips[i][0]) + ',' + NumberText(tips[i][1]) + ',' +
                 NumberText(tips[i][2]) + (gouge.isClear ? ",yes," : ",no,") +
                 NumberText(gouge.depth) + ',' + (gouge.isClear ? "" : PartName(gouge.part)) + ',' +
                 std::to_string(gouge.triangle) + '\n';
        if (session.WantsJson() && !gouge.isClear) {
            Json item;
            item["position"] = i;
            item["depth"] = gouge.depth;
            item["part"] = PartName(gouge.part);
            item["triangle"] = gouge.triangle;
            list.Add(std::move(item));
        }
    }
    session.Result()["reports"] = std::move(list);
    if (session.HasOutput()) {
        session.WriteText(table, session.Output());
    }
    if (isGouging) {
        session.Defect("gouges", "the tool gouges, or comes nearer than --clearance");
    }
}

// --- heights ------------------------------------------------------------------------------------

/// Positions over the box, as many as fit, in its middle; from the corner of --area on.
Mill::DropRaster RasterOver(const Session& session,
                            const Bounding::AxisAlignedBoundingBox<3, double>& box, double diameter)
{
    const double step = session.Has("--step") ? session.Number("--step") : diameter / 10;
    const double stepover = session.Has("--stepover") ? session.Number("--stepover") : step;
    std::array<double, 4> area{box.min[0], box.min[1], box.max[0], box.max[1]};
    if (session.Has("--area")) {
        const std::vector<double> numbers = session.Numbers("--area");
        std::copy(numbers.begin(), numbers.end(), area.begin());
    }
    constexpr double kRounding = 1e-9; // of a step: a last position that the area just holds
    const double columns = std::floor((area[2] - area[0]) / step + kRounding) + 1;
    const double rows = std::floor((area[3] - area[1]) / stepover + kRounding) + 1;
    if (!(columns >= 1 && rows >= 1)) {
        session.RefuseUse("--area X0,Y0,X1,Y1: the second corner lies beside the first one");
    }
    if (!(columns * rows <= kMostPositions)) {
        session.RefuseUse("more than 100 million positions; mind the unit of --step");
    }
    Mill::DropRaster raster;
    raster.columns = static_cast<int>(columns);
    raster.rows = static_cast<int>(rows);
    raster.step = {step, stepover};
    raster.origin = {area[0], area[1]};
    if (!session.Has("--area")) {
        raster.origin = {(area[0] + area[2] - (columns - 1) * step) / 2,
                         (area[1] + area[3] - (rows - 1) * stepover) / 2};
    }
    return raster;
}

/// The drops with their positions; positions of a list are the columns of a single row.
struct Passes {
    Mill::DropRaster raster;
    std::vector<Vec2d> list; // empty: a raster
    Mill::SurfaceDrops drops;

    int Rows() const { return list.empty() ? raster.rows : 1; }
    int Columns() const { return list.empty() ? raster.columns : static_cast<int>(list.size()); }
    std::size_t Number(int row, int column) const
    {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(Columns()) +
               static_cast<std::size_t>(column);
    }
    bool IsTouched(int row, int column) const { return drops.triangles[Number(row, column)] >= 0; }
    Vec3d Tip(int row, int column) const
    {
        const double height = drops.heights[Number(row, column)];
        if (!list.empty()) {
            const Vec2d& place = list[static_cast<std::size_t>(column)];
            return {place.x(), place.y(), height};
        }
        return {raster.origin[0] + column * raster.step[0], raster.origin[1] + row * raster.step[1],
                height};
    }

    /// Calls use(row, first column, end) for each run of touched positions.
    template <class Use>
    void ForEachRun(const Use& use) const
    {
        for (int row = 0; row < Rows(); ++row) {
            for (int column = 0; column < Columns(); ++column) {
                if (!IsTouched(row, column)) {
                    continue;
                }
                const int first = column;
                while (column < Columns() && IsTouched(row, column)) {
                    ++column;
                }
                use(row, first, column);
            }
        }
    }
};

std::string TableOf(const Passes& passes)
{
    std::string table = "x,y,z,triangle\n";
    for (int row = 0; row < passes.Rows(); ++row) {
        for (int column = 0; column < passes.Columns(); ++column) {
            const Vec3d tip = passes.Tip(row, column);
            table += NumberText(tip[0]) + ',' + NumberText(tip[1]) + ',';
            if (passes.IsTouched(row, column)) {
                table += NumberText(tip[2]) + ',' +
                         std::to_string(passes.drops.triangles[passes.Number(row, column)]) + '\n';
            } else {
                table += ",\n";
            }
        }
    }
    return table;
}

/// The raster as a picture of gray values of 16 bits, y upward: 1 for the lowest height, 65,535 for
/// the highest, and 0 where nothing is touched.
std::string GrayMapOf(const Passes& passes, double low, double high)
{
    constexpr double kGrays = 65534;
    std::string text = "P5\n# sorvane: 1 is a height of " + NumberText(low) + ", 65535 of " +
                       NumberText(high) + "\n" + std::to_string(passes.raster.columns) + ' ' +
                       std::to_string(passes.raster.rows) + "\n65535\n";
    for (int row = passes.raster.rows; row-- > 0;) {
        for (int column = 0; column < passes.raster.columns; ++column) {
            unsigned gray = 0;
            if (passes.IsTouched(row, column)) {
                const double share =
                    high > low ? (passes.Tip(row, column)[2] - low) / (high - low) : 1;
                gray = 1 + static_cast<unsigned>(std::lround(kGrays * share));
            }
            text += static_cast<char>(gray / 256);
            text += static_cast<char>(gray % 256);
        }
    }
    return text;
}

Json HeightsJson(const Passes& passes)
{
    Json heights = Json::List();
    for (std::size_t i = 0; i < passes.drops.heights.size(); ++i) {
        heights.Add(passes.drops.triangles[i] >= 0 ? Json(passes.drops.heights[i]) : Json());
    }
    return heights;
}

Json RasterJson(const Passes& passes)
{
    Json json;
    json["origin"] = passes.raster.origin;
    json["step"] = passes.raster.step;
    json["columns"] = passes.raster.columns;
    json["rows"] = passes.raster.rows;
    return json;
}

/// Seen from the front and above, from the farthest pass to the nearest; each hides what is behind
/// it.
SvgWriter PictureOf(const Passes& passes, double bottom)
{
    const Drawing::SvgView view{{0.3, -1, 0.9}, {0, 0, 1}};
    const SvgStyle curtain{"none", "#ffffff", 0, false};
    const SvgStyle line{"#1f4e79", "none", 0.8, false};
    SvgWriter picture(720);
    std::vector<std::vector<Vec3d>> runs;
    passes.ForEachRun([&](int row, int first, int end) {
        runs.emplace_back();
        for (int column = first; column < end; ++column) {
            const bool isBend = column == first || column + 1 == end ||
                                passes.Tip(row, column)[2] * 2 !=
                                    passes.Tip(row, column - 1)[2] + passes.Tip(row, column + 1)[2];
            if (isBend) {
                runs.back().push_back(passes.Tip(row, column));
            }
        }
    });
    for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
        Polyline points;
        for (const Vec3d& tip : *run) {
            points.push_back(SvgWriter::Projected(tip, view));
        }
        Polyline loop = points;
        for (const Vec3d& end : {run->back(), run->front()}) {
            loop.push_back(SvgWriter::Projected({end[0], end[1], bottom}, view));
        }
        picture.AddRegion({loop}, curtain);
        picture.AddPolyline(points, line);
    }
    return picture;
}

std::string ProgramOf(const Passes& passes, double clear, double feed)
{
    std::string program;
    const auto add = [&](const char* format, auto... numbers) {
        std::array<char, 160> line{};
        std::snprintf(line.data(), line.size(), format, numbers...);
        program += line.data();
    };
    add("G90\nG0 Z%.4f\n", clear);
    passes.ForEachRun([&](int row, int first, int end) {
        const bool isBackward = row % 2 == 1;
        for (int i = 0; i < end - first; ++i) {
            const Vec3d tip = passes.Tip(row, isBackward ? end - 1 - i : first + i);
            if (i == 0) {
                add("G0 X%.4f Y%.4f\n", tip[0], tip[1]);
                add("G1 Z%.4f F%.10g\n", tip[2], feed);
            } else {
                add("X%.4f Z%.4f\n", tip[0], tip[2]);
            }
        }
        add("G0 Z%.4f\n", clear);
    });
    return program + "M30\n";
}

bool EndsWith(std::string text, const std::string& end)
{
    for (char& letter : text) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return text.ends_with(end);
}

void RunHeights(Session& session)
{
    RefuseStandardOutput(session, {"--gcode"});
    const Tool tool = ToolOf(session);
    const std::vector<Mill::ToolPart> parts = PartsOf(session, tool);
    const bool isList = session.Has("--points");
    const bool isGray = session.HasOutput() && EndsWith(session.Output(), ".pgm");
    if (isList && (session.WantsPicture() || isGray || session.Has("--gcode") ||
                   session.Has("--step") || session.Has("--stepover") || session.Has("--area"))) {
        session.RefuseUse("--points go with a table or JSON; pictures, programs and steps belong "
                          "to rasters");
    }
    const Part part = session.ReadPart(session.Input());
    const auto box = Bounding::BoxOfPoints(part.points);
    const Mill::ContactSurface surface = SurfaceOf(session, part);
    const Mill::ConvexToolContact contact(tool);
    Passes passes;
    if (isList) {
        passes.list = ReadPlanePoints(session, session.Text("--points"));
        passes.drops = surface.DropAtPoints(contact, passes.list, {});
    } else {
        passes.raster = RasterOver(session, box, 2 * contact.Radius());
        passes.drops = surface.DropOnRaster(contact, passes.raster, {});
    }
    Session::CheckStopped();

    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    std::vector<Vec3d> tips;
    passes.ForEachRun([&](int row, int first, int end) {
        for (int column = first; column < end; ++column) {
            tips.push_back(passes.Tip(row, column));
            low = std::min(low, tips.back()[2]);
            high = std::max(high, tips.back()[2]);
        }
    });
    Json& result = session.Result();
    result["tool"] = ToolJson(tool);
    result["positions"] = passes.drops.heights.size();
    result["touching"] = tips.size();
    if (!isList) {
        result["raster"] = RasterJson(passes);
        session.Print("%d passes of %d positions on %zu triangles\n", passes.raster.rows,
                      passes.raster.columns, surface.TriangleCount());
    }
    session.Print("%zu of %zu positions touch", tips.size(), passes.drops.heights.size());
    if (!tips.empty()) {
        result["lowest"] = low;
        result["highest"] = high;
        session.Print(", with the tip from %.9g to %.9g", low, high);
    }
    session.Print("\n");

    if (session.HasOutput() && EndsWith(session.Output(), ".json")) {
        Json file;
        if (isList) {
            file["points"] = passes.list;
        } else {
            file["raster"] = RasterJson(passes);
        }
        file["tool"] = ToolJson(tool);
        file["heights"] = HeightsJson(passes);
        file["triangles"] = passes.drops.triangles;
        session.WriteText(JsonText(file), session.Output());
    } else if (session.HasOutput()) {
        session.WriteText(isGray ? GrayMapOf(passes, low, high) : TableOf(passes),
                          session.Output());
    }
    if (session.WantsPicture()) {
        session.WritePicture(PictureOf(passes, low));
    }
    if (session.Has("--gcode")) {
        session.WriteText(
            ProgramOf(passes, box.max[2] + contact.Radius(), session.Number("--feed")),
            session.Text("--gcode"));
    }
    if (session.Has("--holder")) {
        const auto gouges = surface.FindGouges(parts, tips, session.Tolerance(), {});
        Session::CheckStopped();
        if (TellGouges(session, tips, gouges)) {
            session.Defect("gouges", "shank or holder gouge; use a longer cutter, --length");
        }
    }
}

// --- tool ---------------------------------------------------------------------------------------

void RunTool(Session& session)
{
    Polyline points;
    const auto report = FittedTool(session, session.Input(), session.Tolerance(), &points);
    const Tool& tool = report.tool;
    constexpr double kDegrees = 180 / kPi<double>;
    session.Print("tip radius %.9g\nlower corner radius %.9g, angle %.9g degrees\n"
                  "taper height %.9g, angle %.9g degrees\nupper corner radius %.9g\n"
                  "shank length %.9g\n"
                  "off the hull by %.4g, off the points by %.4g, %.4g on the average\n",
                  tool.tipRadius, tool.lowerCornerRadius, tool.lowerCornerAngle * kDegrees,
                  tool.taperHeight, tool.taperAngle * kDegrees, tool.upperCornerRadius,
                  tool.shankLength, report.hullDeviation, report.pointDeviation,
                  report.meanDeviation);
    Json& result = session.Result();
    result["tool"] = ToolJson(tool);
    result["hull_deviation"] = report.hullDeviation;
    result["point_deviation"] = report.pointDeviation;
    result["mean_deviation"] = report.meanDeviation;
    const Chain profile = Mill::PolyArcSegFromTool(tool);
    if (session.HasOutput()) {
        session.WriteText(ChainText({profile}), session.Output());
    }
    if (session.WantsPicture()) {
        // The tool stands with the lower corner of the outline's box on the origin.
        Vec2d low = points.front();
        for (const Vec2d& point : points) {
            low = {std::min(low.x(), point.x()), std::min(low.y(), point.y())};
        }
        for (Vec2d& point : points) {
            point -= low;
        }
        const SvgStyle arc{"#d1491b", "none", 3};
        const SvgStyle segment{"#1f4e79", "none", 3};
        const SvgStyle point{"#888888", "#888888", 1.5};
        const SvgStyle joint{"#222222", "#222222", 2};
        SvgWriter picture(520);
        picture.AddPoints(points, point);
        for (const auto& element : profile.elements) {
            Chain one;
            one.elements = {element};
            picture.AddChain(one, element.AsArc() != nullptr ? arc : segment);
            picture.AddPoints({element.StartPoint(), element.EndPoint()}, joint);
        }
        picture.AddLegend("points of the outline", point);
        picture.AddLegend("flat, cone and shank", segment);
        picture.AddLegend("lower and upper corner", arc);
        session.WritePicture(picture);
    }
    if (!(report.hullDeviation <= session.Tolerance())) {
        session.Defect("no_fit", "no tool lies within --tolerance of the outline; the nearest one "
                                 "is told");
    }
}

} // namespace

Command HeightsCommand()
{
    Command command;
    command.name = "heights";
    command.summary = "Lowers a milling tool on a part at many positions (drop cutter)";
    command.description =
        "At each position of a raster, or of a file of points, the tool comes down along z until "
        "it "
        "touches; the height is that of its tip. Passes of a raster run along x. With --holder all "
        "positions are checked for what shank and holder gouge.";
    command.output =
        "write the heights: a table (CSV) of x, y, z of the tip and the triangle that stops it, "
        "both empty where nothing is below; with the extension .json the raster and the heights; "
        "with .pgm a map of 16-bit gray values, y upward, 0 where nothing is below";
    command.tolerance = "with --holder: how deep shank and holder may be in the part";
    command.toleranceDefault = "1e-9";
    command.toleranceNeeds = {"--holder"};
    command.picture = "write a picture of the passes, those behind hidden by those in front";
    command.options = ToolOptions();
    const std::vector<Option> own{
        Opt::Number(
            "--step", "LENGTH",
            "distance of positions along a pass; a tenth of the tool's diameter unless told")
            .Positive(),
        Opt::Number("--stepover", "LENGTH", "distance from pass to pass; --step unless told")
            .Positive(),
        Opt::Numbers(
            "--area", "X0,Y0,X1,Y1",
            "from one corner to the other, the first one included; over the part's box, in "
            "its middle, unless told")
            .Exactly(4),
        Opt::File("--points", "FILE", "positions, x and y to a line, in place of a raster").Read(),
        Opt::File("--gcode", "FILE",
                  "write the passes to and fro as a program, lifted where nothing is below"),
        Opt::Number("--feed", "LENGTH", "feed of --gcode, in the part's unit for a minute")
            .Positive()
            .Default("1000")
            .With({"--gcode"})};
    command.options.insert(command.options.end(), own.begin(), own.end());
    command.defects = "shank or holder gouge";
    command.examples = {
        {"sorvane heights bracket.stl --ball 6 --step 1 -o heights.csv --svg passes.svg",
         "passes of a ball of diameter 6"},
        {"sorvane heights bracket.stl --bull 10,2 --step 2 --length 60 --holder 40,50 --gcode "
         "passes.nc",
         "a program, and whether the holder is in the way"}};
    command.run = RunHeights;
    return command;
}

Command GougesCommand()
{
    Command command;
    command.name = "gouges";
    command.summary = "Tells where a tool with its holder gouges a part";
    command.description =
        "Positions of the tip come from a file or the standard input, x, y and z to a line, as "
        "`sorvane heights` writes them; lines without a height are left out. The depth is how far "
        "the tool would have to be lifted.";
    command.inputs = {"PART", "POSITIONS"};
    command.leastInputs = 2;
    command.mostInputs = 2;
    command.output =
        "write a table (CSV) of each position, whether it is clear, the depth, the part "
        "of the tool and the triangle";
    command.tolerance = "how deep the tool may be in the part";
    command.toleranceDefault = "1e-9";
    command.options = ToolOptions();
    command.options.push_back(
        Opt::Number("--clearance", "LENGTH", "how far the tool has to stay above the part")
            .From(0)
            .Default("0"));
    command.defects = "a position gouges, or is nearer than --clearance";
    command.examples = {
        {"sorvane heights bracket.stl --ball 6 --step 4 -o - | sorvane gouges bracket.stl - --ball "
         "5.9",
         "a tool gouges nowhere that a wider one of its kind has been"}};
    command.run = RunGouges;
    return command;
}

Command ToolCommand()
{
    Command command;
    command.name = "tool";
    command.summary = "Turns a drawn or scanned outline into a milling tool";
    command.description =
        "The outline holds radius and height to a line, from the tip on the axis outward and "
        "upward, or a chain; it may be noisy. The fields that are told are those of --shape of "
        "`sorvane heights`.";
    command.inputs = {"OUTLINE"};
    command.output = "write the tool's half profile as a chain";
    command.tolerance = "how far the tool may lie off the hull of the outline";
    command.toleranceDefault = "0.05";
    command.picture = "write a picture of the outline's points and the tool";
    command.defects = "no tool lies within the tolerance";
    command.examples = {{"sorvane tool chamfer_tool.txt -o profile.txt --svg tool.svg",
                         "a flat cutter with a chamfer"}};
    command.run = RunTool;
    return command;
}

} // namespace Cli
