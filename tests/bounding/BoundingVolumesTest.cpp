// Boxes, the map onto the unit square or cube, and grids of points.

#include <Sorvane/BoundingVolumes_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/bounding/BoundingForms.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

template <class K>
class BoxesOf : public testing::Test {
};
TYPED_TEST_SUITE(BoxesOf, Support::BoundingForms);

template <int D, class T>
VecBase<D, T> All(T value)
{
    VecBase<D, T> v;
    for (T& component : v) {
        component = value;
    }
    return v;
}

template <int D, class T>
constexpr T kEps = std::numeric_limits<T>::epsilon();

TYPED_TEST(BoxesOf, DefaultBoxIsInvertedAndTakesTheFirstPoint)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    AxisAlignedBoundingBox<D, T> box;
    EXPECT_EQ(box.min, (All<D, T>(std::numeric_limits<T>::max())));
    EXPECT_EQ(box.max, (All<D, T>(std::numeric_limits<T>::lowest())));
    const auto p = All<D, T>(T(-3.5));
    box.Grow(p);
    EXPECT_EQ(box.min, p);
    EXPECT_EQ(box.max, p);
}

TYPED_TEST(BoxesOf, GrowTakesMinimumAndMaximumOnEachAxis)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Support::Random random(1);
    AxisAlignedBoundingBox<D, T> box;
    std::vector<VecBase<D, T>> points;
    for (int i = 0; i < 100; ++i) {
        points.push_back(random.Vector<D, T>(-5, 5));
        box.Grow(points.back());
    }
    for (int axis = 0; axis < D; ++axis) {
        T low = points[0][axis];
        T high = low;
        for (const auto& p : points) {
            low = p[axis] < low ? p[axis] : low;
            high = p[axis] > high ? p[axis] : high;
        }
        EXPECT_EQ(box.min[axis], low);
        EXPECT_EQ(box.max[axis], high);
    }
    EXPECT_EQ(BoxOfPoints(points), box);
    EXPECT_EQ((BoxOfPoints(std::vector<VecBase<D, T>>{})), (AxisAlignedBoundingBox<D, T>{}));
}

TYPED_TEST(BoxesOf, GrowByNaNReplacesTheBoundAndTheNextPointReplacesTheNaN)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    AxisAlignedBoundingBox<D, T> box;
    box.Grow(All<D, T>(T(-8)));
    box.Grow(All<D, T>(T(9)));
    auto p = All<D, T>(T(1));
    p[1] = std::numeric_limits<T>::quiet_NaN();
    box.Grow(p);
    EXPECT_EQ(box.min[0], T(-8));
    EXPECT_TRUE(std::isnan(box.min[1]));
    EXPECT_TRUE(std::isnan(box.max[1]));
    box.Grow(All<D, T>(T(2)));
    EXPECT_EQ(box.min[1], T(2)); // -8 and 9 are forgotten
    EXPECT_EQ(box.max[1], T(2));
    EXPECT_EQ(box.max[0], T(9));
}

TYPED_TEST(BoxesOf, ContainsPointWithinTheEuclideanTolerance)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const AxisAlignedBoundingBox<D, T> box{All<D, T>(T(0)), All<D, T>(T(10))};
    EXPECT_TRUE(box.ContainsPoint(All<D, T>(T(5)), T(0)));
    EXPECT_TRUE(box.ContainsPoint(All<D, T>(T(10)), T(0)));
    auto off = All<D, T>(T(5));
    off[0] = T(13);
    off[1] = T(-4);
    EXPECT_TRUE(box.ContainsPoint(off, T(5))); // 3, 4, 5: the bound itself counts
    EXPECT_FALSE(box.ContainsPoint(off, T(4.9375)));
    EXPECT_FALSE(box.ContainsPoint(All<D, T>(T(5)), T(-1)));
    off[0] = std::numeric_limits<T>::quiet_NaN();
    EXPECT_FALSE(box.ContainsPoint(off, T(1000)));
    EXPECT_FALSE(box.ContainsPoint(All<D, T>(T(5)), std::numeric_limits<T>::quiet_NaN()));
    // Means nothing for an inverted box, but is no fault either.
    std::ignore = AxisAlignedBoundingBox<D, T>{}.ContainsPoint(off, T(1));
}

