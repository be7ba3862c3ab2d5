// Curvatures at nodes against surfaces of known curvature.

#include <Sorvane/Curvature_E.h>

#include "tests/support/CurvedSheets.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::MeshUtils;
using Support::IndexedMesh;

constexpr double kTolerance = 1e-12;

bool IsZero(const DiscreteCurvatures& c) { return c == DiscreteCurvatures{}; }

// --- one node -----------------------------------------------------------------------------------

TEST(DiscreteCurvatures, NodeOnAPlaneIsFlat)
{
    const std::vector<Vec3d> ring{{1, 0, 0},  {1, 1, 0},   {0, 1, 0},
                                  {-1, 0, 0}, {-1, -1, 0}, {0, -1, 0}};
    const DiscreteCurvatures flat = DiscreteCurvaturesAtNode(Vec3d{}, ring, kTolerance);
    EXPECT_NEAR(flat.maxCurvature, 0, 1e-15);
    EXPECT_NEAR(flat.minCurvature, 0, 1e-15);
    EXPECT_EQ(flat.meanCurvatureNormal, Vec3d{});
    EXPECT_EQ(flat.normal, Vec3d(0, 0, 1));
    EXPECT_NEAR(flat.area, 1, 1e-15); // a third of six triangles of area 1/2
}

TEST(DiscreteCurvatures, FlatRingsOfAnyShapeAndTiltAreFlat)
{
    Support::Random random(5);
    for (int round = 0; round < 100; ++round) {
        const Vec3d along = Normalized(random.Vector<3, double>(-1, 1), 1e-12);
        const Vec3d across = Normalized(along ^ random.Vector<3, double>(-1, 1), 1e-12);
        const Vec3d node = random.Vector<3, double>(-5, 5);
        std::vector<Vec3d> ring;
        const int valence = 3 + random.Below(7);
        for (int i = 0; i < valence; ++i) {
            const double angle = kTwoPi<double> * (i + random.Between(0, 0.4)) / valence;
            const double radius = random.Between(0.5, 2);
            ring.push_back(node + radius * (std::cos(angle) * along + std::sin(angle) * across));
        }
        const DiscreteCurvatures flat = DiscreteCurvaturesAtNode(node, ring, kTolerance);
        EXPECT_NEAR(flat.maxCurvature, 0, 1e-6);
        EXPECT_NEAR(flat.maxCurvature * flat.minCurvature, 0, 1e-12);
        EXPECT_NEAR(Length(flat.normal - (along ^ across)), 0, 1e-12);
    }
}

TEST(DiscreteCurvatures, RingPointsInOnePlaceCountOnce)
{
    // A ring with one of its points, or all of them, named again, and again: the surface round the
    // node is the same, so its curvatures are.
    Support::Random random(6);
    for (int round = 0; round < 40; ++round) {
        const Vec3d node = random.Vector<3, double>(-5, 5);
        std::vector<Vec3d> ring;
        std::vector<Vec3d> doubled;
        const int valence = 3 + random.Below(6);
        for (int i = 0; i < valence; ++i) {
            const double angle = kTwoPi<double> * (i + random.Between(0, 0.4)) / valence;
            const double height = round < 20 ? 0 : random.Between(-0.5, 0.5);
            ring.push_back(node + Vec3d(std::cos(angle), std::sin(angle), height));
            doubled.insert(doubled.end(), static_cast<std::size_t>(1 + random.Below(3)),
                           ring.back());
        }
        doubled.push_back(ring.back());
        for (const auto& curvaturesOf :
             {DiscreteCurvaturesAtNode, DiscreteCurvaturesAtBoundaryNode}) {
            const DiscreteCurvatures once = curvaturesOf(node, ring, kTolerance);
            const DiscreteCurvatures twice = curvaturesOf(node, doubled, kTolerance);
            EXPECT_NEAR(once.maxCurvature, twice.maxCurvature, 1e-12) << round;
            EXPECT_NEAR(once.minCurvature, twice.minCurvature, 1e-12) << round;
            EXPECT_NEAR(once.area, twice.area, 1e-14) << round;
            EXPECT_NEAR(Length(once.normal - twice.normal), 0, 1e-14) << round;
            EXPECT_NEAR(Length(once.meanCurvatureNormal - twice.meanCurvatureNormal), 0, 1e-12);
        }
        if (round < 20) {
            EXPECT_NEAR(DiscreteCurvaturesAtNode(node, doubled, kTolerance).maxCurvature, 0, 1e-6);
        }
    }
}

