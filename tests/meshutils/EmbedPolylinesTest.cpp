// Polylines cut into meshes: where they run afterwards, and that the surface stays what it was.

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using MeshUtils::EmbedPolylines;
using Support::IndexedMesh;

using Curve = std::vector<Vec3d>;
using Nodes = std::vector<int>;

double AreaOf(const IndexedMesh& mesh)
{
    double sum = 0;
    for (const double area : Mesh::Areas(mesh)) {
        sum += area;
    }
    return sum;
}

const Vec3d& At(const IndexedMesh& mesh, int node)
{
    return mesh.points[static_cast<std::size_t>(node)];
}

/// Pairs of consecutive nodes that are no edge of the mesh.
int StepsOffEdges(const IndexedMesh& mesh, const Nodes& nodes)
{
    const auto uses = Support::EdgeUses(mesh);
    int count = 0;
    for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
        count += uses.contains(std::minmax(nodes[i], nodes[i + 1])) ? 0 : 1;
    }
    return count;
}

Curve Circle(const Vec3d& middle, double radius, int count)
{
    Curve curve;
    for (int i = 0; i < count; ++i) {
        const double t = kTwoPi<double> * i / count;
        curve.push_back(middle + Vec3d{radius * std::cos(t), radius * std::sin(t), 0});
    }
    curve.push_back(curve.front());
    return curve;
}

TEST(EmbedPolylines, WithoutPolylinesTheMeshStays)
{
    const IndexedMesh before = Support::GridMesh<double>(3, 2, [](int x, int y) {
        return Vec3d(-x, y, 0); // not in the order of points that welding makes
    });
    IndexedMesh mesh = before;
    EXPECT_TRUE(EmbedPolylines(mesh, {}, 1e-6, 0.1).empty());
    EXPECT_EQ(mesh, before);
}

TEST(EmbedPolylines, ALineAcrossASheetRunsAlongEdges)
{
    IndexedMesh mesh = Support::Grid(8, 8);
    const Curve line{{0.7, 1.3, 0}, {7.1, 6.2, 0}};
    const auto lists = EmbedPolylines(mesh, {line}, 1e-6, 0.9);
    ASSERT_EQ(lists.size(), 1U);
    const Nodes& nodes = lists[0];
    // Ten samples, and the crossings with horizontal, vertical and diagonal edges between them.
    ASSERT_GT(nodes.size(), 20U);
    EXPECT_EQ(StepsOffEdges(mesh, nodes), 0);
    EXPECT_LT(Length(At(mesh, nodes.front()) - line[0]), 1e-7);
    EXPECT_LT(Length(At(mesh, nodes.back()) - line[1]), 1e-7);
    const Vec3d along = Vector::Normalized(line[1] - line[0], 0.0);
    double place = -1e-9;
    for (const int n : nodes) {
        const Vec3d from = At(mesh, n) - line[0];
        // A crossing near a node goes through the node: 0.5 percent of an edge.
        EXPECT_LT(Length(from ^ along), 0.01);
        EXPECT_GT(from * along, place) << "forward";
        place = from * along;
    }
    EXPECT_NEAR(AreaOf(mesh), 64, 64e-12);
    EXPECT_EQ(Support::FaultsOf(mesh).overfull, 0);
    EXPECT_EQ(Support::FaultsOf(mesh).open, 32) << "cut inside only";
    for (const Vec3d& normal : Mesh::Normals(mesh)) {
        EXPECT_GT(normal.z(), 0.5) << "none turned over";
    }
}

