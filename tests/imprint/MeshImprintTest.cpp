// Curves imprinted on meshes: that they become edges and leave the surface as it is, what lies on
// which side of them, and what comes out.

#include "tests/imprint/ImprintChecks.h"

#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/Polygons.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TurnedBodies.h"

#include <Sorvane/MeshImprint_E.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using Support::AreaOfFlag;
using Support::IndexedMesh;
using Support::LinksWithoutEdge;
using Support::Path;
using Support::Random;
using Support::SurfaceOf;
using Support::VolumeOf;
using Velk::Math::Sorvane::Mesh::MeshImprint;
using Velk::Math::Sorvane::Mesh::MeshTracer;
using Flags = std::vector<unsigned char>;

constexpr double kTolerance = 1e-9;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Exported {
    IndexedMesh mesh;
    Flags flags;
};

Exported Export(const MeshImprint& imprint)
{
    Exported out;
    EXPECT_TRUE(imprint.Export(out.mesh, out.flags));
    EXPECT_EQ(out.mesh.indices.size(), 3 * out.flags.size());
    return out;
}

// Round the unit cube at z = 0.4, by its edges, so that each stretch lies in one side.
const Path kBelt{{0, 0, 0.4}, {0.6, 0, 0.4},  {1, 0, 0.4}, {1, 0.45, 0.4},
                 {1, 1, 0.4}, {0.55, 1, 0.4}, {0, 1, 0.4}, {0, 0.3, 0.4}};

// Imprints a closed loop and expects it along the edges of the mesh, first node repeated.
Path Imprinted(MeshImprint& imprint, Path loop)
{
    EXPECT_TRUE(imprint.ImprintPath(loop, true, true));
    const Exported out = Export(imprint);
    EXPECT_EQ(LinksWithoutEdge(out.mesh, loop), 0);
    EXPECT_GT(loop.size(), 2U);
    EXPECT_EQ(loop.front(), loop.back());
    return loop;
}

IndexedMesh Sheet(int squares) { return Support::Grid(squares, squares); }

double AreaOfLoop(const Path& loop)
{
    double twice = 0;
    for (std::size_t i = 0; i < loop.size(); ++i) {
        const Vec3d& a = loop[i];
        const Vec3d& b = loop[(i + 1) % loop.size()];
        twice += a.x() * b.y() - a.y() * b.x();
    }
    return twice / 2;
}

// How far from the loop the imprinted path lies: crossings close to nodes have moved there.
double GreatestDistance(const Path& imprinted, const Path& loop)
{
    double greatest = 0;
    for (const Vec3d& p : imprinted) {
        greatest = std::max(greatest, Support::DistanceToLoop(loop, p));
    }
    return greatest;
}

// --- the surface stays --------------------------------------------------------------------------

TEST(MeshImprint, IsNeitherCopiedNorMoved)
{
    EXPECT_FALSE(std::is_copy_constructible_v<MeshImprint>);
    EXPECT_FALSE(std::is_move_constructible_v<MeshImprint>);
    EXPECT_FALSE(std::is_copy_assignable_v<MeshImprint>);
    EXPECT_FALSE(std::is_move_assignable_v<MeshImprint>);
    EXPECT_TRUE(std::has_virtual_destructor_v<MeshImprint>);
    EXPECT_FALSE(std::is_copy_constructible_v<MeshTracer>);
    EXPECT_FALSE(std::is_move_constructible_v<MeshTracer>);
    EXPECT_TRUE(std::has_virtual_destructor_v<MeshTracer>);
}

TEST(MeshImprint, WithoutAPathTheMeshComesOutAsItWentIn)
{
    const IndexedMesh torus = Support::Torus(12, 7);
    const Exported out = Export(MeshImprint(torus, kTolerance));
    EXPECT_EQ(out.mesh, torus);
    EXPECT_EQ(out.flags, Flags(torus.indices.size() / 3, 1));
}

// Random walks over neighboring triangles, which cross themselves and one another.
void ExpectPathsKeepTheSurface(const IndexedMesh& body, int paths, int steps, std::uint64_t seed)
{
    ASSERT_EQ(Support::FaultsOf(body), Support::EdgeFaults{});
    MeshImprint imprint(body, kTolerance);
    const double area = SurfaceOf(body);
    const double volume = VolumeOf(body);
    Random random(seed);
    for (int i = 0; i < paths; ++i) {
        Path path = Support::PathOverTriangles(body, steps, random);
        const Path given = path;
        const bool closed = i % 2 == 1;
        ASSERT_TRUE(imprint.ImprintPath(path, closed, true));
        const Exported out = Export(imprint);
        EXPECT_NEAR(SurfaceOf(out.mesh), area, 1e-12 * area);
        EXPECT_NEAR(VolumeOf(out.mesh), volume, 1e-12 * std::fabs(volume));
        EXPECT_EQ(Support::FaultsOf(out.mesh), Support::EdgeFaults{});
        EXPECT_EQ(Support::EulerOf(out.mesh), Support::EulerOf(body));
        if (!closed) { // the way back from the last point may lead straight through the body
            EXPECT_EQ(LinksWithoutEdge(out.mesh, path), 0) << "path " << i;
            // Each given point is on it, in order.
            auto at = path.begin();
            for (const Vec3d& p : given) {
                at = std::find_if(at, path.end(), [&](const Vec3d& q) {
                    return Vector::Length(p - q) <= 2 * kTolerance;
                });
                ASSERT_NE(at, path.end()) << "path " << i;
            }
        }
    }
}

TEST(MeshImprint, PathsOverBodiesKeepAreaAndVolume)
{
    ExpectPathsKeepTheSurface(Support::Sphere(3), 12, 30, 1);
    ExpectPathsKeepTheSurface(Support::Torus(24, 11), 12, 30, 2);
    ExpectPathsKeepTheSurface(Support::Cube(), 12, 10, 3);
    ExpectPathsKeepTheSurface(Support::DrilledRing(4, 3, 24), 12, 30, 4);
}

TEST(MeshImprint, PathsOverRealPartsKeepAreaAndVolume)
{
    ExpectPathsKeepTheSurface(Support::WeldedStl<double>(Support::ExampleData("bracket.stl")), 10,
                              25, 5);
    const auto part = Support::SharedData("meshes_cad/plate_holes.STL");
    SORVANE_NEED_DATA(part);
    ExpectPathsKeepTheSurface(Support::WeldedStl<double>(part), 10, 40, 6);
}

TEST(MeshImprint, FarFromTheOriginTooThePathIsImprinted)
{
    const Vec3d far(1e6, -1e6, 1e6);
    const IndexedMesh body =
        Support::Mapped(Support::Sphere(3), [&](const Vec3d& p) { return p + far; });
    MeshImprint imprint(body, 1e-7);
    Random random(7);
    const double area = SurfaceOf(body);
    for (int i = 0; i < 6; ++i) {
        Path path = Support::PathOverTriangles(body, 30, random);
        ASSERT_TRUE(imprint.ImprintPath(path, false, true));
        const Exported out = Export(imprint);
        EXPECT_NEAR(SurfaceOf(out.mesh), area, 1e-7 * area); // coordinates have 1e-10
        EXPECT_EQ(LinksWithoutEdge(out.mesh, path), 0);
        EXPECT_EQ(Support::FaultsOf(out.mesh), Support::EdgeFaults{});
    }
}

