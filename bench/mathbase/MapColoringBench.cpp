// Coloring of triangulated grids by node and of their triangles by shared edge.

#include <Velk/Math/MapColoring_E.h>

#include <benchmark/benchmark.h>

namespace {

using Lists = std::vector<std::vector<int>>;

/// Nodes of a square grid whose cells have one diagonal each.
Lists GridNodes(int side)
{
    Lists lists(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    const auto join = [&lists](int a, int b) {
        lists[static_cast<std::size_t>(a)].push_back(b);
        lists[static_cast<std::size_t>(b)].push_back(a);
    };
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const int node = y * side + x;
            if (x + 1 < side) {
                join(node, node + 1);
            }
            if (y + 1 < side) {
                join(node, node + side);
            }
            if (x + 1 < side && y + 1 < side) {
                join(node, node + side + 1);
            }
        }
    }
    return lists;
}

/// Triangles of such a grid: three neighbors each, -1 at the boundary.
Lists GridTriangles(int side)
{
    Lists lists;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const int lower = 2 * (y * side + x);
            lists.push_back(
                {lower + 1, x + 1 < side ? lower + 3 : -1, y > 0 ? lower - 2 * side + 1 : -1});
            lists.push_back({lower, x > 0 ? lower - 2 : -1, y + 1 < side ? lower + 2 * side : -1});
        }
    }
    return lists;
}

void Run(benchmark::State& state, const Lists& lists)
{
    unsigned int count = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Velk::Math::MapColoring(lists, count));
    }
    state.counters["colors"] = count;
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(lists.size()));
    state.SetComplexityN(static_cast<std::int64_t>(lists.size()));
}

void BM_MapColoringNodes(benchmark::State& state)
{
    Run(state, GridNodes(static_cast<int>(state.range(0))));
}

void BM_MapColoringTriangles(benchmark::State& state)
{
    Run(state, GridTriangles(static_cast<int>(state.range(0))));
}

BENCHMARK(BM_MapColoringNodes)->Arg(30)->Arg(300)->Arg(1000)->Complexity(benchmark::oN);
BENCHMARK(BM_MapColoringTriangles)->Arg(20)->Arg(200)->Arg(700)->Complexity(benchmark::oN);

} // namespace
