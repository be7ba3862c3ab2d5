// Soups cut by planes: what is kept, what the sections are, and that both together are closed.

#include <Sorvane/TriangleSlicer_E.h>

#include "tests/imprint/SlicerSupport.h"
#include "tests/support/JsonText.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Transform_E.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using namespace Support;
using Mesh::TriangleSlicer;
using Half = TriangleSlicer::HalfspaceTriangles;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const Vec3d kUp(0, 0, 1);

Soup CubeSoup() { return SoupOf(Cube()); }

Half CutAt(const Soup& soup, double z, double tolerance = 1e-9)
{
    return TriangleSlicer(soup).SliceTriangles(kUp, Vec3d(0, 0, z), false, tolerance);
}

double LengthOf(const std::vector<Vec3d>& polyline)
{
    double length = 0;
    for (std::size_t i = 1; i < polyline.size(); ++i) {
        length += Vector::Length(polyline[i] - polyline[i - 1]);
    }
    return length;
}

/// Area of a closed polyline as seen against the normal, counter-clockwise positive.
double AreaAlong(const Vec3d& normal, const std::vector<Vec3d>& polyline)
{
    Vec3d doubled;
    for (std::size_t i = 1; i < polyline.size(); ++i) {
        doubled += (polyline[i - 1] - polyline[0]) ^ (polyline[i] - polyline[0]);
    }
    return doubled * normal / Vector::Length(normal) / 2;
}

double CapAreaAlong(const Vec3d& normal, const Soup& cap)
{
    double area = 0;
    for (const auto& t : cap) {
        area += ((t[1] - t[0]) ^ (t[2] - t[0])) * normal / Vector::Length(normal) / 2;
    }
    return area;
}

/// The kept triangles with the caps, and with the lid, are closed; the volume is that of both.
void ExpectClosed(const Half& half, double volume, double tolerance)
{
    const Soup withCaps = Joined(half.triangles, Caps(half));
    const Soup withLid = Joined(half.triangles, SoupOf(Mesh::CapOfSections(half)));
    EXPECT_EQ(OpenEdges(withCaps), 0U);
    EXPECT_EQ(OpenEdges(withLid), 0U);
    EXPECT_NEAR(SoupVolume(withCaps), volume, tolerance);
    EXPECT_NEAR(SoupVolume(withLid), volume, tolerance);
}

// --- known edge cases ---------------------------------------------------------------------------

TEST(SliceByPlane, APlaneThatMissesKeepsAllOrNothing)
{
    const Soup cube = CubeSoup();
    const Half above = CutAt(cube, 2);
    EXPECT_EQ(above.triangles, cube); // untouched, in order
    EXPECT_TRUE(above.sections.empty());
    const Half below = CutAt(cube, -1);
    EXPECT_TRUE(below.triangles.empty());
    EXPECT_TRUE(below.sections.empty());
}

TEST(SliceByPlane, ATriangleInThePlaneGivesNothing)
{
    const Soup flat{{Vec3d(0, 0, 1), Vec3d(1, 0, 1), Vec3d(0, 1, 1)}};
    for (const double height : {1.0, 1.0 + 5e-11, 1.0 - 5e-11}) {
        const Half half = CutAt(flat, height);
        EXPECT_TRUE(half.triangles.empty());
        EXPECT_TRUE(half.sections.empty());
        EXPECT_TRUE(TriangleSlicer(flat).SegmentsAtIntersection(kUp, {0, 0, 1}).empty());
    }
}

TEST(SliceByPlane, ACornerThatTouchesIsKeptFromBelowAlone)
{
    const Soup hanging{{Vec3d(0, 0, 0), Vec3d(1, 0, 1), Vec3d(0, 1, 1)}};
    EXPECT_TRUE(CutAt(hanging, 0).triangles.empty());
    EXPECT_TRUE(CutAt(hanging, 0).sections.empty());
    const Soup standing{{Vec3d(0, 0, 1), Vec3d(1, 0, 0), Vec3d(0, 1, 0)}};
    EXPECT_EQ(CutAt(standing, 1).triangles, standing);
    EXPECT_TRUE(CutAt(standing, 1).sections.empty());
}

TEST(SliceByPlane, ACubeCutInTheMiddleHasOneSquareAndItsCap)
{
    const TriangleSlicer slicer(CubeSoup());
    const Half half = slicer.SliceTriangles({0, 0, 3}, {7, 8, 0.5}, false, 1e-12);
    EXPECT_EQ(half.normal, Vec3d(0, 0, 3)); // as given
    EXPECT_EQ(half.origin, Vec3d(0.5, 0.5, 0.5));
    ASSERT_EQ(half.sections.size(), 1U);
    const TriangleSlicer::Section& section = half.sections[0];
    EXPECT_TRUE(IsClosedLine(section.polyline));
    EXPECT_EQ(section.polyline, section.outline); // no corner of the cube lies on the plane
    EXPECT_NEAR(LengthOf(section.polyline), 4, 1e-14);
    EXPECT_NEAR(AreaAlong(kUp, section.polyline), 1, 1e-14); // counter-clockwise
    EXPECT_NEAR(CapAreaAlong(kUp, SoupOf(section.cap)), 1, 1e-14);
    ExpectClosed(half, 0.5, 1e-14);
    // Four corners, and one crossing on the diagonal of each wall.
    EXPECT_EQ(section.polyline.size(), 9U);

    const Half curves = slicer.SliceTriangles({0, 0, 3}, {7, 8, 0.5}, true, 1e-12);
    EXPECT_TRUE(curves.triangles.empty());
    EXPECT_EQ(PolylinesOf(curves), PolylinesOf(half));
    EXPECT_EQ(curves.sections[0].cap, section.cap);
}

