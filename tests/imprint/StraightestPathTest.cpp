// The straightest line over a mesh of triangles: what it does within a triangle, across edges, at
// nodes and on broken meshes. That it begins at a point of a surface is tested with MeshTracer.

#include "imprint/StraightestPath_Impl.h"

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TurnedBodies.h"

#include <Sorvane/HalfEdgeMesh_E.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;
using Support::Random;
using HalfEdges =
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace>;
using Walk = Mesh::Impl::StraightestPath<HalfEdges>;
using Line = std::vector<Vec3d>;

constexpr double kTolerance = 1e-9;
constexpr std::size_t kMost = Mesh::Impl::kMostStraightestPoints;

HalfEdges Loaded(const IndexedMesh& mesh)
{
    HalfEdges loaded;
    EXPECT_TRUE(loaded.LoadIndexedPoints(mesh));
    return loaded;
}

Walk NewWalk(const HalfEdges& mesh) { return Walk(mesh, kTolerance / 2, kTolerance / 2); }

Vec3d Corner(const IndexedMesh& mesh, int face, int k)
{
    const auto slot = static_cast<std::size_t>(3 * face + k);
    return mesh.points[static_cast<std::size_t>(mesh.indices[slot])];
}

Vec3d Center(const IndexedMesh& mesh, int face)
{
    return (Corner(mesh, face, 0) + Corner(mesh, face, 1) + Corner(mesh, face, 2)) / 3.0;
}

// From a point of a face, the start included.
Line LineFrom(const HalfEdges& mesh, int face, const Vec3d& start, const Vec3d& direction,
              double length)
{
    Line line{start};
    Walk walk = NewWalk(mesh);
    if (walk.StartInFace(face, start, direction)) {
        walk.Walk(length, kMost, line);
    }
    return line;
}

Line LineFromNode(const HalfEdges& mesh, int node, const Vec3d& direction, double length)
{
    Line line{mesh.GetVertex(node)};
    Walk walk = NewWalk(mesh);
    if (walk.StartAtNode(node, -1, direction)) {
        walk.Walk(length, kMost, line);
    }
    return line;
}

double LengthOf(const Line& line)
{
    double sum = 0;
    for (std::size_t i = 1; i < line.size(); ++i) {
        sum += Vector::Length(line[i] - line[i - 1]);
    }
    return sum;
}

void ExpectNear(const Vec3d& a, const Vec3d& b, double tolerance)
{
    EXPECT_LE(Vector::Length(a - b), tolerance) << a << " and " << b;
}

// Point at the distance `s` along the line.
Vec3d PointAt(const Line& line, double s)
{
    for (std::size_t i = 1; i < line.size(); ++i) {
        const double step = Vector::Length(line[i] - line[i - 1]);
        if (s <= step || i + 1 == line.size()) {
            return line[i - 1] + (line[i] - line[i - 1]) * (s / step);
        }
        s -= step;
    }
    return line.front();
}

Vec3d RandomTangent(Random& random) { return random.Vector<3, double>(-1, 1); }

// --- in the plane -------------------------------------------------------------------------------

TEST(StraightestPath, IsStraightOverAFlatSheet)
{
    const IndexedMesh sheet = Support::Grid(20, 20);
    const HalfEdges mesh = Loaded(sheet);
    Random random(1);
    for (int round = 0; round < Support::Rounds(200); ++round) {
        const int face = random.Below(static_cast<int>(sheet.indices.size() / 3));
        const double angle = random.Between(0, kTwoPi<double>);
        const Vec3d direction(std::cos(angle), std::sin(angle), 0.3); // 0.3 leads off the sheet
        const Vec3d start = Center(sheet, face);
        const Line line = LineFrom(mesh, face, start, direction * 7.0, 4.0);
        for (const Vec3d& p : line) {
            EXPECT_NEAR((p - start).x() * std::sin(angle), (p - start).y() * std::cos(angle),
                        1e-13);
        }
        // It is as long as asked for, or ends on the rim.
        const Vec3d end = line.back();
        const bool isOnRim = end.x() == 0 || end.x() == 20 || end.y() == 0 || end.y() == 20;
        EXPECT_TRUE(isOnRim || std::fabs(LengthOf(line) - 4.0) < 1e-13) << LengthOf(line);
    }
}

