// TriangleMesh: the four edits case by case, boundaries and pinches, and the ways from and to
// indexed meshes. Expected subscripts follow from the order in which edges are made; the comments
// count along.

#include <Sorvane/HalfEdgeMesh_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <deque>
#include <limits>
#include <string>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;
using Support::CheckTopology;
using Support::CountTopology;
using Support::Fingerprint;
using Support::TopologyCounts;
using Velk::Math::Sorvane::Mesh::IndexedPointsBase;

using Triangles = TriangleMesh<HVertex<3, double>, HEdge, HFace>;
using List = std::vector<int>;

template <class Mesh = Triangles>
Mesh Loaded(const Support::IndexedMesh& indexed)
{
    Mesh mesh;
    EXPECT_TRUE(mesh.LoadIndexedPoints(indexed));
    EXPECT_EQ(CheckTopology(mesh), "");
    return mesh;
}

// Locks chosen by a test, and nothing else.
class LockedMesh : public Triangles {
public:
    int node = -9;
    int edge = -9;
    int face = -9;
    bool IsNodeLocked(int n) const override { return n == node; }
    bool IsEdgeLocked(int e) const override { return e == edge; }
    bool IsFaceLocked(int f) const override { return f == face; }
};

// --- faces --------------------------------------------------------------------------------------

TEST(TriangleMesh, FacesAreTriangles)
{
    Triangles mesh;
    for (int n = 0; n < 4; ++n) {
        mesh.AddNode({});
    }
    EXPECT_EQ(mesh.AddFace({0, 1, 2, 3}), -1);
    EXPECT_EQ(mesh.AddFace({0, 1}), -1);
    EXPECT_EQ(mesh.AddFace({}), -1);
    EXPECT_EQ(mesh.AddTriangle({0, 1, 0}), -1); // a triple that repeats a node
    EXPECT_EQ(mesh.AddTriangle({0, 0, 1}), -1);
    EXPECT_EQ(mesh.AddTriangle({1, 0, 0}), -1);
    EXPECT_EQ(mesh.EdgeCount(), 0);
    EXPECT_EQ(mesh.AddFace({0, 1, 2}), 0);
    EXPECT_EQ(mesh.AddTriangleFromEdges({1, 1, 1}), -1);
    EXPECT_EQ(mesh.AddTriangleFromEdges({1, 5}), -1);
    EXPECT_EQ(mesh.AddFaceFromEdges({1, 3, 5}), -1); // against the direction
    EXPECT_EQ(mesh.AddFaceFromEdges({1, 5, 3}), 1);  // 1-0, 0-2, 2-1: the back side
    EXPECT_EQ(mesh.FaceNodes(1), (List{1, 0, 2}));
    EXPECT_EQ(mesh.FaceNeighbors(0), (List{1, 1, 1}));
    EXPECT_EQ(CheckTopology(mesh), "");
}

TEST(TriangleMesh, PolygonsGoThroughTheQualifiedForms)
{
    Triangles mesh;
    for (int n = 0; n < 5; ++n) {
        mesh.AddNode({});
    }
    EXPECT_EQ(mesh.Triangles::Base::AddFace({0, 1, 2, 3, 4}), 0);
    EXPECT_EQ(mesh.Triangles::Base::FaceNodes(0), (List{0, 1, 2, 3, 4}));
    EXPECT_EQ(mesh.Triangles::Base::FaceEdges(0), (List{0, 2, 4, 6, 8}));
    EXPECT_EQ(mesh.FaceEdges(0), (List{0, 2, 8})); // edge, next, prev
    EXPECT_EQ(mesh.FaceNodes(0), (List{0, 1, 4}));
    // No edit takes a pentagon for a triangle.
    ASSERT_TRUE(mesh.LinkBoundaryEdges());
    const List before = Fingerprint(mesh);
    int middle = 0;
    EXPECT_FALSE(mesh.SplitFace(0, middle, true));
    EXPECT_FALSE(mesh.SplitEdge(0, middle, true, true));
    EXPECT_FALSE(mesh.CollapseEdge(0, true, true));
    EXPECT_EQ(Fingerprint(mesh), before);
}

TEST(TriangleMesh, FaceListsAreEmptyWhereALinkIsMissing)
{
    Triangles mesh = Loaded(Support::Octahedron());
    EXPECT_EQ(mesh.FaceEdges(0).size(), 3U);
    mesh.EdgeRecord(mesh.FaceRecord(0)->edge)->prev = -2;
    EXPECT_TRUE(mesh.FaceEdges(0).empty());
    EXPECT_TRUE(mesh.FaceNodes(0).empty());
    EXPECT_TRUE(mesh.FaceNeighbors(0).empty());
    EXPECT_TRUE(mesh.FaceNeighbors(99).empty());
}

TEST(TriangleMesh, NeighborsAcrossABoundaryAreMinusOne)
{
    const Triangles mesh = Loaded(Support::Grid(1, 1)); // (0, 1, 3) and (0, 3, 2)
    EXPECT_EQ(mesh.FaceNeighbors(0), (List{-1, -1, 1}));
    EXPECT_EQ(mesh.FaceNeighbors(1), (List{0, -1, -1}));
}

TEST(TriangleMesh, DiamondOfAnEdge)
{
    Triangles mesh = Loaded(Support::Grid(1, 1));
    const int diagonal = mesh.FindEdge(0, 3);
    EXPECT_EQ(mesh.EdgeDiamond(diagonal), (List{0, 3, 2, 1}));
    EXPECT_EQ(mesh.EdgeDiamond(diagonal ^ 1), (List{3, 0, 1, 2}));
    const int inner = mesh.FindEdge(0, 1);
    EXPECT_EQ(mesh.EdgeDiamond(inner), (List{0, 1, 3, -3}));
    // On the outer half the third node is the boundary node before it: the rim runs 3, 1, 0, 2.
    EXPECT_EQ(mesh.EdgeDiamond(inner ^ 1), (List{1, 0, 3, 3}));
    EXPECT_TRUE(mesh.EdgeDiamond(-2).empty());

    mesh.EdgeRecord(inner ^ 1)->next = -2;
    mesh.EdgeRecord(inner ^ 1)->prev = -2;
    EXPECT_EQ(mesh.EdgeDiamond(inner ^ 1), (List{1, -3, -3, 3}));

    // The half-edge before the twin must lie in the twin's own face.
    mesh.EdgeRecord(mesh.EdgeRecord(diagonal ^ 1)->prev)->face ^= 1;
    EXPECT_EQ(mesh.EdgeDiamond(diagonal), (List{0, 3, 2, -3}));
}

// --- flip ---------------------------------------------------------------------------------------

