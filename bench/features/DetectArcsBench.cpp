// Sharp edges, arcs, holes and hole stacks on plates of more and more counterbored holes, on one
// bar with more and more grooves and on more and more rings in line, whose circles all have one
// axis.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/TurnedBodies.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;

/// Counterbored rings of 384 triangles each in a square pattern, at least `triangles` in all.
IndexedMesh Plates(std::int64_t triangles)
{
    const IndexedMesh ring =
        Support::TurnedBody({{2, 0}, {10, 0}, {10, 30}, {4, 30}, {4, 25}, {2, 25}}, 32);
    const std::int64_t count = triangles / 384 + 1;
    const auto side = static_cast<std::int64_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    IndexedMesh all;
    for (std::int64_t i = 0; i < count; ++i) {
        const Vec3d offset(25.0 * static_cast<double>(i % side),
                           25.0 * static_cast<double>(i / side), 0);
        const int first = static_cast<int>(all.points.size());
        for (const Vec3d& point : ring.points) {
            all.points.push_back(point + offset);
        }
        for (const int index : ring.indices) {
            all.indices.push_back(first + index);
        }
    }
    return all;
}

/// A tube with grooves in its bore, of 256 triangles each.
IndexedMesh GroovedBore(std::int64_t triangles)
{
    std::vector<Vec2d> profile{{20, 0}};
    const int grooves = static_cast<int>(triangles / 256) + 1;
    profile.push_back({20, 4.0 * grooves});
    for (int i = grooves; i-- > 0;) {
        for (const auto& [radius, height] : {std::pair{6, 4}, {6, 3}, {8, 3}, {8, 1}}) {
            profile.push_back({1.0 * radius, 4.0 * i + height});
        }
    }
    profile.push_back({6, 0});
    return Support::TurnedBody(profile, 32);
}

/// Rings in line, apart from one another, with so many circles in all; 4 circles and 128 triangles
/// each.
IndexedMesh RingsInLine(std::int64_t circles)
{
    const std::int64_t count = circles / 4;
    const IndexedMesh ring = Support::DrilledRing(3, 2, 16);
    IndexedMesh all;
    for (std::int64_t i = 0; i < count; ++i) {
        const int first = static_cast<int>(all.points.size());
        for (const Vec3d& point : ring.points) {
            all.points.push_back(point + Vec3d(0, 0, 3.0 * static_cast<double>(i)));
        }
        for (const int index : ring.indices) {
            all.indices.push_back(first + index);
        }
    }
    return all;
}

template <class Call>
void Run(benchmark::State& state, const IndexedMesh& mesh, const Call& call)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(call(mesh));
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(mesh.indices.size() / 3));
    state.SetComplexityN(state.range(0));
}

void DetectSharpEdges(benchmark::State& state)
{
    Run(state, Plates(state.range(0)), [](const IndexedMesh& mesh) {
        return MeshUtils::DetectSharpEdges(mesh, 0.4, true).size();
    });
}
void DetectArcs(benchmark::State& state)
{
    Run(state, Plates(state.range(0)),
        [](const IndexedMesh& mesh) { return MeshUtils::DetectArcs(mesh, 0.4, 0.02, 0.8).size(); });
}
void DetectArcsAllEdges(benchmark::State& state)
{
    // Every edge is sharp: the graph is the whole mesh, and every point a junction.
    Run(state, Support::WavySheet<double>(state.range(0)),
        [](const IndexedMesh& mesh) { return MeshUtils::DetectArcs(mesh, 0, 0.02, 0.8).size(); });
}
void DetectDrillHoles(benchmark::State& state)
{
    Run(state, Plates(state.range(0)), [](const IndexedMesh& mesh) {
        return MeshUtils::DetectDrillHoles(mesh, 0.4, 0.02, 0.8, 0.02).size();
    });
}
void DetectDrillHolesOnOneAxis(benchmark::State& state)
{
    Run(state, GroovedBore(state.range(0)), [](const IndexedMesh& mesh) {
        return MeshUtils::DetectDrillHoles(mesh, 0.4, 0.02, 0.8, 0.02).size();
    });
}
void DetectDrillHolesOfRingsInLine(benchmark::State& state)
{
    Run(state, RingsInLine(state.range(0)), [](const IndexedMesh& mesh) {
        return MeshUtils::DetectDrillHoles(mesh, 0.4, 0.02, 0.8, 0.02).size();
    });
}
void DrillHoleStacks(benchmark::State& state)
{
    Run(state, Plates(state.range(0)), [](const IndexedMesh& mesh) {
        return MeshUtils::DrillHoleStacks(mesh, 0.4, 0.02, 0.8, 0.02).size();
    });
}
void DrillHoleStacksOnOneAxis(benchmark::State& state)
{
    Run(state, GroovedBore(state.range(0)), [](const IndexedMesh& mesh) {
        return MeshUtils::DrillHoleStacks(mesh, 0.4, 0.02, 0.8, 0.02).size();
    });
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000);
    bench->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}
/// What grows with the square of the circles of one axis.
void SizesOfSquares(benchmark::internal::Benchmark* bench)
{
    bench->Arg(3'000)->Arg(10'000)->Arg(30'000);
    bench->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}
void Circles(benchmark::internal::Benchmark* bench)
{
    bench->Arg(400)->Arg(800)->Arg(1'600);
    bench->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}
BENCHMARK(DetectSharpEdges)->Apply(Sizes);
BENCHMARK(DetectArcs)->Apply(Sizes);
BENCHMARK(DetectArcsAllEdges)->Apply(Sizes);
BENCHMARK(DetectDrillHoles)->Apply(Sizes);
BENCHMARK(DetectDrillHolesOnOneAxis)->Apply(SizesOfSquares);
BENCHMARK(DetectDrillHolesOfRingsInLine)->Apply(Circles);
BENCHMARK(DrillHoleStacks)->Apply(Sizes);
BENCHMARK(DrillHoleStacksOnOneAxis)->Apply(Sizes);

} // namespace
