// The union of overlapping stars by Boost.Polygon, beside the library's own.

#include <Sorvane/PlanarRegions_E.h>

#include "bench/support/OverlappingStars.h"
#include "planar/GridPolygons_Impl.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

void BM_Sorvane(benchmark::State& state)
{
    const auto loops = Support::OverlappingStars(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Planar::Union<double>(loops, nullptr));
    }
}
BENCHMARK(BM_Sorvane)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

/// Coordinates of the same 30 bits, all polygons in one set.
void BM_BoostPolygon(benchmark::State& state)
{
    namespace bp = boost::polygon;
    const auto loops = Support::OverlappingStars(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        bp::polygon_set_data<long long> set;
        for (const auto& loop : loops) {
            std::vector<bp::point_data<long long>> points;
            for (const Vec2d& p : loop) {
                points.push_back({static_cast<long long>(p.x() * 0x1p23),
                                  static_cast<long long>(p.y() * 0x1p23)});
            }
            set.insert_vertex_sequence(points.begin(), points.end(), bp::COUNTERCLOCKWISE, false);
        }
        std::vector<bp::polygon_with_holes_data<long long>> polygons;
        set.get(polygons);
        benchmark::DoNotOptimize(polygons);
    }
}
BENCHMARK(BM_BoostPolygon)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
