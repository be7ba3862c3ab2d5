// Cells of dual contouring: their children, the crossings of their edges, when eight of them become
// one, and the cells around the edges of a grid point. What is expected is counted by the geometry
// of the cube, with a point of the 3 x 3 x 3 grid of eight children named by its coordinates 0,
// 1, 2.

#include <Sorvane/DualContouring_E.h>

#include <gtest/gtest.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <bit>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using IsoSurface::DCNode;
using IsoSurface::GetRelativeSpindleNeighbors;
using Data = DCNode::SampleData;
using Support::FailEachAllocation;
using Support::Random;
using Address = Tree::QOFAddress<3>;

const DCNode::Cell kUnitCell{{0.5, 0.5, 0.5}, 0.5, 0};

struct Root : DCNode {
    Root() : DCNode(nullptr, kUnitCell, 0) {}
};

/// Lets no neighbor be made.
struct IdleOwner : Tree::QOFNodeOwner<3> {
    void EnsureNode(const Address&, unsigned int) override {}
};

int NodeCount(const DCNode& node)
{
    int count = 1;
    for (int i = 0; i < 8; ++i) {
        const DCNode* child = node.GetChild(i);
        count += child == nullptr ? 0 : NodeCount(*child);
    }
    return count;
}

/// Calls `visit` for each leaf below and with `node`.
void VisitLeaves(const DCNode& node, const std::function<void(const DCNode&)>& visit)
{
    if (node.children.empty()) {
        visit(node);
    }
    for (int i = 0; i < 8; ++i) {
        if (const DCNode* child = node.GetChild(i)) {
            VisitLeaves(*child, visit);
        }
    }
}

/// Gives corner k the value -1 where bit k of `negative` is set, and 0 elsewhere.
void SetCorners(DCNode& node, unsigned int negative)
{
    node.AllocateDataSpace();
    for (std::size_t k = 0; k < 8; ++k) {
        node.sampleData->sampleValue[k] = (negative >> k & 1U) != 0 ? -1 : 0;
    }
}

// --- samples and crossings ----------------------------------------------------------------------

TEST(DualContouring, EdgesJoinCornersThatDifferOnOneAxis)
{
    const std::array<int, 12> axes{0, 1, 2, 1, 2, 0, 2, 2, 0, 1, 1, 0};
    std::set<std::pair<int, int>> seen;
    for (int edge = 0; edge < 12; ++edge) {
        const int first = DCNode::s_EdgeNodeIdx(edge, 0);
        const int second = DCNode::s_EdgeNodeIdx[edge][1];
        EXPECT_EQ(second - first, 1 << axes[static_cast<std::size_t>(edge)]) << edge;
        EXPECT_EQ(first ^ second, second - first) << edge;
        EXPECT_TRUE(seen.insert({first, second}).second) << edge;
    }
    // In ascending order of the two corners.
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(DCNode::s_EdgeNodeIdx(0, 1), 1);
    EXPECT_EQ(DCNode::s_EdgeNodeIdx(7, 0), 3);
    EXPECT_EQ(DCNode::s_EdgeNodeIdx(11, 1), 7);
}

TEST(DualContouring, ALeafWithSamplesIsMeshable)
{
    Root root;
    EXPECT_FALSE(root.IsMeshable()) << "no samples";
    root.AllocateDataSpace();
    EXPECT_TRUE(root.IsMeshable());
    root.Propagate(1);
    EXPECT_FALSE(root.IsMeshable()) << "no leaf";
    EXPECT_FALSE(root.GetChild(3)->IsMeshable()) << "children begin without samples";
    root.DeleteChildren();
    EXPECT_TRUE(root.IsMeshable());
    root.DeleteChildren();
    EXPECT_TRUE(root.children.empty());
    root.ReleaseDataSpace();
    EXPECT_FALSE(root.IsMeshable());
    root.ReleaseDataSpace();
    EXPECT_EQ(root.sampleData, nullptr);
}

TEST(DualContouring, NewSamplesAreUnsetAndOldOnesAreKept)
{
    Root root;
    root.AllocateDataSpace();
    EXPECT_EQ(root.sampleData->meshVertex, -2);
    for (std::size_t k = 0; k < 8; ++k) {
        EXPECT_EQ(root.sampleData->sampleIndex[k], -1);
        EXPECT_EQ(root.sampleData->sampleValue[k], -3);
    }
    const std::shared_ptr<Data> before = root.sampleData;
    before->meshVertex = 77;
    root.AllocateDataSpace();
    EXPECT_EQ(root.sampleData, before);
    EXPECT_EQ(root.sampleData->meshVertex, 77);
}

TEST(DualContouring, CrossingIsFalseWithAnUnsetCorner)
{
    Root root;
    EXPECT_FALSE(root.Crossing(0)) << "no samples";
    EXPECT_EQ(root.CrossingCount(), 0);
    root.AllocateDataSpace();
    root.sampleData->sampleValue[0] = -1;
    EXPECT_FALSE(root.Crossing(0)) << "-1 and unset";
    root.sampleData->sampleValue[0] = 5;
    EXPECT_FALSE(root.Crossing(0)) << "5 and unset, which is negative as a number";
    EXPECT_EQ(root.CrossingCount(), 0);
}

