// Nodes where several fans of faces meet: which they are, that an edge is collapsed exactly where
// that is sound, and how such nodes are taken apart. The oracles know nodes, edges and triangles by
// their numbers and no links.

#include <Sorvane/HalfEdgeMesh_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;
using Support::CheckTopology;
using Support::CountTopology;
using Support::IndexedMesh;
using Support::Random;
using Support::TopologyCounts;

using Triangles = TriangleMesh<HVertex<3, double>, HEdge, HFace>;
using Edge = std::pair<int, int>;
using List = std::vector<int>;

Triangles Loaded(const IndexedMesh& indexed)
{
    Triangles mesh;
    mesh.LoadIndexedPoints(indexed);
    EXPECT_EQ(CheckTopology(mesh), "");
    return mesh;
}

// The first mesh with the second, whose point `second` is `first` of the first.
IndexedMesh Joined(const IndexedMesh& a, int first, const IndexedMesh& b, int second)
{
    const int shift = static_cast<int>(a.points.size());
    IndexedMesh mesh = Support::Together(a, b);
    for (std::size_t i = a.indices.size(); i < mesh.indices.size(); ++i) {
        const int number = mesh.indices[i] - shift;
        mesh.indices[i] = number == second ? first : mesh.indices[i] - (number > second ? 1 : 0);
    }
    mesh.points.erase(mesh.points.begin() + shift + second);
    return mesh;
}

// Node 0 of the first octahedron is node 1 of the second.
IndexedMesh TwoOctahedra() { return Joined(Support::Octahedron(), 0, Support::Octahedron(), 1); }

// --- the complex ---------------------------------------------------------------------------------

// Edges and triangles of a mesh, as sets of numbers.
struct Complex {
    explicit Complex(const Triangles& mesh)
    {
        for (int e = 0; e < mesh.EdgeCount(); e += 2) {
            if (mesh.IsValidEdge(e)) {
                const List ends = mesh.EdgeNodes(e);
                edges.insert(std::minmax(ends[0], ends[1]));
                neighbors[ends[0]].insert(ends[1]);
                neighbors[ends[1]].insert(ends[0]);
            }
        }
        for (int f = 0; f < mesh.FaceCount(); ++f) {
            const List n = mesh.FaceNodes(f);
            if (!n.empty()) {
                triangles.insert({n.begin(), n.end()});
                for (std::size_t k = 0; k < 3; ++k) {
                    ++uses[std::minmax(n[k], n[(k + 1) % 3])];
                    atNode[n[k]].push_back({n[(k + 1) % 3], n[(k + 2) % 3]});
                }
            }
        }
    }

    int Uses(int a, int b) const
    {
        const auto at = uses.find(std::minmax(a, b));
        return at == uses.end() ? 0 : at->second;
    }

    bool IsOnBoundary(int node) const
    {
        const auto at = neighbors.find(node);
        return at != neighbors.end() && std::any_of(at->second.begin(), at->second.end(),
                                                    [&](int n) { return Uses(node, n) != 2; });
    }

    // Fans at a node: its edges, joined where a triangle at the node has two of them.
    std::vector<std::set<int>> Fans(int node) const
    {
        std::vector<std::set<int>> fans;
        const auto at = neighbors.find(node);
        if (at == neighbors.end()) {
            return fans;
        }
        for (const int n : at->second) {
            fans.push_back({n});
        }
        const auto links = atNode.find(node);
        if (links == atNode.end()) {
            return fans;
        }
        for (const Edge& link : links->second) {
            const auto holds = [](int n) {
                return [n](const std::set<int>& fan) { return fan.count(n) != 0; };
            };
            const auto one = std::find_if(fans.begin(), fans.end(), holds(link.first));
            const auto other = std::find_if(fans.begin(), fans.end(), holds(link.second));
            if (one != other) {
                one->insert(other->begin(), other->end());
                fans.erase(other);
            }
        }
        return fans;
    }

    std::set<Edge> edges;
    std::map<int, std::set<int>> neighbors;
    std::multiset<std::multiset<int>> triangles;
    std::map<Edge, int> uses;
    std::map<int, std::vector<Edge>> atNode;
};

