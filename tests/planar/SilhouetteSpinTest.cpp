#include <Sorvane/Silhouette_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Outline = std::vector<Vec2d>;
template <class T>
using MeshOf = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T>;
using MeshD = MeshOf<double>;

/// Largest distance from the axis at which any edge passes a height: where the edge is there, in
/// space.
double LargestRadius(const MeshD& mesh, double z)
{
    double radius = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec3d& a = mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
            const Vec3d& b = mesh.points[static_cast<std::size_t>(mesh.indices[i + (k + 1) % 3])];
            if (a.z() == b.z() || z < std::min(a.z(), b.z()) || z > std::max(a.z(), b.z())) {
                continue;
            }
            const double t = (z - a.z()) / (b.z() - a.z());
            radius = std::max(radius,
                              std::hypot(a.x() + t * (b.x() - a.x()), a.y() + t * (b.y() - a.y())));
        }
    }
    return radius;
}

double DistanceToOutline(const Outline& outline, const Vec2d& p)
{
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < outline.size(); ++i) {
        const Vec2d& a = outline[i - 1];
        const Vec2d d = outline[i] - a;
        const double square = d.x() * d.x() + d.y() * d.y();
        const double t =
            square > 0
                ? std::clamp(((p.x() - a.x()) * d.x() + (p.y() - a.y()) * d.y()) / square, 0.0, 1.0)
                : 0.0;
        least = std::min(least, std::hypot(p.x() - a.x() - t * d.x(), p.y() - a.y() - t * d.y()));
    }
    return least;
}

/// What every outline must be, and its corners as far out as the mesh is. `slack` bears that edges
/// alike within the step count once.
void ExpectOutline(const MeshD& mesh, const Outline& outline, double slack)
{
    ASSERT_GE(outline.size(), 4u);
    EXPECT_EQ(outline.front(), outline.back());
    EXPECT_EQ(outline.front().x(), 0);
    EXPECT_EQ(outline[outline.size() - 2].x(), 0);
    double low = mesh.points[0].z();
    double high = low;
    for (const Vec3d& p : mesh.points) {
        low = std::min(low, p.z());
        high = std::max(high, p.z());
    }
    EXPECT_EQ(outline.front().y(), low);
    EXPECT_EQ(outline[outline.size() - 2].y(), high);
    for (std::size_t i = 1; i + 2 < outline.size(); ++i) {
        EXPECT_LE(outline[i - 1].y(), outline[i].y());
        const double radius = LargestRadius(mesh, outline[i].y());
        EXPECT_LE(outline[i].x(), radius * (1 + 1e-9) + 1e-9);
        EXPECT_GE(outline[i].x(), radius - slack - 1e-9);
    }
}

MeshD RandomSoup(Random& random, int triangles)
{
    MeshD mesh;
    for (int i = 0; i < 3 * triangles; ++i) {
        mesh.points.push_back(
            {random.Between(-4, 9), random.Between(-4, 9), random.Between(0, 10)});
        mesh.indices.push_back(i);
    }
    return mesh;
}

/// The triangle's edges are the line x = 1 slanted in the y direction by `slope`: a hyperboloid of
/// waist 1.
MeshD Slanted(double slope, double half)
{
    return {{{1, -slope * half, -half}, {1, slope * half, half}, {1, 0, 0}}, {0, 1, 2}};
}

} // namespace

TEST(SilhouetteSpin, ASphereIsAHalfCircle)
{
    const double step = 0.01;
    const auto outline = SpinBoundary<double>(Sphere(5), step);
    ASSERT_GE(outline.size(), 10u);
    EXPECT_EQ(outline.front(), Vec2d(0, -1));
    EXPECT_EQ(outline.back(), Vec2d(0, -1));
    EXPECT_EQ(outline[outline.size() - 2], Vec2d(0, 1));
    for (std::size_t i = 0; i + 1 < outline.size(); ++i) {
        EXPECT_NEAR(std::hypot(outline[i].x(), outline[i].y()), 1, 2 * step);
    }
    for (int k = 0; k <= 60; ++k) {
        const double angle = kPi<double> * k / 60;
        EXPECT_LT(DistanceToOutline(outline, {std::sin(angle), -std::cos(angle)}), 3 * step);
    }
}