TEST(DualContouring, ZeroCountsAsPositive)
{
    Root root;
    root.AllocateDataSpace();
    root.sampleData->sampleValue = {0, -1, 7, -2, 0, 0, 0, 0};
    EXPECT_TRUE(root.Crossing(0)) << "0 and -1";
    EXPECT_FALSE(root.Crossing(1)) << "0 and 7";
    EXPECT_FALSE(root.Crossing(3)) << "-1 and -2: the signs agree";
    EXPECT_TRUE(root.Crossing(5)) << "7 and -2";
}

TEST(DualContouring, EdgesOutOfRangeDoNotCrossAndHaveNoSamples)
{
    Root root;
    SetCorners(root, 0b10010110);
    for (const int edge : {-1, 12, 24, -2'000'000'000, 2'000'000'000}) {
        EXPECT_FALSE(root.Crossing(edge)) << edge;
        EXPECT_EQ(root.GetEdgeSampleIndices(edge), std::make_pair(-1, -1)) << edge;
    }
}

TEST(DualContouring, CrossingCountOfAllPatterns)
{
    Root root;
    for (unsigned int negative = 0; negative < 256; ++negative) {
        SetCorners(root, negative);
        int expected = 0;
        for (unsigned int corner = 0; corner < 8; ++corner) {
            for (unsigned int axis = 1; axis < 8; axis *= 2) {
                const bool isLower = (corner & axis) == 0;
                expected += isLower && ((negative >> corner ^ negative >> (corner | axis)) & 1U);
            }
        }
        EXPECT_EQ(root.CrossingCount(), expected) << negative;
    }
    SetCorners(root, 1);
    EXPECT_EQ(root.CrossingCount(), 3) << "one corner";
    SetCorners(root, 0b10010110); // corners 1, 2, 4, 7: those of an odd number of set bits
    EXPECT_EQ(root.CrossingCount(), 12) << "a checkerboard";
}

TEST(DualContouring, EdgeSampleIndicesComeInTableOrder)
{
    Root root;
    EXPECT_EQ(root.GetEdgeSampleIndices(3), std::make_pair(-1, -1)) << "no samples";
    root.AllocateDataSpace();
    root.sampleData->sampleIndex = {100, 101, 102, 103, 104, 105, 106, 107};
    EXPECT_EQ(root.GetEdgeSampleIndices(0), std::make_pair(100, 101));
    EXPECT_EQ(root.GetEdgeSampleIndices(6), std::make_pair(102, 106));
    EXPECT_EQ(root.GetEdgeSampleIndices(10), std::make_pair(105, 107));
}

// Children of a cell are cells, without a cast, and known as nodes to whoever knows no cells.
static_assert(std::is_same_v<decltype(std::declval<const DCNode&>().GetChild(0)), DCNode*>);
static_assert(std::is_same_v<decltype(std::declval<DCNode&>().EnsureChild(0, 1U)), DCNode*>);

// --- children -----------------------------------------------------------------------------------

TEST(DualContouring, ASplitMakesCellsOfTheSameClass)
{
    Root root;
    root.Propagate(1);
    for (int i = 0; i < 8; ++i) {
        const DCNode* child = root.GetChild(i);
        ASSERT_NE(child, nullptr);
        EXPECT_EQ(child->parent, &root);
        EXPECT_EQ(child->GetLevel(), 1U);
        EXPECT_EQ(child->address.path, static_cast<unsigned long long>(i));
        EXPECT_EQ(child->halfSize, 0.25);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(child->center[axis], (i >> axis & 1) != 0 ? 0.75 : 0.25);
        }
    }
    const DCNode* kept = root.GetChild(4);
    root.Propagate(1);
    EXPECT_EQ(root.GetChild(4), kept) << "a second split does nothing";
    for (const int index : {-1, 8, 2'000'000'000}) {
        EXPECT_EQ(root.GetChild(index), nullptr) << index;
    }
    EXPECT_EQ(root.GetChild(0)->GetChild(0), nullptr) << "a leaf";
}

TEST(DualContouring, AllocateChildReplacesAndRefusesNumbersAboveSeven)
{
    Root root;
    root.AllocateChild(8, kUnitCell);
    root.AllocateChild(0xFFFFFFFFU, kUnitCell);
    EXPECT_TRUE(root.children.empty());
    root.AllocateChild(5, {{0.1, 0.2, 0.3}, 0.05, 0});
    ASSERT_EQ(root.children.size(), 8U);
    EXPECT_EQ(root.GetChild(5)->center, Vec3d(0.1, 0.2, 0.3));
    EXPECT_EQ(root.GetChild(4), nullptr);
    const std::shared_ptr<Tree::QOFNode<3, double, 1>> earlier = root.children[5];
    root.AllocateChild(5, kUnitCell);
    EXPECT_NE(root.GetChild(5), earlier.get());
    EXPECT_EQ(earlier.use_count(), 1) << "the node let go of it";
    EXPECT_EQ(root.GetChild(5)->address, (Address{1, 5}));
}

