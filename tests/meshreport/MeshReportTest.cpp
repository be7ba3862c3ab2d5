// The mesh report: small cases counted by hand, and random soups against plain loops.

#include "tests/meshreport/MeshReportTwin.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <limits>
#include <type_traits>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::CheckMesh;
using Sorvane::MeshUtils::MeshReport;
using Support::Random;
using Support::Soup;
using Support::SoupOf;
using Numbers = std::vector<int>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <class T>
class MeshReportTyped : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(MeshReportTyped, Scalars);

template <class T>
void ExpectSound(const MeshReport<T>& report)
{
    EXPECT_EQ(report.unassigned, Numbers());
    EXPECT_EQ(report.openSlots, Numbers());
    EXPECT_EQ(report.nonManifoldSlots, Numbers());
    EXPECT_EQ(report.misorientedTriangles, Numbers());
    EXPECT_EQ(report.degenerateTriangles, Numbers());
    EXPECT_EQ(report.foldedTriangles, Numbers());
}

TEST(MeshReport, DefaultHoldsNoCheck)
{
    const MeshReport<double> report;
    EXPECT_EQ(report.tolerance, -1);
    ExpectSound(report);
    EXPECT_EQ(report.meanEdgeLength, 0);
    EXPECT_EQ(report.meanTriangleArea, 0);
    EXPECT_EQ(report.volume, 0);
    EXPECT_EQ(report.centroid, Vec3d());
}

TEST(MeshReport, FieldsStandInTheirOrder)
{
    // An aggregate takes its values in the order of its fields.
    const MeshReport<double> report{0.5, {1}, {2}, {3}, {4}, {5}, {6}, 7, 8, 9, {10, 11, 12}};
    EXPECT_EQ(report.tolerance, 0.5);
    EXPECT_EQ(report.unassigned, Numbers{1});
    EXPECT_EQ(report.nonManifoldSlots, Numbers{2});
    EXPECT_EQ(report.misorientedTriangles, Numbers{3});
    EXPECT_EQ(report.degenerateTriangles, Numbers{4});
    EXPECT_EQ(report.foldedTriangles, Numbers{5});
    EXPECT_EQ(report.openSlots, Numbers{6});
    EXPECT_EQ(report.meanEdgeLength, 7);
    EXPECT_EQ(report.meanTriangleArea, 8);
    EXPECT_EQ(report.volume, 9);
    EXPECT_EQ(report.centroid, Vec3d(10, 11, 12));
}

TYPED_TEST(MeshReportTyped, EmptySoupHasNoMeansAndNoVolume)
{
    const auto report = CheckMesh<TypeParam>({}, TypeParam(0.25));
    EXPECT_EQ(report.tolerance, TypeParam(0.25));
    ExpectSound(report);
    EXPECT_TRUE(std::isnan(report.meanEdgeLength));
    EXPECT_TRUE(std::isnan(report.meanTriangleArea));
    EXPECT_EQ(report.volume, 0);
    for (const TypeParam x : report.centroid) {
        EXPECT_TRUE(std::isnan(x));
    }
}

TYPED_TEST(MeshReportTyped, TetrahedronWoundOutwardIsSound)
{
    // Every second corner of a cube with edges of 2: edges sqrt 8, faces 2 sqrt 3, volume 8 / 3.
    const auto report = CheckMesh(SoupOf<TypeParam>(Support::Tetrahedron()), TypeParam(1e-6));
    const double eps = std::is_same_v<TypeParam, float> ? 1e-6 : 1e-14;
    ExpectSound(report);
    EXPECT_NEAR(report.meanEdgeLength, std::sqrt(8.0), 4 * eps);
    EXPECT_NEAR(report.meanTriangleArea, 2 * std::sqrt(3.0), 4 * eps);
    EXPECT_NEAR(report.volume, 8.0 / 3, 4 * eps);
    for (const TypeParam x : report.centroid) {
        EXPECT_NEAR(x, 0, eps);
    }
}

