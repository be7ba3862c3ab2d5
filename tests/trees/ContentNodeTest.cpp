// The rules of a single node and its subtree: where a content goes, when a leaf splits, what stays
// with the parent, what removal leaves behind.

#include <Sorvane/ContentNode_E.h>

#include <gtest/gtest.h>

#include "tests/support/TestSupport.h"

#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree;

using BoxNode = QOFNode<2, double, 0>;
using BallNode = QOFNode<2, double, 1>;
using BoxContent = QOFTreeContent<2, double, 0>;
using BallContent = QOFTreeContent<2, double, 1>;

static_assert(std::is_base_of_v<QOFTreeContentBox<2, double>, BoxContent>);
static_assert(std::is_base_of_v<QOFTreeContentBall<2, double>, BallContent>);

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <int D, class T, int K>
QOFNode<D, T, K>* Child(const QOFNode<D, T, K>& node, int index)
{
    return node.children.at(static_cast<std::size_t>(index)).get();
}

/// Cell from -8 to 8 with slack 0.25: loose box from -10 to 10.
struct Cell8 : BoxNode {
    Cell8() : BoxNode(nullptr, {{0, 0}, 8, 0.25}) {}
};

// --- defaults and cells -------------------------------------------------------------------------

TEST(ContentNode, IsALeafWithoutContentAtFirst)
{
    const BoxNode node;
    EXPECT_EQ(node.center, (Vec2d{0, 0}));
    EXPECT_EQ(node.halfSize, 0);
    EXPECT_EQ(node.slack, 0);
    EXPECT_TRUE(node.children.empty());
    EXPECT_EQ(node.parent, nullptr);
    EXPECT_TRUE(node.content.empty());
    EXPECT_EQ(node.contentBox, BoxNode::Box());
    EXPECT_EQ(node.GetChild(0), nullptr);
    EXPECT_TRUE(node.CanSplit(0));
}

template <class Node>
void ExpectFieldsInOrder()
{
    const Node node;
    const std::array<const void*, 8> places{&node,         &node.center,    &node.halfSize,
                                            &node.slack,   &node.children,  &node.parent,
                                            &node.content, &node.contentBox};
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end(), std::less<>()));
}

TEST(ContentNode, FieldsStandInTheOrderTold)
{
    ExpectFieldsInOrder<QOFNode<2, float, 0>>();
    ExpectFieldsInOrder<QOFNode<2, double, 0>>();
    ExpectFieldsInOrder<QOFNode<3, double, 0>>();
    ExpectFieldsInOrder<QOFNode<2, double, 1>>();
    ExpectFieldsInOrder<QOFNode<3, double, 1>>();
    const QOFTreeContent<3, double, 0> box({1, 2, 3}, {4, 5, 6});
    EXPECT_LT(static_cast<const void*>(&box.min), static_cast<const void*>(&box.max));
    const BallContent ball({1, 2}, 3);
    EXPECT_LT(static_cast<const void*>(&ball.center), static_cast<const void*>(&ball.radius));
}

