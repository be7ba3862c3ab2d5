// Remeshing of a wavy sheet toward its own mean edge length, toward half and twice of it, and by
// chord error; stars of a sheet that is full of them. Five iterations; items are triangles of the
// input.

#include <Sorvane/Remesh_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr double kAngle = 60;
constexpr unsigned kIterations = 5;

void Report(benchmark::State& state, const Bench::IndexedMesh& input, const Bench::IndexedMesh& out)
{
    const auto triangles = static_cast<std::int64_t>(input.indices.size() / 3);
    state.SetItemsProcessed(state.iterations() * triangles);
    state.counters["out"] = static_cast<double>(out.indices.size() / 3);
}

/// Toward so many percent of the mean edge length.
void BM_IsotropicRemesh(benchmark::State& state)
{
    const Bench::IndexedMesh input = Bench::WavySheet(state.range(0));
    Bench::IndexedMesh out;
    for (auto _ : state) {
        Mesh::IsotropicRemesh(input, out, kAngle, -0.01 * static_cast<double>(state.range(1)),
                              kIterations, true);
    }
    Report(state, input, out);
}

/// With curvatures up to 0.4 and a length near the wanted chord.
void BM_AnisotropicRemesh(benchmark::State& state)
{
    const Bench::IndexedMesh input = Bench::WavySheet(state.range(0));
    const double edge = 100.0 / std::sqrt(static_cast<double>(state.range(0)) / 2);
    const double chordError = 0.4 * edge * edge / 6;
    Bench::IndexedMesh out;
    for (auto _ : state) {
        Mesh::AnisotropicRemesh(input, out, kAngle, edge, 1.0, chordError, kIterations, true);
    }
    Report(state, input, out);
}

/// Every second triangle of the sheet is a star.
void BM_RemoveTriangleStars(benchmark::State& state)
{
    Bench::IndexedMesh input = Bench::WavySheet(state.range(0) / 2);
    const std::size_t count = input.indices.size();
    for (std::size_t i = 0; i < count; i += 6) {
        const int a = input.indices[i];
        const int b = input.indices[i + 1];
        const int c = input.indices[i + 2];
        const auto at = [&](int point) { return input.points[static_cast<std::size_t>(point)]; };
        const int n = static_cast<int>(input.points.size());
        input.points.push_back((at(a) + at(b) + at(c)) / 3.0);
        input.indices[i + 2] = n;
        input.indices.insert(input.indices.end(), {b, c, n, c, a, n});
    }
    Bench::IndexedMesh out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::RemoveTriangleStars(input, out, 5));
    }
    Report(state, input, out);
}

BENCHMARK(BM_IsotropicRemesh)
    ->ArgsProduct({{10'000, 100'000, 400'000}, {50, 100, 200}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnisotropicRemesh)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(400'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RemoveTriangleStars)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(400'000)
    ->Unit(benchmark::kMillisecond);

} // namespace
