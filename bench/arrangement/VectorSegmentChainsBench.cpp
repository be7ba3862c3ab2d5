// Linking loose segments: one long shuffled loop, many small loops, in the plane and in space.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace {

using Velk::Math::kTwoPi;
using Velk::Math::Vec2d;
using Velk::Math::Vec3d;

using Support::Random;

/// Loops of `corners` sides, `count` segments in all, in random order and direction.
std::vector<std::array<Vec3d, 2>> Loops(int count, int corners)
{
    Random random(1);
    std::vector<std::array<Vec3d, 2>> segments;
    for (int i = 0; i < count; ++i) {
        const int loop = i / corners;
        const auto corner = [&](int k) {
            const double angle = kTwoPi<double> * (k % corners) / corners;
            return Vec3d(3.0 * (loop % 1000) + std::cos(angle),
                         3.0 * (loop / 1000) + std::sin(angle), 0.1 * std::sin(3 * angle));
        };
        std::array<Vec3d, 2> segment{corner(i), corner(i + 1)};
        if (random.Unit() < 0.5) {
            std::swap(segment[0], segment[1]);
        }
        segments.push_back(segment);
    }
    for (std::size_t i = segments.size() - 1; i > 0; --i) {
        std::swap(segments[i],
                  segments[static_cast<std::size_t>(random.Unit() * static_cast<double>(i))]);
    }
    return segments;
}

void BM_LinkInSpace(benchmark::State& state)
{
    const auto segments = Loops(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            Velk::Math::Vector::LineSegmentsToPolyPointStream(segments, 1e-12));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_LinkInPlane(benchmark::State& state)
{
    std::vector<Velk::Math::Geometry::SegBase<double>> segments;
    for (const auto& [a, b] :
         Loops(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)))) {
        segments.push_back({Vec2d(a.x(), a.y()), Vec2d(b.x(), b.y())});
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Velk::Math::Vector::SegmentsToPolyPointStream(segments, 1e-12));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* b)
{
    for (const int count : {1000, 10'000, 100'000, 1'000'000}) {
        b->Args({count, 50});
    }
    b->Complexity(benchmark::oN)->UseRealTime()->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_LinkInPlane)->Apply(Sizes);
BENCHMARK(BM_LinkInSpace)->Apply(Sizes);
// One loop through everything: every step lands far away in memory.
BENCHMARK(BM_LinkInPlane)
    ->Args({1'000'000, 1'000'000})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
