// Isotropic remeshing beside CGAL's: the same mesh, the same length, five iterations. The mesh is a
// wavy sheet; SORVANE_BENCH_STL names another, SORVANE_BENCH_LENGTH a length other than the mean
// edge, and SORVANE_BENCH_ANGLE the degrees from which edges are features, here and there (60
// otherwise; 180 is none). There features are constrained, but may collapse along themselves: with
// features protected that library does not end on CAD parts.

#include "bench/support/Meshes.h"

#include <Sorvane/Remesh_E.h>

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/detect_features.h>
#include <CGAL/Polygon_mesh_processing/remesh.h>
#include <CGAL/Surface_mesh.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr unsigned kIterations = 5;

struct Input {
    Bench::IndexedMesh mesh;
    double length = 0;
    double angle = 60;
};

double Number(const char* name, double otherwise)
{
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::atof(text);
}

double MeanEdge(const Bench::IndexedMesh& mesh)
{
    std::map<std::pair<int, int>, double> lengths;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const int a = mesh.indices[i];
        const int b = mesh.indices[i / 3 * 3 + (i + 1) % 3];
        lengths[std::minmax(a, b)] = Vector::Length(mesh.points[static_cast<std::size_t>(a)] -
                                                    mesh.points[static_cast<std::size_t>(b)]);
    }
    double sum = 0;
    for (const auto& [edge, length] : lengths) {
        sum += length;
    }
    return sum / static_cast<double>(lengths.size());
}

Input TheInput()
{
    Input input;
    if (const char* file = std::getenv("SORVANE_BENCH_STL")) {
        input.mesh = Support::WeldedStl<double>(file);
    }
    if (input.mesh.indices.empty()) {
        input.mesh = Bench::WavySheet(100'000);
    }
    input.length = Number("SORVANE_BENCH_LENGTH", MeanEdge(input.mesh));
    input.angle = Number("SORVANE_BENCH_ANGLE", input.angle);
    return input;
}

void BM_Sorvane(benchmark::State& state)
{
    const Input input = TheInput();
    Bench::IndexedMesh out;
    for (auto _ : state) {
        Mesh::IsotropicRemesh(input.mesh, out, input.angle, input.length, kIterations, true);
    }
    state.counters["out"] = static_cast<double>(out.indices.size() / 3);
}

void BM_Cgal(benchmark::State& state)
{
    using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
    using Surface = CGAL::Surface_mesh<Kernel::Point_3>;
    namespace Pmp = CGAL::Polygon_mesh_processing;
    const Input input = TheInput();
    Surface source;
    for (const Vec3d& p : input.mesh.points) {
        source.add_vertex({p[0], p[1], p[2]});
    }
    for (std::size_t i = 0; i < input.mesh.indices.size(); i += 3) {
        const auto vertex = [&](std::size_t k) {
            return Surface::Vertex_index(
                static_cast<Surface::size_type>(input.mesh.indices[i + k]));
        };
        source.add_face(vertex(0), vertex(1), vertex(2));
    }
    std::size_t triangles = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Surface mesh = source;
        auto features = mesh.add_property_map<Surface::Edge_index, bool>("e:feature", false).first;
        if (input.angle < 180) {
            Pmp::detect_sharp_edges(mesh, input.angle, features);
        }
        state.ResumeTiming();
        Pmp::isotropic_remeshing(
            faces(mesh), input.length, mesh,
            Pmp::parameters::number_of_iterations(kIterations).edge_is_constrained_map(features));
        triangles = mesh.number_of_faces();
    }
    state.counters["out"] = static_cast<double>(triangles);
}

BENCHMARK(BM_Sorvane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Cgal)->Unit(benchmark::kMillisecond);

} // namespace