TEST(StraightestPath, RunsAlongEdgesThroughTheNodes)
{
    const HalfEdges mesh = Loaded(Support::Grid(4, 4));
    const Line line = LineFromNode(mesh, 10, {1, 0, 0}, 10.0); // (0, 2), along the row
    const Line expected{{0, 2, 0}, {1, 2, 0}, {2, 2, 0}, {3, 2, 0}, {4, 2, 0}};
    EXPECT_EQ(line, expected);
    const Line diagonal = LineFromNode(mesh, 0, {1, 1, 0}, 10.0);
    const Line expectedDiagonal{{0, 0, 0}, {1, 1, 0}, {2, 2, 0}, {3, 3, 0}, {4, 4, 0}};
    ASSERT_EQ(diagonal.size(), expectedDiagonal.size());
    for (std::size_t i = 0; i < diagonal.size(); ++i) {
        ExpectNear(diagonal[i], expectedDiagonal[i], 1e-14);
    }
}

TEST(StraightestPath, EndsOnABoundaryNode)
{
    const HalfEdges mesh = Loaded(Support::Grid(2, 2));
    // From the middle of the lower left square into the upper right corner of the sheet.
    const Line line = LineFromNode(mesh, 4, {1, 1, 0}, 100.0);
    ASSERT_EQ(line.size(), 2U);
    ExpectNear(line.back(), {2, 2, 0}, 1e-15);
}

TEST(StraightestPath, AStretchEndsInATriangleExactlyThereOrWithinTheReach)
{
    const HalfEdges mesh = Loaded({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}});
    const Vec3d start(0.25, 0.25, 0);
    const Line inside = LineFrom(mesh, 0, start, {1, 0, 0}, 0.375);
    ASSERT_EQ(inside.size(), 2U);
    ExpectNear(inside.back(), {0.625, 0.25, 0}, 1e-16);
    // The edge is 0.5 away; half the tolerance is 5e-10 as seen square to the edge.
    const Line beyond = LineFrom(mesh, 0, start, {1, 0, 0}, 0.5 + 6e-10);
    ExpectNear(beyond.back(), {0.75 + 6e-10, 0.25, 0}, 1e-15);
    const Line cut = LineFrom(mesh, 0, start, {1, 0, 0}, 0.5 + 9e-10);
    ExpectNear(cut.back(), {0.75, 0.25, 0}, 1e-15);
}

TEST(StraightestPath, ACrossingNearACornerMovesThere)
{
    const IndexedMesh sheet = Support::Grid(2, 2);
    const HalfEdges mesh = Loaded(sheet);
    for (const double miss : {3e-10, -3e-10, 2e-9, -2e-9}) {
        // From (0.5, 0.25) past the middle node (1, 1), beside it by `miss` along the y axis.
        const Vec3d start(0.5, 0.25, 0);
        const Line line = LineFrom(mesh, 0, start, Vec3d(1, 1 + miss, 0) - start, 1.5);
        const bool isThere = std::find(line.begin(), line.end(), Vec3d(1, 1, 0)) != line.end();
        EXPECT_EQ(isThere, std::fabs(miss) < 5e-10) << miss;
        EXPECT_NEAR(LengthOf(line), 1.5, 1e-9);
    }
}

// --- unfolded lines -----------------------------------------------------------------------------

