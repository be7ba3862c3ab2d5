// The imprintable mesh: how it is built, where points are located, what cutting and collapsing
// keep.

#include "tests/imprint/ImprintSupport.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <tuple>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::Imprintable;
using Support::ImprintMesh;
using Support::IndexedMesh;
using Support::MeshLocation;
using Support::NodePoint;
using Support::NodeReplacements;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Two triangles that make the square [0, 1]^2: (0, 1, 2) below the diagonal, (0, 2, 3) above it.
IndexedMesh Square() { return {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {0, 1, 2, 0, 2, 3}}; }

MeshLocation LocateAt(const ImprintMesh& mesh, Vec3d point, double radius)
{
    return mesh.Locate(point, radius, 0);
}

// The half-edge between two nodes gets its place at a fraction of its length.
MeshLocation OnEdge(const ImprintMesh& mesh, int from, int to, double fraction)
{
    MeshLocation location;
    location.pathIndex = 0;
    location.edge = mesh.FindEdge(from, to);
    location.facet = mesh.Edges()[static_cast<std::size_t>(location.edge)].face;
    location.point =
        NodePoint(mesh, from) + (NodePoint(mesh, to) - NodePoint(mesh, from)) * fraction;
    return location;
}

int NodesAlive(const ImprintMesh& mesh) { return Support::CountTopology(mesh).nodes; }

// --- records and places -------------------------------------------------------------------------

TEST(ImprintRecords, ResetsAsTheyAreTold)
{
    Mesh::Impl::ImprintNode node(Vec3d{1, 2, 3});
    EXPECT_EQ(node.state, 1);
    node.state = 7;
    node.Invalidate();
    EXPECT_EQ(node.state, 1);
    EXPECT_EQ(node.edge, -4);
    Mesh::Impl::ImprintEdge edge;
    EXPECT_EQ(edge.imprinted, 0);
    edge.imprinted = 1;
    edge.Invalidate();
    EXPECT_EQ(edge.imprinted, 0);
    for (const int link : {edge.node, edge.twin, edge.next, edge.prev, edge.face}) {
        EXPECT_EQ(link, -4);
    }
    const Mesh::Impl::ImprintFacet<unsigned long long> facet;
    EXPECT_EQ(facet.paint, 0);
    EXPECT_FALSE(facet.marked);
    EXPECT_EQ(facet.tag, 0U);
}

TEST(MeshLocationKinds, AtMostOneHoldsAndNoneWithoutAPoint)
{
    MeshLocation place;
    EXPECT_EQ(place.pathIndex, -1);
    EXPECT_EQ(place.node, -3);
    EXPECT_EQ(place.edge, -2);
    EXPECT_EQ(place.facet, -1);
    EXPECT_EQ(place.point[2], -std::numeric_limits<double>::max());
    EXPECT_FALSE(place.IsLocated());
    place.point = {0, 0, 0};
    place.facet = 4;
    EXPECT_FALSE(place.IsLocated()) << "no path index";
    place.pathIndex = 0;
    EXPECT_TRUE(place.IsInFacet() && place.IsLocated());
    place.edge = 2;
    EXPECT_TRUE(place.IsOnEdge() && place.IsLocated() && !place.IsInFacet());
    place.node = 5;
    EXPECT_TRUE(place.IsOnNode() && place.IsLocated() && !place.IsOnEdge() && !place.IsInFacet());
    place.point = MeshLocation().point;
    EXPECT_FALSE(place.IsOnNode() || place.IsLocated());
}

// --- building -----------------------------------------------------------------------------------

TEST(ImprintableMeshBuild, NodesArePointsAndTagsPaint)
{
    const IndexedMesh cube = Support::Cube();
    const std::vector<unsigned char> tags = {0, 9, 0, 255};
    const ImprintMesh mesh(cube.points, cube.indices, tags, 1e-6);
    Support::ExpectSound(mesh);
    ASSERT_EQ(mesh.NodeCount(), 8);
    for (int n = 0; n < 8; ++n) {
        EXPECT_EQ(NodePoint(mesh, n), cube.points[static_cast<std::size_t>(n)]);
    }
    ASSERT_EQ(mesh.FaceCount(), 12);
    for (int f = 0; f < 12; ++f) {
        const unsigned char tag = f < 4 ? tags[static_cast<std::size_t>(f)] : 0;
        EXPECT_EQ(mesh.FaceRecord(f)->tag, tag);
        EXPECT_EQ(mesh.FaceRecord(f)->paint, tag == 0 ? 0 : 2);
        EXPECT_FALSE(mesh.FaceRecord(f)->marked);
    }
    EXPECT_EQ(mesh.Tolerance(), 1e-6);
}