TEST(SliceByPlane, ACubeCutAtItsFacesHasASquareEachTime)
{
    const Half bottom = CutAt(CubeSoup(), 0);
    EXPECT_TRUE(bottom.triangles.empty());
    ASSERT_EQ(bottom.sections.size(), 1U);
    EXPECT_NEAR(AreaAlong(kUp, bottom.sections[0].polyline), 1, 1e-14);

    const Half top = CutAt(CubeSoup(), 1);
    EXPECT_EQ(top.triangles.size(), 10U); // all but the top itself
    ASSERT_EQ(top.sections.size(), 1U);
    EXPECT_NEAR(AreaAlong(kUp, top.sections[0].polyline), 1, 1e-14);
    ExpectClosed(top, 1, 1e-14);
}

// The class of a triangle knows 1e-10 only, the corners of one that meets the plane the tolerance.
TEST(SliceByPlane, ATriangleBesideThePlaneIsToldByTenToTheMinusTenAtAnyTolerance)
{
    const auto triangleAt = [](double z) {
        return Soup{{Vec3d(0, 0, z), Vec3d(1, 0, z), Vec3d(0, 1, z)}};
    };
    EXPECT_TRUE(CutAt(triangleAt(5e-7), 0, 1e-6).triangles.empty());
    EXPECT_EQ(CutAt(triangleAt(-5e-7), 0, 1e-6).triangles, triangleAt(-5e-7));
    EXPECT_TRUE(CutAt(triangleAt(-5e-11), 0, 1e-6).triangles.empty()); // all on the plane
    // At a tolerance below, none is on the plane and all are below.
    EXPECT_EQ(CutAt(triangleAt(-5e-11), 0, 1e-12).triangles, triangleAt(-5e-11));
}

// A step: what stands on the face in the plane has no part in the section of what lies below.
TEST(SliceByPlane, AFaceInThePlaneIsReplacedByTheCap)
{
    // Profile of a step in x and z, 2 x 1 below and 1 x 1 on top of its left half, from y = 0 to 1.
    const std::vector<Vec2d> profile{{0, 0}, {2, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 2}, {0, 1}};
    Soup step;
    for (std::size_t i = 0; i < profile.size(); ++i) {
        const Vec2d& p = profile[i];
        const Vec2d& q = profile[(i + 1) % profile.size()];
        const Vec3d a(p[0], 0, p[1]);
        const Vec3d b(q[0], 0, q[1]);
        const Vec3d c(q[0], 1, q[1]);
        const Vec3d d(p[0], 1, p[1]);
        step.push_back({a, c, b});
        step.push_back({a, d, c});
    }
    for (const auto& t :
         {std::array<int, 3>{0, 1, 2}, {0, 2, 3}, {0, 3, 6}, {6, 3, 4}, {6, 4, 5}}) {
        const auto at = [&](int i, double y) {
            const Vec2d& p = profile[static_cast<std::size_t>(t[static_cast<std::size_t>(i)])];
            return Vec3d(p[0], y, p[1]);
        };
        step.push_back({at(0, 0), at(1, 0), at(2, 0)});
        step.push_back({at(0, 1), at(2, 1), at(1, 1)});
    }
    ASSERT_EQ(OpenEdges(step), 0U);
    ASSERT_NEAR(SoupVolume(step), 3, 1e-14);
    const Half lower = CutAt(step, 1);
    ASSERT_EQ(lower.sections.size(), 1U);
    EXPECT_NEAR(AreaAlong(kUp, lower.sections[0].polyline), 2, 1e-14);
    ExpectClosed(lower, 2, 1e-14);
    // From the other side the face bounds nothing: what stands on it is cut off.
    const Half upper = TriangleSlicer(step).SliceTriangles({0, 0, -1}, {0, 0, 1}, false, 1e-9);
    ASSERT_EQ(upper.sections.size(), 1U);
    EXPECT_NEAR(AreaAlong({0, 0, -1}, upper.sections[0].polyline), 1, 1e-14);
    ExpectClosed(upper, 1, 1e-14);
}

// Two roofs under the plane touch it with their ridge: both triangles at an edge in the plane are
// kept.
TEST(SliceByPlane, ARidgeThatTouchesIsNoCurve)
{
    const Soup roof{{Vec3d(0, 0, 1), Vec3d(0, 1, 0), Vec3d(1, 0, 1)},
                    {Vec3d(0, 0, 1), Vec3d(1, 0, 1), Vec3d(0, -1, 0)}};
    EXPECT_EQ(CutAt(roof, 1).triangles, roof);
    EXPECT_TRUE(CutAt(roof, 1).sections.empty());
    // The loose segments have it twice.
    EXPECT_EQ(TriangleSlicer(roof).SegmentsAtIntersection(kUp, {0, 0, 1}).size(), 2U);
}

