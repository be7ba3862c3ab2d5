// Soups cut by soups and by themselves: which triangles cut each other, and what becomes of them.

#include <Sorvane/TriangleSlicer_E.h>

#include "tests/imprint/SlicerSupport.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <Sorvane/MeshFiles_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using namespace Support;
using Mesh::TriangleSlicer;
using Triangle = std::array<Vec3d, 3>;
using Segments = TriangleSlicer::Segments;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

Soup Moved(const Soup& soup, const Vec3d& by)
{
    return MappedSoup(soup, [&](const Vec3d& p) { return p + by; });
}

/// A square of two triangles in the plane z = 0, from -size to size.
Soup Square(double size)
{
    return {{Vec3d(-size, -size, 0), Vec3d(size, -size, 0), Vec3d(size, size, 0)},
            {Vec3d(-size, -size, 0), Vec3d(size, size, 0), Vec3d(-size, size, 0)}};
}

// --- the oracle: edges of either triangle through the other, in long doubles ---------------------

long double SixVolumes(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d)
{
    const auto at = [&](const Vec3d& p, int i) { return static_cast<long double>(p[i]) - a[i]; };
    return at(b, 0) * (at(c, 1) * at(d, 2) - at(c, 2) * at(d, 1)) -
           at(b, 1) * (at(c, 0) * at(d, 2) - at(c, 2) * at(d, 0)) +
           at(b, 2) * (at(c, 0) * at(d, 1) - at(c, 1) * at(d, 0));
}

void AddPiercings(const Triangle& from, const Triangle& to, std::vector<Vec3d>& points)
{
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3d& p = from[i];
        const Vec3d& q = from[(i + 1) % 3];
        const long double before = SixVolumes(to[0], to[1], to[2], p);
        const long double behind = SixVolumes(to[0], to[1], to[2], q);
        const bool u = SixVolumes(p, q, to[0], to[1]) > 0;
        const bool v = SixVolumes(p, q, to[1], to[2]) > 0;
        const bool w = SixVolumes(p, q, to[2], to[0]) > 0;
        if ((before > 0) != (behind > 0) && u == v && v == w) {
            points.push_back(p + (q - p) * static_cast<double>(before / (before - behind)));
        }
    }
}

Segments SegmentsByPairs(const Soup& a, const Soup& b)
{
    Segments segments;
    for (const Triangle& s : a) {
        for (const Triangle& t : b) {
            std::vector<Vec3d> points;
            AddPiercings(s, t, points);
            AddPiercings(t, s, points);
            if (points.size() == 2) {
                segments.push_back({points[0], points[1]});
            }
        }
    }
    return segments;
}

void ExpectSame(const Segments& segments, const Segments& expected, double tolerance)
{
    ASSERT_EQ(segments.size(), expected.size());
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const auto gap = [&](std::size_t k) {
            return Vector::Length(segments[i][0] - expected[i][k]) +
                   Vector::Length(segments[i][1] - expected[i][1 - k]);
        };
        EXPECT_LT(std::min(gap(0), gap(1)), tolerance) << "segment " << i;
    }
}

bool PrecedesByEnds(const std::array<Vec3d, 2>& a, const std::array<Vec3d, 2>& b)
{
    const auto precedes = [](const Vec3d& p, const Vec3d& q) {
        return std::lexicographical_compare(p.begin(), p.end(), q.begin(), q.end());
    };
    return a[0] == b[0] ? precedes(a[1], b[1]) : precedes(a[0], b[0]);
}

Soup RandomSoup(Random& random, int count, double size)
{
    Soup soup;
    for (int i = 0; i < count; ++i) {
        const auto center = random.Vector<3, double>(-1, 1);
        soup.push_back({center + random.Vector<3, double>(-size, size),
                        center + random.Vector<3, double>(-size, size),
                        center + random.Vector<3, double>(-size, size)});
    }
    return soup;
}

// --- segments -----------------------------------------------------------------------------------

