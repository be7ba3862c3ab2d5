// Elements and chains: ends, tangents, reversal, appending, the closed test.

#include <Sorvane/ArcSegChain_E.h>

#include "tests/planar/ChainSupport.h"

#include <limits>
#include <type_traits>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class ChainOf : public testing::Test {
public:
    using Point = VecBase<2, T>;
    using Seg = Geometry::SegBase<T>;
    using Arc = Geometry::ArcBase<T>;
    static constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();

    static void ExpectNear(const Point& actual, double x, double y)
    {
        EXPECT_NEAR(actual[0], x, kNear<T>);
        EXPECT_NEAR(actual[1], y, kNear<T>);
    }
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ChainOf, Coordinates);

TYPED_TEST(ChainOf, ElementIsAPolymorphicValue)
{
    using Element = ArcSegBase<TypeParam>;
    static_assert(std::has_virtual_destructor_v<Element>);
    static_assert(std::has_virtual_destructor_v<PolyArcSegBase<TypeParam>>);
    static_assert(std::is_nothrow_move_constructible_v<Element>); // vectors move when they grow
    static_assert(!std::has_virtual_destructor_v<PolylineDataBase<TypeParam>>);

    const Element none;
    EXPECT_EQ(none.Alternative(), 0);
    ASSERT_NE(none.AsSegment(), nullptr);
    EXPECT_EQ(none.AsArc(), nullptr);
    EXPECT_EQ(none.Length(), 0);

    Element element(typename TestFixture::Arc{{0, 0}, {1, 0}, TypeParam{1}});
    EXPECT_EQ(element.Alternative(), 1);
    EXPECT_EQ(element.AsSegment(), nullptr);
    ASSERT_NE(element.AsArc(), nullptr);
    element = Element(typename TestFixture::Seg{{0, 0}, {3, 4}});
    EXPECT_EQ(element.Alternative(), 0);
    EXPECT_EQ(element.AsArc(), nullptr);
    element.AsSegment()->end = {6, 8};
    EXPECT_EQ(element.Length(), 10);
}

TYPED_TEST(ChainOf, SegmentEndsLengthAndTangents)
{
    const ArcSegBase<TypeParam> element(typename TestFixture::Seg{{1, 2}, {4, 6}});
    EXPECT_EQ(element.StartPoint(), (typename TestFixture::Point(1, 2)));
    EXPECT_EQ(element.EndPoint(), (typename TestFixture::Point(4, 6)));
    EXPECT_EQ(element.Length(), 5);
    this->ExpectNear(element.StartTangent(), 0.6, 0.8);
    EXPECT_EQ(element.StartTangent(), element.EndTangent());
}

TYPED_TEST(ChainOf, ArcTangentsFollowTheSense)
{
    // Quarter circle of radius 2 from (2, 0): up and over to (0, 2), or down to (0, -2).
    const auto quarter = static_cast<TypeParam>(kHalfTurn);
    const ArcSegBase<TypeParam> left(typename TestFixture::Arc{{0, 0}, {2, 0}, quarter});
    this->ExpectNear(left.EndPoint(), 0, 2);
    this->ExpectNear(left.StartTangent(), 0, 1);
    this->ExpectNear(left.EndTangent(), -1, 0);
    EXPECT_EQ(left.Length(), quarter);

    const ArcSegBase<TypeParam> right(typename TestFixture::Arc{{0, 0}, {2, 0}, -quarter});
    this->ExpectNear(right.EndPoint(), 0, -2);
    this->ExpectNear(right.StartTangent(), 0, -1);
    this->ExpectNear(right.EndTangent(), -1, 0);
    EXPECT_EQ(right.Length(), quarter);
}

TYPED_TEST(ChainOf, TangentsAreTheDirectionsOfNearbyPoints)
{
    Random random(11);
    for (int trial = 0; trial < 100; ++trial) {
        const auto chain = RandomChain<TypeParam>(random, 2);
        const auto& element = chain.elements.back();
        const double h = 1e-6;
        const Vec2d start = (PointOf(element, h) - PointOf(element, 0)) / (h * LengthOf(element));
        const Vec2d end = (PointOf(element, 1) - PointOf(element, 1 - h)) / (h * LengthOf(element));
        const auto startTangent = element.StartTangent();
        const auto endTangent = element.EndTangent();
        for (int axis = 0; axis < 2; ++axis) {
            EXPECT_NEAR(startTangent[axis], start[axis], 2e-5);
            EXPECT_NEAR(endTangent[axis], end[axis], 2e-5);
        }
    }
}

TYPED_TEST(ChainOf, DegenerateElementsHaveNoStartTangent)
{
    using V = typename TestFixture::Point;
    const ArcSegBase<TypeParam> point(typename TestFixture::Seg{{1, 1}, {1, 1}});
    EXPECT_EQ(point.StartTangent(), V());
    EXPECT_EQ(point.EndTangent(), V());
    const ArcSegBase<TypeParam> dot(typename TestFixture::Arc{{1, 1}, {1, 1}, TypeParam{1}});
    EXPECT_EQ(dot.StartTangent(), V());
    EXPECT_EQ(dot.EndTangent(), V(0, 1)); // polar angle 0, counter-clockwise
    EXPECT_EQ(dot.EndPoint(), V(1, 1));
}

