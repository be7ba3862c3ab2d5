// Solid voxelization of the shell of a ball, at three depths, in the plane and in space.

#include <Sorvane/MaterialTree_E.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math::Sorvane::Tree;

/// Address of a cell by its numbers along the axes.
template <int D>
QOFAddress<D> AddressOf(const std::array<long long, D>& cell, unsigned int depth)
{
    QOFAddress<D> address{depth, 0};
    for (unsigned int level = depth; level-- > 0;) {
        address.path <<= static_cast<unsigned int>(D);
        for (std::size_t axis = 0; axis < D; ++axis) {
            address.path |= static_cast<unsigned long long>((cell[axis] >> level) & 1) << axis;
        }
    }
    return address;
}

/// Cells that a circle or sphere of diameter 0.8 meets, ascending.
template <int D>
std::vector<QOFAddress<D>> Shell(unsigned int depth)
{
    const long long side = 1LL << depth;
    const double radius = 0.4 * static_cast<double>(side);
    const double center = 0.5 * static_cast<double>(side);
    std::vector<QOFAddress<D>> shell;
    std::array<long long, D> cell{};
    for (long long number = 0; number < 1LL << depth * static_cast<unsigned int>(D); ++number) {
        double nearest = 0;
        double farthest = 0;
        for (std::size_t axis = 0; axis < D; ++axis) {
            cell[axis] = (number >> (axis * depth)) & (side - 1);
            const double low = static_cast<double>(cell[axis]) - center;
            const double high = low + 1;
            nearest += low > 0 ? low * low : high < 0 ? high * high : 0;
            farthest += std::max(low * low, high * high);
        }
        if (nearest <= radius * radius && radius * radius <= farthest) {
            shell.push_back(AddressOf<D>(cell, depth));
        }
    }
    std::sort(shell.begin(), shell.end());
    return shell;
}

template <int D>
void BM_SolidVoxelizationFromLeaves(benchmark::State& state)
{
    const std::vector<QOFAddress<D>> shell = Shell<D>(static_cast<unsigned int>(state.range(0)));
    std::size_t nodes = 0;
    for (auto _ : state) {
        nodes = MaterialTree::SolidVoxelizationFromLeaves<D>(shell, false).size();
        benchmark::DoNotOptimize(nodes);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(nodes));
    state.counters["cells"] = static_cast<double>(shell.size());
    state.counters["nodes"] = static_cast<double>(nodes);
}

/// The completing alone, which is part of it.
template <int D>
void BM_CompleteTree(benchmark::State& state)
{
    const std::vector<QOFAddress<D>> shell = Shell<D>(static_cast<unsigned int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(CompleteTree<D>(shell, true, true).size());
    }
}

BENCHMARK(BM_SolidVoxelizationFromLeaves<2>)
    ->Arg(8)
    ->Arg(10)
    ->Arg(12)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SolidVoxelizationFromLeaves<3>)
    ->Arg(6)
    ->Arg(7)
    ->Arg(8)
    ->Arg(9)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompleteTree<3>)->Arg(6)->Arg(7)->Arg(8)->Arg(9)->Unit(benchmark::kMillisecond);

} // namespace
