// HMesh: the records, the order of subscripts, rings and loops, the guards against broken meshes,
// and what each operation leaves alone.

#include <Sorvane/HalfEdgeMesh_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;

using PolygonMesh = HMesh<HVertex<3, double>, HEdge, HFace>;
using BareMesh = HMesh<HNode, HEdge, HFace>;
using List = std::vector<int>;
using Support::Fingerprint;

template <class Mesh = PolygonMesh>
Mesh WithNodes(int count)
{
    Mesh mesh;
    for (int n = 0; n < count; ++n) {
        mesh.AddNode({});
    }
    return mesh;
}

// Four triangles round node 0, counter-clockwise through nodes 1, 2, 3, 4, and an outer rim.
PolygonMesh ClosedFan()
{
    PolygonMesh mesh = WithNodes(5);
    for (const List& corners : {List{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 4, 1}}) {
        mesh.AddFace(corners);
    }
    return mesh;
}

// --- records ------------------------------------------------------------------------------------

TEST(HalfEdgeRecords, NewAndDeletedStates)
{
    HNode node;
    EXPECT_EQ(node.edge, -2);
    EXPECT_FALSE(node.IsInvalid());
    node.Invalidate();
    EXPECT_EQ(node.edge, -4);
    EXPECT_TRUE(node.IsInvalid());

    HEdge edge;
    EXPECT_EQ((List{edge.node, edge.twin, edge.next, edge.prev, edge.face}),
              (List{-2, -2, -2, -2, -1}));
    edge.twin = -4; // half-edges are deleted only when origin and twin both say so
    EXPECT_FALSE(edge.IsInvalid());
    edge.Invalidate();
    EXPECT_EQ((List{edge.node, edge.twin, edge.next, edge.prev, edge.face}),
              (List{-4, -4, -4, -4, -4}));
    EXPECT_TRUE(edge.IsInvalid());

    HFace face;
    EXPECT_EQ(face.edge, -2);
    face.Invalidate();
    EXPECT_TRUE(face.IsInvalid());

    HVertex<2, float> vertex;
    EXPECT_EQ(vertex.position, (Vec2f{0, 0}));
    vertex.position = {1, 2};
    vertex.Invalidate(); // a vertex has the node's operations: its position stays
    EXPECT_TRUE(vertex.IsInvalid());
    EXPECT_EQ(vertex.position, (Vec2f{1, 2}));
}

TEST(HalfEdgeRecords, AreSmall)
{
    // A pointer to the operations, and the fields: what a million-triangle mesh is made of.
    static_assert(sizeof(HNode) == 16 && sizeof(HFace) == 16 && sizeof(HEdge) == 32);
    static_assert(sizeof(HVertex<3, double>) == 40);
}

TEST(HalfEdgeRecords, FieldsStandInTheirOrder)
{
    const HEdge edge;
    EXPECT_EQ(&edge.twin, &edge.node + 1);
    EXPECT_EQ(&edge.next, &edge.node + 2);
    EXPECT_EQ(&edge.prev, &edge.node + 3);
    EXPECT_EQ(&edge.face, &edge.node + 4);

    const PolygonMesh mesh;
    const std::vector<const void*> fields = {
        &mesh.Nodes(),     &mesh.Edges(),     &mesh.Faces(),    &mesh.NodePairs(),
        &mesh.FreeNodes(), &mesh.FreeEdges(), &mesh.FreeFaces()};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<>()));
}

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
// In this ABI a pointer to a virtual member holds one more than the byte offset of its slot, and a
// destructor takes the two slots before.
template <class Member>
int SlotOf(Member member)
{
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    return static_cast<int>((offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*))) - 1;
}

TEST(HMesh, VirtualOperationsStandInTheirOrder)
{
    using M = BareMesh;
    // Counted from the destructor, which is 0.
    EXPECT_EQ(SlotOf(&M::AddFace), 1);
    EXPECT_EQ(SlotOf(&M::AddFaceFromEdges), 2);
    EXPECT_EQ(SlotOf(&M::NodeNodes), 3);
    EXPECT_EQ(SlotOf(&M::NodeEdges), 4);
    EXPECT_EQ(SlotOf(&M::NodeFaces), 5);
    EXPECT_EQ(SlotOf(&M::FaceNodes), 6);
    EXPECT_EQ(SlotOf(&M::FaceEdges), 7);
    EXPECT_EQ(SlotOf(&M::EdgeNodes), 8);
    EXPECT_EQ(SlotOf(&M::EdgeFaces), 9);
    EXPECT_EQ(SlotOf(&M::EdgeLoop), 10);
    EXPECT_EQ(SlotOf(&M::IsBoundaryNode), 11);
    EXPECT_EQ(SlotOf(&M::IsBoundaryEdge), 12);
    EXPECT_EQ(SlotOf(&M::IsBoundaryFace), 13);
    EXPECT_EQ(SlotOf(&M::ReverseOrientation), 14);
    EXPECT_EQ(SlotOf(&M::IsNodeLocked), 15);
    EXPECT_EQ(SlotOf(&M::IsEdgeLocked), 16);
    EXPECT_EQ(SlotOf(&M::IsFaceLocked), 17);
    EXPECT_EQ(SlotOf(&M::RemoveNode), 18);
    EXPECT_EQ(SlotOf(&M::RemoveEdge), 19);
    EXPECT_EQ(SlotOf(&M::RemoveFace), 20);
    EXPECT_EQ(SlotOf(static_cast<void (M::*)(const M&)>(&M::Assign)), 21);
    EXPECT_EQ(SlotOf(static_cast<void (M::*)(M &&)>(&M::Assign)), 22);

    using T = TriangleMesh<HNode, HEdge, HFace>;
    EXPECT_EQ(SlotOf(static_cast<void (T::*)(const T&)>(&T::Assign)), 23);
    EXPECT_EQ(SlotOf(static_cast<void (T::*)(T &&)>(&T::Assign)), 24);
    EXPECT_EQ(SlotOf(&T::AddTriangle), 25);
    EXPECT_EQ(SlotOf(&T::AddTriangleFromEdges), 26);
    EXPECT_EQ(SlotOf(&T::FaceNeighbors), 27);
    EXPECT_EQ(SlotOf(&T::FlipEdge), 28);
    EXPECT_EQ(SlotOf(&T::CollapseEdge), 29);
    EXPECT_EQ(SlotOf(&T::SplitEdge), 30);
    EXPECT_EQ(SlotOf(&T::SplitFace), 31);

    EXPECT_EQ(SlotOf(&HNode::Invalidate), -1); // the record's operations come before its destructor
    EXPECT_EQ(SlotOf(&HNode::IsInvalid), 0);
    EXPECT_EQ(SlotOf(&HEdge::Invalidate), -1);
    EXPECT_EQ(SlotOf(&HEdge::IsInvalid), 0);
    EXPECT_EQ(SlotOf(&HFace::Invalidate), -1);
    EXPECT_EQ(SlotOf(&HFace::IsInvalid), 0);
}
#endif

