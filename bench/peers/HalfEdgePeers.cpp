// The half-edge mesh beside OpenMesh and CGAL's Surface_mesh: the same inputs, the same edits on
// the same edges, positions in double. Items are triangles for building and edits or nodes for the
// rest.
//
// Sorvane's mesh keeps a table of node pairs through all of it, which the others do without.

#include <Sorvane/HalfEdgeMesh_E.h>

#include "bench/support/Meshes.h"

#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/boost/graph/Euler_operations.h>
#include <CGAL/boost/graph/iterator.h>
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>

#include <benchmark/benchmark.h>

namespace {

struct DoubleTraits : OpenMesh::DefaultTraits {
    using Point = OpenMesh::Vec3d;
    using Normal = OpenMesh::Vec3d;
};

// One interface over the three. `Vertex`, `Edge` are numbers; an edge is named by its two ends.
struct Ours {
    using Mesh = Velk::Math::Sorvane::HalfEdge::TriangleMesh<
        Velk::Math::Sorvane::HalfEdge::HVertex<3, double>, Velk::Math::Sorvane::HalfEdge::HEdge,
        Velk::Math::Sorvane::HalfEdge::HFace>;
    static void Build(Mesh& mesh, const Bench::IndexedMesh& input)
    {
        mesh.LoadIndexedPoints(input);
    }
    static std::size_t Edges(const Mesh& mesh)
    {
        return static_cast<std::size_t>(mesh.EdgeCount() / 2);
    }
    static bool Flip(Mesh& mesh, std::size_t edge)
    {
        const int e = static_cast<int>(2 * edge);
        const auto [a, b, c, d] = mesh.Diamond(e);
        return mesh.FindEdge(c, d) < 0 && mesh.FlipEdge(e, true);
    }
    static bool Split(Mesh& mesh, std::size_t edge)
    {
        int node = 0;
        return mesh.SplitEdge(static_cast<int>(2 * edge), node, true, false);
    }
    static bool Collapse(Mesh& mesh, std::size_t edge)
    {
        return mesh.CollapseEdge(static_cast<int>(2 * edge), true, false);
    }
    static std::size_t Rings(const Mesh& mesh)
    {
        std::size_t sum = 0;
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            mesh.VisitNodeNodes(n,
                                [&](int neighbor) { sum += static_cast<std::size_t>(neighbor); });
        }
        return sum;
    }
};

struct Open {
    using Mesh = OpenMesh::TriMesh_ArrayKernelT<DoubleTraits>;
    static void Build(Mesh& mesh, const Bench::IndexedMesh& input)
    {
        mesh.request_vertex_status();
        mesh.request_edge_status();
        mesh.request_halfedge_status();
        mesh.request_face_status();
        mesh.reserve(input.points.size(), input.indices.size() / 2 + 4096,
                     input.indices.size() / 3);
        for (const auto& p : input.points) {
            mesh.add_vertex({p.x(), p.y(), p.z()});
        }
        for (std::size_t i = 0; i < input.indices.size(); i += 3) {
            mesh.add_face(OpenMesh::VertexHandle(input.indices[i]),
                          OpenMesh::VertexHandle(input.indices[i + 1]),
                          OpenMesh::VertexHandle(input.indices[i + 2]));
        }
    }
    static std::size_t Edges(const Mesh& mesh) { return mesh.n_edges(); }
    static bool Flip(Mesh& mesh, std::size_t edge)
    {
        const OpenMesh::EdgeHandle e(static_cast<int>(edge));
        if (!mesh.is_flip_ok(e)) {
            return false;
        }
        mesh.flip(e);
        return true;
    }
    static bool Split(Mesh& mesh, std::size_t edge)
    {
        const OpenMesh::EdgeHandle e(static_cast<int>(edge));
        if (mesh.is_boundary(e)) {
            return false;
        }
        mesh.split(e, OpenMesh::Vec3d(0, 0, 0));
        return true;
    }
    static bool Collapse(Mesh& mesh, std::size_t edge)
    {
        const OpenMesh::EdgeHandle e(static_cast<int>(edge));
        if (mesh.status(e).deleted()) {
            return false;
        }
        const auto h = mesh.halfedge_handle(e, 1);
        if (mesh.is_boundary(mesh.to_vertex_handle(h)) ||
            mesh.is_boundary(mesh.from_vertex_handle(h)) || !mesh.is_collapse_ok(h)) {
            return false;
        }
        mesh.collapse(h);
        return true;
    }
    static std::size_t Rings(const Mesh& mesh)
    {
        std::size_t sum = 0;
        for (const auto v : mesh.vertices()) {
            for (auto neighbor = mesh.cvv_iter(v); neighbor.is_valid(); ++neighbor) {
                sum += static_cast<std::size_t>(neighbor->idx());
            }
        }
        return sum;
    }
};