TEST(TriangleMesh, FlipTurnsTheDiagonal)
{
    Triangles mesh = Loaded(Support::Grid(1, 1));
    const int e = mesh.FindEdge(3, 0); // a = 3, b = 0, c = 1, d = 2
    const int left = mesh.EdgeRecord(e)->face;
    const int right = mesh.EdgeRecord(e ^ 1)->face;
    EXPECT_TRUE(mesh.FlipEdge(e, false));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(mesh.EdgeNodes(e), (List{2, 1})); // d to c
    EXPECT_EQ(mesh.FindEdge(0, 3), -2);
    EXPECT_EQ(mesh.FindEdge(2, 1), e);
    EXPECT_EQ(mesh.EdgeFaces(e), (List{left, right}));
    EXPECT_EQ(mesh.FaceRecord(left)->edge, e);
    EXPECT_EQ(mesh.FaceRecord(right)->edge, e ^ 1);
    EXPECT_EQ(mesh.FaceNodes(left), (List{2, 1, 3}));                  // d, c, a
    EXPECT_EQ(mesh.FaceNodes(right), (List{1, 2, 0}));                 // c, d, b
    EXPECT_EQ(mesh.EdgeNodes(mesh.NodeRecord(3)->edge), (List{3, 2})); // a names a-d
    EXPECT_EQ(mesh.EdgeNodes(mesh.NodeRecord(0)->edge), (List{0, 1})); // b names b-c
    EXPECT_EQ(mesh.EdgeNodes(mesh.NodeRecord(1)->edge), (List{1, 3})); // c names c-a
    EXPECT_EQ(mesh.EdgeNodes(mesh.NodeRecord(2)->edge), (List{2, 0})); // d names d-b
}

TEST(TriangleMesh, FlipOnABoundaryFailsEvenWithForce)
{
    Triangles mesh = Loaded(Support::Grid(2, 2));
    const List before = Fingerprint(mesh);
    for (const int e : {mesh.FindEdge(0, 1), mesh.FindEdge(1, 0)}) {
        EXPECT_FALSE(mesh.FlipEdge(e, true));
        EXPECT_FALSE(mesh.FlipEdge(e, false));
    }
    EXPECT_FALSE(mesh.FlipEdge(-2, true));
    EXPECT_FALSE(mesh.FlipEdge(1000, true));
    EXPECT_EQ(Fingerprint(mesh), before);
}

TEST(TriangleMesh, TwoFlipsExchangeTheHalvesFourRestoreThem)
{
    Triangles mesh = Loaded(Support::Octahedron());
    const int e = mesh.FindEdge(0, 2);
    const List faces = mesh.EdgeFaces(e);
    ASSERT_TRUE(mesh.FlipEdge(e, false)); // a flipped octahedron has no edge twice
    ASSERT_TRUE(mesh.FlipEdge(e, false));
    EXPECT_EQ(mesh.EdgeNodes(e), (List{2, 0}));
    EXPECT_EQ(mesh.EdgeFaces(e), faces);
    const Triangles twice = mesh;
    ASSERT_TRUE(mesh.FlipEdge(e, false));
    ASSERT_TRUE(mesh.FlipEdge(e, false));
    EXPECT_EQ(mesh.EdgeNodes(e), (List{0, 2}));
    EXPECT_EQ(mesh.EdgeFaces(e), faces);
    EXPECT_EQ(CheckTopology(mesh), "");
    ASSERT_TRUE(mesh.FlipEdge(e, false));
    ASSERT_TRUE(mesh.FlipEdge(e, false));
    EXPECT_EQ(Fingerprint(mesh), Fingerprint(twice)); // node edges included
}

TEST(TriangleMesh, FlipDoesNotAskForAnExistingEdge)
{
    // On a tetrahedron the other diagonal is there already.
    Triangles mesh = Loaded(Support::Tetrahedron());
    const int e = mesh.FindEdge(0, 1);
    const auto [a, b, c, d] = mesh.Diamond(e);
    const int existing = mesh.FindEdge(c, d);
    ASSERT_GE(existing, 0);
    EXPECT_TRUE(mesh.FlipEdge(e, false));
    EXPECT_EQ(mesh.FindEdge(d, c), e); // the new one hides the old one
    EXPECT_EQ(mesh.EdgeNodes(existing), (List{c, d}));
    EXPECT_EQ(mesh.FindEdge(a, b), -2);

    // Neither of the two edges between c and d can be collapsed: the other would become a loop.
    const List before = Fingerprint(mesh);
    for (const int doubled : {e, e ^ 1, existing, existing ^ 1}) {
        EXPECT_FALSE(mesh.CollapseEdge(doubled, true, true));
        EXPECT_FALSE(mesh.CollapseEdge(doubled, true, false));
    }
    EXPECT_EQ(Fingerprint(mesh), before);
}

TEST(TriangleMesh, NoEditOfTwoTrianglesBackToBack)
{
    Triangles mesh;
    for (int n = 0; n < 3; ++n) {
        mesh.AddNode({});
    }
    mesh.AddFace({0, 1, 2});
    mesh.AddFace({2, 1, 0});
    EXPECT_FALSE(mesh.FlipEdge(0, true));           // both apexes are node 2
    EXPECT_FALSE(mesh.CollapseEdge(0, true, true)); // the rings have that one node in common
    int m = 0;
    EXPECT_FALSE(mesh.SplitEdge(0, m, true, true)); // two edges from the middle to it
    EXPECT_EQ(m, -3);
    EXPECT_EQ(mesh.EdgeCount(), 6);
    EXPECT_TRUE(mesh.SplitFace(0, m, true));
    EXPECT_EQ(CheckTopology(mesh), "");
}

TEST(TriangleMesh, LocksHoldOffFlipsUnlessForced)
{
    const Support::IndexedMesh octahedron = Support::Octahedron();
    for (int lock = 0; lock < 4; ++lock) {
        LockedMesh mesh = Loaded<LockedMesh>(octahedron);
        const int e = mesh.FindEdge(0, 2);
        (lock < 2 ? mesh.edge : mesh.face) =
            lock < 2 ? (lock == 0 ? e : e ^ 1)
                     : mesh.EdgeFaces(e)[static_cast<std::size_t>(lock - 2)];
        const List before = Fingerprint(mesh);
        EXPECT_FALSE(mesh.FlipEdge(e, false)) << lock;
        EXPECT_EQ(Fingerprint(mesh), before);
        EXPECT_TRUE(mesh.FlipEdge(e, true)) << lock;
    }
}

// --- split of a face ----------------------------------------------------------------------------

TEST(TriangleMesh, SplitFaceMakesThreeOfOne)
{
    Triangles mesh = Loaded(Support::Grid(1, 1)); // 5 edges, 2 faces
    const List sides = mesh.FaceEdges(0);
    ASSERT_EQ(mesh.FaceNodes(0), (List{0, 1, 3}));
    int m = 0;
    EXPECT_TRUE(mesh.SplitFace(0, m, false));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(m, 4);
    EXPECT_EQ(mesh.GetVertex(m), (Vec3d{0, 0, 0}));
    EXPECT_EQ(mesh.FindEdge(0, m), 10); // spokes in the order of the corners
    EXPECT_EQ(mesh.FindEdge(1, m), 12);
    EXPECT_EQ(mesh.FindEdge(3, m), 14);
    EXPECT_EQ(mesh.NodeRecord(m)->edge, 15); // the spoke made last
    EXPECT_EQ(mesh.NodeRecord(0)->edge, 10);
    EXPECT_EQ(mesh.FaceNodes(0), (List{0, 1, m})); // the old one stays on its half-edge
    EXPECT_EQ(mesh.FaceNodes(2), (List{1, 3, m}));
    EXPECT_EQ(mesh.FaceNodes(3), (List{3, 0, m}));
    EXPECT_EQ(mesh.FaceRecord(2)->edge, sides[1]);
    EXPECT_EQ(mesh.FaceRecord(3)->edge, sides[2]);
    EXPECT_EQ(mesh.NodeNodes(m), (List{3, 0, 1}));
}

