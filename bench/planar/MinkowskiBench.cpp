// Tools swept along a wavy ring, and outlines compared: growth with the points of the contour and
// of the tool.

#include <Sorvane/Minkowski_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Polyline = std::vector<Vec2d>;
using Loops = std::vector<Polyline>;

/// Closed and counter-clockwise.
Polyline Ring(int count)
{
    Polyline ring;
    for (int i = 0; i < count; ++i) {
        const double angle = kTwoPi<double> * i / count;
        const double radius = 100 + 8 * std::sin(37 * angle) + 2 * std::sin(411 * angle);
        ring.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    ring.push_back(ring.front());
    return ring;
}

Polyline RoundTool(int corners)
{
    Polyline tool;
    for (int i = 0; i < corners; ++i) {
        const double angle = kTwoPi<double> * i / corners;
        tool.push_back({std::cos(angle), std::sin(angle)});
    }
    return tool;
}

void Report(benchmark::State& state, const Loops& loops)
{
    std::size_t points = 0;
    for (const Polyline& loop : loops) {
        points += loop.size();
    }
    state.counters["loops"] = static_cast<double>(loops.size());
    state.counters["points"] = static_cast<double>(points);
    state.SetComplexityN(state.range(0));
}

/// Arguments: points of the ring, corners of the tool.
void SumWithPath(benchmark::State& state)
{
    const Loops path{Ring(static_cast<int>(state.range(0)))};
    const Polyline tool = RoundTool(static_cast<int>(state.range(1)));
    Loops sum;
    for (auto _ : state) {
        sum = DilatePaths<double>(tool, path, nullptr);
    }
    Report(state, sum);
}
BENCHMARK(SumWithPath)
    ->ArgsProduct({{1000, 10'000, 100'000}, {32}})
    ->ArgsProduct({{10'000}, {3, 400}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

void Contract(benchmark::State& state)
{
    const Polyline ring = Ring(static_cast<int>(state.range(0)));
    const Polyline tool = RoundTool(static_cast<int>(state.range(1)));
    Loops left;
    for (auto _ : state) {
        left = ContractArea<double>(tool, ring, {}, nullptr);
    }
    Report(state, left);
}
BENCHMARK(Contract)
    ->ArgsProduct({{1000, 10'000, 100'000}, {32}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

void OuterLoop(benchmark::State& state)
{
    const Polyline ring = Ring(static_cast<int>(state.range(0)));
    Polyline tool = RoundTool(static_cast<int>(state.range(1)));
    tool.push_back(tool.front());
    Polyline loop;
    for (auto _ : state) {
        loop = OuterOffsetLoop(tool, ring, 1e-12);
    }
    Report(state, {loop});
}
BENCHMARK(OuterLoop)
    ->ArgsProduct({{1000, 10'000, 100'000}, {32}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

/// The ring, and one that leaves it on half of its way around.
void Compare(benchmark::State& state)
{
    const Polyline ring = Ring(static_cast<int>(state.range(0)));
    Polyline other = ring;
    for (Vec2d& point : other) {
        point.y() *= point.x() > 0 ? 1.01 : 1;
    }
    Loops ofRing;
    Loops ofOther;
    for (auto _ : state) {
        ClipOverlappedRegions(ring, other, ofRing, ofOther, 1e-9);
    }
    Report(state, ofOther);
}
BENCHMARK(Compare)
    ->ArgsProduct({{1000, 10'000, 100'000}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

} // namespace
