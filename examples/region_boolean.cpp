// Unites, subtracts or intersects the regions of two files, or sweeps the first along the second,
// and tells the areas.
//
//   region_boolean union|difference|intersection a.txt b.txt [picture.svg]
//   region_boolean sweep tool.txt path.txt [picture.svg]
//
// A file holds loops of points, two numbers to a line, with an empty line between loops. Loops need
// not repeat their first point; those that run against the others are holes. `sweep` takes the
// second file as open paths, puts the tool, about the origin, down every eighth of its size along
// them, and unites that stream of loops. Exit codes: 0 done, 1 a file can't be read, holds no loop,
// or the picture can't be written, 2 wrong use.

#include "Arguments.h"

#include <Sorvane/PlanarRegions_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Loops = std::vector<std::vector<Vec2d>>;

/// Says so, and gives nothing, when the file can't be read or holds anything but loops.
std::optional<Loops> LoopsOfFile(const char* name)
{
    std::ifstream file(name);
    Loops loops;
    bool isInLoop = false;
    bool isSound = file.is_open();
    for (std::string line; isSound && std::getline(file, line);) {
        const std::size_t from = line.find_first_not_of(" \t\r");
        if (from == std::string::npos) {
            isInLoop = false;
            continue;
        }
        const std::size_t gap = line.find_first_of(" \t", from);
        const std::size_t next = line.find_first_not_of(" \t", gap);
        const std::size_t end = line.find_last_not_of(" \t\r") + 1;
        const auto x = NumberOf(std::string_view(line).substr(from, gap - from));
        const auto y =
            next < end ? NumberOf(std::string_view(line).substr(next, end - next)) : std::nullopt;
        isSound = x && y;
        if (isSound) {
            if (!isInLoop) {
                loops.emplace_back();
            }
            isInLoop = true;
            loops.back().push_back({*x, *y});
        }
    }
    if (!isSound || loops.empty()) {
        std::fprintf(stderr, "%s: holds no loops, or can't be read\n", name);
        return std::nullopt;
    }
    return loops;
}

double AreaOf(const Loops& region)
{
    double area = 0;
    for (const std::vector<Vec2d>& loop : region) {
        area += Vector::SignedArea(loop);
    }
    return area;
}

struct Box {
    Vec2d low;
    Vec2d high;

    explicit Box(const Loops& loops) : low(loops.front().front()), high(low)
    {
        for (const std::vector<Vec2d>& loop : loops) {
            for (const Vec2d& p : loop) {
                low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
                high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
            }
        }
    }

    double Size() const { return std::max(high.x() - low.x(), high.y() - low.y()); }
};

/// What is not in `b`, as far as a frame around both. What `a` has in common with `b` is `a`
/// without it. (To take from `a` what is left of it without `b` would leave slivers along its
/// edges, as these are cut and rounded on the way.)
Loops Outside(const Loops& a, const Loops& b)
{
    Loops both = a;
    both.insert(both.end(), b.begin(), b.end());
    const Box box(both);
    const Vec2d margin(0.01 * box.Size(), 0.01 * box.Size());
    const Vec2d low = box.low - margin;
    const Vec2d high = box.high + margin;
    return Planar::Difference<double>({{low, {high.x(), low.y()}, high, {low.x(), high.y()}}}, b,
                                      nullptr);
}

/// Where the tool is put down: along each path, in steps no longer than `step`.
std::vector<Vec2d> Positions(const Loops& paths, double step)
{
    constexpr double kMostSteps = 1e5; // for each line
    std::vector<Vec2d> positions;
    for (const std::vector<Vec2d>& path : paths) {
        positions.push_back(path.front());
        for (std::size_t i = 1; i < path.size(); ++i) {
            const Vec2d along = path[i] - path[i - 1];
            const double count =
                std::clamp(std::ceil(Vector::Length(along) / step), 1.0, kMostSteps);
            for (double k = 1; k <= count; ++k) {
                positions.push_back(path[i - 1] + along * (k / count));
            }
        }
    }
    return positions;
}

