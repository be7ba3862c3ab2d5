// Free positions of a turning tool, and sweeps of the B axis over a profile.

#include <Sorvane/Lathe_E.h>

#include <Velk/Math/Tolerances_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Outline = std::vector<Vec2d>;

/// A shaft with waves and grooves, of about `count` points, from the middle of its axis.
Outline Shaft(std::int64_t count)
{
    Outline shaft{{100, 0}, {0, 0}};
    for (std::int64_t i = 0; i <= count; ++i) {
        const double x = 200.0 * static_cast<double>(i) / static_cast<double>(count);
        const bool isGroove = std::fmod(x, 40.0) > 32;
        shaft.push_back({x, isGroove ? 12.0 : 20 + 3 * std::sin(x / 7)});
    }
    shaft.push_back({200, 0});
    shaft.push_back({100, 0});
    return shaft;
}

/// A round insert on a slim neck, of `count` points.
Outline Insert(int count)
{
    Outline insert;
    for (int i = 0; i <= count; ++i) {
        const double angle = kTwoPi<double> * i / count;
        insert.push_back({2 * std::sin(angle), 2 - 2 * std::cos(angle)});
    }
    insert.back() = insert.front();
    return insert;
}

const Outline kHolder{{-1, 3}, {1, 3}, {4, 12}, {4, 60}, {-4, 60}, {-4, 12}, {-1, 3}};

void BM_OuterOffsetRegions(benchmark::State& state)
{
    const Outline shaft = Shaft(state.range(0));
    const Outline insert = Insert(32);
    const Outline chuck{{180, 0}, {180, 45}, {230, 45}, {230, 0}, {180, 0}};
    std::vector<Outline> tool;
    std::vector<Outline> holder;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            Lathe::OuterOffsetRegions(insert, kHolder, shaft, {chuck}, tool, holder));
    }
}
BENCHMARK(BM_OuterOffsetRegions)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

/// 37 tilts; one thread for each processor.
void BM_BAxisAngleSweep(benchmark::State& state)
{
    const Outline shaft = Shaft(state.range(0));
    const Outline insert = Insert(32);
    std::vector<double> tilts;
    for (int i = -90; i <= 90; i += 5) {
        tilts.push_back(i);
    }
    for (auto _ : state) {
        const auto reports = Lathe::BAxisAngleSweep(tilts, insert, kHolder, {0, 0}, shaft, {});
        benchmark::DoNotOptimize(Lathe::SequenceBAxisAngleSweep(shaft, reports, {}));
    }
}
BENCHMARK(BM_BAxisAngleSweep)
    ->Arg(100)
    ->Arg(300)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
