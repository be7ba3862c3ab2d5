// Soups cut by planes, by each other and by themselves, of growing size, and the part that
// SORVANE_BENCH_STL names. Items are triangles.

#include <Sorvane/TriangleSlicer_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mesh::TriangleSlicer;
using Soup = TriangleSlicer::Triangles;

/// A sphere of about that many triangles, tilted a little so that no plane of the tests meets a
/// corner.
Soup SphereSoup(std::int64_t triangles, const Vec3d& center)
{
    int levels = 0;
    while (std::int64_t{8} << (2 * (levels + 1)) <= triangles) {
        ++levels;
    }
    Soup soup = Mesh::SoupFromIndexedPoints(Support::Sphere(levels));
    for (auto& triangle : soup) {
        for (Vec3d& p : triangle) {
            p = Vec3d(0.8 * p[0] - 0.6 * p[1], 0.6 * p[0] + 0.8 * p[1], p[2]) + center;
        }
    }
    return soup;
}

void Report(benchmark::State& state, std::size_t triangles)
{
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(triangles));
}

void BM_PlaneHalves(benchmark::State& state)
{
    const TriangleSlicer slicer(SphereSoup(state.range(0), {}));
    for (auto _ : state) {
        benchmark::DoNotOptimize(slicer.SliceTriangles({1, 2, 3}, {0.1, 0, 0}, false, 1e-9));
    }
    Report(state, slicer.Soup().size());
}

void BM_PlaneCurves(benchmark::State& state)
{
    const TriangleSlicer slicer(SphereSoup(state.range(0), {}));
    for (auto _ : state) {
        benchmark::DoNotOptimize(slicer.SliceTriangles({1, 2, 3}, {0.1, 0, 0}, true, 1e-9));
    }
    Report(state, slicer.Soup().size());
}

void BM_Spheres(benchmark::State& state)
{
    const TriangleSlicer slicer(SphereSoup(state.range(0), {}));
    const Soup cutter = SphereSoup(state.range(0), {0.5, 0.3, 0.2});
    for (auto _ : state) {
        benchmark::DoNotOptimize(slicer.SliceTriangles(cutter));
    }
    Report(state, slicer.Soup().size() + cutter.size());
}

void BM_CleanSphere(benchmark::State& state)
{
    const TriangleSlicer slicer(SphereSoup(state.range(0), {}));
    for (auto _ : state) {
        benchmark::DoNotOptimize(slicer.SegmentsAtSelfIntersection());
    }
    Report(state, slicer.Soup().size());
}

/// All cuts on the two triangles of a square.
void BM_Pins(benchmark::State& state)
{
    const int side = Support::GridSide(2 * state.range(0));
    Soup pins;
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const Vec3d at(-0.97 + 1.9 * i / side, -0.96 + 1.91 * j / side, 0);
            const double r = 0.5 / side;
            pins.push_back({at + Vec3d(-r, 0, -1), at + Vec3d(r, 0, -1), at + Vec3d(0, r, 1)});
        }
    }
    const TriangleSlicer slicer({{Vec3d(-1, -1, 0), Vec3d(1, -1, 0), Vec3d(1, 1, 0)},
                                 {Vec3d(-1, -1, 0), Vec3d(1, 1, 0), Vec3d(-1, 1, 0)}});
    for (auto _ : state) {
        benchmark::DoNotOptimize(slicer.SliceTriangles(pins));
    }
    Report(state, pins.size());
}

Soup PartSoup(benchmark::State& state)
{
    const char* file = std::getenv("SORVANE_BENCH_STL");
    Soup soup;
    if (file != nullptr) {
        soup = Mesh::SoupFromIndexedPoints(Support::WeldedStl<double>(file));
    }
    if (soup.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no binary STL");
    }
    return soup;
}

/// Ten planes across the part.
void CutPart(benchmark::State& state, bool curvesOnly)
{
    const TriangleSlicer slicer(PartSoup(state));
    const auto& box = slicer.Box();
    for (auto _ : state) {
        for (int i = 0; i < 10; ++i) {
            const Vec3d point = box.min + (box.max - box.min) * ((i + 0.5) / 10);
            benchmark::DoNotOptimize(slicer.SliceTriangles({0, 0, 1}, point, curvesOnly, 1e-9));
        }
    }
    Report(state, 10 * slicer.Soup().size());
}

void BM_PartHalves(benchmark::State& state) { CutPart(state, false); }
void BM_PartCurves(benchmark::State& state) { CutPart(state, true); }

void BM_PartItself(benchmark::State& state)
{
    const TriangleSlicer slicer(PartSoup(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(slicer.SegmentsAtSelfIntersection());
    }
    Report(state, slicer.Soup().size());
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(8'192)->Arg(131'072)->Arg(524'288)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_PlaneHalves)->Apply(Sizes);
BENCHMARK(BM_PlaneCurves)->Apply(Sizes);
BENCHMARK(BM_Spheres)->Apply(Sizes);
BENCHMARK(BM_CleanSphere)->Apply(Sizes);
BENCHMARK(BM_Pins)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartHalves)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartCurves)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PartItself)->Unit(benchmark::kMillisecond);

} // namespace
