// Tree over the elements of a chain: those near a point against brute force, the nearest point of
// an element, and the report of an element that is neither segment nor arc; `float` and `double`.

#include "tests/planar/ChainSupport.h"
#include "trees/ArcSegTree_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree::Quadtree;
using ::Test::Random;

std::vector<int> Sorted(std::vector<int> ids)
{
    std::sort(ids.begin(), ids.end());
    return ids;
}

template <class T>
class ArcSegTrees : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ArcSegTrees, Scalars);

TYPED_TEST(ArcSegTrees, ItemsWithinAreThoseOfBruteForce)
{
    using T = TypeParam;
    Random random(21);
    for (const int count : {1, 2, 7, 60, 400}) {
        const auto chain = ::Test::RandomChain<T>(random, count);
        const ArcSegTree<T> tree(chain);
        for (int i = 0; i < 250; ++i) {
            const VecBase<2, T> q =
                random.Vector<2, T>(-6, 6) + chain.elements.back().StartPoint() * T(random.Unit());
            const T r = static_cast<T>(std::exp2(random.Between(-4, 3)));
            std::vector<int> expected;
            for (std::size_t e = 0; e < chain.elements.size(); ++e) {
                const VecBase<2, T> p = tree.ClosestPointOnContent(chain.elements[e], q);
                if (r * r > SquaredLength(p - q)) {
                    expected.push_back(static_cast<int>(e));
                }
            }
            const std::vector<int> ids = tree.ItemsWithin(q, r);
            ASSERT_EQ(Sorted(ids), expected) << count;
            ASSERT_EQ(ids, tree.ItemsWithin(q, -r)); // its square counts
        }
    }
}

/// Against points along the elements: nothing within the radius is missed, nothing beyond comes.
TYPED_TEST(ArcSegTrees, ItemsWithinAgreeWithDenseSamples)
{
    using T = TypeParam;
    Random random(22);
    constexpr double kStep = 0.004;
    for (int round = 0; round < 10; ++round) {
        const auto chain = ::Test::RandomChain<T>(random, 20);
        const ArcSegTree<T> tree(chain);
        for (int i = 0; i < 20; ++i) {
            const VecBase<2, T> q = random.Vector<2, T>(-5, 5);
            const double r = random.Between(0.1, 3);
            const std::vector<int> ids = Sorted(tree.ItemsWithin(q, static_cast<T>(r)));
            for (std::size_t e = 0; e < chain.elements.size(); ++e) {
                double least = std::numeric_limits<double>::infinity();
                const int steps = static_cast<int>(::Test::LengthOf(chain.elements[e]) / kStep) + 1;
                for (int s = 0; s <= steps; ++s) {
                    const Vec2d p =
                        ::Test::PointOf(chain.elements[e], static_cast<double>(s) / steps);
                    least = std::min(least, std::hypot(p[0] - q[0], p[1] - q[1]));
                }
                if (std::fabs(least - r) > kStep) {
                    EXPECT_EQ(std::binary_search(ids.begin(), ids.end(), static_cast<int>(e)),
                              least < r);
                }
            }
        }
    }
}

/// The quadrants that an arc bulges into are not between its ends.
TYPED_TEST(ArcSegTrees, ArcsAreFoundWhereTheyBulge)
{
    using T = TypeParam;
    for (const int sense : {1, -1}) {
        const ArcSegTree<T> circle(::Test::Circle<T>(T{5}, sense));
        for (const VecBase<2, T>& q : {VecBase<2, T>(-5, 0), VecBase<2, T>(0, 5),
                                       VecBase<2, T>(0, -5), VecBase<2, T>(5, 0)}) {
            EXPECT_EQ(circle.ItemsWithin(q, T(0.1)), std::vector<int>{0}) << sense;
        }
        EXPECT_TRUE(circle.ItemsWithin({0, 0}, T(4.9)).empty()); // in the box, far from the arc
    }
    const ArcSegTree<T> hairpin(::Test::Hairpin<T>());
    EXPECT_EQ(hairpin.ItemsWithin({5, 1}, T(0.01)), std::vector<int>{1}); // beyond both ends
}

