// TessellateFlatBoundaries where coordinates run out of digits: outlines that nearly share a side,
// points nearly on an outline or on each other, far from the origin, tiny and huge, `float`.

#include <Sorvane/Tessellation_E.h>

#include "tests/support/TestSupport.h"
#include "tests/triangulation/CheckTriangles.h"
#include "tests/triangulation/ExactTurn.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::IndexedPointsBase;
using Sorvane::Mesh::TessellateFlatBoundaries;
using Sorvane::Mesh::TessellateFlatBoundary;
using Support::Polygon;
using Support::Random;
using Loops = std::vector<Polygon>;
template <class T>
using PlaneMesh = IndexedPointsBase<2, T>;

template <class T>
std::vector<std::vector<VecBase<2, T>>> As(const Loops& loops)
{
    std::vector<std::vector<VecBase<2, T>>> result;
    for (const Polygon& loop : loops) {
        result.emplace_back();
        for (const Vec2d& p : loop) {
            result.back().push_back(VecBase<2, T>(p.x(), p.y()));
        }
    }
    return result;
}

template <class T>
Vec2d Wide(const VecBase<2, T>& p)
{
    return Vec2d(p.x(), p.y());
}

/// Every triangle runs counter-clockwise in the coordinates as they stand, exactly, and no directed
/// edge has two users.
template <class T>
::testing::AssertionResult IsSound(const PlaneMesh<T>& mesh)
{
    const std::string fault = Support::CheckTriangles(mesh.points, mesh.indices, 0);
    if (!fault.empty()) {
        return ::testing::AssertionFailure() << fault;
    }
    for (std::size_t t = 0; t + 2 < mesh.indices.size(); t += 3) {
        const auto corner = [&](std::size_t k) {
            return Wide(mesh.points[static_cast<std::size_t>(mesh.indices[t + k])]);
        };
        if (Support::ExactTurn(corner(0), corner(1), corner(2)) <= 0) {
            return ::testing::AssertionFailure()
                   << "triangle " << t / 3 << " is turned over: " << corner(0) << " " << corner(1)
                   << " " << corner(2);
        }
    }
    return ::testing::AssertionSuccess();
}

template <class T>
double AreaOf(const PlaneMesh<T>& mesh)
{
    return Support::SumOfAreas(mesh.points, mesh.indices);
}

template <class T>
std::size_t UsedPoints(const PlaneMesh<T>& mesh)
{
    return std::set<int>(mesh.indices.begin(), mesh.indices.end()).size();
}

template <class T>
class FlatLimits : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(FlatLimits, Coordinates);

// --- sides on one line --------------------------------------------------------------------------

// Each outline is the last one shifted by 1: all bases lie on one line, all tops on another. Cut at
// every end within them they would be 200 million pieces; they are a row of strips, all reached
// from outside over one boundary.
TYPED_TEST(FlatLimits, ManyShiftedOutlinesAlongOneLine)
{
    constexpr int kCount = 10'000;
    constexpr std::size_t kStrips = 2 * kCount - 1;
    for (const Vec2d& along : {Vec2d(1, 0), Vec2d(0, -1), Vec2d(1, 1)}) {
        const Vec2d rise(-along.y(), along.x());
        Loops loops;
        for (int i = 0; i < kCount; ++i) {
            const Vec2d first = along * i;
            const Vec2d last = along * (i + kCount);
            loops.push_back({first, last, last + rise, first + rise});
        }
        const auto mesh = TessellateFlatBoundaries(As<TypeParam>(loops));
        EXPECT_EQ(mesh.points.size(), std::size_t{4 * kCount});
        EXPECT_EQ(mesh.indices.size(), 3 * 2 * kStrips);
        EXPECT_DOUBLE_EQ(AreaOf(mesh), (along * along) * static_cast<double>(kStrips));
    }
}

// --- sides nearly shared ------------------------------------------------------------------------

