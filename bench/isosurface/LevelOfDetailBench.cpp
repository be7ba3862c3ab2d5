// Masks of patches cut by a wavy line, at three levels and in all styles.

#include <Sorvane/LevelOfDetail_E.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::LOD::NodeMask;
namespace LOD = Sorvane::Mesh::LOD;

/// Patches whose region ends at a line that crosses them here and there.
std::vector<NodeMask> Masks(unsigned int level)
{
    std::vector<NodeMask> masks;
    const std::vector<Vec2d> uv = LOD::TriangleUVs(level);
    for (int i = 0; i < 256; ++i) {
        std::vector<bool> inside;
        for (const Vec2d& p : uv) {
            inside.push_back(p.x() + 0.3 * std::sin(7 * p.y() + i) < 0.1 + 0.003 * i);
        }
        masks.emplace_back(level, inside);
    }
    return masks;
}

void BM_TessellateAll(benchmark::State& state)
{
    const std::vector<NodeMask> masks = Masks(static_cast<unsigned int>(state.range(0)));
    const auto style = static_cast<NodeMask::TessellationStyle>(state.range(1));
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(masks[next].TessellateAll(style));
        next = (next + 1) % masks.size();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Tessellate(benchmark::State& state)
{
    const std::vector<NodeMask> masks = Masks(static_cast<unsigned int>(state.range(0)));
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(masks[next].Tessellate(NodeMask::Midpoints));
        next = (next + 1) % masks.size();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_TessellateConflicts(benchmark::State& state)
{
    const std::vector<NodeMask> masks = Masks(static_cast<unsigned int>(state.range(0)));
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(masks[next].TessellateConflicts());
        next = (next + 1) % masks.size();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_TessellateAll)->ArgsProduct({{0, 3, 7}, {0, 1, 2}})->ArgNames({"level", "style"});
BENCHMARK(BM_Tessellate)->Arg(0)->Arg(3)->Arg(7);
BENCHMARK(BM_TessellateConflicts)->Arg(0)->Arg(3)->Arg(7);

} // namespace
