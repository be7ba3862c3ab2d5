// The steps of subdivision on a half-edge mesh: topology, masks from first principles, features,
// corners, and the same results by the free functions, which make no half-edge mesh of a sound
// surface.

#include "tests/support/CheckTopology.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/SubdivisionMesh_E.h>
#include <Sorvane/Subdivision_E.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using HalfEdge::Impl::SubdivisionMesh;
using Mesh::SubdivisionMethod;
using Support::IndexedMesh;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Everything of a mesh that a host can see, NaN and signs of zeros too.
std::vector<std::uint64_t> BitsOf(const IndexedMesh& mesh)
{
    std::vector<std::uint64_t> bits{mesh.points.size()};
    for (const Vec3d& p : mesh.points) {
        for (int k = 0; k < 3; ++k) {
            bits.push_back(std::bit_cast<std::uint64_t>(p[k]));
        }
    }
    for (const int n : mesh.indices) {
        bits.push_back(static_cast<std::uint64_t>(n));
    }
    return bits;
}

/// A mesh with features from 30 degrees on.
SubdivisionMesh Detected(const IndexedMesh& mesh, double degrees = 30.0)
{
    SubdivisionMesh work(mesh);
    work.DetectFeatures(degrees);
    return work;
}

IndexedMesh Exported(const SubdivisionMesh& mesh)
{
    IndexedMesh out;
    mesh.ExportIndexedPoints(out, 1e-12);
    return out;
}

/// Points moved at random by up to `size`: no two triangles are alike then.
IndexedMesh Shaken(IndexedMesh mesh, Support::Random& random, double size)
{
    for (Vec3d& p : mesh.points) {
        p += random.Vector<3, double>(-size, size);
    }
    return mesh;
}

/// Closed, open, with handles and holes, of several components, and with unused points.
std::vector<IndexedMesh> SoundMeshes(Support::Random& random)
{
    std::vector<IndexedMesh> meshes{Support::Tetrahedron(),
                                    Support::Octahedron(),
                                    Support::Cube(),
                                    Support::Sphere(2),
                                    Support::Torus(7, 5),
                                    Support::Grid(1, 1),
                                    Support::Grid(6, 5),
                                    Support::Fan(5, true),
                                    Support::Fan(4, false),
                                    Support::Together(Support::Cube(), Support::Grid(3, 3)),
                                    Support::Without(Support::Sphere(2), {3, 40, 41, 90})};
    const std::size_t plain = meshes.size();
    for (std::size_t i = 0; i < plain; ++i) {
        meshes.push_back(Support::Shuffled(Shaken(meshes[i], random, 0.05), random));
        meshes.back().points.push_back({9, 9, 9}); // in no triangle
    }
    return meshes;
}

// --- the free function and the class -----------------------------------------------------------

TEST(SubdivisionMesh, LoopOfTheFreeFunctionIsThatOfTheClassBitForBit)
{
    Support::Random random(11);
    int number = 0;
    for (const IndexedMesh& mesh : SoundMeshes(random)) {
        for (const double angle : {0.0, 1.0, 30.0, 89.9, 90.0, 180.0, 200.0, kNaN, -5.0}) {
            SubdivisionMesh work = Detected(mesh, angle);
            for (unsigned steps = 0; steps <= (angle == 30.0 ? 3U : 2U); ++steps) {
                SCOPED_TRACE(testing::Message() << "mesh " << number << ", angle " << angle << ", "
                                                << steps << " steps");
                IndexedMesh out;
                Mesh::SubdivideMesh(mesh, out, angle, steps, SubdivisionMethod::Loop);
                ASSERT_EQ(BitsOf(out), BitsOf(Exported(work)));
                work.LoopStep();
            }
        }
        ++number;
    }
}

TEST(SubdivisionMesh, Sqrt3OfTheFreeFunctionIsThatOfTheClassBitForBit)
{
    Support::Random random(14);
    int number = 0;
    for (const IndexedMesh& mesh : SoundMeshes(random)) {
        // Every edge a line, with corners of many lines; some; boundaries only.
        for (const double angle : {0.0, 1.0, 30.0, 89.9, 200.0, kNaN}) {
            SubdivisionMesh work = Detected(mesh, angle);
            for (unsigned steps = 1; steps <= (angle == 30.0 ? 4U : 3U); ++steps) {
                SCOPED_TRACE(testing::Message() << "mesh " << number << ", angle " << angle << ", "
                                                << steps << " steps");
                work.Sqrt3Step(steps - 1);
                IndexedMesh out;
                Mesh::SubdivideMesh(mesh, out, angle, steps, SubdivisionMethod::Sqrt3);
                ASSERT_EQ(BitsOf(out), BitsOf(Exported(work)));
            }
        }
        ++number;
    }
}

