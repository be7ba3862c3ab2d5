// Adjacency, boundary, creases and orientation of a wavy sheet, with its triangles in order and
// shuffled.

#include <Sorvane/MeshQueries_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;

/// A wavy sheet of at least `triangleCount` triangles. Shuffled, its triangles and points come in
/// random order: no locality is left, the worst case for memory.
Mesh::IndexedPointsBase<3, double> WavySheet(std::int64_t triangleCount, bool shuffled)
{
    const auto mesh = Support::WavySheet<double>(triangleCount);
    Support::Random random(1);
    return shuffled ? Support::Shuffled(mesh, random) : mesh;
}

template <class Operation>
void Run(benchmark::State& state, const Operation& operation)
{
    const auto mesh = WavySheet(state.range(0), state.range(1) != 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(mesh));
    }
    const auto triangles = static_cast<std::int64_t>(mesh.indices.size() / 3);
    state.SetItemsProcessed(state.iterations() * triangles);
}

void BM_NeighborFacets(benchmark::State& state)
{
    Run(state, [](const auto& mesh) { return Mesh::NeighborFacets(mesh); });
}

void BM_BoundaryEdges(benchmark::State& state)
{
    Run(state, [](const auto& mesh) { return Mesh::BoundaryEdges(mesh); });
}

void BM_CreaseAngles(benchmark::State& state)
{
    Run(state, [](const auto& mesh) { return Mesh::CreaseAngles(mesh, true); });
}

void BM_NodeRings(benchmark::State& state)
{
    Run(state, [](const auto& mesh) { return Mesh::NodeRings(mesh); });
}

void BM_NodeFacets(benchmark::State& state)
{
    Run(state, [](const auto& mesh) { return Mesh::NodeFacets(mesh); });
}

/// Every third triangle turned, so that the walk has something to mark and the pass to turn.
void BM_MatchNormals(benchmark::State& state)
{
    auto turned = WavySheet(state.range(0), state.range(1) != 0);
    for (std::size_t t = 0; t < turned.indices.size(); t += 9) {
        std::swap(turned.indices[t + 1], turned.indices[t + 2]);
    }
    for (auto _ : state) {
        state.PauseTiming();
        auto mesh = turned;
        state.ResumeTiming();
        benchmark::DoNotOptimize(Mesh::MatchNormals(mesh));
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(turned.indices.size() / 3));
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgsProduct({{10'000, 100'000, 1'000'000}, {0, 1}})
        ->ArgNames({"triangles", "shuffled"})
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_NeighborFacets)->Apply(Sizes);
BENCHMARK(BM_BoundaryEdges)->Apply(Sizes);
BENCHMARK(BM_CreaseAngles)->Apply(Sizes);
BENCHMARK(BM_MatchNormals)->Apply(Sizes);
BENCHMARK(BM_NodeRings)->Apply(Sizes);
BENCHMARK(BM_NodeFacets)->Apply(Sizes);

} // namespace
