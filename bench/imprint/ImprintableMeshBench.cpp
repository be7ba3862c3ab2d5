// The mesh on which curves are imprinted: building it and its search tree, locating points, laying
// paths on it. Sheets of three sizes, and the part that SORVANE_BENCH_STL names.

#include "imprint/ImprintableMesh_Impl.h"

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using ImprintMesh = Mesh::Impl::ImprintableMesh<unsigned char>;
using Path = std::vector<Vec3d>;

constexpr double kTolerance = 1e-6;

/// The sheet, or the part, welded.
Bench::IndexedMesh Input(std::int64_t triangles)
{
    return triangles > 0 ? Bench::WavySheet(triangles)
                         : Support::WeldedStl<double>(std::getenv("SORVANE_BENCH_STL"));
}

Vec3d Middle(const ImprintMesh& mesh, int facet)
{
    Vec3d sum;
    for (const int node : mesh.FaceNodes(facet)) {
        sum += mesh.GetVertex(node);
    }
    return sum * (1.0 / 3);
}

/// A row of some hundred facets, each beside the one before and as far on in one direction as its
/// neighbors go: the middle of every fifth.
Path RowOfFacets(const ImprintMesh& mesh, Support::Random& random)
{
    constexpr int kFacets = 500;
    constexpr int kStep = 5;
    const Vec3d direction = random.Vector<3, double>(-1, 1);
    Path path;
    int facet = random.Below(mesh.FaceCount());
    int before = -1;
    for (int i = 0; i < kFacets; ++i) {
        if (i % kStep == 0) {
            path.push_back(Middle(mesh, facet));
        }
        int best = -1;
        for (const int next : mesh.FaceNeighbors(facet)) {
            if (next >= 0 && next != before &&
                (best < 0 || (Middle(mesh, next) - Middle(mesh, best)) * direction > 0)) {
                best = next;
            }
        }
        if (best < 0) {
            break;
        }
        before = facet;
        facet = best;
    }
    return path;
}

void BM_Build(benchmark::State& state)
{
    const Bench::IndexedMesh input = Input(state.range(0));
    for (auto _ : state) {
        const ImprintMesh mesh(input.points, input.indices, {}, kTolerance);
        benchmark::DoNotOptimize(mesh.NodeCount());
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(input.indices.size() / 3));
}

void BM_BuildSearchTree(benchmark::State& state)
{
    const Bench::IndexedMesh input = Input(state.range(0));
    ImprintMesh mesh(input.points, input.indices, {}, kTolerance);
    for (auto _ : state) {
        mesh.DropSearchTree();
        mesh.BuildSearchTree();
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(input.indices.size() / 3));
}

/// 1,000 points inside facets, in random order. Items are points.
void BM_Locate(benchmark::State& state)
{
    constexpr int kPoints = 1000;
    const Bench::IndexedMesh input = Input(state.range(0));
    const ImprintMesh mesh(input.points, input.indices, {}, kTolerance);
    Support::Random random(1);
    Path points;
    for (int i = 0; i < kPoints; ++i) {
        points.push_back(Middle(mesh, random.Below(mesh.FaceCount())));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(mesh.LocatePath(points).data());
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}

/// A path of up to 100 points, all of its steps: locating, tracing with its cuts, collapsing.
/// Another path in each iteration, over a mesh that has been cut by those before. Items are places
/// passed.
void BM_Path(benchmark::State& state)
{
    constexpr int kPaths = 100;
    const Bench::IndexedMesh input = Input(state.range(0));
    ImprintMesh mesh(input.points, input.indices, {}, kTolerance);
    Support::Random random(1);
    std::vector<Path> paths;
    for (int i = 0; i < kPaths; ++i) {
        paths.push_back(RowOfFacets(mesh, random));
    }
    Mesh::Impl::NodeReplacements replaced;
    std::size_t next = 0;
    std::int64_t places = 0;
    for (auto _ : state) {
        const auto traced = mesh.TracePath(mesh.LocatePath(paths[next++ % kPaths]), false);
        mesh.CollapseShortEdges(kTolerance / 2, replaced);
        mesh.ForgetSplits();
        places += static_cast<std::int64_t>(traced.size());
    }
    state.SetItemsProcessed(places);
    state.counters["places"] =
        benchmark::Counter(static_cast<double>(places), benchmark::Counter::kAvgIterations);
}

// Size 0 stands for the part of SORVANE_BENCH_STL.
void Sizes(benchmark::internal::Benchmark* benchmark)
{
    for (const std::int64_t size : {10'000, 100'000, 400'000}) {
        benchmark->Arg(size);
    }
    if (std::getenv("SORVANE_BENCH_STL") != nullptr) {
        benchmark->Arg(0);
    }
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Build)->Apply(Sizes);
BENCHMARK(BM_BuildSearchTree)->Apply(Sizes);
BENCHMARK(BM_Locate)->Apply(Sizes);
BENCHMARK(BM_Path)->Apply([](auto* b) { Sizes(b->Iterations(100)); });

} // namespace
