// Surfaces into closed curves, bodies over profiles, and groups of facets, of growing size. Items
// are points of the curve or profile, or facets.

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/Triangle_E.h>

#include "bench/support/Meshes.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Bench::IndexedMesh;

using Curve = std::vector<Vec3d>;

/// A wavy rim, simple in every projection from above.
Curve Rim(std::int64_t count)
{
    Curve curve;
    for (std::int64_t i = 0; i < count; ++i) {
        const double t = kTwoPi<double> * static_cast<double>(i) / static_cast<double>(count);
        const double r = 10 + std::sin(9 * t);
        curve.push_back({r * std::cos(t), r * std::sin(t), std::cos(4 * t)});
    }
    curve.push_back(curve.front());
    return curve;
}

/// A rim that crosses itself five times as seen from above.
Curve Knot(std::int64_t count)
{
    Curve curve;
    for (std::int64_t i = 0; i < count; ++i) {
        const double t =
            2 * kTwoPi<double> * (static_cast<double>(i) + 0.3) / static_cast<double>(count);
        const double r = 10 + 4 * std::cos(2.5 * t);
        curve.push_back({r * std::cos(t), r * std::sin(t), 3 * std::sin(2.5 * t)});
    }
    curve.push_back(curve.front());
    return curve;
}

/// Long teeth side by side, turned against the axes: every box of one meets those of many others.
Curve Teeth(std::int64_t count)
{
    Curve curve;
    const double c = std::cos(0.7);
    const double s = std::sin(0.7);
    const auto add = [&](double x, double y) {
        curve.push_back({c * x - s * y, s * x + c * y, 0});
    };
    for (std::int64_t i = 0; i < count / 2; ++i) {
        add(static_cast<double>(i), 1);
        add(static_cast<double>(i) + 0.5, static_cast<double>(count));
    }
    add(static_cast<double>(count) / 2, 0);
    add(0, 0);
    curve.push_back(curve.front());
    return curve;
}

void Layout(benchmark::State& state, const Curve& curve)
{
    for (auto _ : state) {
        if (MeshUtils::Map3DClosedCurveToPlane(curve).empty()) {
            state.SkipWithError("no layout");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(curve.size()));
}

void BM_LayoutOfRim(benchmark::State& state) { Layout(state, Rim(state.range(0))); }
void BM_LayoutOfKnot(benchmark::State& state) { Layout(state, Knot(state.range(0))); }
void BM_LayoutOfTeeth(benchmark::State& state) { Layout(state, Teeth(state.range(0))); }

void BM_SurfaceIntoRim(benchmark::State& state)
{
    const Curve curve = Rim(state.range(0));
    std::size_t triangles = 0;
    for (auto _ : state) {
        triangles = MeshUtils::TessellatePointStream(curve).indices.size() / 3;
    }
    state.counters["triangles"] = static_cast<double>(triangles);
}

/// Three circles over a wavy sheet, about a step for each row of triangles.
void BM_EmbedPolylines(benchmark::State& state)
{
    const IndexedMesh mesh = Bench::WavySheet(state.range(0));
    std::vector<Curve> circles;
    for (const double x : {35.0, 50.0, 65.0}) {
        circles.emplace_back();
        for (int i = 0; i <= 90; ++i) {
            const double t = kTwoPi<double> * (i % 90) / 90;
            circles.back().push_back({x + 30 * std::cos(t), 50 + 30 * std::sin(t), 0});
        }
    }
    const double step = 100 / std::sqrt(static_cast<double>(state.range(0)) / 2);
    std::size_t nodes = 0;
    for (auto _ : state) {
        IndexedMesh cut = mesh;
        nodes = 0;
        for (const auto& list : MeshUtils::EmbedPolylines(cut, circles, 1e-9, step)) {
            nodes += list.size();
        }
    }
    state.counters["nodes"] = static_cast<double>(nodes);
}

void BM_ExtrudedBody(benchmark::State& state)
{
    std::vector<Vec2d> profile;
    for (const Vec3d& p : Rim(state.range(0))) {
        profile.emplace_back(p.x(), p.y());
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::CreateExtrudedBodyFromProfile(profile, 0.0, 5.0, 10U));
    }
}

void BM_ColorFacets(benchmark::State& state)
{
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace> mesh;
    mesh.LoadIndexedPoints(Bench::WavySheet(state.range(0)));
    unsigned count = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::ColorFacets(mesh, count));
    }
    state.counters["colors"] = count;
}

/// Directions all over the sphere, the hardest case: nothing to find.
void NormalsOfSphere(benchmark::State& state, double resolution)
{
    const std::int64_t count = state.range(0);
    std::vector<Vec3d> normals;
    for (std::int64_t i = 0; i < count; ++i) {
        const double z = 1 - (2 * static_cast<double>(i) + 1) / static_cast<double>(count);
        const double a = 2.399963229728653 * static_cast<double>(i);
        const double r = std::sqrt(1 - z * z);
        normals.push_back({r * std::cos(a), r * std::sin(a), z});
    }
    int groups = 0;
    for (auto _ : state) {
        groups = 0;
        for (const int group : MeshUtils::RepresentativeNormalGrouping(normals, resolution)) {
            groups = std::max(groups, group + 1);
        }
    }
    state.counters["groups"] = groups;
}
void BM_NormalsCoarse(benchmark::State& state) { NormalsOfSphere(state, 0.3); }
void BM_NormalsFine(benchmark::State& state) { NormalsOfSphere(state, 0.03); }

/// A wavy sheet, whose directions lie in a band.
void BM_NormalsOfSheet(benchmark::State& state)
{
    const IndexedMesh mesh = Bench::WavySheet(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(MeshUtils::RepresentativeNormalGrouping(mesh, 0.1));
    }
}

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
}
void SmallSizes(benchmark::internal::Benchmark* bench)
{
    bench->Arg(100)->Arg(300)->Arg(1'000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_LayoutOfRim)->Apply(Sizes);
BENCHMARK(BM_LayoutOfKnot)->Apply(Sizes);
BENCHMARK(BM_LayoutOfTeeth)->Apply(Sizes);
BENCHMARK(BM_SurfaceIntoRim)->Apply(SmallSizes);
BENCHMARK(BM_EmbedPolylines)->Apply(Sizes);
BENCHMARK(BM_ExtrudedBody)->Apply(Sizes);
BENCHMARK(BM_ColorFacets)->Apply(Sizes);
BENCHMARK(BM_NormalsCoarse)->Apply(Sizes);
BENCHMARK(BM_NormalsFine)->Apply(Sizes);
BENCHMARK(BM_NormalsOfSheet)->Apply(Sizes);

} // namespace
