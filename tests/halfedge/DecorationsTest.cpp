// Decorations: their states, how they compose into records, and that a slot used again starts
// clean.

#include <Sorvane/Decorations_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;
using namespace Velk::Math::Sorvane::HalfEdge::Decorations;
using Impl::Deco_bool_old;

using FeatureMesh =
    TriangleMesh<DHVertex<3, Deco_bool_feature>, DecoratedTopology<HEdge, Deco_bool_feature>,
                 DecoratedTopology<HFace, Deco_uchar_tag>>;
using QuadricMesh = TriangleMesh<DHVertex<3, Deco_bool_feature, Deco_qef_qef>,
                                 DecoratedTopology<HEdge, Deco_bool_feature>,
                                 DecoratedTopology<HFace, Deco_uchar_tag>>;
using SubdivisionMesh =
    TriangleMesh<DHVertex<3, Deco_bool_old, Deco_bool_feature>,
                 DecoratedTopology<HEdge, Deco_bool_old, Deco_bool_feature>, HFace>;

QuadricErrorFunction SomeQuadric()
{
    QuadricErrorFunction qef;
    qef.A = Matrix::Identity<3, double>();
    qef.b = {1, 2, 3};
    qef.c = 4;
    qef.massPoint = {5, 6, 7};
    qef.count = 8;
    qef.rank = 3;
    return qef;
}

TEST(Decorations, EachResetsToItsOwnState)
{
    Deco_bool_feature feature;
    EXPECT_FALSE(feature.feature);
    feature.feature = true;
    feature.ResetAll();
    EXPECT_FALSE(feature.feature);

    Deco_uchar_tag tag;
    EXPECT_EQ(tag.tag, 0);
    tag.tag = 255;
    tag.Reset();
    EXPECT_EQ(tag.tag, 0);

    Deco_double_maxk maxk;
    EXPECT_EQ(maxk.maxk, 0.0);
    maxk.maxk = 3.5;
    maxk.Reset();
    EXPECT_EQ(maxk.maxk, 0.0);

    Deco_qef_qef qef;
    EXPECT_EQ(qef.qef, QuadricErrorFunction{});
    qef.qef = SomeQuadric();
    qef.Reset();
    EXPECT_EQ(qef.qef.A, (MatBase<3, 3, double>{}));
    EXPECT_EQ(qef.qef.b, (Vec3d{0, 0, 0}));
    EXPECT_EQ(qef.qef.c, 0.0);
    EXPECT_EQ(qef.qef.massPoint, (Vec3d{0, 0, 0}));
    EXPECT_EQ(qef.qef.count, 0);
    EXPECT_EQ(qef.qef.rank, 0);
}

TEST(Decorations, FieldsOfTheQuadricStandInTheirOrder)
{
    const QuadricErrorFunction qef;
    const std::vector<const void*> fields = {&qef.A,         &qef.b,     &qef.c,
                                             &qef.massPoint, &qef.count, &qef.rank};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<>()));
    static_assert(std::is_abstract_v<ITopologyDecoration>);
}

TEST(Decorations, OldIsTrueAfterReset)
{
    Deco_bool_old old;
    EXPECT_TRUE(old.old);
    old.old = false;
    old.Reset();
    EXPECT_TRUE(old.old);
}

// Counts its resets, to see which operation resets what.
struct CountingA : ITopologyDecoration {
    int resetsA = 0;
    void Reset() override { ++resetsA; }
};
struct CountingB : ITopologyDecoration {
    int resetsB = 0;
    void Reset() override { ++resetsB; }
};
struct CountingC : ITopologyDecoration {
    int resetsC = 0;
    void Reset() override { ++resetsC; }
};

TEST(Decorations, PacketResetsEachOnceAndAllTwiceButTheFirst)
{
    DecorationPacket<CountingA, CountingB, CountingC> packet;
    packet.Reset();
    EXPECT_EQ(packet.resetsA, 1);
    EXPECT_EQ(packet.resetsB, 1);
    EXPECT_EQ(packet.resetsC, 1);
    packet.ResetAll();
    EXPECT_EQ(packet.resetsA, 2);
    EXPECT_EQ(packet.resetsB, 3);
    EXPECT_EQ(packet.resetsC, 3);
}