// --- areas of regions ---------------------------------------------------------------------------

TEST(MeshImprint, PaintsThePolygonInAPlane)
{
    int exact = 0;
    Random random(8);
    for (int round = 0; round < 20; ++round) {
        const Path loop = Support::Round({random.Between(4, 6), random.Between(4, 6)},
                                         random.Between(1, 3), 5 + round, 0);
        MeshImprint imprint(Sheet(10), kTolerance);
        const Path imprinted = Imprinted(imprint, loop);
        EXPECT_TRUE(imprint.PaintInsideOutside());
        const Exported out = Export(imprint);
        const double inside = AreaOfFlag(out.mesh, out.flags, Flags::value_type{0});
        // Crossings may move by 0.5 percent of an edge, and what they move are stretches of the
        // loop no longer than the edges they lead to.
        const double moved = GreatestDistance(imprinted, loop);
        EXPECT_LE(moved, 0.005 * std::sqrt(2.0) + kTolerance);
        EXPECT_NEAR(inside, AreaOfLoop(loop), moved * Support::LengthOfPath(imprinted) + 1e-12);
        exact += moved < 1e-12 ? 1 : 0;
        EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{1}), 100 - inside, 1e-12);
    }
    EXPECT_GE(exact, 5) << "loops of which no crossing moved, so that the area is that of the loop";
}

TEST(MeshImprint, PaintsABandOfACylinder)
{
    // Between two waves round the cylinder: unrolled, the area between their polygons.
    constexpr int kSides = 40;
    const IndexedMesh body = Support::TurnedBody({{0, 0}, {2, 0}, {2, 5}, {0, 5}}, kSides);
    const auto wave = [&](double height) {
        Path loop;
        for (int k = 0; k < 3 * kSides; ++k) { // on each side one at its edge and two in between
            const double along = (k % 3 == 0 ? 0.0 : k % 3 == 1 ? 0.45 : 0.8) + k / 3;
            const double a = kTwoPi<double> * std::floor(along) / kSides;
            const double b = kTwoPi<double> * (std::floor(along) + 1) / kSides;
            const double t = along - std::floor(along);
            const double z = height + 0.3 * std::sin(2 * kTwoPi<double> * along / kSides);
            loop.push_back({2 * ((1 - t) * std::cos(a) + t * std::cos(b)),
                            2 * ((1 - t) * std::sin(a) + t * std::sin(b)), z});
        }
        return loop;
    };
    MeshImprint imprint(body, kTolerance);
    Imprinted(imprint, wave(1.37));
    Imprinted(imprint, wave(3.11));
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    const double round = kSides * 4 * std::sin(kPi<double> / kSides);
    // Edges that the loops cross are those of the sides, 5 long, and their diagonals: crossings are
    // nowhere near their ends.
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), round * (3.11 - 1.37),
                1e-11);
    EXPECT_NEAR(SurfaceOf(out.mesh), SurfaceOf(body), 1e-12 * SurfaceOf(body));
}

// The point where the ray from the center in a direction meets a convex body around it.
Vec3d OnBody(const IndexedMesh& body, const Vec3d& direction)
{
    Vec3d found;
    double least = kInfinity;
    for (std::size_t i = 0; i < body.indices.size(); i += 3) {
        const Vec3d a = Support::PointOf(body, i);
        const Vec3d n = (Support::PointOf(body, i + 1) - a) ^ (Support::PointOf(body, i + 2) - a);
        const double along = direction * n;
        if (along > 0 && a * n / along < least) {
            least = a * n / along;
            found = direction * least;
        }
    }
    return found;
}

TEST(MeshImprint, PaintsACapOfASphere)
{
    // The cap round a slanted axis has the area 2 pi (1 - cos). A polyhedron has less; the error
    // falls with the square of the edge, by four from level to level.
    const Vec3d axis = Vector::Normalized(Vec3d(1, 2, 3), 0.0);
    const Vec3d e = Vector::Normalized(axis ^ Vec3d(0, 0, 1), 0.0);
    const Vec3d f = axis ^ e;
    const double opening = 0.8;
    const double exact = kTwoPi<double> * (1 - std::cos(opening));
    double before = 1;
    for (const int level : {2, 3, 4}) {
        const IndexedMesh body = Support::Sphere(level);
        Path loop;
        for (int k = 0; k < 120; ++k) {
            const double a = kTwoPi<double> * k / 120;
            const Vec3d d =
                axis * std::cos(opening) + (e * std::cos(a) + f * std::sin(a)) * std::sin(opening);
            loop.push_back(OnBody(body, d));
        }
        MeshImprint imprint(body, kTolerance);
        Imprinted(imprint, loop);
        EXPECT_TRUE(imprint.PaintInsideOutside());
        const Exported out = Export(imprint);
        const double inside = AreaOfFlag(out.mesh, out.flags, Flags::value_type{0});
        const double error = std::fabs(inside - exact) / exact;
        EXPECT_LT(error, before / 3) << "level " << level;
        before = error;
    }
    EXPECT_LT(before, 0.006);
}

TEST(MeshImprint, CrossingLoopsPaintWhatIsInAnOddNumberOfThem)
{
    // In one round of twelve two of the loops come to run along one edge of the sheet.
    Random random(9);
    for (int round = 0; round < Support::Rounds(120); ++round) {
        MeshImprint imprint(Sheet(12), kTolerance);
        std::vector<Path> loops;
        for (int k = 0; k < 3; ++k) {
            Path loop;
            const double x = random.Between(5, 7);
            const Vec2d center(x, random.Between(5, 7));
            for (const Vec2d& p : Support::StarPolygon(4 + random.Below(12), random)) {
                loop.push_back({center.x() + 4 * p.x(), center.y() + 4 * p.y(), 0});
            }
            loops.push_back(loop);
            ASSERT_TRUE(imprint.ImprintPath(loop, true, true));
            EXPECT_EQ(LinksWithoutEdge(Export(imprint).mesh, loop), 0);
        }
        EXPECT_TRUE(imprint.PaintInsideOutside()) << "round " << round;
        const Exported out = Export(imprint);
        EXPECT_NEAR(SurfaceOf(out.mesh), 144, 1e-10);
        int checked = 0;
        for (std::size_t t = 0; t < out.flags.size(); ++t) {
            const Vec3d center =
                (Support::PointOf(out.mesh, 3 * t) + Support::PointOf(out.mesh, 3 * t + 1) +
                 Support::PointOf(out.mesh, 3 * t + 2)) /
                3.0;
            int inside = 0;
            double nearest = kInfinity;
            for (const Path& loop : loops) {
                inside += Support::IsInside(loop, center) ? 1 : 0;
                nearest = std::min(nearest, Support::DistanceToLoop(loop, center));
            }
            if (nearest > 0.01) { // crossings near nodes move by 0.005 sqrt(2)
                ++checked;
                EXPECT_EQ(out.flags[t], inside % 2 == 1 ? 0 : 1) << center << " round " << round;
            }
        }
        EXPECT_GT(checked, 288);
    }
}

