// Memory that runs out while contents come, go and are handed on: each call either happens or
// leaves the set, the node or the tree as it was, and what comes afterward works as ever.

#include <Sorvane/ContentTree_E.h>

#include <gtest/gtest.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree;
using Support::FailEachAllocation;
using Support::FailEachAllocationOfEither;
using Support::FailingAllocation;
using Support::Random;

using BoxContent = QOFTreeContent<2, double, 0>;
using BoxNode = QOFNode<2, double, 0>;
using Set = QOFContentSet<2, double, 0>;

std::deque<BoxContent> RandomBoxes(std::size_t count, std::uint64_t seed)
{
    Random random(seed);
    std::deque<BoxContent> items;
    for (std::size_t i = 0; i < count; ++i) {
        const Vec2d corner{random.Between(0, 100), random.Between(0, 100)};
        items.emplace_back(corner, corner + Vec2d{random.Unit(), random.Unit()});
    }
    return items;
}

// --- a set --------------------------------------------------------------------------------------

/// A set of the first `count` of its items.
struct SetState {
    std::deque<BoxContent> items;
    Set set;

    SetState(std::size_t count, std::size_t others, bool isSearched)
        : items(RandomBoxes(count + others, 3))
    {
        for (std::size_t i = 0; i < count; ++i) {
            set.append(&items[i], items[i].GetBound());
        }
        if (isSearched) { // makes the table for look-ups, if the set is large enough for one
            EXPECT_FALSE(set.insert(&items[0]));
        }
    }
};

/// The set holds exactly the items below `count` other than `missing`, each with its own bound, and
/// in groups whose boxes hold them; all of them can be found and taken out.
void ExpectSound(SetState& state, std::size_t count, std::size_t missing)
{
    Set& set = state.set;
    ASSERT_EQ(set.size(), count - (missing < count ? 1 : 0));
    for (std::size_t i = 0; i < set.size(); ++i) {
        EXPECT_EQ(set.BoundAt(i), set[i]->GetBound());
    }
    for (std::size_t i = 0; i < set.GroupedCount(); ++i) {
        std::size_t group = i;
        for (int level = 0; level < set.LevelCount(); ++level) {
            group /= Set::kGroupSize;
            EXPECT_TRUE(set.GroupBox(level, group).ContainsPoint(set.BoundAt(i).min, 0.0));
            EXPECT_TRUE(set.GroupBox(level, group).ContainsPoint(set.BoundAt(i).max, 0.0));
        }
    }
    for (std::size_t i = 0; i < state.items.size(); ++i) {
        ASSERT_EQ(set.contains(&state.items[i]), i < count && i != missing);
    }
    for (std::size_t i = 0; i < state.items.size(); ++i) {
        ASSERT_EQ(set.erase(&state.items[i]), i < count && i != missing);
        ASSERT_FALSE(set.contains(&state.items[i]));
    }
    EXPECT_TRUE(set.empty());
    EXPECT_EQ(set.begin(), set.end());
}

constexpr std::size_t kNone = ~std::size_t{0};

/// Sizes without groups, with groups, with a table for look-ups; such that one more makes the lists
/// grow, the set stale, or neither.
const std::vector<std::size_t> kSizes{1, 16, 32, 33, 100, 512, 513};

std::unique_ptr<SetState> MakeSet(std::size_t count, bool isSearched)
{
    return std::make_unique<SetState>(count, 2, isSearched);
}

TEST(ContentSetMemory, AnAppendIsWholeOrNotAtAll)
{
    std::size_t failures = 0;
    for (const std::size_t count : kSizes) {
        for (const bool isSearched : {false, true}) {
            failures += FailEachAllocation([&] { return MakeSet(count, isSearched); },
                                           [&](auto& state) {
                                               state->set.append(&state->items[count],
                                                                 state->items[count].GetBound());
                                           },
                                           [&](auto& state) { ExpectSound(*state, count, kNone); });
        }
    }
    EXPECT_GE(failures, 10U) << "lists that grow, and entries of the table";
}

TEST(ContentSetMemory, AfterAFailedAppendTheNextOneWorks)
{
    for (const std::size_t count : kSizes) {
        FailEachAllocation([&] { return MakeSet(count, true); },
                           [&](auto& state) {
                               state->set.append(&state->items[count],
                                                 state->items[count].GetBound());
                           },
                           [&](auto& state) {
                               EXPECT_TRUE(state->set.insert(&state->items[count]));
                               EXPECT_TRUE(state->set.insert(&state->items[count + 1]));
                               EXPECT_FALSE(state->set.insert(&state->items[count]));
                               ExpectSound(*state, count + 2, kNone);
                           });
    }
}

