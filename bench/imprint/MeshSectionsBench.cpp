// Stacks of plane sections, linked: of sheets of three sizes, of thin and of dense stacks, oblique,
// and of a prepared mesh. The part is the one that SORVANE_BENCH_STL names; items are cuts of a
// triangle by a plane.

#include <Sorvane/MeshSections_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math::Sorvane;
using Velk::Math::Vec3d;
using Sections = std::vector<Mesh::MeshSection>;

const Vec3d kUp(0, 0, 1);

/// The part, or a torus where none is named.
const Bench::IndexedMesh& Part()
{
    static const Bench::IndexedMesh part = [] {
        Bench::IndexedMesh mesh = Bench::NamedMesh();
        Mesh::FilterForUniqueness(mesh, 1e-12);
        return mesh.indices.empty() ? Support::Torus(500, 246) : mesh;
    }();
    return part;
}

/// Middles of layers of one thickness.
std::vector<double> Heights(const Mesh::PlaneSlicer& slicer, std::int64_t count)
{
    const auto [low, high] = slicer.HeightRange();
    std::vector<double> heights;
    for (std::int64_t i = 0; i < count; ++i) {
        heights.push_back(low + (high - low) * (static_cast<double>(i) + 0.5) /
                                    static_cast<double>(count));
    }
    return heights;
}

void Tell(benchmark::State& state, const Sections& sections)
{
    std::size_t loops = 0;
    std::size_t points = 0;
    for (const Mesh::MeshSection& section : sections) {
        loops += section.loops.size();
        for (const auto& loop : section.loops) {
            points += loop.size();
        }
    }
    state.counters["loops"] = static_cast<double>(loops);
    state.counters["points"] = static_cast<double>(points);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points));
}

void Stack(benchmark::State& state, const Bench::IndexedMesh& mesh, const Vec3d& normal,
           std::int64_t planes)
{
    const std::vector<double> heights = Heights(Mesh::PlaneSlicer(mesh, normal), planes);
    Sections sections;
    for (auto _ : state) {
        sections = Mesh::MeshSections(mesh, normal, heights, {});
    }
    Tell(state, sections);
}

/// A hundred planes through a torus of so many triangles.
void BM_MeshSections(benchmark::State& state)
{
    const int side = Support::GridSide(state.range(0));
    Stack(state, Support::Torus(side, side), kUp, 100);
}
BENCHMARK(BM_MeshSections)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);

/// So many planes through the part.
void BM_MeshSectionsOfPart(benchmark::State& state) { Stack(state, Part(), kUp, state.range(0)); }
BENCHMARK(BM_MeshSectionsOfPart)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond);

void BM_MeshSectionsOblique(benchmark::State& state)
{
    Stack(state, Part(), {1, 2, 3}, state.range(0));
}
BENCHMARK(BM_MeshSectionsOblique)->Arg(100)->Unit(benchmark::kMillisecond);

void BM_PlaneSlicer(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(Mesh::PlaneSlicer(Part(), kUp));
    }
}
BENCHMARK(BM_PlaneSlicer)->Unit(benchmark::kMillisecond);

/// Planes of a prepared mesh, each asked for by itself.
void BM_PlaneSlicerSection(benchmark::State& state)
{
    const Mesh::PlaneSlicer slicer(Part(), kUp);
    const std::vector<double> heights = Heights(slicer, 100);
    Sections sections(heights.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < heights.size(); ++i) {
            sections[i] = slicer.Section(heights[i], {});
        }
    }
    Tell(state, sections);
}
BENCHMARK(BM_PlaneSlicerSection)->Unit(benchmark::kMillisecond);

} // namespace
