// The nearest segment in the plane to a hundred thousand points, building included, at three sizes.

#include "bench/trees/SearchTreeInputs.h"

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
    Bench::Uniform random;
    std::vector<Geometry::SegBase<double>> segments;
    for (std::int64_t i = 0; i < count; ++i) {
        const double x = random(0, 100);
        const double y = random(0, 100);
        segments.push_back({{x, y}, {x + random(-size, size), y + random(-size, size)}});
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
        Bench::Uniform random;
        found = 0;
        for (int i = 0; i < kPoints; ++i) {
            const double x = random(0, 100);
            found += tree.ClosestPoint({x, random(0, 100)}, 10).id >= 0 ? 1 : 0;
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
