// Convex hulls in space beside Qhull: the same points, one thread, all the way to triangles. Volume
// and area of both are shown as counters, for comparison of the results.
//
// Set SORVANE_BENCH_STL to a binary STL file for a real part as well.

#include <Sorvane/ConvexHull_E.h>

#include "bench/support/Meshes.h"
#include "bench/support/Points.h"

#include <benchmark/benchmark.h>

extern "C" {
#include <libqhull_r/qhull_ra.h>
}

#include <cstdio>
#include <cstdlib>

namespace {

using namespace Velk::Math;

std::vector<Vec3d> Part(std::int64_t)
{
    return Bench::NamedCorners<double>();
}

template <std::vector<Vec3d> (*MakePoints)(std::int64_t)>
void BM_Sorvane(benchmark::State& state)
{
    const std::vector<Vec3d> points = MakePoints(state.range(0));
    std::vector<Vec3d> hull;
    std::vector<int> indices;
    for (auto _ : state) {
        if (!Sorvane::Bounding::ConvexHull(points, hull, indices, false, false)) {
            state.SkipWithError("no solid");
            return;
        }
        benchmark::DoNotOptimize(indices.data());
    }
    double volume = 0;
    double area = 0;
    for (std::size_t i = 0; i < indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return hull[static_cast<std::size_t>(indices[i + k])] - hull[0];
        };
        volume += (corner(0) ^ corner(1)) * corner(2) / 6;
        area += Length((corner(1) - corner(0)) ^ (corner(2) - corner(0))) / 2;
    }
    state.counters["volume"] = volume;
    state.counters["area"] = area;
    state.counters["triangles"] = static_cast<double>(indices.size() / 3);
}

template <std::vector<Vec3d> (*MakePoints)(std::int64_t)>
void BM_Qhull(benchmark::State& state)
{
    std::vector<Vec3d> points = MakePoints(state.range(0));
    double volume = 0;
    double area = 0;
    double triangles = 0;
    for (auto _ : state) {
        qhT hull;
        qh_zero(&hull, stderr);
        char command[] = "qhull Qt";
        if (points.empty() ||
            qh_new_qhull(&hull, 3, static_cast<int>(points.size()), points.data()->data(), False,
                         command, nullptr, stderr) != 0) {
            state.SkipWithError("no hull");
            return;
        }
        triangles = hull.num_facets;
        state.PauseTiming();
        qh_getarea(&hull, hull.facet_list);
        volume = hull.totvol;
        area = hull.totarea;
        qh_freeqhull(&hull, qh_ALL);
        state.ResumeTiming();
    }
    state.counters["volume"] = volume;
    state.counters["area"] = area;
    state.counters["triangles"] = triangles;
}

#define SORVANE_PEERS(points, count)     \
    BENCHMARK(BM_Sorvane<points>)        \
        ->Name("Sorvane/" #points)       \
        ->Arg(count)                     \
        ->Unit(benchmark::kMillisecond); \
    BENCHMARK(BM_Qhull<points>)->Name("Qhull/" #points)->Arg(count)->Unit(benchmark::kMillisecond)
SORVANE_PEERS(Bench::InBall, 1'000'000);
SORVANE_PEERS(Bench::OnSphere, 100'000);
SORVANE_PEERS(Bench::InBox, 1'000'000);
SORVANE_PEERS(Bench::Lattice, 1'000'000);
SORVANE_PEERS(Part, 0);

} // namespace
