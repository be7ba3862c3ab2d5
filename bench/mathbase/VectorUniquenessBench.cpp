// Welding triangle soups: how the uniqueness filter grows with the soup on parts that users have
// and on arrangements that are hard for a weld.
//
// Set SORVANE_BENCH_STL to a binary STL file to weld a real part as well (without the reading).

#include <Velk/Math/Vector_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;

template <class T>
using Soup = std::vector<VecBase<3, T>>; // three points a triangle

using Support::Random;

/// Two triangles for each cell of a square grid, rows one after the other, as a mesher writes them.
/// `pointAt(u, v)` takes grid coordinates in [0, 1].
template <class T, class PointAt>
Soup<T> GridSoup(std::int64_t triangles, PointAt&& pointAt)
{
    const int cells = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2)));
    Soup<T> soup;
    soup.reserve(static_cast<std::size_t>(6) * static_cast<std::size_t>(cells * cells));
    for (int row = 0; row < cells; ++row) {
        for (int column = 0; column < cells; ++column) {
            for (const auto& [i, j] : {std::pair(0, 0), {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}}) {
                const VecBase<3, double> p = pointAt(static_cast<double>(column + i) / cells,
                                                     static_cast<double>(row + j) / cells);
                soup.emplace_back(p[0], p[1], p[2]);
            }
        }
    }
    return soup;
}

template <class T>
Soup<T> WavySheet(std::int64_t triangles)
{
    // Turned a little, so that no two points share a coordinate.
    return GridSoup<T>(triangles, [](double u, double v) {
        return VecBase<3, double>{100 * u + 7 * v, 100 * v - 11 * u,
                                  5 * std::sin(9 * u) * std::cos(7 * v)};
    });
}

template <class T>
Soup<T> FlatGrid(std::int64_t triangles)
{
    return GridSoup<T>(triangles, [](double u, double v) {
        return VecBase<3, double>{12.5, 100 * u, 100 * v};
    });
}

template <class T>
Soup<T> AllEqual(std::int64_t triangles)
{
    return Soup<T>(static_cast<std::size_t>(3 * triangles), VecBase<3, T>{1.5, -2, 3});
}

template <class T>
Soup<T> ColumnOfOneX(std::int64_t triangles)
{
    Random random(1);
    Soup<T> soup(static_cast<std::size_t>(3 * triangles));
    for (auto& point : soup) {
        point = {12.5, static_cast<double>(random.Below(static_cast<int>(soup.size() / 3))) / 16, random.Below(2)};
    }
    return soup;
}

/// Faces of a machined part: planes parallel to the axes and cylinders, each a grid in file order.
template <class T>
Soup<T> MachinedPart(std::int64_t triangles)
{
    Soup<T> soup;
    const auto add = [&](const Soup<T>& face) {
        soup.insert(soup.end(), face.begin(), face.end());
    };
    for (int face = 0; face < 10; ++face) {
        const double c = 10.0 * face;
        add(GridSoup<T>(triangles / 20, [&](double u, double v) {
            return VecBase<3, double>{c, 40 * u, 25 * v};
        }));
        add(GridSoup<T>(triangles / 20, [&](double u, double v) {
            return VecBase<3, double>{c + 4 * std::cos(6.283185307179586 * u),
                                      c + 4 * std::sin(6.283185307179586 * u), 25 * v};
        }));
    }
    return soup;
}

/// The flat grid with x as a computation leaves it that should give 0.
template <class T>
Soup<T> NoisyPlane(std::int64_t triangles)
{
    Random random(1);
    return GridSoup<T>(triangles, [&](double u, double v) {
        return VecBase<3, double>{1e-17 * random.Unit(), 100 * u, 100 * v};
    });
}

/// Every corner of the wavy sheet computed anew: six different points for each of the sheet's.
template <class T>
Soup<T> NoisySheet(std::int64_t triangles)
{
    Random random(1);
    Soup<T> soup = WavySheet<T>(triangles);
    for (auto& point : soup) {
        for (T& x : point) {
            x += static_cast<T>(1e-10 * random.Unit());
        }
    }
    return soup;
}

/// Random points of a cube whose mean distance is `spacing` tolerances of 1e-9: all runs together.
template <class T>
Soup<T> Cloud(std::int64_t triangles, double spacing)
{
    Random random(1);
    Soup<T> soup(static_cast<std::size_t>(3 * triangles));
    const double side = spacing * 1e-9 * std::cbrt(static_cast<double>(soup.size()));
    for (auto& point : soup) {
        point = {side * random.Unit(), side * random.Unit(), side * random.Unit()};
    }
    return soup;
}

template <class T>
Soup<T> SparseCloud(std::int64_t triangles)
{
    return Cloud<T>(triangles, 1.5);
}
template <class T>
Soup<T> DenseCloud(std::int64_t triangles)
{
    return Cloud<T>(triangles, 0.5);
}

/// A cubic lattice a little wider than the tolerance, each point three times.
template <class T>
Soup<T> Lattice(std::int64_t triangles)
{
    const int side = static_cast<int>(std::lround(std::cbrt(static_cast<double>(triangles))));
    Soup<T> soup;
    for (int i = 0; i < side * side * side; ++i) {
        const VecBase<3, T> point{1.01e-9 * (i % side), 1.01e-9 * (i / side % side),
                                  1.01e-9 * (i / side / side)};
        soup.insert(soup.end(), 3, point);
    }
    return soup;
}