TYPED_TEST(MeshReportTyped, InsideOutHasTheSameCenterAndANegativeVolume)
{
    auto cube = Support::Cube();
    const auto report = CheckMesh(SoupOf<TypeParam>(cube), TypeParam(1e-6));
    for (std::size_t i = 0; i < cube.indices.size(); i += 3) {
        std::swap(cube.indices[i], cube.indices[i + 1]);
    }
    const auto turned = CheckMesh(SoupOf<TypeParam>(cube), TypeParam(1e-6));
    ExpectSound(turned);
    EXPECT_NEAR(report.volume, 1, 1e-6);
    EXPECT_NEAR(turned.volume, -1, 1e-6);
    for (const TypeParam x : turned.centroid) {
        EXPECT_NEAR(x, 0.5, 1e-6);
    }
}

TEST(MeshReport, VolumeAndCenterKeepTheirDigitsFarFromTheOrigin)
{
    auto cube = Support::Cube();
    for (Vec3d& p : cube.points) {
        p += Vec3d(1 << 20, 1 << 20, -(1 << 20));
    }
    const auto report = CheckMesh(SoupOf<double>(cube), 1e-6);
    // The coordinates are exact; sums about the origin would lose volumes of 1e-9 and centers of
    // 1e-3.
    EXPECT_NEAR(report.volume, 1, 1e-15);
    EXPECT_NEAR(report.centroid.x(), (1 << 20) + 0.5, 1e-9);
    EXPECT_NEAR(report.centroid.z(), 0.5 - (1 << 20), 1e-9);
}

TYPED_TEST(MeshReportTyped, FlatSoupHasNoCenter)
{
    const auto report = CheckMesh(SoupOf<TypeParam>(Support::Grid(3, 2)), TypeParam(1e-6));
    EXPECT_EQ(report.volume, 0);
    EXPECT_TRUE(std::isnan(report.centroid.x()));
    EXPECT_TRUE(std::isnan(report.centroid.y()));
    EXPECT_TRUE(std::isnan(report.centroid.z()));
    EXPECT_EQ(report.meanTriangleArea, TypeParam(0.5));
}

TYPED_TEST(MeshReportTyped, VolumesThatCancelHaveNoCenterAlthoughTheyLieApart)
{
    // Opposite tetrahedra from the origin: the sum of their moments isn't zero.
    const Soup<TypeParam> soup = {{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
                                  {{{-1, 0, 0}, {0, -1, 0}, {0, 0, -1}}}};
    const auto report = CheckMesh(soup, TypeParam(1e-6));
    EXPECT_EQ(report.volume, 0);
    for (const TypeParam x : report.centroid) {
        EXPECT_TRUE(std::isnan(x));
    }
}

TEST(MeshReport, VolumeThatIsZeroInFloatHasNoCenter)
{
    // 1e-60 / 6 is a number in double, but what is reported is zero.
    const Soup<float> soup = {{{{1e-20F, 0, 0}, {0, 1e-20F, 0}, {0, 0, 1e-20F}}}};
    const auto report = CheckMesh(soup, 0.0F);
    EXPECT_EQ(report.volume, 0);
    for (const float x : report.centroid) {
        EXPECT_TRUE(std::isnan(x));
    }
}

TEST(MeshReport, TriangleWithACornerAtTheOriginHasNoVolumeWhicheverCornerItIs)
{
    // The three numbers of the volume are a determinant with a row of zeros.
    Random random(33);
    for (int trial = 0; trial < 100; ++trial) {
        std::array<Vec3d, 3> triangle;
        for (Vec3d& p : triangle) {
            p = random.Vector<3, double>(-1, 1);
        }
        triangle[static_cast<std::size_t>(trial % 3)] = Vec3d();
        const auto report = CheckMesh<double>({triangle}, 1e-9);
        EXPECT_EQ(report.volume, 0) << trial;
        EXPECT_TRUE(std::isnan(report.centroid.x())) << trial;
        EXPECT_TRUE(std::isnan(report.centroid.y())) << trial;
        EXPECT_TRUE(std::isnan(report.centroid.z())) << trial;
    }
}

TEST(MeshReport, CoincidentTrianglesWoundOppositelyCancelExactlyFromWhicheverCornerTheyStart)
{
    Random random(34);
    for (int trial = 0; trial < 100; ++trial) {
        const Vec3d a = random.Vector<3, double>(-1, 1);
        // Corners at equal distances from the origin in every second trial.
        const Vec3d b =
            trial % 2 == 0 ? random.Vector<3, double>(-1, 1) : Vec3d(a.y(), a.x(), a.z());
        const Vec3d c =
            trial % 2 == 0 ? random.Vector<3, double>(-1, 1) : Vec3d(-a.y(), a.x(), a.z());
        std::array<Vec3d, 3> turned{a, c, b};
        std::rotate(turned.begin(), turned.begin() + trial % 3, turned.end());
        const auto report = CheckMesh<double>({{{a, b, c}}, turned}, 1e-12);
        EXPECT_EQ(report.volume, 0) << trial;
        EXPECT_TRUE(std::isnan(report.centroid.x())) << trial;
    }
}

TYPED_TEST(MeshReportTyped, OneTriangleHasThreeOpenSlots)
{
    const Soup<TypeParam> soup = {{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}}};
    const auto report = CheckMesh(soup, TypeParam(0));
    EXPECT_EQ(report.openSlots, (Numbers{0, 1, 2}));
    EXPECT_EQ(report.nonManifoldSlots, Numbers());
    EXPECT_EQ(report.degenerateTriangles, Numbers());
}

