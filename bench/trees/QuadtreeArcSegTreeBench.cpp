// Elements of a chain of arcs near a point, building included, at three sizes.

#include "tests/support/Random.h"

#include <Sorvane/QuadtreeArcSegTree_E.h>
#include <Velk/Math/Vector_E.h>

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr int kPoints = 100'000;

/// A chain of arcs that winds outwards; elements within a distance of which a few fulfill it.
void BM_ChainItemsWithin(benchmark::State& state)
{
    Planar::PolyArcSegBase<double> chain;
    chain.tolerance = 1e-6;
    VecBase<2, double> at{1, 0};
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        const VecBase<2, double> center = at * (i % 2 == 0 ? 0.02 : -0.01);
        chain.AppendArc(center, at, Vector::Length(at - center) * (i % 2 == 0 ? 0.3 : 0.2));
        at = chain.elements.back().EndPoint();
    }
    Support::Random random(5489);
    std::size_t found = 0;
    for (auto _ : state) {
        const Tree::Quadtree::ArcSegTree<double> tree(chain);
        for (int i = 0; i < kPoints / 10; ++i) {
            const double x = random.Between(-2, 2);
            found += tree.ItemsWithin({x, random.Between(-2, 2)}, 0.02).size();
        }
    }
    benchmark::DoNotOptimize(found);
    state.SetItemsProcessed(state.iterations() * (kPoints / 10));
}

BENCHMARK(BM_ChainItemsWithin)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->Unit(benchmark::kMillisecond);

} // namespace
