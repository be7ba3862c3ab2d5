// Decimation in passes, within a measured distance.

#include <Sorvane/Decimation_E.h>

#include "tests/remesh/DecimationSupport.h"
#include "tests/support/Rounds.h"
#include "tests/support/ThreadLimit.h"

#include <array>
#include <map>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mesh::DecimationReport;
using Mesh::DecimationStop;
using Support::IndexedMesh;
using Support::Tags;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Decimated {
    IndexedMesh mesh;
    Tags tags;
    DecimationReport report;
    double percent = -1;
};

Decimated Decimate(const IndexedMesh& mesh, double angle, double keep, double tolerance,
                   const Tags& tags = {})
{
    Decimated result;
    result.percent = Mesh::DecimateInBatches(mesh, tags, result.mesh, result.tags, angle, keep,
                                             tolerance, result.report);
    EXPECT_EQ(result.tags.size(), result.mesh.indices.size() / 3);
    EXPECT_EQ(result.report.triangles, static_cast<int>(result.tags.size()));
    return result;
}

TEST(DecimateInBatches, ACubeComesDownToItsTwelveTriangles)
{
    for (const double tolerance : {1e-6, kInfinity}) {
        const Decimated result =
            Decimate(Support::FineCube(16), 40, 12.0 / (12 * 16 * 16) * 100 + 1e-9, tolerance);
        EXPECT_EQ(result.mesh.indices.size() / 3, 12U) << tolerance;
        EXPECT_EQ(result.mesh.points.size(), 8U);
        EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
        EXPECT_NEAR(Support::VolumeOf(result.mesh), 4096, 1e-9);
        EXPECT_EQ(result.report.stop, DecimationStop::Target);
    }
}

TEST(DecimateInBatches, AFlatSheetComesDownToItsCorners)
{
    // A straight boundary goes along itself; nothing bends, so that the distance is 0 but for
    // roundings.
    const Decimated result = Decimate(Support::Grid(30, 20), 40, 0, 1e-9);
    EXPECT_LT(result.mesh.indices.size() / 3, 8U);
    double area = 0;
    for (std::size_t i = 0; i < result.mesh.indices.size(); i += 3) {
        const Vec3d normal = Support::NormalOf(result.mesh, i);
        EXPECT_GT(normal[2], 0);
        area += normal[2] / 2;
    }
    EXPECT_NEAR(area, 600, 1e-6);
    EXPECT_LE(result.report.deviation, 1e-9);
}

TEST(DecimateInBatches, CornersOfAFlatSheetStayWhereTheyAre)
{
    // With all their bits, also where none of them is a round number: turned, and far away.
    const Vec3d ex = Normalized(Vec3d(3, 1, 2), 0.0);
    const Vec3d ey = Normalized(Vec3d(-1, 3, 0) ^ ex, 0.0);
    for (const int turned : {0, 1, 2}) {
        for (const auto& [nx, ny] : {std::pair{30, 20}, std::pair{7, 64}, std::pair{1, 9}}) {
            IndexedMesh sheet = Support::Grid(nx, ny);
            std::vector<Vec3d> corners;
            for (Vec3d& p : sheet.points) {
                const bool isCorner = (p.x() == 0 || p.x() == nx) && (p.y() == 0 || p.y() == ny);
                p = turned > 0 ? ex * (0.3 * p.x()) + ey * (0.7 * p.y()) : p;
                p += turned > 1 ? Vec3d(1e6, -2e6, 1e6) : Vec3d();
                if (isCorner) {
                    corners.push_back(p);
                }
            }
            ASSERT_EQ(corners.size(), 4U);
            for (const double tolerance : {1e-6, 0.01}) {
                const Decimated result = Decimate(sheet, 40, 0, tolerance);
                for (const Vec3d& corner : corners) {
                    EXPECT_EQ(
                        std::count(result.mesh.points.begin(), result.mesh.points.end(), corner), 1)
                        << turned << ' ' << nx << ' ' << ny << ' ' << tolerance;
                }
                EXPECT_EQ(result.mesh.indices.size() / 3, 2U);
            }
        }
    }
}

