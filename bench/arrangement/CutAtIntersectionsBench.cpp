// Cutting at intersections: sparse and dense random segments, mixed arcs, the collinear multitude
// of a Minkowski sum, giants among tiny ones, hatching in a slanted direction; and sets that a grid leaves to be
// compared all with all.

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/PlanarSets.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

using Velk::Math::kTwoPi;
using Velk::Math::Vec2d;
using Velk::Math::Geometry::ArcBase;
using Velk::Math::Geometry::SegBase;

using Support::Random;

using Segments = std::vector<SegBase<double>>;
using Arcs = std::vector<ArcBase<double>>;

void Run(benchmark::State& state, const Segments& segments, const Arcs& arcs)
{
    std::size_t pieces = 0;
    for (auto _ : state) {
        Segments cutSegments = segments;
        Arcs cutArcs = arcs;
        Velk::Math::Intersect::CutAtIntersections(cutSegments, cutArcs, 1e-12);
        pieces = cutSegments.size() + cutArcs.size();
        benchmark::DoNotOptimize(cutSegments.data());
        benchmark::DoNotOptimize(cutArcs.data());
    }
    const auto elements = static_cast<std::int64_t>(segments.size() + arcs.size());
    state.SetItemsProcessed(state.iterations() * elements);
    state.counters["elements"] = static_cast<double>(elements);
    state.counters["pieces"] = static_cast<double>(pieces);
    state.SetComplexityN(elements);
}

/// `crossings` per segment, about, in the unit square: lengths follow from it.
Segments RandomSegments(int count, double crossings, Random& random)
{
    // Two random segments of length l in a unit square cross with a chance of about 2 l^2 / pi.
    const double length = std::sqrt(crossings * 3.14159 / (2.0 * count));
    Segments segments;
    for (int i = 0; i < count; ++i) {
        const double angle = kTwoPi<double> * random.Unit();
        const Vec2d start(random.Unit(), random.Unit());
        segments.push_back({start, start + length * Vec2d(std::cos(angle), std::sin(angle))});
    }
    return segments;
}

void BM_RandomSegments(benchmark::State& state)
{
    Random random(1);
    Run(state, RandomSegments(static_cast<int>(state.range(0)), 2, random), {});
}
BENCHMARK(BM_RandomSegments)
    ->RangeMultiplier(10)
    ->Range(1000, 1'000'000)
    ->Complexity()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_DenseSegments(benchmark::State& state)
{
    Random random(2);
    Run(state, RandomSegments(static_cast<int>(state.range(0)), 50, random), {});
}
BENCHMARK(BM_DenseSegments)
    ->RangeMultiplier(10)
    ->Range(1000, 100'000)
    ->Complexity()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_ArcsAndSegments(benchmark::State& state)
{
    Random random(3);
    const int count = static_cast<int>(state.range(0)) / 2;
    const Segments segments = RandomSegments(count, 2, random);
    const double radius = 0.5 * Length(segments[0].end - segments[0].start);
    Arcs arcs;
    for (int i = 0; i < count; ++i) {
        const double angle = kTwoPi<double> * random.Unit();
        const Vec2d center(random.Unit(), random.Unit());
        const double sweep = random.Unit() < 0.2 ? kTwoPi<double> : 6 * random.Unit() - 3;
        arcs.push_back(
            {center, center + radius * Vec2d(std::cos(angle), std::sin(angle)), radius * sweep});
    }
    Run(state, segments, arcs);
}
BENCHMARK(BM_ArcsAndSegments)
    ->RangeMultiplier(10)
    ->Range(1000, 1'000'000)
    ->Complexity()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// All sides of one outline at all corners of the other and the other way round, on a lattice, so
/// that many of them repeat or overlap.
void BM_MinkowskiOfLatticeOutlines(benchmark::State& state)
{
    const int corners = static_cast<int>(state.range(0));
    const auto outline = [corners](double step, double radius) {
        std::vector<Vec2d> points; // a circle in steps along the axes and diagonals
        for (int i = 0; i <= corners; ++i) {
            const double angle = kTwoPi<double> * (i % corners) / corners;
            points.push_back({step * std::round(radius * std::cos(angle)),
                              step * std::round(radius * std::sin(angle))});
        }
        return points;
    };
    const std::vector<Vec2d> a = outline(1, corners / 6.0);
    const std::vector<Vec2d> b = outline(1, corners / 9.0);
    Segments segments;
    for (const auto& [moved, by] : {std::pair(&a, &b), std::pair(&b, &a)}) {
        for (const Vec2d& offset : *by) {
            for (std::size_t i = 1; i < moved->size(); ++i) {
                segments.push_back({(*moved)[i - 1] + offset, (*moved)[i] + offset});
            }
        }
    }
    Run(state, segments, {});
}
BENCHMARK(BM_MinkowskiOfLatticeOutlines)
    ->RangeMultiplier(2)
    ->Range(32, 256)
    ->Complexity()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_GiantAmongTiny(benchmark::State& state)
{
    // Ten lines of length 1e6 beside short ones that crowd into a square of side sqrt(n).
    Random random(4);
    const int count = static_cast<int>(state.range(0));
    const double side = std::sqrt(static_cast<double>(count));
    Segments segments;
    for (int i = 0; i < 10; ++i) {
        const double y = side * random.Unit();
        segments.push_back({{0, y}, {1e6, y + 1e6 * (random.Unit() - 0.5)}});
    }
    for (int i = 10; i < count; ++i) {
        const Vec2d start(side * random.Unit(), side * random.Unit());
        segments.push_back({start, start + Vec2d(random.Unit() - 0.5, random.Unit() - 0.5)});
    }
    Run(state, segments, {});
}
BENCHMARK(BM_GiantAmongTiny)
    ->RangeMultiplier(10)
    ->Range(1000, 1'000'000)
    ->Complexity()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_SlantedHatch(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    const Vec2d along(std::cos(0.6), std::sin(0.6));
    const Vec2d across(-along.y(), along.x());
    Segments segments;
    for (int i = 0; i < count; ++i) {
        const Vec2d middle = across * (static_cast<double>(i) / count);
        segments.push_back({middle - along, middle + along});
    }
    Run(state, segments, {});
}
BENCHMARK(BM_SlantedHatch)
    ->RangeMultiplier(10)
    ->Range(1000, 100'000)
    ->Complexity()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// A planar set by its name, each size twice the one before: time has to double, or little more.
/// What all of them have in common is that a grid, a tree of boxes or both leave most pairs of them
/// to be compared.
void BM_Set(benchmark::State& state, const Support::NamedPlanarSet& named)
{
    const Support::PlanarSet set = named.make(static_cast<int>(state.range(0)));
    Run(state, set.segments, set.arcs);
}

const bool kSetsAreRegistered = [] {
    for (const Support::NamedPlanarSet& named : Support::kPlanarSets) {
        benchmark::RegisterBenchmark((std::string("BM_Set/") + named.name).c_str(), BM_Set, named)
            ->Arg(8000)
            ->Arg(16'000)
            ->Arg(32'000)
            ->Arg(64'000)
            ->Arg(128'000)
            ->MeasureProcessCPUTime()
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
