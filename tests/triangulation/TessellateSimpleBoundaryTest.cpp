// TessellateSimpleBoundary: rules, edge cases, and thousands of random simple polygons.

#include <Sorvane/Tessellation_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/triangulation/CheckTriangles.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::TessellateSimpleBoundary;
using Support::Polygon;
using Support::Random;

using Indices = std::vector<int>;

template <class T>
using PlaneOutline = std::vector<VecBase<2, T>>;

template <class T>
class SimpleBoundary : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(SimpleBoundary, Coordinates);

template <class T>
std::vector<VecBase<2, T>> As(const Polygon& polygon)
{
    std::vector<VecBase<2, T>> outline;
    for (const Vec2d& p : polygon) {
        outline.push_back(VecBase<2, T>(p.x(), p.y()));
    }
    return outline;
}

TYPED_TEST(SimpleBoundary, FewerThanThreePointsGiveNothing)
{
    using Outline = PlaneOutline<TypeParam>;
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{}).empty());
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0}}).empty());
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0}, {1, 0}}).empty());
    EXPECT_TRUE(TessellateSimpleBoundary(Outline(7, {3, 4})).empty());
}

TYPED_TEST(SimpleBoundary, ATriangleIsTakenByItsTurn)
{
    using Outline = PlaneOutline<TypeParam>;
    EXPECT_EQ(TessellateSimpleBoundary(Outline{{0, 0}, {1, 0}, {0, 1}}), (Indices{0, 1, 2}));
    EXPECT_EQ(TessellateSimpleBoundary(Outline{{0, 0}, {0, 1}, {1, 0}}), (Indices{0, 2, 1}));
}

TYPED_TEST(SimpleBoundary, ATriangleWithoutAreaGivesNothing)
{
    using Outline = PlaneOutline<TypeParam>;
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0}, {1, 1}, {2, 2}}).empty());
    // The area, not the height, is compared with the floor, and equality counts as none.
    const double floor = kLengthFloor<TypeParam>;
    const auto height = static_cast<TypeParam>(2 * floor);
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0}, {1, 0}, {0, height / 2}}).empty());
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0}, {1, 0}, {0, height}}).empty());
    EXPECT_EQ(TessellateSimpleBoundary(Outline{{0, 0}, {1, 0}, {0, 2 * height}}).size(), 3U);
}

TYPED_TEST(SimpleBoundary, AClockwiseSquareGivesCounterClockwiseTriangles)
{
    const PlaneOutline<TypeParam> square{{0, 0}, {0, 1}, {1, 1}, {1, 0}};
    EXPECT_EQ(Support::CheckPolygonTriangles(square, TessellateSimpleBoundary(square)), "");
}

TYPED_TEST(SimpleBoundary, ARepeatedLastPointChangesNothing)
{
    PlaneOutline<TypeParam> outline{{0, 0}, {4, 0}, {4, 3}, {2, 1}, {0, 3}};
    const Indices open = TessellateSimpleBoundary(outline);
    EXPECT_EQ(Support::CheckPolygonTriangles(outline, open), "");
    outline.push_back(outline.front());
    EXPECT_EQ(TessellateSimpleBoundary(outline), open);
    const PlaneOutline<TypeParam> triangle{{0, 0}, {1, 0}, {0, 1}, {0, 0}};
    EXPECT_EQ(TessellateSimpleBoundary(triangle), (Indices{0, 1, 2}));
}

TYPED_TEST(SimpleBoundary, ARepeatedPointWithinGetsNoTriangle)
{
    const PlaneOutline<TypeParam> outline{{0, 0}, {4, 0}, {4, 0}, {4, 3}, {2, 1},
                                          {2, 1}, {2, 1}, {0, 3}, {0, 3}};
    const Indices indices = TessellateSimpleBoundary(outline);
    EXPECT_EQ(indices.size(), 9U);
    EXPECT_EQ(Support::CheckTriangles(outline, indices, 0), "");
    EXPECT_DOUBLE_EQ(Support::SumOfAreas(outline, indices), 8);
}