List PinchesByHand(const Triangles& mesh)
{
    const Complex complex(mesh);
    List pinches;
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        if (complex.Fans(n).size() > 1) {
            pinches.push_back(n);
        }
    }
    return pinches;
}

// May the node b be pulled into a? Both have no second edge between them here.
bool MayCollapse(const Complex& complex, int a, int b, bool relaxed)
{
    if (complex.Uses(a, b) != 2 || complex.IsOnBoundary(b) || complex.Fans(b).size() != 1) {
        return false;
    }
    std::set<int> common;
    for (const int n : complex.neighbors.at(a)) {
        if (complex.neighbors.at(b).count(n) != 0) {
            common.insert(n);
        }
    }
    // The apexes of the two triangles are among them: no third.
    if (common.size() != 2) {
        return false;
    }
    const int c = *common.begin();
    const int d = *common.rbegin();
    const bool wouldFold =
        complex.triangles.count({b, c, d}) != 0 && complex.triangles.count({a, c, d}) != 0;
    const bool touches = complex.IsOnBoundary(a) || complex.Uses(a, c) != 2 ||
                         complex.Uses(a, d) != 2 || complex.Uses(b, c) != 2 ||
                         complex.Uses(b, d) != 2;
    return !wouldFold && (relaxed || !touches);
}

// Meshes with every kind of node.
std::vector<std::pair<const char*, IndexedMesh>> Shapes()
{
    using namespace Support;
    IndexedMesh withDebris = Octahedron(); // an edge 0-6 and another 6-1, left by a refused face
    withDebris.points.push_back({3, 3, 3});
    withDebris.indices.insert(withDebris.indices.end(), {0, 6, 1, 6, 0, 2});
    return {{"Octahedron", Octahedron()},
            {"Tetrahedron", Tetrahedron()},
            {"Grid", Grid(4, 3)},
            {"Strip", Strip(4)},
            {"TwoOctahedra", TwoOctahedra()},
            {"TwoTetrahedra", Joined(Tetrahedron(), 3, Tetrahedron(), 0)},
            {"TetrahedronOnOctahedron", Joined(Octahedron(), 4, Tetrahedron(), 2)},
            {"ThreeSpheres", Joined(Joined(Sphere(1), 0, Sphere(1), 5), 9, Sphere(1), 7)},
            {"ThreeAtOnePoint", Joined(TwoOctahedra(), 0, Octahedron(), 3)},
            {"SheetOnABody", Joined(Octahedron(), 2, Grid(3, 3), 0)},
            {"SheetInsideOnABody", Joined(Octahedron(), 2, Grid(3, 3), 5)},
            {"TwoTriangles", TrianglesAtOnePoint(2)},
            {"FiveTriangles", TrianglesAtOnePoint(5)},
            {"HolesThatTouch", Without(Grid(6, 5), {14, 29})},
            {"Fins", Fins(3)},
            {"Moebius", MoebiusStrip(7)},
            {"Debris", withDebris},
            {"LoosePoint", Without(Grid(1, 1), {0})}};
}

TEST(PinchNodes, TwoBodiesAtOnePoint)
{
    const Triangles mesh = Loaded(TwoOctahedra());
    EXPECT_EQ(mesh.PinchNodes(), (List{0}));
    EXPECT_TRUE(mesh.IsPinchNode(0));
    EXPECT_FALSE(mesh.IsPinchNode(1));
    EXPECT_EQ(mesh.Degree(0), 8);
    EXPECT_EQ(mesh.Valence(0), 4); // the ring runs through one fan
    EXPECT_EQ(mesh.Degree(1), 4);
    EXPECT_EQ(mesh.Degree(-1), 0);
    EXPECT_EQ(mesh.Degree(99), 0);
    EXPECT_FALSE(mesh.IsPinchNode(-4));
    EXPECT_FALSE(mesh.IsPinchNode(99));
}