#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)
/// Place of a virtual operation in the table of its class: this ABI keeps it in the member pointer.
template <class Member>
std::ptrdiff_t VirtualSlot(Member member)
{
    std::ptrdiff_t offset = 0;
    static_assert(sizeof(member) >= sizeof(offset));
    std::memcpy(&offset, &member, sizeof(offset));
    EXPECT_EQ(offset % 2, 1) << "not a virtual operation";
    return (offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(ContentNode, VirtualOperationsStandInTheOrderTold)
{
    // The destructor takes the slots 0 and 1.
    EXPECT_EQ(VirtualSlot(&BoxNode::MemorySize), 2);
    EXPECT_EQ(VirtualSlot(&BoxNode::GetChild), 3);
    EXPECT_EQ(VirtualSlot(&BoxNode::CanSplit), 4);
    EXPECT_EQ(VirtualSlot(&BoxNode::AfterSplit), 5);
    EXPECT_EQ(VirtualSlot(&BoxNode::AllocateChild), 6);
    EXPECT_EQ(VirtualSlot(&BoxNode::TransferTo), 7);
    using Addressable = QOFAddressableNode<3, double, 1>;
    EXPECT_EQ(VirtualSlot(&Addressable::EnsureNode), 8);
    EXPECT_EQ(VirtualSlot(&Addressable::EnsureChild), 9);
}
#endif

TEST(ContentNode, ChildCellsHalveTheEdgeAndKeepTheSlack)
{
    const QOFNode<3, double, 0> node(nullptr, {{1, 2, 3}, 4, 0.5});
    for (int i = 0; i < 8; ++i) {
        const auto cell = node.ChildCell(i);
        EXPECT_EQ(cell.halfSize, 2);
        EXPECT_EQ(cell.slack, 0.5);
        EXPECT_EQ(cell.center,
                  (Vec3d{(i & 1) != 0 ? 3 : -1, (i & 2) != 0 ? 4 : 0, (i & 4) != 0 ? 5 : 1}));
    }
    EXPECT_EQ(node.LooseBox().min, (Vec3d{-5, -4, -3}));
    EXPECT_EQ(node.LooseBox().max, (Vec3d{7, 8, 9}));
}

TEST(ContentNode, MiddleStrictlyAboveTheCenterSetsTheBit)
{
    const QOFNode<3, double, 0> node(nullptr, {{0, 0, 0}, 4, 0});
    const auto index = [&](const Vec3d& p) { return node.ChildIndex({p, p}); };
    EXPECT_EQ(index({0, 0, 0}), 0);
    EXPECT_EQ(index({1e-300, 0, 0}), 1);
    EXPECT_EQ(index({0, 1e-300, 0}), 2);
    EXPECT_EQ(index({0, 0, 1e-300}), 4);
    EXPECT_EQ(index({1, -1, 1}), 5);
    EXPECT_EQ(node.ChildIndex({{-3, -1, -1}, {1, 3, 1}}), 2); // middles -1, 1, 0
    const BallNode balls(nullptr, {{0, 0}, 4, 0});
    EXPECT_EQ(balls.ChildIndex({{-1, 2}, 9}), 2);
}

TEST(ContentNode, MemorySizeCountsContentsAndChildren)
{
    const std::deque<BoxContent> squares(3);
    const std::deque<QOFTreeContent<3, double, 0>> cubes(5);
    Cell8 square;
    EXPECT_EQ(square.MemorySize(), 104U);
    for (const auto& content : squares) {
        square.content.insert(&content);
    }
    EXPECT_EQ(square.MemorySize(), 8U * 3 + 96 + 8);
    square.AllocateChild(0, square.ChildCell(0));
    EXPECT_EQ(square.MemorySize(), 8U * 3 + 96 + 672 + 8);

    QOFNode<3, double, 0> cube;
    EXPECT_EQ(cube.MemorySize(), 112U);
    for (const auto& content : cubes) {
        cube.content.insert(&content);
    }
    EXPECT_EQ(cube.MemorySize(), 8U * 5 + 104 + 8);
    cube.AllocateChild(7, cube.ChildCell(7));
    EXPECT_EQ(cube.MemorySize(), 8U * 5 + 104 + 1536 + 8);
}

TEST(ContentNode, AllocateChildMakesRoomForAllAndReplacesAnEarlierOne)
{
    Cell8 node;
    node.AllocateChild(2, node.ChildCell(2));
    ASSERT_EQ(node.children.size(), 4U);
    for (const int i : {0, 1, 3}) {
        EXPECT_EQ(node.GetChild(i), nullptr);
    }
    ASSERT_NE(node.GetChild(2), nullptr);
    EXPECT_EQ(node.GetChild(2)->parent, &node);
    EXPECT_EQ(node.GetChild(2)->center, (Vec2d{-4, 4}));
    EXPECT_EQ(node.GetChild(4), nullptr);
    EXPECT_EQ(node.GetChild(-1), nullptr);

    const std::shared_ptr<BoxNode> earlier = node.children[2];
    node.AllocateChild(2, {{1, 1}, 3, 0.75});
    EXPECT_NE(node.children[2], earlier);
    EXPECT_EQ(node.GetChild(2)->halfSize, 3);
    EXPECT_EQ(node.GetChild(2)->slack, 0.75);
    node.AllocateChild(4, {}); // no such child
    EXPECT_EQ(node.children.size(), 4U);
}

// --- insertion ----------------------------------------------------------------------------------

TEST(ContentNodeInsert, RefusesNullAndWhatTheLooseBoxDoesNotHold)
{
    Cell8 node;
    EXPECT_FALSE(BoxNode::Insert(node, nullptr, true, 4));
    EXPECT_FALSE(BoxNode::Insert(node, nullptr, false, 4));
    const BoxContent outside({9, 0}, {std::nextafter(10.0, 11.0), 1});
    const BoxContent below({std::nextafter(-10.0, -11.0), 0}, {0, 1});
    const BoxContent touching({-10, -10}, {10, 10});
    EXPECT_FALSE(BoxNode::Insert(node, &outside, true, 4));
    EXPECT_FALSE(BoxNode::Insert(node, &outside, false, 4));
    EXPECT_FALSE(BoxNode::Insert(node, &below, true, 4));
    EXPECT_TRUE(node.content.empty());
    EXPECT_EQ(node.contentBox, BoxNode::Box());
    EXPECT_TRUE(BoxNode::Insert(node, &touching, true, 4));
    EXPECT_TRUE(node.content.contains(&touching));
}

template <class T>
void ExpectInsertGoesByTheSquaredDistance()
{
    // Gaps whose squares are numbers, and gaps whose squares vanish.
    using Support::Random;
    Random random(4);
    const double vanishing = std::sqrt(static_cast<double>(std::numeric_limits<T>::denorm_min()));
    int taken = 0;
    for (int round = 0; round < 2000; ++round) {
        QOFNode<2, T, 0> node(nullptr, {{8, 8}, 8, 0}); // from 0 to 16
        const T outside = static_cast<T>(-vanishing * random.Between(0, 2));
        QOFTreeContent<2, T, 0> content({1, 1}, {2, 2});
        (round % 4 < 2 ? content.min : content.max)[round % 2] = outside;
        const auto loose = node.LooseBox();
        const bool expected =
            Intersect::DistanceToAABB(loose.min, loose.max, content.min, true) == 0 &&
            Intersect::DistanceToAABB(loose.min, loose.max, content.max, true) == 0;
        ASSERT_EQ((QOFNode<2, T, 0>::Insert(node, &content, true, 4)), expected) << outside;
        ASSERT_EQ(node.content.size(), expected ? 1U : 0U);
        taken += expected ? 1 : 0;
    }
    EXPECT_GT(taken, 400);
    EXPECT_LT(taken, 1600);
}

TEST(ContentNodeInsert, TakesACornerWhoseSquaredDistanceVanishes)
{
    ExpectInsertGoesByTheSquaredDistance<float>();
    ExpectInsertGoesByTheSquaredDistance<double>();
}

TEST(ContentNodeInsert, RefusesNaNAndInfinity)
{
    Cell8 node;
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (int corner = 0; corner < 4; ++corner) {
            BoxContent content({1, 1}, {2, 2});
            (corner < 2 ? content.min : content.max)[corner % 2] = bad;
            EXPECT_FALSE(BoxNode::Insert(node, &content, true, 1)) << bad << ' ' << corner;
        }
    }
    BallNode balls(nullptr, {{0, 0}, 8, 0.25});
    for (const BallContent& content :
         {BallContent({kNaN, 0}, 1), BallContent({0, kNaN}, 1), BallContent({0, 0}, kNaN),
          BallContent({kInfinity, 0}, 1), BallContent({0, 0}, kInfinity)}) {
        EXPECT_FALSE(BallNode::Insert(balls, &content, true, 1));
    }
    EXPECT_EQ(balls.contentBox, BallNode::Box());
}

TEST(ContentNodeInsert, ANodeWithoutACellThatIsANumberRefusesAll)
{
    BoxNode node(nullptr, {{0, 0}, 0, kNaN});
    const BoxContent content({0, 0}, {0, 0});
    EXPECT_FALSE(BoxNode::Insert(node, &content, true, 1));
}

TEST(ContentNodeInsert, ABallFitsWhenBothFacesAreARadiusAway)
{
    BallNode node(nullptr, {{0, 0}, 8, 0.25});
    const BallContent fits({7, -7}, 3);
    const BallContent sticksOut({7, std::nextafter(-7.0, -8.0)}, 3);
    EXPECT_TRUE(BallNode::Insert(node, &fits, true, 4));
    EXPECT_FALSE(BallNode::Insert(node, &sticksOut, true, 4));
    EXPECT_EQ(node.contentBox.min, (Vec2d{4, -10}));
    EXPECT_EQ(node.contentBox.max, (Vec2d{10, -4}));
}

TEST(ContentNodeInsert, SplitsWhenTheCapacityIsExceededNotWhenItIsReached)
{
    Cell8 node;
    const std::deque<BoxContent> items{{{1, 1}, {2, 2}}, {{-2, 1}, {-1, 2}}, {{1, -2}, {2, -1}}};
    EXPECT_TRUE(BoxNode::Insert(node, &items[0], true, 2));
    EXPECT_TRUE(BoxNode::Insert(node, &items[1], true, 2));
    EXPECT_TRUE(node.children.empty());
    EXPECT_EQ(node.content.size(), 2U);
    EXPECT_TRUE(BoxNode::Insert(node, &items[2], true, 2));
    ASSERT_EQ(node.children.size(), 4U);
    EXPECT_TRUE(node.content.empty());
    EXPECT_TRUE(Child(node, 3)->content.contains(&items[0]));
    EXPECT_TRUE(Child(node, 2)->content.contains(&items[1]));
    EXPECT_TRUE(Child(node, 1)->content.contains(&items[2]));
    EXPECT_TRUE(Child(node, 0)->content.empty());
    EXPECT_EQ(node.contentBox.min, (Vec2d{-2, -2}));
    EXPECT_EQ(node.contentBox.max, (Vec2d{2, 2}));
    EXPECT_EQ(Child(node, 1)->contentBox.min, (Vec2d{1, -2}));
    EXPECT_EQ(Child(node, 0)->contentBox, BoxNode::Box());
}

TEST(ContentNodeInsert, WhatNoChildHoldsStaysWithTheParentWhichThenMayExceedTheCapacity)
{
    Cell8 node; // children's loose boxes reach 1 beyond the center lines
    std::deque<BoxContent> wide;
    for (int i = 0; i < 6; ++i) {
        wide.emplace_back(Vec2d{-2, -2}, Vec2d{2, 2});
    }
    for (const BoxContent& item : wide) {
        EXPECT_TRUE(BoxNode::Insert(node, &item, true, 2));
    }
    EXPECT_EQ(node.content.size(), 6U);
    EXPECT_EQ(node.children.size(), 4U);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(Child(node, i)->content.empty());
        EXPECT_TRUE(Child(node, i)->children.empty()) << "a node with children splits no more";
    }
}

