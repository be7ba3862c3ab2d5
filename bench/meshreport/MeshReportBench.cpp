// The mesh report, weld included, and the gap check, for 10^4 to 10^6 triangles of a sphere of two
// patches that do not quite meet.

#include <Sorvane/MeshReport_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::MeshUtils;

struct Part {
    std::vector<Vec3d> points;
    std::vector<int> indices;

    /// `rows` x `columns` squares of two triangles over a band of the unit sphere, closed around.
    void AddBand(double fromLatitude, double toLatitude, int rows, int columns)
    {
        const int base = static_cast<int>(points.size());
        for (int row = 0; row <= rows; ++row) {
            const double latitude = fromLatitude + (toLatitude - fromLatitude) * row / rows;
            for (int column = 0; column < columns; ++column) {
                const double a = kTwoPi<double> * column / columns;
                points.push_back({std::cos(latitude) * std::cos(a),
                                  std::cos(latitude) * std::sin(a), std::sin(latitude)});
            }
        }
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                const int a = base + row * columns + column;
                const int b = base + row * columns + (column + 1) % columns;
                indices.insert(indices.end(), {a, b, b + columns, a, b + columns, a + columns});
            }
        }
    }
};

Part TwoBands(std::int64_t triangleCount)
{
    const auto width = static_cast<int>(std::sqrt(static_cast<double>(triangleCount) / 4));
    Part part;
    part.AddBand(-1.5, -0.001, width, width);
    part.AddBand(0.001, 1.5, width, width);
    return part;
}

template <class T>
void BM_CheckMesh(benchmark::State& state)
{
    const Part part = TwoBands(state.range(0));
    std::vector<std::array<VecBase<3, T>, 3>> soup;
    for (std::size_t i = 0; i < part.indices.size(); i += 3) {
        std::array<VecBase<3, T>, 3> triangle;
        for (std::size_t k = 0; k < 3; ++k) {
            triangle[k] = VecBase<3, T>(part.points[static_cast<std::size_t>(part.indices[i + k])]);
        }
        soup.push_back(triangle);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(CheckMesh(soup, T(1e-7)));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(soup.size()));
}
BENCHMARK(BM_CheckMesh<double>)
    ->RangeMultiplier(10)
    ->Range(10'000, 1'000'000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckMesh<float>)
    ->RangeMultiplier(10)
    ->Range(10'000, 1'000'000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_CheckGaps(benchmark::State& state)
{
    const Part part = TwoBands(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(CheckGaps(part.points, part.indices));
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(part.indices.size() / 3));
}
BENCHMARK(BM_CheckGaps)
    ->RangeMultiplier(10)
    ->Range(10'000, 1'000'000)
    ->Unit(benchmark::kMillisecond);

/// Nothing but boundary: thin strips beside each other, as many boundary points as triangles.
void BM_CheckGapsOfStrips(benchmark::State& state)
{
    constexpr int kStrips = 10;
    Part part;
    const int length = static_cast<int>(state.range(0)) / (2 * kStrips);
    for (int strip = 0; strip < kStrips; ++strip) {
        part.AddBand(0.1 * strip, 0.1 * strip + 0.05 + 0.001 * strip, 1, length);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(CheckGaps(part.points, part.indices));
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(part.indices.size() / 3));
}
BENCHMARK(BM_CheckGapsOfStrips)
    ->RangeMultiplier(10)
    ->Range(10'000, 1'000'000)
    ->Unit(benchmark::kMillisecond);

/// A soup that was never welded: every triangle is a component of its own.
void BM_CheckGapsOfSoup(benchmark::State& state)
{
    const Part part = TwoBands(state.range(0));
    std::vector<Vec3d> points;
    std::vector<int> indices;
    for (const int i : part.indices) {
        indices.push_back(static_cast<int>(points.size()));
        points.push_back(part.points[static_cast<std::size_t>(i)]);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(CheckGaps(points, indices));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(indices.size() / 3));
}
BENCHMARK(BM_CheckGapsOfSoup)
    ->RangeMultiplier(10)
    ->Range(10'000, 1'000'000)
    ->Unit(benchmark::kMillisecond);

} // namespace
