// The vector type: layout, arithmetic, and its behavior at 0, at infinity and at the tolerance.

#include <Velk/Math/VecBase_E.h>

#include "tests/support/TestSupport.h"

#include <numeric>
#include <sstream>
#include <unordered_set>

namespace {

using namespace Velk::Math;

template <class T>
class VecBaseOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(VecBaseOf, Scalars);

static_assert(std::is_trivially_copyable_v<VecBase<3, double>>);
static_assert(std::is_standard_layout_v<VecBase<8, unsigned long long>>);
static_assert(sizeof(VecBase<3, float>) == 3 * sizeof(float));
static_assert(sizeof(VecBase<8, long long>) == 8 * sizeof(long long));
static_assert(VecBase<4, int>{1, 2, 3, 4} * VecBase<4, int>{5, 6, 7, 8} == 70);
static_assert((Vec3d{1, 0, 0} ^ Vec3d{0, 1, 0}) == Vec3d{0, 0, 1});
static_assert((Vec2d{2, 3} ^ Vec2d{5, 7}) == -1.0);

/// What every form promises at compile time: N values and nothing else, zero by default,
/// arithmetic.
template <int N, class T>
constexpr bool HoldsAsAPlainValue()
{
    static_assert(std::is_trivially_copyable_v<VecBase<N, T>>);
    static_assert(std::is_standard_layout_v<VecBase<N, T>>);
    static_assert(sizeof(VecBase<N, T>) == N * sizeof(T) && alignof(VecBase<N, T>) == alignof(T));
    VecBase<N, T> v;
    for (const T c : v) {
        if (c != T{0}) {
            return false;
        }
    }
    for (int i = 0; i < N; ++i) {
        v[i] = static_cast<T>(i + 1);
    }
    const VecBase<N, T> twice = v * T{2};
    VecBase<N, T> sum = v;
    sum += v;
    VecBase<N, T> difference = twice;
    difference -= v;
    // 1 + 4 + 9 + ... of the first N numbers
    return sum == twice && v + v == twice && difference == v && twice - v == v &&
           twice / T{2} == v && T{2} * v == twice && -v + v == VecBase<N, T>{} &&
           v * v == static_cast<T>(N * (N + 1) * (2 * N + 1) / 6) &&
           Vector::SquaredLength(v) == v * v && v.component + 1 == &v[1];
}

template <class T>
constexpr bool kHoldsInEveryDimension = HoldsAsAPlainValue<2, T>() && HoldsAsAPlainValue<3, T>() &&
                                        HoldsAsAPlainValue<4, T>() && HoldsAsAPlainValue<8, T>();
static_assert(kHoldsInEveryDimension<float> && kHoldsInEveryDimension<double>);
static_assert(kHoldsInEveryDimension<int> && kHoldsInEveryDimension<long long>);
static_assert(kHoldsInEveryDimension<unsigned long long>);

// The floors that callers rely on, and their squares.
static_assert(kLengthFloor<double> == 1e-12 && kLengthFloor<float> == 1e-8F);
static_assert(kSquaredLengthFloor<double> == 1e-24 && kSquaredLengthFloor<float> == 1e-16F);
static_assert(kInversionFloor == 1e-15);

TEST(VecBase, DefaultIsZeroInEveryForm)
{
    EXPECT_EQ((VecBase<2, int>{}), (VecBase<2, int>{0, 0}));
    EXPECT_EQ((VecBase<8, unsigned long long>{})[7], 0U);
    EXPECT_EQ(Vec3f{}.z(), 0.0F);
}

TEST(VecBase, AccessorsReferToTheComponents)
{
    VecBase<4, long long> v{1, 2, 3, 4};
    v.x() = 10;
    v.w() = 40;
    EXPECT_EQ(v, (VecBase<4, long long>{10, 2, 3, 40}));
    EXPECT_EQ(std::accumulate(v.begin(), v.end(), 0LL), 55);
    EXPECT_EQ(v.data() + 4, v.end());
    EXPECT_EQ(v.size(), 4);
}

TYPED_TEST(VecBaseOf, Arithmetic)
{
    using V = VecBase<3, TypeParam>;
    const V a{1, -2, 3};
    const V b{4, 5, -6};
    EXPECT_EQ(a + b, (V{5, 3, -3}));
    EXPECT_EQ(a - b, (V{-3, -7, 9}));
    EXPECT_EQ(-a, (V{-1, 2, -3}));
    EXPECT_EQ(a * TypeParam{2}, (V{2, -4, 6}));
    EXPECT_EQ(TypeParam{2} * a, (V{2, -4, 6}));
    EXPECT_EQ(b / TypeParam{2}, (V{2, 2.5, -3}));
    EXPECT_EQ(a * b, TypeParam{-24}); // 4 - 10 - 18
    EXPECT_EQ(a ^ b, (V{-3, 18, 13}));
}

TYPED_TEST(VecBaseOf, DivisionDividesEachComponent)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    // x * (1 / d) is the neighbor of x / d for one quotient in four.
    Support::Random random(13);
    for (int i = 0; i < 1000; ++i) {
        const auto v = random.Vector<2, T>(-100, 100);
        const auto divisor = static_cast<T>(random.Between(0.1, 100));
        EXPECT_EQ(v / divisor, (V{v.x() / divisor, v.y() / divisor}));
    }
}