TEST(SliceByPlane, CornersInThePlaneAreCutThroughOnce)
{
    const Soup octahedron = SoupOf(Octahedron()); // four edges in the plane z = 0
    const Half half = CutAt(octahedron, 0);
    EXPECT_EQ(half.triangles.size(), 4U);
    ASSERT_EQ(half.sections.size(), 1U);
    EXPECT_EQ(half.sections[0].polyline.size(), 5U);
    EXPECT_NEAR(AreaAlong(kUp, half.sections[0].polyline), 2, 1e-14);
    ExpectClosed(half, 2.0 / 3, 1e-14);
    EXPECT_EQ(TriangleSlicer(octahedron).SegmentsAtIntersection(kUp, {}).size(), 8U);
}

TEST(SliceByPlane, CornersOnThePlaneAreRoundedInTheSectionsAndNotInThePieces)
{
    const double z = 0.1; // no float
    const Soup bodies = MappedSoup(
        SoupOf(Octahedron()), [&](const Vec3d& p) { return Vec3d(p[0] / 3, p[1] / 3, p[2] + z); });
    const TriangleSlicer slicer(bodies);
    const Half half = slicer.SliceTriangles(kUp, {0, 0, z}, false, 1e-9);
    ASSERT_EQ(half.sections.size(), 1U);
    const auto third = static_cast<double>(static_cast<float>(1.0 / 3));
    double largest = 0;
    for (const Vec3d& p : half.sections[0].polyline) {
        largest = std::max(largest, p[0]);
        EXPECT_NEAR(p[2], z, 1e-16); // on the plane all the same
    }
    EXPECT_EQ(largest, third);
    largest = 0;
    for (const auto& t : half.triangles) {
        largest = std::max({largest, t[0][0], t[1][0], t[2][0]});
    }
    EXPECT_EQ(largest, 1.0 / 3);
    ExpectClosed(half, 2.0 / 27, 1e-14);
    for (const auto& segment : slicer.SegmentsAtIntersection(kUp, {0, 0, z})) {
        for (const Vec3d& end : segment) {
            EXPECT_EQ(end, Vec3d(VecBase<3, float>(end)));
        }
    }
}

TEST(SliceByPlane, ATriangleIsClippedAtItsCrossings)
{
    const Soup one{{Vec3d(0, 0, 0), Vec3d(4, 0, 0), Vec3d(0, 0, 4)}};
    const Half base = CutAt(one, 1);
    ASSERT_EQ(base.triangles.size(), 2U);
    EXPECT_NEAR(SoupArea(base.triangles), 8 - 4.5, 1e-14);
    ASSERT_EQ(base.sections.size(), 1U);
    EXPECT_EQ(base.sections[0].polyline.size(), 2U); // an open curve is recorded
    EXPECT_TRUE(base.sections[0].cap.indices.empty());
    const Half tip = TriangleSlicer(one).SliceTriangles({0, 0, -1}, {0, 0, 1}, false, 1e-9);
    ASSERT_EQ(tip.triangles.size(), 1U);
    EXPECT_NEAR(SoupArea(tip.triangles), 4.5, 1e-14);
    // Both pieces turn as the triangle does.
    for (const auto& t : Joined(base.triangles, tip.triangles)) {
        EXPECT_LT(((t[1] - t[0]) ^ (t[2] - t[0]))[1], 0);
    }
}

TEST(SliceByPlane, AnOpenCurveIsCappedAsIfClosed)
{
    Soup shell = CubeSoup();
    std::erase_if(shell, [](const auto& t) { return t[0][0] + t[1][0] + t[2][0] == 3; }); // x = 1
    const Half half = CutAt(shell, 0.5);
    ASSERT_EQ(half.sections.size(), 1U);
    EXPECT_FALSE(IsClosedLine(half.sections[0].polyline));
    EXPECT_NEAR(LengthOf(half.sections[0].polyline), 3, 1e-14);
    EXPECT_NEAR(CapAreaAlong(kUp, SoupOf(half.sections[0].cap)), 1, 1e-14);
}

TEST(SliceByPlane, GapsBelowTheToleranceAreBridged)
{
    Soup shell = CubeSoup();
    for (auto& t : shell) { // the wall x = 1 by itself, a little higher than the others
        if (t[0][0] + t[1][0] + t[2][0] == 3) {
            for (Vec3d& p : t) {
                p = Vec3d(p[0] + 1e-7, p[1], p[2]);
            }
        }
    }
    EXPECT_EQ(CutAt(shell, 0.5, 1e-9).sections.size(), 2U);
    const Half bridged = CutAt(shell, 0.5, 1e-6);
    ASSERT_EQ(bridged.sections.size(), 1U);
    EXPECT_TRUE(IsClosedLine(bridged.sections[0].polyline));
    EXPECT_NEAR(AreaAlong(kUp, bridged.sections[0].polyline), 1, 1e-6);
}

TEST(SliceByPlane, ACornerAtTheToleranceIsNotOnThePlane)
{
    // Two corners at it exactly, one on the plane: not all are on it, and what is below stays.
    const Soup low{{Vec3d(0, 0, 0.25), Vec3d(1, 0, 0.25), Vec3d(0, 1, 0)}};
    EXPECT_EQ(CutAt(low, 0, 0.25).triangles, low);
    EXPECT_TRUE(CutAt(low, 0, 0.26).triangles.empty());
    // Clear of the plane by more than 1e-10, though within the tolerance.
    const Soup beneath{{Vec3d(0, 0, -2e-10), Vec3d(1, 0, -2e-10), Vec3d(0, 1, -2e-10)}};
    EXPECT_EQ(CutAt(beneath, 0, 1e-6).triangles, beneath);
}

