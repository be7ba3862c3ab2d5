// Planes of polygons and of clouds.

#include <Velk/Math/Transform_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;

/// A wavy loop about a tilted circle, in the order of its angle.
template <class T>
std::vector<VecBase<3, T>> WavyLoop(std::int64_t count)
{
    Support::Random random(1);
    std::vector<VecBase<3, T>> loop;
    for (std::int64_t i = 0; i < count; ++i) {
        const double angle = kTwoPi<double> * static_cast<double>(i) / static_cast<double>(count);
        const double x = 10 * std::cos(angle);
        const double y = 7 * std::sin(angle);
        loop.push_back(VecBase<3, T>(Vec3d{x, y, 0.3 * x - 0.2 * y + random.Between(-0.1, 0.1)}));
    }
    return loop;
}

template <class T, void (*Fit)(const std::vector<VecBase<3, T>>&, VecBase<3, T>&, VecBase<3, T>&)>
void BM_Fit(benchmark::State& state)
{
    const auto points = WavyLoop<T>(state.range(0));
    VecBase<3, T> origin;
    VecBase<3, T> normal;
    for (auto _ : state) {
        Fit(points, origin, normal);
        benchmark::DoNotOptimize(normal);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Fit<double, Transform::PlaneOfPolygon<double>>)
    ->Name("BM_PlaneOfPolygon<double>")
    ->Arg(4)
    ->Arg(1'000)
    ->Arg(1'000'000);
BENCHMARK(BM_Fit<float, Transform::PlaneOfPoints<float>>)
    ->Name("BM_PlaneOfPoints<float>")
    ->Arg(4)
    ->Arg(1'000)
    ->Arg(1'000'000);
BENCHMARK(BM_Fit<double, Transform::PlaneOfPoints<double>>)
    ->Name("BM_PlaneOfPoints<double>")
    ->Arg(4)
    ->Arg(1'000)
    ->Arg(1'000'000);

} // namespace