TYPED_TEST(BoxesOf, DefaultsOfTheOtherValues)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const RegularBoundingBox<D, T> cell;
    EXPECT_EQ(cell.center, (All<D, T>(T(0))));
    EXPECT_EQ(cell.halfSize, T(0));
    EXPECT_EQ(cell.slack, T(0));
    const BoundingBall<D, T> ball;
    EXPECT_EQ(ball.center, (All<D, T>(T(0))));
    EXPECT_EQ(ball.radius, T(0));
}

/// A box with extents 8, 4 (and 2).
template <int D, class T>
AxisAlignedBoundingBox<D, T> OddBox()
{
    AxisAlignedBoundingBox<D, T> box{All<D, T>(T(3)), All<D, T>(T(3))};
    for (int i = 0; i < D; ++i) {
        box.max[i] += static_cast<T>(8 >> i);
    }
    return box;
}

TYPED_TEST(BoxesOf, WithoutMarginTheLongestAxisFillsTheUnitEdgeExactly)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const auto box = OddBox<D, T>();
    const auto map = UnitSpaceMapping(box, T(0), false);
    const auto low = map * box.min;
    const auto high = map * box.max;
    EXPECT_EQ(low[0], T(0));
    EXPECT_EQ(high[0], T(1));
    EXPECT_EQ(low[1], T(0.25)); // the others are centered in proportion
    EXPECT_EQ(high[1], T(0.75));
    if constexpr (D == 3) {
        EXPECT_EQ(low[2], T(0.375));
        EXPECT_EQ(high[2], T(0.625));
    }
}

TYPED_TEST(BoxesOf, PerAxisEveryAxisFillsItsUnitEdge)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const auto box = OddBox<D, T>();
    const auto map = UnitSpaceMapping(box, T(20), true); // a fifth stays free, half on each side
    for (int i = 0; i < D; ++i) {
        EXPECT_NEAR((map * box.min)[i], 0.1, 4 * (kEps<D, T>));
        EXPECT_NEAR((map * box.max)[i], 0.9, 4 * (kEps<D, T>));
    }
}

TYPED_TEST(BoxesOf, MarginIsCutTo99Point9AndMayOverfill)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const auto box = OddBox<D, T>();
    EXPECT_EQ(UnitSpaceMapping(box, T(100), false), UnitSpaceMapping(box, T(1e6), false));
    EXPECT_NEAR((UnitSpaceMapping(box, T(100), false)(0, 0)), 0.001 / 8, 1e-10);
    EXPECT_EQ(UnitSpaceMapping(box, T(-100), false), UnitSpaceMapping(box, T(-500), false));
    // -25 percent: the box is 1.25 units long, centered.
    const auto map = UnitSpaceMapping(box, T(-25), false);
    EXPECT_NEAR((map * box.min)[0], -0.125, 4 * (kEps<D, T>));
    EXPECT_NEAR((map * box.max)[0], 1.125, 4 * (kEps<D, T>));
}

TYPED_TEST(BoxesOf, APointIsBlownUpAndLandsInTheMiddle)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const auto p = All<D, T>(T(7));
    const auto map = UnitSpaceMapping(AxisAlignedBoundingBox<D, T>{p, p}, T(1), false);
    EXPECT_EQ(map * p, (All<D, T>(T(0.5))));
    EXPECT_NEAR((map(0, 0)) * static_cast<double>(kLengthFloor<T>), 1.0, 1e-9);
}

TYPED_TEST(BoxesOf, FlatBoxPerAxisIsOnlyCentered)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    AxisAlignedBoundingBox<D, T> box{All<D, T>(T(0)), All<D, T>(T(10))};
    box.min[1] = box.max[1] = T(3);
    const auto map = UnitSpaceMapping(box, T(0), true);
    const auto low = map * box.min;
    const auto high = map * box.max;
    EXPECT_EQ(low[0], T(-4.5)); // 10 units about 0.5
    EXPECT_EQ(high[0], T(5.5));
    EXPECT_EQ(low[1], T(0.5));
    EXPECT_EQ(high[1], T(0.5));
}

