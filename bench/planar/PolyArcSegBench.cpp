// Chains of lines and arcs: a wavy ring of fillets and flats, as contours of parts are.

#include <Sorvane/PolyArcSeg_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Chain = PolyArcSegBase<double>;

Vec2d RingPoint(double turn, double offset)
{
    const double angle = kTwoPi<double> * turn;
    const double radius = 100 + 8 * std::sin(37 * angle) + offset;
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

/// The next of points near and far from the ring, all round it.
Vec2d NextQuery(int& query)
{
    ++query;
    return RingPoint(0.618 * query, query % 2 == 0 ? 5 : -20);
}

/// Closed ring of `count` elements, segments and arcs in turn.
Chain Ring(int count)
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.elements.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const Vec2d from = i > 0 ? chain.elements.back().EndPoint() : RingPoint(0, 0);
        const Vec2d to = RingPoint((i + 1.0) / count, 0);
        if (i % 2 == 0) {
            chain.AppendSegment(from, to);
            continue;
        }
        const Vec2d bulge = Vector::RightNormal(to - from) * 0.125;
        const auto arc = Geometry::ArcThroughPoints(from, (from + to) * 0.5 + bulge, to);
        chain.AppendArc(arc.center, from, arc.length);
    }
    return chain;
}

void BM_ClosestPoint(benchmark::State& state)
{
    const Chain chain = Ring(static_cast<int>(state.range(0)));
    int query = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ClosestPointOnPolyArcSeg(chain, NextQuery(query)));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_Side(benchmark::State& state)
{
    const Chain chain = Ring(static_cast<int>(state.range(0)));
    int query = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            PointInPolyArcSegSpace<double>(chain, NextQuery(query), true, nullptr));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

/// As many points as elements, all on the chain.
void BM_PointParameters(benchmark::State& state)
{
    const Chain chain = Ring(static_cast<int>(state.range(0)));
    std::vector<Vec2d> points;
    for (const auto& element : chain.elements) {
        points.push_back(element.Visit(
            [](const auto& e) { return Geometry::Split(e, 0.3, true, 1e-12).back().start; }));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(PointParametersOnPolyArcSeg(chain, points, 1e-9));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_ToPolyline(benchmark::State& state)
{
    const Chain chain = Ring(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(ToPolyline(chain, 1e-3));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_WriteAndRead(benchmark::State& state)
{
    const Chain chain = Ring(static_cast<int>(state.range(0)));
    const auto path = std::filesystem::temp_directory_path() / "sorvane_chain_bench.txt";
    for (auto _ : state) {
        WritePolySegArcToFile(chain, path.string());
        benchmark::DoNotOptimize(ReadPolySegArcFromFile(path.string()));
    }
    std::filesystem::remove(path);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* b)
{
    for (const int count : {1000, 10'000, 100'000}) {
        b->Arg(count);
    }
    b->Complexity(benchmark::oN)->Unit(benchmark::kMicrosecond);
}
BENCHMARK(BM_ClosestPoint)->Apply(Sizes);
BENCHMARK(BM_Side)->Apply(Sizes);
BENCHMARK(BM_PointParameters)->Apply(Sizes)->UseRealTime();
BENCHMARK(BM_ToPolyline)->Apply(Sizes);
BENCHMARK(BM_WriteAndRead)->Apply(Sizes);

} // namespace
