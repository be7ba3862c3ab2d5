// Distances of points from a mesh, their signs, projections, crossings of polylines, and the
// farthest points of two meshes: against brute force in extended precision, solid angles and shapes
// whose answer is known.

#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using MeshUtils::PointStreamClip;
using Support::IndexedMesh;
using Support::Random;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kMissed = -std::numeric_limits<double>::max();

std::vector<double> Distances(const IndexedMesh& mesh, const std::vector<Vec3d>& cloud,
                              bool squared = false)
{
    return MeshUtils::CloudDistancesToMesh(mesh.points, mesh.indices, cloud, squared);
}
std::vector<Vec3d> Projected(const IndexedMesh& mesh, const std::vector<Vec3d>& cloud, bool closest)
{
    return MeshUtils::ProjectCloudOnMesh(mesh.points, mesh.indices, cloud, closest);
}
MeshUtils::HausdorffReport Farthest(const IndexedMesh& a, const IndexedMesh& b)
{
    return MeshUtils::HausdorffDistances(a.points, a.indices, b.points, b.indices);
}

/// Points in the box of the mesh and around it.
std::vector<Vec3d> CloudAround(const IndexedMesh& mesh, int count, std::uint64_t seed)
{
    Vec3d low = mesh.points.front();
    Vec3d high = low;
    for (const Vec3d& p : mesh.points) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
    Random random(seed);
    std::vector<Vec3d> cloud;
    for (int i = 0; i < count; ++i) {
        Vec3d p;
        for (int axis = 0; axis < 3; ++axis) {
            p[axis] = random.Between(1.2 * low[axis] - 0.2 * high[axis],
                                     1.2 * high[axis] - 0.2 * low[axis]);
        }
        cloud.push_back(p);
    }
    return cloud;
}

/// How often the mesh goes around the point: the sum of the solid angles of its triangles over that
/// of the sphere (A. van Oosterom, J. Strackee, 1983).
double WindingNumber(const IndexedMesh& mesh, const Vec3d& p)
{
    double sum = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[i + k])] - p;
        };
        const Vec3d a = corner(0);
        const Vec3d b = corner(1);
        const Vec3d c = corner(2);
        const double la = Length(a);
        const double lb = Length(b);
        const double lc = Length(c);
        sum +=
            2 * std::atan2(a * (b ^ c), la * lb * lc + (a * b) * lc + (b * c) * la + (c * a) * lb);
    }
    return sum / (2 * kTwoPi<double>);
}

IndexedMesh Moved(IndexedMesh mesh, const Vec3d& by, double scale = 1)
{
    for (Vec3d& p : mesh.points) {
        p = p * scale + by;
    }
    return mesh;
}

IndexedMesh Turned(IndexedMesh mesh)
{
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        std::swap(mesh.indices[i + 1], mesh.indices[i + 2]);
    }
    return mesh;
}

// --- distances ----------------------------------------------------------------------------------

TEST(CloudDistancesToMesh, APointOnTheMeshHasDistanceZero)
{
    const auto distances =
        Distances(Support::Cube(), {{0.25, 0.5, 1}, {1, 0.5, 0.5}, {0, 0, 0}, {0.5, 0, 0}});
    for (const double distance : distances) {
        EXPECT_EQ(distance, 0.0);
        EXPECT_FALSE(std::signbit(distance));
    }
}

TEST(CloudDistancesToMesh, InsideIsNegativeAndASquareHasNoSign)
{
    const std::vector<Vec3d> cloud{{0.5, 0.5, 0.75}, {0.5, 0.5, 1.5}, {2, 2, 2}};
    EXPECT_EQ(Distances(Support::Cube(), cloud), (std::vector<double>{-0.25, 0.5, std::sqrt(3.0)}));
    EXPECT_EQ(Distances(Support::Cube(), cloud, true), (std::vector<double>{0.0625, 0.25, 3.0}));
    // Turned inside out, behind and in front of a face change sides.
    const auto turned = Distances(Turned(Support::Cube()), cloud);
    EXPECT_EQ(turned[0], 0.25);
    EXPECT_EQ(turned[1], -0.5);
}

struct RealMesh {
    const char* file;
    int points;
};
void PrintTo(const RealMesh& mesh, std::ostream* os) { *os << mesh.file; }
class DistancesOnRealMeshes : public testing::TestWithParam<RealMesh> {};

/// How near the nearest triangle is, and how many are as near.
std::pair<double, int> NearestAndCount(const IndexedMesh& mesh, const Vec3d& p)
{
    std::vector<double> distances;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        distances.push_back(Support::DistanceToTriangle(p, Support::PointOf(mesh, i),
                                                        Support::PointOf(mesh, i + 1),
                                                        Support::PointOf(mesh, i + 2)));
    }
    const double least = *std::min_element(distances.begin(), distances.end());
    const auto count = std::count_if(distances.begin(), distances.end(), [&](double distance) {
        return distance <= least * (1 + 1e-9) + 1e-12;
    });
    return {least, static_cast<int>(count)};
}

TEST_P(DistancesOnRealMeshes, AreThoseOfBruteForceAndTheirSignsThoseOfSolidAngles)
{
    const auto file = Support::SharedData(GetParam().file);
    SORVANE_NEED_DATA(file);
    const IndexedMesh mesh = Support::WeldedStl<double>(file);
    const auto cloud = CloudAround(mesh, GetParam().points, 5);
    const auto distances = Distances(mesh, cloud);
    const auto squared = Distances(mesh, cloud, true);
    int inside = 0;
    int outside = 0;
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        const auto [expected, count] = NearestAndCount(mesh, cloud[i]);
        EXPECT_NEAR(std::fabs(distances[i]), expected, 1e-10 * (1 + expected));
        EXPECT_NEAR(squared[i], expected * expected, 1e-9 * (1 + expected * expected));
        const bool isInside = WindingNumber(mesh, cloud[i]) > 0.5;
        EXPECT_EQ(distances[i] < 0, isInside) << i << ", nearest to " << count;
        ++(isInside ? inside : outside);
    }
    EXPECT_GT(inside, 0);
    EXPECT_GT(outside, 0);
}

