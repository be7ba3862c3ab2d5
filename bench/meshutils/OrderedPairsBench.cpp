// Directed pairs of a grid of triangles: listing, canceling, and chaining of long and of many
// loops.

#include <Sorvane/OrderedPairs_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace Velk::Math::Sorvane;
using Pairs = std::vector<std::array<int, 2>>;

std::vector<int> GridIndices(std::int64_t triangleCount)
{
    const int side = Support::GridSide(triangleCount);
    return Support::GridIndices(side, side);
}

Pairs GridPairs(std::int64_t triangleCount)
{
    const std::vector<int> indices = GridIndices(triangleCount);
    return MeshUtils::OrderedPairsFromTriangles(
        Mesh::TripleIndexWrapper(indices.data(), indices.size()));
}

void Report(benchmark::State& state, std::size_t pairs)
{
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pairs));
}

void BM_OrderedPairsFromTriangles(benchmark::State& state)
{
    const std::vector<int> indices = GridIndices(state.range(0));
    const Mesh::TripleIndexWrapper view(indices.data(), indices.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::OrderedPairsFromTriangles(view));
    }
    Report(state, indices.size());
}

void BM_RemoveCancelledPairs(benchmark::State& state)
{
    const Pairs pairs = GridPairs(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::RemoveCancelledPairs(pairs));
    }
    Report(state, pairs.size());
}

/// All edges of a grid: long chains through crowded nodes.
void BM_ConcatenateGrid(benchmark::State& state)
{
    const Pairs pairs = GridPairs(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::ConcatenateOderedPairs(pairs));
    }
    Report(state, pairs.size());
}

/// As many loops of 16 nodes, as slices leave them.
void BM_ConcatenateLoops(benchmark::State& state)
{
    Pairs pairs;
    for (int node = 0; node < static_cast<int>(3 * state.range(0)); ++node) {
        pairs.push_back({node, node % 16 == 15 ? node - 15 : node + 1});
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::ConcatenateOderedPairs(pairs));
    }
    Report(state, pairs.size());
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_OrderedPairsFromTriangles)->Apply(Sizes);
BENCHMARK(BM_RemoveCancelledPairs)->Apply(Sizes);
BENCHMARK(BM_ConcatenateGrid)->Apply(Sizes);
BENCHMARK(BM_ConcatenateLoops)->Apply(Sizes);

} // namespace
