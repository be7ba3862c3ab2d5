// Triangles of a soup by direction and connection.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::ClusterFacets;
using Sorvane::MeshUtils::FacetCluster;
using Soup = Sorvane::Mesh::TriangleSoup<3, double>;

Soup SoupOf(const Support::IndexedMesh& mesh) { return Sorvane::Mesh::SoupFromIndexedPoints(mesh); }

std::set<int> SetOf(const FacetCluster& cluster)
{
    return {cluster.facets.begin(), cluster.facets.end()};
}

TEST(ClusterFacets, FacesOfACube)
{
    const Soup cube = SoupOf(Support::Cube());
    const auto clusters = ClusterFacets(cube, 1e-6, 1);
    ASSERT_EQ(clusters.size(), 6U);
    std::set<int> all;
    for (const FacetCluster& face : clusters) {
        EXPECT_EQ(face.facets.size(), 2U);
        EXPECT_NEAR(face.area, 1, 1e-15);
        EXPECT_NEAR(Length(face.normal), 1, 1e-15);
        // The face's center, half an edge out of the cube's along the normal.
        EXPECT_NEAR(Length(face.centroid - Vec3d(0.5, 0.5, 0.5) - 0.5 * face.normal), 0, 1e-15);
        all.merge(SetOf(face));
    }
    EXPECT_EQ(all.size(), 12U);
}

TEST(ClusterFacets, LargestFirst)
{
    // A box 1 x 2 x 3.
    const Soup box = SoupOf(Support::Mapped(
        Support::Cube(), [](const Vec3d& p) { return Vec3d(p.x(), 2 * p.y(), 3 * p.z()); }));
    const auto clusters = ClusterFacets(box, 1e-6, 1);
    ASSERT_EQ(clusters.size(), 6U);
    const double areas[] = {6, 6, 3, 3, 2, 2};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(clusters[i].area, areas[i], 1e-14);
    }
}

TEST(ClusterFacets, WithoutWeldingEachTriangleIsACluster)
{
    const Soup cube = SoupOf(Support::Cube());
    const auto clusters = ClusterFacets(cube, 1e-6, 0);
    ASSERT_EQ(clusters.size(), 12U);
    for (const FacetCluster& cluster : clusters) {
        EXPECT_EQ(cluster.facets.size(), 1U);
    }
    // The flag's value says nothing more.
    EXPECT_EQ(ClusterFacets(cube, 1e-6, 1e9), ClusterFacets(cube, 1e-6, -1e-9));
}

TEST(ClusterFacets, OneDirectionInTwoPlacesMakesTwoClusters)
{
    Soup steps = SoupOf(Support::Grid(3, 2));
    for (auto triangle : SoupOf(Support::Grid(2, 2))) {
        for (Vec3d& corner : triangle) {
            corner += Vec3d(0, 0, 1);
        }
        steps.push_back(triangle);
    }
    const auto clusters = ClusterFacets(steps, 1e-6, 1);
    ASSERT_EQ(clusters.size(), 2U);
    EXPECT_NEAR(clusters[0].area, 6, 1e-15);
    EXPECT_NEAR(clusters[1].area, 4, 1e-15);
    EXPECT_EQ(SetOf(clusters[1]), (std::set<int>{12, 13, 14, 15, 16, 17, 18, 19}));
}

TEST(ClusterFacets, TouchingInAPointIsNoConnection)
{
    const Soup soup{{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}}, {{{0, 0, 0}, {-1, 0, 0}, {0, -1, 0}}}};
    EXPECT_EQ(ClusterFacets(soup, 1e-6, 1).size(), 2U);
}

TEST(ClusterFacets, NormalToleranceIsPerCoordinateOfTheUnitNormal)
{
    // Two triangles with a common edge, the second tilted by 0.1 radians.
    const Soup soup{{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}},
                    {{{1, 0, 0}, {0, 0, 0}, {0, -std::cos(0.1), std::sin(0.1)}}}};
    EXPECT_EQ(ClusterFacets(soup, 0.09, 1).size(), 2U);
    const auto together = ClusterFacets(soup, 0.11, 1);
    ASSERT_EQ(together.size(), 1U);
    // Equal areas: the normal is halfway.
    EXPECT_NEAR(Length(together[0].normal - Vec3d(0, std::sin(0.05), std::cos(0.05))), 0, 1e-12);
}

TEST(ClusterFacets, CentroidIsWeightedByArea)
{
    // A square of area 16 and a triangle of area 12 on one of its edges.
    const Soup soup{{{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}}},
                    {{{0, 0, 0}, {4, 4, 0}, {0, 4, 0}}},
                    {{{4, 4, 0}, {4, 0, 0}, {10, 0, 0}}}};
    const auto joined = ClusterFacets(soup, 1e-6, 1);
    ASSERT_EQ(joined.size(), 1U);
    EXPECT_NEAR(joined[0].area, 28, 1e-14);
    EXPECT_NEAR(joined[0].centroid.x(), (16 * 2 + 12 * 6) / 28.0, 1e-14);
    EXPECT_NEAR(joined[0].centroid.y(), (16 * 2 + 12 * 4 / 3.0) / 28.0, 1e-14);
}

TEST(ClusterFacets, ATriangleWithoutAreaIsAClusterWithoutDirection)
{
    Soup soup = SoupOf(Support::Cube());
    soup.push_back({{{5, 0, 0}, {6, 0, 0}, {7, 0, 0}}});
    const auto clusters = ClusterFacets(soup, 1e-6, 1);
    ASSERT_EQ(clusters.size(), 7U);
    const FacetCluster& flat = clusters.back();
    EXPECT_EQ(flat.area, 0);
    EXPECT_EQ(flat.normal, Vec3d{});
    EXPECT_EQ(flat.facets, std::vector<int>{12});
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(std::isnan(flat.centroid[i]));
    }
}