TYPED_TEST(MeshReportTyped, TwoCornersThatWeldMakeADegenerateTriangle)
{
    // Corners 0 and 1 meet: the edge between them is one of its own, of one slot and open; the
    // other two are one edge, run both ways, and closed.
    const Soup<TypeParam> soup = {{{{0, 0, 0}, {TypeParam(0.001), 0, 0}, {0, 1, 0}}},
                                  {{{5, 0, 0}, {6, 0, 0}, {5, 1, 0}}}};
    const auto report = CheckMesh(soup, TypeParam(0.01));
    EXPECT_EQ(report.degenerateTriangles, Numbers{0});
    EXPECT_EQ(report.openSlots, (Numbers{0, 3, 4, 5}));
    EXPECT_EQ(report.nonManifoldSlots, Numbers());
    EXPECT_EQ(report.misorientedTriangles, Numbers());
}

TYPED_TEST(MeshReportTyped, ThreeCornersThatWeldAreOneEdgeOfThreeSides)
{
    // Edge (a, a) three times: non-manifold, each time a slot, and so not misoriented. A
    // mesh of one point counts as having no triangles, and no areas.
    const Soup<TypeParam> soup = {
        {{{0, 0, 0}, {TypeParam(0.001), 0, 0}, {0, TypeParam(0.001), 0}}}};
    const auto report = CheckMesh(soup, TypeParam(0.01));
    EXPECT_EQ(report.degenerateTriangles, Numbers{0});
    EXPECT_EQ(report.nonManifoldSlots, (Numbers{0, 1, 2}));
    EXPECT_EQ(report.openSlots, Numbers{0});
    EXPECT_EQ(report.misorientedTriangles, Numbers());
    EXPECT_EQ(report.foldedTriangles, Numbers());
    EXPECT_EQ(report.meanEdgeLength, 0);
    EXPECT_TRUE(std::isnan(report.meanTriangleArea));
}

TYPED_TEST(MeshReportTyped, HeightOfExactlyTwiceTheToleranceIsDegenerate)
{
    // The apex over the middle of an edge of 4, at a height of 0.5. All numbers are exact.
    const Soup<TypeParam> soup = {{{{-2, 0, 0}, {2, 0, 0}, {0, TypeParam(0.5), 0}}}};
    EXPECT_EQ(CheckMesh(soup, TypeParam(0.25)).degenerateTriangles, Numbers{0});
    const TypeParam below = std::nextafter(TypeParam(0.25), TypeParam(0));
    EXPECT_EQ(CheckMesh(soup, below).degenerateTriangles, Numbers());
}

