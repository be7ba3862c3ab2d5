// The flat hierarchy of boxes: every query against a loop over all boxes, for both cuts and several
// sizes of leaves; the order of visits, what is folded, hostile boxes, counted work.

#include "tests/support/FailingAllocation.h"
#include "tests/support/TestSupport.h"
#include "trees/BoxHierarchy_Impl.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree::Impl;
using Support::Random;
using Velk::Math::Sorvane::Bounding::AxisAlignedBoundingBox;

template <int N, class Scalar>
struct Form {
    static constexpr int D = N;
    using T = Scalar;
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;

/// A list of boxes with the name of what is nasty about it.
template <int D, class T>
struct Case {
    const char* name;
    std::vector<AxisAlignedBoundingBox<D, T>> boxes;
};

template <class F>
class BoxHierarchies : public testing::Test {
};
TYPED_TEST_SUITE(BoxHierarchies, Forms);

/// Boxes, questions about them, and what the answers must be.
template <class F>
struct Lists {
    static constexpr int D = F::D;
    using T = typename F::T;
    using Box = AxisAlignedBoundingBox<D, T>;
    using Point = VecBase<D, T>;
    using Hierarchy = BoxHierarchy<D, T>;

    static constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
    static constexpr T kInfinity = std::numeric_limits<T>::infinity();

    static Point All(T value)
    {
        Point point;
        for (int axis = 0; axis < D; ++axis) {
            point[axis] = value;
        }
        return point;
    }

    Box RandomBox(T low, T high, T size)
    {
        Box box;
        box.min = random_.template Vector<D, T>(low, high);
        for (int axis = 0; axis < D; ++axis) {
            box.max[axis] = box.min[axis] + static_cast<T>(random_.Between(0, size));
        }
        return box;
    }

    std::vector<Box> RandomBoxes(int count, T low, T high, T size)
    {
        std::vector<Box> boxes;
        for (int i = 0; i < count; ++i) {
            boxes.push_back(RandomBox(low, high, size));
        }
        return boxes;
    }

    /// Small integers, so that boxes touch, coincide and have no extent.
    std::vector<Box> GridBoxes(int count)
    {
        std::vector<Box> boxes(static_cast<std::size_t>(count));
        for (Box& box : boxes) {
            for (int axis = 0; axis < D; ++axis) {
                box.min[axis] = static_cast<T>(random_.Below(8));
                box.max[axis] = box.min[axis] + static_cast<T>(random_.Below(3));
            }
        }
        return boxes;
    }

    std::vector<Case<D, T>> Cases()
    {
        std::vector<Case<D, T>> cases{{"none", {}},
                                      {"one", RandomBoxes(1, -1, 1, 1)},
                                      {"four", RandomBoxes(4, -1, 1, 1)},
                                      {"five", RandomBoxes(5, -1, 1, 1)},
                                      {"scattered", RandomBoxes(700, -10, 10, T(0.7))},
                                      {"overlapping", RandomBoxes(300, -10, 10, 15)},
                                      {"far off", RandomBoxes(300, T(1e6), T(1e6) + 10, 1)},
                                      {"grid", GridBoxes(400)},
                                      {"equal", std::vector<Box>(100, RandomBox(-1, 1, 1))}};
        std::vector<Box> points = RandomBoxes(200, -10, 10, 0);
        cases.push_back({"points", points});
        for (Box& point : points) {
            point.min[1] = point.max[1] = 3;
        }
        cases.push_back({"points of one line or plane", points});

        // Ever closer to a corner, down to the smallest numbers, and ever larger around it.
        Case<D, T> crowd{"crowded", {}};
        for (T size = T(1e30); size > 0; size /= 2) {
            crowd.boxes.push_back({All(size), All(size)});
            crowd.boxes.push_back({All(0), All(size)});
        }
        cases.push_back(crowd);

        Case<D, T> hostile{"hostile", RandomBoxes(200, -10, 10, 2)};
        for (std::size_t i = 0; i < hostile.boxes.size(); i += 4) {
            Box& box = hostile.boxes[i];
            const auto axis = static_cast<int>(i / 4) % D;
            switch (random_.Below(7)) {
            case 0:
                box.min[axis] = kNaN;
                break;
            case 1:
                box.max[axis] = kNaN;
                break;
            case 2:
                std::swap(box.min[axis], box.max[axis]);
                break;
            case 3:
                box = {All(-kInfinity), All(kInfinity)};
                break;
            case 4:
                box.max[axis] = kInfinity;
                break;
            case 5:
                box.min[axis] = std::numeric_limits<T>::lowest();
                box.max[axis] = std::numeric_limits<T>::max();
                break;
            default:
                box = Box();
                break;
            }
        }
        cases.push_back(hostile);
        return cases;
    }

