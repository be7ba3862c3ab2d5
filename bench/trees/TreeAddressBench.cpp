// Sweeps over lists of addresses and block meshes, of cells on a sphere (a shell of neighbors, as
// a part's surface gives), in a ball (solid) and scattered (hardly any neighbors).

#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/TreeAddress_E.h>

#include "tests/support/PointSets.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree;

using Code = unsigned long long;

enum Shape { kShell, kSolid, kScattered };

struct Cells {
    std::vector<Code> codes; // distinct, in random order
    unsigned int depth;
};

/// Cells of the shape at a depth at which there are about `count`; shell and ball have diameter
/// 0.8.
Cells MakeCells(Shape shape, std::int64_t count)
{
    Support::Random random(1);
    const double cells = static_cast<double>(count);
    const double fraction = shape == kShell ? std::sqrt(cells / 3.0) : std::cbrt(cells / 0.268);
    Cells result{{},
                 shape == kScattered ? 16U
                                     : static_cast<unsigned int>(std::lround(std::log2(fraction)))};
    std::vector<Code>& codes = result.codes;
    while (static_cast<std::int64_t>(codes.size()) < count) {
        for (std::int64_t i = 0; i < 4 * count; ++i) {
            const double radius = shape == kSolid ? 0.4 * std::cbrt(random.Unit()) : 0.4;
            const Vec3d point =
                shape == kScattered
                    ? random.Vector<3, double>(0, 1)
                    : Vec3d(0.5, 0.5, 0.5) + Support::RandomDirection<3, double>(random) * radius;
            codes.push_back(MortonCurve::Truncate<3>(MortonCurve::Encode3D(point), result.depth));
        }
        std::sort(codes.begin(), codes.end());
        const auto end = std::unique(codes.begin(), codes.end());
        if (end - codes.begin() < count && end - codes.begin() > count / 4) {
            codes.erase(end, codes.end());
            break; // the shape has no more cells at this depth
        }
        codes.erase(end, codes.end());
        result.depth += static_cast<std::int64_t>(codes.size()) < count ? 1 : 0;
    }
    for (std::size_t i = codes.size(); i > 1; --i) {
        std::swap(codes[i - 1], codes[random.Bits() % i]);
    }
    codes.resize(std::min(codes.size(), static_cast<std::size_t>(count)));
    return result;
}

void BM_BuildVoxelMesh(benchmark::State& state)
{
    const Cells cells = MakeCells(static_cast<Shape>(state.range(1)), state.range(0));
    std::vector<Vec3d> points;
    std::vector<int> triangles;
    for (auto _ : state) {
        BuildVoxelMesh(cells.codes, {1, 1, 1}, {0, 0, 0}, cells.depth, points, triangles);
        benchmark::DoNotOptimize(triangles.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cells.codes.size()));
    state.counters["cells"] = static_cast<double>(cells.codes.size());
    state.counters["triangles"] = static_cast<double>(triangles.size() / 3);
}

template <class Operation>
void RunSweep(benchmark::State& state, const Operation& operation)
{
    const Cells cells = MakeCells(static_cast<Shape>(state.range(1)), state.range(0));
    std::vector<QOFAddress<3>> addresses;
    for (const Code code : cells.codes) {
        addresses.push_back({cells.depth, code >> (63 - 3 * cells.depth)});
    }
    std::size_t size = 0;
    for (auto _ : state) {
        size = operation(addresses).size();
        benchmark::DoNotOptimize(size);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(addresses.size()));
    state.counters["cells"] = static_cast<double>(addresses.size());
    state.counters["result"] = static_cast<double>(size);
}

void BM_BalanceFaces(benchmark::State& state)
{
    RunSweep(state, [](const auto& list) { return BalanceAddresses<3>(list, true); });
}

void BM_BalanceAll(benchmark::State& state)
{
    RunSweep(state, [](const auto& list) { return BalanceAddresses<3>(list, false); });
}

void BM_Complete(benchmark::State& state)
{
    RunSweep(state, [](const auto& list) { return CompleteTree<3>(list, false, false); });
}

void BM_CompleteSiblings(benchmark::State& state)
{
    RunSweep(state, [](const auto& list) { return CompleteTree<3>(list, true, false); });
}

void BM_CompleteSiblingsBalance(benchmark::State& state)
{
    RunSweep(state, [](const auto& list) { return CompleteTree<3>(list, true, true); });
}

void Sizes(benchmark::internal::Benchmark* benchmark, const std::vector<Shape>& shapes)
{
    for (const Shape shape : shapes) {
        for (const int count : {10'000, 100'000, 1'000'000}) {
            benchmark->Args({count, shape});
        }
    }
    benchmark->ArgNames({"", "shape"})
        ->UseRealTime()
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMillisecond);
}

void AllShapes(benchmark::internal::Benchmark* benchmark)
{
    Sizes(benchmark, {kShell, kSolid, kScattered});
}

/// Replacing by neighbors multiplies scattered cells level by level: 10^4 of them at depth 16
/// become millions.
void Crowds(benchmark::internal::Benchmark* benchmark)
{
    Sizes(benchmark, {kShell, kSolid});
    benchmark->Args({1'000, kScattered})->Args({10'000, kScattered});
}

BENCHMARK(BM_BuildVoxelMesh)->Apply(AllShapes);
BENCHMARK(BM_BalanceFaces)->Apply(Crowds);
BENCHMARK(BM_BalanceAll)->Apply(Crowds);
BENCHMARK(BM_Complete)->Apply(AllShapes);
BENCHMARK(BM_CompleteSiblings)->Apply(AllShapes);
BENCHMARK(BM_CompleteSiblingsBalance)->Apply(Crowds);

} // namespace