TEST(SubdivisionMesh, ATriangleWithoutAreaDoesNotHideTheCreaseItLiesOn)
{
    // A roof whose ridge 0-1 has the node 2 on one slope only, and a triangle of no area between.
    const IndexedMesh roof{{{0, 0, 0}, {2, 0, 0}, {1, 0, 0}, {1, 1, -1}, {1, -1, -1}},
                           {0, 2, 3, 2, 1, 3, 0, 1, 2, 1, 0, 4}};
    for (const bool isCrease : {true, false}) {
        SubdivisionMesh work = Detected(roof, isCrease ? 89.0 : 91.0);
        EXPECT_EQ(work.IsEdgeLocked(work.FindEdge(0, 1)), isCrease);
        EXPECT_EQ(work.IsEdgeLocked(work.FindEdge(0, 2)), isCrease);
        EXPECT_EQ(work.IsEdgeLocked(work.FindEdge(2, 1)), isCrease);
        IndexedMesh out;
        Mesh::SubdivideMesh(roof, out, isCrease ? 89.0 : 91.0, 1, SubdivisionMethod::Loop);
        const bool hasMiddle =
            std::find(out.points.begin(), out.points.end(), Vec3d(0.5, 0, 0)) != out.points.end();
        EXPECT_EQ(hasMiddle, isCrease) << "the middle of 0-2, on the ridge";
    }
}

TEST(SubdivisionMesh, TheOtherFreeFunctionsAreTheClassToo)
{
    Support::Random random(12);
    for (const IndexedMesh& mesh : SoundMeshes(random)) {
        SubdivisionMesh roots = Detected(mesh);
        SubdivisionMesh splits(mesh);
        for (unsigned steps = 1; steps <= 3; ++steps) {
            roots.Sqrt3Step(steps - 1);
            splits.SplitPass(0.4, false);
            IndexedMesh out;
            Mesh::SubdivideMesh(mesh, out, 30.0, steps, SubdivisionMethod::Sqrt3);
            EXPECT_EQ(BitsOf(out), BitsOf(Exported(roots)));
            Mesh::SplitLongMeshEdges(mesh, out, 0.4, false, steps);
            EXPECT_EQ(BitsOf(out), BitsOf(Exported(splits)));
        }
    }
}

TEST(SubdivisionMesh, StepsKeepTheTopologySound)
{
    Support::Random random(13);
    std::vector<IndexedMesh> meshes = SoundMeshes(random);
    meshes.push_back(Support::TrianglesAtOnePoint(2));
    meshes.push_back(Support::TrianglesAtOnePoint(5));
    meshes.push_back(Support::Fins(3));
    meshes.push_back(Support::MoebiusStrip(5));
    meshes.push_back({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2, 0, 2, 1}}); // back to back
    for (int i = 0; i < 30; ++i) {
        meshes.push_back(Support::GarbageMesh<3, double>(random, 4 + i, 2 * i));
    }
    for (const IndexedMesh& mesh : meshes) {
        SubdivisionMesh loop = Detected(mesh);
        SubdivisionMesh roots = Detected(mesh);
        SubdivisionMesh splits(mesh);
        for (unsigned step = 0; step < 2; ++step) {
            loop.LoopStep();
            roots.Sqrt3Step(step);
            splits.SplitPass(0.3, step == 0);
            EXPECT_EQ(Support::CheckTopology(loop), "");
            EXPECT_EQ(Support::CheckTopology(roots), "");
            EXPECT_EQ(Support::CheckTopology(splits), "");
        }
    }
}

// --- marks --------------------------------------------------------------------------------------

TEST(SubdivisionMesh, LocksAreTheMarks)
{
    SubdivisionMesh mesh(Support::Cube());
    EXPECT_EQ(mesh.featureAngle, -1.0);
    const int edge = mesh.FindEdge(0, 1);
    EXPECT_FALSE(mesh.IsEdgeLocked(edge));
    mesh.MarkFeature(edge);
    EXPECT_TRUE(mesh.IsEdgeLocked(edge) && mesh.IsEdgeLocked(edge ^ 1));
    EXPECT_TRUE(mesh.IsNodeLocked(0) && mesh.IsNodeLocked(1));
    EXPECT_FALSE(mesh.IsNodeLocked(2));
    // One half-edge's mark is enough.
    mesh.EdgeRecord(edge)->feature = false;
    EXPECT_TRUE(mesh.IsEdgeLocked(edge) && mesh.IsEdgeLocked(edge ^ 1));
    for (const int none : {-1, -2, 1000}) {
        mesh.MarkFeature(none);
        EXPECT_FALSE(mesh.IsNodeLocked(none) || mesh.IsEdgeLocked(none));
    }
    mesh.DetectFeatures(90.0);
    EXPECT_DOUBLE_EQ(mesh.featureAngle, std::acos(0.0));
    int marked = 0;
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        marked += mesh.EdgeRecord(e)->feature ? 1 : 0;
    }
    EXPECT_EQ(marked, 24) << "twelve edges of the cube and no diagonal";
}