TEST(DecimateInBatches, ASphereWithinATolerance)
{
    const IndexedMesh sphere = Support::Sphere(5);
    std::size_t last = sphere.indices.size();
    for (const double tolerance : {0.002, 0.01, 0.05}) {
        const Decimated result = Decimate(sphere, 60, 0, tolerance);
        EXPECT_LT(result.mesh.indices.size(), last) << tolerance;
        last = result.mesh.indices.size();
        EXPECT_LE(result.report.deviation, tolerance);
        EXPECT_EQ(result.report.stop, DecimationStop::Tolerance);
        EXPECT_EQ(Support::EulerOf(result.mesh), 2);
        for (const Vec3d& p : result.mesh.points) {
            EXPECT_NEAR(Length(p), 1, tolerance + 0.002); // the source itself lies inside
        }
        for (std::size_t i = 0; i < result.mesh.indices.size(); i += 3) {
            const Vec3d center =
                (Support::PointOf(result.mesh, i) + Support::PointOf(result.mesh, i + 1) +
                 Support::PointOf(result.mesh, i + 2)) /
                3.0;
            EXPECT_GT(Support::NormalOf(result.mesh, i) * center, 0);
        }
    }
    EXPECT_LT(last / 3, 400U);
}

TEST(DecimateInBatches, ATargetAlone)
{
    const IndexedMesh torus = Support::Torus(120, 60); // 14400
    for (const double keep : {50.0, 10.0, 3.0}) {
        const Decimated result = Decimate(torus, 60, keep, kInfinity);
        EXPECT_LE(result.percent, keep);
        EXPECT_GT(result.percent, keep - 0.1);
        EXPECT_EQ(result.report.stop, DecimationStop::Target);
        EXPECT_TRUE(std::isnan(result.report.deviation)) << "not asked for";
        EXPECT_EQ(Support::EulerOf(result.mesh), 0);
        EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
        EXPECT_NEAR(Support::VolumeOf(result.mesh) / Support::VolumeOf(torus), 1, 1e-12)
            << "of a surface without features every collapse keeps it";
    }
}

TEST(DecimateInBatches, CurvedCreasesKeepTheVolumeToo)
{
    // A disk's rim is a crease: inside of it lies what its points span.
    constexpr int kSides = 720;
    IndexedMesh disk;
    for (int i = 0; i < kSides; ++i) {
        const double angle = i * 2 * 3.14159265358979 / kSides;
        for (const double z : {0.0, 1.0}) {
            disk.points.push_back({10 * std::cos(angle), 10 * std::sin(angle), z});
        }
        const int next = 2 * ((i + 1) % kSides);
        disk.indices.insert(disk.indices.end(),
                            {2 * i, next, next + 1, 2 * i, next + 1, 2 * i + 1, next, 2 * i,
                             2 * kSides, 2 * i + 1, next + 1, 2 * kSides + 1});
    }
    disk.points.insert(disk.points.end(), {{0, 0, 0}, {0, 0, 1}});
    ASSERT_EQ(Support::FaultsOf(disk), Support::EdgeFaults{});
    const Decimated result = Decimate(disk, 40, 0, 0.05);
    EXPECT_LT(result.percent, 15);
    EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
    // With 80 of the 720 points left on their circle it would be 1e-3.
    EXPECT_NEAR(Support::VolumeOf(result.mesh) / Support::VolumeOf(disk), 1, 1e-4);
}