TYPED_TEST(ChainOf, TangentFloorIsThatOfTheType)
{
    // Between the floors of `double` and `float`.
    const ArcSegBase<TypeParam> tiny(typename TestFixture::Seg{{0, 0}, {1e-10, 0}});
    const double expected = std::is_same_v<TypeParam, float> ? 0 : 1;
    EXPECT_NEAR(tiny.StartTangent()[0], expected, kNear<TypeParam>);
}

TYPED_TEST(ChainOf, ReverseSwapsASegmentAndKeepsAnArcsCenter)
{
    using V = typename TestFixture::Point;
    ArcSegBase<TypeParam> segment(typename TestFixture::Seg{{1, 2}, {4, 6}});
    segment.Reverse();
    EXPECT_EQ(segment, (ArcSegBase<TypeParam>(typename TestFixture::Seg{{4, 6}, {1, 2}})));

    Random random(12);
    for (int trial = 0; trial < 50; ++trial) {
        const auto chain = RandomChain<TypeParam>(random, 3);
        for (const auto& element : chain.elements) {
            auto back = element;
            back.Reverse();
            EXPECT_EQ(back.StartPoint(), element.EndPoint());
            EXPECT_EQ(back.Length(), element.Length());
            EXPECT_EQ(back.Alternative(), element.Alternative());
            const V gap = back.EndPoint() - element.StartPoint();
            EXPECT_LE(std::hypot(gap[0], gap[1]), kNear<TypeParam>);
            const V turn = back.StartTangent() + element.EndTangent();
            EXPECT_LE(std::hypot(turn[0], turn[1]), 10 * kNear<TypeParam>);
            if (element.AsArc() != nullptr) {
                EXPECT_EQ(back.AsArc()->center, element.AsArc()->center);
                EXPECT_EQ(back.AsArc()->length, -element.AsArc()->length);
            }
        }
    }
}

TYPED_TEST(ChainOf, DefaultToleranceIsTheSameFigureForBothTypes)
{
    EXPECT_EQ(PolyArcSegBase<TypeParam>().tolerance, static_cast<TypeParam>(1e-12));
}

TYPED_TEST(ChainOf, CopiesAreDeep)
{
    const auto square = Square<TypeParam>();
    auto copy = square;
    copy.elements[1].AsSegment()->end = {9, 9};
    EXPECT_EQ(square, Square<TypeParam>());
    EXPECT_FALSE(copy == square);
    auto moved = std::move(copy);
    EXPECT_EQ(moved.elements.size(), 4u);
}

TYPED_TEST(ChainOf, EmptyChainTakesAnything)
{
    using V = typename TestFixture::Point;
    PolyArcSegBase<TypeParam> point;
    EXPECT_TRUE(point.AppendSegment({3, 3}, {3, 3}));
    EXPECT_EQ(point.elements.size(), 1u);
    PolyArcSegBase<TypeParam> dot;
    EXPECT_TRUE(dot.AppendArc({3, 3}, {3, 3}, 0));
    EXPECT_EQ(End(dot), V(3, 3));
}

TYPED_TEST(ChainOf, AppendSegmentSnapsItsStart)
{
    using V = typename TestFixture::Point;
    PolyArcSegBase<TypeParam> chain;
    chain.tolerance = TypeParam(0.25);
    ASSERT_TRUE(chain.AppendSegment({0, 0}, {1, 0}));
    ASSERT_TRUE(chain.AppendSegment({1, 0.25}, {1, 1})); // exactly at the tolerance
    EXPECT_EQ(chain.elements[1].StartPoint(), V(1, 0));
    EXPECT_EQ(End(chain), V(1, 1));
}

TYPED_TEST(ChainOf, AppendSegmentRefusesAFarStart)
{
    PolyArcSegBase<TypeParam> chain;
    chain.tolerance = TypeParam(0.25);
    ASSERT_TRUE(chain.AppendSegment({0, 0}, {1, 0}));
    const auto before = chain;
    EXPECT_FALSE(chain.AppendSegment({1, 0.2500001}, {1, 1}));
    // Euclidean, not per coordinate: (0.2, 0.2) is 0.28 away.
    EXPECT_FALSE(chain.AppendSegment({1.2, 0.2}, {1, 1}));
    EXPECT_EQ(chain, before);
}

