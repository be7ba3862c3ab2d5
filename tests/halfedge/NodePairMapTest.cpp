// The node-pair table against an ordered map, and under the removals that a tombstone would hide.

#include <Sorvane/NodePairMap_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <limits>
#include <map>
#include <set>
#include <utility>

namespace {

using Velk::Math::Sorvane::HalfEdge::NodePairMap;

TEST(NodePairMap, EmptyHoldsNothing)
{
    NodePairMap map;
    EXPECT_EQ(map.Find(0, 1), NodePairMap::kNone);
    EXPECT_EQ(map.Find(-1, -2), NodePairMap::kNone);
    map.Erase(0, 1, 0);
    map.Clear();
    EXPECT_EQ(map.EdgeCount(), 0U);
    EXPECT_EQ(map.MemoryBytes(), 0U);
}

TEST(NodePairMap, BothDirectionsComeFromOneEntry)
{
    NodePairMap map;
    map.Insert(7, 3, 10);
    EXPECT_EQ(map.Find(7, 3), 10);
    EXPECT_EQ(map.Find(3, 7), 11);
    EXPECT_EQ(map.Find(3, 3), NodePairMap::kNone);
    map.Insert(3, 8, 13); // odd half-edge first
    EXPECT_EQ(map.Find(3, 8), 13);
    EXPECT_EQ(map.Find(8, 3), 12);
    EXPECT_EQ(map.EdgeCount(), 2U);
    map.SwapDirections();
    EXPECT_EQ(map.Find(7, 3), 11);
    EXPECT_EQ(map.Find(8, 3), 13);
}

TEST(NodePairMap, EraseLeavesAnotherEdgeOfTheSameNodesAlone)
{
    NodePairMap map;
    map.Insert(0, 1, 4);
    map.Insert(0, 1, 8); // a second edge between the same nodes hides the first
    map.Erase(1, 0, 5);
    EXPECT_EQ(map.Find(0, 1), 8);
    map.Erase(1, 0, 9);
    EXPECT_EQ(map.Find(0, 1), NodePairMap::kNone);
    EXPECT_EQ(map.EdgeCount(), 0U);
}

TEST(NodePairMap, ExtremeNodeNumbers)
{
    constexpr int kLast = std::numeric_limits<int>::max();
    NodePairMap map;
    map.Insert(0, kLast, 2);
    map.Insert(kLast - 1, kLast, kLast - 1);
    EXPECT_EQ(map.Find(kLast, 0), 3);
    EXPECT_EQ(map.Find(kLast, kLast - 1), kLast);
    EXPECT_EQ(map.Find(std::numeric_limits<int>::min(), 0), NodePairMap::kNone);
}

TEST(NodePairMap, MoveLeavesAnEmptyTable)
{
    NodePairMap map;
    map.Insert(1, 2, 0);
    NodePairMap taken(std::move(map));
    EXPECT_EQ(map.EdgeCount(), 0U); // NOLINT: what it promises
    EXPECT_EQ(map.Find(1, 2), NodePairMap::kNone);
    EXPECT_EQ(taken.Find(1, 2), 0);
    map = std::move(taken);
    EXPECT_EQ(map.Find(2, 1), 1);
    EXPECT_EQ(taken.EdgeCount(), 0U); // NOLINT
}

// Oracle: an ordered map from the sorted pair. The mix of insertions and removals holds the table
// between empty and some hundred entries, so that runs form, wrap round and are closed again.
TEST(NodePairMap, AgreesWithAnOrderedMap)
{
    for (const int nodes : {4, 30, 1000}) {
        Support::Random random(static_cast<std::uint64_t>(nodes));
        NodePairMap map;
        std::map<std::pair<int, int>, int> oracle;
        const auto expected = [&](int a, int b) {
            const auto entry = oracle.find({std::min(a, b), std::max(a, b)});
            return entry == oracle.end() ? NodePairMap::kNone : entry->second ^ (a < b ? 0 : 1);
        };
        for (int step = 0; step < Support::Rounds(24'000, 8'000); ++step) {
            const int a = random.Below(nodes);
            const int b = random.Below(nodes);
            if (a == b) {
                continue;
            }
            const bool grows = step / 2000 % 2 == 0;
            if (random.Below(10) < (grows ? 7 : 3)) {
                map.Insert(a, b, step);
                oracle[{std::min(a, b), std::max(a, b)}] = step ^ (a < b ? 0 : 1);
            } else {
                map.Erase(a, b, expected(a, b));
                oracle.erase({std::min(a, b), std::max(a, b)});
            }
            ASSERT_EQ(map.EdgeCount(), oracle.size()) << "step " << step;
            if (step % 100 == 0) {
                for (int probe = 0; probe < 100; ++probe) {
                    const int p = random.Below(nodes);
                    const int q = random.Below(nodes);
                    ASSERT_EQ(map.Find(p, q), p == q ? NodePairMap::kNone : expected(p, q));
                }
                std::size_t visited = 0;
                map.VisitEdges([&](int low, int high, int halfEdge) {
                    EXPECT_LT(low, high);
                    EXPECT_EQ(halfEdge, expected(low, high));
                    ++visited;
                });
                ASSERT_EQ(visited, oracle.size());
            }
        }
    }
}

// All edges of one hub: one of the two numbers never changes, which a weak hash would not survive.
TEST(NodePairMap, HubsOnEitherSide)
{
    constexpr int kCount = 20'000;
    NodePairMap map;
    for (int i = 1; i < kCount; ++i) {
        map.Insert(0, i, 4 * i);
        map.Insert(i, kCount, 4 * i + 2);
    }
    for (int i = 1; i < kCount; ++i) {
        ASSERT_EQ(map.Find(i, 0), 4 * i + 1);
        ASSERT_EQ(map.Find(i, kCount), 4 * i + 2);
    }
}

// Room is reserved by nodes; a mesh of triangles has three edges a node, one line of 64 bytes.
TEST(NodePairMap, ReservedRoomIsEnough)
{
    NodePairMap map;
    map.Reserve(1000);
    const std::size_t before = map.MemoryBytes();
    for (int node = 3; node < 1000; ++node) {
        for (int back = 1; back <= 3; ++back) {
            map.Insert(node - back, node, 6 * node + 2 * back);
        }
    }
    EXPECT_EQ(map.MemoryBytes(), before);
    EXPECT_LE(before, 1000U * 3U * 25U);
    map.Clear();
    EXPECT_EQ(map.MemoryBytes(), before);
    EXPECT_EQ(map.Find(0, 3), NodePairMap::kNone);
    EXPECT_EQ(map.EdgeCount(), 0U);
}

// One node of many edges to smaller numbers: whatever leaves, in whatever order, the rest is found.
TEST(NodePairMap, HubLosesItsEdges)
{
    constexpr int kHub = 3000;
    NodePairMap map;
    map.Reserve(kHub + 1);
    for (int i = 0; i < kHub; ++i) {
        map.InsertAbsent(i, kHub, 2 * i);
    }
    for (int i = 0; i < kHub; i += 2) {
        map.Erase(kHub, i, 2 * i); // the other direction's half-edge: not this edge
        EXPECT_EQ(map.Find(kHub, i), 2 * i + 1);
        map.Erase(kHub, i, 2 * i + 1);
        EXPECT_EQ(map.Find(kHub, i), NodePairMap::kNone);
    }
    for (int i = 0; i < kHub; i += 4) {
        map.Insert(i, kHub, 4 * i);
        map.Insert(i + 1, kHub, 4 * i + 6); // in place of the one that stands there
    }
    for (int i = 0; i < kHub; i += 4) {
        ASSERT_EQ(map.Find(kHub, i), 4 * i + 1);
        ASSERT_EQ(map.Find(kHub, i + 1), 4 * i + 7);
        ASSERT_EQ(map.Find(i + 2, kHub), NodePairMap::kNone);
        ASSERT_EQ(map.Find(i + 3, kHub), 2 * (i + 3));
    }
    EXPECT_EQ(map.EdgeCount(), static_cast<std::size_t>(kHub * 3 / 4));
    map.SwapDirections();
    EXPECT_EQ(map.Find(3, kHub), 7);
    EXPECT_EQ(map.Find(0, kHub), 1);
}

// Memory follows the edges, not the greatest node number, and an edge entered while numbers were
// sparse is found, replaced and erased as any other when they have become dense.
TEST(NodePairMap, SparseNumbersThatBecomeDense)
{
    constexpr int kNodes = 5000;
    NodePairMap map;
    for (int node = kNodes - 1; node >= 1; --node) { // from the far end
        map.Insert(node, node - 1, 2 * node);
        map.Insert(node, (node * 7) % (node - 1 > 0 ? node - 1 : 1), 2 * (kNodes + node));
        if (node == kNodes - 10) {
            EXPECT_LE(map.MemoryBytes(), 20U * 256U);
        }
    }
    for (int pass = 0; pass < 2; ++pass) {
        for (int node = 3; node < kNodes; ++node) {
            ASSERT_EQ(map.Find(node, node - 1), 2 * node) << pass;
            ASSERT_EQ(map.Find((node * 7) % (node - 1), node), 2 * (kNodes + node) + 1) << pass;
        }
        map.Reserve(2 * kNodes);
    }
    std::size_t visited = 0;
    map.VisitEdges([&](int, int, int) { ++visited; });
    EXPECT_EQ(visited, map.EdgeCount());
    for (int node = 3; node < kNodes; ++node) {
        map.Erase(node - 1, node, 2 * node + 1);
        ASSERT_EQ(map.Find(node, node - 1), NodePairMap::kNone);
    }
    EXPECT_EQ(map.EdgeCount() + static_cast<std::size_t>(kNodes - 3), visited);
}

} // namespace
