// IsotropicRemesher: one length for all edges, and the weights round a node.

#include <Sorvane/IsotropicRemesher_E.h>

#include "tests/remesh/HostRemesher.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

namespace {

using namespace Velk::Math;
using Support::Isotropic;
using Support::Plane;

TEST(IsotropicRemesher, BoundsAreFourFifthsAndFourThirdsWhateverTheEdge)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Grid(1, 1));
    mesh.targetLength = 3;
    for (const int e : {0, 5, -1, 1000}) {
        Vec2d bounds;
        mesh.EdgeLengthBounds(bounds, e);
        EXPECT_NEAR(bounds[0], 2.4, 1e-15);
        EXPECT_NEAR(bounds[1], 4, 1e-15);
    }
}

TEST(IsotropicRemesher, InSpaceTrianglesWeighByTheirShareOfTheNodesArea)
{
    // Four right-angled triangles round the node: of each a half of its area of 1/2 belongs to it.
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Fan(4, true));
    std::vector<Vec3d> ring;
    std::vector<double> weights;
    mesh.NodeStar(0, ring, weights);
    ASSERT_EQ(ring.size(), 4U);
    ASSERT_EQ(weights.size(), 4U);
    const std::vector<int> nodes = mesh.NodeNodes(0);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(ring[i], mesh.At(nodes[i]));
        EXPECT_NEAR(weights[i], 0.25, 1e-15);
    }
    // A node without edges has nothing round it.
    Support::IndexedMesh lonely = Support::Fan(4, true);
    lonely.points.push_back({7, 7, 7});
    mesh.LoadIndexedPoints(lonely);
    mesh.NodeStar(5, ring, weights);
    EXPECT_TRUE(ring.empty());
    EXPECT_TRUE(weights.empty());
}

TEST(IsotropicRemesher, InThePlaneAllNeighborsWeighTheSame)
{
    Plane mesh;
    mesh.LoadIndexedPoints(std::vector<Vec2d>{{0, 0}, {1, 0}, {5, 3}, {0, 2}},
                           std::vector<int>{0, 1, 2, 0, 2, 3}, [](int, int) {});
    std::vector<Vec2d> ring;
    std::vector<double> weights;
    mesh.NodeStar(0, ring, weights);
    EXPECT_EQ(ring.size(), 3U);
    EXPECT_EQ(weights, std::vector<double>(3, 0.5));
}

TEST(IsotropicRemesher, NothingHangsOnAPosition)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Grid(1, 1));
    mesh.NodeMoved(0, true);
    mesh.NodeMoved(-1, false);
    EXPECT_EQ(mesh.At(0), Vec3d(0, 0, 0));
}

} // namespace