INSTANTIATE_TEST_SUITE_P(Parts, DistancesOnRealMeshes,
                         testing::Values(RealMesh{"meshes_cad/plate_holes.STL", 60},
                                         RealMesh{"meshes_cad/octagonal_pocket.stl", 25},
                                         RealMesh{"meshes_nist/nist_ftc_11_asme1_rb.stl", 20},
                                         RealMesh{"meshes_organic/spot.stl", 8}));

TEST(CloudDistancesToMesh, OffTheEdgeOfABladeIsOutsideWhicheverFaceComesFirst)
{
    // A wedge of 40 degrees with its edge along Y: a point straight in front of one face, and just
    // over the edge, is behind the plane of the other face.
    const double half = 20 * kTwoPi<double> / 360;
    const Vec3d left{-std::sin(half), 0, -std::cos(half)};
    const Vec3d right{std::sin(half), 0, -std::cos(half)};
    const std::vector<Vec3d> points{{0, -1, 0}, {0, 1, 0}, left, right};
    const std::vector<int> toTheLeft{0, 1, 2};
    const std::vector<int> toTheRight{1, 0, 3};
    const double tilt = half - 0.01; // normals stand this much above X, the point a little more
    const Vec3d probe{std::cos(tilt + 0.02), 0, std::sin(tilt + 0.02)};
    for (const bool isLeftFirst : {true, false}) {
        std::vector<int> indices = isLeftFirst ? toTheLeft : toTheRight;
        const std::vector<int>& last = isLeftFirst ? toTheRight : toTheLeft;
        indices.insert(indices.end(), last.begin(), last.end());
        const auto distance = MeshUtils::CloudDistancesToMesh(points, indices, {probe}, false)[0];
        EXPECT_DOUBLE_EQ(distance, 1.0);
    }
}

/// A ball whose points stand out and back by turns: spikes, pits and edges of any angle.
IndexedMesh Hedgehog(std::uint64_t seed)
{
    Random random(seed);
    IndexedMesh mesh = Support::Sphere(1);
    for (Vec3d& p : mesh.points) {
        p = p * random.Between(0.1, 2);
    }
    return mesh;
}

TEST(CloudDistancesToMesh, SignsAreThoseOfSolidAnglesAtSpikesAndPits)
{
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        const IndexedMesh body = Hedgehog(seed);
        IndexedMesh soup = body; // every third triangle twice, and none shares a point
        for (std::size_t i = 0; i + 2 < body.indices.size(); i += 9) {
            for (std::size_t k : {1U, 2U, 0U}) {
                soup.indices.push_back(body.indices[i + k]);
            }
        }
        soup.points.clear();
        for (int& index : soup.indices) {
            soup.points.push_back(body.points[static_cast<std::size_t>(index)]);
            index = static_cast<int>(soup.points.size()) - 1;
        }
        for (const Vec3d& p : CloudAround(body, 60, seed)) {
            const bool isInside = WindingNumber(body, p) > 0.5;
            EXPECT_EQ(Distances(body, {p})[0] < 0, isInside) << p;
            EXPECT_EQ(Distances(soup, {p})[0] < 0, isInside) << p;
            EXPECT_EQ(Distances(Turned(body), {p})[0] < 0, !isInside) << p;
            const Vec3d far(1e6, -3e6, 2e6);
            EXPECT_EQ(Distances(Moved(body, far), {p + far})[0] < 0, isInside) << p;
            EXPECT_EQ(Distances(Moved(body, {}, 1e-4), {p * 1e-4})[0] < 0, isInside) << p;
        }
    }
}

TEST(CloudDistancesToMesh, ATipHasItsSignHoweverItsFacesAreCut)
{
    // A spike, the face beyond whose base edge k is cut into a fan of many triangles: they are more
    // than those of the other faces, and no more of the turn round the tip.
    constexpr int kCuts = 40;
    const std::vector<Vec3d> base{{1, 0, 0}, {-0.5, 0.75, 0}, {-0.5, -0.75, 0}};
    const auto spikeOf = [&](double height, std::size_t cut) {
        IndexedMesh spike{{base[0], base[1], base[2], {0.25, 0.125, height}}, {}};
        for (std::size_t k = 0; k < 3; ++k) {
            const int from = static_cast<int>(k);
            const int to = (from + 1) % 3;
            int last = from;
            for (int i = 1; i <= (k == cut ? kCuts : 1); ++i) {
                int next = to;
                if (k == cut && i < kCuts) {
                    next = static_cast<int>(spike.points.size());
                    const double share = double(i) / kCuts;
                    spike.points.push_back(base[k] * (1 - share) + base[(k + 1) % 3] * share);
                }
                spike.indices.insert(spike.indices.end(), {last, next, 3});
                if (k == 1) {
                    spike.indices.insert(spike.indices.end(), {0, next, last});
                }
                last = next;
            }
        }
        return spike;
    };
    for (const double height : {3.0, 12.0}) {
        for (std::size_t cut = 0; cut < 3; ++cut) {
            const IndexedMesh spike = spikeOf(height, cut);
            SCOPED_TRACE(std::to_string(height) + ", face " + std::to_string(cut));
            Random random(cut + 1);
            int beside = 0;
            for (int i = 0; i < 300; ++i) {
                const Vec3d p = spike.points[3] + random.Vector<3, double>(-1, 1);
                const bool isInside = WindingNumber(spike, p) > 0.5;
                EXPECT_EQ(Distances(spike, {p})[0] < 0, isInside) << p;
                EXPECT_EQ(Distances(Turned(spike), {p})[0] < 0, !isInside) << p;
                beside += !isInside && p.z() < height + 0.25 ? 1 : 0;
            }
            EXPECT_GT(beside, 100);
        }
    }
}

