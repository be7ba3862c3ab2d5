// The parallel loop: every index once, on the caller where that is promised, exceptions handed on.

#include "mathbase/Parallel_Impl.h"

#include "tests/support/TestSupport.h"

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

using Velk::Parallel::Impl::ApplyInvoke;
using Velk::Parallel::Impl::ApplyParallel;
using Velk::Parallel::Impl::ApplyParallelChunks;

TEST(ApplyParallel, CallsEveryIndexOnce)
{
    for (const int count : {0, 1, 2, 3, 511, 512, 513, 100'000}) {
        std::vector<std::atomic<int>> calls(static_cast<std::size_t>(count));
        ApplyParallel(0, count, [&](int i) { ++calls[static_cast<std::size_t>(i)]; });
        for (const auto& c : calls) {
            ASSERT_EQ(c, 1) << "of " << count;
        }
    }
}

TEST(ApplyParallel, EmptyAndInvertedRangesCallNothing)
{
    int calls = 0;
    ApplyParallel(3, 3, [&](int) { ++calls; });
    ApplyParallel(3, -3, [&](int) { ++calls; });
    ApplyParallelChunks(3, 3, [&](int, int) { ++calls; });
    ApplyParallelChunks(3, -3, [&](int, int) { ++calls; });
    EXPECT_EQ(calls, 0);
}

TEST(ApplyParallel, RangeNeedNotBeginAtZero)
{
    std::atomic<long long> sum{0};
    ApplyParallel(-10LL, 11LL, [&](long long i) { sum += i * i; });
    EXPECT_EQ(sum, 770); // 2 * (1 + 4 + ... + 100)
}

TEST(ApplyParallel, OneItemRunsOnTheCaller)
{
    std::thread::id runner;
    ApplyParallel(7, 8, [&](int) { runner = std::this_thread::get_id(); });
    EXPECT_EQ(runner, std::this_thread::get_id());
}

TEST(ApplyParallel, ExceptionReachesTheCaller)
{
    EXPECT_THROW(ApplyParallel(0, 1000,
                               [](int i) {
                                   if (i == 500) {
                                       throw std::runtime_error("body");
                                   }
                               }),
                 std::runtime_error);
    EXPECT_THROW(ApplyParallelChunks(0, 5000,
                                     [](int from, int to) {
                                         if (from <= 3000 && 3000 < to) {
                                             throw std::bad_alloc();
                                         }
                                     }),
                 std::bad_alloc);
}

TEST(ApplyInvoke, CallsEachFunctionOnceAndWaits)
{
    int first = 0;
    long second = 0;
    std::string third;
    ApplyInvoke([&] { ++first; }, [&] { second += 2; }, [&] { third += "three"; });
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(third, "three");
    ApplyInvoke([&] { ++first; });
    EXPECT_EQ(first, 2);
    ApplyInvoke();
}

TEST(ApplyInvoke, MayHoldParallelLoopsAndBeNested)
{
    std::vector<int> squares(5000);
    std::atomic<int> calls{0};
    ApplyInvoke(
        [&] {
            ApplyParallelChunks(0, 5000, [&](int from, int to) {
                for (int i = from; i < to; ++i) {
                    squares[static_cast<std::size_t>(i)] = i * i;
                }
            });
        },
        [&] { ApplyInvoke([&] { ++calls; }, [&] { ++calls; }); });
    EXPECT_EQ(calls, 2);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(squares[static_cast<std::size_t>(i)], i * i);
    }
}

TEST(ApplyInvoke, ExceptionReachesTheCaller)
{
    EXPECT_THROW(ApplyInvoke([] {}, [] { throw std::runtime_error("task"); }), std::runtime_error);
}

TEST(ApplyParallelChunks, FewerThan512RunAsOneChunkOnTheCaller)
{
    std::vector<std::pair<int, int>> chunks;
    std::thread::id runner;
    ApplyParallelChunks(0, 511, [&](int from, int to) {
        chunks.emplace_back(from, to);
        runner = std::this_thread::get_id();
    });
    ASSERT_EQ(chunks.size(), 1U);
    EXPECT_EQ(chunks[0], std::pair(0, 511));
    EXPECT_EQ(runner, std::this_thread::get_id());
}

TEST(ApplyParallelChunks, ChunksBeginAtMultiplesOf512AndCoverTheRange)
{
    for (const int count : {512, 513, 1023, 1024, 1025, 51'200}) {
        std::vector<int> ends(static_cast<std::size_t>(count / 512 + 1), 0);
        ApplyParallelChunks(0, count, [&](int from, int to) {
            EXPECT_EQ(from % 512, 0);
            EXPECT_LT(from, to);
            ends[static_cast<std::size_t>(from / 512)] = to;
        });
        for (int chunk = 0; chunk * 512 < count; ++chunk) {
            EXPECT_EQ(ends[static_cast<std::size_t>(chunk)], std::min(chunk * 512 + 512, count));
        }
        if (count % 512 == 0) {
            EXPECT_EQ(ends.back(), 0); // the empty chunk past an exact multiple is not called
        }
    }
}

} // namespace
