// Maps of points, one by one and as a list, and the inversion that comes before many of them.

#include <Velk/Math/Transform_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace Velk::Math;

template <class T>
std::vector<VecBase<3, T>> RandomPoints(std::int64_t count)
{
    Support::Random random(1);
    std::vector<VecBase<3, T>> points(static_cast<std::size_t>(count));
    for (auto& p : points) {
        p = random.Vector<3, T>(-100, 100);
    }
    return points;
}

TransformBase<3> SomeTransform()
{
    return Transform::BuildTranslationTransform({1, 2, 3}) *
           Transform::BuildRotationFromAxisAngle({1, 2, 3}, 0.5);
}

void BM_MapList(benchmark::State& state)
{
    const auto points = RandomPoints<double>(state.range(0));
    const auto transform = SomeTransform();
    for (auto _ : state) {
        benchmark::DoNotOptimize(transform * points);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_MapList)->RangeMultiplier(32)->Range(1 << 10, 1 << 20);

template <class T>
void BM_MapInPlace(benchmark::State& state)
{
    auto points = RandomPoints<T>(state.range(0));
    const auto transform = SomeTransform();
    for (auto _ : state) {
        for (auto& p : points) {
            p *= transform;
        }
        benchmark::DoNotOptimize(points.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_MapInPlace<float>)->RangeMultiplier(32)->Range(1 << 10, 1 << 20);
BENCHMARK(BM_MapInPlace<double>)->RangeMultiplier(32)->Range(1 << 10, 1 << 20);

template <int N>
void BM_Invert(benchmark::State& state)
{
    Support::Random random(2);
    MatBase<N, N, double> matrix;
    for (double& value : matrix.value) {
        value = random.Between(-1, 1);
    }
    for (auto _ : state) {
        auto inverse = matrix;
        benchmark::DoNotOptimize(Matrix::Invert(inverse, kInversionFloor));
        benchmark::DoNotOptimize(inverse);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Invert<2>);
BENCHMARK(BM_Invert<3>);
BENCHMARK(BM_Invert<4>);

} // namespace