TEST(ImprintableMeshBuild, BadTriplesAreReportedOnceEachAndTagsGoByTriple)
{
    const IndexedMesh square = Square();
    // Equal numbers, out of range on both sides, a directed edge that is taken, then one good
    // triple and an incomplete one.
    const std::vector<int> indices = {0, 1, 2, 0, 0, 3, 0, 2, 9, 0, -1, 2, 3, 0, 1, 0, 2, 3, 1, 2};
    Support::ExpectAssertions(4);
    const ImprintMesh mesh(square.points, indices, {1, 2, 3, 4, 5, 6}, 1e-6);
    EXPECT_EQ(Support::LastAssertion(),
              "ProjectionImprinting_Impl:145 "
              "Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<unsigned char>::ImprintableMesh");
    ASSERT_EQ(mesh.FaceCount(), 2);
    EXPECT_EQ(mesh.FaceRecord(0)->tag, 1);
    EXPECT_EQ(mesh.FaceRecord(1)->tag, 6);
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshBuild, WordsOf64BitsReportUnderTheirOwnName)
{
    Support::ExpectAssertions(1);
    const IndexedMesh square = Square();
    const Mesh::Impl::ImprintableMesh<unsigned long long> mesh(square.points, {0, 1, 1, 0, 1, 2},
                                                               {7, 1ULL << 63U}, 1e-6);
    EXPECT_EQ(
        Support::LastAssertion(),
        "ProjectionImprinting_Impl:145 "
        "Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<unsigned __int64>::ImprintableMesh");
    EXPECT_EQ(mesh.FaceRecord(0)->tag, 1ULL << 63U);
    EXPECT_EQ(mesh.FaceRecord(0)->paint, 2);
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshBuild, ARefusedTripleLeavesNoEdgeBehind)
{
    // The second fin is refused at the common edge, its other edges would lead through the air.
    Support::ExpectAssertions(2);
    const IndexedMesh fins = Support::Fins(3);
    const ImprintMesh mesh = Imprintable(fins, 1e-6);
    EXPECT_EQ(Support::CountTopology(mesh).edges, 3);
    Support::ExpectSound(mesh);
    // A node that a refused triple touched keeps the ring that it had.
    EXPECT_EQ(mesh.NodeFaces(0).size(), 1U);
    EXPECT_EQ(mesh.NodeFaces(1).size(), 1U);
}

TEST(ImprintableMeshBuild, EmptyInputs)
{
    ImprintMesh none({}, {}, {}, 1e-3);
    EXPECT_FALSE(LocateAt(none, {0, 0, 0}, 1).IsLocated());
    EXPECT_TRUE(none.LocatePath({}).empty());
    EXPECT_TRUE(none.TracePath({}, true).empty());
    NodeReplacements replaced = {{1, 2}};
    none.CollapseShortEdges(1, replaced);
    EXPECT_TRUE(replaced.empty());
    const ImprintMesh points({{1, 2, 3}}, {}, {3}, 1e-3);
    EXPECT_EQ(points.NodeCount(), 1);
    EXPECT_FALSE(LocateAt(points, {1, 2, 3}, 1).IsLocated());
}

TEST(ImprintableMeshBuild, CornersThatAreNotFiniteAreNotInTheTree)
{
    IndexedMesh square = Square();
    square.points[3] = {0, kNaN, 0};
    ImprintMesh mesh = Imprintable(square, 1e-6);
    EXPECT_EQ(mesh.FacetTree()->FacetCount(), 1U);
    EXPECT_TRUE(LocateAt(mesh, {0.75, 0.25, 0}, 1e-6).IsInFacet());
    EXPECT_FALSE(LocateAt(mesh, {0.25, 0.75, 0}, 1e-6).IsLocated());
    // The neighbor of such a facet can be cut, and so can the edge between them.
    MeshLocation place = OnEdge(mesh, 0, 2, 0.5);
    EXPECT_TRUE(mesh.SplitAtLocation(place));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
    for (const double bad : {kInfinity, 1e300}) {
        square.points[3] = {0, bad, 0};
        EXPECT_EQ(Imprintable(square, 1e-6).FacetTree()->FacetCount(), 1U);
    }
}

TEST(ImprintableMeshBuild, WhereThreeFansMeetEachBoundaryGoesOnAlongItself)
{
    const IndexedMesh fans = Support::TrianglesAtOnePoint(3);
    ImprintMesh mesh = Imprintable(fans, 1e-6);
    EXPECT_EQ(Support::CountTopology(mesh).boundaryLoops, 3);
    const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
    for (int e = 0; e < 18; ++e) {
        MeshLocation place = OnEdge(mesh, mesh.EdgeNodes(e)[0], mesh.EdgeNodes(e)[1], 0.25);
        EXPECT_TRUE(mesh.SplitAtLocation(place));
    }
    EXPECT_EQ(mesh.FaceCount(), 3 + 18);
    Support::ExpectSound(mesh);
    const Support::SurfaceMeasures after = Support::MeasuresOf(mesh);
    EXPECT_NEAR(static_cast<double>(after.area), static_cast<double>(before.area), 1e-15);
}

TEST(ImprintableMeshBuild, EdgesOfUpToHalfTheToleranceAreCollapsed)
{
    // A closed octahedron with one more node inside a face, near a corner.
    IndexedMesh mesh = Support::Octahedron();
    const Vec3d corner = mesh.points[0];
    mesh.points.push_back(corner + Vec3d{-0.004, 0.002, 0.002});
    mesh.indices.erase(mesh.indices.begin(), mesh.indices.begin() + 3); // 0, 2, 4
    mesh.indices.insert(mesh.indices.end(), {0, 2, 6, 2, 4, 6, 4, 0, 6});
    const double length = Vector::Length(mesh.points[6] - corner);
    EXPECT_EQ(NodesAlive(Imprintable(mesh, 2 * length * 1.0001)), 6);
    EXPECT_EQ(NodesAlive(Imprintable(mesh, 2 * length * 0.9999)), 7);
    Support::ExpectSound(Imprintable(mesh, 2 * length * 1.0001));
}

// --- locating -----------------------------------------------------------------------------------

TEST(ImprintableMeshLocate, FartherThanTheRadiusIsNowhere)
{
    const ImprintMesh mesh = Imprintable(Square(), 1e-6);
    EXPECT_TRUE(LocateAt(mesh, {0.7, 0.2, 0.0625}, 0.0625).IsInFacet());
    EXPECT_FALSE(LocateAt(mesh, {0.7, 0.2, 0.0626}, 0.0625).IsLocated());
    EXPECT_FALSE(LocateAt(mesh, {1.1, 0.5, 0}, 0.0625).IsLocated());
    const MeshLocation nowhere = LocateAt(mesh, {5, 5, 5}, 0.1);
    EXPECT_EQ(nowhere.pathIndex, -1);
    EXPECT_EQ(nowhere.point[0], -std::numeric_limits<double>::max());
}