TEST(ClusterFacets, TrianglesThatLoseACornerAreInNoClusterAndShiftNoNumbers)
{
    const Soup cube = SoupOf(Support::Cube());
    Soup soup = cube;
    // In front of all others, and of the direction of none and of one.
    soup.insert(soup.begin(), {{{0, 0, 0}, {0, 0, 0}, {1, 0, 0}}});
    soup.insert(soup.begin() + 5, {{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}});
    const auto expected = ClusterFacets(cube, 1e-6, 1);
    const auto clusters = ClusterFacets(soup, 1e-6, 1);
    ASSERT_EQ(clusters.size(), expected.size());
    for (std::size_t i = 0; i < clusters.size(); ++i) {
        EXPECT_EQ(clusters[i].area, expected[i].area);
        std::set<int> moved;
        for (const int facet : expected[i].facets) {
            moved.insert(facet < 4 ? facet + 1 : facet + 2);
        }
        EXPECT_EQ(SetOf(clusters[i]), moved);
    }
}

TEST(ClusterFacets, ARepeatedTriangleIsInNoCluster)
{
    Soup soup = SoupOf(Support::Grid(2, 1));
    soup.insert(soup.begin(), soup[2]); // the one that comes first counts
    const auto clusters = ClusterFacets(soup, 1e-6, 1);
    ASSERT_EQ(clusters.size(), 1U);
    EXPECT_EQ(SetOf(clusters[0]), (std::set<int>{0, 1, 2, 4}));
}

TEST(ClusterFacets, NumbersAgreeWithTheSoupOnARealKindOfPart)
{
    // Whatever the clusters, each triangle has the direction of its own, and no cluster can grow.
    const Soup soup = SoupOf(Support::DrilledRing(3, 7, 20));
    const auto clusters = ClusterFacets(soup, 1e-6, 1);
    EXPECT_EQ(clusters.size(), 2U + 2 * 20); // two faces, and the sides of both walls
    std::vector<int> seen(soup.size());
    for (const FacetCluster& cluster : clusters) {
        for (const int facet : cluster.facets) {
            ++seen[static_cast<std::size_t>(facet)];
            const auto& [a, b, c] = soup[static_cast<std::size_t>(facet)];
            EXPECT_NEAR(Length(Normalized((b - a) ^ (c - a), 0.0) - cluster.normal), 0, 1e-6);
        }
    }
    EXPECT_EQ(seen, std::vector<int>(soup.size(), 1));
}

TEST(ClusterFacets, NonFiniteCornersDoNotDisturbTheOthers)
{
    Soup soup = SoupOf(Support::Cube());
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    soup.push_back({{{nan, 0, 0}, {1, 0, 0}, {0, 1, 0}}});
    soup.push_back({{{0, inf, 0}, {1, 0, 0}, {0, 1, 0}}});
    const auto clusters = ClusterFacets(soup, 1e-6, 1);
    ASSERT_EQ(clusters.size(), 7U); // both without a direction, and on one edge
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(clusters[i].area, 1, 1e-15);
    }
    EXPECT_TRUE(std::isnan(clusters[6].area));
}

TEST(ClusterFacets, EqualAreasKeepTheOrderOfTheirDirections)
{
    const Soup cube = SoupOf(Support::Cube());
    std::vector<Vec3d> directions;
    for (const auto& [a, b, c] : cube) {
        directions.push_back((b - a) ^ (c - a));
    }
    Vector::FilterForUniquenessAndIndex(directions, 1e-6);
    const auto clusters = ClusterFacets(cube, 1e-6, 1);
    ASSERT_EQ(clusters.size(), 6U);
    for (std::size_t i = 0; i < clusters.size(); ++i) {
        EXPECT_EQ(clusters[i].area, clusters[0].area);
        EXPECT_EQ(clusters[i].normal, directions[i]);
    }
}

TEST(ClusterFacets, NormalIsWeightedByArea)
{
    // Along the edge of y = 0 a triangle of area 1 lies flat, and one of area 10 leans by 0.05.
    const double lean = 0.05;
    const Soup soup{{{{0, 0, 0}, {2, 0, 0}, {1, 1, 0}}},
                    {{{2, 0, 0}, {0, 0, 0}, {1, -10 * std::cos(lean), 10 * std::sin(lean)}}}};
    const auto clusters = ClusterFacets(soup, 0.1, 1);
    ASSERT_EQ(clusters.size(), 1U);
    const Vec3d sum(0, 10 * std::sin(lean), 1 + 10 * std::cos(lean));
    EXPECT_NEAR(Length(clusters[0].normal - sum / Length(sum)), 0, 1e-14);
}

TEST(ClusterFacets, NothingForNothing)
{
    EXPECT_TRUE(ClusterFacets({}, 1e-6, 1).empty());
    const Soup cube = SoupOf(Support::Cube());
    // Nothing is within a NaN tolerance, so each triangle has a direction of its own.
    EXPECT_EQ(ClusterFacets(cube, std::numeric_limits<double>::quiet_NaN(), 1).size(), 12U);
}

TEST(ClusterFacets, NumberOfThreadsDoesNotMatter)
{
    const Soup sheet = SoupOf(Support::WavySheet<double>(6000));
    std::vector<std::vector<FacetCluster>> results;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] { results.push_back(ClusterFacets(sheet, 0.01, 1)); });
    }
    EXPECT_GT(results[0].size(), 100U);
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

} // namespace
