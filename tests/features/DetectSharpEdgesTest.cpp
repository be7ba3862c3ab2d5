// Sharp edges of a mesh.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::DetectSharpEdges;
using Support::IndexedMesh;
using Pairs = std::vector<std::pair<int, int>>;

/// Undirected edges with how often they come.
std::map<std::pair<int, int>, int> Counted(const Pairs& pairs)
{
    std::map<std::pair<int, int>, int> counts;
    for (const auto& [a, b] : pairs) {
        ++counts[std::minmax(a, b)];
    }
    return counts;
}

TEST(DetectSharpEdges, CubeHasTwelveSharpEdgesEachFromBothSides)
{
    const IndexedMesh cube = Support::Cube();
    const Pairs sharp = DetectSharpEdges(cube, 1.0, false);
    const auto counts = Counted(sharp);
    EXPECT_EQ(counts.size(), 12U);
    for (const auto& [edge, count] : counts) {
        EXPECT_EQ(count, 2);
        // The edges of a cube have length 1, the diagonals of its faces don't.
        EXPECT_EQ(Length(cube.points[static_cast<std::size_t>(edge.first)] -
                         cube.points[static_cast<std::size_t>(edge.second)]),
                  1.0);
    }
    // Once in each direction, as both triangles run it.
    const std::set<std::pair<int, int>> directed(sharp.begin(), sharp.end());
    EXPECT_EQ(directed.size(), 24U);
}

TEST(DetectSharpEdges, AngleIsInRadiansAndTheLimitItselfIsSharp)
{
    const IndexedMesh cube = Support::Cube();
    const double right = std::acos(0.0);
    EXPECT_EQ(DetectSharpEdges(cube, right - 1e-9, false).size(), 24U);
    EXPECT_TRUE(DetectSharpEdges(cube, right + 1e-9, false).empty());
    EXPECT_TRUE(DetectSharpEdges(cube, 60, false).empty()); // no degrees
}

TEST(DetectSharpEdges, OrderIsThatOfThePlacesInTheIndices)
{
    const IndexedMesh cube = Support::Cube();
    Pairs all;
    for (std::size_t i = 0; i < cube.indices.size(); i += 3) {
        all.emplace_back(cube.indices[i], cube.indices[i + 1]);
        all.emplace_back(cube.indices[i + 1], cube.indices[i + 2]);
        all.emplace_back(cube.indices[i + 2], cube.indices[i]);
    }
    EXPECT_EQ(DetectSharpEdges(cube, 0, false), all);
}

TEST(DetectSharpEdges, AngleZeroWithoutBoundaryGivesEachInnerEdgeTwiceAndNoBoundaryEdge)
{
    const IndexedMesh sheet = Support::Grid(4, 3);
    const auto inner = Counted(DetectSharpEdges(sheet, 0, false));
    EXPECT_EQ(inner.size(), 4U * 2 + 3U * 3 + 4U * 3); // across, along, diagonal
    for (const auto& [edge, count] : inner) {
        EXPECT_EQ(count, 2);
    }
    const auto all = Counted(DetectSharpEdges(sheet, 0, true));
    EXPECT_EQ(all.size(), inner.size() + 14);
    for (const auto& [edge, count] : all) {
        EXPECT_EQ(count, inner.count(edge) != 0 ? 2 : 1);
    }
}

TEST(DetectSharpEdges, BoundaryIsSharpUpToAFullTurn)
{
    const IndexedMesh sheet = Support::Grid(2, 2);
    EXPECT_EQ(DetectSharpEdges(sheet, 1, true).size(), 8U);
    EXPECT_EQ(DetectSharpEdges(sheet, kTwoPi<double>, true).size(), 8U);
    EXPECT_TRUE(DetectSharpEdges(sheet, 6.2832, true).empty());
    EXPECT_TRUE(DetectSharpEdges(sheet, 1, false).empty());
}

TEST(DetectSharpEdges, NothingForNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(DetectSharpEdges({}, 0, true).empty());
    EXPECT_TRUE(DetectSharpEdges({Support::Cube().points, {}}, 0, true).empty());
    EXPECT_TRUE(DetectSharpEdges(Support::Cube(), nan, true).empty());
    IndexedMesh partial = Support::Cube();
    partial.indices.push_back(0);
    EXPECT_TRUE(DetectSharpEdges(partial, 0, true).empty());
}

TEST(DetectSharpEdges, TriplesThatNameAPointTwiceHideNoEdge)
{
    // Such a triple comes first at an edge, so it would be the neighbor of both triangles there.
    const IndexedMesh cube = Support::Cube();
    const Pairs expected = DetectSharpEdges(cube, 1, true);
    for (const auto& [a, b] : expected) {
        for (const std::vector<int>& triple :
             {std::vector<int>{a, b, b}, std::vector<int>{a, a, b}, std::vector<int>{b, a, b},
              std::vector<int>{a, a, a}, std::vector<int>{-1, a, b},
              std::vector<int>{a, b, 1000000}}) {
            IndexedMesh mesh = cube;
            mesh.indices.insert(mesh.indices.begin(), triple.begin(), triple.end());
            EXPECT_EQ(DetectSharpEdges(mesh, 1, true), expected);
            std::rotate(mesh.indices.begin(), mesh.indices.begin() + 3, mesh.indices.end());
            EXPECT_EQ(DetectSharpEdges(mesh, 1, true), expected);
        }
    }
}

TEST(DetectSharpEdges, NonFinitePointsAndGarbageEnd)
{
    IndexedMesh cube = Support::Cube();
    cube.points[3][1] = std::numeric_limits<double>::quiet_NaN();
    cube.points[5][0] = std::numeric_limits<double>::infinity();
    EXPECT_LE(DetectSharpEdges(cube, 1, true).size(), 36U);
    Support::Random random(2);
    for (int round = 0; round < 30; ++round) {
        const IndexedMesh mesh = Support::GarbageMesh<3, double>(random, 10, 50);
        for (const auto& [a, b] : DetectSharpEdges(mesh, 0.3, true)) {
            EXPECT_NE(a, b);
        }
    }
}

TEST(DetectSharpEdges, NumberOfThreadsDoesNotMatter)
{
    const IndexedMesh sheet = Support::WavySheet<double>(5000);
    std::vector<Pairs> results;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads,
                             [&] { results.push_back(DetectSharpEdges(sheet, 0.05, true)); });
    }
    EXPECT_FALSE(results[0].empty());
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

} // namespace