TYPED_TEST(FlatLimits, TwoParallelogramsThatNearlyShareASide)
{
    const Polygon first{
        {0, 3e-6}, {-4.710812, 8.820904}, {-13.53171, 4.11009}, {-8.820895, -4.710813}};
    const Polygon second{{-4.710816, 8.820896},
                         {-9.421619, 17.641801},
                         {-18.242526, 12.930985},
                         {-13.531707, 4.110083}};
    const auto mesh = TessellateFlatBoundaries(As<TypeParam>({first, second}));
    EXPECT_TRUE(IsSound(mesh));
    EXPECT_NEAR(AreaOf(mesh), Support::AreaOf(first) + Support::AreaOf(second), 2e-4);
    EXPECT_EQ(UsedPoints(mesh), mesh.points.size());
}

// Where the jitter makes the squares overlap the overlap lies behind two boundaries, and where it
// parts them there is a gap: neither is wider than the jitter.
TYPED_TEST(FlatLimits, SquaresWithAJitteredCommonSide)
{
    Random random(71);
    for (int decade = -13; decade <= -3; ++decade) {
        const double jitter = std::pow(10.0, decade);
        for (int round = 0; round < 200; ++round) {
            const auto near = [&](double x, double y) {
                return Vec2d(x, y) + random.Vector<2, double>(-jitter, jitter);
            };
            Polygon left{{0, 0}, near(1, 0)};
            Polygon right{near(1, 1), near(1, 0), {2, 0}, {2, 1}};
            for (int k = random.Below(4); k > 0; --k) { // corners along the side
                left.push_back(near(1, 0.2 * (4 - k)));
            }
            left.push_back(near(1, 1));
            left.push_back({0, 1});
            const double angle = round % 2 == 0 ? 0 : random.Between(0, 6.3);
            const Loops loops{Support::Turned(left, angle), Support::Turned(right, angle)};
            const auto mesh = TessellateFlatBoundaries(As<TypeParam>(loops));
            ASSERT_TRUE(IsSound(mesh)) << jitter << " " << round;
            const double rounding = sizeof(TypeParam) == 4 ? 1e-6 : 1e-11;
            ASSERT_NEAR(AreaOf(mesh), 2, 6 * jitter + rounding) << jitter << " " << round;
        }
    }
}

TYPED_TEST(FlatLimits, NestedOutlinesThatNearlyTouch)
{
    Random random(72);
    for (int decade = -12; decade <= -2; ++decade) {
        const double gap = std::pow(10.0, decade);
        for (int round = 0; round < 40; ++round) {
            const double angle = random.Between(0, 6.3);
            const auto square = [&](double half) {
                return Support::Turned(
                    Polygon{{-half, -half}, {half, -half}, {half, half}, {-half, half}}, angle);
            };
            const auto mesh =
                TessellateFlatBoundaries(As<TypeParam>({square(1), square(1 - gap), square(0.5)}));
            ASSERT_TRUE(IsSound(mesh)) << gap;
            // The ring between the outer two is inside, what follows outside, the core inside. A
            // gap that rounding closes leaves one outline of the two, and the core is a hole.
            const double expected = 4 - 4 * (1 - gap) * (1 - gap) + 1;
            const double area = AreaOf(mesh);
            const double rounding = sizeof(TypeParam) == 4 ? 2e-6 : 2e-11;
            ASSERT_TRUE(std::fabs(area - expected) < rounding ||
                        (gap < rounding && std::fabs(area - 3) < rounding))
                << gap << " " << area;
        }
    }
}

// --- points nearly in one place -----------------------------------------------------------------

