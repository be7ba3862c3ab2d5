// Linking loose segments into polylines, in the plane (both coordinate types) and in space.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

using Velk::Math::Vec2d;
using Velk::Math::VecBase;
using Velk::Math::Geometry::SegBase;

// One set of tests for the three forms: a form names its point and links pairs of points.
template <class T>
struct Plane {
    using Scalar = T;
    using Point = VecBase<2, T>;
    static constexpr int kDimension = 2;
    static std::vector<std::vector<Point>> Link(const std::vector<std::array<Point, 2>>& pairs,
                                                T tolerance)
    {
        std::vector<SegBase<T>> segments;
        for (const auto& [start, end] : pairs) {
            segments.push_back({start, end});
        }
        return Velk::Math::Vector::SegmentsToPolyPointStream(segments, tolerance);
    }
};

struct Space {
    using Scalar = double;
    using Point = VecBase<3, double>;
    static constexpr int kDimension = 3;
    static std::vector<std::vector<Point>> Link(const std::vector<std::array<Point, 2>>& pairs,
                                                double tolerance)
    {
        return Velk::Math::Vector::LineSegmentsToPolyPointStream(pairs, tolerance);
    }
};

template <class Form>
class SegmentChains : public testing::Test {
public:
    using Scalar = typename Form::Scalar;
    using Point = typename Form::Point;
    using PairList = std::vector<std::array<Point, 2>>;
    using ChainList = std::vector<std::vector<Point>>;

    static Point At(double x, double y)
    {
        Point p;
        p[0] = static_cast<Scalar>(x);
        p[1] = static_cast<Scalar>(y);
        if (Form::kDimension == 3) {
            p[Form::kDimension - 1] = static_cast<Scalar>(Form::kDimension == 3 ? 7 * x - y : y);
        }
        return p;
    }
    static double Span(const Point& a, const Point& b)
    {
        return static_cast<double>(Length(b - a));
    }
};
using Forms = testing::Types<Plane<float>, Plane<double>, Space>;
TYPED_TEST_SUITE(SegmentChains, Forms);

#define AT(x, y) TestFixture::At(x, y)

TYPED_TEST(SegmentChains, LinksEitherWayRoundInTheDirectionOfTheFirst)
{
    using Pairs = typename TestFixture::PairList;
    const Pairs pairs{
        {AT(2, 0), AT(1, 0)}, {AT(2, 0), AT(3, 1)}, {AT(0, 0), AT(1, 0)}, {AT(4, 4), AT(3, 1)}};
    const typename TestFixture::ChainList expected{
        {AT(4, 4), AT(3, 1), AT(2, 0), AT(1, 0), AT(0, 0)}};
    EXPECT_EQ(TypeParam::Link(pairs, 1e-8F), expected);
}

TYPED_TEST(SegmentChains, ClosedChainRepeatsItsFirstPoint)
{
    using Pairs = typename TestFixture::PairList;
    const Pairs pairs{{AT(0, 0), AT(1, 0)}, {AT(0, 0), AT(0, 1)}, {AT(1, 0), AT(0, 1)}};
    const typename TestFixture::ChainList expected{{AT(0, 0), AT(1, 0), AT(0, 1), AT(0, 0)}};
    EXPECT_EQ(TypeParam::Link(pairs, 1e-8F), expected);
}

TYPED_TEST(SegmentChains, JointsKeepThePointMetFirstAndClosureItsBits)
{
    using Pairs = typename TestFixture::PairList;
    const Pairs pairs{
        {AT(0, 0), AT(1, 0)}, {AT(1.01, 0.01), AT(0, 1)}, {AT(0.01, 1), AT(-0.01, 0)}};
    const auto chains = TypeParam::Link(pairs, static_cast<typename TestFixture::Scalar>(0.2));
    const typename TestFixture::ChainList expected{{AT(0, 0), AT(1, 0), AT(0, 1), AT(0, 0)}};
    EXPECT_EQ(chains, expected);
}