TEST(ContentNodeInsert, AChildThatIsMissingRefuses)
{
    Cell8 node;
    node.AllocateChild(0, node.ChildCell(0));
    const BoxContent upper({5, 5}, {6, 6});
    const BoxContent lower({-6, -6}, {-5, -5});
    EXPECT_TRUE(BoxNode::Insert(node, &upper, true, 1));
    EXPECT_TRUE(BoxNode::Insert(node, &lower, true, 1));
    EXPECT_TRUE(node.content.contains(&upper));
    EXPECT_TRUE(Child(node, 0)->content.contains(&lower));
}

TEST(ContentNodeInsert, OnceIsEnough)
{
    Cell8 node;
    const BoxContent item({1, 1}, {2, 2});
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(BoxNode::Insert(node, &item, true, 1));
    }
    EXPECT_EQ(node.content.size(), 1U);
    EXPECT_TRUE(node.children.empty());
}

TEST(ContentNodeInsert, AgainWithAnotherBoundIsKnownByThatBound)
{
    for (const int count : {1, 200}) { // without and with groups
        Cell8 node;
        std::deque<BoxContent> items(static_cast<std::size_t>(count), BoxContent({1, 1}, {2, 2}));
        for (const BoxContent& item : items) {
            BoxNode::Insert(node, &item, true, 1000);
        }
        node.content.Arrange();
        items[0].min = {-3, -4};
        EXPECT_TRUE(BoxNode::Insert(node, &items[0], true, 1000));
        EXPECT_EQ(node.content.size(), items.size());
        EXPECT_EQ(node.contentBox.min, (Vec2d{-3, -4}));
        std::size_t place = 0;
        while (node.content[place] != &items[0]) {
            ++place;
        }
        EXPECT_EQ(node.content.BoundAt(place).min, (Vec2d{-3, -4}));
        for (int level = 0; level < node.content.LevelCount(); ++level) {
            place /= 8;
            EXPECT_EQ(node.content.GroupBox(level, place).min, (Vec2d{-3, -4}));
        }
    }
}

