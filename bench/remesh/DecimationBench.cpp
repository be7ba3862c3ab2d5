// Decimation to a tenth of the triangles: one edge at a time, in passes to the target alone, and in
// passes within a measured distance. The part is the one that SORVANE_BENCH_STL names; items are
// triangles of the input.

#include <Sorvane/Decimation_E.h>
#include <Sorvane/MeshQueries_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr double kAngle = 60;
constexpr double kKeepPercent = 10;

/// The part, or a wavy sheet where none is named.
const Bench::IndexedMesh& Input()
{
    static const Bench::IndexedMesh input = [] {
        Bench::IndexedMesh mesh = Bench::NamedMesh();
        Mesh::FilterForUniqueness(mesh, 1e-12);
        return mesh.indices.empty() ? Bench::WavySheet(246'000) : mesh;
    }();
    return input;
}

void Tell(benchmark::State& state, const Bench::IndexedMesh& out)
{
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(Input().indices.size() / 3));
    state.counters["out"] = static_cast<double>(out.indices.size() / 3);
}

void BM_DecimateMesh(benchmark::State& state)
{
    Bench::IndexedMesh out;
    for (auto _ : state) {
        Mesh::DecimateMesh(Input(), out, kAngle, kKeepPercent, 1.0, true);
    }
    Tell(state, out);
}

/// The argument is a tolerance in hundredths, 0 for none.
void BM_DecimateInBatches(benchmark::State& state)
{
    const double tolerance = state.range(0) == 0 ? std::numeric_limits<double>::infinity()
                                                 : 0.01 * static_cast<double>(state.range(0));
    Bench::IndexedMesh out;
    Mesh::DecimationReport report;
    for (auto _ : state) {
        Mesh::DecimateInBatches(Input(), out, kAngle, kKeepPercent, tolerance, report);
    }
    Tell(state, out);
}

BENCHMARK(BM_DecimateMesh)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecimateInBatches)->Arg(0)->Arg(4)->Unit(benchmark::kMillisecond);

} // namespace