TYPED_TEST(SegmentChains, AtAJunctionTheLowestNumberGoesOn)
{
    using Pairs = typename TestFixture::PairList;
    const Pairs pairs{
        {AT(0, 0), AT(1, 0)}, {AT(1, 0), AT(1, -5)}, {AT(2, 0), AT(1, 0)}, {AT(1, 0), AT(1, 5)}};
    const typename TestFixture::ChainList expected{{AT(0, 0), AT(1, 0), AT(1, -5)},
                                                   {AT(2, 0), AT(1, 0), AT(1, 5)}};
    EXPECT_EQ(TypeParam::Link(pairs, 1e-8F), expected);
}

TYPED_TEST(SegmentChains, ALoopThatIsBackAtItsStartIsComplete)
{
    using Pairs = typename TestFixture::PairList;
    // A triangle with a tail at the corner where the first segment starts, listed before the
    // closing side.
    const Pairs pairs{
        {AT(0, 0), AT(1, 0)}, {AT(0, 0), AT(-1, 0)}, {AT(1, 0), AT(0, 1)}, {AT(0, 1), AT(0, 0)}};
    const typename TestFixture::ChainList expected{{AT(0, 0), AT(1, 0), AT(0, 1), AT(0, 0)},
                                                   {AT(0, 0), AT(-1, 0)}};
    EXPECT_EQ(TypeParam::Link(pairs, 1e-8F), expected);
}

TYPED_TEST(SegmentChains, RepeatedSegmentsAreEachUsed)
{
    using Pairs = typename TestFixture::PairList;
    const Pairs pairs{{AT(0, 0), AT(1, 0)}, {AT(0, 0), AT(1, 0)}, {AT(1, 0), AT(0, 0)}};
    const typename TestFixture::ChainList expected{{AT(0, 0), AT(1, 0), AT(0, 0)},
                                                   {AT(1, 0), AT(0, 0)}};
    EXPECT_EQ(TypeParam::Link(pairs, 1e-8F), expected);
}

TYPED_TEST(SegmentChains, PointsAreDropped)
{
    using Pairs = typename TestFixture::PairList;
    const auto T1 = static_cast<typename TestFixture::Scalar>(0.1);
    EXPECT_TRUE(TypeParam::Link(Pairs{}, T1).empty());
    EXPECT_TRUE(TypeParam::Link(Pairs{{AT(1, 1), AT(1, 1)}}, T1).empty());
    EXPECT_TRUE(TypeParam::Link(Pairs{{AT(1, 1), AT(1.01, 1)}}, T1).empty()); // z differs by 0.07
    const typename TestFixture::ChainList expected{{AT(1, 1), AT(2, 1)}};
    EXPECT_EQ(TypeParam::Link(Pairs{{AT(1, 1), AT(1, 1)}, {AT(1, 1), AT(2, 1)}}, T1), expected);
}

TYPED_TEST(SegmentChains, ARowOfNearPointsLosesNothing)
{
    using Pairs = typename TestFixture::PairList;
    // Steps of 0.9 and of 1.5 tolerances: the short ones are points, all the long ones must be
    // there.
    const auto tolerance = static_cast<typename TestFixture::Scalar>(8);
    Pairs pairs;
    for (int i = 0; i < 50; ++i) {
        pairs.push_back({AT(1.5 * i, 0), AT(1.5 * (i + 1), 0)});
    }
    // At spreads x by 7 in space, so that there the steps are 10.5 in z; in the plane scale x up.
    for (auto& pair : pairs) {
        for (auto& p : pair) {
            p *= TypeParam::kDimension == 2 ? 8 : 1;
        }
    }
    double total = 0;
    for (const auto& [a, b] : pairs) {
        total += TestFixture::Span(a, b);
    }
    const auto chains = TypeParam::Link(pairs, tolerance);
    double linked = 0;
    std::size_t steps = 0;
    for (const auto& chain : chains) {
        steps += chain.size() - 1;
        for (std::size_t i = 1; i < chain.size(); ++i) {
            linked += TestFixture::Span(chain[i - 1], chain[i]);
        }
    }
    EXPECT_EQ(steps, pairs.size());
    EXPECT_NEAR(linked, total, 8 * 2 * static_cast<double>(chains.size()));
}

