// The tracer as a host sees it: where a straightest line starts and ends, and that imprints are
// those of MeshImprint. The walk itself is tested with StraightestPath.

#include "tests/imprint/ImprintChecks.h"

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TurnedBodies.h"

#include <Sorvane/MeshImprint_E.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::IndexedMesh;
using Support::LengthOfPath;
using Support::Path;
using Support::Random;
using Velk::Math::Sorvane::Mesh::MeshImprint;
using Velk::Math::Sorvane::Mesh::MeshTracer;
using Words = std::vector<unsigned long long>;

constexpr double kTolerance = 1e-9;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

void ExpectNear(const Vec3d& a, const Vec3d& b, double tolerance)
{
    EXPECT_LE(Vector::Length(a - b), tolerance) << a << " and " << b;
}

TEST(MeshTracer, LengthZeroGivesTheStartOnly)
{
    MeshTracer tracer(Support::Grid(4, 4), kTolerance);
    EXPECT_EQ(tracer.CollectPath({1.3, 1.2, 0}, {1, 0, 0}, 0.0), (Path{{1.3, 1.2, 0}}));
}

TEST(MeshTracer, LengthsThatAreNoLengthsGiveNothing)
{
    MeshTracer tracer(Support::Grid(4, 4), kTolerance);
    for (const double length : {-1.0, -0.1, kNan, kInfinity, -kInfinity}) {
        EXPECT_TRUE(tracer.CollectPath({1.3, 1.2, 0}, {1, 0, 0}, length).empty()) << length;
    }
}

TEST(MeshTracer, FromTheMiddleOfASquareALineEndsAtTheBorder)
{
    // Two triangles: the middle is on their common edge.
    MeshTracer tracer({{{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}}, {0, 1, 2, 0, 2, 3}},
                      kTolerance);
    for (int degrees = 0; degrees < 360; degrees += 3) {
        const double angle = degrees * kRadiansPerDegree;
        const Vec3d direction(std::cos(angle), std::sin(angle), 0);
        const Path line = tracer.CollectPath({1, 1, 0}, direction, 100.0);
        // By hand: the ray from the middle to the square of half edge 1.
        const double reach = 1 / std::max(std::fabs(direction.x()), std::fabs(direction.y()));
        ASSERT_GE(line.size(), 2U) << degrees;
        ExpectNear(line.back(), Vec3d(1, 1, 0) + direction * reach, 1e-14);
        const Path part = tracer.CollectPath({1, 1, 0}, direction, 0.75);
        ExpectNear(part.back(), Vec3d(1, 1, 0) + direction * 0.75, 1e-14);
    }
}

TEST(MeshTracer, AStartOffTheSurfaceIsAllThereIs)
{
    MeshTracer tracer(Support::Grid(4, 4), kTolerance);
    for (const Vec3d& start :
         {Vec3d(1.3, 1.2, 0.01), Vec3d(-1, 0, 0), Vec3d(kNan, 1, 0), Vec3d(1, kInfinity, 0)}) {
        const Path line = tracer.CollectPath(start, {1, 0, 0}, 1.0);
        ASSERT_EQ(line.size(), 1U);
        EXPECT_TRUE(line[0] == start || std::isnan(start.x()));
    }
}

TEST(MeshTracer, StartsSnapAsPointsOfPathsDo)
{
    MeshTracer tracer(Support::Grid(4, 4), 0.01);
    const Path atNode = tracer.CollectPath({2.009, 1.995, 0}, {1, 0, 0}, 0.5);
    EXPECT_EQ(atNode, (Path{{2, 2, 0}, {2.5, 2, 0}}));
    const Path onEdge = tracer.CollectPath({2.5, 1.995, 0}, {0, 1, 0}, 0.25);
    EXPECT_EQ(onEdge.front(), Vec3d(2.5, 2, 0));
    ExpectNear(onEdge.back(), {2.5, 2.25, 0}, 1e-15);
}

TEST(MeshTracer, AStartFartherThanTheToleranceIsOffTheSurface)
{
    MeshTracer tracer(Support::Grid(4, 4), 0.01);
    EXPECT_EQ(tracer.CollectPath({1.3, 1.2, 0.015}, {1, 0, 0}, 0.1).size(), 1U);
    EXPECT_EQ(tracer.CollectPath({1.3, 1.2, 0.005}, {1, 0, 0}, 0.1).size(), 2U);
    EXPECT_EQ(tracer.CollectPath({2.015, 1.5, 0}, {0, 1, 0}, 0.1).front(), Vec3d(2.015, 1.5, 0));
}

TEST(MeshTracer, ALineMovesToACornerWithinHalfTheTolerance)
{
    // Level past the node (1, 1) of a sheet, out of the triangle below the diagonal that ends
    // there.
    for (const double miss : {0.004, 0.007}) {
        MeshTracer tracer(Support::Grid(4, 4), 0.01);
        const Path line = tracer.CollectPath({0.7, 0.3, 0}, {0.3 - miss, 0.7 - miss, 0}, 1.0);
        ASSERT_GE(line.size(), 3U);
        EXPECT_EQ(line[1] == Vec3d(1, 1, 0), miss < 0.005) << line[1];
    }
}

