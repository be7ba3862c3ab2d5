// Tool offset: queries on profiles of more and more elements.

#include <Sorvane/ToolOffset_E.h>

#include <benchmark/benchmark.h>

#include "tests/support/Random.h"

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

/// A ball as so many chords.
Planar::PolyArcSegBase<double> Chords(int count)
{
    Planar::PolyArcSegBase<double> chain;
    Vec2d last;
    for (int i = 1; i <= count; ++i) {
        const double angle = 1.5707963267948966 * i / count;
        const Vec2d next{5 * std::sin(angle), 5 * (1 - std::cos(angle))};
        chain.AppendSegment(last, next);
        last = next;
    }
    return chain;
}

std::vector<Vec3d> Normals()
{
    Support::Random random(3);
    std::vector<Vec3d> normals;
    for (int i = 0; i < 4096; ++i) {
        const double steepness = random.Between(0, 1.5);
        const double azimuth = random.Between(0, 6.3);
        normals.push_back({std::sin(steepness) * std::cos(azimuth),
                           std::sin(steepness) * std::sin(azimuth), std::cos(steepness)});
    }
    return normals;
}

void RunQueries(benchmark::State& state, const Mill::ConvexToolOffset& offset)
{
    const std::vector<Vec3d> normals = Normals();
    for (auto _ : state) {
        Vec3d sum;
        for (const Vec3d& normal : normals) {
            sum += offset.OffsetFrom({1, 2, 3}, normal);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(normals.size()));
}

void BM_OffsetFromTool(benchmark::State& state)
{
    RunQueries(state, Mill::ConvexToolOffset(Mill::ConvexStandardToolBase<double>{
                          4, 1, 1.5707963267948966, 6, 0.7, 3, 20}));
}
BENCHMARK(BM_OffsetFromTool);

void BM_OffsetFrom(benchmark::State& state)
{
    RunQueries(state, Mill::ConvexToolOffset(Chords(static_cast<int>(state.range(0)))));
}
BENCHMARK(BM_OffsetFrom)->Arg(100)->Arg(10000)->Arg(1000000);

void BM_ConvexToolOffset(benchmark::State& state)
{
    const auto chain = Chords(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const Mill::ConvexToolOffset offset(chain);
        benchmark::DoNotOptimize(offset.IsEmpty());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ConvexToolOffset)->Arg(100)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond);

} // namespace