TEST(DiscreteCurvatures, AFlatMeshWithPointsInOnePlaceIsFlat)
{
    // One point of a sheet moved onto its neighbor: the two triangles on the edge between them have
    // no area any more, and all others still cover the sheet once.
    const auto isMoved = [](int x, int y) { return x == 4 && y == 3; };
    const Support::IndexedMesh sheet = Support::GridMesh<double>(
        7, 6, [&](int x, int y) { return Vec3d(isMoved(x, y) ? 3 : x, y, 0); });
    const auto curvatures = DiscreteCurvaturesAtNodes(sheet, kTolerance);
    for (int y = 1; y < 6; ++y) {
        for (int x = 1; x < 7; ++x) {
            if (y == 3 && (x == 3 || x == 4)) {
                continue; // of the two the neighbors in one direction are the other's
            }
            const DiscreteCurvatures& c = curvatures[static_cast<std::size_t>(8 * y + x)];
            EXPECT_NEAR(c.maxCurvature, 0, 1e-7) << x << ' ' << y;
            EXPECT_NEAR(c.minCurvature, 0, 1e-7) << x << ' ' << y;
        }
    }
}

TEST(DiscreteCurvatures, TopOfAnOctahedron)
{
    // Four equilateral triangles of edge sqrt 2: a third of each area is the node's, the missing
    // angle is a third of a turn, and the points lie on the unit sphere, so H is 1.
    const std::vector<Vec3d> ring{{1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}};
    const DiscreteCurvatures top = DiscreteCurvaturesAtNode(Vec3d(0, 0, 1), ring, kTolerance);
    EXPECT_NEAR(top.area, 2 / std::sqrt(3.0), 1e-14);
    // K = (2 pi / 3) / area is greater than H^2: both curvatures are H.
    EXPECT_NEAR(top.maxCurvature, 1, 1e-14);
    EXPECT_EQ(top.minCurvature, top.maxCurvature);
    EXPECT_NEAR(Length(top.normal - Vec3d(0, 0, 1)), 0, 1e-14);
    EXPECT_NEAR(Length(top.meanCurvatureNormal - Vec3d(0, 0, 1)), 0, 1e-14);
}

TEST(DiscreteCurvatures, RidgeOfARoofBendsInOneDirection)
{
    // Two planes that meet at a right angle along y: the curvature is all in the other direction.
    const std::vector<Vec3d> ring{{1, -1, -1}, {1, 1, -1},   {0, 1, 0},
                                  {-1, 1, -1}, {-1, -1, -1}, {0, -1, 0}};
    const DiscreteCurvatures ridge = DiscreteCurvaturesAtNode(Vec3d{}, ring, kTolerance);
    EXPECT_GT(ridge.maxCurvature, 0.1);
    EXPECT_NEAR(ridge.minCurvature, 0, 1e-14);
    EXPECT_NEAR(Length(ridge.meanCurvatureNormal - Vec3d(0, 0, 1)), 0, 1e-14);
}