TEST(SilhouetteSpin, AMeshNoHigherThanTheStepIsEmpty)
{
    EXPECT_TRUE(SpinBoundary<double>(Cube(), 1.0).empty());
    EXPECT_FALSE(SpinBoundary<double>(Cube(), 0.999).empty());
    EXPECT_TRUE(SpinBoundary<double>(Grid(3, 3), 0.1).empty());
    EXPECT_TRUE(SpinBoundary<double>({}, 0.1).empty());
    EXPECT_TRUE(SpinBoundary<double>(Cube(), std::numeric_limits<double>::infinity()).empty());
    EXPECT_TRUE(SpinBoundary<double>(Cube(), std::numeric_limits<double>::quiet_NaN()).empty());
}

TEST(SilhouetteSpin, ACylinderIsARectangle)
{
    const auto outline =
        SpinBoundary<double>(TurnedBody({{0, 2}, {3, 2}, {3, 8}, {0, 8}}, 64), 0.05);
    ASSERT_EQ(outline.size(), 5u);
    const Outline expected{{0, 2}, {3, 2}, {3, 8}, {0, 8}, {0, 2}};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(outline[i].x(), expected[i].x(), 1e-9);
        EXPECT_NEAR(outline[i].y(), expected[i].y(), 1e-9);
    }
}

// Beside the axis: what counts is the farthest corner, all the way up.
TEST(SilhouetteSpin, ABoxBesideTheAxisReachesAsFarAsItsFarthestEdge)
{
    MeshD box = Cube();
    for (Vec3d& p : box.points) {
        p = Vec3d(p.x() + 2, p.y() + 1, p.z() * 4);
    }
    const auto outline = SpinBoundary<double>(box, 0.1);
    for (std::size_t i = 1; i + 2 < outline.size(); ++i) {
        EXPECT_NEAR(outline[i].x(), std::sqrt(13.0), 1e-12);
    }
}

TEST(SilhouetteSpin, ASlantedEdgeSweepsAHyperboloid)
{
    const auto outline = SpinBoundary<double>(Slanted(1, 3), 0.001);
    ASSERT_GE(outline.size(), 20u);
    for (std::size_t i = 1; i + 2 < outline.size(); ++i) {
        EXPECT_NEAR(outline[i].x(), std::sqrt(1 + outline[i].y() * outline[i].y()), 1e-9);
    }
    EXPECT_LT(DistanceToOutline(outline, {1, 0}), 0.002);
}

// In a plane with the axis an edge is straight. One that passes through the axis counts as the
// straight line between its ends and not as the cross that it sweeps.
TEST(SilhouetteSpin, EdgesInAPlaneWithTheAxisAreStraight)
{
    const MeshD through{{{-2, 0, 0}, {4, 0, 6}, {1, 0, 3}}, {0, 1, 2}};
    const auto outline = SpinBoundary<double>(through, 0.5);
    for (const Vec2d& corner : {Vec2d(2, 0), Vec2d(4, 6)}) {
        EXPECT_LT(DistanceToOutline(outline, corner), 1e-9);
    }
    EXPECT_LT(DistanceToOutline(outline, {3, 3}), 1e-9);
}

namespace {

/// Upright in the plane of x and z: spun, it is as wide at each height as the polyline tells.
MeshD Fin(const std::vector<Vec2d>& radii)
{
    MeshD fin;
    for (const Vec2d& p : radii) {
        fin.points.push_back({p.x(), 0, p.y()});
    }
    for (int i = 1; i < static_cast<int>(radii.size()); ++i) {
        fin.indices.insert(fin.indices.end(), {i - 1, i, i - 1});
    }
    return fin;
}

} // namespace

