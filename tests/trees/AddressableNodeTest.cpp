// Nodes that know their address: what their children are called, and that a split makes the face
// neighbors of the split node exist.

#include <Sorvane/ContentNode_E.h>

#include <gtest/gtest.h>

#include "tests/support/TestSupport.h"

#include <deque>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree;

using Node = QOFAddressableNode<3, double, 1>;
using Address = QOFAddress<3>;

const Node::Cell kUnitCell{{0.5, 0.5, 0.5}, 0.5, 0};

struct Root : Node {
    Root() : Node(nullptr, kUnitCell, 0) {}
};

Node* Child(const Node& node, int index) { return dynamic_cast<Node*>(node.GetChild(index)); }

/// All nodes below and with `root`, by address.
std::map<Address, Node*> NodesByAddress(Node& root)
{
    std::map<Address, Node*> nodes;
    std::vector<Node*> open{&root};
    while (!open.empty()) {
        Node* node = open.back();
        open.pop_back();
        EXPECT_TRUE(nodes.emplace(node->address, node).second) << "two nodes of one address";
        for (int i = 0; i < 8; ++i) {
            if (Node* child = Child(*node, i)) {
                open.push_back(child);
            }
        }
    }
    return nodes;
}

void ExpectNoSplitNodeLacksANeighbor(Node& root)
{
    const std::map<Address, Node*> nodes = NodesByAddress(root);
    for (const auto& [address, node] : nodes) {
        if (!node->children.empty()) {
            for (const Address& neighbor : address.NeighborAddresses(true)) {
                EXPECT_TRUE(nodes.count(neighbor) == 1)
                    << address.depth << ' ' << address.path << " lacks " << neighbor.path;
            }
        }
    }
}

TEST(AddressableNode, TheRootHasTheNullAddress)
{
    Root root;
    EXPECT_EQ(root.address, Address());
    EXPECT_TRUE(root.CanSplit(1));
    EXPECT_EQ(root.owner, nullptr);
}

TEST(AddressableNode, ChildrenAddThreeBits)
{
    Root root;
    Node::Split(root, 1);
    ASSERT_EQ(root.children.size(), 8U);
    for (int i = 0; i < 8; ++i) {
        ASSERT_NE(Child(root, i), nullptr) << "of the same class";
        EXPECT_EQ(Child(root, i)->address, (Address{1, static_cast<unsigned long long>(i)}));
        EXPECT_EQ(Child(root, i)->parent, &root);
    }
    Node::Split(*Child(root, 5), 1);
    EXPECT_EQ(Child(*Child(root, 5), 3)->address, (Address{2, 5 * 8 + 3}));
    // The address names the same cell of the unit cube as the node's geometry.
    const Node* cell = Child(*Child(root, 5), 3);
    EXPECT_EQ(cell->address.UnitSpacePoint(2), (cell->center - Vec3d{0.125, 0.125, 0.125}));
}

TEST(AddressableNode, TheDeepestLevelIsNotSplitAndItsChildrenHaveNoAddress)
{
    Root root;
    root.address = {20, 7};
    EXPECT_TRUE(root.CanSplit(1));
    root.address = {21, 7};
    EXPECT_FALSE(root.CanSplit(1));
    Node::Split(root, 1);
    EXPECT_TRUE(root.children.empty());
    root.AllocateChild(4, kUnitCell);
    EXPECT_EQ(Child(root, 4)->address, Address());
    root.AllocateChild(8, kUnitCell);
    EXPECT_EQ(root.children.size(), 8U);
}

TEST(AddressableNode, ASplitMakesFaceNeighborsExist)
{
    Root root;
    Node::Split(root, 1);
    Node* inner = Child(root, 0);
    Node::Split(*inner, 1);
    EXPECT_TRUE(Child(root, 1)->children.empty()) << "the neighbors of depth 1 were there already";
    // Cell (2, 7) is the upper corner of octant 0: it touches octants 1, 2 and 4 with a face.
    Node::Split(*Child(*inner, 7), 1);
    for (int i = 0; i < 8; ++i) {
        const bool touches = i == 0 || i == 1 || i == 2 || i == 4;
        EXPECT_EQ(Child(root, i)->children.empty(), !touches) << i;
    }
    ExpectNoSplitNodeLacksANeighbor(root);
}

TEST(AddressableNode, RandomSplitsStayBalanced)
{
    using Support::Random;
    Random random(3);
    Root root;
    for (int i = 0; i < 60; ++i) {
        Node* node = &root;
        while (!node->children.empty() && node->address.depth < 7) {
            node = Child(*node, random.Below(8));
        }
        Node::Split(*node, 1);
    }
    ExpectNoSplitNodeLacksANeighbor(root);
}

