// Adjacency, boundary, creases and orientation of indexed meshes, on a sheet whose numbers run
// along it and on the same sheet with its points and triangles shuffled.

#include <Sorvane/MeshQueries_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <numeric>
#include <utility>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using SheetMesh = Mesh::IndexedPointsBase<3, double>;

/// A wavy sheet of at least `triangleCount` triangles.
SheetMesh WavySheet(std::int64_t triangleCount)
{
    const int side = static_cast<int>(std::ceil(std::sqrt(static_cast<double>(triangleCount) / 2)));
    SheetMesh mesh;
    for (int i = 0; i <= side; ++i) {
        for (int j = 0; j <= side; ++j) {
            mesh.points.push_back({0.1 * i, 0.1 * j, std::sin(0.07 * i) * std::cos(0.05 * j)});
        }
    }
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int a = i * (side + 1) + j;
            const int b = a + side + 1;
            mesh.indices.insert(mesh.indices.end(), {a, b, b + 1, a, b + 1, a + 1});
        }
    }
    return mesh;
}

/// A permutation of 0 ... count - 1, the same on every machine.
std::vector<int> Shuffled(std::size_t count)
{
    std::vector<int> order(count);
    std::iota(order.begin(), order.end(), 0);
    std::uint64_t state = 1;
    for (std::size_t i = count; i > 1; --i) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        std::swap(order[i - 1], order[static_cast<std::size_t>((state >> 33U) % i)]);
    }
    return order;
}

/// Without any locality: what a mesh looks like whose points were welded through a hash.
SheetMesh ShuffledSheet(std::int64_t triangleCount)
{
    const SheetMesh sheet = WavySheet(triangleCount);
    const std::vector<int> newNumber = Shuffled(sheet.points.size());
    SheetMesh mesh = sheet;
    for (std::size_t i = 0; i < newNumber.size(); ++i) {
        mesh.points[static_cast<std::size_t>(newNumber[i])] = sheet.points[i];
    }
    mesh.indices.clear();
    for (const int triangle : Shuffled(sheet.indices.size() / 3)) {
        for (int k = 0; k < 3; ++k) {
            const int node = sheet.indices[static_cast<std::size_t>(3 * triangle + k)];
            mesh.indices.push_back(newNumber[static_cast<std::size_t>(node)]);
        }
    }
    return mesh;
}

/// Every seventh triangle turned.
SheetMesh MisorientedSheet(std::int64_t triangleCount)
{
    SheetMesh mesh = WavySheet(triangleCount);
    for (std::size_t first = 0; first < mesh.indices.size(); first += 21) {
        std::swap(mesh.indices[first + 1], mesh.indices[first + 2]);
    }
    return mesh;
}

template <class Operation>
void Measure(benchmark::State& state, const SheetMesh& mesh, const Operation& operation)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(mesh));
    }
    const auto triangles = static_cast<std::int64_t>(mesh.indices.size() / 3);
    state.SetItemsProcessed(state.iterations() * triangles);
    state.SetComplexityN(triangles);
}

template <class Operation>
void OnSheet(benchmark::State& state, const Operation& operation)
{
    Measure(state, WavySheet(state.range(0)), operation);
}

template <class Operation>
void OnShuffledSheet(benchmark::State& state, const Operation& operation)
{
    Measure(state, ShuffledSheet(state.range(0)), operation);
}

constexpr auto kNeighborFacets = [](const SheetMesh& mesh) { return Mesh::NeighborFacets(mesh); };
constexpr auto kBoundaryEdges = [](const SheetMesh& mesh) { return Mesh::BoundaryEdges(mesh); };
constexpr auto kBoundaryIndices = [](const SheetMesh& mesh) {
    return Mesh::BoundaryEdgeIndices(mesh);
};
constexpr auto kCreaseAngles = [](const SheetMesh& mesh) { return Mesh::CreaseAngles(mesh, true); };
constexpr auto kNodeRings = [](const SheetMesh& mesh) { return Mesh::NodeRings(mesh); };
constexpr auto kNodeFacets = [](const SheetMesh& mesh) { return Mesh::NodeFacets(mesh); };