TEST(DiscreteCurvatures, MeanCurvatureNormalIsTurnedToTheSideOfTheNormal)
{
    // A cup opened upward: the surface bends away downward, its normal points up all the same.
    std::vector<Vec3d> ring{{1, 0, 1}, {0, 1, 1}, {-1, 0, 1}, {0, -1, 1}};
    const DiscreteCurvatures cup = DiscreteCurvaturesAtNode(Vec3d{}, ring, kTolerance);
    EXPECT_NEAR(Length(cup.normal - Vec3d(0, 0, 1)), 0, 1e-14);
    EXPECT_NEAR(Length(cup.meanCurvatureNormal - Vec3d(0, 0, 1)), 0, 1e-14);
    std::reverse(ring.begin(), ring.end());
    const DiscreteCurvatures turned = DiscreteCurvaturesAtNode(Vec3d{}, ring, kTolerance);
    EXPECT_NEAR(Length(turned.normal + Vec3d(0, 0, 1)), 0, 1e-14);
    EXPECT_NEAR(Length(turned.meanCurvatureNormal + Vec3d(0, 0, 1)), 0, 1e-14);
    EXPECT_NEAR(turned.maxCurvature, cup.maxCurvature, 1e-14);
}

TEST(DiscreteCurvatures, RingWhoseAreaIsBelowTheToleranceGivesAllZero)
{
    const std::vector<Vec3d> ring{{0.1, 0, 0}, {0, 0.1, 0}, {-0.1, 0, 0}, {0, -0.1, 0}};
    const Vec3d node(0, 0, 0.05);
    const double area = DiscreteCurvaturesAtNode(node, ring, kTolerance).area;
    EXPECT_GT(area, 0);
    EXPECT_TRUE(IsZero(DiscreteCurvaturesAtNode(node, ring, 1.01 * area)));
    EXPECT_FALSE(IsZero(DiscreteCurvaturesAtNode(node, ring, 0.99 * area)));
    EXPECT_TRUE(IsZero(DiscreteCurvaturesAtBoundaryNode(node, ring, 1.01 * area)));
}

TEST(DiscreteCurvatures, ShortAndDegenerateRings)
{
    const Vec3d a(1, 0, 0);
    const Vec3d b(0, 1, 0);
    for (const double tolerance : {0.0, 1e-12, -1.0}) {
        for (const auto& ring : {std::vector<Vec3d>{}, std::vector<Vec3d>{a},
                                 std::vector<Vec3d>{a, a, a}, std::vector<Vec3d>(4)}) {
            EXPECT_TRUE(IsZero(DiscreteCurvaturesAtNode(Vec3d{}, ring, tolerance)));
            EXPECT_TRUE(IsZero(DiscreteCurvaturesAtBoundaryNode(Vec3d{}, ring, tolerance)));
        }
    }
    // One triangle for an open ring of two, the same from both sides for a closed one.
    EXPECT_NEAR(DiscreteCurvaturesAtBoundaryNode(Vec3d{}, {a, b}, kTolerance).area, 0.25, 1e-15);
    const DiscreteCurvatures twice = DiscreteCurvaturesAtNode(Vec3d{}, {a, b}, kTolerance);
    EXPECT_NEAR(twice.area, 0.5, 1e-15);
    EXPECT_EQ(twice.normal, Vec3d{});
    EXPECT_EQ(twice.meanCurvatureNormal, Vec3d{});
}

TEST(DiscreteCurvatures, NormalIsWeightedByTheSharesOfTheArea)
{
    // Right angles at the node: half of the areas 1 and 3 is its own.
    const DiscreteCurvatures corner =
        DiscreteCurvaturesAtBoundaryNode(Vec3d{}, {{1, 0, 0}, {0, 2, 0}, {0, 0, 3}}, kTolerance);
    EXPECT_NEAR(corner.area, 2, 1e-14);
    EXPECT_NEAR(Length(corner.normal - Vec3d(3, 0, 1) / std::sqrt(10.0)), 0, 1e-14);
}

