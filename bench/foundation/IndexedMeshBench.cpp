// Conversions between soups and indexed meshes, welding, and soups under a transform.

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Transform_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;

/// A wavy sheet of at least `triangleCount` triangles, corners by value.
Mesh::TriangleSoup<3, double> WavySoup(std::int64_t triangleCount)
{
    return Mesh::SoupFromIndexedPoints(Support::WavySheet<double>(triangleCount));
}

void Report(benchmark::State& state, std::size_t triangles)
{
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(triangles));
    state.SetComplexityN(static_cast<std::int64_t>(triangles));
}

void BM_FromSoup(benchmark::State& state)
{
    const auto soup = WavySoup(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::IndexedPointsFromSoup(soup, false, 0.0));
    }
    Report(state, soup.size());
}

void BM_FromSoupUnique(benchmark::State& state)
{
    const auto soup = WavySoup(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::IndexedPointsFromSoup(soup, true, 1e-9));
    }
    Report(state, soup.size());
}

void BM_FilterForUniqueness(benchmark::State& state)
{
    const auto mesh = Mesh::IndexedPointsFromSoup(WavySoup(state.range(0)), true, 1e-9);
    for (auto _ : state) {
        state.PauseTiming();
        auto welded = mesh;
        state.ResumeTiming();
        Mesh::FilterForUniqueness(welded, 1e-9);
        benchmark::DoNotOptimize(welded);
    }
    Report(state, mesh.indices.size() / 3);
}

void BM_SoupFromMesh(benchmark::State& state)
{
    const auto mesh = Mesh::IndexedPointsFromSoup(WavySoup(state.range(0)), true, 1e-9);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::SoupFromIndexedPoints(mesh));
    }
    Report(state, mesh.indices.size() / 3);
}

void BM_TransformSoupInPlace(benchmark::State& state)
{
    auto soup = WavySoup(state.range(0));
    const auto turn = Transform::BuildRotationFromAxisAngle({1, 2, 3}, 0.1);
    for (auto _ : state) {
        soup *= turn;
        benchmark::ClobberMemory();
    }
    Report(state, soup.size());
}

void BM_TransformSoup(benchmark::State& state)
{
    const auto soup = WavySoup(state.range(0));
    const auto turn = Transform::BuildRotationFromAxisAngle({1, 2, 3}, 0.1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(turn * soup);
    }
    Report(state, soup.size());
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_FromSoup)->Apply(Sizes);
BENCHMARK(BM_FromSoupUnique)->Apply(Sizes);
BENCHMARK(BM_FilterForUniqueness)->Apply(Sizes);
BENCHMARK(BM_SoupFromMesh)->Apply(Sizes);
BENCHMARK(BM_TransformSoupInPlace)->Apply(Sizes);
BENCHMARK(BM_TransformSoup)->Apply(Sizes);

} // namespace