TEST(ContentSetMemory, AnInsertionIsWholeOrNotAtAll)
{
    std::size_t thrown = 0;
    std::size_t finished = 0;
    for (const std::size_t count : kSizes) {
        for (const bool isSearched : {false, true}) {
            FailEachAllocationOfEither(
                [&] { return MakeSet(count, isSearched); },
                [&](auto& state) { EXPECT_TRUE(state->set.insert(&state->items[count])); },
                [&](auto& state, bool hasThrown) {
                    ++(hasThrown ? thrown : finished);
                    ExpectSound(*state, hasThrown ? count : count + 1, kNone);
                });
        }
    }
    EXPECT_GE(thrown, 10U);
    EXPECT_GE(finished, 10U) << "neither a new arrangement nor a table is needed";
}

TEST(ContentSetMemory, ARemovalNeedsNoMemory)
{
    std::size_t failures = 0;
    for (const std::size_t count : kSizes) {
        for (const bool isSearched : {false, true}) {
            failures += FailEachAllocationOfEither(
                [&] { return MakeSet(count, isSearched); },
                [&](auto& state) { EXPECT_TRUE(state->set.erase(&state->items[count / 2])); },
                [&](auto& state, bool hasThrown) {
                    EXPECT_FALSE(hasThrown);
                    ExpectSound(*state, count, count / 2);
                });
        }
    }
    EXPECT_GE(failures, 10U) << "of the table and of the new arrangement, which it goes without";
}

TEST(ContentSetMemory, AnArrangementStaysUntilTheNextOneIsThere)
{
    for (const std::size_t count : kSizes) {
        const auto prepare = [&] {
            auto state = MakeSet(count, true);
            state->set.Arrange();
            for (std::size_t i = count; i < count + 2; ++i) {
                state->set.append(&state->items[i], state->items[i].GetBound());
            }
            return state;
        };
        const std::size_t failures = FailEachAllocation(
            prepare, [](auto& state) { state->set.Arrange(); },
            [&](auto& state) {
                EXPECT_EQ(state->set.GroupedCount(), count > 16 ? count : 0);
                ExpectSound(*state, count + 2, kNone);
            });
        EXPECT_EQ(failures > 0, count + 2 > 16);
    }
}

// --- a node and what is below -------------------------------------------------------------------

/// Where each content of a subtree is, by address of the node; the boxes and cells of all nodes.
struct NodeForm {
    Vec2d center;
    double halfSize;
    Vec2d boxMin;
    Vec2d boxMax;
    std::size_t children;
    std::vector<std::pair<const BoxContent*, double>> contents; // with an end of the bound

    bool operator==(const NodeForm&) const = default;
};

std::vector<NodeForm> FormOf(const BoxNode& root)
{
    std::vector<NodeForm> form;
    std::vector<const BoxNode*> open{&root};
    while (!open.empty()) {
        const BoxNode* node = open.back();
        open.pop_back();
        NodeForm own{node->center,         node->halfSize,        node->contentBox.min,
                     node->contentBox.max, node->children.size(), {}};
        for (std::size_t i = 0; i < node->content.size(); ++i) {
            own.contents.emplace_back(node->content[i], node->content.BoundAt(i).max[0]);
        }
        std::sort(own.contents.begin(), own.contents.end());
        form.push_back(std::move(own));
        for (const auto& child : node->children) {
            EXPECT_NE(child, nullptr);
            EXPECT_EQ(child->parent, node);
            open.push_back(child.get());
        }
    }
    return form;
}

struct NodeState {
    std::deque<BoxContent> items;
    BoxNode root{nullptr, {{50, 50}, 51, 0.1}};
    std::vector<NodeForm> form;

    NodeState(std::deque<BoxContent> contents, std::size_t inserted, unsigned int capacity)
        : items(std::move(contents))
    {
        for (std::size_t i = 0; i < inserted; ++i) {
            EXPECT_TRUE(BoxNode::Insert(root, &items[i], true, capacity));
        }
        form = FormOf(root);
    }
};

