// Breaking, splitting, combining and meeting of chains: a wavy outline as parts have it, and the
// arrangements that leave most to do in one place: everything on one line, everything about one
// hub, everything equal, everything nested.

#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include <benchmark/benchmark.h>

#include "tests/support/Random.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Chain = PolyArcSegBase<double>;
using Element = ArcSegBase<double>;
using Elements = std::vector<Element>;

constexpr double kTolerance = 1e-6;

Vec2d AtPolar(double radius, double angle)
{
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

Element Line(const Vec2d& from, const Vec2d& to) { return Geometry::SegBase<double>{from, to}; }

Chain ChainOf(Elements elements)
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.elements = std::move(elements);
    return chain;
}

// --- elements -----------------------------------------------------------------------------------

/// A closed ring with waves, turned by an angle; every second element an arc.
Elements TurnedRing(int count, double turned)
{
    const auto at = [&](int i) {
        const double angle = kTwoPi<double> * (i % count) / count;
        return AtPolar(100 + 8 * std::sin(37 * angle), angle + turned);
    };
    Elements elements;
    for (int i = 0; i < count; ++i) {
        const Vec2d from = at(i);
        const Vec2d to = at(i + 1);
        if (i % 2 == 0) {
            elements.push_back(Line(from, to));
            continue;
        }
        const Vec2d bulge = Vector::RightNormal(to - from) * 0.125;
        elements.emplace_back(Geometry::ArcThroughPoints(from, (from + to) * 0.5 + bulge, to));
    }
    return elements;
}

Elements Ring(int count) { return TurnedRing(count, 0); }
Elements OtherRing(int count) { return TurnedRing(count, 0.1); }

/// Segments end to end along x.
Elements Row(int count)
{
    Elements elements;
    for (int i = 0; i < count; ++i) {
        elements.push_back(Line({1.0 * i, 0}, {i + 1.0, 0}));
    }
    return elements;
}

/// The same line in other segments: each overlaps two of the row.
Elements ShiftedRow(int count)
{
    Elements elements;
    for (int i = 0; i < count; ++i) {
        elements.push_back(Line({i + 0.5, 0}, {i + 1.5, 0}));
    }
    return elements;
}

/// Up and down across the row, once over each of its segments.
Elements Teeth(int count)
{
    Elements elements;
    for (int i = 0; i < count; ++i) {
        const double side = i % 2 == 0 ? -1 : 1;
        elements.push_back(Line({1.0 * i, side}, {i + 1.0, -side}));
    }
    return elements;
}

/// Spokes of one point.
Elements Hub(int count)
{
    Elements elements;
    for (int i = 0; i < count; ++i) {
        elements.push_back(Line({0, 0}, AtPolar(100, kTwoPi<double> * i / count)));
    }
    return elements;
}

/// A circle in as many arcs as the hub has spokes, across all of them.
Elements Rim(int count)
{
    Elements elements;
    const double turn = kTwoPi<double> / count;
    for (int i = 0; i < count; ++i) {
        elements.emplace_back(
            Geometry::ArcBase<double>{{0, 0}, AtPolar(50, turn * (i + 0.5)), 50 * turn});
    }
    return elements;
}

Elements Equal(int count)
{
    return Elements(static_cast<std::size_t>(count), Line({0, 0}, {1, 0}));
}
Elements EqualAcross(int count)
{
    return Elements(static_cast<std::size_t>(count), Line({0.5, -1}, {0.5, 1}));
}

/// Squares about one center.
Elements Nested(int count)
{
    Elements elements;
    for (int i = 0; i < count / 4; ++i) {
        const double half = i + 1.0;
        const Vec2d corners[5] = {
            {-half, -half}, {half, -half}, {half, half}, {-half, half}, {-half, -half}};
        for (int side = 0; side < 4; ++side) {
            elements.push_back(Line(corners[side], corners[side + 1]));
        }
    }
    return elements;
}

/// One line across a quarter of the nested squares' sides, in segments of no common step with them.
Elements Ray(int count)
{
    Elements elements;
    for (int i = 0; i < count; ++i) {
        elements.push_back(Line({0.25 * i, 0.1}, {0.25 * (i + 1), 0.1}));
    }
    return elements;
}

using Make = Elements (*)(int);

Elements Shuffled(Elements elements)
{
    Support::Random random(1);
    for (std::size_t i = elements.size(); i > 1; --i) {
        std::swap(elements[i - 1],
                  elements[static_cast<std::size_t>(random.Below(static_cast<int>(i)))]);
    }
    return elements;
}

// --- programs -----------------------------------------------------------------------------------

