// Decimation by quadric errors, one edge at a time.

#include <Sorvane/Decimation_E.h>

#include "tests/remesh/DecimationSupport.h"
#include "tests/support/Rounds.h"

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

/// The result with its report.
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
    result.percent = Mesh::DecimateMesh(mesh, tags, result.mesh, result.tags, angle, keep,
                                        tolerance, true, result.report);
    EXPECT_EQ(result.tags.size(), result.mesh.indices.size() / 3);
    return result;
}

/// Points of the mesh that a condition holds for.
template <class Holds>
std::set<std::array<double, 3>> PointsWhere(const IndexedMesh& mesh, Holds holds)
{
    std::set<std::array<double, 3>> points;
    for (const Vec3d& p : mesh.points) {
        if (holds(p)) {
            points.insert({p[0], p[1], p[2]});
        }
    }
    return points;
}

TEST(Decimation, AFlatGridLosesItsInsideAndKeepsItsBoundary)
{
    const IndexedMesh grid = Support::Grid(40, 40);
    const Decimated result = Decimate(grid, 30, 10, 0.1);
    EXPECT_LT(result.percent, 60);
    const auto isRim = [](const Vec3d& p) {
        return p[0] == 0 || p[0] == 40 || p[1] == 0 || p[1] == 40;
    };
    EXPECT_EQ(PointsWhere(result.mesh, isRim).size(), 160U);
    EXPECT_EQ(Support::FaultsOf(result.mesh), (Support::EdgeFaults{160, 0}));
    double area = 0;
    for (std::size_t i = 0; i < result.mesh.indices.size(); i += 3) {
        const Vec3d normal = Support::NormalOf(result.mesh, i);
        EXPECT_GT(normal[2], 0);
        area += normal[2] / 2;
    }
    EXPECT_NEAR(area, 1600, 1e-9);
    // Boundary nodes have no error to compare with: whether they are to be kept changes nothing.
    IndexedMesh other;
    Mesh::DecimateMesh(grid, other, 30, 10, 0.1, false);
    EXPECT_EQ(other.points, result.mesh.points);
    EXPECT_EQ(other.indices, result.mesh.indices);
}

TEST(Decimation, EdgesLongerThanATenthOfTheDiagonalStay)
{
    // The diagonal of 7 x 7 is 9.9: every edge is too long. Of 20 x 20 only the diagonals of
    // squares would be, had they more than 2.83.
    const Decimated small = Decimate(Support::Grid(7, 7), 30, 10, 0.1);
    EXPECT_NEAR(small.percent, 100, 1e-12);
    EXPECT_EQ(small.report.stop, DecimationStop::TooLong);
    EXPECT_EQ(small.report.longEdges, 2 * 6 * 5 + 5 * 5) << "of the nodes inside";
    EXPECT_LT(Decimate(Support::Grid(20, 20), 30, 10, 0.1).percent, 90);
}

TEST(Decimation, ACubeKeepsItsEdgesAndCorners)
{
    const IndexedMesh cube = Support::FineCube(24);
    const Decimated result = Decimate(cube, 30, 5, 0.1);
    EXPECT_LT(result.percent, 60);
    EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
    EXPECT_NEAR(Support::VolumeOf(result.mesh), 24.0 * 24 * 24, 1e-8);
    double length = 0;
    for (const auto& [a, b] : Support::FeatureSegments(result.mesh, 30)) {
        length += Length(b - a);
    }
    EXPECT_NEAR(length, 12 * 24, 1e-9);
    EXPECT_EQ(PointsWhere(result.mesh,
                          [](const Vec3d& p) {
                              int ends = 0;
                              for (int i = 0; i < 3; ++i) {
                                  ends += p[i] == 0 || p[i] == 24 ? 1 : 0;
                              }
                              return ends == 3;
                          })
                  .size(),
              8U);
    EXPECT_LT(Support::FeatureSegments(result.mesh, 30).size(), 12U * 24)
        << "points move along a crease where it is straight";
}