TEST(ImprintableMeshLocate, OffAFacetAlongAnAxisTheRadiusDecides)
{
    // The boxes of an axis-parallel facet are flat: a point a little above is in none of them.
    const ImprintMesh mesh = Imprintable(Support::Cube(), 1e-6);
    EXPECT_TRUE(LocateAt(mesh, {0.7, 0.4, 1 + 1e-9}, 1e-6).IsInFacet());
    EXPECT_TRUE(LocateAt(mesh, {0.7, 0.4, 1 - 1e-9}, 1e-6).IsInFacet());
    EXPECT_FALSE(LocateAt(mesh, {0.7, 0.4, 1 + 2e-6}, 1e-6).IsLocated());
}

TEST(ImprintableMeshLocate, WithinTheRadiusOfACornerOnEachAxisItIsTheCorner)
{
    const ImprintMesh mesh = Imprintable(Square(), 1e-6);
    // Each axis differs by the radius at most, the distance by more.
    Vec3d point = {0.9375, 0.0625, 0.03125};
    const MeshLocation place = mesh.Locate(point, 0.0625, 3);
    ASSERT_EQ(place.node, 1);
    EXPECT_EQ(place.pathIndex, 3);
    EXPECT_EQ(place.point, (Vec3d{1, 0, 0}));
    EXPECT_EQ(point, place.point) << "the caller's point moves";
    // A place on a node names an edge and a facet around it.
    EXPECT_EQ(mesh.EdgeNodes(place.edge)[0], 1);
    EXPECT_EQ(mesh.FaceNodes(place.facet).size(), 3U);
    // Beyond it on one axis it is on the edge, if that is near enough.
    EXPECT_TRUE(LocateAt(mesh, {0.937, 0.0625, 0}, 0.0625).IsOnEdge());
}

TEST(ImprintableMeshLocate, WithinTheRadiusOfASideItMovesToItsNearestPoint)
{
    const ImprintMesh mesh = Imprintable(Square(), 1e-6);
    const MeshLocation place = LocateAt(mesh, {0.5, 0.0625, 0}, 0.0625);
    ASSERT_TRUE(place.IsOnEdge());
    EXPECT_EQ(place.point, (Vec3d{0.5, 0, 0}));
    EXPECT_EQ(mesh.EdgeNodes(place.edge), (std::vector<int>{0, 1}));
    EXPECT_EQ(place.facet, 0);
    EXPECT_TRUE(LocateAt(mesh, {0.5, 0.0626, 0}, 0.0625).IsInFacet());
}

TEST(ImprintableMeshLocate, InsideAFacetThePointStays)
{
    const ImprintMesh mesh = Imprintable(Square(), 1e-6);
    Vec3d point = {0.75, 0.25, 1e-7};
    const MeshLocation place = mesh.Locate(point, 1e-6, 0);
    EXPECT_TRUE(place.IsInFacet());
    EXPECT_EQ(place.facet, 0);
    EXPECT_EQ(place.point, (Vec3d{0.75, 0.25, 1e-7}));
    EXPECT_EQ(point, place.point);
}

TEST(ImprintableMeshLocate, OfSeveralFacetsTheOneOfLeastNumberAnswers)
{
    const ImprintMesh mesh = Imprintable(Square(), 1e-6);
    // On the diagonal: facet 0 takes it as its last side, facet 1 would as its first.
    const MeshLocation place = LocateAt(mesh, {0.5, 0.5, 0}, 1e-6);
    EXPECT_EQ(place.facet, 0);
    EXPECT_EQ(mesh.EdgeNodes(place.edge), (std::vector<int>{2, 0}));
    const IndexedMesh turned = {Square().points, {0, 2, 3, 0, 1, 2}};
    const ImprintMesh other = Imprintable(turned, 1e-6);
    EXPECT_EQ(other.EdgeNodes(LocateAt(other, {0.5, 0.5, 0}, 1e-6).edge), (std::vector<int>{0, 2}));
    // Near two sides the first in the facet's order takes it.
    EXPECT_EQ(LocateAt(mesh, {0.0011, 0.0005, 0}, 0.001).point, (Vec3d{0.0011, 0, 0}));
}

TEST(ImprintableMeshLocate, OfSeveralCornersTheFirstOfTheFacetTakesIt)
{
    // The middle of the diagonal is within the radius of all corners, and of two sides.
    for (const auto& [first, second, third] :
         {std::tuple{0, 1, 2}, std::tuple{1, 2, 0}, std::tuple{2, 0, 1}}) {
        const ImprintMesh mesh(Square().points, {first, second, third, 0, 2, 3}, {}, 1e-6);
        EXPECT_EQ(LocateAt(mesh, {0.5, 0.5, 0}, 0.75).node, first);
    }
}

TEST(ImprintableMeshLocate, HostileRadiiAndPoints)
{
    const ImprintMesh mesh = Imprintable(Square(), 1e-6);
    EXPECT_TRUE(LocateAt(mesh, {1, 0, 0}, 0).IsOnNode());
    EXPECT_TRUE(LocateAt(mesh, {0.5, 0, 0}, 0).IsOnEdge());
    EXPECT_TRUE(LocateAt(mesh, {0.75, 0.25, 0}, 0).IsInFacet());
    EXPECT_FALSE(LocateAt(mesh, {0.75, 0.25, 0}, -1).IsLocated());
    EXPECT_FALSE(LocateAt(mesh, {0.75, 0.25, 0}, kNaN).IsLocated());
    EXPECT_TRUE(LocateAt(mesh, {0.75, 0.25, 9}, kInfinity).IsOnNode());
    for (const double bad : {kNaN, kInfinity, -kInfinity, 1e300}) {
        EXPECT_FALSE(LocateAt(mesh, {0.5, bad, 0}, 1e-3).IsLocated());
    }
    const std::vector<MeshLocation> path =
        mesh.LocatePath({{0.75, 0.25, 0}, {kNaN, 0, 0}, {1, 1, 0}});
    ASSERT_EQ(path.size(), 3U);
    EXPECT_EQ(path[0].pathIndex, 0);
    EXPECT_FALSE(path[1].IsLocated());
    EXPECT_EQ(path[2].pathIndex, 2);
    EXPECT_EQ(path[2].node, 2);
}