TEST(TriangleMesh, SplitFaceRefusals)
{
    LockedMesh mesh = Loaded<LockedMesh>(Support::Octahedron());
    mesh.face = 3;
    const List before = Fingerprint(mesh);
    int m = 17;
    EXPECT_FALSE(mesh.SplitFace(3, m, false));
    EXPECT_EQ(m, -3);
    m = 17;
    EXPECT_FALSE(mesh.SplitFace(99, m, true));
    EXPECT_EQ(m, -3);
    EXPECT_FALSE(mesh.SplitFace(-1, m, true));
    EXPECT_EQ(Fingerprint(mesh), before);
    EXPECT_TRUE(mesh.SplitFace(3, m, true));
    EXPECT_EQ(m, 6);
}

// --- split of an edge ---------------------------------------------------------------------------

TEST(TriangleMesh, SplitEdgeInside)
{
    Triangles mesh = Loaded(Support::Grid(1, 1)); // 5 edges, faces (0, 1, 3) and (0, 3, 2)
    const int e = mesh.FindEdge(0, 3);           // a = 0, b = 3, c = 2, d = 1
    const int left = mesh.EdgeRecord(e)->face;
    const int right = mesh.EdgeRecord(e ^ 1)->face;
    int m = 0;
    EXPECT_TRUE(mesh.SplitEdge(e, m, false, false));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(m, 4);
    EXPECT_EQ(mesh.EdgeNodes(e), (List{0, m})); // the half-edge keeps subscript and face
    EXPECT_EQ(mesh.EdgeFaces(e), (List{left, right}));
    EXPECT_EQ(mesh.FindEdge(m, 3), 10); // then d-m, then m-c
    EXPECT_EQ(mesh.FindEdge(1, m), 12);
    EXPECT_EQ(mesh.FindEdge(m, 2), 14);
    EXPECT_EQ(mesh.NodeRecord(m)->edge, 14); // made last
    EXPECT_EQ(mesh.NodeRecord(3)->edge, 11);
    EXPECT_EQ(mesh.NodeRecord(1)->edge, 12);
    EXPECT_EQ(mesh.NodeRecord(2)->edge, 15);
    EXPECT_EQ(mesh.EdgeFaces(10), (List{3, 2})); // the twin side's new face comes first
    EXPECT_EQ(mesh.FaceNodes(left), (List{0, m, 2}));
    EXPECT_EQ(mesh.FaceNodes(right), (List{m, 0, 1}));
    EXPECT_EQ(mesh.FaceNodes(2), (List{3, m, 1}));
    EXPECT_EQ(mesh.FaceNodes(3), (List{m, 3, 2}));
    EXPECT_EQ(mesh.FindEdge(0, 3), -2);
    EXPECT_EQ(CountTopology(mesh), (TopologyCounts{5, 8, 4, 1}));
}

TEST(TriangleMesh, SplitEdgeOnTheBoundaryAddsOneFace)
{
    for (const bool fromOutside : {false, true}) {
        Triangles mesh = Loaded(Support::Grid(1, 1));
        const int e = fromOutside ? mesh.FindEdge(1, 0) : mesh.FindEdge(0, 1);
        const List before = Fingerprint(mesh);
        int m = 17;
        EXPECT_FALSE(mesh.SplitEdge(e, m, true, false)); // force is no leave to cut the boundary
        EXPECT_EQ(m, -3);
        EXPECT_EQ(Fingerprint(mesh), before);
        EXPECT_TRUE(mesh.SplitEdge(e, m, false, true));
        EXPECT_EQ(CheckTopology(mesh), "");
        EXPECT_EQ(CountTopology(mesh), (TopologyCounts{5, 7, 3, 1})); // was 4, 5, 2, 1
        EXPECT_EQ(mesh.EdgeNodes(e), fromOutside ? (List{1, m}) : (List{0, m}));
        EXPECT_TRUE(mesh.IsBoundaryNode(m));
        EXPECT_EQ(mesh.Valence(m), 3); // both ends and the apex
        EXPECT_EQ(mesh.EdgeLoop(fromOutside ? e : e ^ 1).size(), 5U);
    }
}

TEST(TriangleMesh, SplitEdgeWithoutAnyFace)
{
    // An edge that hangs on a triangle by one end, and one that hangs on nothing.
    Triangles mesh;
    for (int n = 0; n < 6; ++n) {
        mesh.AddNode({});
    }
    mesh.AddFace({0, 1, 2});
    const int hanging = mesh.FindOrAddEdge(2, 3);
    const int loose = mesh.FindOrAddEdge(4, 5);
    ASSERT_TRUE(mesh.LinkBoundaryEdges());
    ASSERT_EQ(CheckTopology(mesh), "");
    for (const int e : {hanging, hanging ^ 1, loose, loose ^ 1}) {
        const TopologyCounts before = CountTopology(mesh);
        int m = 0;
        EXPECT_TRUE(mesh.SplitEdge(e, m, false, true));
        EXPECT_EQ(CheckTopology(mesh), "");
        EXPECT_EQ(CountTopology(mesh), (TopologyCounts{before.nodes + 1, before.edges + 1,
                                                       before.faces, before.boundaryLoops}));
        EXPECT_EQ(mesh.Valence(m), 2);
    }
    EXPECT_EQ(mesh.EdgeLoop(loose).size(), 6U); // three edges, there and back
}

TEST(TriangleMesh, SplitEdgeNeedsALinkedBoundary)
{
    Triangles mesh;
    for (int n = 0; n < 3; ++n) {
        mesh.AddNode({});
    }
    mesh.AddFace({0, 1, 2});
    int m = 0;
    EXPECT_FALSE(mesh.SplitEdge(0, m, true, true));
    EXPECT_EQ(m, -3);
    EXPECT_FALSE(mesh.SplitEdge(-2, m, true, true));
    EXPECT_TRUE(mesh.LinkBoundaryEdges());
    EXPECT_TRUE(mesh.SplitEdge(0, m, true, true));
}

TEST(TriangleMesh, LocksHoldOffSplitsUnlessForced)
{
    for (int lock = 0; lock < 4; ++lock) {
        LockedMesh mesh = Loaded<LockedMesh>(Support::Octahedron());
        const int e = mesh.FindEdge(0, 2);
        (lock < 2 ? mesh.edge : mesh.face) =
            lock < 2 ? (lock == 0 ? e : e ^ 1)
                     : mesh.EdgeFaces(e)[static_cast<std::size_t>(lock - 2)];
        int m = 0;
        EXPECT_FALSE(mesh.SplitEdge(e, m, false, false)) << lock;
        EXPECT_EQ(m, -3);
        EXPECT_TRUE(mesh.SplitEdge(e, m, true, false)) << lock;
    }
}

// --- collapse -----------------------------------------------------------------------------------