TEST(ContentNodeInsert, TwoAtOnePlaceSplitUntilAChildIsTooSmall)
{
    Cell8 node;
    const BoxContent one({1, 1}, {2, 2});
    const BoxContent two({1, 1}, {2, 2});
    BoxNode::Insert(node, &one, true, 1);
    BoxNode::Insert(node, &two, true, 1);
    // By hand: [1, 2] fits the loose cells around 4 (half 4, reach 5: -1 to 9), 2 (half 2,
    // reach 2.5), 1 (half 1, reach 1.25: -0.25 to 2.25); its middle 1.5 then leads to the cell
    // around 1.5 (half 0.5, reach 0.625: 0.875 to 2.125), and from there to the one around 1.25
    // (reach 0.3125), too small.
    const BoxNode* home = &node;
    for (const double center : {4.0, 2.0, 1.0, 1.5}) {
        ASSERT_EQ(home->children.size(), 4U);
        EXPECT_TRUE(home->content.empty());
        home = home->GetChild(home->ChildIndex(one.GetBound()));
        EXPECT_EQ(home->center, (Vec2d{center, center}));
        EXPECT_EQ(home->contentBox.min, one.min);
        EXPECT_EQ(home->contentBox.max, one.max);
    }
    EXPECT_EQ(home->content.size(), 2U);
    ASSERT_EQ(home->children.size(), 4U);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(Child(*home, i)->content.empty());
    }
}

