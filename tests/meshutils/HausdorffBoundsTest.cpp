// Bounds of the Hausdorff distance of surfaces: shapes whose distance is known, samples in extended
// precision that no bound may exclude, and inputs that make a search long.

#include <Sorvane/Decimation_E.h>
#include <Sorvane/MeshDistances_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using MeshUtils::HausdorffBound;
using MeshUtils::HausdorffBounds;
using MeshUtils::HausdorffBoundsReport;
using Support::IndexedMesh;
using Support::Random;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

IndexedMesh Moved(IndexedMesh mesh, const Vec3d& by, double scale = 1)
{
    for (Vec3d& p : mesh.points) {
        p = p * scale + by;
    }
    return mesh;
}

double Distance(const Vec3d& p, const IndexedMesh& mesh)
{
    return Support::DistanceToMesh(p, mesh);
}

double DistanceToOne(const Vec3d& p, const IndexedMesh& mesh, int triangle)
{
    const auto first = 3 * static_cast<std::size_t>(triangle);
    return Support::DistanceToTriangle(p, Support::PointOf(mesh, first),
                                       Support::PointOf(mesh, first + 1),
                                       Support::PointOf(mesh, first + 2));
}

/// What must hold of one way whatever the meshes are, with samples on random triangles.
void CheckOneWay(const HausdorffBound& bound, const IndexedMesh& from, const IndexedMesh& to,
                 double accuracy, int samples, Random& random)
{
    double largest = 1e-30;
    for (const IndexedMesh* mesh : {&from, &to}) {
        for (const Vec3d& p : mesh->points) {
            largest = std::max({largest, std::fabs(p[0]), std::fabs(p[1]), std::fabs(p[2])});
        }
    }
    const double rounding = 1e-13 * largest;
    EXPECT_LE(bound.lower, bound.upper);
    EXPECT_LE(bound.upper - bound.lower, accuracy);
    // The place of the lower bound: on its triangle, that far from the surface, from its nearest.
    ASSERT_GE(bound.triangle, 0);
    ASSERT_GE(bound.nearestTriangle, 0);
    EXPECT_LE(DistanceToOne(bound.point, from, bound.triangle), rounding);
    EXPECT_LE(DistanceToOne(bound.nearest, to, bound.nearestTriangle), rounding);
    const double reached = Distance(bound.point, to);
    EXPECT_NEAR(Length(bound.point - bound.nearest), reached, rounding);
    EXPECT_LE(bound.lower, reached);
    EXPECT_GE(bound.lower, reached - rounding);
    const int triangles = static_cast<int>(from.indices.size() / 3);
    for (int i = 0; i < samples; ++i) {
        const auto first = 3 * static_cast<std::size_t>(random.Below(triangles));
        // On the whole triangle, its edges and its corners.
        double u = random.Unit();
        double v = random.Unit();
        if (u + v > 1) {
            u = 1 - u;
            v = 1 - v;
        }
        u = i % 3 == 1 ? 0 : u;
        v = i % 7 == 1 ? 0 : v;
        const Vec3d& a = Support::PointOf(from, first);
        const Vec3d p = a + (Support::PointOf(from, first + 1) - a) * u +
                        (Support::PointOf(from, first + 2) - a) * v;
        EXPECT_LE(Distance(p, to), bound.upper) << i;
    }
}

HausdorffBoundsReport Checked(const IndexedMesh& a, const IndexedMesh& b, double accuracy,
                              int samples = 200)
{
    const HausdorffBoundsReport report = HausdorffBounds(a, b, accuracy);
    Random random(99);
    CheckOneWay(report.first, a, b, accuracy, samples, random);
    CheckOneWay(report.second, b, a, accuracy, samples, random);
    EXPECT_EQ(report.lower, std::max(report.first.lower, report.second.lower));
    EXPECT_EQ(report.upper, std::max(report.first.upper, report.second.upper));
    return report;
}

void ExpectHolds(const HausdorffBound& bound, double distance)
{
    EXPECT_LE(bound.lower, distance);
    EXPECT_GE(bound.upper, distance);
}

// --- known distances ----------------------------------------------------------------------------

TEST(HausdorffBounds, OfASurfaceWithItselfAreZero)
{
    const IndexedMesh torus = Support::Torus(20, 12);
    const auto report = Checked(torus, torus, 1e-6);
    EXPECT_EQ(report.lower, 0.0);
    EXPECT_LT(report.upper, 1e-12);
}

