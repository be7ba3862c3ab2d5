// Random legal edits on meshes of every kind. Two oracles that know nothing of half-edges: the list
// of triangles, edited by the definition of each edit, and the counts of records and boundary
// loops, which each edit must change by exactly so much. The topology checker runs throughout.

#include <Sorvane/HalfEdgeMesh_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;
using Support::CheckTopology;
using Support::CountTopology;
using Support::IndexedMesh;
using Support::Random;
using Support::TopologyCounts;

using Triangles = TriangleMesh<HVertex<3, double>, HEdge, HFace>;
using Triple = std::array<int, 3>;

// The oracle: oriented triangles, each begun at its smallest node.
class TriangleList {
public:
    explicit TriangleList(const Triangles& mesh)
    {
        for (int f = 0; f < mesh.FaceCount(); ++f) {
            const std::vector<int> n = mesh.FaceNodes(f);
            if (!n.empty()) {
                Add(n[0], n[1], n[2]);
            }
        }
    }

    void Add(int a, int b, int c) { triangles_.insert(Canonical({a, b, c})); }

    void Remove(int a, int b, int c)
    {
        const auto at = triangles_.find(Canonical({a, b, c}));
        ASSERT_TRUE(at != triangles_.end());
        triangles_.erase(at);
    }

    void Rename(int from, int to)
    {
        std::multiset<Triple> renamed;
        for (Triple t : triangles_) {
            std::replace(t.begin(), t.end(), from, to);
            renamed.insert(Canonical(t));
        }
        triangles_ = std::move(renamed);
    }

    friend bool operator==(const TriangleList&, const TriangleList&) = default;

private:
    static Triple Canonical(Triple t)
    {
        std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
        return t;
    }

    std::multiset<Triple> triangles_;
};

struct Policy {
    bool isSmall = true; // keep the oracle
    int checkEvery = 1;  // after so many edits the topology is checked
    int edits = 0;
    std::vector<int> focus; // nodes where every second edit takes place, if there are any
};

class Editor {
public:
    Editor(Triangles& mesh, std::uint64_t seed, const Policy& policy)
        : mesh_(mesh), random_(seed), policy_(policy), oracle_(mesh), counts_(CountTopology(mesh))
    {
    }

    void Run()
    {
        ASSERT_EQ(CheckTopology(mesh_), "");
        for (int step = 0; step < policy_.edits; ++step) {
            const int draw = random_.Below(100);
            // Splits and collapses in balance keep the size about where it began.
            if (draw < 27) {
                Flip();
            } else if (draw < 30) {
                AddTriangle();
            } else if (draw < 45) {
                SplitEdge();
            } else if (draw < 52) {
                SplitFace();
            } else if (draw < 90) {
                Collapse();
            } else if (draw < 94) {
                RemoveStar();
            } else if (draw < 98) {
                OpenFace();
            } else {
                CloseTriangularHole();
            }
            if (step % policy_.checkEvery == 0 || step + 1 == policy_.edits) {
                ASSERT_EQ(CheckTopology(mesh_), "") << "after edit " << step << ": " << last_;
                ASSERT_EQ(CountTopology(mesh_), counts_) << "after edit " << step << ": " << last_;
                if (policy_.isSmall) {
                    ASSERT_TRUE(TriangleList(mesh_) == oracle_)
                        << "after edit " << step << ": " << last_;
                }
            }
            if (testing::Test::HasFatalFailure()) {
                return;
            }
        }
        for (const auto& [name, count] : done) {
            testing::Test::RecordProperty(name, count);
        }
    }

    std::map<std::string, int> done;

private:
    void Note(const char* name, const TopologyCounts& change)
    {
        last_ = name;
        ++done[name];
        counts_.nodes += change.nodes;
        counts_.edges += change.edges;
        counts_.faces += change.faces;
        counts_.boundaryLoops += change.boundaryLoops;
    }

