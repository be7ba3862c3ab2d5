// Solid voxelization: equal, node by node, to the same steps over a map of addresses for any list,
// and to a flood over a grid of the finest cells wherever the completed tree is a proper one.

#include <Sorvane/MaterialTree_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Rounds.h"
#include "tests/support/ThreadLimit.h"
#include "tests/trees/AddressReference.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math::Sorvane::Tree;
using MaterialTree::Node;
using MaterialTree::SolidVoxelizationFromLeaves;
using MaterialTree::State;
using Support::Address;

template <int D>
using Cell = std::array<long long, D>;

// --- the steps as they are told, over a map -----------------------------------------------------

template <int D>
class MapTwin {
public:
    explicit MapTwin(const std::vector<Address<D>>& leaves) : input_(leaves.begin(), leaves.end())
    {
        for (const Address<D>& address : Support::SweptLevels<D>(leaves, 5)) {
            states_[address] = input_.count(address) > 0 ? State::Surface : State::Unclassified;
            deepest_ = std::max(deepest_, address.depth);
        }
    }

    std::vector<Node<D>> Run(bool leavesOnly)
    {
        std::vector<Address<D>> stack;
        for (const auto& [address, state] : states_) {
            if (state != State::Surface && IsLeaf(address) && IsSeedPlace(address)) {
                stack.push_back(address);
            }
        }
        for (const Address<D>& seed : stack) {
            states_[seed] = State::Exterior;
        }
        while (!stack.empty()) {
            const Address<D> from = stack.back();
            stack.pop_back();
            for (const int direction : Directions()) {
                Enter(Behind(from, direction), direction, stack);
            }
        }
        std::vector<Node<D>> result;
        for (auto& [address, state] : states_) {
            if (state == State::Unclassified && IsLeaf(address)) {
                state = State::Interior;
            }
            if (!leavesOnly || IsLeaf(address)) {
                result.push_back({address, state});
            }
        }
        return result;
    }

private:
    static std::vector<int> Directions()
    {
        return D == 2 ? std::vector<int>{1, 0, 3, 2} : std::vector<int>{4, 1, 3, 2, 5, 0};
    }

    static std::vector<int> FaceChildren(int direction)
    {
        if (D == 2) {
            return std::vector<std::vector<int>>{
                {1, 3}, {0, 2}, {2, 3}, {0, 1}}[static_cast<std::size_t>(direction)];
        }
        return std::vector<std::vector<int>>{{1, 3, 5, 7}, {0, 2, 4, 6}, {2, 3, 6, 7},
                                             {0, 1, 4, 5}, {4, 5, 6, 7}, {0, 1, 2, 3}}
            [static_cast<std::size_t>(direction)];
    }

    /// The null address outside, and for the root.
    static Address<D> Behind(const Address<D>& address, int direction)
    {
        Cell<D> cell = Support::CellOf<D>(address);
        long long& number = cell[static_cast<std::size_t>(direction / 2)];
        number += direction % 2 == 0 ? -1 : 1;
        if (address.depth == 0 || number < 0 || number >= 1LL << address.depth) {
            return {};
        }
        return Support::AddressOf<D>(cell, address.depth);
    }

    bool IsLeaf(const Address<D>& address) const
    {
        if (states_.count(address) == 0) {
            return false;
        }
        for (unsigned long long child = 0; child < 1ULL << D; ++child) {
            if (address.depth + 1 > deepest_) {
                return true;
            }
            if (states_.count({address.depth + 1, (address.path << D) + child}) > 0) {
                return false;
            }
        }
        return true;
    }

    bool IsSeedPlace(const Address<D>& address) const
    {
        const std::vector<int> directions = Directions();
        return address == Address<D>{} ||
               std::any_of(directions.begin(), directions.end(), [&](int direction) {
                   return Behind(address, direction) == Address<D>{};
               });
    }

