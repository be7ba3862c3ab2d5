// Progress scopes: who is asked, how often, and how a stop comes out of loops and threads.

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <Velk/Progress_E.h>

#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Velk::ProgressScope;
using Velk::Progress::Impl::Check;
using Velk::Progress::Impl::Phase;
using Velk::Progress::Impl::Stoppable;
using namespace std::chrono_literals;

/// An operation of `steps` checked steps; -1 when stopped.
int Work(int steps)
{
    return Stoppable(
        [&] {
            for (int i = 0; i < steps; ++i) {
                Check(static_cast<double>(i) / steps);
            }
            return steps;
        },
        [] { return -1; });
}

TEST(ProgressScope, WithoutOneNothingIsAsked)
{
    EXPECT_EQ(Work(5), 5);
    Check(); // outside of an operation as well
}

TEST(ProgressScope, HearsEachCheckWithoutAnInterval)
{
    std::vector<double> heard;
    ProgressScope scope(
        [&](double fraction) {
            heard.push_back(fraction);
            return true;
        },
        0ms);
    EXPECT_EQ(Work(4), 4);
    EXPECT_EQ(heard, (std::vector<double>{0, 0.25, 0.5, 0.75}));
    Check(0.9); // no operation is under way
    EXPECT_EQ(heard.size(), 4U);
    EXPECT_EQ(Work(2), 2); // begins anew
    EXPECT_EQ(heard, (std::vector<double>{0, 0.25, 0.5, 0.75, 0, 0.5}));
    EXPECT_FALSE(scope.WasStopped());
}

TEST(ProgressScope, ShortOperationsAreNotReported)
{
    int heard = 0;
    ProgressScope scope([&](double) { return ++heard > 0; }, 1h);
    EXPECT_EQ(Work(100000), 100000);
    EXPECT_EQ(heard, 0);
}

TEST(ProgressScope, AnyIntervalWillDo)
{
    int heard = 0;
    {
        ProgressScope never([&](double) { return ++heard > 0; }, std::chrono::milliseconds::max());
        EXPECT_EQ(Work(10), 10);
    }
    EXPECT_EQ(heard, 0);
    ProgressScope always([&](double) { return ++heard > 0; }, std::chrono::milliseconds::min());
    EXPECT_EQ(Work(10), 10);
    EXPECT_EQ(heard, 10);
}

TEST(ProgressScope, StopGivesTheNeutralResultAndStays)
{
    int heard = 0;
    ProgressScope scope([&](double) { return ++heard < 3; }, 0ms);
    EXPECT_EQ(Work(10), -1);
    EXPECT_EQ(heard, 3);
    EXPECT_TRUE(scope.WasStopped());
    EXPECT_EQ(Work(10), -1); // at once
    EXPECT_EQ(heard, 3);
    {
        ProgressScope inner([](double) { return true; }, 0ms);
        EXPECT_EQ(Work(10), 10); // another scope, another will
    }
    EXPECT_EQ(Work(10), -1);
}

TEST(ProgressScope, InnerOneHearsAndOuterOneReturns)
{
    int outerHeard = 0;
    int innerHeard = 0;
    ProgressScope outer([&](double) { return ++outerHeard > 0; }, 0ms);
    {
        ProgressScope inner([&](double) { return ++innerHeard > 0; }, 0ms);
        Work(3);
    }
    EXPECT_EQ(innerHeard, 3);
    EXPECT_EQ(outerHeard, 0);
    {
        ProgressScope deaf(nullptr, 0ms);
        EXPECT_EQ(Work(3), 3);
        EXPECT_FALSE(deaf.WasStopped());
    }
    EXPECT_EQ(outerHeard, 0);
    Work(2);
    EXPECT_EQ(outerHeard, 2);
}