TEST(HausdorffBounds, AnotherTriangulationOfTheSameSurfaceIsTheSameSurface)
{
    // The unit cube in 12 triangles, and with its faces cut into 5 x 5 squares.
    IndexedMesh fine;
    for (int axis = 0; axis < 3; ++axis) {
        for (const double place : {0.0, 1.0}) {
            fine = Support::Together(fine, Support::GridMesh<double>(5, 5, [&](int x, int y) {
                                         Vec3d p;
                                         p[axis] = place;
                                         p[(axis + 1) % 3] = x / 5.0;
                                         p[(axis + 2) % 3] = y / 5.0;
                                         return p;
                                     }));
        }
    }
    const auto report = Checked(Support::Cube(), fine, 1e-6);
    EXPECT_EQ(report.lower, 0.0);
    EXPECT_LT(report.upper, 1e-13);
}

TEST(HausdorffBounds, SeeWhatLiesBetweenPoints)
{
    // A square and the pyramid over it: the middle of the square is 1/sqrt(2) from the four faces,
    // whose planes are z = 1 - x and the like, while its corners are on the pyramid.
    const IndexedMesh square{{{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}}, {0, 1, 2, 0, 2, 3}};
    IndexedMesh pyramid = square;
    pyramid.points.push_back({0, 0, 1});
    pyramid.indices = {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4};
    for (const double accuracy : {0.1, 1e-3, 1e-6}) {
        const auto report = Checked(square, pyramid, accuracy);
        ExpectHolds(report.first, std::sqrt(0.5));
        ExpectHolds(report.second, 1.0);
    }
    EXPECT_LT(Length(HausdorffBounds(square, pyramid, 1e-6).first.point), 1e-5);
}

TEST(HausdorffBounds, SeeAGapInTheOtherSurface)
{
    // A floor 1 under a plate, with a gap from x = 3 to x = 7. All corners of both are 1 away, and
    // so are the places next to them on the other one; over the middle of the gap it is sqrt(5).
    const auto rectangle = [](double low, double high, double z) {
        return IndexedMesh{{{low, 0, z}, {high, 0, z}, {high, 4, z}, {low, 4, z}},
                           {0, 1, 2, 0, 2, 3}};
    };
    const IndexedMesh plate = rectangle(0, 10, 1);
    const IndexedMesh floor = Support::Together(rectangle(0, 3, 0), rectangle(7, 10, 0));
    for (const double accuracy : {0.3, 1e-3, 1e-8}) {
        const auto report = Checked(plate, floor, accuracy);
        ExpectHolds(report.first, std::sqrt(5.0));
        ExpectHolds(report.second, 1.0);
    }
    // Of a floor that is there but for a narrow strip, likewise.
    const IndexedMesh cut = Support::Together(rectangle(0, 4.9, 0), rectangle(5.1, 10, 0));
    ExpectHolds(Checked(plate, cut, 1e-6).first, std::sqrt(1.01));
}

TEST(HausdorffBounds, SeeAGapWhereverItIs)
{
    // One square is missing from a floor of 12 x 12. Over its middle, wherever that is, a plate is
    // half a square farther off than anywhere else, and no corner of the coarse plates is near.
    Random random(17);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        const int column = 1 + random.Below(10);
        const int row = 1 + random.Below(10);
        IndexedMesh floor = Support::Grid(12, 12);
        const auto isMissing = [&](std::size_t first) {
            double x = 0;
            double y = 0;
            for (std::size_t k = first; k < first + 3; ++k) {
                x += Support::PointOf(floor, k)[0] / 3;
                y += Support::PointOf(floor, k)[1] / 3;
            }
            return x > column && x < column + 1 && y > row && y < row + 1;
        };
        std::vector<int> kept;
        for (std::size_t i = 0; i < floor.indices.size(); i += 3) {
            if (!isMissing(i)) {
                kept.insert(kept.end(), &floor.indices[i], &floor.indices[i] + 3);
            }
        }
        ASSERT_EQ(kept.size() + 6, floor.indices.size());
        floor.indices = kept;
        const int coarse = 1 + round % 3;
        const double height = round % 2 == 0 ? 0.0 : 0.7;
        const IndexedMesh plate = Support::GridMesh<double>(coarse, coarse, [&](int x, int y) {
            return Vec3d(12.0 * x / coarse, 12.0 * y / coarse, height);
        });
        const auto report = HausdorffBounds(plate, floor, 1e-6);
        const double expected = std::sqrt(height * height + 0.25);
        ExpectHolds(report.first, expected);
        EXPECT_LE(report.first.upper, expected + 1e-6);
        EXPECT_NEAR(report.first.point[0], column + 0.5, 2e-3);
        EXPECT_NEAR(report.first.point[1], row + 0.5, 2e-3);
        ExpectHolds(report.second, height);
    }
}

