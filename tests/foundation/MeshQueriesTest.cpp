// Adjacency, boundary and orientation of indexed meshes, against hand counts and literal twins.

#include <Sorvane/MeshQueries_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <climits>
#include <deque>
#include <map>
#include <numeric>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using Mesh::IndexedPointsBase;

using Edge = std::pair<int, int>;
using Neighbors = std::vector<std::array<int, 3>>;

template <int Dimension, class Scalar>
struct Form {
    static constexpr int D = Dimension;
    using T = Scalar;
    using Indexed = IndexedPointsBase<D, T>;

    /// A mesh with as many points as the indices name, scattered by the number alone.
    static Indexed Of(std::vector<int> indices)
    {
        int greatest = -1;
        for (const int index : indices) {
            greatest = std::max(greatest, index);
        }
        Indexed mesh;
        for (int i = 0; i <= greatest; ++i) {
            VecBase<D, T> point;
            for (int d = 0; d < D; ++d) {
                point[d] = static_cast<T>((i * 37 + d * 11) % 101);
            }
            mesh.points.push_back(point);
        }
        mesh.indices = std::move(indices);
        return mesh;
    }
};

template <class F>
class MeshQueriesOf : public testing::Test {
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(MeshQueriesOf, Forms);

/// Outward triangles of a tetrahedron, of a grid of squares, and any triples at all, degenerate and
/// repeated ones among them.
const std::vector<int> kTetrahedron{0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3};

std::vector<int> Grid(int side) { return Support::GridIndices(side, side); }

std::vector<int> RandomTriples(std::uint64_t seed, int triangles, int nodes)
{
    Support::Random random(seed);
    std::vector<int> indices;
    for (int i = 0; i < 3 * triangles; ++i) {
        indices.push_back(random.Below(nodes));
    }
    return indices;
}

// --- literal twins ------------------------------------------------------------------------------

Neighbors NeighborsTwin(const std::vector<int>& indices)
{
    const auto key = [&](std::size_t t, std::size_t k) {
        const int a = indices[3 * t + k];
        const int b = indices[3 * t + (k + 1) % 3];
        return Edge{std::min(a, b), std::max(a, b)};
    };
    std::map<Edge, std::vector<int>> triangles;
    const std::size_t count = indices.size() / 3;
    for (std::size_t t = 0; t < count; ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            triangles[key(t, k)].push_back(static_cast<int>(t));
        }
    }
    Neighbors neighbors(count, {-1, -1, -1});
    for (std::size_t t = 0; t < count; ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            for (const int other : triangles[key(t, k)]) {
                if (other != static_cast<int>(t)) {
                    neighbors[t][k] = other;
                    break;
                }
            }
        }
    }
    return neighbors;
}

std::vector<Edge> BoundaryTwin(const std::vector<int>& indices)
{
    std::map<Edge, int> counts;
    for (std::size_t t = 0; t + 2 < indices.size(); t += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const Edge edge{indices[t + k], indices[t + (k + 1) % 3]};
            const Edge reversed{edge.second, edge.first};
            if (counts.count(edge) != 0) {
                ++counts[edge];
            } else if (counts.count(reversed) != 0) {
                ++counts[reversed];
            } else {
                counts[edge] = 1;
            }
        }
    }
    std::vector<Edge> boundary;
    for (const auto& [edge, count] : counts) {
        if (count == 1) {
            boundary.push_back(edge);
        }
    }
    return boundary;
}