TYPED_TEST(ArcSegTrees, AnElementAtExactlyTheRadiusIsOut)
{
    using T = TypeParam;
    const ArcSegTree<T> square(::Test::Square<T>());
    EXPECT_TRUE(square.ItemsWithin({1, 1}, T{1}).empty());
    EXPECT_EQ(Sorted(square.ItemsWithin({1, 1}, std::nextafter(T{1}, T{2}))),
              (std::vector<int>{0, 1, 2, 3}));
    EXPECT_TRUE(square.ItemsWithin({1, 0}, T{0}).empty());
    const ArcSegTree<T> circle(::Test::Circle<T>(T{5}, 1));
    EXPECT_TRUE(circle.ItemsWithin({7, 0}, T{2}).empty());
    EXPECT_EQ(circle.ItemsWithin({7, 0}, T(2.001)), std::vector<int>{0});
}

TYPED_TEST(ArcSegTrees, NearestPointOfAnElement)
{
    using T = TypeParam;
    using Tree = ArcSegTree<T>;
    const auto chain = ::Test::Hairpin<T>();
    EXPECT_EQ(Tree::ClosestPointOnContent(chain.elements[0], {1, 3}), (VecBase<2, T>(1, 0)));
    EXPECT_EQ(Tree::ClosestPointOnContent(chain.elements[0], {9, 3}), (VecBase<2, T>(4, 0)));
    EXPECT_EQ(Tree::ClosestPointOnContent(chain.elements[1], {9, 1}), (VecBase<2, T>(5, 1)));
    const Sorvane::Planar::ArcSegBase<T> point(Geometry::SegBase<T>{{2, 3}, {2, 3}});
    EXPECT_EQ(Tree::ClosestPointOnContent(point, {7, 7}), (VecBase<2, T>(2, 3)));
}

TYPED_TEST(ArcSegTrees, ElementThatIsNeitherIsReported)
{
    using T = TypeParam;
    ::Test::ExpectAssertions(1);
    const VecBase<2, T> answer = ArcSegTree<T>::ClosestPointOnContent(nullptr, nullptr, {1, 2});
    constexpr T kLargest = std::numeric_limits<T>::max();
    EXPECT_EQ(answer, (VecBase<2, T>(kLargest, kLargest)));
    const std::string scalar = std::is_same_v<T, float> ? "float" : "double";
    EXPECT_EQ(::Test::LastAssertion(),
              "QuadtreeArcSegTree_E:338 Velk::Math::Sorvane::Tree::Quadtree::ArcSegTree<" + scalar +
                  ">::ClosestPointOnContent");
}

TYPED_TEST(ArcSegTrees, EmptyChainsAndHostileElementsFindNothing)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T infinity = std::numeric_limits<T>::infinity();
    Sorvane::Planar::PolyArcSegBase<T> chain;
    EXPECT_TRUE(ArcSegTree<T>(chain).ItemsWithin({0, 0}, T{9}).empty());

    chain.elements = {Geometry::SegBase<T>{{nan, 0}, {1, 1}},
                      Geometry::ArcBase<T>{{0, 0}, {1, 0}, nan},
                      Geometry::ArcBase<T>{{0, nan}, {1, 0}, T{1}},
                      Geometry::ArcBase<T>{{0, 0}, {1, 0}, infinity},
                      Geometry::SegBase<T>{{0, 0}, {infinity, 1}},
                      Geometry::SegBase<T>{{0, 2}, {4, 2}}};
    for (const T x : {-infinity, T{3}, infinity}) {
        for (const T length : {T{-1}, T{0}, T{1}}) { // their boxes would be their starts
            chain.elements.emplace_back(Geometry::ArcBase<T>{{x, infinity}, {1, 1}, length});
            chain.elements.emplace_back(Geometry::ArcBase<T>{{-infinity, x}, {1, 1}, length});
        }
    }
    const ArcSegTree<T> tree(chain);
    EXPECT_EQ(tree.GetPossibleBallCollisions({{1, 1}, T{9}}).size(), 1U);
    EXPECT_EQ(tree.ItemsWithin({1, 1}, T{9}), std::vector<int>{5}); // the others keep the numbers
    EXPECT_EQ(tree.ItemsWithin({1, 1}, infinity), std::vector<int>{5});
    EXPECT_TRUE(tree.ItemsWithin({1, 1}, nan).empty());
    EXPECT_TRUE(tree.ItemsWithin({nan, 1}, T{9}).empty());
}

