// Points with constraints beside CGAL's constrained Delaunay triangulation: the same points and
// strokes. Both take raw input: ours also snaps points to strokes, cuts strokes where they cross
// and makes points unique, CGAL sorts the points for its insertion.

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Sorvane/Tessellation_E.h>

#include "bench/support/ConstraintSets.h"

#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <benchmark/benchmark.h>

namespace {

using namespace Velk::Math::Sorvane;
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;

void Ours(benchmark::State& state)
{
    const Bench::ConstraintSet set = Bench::MakeConstraintSet(static_cast<int>(state.range(0)));
    std::size_t triangles = 0;
    for (auto _ : state) {
        const auto mesh = Mesh::TessellateFlatBoundaries(set.boundaries, set.points, 1e-6);
        triangles = mesh.indices.size() / 3;
    }
    state.counters["triangles"] = static_cast<double>(triangles);
}

/// The insertion of the points alone.
void OursTriangulate(benchmark::State& state)
{
    const Bench::ConstraintSet set = Bench::MakeConstraintSet(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        HalfEdge::DelaunayMesher<HalfEdge::DelaunayNode<double>, HalfEdge::DelaunayEdge,
                                 HalfEdge::DelaunayFacet>
            mesher;
        mesher.points = set.points;
        benchmark::DoNotOptimize(mesher.Triangulate());
    }
}

void Cgal(benchmark::State& state)
{
    const Bench::ConstraintSet set = Bench::MakeConstraintSet(static_cast<int>(state.range(0)));
    std::size_t triangles = 0;
    for (auto _ : state) {
        std::vector<Kernel::Point_2> points;
        for (const auto& p : set.points) {
            points.emplace_back(p.x(), p.y());
        }
        std::vector<std::pair<std::size_t, std::size_t>> constraints;
        for (const auto& boundary : set.boundaries) {
            const std::size_t first = points.size();
            for (const auto& p : boundary) {
                points.emplace_back(p.x(), p.y());
            }
            for (std::size_t i = 0; i + (boundary.size() > 2 ? 0 : 1) < boundary.size(); ++i) {
                constraints.emplace_back(first + i, first + (i + 1) % boundary.size());
            }
        }
        CGAL::Constrained_Delaunay_triangulation_2<Kernel> triangulation;
        triangulation.insert_constraints(points.begin(), points.end(), constraints.begin(),
                                         constraints.end());
        triangles = triangulation.number_of_faces();
    }
    state.counters["triangles"] = static_cast<double>(triangles);
}

void CgalPoints(benchmark::State& state)
{
    const Bench::ConstraintSet set = Bench::MakeConstraintSet(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::vector<Kernel::Point_2> points;
        for (const auto& p : set.points) {
            points.emplace_back(p.x(), p.y());
        }
        CGAL::Constrained_Delaunay_triangulation_2<Kernel> triangulation;
        benchmark::DoNotOptimize(triangulation.insert(points.begin(), points.end()));
    }
}

BENCHMARK(Ours)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(Cgal)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(OursTriangulate)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(CgalPoints)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);

} // namespace
