// Shells swept by balls of growing size along a circle, which turns few triangles at each step, and
// along a straight line, which turns none; by a cutter along a long path; and what a body costs
// before any path. Items are triangles of the body times steps;
// times are processor times of all threads.

#include <Sorvane/SweptVolume_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/TurnedBodies.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Path = std::vector<Vec3d>;

constexpr int kSteps = 200;

Path Circle(int steps)
{
    Path path;
    for (int i = 0; i <= steps; ++i) {
        const double angle = kTwoPi<double> * i / steps;
        path.push_back({10 * std::cos(angle), 10 * std::sin(angle), std::sin(3 * angle)});
    }
    return path;
}

Path Line(int steps)
{
    Path path;
    for (int i = 0; i <= steps; ++i) {
        path.push_back({0.25 * i, 0.5 * i, 0.125 * i});
    }
    return path;
}

/// Forth and back in rows, a millimeter to the step.
Path Raster(int steps)
{
    Path path;
    for (int i = 0; i <= steps; ++i) {
        const int row = i / 100;
        const double x = row % 2 == 0 ? i % 100 : 99 - i % 100;
        path.push_back({x, 0.5 * row, std::sin(0.05 * x) * std::cos(0.03 * row)});
    }
    return path;
}

void Sweep(benchmark::State& state, const Support::IndexedMesh& body, const Path& path)
{
    MeshUtils::DirtySweptVolume sweep(body);
    Support::IndexedMesh shell;
    for (auto _ : state) {
        shell = sweep(path);
    }
    const auto triangles = static_cast<std::int64_t>(body.indices.size() / 3);
    state.SetItemsProcessed(state.iterations() * triangles *
                            static_cast<std::int64_t>(path.size() - 1));
    state.counters["triangles"] = static_cast<double>(triangles);
    state.counters["shell"] = static_cast<double>(shell.indices.size() / 3);
}

void BM_Circle(benchmark::State& state)
{
    Sweep(state, Support::Sphere(static_cast<int>(state.range(0))), Circle(kSteps));
}

void BM_Line(benchmark::State& state)
{
    Sweep(state, Support::Sphere(static_cast<int>(state.range(0))), Line(kSteps));
}

void BM_Cutter(benchmark::State& state)
{
    const auto cutter =
        Support::TurnedBody({{0, 0}, {2, 0}, {2.7, 0.3}, {3, 1}, {3, 8}, {0, 8}}, 48);
    Sweep(state, cutter, Raster(static_cast<int>(state.range(0))));
}

void BM_Body(benchmark::State& state)
{
    const auto body = Support::Sphere(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::DirtySweptVolume(body));
    }
    state.counters["triangles"] = static_cast<double>(body.indices.size() / 3);
}

// Balls of 512, 8,192 and 131,072 triangles.
void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(3)->Arg(5)->Arg(7)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
}

BENCHMARK(BM_Circle)->Apply(Sizes);
BENCHMARK(BM_Line)->Apply(Sizes);
BENCHMARK(BM_Cutter)
    ->Arg(1000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK(BM_Body)->Apply(Sizes);

} // namespace