TEST(SliceByTriangles, TwoTrianglesCutEachOtherInASegment)
{
    const Soup flat{{Vec3d(-2, -2, 0), Vec3d(2, -2, 0), Vec3d(0, 2, 0)}};
    const Soup fin{{Vec3d(0, -1, -1), Vec3d(0, -1, 1), Vec3d(0, 1, 0)}};
    const Segments segments = TriangleSlicer(flat).SegmentsAtIntersection(fin);
    ExpectSame(segments, {{Vec3d(0, -1, 0), Vec3d(0, 1, 0)}}, 1e-15);

    const auto cut = TriangleSlicer(flat).SliceTriangles(fin);
    EXPECT_TRUE(cut.uncut.empty());
    EXPECT_NEAR(SoupArea(cut.first), 8, 1e-14);
    EXPECT_EQ(cut.first.size(), 5U); // a triangle with two points inside has 1 + 2 * 2
    EXPECT_NEAR(SoupArea(cut.second), 2, 1e-14);
    EXPECT_EQ(cut.second.size(), 2U); // through one corner
    ASSERT_EQ(cut.curves.size(), 1U);
    EXPECT_EQ(cut.curves[0].size(), 2U);
    for (const Triangle& t : cut.first) { // turned as the triangle is
        EXPECT_GT(((t[1] - t[0]) ^ (t[2] - t[0]))[2], 0);
    }
}

// A segment that ends hardly beside a corner ends at it.
TEST(SliceByTriangles, AnEndNextToACornerIsTheCorner)
{
    const Soup flat{{Vec3d(0, 0, 0), Vec3d(4, 0, 0), Vec3d(0, 4, 0)}};
    for (const double gap : {0.0, 5e-12}) {
        const Soup fin{{Vec3d(gap, gap, 0), Vec3d(1, 1, 1), Vec3d(1, 1, -1)}};
        const auto cut = TriangleSlicer(flat).SliceTriangles(fin);
        EXPECT_EQ(cut.first.size(), 3U); // one point inside
        EXPECT_NEAR(SoupArea(cut.first), 8, 1e-14);
    }
}

TEST(SliceByTriangles, SegmentsAreThoseOfAllPairs)
{
    Random random(3);
    for (int trial = 0; trial < Rounds(6, 2); ++trial) {
        for (const double scale : {1.0, 1e-3, 1e6}) {
            SCOPED_TRACE(testing::Message() << "trial " << trial << ", scale " << scale);
            const auto scaled = [&](const Vec3d& p) { return p * scale; };
            const Soup a = MappedSoup(RandomSoup(random, 120, 0.4), scaled);
            const Soup b = MappedSoup(RandomSoup(random, 90, 0.5), scaled);
            const Segments expected = SegmentsByPairs(a, b);
            ASSERT_GT(expected.size(), 50U);
            ExpectSame(TriangleSlicer(a).SegmentsAtIntersection(b), expected, 1e-11 * scale);
        }
    }
}

// Triangles about a common corner are not compared all with all, two by two they are.
TEST(SliceByTriangles, ManyTrianglesAboutACornerCutEachOtherAsTwoByTwo)
{
    Random random(17);
    for (const Vec3d& apex : {Vec3d(0, 0, 0), Vec3d(1e6, -3e5, 7)}) {
        Soup soup;
        const auto add = [&](const Vec3d& a, const Vec3d& b, const Vec3d& c) {
            Triangle t{a, b, c};
            std::rotate(t.begin(), t.begin() + random.Below(3), t.end());
            soup.push_back(t);
        };
        const Vec3d second = apex + Vec3d(0.5, 0, 0);
        for (int i = 0; i < 90; ++i) {
            // Narrow and wide ones, many of which cross from the corner on, about two corners.
            const double width = i % 3 == 0 ? 1.5 : 0.2;
            const auto arm = random.Vector<3, double>(-1, 1);
            const auto beside = random.Vector<3, double>(-width, width);
            add(apex, apex + arm, apex + arm * 0.7 + beside);
            add(second, second + arm, second + arm * 0.7 + beside);
        }
        add(apex, second, apex + Vec3d(0.1, 0.2, 0.3)); // of both
        for (int i = 0; i < 20; ++i) {                  // of none
            const auto middle = apex + random.Vector<3, double>(-1, 1);
            add(middle, middle + random.Vector<3, double>(-1, 1),
                middle + random.Vector<3, double>(-1, 1));
        }
        Segments expected;
        for (std::size_t i = 0; i < soup.size(); ++i) {
            const TriangleSlicer one(Soup{soup[i]});
            for (std::size_t k = i + 1; k < soup.size(); ++k) {
                const Segments found = one.SegmentsAtIntersection(Soup{soup[k]});
                expected.insert(expected.end(), found.begin(), found.end());
                expected.insert(expected.end(), found.begin(), found.end());
            }
        }
        ASSERT_GT(expected.size(), 1000U);
        Segments segments = TriangleSlicer(soup).SegmentsAtSelfIntersection();
        std::sort(segments.begin(), segments.end(), PrecedesByEnds);
        std::sort(expected.begin(), expected.end(), PrecedesByEnds);
        EXPECT_EQ(segments, expected);
    }
}