TEST(SubdivisionMesh, HalvesOfFeaturesAreFeaturesAndSpokesAreNot)
{
    SubdivisionMesh mesh = Detected(Support::Cube());
    const auto markedEdges = [&] {
        int count = 0;
        for (int e = 0; e < mesh.EdgeCount(); e += 2) {
            EXPECT_EQ(mesh.EdgeRecord(e)->feature, mesh.EdgeRecord(e + 1)->feature);
            count += mesh.IsEdgeLocked(e) ? 1 : 0;
            if (mesh.IsEdgeLocked(e)) {
                EXPECT_TRUE(mesh.IsNodeLocked(mesh.EdgeRecord(e)->node));
            }
        }
        return count;
    };
    EXPECT_EQ(markedEdges(), 12);
    EXPECT_TRUE(mesh.LoopStep());
    EXPECT_EQ(markedEdges(), 24);
    int locked = 0;
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        locked += mesh.IsNodeLocked(n) ? 1 : 0;
    }
    EXPECT_EQ(locked, 8 + 12);
    EXPECT_TRUE(mesh.Sqrt3Step(0));
    EXPECT_EQ(markedEdges(), 24);
    EXPECT_TRUE(mesh.Sqrt3Step(1));
    EXPECT_EQ(markedEdges(), 72);
}

TEST(SubdivisionMesh, AMarkOfOnesOwnKeepsALine)
{
    // The equator of an octahedron, marked by hand, is rounded in its plane; the rest is smooth.
    SubdivisionMesh mesh(Support::Octahedron());
    for (const auto& [a, b] : {std::pair(0, 2), {2, 1}, {1, 3}, {3, 0}}) {
        mesh.MarkFeature(mesh.FindEdge(a, b));
    }
    mesh.LoopStep();
    const Vec3d corner = mesh.GetVertex(0);
    EXPECT_NEAR(corner.x(), 0.75, 1e-15) << "two neighbors on the line at x = 0";
    EXPECT_EQ(corner.z(), 0.0);
    // A pole has four neighbors, all in the plane: 1 - 4 * 3/32.
    EXPECT_NEAR(mesh.GetVertex(4).z(), 0.625, 1e-15);
}

TEST(SubdivisionMesh, AtACornerTheLastOtherLineInRingOrderContinuesAnEdge)
{
    // The odd step is the even one and the cuts after it, so that the mesh after the even one has
    // the rings in which they look for continuations.
    SubdivisionMesh uncut = Detected(Support::Cube());
    SubdivisionMesh cut = uncut;
    uncut.Sqrt3Step(0);
    cut.Sqrt3Step(1);
    ASSERT_EQ(cut.NodeCount(), uncut.NodeCount() + 24);
    for (int n = uncut.NodeCount(); n < cut.NodeCount(); ++n) {
        const Vec3d p = cut.GetVertex(n);
        for (const int corner : cut.NodeNodes(n)) {
            if (corner >= 8 || !cut.IsEdgeLocked(cut.FindEdge(n, corner))) {
                continue; // of the cube's corners the one at the end of the edge that was cut
            }
            // The far end lies along the axis along which the new node has gone inward.
            const Vec3d at = cut.GetVertex(corner);
            std::vector<Vec3d> others;
            for (const int e : uncut.NodeEdges(corner)) {
                const Vec3d along = uncut.GetVertex(uncut.EdgeRecord(e ^ 1)->node) - at;
                if (uncut.IsEdgeLocked(e) && along * (p - at) < 0.2) {
                    others.push_back(along);
                }
            }
            ASSERT_EQ(others.size(), 2U);
            // By 5/81 away from the last one; by 4/81 at most for the corner at the far end.
            EXPECT_LT(others[1] * (p - at), -4.5 / 81);
            EXPECT_GT(others[0] * (p - at), -4.5 / 81);
        }
    }
}

TEST(SubdivisionMesh, OneEdgeJoinsTheCentersOfTrianglesBackToBack)
{
    // Each of their three edges would turn into one from center to center.
    SubdivisionMesh mesh(IndexedMesh{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2, 0, 2, 1}});
    mesh.Sqrt3Step(0);
    std::set<std::pair<int, int>> joined;
    for (int e = 0; e < mesh.EdgeCount(); e += 2) {
        EXPECT_TRUE(
            joined.insert(std::minmax(mesh.EdgeRecord(e)->node, mesh.EdgeRecord(e + 1)->node))
                .second);
    }
    EXPECT_EQ(joined.size(), 9U);
    EXPECT_EQ(joined.count({3, 4}), 1U);
}

