// The nearest triangle to a hundred thousand points, one by one and in a batch, with the tree built
// before; building it; lines through a mesh. The mesh is a wavy sheet; SORVANE_BENCH_STL names another.

#include "bench/support/Meshes.h"

#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Vector_E.h>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace Velk::Math;
using TriangleTree = Sorvane::Tree::QOFTriangleTree<3, double>;

constexpr int kPoints = 100'000;

Bench::IndexedMesh MeshOf(const benchmark::State& state)
{
    Bench::IndexedMesh named = Bench::NamedMesh();
    return named.indices.empty() ? Bench::WavySheet(state.range(0)) : named;
}

void BM_BuildTriangles(benchmark::State& state)
{
    const Bench::IndexedMesh mesh = MeshOf(state);
    for (auto _ : state) {
        const TriangleTree tree(mesh.points, mesh.indices);
        benchmark::DoNotOptimize(&tree);
    }
    state.counters["triangles"] = static_cast<double>(mesh.indices.size()) / 3;
}

/// Distance of all points; `rangeShare` of the part's size is the first radius, 0: only the last
/// one.
void ClosestTriangles(benchmark::State& state, double rangeShare)
{
    const Bench::IndexedMesh mesh = MeshOf(state);
    const std::vector<Vec3d> points = Bench::PointsInBox(mesh, kPoints);
    const TriangleTree tree(mesh.points, mesh.indices);
    const double reach = 4 * tree.RootHalfSize();
    double sum = 0;
    for (auto _ : state) {
        sum = 0;
        for (const Vec3d& point : points) {
            const auto nearest = rangeShare > 0
                                     ? tree.ClosestPointInRange(point, reach * rangeShare, reach)
                                     : tree.ClosestPoint(point, reach);
            sum += Vector::Length(nearest.point - point);
        }
    }
    state.counters["mean"] = sum / kPoints;
    state.counters["triangles"] = static_cast<double>(mesh.indices.size()) / 3;
    state.SetItemsProcessed(state.iterations() * kPoints);
}

void BM_ClosestPoint(benchmark::State& state) { ClosestTriangles(state, 0); }
void BM_ClosestPointInRange(benchmark::State& state) { ClosestTriangles(state, 1.0 / 4096); }

void BM_ClosestPoints(benchmark::State& state)
{
    const Bench::IndexedMesh mesh = MeshOf(state);
    const std::vector<Vec3d> points = Bench::PointsInBox(mesh, kPoints);
    const TriangleTree tree(mesh.points, mesh.indices);
    const double reach = 4 * tree.RootHalfSize();
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree.ClosestPoints(points, reach, {}));
    }
    state.counters["triangles"] = static_cast<double>(mesh.indices.size()) / 3;
    state.SetItemsProcessed(state.iterations() * kPoints);
}

void BM_BuildAndClosestPoints(benchmark::State& state)
{
    const Bench::IndexedMesh mesh = MeshOf(state);
    const std::vector<Vec3d> points = Bench::PointsInBox(mesh, kPoints);
    for (auto _ : state) {
        const TriangleTree tree(mesh.points, mesh.indices);
        benchmark::DoNotOptimize(tree.ClosestPoints(points, 4 * tree.RootHalfSize(), {}));
    }
    state.counters["triangles"] = static_cast<double>(mesh.indices.size()) / 3;
    state.SetItemsProcessed(state.iterations() * kPoints);
}

void BM_LineHits(benchmark::State& state)
{
    const Bench::IndexedMesh mesh = MeshOf(state);
    const std::vector<Vec3d> points = Bench::PointsInBox(mesh, kPoints / 10);
    const TriangleTree tree(mesh.points, mesh.indices);
    std::size_t hits = 0;
    for (auto _ : state) {
        for (const Vec3d& point : points) {
            hits += tree.LineHits(point, {0, 0, -1}).size();
        }
    }
    benchmark::DoNotOptimize(hits);
    state.SetItemsProcessed(state.iterations() * (kPoints / 10));
}

#define SORVANE_MESH_SIZES(function) \
    BENCHMARK(function)->Arg(10'000)->Arg(246'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)
SORVANE_MESH_SIZES(BM_BuildTriangles);
SORVANE_MESH_SIZES(BM_ClosestPoint);
SORVANE_MESH_SIZES(BM_ClosestPointInRange);
SORVANE_MESH_SIZES(BM_ClosestPoints);
SORVANE_MESH_SIZES(BM_BuildAndClosestPoints);
SORVANE_MESH_SIZES(BM_LineHits);
#undef SORVANE_MESH_SIZES

} // namespace