/// A double cone of 2 x `count` triangles round two tips, the rim of which goes up and down.
IndexedMesh DoubleCone(int count, double height, double wave)
{
    IndexedMesh cone;
    for (int i = 0; i < count; ++i) {
        const double turn = i * kTwoPi<double> / count;
        cone.points.push_back(
            {10 * std::cos(turn), 10 * std::sin(turn), wave * std::sin(i * 37.0)});
        const int next = (i + 1) % count;
        cone.indices.insert(cone.indices.end(), {i, next, count, next, i, count + 1});
    }
    cone.points.push_back({0, 0, height});
    cone.points.push_back({0, 0, -height});
    return cone;
}

TEST(DecimateInBatches, TipsOfManyTrianglesKeepTheVolumeToo)
{
    for (const auto& [height, wave] : {std::pair{5.0, 0.0}, {5.0, 0.001}, {0.3, 0.05}}) {
        const IndexedMesh cone = DoubleCone(600, height, wave);
        for (const double keep : {30.0, 20.0, 2.0}) {
            const Decimated result = Decimate(cone, 180, keep, kInfinity);
            EXPECT_EQ(result.report.stop, DecimationStop::Target);
            EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
            if (wave < 0.01 || keep > 10) { // the flat cone would be folded then
                EXPECT_NEAR(Support::VolumeOf(result.mesh) / Support::VolumeOf(cone), 1, 1e-9)
                    << height << ' ' << wave << ' ' << keep;
            }
        }
    }
    // On a rim that goes up and down steeply no volume is kept, as planes there meet far away. The
    // sum over the triangles of a tip is kept up while those round it collapse: the figure is that
    // of adding all of them up for every edge.
    const Decimated steep = Decimate(DoubleCone(600, 0.3, 0.5), 180, 30, kInfinity);
    EXPECT_NEAR(Support::VolumeOf(steep.mesh), 62.4328727284, 1e-6);
}

TEST(DecimateInBatches, TagsKeepTheirAreas)
{
    const IndexedMesh grid = Support::Grid(40, 40);
    Tags tags;
    for (std::size_t t = 0; t < grid.indices.size() / 3; ++t) {
        tags.push_back(t / 2 % 40 < 20 ? 3 : 9);
    }
    const Decimated result = Decimate(grid, 40, 0, 1e-6, tags);
    EXPECT_LT(result.mesh.indices.size() / 3, 20U);
    std::map<unsigned char, double> areas;
    for (std::size_t i = 0; i < result.mesh.indices.size(); i += 3) {
        areas[result.tags[i / 3]] += Support::NormalOf(result.mesh, i)[2] / 2;
    }
    ASSERT_EQ(areas.size(), 2U);
    EXPECT_NEAR(areas[3], 800, 1e-6);
    EXPECT_NEAR(areas[9], 800, 1e-6);
}

TEST(DecimateInBatches, AnAreaOfATagNeverGoesAltogether)
{
    // Its outline is a loop, of which three points are the least.
    const IndexedMesh grid = Support::Grid(12, 12);
    Tags tags(grid.indices.size() / 3, 1);
    for (std::size_t i = 0; i < grid.indices.size(); i += 3) {
        const Vec3d center = (Support::PointOf(grid, i) + Support::PointOf(grid, i + 1) +
                              Support::PointOf(grid, i + 2)) /
                             3.0;
        tags[i / 3] = Length(center - Vec3d(6, 6, 0)) < 3 ? 2 : 1;
    }
    for (const bool isSingle : {false, true}) {
        if (isSingle) {
            tags.assign(tags.size(), 1);
            tags[150] = 2;
        }
        const Decimated result = Decimate(grid, 180.5, 0, kInfinity, tags);
        EXPECT_LT(result.percent, 20);
        EXPECT_GE(std::count(result.tags.begin(), result.tags.end(), 2), 1) << isSingle;
    }
}