template <Make kMake>
void BM_CombineArcsSegs(benchmark::State& state)
{
    const Elements elements = Shuffled(kMake(static_cast<int>(state.range(0))));
    std::size_t chains = 0;
    for (auto _ : state) {
        chains = CombineArcsSegs(elements, kTolerance).size();
        benchmark::DoNotOptimize(chains);
    }
    state.counters["chains"] = static_cast<double>(chains);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

template <Make kMakeA, Make kMakeB>
void BM_IntersectionPoints(benchmark::State& state)
{
    const Chain a = ChainOf(kMakeA(static_cast<int>(state.range(0))));
    const Chain b = ChainOf(kMakeB(static_cast<int>(state.range(0))));
    std::size_t points = 0;
    for (auto _ : state) {
        points = IntersectionPoints(a, b, kTolerance).size();
        benchmark::DoNotOptimize(points);
    }
    state.counters["points"] = static_cast<double>(points);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

/// In the middle of each element.
template <Make kMake>
std::vector<double> Middles(const Chain& chain)
{
    const std::vector<double> joints = PolyArcSegParameters(chain, false);
    std::vector<double> middles;
    for (std::size_t i = 1; i < joints.size(); ++i) {
        middles.push_back(0.5 * (joints[i - 1] + joints[i]));
    }
    return middles;
}

template <Make kMake>
void BM_SplitAtParams(benchmark::State& state)
{
    const Chain chain = ChainOf(kMake(static_cast<int>(state.range(0))));
    const std::vector<double> middles = Middles<kMake>(chain);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Split(chain, middles, false, kTolerance));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

template <Make kMake>
void BM_BreakAtPoints(benchmark::State& state)
{
    const Chain chain = ChainOf(kMake(static_cast<int>(state.range(0))));
    std::vector<Vec2d> points;
    for (const double middle : Middles<kMake>(chain)) {
        Vec2d point;
        PointAtParameterOnPolyArcSeg(chain, middle, false, point);
        points.push_back(point);
        if (points.size() == 1000) {
            break; // each look-up for these points walks the chain
        }
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(BreakAtPoints(chain, points, kTolerance));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_TrimToPoints(benchmark::State& state)
{
    const Chain chain = ChainOf(Ring(static_cast<int>(state.range(0))));
    const double length = PolyArcSegParameters(chain, false).back();
    Vec2d from;
    Vec2d to;
    PointAtParameterOnPolyArcSeg(chain, 0.9 * length, false, from);
    PointAtParameterOnPolyArcSeg(chain, 0.8 * length, false, to);
    for (auto _ : state) {
        benchmark::DoNotOptimize(TrimToPoints(chain, from, to, kTolerance));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_SplitAtTangent(benchmark::State& state)
{
    const Chain chain = ChainOf(Ring(static_cast<int>(state.range(0))));
    for (auto _ : state) {
        benchmark::DoNotOptimize(SplitAtTangent<double>(chain, {1, 0}, kTolerance));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* b)
{
    for (const int count : {1000, 10'000, 100'000}) {
        b->Arg(count);
    }
    b->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
}
// clang-format off
BENCHMARK(BM_IntersectionPoints<Ring, OtherRing>)   ->Name("BM_IntersectionPoints/Rings")    ->Apply(Sizes);
BENCHMARK(BM_IntersectionPoints<Row, Teeth>)        ->Name("BM_IntersectionPoints/Sorted")   ->Apply(Sizes);
BENCHMARK(BM_IntersectionPoints<Row, ShiftedRow>)   ->Name("BM_IntersectionPoints/Collinear")->Apply(Sizes);
BENCHMARK(BM_IntersectionPoints<Equal, EqualAcross>)->Name("BM_IntersectionPoints/Equal")    ->Apply(Sizes);
BENCHMARK(BM_IntersectionPoints<Hub, Rim>)          ->Name("BM_IntersectionPoints/Hub")      ->Apply(Sizes);
BENCHMARK(BM_IntersectionPoints<Nested, Ray>)       ->Name("BM_IntersectionPoints/Nested")   ->Apply(Sizes);
BENCHMARK(BM_CombineArcsSegs<Ring>)  ->Name("BM_CombineArcsSegs/Ring")  ->Apply(Sizes);
BENCHMARK(BM_CombineArcsSegs<Row>)   ->Name("BM_CombineArcsSegs/Row")   ->Apply(Sizes);
BENCHMARK(BM_CombineArcsSegs<Equal>) ->Name("BM_CombineArcsSegs/Equal") ->Apply(Sizes);
BENCHMARK(BM_CombineArcsSegs<Hub>)   ->Name("BM_CombineArcsSegs/Hub")   ->Apply(Sizes);
BENCHMARK(BM_CombineArcsSegs<Nested>)->Name("BM_CombineArcsSegs/Nested")->Apply(Sizes);
BENCHMARK(BM_SplitAtParams<Ring>)    ->Name("BM_SplitAtParams/Ring")    ->Apply(Sizes);
BENCHMARK(BM_BreakAtPoints<Ring>)    ->Name("BM_BreakAtPoints/Ring")    ->Apply(Sizes);
BENCHMARK(BM_BreakAtPoints<Row>)     ->Name("BM_BreakAtPoints/Row")     ->Apply(Sizes);
BENCHMARK(BM_BreakAtPoints<Hub>)     ->Name("BM_BreakAtPoints/Hub")     ->Apply(Sizes);
BENCHMARK(BM_TrimToPoints)->Apply(Sizes);
BENCHMARK(BM_SplitAtTangent)->Apply(Sizes);
// clang-format on

} // namespace
