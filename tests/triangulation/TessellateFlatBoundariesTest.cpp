// TessellateFlatBoundary and TessellateFlatBoundaries: regions, snapping, the plane in space.

#include <Sorvane/Tessellation_E.h>

#include "tests/support/TestSupport.h"
#include "tests/triangulation/CheckTriangles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::IndexedPointsBase;
using Sorvane::Mesh::TessellateFlatBoundaries;
using Sorvane::Mesh::TessellateFlatBoundary;
using Sorvane::Mesh::TessellateSimpleBoundary;
using Support::Polygon;
using Support::Random;
using Loops = std::vector<Polygon>;
using PlaneMesh = IndexedPointsBase<2, double>;

template <class T>
std::vector<VecBase<2, T>> As(const Polygon& polygon)
{
    std::vector<VecBase<2, T>> result;
    for (const Vec2d& p : polygon) {
        result.push_back(VecBase<2, T>(p.x(), p.y()));
    }
    return result;
}

template <class T>
std::vector<std::vector<VecBase<2, T>>> As(const Loops& loops)
{
    std::vector<std::vector<VecBase<2, T>>> result;
    for (const Polygon& loop : loops) {
        result.push_back(As<T>(loop));
    }
    return result;
}

Polygon Square(double half, const Vec2d& center = {0, 0})
{
    return {center + Vec2d(-half, -half), center + Vec2d(half, -half), center + Vec2d(half, half),
            center + Vec2d(-half, half)};
}

Polygon Reversed(Polygon polygon)
{
    std::reverse(polygon.begin(), polygon.end());
    return polygon;
}

/// Sound triangles of the given total area.
template <class T>
void ExpectArea(const IndexedPointsBase<2, T>& mesh, double area, double slack = 1e-12)
{
    EXPECT_EQ(Support::CheckTriangles(mesh.points, mesh.indices, slack), "");
    EXPECT_NEAR(Support::SumOfAreas(mesh.points, mesh.indices), area,
                slack * std::max(1.0, std::fabs(area)));
}

/// Is every stretch between two points an edge of a triangle? Points on the stretch divide it.
::testing::AssertionResult HasStretch(const PlaneMesh& mesh, const Support::SideCounts& sides,
                                      const Vec2d& from, const Vec2d& to)
{
    std::vector<std::pair<double, int>> on;
    const Vec2d d = to - from;
    for (std::size_t i = 0; i < mesh.points.size(); ++i) {
        const Vec2d v = mesh.points[i] - from;
        const double t = (v * d) / (d * d);
        if (std::fabs(v ^ d) <= 1e-9 * Length(d) && t > -1e-9 && t < 1 + 1e-9) {
            on.emplace_back(t, static_cast<int>(i));
        }
    }
    std::sort(on.begin(), on.end());
    for (std::size_t k = 0; k + 1 < on.size(); ++k) {
        const std::pair side(on[k].second, on[k + 1].second);
        if (sides.count(side) == 0 && sides.count({side.second, side.first}) == 0) {
            return ::testing::AssertionFailure()
                   << mesh.points[static_cast<std::size_t>(side.first)] << " - "
                   << mesh.points[static_cast<std::size_t>(side.second)] << " is no edge";
        }
    }
    return on.size() > 1 ? ::testing::AssertionSuccess()
                         : ::testing::AssertionFailure() << "no points on the stretch";
}

void ExpectBoundaries(const PlaneMesh& mesh, const Loops& loops)
{
    const Support::SideCounts sides = Support::CountSides(mesh.indices);
    for (const Polygon& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            EXPECT_TRUE(HasStretch(mesh, sides, loop[i], loop[(i + 1) % loop.size()]));
        }
    }
}

template <class T>
class Flat : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(Flat, Coordinates);

// --- nothing, little, broken --------------------------------------------------------------------

TYPED_TEST(Flat, NothingGivesAnEmptyMesh)
{
    using Outline = std::vector<VecBase<2, TypeParam>>;
    const IndexedPointsBase<2, TypeParam> empty;
    EXPECT_EQ(TessellateFlatBoundaries(std::vector<Outline>{}), empty);
    EXPECT_EQ(TessellateFlatBoundary(Outline{}), empty);
    EXPECT_EQ(TessellateFlatBoundaries(std::vector<Outline>{{}, {}}, Outline{}, TypeParam(1)),
              empty);
    using SpaceOutline = std::vector<VecBase<3, TypeParam>>;
    const IndexedPointsBase<3, TypeParam> spaceEmpty;
    EXPECT_EQ(TessellateFlatBoundaries(std::vector<SpaceOutline>{}), spaceEmpty);
    EXPECT_EQ(TessellateFlatBoundary(SpaceOutline{}), spaceEmpty);
    EXPECT_EQ(TessellateFlatBoundary(SpaceOutline{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}), spaceEmpty);
}

