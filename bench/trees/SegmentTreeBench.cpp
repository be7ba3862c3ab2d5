// The nearest segment in the plane to a hundred thousand points, building included, at three sizes.

#include "tests/support/Random.h"

#include <Sorvane/SegmentTree_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr int kPoints = 100'000;

std::vector<Geometry::SegBase<double>> Segments(std::int64_t count)
{
    const double size = 100 / std::sqrt(static_cast<double>(count));
    Support::Random random(5489);
    std::vector<Geometry::SegBase<double>> segments;
    for (std::int64_t i = 0; i < count; ++i) {
        const double x = random.Between(0, 100);
        const double y = random.Between(0, 100);
        segments.push_back({{x, y}, {x + random.Between(-size, size), y + random.Between(-size, size)}});
    }
    return segments;
}

/// A tree of that many segments, and a point near one of them for each snap.
void BM_SnapToSegments(benchmark::State& state)
{
    const auto segments = Segments(state.range(0));
    std::size_t found = 0;
    for (auto _ : state) {
        const Tree::Quadtree::SegmentTree<double> tree(segments);
        Support::Random random(5489);
        found = 0;
        for (int i = 0; i < kPoints; ++i) {
            const double x = random.Between(0, 100);
            found += tree.ClosestPoint({x, random.Between(0, 100)}, 10).id >= 0 ? 1 : 0;
        }
    }
    state.counters["found"] = static_cast<double>(found);
    state.SetItemsProcessed(state.iterations() * kPoints);
}

BENCHMARK(BM_SnapToSegments)
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->Unit(benchmark::kMillisecond);

} // namespace