TEST(ProgressScope, PhasesDivideTheFractionWhichNeverFalls)
{
    std::vector<double> heard;
    ProgressScope scope(
        [&](double fraction) {
            heard.push_back(fraction);
            return true;
        },
        0ms);
    Stoppable(
        [&] {
            {
                const Phase first(0, 0.5);
                Check(0.5);
                {
                    const Phase nested(0.5, 1);
                    Check(0.5);
                }
                Check(0.25); // lower than before
            }
            const Phase second(0.5, 1);
            Check(0);
            Check(2);  // no more than all of it
            Check(-3); // no less than nothing
            return 0;
        },
        [] { return 0; });
    EXPECT_EQ(heard, (std::vector<double>{0.25, 0.375, 0.375, 0.5, 1, 1}));
}

TEST(ProgressScope, NestedOperationIsPartOfTheOuterOne)
{
    int heard = 0;
    ProgressScope scope([&](double) { return ++heard < 4; }, 0ms);
    bool wentOn = false;
    const int result = Stoppable(
        [&] {
            Work(2);
            Work(8); // stopped here: what it would give must not be taken for a result
            wentOn = true;
            return 1;
        },
        [] { return -7; });
    EXPECT_EQ(result, -7);
    EXPECT_FALSE(wentOn);
}

TEST(ProgressScope, NestedOperationReportsWithinAPhaseOnly)
{
    std::vector<double> heard;
    ProgressScope scope(
        [&](double fraction) {
            heard.push_back(fraction);
            return true;
        },
        0ms);
    Stoppable(
        [&] {
            Check(0.125);
            Work(2); // its 0 and 0.5 are not those of the whole
            {
                const Phase own(0.25, 0.5);
                Work(1);
                Check(0);
            }
            {
                const Velk::Progress::Impl::PhaseOfCall phase(0.5, 1);
                Work(2);
                Stoppable([] {
                    Work(2); // nobody has told how much of its caller it is
                    return 0;
                });
            }
            return 0;
        },
        [] { return 0; });
    EXPECT_EQ(heard, (std::vector<double>{0.125, 0.125, 0.125, 0.25, 0.25, 0.5, 0.75, 0.75, 0.75}));
}

TEST(ProgressScope, NeutralResultIsMadeWhenTheOperationIsOver)
{
    ProgressScope scope([](double) { return false; }, 0ms);
    const int result = Stoppable(
        [] {
            Check();
            return 1;
        },
        [] {
            Check(); // would fly to the host
            return Work(3);
        });
    EXPECT_EQ(result, -1);
}

TEST(ProgressScope, ReportMayCallOperationsAndThrow)
{
    int heard = 0;
    ProgressScope scope(
        [&](double) -> bool {
            ++heard;
            EXPECT_EQ(Work(50), 50); // not watched: no report within a report
            if (heard == 2) {
                throw std::runtime_error("from the host");
            }
            return true;
        },
        0ms);
    EXPECT_THROW(Work(10), std::runtime_error);
    EXPECT_EQ(heard, 2);
    EXPECT_FALSE(scope.WasStopped());
    EXPECT_EQ(Work(1), 1); // the operation that threw is over
    EXPECT_EQ(heard, 3);
}

TEST(ProgressScope, ServesItsOwnThreadOnly)
{
    std::atomic<int> heard = 0;
    ProgressScope scope([&](double) { return ++heard < 0; }, 0ms);
    int elsewhere = 0;
    std::thread([&] { elsewhere = Work(20); }).join();
    EXPECT_EQ(elsewhere, 20);
    EXPECT_EQ(heard, 0);
}

int ParallelWork(int items, std::atomic<int>& done)
{
    return Stoppable(
        [&] {
            Velk::Parallel::Impl::ApplyParallel(0, items, [&](int) {
                ++done;
                Check(); // in a body: on the thread of the scope alone it is heard
            });
            return items;
        },
        [] { return -1; });
}

TEST(ProgressScope, ParallelLoopsReportOnTheCallersThread)
{
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            const auto caller = std::this_thread::get_id();
            int heard = 0;
            ProgressScope scope(
                [&](double) {
                    EXPECT_EQ(std::this_thread::get_id(), caller);
                    return ++heard > 0;
                },
                0ms);
            std::atomic<int> done = 0;
            EXPECT_EQ(ParallelWork(5000, done), 5000);
            EXPECT_EQ(done, 5000);
            EXPECT_GT(heard, 0);
        });
    }
}

