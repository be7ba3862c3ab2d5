// The longest straight boundary of strips whose two long sides have as many points as triangles.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

template <class PointAt>
void Run(benchmark::State& state, const PointAt& pointAt)
{
    const auto soup = Mesh::SoupFromIndexedPoints(
        Support::GridMesh<double>(static_cast<int>(state.range(0) / 2), 1, pointAt));
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::LongestStraightBoundary(soup, 1e-6));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void LongestStraightBoundaryStraight(benchmark::State& state)
{
    Run(state, [](int x, int y) { return Vec3d(x, y, 0); });
}
void LongestStraightBoundaryRound(benchmark::State& state)
{
    const double turn = 6.28 / static_cast<double>(state.range(0));
    Run(state, [turn](int x, int y) {
        const double radius = 1000 + y;
        return Vec3d(radius * std::cos(turn * x), radius * std::sin(turn * x), 0);
    });
}
void LongestStraightBoundaryRough(benchmark::State& state)
{
    // A third of the tolerance and more off the line.
    Run(state, [](int x, int y) { return Vec3d(x, y + 0.45e-4 * std::sin(1.7 * x), 0); });
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000);
    bench->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}
BENCHMARK(LongestStraightBoundaryStraight)->Apply(Sizes);
BENCHMARK(LongestStraightBoundaryRound)->Apply(Sizes);
BENCHMARK(LongestStraightBoundaryRough)->Apply(Sizes);

} // namespace
