// Extra nodes at heights: where a height snaps to a node and where it makes one.

#include <Sorvane/IndexedMesh_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::SplitByHeight;

template <class Vector>
struct Form {
    using V = Vector;
    using T = typename V::value_type;
    using Nodes = std::vector<V>;
    using Heights = std::set<T>;
    using Numbers = std::vector<int>;

    /// A node of the input; in space at a z of its own.
    static V In(double x, double y)
    {
        V node = New(x, y);
        if constexpr (V::size() == 3) {
            node[2] = T(7);
        }
        return node;
    }

    /// A node that the split inserts: z is 0 in space.
    static V New(double x, double y)
    {
        V node;
        node[0] = static_cast<T>(x);
        node[1] = static_cast<T>(y);
        return node;
    }
};

template <class F>
class SplitByHeightOf : public testing::Test {
};
using Forms =
    testing::Types<Form<VecBase<2, float>>, Form<VecBase<2, double>>, Form<VecBase<3, double>>>;
TYPED_TEST_SUITE(SplitByHeightOf, Forms);

#define SORVANE_FORM                                                                         \
    using T [[maybe_unused]] = typename TypeParam::T;                                        \
    using V [[maybe_unused]] = typename TypeParam::V;                                        \
    using Nodes [[maybe_unused]] = typename TypeParam::Nodes;                                \
    using Heights [[maybe_unused]] = typename TypeParam::Heights;                            \
    using Numbers [[maybe_unused]] = typename TypeParam::Numbers;                            \
    [[maybe_unused]] const auto In = [](double x, double y) { return TypeParam::In(x, y); }; \
    [[maybe_unused]] const auto New = [](double x, double y) { return TypeParam::New(x, y); }

TYPED_TEST(SplitByHeightOf, NothingToSplit)
{
    SORVANE_FORM;
    const Nodes line{In(0, 0), In(4, 8)};
    const auto [same, none] = SplitByHeight(line, Heights{}, T(0.125));
    EXPECT_EQ(same, line);
    EXPECT_TRUE(none.empty());
    const auto [empty, noneEither] = SplitByHeight(Nodes{}, Heights{T{1}}, T(0.125));
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(noneEither.empty());
}

TYPED_TEST(SplitByHeightOf, NewNodesOnOneEdge)
{
    SORVANE_FORM;
    // x = y / 2 along the edge.
    const auto [nodes, numbers] =
        SplitByHeight(Nodes{In(0, 0), In(4, 8)}, Heights{T{-1}, T{2}, T{6}, T{9}}, T(0.125));
    EXPECT_EQ(nodes, (Nodes{In(0, 0), New(1, 2), New(3, 6), In(4, 8)}));
    EXPECT_EQ(numbers, (Numbers{1, 2}));
}

TYPED_TEST(SplitByHeightOf, InsertedNodeInSpaceHasZeroZ)
{
    SORVANE_FORM;
    const auto [nodes, numbers] = SplitByHeight(Nodes{In(0, 0), In(4, 8)}, Heights{T{2}}, T(0.125));
    ASSERT_EQ(nodes.size(), 3U);
    if constexpr (V::size() == 3) {
        EXPECT_EQ(nodes[0][2], T{7});
        EXPECT_EQ(nodes[1][2], T{0});
        EXPECT_EQ(nodes[2][2], T{7});
    }
    EXPECT_EQ(nodes[1][0], T{1});
}

TYPED_TEST(SplitByHeightOf, DippingPolylineIsReturnedUnchanged)
{
    SORVANE_FORM;
    const Nodes dips{In(0, 0), In(1, 5), In(2, 4.5), In(3, 9)};
    const auto [nodes, numbers] = SplitByHeight(dips, Heights{T{2}, T{7}}, T(0.125));
    EXPECT_EQ(nodes, dips);
    EXPECT_TRUE(numbers.empty());
}

TYPED_TEST(SplitByHeightOf, HeightOnANodeListsThatNodeOnce)
{
    SORVANE_FORM;
    const Nodes line{In(0, 0), In(1, 4), In(3, 8)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{T{0}, T{4}, T{8}}, T(0.5));
    EXPECT_EQ(nodes, line);
    EXPECT_EQ(numbers, (Numbers{0, 1, 2}));
}

TYPED_TEST(SplitByHeightOf, TwoHeightsThatSnapToOneNodeListItOnce)
{
    SORVANE_FORM;
    const Nodes line{In(0, 0), In(1, 4), In(3, 8)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{T(3.875), T{4}}, T(0.5));
    EXPECT_EQ(nodes, line);
    EXPECT_EQ(numbers, (Numbers{1}));
}