TEST(MeshTracer, ALineEndsInATriangleThatItsEndMissesByHalfTheToleranceAtMost)
{
    for (const double beyond : {0.004, 0.007}) {
        MeshTracer tracer(Support::Grid(4, 4), 0.01);
        const Path line = tracer.CollectPath({0.7, 0.3, 0}, {1, 0, 0}, 0.3 + beyond);
        EXPECT_EQ(line.size(), beyond < 0.005 ? 2U : 3U);
        ExpectNear(line.back(), {1 + beyond, 0.3, 0}, 1e-14);
    }
}

TEST(MeshTracer, InAValleyALineClimbsTowardTheApexAhead)
{
    // Straight up from the common edge leads into both triangles: into the one that is steeper.
    for (const double left : {1.0, 3.0}) {
        MeshTracer tracer({{{0, 0, 0}, {0, 2, 0}, {-1, 1, left}, {1, 1, 2}}, {0, 1, 2, 1, 0, 3}},
                          kTolerance);
        const Path line = tracer.CollectPath({0, 1, 0}, {0, 0, 1}, 0.5);
        ASSERT_EQ(line.size(), 2U);
        EXPECT_EQ(line.back().x() < 0, left > 2);
    }
}

TEST(MeshTracer, DirectionsThatLeadNowhereGiveTheStart)
{
    MeshTracer tracer(Support::Grid(4, 4), kTolerance);
    for (const Vec3d& direction :
         {Vec3d(), Vec3d(0, 0, 1), Vec3d(kNan, 0, 0), Vec3d(kInfinity, 0, 0)}) {
        for (const Vec3d& start : {Vec3d(1.3, 1.2, 0), Vec3d(1.5, 1, 0), Vec3d(2, 2, 0)}) {
            EXPECT_EQ(tracer.CollectPath(start, direction, 1.0), Path{start}) << direction;
        }
    }
}

TEST(MeshTracer, ALineIsTheSameWhereverOnItItBegins)
{
    // Round a torus; from each of its crossings on, which are on edges, the rest is the same.
    MeshTracer tracer(Support::Torus(40, 17), kTolerance);
    const Path line = tracer.CollectPath({4, 0, 0}, {0.1, 1, 0.4}, 20.0);
    ASSERT_GT(line.size(), 50U);
    for (std::size_t i = 1; i + 2 < line.size(); i += 7) {
        Path rest(line.begin() + static_cast<std::ptrdiff_t>(i), line.end());
        const Path again = tracer.CollectPath(line[i], line[i + 1] - line[i], LengthOfPath(rest));
        ASSERT_EQ(again.size(), rest.size());
        for (std::size_t k = 0; k < rest.size(); ++k) {
            ExpectNear(again[k], rest[k], 1e-9);
        }
    }
}

TEST(MeshTracer, LinesOverAPartAreAsLongAsAskedAndLieOnIt)
{
    const IndexedMesh part = Support::WeldedStl<double>(Support::ExampleData("bracket.stl"));
    MeshTracer tracer(part, 1e-6);
    Random random(1);
    for (int round = 0; round < Support::Rounds(40); ++round) {
        const auto t =
            static_cast<std::size_t>(3 * random.Below(static_cast<int>(part.indices.size() / 3)));
        const Vec3d start = (Support::PointOf(part, t) + Support::PointOf(part, t + 1) +
                             Support::PointOf(part, t + 2)) /
                            3.0;
        const Path line =
            tracer.CollectPath(start, random.Vector<3, double>(-1, 1), random.Between(1, 300));
        ASSERT_GE(line.size(), 2U);
        // A stretch lies in one triangle: so do its ends and its middle.
        for (std::size_t i = 1; i < line.size(); i += 1 + line.size() / 8) {
            EXPECT_LT(Support::DistanceToMesh((line[i] + line[i - 1]) / 2.0, part), 1e-9);
        }
    }
    const Path whole = tracer.CollectPath(
        (Support::PointOf(part, 0) + Support::PointOf(part, 1) + Support::PointOf(part, 2)) / 3.0,
        {0.3, 0.5, 0.7}, 500.0);
    EXPECT_NEAR(LengthOfPath(whole), 500.0, 1e-4) << "the part is closed";
}

