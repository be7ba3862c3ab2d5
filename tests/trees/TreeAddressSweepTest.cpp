// Balanced and complete lists of addresses: all six modes against the twin that works on sets, and
// what is known by hand.

#include <Sorvane/TreeAddress_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/trees/AddressReference.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree;

constexpr int kModes = 6;

template <class Form>
class AddressSweep : public testing::Test {
};
template <int Dimension>
struct Form {
    static constexpr int D = Dimension;
    using Address = QOFAddress<D>;
    using List = std::vector<Address>;
    static constexpr unsigned int kFullDepth = D == 2 ? 31 : 21;
};
using Forms = testing::Types<Form<2>, Form<3>>;
TYPED_TEST_SUITE(AddressSweep, Forms);

template <class List>
bool IsSortedUnique(const List& list)
{
    return std::adjacent_find(list.begin(), list.end(), std::greater_equal<>{}) == list.end();
}

template <class List>
bool Contains(const List& list, const typename List::value_type& address)
{
    return std::binary_search(list.begin(), list.end(), address);
}

TYPED_TEST(AddressSweep, AllModesMatchTheSetsOnRandomLists)
{
    constexpr int D = TypeParam::D;
    Support::Random random(1);
    for (int trial = 0; trial < Support::Rounds(400); ++trial) {
        // Few and many, near the root and deep down, spread over all or crowded into one cell.
        typename TypeParam::Address within;
        if (trial % 2 == 1) {
            const int depth = random.Below(static_cast<int>(TypeParam::kFullDepth) - 4);
            within = Support::RandomAddresses<D>(random, 1, {}, depth, depth)[0];
        }
        const auto list = Support::RandomAddresses<D>(random, 1 + random.Below(30), within, 0,
                                                      1 + random.Below(4));
        for (int mode = 0; mode < kModes; ++mode) {
            const auto swept = Support::Swept<D>(list, mode);
            ASSERT_EQ(swept, Support::SweptLevels<D>(list, mode))
                << "trial " << trial << " mode " << mode;
            ASSERT_TRUE(IsSortedUnique(swept));
        }
    }
}

TYPED_TEST(AddressSweep, AllModesMatchTheSetsOnALargeCrowd)
{
    constexpr int D = TypeParam::D;
    Support::Random random(2);
    const auto crowd =
        Support::RandomAddresses<D>(random, 4000, {}, D == 2 ? 5 : 3, D == 2 ? 7 : 5);
    for (int mode = 0; mode < kModes; ++mode) {
        ASSERT_EQ(Support::Swept<D>(crowd, mode), Support::SweptLevels<D>(crowd, mode)) << mode;
    }
}

TYPED_TEST(AddressSweep, EmptyListStaysEmpty)
{
    for (int mode = 0; mode < kModes; ++mode) {
        EXPECT_TRUE(Support::Swept<TypeParam::D>({}, mode).empty()) << mode;
    }
}

TYPED_TEST(AddressSweep, RootAloneIsTheNullAddress)
{
    for (int mode = 0; mode < kModes; ++mode) {
        EXPECT_EQ(Support::Swept<TypeParam::D>({{0, 0}, {0, 0}}, mode),
                  (typename TypeParam::List{{0, 0}}))
            << mode;
    }
}

TYPED_TEST(AddressSweep, CompleteAddsAncestorsWhateverBalanceSays)
{
    constexpr int D = TypeParam::D;
    using List = typename TypeParam::List;
    // A cell of depth 4 and the four cells above it.
    const unsigned long long path = D == 2 ? 0b10'01'11'00 : 0b110'011'101'000;
    List expected;
    for (unsigned int depth = 0; depth <= 4; ++depth) {
        expected.push_back({depth, path >> (D * (4 - depth))});
    }
    EXPECT_EQ(CompleteTree<D>({{4, path}}, false, false), expected);
    EXPECT_EQ(CompleteTree<D>({{4, path}}, false, true), expected);
}

TYPED_TEST(AddressSweep, BalanceWithoutSiblingsHasNoEffect)
{
    constexpr int D = TypeParam::D;
    Support::Random random(3);
    for (int trial = 0; trial < 100; ++trial) {
        const auto list = Support::RandomAddresses<D>(random, 20, {}, 0, 5);
        ASSERT_EQ(CompleteTree<D>(list, false, true), CompleteTree<D>(list, false, false));
    }
}

TYPED_TEST(AddressSweep, SiblingsOfACellAndOfItsAncestors)
{
    constexpr int D = TypeParam::D;
    const unsigned long long path = D == 2 ? 0b10'01'11 : 0b110'011'101;
    typename TypeParam::List expected{{0, 0}};
    for (unsigned int depth = 1; depth <= 3; ++depth) {
        const unsigned long long family = path >> (D * (3 - depth)) >> D << D;
        for (unsigned long long child = 0; child < (1U << D); ++child) {
            expected.push_back({depth, family + child});
        }
    }
    EXPECT_EQ(CompleteTree<D>({{3, path}}, true, false), expected);
}

TYPED_TEST(AddressSweep, LeavesOfACompletedTreeTileUnitSpace)
{
    constexpr int D = TypeParam::D;
    Support::Random random(4);
    for (int trial = 0; trial < 50; ++trial) {
        const auto list = Support::RandomAddresses<D>(random, 1 + random.Below(20), {}, 1, 6);
        const auto tree = CompleteTree<D>(list, true, false);
        double volume = 0; // of the cells without children; powers of two, so exact
        for (const auto& address : tree) {
            int children = 0;
            for (unsigned long long child = 0; child < (1U << D); ++child) {
                children +=
                    Contains(tree, {address.depth + 1, (address.path << D) + child}) ? 1 : 0;
            }
            ASSERT_TRUE(children == 0 || children == 1 << D);
            volume += children == 0 ? std::ldexp(1.0, -D * static_cast<int>(address.depth)) : 0.0;
        }
        ASSERT_EQ(volume, 1.0);
        for (const auto& address : list) {
            ASSERT_TRUE(Contains(tree, address));
        }
    }
}