// Heights within half a tolerance below a node snap to it; above the node they never do.
TYPED_TEST(SplitByHeightOf, SnappingIsOneSided)
{
    SORVANE_FORM;
    const Nodes line{In(0, 0), In(4, 4), In(8, 8)};
    const T tolerance(0.5);
    EXPECT_EQ(SplitByHeight(line, Heights{T(3.875)}, tolerance).first, line);
    // Exactly half a tolerance below is a new node already.
    const auto [below, numbersBelow] = SplitByHeight(line, Heights{T(3.75)}, tolerance);
    EXPECT_EQ(below, (Nodes{In(0, 0), New(3.75, 3.75), In(4, 4), In(8, 8)}));
    EXPECT_EQ(numbersBelow, (Numbers{1}));
    const auto [above, numbersAbove] = SplitByHeight(line, Heights{T(4.125)}, tolerance);
    EXPECT_EQ(above, (Nodes{In(0, 0), In(4, 4), New(4.125, 4.125), In(8, 8)}));
    EXPECT_EQ(numbersAbove, (Numbers{2}));
}

TYPED_TEST(SplitByHeightOf, HeightAboveTheLastNodeDoesNothing)
{
    SORVANE_FORM;
    const Nodes line{In(0, 0), In(4, 4)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{T(4.0625)}, T(0.5));
    EXPECT_EQ(nodes, line);
    EXPECT_TRUE(numbers.empty());
}

TYPED_TEST(SplitByHeightOf, PlateauListsItsFirstNodeOnly)
{
    SORVANE_FORM;
    const Nodes line{In(0, 0), In(1, 4), In(2, 4), In(3, 4), In(4, 8)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{T{4}}, T(0.5));
    EXPECT_EQ(nodes, line);
    EXPECT_EQ(numbers, (Numbers{1}));
}

TYPED_TEST(SplitByHeightOf, ToleranceZeroTwinsAnInteriorNode)
{
    SORVANE_FORM;
    const Nodes line{In(0, 0), In(2, 4), In(3, 8)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{T{4}}, T{0});
    EXPECT_EQ(nodes, (Nodes{In(0, 0), New(2, 4), In(2, 4), In(3, 8)}));
    EXPECT_EQ(numbers, (Numbers{1}));
}

TYPED_TEST(SplitByHeightOf, FirstNodeTakesItsOwnHeightAlsoWithoutTolerance)
{
    SORVANE_FORM;
    const Nodes line{In(2, 4), In(3, 8)};
    // The second tolerance vanishes against the height.
    for (const T tolerance : {T{0}, std::numeric_limits<T>::min()}) {
        const auto [nodes, numbers] = SplitByHeight(line, Heights{T{4}, T{6}}, tolerance);
        EXPECT_EQ(nodes, (Nodes{In(2, 4), New(2.5, 6), In(3, 8)}));
        EXPECT_EQ(numbers, (Numbers{0, 1}));
    }
}

TYPED_TEST(SplitByHeightOf, RepeatedFirstNodeTakesTheHeightOnce)
{
    SORVANE_FORM;
    const Nodes line{In(2, 4), In(2, 4), In(3, 8)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{T{4}}, T{0});
    EXPECT_EQ(nodes, line);
    EXPECT_EQ(numbers, (Numbers{0}));
}

TYPED_TEST(SplitByHeightOf, HorizontalStepPutsTheNewNodeAtItsEnd)
{
    SORVANE_FORM;
    // From the first node at 4 the height 4 is taken there; a rise within the length floor has no
    // slope, and the node goes to the x of its end.
    const T rise = kLengthFloor<T> / 4;
    const Nodes line{In(0, 0), In(5, rise)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{rise / 2}, T{0});
    EXPECT_EQ(nodes, (Nodes{In(0, 0), New(5, rise / 2), In(5, rise)}));
    EXPECT_EQ(numbers, (Numbers{1}));
}

TYPED_TEST(SplitByHeightOf, TheLengthFloorItselfIsStillHorizontal)
{
    SORVANE_FORM;
    const T floor = kLengthFloor<T>;
    const auto placeOfNewNode = [&](T rise) {
        const Nodes line{In(0, 0), In(6, rise)};
        const auto [nodes, numbers] = SplitByHeight(line, Heights{rise / 2}, T{0});
        EXPECT_EQ(nodes.size(), 3U);
        EXPECT_EQ(numbers, (Numbers{1}));
        return nodes[1][0];
    };
    EXPECT_EQ(placeOfNewNode(floor), T{6});
    EXPECT_NEAR(placeOfNewNode(std::nextafter(floor, T{1})), 3.0, 1e-5); // halfway up, halfway on
}

TYPED_TEST(SplitByHeightOf, TheRiseCountsFromTheNodePutInLast)
{
    SORVANE_FORM;
    // From the node that the first height makes, what is left of the edge is within the floor.
    const T floor = kLengthFloor<T>;
    const T low = T(3.5) * floor;
    const T high = T(3.75) * floor;
    const Nodes line{In(0, 0), In(6, 4 * floor)};
    const auto [nodes, numbers] = SplitByHeight(line, Heights{low, high}, T{0});
    ASSERT_EQ(nodes.size(), 4U);
    EXPECT_NEAR(nodes[1][0], 6 * 3.5 / 4, 1e-5);
    EXPECT_EQ(nodes[2], New(6, high));
    EXPECT_EQ(numbers, (Numbers{1, 2}));
}