TEST(SliceByPlane, LooseSegmentsKnowTheirToleranceAndHaveALength)
{
    // A corner 5e-11 above the plane is cut off below: no end is rounded to floats.
    const Soup near{{Vec3d(0.1, 0, 5e-11), Vec3d(0.3, 0, -1), Vec3d(0.7, 0, 1)}};
    const auto segments = TriangleSlicer(near).SegmentsAtIntersection(kUp, {});
    ASSERT_EQ(segments.size(), 1U);
    const double least = std::min(segments[0][0][0], segments[0][1][0]);
    EXPECT_NEAR(least, 0.1, 1e-10);
    EXPECT_NE(least, static_cast<double>(0.1F));
    // Both corners on the plane are the same as floats.
    const Soup needle{{Vec3d(0.1, 0, 0), Vec3d(0.1 + 1e-12, 0, 0), Vec3d(0.1, 0, -1)}};
    EXPECT_TRUE(TriangleSlicer(needle).SegmentsAtIntersection(kUp, {}).empty());
}

TEST(SliceByPlane, ACurveWithItsEndsWithinTheToleranceIsClosed)
{
    Soup seam = Tube(1, -1, 1, 12);
    for (Vec3d& p : seam.front()) { // the seam gapes by 1e-7
        p = p[1] == 0 ? p + Vec3d(1e-7, 0, 0) : p;
    }
    for (Vec3d& p : seam[1]) {
        p = p[1] == 0 ? p + Vec3d(1e-7, 0, 0) : p;
    }
    const Half open = CutAt(seam, 0.3, 1e-9);
    ASSERT_EQ(open.sections.size(), 1U);
    EXPECT_FALSE(IsClosedLine(open.sections[0].polyline));
    const Half closed = CutAt(seam, 0.3, 1e-6);
    ASSERT_EQ(closed.sections.size(), 1U);
    EXPECT_TRUE(IsClosedLine(closed.sections[0].polyline));
    // By itself what is shorter than the tolerance is no curve.
    const Soup shard{{Vec3d(0, 0, -1), Vec3d(1e-7, 0, -1), Vec3d(0, 0, 1)}};
    EXPECT_EQ(CutAt(shard, 0, 1e-9).sections.size(), 1U);
    EXPECT_TRUE(CutAt(shard, 0, 1e-6).sections.empty());
}

// --- holes --------------------------------------------------------------------------------------

TEST(SliceByPlane, TheCapOfAHoleFacesTheOtherWay)
{
    const Soup ring = SoupOf(DrilledRing(4, 6, 48));
    const Half half = CutAt(ring, 3);
    ASSERT_EQ(half.sections.size(), 2U);
    const double shape = 24 * std::sin(kTwoPi<double> / 48); // area of the unit polygon of 48 sides
    std::vector<double> areas;
    for (const auto& section : half.sections) {
        areas.push_back(AreaAlong(kUp, section.polyline));
        // Each cap fills its own curve and takes nothing out.
        EXPECT_NEAR(CapAreaAlong(kUp, SoupOf(section.cap)), areas.back(), 1e-10);
    }
    std::sort(areas.begin(), areas.end());
    EXPECT_NEAR(areas[0], -16 * shape, 1e-10);
    EXPECT_NEAR(areas[1], 100 * shape, 1e-10);
    ExpectClosed(half, 84 * shape * 3, 1e-9);
    const Soup lid = SoupOf(Mesh::CapOfSections(half));
    EXPECT_NEAR(SoupArea(lid), 84 * shape, 1e-10);
    EXPECT_NEAR(CapAreaAlong(kUp, lid), 84 * shape, 1e-10); // all of it faces up
}

TEST(SliceByPlane, CurvesThatTouchRunHeadToTail)
{
    // Two cubes with one vertical edge in common: at the point where the curves touch either may go
    // on along the other, but not against its direction, whatever the order of the triangles.
    Soup two = Joined(CubeSoup(),
                      MappedSoup(CubeSoup(), [](const Vec3d& p) { return p + Vec3d(1, 1, 0); }));
    Random random(8);
    for (int trial = 0; trial < 30; ++trial) {
        for (std::size_t i = two.size() - 1; i > 0; --i) {
            std::swap(two[i], two[static_cast<std::size_t>(random.Below(static_cast<int>(i) + 1))]);
        }
        const Half half = CutAt(two, 0.25);
        double area = 0;
        for (const auto& section : half.sections) {
            EXPECT_TRUE(IsClosedLine(section.polyline));
            area += AreaAlong(kUp, section.polyline);
        }
        EXPECT_NEAR(area, 2, 1e-14);
        ExpectClosed(half, 0.5, 1e-14);
    }
}

// One cube in the other with a common edge: their curves have a point in common, where the chain of
// one may go on along the other. Filled together, the inner one would be taken out.
TEST(SliceByPlane, ACurveInsideAnotherThatTouchesItHasItsOwnCap)
{
    Soup two =
        Joined(MappedSoup(CubeSoup(), [](const Vec3d& p) { return p * 2.0; }),
               MappedSoup(CubeSoup(), [](const Vec3d& p) { return Vec3d(p[0], p[1], 2 * p[2]); }));
    Random random(13);
    for (int trial = 0; trial < 30; ++trial) {
        for (std::size_t i = two.size() - 1; i > 0; --i) {
            std::swap(two[i], two[static_cast<std::size_t>(random.Below(static_cast<int>(i) + 1))]);
        }
        const Half half = CutAt(two, 0.25);
        EXPECT_EQ(half.sections.size(), 2U);
        EXPECT_NEAR(CapAreaAlong(kUp, Caps(half)), 5, 1e-14);
        EXPECT_EQ(OpenEdges(Joined(half.triangles, Caps(half))), 0U);
    }
}