TEST(HausdorffBounds, OfConcentricOctahedra)
{
    const IndexedMesh small = Support::Octahedron();
    const auto report = Checked(Moved(small, {}, 3), small, 1e-9);
    ExpectHolds(report.first, 2.0);
    ExpectHolds(report.second, 2 / std::sqrt(3.0));
}

TEST(HausdorffBounds, OfARidgeThatIsEquallyFarEverywhere)
{
    // A plate between two plates, slightly tilted out of the middle plane: along a whole line it is
    // 1 from both.
    const auto plate = [](double z, double tilt) {
        return Support::GridMesh<double>(
            3, 3, [&](int x, int y) { return Vec3d(x, y, z + tilt * (x - 1.5)); });
    };
    const IndexedMesh plates = Support::Together(plate(-1, 0), plate(1, 0));
    ExpectHolds(Checked(plate(0, 0.2), plates, 1e-3).first, 1.0);
    ExpectHolds(Checked(plate(0, 0), plates, 1e-9).first, 1.0);
}

TEST(HausdorffBounds, OfPartsThatAreFarApart)
{
    const IndexedMesh cube = Support::Cube();
    const auto report = Checked(cube, Moved(cube, {1000, 0, 0}), 1e-3);
    ExpectHolds(report.first, 1000.0);
    ExpectHolds(report.second, 1000.0);
    EXPECT_EQ(report.first.point[0], 0.0);
}

TEST(HausdorffBounds, CountNoPointsOfNoTriangle)
{
    const IndexedMesh cube = Support::Cube();
    IndexedMesh stray = cube;
    stray.points.push_back({50, 50, 50});
    stray.points.push_back({kNaN, 0, 0});
    EXPECT_EQ(HausdorffBounds(stray, cube, 1e-6), HausdorffBounds(cube, cube, 1e-6));
}

// --- against samples ----------------------------------------------------------------------------

void ExpectSame(const HausdorffBound& a, const HausdorffBound& b)
{
    EXPECT_EQ(a.lower, b.lower);
    EXPECT_EQ(a.upper, b.upper);
    EXPECT_EQ(a.triangle, b.triangle);
    EXPECT_EQ(a.nearestTriangle, b.nearestTriangle);
    EXPECT_EQ(a.point, b.point);
    EXPECT_EQ(a.nearest, b.nearest);
}

// Every corner of a copy is as near to all the copies of the other side. One look-up for each of
// them would pass 20,000 triangles 60,000 times.
TEST(HausdorffBounds, CopiesOfATriangleAreOneTriangle)
{
    const IndexedMesh one{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
    const IndexedMesh other = Moved(one, {0.25, 0.5, 2});
    const auto copies = [](const IndexedMesh& mesh) {
        IndexedMesh soup;
        for (int i = 0; i < 20'000; ++i) {
            for (int k = 0; k < 3; ++k) {
                soup.indices.push_back(3 * i + k);
                soup.points.push_back(mesh.points[static_cast<std::size_t>(k)]);
            }
        }
        return soup;
    };
    const HausdorffBoundsReport expected = HausdorffBounds(one, other, 1e-3);
    const HausdorffBoundsReport report = HausdorffBounds(copies(one), copies(other), 1e-3);
    EXPECT_GT(report.lower, 2);
    ExpectSame(report.first, expected.first);
    ExpectSame(report.second, expected.second);
}

TEST(HausdorffBounds, HoldForRandomSoups)
{
    Random random(2);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const auto soup = [&](int count, double size) {
            IndexedMesh mesh;
            for (int i = 0; i < count; ++i) {
                const Vec3d at = random.Vector<3, double>(-1, 1);
                for (int k = 0; k < 3; ++k) {
                    mesh.indices.push_back(static_cast<int>(mesh.points.size()));
                    mesh.points.push_back(at + random.Vector<3, double>(-size, size));
                }
            }
            return mesh;
        };
        Checked(soup(30, 0.7), soup(round % 2 == 0 ? 60 : 5, round % 3 == 0 ? 1.0 : 0.1), 0.01,
                300);
    }
}

TEST(HausdorffBounds, HoldForAFewTrianglesAndRoughAccuracies)
{
    // With little else around, every corner of every part matters.
    Random random(41);
    for (int round = 0; round < 120; ++round) {
        SCOPED_TRACE(round);
        const auto few = [&] {
            IndexedMesh mesh;
            for (int i = random.Below(4); i >= 0; --i) {
                const Vec3d at = random.Vector<3, double>(-1, 1);
                for (int k = 0; k < 3; ++k) {
                    mesh.indices.push_back(static_cast<int>(mesh.points.size()));
                    mesh.points.push_back(at + random.Vector<3, double>(-1, 1));
                }
            }
            return mesh;
        };
        const IndexedMesh a = few();
        const IndexedMesh b = few();
        Checked(a, b, std::pow(10.0, -1 - round % 5), 60);
    }
}

