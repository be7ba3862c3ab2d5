// The parallel sort against the serial one of the standard library, which is what it must beat with
// two threads, on numbers as they come from Morton codes, on numbers almost in order and on larger
// records.

#include "mathbase/Parallel_Impl.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace {

std::uint64_t Scramble(std::uint64_t z)
{
    z = (z + 1) * 0x9e3779b97f4a7c15U;
    z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31U);
}

struct Record {
    std::uint64_t key;
    std::array<std::uint64_t, 3> rest;
};
bool operator<(const Record& a, const Record& b) { return a.key < b.key; }

template <class Value>
Value MakeValue(std::uint64_t key);
template <>
std::uint64_t MakeValue(std::uint64_t key)
{
    return key;
}
template <>
Record MakeValue(std::uint64_t key)
{
    return {key, {}};
}

template <class Value>
std::vector<Value> RandomValues(std::int64_t count)
{
    std::vector<Value> values;
    for (std::int64_t i = 0; i < count; ++i) {
        values.push_back(MakeValue<Value>(Scramble(static_cast<std::uint64_t>(i))));
    }
    return values;
}

/// Ascending but for one value in a hundred.
template <class Value>
std::vector<Value> AlmostSortedValues(std::int64_t count)
{
    std::vector<Value> values;
    for (std::int64_t i = 0; i < count; ++i) {
        const auto number = static_cast<std::uint64_t>(i);
        values.push_back(MakeValue<Value>(Scramble(number) % 100 == 0
                                              ? Scramble(number) % static_cast<std::uint64_t>(count)
                                              : number));
    }
    return values;
}

struct ParallelSorter {
    template <class It>
    void operator()(It first, It last) const
    {
        Velk::Parallel::Impl::ParallelSort(first, last, std::less<>{});
    }
};
struct StandardSorter {
    template <class It>
    void operator()(It first, It last) const
    {
        std::sort(first, last);
    }
};
struct StandardStableSorter {
    template <class It>
    void operator()(It first, It last) const
    {
        std::stable_sort(first, last);
    }
};

template <class Sorter, class Value, std::vector<Value> (*MakeValues)(std::int64_t)>
void BM_Sort(benchmark::State& state)
{
    const std::vector<Value> values = MakeValues(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<Value> sorted = values;
        state.ResumeTiming();
        Sorter()(sorted.begin(), sorted.end());
        benchmark::DoNotOptimize(sorted.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

#define SORVANE_SORT(Sorter, Value, Values)          \
    BENCHMARK(BM_Sort<Sorter, Value, Values<Value>>) \
        ->Name(#Sorter "/" #Value "/" #Values)       \
        ->Arg(4'096)                                 \
        ->Arg(65'536)                                \
        ->Arg(1'048'576)                             \
        ->Unit(benchmark::kMicrosecond)              \
        ->Complexity(benchmark::oNLogN)              \
        ->UseRealTime()
using Key = std::uint64_t;
SORVANE_SORT(ParallelSorter, Key, RandomValues);
SORVANE_SORT(StandardSorter, Key, RandomValues);
SORVANE_SORT(StandardStableSorter, Key, RandomValues);
SORVANE_SORT(ParallelSorter, Key, AlmostSortedValues);
SORVANE_SORT(StandardSorter, Key, AlmostSortedValues);
SORVANE_SORT(ParallelSorter, Record, RandomValues);
SORVANE_SORT(StandardSorter, Record, RandomValues);
SORVANE_SORT(StandardStableSorter, Record, RandomValues);
#undef SORVANE_SORT

} // namespace