    /// A place that is likely to lie near or on something.
    Point QueryPoint(const std::vector<Box>& boxes)
    {
        if (boxes.empty() || random_.Below(4) == 0) {
            return random_.template Vector<D, T>(-12, 12);
        }
        const Box& box = boxes[static_cast<std::size_t>(random_.Below(int(boxes.size())))];
        Point point;
        for (int axis = 0; axis < D; ++axis) {
            point[axis] = random_.Below(2) == 0 ? box.min[axis] : box.max[axis];
            point[axis] += static_cast<T>(random_.Below(3) - 1);
        }
        return point;
    }

    static bool HoldsNaN(const Point& point)
    {
        return std::any_of(point.begin(), point.end(), [](T x) { return std::isnan(x); });
    }

    /// Is there a point in the box at all?
    static bool IsBox(const Box& box)
    {
        for (int axis = 0; axis < D; ++axis) {
            if (!(box.min[axis] <= box.max[axis])) {
                return false;
            }
        }
        return true;
    }

    static bool Meet(const Box& a, const Box& b)
    {
        for (int axis = 0; axis < D; ++axis) {
            if (!(a.min[axis] <= b.max[axis] && b.min[axis] <= a.max[axis])) {
                return false;
            }
        }
        return true;
    }

    /// By cases, not by the formula of the library; coordinate by coordinate in the order in which
    /// it sums.
    static T SquaredGap(const Box& box, const Point& point)
    {
        T sum = 0;
        for (int axis = 0; axis < D; ++axis) {
            if (point[axis] < box.min[axis]) {
                sum += (box.min[axis] - point[axis]) * (box.min[axis] - point[axis]);
            } else if (point[axis] > box.max[axis]) {
                sum += (box.max[axis] - point[axis]) * (box.max[axis] - point[axis]);
            }
        }
        return sum;
    }

    static std::vector<int> Selected(const std::vector<Box>& boxes,
                                     const std::function<bool(const Box&)>& isSelected)
    {
        std::vector<int> numbers;
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            if (IsBox(boxes[i]) && isSelected(boxes[i])) {
                numbers.push_back(static_cast<int>(i));
            }
        }
        return numbers;
    }

    static std::vector<int> Sorted(std::vector<int> numbers)
    {
        std::sort(numbers.begin(), numbers.end());
        return numbers;
    }

    /// A type, not a lambda, so that the walks of a hierarchy are compiled once for all who
    /// collect.
    struct Collector {
        std::vector<int>& numbers;
        void operator()(int number) const { numbers.push_back(number); }
    };

    /// The numbers in the order in which a visit gives them.
    template <class Visit>
    static std::vector<int> Collected(const Visit& visit)
    {
        std::vector<int> numbers;
        EXPECT_FALSE(visit(Collector{numbers}));
        return numbers;
    }