// A turn by 1 degree is a corner; one by a tenth of a degree is a straight line, though the corner
// is farther off the chord than a step.
TEST(SilhouetteSpin, TurnsByMoreThanAQuarterDegreeAreCorners)
{
    const double pi = std::acos(-1.0);
    const auto outlineOf = [&](double degrees) {
        return SpinBoundary<double>(
            Fin({{10, 0}, {10, 100}, {10 + 100 * std::tan(degrees * pi / 180), 200}}), 0.05);
    };
    EXPECT_LT(DistanceToOutline(outlineOf(1), {10, 100}), 0.06);
    EXPECT_LT(DistanceToOutline(outlineOf(0.3), {10, 100}), 0.06);
    EXPECT_EQ(outlineOf(0.1).size(), 5u);
    EXPECT_NEAR(DistanceToOutline(outlineOf(0.1), {10, 100}), 50 * std::tan(0.1 * pi / 180), 1e-3);
}

// 1 by 0.6 are two stretches: the sample in the middle sees the rim.
TEST(SilhouetteSpin, SamplesAreNoFartherApartThanTheStep)
{
    const auto outline = SpinBoundary<double>(Fin({{1, 0}, {5, 0.5}, {1, 1}}), 0.6);
    EXPECT_LT(DistanceToOutline(outline, {5, 0.5}), 1e-12);
}

// Off the chord by half a step and by one and a half.
TEST(SilhouetteSpin, WhatIsWithinTheStepOfTheChordIsLeftOut)
{
    const auto outlineOf = [](double bump) {
        return SpinBoundary<double>(Fin({{10, 0}, {10, 4}, {10 + bump, 5}, {10, 6}, {10, 10}}),
                                    0.1);
    };
    EXPECT_EQ(outlineOf(0.05).size(), 5u);
    EXPECT_LT(DistanceToOutline(outlineOf(0.15), {10.15, 5}), 0.1 + 1e-9);
}

TEST(SilhouetteSpin, StepsBelowTheLeastCountAsTheLeast)
{
    EXPECT_FALSE(SpinBoundary<double>(Fin({{1, 0}, {1, 2e-4}, {1, 5e-4}}), 1e-4).empty());
    EXPECT_FALSE(SpinBoundary<double>(Fin({{1, 0}, {1, 1e-8}, {1, 2e-8}}), 0).empty());
    EXPECT_TRUE(SpinBoundary<double>(Fin({{1, 0}, {1, 2e-9}, {1, 5e-9}}), 0).empty());
}

// From one end of the bar to a point a quarter of a turn on at the height of its other end: both
// edges have their ends at the same (radius, z), but this one has a waist.
TEST(SilhouetteSpin, EdgesOfTheSameEndsAreToldApartByTheirWaist)
{
    const MeshD twisted{{{1, 0, 0}, {1, 0, 5}, {0, 1, 5}, {0.2, 0, 2}}, {0, 1, 3, 0, 2, 2}};
    EXPECT_LT(DistanceToOutline(SpinBoundary<double>(twisted, 0.1), {1, 2.5}), 1e-9);
}

// Upright bars at one radius, the second higher by a gap: within the step its edges are those of
// the first, and what it has above them is not there.
TEST(SilhouetteSpin, EdgesAlikeWithinTheStepCountOnce)
{
    const auto topOfRim = [](double gap) {
        const MeshD bars{{{1, 0, 0}, {1, 0, 5}, {1, 0, 2}, {0, 1, 0}, {0, 1, 5 + gap}, {0, 1, 2}},
                         {0, 1, 2, 3, 4, 5}};
        double top = 0;
        for (const Vec2d& p : SpinBoundary<double>(bars, 0.1)) {
            top = p.x() > 0.5 ? std::max(top, p.y()) : top;
        }
        return top;
    };
    EXPECT_LE(topOfRim(0.05), 5);
    EXPECT_EQ(topOfRim(0.15), 5.15);
}

// Wherever edges reach, on soups whose envelope changes hands many times, with samples by the
// thousand.
TEST(SilhouetteSpin, IsTheEnvelopeOfAllEdges)
{
    Random random(5);
    for (int round = 0; round < Rounds(12); ++round) {
        const auto mesh = RandomSoup(random, 5 + 15 * round);
        const double step = round % 2 == 0 ? 0.003 : 0.05;
        const auto outline = SpinBoundary<double>(mesh, step);
        ASSERT_NO_FATAL_FAILURE(ExpectOutline(mesh, outline, step));
    }
}

