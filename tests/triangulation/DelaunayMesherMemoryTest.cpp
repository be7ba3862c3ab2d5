// The mesher and the tessellations with every allocation refused once.

#include <Sorvane/DelaunayTriangulation_E.h>
#include <Sorvane/Tessellation_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using namespace Velk::Math::Sorvane::HalfEdge;
using Support::CheckTopology;
using Support::FailEachAllocationOfEither;
using Support::FailEachAllocationOfResult;

template <class T>
using MesherOf = DelaunayMesher<DelaunayNode<T>, DelaunayEdge, DelaunayFacet>;

// All that a mesher holds.
template <class T>
struct Contents {
    std::vector<std::array<int, 6>> edges;
    std::vector<std::array<int, 3>> nodes;
    std::vector<VecBase<2, T>> positions;
    std::vector<std::array<int, 2>> faces;
    std::vector<int> freeNodes;
    std::vector<std::pair<int, int>> freeEdges;
    std::vector<int> freeFaces;
    std::vector<std::array<int, 3>> pairs;
    bool hasOuterTriangle;
    int hintFace;

    explicit Contents(const MesherOf<T>& mesh)
        : freeNodes(mesh.FreeNodes().begin(), mesh.FreeNodes().end()),
          freeEdges(mesh.FreeEdges().begin(), mesh.FreeEdges().end()),
          freeFaces(mesh.FreeFaces().begin(), mesh.FreeFaces().end()),
          hasOuterTriangle(mesh.hasOuterTriangle), hintFace(mesh.hintFace)
    {
        for (const auto& edge : mesh.Edges()) {
            edges.push_back({edge.node, edge.twin, edge.next, edge.prev, edge.face,
                             static_cast<int>(edge.constrained)});
        }
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            const auto& node = mesh.Nodes()[static_cast<std::size_t>(n)];
            nodes.push_back({node.edge, mesh.Degree(n), static_cast<int>(node.fromInput)});
            positions.push_back(node.position);
        }
        for (const auto& face : mesh.Faces()) {
            faces.push_back({face.edge, face.region});
        }
        mesh.NodePairs().VisitEdges([&](int low, int high, int halfEdge) {
            pairs.push_back({low, high, halfEdge});
        });
        std::sort(pairs.begin(), pairs.end());
    }

    friend bool operator==(const Contents&, const Contents&) = default;
};

template <class T>
std::vector<VecBase<2, T>> Cloud(int count)
{
    Support::Random random(7);
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i < count; ++i) {
        points.push_back(random.Vector<2, T>(-10, 10));
    }
    return points;
}

template <class T>
MesherOf<T> Prepared(int count)
{
    MesherOf<T> mesher;
    mesher.points = Cloud<T>(count);
    return mesher;
}

template <class T>
class MesherWithoutMemory : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(MesherWithoutMemory, Scalars);

// Fewer points than are triangulated at once, and more: those go in one by one.
TYPED_TEST(MesherWithoutMemory, TriangulateLeavesAnEmptyMesh)
{
    using Mesher = MesherOf<TypeParam>;
    for (const int count : {20, 150}) {
        Mesher before = Prepared<TypeParam>(count);
        ASSERT_TRUE(before.Triangulate()); // another mesh than the one that fails
        before.points.push_back({50, 50});
        std::size_t thrown = 0;
        FailEachAllocationOfEither([&] { return Mesher(before); },
                                   [](Mesher& mesher) { mesher.Triangulate(); },
                                   [&](Mesher& left, bool hasThrown) {
                                       if (hasThrown) {
                                           EXPECT_EQ(left.NodeCount(), 0);
                                           EXPECT_EQ(left.EdgeCount(), 0);
                                           EXPECT_EQ(left.FaceCount(), 0);
                                           EXPECT_EQ(left.NodePairs().EdgeCount(), 0U);
                                           EXPECT_FALSE(left.hasOuterTriangle);
                                           EXPECT_EQ(left.points, before.points);
                                           EXPECT_TRUE(left.Triangulate());
                                           ++thrown;
                                       }
                                       // A sort may have gone on without memory for a buffer.
                                       EXPECT_EQ(left.NodeCount(), count + 4);
                                       EXPECT_EQ(CheckTopology(left), "");
                                   });
        EXPECT_GT(thrown, 5U);
    }
}