TEST(TriangleMesh, CollapseKeepsTheOriginInPlace)
{
    Triangles mesh = Loaded(Support::Octahedron());
    const int e = mesh.FindEdge(0, 2); // 0 stays, 2 goes; apexes 4 and 5
    const int survivorC = mesh.FindEdge(2, 4);
    const int survivorD = mesh.FindEdge(5, 2);
    const int ca = mesh.FindEdge(4, 0);
    const int ad = mesh.FindEdge(0, 5);
    const List faces = mesh.EdgeFaces(e);
    const Vec3d place = mesh.GetVertex(0);
    EXPECT_TRUE(mesh.CollapseEdge(e, false, false));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(CountTopology(mesh), (TopologyCounts{5, 9, 6, 0})); // was 6, 12, 8
    EXPECT_EQ(mesh.GetVertex(0), place);
    EXPECT_FALSE(mesh.IsValidNode(2));
    EXPECT_FALSE(mesh.IsValidEdge(e));
    EXPECT_EQ(mesh.FindEdge(0, 4), survivorC); // next(e) and prev(t) survive, under the kept node
    EXPECT_EQ(mesh.FindEdge(5, 0), survivorD);
    EXPECT_EQ(mesh.Valence(0), 4); // 4 + 4 - 4
    EXPECT_EQ(mesh.Valence(4), 3);
    EXPECT_GE(mesh.FindEdge(0, 1), 0); // 2-1 moved over

    // Free lists: the node; the edge, c-a, a-d; the left face, the right one.
    EXPECT_EQ(mesh.FreeNodes(), (std::deque<int>{2}));
    EXPECT_EQ(mesh.FreeEdges(), (std::deque<std::pair<int, int>>{
                                    {e & ~1, e | 1}, {ca & ~1, ca | 1}, {ad & ~1, ad | 1}}));
    EXPECT_EQ(mesh.FreeFaces(), (std::deque<int>{faces[0], faces[1]}));
}

TEST(TriangleMesh, CollapseOfATetrahedronFails)
{
    Triangles mesh = Loaded(Support::Tetrahedron());
    const List before = Fingerprint(mesh);
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        EXPECT_FALSE(mesh.CollapseEdge(e, true, true)); // the mesh would fold onto itself
        EXPECT_FALSE(mesh.CollapseEdge(e, false, false));
    }
    EXPECT_EQ(Fingerprint(mesh), before);
}

TEST(TriangleMesh, CollapseNextToATetrahedralCornerFails)
{
    // A node in a triangle: its three spokes are fine, but a rim edge has three common neighbors.
    Triangles mesh = Loaded(Support::Octahedron());
    int m = 0;
    ASSERT_TRUE(mesh.SplitFace(0, m, false));
    const List corners = mesh.NodeNodes(m);
    ASSERT_EQ(corners.size(), 3U);
    EXPECT_FALSE(
        mesh.CollapseEdge(mesh.FindEdge(corners[0], corners[1]), true, true)); // 3 in common
    EXPECT_TRUE(mesh.CollapseEdge(mesh.FindEdge(corners[0], m), false, false));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(CountTopology(mesh), (TopologyCounts{6, 12, 8, 0}));
}

TEST(TriangleMesh, ThreeNeighborsAloneMakeNoTetrahedron)
{
    // The middle of a split triangle keeps its place and takes in a corner of higher valence.
    Triangles closed = Loaded(Support::Octahedron());
    int m = 0;
    ASSERT_TRUE(closed.SplitFace(0, m, false));
    EXPECT_TRUE(closed.CollapseEdge(closed.NodeRecord(m)->edge, false, false));
    EXPECT_EQ(CheckTopology(closed), "");
    EXPECT_EQ(CountTopology(closed), (TopologyCounts{6, 12, 8, 0}));

    // Corner and middle of a lone triangle have three neighbors each, the corner on the boundary.
    Triangles open;
    ASSERT_TRUE(open.LoadIndexedPoints(std::vector<Vec3d>(3), {0, 1, 2}, [](int, int) {}));
    ASSERT_TRUE(open.SplitFace(0, m, false));
    EXPECT_FALSE(open.CollapseEdge(open.FindEdge(0, m), true, false));
    EXPECT_TRUE(open.CollapseEdge(open.FindEdge(0, m), false, true));
    EXPECT_EQ(CheckTopology(open), "");
    EXPECT_EQ(CountTopology(open), (TopologyCounts{3, 3, 1, 1}));
}

TEST(TriangleMesh, CollapseOfAClosedPairOfPyramids)
{
    // Two triangles' worth of bipyramid: 5 nodes, 6 faces. An equator edge has the two tips and the
    // third equator node in common, a slope the two other equator nodes.
    Triangles mesh;
    const std::vector<Vec3d> points(5);
    ASSERT_TRUE(mesh.LoadIndexedPoints(
        points, {0, 1, 3, 1, 2, 3, 2, 0, 3, 1, 0, 4, 2, 1, 4, 0, 2, 4}, [](int, int) {}));
    EXPECT_FALSE(mesh.CollapseEdge(mesh.FindEdge(0, 1), false, false));
    EXPECT_TRUE(mesh.CollapseEdge(mesh.FindEdge(0, 3), false, false));
    EXPECT_EQ(CountTopology(mesh),
              (TopologyCounts{4, 6, 4, 0})); // a tetrahedron: the end of the road
    EXPECT_EQ(CheckTopology(mesh), "");
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        EXPECT_FALSE(mesh.CollapseEdge(e, true, true));
    }
}

TEST(TriangleMesh, CollapseNearTheBoundaryNeedsRelaxed)
{
    // A strip of three rows: the middle nodes are inside, one step from the rim.
    const Support::IndexedMesh grid = Support::Grid(4, 2); // nodes 5 y + x
    Triangles mesh = Loaded(grid);
    const int inside = 6; // (1, 1)
    ASSERT_FALSE(mesh.IsBoundaryNode(inside));
    ASSERT_FALSE(mesh.IsBoundaryNode(7));
    const int inner = mesh.FindEdge(7, inside);
    const int fromRim = mesh.FindEdge(1, inside);
    const int toRim = mesh.FindEdge(inside, 1);
    EXPECT_FALSE(mesh.CollapseEdge(fromRim, false, false)); // one end on the rim
    EXPECT_FALSE(mesh.CollapseEdge(toRim, false, true));    // a rim node never goes
    EXPECT_FALSE(mesh.CollapseEdge(toRim, true, true));
    EXPECT_TRUE(mesh.CollapseEdge(fromRim, false, true));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(CountTopology(mesh).Euler(), 1);
    EXPECT_EQ(CountTopology(mesh).boundaryLoops, 1);
    EXPECT_TRUE(mesh.IsBoundaryNode(1));

    Triangles other = Loaded(grid);
    EXPECT_TRUE(other.CollapseEdge(inner, false, false)); // no edge of its two triangles on the rim
    EXPECT_EQ(CheckTopology(other), "");
}

TEST(TriangleMesh, CollapseOfABoundaryEdgeFails)
{
    Triangles mesh = Loaded(Support::Grid(3, 3));
    for (const bool relaxed : {false, true}) {
        EXPECT_FALSE(mesh.CollapseEdge(mesh.FindEdge(0, 1), true, relaxed));
        EXPECT_FALSE(mesh.CollapseEdge(mesh.FindEdge(1, 0), true, relaxed));
        EXPECT_FALSE(mesh.CollapseEdge(-4, true, relaxed));
    }
}

