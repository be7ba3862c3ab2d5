// Area, shape and angles from lengths, against closed forms and exact integer references.

#include <Sorvane/Triangle_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;

__extension__ using Wide = __int128;

template <class T>
class TriangleMeasuresOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(TriangleMeasuresOf, Scalars);

template <class T>
constexpr T kEpsilon = std::numeric_limits<T>::epsilon();

/// Integer edge lengths: every product below is exact in 128 bits, so only the final root and
/// quotient are rounded, in long double.
struct IntegerTriangle {
    long long a, b, c;
};

long double ExactArea(const IntegerTriangle& t)
{
    const Wide product =
        Wide{t.a + t.b + t.c} * (t.b + t.c - t.a) * (t.a + t.c - t.b) * (t.a + t.b - t.c);
    return product > 0 ? std::sqrt(static_cast<long double>(product)) / 4 : 0;
}

/// Angle opposite c by tan^2(C / 2) = (c - a + b)(c + a - b) / ((a + b + c)(a + b - c)).
long double ExactAngle(const IntegerTriangle& t)
{
    const Wide opposite = Wide{t.c - t.a + t.b} * (t.c + t.a - t.b);
    const Wide adjacent = Wide{t.a + t.b + t.c} * (t.a + t.b - t.c);
    return 2 * std::atan2(std::sqrt(static_cast<long double>(opposite)),
                          std::sqrt(static_cast<long double>(adjacent)));
}

/// Needles, caps, near-flat and ordinary shapes; lengths below 2^22 are exact in float, too.
std::vector<IntegerTriangle> Shapes()
{
    std::vector<IntegerTriangle> shapes{
        {3, 4, 5},
        {4'000'000, 4'000'000, 1},         // needle
        {4'000'000, 3'999'999, 2},         // flat needle: 1 short of breaking
        {2'000'000, 2'000'001, 4'000'000}, // cap: 1 short of flat
        {2'000'001, 2'000'000, 4'000'000},
        {1, 4'000'000, 4'000'000},
        {1'000'000, 3'000'001, 4'000'000},
    };
    Support::Random random(21);
    for (int i = 0; i < 2000; ++i) {
        const long long a = 1 + random.Below(2'000'000);
        const long long b = 1 + random.Below(2'000'000);
        const long long low = std::abs(a - b) + 1;
        const long long high = a + b - 1;
        // Half of them within a few units of breaking the triangle inequality.
        const long long room = std::max(1LL, high - low + 1);
        const long long close = std::min(room, 5LL);
        const long long c = i % 4 == 0   ? low + random.Below(static_cast<int>(close))
                            : i % 4 == 1 ? high - random.Below(static_cast<int>(close))
                                         : low + random.Below(static_cast<int>(room));
        shapes.push_back({a, b, c});
    }
    return shapes;
}

// --- area ---------------------------------------------------------------------------------------

TYPED_TEST(TriangleMeasuresOf, IntrinsicAreaClosedForms)
{
    using T = TypeParam;
    EXPECT_EQ(Mesh::IntrinsicArea(T{3}, T{4}, T{5}), T{6});
    EXPECT_EQ(Mesh::IntrinsicArea(T{5}, T{3}, T{4}), T{6});
    EXPECT_EQ(Mesh::IntrinsicArea(T{13}, T{14}, T{15}), T{84}); // the Heronian 13-14-15
    EXPECT_NEAR(Mesh::IntrinsicArea(T{2}, T{2}, T{2}), std::sqrt(3.0), 4 * kEpsilon<T>);
}

TYPED_TEST(TriangleMeasuresOf, IntrinsicAreaOfFlatOrBrokenLengthsIsZero)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    EXPECT_EQ(Mesh::IntrinsicArea(T{1}, T{1}, T{2}), T{0});
    EXPECT_EQ(Mesh::IntrinsicArea(T{1}, T{1}, T{3}), T{0});
    EXPECT_EQ(Mesh::IntrinsicArea(T{10}, T{1}, T{2}), T{0});
    EXPECT_EQ(Mesh::IntrinsicArea(T{0}, T{0}, T{0}), T{0});
    EXPECT_EQ(Mesh::IntrinsicArea(T{1}, T{1}, T{0}), T{0});
    EXPECT_EQ(Mesh::IntrinsicArea(nan, T{1}, T{1}), T{0});
    EXPECT_EQ(Mesh::IntrinsicArea(T{1}, nan, T{1}), T{0});
    EXPECT_EQ(Mesh::IntrinsicArea(T{1}, T{1}, nan), T{0});
}