TEST(Decorations, PacketMayBeEmpty)
{
    DecorationPacket<> packet;
    packet.Reset();
    packet.ResetAll();
    TriangleMesh<DHVertex<3>, DecoratedTopology<HEdge>, DecoratedTopology<HFace>> mesh;
    ASSERT_TRUE(mesh.LoadIndexedPoints(Support::Octahedron()));
    ASSERT_TRUE(mesh.CollapseEdge(mesh.FindEdge(0, 2), false, false));
    EXPECT_TRUE(mesh.Nodes()[2].IsInvalid());
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(Decorations, InvalidateThroughTheBaseResetsOnce)
{
    DecoratedTopology<HFace, CountingA, CountingB> face;
    face.edge = 5;
    HFace& base = face;
    base.Invalidate();
    EXPECT_TRUE(face.IsInvalid());
    EXPECT_EQ(face.edge, -4);
    EXPECT_EQ(face.resetsA, 1);
    EXPECT_EQ(face.resetsB, 1);
}

TEST(Decorations, BasesStandInTheOrderGiven)
{
    DHVertex<3, Deco_bool_feature, Deco_double_maxk> node;
    const auto* record = reinterpret_cast<const char*>(&node);
    const auto at = [&](const void* base) { return reinterpret_cast<const char*>(base) - record; };
    EXPECT_EQ(at(static_cast<HNode*>(&node)), 0);
    EXPECT_LT(at(&node.position), at(static_cast<Deco_bool_feature*>(&node)));
    EXPECT_LT(at(static_cast<Deco_bool_feature*>(&node)),
              at(static_cast<Deco_double_maxk*>(&node)));
}

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
TEST(Decorations, ResetComesBeforeResetAll)
{
    const auto slotOf = [](void (ITopologyDecoration::*member)()) {
        std::ptrdiff_t offset = 0;
        std::memcpy(&offset, &member, sizeof offset);
        return (offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
    };
    EXPECT_EQ(slotOf(&ITopologyDecoration::Reset), 0);
    EXPECT_EQ(slotOf(&ITopologyDecoration::ResetAll), 1);
    EXPECT_TRUE(std::has_virtual_destructor_v<ITopologyDecoration>); // behind the two
}
#endif

TEST(Decorations, RecycledNodeOfAFeatureIsNoFeature)
{
    FeatureMesh mesh;
    DHVertex<3, Deco_bool_feature> record;
    record.feature = true;
    record.position = {1, 2, 3};
    const int node = mesh.AddNode(record);
    EXPECT_TRUE(mesh.NodeRecord(node)->feature); // a new slot takes all of the record
    mesh.RemoveNode(node);
    EXPECT_EQ(mesh.AddNode(record), node);
    EXPECT_FALSE(mesh.NodeRecord(node)->feature); // a used one its edge and position only
    EXPECT_EQ(mesh.GetVertex(node), (Vec3d{1, 2, 3}));
}

TEST(Decorations, RecycledEdgesAndFacesAreClean)
{
    FeatureMesh mesh;
    for (int n = 0; n < 4; ++n) {
        mesh.AddNode({});
    }
    const int face = mesh.AddFace({0, 1, 2});
    mesh.FaceRecord(face)->tag = 9;
    const int edge = mesh.FindEdge(0, 1);
    mesh.EdgeRecord(edge)->feature = true;
    mesh.EdgeRecord(edge ^ 1)->feature = true;
    mesh.RemoveFace(face);
    mesh.RemoveEdge(edge);
    EXPECT_EQ(mesh.FindOrAddEdge(2, 3), edge);
    EXPECT_FALSE(mesh.EdgeRecord(edge)->feature);
    EXPECT_FALSE(mesh.EdgeRecord(edge ^ 1)->feature);
    mesh.FindOrAddEdge(3, 0);
    EXPECT_EQ(mesh.AddFace({0, 2, 3}), face);
    EXPECT_EQ(mesh.FaceRecord(face)->tag, 0);
}

TEST(Decorations, RecycledRecordCountsAsOld)
{
    SubdivisionMesh mesh;
    ASSERT_TRUE(mesh.LoadIndexedPoints(Support::Octahedron()));
    const int edge = mesh.FindEdge(0, 2);
    mesh.EdgeRecord(edge)->old = false;
    mesh.NodeRecord(2)->old = false;
    ASSERT_TRUE(mesh.CollapseEdge(edge, false, false)); // node 2 and three edges go
    int middle = 0;
    ASSERT_TRUE(mesh.SplitEdge(mesh.FindEdge(0, 4), middle, false, false));
    EXPECT_EQ(middle, 2);
    EXPECT_TRUE(mesh.NodeRecord(2)->old);
    EXPECT_TRUE(mesh.EdgeRecord(edge)->old);
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(Decorations, CollapseClearsTheErrorOfTheNodeThatGoes)
{
    QuadricMesh mesh;
    ASSERT_TRUE(mesh.LoadIndexedPoints(Support::Octahedron()));
    mesh.NodeRecord(0)->qef = SomeQuadric();
    mesh.NodeRecord(2)->qef = SomeQuadric();
    ASSERT_TRUE(mesh.CollapseEdge(mesh.FindEdge(0, 2), false, false));
    EXPECT_EQ(mesh.NodeRecord(0)->qef, SomeQuadric()); // the survivor keeps its own
    EXPECT_EQ(mesh.AddNode({}), 2);
    EXPECT_EQ(mesh.NodeRecord(2)->qef, QuadricErrorFunction{});
}

TEST(Decorations, EditsLeaveSurvivorsAndNewRecordsAlone)
{
    FeatureMesh mesh;
    ASSERT_TRUE(mesh.LoadIndexedPoints(Support::Octahedron()));
    const int edge = mesh.FindEdge(0, 4);
    mesh.EdgeRecord(edge)->feature = true;
    mesh.EdgeRecord(edge ^ 1)->feature = true;
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        mesh.FaceRecord(f)->tag = 7;
    }
    int middle = 0;
    ASSERT_TRUE(mesh.SplitEdge(edge, middle, true, true));
    EXPECT_TRUE(mesh.EdgeRecord(edge)->feature); // the half at 0
    EXPECT_FALSE(mesh.EdgeRecord(mesh.FindEdge(middle, 4))->feature);
    EXPECT_FALSE(mesh.NodeRecord(middle)->feature);
    EXPECT_EQ(mesh.FaceRecord(0)->tag, 7);
    EXPECT_EQ(mesh.FaceRecord(8)->tag, 0);
    EXPECT_EQ(mesh.FaceRecord(9)->tag, 0);
}

// A mesh of a host: its own decoration, its own lock.
struct Deco_int_group : ITopologyDecoration {
    int group = -1;
    void Reset() override { group = -1; }
};

class GroupedMesh : public TriangleMesh<DHVertex<2, Deco_int_group>, HEdge, HFace> {
public:
    bool IsNodeLocked(int node) const override
    {
        const auto* record = NodeRecord(node);
        return record != nullptr && record->group == 0;
    }
};

TEST(Decorations, HostsComposeTheirOwn)
{
    GroupedMesh mesh;
    const std::vector<Vec2d> points = {{0, 0}, {1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    ASSERT_TRUE(
        mesh.LoadIndexedPoints(points, {0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 1}, [](int, int) {}));
    EXPECT_EQ(mesh.NodeRecord(0)->group, -1);
    int middle = 0;
    ASSERT_TRUE(mesh.SplitFace(0, middle, false));
    mesh.NodeRecord(0)->group = 0;
    EXPECT_FALSE(mesh.CollapseEdge(mesh.FindEdge(0, middle), false, true)); // either end locks
    EXPECT_TRUE(mesh.CollapseEdge(mesh.FindEdge(0, middle), true, true));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(Decorations, LoadGivesTagsToTheFacesThatWereAdded)
{
    // The second triple repeats a node and the third a directed edge: their tags go with them.
    FeatureMesh mesh;
    const std::vector<Vec3d> points(4);
    const std::vector<unsigned char> tags = {10, 20, 30, 40};
    EXPECT_TRUE(mesh.LoadIndexedPoints(
        points, {0, 1, 2, 0, 0, 3, 0, 1, 3, 0, 2, 3}, [&](int triple, int face) {
            mesh.FaceRecord(face)->tag = tags[static_cast<std::size_t>(triple)];
        }));
    ASSERT_EQ(mesh.FaceCount(), 2);
    EXPECT_EQ(mesh.FaceRecord(0)->tag, 10);
    EXPECT_EQ(mesh.FaceRecord(1)->tag, 40);
}

TEST(Decorations, RecordSizes)
{
    // One pointer for each base with operations of its own: measured, so that nobody is surprised.
    EXPECT_EQ(sizeof(DecoratedTopology<HEdge, Deco_bool_feature>), 48U);
    EXPECT_EQ(sizeof(DecoratedTopology<HEdge, Deco_bool_old, Deco_bool_feature>), 64U);
    EXPECT_EQ(sizeof(DecoratedTopology<HFace, Deco_uchar_tag>), 32U);
    EXPECT_EQ(sizeof(DHVertex<3, Deco_bool_feature>), 56U);
}

} // namespace