TEST(DualContouring, EnsureChildSplitsFirstAndChecksTheNumberAfter)
{
    for (const int index : {9, 8, -1}) {
        Root root;
        EXPECT_EQ(root.EnsureChild(index, 3), nullptr);
        EXPECT_EQ(root.children.size(), 8U) << "split all the same";
    }
    Root root;
    DCNode* child = root.EnsureChild(6, 3);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->address, (Address{1, 6}));
    EXPECT_EQ(root.EnsureChild(6, 3), child);
}

/// A host's cell, with more in it than a plain one.
struct HostNode : DCNode {
    using DCNode::DCNode;
    std::vector<int> asked;
    void AllocateChild(unsigned int index, const Cell& cell) override
    {
        children.resize(8);
        children[index] = std::make_shared<HostNode>(this, cell, index);
    }
    DCNode* EnsureChild(int index, unsigned int flag) override
    {
        asked.push_back(index);
        return DCNode::EnsureChild(index, flag);
    }
};

TEST(DualContouring, NodesOfAHostsClassAreAskedThroughTheirVirtualOperations)
{
    HostNode root(nullptr, kUnitCell, 0);
    DCNode& node = root;
    node.SubdivideToLevel(1, 1);
    EXPECT_EQ(root.asked, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    node.SubdivideToLevel(2, 1);
    EXPECT_EQ(NodeCount(root), 73);
    ASSERT_NE(dynamic_cast<HostNode*>(root.GetChild(7)), nullptr);
    EXPECT_EQ(dynamic_cast<HostNode*>(root.GetChild(7))->asked,
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

/// Notes the capacities that come with the wishes for neighbors, and grants none.
struct NotingOwner : Tree::QOFNodeOwner<3> {
    std::set<unsigned int> capacities;
    void EnsureNode(const Address&, unsigned int capacity) override { capacities.insert(capacity); }
};

TEST(DualContouring, TheFlagIsTheCapacityOfTheSplit)
{
    NotingOwner owner;
    Root root;
    root.owner = &owner;
    root.SubdivideToLevel(2, 5);
    EXPECT_EQ(owner.capacities, (std::set<unsigned int>{5}));
    root.SubdivideToLevel(3, -1);
    EXPECT_EQ(owner.capacities, (std::set<unsigned int>{5, 0xFFFFFFFFU}));
    DCNode& leaf = *root.GetChild(1)->GetChild(1)->GetChild(1);
    leaf.Propagate(17);
    leaf.EnsureChild(3, 18)->EnsureChild(3, 19);
    EXPECT_EQ(owner.capacities, (std::set<unsigned int>{5, 17, 19, 0xFFFFFFFFU}))
        << "18 splits nothing";
    // Contents are handed on to children, and these are split where they have more than the flag.
    const Tree::QOFTreeContent<3, double, 1> low({0.1, 0.1, 0.1}, 0.0);
    const Tree::QOFTreeContent<3, double, 1> high({0.4, 0.4, 0.4}, 0.0);
    for (const unsigned int flag : {1U, 2U}) {
        Root holder;
        ASSERT_TRUE(Root::Insert(holder, &low, true, 100));
        ASSERT_TRUE(Root::Insert(holder, &high, true, 100));
        holder.Propagate(flag);
        EXPECT_TRUE(holder.content.empty());
        EXPECT_EQ(holder.GetChild(0)->children.empty(), flag == 2);
    }
}

TEST(DualContouring, AChildOfAnotherClassCountsAsMissing)
{
    Root root;
    root.Propagate(1);
    root.children[3] = std::make_shared<Tree::QOFNode<3, double, 1>>(&root, kUnitCell);
    EXPECT_EQ(root.GetChild(3), nullptr);
    EXPECT_EQ(root.EnsureChild(3, 1), nullptr);
    EXPECT_FALSE(root.TakeSamplesFromChildren());
    root.children.resize(9); // a list that somebody made longer
    root.children[8] = std::make_shared<DCNode>(&root, kUnitCell, 0);
    EXPECT_EQ(root.GetChild(8), nullptr);
    root.children.resize(2); // or cut
    EXPECT_NE(root.GetChild(1), nullptr);
    EXPECT_EQ(root.GetChild(2), nullptr);
}

TEST(DualContouring, SubdivideToLevelMakesLeavesOfThatLevel)
{
    Root root;
    root.SubdivideToLevel(0, 1);
    EXPECT_TRUE(root.children.empty());
    root.SubdivideToLevel(3, 1);
    EXPECT_EQ(NodeCount(root), 1 + 8 + 64 + 512);
    VisitLeaves(root, [](const DCNode& leaf) { EXPECT_EQ(leaf.GetLevel(), 3U); });
    root.SubdivideToLevel(2, 1);
    EXPECT_EQ(NodeCount(root), 585) << "nothing is taken back";
}

TEST(DualContouring, SubdivideToLevelGoesOnBelowWhatIsThere)
{
    Root root;
    root.EnsureChild(2, 1)->EnsureChild(5, 1)->Propagate(1);
    root.SubdivideToLevel(2, 1);
    std::map<unsigned int, int> leaves;
    VisitLeaves(root, [&](const DCNode& leaf) { ++leaves[leaf.GetLevel()]; });
    EXPECT_EQ(leaves, (std::map<unsigned int, int>{{2, 63}, {3, 8}}));
}

TEST(DualContouring, TheChildOfANodeAtTheDeepestLevelHasLevelZero)
{
    Root root;
    root.address = {21, 7};
    EXPECT_EQ(root.EnsureChild(0, 1), nullptr);
    EXPECT_TRUE(root.children.empty()) << "it is not split";
    root.AllocateChild(4, kUnitCell);
    EXPECT_EQ(root.GetChild(4)->GetLevel(), 0U);
    EXPECT_EQ(root.GetChild(4)->address, Address());
}

TEST(DualContouring, SubdivideToLevelEndsAtTheDeepestLevel)
{
    IdleOwner owner;
    Root root;
    root.owner = &owner;
    root.address = {20, 5};
    root.SubdivideToLevel(4'000'000'000U, -1);
    EXPECT_EQ(NodeCount(root), 9);
    // A child at level 0, made by hand, would begin anew.
    DCNode& deepest = *root.GetChild(0);
    deepest.AllocateChild(0, kUnitCell);
    root.SubdivideToLevel(30, 1);
    EXPECT_EQ(NodeCount(root), 10);
}

TEST(DualContouring, ASplitFarBelowMakesNeighborsAndDoesNotRunAway)
{
    Root root;
    DCNode* node = &root;
    for (int level = 0; level < 20;
         ++level) { // toward the center, where neighbors are in other octants
        node = node->EnsureChild(level == 0 ? 0 : 7, 1);
    }
    EXPECT_EQ(node->GetLevel(), 20U);
    // On each level at most the cell, its six neighbors, and their neighbors are split.
    EXPECT_LT(NodeCount(root), 20 * 30 * 8);
    VisitLeaves(root, [](const DCNode& leaf) { EXPECT_LE(leaf.GetLevel(), 20U); });
}

TEST(DualContouring, SamplesStayWhereTheyAreWhenChildrenAreHandedOver)
{
    Root root;
    root.Propagate(1);
    SetCorners(root, 1);
    Root target;
    EXPECT_TRUE(root.TransferTo(target, true));
    EXPECT_EQ(target.sampleData, nullptr);
    EXPECT_NE(root.sampleData, nullptr);
    EXPECT_EQ(target.GetChild(2)->parent, &target);
}

// --- eight cells become one ---------------------------------------------------------------------

using Grid = std::array<int, 27>; // by x + 3 y + 9 z

constexpr std::size_t At(int x, int y, int z)
{
    return static_cast<std::size_t>(x + 3 * y + 9 * z);
}
/// Where corner k of child c lies.
constexpr std::size_t PlaceOf(int c, int k)
{
    return At((c & 1) + (k & 1), (c >> 1 & 1) + (k >> 1 & 1), (c >> 2) + (k >> 2));
}

/// A split node whose children all have samples, with these values and numbers that tell child and
/// corner.
struct Block : Root {
    explicit Block(const Grid& values)
    {
        Propagate(1);
        for (int c = 0; c < 8; ++c) {
            DCNode& child = *GetChild(c);
            child.AllocateDataSpace();
            for (int k = 0; k < 8; ++k) {
                child.sampleData->sampleValue[static_cast<std::size_t>(k)] = values[PlaceOf(c, k)];
                child.sampleData->sampleIndex[static_cast<std::size_t>(k)] = 10 * c + k;
            }
        }
    }
    int& Value(int c, int k)
    {
        return GetChild(c)->sampleData->sampleValue[static_cast<std::size_t>(k)];
    }
};

/// All 0, and -1 at corner (0, 0, 0): a surface that can always be merged.
Grid OneCorner()
{
    Grid grid{};
    grid[0] = -1;
    return grid;
}

TEST(TakeSamples, OfTheOuterCorners)
{
    Block block(OneCorner());
    ASSERT_TRUE(block.TakeSamplesFromChildren());
    EXPECT_EQ(block.sampleData->meshVertex, -2);
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(block.sampleData->sampleIndex[i], static_cast<int>(11 * i));
        EXPECT_EQ(block.sampleData->sampleValue[i], i == 0 ? -1 : 0);
    }
    EXPECT_EQ(block.CrossingCount(), 3);
    EXPECT_EQ(block.children.size(), 8U) << "the children stay";
    EXPECT_FALSE(block.IsMeshable());
}

TEST(TakeSamples, NotInALeafNorWithAMissingChild)
{
    Root leaf;
    SetCorners(leaf, 1);
    EXPECT_FALSE(leaf.TakeSamplesFromChildren());
    EXPECT_NE(leaf.sampleData, nullptr);
    Block block(OneCorner());
    block.children[6].reset();
    EXPECT_FALSE(block.TakeSamplesFromChildren());
    EXPECT_EQ(block.sampleData, nullptr);
}

TEST(TakeSamples, OfFourChildrenAtLeast)
{
    // Below the plane z = 0.5 all is solid: four children tell it, the others may be without
    // samples.
    Grid slab{};
    for (int i = 0; i < 9; ++i) {
        slab[static_cast<std::size_t>(i)] = -1;
    }
    Block four(slab);
    for (int c = 4; c < 8; ++c) {
        four.GetChild(c)->ReleaseDataSpace();
    }
    ASSERT_TRUE(four.TakeSamplesFromChildren());
    EXPECT_EQ(four.CrossingCount(), 4);
    // Child 3 is the last with samples, and its corner 4 the center of the node.
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(four.sampleData->sampleIndex[i], i < 4 ? static_cast<int>(11 * i) : 34);
        EXPECT_EQ(four.sampleData->sampleValue[i], i < 4 ? -1 : 0);
    }
    Block three(slab);
    for (int c = 3; c < 8; ++c) {
        three.GetChild(c)->ReleaseDataSpace();
    }
    three.AllocateDataSpace();
    EXPECT_FALSE(three.TakeSamplesFromChildren());
    EXPECT_EQ(*three.sampleData, Data()) << "samples of before stay";
}

/// Keeps one child to itself.
struct HidingBlock : Block {
    using Block::Block;
    int hidden = -1;
    DCNode* GetChild(int index) const override
    {
        return index == hidden ? nullptr : Block::GetChild(index);
    }
};

TEST(TakeSamples, AsksAHostsNodeForItsChildren)
{
    HidingBlock block(OneCorner());
    EXPECT_TRUE(block.TakeSamplesFromChildren());
    block.ReleaseDataSpace();
    for (int hidden = 0; hidden < 8; ++hidden) {
        block.hidden = hidden;
        EXPECT_FALSE(block.TakeSamplesFromChildren()) << hidden;
        EXPECT_EQ(block.sampleData, nullptr);
    }
}

TEST(TakeSamples, AUniformBlockHoldsNoSamplesAfterward)
{
    for (const int value : {0, -1, -3}) {
        Grid grid;
        grid.fill(value);
        Block block(grid);
        block.AllocateDataSpace();
        EXPECT_FALSE(block.TakeSamplesFromChildren());
        EXPECT_EQ(block.sampleData, nullptr) << "those of before are gone too";
    }
}

TEST(TakeSamples, TheVertexOfBeforeIsNotTouched)
{
    Block block(OneCorner());
    block.AllocateDataSpace();
    block.sampleData->meshVertex = 41;
    ASSERT_TRUE(block.TakeSamplesFromChildren());
    EXPECT_EQ(block.sampleData->meshVertex, 41);
    EXPECT_EQ(block.sampleData->sampleIndex[7], 77);
}

TEST(TakeSamples, ACheckerboardIsRefused)
{
    Grid grid{};
    for (int c = 0; c < 8; ++c) {
        const int value = std::popcount(static_cast<unsigned int>(c)) % 2 == 1 ? -1 : 0;
        grid[At(2 * (c & 1), 2 * (c >> 1 & 1), 2 * (c >> 2))] = value;
    }
    Block block(grid);
    EXPECT_FALSE(block.TakeSamplesFromChildren());
    EXPECT_EQ(block.sampleData, nullptr);
}

TEST(TakeSamples, SixCrossingsMayBeTwoSheets)
{
    Grid grid = OneCorner();
    grid[At(2, 2, 2)] = -1;
    Block block(grid);
    EXPECT_TRUE(block.TakeSamplesFromChildren());
    EXPECT_EQ(block.CrossingCount(), 6);
}

TEST(TakeSamples, EachMiddleOfAnEdgeIsTested)
{
    for (int axis = 0; axis < 3; ++axis) {
        for (int side = 0; side < 4; ++side) {
            std::array<int, 3> place{};
            place[static_cast<std::size_t>(axis)] = 1;
            place[static_cast<std::size_t>((axis + 1) % 3)] = 2 * (side & 1);
            place[static_cast<std::size_t>((axis + 2) % 3)] = side & 2;
            Grid grid = OneCorner();
            grid[At(place[0], place[1], place[2])] = -7; // as no corner
            Block block(grid);
            block.AllocateDataSpace();
            EXPECT_FALSE(block.TakeSamplesFromChildren()) << axis << ' ' << side;
            EXPECT_EQ(*block.sampleData, Data()) << "samples of before stay";
        }
    }
}

TEST(TakeSamples, EachMiddleOfAFaceIsTestedButThatOfTheFaceYZero)
{
    for (int axis = 0; axis < 3; ++axis) {
        for (const int side : {0, 2}) {
            std::array<int, 3> place{1, 1, 1};
            place[static_cast<std::size_t>(axis)] = side;
            Grid grid = OneCorner();
            grid[At(place[0], place[1], place[2])] = -7;
            Block block(grid);
            EXPECT_EQ(block.TakeSamplesFromChildren(), axis == 1 && side == 0)
                << axis << ' ' << side;
        }
    }
}

TEST(TakeSamples, TheCenterMustAgreeWithOneOfTheFirstSevenCorners)
{
    for (int c = 0; c < 8; ++c) {
        Grid grid{};
        grid[At(2 * (c & 1), 2 * (c >> 1 & 1), 2 * (c >> 2))] = -1;
        grid[At(1, 1, 1)] = -1;
        Block block(grid);
        EXPECT_EQ(block.TakeSamplesFromChildren(), c != 7) << c;
    }
    Grid none = OneCorner();
    none[At(1, 1, 1)] = -7;
    EXPECT_FALSE(Block(none).TakeSamplesFromChildren());
}

TEST(TakeSamples, NumbersAreComparedAndNotSigns)
{
    Grid deeper = OneCorner();
    deeper[At(0, 0, 0)] = -2; // the middles of its edges are 0 as their other ends
    EXPECT_TRUE(Block(deeper).TakeSamplesFromChildren());
    Grid negative{};
    for (int i = 0; i < 9; ++i) {
        negative[static_cast<std::size_t>(i)] = -1;
    }
    EXPECT_TRUE(Block(negative).TakeSamplesFromChildren());
    negative[At(1, 0, 0)] = -2;
    EXPECT_FALSE(Block(negative).TakeSamplesFromChildren()) << "-2 between -1 and -1";
    Grid positive = OneCorner();
    for (int& value : positive) {
        value = value == 0 ? 5 : value;
    }
    EXPECT_TRUE(Block(positive).TakeSamplesFromChildren());
    positive[At(1, 2, 2)] = 7;
    EXPECT_FALSE(Block(positive).TakeSamplesFromChildren()) << "7 between 5 and 5";
}

TEST(TakeSamples, OneNegativeValueAmongThoseOfAGridPointWins)
{
    // All eight children tell the center; one of them says it is inside, which agrees with no
    // corner but the first.
    for (int c = 0; c < 8; ++c) {
        Grid grid{};
        grid[At(2, 2, 2)] = -1;
        Block block(grid);
        EXPECT_TRUE(block.TakeSamplesFromChildren());
        block.Value(c, 7 - c) = -1;
        EXPECT_FALSE(block.TakeSamplesFromChildren()) << "-1 as corner 7, which does not count";
    }
}

TEST(TakeSamples, AnUnsetValueGivesWayToTheNextOne)
{
    const auto withCenter = [](const std::array<int, 8>& told) {
        Block block(OneCorner());
        for (int c = 0; c < 8; ++c) {
            block.Value(c, 7 - c) = told[static_cast<std::size_t>(c)];
        }
        return block.TakeSamplesFromChildren();
    };
    EXPECT_TRUE(withCenter({-2, -3, 0, 0, 0, 0, 0, 0})) << "ends as 0";
    EXPECT_FALSE(withCenter({-2, 0, 0, 0, 0, 0, 0, 0})) << "ends as -2";
    EXPECT_TRUE(withCenter({-3, -3, -3, -3, -3, -3, -3, 0})) << "ends as 0";
    EXPECT_FALSE(withCenter({0, 0, 0, 0, 0, 0, 0, -3})) << "ends as unset";
    EXPECT_FALSE(withCenter({-3, -2, 0, 0, 0, 0, 0, 0})) << "ends as -2";
}

TEST(TakeSamples, OfAChildThatSharesTheSamplesOfTheNode)
{
    // Child 5 is the last with samples, and its corner 2 the center, which children 6 and 7 have.
    Block block(OneCorner());
    block.GetChild(6)->ReleaseDataSpace();
    block.GetChild(7)->ReleaseDataSpace();
    block.sampleData = block.GetChild(5)->sampleData;
    ASSERT_TRUE(block.TakeSamplesFromChildren());
    EXPECT_EQ(block.sampleData->sampleIndex, (std::array<int, 8>{0, 11, 22, 33, 44, 55, 52, 52}));
}

/// The decision, by coordinates of the grid. Null stands for a child without samples.
bool MayMerge(const std::array<const Data*, 8>& children)
{
    int last = -1;
    int count = 0;
    for (int c = 0; c < 8; ++c) {
        if (children[static_cast<std::size_t>(c)] != nullptr) {
            last = c;
            ++count;
        }
    }
    if (count < 4) {
        return false;
    }
    const auto valueOf = [&](int c, int k) {
        const Data* data = children[static_cast<std::size_t>(c)];
        return data != nullptr ? data->sampleValue[static_cast<std::size_t>(k)]
                               : children[static_cast<std::size_t>(last)]
                                     ->sampleValue[static_cast<std::size_t>(7 - last)];
    };
    Grid grid;
    grid.fill(-3);
    for (int c = 0; c < 8; ++c) {
        for (int k = 0; k < 8; ++k) {
            int& entry = grid[PlaceOf(c, k)];
            const int value = valueOf(c, k);
            if (entry == -3 || value < entry) {
                entry = value;
            }
        }
    }
    // Each point with one, two or three coordinates of 1 against the corners around it.
    for (int z = 0; z < 3; ++z) {
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 3; ++x) {
                const std::array<int, 3> p{x, y, z};
                const bool isOddFace = p == std::array<int, 3>{1, 0, 1};
                // The face y = 0 is asked about the middle of an edge, which the edge has settled.
                if (p[0] != 1 && p[1] != 1 && p[2] != 1) {
                    continue;
                }
                bool agrees = isOddFace;
                for (int c = 0; c < 8; ++c) {
                    const std::array<int, 3> corner{2 * (c & 1), 2 * (c >> 1 & 1), 2 * (c >> 2)};
                    bool isAround = true;
                    for (std::size_t axis = 0; axis < 3; ++axis) {
                        isAround = isAround && (p[axis] == 1 || corner[axis] == p[axis]);
                    }
                    const bool isLeftOut = c == 7 && x == 1 && y == 1 && z == 1;
                    agrees =
                        agrees || (isAround && !isLeftOut &&
                                   grid[At(corner[0], corner[1], corner[2])] == grid[At(x, y, z)]);
                }
                if (!agrees) {
                    return false;
                }
            }
        }
    }
    int crossings = 0;
    for (int c = 0; c < 8; ++c) {
        for (int axis = 1; axis < 8; axis *= 2) {
            if ((c & axis) == 0) {
                const int a = valueOf(c, children[static_cast<std::size_t>(c)] != nullptr ? c : 0);
                const int d = c | axis;
                const int b = valueOf(d, children[static_cast<std::size_t>(d)] != nullptr ? d : 0);
                crossings += a != -3 && b != -3 && (a < 0) != (b < 0) ? 1 : 0;
            }
        }
    }
    return crossings >= 3 && crossings <= 6;
}

