// Every operation that needs memory, with every allocation of it refused once: the mesh is then as
// it was before the call, record by record.

#include <Sorvane/HalfEdgeMesh_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;
using ::Test::CheckTopology;
using ::Test::FailEachAllocation;
using ::Test::IndexedMesh;

using Triangles = TriangleMesh<HVertex<3, double>, HEdge, HFace>;
using Polygons = HMesh<HVertex<3, double>, HEdge, HFace>;

// All that a mesh holds.
struct Contents {
    std::vector<std::array<int, 5>> edges;
    std::vector<std::array<int, 2>> nodes;
    std::vector<Vec3d> positions;
    std::vector<int> faces;
    std::vector<int> freeNodes;
    std::vector<std::pair<int, int>> freeEdges;
    std::vector<int> freeFaces;
    std::vector<std::array<int, 3>> pairs;

    template <class Mesh>
    explicit Contents(const Mesh& mesh)
        : freeNodes(mesh.FreeNodes().begin(), mesh.FreeNodes().end()),
          freeEdges(mesh.FreeEdges().begin(), mesh.FreeEdges().end()),
          freeFaces(mesh.FreeFaces().begin(), mesh.FreeFaces().end())
    {
        for (const auto& edge : mesh.Edges()) {
            edges.push_back({edge.node, edge.twin, edge.next, edge.prev, edge.face});
        }
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            const auto& node = mesh.Nodes()[static_cast<std::size_t>(n)];
            nodes.push_back({node.edge, mesh.Degree(n)});
            positions.push_back(node.position);
        }
        for (const auto& face : mesh.Faces()) {
            faces.push_back(face.edge);
        }
        mesh.NodePairs().VisitEdges([&](int low, int high, int halfEdge) {
            pairs.push_back({low, high, halfEdge});
        });
        std::sort(pairs.begin(), pairs.end());
        EXPECT_EQ(pairs.size(), mesh.NodePairs().EdgeCount());
    }

    friend bool operator==(const Contents&, const Contents&) = default;
};

// Fails each allocation of `call` on copies of the mesh, which have no spare room; how many there
// were. Without a failure the call must give a sound mesh.
template <class Mesh, class Call>
std::size_t Failures(const Mesh& mesh, const Call& call)
{
    const Contents before(mesh);
    Mesh done(mesh);
    call(done);
    EXPECT_EQ(CheckTopology(done), "");
    return FailEachAllocation([&] { return Mesh(mesh); }, call,
                              [&](const Mesh& left) {
                                  EXPECT_TRUE(Contents(left) == before);
                                  EXPECT_EQ(CheckTopology(left), "");
                              });
}

Triangles Loaded(const IndexedMesh& indexed)
{
    Triangles mesh;
    mesh.LoadIndexedPoints(indexed);
    return mesh;
}

// A wheel whose hub has the greatest number: more of its edges than one line of the table of pairs
// can hold go to the table behind it.
IndexedMesh Wheel(int spokes)
{
    IndexedMesh mesh = ::Test::Fan(spokes, true);
    for (int& i : mesh.indices) {
        i = i == 0 ? spokes : i - 1;
    }
    std::rotate(mesh.points.begin(), mesh.points.begin() + 1, mesh.points.end());
    return mesh;
}

TEST(HalfEdgeMeshMemory, NodesEdgesAndFaces)
{
    Polygons mesh;
    for (int n = 0; n < 6; ++n) {
        mesh.AddNode(HVertex<3, double>({n, 0, 0}));
    }
    mesh.AddFace({0, 1, 2});
    EXPECT_GT(Failures(mesh, [](Polygons& m) { m.AddNode({}); }), 0U);
    EXPECT_GT(Failures(mesh, [](Polygons& m) { m.FindOrAddEdge(3, 4); }), 0U);
    EXPECT_GT(Failures(mesh, [](Polygons& m) { m.AddFace({2, 1, 3, 4, 5}); }), 2U);
    EXPECT_GT(Failures(mesh, [](Polygons& m) { m.AddFace({3, 4, 5, 4}); }), 2U);
    // Refused at its last side, with edges made before that.
    EXPECT_GT(Failures(mesh, [](Polygons& m) { m.AddFace({1, 3, 4, 0}); }), 1U);
    EXPECT_GT(Failures(mesh, [](Polygons& m) { m.AddFaceFromEdges({1, 5, 3}); }), 0U);
    EXPECT_GT(Failures(mesh, [](Polygons& m) { m.Reserve(100, 100, 100); }), 2U);
}

TEST(HalfEdgeMeshMemory, Triangles)
{
    Triangles mesh = Loaded(::Test::Grid(3, 3));
    mesh.AddNode({});
    EXPECT_GT(Failures(mesh, [](Triangles& m) { m.AddFace({1, 0, 16}); }), 1U); // on the boundary
    EXPECT_GT(Failures(mesh, [](Triangles& m) { m.AddTriangle({0, 15, 16}); }), 1U);
    EXPECT_GT(Failures(mesh, [](Triangles& m) { m.AddTriangle({16, 0, 1}); }), 1U); // refused
    EXPECT_GT(Failures(mesh, [](Triangles& m) { m.LinkBoundaryEdges(); }), 0U);
}