TEST(AddressableNode, EnsurePathGoesDownToTheDeepestLevel)
{
    Root root;
    const Address wanted{21, 0x5a5a5a5a5a5a5a5aULL >> 1U};
    root.EnsurePath(wanted, 1);
    const std::map<Address, Node*> nodes = NodesByAddress(root);
    EXPECT_EQ(nodes.count(wanted), 1U);
    EXPECT_EQ(nodes.at(wanted)->center - nodes.at(wanted)->address.UnitSpacePoint(21),
              (Vec3d{0x1p-22, 0x1p-22, 0x1p-22}));
    ExpectNoSplitNodeLacksANeighbor(root);
}

TEST(AddressableNode, EnsurePathStartsAtTheRootWhereverItIsAsked)
{
    Root root;
    Node::Split(root, 1);
    Node::Split(*Child(root, 7), 1);
    Child(*Child(root, 7), 7)->EnsurePath({2, 1}, 1);
    EXPECT_EQ(Child(*Child(root, 0), 1)->address, (Address{2, 1}));
    EXPECT_TRUE(Child(*Child(root, 7), 7)->children.empty());
}

/// Splits cell 0 of a node with eight leaves, then cell 7 in it, which touches cells 1, 2 and 4.
void SplitTowardTheCenter(Node& node)
{
    Node::Split(*Child(node, 0), 1);
    Node::Split(*Child(*Child(node, 0), 7), 1);
}

TEST(AddressableNode, BelowARootWithAnAddressOfItsOwnOnlyItsCellsAreMade)
{
    // Addresses of neighbors begin with that of the root; a full path from it leads elsewhere.
    for (const unsigned int depth : {1U, 2U, 5U, 17U}) {
        SCOPED_TRACE(depth);
        Root root;
        root.address = {depth, (1ULL << (3 * depth)) - 2}; // has neighbors on all levels
        Node::Split(root, 1);
        EXPECT_EQ(NodesByAddress(root).size(), 9U) << "those of the root lie outside";
        SplitTowardTheCenter(root);
        EXPECT_EQ(NodesByAddress(root).size(), 9U + 5 * 8);
        for (int i = 0; i < 8; ++i) {
            const bool touches = i == 0 || i == 1 || i == 2 || i == 4;
            EXPECT_EQ(Child(root, i)->children.empty(), !touches) << i;
        }
        root.EnsurePath({depth, 3}, 1);
        root.EnsurePath({depth + 1, 9}, 1);
        EXPECT_EQ(NodesByAddress(root).size(), 9U + 5 * 8) << "of other branches";
    }
}

TEST(AddressableNode, ATreeHandedOverKeepsItsAddressesAndMakesNoCellsElsewhere)
{
    for (const int depth : {1, 2, 3, 10}) {
        SCOPED_TRACE(depth);
        Root source;
        Node* node = &source;
        for (int level = 0; level < depth; ++level) {
            node = dynamic_cast<Node*>(node->EnsureChild(level == 0 ? 0 : 7, 1));
        }
        Node::Split(*node, 1);
        Root target;
        ASSERT_TRUE(node->TransferTo(target, true));
        Node::Split(*Child(target, 0), 1);
        EXPECT_EQ(NodesByAddress(target).size(), 17U) << "no child has the address of its place";
        SplitTowardTheCenter(*Child(target, 0));
        // Within the child all is as in any tree.
        EXPECT_EQ(NodesByAddress(target).size(), 17U + 5 * 8);
    }
}