TEST(ImprintableMeshLocate, NothingIsFoundWithoutATreeAndAllIsWithTheNextOne)
{
    ImprintMesh mesh = Imprintable(Square(), 1e-6);
    mesh.DropSearchTree();
    EXPECT_EQ(mesh.FacetTree(), nullptr);
    EXPECT_FALSE(LocateAt(mesh, {0.75, 0.25, 0}, 1e-6).IsLocated());
    MeshLocation place = OnEdge(mesh, 0, 2, 0.5);
    EXPECT_TRUE(mesh.SplitAtLocation(place)) << "cutting needs no tree";
    mesh.BuildSearchTree();
    Support::ExpectSound(mesh);
    EXPECT_TRUE(LocateAt(mesh, {0.75, 0.25, 0}, 1e-6).IsLocated());
}

// The facet by going over all of them with a distance of the test's own: the least number among
// those whose boxes hold the point, otherwise among all.
int FacetByLooking(const IndexedMesh& mesh, const Vec3d& point, double radius)
{
    for (const bool inBox : {true, false}) {
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            const Vec3d a = Support::PointOf(mesh, i);
            const Vec3d b = Support::PointOf(mesh, i + 1);
            const Vec3d c = Support::PointOf(mesh, i + 2);
            bool holds = true;
            for (int axis = 0; axis < 3; ++axis) {
                holds &= point[axis] >= std::min({a[axis], b[axis], c[axis]}) - 6e-12 &&
                         point[axis] <= std::max({a[axis], b[axis], c[axis]}) + 6e-12;
            }
            if ((holds || !inBox) && Support::DistanceToTriangle(point, a, b, c) <= radius) {
                return static_cast<int>(i / 3);
            }
        }
    }
    return -1;
}

TEST(ImprintableMeshLocate, AgreesWithLookingAtAllFacets)
{
    for (const double offset : {0.0, 1e6}) {
        IndexedMesh sphere = Support::Sphere(2);
        for (Vec3d& point : sphere.points) {
            point += Vec3d{offset, -offset, offset};
        }
        const ImprintMesh mesh = Imprintable(sphere, 1e-6);
        Support::Random random(11);
        int found = 0;
        for (int i = 0; i < 500; ++i) {
            const auto t = 3 * static_cast<std::size_t>(random.Below(128));
            const double s = random.Unit();
            const double u = random.Unit() * (1 - s);
            Vec3d point = Support::PointOf(sphere, t) * (1 - s - u) +
                          Support::PointOf(sphere, t + 1) * s + Support::PointOf(sphere, t + 2) * u;
            point += random.Vector<3, double>(-0.02, 0.02);
            const double radius = random.Between(0.001, 0.03);
            const MeshLocation place = LocateAt(mesh, point, radius);
            EXPECT_EQ(place.facet, FacetByLooking(sphere, point, radius));
            found += place.IsLocated() ? 1 : 0;
            if (place.IsLocated()) {
                EXPECT_LE(Vector::Length(place.point - point), std::sqrt(3.0) * radius + 1e-9);
            }
        }
        EXPECT_GT(found, 200);
        EXPECT_LT(found, 480);
    }
}

// --- cutting ------------------------------------------------------------------------------------

TEST(ImprintableMeshSplit, AnEdgePassesItsWordsToAllPieces)
{
    const IndexedMesh square = Square();
    ImprintMesh mesh(square.points, square.indices, {5, 0}, 1e-6);
    const int diagonal = mesh.FindEdge(0, 2);
    mesh.EdgeRecord(diagonal)->imprinted = 1;
    mesh.EdgeRecord(diagonal ^ 1)->imprinted = 1;
    mesh.FaceRecord(0)->marked = true;
    MeshLocation place = OnEdge(mesh, 2, 0, 0.25);
    ASSERT_TRUE(mesh.SplitAtLocation(place));
    ASSERT_TRUE(place.IsOnNode());
    EXPECT_EQ(NodePoint(mesh, place.node), (Vec3d{0.75, 0.75, 0}));
    EXPECT_EQ(mesh.NodeRecord(place.node)->state, 1);
    Support::ExpectSound(mesh);
    for (const int corner : {0, 2}) {
        const int half = mesh.FindEdge(place.node, corner);
        EXPECT_EQ(mesh.EdgeRecord(half)->imprinted, 1);
        EXPECT_EQ(mesh.EdgeRecord(half ^ 1)->imprinted, 1);
    }
    for (const int apex : {1, 3}) {
        const int spoke = mesh.FindEdge(place.node, apex);
        EXPECT_EQ(mesh.EdgeRecord(spoke)->imprinted, 0);
        for (const int facet : mesh.EdgeFaces(spoke)) {
            EXPECT_EQ(mesh.FaceRecord(facet)->tag, apex == 1 ? 5 : 0);
            EXPECT_EQ(mesh.FaceRecord(facet)->paint, apex == 1 ? 2 : 0);
            EXPECT_EQ(mesh.FaceRecord(facet)->marked, apex == 1);
        }
    }
}

