// Drops of tools on a prepared mesh, on one thread or on all: a raster over a wavy sheet of edge
// 100, tools of diameter 5; over the part that SORVANE_BENCH_STL names, tools of diameter 10. Items
// are positions.

#include <Sorvane/ContactSurface_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mill::ContactSurface;
using Mill::ConvexToolContact;
using Mill::DropRaster;

using Tool = Mill::ConvexStandardToolBase<double>;

constexpr double kRightAngle = 1.5707963267948966;
constexpr const char* kNames[] = {"ball", "flat", "bull nose", "tapered ball"};

/// Number 0 to 3: the tools of `kNames`.
Tool ToolOf(std::int64_t number, double diameter)
{
    const double radius = diameter / 2;
    switch (number) {
    case 0:
        return {.lowerCornerRadius = radius, .lowerCornerAngle = kRightAngle};
    case 1:
        return {.tipRadius = radius, .shankLength = diameter};
    case 2:
        return {.tipRadius = 0.75 * radius,
                .lowerCornerRadius = radius / 4,
                .lowerCornerAngle = kRightAngle,
                .shankLength = diameter};
    default:
        return {.lowerCornerRadius = radius / 2,
                .lowerCornerAngle = kRightAngle,
                .taperHeight = diameter,
                .taperAngle = 0.2};
    }
}

/// So many positions in a square over the points.
DropRaster RasterOver(const std::vector<Vec3d>& points, std::int64_t count)
{
    Vec2d low{points[0].x(), points[0].y()};
    Vec2d high = low;
    for (const Vec3d& p : points) {
        for (int axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
    const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(count))));
    DropRaster raster;
    raster.columns = raster.rows = side;
    raster.step = (high - low) / side;
    raster.origin = low + raster.step * 0.5;
    return raster;
}

void Run(benchmark::State& state, const Bench::IndexedMesh& mesh, double diameter,
         std::int64_t positions)
{
    if (mesh.points.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no part");
        return;
    }
    const ContactSurface surface(mesh.points, mesh.indices);
    const ConvexToolContact tool(ToolOf(state.range(0), diameter));
    const DropRaster raster = RasterOver(mesh.points, positions);
    for (auto _ : state) {
        benchmark::DoNotOptimize(surface.DropOnRaster(tool, raster, {}));
    }
    state.SetItemsProcessed(state.iterations() * positions);
    state.SetLabel(kNames[state.range(0)]);
}

/// Tool, triangles, positions.
void BM_DropOnRaster(benchmark::State& state)
{
    Run(state, Bench::WavySheet(state.range(1)), 5.0, state.range(2));
}

/// 10^4 positions over the whole box of the part.
void BM_DropOnPart(benchmark::State& state) { Run(state, Bench::NamedMesh(), 10.0, 10'000); }

void BM_BuildSurface(benchmark::State& state)
{
    const Bench::IndexedMesh mesh =
        state.range(0) == 0 ? Bench::NamedMesh() : Bench::WavySheet(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(ContactSurface(mesh.points, mesh.indices));
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(mesh.indices.size() / 3));
}

/// One drop over a soup that is not prepared: triangles.
void BM_DropAt(benchmark::State& state)
{
    const Bench::IndexedMesh mesh = Bench::WavySheet(state.range(0));
    std::vector<Vec3d> soup;
    for (const int number : mesh.indices) {
        soup.push_back(mesh.points[static_cast<std::size_t>(number)]);
    }
    const ConvexToolContact tool(ToolOf(0, 5.0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(tool.DropAt({50.0, 50.0}, soup));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Cutter, shank and holder at 10^4 positions where the cutter touches: triangles.
void BM_FindGouges(benchmark::State& state)
{
    const Bench::IndexedMesh mesh = Bench::WavySheet(state.range(0));
    const ContactSurface surface(mesh.points, mesh.indices);
    const DropRaster raster = RasterOver(mesh.points, 10'000);
    const Mill::SurfaceDrops drops =
        surface.DropOnRaster(ConvexToolContact(ToolOf(0, 5.0)), raster, {});
    std::vector<Vec3d> tips;
    for (int row = 0; row < raster.rows; ++row) {
        for (int column = 0; column < raster.columns; ++column) {
            tips.push_back({raster.origin[0] + column * raster.step[0],
                            raster.origin[1] + row * raster.step[1], drops.heights[tips.size()]});
        }
    }
    const std::vector<Mill::ToolPart> parts{{ToolOf(0, 5.0), 0.0},
                                            {{.tipRadius = 2.5, .shankLength = 15}, 2.5},
                                            {{.tipRadius = 20, .shankLength = 30}, 17.5}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(surface.FindGouges(parts, tips, 1e-9, {}));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(tips.size()));
}

BENCHMARK(BM_DropOnRaster)
    ->ArgsProduct({{0, 1, 2, 3}, {10'000, 100'000, 1'000'000}, {10'000}})
    ->ArgsProduct({{0}, {1'000'000}, {100'000, 1'000'000}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DropOnPart)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildSurface)
    ->Arg(0)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DropAt)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FindGouges)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

} // namespace
