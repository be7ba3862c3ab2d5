// What a progress scope knows, and which scope a thread works for. For the checks and for the
// parallel loop; operations use Progress_Impl.h.
#pragma once

#include "mathbase/Progress_Impl.h"

#include <Velk/Progress_E.h>

#include <atomic>
#include <chrono>
#include <utility>

namespace Velk::Progress::Impl {

struct State {
    ProgressScope::Report report;
    std::chrono::steady_clock::duration interval{};
    State* outer = nullptr;

    int depth = 0;                       // operations that are under way, one inside the other
    std::atomic<bool> isStopped = false; // read by the other threads of a parallel loop
    std::atomic<bool> hasThrown = false; // the report, during the operation that is under way
    double low = 0;                      // the present phase
    double high = 1;
    bool isShared = false; // an operation inside of this one goes through the present phase
    double fraction = 0;   // reported last, or to be reported next
    std::chrono::steady_clock::time_point last;
};

/// For whom a thread works.
struct Place {
    State* own = nullptr;    // the scope that lives on this thread
    State* served = nullptr; // without one: that of the loop of another thread which it helps with
    bool isInLoop = false;   // within a piece of a watched parallel loop
};

Place& Current();

/// The scope to which the work of this thread belongs at this moment: with an operation under way
/// and somebody who listens. Otherwise null.
State* ActiveScope();

/// In a catch block: is it the host that has thrown, by its report, and not the operation itself?
/// What takes a failure of its own for a result must let that pass.
bool HasReportThrown();

/// Restores the place of this thread at the end.
class PlaceGuard {
public:
    explicit PlaceGuard(Place place) : before_(std::exchange(Current(), place)) {}
    ~PlaceGuard() { Current() = before_; }
    PlaceGuard(const PlaceGuard&) = delete;
    PlaceGuard& operator=(const PlaceGuard&) = delete;

private:
    Place before_;
};

} // namespace Velk::Progress::Impl
