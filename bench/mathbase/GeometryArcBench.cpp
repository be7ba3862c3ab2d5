// Arcs: tessellation by points a turn, end points and arcs through three points by the batch.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Geometry;

template <class T>
std::vector<ArcBase<T>> Arcs(int count)
{
    Support::Random random(1);
    std::vector<ArcBase<T>> arcs;
    for (int i = 0; i < count; ++i) {
        const auto center = random.Vector<2, T>(-100, 100);
        const auto radial = random.Vector<2, T>(-5, 5);
        arcs.push_back({center, center + radial, static_cast<T>(random.Between(-20, 20))});
    }
    return arcs;
}

/// One circle in about range(0) chords.
template <class T>
void BM_Tessellate(benchmark::State& state)
{
    const ArcBase<T> circle{{10, 20}, {13, 24}, 5 * kTwoPi<T>};
    const double halfStep = kPi<double> / static_cast<double>(state.range(0));
    const auto tolerance = static_cast<T>(10 * std::pow(std::sin(halfStep / 2), 2));
    std::int64_t points = 0;
    for (auto _ : state) {
        const auto polyline = Tessellate(circle, tolerance);
        points += static_cast<std::int64_t>(polyline.size());
        benchmark::DoNotOptimize(polyline.data());
    }
    state.SetItemsProcessed(points);
    state.SetComplexityN(state.range(0));
}

template <class T>
void BM_EndPoint(benchmark::State& state)
{
    const auto arcs = Arcs<T>(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        for (const auto& arc : arcs) {
            benchmark::DoNotOptimize(EndPoint(arc));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class T>
void BM_ArcThroughPoints(benchmark::State& state)
{
    Support::Random random(2);
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i < state.range(0) + 2; ++i) {
        points.push_back(random.Vector<2, T>(-10, 10));
    }
    for (auto _ : state) {
        for (std::size_t i = 0; i + 2 < points.size(); ++i) {
            benchmark::DoNotOptimize(ArcThroughPoints(points[i], points[i + 1], points[i + 2]));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Tessellate<float>)->Arg(16)->Arg(256)->Arg(4096)->Complexity(benchmark::oN);
BENCHMARK(BM_Tessellate<double>)->Arg(16)->Arg(256)->Arg(4096)->Complexity(benchmark::oN);
BENCHMARK(BM_EndPoint<float>)->Arg(100)->Arg(10'000)->Arg(1'000'000);
BENCHMARK(BM_EndPoint<double>)->Arg(100)->Arg(10'000)->Arg(1'000'000);
BENCHMARK(BM_ArcThroughPoints<float>)->Arg(100)->Arg(10'000)->Arg(1'000'000);
BENCHMARK(BM_ArcThroughPoints<double>)->Arg(100)->Arg(10'000)->Arg(1'000'000);

} // namespace