// On the cube [0, 1]^3 by its squares: on the square of outward normal n the line comes to an edge
// where it leaves along m, the normal of the next square, and goes on along -n.
Vec3d CubeEnd(Vec3d p, Vec3d d, Vec3d n, double length)
{
    while (length > 0) {
        double least = std::numeric_limits<double>::infinity();
        int axis = -1;
        for (int i = 0; i < 3; ++i) {
            if (n[i] == 0 && d[i] != 0) {
                const double step = ((d[i] > 0 ? 1.0 : 0.0) - p[i]) / d[i];
                if (step < least) {
                    least = step;
                    axis = i;
                }
            }
        }
        const double step = std::min(least, length);
        p += d * step;
        length -= step;
        if (length > 0) {
            Vec3d m;
            m[axis] = d[axis] > 0 ? 1 : -1;
            const double speed = std::fabs(d[axis]);
            p[axis] = d[axis] > 0 ? 1 : 0;
            d[axis] = 0;
            d = d - n * speed;
            n = m;
        }
    }
    return p;
}

TEST(StraightestPath, UnfoldsACube)
{
    const HalfEdges mesh = Loaded(Support::Cube());
    Random random(2);
    for (int round = 0; round < Support::Rounds(300); ++round) {
        const double angle = random.Between(0, kTwoPi<double>);
        const Vec3d direction(std::cos(angle), std::sin(angle), 0);
        // Triangle 0 is in the square z = 0, over its diagonal.
        const Vec3d start(0.3, 0.6, 0);
        const double length = random.Between(0.1, 12);
        const Line line = LineFrom(mesh, 0, start, direction, length);
        EXPECT_NEAR(LengthOf(line), length, 1e-12);
        ExpectNear(line.back(), CubeEnd(start, direction, {0, 0, -1}, length), 1e-11);
    }
}

TEST(StraightestPath, WindsUpAPrismAsAHelix)
{
    // A tube of 37 flat sides: unrolled it is a rectangle, and the line straight in it.
    constexpr int kSides = 37;
    const double side = 2 * std::sin(kPi<double> / kSides);
    for (const double far : {0.0, 1e6}) {
        IndexedMesh tube;
        for (int k = 0; k < kSides; ++k) {
            const double a = kTwoPi<double> * k / kSides;
            for (const double z : {0.0, 5.0}) {
                tube.points.push_back(Vec3d(std::cos(a), std::sin(a), z) + Vec3d(far, -far, far));
            }
        }
        for (int k = 0; k < kSides; ++k) {
            const int a = 2 * k;
            const int b = 2 * ((k + 1) % kSides);
            tube.indices.insert(tube.indices.end(), {a, b, b + 1, a, b + 1, a + 1});
        }
        const HalfEdges mesh = Loaded(tube);
        const Vec3d first = tube.points[0];
        const Vec3d along = (tube.points[2] - first) / Vector::Length(tube.points[2] - first);
        const Vec3d start = first + along * (0.7 * side) + Vec3d(0, 0, 0.1);
        const double rise = 0.043;
        const double run = std::sqrt(1 - rise * rise);
        const double length = 100; // some sixteen turns
        const Line line = LineFrom(mesh, 0, start, along * run + Vec3d(0, 0, rise), length);
        for (double s = 0; s <= length; s += 0.37) {
            const double at = 0.7 * side + s * run;
            const auto k = static_cast<std::size_t>(at / side);
            const Vec3d from = tube.points[2 * (k % kSides)];
            const Vec3d to = tube.points[2 * ((k + 1) % kSides)];
            const Vec3d expected = from + (to - from) * (at / side - static_cast<double>(k)) +
                                   Vec3d(0, 0, 0.1 + s * rise);
            ExpectNear(PointAt(line, s), expected, far == 0 ? 1e-12 : 1e-7);
        }
    }
}

// --- nodes --------------------------------------------------------------------------------------