TYPED_TEST(Flat, LoopsWithoutSegmentsLeaveThePointsAlone)
{
    using Outline = std::vector<VecBase<2, TypeParam>>;
    const Outline points{{0, 0}, {1, 0}, {0, 1}};
    for (const std::vector<Outline>& loops :
         {std::vector<Outline>{{}}, std::vector<Outline>{{{5, 5}}, {}}}) {
        const auto mesh = TessellateFlatBoundaries(loops, points, TypeParam(10));
        EXPECT_EQ(mesh.points.size(), 3U);
        ExpectArea(mesh, 0.5);
    }
}

TYPED_TEST(Flat, NonFiniteCoordinatesGiveAnEmptyMesh)
{
    const TypeParam nan = std::numeric_limits<TypeParam>::quiet_NaN();
    std::vector<VecBase<2, TypeParam>> square = As<TypeParam>(Square(1));
    const IndexedPointsBase<2, TypeParam> empty;
    EXPECT_EQ(TessellateFlatBoundary(square, {{nan, 0}}, TypeParam(0)), empty);
    square[2].x() = std::numeric_limits<TypeParam>::infinity();
    EXPECT_EQ(TessellateFlatBoundary(square), empty);
}

TYPED_TEST(Flat, AnyToleranceEnds)
{
    using Limits = std::numeric_limits<TypeParam>;
    for (const TypeParam tolerance :
         {Limits::quiet_NaN(), Limits::infinity(), TypeParam(-1), Limits::max()}) {
        const auto mesh =
            TessellateFlatBoundary(As<TypeParam>(Square(1)), {{TypeParam(0.5), 0}}, tolerance);
        EXPECT_EQ(Support::CheckTriangles(mesh.points, mesh.indices, 0), "");
    }
}

// --- regions ------------------------------------------------------------------------------------

TYPED_TEST(Flat, OneOutlineEitherWayClosedOrOpen)
{
    using T = TypeParam;
    Polygon outline{{0, 0}, {4, 0}, {4, 3}, {2, 1}, {0, 3}};
    for (int k = 0; k < 4; ++k) {
        std::reverse(outline.begin(), outline.end());
        if (k == 2) {
            outline.push_back(outline.front());
        }
        const auto mesh = TessellateFlatBoundary(As<T>(outline));
        ExpectArea(mesh, 8);
        EXPECT_EQ(mesh.points.size(), 5U);
        EXPECT_EQ(mesh.indices.size(), 9U);
    }
}

TYPED_TEST(Flat, TwoNestedSquaresLeaveTheHole)
{
    const auto loops = As<TypeParam>(Loops{Square(2), Square(1)});
    const auto mesh = TessellateFlatBoundaries(loops);
    ExpectArea(mesh, 12);
    EXPECT_EQ(mesh.indices.size(), 8U * 3);
}

TEST(FlatRegions, NestedToAnyDepthWithoutRegardForDirection)
{
    Loops loops;
    double area = 0;
    for (int depth = 9; depth > 0; --depth) {
        loops.push_back(depth % 3 == 0 ? Reversed(Square(depth)) : Square(depth));
        area += (depth % 2 == 0 ? -4.0 : 4.0) * depth * depth;
    }
    const PlaneMesh mesh = TessellateFlatBoundaries(loops);
    ExpectArea(mesh, area);
    ExpectBoundaries(mesh, loops);
}

TEST(FlatRegions, TouchingOutlines)
{
    // Two holes that touch in a corner, one of them touching the outer boundary in a corner too.
    const Loops corners{Square(4), {{-4, 0}, {-2, -2}, {0, 0}, {-2, 2}}, Square(1, {1, 1})};
    ExpectArea(TessellateFlatBoundaries(corners), 64 - 8 - 4);
    // Squares side by side: the side between them is one boundary, and both are inside.
    const Loops neighbors{Square(1), Square(1, {2, 0})};
    ExpectArea(TessellateFlatBoundaries(neighbors), 8);
    // A hole with a corner in the middle of an outer side.
    const Loops inSide{Square(2), {{-2, 0}, {0, -1}, {0, 1}}};
    ExpectArea(TessellateFlatBoundaries(inSide), 16 - 2);
}