    /// Calls `test(boxes, hierarchy, cut)` for all cases and both cuts.
    template <class TestCase>
    void ForEachHierarchy(const TestCase& test)
    {
        for (const Case<D, T>& c : Cases()) {
            SCOPED_TRACE(c.name);
            for (const HierarchyCut cut : {HierarchyCut::Area, HierarchyCut::Order}) {
                SCOPED_TRACE(cut == HierarchyCut::Area ? "by area" : "in order");
                ASSERT_NO_FATAL_FAILURE(test(c.boxes, Hierarchy(c.boxes, cut), cut));
            }
        }
    }

    Random random_{20};
};

#define SORVANE_USE_FORM                                    \
    [[maybe_unused]] Lists<TypeParam> lists;                \
    using T = typename TypeParam::T;                        \
    using Box = typename Lists<TypeParam>::Box;             \
    using Point = typename Lists<TypeParam>::Point;         \
    using Hierarchy = typename Lists<TypeParam>::Hierarchy; \
    [[maybe_unused]] const auto useTypes = [](T, Box, Point, const Hierarchy&) {};

TYPED_TEST(BoxHierarchies, HoldEveryBoxOnce)
{
    SORVANE_USE_FORM
    lists.ForEachHierarchy([&](const std::vector<Box>& boxes, const Hierarchy& hierarchy,
                               HierarchyCut cut) {
        const std::vector<int> expected = lists.Selected(boxes, [](const Box&) { return true; });
        const std::vector<int> order(hierarchy.Order().begin(), hierarchy.Order().end());
        EXPECT_EQ(lists.Sorted(order), expected);
        EXPECT_EQ(hierarchy.IsEmpty(), expected.empty());
        if (cut == HierarchyCut::Order) {
            EXPECT_EQ(order, expected) << "the order of the list is kept";
        }
        // Visits go through the whole in this order.
        EXPECT_EQ(lists.Collected([&](const auto& sink) {
            return hierarchy.Visit([](const Box&) { return true; }, sink);
        }),
                  order);
        Box whole;
        for (const int i : expected) {
            whole.Grow(boxes[static_cast<std::size_t>(i)].min);
            whole.Grow(boxes[static_cast<std::size_t>(i)].max);
        }
        EXPECT_EQ(hierarchy.Whole(), whole);
    });
}

TYPED_TEST(BoxHierarchies, VisitMeetingIsThatOfBruteForce)
{
    SORVANE_USE_FORM
    lists.ForEachHierarchy(
        [&](const std::vector<Box>& boxes, const Hierarchy& hierarchy, HierarchyCut) {
            for (int i = 0; i < 50; ++i) {
                Box query;
                query.Grow(lists.QueryPoint(boxes));
                query.Grow(i % 2 == 0 ? query.min : lists.QueryPoint(boxes));
                ASSERT_EQ(
                    lists.Sorted(lists.Collected(
                        [&](const auto& sink) { return hierarchy.VisitMeeting(query, sink); })),
                    lists.Selected(boxes, [&](const Box& box) { return lists.Meet(box, query); }));
            }
            const Box everything{lists.All(-lists.kInfinity), lists.All(lists.kInfinity)};
            EXPECT_EQ(lists
                          .Collected([&](const auto& sink) {
                              return hierarchy.VisitMeeting(everything, sink);
                          })
                          .size(),
                      hierarchy.Order().size());
            for (const Box& nothing : {Box(), Box{lists.All(lists.kNaN), lists.All(1)},
                                       Box{lists.All(0), lists.All(lists.kNaN)}}) {
                const auto met = lists.Collected(
                    [&](const auto& sink) { return hierarchy.VisitMeeting(nothing, sink); });
                EXPECT_TRUE(lists.Sorted(met) == lists.Selected(boxes, [&](const Box& box) {
                    return lists.Meet(box, nothing);
                }));
            }
        });
}