TEST(CloudDistancesToMesh, AFaceThatReachesFarAwayHasItsSayAtItsNearEdge)
{
    // Places on the common edge are found from the near face to more digits than the far one has,
    // whose first corner is the far one in two cases of three.
    for (const double reach : {1e3, 1e6}) {
        Random random(3);
        for (int i = 0; i < 200; ++i) {
            IndexedMesh body;
            for (int k = 0; k < 4; ++k) {
                body.points.push_back(random.Vector<3, double>(-1, 1) * (k == 3 ? reach : 1.0));
            }
            const auto& p = body.points;
            const bool isLeft = (p[1] - p[0]) * ((p[2] - p[0]) ^ (p[3] - p[0])) < 0;
            body.indices = {0, 2, 1, 3, 0, 1, 2, 3, 1, 3, 2, 0};
            if (isLeft) {
                std::swap(body.points[0], body.points[1]);
            }
            std::vector<Vec3d> cloud;
            for (int k = 0; k < 20; ++k) {
                const double share = random.Between(0, 1);
                cloud.push_back(p[0] * share + p[1] * (1 - share) +
                                random.Vector<3, double>(-0.25, 0.25));
            }
            const std::vector<double> distances = Distances(body, cloud);
            for (std::size_t k = 0; k < cloud.size(); ++k) {
                EXPECT_EQ(distances[k]<0, WindingNumber(body, cloud[k])> 0.5)
                    << reach << ' ' << i << ' ' << cloud[k];
            }
        }
    }
}

TEST(CloudDistancesToMesh, OffASheetFoldedOntoItselfTheFirstTriangleTells)
{
    const std::vector<Vec3d> points{{0, 0, 0}, {2, 0, 0}, {0, 2, 0}};
    for (const Vec3d& p : {Vec3d(1, -1, 0.5), Vec3d(-1, -1, 0.5), Vec3d(2, 2, 1)}) {
        EXPECT_GT(Distances({points, {0, 1, 2, 0, 2, 1}}, {p})[0], 0) << p;
        EXPECT_LT(Distances({points, {0, 2, 1, 0, 1, 2}}, {p})[0], 0) << p;
    }
}

TEST(CloudDistancesToMesh, SignsAreRightWhereBodiesTouch)
{
    // Two cubes along an edge, and from corner to corner.
    for (const Vec3d& step : {Vec3d(1, 1, 0), Vec3d(1, 1, 1)}) {
        const IndexedMesh both = Support::Together(Support::Cube(), Moved(Support::Cube(), step));
        for (const Vec3d& p : CloudAround(both, 300, 4)) {
            EXPECT_EQ(Distances(both, {p})[0]<0, WindingNumber(both, p)> 0.5) << p;
        }
    }
}

