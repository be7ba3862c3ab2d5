// The exact predicates and the sums they stand on, against whole numbers of any length.

#include "mathbase/Predicates_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <boost/multiprecision/cpp_int.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

using namespace Velk::Math;
using Velk::Math::Impl::InCircle;
using Velk::Math::Impl::Orientation;

namespace {

using Whole = boost::multiprecision::cpp_int;

/// A finite double in units of 2^-1074: every one is a whole number of them.
Whole InLeastUnits(double value)
{
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    const auto digits = static_cast<std::int64_t>(std::ldexp(fraction, 53));
    const int shift = exponent - 53 + 1074;
    Whole whole = digits;
    if (shift >= 0) {
        whole <<= static_cast<unsigned>(shift);
    } else {
        whole /= Whole(1) << static_cast<unsigned>(-shift); // without a rest: a denormal number
    }
    return whole;
}

template <int N, class T>
std::array<Whole, static_cast<std::size_t>(N)> Difference(const VecBase<N, T>& a,
                                                          const VecBase<N, T>& b)
{
    std::array<Whole, static_cast<std::size_t>(N)> d;
    for (int i = 0; i < N; ++i) {
        d[static_cast<std::size_t>(i)] =
            InLeastUnits(static_cast<double>(a[i])) - InLeastUnits(static_cast<double>(b[i]));
    }
    return d;
}

template <class T>
int WholeOrientation(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c)
{
    const auto u = Difference(b, a);
    const auto v = Difference(c, a);
    return Whole(u[0] * v[1] - u[1] * v[0]).sign();
}

template <class T>
int WholeOrientation(const VecBase<3, T>& a, const VecBase<3, T>& b, const VecBase<3, T>& c,
                     const VecBase<3, T>& d)
{
    const auto u = Difference(b, a);
    const auto v = Difference(c, a);
    const auto w = Difference(d, a);
    return Whole((u[1] * v[2] - u[2] * v[1]) * w[0] + (u[2] * v[0] - u[0] * v[2]) * w[1] +
                 (u[0] * v[1] - u[1] * v[0]) * w[2])
        .sign();
}

/// From the power of d over the lifted plane, taken from a and not from d.
template <class T>
int WholeInCircle(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c,
                  const VecBase<2, T>& d)
{
    const auto u = Difference(b, a);
    const auto v = Difference(c, a);
    const auto w = Difference(d, a);
    const auto lift = [](const auto& p) { return Whole(p[0] * p[0] + p[1] * p[1]); };
    const Whole area = u[0] * v[1] - u[1] * v[0];
    const Whole height = lift(u) * (v[0] * w[1] - v[1] * w[0]) -
                         lift(v) * (u[0] * w[1] - u[1] * w[0]) + lift(w) * area;
    return -height.sign();
}

/// A number of full length whose size varies over 2^-`range` to 1.
double RandomSize(Support::Random& random, int range)
{
    return std::ldexp(random.Between(-1, 1), -random.Below(range + 1));
}

/// The vector one unit in the last place on, or back, or as it is, in each component.
template <int N, class T>
VecBase<N, T> Nudged(VecBase<N, T> v, Support::Random& random)
{
    for (T& x : v) {
        switch (random.Below(3)) {
        case 0:
            x = std::nextafter(x, std::numeric_limits<T>::infinity());
            break;
        case 1:
            x = std::nextafter(x, -std::numeric_limits<T>::infinity());
            break;
        default:
            break;
        }
    }
    return v;
}

template <class T>
class PredicatesOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(PredicatesOf, Scalars);

} // namespace