TYPED_TEST(BoxHierarchies, VisitWithinIsThatOfBruteForceAndStrict)
{
    SORVANE_USE_FORM
    lists.ForEachHierarchy([&](const std::vector<Box>& boxes, const Hierarchy& hierarchy,
                               HierarchyCut) {
        for (int i = 0; i < 50; ++i) {
            const Point point = lists.QueryPoint(boxes);
            // Exactly as far as one of the boxes, now and then.
            T squared = static_cast<T>(std::exp2(lists.random_.Between(-6, 6)));
            if (!boxes.empty() && i % 3 == 0) {
                squared = lists.SquaredGap(
                    boxes[static_cast<std::size_t>(lists.random_.Below(int(boxes.size())))], point);
            }
            ASSERT_EQ(lists.Sorted(lists.Collected([&](const auto& sink) {
                return hierarchy.VisitWithin(point, squared, sink);
            })),
                      lists.Selected(boxes, [&](const Box& box) {
                          return !lists.HoldsNaN(point) && lists.SquaredGap(box, point) < squared;
                      }));
        }
        EXPECT_TRUE(lists
                        .Collected([&](const auto& sink) {
                            return hierarchy.VisitWithin(lists.All(0), 0, sink);
                        })
                        .empty());
        EXPECT_TRUE(lists
                        .Collected([&](const auto& sink) {
                            return hierarchy.VisitWithin(lists.All(lists.kNaN), lists.kInfinity,
                                                         sink);
                        })
                        .empty());
        EXPECT_TRUE(lists
                        .Collected([&](const auto& sink) {
                            return hierarchy.VisitWithin(lists.All(0), lists.kNaN, sink);
                        })
                        .empty());
    });
}

TYPED_TEST(BoxHierarchies, PredicatesPruneAndSelect)
{
    SORVANE_USE_FORM
    lists.ForEachHierarchy(
        [&](const std::vector<Box>& boxes, const Hierarchy& hierarchy, HierarchyCut) {
            for (int i = 0; i < 30; ++i) {
                const Point point = lists.QueryPoint(boxes);
                const int axis = lists.random_.Below(Lists<TypeParam>::D);
                // The plane (or line) across an axis: a query that the hierarchy knows nothing of.
                const auto isCut = [&](const Box& box) {
                    return box.min[axis] <= point[axis] && point[axis] <= box.max[axis];
                };
                ASSERT_EQ(lists.Sorted(lists.Collected(
                              [&](const auto& sink) { return hierarchy.Visit(isCut, sink); })),
                          lists.Selected(boxes, isCut));
            }
        });
}

TYPED_TEST(BoxHierarchies, VisitNearestFindsTheNearestWithTies)
{
    SORVANE_USE_FORM
    lists.ForEachHierarchy([&](const std::vector<Box>& boxes, const Hierarchy& hierarchy,
                               HierarchyCut) {
        for (int i = 0; i < 50; ++i) {
            const Point point = lists.QueryPoint(boxes);
            const T bound = i % 2 == 0 ? lists.kInfinity
                                       : static_cast<T>(std::exp2(lists.random_.Between(-6, 6)));
            T expectedLeast = lists.kInfinity;
            int expected = -1;
            for (std::size_t b = 0; b < boxes.size() && !lists.HoldsNaN(point); ++b) {
                const T squared =
                    lists.IsBox(boxes[b]) ? lists.SquaredGap(boxes[b], point) : lists.kInfinity;
                if (squared < bound && squared < expectedLeast) {
                    expectedLeast = squared;
                    expected = static_cast<int>(b);
                }
            }
            T least = lists.kInfinity;
            int nearest = -1;
            EXPECT_FALSE(hierarchy.VisitNearest(
                point, [&](T squared) { return squared < bound && squared <= least; },
                [&](int number) {
                    const T squared =
                        lists.SquaredGap(boxes[static_cast<std::size_t>(number)], point);
                    if (squared < least || (squared == least && number < nearest)) {
                        least = squared;
                        nearest = number;
                    }
                }));
            ASSERT_EQ(nearest, expected);
        }
        int shown = 0;
        hierarchy.VisitNearest(
            lists.All(lists.kNaN), [](T) { return true; }, [&](int) { ++shown; });
        EXPECT_EQ(shown, 0);
    });
}