TEST(CloudDistancesToMesh, WhatIsLevelWithTheTriangleOrOnItIsInFront)
{
    const IndexedMesh triangle{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
    // Beside the corner, seen from which the points lie below the plane at a small angle.
    const auto beside = Distances(triangle, {{-3, 0, -3e-13}, {-3, 0, -3e-11}, {-3, 0, 3e-11}});
    EXPECT_DOUBLE_EQ(beside[0], 3.0);
    EXPECT_DOUBLE_EQ(beside[1], -3.0);
    EXPECT_DOUBLE_EQ(beside[2], 3.0);
    // Under its inside, where the angle is a right one however close the point is.
    const auto under = Distances(triangle, {{0.25, 0.25, -5e-13}, {0.25, 0.25, -5e-12}});
    EXPECT_DOUBLE_EQ(under[0], 5e-13);
    EXPECT_DOUBLE_EQ(under[1], -5e-12);
}

TEST(CloudDistancesToMesh, TrianglesWithoutAreaHaveNoSides)
{
    // Flat triangles along the edges of a cube, with the lowest numbers.
    IndexedMesh mesh = Support::Cube();
    mesh.points.push_back({0.5, 0, 0});
    std::vector<int> indices{0, 8, 1, 1, 0, 0, 4, 4, 4};
    indices.insert(indices.end(), mesh.indices.begin(), mesh.indices.end());
    mesh.indices = indices;
    const auto distances =
        Distances(mesh, {{0.25, 1e-3, 1e-3}, {0.75, 0.25, 0.25}, {1e-3, 1e-3, 1}, {0.25, -1, -1}});
    EXPECT_DOUBLE_EQ(distances[0], -1e-3);
    EXPECT_DOUBLE_EQ(distances[1], -0.25);
    EXPECT_EQ(distances[2], 0.0);
    EXPECT_DOUBLE_EQ(distances[3], std::sqrt(2.0));
    // Nearest to the edge alone: only the flat triangles are as near as two faces.
    EXPECT_DOUBLE_EQ(Distances(Turned(mesh), {{0.25, -1, -1}})[0], -std::sqrt(2.0));
    // A flat triangle by itself is a segment with a distance and nobody's inside.
    EXPECT_EQ(MeshUtils::CloudDistancesToMesh({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {0, 1, 2},
                                              {{1, 3, 0}}, false),
              std::vector<double>{3.0});
}

TEST(CloudDistancesToMesh, NeedlesOnAnEdgeHaveNoSayInItsSign)
{
    // A blade with its edge along Y, and on the edge a triangle whose height is rounding: it has a
    // normal in any direction that one likes, and would outweigh two faces that nearly cancel.
    const double half = 20 * kTwoPi<double> / 360;
    const std::vector<Vec3d> points{{0, -1, 0},
                                    {0, 1, 0},
                                    {-std::sin(half), 0, -std::cos(half)},
                                    {std::sin(half), 0, -std::cos(half)}};
    for (int turn = 0; turn < 16; ++turn) {
        const double angle = turn * kTwoPi<double> / 16;
        IndexedMesh first{points, {0, 1, 4, 0, 1, 2, 1, 0, 3}};
        IndexedMesh last{points, {0, 1, 2, 1, 0, 3, 0, 1, 4}};
        for (IndexedMesh* mesh : {&first, &last}) {
            mesh->points.push_back({2e-16 * std::cos(angle), 0, 2e-16 * std::sin(angle)});
            for (int degrees = 25; degrees < 160; degrees += 10) { // the edge is nearest
                const double up = degrees * kTwoPi<double> / 360;
                const Vec3d p{std::cos(up), 0.25, std::sin(up)};
                EXPECT_NEAR(Distances(*mesh, {p})[0], 1, 1e-12) << angle << ' ' << p;
                EXPECT_NEAR(Distances(Turned(*mesh), {p})[0], -1, 1e-12) << angle << ' ' << p;
            }
        }
    }
}

TEST(CloudDistancesToMesh, DegenerateTrianglesOfARealMeshChangeNoSign)
{
    const auto file = Support::SharedData("with_degenerate/nist_ftc_06.stl");
    SORVANE_NEED_DATA(file);
    const IndexedMesh mesh = Support::WeldedStl<double>(file);
    IndexedMesh clean;
    clean.points = mesh.points;
    std::vector<Vec3d> probes;
    Random random(8);
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const int* t = &mesh.indices[i];
        if (t[0] != t[1] && t[1] != t[2] && t[2] != t[0]) {
            clean.indices.insert(clean.indices.end(), t, t + 3);
        } else {
            // Close to where they are, mostly nearest to their edge.
            for (int k = 0; k < 40; ++k) {
                probes.push_back(mesh.points[static_cast<std::size_t>(t[k % 3])] +
                                 random.Vector<3, double>(-0.01, 0.01));
            }
        }
    }
    ASSERT_EQ(probes.size(), 8U * 40);
    EXPECT_EQ(Distances(mesh, probes), Distances(clean, probes));
}

TEST(CloudDistancesToMesh, TheUnitOfAPartMakesNoDifference)
{
    // Powers of two scale exactly. At the least of them the areas are far below 1e-12.
    const IndexedMesh sphere = Support::Sphere(3);
    const auto cloud = CloudAround(sphere, 200, 3);
    const auto expected = Distances(sphere, cloud);
    for (const double scale : {0x1p-24, 0x1p30}) {
        std::vector<Vec3d> scaled = cloud;
        for (Vec3d& p : scaled) {
            p = p * scale;
        }
        const auto distances = Distances(Moved(sphere, {}, scale), scaled);
        for (std::size_t i = 0; i < cloud.size(); ++i) {
            EXPECT_EQ(distances[i], expected[i] * scale);
        }
    }
}

TEST(CloudDistancesToMesh, FarFromTheOriginDistancesKeepTheirDigits)
{
    const IndexedMesh sphere = Support::Sphere(2);
    const Vec3d far{1e6, -2e6, 3e6};
    IndexedMesh moved = Moved(sphere, far);
    for (const Vec3d& probe : CloudAround(sphere, 100, 4)) {
        const double expected = Support::DistanceToMesh(probe + far, moved);
        const double distance = Distances(moved, {probe + far})[0];
        EXPECT_NEAR(std::fabs(distance), expected, 1e-8);
        if (expected > 0.01) {
            EXPECT_EQ(distance<0, WindingNumber(sphere, probe)> 0.5);
        }
    }
}

TEST(CloudDistancesToMesh, PointsWithoutUsableCoordinatesLoseTheirOwnAnswerOnly)
{
    const IndexedMesh sphere = Support::Sphere(3);
    std::vector<Vec3d> cloud = CloudAround(sphere, 50, 6);
    const auto expected = Distances(sphere, cloud);
    const auto expectedPlaces = Projected(sphere, cloud, true);
    cloud[7][1] = kNaN;
    cloud[20][0] = kInfinity;
    cloud[33][2] = -kInfinity;
    cloud[41][2] = 1e300;
    const auto distances = Distances(sphere, cloud);
    const auto places = Projected(sphere, cloud, true);
    const auto dropped = Projected(sphere, cloud, false);
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        if (i == 7 || i == 20 || i == 33 || i == 41) {
            EXPECT_TRUE(std::isnan(distances[i])) << i;
            EXPECT_EQ(places[i][2], kMissed) << i;
            EXPECT_EQ(dropped[i][2], kMissed) << i;
        } else {
            EXPECT_EQ(distances[i], expected[i]);
            EXPECT_EQ(places[i], expectedPlaces[i]);
        }
    }
}