TEST(MeshImprint, PocketsWithACommonWallAreBothInside)
{
    const Path left{{2, 2, 0}, {5, 2, 0}, {5, 7, 0}, {2, 7, 0}};
    const Path right{{5, 3, 0}, {8.5, 3, 0}, {8.5, 6, 0}, {5, 6, 0}};
    const double both = 15 + 10.5;
    for (const bool leftFirst : {true, false}) {
        for (const Vec3d& at : {Vec3d(0, 0, 0), Vec3d(1e6, -1e6, 1e6)}) {
            IndexedMesh sheet = Sheet(10);
            for (Vec3d& p : sheet.points) {
                p += at;
            }
            MeshImprint imprint(sheet, kTolerance);
            for (Path loop : leftFirst ? std::vector{left, right} : std::vector{right, left}) {
                for (Vec3d& p : loop) {
                    p += at;
                }
                Imprinted(imprint, loop);
            }
            EXPECT_TRUE(imprint.PaintInsideOutside());
            const Exported out = Export(imprint);
            EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), both, 1e-8);
        }
    }
}

TEST(MeshImprint, APathCutIntoACommonWallKeepsThePaths)
{
    // A third loop cuts the common wall, whose halves are then common as well.
    MeshImprint imprint(Sheet(10), kTolerance);
    Imprinted(imprint, {{2, 2, 0}, {5, 2, 0}, {5, 7, 0}, {2, 7, 0}});
    Imprinted(imprint, {{5, 2, 0}, {8, 2, 0}, {8, 7, 0}, {5, 7, 0}});
    Imprinted(imprint, {{4.25, 4.37, 0}, {5.75, 4.37, 0}, {5.75, 4.87, 0}, {4.25, 4.87, 0}});
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 30 - 0.75, 1e-10);
}

TEST(MeshImprint, AFourthPocketRoundACommonCornerIsInsideToo)
{
    // Four walls meet in one node, and each belongs to two pockets; the whole is one region.
    MeshImprint imprint(Sheet(10), kTolerance);
    for (const Vec2d& low : {Vec2d(2, 2), Vec2d(5, 2), Vec2d(2, 5), Vec2d(5, 5)}) {
        Imprinted(imprint, {{low.x(), low.y(), 0},
                            {low.x() + 3, low.y(), 0},
                            {low.x() + 3, low.y() + 3, 0},
                            {low.x(), low.y() + 3, 0}});
    }
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 36, 1e-10);
}

TEST(MeshImprint, ALoopGivenTwiceIsOneLoop)
{
    const Path loop{{2, 2, 0}, {5, 2, 0}, {5, 7, 0}, {2, 7, 0}};
    MeshImprint imprint(Sheet(10), kTolerance);
    Imprinted(imprint, loop);
    Imprinted(imprint, loop);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 15, 1e-10);

    // Beside it a pocket with a common wall: whether the first counts once or not at all can't be
    // told, and so the answer is false, not a pocket that is missing.
    MeshImprint with(Sheet(10), kTolerance);
    Imprinted(with, loop);
    Imprinted(with, loop);
    Imprinted(with, {{5, 2, 0}, {8, 2, 0}, {8, 7, 0}, {5, 7, 0}});
    EXPECT_FALSE(with.PaintInsideOutside());
}

TEST(MeshImprint, ALaterLoopLeavesAnEarlierOneWhole)
{
    // Two squares that overlap in a quarter: both come back along edges, and the area is that of
    // the parts that are in one of them only.
    MeshImprint imprint(Sheet(10), kTolerance);
    const Path first{{2.13, 2.13, 0}, {6.13, 2.13, 0}, {6.13, 6.13, 0}, {2.13, 6.13, 0}};
    const Path second{{4.37, 4.37, 0}, {8.37, 4.37, 0}, {8.37, 8.37, 0}, {4.37, 8.37, 0}};
    Imprinted(imprint, first);
    Imprinted(imprint, second);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    const double common = (6.13 - 4.37) * (6.13 - 4.37);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 32 - 2 * common, 1e-12);
}

TEST(MeshImprint, APathThatCrossesItselfIsMendedInPlace)
{
    // A bow tie: the second stroke cuts the first, whose two parts stand in their places in the
    // path; both lobes are inside.
    MeshImprint imprint(Sheet(10), kTolerance);
    const Path bow{{2.1, 2.2, 0}, {7.9, 7.9, 0}, {7.9, 2.2, 0}, {2.1, 7.9, 0}};
    const Path path = Imprinted(imprint, bow);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    // Strokes from (2.1, 2.2) to (7.9, 7.9) and back: two triangles of base 5.7 and height 2.9.
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 5.7 * 2.9, 1e-12);
    const Vec3d middle(5, 5.05, 0);
    EXPECT_EQ(std::count_if(path.begin(), path.end(),
                            [&](const Vec3d& p) { return Vector::Length(p - middle) < 1e-12; }),
              2);
}

TEST(MeshImprint, DensePathsPastTheTipOfThinTrianglesHaveTwoSides)
{
    // A disc of long thin triangles: crossings within 0.5 of its center move there, so that a loop
    // that passes by with points in every triangle runs to the center and back again and again.
    // What it runs there and back bounds nothing.
    constexpr int kSides = 720;
    IndexedMesh disc;
    disc.points.push_back({0, 0, 0});
    for (int k = 0; k < kSides; ++k) {
        const double a = kTwoPi<double> * k / kSides;
        disc.points.push_back({100 * std::cos(a), 100 * std::sin(a), 0});
        disc.indices.insert(disc.indices.end(), {0, 1 + k, 1 + (k + 1) % kSides});
    }
    for (const double distance : {0.1, 0.2, 0.3, 0.4, -0.1, -0.2, -0.3}) {
        const Path loop = Support::Round({2 + distance, 0}, 2, 301, 0);
        MeshImprint imprint(disc, kTolerance);
        Imprinted(imprint, loop);
        EXPECT_TRUE(imprint.PaintInsideOutside()) << distance;
        const Exported out = Export(imprint);
        // What lies beyond the moved crossings is within 0.5 of the center.
        EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), AreaOfLoop(loop),
                    kPi<double> * 0.25);
        EXPECT_NEAR(SurfaceOf(out.mesh), SurfaceOf(disc), 1e-12 * SurfaceOf(disc));
    }
}

TEST(MeshImprint, ALoopWhoseEndOverlapsItsBeginningIsOneLoop)
{
    const Path loop = Support::Round({5, 5}, 3.1, 60, 0);
    for (const std::size_t overlap : {1U, 2U, 7U}) {
        Path path = loop;
        path.insert(path.end(), loop.begin(), loop.begin() + static_cast<std::ptrdiff_t>(overlap));
        MeshImprint imprint(Sheet(10), kTolerance);
        ASSERT_TRUE(imprint.ImprintPath(path, false, true));
        EXPECT_TRUE(imprint.PaintInsideOutside()) << overlap;
        const Exported out = Export(imprint);
        EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), AreaOfLoop(loop), 0.05);
    }
}

TEST(MeshImprint, AWayThereAndBackBoundsNothing)
{
    MeshImprint imprint(Sheet(10), kTolerance);
    // A loop with a spur of several edges at a corner.
    Path path{{2.2, 2.3, 0}, {7.4, 2.3, 0}, {7.4, 7.6, 0},
              {9.3, 9.4, 0}, {7.4, 7.6, 0}, {2.2, 7.6, 0}};
    Imprinted(imprint, path);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 5.2 * 5.3, 1e-12);
}

