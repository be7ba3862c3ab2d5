// Set operations on grids of 64, 128 and 256 nodes along each axis, beside plain copies of one
// grid: into memory that is there, and into memory that the system hands out for it. Bytes are
// those read and written, 96 to the node for an operation and 64 for a copy.

#include <Sorvane/VolumetricData_E.h>

#include "tests/support/Random.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math::Sorvane::IsoSurface;
using Grid = VolumetricData<OrientedSample>;

/// Values of either sign as they come: which grid counts changes from node to node, the worst for
/// whoever decides by a branch.
Grid RandomGrid(unsigned int side, std::uint64_t seed)
{
    Support::Random random(seed);
    Grid grid(side, side, side);
    for (OrientedSample& sample : grid.Samples()) {
        sample = {random.Between(-1, 1), {0.6, 0.8, 0}};
    }
    return grid;
}

struct Grids {
    explicit Grids(const benchmark::State& state)
        : a(RandomGrid(static_cast<unsigned int>(state.range(0)), 1)),
          b(RandomGrid(static_cast<unsigned int>(state.range(0)), 2))
    {
    }

    void Count(benchmark::State& state, std::int64_t samplesMoved) const
    {
        state.SetBytesProcessed(state.iterations() * samplesMoved *
                                static_cast<std::int64_t>(a.Samples().size_bytes()));
    }

    Grid a;
    Grid b;
};

template <class Operation>
void NewMemory(benchmark::State& state, const Operation& operation)
{
    const Grids grids(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(grids.a, grids.b));
    }
    grids.Count(state, 3);
}

void BM_Union(benchmark::State& state)
{
    NewMemory(state, [](const Grid& a, const Grid& b) { return Union(a, b); });
}

void BM_Intersection(benchmark::State& state)
{
    NewMemory(state, [](const Grid& a, const Grid& b) { return Intersection(a, b); });
}

void BM_Difference(benchmark::State& state)
{
    NewMemory(state, [](const Grid& a, const Grid& b) { return Difference(a, b); });
}

/// The result is the first grid of the next round: its values differ, the work is the same.
template <class Operation>
void SameMemory(benchmark::State& state, const Operation& operation)
{
    Grids grids(state);
    for (auto _ : state) {
        grids.a = operation(std::move(grids.a), grids.b);
        benchmark::ClobberMemory();
    }
    grids.Count(state, 3);
}

void BM_UnionInPlace(benchmark::State& state)
{
    SameMemory(state, [](Grid&& a, const Grid& b) { return Union(std::move(a), b); });
}

void BM_DifferenceInPlace(benchmark::State& state)
{
    SameMemory(state, [](Grid&& a, const Grid& b) { return Difference(std::move(a), b); });
}

void BM_CopyInPlace(benchmark::State& state)
{
    Grids grids(state);
    for (auto _ : state) {
        std::memcpy(static_cast<void*>(grids.b.Samples().data()), grids.a.Samples().data(),
                    grids.a.Samples().size_bytes());
        benchmark::ClobberMemory();
    }
    grids.Count(state, 2);
}

void BM_CopyOfVector(benchmark::State& state)
{
    const Grids grids(state);
    const std::vector<OrientedSample> source(grids.a.Samples().begin(), grids.a.Samples().end());
    for (auto _ : state) {
        std::vector<OrientedSample> copy = source;
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    grids.Count(state, 2);
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(64)->Arg(128)->Arg(256)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
}

BENCHMARK(BM_Union)->Apply(Sizes);
BENCHMARK(BM_Intersection)->Apply(Sizes);
BENCHMARK(BM_Difference)->Apply(Sizes);
BENCHMARK(BM_CopyOfVector)->Apply(Sizes);
BENCHMARK(BM_UnionInPlace)->Apply(Sizes);
BENCHMARK(BM_DifferenceInPlace)->Apply(Sizes);
BENCHMARK(BM_CopyInPlace)->Apply(Sizes);

} // namespace
