// Round holes between two circles.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::DetectDrillHoles;
using Sorvane::MeshUtils::MeshHole;
using Support::IndexedMesh;

std::vector<MeshHole> HolesOf(const IndexedMesh& mesh)
{
    return DetectDrillHoles(mesh, 0.4, 1e-6, 0.8, 0.02);
}

TEST(DetectDrillHoles, HoleThroughARingAndNotItsOutside)
{
    const auto holes = HolesOf(Support::DrilledRing(3, 30, 24));
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].top.radius, 3, 1e-9);
    EXPECT_NEAR(holes[0].bottom.radius, 3, 1e-9);
    EXPECT_NEAR(Length(holes[0].top.center - Vec3d(0, 0, 30)), 0, 1e-9);
    EXPECT_NEAR(Length(holes[0].bottom.center), 0, 1e-9);
    EXPECT_NEAR(holes[0].depth, 30, 1e-9);
}

TEST(DetectDrillHoles, APegWithTheSameCirclesIsNoHole)
{
    EXPECT_TRUE(HolesOf(Support::TurnedBody({{0, 0}, {3, 0}, {3, 30}, {0, 30}}, 24)).empty());
}

TEST(DetectDrillHoles, TheSurfaceTurnedInsideOutMakesAHoleOfAPeg)
{
    IndexedMesh peg = Support::TurnedBody({{0, 0}, {3, 0}, {3, 30}, {0, 30}}, 24);
    for (std::size_t i = 0; i < peg.indices.size(); i += 3) {
        std::swap(peg.indices[i], peg.indices[i + 1]);
    }
    EXPECT_EQ(HolesOf(peg).size(), 1U);
}

TEST(DetectDrillHoles, BlindHoleWithAFlatFloor)
{
    const auto holes =
        HolesOf(Support::TurnedBody({{0, 0}, {10, 0}, {10, 30}, {2, 30}, {2, 12}, {0, 12}}, 24));
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].depth, 18, 1e-9);
    EXPECT_NEAR(holes[0].top.center.z(), 30, 1e-9);
}

TEST(DetectDrillHoles, ConicalHole)
{
    const auto holes = HolesOf(Support::TurnedBody({{2, 0}, {10, 0}, {10, 6}, {5, 6}}, 24));
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].top.radius, 5, 1e-9);
    EXPECT_NEAR(holes[0].bottom.radius, 2, 1e-9);
}

TEST(DetectDrillHoles, TopIsTheCircleOfLargerZWhicheverComesFirst)
{
    // Arcs come by x first: of a leaning hole the lower number is the one with the smaller x.
    for (const double lean : {-0.3, 0.3}) {
        const Vec3d axis(std::sin(lean), 0, std::cos(lean));
        const Vec3d across(std::cos(lean), 0, -std::sin(lean));
        const IndexedMesh mesh =
            Support::Mapped(Support::DrilledRing(3, 30, 24), [&](const Vec3d& p) {
                return p.x() * across + p.y() * Vec3d(0, 1, 0) + p.z() * axis;
            });
        const auto holes = HolesOf(mesh);
        ASSERT_EQ(holes.size(), 1U);
        EXPECT_NEAR(Length(holes[0].top.center - 30 * axis), 0, 1e-9);
        EXPECT_NEAR(Length(holes[0].bottom.center), 0, 1e-9);
    }
}

TEST(DetectDrillHoles, AWallThatSlantsMoreThanTheAxisToleranceIsNoHole)
{
    // The upper circle moved sideways: both stay level, and the axis between them leans.
    for (const auto& [lean, isHole] : {std::pair{0.019, true}, {0.021, false}, {0.2, false}}) {
        const IndexedMesh mesh =
            Support::Mapped(Support::DrilledRing(3, 30, 24), [lean = lean](const Vec3d& p) {
                return Vec3d(p.x() + std::tan(lean) * p.z(), p.y(), p.z());
            });
        EXPECT_EQ(HolesOf(mesh).size(), isHole ? 1U : 0U) << lean;
    }
}

TEST(DetectDrillHoles, WithoutAWallThereIsNoHole)
{
    // Two thin plates with a hole each, in line: each hole by itself, and nothing between them.
    IndexedMesh plates = Support::DrilledRing(3, 2, 24);
    plates = Support::Together(
        plates, Support::Mapped(plates, [](const Vec3d& p) { return p + Vec3d(0, 0, 40); }));
    auto holes = HolesOf(plates);
    ASSERT_EQ(holes.size(), 2U);
    EXPECT_NEAR(holes[0].depth, 2, 1e-9);
    EXPECT_NEAR(holes[1].depth, 2, 1e-9);
}

TEST(DetectDrillHoles, BestIsASquaredDistanceComparedWithDistances)
{
    // A counterbore of depth d over a hole down to 2.2 d. From the floor the first circle above is
    // the shoulder, at 1.2 d; the mouth, at 2.2 d, is looked at as well while 2.2 d <= (1.2 d)^2,
    // which is from d = 1.53 on. All points of the cone from floor to mouth then find a wall that
    // faces the axis.
    const auto deepest = [](double d) {
        double depth = 0;
        for (const MeshHole& hole : HolesOf(Support::TurnedBody(
                 {{2, 0}, {10, 0}, {10, 2.2 * d}, {2.5, 2.2 * d}, {2.5, 1.2 * d}, {2, 1.2 * d}},
                 24))) {
            depth = std::max(depth, hole.depth / d);
        }
        return depth;
    };
    EXPECT_NEAR(deepest(1.0), 1.2, 1e-9);
    EXPECT_NEAR(deepest(5.0), 2.2, 1e-9);
}