TEST(DiscreteCurvatures, TinyTrianglesAreSharedAsLargeOnesAre)
{
    // The top of an octahedron of edge 1e-7: a third of each area is the node's, as of a large one.
    const double tiny = 1e-7;
    const std::vector<Vec3d> ring{{tiny, 0, 0}, {0, tiny, 0}, {-tiny, 0, 0}, {0, -tiny, 0}};
    const DiscreteCurvatures top = DiscreteCurvaturesAtNode(Vec3d(0, 0, tiny), ring, 1e-30);
    EXPECT_NEAR(top.area / (tiny * tiny), 2 / std::sqrt(3.0), 1e-9);
}

TEST(DiscreteCurvatures, FlatBoundaryNodeHasAMeanCurvature)
{
    const DiscreteCurvatures edge =
        DiscreteCurvaturesAtBoundaryNode(Vec3d{}, {{1, 0, 0}, {0, 1, 0}, {-1, 0, 0}}, kTolerance);
    EXPECT_NEAR(edge.maxCurvature, 2, 1e-14);
    EXPECT_NEAR(edge.minCurvature, 0, 1e-14);
    EXPECT_EQ(edge.meanCurvatureNormal, Vec3d{}); // it lies in the plane, square to the normal
    EXPECT_EQ(edge.normal, Vec3d(0, 0, 1));
    EXPECT_NEAR(edge.area, 0.5, 1e-15);
}

TEST(DiscreteCurvatures, NonFiniteCoordinatesShow)
{
    for (const double value :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        const std::vector<Vec3d> ring{{1, 0, 0}, {0, 1, 0}, {-1, 0, value}, {0, -1, 0}};
        const DiscreteCurvatures bad = DiscreteCurvaturesAtNode(Vec3d{}, ring, kTolerance);
        EXPECT_FALSE(std::isfinite(bad.area)) << value;
        EXPECT_TRUE(std::isnan(bad.maxCurvature)) << value;
        EXPECT_TRUE(std::isnan(bad.minCurvature)) << value;
    }
}

TEST(DiscreteCurvatures, FarFromTheOriginNothingIsLost)
{
    // Eighths are exact at 1e6 too.
    const Vec3d far(1e6, -1e6, 1e6);
    const std::vector<Vec3d> ring{
        {1, 0.125, 0.25}, {0.25, 1.5, -0.5}, {-1, 0.5, 0}, {-0.5, -2, 1}, {0.75, -0.5, 0.125}};
    std::vector<Vec3d> farRing;
    for (const Vec3d& p : ring) {
        farRing.push_back(p + far);
    }
    EXPECT_EQ(DiscreteCurvaturesAtNode(far, farRing, kTolerance),
              DiscreteCurvaturesAtNode(Vec3d{}, ring, kTolerance));
}

// --- whole meshes -------------------------------------------------------------------------------

TEST(DiscreteCurvatures, EmptyMeshGivesNothing)
{
    EXPECT_TRUE(DiscreteCurvaturesAtNodes({}, kTolerance).empty());
    EXPECT_TRUE(DiscreteCurvaturesAtNodes({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {}}, 0).empty());
}

TEST(DiscreteCurvatures, UnitSphere)
{
    // With points on a sphere and acute triangles H is 1 but for the tangential part of the sum.
    const IndexedMesh sphere = Support::Sphere(5);
    const auto curvatures = DiscreteCurvaturesAtNodes(sphere, kTolerance);
    ASSERT_EQ(curvatures.size(), sphere.points.size());
    double area = 0;
    for (std::size_t i = 0; i < curvatures.size(); ++i) {
        const DiscreteCurvatures& c = curvatures[i];
        EXPECT_NEAR((c.maxCurvature + c.minCurvature) / 2, 1, 1e-3);
        EXPECT_NEAR(c.maxCurvature, 1, 0.15);
        EXPECT_NEAR(c.minCurvature, 1, 0.15);
        EXPECT_NEAR(Length(c.normal - sphere.points[i]), 0, 2e-2);
        EXPECT_NEAR(Length(c.meanCurvatureNormal - sphere.points[i]), 0, 2e-2);
        area += c.area;
    }
    EXPECT_NEAR(area, 4 * kPi<double>, 0.01);
}

