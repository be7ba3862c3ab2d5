// Imprint and tracer on wavy sheets of 100 x 100 and on the part that SORVANE_BENCH_STL names:
// taking a mesh in, loops of 360 points imprinted one after the other on one mesh, painting, and
// straightest lines across it. Loops go through the ends of straightest lines around a point.

#include <Sorvane/MeshImprint_E.h>

#include "bench/support/Meshes.h"
#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Path = std::vector<Vec3d>;

constexpr double kTolerance = 1e-6;
constexpr int kLoops = 50;
constexpr int kLoopPoints = 360;
constexpr double kRadius = 4;

/// A sheet of so many triangles; 0 stands for the part, empty where none is named.
const Bench::IndexedMesh& Input(std::int64_t size)
{
    static std::map<std::int64_t, Bench::IndexedMesh> inputs;
    const auto [entry, isNew] = inputs.try_emplace(size);
    if (isNew && size > 0) {
        entry->second = Bench::WavySheet(size);
    } else if (isNew) {
        entry->second = Bench::NamedMesh();
        Mesh::FilterForUniqueness(entry->second, 0.0);
    }
    return entry->second;
}

Path LoopAround(Mesh::MeshTracer& tracer, const Bench::IndexedMesh& mesh, std::size_t triangle)
{
    Vec3d corners[3];
    for (std::size_t k = 0; k < 3; ++k) {
        corners[k] = mesh.points[static_cast<std::size_t>(mesh.indices[3 * triangle + k])];
    }
    const Vec3d start = (corners[0] + corners[1] + corners[2]) / 3.0;
    const Vec3d u = Vector::Normalized(corners[1] - corners[0], 0.0);
    const Vec3d v = Vector::Normalized(((corners[2] - corners[0]) ^ u) ^ u, 0.0);
    Path loop;
    for (int i = 0; i < kLoopPoints; ++i) {
        const double a = kTwoPi<double> * i / kLoopPoints;
        loop.push_back(
            tracer.CollectPath(start, u * std::cos(a) + v * std::sin(a), kRadius).back());
    }
    return loop;
}

const std::vector<Path>& Loops(std::int64_t size)
{
    static std::map<std::int64_t, std::vector<Path>> loops;
    const auto [entry, isNew] = loops.try_emplace(size);
    if (isNew) {
        const Bench::IndexedMesh& mesh = Input(size);
        Mesh::MeshTracer tracer(mesh, kTolerance);
        Support::Random random(1);
        for (int i = 0; i < kLoops; ++i) {
            const int triangle = random.Below(static_cast<int>(mesh.indices.size() / 3));
            entry->second.push_back(LoopAround(tracer, mesh, static_cast<std::size_t>(triangle)));
        }
    }
    return entry->second;
}

bool IsMissing(benchmark::State& state)
{
    if (Input(state.range(0)).indices.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no part");
        return true;
    }
    return false;
}

void BM_MakeImprint(benchmark::State& state)
{
    if (IsMissing(state)) {
        return;
    }
    for (auto _ : state) {
        Mesh::MeshImprint imprint(Input(state.range(0)), kTolerance);
        benchmark::ClobberMemory();
    }
}

/// All loops on one mesh, or a single one.
void BM_ImprintPath(benchmark::State& state)
{
    if (IsMissing(state)) {
        return;
    }
    const std::vector<Path>& loops = Loops(state.range(0));
    std::size_t nodes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto imprint = std::make_unique<Mesh::MeshImprint>(Input(state.range(0)), kTolerance);
        state.ResumeTiming();
        nodes = 0;
        for (int i = 0; i < state.range(1); ++i) {
            Path path = loops[static_cast<std::size_t>(i)];
            imprint->ImprintPath(path, true, true);
            nodes += path.size();
        }
        state.PauseTiming();
        imprint.reset();
        state.ResumeTiming();
    }
    state.counters["nodes"] = static_cast<double>(nodes);
}

void BM_PaintInsideOutside(benchmark::State& state)
{
    if (IsMissing(state)) {
        return;
    }
    Mesh::MeshImprint imprint(Input(state.range(0)), kTolerance);
    for (Path path : Loops(state.range(0))) {
        imprint.ImprintPath(path, true, false);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(imprint.PaintInsideOutside());
    }
}

/// Lines of 100 in all directions.
void BM_CollectPath(benchmark::State& state)
{
    if (IsMissing(state)) {
        return;
    }
    const Bench::IndexedMesh& mesh = Input(state.range(0));
    Mesh::MeshTracer tracer(mesh, kTolerance);
    Support::Random random(2);
    std::size_t points = 0;
    for (auto _ : state) {
        const auto corner =
            static_cast<std::size_t>(3 * random.Below(static_cast<int>(mesh.indices.size() / 3)));
        const auto at = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[corner + k])];
        };
        const Path line =
            tracer.CollectPath((at(0) + at(1) + at(2)) / 3.0, random.Vector<3, double>(-1, 1), 100);
        points += line.size();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(points));
    state.counters["points"] =
        benchmark::Counter(static_cast<double>(points), benchmark::Counter::kAvgIterations);
}

BENCHMARK(BM_MakeImprint)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImprintPath)
    ->ArgsProduct({{10'000, 100'000, 1'000'000, 0}, {1, kLoops}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PaintInsideOutside)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CollectPath)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Arg(0)
    ->Unit(benchmark::kMicrosecond);

} // namespace