// --- endless splitting --------------------------------------------------------------------------

TEST(ContentNodeSplit, CoincidentPointsEnd)
{
    for (const Vec2d& place : {Vec2d{0, 0}, Vec2d{1, 1}, Vec2d{1.0 / 3, -2.0 / 7}, Vec2d{8, 8}}) {
        Cell8 node;
        std::deque<BoxContent> points(100, BoxContent(place, place));
        for (const BoxContent& point : points) {
            EXPECT_TRUE(BoxNode::Insert(node, &point, true, 1));
        }
        ASSERT_EQ(node.children.size(), 4U) << "the root splits";
        const BoxNode* child = node.GetChild(node.ChildIndex(points[0].GetBound()));
        EXPECT_EQ(child->content.size(), 100U);
        EXPECT_TRUE(child->children.empty())
            << "a second split would separate no more than the first";
    }
}

TEST(ContentNodeSplit, ALeafOfCoincidentPointsIsSplitWhenAsked)
{
    Cell8 node;
    const std::deque<BoxContent> points(9, BoxContent({1, 1}, {1, 1}));
    for (const BoxContent& point : points) {
        BoxNode::Insert(node, &point, true, 2);
    }
    BoxNode* leaf = node.GetChild(3);
    ASSERT_TRUE(leaf->children.empty());
    BoxNode::Split(*leaf, 2);
    ASSERT_EQ(leaf->children.size(), 4U);
    EXPECT_TRUE(leaf->content.empty());
    EXPECT_EQ(Child(*leaf, 0)->content.size(), 9U);
    EXPECT_TRUE(Child(*leaf, 0)->children.empty()) << "once only";
    // Something elsewhere makes an overflowing leaf worth splitting.
    const BoxContent other({0.5, 0.5}, {0.75, 0.75});
    EXPECT_TRUE(BoxNode::Insert(node, &other, true, 2));
    EXPECT_EQ(Child(*leaf, 0)->children.size(), 4U);
}

TEST(ContentNodeSplit, PointsNextToEachOtherEnd)
{
    // Two places that no cell of a sensible depth tells apart, each taken twice. Near 0 cells can
    // be halved down to the smallest number.
    const double tiny = std::numeric_limits<double>::denorm_min();
    const std::vector<std::pair<double, double>> pairs{
        {1.0, std::nextafter(1.0, 2.0)}, {0.0, tiny}, {-tiny, tiny}, {1e-200, 2e-200}};
    for (const auto& [a, b] : pairs) {
        Cell8 node;
        std::deque<BoxContent> points;
        for (int i = 0; i < 4; ++i) {
            const double at = i % 2 == 0 ? a : b;
            points.emplace_back(Vec2d{at, at}, Vec2d{at, at});
        }
        for (const BoxContent& point : points) {
            EXPECT_TRUE(BoxNode::Insert(node, &point, true, 1));
        }
        for (const BoxContent& point : points) {
            const BoxNode* home = &node;
            int depth = 0;
            while (!home->content.contains(&point)) {
                home = home->GetChild(home->ChildIndex(point.GetBound()));
                ASSERT_NE(home, nullptr);
                ASSERT_LT(++depth, 1100);
            }
        }
    }
}

TEST(ContentNodeSplit, HugeCellsEnd)
{
    const double largest = std::numeric_limits<double>::max();
    for (const double half : {largest, kInfinity}) {
        BoxNode node(nullptr, {{0, 0}, half, 0});
        std::deque<BoxContent> points;
        for (int i = 0; i < 8; ++i) {
            points.emplace_back(Vec2d{1.0 * i, 0}, Vec2d{1.0 * i, 0});
        }
        for (const BoxContent& point : points) {
            EXPECT_TRUE(BoxNode::Insert(node, &point, true, 1));
        }
        EXPECT_EQ(node.children.empty(), half == kInfinity);
    }
}

