// Tree over the elements of a chain: those near a point against brute force, the nearest point of
// an element, hostile elements; `float` and `double`.

#include <Sorvane/QuadtreeArcSegTree_E.h>

#include "tests/planar/ChainSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree::Quadtree;
using Support::Random;

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
        const auto chain = Support::RandomChain<T>(random, count);
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
            ASSERT_EQ(ids, expected) << count;
            ASSERT_EQ(ids, tree.ItemsWithin(q, -r)); // by its magnitude, as its square does
            ASSERT_EQ(tree.GetPossibleBallCollisions({q, r}),
                      tree.GetPossibleBallCollisions({q, -r}));
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
        const auto chain = Support::RandomChain<T>(random, 20);
        const ArcSegTree<T> tree(chain);
        for (int i = 0; i < 20; ++i) {
            const VecBase<2, T> q = random.Vector<2, T>(-5, 5);
            const double r = random.Between(0.1, 3);
            const std::vector<int> ids = tree.ItemsWithin(q, static_cast<T>(r));
            for (std::size_t e = 0; e < chain.elements.size(); ++e) {
                double least = std::numeric_limits<double>::infinity();
                const int steps =
                    static_cast<int>(Support::LengthOf(chain.elements[e]) / kStep) + 1;
                for (int s = 0; s <= steps; ++s) {
                    const Vec2d p =
                        Support::PointOf(chain.elements[e], static_cast<double>(s) / steps);
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
        const ArcSegTree<T> circle(Support::Circle<T>(T{5}, sense));
        for (const VecBase<2, T>& q : {VecBase<2, T>(-5, 0), VecBase<2, T>(0, 5),
                                       VecBase<2, T>(0, -5), VecBase<2, T>(5, 0)}) {
            EXPECT_EQ(circle.ItemsWithin(q, T(0.1)), std::vector<int>{0}) << sense;
        }
        EXPECT_TRUE(circle.ItemsWithin({0, 0}, T(4.9)).empty()); // in the box, far from the arc
    }
    const ArcSegTree<T> hairpin(Support::Hairpin<T>());
    EXPECT_EQ(hairpin.ItemsWithin({5, 1}, T(0.01)), std::vector<int>{1}); // beyond both ends
}

TYPED_TEST(ArcSegTrees, AnElementAtExactlyTheRadiusIsOut)
{
    using T = TypeParam;
    const ArcSegTree<T> square(Support::Square<T>());
    EXPECT_TRUE(square.ItemsWithin({1, 1}, T{1}).empty());
    EXPECT_EQ(square.ItemsWithin({1, 1}, std::nextafter(T{1}, T{2})),
              (std::vector<int>{0, 1, 2, 3}));
    EXPECT_TRUE(square.ItemsWithin({1, 0}, T{0}).empty());
    const ArcSegTree<T> circle(Support::Circle<T>(T{5}, 1));
    EXPECT_TRUE(circle.ItemsWithin({7, 0}, T{2}).empty());
    EXPECT_EQ(circle.ItemsWithin({7, 0}, T(2.001)), std::vector<int>{0});
}

TYPED_TEST(ArcSegTrees, NearestPointOfAnElement)
{
    using T = TypeParam;
    using Tree = ArcSegTree<T>;
    const auto chain = Support::Hairpin<T>();
    EXPECT_EQ(Tree::ClosestPointOnContent(chain.elements[0], {1, 3}), (VecBase<2, T>(1, 0)));
    EXPECT_EQ(Tree::ClosestPointOnContent(chain.elements[0], {9, 3}), (VecBase<2, T>(4, 0)));
    EXPECT_EQ(Tree::ClosestPointOnContent(chain.elements[1], {9, 1}), (VecBase<2, T>(5, 1)));
    const Sorvane::Planar::ArcSegBase<T> point(Geometry::SegBase<T>{{2, 3}, {2, 3}});
    EXPECT_EQ(Tree::ClosestPointOnContent(point, {7, 7}), (VecBase<2, T>(2, 3)));
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
    constexpr double kNear = 8 * static_cast<double>(std::numeric_limits<T>::epsilon());
    Sorvane::Planar::PolyArcSegBase<T> segment;
    segment.elements = {Geometry::SegBase<T>{{2, 0}, {4, 4}}};
    Sorvane::Planar::PolyArcSegBase<T> arc; // from (2, 0) through (4, 2) to (2, 4): the same box
    arc.elements = {Geometry::ArcBase<T>{{2, 2}, {2, 0}, T(2 * Support::kHalfTurn)}};
    for (const auto* chain : {&segment, &arc}) {
        const ArcSegTree<T> tree(*chain);
        const auto isInReach = [&](const VecBase<2, T>& q, double r) {
            return !tree.GetPossibleBallCollisions({q, static_cast<T>(r)}).empty();
        };
        for (const VecBase<2, T>& q : {VecBase<2, T>(1, 1), VecBase<2, T>(5, 1),
                                       VecBase<2, T>(3, -1), VecBase<2, T>(3, 5)}) {
            EXPECT_TRUE(isInReach(q, 1 - kReach + kNear)) << q;
            EXPECT_FALSE(isInReach(q, 1 - kReach - kNear)) << q;
        }
    }
}

TYPED_TEST(ArcSegTrees, CandidatesAreAllWhoseBoxIsInReachInAscendingOrder)
{
    using T = TypeParam;
    Random random(23);
    const auto chain = Support::RandomChain<T>(random, 300);
    const ArcSegTree<T> tree(chain);
    for (int i = 0; i < 100; ++i) {
        const VecBase<2, T> q = random.Vector<2, T>(-10, 10);
        const std::vector<int> candidates = tree.GetPossibleBallCollisions({q, T{4}});
        const std::vector<int> items = tree.ItemsWithin(q, T{4});
        EXPECT_TRUE(std::is_sorted(candidates.begin(), candidates.end()));
        EXPECT_TRUE(
            std::includes(candidates.begin(), candidates.end(), items.begin(), items.end()));
    }
}

static_assert(!std::is_copy_constructible_v<ArcSegTree<double>> &&
              std::is_nothrow_move_constructible_v<ArcSegTree<double>>);

} // namespace