TYPED_TEST(PredicatesOf, TellTheSidesOfPlainFigures)
{
    using P2 = VecBase<2, TypeParam>;
    using P3 = VecBase<3, TypeParam>;
    EXPECT_EQ(Orientation(P2(0, 0), P2(1, 0), P2(0, 1)), 1);
    EXPECT_EQ(Orientation(P2(0, 0), P2(0, 1), P2(1, 0)), -1);
    EXPECT_EQ(Orientation(P2(1, 1), P2(2, 2), P2(7, 7)), 0);
    EXPECT_EQ(Orientation(P2(1, 1), P2(1, 1), P2(7, 3)), 0);
    EXPECT_EQ(Orientation(P3(0, 0, 0), P3(1, 0, 0), P3(0, 1, 0), P3(5, 5, 1)), 1);
    EXPECT_EQ(Orientation(P3(0, 0, 0), P3(1, 0, 0), P3(0, 1, 0), P3(5, 5, -1)), -1);
    EXPECT_EQ(Orientation(P3(0, 0, 0), P3(1, 0, 0), P3(0, 1, 0), P3(5, 5, 0)), 0);
    EXPECT_EQ(InCircle(P2(0, 0), P2(1, 0), P2(1, 1), P2(0.5, 0.5)), 1);
    EXPECT_EQ(InCircle(P2(0, 0), P2(1, 0), P2(1, 1), P2(0, 1)), 0);
    EXPECT_EQ(InCircle(P2(0, 0), P2(1, 0), P2(1, 1), P2(0, 1.5)), -1);
    EXPECT_EQ(InCircle(P2(1, 1), P2(1, 0), P2(0, 0), P2(0.5, 0.5)), -1); // clockwise
    EXPECT_EQ(InCircle(P2(0, 0), P2(1, 1), P2(3, 3), P2(2, 2)), 0);      // one line
}

// Points within a unit in the last place of a common line, plane or circle, far from the origin and
// near it: plain products have nothing to say there.
TYPED_TEST(PredicatesOf, MatchWholeNumbersWhereProductsCancel)
{
    using T = TypeParam;
    Support::Random random(1);
    int zeros = 0;
    int undecided = 0;
    for (int trial = 0; trial < Support::Rounds(4000); ++trial) {
        const double far = trial % 4 == 0 ? 1e6 : (trial % 4 == 1 ? 0 : 1);
        const auto o = random.Vector<3, double>(-far, far);
        const auto u = random.Vector<3, double>(-1, 1);
        const auto v = random.Vector<3, double>(-1, 1);
        const double radius = random.Between(0.1, 10);
        std::array<VecBase<2, T>, 4> line;
        std::array<VecBase<2, T>, 4> circle;
        std::array<VecBase<3, T>, 4> plane;
        for (std::size_t i = 0; i < 4; ++i) {
            const double s = random.Between(-1, 1);
            const double t = random.Between(-1, 1);
            line[i] = VecBase<2, T>(Vec2d(o.x() + s * u.x(), o.y() + s * u.y()));
            plane[i] = VecBase<3, T>(o + u * s + v * t);
            const double angle = random.Between(0, 6.3);
            circle[i] = VecBase<2, T>(
                Vec2d(o.x() + radius * std::cos(angle), o.y() + radius * std::sin(angle)));
            if (trial % 5 == 0) { // few digits: figures that are truly flat
                line[i] = {std::round(s * 9), std::round(s * 9) * 2};
                plane[i] = {std::round(s * 9), std::round(t * 9), std::round(s * 9) - 3};
                const std::array<VecBase<2, T>, 5> onCircle{
                    VecBase<2, T>(5, 0), VecBase<2, T>(3, 4), VecBase<2, T>(-4, 3),
                    VecBase<2, T>(0, -5), VecBase<2, T>(4, -3)};
                circle[i] = onCircle[static_cast<std::size_t>(random.Below(5))];
            } else {
                line[i] = Nudged(line[i], random);
                plane[i] = Nudged(plane[i], random);
                circle[i] = Nudged(circle[i], random);
            }
        }
        const int turn = WholeOrientation(line[0], line[1], line[2]);
        const int side = WholeOrientation(plane[0], plane[1], plane[2], plane[3]);
        const int depth = WholeInCircle(circle[0], circle[1], circle[2], circle[3]);
        zeros += (turn == 0 ? 1 : 0) + (side == 0 ? 1 : 0) + (depth == 0 ? 1 : 0);
        const VecBase<3, T> normal = (plane[1] - plane[0]) ^ (plane[2] - plane[0]);
        const T height = normal * (plane[3] - plane[0]);
        undecided += (height > 0) - (height < 0) != side ? 1 : 0;

        ASSERT_EQ(Orientation(line[0], line[1], line[2]), turn) << trial;
        ASSERT_EQ(Orientation(line[2], line[1], line[0]), -turn) << trial;
        ASSERT_EQ(Orientation(line[1], line[2], line[0]), turn) << trial;
        ASSERT_EQ(Orientation(plane[0], plane[1], plane[2], plane[3]), side) << trial;
        ASSERT_EQ(Orientation(plane[3], plane[1], plane[2], plane[0]), -side) << trial;
        ASSERT_EQ(Orientation(plane[2], plane[0], plane[1], plane[3]), side) << trial;
        ASSERT_EQ(InCircle(circle[0], circle[1], circle[2], circle[3]), depth) << trial;
        ASSERT_EQ(InCircle(circle[1], circle[0], circle[2], circle[3]), -depth) << trial;
        ASSERT_EQ(InCircle(circle[3], circle[1], circle[2], circle[0]), -depth) << trial;
    }
    EXPECT_GT(zeros, Support::Rounds(1000, 1));
    EXPECT_GT(undecided, Support::Rounds(100, 1)); // the plain product does fail here
}