TEST(DiscreteCurvatures, AnglesOfAClosedMeshSumToItsEulerNumber)
{
    // Gauss and Bonnet: the sum of K times area is 2 pi times the Euler number. K is the product of
    // both curvatures wherever they differ; the torus of saddles and a bumpy body have such nodes.
    const auto total = [](const IndexedMesh& mesh) {
        double sum = 0;
        for (const DiscreteCurvatures& c : DiscreteCurvaturesAtNodes(mesh, kTolerance)) {
            EXPECT_GT(c.maxCurvature, c.minCurvature);
            sum += c.maxCurvature * c.minCurvature * c.area;
        }
        return sum;
    };
    EXPECT_NEAR(total(Support::Torus(40, 30)), 0, 1e-10);
}

TEST(DiscreteCurvatures, MixedAreasTileTheMesh)
{
    const IndexedMesh sheet = Support::WavySheet<double>(800);
    double area = 0;
    for (std::size_t i = 0; i < sheet.indices.size(); i += 3) {
        const Vec3d& a = sheet.points[static_cast<std::size_t>(sheet.indices[i])];
        const Vec3d& b = sheet.points[static_cast<std::size_t>(sheet.indices[i + 1])];
        const Vec3d& c = sheet.points[static_cast<std::size_t>(sheet.indices[i + 2])];
        area += Length((b - a) ^ (c - a)) / 2;
    }
    double shares = 0;
    int corners = 0;
    for (const DiscreteCurvatures& c : DiscreteCurvaturesAtNodes(sheet, kTolerance)) {
        shares += c.area;
        corners += c.area == 0 ? 1 : 0;
    }
    EXPECT_EQ(corners, 2); // those with one triangle each, whose shares are missing from the sum
    EXPECT_LT(shares, area);
    EXPECT_NEAR(shares, area, 2 * 0.01);
}

TEST(DiscreteCurvatures, EveryNodeOfAStraightBoundaryIsMeasuredFromEndToEnd)
{
    // If the gap of such a node were taken for a triangle and a real one left out, K would not be 0
    // and the area not one half.
    for (const int cells : {2, 4, 7}) {
        const IndexedMesh sheet = Support::Grid(cells, cells);
        const auto curvatures = DiscreteCurvaturesAtNodes(sheet, kTolerance);
        for (int y = 0; y <= cells; ++y) {
            for (int x = 0; x <= cells; ++x) {
                const auto node = static_cast<std::size_t>(y * (cells + 1) + x);
                const DiscreteCurvatures& c = curvatures[node];
                const bool onX = x == 0 || x == cells;
                const bool onY = y == 0 || y == cells;
                if (onX && onY) {
                    continue;
                }
                EXPECT_NEAR(c.area, onX || onY ? 0.5 : 1, 1e-14) << x << ' ' << y;
                EXPECT_NEAR(c.minCurvature, 0, 1e-14) << x << ' ' << y;
                // The two edges along the boundary weigh 1/2 each, and cancel; the one edge that
                // leads inward weighs 1 (and the diagonal 0): 2 H = 1 / (2 * 1/2) * 2.
                EXPECT_NEAR(c.maxCurvature, onX || onY ? 2 : 0, 1e-14) << x << ' ' << y;
                EXPECT_NEAR(Length(c.normal - Vec3d(0, 0, 1)), 0, 1e-14);
            }
        }
    }
}

