// Shadows and spun outlines of closed and open meshes; a tool lowered onto a profile.

#include <Sorvane/Silhouette_E.h>

#include "tests/support/MeshGenerators.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Mesh = Support::IndexedMesh;

/// A ball with knobs all over: rims inside the shadow too.
Mesh Knobbly(std::int64_t triangles)
{
    Mesh mesh = Support::Torus(static_cast<int>(std::sqrt(static_cast<double>(triangles))),
                               static_cast<int>(std::sqrt(static_cast<double>(triangles) / 4)));
    for (Vec3d& p : mesh.points) {
        p = p * (1 + 0.05 * std::sin(9 * p.x()) * std::cos(9 * p.y()) * std::sin(9 * p.z() + 1));
        p = Vec3d(p.x(), p.y() * 0.8 - p.z() * 0.6, p.y() * 0.6 + p.z() * 0.8);
    }
    return mesh;
}

void BM_SilhouetteBoundaries(benchmark::State& state)
{
    const Mesh mesh = Knobbly(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(SilhouetteBoundaries<double>(mesh, nullptr));
    }
    state.counters["triangles"] = static_cast<double>(mesh.indices.size() / 3);
}
BENCHMARK(BM_SilhouetteBoundaries)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);

/// A sheet that hides nothing: its triangles are all there is of the rim.
void BM_SilhouetteOfASoup(benchmark::State& state)
{
    Mesh mesh = Knobbly(state.range(0));
    Mesh soup;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        soup.points.push_back(mesh.points[static_cast<std::size_t>(mesh.indices[i])]);
        soup.indices.push_back(static_cast<int>(i));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(SilhouetteBoundaries<double>(soup, nullptr));
    }
}
BENCHMARK(BM_SilhouetteOfASoup)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

/// A thousand samples of height, and ten thousand.
void BM_SpinBoundary(benchmark::State& state)
{
    const Mesh mesh = Knobbly(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            SpinBoundary<double>(mesh, 4.0 / static_cast<double>(state.range(1))));
    }
}
BENCHMARK(BM_SpinBoundary)
    ->Args({10000, 1000})
    ->Args({100000, 1000})
    ->Args({1000000, 1000})
    ->Args({100000, 10000})
    ->Unit(benchmark::kMillisecond);

/// All edges run all the way up, each the outermost for a while.
void BM_SpinBoundaryOfLongEdges(benchmark::State& state)
{
    Mesh mesh;
    const auto count = state.range(0);
    for (std::int64_t i = 0; i < count; ++i) {
        const double slope = 2.0 * static_cast<double>(i) / static_cast<double>(count);
        const double waist = 5 - slope * slope;
        const auto next = static_cast<int>(mesh.points.size());
        mesh.points.insert(mesh.points.end(),
                           {{waist, -slope * 2, -2}, {waist, slope * 2, 2}, {waist, 0, 0}});
        mesh.indices.insert(mesh.indices.end(), {next, next + 1, next + 2});
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(SpinBoundary<double>(mesh, 0.0004));
    }
}
BENCHMARK(BM_SpinBoundaryOfLongEdges)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);

void BM_VerticalDropOnTarget(benchmark::State& state)
{
    std::vector<Vec2d> target;
    const auto count = state.range(0);
    for (std::int64_t i = 0; i <= count; ++i) {
        const double x = 100.0 * static_cast<double>(i) / static_cast<double>(count);
        target.push_back({x, std::sin(x) + 0.3 * std::sin(7 * x)});
    }
    std::vector<Vec2d> tool;
    for (int k = 0; k < 32; ++k) {
        const double angle = kTwoPi<double> * k / 32;
        tool.push_back({2 * std::sin(angle), 2 - 2 * std::cos(angle)});
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(VerticalDropOnTarget<double>(40.0, tool, target));
    }
}
BENCHMARK(BM_VerticalDropOnTarget)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