    int AnyEdge()
    {
        if (!policy_.focus.empty() && random_.Below(2) == 0) {
            const int e = EdgeNear(policy_.focus[static_cast<std::size_t>(
                random_.Below(static_cast<int>(policy_.focus.size())))]);
            if (e >= 0) {
                return e;
            }
        }
        for (int tries = 0; tries < 50 && mesh_.EdgeCount() > 0; ++tries) {
            const int e = random_.Below(mesh_.EdgeCount());
            if (mesh_.IsValidEdge(e)) {
                return e;
            }
        }
        return -2;
    }

    // A half-edge that leaves or reaches the node, or one a step further on.
    int EdgeNear(int node)
    {
        const std::vector<int> around = mesh_.NodeEdges(node);
        if (around.empty()) {
            return -2;
        }
        const int e =
            around[static_cast<std::size_t>(random_.Below(static_cast<int>(around.size())))];
        const int near[] = {e, e ^ 1, mesh_.EdgeRecord(e)->next, mesh_.EdgeRecord(e ^ 1)->prev};
        const int chosen = near[random_.Below(4)];
        return mesh_.IsValidEdge(chosen) ? chosen : e;
    }

    int AnyFace()
    {
        for (int tries = 0; tries < 50 && mesh_.FaceCount() > 0; ++tries) {
            const int f = random_.Below(mesh_.FaceCount());
            if (mesh_.IsValidFace(f)) {
                return f;
            }
        }
        return -2;
    }

    bool HasFace(int e) const { return mesh_.EdgeRecord(e)->face >= 0; }

    // A triangle on an edge without a face, or on a pair of nodes that has no edge yet. It is taken
    // when none of its directed edges has a face; edges that were missing up to the first that has
    // one are made and stay.
    void AddTriangle()
    {
        const int e = AnyEdge();
        if (e < 0) {
            return;
        }
        const auto follower = mesh_.EdgeRecord(mesh_.EdgeRecord(e)->next);
        const int apex = follower != nullptr && random_.Below(3) > 0
                             ? mesh_.EdgeRecord(mesh_.EdgeRecord(e)->next ^ 1)->node
                             : random_.Below(mesh_.NodeCount());
        const Triple n = {mesh_.EdgeRecord(e)->node, mesh_.EdgeRecord(e ^ 1)->node, apex};
        if (!mesh_.IsValidNode(apex) || n[0] == apex || n[1] == apex) {
            EXPECT_EQ(mesh_.AddTriangle({n[0], n[1], apex}), -1);
            return;
        }
        int newEdges = 0;
        bool isFree = true;
        for (std::size_t k = 0; k < 3 && isFree; ++k) {
            const int known = mesh_.FindEdge(n[k], n[(k + 1) % 3]);
            newEdges += known < 0 ? 1 : 0;
            isFree = known < 0 || !HasFace(known);
        }
        EXPECT_EQ(mesh_.AddTriangle({n[0], n[1], n[2]}) >= 0, isFree);
        Note(isFree ? "add triangle" : "refused triangle", {0, newEdges, isFree ? 1 : 0, 0});
        // How many loops the boundary has depends on where it is linked; the counts of records
        // don't.
        counts_.boundaryLoops = CountTopology(mesh_).boundaryLoops;
        if (policy_.isSmall && isFree) {
            oracle_.Add(n[0], n[1], n[2]);
        }
    }

    void Flip()
    {
        const int e = AnyEdge();
        if (e < 0) {
            return;
        }
        const auto [a, b, c, d] = mesh_.Diamond(e);
        if (!HasFace(e) || !HasFace(e ^ 1)) {
            EXPECT_FALSE(mesh_.FlipEdge(e, true));
            return;
        }
        if (c == d || mesh_.FindEdge(c, d) >= 0) {
            return; // an edge between the same nodes twice is the caller's to avoid
        }
        ASSERT_TRUE(mesh_.FlipEdge(e, false));
        Note("flip", {0, 0, 0, 0});
        if (policy_.isSmall) {
            oracle_.Remove(a, b, c);
            oracle_.Remove(b, a, d);
            oracle_.Add(d, c, a);
            oracle_.Add(c, d, b);
        }
    }

