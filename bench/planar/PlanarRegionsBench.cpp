// Unions of many loops: overlapping stars, the arrangements that make a plain sweep quadratic, and
// a stream.

#include <Sorvane/PlanarRegions_E.h>

#include "bench/support/OverlappingStars.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Loops = std::vector<std::vector<Vec2d>>;

std::vector<Vec2d> Square(double x, double y, double size)
{
    return {{x, y}, {x + size, y}, {x + size, y + size}, {x, y + size}, {x, y}};
}

Loops Disjoint(int count)
{
    const int across = static_cast<int>(std::sqrt(count));
    Loops loops;
    for (int i = 0; i < count; ++i) {
        loops.push_back(Square(i % across * 2.0, i / across * 2.0, 1));
    }
    return loops;
}

Loops Nested(int count)
{
    Loops loops;
    for (int i = 0; i < count; ++i) {
        loops.push_back(Square(i, i, 2.0 * (count - i)));
        if (i % 2 == 1) {
            std::reverse(loops.back().begin(), loops.back().end());
        }
    }
    return loops;
}

Loops Checkerboard(int count)
{
    const int across = static_cast<int>(std::sqrt(2 * count));
    Loops loops;
    for (int i = 0; i < across * across; i += 2) {
        loops.push_back(Square((i + i / across * (across + 1) % 2) % across, i / across, 1));
    }
    return loops;
}

/// Points to and fro along a slanted line, beside a square.
Loops ToAndFro(int count)
{
    Support::Random random(7);
    Loops loops{Square(50, 0, 50), {}};
    for (int i = 0; i < count; ++i) {
        loops[1].push_back(Vec2d(10, -20) + Vec2d(3, 7) * random.Unit());
    }
    return loops;
}

/// Small loops along a raster of overlapping rows, through an object that unites them in intervals.
void BM_Stream(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    const int across = static_cast<int>(std::sqrt(count));
    std::size_t points = 0;
    for (auto _ : state) {
        BufferredUnion united({-2, -2}, {0.5 * across + 2, 0.5 * across + 2}, 20);
        Loops batch;
        for (int i = 0; i < count; ++i) {
            batch.push_back(Square(i % across * 0.5, i / across * 0.5, 0.8));
            if (batch.size() == 100) {
                united.Append(batch);
                batch.clear();
            }
        }
        united.Append(batch);
        points = 0;
        for (const auto& loop : united.Process()) {
            points += loop.size();
        }
    }
    state.counters["points"] = static_cast<double>(points);
}

void BM_Union(benchmark::State& state, Loops (*make)(int))
{
    const Loops loops = make(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Union<double>(loops, nullptr));
    }
}
BENCHMARK_CAPTURE(BM_Union, Overlapping, Support::OverlappingStars)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Union, Disjoint, Disjoint)
    ->Arg(30000)
    ->Arg(130000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Union, Nested, Nested)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Union, Checkerboard, Checkerboard)
    ->Arg(5000)
    ->Arg(45000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Union, ToAndFro, ToAndFro)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Stream)->Arg(25000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