TEST(UnitSpaceMapping, HugeBoxesAreOnlyCentered)
{
    // The product of the factors must exceed 1e-15: a target of 1e5 in space, 3.2e7 in the plane.
    using Box3 = AxisAlignedBoundingBox<3, double>;
    const auto isScaled3 = [](double size) {
        return UnitSpaceMapping(Box3{{0, 0, 0}, {size, 1, 1}}, 0.0, false)(0, 0) != 1.0;
    };
    EXPECT_TRUE(isScaled3(9.9e4));
    EXPECT_FALSE(isScaled3(1.01e5));
    using Box2 = AxisAlignedBoundingBox<2, double>;
    const auto isScaled2 = [](double size) {
        return UnitSpaceMapping(Box2{{0, 0}, {size, 1}}, 0.0, false)(0, 0) != 1.0;
    };
    EXPECT_TRUE(isScaled2(3.1e7));
    EXPECT_FALSE(isScaled2(3.2e7));
    const auto map = UnitSpaceMapping(Box3{{0, 0, 0}, {2e5, 1, 1}}, 0.0, false);
    EXPECT_EQ((map * Vec3d{0, 0, 0})[0], 0.5 - 1e5);
}

TEST(UnitSpaceMapping, FactorAtTheFloorIsRefused)
{
    // A factor of 1e-12 itself is refused; in the plane the other axis may bring the product up.
    using Box = AxisAlignedBoundingBox<2, double>;
    EXPECT_EQ((UnitSpaceMapping(Box{{0, 0}, {1e12, 1e-6}}, 0.0, true)(0, 0)), 1.0);
    EXPECT_NE((UnitSpaceMapping(Box{{0, 0}, {9e11, 1e-6}}, 0.0, true)(0, 0)), 1.0);
}

TYPED_TEST(BoxesOf, HostileBoxesDoNoHarm)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    for (const bool perAxis : {false, true}) {
        std::ignore = UnitSpaceMapping(AxisAlignedBoundingBox<D, T>{}, T(1), perAxis);
        std::ignore = UnitSpaceMapping(OddBox<D, T>(), nan, perAxis);
        auto box = OddBox<D, T>();
        box.max[0] = std::numeric_limits<T>::infinity();
        std::ignore = UnitSpaceMapping(box, T(1), perAxis);
        box.max[0] = nan;
        // No factor that is a number: no scale.
        EXPECT_EQ((UnitSpaceMapping(box, T(1), true)(1, 1)), 1.0);
    }
}

TYPED_TEST(BoxesOf, GridWithoutInnerSamplesIsTheCornersXFastest)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const AxisAlignedBoundingBox<D, T> unit{All<D, T>(T(0)), All<D, T>(T(1))};
    const auto points = GridOfPoints(unit, std::array<unsigned int, D>{});
    ASSERT_EQ(points.size(), std::size_t{1} << D);
    for (unsigned int n = 0; n < points.size(); ++n) {
        for (int axis = 0; axis < D; ++axis) {
            EXPECT_EQ(points[n][axis], static_cast<T>((n >> axis) & 1U));
        }
    }
}

TYPED_TEST(BoxesOf, GridHasCountPlusTwoSamplesOnEachAxis)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const auto box = OddBox<D, T>(); // extents 8, 4, 2
    std::array<unsigned int, D> counts{};
    counts[0] = 3;
    counts[1] = 1;
    const auto points = GridOfPoints(box, counts);
    ASSERT_EQ(points.size(), D == 2 ? 15U : 30U); // 5 x 3 (x 2)
    for (std::size_t n = 0; n < points.size(); ++n) {
        EXPECT_EQ(points[n][0], static_cast<T>(3 + 2 * (n % 5)));
        EXPECT_EQ(points[n][1], static_cast<T>(3 + 2 * (n / 5 % 3)));
        if constexpr (D == 3) {
            EXPECT_EQ(points[n][2], static_cast<T>(3 + 2 * (n / 15)));
        }
    }
}

