// Tree over segments in the plane: the nearest segment against its slow definition and against
// brute force, ties by the order of storage, the quirks of its radius; `float` and `double`.

#include <Sorvane/SegmentTree_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/support/FailingAllocation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree;
using Support::Random;

template <class T>
using Segments = std::vector<Geometry::SegBase<T>>;

/// Squared distance from the box of a segment, with its margin.
template <class T>
T SquaredGap(const Geometry::SegBase<T>& segment, const VecBase<2, T>& q)
{
    T sum = 0;
    for (int axis = 0; axis < 2; ++axis) {
        const T low = std::min(segment.start[axis], segment.end[axis]) - T(1e-10);
        const T high = std::max(segment.start[axis], segment.end[axis]) + T(1e-10);
        const T gap = q[axis] < low ? low - q[axis] : (q[axis] > high ? q[axis] - high : T{0});
        sum += gap * gap;
    }
    return sum;
}

template <class T>
std::vector<int> SlowCandidates(const Segments<T>& segments, const VecBase<2, T>& q, T r)
{
    std::vector<int> candidates;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        if (r * r > SquaredGap(segments[i], q)) {
            candidates.push_back(static_cast<int>(i));
        }
    }
    return candidates;
}

/// Least distance over all candidates, in the order of the list. The nearest point of each comes
/// from a tree that holds nothing else.
template <class T>
ClosestPointRecord<2, T> SlowClosestPoint(const Segments<T>& segments,
                                          const std::vector<Quadtree::SegmentTree<T>>& alone,
                                          const VecBase<2, T>& q, T r)
{
    std::map<T, ClosestPointRecord<2, T>> found;
    for (const int i : SlowCandidates(segments, q, r)) {
        const VecBase<2, T> p = alone[static_cast<std::size_t>(i)].ClosestPoint(q, T(1e9)).point;
        found.emplace(SquaredLength(p - q), ClosestPointRecord<2, T>{p, i}); // the first of equals
    }
    return found.empty() ? ClosestPointRecord<2, T>{q, -1} : found.begin()->second;
}

/// Nearest point by the plain formula, in `long double`.
template <class T>
std::pair<long double, long double> PlainNearest(const Geometry::SegBase<T>& segment,
                                                 const VecBase<2, T>& q)
{
    const long double dx = static_cast<long double>(segment.end[0]) - segment.start[0];
    const long double dy = static_cast<long double>(segment.end[1]) - segment.start[1];
    const long double length = dx * dx + dy * dy;
    const long double floor = std::is_same_v<T, float> ? 1e-8L : 1e-12L;
    long double t = 0;
    if (length > floor * floor) {
        t = ((q[0] - static_cast<long double>(segment.start[0])) * dx +
             (q[1] - static_cast<long double>(segment.start[1])) * dy) /
            length;
        t = std::clamp(t, 0.0L, 1.0L);
    }
    return {segment.start[0] + t * dx, segment.start[1] + t * dy};
}

template <class T>
long double PlainDistance(const Geometry::SegBase<T>& segment, const VecBase<2, T>& q)
{
    const auto [x, y] = PlainNearest(segment, q);
    return std::hypot(x - q[0], y - q[1]);
}

template <class T>
Segments<T> RandomSegments(Random& random, int count, double size)
{
    Segments<T> segments;
    for (int i = 0; i < count; ++i) {
        const VecBase<2, T> start = random.Vector<2, T>(-10, 10);
        VecBase<2, T> end = start + random.Vector<2, T>(-size, size);
        if (i % 7 == 0) {
            end[random.Below(2)] = start[0]; // some along an axis, others long
        }
        segments.push_back({start, i % 31 == 0 ? start : end});
    }
    return segments;
}

template <class T>
class SegmentTrees : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(SegmentTrees, Scalars);

TYPED_TEST(SegmentTrees, ClosestPointIsAsDefinedToTheBit)
{
    using T = TypeParam;
    Random random(11);
    for (const int count : {1, 2, 3, 10, 100, 3000}) {
        const Segments<T> segments = RandomSegments<T>(random, count, 1);
        const Quadtree::SegmentTree<T> tree(segments);
        std::vector<Quadtree::SegmentTree<T>> alone;
        for (const auto& segment : segments) {
            alone.emplace_back(Segments<T>{segment});
        }
        for (int i = 0; i < 300; ++i) {
            const VecBase<2, T> q = random.Vector<2, T>(-13, 13);
            const T r = static_cast<T>(std::exp2(random.Between(-8, 4)));
            ASSERT_EQ(tree.ClosestPoint(q, r), SlowClosestPoint(segments, alone, q, r)) << count;
            ASSERT_EQ(tree.GetPossibleBallCollisions({q, r}), SlowCandidates(segments, q, r));
        }
    }
}

