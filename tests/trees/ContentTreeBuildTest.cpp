// The set-up of a tree: capacity, root, slack, the contents that stay out, hostile inputs.

#include "tests/trees/ContentTreeSupport.h"

#include <cmath>
#include <deque>
#include <set>

namespace {

using namespace Support;

using BoxTree2 = OpenTree<2, double, 0>;
using BoxTree3 = OpenTree<3, double, 0>;

void Add(BoxTree2& tree, const Vec2d& min, const Vec2d& max)
{
    tree.storage.Add({min, max, tree.storage.LastIndex() + 1});
}

std::vector<int> Everything(const BoxTree2& tree)
{
    return Ids(tree.GetPossibleBallCollisions({{0, 0}, 1e100}));
}

TEST(ContentTreeBuild, CapacityIsThePowerOfTwoBelowTheRoot)
{
    EXPECT_EQ(BoxTree2::LeafCapacity(0), 0U);
    for (std::size_t n = 1; n < 5000; ++n) {
        const double formula =
            std::pow(2.0, std::trunc(std::log2(std::sqrt(static_cast<double>(n)))));
        ASSERT_EQ(BoxTree2::LeafCapacity(n), static_cast<unsigned int>(formula)) << n;
    }
    EXPECT_EQ(BoxTree2::LeafCapacity(246'000), 256U);
    EXPECT_EQ(BoxTree2::LeafCapacity(2'147'483'647), 32'768U);
}

TEST(ContentTreeBuild, RootIsTheHalfDiagonalAndSlackTheMeanDiagonal)
{
    BoxTree2 tree;
    Add(tree, {0, 0}, {3, 4});    // diagonal 5
    Add(tree, {12, 4}, {24, 9});  // 13
    Add(tree, {20, 3}, {20, 10}); // 7
    tree.Build();
    EXPECT_EQ(tree.Root().center, (Vec2d{12, 5}));
    EXPECT_EQ(tree.Root().halfSize, 13); // |(12, 5)|
    EXPECT_EQ(tree.Root().slack, (5.0 + 13 + 7) / 3 * 0.5 / 13);
    EXPECT_EQ(tree.Slack(), tree.Root().slack);
    EXPECT_EQ(tree.Root().parent, nullptr);
    EXPECT_EQ(tree.Capacity(), 1U);
    EXPECT_EQ(CountContents(tree.AnyRoot()), 3U);
    EXPECT_EQ(tree.Root().contentBox.min, (Vec2d{0, 0}));
    EXPECT_EQ(tree.Root().contentBox.max, (Vec2d{24, 10}));
}

TEST(ContentTreeBuild, RemovedSlotsCountForTheCapacityAndTheMeanNotForTheBox)
{
    BoxTree2 tree;
    for (int i = 0; i < 16; ++i) {
        Add(tree, {1.0 * i, 0}, {1.0 * i, 0});
    }
    for (int i = 8; i < 16; ++i) {
        tree.storage.Remove(i); // the higher half: number 15 is still the last index
    }
    tree.Build();
    EXPECT_EQ(tree.Capacity(), 4U);
    EXPECT_EQ(tree.Root().center, (Vec2d{3.5, 0}));
    EXPECT_EQ(Everything(tree), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(ContentTreeBuild, OneContentStaysInTheRoot)
{
    BoxTree2 tree;
    Add(tree, {1, 1}, {2, 3});
    tree.Build();
    EXPECT_EQ(tree.Capacity(), 1U);
    EXPECT_TRUE(tree.Root().children.empty());
    EXPECT_EQ(Everything(tree), std::vector<int>{0});
    // One box is centered in itself: half size d/2, slack 1.
    EXPECT_EQ(tree.Root().halfSize, std::sqrt(0.25 + 1));
    EXPECT_EQ(tree.Root().slack, 1);
}

TEST(ContentTreeBuild, AnEmptyOrUnbuiltTreeAnswersNothing)
{
    BoxTree3 tree;
    for (int round = 0; round < 2; ++round) {
        for (const double radius : {0.0, 1.0, 1e300, kInfinity, kNaN}) {
            EXPECT_TRUE(tree.GetPossibleBallCollisions({{0, 0, 0}, radius}).empty());
        }
        EXPECT_TRUE(tree.GetPossibleBoxCollisions({{-1, -1, -1}, {1, 1, 1}}).empty());
        EXPECT_TRUE(tree.GetPossibleBoxCollisions({{-kInfinity, -kInfinity, -kInfinity},
                                                   {kInfinity, kInfinity, kInfinity}})
                        .empty());
        EXPECT_TRUE(tree.GetPossibleBoxCollisions({}).empty());
        EXPECT_TRUE(tree.GetPossibleRayCollisions({0, 0, 0}, {0, 0, 1}, true).empty());
        tree.VisitNearest({0, 0, 0}, kInfinity, [](const auto*) -> double {
            ADD_FAILURE();
            return 0;
        });
        tree.Build(); // over an empty storage
        EXPECT_EQ(tree.Capacity(), 0U);
    }
}

TEST(ContentTreeBuild, AllAtOnePointWithoutExtentAreRefused)
{
    for (const int count : {1, 2, 50}) {
        BoxTree2 tree;
        for (int i = 0; i < count; ++i) {
            Add(tree, {3, 4}, {3, 4});
        }
        tree.Build();
        EXPECT_TRUE(std::isnan(tree.Slack()));
        EXPECT_EQ(CountContents(tree.AnyRoot()), 0U);
        EXPECT_TRUE(Everything(tree).empty());
        EXPECT_FALSE(tree.Put(tree.storage.Find(0)));
    }
}

TEST(ContentTreeBuild, AllAtOnePlaceWithExtentAreFound)
{
    BoxTree2 tree;
    for (int i = 0; i < 500; ++i) {
        Add(tree, {3, 4}, {5, 5});
    }
    tree.Build();
    EXPECT_EQ(Everything(tree).size(), 500U);
    EXPECT_LT(DeepestLevel(tree.AnyRoot()), 6);
}

TEST(ContentTreeBuild, OneBoundThatIsNotFiniteLeavesTheTreeEmpty)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (const int axis : {0, 1}) {
            BoxTree2 tree;
            for (int i = 0; i < 20; ++i) {
                Add(tree, {1.0 * i, 0}, {i + 0.5, 1});
            }
            (bad < 0 ? tree.storage.Find(7)->min : tree.storage.Find(7)->max)[axis] = bad;
            tree.Build();
            EXPECT_TRUE(Everything(tree).empty());
        }
    }
}

TEST(ContentTreeBuild, AnInfiniteBoxInsideOutMakesCellsWithoutBoundsThatAreNotSplit)
{
    BoxTree2 tree;
    for (int i = 0; i < 5000; ++i) {
        Add(tree, {1.0 * i, 0}, {i + 0.5, 1});
    }
    tree.storage.Find(7)->max[0] =
        -kInfinity; // does not count for the root's box, but for the mean
    tree.Build();
    EXPECT_EQ(tree.Slack(), kInfinity);
    EXPECT_TRUE(tree.Root().children.empty());
    EXPECT_EQ(Everything(tree).size(), 4999U) << "all but the one that is infinitely far";
}

TEST(ContentTreeBuild, ARootSetByHandKeepsOutOnlyTheBadOnes)
{
    BoxTree2 tree;
    for (int i = 0; i < 40; ++i) {
        Add(tree, {1.0 * i, 0}, {i + 0.5, 1});
    }
    tree.storage.Find(7)->max[0] = kNaN;
    tree.storage.Find(9)->min[1] = -kInfinity;
    tree.storage.Find(11)->max[1] = kInfinity;
    tree.storage.Find(13)->max[0] = 1e300;
    tree.SetCapacity(4);
    tree.SetRoot({{20, 20}, 21, 0.1});
    tree.InsertAll(tree.storage);
    const std::vector<int> found = Everything(tree);
    EXPECT_EQ(found.size(), 36U);
    for (const int bad : {7, 9, 11, 13}) {
        EXPECT_FALSE(std::binary_search(found.begin(), found.end(), bad));
    }
}

TEST(ContentTreeBuild, PointsOnALineAlongAnAxisAllFindRoom)
{
    // Half the diagonal is half the extent here and the slack is 0: rounding must not shut out the
    // ends.
    Random random(5);
    for (int round = 0; round < 300; ++round) {
        BoxTree2 tree;
        const double far = std::pow(10.0, random.Between(-3, 9));
        for (int i = 0; i < 20; ++i) {
            const double x = far + random.Between(-1, 1);
            Add(tree, {x, far}, {x, far});
        }
        tree.Build();
        ASSERT_EQ(CountContents(tree.AnyRoot()), 20U) << round;
    }
}

/// All contents of a line along an axis are in the tree, in a root that is larger by rounding at
/// most.
template <class T, int K>
void ExpectALineFindsRoom(double largestRadius)
{
    Random random(6);
    for (int round = 0; round < 300; ++round) {
        OpenTree<2, T, K> tree;
        const T far = static_cast<T>(std::pow(10.0, random.Between(-3, 5)));
        const T radius = static_cast<T>(random.Between(0, largestRadius));
        const int along = round % 2;
        VecBase<2, T> low{far, far};
        VecBase<2, T> high = low;
        for (int i = 0; i < 20; ++i) {
            VecBase<2, T> at{far, far};
            at[along] += static_cast<T>(random.Between(-1, 1));
            low[along] = std::min(low[along], at[along]);
            high[along] = std::max(high[along], at[along]);
            if constexpr (K == 0) {
                tree.storage.Add({at, at, i});
            } else {
                tree.storage.Add({at, radius, i});
            }
        }
        if (low == high) {
            continue; // a line no longer, at the resolution of T
        }
        tree.Build();
        ASSERT_EQ(CountContents(tree.AnyRoot()), 20U) << round;
        const T half = (high[along] - low[along]) / 2 + radius;
        EXPECT_NEAR(static_cast<double>(tree.Root().halfSize), static_cast<double>(half),
                    static_cast<double>(8 * std::numeric_limits<T>::epsilon() * (far + 2)));
    }
}

TEST(ContentTreeBuild, LinesAlongAnAxisFindRoomInFloatAndAsBalls)
{
    ExpectALineFindsRoom<float, 0>(0);
    ExpectALineFindsRoom<double, 0>(0);
    ExpectALineFindsRoom<double, 1>(0);
    ExpectALineFindsRoom<double, 1>(1e-12); // less than the rounding of the coordinates
}

TEST(ContentTreeBuild, ARootThatHoldsAllIsTheHalfDiagonalExactly)
{
    BoxTree2 tree; // along an axis, without rounding
    for (int i = 0; i <= 16; ++i) {
        Add(tree, {1.0 * i, 3}, {1.0 * i, 3});
    }
    tree.Build();
    EXPECT_EQ(tree.Root().halfSize, 8);
    EXPECT_EQ(tree.Root().slack, 0);
    EXPECT_EQ(CountContents(tree.AnyRoot()), 17U);
}

TEST(ContentTreeBuild, BuildingAgainStartsAfresh)
{
    BoxTree2 tree;
    for (int i = 0; i < 100; ++i) {
        Add(tree, {1.0 * i, 0}, {i + 0.5, 1});
    }
    tree.Build();
    tree.Build();
    EXPECT_EQ(Everything(tree).size(), 100U);
    for (int i = 10; i < 100; ++i) {
        tree.storage.Remove(i);
    }
    tree.Build();
    EXPECT_EQ(Everything(tree).size(), 10U);
    EXPECT_EQ(tree.Root().contentBox.max, (Vec2d{9.5, 1}));
}

TEST(ContentTreeBuild, LateContentsComeInByInsertAlone)
{
    BoxTree2 tree;
    for (int i = 0; i < 10; ++i) {
        Add(tree, {1.0 * i, 0}, {i + 0.5, 1});
    }
    tree.Build();
    Add(tree, {3, 0}, {4, 1});
    EXPECT_EQ(Everything(tree).size(), 10U);
    EXPECT_TRUE(tree.Put(tree.storage.Find(10)));
    EXPECT_EQ(Everything(tree).size(), 11U);
    Add(tree, {300, 0}, {400, 1});
    EXPECT_FALSE(tree.Put(tree.storage.Find(11))) << "outside the root";
    EXPECT_TRUE(tree.Take(tree.storage.Find(4)));
    EXPECT_EQ(Everything(tree), (std::vector<int>{0, 1, 2, 3, 5, 6, 7, 8, 9, 10}));
    EXPECT_NE(tree.storage.Find(4), nullptr) << "the slot stays as it was";
}

TEST(ContentTreeBuild, ATreeOfBallsFitsItsRootToTheBoxesAroundThem)
{
    OpenTree<2, double, 1> tree;
    tree.storage.Add({Vec2d{1, 1}, 1.0, 0});
    tree.storage.Add({Vec2d{5, 4}, 1.0, 1});
    tree.Build();
    EXPECT_EQ(tree.Root().center, (Vec2d{3, 2.5}));
    EXPECT_EQ(tree.Root().halfSize, std::sqrt(9 + 6.25));
    EXPECT_EQ(CountContents(tree.AnyRoot()), 2U);
}

TEST(ContentTreeBuild, FloatsNearTheirLimitStayOutWithoutHarm)
{
    OpenTree<2, float, 0> tree;
    const float largest = std::numeric_limits<float>::max();
    tree.storage.Add({Vec2f{-largest, -largest}, Vec2f{-largest, 0.0F}, 0});
    tree.storage.Add({Vec2f{largest, largest}, Vec2f{largest, largest}, 1});
    tree.Build();
    (void)tree.GetPossibleBallCollisions({{0, 0}, 1});
    // A size whose half diagonal is a float: found, although its square is none.
    OpenTree<2, float, 0> large;
    for (int i = 0; i < 20; ++i) {
        const float x = 1e30F * static_cast<float>(i);
        large.storage.Add({Vec2f{x, 0.0F}, Vec2f{x, 1e29F}, i});
    }
    large.Build();
    EXPECT_EQ(CountContents(large.AnyRoot()), 20U);
}

TEST(ContentTreeBuild, ExtremeSpreadOfScalesStaysBounded)
{
    BoxTree3 tree;
    Random random(9);
    for (int i = 0; i < 400; ++i) {
        const double scale = std::pow(10.0, random.Between(-120, 120));
        const Vec3d at = random.Vector<3, double>(-scale, scale);
        const Vec3d extent = random.Vector<3, double>(0, scale * 0.01);
        tree.storage.Add({at, at + extent, i});
    }
    tree.Build();
    EXPECT_EQ(CountContents(tree.AnyRoot()), 400U);
    EXPECT_LT(DeepestLevel(tree.AnyRoot()), 900); // log2 of 10^240 is 797
}

TEST(ContentTreeBuild, AHundredThousandInOneNodeAreInsertedAndRemovedInTime)
{
    // All of them lie across the middle, so that no child takes one.
    BoxTree2 tree;
    constexpr int kCount = 100'000;
    for (int i = 0; i < kCount; ++i) {
        Add(tree, {-100.0, -1.0 - i * 1e-6}, {100, 1});
    }
    tree.Build();
    EXPECT_EQ(CountContents(tree.AnyRoot()), static_cast<std::size_t>(kCount));
    for (int i = 0; i < kCount; i += 2) {
        tree.Take(tree.storage.Find(i));
    }
    EXPECT_EQ(Everything(tree).size(), static_cast<std::size_t>(kCount / 2));
    for (int i = 0; i < kCount; ++i) {
        tree.Put(tree.storage.Find(i));
    }
    EXPECT_EQ(Everything(tree).size(), static_cast<std::size_t>(kCount));
}

TEST(ContentTreeBuild, EveryNodeKeepsTheRules)
{
    BoxTree3 tree;
    Random random(21);
    for (int i = 0; i < 20'000; ++i) {
        const Vec3d at = random.Vector<3, double>(-50, 50);
        tree.storage.Add({at, at + random.Vector<3, double>(0, random.Unit() < 0.01 ? 40 : 1), i});
    }
    tree.Build();
    std::set<const void*> seen;
    ForEachNode(tree.AnyRoot(), [&](const auto& node, int) {
        EXPECT_TRUE(node.children.empty() || node.children.size() == 8U);
        EXPECT_TRUE(!node.children.empty() || node.content.size() <= tree.Capacity());
        EXPECT_EQ(node.slack, tree.Slack());
        for (std::size_t i = 0; i < node.content.size(); ++i) {
            const auto& bound = node.content.BoundAt(i);
            EXPECT_TRUE(node.Holds(bound));
            EXPECT_TRUE(seen.insert(node.content[i]).second);
            for (const auto* above = &node; above != nullptr; above = above->parent) {
                EXPECT_TRUE(Velk::Math::Sorvane::Tree::Impl::LiesWithin(bound, above->contentBox));
            }
            if (!node.children.empty()) {
                EXPECT_FALSE(node.GetChild(node.ChildIndex(bound))->Holds(bound));
            }
        }
    });
    EXPECT_EQ(seen.size(), 20'000U);
}

} // namespace