TEST(TriangleMesh, AnyLockHoldsOffACollapseUnlessForced)
{
    // Either end, any half-edge of the two triangles, either face, any half-edge out of the node
    // that goes: 2 + 6 + 2 + the other 1 of valence 4 (three of which belong to the six).
    Triangles plain = Loaded(Support::Octahedron());
    const int e = plain.FindEdge(0, 2);
    const auto* left = plain.EdgeRecord(e);
    const auto* right = plain.EdgeRecord(e ^ 1);
    const List six = {e, e ^ 1, left->next, left->prev, right->next, right->prev};
    const int far = plain.FindEdge(2, 1);
    for (const int node : {0, 2}) {
        LockedMesh mesh = Loaded<LockedMesh>(Support::Octahedron());
        mesh.node = node;
        EXPECT_FALSE(mesh.CollapseEdge(e, false, true)) << "node " << node;
        EXPECT_TRUE(mesh.CollapseEdge(e, true, true));
    }
    List locking = six;
    locking.push_back(far);
    for (const int edge : locking) {
        LockedMesh mesh = Loaded<LockedMesh>(Support::Octahedron());
        mesh.edge = edge;
        const List before = Fingerprint(mesh);
        EXPECT_FALSE(mesh.CollapseEdge(e, false, true)) << "edge " << edge;
        EXPECT_EQ(Fingerprint(mesh), before);
        EXPECT_TRUE(mesh.CollapseEdge(e, true, true));
    }
    for (const int face : {left->face, right->face}) {
        LockedMesh mesh = Loaded<LockedMesh>(Support::Octahedron());
        mesh.face = face;
        EXPECT_FALSE(mesh.CollapseEdge(e, false, true)) << "face " << face;
        EXPECT_TRUE(mesh.CollapseEdge(e, true, true));
    }
    LockedMesh mesh = Loaded<LockedMesh>(Support::Octahedron());
    mesh.edge = far ^ 1; // into the node: not asked
    EXPECT_TRUE(mesh.CollapseEdge(e, false, true));
}

// A host's own boundary besides the real one: an edge that acts as a wall, or a node.
class WalledMesh : public Triangles {
public:
    int wall = -9;
    int post = -9;
    bool IsBoundaryEdge(int e, bool bothSides) const override
    {
        return Triangles::IsBoundaryEdge(e, bothSides) || e == wall ||
               (bothSides && e == (wall ^ 1));
    }
    bool IsBoundaryNode(int n) const override { return Triangles::IsBoundaryNode(n) || n == post; }
};

// The closed octahedron has no boundary of its own: only the host's can refuse.
TEST(TriangleMesh, CollapseAsksTheHostForBoundaries)
{
    const auto collapses = [](int wallFrom, int wallTo, int post, bool relaxed) {
        WalledMesh mesh = Loaded<WalledMesh>(Support::Octahedron());
        if (wallFrom >= 0) {
            mesh.wall = mesh.FindEdge(wallFrom, wallTo);
            EXPECT_GE(mesh.wall, 0);
        }
        mesh.post = post;
        const List before = Fingerprint(mesh);
        const bool done = mesh.CollapseEdge(mesh.FindEdge(0, 2), true, relaxed); // 2 goes
        EXPECT_EQ(Fingerprint(mesh) == before, !done);
        return done;
    };
    for (const bool relaxed : {false, true}) {
        EXPECT_TRUE(collapses(-1, -1, -1, relaxed));
        // The spoke of 2 that belongs to neither of the two triangles.
        EXPECT_FALSE(collapses(2, 1, -1, relaxed));
        EXPECT_FALSE(collapses(1, 2, -1, relaxed));
        EXPECT_FALSE(collapses(-1, -1, 2, relaxed));
        EXPECT_EQ(collapses(0, 3, -1, relaxed), relaxed); // at the node that stays
        EXPECT_EQ(collapses(-1, -1, 0, relaxed), relaxed);
        EXPECT_TRUE(collapses(1, 3, -1, relaxed)); // at neither
        EXPECT_TRUE(collapses(-1, -1, 4, relaxed));
    }
}

// Everything is locked.
class FrozenMesh : public Triangles {
public:
    bool IsNodeLocked(int) const override { return true; }
    bool IsEdgeLocked(int) const override { return true; }
    bool IsFaceLocked(int) const override { return true; }
};

// Collapses by force until none is left to do: each takes one node, three edges and two faces, no
// boundary loop goes, and every live half-edge keeps its entry among the node pairs.
TEST(TriangleMesh, ForcedCollapsesKeepOneNodePairPerHalfEdge)
{
    const std::vector<Support::IndexedMesh> shapes = {
        Support::Sphere(2),
        Support::Torus(8, 7),
        Support::Grid(7, 6),
        Support::Without(Support::Sphere(2), {0, 77}),
        Support::Without(Support::Grid(6, 5), {14, 29}), // two holes that touch
        Support::Together(Support::Octahedron(), Support::Strip(6)),
        Support::Fan(70, true)}; // a ring that outgrows the short list
    for (std::size_t k = 0; k < shapes.size(); ++k) {
        for (const bool relaxed : {false, true}) {
            SCOPED_TRACE(std::to_string(k) + (relaxed ? " relaxed" : ""));
            FrozenMesh mesh = Loaded<FrozenMesh>(shapes[k]);
            TopologyCounts counts = CountTopology(mesh);
            const bool isClosed = counts.boundaryLoops == 0;
            int done = 0;
            for (bool any = true; any;) {
                any = false;
                for (int e = mesh.EdgeCount(); e-- > 0;) {
                    const bool isFree = mesh.IsValidEdge(e);
                    ASSERT_FALSE(mesh.CollapseEdge(e, false, relaxed));
                    if (!isFree || !mesh.CollapseEdge(e, true, relaxed)) {
                        continue;
                    }
                    counts = {counts.nodes - 1, counts.edges - 3, counts.faces - 2,
                              counts.boundaryLoops};
                    ASSERT_EQ(CheckTopology(mesh), "");
                    ASSERT_EQ(CountTopology(mesh), counts);
                    any = true;
                    ++done;
                }
            }
            // The hub of the fan has only rim nodes round it, the strip no inner node at all.
            EXPECT_TRUE(done > 0 || (!relaxed && !isClosed));
            if (k == 0) {
                EXPECT_EQ(counts, (TopologyCounts{4, 6, 4, 0})); // a tetrahedron
            }
        }
    }
}

TEST(TriangleMesh, SlotsOfACollapseServeTheNextSplit)
{
    Triangles mesh = Loaded(Support::Octahedron());
    const int e = mesh.FindEdge(0, 2);
    ASSERT_TRUE(mesh.CollapseEdge(e, false, false));
    const auto freeEdges = mesh.FreeEdges();
    const auto freeFaces = mesh.FreeFaces();
    int m = 0;
    ASSERT_TRUE(mesh.SplitEdge(mesh.FindEdge(0, 4), m, false, false));
    EXPECT_EQ(m, 2);
    EXPECT_EQ(mesh.FindEdge(m, 4), freeEdges[0].first); // first in, first out
    EXPECT_EQ(mesh.EdgeCount(), 24);                    // nothing was appended
    EXPECT_EQ(mesh.FaceCount(), 8);
    EXPECT_EQ(mesh.EdgeFaces(mesh.FindEdge(4, m))[0], freeFaces[0]); // the twin side comes first
    EXPECT_TRUE(mesh.FreeEdges().empty() && mesh.FreeFaces().empty() && mesh.FreeNodes().empty());
    EXPECT_EQ(CheckTopology(mesh), "");
}

// --- boundaries ---------------------------------------------------------------------------------