TYPED_TEST(SimpleBoundary, ABowTieGivesNothing)
{
    using Outline = PlaneOutline<TypeParam>;
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0}, {1, 1}, {1, 0}, {0, 1}}).empty());
    // So does an outline that touches itself along its way.
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0}, {4, 0}, {4, 4}, {2, 0}, {0, 4}}).empty());
}

// Thirty million crossings: to find them all takes minutes and gigabytes.
TYPED_TEST(SimpleBoundary, AnOutlineThatCrossesItselfWildlyGivesNothing)
{
    Random random(17);
    PlaneOutline<TypeParam> outline;
    for (int i = 0; i < 20000; ++i) {
        outline.push_back(random.Vector<2, TypeParam>(0, 100));
    }
    EXPECT_TRUE(TessellateSimpleBoundary(outline).empty());
}

TYPED_TEST(SimpleBoundary, CornersInOnePlace)
{
    using Outline = PlaneOutline<TypeParam>;
    // Crossing at a common corner, one half of it turned over.
    EXPECT_TRUE(
        TessellateSimpleBoundary(Outline{{0, 0}, {2, 2}, {4, 4}, {4, 0}, {2, 2}, {0, 4}}).empty());
    // A hole tied to the contour by a bridge that runs both ways.
    const Outline bridged{{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0},
                          {3, 3}, {3, 6},  {6, 6},   {6, 3},  {3, 3}};
    const Indices indices = TessellateSimpleBoundary(bridged);
    EXPECT_EQ(indices.size(), 8U * 3);
    EXPECT_EQ(Support::CheckTriangles(bridged, indices, 0), "");
    EXPECT_DOUBLE_EQ(Support::SumOfAreas(bridged, indices), 91);
}

TYPED_TEST(SimpleBoundary, NonFiniteCoordinatesGiveNothing)
{
    using Limits = std::numeric_limits<TypeParam>;
    for (const TypeParam bad : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()}) {
        for (std::size_t i = 0; i < 4; ++i) {
            PlaneOutline<TypeParam> square{{0, 0}, {1, 0}, {1, 1}, {0, 1}};
            square[i].y() = bad;
            EXPECT_TRUE(TessellateSimpleBoundary(square).empty());
            square.resize(3);
            if (i < 3) {
                EXPECT_TRUE(TessellateSimpleBoundary(square).empty());
            }
        }
    }
}

TEST(SimpleBoundaryExtremes, HugeAndTinyOutlines)
{
    const Polygon shape{{0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 2}, {0, 2}};
    for (const double scale : {1e-5, 1e6, 1e12, 1e100}) {
        Polygon scaled = shape;
        for (Vec2d& p : scaled) {
            p *= scale;
        }
        EXPECT_EQ(Support::CheckPolygonTriangles(scaled, TessellateSimpleBoundary(scaled)), "");
    }
    Polygon beyond = shape;
    for (Vec2d& p : beyond) {
        p *= 1e160;
    }
    EXPECT_TRUE(TessellateSimpleBoundary(beyond).empty());
}

// The wall at x = 2 has the outside to its right; its middle point sees nothing on its left, and
// the notch after it must not reach through the outside for a partner.
TYPED_TEST(SimpleBoundary, APointWithinAnUprightWall)
{
    const PlaneOutline<TypeParam> outline{{0, 0}, {1, -3}, {2, -4}, {2, -2}, {2, 0},
                                          {5, 0}, {4, 1},  {6, 2},  {5, 3},  {2, 3},
                                          {1, 5}, {3, 6},  {0, 7},  {-1, 3}};
    EXPECT_EQ(Support::CheckPolygonTriangles(outline, TessellateSimpleBoundary(outline)), "");
}

