// The share of each triangle that belongs to a node.

#include <Sorvane/Curvature_E.h>

#include "features/RingTriangle_Impl.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::MixedAreas;

template <int N, class T>
struct Form {
    static constexpr int kDimension = N;
    using Real = T;
};

template <class F>
class MixedAreasOf : public testing::Test {
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(MixedAreasOf, Forms);

/// The point (x, y), in space turned out of the coordinate planes by a rotation.
template <class F>
auto PointOf(double x, double y)
{
    using T = typename F::Real;
    if constexpr (F::kDimension == 2) {
        return VecBase<2, T>{static_cast<T>(x), static_cast<T>(y)};
    } else {
        // Orthonormal: (2, 2, 1) / 3 and (-2, 1, 2) / 3.
        return VecBase<3, T>{static_cast<T>((2 * x - 2 * y) / 3), static_cast<T>((2 * x + y) / 3),
                             static_cast<T>((x + 2 * y) / 3)};
    }
}

template <class F>
constexpr double kClose = std::is_same_v<typename F::Real, float> ? 2e-6 : 4e-15;

/// Area of the part of a triangle that is nearer to its corner x than to q and r, by cutting the
/// triangle with the two bisectors.
double NearestPart(const Vec2d& x, const Vec2d& q, const Vec2d& r)
{
    std::vector<Vec2d> part{x, q, r};
    for (const Vec2d& other : {q, r}) {
        const auto side = [&](const Vec2d& p) { // positive: nearer to x
            return SquaredLength(p - other) - SquaredLength(p - x);
        };
        std::vector<Vec2d> kept;
        for (std::size_t i = 0; i < part.size(); ++i) {
            const Vec2d& a = part[i];
            const Vec2d& b = part[(i + 1) % part.size()];
            if (side(a) >= 0) {
                kept.push_back(a);
            }
            if ((side(a) < 0) != (side(b) < 0)) {
                kept.push_back(a + (side(a) / (side(a) - side(b))) * (b - a));
            }
        }
        part = kept;
    }
    double doubled = 0;
    for (std::size_t i = 2; i < part.size(); ++i) {
        doubled += (part[i - 1] - part[0]) ^ (part[i] - part[0]);
    }
    return std::fabs(doubled) / 2;
}

TYPED_TEST(MixedAreasOf, AcuteTriangleGivesItsNearestPartToEachCorner)
{
    using T = typename TypeParam::Real;
    const std::vector<Vec2d> corners{{0.25, 0.5}, {2.5, 0.75}, {1.0, 2.5}};
    for (std::size_t first = 0; first < 3; ++first) {
        const Vec2d x = corners[first];
        const Vec2d q = corners[(first + 1) % 3];
        const Vec2d r = corners[(first + 2) % 3];
        const auto at = [](const Vec2d& p) { return PointOf<TypeParam>(p.x(), p.y()); };
        const std::vector<T> areas = MixedAreas(at(x), {at(q), at(r)}, T{0});
        ASSERT_EQ(areas.size(), 1U);
        EXPECT_NEAR(static_cast<double>(areas[0]), NearestPart(x, q, r), kClose<TypeParam>);
    }
}

TYPED_TEST(MixedAreasOf, ObtuseTriangleGivesHalfToTheObtuseCornerAndAQuarterToTheOthers)
{
    using T = typename TypeParam::Real;
    // Area 1, the obtuse angle at the second corner.
    const auto a = PointOf<TypeParam>(0, 0);
    const auto b = PointOf<TypeParam>(2, 0);
    const auto c = PointOf<TypeParam>(4, 1);
    EXPECT_NEAR(static_cast<double>(MixedAreas(a, {b, c}, T{0})[0]), 0.25, kClose<TypeParam>);
    EXPECT_NEAR(static_cast<double>(MixedAreas(b, {c, a}, T{0})[0]), 0.5, kClose<TypeParam>);
    EXPECT_NEAR(static_cast<double>(MixedAreas(c, {a, b}, T{0})[0]), 0.25, kClose<TypeParam>);
}

TYPED_TEST(MixedAreasOf, SharesOfATrianglesCornersSumToItsArea)
{
    using T = typename TypeParam::Real;
    Support::Random random(3);
    for (int round = 0; round < 500; ++round) {
        const Vec2d a = random.Vector<2, double>(-1, 1);
        const Vec2d b = random.Vector<2, double>(-1, 1);
        const Vec2d c = random.Vector<2, double>(-1, 1);
        const auto at = [](const Vec2d& p) { return PointOf<TypeParam>(p.x(), p.y()); };
        const double area = std::fabs((b - a) ^ (c - a)) / 2;
        const auto share = [&](const Vec2d& x, const Vec2d& q, const Vec2d& r) {
            return static_cast<double>(MixedAreas(at(x), {at(q), at(r)}, T{0})[0]);
        };
        EXPECT_NEAR(share(a, b, c) + share(b, c, a) + share(c, a, b), area, 5 * kClose<TypeParam>);
    }
}

TYPED_TEST(MixedAreasOf, SenseOfTheRingDoesNotMatter)
{
    using T = typename TypeParam::Real;
    const auto x = PointOf<TypeParam>(0, 0);
    std::vector<decltype(PointOf<TypeParam>(0, 0))> ring{
        PointOf<TypeParam>(3, 0.5), PointOf<TypeParam>(1, 2), PointOf<TypeParam>(-2, 1),
        PointOf<TypeParam>(-0.5, -0.25), PointOf<TypeParam>(2, -3)};
    std::vector<T> forward = MixedAreas(x, ring, T{0});
    std::reverse(ring.begin(), ring.end());
    std::vector<T> backward = MixedAreas(x, ring, T{0});
    ASSERT_EQ(forward.size(), 5U);
    ASSERT_EQ(backward.size(), 5U);
    std::sort(forward.begin(), forward.end());
    std::sort(backward.begin(), backward.end());
    for (std::size_t i = 0; i < forward.size(); ++i) {
        EXPECT_GT(forward[i], T{0});
        EXPECT_NEAR(static_cast<double>(forward[i]), static_cast<double>(backward[i]),
                    5 * kClose<TypeParam>);
    }
}

TYPED_TEST(MixedAreasOf, NumberOfEntries)
{
    using T = typename TypeParam::Real;
    using V = VecBase<TypeParam::kDimension, T>;
    const V x = PointOf<TypeParam>(0, 0);
    const V a = PointOf<TypeParam>(1, 0);
    const V b = PointOf<TypeParam>(0, 1);
    const V c = PointOf<TypeParam>(-1, 0);
    EXPECT_TRUE(MixedAreas(x, std::vector<V>{}, T{0}).empty());
    EXPECT_EQ(MixedAreas(x, std::vector<V>{a}, T{0}), std::vector<T>{0});
    EXPECT_EQ(MixedAreas(x, std::vector<V>{a, b}, T{0}).size(), 1U);
    // An open ring of three has its gap for a third triangle, here one without area.
    const std::vector<T> open = MixedAreas(x, std::vector<V>{a, b, c}, T{0});
    ASSERT_EQ(open.size(), 3U);
    EXPECT_NEAR(static_cast<double>(open[0]), 0.25, kClose<TypeParam>);
    EXPECT_NEAR(static_cast<double>(open[1]), 0.25, kClose<TypeParam>);
    EXPECT_NEAR(static_cast<double>(open[2]), 0, kClose<TypeParam>);
    EXPECT_EQ(MixedAreas(x, std::vector<V>{a, b, c, PointOf<TypeParam>(0, -1)}, T{0}).size(), 4U);
}

TYPED_TEST(MixedAreasOf, ToleranceGuardsTheCotangentsOnly)
{
    using T = typename TypeParam::Real;
    // Both triangles have a doubled area of 0.01 up to rounding.
    const auto x = PointOf<TypeParam>(0, 0);
    const auto acute = MixedAreas(x, {PointOf<TypeParam>(0.1, 0), PointOf<TypeParam>(0.05, 0.1)},
                                  static_cast<T>(0.02));
    EXPECT_EQ(acute[0], T{0});
    const auto obtuse = MixedAreas(x, {PointOf<TypeParam>(0.1, 0), PointOf<TypeParam>(-0.1, 0.1)},
                                   static_cast<T>(0.02));
    EXPECT_NEAR(static_cast<double>(obtuse[0]), 0.0025, kClose<TypeParam>);
}

TYPED_TEST(MixedAreasOf, DegenerateAndNonFiniteTriangles)
{
    using T = typename TypeParam::Real;
    using V = VecBase<TypeParam::kDimension, T>;
    const V x = PointOf<TypeParam>(0, 0);
    const V a = PointOf<TypeParam>(1, 0);
    for (const auto& ring : {std::vector<V>{a, a}, std::vector<V>{a, T{2} * a},
                             std::vector<V>{x, a}, std::vector<V>{x, x}}) {
        EXPECT_EQ(MixedAreas(x, ring, T{0}), std::vector<T>{0});
    }
    V bad = a;
    bad[1] = std::numeric_limits<T>::quiet_NaN();
    EXPECT_TRUE(std::isnan(MixedAreas(x, {a, bad}, T{0})[0]));
    bad[1] = std::numeric_limits<T>::infinity();
    EXPECT_FALSE(std::isfinite(MixedAreas(x, {a, bad}, T{0})[0]));
    EXPECT_TRUE(std::isnan(MixedAreas(bad, {a, x}, T{0})[0]));
}

TEST(MixedAreas, FarFromTheOriginTheShareIsThatOfTheCoordinates)
{
    // Eighths are exact at 1e6 too, so nothing at all may be lost.
    const Vec2d far(1e6, -1e6);
    const std::vector<Vec2d> ring{{1, 0.125}, {0.25, 1.5}, {-1, 0.5}, {-0.5, -2}, {0.75, -0.5}};
    std::vector<Vec2d> farRing;
    for (const Vec2d& p : ring) {
        farRing.push_back(p + far);
    }
    EXPECT_EQ(MixedAreas(far, farRing, 0.0), MixedAreas(Vec2d{}, ring, 0.0));
}

TYPED_TEST(MixedAreasOf, TheShareByCosinesIsThatByAngles)
{
    // Triangles of any shape, with an angle next to a right one at each of the corners, without
    // area, and of any size.
    namespace Impl = Sorvane::MeshUtils::Impl;
    using T = typename TypeParam::Real;
    Support::Random random(41);
    int shares[3] = {0, 0, 0};
    for (int trial = 0; trial < 20000; ++trial) {
        const double size = std::pow(10.0, random.Between(-25, 25));
        const double off = std::pow(10.0, random.Between(-17, 0)) * (trial % 2 == 0 ? 1 : -1);
        const double height = trial % 10 == 0 ? 0 : random.Between(0.01, 3);
        // The right angle is at the first corner, but for a slant.
        std::array<Vec2d, 3> corner{{{0, 0}, {1, off}, {0, height}}};
        if (trial % 3 == 0) {
            corner[2] = {random.Between(-2, 2), height};
        }
        std::array<decltype(PointOf<TypeParam>(0, 0)), 3> at;
        for (std::size_t i = 0; i < 3; ++i) {
            at[(i + static_cast<std::size_t>(trial)) % 3] =
                PointOf<TypeParam>(size * corner[i][0], size * corner[i][1]);
        }
        const T tolerance = static_cast<T>(1e-12);
        const Impl::Share expected =
            Impl::RingTriangle<TypeParam::kDimension, T>(at[0], at[1], at[2], tolerance).share;
        EXPECT_EQ(Impl::ShareOf(at[0], at[1], at[2], tolerance), expected) << trial;
        ++shares[static_cast<int>(expected)];
    }
    for (const int count : shares) {
        EXPECT_GT(count, 1000);
    }
}

TYPED_TEST(MixedAreasOf, IntoAListTheyAreTheSame)
{
    using T = typename TypeParam::Real;
    using Point = decltype(PointOf<TypeParam>(0, 0));
    std::vector<T> areas(17, T{9});
    std::vector<Point> ring;
    for (const auto& [x, y] : {std::pair{1.0, 0.0}, {0.3, 1.0}, {-1.0, 0.2}, {-0.1, -1.0}}) {
        ring.push_back(PointOf<TypeParam>(x, y));
        const Point node = PointOf<TypeParam>(0.05, 0.02);
        MixedAreas(node, ring, static_cast<T>(1e-8), areas);
        EXPECT_EQ(areas, MixedAreas(node, ring, static_cast<T>(1e-8))) << ring.size();
    }
    MixedAreas(PointOf<TypeParam>(0, 0), {}, T{0}, areas);
    EXPECT_TRUE(areas.empty());
}

} // namespace
