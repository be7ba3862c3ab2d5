// Hulls in the plane: most points inside, all points on the hull, and the union of two hulls.

#include <Sorvane/ConvexHull_E.h>

#include "bench/support/Points.h"

#include <Velk/Math/Vector_E.h>

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace Velk::Math;
namespace Bounding = Sorvane::Bounding;

template <class T>
void Hull(benchmark::State& state, std::vector<VecBase<2, T>> points, bool sortedUnique)
{
    if (sortedUnique) {
        Vector::FilterForUniqueness(points, kLengthFloor<T>);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Bounding::ConvexHull(points, sortedUnique));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class T>
void BM_ConvexHullDisc(benchmark::State& state)
{
    Hull<T>(state, Bench::PointsInBall<2, T>(state.range(0)), false);
}

template <class T>
void BM_ConvexHullDiscSorted(benchmark::State& state)
{
    Hull<T>(state, Bench::PointsInBall<2, T>(state.range(0)), true);
}

template <class T>
void BM_ConvexHullCircle(benchmark::State& state)
{
    Hull<T>(state, Bench::PointsOnSphere<2, T>(state.range(0)), false);
}

void BM_MergeConvexHulls(benchmark::State& state)
{
    const auto a = Bounding::ConvexHull(Bench::PointsOnSphere<2, double>(state.range(0)), false);
    auto b = a;
    for (auto& p : b) {
        p[0] += 0.5;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Bounding::MergeConvexHulls(a, b));
    }
    state.SetItemsProcessed(state.iterations() * 2 * state.range(0));
}

BENCHMARK(BM_ConvexHullDisc<double>)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(BM_ConvexHullDisc<float>)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(BM_ConvexHullDiscSorted<double>)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(BM_ConvexHullCircle<double>)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(BM_MergeConvexHulls)->RangeMultiplier(10)->Range(100, 10'000);

} // namespace