TYPED_TEST(FlatLimits, InteriorPointsCloseToEachOther)
{
    Random random(73);
    for (int decade = -9; decade <= -3; ++decade) {
        const double spread = std::pow(10.0, decade);
        for (int round = 0; round < 100; ++round) {
            const Loops square{{{0, 0}, {1, 0}, {1, 1}, {0, 1}}};
            std::vector<VecBase<2, TypeParam>> points;
            const Vec2d center = random.Vector<2, double>(0.1, 0.9);
            for (int i = 2 + random.Below(8); i > 0; --i) {
                const Vec2d p = center + random.Vector<2, double>(-spread, spread);
                points.push_back(VecBase<2, TypeParam>(p.x(), p.y()));
            }
            const auto mesh =
                TessellateFlatBoundaries(As<TypeParam>(square), points, TypeParam(1e-6));
            ASSERT_TRUE(IsSound(mesh)) << spread << " " << round;
            ASSERT_NEAR(AreaOf(mesh), 1, 1e-14) << spread << " " << round;
            ASSERT_EQ(UsedPoints(mesh), mesh.points.size()) << spread << " " << round;
        }
    }
}

TYPED_TEST(FlatLimits, InteriorPointsCloseToAnOutline)
{
    Random random(74);
    for (int decade = -12; decade <= -2; ++decade) {
        const double distance = std::pow(10.0, decade);
        for (const double tolerance : {0.0, 1e-6, 1e-3}) {
            for (int round = 0; round < 20; ++round) {
                const double angle = random.Between(0, 6.3);
                const Polygon square{{0, 0}, {1, 0}, {1, 1}, {0, 1}};
                Polygon points;
                for (int i = 0; i < 12; ++i) {
                    const double along = random.Unit();
                    points.push_back(i % 2 == 0 ? Vec2d(along, distance * random.Unit())
                                                : Vec2d(1 - distance * random.Unit(), along));
                }
                const auto mesh = TessellateFlatBoundaries(
                    As<TypeParam>({Support::Turned(square, angle)}),
                    As<TypeParam>({Support::Turned(points, angle)}).front(), TypeParam(tolerance));
                ASSERT_TRUE(IsSound(mesh)) << distance << " " << tolerance << " " << round;
                const double rounding = sizeof(TypeParam) == 4 ? 1e-6 : 1e-11;
                ASSERT_NEAR(AreaOf(mesh), 1, 4 * rounding)
                    << distance << " " << tolerance << " " << round;
            }
        }
    }
}

// --- points on an outline -----------------------------------------------------------------------

TYPED_TEST(FlatLimits, APointOnASideSplitsItAtAnyTolerance)
{
    using T = TypeParam;
    const auto square = As<T>({{{0, 0}, {1, 0}, {1, 1}, {0, 1}}});
    for (const T tolerance : {T(0), T(1e-14), T(-1), T(1e-6), T(0.1)}) {
        const auto mesh = TessellateFlatBoundaries(square, {{1, T(0.3)}}, tolerance);
        EXPECT_TRUE(IsSound(mesh));
        EXPECT_EQ(mesh.indices.size(), 9U) << tolerance;
        EXPECT_EQ(AreaOf(mesh), 1) << tolerance;
    }
}

TYPED_TEST(FlatLimits, APointOnAHolesSideLeavesTheHole)
{
    using T = TypeParam;
    const auto loops = As<T>({{{0, 0}, {4, 0}, {4, 4}, {0, 4}}, {{1, 1}, {3, 1}, {3, 3}, {1, 3}}});
    for (const T tolerance : {T(0), T(1e-6)}) {
        const auto mesh = TessellateFlatBoundaries(loops, {{2, 1}, {3, 2}, {1, 2}}, tolerance);
        EXPECT_TRUE(IsSound(mesh));
        EXPECT_EQ(AreaOf(mesh), 12) << tolerance;
        EXPECT_EQ(mesh.points.size(), 11U);
    }
}

TYPED_TEST(FlatLimits, APointWithinTheFloorOfASideSplitsItWhereItStands)
{
    using T = TypeParam;
    const T floor = kLengthFloor<T>;
    const auto square = As<T>({{{0, 0}, {1, 0}, {1, 1}, {0, 1}}});
    const VecBase<2, T> point(T(0.3), T(0.75) * floor);
    const auto mesh = TessellateFlatBoundaries(square, {point}, T(0));
    EXPECT_TRUE(IsSound(mesh));
    EXPECT_EQ(mesh.indices.size(), 9U);
    EXPECT_EQ(std::count(mesh.points.begin(), mesh.points.end(), point), 1);
    // Beyond it a corner of the triangles inside.
    const auto apart = TessellateFlatBoundaries(square, {{T(0.3), 3 * floor}}, T(0));
    EXPECT_TRUE(IsSound(apart));
    EXPECT_EQ(apart.indices.size(), 12U);
}

