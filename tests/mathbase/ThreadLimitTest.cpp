// The limit of the number of threads, seen from the loops that it bounds.

#include <Velk/ThreadLimit_E.h>

#include "mathbase/Parallel_Impl.h"

#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace {

using Velk::ThreadLimit;
using Velk::Parallel::Impl::ApplyParallel;

/// The threads that a loop of many items runs on.
std::set<std::thread::id> ThreadsOfALoop()
{
    std::mutex mutex;
    std::set<std::thread::id> threads;
    ApplyParallel(0, 2000, [&](int) {
        const std::lock_guard lock(mutex);
        threads.insert(std::this_thread::get_id());
    });
    return threads;
}

TEST(ThreadLimit, OneThreadIsTheCaller)
{
    const ThreadLimit limit(1);
    EXPECT_EQ(ThreadLimit::Current(), 1);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(ThreadsOfALoop(), std::set{std::this_thread::get_id()});
    }
}

TEST(ThreadLimit, HoldsForCallsOfOtherThreads)
{
    const ThreadLimit limit(1);
    std::thread([] {
        EXPECT_EQ(ThreadLimit::Current(), 1);
        EXPECT_EQ(ThreadsOfALoop(), std::set{std::this_thread::get_id()});
    }).join();
}

TEST(ThreadLimit, TheLowestOneHoldsWhateverTheirOrder)
{
    const int before = ThreadLimit::Current();
    auto two = std::make_unique<ThreadLimit>(2);
    const int ofTwo = ThreadLimit::Current();
    EXPECT_LE(ofTwo, 2);
    auto one = std::make_unique<ThreadLimit>(1);
    {
        const ThreadLimit three(3);
        EXPECT_EQ(ThreadLimit::Current(), 1);
    }
    EXPECT_EQ(ThreadLimit::Current(), 1);
    two.reset(); // the outer one first
    EXPECT_EQ(ThreadLimit::Current(), 1);
    one.reset();
    EXPECT_EQ(ThreadLimit::Current(), before);
}

TEST(ThreadLimit, NumbersBelowOneAndBeyondTheProcessorsChangeNothing)
{
    const int before = ThreadLimit::Current();
    EXPECT_GE(before, 1);
    for (const int threads : {0, -1, -1000, 1000000}) {
        const ThreadLimit limit(threads);
        EXPECT_EQ(ThreadLimit::Current(), before);
        EXPECT_LE(ThreadsOfALoop().size(), static_cast<std::size_t>(before));
    }
}

TEST(ThreadLimit, LeavesAHostTheThreadsThatItAskedForBeyondTheProcessors)
{
    const int processors = ThreadLimit::Current();
    Support::WithThreads(processors + 3, [&] {
        const int before = ThreadLimit::Current();
        if (Support::CanLimitThreads()) {
            ASSERT_EQ(before, processors + 3);
        }
        for (const int threads : {1000000, processors + 4, 0}) {
            const ThreadLimit limit(threads);
            EXPECT_EQ(ThreadLimit::Current(), before) << threads;
        }
        const ThreadLimit one(1);
        const ThreadLimit more(1000000);
        EXPECT_EQ(ThreadLimit::Current(), 1);
    });
    EXPECT_EQ(ThreadLimit::Current(), processors);
}

TEST(ThreadLimit, ComesAndGoesOnManyThreadsAtOnce)
{
    const int before = ThreadLimit::Current();
    std::vector<std::thread> threads;
    std::atomic<int> sum{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&sum, i] {
            for (int round = 0; round < 50; ++round) {
                const ThreadLimit limit(1 + (i + round) % 3);
                EXPECT_LE(ThreadLimit::Current(), 3);
                ApplyParallel(0, 20, [&sum](int) { ++sum; });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sum, 8 * 50 * 20);
    EXPECT_EQ(ThreadLimit::Current(), before);
}

} // namespace