/// The walk told in words, over triangles of three different nodes each.
bool MatchNormalsTwinOfSound(std::vector<int>& indices)
{
    const Neighbors neighbors = NeighborsTwin(indices);
    const int count = static_cast<int>(neighbors.size());
    std::vector<int> flipped(neighbors.size());
    std::vector<int> visited(neighbors.size());
    const auto side = [&](int t, int k) {
        return Edge{indices[static_cast<std::size_t>(3 * t + k)],
                    indices[static_cast<std::size_t>(3 * t + (k + 1) % 3)]};
    };
    const auto at = [](auto& marks, int t) -> auto& { return marks[static_cast<std::size_t>(t)]; };
    std::deque<int> pending{0};
    while (!pending.empty()) {
        const int t = pending.front();
        pending.pop_front();
        if (at(visited, t) != 0) {
            continue;
        }
        at(visited, t) = 1;
        for (int k = 0; k < 3; ++k) {
            const int n = neighbors[static_cast<std::size_t>(t)][static_cast<std::size_t>(k)];
            Edge edge = side(t, k);
            if (n < 0 || at(visited, n) != 0) {
                continue;
            }
            if (at(flipped, t) != 0) {
                std::swap(edge.first, edge.second);
            }
            for (int j = 0; j < 3; ++j) {
                if (neighbors[static_cast<std::size_t>(n)][static_cast<std::size_t>(j)] == t &&
                    side(n, j) == edge) {
                    at(flipped, n) = 1;
                }
            }
            if (std::find(pending.begin(), pending.end(), n) == pending.end()) {
                pending.push_back(n);
            }
        }
    }
    const int turned = std::accumulate(flipped.begin(), flipped.end(), 0);
    if (turned == 0) {
        return false;
    }
    const int f = turned > count / 2 ? 0 : 1;
    for (int t = 0; t < count; ++t) {
        if (at(flipped, t) == f) {
            std::swap(at(indices, 3 * t + 1), at(indices, 3 * t + 2));
        }
    }
    return true;
}

/// Triangles that name a node twice are taken out, and put back as they were.
bool MatchNormalsTwin(std::vector<int>& indices)
{
    std::vector<int> sound;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        if (std::set<int>{indices[i], indices[i + 1], indices[i + 2]}.size() == 3) {
            places.insert(places.end(), {i, i + 1, i + 2});
        }
    }
    for (const std::size_t place : places) {
        sound.push_back(indices[place]);
    }
    const bool isTurned = !sound.empty() && MatchNormalsTwinOfSound(sound);
    for (std::size_t i = 0; i < places.size(); ++i) {
        indices[places[i]] = sound[i];
    }
    return isTurned;
}

// --- neighborhood ------------------------------------------------------------------------------

TYPED_TEST(MeshQueriesOf, EmptyMesh)
{
    typename TypeParam::Indexed mesh;
    EXPECT_TRUE(Mesh::NodeRings(mesh).empty());
    EXPECT_TRUE(Mesh::NodeFacets(mesh).empty());
    EXPECT_TRUE(Mesh::NeighborFacets(mesh).empty());
    EXPECT_TRUE(Mesh::BoundaryEdges(mesh).empty());
    EXPECT_TRUE(Mesh::BoundarySegments(mesh).empty());
    EXPECT_TRUE(Mesh::BoundaryEdgeIndices(mesh).empty());
    EXPECT_FALSE(Mesh::MatchNormals(mesh));
}

TYPED_TEST(MeshQueriesOf, NodeRings)
{
    auto mesh = TypeParam::Of({0, 1, 2, 0, 2, 3, 5, 5, 1});
    const auto rings = Mesh::NodeRings(mesh);
    const std::vector<std::set<int>> expected{{1, 2, 3}, {0, 2, 5}, {0, 1, 3}, {0, 2}, {}, {1, 5}};
    EXPECT_EQ(rings, expected); // 5 is its own neighbor, 4 is in no triangle
}

TYPED_TEST(MeshQueriesOf, NodeFacetsListARepeatedPointTwice)
{
    const auto mesh = TypeParam::Of({0, 1, 2, 3, 2, 2, 0, 2, 3});
    EXPECT_EQ(Mesh::NodeFacets(mesh),
              (std::vector<std::vector<int>>{{0, 2}, {0}, {0, 1, 1, 2}, {1, 2}}));
}

TYPED_TEST(MeshQueriesOf, SingleTriangle)
{
    const auto mesh = TypeParam::Of({2, 0, 1});
    EXPECT_EQ(Mesh::NeighborFacets(mesh), (Neighbors{{-1, -1, -1}}));
    EXPECT_EQ(Mesh::BoundaryEdges(mesh), (std::vector<Edge>{{0, 1}, {1, 2}, {2, 0}}));
    EXPECT_EQ(Mesh::BoundaryEdgeIndices(mesh), (std::vector<int>{0, 1, 2}));
}

TYPED_TEST(MeshQueriesOf, ClosedTetrahedron)
{
    const auto mesh = TypeParam::Of(kTetrahedron);
    EXPECT_EQ(Mesh::NeighborFacets(mesh), (Neighbors{{3, 2, 1}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}}));
    EXPECT_TRUE(Mesh::BoundaryEdges(mesh).empty());
    EXPECT_TRUE(Mesh::BoundarySegments(mesh).empty());
    EXPECT_TRUE(Mesh::BoundaryEdgeIndices(mesh).empty());
}

