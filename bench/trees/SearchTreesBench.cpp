// Search trees: the nearest triangle to a hundred thousand points with the tree built before, lines
// through a mesh, and segments and chains in the plane, at three sizes each. The mesh is a wavy
// sheet; SORVANE_BENCH_STL names another.

#include "bench/support/Meshes.h"
#include "trees/ArcSegTree_Impl.h"
#include "trees/SegmentTree_Impl.h"
#include "trees/TriangleTree_Impl.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using TriangleTree = Tree::QOFTriangleTree<3, double>;

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
    const double reach = 4 * tree.Root().halfSize;
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

std::vector<Geometry::SegBase<double>> Segments(std::int64_t count)
{
    const double size = 100 / std::sqrt(static_cast<double>(count));
    Support::Random random(5489);
    std::vector<Geometry::SegBase<double>> segments;
    for (std::int64_t i = 0; i < count; ++i) {
        const double x = random.Between(0, 100);
        const double y = random.Between(0, 100);
        segments.push_back({{x, y}, {x + random.Between(-size, size), y + random.Between(-size, size)}});
    }
    return segments;
}

/// A tree of that many segments, and a point near one of them for each snap.
void BM_SnapToSegments(benchmark::State& state)
{
    const auto segments = Segments(state.range(0));
    std::size_t found = 0;
    for (auto _ : state) {
        const Tree::Quadtree::SegmentTree<double> tree(segments);
        Support::Random random(5489);
        found = 0;
        for (int i = 0; i < kPoints; ++i) {
            const double x = random.Between(0, 100);
            found += tree.ClosestPoint({x, random.Between(0, 100)}, 10).id >= 0 ? 1 : 0;
        }
    }
    state.counters["found"] = static_cast<double>(found);
    state.SetItemsProcessed(state.iterations() * kPoints);
}

/// A chain of arcs that winds outwards; elements within a distance of which a few fulfill it.
void BM_ChainItemsWithin(benchmark::State& state)
{
    Planar::PolyArcSegBase<double> chain;
    chain.tolerance = 1e-6;
    VecBase<2, double> at{1, 0};
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        const VecBase<2, double> center = at * (i % 2 == 0 ? 0.02 : -0.01);
        chain.AppendArc(center, at, Vector::Length(at - center) * (i % 2 == 0 ? 0.3 : 0.2));
        at = chain.elements.back().EndPoint();
    }
    Support::Random random(5489);
    std::size_t found = 0;
    for (auto _ : state) {
        const Tree::Quadtree::ArcSegTree<double> tree(chain);
        for (int i = 0; i < kPoints / 10; ++i) {
            const double x = random.Between(-2, 2);
            found += tree.ItemsWithin({x, random.Between(-2, 2)}, 0.02).size();
        }
    }
    benchmark::DoNotOptimize(found);
    state.SetItemsProcessed(state.iterations() * (kPoints / 10));
}

#define SORVANE_MESH_SIZES(function) \
    BENCHMARK(function)->Arg(10'000)->Arg(246'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)
SORVANE_MESH_SIZES(BM_BuildTriangles);
SORVANE_MESH_SIZES(BM_ClosestPoint);
SORVANE_MESH_SIZES(BM_ClosestPointInRange);
SORVANE_MESH_SIZES(BM_LineHits);
#undef SORVANE_MESH_SIZES
BENCHMARK(BM_SnapToSegments)
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChainItemsWithin)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->Unit(benchmark::kMillisecond);

} // namespace