struct PairOfParts {
    const char* first;
    const char* second;
};
void PrintTo(const PairOfParts& pair, std::ostream* os) { *os << pair.first; }
class HausdorffBoundsOfParts : public testing::TestWithParam<PairOfParts> {};

TEST_P(HausdorffBoundsOfParts, HoldForSamplesAndBothOrders)
{
    const auto fileA = Support::SharedData(GetParam().first);
    SORVANE_NEED_DATA(fileA);
    const IndexedMesh a = Support::WeldedStl<double>(fileA);
    IndexedMesh b;
    if (std::string(GetParam().second).empty()) {
        Mesh::DecimationReport report;
        Mesh::DecimateInBatches(a, b, 40, 25, kInfinity, report);
    } else {
        const auto fileB = Support::SharedData(GetParam().second);
        SORVANE_NEED_DATA(fileB);
        b = Support::WeldedStl<double>(fileB);
    }
    double size = 0;
    for (const Vec3d& p : a.points) {
        size = std::max(size, Length(p - a.points[0]));
    }
    const int samples =
        std::min(150, static_cast<int>(600'000 / std::max(a.indices.size(), b.indices.size())));
    const auto report = Checked(a, b, 1e-5 * size, samples);
    // The surfaces are at least as far apart as their points.
    const auto points = MeshUtils::HausdorffDistances(a.points, a.indices, b.points, b.indices);
    EXPECT_GE(report.first.upper, points.firstDistance);
    EXPECT_GE(report.second.upper, points.secondDistance);
    // But for the 256 units in the last place by which the bounds are moved apart.
    double largest = 0;
    for (const std::vector<Vec3d>* corners : {&std::as_const(a.points), &std::as_const(b.points)}) {
        for (const Vec3d& p : *corners) {
            largest = std::max({largest, std::abs(p.x()), std::abs(p.y()), std::abs(p.z())});
        }
    }
    EXPECT_GE(report.first.lower, points.firstDistance - 257 * 2.220446049250313e-16 * largest);
    EXPECT_LE(report.first.lower, report.first.upper);
    const auto turned = HausdorffBounds(b, a, 1e-5 * size);
    EXPECT_EQ(turned.first, report.second);
    EXPECT_EQ(turned.second, report.first);
}

INSTANTIATE_TEST_SUITE_P(
    Parts, HausdorffBoundsOfParts,
    testing::Values(PairOfParts{"meshes_cad/plate_holes.STL", "meshes_cad/round.stl"},
                    PairOfParts{"meshes_nist/nist_ftc_11_asme1_rb.stl", ""},
                    PairOfParts{"meshes_cad/octagonal_pocket.stl", ""},
                    PairOfParts{"meshes_cad/prusa_extruder_idler.stl", ""},
                    PairOfParts{"meshes_defective/soup.stl", "meshes_defective/7_8ths_cube.stl"},
                    PairOfParts{"with_degenerate/nist_ftc_06.stl",
                                "meshes_nist/nist_ftc_06_asme1_rd.stl"}));

// --- accuracy, hostile input --------------------------------------------------------------------

TEST(HausdorffBounds, AnAccuracyThatIsNoneIsTheLeast)
{
    const IndexedMesh a = Support::Sphere(2);
    const IndexedMesh b = Moved(Support::Sphere(1), {0.01, 0.02, 0.03});
    const double diagonal = 2 * std::sqrt(3.0) + 1;
    const auto least = Checked(a, b, 1e-9 * diagonal);
    for (const double accuracy : {0.0, -1.0, kNaN, 1e-300}) {
        const auto report = HausdorffBounds(a, b, accuracy);
        EXPECT_LE(report.first.upper - report.first.lower, 1e-9 * diagonal);
        EXPECT_LE(report.first.lower, least.first.upper);
        EXPECT_GE(report.first.upper, least.first.lower);
    }
    const auto rough = HausdorffBounds(a, b, kInfinity);
    EXPECT_LE(rough.first.lower, least.first.upper);
    EXPECT_GE(rough.first.upper, least.first.lower);
    EXPECT_TRUE(std::isfinite(rough.upper));
}

TEST(HausdorffBounds, FarFromTheOriginAndInAnyUnit)
{
    const IndexedMesh a = Support::Sphere(2);
    const IndexedMesh b = Moved(Support::Sphere(1), {0.01, 0.02, 0.03});
    const auto report = Checked(a, b, 1e-4);
    const Vec3d far{1e6, -1e6, 1e6};
    const auto moved = Checked(Moved(a, far), Moved(b, far), 1e-4);
    EXPECT_NEAR(moved.first.lower, report.first.lower, 1e-4);
    EXPECT_NEAR(moved.second.lower, report.second.lower, 1e-4);
    for (const double scale : {0x1p-40, 0x1p40}) {
        const auto scaled = HausdorffBounds(Moved(a, {}, scale), Moved(b, {}, scale), 1e-4 * scale);
        EXPECT_NEAR(scaled.first.lower, report.first.lower * scale, 1e-4 * scale);
        EXPECT_NEAR(scaled.first.upper, report.first.upper * scale, 1e-4 * scale);
    }
}

TEST(HausdorffBounds, DegenerateTrianglesAreSegmentsAndPoints)
{
    // A square, and three flat triangles that lie 1, 2 and 3 above it.
    const IndexedMesh square = Support::Grid(4, 4);
    IndexedMesh flat;
    flat.points = {{1, 1, 1}, {2, 2, 1}, {3, 3, 1}, {1, 2, 2}, {1, 3, 2}, {2, 1, 3}};
    flat.indices = {0, 1, 2, 3, 3, 4, 5, 5, 5};
    const auto report = Checked(flat, square, 1e-4);
    ExpectHolds(report.first, 3.0);
    EXPECT_EQ(report.first.triangle, 2);
}

TEST(HausdorffBounds, TrianglesThatDontCountArePassedOver)
{
    const IndexedMesh a = Support::Sphere(1);
    const IndexedMesh b = Support::Cube();
    const auto expected = HausdorffBounds(a, b, 1e-4);
    IndexedMesh broken = b;
    broken.points.push_back({kNaN, 0, 0});
    broken.points.push_back({0, 1e200, 0});
    broken.indices.insert(broken.indices.end(), {0, 1, 8, 1, 9, 0, -1, 2, 3, 4, 5, 1000});
    for (const auto& report :
         {HausdorffBounds(a, broken, 1e-4), HausdorffBounds(broken, a, 1e-4)}) {
        EXPECT_LE(report.lower, expected.upper);
        EXPECT_GE(report.upper, expected.lower);
        EXPECT_LE(report.upper - report.lower, 1e-4);
    }
    broken.indices = {0, 1, 8, 1, 9, 0, -1, 2, 3};
    IndexedMesh incomplete = b;
    incomplete.indices.pop_back();
    for (const IndexedMesh& empty : {IndexedMesh{}, broken, incomplete}) {
        EXPECT_EQ(HausdorffBounds(a, empty, 1e-4), HausdorffBoundsReport{});
        EXPECT_EQ(HausdorffBounds(empty, a, 1e-4), HausdorffBoundsReport{});
    }
}

TEST(HausdorffBounds, HugeAndTinyCoordinates)
{
    for (const double scale : {1e-150, 1e140}) {
        const auto report = HausdorffBounds(Moved(Support::Octahedron(), {}, 3 * scale),
                                            Moved(Support::Octahedron(), {}, scale), 1e-3 * scale);
        EXPECT_TRUE(std::isfinite(report.upper));
        EXPECT_LE(report.lower, report.upper);
        if (scale > 1) {
            EXPECT_NEAR(report.first.lower, 2 * scale, 1e-3 * scale);
        }
    }
}

// --- threads, memory ----------------------------------------------------------------------------

TEST(HausdorffBounds, AreTheSameBitsForAnyNumberOfThreads)
{
    const IndexedMesh a = Support::Sphere(4);
    const IndexedMesh b = Moved(Support::Torus(30, 20), {0.1, 0.2, 0.3}, 0.3);
    HausdorffBoundsReport expected;
    Support::WithThreads(1, [&] { expected = HausdorffBounds(a, b, 1e-4); });
    for (const int threads : {2, 4}) {
        Support::WithThreads(threads, [&] { EXPECT_EQ(HausdorffBounds(a, b, 1e-4), expected); });
    }
}

TEST(HausdorffBounds, WithoutMemoryThrow)
{
    const IndexedMesh a = Support::Octahedron();
    const IndexedMesh b = Moved(Support::Cube(), {0.3, 0.2, 0.1});
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfResult([&] { return HausdorffBounds(a, b, 0.05); }),
                  10U);
    });
}

} // namespace