TEST(Decimation, NothingAtAToleranceOfZeroOnATiltedPlane)
{
    IndexedMesh plane = Support::Grid(40, 40);
    for (Vec3d& p : plane.points) {
        p = {p[0] * 0.7, p[1] * 1.3, p[0] * 0.31 + p[1] * 0.77 + 5};
    }
    for (const double tolerance : {0.0, kNan}) {
        EXPECT_EQ(Decimate(plane, 30, 10, tolerance).mesh.indices.size(), plane.indices.size());
    }
    EXPECT_LT(Decimate(plane, 30, 10, -0.1).percent, 70) << "a negative one acts as its magnitude";
}

TEST(Decimation, ScalesWithTheCubeOfTheLength)
{
    const IndexedMesh sphere = Support::Sphere(4);
    IndexedMesh twice = sphere;
    Support::Scale(twice, 2);
    const Decimated one = Decimate(sphere, 40, 20, 3e-4);
    const Decimated two = Decimate(twice, 40, 20, 2.4e-3);
    EXPECT_LT(one.percent, 95);
    EXPECT_GT(one.percent, 21) << "the tolerance is what stops it, so that it is compared";
    EXPECT_EQ(two.mesh.indices, one.mesh.indices);
    IndexedMesh expected = one.mesh;
    Support::Scale(expected, 2);
    EXPECT_EQ(two.mesh.points, expected.points);
    EXPECT_EQ(two.report.greatestError, 8 * one.report.greatestError);
    // With a tolerance twice as great it is another mesh.
    EXPECT_NE(Decimate(twice, 40, 20, 6e-4).mesh.indices.size(), one.mesh.indices.size());
}

TEST(Decimation, ThePercentageIsATarget)
{
    const IndexedMesh sphere = Support::Sphere(4); // 2048 triangles
    for (const double keep : {90.0, 50.0, 33.3}) {
        const Decimated result = Decimate(sphere, 60, keep, 1);
        // Each collapse takes two, stars two more each.
        EXPECT_LE(result.percent, keep + 0.1);
        EXPECT_GT(result.percent, keep - 5);
        EXPECT_EQ(result.report.stop, DecimationStop::Target);
        EXPECT_NEAR(result.percent,
                    100.0 * static_cast<double>(result.mesh.indices.size()) / 3 / 2048, 1e-10);
    }
    for (const double keep : {100.0, 250.0, 1e300, kInfinity, kNan}) {
        EXPECT_NEAR(Decimate(sphere, 60, keep, 1).percent, 100, 1e-10) << keep;
    }
    for (const double keep : {0.0, -5.0, -1e300, -kInfinity}) {
        const Decimated result = Decimate(sphere, 60, keep, 0.1);
        EXPECT_LT(result.percent, 40) << keep;
        EXPECT_NE(result.report.stop, DecimationStop::Target);
    }
}

TEST(Decimation, AnEmptyMeshGivesNan)
{
    for (const IndexedMesh& mesh : {IndexedMesh{}, IndexedMesh{{{0, 0, 0}}, {}},
                                    IndexedMesh{{{0, 0, 0}, {1, 0, 0}}, {0, 1, 1}}}) {
        Decimated result = Decimate(mesh, 30, 10, 1);
        EXPECT_TRUE(std::isnan(result.percent));
        EXPECT_TRUE(result.mesh.points.empty());
        EXPECT_TRUE(result.mesh.indices.empty());
        EXPECT_EQ(result.report.stop, DecimationStop::Empty);
    }
}

TEST(Decimation, AnInfiniteToleranceStillKeepsBoundariesAndStaysClosed)
{
    for (const double tolerance : {1e150, 1e155, 1e300, kInfinity}) {
        const Decimated open = Decimate(Support::Grid(30, 30), 30, 1, tolerance);
        EXPECT_EQ(Support::FaultsOf(open.mesh), (Support::EdgeFaults{120, 0})) << tolerance;
        const Decimated closed = Decimate(Support::Torus(60, 30), 60, 5, tolerance);
        EXPECT_EQ(Support::FaultsOf(closed.mesh), Support::EdgeFaults{});
        EXPECT_EQ(Support::EulerOf(closed.mesh), 0);
    }
}