TEST(MeshReport, HeightIsTheDistanceFromTheSideNotFromItsLine)
{
    // The apex lies 1e-3 above the line of the base but 10 beyond its end. Its height is 10; it is
    // the base's near end that lies 5e-4 from the long edge.
    const Soup<double> soup = {{{{0, 0, 0}, {10, 0, 0}, {20, 1e-3, 0}}}};
    EXPECT_EQ(CheckMesh(soup, 2e-4).degenerateTriangles, Numbers());
    EXPECT_EQ(CheckMesh(soup, 2.6e-4).degenerateTriangles, Numbers{0});
}

/// The heights of a right triangle with legs of 4 and 1 times `unit` are its legs and 4 / sqrt 17
/// units, from the right angle to the long edge.
template <class T>
Soup<T> RightTriangle(double unit)
{
    return {{{{0, 0, 0}, {T(4 * unit), 0, 0}, {T(4 * unit), T(unit), 0}}}};
}

TYPED_TEST(MeshReportTyped, SidesDownToTheGuardAreMeasuredInTheirMiddle)
{
    // Edges of 1e-9 and 1.1e-12 or more count as edges, in float too: 4 / sqrt 17 = 0.970.
    for (const double unit : {1.0, 1e-9, 3e-13}) {
        const auto soup = RightTriangle<TypeParam>(unit);
        EXPECT_EQ(CheckMesh(soup, TypeParam(0.96 * unit / 2)).degenerateTriangles, Numbers());
        EXPECT_EQ(CheckMesh(soup, TypeParam(0.98 * unit / 2)).degenerateTriangles, Numbers{0});
    }
}

TYPED_TEST(MeshReportTyped, SidesBelowTheGuardAreMeasuredAtAnEnd)
{
    // The longest edge, of 8.2e-13, squares to less than 1e-24: every height is the length of an
    // edge, the least 2e-13. Nothing is welded at this tolerance.
    const auto soup = RightTriangle<TypeParam>(2e-13);
    EXPECT_EQ(CheckMesh(soup, TypeParam(0.98 * 2e-13 / 2)).degenerateTriangles, Numbers());
    EXPECT_EQ(CheckMesh(soup, TypeParam(4.2 * 2e-13 / 2)).degenerateTriangles, Numbers{0});
}

TYPED_TEST(MeshReportTyped, NegativeAndNaNToleranceWeldNothingAndPassEveryHeight)
{
    // Two triangles with an exactly common edge, the second without any height.
    const Soup<TypeParam> soup = {{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}},
                                  {{{1, 0, 0}, {0, 0, 0}, {TypeParam(0.5), 0, 0}}}};
    for (const TypeParam tolerance : {TypeParam(-1), std::numeric_limits<TypeParam>::quiet_NaN()}) {
        const auto report = CheckMesh(soup, tolerance);
        EXPECT_EQ(report.degenerateTriangles, Numbers());
        EXPECT_EQ(report.openSlots, (Numbers{0, 1, 2, 3, 4, 5}));
    }
    EXPECT_EQ(CheckMesh(soup, TypeParam(0)).degenerateTriangles, Numbers{1});
}

TYPED_TEST(MeshReportTyped, CoincidentPairWoundOppositelyIsFolded)
{
    const Soup<TypeParam> soup = {{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}},
                                  {{{0, 0, 0}, {0, 1, 0}, {1, 0, 0}}}};
    const auto report = CheckMesh(soup, TypeParam(1e-6));
    EXPECT_EQ(report.foldedTriangles, (Numbers{0, 1}));
    EXPECT_EQ(report.misorientedTriangles, Numbers());
    EXPECT_EQ(report.openSlots, Numbers());
    EXPECT_EQ(report.volume, 0);
}