// --- properties ---------------------------------------------------------------------------------

/// Bodies that are closed and cut by planes in general and in special position.
std::vector<Soup> ClosedBodies()
{
    std::vector<Soup> bodies{CubeSoup(), SoupOf(Octahedron()), SoupOf(Sphere(3)),
                             SoupOf(Torus(24, 12)), SoupOf(DrilledRing(4, 6, 24))};
    bodies.push_back(Joined(SoupOf(Sphere(2)), MappedSoup(SoupOf(Sphere(2)), [](const Vec3d& p) {
                                return Vec3d(p[0], p[2], p[1]) * 0.5; // turned inside out: a cavity
                            })));
    return bodies;
}

// Whatever the plane, corners in it included, both halves are closed to the bit and make up the
// body.
TEST(SliceByPlane, TwoHalvesAreClosedAndMakeUpTheWhole)
{
    Random random(5);
    for (const Soup& unit : ClosedBodies()) {
        for (const double scale : {1.0, 1e-4, 1e5, 1e7}) {
            for (const double shift : {0.0, 1e6}) {
                if (scale < 1 && shift > 0) {
                    continue; // rounding of 1e-10 is the size of the triangles
                }
                const Soup body = MappedSoup(unit, [&](const Vec3d& p) {
                    return p * scale + Vec3d(shift, -shift, shift / 2);
                });
                const TriangleSlicer slicer(body);
                const double whole = SoupVolume(body);
                for (int trial = 0; trial < Rounds(8, 2); ++trial) {
                    SCOPED_TRACE(testing::Message() << body.size() << " triangles, scale " << scale
                                                    << ", shift " << shift << ", plane " << trial);
                    const auto& t =
                        body[static_cast<std::size_t>(random.Below(static_cast<int>(body.size())))];
                    // Through a corner, through an edge, along a triangle, or just anywhere.
                    Vec3d normal = random.Vector<3, double>(-1, 1);
                    Vec3d point = t[0] * 0.3 + t[1] * 0.3 + t[2] * 0.4;
                    if (trial % 4 == 1) {
                        point = t[0];
                    } else if (trial % 4 == 2) {
                        normal = (t[1] - t[0]) ^ normal;
                        point = t[0];
                    } else if (trial % 4 == 3) {
                        normal = (t[1] - t[0]) ^ (t[2] - t[0]);
                        point = t[0];
                    }
                    const double tolerance = 1e-12 * scale + 4e-16 * shift;
                    const Half lower = slicer.SliceTriangles(normal, point, false, tolerance);
                    const Half upper = slicer.SliceTriangles(-normal, point, false, tolerance);
                    const double rounding = 1e-9 * std::fabs(whole) + 1e-14 * shift * scale * scale;
                    const double volume = SoupVolume(Joined(lower.triangles, Caps(lower)));
                    const bool isEmpty = lower.triangles.empty();
                    if (!isEmpty) {
                        ExpectClosed(lower, volume, rounding);
                    }
                    if (!upper.triangles.empty()) {
                        ExpectClosed(upper, whole - (isEmpty ? 0 : volume), rounding);
                    }
                    for (const auto& section : lower.sections) {
                        for (const Vec3d& p : section.polyline) {
                            const double height =
                                (p - lower.origin) * normal / Vector::Length(normal);
                            EXPECT_NEAR(height, 0, 4e-15 * (20 * scale + shift));
                        }
                    }
                }
            }
        }
    }
}

/// The faces between filled and empty cells of a grid of unit cubes: closed, with edges of four
/// triangles and corners where cubes touch.
Soup CellSoup(const std::vector<char>& filled, int side)
{
    const auto isFilled = [&](int x, int y, int z) {
        const bool isInside = std::min({x, y, z}) >= 0 && std::max({x, y, z}) < side;
        return isInside && filled[static_cast<std::size_t>((z * side + y) * side + x)] != 0;
    };
    Soup soup;
    for (int z = 0; z < side; ++z) {
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                if (!isFilled(x, y, z)) {
                    continue;
                }
                for (const auto& t :
                     MappedSoup(CubeSoup(), [&](const Vec3d& p) { return p + Vec3d(x, y, z); })) {
                    const Vec3d normal = (t[1] - t[0]) ^ (t[2] - t[0]);
                    if (!isFilled(x + static_cast<int>(normal[0]), y + static_cast<int>(normal[1]),
                                  z + static_cast<int>(normal[2]))) {
                        soup.push_back(t);
                    }
                }
            }
        }
    }
    return soup;
}

