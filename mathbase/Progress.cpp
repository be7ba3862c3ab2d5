// The scopes of each thread, and when they are asked.

#include "mathbase/Progress_Impl.h"

#include <algorithm>

namespace Velk {

namespace Progress::Impl {

namespace {

/// Often enough for a bar that runs smoothly and a stop that is felt at once.
constexpr std::chrono::milliseconds kInterval(33);

void Ask(State& scope)
{
    if (scope.isStopped) {
        throw Stopped{}; // something caught the first one on its way
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - scope.last < scope.interval) {
        return;
    }
    bool goesOn = true;
    {
        const CurrentGuard unwatched(
            nullptr); // what the host calls inside its report is its own affair
        goesOn = scope.report(scope.fraction);
    }
    // Counted from the end of the report: a slow one must not eat up the operation.
    scope.last = std::chrono::steady_clock::now();
    if (!goesOn) {
        scope.isStopped = true;
        throw Stopped{};
    }
}

State* Listening()
{
    State* const scope = Current();
    return scope != nullptr && scope->depth > 0 && scope->report ? scope : nullptr;
}

} // namespace

State*& Current()
{
    thread_local State* current = nullptr;
    return current;
}

Operation::Operation(State& scope) : scope_(scope)
{
    if (scope.depth++ == 0) {
        scope.low = 0;
        scope.high = 1;
        scope.fraction = 0;
        scope.last = std::chrono::steady_clock::now();
    }
}

} // namespace Progress::Impl

namespace Progress::Details {

void Check()
{
    if (Impl::State* const scope = Impl::Listening()) {
        Impl::Ask(*scope);
    }
}

void Check(double fraction)
{
    if (Impl::State* const scope = Impl::Listening()) {
        const double whole =
            scope->low + (scope->high - scope->low) * std::clamp(fraction, 0.0, 1.0);
        scope->fraction = std::max(scope->fraction, whole);
        Impl::Ask(*scope);
    }
}

} // namespace Progress::Details

ProgressScope::ProgressScope(Report report)
    : ProgressScope(std::move(report), Progress::Impl::kInterval)
{
}

ProgressScope::ProgressScope(Report report, std::chrono::milliseconds interval)
    : state_(std::make_unique<Progress::Impl::State>())
{
    state_->report = std::move(report);
    state_->interval = interval;
    state_->outer = std::exchange(Progress::Impl::Current(), state_.get());
}

ProgressScope::~ProgressScope() { Progress::Impl::Current() = state_->outer; }

bool ProgressScope::WasStopped() const { return state_->isStopped; }

} // namespace Velk