    void Enter(Address<D> place, int direction, std::vector<Address<D>>& stack)
    {
        while (states_.count(place) == 0) {
            if (place.depth == 0) {
                return;
            }
            place = {place.depth - 1, place.path >> D};
        }
        if (states_[place] != State::Unclassified) {
            return;
        }
        if (IsLeaf(place)) {
            states_[place] = State::Exterior;
            stack.push_back(place);
            return;
        }
        for (const int child : FaceChildren(direction)) {
            const Address<D> inner{place.depth + 1,
                                   (place.path << D) + static_cast<unsigned long long>(child)};
            if (IsLeaf(inner) && states_[inner] == State::Unclassified) {
                states_[inner] = State::Exterior;
                stack.push_back(inner);
            }
        }
    }

    std::set<Address<D>> input_;
    std::map<Address<D>, State> states_;
    unsigned int deepest_ = 0;
};

template <int D>
void ExpectEqualsTwin(const std::vector<Address<D>>& leaves)
{
    for (const bool leavesOnly : {false, true}) {
        const std::vector<Node<D>> nodes = SolidVoxelizationFromLeaves<D>(leaves, leavesOnly);
        ASSERT_EQ(nodes, MapTwin<D>(leaves).Run(leavesOnly)) << leaves.size() << leavesOnly;
        ASSERT_TRUE(
            std::is_sorted(nodes.begin(), nodes.end(), [](const Node<D>& a, const Node<D>& b) {
                return a.address < b.address;
            }));
    }
}

template <int D>
void CompareSparseLists(int trials, int deepest)
{
    Support::Random random(D);
    for (int trial = 0; trial < trials; ++trial) {
        const int depth = 1 + random.Below(deepest);
        std::vector<Address<D>> leaves = Support::RandomAddresses<D>(
            random, 1 + random.Below(12), {}, random.Below(2) * depth, depth);
        if (trial % 8 == 0) { // the root, and a cell twice
            leaves.push_back(leaves.front());
            leaves.push_back({});
        }
        if (trial % 16 == 1) { // no level, and bits above the first level
            leaves.push_back({D == 2 ? 31U : 21U, random.Bits()});
            leaves.push_back({random.Bits() % 2 == 0 ? 99U : ~0U, random.Bits()});
            leaves.push_back({static_cast<unsigned int>(random.Below(depth + 1)), random.Bits()});
        }
        if (trial % 2 == 0) {
            std::sort(leaves.begin(), leaves.end());
        }
        ExpectEqualsTwin<D>(leaves);
    }
}

TEST(MaterialTree, EqualsTheStepsOverAMapInThePlane)
{
    CompareSparseLists<2>(Support::Rounds(2000), 6);
}

TEST(MaterialTree, EqualsTheStepsOverAMapInSpace)
{
    CompareSparseLists<3>(Support::Rounds(400), 3);
}

// --- a flood over the finest cells --------------------------------------------------------------

/// Cells of one depth as a grid.
template <int D>
class Grid {
public:
    explicit Grid(unsigned int depth)
        : depth_(depth), values_(std::size_t{1} << (depth * static_cast<unsigned int>(D)))
    {
    }

    long long Side() const { return 1LL << depth_; }
    unsigned int Depth() const { return depth_; }
    std::size_t Count() const { return values_.size(); }

    char& operator[](const Cell<D>& cell)
    {
        std::size_t number = 0;
        for (const long long value : cell) {
            number = number * static_cast<std::size_t>(Side()) + static_cast<std::size_t>(value);
        }
        return values_[number];
    }

    bool Holds(const Cell<D>& cell) const
    {
        return std::all_of(cell.begin(), cell.end(),
                           [&](long long value) { return value >= 0 && value < Side(); });
    }

    template <class Fn>
    void ForEach(const Fn& fn) const
    {
        for (std::size_t number = 0; number < values_.size(); ++number) {
            Cell<D> cell{};
            std::size_t rest = number;
            for (std::size_t axis = D; axis-- > 0;) {
                cell[axis] = static_cast<long long>(rest % static_cast<std::size_t>(Side()));
                rest /= static_cast<std::size_t>(Side());
            }
            fn(cell);
        }
    }

