// The exact orientation test, against integer arithmetic.

#include "mathbase/TurnSign_Impl.h"

#include "tests/support/TestSupport.h"

#include <cmath>

namespace {

using Velk::Math::Vec2d;
using Velk::Math::Vector::Impl::TurnSign;

__extension__ using Wide = __int128; // holds a product of two 60-bit differences

int ExactSign(const std::array<long long, 6>& v)
{
    const Wide left = Wide(v[2] - v[0]) * (v[5] - v[1]);
    const Wide right = Wide(v[3] - v[1]) * (v[4] - v[0]);
    return left > right ? 1 : (left < right ? -1 : 0);
}

TEST(TurnSign, PlainTurns)
{
    EXPECT_EQ(TurnSign({0, 0}, {1, 0}, {0, 1}), 1);
    EXPECT_EQ(TurnSign({0, 0}, {0, 1}, {1, 0}), -1);
    EXPECT_EQ(TurnSign({1, 1}, {2, 2}, {7, 7}), 0);
    EXPECT_EQ(TurnSign({1, 1}, {1, 1}, {7, 3}), 0);
}

TEST(TurnSign, MatchesIntegersOnNearlyCollinearPoints)
{
    // Points a few units off a common line, with coordinates of 53 bits: the rounded cross product
    // has no digit left. Scaled by a power of two, which changes no sign.
    ::Test::Random random(6);
    int undecided = 0;
    for (int trial = 0; trial < 200'000; ++trial) {
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
        const Vec2d a = at(2) - at(0);
        const Vec2d b = at(4) - at(0);
        const double rounded = a ^ b;
        const int exact = ExactSign(v);
        undecided += (rounded > 0) - (rounded < 0) != exact ? 1 : 0;
        ASSERT_EQ(TurnSign(at(0), at(2), at(4)), exact) << trial;
        ASSERT_EQ(TurnSign(at(0), at(4), at(2)), -exact) << trial;
    }
    EXPECT_GT(undecided, 100); // the plain product does fail here
}

} // namespace