void BM_NeighborFacets(benchmark::State& state) { OnSheet(state, kNeighborFacets); }
void BM_NeighborFacetsShuffled(benchmark::State& state) { OnShuffledSheet(state, kNeighborFacets); }
void BM_BoundaryEdges(benchmark::State& state) { OnSheet(state, kBoundaryEdges); }
void BM_BoundaryEdgesShuffled(benchmark::State& state) { OnShuffledSheet(state, kBoundaryEdges); }
void BM_BoundaryEdgeIndices(benchmark::State& state) { OnSheet(state, kBoundaryIndices); }
void BM_CreaseAngles(benchmark::State& state) { OnSheet(state, kCreaseAngles); }
void BM_CreaseAnglesShuffled(benchmark::State& state) { OnShuffledSheet(state, kCreaseAngles); }
void BM_NodeRings(benchmark::State& state) { OnSheet(state, kNodeRings); }
void BM_NodeRingsShuffled(benchmark::State& state) { OnShuffledSheet(state, kNodeRings); }
void BM_NodeFacets(benchmark::State& state) { OnSheet(state, kNodeFacets); }
void BM_NodeFacetsShuffled(benchmark::State& state) { OnShuffledSheet(state, kNodeFacets); }

/// The copy of the mesh, which is put right in place, counts in; it is a few percent.
void BM_MatchNormals(benchmark::State& state)
{
    Measure(state, MisorientedSheet(state.range(0)), [](SheetMesh mesh) {
        Mesh::MatchNormals(mesh);
        return mesh;
    });
}

/// The nested containers are freed by the caller: a good part of what they cost.
void BM_NodeRingsFreed(benchmark::State& state)
{
    const SheetMesh mesh = WavySheet(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto rings = Mesh::NodeRings(mesh);
        state.ResumeTiming();
        rings.clear();
        benchmark::DoNotOptimize(rings);
    }
}

void BM_IsoSegments(benchmark::State& state)
{
    Measure(state, WavySheet(state.range(0)), [](const SheetMesh& mesh) {
        std::array<Vec3d, 2> segment;
        int found = 0;
        for (std::size_t first = 0; first < mesh.indices.size(); first += 3) {
            const Vec3d& a = mesh.points[static_cast<std::size_t>(mesh.indices[first])];
            const Vec3d& b = mesh.points[static_cast<std::size_t>(mesh.indices[first + 1])];
            const Vec3d& c = mesh.points[static_cast<std::size_t>(mesh.indices[first + 2])];
            found += Mesh::IsoSegmentFromTriangle(a, b, c, a[2], b[2], c[2], 0.3, segment) ? 1 : 0;
        }
        return found;
    });
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_NeighborFacets)->Apply(Sizes);
BENCHMARK(BM_NeighborFacetsShuffled)->Apply(Sizes);
BENCHMARK(BM_BoundaryEdges)->Apply(Sizes);
BENCHMARK(BM_BoundaryEdgesShuffled)->Apply(Sizes);
BENCHMARK(BM_BoundaryEdgeIndices)->Apply(Sizes);
BENCHMARK(BM_CreaseAngles)->Apply(Sizes);
BENCHMARK(BM_CreaseAnglesShuffled)->Apply(Sizes);
BENCHMARK(BM_MatchNormals)->Apply(Sizes);
BENCHMARK(BM_NodeRings)->Apply(Sizes);
BENCHMARK(BM_NodeRingsShuffled)->Apply(Sizes);
BENCHMARK(BM_NodeRingsFreed)->Apply(Sizes);
BENCHMARK(BM_NodeFacets)->Apply(Sizes);
BENCHMARK(BM_NodeFacetsShuffled)->Apply(Sizes);
BENCHMARK(BM_IsoSegments)->Apply(Sizes);

} // namespace
