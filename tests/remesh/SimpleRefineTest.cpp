// Triangles cut into three, four and six.

#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <Sorvane/Subdivision_E.h>

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mesh::SimpleRefineMethod;
using Support::IndexedMesh;

constexpr std::array kMethods{SimpleRefineMethod::Centroid, SimpleRefineMethod::Midpoints,
                              SimpleRefineMethod::CentroidAndMidpoints};
constexpr std::array<std::size_t, 3> kParts{3, 4, 6};

IndexedMesh Refined(const IndexedMesh& mesh, SimpleRefineMethod method, unsigned iterations)
{
    IndexedMesh out;
    Mesh::SimpleRefine(mesh, out, method, iterations);
    return out;
}

IndexedMesh OneTriangle()
{
    IndexedMesh mesh;
    mesh.points = {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
    mesh.indices = {0, 1, 2};
    return mesh;
}

std::vector<double> AreasOf(const IndexedMesh& mesh)
{
    std::vector<double> areas;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const Vec3d a = Support::PointOf(mesh, i);
        areas.push_back(
            Length((Support::PointOf(mesh, i + 1) - a) ^ (Support::PointOf(mesh, i + 2) - a)) / 2);
    }
    return areas;
}

TEST(SimpleRefine, TwoRoundsOfMidpointsMakeSixteenOfOne)
{
    const IndexedMesh out = Refined(OneTriangle(), SimpleRefineMethod::Midpoints, 2);
    EXPECT_EQ(out.indices.size(), 48U);
    EXPECT_EQ(out.points.size(), 15U) << "a triangle of five points a side";
    for (const Vec3d& p : out.points) {
        EXPECT_EQ(p.x(), std::round(p.x()));
        EXPECT_EQ(p.y(), std::round(p.y()));
    }
}

TEST(SimpleRefine, PartsAreInThePlaceOfTheirTriangleAndShareItEqually)
{
    const IndexedMesh mesh = Support::Torus(6, 5);
    const std::vector<double> before = AreasOf(mesh);
    for (std::size_t m = 0; m < kMethods.size(); ++m) {
        const IndexedMesh out = Refined(mesh, kMethods[m], 1);
        const std::vector<double> after = AreasOf(out);
        ASSERT_EQ(after.size(), kParts[m] * before.size());
        for (std::size_t i = 0; i < after.size(); ++i) {
            // Medians and middles cut a triangle into parts of equal area.
            EXPECT_NEAR(after[i], before[i / kParts[m]] / static_cast<double>(kParts[m]), 1e-13);
        }
        EXPECT_NEAR(Support::VolumeOf(out), Support::VolumeOf(mesh), 1e-12) << "turned as before";
        EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
        EXPECT_EQ(Support::EulerOf(out), 0);
    }
}

TEST(SimpleRefine, GrowsByThreeFourAndSixEveryTime)
{
    for (std::size_t m = 0; m < kMethods.size(); ++m) {
        std::size_t triangles = 12;
        for (unsigned iterations = 0; iterations <= 3; ++iterations) {
            const IndexedMesh out = Refined(Support::Cube(), kMethods[m], iterations);
            EXPECT_EQ(out.indices.size(), 3 * triangles);
            EXPECT_EQ(Support::EulerOf(out), 2);
            EXPECT_NEAR(Support::VolumeOf(out), 1.0, 1e-13);
            triangles *= kParts[m];
        }
    }
}

TEST(SimpleRefine, WithoutRoundsItWelds)
{
    IndexedMesh soup;
    for (int i = 0; i < 2; ++i) {
        soup.points.insert(soup.points.end(), {{0, 0, 0}, {1, 0, 5e-13 * i}, {0, 1, 0}});
    }
    soup.points.push_back({9, 9, 9});
    soup.indices = {0, 1, 2, 3, 5, 4};
    const IndexedMesh out = Refined(soup, SimpleRefineMethod::Centroid, 0);
    EXPECT_EQ(out.points.size(), 3U);
    EXPECT_EQ(out.indices.size(), 6U);
}

TEST(SimpleRefine, AMethodThatIsNoneGivesAnEmptyMesh)
{
    for (const int number : {3, -1, 7, std::numeric_limits<int>::max()}) {
        for (const unsigned iterations : {0U, 1U, 4'000'000'000U}) {
            IndexedMesh out = Support::Cube();
            Mesh::SimpleRefine(Support::Cube(), out, static_cast<SimpleRefineMethod>(number),
                               iterations);
            EXPECT_TRUE(out.points.empty() && out.indices.empty());
        }
    }
}

TEST(SimpleRefine, EmptyMeshesGiveEmptyResults)
{
    IndexedMesh fourIndices = Support::Tetrahedron();
    fourIndices.indices.resize(4);
    IndexedMesh twoPoints;
    twoPoints.points.resize(2);
    twoPoints.indices = {0, 1, 0};
    for (const IndexedMesh& mesh : {IndexedMesh{}, fourIndices, twoPoints}) {
        for (const SimpleRefineMethod method : kMethods) {
            IndexedMesh out = Support::Cube();
            Mesh::SimpleRefine(mesh, out, method, 4'000'000'000U);
            EXPECT_TRUE(out.points.empty() && out.indices.empty());
        }
    }
}

TEST(SimpleRefine, TrianglesWithoutAreaStay)
{
    IndexedMesh mesh = OneTriangle();
    mesh.indices.insert(mesh.indices.end(), {0, 0, 1});
    EXPECT_EQ(Refined(mesh, SimpleRefineMethod::Midpoints, 1).indices.size(), 24U);
    mesh.points[2] = Vec3d(std::numeric_limits<double>::quiet_NaN(), 0, 0);
    EXPECT_EQ(Refined(mesh, SimpleRefineMethod::CentroidAndMidpoints, 1).indices.size(), 36U);
}

TEST(SimpleRefine, MoreThanSubscriptsCanTellEndsAtOnce)
{
    for (const SimpleRefineMethod method : kMethods) {
        for (const unsigned iterations : {19U, 4'000'000'000U}) {
            IndexedMesh out = Support::Cube();
            EXPECT_THROW(Mesh::SimpleRefine(Support::Cube(), out, method, iterations),
                         std::length_error);
            EXPECT_TRUE(out.points.empty() && out.indices.empty());
        }
    }
}

TEST(SimpleRefine, AMeshMayBeItsOwnOutput)
{
    IndexedMesh mesh = Support::Cube();
    const IndexedMesh expected = Refined(mesh, SimpleRefineMethod::Centroid, 2);
    Mesh::SimpleRefine(mesh, mesh, SimpleRefineMethod::Centroid, 2);
    EXPECT_TRUE(mesh == expected);
}

TEST(SimpleRefine, ManyThreadsGiveTheSameBits)
{
    const IndexedMesh mesh = Support::Torus(40, 30);
    IndexedMesh one;
    IndexedMesh four;
    Support::WithThreads(1, [&] { one = Refined(mesh, SimpleRefineMethod::Midpoints, 2); });
    Support::WithThreads(4, [&] { four = Refined(mesh, SimpleRefineMethod::Midpoints, 2); });
    EXPECT_TRUE(one == four);
}

} // namespace