/// Triangles in random order: what is close in space is nowhere close in the list.
template <class T>
Soup<T> Scattered(Soup<T> soup)
{
    Random random(1);
    for (std::size_t t = soup.size() / 3; t > 1; --t) {
        const std::size_t other = static_cast<std::size_t>(random.Below(static_cast<int>(t)));
        for (std::size_t corner = 0; corner < 3; ++corner) {
            std::swap(soup[3 * (t - 1) + corner], soup[3 * other + corner]);
        }
    }
    return soup;
}

template <class T>
Soup<T> ScatteredSheet(std::int64_t triangles)
{
    return Scattered<T>(WavySheet<T>(triangles));
}

template <class T>
Soup<T> ScatteredGrid(std::int64_t triangles)
{
    return Scattered<T>(FlatGrid<T>(triangles));
}

template <class T>
void Weld(benchmark::State& state, const Soup<T>& soup, double tolerance)
{
    std::size_t survivors = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Soup<T> points = soup;
        state.ResumeTiming();
        const std::vector<int> index =
            Vector::FilterForUniquenessAndIndex(points, static_cast<T>(tolerance));
        benchmark::DoNotOptimize(index.data());
        survivors = points.size();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(soup.size() / 3));
    state.SetComplexityN(static_cast<std::int64_t>(soup.size() / 3));
    state.counters["points"] = static_cast<double>(soup.size());
    state.counters["survivors"] = static_cast<double>(survivors);
}

template <class T, Soup<T> (*MakeSoup)(std::int64_t)>
void BM_Weld(benchmark::State& state)
{
    Weld<T>(state, MakeSoup(state.range(0)), 1e-9);
}

// The last but one size is that of the reference part.
#define SORVANE_WELD(T, arrangement)        \
    BENCHMARK(BM_Weld<T, arrangement<T>>)   \
        ->Name("Weld/" #arrangement "/" #T) \
        ->Arg(10'000)                       \
        ->Arg(100'000)                      \
        ->Arg(460'000)                      \
        ->Arg(1'000'000)                    \
        ->Unit(benchmark::kMillisecond)     \
        ->Complexity()                      \
        ->UseRealTime()
SORVANE_WELD(double, WavySheet);
SORVANE_WELD(float, WavySheet);
SORVANE_WELD(double, FlatGrid);
SORVANE_WELD(float, FlatGrid);
SORVANE_WELD(double, AllEqual);
SORVANE_WELD(double, ColumnOfOneX);
SORVANE_WELD(double, MachinedPart);
SORVANE_WELD(double, ScatteredSheet);
SORVANE_WELD(double, ScatteredGrid);
SORVANE_WELD(double, NoisyPlane);
SORVANE_WELD(double, NoisySheet);
SORVANE_WELD(double, SparseCloud);
SORVANE_WELD(double, DenseCloud);
SORVANE_WELD(double, Lattice);
#undef SORVANE_WELD

/// The few points that most callers filter: what a call costs by itself.
void BM_FewPoints(benchmark::State& state)
{
    const Soup<double> soup = WavySheet<double>(std::max<std::int64_t>(state.range(0) / 3, 2));
    for (auto _ : state) {
        Soup<double> points = soup;
        Vector::FilterForUniqueness(points, 1e-12);
        benchmark::DoNotOptimize(points.data());
    }
    state.counters["points"] = static_cast<double>(soup.size());
}
BENCHMARK(BM_FewPoints)->Arg(6)->Arg(100)->Arg(1000);

template <class T>
void WeldFile(benchmark::State& state, double tolerance)
{
    const Soup<T> soup = Bench::NamedCorners<T>();
    if (soup.empty()) {
        state.SkipWithError("SORVANE_BENCH_STL names no binary STL file");
        return;
    }
    Weld<T>(state, soup, tolerance);
}

void BM_WeldFileDouble(benchmark::State& state, double tolerance)
{
    WeldFile<double>(state, tolerance);
}

void BM_WeldFileFloat(benchmark::State& state, double tolerance)
{
    WeldFile<float>(state, tolerance);
}

#define SORVANE_WELD_FILE(function, name, tolerance) \
    BENCHMARK_CAPTURE(function, name, tolerance)->Unit(benchmark::kMillisecond)->UseRealTime()
SORVANE_WELD_FILE(BM_WeldFileDouble, tolerance_1em9, 1e-9);
SORVANE_WELD_FILE(BM_WeldFileDouble, tolerance_0, 0.0);
SORVANE_WELD_FILE(BM_WeldFileDouble, tolerance_1em3, 1e-3);
SORVANE_WELD_FILE(BM_WeldFileDouble, tolerance_1em1, 0.1);
SORVANE_WELD_FILE(BM_WeldFileFloat, tolerance_0, 0.0);
SORVANE_WELD_FILE(BM_WeldFileFloat, tolerance_1em9, 1e-9);
#undef SORVANE_WELD_FILE

} // namespace
