// The parallel seam on oneTBB. The only file of the library that includes it.

#include "mathbase/Parallel_Impl.h"

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>

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
    oneapi::tbb::parallel_for(Range(first, last, static_cast<std::size_t>(step)),
                              [=](const Range& range) {
                                  body(context, range.begin(), range.end());
                              });
}

int ThreadCount()
{
    return std::max(1, oneapi::tbb::this_task_arena::max_concurrency());
}

} // namespace Velk::Parallel::Impl