// Every plane here goes through faces, edges and corners, and curves touch each other all over.
TEST(SliceByPlane, BodiesOfCellsAreClosedAtPlanesThroughTheirCorners)
{
    constexpr int kSide = 4;
    Random random(12);
    for (int trial = 0; trial < Rounds(24, 3); ++trial) {
        std::vector<char> filled(kSide * kSide * kSide);
        for (char& cell : filled) {
            cell = random.Unit() < 0.5 ? 1 : 0;
        }
        const Soup soup = CellSoup(filled, kSide);
        ASSERT_EQ(OpenEdges(soup), 0U);
        const TriangleSlicer slicer(soup);
        for (const Vec3d& normal : {Vec3d(0, 0, 1), Vec3d(0, 0, -1), Vec3d(1, 1, 0),
                                    Vec3d(1, -1, 0), Vec3d(1, 1, 1), Vec3d(-1, 2, 1)}) {
            const Vec3d point(random.Below(kSide), random.Below(kSide), 1 + random.Below(kSide));
            SCOPED_TRACE(testing::Message() << "trial " << trial << ", normal " << normal[0] << ' '
                                            << normal[1] << ' ' << normal[2]);
            const Half half = slicer.SliceTriangles(normal, point, false, 1e-9);
            if (half.triangles.empty()) {
                continue;
            }
            EXPECT_EQ(OpenEdges(Joined(half.triangles, Caps(half))), 0U);
            const Soup lid = SoupOf(Mesh::CapOfSections(half));
            EXPECT_EQ(OpenEdges(Joined(half.triangles, lid)), 0U);
            EXPECT_NEAR(CapAreaAlong(normal, lid), CapAreaAlong(normal, Caps(half)), 1e-12);
            for (const auto& section : half.sections) {
                EXPECT_TRUE(IsClosedLine(section.polyline));
            }
            if (normal[0] == 0) { // cells right below the plane, and all below
                const int z = static_cast<int>(point[2]);
                const bool isUp = normal[2] > 0;
                int section = 0;
                int volume = 0;
                for (int i = 0; i < kSide * kSide * kSide; ++i) {
                    const int layer = i / (kSide * kSide);
                    const bool isFilled = filled[static_cast<std::size_t>(i)] != 0;
                    section += isFilled && layer == (isUp ? z - 1 : z) ? 1 : 0;
                    volume += isFilled && (isUp ? layer < z : layer >= z) ? 1 : 0;
                }
                EXPECT_NEAR(CapAreaAlong(normal, Caps(half)), section, 1e-12);
                EXPECT_NEAR(SoupVolume(Joined(half.triangles, Caps(half))), volume, 1e-12);
            }
        }
    }
}

// The loose segments against the crossings of each triangle, calculated one by one.
TEST(SliceByPlane, SegmentsAreThoseOfEachTriangle)
{
    Random random(17);
    Soup soup;
    for (int i = 0; i < Rounds(400); ++i) {
        soup.push_back({random.Vector<3, double>(-1, 1), random.Vector<3, double>(-1, 1),
                        random.Vector<3, double>(-1, 1)});
    }
    const Vec3d normal(2, -1, 3);
    const Vec3d point(0.1, 0.2, -0.1);
    TriangleSlicer::Segments expected;
    for (const auto& t : soup) {
        std::vector<Vec3d> crossings;
        for (std::size_t i = 0; i < 3; ++i) {
            const long double a = normal * (t[i] - point);
            const long double b = normal * (t[(i + 1) % 3] - point);
            if ((a < 0) != (b < 0)) {
                crossings.push_back(t[i] +
                                    (t[(i + 1) % 3] - t[i]) * static_cast<double>(a / (a - b)));
            }
        }
        if (crossings.size() == 2) {
            expected.push_back({crossings[0], crossings[1]});
        }
    }
    const auto segments = TriangleSlicer(soup).SegmentsAtIntersection(normal, point);
    ASSERT_EQ(segments.size(), expected.size());
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const auto gap = [&](std::size_t k) {
            return Vector::Length(segments[i][0] - expected[i][k]) +
                   Vector::Length(segments[i][1] - expected[i][1 - k]);
        };
        EXPECT_LT(std::min(gap(0), gap(1)), 1e-13);
    }
}

TEST(SliceByPlane, ResultsDoNotDependOnThreads)
{
    const TriangleSlicer slicer(SoupOf(Torus(60, 40)));
    const auto cut = [&] { return slicer.SliceTriangles({1, 2, 3}, {0.1, 0, 0}, false, 1e-9); };
    const Half expected = cut();
    for (const int threads : {1, 2, 4}) {
        WithThreads(threads, [&] {
            const Half half = cut();
            EXPECT_EQ(half.triangles, expected.triangles);
            EXPECT_EQ(PolylinesOf(half), PolylinesOf(expected));
        });
    }
}

// Areas and lengths of ten heights of every real part, as another program found them.
TEST(SliceByPlane, PartsHaveTheAreasOfTheReference)
{
    const auto reference = SharedData("reference_figures.json");
    SORVANE_NEED_DATA(reference);
    std::ifstream file(reference);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const JsonValue figures = JsonReader(text).Value();
    std::size_t heights = 0;
    std::size_t closed = 0;
    for (const auto& [name, figure] : figures["meshes"].fields) {
        Soup soup;
        const auto path = SharedData(name);
        if (path.empty() || figure["slices_z"].items.empty()) {
            continue;
        }
        if (kSanitized && figure["triangles"].number > 30'000) {
            continue;
        }
        ASSERT_TRUE(static_cast<bool>(MeshUtils::ReadMesh(soup, path))) << name;
        // The reference took the text files in floats as well.
        const TriangleSlicer slicer(MappedSoup(
            std::move(soup), [](const Vec3d& p) { return Vec3d(VecBase<3, float>(p)); }));
        for (const JsonValue& slice : figure["slices_z"].items) {
            const double z = slice["z"].number;
            SCOPED_TRACE(name + " at " + std::to_string(z));
            double area = 0;
            double length = 0;
            bool isClosed = true;
            for (const auto& section :
                 slicer.SliceTriangles(kUp, {0, 0, z}, true, 1e-12).sections) {
                length += LengthOf(section.polyline);
                area += AreaAlong(kUp, section.polyline);
                isClosed = isClosed && IsClosedLine(section.polyline);
            }
            const double size = slice["length"].number;
            EXPECT_NEAR(length, size, 1e-9 * size + 1e-12);
            if (isClosed) { // what open segments enclose depends on where it is seen from
                EXPECT_NEAR(area, slice["signed_area"].number, 1e-9 * size * size + 1e-12);
            }
            closed += isClosed ? 1 : 0;
            ++heights;
        }
    }
    EXPECT_GT(heights, 50U);
    EXPECT_GT(closed, heights * 9 / 10);
}