TYPED_TEST(TriangleMeasuresOf, IntrinsicAreaOfNeedlesAndCapsAgainstExactIntegers)
{
    using T = TypeParam;
    for (const IntegerTriangle& t : Shapes()) {
        SCOPED_TRACE(testing::Message() << t.a << ' ' << t.b << ' ' << t.c);
        std::array<long long, 3> order{t.a, t.b, t.c};
        std::sort(order.begin(), order.end());
        const long double exact = ExactArea(t);
        do {
            const T area = Mesh::IntrinsicArea(static_cast<T>(order[0]), static_cast<T>(order[1]),
                                               static_cast<T>(order[2]));
            // Kahan's bound is a few roundings, whatever the shape.
            EXPECT_NEAR(static_cast<double>(area / exact), 1.0, 5 * kEpsilon<T>);
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

// --- shape --------------------------------------------------------------------------------------

template <class F>
class AspectRatioOf : public testing::Test {
};
using Points =
    testing::Types<VecBase<2, float>, VecBase<2, double>, VecBase<3, float>, VecBase<3, double>>;
TYPED_TEST_SUITE(AspectRatioOf, Points);

/// The point (x, y), in space somewhere on a slanted plane of orthonormal directions.
template <class V>
V P(double x, double y)
{
    using T = typename V::value_type;
    V p;
    if constexpr (V::size() == 2) {
        p = V{x, y};
    } else {
        p = V{0.6 * x, y, T(1) + 0.8 * x};
    }
    return p;
}

TYPED_TEST(AspectRatioOf, ClosedForms)
{
    using V = TypeParam;
    const double close = 8 * kEpsilon<typename V::value_type>;
    const auto ratio = [](const V& a, const V& b, const V& c) {
        return Mesh::AspectRatio(a, b, c);
    };
    EXPECT_NEAR(ratio(P<V>(0, 0), P<V>(1, 0), P<V>(0.5, std::sqrt(0.75))), 1.0, close);
    EXPECT_NEAR(ratio(P<V>(0, 0), P<V>(4, 0), P<V>(0, 3)), 0.8, close); // 2 * 1 / 2.5
    // Right isosceles of leg 1: r = 1 - sqrt(1/2), R = sqrt(1/2).
    EXPECT_NEAR(ratio(P<V>(1, 1), P<V>(2, 1), P<V>(1, 2)), 2 * std::sqrt(2.0) - 2, close);
}

TYPED_TEST(AspectRatioOf, ZeroForFlatAndCoincidentCorners)
{
    using V = TypeParam;
    using T = typename V::value_type;
    EXPECT_EQ(Mesh::AspectRatio(P<V>(0, 0), P<V>(0, 2), P<V>(0, 1)), T{0});
    EXPECT_EQ(Mesh::AspectRatio(P<V>(1, 1), P<V>(1, 1), P<V>(5, 2)), T{0});
    EXPECT_EQ(Mesh::AspectRatio(P<V>(1, 1), P<V>(1, 1), P<V>(1, 1)), T{0});
    V nan = P<V>(1, 1);
    nan[1] = std::numeric_limits<T>::quiet_NaN();
    EXPECT_EQ(Mesh::AspectRatio(nan, P<V>(0, 0), P<V>(5, 2)), T{0});
    EXPECT_EQ(Mesh::AspectRatio(P<V>(0, 0), nan, P<V>(5, 2)), T{0});
    EXPECT_EQ(Mesh::AspectRatio(P<V>(0, 0), P<V>(5, 2), nan), T{0});
}

TYPED_TEST(AspectRatioOf, SameForEveryOrderOfCorners)
{
    using V = TypeParam;
    using T = typename V::value_type;
    Support::Random random(5);
    for (int i = 0; i < 500; ++i) {
        std::array<V, 3> corner;
        for (V& c : corner) {
            c = random.Vector<V::size(), T>(-3, 3);
        }
        const T ratio = Mesh::AspectRatio(corner[0], corner[1], corner[2]);
        EXPECT_EQ(Mesh::AspectRatio(corner[1], corner[2], corner[0]), ratio);
        EXPECT_EQ(Mesh::AspectRatio(corner[2], corner[1], corner[0]), ratio);
        // Powers of two scale exactly.
        EXPECT_EQ(Mesh::AspectRatio(corner[0] * T(1024), corner[1] * T(1024), corner[2] * T(1024)),
                  ratio);
        // 2 r / R = 8 A^2 / (s a b c), with the area by the cross product.
        using W = VecBase<V::size(), double>;
        const W u = W(corner[1]) - W(corner[0]);
        const W v = W(corner[2]) - W(corner[0]);
        const double la = Length(u);
        const double lb = Length(v);
        const double lc = Length(u - v);
        const double fourAreasSquared = (u * u) * (v * v) - (u * v) * (u * v);
        const double expected = 4 * fourAreasSquared / ((la + lb + lc) * la * lb * lc);
        EXPECT_NEAR(ratio, expected, 100 * kEpsilon<T>);
        EXPECT_GE(ratio, T{0});
        EXPECT_LE(ratio, T{1} + 8 * kEpsilon<T>);
    }
}

TYPED_TEST(AspectRatioOf, EveryStepIsTakenInTheTypeOfTheCorners)
{
    using V = TypeParam;
    using T = typename V::value_type;
    Support::Random random(18);
    for (int i = 0; i < 500; ++i) {
        std::array<V, 3> corner;
        for (V& p : corner) {
            p = random.Vector<V::size(), T>(-3, 3);
        }
        std::array<T, 3> length{Length(corner[1] - corner[0]), Length(corner[2] - corner[1]),
                                Length(corner[0] - corner[2])};
        std::sort(length.begin(), length.end());
        const auto [c, b, a] = length;
        const T first = (b - c) + a;
        const T second = (a - b) + c;
        const T third = c - (a - b);
        const T product = first * second * third;
        const T box = a * b * c;
        EXPECT_EQ(Mesh::AspectRatio(corner[0], corner[1], corner[2]),
                  product > 0 ? product / box : T{0});
    }
}

// --- angles -------------------------------------------------------------------------------------

TYPED_TEST(TriangleMeasuresOf, OppositeEdgeAngleClosedForms)
{
    using T = TypeParam;
    const double close = 4 * kEpsilon<T>;
    // The middle argument is the opposite side.
    EXPECT_NEAR(Mesh::OppositeEdgeAngle(T{3}, T{5}, T{4}), kPi<double> / 2, close);
    EXPECT_NEAR(Mesh::OppositeEdgeAngle(T{5}, T{3}, T{4}), std::atan(0.75), close);
    EXPECT_NEAR(Mesh::OppositeEdgeAngle(T{3}, T{4}, T{5}), std::atan(4.0 / 3.0), close);
    EXPECT_NEAR(Mesh::OppositeEdgeAngle(T{2}, T{2}, T{2}), kPi<double> / 3, close);
}

TYPED_TEST(TriangleMeasuresOf, OppositeEdgeAngleOfFlatTriangles)
{
    using T = TypeParam;
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, T{3}, T{2}), kPi<T>); // c = x + y
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{2}, T{0}, T{2}), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, T{2}, T{3}), T{0}); // c = y - x
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{0}, T{2}, T{0}), kPi<T>);
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{0}, T{0}, T{0}), T{0});
}