TEST(TakeSamples, AgreesWithTheGeometryOfTheGrid)
{
    Random random(41);
    int merged = 0;
    constexpr int kRounds = Support::Rounds(20'000);
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        // A half-space or a ball, so that some pass, disturbed here and there.
        const Vec3d center = random.Vector<3, double>(-1, 3);
        const double radius = random.Between(0.5, 3);
        Grid grid{};
        for (int i = 0; i < 27; ++i) {
            const Vec3d p(i % 3, i / 3 % 3, i / 9);
            grid[static_cast<std::size_t>(i)] = Length(p - center) < radius ? -1 : 0;
        }
        for (int i = random.Below(3); i > 0; --i) {
            grid[static_cast<std::size_t>(random.Below(27))] = random.Below(4) - 3;
        }
        Block block(grid);
        for (int i = random.Below(3); i > 0; --i) {
            block.Value(random.Below(8), random.Below(8)) = random.Below(4) - 3;
        }
        std::array<const Data*, 8> children{};
        const int keep = 3 + random.Below(12); // of 8
        for (int c = 0; c < 8; ++c) {
            if (random.Below(8) >= keep) {
                block.GetChild(c)->ReleaseDataSpace();
            }
            children[static_cast<std::size_t>(c)] = block.GetChild(c)->sampleData.get();
        }
        const bool expected = MayMerge(children);
        ASSERT_EQ(block.TakeSamplesFromChildren(), expected);
        ASSERT_EQ(block.sampleData != nullptr, expected);
        merged += expected ? 1 : 0;
    }
    EXPECT_GT(merged, kRounds / 20);
    EXPECT_LT(merged, kRounds / 2);
}