// --- input that nobody should send --------------------------------------------------------------

TEST(SliceByPlane, WithoutAPlaneThereIsNothing)
{
    const TriangleSlicer slicer(CubeSoup());
    for (const Vec3d& normal :
         {Vec3d(), Vec3d(0, 0, 1e-13), Vec3d(0, 0, kNan), Vec3d(kInfinity, 0, 0)}) {
        const Half half = slicer.SliceTriangles(normal, {0, 0, 0.5}, false, 1e-9);
        EXPECT_TRUE(half.triangles.empty());
        EXPECT_TRUE(half.sections.empty());
        EXPECT_EQ(half.origin, Vec3d(0.5, 0.5, 0.5));
        EXPECT_TRUE(slicer.SegmentsAtIntersection(normal, {0, 0, 0.5}).empty());
        EXPECT_TRUE(Mesh::CapOfSections(half).indices.empty());
    }
    for (const double z : {kNan, kInfinity, 1e200}) {
        EXPECT_TRUE(slicer.SliceTriangles(kUp, {0, 0, z}, false, 1e-9).triangles.empty());
    }
    // A normal of any length is the same plane.
    for (const double length : {1e-11, 1e5, 1e200, 1e308}) {
        const Half half = slicer.SliceTriangles(kUp * length, {0, 0, 0.5}, false, 1e-9);
        EXPECT_EQ(half.triangles, CutAt(CubeSoup(), 0.5).triangles);
        ExpectClosed(half, 0.5, 1e-14);
    }
}

TEST(SliceByPlane, AnEmptySoupGivesNothing)
{
    const TriangleSlicer slicer{Soup()};
    EXPECT_GT(slicer.Box().min.x(), slicer.Box().max.x()); // inverted
    EXPECT_TRUE(slicer.SliceTriangles(kUp, {}, false, 1e-9).triangles.empty());
    EXPECT_TRUE(slicer.SegmentsAtIntersection(kUp, {}).empty());
    EXPECT_TRUE(Mesh::CapOfSections(Half()).points.empty());
}

TEST(SliceByPlane, TrianglesThatAreNoneTakeNoPart)
{
    Soup soup = CubeSoup();
    for (const double bad : {kNan, kInfinity, -kInfinity, 1e200}) {
        soup.insert(soup.begin(), {Vec3d(0, 0, 0), Vec3d(bad, 0, 1), Vec3d(0, 1, bad)});
    }
    const TriangleSlicer slicer(soup);
    EXPECT_EQ(slicer.Soup().size(), 16U);
    EXPECT_EQ(slicer.Box().min, Vec3d(0, 0, 0));
    EXPECT_EQ(slicer.Box().max, Vec3d(1, 1, 1));
    const Half half = slicer.SliceTriangles(kUp, {0, 0, 0.5}, false, 1e-9);
    ExpectClosed(half, 0.5, 1e-14);
    EXPECT_EQ(half.triangles, CutAt(CubeSoup(), 0.5).triangles);
}

// Points and lines among the triangles leave everything closed that was closed.
TEST(SliceByPlane, DegenerateTrianglesLeaveItClosed)
{
    Soup soup = CubeSoup();
    soup.push_back({Vec3d(0, 0, 0), Vec3d(0, 0, 1), Vec3d(0, 0, 1)});
    soup.push_back({Vec3d(0.3, 0, 0), Vec3d(0.3, 0, 0), Vec3d(0.3, 0, 0)});
    for (const double z : {0.0, 0.5, 1.0}) {
        const Half half = CutAt(soup, z);
        EXPECT_EQ(half.sections.size(), 1U);
        EXPECT_NEAR(AreaAlong(kUp, half.sections[0].polyline), 1, 1e-14);
    }
    ExpectClosed(CutAt(soup, 0.5), 0.5, 1e-14);
}

