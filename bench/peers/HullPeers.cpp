// The hull in the plane and smallest enclosing balls side by side with Qhull and CGAL, on the same
// seeded points. CPU time is that of all threads together. Each loop starts from a plain array of
// points and ends with the vertices in order, or with the ball. Only what is installed is compiled
// in.

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Vector_E.h>

#include "bench/support/Points.h"

#include <benchmark/benchmark.h>

#ifdef SORVANE_HAVE_QHULL
extern "C" {
#include <libqhull_r/qhull_ra.h>
}
#endif
#ifdef SORVANE_HAVE_CGAL
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Min_sphere_of_points_d_traits_2.h>
#include <CGAL/Min_sphere_of_points_d_traits_3.h>
#include <CGAL/Min_sphere_of_spheres_d.h>
#include <CGAL/convex_hull_2.h>
#endif

#include <cstdint>
#include <iterator>
#include <tuple>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Bounding = Sorvane::Bounding;

enum class Shape { Inside, Cospherical };

template <int D>
std::vector<VecBase<D, double>> MakePoints(Shape shape, std::int64_t count)
{
    return shape == Shape::Inside ? Bench::PointsInBall<D, double>(count)
                                  : Bench::PointsOnSphere<D, double>(count);
}

template <Shape S>
void BM_HullSorvane(benchmark::State& state)
{
    const auto points = MakePoints<2>(S, state.range(0));
    for (auto _ : state) {
        const auto hull = Bounding::ConvexHull(points, false);
        state.counters["vertices"] = static_cast<double>(hull.size());
        benchmark::DoNotOptimize(hull.data());
    }
}

template <int D, Shape S>
void BM_BallSorvane(benchmark::State& state)
{
    const auto points = MakePoints<D>(S, state.range(0));
    for (auto _ : state) {
        Bounding::BoundingBall<D, double> ball;
        if constexpr (D == 2) {
            ball = Bounding::BoundingCircleOfPoints(points, false);
        } else {
            ball = Bounding::BoundingSphereOfPoints(points, false);
        }
        state.counters["radius"] = ball.radius;
        benchmark::DoNotOptimize(ball);
    }
}

#ifdef SORVANE_HAVE_QHULL
template <Shape S>
void BM_HullQhull(benchmark::State& state)
{
    auto points = MakePoints<2>(S, state.range(0));
    for (auto _ : state) {
        qhT memory;
        qhT* const qh = &memory;
        qh_zero(qh, nullptr);
        char command[] = "qhull Qt";
        if (qh_new_qhull(qh, 2, static_cast<int>(points.size()), points[0].data(), 0, command,
                         nullptr, nullptr) != 0) {
            state.SkipWithError("Qhull failed");
        }
        std::vector<VecBase<2, double>> hull; // in order, as the others have it
        facetT* const first = qh->facet_list;
        facetT* facet = first;
        do {
            vertexT* vertex = nullptr;
            facet = qh_nextfacet2d(facet, &vertex);
            hull.emplace_back(vertex->point[0], vertex->point[1]);
        } while (facet != first);
        state.counters["vertices"] = static_cast<double>(hull.size());
        benchmark::DoNotOptimize(hull.data());
        qh_freeqhull(qh, qh_ALL);
    }
}
#endif

#ifdef SORVANE_HAVE_CGAL
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;

template <Shape S>
void BM_HullCgal(benchmark::State& state)
{
    std::vector<Kernel::Point_2> points;
    for (const auto& p : MakePoints<2>(S, state.range(0))) {
        points.emplace_back(p[0], p[1]);
    }
    for (auto _ : state) {
        std::vector<Kernel::Point_2> hull;
        CGAL::convex_hull_2(points.begin(), points.end(), std::back_inserter(hull));
        state.counters["vertices"] = static_cast<double>(hull.size());
        benchmark::DoNotOptimize(hull.data());
    }
}

template <int D, Shape S>
void BM_BallCgal(benchmark::State& state)
{
    using Traits = std::conditional_t<D == 2, CGAL::Min_sphere_of_points_d_traits_2<Kernel, double>,
                                      CGAL::Min_sphere_of_points_d_traits_3<Kernel, double>>;
    std::vector<typename Traits::Point> points;
    for (const auto& p : MakePoints<D>(S, state.range(0))) {
        if constexpr (D == 2) {
            points.emplace_back(p[0], p[1]);
        } else {
            points.emplace_back(p[0], p[1], p[2]);
        }
    }
    for (auto _ : state) {
        CGAL::Min_sphere_of_spheres_d<Traits> ball(points.begin(), points.end());
        state.counters["radius"] = ball.radius();
        benchmark::DoNotOptimize(ball);
    }
}
#endif

#define SORVANE_SIZES                   \
    ->RangeMultiplier(10)               \
        ->Range(10'000, 1'000'000)      \
        ->Unit(benchmark::kMillisecond) \
        ->MeasureProcessCPUTime()
BENCHMARK(BM_HullSorvane<Shape::Inside>) SORVANE_SIZES;
BENCHMARK(BM_HullSorvane<Shape::Cospherical>) SORVANE_SIZES;
BENCHMARK(BM_BallSorvane<2, Shape::Inside>) SORVANE_SIZES;
BENCHMARK(BM_BallSorvane<2, Shape::Cospherical>) SORVANE_SIZES;
BENCHMARK(BM_BallSorvane<3, Shape::Inside>) SORVANE_SIZES;
BENCHMARK(BM_BallSorvane<3, Shape::Cospherical>) SORVANE_SIZES;
#ifdef SORVANE_HAVE_QHULL
BENCHMARK(BM_HullQhull<Shape::Inside>) SORVANE_SIZES;
BENCHMARK(BM_HullQhull<Shape::Cospherical>) SORVANE_SIZES;
#endif
#ifdef SORVANE_HAVE_CGAL
BENCHMARK(BM_HullCgal<Shape::Inside>) SORVANE_SIZES;
BENCHMARK(BM_HullCgal<Shape::Cospherical>) SORVANE_SIZES;
BENCHMARK(BM_BallCgal<2, Shape::Inside>) SORVANE_SIZES;
BENCHMARK(BM_BallCgal<2, Shape::Cospherical>) SORVANE_SIZES;
BENCHMARK(BM_BallCgal<3, Shape::Inside>) SORVANE_SIZES;
BENCHMARK(BM_BallCgal<3, Shape::Cospherical>) SORVANE_SIZES;
#endif

} // namespace