TYPED_TEST(SplitByHeightOf, NodeWithinTheLengthFloorOfTheLastTakesTheHeightItself)
{
    SORVANE_FORM;
    const T floor = kLengthFloor<T>;
    const Nodes close{In(0, 0), In(floor / 2, floor), In(1, 1)};
    const auto [nodes, numbers] = SplitByHeight(close, Heights{floor / 2}, T{0});
    EXPECT_EQ(nodes, close);
    EXPECT_EQ(numbers, (Numbers{1}));
    // As far apart in any one component they are two nodes, with room for a third between them.
    const Nodes apart{In(0, 0), In(2 * floor, floor), In(1, 1)};
    EXPECT_EQ(SplitByHeight(apart, Heights{floor / 2}, T{0}).first.size(), 4U);
}

TYPED_TEST(SplitByHeightOf, SingleNode)
{
    SORVANE_FORM;
    const auto [nodes, numbers] = SplitByHeight(Nodes{In(1, 3)}, Heights{T{2}, T{3}, T{4}}, T(0.5));
    EXPECT_EQ(nodes, (Nodes{In(1, 3)}));
    EXPECT_EQ(numbers, (Numbers{0}));
}

TYPED_TEST(SplitByHeightOf, LargestFiniteAndInfiniteHeightsOfNodesEnd)
{
    SORVANE_FORM;
    const T big = std::numeric_limits<T>::max();
    const T infinity = std::numeric_limits<T>::infinity();
    for (const T top : {big, infinity}) {
        Nodes line{In(0, 0), In(1, 1)};
        line[1][1] = top;
        const auto [nodes, numbers] = SplitByHeight(line, Heights{T{1}, T{2}}, T(0.5));
        ASSERT_EQ(nodes.size(), 4U);
        EXPECT_EQ(nodes[1][1], T{1});
        EXPECT_EQ(nodes[2][1], T{2});
        EXPECT_EQ(numbers, (Numbers{1, 2}));
    }
    // The largest finite value as a height, reached by a node.
    Nodes line{In(0, 0), In(1, 1)};
    line[1][1] = big;
    const auto [nodes, numbers] = SplitByHeight(line, Heights{big, infinity}, T(0.5));
    // Half a tolerance vanishes against such a height, which makes a new node and keeps its twin.
    ASSERT_EQ(nodes.size(), 3U);
    EXPECT_EQ(numbers, (Numbers{1}));
    EXPECT_EQ(nodes[1][1], big);
    EXPECT_EQ(nodes.back()[1], big);
}

TYPED_TEST(SplitByHeightOf, NanInTheInputEnds)
{
    SORVANE_FORM;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    Nodes line{In(0, 0), In(1, 2), In(2, 4)};
    line[1][1] = nan; // never below or above: not a dip
    const auto [nodes, numbers] = SplitByHeight(line, Heights{T{1}, T{3}}, T(0.5));
    // Nothing compares with the NaN node, so the heights fall to the node after it.
    ASSERT_EQ(nodes.size(), 3U);
    EXPECT_EQ(numbers, (Numbers{2}));
    const auto [same, snapped] = SplitByHeight(Nodes{In(0, 0), In(1, 2)}, Heights{T{0}, T{1}}, nan);
    EXPECT_EQ(same, (Nodes{In(0, 0), In(1, 2)}));
    EXPECT_EQ(snapped, (Numbers{0, 1}));
}

TYPED_TEST(SplitByHeightOf, EveryHeightInReachHasItsNodeAndThePathStays)
{
    SORVANE_FORM;
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        Support::Random random(static_cast<std::uint64_t>(trial) + 1);
        Nodes line;
        double y = random.Between(-2, 2);
        for (int i = 0; i < 12; ++i) {
            line.push_back(In(random.Between(-5, 5), y));
            y += random.Below(4) == 0 ? 0.0 : random.Between(0.2, 2.0);
        }
        Heights heights;
        for (int i = 0; i < 15; ++i) {
            heights.insert(static_cast<T>(random.Between(-4, 14)));
        }
        heights.insert(line[4][1]);
        const T tolerance(0.0078125);
        const auto [nodes, numbers] = SplitByHeight(line, heights, tolerance);

        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
        EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
        for (const T height : heights) {
            const bool inReach = height >= line.front()[1] && height <= line.back()[1];
            bool found = false;
            for (const int number : numbers) {
                const T above = nodes[static_cast<std::size_t>(number)][1] - height;
                found = found || (above >= 0 && above < tolerance / 2);
            }
            EXPECT_EQ(found, inReach) << height;
        }
        // Without the new nodes it is the input, and each new node lies on the input's edge.
        std::size_t edge = 0;
        for (const V& node : nodes) {
            if (edge < line.size() && node == line[edge]) {
                ++edge;
                continue;
            }
            ASSERT_TRUE(edge > 0 && edge < line.size());
            const V& a = line[edge - 1];
            const V& b = line[edge];
            const double t = (node[1] - a[1]) / (b[1] - a[1]);
            const double close = sizeof(T) == 4 ? 1e-4 : 1e-12;
            EXPECT_NEAR(node[0], a[0] + t * (b[0] - a[0]), close);
        }
        EXPECT_EQ(edge, line.size());
    }
}

} // namespace