/// The edges between different tags.
std::set<std::pair<int, int>> TagEdges(const IndexedMesh& mesh, const Tags& tags)
{
    std::map<std::pair<int, int>, std::set<unsigned char>> tagsOf;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        tagsOf[std::minmax(mesh.indices[i], mesh.indices[i / 3 * 3 + (i + 1) % 3])].insert(
            tags[i / 3]);
    }
    std::set<std::pair<int, int>> edges;
    for (const auto& [edge, set] : tagsOf) {
        if (set.size() == 2) {
            edges.insert(edge);
        }
    }
    return edges;
}

TEST(Decimation, TheBoundaryOfTagsKeepsItsEdges)
{
    // A disk of another tag, whose outline turns at every other point of the grid.
    const IndexedMesh grid = Support::Grid(40, 40);
    Tags tags;
    for (std::size_t i = 0; i < grid.indices.size(); i += 3) {
        const Vec3d center = (Support::PointOf(grid, i) + Support::PointOf(grid, i + 1) +
                              Support::PointOf(grid, i + 2)) /
                             3.0;
        tags.push_back(Length(center - Vec3d(20, 20, 0)) < 12 ? 3 : 9);
    }
    const Decimated result = Decimate(grid, 30, 5, 1, tags);
    EXPECT_LT(result.percent, 70);
    const auto before = TagEdges(grid, tags);
    const auto after = TagEdges(result.mesh, result.tags);
    EXPECT_EQ(after.size(), before.size()) << "none of them goes";
    // Their nodes are not locked: one may be kept when an interior edge that it ends goes, and
    // moves along that edge.
    std::set<std::array<double, 3>> places;
    for (const auto& [a, b] : before) {
        for (const int n : {a, b}) {
            const Vec3d& p = grid.points[static_cast<std::size_t>(n)];
            places.insert({p[0], p[1], p[2]});
        }
    }
    int moved = 0;
    for (const auto& [a, b] : after) {
        const Vec3d& p = result.mesh.points[static_cast<std::size_t>(a)];
        moved += places.count({p[0], p[1], p[2]}) == 0 ? 1 : 0;
    }
    EXPECT_GT(moved, 0);
}

TEST(Decimation, EdgesAreDelaunayWhereTheErrorAllows)
{
    // A sheet of points in disorder, in one plane: nothing collapses at 100 percent, and flips cost
    // nothing.
    Support::Random random(7);
    IndexedMesh sheet = Support::GridMesh<double>(20, 20, [&](int x, int y) {
        return Vec3d(x + random.Between(-0.3, 0.3), y + random.Between(-0.3, 0.3), 0);
    });
    const auto badEdges = [](const IndexedMesh& mesh) {
        std::map<std::pair<int, int>, int> apexOf;
        for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
            const std::size_t t = i / 3 * 3;
            apexOf[{mesh.indices[i], mesh.indices[t + (i + 1) % 3]}] =
                mesh.indices[t + (i + 2) % 3];
        }
        std::set<int> rim;
        for (const auto& [edge, apex] : apexOf) {
            if (apexOf.count({edge.second, edge.first}) == 0) {
                rim.insert({edge.first, edge.second});
            }
        }
        int bad = 0;
        for (const auto& [edge, c] : apexOf) {
            const auto other = apexOf.find({edge.second, edge.first});
            if (other == apexOf.end() || edge.first > edge.second) {
                continue;
            }
            const int d = other->second;
            // A flip joins the apexes: those on the boundary have no error to go by.
            if (rim.count(c) + rim.count(d) > 0) {
                continue;
            }
            const auto at = [&](int n) {
                const Vec3d p = mesh.points[static_cast<std::size_t>(n)];
                return Vec2d(p[0], p[1]);
            };
            // In the circle of a, b, c: the determinant of the lifted points.
            const Vec2d a = at(edge.first) - at(d);
            const Vec2d b = at(edge.second) - at(d);
            const Vec2d e = at(c) - at(d);
            const double inside = (a * a) * (b ^ e) - (b * b) * (a ^ e) + (e * e) * (a ^ b);
            bad += inside > 1e-9 ? 1 : 0;
        }
        return bad;
    };
    EXPECT_GT(badEdges(sheet), 20);
    const Decimated result = Decimate(sheet, 30, 100, 0.1);
    EXPECT_EQ(result.mesh.indices.size(), sheet.indices.size());
    EXPECT_EQ(badEdges(result.mesh), 0);
    // Not one of them without a tolerance.
    EXPECT_EQ(badEdges(Decimate(sheet, 30, 100, 0).mesh), badEdges(sheet));
}

