// Curvatures at all nodes of a mesh: linear in its size.

#include <Sorvane/Curvature_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

namespace {

using namespace Velk::Math::Sorvane;

void DiscreteCurvaturesAtNodes(benchmark::State& state)
{
    const auto mesh = Support::WavySheet<double>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::DiscreteCurvaturesAtNodes(mesh, 1e-12));
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DiscreteCurvaturesAtNodes)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

} // namespace