TYPED_TEST(MeshQueriesOf, ThreeFinsAreNotMutualNeighbors)
{
    // Triangles 0, 1, 2 on the edge 0-1.
    const auto mesh = TypeParam::Of({0, 1, 2, 1, 0, 3, 0, 1, 4});
    const auto neighbors = Mesh::NeighborFacets(mesh);
    EXPECT_EQ(neighbors[0][0], 1);
    EXPECT_EQ(neighbors[1][0], 0);
    EXPECT_EQ(neighbors[2][0], 0);
    // Six free sides; the common edge is not among them.
    const auto boundary = Mesh::BoundaryEdges(mesh);
    EXPECT_EQ(boundary.size(), 6U);
    EXPECT_EQ(std::count(boundary.begin(), boundary.end(), Edge{0, 1}), 0);
    EXPECT_EQ(Mesh::BoundaryEdgeIndices(mesh), (std::vector<int>{1, 2, 4, 5, 7, 8}));
}

TYPED_TEST(MeshQueriesOf, EdgeRunTwiceTheSameWayIsNoBoundary)
{
    const auto mesh = TypeParam::Of({0, 1, 2, 0, 1, 3});
    EXPECT_EQ(Mesh::BoundaryEdges(mesh), (std::vector<Edge>{{1, 2}, {1, 3}, {2, 0}, {3, 0}}));
}

TYPED_TEST(MeshQueriesOf, DegenerateTriangleMakesTheTwoBoundariesDiffer)
{
    // (0, 0, 1): the sides 0-0, 0-1 and 1-0. The first stands alone, the other two cancel; but no
    // other triangle is there to be a neighbor of any.
    const auto mesh = TypeParam::Of({0, 0, 1});
    EXPECT_EQ(Mesh::BoundaryEdges(mesh), (std::vector<Edge>{{0, 0}}));
    EXPECT_EQ(Mesh::BoundaryEdgeIndices(mesh), (std::vector<int>{0, 1, 2}));
}

TYPED_TEST(MeshQueriesOf, BoundarySegmentsAreTheEdgesPoints)
{
    const auto mesh = TypeParam::Of(Grid(3));
    const auto edges = Mesh::BoundaryEdges(mesh);
    const auto segments = Mesh::BoundarySegments(mesh);
    ASSERT_EQ(edges.size(), 12U); // 4 sides of 3
    ASSERT_EQ(segments.size(), edges.size());
    for (std::size_t i = 0; i < edges.size(); ++i) {
        EXPECT_EQ(segments[i][0], mesh.points[static_cast<std::size_t>(edges[i].first)]);
        EXPECT_EQ(segments[i][1], mesh.points[static_cast<std::size_t>(edges[i].second)]);
    }
}

TYPED_TEST(MeshQueriesOf, AgreesWithLiteralTwinsOnDefectiveMeshes)
{
    // Few nodes make fans, repeats and degenerate triangles; the larger ones cross the chunk size.
    const int sizes[][2] = {{1, 2}, {5, 3}, {30, 6}, {200, 20}, {3000, 1500}, {20000, 30}};
    std::uint64_t seed = 0;
    for (const auto& [triangles, nodes] : sizes) {
        SCOPED_TRACE(testing::Message() << triangles << " triangles on " << nodes << " nodes");
        const auto indices = RandomTriples(++seed, triangles, nodes);
        const auto mesh = TypeParam::Of(indices);
        const Neighbors expected = NeighborsTwin(indices);
        EXPECT_EQ(Mesh::NeighborFacets(mesh), expected);
        EXPECT_EQ(Mesh::BoundaryEdges(mesh), BoundaryTwin(indices));
        std::vector<int> places;
        for (std::size_t i = 0; i < indices.size(); ++i) {
            if (expected[i / 3][i % 3] < 0) {
                places.push_back(static_cast<int>(i));
            }
        }
        EXPECT_EQ(Mesh::BoundaryEdgeIndices(mesh), places);
        std::vector<std::set<int>> rings(mesh.points.size());
        for (std::size_t t = 0; t < indices.size(); t += 3) {
            for (std::size_t k = 0; k < 3; ++k) {
                rings[static_cast<std::size_t>(indices[t + k])].insert(
                    {indices[t + (k + 1) % 3], indices[t + (k + 2) % 3]});
            }
        }
        EXPECT_EQ(Mesh::NodeRings(mesh), rings);
    }
}

