// Throwing inner points away must not change a single bit of the hull.

#include "bounding/InnerPoints_Impl.h"

#include <Sorvane/ConvexHull_E.h>

#include "tests/bounding/PlainHull.h"
#include "tests/support/PointSets.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

template <class Scalar>
class InnerPointsOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(InnerPointsOf, Scalars);

template <class T>
using Points = std::vector<VecBase<2, T>>;

/// How many points were left, after checking that the hull of these is the hull of all.
template <class T>
std::size_t LeftOf(const Points<T>& points)
{
    const auto outer = Impl::WithoutInnerPoints(points);
    if (!outer) {
        return points.size();
    }
    EXPECT_EQ(Support::PlainChain(*outer), Support::PlainChain(points));
    return outer->size();
}

constexpr int kCount = 40'000;

TYPED_TEST(InnerPointsOf, HullsOfEveryKindStayTheSame)
{
    using T = TypeParam;
    Support::Random random(31);
    for (const Support::PointSet set : Support::kPointSets) {
        for (const double offset : {0.0, 7.0, 1000.0}) {
            SCOPED_TRACE(Support::NameOf(set));
            auto points = Support::MakePoints<2, T>(set, kCount, random);
            for (auto& p : points) {
                p = {(p[0] + static_cast<T>(offset)) * 100, (p[1] - static_cast<T>(offset)) * 50};
            }
            LeftOf(points);
        }
    }
}

TYPED_TEST(InnerPointsOf, MostPointsOfADiscGo)
{
    using T = TypeParam;
    Support::Random random(32);
    auto points = Support::MakePoints<2, T>(Support::PointSet::Ball, kCount, random);
    for (auto& p : points) {
        p = p * T(100);
    }
    EXPECT_LT(LeftOf(points), points.size() / 20);
}

TYPED_TEST(InnerPointsOf, NearTiesOnTheBoundaryStayTheSame)
{
    using T = TypeParam;
    // A filled polygon of few sides, each with a thousand points within some roundings of it: the
    // chain's answers along them hang on the last bit.
    Support::Random random(33);
    for (int trial = 0; trial < Support::Rounds(20); ++trial) {
        SCOPED_TRACE(trial);
        const int sides = 3 + trial % 5;
        const double turn = random.Between(0, 1);
        Points<T> points;
        for (int i = 0; i < kCount; ++i) {
            const int side = random.Below(sides);
            const auto corner = [&](int k) {
                return VecBase<2, double>(100 * std::cos(turn + k * 2 * kPi<double> / sides),
                                          100 * std::sin(turn + k * 2 * kPi<double> / sides));
            };
            const double along = random.Unit();
            const VecBase<2, double> onSide = corner(side) * along + corner(side + 1) * (1 - along);
            const double depth = i % 10 == 0
                                     ? random.Between(0, 20) * std::numeric_limits<T>::epsilon()
                                     : random.Unit();
            points.push_back(VecBase<2, T>(onSide * (1 - depth)));
        }
        EXPECT_LT(LeftOf(points), points.size() / 2);
    }
}

TYPED_TEST(InnerPointsOf, RowsAndColumnsStayTheSame)
{
    using T = TypeParam;
    Points<T> grid;
    for (int i = 0; i < 200; ++i) {
        for (int j = 0; j < 200; ++j) {
            grid.push_back({T(0.1) * T(i), T(0.1) * T(j)});
        }
    }
    EXPECT_LT(LeftOf(grid), grid.size() / 5);
}

TEST(InnerPoints, PointsWithinTheToleranceOfEachOtherStayTheSame)
{
    // Chains of points a little less than the tolerance apart lead in from the boundary.
    Support::Random random(34);
    auto points = Support::MakePoints<2, double>(Support::PointSet::Ball, kCount, random);
    for (int i = 0; i < 2000; ++i) {
        const Vec2d start = points[static_cast<std::size_t>(random.Below(kCount))];
        for (int k = 0; k < 10; ++k) {
            points.push_back(start + Vec2d(k * 7e-13, k * 3e-13));
        }
    }
    for (int i = 0; i < 3000; ++i) {
        points.push_back({1.5 - i * 9e-13, 0.0}); // a whole path, from a vertex of the hull on
    }
    for (std::size_t i = points.size(); i > 1; --i) {
        std::swap(points[i - 1],
                  points[static_cast<std::size_t>(random.Below(static_cast<int>(i)))]);
    }
    EXPECT_LT(LeftOf(points), points.size() / 2);
}

TYPED_TEST(InnerPointsOf, SmallInputsOfEveryKindStayTheSame)
{
    using T = TypeParam;
    Support::Random random(37);
    for (const Support::PointSet set : Support::kPointSets) {
        for (int trial = 0; trial < Support::Rounds(20); ++trial) {
            SCOPED_TRACE(Support::NameOf(set));
            auto points = Support::MakePoints<2, T>(set, 2048 + 100 * trial, random);
            for (auto& p : points) {
                p = p * T(10);
            }
            LeftOf(points);
        }
    }
}

TYPED_TEST(InnerPointsOf, DoubtfulInputsAreLeftAlone)
{
    using T = TypeParam;
    Support::Random random(35);
    auto points = Support::MakePoints<2, T>(Support::PointSet::Ball, kCount, random);
    const auto scaled = [&](T x, T y) {
        Points<T> result = points;
        for (auto& p : result) {
            p = {p[0] * x, p[1] * y};
        }
        return Impl::WithoutInnerPoints(result).has_value();
    };
    EXPECT_TRUE(scaled(100, 100));
    EXPECT_FALSE(scaled(T(1e-7), T(1e-7)));                             // as small as the tolerance
    EXPECT_FALSE(scaled(100, 100 * std::numeric_limits<T>::epsilon())); // all but a line
    EXPECT_FALSE(scaled(100, 0));
    EXPECT_FALSE(scaled(0, 100));
    EXPECT_FALSE(scaled(std::numeric_limits<T>::max(), std::numeric_limits<T>::max())); // overflow
    EXPECT_FALSE(scaled(std::numeric_limits<T>::max() / 4, 1));
    points[5][0] = std::numeric_limits<T>::quiet_NaN();
    EXPECT_FALSE(scaled(100, 100));
    points[5] = {0, std::numeric_limits<T>::infinity()};
    EXPECT_FALSE(scaled(100, 100));
    points.resize(100);
    EXPECT_FALSE(scaled(100, 100)); // too few
}

TYPED_TEST(InnerPointsOf, ThePublicHullIsThePlainOne)
{
    using T = TypeParam;
    Support::Random random(36);
    auto points = Support::MakePoints<2, T>(Support::PointSet::Ball, 200'000, random);
    for (auto& p : points) {
        p = p * T(100);
    }
    EXPECT_EQ(ConvexHull(points, false), Support::PlainChain(points));
    Vector::FilterForUniqueness(points, kLengthFloor<T>);
    EXPECT_EQ(ConvexHull(points, true), Support::PlainChain(points));
}

} // namespace
