// Looking every corner of a mesh up among its unique points: one search at a time in the sorted
// vector against the look-up that is built once (its building included), on a wavy sheet, on a flat
// grid where thousands of points share an x, and on that grid with noise on x, off the members and
// on them.

#include "mathbase/VectorUniqueness_Impl.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;

constexpr double kTolerance = 1e-9;

Vec3d SheetPoint(double u, double v)
{
    return {100 * u + 7 * v, 100 * v - 11 * u, 5 * std::sin(9 * u) * std::cos(7 * v)};
}
Vec3d GridPoint(double u, double v) { return {12.5, 100 * u, 100 * v}; }
Vec3d NoisyPoint(double u, double v)
{
    return {1e-17 * std::sin(1e5 * u + 1e4 * v), 100 * u, 100 * v};
}

struct Job {
    std::vector<Vec3d> members;
    std::vector<Vec3d> queries; // each member six times, in the order of the grid
};

template <Vec3d (*PointAt)(double, double)>
Job MakeJob(std::int64_t memberCount, double offset)
{
    const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(memberCount))));
    Job job;
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column) {
            const Vec3d point =
                PointAt(static_cast<double>(column) / side, static_cast<double>(row) / side);
            job.members.push_back(point);
            job.queries.insert(job.queries.end(), 6, point + Vec3d{offset, offset, offset});
        }
    }
    Vector::FilterForUniqueness(job.members, kTolerance);
    return job;
}

void Report(benchmark::State& state, const Job& job)
{
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(job.queries.size()));
    state.SetComplexityN(static_cast<std::int64_t>(job.members.size()));
}

template <Vec3d (*PointAt)(double, double)>
void BM_SearchEach(benchmark::State& state, double offset)
{
    const Job job = MakeJob<PointAt>(state.range(0), offset);
    for (auto _ : state) {
        int sum = 0;
        for (const Vec3d& query : job.queries) {
            sum += Vector::IndexInUniqueVector(job.members, query, kTolerance);
        }
        benchmark::DoNotOptimize(sum);
    }
    Report(state, job);
}

template <Vec3d (*PointAt)(double, double)>
void BM_LookupOnce(benchmark::State& state, double offset)
{
    const Job job = MakeJob<PointAt>(state.range(0), offset);
    for (auto _ : state) {
        const Vector::Impl::UniqueLookup<3, double> lookup(job.members, kTolerance);
        int sum = 0;
        for (const Vec3d& query : job.queries) {
            sum += lookup.Index(query);
        }
        benchmark::DoNotOptimize(sum);
    }
    Report(state, job);
}

void SearchSheet(benchmark::State& state) { BM_SearchEach<SheetPoint>(state, 0); }
void SearchSheetNear(benchmark::State& state) { BM_SearchEach<SheetPoint>(state, kTolerance / 2); }
void SearchGrid(benchmark::State& state) { BM_SearchEach<GridPoint>(state, 0); }
void SearchGridNear(benchmark::State& state) { BM_SearchEach<GridPoint>(state, kTolerance / 2); }
void SearchNoisy(benchmark::State& state) { BM_SearchEach<NoisyPoint>(state, 0); }
void SearchNoisyNear(benchmark::State& state) { BM_SearchEach<NoisyPoint>(state, kTolerance / 2); }
void LookupSheet(benchmark::State& state) { BM_LookupOnce<SheetPoint>(state, 0); }
void LookupSheetNear(benchmark::State& state) { BM_LookupOnce<SheetPoint>(state, kTolerance / 2); }
void LookupGrid(benchmark::State& state) { BM_LookupOnce<GridPoint>(state, 0); }
void LookupGridNear(benchmark::State& state) { BM_LookupOnce<GridPoint>(state, kTolerance / 2); }
void LookupNoisyNear(benchmark::State& state) { BM_LookupOnce<NoisyPoint>(state, kTolerance / 2); }

#define SORVANE_LOOKUP(function, ...) \
    BENCHMARK(function)->ArgsProduct({{__VA_ARGS__}})->Unit(benchmark::kMillisecond)->Complexity()
SORVANE_LOOKUP(SearchSheet, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(SearchSheetNear, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(SearchGrid, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(SearchGridNear, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(SearchNoisy, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(SearchNoisyNear, 400, 1'600, 6'400); // the known worst case of single searches
SORVANE_LOOKUP(LookupSheet, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(LookupSheetNear, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(LookupGrid, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(LookupGridNear, 2'500, 22'500, 230'400);
SORVANE_LOOKUP(LookupNoisyNear, 2'500, 22'500, 230'400);
#undef SORVANE_LOOKUP

} // namespace