TEST(CloudDistancesToMesh, TrianglesThatDontCountArePassedOver)
{
    IndexedMesh mesh = Support::Cube();
    const auto cloud = CloudAround(mesh, 100, 9);
    const auto expected = Distances(mesh, cloud);
    mesh.points.push_back({kNaN, 0, 0});
    mesh.points.push_back({kInfinity, 0, 0});
    mesh.indices.insert(mesh.indices.end(), {0, 1, 8, 1, 9, 0, -1, 2, 3, 4, 5, 1000});
    EXPECT_EQ(Distances(mesh, cloud), expected);
    EXPECT_EQ(Farthest(mesh, Support::Cube()).firstDistance, 0.0);
    EXPECT_EQ(Projected(mesh, {{0.3, 0.4, 7}}, false)[0], Vec3d(0.3, 0.4, 1));
    // No triangle counts: as if there were none.
    mesh.indices = {0, 1, 8, 1, 9, 0};
    EXPECT_EQ(Distances(mesh, cloud), std::vector<double>(cloud.size(), 0.0));
    EXPECT_EQ(Projected(mesh, {{0.3, 0.4, 7}}, true)[0], Vec3d(0.3, 0.4, kMissed));
}

TEST(SignedDistancesToMesh, AreThoseOfTheMeshByATreeAtHand)
{
    // A triangle without area lies along an edge, so that another one tells the side.
    IndexedMesh mesh = Support::Cube();
    mesh.points.push_back({0, 0, 0});
    mesh.points[8] = (mesh.points[0] + mesh.points[1]) * 0.5;
    mesh.indices.insert(mesh.indices.begin(), {0, 8, 1});
    auto cloud = CloudAround(mesh, 200, 11);
    cloud.push_back(mesh.points[8] * 1.5);
    cloud.push_back({kNaN, 0, 0});
    const Tree::QOFTriangleTree<3, double> tree(mesh.points, mesh.indices);
    const auto expected = Distances(mesh, cloud);
    const auto distances = MeshUtils::SignedDistancesToMesh(tree, mesh.points, mesh.indices, cloud);
    ASSERT_EQ(distances.size(), expected.size());
    for (std::size_t i = 0; i + 1 < cloud.size(); ++i) {
        EXPECT_EQ(distances[i], expected[i]) << i;
    }
    EXPECT_TRUE(std::isnan(distances.back()));
    // Without triangles the distance is 0, as it is there.
    EXPECT_EQ(MeshUtils::SignedDistancesToMesh({}, {}, {}, cloud),
              std::vector<double>(cloud.size(), 0.0));
}

TEST(MeshDistances, OfEmptyThingsAreNeutral)
{
    const std::vector<Vec3d> cloud{{1, 2, 3}, {4, 5, 6}};
    const IndexedMesh cube = Support::Cube();
    IndexedMesh incomplete = cube;
    incomplete.indices.push_back(0);
    const IndexedMesh noPoints{{}, {0, 1, 2}};
    for (const IndexedMesh& empty : {IndexedMesh{}, incomplete, noPoints}) {
        EXPECT_EQ(Distances(empty, cloud), (std::vector<double>{0, 0}));
        EXPECT_EQ(Distances(empty, cloud, true), (std::vector<double>{0, 0}));
        EXPECT_TRUE(Projected(empty, cloud, true).empty());
        EXPECT_TRUE(Projected(empty, cloud, false).empty());
        EXPECT_EQ(Farthest(empty, cube), MeshUtils::HausdorffReport{});
        EXPECT_EQ(Farthest(cube, empty), MeshUtils::HausdorffReport{});
        EXPECT_EQ(MeshUtils::ClipPolyPointStreamAgainstMesh(empty, {cloud, {}}, 1.0),
                  MeshUtils::PolyPointStreamClips(2));
    }
    EXPECT_TRUE(Distances(cube, {}).empty());
    EXPECT_TRUE(Projected(cube, {}, true).empty());
    EXPECT_TRUE(MeshUtils::ClipPolyPointStreamAgainstMesh(cube, {}, 1.0).empty());
}

// --- projection ---------------------------------------------------------------------------------

TEST(ProjectCloudOnMesh, TheNearestPointIsOnTheMeshAtTheDistance)
{
    const IndexedMesh torus = Support::Torus(24, 12);
    const auto cloud = CloudAround(torus, 200, 2);
    const auto places = Projected(torus, cloud, true);
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        EXPECT_NEAR(Support::DistanceToMesh(places[i], torus), 0, 1e-14);
        EXPECT_NEAR(Length(places[i] - cloud[i]), Support::DistanceToMesh(cloud[i], torus), 1e-13);
    }
}

TEST(ProjectCloudOnMesh, TheHighestPlaceWinsAboveThePointAsWellAsBelow)
{
    const IndexedMesh cube = Support::Cube();
    for (const double z : {-5.0, 0.0, 0.5, 1.0, 5.0}) {
        EXPECT_EQ(Projected(cube, {{0.25, 0.75, z}}, false)[0], Vec3d(0.25, 0.75, 1)) << z;
    }
    EXPECT_EQ(
        Projected(Support::Together(Moved(cube, {0, 0, 10}), cube), {{0.3, 0.6, 5}}, false)[0],
        Vec3d(0.3, 0.6, 11));
}

TEST(ProjectCloudOnMesh, BesideTheMeshZIsTheMark)
{
    EXPECT_EQ(Projected(Support::Cube(), {{7, -8, 9}}, false)[0], Vec3d(7, -8, kMissed));
    // A wall is seen edge-on.
    EXPECT_EQ(MeshUtils::ProjectCloudOnMesh({{0, 0, 0}, {1, 0, 0}, {0, 0, 1}}, {0, 1, 2},
                                            {{0.25, 0, 5}}, false)[0],
              Vec3d(0.25, 0, kMissed));
}