TYPED_TEST(FlatLimits, APointOnASideOfTwoOutlinesSplitsBoth)
{
    using T = TypeParam;
    const auto loops = As<T>({{{0, 0}, {1, 0}, {1, 1}, {0, 1}}, {{1, 0}, {2, 0}, {2, 1}, {1, 1}}});
    const auto mesh = TessellateFlatBoundaries(loops, {{1, T(0.3)}, {1, T(0.6)}}, T(0));
    EXPECT_TRUE(IsSound(mesh));
    EXPECT_NEAR(AreaOf(mesh), 2, 1e-14);
    EXPECT_EQ(mesh.points.size(), 8U);
    EXPECT_EQ(mesh.indices.size(), 3 * 8U);
}

TEST(FlatLimitsCorners, APointBeyondACornerBecomesTheCorner)
{
    Random random(75);
    for (int round = 0; round < 2000; ++round) {
        const Vec2d low = random.Vector<2, double>(-1e5, 0);
        const Vec2d high = random.Vector<2, double>(1e4, 1e5);
        const Polygon rectangle{low, {high.x(), low.y()}, high, {low.x(), high.y()}};
        const auto corner = static_cast<std::size_t>(random.Below(4));
        const Vec2d outwards(corner == 1 || corner == 2 ? 1e-6 : -1e-6, corner >= 2 ? 1e-6 : -1e-6);
        const auto mesh = TessellateFlatBoundary(rectangle, {rectangle[corner] + outwards}, 1e-4);
        ASSERT_EQ(mesh.points.size(), 4U) << round;
        const double area = Support::AreaOf(rectangle);
        ASSERT_NEAR(AreaOf(mesh), area, 1e-15 * area) << round;
    }
}

// --- float --------------------------------------------------------------------------------------

// Points snapped onto slanted sides, and crossings, are rounded to coordinates that `float` has;
// slivers beside them must stay counter-clockwise all the same.
TEST(FlatLimitsFloat, TrianglesAreCounterClockwiseInTheCoordinatesReturned)
{
    Random random(76);
    for (int round = 0; round < 400; ++round) {
        const double size = std::pow(10.0, round % 5 - 1);
        const Vec2d offset = random.Vector<2, double>(-1000, 1000) * (round % 3 == 0 ? 0.0 : 1.0);
        Loops loops{Support::StarPolygon(3 + random.Below(12), random)};
        if (round % 2 == 0) {
            loops.push_back(
                Support::StarPolygon(3 + random.Below(12), random)); // crosses the first
        }
        for (Polygon& loop : loops) {
            for (Vec2d& p : loop) {
                p = size * p + offset;
            }
        }
        std::vector<VecBase<2, float>> points;
        for (int i = 0; i < 60; ++i) {
            // Near the sides, so that most are snapped, and next to each other.
            const Polygon& loop = loops.front();
            const auto side = static_cast<std::size_t>(random.Below(static_cast<int>(loop.size())));
            const double t = random.Unit();
            const Vec2d p = (1 - t) * loop[side] + t * loop[(side + 1) % loop.size()] +
                            random.Vector<2, double>(-1e-3 * size, 1e-3 * size);
            points.push_back(VecBase<2, float>(p.x(), p.y()));
        }
        const auto mesh =
            TessellateFlatBoundaries(As<float>(loops), points, static_cast<float>(1e-3 * size));
        ASSERT_TRUE(IsSound(mesh)) << round;
        ASSERT_FALSE(mesh.indices.empty());
    }
}

