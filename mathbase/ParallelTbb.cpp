// The parallel seam on oneTBB. The only file of the library that includes it.

#include "mathbase/Parallel_Impl.h"
#include "mathbase/ThreadBound_Impl.h"

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <cstddef>
#include <memory>

namespace Velk::Parallel::Impl {

void RunChunksUnwatched(std::int64_t first, std::int64_t last, std::int64_t grain,
                        void (*body)(void* context, std::int64_t first, std::int64_t last),
                        void* context)
{
    if (first >= last) {
        return;
    }
    const auto step = std::max<std::int64_t>(grain, 1);
    if (last - first <= step) {
        body(context, first, last);
        return;
    }
    using Range = oneapi::tbb::blocked_range<std::int64_t>;
    oneapi::tbb::parallel_for(
        Range(first, last, static_cast<std::size_t>(step)),
        [=](const Range& range) { body(context, range.begin(), range.end()); });
}

int ThreadCount()
{
    // An arena that was made before a bound does not know of it.
    using oneapi::tbb::global_control;
    const auto bound = global_control::active_value(global_control::max_allowed_parallelism);
    const int slots = std::max(1, oneapi::tbb::this_task_arena::max_concurrency());
    return bound < static_cast<std::size_t>(slots) ? static_cast<int>(bound) : slots;
}

namespace {

class TaskLibraryBound final : public ThreadBound {
public:
    explicit TaskLibraryBound(int threads)
        : control_(oneapi::tbb::global_control::max_allowed_parallelism,
                   static_cast<std::size_t>(threads))
    {
    }

private:
    oneapi::tbb::global_control control_;
};

} // namespace

std::unique_ptr<ThreadBound> BoundThreads(int threads)
{
    // The task library takes the lowest bound of all. One beyond the processors would let it have
    // more threads than it has by itself, and one at their number would take from a host what that
    // has asked for beyond it.
    if (threads > oneapi::tbb::info::default_concurrency()) {
        return nullptr;
    }
    return std::make_unique<TaskLibraryBound>(threads);
}

} // namespace Velk::Parallel::Impl