TEST(MeshImprint, AZigzagInOneTriangleIsNotCutToShreds)
{
    // Were all points nodes first, each stroke would cross the slivers of all others: some 3,800
    // places, and a path longer by 4 percent.
    const IndexedMesh square{{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}, {0, 1, 2, 0, 2, 3}};
    Path zigzag;
    for (int i = 0; i <= 100; ++i) {
        zigzag.push_back({2 + 0.06 * i, i % 2 == 1 ? 1.5 : 0.5, 0});
    }
    const double length = Support::LengthOfPath(zigzag);
    MeshImprint imprint(square, kTolerance);
    Path path = zigzag;
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    const Exported out = Export(imprint);
    EXPECT_LT(path.size(), 1000U);
    EXPECT_EQ(LinksWithoutEdge(out.mesh, path), 0);
    EXPECT_NEAR(Support::LengthOfPath(path), length, 0.005 * length);
    EXPECT_NEAR(SurfaceOf(out.mesh), 100, 1e-11);
    EXPECT_EQ(path.front(), zigzag.front());
    EXPECT_EQ(path.back(), zigzag.back());
}

TEST(MeshImprint, ManyPointsInOneTriangleBoundTheirPolygon)
{
    // One after the other, with gaps where points lie off the surface, and closed.
    const IndexedMesh square{{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}, {0, 1, 2, 0, 2, 3}};
    for (const int count : {33, 34, 200}) {
        Path circle;
        double area = 0;
        for (int i = 0; i < count; ++i) {
            const double angle = 2 * std::numbers::pi * i / count;
            circle.push_back({7 + 2 * std::cos(angle), 3 + 2 * std::sin(angle), 0});
        }
        area = 2 * count * std::sin(2 * std::numbers::pi / count);
        MeshImprint imprint(square, kTolerance);
        Path path = circle;
        ASSERT_TRUE(imprint.ImprintPath(path, true, true));
        EXPECT_TRUE(imprint.PaintInsideOutside());
        const Exported out = Export(imprint);
        // Crossings within half a percent of an edge's end go through its node.
        EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), area, 0.005 * area);
        EXPECT_EQ(LinksWithoutEdge(out.mesh, path), 0);
    }
    Path broken;
    for (int i = 0; i < 80; ++i) {
        broken.push_back({5 + 0.05 * i, 1 + 0.001 * i * i / 8, i % 20 == 19 ? 1.0 : 0.0});
    }
    MeshImprint imprint(square, kTolerance);
    Path path = broken;
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    const IndexedMesh out = Export(imprint).mesh;
    for (std::size_t i = 0; i < broken.size(); ++i) {
        const bool isThere = std::find(path.begin(), path.end(), broken[i]) != path.end();
        EXPECT_EQ(isThere, broken[i].z() == 0) << i;
    }
    EXPECT_NEAR(SurfaceOf(out), 100, 1e-11);
}

TEST(MeshImprint, AWayThereAndBackAroundThePathsBeginningBoundsNothing)
{
    // The path begins at the tip of the spur: its way there is at the path's end.
    MeshImprint imprint(Sheet(10), kTolerance);
    Imprinted(
        imprint,
        {{9.3, 9.4, 0}, {7.4, 7.6, 0}, {2.2, 7.6, 0}, {2.2, 2.3, 0}, {7.4, 2.3, 0}, {7.4, 7.6, 0}});
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 5.2 * 5.3, 1e-12);
}

TEST(MeshImprint, ASmallLoopWhoseEndOverlapsItsBeginningIsOneLoop)
{
    // Six edges and one of them again: far fewer steps than those within which a second run along
    // an edge undoes the first on a long path.
    MeshImprint imprint({{{0, 0, 0}, {9, 0, 0}, {0, 9, 0}}, {0, 1, 2}}, kTolerance);
    const Path loop{{1, 1, 0}, {2, 1, 0}, {3, 1, 0}, {3, 2, 0}, {3, 3, 0}, {2, 2, 0}};
    Path path = loop;
    path.insert(path.end(), loop.begin(), loop.begin() + 2);
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 2, 1e-12);
}

TEST(MeshImprint, ALongWayThereAndBackIsUndoneNearItsTipOnly)
{
    // Sixty squares out and back along the middle of a strip, from a loop: more than 64 steps pass
    // before the first edges of the way are run again, and these stay imprinted. Both of their
    // sides are of one color then.
    const auto painted = [&](double length) {
        MeshImprint imprint(Support::Mapped(Support::Grid(80, 4),
                                            [](const Vec3d& p) { return p - Vec3d(10, 2, 0); }),
                            kTolerance);
        Path path{{0, 0, 0}, {length, 0, 0}, {0, 0, 0}};
        // A loop that goes round often enough for a third of it to be no limit.
        for (int round = 0; round < 41; ++round) {
            for (const Vec3d& p : {Vec3d(0, -1, 0), Vec3d(-4, -1, 0), Vec3d(-4, 1, 0),
                                   Vec3d(0, 1, 0), Vec3d(0, 0, 0)}) {
                path.push_back(p);
            }
        }
        EXPECT_TRUE(imprint.ImprintPath(path, true, false));
        return imprint.PaintInsideOutside();
    };
    EXPECT_TRUE(painted(30)) << "60 steps out and back";
    EXPECT_FALSE(painted(40)) << "80 steps out and back";
}

TEST(MeshImprint, TheSameLoopAgainChangesNothing)
{
    const IndexedMesh body = Support::Sphere(3);
    Random random(10);
    MeshImprint imprint(body, kTolerance);
    Path path = Support::PathOverTriangles(body, 40, random);
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    const Exported once = Export(imprint);
    const Path first = path;
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    EXPECT_EQ(path, first);
    EXPECT_EQ(Export(imprint).mesh, once.mesh);
}

// --- paths --------------------------------------------------------------------------------------

TEST(MeshImprint, APathOfTwoPointsIsRefused)
{
    MeshImprint imprint(Sheet(3), kTolerance);
    for (const Path& given : {Path{}, Path{{1.2, 1.3, 0}}, Path{{0.2, 0.3, 0}, {2.2, 2.3, 0}}}) {
        for (const bool closed : {false, true}) {
            Path path = given;
            EXPECT_FALSE(imprint.ImprintPath(path, closed, true));
            EXPECT_EQ(path, given);
        }
    }
    EXPECT_EQ(Export(imprint).mesh, Sheet(3));
}

TEST(MeshImprint, PointsSnapToNodesAndEdges)
{
    MeshImprint imprint(Sheet(3), 0.01);
    // Within 0.01 in each coordinate of a node, although farther away; within 0.01 of an edge;
    // inside; and the snapped points come back without `collect`, too.
    Path path{{1.009, 1.009, 0}, {2.009, 1.5, 0}, {1.6, 2.3, 0}};
    ASSERT_TRUE(imprint.ImprintPath(path, true, false));
    const Path expected{{1, 1, 0}, {2, 1.5, 0}, {1.6, 2.3, 0}};
    ASSERT_EQ(path.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_LE(Vector::Length(path[i] - expected[i]), 1e-15);
    }
}