// Points a few units off a common line, with coordinates of 53 bits: the rounded cross product has
// no digit left. Scaled by a power of two, which changes no sign.
TEST(Predicates, MatchIntegersOnNearlyCollinearPoints)
{
    __extension__ using Wide = __int128; // holds a product of two 60-bit differences
    Support::Random random(6);
    int undecided = 0;
    for (int trial = 0; trial < 100'000; ++trial) {
        std::array<long long, 6> v{};
        const long long dx = static_cast<long long>(random.Bits() >> 14U);
        const long long dy = static_cast<long long>(random.Bits() >> 14U);
        const int multiple = random.Below(7) - 3;
        v[0] = random.Below(1000);
        v[1] = random.Below(1000);
        v[2] = v[0] + dx;
        v[3] = v[1] + dy;
        v[4] = v[0] + multiple * dx + random.Below(3) - 1;
        v[5] = v[1] + multiple * dy + random.Below(3) - 1;
        const auto at = [&](std::size_t i) {
            return Vec2d(std::ldexp(static_cast<double>(v[i]), -40),
                         std::ldexp(static_cast<double>(v[i + 1]), -40));
        };
        const Wide left = Wide(v[2] - v[0]) * (v[5] - v[1]);
        const Wide right = Wide(v[3] - v[1]) * (v[4] - v[0]);
        const int exact = left > right ? 1 : (left < right ? -1 : 0);
        const double rounded = (at(2) - at(0)) ^ (at(4) - at(0));
        undecided += (rounded > 0) - (rounded < 0) != exact ? 1 : 0;
        ASSERT_EQ(Orientation(at(0), at(2), at(4)), exact) << trial;
        ASSERT_EQ(Orientation(at(0), at(4), at(2)), -exact) << trial;
    }
    EXPECT_GT(undecided, 100); // the plain product does fail here
}

// Coordinates of a call that differ in size by up to 2^460, near either end of the number range.
TEST(Predicates, MatchWholeNumbersForAllSizes)
{
    Support::Random random(2);
    for (const int exponent : {0, 1000, 480, 260, -300, -500, -600}) {
        for (int trial = 0; trial < Support::Rounds(300); ++trial) {
            const int range = trial % 3 == 0 ? 5 : (trial % 3 == 1 ? 60 : 455);
            std::array<Vec2d, 4> p;
            std::array<Vec3d, 4> q;
            for (std::size_t i = 0; i < 4; ++i) {
                for (double& x : p[i]) {
                    x = RandomSize(random, range);
                }
                for (double& x : q[i]) {
                    x = RandomSize(random, range);
                }
            }
            if (trial % 2 == 0) { // all but flat
                p[2] = Nudged(p[0] + (p[1] - p[0]) * 0.5, random);
                q[3] = Nudged(q[0] + (q[1] - q[0]) * 0.5 + (q[2] - q[0]) * 0.25, random);
            }
            for (std::size_t i = 0; i < 4; ++i) {
                p[i] *= std::ldexp(1.0, exponent);
                q[i] *= std::ldexp(1.0, exponent);
            }
            ASSERT_EQ(Orientation(p[0], p[1], p[2]), WholeOrientation(p[0], p[1], p[2]))
                << exponent << ' ' << trial;
            ASSERT_EQ(Orientation(q[0], q[1], q[2], q[3]), WholeOrientation(q[0], q[1], q[2], q[3]))
                << exponent << ' ' << trial;
            ASSERT_EQ(InCircle(p[0], p[1], p[2], p[3]), WholeInCircle(p[0], p[1], p[2], p[3]))
                << exponent << ' ' << trial;
        }
    }
}