TYPED_TEST(VecBaseOf, DotProductIsAccumulatedFromZeroInComponentOrder)
{
    using T = TypeParam;
    // 2^60 swallows a 1 in either type: (1 + big) - big is 0, from the other end it would be 1.
    const T big = 0x1p60F;
    EXPECT_EQ((VecBase<3, T>{1, big, -big} * VecBase<3, T>{1, 1, 1}), T{0});
    EXPECT_EQ((VecBase<3, T>{big, -big, 1} * VecBase<3, T>{1, 1, 1}), T{1});
    // 0 + -0 is 0: a sum that began with the first product would be -0.
    EXPECT_FALSE(std::signbit(VecBase<2, T>{0, 0} * VecBase<2, T>{-1, -1}));
}

TYPED_TEST(VecBaseOf, DivisionByZeroIsNanInEveryComponent)
{
    for (const TypeParam zero : {TypeParam{0}, -TypeParam{0}}) {
        const auto v = VecBase<3, TypeParam>{1, 0, -5} / zero;
        for (const TypeParam c : v) {
            EXPECT_TRUE(std::isnan(c));
        }
    }
}

TEST(VecBase, IntegerDivisionByZeroDoesNotFault)
{
    EXPECT_EQ((VecBase<2, int>{3, -4} / 0), (VecBase<2, int>{0, 0}));
    EXPECT_EQ((VecBase<2, unsigned long long>{3, 4} / 0ULL), (VecBase<2, unsigned long long>{}));
}

TYPED_TEST(VecBaseOf, CrossIsExactlyAntisymmetric)
{
    Support::Random random(11);
    for (int i = 0; i < 1000; ++i) {
        const auto a = random.Vector<3, TypeParam>(-1e3, 1e3);
        const auto b = random.Vector<3, TypeParam>(-1e-3, 1e3);
        EXPECT_EQ(a ^ b, -(b ^ a));
        EXPECT_EQ(a ^ a, (VecBase<3, TypeParam>{}));
        const VecBase<2, TypeParam> p{a.x(), a.y()};
        const VecBase<2, TypeParam> q{b.x(), b.y()};
        EXPECT_EQ(p ^ q, -(q ^ p));
    }
}

TYPED_TEST(VecBaseOf, RightNormalIsAQuarterTurnClockwise)
{
    using V = VecBase<2, TypeParam>;
    EXPECT_EQ(Vector::RightNormal(V{1, 0}), (V{0, -1})); // looking along x, the right hand is at -y
    EXPECT_EQ(Vector::RightNormal(V{0, 1}), (V{1, 0}));
    const V d{3, 4};
    EXPECT_EQ(Vector::RightNormal(d) * d, TypeParam{0});
    EXPECT_EQ(d ^ Vector::RightNormal(d), -TypeParam{25}); // to the right: clockwise, of the same length
}