TEST(MeshImprint, TwoPointsInOneTriangleAreJoinedWithoutAnotherBetween)
{
    MeshImprint imprint({{{0, 0, 0}, {9, 0, 0}, {0, 9, 0}}, {0, 1, 2}}, kTolerance);
    Path path{{1, 1, 0}, {3, 1, 0}, {2, 4, 0}, {1, 2, 0}};
    const Path given = path;
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    // The second point may have cut the facet of the first into three, between which the path
    // passes edges; these come as points of their own on the straight stretches.
    for (const Vec3d& p : given) {
        EXPECT_NE(std::find(path.begin(), path.end(), p), path.end());
    }
    EXPECT_EQ(path[0], given[0]);
    EXPECT_EQ(path[1], given[1]) << "both in the triangle that the first point made";
    EXPECT_EQ(LinksWithoutEdge(Export(imprint).mesh, path), 0);
    EXPECT_NEAR(Support::LengthOfPath(path), Support::LengthOfPath(given), 1e-14);
}

TEST(MeshImprint, PointsOnOneEdgeComeToTheRightPieces)
{
    // All on one edge of the mesh as it stood, in a mixed order.
    MeshImprint imprint(Sheet(1), kTolerance);
    Path path;
    for (const double t : {0.5, 0.1, 0.9, 0.3, 0.7, 0.2, 0.8, 0.4, 0.6}) {
        path.push_back({t, t, 0});
    }
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    const Exported out = Export(imprint);
    EXPECT_EQ(out.mesh.points.size(), 4U + 9U);
    EXPECT_EQ(LinksWithoutEdge(out.mesh, path), 0);
    EXPECT_NEAR(SurfaceOf(out.mesh), 1, 1e-15);
}

TEST(MeshImprint, ACrossingNearACornerGoesThroughTheNode)
{
    for (const double miss : {0.004, -0.004, 0.006, -0.006}) {
        MeshImprint imprint(Sheet(4), kTolerance);
        // Level at y = 2 + miss past the nodes of that row; edges are 1 long.
        Path path{{0.3, 2 + miss, 0}, {1.7, 2 + miss, 0}, {3.7, 2 + miss, 0}};
        ASSERT_TRUE(imprint.ImprintPath(path, false, true));
        double least = kInfinity;
        for (const double length : Support::EdgeLengths(Export(imprint).mesh)) {
            least = std::min(least, length);
        }
        const bool isThrough = std::find(path.begin(), path.end(), Vec3d(3, 2, 0)) != path.end();
        EXPECT_EQ(isThrough, std::fabs(miss) < 0.005) << miss;
        EXPECT_GE(least, 0.005 - 1e-12);
    }
}

TEST(MeshImprint, EdgesNoLongerThanHalfTheToleranceCollapse)
{
    // The path passes the node (2, 2) so that it crosses two of the edges there within `miss` of
    // it, which is far more than 0.5 percent of them.
    constexpr double kWide = 0.1;
    for (const double miss : {0.043, 0.07}) {
        MeshImprint imprint(Sheet(4), kWide);
        const double slope = 0.34 / 1.3;
        const double height = 2 + miss; // at x = 2
        Path path{{1.4, height + 0.6 * slope, 0}, {2.7, height - 0.7 * slope, 0}, {2.75, 0.35, 0}};
        ASSERT_TRUE(imprint.ImprintPath(path, false, true));
        const IndexedMesh out = Export(imprint).mesh;
        EXPECT_EQ(LinksWithoutEdge(out, path), 0);
        EXPECT_EQ(Support::FaultsOf(out).overfull, 0);
        double least = kInfinity;
        for (const double length : Support::EdgeLengths(out)) {
            least = std::min(least, length);
        }
        EXPECT_GT(least, kWide / 2);
        EXPECT_EQ(least<kWide, miss> kWide / 2) << "longer ones stay";
        EXPECT_NEAR(SurfaceOf(out), 16, 1e-12);
        EXPECT_EQ(path.front().x(), 1.4);
        EXPECT_EQ(path.back(), Vec3d(2.75, 0.35, 0));
    }
}

TEST(MeshImprint, APointOffTheSurfaceIsSkippedWithItsStretches)
{
    MeshImprint imprint(Sheet(10), kTolerance);
    Path path{{1.2, 5.3, 0}, {3.1, 5.4, 0}, {5.2, 5.3, 0.5}, {7.3, 5.4, 0}, {8.8, 5.3, 0}};
    const Path given = path;
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    const IndexedMesh out = Export(imprint).mesh;
    EXPECT_EQ(LinksWithoutEdge(out, path), 1) << "from the second point to the fourth";
    for (const Vec3d& p : path) {
        EXPECT_FALSE(p.x() > 3.1 && p.x() < 7.3) << "no detour past the gap";
    }
    for (const Vec3d& p : out.points) {
        EXPECT_FALSE(p.x() > 3.1 && p.x() < 7.3 && p.y() > 5 && p.y() < 6) << p;
    }
    EXPECT_EQ(path.front(), given.front());
    EXPECT_EQ(path.back(), given.back());
}

TEST(MeshImprint, PointsOffTheSurfaceAtTheEndsAndAlone)
{
    const Vec3d off(5, 5, 1);
    const Vec3d a(1.2, 5.3, 0);
    const Vec3d b(1.8, 5.4, 0);
    const auto imprinted = [&](Path path, bool closed) {
        MeshImprint imprint(Sheet(10), kTolerance);
        EXPECT_TRUE(imprint.ImprintPath(path, closed, true));
        return path;
    };
    for (const bool closed : {false, true}) {
        EXPECT_EQ(imprinted({off, off, off}, closed), (Path{off, off, off})) << "as given";
        EXPECT_EQ(imprinted({off, a, off}, closed), Path{a});
        EXPECT_EQ(imprinted({a, off, off}, closed), Path{a});
        EXPECT_EQ(imprinted({off, a, b}, closed).front(), a);
        EXPECT_EQ(imprinted({off, a, b}, closed).back(), b);
        EXPECT_EQ(imprinted({a, b, off}, closed).front(), a);
        EXPECT_EQ(imprinted({a, b, off}, closed).back(), b);
    }
    // A closed path whose gap is in the middle runs on past its end into its beginning.
    const Path around = imprinted({a, off, b}, true);
    EXPECT_EQ(around.front(), a);
    EXPECT_EQ(around.back(), a);
    EXPECT_NE(std::find(around.begin(), around.end(), b), around.end());
}

TEST(MeshImprint, TheWayBetweenTwoPointsMayHaveManyCrossings)
{
    // One walk ends after 1024 crossings; what is missing is walked anew from there.
    constexpr int kSquares = 1500;
    MeshImprint imprint(Support::Strip(kSquares), kTolerance);
    Path path{{0.1, 0.5, 0}, {0.2, 0.52, 0}, {kSquares - 0.1, 0.52, 0}};
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    EXPECT_EQ(LinksWithoutEdge(Export(imprint).mesh, path), 0);
    EXPECT_NEAR(path.back().x(), kSquares - 0.1, 1e-9);
}

TEST(MeshImprint, RepeatedPointsAreOne)
{
    MeshImprint imprint(Sheet(4), kTolerance);
    const Vec3d a(1.3, 1.2, 0);
    const Vec3d b(2.6, 1.7, 0);
    Path path{a, a, b, b, b, a};
    ASSERT_TRUE(imprint.ImprintPath(path, true, true));
    EXPECT_EQ(LinksWithoutEdge(Export(imprint).mesh, path), 0);
    Path same{a, a, a};
    ASSERT_TRUE(imprint.ImprintPath(same, true, true));
    EXPECT_EQ(same, Path{a});
}

// --- painting -----------------------------------------------------------------------------------

