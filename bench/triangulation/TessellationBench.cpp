// Simple outlines of several kinds, points with constraints, points alone. Items are corners.

#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "bench/support/ConstraintSets.h"
#include "tests/support/Polygons.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

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

void Points(benchmark::State& state, const std::vector<Vec2d>& points)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::TessellateFlatBoundaries({}, points, 1e-6));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points.size()));
}

// Each point of a wall sees all of the other wall: where points go in one by one, in the order in
// which they stand sorted, each may turn over all that is there.
void TwoUprightWalls(benchmark::State& state)
{
    Bench::Random random(4);
    std::vector<Vec2d> points;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        points.push_back({i % 2 == 0 ? 0.0 : 1.0, random.Between(0, 1000)});
    }
    Points(state, points);
}

// The same from the points of a bow to a few far away on its inner side.
void AlongABow(benchmark::State& state)
{
    std::vector<Vec2d> points;
    const auto count = static_cast<double>(state.range(0));
    for (double i = 0; i < count; ++i) {
        const double x = 2 * i / count - 1;
        points.push_back({x, x * x});
        points.push_back({0.001 * x, 100 + 0.001 * x * x});
    }
    points.resize(static_cast<std::size_t>(state.range(0)));
    Points(state, points);
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
BENCHMARK(TwoUprightWalls)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AlongABow)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);

} // namespace