TEST(Decimation, StarsInOnePlaneBecomeTriangles)
{
    for (const double height : {0.0, 0.25}) {
        IndexedMesh sheet = Support::Grid(12, 12);
        const int a = sheet.indices[0 + 3 * 130];
        const int b = sheet.indices[1 + 3 * 130];
        const int c = sheet.indices[2 + 3 * 130];
        const auto at = [&](int n) { return sheet.points[static_cast<std::size_t>(n)]; };
        const int n = static_cast<int>(sheet.points.size());
        sheet.points.push_back((at(a) + at(b) + at(c)) / 3.0 + Vec3d(0, 0, height));
        sheet.indices[2 + 3 * 130] = n;
        sheet.indices.insert(sheet.indices.end(), {b, c, n, c, a, n});
        const Decimated result = Decimate(sheet, 170, 100, 0);
        EXPECT_EQ(result.mesh.indices.size() / 3, height == 0 ? 288U : 290U);
    }
}

TEST(Decimation, SmallTrianglesStayByTheirAbsoluteArea)
{
    // A sphere in meters whose radius is a tenth of a millimeter: no triangle of 5e-10.
    IndexedMesh sphere = Support::Sphere(4);
    Support::Scale(sphere, 1e-4);
    const Decimated result = Decimate(sphere, 60, 10, 1);
    EXPECT_NEAR(result.percent, 100, 1e-10);
    EXPECT_EQ(result.report.stop, DecimationStop::Folds);
}

TEST(Decimation, FarFromTheOriginAsNearIt)
{
    const IndexedMesh sphere = Support::Sphere(4);
    IndexedMesh far = sphere;
    for (Vec3d& p : far.points) {
        p = p * 64.0 + Vec3d(1048576, -1048576, 1048576);
    }
    IndexedMesh near = sphere;
    Support::Scale(near, 64);
    const Decimated a = Decimate(near, 60, 25, 30);
    const Decimated b = Decimate(far, 60, 25, 30);
    EXPECT_EQ(b.report.stop, a.report.stop);
    EXPECT_NEAR(b.percent, a.percent, 2);
    EXPECT_NEAR(Support::VolumeOf(b.mesh), Support::VolumeOf(a.mesh),
                1e-2 * Support::VolumeOf(a.mesh));
}

TEST(Decimation, NodesOfSeveralFansStayWhereTheyAre)
{
    IndexedMesh solids = Support::Sphere(4);
    IndexedMesh other = solids;
    for (Vec3d& p : other.points) {
        p += Vec3d(2, 0, 0);
    }
    solids = Support::Together(solids, other);
    Mesh::FilterForUniqueness(solids, 1e-12);
    ASSERT_EQ(PointsWhere(solids, [](const Vec3d& p) { return p == Vec3d(1, 0, 0); }).size(), 1U);
    const Decimated result = Decimate(solids, 180.5, 0, kInfinity);
    EXPECT_LT(result.percent, 10);
    EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
    EXPECT_EQ(Support::EulerOf(result.mesh), 3) << "two spheres with one point in common";
    EXPECT_EQ(PointsWhere(result.mesh, [](const Vec3d& p) { return p == Vec3d(1, 0, 0); }).size(),
              1U);
}

TEST(Decimation, ANodeOfTwoSheetsIsNotMovedAlongOneOfThem)
{
    // A flat sheet and a bowl on it, one node in common: an edge of it may be the cheapest of all,
    // and would take the other sheet along.
    const IndexedMesh flat = Support::Grid(40, 40);
    IndexedMesh bowl = flat;
    for (Vec3d& p : bowl.points) {
        p[2] = 0.02 * SquaredLength(p - Vec3d(20, 20, 0));
    }
    IndexedMesh both = Support::Together(flat, bowl);
    Mesh::FilterForUniqueness(both, 1e-12);
    ASSERT_EQ(both.points.size(), 2 * flat.points.size() - 1);
    const Decimated result = Decimate(both, 180.5, 5, 10);
    EXPECT_LT(result.percent, 60);
    const auto isCommon = [](const Vec3d& p) { return p == Vec3d(20, 20, 0); };
    EXPECT_EQ(PointsWhere(result.mesh, isCommon).size(), 1U);
    EXPECT_EQ(Support::EulerOf(result.mesh), 1) << "two disks with one point in common";
}

