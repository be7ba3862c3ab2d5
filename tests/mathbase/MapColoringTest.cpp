// Graph coloring: validity, promised color counts, and lists as callers really pass them.

#include <Velk/Math/MapColoring_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <set>

namespace {

using Velk::Math::MapColoring;
using Lists = std::vector<std::vector<int>>;

struct Coloring {
    unsigned int count = 99;
    std::vector<int> colors;

    explicit Coloring(const Lists& lists) : colors(MapColoring(lists, count)) {}
};

void Join(Lists& lists, int a, int b)
{
    lists[static_cast<std::size_t>(a)].push_back(b);
    lists[static_cast<std::size_t>(b)].push_back(a);
}

/// The same graph with its nodes numbered anew, so that the order of their making is of no help.
Lists Shuffled(const Lists& lists, Support::Random& random)
{
    std::vector<int> name(lists.size());
    std::iota(name.begin(), name.end(), 0);
    for (int i = static_cast<int>(name.size()) - 1; i > 0; --i) {
        std::swap(name[static_cast<std::size_t>(i)],
                  name[static_cast<std::size_t>(random.Below(i + 1))]);
    }
    Lists result(lists.size());
    for (std::size_t node = 0; node < lists.size(); ++node) {
        for (const int other : lists[node]) {
            result[static_cast<std::size_t>(name[node])].push_back(
                name[static_cast<std::size_t>(other)]);
        }
    }
    return result;
}

/// One color in [0, count) a node, every color used, neighbors apart.
void ExpectProper(const Lists& lists, const Coloring& coloring)
{
    ASSERT_EQ(coloring.colors.size(), lists.size());
    const std::set<int> used(coloring.colors.begin(), coloring.colors.end());
    EXPECT_EQ(used.size(), coloring.count);
    if (!used.empty()) {
        EXPECT_EQ(*used.begin(), 0);
        EXPECT_EQ(*used.rbegin() + 1, static_cast<int>(coloring.count));
    }
    for (std::size_t node = 0; node < lists.size(); ++node) {
        for (const int other : lists[node]) {
            if (other >= 0 && other < static_cast<int>(lists.size()) &&
                other != static_cast<int>(node)) {
                EXPECT_NE(coloring.colors[node], coloring.colors[static_cast<std::size_t>(other)])
                    << node << " and " << other;
            }
        }
    }
}

/// Greatest least degree of any subgraph, by taking off a node of least degree over and over; the
/// slow and obvious way. A node in its own list is no neighbor of itself.
int Degeneracy(const Lists& lists)
{
    std::vector<std::set<int>> around(lists.size());
    for (std::size_t node = 0; node < lists.size(); ++node) {
        for (const int other : lists[node]) {
            if (other != static_cast<int>(node)) {
                around[node].insert(other);
                around[static_cast<std::size_t>(other)].insert(static_cast<int>(node));
            }
        }
    }
    std::vector<bool> gone(lists.size());
    std::size_t result = 0;
    for (std::size_t taken = 0; taken < lists.size(); ++taken) {
        std::size_t least = lists.size();
        for (std::size_t node = 0; node < lists.size(); ++node) {
            if (!gone[node] &&
                (least == lists.size() || around[node].size() < around[least].size())) {
                least = node;
            }
        }
        result = std::max(result, around[least].size());
        gone[least] = true;
        for (const int other : around[least]) {
            around[static_cast<std::size_t>(other)].erase(static_cast<int>(least));
        }
    }
    return static_cast<int>(result);
}

TEST(MapColoring, NoNodes)
{
    const Coloring coloring(Lists{});
    EXPECT_TRUE(coloring.colors.empty());
    EXPECT_EQ(coloring.count, 0U);
}

TEST(MapColoring, NodesWithoutNeighborsShareOneColor)
{
    const Coloring coloring(Lists(5));
    EXPECT_EQ(coloring.colors, std::vector<int>(5, 0));
    EXPECT_EQ(coloring.count, 1U);
}

TEST(MapColoring, CompleteGraphNeedsAsManyColorsAsNodes)
{
    for (const int n : {1, 2, 3, 7, 20}) {
        Lists lists(static_cast<std::size_t>(n));
        for (int a = 0; a < n; ++a) {
            for (int b = a + 1; b < n; ++b) {
                Join(lists, a, b);
            }
        }
        const Coloring coloring(lists);
        ExpectProper(lists, coloring);
        EXPECT_EQ(coloring.count, static_cast<unsigned int>(n));
    }
}

TEST(MapColoring, TreesTakeTwoColorsAndOddCyclesThree)
{
    // Both are optimal: every subgraph of a tree has a node of degree 1, of a cycle one of
    // degree 2.
    Support::Random random(51);
    Lists tree(1000);
    for (int node = 1; node < 1000; ++node) {
        Join(tree, node, random.Below(node));
    }
    for (int trial = 0; trial < 5; ++trial) {
        EXPECT_EQ(Coloring(tree).count, 2U);
        ExpectProper(tree, Coloring(tree));
        tree = Shuffled(tree, random);
    }
    Lists cycle(101);
    for (int node = 0; node < 101; ++node) {
        Join(cycle, node, (node + 1) % 101);
    }
    EXPECT_EQ(Coloring(cycle).count, 3U);
    ExpectProper(cycle, Coloring(cycle));
}

TEST(MapColoring, IgnoresNumbersThatAreNoNeighbors)
{
    const int top = std::numeric_limits<int>::max();
    const int bottom = std::numeric_limits<int>::min();
    const Lists lists = {{-1, 1, 0, 4}, {0, -1, 1, top}, {2, 2, bottom}, {}};
    const Coloring coloring(lists);
    ExpectProper(lists, coloring);
    EXPECT_EQ(coloring.count, 2U);
    EXPECT_EQ(coloring.colors[2], 0); // only itself for a neighbor
    EXPECT_EQ(coloring.colors[3], 0);
}

TEST(MapColoring, EdgeListedAtOneEndCounts)
{
    // A path 0 - 1 - 2 - 3 of which each node knows only the one before it, and a star whose center
    // knows nobody.
    const Lists path = {{}, {0}, {1}, {2}};
    ExpectProper(path, Coloring(path));
    EXPECT_EQ(Coloring(path).count, 2U);
    const Lists star = {{}, {0}, {0}, {0}};
    ExpectProper(star, Coloring(star));
}

TEST(MapColoring, RepeatedEdgesCountOnce)
{
    Lists once(30);
    Lists often(30);
    Support::Random random(52);
    for (int i = 0; i < 60; ++i) {
        const int a = random.Below(30);
        const int b = random.Below(30);
        Join(once, a, b);
        for (int k = 0; k < 1 + i % 4; ++k) {
            often[static_cast<std::size_t>(a)].push_back(b);
        }
        often[static_cast<std::size_t>(b)].push_back(a);
    }
    ExpectProper(often, Coloring(often));
    EXPECT_LE(static_cast<int>(Coloring(often).count), Degeneracy(once) + 1);
}

TEST(MapColoring, NeverMoreColorsThanDegeneracyAllows)
{
    // Smallest-last gives at most one color more than the degeneracy, on every graph.
    Support::Random random(53);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const int nodes = 2 + random.Below(40);
        Lists lists(static_cast<std::size_t>(nodes));
        const int edges = random.Below(nodes * 4);
        for (int i = 0; i < edges; ++i) {
            const int a = random.Below(nodes);
            const int b = random.Below(nodes);
            if (a != b) {
                Join(lists, a, b);
            }
        }
        const Coloring coloring(lists);
        ExpectProper(lists, coloring);
        EXPECT_LE(static_cast<int>(coloring.count), Degeneracy(lists) + 1);
    }
}

