// Memory that runs out on purpose: tests that a call which meets `bad_alloc` leaves things as they
// were.
//
// A test program that links the CMake target `sorvane_failing_allocation` gets a global `operator
// new` (all forms of it) that counts the allocations of each thread and can be told to refuse one
// of them. It serves calls into the shared library as well. Nothing changes for threads that do not
// ask for a failure.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>
#include <type_traits>

namespace Support {

/// Allocations that this thread has asked for since the program began, refused ones included.
std::size_t AllocationCount();

/// While this object lives, the `which`-th allocation that this thread asks for from now on (1: the
/// very next) fails: `std::bad_alloc`, or null from a `nothrow` form. It is the only one that does,
/// so that whoever recovers may allocate. Other threads are left alone: a call that works in many
/// threads is tested with one. One such object at a time.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t which);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// Was the allocation asked for, and refused?
    bool HasFailed() const;
};

/// Fails every allocation of a call, one after the other.
///
/// For k = 1, 2, ...: makes a fresh state by `prepare()`, runs `call(state)` with its k-th
/// allocation failing, and where one was refused runs `check(state, hasThrown)`, which expects what
/// must hold then: `hasThrown` tells whether the call left by `std::bad_alloc` or came to its end
/// without that memory. Ends with the first k that the call does not reach, and returns the number
/// of failures met.
template <class Prepare, class Call, class Check>
std::size_t FailEachAllocationOfEither(const Prepare& prepare, const Call& call, const Check& check)
{
    for (std::size_t k = 1;; ++k) {
        SCOPED_TRACE("allocation " + std::to_string(k) + " of the call fails");
        auto state = prepare();
        bool hasThrown = false;
        bool hasFailed = false;
        {
            const FailingAllocation failure(k);
            try {
                call(state);
            } catch (const std::bad_alloc&) {
                hasThrown = true;
            }
            hasFailed = failure.HasFailed();
        }
        if (!hasFailed) {
            EXPECT_FALSE(hasThrown) << "bad_alloc although no allocation was refused";
            return k - 1;
        }
        check(state, hasThrown);
    }
}

/// The same for a call that can't do without any of its memory: one that comes to its end although
/// an allocation was refused counts as a failure of the test. `check(state)` is run otherwise.
template <class Prepare, class Call, class Check>
std::size_t FailEachAllocation(const Prepare& prepare, const Call& call, const Check& check)
{
    return FailEachAllocationOfEither(prepare, call, [&](auto& state, bool hasThrown) {
        EXPECT_TRUE(hasThrown) << "the call went on as if nothing had happened";
        check(state);
    });
}

/// The same for a call that changes nothing and returns its result: whichever allocation fails, it
/// throws or gives the result that it gives with all of its memory, and it gives that afterwards.
template <class Call>
std::size_t FailEachAllocationOfResult(const Call& call)
{
    const auto expected = call();
    return FailEachAllocationOfEither([] { return std::decay_t<decltype(expected)>(); },
                                      [&](auto& result) { result = call(); },
                                      [&](const auto& result, bool hasThrown) {
                                          EXPECT_TRUE(hasThrown || result == expected);
                                          EXPECT_TRUE(call() == expected);
                                      });
}

} // namespace Support
