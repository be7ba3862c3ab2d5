// Finishing passes over a part: a tool is lowered at each position of a raster until it touches.
//
//   drop_cutter PART TOOL DIAMETER [--corner R | --angle DEGREES] [--step LENGTH] [--stepover
//   LENGTH]
//               [--holder DIAMETER HEIGHT] [--table HEIGHTS.csv] [--svg PICTURE.svg]
//               [--gcode PROGRAM.nc] [--feed LENGTH]
//
// TOOL is ball, flat, bull (with a corner radius, a quarter of the diameter's half unless told) or
// cone (with the whole angle of its tip, 90 degrees unless told). Passes run along x, their
// positions `step` apart (a tenth of the diameter unless told) and the passes `stepover` (the
// same), over the part's box.
//
// With a holder the tool is a cutter on a shank of its own diameter, up to `HEIGHT` above the tip,
// and a cylinder from there on; every position is checked for what it gouges.
//
//   HEIGHTS.csv  x, y, z of the tip and the triangle that stops it; both empty where nothing is
//   below PICTURE.svg  the passes, those behind hidden by those in front PROGRAM.nc   the passes to
//   and fro, lifted above the part where nothing is below; in the part's unit
//
// Exit codes:
//   0 done
//   1 a file can't be read or written
//   2 wrong use
//   3 the holder or the shank gouges somewhere; all files are written

#include "Arguments.h"
#include "PartFiles.h"
#include "PictureOutput.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ContactSurface_E.h>
#include <Sorvane/SvgWriter_E.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Part = Mesh::IndexedPointsBase<3, double>;
using Tool = Mill::ConvexStandardToolBase<double>;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
constexpr int kGouges = 3;

constexpr double kPi = 3.141592653589793;
/// Positions that are a program's, and not an error of the units.
constexpr double kMostPositions = 1e8;
/// Depth, in the part's unit, up to which a touch of the holder is one.
constexpr double kTouch = 1e-9;

struct Options {
    std::string part;
    Tool tool;
    double diameter = 0;
    double step = 0;
    double stepover = 0;
    double holderDiameter = 0;
    double holderHeight = 0;
    double feed = 1000;
    std::string table;
    std::string svg;
    std::string gcode;
};

std::optional<Tool> ToolOf(std::string_view kind, double diameter, std::optional<double> corner,
                           std::optional<double> angle)
{
    const double radius = diameter / 2;
    if (corner && kind != "bull") {
        return std::nullopt;
    }
    if (angle && kind != "cone") {
        return std::nullopt;
    }
    if (kind == "ball") {
        return Tool{
            .lowerCornerRadius = radius, .lowerCornerAngle = kPi / 2, .shankLength = diameter};
    }
    if (kind == "flat") {
        return Tool{.tipRadius = radius, .shankLength = diameter};
    }
    if (kind == "bull") {
        const double r = corner.value_or(radius / 4);
        if (!(r > 0 && r <= radius)) {
            return std::nullopt;
        }
        return Tool{.tipRadius = radius - r,
                    .lowerCornerRadius = r,
                    .lowerCornerAngle = kPi / 2,
                    .shankLength = diameter};
    }
    const double half = angle.value_or(90) / 2 * kPi / 180;
    if (kind != "cone" || !(half > 0 && half < kPi / 2)) {
        return std::nullopt;
    }
    return Tool{
        .taperHeight = radius / std::tan(half), .taperAngle = half, .shankLength = diameter};
}

std::optional<Options> ParseOptions(int argc, char** argv)
{
    Options options;
    std::vector<std::string_view> words;
    std::optional<double> corner;
    std::optional<double> angle;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        const auto length = [&]() -> std::optional<double> {
            const auto value = i + 1 < argc ? LengthOf(argv[++i]) : std::nullopt;
            return value && *value > 0 ? value : std::nullopt;
        };
        const auto name = [&](std::string& file) {
            file = i + 1 < argc ? argv[++i] : "";
            return !file.empty();
        };
        const auto take = [](double& target, std::optional<double> value) {
            target = value.value_or(0);
            return value.has_value();
        };
        bool isGood = true;
        if (word == "--corner") {
            isGood = (corner = length()).has_value();
        } else if (word == "--angle") {
            isGood = (angle = length()).has_value();
        } else if (word == "--step") {
            isGood = take(options.step, length());
        } else if (word == "--stepover") {
            isGood = take(options.stepover, length());
        } else if (word == "--feed") {
            isGood = take(options.feed, length());
        } else if (word == "--holder") {
            isGood = take(options.holderDiameter, length()) && take(options.holderHeight, length());
        } else if (word == "--table") {
            isGood = name(options.table);
        } else if (word == "--svg") {
            isGood = name(options.svg);
        } else if (word == "--gcode") {
            isGood = name(options.gcode);
        } else {
            isGood = !word.starts_with("--");
            words.push_back(word);
        }
        if (!isGood) {
            return std::nullopt;
        }
    }
    const auto diameter = words.size() == 3 ? LengthOf(words[2]) : std::nullopt;
    const auto tool =
        diameter && *diameter > 0 ? ToolOf(words[1], *diameter, corner, angle) : std::nullopt;
    if (!tool) {
        return std::nullopt;
    }
    options.part = words[0];
    options.tool = *tool;
    options.diameter = *diameter;
    options.step = options.step > 0 ? options.step : *diameter / 10;
    options.stepover = options.stepover > 0 ? options.stepover : *diameter / 10;
    return options;
}

