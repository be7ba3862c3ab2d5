// Tracing the outer boundary: a fine circle, and the cut lattice inside a square, where most is
// interior.

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {

using Velk::Math::kTwoPi;
using Velk::Math::Vec2d;
using Velk::Math::Geometry::SegBase;

using Segments = std::vector<SegBase<double>>;

void Run(benchmark::State& state, const Segments& segments)
{
    std::vector<Vec2d> loop;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Velk::Math::Intersect::TraceOuterLoop(segments, loop, 1e-12));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(segments.size()));
    state.SetComplexityN(static_cast<std::int64_t>(segments.size()));
    state.counters["segments"] = static_cast<double>(segments.size());
    state.counters["loop"] = static_cast<double>(loop.size());
}

void BM_TraceCircle(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    Segments segments;
    const auto corner = [count](int i) {
        const double angle = kTwoPi<double> * (i % count) / count;
        return Vec2d(std::cos(angle), std::sin(angle));
    };
    for (int i = 0; i < count; ++i) {
        segments.push_back({corner(i), corner(i + 1)});
    }
    Run(state, segments);
}
BENCHMARK(BM_TraceCircle)
    ->RangeMultiplier(10)
    ->Range(1000, 1'000'000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

void BM_TraceLattice(benchmark::State& state)
{
    const int side = static_cast<int>(state.range(0));
    Segments segments;
    for (int x = 0; x <= side; ++x) {
        for (int y = 0; y <= side; ++y) {
            if (x < side) {
                segments.push_back({{x, y}, {x + 1, y}});
            }
            if (y < side) {
                segments.push_back({{x, y}, {x, y + 1}});
            }
        }
    }
    Run(state, segments);
}
BENCHMARK(BM_TraceLattice)
    ->RangeMultiplier(3)
    ->Range(22, 600)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

} // namespace