TEST(SliceByTriangles, ThousandsOfTrianglesAboutACornerAreNoMatter)
{
    // Compared all with all these take a quarter of a minute.
    constexpr int kCount = 20000;
    const Vec3d apex(0.1, 0.2, 0.5);
    Soup fan;
    const auto rim = [](int i) {
        const double angle = 2 * kPi<double> * (i % kCount) / kCount;
        return Vec3d(3 * std::cos(angle), 3 * std::sin(angle), 0);
    };
    for (int i = 0; i < kCount; ++i) {
        fan.push_back({apex, rim(i), rim(i + 1)});
    }
    EXPECT_EQ(TriangleSlicer(fan).SelfIntersections().uncut.size(), fan.size());
    // One more that cuts some of them.
    fan.push_back({Vec3d(4, 0.001, 0.3), Vec3d(1, 0, 2), Vec3d(1, 0.01, -2)});
    EXPECT_FALSE(TriangleSlicer(fan).SelfIntersections().first.empty());
}

TEST(SliceByTriangles, EachTriangleHasTheSegmentsWithAllOthers)
{
    Random random(4);
    const Soup soup = RandomSoup(random, 150, 0.4);
    Segments expected;
    for (std::size_t i = 0; i < soup.size(); ++i) {
        Soup others = soup;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
        const Segments found = SegmentsByPairs({soup[i]}, others);
        expected.insert(expected.end(), found.begin(), found.end());
    }
    const Segments segments = TriangleSlicer(soup).SegmentsAtSelfIntersection();
    ASSERT_GT(expected.size(), 100U);
    ExpectSame(segments, expected, 1e-11); // each twice, by either triangle
}

TEST(SliceByTriangles, WhatOnlyTouchesIsNotCut)
{
    const Soup flat{{Vec3d(0, 0, 0), Vec3d(4, 0, 0), Vec3d(0, 4, 0)}};
    const TriangleSlicer slicer(flat);
    const std::vector<Triangle> touching{
        {Vec3d(1, 1, 0), Vec3d(1, 1, 1), Vec3d(2, 1, 1)},      // with a corner
        {Vec3d(0, 0, 0), Vec3d(4, 0, 0), Vec3d(0, 0, 4)},      // a neighbor
        {Vec3d(1, 0, 0), Vec3d(3, 0, 0), Vec3d(2, 0, 1)},      // along an edge of both
        {Vec3d(0, 0, 0), Vec3d(-1, -1, 1), Vec3d(-1, -1, -1)}, // at a common corner
        {Vec3d(1, 1, 0), Vec3d(3, 1, 0), Vec3d(1, 3, 0)},      // in one plane
        flat[0],                                               // itself
        {Vec3d(4, 0, 0), Vec3d(0, 0, 0), Vec3d(0, 4, 0)}};     // itself, turned
    for (const Triangle& t : touching) {
        EXPECT_TRUE(slicer.SegmentsAtIntersection({t}).empty());
        const auto cut = slicer.SliceTriangles({t});
        EXPECT_EQ(cut.uncut, flat);
        EXPECT_TRUE(cut.first.empty() && cut.second.empty() && cut.curves.empty());
    }
    // An edge that lies inside of the other triangle cuts it.
    const Triangle standing{Vec3d(1, 1, 0), Vec3d(2, 1, 0), Vec3d(1, 1, 1)};
    EXPECT_EQ(slicer.SegmentsAtIntersection({standing}).size(), 1U);
    EXPECT_EQ(slicer.SliceTriangles({standing}).first.size(), 5U);
    // From a common corner into the inside.
    const Triangle leaving{Vec3d(0, 0, 0), Vec3d(1, 1, 1), Vec3d(1, 1, -1)};
    ExpectSame(slicer.SegmentsAtIntersection({leaving}), {{Vec3d(0, 0, 0), Vec3d(1, 1, 0)}}, 1e-15);
}