TEST(ProgressScope, ParallelLoopsStop)
{
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            int heard = 0;
            ProgressScope scope([&](double) { return ++heard < 10; }, 0ms);
            std::atomic<int> done = 0;
            EXPECT_EQ(ParallelWork(2000000000, done), -1); // would run for minutes
            EXPECT_EQ(heard, 10);
            EXPECT_TRUE(scope.WasStopped());
        });
    }
}

TEST(ProgressScope, IsAskedWhileItsThreadWaitsForOthers)
{
    constexpr int kMost = 100000000; // instead of waiting for ever
    Support::WithThreads(2, [&] {
        const auto caller = std::this_thread::get_id();
        std::atomic<bool> hasOtherBegun = false;
        std::atomic<bool> isCallerThrough = false;
        std::atomic<bool> isHeard = false;
        ProgressScope scope(
            [&](double) {
                isHeard = isHeard || isCallerThrough;
                return !isHeard;
            },
            0ms);
        bool isOtherThrough = false;
        const int result = Stoppable(
            [&] {
                Velk::Parallel::Impl::ApplyParallel(0, 2, [&](int) {
                    if (std::this_thread::get_id() == caller) {
                        for (int i = 0; i < kMost / 100 && !hasOtherBegun; ++i) {
                            std::this_thread::yield();
                        }
                        isCallerThrough = hasOtherBegun.load();
                    } else {
                        hasOtherBegun = true;
                        for (int i = 0; i < kMost; ++i) {
                            Check();
                        }
                        isOtherThrough = true;
                    }
                });
                return 1;
            },
            [] { return -1; });
        if (!hasOtherBegun) {
            GTEST_SKIP() << "no other thread had time for it";
        }
        EXPECT_TRUE(isHeard);
        EXPECT_FALSE(isOtherThrough);
        EXPECT_EQ(result, -1);
    });
}

TEST(ProgressScope, WhatAReportThrowsEndsTheLoopForAll)
{
    constexpr int kItems = 2000000000; // would run for minutes
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            const auto caller = std::this_thread::get_id();
            std::atomic<bool> hasOtherBegun = false;
            int heard = 0;
            ProgressScope scope(
                [&](double) -> bool {
                    if (++heard > 10 && (hasOtherBegun || heard > 1000000)) {
                        throw std::runtime_error("from the host");
                    }
                    return true;
                },
                0ms);
            const auto call = [&] {
                Stoppable([&] {
                    Velk::Parallel::Impl::ApplyParallel(0, kItems, [&](int) {
                        hasOtherBegun = hasOtherBegun || std::this_thread::get_id() != caller;
                    });
                    return 0;
                });
            };
            EXPECT_THROW(call(), std::runtime_error);
            EXPECT_FALSE(scope.WasStopped());
            heard = -1000000;
            EXPECT_EQ(Work(10), 10);
        });
    }
}

TEST(ProgressScope, NestedLoopsAreWholeOrStop)
{
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            const auto run = [](int stopAt) {
                int heard = 0;
                ProgressScope scope([&](double) { return ++heard != stopAt; }, 0ms);
                std::atomic<int> done = 0;
                Stoppable([&] {
                    Velk::Parallel::Impl::ApplyParallel(0, 20, [&](int) {
                        Velk::Parallel::Impl::ApplyParallel(0, 20, [&](int) {
                            Velk::Parallel::Impl::ApplyParallel(0, 20, [&](int) { ++done; });
                        });
                    });
                    return 0;
                });
                EXPECT_TRUE(scope.WasStopped() || done == 8000);
            };
            for (const int stopAt : {-1, 1, 2, 10, 100, 1000}) {
                run(stopAt);
            }
        });
    }
}

TEST(ProgressScope, LoopsOutsideOfOperationsAreWholeAfterAStop)
{
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            ProgressScope scope([](double) { return false; }, 0ms);
            Work(1);
            ASSERT_TRUE(scope.WasStopped());
            std::vector<int> calls(20000, 0);
            Velk::Parallel::Impl::ApplyParallel(0, 20000, [&](int i) {
                ++calls[static_cast<std::size_t>(i)];
                Check();
            });
            EXPECT_EQ(std::count(calls.begin(), calls.end(), 1), 20000);
        });
    }
}