    /// Calls fn for the places behind the faces, also those outside.
    template <class Fn>
    static void ForEachBehind(const Cell<D>& cell, const Fn& fn)
    {
        for (std::size_t axis = 0; axis < D; ++axis) {
            for (const long long step : {-1, 1}) {
                Cell<D> behind = cell;
                behind[axis] += step;
                fn(behind);
            }
        }
    }

private:
    unsigned int depth_;
    std::vector<char> values_;
};

/// A random body of boxes, some of them hollows; 1 in its cells.
template <int D>
Grid<D> RandomBody(Support::Random& random, unsigned int depth)
{
    Grid<D> body(depth);
    const int side = static_cast<int>(body.Side());
    for (int part = 0, parts = 1 + random.Below(4); part < parts; ++part) {
        Cell<D> low{};
        Cell<D> high{};
        for (std::size_t axis = 0; axis < D; ++axis) {
            low[axis] = random.Below(side);
            high[axis] = low[axis] + 1 + random.Below(side / 2);
        }
        const char value = part > 0 && random.Below(3) == 0 ? 0 : 1;
        body.ForEach([&](const Cell<D>& cell) {
            bool inside = true;
            for (std::size_t axis = 0; axis < D; ++axis) {
                inside = inside && cell[axis] >= low[axis] && cell[axis] < high[axis];
            }
            if (inside) {
                body[cell] = value;
            }
        });
    }
    return body;
}

/// Cells of the body with a face to what is not the body.
template <int D>
std::vector<Address<D>> ShellOf(Grid<D>& body)
{
    std::vector<Address<D>> shell;
    body.ForEach([&](const Cell<D>& cell) {
        bool isShell = false;
        Grid<D>::ForEachBehind(cell, [&](const Cell<D>& behind) {
            isShell = isShell || !body.Holds(behind) || body[behind] == 0;
        });
        if (body[cell] != 0 && isShell) {
            shell.push_back(Support::AddressOf<D>(cell, body.Depth()));
        }
    });
    std::sort(shell.begin(), shell.end());
    return shell;
}

/// The cells of `depth` within a cell.
template <int D, class Fn>
void ForEachFinest(const Address<D>& address, unsigned int depth, const Fn& fn)
{
    const Cell<D> corner = Support::CellOf<D>(address);
    Grid<D>(depth - address.depth).ForEach([&](Cell<D> cell) {
        for (std::size_t axis = 0; axis < D; ++axis) {
            cell[axis] += corner[axis] << (depth - address.depth);
        }
        fn(cell);
    });
}

/// The class of each finest cell by a flood over all of them from the border.
template <int D>
Grid<D> FloodedGrid(const std::vector<Address<D>>& shell, unsigned int depth)
{
    Grid<D> states(depth);
    for (const Address<D>& address : shell) {
        ForEachFinest<D>(address, depth, [&](const Cell<D>& cell) {
            states[cell] = static_cast<char>(State::Surface);
        });
    }
    std::vector<Cell<D>> reached;
    const auto wet = [&](const Cell<D>& cell) {
        if (states[cell] == 0) {
            states[cell] = static_cast<char>(State::Exterior);
            reached.push_back(cell);
        }
    };
    states.ForEach([&](const Cell<D>& cell) {
        Grid<D>::ForEachBehind(cell, [&](const Cell<D>& behind) {
            if (!states.Holds(behind)) {
                wet(cell);
            }
        });
    });
    while (!reached.empty()) {
        const Cell<D> cell = reached.back();
        reached.pop_back();
        Grid<D>::ForEachBehind(cell, [&](const Cell<D>& behind) {
            if (states.Holds(behind)) {
                wet(behind);
            }
        });
    }
    states.ForEach([&](const Cell<D>& cell) {
        if (states[cell] == 0) {
            states[cell] = static_cast<char>(State::Interior);
        }
    });
    return states;
}