// Seen from the second body the node that goes is one like any other; the first body hangs on it.
TEST(PinchNodes, CollapseThatWouldLeaveAFanBehindIsRefused)
{
    for (const bool relaxed : {false, true}) {
        for (const bool force : {false, true}) {
            Triangles mesh = Loaded(TwoOctahedra());
            int tried = 0;
            for (int e = 0; e < mesh.EdgeCount(); ++e) {
                if (mesh.EdgeNodes(e)[1] == 0) {
                    EXPECT_FALSE(mesh.CollapseEdge(e, force, relaxed));
                    ++tried;
                }
            }
            EXPECT_EQ(tried, 8);
            EXPECT_EQ(CheckTopology(mesh), "");
            EXPECT_EQ(CountTopology(mesh), (TopologyCounts{11, 24, 16, 0}));
        }
    }
}

// A node may be pulled into a pinch, from any fan of it, also one that the ring doesn't show.
TEST(PinchNodes, CollapseIntoAPinchIsSound)
{
    const Triangles untouched = Loaded(TwoOctahedra());
    int done = 0;
    for (int e = 0; e < untouched.EdgeCount(); ++e) {
        if (untouched.EdgeNodes(e)[0] == 0) {
            Triangles mesh = untouched;
            EXPECT_TRUE(mesh.CollapseEdge(e, false, false)) << e;
            EXPECT_EQ(CheckTopology(mesh), "");
            EXPECT_EQ(mesh.PinchNodes(), (List{0}));
            EXPECT_EQ(CountTopology(mesh), (TopologyCounts{10, 21, 14, 0}));
            ++done;
        }
    }
    EXPECT_EQ(done, 8);
}

// Two bodies touch in two points, 0 and 1. In the first they are the ends of an edge, so that the
// other fan of 0 hides the common neighbor: pulling 2 into 0 would make a second edge 0-1.
TEST(PinchNodes, NeighborInAFanOutOfSightCountsAsCommon)
{
    IndexedMesh mesh;
    mesh.points.resize(10);
    const IndexedMesh octahedron = Support::Octahedron();
    // In the first body 0 and 1 are next to each other, in the second they are opposite, and 2 is
    // next to both.
    const int first[] = {0, 6, 1, 7, 8, 9};
    const int second[] = {0, 1, 2, 3, 4, 5};
    for (const int i : octahedron.indices) {
        mesh.indices.push_back(first[i]);
    }
    for (const int i : octahedron.indices) {
        mesh.indices.push_back(second[i]);
    }
    for (const bool turned : {false, true}) {
        if (turned) { // the fan that is built last is the one in the ring
            std::rotate(mesh.indices.begin(), mesh.indices.begin() + 24, mesh.indices.end());
        }
        Triangles loaded = Loaded(mesh);
        EXPECT_EQ(loaded.PinchNodes(), (List{0, 1}));
        EXPECT_FALSE(loaded.CollapseEdge(loaded.FindEdge(0, 2), true, true));
        EXPECT_FALSE(loaded.CollapseEdge(loaded.FindEdge(1, 2), true, true));
        EXPECT_EQ(CheckTopology(loaded), "");
    }
}

// An edge without faces is left by a refused triangle: whoever removes its node would leave it
// behind.
TEST(PinchNodes, EdgeWithoutFacesKeepsItsNode)
{
    IndexedMesh indexed = Support::Octahedron();
    indexed.points.push_back({3, 3, 3});
    indexed.indices.insert(indexed.indices.end(), {6, 0, 2}); // 6-0 is made, 0-2 is taken
    Triangles mesh = Loaded(indexed);
    ASSERT_EQ(mesh.FaceCount(), 8);
    ASSERT_GE(mesh.FindEdge(6, 0), 0);
    EXPECT_EQ(mesh.PinchNodes(), (List{0}));
    for (const int n : {2, 3, 4, 5}) {
        EXPECT_FALSE(mesh.CollapseEdge(mesh.FindEdge(n, 0), true, true));
    }
    EXPECT_TRUE(mesh.CollapseEdge(mesh.FindEdge(0, 2), false, true));
    EXPECT_EQ(CheckTopology(mesh), "");
}