TEST(EmbedPolylines, ALoopOverASphereIsClosedAndKeepsTheVolume)
{
    const IndexedMesh before = Support::Sphere(4);
    IndexedMesh mesh = before;
    // Off the surface: it is projected.
    const auto lists = EmbedPolylines(mesh, {Circle({0.1, 0.05, 1.4}, 0.9, 90)}, 1e-9, 0.02);
    ASSERT_EQ(lists.size(), 1U);
    const Nodes& nodes = lists[0];
    ASSERT_GT(nodes.size(), 200U);
    EXPECT_EQ(nodes.front(), nodes.back());
    EXPECT_EQ(StepsOffEdges(mesh, nodes), 0);
    EXPECT_EQ(Support::FaultsOf(mesh), Support::EdgeFaults());
    EXPECT_EQ(Support::EulerOf(mesh), 2);
    EXPECT_NEAR(Support::VolumeOf(mesh) / Support::VolumeOf(before), 1, 1e-12);
    EXPECT_NEAR(AreaOf(mesh) / AreaOf(before), 1, 1e-12);
    for (const int n : nodes) {
        EXPECT_LT(Support::DistanceToMesh(At(mesh, n), before), 1e-12);
    }
}

TEST(EmbedPolylines, TwoThatCrossShareAPoint)
{
    IndexedMesh mesh = Support::Grid(6, 6);
    const Curve first{{0.5, 3.2, 0}, {5.5, 3.2, 0}};
    const Curve second{{2.8, 0.5, 0}, {2.8, 5.5, 0}};
    const auto lists = EmbedPolylines(mesh, {first, second}, 1e-6, 0.4);
    ASSERT_EQ(lists.size(), 2U);
    EXPECT_EQ(StepsOffEdges(mesh, lists[1]), 0) << "the last one is whole";
    // The place where they cross is a point of the mesh; the first one knows of it only where it
    // had a point there already.
    const Vec3d crossing{2.8, 3.2, 0};
    const auto isNear = [&](int n) { return Length(At(mesh, n) - crossing) < 0.01; };
    EXPECT_TRUE(std::any_of(lists[1].begin(), lists[1].end(), isNear));
    EXPECT_LE(StepsOffEdges(mesh, lists[0]), 1);
    EXPECT_NEAR(AreaOf(mesh), 36, 36e-12);
}

TEST(EmbedPolylines, ASecondTimeNothingIsCut)
{
    IndexedMesh mesh = Support::Grid(5, 5);
    const Curve line{{0.3, 0.4, 0}, {4.6, 3.9, 0}};
    const auto once = EmbedPolylines(mesh, {line}, 1e-6, 0.5);
    IndexedMesh again = mesh;
    const auto twice = EmbedPolylines(again, {line}, 1e-6, 0.5);
    EXPECT_EQ(again.points.size(), mesh.points.size());
    EXPECT_EQ(once, twice);
}

