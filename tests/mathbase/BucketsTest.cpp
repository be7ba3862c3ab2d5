// Counting sort into buckets, against one list for each bucket.

#include "mathbase/Buckets_Impl.h"

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

using Velk::Math::Impl::Buckets;
using Velk::Math::Impl::NumbersInBuckets;

TEST(Buckets, EmptyOnes)
{
    const Buckets<int> none;
    EXPECT_EQ(none.BucketCount(), 0U);
    EXPECT_TRUE(none.Items().empty());
    const Buckets<int> zero(0, [](const auto&) {});
    EXPECT_EQ(zero.BucketCount(), 0U);
    EXPECT_EQ(zero.Offsets().size(), 1U);
    const Buckets<int> three(3, [](const auto&) {});
    EXPECT_EQ(three.BucketCount(), 3U);
    for (std::size_t b = 0; b < 3; ++b) {
        EXPECT_TRUE(three[b].empty());
    }
}

TEST(Buckets, KeepTheOrderInWhichItemsAreDealt)
{
    Support::Random random(1);
    for (int trial = 0; trial < 200; ++trial) {
        const int bucketCount = 1 + random.Below(20);
        const int itemCount = random.Below(100);
        std::vector<std::vector<std::string>> lists(static_cast<std::size_t>(bucketCount));
        std::vector<int> bucketOf;
        for (int i = 0; i < itemCount; ++i) {
            bucketOf.push_back(random.Below(bucketCount));
            lists[static_cast<std::size_t>(bucketOf.back())].push_back(std::to_string(i));
        }
        const auto count = static_cast<std::size_t>(bucketCount);
        const Buckets<std::string, int> buckets(count, [&](const auto& put) {
            for (int i = 0; i < itemCount; ++i) {
                put(bucketOf[static_cast<std::size_t>(i)], std::to_string(i));
            }
        });
        const auto numbers =
            NumbersInBuckets(count, bucketOf.size(), [&](std::size_t i) { return bucketOf[i]; });
        ASSERT_EQ(buckets.BucketCount(), count);
        ASSERT_EQ(buckets.Offsets().front(), 0);
        ASSERT_EQ(buckets.Offsets().back(), itemCount);
        for (int b = 0; b < bucketCount; ++b) {
            const std::vector<std::string>& list = lists[static_cast<std::size_t>(b)];
            ASSERT_TRUE(std::ranges::equal(buckets[b], list));
            ASSERT_TRUE(std::ranges::equal(numbers[b], list, {},
                                           [](int number) { return std::to_string(number); }));
        }
    }
}

TEST(Buckets, ItemsMayBeChangedInPlace)
{
    Buckets<int> buckets(2, [](const auto& put) {
        put(1, 5);
        put(0, 4);
        put(1, 3);
    });
    std::ranges::sort(buckets[1]);
    EXPECT_EQ(buckets.Items(), (std::vector<int>{4, 3, 5}));
    EXPECT_EQ(buckets.Offsets(), (std::vector<std::size_t>{0, 1, 3}));
}

TEST(Buckets, KeepIfLeavesTheOthersInOrder)
{
    Support::Random random(2);
    for (int trial = 0; trial < 50; ++trial) {
        std::vector<std::vector<std::string>> lists(6);
        Buckets<std::string, int> buckets(6, [&](const auto& put) {
            Support::Random same(static_cast<std::uint64_t>(trial));
            for (auto& list : lists) {
                list.clear();
            }
            for (int i = 0; i < 40; ++i) {
                const int bucket = same.Below(6);
                lists[static_cast<std::size_t>(bucket)].push_back(std::to_string(same.Below(5)));
                put(bucket, std::string(lists[static_cast<std::size_t>(bucket)].back()));
            }
        });
        const int dropped = random.Below(6);
        const auto keep = [&](std::size_t bucket, const std::string& item) {
            return item != "3" && static_cast<int>(bucket) != dropped;
        };
        buckets.KeepIf(keep);
        for (std::size_t b = 0; b < 6; ++b) {
            std::erase_if(lists[b], [&](const std::string& item) { return !keep(b, item); });
            ASSERT_TRUE(std::ranges::equal(buckets[b], lists[b]));
        }
        ASSERT_EQ(static_cast<std::size_t>(buckets.Offsets().back()), buckets.Items().size());
    }
}