TEST(TriangleMesh, LinkedBoundaryRunsRound)
{
    const Triangles mesh = Loaded(Support::Grid(2, 1)); // 0 1 2 below, 3 4 5 above
    const int outer = mesh.FindEdge(1, 0);
    const List loop = mesh.EdgeLoop(outer);
    List nodes;
    for (const int e : loop) {
        nodes.push_back(mesh.EdgeRecord(e)->node);
    }
    EXPECT_EQ(nodes, (List{1, 0, 3, 4, 5, 2})); // clockwise, as seen from above
}

TEST(TriangleMesh, UnevenBoundaryIsNotLinked)
{
    // A half-edge of the triangle has lost its face. Without 0-1 two such half-edges leave node 0
    // and one arrives; without 2-0 it is the other way about. Nothing is linked there.
    for (const bool leaves : {true, false}) {
        Triangles mesh;
        for (int n = 0; n < 3; ++n) {
            mesh.AddNode({});
        }
        mesh.AddFace({0, 1, 2});
        mesh.EdgeRecord(leaves ? mesh.FindEdge(0, 1) : mesh.FindEdge(2, 0))->face = -1;
        EXPECT_FALSE(mesh.LinkBoundaryEdges());
        EXPECT_EQ(mesh.EdgeRecord(mesh.FindEdge(1, 0))->next, -2);
        EXPECT_EQ(mesh.EdgeRecord(mesh.FindEdge(0, 2))->prev, -2);
    }
}

TEST(TriangleMesh, ClosedMeshHasNothingToLink)
{
    Triangles mesh = Loaded(Support::Cube());
    EXPECT_TRUE(mesh.LinkBoundaryEdges());
    Triangles empty;
    EXPECT_TRUE(empty.LinkBoundaryEdges());
    EXPECT_TRUE(empty.LoadIndexedPoints(Support::IndexedMesh{}));
}

TEST(TriangleMesh, TwoFansAtOneNodeAreLinkedCrosswise)
{
    // The shared node has the highest number: the case that a walk the wrong way round never
    // leaves.
    const Triangles mesh = Loaded(Support::TrianglesAtOnePoint(2)); // (0, 1, 4) and (2, 3, 4)
    EXPECT_EQ(mesh.EdgeRecord(mesh.FindEdge(0, 4))->next,
              mesh.FindEdge(4, 3)); // into the other fan
    EXPECT_EQ(mesh.EdgeRecord(mesh.FindEdge(2, 4))->next, mesh.FindEdge(4, 1));
    EXPECT_EQ(mesh.NodeNodes(4).size(), 4U); // the ring runs through both fans
    EXPECT_EQ(mesh.NodeFaces(4).size(), 2U);
    EXPECT_EQ(CountTopology(mesh), (TopologyCounts{5, 6, 2, 1})); // one figure of eight

    for (int n = 0; n < 5; ++n) { // and with any node shared
        std::vector<int> indices = {0, 1, 4, 2, 3, 4};
        for (int& i : indices) {
            i = (i + n) % 5;
        }
        Triangles turned;
        EXPECT_TRUE(turned.LoadIndexedPoints(std::vector<Vec3d>(5), indices, [](int, int) {}));
        EXPECT_EQ(CheckTopology(turned), "");
        EXPECT_EQ(turned.NodeNodes((4 + n) % 5).size(), 4U);
    }
}

TEST(TriangleMesh, ThreeFansAtOneNodeStayUnlinked)
{
    Triangles mesh;
    EXPECT_FALSE(mesh.LoadIndexedPoints(Support::TrianglesAtOnePoint(3)));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(mesh.EdgeRecord(mesh.FindEdge(6, 1))->prev, -2);
    EXPECT_EQ(mesh.EdgeRecord(mesh.FindEdge(6, 1))->next,
              mesh.FindEdge(1, 0)); // elsewhere all is linked
    EXPECT_EQ(mesh.FaceCount(), 3);
}

TEST(TriangleMesh, FailedLinkingAdjustsNoNodeAtAll)
{
    // A grid beside the pinch: its corner nodes would be adjusted if the pinch were not there.
    const Support::IndexedMesh grid = Support::Grid(2, 2);
    Triangles adjusted = Loaded(grid);
    Triangles spoiled;
    EXPECT_FALSE(
        spoiled.LoadIndexedPoints(Support::Together(grid, Support::TrianglesAtOnePoint(3))));
    Triangles plain;
    for (const Vec3d& p : grid.points) {
        plain.AddNode(HVertex<3, double>(p));
    }
    for (std::size_t i = 0; i < grid.indices.size(); i += 3) {
        plain.AddFace({grid.indices[i], grid.indices[i + 1], grid.indices[i + 2]});
    }
    int different = 0;
    for (int n = 0; n < 9; ++n) {
        EXPECT_EQ(spoiled.NodeRecord(n)->edge, plain.NodeRecord(n)->edge);
        different += adjusted.NodeRecord(n)->edge != plain.NodeRecord(n)->edge ? 1 : 0;
    }
    EXPECT_GT(different, 0);
}

TEST(TriangleMesh, AdjustedNodeBeginsItsFan)
{
    // Nodes whose half-edge has a face turn to the first of their fan; the twin of it has none.
    Triangles mesh;
    for (int n = 0; n < 5; ++n) {
        mesh.AddNode({});
    }
    for (const List& t : {List{0, 1, 2}, {0, 2, 3}, {0, 3, 4}}) {
        mesh.AddFace(t);
    }
    ASSERT_TRUE(mesh.LinkBoundaryEdges());
    mesh.NodeRecord(0)->edge = mesh.FindEdge(0, 2);
    mesh.AdjustBoundaryNode(0);
    EXPECT_EQ(mesh.NodeRecord(0)->edge, mesh.FindEdge(0, 1));
    EXPECT_EQ(mesh.NodeNodes(0), (List{1, 2, 3, 4}));
    mesh.AdjustBoundaryNode(0); // already there
    EXPECT_EQ(mesh.NodeRecord(0)->edge, mesh.FindEdge(0, 1));

    // A half-edge without a face is left: the ring then begins with the last node of the fan.
    mesh.NodeRecord(0)->edge = mesh.FindEdge(0, 4);
    mesh.AdjustBoundaryNode(0);
    EXPECT_EQ(mesh.NodeNodes(0), (List{4, 1, 2, 3}));

    mesh.AdjustBoundaryNode(-2);
    mesh.AdjustBoundaryNode(99);
    Triangles closed = Loaded(Support::Octahedron());
    const List before = Fingerprint(closed);
    for (int n = 0; n < 6; ++n) {
        closed.AdjustBoundaryNode(n);
    }
    EXPECT_EQ(Fingerprint(closed), before);
}

TEST(TriangleMesh, AdjustedNodeOfTwoFansGoesOnToTheOther)
{
    Triangles mesh = Loaded(Support::TrianglesAtOnePoint(2)); // (0, 1, 4) and (2, 3, 4)
    mesh.NodeRecord(4)->edge = mesh.FindEdge(4, 0);
    mesh.AdjustBoundaryNode(4);
    EXPECT_EQ(mesh.NodeRecord(4)->edge, mesh.FindEdge(4, 2));
    mesh.AdjustBoundaryNode(4);
    EXPECT_EQ(mesh.NodeRecord(4)->edge, mesh.FindEdge(4, 0));
}