TYPED_TEST(TriangleMeasuresOf, OppositeEdgeAngleOfBrokenTriangles)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, T{9}, T{2}), kPi<T>); // too long
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, T{1}, T{9}), T{0});   // too short
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{9}, T{1}, T{1}), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, T{-1}, T{1}), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{-1}, T{1}, T{1}), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(nan, T{1}, T{1}), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, nan, T{1}), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, T{1}, nan), T{0});
}

TYPED_TEST(TriangleMeasuresOf, OppositeEdgeAngleOfSidesOfAnySizeIsAnAngle)
{
    using T = TypeParam;
    const T inf = std::numeric_limits<T>::infinity();
    EXPECT_EQ(Mesh::OppositeEdgeAngle(inf, T{1}, T{1}), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, T{1}, inf), T{0});
    EXPECT_EQ(Mesh::OppositeEdgeAngle(T{1}, inf, T{1}), kPi<T>);
    const std::array<T, 6> sides{0, std::numeric_limits<T>::denorm_min(), 1,
                                 2, std::numeric_limits<T>::max(),        inf};
    for (const T a : sides) {
        for (const T b : sides) {
            for (const T c : sides) {
                const T angle = Mesh::OppositeEdgeAngle(a, c, b);
                EXPECT_TRUE(angle >= 0 && angle <= kPi<T>) << a << ' ' << c << ' ' << b;
            }
        }
    }
}