TYPED_TEST(MeshReportTyped, CoincidentPairWoundAlikeIsMisorientedButNotOpen)
{
    const Soup<TypeParam> soup = {{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}},
                                  {{{1, 0, 0}, {0, 1, 0}, {0, 0, 0}}}};
    const auto report = CheckMesh(soup, TypeParam(1e-6));
    EXPECT_EQ(report.misorientedTriangles, (Numbers{0, 1}));
    EXPECT_EQ(report.foldedTriangles, Numbers());
    EXPECT_EQ(report.openSlots, Numbers());
    EXPECT_EQ(report.nonManifoldSlots, Numbers());
}

TYPED_TEST(MeshReportTyped, EdgeOfThreeTrianglesHasThreeSlotsAndOneOpenSlot)
{
    // Triangle t is (2 + t, 0, 1): the common edge is its edge 1. All three run it alike, and yet
    // none is misoriented.
    const auto report = CheckMesh(SoupOf<TypeParam>(Support::Fins(3)), TypeParam(1e-6));
    EXPECT_EQ(report.nonManifoldSlots, (Numbers{1, 4, 7}));
    EXPECT_EQ(report.openSlots, (Numbers{0, 1, 2, 3, 5, 6, 8}));
    EXPECT_EQ(report.misorientedTriangles, Numbers());
}

TEST(MeshReport, NonManifoldSlotsGoEdgeByEdgeInOrderOfFirstAppearance)
{
    // Two books of three leaves with their triangles mixed. The second one's spine comes first in
    // point order (least x) but appears later.
    const auto leaf = [](double x, double dy, double dz) {
        return std::array<Vec3d, 3>{Vec3d(x, dy, dz), Vec3d(x, 0, 0), Vec3d(x + 1, 0, 0)};
    };
    const Soup<double> soup = {leaf(10, 1, 0), leaf(0, 1, 0),  leaf(10, 0, 1),
                               leaf(0, 0, 1),  leaf(0, -1, 0), leaf(10, -1, 0)};
    EXPECT_EQ(CheckMesh(soup, 1e-6).nonManifoldSlots, (Numbers{1, 7, 16, 4, 10, 13}));
}

TEST(MeshReport, OneTurnedTriangleBringsItsThreeNeighbors)
{
    auto octahedron = Support::Octahedron();
    std::swap(octahedron.indices[3 * 5], octahedron.indices[3 * 5 + 1]);
    // Triangle 5 is (1, 2, 5); across its edges lie 1 at 1-2, 4 at 2-5 and 6 at 1-5.
    const auto report = CheckMesh(SoupOf<double>(octahedron), 1e-6);
    EXPECT_EQ(report.misorientedTriangles, (Numbers{1, 4, 5, 6}));
    EXPECT_EQ(report.openSlots, Numbers());
}

TEST(MeshReport, ATriangleOnBothListsOnceIsTakenOutEntirely)
{
    // Triangle 1 runs two edges like triangle 0, and stands twice on the raw list; its third edge
    // is a book's spine.
    const Vec3d a(0, 0, 0);
    const Vec3d b(1, 0, 0);
    const Vec3d c(0, 1, 0);
    const Soup<double> soup = {{{a, b, c}}, {{a, b, c}}, {{a, b, Vec3d(0, 0, 1)}}};
    const auto report = CheckMesh(soup, 1e-6);
    EXPECT_EQ(report.nonManifoldSlots, (Numbers{0, 3, 6}));
    EXPECT_EQ(report.misorientedTriangles, Numbers());
}

/// Two triangles on the y axis, the second folded back onto the first but for `degrees`.
Soup<double> Flap(double degrees)
{
    const double angle = degrees * kRadiansPerDegree;
    return {{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}},
            {{{0, 0, 0}, {0, 1, 0}, {std::cos(angle), 0, std::sin(angle)}}}};
}