TYPED_TEST(SegmentChains, EndsWithinTheToleranceLinkWhereverTheyLie)
{
    using T = typename TestFixture::Scalar;
    using Pairs = typename TestFixture::PairList;
    // Corners some ten tolerances apart, their ends up to a whole tolerance, in every direction and
    // on both sides of any grid that the linker may lay.
    Support::Random random(32);
    const T tolerance = T(0.25);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const int count = 3 + random.Below(40);
        const auto shift = random.Vector<TypeParam::kDimension, T>(-2, 2);
        Pairs pairs;
        for (int i = 0; i < count; ++i) {
            pairs.push_back({});
            for (int end = 0; end < 2; ++end) {
                const double t = Velk::Math::kTwoPi<double> * ((i + end) % count) / count;
                pairs.back()[static_cast<std::size_t>(end)] =
                    shift + AT(count * std::cos(t), count * std::sin(t)) +
                    random.Vector<TypeParam::kDimension, T>(-0.1249, 0.1249);
            }
        }
        const auto chains = TypeParam::Link(pairs, tolerance);
        ASSERT_EQ(chains.size(), 1U);
        EXPECT_EQ(chains[0].size(), static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(chains[0].front(), chains[0].back());
    }
}

TYPED_TEST(SegmentChains, EndsAtTheToleranceMatchAndBeyondItDoNot)
{
    using T = typename TestFixture::Scalar;
    using Pairs = typename TestFixture::PairList;
    // In space the third coordinate is 7 x - y: an end moved along y is moved there as far.
    const T tolerance = T(0.25);
    for (const double side : {1.0, -1.0}) {
        const Pairs at{{AT(0, 0), AT(1, 0)}, {AT(1, side * 0.25), AT(2, 0)}};
        EXPECT_EQ(TypeParam::Link(at, tolerance).size(), 1U);
        const Pairs beyond{{AT(0, 0), AT(1, 0)}, {AT(1, side * 0.2501), AT(2, 0)}};
        EXPECT_EQ(TypeParam::Link(beyond, tolerance).size(), 2U);
    }
}

TYPED_TEST(SegmentChains, NonFiniteEndsMatchNothing)
{
    using Pairs = typename TestFixture::PairList;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const Pairs pairs{{AT(nan, 0), AT(1, 0)},
                      {AT(nan, 0), AT(nan, 0)},
                      {AT(1, 0), AT(2, 0)},
                      {AT(inf, 0), AT(inf, 0)}};
    const auto chains = TypeParam::Link(pairs, 1e-8F);
    ASSERT_EQ(chains.size(), 3U);
    EXPECT_EQ(chains[0].size(), 3U); // its finite end links
    EXPECT_EQ(chains[1].size(), 2U);
    EXPECT_EQ(chains[2].size(), 2U);
}

TYPED_TEST(SegmentChains, HostileTolerances)
{
    using T = typename TestFixture::Scalar;
    using Pairs = typename TestFixture::PairList;
    const Pairs pairs{{AT(0, 0), AT(1, 0)}, {AT(1, 0), AT(2, 0)}, {AT(5, 5), AT(5, 5)}};
    EXPECT_EQ(TypeParam::Link(pairs, T(0)).size(), 1U); // exact repeats match
    for (const T nothing : {T(-1), std::numeric_limits<T>::quiet_NaN()}) {
        EXPECT_EQ(TypeParam::Link(pairs, nothing).size(), 3U);
    }
    for (const T all : {std::numeric_limits<T>::max(), std::numeric_limits<T>::infinity()}) {
        EXPECT_TRUE(TypeParam::Link(pairs, all).empty());
    }
}

