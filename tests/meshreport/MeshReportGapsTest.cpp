// The gap check: small cases by hand, and random components against plain loops over boundary
// segments.

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/MeshReport_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::CheckGaps;
using Sorvane::MeshUtils::GapReport;
using Support::Cube;
using Support::Grid;
using Support::IndexedMesh;
using Support::Random;
using Support::Together;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kNoPartner = 1.3407807929942596e154; // root of the greatest finite number

GapReport GapsOf(const IndexedMesh& mesh) { return CheckGaps(mesh.points, mesh.indices); }

IndexedMesh Moved(IndexedMesh mesh, const Vec3d& by)
{
    for (Vec3d& p : mesh.points) {
        p += by;
    }
    return mesh;
}

TEST(GapCheck, FieldsStandInTheirOrder)
{
    const GapReport report{{1, 2, 3}, 4, true};
    EXPECT_EQ(report.location, Vec3d(1, 2, 3));
    EXPECT_EQ(report.gap, 4);
    EXPECT_TRUE(report.invalidMesh);
    EXPECT_EQ(GapReport(), (GapReport{{0, 0, 0}, 0, false}));
}

TEST(GapCheck, EmptyMeshHasNoGapAndIsValid)
{
    EXPECT_EQ(CheckGaps({}, {}), GapReport());
    EXPECT_EQ(CheckGaps({{1, 2, 3}, {4, 5, 6}}, {}), GapReport());
}

TEST(GapCheck, ClosedComponentsHaveNoGap)
{
    EXPECT_EQ(GapsOf(Cube()), GapReport());
    EXPECT_EQ(GapsOf(Together(Cube(), Moved(Cube(), {5, 0, 0}))), GapReport());
}

TEST(GapCheck, OneOpenComponentHasNoPartner)
{
    const GapReport report = GapsOf(Moved(Grid(2, 2), {10, 20, 30}));
    EXPECT_FALSE(report.invalidMesh);
    EXPECT_EQ(report.gap, kNoPartner);
    EXPECT_EQ(report.location.z(), 30);
    EXPECT_GE(report.location.x(), 10);
}

TEST(GapCheck, AnOpenComponentBesideAClosedOneHasNoPartner)
{
    EXPECT_EQ(GapsOf(Together(Cube(), Moved(Grid(1, 1), {5, 0, 0}))).gap, kNoPartner);
}

TEST(GapCheck, TwoSquaresAreAsFarApartAsTheirFarSides)
{
    // Half a unit between them: the far edges are 1.5 from the other square.
    EXPECT_EQ(GapsOf(Together(Grid(1, 1), Moved(Grid(1, 1), {1.5, 0, 0}))).gap, 1.5);
    // With a third one the worst point is still one of an outer square.
    const auto three = Together(Together(Grid(1, 1), Moved(Grid(1, 1), {1.5, 0, 0})),
                                Moved(Grid(1, 1), {3, 0, 0}));
    EXPECT_EQ(GapsOf(three).gap, 1.5);
}

TEST(GapCheck, DistanceIsToTheSegmentNotToItsPoints)
{
    // One triangle whose tip is right above the middle of an edge of 8; the edge's ends are 5 from
    // the tip, but the tip is 3 from the edge.
    const IndexedMesh mesh = {
        {{-4, 0, 0}, {4, 0, 0}, {0, -1e-3, 0}, {0, 3, 0}, {0.5, 3, 0}, {0, 3.25, 0}},
        {0, 1, 2, 3, 5, 4}};
    // Boundary points: (-4, 0), (4, 0), (0, -0.001) and the three of the small one. The farthest is
    // (-4, 0): 5 from (0, 3).
    EXPECT_EQ(GapsOf(mesh).gap, 5);
}

