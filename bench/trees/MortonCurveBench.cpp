// Points to Morton codes and back, and the points of a mesh along the curve.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MortonCurve_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
namespace MortonCurve = Sorvane::Tree::MortonCurve;

template <int D>
std::vector<VecBase<D, double>> Cloud(std::int64_t count)
{
    Support::Random random(1);
    std::vector<VecBase<D, double>> points(static_cast<std::size_t>(count));
    for (auto& point : points) {
        point = random.Vector<D, double>(0, 1);
    }
    return points;
}

template <class Operation>
void Run(benchmark::State& state, const Operation& operation)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_Encode2D(benchmark::State& state)
{
    const auto points = Cloud<2>(state.range(0));
    Run(state, [&] { return MortonCurve::Encode2D(points); });
}

void BM_Encode3D(benchmark::State& state)
{
    const auto points = Cloud<3>(state.range(0));
    Run(state, [&] { return MortonCurve::Encode3D(points); });
}

void BM_Decode2D(benchmark::State& state)
{
    const auto codes = MortonCurve::Encode2D(Cloud<2>(state.range(0)));
    Run(state, [&] { return MortonCurve::Decode2D(codes, -1); });
}

void BM_Decode3D(benchmark::State& state)
{
    const auto codes = MortonCurve::Encode3D(Cloud<3>(state.range(0)));
    Run(state, [&] { return MortonCurve::Decode3D(codes, -1); });
}

void BM_MapToCurve(benchmark::State& state)
{
    const auto points = Cloud<3>(state.range(0));
    Run(state, [&] { return MortonCurve::MapToCurve(points, 21); });
}

void BM_MapMeshToMortonCurve(benchmark::State& state)
{
    Sorvane::Mesh::IndexedPointsBase<3, double> mesh{Cloud<3>(state.range(0)), {}};
    Support::Random random(2);
    for (std::int64_t i = 0; i < 6 * state.range(0); ++i) {
        mesh.indices.push_back(random.Below(static_cast<int>(state.range(0))));
    }
    Run(state, [&] { return Sorvane::Mesh::MapMeshToMortonCurve(mesh, nullptr, nullptr); });
}

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->RangeMultiplier(10)
        ->Range(10'000, 1'000'000)
        ->UseRealTime()
        ->MeasureProcessCPUTime();
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Encode2D)->Apply(Sizes);
BENCHMARK(BM_Encode3D)->Apply(Sizes);
BENCHMARK(BM_Decode2D)->Apply(Sizes);
BENCHMARK(BM_Decode3D)->Apply(Sizes);
BENCHMARK(BM_MapToCurve)->Apply(Sizes);
BENCHMARK(BM_MapMeshToMortonCurve)->Apply(Sizes);

} // namespace