TYPED_TEST(VecBaseOf, LengthIsTheRootOfTheSquaredLength)
{
    using T = TypeParam;
    EXPECT_EQ(Vector::Length(VecBase<2, T>{3, 4}), T{5});
    EXPECT_EQ(Vector::SquaredLength(VecBase<3, T>{1, 2, 2}), T{9});
    const T huge = std::numeric_limits<T>::max();
    EXPECT_EQ(Vector::Length(VecBase<2, T>{huge, 0}), std::numeric_limits<T>::infinity());
}

TYPED_TEST(VecBaseOf, NormalizingAtTheToleranceGivesZero)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const T tolerance = T{0.25};
    EXPECT_EQ(Vector::Normalized(V{tolerance, 0, 0}, tolerance), V{});
    const T above = std::nextafter(tolerance, T{1});
    EXPECT_NEAR(Vector::Length(Vector::Normalized(V{above, 0, 0}, tolerance)), T{1},
                2 * std::numeric_limits<T>::epsilon());
    EXPECT_EQ(Vector::Normalized(V{}, T{0}), V{});
}

TYPED_TEST(VecBaseOf, NormalizingMultipliesByTheReciprocal)
{
    using T = TypeParam;
    Support::Random random(12);
    for (int i = 0; i < 1000; ++i) {
        const auto v = random.Vector<3, T>(-100, 100);
        EXPECT_EQ(Vector::Normalized(v, kLengthFloor<T>), v * (T{1} / Vector::Length(v)));
    }
}

TYPED_TEST(VecBaseOf, NormalizingNeverGivesNan)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const T inf = std::numeric_limits<T>::infinity();
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T max = std::numeric_limits<T>::max();
    for (const V& v : {V{inf, 1, 0}, V{-inf, inf, 0}, V{nan, 1, 0}, V{max, max, 0}}) {
        EXPECT_EQ(Vector::Normalized(v, kLengthFloor<T>), V{});
    }
    EXPECT_EQ(Vector::Normalized(V{1, 0, 0}, nan), V{});
    // A negative tolerance lets length 0 pass; that of `vanishing` underflows to 0.
    const T vanishing = std::numeric_limits<T>::denorm_min();
    for (const T tolerance : {T{0}, T{-1}, -inf}) {
        EXPECT_EQ(Vector::Normalized(V{}, tolerance), V{});
        EXPECT_EQ(Vector::Normalized(V{vanishing, 0, -vanishing}, tolerance), V{});
    }
}

TYPED_TEST(VecBaseOf, MatchesIsPerCoordinateAndInclusive)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    EXPECT_TRUE(Vector::Matches(V{0, 0}, V{1, -1}, T{1})); // Euclidean distance is 1.41
    EXPECT_FALSE(Vector::Matches(V{0, 0}, V{0, std::nextafter(T{1}, T{2})}, T{1}));
    EXPECT_TRUE(Vector::Matches(V{1, 2}, V{1, 2}, T{0}));
    EXPECT_FALSE(Vector::Matches(V{1, 2}, V{1, 2}, T{-1}));
    EXPECT_FALSE(Vector::Matches(V{nan, 2}, V{nan, 2}, T{1}));
    EXPECT_FALSE(Vector::Matches(V{1, 2}, V{1, 2}, nan));
}

TYPED_TEST(VecBaseOf, EqualVectorsHashAlike)
{
    using V = VecBase<2, TypeParam>;
    const std::hash<V> hash;
    EXPECT_EQ(hash(V{0, 1}), hash(V{-TypeParam{0}, 1}));
    std::unordered_set<std::size_t> hashes;
    for (int i = 0; i < 100; ++i) {
        for (int j = 0; j < 100; ++j) {
            hashes.insert(hash(V{i, j}));
        }
    }
    EXPECT_GT(hashes.size(), 9'990U); // chance collisions of 64-bit values: none expected
}

TEST(VecBase, StreamsReadably)
{
    std::ostringstream text;
    text << Vec3d{1, 2.5, -3};
    EXPECT_EQ(text.str(), "(1, 2.5, -3)");
}

TEST(VecBase, ConvertsExplicitlyBetweenComponentTypes)
{
    EXPECT_EQ((VecBase<2, long long>(Vec2d(2.9, -2.9))), (VecBase<2, long long>{2, -2}));
    EXPECT_EQ(Vec3f(Vec3d(0.1, 0.2, 0.3)).x(), 0.1F);
}

} // namespace