/// The pieces of polylines as unordered pairs of points, sorted, for comparison as multisets.
template <class Point>
std::vector<std::array<Point, 2>> SortedPieces(std::vector<std::array<Point, 2>> pieces)
{
    const auto less = [](const Point& a, const Point& b) {
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
    };
    for (auto& [a, b] : pieces) {
        if (less(b, a)) {
            std::swap(a, b);
        }
    }
    std::sort(pieces.begin(), pieces.end(), [&](const auto& p, const auto& q) {
        return p[0] == q[0] ? less(p[1], q[1]) : less(p[0], q[0]);
    });
    return pieces;
}

TYPED_TEST(SegmentChains, EverySegmentIsUsedExactlyOnceOnRandomGraphs)
{
    using Pairs = typename TestFixture::PairList;
    Support::Random random(31);
    for (int trial = 0; trial < 400; ++trial) {
        SCOPED_TRACE(trial);
        const int side = 1 + random.Below(6);
        Pairs pairs;
        for (int i = random.Below(60); i > 0; --i) {
            pairs.push_back({AT(random.Below(side), random.Below(side)),
                             AT(random.Below(side), random.Below(side))});
        }
        const auto chains = TypeParam::Link(pairs, 1e-8F);
        Pairs expected;
        for (const auto& pair : pairs) {
            if (!(pair[0] == pair[1])) {
                expected.push_back(pair);
            }
        }
        Pairs pieces;
        for (const auto& chain : chains) {
            ASSERT_GE(chain.size(), 2U);
            for (std::size_t i = 1; i < chain.size(); ++i) {
                pieces.push_back({chain[i - 1], chain[i]});
            }
            // A chain does not pass its start: it ends there.
            EXPECT_EQ(std::count(chain.begin(), chain.end(), chain.front()),
                      chain.front() == chain.back()
                          ? 2
                          : 1 + std::count(chain.begin() + 1, chain.end(), chain.front()));
        }
        EXPECT_EQ(SortedPieces(pieces), SortedPieces(expected));
    }
}

TYPED_TEST(SegmentChains, LongShuffledLoopComesBackWhole)
{
    using Pairs = typename TestFixture::PairList;
    Support::Random random(13);
    const int count = 5000;
    Pairs pairs;
    const auto corner = [&](int i) {
        const double t = Velk::Math::kTwoPi<double> * (i % count) / count;
        return AT(100 * std::cos(t), 100 * std::sin(t));
    };
    for (int i = 0; i < count; ++i) {
        pairs.push_back({corner(i), corner(i + 1)});
        if (random.Below(2) == 0) {
            std::swap(pairs.back()[0], pairs.back()[1]);
        }
    }
    for (int i = count - 1; i > 0; --i) {
        std::swap(pairs[static_cast<std::size_t>(i)],
                  pairs[static_cast<std::size_t>(random.Below(i + 1))]);
    }
    const auto chains = TypeParam::Link(pairs, 1e-8F);
    ASSERT_EQ(chains.size(), 1U);
    EXPECT_EQ(chains[0].size(), static_cast<std::size_t>(count) + 1);
    EXPECT_EQ(chains[0].front(), chains[0].back());
    EXPECT_EQ(chains[0][0], pairs[0][0]);
    EXPECT_EQ(chains[0][1], pairs[0][1]);
}

TEST(SegmentChainsHub, ManyChainsThroughOnePoint)
{
    // 100 000 spokes: each chain takes two of them; scanning all spokes for each would be 5e9
    // steps.
    std::vector<SegBase<double>> spokes;
    const int count = 100'000;
    for (int i = 0; i < count; ++i) {
        const double t = Velk::Math::kTwoPi<double> * i / count;
        spokes.push_back({{0, 0}, {std::cos(t), std::sin(t)}});
    }
    const auto chains = Velk::Math::Vector::SegmentsToPolyPointStream(spokes, 1e-12);
    EXPECT_EQ(chains.size(), static_cast<std::size_t>(count / 2));
    EXPECT_EQ(chains[0], (std::vector<Vec2d>{spokes[1].end, {0, 0}, spokes[0].end}));
}

} // namespace
