// Cells of dual contouring: making them, merging eight of them where a ball's surface passes
// through, the cells around the edges of a grid point, and the whole way of a host from a solid to
// its mesh.

#include <Sorvane/DualContouring_E.h>
#include <Velk/Math/Vector_E.h>

#include "docs/drawings/SampledSolids.h"
#include "docs/drawings/SolidContour.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

using namespace Velk::Math;
using Velk::Math::Sorvane::IsoSurface::DCNode;
using Velk::Math::Sorvane::IsoSurface::GetRelativeSpindleNeighbors;

const DCNode::Cell kUnitCell{{0.5, 0.5, 0.5}, 0.5, 0};

/// Nodes below and with the root, with all leaves at the level.
void BM_SubdivideToLevel(benchmark::State& state)
{
    const auto level = static_cast<unsigned int>(state.range(0));
    std::int64_t nodes = 0;
    for (unsigned int i = 0; i <= level; ++i) {
        nodes += std::int64_t{1} << (3 * i);
    }
    for (auto _ : state) {
        DCNode root(nullptr, kUnitCell, 0);
        root.SubdivideToLevel(level, 1);
        benchmark::DoNotOptimize(root.children.data());
    }
    state.SetItemsProcessed(state.iterations() * nodes);
}

/// Splits the cells that the surface of a ball meets, and samples those of the level.
void RefineBall(DCNode& node, unsigned int level, std::vector<DCNode*>& parents)
{
    const Vec3d center(0.51, 0.49, 0.503);
    constexpr double kRadius = 0.4;
    if (node.GetLevel() == level) {
        node.AllocateDataSpace();
        for (std::size_t k = 0; k < 8; ++k) {
            Vec3d corner = node.center;
            for (int axis = 0; axis < 3; ++axis) {
                corner[axis] += (k >> axis & 1U) != 0 ? node.halfSize : -node.halfSize;
            }
            node.sampleData->sampleValue[k] = Length(corner - center) < kRadius ? -1 : 0;
        }
        return;
    }
    const double gap = Length(node.center - center) - kRadius;
    if (gap * gap > 3 * node.halfSize * node.halfSize) {
        return;
    }
    if (node.GetLevel() + 1 == level) {
        parents.push_back(&node);
    }
    for (int i = 0; i < 8; ++i) {
        RefineBall(*node.EnsureChild(i, 1), level, parents);
    }
}

/// All blocks of eight cells of the level; items are blocks.
void BM_TakeSamplesFromChildren(benchmark::State& state)
{
    DCNode root(nullptr, kUnitCell, 0);
    std::vector<DCNode*> parents;
    RefineBall(root, static_cast<unsigned int>(state.range(0)), parents);
    std::size_t merged = 0;
    for (auto _ : state) {
        merged = 0;
        for (DCNode* parent : parents) {
            merged += parent->TakeSamplesFromChildren() ? 1U : 0U;
        }
        benchmark::DoNotOptimize(merged);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(parents.size()));
    state.counters["merged"] = static_cast<double>(merged);
}

void BM_GetRelativeSpindleNeighbors(benchmark::State& state)
{
    const DCNode cell;
    Vec3d direction;
    int spindle = 0;
    for (auto _ : state) {
        spindle = (spindle + 1) % 6;
        benchmark::DoNotOptimize(GetRelativeSpindleNeighbors(
            &cell, &cell, &cell, &cell, &cell, &cell, &cell, &cell, direction, spindle));
    }
    state.SetItemsProcessed(state.iterations());
}

/// The host of the examples on its flange: sampling, merging, mesh. Items are cells of the finest
/// level.
void BM_ContourSolid(benchmark::State& state)
{
    const auto field = SolidContour::Askew(SolidContour::Flange);
    std::size_t cells = 0;
    for (auto _ : state) {
        SolidContour::Contour contour(field, {{0, 0, 0}, 1, 0},
                                      static_cast<unsigned int>(state.range(0)));
        cells = contour.CellCount();
        contour.Merge(5e-3);
        benchmark::DoNotOptimize(contour.Surface().points.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cells));
}

BENCHMARK(BM_SubdivideToLevel)->DenseRange(4, 6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TakeSamplesFromChildren)->DenseRange(6, 8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetRelativeSpindleNeighbors);
BENCHMARK(BM_ContourSolid)->DenseRange(5, 7)->Unit(benchmark::kMillisecond);

} // namespace