TYPED_TEST(MeshQueriesOf, HubOfAHundredThousandTriangles)
{
    // All around point 0: one bucket takes two thirds of all sides.
    const int n = 100'000;
    std::vector<int> indices;
    for (int i = 0; i < n; ++i) {
        indices.insert(indices.end(), {0, 1 + i, 1 + (i + 1) % n});
    }
    typename TypeParam::Indexed mesh;
    mesh.points.resize(static_cast<std::size_t>(n) + 1);
    mesh.indices = indices;
    const auto neighbors = Mesh::NeighborFacets(mesh);
    for (int t = 0; t < n; ++t) {
        ASSERT_EQ(neighbors[static_cast<std::size_t>(t)],
                  (std::array<int, 3>{(t + n - 1) % n, -1, (t + 1) % n}));
    }
    EXPECT_EQ(Mesh::BoundaryEdges(mesh).size(), static_cast<std::size_t>(n));
}

TYPED_TEST(MeshQueriesOf, SidesOfOneNodeCountLikeAnyOther)
{
    // (0, 0, 0) has the side 0-0 three times, but no other triangle has it.
    const auto point = TypeParam::Of({0, 0, 0});
    EXPECT_TRUE(Mesh::BoundaryEdges(point).empty());
    EXPECT_EQ(Mesh::NeighborFacets(point), (Neighbors{{-1, -1, -1}}));
    EXPECT_EQ(Mesh::NodeRings(point), (std::vector<std::set<int>>{{0}}));
    EXPECT_EQ(Mesh::NodeFacets(point), (std::vector<std::vector<int>>{{0, 0, 0}}));
    // A side 0-0 in two triangles makes them neighbors.
    const auto two = TypeParam::Of({0, 0, 1, 2, 0, 0});
    EXPECT_EQ(Mesh::NeighborFacets(two), (Neighbors{{1, -1, -1}, {-1, 0, -1}}));
    EXPECT_TRUE(Mesh::BoundaryEdges(two).empty()); // 0-0, 0-1 and 0-2: each is used twice
}

TYPED_TEST(MeshQueriesOf, RepeatedTrianglesAreEachOthersNeighbors)
{
    const auto mesh = TypeParam::Of({0, 1, 2, 0, 1, 2, 2, 1, 0});
    EXPECT_EQ(Mesh::NeighborFacets(mesh), (Neighbors{{1, 1, 1}, {0, 0, 0}, {0, 0, 0}}));
    EXPECT_TRUE(Mesh::BoundaryEdges(mesh).empty());
}

TYPED_TEST(MeshQueriesOf, AHundredThousandTrianglesOnOneEdge)
{
    // The pages of a book: each sees page 0, which sees page 1.
    const int pages = 100'000;
    typename TypeParam::Indexed book;
    book.points.resize(static_cast<std::size_t>(pages) + 2);
    for (int i = 0; i < pages; ++i) {
        book.indices.insert(book.indices.end(), {0, 1, i + 2});
    }
    const auto neighbors = Mesh::NeighborFacets(book);
    ASSERT_EQ(neighbors.front(), (std::array<int, 3>{1, -1, -1}));
    for (std::size_t i = 1; i < neighbors.size(); ++i) {
        ASSERT_EQ(neighbors[i], (std::array<int, 3>{0, -1, -1}));
    }
    EXPECT_EQ(Mesh::BoundaryEdges(book).size(), 2U * pages);
    EXPECT_EQ(Mesh::NodeRings(book)[0].size(), 1U + pages);
}

TYPED_TEST(MeshQueriesOf, NumbersFarApartTakeNoTableOfTheirSize)
{
    // Only indices are read here, so huge and negative numbers of a broken mesh do no harm.
    typename TypeParam::Indexed mesh;
    mesh.indices = {INT_MAX, 5, -1, 5, INT_MAX, INT_MIN};
    EXPECT_EQ(Mesh::NeighborFacets(mesh), (Neighbors{{1, -1, -1}, {0, -1, -1}}));
    EXPECT_EQ(Mesh::BoundaryEdges(mesh),
              (std::vector<Edge>{{INT_MIN, 5}, {-1, INT_MAX}, {5, -1}, {INT_MAX, INT_MIN}}));
}