TEST(TriangleMesh, FaceAddedToALinkedBoundaryLeavesALinkedBoundary)
{
    //  3---4---5    A square strip with its loop 0 3 4 5 2 1, and a point 6 beyond. Each triangle
    //  is | / | / |    added along one, two or three of the boundary's edges. 0---1---2
    const auto loopFrom = [](const Triangles& mesh, int a, int b) {
        List nodes;
        for (const int e : mesh.EdgeLoop(mesh.FindEdge(a, b))) {
            nodes.push_back(mesh.EdgeRecord(e)->node);
        }
        return nodes;
    };
    Triangles mesh = Loaded(Support::Grid(2, 1));
    mesh.AddNode({});
    EXPECT_EQ(loopFrom(mesh, 0, 3), (List{0, 3, 4, 5, 2, 1}));
    ASSERT_GE(mesh.AddTriangle({3, 4, 6}), 0);
    EXPECT_EQ(loopFrom(mesh, 0, 3), (List{0, 3, 6, 4, 5, 2, 1}));
    ASSERT_GE(mesh.AddTriangle({4, 5, 6}), 0); // beside it: 6-4 and 4-5
    EXPECT_EQ(loopFrom(mesh, 0, 3), (List{0, 3, 6, 5, 2, 1}));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(mesh.NodeNodes(4).size(), 5U); // inside now
    EXPECT_FALSE(mesh.IsBoundaryNode(4));
    ASSERT_GE(mesh.AddTriangle({2, 1, 3}), 0); // 1-3 and 3-2 are new; at 3 it touches in a corner
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_TRUE(mesh.IsPinchNode(3));
    EXPECT_TRUE(mesh.LinkBoundaryEdges());
    EXPECT_EQ(CheckTopology(mesh), "");

    Triangles hole = Loaded(Support::Without(Support::Octahedron(), {3}));
    ASSERT_GE(hole.AddTriangle({3, 0, 4}), 0);
    EXPECT_EQ(CheckTopology(hole), "");
    EXPECT_EQ(CountTopology(hole), (TopologyCounts{6, 12, 8, 0}));
}

TEST(TriangleMesh, DebrisOfARefusedFaceIsLinkedAsItsOwnFan)
{
    // The second fin leaves an edge 3-0 without a face: at node 0 it is a fan by itself.
    const Triangles mesh = Loaded(Support::Fins(2));
    EXPECT_EQ(mesh.FaceCount(), 1);
    const int debris = mesh.FindEdge(3, 0);
    ASSERT_GE(debris, 0);
    EXPECT_EQ(mesh.EdgeRecord(debris ^ 1)->next, debris); // turns back at node 3
    EXPECT_EQ(mesh.NodeNodes(0).size(), 3U);
    EXPECT_TRUE(mesh.IsBoundaryEdge(debris, false));

    Triangles three;
    EXPECT_FALSE(three.LoadIndexedPoints(Support::Fins(3))); // three fans at node 0
    EXPECT_EQ(three.FaceCount(), 1);
    EXPECT_EQ(CheckTopology(three), "");
}

// --- from and to indexed meshes -----------------------------------------------------------------

TEST(TriangleMesh, LoadIsTheSameAsAddingOneByOne)
{
    for (const Support::IndexedMesh& indexed :
         {Support::Grid(5, 4), Support::Cube(), Support::Fins(2), Support::MoebiusStrip(6),
          Support::TrianglesAtOnePoint(2), Support::Fan(5, false)}) {
        Triangles loaded;
        const bool isLinked = loaded.LoadIndexedPoints(indexed);
        Triangles built;
        for (const Vec3d& p : indexed.points) {
            built.AddNode(HVertex<3, double>(p));
        }
        for (std::size_t i = 0; i < indexed.indices.size(); i += 3) {
            built.AddFace({indexed.indices[i], indexed.indices[i + 1], indexed.indices[i + 2]});
        }
        EXPECT_EQ(built.LinkBoundaryEdges(), isLinked);
        if (isLinked) {
            for (int n = 0; n < built.NodeCount(); ++n) {
                built.AdjustBoundaryNode(n);
            }
        }
        EXPECT_EQ(Fingerprint(loaded), Fingerprint(built));
    }
}

TEST(TriangleMesh, LoadDropsWhatCannotBeAdded)
{
    const std::vector<Vec3d> points(4);
    const std::vector<int> indices = {0, 0, 1, 0, 1, 2, 0, 1, 3, 0, 2, 4, -1, 0, 1, 0, 2, 3, 1, 2};
    List triples;
    Triangles mesh;
    EXPECT_TRUE(mesh.LoadIndexedPoints(points, indices,
                                       [&](int triple, int) { triples.push_back(triple); }));
    EXPECT_EQ(triples,
              (List{1, 5})); // repeated, -, taken edge, out of range, negative, -, incomplete
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_TRUE(mesh.LoadIndexedPoints(Support::Cube())); // what was there before is gone
    EXPECT_EQ(CountTopology(mesh), (TopologyCounts{8, 18, 12, 0}));
}

TEST(TriangleMesh, MoebiusStripLosesOneTriangle)
{
    // Its last square is glued on with a half turn: of its two triangles one finds a side taken.
    Triangles mesh;
    mesh.LoadIndexedPoints(Support::MoebiusStrip(7));
    EXPECT_EQ(CountTopology(mesh).faces, 13);
    EXPECT_EQ(CheckTopology(mesh), "");
}

template <class V>
class ExportOf : public testing::Test {
};
using Vertices = testing::Types<HVertex<2, float>, HVertex<2, double>, HVertex<3, double>>;
TYPED_TEST_SUITE(ExportOf, Vertices);

TYPED_TEST(ExportOf, DropsDeletedAndUnusedNodesAndMergesNearOnes)
{
    using Position = decltype(TypeParam::position);
    using T = typename Position::value_type;
    TriangleMesh<TypeParam, HEdge, HFace> mesh;
    const std::vector<std::array<double, 2>> places = {{0, 0},  {1, 0}, {1, 1}, {0, 1},
                                                       {50, 0}, {2, 0}, {2, 1}, {1, 1}};
    for (const auto& place : places) {
        TypeParam node;
        node.position.x() = static_cast<T>(place[0]);
        node.position.y() = static_cast<T>(place[1]);
        mesh.AddNode(node);
    }
    mesh.AddFace({0, 1, 2});
    mesh.AddFace({0, 2, 3});
    mesh.AddFace({1, 5, 7}); // node 7 has come to lie on node 2
    const int removed = mesh.AddFace({5, 6, 7});
    for (const int e : mesh.FaceEdges(removed)) {
        mesh.EdgeRecord(e)->face = -1;
    }
    mesh.RemoveFace(removed);
    mesh.RemoveEdge(mesh.FindEdge(5, 6));
    mesh.RemoveEdge(mesh.FindEdge(6, 7));
    mesh.RemoveNode(6); // deleted; node 4 is alive and unused

    IndexedPointsBase<Position::size(), T> exported;
    exported.points.resize(99);
    exported.indices.resize(7);
    mesh.ExportIndexedPoints(exported, 1e-12);
    EXPECT_EQ(exported.points.size(), 5U);
    EXPECT_EQ(exported.indices.size(), 9U);
    std::vector<std::array<double, 2>> corners;
    for (const int i : exported.indices) {
        const Position& p = exported.points.at(static_cast<std::size_t>(i));
        corners.push_back({p.x(), p.y()});
    }
    const std::vector<std::array<double, 2>> expected = {{0, 0}, {1, 0}, {1, 1}, {0, 0}, {1, 1},
                                                         {0, 1}, {1, 0}, {2, 0}, {1, 1}};
    EXPECT_EQ(corners, expected); // faces in order, corners from each face's half-edge on
    EXPECT_EQ(exported.indices[2], exported.indices[8]);
}