TEST(ProgressScope, ThreadsThatHelpStopWithinTheirPieces)
{
    constexpr int kMost = 200000000;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] {
            int heard = 0;
            ProgressScope scope([&](double) { return ++heard < 1000; }, 0ms);
            std::atomic<bool> isAnyWhole = false;
            const int result = Stoppable(
                [&] {
                    Velk::Parallel::Impl::ApplyParallel(0, 4, [&](int) {
                        for (int i = 0; i < kMost; ++i) {
                            Check();
                        }
                        isAnyWhole = true;
                    });
                    return 1;
                },
                [] { return -1; });
            EXPECT_EQ(result, -1);
            EXPECT_FALSE(isAnyWhole);
        });
    }
}

TEST(ProgressScope, StopOfOneThreadLeavesTheLoopsOfOthersAlone)
{
    // A thread that waits for its loop may work on pieces of the other's.
    std::atomic<bool> isOver = false;
    std::thread other([&] {
        while (!isOver) {
            std::atomic<int> done = 0;
            EXPECT_EQ(ParallelWork(3000, done), 3000);
            EXPECT_EQ(done, 3000);
        }
    });
    for (int run = 0; run < 200; ++run) {
        int heard = 0;
        ProgressScope scope([&](double) { return ++heard < 5; }, 0ms);
        std::atomic<int> done = 0;
        EXPECT_EQ(ParallelWork(100000, done), -1);
    }
    isOver = true;
    other.join();
}

TEST(ProgressScope, WhatABodyThrowsEndsTheLoopForAll)
{
    constexpr int kItems = 200000000;
    for (const int threads : {2, 4}) {
        Support::WithThreads(threads, [&] {
            const auto caller = std::this_thread::get_id();
            ProgressScope scope([](double) { return true; }, 1h);
            std::atomic<bool> hasOtherBegun = false;
            std::atomic<bool> isLastReached = false;
            int own = 0;
            const auto call = [&] {
                Stoppable([&] {
                    Velk::Parallel::Impl::ApplyParallel(0, kItems, [&](int i) {
                        if (i == kItems - 1) {
                            isLastReached = true;
                        }
                        if (std::this_thread::get_id() != caller) {
                            hasOtherBegun = true;
                        } else if (hasOtherBegun || ++own > 1000000) {
                            throw std::bad_alloc();
                        } else {
                            std::this_thread::yield();
                        }
                    });
                    return 0;
                });
            };
            EXPECT_THROW(call(), std::bad_alloc);
            EXPECT_FALSE(isLastReached);
            EXPECT_FALSE(scope.WasStopped());
            EXPECT_EQ(Work(10), 10);
        });
    }
}

TEST(ProgressScope, EmptyAndInvertedLoopsCallNothing)
{
    int calls = 0;
    const auto count = [](void* context, std::int64_t, std::int64_t) {
        ++*static_cast<int*>(context);
    };
    ProgressScope scope([](double) { return true; }, 0ms);
    Stoppable([&] {
        Velk::Parallel::Impl::RunChunks(3, 3, 1, count, &calls);
        Velk::Parallel::Impl::RunChunks(3, -3, 1, count, &calls);
        return 0;
    });
    EXPECT_EQ(calls, 0);
}

TEST(ProgressScope, SortOfOneThreadIsAsked)
{
    for (const int threads : {1, 2}) {
        Support::WithThreads(threads, [&] {
            std::vector<int> numbers(100000);
            for (std::size_t i = 0; i < numbers.size(); ++i) {
                numbers[i] = static_cast<int>(i * 7919 % numbers.size());
            }
            ProgressScope scope([](double) { return false; }, 0ms);
            const int result = Stoppable(
                [&] {
                    Velk::Parallel::Impl::ParallelSort(numbers.begin(), numbers.end(),
                                                       std::less<>{});
                    return 1;
                },
                [] { return -1; });
            EXPECT_EQ(result, -1);
        });
    }
}

} // namespace