TEST(Decimation, AStarOfNeighborsOnALineStays)
{
    // An edge with a point in its middle on one side, and a star in the slit: the triangle in its
    // place would have no area.
    IndexedMesh sheet = Support::Grid(12, 12);
    const std::size_t right = 3 * 130;
    const int b = sheet.indices[right];
    const int a = sheet.indices[right + 1];
    const int r = sheet.indices[right + 2];
    const auto at = [&](int n) { return sheet.points[static_cast<std::size_t>(n)]; };
    const Vec3d middle = (at(a) + at(b)) * 0.5;
    const int c = static_cast<int>(sheet.points.size());
    const int n = c + 1;
    sheet.points.push_back(middle);
    sheet.points.push_back(middle + Vec3d(0, 0, 0.2));
    sheet.indices[right + 1] = c;
    sheet.indices.insert(sheet.indices.end(), {c, a, r, b, a, n, a, c, n, c, b, n});
    ASSERT_EQ(Support::FaultsOf(sheet), (Support::EdgeFaults{48, 0}));
    const Decimated result = Decimate(sheet, 180.5, 100, 0);
    EXPECT_EQ(result.mesh.indices.size(), sheet.indices.size());
    EXPECT_EQ(PointsWhere(result.mesh, [](const Vec3d& p) { return p[2] > 0; }).size(), 1U);
}

TEST(Decimation, CornersOfCreasesStay)
{
    // Four creases along the axes meet in a corner so shallow that nothing folds when it moves.
    const auto roof = [](const Vec3d& p) { return 0.3 * (std::fabs(p[0]) + std::fabs(p[1])); };
    IndexedMesh sheet = Support::Grid(40, 40);
    for (Vec3d& p : sheet.points) {
        p = p - Vec3d(20, 20, 0);
        p[2] = roof(p);
    }
    const Decimated result = Decimate(sheet, 10, 5, 100);
    EXPECT_LT(result.percent, 80);
    const auto corner = [](const Vec3d& p) { return p == Vec3d(0, 0, 0); };
    EXPECT_EQ(PointsWhere(result.mesh, corner).size(), 1U);
    const auto isCrease = [](const Vec3d& p) { return p[0] == 0 || p[1] == 0; };
    EXPECT_LT(PointsWhere(result.mesh, isCrease).size(), 60U) << "others go along their crease";
}

TEST(Decimation, NoFlipMakesAnEdgeASecondTime)
{
    // A tall node of three triangles that leans away from one of its neighbors: the edge to that
    // one is not Delaunay, and its flip would join two nodes that are joined already.
    IndexedMesh sheet = Support::Grid(12, 12);
    const int a = sheet.indices[0 + 3 * 130];
    const int b = sheet.indices[1 + 3 * 130];
    const int c = sheet.indices[2 + 3 * 130];
    const auto at = [&](int n) { return sheet.points[static_cast<std::size_t>(n)]; };
    const int n = static_cast<int>(sheet.points.size());
    sheet.points.push_back((at(b) + at(c)) * 0.5 + ((at(b) + at(c)) * 0.5 - at(a)) +
                           Vec3d(0, 0, 1.5));
    sheet.indices[2 + 3 * 130] = n;
    sheet.indices.insert(sheet.indices.end(), {b, c, n, c, a, n});
    const Decimated result = Decimate(sheet, 180.5, 100, 1e6);
    EXPECT_EQ(Support::FaultsOf(result.mesh), (Support::EdgeFaults{48, 0}));
}