/// Positions over the box, as many as fit, in its middle.
std::optional<Mill::DropRaster> RasterOver(const Bounding::AxisAlignedBoundingBox<3, double>& box,
                                           const Options& options)
{
    const double columns = std::floor((box.max[0] - box.min[0]) / options.step) + 1;
    const double rows = std::floor((box.max[1] - box.min[1]) / options.stepover) + 1;
    if (!(columns * rows <= kMostPositions)) {
        return std::nullopt;
    }
    Mill::DropRaster raster;
    raster.columns = static_cast<int>(columns);
    raster.rows = static_cast<int>(rows);
    raster.step = {options.step, options.stepover};
    raster.origin = {(box.min[0] + box.max[0] - (columns - 1) * options.step) / 2,
                     (box.min[1] + box.max[1] - (rows - 1) * options.stepover) / 2};
    return raster;
}

/// The drops with their positions.
struct Passes {
    Mill::DropRaster raster;
    Mill::SurfaceDrops drops;

    std::size_t Number(int row, int column) const
    {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(raster.columns) +
               static_cast<std::size_t>(column);
    }
    bool IsTouched(int row, int column) const { return drops.triangles[Number(row, column)] >= 0; }
    Vec3d Tip(int row, int column) const
    {
        return {raster.origin[0] + column * raster.step[0], raster.origin[1] + row * raster.step[1],
                drops.heights[Number(row, column)]};
    }

    /// Calls use(row, first column, end) for each run of touched positions.
    template <class Use>
    void ForEachRun(const Use& use) const
    {
        for (int row = 0; row < raster.rows; ++row) {
            for (int column = 0; column < raster.columns; ++column) {
                if (!IsTouched(row, column)) {
                    continue;
                }
                const int first = column;
                while (column < raster.columns && IsTouched(row, column)) {
                    ++column;
                }
                use(row, first, column);
            }
        }
    }
};

/// False, and said so, when the file can't be written.
bool SaveText(const std::ostringstream& text, const std::string& path)
{
    std::ofstream file(path, std::ios::binary);
    file << text.str();
    file.close();
    if (!file) {
        std::fprintf(stderr, "%s: can't be written\n", path.c_str());
    }
    return static_cast<bool>(file);
}

bool WriteTable(const Passes& passes, const std::string& path)
{
    std::ostringstream table;
    table << std::setprecision(9) << "x,y,z,triangle\n";
    for (int row = 0; row < passes.raster.rows; ++row) {
        for (int column = 0; column < passes.raster.columns; ++column) {
            const Vec3d tip = passes.Tip(row, column);
            table << tip[0] << ',' << tip[1] << ',';
            if (passes.IsTouched(row, column)) {
                table << tip[2] << ',' << passes.drops.triangles[passes.Number(row, column)]
                      << '\n';
            } else {
                table << ",\n";
            }
        }
    }
    return SaveText(table, path);
}

/// Seen from the front and above, from the farthest pass to the nearest; each hides what is behind
/// it.
bool WritePicture(const Passes& passes, double bottom, const std::string& path)
{
    const Drawing::SvgView view{{0.3, -1, 0.9}, {0, 0, 1}};
    const Drawing::SvgStyle curtain{"none", "#ffffff", 0, false};
    const Drawing::SvgStyle line{"#1f4e79", "none", 0.8, false};
    Drawing::SvgWriter picture(720);
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
        std::vector<Vec2d> points;
        for (const Vec3d& tip : *run) {
            points.push_back(Drawing::SvgWriter::Projected(tip, view));
        }
        std::vector<Vec2d> loop = points;
        for (const Vec3d& end : {run->back(), run->front()}) {
            loop.push_back(Drawing::SvgWriter::Projected({end[0], end[1], bottom}, view));
        }
        picture.AddRegion({loop}, curtain);
        picture.AddPolyline(points, line);
    }
    return SavePicture(picture, path);
}