TEST(ContentNodeSplit, FloatCellsEndAtTheirResolution)
{
    using Node = QOFNode<2, float, 0>;
    Node node(nullptr, {{1000.25F, 1000.25F}, 0.25F, 0});
    const std::deque<QOFTreeContent<2, float, 0>> points{{{1000.1F, 1000.1F}, {1000.1F, 1000.1F}},
                                                         {{1000.2F, 1000.2F}, {1000.2F, 1000.2F}},
                                                         {{1000.1F, 1000.1F}, {1000.1F, 1000.1F}}};
    for (const auto& point : points) {
        EXPECT_TRUE(Node::Insert(node, &point, true, 1));
    }
    int depth = 0;
    for (const Node* at = &node; at != nullptr;
         at = at->GetChild(at->ChildIndex(points[0].GetBound()))) {
        ++depth;
    }
    EXPECT_LT(depth, 24); // bits of a float's fraction
}

TEST(ContentNodeSplit, BallsOfNegativeRadiusEnd)
{
    BallNode node(nullptr, {{0, 0}, 8, 0});
    const std::deque<BallContent> balls(10, BallContent({1, 1}, -100));
    for (const BallContent& ball : balls) {
        EXPECT_TRUE(BallNode::Insert(node, &ball, true, 1));
    }
}

TEST(ContentNodeSplit, AnEmptyLeafGetsChildrenEvenWithoutSize)
{
    BoxNode node;
    BoxNode::Split(node, 0);
    ASSERT_EQ(node.children.size(), 4U);
    EXPECT_EQ(Child(node, 1)->parent, &node);
    const std::shared_ptr<BoxNode> child = node.children[1];
    BoxNode::Split(node, 0); // has children
    EXPECT_EQ(node.children[1], child);
}

/// Counts the calls of the hooks and refuses to split below a depth.
struct HookedNode : BoxNode {
    int depth = 0;
    int deepest = 100;
    unsigned int lastCapacity = 0;
    int afterSplits = 0;
    std::size_t ownContentAtHook = 0;
    std::size_t childContentAtHook = 0;

    using BoxNode::BoxNode;
    bool CanSplit(unsigned int capacity) const override
    {
        return capacity < 1000 && depth < deepest;
    }
    void AfterSplit(unsigned int capacity) override
    {
        lastCapacity = capacity;
        ++afterSplits;
        ownContentAtHook = content.size();
        childContentAtHook = 0;
        for (const auto& child : children) {
            childContentAtHook += child->content.size();
        }
    }
    void AllocateChild(unsigned int index, const Cell& cell) override
    {
        children.resize(kChildCount);
        auto child = std::make_shared<HookedNode>(this, cell);
        child->depth = depth + 1;
        child->deepest = deepest;
        children[index] = child;
    }
};

TEST(ContentNodeSplit, AsksTheHooksOfDerivedNodes)
{
    HookedNode node(nullptr, {{0, 0}, 8, 0.25});
    node.deepest = 1;
    std::deque<BoxContent> items;
    for (int i = 0; i < 4; ++i) {
        items.emplace_back(Vec2d{1, 1}, Vec2d{1, 1.0 + i});
    }
    items.emplace_back(Vec2d{-3, -3}, Vec2d{3, 3}); // stays
    for (const BoxContent& item : items) {
        BoxNode::Insert(node, &item, true, 4);
    }
    EXPECT_EQ(node.afterSplits, 1);
    EXPECT_EQ(node.lastCapacity, 4U);
    EXPECT_EQ(node.ownContentAtHook, 5U) << "the set is exchanged after the hook";
    EXPECT_EQ(node.childContentAtHook, 4U);
    EXPECT_EQ(node.content.size(), 1U);
    auto* child = dynamic_cast<HookedNode*>(node.GetChild(3));
    ASSERT_NE(child, nullptr);
    BoxNode::Split(*child, 1);
    EXPECT_TRUE(child->children.empty()) << "CanSplit denies it";
    EXPECT_EQ(child->afterSplits, 0);
}

// --- removal ------------------------------------------------------------------------------------