struct Cgal {
    using Point = CGAL::Simple_cartesian<double>::Point_3;
    using Mesh = CGAL::Surface_mesh<Point>;
    static void Build(Mesh& mesh, const Bench::IndexedMesh& input)
    {
        using Size = Mesh::size_type;
        mesh.reserve(static_cast<Size>(input.points.size()),
                     static_cast<Size>(input.indices.size() / 2 + 4096),
                     static_cast<Size>(input.indices.size() / 3));
        for (const auto& p : input.points) {
            mesh.add_vertex(Point(p.x(), p.y(), p.z()));
        }
        const auto vertex = [&](std::size_t i) {
            return Mesh::Vertex_index(static_cast<Size>(input.indices[i]));
        };
        for (std::size_t i = 0; i < input.indices.size(); i += 3) {
            mesh.add_face(vertex(i), vertex(i + 1), vertex(i + 2));
        }
    }
    static std::size_t Edges(const Mesh& mesh)
    {
        return mesh.number_of_edges() + mesh.number_of_removed_edges();
    }
    static Mesh::Halfedge_index HalfEdge(const Mesh& mesh, std::size_t edge)
    {
        return mesh.halfedge(Mesh::Edge_index(static_cast<Mesh::size_type>(edge)));
    }
    static bool Flip(Mesh& mesh, std::size_t edge)
    {
        const auto h = HalfEdge(mesh, edge);
        if (mesh.is_border(mesh.edge(h)) ||
            mesh.halfedge(mesh.target(mesh.next(h)), mesh.target(mesh.next(mesh.opposite(h)))) !=
                Mesh::null_halfedge()) {
            return false;
        }
        CGAL::Euler::flip_edge(h, mesh);
        return true;
    }
    static bool Split(Mesh& mesh, std::size_t edge)
    {
        const auto h = HalfEdge(mesh, edge);
        if (mesh.is_border(mesh.edge(h))) {
            return false;
        }
        const auto half = CGAL::Euler::split_edge(h, mesh);
        CGAL::Euler::split_face(half, mesh.next(h), mesh);
        const auto other = mesh.opposite(h);
        CGAL::Euler::split_face(other, mesh.next(mesh.next(other)), mesh);
        return true;
    }
    static bool Collapse(Mesh& mesh, std::size_t edge)
    {
        const Mesh::Edge_index e(static_cast<Mesh::size_type>(edge));
        if (mesh.is_removed(e)) {
            return false;
        }
        const auto h = mesh.halfedge(e);
        if (mesh.is_border(mesh.source(h), true) || mesh.is_border(mesh.target(h), true) ||
            !CGAL::Euler::does_satisfy_link_condition(e, mesh)) {
            return false;
        }
        CGAL::Euler::collapse_edge(e, mesh);
        return true;
    }
    static std::size_t Rings(const Mesh& mesh)
    {
        std::size_t sum = 0;
        for (const auto v : mesh.vertices()) {
            for (const auto h : CGAL::halfedges_around_target(mesh.halfedge(v), mesh)) {
                sum += static_cast<std::size_t>(mesh.source(h));
            }
        }
        return sum;
    }
};

template <class Peer>
void BM_BuildOrdered(benchmark::State& state)
{
    const Bench::IndexedMesh input = Bench::Sheet(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        typename Peer::Mesh mesh;
        Peer::Build(mesh, input);
        benchmark::DoNotOptimize(Peer::Edges(mesh));
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(input.indices.size() / 3));
}

template <class Peer>
void BM_BuildShuffled(benchmark::State& state)
{
    const Bench::IndexedMesh input = Bench::ShuffledSheet(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        typename Peer::Mesh mesh;
        Peer::Build(mesh, input);
        benchmark::DoNotOptimize(Peer::Edges(mesh));
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(input.indices.size() / 3));
}

// As many random edges as there are triangles; what is refused is tried but not counted.
template <class Peer, bool (*edit)(typename Peer::Mesh&, std::size_t)>
void BM_Edit(benchmark::State& state)
{
    typename Peer::Mesh original;
    Peer::Build(original, Bench::Sheet(static_cast<std::size_t>(state.range(0))));
    const std::size_t edges = Peer::Edges(original);
    std::int64_t done = 0;
    for (auto _ : state) {
        state.PauseTiming();
        typename Peer::Mesh mesh = original;
        Bench::Draw draw(6);
        state.ResumeTiming();
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            done += edit(mesh, draw(edges)) ? 1 : 0;
        }
        state.PauseTiming();
        { // destroyed outside the measurement
            typename Peer::Mesh gone;
            std::swap(gone, mesh);
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(done);
    state.counters["done"] = static_cast<double>(done) / static_cast<double>(state.iterations());
}

template <class Peer>
void BM_Rings(benchmark::State& state)
{
    typename Peer::Mesh mesh;
    const Bench::IndexedMesh input = Bench::Sheet(static_cast<std::size_t>(state.range(0)));
    Peer::Build(mesh, input);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Peer::Rings(mesh));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(input.points.size()));
}

#define SORVANE_SIZES RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMillisecond)
#define SORVANE_PEER(Peer)                                             \
    BENCHMARK_TEMPLATE(BM_BuildOrdered, Peer)->SORVANE_SIZES;          \
    BENCHMARK_TEMPLATE(BM_BuildShuffled, Peer)->SORVANE_SIZES;         \
    BENCHMARK_TEMPLATE(BM_Edit, Peer, &Peer::Flip)->SORVANE_SIZES;     \
    BENCHMARK_TEMPLATE(BM_Edit, Peer, &Peer::Split)->SORVANE_SIZES;    \
    BENCHMARK_TEMPLATE(BM_Edit, Peer, &Peer::Collapse)->SORVANE_SIZES; \
    BENCHMARK_TEMPLATE(BM_Rings, Peer)->SORVANE_SIZES;
SORVANE_PEER(Ours)
SORVANE_PEER(Open)
SORVANE_PEER(Cgal)

} // namespace