    void SplitEdge()
    {
        const int e = AnyEdge();
        if (e < 0) {
            return;
        }
        const bool left = HasFace(e);
        const bool right = HasFace(e ^ 1);
        const auto [a, b, c, d] = mesh_.Diamond(e);
        const int origin = mesh_.EdgeRecord(e)->node;
        const int destination = mesh_.EdgeRecord(e ^ 1)->node;
        const auto isLinked = [&](int h) {
            return mesh_.EdgeRecord(h)->next >= 0 && mesh_.EdgeRecord(h)->prev >= 0;
        };
        int m = 0;
        EXPECT_TRUE((left && right) || !mesh_.SplitEdge(e, m, true, false));
        if (!isLinked(e) || !isLinked(e ^ 1) || (left && right && c == d)) {
            EXPECT_FALSE(mesh_.SplitEdge(e, m, true, true));
            EXPECT_EQ(m, -3);
            return;
        }
        ASSERT_TRUE(mesh_.SplitEdge(e, m, false, true));
        const int sides = (left ? 1 : 0) + (right ? 1 : 0);
        Note(sides == 2 ? "split edge" : "split boundary edge", {1, 1 + sides, sides, 0});
        EXPECT_EQ(mesh_.EdgeNodes(e), (std::vector<int>{origin, m}));
        EXPECT_EQ(mesh_.NodeRecord(m)->position, (Vec3d{0, 0, 0}));
        mesh_.NodeRecord(m)->position =
            (mesh_.GetVertex(origin) + mesh_.GetVertex(destination)) * 0.5;
        if (policy_.isSmall && left) {
            oracle_.Remove(a, b, c);
            oracle_.Add(a, m, c);
            oracle_.Add(m, b, c);
        }
        if (policy_.isSmall && right) {
            oracle_.Remove(destination, origin, d);
            oracle_.Add(destination, m, d);
            oracle_.Add(m, origin, d);
        }
    }

    void SplitFace()
    {
        const int f = AnyFace();
        if (f < 0) {
            return;
        }
        const std::vector<int> n = mesh_.FaceNodes(f);
        int m = 0;
        ASSERT_TRUE(mesh_.SplitFace(f, m, false));
        Note("split face", {1, 3, 2, 0});
        mesh_.NodeRecord(m)->position =
            (mesh_.GetVertex(n[0]) + mesh_.GetVertex(n[1]) + mesh_.GetVertex(n[2])) / 3.0;
        if (policy_.isSmall) {
            oracle_.Remove(n[0], n[1], n[2]);
            oracle_.Add(n[0], n[1], m);
            oracle_.Add(n[1], n[2], m);
            oracle_.Add(n[2], n[0], m);
        }
    }

    // Two triangles vanish and every other mention of the removed node becomes the kept one. A
    // refusal is legal, and changes nothing: the checks after the step see to that.
    void Collapse()
    {
        const int e = AnyEdge();
        if (e < 0) {
            return;
        }
        const auto [a, b, c, d] = mesh_.Diamond(e);
        const bool relaxed = random_.Below(2) == 0;
        const bool wasBoundary = mesh_.IsBoundaryNode(b) || (!relaxed && mesh_.IsBoundaryNode(a));
        const bool wasPinch = mesh_.IsPinchNode(b);
        const Vec3d place = mesh_.GetVertex(mesh_.EdgeRecord(e)->node);
        if (!mesh_.CollapseEdge(e, false, relaxed)) {
            last_ = wasPinch ? "refused collapse of a pinch" : "refused collapse";
            ++done[last_];
            return;
        }
        EXPECT_FALSE(wasBoundary || wasPinch);
        EXPECT_EQ(mesh_.GetVertex(a), place);
        Note("collapse", {-1, -3, -2, 0});
        if (policy_.isSmall) {
            oracle_.Remove(a, b, c);
            oracle_.Remove(b, a, d);
            oracle_.Rename(b, a);
        }
    }