TYPED_TEST(BoxHierarchies, NearestShowsEverythingToWhoNeverCloses)
{
    SORVANE_USE_FORM
    lists.ForEachHierarchy(
        [&](const std::vector<Box>& boxes, const Hierarchy& hierarchy, HierarchyCut) {
            const std::vector<int> all = lists.Selected(boxes, [](const Box&) { return true; });
            EXPECT_EQ(lists.Sorted(lists.Collected([&](const auto& sink) {
                return hierarchy.VisitNearest(
                    lists.All(0), [](T) { return true; }, sink);
            })),
                      all);
        });
}

/// Nearest among the boxes of other colors than the asker's: subtrees of that color alone are
/// passed over.
TYPED_TEST(BoxHierarchies, FoldedPayloadsGuideVisits)
{
    SORVANE_USE_FORM
    static constexpr int kMixed = -1;
    static constexpr int kNone = -2;
    lists.ForEachHierarchy([&](const std::vector<Box>& boxes, const Hierarchy& hierarchy,
                               HierarchyCut) {
        const auto colorOf = [](int number) { return number / 20 % 3; };
        const auto folded = hierarchy.template Folded<int>(
            kNone, colorOf, [](int a, int b) { return a == b ? a : kMixed; });
        ASSERT_EQ(folded.size(), hierarchy.SubtreeCount());
        for (int color = 0; color < 3; ++color) {
            bool hasMetNone = false;
            const auto isOther = [&](const Box&, std::size_t subtree) {
                hasMetNone = hasMetNone || folded[subtree] == kNone;
                return folded[subtree] != color;
            };
            std::vector<int> expected = lists.Selected(boxes, [](const Box&) { return true; });
            std::erase_if(expected, [&](int number) { return colorOf(number) == color; });
            EXPECT_EQ(lists.Sorted(lists.Collected(
                          [&](const auto& sink) { return hierarchy.Visit(isOther, sink); })),
                      expected);
            EXPECT_EQ(lists.Sorted(lists.Collected([&](const auto& sink) {
                return hierarchy.VisitNearest(
                    lists.All(1), [&](T, std::size_t subtree) { return folded[subtree] != color; },
                    sink);
            })),
                      expected);
            EXPECT_FALSE(hasMetNone) << "a predicate was asked about nothing";
        }
        // From left to right: the least number of a subtree whose order is kept is its first.
        const auto sums = hierarchy.template Folded<std::size_t>(
            0, [](int) { return std::size_t{1}; }, std::plus<>());
        const std::size_t top = std::min(hierarchy.SubtreeCount(), std::size_t{Hierarchy::kWidth});
        EXPECT_EQ(std::accumulate(sums.begin(), sums.begin() + static_cast<std::ptrdiff_t>(top),
                                  std::size_t{0}),
                  hierarchy.Order().size());
    });
}

TYPED_TEST(BoxHierarchies, KeptOrderGivesTheFirst)
{
    SORVANE_USE_FORM
    const std::vector<Box> boxes = lists.GridBoxes(300);
    for (const int leafSize : {1, 3}) {
        const Hierarchy hierarchy(boxes, HierarchyCut::Order, leafSize);
        for (int i = 0; i < 100; ++i) {
            const Point point = lists.QueryPoint(boxes);
            const std::vector<int> expected = lists.Selected(boxes, [&](const Box& box) {
                return lists.Meet(box, {point, point});
            });
            std::vector<int> seen;
            const bool hasEnded = hierarchy.VisitMeeting({point, point}, [&](int number) -> bool {
                if (lists.Meet(boxes[static_cast<std::size_t>(number)], {point, point})) {
                    seen.push_back(number);
                }
                return !seen.empty();
            });
            ASSERT_EQ(hasEnded, !expected.empty());
            ASSERT_EQ(seen, expected.empty() ? expected : std::vector<int>{expected[0]});
        }
    }
}