TEST(StraightestPath, HalvesTheAngleAtACubesCorner)
{
    // Along an edge into a corner of three right angles: half of them, 135 degrees, on either side
    // is the middle of the square beyond, along whose diagonal the line goes on; and at the
    // diagonal's other end it comes from the middle of a square and leaves along the edge beyond.
    const HalfEdges mesh = Loaded(Support::Cube());
    Line line{{0.5, 0, 0}};
    Walk walk = NewWalk(mesh);
    ASSERT_TRUE(walk.StartOnEdge(mesh.FindEdge(0, 1), line[0], {1, 0, 0}));
    walk.Walk(0.5 + std::sqrt(2.0) + 0.25, kMost, line);
    std::erase_if(line, [](const Vec3d& p) { // where the diagonal of the square runs across
        return p == Vec3d(1, 0.5, 0.5);
    });
    ASSERT_EQ(line.size(), 4U);
    ExpectNear(line[1], {1, 0, 0}, 1e-15);
    ExpectNear(line[2], {1, 1, 1}, 1e-14);
    ExpectNear(line[3], {0.75, 1, 1}, 1e-14);
}

TEST(StraightestPath, HalvesTheAngleRoundASaddle)
{
    // Five squares round a node, 450 degrees in all: 225 of them on either side.
    const double z = 1;
    const IndexedMesh saddle{
        {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}, {0, 0, z}},
        // quarter turns from x to y to -x to -y, then up the z axis and back to x
        {0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 5, 0, 5, 1}};
    const HalfEdges mesh = Loaded(saddle);
    // Down from the z axis: after 225 degrees from it, on either side, there is the middle of the
    // second quarter turn, between y and -x.
    Line line{{0, 0, 0.5}};
    Walk walk = NewWalk(mesh);
    ASSERT_TRUE(walk.StartOnEdge(mesh.FindEdge(5, 0), line[0], {0, 0, -1}));
    walk.Walk(0.75, kMost, line);
    ASSERT_EQ(line.size(), 3U);
    ExpectNear(line[1], {0, 0, 0}, 1e-15);
    ExpectNear(line[2], Vec3d(-1, 1, 0) * (0.25 / std::sqrt(2.0)), 1e-14);
}

TEST(StraightestPath, StaysInItsFanWhereSolidsTouch)
{
    // Two tetrahedra with a node in common: a line up the one comes down the same.
    IndexedMesh two = Support::Tetrahedron();
    const auto count = static_cast<int>(two.points.size());
    for (std::size_t i = 1; i < 4; ++i) {
        two.points.push_back(Vec3d(2, 2, 2) - two.points[i]);
    }
    const std::size_t indices = two.indices.size();
    for (std::size_t i = 0; i < indices; i += 3) {
        const auto mirrored = [&](std::size_t k) {
            const int node = two.indices[i + k];
            return node == 0 ? 0 : node + count - 1;
        };
        two.indices.insert(two.indices.end(), {mirrored(0), mirrored(2), mirrored(1)});
    }
    HalfEdges mesh = Loaded(two);
    ASSERT_TRUE(mesh.IsPinchNode(0));
    for (const int face : {0, 4}) {
        const Vec3d start = Center(two, face);
        const Line line = LineFrom(mesh, face, start, Vec3d(1, 1, 1) - start, 4.0);
        EXPECT_NEAR(LengthOf(line), 4.0, 1e-12);
        ExpectNear(line[1], {1, 1, 1}, 1e-14);
        for (const Vec3d& p : line) {
            const double beyond = p.x() + p.y() + p.z() - 3;
            EXPECT_LE(face == 0 ? beyond : -beyond, 1e-12);
        }
        // Both fans give starts at the node, whichever of them its ring shows.
        Walk walk = NewWalk(mesh);
        Line fromNode{{1, 1, 1}};
        ASSERT_TRUE(walk.StartAtNode(0, face, start - Vec3d(1, 1, 1)));
        walk.Walk(1.0, kMost, fromNode);
        ExpectNear(fromNode.back(),
                   Vec3d(1, 1, 1) + Vector::Normalized(start - Vec3d(1, 1, 1), 0.0), 1e-14);
    }
}

