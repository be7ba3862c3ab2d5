// Subdivision of a wavy sheet: one step of each rule, long edges split once, triangles cut, and
// Loop's step as edits of the half-edge mesh, which is what other libraries do. Items are triangles
// of the input.

#include <Sorvane/SubdivisionMesh_E.h>
#include <Sorvane/Subdivision_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace Velk::Math::Sorvane;

constexpr double kAngle = 60;

/// The sheet, or the part that SORVANE_BENCH_STL names, welded.
Bench::IndexedMesh Input(const benchmark::State& state)
{
    if (state.range(0) > 0) {
        return Bench::WavySheet(state.range(0));
    }
    Bench::IndexedMesh mesh = Bench::NamedMesh();
    Mesh::FilterForUniqueness(mesh, 1e-12);
    return mesh;
}

template <class Run>
void Measure(benchmark::State& state, const Run& run)
{
    const Bench::IndexedMesh input = Input(state);
    Bench::IndexedMesh out;
    for (auto _ : state) {
        run(input, out);
        benchmark::DoNotOptimize(out.points.data());
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(input.indices.size() / 3));
    state.counters["out"] = static_cast<double>(out.indices.size() / 3);
}

void BM_Loop(benchmark::State& state)
{
    Measure(state, [&](const auto& input, auto& out) {
        Mesh::SubdivideMesh(input, out, kAngle, static_cast<unsigned>(state.range(1)),
                            Mesh::SubdivisionMethod::Loop);
    });
}

void BM_LoopByEdits(benchmark::State& state)
{
    Measure(state, [&](const auto& input, auto& out) {
        HalfEdge::Impl::SubdivisionMesh mesh(input);
        mesh.DetectFeatures(kAngle);
        mesh.LoopStep();
        mesh.ExportIndexedPoints(out, 1e-12);
    });
}

void BM_Sqrt3(benchmark::State& state)
{
    Measure(state, [&](const auto& input, auto& out) {
        Mesh::SubdivideMesh(input, out, kAngle, static_cast<unsigned>(state.range(1)),
                            Mesh::SubdivisionMethod::Sqrt3);
    });
}

/// Every edge once.
void BM_SplitLongMeshEdges(benchmark::State& state)
{
    Measure(state, [&](const auto& input, auto& out) {
        Mesh::SplitLongMeshEdges(input, out, 0.0, state.range(1) != 0, 1);
    });
}

void BM_SimpleRefine(benchmark::State& state)
{
    Measure(state, [&](const auto& input, auto& out) {
        Mesh::SimpleRefine(input, out, static_cast<Mesh::SimpleRefineMethod>(state.range(1)), 1);
    });
}

// Size 0 stands for the part of SORVANE_BENCH_STL.
void Sizes(benchmark::internal::Benchmark* benchmark, const std::vector<std::int64_t>& seconds)
{
    std::vector<std::int64_t> sizes{10'000, 100'000, 400'000};
    if (std::getenv("SORVANE_BENCH_STL") != nullptr) {
        sizes.push_back(0);
    }
    benchmark->ArgsProduct({sizes, seconds})->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Loop)->Apply([](auto* b) { Sizes(b, {1, 2}); });
BENCHMARK(BM_LoopByEdits)->Apply([](auto* b) { Sizes(b, {1}); });
BENCHMARK(BM_Sqrt3)->Apply([](auto* b) { Sizes(b, {1, 2}); });
BENCHMARK(BM_SplitLongMeshEdges)->Apply([](auto* b) { Sizes(b, {0, 1}); });
BENCHMARK(BM_SimpleRefine)->Apply([](auto* b) { Sizes(b, {0, 1, 2}); });

} // namespace