TEST(DiscreteCurvatures, OrderOfTrianglesAndPointsDoesNotMatter)
{
    Support::Random random(11);
    const IndexedMesh sheet = Support::WavySheet<double>(300);
    const IndexedMesh shuffled = Support::Shuffled(sheet, random);
    const auto key = [](const Vec3d& p) { return std::array<double, 2>{p.x(), p.y()}; };
    std::map<std::array<double, 2>, DiscreteCurvatures> expected;
    const auto original = DiscreteCurvaturesAtNodes(sheet, kTolerance);
    for (std::size_t i = 0; i < original.size(); ++i) {
        expected[key(sheet.points[i])] = original[i];
    }
    const auto again = DiscreteCurvaturesAtNodes(shuffled, kTolerance);
    for (std::size_t i = 0; i < again.size(); ++i) {
        const DiscreteCurvatures& e = expected.at(key(shuffled.points[i]));
        EXPECT_NEAR(again[i].maxCurvature, e.maxCurvature, 1e-9);
        EXPECT_NEAR(again[i].minCurvature, e.minCurvature, 1e-9);
        EXPECT_NEAR(again[i].area, e.area, 1e-14);
        EXPECT_NEAR(Length(again[i].normal - e.normal), 0, 1e-12);
    }
}

TEST(DiscreteCurvatures, DefectiveTriplesChangeNothing)
{
    IndexedMesh sheet = Support::WavySheet<double>(200);
    const auto expected = DiscreteCurvaturesAtNodes(sheet, kTolerance);
    sheet.indices.insert(sheet.indices.end(),
                         {30, 30, 31, 5, 6, 5, 12, 12, 12, -1, 3, 4, 3, 4, 1000000, 0, 1, 13});
    EXPECT_EQ(DiscreteCurvaturesAtNodes(sheet, kTolerance), expected);
}

TEST(DiscreteCurvatures, PointsWithoutSurfaceAreZero)
{
    IndexedMesh sheet = Support::Grid(3, 3);
    sheet.points.push_back({7, 7, 7});
    const auto curvatures = DiscreteCurvaturesAtNodes(sheet, kTolerance);
    ASSERT_EQ(curvatures.size(), 17U);
    EXPECT_TRUE(IsZero(curvatures.back()));
    EXPECT_TRUE(IsZero(curvatures[3]));   // one triangle
    EXPECT_FALSE(IsZero(curvatures[15])); // two triangles, three neighbors
}

TEST(DiscreteCurvatures, WhereTwoFansMeetOneOfThemCounts)
{
    // Two pyramids tip to tip, once open and once with their bases closed.
    for (const bool isClosed : {false, true}) {
        IndexedMesh hourglass;
        hourglass.points = {{0, 0, 0},  {1, 0, 1},  {0, 1, 1},   {-1, 0, 1}, {0, -1, 1},
                            {1, 0, -1}, {0, 1, -1}, {-1, 0, -1}, {0, -1, -1}};
        hourglass.indices = {0, 1, 2, 0, 2, 3, 0, 3, 4};
        hourglass.indices.insert(hourglass.indices.end(), {0, 6, 5, 0, 7, 6, 0, 8, 7});
        if (isClosed) {
            hourglass.indices.insert(hourglass.indices.end(), {0, 4, 1, 0, 5, 8});
        }
        const auto tip = DiscreteCurvaturesAtNodes(hourglass, kTolerance).front();
        std::vector<Vec3d> ring(hourglass.points.begin() + 1, hourglass.points.begin() + 5);
        const auto up = isClosed ? DiscreteCurvaturesAtNode(Vec3d{}, ring, kTolerance)
                                 : DiscreteCurvaturesAtBoundaryNode(Vec3d{}, ring, kTolerance);
        EXPECT_NEAR(tip.maxCurvature, up.maxCurvature, 1e-14);
        EXPECT_NEAR(tip.minCurvature, up.minCurvature, 1e-14);
        EXPECT_NEAR(tip.area, up.area, 1e-14);
        EXPECT_NEAR(std::fabs(tip.normal * up.normal), 1, 1e-14);
    }
}