TEST(FlatRegions, TheFewestBoundariesFromOutsideDecide)
{
    // A hole that shares a stretch with the outer boundary is reached over that one stretch.
    ExpectArea(TessellateFlatBoundaries(Loops{Square(2), {{-2, -1}, {0, -1}, {0, 1}, {-2, 1}}}),
               16);
    // The same outline twice counts once.
    ExpectArea(TessellateFlatBoundaries(Loops{Square(2), Square(2)}), 16);
    // What two outlines share lies behind two boundaries.
    ExpectArea(TessellateFlatBoundaries(Loops{Square(2), Square(2, {2, 2})}), 32 - 2 * 4);
}

TEST(FlatRegions, ABowTieIsCutAndFilled)
{
    const Polygon bowTie{{0, 0}, {2, 2}, {2, 0}, {0, 2}};
    const PlaneMesh mesh = TessellateFlatBoundary(bowTie);
    ExpectArea(mesh, 2);
    EXPECT_EQ(mesh.points.size(), 5U);
}

TEST(FlatRegions, RepeatedPointsDoNotStopTheRest)
{
    const Loops loops{{{0, 0}, {0, 0}, {4, 0}, {4, 4}, {4, 4}, {4, 4}, {0, 4}}, Square(1, {2, 2})};
    ExpectArea(TessellateFlatBoundaries(loops), 12);
}

TEST(FlatRegions, PointsOnlyGiveTheirHull)
{
    Polygon points{{0, 0}, {6, 0}, {6, 5}, {0, 5}};
    Random random(9);
    for (int i = 0; i < 100; ++i) {
        points.push_back({random.Between(0, 6), random.Between(0, 5)});
    }
    const PlaneMesh mesh = TessellateFlatBoundaries(Loops{}, points, 1e-6);
    ExpectArea(mesh, 30);
    EXPECT_EQ(mesh.points.size(), 104U);
    EXPECT_EQ(mesh.indices.size(), 3 * (2 * 104U - 2 - 4));
}

TEST(FlatRegions, PointsStandSortedAndUnusedOnesStay)
{
    const Polygon interior{{3, 3}, {0.5, 0}, {-9, 1}};
    const PlaneMesh mesh = TessellateFlatBoundary(Square(1), interior, 1e-6);
    const Polygon expected{{-9, 1}, {-1, -1}, {-1, 1}, {0.5, 0}, {1, -1}, {1, 1}, {3, 3}};
    EXPECT_EQ(mesh.points, expected);
    ExpectArea(mesh, 4);
}

// --- interior points ----------------------------------------------------------------------------

TYPED_TEST(Flat, AnInteriorPointNearABoundaryMovesOntoItAndSplitsIt)
{
    using T = TypeParam;
    const auto square = As<T>(Square(1));
    const auto mesh = TessellateFlatBoundary(square, {{T(0.25), T(-0.99)}}, T(0.02));
    EXPECT_EQ(mesh.points.size(), 5U);
    EXPECT_EQ(std::count(mesh.points.begin(), mesh.points.end(), VecBase<2, T>(0.25, -1)), 1);
    EXPECT_EQ(mesh.indices.size(), 9U);
    ExpectArea(mesh, 4);
    // Farther away than the tolerance, or with none, it stays inside.
    for (const T tolerance : {T(0.005), T(0)}) {
        const auto apart = TessellateFlatBoundary(square, {{T(0.25), T(-0.99)}}, tolerance);
        EXPECT_EQ(apart.indices.size(), 12U);
        ExpectArea(apart, 4);
    }
}

TYPED_TEST(Flat, TheToleranceOfSnappingHoldsForEachAxis)
{
    using T = TypeParam;
    // The point's foot on the slanted side is (5.125, 5.125): 0.875 away along either axis, 1.24 in
    // all. It lies within the side's box, which says nothing.
    const auto triangle = As<T>(Polygon{{0, 0}, {10, 0}, {10, 10}});
    const std::vector<VecBase<2, T>> point{{6, 4.25}};
    const auto moved = TessellateFlatBoundary(triangle, point, T(0.9));
    EXPECT_EQ(std::count_if(moved.points.begin(), moved.points.end(),
                            [](const VecBase<2, T>& p) {
                                return Matches(p, VecBase<2, T>(5.125, 5.125), T(1e-5));
                            }),
              1);
    EXPECT_EQ(moved.indices.size(), 6U);
    const auto kept = TessellateFlatBoundary(triangle, point, T(0.87));
    EXPECT_EQ(std::count(kept.points.begin(), kept.points.end(), point.front()), 1);
    EXPECT_EQ(kept.indices.size(), 9U);
}

