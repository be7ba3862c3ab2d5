// Tools: flattening of a profile, and fits to outlines of three kinds: points of a flattened tool,
// a scan of it with noise, and one whose hull has every point for a vertex and no tool for a fit.

#include <Sorvane/Tools_E.h>

#include <benchmark/benchmark.h>

#include "tests/support/Random.h"

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Points = std::vector<Vec2d>;
using Tool = Mill::ConvexStandardToolBase<double>;

const Tool kDrawn{4, 1, 1.5707963267948966, 6, 0.7, 3, 20};
constexpr double kTolerance = 0.01;

/// About `count` points on the profile, all of the same distance from the next but at corners.
Points Drawn(int count, double noise)
{
    const Points profile = Planar::ToPolyline(kDrawn, 1e-7).points;
    Support::Random random(1);
    Points points;
    const double spacing = 34.0 / count;
    double left = 0;
    for (std::size_t i = 1; i < profile.size(); ++i) {
        const Vec2d step = profile[i] - profile[i - 1];
        const double length = std::hypot(step.x(), step.y());
        for (; left < length; left += spacing) {
            points.push_back(profile[i - 1] + step * (left / length) +
                             random.Vector<2, double>(-noise, noise));
        }
        left -= length;
    }
    points.push_back(profile.back());
    return points;
}

Points Ellipse(int count)
{
    Points points;
    for (int i = 0; i < count; ++i) {
        const double angle = 1.5707963267948966 * i / (count - 1);
        points.emplace_back(10 * std::sin(angle), 6 * (1 - std::cos(angle)));
    }
    return points;
}

/// Finer and finer: the number of points grows with 1 / sqrt(tolerance).
void BM_ToolToPolyline(benchmark::State& state)
{
    const double tolerance = 1.0 / static_cast<double>(state.range(0) * state.range(0));
    std::int64_t points = 0;
    for (auto _ : state) {
        const auto polyline = Planar::ToPolyline(kDrawn, tolerance);
        points = static_cast<std::int64_t>(polyline.points.size());
        benchmark::DoNotOptimize(polyline.points.data());
    }
    state.SetItemsProcessed(state.iterations() * points);
}
BENCHMARK(BM_ToolToPolyline)->Arg(100)->Arg(1000)->Arg(10000);

template <class Fit>
void RunFit(benchmark::State& state, const Points& points, Fit fit)
{
    double deviation = 0;
    for (auto _ : state) {
        const auto report = fit(points);
        benchmark::DoNotOptimize(report.hullDeviation);
        deviation = report.hullDeviation;
    }
    state.counters["deviation"] = deviation;
}

const auto kConvex = [](const Points& points) {
    return Mill::ConvexToolFromPolyline(points, kTolerance);
};
const auto kCylindrical = [](const Points& points) {
    return Mill::CylindricalToolFromPolyline(points, kTolerance);
};
const auto kBest = [](const Points& points) {
    return Mill::BestConvexToolFromPolyline(points, kTolerance, kTolerance);
};

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1000)
        ->Arg(10000)
        ->Arg(100000)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

void BM_ConvexToolDrawn(benchmark::State& state)
{
    RunFit(state, Drawn(static_cast<int>(state.range(0)), 0), kConvex);
}
BENCHMARK(BM_ConvexToolDrawn)->Apply(Sizes);

void BM_ConvexToolScanned(benchmark::State& state)
{
    RunFit(state, Drawn(static_cast<int>(state.range(0)), 0.003), kConvex);
}
BENCHMARK(BM_ConvexToolScanned)->Apply(Sizes);

void BM_ConvexToolEllipse(benchmark::State& state)
{
    RunFit(state, Ellipse(static_cast<int>(state.range(0))), kConvex);
}
BENCHMARK(BM_ConvexToolEllipse)->Apply(Sizes);

/// At a tolerance that takes every point for an element: each of them has to be merged.
void BM_ConvexToolManyElements(benchmark::State& state)
{
    RunFit(state, Ellipse(static_cast<int>(state.range(0))),
           [](const Points& points) { return Mill::ConvexToolFromPolyline(points, 1e-9); });
}
BENCHMARK(BM_ConvexToolManyElements)->Apply(Sizes);

void BM_CylindricalToolScanned(benchmark::State& state)
{
    RunFit(state, Drawn(static_cast<int>(state.range(0)), 0.003), kCylindrical);
}
BENCHMARK(BM_CylindricalToolScanned)->Apply(Sizes);

void BM_BestConvexToolScanned(benchmark::State& state)
{
    RunFit(state, Drawn(static_cast<int>(state.range(0)), 0.003), kBest);
}
BENCHMARK(BM_BestConvexToolScanned)->Apply(Sizes);

} // namespace
