// Disjoint sets, against labels that are rewritten one by one.

#include "mathbase/DisjointSets_Impl.h"

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <vector>

using Velk::Math::Impl::DisjointSets;

TEST(DisjointSets, StartAsSetsOfOne)
{
    DisjointSets none(0);
    EXPECT_EQ(none.Size(), 0U);
    EXPECT_EQ(none.Add(), 0);
    EXPECT_EQ(none.Add(), 1);
    EXPECT_NE(none.Find(0), none.Find(1));
    DisjointSets sets(4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(sets.Find(i), i);
    }
    EXPECT_FALSE(sets.Join(2, 2));
    EXPECT_TRUE(sets.Join(3, 1));
    EXPECT_FALSE(sets.Join(1, 3));
    EXPECT_EQ(sets.Find(3), 1);
    EXPECT_EQ(sets.Add(), 4);
    EXPECT_EQ(sets.Size(), 5U);
}

TEST(DisjointSets, MatchRewrittenLabelsAfterEveryJoin)
{
    Support::Random random(1);
    for (int trial = 0; trial < 50; ++trial) {
        const int count = 1 + random.Below(60);
        DisjointSets sets(static_cast<std::size_t>(count));
        std::vector<int> label(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            label[static_cast<std::size_t>(i)] = i;
        }
        for (int step = 0; step < count; ++step) {
            const int a = random.Below(count);
            const int b = random.Below(count);
            const int la = label[static_cast<std::size_t>(a)];
            const int lb = label[static_cast<std::size_t>(b)];
            ASSERT_EQ(sets.Join(a, b), la != lb);
            std::replace(label.begin(), label.end(), std::max(la, lb), std::min(la, lb));
            for (int i = 0; i < count; ++i) {
                ASSERT_EQ(sets.Find(i), label[static_cast<std::size_t>(i)]);
            }
        }
    }
}

// A chain joined from the far end makes the longest ways; they are walked without recursion.
TEST(DisjointSets, LongChain)
{
    constexpr int kCount = 1'000'000;
    DisjointSets sets(kCount);
    for (int i = kCount - 1; i > 0; --i) {
        ASSERT_TRUE(sets.Join(i, i - 1));
    }
    EXPECT_EQ(sets.Find(kCount - 1), 0);
    EXPECT_EQ(sets.Find(kCount / 2), 0);
}