TYPED_TEST(BoxHierarchies, LargerLeavesComeWhole)
{
    SORVANE_USE_FORM
    const std::vector<Box> boxes = lists.RandomBoxes(500, -10, 10, 1);
    for (const HierarchyCut cut : {HierarchyCut::Area, HierarchyCut::Order}) {
        for (const int leafSize : {2, 4, 255}) {
            const Hierarchy hierarchy(boxes, cut, leafSize);
            EXPECT_EQ(hierarchy.Order().size(), boxes.size());
            for (int i = 0; i < 30; ++i) {
                const Point point = lists.QueryPoint(boxes);
                std::vector<int> met = lists.Collected([&](const auto& sink) {
                    return hierarchy.VisitMeeting({point, point}, sink);
                });
                std::erase_if(met, [&](int number) {
                    return !lists.Meet(boxes[static_cast<std::size_t>(number)], {point, point});
                });
                EXPECT_EQ(lists.Sorted(met), lists.Selected(boxes, [&](const Box& box) {
                    return lists.Meet(box, {point, point});
                }));
            }
        }
    }
}

TYPED_TEST(BoxHierarchies, LeavesAreToldWhole)
{
    SORVANE_USE_FORM
    const std::vector<Box> boxes = lists.RandomBoxes(333, -10, 10, 1);
    for (const HierarchyCut cut : {HierarchyCut::Area, HierarchyCut::Order}) {
        for (const int leafSize : {1, 4}) {
            const Hierarchy hierarchy(boxes, cut, leafSize);
            std::size_t next = 0;
            std::size_t leaves = 0;
            hierarchy.Visit([](const Box&) { return true; },
                            [&](const HierarchyLeaf& leaf) {
                                EXPECT_EQ(leaf.number, leaves++);
                                EXPECT_EQ(leaf.first, next);
                                EXPECT_GE(leaf.count, 1U);
                                EXPECT_LE(leaf.count, static_cast<std::size_t>(leafSize));
                                next += leaf.count;
                            });
            EXPECT_EQ(next, boxes.size());
            EXPECT_EQ(leaves, hierarchy.LeafCount());
        }
    }
}

TYPED_TEST(BoxHierarchies, VisitOnLineIsThatOfTheTestAlone)
{
    SORVANE_USE_FORM
    lists.ForEachHierarchy([&](const std::vector<Box>& boxes, const Hierarchy& hierarchy,
                               HierarchyCut) {
        for (int i = 0; i < 30; ++i) {
            const Point origin = lists.QueryPoint(boxes);
            const Point direction = lists.random_.template Vector<Lists<TypeParam>::D, T>(-1, 1);
            const Velk::Math::Intersect::Impl::LineBoxTest<Lists<TypeParam>::D, T> line(
                origin, direction, hierarchy.Whole().min, hierarchy.Whole().max, T{0});
            const auto found = lists.Collected(
                [&](const auto& sink) { return hierarchy.VisitOnLine(line, sink); });
            ASSERT_EQ(lists.Sorted(found), lists.Selected(boxes, [&](const Box& box) {
                return line.Meets(box.min, box.max);
            }));
        }
    });
}