// --- adding -------------------------------------------------------------------------------------

TEST(HMesh, FirstFaceTakesPairsInOrder)
{
    PolygonMesh mesh = WithNodes(4);
    EXPECT_EQ(mesh.AddFace({0, 1, 2, 3}), 0);
    EXPECT_EQ(mesh.EdgeCount(), 8);
    EXPECT_EQ(mesh.FaceEdges(0), (List{0, 2, 4, 6})); // even half-edges run as the face does
    EXPECT_EQ(mesh.FaceNodes(0), (List{0, 1, 2, 3}));
    for (int e = 0; e < 8; ++e) {
        EXPECT_EQ(mesh.EdgeRecord(e)->twin, e ^ 1);
    }
    EXPECT_EQ(mesh.EdgeNodes(2), (List{1, 2}));
    EXPECT_EQ(mesh.EdgeNodes(3), (List{2, 1}));
    EXPECT_EQ(mesh.EdgeFaces(2), (List{0, -1}));
    EXPECT_EQ(mesh.EdgeFaces(3), (List{-1, 0}));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(HMesh, RepeatedDirectedEdgeFailsAndLeavesTheFirstFaceIntact)
{
    PolygonMesh mesh = WithNodes(4);
    ASSERT_EQ(mesh.AddFace({0, 1, 2}), 0);
    EXPECT_EQ(mesh.AddFace({0, 1, 3}), -1);
    EXPECT_EQ(mesh.FaceCount(), 1);
    EXPECT_EQ(mesh.FaceNodes(0), (List{0, 1, 2}));
    EXPECT_EQ(mesh.FaceEdges(0), (List{0, 2, 4}));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(HMesh, FailedFaceLeavesItsFirstEdges)
{
    PolygonMesh mesh = WithNodes(4);
    ASSERT_EQ(mesh.AddFace({0, 1, 2}), 0);
    EXPECT_EQ(mesh.AddFace({3, 0, 1}), -1); // makes 3-0, then meets 0-1
    EXPECT_EQ(mesh.EdgeCount(), 8);
    EXPECT_EQ(mesh.FindEdge(3, 0), 6);
    EXPECT_EQ(mesh.EdgeFaces(6), (List{-1, -1}));
    EXPECT_EQ(mesh.NodeRecord(0)->edge, 7);  // redirected to the debris
    EXPECT_EQ(mesh.NodeEdges(0), (List{7})); // whose links are missing: one entry
    EXPECT_EQ(mesh.NodeNodes(0), (List{3}));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(HMesh, RefusedListsChangeNothing)
{
    PolygonMesh mesh = WithNodes(4);
    mesh.AddFace({0, 1, 2});
    mesh.RemoveNode(3);
    const List before = Fingerprint(mesh);
    for (const List& corners : {List{},
                                {0},
                                {0, 0},
                                {0, 1, 1},
                                {0, 1, 0},
                                {2, 1, 3},
                                {2, 1, 4},
                                {2, 1, -1},
                                {2, 1, std::numeric_limits<int>::min()}}) {
        EXPECT_EQ(mesh.AddFace(corners), -1) << testing::PrintToString(corners);
        EXPECT_EQ(Fingerprint(mesh), before);
    }
    for (const List& halfEdges : {List{}, {1}, {1, 3, 5}, {0, 2, 5}, {0, 2, -2}, {0, 2, 99}}) {
        EXPECT_EQ(mesh.AddFaceFromEdges(halfEdges), -1) << testing::PrintToString(halfEdges);
        EXPECT_EQ(Fingerprint(mesh), before);
    }
    EXPECT_EQ(mesh.NodePairs().EdgeCount(), 3U);
}

TEST(HMesh, FaceThatRunsAnEdgeTwiceIsRefused)
{
    PolygonMesh mesh = WithNodes(4);
    EXPECT_EQ(mesh.AddFace({0, 1, 2, 0, 1, 3}), -1); // 0 to 1 in its first and its fourth side
    EXPECT_EQ(mesh.AddFace({1, 2, 3, 1, 2, 3}), -1);
    EXPECT_EQ(mesh.AddFace({1, 0, 1, 0}), -1);
    EXPECT_EQ(mesh.EdgeCount(), 0);           // nothing was changed
    EXPECT_EQ(mesh.AddFace({0, 1, 2, 1}), 0); // there and back is no repetition
    EXPECT_EQ(Support::CheckTopology(mesh), "");

    PolygonMesh fromEdges = WithNodes(4);
    List loop;
    for (const auto& [a, b] : std::vector<std::pair<int, int>>{{0, 1}, {1, 2}, {2, 0}}) {
        loop.push_back(fromEdges.FindOrAddEdge(a, b));
    }
    List twice = loop;
    twice.insert(twice.end(), loop.begin(), loop.end());
    const List before = Fingerprint(fromEdges);
    EXPECT_EQ(fromEdges.AddFaceFromEdges(twice), -1);
    EXPECT_EQ(Fingerprint(fromEdges), before);
    EXPECT_EQ(fromEdges.AddFaceFromEdges(loop), 0);
    EXPECT_EQ(Support::CheckTopology(fromEdges), "");
}

TEST(HMesh, FaceFromEdgesTakesHalfEdgesOverFromAnotherFace)
{
    // A removed face leaves its number in its half-edges; a new face along them must be possible.
    PolygonMesh mesh = WithNodes(3);
    ASSERT_EQ(mesh.AddFace({0, 1, 2}), 0);
    ASSERT_EQ(mesh.AddFace({2, 1, 0}), 1);
    mesh.RemoveFace(0);
    EXPECT_EQ(mesh.AddFaceFromEdges({2, 4, 0}), 0); // the free face is used again
    EXPECT_EQ(mesh.FaceNodes(0), (List{1, 2, 0}));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
    EXPECT_EQ(mesh.AddFaceFromEdges({0, 2, 4}), 2); // and a live face may be robbed
    EXPECT_EQ(mesh.EdgeFaces(0), (List{2, 1}));
}

TEST(HMesh, FaceFromEdgesGivesStrayNodesTheirHalfEdge)
{
    // The star of node 0 goes, with the half-edges that nodes 1, 2, 3 name; a face closes the hole.
    PolygonMesh mesh = WithNodes(4);
    mesh.AddFace({3, 2, 1});
    mesh.AddFace({0, 1, 2});
    mesh.AddFace({0, 2, 3});
    mesh.AddFace({0, 3, 1});
    const List rim = {mesh.FindEdge(1, 2), mesh.FindEdge(2, 3), mesh.FindEdge(3, 1)};
    for (const int f : {1, 2, 3}) {
        mesh.RemoveFace(f);
    }
    for (const int n : {1, 2, 3}) {
        mesh.RemoveEdge(mesh.FindEdge(0, n));
    }
    mesh.RemoveNode(0);
    EXPECT_GE(mesh.AddFaceFromEdges(rim), 0);
    EXPECT_EQ(Support::CheckTopology(mesh), "");
    EXPECT_EQ(mesh.NodeNodes(1).size(), 2U);
}

TEST(HMesh, FindOrAddEdgeLooksUpBeforeItTestsTheNodes)
{
    PolygonMesh mesh = WithNodes(2);
    const int e = mesh.FindOrAddEdge(0, 1);
    EXPECT_EQ(e, 0);
    EXPECT_EQ(mesh.FindOrAddEdge(1, 0), 1);
    mesh.RemoveNode(1);
    EXPECT_EQ(mesh.FindOrAddEdge(0, 1), 0);
    EXPECT_EQ(mesh.FindEdge(0, 1), 0);
}

TEST(HMesh, FindOrAddEdgeRefusesInvalidNodesAndLoops)
{
    PolygonMesh mesh = WithNodes(3);
    mesh.RemoveNode(2);
    EXPECT_EQ(mesh.FindOrAddEdge(0, 2), -2);
    EXPECT_EQ(mesh.FindOrAddEdge(-1, 0), -2);
    EXPECT_EQ(mesh.FindOrAddEdge(0, 3), -2);
    EXPECT_EQ(mesh.FindOrAddEdge(1, 1), -2); // no edge runs from a node to itself
    EXPECT_EQ(mesh.FindEdge(0, 1), -2);
    EXPECT_EQ(mesh.EdgeCount(), 0);
}

TEST(HMesh, FindOrAddEdgeRedirectsBothNodes)
{
    PolygonMesh mesh = WithNodes(3);
    mesh.FindOrAddEdge(0, 1);
    EXPECT_EQ(mesh.NodeRecord(0)->edge, 0);
    EXPECT_EQ(mesh.NodeRecord(1)->edge, 1);
    mesh.FindOrAddEdge(2, 0);
    EXPECT_EQ(mesh.NodeRecord(0)->edge, 3);
    EXPECT_EQ(mesh.NodeRecord(2)->edge, 2);
    mesh.FindOrAddEdge(0, 1); // known: nothing is redirected
    EXPECT_EQ(mesh.NodeRecord(0)->edge, 3);
}

TEST(HMesh, RemovedPairsComeBackFirstInFirstOut)
{
    PolygonMesh mesh = WithNodes(6);
    for (int n = 1; n < 5; ++n) {
        mesh.FindOrAddEdge(0, n); // pairs 0, 2, 4, 6
    }
    mesh.RemoveEdge(5); // named by its odd half: the pair is (4, 5) all the same
    mesh.RemoveEdge(0);
    ASSERT_EQ(mesh.FreeEdges().size(), 2U);
    EXPECT_EQ(mesh.FreeEdges()[0], std::pair(4, 5));
    EXPECT_EQ(mesh.FreeEdges()[1], std::pair(0, 1));
    EXPECT_FALSE(mesh.IsValidEdge(4));
    EXPECT_EQ(mesh.FindEdge(0, 3), -2);
    mesh.RemoveEdge(4); // already deleted
    EXPECT_EQ(mesh.FreeEdges().size(), 2U);

    EXPECT_EQ(mesh.FindOrAddEdge(5, 4), 4); // the origin takes the smaller subscript
    EXPECT_EQ(mesh.EdgeNodes(4), (List{5, 4}));
    EXPECT_EQ(mesh.EdgeRecord(4)->twin, 5);
    EXPECT_EQ(mesh.EdgeRecord(5)->twin, 4);
    EXPECT_EQ(mesh.EdgeRecord(4)->next, -2);
    EXPECT_EQ(mesh.EdgeRecord(4)->prev, -2);
    EXPECT_EQ(mesh.EdgeRecord(4)->face, -1);
    EXPECT_EQ(mesh.EdgeRecord(5)->next, -2);
    EXPECT_EQ(mesh.EdgeRecord(5)->prev, -2);
    EXPECT_EQ(mesh.EdgeRecord(5)->face, -1);
    EXPECT_EQ(mesh.FindOrAddEdge(1, 5), 0);
    EXPECT_EQ(mesh.FindOrAddEdge(1, 2), 8); // then new ones
}

TEST(HMesh, RemoveEdgeNeedsBothHalves)
{
    PolygonMesh mesh = ClosedFan();
    mesh.EdgeRecord(3)->Invalidate();
    const List before = Fingerprint(mesh);
    mesh.RemoveEdge(2);
    mesh.RemoveEdge(3);
    EXPECT_EQ(Fingerprint(mesh), before);
    EXPECT_TRUE(mesh.FreeEdges().empty());
}

TEST(HMesh, RemovalsTouchNothingButTheRecord)
{
    PolygonMesh mesh = ClosedFan();
    List expected = Fingerprint(mesh);
    // 5 nodes of one number each, then half-edges of five, then faces of one.
    std::fill_n(expected.begin() + 5 + 5 * 2, 2 * 5, -4);
    expected[0] = -4;
    expected[5 + 5 * 16 + 1] = -4;
    mesh.RemoveEdge(2);
    mesh.RemoveNode(0);
    mesh.RemoveFace(1);
    EXPECT_EQ(Fingerprint(mesh), expected);
}

TEST(HMesh, RemovedFacesComeBackFirstInFirstOut)
{
    PolygonMesh mesh = ClosedFan();
    mesh.RemoveFace(2);
    mesh.RemoveFace(0);
    mesh.RemoveFace(2); // already deleted
    EXPECT_EQ(mesh.FreeFaces(), (std::deque<int>{2, 0}));
    EXPECT_EQ(mesh.AddFace({2, 1, 4}), 2); // 2-1 and 1-4 run along the rim, 4-2 is new
    EXPECT_EQ(mesh.AddFace({2, 4, 3}), 0);
    EXPECT_TRUE(mesh.FreeFaces().empty());
    EXPECT_EQ(mesh.FaceCount(), 4);
}

struct LabeledNode : HVertex<3, double> {
    int label = 0;
};

TEST(HMesh, AddNodeUsesFreeSlotsFirstAndKeepsTheirPayload)
{
    HMesh<LabeledNode, HEdge, HFace> mesh;
    LabeledNode record;
    for (int n = 0; n < 3; ++n) {
        record.label = 10 + n;
        record.position = {n, 0, 0};
        EXPECT_EQ(mesh.AddNode(record), n);
        EXPECT_EQ(mesh.NodeRecord(n)->label, 10 + n);
    }
    mesh.RemoveNode(2);
    mesh.RemoveNode(0);
    record.label = 99;
    record.position = {7, 8, 9};
    EXPECT_EQ(mesh.AddNode(record), 2); // the slot longest free
    EXPECT_EQ(mesh.NodeRecord(2)->label, 12);
    EXPECT_EQ(mesh.GetVertex(2), (Vec3d{7, 8, 9}));
    EXPECT_EQ(mesh.NodeRecord(2)->edge, -2);
    record.edge = 7;
    EXPECT_EQ(mesh.AddNode(record), 0);
    EXPECT_EQ(mesh.NodeRecord(0)->edge, 7); // the half-edge is taken over with the position
    EXPECT_EQ(mesh.AddNode(record), 3);
    EXPECT_EQ(mesh.NodeRecord(3)->label, 99);
}

TEST(HMesh, NodesNeedNoPosition)
{
    BareMesh mesh = WithNodes<BareMesh>(3);
    static_assert(!Positioned<HNode> && Positioned<HVertex<2, float>> && Positioned<LabeledNode>);
    EXPECT_EQ(mesh.AddFace({0, 1, 2}), 0);
    mesh.RemoveNode(0);
    EXPECT_EQ(mesh.AddNode({}), 0);
}

// --- rings and loops ----------------------------------------------------------------------------

TEST(HMesh, ClosedRingRunsCounterClockwise)
{
    const PolygonMesh mesh = ClosedFan();
    const int first = mesh.NodeRecord(0)->edge;
    EXPECT_EQ(mesh.EdgeNodes(first), (List{0, 4})); // made last
    EXPECT_EQ(mesh.NodeNodes(0), (List{4, 1, 2, 3}));
    const List out = mesh.NodeEdges(0);
    EXPECT_EQ(out, (List{mesh.FindEdge(0, 4), mesh.FindEdge(0, 1), mesh.FindEdge(0, 2),
                         mesh.FindEdge(0, 3)}));
    EXPECT_EQ(mesh.NodeFaces(0), (List{3, 0, 1, 2}));
    EXPECT_EQ(mesh.Valence(0), 4);
    EXPECT_FALSE(mesh.IsBoundaryNode(0));
    EXPECT_TRUE(mesh.IsBoundaryNode(1));
}

TEST(HMesh, RingOnAnUnlinkedBoundaryIsCutShort)
{
    // The rim was never linked. Node 2 names the inner half of 2-3, the fan's last edge but one
    // from the walk's view: it meets the missing link after the edges that lie on from there.
    PolygonMesh mesh = WithNodes(4);
    mesh.AddFace({0, 1, 2});
    mesh.AddFace({0, 2, 3});
    EXPECT_EQ(mesh.NodeRecord(0)->edge, mesh.FindEdge(0, 3));
    EXPECT_EQ(mesh.NodeNodes(0), (List{3})); // 0-3 runs along the rim: its prev is missing
    EXPECT_EQ(mesh.NodeFaces(0), (List{}));
    mesh.NodeRecord(0)->edge = mesh.FindEdge(0, 1);
    EXPECT_EQ(mesh.NodeNodes(0), (List{1, 2, 3}));
    EXPECT_EQ(mesh.NodeFaces(0), (List{0, 1}));
    mesh.NodeRecord(0)->edge = mesh.FindEdge(0, 2);
    EXPECT_EQ(mesh.NodeNodes(0), (List{2, 3}));
    EXPECT_EQ(mesh.NodeFaces(0), (List{1}));
    EXPECT_TRUE(mesh.IsBoundaryNode(0));
}

TEST(HMesh, VisitorsTellHowTheWalkEnded)
{
    const PolygonMesh mesh = ClosedFan();
    List seen;
    const auto note = [&](int i) { seen.push_back(i); };
    EXPECT_EQ(mesh.VisitNodeNodes(0, note), WalkEnd::Closed);
    EXPECT_EQ(seen, mesh.NodeNodes(0));
    seen.clear();
    EXPECT_EQ(mesh.VisitNodeEdges(1, note), WalkEnd::Cut); // the rim has no links
    EXPECT_EQ(seen, mesh.NodeEdges(1));
    seen.clear();
    EXPECT_EQ(mesh.VisitEdgeLoop(0, note), WalkEnd::Closed);
    EXPECT_EQ(seen, mesh.FaceEdges(0));
    seen.clear();
    EXPECT_EQ(mesh.VisitNodeEdges(77, note), WalkEnd::Cut);
    EXPECT_TRUE(seen.empty());
}

TEST(HMesh, EdgeLoopStopsWhereTheFaceChanges)
{
    PolygonMesh mesh = ClosedFan();
    EXPECT_EQ(mesh.EdgeLoop(2), (List{2, 4, 0}));
    EXPECT_EQ(mesh.EdgeLoop(3), (List{3})); // an unlinked rim
    mesh.EdgeRecord(4)->face = 2;
    EXPECT_EQ(mesh.EdgeLoop(2), (List{2}));
    EXPECT_EQ(mesh.FaceEdges(0), (List{0, 2, 4})); // the face's own walk does not look at the faces
}

TEST(HMesh, NodeEdgesListsMinusTwoForADeadTwin)
{
    PolygonMesh mesh = ClosedFan();
    mesh.EdgeRecord(mesh.FindEdge(4, 0))->Invalidate(); // the twin of the node's own half-edge
    const List out = mesh.NodeEdges(0);
    ASSERT_EQ(out.size(), 4U); // the ring itself does not pass through that record
    EXPECT_EQ(out[0], -2);
    EXPECT_EQ(out[1], mesh.FindEdge(0, 1));
    EXPECT_FALSE(mesh.IsBoundaryNode(0));
}

TEST(HMesh, CorruptedLoopEndsWithAnEmptyList)
{
    PolygonMesh mesh = ClosedFan();
    // 0 -> 2 -> 4 -> 2 -> 4 ...: never back at the start.
    mesh.EdgeRecord(4)->next = 2;
    EXPECT_TRUE(mesh.FaceEdges(0).empty());
    EXPECT_TRUE(mesh.FaceNodes(0).empty());
    EXPECT_TRUE(mesh.EdgeLoop(0).empty());
    EXPECT_EQ(mesh.EdgeLoop(2), (List{2, 4})); // this one does come back

    // The same about a node: the walk from 0-4 comes to 0-1 and then circles between 0-1 and 0-2.
    PolygonMesh ring = ClosedFan();
    ring.EdgeRecord(ring.FindEdge(0, 2))->prev = ring.FindEdge(1, 0);
    EXPECT_TRUE(ring.NodeEdges(0).empty());
    EXPECT_TRUE(ring.NodeNodes(0).empty());
    EXPECT_TRUE(ring.NodeFaces(0).empty());
    EXPECT_FALSE(ring.IsBoundaryNode(0));
    EXPECT_EQ(ring.Valence(0), 0);
    EXPECT_EQ(ring.VisitNodeEdges(0, [](int) {}), WalkEnd::Runaway);
}

TEST(HMesh, GuardAllowsOneAndAHalfTimesTheRecords)
{
    // A face that runs out and back along two edges: four corners on three nodes, 4 <= 4.5.
    PolygonMesh mesh = WithNodes(3);
    ASSERT_EQ(mesh.AddFace({0, 1, 2, 1}), 0);
    EXPECT_EQ(mesh.FaceNodes(0), (List{0, 1, 2, 1}));
    // A fifth corner, of half-edges that the mesh has: 5 > 4.5.
    const int spur = mesh.FindOrAddEdge(2, 0);
    const int back = mesh.FindEdge(1, 0);
    mesh.EdgeRecord(back)->next = spur;
    mesh.EdgeRecord(spur)->next = mesh.FaceRecord(0)->edge;
    EXPECT_TRUE(mesh.FaceNodes(0).empty());
    EXPECT_EQ(mesh.FaceEdges(0).size(), 5U); // of six half-edges nine may be listed
    // Deleted records count: of four nodes six may be listed.
    mesh.RemoveNode(mesh.AddNode({}));
    EXPECT_EQ(mesh.FaceNodes(0), (List{0, 1, 2, 1, 2}));
}

// Each list is held against the records of its own kind: five nodes, 16 half-edges and four faces
// allow 7, 24 and 6 entries.
TEST(HMesh, GuardsCountRecordsOfTheirOwnKind)
{
    const auto ringOf = [](int count) {
        PolygonMesh mesh = ClosedFan();
        for (int e = 0; e < count; ++e) { // about node 0: e, then the next number
            const int following = (e + 1) % count;
            mesh.EdgeRecord(e)->prev = following ^ 1;
            mesh.EdgeRecord(e)->next = following;
            mesh.EdgeRecord(e)->face = 0;
        }
        mesh.NodeRecord(0)->edge = 0;
        return mesh;
    };
    EXPECT_EQ(ringOf(6).NodeFaces(0).size(), 6U);
    EXPECT_TRUE(ringOf(7).NodeFaces(0).empty());
    EXPECT_EQ(ringOf(7).NodeNodes(0).size(), 7U);
    EXPECT_TRUE(ringOf(8).NodeNodes(0).empty());
    EXPECT_EQ(ringOf(7).FaceNodes(0).size(), 7U);
    EXPECT_TRUE(ringOf(8).FaceNodes(0).empty());
    EXPECT_EQ(ringOf(16).NodeEdges(0).size(), 16U); // more than 1.5 times the pairs
    EXPECT_EQ(ringOf(16).FaceEdges(0).size(), 16U);
    EXPECT_EQ(ringOf(16).EdgeLoop(0).size(), 16U);
    EXPECT_EQ(ringOf(16).Valence(0), 16);
}

TEST(HMesh, ABrokenRingHasNoBoundary)
{
    PolygonMesh mesh = ClosedFan();
    EXPECT_TRUE(mesh.IsBoundaryNode(1));
    // The walk meets the rim at once and then circles between two of the other spokes.
    const int rim = mesh.FindEdge(1, 4);
    const int spoke = mesh.FindEdge(1, 0);
    const int inner = mesh.FindEdge(1, 2);
    mesh.NodeRecord(1)->edge = rim;
    mesh.EdgeRecord(rim)->prev = spoke ^ 1;
    mesh.EdgeRecord(spoke)->prev = inner ^ 1;
    mesh.EdgeRecord(inner)->prev = spoke ^ 1;
    ASSERT_TRUE(mesh.NodeEdges(1).empty());
    EXPECT_FALSE(mesh.IsBoundaryNode(1));
}

TEST(HMesh, ListsHaveRoomForTheUsualRing)
{
    const PolygonMesh mesh = ClosedFan();
    for (const List& list : {mesh.NodeNodes(0), mesh.NodeEdges(0), mesh.NodeFaces(0)}) {
        EXPECT_EQ(list.size(), 4U);
    }
    EXPECT_GE(mesh.NodeNodes(0).capacity(), 10U);
    EXPECT_GE(mesh.NodeEdges(0).capacity(), 10U);
    EXPECT_GE(mesh.NodeFaces(0).capacity(), 10U);
    EXPECT_GE(mesh.FaceNodes(0).capacity(), 10U);
    EXPECT_GE(mesh.FaceEdges(0).capacity(), 10U);
    EXPECT_GE(mesh.EdgeLoop(0).capacity(), 10U);
}

TEST(HMesh, GuardOfNodeFacesCountsFaces)
{
    PolygonMesh mesh = WithNodes(3);
    ASSERT_EQ(mesh.AddFace({0, 1, 2, 1}), 0);
    EXPECT_EQ(mesh.NodeEdges(1).size(), 2U);
    EXPECT_TRUE(mesh.NodeFaces(1).empty()); // the one face twice: 2 > 1.5
    EXPECT_EQ(mesh.NodeFaces(0), (List{0}));
}

TEST(HMesh, BadSubscriptsGiveNothing)
{
    PolygonMesh mesh = ClosedFan();
    mesh.AddNode({});
    mesh.RemoveNode(5);
    const PolygonMesh& reader = mesh;
    for (const int bad : {-1, -2, -4, 5, 16, 1000, std::numeric_limits<int>::max(),
                          std::numeric_limits<int>::min()}) {
        EXPECT_TRUE(reader.NodeNodes(bad).empty());
        EXPECT_TRUE(reader.NodeEdges(bad).empty());
        EXPECT_TRUE(reader.NodeFaces(bad).empty());
        EXPECT_FALSE(reader.IsBoundaryNode(bad));
        EXPECT_EQ(reader.Valence(bad), 0);
        EXPECT_EQ(reader.NodeRecord(bad), nullptr);
        EXPECT_FALSE(reader.IsNodeLocked(bad));
        EXPECT_FALSE(reader.IsEdgeLocked(bad));
        EXPECT_FALSE(reader.IsFaceLocked(bad));
        mesh.RotateNode(bad);
        if (bad != 5) {
            EXPECT_TRUE(reader.FaceNodes(bad).empty());
            EXPECT_TRUE(reader.FaceEdges(bad).empty());
            EXPECT_FALSE(reader.IsBoundaryFace(bad, true));
            EXPECT_FALSE(reader.IsBoundaryFace(bad, false));
            EXPECT_TRUE(reader.EdgeNodes(bad).empty());
            EXPECT_TRUE(reader.EdgeFaces(bad).empty());
            EXPECT_TRUE(reader.EdgeLoop(bad).empty());
            EXPECT_FALSE(reader.IsBoundaryEdge(bad, true));
            EXPECT_EQ(reader.EdgeRecord(bad), nullptr);
            EXPECT_EQ(reader.FaceRecord(bad), nullptr);
            mesh.RemoveEdge(bad);
            mesh.RemoveFace(bad);
        }
        mesh.RemoveNode(bad);
    }
    EXPECT_EQ(Support::CheckTopology(mesh), "");
    EXPECT_EQ(mesh.FreeNodes().size(), 1U);
}

TEST(HMesh, BoundaryQueries)
{
    const PolygonMesh mesh = ClosedFan();
    const int spoke = mesh.FindEdge(0, 1);
    const int inner = mesh.FindEdge(1, 2);
    const int outer = mesh.FindEdge(2, 1);
    EXPECT_FALSE(mesh.IsBoundaryEdge(spoke, true));
    EXPECT_FALSE(mesh.IsBoundaryEdge(inner, false));
    EXPECT_TRUE(mesh.IsBoundaryEdge(inner, true));
    EXPECT_TRUE(mesh.IsBoundaryEdge(outer, false));
    EXPECT_TRUE(mesh.IsBoundaryFace(0, false));
    EXPECT_TRUE(mesh.IsBoundaryFace(0, true));

    // Three by three squares: the middle one does not touch the rim.
    PolygonMesh grid = WithNodes(16);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 3; ++x) {
            const int a = 4 * y + x;
            grid.AddFace({a, a + 1, a + 5, a + 4});
        }
    }
    EXPECT_FALSE(grid.IsBoundaryFace(4, false)); // the middle one of nine
    EXPECT_FALSE(grid.IsBoundaryFace(4, true));
    EXPECT_TRUE(grid.IsBoundaryFace(1, false));
    // Cut in triangles: one above the second square's diagonal touches the rim with node 1 only.
    PolygonMesh cut = WithNodes(16);
    for (const List& corners : {List{0, 1, 5}, {0, 5, 4}, {1, 2, 6}, {5, 6, 10}, {5, 10, 9}}) {
        cut.AddFace(corners);
    }
    const int touching = cut.AddFace({1, 6, 5});
    EXPECT_FALSE(cut.IsBoundaryFace(touching, false));
    EXPECT_TRUE(cut.IsBoundaryFace(touching, true));
    EXPECT_FALSE(mesh.IsNodeLocked(0) || mesh.IsEdgeLocked(0) || mesh.IsFaceLocked(0));
}

// A mesh whose edges may be declared boundary, as an algorithm does that works on a region.
class RegionMesh : public PolygonMesh {
public:
    int boundary = -2;
    bool IsBoundaryEdge(int halfEdge, bool bothSides) const override
    {
        return halfEdge == boundary || PolygonMesh::IsBoundaryEdge(halfEdge, bothSides);
    }
};

TEST(HMesh, NodesAndFacesAskTheMeshWhatIsBoundary)
{
    RegionMesh mesh;
    mesh.PolygonMesh::Assign(ClosedFan());
    EXPECT_FALSE(mesh.IsBoundaryNode(0));
    mesh.boundary = mesh.FindEdge(0, 2);
    EXPECT_TRUE(mesh.IsBoundaryNode(0));
    EXPECT_TRUE(mesh.IsBoundaryFace(1, false));
}

// --- reversing, rotating ------------------------------------------------------------------------

TEST(HMesh, ReverseOrientationTurnsFacesAndPairs)
{
    PolygonMesh mesh = ClosedFan();
    const int e = mesh.FindEdge(1, 2);
    mesh.ReverseOrientation();
    EXPECT_EQ(mesh.EdgeNodes(e), (List{2, 1}));
    EXPECT_EQ(mesh.FindOrAddEdge(2, 1), e); // the pairs follow
    EXPECT_EQ(mesh.FindOrAddEdge(1, 2), e ^ 1);
    EXPECT_EQ(mesh.NodeNodes(0), (List{4, 3, 2, 1})); // was 4, 1, 2, 3
    EXPECT_EQ(mesh.FaceNodes(0), (List{1, 0, 2}));    // its half-edge 0 now runs from 1 to 0
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(HMesh, ReverseOrientationTwiceRestoresEverything)
{
    PolygonMesh mesh = ClosedFan();
    const List before = Fingerprint(mesh);
    mesh.ReverseOrientation();
    EXPECT_NE(Fingerprint(mesh), before);
    mesh.ReverseOrientation();
    EXPECT_EQ(Fingerprint(mesh), before);
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(HMesh, ReverseOrientationLeavesDeletedRecordsDeleted)
{
    PolygonMesh mesh = ClosedFan();
    const int spare = mesh.AddNode({});
    const int gone = mesh.AddNode({});
    const int edge = mesh.FindOrAddEdge(spare, gone);
    mesh.RemoveEdge(edge);
    mesh.RemoveNode(gone);
    mesh.ReverseOrientation();
    EXPECT_FALSE(mesh.IsValidNode(gone));
    EXPECT_FALSE(mesh.IsValidEdge(edge));
    EXPECT_EQ(mesh.NodeRecord(spare)->edge, -2); // its half-edge is no more
    EXPECT_EQ(Support::CheckTopology(mesh), "");
    EXPECT_EQ(mesh.AddNode({}), gone);
    EXPECT_EQ(mesh.AddNode({}), gone + 1); // the slot was handed out once
}

TEST(HMesh, RotateNodeStepsCounterClockwise)
{
    PolygonMesh mesh = ClosedFan();
    for (const int n : {1, 2, 3, 4}) {
        mesh.RotateNode(0);
        EXPECT_EQ(mesh.EdgeNodes(mesh.NodeRecord(0)->edge), (List{0, n}));
    }
}

TEST(HMesh, RotateNodeReportsAMissingLink)
{
    Support::ExpectAssertions(1);
    PolygonMesh mesh = ClosedFan();
    const int rim = mesh.FindEdge(1, 4); // outside, unlinked
    ASSERT_EQ(mesh.EdgeRecord(rim)->prev, -2);
    mesh.NodeRecord(1)->edge = rim;
    mesh.RotateNode(1);
    EXPECT_EQ(mesh.NodeRecord(1)->edge, rim);
    EXPECT_EQ(Support::LastAssertion(),
              "HalfEdgeMesh_E:921 Velk::Math::Sorvane::HalfEdge::HMesh::RotateNode");
}

TEST(HMesh, RotateNodeReportsAForeignHalfEdgeAndGoesOn)
{
    Support::ExpectAssertions(1);
    PolygonMesh mesh = ClosedFan();
    const int first = mesh.NodeRecord(0)->edge;
    mesh.EdgeRecord(first)->prev = mesh.FindEdge(1, 2); // its twin leaves node 2
    mesh.RotateNode(0);
    EXPECT_EQ(mesh.NodeRecord(0)->edge, mesh.FindEdge(2, 1));
}

TEST(HMesh, GetVertexReportsABadSubscript)
{
    Support::ExpectAssertions(3);
    PolygonMesh mesh;
    mesh.AddNode(HVertex<3, double>({1, 2, 3}));
    EXPECT_EQ(mesh.GetVertex(0), (Vec3d{1, 2, 3}));
    EXPECT_EQ(mesh.GetVertex(1), (Vec3d{0, 0, 0}));
    EXPECT_EQ(mesh.GetVertex(-2), (Vec3d{0, 0, 0}));
    mesh.RemoveNode(0);
    EXPECT_EQ(mesh.GetVertex(0), (Vec3d{0, 0, 0}));
    EXPECT_EQ(Support::LastAssertion(),
              "HalfEdgeMesh_E:1276 Velk::Math::Sorvane::HalfEdge::HMesh::GetVertex");
}

// --- whole meshes -------------------------------------------------------------------------------

TEST(HMesh, AssignCopiesAllAndMovesAll)
{
    PolygonMesh source = ClosedFan();
    source.RemoveNode(source.AddNode({}));
    source.RemoveEdge(source.FindOrAddEdge(1, 3));
    source.RemoveFace(2);
    for (const int e : {source.FindEdge(0, 3), source.FindEdge(3, 4), source.FindEdge(4, 0)}) {
        source.EdgeRecord(e)->face = -1;
    }
    const List before = Fingerprint(source);

    PolygonMesh copy = WithNodes(2);
    copy.Assign(source);
    EXPECT_EQ(Fingerprint(copy), before);
    EXPECT_EQ(copy.FreeNodes(), source.FreeNodes());
    EXPECT_EQ(copy.FreeEdges(), source.FreeEdges());
    EXPECT_EQ(copy.FreeFaces(), source.FreeFaces());
    EXPECT_EQ(copy.FindEdge(0, 1), source.FindEdge(0, 1));
    EXPECT_EQ(copy.NodePairs().MemoryBytes(), source.NodePairs().MemoryBytes());

    PolygonMesh taker = WithNodes(3);
    taker.Assign(std::move(copy));
    EXPECT_EQ(Fingerprint(taker), before);
    EXPECT_EQ(taker.FreeNodes(), source.FreeNodes());
    EXPECT_EQ(taker.FreeEdges(), source.FreeEdges());
    EXPECT_EQ(taker.FreeFaces(), source.FreeFaces());
    EXPECT_EQ(taker.FindEdge(0, 1), source.FindEdge(0, 1));
    EXPECT_TRUE(copy.FreeNodes().empty() && copy.FreeEdges().empty() && // NOLINT
                copy.FreeFaces().empty());
    EXPECT_EQ(copy.NodeCount() + copy.EdgeCount() + copy.FaceCount(),
              0); // NOLINT: what it promises
    EXPECT_EQ(copy.FindEdge(0, 1), -2);

    PolygonMesh& itself = taker;
    taker.Assign(itself);
    taker.Assign(std::move(itself));
    EXPECT_EQ(Fingerprint(taker), before);
}

TEST(HMesh, ClearAndReserve)
{
    PolygonMesh mesh = ClosedFan();
    mesh.RemoveFace(0);
    mesh.RemoveEdge(0);
    mesh.RemoveNode(0);
    mesh.Clear();
    EXPECT_EQ(mesh.NodeCount() + mesh.EdgeCount() + mesh.FaceCount(), 0);
    EXPECT_TRUE(mesh.FreeNodes().empty() && mesh.FreeEdges().empty() && mesh.FreeFaces().empty());
    EXPECT_EQ(mesh.FindEdge(0, 1), -2);
    mesh.Reserve(100, 600, 200);
    EXPECT_GE(mesh.Nodes().capacity(), 100U);
    EXPECT_GE(mesh.Edges().capacity(), 600U);
    EXPECT_GE(mesh.Faces().capacity(), 200U);
}

// --- the checker ---------------------------------------------------------------------------------

// Lets a test break what a mesh does not let its users break.
struct BrokenMesh : PolygonMesh {
    using PolygonMesh::freeEdges_;
    using PolygonMesh::freeFaces_;
    using PolygonMesh::freeNodes_;
    using PolygonMesh::nodePairs_;
};

TEST(CheckTopology, FindsEachKindOfFault)
{
    using Break = void (*)(BrokenMesh&);
    const std::vector<std::pair<const char*, Break>> faults = {
        {"half a pair", [](BrokenMesh& m) { m.EdgeRecord(3)->Invalidate(); }},
        {"twin", [](BrokenMesh& m) { m.EdgeRecord(2)->twin = 5; }},
        {"origin", [](BrokenMesh& m) { m.EdgeRecord(2)->node = 99; }},
        {"loop", [](BrokenMesh& m) { m.EdgeRecord(2)->node = m.EdgeRecord(3)->node; }},
        {"dead face", [](BrokenMesh& m) { m.RemoveFace(0); }},
        {"missing next", [](BrokenMesh& m) { m.EdgeRecord(2)->next = -2; }},
        {"missing prev", [](BrokenMesh& m) { m.EdgeRecord(2)->prev = -2; }},
        {"half a link", [](BrokenMesh& m) { m.EdgeRecord(3)->next = 9; }},
        {"next of prev", [](BrokenMesh& m) { m.EdgeRecord(2)->next = 0; }},
        {"face on the way", [](BrokenMesh& m) { m.EdgeRecord(2)->face = 1; }},
        {"half-edge of a face", [](BrokenMesh& m) { m.FaceRecord(0)->edge = 3; }},
        {"face left open", [](BrokenMesh& m) { m.EdgeRecord(2)->face = -1; }},
        {"half-edge of a node", [](BrokenMesh& m) { m.NodeRecord(0)->edge = 2; }},
        {"node without edges", [](BrokenMesh& m) { m.NodeRecord(5)->edge = 0; }},
        {"pair forgotten", [](BrokenMesh& m) { m.nodePairs_.Erase(1, 2, m.FindEdge(1, 2)); }},
        {"pair too many", [](BrokenMesh& m) { m.nodePairs_.Insert(1, 3, 40); }},
        {"pairs turned", [](BrokenMesh& m) { m.nodePairs_.SwapDirections(); }},
        {"live node free", [](BrokenMesh& m) { m.freeNodes_.push_back(5); }},
        {"dead node not free", [](BrokenMesh& m) { m.NodeRecord(5)->Invalidate(); }},
        {"live pair free", [](BrokenMesh& m) { m.freeEdges_.emplace_back(2, 3); }},
        {"free pair turned", [](BrokenMesh& m) { m.freeEdges_.emplace_back(3, 2); }},
        {"live face free", [](BrokenMesh& m) { m.freeFaces_.push_back(0); }},
        {"free out of range", [](BrokenMesh& m) { m.freeFaces_.push_back(77); }},
    };
    for (const auto& [what, breakIt] : faults) {
        BrokenMesh mesh;
        mesh.PolygonMesh::Assign(ClosedFan());
        mesh.AddNode({});
        ASSERT_EQ(Support::CheckTopology(mesh), "");
        breakIt(mesh);
        EXPECT_NE(Support::CheckTopology(mesh), "") << what;
    }
}

} // namespace
