// Edge flips on sheets and on a hub, of growing size, and on the part that SORVANE_BENCH_STL names.
// Items are triangles.

#include <Sorvane/AspectRatio_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Bench::IndexedMesh;

void Improve(benchmark::State& state, const IndexedMesh& mesh, double creaseAngle, double maxDrift)
{
    IndexedMesh out;
    for (auto _ : state) {
        out = MeshUtils::MaximizeAspectRatio(mesh, creaseAngle, maxDrift);
    }
    const auto triangles = static_cast<std::int64_t>(mesh.indices.size() / 3);
    state.SetItemsProcessed(state.iterations() * triangles);
    std::int64_t changed = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        changed += std::equal(&mesh.indices[i], &mesh.indices[i] + 3, &out.indices[i]) ? 0 : 1;
    }
    state.counters["changed"] = static_cast<double>(changed);
}

/// Cells three times as long as high, their points moved about.
IndexedMesh RaggedSheet(std::int64_t triangles)
{
    Support::Random random(7);
    const int side = Support::GridSide(triangles);
    return Support::GridMesh<double>(side, side, [&](int x, int y) {
        return Vec3d(3 * x + 1.6 * random.Unit(), y + 0.2 * random.Unit(), 0.05 * random.Unit());
    });
}

void BM_RaggedSheet(benchmark::State& state) { Improve(state, RaggedSheet(state.range(0)), 60, 1); }

/// The same in random order.
void BM_ShuffledSheet(benchmark::State& state)
{
    Support::Random random(1);
    Improve(state, Support::Shuffled(RaggedSheet(state.range(0)), random), 60, 1);
}

/// Even cells, of which half get their other diagonal.
void BM_WavySheet(benchmark::State& state)
{
    Improve(state, Bench::WavySheet(state.range(0)), 60, 1);
}

/// All triangles at one node, and every second spoke to be flipped away from it.
void BM_Hub(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    IndexedMesh hub;
    hub.points.push_back({0, 0, 0});
    for (int i = 0; i < count; ++i) {
        const double a = kTwoPi<double> * i / count;
        const double r = i % 2 == 0 ? count : count + 12;
        hub.points.push_back({r * std::cos(a), r * std::sin(a), 0});
        hub.indices.insert(hub.indices.end(), {0, 1 + i, 1 + (i + 1) % count});
    }
    Improve(state, hub, 60, 1);
}

void BM_Part(benchmark::State& state)
{
    const char* file = std::getenv("SORVANE_BENCH_STL");
    const IndexedMesh part = file == nullptr ? IndexedMesh() : Support::WeldedStl<double>(file);
    if (part.indices.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no binary STL");
        return;
    }
    Improve(state, part, 10, 0.01);
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_RaggedSheet)->Apply(Sizes);
BENCHMARK(BM_ShuffledSheet)->Apply(Sizes);
BENCHMARK(BM_WavySheet)->Apply(Sizes);
BENCHMARK(BM_Hub)->Apply(Sizes);
BENCHMARK(BM_Part)->Unit(benchmark::kMillisecond);

} // namespace