TEST(Predicates, DenormalCoordinatesKeepTheirSides)
{
    const double least = std::numeric_limits<double>::denorm_min();
    const auto at = [&](int x, int y) { return Vec2d(x * least, y * least); };
    EXPECT_EQ(Orientation(at(0, 0), at(1, 0), at(0, 1)), 1);
    EXPECT_EQ(Orientation(at(0, 0), at(2, 1), at(4, 2)), 0);
    EXPECT_EQ(Orientation(at(0, 0), at(2, 1), at(5, 2)), -1);
    EXPECT_EQ(InCircle(at(0, 0), at(2, 0), at(2, 2), at(1, 1)), 1);
    EXPECT_EQ(InCircle(at(0, 0), at(2, 0), at(2, 2), at(0, 2)), 0);
    EXPECT_EQ(InCircle(at(0, 0), at(2, 0), at(2, 2), at(0, 3)), -1);
    const Vec3d o;
    EXPECT_EQ(Orientation(o, Vec3d(least, 0, 0), Vec3d(0, least, 0), Vec3d(0, 0, least)), 1);
    EXPECT_EQ(Orientation(o, Vec3d(1, 0, 0), Vec3d(0, 1, 0), Vec3d(0.2, 0.2, 1e-300)), 1);
}

TEST(Predicates, NoSideOfWhatIsNotFinite)
{
    for (const double bad :
         {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(Orientation(Vec2d(bad, 0), Vec2d(1, 0), Vec2d(0, 1)), 0);
        EXPECT_EQ(Orientation(Vec2d(0, 0), Vec2d(1, 0), Vec2d(0, bad)), 0);
        EXPECT_EQ(Orientation(Vec3d(0, 0, 0), Vec3d(1, 0, 0), Vec3d(0, bad, 0), Vec3d(1, 1, 1)), 0);
        EXPECT_EQ(InCircle(Vec2d(0, 0), Vec2d(1, 0), Vec2d(1, 1), Vec2d(bad, 0.5)), 0);
    }
}

TEST(Predicates, RepeatedPointsHaveNoSide)
{
    Support::Random random(3);
    for (int trial = 0; trial < 200; ++trial) {
        const auto a = random.Vector<2, double>(-1e6, 1e6);
        const auto b = random.Vector<2, double>(-1e6, 1e6);
        const auto c = random.Vector<2, double>(-1e6, 1e6);
        EXPECT_EQ(Orientation(a, b, a), 0);
        EXPECT_EQ(Orientation(a, a, b), 0);
        EXPECT_EQ(InCircle(a, b, c, a), 0);
        EXPECT_EQ(InCircle(a, b, c, c), 0);
        EXPECT_EQ(InCircle(a, b, b, c), 0);
        const auto p = random.Vector<3, double>(-1e6, 1e6);
        const auto q = random.Vector<3, double>(-1e6, 1e6);
        const auto r = random.Vector<3, double>(-1e6, 1e6);
        EXPECT_EQ(Orientation(p, q, r, q), 0);
        EXPECT_EQ(Orientation(p, q, q, r), 0);
    }
}

namespace {

template <std::size_t N>
Whole ValueOf(const Impl::Expansion<N>& expansion)
{
    Whole sum = 0;
    for (std::size_t i = 0; i < expansion.Size(); ++i) {
        sum += InLeastUnits(expansion[i]);
    }
    return sum;
}

template <std::size_t N>
bool IsInOrder(const Impl::Expansion<N>& expansion)
{
    for (std::size_t i = 0; i < expansion.Size(); ++i) {
        // No part reaches up to the lowest digit of the next one.
        if (expansion[i] == 0 || (i > 0 && InLeastUnits(std::fabs(expansion[i - 1])) >=
                                               (InLeastUnits(std::fabs(expansion[i])) &
                                                -InLeastUnits(std::fabs(expansion[i]))))) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(Expansion, SumsAndProductsAreNotRounded)
{
    using Impl::Expansion;
    using Impl::TwoSum;
    const Whole unit = Whole(1) << 1074U; // 1 in units of 2^-1074
    Support::Random random(4);
    for (int trial = 0; trial < Support::Rounds(3000); ++trial) {
        const int range = trial % 2 == 0 ? 4 : 100;
        std::array<double, 8> x{};
        for (double& value : x) {
            value = trial % 7 == 0 ? random.Below(5) - 2 : RandomSize(random, range);
        }
        const auto pair = [&](std::size_t i) { return Expansion<2>(TwoSum(x[i], x[i + 1])); };
        const Whole a = InLeastUnits(x[0]) + InLeastUnits(x[1]);
        const Whole b = InLeastUnits(x[2]) + InLeastUnits(x[3]);
        const Whole c = InLeastUnits(x[4]) + InLeastUnits(x[5]);
        const Whole d = InLeastUnits(x[6]) + InLeastUnits(x[7]);

        const auto sum = pair(0) + pair(2);
        ASSERT_EQ(ValueOf(sum), a + b);
        const auto product = pair(0) * pair(2);
        ASSERT_EQ(ValueOf(product) * unit, a * b);
        const auto difference = product - pair(4) * pair(6);
        ASSERT_EQ(ValueOf(difference) * unit, a * b - c * d);
        const auto square = difference * difference;
        const Whole squared = (a * b - c * d) * (a * b - c * d);
        ASSERT_EQ(ValueOf(square) * unit * unit * unit, squared);
        ASSERT_EQ(square.Sign(), squared.sign());
        ASSERT_EQ((-difference).Sign(), -Whole(a * b - c * d).sign());
        for (const bool inOrder :
             {IsInOrder(sum), IsInOrder(product), IsInOrder(difference), IsInOrder(square)}) {
            ASSERT_TRUE(inOrder) << trial;
        }
        if (difference.Size() > 0) {
            const double estimate = difference.Estimate();
            ASSERT_LE(boost::multiprecision::abs(InLeastUnits(estimate) - ValueOf(difference)),
                      InLeastUnits(std::fabs(estimate) * 0x1p-52));
        }
    }
}

TEST(AccurateArea, KeepsItsDigitsOnNeedles)
{
    Support::Random random(5);
    const Whole unit = Whole(1) << 1074U;
    for (int trial = 0; trial < 2000; ++trial) {
        const auto o = random.Vector<3, double>(-1e3, 1e3);
        const auto u = random.Vector<3, double>(-1, 1);
        std::array<Vec3d, 3> p;
        for (Vec3d& q : p) {
            q = Nudged(o + u * random.Between(-100, 100), random);
        }
        // Half a unit in the last place of the value, and 13 units of 2^-106 of the products: 5 for
        // each of them and 3 for their difference. All of it in units of 2^-2148.
        const auto isClose = [&](double value, const Whole& forth, const Whole& back) {
            using boost::multiprecision::abs;
            const Whole exact = forth - back;
            const Whole off = abs(InLeastUnits(value) * unit - exact);
            return (off << 106U) <= (abs(exact) << 53U) + 13 * (abs(forth) + abs(back));
        };
        const auto ab = Difference(p[1], p[0]);
        const auto bc = Difference(p[2], p[1]);
        const Vec3d normal = Impl::AccurateNormal(p[0], p[1], p[2]);
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t l = (k + 1) % 3;
            const std::size_t m = (k + 2) % 3;
            ASSERT_TRUE(isClose(normal[static_cast<int>(k)], ab[l] * bc[m], ab[m] * bc[l]));
        }
        const auto flat = [](const Vec3d& q) { return Vec2d(q.x(), q.y()); };
        const auto ac = Difference(p[0], p[2]);
        const auto fromC = Difference(p[1], p[2]);
        ASSERT_TRUE(isClose(Impl::AccurateDoubleArea(flat(p[0]), flat(p[1]), flat(p[2])),
                            ac[0] * fromC[1], ac[1] * fromC[0]));
    }
}