TYPED_TEST(MeshQueriesOf, IncompleteTripleIsLeftOut)
{
    auto mesh = TypeParam::Of({0, 1, 2, 2, 1, 3});
    const auto neighbors = Mesh::NeighborFacets(mesh);
    const auto boundary = Mesh::BoundaryEdges(mesh);
    mesh.indices.push_back(0);
    mesh.indices.push_back(1);
    EXPECT_EQ(Mesh::NeighborFacets(mesh), neighbors);
    EXPECT_EQ(Mesh::BoundaryEdges(mesh), boundary);
    EXPECT_EQ(Mesh::NodeRings(mesh)[0], (std::set<int>{1, 2}));
    // Only the facets of nodes run over all indices.
    EXPECT_EQ(Mesh::NodeFacets(mesh),
              (std::vector<std::vector<int>>{{0, 2}, {0, 1, 2}, {0, 1}, {1}}));
    mesh.indices = {0, 1};
    EXPECT_TRUE(Mesh::NeighborFacets(mesh).empty());
    EXPECT_TRUE(Mesh::BoundaryEdges(mesh).empty());
}

TYPED_TEST(MeshQueriesOf, FaceEdges)
{
    using Edges = std::array<Edge, 3>;
    const auto mesh = TypeParam::Of({9, 9, 9, 4, 7, 2});
    EXPECT_EQ((Mesh::FaceEdges<1>(mesh, 1)), (Edges{Edge{4, 7}, Edge{7, 2}, Edge{2, 4}}));
    // Ordered (a, b), (b, c), (a, c), each with the smaller number first.
    EXPECT_EQ((Mesh::FaceEdges<0>(mesh, 1)), (Edges{Edge{4, 7}, Edge{2, 7}, Edge{2, 4}}));
    EXPECT_EQ((Mesh::FaceEdges<0>(mesh, 0)), (Edges{Edge{9, 9}, Edge{9, 9}, Edge{9, 9}}));
}

// --- orientation --------------------------------------------------------------------------------

void Turn(std::vector<int>& indices, int triangle)
{
    const auto first = static_cast<std::size_t>(3 * triangle);
    std::swap(indices[first + 1], indices[first + 2]);
}

TYPED_TEST(MeshQueriesOf, MatchNormalsLeavesAConsistentMeshAlone)
{
    auto mesh = TypeParam::Of(kTetrahedron);
    const auto before = mesh;
    EXPECT_FALSE(Mesh::MatchNormals(mesh));
    EXPECT_EQ(mesh, before);
}

TYPED_TEST(MeshQueriesOf, MatchNormalsTurnsTheOneThatDiffers)
{
    for (int wrong = 0; wrong < 4; ++wrong) {
        SCOPED_TRACE(wrong);
        auto indices = kTetrahedron;
        Turn(indices, wrong);
        auto mesh = TypeParam::Of(indices);
        EXPECT_TRUE(Mesh::MatchNormals(mesh));
        EXPECT_EQ(mesh.indices,
                  kTetrahedron); // also when triangle 0, where the walk starts, is wrong
        EXPECT_FALSE(Mesh::MatchNormals(mesh));
    }
}

TYPED_TEST(MeshQueriesOf, MatchNormalsWithHalfOfThemFlippedTurnsTheMarkedOnes)
{
    auto indices = kTetrahedron;
    Turn(indices, 1);
    Turn(indices, 2);
    auto mesh = TypeParam::Of(indices);
    EXPECT_TRUE(Mesh::MatchNormals(mesh));
    EXPECT_EQ(mesh.indices, kTetrahedron); // two of four is not more than half

    // With triangle 0 among the two, the marks fall on the other two, and those are turned.
    indices = kTetrahedron;
    Turn(indices, 0);
    Turn(indices, 3);
    mesh = TypeParam::Of(indices);
    EXPECT_TRUE(Mesh::MatchNormals(mesh));
    auto inward = kTetrahedron;
    for (int t = 0; t < 4; ++t) {
        Turn(inward, t);
    }
    EXPECT_EQ(mesh.indices, inward);
}

