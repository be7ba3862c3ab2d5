// Tools: flattening of a profile.

#include <Sorvane/Tools_E.h>

#include <benchmark/benchmark.h>

namespace {

using namespace Velk::Math::Sorvane;

/// Finer and finer: the number of points grows with 1 / sqrt(tolerance).
void BM_ToolToPolyline(benchmark::State& state)
{
    const Mill::ConvexStandardToolBase<double> bull{6, 4, 1.5, 20, 0.05, 3, 30};
    const double tolerance = 1.0 / static_cast<double>(state.range(0) * state.range(0));
    std::int64_t points = 0;
    for (auto _ : state) {
        const auto polyline = Planar::ToPolyline(bull, tolerance);
        points = static_cast<std::int64_t>(polyline.points.size());
        benchmark::DoNotOptimize(polyline.points.data());
    }
    state.SetItemsProcessed(state.iterations() * points);
    state.SetComplexityN(points);
}
BENCHMARK(BM_ToolToPolyline)->Arg(100)->Arg(1000)->Arg(10000)->Complexity(benchmark::oN);

} // namespace