TYPED_TEST(Flat, ASideThroughAnUnsnappedPointIsSplitThere)
{
    using T = TypeParam;
    const auto ell = As<T>(Polygon{{0, 0}, {4, 0}, {4, 1}, {1, 1}, {1, 4}, {0, 4}});
    ExpectArea(TessellateFlatBoundary(ell, {{2, 0}}, T(0)), 7);
    ExpectArea(TessellateFlatBoundary(ell, {{2, 0}}, T(1e-6)), 7);
}

TYPED_TEST(Flat, AnInteriorPointThatIsACornerVanishes)
{
    using T = TypeParam;
    const auto mesh = TessellateFlatBoundary(As<T>(Square(1)), {{1, 1}, {-1, 1}}, T(1e-6));
    EXPECT_EQ(mesh.points.size(), 4U);
    ExpectArea(mesh, 4);
}

TEST(FlatInterior, ManyPointsOnOneSlantedSide)
{
    // Far from the origin, where a joint calculated anew would miss the point by its last bits.
    Random random(14);
    const Polygon triangle{{5000, 7000}, {5011, 7003}, {5003, 7009}};
    Polygon points;
    for (int i = 0; i < 60; ++i) {
        const double t = random.Unit();
        points.push_back(triangle[0] + t * (triangle[1] - triangle[0]) +
                         random.Vector<2, double>(-1e-7, 1e-7));
    }
    const PlaneMesh mesh = TessellateFlatBoundary(triangle, points, 1e-6);
    EXPECT_EQ(mesh.points.size(), 63U);
    EXPECT_EQ(mesh.indices.size(), 3 * 61U);
    ExpectArea(mesh, 0.5 * (11 * 9 - 3 * 3), 1e-9);
    ExpectBoundaries(mesh, {triangle});
}

TEST(FlatInterior, PointsSnappedToBothOfTwoSidesGoToTheNearer)
{
    const Polygon wedge{{0, 0}, {10, -0.01}, {10, 0.01}};
    const PlaneMesh mesh = TessellateFlatBoundary(wedge, {{5, 0.004}, {6, -0.005}}, 0.02);
    ExpectArea(mesh, 0.1);
    EXPECT_EQ(mesh.points.size(), 5U);
    ExpectBoundaries(mesh, {wedge});
}

// --- random outlines ----------------------------------------------------------------------------

TYPED_TEST(Flat, RandomOutlinesAgreeWithTheShoelaceArea)
{
    using T = TypeParam;
    Random random(21);
    for (int round = 0; round < 150; ++round) {
        Polygon outline;
        switch (round % 5) {
        case 0:
            outline = Support::StarPolygon(5 + random.Below(40), random);
            break;
        case 1:
            outline = Support::CombPolygon(2 + random.Below(10), random);
            break;
        case 2:
            outline = Support::SpiralPolygon(40 + 2 * random.Below(40));
            break;
        case 3:
            outline = Support::SkylinePolygon(2 + random.Below(8), random);
            break;
        default:
            outline = Support::MazePolygon(2 + random.Below(4), random);
            break;
        }
        if (round % 2 == 0 && round % 5 != 0 && sizeof(T) == 8) {
            outline = Support::Turned(outline, random.Between(0, 6.3));
        }
        const auto given = As<T>(outline);
        const auto mesh = TessellateFlatBoundary(given);
        ASSERT_EQ(mesh.points.size(), outline.size());
        ASSERT_EQ(mesh.indices.size(), 3 * (outline.size() - 2)) << "round " << round;
        ExpectArea(mesh, Support::AreaOf(given), 1e-11);
        if constexpr (sizeof(T) == 8) {
            ExpectBoundaries(mesh, {outline});
        }
        if (testing::Test::HasFailure()) {
            FAIL() << "round " << round;
        }
    }
}