TEST(DiscreteCurvatures, RandomGarbageEnds)
{
    Support::Random random(23);
    for (int round = 0; round < 50; ++round) {
        const IndexedMesh mesh = Support::GarbageMesh<3, double>(random, 12, 60);
        EXPECT_EQ(DiscreteCurvaturesAtNodes(mesh, kTolerance).size(), mesh.points.size());
    }
}

TEST(DiscreteCurvatures, NumberOfThreadsDoesNotMatter)
{
    const IndexedMesh sheet = Support::WavySheet<double>(20000);
    std::vector<std::vector<DiscreteCurvatures>> results;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(
            threads, [&] { results.push_back(DiscreteCurvaturesAtNodes(sheet, kTolerance)); });
    }
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

// --- convergence --------------------------------------------------------------------------------

struct Errors {
    double gaussian = 0;
    double mean = 0;
    double largest = 0; // of the two principal curvatures
};

/// Curvatures so far apart that they can be told apart on the coarser sheet.
constexpr double kApart = 0.05;

/// Largest errors over the nodes of the middle of a sheet, the same piece however fine it is; of
/// the principal curvatures only where these are `kApart`.
Errors ErrorsOn(const Support::CurvedSheet& sheet, int cells)
{
    const auto parameters = Support::SheetParameters(cells, 0);
    const auto curvatures =
        DiscreteCurvaturesAtNodes(Support::SheetMesh(sheet, cells, parameters), kTolerance);
    Errors errors;
    for (int y = cells / 4; y <= 3 * cells / 4; ++y) {
        for (int x = cells / 4; x <= 3 * cells / 4; ++x) {
            const auto node = static_cast<std::size_t>(y * (cells + 1) + x);
            const auto [u, v] = parameters[node];
            const DiscreteCurvatures& c = curvatures[node];
            const double mean = sheet.meanAt(u, v);
            const double gaussian = sheet.gaussianAt(u, v);
            const double spread = std::sqrt(std::max(0.0, mean * mean - gaussian));
            errors.mean =
                std::max(errors.mean, std::fabs((c.maxCurvature + c.minCurvature) / 2 - mean));
            errors.gaussian =
                std::max(errors.gaussian, std::fabs(c.maxCurvature * c.minCurvature - gaussian));
            if (spread < kApart) {
                continue;
            }
            errors.largest = std::max({errors.largest, std::fabs(c.maxCurvature - mean - spread),
                                       std::fabs(c.minCurvature - mean + spread)});
        }
    }
    return errors;
}

class CurvatureConvergence : public testing::TestWithParam<int> {};

// On a regular grid the sums are symmetric about the node but for terms of the second order, so
// halving the edges divides the error by four. Where both principal curvatures are the same the
// root of H^2 - K takes half of that order away, in the principal curvatures only: the sphere has
// none that are apart.
TEST_P(CurvatureConvergence, IsOfSecondOrderOnARegularGrid)
{
    const Support::CurvedSheet sheet =
        Support::CurvedSheets()[static_cast<std::size_t>(GetParam())];
    const Errors coarse = ErrorsOn(sheet, 32);
    const Errors fine = ErrorsOn(sheet, 64);
    const auto isOfSecondOrder = [](double before, double after) {
        return after < 1e-10 || std::log2(before / after) > 1.8; // exact is better
    };
    EXPECT_PRED2(isOfSecondOrder, coarse.mean, fine.mean) << sheet.name;
    EXPECT_PRED2(isOfSecondOrder, coarse.gaussian, fine.gaussian) << sheet.name;
    EXPECT_PRED2(isOfSecondOrder, coarse.largest, fine.largest) << sheet.name;
    EXPECT_LT(fine.mean, 2e-3) << sheet.name;
    EXPECT_LT(fine.gaussian, 4e-3) << sheet.name;
}

INSTANTIATE_TEST_SUITE_P(Sheets, CurvatureConvergence, testing::Range(0, 6));

} // namespace
