// The scopes of each thread, and when they are asked.

#include "mathbase/ProgressState_Impl.h"

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
        const PlaceGuard unwatched({}); // what the host calls inside its report is its own affair
        try {
            goesOn = scope.report(scope.fraction);
        } catch (...) {
            scope.hasThrown = true;
            throw;
        }
    }
    // Counted from the end of the report: a slow one must not eat up the operation.
    scope.last = std::chrono::steady_clock::now();
    if (!goesOn) {
        scope.isStopped = true;
        throw Stopped{};
    }
}

bool IsActive(const State* scope) { return scope != nullptr && scope->depth > 0 && scope->report; }

} // namespace

Place& Current()
{
    thread_local Place current;
    return current;
}

State* ActiveScope()
{
    const Place& place = Current();
    return IsActive(place.own) ? place.own : place.served;
}

bool HasReportThrown()
{
    const State* const scope = ActiveScope();
    return scope != nullptr && scope->hasThrown;
}

Operation::Operation() : scope_(Current().own)
{
    if (scope_ == nullptr) {
        return;
    }
    low_ = scope_->low;
    high_ = scope_->high;
    isShared_ = std::exchange(scope_->isShared, false);
    isOutermost_ = scope_->depth++ == 0;
    if (isOutermost_) {
        isRefused_ = scope_->isStopped;
        scope_->low = 0;
        scope_->high = 1;
        scope_->fraction = 0;
        scope_->hasThrown = false;
        scope_->last = std::chrono::steady_clock::now();
    } else if (!isShared_) {
        scope_->high = scope_->low; // whatever it reports
    }
}

Operation::~Operation()
{
    if (scope_ != nullptr) {
        --scope_->depth;
        scope_->low = low_;
        scope_->high = high_;
        scope_->isShared = isShared_;
    }
}

Phase::Phase(double from, double to, bool isShared) : scope_(Current().own)
{
    if (scope_ != nullptr) {
        low_ = scope_->low;
        high_ = scope_->high;
        isShared_ = std::exchange(scope_->isShared, isShared);
        scope_->low = low_ + (high_ - low_) * from;
        scope_->high = low_ + (high_ - low_) * to;
    }
}

Phase::~Phase()
{
    if (scope_ != nullptr) {
        scope_->low = low_;
        scope_->high = high_;
        scope_->isShared = isShared_;
    }
}

} // namespace Progress::Impl

namespace Progress::Impl {

void Check()
{
    const Impl::Place& place = Impl::Current();
    if (Impl::IsActive(place.own)) {
        Impl::Ask(*place.own);
    } else if (place.served != nullptr && place.served->isStopped.load(std::memory_order_relaxed)) {
        throw Impl::Stopped{}; // the thread that is helped gives up as well
    }
}

void Check(double fraction)
{
    Impl::State* const scope = Impl::Current().own;
    if (!Impl::IsActive(scope)) {
        Check();
        return;
    }
    const double whole = scope->low + (scope->high - scope->low) * std::clamp(fraction, 0.0, 1.0);
    scope->fraction = std::max(scope->fraction, whole);
    Impl::Ask(*scope);
}

} // namespace Progress::Impl

ProgressScope::ProgressScope(Report report)
    : ProgressScope(std::move(report), Progress::Impl::kInterval)
{
}

ProgressScope::ProgressScope(Report report, std::chrono::milliseconds interval)
    : state_(std::make_unique<Progress::Impl::State>())
{
    state_->report = std::move(report);
    // No more than a year: the clock counts finer, and longer ones would not fit it.
    state_->interval = std::clamp<std::chrono::milliseconds>(interval, {}, std::chrono::years(1));
    state_->outer = std::exchange(Progress::Impl::Current().own, state_.get());
}

ProgressScope::~ProgressScope() { Progress::Impl::Current().own = state_->outer; }

bool ProgressScope::WasStopped() const { return state_->isStopped; }

} // namespace Velk