TEST(ImprintableMeshSplit, ABoundaryEdge)
{
    ImprintMesh mesh = Imprintable(Square(), 1e-6);
    for (const bool inner : {true, false}) {
        MeshLocation place = inner ? OnEdge(mesh, 0, 1, 0.5) : OnEdge(mesh, 3, 2, 0.5);
        ASSERT_TRUE(mesh.SplitAtLocation(place));
        EXPECT_GE(place.facet, 0) << "a place on a node names a facet around it";
        Support::ExpectSound(mesh);
    }
    EXPECT_EQ(Support::CountTopology(mesh).faces, 4);
}

TEST(ImprintableMeshSplit, AFacetBecomesThreeWithItsWords)
{
    const IndexedMesh square = Square();
    ImprintMesh mesh(square.points, square.indices, {5, 0}, 1e-6);
    mesh.FaceRecord(0)->marked = true;
    MeshLocation place = LocateAt(mesh, {0.75, 0.25, 0}, 1e-6);
    EXPECT_FALSE(mesh.SplitAtLocation(place)) << "it is on no edge";
    ASSERT_TRUE(mesh.SplitFacetAtLocation(place));
    EXPECT_EQ(NodePoint(mesh, place.node), (Vec3d{0.75, 0.25, 0}));
    const std::vector<int> pieces = mesh.NodeFaces(place.node);
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_TRUE(std::count(pieces.begin(), pieces.end(), 0) == 1) << "one keeps the number";
    for (const int piece : pieces) {
        EXPECT_EQ(mesh.FaceRecord(piece)->tag, 5);
        EXPECT_EQ(mesh.FaceRecord(piece)->paint, 2);
        EXPECT_TRUE(mesh.FaceRecord(piece)->marked);
    }
    Support::ExpectSound(mesh);
    EXPECT_FALSE(mesh.SplitFacetAtLocation(place)) << "it is a node now";
    EXPECT_FALSE(mesh.SplitAtLocation(place));
}

TEST(ImprintableMeshSplit, PlacesThatAreNoneAreRefused)
{
    ImprintMesh mesh = Imprintable(Square(), 1e-6);
    const std::vector<int> before = Support::Fingerprint(mesh);
    MeshLocation unset;
    EXPECT_FALSE(mesh.SplitAtLocation(unset));
    EXPECT_FALSE(mesh.SplitFacetAtLocation(unset));
    MeshLocation noSuchEdge = OnEdge(mesh, 0, 2, 0.5);
    noSuchEdge.edge = 999;
    noSuchEdge.point = {7, 7, 7};
    EXPECT_FALSE(mesh.SplitAtLocation(noSuchEdge));
    MeshLocation noSuchFacet = LocateAt(mesh, {0.75, 0.25, 0}, 1e-6);
    noSuchFacet.facet = 999;
    noSuchFacet.point = {7, 7, 7};
    EXPECT_FALSE(mesh.SplitFacetAtLocation(noSuchFacet));
    EXPECT_EQ(Support::Fingerprint(mesh), before);
}

TEST(ImprintableMeshSplit, TwoTrianglesBackToBackAreRefusedAsTheyWere)
{
    ImprintMesh mesh(Square().points, {0, 1, 2, 0, 2, 1}, {}, 1e-6);
    const std::vector<int> before = Support::Fingerprint(mesh);
    MeshLocation place = OnEdge(mesh, 0, 1, 0.5);
    const MeshLocation copy = place;
    EXPECT_FALSE(mesh.SplitAtLocation(place));
    EXPECT_EQ(place.node, copy.node);
    EXPECT_EQ(place.edge, copy.edge);
    EXPECT_EQ(Support::Fingerprint(mesh), before);
    Support::ExpectSound(mesh);
}

// Places that were all found on one edge before it was cut, in any order.
TEST(ImprintableMeshSplit, ConsecutivePointsOnOneEdgeReachTheRightPieces)
{
    for (const auto& [from, to] : {std::pair{0, 2}, std::pair{2, 0}}) {
        for (int trial = 0; trial < 20; ++trial) {
            Support::Random random(static_cast<std::uint64_t>(trial));
            ImprintMesh mesh = Imprintable(Square(), 1e-6);
            if (trial % 2 == 0) {
                mesh.DropSearchTree(); // the history alone leads there
            }
            const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
            std::vector<MeshLocation> places;
            for (int i = 0; i < 9; ++i) {
                places.push_back(OnEdge(mesh, from, to, random.Between(0.01, 0.99)));
            }
            std::map<double, int> alongEdge = {{0.0, from}, {std::sqrt(2.0), to}};
            for (MeshLocation& place : places) {
                ASSERT_TRUE(mesh.SplitAtLocation(place));
                alongEdge[Vector::Length(place.point - NodePoint(mesh, from))] = place.node;
            }
            ASSERT_EQ(alongEdge.size(), 11U);
            for (auto entry = alongEdge.begin(); std::next(entry) != alongEdge.end(); ++entry) {
                EXPECT_GE(mesh.FindEdge(entry->second, std::next(entry)->second), 0)
                    << "neighbors along the edge are joined";
            }
            Support::ExpectSound(mesh);
            const Support::SurfaceMeasures after = Support::MeasuresOf(mesh);
            EXPECT_NEAR(static_cast<double>(after.area), static_cast<double>(before.area), 1e-15);
        }
    }
}

