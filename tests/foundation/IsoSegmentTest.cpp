// The level line of a linear field on a triangle.

#include <Sorvane/MeshQueries_E.h>

#include "tests/support/TestSupport.h"

#include <array>
#include <limits>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::IsoSegmentFromTriangle;

template <class V>
class IsoSegmentOf : public testing::Test {
};
using Points =
    testing::Types<VecBase<2, float>, VecBase<2, double>, VecBase<3, float>, VecBase<3, double>>;
TYPED_TEST_SUITE(IsoSegmentOf, Points);

template <class V>
V P(double x, double y)
{
    if constexpr (V::size() == 2) {
        return V{x, y};
    } else {
        return V{x, y, 2 * x - y};
    }
}

template <class V>
using Segment = std::array<V, 2>;

/// Corners (0, 0), (4, 0), (0, 4).
template <class V>
bool Iso(double s0, double s1, double s2, double level, Segment<V>& segment)
{
    using T = typename V::value_type;
    return IsoSegmentFromTriangle(P<V>(0, 0), P<V>(4, 0), P<V>(0, 4), static_cast<T>(s0),
                                  static_cast<T>(s1), static_cast<T>(s2), static_cast<T>(level),
                                  segment);
}

TYPED_TEST(IsoSegmentOf, EachPairOfEdgesInItsOrder)
{
    using V = TypeParam;
    Segment<V> segment;
    // Greatest at p0 with A, B, C = p0, p1, p2. Level over B and C: A-B, then A-C.
    ASSERT_TRUE(Iso<V>(4, 0, 0, 1, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(3, 0), P<V>(0, 3)}));
    // Level between B and C > B: A-B, then B-C.
    ASSERT_TRUE(Iso<V>(4, 0, 4, 1, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(3, 0), P<V>(3, 1)}));
    // Level between C and B > C: B-C, then C-A.
    ASSERT_TRUE(Iso<V>(4, 4, 0, 1, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(1, 3), P<V>(0, 3)}));
}

TYPED_TEST(IsoSegmentOf, EndsFollowTheCornersRotatedToTheGreatestValue)
{
    using V = TypeParam;
    Segment<V> segment;
    // Greatest at p1: A, B, C = p1, p2, p0.
    ASSERT_TRUE(Iso<V>(0, 4, 0, 1, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(1, 3), P<V>(1, 0)}));
    // Greatest at p2: A, B, C = p2, p0, p1.
    ASSERT_TRUE(Iso<V>(0, 0, 4, 1, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(0, 1), P<V>(3, 1)}));
    // Two greatest: the first of them leads, p1 over p2 and p0 over p1 and p2.
    ASSERT_TRUE(Iso<V>(0, 4, 4, 1, segment)); // A, B, C = p1, p2, p0: B-C, then C-A
    EXPECT_EQ(segment, (Segment<V>{P<V>(0, 1), P<V>(1, 0)}));
}

TYPED_TEST(IsoSegmentOf, LevelOutsideOrAtTheGreatestLeavesTheSegmentAlone)
{
    using V = TypeParam;
    const Segment<V> before{P<V>(7, 7), P<V>(8, 8)};
    Segment<V> segment = before;
    EXPECT_FALSE(Iso<V>(1, 2, 3, 4, segment));
    EXPECT_FALSE(Iso<V>(1, 2, 3, 3, segment));
    EXPECT_FALSE(Iso<V>(1, 3, 3, 3, segment));
    EXPECT_FALSE(Iso<V>(1, 2, 3, 0.5, segment));
    EXPECT_FALSE(Iso<V>(2, 2, 2, 2, segment));
    EXPECT_EQ(segment, before);
}

TYPED_TEST(IsoSegmentOf, LevelAtTheSmallestValueEndsAtThatCorner)
{
    using V = TypeParam;
    Segment<V> segment;
    ASSERT_TRUE(Iso<V>(0, 4, 2, 0, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(0, 0), P<V>(0, 0)})); // of zero length
    // Two smallest: the edge between them.
    ASSERT_TRUE(Iso<V>(4, 0, 0, 0, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(4, 0), P<V>(0, 4)}));
}