/// A `double` box reaches 1e-10 beyond its element on every side; in `float` that is lost here.
TYPED_TEST(ArcSegTrees, BoxesHaveTheirMargin)
{
    using T = TypeParam;
    constexpr double kReach = std::is_same_v<T, float> ? 0 : 1e-10;
    Sorvane::Planar::PolyArcSegBase<T> segment;
    segment.elements = {Geometry::SegBase<T>{{2, -1}, {4, 3}}};
    Sorvane::Planar::PolyArcSegBase<T> arc; // from (2, 0) through (4, 2) to (2, 4)
    arc.elements = {Geometry::ArcBase<T>{{2, 2}, {2, 0}, T(2 * ::Test::kHalfTurn)}};
    const ArcSegTree<T> segments(segment);
    const ArcSegTree<T> arcs(arc);
    const auto near = [](double a, double b) {
        return std::fabs(a - b) <= 4 * static_cast<double>(std::numeric_limits<T>::epsilon());
    };
    const auto* ofSegment = segments.GetPossibleBallCollisions({{2, 0}, T{9}}).at(0);
    EXPECT_TRUE(near(ofSegment->min[0], 2 - kReach) && near(ofSegment->min[1], -1 - kReach));
    EXPECT_TRUE(near(ofSegment->max[0], 4 + kReach) && near(ofSegment->max[1], 3 + kReach));
    const auto* ofArc = arcs.GetPossibleBallCollisions({{2, 0}, T{9}}).at(0);
    EXPECT_TRUE(near(ofArc->min[0], 2 - kReach) && near(ofArc->min[1], 0 - kReach));
    EXPECT_TRUE(near(ofArc->max[0], 4 + kReach) && near(ofArc->max[1], 4 + kReach));
}

/// As many slots in the one block as there are elements: neighbors in the chain are neighbors in
/// memory.
TYPED_TEST(ArcSegTrees, ElementsLieInOneBlock)
{
    using T = TypeParam;
    using Tree = ArcSegTree<T>;
    Random random(24);
    const auto chain = ::Test::RandomChain<T>(random, 3000);
    const Tree tree(chain);
    std::vector<std::uintptr_t> address(chain.elements.size());
    for (const auto* content : tree.GetPossibleBallCollisions({{0, 0}, T(1e6)})) {
        const auto& wrap = static_cast<const typename Tree::ArcSegWrap&>(*content);
        address.at(static_cast<std::size_t>(wrap.id)) = reinterpret_cast<std::uintptr_t>(&wrap);
    }
    for (std::size_t i = 2; i < address.size(); ++i) {
        ASSERT_EQ(address[i] - address[i - 1], address[1] - address[0]) << i;
    }
}

/// The order has no meaning, but it is that of each run.
TYPED_TEST(ArcSegTrees, OrderIsThatOfEachRun)
{
    using T = TypeParam;
    Random random(23);
    const auto chain = ::Test::RandomChain<T>(random, 300);
    const ArcSegTree<T> first(chain);
    const ArcSegTree<T> second(chain);
    for (int i = 0; i < 100; ++i) {
        const VecBase<2, T> q = random.Vector<2, T>(-10, 10);
        EXPECT_EQ(first.ItemsWithin(q, T{4}), second.ItemsWithin(q, T{4}));
    }
}

static_assert(!std::is_copy_constructible_v<ArcSegTree<double>> &&
                  !std::is_move_constructible_v<ArcSegTree<double>>,
              "nodes point into the tree's own storage");

} // namespace