TEST(EmbedPolylines, TwoPointsAreNotImprintedUnlessTheStepMakesMore)
{
    const IndexedMesh grid = Support::Grid(4, 4);
    const Curve line{{0.3, 0.6, 0}, {3.4, 2.1, 0}};
    IndexedMesh mesh = grid;
    for (const double step : {100.0, 0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(EmbedPolylines(mesh, {line}, 1e-6, step), std::vector<Nodes>(1)) << step;
        EXPECT_EQ(mesh.points.size(), grid.points.size());
    }
    // Points of the mesh they may be all the same.
    const auto corners = EmbedPolylines(mesh, {{{0, 0, 0}, {4, 4, 0}}}, 1e-6, 0.0);
    ASSERT_EQ(corners.at(0).size(), 2U);
    EXPECT_EQ(At(mesh, corners[0][1]), (Vec3d{4, 4, 0}));
    EXPECT_GT(EmbedPolylines(mesh, {line}, 1e-6, 1.0).at(0).size(), 4U);
}

TEST(EmbedPolylines, RepeatedPointsGoFirst)
{
    IndexedMesh mesh = Support::Grid(4, 4);
    IndexedMesh other = mesh;
    const Curve line{{0.3, 0.6, 0}, {1.1, 1.9, 0}, {3.4, 2.1, 0}};
    Curve repeated;
    for (const Vec3d& p : line) {
        repeated.insert(repeated.end(), {p, p, p});
    }
    EXPECT_EQ(EmbedPolylines(mesh, {line}, 1e-6, 0.0),
              EmbedPolylines(other, {repeated}, 1e-6, 0.0));
    EXPECT_EQ(mesh, other);
}

TEST(EmbedPolylines, RepeatedPointsGoBeforeStepsAreTaken)
{
    // Small detours about the points make the way longer, and so would shift all steps.
    const Curve line{{0.3, 0.6, 0}, {1.1, 1.9, 0}, {3.4, 2.1, 0}};
    Curve jagged;
    for (const Vec3d& p : line) {
        jagged.push_back(p);
        if (!(p == line.back())) {
            jagged.insert(jagged.end(), {p + Vec3d{-0.05, 0.04, 0}, p + Vec3d{0.03, 0.06, 0}});
        }
    }
    IndexedMesh mesh = Support::Grid(4, 4);
    IndexedMesh other = mesh;
    EXPECT_EQ(EmbedPolylines(mesh, {line}, 0.1, 0.37), EmbedPolylines(other, {jagged}, 0.1, 0.37));
    EXPECT_EQ(mesh, other);
}

TEST(EmbedPolylines, NodesDrawPointsWithinTheReachOfTheImprint)
{
    const IndexedMesh grid = Support::Grid(4, 4);
    const auto middleNodes = [&](const Vec3d& middle) {
        IndexedMesh mesh = grid;
        const auto lists =
            EmbedPolylines(mesh, {{{0.3, 0.6, 0}, middle, {3.4, 2.1, 0}}}, 1e-6, 0.0);
        int count = 0;
        for (const int n : lists.at(0)) {
            count += Length(At(mesh, n) - Vec3d{2, 1, 0}) < 1e-6 ? 1 : 0;
        }
        const bool hasOwn =
            std::find(mesh.points.begin(), mesh.points.end(), middle) != mesh.points.end();
        return std::pair(count, hasOwn);
    };
    EXPECT_EQ(middleNodes({2 + 4e-8, 1 + 3e-8, 0}), std::pair(1, false));
    // Beyond the reach of the node and of the edges that meet in it.
    EXPECT_TRUE(middleNodes({2 + 4e-7, 1 + 1.5e-7, 0}).second);
}

TEST(EmbedPolylines, PointsFartherThanAMillionthMillionthFromPointsOfTheMeshDropOut)
{
    // Two points are not imprinted, and so not moved onto the corner.
    IndexedMesh mesh = Support::Grid(4, 4);
    const auto lists =
        EmbedPolylines(mesh, {{{5e-13, 0, 0}, {4, 4, 0}}, {{1e-9, 0, 0}, {4, 4, 0}}}, 1e-6, 0.0);
    ASSERT_EQ(lists.size(), 2U);
    ASSERT_EQ(lists[0].size(), 2U);
    EXPECT_EQ(At(mesh, lists[0][0]), Vec3d());
    ASSERT_EQ(lists[1].size(), 1U);
    EXPECT_EQ(At(mesh, lists[1][0]), (Vec3d{4, 4, 0}));
}

TEST(EmbedPolylines, UnusedPointsGoAndPointsAreSorted)
{
    IndexedMesh mesh = Support::Grid(3, 3);
    mesh.points.push_back({-9, -9, -9});
    const auto lists = EmbedPolylines(mesh, {Curve()}, 1e-6, 0.5);
    EXPECT_EQ(lists, std::vector<Nodes>(1));
    EXPECT_EQ(mesh.points.size(), 16U);
    EXPECT_TRUE(
        std::is_sorted(mesh.points.begin(), mesh.points.end(), [](const Vec3d& a, const Vec3d& b) {
            return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
        }));
}

TEST(EmbedPolylines, HostileInput)
{
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const Curve line{{0.3, 0.6, 0}, {3.4, 2.1, 0}};
    // No triangles: an empty list, and what the imprint leaves of the mesh.
    IndexedMesh empty;
    EXPECT_TRUE(EmbedPolylines(empty, {line}, 1e-6, 0.5).empty());
    EXPECT_TRUE(empty.indices.empty());
    IndexedMesh points{{{0, 0, 0}, {1, 0, 0}}, {}};
    EXPECT_TRUE(EmbedPolylines(points, {line}, 1e-6, 0.5).empty());
    EXPECT_TRUE(points.indices.empty());
    Support::ExpectAssertions(1); // a triple with a point twice
    IndexedMesh refused{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 1}};
    EXPECT_TRUE(EmbedPolylines(refused, {line}, 1e-6, 0.5).empty());
    EXPECT_TRUE(refused.indices.empty()) << "what the imprint leaves";
    // Polylines that are none leave a list each, and the others in peace.
    IndexedMesh mesh = Support::Grid(4, 4);
    IndexedMesh clean = mesh;
    const auto expected = EmbedPolylines(clean, {line}, 1e-6, 0.5);
    const auto lists = EmbedPolylines(
        mesh, {{}, {{1.5, 1.2, 0}}, {{kNan, 0, 0}, {kInf, 1, 0}, {0, kNan, 0}}, line}, 1e-6, 0.5);
    ASSERT_EQ(lists.size(), 4U);
    EXPECT_TRUE(lists[0].empty() && lists[1].empty() && lists[2].empty());
    EXPECT_EQ(lists[3], expected[0]);
    EXPECT_EQ(mesh, clean);
    // Tolerances that mean nothing.
    EXPECT_EQ(EmbedPolylines(mesh, {line}, kNan, 0.5).size(), 1U);
    EXPECT_EQ(EmbedPolylines(mesh, {line}, -1.0, kInf).size(), 1U);
}

