// Clusters of a soup of few directions, of as many directions as triangles, and of one direction.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Soup = Mesh::TriangleSoup<3, double>;

void Run(benchmark::State& state, const Soup& soup, double tolerance)
{
    std::size_t clusters = 0;
    for (auto _ : state) {
        clusters = MeshUtils::ClusterFacets(soup, tolerance, 1).size();
    }
    state.counters["clusters"] = static_cast<double>(clusters);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(soup.size()));
}

void ClusterFacetsFlat(benchmark::State& state)
{
    const int side = Support::GridSide(state.range(0));
    Run(state, Mesh::SoupFromIndexedPoints(Support::Grid(side, side)), 1e-6);
}
void ClusterFacetsFewDirections(benchmark::State& state)
{
    // Steps: three directions, two clusters a step.
    const int side = Support::GridSide(state.range(0));
    Run(state,
        Mesh::SoupFromIndexedPoints(Support::GridMesh<double>(
            side, side, [](int x, int y) { return Vec3d(x / 2 * 2 + x % 2, y, (x + 1) / 2); })),
        1e-6);
}
void ClusterFacetsAllDirectionsDiffer(benchmark::State& state)
{
    Run(state, Mesh::SoupFromIndexedPoints(Support::WavySheet<double>(state.range(0))), 1e-12);
}
void ClusterFacetsWavy(benchmark::State& state)
{
    Run(state, Mesh::SoupFromIndexedPoints(Support::WavySheet<double>(state.range(0))), 0.02);
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000);
    bench->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}
BENCHMARK(ClusterFacetsFlat)->Apply(Sizes);
BENCHMARK(ClusterFacetsFewDirections)->Apply(Sizes);
BENCHMARK(ClusterFacetsAllDirectionsDiffer)->Apply(Sizes);
BENCHMARK(ClusterFacetsWavy)->Apply(Sizes);

} // namespace
