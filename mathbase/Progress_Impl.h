// How operations take part in a progress scope (Velk/Progress_E.h).
//
// The public function of a long operation wraps its work in `Stoppable`. Wherever the work takes a
// while it passes a `Check`, which reports now and then and, once the host wants to stop, throws
// `Stopped` up to the outermost `Stoppable`. So a stop goes the way of a lack of memory, which
// every operation has to survive without a leak anyhow.
#pragma once

#include <Velk/Progress_E.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <utility>

namespace Velk::Progress::Impl {

/// What flies from a `Check` to the outermost `Stoppable`. No std::exception: nobody else is to
/// catch it.
struct Stopped {};

struct State {
    ProgressScope::Report report;
    std::chrono::steady_clock::duration interval;
    State* outer = nullptr;

    int depth = 0;                       // operations that are under way, one inside the other
    std::atomic<bool> isStopped = false; // read by the other threads of a parallel loop
    double low = 0;                      // the present phase
    double high = 1;
    double fraction = 0; // reported last, or to be reported next
    std::chrono::steady_clock::time_point last;
};

/// The scope of this thread, or null: none, or none that listens.
State*& Current();

/// Restores the scope of this thread at the end.
class CurrentGuard {
public:
    explicit CurrentGuard(State* scope) : before_(std::exchange(Current(), scope)) {}
    ~CurrentGuard() { Current() = before_; }
    CurrentGuard(const CurrentGuard&) = delete;
    CurrentGuard& operator=(const CurrentGuard&) = delete;

private:
    State* before_;
};

/// One operation under way.
class Operation {
public:
    explicit Operation(State& scope);
    ~Operation() { --scope_.depth; }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

private:
    State& scope_;
};

/// Runs `work` and returns its result, or what `neutral` returns when the host has stopped it.
/// Inside another operation it is part of that: a stop goes on to it.
template <class Work, class Neutral>
auto Stoppable(Work&& work, Neutral&& neutral) -> decltype(work())
{
    State* const scope = Current();
    if (scope == nullptr) {
        return work();
    }
    const bool isOutermost = scope->depth == 0;
    const Operation operation(*scope);
    if (!isOutermost) {
        return work();
    }
    if (scope->isStopped) {
        return neutral();
    }
    try {
        return work();
    } catch (const Stopped&) {
        return neutral();
    }
}

/// What lies between is the part from `from` to `to` of the present phase.
class Phase {
public:
    Phase(double from, double to) : scope_(Current())
    {
        if (scope_ != nullptr) {
            low_ = scope_->low;
            high_ = scope_->high;
            scope_->low = low_ + (high_ - low_) * from;
            scope_->high = low_ + (high_ - low_) * to;
        }
    }
    ~Phase()
    {
        if (scope_ != nullptr) {
            scope_->low = low_;
            scope_->high = high_;
        }
    }
    Phase(const Phase&) = delete;
    Phase& operator=(const Phase&) = delete;

private:
    State* scope_;
    double low_ = 0;
    double high_ = 1;
};

/// For loops of short steps without a number: a check at every 1,024th.
class Steps {
public:
    void Next() { Details::CheckStep(++count_); }

private:
    std::size_t count_ = 0;
};

} // namespace Velk::Progress::Impl
