// Linking of segments: loose ones, loops as a section has them, one hub, a crowd of ends that are
// all taken when others look for a partner there, and one of ends that none may have.

#include <Sorvane/SegmentLinking_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

using Velk::Math::Vec2d;
using Velk::Math::Geometry::SegBase;
using Velk::Math::Sorvane::Tree::LinkSegments;
using Segments = std::vector<SegBase<double>>;

/// Anywhere in a square that grows with their number, length about 1: free ends everywhere.
Segments Loose(std::int64_t count)
{
    Support::Random random(1);
    const double side = std::sqrt(static_cast<double>(count));
    Segments segments;
    for (std::int64_t i = 0; i < count; ++i) {
        const Vec2d start = random.Vector<2, double>(0, side);
        segments.push_back({start, start + random.Vector<2, double>(-1, 1)});
    }
    return segments;
}

/// Loops of 20 corners in a grid, segments in random order and direction.
Segments Loops(std::int64_t count)
{
    constexpr int kCorners = 20;
    Support::Random random(1);
    Segments segments;
    for (std::int64_t i = 0; i < count; ++i) {
        const auto corner = [&](std::int64_t k) {
            const double angle = 6.283185307179586 * static_cast<double>(k % kCorners) / kCorners;
            const std::int64_t loop = i / kCorners;
            return Vec2d(3.0 * static_cast<double>(loop % 300) + std::cos(angle),
                         3.0 * static_cast<double>(loop / 300) + std::sin(angle));
        };
        segments.push_back({corner(i), corner(i + 1)});
        if (random.Below(2) == 0) {
            std::swap(segments.back().start, segments.back().end);
        }
    }
    for (std::size_t i = segments.size() - 1; i > 0; --i) {
        std::swap(segments[i], segments[random.Bits() % i]);
    }
    return segments;
}

/// A star: all begin at one point.
Segments Hub(std::int64_t count)
{
    Support::Random random(1);
    Segments segments;
    for (std::int64_t i = 0; i < count; ++i) {
        segments.push_back({{0, 0}, random.Vector<2, double>(-1000, 1000)});
    }
    return segments;
}

/// Half of the ends in a crowd, half of them near it in a row.
Segments Crowd(std::int64_t count)
{
    Support::Random random(1);
    Segments segments;
    for (std::int64_t i = 0; i < count; ++i) {
        const auto number = static_cast<double>(i);
        if (i % 2 == 0) {
            segments.push_back(
                {random.Vector<2, double>(-0.01, 0.01), {-1e7 + 20.0 * number, 1e7}});
        } else {
            segments.push_back(
                {{1.0 + 0.4 * number / static_cast<double>(count), 0}, {1e7, 20.0 * number}});
        }
    }
    return segments;
}

/// Short strokes inward from a circle: each outer end has all others within its tolerance, just
/// nearer to its inner end.
Segments Strokes(std::int64_t count)
{
    constexpr double kRadius = 1e4;
    const double step = 6.283185307179586 / static_cast<double>(count);
    Segments segments;
    for (std::int64_t i = 0; i < count; ++i) {
        const double angle = step * static_cast<double>(i);
        const Vec2d direction(std::cos(angle), std::sin(angle));
        const Vec2d middle(2 * kRadius, kRadius); // where the square around the drawing holds it
        segments.push_back({middle + direction * kRadius,
                            middle + direction * (kRadius * (1 - 0.2 * step * step))});
    }
    return segments;
}

void Run(benchmark::State& state, const Segments& segments, double tolerance)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(LinkSegments(segments, tolerance).size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_LinkLoose(benchmark::State& state) { Run(state, Loose(state.range(0)), 0.1); }
void BM_LinkLooseFarTolerance(benchmark::State& state) { Run(state, Loose(state.range(0)), 50.0); }
void BM_LinkLoops(benchmark::State& state) { Run(state, Loops(state.range(0)), 1e-6); }
void BM_LinkHub(benchmark::State& state) { Run(state, Hub(state.range(0)), 0.0); }
void BM_LinkCrowd(benchmark::State& state) { Run(state, Crowd(state.range(0)), 1.5); }

void BM_LinkStrokes(benchmark::State& state) { Run(state, Strokes(state.range(0)), 3e3); }

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_LinkLoose)->Apply(Sizes);
BENCHMARK(BM_LinkLooseFarTolerance)->Apply(Sizes);
BENCHMARK(BM_LinkLoops)->Apply(Sizes);
BENCHMARK(BM_LinkHub)->Apply(Sizes);
BENCHMARK(BM_LinkCrowd)->Apply(Sizes);
BENCHMARK(BM_LinkStrokes)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

} // namespace
