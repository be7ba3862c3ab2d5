// Smallest enclosing circles and spheres, of points inside and of points that all lie on the
// sphere.

#include <Sorvane/BoundingVolumes_E.h>

#include "bench/support/Points.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace Velk::Math;
namespace Bounding = Sorvane::Bounding;

template <int D, class T>
void Ball(benchmark::State& state, const std::vector<VecBase<D, T>>& points)
{
    for (auto _ : state) {
        if constexpr (D == 2) {
            benchmark::DoNotOptimize(Bounding::BoundingCircleOfPoints(points, false));
        } else {
            benchmark::DoNotOptimize(Bounding::BoundingSphereOfPoints(points, false));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <int D, class T>
void BM_BallInside(benchmark::State& state)
{
    Ball(state, Bench::PointsInBall<D, T>(state.range(0)));
}

template <int D, class T>
void BM_BallCospherical(benchmark::State& state)
{
    Ball(state, Bench::PointsOnSphere<D, T>(state.range(0)));
}

template <int D>
void BM_BoxOfPoints(benchmark::State& state)
{
    const auto points = Bench::PointsInBall<D, double>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Bounding::BoxOfPoints(points));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_BallInside<2, double>)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(BM_BallInside<3, double>)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(BM_BallInside<3, float>)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(BM_BallCospherical<2, double>)->RangeMultiplier(10)->Range(1000, 100'000);
BENCHMARK(BM_BallCospherical<3, double>)->RangeMultiplier(10)->Range(1000, 100'000);
BENCHMARK(BM_BoxOfPoints<3>)->RangeMultiplier(10)->Range(1000, 1'000'000);

} // namespace