TYPED_TEST(TriangleMeasuresOf, OppositeEdgeAngleAgainstExactIntegers)
{
    using T = TypeParam;
    for (const IntegerTriangle& t : Shapes()) {
        SCOPED_TRACE(testing::Message() << t.a << ' ' << t.b << ' ' << t.c);
        const long double exact = ExactAngle(t);
        const T angle =
            Mesh::OppositeEdgeAngle(static_cast<T>(t.a), static_cast<T>(t.c), static_cast<T>(t.b));
        EXPECT_NEAR(static_cast<double>(angle / exact), 1.0, 6 * kEpsilon<T>);
        EXPECT_EQ(angle, Mesh::OppositeEdgeAngle(static_cast<T>(t.b), static_cast<T>(t.c),
                                                 static_cast<T>(t.a)));
    }
}

TYPED_TEST(AspectRatioOf, OppositeEdgeAngleOfPointsIsAtTheFirst)
{
    using V = TypeParam;
    const double close = 8 * kEpsilon<typename V::value_type>;
    const V a = P<V>(0, 0);
    const V b = P<V>(4, 0);
    const V c = P<V>(0, 3);
    EXPECT_NEAR(Mesh::OppositeEdgeAngle(a, b, c), kPi<double> / 2, close);
    EXPECT_NEAR(Mesh::OppositeEdgeAngle(b, c, a), std::atan(0.75), close);
    EXPECT_NEAR(Mesh::OppositeEdgeAngle(c, a, b), std::atan(4.0 / 3.0), close);
}

TYPED_TEST(TriangleMeasuresOf, OppositeEdgeLengthInvertsTheAngle)
{
    using T = TypeParam;
    EXPECT_NEAR(Mesh::OppositeEdgeLength(T{3}, T{4}, kPi<T> / 2), 5, 8 * kEpsilon<T>);
    EXPECT_EQ(Mesh::OppositeEdgeLength(T{3}, T{5}, T{0}), T{2});
    EXPECT_NEAR(Mesh::OppositeEdgeLength(T{3}, T{5}, kPi<T>), 8, 8 * kEpsilon<T>);
    // A needle: the chord 2 sin(angle / 2), which the plain law of cosines would lose altogether.
    const T tiny = static_cast<T>(1e-6);
    const double chord = 2 * std::sin(static_cast<double>(tiny) / 2);
    EXPECT_NEAR(Mesh::OppositeEdgeLength(T{1}, T{1}, tiny) / chord, 1.0, 4 * kEpsilon<T>);
    Support::Random random(2);
    for (int i = 0; i < 500; ++i) {
        const T a = static_cast<T>(random.Between(0.1, 10));
        const T b = static_cast<T>(random.Between(0.1, 10));
        const T angle = static_cast<T>(random.Between(0.1, 3));
        const T c = Mesh::OppositeEdgeLength(a, b, angle);
        EXPECT_NEAR(Mesh::OppositeEdgeAngle(a, c, b), angle, 200 * kEpsilon<T>);
    }
}

// Float measures are float throughout: widening would change which edges are flipped. The twins
// below are the formulas for lengths in descending order, step by step in T.
TYPED_TEST(TriangleMeasuresOf, EveryStepIsTakenInTheTypeOfTheLengths)
{
    using T = TypeParam;
    Support::Random random(17);
    for (int i = 0; i < 500; ++i) {
        const T a = static_cast<T>(random.Between(3, 4));
        const T b = static_cast<T>(random.Between(2, 3));
        const T c = static_cast<T>(random.Between(1.5, 2)); // within reach except for a > b + c
        const T difference = a - b;
        const T sum = a + (b + c);
        const T left = c - difference;
        const T right = c + difference;
        const T rest = a + (b - c);
        const T product = sum * left * right * rest;
        const T root = std::sqrt(product);
        EXPECT_EQ(Mesh::IntrinsicArea(b, c, a), product > 0 ? root / 4 : T{0});
        if (!(left > 0)) {
            continue;
        }
        const T perimeter = a + b + c;
        const T reach = (a - c) + b;
        const T denominator = perimeter * reach;
        const T spread = difference + c;
        const T half = std::atan(std::sqrt(left / denominator * spread));
        EXPECT_EQ(Mesh::OppositeEdgeAngle(a, c, b), 2 * half);
        EXPECT_EQ(Mesh::OppositeEdgeAngle(b, c, a), 2 * half);
    }
}