TEST(AddressableNode, NullAndImpossibleAddressesAreIgnored)
{
    Root root;
    root.EnsureNode({}, 1);
    root.EnsureNode({0, 5}, 1);
    root.EnsureNode({22, 5}, 1);
    root.EnsureNode({4'000'000'000U, 5}, 1);
    EXPECT_TRUE(root.children.empty());
}

TEST(AddressableNode, EnsureChildSplitsALeaf)
{
    Root root;
    EXPECT_EQ(root.EnsureChild(8, 1), nullptr);
    ASSERT_EQ(root.children.size(), 8U) << "split all the same";
    const Node* child = Child(root, 6);
    EXPECT_EQ(root.EnsureChild(6, 1), child);
    EXPECT_EQ(root.EnsureChild(-1, 1), nullptr);
    Root deep;
    deep.address = {21, 0};
    EXPECT_EQ(deep.EnsureChild(0, 1), nullptr);
}

struct Owner : QOFNodeOwner<3> {
    std::vector<std::pair<Address, unsigned int>> wishes;
    void EnsureNode(const Address& wanted, unsigned int capacity) override
    {
        wishes.push_back({wanted, capacity});
    }
};

TEST(AddressableNode, TheOwnerIsAskedWhenThereIsOne)
{
    Owner owner;
    Root root;
    root.owner = &owner;
    Node::Split(root, 9);
    EXPECT_TRUE(owner.wishes.empty()) << "the root has no neighbors";
    EXPECT_EQ(Child(root, 3)->owner, &owner);
    Node::Split(*Child(root, 0), 9);
    // Faces of (1, 0) inside the cube: +x, +y, +z.
    const std::vector<std::pair<Address, unsigned int>> expected{
        {{1, 1}, 9}, {{1, 2}, 9}, {{1, 4}, 9}};
    EXPECT_EQ(owner.wishes, expected);
}

/// Notes what is asked of it.
struct NotingNode : Node {
    std::vector<int> steps;
    std::vector<Address> wishes;

    NotingNode() : Node(nullptr, kUnitCell, 0) {}
    void EnsureNode(const Address& wanted, unsigned int capacity) override
    {
        wishes.push_back(wanted);
        Node::EnsureNode(wanted, capacity);
    }
    Node* EnsureChild(int index, unsigned int capacity) override
    {
        steps.push_back(index);
        return Node::EnsureChild(index, capacity);
    }
};

TEST(AddressableNode, DerivedNodesAreAskedForNeighborsAndChildren)
{
    NotingNode root;
    root.EnsurePath({3, (5 << 6) + (2 << 3) + 7}, 1);
    EXPECT_EQ(root.steps.front(), 5) << "the highest three bits come first";
    // What a node at an address asks for when it is split: its neighbors across six faces, less
    // those outside the cube.
    NotingNode inner;
    Owner owner; // lets nothing be made
    inner.owner = &owner;
    inner.address = {2, 7};
    Node::Split(inner, 1);
    EXPECT_EQ(inner.wishes, inner.address.NeighborAddresses(true));
    EXPECT_EQ(owner.wishes.size(), inner.wishes.size());
}

TEST(AddressableNode, CoincidentPointsDoNotKeepANeighborFromBeingMade)
{
    // Points in octant 1 next to the face toward octant 0, where cells down to depth 6 are asked
    // for.
    Root root;
    const std::deque<QOFTreeContent<3, double, 1>> points(20, {Vec3d{0.51, 0.3, 0.3}, 0.0});
    for (const auto& point : points) {
        EXPECT_TRUE(Node::Insert(root, &point, true, 4));
    }
    Address beside{};
    for (int level = 0; level < 6; ++level) {
        const Vec3d place{0.49, 0.3, 0.3};
        const Vec3d cell = place * static_cast<double>(2 << level);
        const auto bit = [&](int axis) {
            return static_cast<unsigned long long>(cell[axis]) & 1ULL;
        };
        beside = {beside.depth + 1, beside.path * 8 + bit(0) + 2 * bit(1) + 4 * bit(2)};
    }
    root.EnsurePath(beside, 4);
    const std::map<Address, Node*> nodes = NodesByAddress(root);
    ASSERT_EQ(nodes.count(beside), 1U);
    Node::Split(*nodes.at(beside), 4);
    ExpectNoSplitNodeLacksANeighbor(root);
    std::size_t count = 0;
    for (const auto& [address, node] : NodesByAddress(root)) {
        count += node->content.size();
    }
    EXPECT_EQ(count, points.size());
}

TEST(AddressableNode, ContentsSplitItAsAnyNode)
{
    using Support::Random;
    Random random(8);
    Root root;
    std::deque<QOFTreeContent<3, double, 1>> balls;
    for (int i = 0; i < 2000; ++i) {
        balls.emplace_back(random.Vector<3, double>(0.01, 0.99), 0.001);
        EXPECT_TRUE(Node::Insert(root, &balls.back(), true, 8));
    }
    std::size_t count = 0;
    for (const auto& [address, node] : NodesByAddress(root)) {
        count += node->content.size();
    }
    EXPECT_EQ(count, balls.size());
    ExpectNoSplitNodeLacksANeighbor(root);

    // Coincident points end at the deepest address at the latest.
    std::deque<QOFTreeContent<3, double, 1>> points(50, {Vec3d{0.3, 0.3, 0.3}, 0.0});
    for (const auto& point : points) {
        EXPECT_TRUE(Node::Insert(root, &point, true, 8));
    }
}

} // namespace