TEST(ProjectCloudOnMesh, NoPointFallsThroughEdgesOrCorners)
{
    // A sheet with corners at odd places, also far from the origin; points on its edges, corners,
    // and between.
    Random random(12);
    for (const double far : {0.0, 1e6}) {
        const IndexedMesh sheet = Support::GridMesh<double>(8, 8, [&](int x, int y) {
            const bool isRim = x == 0 || y == 0 || x == 8 || y == 8;
            const double jitter = isRim ? 0 : 0.3 * random.Unit();
            return Vec3d(far + x + jitter, far + y - jitter, random.Unit());
        });
        std::vector<Vec3d> cloud = sheet.points;
        for (std::size_t i = 0; i < sheet.indices.size(); ++i) {
            const Vec3d& a = sheet.points[static_cast<std::size_t>(sheet.indices[i])];
            const Vec3d& b =
                sheet.points[static_cast<std::size_t>(sheet.indices[i / 3 * 3 + (i + 1) % 3])];
            const bool isOnRim = (a[0] == b[0] && (a[0] == far || a[0] == far + 8)) ||
                                 (a[1] == b[1] && (a[1] == far || a[1] == far + 8));
            if (!isOnRim) {
                cloud.push_back(a + (b - a) * random.Unit());
            }
        }
        const auto dropped = Projected(sheet, cloud, false);
        for (std::size_t i = 0; i < cloud.size(); ++i) {
            EXPECT_EQ(dropped[i][0], cloud[i][0]);
            EXPECT_EQ(dropped[i][1], cloud[i][1]);
            EXPECT_NEAR(dropped[i][2], cloud[i][2], 1e-8);
        }
    }
}

TEST(ProjectCloudOnMesh, HeightsAreThoseOfAPlane)
{
    const auto height = [](double x, double y) { return 3 + 0.25 * x - 0.75 * y; };
    const IndexedMesh sheet =
        Support::GridMesh<double>(5, 5, [&](int x, int y) { return Vec3d(x, y, height(x, y)); });
    Random random(1);
    for (int i = 0; i < 200; ++i) {
        const double x = random.Between(0, 5);
        const double y = random.Between(0, 5);
        EXPECT_NEAR(Projected(sheet, {{x, y, random.Between(-9, 9)}}, false)[0][2], height(x, y),
                    1e-13);
    }
}

// --- crossings ----------------------------------------------------------------------------------

TEST(ClipPolyPointStreamAgainstMesh, HitsComeInTheOrderOfThePolyline)
{
    const std::vector<Vec3d> stream{
        {0.25, 0.75, -1}, {0.25, 0.75, 2}, {0.25, 0.6, 2}, {0.25, 0.6, -1}};
    const auto clips = MeshUtils::ClipPolyPointStreamAgainstMesh(Support::Cube(), {stream}, 0)[0];
    ASSERT_EQ(clips.size(), 4U);
    const std::vector<double> parameters{1, 2, 4.15, 5.15};
    const std::vector<double> heights{0, 1, 1, 0};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(clips[i].parameter, parameters[i], 1e-14);
        EXPECT_NEAR(clips[i].point[2], heights[i], 1e-14);
        EXPECT_EQ(clips[i].facet / 2, heights[i] == 0 ? 0 : 1); // two triangles a face
    }
}

TEST(ClipPolyPointStreamAgainstMesh, ASharedEdgeGivesAHitOnEachTriangle)
{
    // The diagonal of the top face; triangles 2 and 3.
    const auto clips = MeshUtils::ClipPolyPointStreamAgainstMesh(
        Support::Cube(), {{{0.5, 0.5, 2}, {0.5, 0.5, 0.5}}}, 0)[0];
    ASSERT_EQ(clips.size(), 2U);
    EXPECT_EQ(clips[0].parameter, clips[1].parameter);
    EXPECT_EQ(clips[0].facet, 2);
    EXPECT_EQ(clips[1].facet, 3);
}

TEST(ClipPolyPointStreamAgainstMesh, APointOfThePolylineOnTheMeshIsAHitOfBothSegments)
{
    const auto clips = MeshUtils::ClipPolyPointStreamAgainstMesh(
        Support::Cube(), {{{0.25, 0.75, 2}, {0.25, 0.75, 1}, {0.5, 0.8, 2}}}, 0)[0];
    ASSERT_EQ(clips.size(), 2U);
    EXPECT_EQ(clips[0], clips[1]);
    EXPECT_EQ(clips[0].parameter, 1.0);
    EXPECT_EQ(clips[0].point, Vec3d(0.25, 0.75, 1));
}

TEST(ClipPolyPointStreamAgainstMesh, OnePointIsMovedToTheMeshWithinTheTolerance)
{
    const IndexedMesh cube = Support::Cube();
    const Vec3d probe{0.25, 0.75, 1.5};
    const auto clip = [&](double tolerance) {
        return MeshUtils::ClipPolyPointStreamAgainstMesh(cube, {{probe}}, tolerance)[0];
    };
    ASSERT_EQ(clip(0.6).size(), 1U);
    EXPECT_EQ(clip(0.6)[0].point, Vec3d(0.25, 0.75, 1));
    EXPECT_EQ(clip(0.6)[0].parameter, 0.0);
    EXPECT_EQ(clip(0.6)[0].facet / 2, 1);
    EXPECT_TRUE(clip(0.4).empty());
    EXPECT_TRUE(clip(kNaN).empty());
    // On the mesh, but there is no room for it.
    EXPECT_TRUE(MeshUtils::ClipPolyPointStreamAgainstMesh(cube, {{{0.25, 0.75, 1}}}, 0)[0].empty());
}

