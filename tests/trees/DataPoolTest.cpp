// The pool: numbers dealt in order, addresses that never change, first freed first used again.

#include <Sorvane/DataPool_E.h>

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Velk::Math::Sorvane::Bins::DataPool;
using Velk::Math::Sorvane::Tree::QOFStorage;

template <class Pool>
std::vector<int> Values(const Pool& pool)
{
    std::vector<int> values;
    for (const int value : pool) {
        values.push_back(value);
    }
    return values;
}

TEST(DataPool, IsEmptyAtFirst)
{
    DataPool<int> pool;
    EXPECT_EQ(pool.LastIndex(), -1);
    EXPECT_EQ(pool.BlockSize(), 1024U);
    EXPECT_EQ(pool.BlockCount(), 0U);
    EXPECT_EQ(pool.ItemCount(), 0U);
    EXPECT_TRUE(pool.begin() == pool.end());
    EXPECT_EQ(pool.Find(0), nullptr);
    EXPECT_EQ(pool.Find(-1), nullptr);
    EXPECT_FALSE(pool.Remove(0));
}

TEST(DataPool, DealsAscendingNumbersInBlocksOf1024)
{
    DataPool<int> pool;
    for (int i = 0; i < 1025; ++i) {
        EXPECT_EQ(pool.Add(10 * i), i);
        EXPECT_EQ(pool.BlockCount(), i < 1024 ? 1U : 2U);
    }
    EXPECT_EQ(pool.LastIndex(), 1024);
    for (int i = 0; i < 1025; ++i) {
        ASSERT_NE(pool.Find(i), nullptr);
        EXPECT_EQ(*pool.Find(i), 10 * i);
    }
    EXPECT_EQ(pool.Find(1025), nullptr);
    // A block's slots lie side by side: neighbors in one block are one slot apart.
    EXPECT_EQ(reinterpret_cast<char*>(pool.Find(1)) - reinterpret_cast<char*>(pool.Find(0)),
              reinterpret_cast<char*>(pool.Find(1023)) - reinterpret_cast<char*>(pool.Find(1022)));
}

TEST(DataPool, AddressesStayWhileItGrows)
{
    DataPool<std::string> pool;
    ASSERT_TRUE(pool.SetBlockSize(7));
    std::vector<const std::string*> addresses;
    for (int i = 0; i < 1000; ++i) {
        addresses.push_back(pool.Find(pool.Add(std::to_string(i))));
    }
    EXPECT_EQ(pool.BlockCount(), 143U); // 1000 / 7, rounded up
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(pool.Find(i), addresses[static_cast<std::size_t>(i)]);
        EXPECT_EQ(*addresses[static_cast<std::size_t>(i)], std::to_string(i));
    }
}

TEST(DataPool, ReusesNumbersInTheOrderInWhichTheyWereFreed)
{
    DataPool<int> pool;
    for (int i = 0; i < 6; ++i) {
        pool.Add(i);
    }
    const int* const fourth = pool.Find(4);
    EXPECT_TRUE(pool.Remove(4));
    EXPECT_TRUE(pool.Remove(1));
    EXPECT_TRUE(pool.Remove(5));
    EXPECT_EQ(pool.FreeIndices(), (std::deque<std::uint32_t>{4, 1, 5}));
    EXPECT_EQ(pool.LastIndex(), 5); // highest ever used
    EXPECT_EQ(pool.ItemCount(), 3U);
    EXPECT_EQ(pool.Add(40), 4);
    EXPECT_EQ(pool.Find(4), fourth);
    EXPECT_EQ(pool.Add(10), 1);
    EXPECT_EQ(pool.Add(50), 5);
    EXPECT_EQ(pool.Add(60), 6);
    EXPECT_EQ(Values(pool), (std::vector<int>{0, 10, 2, 3, 40, 50, 60}));
}

TEST(DataPool, ANumberIsRemovedOnce)
{
    DataPool<int> pool;
    pool.Add(1);
    EXPECT_TRUE(pool.Remove(0));
    EXPECT_FALSE(pool.Remove(0));
    EXPECT_FALSE(pool.Remove(1));
    EXPECT_FALSE(pool.Remove(-1));
    EXPECT_EQ(pool.FreeIndices().size(), 1U);
    EXPECT_EQ(pool.Find(0), nullptr);
}

TEST(DataPool, IterationStepsOverFreeSlots)
{
    DataPool<int> pool;
    pool.SetBlockSize(4);
    for (int i = 0; i < 10; ++i) {
        pool.Add(i);
    }
    for (const int i : {0, 3, 4, 9}) {
        pool.Remove(i);
    }
    EXPECT_EQ(Values(pool), (std::vector<int>{1, 2, 5, 6, 7, 8}));
    std::vector<int> numbers;
    for (auto i = pool.begin(); i != pool.end(); i++) {
        numbers.push_back(i.Index());
        *i += 100;
    }
    EXPECT_EQ(numbers, (std::vector<int>{1, 2, 5, 6, 7, 8}));
    EXPECT_EQ(*pool.Find(8), 108);
    for (const int i : numbers) {
        pool.Remove(i);
    }
    EXPECT_TRUE(pool.begin() == pool.end());
}

TEST(DataPool, BlockSizeIsSetBeforeTheFirstItemOnly)
{
    DataPool<int> pool;
    EXPECT_FALSE(pool.SetBlockSize(0)); // an empty list's count
    EXPECT_EQ(pool.BlockSize(), 1024U);
    EXPECT_TRUE(pool.SetBlockSize(3));
    for (int i = 0; i < 3; ++i) {
        pool.Add(i);
    }
    EXPECT_EQ(pool.BlockCount(), 1U);
    EXPECT_FALSE(pool.SetBlockSize(100));
    EXPECT_EQ(pool.BlockSize(), 3U);
    pool.Add(3);
    EXPECT_EQ(pool.BlockCount(), 2U);
}

TEST(DataPool, HoldsItemsThatCanOnlyBeMoved)
{
    QOFStorage<std::unique_ptr<int>> pool;
    pool.Add(std::make_unique<int>(5));
    pool.Remove(0);
    EXPECT_TRUE(pool.begin() == pool.end());
    pool.Add(std::make_unique<int>(6));
    EXPECT_EQ(**pool.Find(0), 6);
}

TEST(DataPool, MovingKeepsAddressesAndLeavesAnEmptyPool)
{
    DataPool<int> pool;
    pool.SetBlockSize(2);
    pool.Add(1);
    pool.Add(2);
    pool.Remove(0);
    const int* const second = pool.Find(1);
    DataPool<int> other(std::move(pool));
    EXPECT_EQ(other.Find(1), second);
    EXPECT_EQ(other.Add(7), 0);
    EXPECT_EQ(pool.LastIndex(), -1);
    EXPECT_EQ(pool.Add(3), 0);
    EXPECT_EQ(Values(pool), std::vector<int>{3});
}

} // namespace