TEST(StraightestPath, LeavesANodeInAnyDirectionOfItsTangentPlane)
{
    // The triangles round a node of a sphere lean away from the plane that touches it there: their
    // planes leave gaps at the edges. Where none holds a direction, the nearest serves.
    const IndexedMesh sphere = Support::Sphere(3);
    const HalfEdges mesh = Loaded(sphere);
    Random random(3);
    for (int node = 0; node < mesh.NodeCount(); ++node) {
        const Vec3d normal = mesh.GetVertex(node);
        for (int neighbor : mesh.NodeNodes(node)) {
            const Vec3d edge = mesh.GetVertex(neighbor) - normal;
            const Vec3d tangent = Vector::Normalized(edge - normal * (edge * normal), 0.0);
            const Line line = LineFromNode(mesh, node, tangent, 0.01);
            ASSERT_EQ(line.size(), 2U) << node;
            EXPECT_GT(Vector::Normalized(line[1] - line[0], 0.0) * tangent, 0.97);
        }
        const Vec3d any = RandomTangent(random) ^ normal;
        const Line line = LineFromNode(mesh, node, any, 0.01);
        ASSERT_EQ(line.size(), 2U) << node;
        EXPECT_GT(Vector::Normalized(line[1] - line[0], 0.0) * Vector::Normalized(any, 0.0), 0.97);
        EXPECT_EQ(LineFromNode(mesh, node, normal, 0.01).size(), 1U) << "straight off the surface";
    }
}

TEST(StraightestPath, LeavesABoundaryNodeOnlyOntoTheSurface)
{
    const HalfEdges mesh = Loaded(Support::Grid(1, 1));
    for (int degrees = 0; degrees < 360; degrees += 5) {
        const double angle = degrees * kRadiansPerDegree;
        const Line line = LineFromNode(mesh, 0, {std::cos(angle), std::sin(angle), 0}, 0.5);
        EXPECT_EQ(line.size(), degrees <= 90 ? 2U : 1U) << degrees;
    }
}

// --- starts on edges ----------------------------------------------------------------------------

TEST(StraightestPath, LeavesAnEdgeOnTheSideToWhichTheDirectionLeads)
{
    // The apexes of the two triangles lie far to the sides: the one on the left behind, the one on
    // the right ahead. A direction ahead and to the left leads onto the left.
    const HalfEdges mesh =
        Loaded({{{0, 0, 0}, {1, 0, 0}, {-9, 1, 0}, {10, -1, 0}}, {0, 1, 2, 1, 0, 3}});
    const int edge = mesh.FindEdge(0, 1);
    for (const int halfEdge : {edge, edge ^ 1}) {
        for (int degrees = 0; degrees < 360; degrees += 15) {
            const double angle = degrees * kRadiansPerDegree;
            const Vec3d direction(std::cos(angle), std::sin(angle), 0);
            Line line{{0.5, 0, 0}};
            Walk walk = NewWalk(mesh);
            ASSERT_TRUE(walk.StartOnEdge(halfEdge, line[0], direction)) << degrees;
            walk.Walk(0.01, kMost, line);
            ASSERT_EQ(line.size(), 2U) << degrees;
            ExpectNear(line[1], line[0] + direction * 0.01, 1e-15);
        }
    }
}

TEST(StraightestPath, LeavesABoundaryEdgeOnlyOntoTheSurface)
{
    const HalfEdges mesh = Loaded({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}});
    const int edge = mesh.FindEdge(0, 1);
    for (const int halfEdge : {edge, edge ^ 1}) {
        Walk walk = NewWalk(mesh);
        EXPECT_TRUE(walk.StartOnEdge(halfEdge, {0.5, 0, 0}, {0.9, 0.1, 0}));
        EXPECT_TRUE(walk.StartOnEdge(halfEdge, {0.5, 0, 0}, {1, 0, 0}));
        EXPECT_FALSE(walk.StartOnEdge(halfEdge, {0.5, 0, 0}, {0.9, -0.1, 0}));
    }
}

TEST(StraightestPath, ARidgeGivesNoWayStraightUp)
{
    const HalfEdges roof =
        Loaded({{{0, 0, 0}, {1, 0, 0}, {0.5, 1, -1}, {0.5, -1, -1}}, {0, 1, 2, 1, 0, 3}});
    Walk walk = NewWalk(roof);
    EXPECT_FALSE(walk.StartOnEdge(roof.FindEdge(0, 1), {0.5, 0, 0}, {0, 0, 1}));
    EXPECT_TRUE(walk.StartOnEdge(roof.FindEdge(0, 1), {0.5, 0, 0}, {0, 0, -1}));
}

