// The tree of facets on its own.

#include "imprint/ImprintSearchTree_Impl.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mesh::Impl::SearchTree;

SearchTree::Corners CornersAt(double x)
{
    return {Vec3d{x, 0, 0}, Vec3d{x + 1, 0, 0}, Vec3d{x, 1, 0}};
}

TEST(ImprintSearchTree, PagesAreAsLargeAsTheMeshOr1024)
{
    EXPECT_EQ(SearchTree(17).Wraps().BlockSize(), 17U);
    EXPECT_EQ(SearchTree(0).Wraps().BlockSize(), 1024U);
}

TEST(ImprintSearchTree, HandlesAreDealtInOrderAndTheOneLongestFreeFirst)
{
    SearchTree tree(8);
    EXPECT_EQ(tree.Wraps().LastIndex(), -1);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(tree.Add(i, CornersAt(i)), i);
    }
    tree.Rebuild();
    tree.Remove(3);
    tree.Remove(1);
    tree.Remove(1); // free by now
    tree.Remove(-1);
    tree.Remove(99);
    EXPECT_EQ(tree.FacetCount(), 3U);
    EXPECT_EQ(tree.Add(70, CornersAt(1)), 3);
    EXPECT_EQ(tree.Add(80, CornersAt(1)), 1);
    EXPECT_EQ(tree.Add(90, CornersAt(1)), 5);
}

TEST(ImprintSearchTree, RootIsTheCubeAroundAllWithATenthOfSlack)
{
    SearchTree tree(40);
    for (int i = 0; i < 40; ++i) {
        tree.Add(i, CornersAt(i));
    }
    tree.Rebuild();
    EXPECT_EQ(tree.Slack(), 0.1);
    EXPECT_EQ(tree.Capacity(), 4U) << "the largest power of two up to the root of 40";
    EXPECT_NEAR(tree.Root().halfSize, 20, 1e-9);
    EXPECT_NEAR(tree.Root().center[0], 20, 1e-9);
    EXPECT_NEAR(tree.Root().center[1], 0.5, 1e-9);
}

TEST(ImprintSearchTree, AFacetIsFoundFromItsEntryToItsRemoval)
{
    SearchTree tree(1);
    const int handle = tree.Add(7, CornersAt(0));
    tree.Rebuild();
    const int late = tree.Add(3, CornersAt(0));
    const Vec3d point = {0.2, 0.2, 0};
    EXPECT_EQ(tree.FacetsInBox(point, point), (std::vector<int>{7}));
    EXPECT_TRUE(tree.Enter(late));
    EXPECT_EQ(tree.FacetsInBox(point, point), (std::vector<int>{3, 7})) << "ascending";
    tree.Remove(handle);
    EXPECT_EQ(tree.FacetsInBox(point, point), (std::vector<int>{3}));
    // Out of the extent: only the next build takes it in.
    const int far = tree.Add(9, CornersAt(100));
    EXPECT_FALSE(tree.Enter(far));
    tree.Rebuild();
    EXPECT_EQ(tree.FacetsInBox({100.2, 0.2, 0}, {100.2, 0.2, 0}), (std::vector<int>{9}));
    EXPECT_FALSE(tree.Enter(-1));
}

TEST(ImprintSearchTree, FlatAndPointLikeExtents)
{
    for (const double at : {0.0, 1e6, 1e15}) {
        SearchTree tree(3);
        const Vec3d point = {at, -at, at};
        for (int i = 0; i < 3; ++i) {
            tree.Add(i, {point, point, point});
        }
        tree.Rebuild();
        EXPECT_EQ(tree.FacetsInBox(point, point).size(), 3U) << at;
    }
    SearchTree none(0);
    none.Rebuild();
    EXPECT_TRUE(none.FacetsInBox({-1, -1, -1}, {1, 1, 1}).empty());
    EXPECT_EQ(none.Add(0, {Vec3d{0, 0, 0}, Vec3d{0, std::nan(""), 0}, Vec3d{1, 0, 0}}), -1);
    EXPECT_EQ(none.FacetCount(), 0U);
}

} // namespace