// Files have triangles of three corners in one line, where a long edge runs beside short ones. A
// plane along such a line finds a curve that encloses nothing, and corners a rounding apart.
TEST(SliceByPlane, TrianglesOfThreeCornersInALineStayClosed)
{
    Random random(31);
    for (int trial = 0; trial < Rounds(12, 3); ++trial) {
        Soup soup = SoupOf(trial % 2 == 0 ? Octahedron() : Cube());
        for (int k = 0; k < 30; ++k) {
            const auto i = static_cast<std::size_t>(random.Below(static_cast<int>(soup.size())));
            const auto [a, b, c] = soup[i];
            const Vec3d middle = a + (b - a) * random.Unit();
            soup[i] = {b, c, middle};
            soup.push_back({c, a, middle});
            soup.push_back({a, b, middle});
        }
        const double scale = trial % 3 == 0 ? 1e3 : 1;
        soup = MappedSoup(soup, [&](const Vec3d& p) {
            return Vec3d(0.6 * p[0] - 0.8 * p[1], 0.48 * p[0] + 0.36 * p[1] - 0.8 * p[2],
                         0.64 * p[0] + 0.48 * p[1] + 0.6 * p[2]) *
                   scale;
        });
        ASSERT_EQ(OpenEdges(soup), 0U);
        const TriangleSlicer slicer(soup);
        for (int k = 0; k < 10; ++k) {
            const auto& t =
                soup[static_cast<std::size_t>(random.Below(static_cast<int>(soup.size())))];
            auto normal = random.Vector<3, double>(-1, 1);
            if (k % 2 == 0) {
                normal = (t[1] - t[0]) ^ normal; // along an edge
            }
            for (const double tolerance : {0.0, 1e-12, 1e-9}) {
                SCOPED_TRACE(testing::Message() << "trial " << trial << ", plane " << k
                                                << ", tolerance " << tolerance);
                const Half half = slicer.SliceTriangles(normal, t[0], false, tolerance);
                if (!half.triangles.empty()) {
                    EXPECT_EQ(OpenEdges(Joined(half.triangles, Caps(half))), 0U);
                    const Soup lid = SoupOf(Mesh::CapOfSections(half));
                    EXPECT_EQ(OpenEdges(Joined(half.triangles, lid)), 0U);
                }
            }
        }
    }
}

// A curve that encloses nothing ends a rounding beside the corner of another one. The gap between
// lid and outlines then runs around that corner, there and back, and no fan of it is narrow.
TEST(SliceByPlane, LidClosesGapsThatRunThereAndBack)
{
    Half half;
    half.normal = kUp;
    half.sections.resize(2);
    half.sections[0].outline = {Vec3d(-347, -616, 0), Vec3d(307, 262, 0),
                                Vec3d(482.140133431268, 504.612084675, 0)};
    half.sections[1].outline = {Vec3d(482, 505, 0), Vec3d(482.14013343127, 504.61208467497, 0)};
    Soup walls;
    for (const auto& section : half.sections) {
        for (std::size_t i = 0; i < section.outline.size(); ++i) {
            walls.push_back({section.outline[(i + 1) % section.outline.size()], section.outline[i],
                             Vec3d(0, 0, -1)});
        }
    }
    const Soup lid = SoupOf(Mesh::CapOfSections(half));
    EXPECT_EQ(OpenEdges(Joined(walls, lid)), 0U);
    const Vec2d a(654, 878); // the triangle of the first outline, by its edges
    const Vec2d b(829.140133431268, 1120.612084675);
    EXPECT_NEAR(SoupArea(lid), (a ^ b) / 2, 1e-8);
}

TEST(SliceByPlane, TrianglesGivenTwiceOrTurnedGiveClosedCurves)
{
    const Half twice = CutAt(Joined(CubeSoup(), CubeSoup()), 0.5);
    ASSERT_EQ(twice.sections.size(), 2U);
    for (const auto& section : twice.sections) {
        EXPECT_NEAR(AreaAlong(kUp, section.polyline), 1, 1e-14);
    }
    EXPECT_EQ(OpenEdges(Joined(twice.triangles, Caps(twice))), 0U);
    EXPECT_NEAR(SoupVolume(Joined(twice.triangles, Caps(twice))), 1, 1e-14);
    EXPECT_NEAR(SoupArea(SoupOf(Mesh::CapOfSections(twice))), 1, 1e-14); // the lid is one
    Soup turned = CubeSoup();
    for (std::size_t i = 0; i < turned.size(); i += 3) {
        std::swap(turned[i][0], turned[i][1]);
    }
    const Half half = CutAt(turned, 0.5);
    ASSERT_EQ(half.sections.size(), 1U);
    EXPECT_TRUE(IsClosedLine(half.sections[0].polyline));
    EXPECT_NEAR(std::fabs(AreaAlong(kUp, half.sections[0].polyline)), 1, 1e-14);
}

TEST(SliceByPlane, AnyToleranceHasAnAnswer)
{
    const Soup body = SoupOf(Octahedron());
    // Without a tolerance no corner is on the plane, and the cut goes through the corners all the
    // same.
    for (const double tolerance : {0.0, -1.0, kNan}) {
        const Half half = CutAt(body, 0, tolerance);
        ASSERT_EQ(half.sections.size(), 1U);
        EXPECT_EQ(half.triangles.size(), 4U);
        ExpectClosed(half, 2.0 / 3, 1e-14);
        // A face in the plane counts as below then, and is kept.
        const Half cube = CutAt(CubeSoup(), 1, tolerance);
        EXPECT_EQ(OpenEdges(Joined(cube.triangles, Caps(cube))), 0U);
        EXPECT_NEAR(SoupVolume(Joined(cube.triangles, Caps(cube))), 1, 1e-14);
    }
    EXPECT_TRUE(CutAt(body, 0, kInfinity).sections.empty());
    // A tolerance of the size of the body takes corners for the plane that are far from it.
    const Half coarse = CutAt(SoupOf(Sphere(3)), 0.1, 0.2);
    EXPECT_EQ(OpenEdges(Joined(coarse.triangles, Caps(coarse))), 0U);
}

} // namespace