/// What a leaf is called and how deep it is, in each of the finest cells that it covers.
template <int D>
struct LeafMap {
    Grid<D> states;
    Grid<D> depths;
    bool tiles;
    bool balanced;
};

template <int D>
LeafMap<D> MapOfLeaves(const std::vector<Node<D>>& leaves, unsigned int depth)
{
    LeafMap<D> map{Grid<D>(depth), Grid<D>(depth), true, true};
    std::size_t covered = 0;
    for (const Node<D>& leaf : leaves) {
        ForEachFinest<D>(leaf.address, depth, [&](const Cell<D>& cell) {
            map.tiles = map.tiles && map.states[cell] == 0;
            map.states[cell] = static_cast<char>(leaf.state);
            map.depths[cell] = static_cast<char>(leaf.address.depth);
            ++covered;
        });
    }
    map.tiles = map.tiles && covered == map.states.Count();
    map.states.ForEach([&](const Cell<D>& cell) {
        Grid<D>::ForEachBehind(cell, [&](const Cell<D>& behind) {
            if (map.states.Holds(behind) && std::abs(map.depths[cell] - map.depths[behind]) > 1) {
                map.balanced = false;
            }
        });
    });
    return map;
}

/// 1 when the tree of the list is a proper one, on which the classes are compared; otherwise 0.
template <int D>
int CompareIfProper(const std::vector<Address<D>>& list, unsigned int depth)
{
    const std::vector<Node<D>> leaves = SolidVoxelizationFromLeaves<D>(list, true);
    LeafMap<D> map = MapOfLeaves(leaves, depth);
    const auto surfaces = std::count_if(leaves.begin(), leaves.end(), [](const Node<D>& leaf) {
        return leaf.state == State::Surface;
    });
    if (!map.tiles || !map.balanced || static_cast<std::size_t>(surfaces) != list.size()) {
        return 0;
    }
    Grid<D> expected = FloodedGrid(list, depth);
    int wrong = 0;
    expected.ForEach(
        [&](const Cell<D>& cell) { wrong += expected[cell] != map.states[cell] ? 1 : 0; });
    EXPECT_EQ(wrong, 0);
    return 1;
}

/// How many of `trials` random bodies gave a proper tree.
template <int D>
int CompareBodies(int trials, unsigned int depth)
{
    Support::Random random(7);
    int compared = 0;
    for (int trial = 0; trial < trials; ++trial) {
        Grid<D> body = RandomBody<D>(random, depth);
        const std::vector<Address<D>> shell = ShellOf(body);
        compared += shell.empty() ? 0 : CompareIfProper<D>(shell, depth);
    }
    return compared;
}

/// The same of random lists of cells of several depths, none within another.
template <int D>
int CompareMixedLists(int trials, unsigned int depth)
{
    Support::Random random(8);
    int compared = 0;
    for (int trial = 0; trial < trials; ++trial) {
        const int count = 1 + random.Below(8) * random.Below(8);
        std::vector<Address<D>> list =
            Support::RandomAddresses<D>(random, count, {}, 1, static_cast<int>(depth));
        std::sort(list.begin(), list.end());
        list.erase(std::unique(list.begin(), list.end()), list.end());
        const std::set<Address<D>> all(list.begin(), list.end());
        std::erase_if(list, [&](Address<D> address) {
            while (address.depth > 0) {
                address = {address.depth - 1, address.path >> D};
                if (all.count(address) > 0) {
                    return true;
                }
            }
            return false;
        });
        compared += CompareIfProper<D>(list, depth);
    }
    return compared;
}

TEST(MaterialTree, ProperTreesEqualAFloodOverTheFinestCells)
{
    EXPECT_GT(CompareBodies<2>(150, 5), 50);
    EXPECT_GT(CompareBodies<3>(25, 4), 5);
    EXPECT_GT(CompareMixedLists<2>(1000, 4), 100);
    EXPECT_GT(CompareMixedLists<3>(100, 2), 10);
}