TEST(SliceByTriangles, CleanClosedMeshesDoNotCutThemselves)
{
    for (const Soup& unit : {SoupOf(Cube()), SoupOf(Octahedron()), SoupOf(Sphere(3)),
                             SoupOf(Torus(24, 12)), Tube(1, -1, 1, 30)}) {
        for (const double scale : {1e-3, 1.0, 1e4}) {
            for (const double shift : {0.0, 1e6}) {
                // Tilted, so that no coordinate is a round number.
                const Soup body = MappedSoup(unit, [&](const Vec3d& p) {
                    return Vec3d(0.6 * p[0] - 0.8 * p[1], 0.48 * p[0] + 0.36 * p[1] - 0.8 * p[2],
                                 0.64 * p[0] + 0.48 * p[1] + 0.6 * p[2]) *
                               scale +
                           Vec3d(shift, -shift, shift / 3);
                });
                EXPECT_TRUE(TriangleSlicer(body).SegmentsAtSelfIntersection().empty())
                    << body.size() << " triangles, scale " << scale << ", shift " << shift;
            }
        }
    }
}

TEST(SliceByTriangles, CleanPartsDoNotCutThemselves)
{
    for (const char* name :
         {"meshes_cad/plate_holes.STL", "meshes_cad/round.stl",
          "meshes_nist/nist_ctc_01_asme1_rd.stl", "meshes_nist/nist_ctc_03_asme1_rc.stl",
          "meshes_nist/nist_ftc_06_asme1_rd.stl", "meshes_nist/nist_ftc_11_asme1_rb.stl",
          "meshes_organic/spot.stl"}) {
        const auto path = SharedData(name);
        SORVANE_NEED_DATA(path);
        Soup soup;
        ASSERT_TRUE(static_cast<bool>(MeshUtils::ReadMesh(soup, path))) << name;
        if (kSanitized && soup.size() > 5'000) {
            continue;
        }
        const auto cut = TriangleSlicer(soup).SelfIntersections();
        EXPECT_EQ(cut.uncut, soup) << name;
        EXPECT_TRUE(cut.first.empty() && cut.second.empty() && cut.curves.empty()) << name;
    }
}

// --- pieces -------------------------------------------------------------------------------------

// The tube pierces a disk out of a big triangle without touching its edges: the disk stays.
TEST(SliceByTriangles, AnIslandStaysAsPieces)
{
    constexpr int kSides = 24;
    const Soup square = Square(10);
    const Soup tube = Moved(Tube(1, -1, 1, kSides), Vec3d(3, -4, 0));
    const auto cut = TriangleSlicer(square).SliceTriangles(tube);
    EXPECT_EQ(cut.uncut.size(), 1U);
    EXPECT_NEAR(SoupArea(cut.first), 200, 1e-10);
    EXPECT_NEAR(SoupArea(cut.second), SoupArea(tube), 1e-12);
    ASSERT_EQ(cut.curves.size(), 1U);
    EXPECT_TRUE(IsClosedLine(cut.curves[0]));
    double disk = 0;
    for (const Triangle& t : cut.first) {
        const Vec3d center = (t[0] + t[1] + t[2]) / 3.0;
        const double r = std::hypot(center[0] - 3, center[1] + 4);
        disk += r < 1 ? SoupArea({t}) : 0;
    }
    EXPECT_NEAR(disk, kSides * std::sin(kTwoPi<double> / kSides) / 2, 1e-12);
}