TYPED_TEST(IsoSegmentOf, LevelAtTheMiddleValueEndsThere)
{
    using V = TypeParam;
    Segment<V> segment;
    // A, B, C = 4, 2, 0: through p1 and the middle of p0p2. C <= level and B > level fails; A-B
    // counts.
    ASSERT_TRUE(Iso<V>(4, 2, 0, 2, segment));
    EXPECT_EQ(segment, (Segment<V>{P<V>(4, 0), P<V>(0, 2)}));
}

TYPED_TEST(IsoSegmentOf, NanIsNoLevel)
{
    using V = TypeParam;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    Segment<V> segment;
    EXPECT_FALSE(Iso<V>(0, 4, 2, nan, segment));
    EXPECT_FALSE(Iso<V>(nan, nan, nan, 1, segment));
    EXPECT_FALSE(Iso<V>(nan, 2, 3, 2.5, segment)); // the side 1-2 alone is crossed
}

TYPED_TEST(IsoSegmentOf, EndsAreWeighedMeansFromTheSmallerValueToTheGreater)
{
    using V = TypeParam;
    using T = typename V::value_type;
    Support::Random random(15);
    const auto mean = [](const V& low, const V& high, T s, T t, T level) {
        const T weight = (level - s) / (t - s);
        return low * (1 - weight) + high * weight;
    };
    for (int trial = 0; trial < 200; ++trial) {
        std::array<V, 3> p;
        for (V& point : p) {
            point = random.Vector<V::size(), T>(-2, 2);
        }
        // Smallest, middle and greatest value at p0, p2 and p1: A, B, C = p1, p2, p0.
        const T least = static_cast<T>(random.Between(-3, -2));
        const T middle = static_cast<T>(random.Between(-1, 1));
        const T greatest = static_cast<T>(random.Between(2, 3));
        const T low = static_cast<T>(random.Between(-1.9, -1.1));
        const T high = static_cast<T>(random.Between(1.1, 1.9));
        Segment<V> segment;
        ASSERT_TRUE(
            IsoSegmentFromTriangle(p[0], p[1], p[2], least, greatest, middle, low, segment));
        EXPECT_EQ(segment, (Segment<V>{mean(p[0], p[2], least, middle, low),
                                       mean(p[0], p[1], least, greatest, low)}));
        ASSERT_TRUE(
            IsoSegmentFromTriangle(p[0], p[1], p[2], least, greatest, middle, high, segment));
        EXPECT_EQ(segment, (Segment<V>{mean(p[2], p[1], middle, greatest, high),
                                       mean(p[0], p[1], least, greatest, high)}));
    }
}

TYPED_TEST(IsoSegmentOf, EndsLieOnTheLevelAndNeighborsAgreeBitForBit)
{
    using V = TypeParam;
    using T = typename V::value_type;
    Support::Random random(14);
    const T close = std::is_same_v<T, float> ? T(2e-5F) : T(1e-13);
    for (int trial = 0; trial < 1000; ++trial) {
        // A linear field on four points; the triangles 0 1 2 and 2 1 3 share an edge.
        std::array<V, 4> p;
        std::array<T, 4> s;
        V slope = random.Vector<V::size(), T>(-1, 1);
        for (std::size_t i = 0; i < 4; ++i) {
            p[i] = random.Vector<V::size(), T>(-2, 2);
            s[i] = p[i] * slope;
        }
        const T level = static_cast<T>(random.Between(-2, 2));
        Segment<V> left;
        Segment<V> right;
        const bool inLeft = IsoSegmentFromTriangle(p[0], p[1], p[2], s[0], s[1], s[2], level, left);
        const bool inRight =
            IsoSegmentFromTriangle(p[2], p[1], p[3], s[2], s[1], s[3], level, right);
        const auto spans = [&](std::size_t i, std::size_t j, std::size_t k) {
            return level >= std::min({s[i], s[j], s[k]}) && level < std::max({s[i], s[j], s[k]});
        };
        EXPECT_EQ(inLeft, spans(0, 1, 2));
        EXPECT_EQ(inRight, spans(1, 2, 3));
        if (inLeft) {
            EXPECT_NEAR(left[0] * slope, level, close);
            EXPECT_NEAR(left[1] * slope, level, close);
        }
        if (level >= std::min(s[1], s[2]) && level < std::max(s[1], s[2])) {
            ASSERT_TRUE(inLeft && inRight);
            int common = 0;
            for (const V& a : left) {
                for (const V& b : right) {
                    common += a == b ? 1 : 0;
                }
            }
            EXPECT_GE(common, 1);
        }
    }
}

} // namespace