// --- known answers ------------------------------------------------------------------------------

Address<2> At(long long x, long long y, unsigned int depth)
{
    return Support::AddressOf<2>({x, y}, depth);
}

template <int D>
State StateOf(const std::vector<Node<D>>& nodes, const Address<D>& address)
{
    for (const Node<D>& node : nodes) {
        if (node.address == address) {
            return node.state;
        }
    }
    ADD_FAILURE() << "not in the result: depth " << address.depth << " path " << address.path;
    return State::Unclassified;
}

TEST(MaterialTree, OneLeafOfDepthOneHasThreeEmptySiblings)
{
    const std::vector<Node<2>> expected{{{0, 0}, State::Unclassified},
                                        {{1, 0}, State::Exterior},
                                        {{1, 1}, State::Exterior},
                                        {{1, 2}, State::Surface},
                                        {{1, 3}, State::Exterior}};
    EXPECT_EQ(SolidVoxelizationFromLeaves<2>({{1, 2}}, false), expected);
    EXPECT_EQ(SolidVoxelizationFromLeaves<2>({{1, 2}}, true),
              (std::vector<Node<2>>{expected.begin() + 1, expected.end()}));
}

/// The eight cells around (3, 3) of a square of 8 x 8.
std::vector<Address<2>> Ring()
{
    std::vector<Address<2>> ring;
    for (const long long y : {2, 3, 4}) {
        for (const long long x : {2, 3, 4}) {
            if (x != 3 || y != 3) {
                ring.push_back(At(x, y, 3));
            }
        }
    }
    std::sort(ring.begin(), ring.end());
    return ring;
}

TEST(MaterialTree, AClosedRingHasAnInteriorAndAGapOpensIt)
{
    EXPECT_EQ(StateOf(SolidVoxelizationFromLeaves<2>(Ring(), true), At(3, 3, 3)), State::Interior);
    for (const Address<2>& gap : {At(3, 2, 3), At(2, 3, 3), At(4, 3, 3), At(3, 4, 3)}) {
        std::vector<Address<2>> open = Ring();
        std::erase(open, gap);
        const std::vector<Node<2>> leaves = SolidVoxelizationFromLeaves<2>(open, true);
        EXPECT_EQ(StateOf(leaves, At(3, 3, 3)), State::Exterior);
        EXPECT_EQ(StateOf(leaves, gap), State::Exterior);
    }
}

TEST(MaterialTree, CornersSeal)
{
    // Four diagonal neighbors around an empty cell.
    std::vector<Address<2>> ring;
    for (const Address<2>& side : {At(3, 2, 3), At(2, 3, 3), At(4, 3, 3), At(3, 4, 3)}) {
        ring.push_back(side);
    }
    std::sort(ring.begin(), ring.end());
    EXPECT_EQ(StateOf(SolidVoxelizationFromLeaves<2>(ring, true), At(3, 3, 3)), State::Interior);
}

TEST(MaterialTree, WithoutSeedsAllEmptyLeavesAreInterior)
{
    // The border cells of a square of 8 x 8.
    std::vector<Address<2>> border;
    for (long long i = 0; i < 8; ++i) {
        for (const Address<2>& cell : {At(i, 0, 3), At(i, 7, 3), At(0, i, 3), At(7, i, 3)}) {
            border.push_back(cell);
        }
    }
    std::size_t interior = 0;
    for (const Node<2>& leaf : SolidVoxelizationFromLeaves<2>(border, true)) {
        EXPECT_NE(leaf.state, State::Exterior);
        interior +=
            leaf.state == State::Interior ? std::size_t{1} << 2 * (3 - leaf.address.depth) : 0U;
    }
    EXPECT_EQ(interior, 36U); // 6 x 6 cells, whatever the leaves they are in
}