TEST(DecimateInBatches, TrianglesNeverComeToLieBackToBack)
{
    // A spike on a triangle: its three lower edges have the third point as a neighbor in common,
    // with no triangle between. The spike's sides turn by little more than 30 degrees when two
    // points of its foot become one, and would be one sheet of two sides then.
    IndexedMesh sheet = Support::Grid(12, 12);
    const std::size_t foot = 3 * 130;
    const int a = sheet.indices[foot];
    const int b = sheet.indices[foot + 1];
    const int c = sheet.indices[foot + 2];
    const auto at = [&](int n) -> Vec3d& { return sheet.points[static_cast<std::size_t>(n)]; };
    const Vec3d middle = (at(a) + at(b) + at(c)) / 3.0;
    for (int i = 0; i < 3; ++i) { // the foot of equal edges
        const double angle = 0.7 + i * 2.0943951;
        at(i == 0 ? a : i == 1 ? b : c) = middle + Vec3d(std::cos(angle), std::sin(angle), 0) * 0.3;
    }
    if (Support::NormalOf(sheet, foot)[2] < 0) {
        std::swap(at(b), at(c));
    }
    const int top = static_cast<int>(sheet.points.size());
    sheet.points.push_back(middle + Vec3d(0, 0, 40));
    sheet.indices[foot + 2] = top;
    sheet.indices.insert(sheet.indices.end(), {b, c, top, c, a, top});
    const Decimated result = Decimate(sheet, 180.5, 0, kInfinity);
    EXPECT_LT(result.percent, 20);
    EXPECT_EQ(Support::FaultsOf(result.mesh).overfull, 0);
    EXPECT_EQ(Support::EulerOf(result.mesh), Support::EulerOf(sheet));
}

TEST(DecimateInBatches, ATriangleMoreOnAnEdgeOfAClosedFan)
{
    // First in the lists of its points: round them the walk across edges never comes back to it.
    IndexedMesh mesh = Support::Sphere(3);
    const int a = mesh.indices[0];
    const int b = mesh.indices[1];
    const Vec3d pa = mesh.points[static_cast<std::size_t>(a)];
    const Vec3d pb = mesh.points[static_cast<std::size_t>(b)];
    mesh.points.push_back((pa + pb) * 0.7);
    const int top = static_cast<int>(mesh.points.size()) - 1;
    for (const auto& more : {std::array{a, b, top}, std::array{b, a, top}}) {
        IndexedMesh odd = mesh;
        odd.indices.insert(odd.indices.begin(), more.begin(), more.end());
        const Decimated result = Decimate(odd, 60, 10, kInfinity);
        EXPECT_LT(result.percent, 15);
        EXPECT_EQ(Support::FaultsOf(result.mesh), Support::FaultsOf(odd));
        for (const Vec3d& p : {pa, pb}) {
            EXPECT_EQ(std::count(result.mesh.points.begin(), result.mesh.points.end(), p), 1);
        }
    }
}

TEST(DecimateInBatches, WhatLeavesAMeshAsItIs)
{
    IndexedMesh sphere = Support::Sphere(3);
    for (const auto& [keep, tolerance] : std::vector<std::pair<double, double>>{
             {100, 1}, {1e300, 1}, {kNan, 1}, {kInfinity, 1}, {10, 0}, {10, -1}, {10, kNan}}) {
        const Decimated result = Decimate(sphere, 60, keep, tolerance);
        EXPECT_EQ(result.mesh.indices, sphere.indices);
        EXPECT_EQ(result.mesh.points, sphere.points);
        EXPECT_NEAR(result.percent, 100, 1e-10);
    }
    for (const IndexedMesh& mesh : {IndexedMesh{}, IndexedMesh{{{0, 0, 0}}, {0, 0, 0}}}) {
        EXPECT_TRUE(std::isnan(Decimate(mesh, 60, 10, 1).percent));
    }
}

TEST(DecimateInBatches, TheSameForAnyNumberOfThreads)
{
    const IndexedMesh torus = Support::Torus(90, 40);
    Decimated one;
    Decimated four;
    Support::WithThreads(1, [&] { one = Decimate(torus, 60, 8, 0.05); });
    Support::WithThreads(4, [&] { four = Decimate(torus, 60, 8, 0.05); });
    EXPECT_EQ(four.mesh.points, one.mesh.points);
    EXPECT_EQ(four.mesh.indices, one.mesh.indices);
    EXPECT_EQ(four.report, one.report);
}