TYPED_TEST(MeshQueriesOf, MatchNormalsNeedsPointsAndWholeTriples)
{
    typename TypeParam::Indexed noPoints;
    noPoints.indices = {0, 1, 2, 0, 1, 3};
    EXPECT_FALSE(Mesh::MatchNormals(noPoints));
    auto noIndices = TypeParam::Of({0, 1, 2});
    noIndices.indices.clear();
    EXPECT_FALSE(Mesh::MatchNormals(noIndices));
    auto fourIndices = TypeParam::Of({0, 1, 2, 0});
    EXPECT_FALSE(Mesh::MatchNormals(fourIndices));
    // It has a test of its own and runs on two points, too.
    auto twoPoints = TypeParam::Of({0, 1, 1, 0, 1, 1});
    const auto twin = [&] {
        auto indices = twoPoints.indices;
        return std::pair(MatchNormalsTwin(indices), indices);
    }();
    EXPECT_EQ(Mesh::MatchNormals(twoPoints), twin.first);
    EXPECT_EQ(twoPoints.indices, twin.second);
}

TYPED_TEST(MeshQueriesOf, MatchNormalsCountsOtherComponentsAsRight)
{
    // Component one: 0 and 1, of which 1 runs against 0. Component two: 2 and 3, at odds, never
    // walked.
    const std::vector<int> indices{0, 1, 2, 0, 1, 3, 10, 11, 12, 10, 11, 13};
    auto mesh = TypeParam::Of(indices);
    EXPECT_TRUE(Mesh::MatchNormals(mesh));
    EXPECT_EQ(mesh.indices, (std::vector<int>{0, 1, 2, 0, 3, 1, 10, 11, 12, 10, 11, 13}));

    // Three of five flipped are the majority: all that are not flipped are turned, in component two
    // also. A fan about 0 whose triangle 0 runs the wrong way.
    auto fan = TypeParam::Of({0, 2, 1, 0, 2, 3, 0, 3, 4, 0, 4, 5, 20, 21, 22});
    EXPECT_TRUE(Mesh::MatchNormals(fan));
    EXPECT_EQ(fan.indices, (std::vector<int>{0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 5, 20, 22, 21}));
}

TYPED_TEST(MeshQueriesOf, MatchNormalsSharedSideOfOneNodeIsNotWalkedAcross)
{
    // Triangle 0 meets the others in its side 0-0 alone, which runs alike both ways: nothing can be
    // told across it.
    auto mesh = TypeParam::Of({0, 0, 1, 0, 0, 2, 0, 2, 3});
    const std::vector<int> before = mesh.indices;
    EXPECT_FALSE(Mesh::MatchNormals(mesh));
    EXPECT_EQ(mesh.indices, before);
}

TYPED_TEST(MeshQueriesOf, MatchNormalsTriangleWithARepeatedNodeTurnsNoOther)
{
    // A square of two triangles that agree, and a triangle that runs its diagonal there and back.
    const std::vector<int> squares[] = {{0, 0, 2, 0, 1, 2, 0, 2, 3},
                                        {0, 1, 2, 0, 0, 2, 0, 2, 3},
                                        {0, 1, 2, 0, 2, 3, 2, 0, 2},
                                        {2, 2, 2, 0, 1, 2, 2, 0, 0, 0, 2, 3, 0, 2, 2}};
    for (const std::vector<int>& square : squares) {
        auto mesh = TypeParam::Of(square);
        EXPECT_FALSE(Mesh::MatchNormals(mesh));
        EXPECT_EQ(mesh.indices, square);
    }
    auto none = TypeParam::Of({0, 0, 1, 1, 2, 1});
    EXPECT_FALSE(Mesh::MatchNormals(none));
    EXPECT_EQ(none.indices, (std::vector<int>{0, 0, 1, 1, 2, 1}));
}

TYPED_TEST(MeshQueriesOf, MatchNormalsTriangleWithARepeatedNodeDoesNotCount)
{
    // Two of the three sound triangles run against the first, which is more than half of three: the
    // first is turned. Of all eight they would not be half.
    auto mesh =
        TypeParam::Of({1, 1, 0, 0, 2, 1, 0, 2, 3, 4, 4, 3, 0, 3, 4, 0, 3, 3, 5, 5, 5, 1, 2, 1});
    EXPECT_TRUE(Mesh::MatchNormals(mesh));
    EXPECT_EQ(mesh.indices, (std::vector<int>{1, 1, 0, 0, 1, 2, 0, 2, 3, 4, 4, 3,
                                              0, 3, 4, 0, 3, 3, 5, 5, 5, 1, 2, 1}));
}