TEST(MeshImprint, AClosedLoopOnAClosedBodyHasTwoSides)
{
    const IndexedMesh cube = Support::Cube();
    MeshImprint imprint(cube, kTolerance);
    // The smallest corner is below.
    Imprinted(imprint, kBelt);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    for (std::size_t t = 0; t < out.flags.size(); ++t) {
        const double z =
            (Support::PointOf(out.mesh, 3 * t).z() + Support::PointOf(out.mesh, 3 * t + 1).z() +
             Support::PointOf(out.mesh, 3 * t + 2).z()) /
            3;
        EXPECT_EQ(out.flags[t], z < 0.4 ? 1 : 0);
    }
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 1 + 4 * 0.6, 1e-12);
}

TEST(MeshImprint, WithoutImprintsEverythingIsOutside)
{
    // What the flood reaches, and a second component, which it does not reach.
    const IndexedMesh two = Support::Together(
        Support::Cube(),
        Support::Mapped(Support::Cube(), [](const Vec3d& p) { return p + Vec3d(5, 0, 0); }));
    MeshImprint imprint(two, kTolerance);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    EXPECT_EQ(Export(imprint).flags, Flags(24, 1));
}

TEST(MeshImprint, EachBodyWithAPathHasAnOutsideOfItsOwn)
{
    // Three cubes in a row, apart or from corner to corner; paths round the second and on a face of
    // the third. The lower part of the second is outside, for it has that cube's smallest node.
    for (const Vec3d& step : {Vec3d(5, 0, 0), Vec3d(1, 1, 1)}) {
        SCOPED_TRACE(step);
        const auto moved = [&](int times) {
            return Support::Mapped(Support::Cube(),
                                   [&](const Vec3d& p) { return p + step * double(times); });
        };
        IndexedMesh three = Support::Together(Support::Together(moved(0), moved(1)), moved(2));
        FilterForUniqueness(three, 1e-12);
        for (const bool isFirstCutToo : {false, true}) {
            MeshImprint imprint(three, kTolerance);
            const auto on = [&](int cube, const Path& path) {
                Path there;
                for (const Vec3d& p : path) {
                    there.push_back(p + step * double(cube));
                }
                Imprinted(imprint, there);
            };
            on(1, {{0, 0, 0.4}, {1, 0, 0.4}, {1, 1, 0.4}, {0, 1, 0.4}});
            on(2, {{0.2, 0.2, 1}, {0.7, 0.2, 1}, {0.7, 0.6, 1}, {0.2, 0.6, 1}});
            if (isFirstCutToo) {
                on(0, {{0.1, 0.1, 0}, {0.1, 0.2, 0}, {0.2, 0.2, 0}, {0.2, 0.1, 0}});
            }
            EXPECT_TRUE(imprint.PaintInsideOutside());
            const Exported out = Export(imprint);
            EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}),
                        1 + 4 * 0.6 + 0.5 * 0.4 + (isFirstCutToo ? 0.01 : 0.0), 1e-12);
        }
    }
}

TEST(MeshImprint, BodiesThatTouchAlongAnEdgeKeepAllTheirTriangles)
{
    IndexedMesh two = Support::Together(
        Support::Cube(),
        Support::Mapped(Support::Cube(), [](const Vec3d& p) { return p + Vec3d(1, 1, 0); }));
    FilterForUniqueness(two, 1e-12);
    MeshImprint imprint(two, kTolerance);
    Imprinted(imprint, {{0, 0, 0.4}, {1, 0, 0.4}, {1, 1, 0.4}, {0, 1, 0.4}});
    Imprinted(imprint, {{1.2, 1.2, 1}, {1.7, 1.2, 1}, {1.7, 1.6, 1}, {1.2, 1.6, 1}});
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(Support::VolumeOf(out.mesh), 2, 1e-12);
    const double inside = AreaOfFlag(out.mesh, out.flags, Flags::value_type{0});
    EXPECT_NEAR(inside + AreaOfFlag(out.mesh, out.flags, Flags::value_type{1}), 12, 1e-12);
    EXPECT_NEAR(inside, 1 + 4 * 0.6 + 0.5 * 0.4, 1e-12);
}

TEST(MeshImprint, APathThatEndsFreelyOnOneOfTwoBodiesGivesFalse)
{
    const IndexedMesh two = Support::Together(
        Sheet(10), Support::Mapped(Sheet(10), [](const Vec3d& p) { return p + Vec3d(20, 0, 0); }));
    MeshImprint imprint(two, kTolerance);
    Path path{{22.3, 2.4, 0}, {25.3, 2.6, 0}, {25.4, 5.2, 0}};
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    EXPECT_FALSE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_EQ(out.flags, Flags(out.flags.size(), 1));
}

TEST(MeshImprint, AnOpenPathThatEndsInsideGivesFalse)
{
    MeshImprint imprint(Sheet(10), kTolerance);
    Path path{{2.3, 2.4, 0}, {5.3, 2.6, 0}, {5.4, 5.2, 0}};
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    ASSERT_GT(path.size(), 5U);
    EXPECT_FALSE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_EQ(out.flags, Flags(out.flags.size(), 1));
}

TEST(MeshImprint, EachPaintingClearsOneEdgeAtEachLooseEnd)
{
    // A path of six edges loses one at each end in the first painting, two more in the second, and
    // after the third nothing is left to contradict the colors.
    MeshImprint imprint({{{0, 0, 0}, {9, 0, 0}, {0, 9, 0}}, {0, 1, 2}}, kTolerance);
    Path path;
    for (int i = 0; i <= 6; ++i) {
        path.push_back({1 + 0.5 * i, 1 + 0.4 * i, 0});
    }
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    ASSERT_EQ(path.size(), 7U);
    EXPECT_FALSE(imprint.PaintInsideOutside());
    EXPECT_FALSE(imprint.PaintInsideOutside());
    EXPECT_TRUE(imprint.PaintInsideOutside());
}

TEST(MeshImprint, APathAcrossAnOpenSheetDividesIt)
{
    // From boundary to boundary: its ends have one imprinted edge each, which are cleared, and the
    // colors meet there; a path that runs on along the boundary does not end there.
    MeshImprint imprint(Sheet(4), kTolerance);
    Path path{{2.3, 0, 0}, {2.4, 2.2, 0}, {2.3, 4, 0}};
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    EXPECT_FALSE(imprint.PaintInsideOutside());

    MeshImprint closed(Sheet(4), kTolerance);
    Path loop{{2.3, 0, 0}, {2.4, 2.2, 0}, {2.3, 4, 0}, {3, 4, 0},
              {4, 4, 0},   {4, 2, 0},     {4, 0, 0},   {3, 0, 0}};
    Imprinted(closed, loop);
    EXPECT_TRUE(closed.PaintInsideOutside());
    const Exported out = Export(closed);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 16 - 2.35 * 4, 1e-12);
}

TEST(MeshImprint, PaintingTwiceTurnsEverythingOutside)
{
    MeshImprint imprint(Support::Cube(), kTolerance);
    Imprinted(imprint, kBelt);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_EQ(out.flags, Flags(out.flags.size(), 1));
}

TEST(MeshImprint, ALoopThroughTheSmallestNodeGivesFalse)
{
    MeshImprint imprint(Sheet(6), kTolerance);
    Imprinted(imprint, {{0, 0, 0}, {3.3, 0.4, 0}, {2.2, 3.1, 0}});
    EXPECT_FALSE(imprint.PaintInsideOutside());
}