// Points of either coordinate type go into records of either, and out again.
TYPED_TEST(ExportOf, TakesAndGivesPointsOfTheOtherCoordinateType)
{
    using Position = decltype(TypeParam::position);
    using T = typename Position::value_type;
    constexpr int D = Position::size();
    using Other = std::conditional_t<std::is_same_v<T, float>, double, float>;
    IndexedPointsBase<D, Other> given; // a third can't be told apart from its rounding in `float`
    for (const auto& [x, y] : std::vector<std::pair<Other, Other>>{
             {Other{0}, Other{0}}, {Other{1} / 3, Other{0}}, {Other{0}, Other{7}}}) {
        VecBase<D, Other> point;
        point.x() = x;
        point.y() = y;
        given.points.push_back(point);
    }
    given.indices = {0, 1, 2};
    TriangleMesh<TypeParam, HEdge, HFace> mesh;
    ASSERT_TRUE(mesh.LoadIndexedPoints(given));
    EXPECT_EQ(mesh.GetVertex(1).x(), static_cast<T>(Other{1} / 3));
    EXPECT_EQ(mesh.GetVertex(2).y(), T{7});
    int triples = 0;
    ASSERT_TRUE(mesh.LoadIndexedPoints(given.points, given.indices, [&](int, int) { ++triples; }));
    EXPECT_EQ(triples, 1);

    IndexedPointsBase<D, Other> exported;
    mesh.ExportIndexedPoints(exported, 1e-12);
    ASSERT_EQ(exported.indices.size(), 3U);
    ASSERT_EQ(exported.points.size(), 3U);
    const auto corner = [&](std::size_t k) {
        return exported.points[static_cast<std::size_t>(exported.indices[k])];
    };
    EXPECT_EQ(corner(1).x(), static_cast<Other>(static_cast<T>(Other{1} / 3)));
    EXPECT_EQ(corner(2).y(), Other{7});
    IndexedPointsBase<D, T> same;
    mesh.ExportIndexedPoints(same, 1e-12);
    EXPECT_EQ(same.points.size(), 3U);
}

// What differs in `double` alone is one point in `float`.
TEST(TriangleMesh, ExportInFloatWeldsWhatItCannotTellApart)
{
    Triangles mesh;
    for (const double x : {0.0, 1.0, 1.0 + 1e-12}) {
        mesh.AddNode(HVertex<3, double>({x, 0, 0}));
    }
    mesh.AddNode(HVertex<3, double>({0, 1, 0}));
    mesh.AddFace({0, 1, 3});
    mesh.AddFace({3, 1, 2});
    IndexedPointsBase<3, float> narrow;
    mesh.ExportIndexedPoints(narrow, 0.0);
    EXPECT_EQ(narrow.points.size(), 3U);
    EXPECT_EQ(narrow.indices.size(), 6U);
    IndexedPointsBase<3, double> wide;
    mesh.ExportIndexedPoints(wide, 0.0);
    EXPECT_EQ(wide.points.size(), 4U);
}

TYPED_TEST(ExportOf, MergesNodesWithinTheToleranceOnly)
{
    using Position = decltype(TypeParam::position);
    using T = typename Position::value_type;
    TriangleMesh<TypeParam, HEdge, HFace> mesh;
    const std::vector<std::array<double, 2>> places = {{0, 0},      {4, 0}, {0, 4},
                                                       {4.0625, 0}, {4, 4}, {0, 4.5}};
    for (const auto& place : places) {
        TypeParam node;
        node.position.x() = static_cast<T>(place[0]);
        node.position.y() = static_cast<T>(place[1]);
        mesh.AddNode(node);
    }
    mesh.AddFace({0, 1, 2});
    mesh.AddFace({3, 4, 5}); // 3 lies a sixteenth off 1, and 5 a half off 2
    IndexedPointsBase<Position::size(), T> exported;
    mesh.ExportIndexedPoints(exported, 0.25);
    ASSERT_EQ(exported.indices.size(), 6U);
    EXPECT_EQ(exported.points.size(), 5U);
    EXPECT_EQ(exported.indices[1], exported.indices[3]);
    EXPECT_NE(exported.indices[2], exported.indices[5]);
    mesh.ExportIndexedPoints(exported, 1e-12);
    EXPECT_EQ(exported.points.size(), 6U);
}

TEST(TriangleMesh, ExportOfADeletedCornerIsZero)
{
    Triangles mesh;
    for (int n = 1; n <= 3; ++n) {
        mesh.AddNode(HVertex<3, double>({n, n * n, 1}));
    }
    mesh.AddFace({0, 1, 2});
    mesh.RemoveNode(1); // the caller left a face on it
    Support::IndexedMesh exported;
    mesh.ExportIndexedPoints(exported, 1e-12);
    ASSERT_EQ(exported.indices.size(), 3U);
    EXPECT_EQ(exported.points[static_cast<std::size_t>(exported.indices[1])], (Vec3d{0, 0, 0}));
}

TEST(TriangleMesh, ExportOfAnEmptyMeshIsEmpty)
{
    Support::IndexedMesh exported = Support::Cube();
    Triangles().ExportIndexedPoints(exported, 1e-12);
    EXPECT_TRUE(exported.points.empty() && exported.indices.empty());
    Triangles mesh;
    mesh.AddNode({});
    exported = Support::Cube();
    mesh.ExportIndexedPoints(exported, 1e-12);
    EXPECT_TRUE(exported.points.empty() && exported.indices.empty());
}

TEST(TriangleMesh, AssignBothWays)
{
    const Triangles source = Loaded(Support::Cube());
    Triangles copy;
    copy.Assign(source);
    EXPECT_EQ(Fingerprint(copy), Fingerprint(source));
    Triangles taker = Loaded(Support::Octahedron());
    taker.Assign(std::move(copy));
    EXPECT_EQ(Fingerprint(taker), Fingerprint(source));
    EXPECT_EQ(copy.EdgeCount(), 0); // NOLINT: what it promises
    Triangles& itself = taker;
    taker.Assign(std::move(itself));
    EXPECT_EQ(Fingerprint(taker), Fingerprint(source));
    const Triangles::Base& base = source; // the inherited pair is there too
    Triangles fromBase;
    fromBase.Assign(base);
    EXPECT_EQ(Fingerprint(fromBase), Fingerprint(source));
    EXPECT_EQ(CheckTopology(fromBase), "");
}

TEST(TriangleMesh, WorksWithoutPositions)
{
    TriangleMesh<HNode, HEdge, HFace> mesh;
    for (int n = 0; n < 4; ++n) {
        mesh.AddNode({});
    }
    for (const List& t : {List{0, 1, 2}, {0, 3, 1}, {0, 2, 3}, {1, 3, 2}}) {
        EXPECT_GE(mesh.AddFace(t), 0);
    }
    int m = 0;
    EXPECT_TRUE(mesh.SplitFace(0, m, false));
    EXPECT_TRUE(mesh.SplitEdge(0, m, false, false));
    EXPECT_TRUE(mesh.CollapseEdge(mesh.FindEdge(0, m), false, false));
    EXPECT_EQ(CheckTopology(mesh), "");
    EXPECT_EQ(CountTopology(mesh).Euler(), 2);
}

} // namespace