TEST(ImprintableMeshSplit, ManyPointsOnOneEdgeInOrder)
{
    // One after the other from either end: what is searched must not grow with what was cut.
    constexpr int kCount = 20000;
    ImprintMesh mesh = Imprintable(Square(), 1e-9);
    std::vector<MeshLocation> places;
    for (int i = 1; i < kCount; ++i) {
        places.push_back(OnEdge(mesh, 0, 2, static_cast<double>(i) / kCount));
    }
    for (MeshLocation& place : places) {
        ASSERT_TRUE(mesh.SplitAtLocation(place));
    }
    for (std::size_t i = 1; i < places.size(); ++i) {
        ASSERT_GE(mesh.FindEdge(places[i - 1].node, places[i].node), 0);
    }
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(ImprintableMeshSplit, ThePlaceOfANodeIsThatNode)
{
    ImprintMesh mesh = Imprintable(Square(), 1e-6);
    MeshLocation first = OnEdge(mesh, 0, 2, 0.5);
    MeshLocation again = OnEdge(mesh, 2, 0, 0.5);
    ASSERT_TRUE(mesh.SplitAtLocation(first));
    const int nodes = mesh.NodeCount();
    ASSERT_TRUE(mesh.SplitAtLocation(again));
    EXPECT_EQ(again.node, first.node);
    EXPECT_EQ(mesh.NodeCount(), nodes);
}

TEST(ImprintableMeshSplit, AfterForgettingAPlaceIsLocatedAnew)
{
    ImprintMesh mesh = Imprintable(Square(), 1e-6);
    MeshLocation early = OnEdge(mesh, 0, 2, 0.25);
    MeshLocation late = OnEdge(mesh, 0, 2, 0.75);
    ASSERT_TRUE(mesh.SplitAtLocation(early));
    mesh.ForgetSplits();
    ASSERT_TRUE(mesh.SplitAtLocation(late));
    EXPECT_EQ(NodePoint(mesh, late.node), (Vec3d{0.75, 0.75, 0}));
    EXPECT_GE(mesh.FindEdge(early.node, late.node), 0);
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshSplit, APlaceInAFacetThatWasCutComesToItsPiece)
{
    Support::Random random(5);
    ImprintMesh mesh = Imprintable(Square(), 1e-9);
    const Support::SurfaceMeasures before = Support::MeasuresOf(mesh);
    std::vector<MeshLocation> places;
    for (int i = 0; i < 200; ++i) {
        places.push_back(
            LocateAt(mesh, {random.Between(0.01, 0.99), random.Between(0.01, 0.99), 0}, 1e-9));
    }
    for (MeshLocation& place : places) {
        ASSERT_TRUE(place.IsInFacet());
        ASSERT_TRUE(mesh.SplitFacetAtLocation(place));
        EXPECT_EQ(NodePoint(mesh, place.node), place.point);
    }
    EXPECT_EQ(Support::CountTopology(mesh).nodes, 204);
    Support::ExpectSound(mesh);
    // No triangle is turned over: their unsigned areas still add up to the square.
    const Support::SurfaceMeasures after = Support::MeasuresOf(mesh);
    EXPECT_NEAR(static_cast<double>(after.area), static_cast<double>(before.area), 1e-14);
}

TEST(ImprintableMeshSplit, APlaceThatHasCloseByACutSinceComesToLieOnIt)
{
    // The first cut leads an edge from each corner past the second point, nearer than the
    // tolerance: a facet there would be a sliver. One of the three pieces has the number of the
    // whole.
    const Vec3d middle = {0.75, 0.25, 0};
    for (int corner = 0; corner < 3; ++corner) {
        for (const double aside : {0.0005, -0.0005}) {
            ImprintMesh mesh = Imprintable(Square(), 1e-3);
            const Vec3d spoke = middle - NodePoint(mesh, corner);
            const Vec3d across = {-spoke[1], spoke[0], 0};
            const Vec3d beside = middle - spoke * 0.5 + across * (aside / Vector::Length(spoke));
            std::vector<MeshLocation> places = mesh.LocatePath({middle, beside});
            ASSERT_TRUE(places[0].IsInFacet() && places[1].IsInFacet());
            ASSERT_TRUE(mesh.SplitFacetAtLocation(places[0]));
            ASSERT_GE(mesh.FindEdge(corner, places[0].node), 0);
            ASSERT_TRUE(mesh.SplitFacetAtLocation(places[1]));
            EXPECT_LT(mesh.FindEdge(corner, places[0].node), 0) << "the edge was cut";
            EXPECT_GE(mesh.FindEdge(corner, places[1].node), 0);
            EXPECT_GE(mesh.FindEdge(places[1].node, places[0].node), 0);
            EXPECT_NEAR((places[1].point - middle) * across, 0, 1e-15);
            Support::ExpectSound(mesh);
        }
    }
}

TEST(ImprintableMeshSplit, OffTheSurfaceTheTreeMakesRoom)
{
    // The node goes where the point is, out of the extent for which the tree was built.
    ImprintMesh mesh = Imprintable(Square(), 1e-6);
    MeshLocation place;
    place.pathIndex = 0;
    place.facet = 0;
    place.point = {0.7, 0.3, 0.9};
    ASSERT_TRUE(mesh.SplitFacetAtLocation(place));
    Support::ExpectSound(mesh);
    EXPECT_TRUE(LocateAt(mesh, {0.7, 0.3, 0.9}, 1e-6).IsOnNode());
}

// --- collapsing ---------------------------------------------------------------------------------

TEST(ImprintableMeshCollapse, ReplacementsLeadToLiveNodes)
{
    // A row of nodes on one edge of a cube, each nearer to the next than the limit.
    ImprintMesh mesh = Imprintable(Support::Cube(), 1e-9);
    std::vector<int> row;
    for (const double t : {0.500, 0.501, 0.502, 0.503, 0.504}) {
        MeshLocation place = LocateAt(mesh, {t, 0, 0}, 1e-9);
        ASSERT_TRUE(mesh.SplitAtLocation(place));
        row.push_back(place.node);
    }
    NodeReplacements replaced;
    mesh.CollapseShortEdges(0.0015, replaced);
    EXPECT_FALSE(replaced.empty());
    for (const auto& [gone, stands] : replaced) {
        EXPECT_FALSE(mesh.IsValidNode(gone));
        EXPECT_TRUE(mesh.IsValidNode(stands)) << "resolved to the end";
    }
    for (const int node : row) {
        EXPECT_EQ(mesh.IsValidNode(node), replaced.count(node) == 0);
    }
    Support::ExpectSound(mesh);
}

// Splits a facet of the cube near its corner 4; the ring is of the nodes beside that corner.
void SplitNearCorner(ImprintMesh& mesh, MeshLocation& place, std::vector<int>& ring)
{
    place = LocateAt(mesh, {0.01, 0.005, 1}, 1e-9);
    ASSERT_TRUE(mesh.SplitFacetAtLocation(place));
    ring = mesh.NodeNodes(place.node);
    ring.erase(std::remove(ring.begin(), ring.end(), 4), ring.end());
}

TEST(ImprintableMeshCollapse, TheImprintOfAnEdgeThatGoesStays)
{
    // A node inside a facet near a corner: two of its spokes fall on the facet's sides.
    ImprintMesh mesh = Imprintable(Support::Cube(), 1e-9);
    MeshLocation place;
    std::vector<int> ring;
    SplitNearCorner(mesh, place, ring);
    ASSERT_EQ(ring.size(), 2U);
    const int spoke = mesh.FindEdge(place.node, ring[0]);
    mesh.EdgeRecord(spoke)->imprinted = mesh.EdgeRecord(spoke ^ 1)->imprinted = 1;
    NodeReplacements replaced;
    mesh.CollapseShortEdges(0.02, replaced);
    ASSERT_EQ(replaced.count(place.node), 1U);
    EXPECT_EQ(replaced[place.node], 4);
    const int side = mesh.FindEdge(4, ring[0]);
    EXPECT_EQ(mesh.EdgeRecord(side)->imprinted, 1);
    EXPECT_EQ(mesh.EdgeRecord(side ^ 1)->imprinted, 1);
    EXPECT_EQ(mesh.EdgeRecord(mesh.FindEdge(4, ring[1]))->imprinted, 0);
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshCollapse, PathsOfTwoEdgesThatBecomeOneAreCountedTogether)
{
    // The same: where a path runs along the spoke and another along the side that it falls on, two
    // run along what is left.
    for (const bool hasSpoke : {true, false}) {
        for (const bool hasSide : {true, false}) {
            for (const std::size_t k : {0U, 1U}) {
                ImprintMesh mesh = Imprintable(Support::Cube(), 1e-9);
                MeshLocation place;
                std::vector<int> ring;
                SplitNearCorner(mesh, place, ring);
                ASSERT_EQ(ring.size(), 2U);
                const int spoke = mesh.FindEdge(place.node, ring[k]);
                const int side = mesh.FindEdge(4, ring[k]);
                mesh.EdgeRecord(spoke)->isOdd = mesh.EdgeRecord(spoke ^ 1)->isOdd = hasSpoke;
                mesh.EdgeRecord(side)->isOdd = mesh.EdgeRecord(side ^ 1)->isOdd = hasSide;
                NodeReplacements replaced;
                mesh.CollapseShortEdges(0.02, replaced);
                ASSERT_EQ(replaced.count(place.node), 1U);
                const int left = mesh.FindEdge(4, ring[k]);
                EXPECT_EQ(mesh.EdgeRecord(left)->isOdd, hasSpoke != hasSide);
                EXPECT_EQ(mesh.EdgeRecord(left ^ 1)->isOdd, hasSpoke != hasSide);
                EXPECT_FALSE(mesh.EdgeRecord(mesh.FindEdge(4, ring[1 - k]))->isOdd);
            }
        }
    }
}

TEST(ImprintableMeshCollapse, BoundaryNodesNeverGo)
{
    ImprintMesh mesh = Imprintable(Square(), 1e-9);
    MeshLocation inner = LocateAt(mesh, {0.01, 0.005, 0}, 1e-9);
    ASSERT_TRUE(mesh.SplitFacetAtLocation(inner));
    MeshLocation onBoundary = LocateAt(mesh, {0.003, 0, 0}, 1e-9);
    ASSERT_TRUE(mesh.SplitAtLocation(onBoundary));
    NodeReplacements replaced;
    mesh.CollapseShortEdges(0.02, replaced);
    EXPECT_EQ(replaced.count(inner.node), 1U);
    EXPECT_TRUE(mesh.IsValidNode(onBoundary.node));
    EXPECT_EQ(NodesAlive(mesh), 5);
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshCollapse, AnInnerNodeGoesIntoTheBoundaryWhicheverEndIsFirst)
{
    // The spoke to the boundary node nearby begins at the new node or ends there, as the edge was
    // split from one side or the other.
    for (const auto& [from, to] : {std::pair{0, 2}, std::pair{2, 0}}) {
        ImprintMesh mesh({{0, 0, 0}, {0.5, -0.01, 0}, {1, 0, 0}, {0.5, 1, 0}}, {0, 1, 2, 0, 2, 3},
                         {}, 1e-9);
        MeshLocation place = OnEdge(mesh, from, to, 0.5);
        ASSERT_TRUE(mesh.SplitAtLocation(place));
        NodeReplacements replaced;
        mesh.CollapseShortEdges(0.02, replaced);
        EXPECT_EQ(replaced, (NodeReplacements{{place.node, 1}}));
        EXPECT_EQ(NodesAlive(mesh), 4);
        Support::ExpectSound(mesh);
    }
}

TEST(ImprintableMeshCollapse, AnEdgeAsLongAsTheLimitGoes)
{
    ImprintMesh mesh = Imprintable(Support::Cube(), 1e-9);
    MeshLocation place = LocateAt(mesh, {0.125, 0, 0}, 1e-9);
    ASSERT_TRUE(mesh.SplitAtLocation(place));
    NodeReplacements replaced;
    mesh.CollapseShortEdges(std::nextafter(0.125, 0.0), replaced);
    EXPECT_TRUE(replaced.empty());
    mesh.CollapseShortEdges(0.125, replaced);
    EXPECT_EQ(replaced.size(), 1U);
    EXPECT_EQ(NodesAlive(mesh), 8);
    Support::ExpectSound(mesh);
}

TEST(ImprintableMeshCollapse, NoLimitNoCollapse)
{
    ImprintMesh mesh = Imprintable(Support::Cube(), 1e-9);
    const std::vector<int> before = Support::Fingerprint(mesh);
    NodeReplacements replaced;
    for (const double limit : {-1.0, kNaN, 0.0, 1e-3}) {
        mesh.CollapseShortEdges(limit, replaced);
        EXPECT_TRUE(replaced.empty());
    }
    EXPECT_EQ(Support::Fingerprint(mesh), before);
}

// Random cuts, then the same collapse once over what was touched and once over all edges: the limit
// that has fallen in between makes the mesh forget what it has looked at.
TEST(ImprintableMeshCollapse, LookingAtWhatWasTouchedIsLookingAtAll)
{
    for (int trial = 0; trial < 10; ++trial) {
        ImprintMesh some = Imprintable(Support::Sphere(2), 0.06);
        ImprintMesh all = Imprintable(Support::Sphere(2), 0.06);
        for (int round = 0; round < 3; ++round) {
            NodeReplacements replacedSome;
            NodeReplacements replacedAll;
            for (ImprintMesh* mesh : {&some, &all}) {
                Support::Random again(static_cast<std::uint64_t>(100 * trial + round));
                for (int i = 0; i < 120; ++i) {
                    const int e = again.Below(mesh->EdgeCount());
                    const double t = again.Between(0.1, 0.9);
                    if (mesh->IsValidEdge(e)) {
                        MeshLocation place =
                            OnEdge(*mesh, mesh->EdgeNodes(e)[0], mesh->EdgeNodes(e)[1], t);
                        mesh->SplitAtLocation(place);
                    }
                }
                mesh->ForgetSplits();
            }
            some.CollapseShortEdges(0.03, replacedSome);
            all.CollapseShortEdges(0, replacedAll);
            all.CollapseShortEdges(0.03, replacedAll);
            EXPECT_GT(replacedSome.size(), 3U);
            EXPECT_EQ(replacedSome, replacedAll);
            ASSERT_EQ(Support::Fingerprint(some), Support::Fingerprint(all));
        }
        Support::ExpectSound(some);
    }
}

TEST(ImprintableMeshCollapse, WhatStaysShortIsWhatTheMeshRefuses)
{
    Support::Random random(3);
    ImprintMesh mesh = Imprintable(Support::Sphere(2), 1e-9);
    for (int i = 0; i < 400; ++i) {
        const int e = random.Below(mesh.EdgeCount());
        MeshLocation place =
            OnEdge(mesh, mesh.EdgeNodes(e)[0], mesh.EdgeNodes(e)[1], random.Between(0.05, 0.95));
        ASSERT_TRUE(mesh.SplitAtLocation(place));
    }
    NodeReplacements replaced;
    do {
        mesh.CollapseShortEdges(0.05, replaced);
    } while (!replaced.empty());
    Support::ExpectSound(mesh);
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        if (mesh.IsValidEdge(e) && Vector::Length(NodePoint(mesh, mesh.EdgeNodes(e)[0]) -
                                                  NodePoint(mesh, mesh.EdgeNodes(e)[1])) <= 0.05) {
            EXPECT_FALSE(mesh.CollapseEdge(e, true, true));
        }
    }
}