TEST(SubdivisionMesh, AMarkOnTheOddHalfAloneLocksAnEdgeThatIsNotCut)
{
    SubdivisionMesh mesh(Support::Sphere(1));
    const int faces = mesh.FaceCount();
    const int nodes = mesh.NodeCount();
    mesh.EdgeRecord(1)->feature = true;
    const int a = mesh.EdgeRecord(0)->node;
    const int b = mesh.EdgeRecord(1)->node;
    mesh.Sqrt3Step(1);
    EXPECT_GE(mesh.FindEdge(a, b), 0) << "a locked edge is not turned";
    EXPECT_EQ(mesh.NodeCount(), nodes + faces) << "only the mark of the even half has it cut";
}

TEST(SubdivisionMesh, ASplitEdgeAndANewNodeAreNotOld)
{
    SubdivisionMesh mesh = Detected(Support::Sphere(1), 200.0);
    const int oldNodes = mesh.NodeCount();
    mesh.LoopStep();
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        EXPECT_EQ(mesh.NodeRecord(n)->old, n < oldNodes);
    }
    // What lies within a triangle of before is new, what lies on its edges is old.
    int newEdges = 0;
    for (int e = 0; e < mesh.EdgeCount(); e += 2) {
        newEdges += mesh.EdgeRecord(e)->old ? 0 : 1;
        EXPECT_EQ(mesh.EdgeRecord(e)->old, mesh.EdgeRecord(e + 1)->old);
    }
    EXPECT_EQ(newEdges, 3 * 32);
    mesh.MarkOld();
    EXPECT_TRUE(mesh.EdgeRecord(mesh.EdgeCount() - 1)->old && mesh.NodeRecord(oldNodes)->old);
}

TEST(SubdivisionMesh, ADiamondWithoutACornerIsABoundary)
{
    // Without its boundary linked an edge of one triangle still counts as a feature.
    SubdivisionMesh mesh;
    for (const Vec3d& p : {Vec3d(0, 0, 0), Vec3d(1, 0, 0), Vec3d(0, 1, 0)}) {
        mesh.AddNode(HalfEdge::Records::SubdivisionVertex(p));
    }
    ASSERT_EQ(mesh.AddFace({0, 1, 2}), 0);
    mesh.DetectFeatures(200.0);
    for (int e = 0; e < 6; ++e) {
        EXPECT_TRUE(mesh.IsEdgeLocked(e));
    }
    mesh.LoopStep();
    EXPECT_EQ(mesh.FaceCount(), 1) << "edges without links are not split";
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

TEST(SubdivisionMesh, AnotherNumberOfPositionsIsReported)
{
    SubdivisionMesh mesh(Support::Tetrahedron());
    Support::ExpectAssertions(2);
    mesh.UpdateNodePositions(std::vector<Vec3d>(3));
    EXPECT_EQ(Support::LastAssertion(),
              "MeshSubdivision_Impl:788 "
              "Velk::Math::Sorvane::HalfEdge::Impl::SubdivisionMesh::UpdateNodePositions");
    mesh.UpdateNodePositions(std::vector<Vec3d>(5));
    EXPECT_EQ(mesh.GetVertex(0), Vec3d(1, 1, 1));
    mesh.UpdateNodePositions(std::vector<Vec3d>(4, Vec3d(2, 3, 4)));
    EXPECT_EQ(mesh.GetVertex(3), Vec3d(2, 3, 4));
}

TEST(SubdivisionMesh, SlotsThatWereFreeAreUsedAndStepsAreRight)
{
    // A host takes a node out, and its slots come back in the step: numbers of new nodes and edges
    // are then below those of old ones.
    SubdivisionMesh mesh(Support::Sphere(1));
    ASSERT_TRUE(mesh.CollapseEdge(mesh.NodeRecord(0)->edge, false, false));
    ASSERT_FALSE(mesh.FreeNodes().empty());
    const IndexedMesh before = Exported(mesh);
    mesh.DetectFeatures(200.0);
    SubdivisionMesh roots = mesh;
    mesh.LoopStep();
    EXPECT_EQ(Support::CheckTopology(mesh), "");
    IndexedMesh expected;
    Mesh::SubdivideMesh(before, expected, 200.0, 1, SubdivisionMethod::Loop);
    const IndexedMesh out = Exported(mesh);
    ASSERT_EQ(out.indices.size(), expected.indices.size());
    EXPECT_NEAR(Support::VolumeOf(out), Support::VolumeOf(expected), 1e-12);
    roots.Sqrt3Step(0);
    Mesh::SubdivideMesh(before, expected, 200.0, 1, SubdivisionMethod::Sqrt3);
    EXPECT_NEAR(Support::VolumeOf(Exported(roots)), Support::VolumeOf(expected), 1e-12);
}

} // namespace