TEST(MeshReport, FoldedWithinTwoAndAHalfDegrees)
{
    for (const double degrees : {0.0, 1.0, -2.0, 2.499, -2.499}) {
        EXPECT_EQ(CheckMesh(Flap(degrees), 1e-6).foldedTriangles, (Numbers{0, 1})) << degrees;
    }
    for (const double degrees : {2.501, -2.501, 10.0, 90.0, 178.0, 180.0}) {
        EXPECT_EQ(CheckMesh(Flap(degrees), 1e-6).foldedTriangles, Numbers()) << degrees;
    }
}

TEST(MeshReport, TriangleOfNoAreaIsNotFolded)
{
    // Area 5e-13, which gives no normal: neither it nor its neighbor is folded.
    const Soup<double> soup = {{{{0, 0, 0}, {1e-6, 0, 0}, {0, 1e-6, 0}}},
                               {{{0, 0, 0}, {0, 1e-6, 0}, {1e-6, 0, 0}}}};
    EXPECT_EQ(CheckMesh(soup, 1e-9).foldedTriangles, Numbers());
}

TYPED_TEST(MeshReportTyped, CornersThatAreNotFiniteStayWithTheirTriangle)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        auto soup = SoupOf<TypeParam>(Support::Tetrahedron());
        soup.push_back({{{0, 0, 10}, {1, 0, 10}, {0, TypeParam(bad), 10}}});
        const auto report = CheckMesh(soup, TypeParam(1e-6));
        EXPECT_EQ(report.openSlots, (Numbers{12, 13, 14})) << bad;
        EXPECT_EQ(report.degenerateTriangles, Numbers()) << bad;
        EXPECT_EQ(report.foldedTriangles, Numbers()) << bad;
        EXPECT_EQ(report.misorientedTriangles, Numbers()) << bad;
        EXPECT_FALSE(std::isfinite(report.volume)) << bad;
        EXPECT_FALSE(std::isfinite(report.meanEdgeLength)) << bad;
        EXPECT_FALSE(std::isfinite(report.meanTriangleArea)) << bad;
    }
}

TYPED_TEST(MeshReportTyped, TwoCornersOnOnePointAreDegenerateWhateverTheThirdIs)
{
    // No height can be measured here.
    for (const double bad : {kNaN, kInfinity}) {
        for (std::size_t k = 0; k < 3; ++k) {
            std::array<VecBase<3, TypeParam>, 3> triangle;
            triangle.fill({1, 2, 3});
            triangle[k] = {0, 0, TypeParam(bad)};
            const auto report = CheckMesh<TypeParam>({triangle}, TypeParam(1e-6));
            EXPECT_EQ(report.degenerateTriangles, Numbers{0}) << bad << ' ' << k;
        }
    }
}

TYPED_TEST(MeshReportTyped, ToleranceBeyondAllSizesMakesOnePointOfThem)
{
    for (const TypeParam tolerance : {TypeParam(1e30), std::numeric_limits<TypeParam>::max(),
                                      std::numeric_limits<TypeParam>::infinity()}) {
        const auto report = CheckMesh(SoupOf<TypeParam>(Support::Cube()), tolerance);
        EXPECT_EQ(report.tolerance, tolerance);
        EXPECT_EQ(report.degenerateTriangles.size(), 12U);
        EXPECT_EQ(report.nonManifoldSlots.size(), 36U);
        EXPECT_EQ(report.openSlots, Numbers{0});
    }
}

TEST(MeshReport, HugeAndTinyCoordinatesKeepTheirEdges)
{
    for (const double scale : {1e150, 1e-150}) {
        auto cube = Support::Cube();
        for (Vec3d& p : cube.points) {
            p *= scale;
        }
        const auto report = CheckMesh(SoupOf<double>(cube), 0.0);
        EXPECT_EQ(report.openSlots, Numbers()) << scale;
        EXPECT_EQ(report.misorientedTriangles, Numbers()) << scale;
    }
}

