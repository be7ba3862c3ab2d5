// Half-edge mesh: building from an indexed mesh (ordered and shuffled), linking the boundary, the
// four edits, and ring walks. Items are triangles for building and edits or nodes for the rest.

#include <Sorvane/HalfEdgeMesh_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

namespace {

using namespace Velk::Math::Sorvane::HalfEdge;
using Triangles = TriangleMesh<HVertex<3, double>, HEdge, HFace>;

double BytesPerTriangle(const Triangles& mesh)
{
    const std::size_t bytes = mesh.Nodes().capacity() * sizeof(HVertex<3, double>) +
                              mesh.Edges().capacity() * sizeof(HEdge) +
                              mesh.Faces().capacity() * sizeof(HFace) +
                              mesh.NodePairs().MemoryBytes();
    return static_cast<double>(bytes) / static_cast<double>(mesh.FaceCount());
}

void Build(benchmark::State& state, const Bench::IndexedMesh& input)
{
    for (auto _ : state) {
        Triangles mesh;
        benchmark::DoNotOptimize(mesh.LoadIndexedPoints(input));
        state.counters["bytes/triangle"] = BytesPerTriangle(mesh);
    }
    const auto triangles = static_cast<std::int64_t>(input.indices.size() / 3);
    state.SetItemsProcessed(state.iterations() * triangles);
    state.SetComplexityN(triangles);
}

void BM_BuildOrdered(benchmark::State& state)
{
    Build(state, Bench::Sheet(static_cast<std::size_t>(state.range(0))));
}

void BM_BuildShuffled(benchmark::State& state)
{
    Build(state, Bench::ShuffledSheet(static_cast<std::size_t>(state.range(0))));
}

// One call of AddNode a point and AddFace a triangle, with a list made for each, as a host would
// write.
void BM_BuildFaceByFace(benchmark::State& state)
{
    const Bench::IndexedMesh input = Bench::Sheet(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        Triangles mesh;
        for (const auto& p : input.points) {
            mesh.AddNode(HVertex<3, double>(p));
        }
        for (std::size_t i = 0; i < input.indices.size(); i += 3) {
            mesh.AddFace({input.indices[i], input.indices[i + 1], input.indices[i + 2]});
        }
        benchmark::DoNotOptimize(mesh.FaceCount());
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(input.indices.size() / 3));
}

Triangles Loaded(std::int64_t triangles)
{
    Triangles mesh;
    mesh.LoadIndexedPoints(Bench::Sheet(static_cast<std::size_t>(triangles)));
    return mesh;
}

void BM_LinkBoundary(benchmark::State& state)
{
    Triangles mesh = Loaded(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(mesh.LinkBoundaryEdges());
    }
    state.SetItemsProcessed(state.iterations() * mesh.FaceCount());
}

// Every edge of the sheet's diagonals once round: four flips restore it, so the mesh stays the
// same.
void BM_Flips(benchmark::State& state)
{
    Triangles mesh = Loaded(state.range(0));
    std::vector<int> diagonals;
    const int side =
        static_cast<int>(std::lround(std::sqrt(static_cast<double>(state.range(0)) / 2.0)));
    for (int n = 0; n + side + 2 < mesh.NodeCount(); ++n) {
        const int e = mesh.FindEdge(n, n + side + 2);
        if (e >= 0) {
            diagonals.push_back(e);
        }
    }
    Bench::Draw draw(2);
    for (std::size_t i = 1; i < diagonals.size(); ++i) {
        std::swap(diagonals[i], diagonals[draw(i + 1)]);
    }
    std::int64_t flips = 0;
    for (auto _ : state) {
        for (const int e : diagonals) {
            flips += mesh.FlipEdge(e, false) ? 1 : 0;
        }
    }
    state.SetItemsProcessed(flips);
}

// Half as many splits as triangles, on random edges of a growing mesh.
void BM_EdgeSplits(benchmark::State& state)
{
    const Triangles original = Loaded(state.range(0));
    std::int64_t splits = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Triangles mesh = original;
        Bench::Draw draw(3);
        state.ResumeTiming();
        for (std::int64_t i = 0; i < state.range(0) / 2; ++i) {
            int node = 0;
            const int e = static_cast<int>(draw(static_cast<std::size_t>(mesh.EdgeCount())));
            splits += mesh.SplitEdge(e, node, false, true) ? 1 : 0;
        }
    }
    state.SetItemsProcessed(splits);
}

void BM_FaceSplits(benchmark::State& state)
{
    const Triangles original = Loaded(state.range(0));
    std::int64_t splits = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Triangles mesh = original;
        Bench::Draw draw(4);
        state.ResumeTiming();
        for (std::int64_t i = 0; i < state.range(0) / 2; ++i) {
            int node = 0;
            const int f = static_cast<int>(draw(static_cast<std::size_t>(mesh.FaceCount())));
            splits += mesh.SplitFace(f, node, false) ? 1 : 0;
        }
    }
    state.SetItemsProcessed(splits);
}

// Collapses at random edges until a quarter of the triangles are gone; a refusal counts as no item.
void BM_Collapses(benchmark::State& state)
{
    const Triangles original = Loaded(state.range(0));
    std::int64_t collapses = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Triangles mesh = original;
        Bench::Draw draw(5);
        state.ResumeTiming();
        for (std::int64_t done = 0; done < state.range(0) / 8;) {
            const int e = static_cast<int>(draw(static_cast<std::size_t>(mesh.EdgeCount())));
            const bool isDone = mesh.CollapseEdge(e, false, true);
            done += isDone ? 1 : 0;
            collapses += isDone ? 1 : 0;
        }
    }
    state.SetItemsProcessed(collapses);
}

void BM_RingLists(benchmark::State& state)
{
    const Triangles mesh = Loaded(state.range(0));
    for (auto _ : state) {
        std::size_t sum = 0;
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            sum += mesh.NodeNodes(n).size();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * mesh.NodeCount());
}

void BM_RingVisits(benchmark::State& state)
{
    const Triangles mesh = Loaded(state.range(0));
    for (auto _ : state) {
        std::size_t sum = 0;
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            mesh.VisitNodeNodes(n,
                                [&](int neighbor) { sum += static_cast<std::size_t>(neighbor); });
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * mesh.NodeCount());
}

void BM_Export(benchmark::State& state)
{
    const Triangles mesh = Loaded(state.range(0));
    for (auto _ : state) {
        Bench::IndexedMesh exported;
        mesh.ExportIndexedPoints(exported, 1e-12);
        benchmark::DoNotOptimize(exported.indices.data());
    }
    state.SetItemsProcessed(state.iterations() * mesh.FaceCount());
}

#define SORVANE_SIZES RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMillisecond)
BENCHMARK(BM_BuildOrdered)->SORVANE_SIZES->Complexity(benchmark::oN);
BENCHMARK(BM_BuildShuffled)->SORVANE_SIZES->Complexity(benchmark::oN);
BENCHMARK(BM_BuildFaceByFace)->SORVANE_SIZES;
BENCHMARK(BM_LinkBoundary)->SORVANE_SIZES;
BENCHMARK(BM_Flips)->SORVANE_SIZES;
BENCHMARK(BM_EdgeSplits)->SORVANE_SIZES;
BENCHMARK(BM_FaceSplits)->SORVANE_SIZES;
BENCHMARK(BM_Collapses)->SORVANE_SIZES;
BENCHMARK(BM_RingLists)->SORVANE_SIZES;
BENCHMARK(BM_RingVisits)->SORVANE_SIZES;
BENCHMARK(BM_Export)->SORVANE_SIZES;

} // namespace