TEST(GapCheck, EverySideOfABoundaryCountsTheClosingOneToo)
{
    // A triangle with a speck at each of its corners, so that these have a partner at hand, and a
    // last component half a unit below the middle of its edge of 8, which is edge k of it in turn.
    for (int k = 0; k < 3; ++k) {
        IndexedMesh mesh = {{{0, 0, 0}, {8, 0, 0}, {4, 6, 0}}, {0, 1, 2}};
        std::rotate(mesh.indices.begin(), mesh.indices.begin() + k, mesh.indices.end());
        const std::vector<Vec3d> corners = mesh.points;
        constexpr double kSpeck = 1.0 / 1024;
        for (const Vec3d& corner : corners) {
            mesh = Together(
                std::move(mesh),
                {{corner, corner + Vec3d(0, 0, kSpeck), corner + Vec3d(0, kSpeck, 0)}, {0, 1, 2}});
        }
        const IndexedMesh last = {{{4, -0.25, 0}, {4, -0.5, 0}, {4.125, -0.25, 0}}, {0, 1, 2}};
        EXPECT_EQ(GapsOf(Together(std::move(mesh), last)).gap, 0.5) << k;
    }
}

TEST(GapCheck, LocationIsWhereTheLastLoopBeginsAndEnds)
{
    // The boundary runs against the triangle: along its first edge from point 1 to point 0.
    const std::vector<Vec3d> points = {{1, 0, 0}, {2, 0, 0}, {3, 5, 0}};
    EXPECT_EQ(CheckGaps(points, {0, 1, 2}).location, points[1]);
    EXPECT_EQ(CheckGaps(points, {1, 2, 0}).location, points[2]);
    EXPECT_EQ(CheckGaps(points, {2, 0, 1}).location, points[0]);
}

TEST(GapCheck, ComponentsThatTouchAlongTheirBoundariesHaveNoGap)
{
    // Opposed squares, one upon the other, point by point.
    auto below = Grid(3, 3);
    const auto above = Grid(3, 3);
    for (std::size_t i = 0; i < below.indices.size(); i += 3) {
        std::swap(below.indices[i], below.indices[i + 1]);
    }
    const GapReport report = GapsOf(Together(above, below));
    EXPECT_NEAR(report.gap, 0, 1e-12);
    // The last point of the last loop, which closes where it began: on the boundary of the square.
    const Vec3d p = report.location;
    EXPECT_TRUE(p.x() == 0 || p.x() == 3 || p.y() == 0 || p.y() == 3) << p;
}

TEST(GapCheck, LocationIsOfTheLastComponentWithABoundary)
{
    const auto near = Grid(1, 1);
    const auto far = Moved(Grid(1, 1), {0, 0, 7});
    EXPECT_EQ(GapsOf(Together(near, far)).location.z(), 7);
    EXPECT_EQ(GapsOf(Together(far, near)).location.z(), 0);
    EXPECT_EQ(GapsOf(Together(Together(near, far), Moved(Cube(), {9, 9, 9}))).location.z(), 7);
}

TEST(GapCheck, PinchIsNoConnectionAndGivesDistanceZeroThere)
{
    // Two triangles with one common point are two components: it is at distance 0, and the far
    // corners at their distance from it or beyond.
    const IndexedMesh mesh = {{{0, 0, 0}, {-3, 1, 0}, {-3, -1, 0}, {4, -1, 0}, {4, 1, 0}},
                              {0, 1, 2, 0, 3, 4}};
    const GapReport report = GapsOf(mesh);
    EXPECT_FALSE(report.invalidMesh);
    EXPECT_NEAR(report.gap, std::sqrt(17.0), 1e-15); // from (4, 1) to the common point
}

TEST(GapCheck, HolesOfOneComponentAreNotPartnersOfEachOther)
{
    // A sheet with a hole in it is one component with two loops.
    const auto sheet = Support::Without(Grid(5, 5), {24, 25});
    EXPECT_EQ(GapsOf(sheet).gap, kNoPartner);
}

