// Simple outlines of several kinds, points with constraints, points alone. Items are corners.

#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "bench/support/ConstraintSets.h"
#include "tests/support/Polygons.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;

void Outline(benchmark::State& state, const Support::Polygon& polygon)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::TessellateSimpleBoundary(polygon));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(polygon.size()));
}

void Star(benchmark::State& state)
{
    Bench::Random random(1);
    Outline(state, Support::StarPolygon(static_cast<int>(state.range(0)), random));
}

void Comb(benchmark::State& state)
{
    Bench::Random random(1);
    Outline(state, Support::CombPolygon(static_cast<int>(state.range(0)) / 2, random));
}

// Teeth along the sweep: every gap is open at the same time.
void CombOnItsSide(benchmark::State& state)
{
    Bench::Random random(1);
    const auto comb = Support::CombPolygon(static_cast<int>(state.range(0)) / 2, random);
    Outline(state, Support::Turned(comb, 0.5 * kPi<double>));
}

void Spiral(benchmark::State& state)
{
    Outline(state, Support::SpiralPolygon(static_cast<int>(state.range(0))));
}

void Maze(benchmark::State& state)
{
    Bench::Random random(1);
    const double rooms = static_cast<double>(state.range(0)) / 4;
    Outline(state, Support::MazePolygon(static_cast<int>(std::sqrt(rooms)), random));
}

void PointsWithConstraints(benchmark::State& state)
{
    const Bench::ConstraintSet set = Bench::MakeConstraintSet(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::TessellateFlatBoundaries(set.boundaries, set.points, 1e-6));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void PointsOnly(benchmark::State& state)
{
    const Bench::ConstraintSet set = Bench::MakeConstraintSet(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::TessellateFlatBoundaries({}, set.points, 1e-6));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(Star)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(Comb)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(CombOnItsSide)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(Spiral)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(Maze)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(PointsWithConstraints)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(PointsOnly)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);

} // namespace
