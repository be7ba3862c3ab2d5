// Small matrices: layout, inverses (exact references, ill conditioned and refused ones),
// determinants, and the rotation that takes +Z to a direction.

#include <Velk/Math/Matrix_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

namespace {

using namespace Velk::Math;
using Support::Random;
__extension__ typedef __int128 Int128; // `using` can not be marked
template <int N>
using Square = MatBase<N, N, double>;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

static_assert(std::is_trivially_copyable_v<MatBase<8, 3, double>>);
static_assert(sizeof(MatBase<4, 2, float>) == 8 * sizeof(float));

template <int N>
double LargestEntry(const Square<N>& m)
{
    double largest = 0.0;
    for (const double value : m.value) {
        largest = std::max(largest, std::fabs(value));
    }
    return largest;
}

template <int N>
double DistanceFromIdentity(const Square<N>& m)
{
    double largest = 0.0;
    for (int r = 0; r < N; ++r) {
        for (int c = 0; c < N; ++c) {
            largest = std::max(largest, std::fabs(m(r, c) - (r == c ? 1.0 : 0.0)));
        }
    }
    return largest;
}

template <int N>
Square<N> RandomMatrix(Random& random)
{
    Square<N> m;
    for (double& value : m.value) {
        value = random.Between(-1, 1);
    }
    return m;
}

template <class Size>
class MatrixOf : public testing::Test {
};
using Sizes = testing::Types<std::integral_constant<int, 2>, std::integral_constant<int, 3>,
                             std::integral_constant<int, 4>>;
TYPED_TEST_SUITE(MatrixOf, Sizes);

// --- the value type -----------------------------------------------------------------------------

TEST(MatBase, IsBuiltFromRowsAndMissingRowsAreZero)
{
    const MatBase<3, 2, double> m{{1, 2}, {3, 4}};
    const double expected[] = {1, 2, 3, 4, 0, 0};
    EXPECT_TRUE(std::equal(m.value, m.value + 6, expected));
    EXPECT_EQ(m[1][0], 3.0);
    EXPECT_EQ(m(1, 1), 4.0);
    EXPECT_EQ(m.Row(1), (Vec2d{3, 4}));
    EXPECT_EQ(m.Column(1), (Vec3d{2, 4, 0}));
    EXPECT_EQ((MatBase<1, 2, double>{{1, 2}, {3, 4}}), (MatBase<1, 2, double>{{1, 2}})); // too many
}

TEST(MatBase, Products)
{
    const MatBase<2, 3, double> a{{1, 2, 3}, {4, 5, 6}};
    const MatBase<3, 2, double> b{{1, 0}, {0, 1}, {2, 2}};
    EXPECT_EQ(a * b, (MatBase<2, 2, double>{{7, 8}, {16, 17}}));
    EXPECT_EQ((a * Vec3d{1, 1, 1}), (Vec2d{6, 15}));
    EXPECT_EQ(Matrix::Transposed(a), (MatBase<3, 2, double>{{1, 4}, {2, 5}, {3, 6}}));
    EXPECT_EQ((Matrix::Identity<3, double>() * b), b);
}

// --- Invert -------------------------------------------------------------------------------------

TEST(Invert, ClosedForms)
{
    Square<2> two{{4, 7}, {2, 6}}; // determinant 10
    ASSERT_TRUE(Matrix::Invert(two, 1e-15));
    EXPECT_EQ(two, (Square<2>{{0.6, -0.7}, {-0.2, 0.4}}));

    Square<3> three{{2, 0, 0}, {0, 0, 4}, {0, -1, 0}};
    ASSERT_TRUE(Matrix::Invert(three, 1e-15));
    EXPECT_EQ(three, (Square<3>{{0.5, 0, 0}, {0, 0, -1}, {0, 0.25, 0}}));

    Square<4> four{{1, 0, 0, 5}, {0, 1, 0, 6}, {0, 0, 1, 7}, {0, 0, 0, 1}};
    ASSERT_TRUE(Matrix::Invert(four, 1e-15));
    EXPECT_EQ(four, (Square<4>{{1, 0, 0, -5}, {0, 1, 0, -6}, {0, 0, 1, -7}, {0, 0, 0, 1}}));
}

TYPED_TEST(MatrixOf, InverseOfTheIdentityHasNoNegativeZeros)
{
    constexpr int N = TypeParam::value;
    auto m = Matrix::Identity<N, double>();
    ASSERT_TRUE(Matrix::Invert(m, 1e-15));
    EXPECT_EQ(m, (Matrix::Identity<N, double>()));
    for (const double value : m.value) {
        EXPECT_FALSE(std::signbit(value));
    }
}

TYPED_TEST(MatrixOf, PermutationsAreInvertedExactly)
{
    constexpr int N = TypeParam::value;
    std::array<int, N> place{};
    std::iota(place.begin(), place.end(), 0);
    do {
        Square<N> m;
        for (int r = 0; r < N; ++r) {
            m(r, place[static_cast<std::size_t>(r)]) = 1.0;
        }
        Square<N> inverse = m;
        ASSERT_TRUE(Matrix::Invert(inverse, 1e-15));
        EXPECT_EQ(inverse, Matrix::Transposed(m));
    } while (std::next_permutation(place.begin(), place.end()));
}

/// A product of integer shears and the product of their inverses: an exact pair, det 1, with
/// entries and so a condition number that grow with the number of shears.
template <int N>
struct ExactPair {
    Square<N> matrix = Matrix::Identity<N, double>();
    Square<N> inverse = Matrix::Identity<N, double>();
};

template <int N>
ExactPair<N> ShearProduct(Random& random, double largestEntry)
{
    ExactPair<N> pair;
    while (true) {
        const int to = random.Below(N);
        const int from = (to + 1 + random.Below(N - 1)) % N;
        const double factor = 1 + random.Below(9);
        ExactPair<N> next = pair;
        for (int i = 0; i < N; ++i) {
            next.matrix(to, i) += factor * pair.matrix(from, i);
            next.inverse(i, from) -= factor * pair.inverse(i, to);
        }
        if (std::max(LargestEntry(next.matrix), LargestEntry(next.inverse)) > largestEntry) {
            return pair;
        }
        pair = next;
    }
}

/// Largest entry of the pairs below: products of two are far beyond what a double holds exactly,
/// and so for 3 x 3 are the minors; for 4 x 4 the products of two minors are.
constexpr double kLargestInteger[] = {0, 0, 1e9, 1e9, 1e7};

TYPED_TEST(MatrixOf, IntegerInversesAreExactWhateverTheCondition)
{
    constexpr int N = TypeParam::value;
    constexpr double kLargest = kLargestInteger[N];
    Random random(31);
    double worst = 0.0;
    for (int trial = 0; trial < 2000; ++trial) {
        SCOPED_TRACE(trial);
        const auto pair = ShearProduct<N>(random, kLargest);
        for (int r = 0; r < N; ++r) { // the pair is one
            for (int c = 0; c < N; ++c) {
                Int128 product = 0;
                for (int k = 0; k < N; ++k) {
                    product += static_cast<Int128>(pair.matrix(r, k)) *
                               static_cast<Int128>(pair.inverse(k, c));
                }
                ASSERT_TRUE(product == (r == c ? 1 : 0));
            }
        }
        worst = std::max(worst, LargestEntry(pair.matrix) * LargestEntry(pair.inverse));
        Square<N> inverse = pair.matrix;
        ASSERT_TRUE(Matrix::Invert(inverse, kInversionFloor));
        ASSERT_EQ(inverse, pair.inverse);
    }
    EXPECT_GT(worst,
              0.01 * kLargest * kLargest); // the trials were as ill conditioned as they claim
}

TYPED_TEST(MatrixOf, InverseOfInverseAndProductsOfRandomMatrices)
{
    constexpr int N = TypeParam::value;
    Random random(32);
    for (int trial = 0; trial < 5000; ++trial) {
        SCOPED_TRACE(trial);
        const auto m = RandomMatrix<N>(random);
        Square<N> inverse = m;
        if (!Matrix::Invert(inverse, 1e-9)) {
            continue;
        }
        // N products of entries at most 1 with entries of the inverse, each right to 3 roundings.
        const double bound = 4 * N * kEpsilon * LargestEntry(inverse);
        EXPECT_LE(DistanceFromIdentity(m * inverse), bound);
        EXPECT_LE(DistanceFromIdentity(inverse * m), bound);
        Square<N> back = inverse;
        ASSERT_TRUE(Matrix::Invert(back, 0.0));
        for (int i = 0; i < N * N; ++i) {
            // Rounding of the inverse is carried back by the square of the matrix times itself.
            EXPECT_NEAR(back.value[i], m.value[i], 4 * N * N * kEpsilon * LargestEntry(inverse));
        }
    }
}

TEST(Invert, HilbertMatrix)
{
    // 420 times the 4 x 4 Hilbert matrix is integer; its inverse is known (condition number 1.6e4).
    Square<4> m{{420, 210, 140, 105}, {210, 140, 105, 84}, {140, 105, 84, 70}, {105, 84, 70, 60}};
    ASSERT_TRUE(Matrix::Invert(m, 1e-15));
    const Square<4> expected{{16, -120, 240, -140},
                             {-120, 1200, -2700, 1680},
                             {240, -2700, 6480, -4200},
                             {-140, 1680, -4200, 2800}};
    for (int i = 0; i < 16; ++i) {
        EXPECT_NEAR(m.value[i] * 420, expected.value[i],
                    2 * kEpsilon * std::fabs(expected.value[i]));
    }
}

TYPED_TEST(MatrixOf, DeterminantAtTheToleranceIsRefusedAndLeavesTheMatrix)
{
    constexpr int N = TypeParam::value;
    auto m = Matrix::Identity<N, double>();
    m(0, 0) = 0.25;
    m(0, N - 1) = 3.0;
    for (const double sign : {1.0, -1.0}) {
        m(0, 0) = sign * 0.25;
        const auto before = m;
        EXPECT_FALSE(Matrix::Invert(m, 0.25));
        EXPECT_EQ(m, before);
        EXPECT_TRUE(Matrix::Invert(m, std::nextafter(0.25, 0.0)));
        m = before;
    }
}

TYPED_TEST(MatrixOf, SingularMatricesAreRefusedAndLeftUntouched)
{
    constexpr int N = TypeParam::value;
    Random random(33);
    for (int trial = 0; trial < 500; ++trial) {
        auto m = RandomMatrix<N>(random);
        const int r = random.Below(N);
        for (int c = 0; c < N; ++c) {
            m(r, c) = m((r + 1) % N, c) * -0.5; // exactly parallel rows
        }
        const auto before = m;
        EXPECT_FALSE(Matrix::Invert(m, kInversionFloor));
        EXPECT_FALSE(Matrix::Invert(m, kNan));
        EXPECT_EQ(m, before);
    }
    // Where the products are exact the determinant is 0 exactly, and no tolerance lets that pass.
    Square<N> counting;
    std::iota(counting.value, counting.value + N * N, 1.0);
    counting(0, N - 1) = counting(0, 0) = 0.0;
    for (int c = 0; c < N; ++c) {
        counting(N - 1, c) = 3.0 * counting(0, c);
    }
    for (const Square<N>& singular : {counting, Square<N>{}}) {
        for (const double tolerance : {1e-15, 0.0, -1.0, kNan}) {
            Square<N> m = singular;
            EXPECT_FALSE(Matrix::Invert(m, tolerance));
            EXPECT_EQ(m, singular);
        }
    }
}

TYPED_TEST(MatrixOf, NonFiniteMatricesAreRefused)
{
    constexpr int N = TypeParam::value;
    for (const double bad : {kNan, kInfinity, -kInfinity}) {
        for (int i = 0; i < N * N; ++i) {
            auto m = Matrix::Identity<N, double>();
            m.value[i] = bad;
            EXPECT_FALSE(Matrix::Invert(m, 1e-15)) << bad << " at " << i;
        }
    }
    auto huge = Matrix::Identity<N, double>();
    for (int i = 0; i < N; ++i) {
        huge(i, i) = 1e200; // its determinant overflows
    }
    const auto before = huge;
    EXPECT_FALSE(Matrix::Invert(huge, 1e-15));
    EXPECT_EQ(huge, before);
}

TEST(Invert, ToleranceOnTheDeterminantIsAbsolute)
{
    // 1e-15 is the cube of 1e-5: a smaller scale in space counts as singular.
    auto scale = Matrix::Identity<4, double>();
    for (int i = 0; i < 3; ++i) {
        scale(i, i) = 0.9e-5;
    }
    EXPECT_FALSE(Matrix::Invert(scale, kInversionFloor));
    for (int i = 0; i < 3; ++i) {
        scale(i, i) = 1.1e-5;
    }
    EXPECT_TRUE(Matrix::Invert(scale, kInversionFloor));
}

// --- Determinant --------------------------------------------------------------------------------

TEST(Determinant, ClosedForms)
{
    EXPECT_EQ(Matrix::Determinant({{4, 7}, {2, 6}}), 10.0);
    EXPECT_EQ(Matrix::Determinant({{0, 1}, {1, 0}}), -1.0);
    EXPECT_EQ(Matrix::Determinant({{0.1, 0.3}, {0.1, 0.3}}), 0.0);
    EXPECT_EQ(Matrix::Determinant({}), 0.0);
    EXPECT_TRUE(std::isnan(Matrix::Determinant({{kNan, 1}, {1, 1}})));
}

TEST(Determinant, CancellationKeepsEveryDigit)
{
    // (1 + e)(1 - e) - 1 = -e e exactly; rounded products would give 0.
    const double e = 0x1p-30;
    EXPECT_EQ(Matrix::Determinant({{1 + e, 1}, {1, 1 - e}}), -e * e);
    Random random(34);
    for (int trial = 0; trial < 10'000; ++trial) {
        const double a = random.Between(0.5, 1);
        const double b = random.Between(0.5, 1);
        const double c = random.Between(0.5, 1);
        const double d = b * c / a; // nearly singular
        // Every number here lies on the grid of 2^-54, so the products are exact in 128-bit
        // integers.
        const auto integer = [](double x) { return static_cast<Int128>(std::ldexp(x, 54)); };
        const auto exact =
            static_cast<double>(integer(a) * integer(d) - integer(b) * integer(c)) * 0x1p-108;
        EXPECT_NEAR(Matrix::Determinant({{a, b}, {c, d}}), exact, 2 * kEpsilon * std::fabs(exact));
    }
}

// --- RotationFromZ ------------------------------------------------------------------------------

double Determinant3(const Square<3>& m) { return m.Row(0) * (m.Row(1) ^ m.Row(2)); }

void ExpectRotationTo(const Square<3>& rotation, const Vec3d& direction, double accuracy)
{
    EXPECT_LE(DistanceFromIdentity(rotation * Matrix::Transposed(rotation)), accuracy);
    EXPECT_LE(DistanceFromIdentity(Matrix::Transposed(rotation) * rotation), accuracy);
    EXPECT_NEAR(Determinant3(rotation), 1.0, accuracy);
    const Vec3d unit = Vector::Normalized(direction, 0.0);
    EXPECT_LE(Vector::Length(rotation.Column(2) - unit), accuracy) << direction;
}

TEST(RotationFromZ, ClosedForms)
{
    EXPECT_EQ(Matrix::RotationFromZ({0, 0, 3}), (Matrix::Identity<3, double>()));
    EXPECT_EQ(Matrix::RotationFromZ({5, 0, 0}), (Square<3>{{0, 0, 1}, {0, 1, 0}, {-1, 0, 0}}));
    EXPECT_EQ(Matrix::RotationFromZ({0, 2, 0}), (Square<3>{{1, 0, 0}, {0, 0, 1}, {0, -1, 0}}));
    // -Z: half a turn about X
    EXPECT_EQ(Matrix::RotationFromZ({0, 0, -2}), (Square<3>{{1, 0, 0}, {0, -1, 0}, {0, 0, -1}}));
    EXPECT_EQ(Matrix::RotationFromZ({-0.0, 0, -2}), (Square<3>{{1, 0, 0}, {0, -1, 0}, {0, 0, -1}}));
}

TEST(RotationFromZ, WithoutADirectionIsTheIdentity)
{
    for (const Vec3d& d :
         {Vec3d{}, Vec3d{-0.0, 0, -0.0}, Vec3d{kNan, 0, 1}, Vec3d{0, kInfinity, 1}}) {
        EXPECT_EQ(Matrix::RotationFromZ(d), (Matrix::Identity<3, double>()));
    }
}

TEST(RotationFromZ, AnyDirectionGivesAProperRotation)
{
    Random random(35);
    for (int trial = 0; trial < 20'000; ++trial) {
        SCOPED_TRACE(trial);
        const Vec3d direction =
            random.Vector<3, double>(-1, 1) * std::exp2(random.Between(-200, 200));
        ExpectRotationTo(Matrix::RotationFromZ(direction), direction, 2e-15);
    }
}

TEST(RotationFromZ, NextToTheNegativeZAxis)
{
    Random random(36);
    for (int exponent = 0; exponent <= 320; ++exponent) {
        SCOPED_TRACE(exponent);
        for (int trial = 0; trial < 10; ++trial) {
            const double angle = random.Between(0, kTwoPi<double>);
            const double off = std::pow(10.0, -exponent) * random.Between(0.5, 1);
            const Vec3d direction{off * std::cos(angle), off * std::sin(angle), -1.0};
            ExpectRotationTo(Matrix::RotationFromZ(direction), direction, 2e-15);
        }
    }
}

TEST(RotationFromZ, VeryShortAndVeryLongDirections)
{
    for (const double size : {std::numeric_limits<double>::denorm_min(), 1e-300, 1e-20, 1e20,
                              std::numeric_limits<double>::max()}) {
        const auto rotation = Matrix::RotationFromZ({size, 0, size});
        ExpectRotationTo(rotation, {1, 0, 1}, 2e-15);
        ExpectRotationTo(Matrix::RotationFromZ({0, size, -size}), {0, 1, -1}, 2e-15);
    }
}

TEST(RotationFromZ, IsTheShortestRotation)
{
    // The axis Z ^ direction stays fixed, and the trace is 1 + 2 cos of the angle to +Z.
    //
    // How far rounding may be off, in roundings (half an epsilon) and with z the cosine: the unit
    // vector is too long or short by 2.5 of them, and each component is off by one more. Of the
    // error of z nothing comes to the axis where z is negative, since 1 - z is added to it. To +Z
    // the length and two roundings of the diagonal are left, 5 in all; every 1 - z adds what the
    // products of x and y have, which are 1 - z long: at most 9. The trace has z three times, and
    // two of its sums are rounded: at most 14 for z of 0 to 1, and 13 more at -1.
    constexpr long double kRounding = std::numeric_limits<double>::epsilon() / 2;
    using Wide = std::array<long double, 3>;
    Random random(37);
    for (int trial = 0; trial < 2000; ++trial) {
        const Vec3d d = random.Vector<3, double>(-1, 1);
        const auto rotation = Matrix::RotationFromZ(d);
        const Wide wide{d.x(), d.y(), d.z()};
        const long double sideways = std::hypot(wide[0], wide[1]);
        const long double z = wide[2] / std::hypot(sideways, wide[2]);
        const Wide axis{-wide[1] / sideways, wide[0] / sideways, 0};
        long double squaredOff = 0;
        long double trace = 0;
        for (int r = 0; r < 3; ++r) {
            const long double off = rotation(r, 0) * axis[0] + rotation(r, 1) * axis[1] -
                                    axis[static_cast<std::size_t>(r)];
            squaredOff += off * off;
            trace += rotation(r, r);
        }
        EXPECT_LE(std::sqrt(squaredOff), (5 + 9 * (1 - z)) * kRounding) << d;
        EXPECT_LE(std::fabs(trace - (1 + 2 * z)), (14 + 13 * std::max(-z, 0.0L)) * kRounding) << d;
    }
}

} // namespace