template <class T>
void ExpectSameAsTwin(const Soup<T>& soup, T tolerance)
{
    const auto report = CheckMesh(soup, tolerance);
    const auto twin = Support::TwinReport(soup, tolerance);
    EXPECT_EQ(report.tolerance, twin.tolerance);
    EXPECT_EQ(report.unassigned, Numbers());
    EXPECT_EQ(report.nonManifoldSlots, twin.nonManifoldSlots);
    EXPECT_EQ(report.misorientedTriangles, twin.misorientedTriangles);
    EXPECT_EQ(report.degenerateTriangles, twin.degenerateTriangles);
    EXPECT_EQ(report.foldedTriangles, twin.foldedTriangles);
    EXPECT_EQ(report.openSlots, twin.openSlots);
    // Coordinates are at most 1, so a sum of n terms is out by n roundings at the worst.
    const double slack = std::is_same_v<T, float> ? 1e-5 : 1e-13 * static_cast<double>(soup.size());
    EXPECT_NEAR(report.meanEdgeLength, twin.meanEdgeLength, slack);
    EXPECT_NEAR(report.meanTriangleArea, twin.meanTriangleArea, slack);
    EXPECT_NEAR(report.volume, twin.volume, slack);
    if (std::fabs(twin.volume) > 1e-3) {
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(report.centroid[axis], twin.centroid[axis], 1e3 * slack);
        }
    }
}

TYPED_TEST(MeshReportTyped, RandomSoupsAgreeWithPlainLoops)
{
    Random random(31);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        // From a handful of places, all shared by many, to nearly none shared.
        const int placeCount = 3 + random.Below(trial < 40 ? 12 : 3000);
        std::vector<VecBase<3, TypeParam>> places;
        for (int i = 0; i < placeCount; ++i) {
            places.push_back(random.Vector<3, TypeParam>(-1, 1));
        }
        Soup<TypeParam> soup(static_cast<std::size_t>(random.Below(trial % 3 == 0 ? 2000 : 100)) +
                             1);
        for (auto& triangle : soup) {
            for (auto& corner : triangle) {
                corner = places[static_cast<std::size_t>(random.Below(placeCount))];
            }
        }
        ExpectSameAsTwin(soup, TypeParam(trial % 4 == 0 ? 0.0537 : 1e-6));
    }
}

TYPED_TEST(MeshReportTyped, DamagedSpheresAgreeWithPlainLoops)
{
    Random random(32);
    for (int trial = 0; trial < 8; ++trial) {
        SCOPED_TRACE(trial);
        auto soup = SoupOf<TypeParam>(Support::Sphere(4));
        for (int fault = 0; fault < 40; ++fault) {
            const auto t = static_cast<std::size_t>(random.Below(static_cast<int>(soup.size())));
            switch (random.Below(5)) {
            case 0:
                std::swap(soup[t][0], soup[t][1]);
                break;
            case 1:
                soup.erase(soup.begin() + static_cast<std::ptrdiff_t>(t));
                break;
            case 2:
                soup.push_back(soup[t]);
                break;
            case 3:
                soup.push_back({{soup[t][0], soup[t][2], soup[t][1]}});
                break;
            default:
                soup[t][1] = soup[t][0];
                break;
            }
        }
        ExpectSameAsTwin(soup, TypeParam(1e-5));
    }
}

TEST(MeshReport, SphereApproachesItsFormulas)
{
    const auto report = CheckMesh(SoupOf<double>(Support::Sphere(6)), 1e-9);
    ExpectSound(report);
    // 32,768 triangles inscribed in the unit sphere: short of its volume and area by about h^2 / 4,
    // with edges of h = 0.02.
    EXPECT_NEAR(report.volume, 4.0 / 3 * kPi<double>, 2e-3);
    EXPECT_NEAR(report.meanTriangleArea * 32768, 4 * kPi<double>, 4e-3);
    for (const double x : report.centroid) {
        EXPECT_NEAR(x, 0, 1e-12);
    }
}

} // namespace