TEST(FlatRandom, OutlinesWithHolesAndInteriorPoints)
{
    Random random(33);
    for (int round = 0; round < 25; ++round) {
        Loops loops{Support::StarPolygon(30, random)};
        for (Vec2d& p : loops.front()) {
            p *= 50 / Length(p); // on a circle of radius 50, which holds the lattice of holes
        }
        double area = Support::AreaOf(loops.front());
        for (int i = -2; i <= 2; ++i) {
            for (int k = -2; k <= 2; ++k) {
                Polygon hole = Support::StarPolygon(3 + random.Below(12), random);
                for (Vec2d& p : hole) {
                    p = 4.5 * p + Vec2d(10 * i, 10 * k);
                }
                area -= Support::AreaOf(hole);
                loops.push_back(random.Below(2) == 0 ? hole : Reversed(hole));
            }
        }
        Polygon points;
        for (int i = 0; i < 300; ++i) {
            points.push_back(random.Vector<2, double>(-60, 60));
        }
        const PlaneMesh mesh = TessellateFlatBoundaries(loops, points, 1e-3);
        ExpectArea(mesh, area, 1e-4); // a snapped point may shift by 1e-3, its boundary may not
        ExpectBoundaries(mesh, loops);
        if (testing::Test::HasFailure()) {
            FAIL() << "round " << round;
        }
    }
}

TEST(FlatRandom, TanglesOfSegmentsGiveSoundTriangles)
{
    Random random(41);
    for (int round = 0; round < 100; ++round) {
        Loops loops;
        for (int l = random.Below(4); l >= 0; --l) {
            Polygon loop;
            for (int i = 2 + random.Below(12); i > 0; --i) {
                const Vec2d p = random.Vector<2, double>(0, 6);
                loop.push_back(round % 2 == 0 ? p : Vec2d(std::floor(p.x()), std::floor(p.y())));
            }
            loops.push_back(loop);
        }
        const PlaneMesh mesh = TessellateFlatBoundaries(loops);
        EXPECT_EQ(Support::CheckTriangles(mesh.points, mesh.indices, 1e-12), "") << round;
    }
}

// --- in space -----------------------------------------------------------------------------------

template <class T>
VecBase<3, T> OnTable(const Vec2d& p, double height = 0)
{
    return VecBase<3, T>(p.x(), p.y(), height);
}

/// Area of a mesh in space, negative where a triangle looks away from `normal`.
template <class T>
double AreaAlong(const IndexedPointsBase<3, T>& mesh, const Vec3d& normal)
{
    double area = 0;
    for (std::size_t t = 0; t + 2 < mesh.indices.size(); t += 3) {
        std::array<Vec3d, 3> p;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto& corner = mesh.points[static_cast<std::size_t>(mesh.indices[t + k])];
            p[k] = Vec3d(corner.x(), corner.y(), corner.z());
        }
        const double doubled = ((p[1] - p[0]) ^ (p[2] - p[0])) * normal / Length(normal);
        EXPECT_GT(doubled, 0);
        area += 0.5 * doubled;
    }
    return area;
}

TYPED_TEST(Flat, InSpaceARingOnATable)
{
    using T = TypeParam;
    std::vector<std::vector<VecBase<3, T>>> loops(2);
    for (const Vec2d& p : Square(2)) {
        loops[0].push_back(OnTable<T>(p, 5));
    }
    for (const Vec2d& p : Reversed(Square(1))) {
        loops[1].push_back(OnTable<T>(p, 5));
    }
    const auto mesh = TessellateFlatBoundaries(loops, {OnTable<T>({1.5, 0.25}, 9)}, T(1e-6));
    EXPECT_NEAR(AreaAlong(mesh, {0, 0, 1}), 12, 1e-6);
    EXPECT_EQ(mesh.points.size(), 9U);
    for (const auto& p : mesh.points) {
        EXPECT_EQ(p.z(), 5); // the height of an interior point is dropped
    }
    // Seen from below when the first outline runs clockwise.
    std::reverse(loops[0].begin(), loops[0].end());
    EXPECT_NEAR(AreaAlong(TessellateFlatBoundaries(loops), {0, 0, -1}), 12, 1e-6);
}