TEST(MeshImprint, TaggedTrianglesAndTheirPiecesEndOutside)
{
    // Two triangles in the loop are tagged; their pieces stay outside, the rest of the loop's
    // inside is inside.
    const IndexedMesh sheet = Sheet(10);
    Flags tags(200, 0);
    tags[2 * 44] = 1;       // square (4, 4), below its diagonal
    tags[2 * 55 + 1] = 200; // square (5, 5), above its diagonal
    MeshImprint imprint(sheet, tags, kTolerance);
    Exported out = Export(imprint);
    EXPECT_EQ(out.flags, Flags(200, 1)) << "before a painting";
    Imprinted(imprint, {{2.13, 2.13, 0}, {7.17, 2.13, 0}, {7.17, 7.17, 0}, {2.13, 7.17, 0}});
    Imprinted(imprint, {{4.21, 3.4, 0}, {4.73, 3.4, 0}, {4.73, 3.8, 0}, {4.21, 3.8, 0}});
    Path across{{3.3, 4.35, 0}, {4.5, 4.37, 0}, {6.6, 4.35, 0}}; // through a tagged triangle
    ASSERT_TRUE(imprint.ImprintPath(across, false, true));
    imprint.PaintInsideOutside(); // the open path leaves colors that meet
    out = Export(imprint);
    double tagged = 0;
    for (std::size_t t = 0; t < out.flags.size(); ++t) {
        const Vec3d center =
            (Support::PointOf(out.mesh, 3 * t) + Support::PointOf(out.mesh, 3 * t + 1) +
             Support::PointOf(out.mesh, 3 * t + 2)) /
            3.0;
        const double x = center.x() - std::floor(center.x());
        const double y = center.y() - std::floor(center.y());
        const bool isFirst = std::floor(center.x()) == 4 && std::floor(center.y()) == 4 && y < x;
        const bool isSecond = std::floor(center.x()) == 5 && std::floor(center.y()) == 5 && y > x;
        if (isFirst || isSecond) {
            EXPECT_EQ(out.flags[t], 1) << center;
            tagged += Support::AreaOfTriangle(out.mesh, t);
        }
    }
    EXPECT_NEAR(tagged, 1.0, 1e-12) << "two half squares";
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}),
                5.04 * 5.04 - 1.0 - 0.52 * 0.4, 1e-9);
}

TEST(MeshImprint, TheFloodPassesTaggedTriangles)
{
    // A column of tagged triangles from boundary to boundary lies between the smallest node and the
    // loop: what is beyond is reached all the same.
    Flags tags(200, 0);
    for (std::size_t row = 0; row < 10; ++row) {
        tags[20 * row + 6] = tags[20 * row + 7] = 1; // the square from x = 3 to 4
    }
    MeshImprint imprint(Sheet(10), tags, kTolerance);
    Imprinted(imprint, {{6.13, 2.13, 0}, {8.17, 2.13, 0}, {8.17, 7.17, 0}, {6.13, 7.17, 0}});
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 2.04 * 5.04, 1e-12);
}

TEST(MeshImprint, TheSmallestNodeIsOutside)
{
    // A loop round one corner of a cube: its cap is inside, except round the corner that is
    // smallest by x, then y, then z, whatever its place among the points. There the rest is inside.
    // The least x alone, which is less than 1e-12 below the others', decides nothing.
    IndexedMesh cube = Support::Cube();
    std::reverse(cube.points.begin(), cube.points.end());
    for (int& i : cube.indices) {
        i = 7 - i;
    }
    for (Vec3d& p : cube.points) {
        p.x() += p.x() == 0 && p.y() + p.z() > 0 ? -5e-13 : 0.0;
    }
    for (const Vec3d& corner : cube.points) {
        const auto along = [&](int axis) {
            Vec3d p = corner;
            p[axis] = p[axis] < 0.5 ? 0.4 : 0.6;
            return p;
        };
        MeshImprint imprint(cube, kTolerance);
        Imprinted(imprint, {along(0), along(1), along(2)});
        EXPECT_TRUE(imprint.PaintInsideOutside());
        const Exported out = Export(imprint);
        const double cap = 3 * 0.4 * 0.4 / 2;
        const bool isSmallest = corner == Vec3d(0, 0, 0);
        EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}),
                    isSmallest ? 6 - cap : cap, 1e-11)
            << corner;
    }
}

TEST(MeshImprint, AnImprintedBoundaryIsNoContradiction)
{
    // On a component that the flood does not reach: no two triangles meet there.
    const IndexedMesh two = Support::Together(
        Sheet(4), Support::Mapped(Sheet(4), [](const Vec3d& p) { return p + Vec3d(9, 0, 0); }));
    MeshImprint imprint(two, kTolerance);
    Path path{{9, 0, 0}, {10, 0, 0}, {11, 0, 0}, {12, 0, 0}, {13, 0, 0}};
    ASSERT_TRUE(imprint.ImprintPath(path, false, true));
    EXPECT_EQ(path.size(), 5U);
    EXPECT_TRUE(imprint.PaintInsideOutside());
}

TEST(MeshImprint, TagsMayBeTooFewOrTooMany)
{
    Flags tags{0, 7};
    for (const std::size_t count : {std::size_t{0}, std::size_t{2}, std::size_t{40}}) {
        tags.resize(count, 0);
        MeshImprint imprint(Support::Cube(), tags, kTolerance);
        EXPECT_TRUE(imprint.PaintInsideOutside());
        EXPECT_EQ(Export(imprint).flags.size(), 12U);
    }
}

// --- what comes out -----------------------------------------------------------------------------

TEST(MeshImprint, EachSideComesOutAlone)
{
    MeshImprint imprint(Support::Cube(), kTolerance);
    IndexedMesh side;
    EXPECT_FALSE(imprint.Export(side, true)) << "nothing is inside yet";
    EXPECT_TRUE(side.indices.empty());
    EXPECT_TRUE(side.points.empty());
    EXPECT_TRUE(imprint.Export(side, false));
    EXPECT_EQ(side.indices.size(), 36U);

    Imprinted(imprint, kBelt);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    EXPECT_TRUE(imprint.Export(side, true));
    EXPECT_NEAR(SurfaceOf(side), 1 + 4 * 0.6, 1e-12);
    for (const Vec3d& p : side.points) {
        EXPECT_GE(p.z(), 0.4 - 1e-15) << "no point of the other side is left over";
    }
    EXPECT_TRUE(imprint.Export(side, false));
    EXPECT_NEAR(SurfaceOf(side), 1 + 4 * 0.4, 1e-12);
    EXPECT_EQ(Support::FaultsOf(side).overfull, 0);
}

TEST(MeshImprint, ASideOfOneTriangleIsOne)
{
    const MeshImprint imprint({{{0, 0, 0}, {9, 0, 0}, {0, 9, 0}}, {0, 1, 2}}, kTolerance);
    IndexedMesh side;
    EXPECT_TRUE(imprint.Export(side, false));
    EXPECT_EQ(side.indices.size(), 3U);
}