TEST(ContentNodeRemove, TakesOutFromWhereverItIs)
{
    Cell8 node;
    std::deque<BoxContent> items{{{1, 1}, {2, 2}}, {{-2, 1}, {-1, 2}}, {{-2, -2}, {2, 2}}};
    for (const BoxContent& item : items) {
        BoxNode::Insert(node, &item, true, 1);
    }
    const BoxNode::Box before = node.contentBox;
    ASSERT_EQ(node.content.size(), 1U);
    EXPECT_TRUE(BoxNode::Insert(node, &items[2], false, 1));
    EXPECT_TRUE(node.content.empty());
    EXPECT_TRUE(BoxNode::Insert(node, &items[0], false, 1));
    EXPECT_FALSE(Child(node, 3)->content.contains(&items[0]));
    EXPECT_EQ(node.children.size(), 4U) << "nodes are not joined again";
    EXPECT_EQ(node.contentBox, before) << "and boxes don't shrink";
    EXPECT_TRUE(BoxNode::Insert(node, &items[0], true, 1));
    EXPECT_TRUE(Child(node, 3)->content.contains(&items[0]));
}

TEST(ContentNodeRemove, AnswersTrueForWhatWasNeverThere)
{
    Cell8 node;
    const BoxContent inside({1, 1}, {2, 2});
    const BoxContent outside({1, 1}, {20, 2});
    EXPECT_TRUE(BoxNode::Insert(node, &inside, false, 1));
    EXPECT_FALSE(BoxNode::Insert(node, &outside, false, 1));
    EXPECT_EQ(node.contentBox, BoxNode::Box());
}

TEST(ContentNodeRemove, GoesByTheBoundOfTheMoment)
{
    Cell8 node;
    std::deque<BoxContent> items{{{1, 1}, {2, 2}}, {{-2, 1}, {-1, 2}}};
    for (const BoxContent& item : items) {
        BoxNode::Insert(node, &item, true, 1);
    }
    items[0].min = {-2, -2};
    items[0].max = {-1, -1};
    EXPECT_TRUE(BoxNode::Insert(node, &items[0], false, 1));
    EXPECT_TRUE(Child(node, 3)->content.contains(&items[0])) << "looked for in another cell";
}

// --- hand-over ----------------------------------------------------------------------------------

TEST(ContentNodeTransfer, HandsEverythingOver)
{
    for (const bool withContentBox : {true, false}) {
        Cell8 node;
        const std::deque<BoxContent> items{
            {{1, 1}, {2, 2}}, {{-2, 1}, {-1, 2}}, {{-2, -2}, {2, 2}}};
        for (const BoxContent& item : items) {
            BoxNode::Insert(node, &item, true, 1);
        }
        const std::vector<std::shared_ptr<BoxNode>> children = node.children;
        const BoxNode::Box box = node.contentBox;
        BoxNode grandparent;
        BoxNode target;
        target.parent = &grandparent;
        EXPECT_TRUE(node.TransferTo(target, withContentBox));
        EXPECT_TRUE(node.children.empty());
        EXPECT_TRUE(node.content.empty());
        EXPECT_EQ(target.children, children);
        for (const auto& child : target.children) {
            EXPECT_EQ(child->parent, &target);
        }
        EXPECT_EQ(target.parent, &grandparent);
        EXPECT_EQ(target.center, node.center);
        EXPECT_EQ(target.halfSize, 8);
        EXPECT_EQ(target.slack, 0.25);
        EXPECT_TRUE(target.content.contains(&items[2]));
        EXPECT_EQ(target.contentBox, withContentBox ? box : BoxNode::Box());
    }
}

TEST(ContentNodeTransfer, IsRefusedByATargetInUse)
{
    const BoxContent item({1, 1}, {2, 2});
    Cell8 node;
    BoxNode::Insert(node, &item, true, 1);
    BoxNode withContent;
    withContent.content.insert(&item);
    BoxNode withChild;
    withChild.AllocateChild(0, {});
    EXPECT_FALSE(node.TransferTo(withContent, true));
    EXPECT_FALSE(node.TransferTo(withChild, true));
    EXPECT_FALSE(node.TransferTo(node, true));
    EXPECT_EQ(node.content.size(), 1U);
    EXPECT_EQ(withContent.halfSize, 0);
}

TEST(ContentNodeTransfer, ALonelyChildIsHandedOverToo)
{
    Cell8 node;
    node.AllocateChild(1, node.ChildCell(1)); // the others are null
    BoxNode target;
    EXPECT_TRUE(node.TransferTo(target, false));
    ASSERT_NE(target.GetChild(1), nullptr);
    EXPECT_EQ(target.GetChild(1)->parent, &target);
    EXPECT_EQ(target.GetChild(0), nullptr);
}