// --- what holds on any surface ------------------------------------------------------------------

TEST(StraightestPath, ComesBackTheSameWay)
{
    const IndexedMesh torus = Support::Torus(40, 17);
    IndexedMesh bumpy = Support::WavySheet<double>(800);
    Random random(4);
    for (const IndexedMesh& surface : {torus, bumpy, Support::Sphere(3)}) {
        const HalfEdges mesh = Loaded(surface);
        const auto faces = static_cast<int>(surface.indices.size() / 3);
        double size = 0;
        for (const Vec3d& p : surface.points) {
            size = std::max(size, Vector::Length(p - surface.points[0]));
        }
        for (int round = 0; round < Support::Rounds(40); ++round) {
            const int face = random.Below(faces);
            const Vec3d start = Center(surface, face);
            const Line line = LineFrom(mesh, face, start, RandomTangent(random), size);
            ASSERT_GE(line.size(), 2U);
            // Half way back from the last crossing, which may be on the boundary, lies inside a
            // triangle: find it by its plane.
            const Vec3d turn = (line.back() + line[line.size() - 2]) / 2.0;
            int at = -1;
            for (int f = 0; f < faces && at < 0; ++f) {
                double u = 0;
                double v = 0;
                double w = 0;
                const Vec3d a = Corner(surface, f, 0);
                const Vec3d b = Corner(surface, f, 1);
                const Vec3d c = Corner(surface, f, 2);
                if (Vector::BarycentricCoordinates(a, b, c, turn, u, v, w, 1e-12) && u > 0 &&
                    v > 0 && w > 0 && Vector::Length(a * u + b * v + c * w - turn) < 1e-12 * size) {
                    at = f;
                }
            }
            ASSERT_GE(at, 0);
            const double back = LengthOf(line) - Vector::Length(line.back() - turn);
            const Line reverse =
                LineFrom(mesh, at, turn, line[line.size() - 2] - line.back(), back);
            ExpectNear(reverse.back(), start, 1e-9 * size);
        }
    }
}

TEST(StraightestPath, NearsGreatCirclesOnASphere)
{
    // A polyhedron has the sphere's curvature at its nodes only, at each as much as the triangles
    // round it have area: of the order of the squared edge. A line that passes a node on the other
    // side than the great circle is turned by that much, and in half a turn it passes as many nodes
    // as edges fit in: it stays nearer to the great circle than one edge is long.
    for (const int level : {2, 3, 4, 5, 6}) {
        const IndexedMesh sphere = Support::Sphere(level);
        const HalfEdges mesh = Loaded(sphere);
        Random random(5);
        double worst = 0;
        for (int round = 0; round < Support::Rounds(40, 10); ++round) {
            const int face = random.Below(static_cast<int>(sphere.indices.size() / 3));
            const Vec3d start = Center(sphere, face);
            const Vec3d direction = RandomTangent(random) ^ start;
            const Vec3d axis = Vector::Normalized(start ^ direction, 0.0);
            const Line line = LineFrom(mesh, face, start, direction, kPi<double>);
            for (const Vec3d& p : line) {
                worst = std::max(worst, std::fabs(p * axis));
            }
        }
        double longest = 0;
        for (int k = 0; k < mesh.EdgeCount(); k += 2) {
            const std::vector<int> ends = mesh.EdgeNodes(k);
            longest = std::max(longest,
                               Vector::Length(mesh.GetVertex(ends[0]) - mesh.GetVertex(ends[1])));
        }
        EXPECT_LT(worst, longest) << "level " << level;
        EXPECT_GT(worst, 0.0);
    }
}