TYPED_TEST(ChainOf, AppendSegmentRefusesAnEndWithinToleranceOfTheCurrentEnd)
{
    PolyArcSegBase<TypeParam> chain;
    chain.tolerance = TypeParam(0.25);
    ASSERT_TRUE(chain.AppendSegment({0, 0}, {1, 0}));
    const auto before = chain;
    EXPECT_FALSE(chain.AppendSegment({1, 0}, {1, 0}));
    EXPECT_FALSE(chain.AppendSegment({1, 0}, {1, 0.25})); // at the tolerance is within
    EXPECT_EQ(chain, before);
    EXPECT_TRUE(chain.AppendSegment({1, 0}, {1, 0.2500001}));
}

TYPED_TEST(ChainOf, AppendArcDoesNotSnap)
{
    using V = typename TestFixture::Point;
    PolyArcSegBase<TypeParam> chain;
    chain.tolerance = TypeParam(0.25);
    ASSERT_TRUE(chain.AppendSegment({0, 0}, {1, 0}));
    EXPECT_FALSE(chain.AppendArc({1, 1}, {1.2, 0.2}, 1));
    EXPECT_EQ(chain.elements.size(), 1u);
    EXPECT_TRUE(chain.AppendArc({1, 1}, {1, 0.25}, 1));
    EXPECT_EQ(chain.elements[1].StartPoint(), V(1, 0.25));
    EXPECT_TRUE(chain.AppendArc({5, 5}, End(chain), 0)); // arcs of no length are not refused
}

TYPED_TEST(ChainOf, AppendRefusesNaN)
{
    const TypeParam nan = TestFixture::kNaN;
    auto chain = Lines<TypeParam>({{0, 0}, {1, 0}});
    EXPECT_FALSE(chain.AppendSegment({nan, 0}, {2, 0}));
    EXPECT_FALSE(chain.AppendSegment({1, 0}, {2, nan}));
    EXPECT_FALSE(chain.AppendArc({0, 0}, {nan, 0}, 1));
    EXPECT_EQ(chain.elements.size(), 1u);
}

TYPED_TEST(ChainOf, AppendedPointMayLieInTheChainItself)
{
    auto chain = Lines<TypeParam>({{0, 0}, {1, 0}});
    // References into the vector that grows.
    for (int i = 0; i < 20; ++i) {
        const auto& end = chain.elements.back().AsSegment()->end;
        const auto& far = chain.elements.front().AsSegment()->start;
        ASSERT_TRUE(
            chain.AppendSegment(end, i % 2 == 0 ? far : chain.elements[0].AsSegment()->end));
    }
    EXPECT_EQ(End(chain), (typename TestFixture::Point(1, 0)));
}

TYPED_TEST(ChainOf, ClosedNeedsElementsAndEveryJoint)
{
    EXPECT_FALSE(PolyArcSegBase<TypeParam>().IsClosed());
    EXPECT_TRUE(Square<TypeParam>().IsClosed());
    EXPECT_FALSE(Hairpin<TypeParam>().IsClosed());
    EXPECT_TRUE(Circle<TypeParam>(2, 1).IsClosed());
    EXPECT_TRUE(Circle<TypeParam>(2, -1).IsClosed());

    auto torn = Square<TypeParam>();
    torn.elements[1].AsSegment()->end = {3, 2}; // a joint in the middle; the ends still meet
    EXPECT_FALSE(torn.IsClosed());

    PolyArcSegBase<TypeParam> point;
    point.AppendSegment({1, 1}, {1, 1});
    EXPECT_TRUE(point.IsClosed());
}

TYPED_TEST(ChainOf, ClosedTestIsEuclideanAndTakesTheToleranceItself)
{
    auto gap = Lines<TypeParam>({{0, 0}, {4, 0}, {4, 4}, {0, 0.5}});
    gap.tolerance = TypeParam(0.5);
    EXPECT_TRUE(gap.IsClosed());
    gap.tolerance = TypeParam(0.4999);
    EXPECT_FALSE(gap.IsClosed());
    auto diagonal = Lines<TypeParam>({{0, 0}, {4, 0}, {4, 4}, {0.3, 0.4}});
    diagonal.tolerance = TypeParam(0.45); // each coordinate is within, the distance is not
    EXPECT_FALSE(diagonal.IsClosed());
    diagonal.elements[0].AsSegment()->start = {TestFixture::kNaN, 0};
    EXPECT_FALSE(diagonal.IsClosed());
}

TEST(Chain, BigCircleMayCountAsOpenUnderATightTolerance)
{
    // The end is derived, with a rounding of about 1e-11 at this radius: over 1e-12, far below
    // 1e-9. Some start angle shows it.
    int open = 0;
    for (int i = 0; i < 32; ++i) {
        const double angle = 0.2 * i;
        PolyArcSegBase<double> circle;
        circle.AppendArc({0, 0}, {1e5 * std::cos(angle), 1e5 * std::sin(angle)}, 2e5 * kHalfTurn);
        open += circle.IsClosed() ? 0 : 1;
        circle.tolerance = 1e-9;
        EXPECT_TRUE(circle.IsClosed());
    }
    EXPECT_GT(open, 0);
}

} // namespace