TEST(TakeSamples, APlaneThroughTheCellIsAlwaysMerged)
{
    // Of three points in a row, and of a face or a cell with its corners, the middle one is on the
    // side of one of the others.
    Random random(43);
    for (int round = 0; round < 2'000; ++round) {
        const Vec3d normal = random.Vector<3, double>(-1, 1);
        const double height = random.Between(-2, 2);
        Grid grid{};
        unsigned int corners = 0;
        for (int i = 0; i < 27; ++i) {
            const Vec3d p(i % 3 - 1, i / 3 % 3 - 1, i / 9 - 1);
            grid[static_cast<std::size_t>(i)] = normal * p < height ? -1 : 0;
        }
        for (int c = 0; c < 8; ++c) {
            corners += grid[At(2 * (c & 1), 2 * (c >> 1 & 1), 2 * (c >> 2))] < 0 ? 1U : 0U;
        }
        ASSERT_EQ(Block(grid).TakeSamplesFromChildren(), corners > 0 && corners < 8) << round;
    }
}

TEST(TakeSamples, InManyThreadsForNodesOfTheirOwn)
{
    // Sixteen blocks, each of them taken by one thread, while all threads read a shared one.
    Block shared(OneCorner());
    ASSERT_TRUE(shared.TakeSamplesFromChildren());
    std::vector<std::unique_ptr<Block>> blocks;
    for (int i = 0; i < 16; ++i) {
        Grid grid = OneCorner();
        grid[At(1, 1, 2)] = i % 3 == 0 ? -7 : 0;
        blocks.push_back(std::make_unique<Block>(grid));
    }
    std::vector<int> crossings(blocks.size());
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = t; i < blocks.size(); i += 4) {
                crossings[i] = blocks[i]->TakeSamplesFromChildren() ? shared.CrossingCount() : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        EXPECT_EQ(crossings[i], i % 3 == 0 ? 0 : 3) << i;
    }
}