template <class T>
void ExpectSound(const Polygon& polygon, Random& random)
{
    std::vector<VecBase<2, T>> outline = As<T>(polygon);
    std::rotate(outline.begin(), outline.begin() + random.Below(static_cast<int>(outline.size())),
                outline.end());
    if (random.Below(2) == 0) {
        std::reverse(outline.begin(), outline.end());
    }
    EXPECT_EQ(Support::CheckPolygonTriangles(outline, TessellateSimpleBoundary(outline)), "")
        << outline.size() << " points, first " << outline.front();
}

struct Kind {
    const char* name;
    std::function<Polygon(int size, Random&)> make;
    int sizes;
    bool onLattice; ///< turning makes straight runs crooked by a rounding
};

class RandomPolygons : public testing::TestWithParam<int> {};

const std::array<Kind, 6> kKinds{{
    {"star", [](int n, Random& r) { return Support::StarPolygon(n + 4, r); }, 60, false},
    {"comb", [](int n, Random& r) { return Support::CombPolygon(n + 1, r); }, 40, false},
    {"spiral", [](int n, Random&) { return Support::SpiralPolygon(2 * n + 40); }, 60, false},
    {"monotone", [](int n, Random& r) { return Support::MonotonePolygon(2 * n + 4, r); }, 30,
     false},
    {"skyline", [](int n, Random& r) { return Support::SkylinePolygon(n + 1, r); }, 12, true},
    {"maze", [](int n, Random& r) { return Support::MazePolygon(n + 1, r); }, 7, true},
}};

