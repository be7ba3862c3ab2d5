// The parallel seam on plain threads, for the thread sanitizer, which cannot follow a task scheduler
// that was not built with it. Threads are made and joined for each loop.

#include "mathbase/Parallel_Impl.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>

namespace Velk::Parallel::Impl {

void RunChunksUnwatched(std::int64_t first, std::int64_t last, std::int64_t grain,
                        void (*body)(void* context, std::int64_t first, std::int64_t last),
                        void* context)
{
    if (first >= last) {
        return;
    }
    const auto step = std::max<std::int64_t>(grain, 1);
    const std::int64_t chunkCount = (last - first + step - 1) / step;
    std::atomic<std::int64_t> nextChunk{0};
    std::mutex firstErrorMutex;
    std::exception_ptr firstError;

    const auto work = [&] {
        for (;;) {
            const std::int64_t chunk = nextChunk.fetch_add(1);
            if (chunk >= chunkCount) {
                return;
            }
            const std::int64_t from = first + chunk * step;
            try {
                body(context, from, std::min(from + step, last));
            } catch (...) {
                const std::lock_guard lock(firstErrorMutex);
                if (!firstError) {
                    firstError = std::current_exception();
                }
                nextChunk.store(chunkCount); // let the other threads run out
                return;
            }
        }
    };

    std::vector<std::thread> helpers;
    const auto helperCount = std::min<std::int64_t>(ThreadCount(), chunkCount) - 1;
    helpers.reserve(static_cast<std::size_t>(std::max<std::int64_t>(helperCount, 0)));
    for (std::int64_t i = 0; i < helperCount; ++i) {
        helpers.emplace_back(work);
    }
    work();
    for (std::thread& helper : helpers) {
        helper.join();
    }
    if (firstError) {
        std::rethrow_exception(firstError);
    }
}

int ThreadCount()
{
    return static_cast<int>(std::max(2U, std::thread::hardware_concurrency()));
}

} // namespace Velk::Parallel::Impl