TEST(ClipPolyPointStreamAgainstMesh, ASegmentThatEndsOnTheMeshTouchesItWhateverItsLength)
{
    // Ends on the mesh, an edge or a corner of it, or short of it by less and by more than the
    // tolerance; segments that are short and long beside the mesh.
    const IndexedMesh cube = Support::Cube();
    const std::vector<Vec3d> ends{{0.25, 0.75, 1}, {0.5, 0, 1}, {1, 1, 1}};
    const Vec3d from = Vec3d(0.3, -0.4, 1) / Length(Vec3d(0.3, -0.4, 1));
    for (const Vec3d& end : ends) {
        std::vector<std::size_t> counts;
        for (const double length : {1e-3, 0.1, 1.0, 50.0}) {
            const auto clips = [&](const Vec3d& last) {
                return MeshUtils::ClipPolyPointStreamAgainstMesh(
                    cube, {{end + from * length, last}}, 0)[0];
            };
            counts.push_back(clips(end).size());
            for (const PointStreamClip& clip : clips(end)) {
                EXPECT_NEAR(Length(clip.point - end), 0, 1e-11);
                EXPECT_NEAR(clip.parameter, length, 1e-11 * (1 + length));
            }
            EXPECT_TRUE(clips(end + from * 1e-9).empty());
        }
        EXPECT_GE(counts[0], 1U);
        EXPECT_EQ(counts, std::vector<std::size_t>(4, counts[0]));
    }
}

TEST(ClipPolyPointStreamAgainstMesh, UnusablePointsTakeTheirTwoSegmentsAlong)
{
    const IndexedMesh cube = Support::Cube();
    const std::vector<Vec3d> stream{{kNaN, 0, 0},      {0.25, 0.75, 3},  {0.25, 0.75, 0.5},
                                    {0, kInfinity, 0}, {0.25, 0.6, 0.5}, {0.25, 0.6, 3}};
    const auto clips = MeshUtils::ClipPolyPointStreamAgainstMesh(cube, {stream}, 0)[0];
    ASSERT_EQ(clips.size(), 2U);
    EXPECT_NEAR(clips[0].parameter, 2.0, 1e-14);
    EXPECT_NEAR(clips[1].parameter, 2.5 + 0.15 + 0.5, 1e-14);
    EXPECT_TRUE(MeshUtils::ClipPolyPointStreamAgainstMesh(
                    cube, {{{kNaN, 0, 0}, {kNaN, 0, 0}}, {{kInfinity, 0, 0}}}, kInfinity)[0]
                    .empty());
}

TEST(ClipPolyPointStreamAgainstMesh, LongSegmentsHitWhatTheirShortPiecesHit)
{
    const IndexedMesh torus = Support::Torus(40, 20);
    const std::vector<Vec3d> stream = CloudAround(torus, 40, 31);
    std::vector<Vec3d> fine{stream[0]};
    for (std::size_t i = 1; i < stream.size(); ++i) {
        for (int k = 1; k <= 101; ++k) {
            fine.push_back(stream[i - 1] + (stream[i] - stream[i - 1]) * (k / 101.0));
        }
    }
    const auto clips = MeshUtils::ClipPolyPointStreamAgainstMesh(torus, {stream, fine}, 0);
    ASSERT_EQ(clips[0].size(), clips[1].size());
    EXPECT_GT(clips[0].size(), 20U);
    for (std::size_t i = 0; i < clips[0].size(); ++i) {
        EXPECT_EQ(clips[0][i].facet, clips[1][i].facet);
        EXPECT_NEAR(clips[0][i].parameter, clips[1][i].parameter, 1e-11);
        EXPECT_NEAR(Length(clips[0][i].point - clips[1][i].point), 0, 1e-11);
    }
}

TEST(ClipPolyPointStreamAgainstMesh, CrossingsTurnInsideToOutside)
{
    // A long polyline through a closed body: between two hits it stays on one side, and each hit
    // lies on the body and on its segment.
    const IndexedMesh torus = Support::Torus(20, 10);
    const std::vector<Vec3d> stream = CloudAround(torus, 300, 77);
    const auto clips = MeshUtils::ClipPolyPointStreamAgainstMesh(torus, {stream}, 0)[0];
    std::vector<double> lengths(stream.size(), 0.0);
    for (std::size_t i = 1; i < stream.size(); ++i) {
        lengths[i] = lengths[i - 1] + Length(stream[i] - stream[i - 1]);
    }
    EXPECT_GT(clips.size(), 100U);
    std::size_t next = 0;
    bool isInside = WindingNumber(torus, stream[0]) > 0.5;
    for (std::size_t i = 1; i < stream.size(); ++i) {
        for (; next < clips.size() && clips[next].parameter <= lengths[i]; ++next) {
            const PointStreamClip& clip = clips[next];
            EXPECT_NEAR(Support::DistanceToMesh(clip.point, torus), 0, 1e-13);
            const Vec3d along = (stream[i] - stream[i - 1]) / (lengths[i] - lengths[i - 1]);
            EXPECT_NEAR(
                Length(stream[i - 1] + along * (clip.parameter - lengths[i - 1]) - clip.point), 0,
                1e-9);
            isInside = !isInside;
        }
        ASSERT_EQ(isInside, WindingNumber(torus, stream[i]) > 0.5) << i;
    }
    EXPECT_EQ(next, clips.size());
}

// --- farthest points ----------------------------------------------------------------------------