TEST(MaterialTree, AllLeavesGivenLeavesNothingInOrOut)
{
    std::vector<Address<3>> leaves;
    for (unsigned long long path = 0; path < 64; ++path) {
        leaves.push_back({2, path});
    }
    for (const Node<3>& leaf : SolidVoxelizationFromLeaves<3>(leaves, true)) {
        EXPECT_EQ(leaf.state, State::Surface);
    }
    for (const Node<3>& node : SolidVoxelizationFromLeaves<3>(leaves, false)) {
        EXPECT_EQ(node.state, node.address.depth == 2 ? State::Surface : State::Unclassified);
    }
}

TEST(MaterialTree, AnInnerCellOfTheListIsSurfaceAndStopsTheFlood)
{
    // In the lower left quadrant of 4 x 4 cells a cup that opens to the right, where larger leaves
    // stand outside.
    std::vector<Address<2>> cup;
    for (long long i = 0; i < 4; ++i) {
        for (const Address<2>& cell : {At(i, 0, 3), At(0, i, 3), At(i, 3, 3)}) {
            cup.push_back(cell);
        }
    }
    std::sort(cup.begin(), cup.end());
    const std::vector<Node<2>> open = SolidVoxelizationFromLeaves<2>(cup, false);
    EXPECT_EQ(StateOf(open, At(3, 1, 3)), State::Exterior);
    EXPECT_EQ(StateOf(open, At(1, 2, 3)), State::Exterior);
    EXPECT_EQ(StateOf(open, At(2, 0, 2)), State::Exterior); // the larger leaf
    EXPECT_EQ(StateOf(open, At(1, 0, 2)), State::Unclassified);

    // The two cells of half the depth at the opening, given as well, are inner nodes and shut it.
    cup.insert(cup.begin(), {At(1, 0, 2), At(1, 1, 2)});
    const std::vector<Node<2>> shut = SolidVoxelizationFromLeaves<2>(cup, false);
    EXPECT_EQ(StateOf(shut, At(1, 0, 2)), State::Surface);
    EXPECT_EQ(StateOf(shut, At(3, 1, 3)), State::Interior);
    EXPECT_EQ(StateOf(shut, At(1, 2, 3)), State::Interior);
}

TEST(MaterialTree, KeepsTheLossesOfBalance)
{
    // (2, 15) is no neighbor of another cell on its level, and so no node at all.
    for (const Node<2>& node : SolidVoxelizationFromLeaves<2>({{2, 15}, {3, 0}}, false)) {
        EXPECT_NE(node.address, (Address<2>{2, 15}));
    }
}

TEST(MaterialTree, ADiagonalRingOfOneDepthLeavesGaps)
{
    // Cells of a diamond: balance drops parents of cells that touch only in corners, and with them
    // the siblings that would have filled the square.
    std::vector<Address<2>> diamond;
    for (long long x = 0; x < 16; ++x) {
        for (long long y = 0; y < 16; ++y) {
            if (std::abs(x - 7) + std::abs(y - 7) == 6) {
                diamond.push_back(At(x, y, 4));
            }
        }
    }
    std::sort(diamond.begin(), diamond.end());
    ExpectEqualsTwin<2>(diamond);
    double area = 0;
    for (const Node<2>& leaf : SolidVoxelizationFromLeaves<2>(diamond, true)) {
        area += 1.0 / static_cast<double>(1ULL << 2 * leaf.address.depth);
    }
    EXPECT_LT(area, 1);
}