TEST(PinchNodes, AgreeWithFansFoundWithoutLinks)
{
    for (const auto& [name, indexed] : Shapes()) {
        SCOPED_TRACE(name);
        Triangles mesh = Loaded(indexed);
        EXPECT_EQ(mesh.PinchNodes(), PinchesByHand(mesh));
        mesh.ReverseOrientation();
        EXPECT_EQ(mesh.PinchNodes(), PinchesByHand(mesh));

        // Before boundaries are linked, too.
        Triangles unlinked;
        for (const Vec3d& p : indexed.points) {
            unlinked.AddNode(HVertex<3, double>(p));
        }
        for (std::size_t i = 0; i < indexed.indices.size(); i += 3) {
            unlinked.AddFace({indexed.indices[i], indexed.indices[i + 1], indexed.indices[i + 2]});
        }
        EXPECT_EQ(unlinked.PinchNodes(), PinchesByHand(unlinked));
    }
}

// Every half-edge of every shape is collapsed exactly where the complex says that it may be.
TEST(PinchNodes, EdgesCollapseWhereTheComplexAllowsIt)
{
    int allowed = 0;
    int refused = 0;
    for (const auto& [name, indexed] : Shapes()) {
        SCOPED_TRACE(name);
        const Triangles untouched = Loaded(indexed);
        const Complex complex(untouched);
        const List pinches = PinchesByHand(untouched);
        for (int e = 0; e < untouched.EdgeCount(); ++e) {
            const List ends = untouched.EdgeNodes(e);
            // Where the node that stays joins open fans and closed ones, whether it counts as
            // boundary depends on which of them is in its ring.
            const bool isMixed = std::binary_search(pinches.begin(), pinches.end(), ends[0]) &&
                                 complex.IsOnBoundary(ends[0]);
            for (const bool relaxed : {false, true}) {
                if (isMixed && !relaxed) {
                    continue;
                }
                Triangles mesh = untouched;
                const bool may = MayCollapse(complex, ends[0], ends[1], relaxed);
                EXPECT_EQ(mesh.CollapseEdge(e, false, relaxed), may)
                    << ends[0] << " <- " << ends[1] << (relaxed ? " relaxed" : "");
                EXPECT_EQ(CheckTopology(mesh), "");
                (may ? allowed : refused) += 1;
            }
        }
    }
    EXPECT_GT(allowed, 300);
    EXPECT_GT(refused, 300);
}

// --- taking apart --------------------------------------------------------------------------------

TEST(SplitPinchNodes, TwoBodiesComeApart)
{
    Triangles mesh = Loaded(TwoOctahedra());
    const auto made = mesh.SplitPinchNodes();
    ASSERT_EQ(made.size(), 1U);
    EXPECT_EQ(made[0], (Edge{0, 11}));
    EXPECT_EQ(mesh.GetVertex(11), mesh.GetVertex(0));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_TRUE(mesh.PinchNodes().empty());
    EXPECT_EQ(CountTopology(mesh), (TopologyCounts{12, 24, 16, 0}));
    EXPECT_EQ(mesh.Valence(0), 4);
    EXPECT_EQ(mesh.Valence(11), 4);
    EXPECT_TRUE(mesh.SplitPinchNodes().empty()); // nothing is left to do
    EXPECT_EQ(mesh.NodeCount(), 12);
    // Now either may go.
    EXPECT_TRUE(mesh.CollapseEdge(mesh.NodeRecord(0)->edge ^ 1, false, false));
    EXPECT_TRUE(mesh.CollapseEdge(mesh.NodeRecord(11)->edge ^ 1, false, false));
    EXPECT_EQ(CheckTopology(mesh), "");
}

