// Convex hulls in space: how the cost grows for points inside a ball, on a sphere, in a box and on
// a lattice. Set SORVANE_BENCH_STL to a binary STL file to hull a real part as well.

#include <Sorvane/ConvexHull_E.h>

#include "bench/support/Meshes.h"
#include "bench/support/Points.h"

#include <benchmark/benchmark.h>

namespace {

using namespace Velk::Math;

template <class T>
void Run(benchmark::State& state, const std::vector<VecBase<3, T>>& points)
{
    std::vector<VecBase<3, T>> hullPoints;
    std::vector<int> indices;
    for (auto _ : state) {
        Sorvane::Bounding::ConvexHull(points, hullPoints, indices, false, false);
        benchmark::DoNotOptimize(indices.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points.size()));
    state.SetComplexityN(static_cast<std::int64_t>(points.size()));
    state.counters["faces"] = static_cast<double>(indices.size() / 3);
}

template <class T, std::vector<Vec3d> (*MakePoints)(std::int64_t)>
void BM_Hull(benchmark::State& state)
{
    const std::vector<Vec3d> points = MakePoints(state.range(0));
    Run(state, std::vector<VecBase<3, T>>(points.begin(), points.end()));
}

#define SORVANE_HULL(T, arrangement)          \
    BENCHMARK(BM_Hull<T, Bench::arrangement>) \
        ->Name("Hull/" #arrangement "/" #T)   \
        ->RangeMultiplier(10)                 \
        ->Range(1'000, 1'000'000)             \
        ->Unit(benchmark::kMillisecond)       \
        ->Complexity()
SORVANE_HULL(double, InBall);
SORVANE_HULL(float, InBall);
SORVANE_HULL(double, OnSphere);
SORVANE_HULL(float, OnSphere);
SORVANE_HULL(double, InBox);
SORVANE_HULL(double, Lattice);
#undef SORVANE_HULL

void BM_HullOfFile(benchmark::State& state)
{
    const std::vector<Vec3d> points = Bench::NamedCorners<double>();
    if (points.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no binary STL file");
        return;
    }
    Run(state, points);
}
BENCHMARK(BM_HullOfFile)->Unit(benchmark::kMillisecond);

} // namespace