TEST(MapColoring, PlanarTriangulationsTakeSixColorsAtMost)
{
    // A grid with one diagonal in each cell at random.
    Support::Random random(54);
    for (int trial = 0; trial < 20; ++trial) {
        const int side = 2 + random.Below(30);
        Lists lists(static_cast<std::size_t>(side * side));
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                const int node = y * side + x;
                if (x + 1 < side) {
                    Join(lists, node, node + 1);
                }
                if (y + 1 < side) {
                    Join(lists, node, node + side);
                }
                if (x + 1 < side && y + 1 < side) {
                    random.Below(2) == 0 ? Join(lists, node, node + side + 1)
                                         : Join(lists, node + 1, node + side);
                }
            }
        }
        const Coloring coloring(lists);
        ExpectProper(lists, coloring);
        EXPECT_LE(coloring.count, 6U);
    }
}

TEST(MapColoring, StackedTriangulationTakesFourColors)
{
    // Each new node inside a triangle of the ones before: every subgraph has a node of degree 3, so
    // four colors suffice, and a tetrahedron needs them.
    Support::Random random(55);
    Lists lists(2000);
    std::vector<std::array<int, 3>> triangles = {{0, 1, 2}};
    Join(lists, 0, 1);
    Join(lists, 1, 2);
    Join(lists, 2, 0);
    for (int node = 3; node < 2000; ++node) {
        const auto pick =
            static_cast<std::size_t>(random.Below(static_cast<int>(triangles.size())));
        const auto [a, b, c] = triangles[pick];
        for (const int corner : {a, b, c}) {
            Join(lists, node, corner);
        }
        triangles[pick] = {a, b, node};
        triangles.push_back({b, c, node});
        triangles.push_back({c, a, node});
    }
    for (int trial = 0; trial < 5; ++trial) {
        const Coloring coloring(lists);
        ExpectProper(lists, coloring);
        EXPECT_EQ(coloring.count, 4U);
        lists = Shuffled(lists, random);
    }
}

TEST(MapColoring, FacetsOfAMeshTakeFourColorsAtMost)
{
    // Each triangle has at most three neighbors, -1 where there is none.
    const int side = 40;
    Lists lists;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const int lower = 2 * (y * side + x);
            lists.push_back(
                {lower + 1, x + 1 < side ? lower + 3 : -1, y > 0 ? lower - 2 * side + 1 : -1});
            lists.push_back({lower, x > 0 ? lower - 2 : -1, y + 1 < side ? lower + 2 * side : -1});
        }
    }
    const Coloring coloring(lists);
    ExpectProper(lists, coloring);
    EXPECT_LE(coloring.count, 4U);
}

TEST(MapColoring, SameGraphSameColors)
{
    Support::Random random(56);
    Lists lists(200);
    for (int i = 0; i < 800; ++i) {
        Join(lists, random.Below(200), random.Below(200));
    }
    EXPECT_EQ(Coloring(lists).colors, Coloring(lists).colors);
}

TEST(MapColoring, LargeGraphIsDoneAtOnce)
{
    // A star of 200,000 rays and a ring around them: quadratic bookkeeping would show.
    const int rays = 200'000;
    Lists lists(rays + 1);
    for (int i = 0; i < rays; ++i) {
        Join(lists, i, (i + 1) % rays);
        Join(lists, i, rays);
    }
    const Coloring coloring(lists);
    ExpectProper(lists, coloring);
    EXPECT_LE(coloring.count, 4U);
}

} // namespace