/// Points of `double` over boxes of `float`: distances are those of `double`.
TYPED_TEST(BoxHierarchies, PointsMayBeWiderThanBoxes)
{
    SORVANE_USE_FORM
    constexpr int D = Lists<TypeParam>::D;
    const std::vector<Box> boxes = lists.RandomBoxes(300, -10, 10, 1);
    const Hierarchy hierarchy(boxes, HierarchyCut::Area);
    const auto squaredGap = [&](std::size_t i, const VecBase<D, double>& point) {
        double sum = 0;
        for (int axis = 0; axis < D; ++axis) {
            const double low = boxes[i].min[axis];
            const double high = boxes[i].max[axis];
            const double gap =
                point[axis] < low ? low - point[axis] : std::max(0.0, point[axis] - high);
            sum += gap * gap;
        }
        return sum;
    };
    for (int i = 0; i < 100; ++i) {
        const auto point = lists.random_.template Vector<D, double>(-12, 12);
        const double squaredRadius = std::exp2(lists.random_.Between(-4, 4));
        std::vector<int> expected;
        double expectedLeast = std::numeric_limits<double>::infinity();
        for (std::size_t b = 0; b < boxes.size(); ++b) {
            if (squaredGap(b, point) < squaredRadius) {
                expected.push_back(static_cast<int>(b));
            }
            expectedLeast = std::min(expectedLeast, squaredGap(b, point));
        }
        ASSERT_EQ(lists.Sorted(lists.Collected([&](const auto& sink) {
            return hierarchy.VisitWithin(point, squaredRadius, sink);
        })),
                  expected);
        double least = std::numeric_limits<double>::infinity();
        hierarchy.VisitNearest(
            point, [&](double squared) { return squared < least; },
            [&](int number) {
                least = std::min(least, squaredGap(static_cast<std::size_t>(number), point));
            });
        ASSERT_EQ(least, expectedLeast);
    }
}

TYPED_TEST(BoxHierarchies, QueriesLookAtFewAndTakeNoMemory)
{
    SORVANE_USE_FORM
    const std::vector<Box> boxes = lists.RandomBoxes(20000, 0, 100, T(0.1));
    const Hierarchy hierarchy(boxes, HierarchyCut::Area);
    std::vector<Point> points;
    for (int i = 0; i < 100; ++i) {
        points.push_back(lists.random_.template Vector<Lists<TypeParam>::D, T>(0, 100));
    }
    const std::size_t before = Support::AllocationCount();
    std::size_t asked = 0;
    std::size_t shown = 0;
    for (const Point& point : points) {
        T least = lists.kInfinity;
        hierarchy.VisitNearest(
            point,
            [&](T squared) {
                ++asked;
                return squared < least;
            },
            [&](int number) {
                ++shown;
                least = std::min(least,
                                 lists.SquaredGap(boxes[static_cast<std::size_t>(number)], point));
            });
        hierarchy.Visit(
            [&](const Box& box) {
                ++asked;
                return lists.Meet(box, {point, point});
            },
            [](int) {});
    }
    EXPECT_EQ(Support::AllocationCount(), before);
    // A path from the root is 8 nodes of four; a few of them a query, not 20,000 boxes.
    EXPECT_LT(asked / points.size(), 400U);
    EXPECT_LT(shown / points.size(), 20U);
}

/// Where every cut by area splits off a few boxes only, building ends all the same, in nodes that
/// hold two boxes at least.
TYPED_TEST(BoxHierarchies, CrowdsTowardAPointAreHeldWhole)
{
    SORVANE_USE_FORM
    std::vector<Box> boxes;
    T size = 1;
    for (int i = 0; i < 4000; ++i) {
        boxes.push_back({lists.All(0), lists.All(size)});
        size = std::max(size * T(0.9), std::numeric_limits<T>::min());
    }
    const Hierarchy hierarchy(boxes, HierarchyCut::Area);
    EXPECT_LT(hierarchy.SubtreeCount(), Hierarchy::kWidth * boxes.size());
    std::size_t shown = 0;
    hierarchy.VisitMeeting({lists.All(0), lists.All(0)}, [&](int) { ++shown; });
    EXPECT_EQ(shown, boxes.size());
}

TYPED_TEST(BoxHierarchies, DefaultMadeFindsNothing)
{
    SORVANE_USE_FORM
    const Hierarchy hierarchy;
    EXPECT_TRUE(hierarchy.IsEmpty());
    EXPECT_EQ(hierarchy.SubtreeCount(), 0U);
    EXPECT_TRUE(lists
                    .Collected([&](const auto& sink) {
                        return hierarchy.Visit([](const Box&) { return true; }, sink);
                    })
                    .empty());
}

} // namespace
