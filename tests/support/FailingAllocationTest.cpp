// The operators that fail on purpose: the k-th allocation and no other, of this thread alone.

#include "tests/support/FailingAllocation.h"

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Support::FailEachAllocation;
using Support::FailingAllocation;

struct alignas(256) Aligned {
    char byte = 0;
};

/// Lets the address out, as far as the compiler can tell: it may leave out an allocation whose
/// memory nobody else sees.
template <class Pointer>
Pointer Seen(Pointer pointer)
{
    asm volatile("" : : "r"(pointer.get()) : "memory");
    return pointer;
}

TEST(FailingAllocation, RefusesTheToldOneAndNoOther)
{
    const FailingAllocation failure(3);
    const auto first = Seen(std::make_unique<int>(1));
    const auto second = Seen(std::make_unique<int>(2));
    EXPECT_FALSE(failure.HasFailed());
    EXPECT_THROW(Seen(std::make_unique<int>(3)), std::bad_alloc);
    EXPECT_TRUE(failure.HasFailed());
    const auto fourth = Seen(std::make_unique<int>(4));
    EXPECT_EQ(*first + *second + *fourth, 7);
}

TEST(FailingAllocation, CoversEveryFormOfNew)
{
    {
        const FailingAllocation failure(1);
        EXPECT_THROW(Seen(std::make_unique<Aligned>()), std::bad_alloc);
    }
    {
        const FailingAllocation failure(1);
        EXPECT_THROW(Seen(std::make_unique<Aligned[]>(3)), std::bad_alloc);
    }
    {
        const FailingAllocation failure(1);
        const auto refused = Seen(std::unique_ptr<int>(new (std::nothrow) int(1)));
        EXPECT_EQ(refused, nullptr);
        EXPECT_TRUE(failure.HasFailed());
    }
    const auto aligned = Seen(std::make_unique<Aligned[]>(3));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned.get()) % 256, 0U);
}

TEST(FailingAllocation, LeavesOtherThreadsAlone)
{
    bool isDone = false;
    std::thread other;
    other = std::thread([&isDone] {
        std::vector<std::string> words(100, std::string(100, 'x'));
        isDone = words.size() == 100;
    });
    const FailingAllocation failure(1);
    other.join();
    EXPECT_TRUE(isDone);
    EXPECT_FALSE(failure.HasFailed());
}

TEST(FailingAllocation, EndsWithItsObject)
{
    {
        const FailingAllocation failure(1);
    }
    const std::size_t before = Support::AllocationCount();
    const auto number = Seen(std::make_unique<int>(5));
    EXPECT_EQ(Support::AllocationCount(), before + 1);
    EXPECT_EQ(*number, 5);
}

TEST(FailingAllocation, EachAllocationOfACallFailsOnce)
{
    int checks = 0;
    const std::size_t failures = FailEachAllocation(
        [] { return std::vector<std::unique_ptr<int>>(); },
        [](std::vector<std::unique_ptr<int>>& numbers) {
            numbers.reserve(3);
            for (int i = 0; i < 3; ++i) {
                numbers.push_back(Seen(std::make_unique<int>(i)));
            }
        },
        [&checks](const std::vector<std::unique_ptr<int>>& numbers) {
            EXPECT_EQ(numbers.size(), static_cast<std::size_t>(checks == 0 ? 0 : checks - 1));
            ++checks;
        });
    EXPECT_EQ(failures, 4U);
    EXPECT_EQ(checks, 4);
}

} // namespace