// --- flip criterion -----------------------------------------------------------------------------

TYPED_TEST(TriangleMeasuresOf, LocallyDelaunayEdgeOfKites)
{
    using T = TypeParam;
    // Two equilateral triangles: 2 pi / 3 together. Two flat ones on a common base: nearly 2 pi.
    EXPECT_TRUE(Mesh::LocallyDelaunayEdge(T{1}, T{1}, T{1}, T{1}, T{1}, T{0}));
    EXPECT_FALSE(Mesh::LocallyDelaunayEdge(T(1.9375), T{1}, T{1}, T{1}, T{1}, T{0}));
    // The slack is an angle added to pi: here the sum is 4 pi / 3 (sides 1, base sqrt 3).
    const T base = std::sqrt(T{3});
    EXPECT_FALSE(Mesh::LocallyDelaunayEdge(base, T{1}, T{1}, T{1}, T{1}, T{1}));
    EXPECT_TRUE(Mesh::LocallyDelaunayEdge(base, T{1}, T{1}, T{1}, T{1}, T(1.0625)));
}

TYPED_TEST(TriangleMeasuresOf, LocallyDelaunayEdgeTakesEachTrianglesOwnSides)
{
    using T = TypeParam;
    // One triangle 3-4-5 with a right angle opposite the edge, the other 5 with sides 5 and 5 (pi /
    // 3), and then with sides 2.75 and 2.75, whose angle is over pi / 2. A mix of the sides would
    // differ.
    EXPECT_TRUE(Mesh::LocallyDelaunayEdge(T{5}, T{3}, T{4}, T{5}, T{5}, T{0}));
    EXPECT_FALSE(Mesh::LocallyDelaunayEdge(T{5}, T{3}, T{4}, T(2.75), T(2.75), T{0}));
    EXPECT_FALSE(Mesh::LocallyDelaunayEdge(T{5}, T(2.75), T(2.75), T{4}, T{3}, T{0}));
}

// The two angles of a unit square's diagonal are exactly pi / 2 each in double; for other sides,
// and in float, rounding of the square root decides.
TEST(LocallyDelaunayEdge, UnitSquareDiagonalIsNotStrictlyLess)
{
    EXPECT_FALSE(Mesh::LocallyDelaunayEdge(std::sqrt(2.0), 1.0, 1.0, 1.0, 1.0, 0.0));
    EXPECT_TRUE(Mesh::LocallyDelaunayEdge(std::sqrt(2.0), 1.0, 1.0, 1.0, 1.0, 1e-9));
}

TYPED_TEST(TriangleMeasuresOf, LocallyDelaunayEdgeAgreesWithTheCircle)
{
    using T = TypeParam;
    // p3 outside the circumcircle of p0 p1 p2 exactly when the edge p0p1 is Delaunay.
    Support::Random random(8);
    int decided = 0;
    for (int i = 0; i < 1000; ++i) {
        const Vec2d p0{-1, 0};
        const Vec2d p1{1, 0};
        const Vec2d p2{random.Between(-2, 2), random.Between(0.2, 3)};
        const Vec2d p3{random.Between(-2, 2), -random.Between(0.2, 3)};
        // Circle through (-1, 0), (1, 0) and p2: center (0, m).
        const double m = (p2 * p2 - 1) / (2 * p2[1]);
        const double outside = Length(p3 - Vec2d{0, m}) - std::sqrt(1 + m * m);
        if (std::abs(outside) < 1e-3) {
            continue;
        }
        ++decided;
        const auto side = [](const Vec2d& a, const Vec2d& b) {
            return static_cast<T>(Length(a - b));
        };
        EXPECT_EQ(Mesh::LocallyDelaunayEdge(side(p0, p1), side(p1, p2), side(p2, p0), side(p0, p3),
                                            side(p3, p1), T{0}),
                  outside > 0);
    }
    EXPECT_GT(decided, 900);
}

} // namespace