TEST(MeshImprint, OnlyPointsThatAreOneAreWelded)
{
    // Two triangles apart by 1e-7, then by 1e-13.
    for (const double gap : {1e-7, 1e-13}) {
        const IndexedMesh mesh{
            {{0, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {gap, 0, 0}, {1, 0, 0}, {gap, 1, 0}},
            {0, 2, 1, 3, 4, 5}};
        IndexedMesh side;
        EXPECT_TRUE(MeshImprint(mesh, 1e-14).Export(side, false));
        EXPECT_EQ(side.points.size(), gap > 1e-12 ? 6U : 4U);
        EXPECT_EQ(side.indices.size(), 6U);
    }
}

TEST(MeshImprint, UnusedPointsAreWrittenByTheWholeExportOnly)
{
    IndexedMesh mesh = Support::Tetrahedron();
    mesh.points.push_back({7, 7, 7});
    const MeshImprint imprint(mesh, kTolerance);
    EXPECT_EQ(Export(imprint).mesh.points.size(), 5U);
    IndexedMesh side;
    EXPECT_TRUE(imprint.Export(side, false));
    EXPECT_EQ(side.points.size(), 4U);
}

// --- hostile input ------------------------------------------------------------------------------

TEST(MeshImprint, AnEmptyMeshTakesEverythingAndGivesNothing)
{
    const IndexedMesh empty[] = {{}, {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {}}, {{}, {}}};
    for (const IndexedMesh& mesh : empty) {
        MeshImprint imprint(mesh, kTolerance);
        Path path{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
        const Path given = path;
        EXPECT_TRUE(imprint.ImprintPath(path, true, true));
        EXPECT_EQ(path, given);
        EXPECT_TRUE(imprint.PaintInsideOutside());
        const Exported out = Export(imprint);
        EXPECT_TRUE(out.flags.empty());
        IndexedMesh side;
        EXPECT_FALSE(imprint.Export(side, false));
    }
}

TEST(MeshImprint, TrianglesThatCannotBeAddedAreReportedAndLeftOut)
{
    IndexedMesh mesh = Support::Cube();
    // A point twice, a point that is not there, a triangle once more; and a part of a triple.
    mesh.indices.insert(mesh.indices.end(), {1, 1, 2, 0, 1, 99, 0, 2, 3, 4});
    Support::ExpectAssertions(3);
    Flags tags(15, 0);
    tags[14] = 9; // of a triangle that is left out
    MeshImprint imprint(mesh, tags, kTolerance);
    EXPECT_EQ(Support::LastAssertion(),
              "ProjectionImprinting_Impl:145 Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<"
              "unsigned char>::ImprintableMesh");
    Imprinted(imprint, kBelt);
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 1 + 4 * 0.6, 1e-12);
}

TEST(MeshImprint, PointsThatAreNotFiniteAreOffTheSurface)
{
    MeshImprint imprint(Sheet(10), kTolerance);
    const Vec3d a(1.2, 5.3, 0);
    const Vec3d b(1.8, 5.4, 0);
    for (const double bad : {kNan, kInfinity, -kInfinity, 1e300}) {
        Path path{a, {bad, 1, 0}, b, {1, 1, bad}, a};
        EXPECT_TRUE(imprint.ImprintPath(path, true, true));
        EXPECT_EQ(path.front(), a);
    }
    EXPECT_NEAR(SurfaceOf(Export(imprint).mesh), 100, 1e-12);
}

TEST(MeshImprint, TolerancesThatFindNothingLeaveTheMeshAlone)
{
    for (const double tolerance : {-1.0, kNan}) {
        MeshImprint imprint(Sheet(4), tolerance);
        Path path{{1, 1, 0}, {2, 1, 0}, {2, 2, 0}};
        const Path given = path;
        EXPECT_TRUE(imprint.ImprintPath(path, true, true));
        EXPECT_EQ(path, given);
        EXPECT_EQ(Export(imprint).mesh, Sheet(4));
    }
}

TEST(MeshImprint, WithToleranceZeroPointsOnTheSurfaceAreFound)
{
    MeshImprint imprint(Sheet(8), 0.0);
    // Nodes, middles of edges, and a point inside, all exact in binary.
    Imprinted(imprint, {{2, 2, 0}, {5.5, 2, 0}, {5.75, 5.5, 0}, {2, 5, 0}});
    EXPECT_TRUE(imprint.PaintInsideOutside());
    const Exported out = Export(imprint);
    EXPECT_NEAR(SurfaceOf(out.mesh), 64, 1e-13);
    // By hand, the shoelace of the corners: (-7 + 18.75 + 17.75 - 6) / 2.
    EXPECT_NEAR(AreaOfFlag(out.mesh, out.flags, Flags::value_type{0}), 11.75, 1e-13);
}

TEST(MeshImprint, MeshesWithDegenerateTrianglesAreCutToo)
{
    const auto part = Support::SharedData("with_degenerate/nist_ftc_06.stl");
    SORVANE_NEED_DATA(part);
    const IndexedMesh body = Support::WeldedStl<double>(part);
    IndexedMesh clean;
    clean.points = body.points;
    int degenerate = 0;
    for (std::size_t i = 0; i < body.indices.size(); i += 3) {
        const int a = body.indices[i];
        const int b = body.indices[i + 1];
        const int c = body.indices[i + 2];
        if (a == b || b == c || c == a) {
            ++degenerate;
        } else {
            clean.indices.insert(clean.indices.end(), {a, b, c});
        }
    }
    ASSERT_EQ(degenerate, 8);
    Support::ExpectAssertions(degenerate);
    MeshImprint imprint(body, 1e-7);
    Random random(11);
    const double area = SurfaceOf(clean);
    for (int i = 0; i < 5; ++i) {
        Path path = Support::PathOverTriangles(clean, 40, random);
        ASSERT_TRUE(imprint.ImprintPath(path, false, true));
        const Exported out = Export(imprint);
        EXPECT_NEAR(SurfaceOf(out.mesh), area, 1e-11 * area);
        EXPECT_EQ(LinksWithoutEdge(out.mesh, path), 0);
        EXPECT_EQ(Support::FaultsOf(out.mesh), Support::EdgeFaults{});
    }
}

TEST(MeshImprint, GarbageNeitherHangsNorLosesTheSurface)
{
    Random random(12);
    for (int round = 0; round < Support::Rounds(60); ++round) {
        const IndexedMesh garbage = Support::GarbageMesh<3, double>(random, 12, 30);
        MeshImprint imprint(garbage, 1e-6);
        for (int i = 0; i < 4; ++i) {
            Path path;
            for (int k = 0; k < 6; ++k) {
                const auto t = static_cast<std::size_t>(
                    3 * random.Below(static_cast<int>(garbage.indices.size() / 3)));
                const auto corner = [&](std::size_t j) {
                    const auto n = static_cast<std::size_t>(garbage.indices[t + j]);
                    return n < garbage.points.size() ? garbage.points[n] : Vec3d();
                };
                const double u = random.Unit();
                path.push_back(corner(0) * u + corner(1) * (1 - u) * 0.5 +
                               corner(2) * (1 - u) * 0.5);
            }
            const double before = SurfaceOf(Export(imprint).mesh);
            EXPECT_TRUE(imprint.ImprintPath(path, i % 2 == 0, true));
            EXPECT_NEAR(SurfaceOf(Export(imprint).mesh), before, 1e-4 * (1 + before));
        }
        imprint.PaintInsideOutside();
    }
    EXPECT_GT(Support::AssertionCount(), 0) << "some triangles can't be added";
    Support::ExpectAssertions(Support::AssertionCount());
}

} // namespace