TEST(FlatLimitsFloat, CounterClockwiseInATiltedPlaneToo)
{
    Random random(77);
    for (int round = 0; round < 200; ++round) {
        // In the plane z = x, which `float` points can lie in exactly.
        const Vec2d offset = random.Vector<2, double>(-100, 100);
        const auto lifted = [&](const Vec2d& p) {
            const Vec2d q = 10 * p + offset;
            return VecBase<3, float>(q.x(), q.y(), q.x());
        };
        const double angle = random.Between(0, 6.3);
        const auto turned = [&](const Polygon& polygon) {
            std::vector<VecBase<3, float>> points;
            for (const Vec2d& p : Support::Turned(polygon, angle)) {
                points.push_back(lifted(p));
            }
            return points;
        };
        Polygon points;
        for (int i = 0; i < 40; ++i) {
            points.push_back({random.Unit(), random.Between(0, 1e-5)});
        }
        const auto mesh =
            TessellateFlatBoundary(turned({{0, 0}, {1, 0}, {1, 1}, {0, 1}}), turned(points), 1e-4F);
        ASSERT_GT(mesh.indices.size(), 60U);
        // Seen from where the outline runs counter-clockwise; only x and y are needed for that.
        PlaneMesh<float> flat;
        flat.indices = mesh.indices;
        for (const auto& p : mesh.points) {
            flat.points.push_back({p.x(), p.y()});
        }
        ASSERT_TRUE(IsSound(flat)) << round;
        ASSERT_NEAR(AreaOf(flat), 100, 1e-3);
    }
}

// --- all sizes, everywhere ----------------------------------------------------------------------

TYPED_TEST(FlatLimits, AreasOfNestedAndAdjacentOutlinesAtAllSizesAndPlaces)
{
    using T = TypeParam;
    Random random(78);
    for (const double size : {1e-3, 1.0, 1e3, 1e5}) {
        for (const double away : {0.0, 1e3, 1e6}) {
            for (int round = 0; round < 10; ++round) {
                // Two rows of cells side by side, some with a hole, some of these with an island.
                const double unit = size;
                const Vec2d offset = random.Vector<2, double>(-1, 1) * away;
                const double angle = random.Between(0, 6.3);
                Loops loops;
                double area = 0;
                const auto add = [&](double x, double y, double half) {
                    Polygon square{{x - half, y - half},
                                   {x + half, y - half},
                                   {x + half, y + half},
                                   {x - half, y + half}};
                    if (random.Below(2) == 0) {
                        std::reverse(square.begin(), square.end());
                    }
                    loops.push_back(square);
                    return 4 * half * half;
                };
                for (int cell = 0; cell < 8; ++cell) {
                    const double x = cell % 4;
                    const double y = cell / 4;
                    area += add(x, y, 0.5);
                    if (random.Below(2) == 0) {
                        area -= add(x, y, 0.3);
                        if (random.Below(2) == 0) {
                            area += add(x, y, 0.125);
                        }
                    }
                }
                for (Polygon& loop : loops) {
                    loop = Support::Turned(loop, angle);
                    for (Vec2d& p : loop) {
                        p = unit * p + offset;
                    }
                }
                std::vector<VecBase<2, T>> points;
                for (int i = 0; i < 30; ++i) {
                    const Vec2d p =
                        Support::Turned({random.Vector<2, double>(-0.5, 3.5)}, angle).front();
                    const Vec2d q = unit * p + offset;
                    points.push_back(VecBase<2, T>(q.x(), q.y()));
                }
                const double ulp =
                    std::numeric_limits<T>::epsilon() * (away + 4 * size) + kLengthFloor<T>;
                if (ulp > 1e-2 * unit) {
                    continue; // the squares are no squares in these coordinates
                }
                const auto mesh = TessellateFlatBoundaries(As<T>(loops), points, T(1e-6));
                ASSERT_TRUE(IsSound(mesh)) << size << " " << away << " " << round;
                // At most 24 squares, each of whose sides may be off by the rounding of its ends.
                ASSERT_NEAR(AreaOf(mesh), area * unit * unit, 24 * 4 * unit * ulp)
                    << size << " " << away << " " << round;
            }
        }
    }
}

} // namespace