TEST(StraightestPath, IsTheSameFarFromTheOriginAndInAnyScale)
{
    const IndexedMesh torus = Support::Torus(40, 17);
    const Vec3d direction(0.3, 0.5, 0.2);
    const Line line = LineFrom(Loaded(torus), 11, Center(torus, 11), direction, 25.0);
    ASSERT_GT(line.size(), 40U);
    for (const auto& [scale, shift] : {std::pair(1.0, 1e6), {1e-6, 0.0}, {1e6, 0.0}}) {
        const Vec3d offset(shift, shift, -shift);
        const double factor = scale;
        const IndexedMesh moved =
            Support::Mapped(torus, [&](const Vec3d& p) { return p * factor + offset; });
        const HalfEdges mesh = Loaded(moved);
        Line there{Center(moved, 11)};
        Walk walk(mesh, kTolerance / 2 * scale, kTolerance / 2 * scale);
        ASSERT_TRUE(walk.StartInFace(11, there[0], direction));
        walk.Walk(25.0 * scale, kMost, there);
        for (double s = 0; s < 25; s += 0.1) {
            ExpectNear((PointAt(there, s * scale) - offset) / scale, PointAt(line, s),
                       shift == 0 ? 1e-11 : 1e-7);
        }
    }
}

// --- hostile meshes and arguments ---------------------------------------------------------------

TEST(StraightestPath, CrossesTrianglesWithoutArea)
{
    // A sheet of two rows with a row of flat triangles between them: the row's lower points lie on
    // the upper edges, at other places.
    IndexedMesh sheet;
    constexpr int kCount = 9;
    for (int i = 0; i <= kCount; ++i) {
        sheet.points.push_back({i, 0, 0});                                      // 4i
        sheet.points.push_back({i + (i > 0 && i < kCount ? 0.25 : 0.0), 1, 0}); // below the seam
        sheet.points.push_back({i, 1, 0});                                      // above it
        sheet.points.push_back({i, 2, 0});
    }
    for (int i = 0; i < kCount; ++i) {
        for (int row = 0; row < 3; ++row) {
            const int a = 4 * i + row;
            const int b = a + 4;
            sheet.indices.insert(sheet.indices.end(), {a, b, b + 1, a, b + 1, a + 1});
        }
    }
    const HalfEdges mesh = Loaded(sheet);
    Random random(6);
    for (int round = 0; round < Support::Rounds(300); ++round) {
        const double angle = random.Between(0.3, kPi<double> - 0.3);
        const int face = 6 * random.Below(kCount);
        const Vec3d start = Center(sheet, face);
        const Vec3d direction(std::cos(angle), std::sin(angle), 0);
        const Line line = LineFrom(mesh, face, start, direction, 50.0);
        const Vec3d end = line.back();
        EXPECT_NEAR(((end - start) ^ direction).z(), 0.0, 1e-12) << angle;
        EXPECT_TRUE(end.y() == 2 || end.x() == 0 || end.x() == kCount) << end;
    }
}

TEST(StraightestPath, CrossesNeedlesWithoutABend)
{
    // Needles from a common far corner, of which edge lengths tell the shape to few digits only.
    IndexedMesh fan;
    constexpr int kCount = 200;
    fan.points.push_back({0, 1e4, 0});
    for (int i = 0; i <= kCount; ++i) {
        fan.points.push_back({1e-3 * i, 0, 0});
    }
    for (int i = 1; i <= kCount; ++i) {
        fan.indices.insert(fan.indices.end(), {i, i + 1, 0});
    }
    const HalfEdges mesh = Loaded(fan);
    const Vec3d start(0.0005, 1.0, 0);
    const Line line = LineFrom(mesh, 0, start, {1, 0.5, 0}, 0.19);
    ExpectNear(line.back(), start + Vector::Normalized(Vec3d(1, 0.5, 0), 0.0) * 0.19, 1e-9);
    EXPECT_GT(line.size(), 160U);
}