/// The union of the tool in all positions, as they come: fifty at a time, united every eight
/// batches.
Loops Swept(const Loops& tool, const Loops& paths)
{
    const Box toolBox(tool);
    const Box pathBox(paths);
    const std::vector<Vec2d> positions = Positions(paths, toolBox.Size() / 8);
    Planar::BufferredUnion swept(pathBox.low + toolBox.low, pathBox.high + toolBox.high, 8);
    Loops batch;
    for (std::size_t i = 0; i < positions.size(); ++i) {
        for (std::vector<Vec2d> loop : tool) {
            loop.push_back(loop.front());
            for (Vec2d& p : loop) {
                p += positions[i];
            }
            batch.push_back(std::move(loop));
        }
        if (i % 50 == 49 || i + 1 == positions.size()) {
            swept.Append(batch);
            batch.clear();
        }
    }
    std::printf("tool put down %zu times\n", positions.size());
    return swept.Process();
}

bool Draw(const Loops& a, const Loops& b, bool bIsPath, const Loops& result, const char* name,
          const std::string& operation)
{
    const Drawing::SvgStyle resultStyle{"#1f4e79", "#cfe0ee", 1.5, false};
    const Drawing::SvgStyle aStyle{"#555555", "none", 1.5, true};
    const Drawing::SvgStyle bStyle{"#d1491b", "none", 1.5, true};
    Drawing::SvgWriter picture(560);
    picture.AddRegion(result, resultStyle);
    picture.AddRegion(a, aStyle);
    for (const std::vector<Vec2d>& loop : b) {
        bIsPath ? picture.AddPolyline(loop, bStyle) : picture.AddRegion({loop}, bStyle);
    }
    picture.AddLegend(operation, resultStyle);
    picture.AddLegend(bIsPath ? "tool" : "first region", aStyle);
    picture.AddLegend(bIsPath ? "path" : "second region", bStyle);
    const bool isWritten = picture.Write(name);
    if (!isWritten) {
        std::fprintf(stderr, "%s: can't be written\n", name);
    }
    return isWritten;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string operation = argc > 1 ? argv[1] : "";
    const bool isSweep = operation == "sweep";
    const bool isKnown =
        isSweep || operation == "union" || operation == "difference" || operation == "intersection";
    if (argc < 4 || argc > 5 || !isKnown) {
        std::fprintf(stderr, "usage: region_boolean union|difference|intersection a.txt b.txt "
                             "[picture.svg]\n"
                             "       region_boolean sweep tool.txt path.txt [picture.svg]\n");
        return 2;
    }
    const auto a = LoopsOfFile(argv[2]);
    const auto b = LoopsOfFile(argv[3]);
    if (!a || !b) {
        return 1;
    }
    Loops result;
    double resolution = 0;
    if (isSweep) {
        result = Swept(*a, *b);
    } else if (operation == "union") {
        // Each by itself first: which of its loops are holes is told by its own sum of areas.
        Loops both = Planar::Union<double>(*a, nullptr);
        const Loops second = Planar::Union<double>(*b, nullptr);
        both.insert(both.end(), second.begin(), second.end());
        result = Planar::Union(both, &resolution);
    } else {
        const Loops taken = operation == "difference" ? *b : Outside(*a, *b);
        result = Planar::Difference(*a, taken, &resolution);
    }
    std::printf("%s: %zu loops, area %.9g\n", operation.c_str(), result.size(), AreaOf(result));
    if (!isSweep) {
        std::printf("first %.9g, second %.9g, resolution %.3g\n",
                    AreaOf(Planar::Union<double>(*a, nullptr)),
                    AreaOf(Planar::Union<double>(*b, nullptr)), resolution);
    }
    return argc < 5 || Draw(*a, *b, isSweep, result, argv[4], operation) ? 0 : 1;
}