TEST(SplitPinchNodes, OneNodeForEachFanOfEveryShape)
{
    for (const auto& [name, indexed] : Shapes()) {
        SCOPED_TRACE(name);
        Triangles mesh = Loaded(indexed);
        const Complex before(mesh);
        IndexedMesh exportedBefore;
        mesh.ExportIndexedPoints(exportedBefore, 0.0);
        int extraFans = 0;
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            extraFans += std::max(0, static_cast<int>(before.Fans(n).size()) - 1);
        }
        const TopologyCounts counts = CountTopology(mesh);
        const int nodeCount = mesh.NodeCount();

        const auto made = mesh.SplitPinchNodes();
        EXPECT_EQ(static_cast<int>(made.size()), extraFans);
        EXPECT_EQ(CheckTopology(mesh), "");
        EXPECT_TRUE(PinchesByHand(mesh).empty());
        EXPECT_TRUE(mesh.PinchNodes().empty());
        EXPECT_EQ(CountTopology(mesh).nodes, counts.nodes + extraFans);
        EXPECT_EQ(CountTopology(mesh).edges, counts.edges);
        EXPECT_EQ(CountTopology(mesh).faces, counts.faces);
        for (const auto& [node, copy] : made) {
            EXPECT_LT(node, nodeCount);
            EXPECT_GE(copy, nodeCount);
            EXPECT_EQ(mesh.GetVertex(copy), mesh.GetVertex(node));
        }
        // Every fan is whole in its ring once the boundary is linked, which now always succeeds.
        EXPECT_TRUE(mesh.LinkBoundaryEdges());
        EXPECT_EQ(CheckTopology(mesh), "");
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            EXPECT_EQ(mesh.Valence(n), mesh.Degree(n)) << n;
        }
        IndexedMesh exportedAfter;
        mesh.ExportIndexedPoints(exportedAfter, 0.0); // welds them together again
        EXPECT_EQ(Support::TriangleSet(exportedAfter), Support::TriangleSet(exportedBefore));
        EXPECT_EQ(exportedAfter.points.size(), exportedBefore.points.size());
    }
}

TEST(SplitPinchNodes, NewNodesTakeUsedSlotsAndAllData)
{
    struct Tagged : HVertex<3, double> {
        int tag = 0;
    };
    TriangleMesh<Tagged, HEdge, HFace> mesh;
    ASSERT_TRUE(mesh.LoadIndexedPoints(TwoOctahedra()));
    mesh.NodeRecord(0)->tag = 7;
    int middle = 0;
    ASSERT_TRUE(mesh.SplitFace(0, middle, false));
    ASSERT_TRUE(mesh.CollapseEdge(mesh.NodeRecord(middle)->edge ^ 1, false, true));
    ASSERT_EQ(mesh.FreeNodes().size(), 1U);
    const auto made = mesh.SplitPinchNodes();
    ASSERT_EQ(made.size(), 1U);
    EXPECT_EQ(made[0], (Edge{0, middle}));
    EXPECT_EQ(mesh.NodeRecord(middle)->tag, 7);
    EXPECT_EQ(CheckTopology(mesh), "");
}

TEST(SplitPinchNodes, RandomSoups)
{
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        IndexedMesh soup;
        const int points = 5 + random.Below(15);
        for (int i = 0; i < points; ++i) {
            soup.points.push_back({i, i * i, 1});
        }
        for (int i = 0; i < 150; ++i) {
            soup.indices.push_back(random.Below(points));
        }
        Triangles mesh = Loaded(soup);
        ASSERT_EQ(mesh.PinchNodes(), PinchesByHand(mesh));
        IndexedMesh before;
        mesh.ExportIndexedPoints(before, 0.0);
        mesh.SplitPinchNodes();
        ASSERT_EQ(CheckTopology(mesh), "");
        ASSERT_TRUE(PinchesByHand(mesh).empty());
        ASSERT_TRUE(mesh.LinkBoundaryEdges());
        IndexedMesh after;
        mesh.ExportIndexedPoints(after, 0.0);
        ASSERT_EQ(Support::TriangleSet(after), Support::TriangleSet(before));
    }
}

TEST(RecountDegrees, ServesWhoeverWritesOrigins)
{
    Triangles mesh = Loaded(Support::Grid(1, 1)); // triangles 0 1 3 and 0 3 2
    const int added = mesh.AddNode(HVertex<3, double>({5, 5, 5}));
    const int e = mesh.FindEdge(0, 1);
    mesh.EdgeRecord(e)->node = added; // by hand: only the count is of interest here
    EXPECT_EQ(mesh.Degree(added), 0);
    mesh.RecountDegrees();
    EXPECT_EQ(mesh.Degree(added), 1);
    EXPECT_EQ(mesh.Degree(0), 2);
}

} // namespace