TYPED_TEST(MesherWithoutMemory, InsertEdgeHappensOrLeavesTheMeshAsItWas)
{
    using Mesher = MesherOf<TypeParam>;
    Mesher before = Prepared<TypeParam>(150);
    ASSERT_TRUE(before.Triangulate());
    const Contents<TypeParam> contents(before);
    const auto farthest = [&](int node) {
        int found = -1;
        TypeParam reach = 0;
        for (int n = 3; n < before.NodeCount(); ++n) {
            const auto away =
                SquaredLength(before.Nodes()[static_cast<std::size_t>(n)].position -
                              before.Nodes()[static_cast<std::size_t>(node)].position);
            if (away > reach) {
                reach = away;
                found = n;
            }
        }
        return found;
    };
    std::size_t thrown = 0;
    for (const int a : {3, 17, 40}) {
        const int b = farthest(a);
        ASSERT_LT(before.FindEdge(a, b), 0);
        FailEachAllocationOfEither(
            [&] { return Mesher(before); }, [&](Mesher& mesher) { mesher.InsertEdge(a, b); },
            [&](Mesher& left, bool hasThrown) {
                EXPECT_EQ(CheckTopology(left), "");
                if (hasThrown) {
                    EXPECT_TRUE(Contents<TypeParam>(left) == contents);
                    ++thrown;
                    return;
                }
                const int edge = left.FindEdge(a, b);
                ASSERT_GE(edge, 0);
                EXPECT_TRUE(left.IsEdgeLocked(edge));
                EXPECT_TRUE(left.FreeEdges().empty()); // as many edges and faces as before
                EXPECT_TRUE(left.FreeFaces().empty());
            });
    }
    EXPECT_GT(thrown, 15U);
}

TYPED_TEST(MesherWithoutMemory, ExtractMeshMayBeAskedAgain)
{
    using Mesher = MesherOf<TypeParam>;
    using Points = std::vector<VecBase<2, TypeParam>>;
    Mesher before;
    before.points = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {2, 3}, {12, 5}, {5, 6}, {5, 20}};
    ASSERT_TRUE(before.Triangulate());
    for (const int corner : {0, 1, 2, 3}) {
        ASSERT_TRUE(before.InsertEdge(3 + corner, 3 + (corner + 1) % 4));
    }
    before.noConstraints = false;
    Mesher whole(before);
    Points points;
    std::vector<int> indices;
    whole.ExtractMesh(points, indices);
    ASSERT_EQ(indices.size(), 3U * 6); // a square with two points in it
    EXPECT_GT(FailEachAllocationOfEither([&] { return Mesher(before); },
                                         [](Mesher& mesher) {
                                             Points resultPoints;
                                             std::vector<int> resultIndices;
                                             mesher.ExtractMesh(resultPoints, resultIndices);
                                         },
                                         [&](Mesher& left, bool) {
                                             Points again;
                                             std::vector<int> indicesAgain;
                                             left.ExtractMesh(again, indicesAgain);
                                             EXPECT_EQ(again, points);
                                             EXPECT_EQ(indicesAgain, indices);
                                         }),
              5U);
}

TYPED_TEST(MesherWithoutMemory, TessellationsPassTheExceptionOn)
{
    using Outline = std::vector<VecBase<2, TypeParam>>;
    const Outline outline{{-20, -20}, {20, -20}, {20, 20}, {0, 12}, {-20, 20}};
    const Outline inner = Cloud<TypeParam>(40);
    Support::WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([&] {
                      return Mesh::TessellateFlatBoundaries<2, TypeParam>({outline}, inner,
                                                                          TypeParam(1e-6));
                  }),
                  10U);
        EXPECT_GT(FailEachAllocationOfResult(
                      [&] { return Mesh::TessellateSimpleBoundary<2, TypeParam>(outline); }),
                  3U);
    });
}

} // namespace