bool WriteProgram(const Passes& passes, double top, const Options& options)
{
    const double clear = top + options.diameter / 2;
    std::ostringstream program;
    program << std::fixed << std::setprecision(4) << "G90\nG0 Z" << clear << '\n';
    passes.ForEachRun([&](int row, int first, int end) {
        const bool isBackward = row % 2 == 1;
        for (int i = 0; i < end - first; ++i) {
            const Vec3d tip = passes.Tip(row, isBackward ? end - 1 - i : first + i);
            if (i == 0) {
                program << "G0 X" << tip[0] << " Y" << tip[1] << "\nG1 Z" << tip[2] << " F"
                        << options.feed << '\n';
            } else {
                program << 'X' << tip[0] << " Z" << tip[2] << '\n';
            }
        }
        program << "G0 Z" << clear << '\n';
    });
    program << "M30\n";
    return SaveText(program, options.gcode);
}

/// The number of positions at which holder or shank gouge; the deepest is told.
std::size_t TellGouges(const Mill::ContactSurface& surface, const Passes& passes,
                       const Options& options)
{
    const std::vector<Mill::ToolPart> parts{
        {{.tipRadius = options.diameter / 2,
          .shankLength = std::max(options.holderHeight - options.diameter, options.diameter)},
         options.diameter},
        {{.tipRadius = options.holderDiameter / 2, .shankLength = options.holderHeight},
         options.holderHeight}};
    std::vector<Vec3d> tips;
    passes.ForEachRun([&](int row, int first, int end) {
        for (int column = first; column < end; ++column) {
            tips.push_back(passes.Tip(row, column));
        }
    });
    const std::vector<Mill::GougeReport> gouges = surface.FindGouges(parts, tips, kTouch, {});
    std::size_t count = 0;
    std::size_t deepest = 0;
    for (std::size_t i = 0; i < gouges.size(); ++i) {
        count += gouges[i].isClear ? 0 : 1;
        deepest = gouges[i].depth > gouges[deepest].depth ? i : deepest;
    }
    std::printf("%zu positions where shank or holder gouge", count);
    if (count > 0) {
        const Vec3d& tip = tips[deepest];
        std::printf("; the %s by %.6g with the tip at %.6g %.6g %.6g, on triangle %d",
                    gouges[deepest].part == 0 ? "shank" : "holder", gouges[deepest].depth, tip[0],
                    tip[1], tip[2], gouges[deepest].triangle);
    }
    std::printf("\n");
    return count;
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<Options> options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(
            stderr,
            "usage: drop_cutter PART ball|flat|bull|cone DIAMETER [--corner R | --angle DEGREES]\n"
            "  [--step LENGTH] [--stepover LENGTH] [--holder DIAMETER HEIGHT]\n"
            "  [--table HEIGHTS.csv] [--svg PICTURE.svg] [--gcode PROGRAM.nc] [--feed LENGTH]\n");
        return kWrongUse;
    }
    Part part;
    if (!ReadWeldedPart(part, options->part, 0.0)) {
        return kFailed;
    }
    const auto box = Bounding::BoxOfPoints(part.points);
    const std::optional<Mill::DropRaster> raster = RasterOver(box, *options);
    if (!raster) {
        std::fprintf(stderr, "%s: more than %g positions; mind the unit of the step\n",
                     options->part.c_str(), kMostPositions);
        return kWrongUse;
    }

    const auto start = std::chrono::steady_clock::now();
    const Mill::ContactSurface surface(part.points, part.indices);
    Passes passes{*raster,
                  surface.DropOnRaster(Mill::ConvexToolContact(options->tool), *raster, {})};
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;

    double low = box.max[2];
    double high = -1e300;
    std::size_t touched = 0;
    for (std::size_t i = 0; i < passes.drops.heights.size(); ++i) {
        if (passes.drops.triangles[i] >= 0) {
            low = std::min(low, passes.drops.heights[i]);
            high = std::max(high, passes.drops.heights[i]);
            ++touched;
        }
    }
    std::printf("%d passes of %d positions on %zu triangles, in %.3g s\n", raster->rows,
                raster->columns, surface.TriangleCount(), took.count());
    std::printf("%zu positions touch", touched);
    if (touched > 0) {
        std::printf(", with the tip from %.9g to %.9g", low, high);
    }
    std::printf("\n");

    if (!options->table.empty() && !WriteTable(passes, options->table)) {
        return kFailed;
    }
    if (!options->svg.empty() && !WritePicture(passes, low, options->svg)) {
        return kFailed;
    }
    if (!options->gcode.empty() && !WriteProgram(passes, box.max[2], *options)) {
        return kFailed;
    }
    if (options->holderDiameter > 0 && TellGouges(surface, passes, *options) > 0) {
        return kGouges;
    }
    return kDone;
}