TEST(DecimateInBatches, ScalingByTwoGivesTheSameTriangles)
{
    const IndexedMesh torus = Support::Torus(60, 30);
    IndexedMesh twice = torus;
    Support::Scale(twice, 2);
    for (const double tolerance : {0.02, kInfinity}) {
        const Decimated one = Decimate(torus, 60, 20, tolerance);
        const Decimated two = Decimate(twice, 60, 20, 2 * tolerance);
        EXPECT_EQ(two.mesh.indices, one.mesh.indices);
        EXPECT_LT(one.percent, 60);
    }
}

TEST(DecimateInBatches, FarFromTheOrigin)
{
    IndexedMesh far = Support::Sphere(5);
    for (Vec3d& p : far.points) {
        p = p * 32.0 + Vec3d(1048576, -1048576, 1048576);
    }
    IndexedMesh near = Support::Sphere(5);
    Support::Scale(near, 32);
    const Decimated result = Decimate(far, 60, 0, 0.1);
    EXPECT_NEAR(result.percent, Decimate(near, 60, 0, 0.1).percent, 1);
    EXPECT_LT(result.percent, 60);
    EXPECT_LE(result.report.deviation, 0.1);
    EXPECT_EQ(Support::EulerOf(result.mesh), 2);
}

TEST(DecimateInBatches, OddTopologyStays)
{
    IndexedMesh solids = Support::Sphere(4);
    IndexedMesh other = solids;
    for (Vec3d& p : other.points) {
        p += Vec3d(2, 0, 0);
    }
    solids = Support::Together(solids, other);
    Mesh::FilterForUniqueness(solids, 1e-12);
    const Decimated result = Decimate(solids, 60, 10, kInfinity);
    EXPECT_LE(result.percent, 10);
    EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
    EXPECT_EQ(Support::EulerOf(result.mesh), 3) << "two spheres with one point in common";
    EXPECT_EQ(std::count(result.mesh.points.begin(), result.mesh.points.end(), Vec3d(1, 0, 0)), 1)
        << "which stays";

    for (const IndexedMesh& odd :
         {Support::MoebiusStrip(30), Support::Fins(5), Support::TrianglesAtOnePoint(6),
          Support::Tetrahedron(), Support::Octahedron(), Support::Fan(50, true),
          Support::Fan(50, false), Support::Strip(50)}) {
        for (const double tolerance : {0.1, kInfinity}) {
            const Decimated left = Decimate(odd, 60, 0, tolerance);
            EXPECT_FALSE(left.mesh.indices.empty());
            EXPECT_LE(Support::FaultsOf(left.mesh).overfull, Support::FaultsOf(odd).overfull);
            EXPECT_EQ(Support::EulerOf(left.mesh), Support::EulerOf(odd));
        }
    }
}

TEST(DecimateInBatches, HostileInput)
{
    IndexedMesh mesh = Support::Sphere(3);
    mesh.indices.insert(mesh.indices.end(), {0, 1, 9999999, -1, 0, 1, 5, 5, 6, 0, 1});
    const Decimated result = Decimate(mesh, 60, 50, 1);
    EXPECT_EQ(result.report.initialTriangles, 512);
    EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
    for (const double bad : {kNan, kInfinity, 1e200, 1e308}) {
        for (const double tolerance : {0.1, kInfinity}) {
            IndexedMesh broken = Support::Sphere(3);
            broken.points[40][1] = bad;
            const Decimated left = Decimate(broken, 60, 30, tolerance);
            EXPECT_EQ(Support::FaultsOf(left.mesh), Support::EdgeFaults{}) << bad;
            EXPECT_EQ(Support::EulerOf(left.mesh), 2);
        }
    }
    for (const double angle : {kNan, kInfinity, -1.0, 0.0, 180.0, 1e300}) {
        EXPECT_EQ(Support::FaultsOf(Decimate(Support::Torus(40, 20), angle, 30, 1).mesh),
                  Support::EdgeFaults{});
    }
    // Every triangle without an area, on a line and in a point.
    IndexedMesh line = Support::Grid(20, 20);
    for (Vec3d& p : line.points) {
        p = {p[0] + p[1], 0, 0};
    }
    EXPECT_FALSE(Decimate(line, 60, 10, kInfinity).mesh.indices.empty());
    for (Vec3d& p : line.points) {
        p = {};
    }
    EXPECT_FALSE(Decimate(line, 60, 10, kInfinity).mesh.indices.empty());
    // One point with a great many triangles.
    EXPECT_FALSE(Decimate(Support::Fan(20000, true), 60, 10, kInfinity).mesh.indices.empty());
}

