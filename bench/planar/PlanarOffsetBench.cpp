// Offsets of a wavy ring: 10,000 segments and arcs in turn, many of whose parallels run through one
// another; and the rings of a pocket.

#include <Sorvane/PlanarOffset_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Chain = PolyArcSegBase<double>;

constexpr double kTolerance = 1e-6;

Vec2d RingPoint(double turn)
{
    const double angle = kTwoPi<double> * turn;
    const double radius = 100 + 8 * std::sin(37 * angle) + 2 * std::sin(411 * angle);
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

/// Closed and counter-clockwise; every second element an arc of bulge 0.25, the tangent of a
/// quarter of its sweep.
Chain Ring(int count)
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.elements.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const Vec2d from = i > 0 ? chain.elements.back().EndPoint() : RingPoint(0);
        const Vec2d to = RingPoint(i + 1 < count ? (i + 1.0) / count : 0.0);
        if (i % 2 == 0) {
            chain.AppendSegment(from, to);
            continue;
        }
        const Vec2d bulge = Vector::RightNormal(to - from) * (0.5 * 0.25);
        const auto arc = Geometry::ArcThroughPoints(from, (from + to) * 0.5 + bulge, to);
        chain.AppendArc(arc.center, from, arc.length);
    }
    return chain;
}

void Offset(benchmark::State& state, double distance)
{
    const Chain ring = Ring(static_cast<int>(state.range(0)));
    std::size_t elements = 0;
    for (auto _ : state) {
        const auto offset = PlanarOffset(ring, distance, kTolerance);
        elements = 0;
        for (const Chain& chain : offset) {
            elements += chain.elements.size();
        }
    }
    state.counters["elements"] = static_cast<double>(elements);
    state.SetComplexityN(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* b)
{
    b->Arg(10'000)
        ->Arg(20'000)
        ->Arg(40'000)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}
// Negative: to the inside.
BENCHMARK_CAPTURE(Offset, inside_0p05, -0.05)->Apply(Sizes);
BENCHMARK_CAPTURE(Offset, inside_0p2, -0.2)->Apply(Sizes);
BENCHMARK_CAPTURE(Offset, inside_1, -1.0)->Apply(Sizes);
BENCHMARK_CAPTURE(Offset, inside_5, -5.0)->Apply(Sizes);
BENCHMARK_CAPTURE(Offset, outside_1, 1.0)->Apply(Sizes);

/// Twenty distances at once; wall time, to be compared at one thread and two.
void BM_Offsets(benchmark::State& state)
{
    const Chain ring = Ring(static_cast<int>(state.range(0)));
    std::set<double> distances;
    for (int i = 1; i <= 20; ++i) {
        distances.insert(-0.1 * i);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(PlanarOffsets(ring, distances, kTolerance));
    }
}
BENCHMARK(BM_Offsets)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseRealTime();

/// All rings of a pocket whose wall has 37 waves, with an island, until nothing is left.
void BM_PocketRings(benchmark::State& state)
{
    const auto count = static_cast<int>(state.range(0));
    std::vector<Vec2d> corners;
    for (int i = 0; i <= count; ++i) {
        const double angle = kTwoPi<double> * (i % count) / count;
        const double radius = 100 + 8 * std::sin(37 * angle);
        corners.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    Chain wall;
    for (int i = 0; i < count; ++i) {
        wall.AppendSegment(corners[static_cast<std::size_t>(i)],
                           corners[static_cast<std::size_t>(i) + 1]);
    }
    Chain island;
    island.tolerance = 1e-9;
    island.AppendArc({20, 0}, {50, 0}, kTwoPi<double> * 30);
    std::size_t rings = 0;
    for (auto _ : state) {
        rings = PocketRings<double>(wall, {island}, {2.0, 1.5, 1000}, kTolerance).rings.size();
    }
    state.counters["rings"] = static_cast<double>(rings);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_PocketRings)
    ->Arg(2'500)
    ->Arg(10'000)
    ->Arg(40'000)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

} // namespace