TEST(StraightestPath, EndsWhateverTheLength)
{
    const HalfEdges mesh = Loaded(Support::Sphere(2));
    const Vec3d start = Center(Support::Sphere(2), 0);
    const Line line = LineFrom(mesh, 0, start, {1, 2, -3}, 1e300);
    EXPECT_LE(line.size(), static_cast<std::size_t>(mesh.FaceCount()) + 2);
    EXPECT_EQ(LineFrom(mesh, 0, start, {1, 2, -3}, 0.0).size(), 1U);
    EXPECT_EQ(LineFrom(mesh, 0, start, {1, 2, -3}, -1.0).size(), 1U);
}

TEST(StraightestPath, ALineOfTooManyPointsIsGivenUp)
{
    const IndexedMesh tetrahedron = Support::Tetrahedron();
    const HalfEdges mesh = Loaded(tetrahedron);
    Line line{Center(tetrahedron, 0)};
    Walk walk = NewWalk(mesh);
    ASSERT_TRUE(walk.StartInFace(0, line[0], {1, 2, -3}));
    walk.Walk(1e9, 5000, line);
    EXPECT_EQ(line.size(), 5000U);
}

TEST(StraightestPath, DirectionsThatLeadNowhereGiveNoStart)
{
    const HalfEdges mesh = Loaded(Support::Octahedron());
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const Vec3d center(1.0 / 3, 1.0 / 3, 1.0 / 3);
    Walk walk = NewWalk(mesh);
    const Vec3d none[] = {{0, 0, 0}, {nan, 0, 0}, {infinity, 0, 0}, {1e-13, 0, 0}};
    for (const Vec3d& direction : none) {
        EXPECT_FALSE(walk.StartInFace(0, center, direction)) << direction;
        EXPECT_FALSE(walk.StartOnEdge(0, mesh.GetVertex(0), direction)) << direction;
        EXPECT_FALSE(walk.StartAtNode(0, 0, direction)) << direction;
    }
    EXPECT_FALSE(walk.StartInFace(0, center, {1, 1, 1})) << "square to the triangle";
    // Huge ones are directions like any other.
    Line line{center};
    ASSERT_TRUE(walk.StartInFace(0, center, {1e300, -1e300, 0}));
    walk.Walk(0.1, kMost, line);
    ExpectNear(line.back(), center + Vec3d(1, -1, 0) * (0.1 / std::sqrt(2.0)), 1e-15);
}

TEST(StraightestPath, ATriangleWithoutCornersIsReported)
{
    HalfEdges mesh = Loaded(Support::Cube());
    mesh.EdgeRecord(mesh.FaceRecord(0)->edge)->next = HalfEdge::kNotSet;
    Support::ExpectAssertions(1);
    Walk walk = NewWalk(mesh);
    EXPECT_FALSE(walk.StartInFace(0, {0.3, 0.6, 0}, {1, 0, 0}));
    EXPECT_EQ(Support::LastAssertion(),
              "ProjectionImprinting_Impl:734 Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<"
              "unsigned __int64>::CollectPath");
}

TEST(StraightestPath, ALineThatFindsNoWayOutIsReported)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const HalfEdges mesh = Loaded({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}});
    Support::ExpectAssertions(1);
    const Line line = LineFrom(mesh, 0, {nan, 0.2, 0}, {1, 0, 0}, 1.0);
    EXPECT_EQ(line.size(), 1U);
    EXPECT_EQ(Support::LastAssertion(),
              "ProjectionImprinting_Impl:781 Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<"
              "unsigned __int64>::CollectPath");
}

TEST(StraightestPath, RecordsThatAreNotThereGiveNoStart)
{
    const HalfEdges mesh = Loaded(Support::Cube());
    Walk walk = NewWalk(mesh);
    for (const int number : {-4, -1, 1000}) {
        EXPECT_FALSE(walk.StartInFace(number, {0.3, 0.6, 0}, {1, 0, 0}));
        EXPECT_FALSE(walk.StartAtNode(number, number, {1, 0, 0}));
    }
    EXPECT_FALSE(walk.StartOnEdge(1000, {0.3, 0.6, 0}, {1, 0, 0}));
}

} // namespace