// --- around a grid point ------------------------------------------------------------------------

TEST(Spindles, AreTheEdgesOfTheCellsAroundAPoint)
{
    std::array<Root, 8> cells;
    for (int spindle = 0; spindle < 6; ++spindle) {
        SCOPED_TRACE(spindle);
        const int axis = spindle / 2;
        const int side = spindle % 2;
        Vec3d direction(9, 9, 9);
        const auto edges =
            GetRelativeSpindleNeighbors(&cells[0], &cells[1], &cells[2], &cells[3], &cells[4],
                                        &cells[5], &cells[6], &cells[7], direction, spindle);
        Vec3d along;
        along[axis] = 2 * side - 1;
        EXPECT_EQ(direction, along);
        ASSERT_EQ(edges.size(), 4U);
        std::array<Vec3d, 4> offsets;
        for (std::size_t i = 0; i < 4; ++i) {
            const auto cell = static_cast<const Root*>(edges[i].node) - cells.data();
            ASSERT_TRUE(cell >= 0 && cell < 8);
            EXPECT_EQ(cell >> axis & 1, side) << "the cells on the side of the spindle";
            // The point is the corner of the cell that looks back, and the edge leaves it along the
            // axis.
            const int corner = 7 - static_cast<int>(cell);
            const int other = corner ^ 1 << axis;
            EXPECT_EQ(DCNode::s_EdgeNodeIdx(edges[i].edge, 0), std::min(corner, other));
            EXPECT_EQ(DCNode::s_EdgeNodeIdx(edges[i].edge, 1), std::max(corner, other));
            for (int k = 0; k < 3; ++k) {
                offsets[i][k] = (cell >> k & 1) != 0 ? 1 : -1;
            }
        }
        for (std::size_t i = 0; i < 4; ++i) {
            const Vec3d step = offsets[(i + 1) % 4] - offsets[i];
            EXPECT_EQ(step * step, 4) << "from face neighbor to face neighbor";
            EXPECT_GT((offsets[i] ^ offsets[(i + 1) % 4]) * along, 0) << "counter-clockwise";
        }
    }
}