// Pieces share their corners to the bit: what was closed is closed again, and what is left of both
// spheres after the cut goes together at the curve.
TEST(SliceByTriangles, ClosedMeshesStayClosedToTheBit)
{
    for (const double scale : {1.0, 1e5}) {
        for (const double shift : {0.0, 1e6}) {
            SCOPED_TRACE(testing::Message() << "scale " << scale << ", shift " << shift);
            const auto place = [&](const Vec3d& p) {
                return p * scale + Vec3d(shift, shift / 2, -shift);
            };
            const Soup a = MappedSoup(SoupOf(Sphere(3)), place);
            const Soup b = MappedSoup(SoupOf(Sphere(4)), [&](const Vec3d& p) {
                return place(p * 0.9 + Vec3d(0.71, 0.43, 0.29));
            });
            const auto cut = TriangleSlicer(a).SliceTriangles(b);
            const Soup wholeA = Joined(cut.first, cut.uncut);
            EXPECT_EQ(OpenEdges(wholeA), 0U);
            const double rounding = 1e-12 + 1e-15 * shift / scale;
            EXPECT_NEAR(SoupVolume(wholeA) / SoupVolume(a), 1, rounding);
            EXPECT_NEAR(SoupArea(wholeA) / SoupArea(a), 1, rounding);
            ASSERT_EQ(cut.curves.size(), 1U);
            EXPECT_TRUE(IsClosedLine(cut.curves[0]));

            // The common body: what of either lies inside of the other, which is convex.
            const auto backA = TriangleSlicer(b).SliceTriangles(a);
            const auto inside = [&](const Soup& soup, const Soup& other) {
                Soup kept;
                for (const Triangle& t : soup) {
                    const Vec3d p = (t[0] + t[1] + t[2]) / 3.0;
                    bool isInside = true;
                    for (const Triangle& facet : other) {
                        const Vec3d normal = (facet[1] - facet[0]) ^ (facet[2] - facet[0]);
                        isInside = isInside && normal * (p - facet[0]) < 0;
                    }
                    if (isInside) {
                        kept.push_back(t);
                    }
                }
                return kept;
            };
            const Soup common =
                Joined(inside(wholeA, b), inside(Joined(cut.second, backA.uncut), a));
            EXPECT_EQ(OpenEdges(common), 0U);
            EXPECT_GT(SoupVolume(common), 0.1 * SoupVolume(a));
            EXPECT_LT(SoupVolume(common), SoupVolume(b));
        }
    }
}

TEST(SliceByTriangles, APieceIsNotCutAgain)
{
    const Soup a = SoupOf(Sphere(2));
    const Soup b = Moved(SoupOf(Sphere(3)), Vec3d(0.5, 0.3, 0.2));
    const auto cut = TriangleSlicer(a).SliceTriangles(b);
    const auto back = TriangleSlicer(b).SliceTriangles(a);
    const auto again =
        TriangleSlicer(Joined(cut.first, cut.uncut)).SliceTriangles(Joined(cut.second, back.uncut));
    EXPECT_EQ(again.first.size(), 0U);
    EXPECT_TRUE(again.curves.empty());
}

// Boxes on a grid: edges of one end on edges of the other, or lie in its faces, so that one of two
// neighbors is cut up to their edge and the other one is not met at all.
TEST(SliceByTriangles, BoxesThatShareFacesAndEdgesStayClosed)
{
    Random random(21);
    std::size_t cuts = 0;
    for (int trial = 0; trial < Rounds(120, 20); ++trial) {
        const double shift = trial % 3 == 0 ? 0 : trial % 3 == 1 ? 1e3 : 1e6;
        const auto box = [&] {
            const auto place = [&] { return 0.5 * random.Below(5); };
            const Vec3d low(place() + shift, place() - shift, place());
            const Vec3d size(0.5 + place(), 0.5 + place(), 0.5 + place());
            return MappedSoup(SoupOf(Cube()), [&](const Vec3d& p) {
                return Vec3d(low[0] + size[0] * p[0], low[1] + size[1] * p[1],
                             low[2] + size[2] * p[2]);
            });
        };
        const Soup a = box();
        const Soup b = box();
        SCOPED_TRACE(trial);
        const auto cut = TriangleSlicer(a).SliceTriangles(b);
        const auto back = TriangleSlicer(b).SliceTriangles(a);
        EXPECT_EQ(OpenEdges(Joined(cut.first, cut.uncut)), 0U);
        EXPECT_EQ(OpenEdges(Joined(cut.second, back.uncut)), 0U);
        EXPECT_NEAR(SoupArea(Joined(cut.first, cut.uncut)), SoupArea(a), 1e-9);
        EXPECT_NEAR(SoupArea(Joined(cut.second, back.uncut)), SoupArea(b), 1e-9);
        EXPECT_EQ(OpenEdges(Joined(TriangleSlicer(Joined(a, b)).SelfIntersections().first,
                                   TriangleSlicer(Joined(a, b)).SelfIntersections().uncut)),
                  0U);
        cuts += cut.first.empty() ? 0 : 1;
    }
    EXPECT_GT(cuts, 5U);
}