TEST(DetectDrillHoles, DefectiveTriplesCostNoHole)
{
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    const auto expected = HolesOf(ring);
    ASSERT_EQ(expected.size(), 1U);
    IndexedMesh mesh = ring;
    // Repeated corners at the rims and up the wall: such a triangle has no normal, and would be the
    // nearest one of a point on its edge.
    for (int k = 0; k < 16; ++k) {
        const std::vector<int> triples{k, (k + 1) % 16, k, k, 48 + k, 48 + k};
        mesh.indices.insert(mesh.indices.begin(), triples.begin(), triples.end());
    }
    EXPECT_EQ(HolesOf(mesh), expected);
}

TEST(DetectDrillHoles, TrianglesWithoutAreaCostNoHole)
{
    // Slivers of three different points, on the wall, drawn twice so that their edges stay inner
    // ones.
    IndexedMesh mesh = Support::DrilledRing(3, 30, 16);
    const auto expected = HolesOf(mesh);
    ASSERT_EQ(expected.size(), 1U);
    std::vector<int> slivers;
    for (int k = 0; k < 16; ++k) {
        const Vec3d low = mesh.points[static_cast<std::size_t>(k)];
        const Vec3d high = mesh.points[static_cast<std::size_t>(48 + k)];
        const Vec3d next = mesh.points[static_cast<std::size_t>((k + 1) % 16)];
        const Vec3d middle = (high + next) / 2.0; // on the diagonal of the wall's quad
        const int first = static_cast<int>(mesh.points.size());
        mesh.points.insert(mesh.points.end(), {low + (high - low) / 4.0, low + (high - low) / 2.0,
                                               low + 0.75 * (high - low), middle});
        slivers.insert(slivers.end(), {first, first + 1, first + 2});
    }
    mesh.indices.insert(mesh.indices.begin(), slivers.begin(), slivers.end());
    const auto holes = HolesOf(mesh);
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_EQ(holes[0], expected[0]);
}

TEST(DetectDrillHoles, ABodyThatTouchesTheRimInAPointCostsNoHole)
{
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    const IndexedMesh peg =
        Support::Mapped(Support::TurnedBody({{0, 0}, {1, 0}, {1, 5}, {0, 5}}, 16),
                        [](const Vec3d& p) { return p + Vec3d(2, 0, 30); });
    IndexedMesh both = Support::Together(peg, ring);
    Sorvane::Mesh::FilterForUniqueness(both, 1e-9);
    const auto holes = HolesOf(both);
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].depth, 30, 1e-9);
}

TEST(DetectDrillHoles, ManyHolesAtAllScales)
{
    for (const double scale : {1e-3, 1.0, 1e4}) {
        IndexedMesh bodies;
        for (int i = 0; i < 12; ++i) {
            bodies = Support::Together(
                bodies,
                Support::Mapped(Support::DrilledRing(1 + 0.5 * i, 12, 16), [&](const Vec3d& p) {
                    return scale * (p + Vec3d(25.0 * (i % 4), 25.0 * (i / 4), 3.0 * i));
                }));
        }
        const auto holes = DetectDrillHoles(bodies, 0.4, 1e-6 * scale, 0.8, 0.02);
        ASSERT_EQ(holes.size(), 12U) << scale;
        for (const MeshHole& hole : holes) {
            EXPECT_NEAR(hole.depth, 12 * scale, 1e-6 * scale);
            EXPECT_LT(hole.top.radius, 7 * scale);
        }
    }
}

TEST(DetectDrillHoles, NothingForNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    EXPECT_TRUE(HolesOf({}).empty());
    EXPECT_TRUE(HolesOf(Support::Cube()).empty()); // no arcs at all
    EXPECT_TRUE(DetectDrillHoles(ring, 0.4, 1e-6, 0.8, nan).empty());
    EXPECT_TRUE(DetectDrillHoles(ring, 0.4, nan, 0.8, 0.02).empty());
    EXPECT_TRUE(DetectDrillHoles(ring, 0.4, 1e-6, 0.8, -1).empty());
}

TEST(DetectDrillHoles, NonFiniteAndRandomInputEnds)
{
    IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    ring.points[0][2] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(HolesOf(ring).empty()); // a rim of the only hole
    Support::Random random(77);
    for (int round = 0; round < 40; ++round) {
        const IndexedMesh mesh = Support::GarbageMesh<3, double>(random, 14, 50);
        for (const MeshHole& hole : DetectDrillHoles(mesh, 0.2, 10, 0, 1)) {
            EXPECT_TRUE(std::isfinite(hole.depth));
        }
    }
}

TEST(DetectDrillHoles, NumberOfThreadsDoesNotMatter)
{
    IndexedMesh bodies;
    for (int i = 0; i < 30; ++i) {
        bodies = Support::Together(
            bodies, Support::Mapped(Support::DrilledRing(2, 5 + i, 16),
                                    [i](const Vec3d& p) { return p + Vec3d(30.0 * i, 0, 0); }));
    }
    std::vector<std::vector<MeshHole>> results;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] { results.push_back(HolesOf(bodies)); });
    }
    EXPECT_EQ(results[0].size(), 30U);
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

} // namespace