TEST(Decimation, HostileInput)
{
    IndexedMesh mesh = Support::Sphere(3);
    mesh.indices.insert(mesh.indices.end(), {0, 1, 9999999, -1, 0, 1, 5, 5, 6, 0, 1});
    const Decimated result = Decimate(mesh, 60, 50, 1);
    EXPECT_EQ(result.report.initialTriangles, 512);
    EXPECT_LE(result.percent, 50.1);
    EXPECT_EQ(Support::FaultsOf(result.mesh), Support::EdgeFaults{});
    for (const double bad : {kNan, kInfinity, -kInfinity, 1e200}) {
        IndexedMesh broken = Support::Sphere(3);
        broken.points[40][1] = bad;
        const Decimated left = Decimate(broken, 60, 30, 1);
        EXPECT_EQ(Support::FaultsOf(left.mesh), Support::EdgeFaults{}) << bad;
        EXPECT_EQ(left.mesh.points.size() * 2 - 4, left.mesh.indices.size() / 3);
    }
    for (const double angle : {kNan, kInfinity, -1.0, 0.0, 180.0, 1e300}) {
        EXPECT_EQ(Support::FaultsOf(Decimate(Support::Torus(40, 20), angle, 30, 1).mesh),
                  Support::EdgeFaults{});
    }
    for (const IndexedMesh& odd :
         {Support::MoebiusStrip(30), Support::Fins(5), Support::TrianglesAtOnePoint(6),
          Support::Tetrahedron(), Support::Fan(50, true)}) {
        EXPECT_EQ(Support::FaultsOf(Decimate(odd, 60, 0, kInfinity).mesh).overfull, 0);
    }
}

TEST(Decimation, AMeshMayBeItsOwnOutput)
{
    const IndexedMesh sphere = Support::Sphere(3);
    IndexedMesh expected;
    Mesh::DecimateMesh(sphere, expected, 60, 40, 1, true);
    IndexedMesh mesh = sphere;
    Tags tags(sphere.indices.size() / 3, 7);
    DecimationReport report;
    Mesh::DecimateMesh(mesh, tags, mesh, tags, 60, 40, 1, true, report);
    EXPECT_EQ(mesh.points, expected.points);
    EXPECT_EQ(mesh.indices, expected.indices);
    EXPECT_EQ(tags, Tags(mesh.indices.size() / 3, 7));
}

// --- real parts ---------------------------------------------------------------------------------

struct PartCase {
    const char* name;
    const char* file;
    double tolerance;
};
void PrintTo(const PartCase& part, std::ostream* stream) { *stream << part.name; }
class DecimationOfParts : public testing::TestWithParam<PartCase> {};

TEST_P(DecimationOfParts, StaysClosedUnflippedAndCreased)
{
    const auto file = Support::SharedData(GetParam().file);
    SORVANE_NEED_DATA(file);
    const IndexedMesh part = Support::WithoutRepeats(Support::WeldedStl<double>(file));
    const auto before = Support::FaultsOf(part);
    const Decimated result = Decimate(part, 40, 20, GetParam().tolerance);
    EXPECT_LT(result.percent, 99);
    const auto after = Support::FaultsOf(result.mesh);
    EXPECT_EQ(after.open, before.open);
    EXPECT_LE(after.overfull, before.overfull);
    EXPECT_EQ(Support::FlippedTriangles(result.mesh, part, 15), 0);
    EXPECT_LT(Support::FeatureDistance(Support::FeatureSegments(part, 40),
                                       Support::FeatureSegments(result.mesh, 39), 100),
              0.5);
    const double off = std::max(Support::GreatestDistance(result.mesh, part, 20),
                                Support::GreatestDistance(part, result.mesh, 20));
    RecordProperty("tolerance", std::to_string(GetParam().tolerance));
    RecordProperty("deviation", std::to_string(off));
    EXPECT_LT(off, 0.5);
}

constexpr std::array<PartCase, 3> kParts{{
    {"NistCtc05Degenerate", "with_degenerate/nist_ctc_05.stl", 1},
    {"NistFtc06", "meshes_nist/nist_ftc_06_asme1_rd.stl", 1},
    {"Spot", "meshes_organic/spot.stl", 1e-6},
}};
INSTANTIATE_TEST_SUITE_P(Parts, DecimationOfParts,
                         testing::ValuesIn(kParts.begin(), kParts.begin() + Support::FullOr(3, 1)),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