// The diagonal of one box cuts an edge of the other at 0.4 of a half, rounded to just above the
// side that has the edge too and is met nowhere else.
TEST(SliceByTriangles, APointARoundingBesideItsEdgeReachesTheNeighbor)
{
    const auto box = [](const Vec3d& low, const Vec3d& size) {
        return MappedSoup(SoupOf(Cube()), [&](const Vec3d& p) {
            return Vec3d(low[0] + size[0] * p[0], low[1] + size[1] * p[1], low[2] + size[2] * p[2]);
        });
    };
    const Soup a = box({1, 1.5, 0.5}, {2, 0.5, 2.5});
    const Soup b = box({1, 2, 0.5}, {2, 1.5, 0.5});
    const auto cut = TriangleSlicer(b).SliceTriangles(a);
    EXPECT_EQ(OpenEdges(Joined(cut.first, cut.uncut)), 0U);
    EXPECT_NEAR(SoupArea(Joined(cut.first, cut.uncut)), SoupArea(b), 1e-12);
}

// All points on one edge, which one of its two triangles has from the other.
TEST(SliceByTriangles, ManyPointsOnTheEdgeOfANeighbor)
{
    constexpr int kPoints = Rounds(4'000, 500);
    constexpr double kShort = 0.3 / kPoints;
    Soup fins;
    for (int i = 0; i < kPoints; ++i) {
        const double x = -0.99 + 1.98 * i / kPoints;
        fins.push_back(
            {Vec3d(x, x, 0), Vec3d(x + kShort, x - kShort, 1), Vec3d(x + kShort, x - kShort, -1)});
    }
    const auto cut = TriangleSlicer(Square(1)).SliceTriangles(fins);
    EXPECT_TRUE(cut.uncut.empty());
    EXPECT_NEAR(SoupArea(cut.first), 4, 1e-9);
    std::size_t above = 0;
    for (const Triangle& t : cut.first) {
        above += t[0][0] + t[1][0] + t[2][0] < t[0][1] + t[1][1] + t[2][1] ? 1 : 0;
    }
    EXPECT_EQ(above, kPoints + 1U); // a fan over the points
}

// Areas of each triangle by itself: pieces come in the order of their triangles.
TEST(SliceByTriangles, PiecesCoverTheirTriangles)
{
    Random random(6);
    for (int trial = 0; trial < Rounds(10, 2); ++trial) {
        const Soup a = RandomSoup(random, 40, 0.8);
        const Soup b = RandomSoup(random, 60, 0.8);
        const auto cut = TriangleSlicer(a).SliceTriangles(b);
        std::size_t next = 0;
        std::size_t uncut = 0;
        for (const Triangle& t : a) {
            if (uncut < cut.uncut.size() && cut.uncut[uncut] == t) {
                ++uncut;
                continue;
            }
            const Vec3d normal = (t[1] - t[0]) ^ (t[2] - t[0]);
            double share = 0;
            while (next < cut.first.size() && share < 1 - 1e-9) {
                const Triangle& p = cut.first[next++];
                const double part = ((p[1] - p[0]) ^ (p[2] - p[0])) * normal / (normal * normal);
                EXPECT_GE(part, -1e-12);
                share += part;
            }
            EXPECT_NEAR(share, 1, 1e-9);
        }
        EXPECT_EQ(uncut, cut.uncut.size());
        EXPECT_EQ(next, cut.first.size());
    }
}

TEST(SliceByTriangles, ASoupIsCutAtItsOwnIntersections)
{
    const Soup a = SoupOf(Sphere(2));
    const Soup b = Moved(SoupOf(Sphere(2)), Vec3d(0.5, 0.31, 0.17));
    const auto cut = TriangleSlicer(Joined(a, b)).SelfIntersections();
    const auto ofA = TriangleSlicer(a).SliceTriangles(b);
    EXPECT_TRUE(cut.second.empty());
    EXPECT_EQ(cut.first.size(), ofA.first.size() + ofA.second.size());
    ASSERT_EQ(cut.curves.size(), 1U);
    EXPECT_TRUE(IsClosedLine(cut.curves[0]));
    const Soup whole = Joined(cut.first, cut.uncut);
    EXPECT_EQ(OpenEdges(whole), 0U);
    EXPECT_NEAR(SoupArea(whole), SoupArea(a) + SoupArea(b), 1e-12);
    EXPECT_TRUE(TriangleSlicer(whole).SegmentsAtSelfIntersection().empty());
}

// Three sheets through one point: the segments of two of them cross inside the third.
TEST(SliceByTriangles, SegmentsThatCrossInATriangleCutEachOther)
{
    Soup sheets = Square(1);
    sheets = Joined(sheets, MappedSoup(Square(1), [](const Vec3d& p) {
                        return Vec3d(p[2] + 0.1, p[0] + 0.2, p[1] + 0.3);
                    }));
    sheets = Joined(sheets, MappedSoup(Square(1), [](const Vec3d& p) {
                        return Vec3d(p[1] - 0.1, p[2] - 0.3, p[0] + 0.2);
                    }));
    const auto cut = TriangleSlicer(sheets).SelfIntersections();
    EXPECT_NEAR(SoupArea(Joined(cut.first, cut.uncut)), 12, 1e-12);
    EXPECT_TRUE(TriangleSlicer(Joined(cut.first, cut.uncut)).SegmentsAtSelfIntersection().empty());
}

// The heavy case: all cuts on two triangles. Any step that compares all with all would show.
TEST(SliceByTriangles, ManyCutsOnOneTriangle)
{
    constexpr int kSide = Rounds(120, 30);
    Soup pins;
    for (int i = 0; i < kSide; ++i) {
        for (int j = 0; j < kSide; ++j) {
            const Vec3d at(-0.97 + 1.9 * i / kSide, -0.96 + 1.91 * j / kSide, 0);
            const double r = 0.5 / kSide;
            pins.push_back({at + Vec3d(-r, 0, -1), at + Vec3d(r, 0, -1), at + Vec3d(0, r, 1)});
        }
    }
    const auto cut = TriangleSlicer(Square(1)).SliceTriangles(pins);
    EXPECT_NEAR(SoupArea(cut.first), 4, 1e-9);
    EXPECT_EQ(cut.curves.size(), pins.size());
    // Each pin cuts in a segment of two points of its own; a triangle with n points inside has 1 +
    // 2 n pieces, and where a pin crosses the diagonal both triangles have a point there.
    EXPECT_GE(cut.first.size(), 4 * pins.size());
    EXPECT_LE(cut.first.size(), 2 + 4 * pins.size() + 8 * kSide);
}

TEST(SliceByTriangles, ResultsDoNotDependOnThreads)
{
    const TriangleSlicer slicer(SoupOf(Sphere(4)));
    const Soup cutter = Moved(SoupOf(Torus(30, 20)), Vec3d(2, 0.3, 0.1));
    const auto expected = slicer.SliceTriangles(cutter);
    EXPECT_GT(expected.first.size(), 100U);
    for (const int threads : {1, 3}) {
        WithThreads(threads, [&] {
            const auto cut = slicer.SliceTriangles(cutter);
            EXPECT_EQ(cut.first, expected.first);
            EXPECT_EQ(cut.second, expected.second);
            EXPECT_EQ(cut.uncut, expected.uncut);
            EXPECT_EQ(cut.curves, expected.curves);
        });
    }
}

// --- input that nobody should send --------------------------------------------------------------

TEST(SliceByTriangles, EmptySoupsCutNothing)
{
    const Soup cube = SoupOf(Cube());
    const TriangleSlicer empty{Soup()};
    EXPECT_TRUE(empty.SliceTriangles(cube).second.empty());
    EXPECT_TRUE(empty.SliceTriangles(Soup()).uncut.empty());
    EXPECT_TRUE(empty.SelfIntersections().uncut.empty());
    EXPECT_TRUE(empty.SegmentsAtIntersection(cube).empty());
    EXPECT_TRUE(empty.SegmentsAtSelfIntersection().empty());
    EXPECT_EQ(TriangleSlicer(cube).SliceTriangles(Soup()).uncut, cube);
    EXPECT_TRUE(TriangleSlicer(cube).SegmentsAtIntersection(Soup()).empty());
}

TEST(SliceByTriangles, TrianglesThatAreNoneTakeNoPart)
{
    const Soup square = Square(1);
    Soup cutter = Tube(0.5, -1, 1, 8);
    const auto expected = TriangleSlicer(square).SliceTriangles(cutter);
    Soup bad;
    for (const double value : {kNan, std::numeric_limits<double>::infinity(), 1e200}) {
        bad.push_back({Vec3d(0, 0, -1), Vec3d(0.1, value, 1), Vec3d(0.2, 0, value)});
    }
    bad.push_back({Vec3d(0, 0, -1), Vec3d(0, 0, 1), Vec3d(0, 0, 1)});             // a line
    bad.push_back({Vec3d(0, 0, -1), Vec3d(0, 0, 1), Vec3d(0, 0, 0.5)});           // a line
    bad.push_back({Vec3d(0.1, 0.1, 0), Vec3d(0.1, 0.1, 0), Vec3d(0.1, 0.1, 0)});  // a point
    bad.push_back({Vec3d(0, 0, -1e-7), Vec3d(1e-7, 0, 1e-7), Vec3d(0, 1e-7, 0)}); // 1e-14 of area
    const auto cut = TriangleSlicer(square).SliceTriangles(Joined(bad, cutter));
    EXPECT_EQ(cut.first, expected.first);
    EXPECT_EQ(cut.second, expected.second);
    EXPECT_EQ(cut.curves, expected.curves);
    // In the soup they stay where they are.
    const auto kept = TriangleSlicer(Joined(bad, square)).SliceTriangles(cutter);
    EXPECT_EQ(kept.uncut.size(), bad.size());
    EXPECT_EQ(kept.first, expected.first);
}

TEST(SliceByTriangles, RepeatedTrianglesAndHugeOnesAreCut)
{
    const Soup tube = Tube(0.5, -1, 1, 8);
    const Soup square = Square(1);
    const auto once = TriangleSlicer(square).SliceTriangles(tube);
    const auto twice = TriangleSlicer(square).SliceTriangles(Joined(tube, tube));
    EXPECT_EQ(twice.first, once.first); // the same segments again
    EXPECT_EQ(twice.curves, once.curves);
    for (const double size : {1e8, 1e60, 1e-5}) {
        const auto scaled = [&](const Vec3d& p) { return p * size; };
        const auto cut =
            TriangleSlicer(MappedSoup(square, scaled)).SliceTriangles(MappedSoup(tube, scaled));
        EXPECT_NEAR(SoupArea(cut.first) / (4 * size * size), 1, 1e-9) << size;
        EXPECT_EQ(cut.curves.size(), 1U) << size;
    }
}

// A huge pair far away does not coarsen the rest.
TEST(SliceByTriangles, DetailStaysBesideHugeTriangles)
{
    const Soup tube = Tube(1e-4, -1, 1, 64);
    const auto expected = TriangleSlicer(Square(1)).SliceTriangles(tube);
    const auto huge = [](const Vec3d& p) { return p * 1e15 + Vec3d(3e15, 0, 0); };
    const auto cut = TriangleSlicer(Joined(Square(1), MappedSoup(Square(1), huge)))
                         .SliceTriangles(Joined(tube, MappedSoup(Tube(0.5, -1, 1, 8), huge)));
    EXPECT_EQ(cut.curves.size(), 2U);
    ASSERT_GT(cut.first.size(), expected.first.size());
    EXPECT_TRUE(std::equal(expected.first.begin(), expected.first.end(), cut.first.begin()));
}

// Corners that are meant to be equal, and are so but for a few roundings.
TEST(SliceByTriangles, NeighborsThatAgreeWithinTheToleranceDoNotCutEachOther)
{
    Random random(9);
    for (const Soup& clean : {SoupOf(Sphere(3)), SoupOf(Torus(24, 12)), SoupOf(Cube())}) {
        const Soup noisy = MappedSoup(
            clean, [&](const Vec3d& p) { return p + random.Vector<3, double>(-3e-13, 3e-13); });
        ASSERT_NE(noisy, clean);
        EXPECT_TRUE(TriangleSlicer(noisy).SegmentsAtSelfIntersection().empty());
    }
}

// Neighbors at a corner where all triangles are needles, and parts with degenerate triangles.
TEST(SliceByTriangles, PartsWithDegenerateTrianglesAreCutAndCovered)
{
    for (const char* name : {"with_degenerate/nist_ctc_05.stl", "with_degenerate/nist_ftc_06.stl",
                             "meshes_defective/self_intersectA.stl"}) {
        const auto path = SharedData(name);
        SORVANE_NEED_DATA(path);
        Soup soup;
        ASSERT_TRUE(static_cast<bool>(MeshUtils::ReadMesh(soup, path))) << name;
        soup.resize(std::min(soup.size(), FullOr<std::size_t>(20'000, 3'000)));
        const auto cut = TriangleSlicer(soup).SelfIntersections();
        const double area = SoupArea(soup);
        EXPECT_NEAR(SoupArea(Joined(cut.first, cut.uncut)), area, 1e-9 * area) << name;
    }
}

} // namespace