    // A node of three triangles goes and one triangle takes their place, record by record.
    void RemoveStar()
    {
        for (int tries = 0; tries < 30; ++tries) {
            const int n = mesh_.NodeCount() > 0 ? random_.Below(mesh_.NodeCount()) : 0;
            if (mesh_.Valence(n) != 3 || mesh_.Degree(n) != 3 || mesh_.IsBoundaryNode(n)) {
                continue;
            }
            const std::vector<int> ring = mesh_.NodeNodes(n);
            const std::vector<int> faces = mesh_.NodeFaces(n);
            if (mesh_.FindEdge(ring[0], ring[1]) < 0 || faces.size() != 3) {
                continue;
            }
            const int neighbor = mesh_.EdgeRecord(mesh_.FindEdge(ring[1], ring[0]))->face;
            if (neighbor >= 0 &&
                mesh_.FaceNodes(neighbor) == std::vector<int>{ring[1], ring[0], ring[2]}) {
                continue; // a tetrahedron would close upon itself
            }
            std::vector<int> rim;
            for (int k = 0; k < 3; ++k) {
                rim.push_back(mesh_.FindEdge(ring[static_cast<std::size_t>(k)],
                                             ring[static_cast<std::size_t>((k + 1) % 3)]));
            }
            for (const int f : faces) {
                mesh_.RemoveFace(f);
            }
            for (const int corner : ring) {
                mesh_.RemoveEdge(mesh_.FindEdge(n, corner));
            }
            mesh_.RemoveNode(n);
            ASSERT_GE(mesh_.AddTriangleFromEdges(rim), 0);
            Note("remove star", {-1, -3, -2, 0});
            if (policy_.isSmall) {
                for (std::size_t k = 0; k < 3; ++k) {
                    oracle_.Remove(n, ring[k], ring[(k + 1) % 3]);
                }
                oracle_.Add(ring[0], ring[1], ring[2]);
            }
            return;
        }
    }

    // Takes a face out: its three half-edges, already linked in a loop, become a boundary.
    void OpenFace()
    {
        const int f = AnyFace();
        if (f < 0) {
            return;
        }
        const std::vector<int> n = mesh_.FaceNodes(f);
        for (const int e : mesh_.FaceEdges(f)) {
            mesh_.EdgeRecord(e)->face = -1;
        }
        mesh_.RemoveFace(f);
        Note("open face", {0, 0, -1, 1});
        if (policy_.isSmall) {
            oracle_.Remove(n[0], n[1], n[2]);
        }
    }

    void CloseTriangularHole()
    {
        for (int tries = 0; tries < 30; ++tries) {
            const int e = AnyEdge();
            if (e < 0 || HasFace(e)) {
                continue;
            }
            const std::vector<int> loop = mesh_.EdgeLoop(e);
            if (loop.size() != 3 || mesh_.EdgeRecord(loop[2])->next != e) {
                continue;
            }
            std::vector<int> n;
            for (const int h : loop) {
                n.push_back(mesh_.EdgeRecord(h)->node);
            }
            ASSERT_GE(mesh_.AddTriangle(n), 0);
            Note("close hole", {0, 0, 1, -1});
            if (policy_.isSmall) {
                oracle_.Add(n[0], n[1], n[2]);
            }
            return;
        }
    }

    Triangles& mesh_;
    Random random_;
    Policy policy_;
    TriangleList oracle_;
    TopologyCounts counts_;
    std::string last_ = "load";
};

// --- generated meshes ---------------------------------------------------------------------------

struct MeshCase {
    const char* name;
    IndexedMesh mesh;
    TopologyCounts counts; // by hand, from the shape
};

void PrintTo(const MeshCase& c, std::ostream* os) { *os << c.name; }

// Both meshes with one point in common: `at` of the first and point 0 of the second.
IndexedMesh Joined(const IndexedMesh& first, int at, const IndexedMesh& second)
{
    const int shift = static_cast<int>(first.points.size());
    IndexedMesh mesh = Support::Together(first, second);
    for (std::size_t i = first.indices.size(); i < mesh.indices.size(); ++i) {
        mesh.indices[i] = mesh.indices[i] == shift ? at : mesh.indices[i] - 1;
    }
    mesh.points.erase(mesh.points.begin() + shift);
    return mesh;
}

IndexedMesh OctahedraAtOnePoint()
{
    return Joined(Support::Octahedron(), 0, Support::Octahedron());
}