TEST(Spindles, BeginWithTheSameCellAsEver)
{
    const Root cell;
    Vec3d direction;
    constexpr std::array<int, 6> kFirst{2, 3, 1, 2, 2, 4};
    for (int spindle = 0; spindle < 6; ++spindle) {
        std::array<const DCNode*, 8> n{};
        n[static_cast<std::size_t>(kFirst[static_cast<std::size_t>(spindle)])] = &cell;
        const auto edges = GetRelativeSpindleNeighbors(n[0], n[1], n[2], n[3], n[4], n[5], n[6],
                                                       n[7], direction, spindle);
        EXPECT_EQ(edges[0].node, &cell) << spindle;
        EXPECT_EQ(edges[1].node, nullptr) << "null stays null";
        EXPECT_NE(edges[1].edge, -1);
    }
}

TEST(Spindles, AnyOtherOneIsEmptyAndHasNoDirection)
{
    const Root cell;
    for (const int spindle : {6, -1, 100, -2'000'000'000}) {
        Vec3d direction(1, 2, 3);
        const auto edges = GetRelativeSpindleNeighbors(&cell, &cell, &cell, &cell, &cell, &cell,
                                                       &cell, &cell, direction, spindle);
        EXPECT_EQ(edges, std::vector<DCNode::OctantEdge>(4));
        EXPECT_EQ(edges[0].node, nullptr);
        EXPECT_EQ(edges[0].edge, -1);
        EXPECT_EQ(direction, Vec3d(1, 2, 3));
    }
}

// --- memory that runs out -----------------------------------------------------------------------

TEST(DualContouringMemory, ASubdivisionLeavesWholeNodes)
{
    const std::size_t failures = FailEachAllocation(
        [] { return std::make_unique<Root>(); }, [](auto& root) { root->SubdivideToLevel(2, 1); },
        [](auto& root) {
            VisitLeaves(*root, [](const DCNode& leaf) { EXPECT_LE(leaf.GetLevel(), 2U); });
            EXPECT_EQ(NodeCount(*root) % 8, 1) << "each node has eight children or none";
            root->SubdivideToLevel(2, 1);
            EXPECT_EQ(NodeCount(*root), 73);
        });
    EXPECT_GE(failures, 72U + 9U) << "the children, and their lists";
}

TEST(DualContouringMemory, SamplesAreTakenOrNot)
{
    const std::size_t failures =
        FailEachAllocation([] { return std::make_unique<Block>(OneCorner()); },
                           [](auto& block) { block->TakeSamplesFromChildren(); },
                           [](auto& block) {
                               EXPECT_EQ(block->sampleData, nullptr);
                               EXPECT_TRUE(block->TakeSamplesFromChildren());
                           });
    EXPECT_EQ(failures, 1U);
}

TEST(DualContouringMemory, AReplacedChildStaysWhenThereIsNoOther)
{
    const std::size_t failures =
        FailEachAllocation([] { return std::make_unique<Block>(OneCorner()); },
                           [](auto& block) { block->AllocateChild(2, kUnitCell); },
                           [](auto& block) { EXPECT_NE(block->GetChild(2)->sampleData, nullptr); });
    EXPECT_EQ(failures, 1U);
    const std::size_t first =
        FailEachAllocation([] { return std::make_unique<Root>(); },
                           [](auto& root) { root->AllocateChild(2, kUnitCell); },
                           [](auto& root) { EXPECT_TRUE(root->children.empty()); });
    EXPECT_EQ(first, 2U) << "the child and the list";
}

} // namespace