TEST_P(RandomPolygons, AreCoveredOnce)
{
    const Kind& kind = kKinds[static_cast<std::size_t>(GetParam())];
    Random random(17);
    for (int round = 0; round < Support::Rounds(600); ++round) {
        const Polygon polygon = kind.make(random.Below(kind.sizes), random);
        ExpectSound<double>(polygon, random);
        const double angle = round % 3 == 0 ? 1.5707963267948966 : random.Between(0, 6.3);
        ExpectSound<double>(Support::Turned(polygon, angle), random);
        if (!kind.onLattice || round % 3 == 0) {
            ExpectSound<float>(polygon, random);
        }
        if (testing::Test::HasFailure()) {
            FAIL() << kind.name << ", round " << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, RandomPolygons, testing::Range(0, 6), [](const auto& param) {
    return kKinds[static_cast<std::size_t>(param.param)].name;
});

// Walls that are nearly upright or level. From one point of a wall to the next x changes by less
// than the floor, by about the floor, or by a small share of the wall's length.
template <class T>
void ExpectSoundLeaning(double scale, double angle)
{
    Random random(99);
    for (int round = 0; round < Support::Rounds(60); ++round) {
        const Polygon plain = round % 2 == 0 ? Support::SkylinePolygon(3 + random.Below(9), random)
                                             : Support::MazePolygon(1 + random.Below(7), random);
        Polygon polygon = Support::Turned(plain, angle);
        for (Vec2d& p : polygon) {
            p *= scale;
        }
        ExpectSound<T>(polygon, random);
        if (testing::Test::HasFailure()) {
            FAIL() << "scale " << scale << ", angle " << angle << ", round " << round;
        }
    }
}

constexpr double kQuarter = 1.5707963267948966;

TEST(SimpleBoundaryLeaning, FloatWallsASmallShareOfTheirLengthOffUpright)
{
    for (const double scale : {1.0, 1e3, 1e5}) {
        for (const double angle : {0.0, 5e-7, 1e-6, kQuarter, kQuarter + 5e-7, kQuarter + 1e-6}) {
            ExpectSoundLeaning<float>(scale, angle);
        }
    }
}

TEST(SimpleBoundaryLeaning, DoubleWallsASmallShareOfTheirLengthOffUpright)
{
    for (const double scale : {1.0, 1e3, 1e6}) {
        for (const double angle : {5e-11, kQuarter + 1e-10, kQuarter + 1e-11}) {
            ExpectSoundLeaning<double>(scale, angle);
        }
    }
}

TEST(SimpleBoundaryLeaning, WallsThatLeanByTheFloorFromPointToPoint)
{
    for (const double angle : {7e-13, 1.1e-12, 4e-12, kQuarter + 7e-13, kQuarter + 1e-12}) {
        ExpectSoundLeaning<double>(1, angle);
    }
    ExpectSoundLeaning<float>(0.01, kQuarter + 4e-7);
    ExpectSoundLeaning<float>(0.01, kQuarter + 1e-6);
}

TEST(SimpleBoundaryLeaning, LargeOutlinesOfAnyDirection)
{
    for (int k = 0; k < 20; ++k) {
        ExpectSoundLeaning<double>(1e6, 0.3 * k + 0.00276900484491714);
        ExpectSoundLeaning<double>(1e9, 0.3 * k + 0.00276900484491714);
    }
}

TEST(SimpleBoundaryLarge, ManyCornersOfEveryKind)
{
    Random random(5);
    ExpectSound<double>(Support::CombPolygon(10000, random), random);
    ExpectSound<double>(Support::Turned(Support::CombPolygon(10000, random), 1.5707963267948966),
                        random);
    ExpectSound<double>(Support::SpiralPolygon(4000), random);
    ExpectSound<double>(Support::MazePolygon(40, random), random);
    ExpectSound<double>(Support::Turned(Support::MazePolygon(40, random), 0.3), random);
}

// In space: the same triangles as in the plane, seen from the side of the outline's normal.
TYPED_TEST(SimpleBoundary, InSpaceByTheOutlinesPlane)
{
    using T = TypeParam;
    Random random(3);
    const Polygon polygon = Support::StarPolygon(30, random);
    std::vector<VecBase<3, T>> outline;
    for (const Vec2d& p : polygon) {
        outline.push_back(VecBase<3, T>(5 + p.x(), 2 * p.x() - p.y(), p.y() + 7));
    }
    // The map (x, y) -> (x, 2 x - y, y) stretches areas by |(1, 2, 0) ^ (0, -1, 1)| = sqrt(6).
    const Vec3d normal = Vec3d(1, 2, 0) ^ Vec3d(0, -1, 1);
    const Indices indices = TessellateSimpleBoundary(outline);
    ASSERT_EQ(indices.size(), 3 * (polygon.size() - 2));
    double area = 0;
    for (std::size_t t = 0; t < indices.size(); t += 3) {
        std::array<Vec3d, 3> p;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto& corner = outline[static_cast<std::size_t>(indices[t + k])];
            p[k] = Vec3d(corner.x(), corner.y(), corner.z());
        }
        const double along = ((p[1] - p[0]) ^ (p[2] - p[0])) * normal / Length(normal);
        EXPECT_GE(along, -1e-6);
        area += 0.5 * along;
    }
    EXPECT_NEAR(area, std::sqrt(6.0) * Support::AreaOf(polygon), sizeof(T) == 4 ? 1e-4 : 1e-12);
}

// The plane looks to where the outline runs counter-clockwise, so a triangle keeps its order
// whichever way it runs.
TYPED_TEST(SimpleBoundary, InSpaceATriangleKeepsItsOrder)
{
    using Outline = std::vector<VecBase<3, TypeParam>>;
    EXPECT_EQ(TessellateSimpleBoundary(Outline{{0, 0, 1}, {1, 0, 1}, {1, 1, 1}}),
              (Indices{0, 1, 2}));
    EXPECT_EQ(TessellateSimpleBoundary(Outline{{0, 0, 1}, {1, 1, 1}, {1, 0, 1}}),
              (Indices{0, 1, 2}));
}

TYPED_TEST(SimpleBoundary, InSpacePointsWithoutAPlaneGiveNothing)
{
    using Outline = std::vector<VecBase<3, TypeParam>>;
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{}).empty());
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}).empty());
    EXPECT_TRUE(
        TessellateSimpleBoundary(Outline{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}}).empty());
    const TypeParam nan = std::numeric_limits<TypeParam>::quiet_NaN();
    EXPECT_TRUE(TessellateSimpleBoundary(Outline{{0, 0, 0}, {1, 0, nan}, {0, 1, 0}}).empty());
}

} // namespace
