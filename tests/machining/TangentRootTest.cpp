// The bracketed root of a quartic, against quartics made of roots that are known.

#include "machining/TangentRoot_Impl.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>

namespace {

using Velk::Math::Sorvane::Mill::Impl::Quartic;
using Velk::Math::Sorvane::Mill::Impl::RootBetween;

constexpr double kTolerance = 1e-15;

/// (r - a) (r - b) (r^2 + p r + q), multiplied out.
Quartic WithRoots(double a, double b, double p, double q)
{
    const double s = -(a + b);
    const double t = a * b;
    return {t * q, s * q + t * p, q + s * p + t, p + s, 1.0};
}

TEST(TangentRoot, FindsTheOneRootBetweenTheBounds)
{
    Support::Random random(61);
    for (int trial = 0; trial < 2000; ++trial) {
        SCOPED_TRACE(trial);
        const double low = random.Between(0.0, 1.0);
        const double high = low + random.Between(0.01, 1.0);
        const double root = random.Between(low, high);
        const double other = high + random.Between(0.01, 2.0);
        // r^2 + 1 has no real root, so that the bounds hold the one root alone.
        const auto found = RootBetween(WithRoots(root, other, 0.0, 1.0), low, high, kTolerance);
        ASSERT_TRUE(found);
        // The values near the root carry an error of some 1e-15; the slope there is at least `other
        // - root`.
        EXPECT_NEAR(*found, root, 2e-14 / (other - root));
    }
}

TEST(TangentRoot, AnEndThatIsARootIsTakenAsItIs)
{
    const Quartic quartic = WithRoots(0.5, 1.0, 0.0, 1.0);
    EXPECT_EQ(RootBetween(quartic, 0.5, 0.75, kTolerance), 0.5);
    EXPECT_EQ(RootBetween(quartic, 0.75, 1.0, kTolerance), 1.0);
    EXPECT_EQ(RootBetween(quartic, 0.5, 1.0, kTolerance), 0.5) << "the lower end is asked first";
}

TEST(TangentRoot, NoChangeOfSignNoRoot)
{
    EXPECT_FALSE(RootBetween(WithRoots(0.5, 0.75, 0.0, 1.0), 0.25, 1.0, kTolerance))
        << "two of them";
    EXPECT_FALSE(RootBetween(WithRoots(2.0, 3.0, 0.0, 1.0), 0.0, 1.0, kTolerance));
}

TEST(TangentRoot, AFlatStartIsCrossedAllTheSame)
{
    // Values far apart at the two ends send secants to the flat one; halves have to help.
    const auto found = RootBetween({-1e-9, 0.0, 0.0, 0.0, 1.0}, 0.0, 1024.0, kTolerance);
    ASSERT_TRUE(found);
    EXPECT_NEAR(*found, std::sqrt(std::sqrt(1e-9)), 1e-9);
}

TEST(TangentRoot, SmallValuesAreNoRoots)
{
    // r^2 (r^2 - d^2): near 0 all values are small, and none of them is 0 but at 0 and d.
    for (const double low : {1e-12, 1e-9, 2.5e-7, 1e-5}) {
        for (const double d : {1e-4, 0.01, 0.1, 0.5}) {
            SCOPED_TRACE(testing::Message() << low << ' ' << d);
            const auto found = RootBetween(WithRoots(d, -d, 0.0, 0.0), low, 1.0, kTolerance);
            ASSERT_TRUE(found);
            EXPECT_NEAR(*found, d, 1e-14 * d);
        }
    }
}

TEST(TangentRoot, HostileNumbersEnd)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(RootBetween({nan, nan, nan, nan, nan}, 0.0, 1.0, kTolerance));
    EXPECT_FALSE(RootBetween({-1.0, 0.0, nan, 0.0, 1.0}, 0.0, 2.0, kTolerance));
    const auto found = RootBetween({-1.0, 0.0, 0.0, 0.0, infinity}, 0.0, 1.0, kTolerance);
    EXPECT_TRUE(!found || (*found >= 0.0 && *found <= 1.0));
}

} // namespace
