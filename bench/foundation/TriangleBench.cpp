// Per-triangle loops over meshes and soups, and Kahan's formulas one triangle at a time.

#include <Sorvane/Triangle_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;

template <class Operation>
void OnMesh(benchmark::State& state, const Operation& operation)
{
    const auto mesh = Support::WavySheet<double>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(mesh));
    }
    const auto triangles = static_cast<std::int64_t>(mesh.indices.size() / 3);
    state.SetItemsProcessed(state.iterations() * triangles);
}

template <class Operation>
void OnSoup(benchmark::State& state, const Operation& operation)
{
    const auto soup = Mesh::SoupFromIndexedPoints(Support::WavySheet<double>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(soup));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(soup.size()));
}

void BM_Areas(benchmark::State& state)
{
    OnMesh(state, [](const auto& mesh) { return Mesh::Areas(mesh); });
}

void BM_AreasOfSoup(benchmark::State& state)
{
    OnSoup(state, [](const auto& soup) { return Mesh::Areas(soup); });
}

void BM_Normals(benchmark::State& state)
{
    OnMesh(state, [](const auto& mesh) { return Mesh::Normals(mesh); });
}

void BM_Centroids(benchmark::State& state)
{
    OnMesh(state, [](const auto& mesh) { return Mesh::Centroids(mesh); });
}

void BM_AreaWeightedVertexNormals(benchmark::State& state)
{
    OnMesh(state, [](const auto& mesh) { return Mesh::AreaWeightedVertexNormals(mesh); });
}

void BM_AspectRatios(benchmark::State& state)
{
    OnSoup(state, [](const auto& soup) {
        double sum = 0;
        for (const auto& [a, b, c] : soup) {
            sum += Mesh::AspectRatio(a, b, c);
        }
        return sum;
    });
}

void BM_Angles(benchmark::State& state)
{
    OnSoup(state, [](const auto& soup) {
        double sum = 0;
        for (const auto& [a, b, c] : soup) {
            sum += Mesh::OppositeEdgeAngle(a, b, c);
        }
        return sum;
    });
}

void BM_FlattenTriangleStar(benchmark::State& state)
{
    OnSoup(state, [](const auto& soup) {
        double sum = 0;
        for (std::size_t t = 0; t + 1 < soup.size(); t += 2) {
            const auto& [a, b, c] = soup[t];
            const auto& [d, e, f] = soup[t + 1];
            sum += Mesh::FlattenTriangleStar(a, b, c, d, e, f)[4][0];
        }
        return sum;
    });
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Areas)->Apply(Sizes);
BENCHMARK(BM_AreasOfSoup)->Apply(Sizes);
BENCHMARK(BM_Normals)->Apply(Sizes);
BENCHMARK(BM_Centroids)->Apply(Sizes);
BENCHMARK(BM_AreaWeightedVertexNormals)->Apply(Sizes);
BENCHMARK(BM_AspectRatios)->Apply(Sizes);
BENCHMARK(BM_Angles)->Apply(Sizes);
BENCHMARK(BM_FlattenTriangleStar)->Apply(Sizes);

} // namespace