TYPED_TEST(Flat, InSpaceATiltedOutline)
{
    using T = TypeParam;
    std::vector<VecBase<3, T>> outline;
    for (const Vec2d& p : Polygon{{0, 0}, {40, 0}, {40, 30}, {20, 10}, {0, 30}}) {
        outline.push_back(VecBase<3, T>(100 + p.x(), p.x() + p.y(), p.y() / 3));
    }
    const Vec3d normal = Vec3d(1, 1, 0) ^ Vec3d(0, 1, 1.0 / 3);
    const auto mesh = TessellateFlatBoundary(outline);
    ASSERT_EQ(mesh.points.size(), 5U);
    EXPECT_NEAR(AreaAlong(mesh, normal), 800 * Length(normal), 1e-3);
    for (const VecBase<3, T>& corner : outline) {
        const auto isCorner = [&](const VecBase<3, T>& p) { return Matches(p, corner, T(1e-4)); };
        EXPECT_EQ(std::count_if(mesh.points.begin(), mesh.points.end(), isCorner), 1);
    }
}

TYPED_TEST(Flat, InSpaceCornersOffThePlaneKeepTheirHeights)
{
    using T = TypeParam;
    // A square whose corners stand alternately 1 above and below its plane, z = 0.
    std::vector<VecBase<3, T>> saddle;
    for (std::size_t i = 0; i < 4; ++i) {
        saddle.push_back(OnTable<T>(Square(2)[i], i % 2 == 0 ? 1 : -1));
    }
    const auto mesh = TessellateFlatBoundary(saddle);
    ASSERT_EQ(mesh.points.size(), 4U);
    EXPECT_EQ(mesh.indices.size(), 6U);
    for (const VecBase<3, T>& corner : saddle) {
        const auto isCorner = [&](const VecBase<3, T>& p) { return Matches(p, corner, T(1e-5)); };
        EXPECT_EQ(std::count_if(mesh.points.begin(), mesh.points.end(), isCorner), 1);
    }
    // With a corner more than the boundary's there is no height for it.
    const IndexedPointsBase<3, T> empty;
    EXPECT_EQ(TessellateFlatBoundary(saddle, {{0, 0, 0}}, T(1e-6)), empty);
}

TYPED_TEST(Flat, InSpaceTheLowestOfSeveralHeightsStands)
{
    using T = TypeParam;
    const double heights[2][4] = {{1, -1, 1, -1}, {5, -7, 5, -7}};
    for (const std::size_t first : {0U, 1U}) {
        std::vector<std::vector<VecBase<3, T>>> loops(2);
        for (std::size_t i = 0; i < 4; ++i) {
            loops[0].push_back(OnTable<T>(Square(2)[i], heights[first][i]));
            loops[1].push_back(OnTable<T>(Square(2)[i], heights[1 - first][i]));
        }
        const auto mesh = TessellateFlatBoundaries(loops);
        ASSERT_EQ(mesh.points.size(), 4U);
        for (const auto& p : mesh.points) {
            EXPECT_NEAR(p.z(), p.x() * p.y() > 0 ? 1 : -7, 1e-5);
        }
    }
}

TEST(FlatInSpace, WithinTheFloorIsFlat)
{
    for (const double height : {5e-13, 2e-12}) {
        std::vector<Vec3d> square;
        for (std::size_t i = 0; i < 4; ++i) {
            square.push_back(OnTable<double>(Square(2)[i], i % 2 == 0 ? height : -height));
        }
        const auto mesh = TessellateFlatBoundary(square, {{0, 0, 3}}, 1e-6);
        EXPECT_EQ(mesh.points.size(), height < 1e-12 ? 5U : 0U);
        for (const Vec3d& p : mesh.points) {
            EXPECT_EQ(p.z(), 0);
        }
    }
}

TYPED_TEST(Flat, InSpacePointsOnlyInTheirBestPlane)
{
    using T = TypeParam;
    std::vector<VecBase<3, T>> points;
    for (int i = 0; i < 25; ++i) {
        points.push_back(VecBase<3, T>(i % 5, i / 5, 2 * (i % 5)));
    }
    const auto mesh = TessellateFlatBoundaries<3, T>({}, points, T(1e-6));
    EXPECT_EQ(mesh.points.size(), 25U);
    double area = 0;
    for (std::size_t t = 0; t < mesh.indices.size(); t += 3) {
        const auto p = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[t + k])];
        };
        area += 0.5 * static_cast<double>(Length((p(1) - p(0)) ^ (p(2) - p(0))));
    }
    EXPECT_NEAR(area, 16 * std::sqrt(5.0), 1e-3);
}

} // namespace