// Two octahedra with the opposite points 0 and 1 in common.
IndexedMesh BodiesThatTouchTwice()
{
    IndexedMesh mesh = Support::Together(Support::Octahedron(), Support::Octahedron());
    for (int& i : mesh.indices) {
        i = i == 6 || i == 7 ? i - 6 : i > 7 ? i - 2 : i;
    }
    mesh.points.erase(mesh.points.begin() + 6, mesh.points.begin() + 8);
    return mesh;
}

std::vector<MeshCase> Cases()
{
    using namespace Support;
    return {
        {"Tetrahedron", Tetrahedron(), {4, 6, 4, 0}},
        {"Cube", Cube(), {8, 18, 12, 0}},
        {"Octahedron", Octahedron(), {6, 12, 8, 0}},
        {"Sphere", Sphere(2), {66, 192, 128, 0}},
        {"Torus", Torus(6, 5), {30, 90, 60, 0}},
        {"Grid", Grid(6, 5), {42, 101, 60, 1}},
        {"Strip", Strip(8), {18, 33, 16, 1}},
        {"OneTriangle", Without(Grid(1, 1), {1}), {4, 3, 1, 1}}, // and a point of no triangle
        {"ClosedFan", Fan(7, true), {8, 14, 7, 1}},
        {"OpenFan", Fan(5, false), {7, 11, 5, 1}},
        // A sphere with two separate triangles out, and a torus with one.
        {"SphereWithHoles", Without(Sphere(2), {0, 77}), {66, 192, 126, 2}},
        {"TorusWithHole", Without(Torus(6, 5), {17}), {30, 90, 59, 1}},
        {"Pinched", TrianglesAtOnePoint(2), {5, 6, 2, 1}},
        // Two triangles of a grid out that touch in a corner: crossing there from fan to fan keeps
        // the two holes apart.
        {"PinchedHoles", Without(Grid(6, 5), {14, 29}), {42, 101, 58, 3}},
        {"ThreeFans",
         TrianglesAtOnePoint(3),
         {7, 9, 3, 0}}, // unlinked at the pinch: no loop closes
        // 9 rungs, 18 sides, 9 diagonals; one triangle is lost. How many loops the torn rim makes
        // is a matter of its pinches and not of the shape.
        {"Moebius", MoebiusStrip(9), {18, 36, 17, -1}},
        {"Fins", Fins(2), {4, 4, 1, 1}},
        {"TwoBodies", Together(Sphere(1), Grid(3, 3)), {34, 81, 50, 1}},
        {"OctahedraAtOnePoint", OctahedraAtOnePoint(), {11, 24, 16, 0}},
        // Both ends of an edge of the first are joined to another body each.
        {"BodiesAtBothEnds", Joined(OctahedraAtOnePoint(), 2, Octahedron()), {16, 36, 24, 0}},
        {"ThreeBodiesAtOnePoint", Joined(OctahedraAtOnePoint(), 0, Sphere(1)), {28, 72, 48, 0}},
        // The corner of a sheet on a body: a closed fan and an open one.
        {"SheetOnABody", Joined(Sphere(1), 0, Grid(3, 3)), {33, 81, 50, 1}},
        // Two bodies that touch in two points are joined to a ring.
        {"BodiesThatTouchTwice", BodiesThatTouchTwice(), {10, 24, 16, 0}},
    };
}

class HalfEdgeProperty : public testing::TestWithParam<MeshCase> {};

TEST_P(HalfEdgeProperty, LoadGivesTheCountsOfTheShape)
{
    Triangles mesh;
    mesh.LoadIndexedPoints(GetParam().mesh);
    ASSERT_EQ(CheckTopology(mesh), "");
    TopologyCounts expected = GetParam().counts;
    if (expected.boundaryLoops < 0) {
        expected.boundaryLoops = CountTopology(mesh).boundaryLoops;
    }
    EXPECT_EQ(CountTopology(mesh), expected);
}