/// Inserts the item `count` into a tree of those before it, with memory failing; expects the tree
/// that was when it fails, and the tree of an insertion without failure when it is tried again.
std::size_t ExpectInsertionsWholeOrNotAtAll(const std::deque<BoxContent>& items,
                                            std::size_t inserted, std::size_t tried,
                                            unsigned int capacity)
{
    std::size_t thrown = 0;
    FailEachAllocationOfEither(
        [&] { return std::make_unique<NodeState>(items, inserted, capacity); },
        [&](auto& state) {
            EXPECT_TRUE(BoxNode::Insert(state->root, &state->items[tried], true, capacity));
        },
        [&](auto& state, bool hasThrown) {
            NodeState fresh(items, inserted, capacity);
            if (hasThrown) {
                ++thrown;
                ASSERT_EQ(FormOf(state->root), state->form);
                EXPECT_TRUE(BoxNode::Insert(state->root, &state->items[tried], true, capacity));
            }
            EXPECT_TRUE(BoxNode::Insert(fresh.root, &fresh.items[tried], true, capacity));
            EXPECT_EQ(FormOf(state->root).size(), FormOf(fresh.root).size());
            EXPECT_TRUE(BoxNode::Insert(state->root, &state->items[tried], false, capacity));
        });
    return thrown;
}

TEST(ContentNodeMemory, AnInsertionThatSplitsIsWholeOrNotAtAll)
{
    for (const unsigned int capacity : {4U, 16U}) {
        const std::deque<BoxContent> items = RandomBoxes(capacity + 1, 5);
        EXPECT_GE(ExpectInsertionsWholeOrNotAtAll(items, capacity, capacity, capacity), 8U)
            << "the children, at least";
    }
}

/// Close together, so that one split makes the next one necessary.
TEST(ContentNodeMemory, AnInsertionThatSplitsAgainAndAgainIsWholeOrNotAtAll)
{
    std::deque<BoxContent> items;
    for (int i = 0; i < 6; ++i) {
        items.emplace_back(Vec2d{1 + 0.001 * i, 1}, Vec2d{1 + 0.001 * i, 1});
    }
    EXPECT_GE(ExpectInsertionsWholeOrNotAtAll(items, 5, 5, 5), 40U) << "four children a level";
}

TEST(ContentNodeMemory, AnInsertionFarDownIsWholeOrNotAtAll)
{
    const std::deque<BoxContent> items = RandomBoxes(200, 6);
    std::size_t thrown = 0;
    for (std::size_t i = 100; i < 200; ++i) {
        thrown += ExpectInsertionsWholeOrNotAtAll(items, i, i, 4);
    }
    EXPECT_GE(thrown, 100U);
}

/// A content that is there already comes again with another bound, into a leaf that is split only
/// now, because all points were one.
TEST(ContentNodeMemory, ARenewedBoundIsAsItWasWhenTheSplitFails)
{
    const auto prepare = [] {
        std::deque<BoxContent> items;
        for (int i = 0; i < 6; ++i) {
            items.emplace_back(Vec2d{1, 1}, Vec2d{1, 1});
        }
        auto state = std::make_unique<NodeState>(std::move(items), 6, 2);
        state->items[3].min = state->items[3].max = Vec2d{1.5, 1.25};
        return state;
    };
    const std::size_t failures = FailEachAllocation(
        prepare,
        [](auto& state) { EXPECT_TRUE(BoxNode::Insert(state->root, &state->items[3], true, 2)); },
        [](auto& state) { EXPECT_EQ(FormOf(state->root), state->form); });
    EXPECT_GE(failures, 5U);
}

TEST(ContentNodeMemory, ASplitLeavesALeafOrMakesAllChildren)
{
    const std::size_t failures = FailEachAllocation(
        [] { return std::make_unique<NodeState>(RandomBoxes(40, 9), 40, 1000U); },
        [](auto& state) { BoxNode::Split(state->root, 4); },
        [](auto& state) {
            EXPECT_EQ(FormOf(state->root), state->form);
            BoxNode::Split(state->root, 4);
            EXPECT_EQ(state->root.children.size(), 4U);
            EXPECT_NE(FormOf(state->root), state->form);
        });
    EXPECT_GE(failures, 20U);
}

TEST(ContentNodeMemory, AChildThatIsNotMadeLeavesALeaf)
{
    const auto test = [](auto node) {
        using Node = decltype(node);
        const std::size_t failures = FailEachAllocation(
            [] { return std::make_unique<Node>(); }, [](auto& leaf) { leaf->AllocateChild(2, {}); },
            [](auto& leaf) { EXPECT_TRUE(leaf->children.empty()); });
        EXPECT_EQ(failures, 2U) << "the child, and the list of children";
    };
    struct Plain : BoxNode {
        Plain() = default;
        Plain(const Plain&) : BoxNode() {}
    };
    struct Addressable : QOFAddressableNode<3, double, 1> {
        Addressable() = default;
        Addressable(const Addressable&) : QOFAddressableNode() {}
    };
    test(Plain());
    test(Addressable());
}