// --- words in recycled slots --------------------------------------------------------------------

TEST(ImprintableMeshSplit, SlotsUsedAgainCarryNothingOver)
{
    const IndexedMesh sphere = Support::Sphere(1);
    std::vector<unsigned char> tags(32);
    for (std::size_t t = 0; t < tags.size(); ++t) {
        tags[t] = static_cast<unsigned char>(t);
    }
    ImprintMesh mesh(sphere.points, sphere.indices, tags, 0.2);
    Support::Random random(8);
    NodeReplacements replaced;
    for (int round = 0; round < 6; ++round) {
        for (int i = 0; i < 60; ++i) {
            const int e = random.Below(mesh.EdgeCount());
            if (!mesh.IsValidEdge(e)) {
                continue;
            }
            // What a piece must carry is that of the facet it was cut from.
            const std::vector<int> faces = mesh.EdgeFaces(e);
            const auto words = [&](int f) {
                const auto* record = mesh.FaceRecord(f);
                return std::pair(record->tag, record->paint);
            };
            const auto left = words(faces[0]);
            const auto right = words(faces[1]);
            const std::vector<int> apexes = mesh.EdgeDiamond(e);
            MeshLocation place = OnEdge(mesh, apexes[0], apexes[1], random.Between(0.05, 0.95));
            if (!mesh.SplitAtLocation(place)) {
                continue;
            }
            for (const int f : mesh.EdgeFaces(mesh.FindEdge(place.node, apexes[2]))) {
                EXPECT_EQ(words(f), left);
            }
            for (const int f : mesh.EdgeFaces(mesh.FindEdge(place.node, apexes[3]))) {
                EXPECT_EQ(words(f), right);
            }
            for (const int spoke : mesh.NodeEdges(place.node)) {
                EXPECT_EQ(mesh.EdgeRecord(spoke)->imprinted, 0);
            }
        }
        mesh.ForgetSplits();
        mesh.CollapseShortEdges(0.1, replaced);
        EXPECT_GT(replaced.size(), 0U);
        Support::ExpectSound(mesh);
    }
    EXPECT_FALSE(mesh.FreeFaces().empty() && mesh.FreeNodes().empty());
}

} // namespace