TEST(GapCheck, PointsAreNotWelded)
{
    // A cube as a soup of twelve triangles: all boundaries lie upon others.
    const IndexedMesh cube = Cube();
    IndexedMesh soup;
    for (const int i : cube.indices) {
        soup.indices.push_back(static_cast<int>(soup.points.size()));
        soup.points.push_back(cube.points[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(GapsOf(soup).gap, 0);
}

TEST(GapCheck, IncompleteTripleAndThreeFansAtAPointAreInvalid)
{
    const GapReport invalid{{0, 0, 0}, 0, true};
    EXPECT_EQ(CheckGaps({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2, 0}), invalid);
    EXPECT_EQ(GapsOf(Support::TrianglesAtOnePoint(3)), invalid);
}

TEST(GapCheck, TriplesThatCanNotBeTakenAreLeftOut)
{
    // Equal and invalid indices, and one that runs a taken edge.
    auto mesh = Together(Grid(1, 1), Moved(Grid(1, 1), {1.5, 0, 0}));
    mesh.indices.insert(mesh.indices.end(), {0, 0, 1, 0, 1, 99, -1, 0, 1, 0, 1, 3});
    const GapReport report = GapsOf(mesh);
    EXPECT_FALSE(report.invalidMesh);
    EXPECT_EQ(report.gap, 1.5);
}

TEST(GapCheck, PointsThatAreNotFiniteHaveNoPartnerAndAreNone)
{
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(), -kMax}) {
        auto mesh = Together(Grid(1, 1), Moved(Grid(1, 1), {1.5, 0, 0}));
        mesh.points[0].y() = bad;
        EXPECT_EQ(GapsOf(mesh).gap, kNoPartner) << bad;
    }
}

// --- against plain loops
// --------------------------------------------------------------------------

double SquaredDistance(const Vec3d& c, const Vec3d& a, const Vec3d& b)
{
    const Vec3d along = b - a;
    const double length2 = along * along;
    double t = 0;
    if (!(length2 <= 1e-24)) {
        t = (c - a) * along / length2;
        t = t < 0 ? 0 : t > 1 ? 1 : t;
    }
    const Vec3d d = c - (a + t * along);
    return d * d;
}

/// For meshes whose triangles are all taken by a half-edge mesh: slots without a partner are the
/// boundary, run the other way, and triangles on one edge are one component.
double GapByLoops(const IndexedMesh& mesh)
{
    std::map<std::pair<int, int>, int> triangleOfSide;
    const int slotCount = static_cast<int>(mesh.indices.size());
    const auto endsOf = [&](int slot) {
        const int next = slot % 3 == 2 ? slot - 2 : slot + 1;
        return std::pair(mesh.indices[static_cast<std::size_t>(slot)],
                         mesh.indices[static_cast<std::size_t>(next)]);
    };
    std::vector<int> component(static_cast<std::size_t>(slotCount / 3));
    std::iota(component.begin(), component.end(), 0);
    const auto root = [&](int t) {
        while (component[static_cast<std::size_t>(t)] != t) {
            t = component[static_cast<std::size_t>(t)];
        }
        return t;
    };
    for (int slot = 0; slot < slotCount; ++slot) {
        const auto [a, b] = endsOf(slot);
        triangleOfSide[{a, b}] = slot / 3;
        const auto twin = triangleOfSide.find({b, a});
        if (twin != triangleOfSide.end()) {
            const int first = std::min(root(slot / 3), root(twin->second));
            const int second = std::max(root(slot / 3), root(twin->second));
            component[static_cast<std::size_t>(second)] = first;
        }
    }
    struct Segment {
        Vec3d a;
        Vec3d b;
        int component;
    };
    std::vector<Segment> boundary;
    for (int slot = 0; slot < slotCount; ++slot) {
        const auto [a, b] = endsOf(slot);
        if (triangleOfSide.count({b, a}) == 0) {
            boundary.push_back({mesh.points[static_cast<std::size_t>(b)],
                                mesh.points[static_cast<std::size_t>(a)], root(slot / 3)});
        }
    }
    double largest = 0;
    for (const Segment& from : boundary) {
        double least = kMax;
        for (const Segment& to : boundary) {
            if (to.component != from.component) {
                least = std::min(least, SquaredDistance(from.a, to.a, to.b));
            }
        }
        largest = std::max(largest, least);
    }
    return std::sqrt(largest);
}

TEST(GapCheck, RandomComponentsAgreeWithPlainLoops)
{
    Random random(41);
    for (int trial = 0; trial < Support::Rounds(60); ++trial) {
        SCOPED_TRACE(trial);
        IndexedMesh mesh;
        const int componentCount = 1 + random.Below(trial % 3 == 0 ? 40 : 4);
        for (int i = 0; i < componentCount; ++i) {
            auto sheet = Grid(1 + random.Below(6), 1 + random.Below(6));
            for (Vec3d& p : sheet.points) {
                p = p * 0.1 + random.Vector<3, double>(-0.03, 0.03);
            }
            mesh = Together(std::move(mesh), Moved(sheet, random.Vector<3, double>(-2, 2)));
        }
        const GapReport report = GapsOf(mesh);
        EXPECT_FALSE(report.invalidMesh);
        EXPECT_EQ(report.gap, GapByLoops(mesh));
    }
}

TEST(GapCheck, TornSphereAgreesWithPlainLoops)
{
    Random random(42);
    const IndexedMesh sphere = Support::Sphere(4);
    int validCount = 0;
    for (int trial = 0; trial < 12; ++trial) {
        SCOPED_TRACE(trial);
        // Three caps at chance heights, shrunk a little each, and taken apart.
        IndexedMesh mesh;
        const double low = random.Between(-0.6, -0.1);
        const double high = random.Between(0.1, 0.6);
        for (const auto& [from, to] :
             {std::pair(-2.0, low), std::pair(low, high), std::pair(high, 2.0)}) {
            IndexedMesh band;
            band.points = sphere.points;
            for (std::size_t i = 0; i < sphere.indices.size(); i += 3) {
                const double z = sphere.points[static_cast<std::size_t>(sphere.indices[i])].z();
                if (from <= z && z < to) {
                    band.indices.insert(
                        band.indices.end(), sphere.indices.begin() + static_cast<std::ptrdiff_t>(i),
                        sphere.indices.begin() + static_cast<std::ptrdiff_t>(i + 3));
                }
            }
            for (Vec3d& p : band.points) {
                p *= random.Between(0.99, 1.0);
            }
            mesh = Together(std::move(mesh), band);
        }
        const GapReport report = GapsOf(mesh);
        if (!report.invalidMesh) {
            ++validCount;
            EXPECT_EQ(report.gap, GapByLoops(mesh));
        }
    }
    EXPECT_GE(validCount, 6);
}

TEST(GapCheck, ManySingleTrianglesAgreeWithPlainLoops)
{
    Random random(43);
    IndexedMesh mesh;
    for (int i = 0; i < Support::Rounds(600, 150); ++i) {
        const Vec3d at = random.Vector<3, double>(-1, 1);
        for (int k = 0; k < 3; ++k) {
            mesh.indices.push_back(static_cast<int>(mesh.points.size()));
            mesh.points.push_back(at + random.Vector<3, double>(-0.05, 0.05));
        }
    }
    EXPECT_EQ(GapsOf(mesh).gap, GapByLoops(mesh));
}

TEST(GapCheck, TwoLongStripsAreMeasuredWithoutComparingAllWithAll)
{
    // 4 * 10^4 boundary points each, the gap far wider than their steps: 3 * 10^9 pairs if compared
    // all.
    const auto strip = Grid(20'000, 1);
    const GapReport report = GapsOf(Together(strip, Moved(strip, {0, 500, 0})));
    EXPECT_EQ(report.gap, 500);
}

} // namespace
