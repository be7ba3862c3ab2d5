// Points on straight stretches thinned away.

#include <Sorvane/ArcFitting_E.h>

#include "tests/planar/SampledProfiles.h"

#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class Thinning : public testing::Test {
};
template <class T>
using PointsOf = std::vector<VecBase<2, T>>;
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(Thinning, Coordinates);

TYPED_TEST(Thinning, KeepsBothEndsOfAStraightPolyline)
{
    using Points = PointsOf<TypeParam>;
    const Points points{{0, 0}, {1, 1}, {2, 2}, {3, 3}, {5, 5}};
    EXPECT_EQ(FilterZeroCurvature<TypeParam>(points, TypeParam(1e-3), TypeParam(1e-3)),
              (Points{{0, 0}, {5, 5}}));
}

TYPED_TEST(Thinning, KeepsCornersAndDropsWhatIsBetween)
{
    using Points = PointsOf<TypeParam>;
    const Points points{{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {0, 2}, {0, 1}, {0, 0}};
    EXPECT_EQ(FilterZeroCurvature<TypeParam>(points, TypeParam(1e-3), TypeParam(1e-3)),
              (Points{{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}));
}

// Three points of the circle of radius 5: kept for a tolerance below 1/5 alone.
TYPED_TEST(Thinning, ComparesTheCurvatureOfTheCircleThroughThreePoints)
{
    using T = TypeParam;
    for (const double sense : {1.0, -1.0}) {
        const auto points = OnArc<T>({1, 1}, 5, 0.4, sense * 0.5, 2);
        EXPECT_EQ(FilterZeroCurvature(points, T(0.199), T(0)).size(), 3U);
        EXPECT_EQ(FilterZeroCurvature(points, T(0.201), T(0)).size(), 2U);
    }
}

TYPED_TEST(Thinning, LeavesOutPointsThatMatchTheOneBefore)
{
    using T = TypeParam;
    using Points = PointsOf<TypeParam>;
    // The third is 0.1 from the second in both coordinates: 0.14 away, and within 0.1.
    const Points points{{0, 0}, {4, 0}, {T(4.0625), T(0.0625)}, {4, 4}, {8, 4}};
    EXPECT_EQ(FilterZeroCurvature(points, T(1e-3), T(0.0625)),
              (Points{{0, 0}, {4, 0}, {4, 4}, {8, 4}}));
    EXPECT_EQ(FilterZeroCurvature(points, T(1e-3), T(0.06)).size(), 5U);
}

TYPED_TEST(Thinning, LastPointTooNearTheOneBeforeIsLeftOutOfAnOpenPolyline)
{
    using T = TypeParam;
    using Points = PointsOf<TypeParam>;
    const Points open{{0, 0}, {4, 0}, {4, 4}, {T(4.03125), 4}};
    EXPECT_EQ(FilterZeroCurvature(open, T(1e-3), T(0.0625)), (Points{{0, 0}, {4, 0}, {4, 4}}));
}

TYPED_TEST(Thinning, ClosedPolylineGetsItsLastPointBack)
{
    using T = TypeParam;
    using Points = PointsOf<TypeParam>;
    const Points closed{{0, 0}, {4, 0}, {4, 4}, {T(0.03125), 0}, {0, 0}};
    EXPECT_EQ(FilterZeroCurvature(closed, T(1e-3), T(0.0625)), closed);
    // Closed within the floor, not within the point tolerance.
    Points nearly = closed;
    nearly.back() = {T(0.0078125), 0};
    EXPECT_EQ(FilterZeroCurvature(nearly, T(1e-3), T(0.0625)).size(), 4U);
}

TYPED_TEST(Thinning, CornerDrawnTwiceIsKeptOnce)
{
    using T = TypeParam;
    using Points = PointsOf<TypeParam>;
    const Points points{{0, 0}, {4, 0}, {4, 0}, {4, 4}};
    EXPECT_EQ(FilterZeroCurvature(points, T(1e-3), T(1e-3)), (Points{{0, 0}, {4, 0}, {4, 4}}));
    EXPECT_EQ(FilterZeroCurvature(points, T(1e-3), T(0)), (Points{{0, 0}, {4, 0}, {4, 4}}));
    const Points thrice{{0, 0}, {4, 0}, {4, 0}, {4, 0}, {4, 4}};
    EXPECT_EQ(FilterZeroCurvature(thrice, T(1e-3), T(1e-3)), (Points{{0, 0}, {4, 0}, {4, 4}}));
}

TYPED_TEST(Thinning, PointOfALineDrawnTwiceIsDropped)
{
    using T = TypeParam;
    using Points = PointsOf<TypeParam>;
    const Points points{{0, 0}, {2, 0}, {2, 0}, {4, 0}};
    EXPECT_EQ(FilterZeroCurvature(points, T(1e-3), T(1e-3)), (Points{{0, 0}, {4, 0}}));
}

TYPED_TEST(Thinning, TipOfAPathOutAndBackIsKept)
{
    using T = TypeParam;
    using Points = PointsOf<TypeParam>;
    for (const Points& points : {Points{{0, 0}, {4, 0}, {0, 0}}, Points{{0, 0}, {4, 0}, {1, 0}},
                                 Points{{2, 0}, {4, 0}, {0, 0}}}) {
        EXPECT_EQ(FilterZeroCurvature(points, T(1e-3), T(1e-3)), points);
    }
    const Points fine{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {3, 0}, {2, 0}, {1, 0}};
    EXPECT_EQ(FilterZeroCurvature(fine, T(1e-3), T(1e-3)), (Points{{0, 0}, {4, 0}, {1, 0}}));
}

// Neighbors 6e-5 apart on a slanted line bend by their rounding alone, to radii of some 10^5.
TYPED_TEST(Thinning, RoundingOfVeryManyPointsIsNoBend)
{
    using T = TypeParam;
    const int count = std::is_same_v<T, float> ? 3000 : 200'000;
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i <= count; ++i) {
        const double along = static_cast<double>(i) / count;
        points.emplace_back(Vec2d(0.1, 0.2) + Vec2d(10.2, 7.5) * along);
    }
    EXPECT_EQ(FilterZeroCurvature(points, T(1e-6), T(1e-3)).size(), 2U);
    // Far from the origin, where a coordinate is rounded to 1e-10.
    if (std::is_same_v<T, double>) {
        for (auto& p : points) {
            p = VecBase<2, T>(Vec2d(p[0], p[1]) + Vec2d(1e6, 1e6));
        }
        EXPECT_EQ(FilterZeroCurvature(points, T(1e-6), T(1e-3)).size(), 2U);
    }
}

// The corner of two such lines is a point of its own, not one of its doubtful neighbors.
TYPED_TEST(Thinning, CornerOfVeryManyPointsIsKeptExactly)
{
    using T = TypeParam;
    const int count = std::is_same_v<T, float> ? 3000 : 100'000;
    std::vector<VecBase<2, T>> points;
    const Vec2d corner(10.3, 7.7);
    for (int i = -count; i <= count; ++i) {
        const double along = static_cast<double>(i) / count;
        points.emplace_back(corner + (i < 0 ? Vec2d(10.2, 7.5) : Vec2d(-3.3, 9.1)) * along);
    }
    const auto kept = FilterZeroCurvature(points, T(1e-6), T(1e-2));
    EXPECT_EQ(kept, (PointsOf<T>{points.front(), VecBase<2, T>(corner), points.back()}));
}

TYPED_TEST(Thinning, ArcOfVeryManyPointsIsNotThinnedToItsEnds)
{
    using T = TypeParam;
    const int count = std::is_same_v<T, float> ? 10'000 : 200'000;
    const auto points = OnArc<T>({1, 2}, 10, 0, 1, count);
    const auto kept = FilterZeroCurvature(points, T(1e-4), T(1e-2));
    EXPECT_GT(kept.size(), 300U); // 10 long, by steps of 0.01 per coordinate
    EXPECT_LT(kept.size(), 1500U);
    // Rounding hides the bends of neighbors in `float`, and every second point goes until they
    // show.
    EXPECT_GT(FilterZeroCurvature(points, T(1e-4), T(0)).size(), 100U);
}

TYPED_TEST(Thinning, SmallAndBadInput)
{
    using T = TypeParam;
    using Points = PointsOf<TypeParam>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    EXPECT_TRUE(FilterZeroCurvature<T>({}, T(1), T(1)).empty());
    EXPECT_EQ(FilterZeroCurvature<T>({{1, 2}}, T(1), T(1)), (Points{{1, 2}}));
    EXPECT_EQ(FilterZeroCurvature<T>({{1, 2}, {3, 4}}, T(1), T(1)), (Points{{1, 2}, {3, 4}}));
    EXPECT_EQ(FilterZeroCurvature(Points(100, {1, 2}), T(1e-3), T(0)), (Points{{1, 2}}));
    const Points points{{0, 0}, {4, 0}, {4, 4}};
    EXPECT_TRUE(FilterZeroCurvature(points, nan, T(1)).empty());
    EXPECT_TRUE(FilterZeroCurvature(points, T(1), nan).empty());
    for (const T bad : {nan, std::numeric_limits<T>::infinity()}) {
        EXPECT_TRUE(FilterZeroCurvature<T>({{0, 0}, {4, bad}, {4, 4}}, T(1), T(1)).empty());
    }
    EXPECT_EQ(FilterZeroCurvature(points, T(-1), T(-1)), points);
    // Nothing bends by more than that, and everything is near by that.
    const T infinity = std::numeric_limits<T>::infinity();
    EXPECT_EQ(FilterZeroCurvature(points, infinity, T(0)), (Points{{0, 0}, {4, 4}}));
    EXPECT_EQ(FilterZeroCurvature(points, T(0), infinity), (Points{{0, 0}}));
}

TYPED_TEST(Thinning, KeptPointsAreInputPointsInOrder)
{
    using T = TypeParam;
    Random random(3);
    for (int trial = 0; trial < 100; ++trial) {
        std::vector<VecBase<2, T>> points;
        for (int i = random.Below(60); i >= 0; --i) {
            points.push_back({T(random.Below(6)), T(random.Below(6))});
        }
        const auto kept = FilterZeroCurvature(points, T(random.Between(0, 2)), T(random.Below(2)));
        auto from = points.begin();
        for (const auto& p : kept) {
            from = std::find(from, points.end(), p);
            ASSERT_NE(from, points.end());
            ++from;
        }
        EXPECT_EQ(kept.front(), points.front());
        if (points.size() > 1 && points.front() == points.back() && kept.size() > 1) {
            EXPECT_EQ(kept.front(), kept.back());
        }
    }
}

} // namespace