TYPED_TEST(MeshQueriesOf, MatchNormalsSoundTrianglesComeOutAsIfTheOthersWereNotThere)
{
    for (std::uint64_t seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Support::Random random(seed);
        auto sound = Grid(6);
        for (int t = 0; t < 72; ++t) {
            if (random.Below(3) == 0) {
                Turn(sound, t);
            }
        }
        // Collapsed triangles of every form, most of them on an edge that sound ones share, strewn
        // among them and before the first.
        std::vector<int> mixed;
        std::vector<bool> isSound;
        const auto add = [&](const std::vector<int>& triple, bool isOneOfThem) {
            mixed.insert(mixed.end(), triple.begin(), triple.end());
            isSound.push_back(isOneOfThem);
        };
        for (std::size_t i = 0; i < sound.size(); i += 3) {
            for (int count = random.Below(3); count > 0; --count) {
                const auto corner = static_cast<std::size_t>(random.Below(3));
                const int a = sound[i + corner];
                const int b = sound[i + (corner + 1) % 3];
                const std::vector<int> forms[] = {{a, a, b}, {a, b, a}, {b, a, a},
                                                  {b, b, a}, {a, b, b}, {a, a, a}};
                add(forms[random.Below(6)], false);
            }
            add({sound[i], sound[i + 1], sound[i + 2]}, true);
        }
        auto alone = TypeParam::Of(sound);
        auto together = TypeParam::Of(mixed);
        EXPECT_EQ(Mesh::MatchNormals(together), Mesh::MatchNormals(alone));
        std::size_t next = 0;
        for (std::size_t t = 0; t < isSound.size(); ++t) {
            for (std::size_t k = 0; k < 3; ++k) {
                EXPECT_EQ(together.indices[3 * t + k],
                          isSound[t] ? alone.indices[next + k] : mixed[3 * t + k]);
            }
            next += isSound[t] ? 3 : 0;
        }
    }
}

TYPED_TEST(MeshQueriesOf, MatchNormalsNumbersOutOfRangeAreHarmless)
{
    // It reads no point, and promises nothing of the numbers.
    typename TypeParam::Indexed mesh;
    mesh.points.resize(1);
    mesh.indices = {-5, 2, INT_MAX, -5, 2, 9, 2, -5, 7};
    EXPECT_TRUE(Mesh::MatchNormals(mesh));
    // Triangle 1 runs -5 to 2 like triangle 0; triangle 2 runs it back.
    EXPECT_EQ(mesh.indices, (std::vector<int>{-5, 2, INT_MAX, -5, 9, 2, 2, -5, 7}));
}

TYPED_TEST(MeshQueriesOf, MatchNormalsRecoversAGridWithAThirdTurned)
{
    for (const int side : {3, 40}) {
        for (const int residue : {0, 1}) { // with and without triangle 0, where the walk starts
            SCOPED_TRACE(testing::Message() << side << " squares a side, residue " << residue);
            auto indices = Grid(side);
            for (int t = residue; t < 2 * side * side; t += 3) {
                Turn(indices, t);
            }
            auto mesh = TypeParam::Of(indices);
            EXPECT_TRUE(Mesh::MatchNormals(mesh));
            EXPECT_EQ(mesh.indices, Grid(side));
        }
    }
}

TYPED_TEST(MeshQueriesOf, MatchNormalsAgreesWithTheLiteralWalkAlsoWhereNoOrientationExists)
{
    const int sizes[][2] = {{4, 3}, {20, 8}, {100, 12}, {600, 300}};
    for (const auto& [triangles, nodes] : sizes) {
        for (std::uint64_t seed = 1; seed <= Support::Rounds(20U); ++seed) {
            SCOPED_TRACE(testing::Message() << triangles << " on " << nodes << ", seed " << seed);
            auto indices = RandomTriples(seed, triangles, nodes);
            auto mesh = TypeParam::Of(indices);
            EXPECT_EQ(Mesh::MatchNormals(mesh), MatchNormalsTwin(indices));
            EXPECT_EQ(mesh.indices, indices);
        }
    }
    // A Moebius band of five squares.
    std::vector<int> band;
    for (int i = 0; i < 5; ++i) {
        const int a = i;
        const int b = i + 5;
        const int c = i < 4 ? i + 1 : 5;
        const int d = i < 4 ? i + 6 : 0;
        band.insert(band.end(), {a, b, d, a, d, c});
    }
    auto mesh = TypeParam::Of(band);
    EXPECT_EQ(Mesh::MatchNormals(mesh), MatchNormalsTwin(band));
    EXPECT_EQ(mesh.indices, band);
}

} // namespace