TEST(MeshTracer, AnImprintedMeshGivesTheSameLine)
{
    // The cuts add nodes of no curvature: the line has more points, and ends in the same place.
    const IndexedMesh torus = Support::Torus(24, 11);
    MeshTracer tracer(torus, kTolerance);
    const Path line = tracer.CollectPath({4, 0, 0}, {0.1, 1, 0.4}, 5.0);
    Random random(2);
    for (int i = 0; i < 5; ++i) {
        Path path = Support::PathOverTriangles(torus, 40, random);
        ASSERT_TRUE(tracer.ImprintPath(path, false, true));
    }
    const Path after = tracer.CollectPath({4, 0, 0}, {0.1, 1, 0.4}, 5.0);
    EXPECT_GT(after.size(), line.size());
    ExpectNear(after.back(), line.back(), 1e-6);
    EXPECT_NEAR(LengthOfPath(after), LengthOfPath(line), 1e-8);
}

TEST(MeshTracer, ALineThatIsImprintedRunsAlongEdges)
{
    const IndexedMesh torus = Support::Torus(40, 17);
    MeshTracer tracer(torus, kTolerance);
    Path line = tracer.CollectPath({4, 0, 0}, {0.1, 1, 0.4}, 20.0);
    const double length = LengthOfPath(line);
    ASSERT_TRUE(tracer.ImprintPath(line, false, true));
    IndexedMesh out;
    EXPECT_TRUE(tracer.Export(out));
    EXPECT_EQ(Support::LinksWithoutEdge(out, line), 0);
    EXPECT_NEAR(LengthOfPath(line), length, 1e-6 * length);
    EXPECT_NEAR(Support::SurfaceOf(out), Support::SurfaceOf(torus), 1e-12 * 200);
}

TEST(MeshTracer, ImprintsAsMeshImprintDoes)
{
    const IndexedMesh body = Support::Sphere(3);
    MeshTracer tracer(body, kTolerance);
    MeshImprint imprint(body, kTolerance);
    Random random(3);
    for (int i = 0; i < 4; ++i) {
        Path path = Support::PathOverTriangles(body, 30, random);
        Path same = path;
        EXPECT_TRUE(tracer.ImprintPath(path, i % 2 == 0, true));
        EXPECT_TRUE(imprint.ImprintPath(same, i % 2 == 0, true));
        EXPECT_EQ(path, same);
    }
    IndexedMesh traced;
    IndexedMesh imprinted;
    Words words;
    std::vector<unsigned char> flags;
    EXPECT_TRUE(tracer.Export(traced, words));
    EXPECT_TRUE(imprint.Export(imprinted, flags));
    EXPECT_EQ(traced, imprinted);
    Path two{{1, 0, 0}, {0, 1, 0}};
    EXPECT_FALSE(tracer.ImprintPath(two, false, true));
}

TEST(MeshTracer, FlagsAreOneWhateverTheWords)
{
    const IndexedMesh cube = Support::Cube();
    for (const Words& words : {Words{}, Words(12, 0), Words(12, 1ULL << 63U), Words{1, 2, 3}}) {
        const MeshTracer tracer(cube, words, kTolerance);
        IndexedMesh out;
        Words flags{5};
        EXPECT_TRUE(tracer.Export(out, flags));
        EXPECT_EQ(out, cube);
        EXPECT_EQ(flags, Words(12, 1));
        IndexedMesh bare = cube;
        EXPECT_TRUE(tracer.Export(bare));
        EXPECT_EQ(bare, cube);
    }
}

TEST(MeshTracer, AnEmptyMeshHasNoLines)
{
    MeshTracer tracer(IndexedMesh{}, kTolerance);
    EXPECT_EQ(tracer.CollectPath({1, 2, 3}, {1, 0, 0}, 1.0), (Path{{1, 2, 3}}));
    IndexedMesh out = Support::Cube();
    EXPECT_TRUE(tracer.Export(out));
    EXPECT_EQ(out, IndexedMesh{});
}

TEST(MeshTracer, TrianglesThatCannotBeAddedAreReported)
{
    Support::ExpectAssertions(1);
    const MeshTracer tracer({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2, 0, 1, 1}}, kTolerance);
    EXPECT_EQ(Support::LastAssertion(),
              "ProjectionImprinting_Impl:145 Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<"
              "unsigned __int64>::ImprintableMesh");
}

TEST(MeshTracer, GarbageNeverHangs)
{
    Random random(4);
    for (int round = 0; round < Support::Rounds(60); ++round) {
        const IndexedMesh garbage = Support::GarbageMesh<3, double>(random, 8, 24);
        MeshTracer tracer(garbage, 1e-6);
        IndexedMesh taken;
        tracer.Export(taken);
        for (std::size_t t = 0; t < taken.indices.size(); t += 3) {
            const Vec3d start = Support::PointOf(taken, t) * 0.5 +
                                Support::PointOf(taken, t + 1) * 0.3 +
                                Support::PointOf(taken, t + 2) * 0.2;
            const double length = random.Between(0, 50);
            const Path line = tracer.CollectPath(start, random.Vector<3, double>(-1, 1), length);
            EXPECT_LE(LengthOfPath(line), length + 1e-5);
        }
    }
    Support::ExpectAssertions(Support::AssertionCount());
}

} // namespace
