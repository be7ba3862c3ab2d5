// Exact side of a plane against wide arithmetic.

#include "bounding/PlaneSide_Impl.h"

#include "tests/bounding/HullChecks.h"

#include <gtest/gtest.h>

using namespace Velk::Math;
using Velk::Math::Vector::Impl::PlaneSide;

namespace {

int WideSide(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& p)
{
    const double distance = ::Test::WideDistance(a, b, c, p);
    return distance > 0 ? 1 : (distance < 0 ? -1 : 0);
}

} // namespace

TEST(PlaneSide, UpIsWhereTheTriangleRunsCounterClockwise)
{
    const Vec3d a(0, 0, 0);
    const Vec3d b(1, 0, 0);
    const Vec3d c(0, 1, 0);
    EXPECT_EQ(PlaneSide(a, b, c, {0.2, 0.2, 1}), 1);
    EXPECT_EQ(PlaneSide(a, b, c, {0.2, 0.2, -1}), -1);
    EXPECT_EQ(PlaneSide(a, b, c, {5, -7, 0}), 0);
    EXPECT_EQ(PlaneSide(a, c, b, {0.2, 0.2, 1}), -1);
    EXPECT_EQ(PlaneSide(a, b, c, {0.2, 0.2, 1e-300}), 1);
}

TEST(PlaneSide, RepeatedAndCollinearCornersHaveNoSide)
{
    const Vec3d a(0.1, 0.7, 0.3);
    const Vec3d b(0.4, 0.2, 0.9);
    EXPECT_EQ(PlaneSide(a, a, b, {1, 2, 3}), 0);
    EXPECT_EQ(PlaneSide(a, b, {5, 6, 7}, a), 0);
    EXPECT_EQ(PlaneSide({0, 0, 0}, {1, 2, 3}, {2, 4, 6}, {7, 1, 9}), 0);
}

// Points on a plane as far as rounding allows: the sign is that of the rounding.
TEST(PlaneSide, TellsTheRoundingOfNearlyCoplanarPoints)
{
    ::Test::Random random(1);
    int zeros = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        const auto origin = random.Vector<3, double>(-1, 1);
        const auto u = random.Vector<3, double>(-1, 1);
        const auto v = random.Vector<3, double>(-1, 1);
        Vec3d p[4];
        for (Vec3d& q : p) {
            q = origin + u * random.Between(-1, 1) + v * random.Between(-1, 1);
        }
        if (trial % 3 == 0) { // fewer digits: exact zeros
            for (Vec3d& q : p) {
                q = {std::round(8 * q[0]), std::round(8 * q[1]), std::round(8 * (q[0] + q[1]))};
            }
        }
        const int side = PlaneSide(p[0], p[1], p[2], p[3]);
        zeros += side == 0 ? 1 : 0;
        if (trial % 3 != 0) {
            ASSERT_EQ(side, WideSide(p[0], p[1], p[2], p[3])) << trial;
        }
        ASSERT_EQ(PlaneSide(p[1], p[2], p[0], p[3]), side);
        ASSERT_EQ(PlaneSide(p[1], p[0], p[2], p[3]), -side);
        ASSERT_EQ(PlaneSide(p[3], p[1], p[2], p[0]), -side);
    }
    EXPECT_GT(zeros, 100);
}

TEST(PlaneSide, MatchesWholeNumbers)
{
    using Whole = VecBase<3, long long>;
    ::Test::Random random(2);
    for (int trial = 0; trial < 20'000; ++trial) {
        Whole w[4];
        Vec3d p[4];
        for (int i = 0; i < 4; ++i) {
            w[i] = {random.Below(6), random.Below(6), random.Below(6)};
            p[i] = Vec3d(w[i]) * 0x1p-40;
        }
        const long long det = ((w[1] - w[0]) ^ (w[2] - w[0])) * (w[3] - w[0]);
        ASSERT_EQ(PlaneSide(p[0], p[1], p[2], p[3]), det > 0 ? 1 : (det < 0 ? -1 : 0));
    }
}

// Exponents far apart, so that differences take two doubles and the sum many.
TEST(PlaneSide, MixedMagnitudes)
{
    ::Test::Random random(3);
    for (int trial = 0; trial < 2000; ++trial) {
        Vec3d p[4];
        for (Vec3d& q : p) {
            for (double& x : q) {
                x = random.Between(-1, 1) * std::ldexp(1.0, -random.Below(40));
            }
        }
        // The fourth is the centroid of the others, rounded, or the mirror of one in another.
        p[3] = trial % 2 == 0 ? (p[0] + p[1] + p[2]) / 3.0 : p[0] + (p[1] - p[2]);
        ASSERT_EQ(PlaneSide(p[0], p[1], p[2], p[3]), WideSide(p[0], p[1], p[2], p[3])) << trial;
    }
}
