// How operations take part in a progress scope (Velk/Progress_E.h).
//
// The public function of a long operation wraps its work in `Stoppable`. Wherever the work takes a
// while it passes a `Check`, which reports now and then and, once the host wants to stop, throws
// `Stopped` up to the outermost `Stoppable`. So a stop goes the way of a lack of memory, which
// every operation has to survive without a leak anyhow.
#pragma once

#include <Velk/ProgressChecks_E.h>

#include <atomic>
#include <cstddef>

namespace Velk::Progress::Impl {

/// What flies from a `Check` to the outermost `Stoppable`. No std::exception: nobody else is to
/// catch it.
struct Stopped {};

struct State; // mathbase/ProgressState_Impl.h

/// One operation under way on a thread: part of the operation around it, if there is one. It goes
/// through that one's present phase where this is a `PhaseOfCall`; elsewhere its own fractions tell
/// nothing about the whole and are not reported.
class Operation {
public:
    Operation();
    ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    /// Is this the one that a stop ends? Not without a scope.
    bool IsOutermost() const { return isOutermost_; }
    /// Had the host stopped before it began?
    bool IsRefused() const { return isRefused_; }

private:
    State* scope_;
    bool isOutermost_ = false;
    bool isRefused_ = false;
    double low_ = 0; // the phase of the operation around it
    double high_ = 1;
    bool isShared_ = false;
};

/// Runs `work` and returns its result, or what `neutral` returns when the host has stopped it.
/// Inside another operation it is part of that: a stop goes on to it. `neutral` runs when the
/// operation is over, so that what it calls is not stopped again.
template <class Work, class Neutral>
auto Stoppable(Work&& work, Neutral&& neutral) -> decltype(work())
{
    {
        const Operation operation;
        if (!operation.IsOutermost()) {
            return work();
        }
        if (!operation.IsRefused()) {
            try {
                return work();
            } catch (const Stopped&) { // the result is the neutral one
            }
        }
    }
    return neutral();
}

/// The same for results whose default is the neutral one.
template <class Work>
auto Stoppable(Work&& work) -> decltype(work())
{
    return Stoppable(work, [] { return decltype(work())(); });
}

/// What lies between is the part from `from` to `to` of the present phase.
class Phase {
public:
    Phase(double from, double to) : Phase(from, to, false) {}
    ~Phase();
    Phase(const Phase&) = delete;
    Phase& operator=(const Phase&) = delete;

protected:
    Phase(double from, double to, bool isShared);

private:
    State* scope_;
    double low_ = 0;
    double high_ = 1;
    bool isShared_ = false;
};

/// The same around the call of another operation, whose fractions go through it.
class PhaseOfCall : public Phase {
public:
    PhaseOfCall(double from, double to) : Phase(from, to, true) {}
};

/// Calls `work(from, to)` for blocks that cover [0, count), one after the other, with a check
/// before each: for loops too tight for a check of their own.
template <class Work>
void InBlocks(std::size_t count, const Work& work)
{
    constexpr std::size_t kBlock = std::size_t{1} << 16U;
    for (std::size_t from = 0; from < count; from += kBlock) {
        Check();
        work(from, count - from < kBlock ? count : from + kBlock);
    }
}

/// What has been done of so many items, by any number of threads: for parallel loops, whose bodies
/// tell it. A check for each call.
class Share {
public:
    explicit Share(std::size_t count) : count_(count) {}
    void Done(std::size_t more = 1)
    {
        const std::size_t done = done_.fetch_add(more, std::memory_order_relaxed) + more;
        Check(static_cast<double>(done) / static_cast<double>(count_));
    }

private:
    std::size_t count_;
    std::atomic<std::size_t> done_ = 0;
};

/// For loops of short steps without a number: a check at every 1,024th.
class Steps {
public:
    void Next() { CheckStep(++count_); }

private:
    std::size_t count_ = 0;
};

} // namespace Velk::Progress::Impl