TEST_P(HalfEdgeProperty, RandomEditsKeepTheTopology)
{
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Triangles mesh;
        mesh.LoadIndexedPoints(GetParam().mesh);
        Policy policy;
        policy.edits = Support::Rounds(500);
        policy.focus = mesh.PinchNodes();
        Editor(mesh, seed, policy).Run();
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_P(HalfEdgeProperty, EditsAfterReversing)
{
    Triangles mesh;
    mesh.LoadIndexedPoints(GetParam().mesh);
    const TopologyCounts before = CountTopology(mesh);
    mesh.ReverseOrientation();
    EXPECT_EQ(CountTopology(mesh), before);
    Policy policy;
    policy.edits = Support::Rounds(400);
    policy.focus = mesh.PinchNodes();
    Editor(mesh, 99, policy).Run();
}

INSTANTIATE_TEST_SUITE_P(Shapes, HalfEdgeProperty, testing::ValuesIn(Cases()),
                         [](const auto& test) { return std::string(test.param.name); });

// All kinds of edits take place, thousands of each: otherwise the tests above prove little.
TEST(HalfEdgePropertyCoverage, EveryEditHappensOften)
{
    Triangles mesh;
    ASSERT_TRUE(
        mesh.LoadIndexedPoints(Support::Together(Support::Torus(20, 12), Support::Grid(20, 20))));
    Policy policy;
    policy.isSmall = false;
    policy.checkEvery = 500;
    policy.edits = Support::Rounds(60'000);
    Editor editor(mesh, 7, policy);
    editor.Run();
    for (const char* edit : {"flip", "split edge", "split face", "collapse"}) {
        EXPECT_GT(editor.done[edit], Support::Rounds(1000, 1)) << edit;
    }
    for (const char* edit : {"split boundary edge", "remove star", "open face", "close hole",
                             "add triangle", "refused triangle"}) {
        EXPECT_GT(editor.done[edit], Support::Rounds(100, 1)) << edit;
    }
}

// At nodes that join bodies, too, edits take place and are refused often.
TEST(HalfEdgePropertyCoverage, EditsHappenAtPinches)
{
    Triangles mesh;
    ASSERT_TRUE(mesh.LoadIndexedPoints(Joined(Support::Sphere(2), 0, Support::Torus(7, 5))));
    ASSERT_EQ(mesh.PinchNodes(), (std::vector<int>{0}));
    Policy policy;
    policy.edits = Support::Rounds(3000);
    policy.focus = {0};
    Editor editor(mesh, 5, policy);
    editor.Run();
    for (const char* edit :
         {"flip", "split edge", "collapse", "refused collapse", "refused collapse of a pinch"}) {
        EXPECT_GT(editor.done[edit], Support::Rounds(100, 1)) << edit;
    }
}

// --- random soups -------------------------------------------------------------------------------

// Triples over a few points, most of them in conflict. Oracle: a triple is taken exactly when its
// points differ and no accepted one runs a directed edge of it.
TEST(HalfEdgeDefective, RandomTriplesAreTakenOrDroppedByDirectedEdge)
{
    for (std::uint64_t seed = 1; seed <= Support::Rounds(200U); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const int points = 4 + random.Below(12);
        std::vector<int> indices;
        std::vector<int> expected;
        std::set<std::pair<int, int>> taken;
        for (int t = 0; t < 60; ++t) {
            const Triple n = {random.Below(points + 1) - (random.Below(20) == 0 ? 1 : 0),
                              random.Below(points), random.Below(points)};
            indices.insert(indices.end(), n.begin(), n.end());
            bool isFree =
                n[0] != n[1] && n[1] != n[2] && n[0] != n[2] && n[0] >= 0 && n[0] < points;
            for (std::size_t k = 0; k < 3; ++k) {
                isFree = isFree && taken.count({n[k], n[(k + 1) % 3]}) == 0;
            }
            if (isFree) {
                expected.push_back(t);
                for (std::size_t k = 0; k < 3; ++k) {
                    taken.insert({n[k], n[(k + 1) % 3]});
                }
            }
        }
        std::vector<int> accepted;
        Triangles mesh;
        mesh.LoadIndexedPoints(std::vector<Vec3d>(static_cast<std::size_t>(points)), indices,
                               [&](int triple, int) { accepted.push_back(triple); });
        ASSERT_EQ(accepted, expected);
        ASSERT_EQ(CheckTopology(mesh), "");

        // Nodes here join fans at will, closed and open ones, linked and not.
        Policy policy;
        policy.edits = 60;
        Editor(mesh, seed, policy).Run();
        if (HasFatalFailure()) {
            return;
        }
    }
}

// Every query and every edit on meshes whose links were overwritten at random: whatever they
// answer, they end, and they touch nothing outside the arrays (the sanitizers watch).
TEST(HalfEdgeDefective, CorruptedLinksNeverHangOrCrash)
{
    for (std::uint64_t seed = 1; seed <= 300; ++seed) {
        Random random(seed);
        Triangles mesh;
        mesh.LoadIndexedPoints(seed % 2 == 0 ? Support::Sphere(1) : Support::Grid(4, 4));
        for (int k = 0; k < 6; ++k) {
            auto* edge = mesh.EdgeRecord(random.Below(mesh.EdgeCount()));
            const int value =
                random.Below(4) == 0 ? -1 - random.Below(4) : random.Below(mesh.EdgeCount());
            switch (random.Below(4)) {
            case 0:
                edge->next = value;
                break;
            case 1:
                edge->prev = value;
                break;
            case 2:
                edge->face = value % mesh.FaceCount();
                break;
            default:
                mesh.NodeRecord(random.Below(mesh.NodeCount()))->edge = value == -4 ? -2 : value;
                break;
            }
        }
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            EXPECT_LE(mesh.NodeNodes(n).size(), mesh.Nodes().size() * 3 / 2);
            EXPECT_LE(mesh.NodeEdges(n).size(), mesh.Edges().size() * 3 / 2);
            EXPECT_LE(mesh.NodeFaces(n).size(), mesh.Faces().size() * 3 / 2);
            mesh.IsBoundaryNode(n);
            mesh.AdjustBoundaryNode(n);
        }
        for (int e = 0; e < mesh.EdgeCount(); ++e) {
            EXPECT_LE(mesh.EdgeLoop(e).size(), mesh.Edges().size() * 3 / 2);
            mesh.EdgeDiamond(e);
        }
        for (int f = 0; f < mesh.FaceCount(); ++f) {
            mesh.FaceNeighbors(f);
            mesh.Triangles::Base::FaceEdges(f);
        }
        mesh.LinkBoundaryEdges();
        for (int k = 0; k < 40; ++k) {
            int m = 0;
            const int e = random.Below(mesh.EdgeCount());
            mesh.FlipEdge(e, true);
            mesh.SplitEdge(random.Below(mesh.EdgeCount()), m, true, true);
            mesh.SplitFace(random.Below(mesh.FaceCount()), m, true);
            mesh.CollapseEdge(random.Below(mesh.EdgeCount()), true, true);
        }
        IndexedMesh exported;
        mesh.ExportIndexedPoints(exported, 1e-12);
        mesh.ReverseOrientation();
    }
}

// --- load and export ----------------------------------------------------------------------------

TEST(HalfEdgeRoundTrip, GeneratedMeshesComeBackTheSame)
{
    Random random(3);
    for (const IndexedMesh& mesh :
         {Support::Tetrahedron(), Support::Cube(), Support::Sphere(3), Support::Torus(20, 11),
          Support::Grid(30, 20), Support::Fan(6, false), Support::TrianglesAtOnePoint(5),
          Support::Without(Support::Sphere(3), {5, 6, 200})}) {
        for (const IndexedMesh& input : {mesh, Support::Shuffled(mesh, random)}) {
            Triangles loaded;
            loaded.LoadIndexedPoints(input);
            IndexedMesh exported;
            loaded.ExportIndexedPoints(exported, 1e-12);
            EXPECT_EQ(Support::TriangleSet(exported), Support::TriangleSet(input));
            EXPECT_LE(exported.points.size(), input.points.size());
        }
    }
}

// --- real parts ---------------------------------------------------------------------------------

struct PartCase {
    const char* file;
    int vertices; // published with the files, for corners joined bit by bit
    int triangles;
    int boundaryEdges; // edges that one triangle uses
};

void PrintTo(const PartCase& c, std::ostream* os) { *os << c.file; }

class HalfEdgeParts : public testing::TestWithParam<PartCase> {};

TEST_P(HalfEdgeParts, LoadsExportsAndTakesEdits)
{
    const auto path = Support::SharedData(GetParam().file);
    SORVANE_NEED_DATA(path);
    const IndexedMesh input = Support::WeldedStl<double>(path);
    ASSERT_EQ(static_cast<int>(input.points.size()), GetParam().vertices);
    Triangles mesh;
    mesh.LoadIndexedPoints(input);
    ASSERT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(CountTopology(mesh).faces, GetParam().triangles);
    int boundary = 0;
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        boundary += mesh.IsBoundaryEdge(e, false) ? 1 : 0;
    }
    EXPECT_EQ(boundary, GetParam().boundaryEdges);
    // Each triangle has three sides; an edge has two of them, a boundary edge one.
    EXPECT_EQ(2 * CountTopology(mesh).edges, 3 * GetParam().triangles + GetParam().boundaryEdges);

    IndexedMesh exported;
    mesh.ExportIndexedPoints(exported, 0.0);
    EXPECT_EQ(Support::TriangleSet(exported), Support::TriangleSet(input));

    Policy policy;
    policy.isSmall = false;
    policy.checkEvery = 500;
    policy.edits = Support::Rounds(20'000);
    Editor(mesh, 11, policy).Run();
}

INSTANTIATE_TEST_SUITE_P(
    Files, HalfEdgeParts,
    testing::Values(PartCase{"meshes_cad/plate_holes.STL", 618, 1252, 0},
                    PartCase{"meshes_cad/octagonal_pocket.stl", 1658, 3262, 54},
                    PartCase{"meshes_cad/angle_block.STL", 398, 704, 166},
                    PartCase{"meshes_cad/idler_riser.STL", 803, 1572, 44},
                    PartCase{"meshes_cad/voron_z_joint_upper_x4.stl", 13217, 26442, 0},
                    PartCase{"meshes_nist/nist_ctc_05_asme1_rd.stl", 7822, 15674, 4},
                    PartCase{"meshes_defective/busted.STL", 1941, 3878, 0},
                    PartCase{"meshes_defective/soup.stl", 300, 100, 300},
                    PartCase{"meshes_organic/fish.stl", 10786, 21568, 0}),
    [](const auto& test) {
        std::string name = test.param.file;
        std::replace_if(
            name.begin(), name.end(), [](char c) { return std::isalnum(c) == 0; }, '_');
        return name;
    });

// A coarse weld closes thin places of a part to pinches, and drops what would be a third triangle
// on an edge.
struct WeldedCase {
    const char* file;
    double tolerance; // in the unit of the file
};

void PrintTo(const WeldedCase& c, std::ostream* os) { *os << c.file; }

class HalfEdgeWeldedParts : public testing::TestWithParam<WeldedCase> {};

TEST_P(HalfEdgeWeldedParts, EditsAtPinchesKeepTheTopology)
{
    const auto path = Support::SharedData(GetParam().file);
    SORVANE_NEED_DATA(path);
    IndexedMesh part = Support::WeldedStl<double>(path);
    Velk::Math::Sorvane::Mesh::FilterForUniqueness(part, GetParam().tolerance);
    Triangles mesh;
    mesh.LoadIndexedPoints(part);
    ASSERT_EQ(CheckTopology(mesh), "");
    Policy policy;
    policy.isSmall = false;
    policy.edits = Support::Rounds(250);
    policy.focus = mesh.PinchNodes();
    ASSERT_FALSE(policy.focus.empty());
    Editor(mesh, 17, policy).Run();
}

INSTANTIATE_TEST_SUITE_P(Files, HalfEdgeWeldedParts,
                         testing::Values(WeldedCase{"meshes_cad/angle_block.STL", 0.0},
                                         WeldedCase{"meshes_cad/prusa_extruder_idler.stl", 0.5},
                                         WeldedCase{"meshes_nist/nist_ctc_05_asme1_rd.stl", 1.5},
                                         WeldedCase{"meshes_defective/self_intersectA.stl", 0.003}),
                         [](const auto& test) {
                             std::string name = test.param.file;
                             std::replace_if(
                                 name.begin(), name.end(),
                                 [](char c) { return std::isalnum(c) == 0; }, '_');
                             return name;
                         });

} // namespace
