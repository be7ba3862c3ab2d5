// Oriented boxes and prisms: how the cost grows for the hulls of points in a ball, where hardly
// any of the points are vertices, and on a sphere, where all of them are, or on a cone. Set
// SORVANE_BENCH_STL to a binary STL file for a real part as well.

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/OrientedBox_E.h>

#include "bench/support/Meshes.h"
#include "bench/support/Points.h"

#include <benchmark/benchmark.h>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Points = std::vector<Vec3d>;

/// A tip over points on a circle: half of the triangles meet there, the others in a corner that the
/// base is fanned from.
Points OnCone(std::int64_t count)
{
    Points points{{0, 0, 5}};
    for (const Vec2d& p : Bench::PointsOnSphere<2, double>(count - 1)) {
        points.push_back({p[0], p[1], 0});
    }
    return points;
}

struct Hull {
    Points points;
    std::vector<int> triangles;

    explicit Hull(const Points& all) { Bounding::ConvexHull(all, points, triangles, false, false); }
};

void BM_Rectangle(benchmark::State& state)
{
    const auto hull = Bounding::ConvexHull(Bench::PointsOnSphere<2, double>(state.range(0)), false);
    TransformBase<2> transform;
    Vec2d size;
    for (auto _ : state) {
        Bounding::OrientedBoundingBoxOfHull(hull, transform, size);
        benchmark::DoNotOptimize(size);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_Rectangle)
    ->Name("OrientedBoundingBoxOfHull/OnCircle")
    ->RangeMultiplier(10)
    ->Range(1'000, 1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

void BoxOfHull(benchmark::State& state, const Points& points)
{
    const Hull hull(points);
    TransformBase<3> transform;
    Vec3d size;
    for (auto _ : state) {
        Bounding::OrientedBoundingBoxOfHull(hull.points, hull.triangles, transform, size);
        benchmark::DoNotOptimize(size);
    }
    state.counters["volume"] = size.x() * size.y() * size.z();
    state.counters["triangles"] = static_cast<double>(hull.triangles.size() / 3);
}

void MinimalBox(benchmark::State& state, const Points& points)
{
    const Hull hull(points);
    TransformBase<3> transform;
    Vec3d size;
    for (auto _ : state) {
        Bounding::MinimalOrientedBox(points, transform, size);
        benchmark::DoNotOptimize(size);
    }
    const Vec3d upright = Bounding::BoxOfPoints(points).max - Bounding::BoxOfPoints(points).min;
    state.counters["asItLies"] = upright.x() * upright.y() * upright.z();
    state.counters["volume"] = size.x() * size.y() * size.z();
    state.counters["triangles"] = static_cast<double>(hull.triangles.size() / 3);
}

void Prism(benchmark::State& state, const Points& points)
{
    const Hull hull(points);
    Bounding::HullPrismReport<double> report;
    for (auto _ : state) {
        report = Bounding::MinimalHullPrism(hull.points, hull.triangles, Vec3d{}, true, true);
        benchmark::DoNotOptimize(report);
    }
    state.counters["volume"] = report.volume;
    state.counters["triangles"] = static_cast<double>(hull.triangles.size() / 3);
}

using Bench::InBall;
using Bench::OnSphere;

template <void (*Run)(benchmark::State&, const Points&), Points (*MakePoints)(std::int64_t)>
void BM_On(benchmark::State& state)
{
    Run(state, MakePoints(state.range(0)));
}

template <void (*Run)(benchmark::State&, const Points&)>
void BM_OfFile(benchmark::State& state)
{
    const Points points = Bench::NamedCorners<double>();
    if (points.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no binary STL file");
        return;
    }
    Run(state, points);
}

#define SORVANE_BOXES(Run, name, arrangement, most) \
    BENCHMARK(BM_On<Run, arrangement>)              \
        ->Name(name "/" #arrangement)               \
        ->RangeMultiplier(10)                       \
        ->Range(100, most)                          \
        ->Unit(benchmark::kMillisecond)
SORVANE_BOXES(BoxOfHull, "OrientedBoundingBoxOfHull", OnSphere, 100'000);
SORVANE_BOXES(BoxOfHull, "OrientedBoundingBoxOfHull", OnCone, 100'000);
SORVANE_BOXES(MinimalBox, "MinimalOrientedBox", OnSphere, 10'000);
SORVANE_BOXES(MinimalBox, "MinimalOrientedBox", InBall, 1'000'000);
SORVANE_BOXES(Prism, "MinimalHullPrism", OnSphere, 10'000);
#undef SORVANE_BOXES
BENCHMARK(BM_OfFile<BoxOfHull>)
    ->Name("OrientedBoundingBoxOfHull/File")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OfFile<MinimalBox>)->Name("MinimalOrientedBox/File")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OfFile<Prism>)->Name("MinimalHullPrism/File")->Unit(benchmark::kMillisecond);

} // namespace