TEST(MaterialTree, RootEmptyAndCellsWithoutLevel)
{
    EXPECT_TRUE(SolidVoxelizationFromLeaves<2>({}, false).empty());
    EXPECT_TRUE(SolidVoxelizationFromLeaves<3>({}, true).empty());
    EXPECT_TRUE(SolidVoxelizationFromLeaves<2>({{31, 5}, {99, 1}, {~0U, ~0ULL}}, false).empty());
    EXPECT_TRUE(SolidVoxelizationFromLeaves<3>({{21, 5}}, true).empty());
    for (const bool leavesOnly : {false, true}) {
        EXPECT_EQ(SolidVoxelizationFromLeaves<3>({{}}, leavesOnly),
                  (std::vector<Node<3>>{{{}, State::Surface}}));
    }
    // Deepest levels that there are.
    EXPECT_EQ(StateOf(SolidVoxelizationFromLeaves<2>({{30, 0}}, true), {30, 0}), State::Surface);
    EXPECT_EQ(StateOf(SolidVoxelizationFromLeaves<3>({{20, (1ULL << 60) - 1}}, true),
                      {20, (1ULL << 60) - 1}),
              State::Surface);
}

TEST(MaterialTree, OrderAndRepeatsMakeNoDifference)
{
    Support::Random random(3);
    std::vector<Address<3>> leaves = Support::RandomAddresses<3>(random, 40, {}, 3, 3);
    std::vector<Address<3>> sorted = leaves;
    std::sort(sorted.begin(), sorted.end());
    leaves.insert(leaves.end(), sorted.rbegin(), sorted.rend());
    EXPECT_EQ(SolidVoxelizationFromLeaves<3>(leaves, false),
              SolidVoxelizationFromLeaves<3>(sorted, false));
}

TEST(MaterialTree, AHollowBallOfManyCells)
{
    // A shell of depth 6, thousands of nodes and more than one chunk of each loop: compared with
    // the map, and inside with the ball.
    Grid<3> body(6);
    std::vector<Address<3>> shell;
    body.ForEach([&](const Cell<3>& cell) {
        long long squared = 0;
        for (const long long value : cell) {
            squared += (2 * value - 63) * (2 * value - 63);
        }
        body[cell] = squared < 40 * 40 ? 1 : 0;
    });
    shell = ShellOf(body);
    const std::vector<Node<3>> nodes = SolidVoxelizationFromLeaves<3>(shell, false);
    EXPECT_GT(nodes.size(), 5000U);
    EXPECT_EQ(nodes, MapTwin<3>(shell).Run(false));
    EXPECT_EQ(StateOf(nodes, Support::AddressOf<3>({0, 0, 0}, 2)), State::Exterior);
}

// --- threads and memory
// ---------------------------------------------------------------------------

/// A thousand cells of a few depths, in no order.
std::vector<Address<3>> ScatteredCells()
{
    Support::Random random(6);
    return Support::RandomAddresses<3>(random, 1000, {}, 3, 5);
}

TEST(MaterialTree, AnyNumberOfThreadsGivesTheSame)
{
    const std::vector<Address<3>> cells = ScatteredCells();
    std::vector<Node<3>> expected;
    Support::WithThreads(1, [&] { expected = SolidVoxelizationFromLeaves<3>(cells, true); });
    EXPECT_GT(expected.size(), 5000U);
    for (const int threads : {2, 4}) {
        Support::WithThreads(threads, [&] {
            EXPECT_EQ(SolidVoxelizationFromLeaves<3>(cells, true), expected) << threads;
        });
    }
}

TEST(MaterialTreeWithoutMemory, PassesTheExceptionOn)
{
    const auto expectExceptionPasses = [](const auto& cells, auto dimension) {
        for (const bool leavesOnly : {false, true}) {
            EXPECT_GT(Support::FailEachAllocationOfResult([&] {
                          return SolidVoxelizationFromLeaves<decltype(dimension)::value>(
                              cells, leavesOnly);
                      }),
                      8U);
        }
    };
    std::vector<Address<2>> unsorted = Ring();
    std::reverse(unsorted.begin(), unsorted.end());
    Support::WithThreads(1, [&] {
        expectExceptionPasses(unsorted, std::integral_constant<int, 2>());
        expectExceptionPasses(std::vector<Address<3>>{{1, 3}, {3, 70}, {3, 300}},
                              std::integral_constant<int, 3>());
    });
}

} // namespace