TYPED_TEST(SegmentTrees, ClosestPointIsThatOfBruteForce)
{
    using T = TypeParam;
    Random random(12);
    for (const double size : {0.1, 15.0}) {
        const Segments<T> segments = RandomSegments<T>(random, 500, size);
        const Quadtree::SegmentTree<T> tree(segments);
        for (int i = 0; i < 1000; ++i) {
            const VecBase<2, T> q = random.Vector<2, T>(-13, 13);
            long double least = std::numeric_limits<long double>::infinity();
            for (const auto& segment : segments) {
                least = std::min(least, PlainDistance(segment, q));
            }
            const auto closest = tree.ClosestPoint(q, T{100});
            ASSERT_GE(closest.id, 0);
            const double near = 10 * Support::kNear<T>;
            const auto& segment = segments[static_cast<std::size_t>(closest.id)];
            EXPECT_NEAR(static_cast<double>(PlainDistance(segment, q)), static_cast<double>(least),
                        near);
            const auto [x, y] = PlainNearest(segment, q);
            EXPECT_NEAR(static_cast<double>(closest.point[0]), static_cast<double>(x), near);
            EXPECT_NEAR(static_cast<double>(closest.point[1]), static_cast<double>(y), near);
        }
    }
}

/// Coordinates of a few bits, so that distances tie all the time.
TYPED_TEST(SegmentTrees, TiesGoToTheSegmentStoredFirst)
{
    using T = TypeParam;
    Random random(13);
    Segments<T> segments;
    for (int i = 0; i < 600; ++i) {
        const VecBase<2, T> start(random.Below(12), random.Below(12));
        segments.push_back(
            {start, start + VecBase<2, T>(random.Below(3) - 1, random.Below(3) - 1)});
    }
    const Quadtree::SegmentTree<T> tree(segments);
    for (int i = 0; i < 1000; ++i) {
        const VecBase<2, T> q(random.Below(24) * 0.5, random.Below(24) * 0.5);
        // Distances are exact here (quarters), so that the first of the least in the list must
        // come.
        long double least = std::numeric_limits<long double>::infinity();
        int first = -1;
        for (std::size_t s = 0; s < segments.size(); ++s) {
            if (PlainDistance(segments[s], q) < least) {
                least = PlainDistance(segments[s], q);
                first = static_cast<int>(s);
            }
        }
        ASSERT_EQ(tree.ClosestPoint(q, T{50}).id, first);
    }
}

/// The order of adding, not the number, settles ties and orders lists.
TYPED_TEST(SegmentTrees, NumbersNeedNotAscend)
{
    using T = TypeParam;
    constexpr int kCount = 3000;
    Quadtree::SegmentTree<T> tree;
    for (int i = 0; i < kCount; ++i) {
        const T x = static_cast<T>(i % 300);
        tree.AddSegment({{x, T{0}}, {x, T{1}}}, kCount - i);
    }
    tree.Build();
    for (int x = 0; x < 300; ++x) {
        EXPECT_EQ(tree.ClosestPoint({static_cast<T>(x), T(0.5)}, T{2}).id, kCount - x);
        EXPECT_EQ(tree.ClosestPoint({static_cast<T>(x) + T(0.5), T(0.5)}, T{2}).id, kCount - x);
    }
    const std::vector<int> numbers = tree.GetPossibleBallCollisions({{0, 0}, T{1e6}});
    ASSERT_EQ(numbers.size(), std::size_t{kCount});
    EXPECT_TRUE(std::is_sorted(numbers.rbegin(), numbers.rend()));
}

/// Boxes alone select, so that the answer for a diagonal may be far beyond the radius.
TYPED_TEST(SegmentTrees, AnswerMayLieBeyondTheRadius)
{
    using T = TypeParam;
    const Quadtree::SegmentTree<T> tree(Segments<T>{{{0, 0}, {10, 10}}});
    const auto closest = tree.ClosestPoint({9, 1}, T(0.1));
    EXPECT_EQ(closest, (ClosestPointRecord<2, T>{{5, 5}, 0}));
}

TYPED_TEST(SegmentTrees, RadiusZeroFindsNothing)
{
    using T = TypeParam;
    const Quadtree::SegmentTree<T> tree(Segments<T>{{{0, 0}, {10, 10}}, {{0, 5}, {5, 0}}});
    EXPECT_EQ(tree.ClosestPoint({5, 5}, T{0}), (ClosestPointRecord<2, T>{{5, 5}, -1}));
    EXPECT_TRUE(tree.GetPossibleBallCollisions({{5, 5}, T{0}}).empty());
}