TEST(HalfEdgeMeshMemory, Splits)
{
    for (const IndexedMesh& indexed :
         {::Test::Octahedron(), ::Test::Grid(2, 2), Wheel(7), Wheel(8), Wheel(15), Wheel(16)}) {
        const Triangles mesh = Loaded(indexed);
        for (int e = 0; e < mesh.EdgeCount(); ++e) {
            EXPECT_GT(Failures(mesh,
                               [e](Triangles& m) {
                                   int middle = 0;
                                   m.SplitEdge(e, middle, false, true);
                               }),
                      3U);
        }
        EXPECT_GT(Failures(mesh,
                           [](Triangles& m) {
                               int middle = 0;
                               m.SplitFace(0, middle, false);
                           }),
                  3U);
    }
}

// A flip makes no record; its place in the table of pairs may need room all the same.
TEST(HalfEdgeMeshMemory, Flips)
{
    constexpr int kSpokes = 30;
    IndexedMesh indexed = Wheel(kSpokes); // with a triangle outside on every side of the rim
    for (int i = 0; i < kSpokes; ++i) {
        indexed.indices.insert(indexed.indices.end(), {(i + 1) % kSpokes, i, kSpokes + 1 + i});
    }
    const int hub = 2 * kSpokes;
    for (int& i : indexed.indices) {
        i = i == kSpokes ? hub : i > kSpokes ? i - 1 : i; // the hub's number stays the greatest
    }
    indexed.points.resize(static_cast<std::size_t>(hub) + 1);
    Triangles mesh = Loaded(indexed);
    std::size_t failures = 0;
    for (int i = 0; i < kSpokes; ++i) { // each gives the hub one edge more
        const int e = mesh.FindEdge(i, (i + 1) % kSpokes);
        failures += Failures(mesh, [e](Triangles& m) { EXPECT_TRUE(m.FlipEdge(e, false)); });
        mesh.FlipEdge(e, false);
    }
    EXPECT_EQ(mesh.Degree(hub), 2 * kSpokes);
    EXPECT_GT(failures, 0U);
}

TEST(HalfEdgeMeshMemory, Collapses)
{
    std::size_t failures = 0;
    Triangles mesh = Loaded(::Test::Sphere(3));
    for (int done = 0; done < 90;
         ++done) { // past the ends of the blocks that free lists consist of
        int e = 0;
        while (!Triangles(mesh).CollapseEdge(e, false, false)) {
            ++e;
        }
        failures += Failures(mesh, [e](Triangles& m) { m.CollapseEdge(e, false, false); });
        mesh.CollapseEdge(e, false, false);
    }
    EXPECT_GT(failures, 3U);

    failures = 0;
    for (const int spokes : {8, 16, 40, 70}) { // a rim that moves to the hub, or the hub to the rim
        const Triangles wheel =
            Loaded(::Test::Together(::Test::Octahedron(), Wheel(spokes))); // hub inside
        const int hub = 6 + spokes;
        failures += Failures(wheel, [hub](Triangles& m) {
            EXPECT_TRUE(m.CollapseEdge(m.FindEdge(hub - 1, hub), false, true));
        });
    }
    EXPECT_GT(failures, 3U);
}

TEST(HalfEdgeMeshMemory, Removals)
{
    std::size_t failures = 0;
    Polygons mesh;
    for (int n = 0; n < 300; ++n) {
        mesh.AddNode({});
    }
    for (int n = 0; n + 2 < 300; n += 3) {
        mesh.AddFace({n, n + 1, n + 2});
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        const std::vector<int> nodes = mesh.FaceNodes(f);
        const std::vector<int> edges = mesh.FaceEdges(f);
        const auto attempt = [&](const auto& call) {
            // A face goes first, so that what is left is sound after each step.
            const Contents before(mesh);
            failures += FailEachAllocation(
                [&] { return Polygons(mesh); }, call,
                [&](const Polygons& left) { EXPECT_TRUE(Contents(left) == before); });
            call(mesh);
        };
        attempt([f](Polygons& m) { m.RemoveFace(f); });
        for (const int e : edges) {
            attempt([e](Polygons& m) { m.RemoveEdge(e); });
        }
        for (const int n : nodes) {
            attempt([n](Polygons& m) { m.RemoveNode(n); });
        }
    }
    EXPECT_GT(failures, 3U);
    EXPECT_EQ(CheckTopology(mesh), "");
}