TEST(HausdorffDistances, OfAMeshWithItselfIsZero)
{
    const IndexedMesh torus = Support::Torus(12, 8);
    EXPECT_EQ(Farthest(torus, torus), MeshUtils::HausdorffReport{});
    EXPECT_EQ(
        MeshUtils::HausdorffDistance(torus.points, torus.indices, torus.points, torus.indices),
        0.0);
}

TEST(HausdorffDistances, TheFirstOfTheFarthestPointsIsTold)
{
    const IndexedMesh small = Support::Octahedron();
    const IndexedMesh large = Moved(small, {}, 3);
    const auto report = Farthest(large, small);
    EXPECT_EQ(report.firstIndex, 0U); // all six are 2 away
    EXPECT_EQ(report.firstDistance, 2.0);
    EXPECT_EQ(report.secondIndex, 0U);
    EXPECT_NEAR(report.secondDistance, 2 / std::sqrt(3.0), 1e-15); // of (1, 0, 0) from x+y+z = 3
    EXPECT_EQ(
        MeshUtils::HausdorffDistance(large.points, large.indices, small.points, small.indices),
        2.0);
    EXPECT_EQ(
        MeshUtils::HausdorffDistance(small.points, small.indices, large.points, large.indices),
        2.0);
}

TEST(HausdorffDistances, PointsOfNoTriangleCountAndPlacesBetweenPointsDoNot)
{
    // A pyramid over a square that has its four corners: the square's middle is far from it.
    const IndexedMesh square{{{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}}, {0, 1, 2, 0, 2, 3}};
    IndexedMesh pyramid = square;
    pyramid.points.push_back({0, 0, 1});
    pyramid.indices = {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4};
    auto report = Farthest(square, pyramid);
    EXPECT_EQ(report.firstDistance, 0.0);
    EXPECT_EQ(report.secondIndex, 4U);
    EXPECT_EQ(report.secondDistance, 1.0);
    IndexedMesh withStray = square;
    withStray.points.push_back({kNaN, 0, 0});
    withStray.points.push_back({0, 0, -4});
    report = Farthest(withStray, pyramid);
    EXPECT_EQ(report.firstIndex, 5U);
    EXPECT_DOUBLE_EQ(report.firstDistance, std::sqrt(17.0)); // the pyramid has no floor: to its rim
}

TEST(HausdorffDistances, AreThoseOfBruteForceOnRealMeshes)
{
    const auto fileA = Support::SharedData("meshes_cad/angle_block.STL");
    const auto fileB = Support::SharedData("meshes_cad/idler_riser.STL");
    SORVANE_NEED_DATA(fileA);
    SORVANE_NEED_DATA(fileB);
    const IndexedMesh a = Support::WeldedStl<double>(fileA);
    const IndexedMesh b = Support::WeldedStl<double>(fileB);
    const auto report = Farthest(a, b);
    const auto farthest = [](const IndexedMesh& from, const IndexedMesh& to) {
        double greatest = 0;
        for (const Vec3d& p : from.points) {
            greatest = std::max(greatest, Support::DistanceToMesh(p, to));
        }
        return greatest;
    };
    EXPECT_NEAR(report.firstDistance, farthest(a, b), 1e-9);
    EXPECT_NEAR(report.secondDistance, farthest(b, a), 1e-9);
    EXPECT_NEAR(Support::DistanceToMesh(a.points[report.firstIndex], b), report.firstDistance,
                1e-9);
}

// --- threads, memory ----------------------------------------------------------------------------

TEST(MeshDistances, AreTheSameBitsForAnyNumberOfThreads)
{
    const IndexedMesh torus = Support::Torus(60, 30);
    const auto cloud = CloudAround(torus, 1500, 21);
    const auto all = [&] {
        std::vector<double> numbers = Distances(torus, cloud);
        for (const bool closest : {true, false}) {
            for (const Vec3d& p : Projected(torus, cloud, closest)) {
                numbers.insert(numbers.end(), p.begin(), p.end());
            }
        }
        const auto clips = MeshUtils::ClipPolyPointStreamAgainstMesh(torus, {cloud}, 0);
        for (const auto& clip : clips[0]) {
            numbers.insert(numbers.end(), clip.point.begin(), clip.point.end());
            numbers.push_back(clip.parameter);
            numbers.push_back(clip.facet);
        }
        return numbers;
    };
    std::vector<double> expected;
    Support::WithThreads(1, [&] { expected = all(); });
    for (const int threads : {2, 4}) {
        Support::WithThreads(threads, [&] {
            const auto numbers = all();
            ASSERT_EQ(numbers.size(), expected.size());
            EXPECT_EQ(
                0, std::memcmp(numbers.data(), expected.data(), numbers.size() * sizeof(double)));
        });
    }
}

TEST(MeshDistances, WithoutMemoryThrowAndLeaveNothingBehind)
{
    IndexedMesh mesh = Support::Octahedron();
    mesh.indices.insert(mesh.indices.begin(), {0, 0, 2}); // a flat one: the second tree
    const std::vector<Vec3d> cloud{{3, 3, 0}, {0.1, 0.2, 0.1}, {2, 0.1, -1}};
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfResult([&] { return Distances(mesh, cloud); }), 3U);
        EXPECT_GT(Support::FailEachAllocationOfResult([&] { return Projected(mesh, cloud, true); }),
                  3U);
        EXPECT_GT(
            Support::FailEachAllocationOfResult([&] { return Projected(mesh, cloud, false); }), 3U);
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return MeshUtils::ClipPolyPointStreamAgainstMesh(mesh, {cloud}, 0); }),
                  3U);
        EXPECT_GT(Support::FailEachAllocationOfResult([&] { return Farthest(mesh, mesh); }), 3U);
    });
}

} // namespace