/// As its square does.
TYPED_TEST(SegmentTrees, ARadiusCountsByItsMagnitude)
{
    using T = TypeParam;
    Random random(14);
    const Quadtree::SegmentTree<T> tree(RandomSegments<T>(random, 200, 1));
    for (int i = 0; i < 200; ++i) {
        const VecBase<2, T> q = random.Vector<2, T>(-13, 13);
        const T r = static_cast<T>(std::exp2(random.Between(-4, 4)));
        EXPECT_EQ(tree.ClosestPoint(q, -r), tree.ClosestPoint(q, r));
        EXPECT_EQ(tree.GetPossibleBallCollisions({q, -r}), tree.GetPossibleBallCollisions({q, r}));
    }
}

TYPED_TEST(SegmentTrees, SegmentWithoutLengthIsAnsweredByItsStart)
{
    using T = TypeParam;
    const T tiny = std::is_same_v<T, float> ? T(5e-9) : T(5e-13);
    const Quadtree::SegmentTree<T> tree(
        Segments<T>{{{0, 0}, {tiny, tiny}}, {{4, 4}, {4, 4}}, {{9, 0}, {9, 9}}});
    EXPECT_EQ(tree.ClosestPoint({1, 1}, T{3}), (ClosestPointRecord<2, T>{{0, 0}, 0}));
    EXPECT_EQ(tree.ClosestPoint({4, 5}, T{3}), (ClosestPointRecord<2, T>{{4, 4}, 1}));
}

TYPED_TEST(SegmentTrees, MissesAnswerWithThePoint)
{
    using T = TypeParam;
    const Quadtree::SegmentTree<T> tree(Segments<T>{{{0, 0}, {1, 0}}});
    EXPECT_EQ(tree.ClosestPoint({5, 5}, T{1}), (ClosestPointRecord<2, T>{{5, 5}, -1}));
}

TYPED_TEST(SegmentTrees, EmptyTreesFindNothing)
{
    using T = TypeParam;
    Quadtree::SegmentTree<T> built;
    built.Build();
    const Quadtree::SegmentTree<T> none(Segments<T>{});
    EXPECT_EQ(built.ClosestPoint({1, 2}, T{10}), (ClosestPointRecord<2, T>{{1, 2}, -1}));
    EXPECT_EQ(none.ClosestPoint({1, 2}, T{10}), (ClosestPointRecord<2, T>{{1, 2}, -1}));
    EXPECT_TRUE(none.GetPossibleBallCollisions({{1, 2}, T{10}}).empty());
}

TYPED_TEST(SegmentTrees, HostileSegmentsStayOutAndQueriesEnd)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T infinity = std::numeric_limits<T>::infinity();
    const Quadtree::SegmentTree<T> tree(Segments<T>{
        {{nan, 0}, {1, 0}}, {{0, 0}, {1, infinity}}, {{0, 0}, {0, nan}}, {{2, 0}, {2, 4}}});
    EXPECT_EQ(tree.ClosestPoint({0, 1}, T{5}), (ClosestPointRecord<2, T>{{2, 1}, 3}));
    EXPECT_EQ(tree.ClosestPoint({0, 1}, infinity).id, 3);
    EXPECT_EQ(tree.ClosestPoint({0, 1}, nan).id, -1);
    EXPECT_EQ(tree.ClosestPoint({nan, 1}, T{5}).id, -1);
    EXPECT_EQ(tree.ClosestPoint({infinity, 1}, infinity).id, -1);
}

/// Of `double` 1e150 is the last that stays in; in `float` all that is finite does, and takes
/// nothing down with it.
TYPED_TEST(SegmentTrees, HugeCoordinatesLeaveTheOthersAlone)
{
    using T = TypeParam;
    const T last = std::is_same_v<T, float> ? std::numeric_limits<T>::max() : T(1e150);
    const T next = std::nextafter(last, std::numeric_limits<T>::infinity());
    for (const T corner : {last, next}) {
        Segments<T> segments{{{-corner, -corner}, {corner, corner}}};
        for (int i = 0; i < 500; ++i) {
            segments.push_back({{T(i), T{3}}, {T(i), T{4}}});
        }
        const Quadtree::SegmentTree<T> tree(segments);
        EXPECT_EQ(tree.GetPossibleBallCollisions({{-3, -3}, T{1}}).size(),
                  corner == last ? 1U : 0U);
        EXPECT_EQ(tree.ClosestPoint({17, T(4.5)}, T{1}).point, (VecBase<2, T>(17, 4)));
        EXPECT_EQ(tree.ClosestPoint({17, T(4.5)}, T{1}).id, 18);
    }
}