TEST(DecimateInBatches, AMeshMayBeItsOwnOutput)
{
    IndexedMesh mesh = Support::Sphere(4);
    const Decimated expected = Decimate(mesh, 60, 20, 0.1);
    Tags tags(mesh.indices.size() / 3, 0);
    DecimationReport report;
    Mesh::DecimateInBatches(mesh, tags, mesh, tags, 60, 20, 0.1, report);
    EXPECT_EQ(mesh.points, expected.mesh.points);
    EXPECT_EQ(mesh.indices, expected.mesh.indices);
    EXPECT_EQ(tags, expected.tags);
}

// --- real parts ---------------------------------------------------------------------------------

struct PartCase {
    const char* name;
    const char* file;
    double tolerance;
};
void PrintTo(const PartCase& part, std::ostream* stream) { *stream << part.name; }
class DecimationInBatchesOfParts : public testing::TestWithParam<PartCase> {};

TEST_P(DecimationInBatchesOfParts, StaysClosedUnflippedCreasedAndNear)
{
    const auto& [name, path, tolerance] = GetParam();
    const auto file = Support::SharedData(path);
    SORVANE_NEED_DATA(file);
    const IndexedMesh part = Support::WithoutRepeats(Support::WeldedStl<double>(file));
    const auto before = Support::FaultsOf(part);
    const Decimated result = Decimate(part, 40, 5, tolerance);
    EXPECT_LT(result.percent, 95);
    const auto after = Support::FaultsOf(result.mesh);
    EXPECT_EQ(after.open, before.open);
    EXPECT_LE(after.overfull, before.overfull);
    EXPECT_EQ(Support::EulerOf(result.mesh), Support::EulerOf(part));
    EXPECT_EQ(Support::FlippedTriangles(result.mesh, part, 15), 0);
    EXPECT_LT(Support::FeatureDistance(Support::FeatureSegments(part, 40),
                                       Support::FeatureSegments(result.mesh, 39), 100),
              5 * tolerance);
    EXPECT_LE(result.report.deviation, tolerance);
    const double off = std::max(Support::GreatestDistance(result.mesh, part, 20),
                                Support::GreatestDistance(part, result.mesh, 20));
    EXPECT_LE(off, tolerance * (1 + 1e-9));
    if (before.open == 0) {
        EXPECT_NEAR(Support::VolumeOf(result.mesh) / Support::VolumeOf(part), 1, 1e-2);
    }
}

constexpr std::array<PartCase, 4> kParts{{
    {"Round", "meshes_cad/round.stl", 0.01},
    {"NistCtc05Degenerate", "with_degenerate/nist_ctc_05.stl", 0.1},
    {"NistFtc06", "meshes_nist/nist_ftc_06_asme1_rd.stl", 0.05},
    {"Spot", "meshes_organic/spot.stl", 0.01},
}};
INSTANTIATE_TEST_SUITE_P(Parts, DecimationInBatchesOfParts,
                         testing::ValuesIn(kParts.begin(), kParts.begin() + Support::FullOr(4, 2)),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
