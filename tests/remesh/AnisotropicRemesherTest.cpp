// AnisotropicRemesher: lengths from curvature, and how curvature follows nodes that move and merge.

#include <Sorvane/AnisotropicRemesher_E.h>

#include "tests/remesh/HostRemesher.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using Support::Anisotropic;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(AnisotropicRemesher, TheLengthIsTheChordOfTheSagitta)
{
    Anisotropic mesh;
    mesh.targetLength = 2;
    mesh.minFactor = 0.25;
    mesh.maxFactor = 5;
    mesh.chordTolerance = 0.01;
    for (const double radius : {0.1, 1.0, 40.0}) {
        const double chord = mesh.LengthFromCurvature(1 / radius);
        // The sagitta of that chord on the circle; the formula is of second order in e / r.
        const double sagitta = radius - std::sqrt(radius * radius - chord * chord / 4);
        EXPECT_NEAR(sagitta * sagitta * 4 + chord * chord, 8 * sagitta * radius, 1e-9 * radius);
        EXPECT_NEAR(chord * chord, 6 * 0.01 * radius - 3 * 0.01 * 0.01, 1e-12 * radius);
    }
    EXPECT_EQ(mesh.LengthFromCurvature(200), 0.5) << "2 / e: the lower limit";
    EXPECT_EQ(mesh.LengthFromCurvature(kInfinity), 0.5);
    EXPECT_LT(mesh.LengthFromCurvature(199.999), 0.5) << "not kept within the limits";
    EXPECT_GE(mesh.LengthFromCurvature(199.999), 0.0);
    EXPECT_EQ(mesh.LengthFromCurvature(0), 10) << "flat: the upper limit";
    EXPECT_EQ(mesh.LengthFromCurvature(0.99e-12), 10);
    EXPECT_GT(mesh.LengthFromCurvature(1e-8), 1000) << "nearly flat: not kept within the limits";
    EXPECT_TRUE(std::isnan(mesh.LengthFromCurvature(kNaN)));

    mesh.chordTolerance = 0;
    EXPECT_EQ(mesh.LengthFromCurvature(5), 0);
    EXPECT_EQ(mesh.LengthFromCurvature(kInfinity), 0.5) << "only infinity reaches 2 / 0";
    EXPECT_EQ(mesh.LengthFromCurvature(0), 10);
    mesh.chordTolerance = -0.01;
    for (const double k : {0.0, 1e-8, 3.0}) {
        EXPECT_EQ(mesh.LengthFromCurvature(k), 0.5);
    }
}

TEST(AnisotropicRemesher, BoundsComeFromTheGreaterCurvatureWithinLimits)
{
    Anisotropic mesh;
    mesh.LoadIndexedPoints(Support::Grid(1, 1));
    mesh.targetLength = 1;
    const int e = mesh.FindEdge(0, 3);
    const auto lengthFor = [&](double atA, double atB) {
        mesh.NodeRecord(0)->maxk = atA;
        mesh.NodeRecord(3)->maxk = atB;
        Vec2d bounds;
        mesh.EdgeLengthBounds(bounds, e);
        EXPECT_TRUE(std::isnan(bounds[0]) || std::fabs(bounds[1] / bounds[0] - 5.0 / 3.0) < 1e-14);
        return bounds[0] / 0.8;
    };
    const double chord = std::sqrt(6 * 0.01 / 0.1 - 3 * 0.01 * 0.01);
    EXPECT_NEAR(lengthFor(0.1, 0.02), chord, 1e-15);
    EXPECT_NEAR(lengthFor(0.02, 0.1), chord, 1e-15);
    EXPECT_NEAR(lengthFor(0, 0), 4, 1e-15);
    EXPECT_NEAR(lengthFor(1e-9, 1e-9), 4, 1e-15) << "limited";
    EXPECT_NEAR(lengthFor(150, 0), 0.25, 1e-15) << "limited";
    EXPECT_TRUE(std::isnan(lengthFor(kNaN, 0)));
    EXPECT_TRUE(std::isnan(lengthFor(0, kNaN)));
    Vec2d bounds;
    mesh.EdgeLengthBounds(bounds, -1);
    EXPECT_NEAR(bounds[0], 0.8, 1e-15);
    EXPECT_NEAR(bounds[1], 4.0 / 3.0, 1e-15);
    // Limits in the wrong order do not limit.
    mesh.minFactor = 6;
    EXPECT_NEAR(lengthFor(0.1, 0.1), chord, 1e-15);
}

TEST(AnisotropicRemesher, ATriangleWeighsByTheLengthsAtItsCorners)
{
    Anisotropic mesh;
    mesh.LoadIndexedPoints(Support::Fan(4, true));
    mesh.targetLength = 1;
    for (int n = 0; n < 5; ++n) {
        mesh.NodeRecord(n)->maxk = 0.1 * (n + 1);
    }
    std::vector<Vec3d> ring;
    std::vector<double> weights;
    mesh.NodeStar(0, ring, weights);
    const std::vector<int> nodes = mesh.NodeNodes(0);
    ASSERT_EQ(ring.size(), 4U);
    ASSERT_EQ(weights.size(), 4U);
    const auto length = [&](int n) { return mesh.LengthFromCurvature(0.1 * (n + 1)); };
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(ring[i], mesh.At(nodes[i]));
        EXPECT_NEAR(weights[i], (length(0) + length(nodes[i]) + length(nodes[(i + 1) % 4])) / 3,
                    1e-15);
    }
}

TEST(AnisotropicRemesher, CurvatureFollowsTheNeighbors)
{
    Anisotropic mesh;
    mesh.LoadIndexedPoints(Support::Fan(4, true));
    for (int n = 0; n < 5; ++n) {
        mesh.NodeRecord(n)->maxk = n;
    }
    mesh.SetNodeFeature(4, true);
    mesh.NodeMoved(0, false);
    EXPECT_EQ(mesh.NodeRecord(0)->maxk, 2.5); // of 1 2 3 4
    mesh.NodeMoved(0, true);
    EXPECT_EQ(mesh.NodeRecord(0)->maxk, 2.0) << "without the locked one";
    for (int n = 1; n < 5; ++n) {
        mesh.SetNodeFeature(n, true);
    }
    mesh.NodeMoved(0, true);
    EXPECT_EQ(mesh.NodeRecord(0)->maxk, 0.0) << "none left";
}

TEST(AnisotropicRemesher, ACollapseKeepsTheGreaterCurvature)
{
    for (const bool keepsOrigin : {false, true}) {
        Anisotropic mesh;
        mesh.LoadIndexedPoints(Support::Grid(5, 5));
        mesh.NodeRecord(14)->maxk = 3;
        mesh.NodeRecord(15)->maxk = 7;
        ASSERT_TRUE(mesh.CollapseEdgeAt(mesh.FindEdge(14, 15), keepsOrigin));
        EXPECT_EQ(mesh.NodeRecord(14)->maxk, keepsOrigin ? 3 : 7);
        EXPECT_EQ(mesh.At(14), keepsOrigin ? Vec3d(2, 2, 0) : Vec3d(2.5, 2, 0));
    }
}

} // namespace