TEST(AddressSweepLosses, BalanceOfOneCellKeepsItWithTheNeighborsOfItsParents)
{
    // (2, 0): its parent (1, 0) has the neighbors 1 and 2; these replace it. Above, the root has
    // none.
    EXPECT_EQ(BalanceAddresses<2>({{2, 0}}, true),
              (std::vector<QOFAddress<2>>{{0, 0}, {1, 1}, {1, 2}, {2, 0}}));
    EXPECT_EQ(BalanceAddresses<2>({{2, 0}}, false),
              (std::vector<QOFAddress<2>>{{0, 0}, {1, 1}, {1, 2}, {1, 3}, {2, 0}}));
}

TEST(AddressSweepLosses, LoneCellAboveTheDeepestLevelIsGone)
{
    // (3, 0) sends its parent (2, 0) to level 2, where (2, 15) has nobody beside it: both go.
    const auto balanced = BalanceAddresses<2>({{2, 15}, {3, 0}}, true);
    EXPECT_FALSE(Contains(balanced, {2, 15}));
    EXPECT_FALSE(Contains(balanced, {2, 0}));
    for (const QOFAddress<2> kept : {QOFAddress<2>{2, 1}, {2, 2}, {2, 11}, {2, 14}, {2, 13}}) {
        const bool isNeighbor =
            kept.path == 1 || kept.path == 2 || kept.path == 13 || kept.path == 14;
        EXPECT_EQ(Contains(balanced, kept), isNeighbor) << kept.path;
    }
}

TEST(AddressSweepLosses, CellBesideACellOfItsLevelStays)
{
    // (2, 0), the parent of (3, 0), and (2, 1) are face neighbors: each brings the other back.
    const auto balanced = BalanceAddresses<2>({{2, 1}, {3, 0}}, true);
    EXPECT_TRUE(Contains(balanced, {2, 0}));
    EXPECT_TRUE(Contains(balanced, {2, 1}));
    EXPECT_TRUE(Contains(balanced, {3, 0}));
}

TEST(AddressSweepLosses, CompletingWithBalanceLeavesGapsInASparseTree)
{
    // (2, 0) has lost its parent to that parent's neighbors and stays without siblings.
    const auto one = CompleteTree<2>({{2, 0}}, true, true);
    EXPECT_EQ(one, (std::vector<QOFAddress<2>>{{0, 0}, {1, 0}, {1, 1}, {1, 2}, {1, 3}, {2, 0}}));
    EXPECT_FALSE(Contains(CompleteTree<2>({{3, 0}}, true, true), {2, 0}));
    EXPECT_FALSE(Contains(CompleteTree<2>({{2, 15}, {3, 0}}, true, true), {2, 15}));
}

TYPED_TEST(AddressSweep, FullDepthAndBeyondAreLeftOut)
{
    constexpr int D = TypeParam::D;
    constexpr unsigned int kFull = TypeParam::kFullDepth;
    for (int mode = 0; mode < kModes; ++mode) {
        EXPECT_TRUE(Support::Swept<D>({{kFull, 0}, {kFull + 1, 1}, {~0U, 2}}, mode).empty());
        EXPECT_EQ(Support::Swept<D>({{kFull, 0}, {3, 1}}, mode), Support::Swept<D>({{3, 1}}, mode));
    }
    EXPECT_EQ(CompleteTree<D>({{kFull - 1, 0}}, false, false).size(), std::size_t{kFull});
}

TYPED_TEST(AddressSweep, UnsortedInputWithRepeatsGivesTheSame)
{
    constexpr int D = TypeParam::D;
    Support::Random random(5);
    auto list = Support::RandomAddresses<D>(random, 300, {}, 1, 6);
    auto shuffled = list;
    shuffled.insert(shuffled.end(), list.begin(), list.end());
    std::reverse(shuffled.begin(), shuffled.end());
    for (int mode = 0; mode < kModes; ++mode) {
        EXPECT_EQ(Support::Swept<D>(shuffled, mode), Support::Swept<D>(list, mode));
    }
}

TYPED_TEST(AddressSweep, PathsBesideTheRootTakePartLikeAnyOther)
{
    // (0, 5) is no cell, yet it is not null either: it has children, and no neighbors.
    constexpr int D = TypeParam::D;
    const unsigned long long child = 5U << D;
    for (const typename TypeParam::List& list : {typename TypeParam::List{{0, 5}},
                                                 {{0, 5}, {0, 0}},
                                                 {{0, 5}, {1, child}},
                                                 {{0, 5}, {2, 1}}}) {
        for (int mode = 0; mode < kModes; ++mode) {
            EXPECT_EQ(Support::Swept<D>(list, mode), Support::SweptLevels<D>(list, mode)) << mode;
        }
    }
    EXPECT_EQ(CompleteTree<D>({{0, 5}}, true, true), (typename TypeParam::List{{0, 5}}));
}

TYPED_TEST(AddressSweep, PathsOfNoCellDoNoHarm)
{
    constexpr int D = TypeParam::D;
    Support::Random random(6);
    typename TypeParam::List list;
    for (int i = 0; i < 500; ++i) {
        list.push_back({static_cast<unsigned int>(random.Below(40)), random.Bits()});
    }
    for (int mode = 0; mode < kModes; ++mode) {
        EXPECT_TRUE(IsSortedUnique(Support::Swept<D>(list, mode)));
    }
}

} // namespace
