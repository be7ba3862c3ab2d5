// Arc fitting: outlines of lines and arcs, and the point sequences that leave most to do in one
// place: one arc, one line, a spiral that has to be divided all along, and noise that hides what is
// drawn.

#include <Sorvane/ArcFitting_E.h>

#include <benchmark/benchmark.h>

#include "tests/support/Random.h"

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Points = std::vector<Vec2d>;

constexpr double kTolerance = 1e-3;

Vec2d AtPolar(double radius, double angle)
{
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

Points OneArc(int count)
{
    Points points;
    for (int i = 0; i < count; ++i) {
        points.push_back(AtPolar(100, 5.0 * i / count));
    }
    return points;
}

Points OneLine(int count)
{
    Points points;
    for (int i = 0; i < count; ++i) {
        points.push_back(Vec2d(0.1, 0.2) + Vec2d(100, 70) * (static_cast<double>(i) / count));
    }
    return points;
}

/// A tenth of a turn in which the radius grows by a tenth: one run of curvature.
Points Spiral(int count)
{
    Points points;
    for (int i = 0; i < count; ++i) {
        const double place = static_cast<double>(i) / count;
        points.push_back(AtPolar(1000 * (1 + 0.1 * place), 0.6 * place));
    }
    return points;
}

/// Rounded teeth: a line of 1, a quarter of radius 1 to the left, a line, a quarter to the right,
/// with 24 points to a quarter.
Points Teeth(int count)
{
    Points points;
    Vec2d at;
    double heading = 0;
    for (int tooth = 0; static_cast<int>(points.size()) < count; ++tooth) {
        points.push_back(at);
        at += AtPolar(1, heading);
        const int turn = tooth / 2 % 2 == 0 ? 1 : -1;
        const Vec2d center = at + AtPolar(1, heading + turn * kPi<double> / 2);
        for (int i = 0; i < 24; ++i) {
            points.push_back(center +
                             AtPolar(1, heading - turn * kPi<double> / 2 * (1 - i / 24.0)));
        }
        heading += turn * kPi<double> / 2;
        at = center + AtPolar(1, heading - turn * kPi<double> / 2);
    }
    points.resize(static_cast<std::size_t>(count));
    return points;
}

/// The arc with noise of half the tolerance.
Points NoisyArc(int count)
{
    Points points = OneArc(count);
    Support::Random random(1);
    for (Vec2d& point : points) {
        point += random.Vector<2, double>(-0.35 * kTolerance, 0.35 * kTolerance);
    }
    return points;
}

using Make = Points (*)(int);

template <Make kMake>
void BM_FilterArcsAndSegs(benchmark::State& state)
{
    const Points points = kMake(static_cast<int>(state.range(0)));
    std::size_t elements = 0;
    for (auto _ : state) {
        elements = FilterArcsAndSegs(points, kTolerance).elements.size();
        benchmark::DoNotOptimize(elements);
    }
    state.counters["elements"] = static_cast<double>(elements);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_FilterZeroCurvature(benchmark::State& state)
{
    const Points points = Teeth(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(FilterZeroCurvature(points, 1e-6, kTolerance));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* b)
{
    for (const int count : {10'000, 100'000, 1'000'000}) {
        b->Arg(count);
    }
    b->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_FilterArcsAndSegs<Teeth>)->Name("BM_FilterArcsAndSegs/Teeth")->Apply(Sizes);
BENCHMARK(BM_FilterArcsAndSegs<OneArc>)->Name("BM_FilterArcsAndSegs/OneArc")->Apply(Sizes);
BENCHMARK(BM_FilterArcsAndSegs<OneLine>)->Name("BM_FilterArcsAndSegs/OneLine")->Apply(Sizes);
BENCHMARK(BM_FilterArcsAndSegs<Spiral>)->Name("BM_FilterArcsAndSegs/Spiral")->Apply(Sizes);
BENCHMARK(BM_FilterArcsAndSegs<NoisyArc>)->Name("BM_FilterArcsAndSegs/NoisyArc")->Apply(Sizes);
BENCHMARK(BM_FilterZeroCurvature)->Apply(Sizes);

} // namespace
