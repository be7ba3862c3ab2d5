// Circle fits to noisy arcs, algebraic and geometric.

#include <Velk/Math/Geometry_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace Velk::Math;

template <class T>
std::vector<VecBase<2, T>> NoisyArc(int count, double sweep)
{
    Support::Random random(3);
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i < count; ++i) {
        const double angle = sweep * i / count;
        const double radius = 50 + random.Between(-0.05, 0.05);
        points.push_back({300 + radius * std::cos(angle), -200 + radius * std::sin(angle)});
    }
    return points;
}

template <int Method, class T>
void BM_FitCircle(benchmark::State& state)
{
    const double sweep = static_cast<double>(state.range(1)) / 10;
    const auto points = NoisyArc<T>(static_cast<int>(state.range(0)), sweep);
    T error{0};
    T rms{0};
    for (auto _ : state) {
        benchmark::DoNotOptimize(Geometry::FitCircle<Method, T>(points, &error, &rms));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    for (const int tenthRadians : {5, 60}) {
        for (const int points : {100, 10'000, 1'000'000}) {
            bench->Args({points, tenthRadians});
        }
    }
}

BENCHMARK(BM_FitCircle<0, double>)->Apply(Sizes);
BENCHMARK(BM_FitCircle<1, double>)->Apply(Sizes);
BENCHMARK(BM_FitCircle<1, float>)->Apply(Sizes);

} // namespace
