// Distances on wavy sheets of growing size, and on the part that SORVANE_BENCH_STL names: a cloud
// of signed distances, points dropped along Z, crossings of polylines, and the Hausdorff distance
// of a mesh from its tenth, at the points and with bounds. Items are points, segments, or triangles
// of both meshes.

#include <Sorvane/Decimation_E.h>
#include <Sorvane/MeshDistances_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <limits>
#include <map>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Bench::IndexedMesh;

/// Size 0 is the named part.
constexpr std::int64_t kNamed = 0;

const IndexedMesh& Input(std::int64_t triangles)
{
    static std::map<std::int64_t, IndexedMesh> inputs;
    IndexedMesh& mesh = inputs[triangles];
    if (mesh.indices.empty()) {
        if (triangles == kNamed) {
            mesh = Bench::NamedMesh();
            Mesh::FilterForUniqueness(mesh, 1e-12);
        } else {
            mesh = Bench::WavySheet(triangles);
        }
    }
    return mesh;
}

/// A tenth of its triangles: in passes without a bound, or one edge at a time.
const IndexedMesh& Tenth(std::int64_t triangles, bool isOneByOne)
{
    static std::map<std::pair<std::int64_t, bool>, IndexedMesh> tenths;
    IndexedMesh& mesh = tenths[{triangles, isOneByOne}];
    if (mesh.indices.empty() && isOneByOne) {
        Mesh::DecimateMesh(Input(triangles), mesh, 60, 10, 1.0, true);
    } else if (mesh.indices.empty()) {
        Mesh::DecimationReport report;
        Mesh::DecimateInBatches(Input(triangles), mesh, 60, 10,
                                std::numeric_limits<double>::infinity(), report);
    }
    return mesh;
}

bool HasInput(benchmark::State& state)
{
    if (Input(state.range(0)).indices.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no part");
        return false;
    }
    return true;
}

constexpr std::size_t kCloud = 100'000;

void BM_CloudDistancesToMesh(benchmark::State& state)
{
    if (HasInput(state)) {
        const IndexedMesh& mesh = Input(state.range(0));
        const std::vector<Vec3d> cloud = Bench::PointsInBox(mesh, kCloud);
        for (auto _ : state) {
            benchmark::DoNotOptimize(
                MeshUtils::CloudDistancesToMesh(mesh.points, mesh.indices, cloud, false));
        }
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kCloud));
    }
}

void BM_ProjectCloudOnMesh(benchmark::State& state)
{
    if (HasInput(state)) {
        const IndexedMesh& mesh = Input(state.range(0));
        const std::vector<Vec3d> cloud = Bench::PointsInBox(mesh, kCloud);
        for (auto _ : state) {
            benchmark::DoNotOptimize(
                MeshUtils::ProjectCloudOnMesh(mesh.points, mesh.indices, cloud, false));
        }
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kCloud));
    }
}

/// A polyline to and fro through the box.
void BM_ClipPolyPointStream(benchmark::State& state)
{
    if (HasInput(state)) {
        const IndexedMesh& mesh = Input(state.range(0));
        std::vector<Vec3d> stream = Bench::PointsInBox(mesh, 1001);
        std::int64_t hits = 0;
        for (auto _ : state) {
            hits = static_cast<std::int64_t>(
                MeshUtils::ClipPolyPointStreamAgainstMesh(mesh, {stream}, 0)[0].size());
        }
        state.SetItemsProcessed(state.iterations() * 1000);
        state.counters["hits"] = static_cast<double>(hits);
    }
}

std::int64_t TrianglesOf(const IndexedMesh& a, const IndexedMesh& b)
{
    return static_cast<std::int64_t>((a.indices.size() + b.indices.size()) / 3);
}

void BM_HausdorffDistance(benchmark::State& state)
{
    if (HasInput(state)) {
        const IndexedMesh& mesh = Input(state.range(0));
        const IndexedMesh& tenth = Tenth(state.range(0), false);
        double distance = 0;
        for (auto _ : state) {
            distance = MeshUtils::HausdorffDistance(mesh.points, mesh.indices, tenth.points,
                                                    tenth.indices);
        }
        state.SetItemsProcessed(state.iterations() * TrianglesOf(mesh, tenth));
        state.counters["distance"] = distance;
    }
}

/// The second argument: a tenth made one edge at a time. The third: accuracy in units of 1e-6.
void BM_HausdorffBounds(benchmark::State& state)
{
    if (HasInput(state)) {
        const IndexedMesh& mesh = Input(state.range(0));
        const IndexedMesh& tenth = Tenth(state.range(0), state.range(1) != 0);
        MeshUtils::HausdorffBoundsReport bounds;
        for (auto _ : state) {
            bounds =
                MeshUtils::HausdorffBounds(mesh, tenth, 1e-6 * static_cast<double>(state.range(2)));
        }
        state.SetItemsProcessed(state.iterations() * TrianglesOf(mesh, tenth));
        state.counters["lower1"] = bounds.first.lower;
        state.counters["upper1"] = bounds.first.upper;
        state.counters["lower2"] = bounds.second.lower;
        state.counters["upper2"] = bounds.second.upper;
    }
}

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Arg(kNamed)->Unit(
        benchmark::kMillisecond);
}
BENCHMARK(BM_CloudDistancesToMesh)->Apply(Sizes);
BENCHMARK(BM_ProjectCloudOnMesh)->Apply(Sizes);
BENCHMARK(BM_ClipPolyPointStream)->Apply(Sizes);
BENCHMARK(BM_HausdorffDistance)->Apply(Sizes);
BENCHMARK(BM_HausdorffBounds)
    ->Args({10'000, 0, 1000})
    ->Args({100'000, 0, 1000})
    ->Args({1'000'000, 0, 1000})
    ->Args({kNamed, 0, 1000})
    ->Args({kNamed, 0, 100})
    ->Args({kNamed, 0, 10})
    ->Args({kNamed, 1, 1000})
    ->Unit(benchmark::kMillisecond);

} // namespace