TEST(EmbedPolylines, CurvesOnARealPart)
{
    const auto file = Support::SharedData("meshes_cad/voron_z_joint_upper_x4.stl");
    SORVANE_NEED_DATA(file);
    const IndexedMesh before = Support::WeldedStl<double>(file);
    Vec3d low = before.points.front();
    Vec3d high = low;
    for (const Vec3d& p : before.points) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
    const double size = Length(high - low);
    const Vec3d top{(low.x() + high.x()) / 2, (low.y() + high.y()) / 2, high.z() + 1};
    IndexedMesh mesh = before;
    const auto lists = EmbedPolylines(
        mesh, {Circle(top, 0.11 * size, 60), Circle(top, 0.07 * size, 40)}, 1e-6, size / 400);
    ASSERT_EQ(lists.size(), 2U);
    EXPECT_GT(lists[0].size(), 200U);
    EXPECT_GT(lists[1].size(), 100U);
    EXPECT_EQ(Support::FaultsOf(mesh), Support::FaultsOf(before));
    EXPECT_NEAR(Support::VolumeOf(mesh) / Support::VolumeOf(before), 1, 1e-9);
    EXPECT_NEAR(AreaOf(mesh) / AreaOf(before), 1, 1e-9);
}

TEST(EmbedPolylines, SameForAnyNumberOfThreads)
{
    const Curve loop = Circle({0.1, 0.05, 1.4}, 0.9, 90);
    IndexedMesh one = Support::Sphere(3);
    std::vector<Nodes> expected;
    Support::WithThreads(1, [&] { expected = EmbedPolylines(one, {loop}, 1e-9, 0.005); });
    ASSERT_GT(expected.at(0).size(), 700U) << "several chunks";
    Support::WithThreads(4, [&] {
        IndexedMesh mesh = Support::Sphere(3);
        EXPECT_EQ(EmbedPolylines(mesh, {loop}, 1e-9, 0.005), expected);
        EXPECT_EQ(mesh, one);
    });
}

TEST(EmbedPolylines, WithoutMemoryTheMeshIsAsItWas)
{
    const IndexedMesh before = Support::Grid(2, 2);
    const std::vector<Curve> lines{{{0.3, 0.6, 0}, {0.9, 1.1, 0}, {1.4, 1.2, 0}}};
    IndexedMesh after = before;
    const auto expected = EmbedPolylines(after, lines, 1e-6, 0.0);
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfEither(
                      [&] { return before; },
                      [&](IndexedMesh& mesh) { (void)EmbedPolylines(mesh, lines, 1e-6, 0.0); },
                      [&](const IndexedMesh& mesh, bool hasThrown) {
                          EXPECT_TRUE(hasThrown ? mesh == before : mesh == after);
                      }),
                  50U);
    });
}

} // namespace
