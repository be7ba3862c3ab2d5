// The parallel sort: the one stable order, at every size where its structure changes, for any
// number of threads.

#include "mathbase/Parallel_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Velk::Parallel::Impl::ParallelSort;

struct Item {
    int key = 0;
    int order = 0;
    friend bool operator==(const Item&, const Item&) = default;
};

bool KeyLess(const Item& a, const Item& b) { return a.key < b.key; }

std::vector<Item> RandomItems(int count, int keys, std::uint64_t seed)
{
    Support::Random random(seed);
    std::vector<Item> items;
    for (int i = 0; i < count; ++i) {
        items.push_back({random.Below(keys), i});
    }
    return items;
}

// Chunks are of 2048, groups grow with the count up to 65536, merges are cut at 16384.
const int kSizes[] = {0,      1,       2,       3,       2047,    2048,   2049,   4095,
                      4096,   4097,    6143,    16'384,  16'385,  65'535, 65'536, 65'537,
                      65'600, 100'000, 131'073, 300'000, 524'289, 700'001};

TEST(ParallelSort, EqualElementsKeepTheirOrderAtEverySize)
{
    for (const int count : kSizes) {
        if (count > Support::FullOr(1'000'000, 65'537)) {
            continue; // of the same path as those that are left
        }
        for (const int keys : {1, 7, 1000, 1 << 30}) {
            std::vector<Item> items = RandomItems(count, keys, 3);
            std::vector<Item> expected = items;
            std::stable_sort(expected.begin(), expected.end(), KeyLess);
            ParallelSort(items.begin(), items.end(), KeyLess);
            ASSERT_TRUE(items == expected) << count << " items, " << keys << " keys";
        }
    }
}

TEST(ParallelSort, OrderedReversedAndConstantInput)
{
    for (const int count : {2049, 70'000}) {
        std::vector<int> ascending(static_cast<std::size_t>(count));
        std::iota(ascending.begin(), ascending.end(), -1000);
        std::vector<int> values = ascending;
        ParallelSort(values.begin(), values.end(), std::less<>{});
        EXPECT_TRUE(values == ascending);
        std::reverse(values.begin(), values.end());
        ParallelSort(values.begin(), values.end(), std::less<>{});
        EXPECT_TRUE(values == ascending);
        std::vector<int> equal(static_cast<std::size_t>(count), 5);
        ParallelSort(equal.begin(), equal.end(), std::less<>{});
        EXPECT_EQ(std::count(equal.begin(), equal.end(), 5), count);
    }
}

TEST(ParallelSort, SameOrderForAnyNumberOfThreads)
{
    const std::vector<Item> items = RandomItems(Support::FullOr(300'000, 100'000), 500, 4);
    std::vector<Item> expected = items;
    std::stable_sort(expected.begin(), expected.end(), KeyLess);
    for (const int threads : {1, 2, 4}) {
        std::vector<Item> sorted = items;
        Support::WithThreads(threads, [&] { ParallelSort(sorted.begin(), sorted.end(), KeyLess); });
        EXPECT_TRUE(sorted == expected) << threads << " threads";
    }
}

TEST(ParallelSort, UpTo2048ElementsOrWithOneThreadTheCallerSorts)
{
    const auto comparedElsewhere = [](int count) {
        std::vector<Item> items = RandomItems(count, 1 << 30, 9);
        std::atomic<int> elsewhere{0};
        const auto caller = std::this_thread::get_id();
        ParallelSort(items.begin(), items.end(), [&](const Item& a, const Item& b) {
            elsewhere += std::this_thread::get_id() == caller ? 0 : 1;
            return KeyLess(a, b);
        });
        return elsewhere.load();
    };
    Support::WithThreads(4, [&] {
        for (int repetition = 0; repetition < 100; ++repetition) {
            EXPECT_EQ(comparedElsewhere(2048), 0);
        }
    });
    if (Support::CanLimitThreads()) {
        Support::WithThreads(1, [&] { EXPECT_EQ(comparedElsewhere(100'000), 0); });
    }
}

TEST(ParallelSort, MovesElementsThatOwnMemory)
{
    Support::Random random(5);
    std::vector<std::string> texts;
    for (int i = 0; i < 40'000; ++i) {
        // Long enough for the heap; a text that is moved from is empty and would sort first.
        texts.push_back("a text of more than sixteen bytes " + std::to_string(random.Below(5000)));
    }
    std::vector<std::string> expected = texts;
    std::stable_sort(expected.begin(), expected.end());
    // By value: a comparison may take its arguments as it likes.
    ParallelSort(texts.begin(), texts.end(), [](std::string a, std::string b) { return a < b; });
    EXPECT_TRUE(texts == expected);
}

TEST(ParallelSort, AnyRandomAccessRange)
{
    std::deque<int> values;
    Support::Random random(6);
    for (int i = 0; i < 20'000; ++i) {
        values.push_back(random.Below(1 << 20));
    }
    ParallelSort(values.begin() + 100, values.end() - 100, std::greater<>{});
    EXPECT_TRUE(std::is_sorted(values.begin() + 100, values.end() - 100, std::greater<>{}));

    std::vector<double> plain(5000);
    std::generate(plain.begin(), plain.end(), [&] { return random.Unit(); });
    ParallelSort(plain.data(), plain.data() + plain.size(), std::less<>{});
    EXPECT_TRUE(std::is_sorted(plain.begin(), plain.end()));
}

TEST(ParallelSort, ExceptionsOfTheComparisonPassThrough)
{
    // The last one fails in a merge: sorting the chunks takes some 11 comparisons an element.
    for (const auto& [count, allowed] :
         {std::pair(100, 50), {2049, 50}, {200'000, 50}, {200'000, 12 * 200'000}}) {
        std::vector<Item> items = RandomItems(count, 1 << 30, 7);
        std::atomic<int> calls{0};
        const auto compare = [&calls, limit = allowed](const Item& a, const Item& b) {
            if (++calls > limit) {
                throw std::runtime_error("comparison");
            }
            return KeyLess(a, b);
        };
        EXPECT_THROW(ParallelSort(items.begin(), items.end(), compare), std::runtime_error)
            << count << " items, " << allowed << " calls";
    }
}

TEST(ParallelSort, ComparesAboutAsOftenAsAMergeSortDoes)
{
    constexpr int kCount = 1 << 18;
    for (const int keys : {1, 1 << 30}) {
        std::vector<Item> items = RandomItems(kCount, keys, 8);
        std::atomic<std::int64_t> calls{0};
        ParallelSort(items.begin(), items.end(), [&](const Item& a, const Item& b) {
            calls.fetch_add(1, std::memory_order_relaxed);
            return KeyLess(a, b);
        });
        // n log2 n, and a fifth more for insertion sorts at the bottom and for cutting the merges.
        EXPECT_LT(calls.load(), std::int64_t{kCount} * 18 * 6 / 5);
    }
}

} // namespace