/// Splits of neighbors that addressable nodes ask for: some may have come to pass, but no content
/// is lost and no node is half made.
TEST(ContentNodeMemory, AnAddressableNodeThatCannotSplitIsALeaf)
{
    using Node = QOFAddressableNode<3, double, 1>;
    using Ball = QOFTreeContent<3, double, 1>;
    struct State {
        std::deque<Ball> balls;
        Node root{nullptr, {{0.5, 0.5, 0.5}, 0.5, 0}, 0};
    };
    const auto insertAll = [](State& state) {
        for (const Ball& ball : state.balls) {
            EXPECT_TRUE(Node::Insert(state.root, &ball, true, 1));
        }
    };
    const auto contentsOf = [](const State& state) {
        std::size_t count = 0;
        std::vector<const QOFNode<3, double, 1>*> open{&state.root};
        while (!open.empty()) {
            const auto* node = open.back();
            open.pop_back();
            count += node->content.size();
            EXPECT_TRUE(node->children.empty() || node->children.size() == 8);
            for (const auto& child : node->children) {
                EXPECT_NE(child, nullptr);
                open.push_back(child.get());
            }
        }
        return count;
    };
    const Ball last(Vec3d{0.4375 + 0.0301, 0.0101, 0.0101}, 0.0);
    const std::size_t failures = FailEachAllocation(
        [&] {
            auto state = std::make_unique<State>();
            for (int i = 0; i < 4; ++i) {
                state->balls.emplace_back(Vec3d{0.4375 + 0.01 * i, 0.01, 0.01}, 0.0);
            }
            insertAll(*state);
            return state;
        },
        [&](auto& state) { EXPECT_TRUE(Node::Insert(state->root, &last, true, 1)); },
        [&](auto& state) {
            EXPECT_EQ(contentsOf(*state), 4U);
            EXPECT_TRUE(Node::Insert(state->root, &last, true, 1));
            EXPECT_EQ(contentsOf(*state), 5U);
        });
    EXPECT_GE(failures, 9U);
}

// --- a tree -------------------------------------------------------------------------------------

class HostTree : public QOFTree<2, double, 0, BoxNode> {
public:
    QOFStorage<BoxContent> storage;

    void Build() { PrepareRoot(storage); }
    std::size_t Within(const Vec2d& center, double radius) const
    {
        return GetPossibleBallCollisions({center, radius}).size();
    }
};

TEST(ContentTreeMemory, AFailedBuildLeavesTheTreeThatWasThere)
{
    struct State {
        HostTree tree;
        std::vector<NodeForm> form;
        double slack = 0;
    };
    const auto prepare = [] {
        auto state = std::make_unique<State>();
        for (const BoxContent& item : RandomBoxes(12, 20)) {
            state->tree.storage.Add(item);
        }
        state->tree.Build();
        state->form = FormOf(state->tree.Root());
        state->slack = state->tree.Slack();
        for (const BoxContent& item : RandomBoxes(40, 21)) {
            state->tree.storage.Add(item);
        }
        return state;
    };
    std::size_t thrown = 0;
    FailEachAllocationOfEither(
        prepare, [](auto& state) { state->tree.Build(); },
        [&](auto& state, bool hasThrown) {
            if (hasThrown) {
                ++thrown;
                EXPECT_EQ(FormOf(state->tree.Root()), state->form);
                EXPECT_EQ(state->tree.Slack(), state->slack);
                EXPECT_EQ(state->tree.Capacity(), 2U) << "for 12";
                EXPECT_EQ(state->tree.Within({50, 50}, 1000), 12U);
                state->tree.Build();
            }
            EXPECT_EQ(state->tree.Capacity(), 4U) << "for 52";
            EXPECT_EQ(state->tree.Within({50, 50}, 1000), 52U);
        });
    EXPECT_GE(thrown, 20U);
}

TEST(ContentTreeMemory, APoolThatFindsNoRoomIsAsItWas)
{
    const auto prepare = [] {
        auto pool = std::make_unique<Velk::Math::Sorvane::Bins::DataPool<int>>();
        EXPECT_TRUE(pool->SetBlockSize(4));
        for (int i = 0; i < 8; ++i) {
            pool->Add(i);
        }
        return pool;
    };
    const std::size_t failures = FailEachAllocation(
        prepare, [](auto& pool) { pool->Add(8); },
        [](auto& pool) {
            EXPECT_EQ(pool->LastIndex(), 7);
            EXPECT_EQ(pool->ItemCount(), 8U);
            EXPECT_EQ(pool->BlockCount(), 2U);
            EXPECT_EQ(pool->Add(80), 8);
            EXPECT_EQ(*pool->Find(8), 80);
        });
    EXPECT_GE(failures, 2U) << "the block and its slots";
}

} // namespace