// --- the set ------------------------------------------------------------------------------------

TEST(ContentSet, KeepsTheOrderOfInsertion)
{
    const std::deque<BoxContent> items(5);
    QOFContentSet<2, double, 0> set;
    const auto item = [&](int i) { return &items[static_cast<std::size_t>(i)]; };
    for (const int i : {3, 1, 4, 0}) {
        EXPECT_TRUE(set.insert(item(i)));
        EXPECT_FALSE(set.insert(item(3)));
    }
    using Pointers = std::vector<const BoxContent*>;
    EXPECT_EQ(Pointers(set.begin(), set.end()), (Pointers{item(3), item(1), item(4), item(0)}));
    EXPECT_FALSE(set.erase(item(2)));
    EXPECT_TRUE(set.erase(item(1))); // the last one takes its place
    EXPECT_EQ(Pointers(set.begin(), set.end()), (Pointers{item(3), item(0), item(4)}));
    QOFContentSet<2, double, 0> other;
    other.insert(item(2));
    set.swap(other);
    EXPECT_EQ(Pointers(set.begin(), set.end()), Pointers{item(2)});
    EXPECT_EQ(other.size(), 3U);
}

TEST(ContentSet, AMovedSetIsEmptyAndNullIsNoMember)
{
    const std::deque<BoxContent> items(100);
    using Set = QOFContentSet<2, double, 0>;
    Set set;
    EXPECT_FALSE(set.insert(nullptr));
    EXPECT_FALSE(set.erase(nullptr));
    for (const BoxContent& item : items) {
        set.insert(&item);
    }
    set.Arrange();
    ASSERT_GT(set.LevelCount(), 0);
    Set taken(std::move(set));
    EXPECT_EQ(taken.size(), 100U);
    EXPECT_EQ(set.size(), 0U); // NOLINT(bugprone-use-after-move): told to be empty
    EXPECT_EQ(set.LevelCount(), 0);
    EXPECT_EQ(set.GroupedCount(), 0U);
    set = std::move(taken);
    EXPECT_EQ(set.size(), 100U);
    EXPECT_EQ(taken.LevelCount(), 0); // NOLINT(bugprone-use-after-move)
}

TEST(ContentSet, BehavesAsASetAtEverySize)
{
    using Support::Random;
    constexpr int kItems = 3000;
    std::deque<BoxContent> items;
    for (int i = 0; i < kItems; ++i) {
        items.emplace_back(Vec2d{1.0 * i, 0}, Vec2d{1.0 * i, 1});
    }
    QOFContentSet<2, double, 0> set;
    std::vector<char> isIn(kItems, 0);
    std::size_t count = 0;
    Random random(11);
    for (int step = 0; step < 20'000; ++step) {
        const int i = random.Below(step < 10'000 ? kItems : kItems / 10);
        const bool insert = random.Unit() < (step < 10'000 ? 0.8 : 0.2);
        char& state = isIn[static_cast<std::size_t>(i)];
        const BoxContent* item = &items[static_cast<std::size_t>(i)];
        ASSERT_EQ(set.contains(item), state != 0);
        ASSERT_EQ(insert ? set.insert(item) : set.erase(item), insert ? state == 0 : state != 0);
        count = insert ? count + (state == 0 ? 1 : 0) : count - (state != 0 ? 1 : 0);
        state = insert ? 1 : 0;
        ASSERT_EQ(set.size(), count);
    }
    for (std::size_t i = 0; i < set.size(); ++i) {
        EXPECT_EQ(set.BoundAt(i), set[i]->GetBound()) << "bounds stay beside their contents";
    }
    ASSERT_GT(set.LevelCount(), 0) << "large enough for groups";
    ASSERT_LE(set.GroupedCount(), set.size());
    for (std::size_t i = 0; i < set.GroupedCount(); ++i) {
        std::size_t group = i;
        for (int level = 0; level < set.LevelCount(); ++level) {
            group /= 8;
            ASSERT_LT(group, set.GroupCount(level));
            const auto& box = set.GroupBox(level, group);
            EXPECT_TRUE(box.min[0] <= set.BoundAt(i).min[0] && box.max[0] >= set.BoundAt(i).max[0]);
        }
    }
    EXPECT_LE(set.GroupCount(set.LevelCount() - 1), 8U);
    set.clear();
    EXPECT_TRUE(set.empty());
    EXPECT_TRUE(set.insert(&items[0]));
}

} // namespace