TEST(HalfEdgeMeshMemory, CopiesAndMoves)
{
    Triangles source = Loaded(::Test::Together(::Test::Sphere(2), Wheel(20)));
    source.CollapseEdge(source.FindEdge(0, source.NodeNodes(0).front()), false, false);
    Triangles smaller = Loaded(::Test::Octahedron());
    Triangles larger = Loaded(::Test::Sphere(3));
    for (const Triangles& target : {Triangles(), smaller, larger}) {
        EXPECT_GT(Failures(target, [&](Triangles& m) { m.Assign(source); }), 2U);
        EXPECT_GT(Failures(target, [&](Triangles& m) { m = source; }), 2U);
        Triangles assigned(target);
        assigned.Assign(source);
        EXPECT_TRUE(Contents(assigned) == Contents(source));
    }
    // A move that fails leaves the source as it was.
    const Contents before(source);
    FailEachAllocation([&] { return Triangles(source); },
                       [](Triangles& m) { const Triangles taken(std::move(m)); },
                       [&](const Triangles& left) { EXPECT_TRUE(Contents(left) == before); });
}

TEST(HalfEdgeMeshMemory, LoadAndExport)
{
    const IndexedMesh indexed =
        ::Test::Together(::Test::Grid(3, 2), ::Test::TrianglesAtOnePoint(3));
    EXPECT_GT(Failures(Triangles(), [&](Triangles& m) { m.LoadIndexedPoints(indexed); }), 5U);
    EXPECT_GT(
        Failures(Loaded(::Test::Octahedron()), [&](Triangles& m) { m.LoadIndexedPoints(indexed); }),
        5U);
    const Triangles mesh = Loaded(indexed);
    const IndexedMesh before = ::Test::Octahedron();
    const auto prepare = [&] { return before; };
    EXPECT_GT(FailEachAllocation(
                  prepare, [&](IndexedMesh& result) { mesh.ExportIndexedPoints(result, 1e-12); },
                  [&](const IndexedMesh& left) { EXPECT_TRUE(left == before); }),
              3U);
}

// A host's callback may throw as well.
TEST(HalfEdgeMeshMemory, LoadThatIsBrokenOffLeavesTheMeshAsItWas)
{
    struct Enough {};
    Triangles mesh = Loaded(::Test::Octahedron());
    const Contents before(mesh);
    const IndexedMesh grid = ::Test::Grid(3, 3);
    EXPECT_THROW(mesh.LoadIndexedPoints(grid.points, grid.indices,
                                        [](int triple, int) {
                                            if (triple == 7) {
                                                throw Enough();
                                            }
                                        }),
                 Enough);
    EXPECT_TRUE(Contents(mesh) == before);
    EXPECT_EQ(CheckTopology(mesh), "");
}

TEST(HalfEdgeMeshMemory, SplitPinchNodes)
{
    IndexedMesh joined = ::Test::Together(::Test::Octahedron(), Wheel(30));
    for (int& i : joined.indices) {
        i = i == 36 ? 0 : i; // the hub is point 0 of the octahedron
    }
    EXPECT_GT(Failures(Loaded(joined), [](Triangles& m) { m.SplitPinchNodes(); }), 5U);
    EXPECT_GT(Failures(Loaded(::Test::TrianglesAtOnePoint(12)),
                       [](Triangles& m) { m.SplitPinchNodes(); }),
              5U);
}

// The table by itself: edges that wait for a shelf are not lost when there is no memory for it.
TEST(HalfEdgeMeshMemory, NodePairs)
{
    const auto entries = [](const NodePairMap& map) {
        std::vector<std::array<int, 3>> all;
        map.VisitEdges([&](int low, int high, int halfEdge) {
            all.push_back({low, high, halfEdge});
            EXPECT_EQ(map.Find(low, high), halfEdge);
        });
        std::sort(all.begin(), all.end());
        EXPECT_EQ(all.size(), map.EdgeCount());
        return all;
    };
    NodePairMap map;
    for (int node = 1000; node > 960; --node) { // far from dense: they go to the table behind
        map.Insert(node, node - 1, 2 * node);
        map.Insert(node, node - 2, 2 * node + 4000);
    }
    const auto before = entries(map);
    const auto prepare = [&] { return NodePairMap(map); };
    const auto check = [&](const NodePairMap& left) { EXPECT_EQ(entries(left), before); };
    EXPECT_GT(FailEachAllocation(
                  prepare, [](NodePairMap& m) { m.Reserve(2000); }, check),
              1U);
    // One that makes the numbers dense enough for lines of their own.
    std::size_t failures = 0;
    for (int node = 2; node < 2000; node += 7) {
        failures += FailEachAllocation(
            prepare, [&](NodePairMap& m) { m.Insert(node, 1, 2 * node); }, check);
    }
    EXPECT_GT(failures, 10U);
    const NodePairMap other(map);
    NodePairMap few;
    few.Insert(0, 1, 2);
    EXPECT_GT(FailEachAllocation([&] { return NodePairMap(few); },
                                 [&](NodePairMap& m) { m = other; },
                                 [&](const NodePairMap& left) {
                                     EXPECT_EQ(left.EdgeCount(), 1U);
                                     EXPECT_EQ(left.Find(1, 0), 3);
                                 }),
              0U);
}

} // namespace