TEST(SilhouetteSpin, ManyThreadsGiveTheSameOutline)
{
    Random random(6);
    const auto mesh = RandomSoup(random, 2000);
    Outline one;
    WithThreads(1, [&] { one = SpinBoundary<double>(mesh, 0.002); });
    EXPECT_EQ(SpinBoundary<double>(mesh, 0.002), one);
}

// n samples and not n + 1 would cut the rim of this flange off, where the height of the last sample
// rounds to more than that of the rim it would have no radius.
TEST(SilhouetteSpin, TheTopmostCornerIsKept)
{
    const std::vector<std::pair<double, double>> cases{
        {0.7, 0.02}, {1e5 / 3, 1e3}, // whole parts of the height, or not
        {0.2, 0.07}, {0.4, 0.07},    {1.3, 0.1}, {1.9, 0.05}};
    EXPECT_GT(3 * 0.2 / 3, 0.2); // rounds to more, as those that follow do
    for (const auto& [top, step] : cases) {
        const auto outline = SpinBoundary<double>(
            TurnedBody({{0, 0}, {top, 0}, {3 * top, top}, {0, top}}, 40), step);
        EXPECT_NEAR(outline[outline.size() - 3].x() / top, 3, 1e-9) << top;
        EXPECT_EQ(outline[outline.size() - 3].y(), top);
    }
}

// A rough rod with very many samples in one stretch that thins to few points.
TEST(SilhouetteSpin, ThinsLongRoughStretches)
{
    Random random(8);
    std::vector<Vec2d> profile{{0, 0}};
    const int rings = FullOr(20'000, 500);
    for (int i = 0; i <= rings; ++i) {
        profile.push_back({5 + random.Between(0, 0.01), i * 0.01});
    }
    profile.push_back({0, rings * 0.01});
    const auto outline = SpinBoundary<double>(TurnedBody(profile, 3), 0.02);
    EXPECT_LE(outline.size(), 12u);
    for (std::size_t i = 1; i + 2 < outline.size(); ++i) {
        EXPECT_NEAR(outline[i].x(), 5.005, 0.02);
    }
}

TEST(SilhouetteSpin, OfFloatIsThatOfDouble)
{
    MeshOf<float> mesh;
    const auto exact = TurnedBody({{0, 2}, {3, 2}, {3, 8}, {0, 8}}, 64);
    for (const Vec3d& p : exact.points) {
        mesh.points.push_back(
            {static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z())});
    }
    mesh.indices = exact.indices;
    const auto outline = SpinBoundary<float>(mesh, 0.05F);
    ASSERT_EQ(outline.size(), 5u);
    EXPECT_NEAR(outline[2].x(), 3, 1e-6);
    EXPECT_EQ(outline[2].y(), 8);
}

TEST(SilhouetteSpin, PointsThatAreNotFiniteTakeTheirTrianglesWithThem)
{
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        auto mesh = TurnedBody({{0, 2}, {3, 2}, {3, 8}, {0, 8}}, 64);
        const int next = static_cast<int>(mesh.points.size());
        mesh.points.push_back({9, bad, 4});
        mesh.points.push_back({bad, bad, bad});
        mesh.indices.insert(mesh.indices.end(), {0, 1, next, 2, 3, next + 1});
        EXPECT_EQ(SpinBoundary<double>(mesh, 0.05).size(), 5u);
    }
}

TEST(SilhouetteSpin, AStepTooFineEndsWithAnException)
{
    MeshD tall = Cube();
    for (Vec3d& p : tall.points) {
        p = p * 1e15;
    }
    EXPECT_ANY_THROW(SpinBoundary<double>(tall, 0)); // 10^23 samples
}

TEST(SilhouetteSpin, RunsOutOfMemoryWithAnException)
{
    const auto mesh = TurnedBody({{0, 2}, {3, 2}, {3, 8}, {0, 8}}, 16);
    WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([&] { return SpinBoundary<double>(mesh, 0.05); }), 5U);
    });
}

TEST(SilhouetteSpin, EnvelopeOfARealPart)
{
    const auto file = SharedData("meshes_cad/round.stl");
    SORVANE_NEED_DATA(file);
    const auto mesh = WeldedStl<double>(file);
    const auto outline = SpinBoundary<double>(mesh, 0.05);
    ExpectOutline(mesh, outline, 0.05);
}