/// A `double` box reaches 1e-10 beyond its segment on every side; in `float` that is lost here.
TYPED_TEST(SegmentTrees, BoxesHaveTheirMargin)
{
    using T = TypeParam;
    constexpr double kReach = std::is_same_v<T, float> ? 0 : 1e-10;
    const Quadtree::SegmentTree<T> tree(Segments<T>{{{4, -1}, {2, 3}}});
    constexpr double kNear = 8 * static_cast<double>(std::numeric_limits<T>::epsilon());
    const auto isInReach = [&](const VecBase<2, T>& q, double r) {
        return !tree.GetPossibleBallCollisions({q, static_cast<T>(r)}).empty();
    };
    for (const VecBase<2, T>& q :
         {VecBase<2, T>(1, 0), VecBase<2, T>(5, 0), VecBase<2, T>(3, -2), VecBase<2, T>(3, 4)}) {
        EXPECT_TRUE(isInReach(q, 1 - kReach + kNear));
        EXPECT_FALSE(isInReach(q, 1 - kReach - kNear));
    }
}

TYPED_TEST(SegmentTrees, SegmentsStandInTheOrderOfAdding)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const Segments<T> segments{{{0, 0}, {1, 0}}, {{nan, 0}, {1, 0}}, {{5, 5}, {6, 6}}};
    Quadtree::SegmentTree<T> tree(segments);
    ASSERT_EQ(tree.Segments().size(), 3U);
    EXPECT_EQ(tree.Segments()[0], segments[0]);
    EXPECT_EQ(tree.Segments()[2], segments[2]);
    tree.AddSegment({{9, 9}, {9, 8}}, 17);
    EXPECT_EQ(tree.Segments()[3].end, (VecBase<2, T>(9, 8)));
    EXPECT_EQ(tree.ClosestPoint({9, 9}, T{1}).id, -1) << "not before it is built";
    tree.Build();
    EXPECT_EQ(tree.ClosestPoint({9, 9}, T{1}).id, 17);
    const Quadtree::SegmentTree<T> moved = std::move(tree);
    EXPECT_EQ(moved.ClosestPoint({9, 9}, T{1}).id, 17);
    EXPECT_TRUE(tree.Segments().empty()); // NOLINT(bugprone-use-after-move): it is empty then
    EXPECT_EQ(tree.ClosestPoint({9, 9}, T{1}).id, -1);
}

/// Adding and building happen, or leave the tree as it was.
TYPED_TEST(SegmentTrees, LackOfMemoryLeavesTheTreeAsItWas)
{
    using T = TypeParam;
    const auto prepare = [] {
        Quadtree::SegmentTree<T> tree;
        for (int i = 0; i < 64; ++i) {
            tree.AddSegment({{T(i), T{0}}, {T(i), T{1}}}, 100 + i);
        }
        tree.Build();
        return tree;
    };
    const auto check = [](const Quadtree::SegmentTree<T>& tree) {
        EXPECT_EQ(tree.Segments().size(), 64U);
        EXPECT_EQ(tree.ClosestPoint({T(63), T(0.5)}, T(0.1)).id, 163);
        EXPECT_EQ(tree.GetPossibleBallCollisions({{0, 0}, T{1000}}).size(), 64U);
    };
    EXPECT_GE(Support::FailEachAllocation(
                  prepare,
                  [](auto& tree) {
                      tree.AddSegment({{T{99}, T{0}}, {T{99}, T{1}}}, 7);
                  },
                  check),
              1U);
    EXPECT_GE(Support::FailEachAllocation(
                  prepare, [](auto& tree) { tree.Build(); }, check),
              3U);
}

/// Flat boxes and point boxes, on which an octant split alone would never end.
TYPED_TEST(SegmentTrees, RepeatedPointsAndAxisParallelSegmentsEnd)
{
    using T = TypeParam;
    Segments<T> segments;
    for (int i = 0; i < 500; ++i) {
        segments.push_back({{1000, 1000}, {1000, 1000}});
        segments.push_back({{0, 1000}, {1000, 1000}});
    }
    const Quadtree::SegmentTree<T> tree(segments);
    EXPECT_EQ(tree.ClosestPoint({1001, 1000}, T{3}), (ClosestPointRecord<2, T>{{1000, 1000}, 0}));
    EXPECT_EQ(tree.ClosestPoint({500, 1000}, T{3}), (ClosestPointRecord<2, T>{{500, 1000}, 1}));
}

static_assert(!std::is_copy_constructible_v<Quadtree::SegmentTree<double>>);
// The base has what both share and can't be made by itself.
static_assert(std::is_base_of_v<QOFSegmentTree<2, double>, Quadtree::SegmentTree<double>> &&
              !std::is_default_constructible_v<QOFSegmentTree<2, double>>);
static_assert(std::is_nothrow_move_constructible_v<Quadtree::SegmentTree<double>> &&
              std::is_nothrow_move_assignable_v<Quadtree::SegmentTree<float>>);

} // namespace
