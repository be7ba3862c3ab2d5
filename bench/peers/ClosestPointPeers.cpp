// The nearest triangle beside CGAL's tree of boxes: both built over the same triangles and asked
// for the same hundred thousand points uniform in the box, building included. The mesh is a wavy
// sheet; SORVANE_BENCH_STL names another.

#include "bench/support/Meshes.h"

#include <Sorvane/TriangleTree_E.h>

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Simple_cartesian.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr int kPoints = 100'000;

struct Input {
    Bench::IndexedMesh mesh;
    std::vector<Vec3d> points;
};

Input InputOf(benchmark::State& state)
{
    Input input;
    input.mesh = Bench::NamedMesh();
    if (input.mesh.indices.empty()) {
        input.mesh = Bench::WavySheet(state.range(0));
    }
    input.points = Bench::PointsInBox(input.mesh, kPoints);
    state.counters["triangles"] = static_cast<double>(input.mesh.indices.size() / 3);
    return input;
}

void BM_Sorvane(benchmark::State& state)
{
    const Input input = InputOf(state);
    double sum = 0;
    for (auto _ : state) {
        const Tree::QOFTriangleTree<3, double> tree(input.mesh.points, input.mesh.indices);
        sum = 0;
        const auto closest =
            tree.ClosestPoints(input.points, 4 * tree.RootHalfSize(), {});
        for (std::size_t i = 0; i < closest.size(); ++i) {
            sum += Vector::Length(closest[i].point - input.points[i]);
        }
    }
    state.counters["mean"] = sum / kPoints;
}

void BM_Cgal(benchmark::State& state)
{
    using Kernel = CGAL::Simple_cartesian<double>;
    using Triangles = std::vector<Kernel::Triangle_3>;
    using Primitive = CGAL::AABB_triangle_primitive<Kernel, Triangles::const_iterator>;
    using CgalTree = CGAL::AABB_tree<CGAL::AABB_traits<Kernel, Primitive>>;
    const Input input = InputOf(state);
    double sum = 0;
    for (auto _ : state) {
        Triangles triangles;
        const auto corner = [&](std::size_t k) {
            const Vec3d& p = input.mesh.points[static_cast<std::size_t>(input.mesh.indices[k])];
            return Kernel::Point_3(p[0], p[1], p[2]);
        };
        for (std::size_t k = 0; k + 2 < input.mesh.indices.size(); k += 3) {
            triangles.emplace_back(corner(k), corner(k + 1), corner(k + 2));
        }
        CgalTree tree(triangles.cbegin(), triangles.cend());
        tree.accelerate_distance_queries();
        sum = 0;
        for (const Vec3d& p : input.points) {
            sum += std::sqrt(tree.squared_distance(Kernel::Point_3(p[0], p[1], p[2])));
        }
    }
    state.counters["mean"] = sum / kPoints;
}

#define SORVANE_SIZES(function) \
    BENCHMARK(function)->Arg(10'000)->Arg(246'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)
SORVANE_SIZES(BM_Sorvane);
SORVANE_SIZES(BM_Cgal);
#undef SORVANE_SIZES

} // namespace