TYPED_TEST(BoxesOf, GridThatCannotBeHeldThrows)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    std::array<unsigned int, D> counts;
    counts.fill(0xffffffffU);
    // Counts are widened before anything is added to them, so that none wraps to a small number.
    EXPECT_THROW(GridOfPoints(OddBox<D, T>(), counts), std::length_error);
}

// Where points that coincide have their ball at the origin or none, this one is where they are.
TYPED_TEST(BoxesOf, EnclosingBallOfPointsInOnePlaceIsThere)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using V = VecBase<D, T>;
    EXPECT_EQ(EnclosingBall(std::vector<V>{}), (BoundingBall<D, T>{}));
    for (const T place : {T(0), T(1) / T(3), T(-1e6), T(1e30), std::numeric_limits<T>::max()}) {
        V a = All<D, T>(place);
        a[1] = -a[1];
        for (const std::size_t count : {1U, 2U, 3U, 10U, 11U, 300U, 5000U}) {
            EXPECT_EQ(EnclosingBall(std::vector<V>(count, a)), (BoundingBall<D, T>{a, T(0)}))
                << place << ' ' << count;
        }
    }
    // Apart, but by so little that they count as one: 3-4-5 triangles, whose longest edge is the
    // diameter.
    const T unit = kLengthFloor<T> / 16;
    for (const int copies : {1, 2, 40}) {
        V a;
        V b;
        a[0] = 3 * unit;
        b[1] = 4 * unit;
        std::vector<V> points;
        for (int i = 0; i < copies; ++i) {
            points.insert(points.end(), {V{}, a, b});
        }
        const auto ball = EnclosingBall(points);
        EXPECT_NEAR(ball.center[0] / unit, 1.5, 1e-5);
        EXPECT_NEAR(ball.center[1] / unit, 2, 1e-5);
        EXPECT_NEAR(ball.radius / unit, 2.5, 1e-5);
    }
}

TYPED_TEST(BoxesOf, EnclosingBallOfPointsApartIsTheSmallestOne)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using V = VecBase<D, T>;
    V a = All<D, T>(T(1));
    V b = a;
    b[1] = T(5);
    V middle = a;
    middle[1] = T(3);
    // Doubled points do no harm, in any order and number.
    for (const auto& points :
         {std::vector<V>{a, b}, std::vector<V>{a, a, b}, std::vector<V>{b, a, a, b, a},
          std::vector<V>{a, b, a, a, a, a, a, a, a, a, a, a, a, a}}) {
        EXPECT_EQ(EnclosingBall(points), (BoundingBall<D, T>{middle, T(2)})) << points.size();
    }
    const T nan = std::numeric_limits<T>::quiet_NaN();
    EnclosingBall(std::vector<V>{a, All<D, T>(nan)}); // ends
    EnclosingBall(std::vector<V>(40, All<D, T>(nan)));
    EnclosingBall(std::vector<V>(20, All<D, T>(std::numeric_limits<T>::infinity())));
}

// In one place along one axis alone is apart, and to the bit what the functions for such points
// give.
TYPED_TEST(BoxesOf, EnclosingBallOfPointsInOnePlaneIsThatOfPointsApart)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    using V = VecBase<D, T>;
    Support::Random random(12);
    const V base = All<D, T>(T(0.3));
    for (int axis = 0; axis < D; ++axis) {
        for (const int count : {3, 7, 30, 100}) {
            std::vector<V> points;
            for (int i = 0; i < count; ++i) {
                V p = base + random.template Vector<D, T>(-1, 1);
                p[axis] = base[axis];
                points.push_back(p);
            }
            const BoundingBall<D, T> ball = EnclosingBall(points);
            if constexpr (D == 2) {
                EXPECT_EQ(ball, BoundingCircleOfPoints(points, false)) << axis << ' ' << count;
            } else {
                EXPECT_EQ(ball, BoundingSphereOfPoints(points, false)) << axis << ' ' << count;
            }
        }
    }
}

} // namespace
